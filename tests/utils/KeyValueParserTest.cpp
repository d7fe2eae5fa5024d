#include <utils/AppException.h>
#include <utils/KeyValueParser.h>
#include <utils/Log.h>
#include <utils/MachineStore.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "support/ChildProcess.h"
#include "support/TempInstallation.h"

using testsupport::TempInstallation;
using utils::KeyValueParser;

namespace {

// A parser over a file holding `text`, in a temporary directory of its own.
class ParsedFile {
 public:
  explicit ParsedFile(const std::string& text, const std::string& separator = "=") {
    testsupport::writeFile(path(), text);
    m_parser.reset(new KeyValueParser(path(), separator));
  }
  std::string path() const { return m_installation.root() + "/values.conf"; }
  KeyValueParser& parser() { return *m_parser; }
  std::string value(const std::string& key) { return m_parser->get_config_key_value(key); }
  bool has(const std::string& key) {
    try {
      m_parser->get_config_key_value(key);
      return true;
    } catch (utils::AppException&) {
      return false;
    }
  }

 private:
  TempInstallation m_installation;
  std::unique_ptr<KeyValueParser> m_parser;
};

}  // namespace

TEST(KeyValueParserTest, ConstantsHaveTheirValues) {
  EXPECT_STREQ("#", KeyValueParser::DEFAULT_COMMENT_START);
  EXPECT_EQ(300u, KeyValueParser::CONFIG_FILE_MAX_LINE_LENGTH);
}

TEST(KeyValueParserTest, BlanksAroundKeyAndValueAreTrimmed) {
  ParsedFile file("  session_timeout   =   240  \n\tlog_level\t=\t32\t\n");
  EXPECT_EQ("240", file.value("session_timeout"));
  EXPECT_EQ("32", file.value("log_level"));
  EXPECT_EQ(file.path(), file.parser().get_config_file_name());
}

TEST(KeyValueParserTest, CommentsOnlyAtTheStartOfTheTrimmedLine) {
  ParsedFile file("# a = 1\n   # b = 2\na = b # c\n\n   \n");
  EXPECT_FALSE(file.has("# a"));
  EXPECT_FALSE(file.has("b"));
  EXPECT_EQ("b # c", file.value("a"));
}

TEST(KeyValueParserTest, ValueCannotContainTheSeparator) {
  ParsedFile file("a = b = c\nd == e\nSUB_NAME = C=US,ST=X\n");
  EXPECT_EQ("b", file.value("a"));
  EXPECT_EQ("", file.value("d"));
  EXPECT_EQ("C", file.value("SUB_NAME"));
}

TEST(KeyValueParserTest, KeyWithoutSeparatorAndValueWithoutKey) {
  ParsedFile file("key\n=x\n");
  EXPECT_EQ("", file.value("key"));
  EXPECT_EQ("x", file.value(""));
}

TEST(KeyValueParserTest, FirstOfTwoEqualKeysWins) {
  ParsedFile file("a=1\na=2\n");
  EXPECT_EQ("1", file.value("a"));
}

TEST(KeyValueParserTest, KeysAreCaseSensitive) {
  ParsedFile file("FW_DIR = /x\n");
  EXPECT_EQ("/x", file.value("FW_DIR"));
  EXPECT_FALSE(file.has("fw_dir"));
}

TEST(KeyValueParserTest, LastLineWithoutLineEndIsRead) {
  ParsedFile file("a = 1\nb = 2");
  EXPECT_EQ("2", file.value("b"));
}

TEST(KeyValueParserTest, EmptyFileGivesEmptyMap) {
  ParsedFile file("");
  EXPECT_FALSE(file.has(""));
}

TEST(KeyValueParserTest, CommentMarkAsSeparatorMeansTheDefault) {
  ParsedFile file("a = 1\nb : 2\n", "#");
  EXPECT_EQ("1", file.value("a"));
  EXPECT_EQ("", file.value("b : 2"));
}

TEST(KeyValueParserTest, EverySeparatorCharacterSplits) {
  ParsedFile file("a:1\nb=2\nc:=3\n", ":=");
  EXPECT_EQ("1", file.value("a"));
  EXPECT_EQ("2", file.value("b"));
  EXPECT_EQ("", file.value("c"));
}

TEST(KeyValueParserTest, EmptySeparatorKeepsWholeLinesAsKeys) {
  ParsedFile file("a = 1\n", "");
  EXPECT_EQ("", file.value("a = 1"));
}

TEST(KeyValueParserTest, LineOf299CharactersIsReadWhole) {
  const std::string value(295, 'v');  // "k = " + 295 = 299 characters
  ParsedFile file("k = " + value + "\nnext = 1\n");
  EXPECT_EQ(value, file.value("k"));
  EXPECT_EQ("1", file.value("next"));
}

TEST(KeyValueParserTest, OverlongLineStopsReadingAndKeepsWhatWasRead) {
  // The reading stops at the line of 300 characters or more; its first 299
  // characters are taken as a line, and nothing after it is read.
  const std::string longValue(400, 'x');
  ParsedFile file("before = 1\nlong = " + longValue + "\nafter = 2\n");
  EXPECT_EQ("1", file.value("before"));
  EXPECT_EQ(std::string(299 - 7, 'x'), file.value("long"));
  EXPECT_FALSE(file.has("after"));
}

TEST(KeyValueParserTest, OverlongLastLineWithoutLineEnd) {
  ParsedFile file("a = 1\n" + std::string(350, 'y'));
  EXPECT_EQ("1", file.value("a"));
  EXPECT_EQ("", file.value(std::string(299, 'y')));
}

TEST(KeyValueParserTest, DirectoryInsteadOfFileGivesAnEmptyMap) {
  TempInstallation installation;
  KeyValueParser parser(installation.home(), "=");  // opens, but nothing can be read
  EXPECT_THROW(parser.get_config_key_value("a"), utils::AppException);
}

TEST(KeyValueParserTest, MissingKeyThrowsWithTheThrowSite) {
  ParsedFile file("a = 1\n");
  try {
    file.parser().get_config_key_value("missing");
    FAIL() << "no exception";
  } catch (utils::AppException& error) {
    EXPECT_STREQ("File : ..\\..\\..\\..\\utils\\KeyValueParser Line : 106 Exception : Unknown exception",
                 error.what());
  }
  try {
    file.parser().set_config_key_value("missing", "x");
    FAIL() << "no exception";
  } catch (utils::AppException& error) {
    EXPECT_STREQ("File : ..\\..\\..\\..\\utils\\KeyValueParser Line : 115 Exception : Unknown exception",
                 error.what());
  }
}

TEST(KeyValueParserTest, SetChangesTheMemoryCopyNotTheFile) {
  ParsedFile file("FW_DIR = /old\n");
  file.parser().set_config_key_value("FW_DIR", "/new");
  EXPECT_EQ("/new", file.value("FW_DIR"));
  EXPECT_EQ("FW_DIR = /old\n", testsupport::readFile(file.path()));
  KeyValueParser copy = file.parser();
  EXPECT_EQ("/new", copy.get_config_key_value("FW_DIR"));
}

TEST(KeyValueParserTest, ResourceValueOfAReadKey) {
  ParsedFile file("greeting = Hello\n");
  EXPECT_EQ("Hello", file.parser().get_resource_key_value("greeting"));
}

// ---- statements, in fresh processes with an installation of their own --------------

NORVANE_CHILD(kvp_missing_file_and_resource) {
  utils::MachineStore::setRoot(args[0]);
  KeyValueParser missing(args[1], "=");
  KeyValueParser present(args[2], "=");
  const std::string shown = present.get_resource_key_value("no.such.text");
  utils::formatted_log_t::uninitializeLogger();
  return shown == "no.such.text" ? 0 : 1;
}

TEST(KeyValueParserTest, MissingFileAndMissingResourceAreWarnedInTheLog) {
  TempInstallation installation;
  installation.registerHome();
  installation.writeConfig("");
  const std::string missing = installation.root() + "/absent.conf";
  const std::string present = installation.home() + "/conf/Norvane.conf";
  testsupport::ChildResult result = testsupport::runChild(
      "kvp_missing_file_and_resource", {installation.storeRoot(), missing, present});
  ASSERT_EQ(0, result.exitCode) << result.output;
  const std::string log = installation.readHomeFile("logs/norvane.txt");
  EXPECT_NE(std::string::npos,
            log.find("| Warning   : KVP:readCfg - Cann't open config file " + missing +
                     "; using the server default"))
      << log;
  EXPECT_NE(std::string::npos, log.find("| Warning   : KVP:getRes - Cann't find value for key: no.such.text"))
      << log;
}
