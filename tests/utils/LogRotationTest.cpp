// Rotation and retention of the log files, with real files: every case runs the
// logger in a fresh child process against a throwaway installation and looks at
// the log directory it leaves.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <mutex>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <utils/Log.h>

#include "platform/Host.h"
#include "platform/MachineStore.h"
#include "support/ChildProcess.h"
#include "support/TempInstallation.h"

namespace {

namespace fs = std::filesystem;
using testsupport::readFile;
using testsupport::runChild;
using testsupport::TempInstallation;
using testsupport::writeFile;

// ---- in the children ----------------------------------------------------------

// The real platform, but for a wall clock that can be stopped at a chosen time and
// a list of file names whose deletion is refused.
class RotationHost : public platform::Host, public platform::Clock, public platform::FileSystem {
 public:
  platform::LocalTime localTime() override {
    std::lock_guard<std::mutex> guard(m_mutex);
    return m_fixed ? m_time : platform::posixHost().clock().localTime();
  }
  std::uint64_t currentThreadId() override { return platform::posixHost().clock().currentThreadId(); }

  bool listDirectory(const std::string& directory, std::vector<platform::DirectoryEntry>& entries) override {
    return platform::posixHost().fileSystem().listDirectory(directory, entries);
  }
  bool removeFile(const std::string& path) override {
    if (m_refused.count(fs::path(path).filename().string()) != 0) return false;
    return platform::posixHost().fileSystem().removeFile(path);
  }
  bool renameFile(const std::string& from, const std::string& to) override {
    return platform::posixHost().fileSystem().renameFile(from, to);
  }

  platform::Clock& clock() override { return *this; }
  platform::FileSystem& fileSystem() override { return *this; }
  platform::MachineStore& machineStore() override { return platform::posixHost().machineStore(); }
  std::unique_ptr<platform::ProcessLock> openProcessLock(const std::string& name) override {
    return platform::posixHost().openProcessLock(name);
  }

  void stopAt(int day, int month, int hour, int minute, int second) {
    std::lock_guard<std::mutex> guard(m_mutex);
    m_fixed = true;
    m_time.year = 2026;
    m_time.month = month;
    m_time.day = day;
    m_time.hour = hour;
    m_time.minute = minute;
    m_time.second = second;
  }
  void refuseDeletion(const std::string& name) { m_refused.insert(name); }

 private:
  std::mutex m_mutex;
  bool m_fixed = false;
  platform::LocalTime m_time;
  std::set<std::string> m_refused;
};

RotationHost& rotationHost() {
  static RotationHost* host = new RotationHost();  // outlives the logger's last line
  return *host;
}

// Every child gets the store root first and the log directory second. The alarm
// turns a hang into a visible failure instead of a stuck test run.
std::string enterInstallation(const std::vector<std::string>& args) {
  alarm(30);
  platform::setMachineStoreRoot(args.at(0));
  static platform::ScopedHost scoped(rotationHost());
  return args.at(1);
}

void setWriteTime(const std::string& path, long secondsAgo) {
  struct timeval times[2];
  gettimeofday(&times[0], nullptr);
  times[0].tv_sec -= secondsAgo;
  times[1] = times[0];
  utimes(path.c_str(), times);
}

// Starts the logger without writing: a level-255 statement is filtered out at the
// configured level 64 but starts the writer all the same.
void startLogger() { utils::log_everything("start"); }

NORVANE_CHILD(fixed_clock_rotations) {
  enterInstallation(args);
  rotationHost().stopAt(14, 11, 10, 5, 9);
  utils::log_info("line one");
  utils::log_info("line two");  // same second: the rotated name exists, no rotation
  rotationHost().stopAt(14, 11, 10, 5, 10);
  utils::log_info("line three");
  return 0;
}

NORVANE_CHILD(relative_log_path) {
  enterInstallation(args);
  if (chdir(args.at(2).c_str()) != 0) return 3;
  rotationHost().stopAt(14, 11, 10, 5, 9);
  utils::log_info("relative");
  return 0;
}

// Starts the logger (which trims), then lists the directory.
NORVANE_CHILD(start_only) {
  enterInstallation(args);
  for (std::size_t i = 2; i < args.size(); ++i) rotationHost().refuseDeletion(args[i]);
  startLogger();
  utils::log_info("started");
  return 0;
}

// Starts, then adds old files (args from 2: name and age pairs), then rotates once.
NORVANE_CHILD(add_then_rotate) {
  const std::string logs = enterInstallation(args);
  rotationHost().stopAt(1, 2, 3, 4, 5);
  startLogger();
  for (std::size_t i = 2; i + 1 < args.size(); i += 2) {
    writeFile(logs + "/" + args[i], "old\n");
    setWriteTime(logs + "/" + args[i], std::atol(args[i + 1].c_str()));
  }
  utils::log_info("rotating");
  return 0;
}

// Count 0: rotations at two different seconds.
NORVANE_CHILD(two_rotations) {
  enterInstallation(args);
  rotationHost().stopAt(2, 3, 4, 5, 6);
  utils::log_info("first");
  rotationHost().stopAt(2, 3, 4, 5, 7);
  utils::log_info("second");
  return 0;
}

// Size 1 MB: writes until the first rotation and reports sizes along the way.
NORVANE_CHILD(size_limit) {
  const std::string logs = enterInstallation(args);
  const std::string active = logs + "/norvane.txt";
  umask(022);
  rotationHost().stopAt(5, 6, 7, 8, 9);
  utils::log_info("first");
  std::printf("after-first=%jd\n", static_cast<std::intmax_t>(fs::file_size(active)));
  std::printf("rights-before=%o\n", static_cast<unsigned>(fs::status(active).permissions()));
  const std::string filler(200, 'f');
  int lines = 1;
  while (!fs::exists(logs + "/norvane_0506_070809.txt") && lines < 100000) {
    utils::log_info("%1%") % filler;
    ++lines;
  }
  std::printf("lines=%d\n", lines);
  utils::log_info("buffered");
  std::printf("after-rotation=%jd\n", static_cast<std::intmax_t>(fs::file_size(active)));
  std::printf("rights-after=%o\n", static_cast<unsigned>(fs::status(active).permissions()));
  std::fflush(stdout);
  return 0;
}

// One writer of many: starts, waits for the others, writes its numbered lines.
NORVANE_CHILD(many_writers) {
  const std::string logs = enterInstallation(args);
  const std::string id = args.at(2);
  const int count = std::atoi(args.at(3).c_str());
  const std::string sync = args.at(4);
  startLogger();
  writeFile(sync + "/ready-" + id, "");
  for (int waited = 0; !fs::exists(sync + "/go"); ++waited) {
    if (waited > 6000) return 4;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  // Spread over a few seconds, so that several dated files are made while the
  // other writers still hold streams on files that were rotated away.
  for (int i = 0; i < count; ++i) {
    utils::log_info("writer %1% line %2%") % id % i;
    std::this_thread::sleep_for(std::chrono::milliseconds(15));
  }
  return 0;
}

// ---- in the tests ---------------------------------------------------------------

class LogRotationTest : public ::testing::Test {
 protected:
  void SetUp() override { m_installation.registerHome(); }

  void configure(int count, int sizeInMb, int cacheMode = 0) {
    m_installation.writeConfig("log_level = 64\nlog_file_count = " + std::to_string(count) +
                               "\nlog_file_size = " + std::to_string(sizeInMb) +
                               "\nlog_cache_mode = " + std::to_string(cacheMode) + "\n");
  }

  std::string logs() const { return m_installation.home() + "/logs"; }

  testsupport::ChildResult run(const std::string& child, std::vector<std::string> extra = {}) {
    std::vector<std::string> args{m_installation.storeRoot(), logs()};
    args.insert(args.end(), extra.begin(), extra.end());
    testsupport::ChildResult result = runChild(child, args);
    EXPECT_EQ(0, result.exitCode) << "signal " << result.signal << "\n" << result.output;
    return result;
  }

  // Names in the log directory; directories end with "/".
  std::set<std::string> listing() const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(logs())) {
      names.insert(entry.path().filename().string() + (entry.is_directory() ? "/" : ""));
    }
    return names;
  }

  // The messages of a log file, prefixes removed.
  std::vector<std::string> messages(const std::string& name) const {
    static const std::regex line(R"(\d\d/\d\d \d\d:\d\d:\d\d [0-9a-f]+ \| \w+ *: (.*))");
    std::vector<std::string> found;
    std::istringstream text(readFile(logs() + "/" + name));
    std::string one;
    std::smatch match;
    while (std::getline(text, one)) {
      if (std::regex_match(one, match, line)) {
        found.push_back(match[1]);
      } else {
        found.push_back("UNPARSED: " + one);
      }
    }
    return found;
  }

  void oldFile(const std::string& name, long secondsAgo) {
    writeFile(logs() + "/" + name, "old\n");
    setWriteTime(logs() + "/" + name, secondsAgo);
  }

  TempInstallation m_installation;
};

using Lines = std::vector<std::string>;
using Names = std::set<std::string>;

TEST_F(LogRotationTest, SizeZeroRotatesEveryWriteOncePerSecondUnderTheDatedName) {
  configure(10, 0);
  run("fixed_clock_rotations");
  EXPECT_EQ((Names{"norvane.txt", "norvane_1411_100509.txt", "norvane_1411_100510.txt"}), listing());
  EXPECT_EQ((Lines{"line one"}), messages("norvane_1411_100509.txt"));
  // The second line could not be rotated away in the same second (the name was
  // taken), so it stayed and went out with the third.
  EXPECT_EQ((Lines{"line two", "line three"}), messages("norvane_1411_100510.txt"));
  EXPECT_EQ("", readFile(logs() + "/norvane.txt"));
}

TEST_F(LogRotationTest, RelativeLogPathRotatesBesideItself) {
  // Without a home path the log is "../Logs/norvane.txt" and the configuration
  // "../conf/Norvane.conf", both from the current directory.
  TempInstallation bare;
  fs::create_directories(bare.root() + "/bin");
  fs::create_directories(bare.root() + "/Logs");
  fs::create_directories(bare.root() + "/conf");
  writeFile(bare.root() + "/conf/Norvane.conf", "log_file_size = 0\nlog_file_count = 4\nlog_cache_mode = 0\n");
  auto result = runChild("relative_log_path", {bare.storeRoot(), "../Logs", bare.root() + "/bin"});
  ASSERT_EQ(0, result.exitCode) << result.output;
  EXPECT_TRUE(fs::exists(bare.root() + "/Logs/norvane_1411_100509.txt"));
  EXPECT_TRUE(fs::exists(bare.root() + "/Logs/norvane.txt"));
}

TEST_F(LogRotationTest, StartKeepsTheFileCountIncludingTheActiveFile) {
  configure(4, 25);
  oldFile("norvane_0101_000001.txt", 300);
  oldFile("norvane_0101_000002.txt", 200);
  oldFile("norvane_0101_000003.txt", 100);
  run("start_only");
  EXPECT_EQ((Names{"norvane.txt", "norvane_0101_000001.txt", "norvane_0101_000002.txt",
                   "norvane_0101_000003.txt"}),
            listing());
}

TEST_F(LogRotationTest, StartDeletesTheOldestByWriteTimeAndAnyNameContainingTheBase) {
  configure(4, 25);
  // Ages are out of name order on purpose; the two oldest go.
  oldFile("norvane_0101_000001.txt", 100);
  oldFile("norvane_0101_000002.txt", 500);  // oldest
  oldFile("norvane_0101_000003.txt", 300);
  oldFile("norvane-old.log", 400);          // second oldest: contains "norvane"
  oldFile("norvane_0101_000005.txt", 200);
  oldFile("other.txt", 9000);               // not a log file: never counted
  fs::create_directories(logs() + "/norvane_dir");
  run("start_only");
  EXPECT_EQ((Names{"norvane.txt", "norvane_0101_000001.txt", "norvane_0101_000003.txt",
                   "norvane_0101_000005.txt", "other.txt", "norvane_dir/"}),
            listing());
  EXPECT_EQ((Lines{"started"}), messages("norvane.txt"));
}

TEST_F(LogRotationTest, CountZeroDeletesEveryLogFileAtStartAndEachRotatedFile) {
  configure(0, 0);
  oldFile("norvane_0101_000001.txt", 100);
  oldFile("norvane-old.log", 200);
  oldFile("other.txt", 300);
  run("two_rotations");
  EXPECT_EQ((Names{"norvane.txt", "other.txt"}), listing());
  EXPECT_EQ("", readFile(logs() + "/norvane.txt"));
}

TEST_F(LogRotationTest, ARotationDeletesOneFileAtMost) {
  configure(3, 0);
  // After the start three log files are allowed; then four older ones appear and
  // the rotation removes only the oldest of all.
  auto result = run("add_then_rotate", {"norvane_a.txt", "400", "norvane_b.txt", "100",
                                        "norvane_c.txt", "300", "norvane_d.txt", "200"});
  EXPECT_EQ((Names{"norvane.txt", "norvane_0102_030405.txt", "norvane_b.txt", "norvane_c.txt",
                   "norvane_d.txt"}),
            listing());
  EXPECT_EQ((Lines{"rotating"}), messages("norvane_0102_030405.txt"));
}

TEST_F(LogRotationTest, RotatesOnlyPastTheSizeAndTheNewFileIsBufferedWithDefaultRights) {
  configure(10, 1);
  auto result = run("size_limit");
  const std::string rotated = logs() + "/norvane_0506_070809.txt";
  ASSERT_TRUE(fs::exists(rotated));
  const auto size = fs::file_size(rotated);
  EXPECT_GT(size, 1024u * 1024u);
  // The write before the last one still left the file at or under 1 MB.
  Lines kept = messages("norvane_0506_070809.txt");
  ASSERT_FALSE(kept.empty());
  EXPECT_EQ("first", kept.front());
  EXPECT_LE(size - 240, 1024u * 1024u);
  // Unbuffered until the rotation (cache mode 0): the first line is in the file at
  // once. The reopened file is buffered: "buffered" is not there yet.
  EXPECT_NE(std::string::npos, result.output.find("after-first=")) << result.output;
  EXPECT_EQ(std::string::npos, result.output.find("after-first=0\n")) << result.output;
  EXPECT_NE(std::string::npos, result.output.find("after-rotation=0\n")) << result.output;
  // The active file gets 0640 at start; the file opened by the rotation keeps
  // the default rights, and the rotated one keeps 0640.
  EXPECT_NE(std::string::npos, result.output.find("rights-before=640\n")) << result.output;
  EXPECT_NE(std::string::npos, result.output.find("rights-after=644\n")) << result.output;
  EXPECT_EQ(fs::perms(0640), fs::status(rotated).permissions() & fs::perms::mask);
  // At exit the buffer reached the file.
  EXPECT_EQ((Lines{"buffered"}), messages("norvane.txt"));
}

TEST_F(LogRotationTest, TrimStopsAtAFileThatCannotBeDeleted) {
  configure(1, 25);
  oldFile("norvane_0101_000001.txt", 400);  // oldest: deleted
  oldFile("norvane_0101_000002.txt", 300);  // refused: the trim stops here
  oldFile("norvane_0101_000003.txt", 200);
  oldFile("norvane_0101_000004.txt", 100);
  run("start_only", {"norvane_0101_000002.txt"});
  EXPECT_EQ((Names{"norvane.txt", "norvane_0101_000002.txt", "norvane_0101_000003.txt",
                   "norvane_0101_000004.txt"}),
            listing());
  EXPECT_EQ((Lines{"started"}), messages("norvane.txt"));
}

// The same with a file the file system itself refuses to delete.
TEST_F(LogRotationTest, TrimStopsAtAnImmutableFile) {
  configure(1, 25);
  oldFile("norvane_0101_000001.txt", 400);
  oldFile("norvane_0101_000002.txt", 300);
  oldFile("norvane_0101_000003.txt", 200);
  const std::string stuck = logs() + "/norvane_0101_000002.txt";
  if (std::system(("chattr +i '" + stuck + "' 2>/dev/null").c_str()) != 0) {
    GTEST_SKIP() << "this file system cannot make a file immutable";
  }
  struct Release {
    std::string path;
    ~Release() { std::system(("chattr -i '" + path + "' 2>/dev/null").c_str()); }
  } release{stuck};
  if (unlink(stuck.c_str()) == 0 || !fs::exists(stuck)) GTEST_SKIP() << "immutable file was deleted";
  run("start_only");
  EXPECT_EQ((Names{"norvane.txt", "norvane_0101_000002.txt", "norvane_0101_000003.txt"}), listing());
  EXPECT_EQ((Lines{"started"}), messages("norvane.txt"));
}

TEST_F(LogRotationTest, ManyProcessesRotatingAtOnceLoseNoLine) {
  configure(200, 0);
  const int writers = 4;
  const int linesEach = 150;
  const std::string sync = m_installation.root() + "/sync";
  fs::create_directories(sync);
  std::vector<int> pids;
  for (int w = 0; w < writers; ++w) {
    pids.push_back(testsupport::startChild(
        "many_writers", {m_installation.storeRoot(), logs(), std::to_string(w), std::to_string(linesEach), sync},
        m_installation.root() + "/writer-" + std::to_string(w) + ".out"));
  }
  // Every writer has started its logger (each start empties the active file)
  // before any counted line is written.
  for (int waited = 0; waited < 6000; ++waited) {
    int ready = 0;
    for (int w = 0; w < writers; ++w) ready += fs::exists(sync + "/ready-" + std::to_string(w)) ? 1 : 0;
    if (ready == writers) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  writeFile(sync + "/go", "");
  for (int pid : pids) {
    auto result = testsupport::waitChild(pid);
    EXPECT_EQ(0, result.exitCode) << "signal " << result.signal;
  }

  std::map<std::string, int> seen;
  const std::regex rotatedName(R"(norvane_\d{4}_\d{6}\.txt)");
  EXPECT_GE(listing().size(), 3u);
  for (const std::string& name : listing()) {
    EXPECT_TRUE(name == "norvane.txt" || std::regex_match(name, rotatedName)) << name;
    for (const std::string& message : messages(name)) ++seen[message];
  }
  for (int w = 0; w < writers; ++w) {
    for (int i = 0; i < linesEach; ++i) {
      const std::string message = "writer " + std::to_string(w) + " line " + std::to_string(i);
      EXPECT_EQ(1, seen[message]) << message;
      seen.erase(message);
    }
  }
  EXPECT_TRUE(seen.empty()) << "unexpected line: " << (seen.empty() ? "" : seen.begin()->first);
}

}  // namespace
