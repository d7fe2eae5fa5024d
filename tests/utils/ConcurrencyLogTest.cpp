// The log lines of the locks, threads and the job pool, and the statement barrier
// that threads raise. Each case runs in a fresh process against a throwaway
// installation and reads the log file it left.
#include "utils/LogTestSupport.h"

namespace {

using namespace concurrencytest;
using Lines = std::vector<std::string>;

// Runs a child against a throwaway installation; checks it exited 0 and returns
// the messages of the DEBUG lines it logged, in file order.
Lines debugMessagesOfChild(const std::string& child, std::string* output = nullptr) {
  logtest::Installation installation;
  const std::string out = installation.run(child).output, banner = " | Debug     : ";
  if (output != nullptr) *output = out;
  Lines messages;
  for (const auto& line : logtest::lines(installation.log())) {
    const auto at = line.find(banner);
    if (at != std::string::npos) messages.push_back(line.substr(at + banner.size()));
  }
  return messages;
}

LOG_CHILD(lock_and_thread_lines) {
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
  EXPECT_EQ(debugMessagesOfChild("lock_and_thread_lines"),
            (Lines{"start", "SharedLock:Destruct - destroyed", "UniqueLock:Destruct - destroyed",
                   "Thread:Join - waiting for child thread (name:'worker one') to join",
                   "Thread:Join - thread (name:'worker one') join complete", "end"}));
}

LOG_CHILD(pool_lines) {
  Gate release, exits;
  {
    utils::ThreadPool pool(5);
    pool.addJob(nullptr);
    for (int running = 1; running <= 3; ++running) {
      pool.addJob(countedJob(exits, [&] { release.wait(); }));
      if (!eventually([&] { return pool.getRunningJobCount() == running; })) return 3;
    }
    release.open();
    if (!exits.waitFor(3)) return 4;
  }
  return 0;
}

TEST(ConcurrencyLogTest, PoolNamesItsThreadsByTheRunningCountAndLogsItsTeardown) {
  const Lines messages = debugMessagesOfChild("pool_lines");
  // Each job thread's lines, its identity replaced by <id>, in their order; the
  // pool's own lines apart.
  std::map<std::string, Lines> byThread;
  Lines poolLines;
  const std::regex jobLine("(ThreadP:detatch - .*thread )([0-9a-f]+)(.*)");
  for (const auto& message : messages) {
    std::smatch match;
    if (std::regex_match(message, match, jobLine)) {
      byThread[match[2]].push_back(match[1].str() + "<id>" + match[3].str());
    } else {
      poolLines.push_back(message);
    }
  }
  ASSERT_EQ(byThread.size(), 3u);
  for (const auto& [id, lines] : byThread) {
    EXPECT_EQ(lines, (Lines{"ThreadP:detatch - now detatched thread <id> is active.",
                            "ThreadP:detatch - job done by detatched thread <id>. [pending count=0]",
                            "ThreadP:detatch - end of detatchedThreadRoutine for thread <id>"})) << id;
  }
  const Lines teardown{"ThreadP:Destruct - terminating thread pool...",
                       "ThreadP:Destruct - notifying all pool threads...",
                       "ThreadP:Destruct - thread pool join complete for all threads",
                       "ThreadP:Destruct - thread pool high tide was 0",
                       "ThreadP:Destruct - thread pool no longer present"};
  // The hand-overs are named by the count of jobs running at the time.
  Lines expected;
  for (const std::string n : {"0", "1", "2"}) {
    expected.push_back("ThreadP:addJob - creating detatched thread " + n + " of ThreadPool.");
  }
  expected.insert(expected.end(), teardown.begin(), teardown.end());
  EXPECT_EQ(poolLines, expected);
  // The teardown comes after every job thread has finished.
  ASSERT_GE(messages.size(), teardown.size());
  EXPECT_EQ(Lines(messages.end() - teardown.size(), messages.end()), teardown);
}

// The barrier: with no Thread counted, a statement ignores a held m_Mutex; once
// one is counted, statements wait for it.
LOG_CHILD(statement_barrier) {
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
    logFromAnotherThread().join();
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
  std::string output;
  debugMessagesOfChild("statement_barrier", &output);
  EXPECT_NE(output.find("uncounted=1\ncounted-held=0\ncounted-released=1\n"), std::string::npos) << output;
}

}  // namespace
