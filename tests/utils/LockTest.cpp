// Mutex, SharedMutex, their scoped holds and Condition, exercised with real threads.
#include "utils/ConcurrencyTestSupport.h"

namespace {

using namespace concurrencytest;
using namespace utils;

bool otherThreadCanLock(Mutex& mutex) { return onOtherThread([&] { return Lock(&mutex, true).is_locked(); }); }
// What a second thread's tries get: "read write", "read -", "- -".
std::string otherThreadCanTake(SharedMutex& mutex) {
  return std::string(onOtherThread([&] { return SharedLock_SMutex(&mutex, true).is_locked(); }) ? "read" : "-") +
         (onOtherThread([&] { return UniqueLock_SMutex(&mutex, true).is_locked(); }) ? " write" : " -");
}

// The mutex is recursive; a failed try of another thread leaves the hold in place.
// A null mutex gives an empty hold in every form. Readers share, writers exclude.
// Copies of a mutex share the one native object, and only the original may destroy
// it.
TEST(LockTest, HoldsExcludeOtherThreadsUntilEveryHoldIsGoneAndCopiesShareTheMutex) {
  for (bool tryOnly : {false, true}) {
    EXPECT_FALSE(Lock(nullptr, tryOnly).is_locked() || SharedLock_SMutex(nullptr, tryOnly).is_locked() ||
                 UniqueLock_SMutex(nullptr, tryOnly).is_locked()) << tryOnly;
    Mutex mutex;
    NeverDestroyed<Mutex> copy(mutex);
    {
      Lock hold(copy.object, tryOnly);
      EXPECT_TRUE(hold.is_locked() && Lock(&mutex, !tryOnly).is_locked()) << tryOnly;
      EXPECT_FALSE(otherThreadCanLock(mutex) || otherThreadCanLock(mutex)) << tryOnly;
    }
    EXPECT_TRUE(otherThreadCanLock(mutex)) << tryOnly;
  }
  SharedMutex shared;
  {
    SharedLock_SMutex reader(&shared, false);
    EXPECT_EQ(otherThreadCanTake(shared), "read -");
  }
  {
    NeverDestroyed<SharedMutex> copy(shared);
    UniqueLock_SMutex writer(copy.object, true);
    EXPECT_EQ(otherThreadCanTake(shared), "- -");
  }
  EXPECT_EQ(otherThreadCanTake(shared), "read write");
}

// Unnotified, a timed wait returns false at once below one second, else after its
// whole seconds (a spurious wake-up returns true early), holding again.
TEST(ConditionTest, UnnotifiedTimedWaitReturnsFalseAfterItsWholeSecondsHoldingAgain) {
  Mutex mutex;
  Condition condition;
  Lock hold(&mutex, false);
  auto start = Clock::now();
  EXPECT_FALSE(condition.timed_wait(&hold, 0) || condition.timed_wait(&hold, -5));
  EXPECT_LT(secondsSince(start), 0.9);
  start = Clock::now();
  while (condition.timed_wait(&hold, 1)) {}
  EXPECT_GE(secondsSince(start), 0.99);
  EXPECT_LT(secondsSince(start), 5.0);
  EXPECT_TRUE(hold.is_locked() && !otherThreadCanLock(mutex));
}

// Waiter threads take the mutex, count themselves parked and wait until `ready`. The
// try-probe sees them all parked only once each has given the mutex up inside its
// wait; then `ready` is set and the notify made. A timed wait woken through a copy
// of the condition without a hold, or plain waits woken all at once with a hold:
// each waiter wakes holding again, and not by the deadline.
TEST(ConditionTest, NotifyOneThroughACopyWithoutAHoldAndNotifyAllWithAHoldWakeTheWaiters) {
  for (const bool one : {true, false}) {
    const auto start = Clock::now();
    Mutex mutex;
    Condition condition;
    int parked = 0, failed = 0;  // guarded by mutex
    bool ready = false;
    std::vector<std::thread> threads;
    for (int i = one ? 2 : 0; i < 3; ++i) {
      threads.emplace_back([&] {
        Lock hold(&mutex, false);
        ++parked;
        while (!ready) failed += (one ? condition.timed_wait(&hold, 20) : (condition.wait(&hold), true)) ? 0 : 1;
        failed += hold.is_locked() ? 0 : 1;
      });
    }
    EXPECT_TRUE(eventually([&] { return Lock(&mutex, true).is_locked() && parked == (one ? 1 : 3); }));
    {
      Lock hold(&mutex, false);
      ready = true;
      if (!one) condition.notifyAll();
    }
    if (one) NeverDestroyed<Condition>(condition).object->notifyOne();
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(0, failed) << one;
    EXPECT_LT(secondsSince(start), 10.0) << one;
  }
}

}  // namespace
