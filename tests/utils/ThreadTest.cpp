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

// Joining itself throws and changes nothing; destroying a running thread neither
// stops nor waits for it, and it stays counted until joined. Equality needs the same
// thread and the same name: joined, every thread has the same empty identity.
TEST(ThreadTest, JoiningItselfThrowsDestroyingARunningThreadLetsItRunAndEquality) {
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
  Thread other("other", &waitAtGate, &constructed), same("selfish", &waitAtGate, &constructed);
  EXPECT_TRUE(!(thread == same) && thread != same && *NeverDestroyed<Thread>(thread).object == thread);
  const unsigned int before = activeCount();
  constructed.open();
  for (Thread* joined : {&thread, &other, &same}) joined->join();
  EXPECT_EQ(0u, message.rfind("boost thread: trying joining itself", 0)) << message;
  EXPECT_EQ(countAfter, countBefore);
  EXPECT_TRUE(thread == same && !(thread != same) && !(thread == other) && thread != other);
  { Thread running("detached", [&] { if (release.wait()) finished.open(); }); }  // not waited for
  release.open();
  EXPECT_TRUE(finished.wait());
  EXPECT_EQ(activeCount(), before - 2);
}

}  // namespace
