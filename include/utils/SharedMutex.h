// A reader-writer lock, not recursive. Read holds are taken with
// `SharedLock_SMutex`, write holds with `UniqueLock_SMutex`.
#pragma once

#include <NorvaneExport.h>

namespace utils {

class SharedLock_SMutex;
class UniqueLock_SMutex;

class NORVANE_API SharedMutex {
 public:
  SharedMutex();
  // Shallow, like `Mutex`: the copy shares the underlying lock and both
  // destructors release it; assignment does not release the old target.
  SharedMutex(const SharedMutex& other);
  SharedMutex& operator=(const SharedMutex& other);
  virtual ~SharedMutex();

 private:
  friend class SharedLock_SMutex;
  friend class UniqueLock_SMutex;
  struct Native;

  Native* getSharedMutex() const;

  Native* m_shared_mutex;
};

}  // namespace utils
