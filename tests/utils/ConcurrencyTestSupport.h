// Coordination helpers for the concurrency tests, built on the standard library so
// that they never depend on the classes under test (FunctionJob only adapts one).
// Also brings in the classes under test and what every concurrency test uses.
#pragma once

#include "support/TestPrelude.h"
#include <utils/Condition.h>
#include <utils/Lock.h>
#include <utils/Mutex.h>
#include <utils/SharedLock_SMutex.h>
#include <utils/SharedMutex.h>
#include <utils/Thread.h>
#include <utils/ThreadPool.h>
#include <utils/ThreadPoolJob.h>
#include <utils/UniqueLock_SMutex.h>

#include <new>

namespace concurrencytest {

using Clock = std::chrono::steady_clock;
using Limit = std::chrono::milliseconds;
inline constexpr Limit kPatience = std::chrono::seconds(10);

// Polls until the condition holds or the limit passes; returns the last result.
inline bool eventually(const std::function<bool()>& condition, Limit limit = kPatience) {
  for (const auto deadline = Clock::now() + limit; !condition(); std::this_thread::sleep_for(Limit(1))) {
    if (Clock::now() > deadline) return false;
  }
  return true;
}

// A counter that threads wait on; open() and wait() use it as a one-way door. Waits
// give up after a bound so that a fault fails the test instead of hanging it.
struct Gate {
  void open() { ++count; }
  bool wait(Limit limit = kPatience) { return waitFor(1, limit); }
  bool waitFor(int atLeast, Limit limit = kPatience) { return eventually([&] { return count >= atLeast; }, limit); }
  // Counts the calling thread once it has fully ended: its thread-local objects are
  // destroyed after its entry function returned. Lets a test wait for detached
  // threads before tearing down what they read.
  void noteExitOfThisThread() { thread_local ExitNotifier notifier{this}; }
  struct ExitNotifier { Gate* owner; ~ExitNotifier() { owner->open(); } };
  std::atomic<int> count{0};
};

// The answer of a second thread, with the first one's holds still in place.
inline bool onOtherThread(const std::function<bool()>& body) {
  bool result = false;
  return std::thread([&] { result = body(); }).join(), result;
}
inline double secondsSince(Clock::time_point t) { return std::chrono::duration<double>(Clock::now() - t).count(); }

// Storage for a shallow copy that must never be destroyed: its original releases
// the shared object, and a second destructor would release it twice.
template <typename T>
struct NeverDestroyed {
  template <typename... Args>
  explicit NeverDestroyed(Args&&... args) : object(new (storage) T(std::forward<Args>(args)...)) {}
  alignas(T) unsigned char storage[sizeof(T)];
  T* object;
};

// A pool job built from two callables; the second runs in its destructor.
struct FunctionJob : utils::ThreadPoolJob {
  explicit FunctionJob(std::function<void()> body, std::function<void()> onDestroy = [] {})
      : m_body(std::move(body)), m_onDestroy(std::move(onDestroy)) {}
  ~FunctionJob() override { m_onDestroy(); }
  void run() override { m_body(); }
  std::function<void()> m_body, m_onDestroy;
};

// A job whose thread counts itself in `exits` once it has fully ended (see Gate).
inline FunctionJob* countedJob(Gate& exits, std::function<void()> body, std::function<void()> onDestroy = [] {}) {
  return new FunctionJob([&exits, body] { exits.noteExitOfThisThread(), body(); }, std::move(onDestroy));
}

}  // namespace concurrencytest
