// A recursive mutual-exclusion lock. It is taken and released only through a
// scoped `Lock`: there is no lock or unlock call on the mutex itself.
#pragma once

#include <NorvaneExport.h>

namespace utils {

class Lock;

class NORVANE_API Mutex {
 public:
  Mutex();
  // Copies are shallow: the copy shares the one underlying mutex, and both
  // destructors release it. A copy is a handle to pass around while exactly one
  // of the two objects is ever destroyed. Assignment drops the old target
  // without releasing it.
  Mutex(const Mutex& other);
  Mutex& operator=(const Mutex& other);
  virtual ~Mutex();

 private:
  friend class Lock;
  struct Native;  // the platform mutex, defined inside the library

  Native* getMutex() const;

  Native* m_mutex;
};

}  // namespace utils
