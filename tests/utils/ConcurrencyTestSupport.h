// Coordination helpers for the concurrency tests, built on the standard library so
// that they never depend on the classes under test.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace concurrencytest {

using Clock = std::chrono::steady_clock;

// A one-way door: threads wait until it is opened. Waits give up after a bound so
// that a fault fails the test instead of hanging it.
class Gate {
 public:
  void open() {
    std::lock_guard<std::mutex> guard(m_mutex);
    m_open = true;
    m_changed.notify_all();
  }
  bool wait(std::chrono::milliseconds limit = std::chrono::seconds(10)) {
    std::unique_lock<std::mutex> guard(m_mutex);
    return m_changed.wait_for(guard, limit, [this] { return m_open; });
  }

 private:
  std::mutex m_mutex;
  std::condition_variable m_changed;
  bool m_open = false;
};

// Polls until the condition holds or the limit passes; returns the last result.
inline bool eventually(const std::function<bool()>& condition,
                       std::chrono::milliseconds limit = std::chrono::seconds(10)) {
  const auto deadline = Clock::now() + limit;
  while (!condition()) {
    if (Clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

// Runs a function on a new standard thread and waits for it: the answer of a
// second thread, with the first one's holds still in place.
template <typename Result>
Result onOtherThread(const std::function<Result()>& body) {
  Result result{};
  std::thread other([&] { result = body(); });
  other.join();
  return result;
}

inline double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Counts threads that have fully ended: a thread calls noteExitOfThisThread() and
// is counted once its thread-local objects are destroyed, after its entry function
// has returned. Lets a test wait for detached threads before tearing down what
// they read.
class ThreadExits {
 public:
  void noteExitOfThisThread() {
    thread_local Notifier notifier;
    notifier.owner = this;
  }
  bool waitFor(int count, std::chrono::milliseconds limit = std::chrono::seconds(10)) {
    std::unique_lock<std::mutex> guard(m_mutex);
    return m_changed.wait_for(guard, limit, [&] { return m_exited >= count; });
  }

 private:
  struct Notifier {
    ThreadExits* owner = nullptr;
    ~Notifier() {
      if (owner == nullptr) return;
      std::lock_guard<std::mutex> guard(owner->m_mutex);
      ++owner->m_exited;
      owner->m_changed.notify_all();
    }
  };

  std::mutex m_mutex;
  std::condition_variable m_changed;
  int m_exited = 0;
};

}  // namespace concurrencytest
