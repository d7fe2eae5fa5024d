// utils::Thread: the entry forms, identity, sleeps, equality and the count.
#include <pthread.h>

#include <sstream>

#include "utils/ConcurrencyTestSupport.h"

namespace {

using namespace concurrencytest;
using namespace utils;

int g_noArgumentRuns = 0;
void countRun() { ++g_noArgumentRuns; }
void storeOne(void* target) { *static_cast<int*>(target) += 1; }
void copyFirstIntoSecond(void* from, void* to) { *static_cast<std::string*>(to) = *static_cast<std::string*>(from); }
void waitAtGate(void* gate) { static_cast<Gate*>(gate)->wait(); }
unsigned int activeCount() { return Thread::get_active_thread_count(); }

// Each entry form runs once with its arguments; the identity is the calling
// thread's in plain lower-case hex. Sleeping delays only in the static form, and
// only for positive seconds.
TEST(ThreadTest, EntryFormsIdentityAndSleep) {
  int viaPointer = 0;
  std::string source = "payload", target, theirs;
  const auto start = Clock::now();
  Thread one("one", &storeOne, &viaPointer), two("two", &copyFirstIntoSecond, &source, &target),
      three("three", &countRun), four("four", [&] { theirs = Thread::get_id(); });
  Thread::sleep(0);
  Thread::sleep(-1);
  four.sleep(std::uint64_t{1} << 40);  // the member form ignores its argument
  for (Thread* thread : {&one, &two, &three, &four}) thread->join();
  EXPECT_LT(secondsSince(start), 0.9);
  std::ostringstream mine;
  mine << std::hex << pthread_self();
  EXPECT_EQ("1 payload 1 " + mine.str(), std::to_string(viaPointer) + ' ' + target + ' ' +
                                             std::to_string(g_noArgumentRuns) + ' ' + Thread::get_id());
  EXPECT_TRUE(theirs != mine.str() && !theirs.empty()) << theirs;
  Thread::sleep(1);
  EXPECT_GE(secondsSince(start), 0.99);
}

// Equality needs the same thread and the same name; a copy shares the running
// thread (only the original is ever destroyed). The count rises at start and falls
// at every join, a second join included.
TEST(ThreadTest, EqualityAndTheCount) {
  Gate gate;
  const unsigned int before = activeCount();
  Thread first("same", &waitAtGate, &gate), second("same", &waitAtGate, &gate);
  EXPECT_TRUE(!(first == second) && first != second && *NeverDestroyed<Thread>(first).object == first);
  EXPECT_EQ(activeCount(), before + 2);
  gate.open();
  first.join();
  EXPECT_EQ(activeCount(), before + 1);  // ended or not, counted until joined
  second.join();
  Thread other("other", &waitAtGate, &gate);
  other.join();
  // Joined, every thread has the same empty identity: the names decide.
  EXPECT_TRUE(first == second && !(first != second) && !(first == other) && first != other);
  second.join();  // returns at once and lowers the count again
  EXPECT_EQ(activeCount(), before - 1u);  // may wrap; unsigned on purpose
}

// Joining itself throws and changes nothing; destroying a running thread neither
// stops nor waits for it, and it stays counted.
TEST(ThreadTest, JoiningItselfThrowsAndDestroyingARunningThreadLetsItRun) {
  Gate constructed, release, finished;
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
  EXPECT_EQ(0u, message.rfind("boost thread: trying joining itself", 0)) << message;
  EXPECT_EQ(countAfter, countBefore);
  const unsigned int before = activeCount();
  { Thread running("detached", [&] { if (release.wait()) finished.open(); }); }  // not waited for
  release.open();
  EXPECT_TRUE(finished.wait());
  EXPECT_EQ(activeCount(), before + 1);
}

}  // namespace
