// Mutex, SharedMutex, their scoped holds and Condition, exercised with real threads.
#include <gtest/gtest.h>

#include <utils/Condition.h>
#include <utils/Lock.h>
#include <utils/Mutex.h>
#include <utils/SharedLock_SMutex.h>
#include <utils/SharedMutex.h>
#include <utils/UniqueLock_SMutex.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <new>
#include <thread>
#include <vector>

#include "utils/ConcurrencyTestSupport.h"

namespace {

using concurrencytest::Clock;
using concurrencytest::eventually;
using concurrencytest::Gate;
using concurrencytest::onOtherThread;
using concurrencytest::secondsSince;
using utils::Condition;
using utils::Lock;
using utils::Mutex;
using utils::SharedLock_SMutex;
using utils::SharedMutex;
using utils::UniqueLock_SMutex;

bool otherThreadCanLock(Mutex& mutex) {
  return onOtherThread<bool>([&] { return Lock(&mutex, true).is_locked(); });
}
bool otherThreadCanRead(SharedMutex& mutex) {
  return onOtherThread<bool>([&] { return SharedLock_SMutex(&mutex, true).is_locked(); });
}
bool otherThreadCanWrite(SharedMutex& mutex) {
  return onOtherThread<bool>([&] { return UniqueLock_SMutex(&mutex, true).is_locked(); });
}

// Storage for a shallow copy that must never be destroyed: its original releases
// the shared object, and a second destructor would release it twice.
template <typename T>
struct NeverDestroyed {
  template <typename... Args>
  explicit NeverDestroyed(Args&&... args) : object(new (storage) T(std::forward<Args>(args)...)) {}
  alignas(T) unsigned char storage[sizeof(T)];
  T* object;
};

TEST(LockTest, NullMutexGivesAnEmptyHoldInBothForms) {
  Lock blocking(nullptr, false);
  Lock trying(nullptr, true);
  SharedLock_SMutex sharedBlocking(nullptr, false);
  SharedLock_SMutex sharedTrying(nullptr, true);
  UniqueLock_SMutex uniqueBlocking(nullptr, false);
  UniqueLock_SMutex uniqueTrying(nullptr, true);
  EXPECT_FALSE(blocking.is_locked());
  EXPECT_FALSE(trying.is_locked());
  EXPECT_FALSE(sharedBlocking.is_locked());
  EXPECT_FALSE(sharedTrying.is_locked());
  EXPECT_FALSE(uniqueBlocking.is_locked());
  EXPECT_FALSE(uniqueTrying.is_locked());
}

TEST(LockTest, BlockingHoldExcludesOtherThreadsUntilDestroyed) {
  Mutex mutex;
  {
    Lock hold(&mutex, false);
    EXPECT_TRUE(hold.is_locked());
    EXPECT_FALSE(otherThreadCanLock(mutex));
  }
  EXPECT_TRUE(otherThreadCanLock(mutex));
}

TEST(LockTest, FailedTryFromAnotherThreadLeavesTheFirstHoldInPlace) {
  Mutex mutex;
  Lock hold(&mutex, false);
  // The failed try is built and destroyed on the other thread; the hold stays.
  EXPECT_FALSE(otherThreadCanLock(mutex));
  EXPECT_FALSE(otherThreadCanLock(mutex));
  EXPECT_TRUE(hold.is_locked());
}

TEST(LockTest, SuccessfulTryHoldsUntilDestroyed) {
  Mutex mutex;
  auto hold = std::make_unique<Lock>(&mutex, true);
  EXPECT_TRUE(hold->is_locked());
  EXPECT_FALSE(otherThreadCanLock(mutex));
  hold.reset();
  EXPECT_TRUE(otherThreadCanLock(mutex));
}

TEST(LockTest, MutexIsRecursiveAndNeedsEveryHoldReleased) {
  Mutex mutex;
  auto outer = std::make_unique<Lock>(&mutex, false);
  auto tried = std::make_unique<Lock>(&mutex, true);
  auto inner = std::make_unique<Lock>(&mutex, false);
  EXPECT_TRUE(tried->is_locked());
  EXPECT_TRUE(inner->is_locked());
  inner.reset();
  tried.reset();
  EXPECT_FALSE(otherThreadCanLock(mutex));
  outer.reset();
  EXPECT_TRUE(otherThreadCanLock(mutex));
}

TEST(LockTest, BlockingHoldWaitsForTheOwnerToLetGo) {
  Mutex mutex;
  std::atomic<bool> acquired{false};
  auto hold = std::make_unique<Lock>(&mutex, false);
  std::thread waiter([&] {
    Lock second(&mutex, false);
    acquired = second.is_locked();
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_FALSE(acquired.load());
  hold.reset();
  waiter.join();
  EXPECT_TRUE(acquired.load());
}

TEST(LockTest, CopiesOfAMutexShareOneLock) {
  Mutex original;
  NeverDestroyed<Mutex> copy(original);
  Lock hold(copy.object, false);
  EXPECT_FALSE(otherThreadCanLock(original));

  // Assignment drops the old target without releasing it; here `first` still owns it.
  Mutex first;
  Mutex assigned;
  NeverDestroyed<Mutex> target(first);
  *target.object = assigned;
  Lock viaAssigned(target.object, true);
  EXPECT_TRUE(viaAssigned.is_locked());
  EXPECT_FALSE(otherThreadCanLock(assigned));
}

TEST(LockTest, CopyOfAHoldSharesItAndItsFlag) {
  Mutex mutex;
  {
    Lock hold(&mutex, false);
    NeverDestroyed<Lock> copy(hold);
    EXPECT_TRUE(copy.object->is_locked());
    Lock empty(nullptr, false);
    *copy.object = empty;  // the shared hold is not released by the assignment
    EXPECT_FALSE(copy.object->is_locked());
    EXPECT_FALSE(otherThreadCanLock(mutex));
  }
  EXPECT_TRUE(otherThreadCanLock(mutex));

  // A failed try copies as failed.
  Lock owner(&mutex, false);
  std::thread([&] {
    Lock failed(&mutex, true);
    NeverDestroyed<Lock> copy(failed);
    EXPECT_FALSE(copy.object->is_locked());
  }).join();
}

TEST(SharedLockTest, ReadersShareAndWritersExcludeBothWays) {
  SharedMutex mutex;
  {
    SharedLock_SMutex reader(&mutex, false);
    EXPECT_TRUE(reader.is_locked());
    EXPECT_TRUE(otherThreadCanRead(mutex));
    EXPECT_FALSE(otherThreadCanWrite(mutex));
  }
  {
    UniqueLock_SMutex writer(&mutex, true);
    EXPECT_TRUE(writer.is_locked());
    EXPECT_FALSE(otherThreadCanRead(mutex));
    EXPECT_FALSE(otherThreadCanWrite(mutex));
  }
  EXPECT_TRUE(otherThreadCanRead(mutex));
  EXPECT_TRUE(otherThreadCanWrite(mutex));
}

TEST(SharedLockTest, SharedMutexIsNotRecursiveForWriters) {
  SharedMutex mutex;
  UniqueLock_SMutex writer(&mutex, false);
  UniqueLock_SMutex again(&mutex, true);
  SharedLock_SMutex reader(&mutex, true);
  EXPECT_FALSE(again.is_locked());
  EXPECT_FALSE(reader.is_locked());
  EXPECT_TRUE(writer.is_locked());
}

TEST(SharedLockTest, WriterWaitsForTheLastReader) {
  SharedMutex mutex;
  std::atomic<bool> wrote{false};
  auto first = std::make_unique<SharedLock_SMutex>(&mutex, false);
  auto second = std::make_unique<SharedLock_SMutex>(&mutex, true);
  ASSERT_TRUE(second->is_locked());
  std::thread writer([&] {
    UniqueLock_SMutex hold(&mutex, false);
    wrote = hold.is_locked();
  });
  first.reset();
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_FALSE(wrote.load());
  second.reset();
  writer.join();
  EXPECT_TRUE(wrote.load());
}

TEST(SharedLockTest, CopiesOfASharedMutexShareOneLock) {
  SharedMutex original;
  NeverDestroyed<SharedMutex> copy(original);
  UniqueLock_SMutex writer(copy.object, false);
  EXPECT_FALSE(otherThreadCanRead(original));
  NeverDestroyed<UniqueLock_SMutex> heldCopy(writer);
  EXPECT_TRUE(heldCopy.object->is_locked());
}

TEST(ConditionTest, DeadlineBelowOneSecondReturnsAtOnceAndKeepsTheHold) {
  Mutex mutex;
  Condition condition;
  Lock hold(&mutex, false);
  const auto start = Clock::now();
  EXPECT_FALSE(condition.timed_wait(&hold, 0));
  EXPECT_FALSE(condition.timed_wait(&hold, -5));
  EXPECT_LT(secondsSince(start), 0.9);
  EXPECT_TRUE(hold.is_locked());
  EXPECT_FALSE(otherThreadCanLock(mutex));
}

TEST(ConditionTest, UnnotifiedTimedWaitExpiresAfterItsSecondsAndHoldsAgain) {
  Mutex mutex;
  Condition condition;
  Lock hold(&mutex, false);
  const auto start = Clock::now();
  bool woken = condition.timed_wait(&hold, 1);
  // A spurious wake-up returns true early; only a real expiry is measured.
  while (woken) woken = condition.timed_wait(&hold, 1);
  EXPECT_GE(secondsSince(start), 0.99);
  EXPECT_LT(secondsSince(start), 5.0);
  EXPECT_TRUE(hold.is_locked());
  EXPECT_FALSE(otherThreadCanLock(mutex));
}

TEST(ConditionTest, NotifyOneWakesAWaiterThatKeepsItsFlagThroughout) {
  Mutex mutex;
  Condition condition;
  bool ready = false;    // guarded by mutex
  bool waiting = false;  // guarded by mutex
  bool flagDuringWait = false;
  bool flagAfterWait = false;
  std::thread waiter([&] {
    Lock hold(&mutex, false);
    waiting = true;
    while (!ready) {
      condition.wait(&hold);
      flagDuringWait = hold.is_locked();
    }
    flagAfterWait = hold.is_locked();
  });
  // Once this thread sees `waiting` under the mutex, the waiter has given the
  // mutex up inside wait: the wait releases it while blocked.
  ASSERT_TRUE(eventually([&] {
    Lock probe(&mutex, true);
    return probe.is_locked() && waiting;
  }));
  {
    Lock hold(&mutex, false);
    ready = true;
  }
  condition.notifyOne();  // allowed without a hold
  waiter.join();
  EXPECT_TRUE(flagDuringWait);
  EXPECT_TRUE(flagAfterWait);
}

TEST(ConditionTest, TimedWaitNotifiedBeforeTheDeadlineReturnsTrueEarly) {
  Mutex mutex;
  Condition condition;
  bool parked = false;
  bool ready = false;
  bool result = false;
  double waited = 0;
  std::thread waiter([&] {
    Lock hold(&mutex, false);
    parked = true;
    const auto start = Clock::now();
    while (!ready) result = condition.timed_wait(&hold, 30);
    waited = secondsSince(start);
  });
  ASSERT_TRUE(eventually([&] {
    Lock probe(&mutex, false);
    return parked;
  }));
  {
    Lock hold(&mutex, false);
    ready = true;
    condition.notifyAll();  // and with a hold
  }
  waiter.join();
  EXPECT_TRUE(result);
  EXPECT_LT(waited, 10.0);
}

TEST(ConditionTest, NotifyAllWakesEveryWaiter) {
  Mutex mutex;
  Condition condition;
  bool ready = false;
  int parked = 0;
  int woken = 0;
  std::vector<std::thread> waiters;
  for (int i = 0; i < 3; ++i) {
    waiters.emplace_back([&] {
      Lock hold(&mutex, false);
      ++parked;
      while (!ready) condition.wait(&hold);
      ++woken;
    });
  }
  ASSERT_TRUE(eventually([&] {
    Lock probe(&mutex, false);
    return parked == 3;
  }));
  {
    Lock hold(&mutex, false);
    ready = true;
  }
  condition.notifyAll();
  for (auto& waiter : waiters) waiter.join();
  EXPECT_EQ(woken, 3);
}

TEST(ConditionTest, CopiesOfAConditionShareOneCondition) {
  Mutex mutex;
  Condition original;
  NeverDestroyed<Condition> copy(original);
  bool parked = false;
  bool ready = false;
  bool result = false;
  std::thread waiter([&] {
    Lock hold(&mutex, false);
    parked = true;
    while (!ready) result = original.timed_wait(&hold, 20);
  });
  ASSERT_TRUE(eventually([&] {
    Lock probe(&mutex, false);
    return parked;
  }));
  {
    Lock hold(&mutex, false);
    ready = true;
  }
  copy.object->notifyOne();
  waiter.join();
  EXPECT_TRUE(result);  // woken through the copy, not by the deadline
}

}  // namespace
