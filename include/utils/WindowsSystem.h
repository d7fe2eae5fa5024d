// The concrete System. The name is the same on every platform; only the platform
// beneath it differs (on Linux the machine store is a directory tree, see
// <utils/MachineStore.h>).
#pragma once

#include <NorvaneExport.h>
#include <utils/System.h>

#include <string>
#include <vector>

namespace utils {

class NORVANE_API WindowsSystem : public System {
 public:
  static WindowsSystem* get_instance();

  bool authenticate(const std::string& userName, const std::string& password,
                    const std::string& ldapServer, const std::string& baseDN, const unsigned long& port,
                    const unsigned int& protocolVersion, const int& bindingMode, std::string& reserved,
                    AccessLevel_& level, int& errorCode, std::string& errorMessage) const override;
  bool authenticate(const std::string& userName, const std::string& password, const std::string& domain,
                    std::string& reserved, AccessLevel_& level, int& errorCode,
                    std::string& errorMessage) const override;
  bool authenticate(const std::string& userName, const std::string& password, std::string& reserved,
                    AccessLevel_& level, int& errorCode, std::string& errorMessage) const override;
  int getServerIp(std::string& ip) const override;
  int getServerIPSet(std::string* ipv4, std::string* ipv6, int* ipv4Count, int* ipv6Count) const override;
  int getOsName(std::string& name) const override;
  int getOsFullName(std::string& name) const override;
  int getOSCodeName(std::string& name) const override;
  int getLocaleName(std::string& name) const override;
  int getOsArch(std::string& arch) const override;
  int getHostName(std::string& name) const override;
  std::uint64_t getTotalPhysicalMemoryInMB() const override;
  unsigned long getCpuCoresCount() const override;
  int getNorvaneHomePath(std::string& path) const override;
  int getNorvaneWebServerHomePath(std::string& path) const override;
  int getNorvaneConfigurationPath(std::string& path) const override;
  bool doSystemLog(std::string message, int eventId, int severity, int locale) const override;
  void* getHostByName(const std::string& host) const override;
  void getFSPathSeparator(std::string& separator) override;
  std::string getIPAddrs(const void* hostEntry) const override;
  std::string getMACAddress() const override;
  std::vector<std::string> filterPrivateIPs(std::string* ips, int count) const override;
  bool iSUserNameCaseSensitive() const override;
  bool isIPv4Address(const std::string& text) const override;
  bool isIPv6Address(const std::string& text) const override;

 private:
  WindowsSystem() = default;

  // Reached through System only.
  void executeService(std::string& arguments) const override;
  void uninstallService() const override;
  void runService() const override;
  void* getLibraryHandler(std::string& name) const override;
  int unLoadLibrary(void* handle) const override;
  void* getLibraryProcessAddress(void* handle, const char* symbol) const override;

  // Reads valueName of the opened key into value, which holds defaultValue unless
  // the read succeeds. Returns the store's status, 0 on success.
  long GetStringRegKey(const std::string& key, const std::wstring& valueName,
                       std::wstring& value, const std::wstring& defaultValue) const;
  // The system's text for an error code, trimmed; "" for a code it has no text for.
  // The second argument is scratch space of the caller's, unused here.
  std::string getErrorMessage(unsigned long errorCode, char* buffer = nullptr) const;
  // The event category of a mask of event classes (see doSystemLog).
  unsigned short convertLocaleToCategory(unsigned short locale) const;

  // ---- group access of local and domain logins ------------------------------
  // A group of the machine's account directory (opaque outside the library).
  struct DirectoryGroup;
  // False when an entry of either list equals a local account name (case-blind).
  bool isGroupsValid(std::vector<std::string> fullGroups, std::vector<std::string> readOnlyGroups) const;
  // Appends the full directory paths of the group's members; the status, 0 on success.
  long getGroupObjectMembers(DirectoryGroup* group, std::vector<std::string>* members) const;
  // Whether domain occurs in the machine's DNS domain (true when that is unknown).
  bool isSystemInDomain(const std::string& domain) const;
  AccessLevel_ verifyLocalUserGroupAccess(const std::string& userName) const;
  // token: the logon of the domain overload.
  AccessLevel_ getDomainUserAccessLevel(void* const token, std::string domain) const;

  // ---- LDAP logins -------------------------------------------------------------
  // baseDN here is the user's own distinguished name.
  bool secureLDAPAuthentication(const std::string& userName, const std::string& password,
                                const std::string& ldapServer, const std::string& baseDN,
                                const unsigned long& port, const unsigned int& protocolVersion,
                                const int& bindingMode, std::string& reserved, AccessLevel_& level,
                                int& errorCode, std::string& errorMessage) const;
  bool basicLDAPAuthentication(const std::string& userName, const std::string& password,
                               const std::string& ldapServer, const std::string& baseDN,
                               const unsigned long& port, const unsigned int& protocolVersion,
                               const int& bindingMode, std::string& reserved, AccessLevel_& level,
                               int& errorCode, std::string& errorMessage) const;
  // Reads the access level from the entries of a search: session and result are the
  // directory session and the entries found (opaque outside the library).
  bool lookForAttributes(AccessLevel_& level, void* session, unsigned long entryCount, void* result) const;
};

}  // namespace utils
