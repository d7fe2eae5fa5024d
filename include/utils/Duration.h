// A span of time to the microsecond.
#pragma once

#include <NorvaneExport.h>

#include <cstdint>

#include <boost/date_time/posix_time/posix_time_types.hpp>

namespace utils {

class NORVANE_API Duration {
 public:
  Duration();
  Duration(const boost::posix_time::time_duration& duration);

  // Whole seconds, milliseconds and microseconds. Unsigned: a negative span reads
  // as a very large number, so callers order the two ends themselves.
  std::uint64_t get_in_seconds() const;
  std::uint64_t get_in_milliseconds() const;
  std::uint64_t get_in_microseconds() const;

  Duration operator+(const Duration& other) const;
  Duration& operator+=(const Duration& other);

 private:
  boost::posix_time::time_duration m_duration;
};

}  // namespace utils
