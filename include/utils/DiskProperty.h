// How much of a physical disk's volumes is used.
#pragma once

#include <NorvaneExport.h>

#include <string>

namespace utils {

class NORVANE_API DiskProperty {
 public:
  // The DiskPropertyWin singleton.
  static DiskProperty* get_instance();

  // diskName is a label whose first five characters are skipped and whose rest is
  // the drive's number ("Disk 0" is drive 0; on Linux drive N is the N-th whole disk
  // backed by hardware in device-number order). The used space of the drive's
  // mounted volumes in KiB, cut to 32 bits; 0 for a dynamic disk or when the drive
  // cannot be queried. A label under five characters throws std::out_of_range.
  virtual unsigned long getDiskUsage(const std::string& diskName) = 0;

 protected:
  DiskProperty() = default;
  DiskProperty(const DiskProperty&) = default;
  DiskProperty& operator=(const DiskProperty&) = default;
  ~DiskProperty() = default;  // a singleton, never deleted through this class
};

}  // namespace utils
