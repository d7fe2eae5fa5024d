#include <utils/UniqueLock_SMutex.h>

#include <utils/Log.h>

#include "utils/ConcurrencyNative.h"

namespace utils {

UniqueLock_SMutex::UniqueLock_SMutex(SharedMutex* mutex, bool try_only) : m_lock(nullptr), m_locked(false) {
  if (mutex == nullptr) return;
  m_lock = acquireNativeLock<Native>(*mutex->getSharedMutex(), try_only, m_locked);
}

UniqueLock_SMutex::UniqueLock_SMutex(const UniqueLock_SMutex& other) : m_lock(other.m_lock), m_locked(other.m_locked) {}

UniqueLock_SMutex& UniqueLock_SMutex::operator=(const UniqueLock_SMutex& other) {
  m_lock = other.m_lock;
  m_locked = other.m_locked;
  return *this;
}

UniqueLock_SMutex::~UniqueLock_SMutex() {
  if (m_lock == nullptr) return;
  delete m_lock;
  log_debug("UniqueLock:Destruct - destroyed");
}

bool UniqueLock_SMutex::is_locked() { return m_locked; }

UniqueLock_SMutex::Native* UniqueLock_SMutex::getLock() const { return m_lock; }

}  // namespace utils
