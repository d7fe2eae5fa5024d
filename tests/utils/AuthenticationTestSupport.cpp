#include "utils/AuthenticationTestSupport.h"

#include <utils/Log.h>

#include <regex>

#include "support/FakeSettings.h"
#include "utils/SystemTestSupport.h"

namespace authtest {
namespace {

std::unique_ptr<systemtest::LogMark> g_mark;

}  // namespace

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
