// What the login paths share: the machine name as logins use it, and the logon of
// a domain login that the group check reads its groups from.
#pragma once

#include <string>

namespace utils::authentication {

// The PAM services of the two password logins (written by
// `norvanectl auth install-pam`): local accounts only, and the system's own stack.
constexpr const char* kLocalService = "norvane-local";
constexpr const char* kDomainService = "norvane-domain";

// The machine's name as Windows forms it: the host name up to its first dot,
// upper-cased, at most 15 characters. 0, or the system's reason code.
int machineName(std::string& name);

// What a domain logon hands to the group check.
struct LogonToken {
  std::string logonName;  // the name the logon service accepted
};

}  // namespace utils::authentication
