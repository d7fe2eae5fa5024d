#include <utils/Lock.h>

#include "utils/ConcurrencyNative.h"

namespace utils {

Lock::Lock(Mutex* mutex, bool try_only) : m_lock(nullptr), m_locked(false) {
  if (mutex == nullptr) return;
  m_lock = acquireNativeLock<Native>(*mutex->getMutex(), try_only, m_locked);
}

Lock::Lock(const Lock& other) : m_lock(other.m_lock), m_locked(other.m_locked) {}

Lock& Lock::operator=(const Lock& other) {
  m_lock = other.m_lock;
  m_locked = other.m_locked;
  return *this;
}

Lock::~Lock() {
  if (m_lock != nullptr) delete m_lock;
}

bool Lock::is_locked() { return m_locked; }

Lock::Native* Lock::getLock() const { return m_lock; }

}  // namespace utils
