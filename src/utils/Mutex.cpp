#include <utils/Mutex.h>

#include "utils/ConcurrencyNative.h"

namespace utils {

Mutex::Mutex() : m_mutex(new Native) {}

Mutex::Mutex(const Mutex& other) : m_mutex(other.m_mutex) {}

Mutex& Mutex::operator=(const Mutex& other) {
  m_mutex = other.m_mutex;
  return *this;
}

// Only the original destroys the native object; copies share it.
Mutex::~Mutex() { delete m_mutex; }

Mutex::Native* Mutex::getMutex() const { return m_mutex; }

}  // namespace utils
