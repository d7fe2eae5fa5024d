// Archives are read back by tools written elsewhere: Python's zipfile (names,
// sizes, CRCs, stored date and time, method) and Info-ZIP's `unzip -t`.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <random>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <utils/Compression.h>

#include "platform/MachineStore.h"
#include "support/ChildProcess.h"
#include "support/TempInstallation.h"

namespace {

namespace fs = std::filesystem;
using testsupport::TempInstallation;
using testsupport::writeFile;

struct Entry {
  std::string name;
  long size = -1;
  std::string crc;
  std::string dateTime;
  int method = -1;
  long packedSize = -1;
  long defaultLevelSize = -1;  // raw deflate of the content at zlib's level 6
};

struct Listing {
  std::string testResult;  // "None" when every CRC checks
  std::vector<Entry> entries;
};

// One line per entry, tab separated; names are printed as repr() so that any
// byte survives the trip.
const char kLister[] = R"PY(
import sys, zipfile, zlib
z = zipfile.ZipFile(sys.argv[1])
print("test\t%s" % z.testzip())
for i in z.infolist():
    data = z.read(i)
    c = zlib.compressobj(6, zlib.DEFLATED, -15, 8)
    packed = c.compress(data) + c.flush()
    print("\t".join([i.filename, str(i.file_size), "%08x" % i.CRC,
                     "%d-%d-%d %d:%d:%d" % i.date_time, str(i.compress_type),
                     str(i.compress_size), str(len(packed))]))
)PY";

std::string runCommand(const std::string& command, int& status) {
  std::string output;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) {
    status = -1;
    return output;
  }
  char chunk[4096];
  size_t n;
  while ((n = fread(chunk, 1, sizeof chunk, pipe)) > 0) output.append(chunk, n);
  status = pclose(pipe);
  return output;
}

Listing listArchive(const std::string& archive, const std::string& scratch) {
  writeFile(scratch + "/lister.py", kLister);
  int status = 0;
  std::string text = runCommand("python3 '" + scratch + "/lister.py' '" + archive + "' 2>&1", status);
  EXPECT_EQ(0, status) << text;
  Listing listing;
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line)) {
    std::vector<std::string> cells;
    std::istringstream fields(line);
    std::string cell;
    while (std::getline(fields, cell, '\t')) cells.push_back(cell);
    if (cells.size() == 2 && cells[0] == "test") {
      listing.testResult = cells[1];
    } else if (cells.size() == 7) {
      Entry e;
      e.name = cells[0];
      e.size = std::stol(cells[1]);
      e.crc = cells[2];
      e.dateTime = cells[3];
      e.method = std::stoi(cells[4]);
      e.packedSize = std::stol(cells[5]);
      e.defaultLevelSize = std::stol(cells[6]);
      listing.entries.push_back(e);
    } else {
      ADD_FAILURE() << "unexpected lister output: " << line;
    }
  }
  return listing;
}

bool unzipTestPasses(const std::string& archive) {
  int status = 0;
  std::string text = runCommand("unzip -t '" + archive + "' 2>&1", status);
  return status == 0 && text.find("No errors detected") != std::string::npos;
}

std::string crcOf(const std::string& bytes) {
  char text[16];
  std::snprintf(text, sizeof text, "%08lx",
                crc32(0L, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size())));
  return text;
}

// Sets the modification time of path to a UTC calendar time.
void setModified(const std::string& path, int year, int month, int day, int hour, int minute, int second) {
  std::tm when{};
  when.tm_year = year - 1900;
  when.tm_mon = month - 1;
  when.tm_mday = day;
  when.tm_hour = hour;
  when.tm_min = minute;
  when.tm_sec = second;
  struct timeval times[2];
  times[0].tv_sec = times[1].tv_sec = timegm(&when);
  times[0].tv_usec = times[1].tv_usec = 0;
  ASSERT_EQ(0, utimes(path.c_str(), times));
}

std::string randomBytes(size_t size, unsigned seed) {
  std::mt19937 generator(seed);
  std::string bytes(size, '\0');
  for (char& c : bytes) c = static_cast<char>(generator() & 0xff);
  return bytes;
}

class CompressionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    // The stored time stamps are local calendar fields; pin the zone so that the
    // expected fields below hold on any machine.
    setenv("TZ", "UTC", 1);
    tzset();
    m_dir = m_installation.root() + "/work";
    fs::create_directories(m_dir + "/report/sub");
  }

  std::string file(const std::string& relative, const std::string& content) {
    std::string path = m_dir + "/" + relative;
    fs::create_directories(fs::path(path).parent_path());
    writeFile(path, content);
    return path;
  }

  TempInstallation m_installation;
  std::string m_dir;
};

TEST_F(CompressionTest, EmptyListGivesEmptyArchiveAndZero) {
  std::string name = m_dir + "/empty";
  utils::Compression zip(name);
  EXPECT_EQ(0, zip.writeToZipFile());
  Listing listing = listArchive(name + ".zip", m_dir);
  EXPECT_EQ("None", listing.testResult);
  EXPECT_TRUE(listing.entries.empty());
}

TEST_F(CompressionTest, DefaultConstructedHasNoArchivePathAndGivesOne) {
  utils::Compression zip;
  std::string path = file("report/a.txt", "a");
  zip.insertFileToZip(path);
  EXPECT_EQ(1, zip.writeToZipFile());
}

TEST_F(CompressionTest, ArchiveInMissingDirectoryGivesOne) {
  std::string name = m_dir + "/no/such/dir/bundle";
  utils::Compression zip(name);
  EXPECT_EQ(1, zip.writeToZipFile());
  EXPECT_FALSE(fs::exists(name + ".zip"));
}

TEST_F(CompressionTest, EntriesKeepOrderSizesCrcsAndNamesBehindTheFirstReportMarker) {
  const std::string text = "line one\nline two\n";
  const std::string binary = randomBytes(300 * 1024, 7);
  const std::string repetitive(200000, 'x');
  std::vector<std::string> paths = {
      file("report/summary.txt", text),
      file("report/sub/data.bin", binary),
      file("report/empty.log", ""),
      file("report/sub/report/nested.txt", repetitive),  // second marker stays in the name
      file("outside/plain.txt", "plain"),                // no marker: the whole path
      file("report/summary.txt", text),                  // same path twice: two entries
  };
  std::string name = m_dir + "/bundle";
  utils::Compression zip(name);
  zip.openZipFile();  // does nothing; callers may or may not call it
  for (std::string& p : paths) zip.insertFileToZip(p);
  ASSERT_EQ(0, zip.writeToZipFile());

  EXPECT_TRUE(unzipTestPasses(name + ".zip"));
  Listing listing = listArchive(name + ".zip", m_dir);
  EXPECT_EQ("None", listing.testResult);
  ASSERT_EQ(6u, listing.entries.size());
  const std::vector<std::string> names = {"summary.txt", "sub/data.bin", "empty.log",
                                          "sub/report/nested.txt", m_dir.substr(0) + "/outside/plain.txt",
                                          "summary.txt"};
  const std::vector<std::string> contents = {text, binary, "", repetitive, "plain", text};
  for (size_t i = 0; i < names.size(); ++i) {
    SCOPED_TRACE(names[i]);
    const Entry& e = listing.entries[i];
    EXPECT_EQ(names[i], e.name);
    EXPECT_EQ(static_cast<long>(contents[i].size()), e.size);
    EXPECT_EQ(crcOf(contents[i]), e.crc);
    EXPECT_EQ(8, e.method);  // deflate
    // zlib's default level: the packed data is exactly what level 6 gives.
    EXPECT_EQ(e.defaultLevelSize, e.packedSize);
  }
  EXPECT_LT(listing.entries[3].packedSize, 1000);
}

TEST_F(CompressionTest, BackSlashesAroundReportAreNotTheMarker) {
  std::string path = file("a\\report\\x.txt", "x");
  std::string name = m_dir + "/bundle";
  utils::Compression zip(name);
  zip.insertFileToZip(path);
  ASSERT_EQ(0, zip.writeToZipFile());
  Listing listing = listArchive(name + ".zip", m_dir);
  ASSERT_EQ(1u, listing.entries.size());
  EXPECT_EQ(path, listing.entries[0].name);
}

TEST_F(CompressionTest, UnreadableEntriesGiveTwoWhileTheOthersGoIn) {
  std::string first = file("report/first.txt", "first");
  std::string missing = m_dir + "/report/missing.txt";
  std::string directory = m_dir + "/report/sub";
  std::string last = file("report/last.txt", "last");
  std::string name = m_dir + "/bundle";
  utils::Compression zip(name);
  zip.insertFileToZip(first);
  zip.insertFileToZip(missing);
  zip.insertFileToZip(directory);  // opens as a stream but cannot be measured or read
  zip.insertFileToZip(last);
  EXPECT_EQ(2, zip.writeToZipFile());

  EXPECT_TRUE(unzipTestPasses(name + ".zip"));
  Listing listing = listArchive(name + ".zip", m_dir);
  ASSERT_EQ(2u, listing.entries.size());
  EXPECT_EQ("first.txt", listing.entries[0].name);
  EXPECT_EQ("last.txt", listing.entries[1].name);
  EXPECT_EQ(crcOf("last"), listing.entries[1].crc);
}

TEST_F(CompressionTest, SecondCallWritesTheWholeListIntoANewArchive) {
  std::string name = m_dir + "/bundle";
  writeFile(name + ".zip", "not an archive at all");
  std::string a = file("report/a.txt", "alpha");
  utils::Compression zip(name);
  zip.insertFileToZip(a);
  ASSERT_EQ(0, zip.writeToZipFile());
  std::string b = file("report/b.txt", "beta");
  zip.insertFileToZip(b);
  ASSERT_EQ(0, zip.writeToZipFile());

  Listing listing = listArchive(name + ".zip", m_dir);
  ASSERT_EQ(2u, listing.entries.size());
  EXPECT_EQ("a.txt", listing.entries[0].name);
  EXPECT_EQ("b.txt", listing.entries[1].name);

  utils::Compression copy(zip);  // member-wise: same archive, same list
  ASSERT_EQ(0, copy.writeToZipFile());
  EXPECT_EQ(2u, listArchive(name + ".zip", m_dir).entries.size());
}

// The time goes through the year-2000 clock (30 years, 10957 days, late) and is
// packed with a year offset of 110 and the day plus one, field by field. The
// expected fields are worked out by hand from the calendar.
TEST_F(CompressionTest, StoredDateAndTimeFollowTheShiftedPacking) {
  struct Case {
    const char* file;
    int y, mo, d, h, mi, s;
    const char* stored;
  } cases[] = {
      // 2050-03-10 is exactly 10957 days later: the day plus one is one day late.
      {"report/t2020.txt", 2020, 3, 10, 12, 34, 57, "2020-3-11 12:34:56"},
      // 2040-01-31: day 31 + 1 = 32 carries into the month: month 2, day 0.
      {"report/t2010.txt", 2010, 1, 31, 8, 0, 0, "2010-2-0 8:0:0"},
      // 1975-06-15 + 10957 days is 2005-06-14 (eight leap days on the way): the day
      // plus one is right; year 105 is under 110 and stays, read as 1980 + 105.
      {"report/t1975.txt", 1975, 6, 15, 23, 59, 59, "2085-6-15 23:59:58"},
      // 1999-12-31 + 10957 days is 2029-12-30; year 129 - 110 = 19.
      {"report/t1999.txt", 1999, 12, 31, 0, 0, 1, "1999-12-31 0:0:0"},
  };
  std::string name = m_dir + "/dates";
  utils::Compression zip(name);
  for (const Case& c : cases) {
    std::string path = file(c.file, c.file);
    setModified(path, c.y, c.mo, c.d, c.h, c.mi, c.s);
    zip.insertFileToZip(path);
  }
  ASSERT_EQ(0, zip.writeToZipFile());
  Listing listing = listArchive(name + ".zip", m_dir);
  ASSERT_EQ(4u, listing.entries.size());
  for (size_t i = 0; i < 4; ++i) EXPECT_EQ(cases[i].stored, listing.entries[i].dateTime) << cases[i].file;
}

// args: store root, archive name, then the paths to pack.
NORVANE_CHILD(compression_log) {
  platform::setMachineStoreRoot(args[0]);
  std::string name = args[1];
  {
    utils::Compression zip(name);
    for (std::size_t i = 2; i < args.size(); ++i) {
      std::string path = args[i];
      zip.insertFileToZip(path);
    }
    std::printf("result=%d\n", zip.writeToZipFile());
  }
  return 0;
}

TEST_F(CompressionTest, WritesItsTracesAndBothDebugLines) {
  m_installation.registerHome();
  m_installation.writeConfig("log_level = 255\n");
  std::string present = file("report/present.txt", "here");
  std::string missing = m_dir + "/report/missing.txt";
  auto result = testsupport::runChild("compression_log", {m_installation.storeRoot(), m_dir + "/logged", present, missing});
  ASSERT_EQ(0, result.exitCode) << result.output;
  EXPECT_NE(std::string::npos, result.output.find("result=2")) << result.output;
  const std::vector<std::string> expected = {
      " | Everything: utils::Compression::Compression",
      " | Everything: utils::Compression::insertFileToZip",
      " | Everything: utils::Compression::insertFileToZip",
      " | Fn Entry  : utils::Compression::writeToZipFile",
      " | Debug     : Compress:write2Zip - Zipping : " + present,
      " | Debug     : Compress:write2Zip - Zipping : " + missing,
      " | Debug     : Compress:write2Zip - Error: Failed while file open : " + missing,
      " | Everything: utils::Compression::~Compression",
  };
  static const std::regex prefix(R"(\d\d/\d\d \d\d:\d\d:\d\d [0-9a-f]+(.*))");
  std::vector<std::string> entries;
  std::istringstream text(testsupport::readFile(m_installation.home() + "/logs/norvane.txt"));
  std::string line;
  std::smatch match;
  while (std::getline(text, line)) {
    if (std::regex_match(line, match, prefix) && match[1].str().find("Compress") != std::string::npos) {
      entries.push_back(match[1]);
    }
  }
  EXPECT_EQ(expected, entries);
}

#ifdef NORVANECTL_PATH
// The operator's command packs the same way and names what it left out.
TEST_F(CompressionTest, NorvanectlZipPacksAndNamesTheFilesLeftOut) {
  std::string a = file("report/a.txt", "alpha");
  std::string b = file("report/sub/b.txt", "beta");
  const std::string tool = NORVANECTL_PATH;
  int status = 0;
  std::string text = runCommand("'" + tool + "' zip '" + m_dir + "/ok.zip' '" + a + "' '" + b + "' 2>&1", status);
  EXPECT_EQ(0, WEXITSTATUS(status)) << text;
  EXPECT_EQ(m_dir + "/ok.zip: 2 files packed\n", text);
  Listing listing = listArchive(m_dir + "/ok.zip", m_dir);
  ASSERT_EQ(2u, listing.entries.size());
  EXPECT_EQ("a.txt", listing.entries[0].name);
  EXPECT_EQ("sub/b.txt", listing.entries[1].name);
  EXPECT_FALSE(fs::exists(m_dir + "/ok.zip.zip"));

  std::string missing = m_dir + "/report/missing.txt";
  text = runCommand("'" + tool + "' zip '" + m_dir + "/part' '" + missing + "' '" + a + "' 2>/dev/null", status);
  EXPECT_EQ(1, WEXITSTATUS(status));
  EXPECT_EQ(m_dir + "/part.zip: 1 of 2 files packed\n", text);
  text = runCommand("'" + tool + "' zip '" + m_dir + "/part' '" + missing + "' '" + a + "' 2>&1 >/dev/null", status);
  EXPECT_EQ("norvanectl: cannot read '" + missing + "'\n", text);
  EXPECT_EQ(1u, listArchive(m_dir + "/part.zip", m_dir).entries.size());

  text = runCommand("'" + tool + "' zip '" + m_dir + "/no/dir/x.zip' '" + a + "' 2>&1", status);
  EXPECT_EQ(1, WEXITSTATUS(status));
  EXPECT_EQ("norvanectl: cannot write archive '" + m_dir + "/no/dir/x.zip'\n", text);

  text = runCommand("'" + tool + "' zip '" + m_dir + "/only' 2>&1", status);
  EXPECT_EQ(2, WEXITSTATUS(status));
  EXPECT_NE(std::string::npos, text.find("zip needs at least one FILE")) << text;
}
#endif

}  // namespace
