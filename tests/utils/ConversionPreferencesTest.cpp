// The members that read settings, under settings of their own: the base for drive
// capacity and the URI prefix; and the family's log lines.

#include <utils/Conversion.h>

#include "support/FakeSettings.h"
#include "utils/ConversionTestSupport.h"

namespace {

using utils::Conversion;

// The members take the base from the settings (the rules of each base are checked
// in ConversionSizeTest), and the prefix cut from URIs is as long as the configured
// one. Levels and units in the error lines show as characters.
TEST(ConversionPreferencesTest, BaseAndPrefixComeFromTheSettingsAndLogLinesShowLevelsAsCharacters) {
  testsupport::ScopedFakeSettings settings("base_for_drive_capacity_calculation = 1000\nuri_prefix = /ab\n");
  std::uint64_t whole = 0, blocks = 7;
  std::uint16_t small = 0;
  double inMB = -1, drive = 0, suitable = 0;
  std::string units[5] = {"", "", "", "", "XB"};
  Conversion::convertSizeInBlocksToDisplayUnits(2097152, whole, units[0]);
  Conversion::convertSizeToBlocks(blocks, 1.0, "GiB", 512);
  Conversion::convertSizeFromBytes(std::uint16_t{2048}, small, units[1]);
  Conversion::convertSizeInMB(1.0, "TiB", inMB);
  Conversion::convertSizeInBlocksToSuitableUnitsUsingBlocks(1953525168, drive, units[2], 512, true);
  Conversion::convertSizeInBlocksToSuitableUnits(2097152, suitable, units[3]);
  std::ostringstream out;
  out << whole << ' ' << units[0] << '|' << blocks << '|' << small << ' ' << units[1] << '|'
      << static_cast<long long>(inMB) << '|' << drive << ' ' << units[2] << '|' << suitable << ' ' << units[3]
      << '|' << Conversion::trimPrefixURI("/abcdef");
  EXPECT_EQ("1 GiB|2097152|2 KiB|1048576|1 TB|1 GiB|cdef", out.str());
  EXPECT_EQ(" | Error     : Conversion:ArrSizeBlock - unsupported raid level '2' \n"
            " | Error     : Conversion:size2kb - unsupported display unit'8' \n",
            conversiontest::logOf([&] {
              Conversion::calculateArraySizeInBlocks(100, 4, 50);
              Conversion::convertSizeToKB(1.0, whole, units[4]);
            }));
}

}  // namespace
