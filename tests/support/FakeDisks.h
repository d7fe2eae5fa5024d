// Disks a test describes: drives by id with their layout, partitions and volumes,
// and which query fails.
//
//   fake.drives.addDrive("\\\\.\\PHYSICALDRIVE0", {mbr(0x07)}, {{"p1", {volume(5000, 1000)}}});
#pragma once

#include "support/TestPrelude.h"

#include "platform/Disks.h"

namespace testsupport {

struct FakeDisks : platform::Disks {
  using Partitions = std::vector<std::pair<std::string, std::vector<platform::VolumeSpace>>>;
  struct Drive { std::string id; bool layoutReadable; std::vector<platform::PartitionRecord> layout; Partitions partitions; };
  std::vector<Drive> driveList;
  bool reachable = true, drivesFail = false;
  std::string failingPartitionQuery, failingVolumeQuery;  // an id whose query fails
  int connections = 0, disconnections = 0;

  void addDrive(const std::string& id, std::vector<platform::PartitionRecord> layout, Partitions partitions) {
    driveList.push_back({id, true, std::move(layout), std::move(partitions)});
  }

  bool layout(const std::string& drivePath, std::vector<platform::PartitionRecord>& records) override {
    for (const Drive& drive : driveList)
      if (drive.id == drivePath && drive.layoutReadable) return records = drive.layout, true;
    return false;
  }
  bool connect() override { return ++connections, reachable; }
  void disconnect() override { ++disconnections; }
  bool drives(std::vector<std::string>& deviceIds) override {
    for (const Drive& drive : driveList) deviceIds.push_back(drive.id);
    return !drivesFail;
  }
  bool partitions(const std::string& driveId, std::vector<std::string>& partitionIds) override {
    for (const Drive& drive : driveList)
      for (const auto& partition : drive.partitions)
        if (drive.id == driveId) partitionIds.push_back(partition.first);
    return driveId != failingPartitionQuery;
  }
  bool volumes(const std::string& partitionId, std::vector<platform::VolumeSpace>& volumes) override {
    for (const Drive& drive : driveList)
      for (const auto& [id, found] : drive.partitions)
        if (id == partitionId) volumes.insert(volumes.end(), found.begin(), found.end());
    return partitionId != failingVolumeQuery;
  }
};

inline platform::PartitionRecord mbr(unsigned char type) { return {platform::kPartitionStyleMBR, type, ""}; }
inline platform::PartitionRecord gpt(const std::string& type) { return {platform::kPartitionStyleGPT, 0, type}; }
inline platform::VolumeSpace volume(std::uint64_t size, std::uint64_t free) { return {true, size, true, free}; }

}  // namespace testsupport
