// Logins against the local machine, a domain or an LDAP directory.
#include <utils/WindowsSystem.h>

namespace utils {

bool WindowsSystem::authenticate(const std::string&, const std::string&, const std::string&, const std::string&,
                                 const unsigned long&, const unsigned int&, const int&, std::string&, AccessLevel_&,
                                 int&, std::string&) const {
  return false;
}

bool WindowsSystem::authenticate(const std::string&, const std::string&, const std::string&, std::string&,
                                 AccessLevel_&, int&, std::string&) const {
  return false;
}

bool WindowsSystem::authenticate(const std::string&, const std::string&, std::string&, AccessLevel_&, int&,
                                 std::string&) const {
  return false;
}

bool WindowsSystem::iSUserNameCaseSensitive() const { return false; }

}  // namespace utils
