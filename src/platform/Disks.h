// Physical disks: their partition tables, partitions and mounted volumes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace platform {

// Partition styles as the layout reports them.
constexpr int kPartitionStyleMBR = 0;
constexpr int kPartitionStyleGPT = 1;
constexpr int kPartitionStyleRaw = 2;

struct PartitionRecord {
  int style = kPartitionStyleRaw;
  unsigned char mbrType = 0;  // MBR partitions: the type byte
  std::string gptType;        // GPT partitions: the type GUID, upper-case, no braces
};

// A mounted volume; a figure the system could not give counts as absent.
struct VolumeSpace {
  bool sizeKnown = false;
  std::uint64_t size = 0;  // bytes
  bool freeKnown = false;
  std::uint64_t free = 0;  // bytes
};

class Disks {
 public:
  virtual ~Disks() = default;
  // The partition records of a drive ("\\.\PHYSICALDRIVE<N>"); false when the drive
  // cannot be opened or its layout read.
  virtual bool layout(const std::string& drivePath, std::vector<PartitionRecord>& records) = 0;
  // Sets up a query session; false when the disk inventory cannot be reached.
  virtual bool connect() = 0;
  virtual void disconnect() = 0;
  // Device ids of every physical drive ("\\\\.\\PHYSICALDRIVE<N>" as the inventory
  // lists them); false when the query fails.
  virtual bool drives(std::vector<std::string>& deviceIds) = 0;
  // Ids of the partitions of a drive, by its id; false when the query fails.
  virtual bool partitions(const std::string& driveId, std::vector<std::string>& partitionIds) = 0;
  // The volumes on a partition; false when the query fails.
  virtual bool volumes(const std::string& partitionId, std::vector<VolumeSpace>& volumes) = 0;
};

// The POSIX disks count loop devices as physical drives too (tests only).
void countLoopDevicesAsDrives(bool count);

}  // namespace platform
