// The log lock across threads and processes.
#include <sys/wait.h>

#include "utils/LogTestSupport.h"

using namespace logtest;
using std::chrono::milliseconds;

namespace {

// Every line must be whole ("<prefix> | Info      : <writer> line <n>") and each
// writer's numbers must arrive complete and in order.
void expectWholeLinesInOrder(const std::string& log, int writers, int perWriter) {
  const std::regex whole(logtest::info(R"((\d+) line (\d+))"));
  std::map<int, int> next;
  int torn = 0;
  for (const auto& line : logtest::lines(log)) {
    std::smatch parts;
    if (!std::regex_match(line, parts, whole)) {
      if (++torn < 5) ADD_FAILURE() << "torn line: " << line;
      continue;
    }
    const int writer = std::stoi(parts[1]), number = std::stoi(parts[2]);
    if (number != next[writer]) ADD_FAILURE() << "writer " << writer << " line " << number;
    next[writer] = number + 1;
  }
  EXPECT_EQ(torn, 0);
  ASSERT_EQ(static_cast<int>(next.size()), writers);
  for (const auto& [writer, count] : next) EXPECT_EQ(count, perWriter) << "writer " << writer;
}

bool exitedWithin(int pid, milliseconds limit, int& status) {
  return concurrencytest::eventually([&] { return waitpid(pid, &status, WNOHANG) == pid; }, limit);
}

}  // namespace

// Writers numbered from args[2]: args[3] threads of args[4] lines each. With a sync
// directory (args[5]) the process starts its logger first (each start empties the
// file), says so with "ready.<first>" and waits for "go".
NORVANE_CHILD(log_numbered_lines) {
  logtest::enterChild(args, 120);
  const int first = std::stoi(args.at(2)), threads = std::stoi(args.at(3)), count = std::stoi(args.at(4));
  if (args.size() > 5) {
    logMsg(utils::EVERYTHING, "");
    if (!readyThenWait(args[5], args[2])) return 3;
  }
  std::vector<std::thread> writers;
  for (int writer = first; writer < first + threads; ++writer) {
    writers.emplace_back([writer, count] {
      for (int line = 0; line < count; ++line) utils::log_info("%1% line %2%") % writer % line;
    });
  }
  for (auto& thread : writers) thread.join();
  return 0;
}

// Four threads of one process, buffered or not, then four processes into one file.
TEST(LogConcurrencyTest, ThreadsAndProcessesWriteWholeLinesInOrder) {
  for (int cacheMode : {0, 1}) {
    Installation installation(config(64, cacheMode));
    installation.run("log_numbered_lines", {"0", "4", "5000"});
    expectWholeLinesInOrder(installation.log(), 4, 5000);
  }
  Installation installation(config(64, 0));
  const std::string root = installation.root();
  runTogether(installation, "log_numbered_lines", {"0", "1", "2", "3"}, root,
              [&](const std::string& writer) { return std::vector<std::string>{writer, "1", "20000", root}; });
  expectWholeLinesInOrder(installation.log(), 4, 20000);
}

// ---- a killed holder does not block anyone --------------------------------------

LOG_CHILD(hold_log_lock) {
  logMsg(utils::EVERYTHING, "");
  platform::host().openProcessLock("InitSemaphore")->lock();
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

TEST(LogConcurrencyTest, WriterKilledInTheMiddleOfLoggingReleasesTheLock) {
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
    EXPECT_NE(installation.log().find(survivor + "\n"), std::string::npos) << round;
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
  const std::string name = "words-test-" + std::to_string(getpid());
  struct RemoveLockFile {
    std::string name;
    ~RemoveLockFile() {
      std::filesystem::remove("/dev/shm/norvane-" + name + ".lock");
      std::filesystem::remove("/tmp/norvane-" + name + ".lock");
    }
  } cleanup{name};
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
