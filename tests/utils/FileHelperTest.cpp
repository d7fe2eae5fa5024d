#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <boost/filesystem.hpp>

#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>

#include <json/Writer.h>
#include <utils/DirectorySearch.h>
#include <utils/FileHelper.h>
#include <utils/FileSearch.h>

#include "platform/MachineStore.h"
#include "support/ChildProcess.h"
#include "support/TempInstallation.h"

namespace {

namespace fs = std::filesystem;
using testsupport::readFile;
using testsupport::TempInstallation;
using testsupport::writeFile;

unsigned int rightsOf(const std::string& path) {
  struct stat info {};
  if (stat(path.c_str(), &info) != 0) return 07777777;
  return info.st_mode & 07777;
}

class FileHelperTest : public ::testing::Test {
 protected:
  void SetUp() override { m_dir = m_installation.root() + "/work"; fs::create_directories(m_dir); }
  TempInstallation m_installation;
  std::string m_dir;
};

TEST_F(FileHelperTest, GetFileSizeMeasuresThroughAStream) {
  std::string missing = m_dir + "/missing";
  EXPECT_EQ(-1, utils::FileHelper::getFileSize(missing));
  std::string empty = m_dir + "/empty";
  writeFile(empty, "");
  EXPECT_EQ(0, utils::FileHelper::getFileSize(empty));
  std::string some = m_dir + "/some";
  writeFile(some, std::string(12345, 'q'));
  EXPECT_EQ(12345, utils::FileHelper::getFileSize(some));
}

TEST_F(FileHelperTest, CreateDirectoryMakesEveryLevelWithRights0755OnlyOnce) {
  mode_t old = umask(077);  // the rights must come from the helper, not the mask
  std::string nested = m_dir + "/a/b/c";
  EXPECT_TRUE(utils::FileHelper::createDirectory(nested));
  umask(old);
  EXPECT_TRUE(fs::is_directory(nested));
  EXPECT_EQ(0755u, rightsOf(nested));

  chmod(nested.c_str(), 0700);
  EXPECT_FALSE(utils::FileHelper::createDirectory(nested));
  EXPECT_EQ(0700u, rightsOf(nested)) << "an existing directory keeps its rights";
}

TEST_F(FileHelperTest, CreateDirectoryThroughAFileThrows) {
  writeFile(m_dir + "/plain", "x");
  EXPECT_THROW(utils::FileHelper::createDirectory(m_dir + "/plain/sub"),
               boost::filesystem::filesystem_error);
}

TEST_F(FileHelperTest, ApplyNorvaneFilePermissionGives0640AndZero) {
  std::string path = m_dir + "/secret";
  writeFile(path, "x");
  chmod(path.c_str(), 0777);
  EXPECT_EQ(0, utils::FileHelper::applyNorvaneFilePermission(path));
  EXPECT_EQ(0640u, rightsOf(path));
  EXPECT_EQ(0, utils::FileHelper::applyNorvaneFilePermission(m_dir + "/missing"));
}

TEST_F(FileHelperTest, ConvertFsPathResolvesAgainstBaseOrCurrentDirectory) {
  fs::create_directories(m_dir + "/a/b");
  std::string canonicalDir = fs::canonical(m_dir).string();

  std::string up = "..";
  utils::FileHelper::convertFsPath(up, m_dir + "/a/b");
  EXPECT_EQ(canonicalDir + "/a", up);

  fs::create_symlink(m_dir + "/a/b", m_dir + "/link");
  std::string linked = m_dir + "/./link/../b";  // the link is resolved before ".."
  utils::FileHelper::convertFsPath(linked);
  EXPECT_EQ(canonicalDir + "/a/b", linked);

  fs::path previous = fs::current_path();
  fs::current_path(m_dir + "/a");
  std::string relative = "b/.";
  utils::FileHelper::convertFsPath(relative);
  fs::current_path(previous);
  EXPECT_EQ(canonicalDir + "/a/b", relative);

  std::string missing = "no-such-entry";
  EXPECT_THROW(utils::FileHelper::convertFsPath(missing, m_dir), boost::filesystem::filesystem_error);
  EXPECT_EQ("no-such-entry", missing);
}

TEST_F(FileHelperTest, CopyRemoveAndClearADirectory) {
  std::string from = m_dir + "/from";
  std::string to = m_dir + "/to";
  writeFile(from, "new");
  writeFile(to, "old and longer");
  utils::FileHelper::copyFile(from, to);
  EXPECT_EQ("new", readFile(to));

  std::string missing = m_dir + "/missing";
  EXPECT_THROW(utils::FileHelper::copyFile(missing, to), boost::filesystem::filesystem_error);
  EXPECT_NO_THROW(utils::FileHelper::removeFile(missing));
  utils::FileHelper::removeFile(to);
  EXPECT_FALSE(fs::exists(to));

  std::string box = m_dir + "/box";
  fs::create_directories(box + "/deep/deeper");
  writeFile(box + "/deep/deeper/f", "f");
  writeFile(box + "/g", "g");
  utils::FileHelper::removeFilesInPath(box);
  EXPECT_TRUE(fs::is_directory(box));
  EXPECT_TRUE(fs::is_empty(box));

  std::string gone = m_dir + "/gone";
  EXPECT_THROW(utils::FileHelper::removeFilesInPath(gone), boost::filesystem::filesystem_error);
}

TEST_F(FileHelperTest, IsFileEmptyTestsTheStreamNotTheFile) {
  std::string path = m_dir + "/content";
  writeFile(path, "abc");
  std::ifstream stream(path);
  EXPECT_FALSE(utils::FileHelper::isFileEmpty(stream));
  std::string all;
  stream >> all;
  EXPECT_TRUE(utils::FileHelper::isFileEmpty(stream));

  std::string emptyPath = m_dir + "/empty";
  writeFile(emptyPath, "");
  std::ifstream empty(emptyPath);
  EXPECT_TRUE(utils::FileHelper::isFileEmpty(empty));
}

TEST_F(FileHelperTest, GetLastModifiedTimeIsSecondsSince1970) {
  std::string path = m_dir + "/dated";
  writeFile(path, "x");
  boost::filesystem::last_write_time(path, 1600000000);
  std::int64_t seconds = 0;
  utils::FileHelper::getLastModifiedTime(path, seconds);
  EXPECT_EQ(1600000000, seconds);
  std::string missing = m_dir + "/missing";
  EXPECT_THROW(utils::FileHelper::getLastModifiedTime(missing, seconds), boost::filesystem::filesystem_error);
}

TEST_F(FileHelperTest, FileSearchGivesBareNamesAndDirectorySearchWholePaths) {
  writeFile(m_dir + "/a.txt", "a");
  writeFile(m_dir + "/c.txt", "c");
  fs::create_directories(m_dir + "/b/inner");
  writeFile(m_dir + "/b/inner.txt", "not listed: one level only");

  std::set<std::string> files = {"kept.txt", "a.txt"};  // added to, not cleared
  utils::FileSearch().getFileNames(m_dir, files);
  EXPECT_EQ((std::set<std::string>{"a.txt", "c.txt", "kept.txt"}), files);

  std::set<std::string> dirs = {"kept"};
  utils::DirectorySearch().getDirNames(m_dir, dirs);
  EXPECT_EQ((std::set<std::string>{m_dir + "/b", "kept"}), dirs);
}

TEST_F(FileHelperTest, SearchesOfAMissingDirectoryLeaveTheSetAsItWas) {
  std::string missing = m_dir + "/missing";
  std::set<std::string> names = {"x"};
  utils::FileSearch().getFileNames(missing, names);
  utils::DirectorySearch().getDirNames(missing, names);
  EXPECT_EQ((std::set<std::string>{"x"}), names);
}

// ---- writeJSONFile, in fresh processes with a prepared installation ----------

json::Object sampleDocument() {
  json::Object document;
  document["name"] = json::String("bundle");
  document["count"] = json::Number(3);
  return document;
}

std::string writerText(const json::Object& document) {
  std::ostringstream text;
  json::Writer::Write(document, text);
  return text.str();
}

// args: home-or-empty, fileName, defaultLocation, subFolder. Prints the size.
NORVANE_CHILD(write_json) {
  TempInstallation store;
  if (!args[0].empty()) store.registerHome(args[0]);
  store.useStore();
  int fileSize = -7;
  utils::FileHelper::writeJSONFile(sampleDocument(), args[1], args[2], args[3], fileSize);
  std::printf("size=%d\n", fileSize);
  return 0;
}

TEST_F(FileHelperTest, WriteJsonFileGoesBelowTheHomePathWithItsSubFolder) {
  const std::string home = m_installation.home();
  fs::create_directories(home + "/conf/reports");
  auto result = testsupport::runChild("write_json", {home, "/doc.json", m_dir, "/conf/reports"});
  ASSERT_EQ(0, result.exitCode) << result.output;
  std::string expected = writerText(sampleDocument());
  EXPECT_EQ(expected, readFile(home + "/conf/reports/doc.json"));
  EXPECT_NE(std::string::npos, result.output.find("size=" + std::to_string(expected.size()))) << result.output;
  EXPECT_FALSE(fs::exists(m_dir + "/doc.json"));
}

TEST_F(FileHelperTest, WriteJsonFileWithoutHomeUsesTheDefaultLocationAndIgnoresSubFolder) {
  auto result = testsupport::runChild("write_json", {"", "/doc.json", m_dir, "/conf/reports"});
  ASSERT_EQ(0, result.exitCode) << result.output;
  std::string expected = writerText(sampleDocument());
  EXPECT_EQ(expected, readFile(m_dir + "/doc.json"));
  EXPECT_NE(std::string::npos, result.output.find("size=" + std::to_string(expected.size()))) << result.output;
}

TEST_F(FileHelperTest, WriteJsonFileIntoAMissingDirectoryThrowsNothingAndGivesMinusOne) {
  auto result = testsupport::runChild("write_json", {"", "/doc.json", m_dir + "/missing", ""});
  ASSERT_EQ(0, result.exitCode) << result.output;
  EXPECT_NE(std::string::npos, result.output.find("size=-1")) << result.output;
}

// ---- what the helpers write to the log ------------------------------------------

// The log's lines with the stamp and thread id removed: banner and message.
std::vector<std::string> logEntries(const std::string& path) {
  static const std::regex prefix(R"(\d\d/\d\d \d\d:\d\d:\d\d [0-9a-f]+(.*))");
  std::vector<std::string> entries;
  std::istringstream text(readFile(path));
  std::string line;
  std::smatch match;
  while (std::getline(text, line)) entries.push_back(std::regex_match(line, match, prefix) ? match[1].str() : line);
  return entries;
}

// args: store root, then a work directory.
NORVANE_CHILD(helpers_log) {
  platform::setMachineStoreRoot(args[0]);
  std::string missing = args[1] + "/missing";
  std::set<std::string> names;
  utils::FileSearch().getFileNames(missing, names);
  utils::DirectorySearch().getDirNames(missing, names);
  std::string path = args[1] + "/f";
  utils::FileHelper::getFileSize(path);
  std::string up = "..";
  utils::FileHelper::convertFsPath(up, args[1]);
  utils::FileHelper::createDirectory(args[1] + "/made");
  utils::FileHelper::removeFile(path);
  int unusedSize = 0;
  utils::FileHelper::writeJSONFile(sampleDocument(), "/doc.json", args[1], "", unusedSize);
  return 0;
}

TEST_F(FileHelperTest, HelpersWriteTheirTracesWarningsAndPaths) {
  m_installation.registerHome();
  m_installation.writeConfig("log_level = 255\n");
  writeFile(m_dir + "/f", "x");
  auto result = testsupport::runChild("helpers_log", {m_installation.storeRoot(), m_dir});
  ASSERT_EQ(0, result.exitCode) << result.output;
  const std::string home = m_installation.home();
  std::vector<std::string> expected = {
      " | Warning   : FileSearch:getFilesByName - No files to load at directory " + m_dir + "/missing",
      " | Warning   : DirSeacrch:getDirName - No Directories to load at directory " + m_dir + "/missing",
      " | Everything: utils::FileHelper::getFileSize",
      " | Debug     : FileHelper:convertFSP - FILE Helper path = .. basepath " + m_dir,
      " | Everything: utils::FileHelper::createDirectory",
      " | Everything: utils::FileHelper::removeFile",
      " | Everything: utils::FileHelper::writeJSONFile",
      " | Debug     : FileHelper:writeJSON - using standared location " + home,
      " | Everything: utils::FileHelper::getFileSize",
  };
  // The settings write traces of their own; only the helpers' lines are compared.
  std::vector<std::string> entries;
  for (const std::string& entry : logEntries(home + "/logs/norvane.txt")) {
    if (entry.find("launcher::") == std::string::npos) entries.push_back(entry);
  }
  EXPECT_EQ(expected, entries);
}

// Without a home path: args store root, default location, and a directory to work
// from, whose ../Logs holds the log.
NORVANE_CHILD(write_json_without_home) {
  platform::setMachineStoreRoot(args[0]);
  if (chdir(args[2].c_str()) != 0) return 3;
  int size = 0;
  utils::FileHelper::writeJSONFile(sampleDocument(), "/doc.json", args[1], "/ignored", size);
  return 0;
}

TEST_F(FileHelperTest, WriteJsonFileWithoutHomeLogsTheInvalidHomeAndTheDefault) {
  fs::create_directories(m_installation.root() + "/bin");
  fs::create_directories(m_installation.root() + "/Logs");
  fs::create_directories(m_installation.root() + "/conf");
  writeFile(m_installation.root() + "/conf/Norvane.conf", "log_level = 32\n");
  auto result = testsupport::runChild("write_json_without_home",
                                      {m_installation.storeRoot(), m_dir, m_installation.root() + "/bin"});
  ASSERT_EQ(0, result.exitCode) << result.output;
  std::vector<std::string> entries = logEntries(m_installation.root() + "/Logs/norvane.txt");
  std::vector<std::string> expected = {
      " | Error     : FileHelper:writeJSON - Invalid Norvane Home Path",
      " | Debug     : FileHelper:writeJSON - using defalut location " + m_dir,
  };
  std::vector<std::string> helperEntries;
  for (const std::string& entry : entries) {
    if (entry.find("FileHelper") != std::string::npos) helperEntries.push_back(entry);
  }
  EXPECT_EQ(expected, helperEntries);
}

}  // namespace
