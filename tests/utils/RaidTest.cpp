// RAID levels, spans and the packing of identifiers.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include <utils/MathHelper.h>
#include <utils/PluginException.h>
#include <utils/Raid.h>
#include <utils/SpanHolder.h>

namespace {

using utils::MathHelper;
using utils::Raid;
using utils::SpanHolder;

TEST(RaidTest, TextsReadInTableOrder) {
  const struct {
    const char* text;
    int level;
    const char* shown;
  } cases[] = {{"0", 0, "0"},     {"00", 0, "0"},         {"1", 1, "1"},    {"1E", 17, "1"},
               {"1E_RLQ)", 18, "1"}, {"1-EC", 23, "1-EC"}, {"5", 5, "5"},    {"6", 6, "6"},
               {"10", 10, "10"},  {"50", 50, "50"},       {"60", 60, "60"}};
  for (const auto& c : cases) {
    Raid raid(c.text);
    EXPECT_EQ(c.level, raid.getRaidLevel()) << c.text;
    EXPECT_EQ(c.shown, raid.getRaidLevelStr()) << c.text;
    EXPECT_FALSE(raid.isSpan());
  }
}

TEST(RaidTest, UnknownTextsReadZeroAndDefaultIsUnset) {
  for (const char* text : {"", "1E_RLQ", "1e", " 5", "RAID5", "255"}) {
    EXPECT_EQ(0, Raid(text).getRaidLevel()) << text;
  }
  Raid unset;
  EXPECT_EQ(255, unset.getRaidLevel());
  EXPECT_EQ("UNKNOWN", unset.getRaidLevelStr());
  Raid copy = unset;
  EXPECT_EQ(255, copy.getRaidLevel());
}

TEST(RaidTest, SetStoresSupportedLevelsAndVariantsOfSeventeen) {
  Raid raid;
  for (std::uint8_t level : {0, 1, 5, 6, 23}) {
    EXPECT_EQ(0, raid.setRaidLevel(level, 9));
    EXPECT_EQ(level, raid.getRaidLevel());
  }
  EXPECT_EQ(0, raid.setRaidLevel(17, 0));
  EXPECT_EQ(18, raid.getRaidLevel());
  EXPECT_EQ(0, raid.setRaidLevel(17, 1));
  EXPECT_EQ(17, raid.getRaidLevel());
  EXPECT_EQ(0, raid.setRaidLevel(17, 2));
  EXPECT_EQ(17, raid.getRaidLevel());
}

TEST(RaidTest, SetThrowsForOtherLevelsShowingTheLevelAsOneCharacter) {
  for (std::uint8_t level : {10, 18, 50, 60, 255}) {
    Raid raid("6");
    try {
      raid.setRaidLevel(level, 0);
      ADD_FAILURE() << "no exception for " << int(level);
    } catch (utils::PluginException& error) {
      EXPECT_EQ(1, error.getErrorStatusCode());
      const std::string message =
          std::string("Raid:setRaidL - Unsupported or invalid Raidlevel = ") +
          static_cast<char>(level);
      EXPECT_EQ(message, error.getErrorStatusMessage());
      EXPECT_EQ("File : ..\\..\\..\\..\\utils\\Raid Line : 120 Exception : " + message,
                error.what());
    }
    EXPECT_EQ(6, raid.getRaidLevel());
  }
}

TEST(SpanHolderTest, KeepsOrderAndGivesTheSmallestAsGroup) {
  SpanHolder span;
  EXPECT_EQ(0, span.getArrayCount());
  EXPECT_EQ(0xffff, span.getDriveGroupId());  // empty: no group
  span.addArrayRef(7);
  span.addArrayRef(3);
  span.addArrayRef(9);
  EXPECT_EQ(3, span.getDriveGroupId());
  EXPECT_EQ(3, span.getArrayCount());
  EXPECT_EQ((std::vector<std::uint16_t>{7, 3, 9}), span.getArrayRefs());
  EXPECT_EQ("1", span.getRaidLevel());

  SpanHolder copy = span;
  copy.addArrayRef(1);
  EXPECT_EQ(3, span.getArrayCount());
  EXPECT_EQ(1, copy.getDriveGroupId());
}

TEST(SpanHolderTest, CountIsCutTo16Bits) {
  SpanHolder span;
  for (int i = 0; i < 65537; ++i) span.addArrayRef(static_cast<std::uint16_t>(i + 5));
  EXPECT_EQ(1, span.getArrayCount());
  EXPECT_EQ(65537u, span.getArrayRefs().size());
  EXPECT_EQ(0, span.getDriveGroupId());
}

TEST(MathHelperTest, PairsAsPowersOfTwoAndThree) {
  EXPECT_EQ(72u, MathHelper::pairNumber(3, 2));
  EXPECT_EQ(1u, MathHelper::pairNumber(0, 0));
  EXPECT_EQ(std::uint64_t{1} << 63, MathHelper::pairNumber(63, 0));
  EXPECT_EQ(0u, MathHelper::pairNumber(64, 1));  // 2^64 truncates to 0
  // 3^40 times 2^10 wraps in 64 bits.
  EXPECT_EQ(static_cast<std::uint64_t>(std::pow(3.0, 40)) * 1024, MathHelper::pairNumber(10, 40));
  EXPECT_EQ(2.0, MathHelper::unpairNumber(72, 3));
  EXPECT_EQ(0.0, MathHelper::unpairNumber(8, 3));
  EXPECT_EQ(1.0, MathHelper::unpairNumber(6, 1));
  EXPECT_EQ(5.0, MathHelper::unpairNumber(243, 0));
}

TEST(MathHelperTest, UnpairWithoutAQuotientGivesMinusInfinity) {
  EXPECT_EQ(-HUGE_VAL, MathHelper::unpairNumber(7, 3));     // 7 / 8 is 0
  EXPECT_EQ(-HUGE_VAL, MathHelper::unpairNumber(72, 64));   // the 2-power truncates to 0
  EXPECT_EQ(-HUGE_VAL, MathHelper::unpairNumber(72, 65535));
}

TEST(MathHelperTest, FreeSpaceIdsAndMax) {
  EXPECT_EQ(5127u, MathHelper::pairedFreeSpaceId(5, 7));
  EXPECT_EQ(6144u, MathHelper::pairedFreeSpaceId(5, 1024));  // b runs into a
  EXPECT_EQ(67173375u, MathHelper::pairedFreeSpaceId(65535, 65535));
  std::uint16_t a = 0;
  EXPECT_EQ(7.0, MathHelper::unpairedFreeSpaceId(5127, a));
  EXPECT_EQ(5, a);
  EXPECT_EQ(0.0, MathHelper::unpairedFreeSpaceId(1024ULL * 65537, a));
  EXPECT_EQ(1, a);  // cut to 16 bits
  EXPECT_EQ(4, MathHelper::max(4, -9));
  EXPECT_EQ(-1, MathHelper::max(-1, -2));
}

}  // namespace
