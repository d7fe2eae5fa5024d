// Host identity of WindowsSystem over a fake host: the name tables, the Linux rule
// and the result conventions.
#include "support/TestPrelude.h"

#include "utils/SystemTestSupport.h"

using platform::kPlatformWin9x;
using platform::kPlatformWinNT;
using systemtest::FakeHostTest;
using systemtest::sys;
using utils::System;

namespace {

// "<result> [<text>]" of an operation that fills a text holding "old" before.
std::string filled(int (System::*operation)(std::string&) const) {
  std::string text = "old";
  const int result = (sys().*operation)(text);
  return std::to_string(result) + " [" + text + "]";
}

std::string osNames() { return filled(&System::getOsName) + " " + filled(&System::getOsFullName); }

}  // namespace

TEST_F(FakeHostTest, WindowsNamesFollowBothTablesRowByRow) {
  const unsigned long k9x = kPlatformWin9x, kNT = kPlatformWinNT;
  const struct { unsigned long platformId, major, minor, build; unsigned char type; std::wstring sp; std::string name; }
  rows[] = {
      {0, 3, 10, 0, 1, L"", "Win32  "}, {3, 6, 1, 0, 1, L"", "Unknown Windows  "}, {k9x, 4, 0, 950, 0, L"A", "Windows 95  A"},
      {k9x, 4, 0, 1111, 0, L"B", "Windows 95 OSR 2  B"}, {k9x, 4, 0, 1212, 0, L"C", "Windows 95 OSR 2.5  C"},
      {k9x, 4, 10, 1998, 0, L"", "Windows 98  "}, {k9x, 4, 10, 2222, 0, L"A", "Windows 98 Second Edition  A"},
      {k9x, 4, 90, 3000, 0, L"", "Windows Millenium Edition  "}, {k9x, 4, 3, 0, 0, L"B", "Unknown Windows  B"},
      {kNT, 6, 2, 9200, 1, L"", "Windows 8 "}, {kNT, 6, 2, 9200, 3, L"", "Windows Server 2012  "},
      {kNT, 6, 1, 7601, 1, L"Service Pack 1", "Windows 7  Service Pack 1"}, {kNT, 6, 1, 7601, 2, L"", "Windows Server 2008 R2  "},
      {kNT, 6, 0, 6002, 2, L"Service Pack 2", "Windows Server 2008  Service Pack 2"},
      {kNT, 6, 3, 9600, 1, L"", "Windows 8.1 "}, {kNT, 6, 3, 9600, 3, L"", "Windows Server 2012 R2 "},
      {kNT, 10, 0, 19045, 1, L"", "Windows 10 "}, {kNT, 10, 0, 17699, 3, L"", "Windows Server 2016  "},
      {kNT, 10, 0, 17700, 3, L"", "Windows Server 2019 "}, {kNT, 10, 0, 18299, 2, L"", "Windows Server 2019 "},
      {kNT, 10, 0, 18300, 3, L"", "Windows Server 2016  "}, {kNT, 5, 2, 3790, 3, L"SP2", " SP2"},  // no name
      // The service-pack text ends at its first NUL, at 128 units at most, and is
      // narrowed unit by unit.
      {kNT, 6, 1, 7601, 1, std::wstring(L"SP\0x", 4), "Windows 7  SP"}, {kNT, 6, 1, 7601, 1, L"\x141\x142", "Windows 7  AB"},
      {kNT, 6, 1, 7601, 1, std::wstring(200, L'x'), "Windows 7  " + std::string(128, 'x')},
  };
  for (const auto& row : rows) {
    fake.facts.useWindows(row.major, row.minor, row.build, row.type, row.sp, row.platformId);
    EXPECT_EQ("1 [" + row.name + "]", filled(&System::getOsName))
        << row.platformId << " " << row.major << "." << row.minor << "." << row.build;
  }
  // The version takes the low 16 bits of the build number.
  fake.facts.useWindows(10, 0, 0x12345, 1);
  EXPECT_EQ("1 [Windows 10 ] 1 [Windows 10  10.0.9029]", osNames());
  fake.facts.useWindows(6, 0, 6002, 1);
  EXPECT_EQ("1 [ ] 1 [  6.0.6002]", osNames());
}

TEST_F(FakeHostTest, LinuxNamesTheDistributionAndTheKernelVersion) {
  EXPECT_EQ("1 [Debian GNU/Linux 12 (bookworm) ] 1 [Debian GNU/Linux 12 (bookworm)  6.1.0]", osNames());
  platform::VersionRecord& record = fake.facts.versionRecord;
  record.distributionPrettyName = "", record.kernelRelease = "5.15";
  EXPECT_EQ("1 [Debian GNU/Linux ] 1 [Debian GNU/Linux  5.15.0]", osNames());
  record.distributionName = "", record.kernelRelease = "4.19.70000-rc1+";
  EXPECT_EQ("1 [Linux ] 1 [Linux  4.19.4464]", osNames());
  record.kernelRelease = "";
  EXPECT_EQ("1 [Linux ] 1 [Linux  0.0.0]", osNames());
  record.distributionPrettyName = std::string(300, 'd');  // cut to what 256 bytes hold
  EXPECT_EQ("1 [" + std::string(255, 'd') + "]", filled(&System::getOsName));
  // No version service: names untouched but for the full name's blank, result 0. A
  // service without a version call counts as success with empty texts.
  fake.facts.versionLookup = platform::VersionLookup::kUnavailable;
  EXPECT_EQ("0 [old] 0 [old ]", osNames());
  fake.facts.versionLookup = platform::VersionLookup::kNoVersionCall;
  EXPECT_EQ("1 [] 1 [ ]", osNames());
}

TEST_F(FakeHostTest, ArchitectureLocaleHostNameMemoryProcessorsAndFixedAnswers) {
  for (const auto& [code, arch] : std::map<int, std::string>{
           {0, "x86"}, {5, "ARM"}, {6, "IA64"}, {9, "x64"}, {12, "Unknown"}, {1, "Unknown"}, {0xFFFF, "Unknown"}}) {
    fake.facts.architecture = code;
    EXPECT_EQ("1 [" + arch + "]", filled(&System::getOsArch)) << code;
  }
  for (const auto& [configured, name] : std::map<std::string, std::string>{
           {"en_US.UTF-8", "en-US"}, {"sr_RS@latin", "sr-RS"}, {"de_DE.UTF-8@euro", "de-DE"}, {"zh_Hant_TW", "zh-Hant-TW"},
           {"C.UTF-8", ""}, {"C", ""}, {"POSIX", ""}, {"", ""}, {std::string(100, 'x'), std::string(84, 'x')}}) {
    fake.facts.locale = configured;
    EXPECT_EQ("1 [" + name + "]", filled(&System::getLocaleName)) << configured;
  }
  fake.facts.localeStatus = 13;
  EXPECT_EQ("13 [old]", filled(&System::getLocaleName));
  fake.facts.hostname = std::string(300, 'h');
  EXPECT_EQ("1 [" + std::string(255, 'h') + "]", filled(&System::getHostName));
  fake.facts.nameServiceAvailable = false;
  EXPECT_EQ("0 [old]", filled(&System::getHostName));
  // Gibibytes, rounded half away from zero.
  const std::uint64_t gib = std::uint64_t{1} << 30;
  for (const auto& [bytes, gibibytes] : std::map<std::uint64_t, std::uint64_t>{
           {gib * 49 / 100, 0}, {gib / 2 - 1, 0}, {gib / 2, 1}, {gib * 3 / 2, 2}, {gib * 159 / 10, 16}, {gib * 24, 24}}) {
    fake.facts.memoryBytes = bytes;
    EXPECT_EQ(gibibytes, sys().getTotalPhysicalMemoryInMB()) << bytes;
  }
  fake.facts.memoryKnown = false;
  EXPECT_EQ(0u, sys().getTotalPhysicalMemoryInMB());
  fake.facts.processors = 96;
  EXPECT_EQ(96ul, sys().getCpuCoresCount());
  std::string separator = "old";
  sys().getFSPathSeparator(separator);
  EXPECT_EQ("0 0 [old] / 0", utils::System::getServerID() + " " + filled(&System::getOSCodeName) + " " + separator + " " +
                                std::to_string(sys().iSUserNameCaseSensitive()));
}
