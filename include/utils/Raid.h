// One RAID level by number, with the text forms the controllers use.
#pragma once

#include <NorvaneExport.h>

#include <cstdint>
#include <string>

namespace utils {

class NORVANE_API Raid {
 public:
  // Level 255: not set.
  Raid();
  // "0"/"00", "1", "1E" (17), "1E_RLQ)" (18), "1-EC" (23), "5", "6", "10", "50", "60";
  // any other text gives 0, with no error.
  Raid(std::string text);

  std::uint8_t getRaidLevel();
  // Stores 0, 1, 5, 6 or 23 as given; 17 stores 18 for variant 0 and 17 for variant
  // 1 (other variants keep the level). Any other level throws PluginException with
  // status code 1 and keeps the level. Returns 0.
  int setRaidLevel(std::uint8_t level, std::uint8_t variant);
  // Text of the level; 17 and 18 both read "1", unknown levels "UNKNOWN".
  std::string getRaidLevelStr();
  bool isSpan();

 private:
  std::uint8_t m_raid_level;
};

}  // namespace utils
