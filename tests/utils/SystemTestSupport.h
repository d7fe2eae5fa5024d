// Shared by the System tests: one throwaway installation for the test process that
// logs everything unbuffered and drops addresses starting with 10, the log lines a
// test wrote, and a fake host in force for each test of FakeHostTest.
#pragma once

#include "support/TestPrelude.h"
#include <utils/System.h>

#include "support/FakeHost.h"
#include "support/LogReader.h"
#include "support/TempInstallation.h"

namespace systemtest {

struct InstallationEnvironment : testing::Environment {
  void SetUp() override {
    installation = std::make_unique<testsupport::HomedInstallation>(
        "log_level = 255\nlog_cache_mode = 0\nprivate_ip_range = 10\n");
    installation->useStore();
    s_logPath = installation->home() + "/logs/norvane.txt";
  }
  void TearDown() override { installation.reset(); }
  static inline std::string s_logPath;
  std::unique_ptr<testsupport::HomedInstallation> installation;
};

class LogMark {
 public:
  // The log lines written since construction, as "Level: message" ("Fn Entry: utils::...").
  std::vector<std::string> entries() const {
    std::vector<std::string> found;
    for (const std::string& item : lines()) {
      const testsupport::LogLine line = testsupport::parseLogLine(item);
      found.push_back(line.level.empty() ? item : line.level + ": " + line.message);
    }
    return found;
  }
  // Those of a stamped line ("Always: ..." without a banner) but function entries and
  // the Everything level, in which `pattern` is found.
  std::vector<std::string> messages(const std::string& pattern = "") const {
    std::vector<std::string> found;
    for (const std::string& item : lines()) {
      const testsupport::LogLine line = testsupport::parseLogLine(item);
      const std::string entry = (line.level.empty() ? "Always" : line.level) + ": " + line.message;
      if (line.stamped && line.level != "Fn Entry" && line.level != "Everything" &&
          std::regex_search(entry, std::regex(pattern)))
        found.push_back(entry);
    }
    return found;
  }

 private:
  std::vector<std::string> lines() const {
    return testsupport::logTextLines(testsupport::readFile(InstallationEnvironment::s_logPath).substr(m_start));
  }
  std::size_t m_start = testsupport::readFile(InstallationEnvironment::s_logPath).size();
};

inline utils::System& sys() { return *utils::System::get_instance(); }

inline std::string joined(const std::vector<std::string>& items, const std::string& separator = "|") {
  std::string text;
  for (const std::string& item : items) text += (&item == &items[0] ? "" : separator) + item;
  return text;
}

struct FakeHostTest : testing::Test {
  testsupport::ScopedFakeHost fake;
};

}  // namespace systemtest
