// The size family of Conversion. The base-dependent rules are driven with each base
// directly; ConversionPreferencesTest checks that the members read the configured one.

#include <cmath>
#include <limits>

#include <utils/Conversion.h>

#include "utils/ConversionSizeRules.h"
#include "utils/ConversionTestSupport.h"
#include "utils/NumericCast.h"

namespace {

using C = utils::Conversion;
using namespace utils::size_rules;
using namespace utils::numeric;
using U64 = std::uint64_t;
using U16 = std::uint16_t;

constexpr U64 kAllOnes = std::numeric_limits<U64>::max();
const double kInfinity = std::numeric_limits<double>::infinity();

// "size unit"; the unit starts as "keep" so that an untouched one shows.
template <typename Size, typename Convert>
std::string shown(Convert convert, Size size = 0, std::string unit = "keep") {
  convert(size, unit);
  return conversiontest::text(size) + ' ' + unit;
}
#define SHOWN(Size, ...) shown<Size>([&](Size& s, std::string& u) { __VA_ARGS__; })

std::string display(unsigned base, U64 n) { return SHOWN(U64, convertSizeInBlocksToDisplayUnits(base, n, s, u)); }
std::string bytes16(unsigned base, U16 bytes) { return SHOWN(U16, convertSizeFromBytes16(base, bytes, s, u)); }
std::string bytes32(std::uint32_t bytes) { return SHOWN(U16, C::convertSizeFromBytes(bytes, s, u)); }
std::string stripe(U16 kb) { return SHOWN(U16, C::convertStripeSize(kb, s, u)); }
std::string fromMB(double mb) { return SHOWN(double, C::convertSizeFromMB(mb, s, u)); }
std::string suitable(unsigned base, U64 n) { return SHOWN(double, convertSizeInBlocksToSuitableUnits(base, n, s, u)); }
// The result starts at 99 so that a kept one shows; the unit is written back.
std::string toKB(double size, const std::string& unit) {
  return shown<U64>([&](U64& r, std::string& u) { C::convertSizeToKB(size, r, u); }, 99, unit);
}
std::string drive(unsigned base, U64 blocks, std::uint32_t blockSize, bool makerRule = true) {
  return SHOWN(double, convertSizeInBlocksToSuitableUnitsUsingBlocks(base, blocks, s, u, blockSize, makerRule));
}
// The blocks start at 77, kept for units and bases without a rule; the size in
// megabytes at -1.
U64 toBlocks(unsigned base, double size, const std::string& unit, U16 blockSize = 512) {
  U64 blocks = 77;
  return convertSizeToBlocks(base, blocks, size, unit, blockSize), blocks;
}
double inMB(unsigned base, double size, const std::string& unit) {
  double result = -1;
  return convertSizeInMB(base, size, unit, result), result;
}
U64 array(std::uint8_t level, U16 drives = 4) { return C::calculateArraySizeInBlocks(100, drives, level); }
double share(std::uint8_t level, U16 drives) { return C::processSizeForRaidLevel(10.0, level, drives); }

TEST(ConversionSizeTest, RoundingArraysDisplayUnitsBlocksKBMegabytesAndDriveMakerRows) {
  conversiontest::expectRows({
      // Halves go away from zero; zero takes the negative branch.
      ROW("3", C::round(2.5)), ROW("-3", C::round(-2.5)), ROW("2", C::round(2.49)), ROW("-0", C::round(0.0)),
      ROW("1.235", C::my_round(1.23456, 3.0)), ROW("3", C::my_round(2.5, 0.0)), ROW("-1.24", C::my_round(-1.235, 2.0)),
      ROW("400", array(0)), ROW("100", array(1)), ROW("300", array(5)), ROW("200", array(6)), ROW("100", array(17)),
      // Too few drives wrap in 64 bits; other levels give all ones.
      ROW("18446744073709551516", array(6, 1)), ROW("18446744073709551516", array(5, 0)),
      ROW(std::to_string(kAllOnes), array(10)), ROW("40", share(0, 4)), ROW("30", share(5, 4)), ROW("20", share(6, 4)),
      ROW("20", share(17, 5)), ROW("10", share(1, 5)), ROW("-10", share(5, 0)), ROW("1 GB", display(1024, 2097152)),
      ROW("1 GiB", display(1000, 2097152)), ROW("1 keep", display(512, 2097152)), ROW("512 B", display(1024, 1)),
      ROW("0 B", display(1024, U64{1} << 55)),  // the shift drops the top
      ROW("1023 B", bytes32(1023)), ROW("1 KB", bytes32(1024)), ROW("2 KB", bytes16(1024, 2048)),
      ROW("2 KiB", bytes16(1000, 2048)), ROW("63 keep", bytes16(0, 65535)), ROW("64 KB", stripe(64)),
      ROW("1 MB", stripe(1024)), ROW("512 MB", fromMB(512)), ROW("1.5 GB", fromMB(1536)),
      // From megabytes the climb stops at the last unit. Suitable units: three decimals.
      ROW("1024 ZB", fromMB(std::ldexp(1.0, 60))), ROW("1 GB", suitable(1024, 2097152)),
      ROW("488.281 MiB", suitable(1000, 1000000)), ROW("1.5 keep", suitable(999, 3)),
      // Only the unit names of the base are known; 0 as block size means 512.
      ROW("2097152", toBlocks(1024, 1.0, "GB")), ROW("2097152", toBlocks(1000, 1.0, "GiB")),
      ROW("3", toBlocks(1024, 1.5, "KB", 0)), ROW("2", toBlocks(1024, 8.0, "KB", 4096)),
      // 1000 >> 10 is 0: the quotient is infinite, which converts to 0.
      ROW("0", toBlocks(1024, 8.0, "KB", 1000)), ROW("77", toBlocks(1000, 1.0, "GB")),
      ROW("77", toBlocks(1023, 1.0, "GB")),
      // To KB the size climbs, and ends after one wrap of the index; an unknown unit
      // keeps the result and is trimmed.
      ROW("524288 KB", toKB(0.5, "  GB \t")), ROW("99 kb", toKB(5.0, " kb ")), ROW("1048576 KB", toKB(1.0, "GiB")),
      ROW("512 KB", toKB(0.5, "MB")),  // passes below KB and climbs back
      ROW("2048 KB", toKB(2048.7, "KiB")), ROW("3 MB", toKB(3145728.0, "B")), ROW("1023 B", toKB(1023.0, "B")),
      ROW("0 ZB", toKB(kInfinity, "B")),  // stops at the last unit
      // Zero would loop for ever; a tiny size wraps the index, grows to infinity, ends at KB.
      ROW("0 KB", toKB(0.0, "MB")), ROW("9223372036854775808 KB", toKB(-1.0, "TB")), ROW("0 KB", toKB(1e-300, "GB")),
      // In MB the small units shift in 32 bits, and only the low 32 bits of the whole part count.
      ROW("947912704", inMB(1024, 5000.0, "TB")), ROW("1024", inMB(1024, 1.5, "GB")),
      ROW("3", inMB(1024, 3145728.0, "B")), ROW("2", inMB(1024, 2048.0, "KB")), ROW("7", inMB(1024, 7.9, "MB")),
      ROW("1073741824", inMB(1024, 1.0, "PB")), ROW("1099511627776", inMB(1024, 1.0, "EB")),
      ROW("4294967295", inMB(1024, -1.0, "MB")), ROW("-1", inMB(1024, 1.0, "MiB")), ROW("-1", inMB(2048, 1.0, "MB")),
      // Drive maker rows and the IDEMA inverse; 0 as block size means 512.
      ROW("0 B", drive(1000, 0, 512)), ROW("36 GB", drive(1000, 71132960, 512)),
      ROW("72 GB", drive(1000, 143374738, 512)), ROW("146 GB", drive(1000, 286749488, 512)),
      ROW("300 GB", drive(1000, 585937500, 512)), ROW("500 GB", drive(1000, 976773168, 512)),
      ROW("1 TB", drive(1000, 1953525168, 0)), ROW("1 TB", drive(1000, 244190646, 4096)),
      // Under the 50 GB point the count wraps round; only the fixed rows help.
      ROW("9.442900589775 ZB", drive(1000, 19531250, 512)),
      // Past the 8000 GB limit, or blocks larger than one IDEMA gigabyte: plain powers of
      // 1000. A total that wraps under the limit reaches the 4096-byte branch.
      ROW("10.24 TB", drive(1000, 20000000000ULL, 512)), ROW("2.147483648 GB", drive(1000, 1, 2147483648u)),
      ROW("0 GB", drive(1000, (U64{1} << 52) + 1, 4096)),
      // Without the rule, or with base 1024: powers of 1024, not rounded.
      ROW("1 GB", drive(1024, 2097152, 512)), ROW("931.513389587402 GiB", drive(1000, 1953525168, 512, false)),
      ROW("1.5 KiB", drive(1000, 3, 0, false)), ROW("8 keep", drive(7, 2, 4096)),
      ROW("1208.75067647661 ZB", drive(1000, 0, 65536)),  // a wrapped count stays at the last unit
      // Truncation of doubles: out of range or not a number gives the type's marker.
      ROW("-9223372036854775808", truncateToSigned64(std::nan(""))),
      ROW("-9223372036854775808", truncateToSigned64(0x1p63)), ROW("-9223372036854775808", truncateToSigned64(-0x1p64)),
      ROW("-7", truncateToSigned64(-7.9)), ROW("0", truncateToUnsigned64(std::nan(""))),
      ROW("0", truncateToUnsigned64(0x1p64)), ROW("9223372036854775808", truncateToUnsigned64(0x1p63)),
      ROW("18446744073709551615", truncateToUnsigned64(-1.0)),
  });
  EXPECT_EQ(std::ldexp(1.0, 50), inMB(1024, 1.0, "ZB"));  // exactly, beyond the digits a row shows
}

}  // namespace
