// The members that read settings, in fresh processes with a configuration of their
// own: the base for drive capacity, the URI prefix and the log lines of the family.
#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>
#include <string>

#include <utils/Conversion.h>
#include <utils/PluginException.h>
#include <utils/Raid.h>

#include "platform/MachineStore.h"
#include "support/ChildProcess.h"
#include "support/TempInstallation.h"

namespace {

using utils::Conversion;

// Prints the results of the setting-dependent members, one per line.
NORVANE_CHILD(conversion_members) {
  platform::setMachineStoreRoot(args.at(0));
  std::ostringstream out;
  std::uint64_t whole = 0;
  std::string unit = "none";
  Conversion::convertSizeInBlocksToDisplayUnits(2097152, whole, unit);
  out << "display: " << whole << ' ' << unit << '\n';
  std::uint64_t blocks = 7;
  Conversion::convertSizeToBlocks(blocks, 1.0, "GiB", 512);
  out << "blocks: " << blocks << '\n';
  std::uint16_t small = 0;
  unit = "none";
  Conversion::convertSizeFromBytes(std::uint16_t{2048}, small, unit);
  out << "bytes16: " << small << ' ' << unit << '\n';
  double result = -1;
  Conversion::convertSizeInMB(1.0, "TiB", result);
  out << "inMB: " << static_cast<long long>(result) << '\n';
  double size = 0;
  unit = "none";
  Conversion::convertSizeInBlocksToSuitableUnitsUsingBlocks(1953525168, size, unit, 512, true);
  out << "drive: " << size << ' ' << unit << '\n';
  unit = "none";
  Conversion::convertSizeInBlocksToSuitableUnits(2097152, size, unit);
  out << "suitable: " << size << ' ' << unit << '\n';
  out << "uri: " << Conversion::trimPrefixURI("/abcdef") << '\n';

  // Statements of the family, for the log.
  Conversion::calculateArraySizeInBlocks(100, 4, 50);
  unit = "XB";
  Conversion::convertSizeToKB(1.0, whole, unit);
  try {
    utils::Raid().setRaidLevel(50, 0);
  } catch (utils::PluginException&) {
  }
  Conversion::encodeStringtoBase64("M");
  Conversion::decodeStringtoBase64("TQ");
  std::printf("%s", out.str().c_str());
  return 0;
}

class ConversionPreferencesTest : public testing::Test {
 protected:
  std::string run(const std::string& config) {
    m_installation.registerHome();
    m_installation.writeConfig(config);
    const testsupport::ChildResult result =
        testsupport::runChild("conversion_members", {m_installation.storeRoot()});
    EXPECT_EQ(0, result.exitCode) << result.output;
    return result.output;
  }
  std::string log() const { return m_installation.readHomeFile("logs/norvane.txt"); }

  testsupport::TempInstallation m_installation;
};

TEST_F(ConversionPreferencesTest, Base1000ShowsNamesWithTheI) {
  const std::string output = run(
      "base_for_drive_capacity_calculation = 1000\nuri_prefix = /ab\nlog_level = 255\n");
  EXPECT_NE(std::string::npos, output.find("display: 1 GiB\n"
                                           "blocks: 2097152\n"
                                           "bytes16: 2 KiB\n"
                                           "inMB: 1048576\n"
                                           "drive: 1 TB\n"
                                           "suitable: 1 GiB\n"
                                           "uri: cdef\n"))
      << output;
}

TEST_F(ConversionPreferencesTest, Base1024ShowsShortNames) {
  const std::string output = run("base_for_drive_capacity_calculation = 1024\n");
  EXPECT_NE(std::string::npos, output.find("display: 1 GB\n"
                                           "blocks: 7\n"
                                           "bytes16: 2 KB\n"
                                           "inMB: -1\n"
                                           "drive: 931.513 GB\n"
                                           "suitable: 1 GB\n"
                                           "uri: \n"))
      << output;
}

TEST_F(ConversionPreferencesTest, AnyOtherBaseLeavesUnitsAndMostResults) {
  const std::string output = run("base_for_drive_capacity_calculation = 512\n");
  EXPECT_NE(std::string::npos, output.find("display: 1 none\n"
                                           "blocks: 7\n"
                                           "bytes16: 2 none\n"
                                           "inMB: -1\n"
                                           "drive: 931.513 none\n"
                                           "suitable: 1 none\n"))
      << output;
}

TEST_F(ConversionPreferencesTest, LogLinesShowLevelsAsCharactersAndTheTableLength) {
  run("base_for_drive_capacity_calculation = 1000\nlog_level = 255\n");
  const std::string text = log();
  EXPECT_NE(std::string::npos,
            text.find(" | Error     : Conversion:ArrSizeBlock - unsupported raid level '2' "))
      << text;
  EXPECT_NE(std::string::npos,
            text.find(" | Error     : Conversion:size2kb - unsupported display unit'8' "))
      << text;
  EXPECT_NE(std::string::npos,
            text.find(" | Debug     : Raid:setRaidL - Unsupported or invalid Raidlevel 2"))
      << text;
  EXPECT_NE(std::string::npos, text.find(" | Everything: utils::Conversion::encodeStringtoBase64"))
      << text;
  EXPECT_NE(std::string::npos, text.find(" | Fn Entry  : utils::Conversion::decodeStringtoBase64"))
      << text;
}

TEST_F(ConversionPreferencesTest, EncodingTraceNeedsTheHighestLevel) {
  run("log_level = 64\n");
  const std::string text = log();
  EXPECT_EQ(std::string::npos, text.find("encodeStringtoBase64")) << text;
  EXPECT_NE(std::string::npos, text.find("utils::Conversion::decodeStringtoBase64")) << text;
}

}  // namespace
