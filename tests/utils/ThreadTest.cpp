// utils::Thread: the entry forms, identity, sleeps, equality and the count.
#include <pthread.h>

#include <sstream>
#include <tuple>

#include "utils/ConcurrencyTestSupport.h"

namespace {

using namespace concurrencytest;
using namespace utils;

std::atomic<int> g_noArgumentRuns{0};
void countRun() { ++g_noArgumentRuns; }
void storeOne(void* target) { *static_cast<int*>(target) += 1; }
void copyFirstIntoSecond(void* from, void* to) {
  *static_cast<std::string*>(to) = *static_cast<std::string*>(from);
}
void waitAtGate(void* gate) { static_cast<Gate*>(gate)->wait(); }
unsigned int activeCount() { return Thread::get_active_thread_count(); }

TEST(ThreadTest, EachEntryFormRunsOnceWithItsArguments) {
  int viaPointer = 0;
  std::string source = "payload", target;
  std::atomic<int> viaFunction{0};
  const int noArgumentBefore = g_noArgumentRuns;
  Thread one("one", &storeOne, &viaPointer);
  Thread two("two", &copyFirstIntoSecond, &source, &target);
  Thread three("three", &countRun);
  Thread four("four", [&] { ++viaFunction; });
  for (Thread* thread : {&one, &two, &three, &four}) thread->join();
  EXPECT_EQ(std::make_tuple(1, std::string("payload"), 1, 1),
            std::make_tuple(viaPointer, target, g_noArgumentRuns - noArgumentBefore, viaFunction.load()));
}

TEST(ThreadTest, IdentityIsTheCallingThreadsInPlainLowerCaseHex) {
  const std::string mine = Thread::get_id();
  std::ostringstream expected;
  expected << std::hex << pthread_self();
  EXPECT_EQ(mine, expected.str());
  std::string theirs;
  Thread other("other", [&] { theirs = Thread::get_id(); });
  other.join();
  EXPECT_NE(theirs, mine);
}

TEST(ThreadTest, SleepDelaysOnlyInItsStaticFormWithPositiveSeconds) {
  auto start = Clock::now();
  Thread::sleep(0);
  Thread::sleep(-1);
  Thread worker("sleeper", &doNothing);
  worker.sleep(std::uint64_t{1} << 40);  // the member form ignores its argument
  worker.join();
  EXPECT_LT(secondsSince(start), 0.9);
  start = Clock::now();
  Thread::sleep(1);
  EXPECT_GE(secondsSince(start), 0.99);
}

TEST(ThreadTest, EqualityNeedsTheSameThreadAndTheSameName) {
  Gate gate;
  Thread first("same", &waitAtGate, &gate);
  Thread second("same", &waitAtGate, &gate);
  EXPECT_TRUE(!(first == second) && first != second);
  // A copy shares the running thread; only the original is ever destroyed.
  NeverDestroyed<Thread> copy(first);
  EXPECT_TRUE(*copy.object == first && !(*copy.object != first));
  *copy.object = second;
  EXPECT_TRUE(*copy.object == second && !(*copy.object == first));
  gate.open();
  for (Thread* thread : {&first, &second}) thread->join();
}

TEST(ThreadTest, CountRisesAtStartFallsAtEveryJoinAndIgnoresCopies) {
  const unsigned int before = activeCount();
  std::atomic<bool> thirdEnded{false};
  Thread first("first", &doNothing);
  Thread second("second", &doNothing);
  Thread third("third", [&] { thirdEnded = true; });
  EXPECT_EQ(activeCount(), before + 3);
  { NeverDestroyed<Thread> copy(first); }
  EXPECT_EQ(activeCount(), before + 3);
  for (Thread* thread : {&first, &second}) thread->join();
  EXPECT_EQ(activeCount(), before + 1);
  ASSERT_TRUE(concurrencytest::eventually([&] { return thirdEnded.load(); }));
  EXPECT_EQ(activeCount(), before + 1);  // ended, not joined
  third.join();
  EXPECT_EQ(activeCount(), before);
  const auto start = Clock::now();
  third.join();  // returns at once and lowers the count again
  EXPECT_LT(secondsSince(start), 0.9);
  EXPECT_EQ(activeCount(), before - 1u);  // may wrap; unsigned on purpose
}

TEST(ThreadTest, JoiningItselfThrowsAndChangesNothing) {
  Gate constructed;
  std::string message;
  Thread* self = nullptr;
  unsigned int countBefore = 0, countAfter = 0;
  Thread thread("selfish", [&] {
    constructed.wait();
    countBefore = activeCount();
    try { self->join(); } catch (const std::exception& error) { message = error.what(); }
    countAfter = activeCount();
  });
  self = &thread;
  constructed.open();
  thread.join();
  EXPECT_EQ(message.rfind("boost thread: trying joining itself", 0), 0u) << message;
  EXPECT_EQ(countAfter, countBefore);
}

TEST(ThreadTest, DestroyingARunningThreadNeitherStopsNorWaitsForIt) {
  Gate release, finished;
  const unsigned int before = activeCount();
  const auto start = Clock::now();
  {
    Thread running("detached", [&] {
      release.wait();
      finished.open();
    });
  }
  EXPECT_LT(secondsSince(start), 0.9);
  release.open();
  EXPECT_TRUE(finished.wait());  // it ran on after its handle was gone
  EXPECT_EQ(activeCount(), before + 1);
}

}  // namespace
