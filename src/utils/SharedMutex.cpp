#include <utils/SharedMutex.h>

#include "utils/ConcurrencyNative.h"

namespace utils {

SharedMutex::SharedMutex() : m_shared_mutex(new Native) {}

SharedMutex::SharedMutex(const SharedMutex& other) : m_shared_mutex(other.m_shared_mutex) {}

SharedMutex& SharedMutex::operator=(const SharedMutex& other) {
  m_shared_mutex = other.m_shared_mutex;
  return *this;
}

SharedMutex::~SharedMutex() { delete m_shared_mutex; }

SharedMutex::Native* SharedMutex::getSharedMutex() const { return m_shared_mutex; }

}  // namespace utils
