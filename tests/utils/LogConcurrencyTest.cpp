// The log lock across threads and processes.
#include <sys/wait.h>

#include "utils/LogTestSupport.h"

using namespace logtest;
using std::chrono::milliseconds;

namespace {

bool exitedWithin(int pid, milliseconds limit, int& status) {
  return concurrencytest::eventually([&] { return waitpid(pid, &status, WNOHANG) == pid; }, limit);
}

// Lines per process of the cross-process runs; the torture script asks for more.
int linesPerProcess() {
  const char* asked = std::getenv("NORVANE_TORTURE_LOG_LINES");
  return asked != nullptr ? std::atoi(asked) : 4000;
}

// The lines of every log file of the directory, torn ones counted apart.
struct Tally {
  std::map<std::string, int> seen;  // "<writer> line <n>" and how often
  int torn = 0, files = 0;
};

Tally tallyLogFiles(const std::string& logs) {
  static const std::regex whole(logtest::info(R"((\d+ line \d+) x{80})"));
  Tally tally;
  for (const auto& entry : std::filesystem::directory_iterator(logs)) {
    if (entry.path().filename().string().rfind("norvane", 0) != 0) continue;
    ++tally.files;
    for (const auto& line : logtest::lines(testsupport::readFile(entry.path()))) {
      std::smatch parts;
      if (std::regex_match(line, parts, whole)) {
        ++tally.seen[parts[1]];
      } else if (line.find(" | Info      : survivor ") != std::string::npos) {
        continue;
      } else if (++tally.torn < 3) {
        ADD_FAILURE() << "torn line: " << line;
      }
    }
  }
  return tally;
}

}  // namespace

// Writers numbered from args[2]: args[3] threads of args[4] lines each. With a sync
// directory (args[5]) the process starts its logger first (each start empties the
// file), says so with "ready.<first>" and waits for "go".
NORVANE_CHILD(log_numbered_lines) {
  logtest::enterChild(args, 600);
  const int first = std::stoi(args.at(2)), threads = std::stoi(args.at(3)), count = std::stoi(args.at(4));
  if (args.size() > 5) {
    logMsg(utils::EVERYTHING, "");
    if (!readyThenWait(args[5], args[2])) return 3;
  }
  const std::string padding(80, 'x');
  std::vector<std::thread> writers;
  for (int writer = first; writer < first + threads; ++writer) {
    writers.emplace_back([writer, count, &padding] {
      for (int line = 0; line < count; ++line) utils::log_info("%1% line %2% %3%") % writer % line % padding;
    });
  }
  for (auto& thread : writers) thread.join();
  return 0;
}

// Four processes of two threads each write into one file and rotate it at 1 MB:
// every line reaches one of the files whole and exactly once, buffered or not.
TEST(LogConcurrencyTest, ProcessesRotatingOneFileWriteEveryLineWholeAndOnce) {
  const int perWriter = linesPerProcess() / 2;
  for (int cacheMode : {0, 1}) {
    Installation installation(config(64, cacheMode, "log_file_size = 1\nlog_file_count = 50\n"));
    const std::string root = installation.root();
    runTogether(installation, "log_numbered_lines", {"0", "2", "4", "6"}, root, [&](const std::string& writer) {
      return std::vector<std::string>{writer, "2", std::to_string(perWriter), root};
    });
    const Tally tally = tallyLogFiles(installation.logs());
    int duplicated = 0;
    for (const auto& [line, count] : tally.seen) duplicated += count > 1;
    // Every line seen is one of the lines written (the pattern), so the rest are missing.
    const int missing = 8 * perWriter - static_cast<int>(tally.seen.size());
    std::printf("cache mode %d: %d lines in %d files: %d torn, %d missing, %d duplicated\n", cacheMode,
                8 * perWriter, tally.files, tally.torn, missing, duplicated);
    EXPECT_EQ(0, tally.torn + missing + duplicated) << cacheMode;
    EXPECT_GE(tally.files, 2) << "the files rotated";
    for (const auto& entry : std::filesystem::directory_iterator(installation.logs())) {
      if (entry.path().filename().string().rfind("norvane", 0) != 0) continue;
      EXPECT_EQ(std::filesystem::perms(0640), entry.status().permissions()) << entry.path();
    }
  }
}

// ---- a killed holder does not block anyone --------------------------------------

std::string lockFile(const std::string& home) { return home + "/logs/.InitSemaphore.lock"; }

LOG_CHILD(hold_log_lock) {
  logMsg(utils::EVERYTHING, "");
  platform::host().openProcessLock(lockFile(args.at(1)))->lock();
  testsupport::writeFile(args.at(2), "");
  for (;;) pause();
}

TEST(LogConcurrencyTest, HolderKilledWithTheLockHeldReleasesIt) {
  Installation installation(config(64, 0));
  const std::string root = installation.root();
  int holder = testsupport::startChild("hold_log_lock", installation.args({root + "/held"}), root + "/holder.out");
  ASSERT_TRUE(waitForFile(root + "/held"));
  // A writer started now must wait for the holder.
  int writer = testsupport::startChild("log_one_line", installation.args({"after the kill"}), root + "/writer.out");
  int status = 0;
  EXPECT_FALSE(exitedWithin(writer, milliseconds(500), status)) << testsupport::readFile(root + "/writer.out");
  kill(holder, SIGKILL);
  EXPECT_EQ(testsupport::waitChild(holder).signal, SIGKILL);
  ASSERT_TRUE(exitedWithin(writer, milliseconds(20000), status));
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << testsupport::readFile(root + "/writer.out");
  EXPECT_NE(installation.log().find("after the kill\n"), std::string::npos) << installation.log();
}

// A writer killed while logging leaves the lock free, and the next start keeps what
// the active file held in a rotated file before emptying it.
TEST(LogConcurrencyTest, WriterKilledWhileLoggingReleasesTheLockAndTheNextStartKeepsItsLines) {
  Installation installation(config(64, 0));
  const std::string root = installation.root(), marker = root + "/ready.9";
  testsupport::writeFile(root + "/go", "");
  for (int round = 0; round < 3; ++round) {
    const std::string survivor = "survivor " + std::to_string(round);
    std::filesystem::remove(marker);
    int busy = testsupport::startChild("log_numbered_lines", installation.args({"9", "1", "2000000000", root}),
                                       root + "/busy.out");
    ASSERT_TRUE(waitForFile(marker));
    std::this_thread::sleep_for(milliseconds(100 + 37 * round));
    kill(busy, SIGKILL);
    EXPECT_EQ(testsupport::waitChild(busy).signal, SIGKILL);
    installation.run("log_one_line", {survivor});
    EXPECT_EQ(messages(installation.log()), std::vector<std::string>{survivor});
    const Tally kept = tallyLogFiles(installation.logs());
    EXPECT_EQ(round + 1, kept.seen.count("9 line 0") ? kept.seen.at("9 line 0") : 0) << round;
    EXPECT_GT(kept.seen.size(), 1u) << round;
  }
}

// ---- the words shared beside the lock ----------------------------------------------

// Takes the lock named args[0], writes args[2] + 1..4 into its shared words, says so
// in the file args[1], then releases the lock and ends, or (args[3] "hold") keeps it
// until it is killed.
NORVANE_CHILD(scribble_words) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  auto lock = platform::posixHost().openProcessLock(args.at(0));
  lock->lock();
  for (int i = 0; i < platform::ProcessLock::kSharedWords; ++i) lock->sharedWords()[i] = std::stoi(args.at(2)) + i + 1;
  testsupport::writeFile(args.at(1), "");
  if (args.at(3) != "hold") {
    lock->unlock();
    return 0;
  }
  for (;;) pause();
}

// Every process sees the same words; a holder killed with the lock held may have
// left them half written, so the next holder finds them zero.
TEST(LogConcurrencyTest, SharedWordsAreSeenByAllAndStartAgainFromZeroAfterAKilledHolder) {
  testsupport::TempInstallation temp;
  const std::string name = temp.root() + "/words.lock";
  auto lock = platform::posixHost().openProcessLock(name);
  ASSERT_NE(lock, nullptr);
  ASSERT_NE(lock->sharedWords(), nullptr);
  auto words = [&] {
    lock->lock();
    std::vector<std::int64_t> seen(lock->sharedWords(), lock->sharedWords() + platform::ProcessLock::kSharedWords);
    lock->unlock();
    return seen;
  };
  EXPECT_EQ(words(), (std::vector<std::int64_t>{0, 0, 0, 0}));

  EXPECT_EQ(testsupport::runChild("scribble_words", {name, temp.root() + "/wrote", "0", "release"}).exitCode, 0);
  EXPECT_EQ(words(), (std::vector<std::int64_t>{1, 2, 3, 4}));

  const std::string held = temp.root() + "/held";
  int holder = testsupport::startChild("scribble_words", {name, held, "10", "hold"}, temp.root() + "/holder.out");
  ASSERT_TRUE(waitForFile(held));
  kill(holder, SIGKILL);
  EXPECT_EQ(testsupport::waitChild(holder).signal, SIGKILL);
  EXPECT_EQ(words(), (std::vector<std::int64_t>{0, 0, 0, 0}));
}

// ---- another local user ------------------------------------------------------------

// Takes the lock in the file args[0] and holds it, having said so in args[1].
NORVANE_CHILD(hold_lock_file) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  platform::posixHost().openProcessLock(args.at(0))->lock();
  testsupport::writeFile(args.at(1), "");
  for (;;) pause();
}

// As user nobody, in a log directory open to everyone: a link to another file, a
// FIFO, or a lock file of its own that it holds. The installation's processes use
// none of them (once said on standard error), never wait, log, and change no file.
TEST(LogConcurrencyTest, ALockFileOfAnotherUserIsNotUsedAndHangsNothing) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to act as user nobody";
  const std::vector<std::string> asNobody{"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
  for (const std::string plant : {"link", "fifo", "held"}) {
    Installation installation(config(64, 0));
    const std::string root = installation.root(), lock = lockFile(installation.home());
    for (const std::string& open : {root, installation.home()}) std::filesystem::permissions(open, std::filesystem::perms(0755));
    std::filesystem::permissions(installation.logs(), std::filesystem::perms(01777));
    testsupport::writeFile(root + "/target", "precious\n");
    std::filesystem::permissions(root + "/target", std::filesystem::perms(0600));
    int holder = -1;
    if (plant == "held") {
      const std::string exe = std::filesystem::read_symlink("/proc/self/exe").string();
      std::vector<std::string> argv = asNobody;
      argv.insert(argv.end(), {exe, "--norvane-child=hold_lock_file", lock, installation.logs() + "/held"});
      holder = testsupport::launch(argv, {}, -1, -1, -1, 60);
      ASSERT_TRUE(waitForFile(installation.logs() + "/held"));
    } else {
      const std::string make = plant == "link" ? "ln -s " + root + "/target " + lock : "mkfifo -m 666 " + lock;
      std::vector<std::string> argv = asNobody;
      argv.insert(argv.end(), {"/bin/sh", "-c", make});
      ASSERT_EQ(0, testsupport::waitChild(testsupport::launch(argv, {}, -1, -1, -1, 10)).exitCode) << plant;
    }
    const auto run = testsupport::runChild("log_one_line", installation.args({"one", "two"}));
    EXPECT_EQ(0, run.exitCode) << plant;
    EXPECT_THAT(run.output, testing::StartsWith("norvane: log lock " + lock + " not used (")) << plant;
    EXPECT_EQ(run.output.find("norvane: log lock"), run.output.rfind("norvane: log lock")) << run.output;
    EXPECT_EQ(messages(installation.log()), (std::vector<std::string>{"one", "two"})) << plant;
    EXPECT_EQ("precious\n", testsupport::readFile(root + "/target")) << plant;
    EXPECT_EQ(std::filesystem::perms(0600), std::filesystem::status(root + "/target").permissions()) << plant;
    if (holder > 0) {
      kill(holder, SIGKILL);
      testsupport::waitChild(holder);
    }
  }
}
