// Shared by the System tests: one throwaway installation for the test process that
// logs everything unbuffered and drops addresses starting with 10, the log lines a
// test wrote, and a fake host in force for each test of FakeHostTest.
#pragma once

#include <gtest/gtest.h>
#include <utils/System.h>
#include <utils/WindowsSystem.h>

#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "support/FakeHost.h"
#include "support/LogReader.h"
#include "support/TempInstallation.h"

namespace systemtest {

class InstallationEnvironment : public testing::Environment {
 public:
  void SetUp() override {
    const std::string config = "log_level = 255\nlog_cache_mode = 0\nprivate_ip_range = 10\n";
    m_installation = std::make_unique<testsupport::HomedInstallation>(config);
    m_installation->useStore();
    s_logPath = m_installation->home() + "/logs/norvane.txt";
  }
  void TearDown() override { m_installation.reset(); }
  static inline std::string s_logPath;

 private:
  std::unique_ptr<testsupport::HomedInstallation> m_installation;
};

// The log lines written since construction, as "Level: message" ("Fn Entry: utils::...").
class LogMark {
 public:
  LogMark() : m_start(testsupport::readFile(InstallationEnvironment::s_logPath).size()) {}
  std::vector<std::string> entries() const {
    std::vector<std::string> found;
    for (const std::string& item :
         testsupport::logTextLines(testsupport::readFile(InstallationEnvironment::s_logPath).substr(m_start))) {
      const testsupport::LogLine line = testsupport::parseLogLine(item);
      found.push_back(line.level.empty() ? item : line.level + ": " + line.message);
    }
    return found;
  }

 private:
  std::size_t m_start;
};

inline utils::System& sys() { return *utils::System::get_instance(); }

class FakeHostTest : public testing::Test {
 protected:
  testsupport::ScopedFakeHost fake;
};

}  // namespace systemtest
