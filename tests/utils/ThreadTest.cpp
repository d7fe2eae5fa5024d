// utils::Thread: the four entry forms, identity, sleeps, equality and the count.
#include <gtest/gtest.h>

#include <utils/Thread.h>

#include <pthread.h>

#include <boost/function.hpp>

#include <atomic>
#include <memory>
#include <new>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

#include "utils/ConcurrencyTestSupport.h"

namespace {

using concurrencytest::Clock;
using concurrencytest::Gate;
using concurrencytest::secondsSince;
using utils::Thread;

std::atomic<int> g_noArgumentRuns{0};
void countRun() { ++g_noArgumentRuns; }

void storeOne(void* target) { *static_cast<int*>(target) += 1; }

void copyFirstIntoSecond(void* from, void* to) {
  *static_cast<std::string*>(to) = *static_cast<std::string*>(from);
}

void waitAtGate(void* gate) { static_cast<Gate*>(gate)->wait(); }

void doNothing() {}

TEST(ThreadTest, EachEntryFormRunsOnceWithItsArguments) {
  int viaPointer = 0;
  std::string source = "payload";
  std::string target;
  std::atomic<int> viaFunction{0};
  const int noArgumentBefore = g_noArgumentRuns;

  Thread one("one", &storeOne, &viaPointer);
  Thread two("two", &copyFirstIntoSecond, &source, &target);
  Thread three("three", &countRun);
  Thread four("four", [&] { ++viaFunction; });
  one.join();
  two.join();
  three.join();
  four.join();

  EXPECT_EQ(viaPointer, 1);
  EXPECT_EQ(target, "payload");
  EXPECT_EQ(g_noArgumentRuns - noArgumentBefore, 1);
  EXPECT_EQ(viaFunction.load(), 1);
}

TEST(ThreadTest, BoostFunctionObjectsAreAcceptedAsEntries) {
  std::atomic<int> runs{0};
  boost::function0<void> entry = [&] { ++runs; };
  Thread thread("boost", entry);
  thread.join();
  EXPECT_EQ(runs.load(), 1);
}

TEST(ThreadTest, IdentityIsTheCallingThreadsInPlainLowerCaseHex) {
  const std::string mine = Thread::get_id();
  EXPECT_EQ(Thread::get_id(), mine);
  EXPECT_TRUE(std::regex_match(mine, std::regex("[0-9a-f]+"))) << mine;
  std::ostringstream expected;
  expected << std::hex << pthread_self();
  EXPECT_EQ(mine, expected.str());

  std::string theirs;
  Thread other("other", [&] { theirs = Thread::get_id(); });
  other.join();
  EXPECT_NE(theirs, mine);
  EXPECT_TRUE(std::regex_match(theirs, std::regex("[0-9a-f]+"))) << theirs;
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
  EXPECT_FALSE(first == second);
  EXPECT_TRUE(first != second);

  // A copy shares the running thread; only the original is ever destroyed.
  alignas(Thread) unsigned char storage[sizeof(Thread)];
  Thread* copy = new (storage) Thread(first);
  EXPECT_TRUE(*copy == first);
  EXPECT_FALSE(*copy != first);
  *copy = second;
  EXPECT_TRUE(*copy == second);
  EXPECT_FALSE(*copy == first);

  gate.open();
  first.join();
  second.join();
}

TEST(ThreadTest, CountFallsOnlyAtJoin) {
  const unsigned int before = Thread::get_active_thread_count();
  std::atomic<bool> thirdEnded{false};
  Thread first("first", &doNothing);
  Thread second("second", &doNothing);
  Thread third("third", [&] { thirdEnded = true; });
  EXPECT_EQ(Thread::get_active_thread_count(), before + 3);
  first.join();
  second.join();
  EXPECT_EQ(Thread::get_active_thread_count(), before + 1);
  ASSERT_TRUE(concurrencytest::eventually([&] { return thirdEnded.load(); }));
  EXPECT_EQ(Thread::get_active_thread_count(), before + 1);  // ended, not joined
  third.join();
  EXPECT_EQ(Thread::get_active_thread_count(), before);
}

TEST(ThreadTest, CopiesLeaveTheCountAlone) {
  Thread thread("counted", &doNothing);
  const unsigned int before = Thread::get_active_thread_count();
  {
    alignas(Thread) unsigned char storage[sizeof(Thread)];
    new (storage) Thread(thread);
  }
  EXPECT_EQ(Thread::get_active_thread_count(), before);
  thread.join();
}

TEST(ThreadTest, SecondJoinReturnsAtOnceAndLowersTheCountAgain) {
  Thread thread("twice", &doNothing);
  const unsigned int before = Thread::get_active_thread_count();
  thread.join();
  const auto start = Clock::now();
  thread.join();
  EXPECT_LT(secondsSince(start), 0.9);
  EXPECT_EQ(Thread::get_active_thread_count(), before - 2u);  // may wrap; unsigned on purpose
}

TEST(ThreadTest, JoiningItselfThrowsAndChangesNothing) {
  Gate constructed;
  std::string message;
  Thread* self = nullptr;
  unsigned int countBefore = 0;
  unsigned int countAfter = 0;
  Thread thread("selfish", [&] {
    constructed.wait();
    countBefore = Thread::get_active_thread_count();
    try {
      self->join();
    } catch (const std::exception& error) {
      message = error.what();
    }
    countAfter = Thread::get_active_thread_count();
  });
  self = &thread;
  constructed.open();
  thread.join();
  EXPECT_EQ(message.rfind("boost thread: trying joining itself", 0), 0u) << message;
  EXPECT_EQ(countAfter, countBefore);
}

TEST(ThreadTest, DestroyingARunningThreadNeitherStopsNorWaitsForIt) {
  Gate release;
  Gate finished;
  const unsigned int before = Thread::get_active_thread_count();
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
  EXPECT_EQ(Thread::get_active_thread_count(), before + 1);
}

}  // namespace
