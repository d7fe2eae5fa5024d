// The account and group databases of the machine (passwd and group through NSS on
// Linux, so local files, sssd and winbind all answer). Facts only: which groups
// give which access is decided in utils::WindowsSystem.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace platform {

// One object of the machine's account directory, in directory order.
struct DirectoryObject {
  std::string name;
  bool isUser = true;  // false: a group or another kind of object
};

// One group of a logged-on user, as the logon token carries it.
struct TokenGroup {
  std::string name;       // the bare group name
  std::string authority;  // the domain (or machine) the group belongs to
  bool enabled = true;
  bool resolvable = true;  // false: its identifier has no name
};

// Status of accountNames when more names remain for another call.
constexpr long kMoreAccountNames = 234;

class Accounts {
 public:
  virtual ~Accounts() = default;
  // The objects of the machine's account directory, in directory order. False
  // when the directory cannot be opened.
  virtual bool machineObjects(std::vector<DirectoryObject>& objects) = 0;
  // Names of the groups the user belongs to. False when they cannot be read.
  virtual bool userGroups(const std::string& userName, std::vector<std::string>& groups) = 0;
  // Full directory paths ("WinNT://MACHINE/name") of the group's members. 0, or a
  // nonzero status when the member list cannot be read.
  virtual long groupMemberPaths(const std::string& machine, const std::string& group,
                                std::vector<std::string>& paths) = 0;
  // One batch of the local account names; resume carries the position from call
  // to call (0 for the first). 0 when the list is complete, kMoreAccountNames when
  // more remain, any other status on failure. An empty optional stands for an
  // entry that cannot be read.
  virtual long accountNames(unsigned long& resume, std::vector<std::optional<std::string>>& names) = 0;
  // The DNS domain the machine belongs to. 0 with present telling whether there is
  // one, or a nonzero status when the question cannot be answered.
  virtual long dnsDomain(bool& present, std::string& name) = 0;
  // The groups of a logged-on user in token order, with their authorities; groups
  // without an authority of their own belong to machine. False when unreadable.
  virtual bool tokenGroups(const std::string& logonName, const std::string& machine,
                           std::vector<TokenGroup>& groups) = 0;
};

}  // namespace platform
