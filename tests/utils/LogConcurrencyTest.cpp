// The log lock across threads and processes.
#include "utils/LogTestSupport.h"

using namespace logtest;
using std::chrono::milliseconds;

namespace {

void killAndReap(int pid) {
  kill(pid, SIGKILL);
  EXPECT_EQ(testsupport::waitChild(pid).signal, SIGKILL);
}

}  // namespace

// Writers numbered from args[2]: args[3] threads of args[4] lines each. The process
// starts its logger first (each start empties the file), says so with
// "<args[5]>/ready.<first>" and waits for "go".
NORVANE_CHILD(log_numbered_lines) {
  enterChild(args, 600);
  const int first = std::stoi(args.at(2)), threads = std::stoi(args.at(3)), count = std::stoi(args.at(4));
  logMsg(utils::EVERYTHING, "");
  if (!readyThenWait(args.at(5), args[2])) return 3;
  std::vector<std::thread> writers;
  for (int writer = first; writer < first + threads; ++writer) {
    writers.emplace_back([writer, count] {
      for (int line = 0; line < count; ++line) utils::log_info("%1% line %2% %3%") % writer % line % std::string(80, 'x');
    });
  }
  for (auto& thread : writers) thread.join();
  return 0;
}

// Four processes of two threads each write into one file and rotate it at 1 MB:
// every line reaches one of the files whole and exactly once, buffered or not. The
// torture script asks for more lines per process.
TEST(LogConcurrencyTest, ProcessesRotatingOneFileWriteEveryLineWholeAndOnce) {
  const char* asked = std::getenv("NORVANE_TORTURE_LOG_LINES");
  const int perWriter = (asked != nullptr ? std::atoi(asked) : 4000) / 2;
  for (int cacheMode : {0, 1}) {
    Installation installation(config(64, cacheMode, "log_file_size = 1\nlog_file_count = 50\n"));
    const std::string root = installation.root();
    std::vector<int> pids;
    for (const char* first : {"0", "2", "4", "6"}) {
      const Lines args = installation.args({first, "2", std::to_string(perWriter), root});
      pids.push_back(testsupport::startChild("log_numbered_lines", args, root + "/out." + first));
      EXPECT_TRUE(waitForFile(root + "/ready." + first)) << first;
    }
    testsupport::writeFile(root + "/go", "");
    for (int pid : pids) EXPECT_EQ(testsupport::waitChild(pid).exitCode, 0);
    // How often each line "<writer> line <n>" is in the log files, how many other
    // lines there are; every log file is 0640.
    static const std::regex whole(info(R"((\d+ line \d+) x{80})"));
    std::map<std::string, int> seen;
    int torn = 0, files = 0, duplicated = 0;
    for (const auto& entry : fs::directory_iterator(installation.logs())) {
      if (entry.path().filename().string().rfind("norvane", 0) != 0) continue;
      ++files;
      EXPECT_EQ(fs::perms(0640), entry.status().permissions()) << entry.path();
      for (const auto& line : testsupport::logTextLines(testsupport::readFile(entry.path()))) {
        std::smatch parts;
        std::regex_match(line, parts, whole) ? ++seen[parts[1]] : ++torn;
      }
    }
    for (const auto& [line, count] : seen) duplicated += count > 1;
    // Every line seen is one of the lines written (the pattern), so the rest are missing.
    const int missing = 8 * perWriter - static_cast<int>(seen.size());
    std::printf("cache mode %d: %d lines in %d files: %d torn, %d missing, %d duplicated\n", cacheMode,
                8 * perWriter, files, torn, missing, duplicated);
    EXPECT_EQ(0, torn + missing + duplicated) << cacheMode;
    EXPECT_GE(files, 2) << "the files rotated";
  }
}

// ---- a killed holder does not block anyone --------------------------------------

// Takes the lock in the file args[0], writes args[2] + 1..4 into its shared words
// unless args[2] is "-", says so in the file args[1], then releases the lock and
// ends, or (args[3] "hold") keeps it until it is killed.
NORVANE_CHILD(take_lock) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  auto lock = platform::posixHost().openProcessLock(args.at(0));
  lock->lock();
  for (int i = 0; args.at(2) != "-" && i < platform::ProcessLock::kSharedWords; ++i) {
    lock->sharedWords()[i] = std::stoi(args[2]) + i + 1;
  }
  testsupport::writeFile(args.at(1), "");
  while (args.at(3) == "hold") pause();
  lock->unlock();
  return 0;
}

// A holder killed with the lock held releases it to the writer waiting for it.
TEST(LogConcurrencyTest, AKilledHolderReleasesTheLockToTheWaitingWriter) {
  Installation installation(config(64, 0));
  const std::string root = installation.root();
  int holder = testsupport::startChild("take_lock", {installation.logs() + "/.InitSemaphore.lock", root + "/held", "-",
                                                     "hold"}, root + "/holder.out");
  ASSERT_TRUE(waitForFile(root + "/held"));
  int writer = testsupport::startChild("log_one_line", installation.args({"survivor of the holder"}), root + "/out");
  std::this_thread::sleep_for(milliseconds(500));
  EXPECT_EQ(installation.log(), "") << "a writer started now must wait for the holder";
  killAndReap(holder);
  EXPECT_EQ(testsupport::waitChild(writer).exitCode, 0) << testsupport::readFile(root + "/out");
  EXPECT_EQ(entries(installation.log()), Lines{"Info: survivor of the holder"});
}

// Every process sees the words shared beside the lock, and every lock of one path in
// a process is the same; a holder killed with the lock held may have left them half
// written, so the next holder finds them zero.
TEST(LogConcurrencyTest, SharedWordsAreSeenByAllAndStartAgainFromZeroAfterAKilledHolder) {
  testsupport::TempInstallation temp;
  const std::string name = temp.root() + "/words.lock", held = temp.root() + "/held";
  auto lock = platform::posixHost().openProcessLock(name);
  ASSERT_TRUE(lock && lock->sharedWords());
  EXPECT_EQ(lock->sharedWords(), platform::posixHost().openProcessLock(name)->sharedWords());
  auto words = [&] {
    lock->lock();
    std::vector<std::int64_t> seen(lock->sharedWords(), lock->sharedWords() + platform::ProcessLock::kSharedWords);
    lock->unlock();
    return seen;
  };
  EXPECT_EQ(testsupport::runChild("take_lock", {name, temp.root() + "/wrote", "0", "release"}).exitCode, 0);
  EXPECT_EQ(words(), (std::vector<std::int64_t>{1, 2, 3, 4}));
  int holder = testsupport::startChild("take_lock", {name, held, "10", "hold"}, temp.root() + "/holder.out");
  ASSERT_TRUE(waitForFile(held));
  killAndReap(holder);
  EXPECT_EQ(words(), (std::vector<std::int64_t>{0, 0, 0, 0}));
}

// A lock file the installation's processes must not use: a link to another file, a
// FIFO, a directory, a file with two names or with rights beyond 0660. They use none
// of them (once said on standard error), never wait, log, and change no file.
TEST(LogConcurrencyTest, AnUnsafeLockFileIsNotUsedAndHangsNothing) {
  const struct { const char* plant; std::string why; } rows[] = {
      {"ln -s ../target $L", "a symbolic link"}, {"mkfifo $L", "not a regular file"}, {"mkdir $L", "Is a directory"},
      {"touch $L && ln $L ../second", "a file with more than one name"},
      {"touch $L && chmod 666 $L", "rights beyond 0660"}};
  for (const auto& row : rows) {
    Installation installation(config(64, 0));
    const std::string lock = installation.logs() + "/.InitSemaphore.lock", target = installation.home() + "/target";
    testsupport::writeFile(target, "precious\n");
    ASSERT_EQ(0, std::system(("cd " + installation.logs() + " && L=.InitSemaphore.lock && " + row.plant).c_str())) << row.plant;
    EXPECT_EQ(testsupport::runChild("log_one_line", installation.args({"one", "two"})).output,
              "norvane: log lock " + lock + " not used (" + row.why +
                  "); this process logs without it\nresult=2 level=64 again=0\n") << row.plant;
    EXPECT_EQ(entries(installation.log()), (Lines{"Info: one", "Info: two"})) << row.plant;
    EXPECT_EQ("precious\n", testsupport::readFile(target)) << row.plant;
  }
}

// As user nobody, in a log directory open to everyone, a lock file of its own that
// it holds: the installation's processes do not use it and do not wait for it.
TEST(LogConcurrencyTest, ALockFileOfAnotherUserIsNotUsedAndHangsNothing) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to act as user nobody";
  Installation installation(config(64, 0));
  const std::string lock = installation.logs() + "/.InitSemaphore.lock";
  for (const std::string& open : {installation.root(), installation.home()}) fs::permissions(open, fs::perms(0755));
  fs::permissions(installation.logs(), fs::perms(01777));
  const int planter = testsupport::launch(
      {"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups",
       fs::read_symlink("/proc/self/exe").string(), "--norvane-child=take_lock", lock, installation.logs() + "/held",
       "-", "hold"}, {}, -1, -1, -1, 60);
  ASSERT_TRUE(waitForFile(installation.logs() + "/held"));
  EXPECT_EQ(installation.run("log_one_line", {"one", "two"}).output,
            "norvane: log lock " + lock + " not used (owned by another user); this process logs without it\n"
            "result=2 level=64 again=0\n");
  EXPECT_EQ(entries(installation.log()), (Lines{"Info: one", "Info: two"}));
  killAndReap(planter);
}
