// The log lock across threads and processes, and the allocation-free write path.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <thread>
#include <utils/Log.h>

#include "utils/LogTestSupport.h"

using logtest::Installation;
using logtest::kStampAndId;
using logtest::lines;

namespace {

void limitChildTime(unsigned int seconds = 60) { alarm(seconds); }

std::string config(int cacheMode) {
  return "log_level = 64\nlog_cache_mode = " + std::to_string(cacheMode) + "\n";
}

bool waitForFile(const std::string& path, std::chrono::seconds limit) {
  auto until = std::chrono::steady_clock::now() + limit;
  while (!std::filesystem::exists(path)) {
    if (std::chrono::steady_clock::now() > until) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

// Every line must be whole ("<prefix> | Info      : <writer> line <n>") and each
// writer's numbers must arrive complete and in order.
void expectWholeLinesInOrder(const std::string& log, int writers, int perWriter) {
  const std::regex whole("(" + kStampAndId + R"() \| Info      : (\d+) line (\d+))");
  std::map<int, int> next;
  int torn = 0;
  for (const auto& line : lines(log)) {
    std::smatch parts;
    if (!std::regex_match(line, parts, whole)) {
      if (++torn < 5) ADD_FAILURE() << "torn line: " << line;
      continue;
    }
    int writer = std::stoi(parts[2]);
    int number = std::stoi(parts[3]);
    if (number != next[writer]) ADD_FAILURE() << "writer " << writer << " line " << number;
    next[writer] = number + 1;
  }
  EXPECT_EQ(torn, 0);
  ASSERT_EQ(static_cast<int>(next.size()), writers);
  for (const auto& [writer, count] : next) EXPECT_EQ(count, perWriter) << "writer " << writer;
}

}  // namespace

NORVANE_CHILD(count_allocations_of_log_msg) {
  limitChildTime();
  logtest::useInstallation(args);
  logMsg(utils::INFO, "started\n");
  logtest::countAllocations(true);
  for (int i = 0; i < 200; ++i) {
    logMsg(utils::INFO, "line %d of %s\n", i, "the test");
    logMsg(utils::EVERYTHING, "filtered %d\n", i);
  }
  utils::formatted_log_t::uninitializeLogger();
  logtest::countAllocations(false);
  std::printf("allocations=%ld\n", logtest::allocationsCounted());
  return 0;
}

TEST(LogWritePathTest, WritingAndFilteringAllocateNothing) {
  for (int cacheMode : {0, 1}) {
    Installation installation(config(cacheMode));
    auto result = installation.run("count_allocations_of_log_msg");
    ASSERT_EQ(result.exitCode, 0) << result.output;
    EXPECT_NE(result.output.find("allocations=0"), std::string::npos) << result.output;
    EXPECT_EQ(lines(installation.log()).size(), 201u);
  }
}

// ---- threads of one process ---------------------------------------------------

NORVANE_CHILD(log_from_threads) {
  limitChildTime();
  logtest::useInstallation(args);
  std::vector<std::thread> threads;
  for (int writer = 0; writer < 4; ++writer) {
    threads.emplace_back([writer] {
      for (int line = 0; line < 5000; ++line) utils::log_info("%1% line %2%") % writer % line;
    });
  }
  for (auto& thread : threads) thread.join();
  return 0;
}

TEST(LogConcurrencyTest, ThreadsOfOneProcessWriteWholeLines) {
  for (int cacheMode : {0, 1}) {
    Installation installation(config(cacheMode));
    auto result = installation.run("log_from_threads");
    ASSERT_EQ(result.exitCode, 0) << result.output;
    expectWholeLinesInOrder(installation.log(), 4, 5000);
  }
}

// ---- processes sharing one file -----------------------------------------------

NORVANE_CHILD(log_from_process) {
  limitChildTime(120);
  logtest::useInstallation(args);
  const int writer = std::stoi(args.at(2));
  const std::string root = args.at(3);
  // Start first (each start empties the file), then wait until every writer has.
  logMsg(utils::EVERYTHING, "");
  testsupport::writeFile(root + "/ready." + std::to_string(writer), "");
  if (!waitForFile(root + "/go", std::chrono::seconds(60))) return 3;
  for (int line = 0; line < 20000; ++line) utils::log_info("%1% line %2%") % writer % line;
  return 0;
}

TEST(LogConcurrencyTest, FourProcessesWriteWholeLinesIntoOneFile) {
  Installation installation(config(0));
  const std::string root = installation.temp().root();
  std::vector<int> pids;
  for (int writer = 0; writer < 4; ++writer) {
    pids.push_back(testsupport::startChild(
        "log_from_process",
        {installation.temp().storeRoot(), installation.temp().home(), std::to_string(writer), root},
        root + "/out." + std::to_string(writer)));
  }
  for (int writer = 0; writer < 4; ++writer) {
    EXPECT_TRUE(waitForFile(root + "/ready." + std::to_string(writer), std::chrono::seconds(30)));
  }
  testsupport::writeFile(root + "/go", "");
  for (int pid : pids) EXPECT_EQ(testsupport::waitChild(pid).exitCode, 0);
  expectWholeLinesInOrder(installation.log(), 4, 20000);
}

// ---- a killed holder does not block anyone --------------------------------------

NORVANE_CHILD(hold_log_lock) {
  limitChildTime();
  logtest::useInstallation(args);
  logMsg(utils::EVERYTHING, "");
  std::unique_ptr<platform::ProcessLock> lock = platform::host().openProcessLock("InitSemaphore");
  lock->lock();
  testsupport::writeFile(args.at(2), "");
  for (;;) pause();
}

NORVANE_CHILD(log_forever) {
  limitChildTime();
  logtest::useInstallation(args);
  logMsg(utils::EVERYTHING, "");
  testsupport::writeFile(args.at(2), "");
  for (int line = 0;; ++line) utils::log_info("%1% line %2%") % 9 % line;
}

bool exitedWithin(int pid, std::chrono::milliseconds limit, int& status) {
  auto until = std::chrono::steady_clock::now() + limit;
  while (std::chrono::steady_clock::now() < until) {
    if (waitpid(pid, &status, WNOHANG) == pid) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return false;
}

TEST(LogConcurrencyTest, HolderKilledWithTheLockHeldReleasesIt) {
  Installation installation(config(0));
  const std::string root = installation.temp().root();
  const std::string store = installation.temp().storeRoot();
  const std::string home = installation.temp().home();

  int holder = testsupport::startChild("hold_log_lock", {store, home, root + "/held"}, root + "/holder.out");
  ASSERT_TRUE(waitForFile(root + "/held", std::chrono::seconds(30)));
  // A writer started now must wait for the holder.
  int writer = testsupport::startChild("log_one_line", {store, home, "after the kill"}, root + "/writer.out");
  int status = 0;
  EXPECT_FALSE(exitedWithin(writer, std::chrono::milliseconds(500), status))
      << testsupport::readFile(root + "/writer.out");

  kill(holder, SIGKILL);
  EXPECT_EQ(testsupport::waitChild(holder).signal, SIGKILL);
  ASSERT_TRUE(exitedWithin(writer, std::chrono::seconds(20), status));
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << testsupport::readFile(root + "/writer.out");
  EXPECT_NE(installation.log().find("after the kill\n"), std::string::npos) << installation.log();
}

TEST(LogConcurrencyTest, WriterKilledInTheMiddleOfLoggingReleasesTheLock) {
  Installation installation(config(0));
  const std::string root = installation.temp().root();
  const std::string store = installation.temp().storeRoot();
  const std::string home = installation.temp().home();
  for (int round = 0; round < 3; ++round) {
    const std::string marker = root + "/busy." + std::to_string(round);
    int busy = testsupport::startChild("log_forever", {store, home, marker}, root + "/busy.out");
    ASSERT_TRUE(waitForFile(marker, std::chrono::seconds(30)));
    std::this_thread::sleep_for(std::chrono::milliseconds(100 + 37 * round));
    kill(busy, SIGKILL);
    EXPECT_EQ(testsupport::waitChild(busy).signal, SIGKILL);
    auto result = testsupport::runChild("log_one_line", {store, home, "survivor " + std::to_string(round)});
    EXPECT_EQ(result.exitCode, 0) << result.output;
    EXPECT_NE(installation.log().find("survivor " + std::to_string(round) + "\n"), std::string::npos);
  }
}
