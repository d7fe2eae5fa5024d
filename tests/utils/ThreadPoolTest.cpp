// utils::ThreadPool: one detached thread per job, the counters, the destructor's
// wait, the resident worker path, and a job that throws.
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "support/ChildProcess.h"
#include "utils/ConcurrencyTestSupport.h"

namespace utils {

// White-box access for driving the resident worker: nothing in the library fills
// the queue, so the tests do it the way a worker expects it, under the pool's lock.
class ThreadPoolTestPeer {
 public:
  static void enqueue(ThreadPool& pool, std::initializer_list<ThreadPoolJob*> jobs) {
    Lock lock(pool.m_mutex, false);
    pool.m_jobs.insert(pool.m_jobs.end(), jobs);
    pool.m_condition->notifyOne();
  }
  static void markTerminating(ThreadPool& pool) { pool.m_terminate = true; }
};

}  // namespace utils

namespace {

using namespace concurrencytest;
using namespace utils;

// "running pending hightide" of a pool.
std::string counters(ThreadPool& pool) {
  return std::to_string(pool.getRunningJobCount()) + " " + std::to_string(pool.getPendingJobCount()) +
         " " + std::to_string(pool.getPendingJobHighTide());
}

TEST(ThreadPoolTest, AnySizeGivesAnIdlePoolWithNoThreadAndANullJobIsIgnored) {
  const unsigned int before = Thread::get_active_thread_count();
  const auto start = Clock::now();
  for (int size : {0, 4, -1}) {
    ThreadPool pool(size);
    pool.addJob(nullptr);
    EXPECT_EQ(counters(pool), "0 0 0") << size;
  }
  EXPECT_EQ(Thread::get_active_thread_count(), before);
  EXPECT_LT(secondsSince(start), 0.9);  // no running job, so no poll
}

TEST(ThreadPoolTest, EveryJobGetsItsOwnThreadEvenWhileOthersBlock) {
  Gate release, exits;
  std::atomic<int> destroyed{0};
  const unsigned int before = Thread::get_active_thread_count();
  {
    ThreadPool pool(2);
    auto addBlockedJob = [&] { pool.addJob(countedJob(exits, [&] { release.wait(); }, [&] { ++destroyed; })); };
    addBlockedJob();
    addBlockedJob();
    ASSERT_TRUE(eventually([&] { return pool.getRunningJobCount() == 2; }));
    addBlockedJob();  // the size of 2 is no limit
    EXPECT_TRUE(eventually([&] { return pool.getRunningJobCount() == 3; }));
    EXPECT_EQ(counters(pool), "3 0 0");
    EXPECT_EQ(Thread::get_active_thread_count(), before + 3);
    release.open();
    EXPECT_TRUE(eventually([&] { return pool.getRunningJobCount() == 0; }));
    EXPECT_EQ(destroyed.load(), 3);
    ASSERT_TRUE(exits.waitFor(3));  // the job threads read the pool once more after their count falls
    EXPECT_EQ(counters(pool), "0 0 0");
  }
  // Detached threads are never joined, so the count keeps every one of them.
  EXPECT_EQ(Thread::get_active_thread_count(), before + 3);
}

TEST(ThreadPoolTest, JobIsCountedWhileRunningAndDestroyedBeforeTheCountFalls) {
  Gate exits;
  int countInRun = -1, countInDestructor = -1;
  ThreadPool pool(1);
  pool.addJob(countedJob(exits, [&] { countInRun = pool.getRunningJobCount(); },
                         [&] { countInDestructor = pool.getRunningJobCount(); }));
  ASSERT_TRUE(exits.wait());
  EXPECT_EQ(countInRun, 1);
  EXPECT_EQ(countInDestructor, 1);
  EXPECT_EQ(pool.getRunningJobCount(), 0);
}

TEST(ThreadPoolTest, JobMayAddAJobAndReadTheCountsFromInsideRun) {
  Gate exits;
  std::atomic<bool> innerRan{false};
  int pendingSeen = -1;
  ThreadPool pool(1);
  pool.addJob(countedJob(exits, [&] {
    pendingSeen = pool.getPendingJobCount();
    pool.addJob(countedJob(exits, [&] { innerRan = true; }));
  }));
  ASSERT_TRUE(exits.waitFor(2));
  EXPECT_TRUE(innerRan.load());
  EXPECT_EQ(pendingSeen, 0);
}

TEST(ThreadPoolTest, DestructorWaitsForARunningJobPollingOnceASecond) {
  Gate started, release;
  std::atomic<bool> jobEnded{false}, destructorReturned{false};
  auto* pool = new ThreadPool(1);
  pool->addJob(new FunctionJob([&] {
    started.open();
    release.wait();
    jobEnded = true;
  }));
  ASSERT_TRUE(started.wait());
  ASSERT_TRUE(eventually([&] { return pool->getRunningJobCount() == 1; }));
  const auto start = Clock::now();
  bool jobEndedBeforeReturn = false;
  std::thread destroyer([&] {
    delete pool;
    jobEndedBeforeReturn = jobEnded;
    destructorReturned = true;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  EXPECT_FALSE(destructorReturned.load());
  release.open();
  destroyer.join();
  EXPECT_TRUE(jobEndedBeforeReturn);
  EXPECT_GE(secondsSince(start), 0.99);  // the next poll, not the job's end
}

TEST(ThreadPoolTest, ResidentWorkerWakesForQueuedJobsAndRunsThemFrontFirst) {
  ThreadPool::threadRoutine(nullptr);  // without a pool it returns
  ThreadPool pool(1);
  std::vector<std::string> log;  // written by the one worker, read after its join
  auto add = [&](const std::string& entry) { log.push_back(entry); };
  std::atomic<int> destroyed{0};
  auto recordingJob = [&](std::string name) {
    return new FunctionJob([&, name] { add(name + " " + counters(pool)); }, [&] { ++destroyed; });
  };
  const unsigned int before = Thread::get_active_thread_count();
  Thread worker("resident", &ThreadPool::threadRoutine, &pool);
  // Whether the worker is already waiting or not, the notify or its own test of
  // the queue picks the jobs up; queued at once, so the counts are fixed.
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  ThreadPoolTestPeer::enqueue(pool, {recordingJob("first"), recordingJob("second"), new FunctionJob([&] {
                                       add("last");
                                       ThreadPoolTestPeer::markTerminating(pool);  // seen on the next pass
                                     })});
  worker.join();  // returns only because the last job ended the routine
  EXPECT_EQ(Thread::get_active_thread_count(), before);
  EXPECT_EQ(log, (std::vector<std::string>{"first 1 2 0", "second 1 1 0", "last"}));
  EXPECT_EQ(destroyed.load(), 2);
  EXPECT_EQ(counters(pool), "0 0 0");
}

// A job that throws: the pool deletes it and uncounts it, then the exception
// leaves the thread and ends the process. The terminate handler reports what the
// pool looked like at that moment.
ThreadPool* g_throwingPool = nullptr;
std::atomic<bool> g_throwingJobDestroyed{false};

void reportAndExit() {
  std::string what = "none";
  try {
    if (std::exception_ptr error = std::current_exception()) std::rethrow_exception(error);
  } catch (const std::exception& e) {
    what = e.what();
  } catch (...) {
    what = "unknown";
  }
  std::printf("terminated what=%s destroyed=%d running=%d\n", what.c_str(),
              g_throwingJobDestroyed.load() ? 1 : 0, g_throwingPool->getRunningJobCount());
  std::fflush(stdout);
  std::_Exit(42);
}

NORVANE_CHILD(throwing_job) {
  std::set_terminate(&reportAndExit);
  g_throwingPool = new ThreadPool(1);  // never destroyed: the process ends first
  g_throwingPool->addJob(new FunctionJob([] { throw std::runtime_error("job failed"); },
                                         [] { g_throwingJobDestroyed = true; }));
  std::this_thread::sleep_for(std::chrono::seconds(20));
  std::printf("process outlived the throwing job\n");
  return 0;
}

TEST(ThreadPoolTest, ThrowingJobIsDeletedAndUncountedThenEndsTheProcess) {
  testsupport::ChildResult result = testsupport::runChild("throwing_job");
  EXPECT_EQ(result.exitCode, 42) << result.output;
  EXPECT_NE(result.output.find("terminated what=job failed destroyed=1 running=0\n"), std::string::npos)
      << result.output;
}

}  // namespace
