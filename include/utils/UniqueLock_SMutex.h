// A scoped write hold on a `SharedMutex`: excludes readers and other writers.
// Built and released like `Lock`, including the try flag.
#pragma once

#include <NorvaneExport.h>

namespace utils {

class SharedMutex;

class NORVANE_API UniqueLock_SMutex {
 public:
  UniqueLock_SMutex(SharedMutex* mutex, bool try_only);
  UniqueLock_SMutex(const UniqueLock_SMutex& other);  // shallow, as `Lock`
  UniqueLock_SMutex& operator=(const UniqueLock_SMutex& other);
  virtual ~UniqueLock_SMutex();

  bool is_locked();

 private:
  struct Native;

  Native* getLock() const;

  Native* m_lock;
  bool m_locked;
};

}  // namespace utils
