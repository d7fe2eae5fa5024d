// File helpers, the two directory searches and writeJSONFile, with real files.

#include "support/TestPrelude.h"
#include <sys/resource.h>

#include <boost/filesystem.hpp>

#include <json/Writer.h>
#include <utils/DirectorySearch.h>
#include <utils/FileHelper.h>
#include <utils/FileSearch.h>

#include "platform/Host.h"
#include "platform/RegularFile.h"
#include "utils/ConversionTestSupport.h"

namespace {

namespace fs = std::filesystem;
using boost::filesystem::filesystem_error;
using testsupport::readFile;
using testsupport::writeFile;
using utils::FileHelper;

unsigned rightsOf(const std::string& path) { return static_cast<unsigned>(fs::status(path).permissions()); }

// The helpers take paths by non-const reference: this lends a temporary one.
std::string& ref(std::string&& path) { return path; }

class FileHelperTest : public ::testing::Test {
 protected:
  void SetUp() override { fs::create_directories(m_dir), mkfifo((m_dir + "/fifo").c_str(), 0600); }
  testsupport::TempInstallation m_installation;
  std::string m_dir = m_installation.root() + "/work";
};

TEST_F(FileHelperTest, SizeRightsTimesAndTheEmptyStream) {
  for (const int size : {0, 12345}) writeFile(m_dir + (size ? "/some" : "/empty"), std::string(size, 'q'));
  chmod((m_dir + "/some").c_str(), 0777);
  boost::filesystem::last_write_time(m_dir + "/some", 1600000000);
  std::int64_t seconds = 0;
  FileHelper::getLastModifiedTime(ref(m_dir + "/some"), seconds);
  const auto size = [this](const char* name) { return FileHelper::getFileSize(ref(m_dir + name)); };
  const auto permit = [this](const char* name) { return FileHelper::applyNorvaneFilePermission(m_dir + name); };
  // Sizes of a missing, an empty, a full file and a FIFO; rights set, also for a
  // missing file, and the error of a file that refuses them; time.
  EXPECT_EQ((std::vector<std::int64_t>{-1, 0, 12345, -1, 0, 0640, 0, EPERM, 1600000000}),
            (std::vector<std::int64_t>{size("/missing"), size("/empty"), size("/some"), size("/fifo"), permit("/some"),
                                       rightsOf(m_dir + "/some"), permit("/missing"),
                                       FileHelper::applyNorvaneFilePermission("/proc/self/stat"), seconds}));
  EXPECT_THROW(FileHelper::getLastModifiedTime(ref(m_dir + "/missing"), seconds), filesystem_error);
  // The stream is tested, not the file: at its end a full one is empty.
  std::ifstream stream(m_dir + "/some", std::ios::ate);
  EXPECT_TRUE(FileHelper::isFileEmpty(stream));
}

// A link is resolved before "..". FileSearch gives bare names, DirectorySearch whole
// paths, one level deep; both add to the set. A missing directory leaves the set as it
// was, with a warning.
TEST_F(FileHelperTest, ConvertFsPathResolvesAgainstBaseOrCurrentDirectoryAndTheSearches) {
  fs::create_directories(m_dir + "/a/b");
  fs::create_symlink(m_dir + "/a/b", m_dir + "/link");
  const std::string canonicalDir = fs::canonical(m_dir).string();
  const auto converted = [](std::string path, const auto&... base) {
    return FileHelper::convertFsPath(path, base...), path;
  };
  const fs::path previous = fs::current_path();
  fs::current_path(m_dir + "/a");
  EXPECT_EQ(canonicalDir + "/a " + canonicalDir + "/a/b " + canonicalDir + "/a/b",
            converted("..", m_dir + "/a/b") + ' ' + converted(m_dir + "/./link/../b") + ' ' + converted("b/."));
  fs::current_path(previous);
  std::string missing = "no-such-entry";
  EXPECT_THROW(FileHelper::convertFsPath(missing, m_dir), filesystem_error);
  EXPECT_EQ("no-such-entry", missing);
  for (const char* name : {"/a.txt", "/c.txt", "/a/inner.txt"}) writeFile(m_dir + name, "x");
  std::set<std::string> files = {"kept.txt", "a.txt"}, dirs = {"kept"};
  utils::FileSearch().getFileNames(m_dir, files);
  EXPECT_EQ((std::set<std::string>{"a.txt", "c.txt", "fifo", "kept.txt"}), files);
  missing = m_dir + "/missing";
  EXPECT_EQ(" | Warning   : FileSearch:getFilesByName - No files to load at directory " + missing +
                "\n | Warning   : DirSeacrch:getDirName - No Directories to load at directory " + missing + "\n",
            conversiontest::logOf([&] {
              utils::DirectorySearch().getDirNames(ref(m_dir + "/a"), dirs);
              utils::FileSearch().getFileNames(missing, dirs);
              utils::DirectorySearch().getDirNames(missing, dirs);
            }));
  EXPECT_EQ((std::set<std::string>{m_dir + "/a/b", "kept"}), dirs);
}

TEST_F(FileHelperTest, CreateCopyRemoveAndClearADirectory) {
  std::string nested = m_dir + "/a/b/c", to = m_dir + "/to", missing = m_dir + "/missing";
  const mode_t old = umask(077);  // the rights must come from the helper, not the mask
  EXPECT_TRUE(FileHelper::createDirectory(nested));
  umask(old);
  EXPECT_EQ(0755u, rightsOf(nested));
  chmod(nested.c_str(), 0700);
  EXPECT_FALSE(FileHelper::createDirectory(nested));
  EXPECT_EQ(0700u, rightsOf(nested)) << "an existing directory keeps its rights";
  writeFile(m_dir + "/from", "new");
  writeFile(to, "old and longer");
  EXPECT_THROW(FileHelper::createDirectory(to + "/sub"), filesystem_error);  // below a file
  FileHelper::copyFile(ref(m_dir + "/from"), to);
  EXPECT_EQ("new", readFile(to));
  EXPECT_THROW(FileHelper::copyFile(missing, to), filesystem_error);
  EXPECT_NO_THROW(FileHelper::removeFile(missing));
  FileHelper::removeFile(to);
  writeFile(nested + "/f", "f");
  FileHelper::removeFilesInPath(ref(m_dir + "/a"));
  EXPECT_TRUE(!fs::exists(to) && fs::is_directory(m_dir + "/a") && fs::is_empty(m_dir + "/a"));
  EXPECT_THROW(FileHelper::removeFilesInPath(ref(m_dir + "/gone")), filesystem_error);
}

// The size, then the log lines; a new document gets rights 0644, an old one is
// replaced whole, with less write access for others.
TEST_F(FileHelperTest, WriteJsonFileGoesBelowTheHomeOrToTheDefaultLocation) {
  json::Object document;
  document["name"] = json::String("bundle");
  std::ostringstream text;
  json::Writer::Write(document, text);
  const auto& environment = conversiontest::InstallationEnvironment::installation();
  const std::string home = environment.home(), size = std::to_string(text.str().size()) + '\n',
                    error = " | Error     : FileHelper:writeJSON - Invalid Norvane Home Path\n";
  fs::create_directories(home + "/conf/reports");
  writeFile(home + "/conf/reports/doc.json", "old");
  chmod((home + "/conf/reports/doc.json").c_str(), 0666);
  const struct { bool withHome; std::string defaultLocation, subFolder, written, expected; } cases[] = {
      {true, m_dir, "/conf/reports", home + "/conf/reports/doc.json", size},
      {false, m_dir, "/conf/reports", m_dir + "/doc.json", size + error},  // no sub-folder
      {false, m_dir + "/missing", "", "", "-1\n" + error},                  // nothing thrown
      {true, m_dir, "/" + std::string(300, 'x'), "", "-1\n"},              // a name too long to examine
  };
  for (const auto& c : cases) {
    if (!c.withHome) m_installation.useStore();  // a store without a home
    int fileSize = -7;
    const std::string log = conversiontest::logOf(
        [&] { FileHelper::writeJSONFile(document, "/doc.json", c.defaultLocation, c.subFolder, fileSize); });
    environment.useStore();
    EXPECT_EQ(c.expected, std::to_string(fileSize) + '\n' + log);
    EXPECT_EQ(c.written.empty() ? "" : text.str(), readFile(c.written)) << c.written;
    if (!c.written.empty()) { EXPECT_EQ(0644u, rightsOf(c.written)) << c.written; }
    EXPECT_EQ(c.written == m_dir + "/doc.json", fs::remove(m_dir + "/doc.json")) << c.written;
  }
}

// The POSIX realisation of the file system and of the regular-file helpers: each
// failure with its reason, against real files. A dangling link is listed, without
// facts. A write cut short (here by the file size limit) leaves the old file and no
// temporary.
TEST_F(FileHelperTest, PosixFileSystemFailures) {
  platform::FileSystem& files = platform::host().fileSystem();
  const std::string fifo = m_dir + "/fifo", missing = m_dir + "/missing/x", file = m_dir + "/file";
  fs::create_directories(m_dir + "/list");
  fs::create_symlink(m_dir + "/nowhere", m_dir + "/list/dangling");
  writeFile(file, "old");
  std::string reason, text;
  const auto result = [&reason](bool ok) {
    const std::string shown = (ok ? "ok" : "fails") + (reason.empty() ? "" : " " + reason);
    return reason.clear(), shown;
  };
  std::vector<platform::DirectoryEntry> entries;
  platform::OpenFileFacts facts;
  const auto held = files.lockFile(file, true, reason, false);
  const fs::path previous = fs::current_path();
  fs::current_path(m_dir);
  conversiontest::expectRows({
      ROW("ok", result(files.writeWholeFile("relative", "x", 0600, reason))),  // in the working directory
      ROW("fails not a regular file", result(files.writeWholeFile(m_dir, "x", 0644, reason))),
      ROW("fails No such file or directory", result(files.writeWholeFile(missing, "x", 0644, reason))),
      ROW("fails No such file or directory", result(files.replaceFile(missing, file, reason))),
      ROW("fails No such file or directory", result(files.lockFile(missing, true, reason, false) != nullptr)),
      ROW("fails not a regular file", result(files.lockFile(fifo, true, reason, false) != nullptr)),
      ROW("fails Resource temporarily unavailable", result(files.lockFile(file, false, reason, false) != nullptr)),
      ROW("ok", result(files.listDirectory(m_dir + "/list", entries))),
      ROW("fails", result(files.listDirectory(m_dir + "/missing", entries))),
      ROW("fails", result(files.renameFile(fifo, file))),  // never over an existing file
      ROW("ok", result(files.renameFile(m_dir + "/relative", m_dir + "/renamed"))),
      ROW("ok", result(files.lockFile(m_dir + "/renamed", false, reason, true) != nullptr)),
      ROW("fails", result(files.describeOpenFile(nullptr, facts))),
      ROW("fails", result(files.openLogFile(missing, false) != nullptr)),
      ROW("fails", result(platform::readRegularFile("/proc/self/mem", text))),  // a read error
      ROW("fails", result(platform::canCreateFile("/dev/null", 0600))),
      ROW("fails", result(platform::canCreateFile(missing, 0600))),
      ROW("ok", result(platform::canCreateFile(file, 0600))),
      ROW("dangling 0 0", entries.at(0).name + ' ' + std::to_string(entries.at(0).isDirectory) + ' ' +
                              std::to_string(entries.at(0).lastWriteTime) + std::string(entries.size() - 1, '+')),
  });
  fs::current_path(previous);
  rlimit old{};
  ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &old));
  const rlimit small{4, old.rlim_max};
  const auto previousHandler = signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &small));
  const bool written = files.writeWholeFile(file, "longer than four bytes", 0644, reason);
  setrlimit(RLIMIT_FSIZE, &old);
  signal(SIGXFSZ, previousHandler);
  EXPECT_EQ("fails File too large|old|x", result(written) + '|' + readFile(file) + '|' + readFile(m_dir + "/renamed"));
  std::set<std::string> names;
  utils::FileSearch().getFileNames(m_dir, names);
  EXPECT_EQ((std::set<std::string>{"fifo", "file", "renamed"}), names);
}

}  // namespace
