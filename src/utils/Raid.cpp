#include <utils/Raid.h>

#include <utils/Log.h>
#include <utils/PluginException.h>

namespace utils {
namespace {

// Throw sites report the source path in the form the library's clients know.
const char* const kSourceFile = "..\\..\\..\\..\\utils\\Raid";

}  // namespace

Raid::Raid() : m_raid_level(255) {}

Raid::Raid(std::string text) : m_raid_level(0) {
  // First match wins, in this order; an unknown text keeps 0.
  static const struct {
    const char* text;
    std::uint8_t level;
  } kLevels[] = {{"0", 0},   {"1E", 17}, {"1-EC", 23}, {"1E_RLQ)", 18}, {"1", 1},  {"5", 5},
                 {"6", 6},   {"00", 0},  {"10", 10},   {"50", 50},      {"60", 60}};
  for (const auto& entry : kLevels) {
    if (text == entry.text) {
      m_raid_level = entry.level;
      return;
    }
  }
}

std::uint8_t Raid::getRaidLevel() { return m_raid_level; }

int Raid::setRaidLevel(std::uint8_t level, std::uint8_t variant) {
  switch (level) {
    case 0:
    case 1:
    case 5:
    case 6:
    case 23:
      m_raid_level = level;
      return 0;
    case 17:
      if (variant == 0) {
        m_raid_level = 18;
      } else if (variant == 1) {
        m_raid_level = 17;
      }
      return 0;
    default:
      break;
  }
  // The level is a byte in both texts and so shows as one character.
  log_debug("Raid:setRaidL - Unsupported or invalid Raidlevel %1%") % level;
  throw PluginException(kSourceFile, 120,
                        std::string("Raid:setRaidL - Unsupported or invalid Raidlevel = ") +
                            static_cast<char>(level),
                        1);
}

std::string Raid::getRaidLevelStr() {
  switch (m_raid_level) {
    case 0: return "0";
    case 1:
    case 17:
    case 18: return "1";
    case 5: return "5";
    case 6: return "6";
    case 10: return "10";
    case 23: return "1-EC";
    case 50: return "50";
    case 60: return "60";
    default: return "UNKNOWN";
  }
}

bool Raid::isSpan() { return false; }

}  // namespace utils
