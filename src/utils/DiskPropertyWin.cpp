#include <utils/DiskPropertyWin.h>

#include <cstdint>
#include <functional>
#include <vector>

#include "platform/Host.h"

namespace utils {
namespace {

// The layout is read into 768 bytes: a 48-byte header and 144 bytes a record, so a
// drive with more than five records cannot be read and counts as not dynamic.
constexpr std::size_t kLayoutBufferBytes = 768, kLayoutHeaderBytes = 48, kLayoutRecordBytes = 144;
constexpr std::size_t kLayoutRecordsThatFit = (kLayoutBufferBytes - kLayoutHeaderBytes) / kLayoutRecordBytes;

constexpr unsigned char kDynamicMBRType = 0x42;
const char kDynamicGPTType[] = "AF9B60A0-1431-4F62-BC68-3311714A69AD";

std::string narrow(const std::wstring& text) {
  std::string bytes;
  for (wchar_t unit : text) bytes += static_cast<char>(unit);
  return bytes;
}

// The sum over the matching drive's volumes of what `amount` gives each, in KiB cut
// to 32 bits. A later matching drive overwrites the result; a failed partition
// query gives up at once with the result as it stands.
unsigned long sumOverDrive(const std::string& path, const std::function<std::int64_t(const platform::VolumeSpace&)>& amount) {
  platform::Disks& disks = platform::host().disks();
  unsigned long result = 0;
  if (!disks.connect()) return 0;
  std::vector<std::string> drives;
  if (disks.drives(drives)) {
    for (const std::string& deviceId : drives) {
      const std::string stripped = deviceId.size() > 4 ? deviceId.substr(4) : "";
      if ("\\\\.\\" + stripped != path) continue;
      std::vector<std::string> partitions;
      if (!disks.partitions("\\\\.\\" + stripped, partitions)) break;
      std::int64_t sum = 0;
      bool givenUp = false;
      for (const std::string& partitionId : partitions) {
        std::vector<platform::VolumeSpace> volumes;
        if (!disks.volumes(partitionId, volumes)) {
          givenUp = true;
          break;
        }
        for (const platform::VolumeSpace& volume : volumes) {
          sum = static_cast<std::int64_t>(static_cast<std::uint64_t>(sum) + static_cast<std::uint64_t>(amount(volume)));
        }
      }
      if (givenUp) break;
      result = static_cast<std::uint32_t>(static_cast<std::uint64_t>(sum) >> 10);
    }
  }
  disks.disconnect();
  return result;
}

}  // namespace

DiskProperty* DiskProperty::get_instance() { return DiskPropertyWin::get_instance(); }

DiskPropertyWin* DiskPropertyWin::get_instance() {
  static DiskPropertyWin instance;
  return &instance;
}

unsigned long DiskPropertyWin::getDiskUsage(const std::string& diskName) {
  const std::string path = "\\\\.\\PHYSICALDRIVE" + diskName.substr(5);
  const std::wstring widePath = StringToWString(path);
  if (isDiskDynamic(path)) return 0;
  return static_cast<std::uint32_t>(wmiGetDiskUsage(widePath));
}

bool DiskPropertyWin::isDiskDynamic(const std::string& path) {
  std::vector<platform::PartitionRecord> records;
  if (!platform::host().disks().layout(narrow(StringToWString(path)), records)) return false;
  if (records.size() > kLayoutRecordsThatFit) return false;
  for (const platform::PartitionRecord& record : records) {
    if (record.style == platform::kPartitionStyleMBR && record.mbrType == kDynamicMBRType) return true;
    if (record.style == platform::kPartitionStyleGPT && record.gptType == kDynamicGPTType) return true;
  }
  return false;
}

unsigned long DiskPropertyWin::wmiGetDiskUsage(const std::wstring& path) {
  return sumOverDrive(narrow(path), [](const platform::VolumeSpace& volume) {
    const std::int64_t free = volume.freeKnown ? static_cast<std::int64_t>(volume.free) : 0;
    const std::int64_t size = volume.sizeKnown ? static_cast<std::int64_t>(volume.size) : 0;
    return size - free;
  });
}

unsigned long DiskPropertyWin::wmiGetDiskSpace(const std::wstring& path) {
  return sumOverDrive(narrow(path), [](const platform::VolumeSpace& volume) {
    return volume.sizeKnown ? static_cast<std::int64_t>(volume.size) : std::int64_t{0};
  });
}

std::wstring DiskPropertyWin::StringToWString(const std::string& text) {
  std::wstring wide;
  for (char byte : text) wide += static_cast<wchar_t>(static_cast<unsigned char>(byte));
  return wide;
}

}  // namespace utils
