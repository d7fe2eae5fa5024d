// Helpers of the logger and rotation tests: every case runs its statements in a
// fresh child process against a throwaway installation, then reads what it left.
#pragma once

#include "support/TestPrelude.h"
#include <sys/prctl.h>
#include <utils/Log.h>

#include "platform/MachineStore.h"
#include "support/ChildProcess.h"
#include "support/LogReader.h"
#include "support/SecondZeroFreeHost.h"
#include "support/TempInstallation.h"
#include "utils/ConcurrencyTestSupport.h"

namespace logtest {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

inline std::string config(int level, int cacheMode, const std::string& more = "") {
  return "log_level = " + std::to_string(level) + "\nlog_cache_mode = " + std::to_string(cacheMode) + "\n" + more;
}

// An installation whose home is registered in its own store. The child gets the
// store root and the home as its first two arguments.
struct Installation : testsupport::HomedInstallation {
  using HomedInstallation::HomedInstallation;
  std::string logs() const { return home() + "/logs"; }
  std::string logPath() const { return logs() + "/norvane.txt"; }
  std::string log() const { return testsupport::readFile(logPath()); }
  Lines args(Lines extra = {}) const {
    extra.insert(extra.begin(), {storeRoot(), home()});
    return extra;
  }
  // Runs a child that is expected to exit with 0.
  testsupport::ChildResult run(const std::string& child, Lines extra = {}) const {
    testsupport::ChildResult result = testsupport::runChild(child, args(std::move(extra)));
    EXPECT_EQ(result.exitCode, 0) << child << " signal " << result.signal << "\n" << result.output;
    return result;
  }
};

// In the child: a hang becomes a failure, the child never outlives its test (a
// left-over holder of the machine-wide log lock would stall every other log test),
// the clock skips second 0 (see SecondZeroFreeHost.h) and the process uses the store
// named by its first argument.
inline void enterChild(const Lines& args, unsigned int seconds = 60) {
  alarm(seconds);
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  testsupport::useSecondZeroFreeHostForGood();
  platform::setMachineStoreRoot(args.at(0));
}
// A child routine (see NORVANE_CHILD) that enters the child state first.
#define LOG_CHILD(name)                                                  \
  static int log_child_##name(const std::vector<std::string>& args);    \
  NORVANE_CHILD(name) {                                                  \
    logtest::enterChild(args);                                           \
    return log_child_##name(args);                                       \
  }                                                                      \
  static int log_child_##name([[maybe_unused]] const std::vector<std::string>& args)

// "DD/MM hh:mm:ss <hex id>" as the prefix of a written line.
inline const std::string kStampAndId = R"(\d\d/\d\d \d\d:\d\d:\d\d [0-9a-f]+)";
inline std::string info(const std::string& message) { return kStampAndId + R"( \| Info      : )" + message; }

// "Level: message" of each line, the message alone for a level without a banner
// (the tests' messages start with letters that are no hex digits).
inline Lines entries(const std::string& log) {
  Lines result;
  for (const auto& line : testsupport::logTextLines(log)) {
    const testsupport::LogLine parsed = testsupport::parseLogLine(line);
    result.push_back((parsed.level.empty() ? "" : parsed.level + ": ") + parsed.message);
  }
  return result;
}

inline bool waitForFile(const std::string& path, std::chrono::seconds limit = std::chrono::seconds(30)) {
  return concurrencytest::eventually([&] { return fs::exists(path); }, limit);
}

// In a child: says "<sync>/ready.<id>" and waits for "<sync>/go"; false if it never comes.
inline bool readyThenWait(const std::string& sync, const std::string& id) {
  testsupport::writeFile(sync + "/ready." + id, "");
  return waitForFile(sync + "/go", std::chrono::seconds(60));
}

// Counts calls of the global operator new while switched on (the log test binary
// replaces it).
void countAllocations(bool on);
long allocationsCounted();

inline platform::LocalTime at(int day, int month, int hour, int minute, int second) {
  return platform::LocalTime{2026, month, day, hour, minute, second, 0};
}

// The real platform but for a clock that reads from a script (each reading takes the
// next time and the last one repeats; until one is scripted, the clock that skips
// second 0), and refusals: deletions by file name, "list" (the log directory),
// "describe" (the open file), "reopen" (every open for appending).
class TestHost : public testsupport::SecondZeroFreeHost, public platform::Clock, public platform::FileSystem {
 public:
  explicit TestHost(std::deque<platform::LocalTime> times = {}) : m_times(std::move(times)) {}
  platform::LocalTime localTime() override {
    std::lock_guard<std::mutex> guard(m_mutex);
    if (!m_times.empty()) m_last = m_times.front(), m_times.pop_front(), m_scripted = true;
    return m_scripted ? m_last : testsupport::secondZeroFreeClock().localTime();
  }
  std::uint64_t currentThreadId() override { return platform::posixHost().clock().currentThreadId(); }
  bool listDirectory(const std::string& dir, std::vector<platform::DirectoryEntry>& out) override {
    return refused.count("list") == 0 && real().listDirectory(dir, out);
  }
  bool describeOpenFile(std::FILE* stream, platform::OpenFileFacts& facts) override {
    return refused.count("describe") == 0 && real().describeOpenFile(stream, facts);
  }
  std::FILE* openLogFile(const std::string& path, bool empty) override {
    return empty || refused.count("reopen") == 0 ? real().openLogFile(path, empty) : nullptr;
  }
  bool removeFile(const std::string& path) override {
    return refused.count(fs::path(path).filename().string()) == 0 && real().removeFile(path);
  }
  bool renameFile(const std::string& from, const std::string& to) override { return real().renameFile(from, to); }
  platform::Clock& clock() override { return *this; }
  platform::FileSystem& fileSystem() override { return *this; }
  void stopAt(platform::LocalTime time) {
    std::lock_guard<std::mutex> guard(m_mutex);
    m_times = {time};
  }
  std::set<std::string> refused;

 private:
  static platform::FileSystem& real() { return platform::posixHost().fileSystem(); }
  std::mutex m_mutex;
  std::deque<platform::LocalTime> m_times;
  platform::LocalTime m_last;
  bool m_scripted = false;
};

}  // namespace logtest
