#include <utils/AppException.h>
#include <utils/KeyValueParser.h>
#include <utils/Log.h>
#include <utils/MachineStore.h>

#include <sys/stat.h>

#include <functional>
#include <utility>

#include "support/ChildProcess.h"
#include "utils/ConversionTestSupport.h"

using testsupport::TempInstallation;
using utils::KeyValueParser;

namespace {

const char kThrowSite[] = "File : ..\\..\\..\\..\\utils\\KeyValueParser Line : ";

// The value of `key`, or nothing when the parser throws for it.
std::optional<std::string> lookUp(const KeyValueParser& parser, const std::string& key) {
  try {
    return parser.get_config_key_value(key);
  } catch (utils::AppException&) {
    return std::nullopt;
  }
}

std::string whatOf(const std::function<void()>& call) {
  try {
    call();
  } catch (utils::AppException& error) {
    return error.what();
  }
  return "no exception";
}

}  // namespace

TEST(KeyValueParserTest, LineRules) {
  const std::nullopt_t absent = std::nullopt;
  const struct { std::string text, separator; std::vector<std::pair<std::string, std::optional<std::string>>> lookups; } rows[] = {
      {"  session_timeout   =   240  \n\tlog_level\t=\t32\t\n", "=", {{"session_timeout", "240"}, {"log_level", "32"}}},
      // Comments only at the start of the trimmed line.
      {"# a = 1\n   # b = 2\na = b # c\n\n   \n", "=", {{"# a", absent}, {"b", absent}, {"a", "b # c"}}},
      // A value cannot contain the separator.
      {"a = b = c\nd == e\nSUB_NAME = C=US,ST=X\n", "=", {{"a", "b"}, {"d", ""}, {"SUB_NAME", "C"}}},
      {"key\n=x\n", "=", {{"key", ""}, {"", "x"}}},
      {"a=1\na=2\n", "=", {{"a", "1"}}},  // the first of two equal keys wins
      {"FW_DIR = /x\n", "=", {{"FW_DIR", "/x"}, {"fw_dir", absent}}},
      {"a = 1\nb = 2", "=", {{"b", "2"}}},  // last line without line end
      {"", "=", {{"", absent}}},
      // The comment mark as separator means the default; every separator character splits.
      {"a = 1\nb : 2\n", "#", {{"a", "1"}, {"b : 2", ""}}},
      {"a:1\nb=2\nc:=3\n", ":=", {{"a", "1"}, {"b", "2"}, {"c", ""}}},
      {"a = 1\n", "", {{"a = 1", ""}}},
      // 299 characters are read whole; a line of 300 or more stops the reading: its
      // first 299 characters are taken as a line and nothing after it is read.
      {"k = " + std::string(295, 'v') + "\nnext = 1\n", "=", {{"k", std::string(295, 'v')}, {"next", "1"}}},
      {"before = 1\nlong = " + std::string(400, 'x') + "\nafter = 2\n", "=",
       {{"before", "1"}, {"long", std::string(292, 'x')}, {"after", absent}}},
      {"a = 1\n" + std::string(350, 'y'), "=", {{"a", "1"}, {std::string(299, 'y'), ""}}},
  };
  TempInstallation scratch;
  const std::string path = scratch.root() + "/values.conf";
  for (const auto& row : rows) {
    testsupport::writeFile(path, row.text);
    KeyValueParser parser(path, row.separator);
    for (const auto& [key, expected] : row.lookups) {
      EXPECT_EQ(expected, lookUp(parser, key)) << "key '" << key.substr(0, 20) << "' in '" << row.text.substr(0, 40) << "'";
    }
  }
  // A directory or a FIFO instead of a file is refused at once: an empty map.
  const std::string fifo = scratch.root() + "/fifo.conf";
  ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
  for (const std::string& special : {scratch.home(), fifo}) {
    EXPECT_EQ(std::nullopt, lookUp(KeyValueParser(special, "="), "a")) << special;
  }
}

TEST(KeyValueParserTest, SetChangesTheMemoryCopyOnlyAndMissingKeysThrow) {
  TempInstallation scratch;
  const std::string path = scratch.root() + "/values.conf";
  testsupport::writeFile(path, "FW_DIR = /old\ngreeting = Hello\n");
  KeyValueParser parser(path, "=");
  parser.set_config_key_value("FW_DIR", "/new");
  conversiontest::expectRows({
      ROW(path, parser.get_config_file_name()), ROW("Hello", parser.get_resource_key_value("greeting")),
      ROW("/new", parser.get_config_key_value("FW_DIR")),
      ROW("FW_DIR = /old\ngreeting = Hello\n", testsupport::readFile(path)),
      ROW("/new", KeyValueParser(parser).get_config_key_value("FW_DIR")),
      ROW(kThrowSite + std::string("106 Exception : Unknown exception"),
          whatOf([&] { parser.get_config_key_value("missing"); })),
      ROW(kThrowSite + std::string("115 Exception : Unknown exception"),
          whatOf([&] { parser.set_config_key_value("missing", "x"); })),
  });
}

// args: store root, the configuration file, a directory.
NORVANE_CHILD(kvp_special_file_and_missing_resource) {
  utils::MachineStore::setRoot(args[0]);
  KeyValueParser special(args[2], "=");
  const std::string shown = KeyValueParser(args[1], "=").get_resource_key_value("no.such.text");
  utils::formatted_log_t::uninitializeLogger();
  return shown == "no.such.text" ? 0 : 1;
}

// The warning for a missing file is checked with the settings that read it.
TEST(KeyValueParserTest, SpecialFileAndMissingResourceAreWarnedInTheLog) {
  testsupport::HomedInstallation installation;
  installation.writeConfig("");
  const testsupport::ChildResult result = testsupport::runChild(
      "kvp_special_file_and_missing_resource",
      {installation.storeRoot(), installation.home() + "/conf/Norvane.conf", installation.home()});
  ASSERT_EQ(0, result.exitCode) << result.output;
  conversiontest::expectAll(installation.readHomeFile("logs/norvane.txt"),
                            {"| Warning   : KVP:readCfg - Cann't open config file " + installation.home() +
                                 "; using the server default",
                             "| Warning   : KVP:getRes - Cann't find value for key: no.such.text"});
}
