// Rotation and retention of the log files, with real files: every case runs the
// logger in a fresh child process against a throwaway installation and looks at
// the log directory it leaves.
#include <sys/stat.h>

#include "utils/LogTestSupport.h"

namespace {

using namespace logtest;
using Names = std::set<std::string>;

// ---- in the children ----------------------------------------------------------

TestHost& host() {
  static auto* host = new TestHost();  // outlives the logger's last line
  return *host;
}

// Every child gets the store root first and the home second; returns the log directory.
std::string enter(const Lines& args) {
  enterChild(args, 30);
  static platform::ScopedHost scoped(host());
  return args.at(1) + "/logs";
}

std::string dated(int n) { return "norvane_0101_00000" + std::to_string(n) + ".txt"; }

void writeOldFile(const std::string& path, long secondsAgo) {
  testsupport::writeFile(path, "old\n");
  fs::last_write_time(path, fs::file_time_type::clock::now() - std::chrono::seconds(secondsAgo));
}

// Three lines at two seconds.
NORVANE_CHILD(fixed_clock_rotations) {
  enter(args);
  host().stopAt(at(14, 11, 10, 5, 9));
  utils::log_info("line one");
  utils::log_info("line two");  // same second: the rotated name exists, no rotation
  host().stopAt(at(14, 11, 10, 5, 10));
  utils::log_info("line three");
  return 0;
}

// Starts the logger (which trims) with the refusals in args from 2 up to "+" (see
// TestHost), then adds the old files named after it with their ages, then writes a
// line (which rotates at size 0).
NORVANE_CHILD(start_then_write) {
  const std::string logs = enter(args);
  host().stopAt(at(1, 2, 3, 4, 5));
  std::size_t i = 2;
  for (; i < args.size() && args[i] != "+"; ++i) host().refused.insert(args[i]);
  const bool reopen = host().refused.erase("reopen") == 1;  // refused after the start
  utils::log_everything("start");  // filtered at level 64, but starts the writer
  for (++i; i + 1 < args.size(); i += 2) writeOldFile(logs + "/" + args[i], std::atol(args[i + 1].c_str()));
  if (reopen) host().refused.insert("reopen");
  utils::log_info("written");
  if (reopen) utils::log_info("lost"), utils::formatted_log_t::uninitializeLogger();
  return 0;
}

// Writes lines of 500 characters and a last one that make args[2] bytes, all in one
// second, then ends the process at once (what its buffer holds goes out at exit). Its
// start keeps what the file held in a rotated file of the second before.
NORVANE_CHILD(fill_to_size) {
  enter(args);
  host().stopAt(at(5, 6, 7, 8, 8));
  char id[24];  // every line: the stamp (15), the thread id, the banner (15), the message
  const std::size_t prefix =
      30 + static_cast<std::size_t>(std::snprintf(id, sizeof id, "%llx", host().currentThreadId() + 0ull));
  std::size_t left = std::stoul(args.at(2));
  while (left > 0) {
    std::size_t message = left - prefix >= 500 + prefix + 2 ? 500 : left - prefix;
    logMsg(utils::INFO, "%s\n", std::string(message - 1, 'b').c_str());
    left -= prefix + message;
  }
  std::exit(0);
}

// Starts its logger with umask 0 (the rights must not depend on it) and writes one
// line, waits for "go" in args[2], then writes lines until it has rotated the file,
// then one more. Reports how many lines the rotation took, and the active file's
// size and rights after the first line and after the last.
NORVANE_CHILD(write_until_rotated) {
  const std::string logs = enter(args), active = logs + "/norvane.txt";
  auto report = [&](const char* when) {
    std::printf("%s=%jd,%o\n", when, static_cast<std::intmax_t>(fs::file_size(active)),
                static_cast<unsigned>(fs::status(active).permissions()));
  };
  umask(0);
  host().stopAt(at(5, 6, 7, 8, 9));
  auto line = [](int number) { logMsg(utils::INFO, "a line %04d %s\n", number, std::string(60, 'a').c_str()); };
  line(0);
  report("after-first");
  if (!readyThenWait(args.at(2), "a")) return 4;
  int lines = 0;
  while (!fs::exists(logs + "/norvane_0506_070809.txt") && lines < 1000) line(++lines);
  utils::log_info("buffered");
  std::printf("lines=%d\n", lines);
  report("after-rotation");
  return 0;
}

// ---- in the tests ---------------------------------------------------------------

class LogRotationTest : public ::testing::Test {
 protected:
  void configure(int count, int sizeInMb) {
    m_installation.writeConfig(config(64, 0, "log_file_count = " + std::to_string(count) +
                                                 "\nlog_file_size = " + std::to_string(sizeInMb) + "\n"));
  }
  std::string logs() const { return m_installation.logs(); }
  // Names in the log directory but the lock file; directories end with "/".
  Names listing() const {
    Names names;
    for (const auto& entry : fs::directory_iterator(logs()))
      names.insert(entry.path().filename().string() + (entry.is_directory() ? "/" : ""));
    return names.erase(".InitSemaphore.lock"), names;
  }
  Lines written(const std::string& name) const { return entries(testsupport::readFile(logs() + "/" + name)); }

  Installation m_installation;
};

// The second line could not be rotated away in the same second (the name was taken),
// so it stayed and went out with the third.
TEST_F(LogRotationTest, SizeZeroRotatesEveryWriteOncePerSecondUnderTheDatedNameBesideTheLog) {
  configure(10, 0);
  m_installation.run("fixed_clock_rotations");
  EXPECT_EQ((Names{"norvane.txt", "norvane_1411_100509.txt", "norvane_1411_100510.txt"}), listing());
  EXPECT_EQ((Lines{"Info: line one"}), written("norvane_1411_100509.txt"));
  EXPECT_EQ((Lines{"Info: line two", "Info: line three"}), written("norvane_1411_100510.txt"));
  EXPECT_EQ("", m_installation.log());
}

// The start trims to the count by write time; a rotation deletes one file at most.
// Count 0: the start deletes every log file, each rotation the file it made.
TEST_F(LogRotationTest, StartTrimsToTheCountByWriteTimeAndARotationDeletesOneFileAtMost) {
  const struct {
    const char* what;
    int count, size;
    std::map<std::string, long> ages;
    Lines args;
    Names left;
    std::string written;
    Lines lines = {"Info: written"};
  } rows[] = {
      {"the count includes the active file", 4, 25, {{dated(1), 300}, {dated(2), 200}, {dated(3), 100}}, {},
       {"norvane.txt", dated(1), dated(2), dated(3)}, "norvane.txt"},
      // Ages out of name order; any name containing the base counts, other files
      // and directories never do.
      {"the oldest go", 4, 25,
       {{dated(1), 100}, {dated(2), 500}, {dated(3), 300}, {"norvane-old.log", 400}, {dated(5), 200},
        {"other.txt", 9000}}, {}, {"norvane.txt", dated(1), dated(3), dated(5), "other.txt"}, "norvane.txt"},
      {"the trim stops at a file that cannot be deleted", 1, 25,
       {{dated(1), 400}, {dated(2), 300}, {dated(3), 200}, {dated(4), 100}}, {dated(2)},
       {"norvane.txt", dated(2), dated(3), dated(4)}, "norvane.txt"},
      // Three files are allowed after the start; then four older ones appear and
      // the rotation removes only the oldest of all.
      {"a rotation deletes one", 3, 0, {},
       {"+", "norvane_a.txt", "400", "norvane_b.txt", "100", "norvane_c.txt", "300", "norvane_d.txt", "200"},
       {"norvane.txt", "norvane_0102_030405.txt", "norvane_b.txt", "norvane_c.txt", "norvane_d.txt"},
       "norvane_0102_030405.txt"},
      {"count 0 keeps none", 0, 0, {{"norvane-old.log", 200}, {"other.txt", 300}, {dated(1), 100}}, {},
       {"norvane.txt", "other.txt"}, "norvane.txt", {}},
      // The system cannot list the directory (nothing is trimmed), or tell the size of
      // the open file (the stream tells it); a rotation cannot reopen the file (the
      // lines after it are lost).
      {"no listing", 1, 25, {{dated(1), 300}, {dated(2), 200}}, {"list"}, {"norvane.txt", dated(1), dated(2)},
       "norvane.txt"},
      {"no size", 3, 0, {}, {"describe"}, {"norvane.txt", "norvane_0102_030405.txt"}, "norvane_0102_030405.txt"},
      {"no reopen", 3, 0, {}, {"reopen"}, {"norvane_0102_030405.txt"}, "norvane_0102_030405.txt"},
  };
  for (const auto& row : rows) {
    fs::remove_all(logs());
    fs::create_directories(logs() + "/norvane_dir");
    configure(row.count, row.size);
    for (const auto& [name, age] : row.ages) writeOldFile(logs() + "/" + name, age);
    m_installation.run("start_then_write", row.args);
    Names left = row.left;
    left.insert("norvane_dir/");
    EXPECT_EQ(left, listing()) << row.what;
    EXPECT_EQ(row.lines, written(row.written)) << row.what;
  }
}

// The size check counts every line in the file, whichever process wrote it, at
// once: a process that has looked at the size before sees the lines another
// process added since (also those that process's buffer let out when it ended),
// and rotates at its next line. The rotated file is past the size, but the write
// before the last one left it at or under. Unbuffered in cache mode 0 until the
// rotation; the reopened file is buffered ("buffered" is not there yet, until the
// exit). Every log file is 0640, whatever the umask.
TEST_F(LogRotationTest, RotatesPastTheSizeCountingTheLinesOfOtherProcessesAtOnce) {
  configure(10, 1);
  const std::string sync = m_installation.root() + "/sync";
  fs::create_directories(sync);
  const int follower = testsupport::startChild("write_until_rotated", m_installation.args({sync}), sync + "/out");
  ASSERT_TRUE(waitForFile(sync + "/ready.a"));
  // The other process's start empties the file (the follower's first line with it),
  // then leaves it 100 bytes short of the limit.
  const std::size_t limit = 1024 * 1024;
  m_installation.run("fill_to_size", {std::to_string(limit - 100)});
  testsupport::writeFile(sync + "/go", "");
  EXPECT_EQ(0, testsupport::waitChild(follower).exitCode);
  EXPECT_THAT(testsupport::readFile(sync + "/out"),
              testing::MatchesRegex("after-first=[1-9][0-9]*,640\nlines=1\nafter-rotation=0,640\n"));
  EXPECT_THAT(fs::file_size(logs() + "/norvane_0506_070809.txt"),
              testing::AllOf(testing::Gt(limit), testing::Le(limit + 240)));
  // The rotated file in short: the follower's lines by number, a run of the other
  // process's lines as "b".
  std::string shape;
  for (const std::string& text : written("norvane_0506_070809.txt")) {
    shape += std::regex_match(text, std::regex("Info: b+")) ? "b " : std::regex_replace(text, std::regex(" a{60}$"), ", ");
  }
  EXPECT_EQ("b Info: a line 0001, ", std::regex_replace(shape, std::regex("(b )+"), "b "));
  EXPECT_EQ((Lines{"Info: buffered"}), written("norvane.txt"));
}

}  // namespace
