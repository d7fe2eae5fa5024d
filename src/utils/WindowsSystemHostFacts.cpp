// Host identity: the system's name and version, processor, memory, locale and name.
#include <utils/Log.h>
#include <utils/StringHelper.h>
#include <utils/WindowsSystem.h>

#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdio>

#include "platform/Host.h"

namespace utils {
namespace {

// Statuses of the fact routines below; they never leave this file.
constexpr std::uint32_t kSuccess = 0;
constexpr std::uint32_t kFailure = 0xA0002000;
constexpr std::uint32_t kBufferTooSmall = 0xA000200C;

constexpr std::size_t kFactBufferBytes = 256;
constexpr std::size_t kServicePackUnits = 128;
constexpr std::size_t kLocaleBufferBytes = 85;

std::string windows9xName(const platform::VersionRecord& record) {
  const wchar_t first = record.servicePack.empty() ? L'\0' : record.servicePack[0];
  switch (record.minorVersion) {
    case 0:
      if (first == L'B') return "Windows 95 OSR 2 ";
      if (first == L'C') return "Windows 95 OSR 2.5 ";
      return "Windows 95 ";
    case 10:
      return first == L'A' ? "Windows 98 Second Edition " : "Windows 98 ";
    case 90:
      return "Windows Millenium Edition ";
    default:
      return "Unknown Windows ";
  }
}

std::string windowsNTName(const platform::VersionRecord& record) {
  const bool workstation = record.productType == 1;
  const auto is = [&record](unsigned long major, unsigned long minor) {
    return record.majorVersion == major && record.minorVersion == minor;
  };
  if (is(6, 2)) return workstation ? "Windows 8" : "Windows Server 2012 ";
  if (is(6, 1)) return workstation ? "Windows 7 " : "Windows Server 2008 R2 ";
  // A 6.0 workstation gets no name at all.
  if (is(6, 0)) return workstation ? "" : "Windows Server 2008 ";
  if (is(6, 3)) return workstation ? "Windows 8.1" : "Windows Server 2012 R2";
  if (is(10, 0)) {
    if (workstation) return "Windows 10";
    const bool server2019 = record.buildNumber >= 17700 && record.buildNumber <= 18299;
    return server2019 ? "Windows Server 2019" : "Windows Server 2016 ";
  }
  return "";
}

// A Linux host names its distribution, and its version is the kernel's.
std::string linuxName(const platform::VersionRecord& record) {
  if (!record.distributionPrettyName.empty()) return record.distributionPrettyName;
  if (!record.distributionName.empty()) return record.distributionName;
  return record.kernelName;
}

// The first three numbers of a kernel release ("6.1.0-18-amd64" gives 6, 1, 0);
// missing ones are 0.
void linuxVersion(platform::VersionRecord& record) {
  unsigned long* const parts[] = {&record.majorVersion, &record.minorVersion, &record.buildNumber};
  std::size_t next = 0;
  const std::string& release = record.kernelRelease;
  for (std::size_t i = 0; i < release.size() && next < 3;) {
    if (!std::isdigit(static_cast<unsigned char>(release[i]))) {
      ++i;
      continue;
    }
    unsigned long value = 0;
    for (; i < release.size() && std::isdigit(static_cast<unsigned char>(release[i])); ++i) {
      value = value > 0xFFFFFFFFUL / 10 ? 0xFFFFFFFFUL : value * 10 + static_cast<unsigned long>(release[i] - '0');
    }
    *parts[next++] = value;
  }
}

std::string baseName(const platform::VersionRecord& record) {
  switch (record.platformId) {
    case platform::kPlatformWin32s: return "Win32 ";
    case platform::kPlatformWin9x: return windows9xName(record);
    case platform::kPlatformWinNT: return windowsNTName(record);
    case platform::kPlatformLinux: return linuxName(record);
    default: return "Unknown Windows ";
  }
}

// Fills name ("<base> <service pack>") and version ("major.minor.build"), each as
// a buffer of 256 bytes would hold it. Without a version call both stay empty and
// the status is still success.
std::uint32_t osVersionTexts(std::string& name, std::string& version) {
  platform::VersionRecord record;
  switch (platform::host().hostFacts().version(record)) {
    case platform::VersionLookup::kUnavailable: return kFailure;
    case platform::VersionLookup::kNoVersionCall: return kSuccess;
    case platform::VersionLookup::kFound: break;
  }
  if (record.platformId == platform::kPlatformLinux) linuxVersion(record);
  const std::string base = baseName(record);
  // Each wide unit narrowed to a byte, up to the terminator or the record's end.
  std::string servicePack;
  for (std::size_t i = 0; i < record.servicePack.size() && i < kServicePackUnits; ++i) {
    if (record.servicePack[i] == L'\0') break;
    servicePack.push_back(static_cast<char>(record.servicePack[i]));
  }
  char buffer[kFactBufferBytes];
  std::snprintf(buffer, sizeof buffer, "%s %s", base.c_str(), servicePack.c_str());
  name = buffer;
  std::snprintf(buffer, sizeof buffer, "%d.%d.%d", static_cast<int>(record.majorVersion),
                static_cast<int>(record.minorVersion), static_cast<int>(record.buildNumber & 0xFFFF));
  version = buffer;
  return kSuccess;
}

std::uint32_t architectureText(char* buffer, std::size_t size) {
  if (size < 10) return kBufferTooSmall;
  std::snprintf(buffer, size, "%s", "Unknown");
  switch (platform::host().hostFacts().nativeArchitecture()) {
    case platform::kArchitectureX86: std::snprintf(buffer, size, "%s", "x86"); break;
    case platform::kArchitectureArm: std::snprintf(buffer, size, "%s", "ARM"); break;
    case platform::kArchitectureIa64: std::snprintf(buffer, size, "%s", "IA64"); break;
    case platform::kArchitectureAmd64: std::snprintf(buffer, size, "%s", "x64"); break;
    default: break;
  }
  return kSuccess;
}

// "en_US.UTF-8" -> "en-US": codeset and modifier dropped, "_" to "-". The C and
// POSIX locales stand for no locale at all.
std::string localeTag(const std::string& configured) {
  std::string tag = configured.substr(0, configured.find_first_of(".@"));
  if (tag == "C" || tag == "POSIX") return "";
  for (char& c : tag) {
    if (c == '_') c = '-';
  }
  return tag.substr(0, kLocaleBufferBytes - 1);
}

}  // namespace

int WindowsSystem::getOsName(std::string& name) const {
  log_function_entry("utils::WindowsSystem::getOsName");
  std::string osName, version;
  if (osVersionTexts(osName, version) != kSuccess) return 0;
  name = osName;
  return 1;
}

int WindowsSystem::getOsFullName(std::string& name) const {
  log_function_entry("utils::WindowsSystem::getOsFullName");
  std::string osName, version;
  int result = 0;
  if (osVersionTexts(osName, version) == kSuccess) {
    name = osName;
    result = 1;
  }
  name = name + " " + version;
  return result;
}

int WindowsSystem::getOSCodeName(std::string&) const { return 0; }

int WindowsSystem::getLocaleName(std::string& name) const {
  log_function_entry("utils::WindowsSystem::getLocaleName");
  std::string configured;
  const long status = platform::host().hostFacts().systemLocale(configured);
  if (status != 0) return static_cast<int>(status);
  name = localeTag(configured);
  return 1;
}

int WindowsSystem::getOsArch(std::string& arch) const {
  log_function_entry("utils::WindowsSystem::getOsArch");
  char buffer[kFactBufferBytes] = {};
  if (architectureText(buffer, sizeof buffer) != kSuccess) return 0;
  arch = buffer;
  return 1;
}

int WindowsSystem::getHostName(std::string& name) const {
  log_function_entry("utils::WindowsSystem::getHostName");
  std::string hostName;
  if (!platform::host().hostFacts().hostName(hostName)) return 0;
  name = hostName.substr(0, kFactBufferBytes - 1);
  return 1;
}

std::uint64_t WindowsSystem::getTotalPhysicalMemoryInMB() const {
  log_function_entry("utils::WindowsSystem::getTotalPhysicalMemoryInMB");
  std::uint64_t bytes = 0;
  if (!platform::host().hostFacts().totalPhysicalMemory(bytes)) return 0;
  // Gibibytes, halves away from zero.
  return static_cast<std::uint64_t>(std::round(static_cast<double>(bytes) / 1073741824.0));
}

unsigned long WindowsSystem::getCpuCoresCount() const {
  log_function_entry("utils::WindowsSystem::getCpuCoresCount");
  return platform::host().hostFacts().logicalProcessors();
}

void WindowsSystem::getFSPathSeparator(std::string& separator) { separator = platform::kPathSeparator; }

std::string WindowsSystem::getErrorMessage(unsigned long errorCode, char*) const {
  std::string text = platform::host().hostFacts().errorText(errorCode);
  StringHelper::trim(text);
  return text;
}

}  // namespace utils
