// The platform's DiskProperty: a raw look at the partition table rules out dynamic
// disks, then the drive's partitions and their mounted volumes give the used space.
#pragma once

#include <NorvaneExport.h>
#include <utils/DiskProperty.h>

#include <string>

namespace utils {

class NORVANE_API DiskPropertyWin : public DiskProperty {
 public:
  static DiskPropertyWin* get_instance();
  unsigned long getDiskUsage(const std::string& diskName) override;

 private:
  DiskPropertyWin() = default;

  bool isDiskDynamic(const std::string& path);
  unsigned long wmiGetDiskUsage(const std::wstring& path);
  // The drive's total volume size in KiB, the twin of wmiGetDiskUsage; unused.
  unsigned long wmiGetDiskSpace(const std::wstring& path);
  std::wstring StringToWString(const std::string& text);
};

}  // namespace utils
