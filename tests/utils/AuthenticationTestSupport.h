// Login tests over the fake platform and fake settings, in this process (whose log
// takes every level):
//
//   EXPECT_EQ("true 2 -1 [old]", runCase("full_access_groups = Staff\n", [](auto& fake) {
//     fake.nss.addUser(...);
//     return login("alice", "pw");
//   }));
#pragma once

#include "support/TestPrelude.h"

#include "support/FakeSettings.h"
#include "utils/SystemTestSupport.h"

namespace authtest {

using systemtest::joined;

inline std::unique_ptr<systemtest::LogMark> g_mark;

// Runs the body with a fresh fake host and the settings of `config` in force; gives
// what the body observed as text.
inline std::string runCase(const std::string& config,
                           const std::function<std::string(testsupport::ScopedFakeHost&)>& body) {
  testsupport::ScopedFakeSettings settings(config);
  testsupport::ScopedFakeHost fake;
  g_mark = std::make_unique<systemtest::LogMark>();
  return body(fake);
}

// The log entries of the case so far in which `pattern` is found.
inline std::vector<std::string> logLines(const std::string& pattern = "") { return g_mark->messages(pattern); }

// "<result> <level> <errorCode> [<errorMessage>]" of the login (local, domain or LDAP
// by its leading arguments), the outputs preset to level 3, code -1 and "old" so that
// untouched ones show. A reserved argument that came back changed adds " reserved changed".
template <typename... Leading>
std::string login(const Leading&... leading) {
  std::string reserved = "r", message = "old";
  auto level = static_cast<utils::System::AccessLevel_>(3);
  int code = -1;
  const bool result = systemtest::sys().authenticate(leading..., reserved, level, code, message);
  return std::string(result ? "true " : "false ") + std::to_string(static_cast<int>(level)) + " " +
         std::to_string(code) + " [" + message + "]" + (reserved == "r" ? "" : " reserved changed");
}

}  // namespace authtest
