#include <utils/MathHelper.h>

#include <cmath>
#include <limits>

#include "utils/NumericCast.h"

namespace utils {

std::uint64_t MathHelper::pairNumber(std::uint16_t a, std::uint16_t b) {
  return numeric::truncateToUnsigned64(std::pow(2.0, a)) *
         numeric::truncateToUnsigned64(std::pow(3.0, b));
}

double MathHelper::unpairNumber(std::uint64_t n, std::uint16_t a) {
  const std::uint64_t powerOfTwo = numeric::truncateToUnsigned64(std::pow(2.0, a));
  // From a of 64 on the 2-power does not fit and truncates to 0; rather than divide
  // by zero the quotient counts as 0, which gives what a quotient of 0 gives: the
  // ceiling of log(0), minus infinity.
  const std::uint64_t quotient = powerOfTwo == 0 ? 0 : n / powerOfTwo;
  return std::ceil(std::log(static_cast<double>(quotient)) / std::log(3.0));
}

std::uint64_t MathHelper::pairedFreeSpaceId(std::uint16_t a, std::uint16_t b) {
  const std::int32_t id = static_cast<std::int32_t>(a) * 1024 + b;
  return static_cast<std::uint64_t>(static_cast<std::int64_t>(id));
}

double MathHelper::unpairedFreeSpaceId(std::uint64_t id, std::uint16_t& a) {
  a = static_cast<std::uint16_t>(id / 1024);
  return static_cast<double>(id % 1024);
}

int MathHelper::max(int first, int second) { return first > second ? first : second; }

}  // namespace utils
