// The key-value file reader: its line rules, the in-memory copy, and what it warns of.
#include <utils/AppException.h>
#include <utils/KeyValueParser.h>

#include "support/TestPrelude.h"

#include "utils/ConversionTestSupport.h"

namespace {

using utils::KeyValueParser;

// The value of `key`, or the exception's text when the parser throws for it.
std::string lookUp(const std::function<std::string()>& call) {
  try { return call(); } catch (utils::AppException& error) { return std::string("throws ") + error.what(); }
}
std::string thrownAt(int line) {
  return "throws File : ..\\..\\..\\..\\utils\\KeyValueParser Line : " + std::to_string(line) +
         " Exception : Unknown exception";
}

TEST(KeyValueParserTest, LineRules) {
  const std::string absent = thrownAt(106);
  const struct { std::string text, separator; std::vector<std::pair<std::string, std::string>> lookups; } rows[] = {
      {"  session_timeout   =   240  \n\tlog_level\t=\t32\t\n", "=", {{"session_timeout", "240"}, {"log_level", "32"}}},
      // Comments only at the start of the trimmed line.
      {"# a = 1\n   # b = 2\na = b # c\n\n   \n", "=", {{"# a", absent}, {"b", absent}, {"a", "b # c"}}},
      // A value cannot contain the separator; the first of two equal keys wins.
      {"a = b = c\nd == e\nSUB_NAME = C=US,ST=X\na = x", "=", {{"a", "b"}, {"d", ""}, {"SUB_NAME", "C"}}},
      {"key\n=x\nFW_DIR = /x\nb = 2", "=", {{"key", ""}, {"", "x"}, {"fw_dir", absent}, {"b", "2"}}},
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
  testsupport::TempInstallation scratch;
  const std::string path = scratch.root() + "/values.conf";
  for (const auto& row : rows) {
    testsupport::writeFile(path, row.text);
    KeyValueParser parser(path, row.separator);
    for (const auto& [key, expected] : row.lookups)
      EXPECT_EQ(expected, lookUp([&] { return parser.get_config_key_value(key); })) << key.substr(0, 20) << row.text;
  }
}

TEST(KeyValueParserTest, SetChangesTheMemoryCopyOnlyAndSpecialFilesAreRefusedWithAWarning) {
  testsupport::TempInstallation scratch;
  const std::string path = scratch.root() + "/values.conf", fifo = scratch.root() + "/fifo.conf";
  testsupport::writeFile(path, "FW_DIR = /old\ngreeting = Hello\n");
  KeyValueParser parser(path, "=");
  parser.set_config_key_value("FW_DIR", "/new");
  conversiontest::expectRows({
      ROW("Hello", parser.get_resource_key_value("greeting")), ROW("/new", parser.get_config_key_value("FW_DIR")),
      ROW("FW_DIR = /old\ngreeting = Hello\n", testsupport::readFile(path)),
      ROW(thrownAt(115), lookUp([&] { return parser.set_config_key_value("missing", "x"), ""; })),
  });
  // A directory or a FIFO instead of a file is not waited on or read: an empty map.
  ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
  const std::string warning = " | Warning   : KVP:readCfg - Cann't open config file ";
  EXPECT_EQ(warning + scratch.home() + "; using the server default\n" +
                " | Warning   : KVP:getRes - Cann't find value for key: no.such.text\n" + warning + fifo +
                "; using the server default\n",
            conversiontest::logOf([&] {
              EXPECT_EQ("no.such.text", KeyValueParser(scratch.home(), "=").get_resource_key_value("no.such.text"));
              EXPECT_EQ(thrownAt(106), lookUp([&] { return KeyValueParser(fifo, "=").get_config_key_value("a"); }));
            }));
}

}  // namespace
