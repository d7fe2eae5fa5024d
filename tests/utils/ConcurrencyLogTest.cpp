// The log lines of the locks, threads and the job pool, and the statement barrier
// that threads raise. Each case runs in a fresh process against a throwaway
// installation and reads the log file it left.
#include <gtest/gtest.h>

#include <utils/Lock.h>
#include <utils/Log.h>
#include <utils/Mutex.h>
#include <utils/SharedLock_SMutex.h>
#include <utils/SharedMutex.h>
#include <utils/Thread.h>
#include <utils/ThreadPool.h>
#include <utils/ThreadPoolJob.h>
#include <utils/UniqueLock_SMutex.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/MachineStore.h"
#include "support/ChildProcess.h"
#include "support/TempInstallation.h"
#include "utils/ConcurrencyTestSupport.h"

namespace {

using concurrencytest::eventually;
using concurrencytest::Gate;
using concurrencytest::ThreadExits;

const char kDebugBanner[] = " | Debug     : ";

// The messages of the DEBUG lines of a log text, in file order.
std::vector<std::string> debugMessages(const std::string& text) {
  std::vector<std::string> messages;
  std::istringstream in(text);
  std::string line;
  while (std::getline(in, line)) {
    const auto banner = line.find(kDebugBanner);
    if (banner != std::string::npos) messages.push_back(line.substr(banner + sizeof kDebugBanner - 1));
  }
  return messages;
}

std::size_t indexOf(const std::vector<std::string>& messages, const std::string& message) {
  return static_cast<std::size_t>(std::find(messages.begin(), messages.end(), message) -
                                  messages.begin());
}

class LoggedRun {
 public:
  LoggedRun() { m_installation.registerHome(); }
  testsupport::ChildResult run(const std::string& child) {
    return testsupport::runChild(child, {m_installation.storeRoot()});
  }
  std::vector<std::string> messages() const {
    return debugMessages(m_installation.readHomeFile("/logs/norvane.txt"));
  }

 private:
  testsupport::TempInstallation m_installation;
};

void doNothing() {}

class BlockingJob : public utils::ThreadPoolJob {
 public:
  BlockingJob(Gate& release, ThreadExits& exits) : m_release(release), m_exits(exits) {}
  void run() override {
    m_exits.noteExitOfThisThread();
    m_release.wait();
  }

 private:
  Gate& m_release;
  ThreadExits& m_exits;
};

NORVANE_CHILD(lock_and_thread_lines) {
  platform::setMachineStoreRoot(args.at(0));
  utils::log_debug("start");
  {
    utils::Mutex mutex;
    utils::Lock plain(&mutex, false);
    utils::SharedMutex shared;
    { utils::SharedLock_SMutex reader(&shared, false); }
    { utils::UniqueLock_SMutex writer(&shared, true); }
    { utils::SharedLock_SMutex empty(nullptr, false); }
    { utils::UniqueLock_SMutex empty(nullptr, true); }
  }
  utils::Thread worker("worker one", &doNothing);
  worker.join();
  utils::log_debug("end");
  return 0;
}

TEST(ConcurrencyLogTest, LockDestructorsAndJoinWriteTheirDebugLines) {
  LoggedRun run;
  const auto result = run.run("lock_and_thread_lines");
  ASSERT_EQ(result.exitCode, 0) << result.output;
  const std::vector<std::string> expected{
      "start",
      "SharedLock:Destruct - destroyed",
      "UniqueLock:Destruct - destroyed",
      "Thread:Join - waiting for child thread (name:'worker one') to join",
      "Thread:Join - thread (name:'worker one') join complete",
      "end"};
  EXPECT_EQ(run.messages(), expected);
}

NORVANE_CHILD(pool_lines) {
  platform::setMachineStoreRoot(args.at(0));
  Gate release;
  ThreadExits exits;
  {
    utils::ThreadPool pool(5);
    pool.addJob(nullptr);
    pool.addJob(new BlockingJob(release, exits));
    if (!eventually([&] { return pool.getRunningJobCount() == 1; })) return 3;
    pool.addJob(new BlockingJob(release, exits));
    if (!eventually([&] { return pool.getRunningJobCount() == 2; })) return 3;
    pool.addJob(new BlockingJob(release, exits));
    if (!eventually([&] { return pool.getRunningJobCount() == 3; })) return 3;
    release.open();
    if (!exits.waitFor(3)) return 4;
  }
  std::printf("main=%s\n", utils::Thread::get_id().c_str());
  return 0;
}

TEST(ConcurrencyLogTest, PoolNamesItsThreadsByTheRunningCountAndLogsItsTeardown) {
  LoggedRun run;
  const auto result = run.run("pool_lines");
  ASSERT_EQ(result.exitCode, 0) << result.output;
  const std::vector<std::string> messages = run.messages();

  // The three hand-overs, named by the count of jobs running at the time.
  std::vector<std::string> handOvers;
  for (const auto& message : messages) {
    if (message.rfind("ThreadP:addJob - ", 0) == 0) handOvers.push_back(message);
  }
  const std::vector<std::string> expectedHandOvers{
      "ThreadP:addJob - creating detatched thread 0 of ThreadPool.",
      "ThreadP:addJob - creating detatched thread 1 of ThreadPool.",
      "ThreadP:addJob - creating detatched thread 2 of ThreadPool."};
  EXPECT_EQ(handOvers, expectedHandOvers);

  // Each job thread: active, done, end, in that order, under its own identity.
  int jobThreads = 0;
  for (const auto& message : messages) {
    const std::string prefix = "ThreadP:detatch - now detatched thread ";
    if (message.rfind(prefix, 0) != 0) continue;
    ++jobThreads;
    const std::string id = message.substr(prefix.size(), message.size() - prefix.size() - 11);
    EXPECT_EQ(message, prefix + id + " is active.");
    const auto active = indexOf(messages, message);
    const auto done = indexOf(messages, "ThreadP:detatch - job done by detatched thread " + id +
                                            ". [pending count=0]");
    const auto end =
        indexOf(messages, "ThreadP:detatch - end of detatchedThreadRoutine for thread " + id);
    EXPECT_LT(active, done) << id;
    EXPECT_LT(done, end) << id;
    EXPECT_LT(end, messages.size()) << id;
  }
  EXPECT_EQ(jobThreads, 3);

  // The teardown, in order, after every job thread has finished.
  const std::vector<std::string> teardown{
      "ThreadP:Destruct - terminating thread pool...",
      "ThreadP:Destruct - notifying all pool threads...",
      "ThreadP:Destruct - thread pool join complete for all threads",
      "ThreadP:Destruct - thread pool high tide was 0",
      "ThreadP:Destruct - thread pool no longer present"};
  ASSERT_GE(messages.size(), teardown.size());
  EXPECT_EQ(std::vector<std::string>(messages.end() - teardown.size(), messages.end()), teardown);
}

// The barrier: with no Thread counted, a statement ignores a held m_Mutex; once
// one is counted, statements wait for it.
NORVANE_CHILD(statement_barrier) {
  platform::setMachineStoreRoot(args.at(0));
  if (utils::Thread::get_active_thread_count() != 0) return 3;
  std::atomic<bool> written{false};
  auto logFromAnotherThread = [&] {
    written = false;
    return std::thread([&] {
      utils::log_debug("from another thread");
      written = true;
    });
  };
  {
    utils::Lock hold(&utils::formatted_log_t::m_Mutex, false);
    std::thread free = logFromAnotherThread();
    free.join();
    std::printf("uncounted=%d\n", written.load() ? 1 : 0);
  }

  Gate release;
  utils::Thread counted("counted", [&] { release.wait(); });
  std::thread blocked;
  {
    utils::Lock hold(&utils::formatted_log_t::m_Mutex, false);
    blocked = logFromAnotherThread();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    std::printf("counted-held=%d\n", written.load() ? 1 : 0);
  }
  blocked.join();
  std::printf("counted-released=%d\n", written.load() ? 1 : 0);
  release.open();
  counted.join();
  return 0;
}

TEST(ConcurrencyLogTest, StatementsPassTheBarrierOnlyWhileAThreadIsCounted) {
  LoggedRun run;
  const auto result = run.run("statement_barrier");
  ASSERT_EQ(result.exitCode, 0) << result.output;
  EXPECT_NE(result.output.find("uncounted=1\ncounted-held=0\ncounted-released=1\n"),
            std::string::npos)
      << result.output;
}

}  // namespace
