// The size family of Conversion. The base-dependent rules are driven with each base
// directly; ConversionPreferencesTest checks that the members read the configured one.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include <utils/Conversion.h>

#include "utils/ConversionSizeRules.h"

namespace {

using utils::Conversion;
namespace rules = utils::size_rules;

constexpr std::uint64_t kAllOnes = std::numeric_limits<std::uint64_t>::max();

TEST(ConversionRoundTest, HalvesGoAwayFromZeroAndZeroTakesTheNegativeBranch) {
  EXPECT_EQ(3.0, Conversion::round(2.5));
  EXPECT_EQ(-3.0, Conversion::round(-2.5));
  EXPECT_EQ(2.0, Conversion::round(2.49));
  const double zero = Conversion::round(0.0);
  EXPECT_EQ(0.0, zero);
  EXPECT_TRUE(std::signbit(zero));
  EXPECT_DOUBLE_EQ(1.235, Conversion::my_round(1.23456, 3.0));
  EXPECT_EQ(3.0, Conversion::my_round(2.5, 0.0));
  EXPECT_DOUBLE_EQ(-1.24, Conversion::my_round(-1.235, 2.0));
}

TEST(ConversionArraySizeTest, LevelsZeroOneFiveSixAndSeventeen) {
  EXPECT_EQ(400u, Conversion::calculateArraySizeInBlocks(100, 4, 0));
  EXPECT_EQ(100u, Conversion::calculateArraySizeInBlocks(100, 4, 1));
  EXPECT_EQ(300u, Conversion::calculateArraySizeInBlocks(100, 4, 5));
  EXPECT_EQ(200u, Conversion::calculateArraySizeInBlocks(100, 4, 6));
  EXPECT_EQ(100u, Conversion::calculateArraySizeInBlocks(100, 4, 17));
  // Too few drives wrap in 64 bits.
  EXPECT_EQ(std::uint64_t{0} - 100, Conversion::calculateArraySizeInBlocks(100, 1, 6));
  EXPECT_EQ(std::uint64_t{0} - 100, Conversion::calculateArraySizeInBlocks(100, 0, 5));
}

TEST(ConversionArraySizeTest, LevelsKnownOnlyToRaidGiveAllOnes) {
  for (std::uint8_t level : {10, 18, 23, 50, 60, 255}) {
    EXPECT_EQ(kAllOnes, Conversion::calculateArraySizeInBlocks(100, 4, level)) << int(level);
  }
}

TEST(ConversionRaidShareTest, FactorsBySignedDriveCount) {
  EXPECT_EQ(40.0, Conversion::processSizeForRaidLevel(10.0, 0, 4));
  EXPECT_EQ(40.0, Conversion::processSizeForRaidLevel(10.0, 23, 4));
  EXPECT_EQ(30.0, Conversion::processSizeForRaidLevel(10.0, 5, 4));
  EXPECT_EQ(30.0, Conversion::processSizeForRaidLevel(10.0, 50, 4));
  EXPECT_EQ(20.0, Conversion::processSizeForRaidLevel(10.0, 6, 4));
  EXPECT_EQ(20.0, Conversion::processSizeForRaidLevel(10.0, 60, 4));
  EXPECT_EQ(20.0, Conversion::processSizeForRaidLevel(10.0, 17, 5));  // 5 / 2 is 2
  EXPECT_EQ(20.0, Conversion::processSizeForRaidLevel(10.0, 18, 5));
  EXPECT_EQ(10.0, Conversion::processSizeForRaidLevel(10.0, 1, 5));
  EXPECT_EQ(10.0, Conversion::processSizeForRaidLevel(10.0, 10, 5));
  EXPECT_EQ(-10.0, Conversion::processSizeForRaidLevel(10.0, 5, 0));
  EXPECT_EQ(-10.0, Conversion::processSizeForRaidLevel(10.0, 60, 1));
}

TEST(ConversionDisplayUnitsTest, BlocksToWholeUnitsNamedByBase) {
  std::uint64_t size = 0;
  std::string unit;
  rules::convertSizeInBlocksToDisplayUnits(1024, 2097152, size, unit);
  EXPECT_EQ(1u, size);
  EXPECT_EQ("GB", unit);
  rules::convertSizeInBlocksToDisplayUnits(1000, 2097152, size, unit);
  EXPECT_EQ(1u, size);
  EXPECT_EQ("GiB", unit);
  rules::convertSizeInBlocksToDisplayUnits(1024, 3, size, unit);  // 1536 bytes
  EXPECT_EQ(1u, size);
  EXPECT_EQ("KB", unit);
  rules::convertSizeInBlocksToDisplayUnits(1024, 1, size, unit);
  EXPECT_EQ(512u, size);
  EXPECT_EQ("B", unit);
  rules::convertSizeInBlocksToDisplayUnits(1024, kAllOnes, size, unit);
  EXPECT_EQ(15u, size);
  EXPECT_EQ("EB", unit);
  // The shift by 9 drops the top bits.
  rules::convertSizeInBlocksToDisplayUnits(1024, std::uint64_t{1} << 55, size, unit);
  EXPECT_EQ(0u, size);
  EXPECT_EQ("B", unit);
  unit = "keep";
  rules::convertSizeInBlocksToDisplayUnits(512, 2097152, size, unit);
  EXPECT_EQ(1u, size);
  EXPECT_EQ("keep", unit);
}

TEST(ConversionDisplayUnitsTest, BytesAndStripeSizes) {
  std::uint16_t size = 0;
  std::string unit;
  Conversion::convertSizeFromBytes(std::uint32_t{1023}, size, unit);
  EXPECT_EQ(1023, size);
  EXPECT_EQ("B", unit);
  Conversion::convertSizeFromBytes(std::uint32_t{1024}, size, unit);
  EXPECT_EQ(1, size);
  EXPECT_EQ("KB", unit);
  Conversion::convertSizeFromBytes(std::uint32_t{0xffffffff}, size, unit);
  EXPECT_EQ(3, size);
  EXPECT_EQ("GB", unit);

  rules::convertSizeFromBytes16(1024, 2048, size, unit);
  EXPECT_EQ(2, size);
  EXPECT_EQ("KB", unit);
  rules::convertSizeFromBytes16(1000, 2048, size, unit);
  EXPECT_EQ(2, size);
  EXPECT_EQ("KiB", unit);
  unit = "keep";
  rules::convertSizeFromBytes16(0, 65535, size, unit);
  EXPECT_EQ(63, size);
  EXPECT_EQ("keep", unit);

  Conversion::convertStripeSize(64, size, unit);
  EXPECT_EQ(64, size);
  EXPECT_EQ("KB", unit);
  Conversion::convertStripeSize(1024, size, unit);
  EXPECT_EQ(1, size);
  EXPECT_EQ("MB", unit);
  Conversion::convertStripeSize(65535, size, unit);
  EXPECT_EQ(63, size);
  EXPECT_EQ("MB", unit);
}

TEST(ConversionDisplayUnitsTest, FromMegabytesStopsAtTheLastUnit) {
  double size = 0;
  std::string unit;
  Conversion::convertSizeFromMB(512.0, size, unit);
  EXPECT_EQ(512.0, size);
  EXPECT_EQ("MB", unit);
  Conversion::convertSizeFromMB(1536.0, size, unit);
  EXPECT_EQ(1.5, size);
  EXPECT_EQ("GB", unit);
  Conversion::convertSizeFromMB(1048576.0, size, unit);
  EXPECT_EQ(1.0, size);
  EXPECT_EQ("TB", unit);
  Conversion::convertSizeFromMB(-5.0, size, unit);
  EXPECT_EQ(-5.0, size);
  EXPECT_EQ("MB", unit);
  Conversion::convertSizeFromMB(std::ldexp(1.0, 60), size, unit);
  EXPECT_EQ(1024.0, size);
  EXPECT_EQ("ZB", unit);
  Conversion::convertSizeFromMB(std::numeric_limits<double>::infinity(), size, unit);
  EXPECT_TRUE(std::isinf(size));
  EXPECT_EQ("ZB", unit);
}

TEST(ConversionDisplayUnitsTest, SuitableUnitsToThreeDecimals) {
  double size = 0;
  std::string unit;
  rules::convertSizeInBlocksToSuitableUnits(1024, 2097152, size, unit);
  EXPECT_EQ(1.0, size);
  EXPECT_EQ("GB", unit);
  rules::convertSizeInBlocksToSuitableUnits(1024, 3, size, unit);
  EXPECT_EQ(1.5, size);
  EXPECT_EQ("KB", unit);
  rules::convertSizeInBlocksToSuitableUnits(1000, 1000000, size, unit);  // 488.28125 MB
  EXPECT_DOUBLE_EQ(488.281, size);
  EXPECT_EQ("MiB", unit);
  unit = "keep";
  rules::convertSizeInBlocksToSuitableUnits(999, 3, size, unit);
  EXPECT_EQ(1.5, size);
  EXPECT_EQ("keep", unit);
}

TEST(ConversionToBlocksTest, UnitNamesOfTheBaseWithPowersOf1024) {
  std::uint64_t blocks = 77;
  rules::convertSizeToBlocks(1024, blocks, 1.0, "GB", 512);
  EXPECT_EQ(2097152u, blocks);
  rules::convertSizeToBlocks(1000, blocks = 77, 1.0, "GiB", 512);
  EXPECT_EQ(2097152u, blocks);
  rules::convertSizeToBlocks(1024, blocks = 77, 1.5, "KB", 0);  // 0 means 512
  EXPECT_EQ(3u, blocks);
  rules::convertSizeToBlocks(1024, blocks = 77, 1.0, "PB", 512);
  EXPECT_EQ(2199023255552u, blocks);
  rules::convertSizeToBlocks(1024, blocks = 77, 8.0, "KB", 4096);
  EXPECT_EQ(2u, blocks);
  rules::convertSizeToBlocks(1000, blocks = 77, 3.0, "MiB", 2048);
  EXPECT_EQ(1536u, blocks);
  rules::convertSizeToBlocks(1024, blocks = 77, 0.3, "KB", 512);
  EXPECT_EQ(0u, blocks);
}

TEST(ConversionToBlocksTest, OtherUnitsAndBasesLeaveBlocks) {
  std::uint64_t blocks = 77;
  for (const char* unit : {"GiB", "B", "EB", "ZB", "gb", " GB", ""}) {
    rules::convertSizeToBlocks(1024, blocks, 1.0, unit, 512);
    EXPECT_EQ(77u, blocks) << unit;
  }
  rules::convertSizeToBlocks(1000, blocks, 1.0, "GB", 512);
  EXPECT_EQ(77u, blocks);
  rules::convertSizeToBlocks(1023, blocks, 1.0, "GB", 512);
  EXPECT_EQ(77u, blocks);
}

TEST(ConversionToBlocksTest, SmallBlockSizeDividesByZero) {
  // 1000 >> 10 is 0: the quotient is infinite, which converts to 0.
  std::uint64_t blocks = 77;
  rules::convertSizeToBlocks(1024, blocks, 8.0, "KB", 1000);
  EXPECT_EQ(0u, blocks);
}

TEST(ConversionToKBTest, LargeUnitsComeOutInKB) {
  std::uint64_t result = 0;
  std::string unit = "  GB \t";
  Conversion::convertSizeToKB(0.5, result, unit);
  EXPECT_EQ(524288u, result);
  EXPECT_EQ("KB", unit);
  unit = "TB";
  Conversion::convertSizeToKB(2.0, result, unit);
  EXPECT_EQ(2147483648u, result);
  EXPECT_EQ("KB", unit);
  unit = "GiB";
  Conversion::convertSizeToKB(1.0, result, unit);
  EXPECT_EQ(1048576u, result);
  EXPECT_EQ("KB", unit);
  // Half a MB passes below KB and climbs back.
  unit = "MB";
  Conversion::convertSizeToKB(0.5, result, unit);
  EXPECT_EQ(512u, result);
  EXPECT_EQ("KB", unit);
}

TEST(ConversionToKBTest, KBStaysAndBytesClimb) {
  std::uint64_t result = 0;
  std::string unit = "KiB";
  Conversion::convertSizeToKB(2048.7, result, unit);
  EXPECT_EQ(2048u, result);
  EXPECT_EQ("KB", unit);
  unit = "B";
  Conversion::convertSizeToKB(3145728.0, result, unit);
  EXPECT_EQ(3u, result);
  EXPECT_EQ("MB", unit);
  unit = "B";
  Conversion::convertSizeToKB(1023.0, result, unit);
  EXPECT_EQ(1023u, result);
  EXPECT_EQ("B", unit);
  unit = "B";
  Conversion::convertSizeToKB(std::numeric_limits<double>::infinity(), result, unit);
  EXPECT_EQ("ZB", unit);
}

TEST(ConversionToKBTest, ZeroAndTinySizesEndAfterOneWrapOfTheIndex) {
  std::uint64_t result = 99;
  std::string unit = "MB";
  Conversion::convertSizeToKB(0.0, result, unit);  // would loop for ever
  EXPECT_EQ(0u, result);
  EXPECT_EQ("KB", unit);
  unit = "TB";
  Conversion::convertSizeToKB(-1.0, result, unit);
  EXPECT_EQ("KB", unit);
  // A tiny size wraps the index, grows to infinity and ends at KB.
  result = 99;
  unit = "GB";
  Conversion::convertSizeToKB(1e-300, result, unit);
  EXPECT_EQ(0u, result);
  EXPECT_EQ("KB", unit);
}

TEST(ConversionToKBTest, UnknownUnitLeavesResult) {
  std::uint64_t result = 99;
  std::string unit = " kb ";
  Conversion::convertSizeToKB(5.0, result, unit);
  EXPECT_EQ(99u, result);
  EXPECT_EQ("kb", unit);  // trimmed in place all the same
}

TEST(ConversionInMBTest, ThirtyTwoBitShiftsForTheSmallUnits) {
  double result = -1;
  rules::convertSizeInMB(1024, 5000.0, "TB", result);
  EXPECT_EQ(947912704.0, result);
  rules::convertSizeInMB(1024, 1.5, "GB", result);
  EXPECT_EQ(1024.0, result);
  rules::convertSizeInMB(1024, 3145728.0, "B", result);
  EXPECT_EQ(3.0, result);
  rules::convertSizeInMB(1024, 2048.0, "KB", result);
  EXPECT_EQ(2.0, result);
  rules::convertSizeInMB(1024, 7.9, "MB", result);
  EXPECT_EQ(7.0, result);
  rules::convertSizeInMB(1024, 4194304.0, "GB", result);
  EXPECT_EQ(0.0, result);
  rules::convertSizeInMB(1024, 1.0, "PB", result);
  EXPECT_EQ(1073741824.0, result);
  rules::convertSizeInMB(1024, 1.0, "EB", result);
  EXPECT_EQ(std::ldexp(1.0, 40), result);
  rules::convertSizeInMB(1024, 1.0, "ZB", result);
  EXPECT_EQ(std::ldexp(1.0, 50), result);
  rules::convertSizeInMB(1000, 1.0, "TiB", result);
  EXPECT_EQ(1048576.0, result);
  // Only the low 32 bits of the whole part count.
  rules::convertSizeInMB(1024, -1.0, "MB", result);
  EXPECT_EQ(4294967295.0, result);
  rules::convertSizeInMB(1024, 4294967298.0, "MB", result);
  EXPECT_EQ(2.0, result);
}

TEST(ConversionInMBTest, OtherUnitsAndBasesLeaveResult) {
  double result = -1;
  rules::convertSizeInMB(1024, 1.0, "MiB", result);
  rules::convertSizeInMB(1000, 1.0, "MB", result);
  rules::convertSizeInMB(2048, 1.0, "MB", result);
  rules::convertSizeInMB(1024, 1.0, "YB", result);
  EXPECT_EQ(-1.0, result);
}

struct DriveCase {
  std::uint64_t blocks;
  std::uint32_t blockSize;
  double size;
  const char* unit;
};

TEST(ConversionDriveMakerTest, FixedRowsAndTheIdemaInverse) {
  const DriveCase cases[] = {
      {0, 512, 0.0, "B"},
      {71132960, 512, 36.0, "GB"},
      {143374738, 512, 72.0, "GB"},
      {286749488, 512, 146.0, "GB"},
      {585937500, 512, 300.0, "GB"},
      {976773168, 512, 500.0, "GB"},
      {1953525168, 512, 1.0, "TB"},
      {1953525168, 0, 1.0, "TB"},  // 0 means 512
      {244190646, 4096, 1.0, "TB"},
      // Under the 50 GB point the count wraps round, and only the fixed rows help.
      {19531250, 512, 9.442900589775, "ZB"},
      {0, 4096, 75.543204718125, "ZB"},
      // Past the 8000 GB limit: plain powers of 1000.
      {20000000000ULL, 512, 10.24, "TB"},
      // A total that wraps under the limit reaches the 4096-byte branch.
      {(std::uint64_t{1} << 52) + 1, 4096, 0.0, "GB"},
      // Blocks above one IDEMA gigabyte: plain powers of 1000.
      {1, 2147483648u, 2.147483648, "GB"},
  };
  for (const DriveCase& c : cases) {
    double size = -1;
    std::string unit;
    rules::convertSizeInBlocksToSuitableUnitsUsingBlocks(1000, c.blocks, size, unit, c.blockSize,
                                                         true);
    EXPECT_DOUBLE_EQ(c.size, size) << c.blocks << " x " << c.blockSize;
    EXPECT_EQ(c.unit, unit) << c.blocks << " x " << c.blockSize;
  }
}

TEST(ConversionDriveMakerTest, PowersOf1024WithoutTheRuleOrWithBase1024) {
  double size = -1;
  std::string unit;
  rules::convertSizeInBlocksToSuitableUnitsUsingBlocks(1024, 2097152, size, unit, 512, true);
  EXPECT_EQ(1.0, size);
  EXPECT_EQ("GB", unit);
  rules::convertSizeInBlocksToSuitableUnitsUsingBlocks(1024, 71132960, size, unit, 512, true);
  EXPECT_DOUBLE_EQ(71132960.0 * 512 / 1024 / 1024 / 1024, size);  // no fixed row here
  EXPECT_EQ("GB", unit);
  rules::convertSizeInBlocksToSuitableUnitsUsingBlocks(1000, 1953525168, size, unit, 512, false);
  EXPECT_DOUBLE_EQ(1000204886016.0 / 1073741824.0, size);  // nothing rounded
  EXPECT_EQ("GiB", unit);
  rules::convertSizeInBlocksToSuitableUnitsUsingBlocks(1000, 3, size, unit, 0, false);
  EXPECT_EQ(1.5, size);
  EXPECT_EQ("KiB", unit);
  unit = "keep";
  rules::convertSizeInBlocksToSuitableUnitsUsingBlocks(7, 2, size, unit, 4096, true);
  EXPECT_EQ(8.0, size);
  EXPECT_EQ("keep", unit);
}

}  // namespace
