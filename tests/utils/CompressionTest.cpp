// Archives are read back by tools written elsewhere: Python's zipfile (names, sizes,
// CRCs, method, packed size, stored date and time) and Info-ZIP's `unzip -t`.

#include <zlib.h>

#include "support/TestPrelude.h"
#include <random>

#include <minizip/zip.h>
#include <utils/Compression.h>

#include "support/ToolRun.h"
#include "utils/ConversionTestSupport.h"
#include "utils/ZipPacking.h"

namespace {

namespace fs = std::filesystem;
using testsupport::writeFile;

// The CRC test of every entry ("None" when all check), then one line per entry:
// "name size crc method" and whether the packed size is exactly that of zlib's
// default level 6, or with "dates" "name date time" as stored.
const char kLister[] = R"PY(
import sys, zipfile, zlib
z = zipfile.ZipFile(sys.argv[1])
print("test %s" % z.testzip())
for i in z.infolist():
    if sys.argv[2:] == ["dates"]:
        print("%s %d-%d-%d %d:%d:%d" % ((i.filename,) + i.date_time)); continue
    c = zlib.compressobj(6, zlib.DEFLATED, -15, 8)
    level6 = i.compress_size == len(c.compress(z.read(i)) + c.flush())
    print("%s %d %08x m%d%s" % (i.filename, i.file_size, i.CRC, i.compress_type, " level6" if level6 else ""))
)PY";

// What the deflated entry of content must show.
std::string entry(const std::string& name, const std::string& content) {
  char crc[16];
  std::snprintf(crc, sizeof crc, "%08lx",
                crc32(0L, reinterpret_cast<const Bytef*>(content.data()), static_cast<uInt>(content.size())));
  return name + ' ' + std::to_string(content.size()) + ' ' + crc + " m8 level6\n";
}

class CompressionTest : public ::testing::Test {
 protected:
  void SetUp() override { writeFile(m_dir + "/lister.py", kLister); }

  std::string file(const std::string& relative, const std::string& content) {
    const std::string path = m_dir + "/" + relative;
    fs::create_directories(fs::path(path).parent_path());
    writeFile(path, content);
    return path;
  }

  // Packs the paths into m_dir/NAME.zip; gives the result code.
  int pack(const std::string& name, std::vector<std::string> paths) {
    std::string archive = m_dir + "/" + name;
    utils::Compression zip(archive);
    zip.openZipFile();  // does nothing; callers may or may not call it
    for (std::string& path : paths) zip.insertFileToZip(path);
    return zip.writeToZipFile();
  }

  // What the lister prints; an archive with entries must pass unzip -t too.
  std::string list(const std::string& archive, const char* mode = "") {
    const auto run = testsupport::runTool("/usr/bin/python3", {m_dir + "/lister.py", m_dir + "/" + archive, mode});
    EXPECT_EQ(0, run.exitCode) << run.err;
    const auto unzip = testsupport::runTool("/usr/bin/unzip", {"-t", m_dir + "/" + archive});
    EXPECT_TRUE(run.out == "test None\n" || unzip.out.find("No errors detected") != std::string::npos) << unzip.out;
    return run.out;
  }

  conversiontest::ScopedZone m_zone{"UTC"};  // stored time stamps are local calendar fields
  testsupport::TempInstallation m_installation;
  std::string m_dir = m_installation.root();
};

// A file whose length cannot all be read (sysfs shows 4096 bytes) counts as failed
// and gives 2; an archive that cannot be written, on a full device, gives 1.
TEST_F(CompressionTest, ResultCodesAndEveryCallWritesTheWholeListIntoANewArchive) {
  EXPECT_EQ(0, pack("empty", {}));
  EXPECT_EQ("test None\n", list("empty.zip"));
  EXPECT_EQ(1, utils::Compression().writeToZipFile());  // no archive path: it cannot be opened
  std::string a = file("report/a.txt", "alpha"), b = file("report/b.txt", "beta"), archive = m_dir + "/bundle";
  writeFile(m_dir + "/bundle.zip", "not an archive at all");
  utils::Compression zip(archive);
  zip.insertFileToZip(a);
  ASSERT_EQ(0, zip.writeToZipFile());
  zip.insertFileToZip(b);
  ASSERT_EQ(0, zip.writeToZipFile());
  EXPECT_EQ("test None\n" + entry("a.txt", "alpha") + entry("b.txt", "beta"), list("bundle.zip"));
  EXPECT_EQ(2, pack("short", {"/sys/devices/system/cpu/online"}));
  fs::create_symlink("/dev/full", m_dir + "/full.zip");
  EXPECT_EQ(1, pack("full", {a, b}));
}

// Entries deflated on other threads and written in list order make the same bytes
// as minizip deflating each one itself, whatever the number of workers.
TEST_F(CompressionTest, EntriesKeepOrderSizesCrcsAndNamesBehindTheFirstReportMarkerUnreadableOnesGiveTwo) {
  const std::string text = "line one\nline two\n", repetitive(200000, 'x');
  std::mt19937 generator(7);
  std::string binary(300 * 1024, '\0');
  for (char& c : binary) c = static_cast<char>(generator() & 0xff);
  // The directory opens as a stream but cannot be measured or read: like a missing
  // file it is left out, the others go in, and the result is 2.
  const std::vector<std::string> paths = {
      file("report/summary.txt", text), m_dir + "/report/missing.txt", file("report/sub/data.bin", binary),
      m_dir + "/report/sub", file("report/empty.log", ""),
      file("report/sub/report/nested.txt", repetitive),  // second marker stays
      file("outside/plain.txt", "plain"),                 // no marker: the whole path
      file("a\\report\\x.txt", "x"),                       // back slashes are no marker
      file("report/summary.txt", text)};                  // same path twice: two entries
  ASSERT_EQ(2, pack("bundle", paths));
  EXPECT_EQ("test None\n" + entry("summary.txt", text) + entry("sub/data.bin", binary) + entry("empty.log", "") +
                entry("sub/report/nested.txt", repetitive) + entry(m_dir + "/outside/plain.txt", "plain") +
                entry(m_dir + "/a\\report\\x.txt", "x") + entry("summary.txt", text),
            list("bundle.zip"));
  for (unsigned int workers : {0u, 1u, 2u, 5u}) {
    const std::string archive = m_dir + "/w" + std::to_string(workers) + ".zip";
    zipFile handle = zipOpen(archive.c_str(), APPEND_STATUS_CREATE);
    EXPECT_FALSE(utils::packFiles(handle, paths, workers)) << "the missing file counts as failed";
    ASSERT_EQ(zipClose(handle, nullptr), ZIP_OK);
    EXPECT_TRUE(testsupport::readFile(archive) == testsupport::readFile(m_dir + "/bundle.zip")) << workers;
    zipFile full = zipOpen("/dev/full", APPEND_STATUS_CREATE);  // every entry fails to be written
    EXPECT_FALSE(utils::packFiles(full, {paths[2]}, workers)) << workers;
    zipClose(full, nullptr);
  }
}

// The time goes through the year-2000 clock (30 years, 10957 days, late) and is
// packed with a year offset of 110 and the day plus one, field by field. The
// expected fields are worked out by hand from the calendar.
TEST_F(CompressionTest, StoredDateAndTimeFollowTheShiftedPacking) {
  const struct { const char *modified, *stored; } cases[] = {
      // 2050-03-10 is exactly 10957 days later: the day plus one is one day late.
      {"2020-03-10 12:34:57", "2020-3-11 12:34:56"},
      // 2040-01-31: day 31 + 1 = 32 carries into the month: month 2, day 0.
      {"2010-01-31 08:00:00", "2010-2-0 8:0:0"},
      // 1975-06-15 + 10957 days is 2005-06-14 (eight leap days on the way): the day
      // plus one is right; year 105 is under 110 and stays, read as 1980 + 105.
      {"1975-06-15 23:59:59", "2085-6-15 23:59:58"},
      // 1999-12-31 + 10957 days is 2029-12-30; year 129 - 110 = 19.
      {"1999-12-31 00:00:01", "1999-12-31 0:0:0"},
  };
  std::vector<std::string> paths;
  std::string expected = "test None\n";
  for (const auto& c : cases) {
    expected += std::to_string(paths.size()) + ' ' + c.stored + '\n';
    paths.push_back(file("report/" + std::to_string(paths.size()), c.modified));
    ASSERT_EQ(0, testsupport::runTool("/usr/bin/touch", {"-d", c.modified + std::string(" UTC"), paths.back()})
                     .exitCode);
  }
  ASSERT_EQ(0, pack("dates", paths));
  EXPECT_EQ(expected, list("dates.zip", "dates"));
}

}  // namespace
