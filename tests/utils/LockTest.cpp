// Mutex, SharedMutex, their scoped holds and Condition, exercised with real threads.
#include <memory>

#include "utils/ConcurrencyTestSupport.h"

namespace {

using namespace concurrencytest;
using namespace utils;

bool otherThreadCanLock(Mutex& mutex) {
  return onOtherThread<bool>([&] { return Lock(&mutex, true).is_locked(); });
}
// What a second thread's tries get: "read write", "read -", "- -".
std::string otherThreadCanTake(SharedMutex& mutex) {
  const bool read = onOtherThread<bool>([&] { return SharedLock_SMutex(&mutex, true).is_locked(); });
  const bool write = onOtherThread<bool>([&] { return UniqueLock_SMutex(&mutex, true).is_locked(); });
  return std::string(read ? "read" : "-") + (write ? " write" : " -");
}

// Runs a blocking take on another thread, sees it still waiting after 50 ms, lets
// go through `release`, and sees it through.
void expectBlockedUntil(const std::function<bool()>& take, const std::function<void()>& release) {
  std::atomic<bool> taken{false};
  std::thread waiter([&] { taken = take(); });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_FALSE(taken.load());
  release();
  waiter.join();
  EXPECT_TRUE(taken.load());
}

// The mutex is recursive; a failed try of another thread leaves the hold in place.
// A null mutex gives an empty hold in every form.
TEST(LockTest, HoldExcludesOtherThreadsUntilEveryHoldIsGone) {
  for (bool tryOnly : {false, true}) {
    EXPECT_FALSE(Lock(nullptr, tryOnly).is_locked()) << tryOnly;
    EXPECT_FALSE(SharedLock_SMutex(nullptr, tryOnly).is_locked()) << tryOnly;
    EXPECT_FALSE(UniqueLock_SMutex(nullptr, tryOnly).is_locked()) << tryOnly;
    Mutex mutex;
    {
      Lock hold(&mutex, tryOnly);
      EXPECT_TRUE(hold.is_locked()) << tryOnly;
      EXPECT_TRUE(Lock(&mutex, !tryOnly).is_locked()) << tryOnly;
      EXPECT_FALSE(otherThreadCanLock(mutex)) << tryOnly;
      EXPECT_FALSE(otherThreadCanLock(mutex)) << tryOnly;
    }
    EXPECT_TRUE(otherThreadCanLock(mutex)) << tryOnly;
  }
}

TEST(LockTest, BlockingHoldsWaitForTheOwnerOrTheLastReader) {
  Mutex mutex;
  auto hold = std::make_unique<Lock>(&mutex, false);
  expectBlockedUntil([&] { return Lock(&mutex, false).is_locked(); }, [&] { hold.reset(); });
  SharedMutex shared;
  auto reader = std::make_unique<SharedLock_SMutex>(&shared, false);
  expectBlockedUntil([&] { return UniqueLock_SMutex(&shared, false).is_locked(); }, [&] { reader.reset(); });
}

// Copies share the one native object, and only the original may destroy it.
// Assignment drops the old target without releasing it.
TEST(LockTest, CopiesOfAMutexOrAHoldShareItAndAssignmentReleasesNothing) {
  Mutex original, assigned;
  NeverDestroyed<Mutex> copy(original);
  {
    Lock hold(copy.object, false);
    EXPECT_FALSE(otherThreadCanLock(original));
    NeverDestroyed<Lock> holdCopy(hold);
    EXPECT_TRUE(holdCopy.object->is_locked());
    *holdCopy.object = Lock(nullptr, false);
    EXPECT_FALSE(holdCopy.object->is_locked());
    EXPECT_FALSE(otherThreadCanLock(original));
    *copy.object = assigned;
    Lock viaAssigned(copy.object, true);
    EXPECT_TRUE(viaAssigned.is_locked());
    EXPECT_FALSE(otherThreadCanLock(assigned));
  }
  EXPECT_TRUE(otherThreadCanLock(original));
  Lock owner(&original, false);
  std::thread([&] {
    Lock failed(&original, true);
    EXPECT_FALSE(NeverDestroyed<Lock>(failed).object->is_locked());  // a failed try copies as failed
  }).join();
}

TEST(SharedLockTest, ReadersShareWritersExcludeBothWaysAndCopiesShareTheMutex) {
  SharedMutex mutex;
  {
    SharedLock_SMutex reader(&mutex, false);
    EXPECT_TRUE(reader.is_locked() && NeverDestroyed<SharedLock_SMutex>(reader).object->is_locked());
    EXPECT_EQ(otherThreadCanTake(mutex), "read -");
  }
  {
    NeverDestroyed<SharedMutex> copy(mutex);
    UniqueLock_SMutex writer(copy.object, true);
    EXPECT_TRUE(writer.is_locked() && NeverDestroyed<UniqueLock_SMutex>(writer).object->is_locked());
    EXPECT_EQ(otherThreadCanTake(mutex), "- -");
  }
  EXPECT_EQ(otherThreadCanTake(mutex), "read write");
}

// Waiter threads take the mutex, count themselves parked and wait until `ready`.
class ConditionTest : public ::testing::Test {
 protected:
  void park(std::function<void(Lock&)> waitOnce) {
    m_waiters.emplace_back([this, waitOnce] {
      Lock hold(&mutex, false);
      ++parked;
      while (!ready) waitOnce(hold);
    });
  }
  // The try-probe sees `parked` only once every waiter has given the mutex up
  // inside its wait. Then sets `ready`, notifies with or without a hold, and joins.
  void releaseWaiters(const std::function<void()>& notify, bool notifyWithHold) {
    EXPECT_TRUE(eventually([&] {
      Lock probe(&mutex, true);
      return probe.is_locked() && parked == static_cast<int>(m_waiters.size());
    }));
    {
      Lock hold(&mutex, false);
      ready = true;
      if (notifyWithHold) notify();
    }
    if (!notifyWithHold) notify();
    for (auto& waiter : m_waiters) waiter.join();
  }
  Mutex mutex;
  Condition condition;
  int parked = 0;      // guarded by mutex
  bool ready = false;  // guarded by mutex
  std::vector<std::thread> m_waiters;
};

TEST_F(ConditionTest, UnnotifiedTimedWaitReturnsFalseAfterItsWholeSecondsHoldingAgain) {
  Lock hold(&mutex, false);
  auto start = Clock::now();
  EXPECT_FALSE(condition.timed_wait(&hold, 0));  // below one second: at once
  EXPECT_FALSE(condition.timed_wait(&hold, -5));
  EXPECT_LT(secondsSince(start), 0.9);
  EXPECT_FALSE(otherThreadCanLock(mutex));
  start = Clock::now();
  bool woken = condition.timed_wait(&hold, 1);
  // A spurious wake-up returns true early; only a real expiry is measured.
  while (woken) woken = condition.timed_wait(&hold, 1);
  EXPECT_GE(secondsSince(start), 0.99);
  EXPECT_LT(secondsSince(start), 5.0);
  EXPECT_TRUE(hold.is_locked());
  EXPECT_FALSE(otherThreadCanLock(mutex));
}

TEST_F(ConditionTest, NotifyOneThroughACopyWithoutAHoldWakesATimedWaitEarly) {
  NeverDestroyed<Condition> copy(condition);
  bool result = false, flagAfterWait = false;
  const auto start = Clock::now();
  park([&](Lock& hold) {
    result = condition.timed_wait(&hold, 20);
    flagAfterWait = hold.is_locked();
  });
  releaseWaiters([&] { copy.object->notifyOne(); }, false);
  EXPECT_TRUE(result && flagAfterWait);  // woken through the copy, not by the deadline, holding again
  EXPECT_LT(secondsSince(start), 10.0);
}

TEST_F(ConditionTest, NotifyAllWithAHoldWakesEveryWaiterKeepingItsFlag) {
  int flagsLost = 0;
  for (int i = 0; i < 3; ++i) {
    park([&](Lock& hold) {
      condition.wait(&hold);
      flagsLost += hold.is_locked() ? 0 : 1;  // under the mutex
    });
  }
  releaseWaiters([&] { condition.notifyAll(); }, true);
  EXPECT_EQ(flagsLost, 0);
}

}  // namespace
