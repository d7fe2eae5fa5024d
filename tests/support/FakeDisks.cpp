#include "support/FakeDisks.h"

namespace testsupport {

bool FakeDisks::layout(const std::string& drivePath, std::vector<platform::PartitionRecord>& records) {
  for (const Drive& drive : driveList) {
    if (drive.id == drivePath && drive.layoutReadable) return records = drive.layout, true;
  }
  return false;
}

bool FakeDisks::drives(std::vector<std::string>& deviceIds) {
  if (drivesFail) return false;
  for (const Drive& drive : driveList) deviceIds.push_back(drive.id);
  return true;
}

bool FakeDisks::partitions(const std::string& driveId, std::vector<std::string>& partitionIds) {
  if (driveId == failingPartitionQuery) return false;
  for (const Drive& drive : driveList) {
    if (drive.id != driveId) continue;
    for (const auto& partition : drive.partitions) partitionIds.push_back(partition.first);
  }
  return true;
}

bool FakeDisks::volumes(const std::string& partitionId, std::vector<platform::VolumeSpace>& volumes) {
  if (partitionId == failingVolumeQuery) return false;
  for (const Drive& drive : driveList) {
    for (const auto& partition : drive.partitions) {
      if (partition.first == partitionId) volumes.insert(volumes.end(), partition.second.begin(), partition.second.end());
    }
  }
  return true;
}

platform::PartitionRecord mbr(unsigned char type) { return {platform::kPartitionStyleMBR, type, ""}; }
platform::PartitionRecord gpt(const std::string& type) { return {platform::kPartitionStyleGPT, 0, type}; }
platform::VolumeSpace volume(std::uint64_t size, std::uint64_t free) { return {true, size, true, free}; }

}  // namespace testsupport
