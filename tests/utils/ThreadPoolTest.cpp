// utils::ThreadPool: one detached thread per job, the counters, the destructor's
// wait, and a job that throws.
#include "support/TestPrelude.h"

#include "support/ChildProcess.h"
#include "utils/ConcurrencyTestSupport.h"

namespace {

using namespace concurrencytest;
using namespace utils;

// "running pending hightide" of a pool.
std::string counters(ThreadPool& pool) {
  return std::to_string(pool.getRunningJobCount()) + " " + std::to_string(pool.getPendingJobCount()) + " " +
         std::to_string(pool.getPendingJobHighTide());
}

// A new pool is idle with no thread (its size is not used), and a null job is
// ignored. Then the size of 2 is no limit: every job gets its own thread even while
// others block, and nothing waits in a queue. Detached threads are never joined: the
// count keeps them.
TEST(ThreadPoolTest, EveryJobGetsItsOwnThreadEvenWhileOthersBlock) {
  ThreadPool::threadRoutine(nullptr);  // without a pool it returns
  const unsigned int before = Thread::get_active_thread_count();
  ThreadPool(-1).addJob(nullptr);  // ignored: no thread, and the destructor has nothing to wait for
  Gate release, exits;
  std::atomic<int> destroyed{0};
  {
    ThreadPool pool(2);
    for (int job = 0; job < 3; ++job) pool.addJob(countedJob(exits, [&] { release.wait(); }, [&] { ++destroyed; }));
    EXPECT_TRUE(eventually([&] { return counters(pool) == "3 0 0"; })) << counters(pool);
    release.open();
    ASSERT_TRUE(exits.waitFor(3));  // the job threads read the pool once more after their count falls
    EXPECT_EQ("0 0 0, destroyed 3", counters(pool) + ", destroyed " + std::to_string(destroyed));
  }
  EXPECT_EQ(Thread::get_active_thread_count(), before + 3);
}

// A job is counted while it runs and until it is destroyed; from inside run it may
// read the counts and add a job. The destructor waits for a running job that outlives
// its start by half a second, returning at its next poll once a second.
TEST(ThreadPoolTest, JobIsCountedUntilDestroyedMayAddAJobAndIsWaitedFor) {
  Gate exits;
  std::string seen, inner = "inner not run";  // written by the jobs' threads, read after their exit
  std::atomic<bool> jobEnded{false};
  auto* pool = new ThreadPool(1);
  pool->addJob(countedJob(exits, [&] {
    seen = "run " + counters(*pool);
    pool->addJob(countedJob(exits, [&] { inner = "inner ran"; }));
  }, [&] { seen += ", destructor " + std::to_string(pool->getRunningJobCount()); }));
  ASSERT_TRUE(exits.waitFor(2));
  EXPECT_EQ("run 1 0 0, destructor 1, inner ran", seen + ", " + inner);
  pool->addJob(new FunctionJob([&] { std::this_thread::sleep_for(std::chrono::milliseconds(500)), jobEnded = true; }));
  ASSERT_TRUE(eventually([&] { return pool->getRunningJobCount() == 1; }));
  const auto start = Clock::now();
  delete pool;
  EXPECT_TRUE(jobEnded.load());
  EXPECT_GE(secondsSince(start), 0.99);
}

// A job that throws: the pool deletes it and uncounts it, then the exception
// leaves the thread and ends the process. The terminate handler reports what the
// pool looked like at that moment.
NORVANE_CHILD(throwing_job) {
  static ThreadPool* const pool = new ThreadPool(1);  // never destroyed: the process ends first
  static std::atomic<bool> destroyed{false};
  std::set_terminate([] {
    try { std::rethrow_exception(std::current_exception()); } catch (const std::exception& e) {
      std::printf("terminated what=%s destroyed=%d running=%d\n", e.what(), int(destroyed), pool->getRunningJobCount());
    }
    std::fflush(stdout);
    std::_Exit(42);
  });
  pool->addJob(new FunctionJob([] { throw std::runtime_error("job failed"); }, [] { destroyed = true; }));
  std::this_thread::sleep_for(std::chrono::seconds(20));
  return 0;
}

TEST(ThreadPoolTest, ThrowingJobIsDeletedAndUncountedThenEndsTheProcess) {
  const testsupport::ChildResult result = testsupport::runChild("throwing_job");
  EXPECT_EQ(42, result.exitCode) << result.output;
  EXPECT_NE(std::string::npos, result.output.find("terminated what=job failed destroyed=1 running=0\n"))
      << result.output;
}

}  // namespace
