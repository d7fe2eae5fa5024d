// Login tests over the fake platform and fake settings, in this process (whose log
// takes every level, see SystemTestEnvironment.cpp):
//
//   EXPECT_EQ("true 2 -1 [old]", runCase("full_access_groups = Staff\n", [](auto& fake) {
//     fake.nss.addUser(...);
//     return local("alice", "pw");
//   }));
#pragma once

#include <gtest/gtest.h>
#include <utils/System.h>

#include <functional>
#include <string>
#include <vector>

#include "support/FakeHost.h"

namespace authtest {

// Runs the body with a fresh fake host and the settings of `config` in force; gives
// what the body observed as text.
std::string runCase(const std::string& config, const std::function<std::string(testsupport::ScopedFakeHost&)>& body);

// "<result> <level> <errorCode> [<errorMessage>]" of the login with these leading
// arguments, the outputs preset to level 3, code -1 and "old" so that untouched ones
// show. A reserved argument that came back changed adds " reserved changed".
template <typename... Leading>
std::string login(const Leading&... leading) {
  std::string reserved = "r", message = "old";
  auto level = static_cast<utils::System::AccessLevel_>(3);
  int code = -1;
  const bool result = utils::System::get_instance()->authenticate(leading..., reserved, level, code, message);
  return std::string(result ? "true " : "false ") + std::to_string(static_cast<int>(level)) + " " +
         std::to_string(code) + " [" + message + "]" + (reserved == "r" ? "" : " reserved changed");
}
inline std::string local(const std::string& user, const std::string& password) { return login(user, password); }
inline std::string domain(const std::string& user, const std::string& password, const std::string& domainName) {
  return login(user, password, domainName);
}
inline std::string ldap(const std::string& user, const std::string& password, const std::string& server,
                        const std::string& base, unsigned long port, unsigned int version, int bindingMode) {
  return login(user, password, server, base, port, version, bindingMode);
}

// The log lines written since the case began, as "Level: message", those holding
// `containing` only.
std::vector<std::string> logLines(const std::string& containing = "");
std::string joined(const std::vector<std::string>& items, const std::string& separator = ",");
// `times` copies of item, joined.
std::string repeated(const std::string& item, int times, const std::string& separator = ",");

}  // namespace authtest
