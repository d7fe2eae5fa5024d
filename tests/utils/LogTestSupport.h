// Helpers of the logger tests: every test runs its statements in a fresh child
// process against a throwaway installation, then reads the log file it left.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <mutex>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "platform/Host.h"
#include "support/ChildProcess.h"
#include "support/TempInstallation.h"

namespace logtest {

// An installation whose home is registered in its own store. The child gets the
// store root and the home as its first two arguments.
class Installation {
 public:
  explicit Installation(const std::string& config = "") {
    m_installation.registerHome();
    if (!config.empty()) m_installation.writeConfig(config);
  }
  testsupport::TempInstallation& temp() { return m_installation; }
  std::string logPath() const { return m_installation.home() + "/logs/norvane.txt"; }
  std::string log() const { return testsupport::readFile(logPath()); }
  testsupport::ChildResult run(const std::string& child, std::vector<std::string> extra = {}) const {
    std::vector<std::string> args{m_installation.storeRoot(), m_installation.home()};
    args.insert(args.end(), extra.begin(), extra.end());
    return testsupport::runChild(child, args);
  }

 private:
  testsupport::TempInstallation m_installation;
};

// In the child: point the process at the installation named by the arguments.
void useInstallation(const std::vector<std::string>& args);

// The log file of the child's installation.
std::string childLogPath(const std::vector<std::string>& args);

std::vector<std::string> lines(const std::string& text);

// Counts calls of the global operator new while switched on (the test binary
// replaces it).
void countAllocations(bool on);
long allocationsCounted();

// "DD/MM hh:mm:ss <hex id>" as the prefix of a written line. The stamp is missing
// when the process's first line falls in a seconds field of 0.
inline const std::string kStampAndId = R"((?:\d\d/\d\d \d\d:\d\d:\d\d )?[0-9a-f]+)";

// A host whose clock reads from a script; everything else is the real one. Each
// reading takes the next scripted time and the last one repeats.
class ScriptedClockHost : public platform::Host, public platform::Clock {
 public:
  explicit ScriptedClockHost(std::deque<platform::LocalTime> times) : m_times(std::move(times)) {}

  platform::LocalTime localTime() override {
    std::lock_guard<std::mutex> guard(m_mutex);
    if (!m_times.empty()) {
      m_last = m_times.front();
      m_times.pop_front();
    }
    return m_last;
  }
  std::uint64_t currentThreadId() override {
    return m_threadId != 0 ? m_threadId : platform::posixHost().clock().currentThreadId();
  }
  void setThreadId(std::uint64_t id) { m_threadId = id; }

  platform::Clock& clock() override { return *this; }
  platform::FileSystem& fileSystem() override { return platform::posixHost().fileSystem(); }
  platform::MachineStore& machineStore() override { return platform::posixHost().machineStore(); }
  std::unique_ptr<platform::ProcessLock> openProcessLock(const std::string& name) override {
    return platform::posixHost().openProcessLock(name);
  }

 private:
  std::mutex m_mutex;
  std::deque<platform::LocalTime> m_times;
  platform::LocalTime m_last;
  std::uint64_t m_threadId = 0;
};

inline platform::LocalTime at(int day, int month, int hour, int minute, int second) {
  platform::LocalTime time;
  time.year = 2026;
  time.day = day;
  time.month = month;
  time.hour = hour;
  time.minute = minute;
  time.second = second;
  return time;
}

}  // namespace logtest
