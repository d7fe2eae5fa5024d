// RAID levels, spans and the packing of identifiers.

#include <cmath>

#include <utils/MathHelper.h>
#include <utils/PluginException.h>
#include <utils/Raid.h>
#include <utils/SpanHolder.h>

#include "utils/ConversionTestSupport.h"

namespace {

using utils::MathHelper;
using utils::Raid;
using utils::SpanHolder;

std::string levelOf(Raid raid) {
  return std::to_string(raid.getRaidLevel()) + ' ' + raid.getRaidLevelStr() + (raid.isSpan() ? " span" : "");
}
// The level stored by setRaidLevel, or "code|message|what|level kept" of a refusal.
std::string set(std::uint8_t level, std::uint8_t variant = 0) {
  Raid raid("6");
  std::string result;
  try { result = std::to_string(raid.setRaidLevel(level, variant)) + ' '; } catch (utils::PluginException& error) {
    result = std::to_string(error.getErrorStatusCode()) + '|' + error.getErrorStatusMessage() + '|' + error.what();
    result += '|';
  }
  return result + std::to_string(raid.getRaidLevel());
}
std::string refusal(char level) {
  const std::string message = std::string("Raid:setRaidL - Unsupported or invalid Raidlevel = ") + level;
  return "1|" + message + "|File : ..\\..\\..\\..\\utils\\Raid Line : 120 Exception : " + message + "|6";
}
std::string refs(SpanHolder span) {  // a copy: the getter is not const
  std::string text;
  for (std::uint16_t ref : span.getArrayRefs()) text += std::to_string(ref) + ' ';
  return text;
}

// Texts read in table order, unknown ones read zero; setting stores the supported
// levels and the variants of 17, and refuses others showing the level as one character.
TEST(RaidTest, LevelsSpansAndTheMathHelper) {
  SpanHolder span, empty, big;
  for (std::uint16_t ref : {7, 3, 9}) span.addArrayRef(ref);
  for (int i = 0; i < 65537; ++i) big.addArrayRef(static_cast<std::uint16_t>(i + 5));
  std::uint16_t a = 0;
  conversiontest::expectRows({
      ROW("0 0", levelOf(Raid("0"))), ROW("1 1", levelOf(Raid("1"))), ROW("17 1", levelOf(Raid("1E"))),
      ROW("18 1", levelOf(Raid("1E_RLQ)"))), ROW("23 1-EC", levelOf(Raid("1-EC"))), ROW("5 5", levelOf(Raid("5"))),
      ROW("6 6", levelOf(Raid("6"))), ROW("10 10", levelOf(Raid("10"))), ROW("50 50", levelOf(Raid("50"))),
      ROW("60 60", levelOf(Raid("60"))), ROW("255 UNKNOWN", levelOf(Raid())), ROW("0 0", levelOf(Raid("1E_RLQ"))),
      ROW("0 0", set(0, 9)), ROW("0 18", set(17, 0)), ROW("0 17", set(17, 1)), ROW("0 6", set(17, 2)),
      ROW(refusal(10), set(10)), ROW(refusal(char(255)), set(255)),
      // A span keeps the order, gives the smallest as group and cuts the count.
      ROW("0", empty.getArrayCount()), ROW("65535", empty.getDriveGroupId()),  // empty: no group
      ROW("3", span.getDriveGroupId()), ROW("3", span.getArrayCount()), ROW("7 3 9 ", refs(span)),
      ROW("1", span.getRaidLevel()), ROW("1", big.getArrayCount()),  // cut to 16 bits
      ROW("65537", big.getArrayRefs().size()), ROW("0", big.getDriveGroupId()),
      // Pairs as powers of two and three (2^64 truncates to 0), and free space ids.
      ROW("72", MathHelper::pairNumber(3, 2)), ROW("9223372036854775808", MathHelper::pairNumber(63, 0)),
      ROW("0", MathHelper::pairNumber(64, 1)),
      // 3^40 times 2^10 wraps in 64 bits.
      ROW(conversiontest::text(static_cast<std::uint64_t>(std::pow(3.0, 40)) * 1024), MathHelper::pairNumber(10, 40)),
      ROW("2", MathHelper::unpairNumber(72, 3)), ROW("0", MathHelper::unpairNumber(8, 3)),
      // Without a quotient (7 / 8, or a 2-power truncated to 0): minus infinity.
      ROW("-inf", MathHelper::unpairNumber(7, 3)), ROW("-inf", MathHelper::unpairNumber(72, 64)),
      ROW("5127", MathHelper::pairedFreeSpaceId(5, 7)), ROW("6144", MathHelper::pairedFreeSpaceId(5, 1024)),
      ROW("7", MathHelper::unpairedFreeSpaceId(5127, a)), ROW("5", a),
      ROW("0", MathHelper::unpairedFreeSpaceId(1024ULL * 65537, a)), ROW("1", a),  // cut to 16 bits
      ROW("4", MathHelper::max(4, -9)), ROW("4", MathHelper::max(-9, 4)),
  });
}

}  // namespace
