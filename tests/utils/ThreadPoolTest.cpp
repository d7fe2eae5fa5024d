// utils::ThreadPool: one detached thread per job, the counters, the destructor's
// wait, the resident worker path, and a job that throws.
#include <gtest/gtest.h>

#include <utils/Lock.h>
#include <utils/Condition.h>
#include <utils/Thread.h>
#include <utils/ThreadPool.h>
#include <utils/ThreadPoolJob.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "support/ChildProcess.h"
#include "utils/ConcurrencyTestSupport.h"

namespace utils {

// White-box access for driving the resident worker: nothing in the library fills
// the queue, so the tests do it the way a worker expects it, under the pool's lock.
class ThreadPoolTestPeer {
 public:
  static void enqueue(ThreadPool& pool, ThreadPoolJob* job) {
    Lock lock(pool.m_mutex, false);
    pool.m_jobs.push_back(job);
    pool.m_condition->notifyOne();
  }
  static void markTerminating(ThreadPool& pool) { pool.m_terminate = true; }
};

}  // namespace utils

namespace {

using concurrencytest::Clock;
using concurrencytest::eventually;
using concurrencytest::Gate;
using concurrencytest::secondsSince;
using concurrencytest::ThreadExits;
using utils::Thread;
using utils::ThreadPool;
using utils::ThreadPoolJob;
using utils::ThreadPoolTestPeer;

// A job built from two callables; the second runs in its destructor.
class FunctionJob : public ThreadPoolJob {
 public:
  explicit FunctionJob(std::function<void()> body, std::function<void()> onDestroy = {})
      : m_body(std::move(body)), m_onDestroy(std::move(onDestroy)) {}
  ~FunctionJob() override {
    if (m_onDestroy) m_onDestroy();
  }
  void run() override { m_body(); }

 private:
  std::function<void()> m_body;
  std::function<void()> m_onDestroy;
};

void expectIdle(ThreadPool& pool) {
  EXPECT_EQ(pool.getRunningJobCount(), 0);
  EXPECT_EQ(pool.getPendingJobCount(), 0);
  EXPECT_EQ(pool.getPendingJobHighTide(), 0);
}

TEST(ThreadPoolTest, AnySizeGivesAnIdlePoolWithNoThread) {
  const unsigned int before = Thread::get_active_thread_count();
  const auto start = Clock::now();
  for (int size : {0, 4, -1}) {
    ThreadPool pool(size);
    expectIdle(pool);
  }
  EXPECT_EQ(Thread::get_active_thread_count(), before);
  EXPECT_LT(secondsSince(start), 0.9);  // no running job, so no poll
}

TEST(ThreadPoolTest, NullJobIsIgnored) {
  ThreadPool pool(2);
  const unsigned int before = Thread::get_active_thread_count();
  pool.addJob(nullptr);
  EXPECT_EQ(Thread::get_active_thread_count(), before);
  expectIdle(pool);
}

TEST(ThreadPoolTest, EveryJobGetsItsOwnThreadEvenWhileOthersBlock) {
  Gate release;
  ThreadExits exits;
  std::atomic<int> destroyed{0};
  const unsigned int before = Thread::get_active_thread_count();
  {
    ThreadPool pool(2);
    auto blockedJob = [&] {
      return new FunctionJob(
          [&] {
            exits.noteExitOfThisThread();
            release.wait();
          },
          [&] { ++destroyed; });
    };
    pool.addJob(blockedJob());
    pool.addJob(blockedJob());
    ASSERT_TRUE(eventually([&] { return pool.getRunningJobCount() == 2; }));
    pool.addJob(blockedJob());  // the size of 2 is no limit
    EXPECT_TRUE(eventually([&] { return pool.getRunningJobCount() == 3; }));
    EXPECT_EQ(pool.getPendingJobCount(), 0);
    EXPECT_EQ(pool.getPendingJobHighTide(), 0);
    EXPECT_EQ(Thread::get_active_thread_count(), before + 3);

    release.open();
    EXPECT_TRUE(eventually([&] { return pool.getRunningJobCount() == 0; }));
    EXPECT_EQ(destroyed.load(), 3);
    // The job threads read the pool once more after their count falls.
    ASSERT_TRUE(exits.waitFor(3));
    expectIdle(pool);
  }
  // Detached threads are never joined, so the count keeps every one of them.
  EXPECT_EQ(Thread::get_active_thread_count(), before + 3);
}

TEST(ThreadPoolTest, JobIsCountedWhileRunningAndDestroyedBeforeTheCountFalls) {
  ThreadExits exits;
  int countInRun = -1;
  int countInDestructor = -1;
  ThreadPool pool(1);
  pool.addJob(new FunctionJob(
      [&] {
        exits.noteExitOfThisThread();
        countInRun = pool.getRunningJobCount();
      },
      [&] { countInDestructor = pool.getRunningJobCount(); }));
  ASSERT_TRUE(exits.waitFor(1));
  EXPECT_EQ(countInRun, 1);
  EXPECT_EQ(countInDestructor, 1);
  EXPECT_EQ(pool.getRunningJobCount(), 0);
}

TEST(ThreadPoolTest, JobMayAddAJobAndReadTheCountsFromInsideRun) {
  ThreadExits exits;
  std::atomic<bool> innerRan{false};
  int pendingSeen = -1;
  ThreadPool pool(1);
  pool.addJob(new FunctionJob([&] {
    exits.noteExitOfThisThread();
    pendingSeen = pool.getPendingJobCount();
    pool.addJob(new FunctionJob([&] {
      exits.noteExitOfThisThread();
      innerRan = true;
    }));
  }));
  ASSERT_TRUE(exits.waitFor(2));
  EXPECT_TRUE(innerRan.load());
  EXPECT_EQ(pendingSeen, 0);
}

TEST(ThreadPoolTest, DestructorWaitsForARunningJobPollingOnceASecond) {
  Gate started;
  Gate release;
  std::atomic<bool> jobEnded{false};
  std::atomic<bool> destructorReturned{false};
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

// One routine that records the order of queued jobs and what the pool reported
// while each ran.
struct ResidentLog {
  std::mutex mutex;
  std::vector<std::string> entries;
  void add(const std::string& entry) {
    std::lock_guard<std::mutex> guard(mutex);
    entries.push_back(entry);
  }
};

TEST(ThreadPoolTest, ResidentWorkerStartedByAClientRunsQueuedJobsFrontFirst) {
  ThreadPool pool(1);
  ResidentLog log;
  std::atomic<int> destroyed{0};
  auto recordingJob = [&](const std::string& name) {
    return new FunctionJob(
        [&, name] {
          log.add(name + " running=" + std::to_string(pool.getRunningJobCount()) +
                  " pending=" + std::to_string(pool.getPendingJobCount()));
        },
        [&] { ++destroyed; });
  };
  // Fill the queue before the worker can see it, so the counts are fixed.
  ThreadPoolTestPeer::enqueue(pool, recordingJob("first"));
  ThreadPoolTestPeer::enqueue(pool, recordingJob("second"));
  ThreadPoolTestPeer::enqueue(pool, new FunctionJob([&] {
    log.add("last");
    ThreadPoolTestPeer::markTerminating(pool);  // seen on the worker's next pass
  }));
  EXPECT_EQ(pool.getPendingJobCount(), 3);

  const unsigned int before = Thread::get_active_thread_count();
  Thread worker("resident", &ThreadPool::threadRoutine, &pool);
  worker.join();  // returns only because the last job ended the routine
  EXPECT_EQ(Thread::get_active_thread_count(), before);

  ASSERT_EQ(log.entries.size(), 3u);
  EXPECT_EQ(log.entries[0], "first running=1 pending=2");
  EXPECT_EQ(log.entries[1], "second running=1 pending=1");
  EXPECT_EQ(log.entries[2], "last");
  EXPECT_EQ(destroyed.load(), 2);
  EXPECT_EQ(pool.getRunningJobCount(), 0);
  EXPECT_EQ(pool.getPendingJobCount(), 0);
  EXPECT_EQ(pool.getPendingJobHighTide(), 0);
}

TEST(ThreadPoolTest, ResidentWorkerWakesForAJobQueuedWhileItWaits) {
  ThreadPool pool(1);
  Gate ran;
  Thread worker("resident", &ThreadPool::threadRoutine, &pool);
  // Whether the worker is already waiting or not, the notify or its own test of
  // the queue picks the job up.
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  ThreadPoolTestPeer::enqueue(pool, new FunctionJob([&] {
    ThreadPoolTestPeer::markTerminating(pool);
    ran.open();
  }));
  EXPECT_TRUE(ran.wait());
  worker.join();
  EXPECT_EQ(pool.getRunningJobCount(), 0);
}

TEST(ThreadPoolTest, ResidentRoutineWithoutAPoolReturns) {
  ThreadPool::threadRoutine(nullptr);
  SUCCEED();
}

// A job that throws: the pool deletes it and uncounts it, then the exception
// leaves the thread and ends the process. The terminate handler reports what the
// pool looked like at that moment.
ThreadPool* g_throwingPool = nullptr;
std::atomic<bool> g_throwingJobDestroyed{false};

void reportAndExit() {
  std::string what = "none";
  if (std::exception_ptr error = std::current_exception()) {
    try {
      std::rethrow_exception(error);
    } catch (const std::exception& e) {
      what = e.what();
    } catch (...) {
      what = "unknown";
    }
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
  EXPECT_NE(result.output.find("terminated what=job failed destroyed=1 running=0\n"),
            std::string::npos)
      << result.output;
}

}  // namespace
