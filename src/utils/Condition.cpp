#include <utils/Condition.h>

#include <boost/thread/xtime.hpp>

#include "utils/ConcurrencyNative.h"

namespace utils {

using NativeLock = boost::unique_lock<boost::recursive_mutex>;

Condition::Condition() : m_condition(new Native) {}

Condition::Condition(const Condition& other) : m_condition(other.m_condition) {}

Condition& Condition::operator=(const Condition& other) {
  m_condition = other.m_condition;
  return *this;
}

Condition::~Condition() { delete m_condition; }

void Condition::wait(Lock* lock) { m_condition->wait(static_cast<NativeLock&>(*lock->getLock())); }

bool Condition::timed_wait(Lock* lock, int seconds) {
  if (seconds < 1) return false;
  // Reading the system clock cannot fail: TIME_UTC_ is the one base it knows.
  boost::xtime deadline;
  (void)boost::xtime_get(&deadline, boost::TIME_UTC_);
  deadline.sec += static_cast<boost::xtime::xtime_sec_t>(seconds);
  // The conversion to system time rounds the nanoseconds to whole microseconds.
  return m_condition->timed_wait(static_cast<NativeLock&>(*lock->getLock()),
                                 boost::system_time(deadline));
}

void Condition::notifyOne() { m_condition->notify_one(); }

void Condition::notifyAll() { m_condition->notify_all(); }

}  // namespace utils
