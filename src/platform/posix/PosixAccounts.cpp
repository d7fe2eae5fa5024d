// The account directory through NSS: passwd for the machine's users and account
// names, getgrouplist for a user's groups (primary group included), the group
// database for member lists, and the host's canonical name for its DNS domain.
// Every user whose password was accepted also holds the well-known group
// "Authenticated Users" of authority "NT AUTHORITY", so the default read-only
// setting means the same here as on Windows.
#include <grp.h>
#include <netdb.h>
#include <pwd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>

#include "platform/posix/PosixFacilities.h"

namespace platform::posix {
namespace {

constexpr const char* kAuthenticatedUsers = "Authenticated Users";
constexpr const char* kWellKnownAuthority = "NT AUTHORITY";

// getpwent keeps one cursor for the whole process.
std::mutex g_passwdWalk;

std::vector<std::string> passwdNames() {
  std::lock_guard<std::mutex> hold(g_passwdWalk);
  std::vector<std::string> names;
  setpwent();
  while (const passwd* entry = getpwent()) names.emplace_back(entry->pw_name);
  endpwent();
  return names;
}

std::string groupName(gid_t gid) {
  std::vector<char> buffer(16384);
  group entry{};
  group* found = nullptr;
  if (getgrgid_r(gid, &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr) return found->gr_name;
  return std::to_string(gid);  // a group id without a name is still a group
}

// Names of the user's groups by getgrouplist; false when the user is unknown.
bool groupNames(const std::string& userName, std::vector<std::string>& names) {
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  if (getpwnam_r(userName.c_str(), &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) {
    return false;
  }
  int count = 64;
  std::vector<gid_t> gids;
  for (;;) {
    gids.resize(static_cast<std::size_t>(count));
    const int wanted = count;
    if (getgrouplist(userName.c_str(), found->pw_gid, gids.data(), &count) != -1) break;
    if (count <= wanted) count = wanted * 2;
  }
  gids.resize(static_cast<std::size_t>(count));
  for (gid_t gid : gids) names.push_back(groupName(gid));
  return true;
}

class PosixAccounts final : public Accounts {
 public:
  // passwd holds users only, so the walk never meets another kind of object.
  bool machineObjects(std::vector<DirectoryObject>& objects) override {
    for (std::string& name : passwdNames()) objects.push_back({std::move(name), true});
    return true;
  }

  bool userGroups(const std::string& userName, std::vector<std::string>& groups) override {
    if (!groupNames(userName, groups)) return false;
    groups.emplace_back(kAuthenticatedUsers);
    return true;
  }

  long groupMemberPaths(const std::string& machine, const std::string& groupName,
                        std::vector<std::string>& paths) override {
    if (groupName == kAuthenticatedUsers) return 0;  // its members are not listed anywhere
    std::vector<char> buffer(65536);
    group entry{};
    group* found = nullptr;
    const int status = getgrnam_r(groupName.c_str(), &entry, buffer.data(), buffer.size(), &found);
    if (status != 0) return status;
    if (found == nullptr) return ENOENT;
    for (char** member = found->gr_mem; *member != nullptr; ++member) {
      paths.push_back("WinNT://" + machine + "/" + *member);
    }
    return 0;
  }

  long accountNames(unsigned long& resume, std::vector<std::optional<std::string>>& names) override {
    for (std::string& name : passwdNames()) names.emplace_back(std::move(name));
    resume = 0;
    return 0;
  }

  long dnsDomain(bool& present, std::string& name) override {
    char host[256] = {};
    if (gethostname(host, sizeof host - 1) != 0) return errno;
    addrinfo hints{};
    hints.ai_flags = AI_CANONNAME;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int status = getaddrinfo(host, nullptr, &hints, &found);
    if (status != 0) return status;
    const std::string canonical = found->ai_canonname != nullptr ? found->ai_canonname : "";
    freeaddrinfo(found);
    const std::size_t dot = canonical.find('.');
    present = dot != std::string::npos && dot + 1 < canonical.size();
    if (present) name = canonical.substr(dot + 1);
    return 0;
  }

  // "DOMAIN\group" and "group@domain.tld" (the forms winbind and sssd give) carry
  // their authority; a plain name belongs to the machine.
  bool tokenGroups(const std::string& logonName, const std::string& machine,
                   std::vector<TokenGroup>& groups) override {
    std::vector<std::string> names;
    if (!groupNames(logonName, names)) return false;
    for (const std::string& name : names) {
      TokenGroup group;
      const std::size_t backslash = name.find('\\');
      const std::size_t at = name.rfind('@');
      if (backslash != std::string::npos) {
        group.authority = name.substr(0, backslash);
        group.name = name.substr(backslash + 1);
      } else if (at != std::string::npos) {
        group.name = name.substr(0, at);
        group.authority = name.substr(at + 1);
      } else {
        group.name = name;
        group.authority = machine;
      }
      groups.push_back(std::move(group));
    }
    groups.push_back({kAuthenticatedUsers, kWellKnownAuthority, true, true});
    return true;
  }
};

}  // namespace

std::unique_ptr<Accounts> makeAccounts() { return std::make_unique<PosixAccounts>(); }

}  // namespace platform::posix
