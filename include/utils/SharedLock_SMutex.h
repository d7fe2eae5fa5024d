// A scoped read hold on a `SharedMutex`: many readers at once, none beside a
// writer. Built and released like `Lock`, including the try flag.
#pragma once

#include <NorvaneExport.h>

namespace utils {

class SharedMutex;

class NORVANE_API SharedLock_SMutex {
 public:
  SharedLock_SMutex(SharedMutex* mutex, bool try_only);
  SharedLock_SMutex(const SharedLock_SMutex& other);  // shallow, as `Lock`
  SharedLock_SMutex& operator=(const SharedLock_SMutex& other);
  virtual ~SharedLock_SMutex();

  bool is_locked();

 private:
  struct Native;

  Native* getLock() const;

  Native* m_lock;
  bool m_locked;
};

}  // namespace utils
