// Facts about the machine itself: what it runs, on which processor, with how much
// memory, under which name and locale. Facts only: the names, tables and result
// conventions built on them live in utils::WindowsSystem.
#pragma once

#include <cstdint>
#include <string>

namespace platform {

// Platform ids of the version record. 0, 1 and 2 are the Windows families; a Linux
// host reports an id of its own, outside them, and fills the Linux fields.
constexpr unsigned long kPlatformWin32s = 0;
constexpr unsigned long kPlatformWin9x = 1;
constexpr unsigned long kPlatformWinNT = 2;
constexpr unsigned long kPlatformLinux = 0x4C4E5800;  // "LNX"

// The version record of the running system.
struct VersionRecord {
  unsigned long majorVersion = 0;
  unsigned long minorVersion = 0;
  unsigned long buildNumber = 0;
  unsigned long platformId = 0;
  // Service-pack text of a Windows system, up to 128 wide units; it ends at its
  // first NUL unit if it has one.
  std::wstring servicePack;
  // 1 for a workstation, anything else for a server (Windows).
  unsigned char productType = 0;

  // Linux: PRETTY_NAME and NAME of the os-release file ("" when absent), and the
  // kernel's system name and release as uname gives them ("Linux", "6.1.0-18-amd64").
  std::string distributionPrettyName;
  std::string distributionName;
  std::string kernelName;
  std::string kernelRelease;
};

enum class VersionLookup {
  kFound,          // the record is filled
  kUnavailable,    // the version service cannot be reached at all
  kNoVersionCall,  // the service is there but offers no version call; nothing is filled
};

// Native processor architecture codes (the Windows numbering).
constexpr int kArchitectureX86 = 0;
constexpr int kArchitectureArm = 5;
constexpr int kArchitectureIa64 = 6;
constexpr int kArchitectureAmd64 = 9;
constexpr int kArchitectureArm64 = 12;
constexpr int kArchitectureUnknown = 0xFFFF;

class HostFacts {
 public:
  virtual ~HostFacts() = default;
  virtual VersionLookup version(VersionRecord& record) = 0;
  // Architecture of the machine (not of this process), one of the codes above.
  virtual int nativeArchitecture() = 0;
  // Logical processors online.
  virtual unsigned long logicalProcessors() = 0;
  // Total physical memory in bytes; false when it cannot be learnt.
  virtual bool totalPhysicalMemory(std::uint64_t& bytes) = 0;
  // The locale the system is configured with, as configured ("en_US.UTF-8"), ""
  // when none is. Returns 0, or the system's error code when the setting exists but
  // cannot be read (name is then untouched).
  virtual long systemLocale(std::string& name) = 0;
  // The host's name. False only when the name service cannot be used at all; a
  // lookup that fails by itself still returns true, with whatever it left.
  virtual bool hostName(std::string& name) = 0;
  // The system's description of an error code, "" for a code it does not know.
  virtual std::string errorText(unsigned long code) = 0;
};

// Separator of the platform's file paths.
extern const char* const kPathSeparator;

}  // namespace platform
