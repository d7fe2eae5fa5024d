// Conversions of doubles to 64-bit integers that are defined for every input.
//
// The library's arithmetic truncates doubles to integers in many places, and some
// inputs (an infinite size, a power of two beyond 63) leave the integer range,
// where a plain C++ cast is undefined. These give the results of the x86-64
// conversion sequence that 64-bit compilers emit, which is what callers have always
// seen: a value too large, an infinity or a NaN gives 0 as unsigned and the lowest
// value as signed; a negative value converts through the signed form and wraps.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace utils::numeric {

inline std::int64_t truncateToSigned64(double value) {
  // Both bounds are exact powers of two as doubles.
  if (std::isnan(value) || value >= 9223372036854775808.0 || value < -9223372036854775808.0) {
    return std::numeric_limits<std::int64_t>::min();
  }
  return static_cast<std::int64_t>(value);
}

inline std::uint64_t truncateToUnsigned64(double value) {
  if (std::isnan(value) || value >= 18446744073709551616.0) return 0;
  if (value >= 9223372036854775808.0) return static_cast<std::uint64_t>(value);
  return static_cast<std::uint64_t>(truncateToSigned64(value));
}

}  // namespace utils::numeric
