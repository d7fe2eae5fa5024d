// A scoped hold on a `Mutex`, taken by the constructor and given up only by the
// destructor. The flag is a try flag: `Lock(&m, true)` attempts the mutex once
// without blocking and the caller must test `is_locked()`; `Lock(&m, false)`
// blocks until the mutex is held. A null mutex gives an empty hold.
//
// A hold belongs to the thread that built it and must be destroyed there.
#pragma once

#include <NorvaneExport.h>

namespace utils {

class Condition;
class Mutex;

class NORVANE_API Lock {
 public:
  Lock(Mutex* mutex, bool try_only);
  // Shallow copies: both objects share one hold and both destructors release it.
  Lock(const Lock& other);
  Lock& operator=(const Lock& other);
  virtual ~Lock();

  // Whether the constructor obtained the mutex; never changes afterwards, not
  // even while a `Condition` wait has the mutex given up.
  bool is_locked();

 private:
  friend class Condition;
  struct Native;

  Native* getLock() const;

  Native* m_lock;  // null when built on a null mutex
  bool m_locked;
};

}  // namespace utils
