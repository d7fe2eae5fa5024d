// A condition variable waited on with a `Lock`. Waits take no predicate: a
// spurious wake-up returns to the caller like a notification, so every caller
// re-tests its own state.
#pragma once

#include <NorvaneExport.h>

namespace utils {

class Lock;

class NORVANE_API Condition {
 public:
  Condition();
  // Shallow, like `Mutex`.
  Condition(const Condition& other);
  Condition& operator=(const Condition& other);
  virtual ~Condition();

  // Gives up the lock's mutex while blocked and holds it again on return.
  void wait(Lock* lock);
  // Waits until notified or until `seconds` whole seconds from now, an absolute
  // UTC deadline. True when woken before the deadline. Below one second it
  // returns false at once without touching the lock.
  bool timed_wait(Lock* lock, int seconds);
  void notifyOne();
  void notifyAll();

 private:
  struct Native;

  Native* m_condition;
};

}  // namespace utils
