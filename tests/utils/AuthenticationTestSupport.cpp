#include "utils/AuthenticationTestSupport.h"

#include <utils/Log.h>

#include <regex>

#include "support/FakeSettings.h"
#include "utils/SystemTestSupport.h"

namespace authtest {
namespace {

std::unique_ptr<systemtest::LogMark> g_mark;

using Level = utils::System::AccessLevel_;

// Runs one login with the outputs preset to level 3, code -1 and "old" and a reserved
// argument of "r", and tells what came back.
template <typename Login>
std::string outcome(Login login) {
  std::string reserved = "r", message = "old";
  auto level = static_cast<Level>(3);
  int code = -1;
  const bool result = login(*utils::System::get_instance(), reserved, level, code, message);
  return std::string(result ? "true" : "false") + " " + std::to_string(static_cast<int>(level)) + " " +
         std::to_string(code) + " [" + message + "]" + (reserved == "r" ? "" : " reserved changed");
}

}  // namespace

std::string local(const std::string& user, const std::string& password) {
  return outcome([&](utils::System& system, std::string& reserved, Level& level, int& code, std::string& message) {
    return system.authenticate(user, password, reserved, level, code, message);
  });
}

std::string domain(const std::string& user, const std::string& password, const std::string& domainName) {
  return outcome([&](utils::System& system, std::string& reserved, Level& level, int& code, std::string& message) {
    return system.authenticate(user, password, domainName, reserved, level, code, message);
  });
}

std::string ldap(const std::string& user, const std::string& password, const std::string& server,
                 const std::string& base, unsigned long port, unsigned int version, int bindingMode) {
  return outcome([&](utils::System& system, std::string& reserved, Level& level, int& code, std::string& message) {
    return system.authenticate(user, password, server, base, port, version, bindingMode, reserved, level, code,
                               message);
  });
}

std::vector<std::string> logLines(const std::string& containing) {
  // Lines written at the "always" level carry no banner.
  std::vector<std::string> found;
  for (std::string line : g_mark->entries()) {
    const testsupport::LogLine parsed = testsupport::parseLogLine(line);
    if (parsed.stamped) line = "Always: " + parsed.afterId;
    if (line.find(containing) != std::string::npos) found.push_back(line);
  }
  return found;
}

std::string joined(const std::vector<std::string>& items, const std::string& separator) {
  std::string text;
  for (const std::string& item : items) text += (text.empty() ? "" : separator) + item;
  return text;
}

std::string repeated(const std::string& item, int times, const std::string& separator) {
  return joined(std::vector<std::string>(static_cast<std::size_t>(times), item), separator);
}

std::string runCase(const std::string& config, const std::function<std::string(testsupport::ScopedFakeHost&)>& body) {
  testsupport::ScopedFakeSettings settings(config);
  testsupport::ScopedFakeHost fake;
  g_mark = std::make_unique<systemtest::LogMark>();
  return body(fake);
}

}  // namespace authtest
