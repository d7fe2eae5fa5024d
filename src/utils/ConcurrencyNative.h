// The Boost objects behind the concurrency wrappers. Kept out of the public
// headers so that no Boost type appears in the library's interface; each wrapper
// holds one of these on the heap behind its single pointer.
#pragma once

#include <utils/Condition.h>
#include <utils/Lock.h>
#include <utils/Mutex.h>
#include <utils/SharedLock_SMutex.h>
#include <utils/SharedMutex.h>
#include <utils/Thread.h>
#include <utils/UniqueLock_SMutex.h>

#include <boost/thread/condition_variable.hpp>
#include <boost/thread/locks.hpp>
#include <boost/thread/recursive_mutex.hpp>
#include <boost/thread/shared_mutex.hpp>
#include <boost/thread/thread.hpp>

#include <memory>
#include <utility>

namespace utils {

struct Mutex::Native : boost::recursive_mutex {};

struct SharedMutex::Native : boost::shared_mutex {};

struct Lock::Native : boost::unique_lock<boost::recursive_mutex> {
  using boost::unique_lock<boost::recursive_mutex>::unique_lock;
};

struct SharedLock_SMutex::Native : boost::shared_lock<boost::shared_mutex> {
  using boost::shared_lock<boost::shared_mutex>::shared_lock;
};

struct UniqueLock_SMutex::Native : boost::unique_lock<boost::shared_mutex> {
  using boost::unique_lock<boost::shared_mutex>::unique_lock;
};

struct Condition::Native : boost::condition_variable_any {};

struct Thread::Native : boost::thread {
  template <typename... Args>
  explicit Native(Args&&... args) : boost::thread(std::forward<Args>(args)...) {}
};

// The one construction rule of the three scoped holds: with `try_only` the lock
// is bound to the mutex without holding it and tried once; otherwise it blocks
// until held. Returns the heap lock and reports in `locked` whether it is held.
template <typename NativeLock, typename NativeMutex>
NativeLock* acquireNativeLock(NativeMutex& mutex, bool try_only, bool& locked) {
  if (try_only) {
    std::unique_ptr<NativeLock> lock(new NativeLock(mutex, boost::defer_lock));
    locked = lock->try_lock();
    return lock.release();
  }
  NativeLock* lock = new NativeLock(mutex);
  locked = true;
  return lock;
}

}  // namespace utils
