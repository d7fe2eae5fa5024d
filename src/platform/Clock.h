#pragma once

#include <cstdint>

namespace platform {

// Local calendar time, to the millisecond, as the wall clock shows it.
struct LocalTime {
  int year = 0;
  int month = 0;   // 1..12
  int day = 0;     // 1..31
  int hour = 0;
  int minute = 0;
  int second = 0;
  int millisecond = 0;
};

// Wall clock and thread identity.
class Clock {
 public:
  virtual ~Clock() = default;
  virtual LocalTime localTime() = 0;
  // Numeric id of the calling thread as the OS knows it (gettid on Linux).
  virtual std::uint64_t currentThreadId() = 0;
};

}  // namespace platform
