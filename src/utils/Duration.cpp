#include <utils/Duration.h>

namespace utils {

Duration::Duration() : m_duration(0, 0, 0) {}

Duration::Duration(const boost::posix_time::time_duration& duration) : m_duration(duration) {}

std::uint64_t Duration::get_in_seconds() const {
  return static_cast<std::uint64_t>(m_duration.total_seconds());
}

std::uint64_t Duration::get_in_milliseconds() const {
  return static_cast<std::uint64_t>(m_duration.total_milliseconds());
}

std::uint64_t Duration::get_in_microseconds() const {
  return static_cast<std::uint64_t>(m_duration.total_microseconds());
}

Duration Duration::operator+(const Duration& other) const {
  return Duration(m_duration + other.m_duration);
}

Duration& Duration::operator+=(const Duration& other) {
  m_duration += other.m_duration;
  return *this;
}

}  // namespace utils
