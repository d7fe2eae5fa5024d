// The members that read settings, under settings of their own: the base for drive
// capacity and the URI prefix; the family's log lines, whose level is per process,
// in a fresh process.

#include <cstdio>
#include <utility>

#include <utils/Conversion.h>
#include <utils/PluginException.h>
#include <utils/Raid.h>

#include "platform/MachineStore.h"
#include "support/ChildProcess.h"
#include "support/FakeSettings.h"
#include "utils/ConversionTestSupport.h"

namespace {

using utils::Conversion;

// The results of the setting-dependent members, one per line.
std::string members() {
  std::uint64_t whole = 0, blocks = 7;
  std::uint16_t small = 0;
  double inMB = -1, drive = 0, suitable = 0;
  std::string units[4] = {"none", "none", "none", "none"};
  Conversion::convertSizeInBlocksToDisplayUnits(2097152, whole, units[0]);
  Conversion::convertSizeToBlocks(blocks, 1.0, "GiB", 512);
  Conversion::convertSizeFromBytes(std::uint16_t{2048}, small, units[1]);
  Conversion::convertSizeInMB(1.0, "TiB", inMB);
  Conversion::convertSizeInBlocksToSuitableUnitsUsingBlocks(1953525168, drive, units[2], 512, true);
  Conversion::convertSizeInBlocksToSuitableUnits(2097152, suitable, units[3]);
  std::ostringstream out;
  out << "display: " << whole << ' ' << units[0] << "\nblocks: " << blocks << "\nbytes16: " << small << ' '
      << units[1] << "\ninMB: " << static_cast<long long>(inMB) << "\ndrive: " << drive << ' ' << units[2]
      << "\nsuitable: " << suitable << ' ' << units[3] << "\nuri: " << Conversion::trimPrefixURI("/abcdef") << '\n';
  return out.str();
}

// Statements of the family, for the log.
NORVANE_CHILD(conversion_statements) {
  platform::setMachineStoreRoot(args.at(0));
  std::uint64_t whole = 0;
  Conversion::calculateArraySizeInBlocks(100, 4, 50);
  std::string unknown = "XB";
  Conversion::convertSizeToKB(1.0, whole, unknown);
  try {
    utils::Raid().setRaidLevel(50, 0);
  } catch (utils::PluginException&) {
  }
  return 0;
}

TEST(ConversionPreferencesTest, BaseNamesTheUnitsAndDecidesTheRules) {
  const struct { const char *config, *output; } cases[] = {
      {"base_for_drive_capacity_calculation = 1000\nuri_prefix = /ab\n",
       "display: 1 GiB\nblocks: 2097152\nbytes16: 2 KiB\ninMB: 1048576\ndrive: 1 TB\n"
       "suitable: 1 GiB\nuri: cdef\n"},
      {"base_for_drive_capacity_calculation = 1024\n",
       "display: 1 GB\nblocks: 7\nbytes16: 2 KB\ninMB: -1\ndrive: 931.513 GB\nsuitable: 1 GB\nuri: \n"},
      // Any other base leaves the units and most results.
      {"base_for_drive_capacity_calculation = 512\n",
       "display: 1 none\nblocks: 7\nbytes16: 2 none\ninMB: -1\ndrive: 931.513 none\nsuitable: 1 none\nuri: \n"},
  };
  for (const auto& c : cases) {
    testsupport::ScopedFakeSettings settings(c.config);
    EXPECT_EQ(c.output, members()) << c.config;
  }
}

TEST(ConversionPreferencesTest, LogLinesShowLevelsAsCharacters) {
  testsupport::HomedInstallation installation("base_for_drive_capacity_calculation = 1000\nlog_level = 255\n");
  const testsupport::ChildResult result = testsupport::runChild("conversion_statements", {installation.storeRoot()});
  ASSERT_EQ(0, result.exitCode) << result.output;
  conversiontest::expectAll(installation.readHomeFile("logs/norvane.txt"),
                            {" | Error     : Conversion:ArrSizeBlock - unsupported raid level '2' ",
                             " | Error     : Conversion:size2kb - unsupported display unit'8' ",
                             " | Debug     : Raid:setRaidL - Unsupported or invalid Raidlevel 2"});
}

}  // namespace
