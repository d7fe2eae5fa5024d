// Logins against the local machine and a domain, through the platform's logon
// service, and the dispatch of LDAP logins to their two sequences.
#include <utils/Log.h>
#include <utils/StringHelper.h>
#include <utils/WindowsSystem.h>

#include "platform/Host.h"
#include "utils/AuthenticationNames.h"

namespace utils {

namespace authentication {

int machineName(std::string& name) {
  std::string host;
  const int status = platform::host().logon().machineName(host);
  if (status != 0) return status;
  host = host.substr(0, host.find('.')).substr(0, 15);
  StringHelper::to_upper(host);
  name = host;
  return 0;
}

// Both password logins begin by asking for the machine's name; without it there is
// no login. False (with the code kept and logged) when it cannot be had.
bool machineNameKnown(int& errorCode) {
  std::string machine;
  const int status = machineName(machine);
  if (status == 0) return true;
  errorCode = status;
  log_always("GetComputerName() fails with error code '%1%'") % status;
  return false;
}

}  // namespace authentication

bool WindowsSystem::authenticate(const std::string& userName, const std::string& password,
                                 const std::string& ldapServer, const std::string& baseDN, const unsigned long& port,
                                 const unsigned int& protocolVersion, const int& bindingMode, std::string& reserved,
                                 AccessLevel_& level, int& errorCode, std::string& errorMessage) const {
  log_function_entry("utils::WindowsSystem::authenticate");
  // No escaping of any kind: the name goes into the DN as it stands.
  const std::string distinguishedName = "cn=" + userName + "," + baseDN;
  if (bindingMode == 1) {
    return secureLDAPAuthentication(userName, password, ldapServer, distinguishedName, port, protocolVersion,
                                    bindingMode, reserved, level, errorCode, errorMessage);
  }
  return basicLDAPAuthentication(userName, password, ldapServer, distinguishedName, port, protocolVersion,
                                 bindingMode, reserved, level, errorCode, errorMessage);
}

// The copies the logon needs cannot fail short of std::bad_alloc, which passes to the
// caller like any other exception of this path. The logon service's own text stands
// for the system's text of its code: PAM's codes have a numbering of their own.
bool WindowsSystem::authenticate(const std::string& userName, const std::string& password, const std::string& domain,
                                 std::string&, AccessLevel_& level, int& errorCode, std::string& errorMessage) const {
  log_function_entry("utils::WindowsSystem::authenticate");
  bool result = false;
  // The name plays no part in a domain login, but without it there is none.
  if (!authentication::machineNameKnown(errorCode)) return result;
  // sssd and winbind know a domain's users as "user@domain".
  authentication::LogonToken token{userName + "@" + domain};
  std::string text;
  const int status = platform::host().logon().check(authentication::kDomainService, token.logonName, password, text);
  if (status != 0) {
    errorCode = status;
    StringHelper::trim(text);
    errorMessage = text;
    log_critical("User '%1%' failed to login to strDomain: '%2%' server: '%3%'") % userName % domain % text;
    return result;
  }
  log_info("logged into the strDomain server");
  log_info("User '%1%' logged in successfully into strDomain '%2%' !") % userName % domain;
  if (isSystemInDomain(domain)) {
    level = getDomainUserAccessLevel(&token, domain);
    if (level != NO_ACCESS) result = true;
  }
  return result;
}

bool WindowsSystem::authenticate(const std::string& userName, const std::string& password, std::string&,
                                 AccessLevel_& level, int& errorCode, std::string& errorMessage) const {
  log_function_entry("utils::WindowsSystem::authenticate");
  bool result = false;
  if (!authentication::machineNameKnown(errorCode)) return result;
  // The machine's name in place of a domain means local accounts only: the local
  // service stacks pam_unix alone.
  std::string text;
  const int status = platform::host().logon().check(authentication::kLocalService, userName, password, text);
  if (status != 0) {
    errorCode = status;
    StringHelper::trim(text);
    errorMessage = text;
    log_critical("User '%1%' failed to login to local server: '%2%'") % userName % text;
    return result;
  }
  log_info("logged into the server");
  level = verifyLocalUserGroupAccess(userName);
  log_info("accessLevel returning after all the checks is:%1%") % static_cast<int>(level);
  if (level != NO_ACCESS) result = true;
  return result;
}

bool WindowsSystem::iSUserNameCaseSensitive() const { return false; }

}  // namespace utils
