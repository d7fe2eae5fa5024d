// Disks a test describes: drives by id with their layout, partitions and volumes,
// and which query fails.
//
//   fake.drives.addDrive("\\\\.\\PHYSICALDRIVE0", {mbr(0x07)}, {{"p1", {volume(5000, 1000)}}});
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/Disks.h"

namespace testsupport {

class FakeDisks : public platform::Disks {
 public:
  struct Drive {
    std::string id;
    bool layoutReadable = true;
    std::vector<platform::PartitionRecord> layout;
    std::vector<std::pair<std::string, std::vector<platform::VolumeSpace>>> partitions;
  };
  std::vector<Drive> driveList;
  bool reachable = true, drivesFail = false;
  std::string failingPartitionQuery, failingVolumeQuery;  // an id whose query fails
  int connections = 0, disconnections = 0;

  void addDrive(const std::string& id, std::vector<platform::PartitionRecord> layout,
                std::vector<std::pair<std::string, std::vector<platform::VolumeSpace>>> partitions) {
    driveList.push_back({id, true, std::move(layout), std::move(partitions)});
  }

  bool layout(const std::string& drivePath, std::vector<platform::PartitionRecord>& records) override;
  bool connect() override { return ++connections, reachable; }
  void disconnect() override { ++disconnections; }
  bool drives(std::vector<std::string>& deviceIds) override;
  bool partitions(const std::string& driveId, std::vector<std::string>& partitionIds) override;
  bool volumes(const std::string& partitionId, std::vector<platform::VolumeSpace>& volumes) override;
};

platform::PartitionRecord mbr(unsigned char type);
platform::PartitionRecord gpt(const std::string& type);
platform::VolumeSpace volume(std::uint64_t size, std::uint64_t free);

}  // namespace testsupport
