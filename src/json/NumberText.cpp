#include "json/NumberText.h"

#include <charconv>
#include <cstdint>
#include <cstring>

namespace json {
namespace {

__extension__ typedef unsigned __int128 Uint128;

constexpr std::uint64_t kTenTo10 = 10000000000ull;

struct PowersOfTen {
  constexpr PowersOfTen() : values() {
    Uint128 value = 1;
    for (Uint128& power : values) {
      power = value;
      value *= 10;
    }
  }
  Uint128 values[23];
};

constexpr PowersOfTen kPowers;

const char kDigitPairs[] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

// Ten digits, with leading zeros.
void writeTenDigits(std::uint64_t value, char* out) {
  for (int i = 8; i >= 0; i -= 2) {
    std::memcpy(out + i, kDigitPairs + 2 * (value % 100), 2);
    value /= 100;
  }
}

// Numbers that are not whole, from 10^-3 up to 2^53: their exact value times the
// power of ten that brings it to twenty digits fits 128 bits, so the twenty digits
// and the rounding of the rest (to even on a tie, as printf rounds) are exact.
// Their exponent lies within the range %g prints without one. Null for the rest.
char* formatFraction(double value, char* out) {
  std::uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  const int biased = static_cast<int>((bits >> 52) & 0x7ff);
  // value = mantissa / 2^shift
  const int shift = 1075 - biased;
  const int binaryExponent = biased - 1023;
  // floor(binaryExponent * log10(2)): the decimal exponent, or one less.
  int exponent = (binaryExponent * 78913) >> 18;
  if (biased == 0 || shift <= 0 || exponent < -3) return nullptr;
  const std::uint64_t mantissa = (bits & ((std::uint64_t{1} << 52) - 1)) | (std::uint64_t{1} << 52);
  Uint128 scaled = mantissa * kPowers.values[19 - exponent];
  Uint128 digits = scaled >> shift;
  if (digits >= kPowers.values[20]) {
    ++exponent;
    scaled = mantissa * kPowers.values[19 - exponent];
    digits = scaled >> shift;
  }
  const Uint128 rest = scaled & ((Uint128{1} << shift) - 1);
  const Uint128 half = Uint128{1} << (shift - 1);
  // Rounding up never makes a twenty-first digit: no double of this range lies
  // within half a unit of the twentieth digit below a power of ten.
  if (rest > half || (rest == half && (digits & 1) != 0)) ++digits;

  char text[20];
  const std::uint64_t high = static_cast<std::uint64_t>(digits / kTenTo10);
  writeTenDigits(high, text);
  writeTenDigits(static_cast<std::uint64_t>(digits - Uint128{high} * kTenTo10), text + 10);
  int last = 19;
  while (text[last] == '0') --last;

  char* p = out;
  if ((bits >> 63) != 0) *p++ = '-';
  if (exponent >= 0) {
    std::memcpy(p, text, static_cast<size_t>(exponent) + 1);
    p += exponent + 1;
    if (last > exponent) {
      *p++ = '.';
      std::memcpy(p, text + exponent + 1, static_cast<size_t>(last - exponent));
      p += last - exponent;
    }
  } else {
    *p++ = '0';
    *p++ = '.';
    for (int i = -1; i > exponent; --i) *p++ = '0';
    std::memcpy(p, text, static_cast<size_t>(last) + 1);
    p += last + 1;
  }
  return p;
}

}  // namespace

char* formatNumber(double value, char* out) {
  char* const end = out + kNumberTextRoom;
  // A whole number below 1e19 has at most 19 digits, which %.20g prints exactly
  // and without exponent: the integer conversion gives the same text. Zero keeps
  // its sign through the general path.
  if (value != 0 && value > -1e19 && value < 1e19 && value == static_cast<double>(static_cast<long long>(value)))
    return std::to_chars(out, end, static_cast<long long>(value)).ptr;
  if (char* fraction = formatFraction(value, out)) return fraction;
  return std::to_chars(out, end, value, std::chars_format::general, 20).ptr;
}

}  // namespace json
