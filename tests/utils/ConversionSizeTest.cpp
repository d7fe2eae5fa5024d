// The size family of Conversion. The base-dependent rules are driven with each base
// directly; ConversionPreferencesTest checks that the members read the configured one.
#include <gtest/gtest.h>

#include <cmath>
#include <iomanip>
#include <limits>
#include <sstream>
#include <string>

#include <utils/Conversion.h>

#include "utils/ConversionSizeRules.h"

namespace {

using utils::Conversion;
namespace rules = utils::size_rules;

constexpr std::uint64_t kAllOnes = std::numeric_limits<std::uint64_t>::max();
const double kInfinity = std::numeric_limits<double>::infinity();

// "size unit", the size to 15 significant digits; the unit starts as "keep" so that
// an untouched one shows.
template <typename Size>
std::string shown(Size size, const std::string& unit) {
  std::ostringstream text;
  text << std::setprecision(15) << +size << ' ' << unit;
  return text.str();
}

std::string display(unsigned base, std::uint64_t blocks) {
  std::uint64_t size = 0;
  std::string unit = "keep";
  rules::convertSizeInBlocksToDisplayUnits(base, blocks, size, unit);
  return shown(size, unit);
}

template <typename Bytes>
std::string fromBytes(Bytes bytes, unsigned base = 1024) {
  std::uint16_t size = 0;
  std::string unit = "keep";
  if constexpr (sizeof(Bytes) == 2) {
    rules::convertSizeFromBytes16(base, bytes, size, unit);
  } else {
    Conversion::convertSizeFromBytes(bytes, size, unit);
  }
  return shown(size, unit);
}

std::string stripe(std::uint16_t kb) {
  std::uint16_t size = 0;
  std::string unit;
  Conversion::convertStripeSize(kb, size, unit);
  return shown(size, unit);
}

std::string fromMB(double mb) {
  double size = 0;
  std::string unit;
  Conversion::convertSizeFromMB(mb, size, unit);
  return shown(size, unit);
}

std::string suitable(unsigned base, std::uint64_t blocks) {
  double size = 0;
  std::string unit = "keep";
  rules::convertSizeInBlocksToSuitableUnits(base, blocks, size, unit);
  return shown(size, unit);
}

std::uint64_t toBlocks(unsigned base, double size, const std::string& unit, std::uint16_t blockSize) {
  std::uint64_t blocks = 77;
  rules::convertSizeToBlocks(base, blocks, size, unit, blockSize);
  return blocks;
}

// result and the unit written back.
std::string toKB(double size, std::string unit) {
  std::uint64_t result = 99;
  Conversion::convertSizeToKB(size, result, unit);
  return shown(result, unit);
}

double inMB(unsigned base, double size, const std::string& unit) {
  double result = -1;
  rules::convertSizeInMB(base, size, unit, result);
  return result;
}

std::string drive(unsigned base, std::uint64_t blocks, std::uint32_t blockSize, bool makerRule) {
  double size = -1;
  std::string unit = "keep";
  rules::convertSizeInBlocksToSuitableUnitsUsingBlocks(base, blocks, size, unit, blockSize,
                                                       makerRule);
  return shown(size, unit);
}

TEST(ConversionRoundTest, HalvesGoAwayFromZeroAndZeroTakesTheNegativeBranch) {
  EXPECT_EQ(3.0, Conversion::round(2.5));
  EXPECT_EQ(-3.0, Conversion::round(-2.5));
  EXPECT_EQ(2.0, Conversion::round(2.49));
  EXPECT_TRUE(std::signbit(Conversion::round(0.0)));
  EXPECT_DOUBLE_EQ(1.235, Conversion::my_round(1.23456, 3.0));
  EXPECT_EQ(3.0, Conversion::my_round(2.5, 0.0));
  EXPECT_DOUBLE_EQ(-1.24, Conversion::my_round(-1.235, 2.0));
}

TEST(ConversionArraySizeTest, SupportedLevelsAndTheAllOnesSentinel) {
  EXPECT_EQ(400u, Conversion::calculateArraySizeInBlocks(100, 4, 0));
  EXPECT_EQ(100u, Conversion::calculateArraySizeInBlocks(100, 4, 1));
  EXPECT_EQ(300u, Conversion::calculateArraySizeInBlocks(100, 4, 5));
  EXPECT_EQ(200u, Conversion::calculateArraySizeInBlocks(100, 4, 6));
  EXPECT_EQ(100u, Conversion::calculateArraySizeInBlocks(100, 4, 17));
  // Too few drives wrap in 64 bits.
  EXPECT_EQ(std::uint64_t{0} - 100, Conversion::calculateArraySizeInBlocks(100, 1, 6));
  EXPECT_EQ(std::uint64_t{0} - 100, Conversion::calculateArraySizeInBlocks(100, 0, 5));
  for (std::uint8_t level : {10, 18, 23, 50, 60, 255}) {
    EXPECT_EQ(kAllOnes, Conversion::calculateArraySizeInBlocks(100, 4, level)) << int(level);
  }
}

TEST(ConversionRaidShareTest, FactorsBySignedDriveCount) {
  const struct {
    std::uint8_t level;
    std::uint16_t drives;
    double share;
  } cases[] = {{0, 4, 40},  {23, 4, 40}, {5, 4, 30},  {50, 4, 30}, {6, 4, 20},   {60, 4, 20},
               {17, 5, 20}, {18, 5, 20}, {1, 5, 10},  {10, 5, 10}, {5, 0, -10},  {60, 1, -10}};
  for (const auto& c : cases) {
    EXPECT_EQ(c.share, Conversion::processSizeForRaidLevel(10.0, c.level, c.drives))
        << int(c.level) << " x " << c.drives;
  }
}

TEST(ConversionDisplayUnitsTest, BlocksToWholeUnitsNamedByBase) {
  EXPECT_EQ("1 GB", display(1024, 2097152));
  EXPECT_EQ("1 GiB", display(1000, 2097152));
  EXPECT_EQ("1 keep", display(512, 2097152));
  EXPECT_EQ("1 KB", display(1024, 3));  // 1536 bytes
  EXPECT_EQ("512 B", display(1024, 1));
  EXPECT_EQ("15 EB", display(1024, kAllOnes));
  EXPECT_EQ("0 B", display(1024, std::uint64_t{1} << 55));  // the shift drops the top
}

TEST(ConversionDisplayUnitsTest, BytesAndStripeSizes) {
  EXPECT_EQ("1023 B", fromBytes(std::uint32_t{1023}));
  EXPECT_EQ("1 KB", fromBytes(std::uint32_t{1024}));
  EXPECT_EQ("3 GB", fromBytes(std::uint32_t{0xffffffff}));
  EXPECT_EQ("2 KB", fromBytes(std::uint16_t{2048}, 1024));
  EXPECT_EQ("2 KiB", fromBytes(std::uint16_t{2048}, 1000));
  EXPECT_EQ("63 keep", fromBytes(std::uint16_t{65535}, 0));
  EXPECT_EQ("64 KB", stripe(64));
  EXPECT_EQ("1 MB", stripe(1024));
  EXPECT_EQ("63 MB", stripe(65535));
}

TEST(ConversionDisplayUnitsTest, FromMegabytesStopsAtTheLastUnit) {
  EXPECT_EQ("512 MB", fromMB(512));
  EXPECT_EQ("1.5 GB", fromMB(1536));
  EXPECT_EQ("1 TB", fromMB(1048576));
  EXPECT_EQ("-5 MB", fromMB(-5));
  EXPECT_EQ("1024 ZB", fromMB(std::ldexp(1.0, 60)));
  EXPECT_EQ("inf ZB", fromMB(kInfinity));
}

TEST(ConversionDisplayUnitsTest, SuitableUnitsToThreeDecimals) {
  EXPECT_EQ("1 GB", suitable(1024, 2097152));
  EXPECT_EQ("1.5 KB", suitable(1024, 3));
  EXPECT_EQ("488.281 MiB", suitable(1000, 1000000));  // 488.28125
  EXPECT_EQ("1.5 keep", suitable(999, 3));
}

TEST(ConversionToBlocksTest, UnitNamesOfTheBaseWithPowersOf1024) {
  EXPECT_EQ(2097152u, toBlocks(1024, 1.0, "GB", 512));
  EXPECT_EQ(2097152u, toBlocks(1000, 1.0, "GiB", 512));
  EXPECT_EQ(3u, toBlocks(1024, 1.5, "KB", 0));  // 0 means 512
  EXPECT_EQ(2199023255552u, toBlocks(1024, 1.0, "PB", 512));
  EXPECT_EQ(2u, toBlocks(1024, 8.0, "KB", 4096));
  EXPECT_EQ(1536u, toBlocks(1000, 3.0, "MiB", 2048));
  EXPECT_EQ(0u, toBlocks(1024, 0.3, "KB", 512));
  // 1000 >> 10 is 0: the quotient is infinite, which converts to 0.
  EXPECT_EQ(0u, toBlocks(1024, 8.0, "KB", 1000));
}

TEST(ConversionToBlocksTest, OtherUnitsAndBasesLeaveBlocks) {
  for (const char* unit : {"GiB", "B", "EB", "ZB", "gb", " GB", ""}) {
    EXPECT_EQ(77u, toBlocks(1024, 1.0, unit, 512)) << unit;
  }
  EXPECT_EQ(77u, toBlocks(1000, 1.0, "GB", 512));
  EXPECT_EQ(77u, toBlocks(1023, 1.0, "GB", 512));
}

TEST(ConversionToKBTest, LargeUnitsComeOutInKBAndBytesClimb) {
  EXPECT_EQ("524288 KB", toKB(0.5, "  GB \t"));
  EXPECT_EQ("2147483648 KB", toKB(2.0, "TB"));
  EXPECT_EQ("1048576 KB", toKB(1.0, "GiB"));
  EXPECT_EQ("512 KB", toKB(0.5, "MB"));  // passes below KB and climbs back
  EXPECT_EQ("2048 KB", toKB(2048.7, "KiB"));
  EXPECT_EQ("3 MB", toKB(3145728.0, "B"));
  EXPECT_EQ("1023 B", toKB(1023.0, "B"));
  EXPECT_EQ("0 ZB", toKB(kInfinity, "B"));  // stops at the last unit
  EXPECT_EQ("99 kb", toKB(5.0, " kb "));    // unknown: result kept, unit trimmed
}

TEST(ConversionToKBTest, ZeroAndTinySizesEndAfterOneWrapOfTheIndex) {
  EXPECT_EQ("0 KB", toKB(0.0, "MB"));  // would loop for ever
  EXPECT_EQ("9223372036854775808 KB", toKB(-1.0, "TB"));
  // A tiny size wraps the index, grows to infinity and ends at KB.
  EXPECT_EQ("0 KB", toKB(1e-300, "GB"));
}

TEST(ConversionInMBTest, ThirtyTwoBitShiftsForTheSmallUnits) {
  EXPECT_EQ(947912704.0, inMB(1024, 5000.0, "TB"));
  EXPECT_EQ(1024.0, inMB(1024, 1.5, "GB"));
  EXPECT_EQ(3.0, inMB(1024, 3145728.0, "B"));
  EXPECT_EQ(2.0, inMB(1024, 2048.0, "KB"));
  EXPECT_EQ(7.0, inMB(1024, 7.9, "MB"));
  EXPECT_EQ(0.0, inMB(1024, 4194304.0, "GB"));
  EXPECT_EQ(1073741824.0, inMB(1024, 1.0, "PB"));
  EXPECT_EQ(std::ldexp(1.0, 40), inMB(1024, 1.0, "EB"));
  EXPECT_EQ(std::ldexp(1.0, 50), inMB(1024, 1.0, "ZB"));
  EXPECT_EQ(1048576.0, inMB(1000, 1.0, "TiB"));
  // Only the low 32 bits of the whole part count.
  EXPECT_EQ(4294967295.0, inMB(1024, -1.0, "MB"));
  EXPECT_EQ(2.0, inMB(1024, 4294967298.0, "MB"));
  for (unsigned base : {1024u, 1000u, 2048u}) {
    EXPECT_EQ(-1.0, inMB(base, 1.0, base == 1024 ? "MiB" : "MB")) << base;
  }
  EXPECT_EQ(-1.0, inMB(1024, 1.0, "YB"));
}

TEST(ConversionDriveMakerTest, FixedRowsAndTheIdemaInverse) {
  EXPECT_EQ("0 B", drive(1000, 0, 512, true));
  EXPECT_EQ("36 GB", drive(1000, 71132960, 512, true));
  EXPECT_EQ("72 GB", drive(1000, 143374738, 512, true));
  EXPECT_EQ("146 GB", drive(1000, 286749488, 512, true));
  EXPECT_EQ("300 GB", drive(1000, 585937500, 512, true));
  EXPECT_EQ("500 GB", drive(1000, 976773168, 512, true));
  EXPECT_EQ("1 TB", drive(1000, 1953525168, 512, true));
  EXPECT_EQ("1 TB", drive(1000, 1953525168, 0, true));  // 0 means 512
  EXPECT_EQ("1 TB", drive(1000, 244190646, 4096, true));
  // Under the 50 GB point the count wraps round; only the fixed rows help.
  EXPECT_EQ("9.442900589775 ZB", drive(1000, 19531250, 512, true));
  EXPECT_EQ("75.543204718125 ZB", drive(1000, 0, 4096, true));
  // Past the 8000 GB limit: plain powers of 1000.
  EXPECT_EQ("10.24 TB", drive(1000, 20000000000ULL, 512, true));
  // A total that wraps under the limit reaches the 4096-byte branch.
  EXPECT_EQ("0 GB", drive(1000, (std::uint64_t{1} << 52) + 1, 4096, true));
  // Blocks larger than one IDEMA gigabyte: plain powers of 1000.
  EXPECT_EQ("2.147483648 GB", drive(1000, 1, 2147483648u, true));
}

TEST(ConversionDriveMakerTest, PowersOf1024WithoutTheRuleOrWithBase1024) {
  EXPECT_EQ("1 GB", drive(1024, 2097152, 512, true));
  EXPECT_EQ("33.9188385009766 GB", drive(1024, 71132960, 512, true));  // no fixed row
  EXPECT_EQ("931.513389587402 GiB", drive(1000, 1953525168, 512, false));  // not rounded
  EXPECT_EQ("1.5 KiB", drive(1000, 3, 0, false));
  EXPECT_EQ("8 keep", drive(7, 2, 4096, true));
}

}  // namespace
