// File helpers, the two directory searches and writeJSONFile, with real files.

#include <sys/stat.h>
#include <unistd.h>

#include <boost/filesystem.hpp>

#include <filesystem>
#include <fstream>
#include <set>

#include <json/Writer.h>
#include <utils/DirectorySearch.h>
#include <utils/FileHelper.h>
#include <utils/FileSearch.h>

#include "platform/MachineStore.h"
#include "support/ChildProcess.h"
#include "utils/ConversionTestSupport.h"

namespace {

namespace fs = std::filesystem;
using boost::filesystem::filesystem_error;
using conversiontest::logEntries;
using testsupport::readFile;
using testsupport::TempInstallation;
using testsupport::writeFile;
using utils::FileHelper;
using Lines = std::vector<std::string>;

unsigned int rightsOf(const std::string& path) {
  struct stat info {};
  return stat(path.c_str(), &info) == 0 ? info.st_mode & 07777 : 07777777;
}

// The helpers take paths by non-const reference: this lends a temporary one.
std::string& ref(std::string&& path) { return path; }

class FileHelperTest : public ::testing::Test {
 protected:
  void SetUp() override { fs::create_directories(m_dir); }
  TempInstallation m_installation;
  std::string m_dir = m_installation.root() + "/work";
};

TEST_F(FileHelperTest, SizeRightsTimesAndTheEmptyStream) {
  writeFile(m_dir + "/empty", "");
  writeFile(m_dir + "/some", std::string(12345, 'q'));
  chmod((m_dir + "/some").c_str(), 0777);
  boost::filesystem::last_write_time(m_dir + "/some", 1600000000);
  std::int64_t seconds = 0;
  FileHelper::getLastModifiedTime(ref(m_dir + "/some"), seconds);
  const auto size = [this](const char* name) { return FileHelper::getFileSize(ref(m_dir + name)); };
  const auto permit = [this](const char* name) { return FileHelper::applyNorvaneFilePermission(m_dir + name); };
  // Sizes of a missing, an empty and a full file; rights set, also for a missing file; time.
  EXPECT_EQ((std::vector<std::int64_t>{-1, 0, 12345, 0, 0640, 0, 1600000000}),
            (std::vector<std::int64_t>{size("/missing"), size("/empty"), size("/some"), permit("/some"),
                                       rightsOf(m_dir + "/some"), permit("/missing"), seconds}));
  EXPECT_THROW(FileHelper::getLastModifiedTime(ref(m_dir + "/missing"), seconds), filesystem_error);

  // The stream is tested, not the file.
  std::ifstream stream(m_dir + "/some"), empty(m_dir + "/empty");
  EXPECT_FALSE(FileHelper::isFileEmpty(stream));
  std::string all;
  stream >> all;
  EXPECT_TRUE(FileHelper::isFileEmpty(stream));
  EXPECT_TRUE(FileHelper::isFileEmpty(empty));
}

TEST_F(FileHelperTest, CreateDirectoryMakesEveryLevelWithRights0755OnlyOnce) {
  const std::string nested = m_dir + "/a/b/c";
  const mode_t old = umask(077);  // the rights must come from the helper, not the mask
  EXPECT_TRUE(FileHelper::createDirectory(nested));
  umask(old);
  EXPECT_EQ(0755u, rightsOf(nested));
  chmod(nested.c_str(), 0700);
  EXPECT_FALSE(FileHelper::createDirectory(nested));
  EXPECT_EQ(0700u, rightsOf(nested)) << "an existing directory keeps its rights";
  writeFile(m_dir + "/plain", "x");
  EXPECT_THROW(FileHelper::createDirectory(m_dir + "/plain/sub"), filesystem_error);
}

TEST_F(FileHelperTest, ConvertFsPathResolvesAgainstBaseOrCurrentDirectory) {
  fs::create_directories(m_dir + "/a/b");
  const std::string canonicalDir = fs::canonical(m_dir).string();
  const auto converted = [](std::string path, const auto&... base) {
    FileHelper::convertFsPath(path, base...);
    return path;
  };
  EXPECT_EQ(canonicalDir + "/a", converted("..", m_dir + "/a/b"));
  fs::create_symlink(m_dir + "/a/b", m_dir + "/link");
  EXPECT_EQ(canonicalDir + "/a/b", converted(m_dir + "/./link/../b"));  // the link is resolved before ".."
  const fs::path previous = fs::current_path();
  fs::current_path(m_dir + "/a");
  const std::string relative = converted("b/.");
  fs::current_path(previous);
  EXPECT_EQ(canonicalDir + "/a/b", relative);

  std::string missing = "no-such-entry";
  EXPECT_THROW(FileHelper::convertFsPath(missing, m_dir), filesystem_error);
  EXPECT_EQ("no-such-entry", missing);
}

TEST_F(FileHelperTest, CopyRemoveAndClearADirectory) {
  std::string to = m_dir + "/to", missing = m_dir + "/missing", box = m_dir + "/box";
  writeFile(m_dir + "/from", "new");
  writeFile(to, "old and longer");
  FileHelper::copyFile(ref(m_dir + "/from"), to);
  EXPECT_EQ("new", readFile(to));
  EXPECT_THROW(FileHelper::copyFile(missing, to), filesystem_error);
  EXPECT_NO_THROW(FileHelper::removeFile(missing));
  FileHelper::removeFile(to);
  EXPECT_FALSE(fs::exists(to));

  fs::create_directories(box + "/deep/deeper");
  writeFile(box + "/deep/deeper/f", "f");
  writeFile(box + "/g", "g");
  FileHelper::removeFilesInPath(box);
  EXPECT_TRUE(fs::is_directory(box) && fs::is_empty(box));
  EXPECT_THROW(FileHelper::removeFilesInPath(ref(m_dir + "/gone")), filesystem_error);
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
  // A missing directory leaves the set as it was.
  utils::FileSearch().getFileNames(ref(m_dir + "/missing"), dirs);
  utils::DirectorySearch().getDirNames(ref(m_dir + "/missing"), dirs);
  EXPECT_EQ((std::set<std::string>{m_dir + "/b", "kept"}), dirs);
}

// ---- writeJSONFile and the log lines, in fresh processes ------------------------

json::Object sampleDocument() {
  json::Object document;
  document["name"] = json::String("bundle");
  document["count"] = json::Number(3);
  return document;
}

// args: home-or-empty, fileName, defaultLocation, subFolder. Prints the size.
NORVANE_CHILD(write_json) {
  TempInstallation store;
  if (!args[0].empty()) store.registerHome(args[0]);
  store.useStore();
  int fileSize = -7;
  FileHelper::writeJSONFile(sampleDocument(), args[1], args[2], args[3], fileSize);
  std::printf("size=%d\n", fileSize);
  return 0;
}

TEST_F(FileHelperTest, WriteJsonFileGoesBelowTheHomeOrToTheDefaultLocation) {
  const std::string home = m_installation.home();
  fs::create_directories(home + "/conf/reports");
  std::ostringstream document;
  json::Writer::Write(sampleDocument(), document);
  const std::string size = "size=" + std::to_string(document.str().size());
  const struct { std::string home, defaultLocation, subFolder, written, output; } cases[] = {
      {home, m_dir, "/conf/reports", home + "/conf/reports/doc.json", size},
      {"", m_dir, "/conf/reports", m_dir + "/doc.json", size},  // no home: the sub-folder is ignored
      {"", m_dir + "/missing", "", "", "size=-1"},              // nothing thrown
  };
  for (const auto& c : cases) {
    const auto result = testsupport::runChild("write_json", {c.home, "/doc.json", c.defaultLocation, c.subFolder});
    ASSERT_EQ(0, result.exitCode) << result.output;
    EXPECT_NE(std::string::npos, result.output.find(c.output)) << c.written << result.output;
    if (!c.written.empty()) {
      EXPECT_EQ(document.str(), readFile(c.written));
    }
    EXPECT_EQ(c.written == m_dir + "/doc.json", fs::exists(m_dir + "/doc.json")) << c.written;
    fs::remove(m_dir + "/doc.json");
  }
}

// args: store root, a work directory, and a directory to work from (or empty).
NORVANE_CHILD(helpers_log) {
  platform::setMachineStoreRoot(args[0]);
  if (!args[2].empty()) {  // without a home: the log goes to ../Logs of it
    if (chdir(args[2].c_str()) != 0) return 3;
  } else {
    std::set<std::string> names;
    utils::FileSearch().getFileNames(ref(args[1] + "/missing"), names);
    utils::DirectorySearch().getDirNames(ref(args[1] + "/missing"), names);
    std::string up = "..";
    FileHelper::convertFsPath(up, args[1]);
  }
  int unusedSize = 0;
  FileHelper::writeJSONFile(sampleDocument(), "/doc.json", args[1], args[2].empty() ? "" : "/ignored", unusedSize);
  return 0;
}

TEST_F(FileHelperTest, HelpersLogTheirWarningsAndPathsWithOrWithoutAHome) {
  m_installation.registerHome();
  m_installation.writeConfig("log_level = 255\n");
  auto result = testsupport::runChild("helpers_log", {m_installation.storeRoot(), m_dir, ""});
  ASSERT_EQ(0, result.exitCode) << result.output;
  // The settings and the entry traces aside, the helpers' own lines.
  EXPECT_EQ((Lines{" | Warning   : FileSearch:getFilesByName - No files to load at directory " + m_dir + "/missing",
                   " | Warning   : DirSeacrch:getDirName - No Directories to load at directory " + m_dir + "/missing",
                   " | Debug     : FileHelper:convertFSP - FILE Helper path = .. basepath " + m_dir,
                   " | Debug     : FileHelper:writeJSON - using standared location " + m_installation.home()}),
            logEntries(m_installation.home() + "/logs/norvane.txt", std::regex("^(?!.*(launcher::| Everything:))")));

  // Without a home, the log is ../Logs of the working directory, with its own settings.
  TempInstallation bare;
  for (const char* dir : {"/bin", "/Logs", "/conf"}) fs::create_directories(bare.root() + dir);
  writeFile(bare.root() + "/conf/Norvane.conf", "log_level = 32\n");
  result = testsupport::runChild("helpers_log", {bare.storeRoot(), m_dir, bare.root() + "/bin"});
  ASSERT_EQ(0, result.exitCode) << result.output;
  EXPECT_EQ((Lines{" | Error     : FileHelper:writeJSON - Invalid Norvane Home Path",
                   " | Debug     : FileHelper:writeJSON - using defalut location " + m_dir}),
            logEntries(bare.root() + "/Logs/norvane.txt", std::regex("FileHelper")));
}

}  // namespace
