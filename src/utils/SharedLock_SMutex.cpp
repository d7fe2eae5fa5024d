#include <utils/SharedLock_SMutex.h>

#include <utils/Log.h>

#include "utils/ConcurrencyNative.h"

namespace utils {

SharedLock_SMutex::SharedLock_SMutex(SharedMutex* mutex, bool try_only) : m_lock(nullptr), m_locked(false) {
  if (mutex == nullptr) return;
  m_lock = acquireNativeLock<Native>(*mutex->getSharedMutex(), try_only, m_locked);
}

SharedLock_SMutex::SharedLock_SMutex(const SharedLock_SMutex& other) : m_lock(other.m_lock), m_locked(other.m_locked) {}

SharedLock_SMutex& SharedLock_SMutex::operator=(const SharedLock_SMutex& other) {
  m_lock = other.m_lock;
  m_locked = other.m_locked;
  return *this;
}

SharedLock_SMutex::~SharedLock_SMutex() {
  if (m_lock == nullptr) return;
  delete m_lock;
  log_debug("SharedLock:Destruct - destroyed");
}

bool SharedLock_SMutex::is_locked() { return m_locked; }

SharedLock_SMutex::Native* SharedLock_SMutex::getLock() const { return m_lock; }

}  // namespace utils
