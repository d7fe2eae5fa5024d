// Packing of two small numbers into one identifier, and back.
#pragma once

#include <NorvaneExport.h>

#include <cstdint>

namespace utils {

class NORVANE_API MathHelper {
 public:
  // 2^a * 3^b, each power truncated to 64 bits, the product wrapping.
  static std::uint64_t pairNumber(std::uint16_t a, std::uint16_t b);
  // b back from pairNumber(a, b): ceil(log3(n / 2^a)).
  static double unpairNumber(std::uint64_t n, std::uint16_t a);
  // a * 1024 + b; b is not masked, so 1024 or more runs into a.
  static std::uint64_t pairedFreeSpaceId(std::uint16_t a, std::uint16_t b);
  // a = id / 1024; returns id % 1024.
  static double unpairedFreeSpaceId(std::uint64_t id, std::uint16_t& a);
  static int max(int first, int second);
};

}  // namespace utils
