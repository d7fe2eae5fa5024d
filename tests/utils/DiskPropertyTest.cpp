// Used space of a physical disk: the decision logic over fake drives, and loop
// devices with partition tables and file systems made by the test, read for real.
#include <sys/statvfs.h>
#include <unistd.h>

#include <utils/DiskProperty.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iostream>

#include "integration/NamespaceSupport.h"
#include "support/ChildProcess.h"
#include "support/ToolRun.h"
#include "utils/SystemTestSupport.h"

using systemtest::FakeHostTest;
using testsupport::gpt;
using testsupport::mbr;
using testsupport::volume;

namespace {

const char kDrive0[] = "\\\\.\\PHYSICALDRIVE0";
const char kDrive1[] = "\\\\.\\PHYSICALDRIVE1";
const char kDynamicGPT[] = "AF9B60A0-1431-4F62-BC68-3311714A69AD";
const char kBasicGPT[] = "EBD0A0A2-B9E5-4433-87C0-68B99B26C7C7";

unsigned long usage(const std::string& label) { return utils::DiskProperty::get_instance()->getDiskUsage(label); }

}  // namespace

TEST_F(FakeHostTest, DiskUsageSumsTheVolumesBeforeShifting) {
  constexpr std::uint64_t kTiB = std::uint64_t{1} << 40;
  const struct { std::vector<platform::VolumeSpace> volumes; unsigned long kib; } rows[] = {
      {{volume(1023, 0)}, 0},
      {{volume(1024, 0)}, 1},
      {{volume(3000, 2000), volume(3000, 2500), volume(600, 0)}, 2},  // 1000 + 500 + 600 bytes
      {{volume(4 * kTiB, 0)}, 0},  // 2^32 KiB wraps to 0
      {{volume(4 * kTiB - 1024, 0)}, 4294967295ul},
      {{volume(5 * kTiB + 2048, 0)}, 1073741826ul},
      {{{true, 4096, false, 0}}, 4},                // no free space: all of it used
      {{{false, 0, true, 2048}, volume(8192, 0)}, 6},  // no size: the sum falls by its free space
      {{}, 0},                                      // a partition without a volume
  };
  for (const auto& row : rows) {
    testsupport::ScopedFakeHost host;
    host.drives.addDrive(kDrive0, {mbr(0x07)}, {{"p1", row.volumes}});
    EXPECT_EQ(row.kib, usage("Disk 0")) << row.kib;
  }
}

TEST_F(FakeHostTest, DiskUsageFollowsTheDrivesLayoutAndQueries) {
  const struct { const char* label; std::vector<platform::PartitionRecord> layout; bool layoutReadable;
                 std::string failure; unsigned long kib; } rows[] = {
      {"Disk 0", {mbr(0x07), mbr(0x42)}, true, "", 0},    // dynamic MBR
      {"Disk 0", {gpt(kBasicGPT), gpt(kDynamicGPT)}, true, "", 0},
      {"Disk 0", {gpt("42")}, true, "", 4},               // only the GUID counts on GPT
      {"Disk 0", {{platform::kPartitionStyleRaw, 0x42, kDynamicGPT}}, true, "", 4},
      {"Disk 0", {mbr(0x42)}, false, "", 4},               // unreadable layout: not dynamic
      {"Disk 0", std::vector<platform::PartitionRecord>(5, mbr(0x07)), true, "", 4},
      {"Disk 0", {mbr(0x07), mbr(0x07), mbr(0x07), mbr(0x07), mbr(0x07), mbr(0x42)}, true, "", 4},  // does not fit
      {"Disk 1", {}, true, "", 5},
      {"Disk 2", {}, true, "", 0},  // no such drive
      {"Disk ", {}, true, "", 0},   // exactly five characters
      {"Disk 0", {}, true, "unreachable", 0},
      {"Disk 0", {}, true, "drives", 0},
      {"Disk 0", {}, true, "partitions", 0},
      {"Disk 0", {}, true, "volumes", 0},  // given up at the second partition
  };
  for (const auto& row : rows) {
    testsupport::ScopedFakeHost host;
    host.drives.addDrive(kDrive0, row.layout, {{"p1", {volume(3072, 0)}}, {"p2", {volume(1024, 0)}}});
    host.drives.driveList[0].layoutReadable = row.layoutReadable;
    host.drives.addDrive(kDrive1, {}, {{"q1", {volume(5120, 0)}}});
    host.drives.reachable = row.failure != "unreachable";
    host.drives.drivesFail = row.failure == "drives";
    if (row.failure == "partitions") host.drives.failingPartitionQuery = kDrive0;
    if (row.failure == "volumes") host.drives.failingVolumeQuery = "p2";
    EXPECT_EQ(row.kib, usage(row.label)) << row.label << " " << row.failure;
    // Closed after every connection that was made, and only then.
    EXPECT_EQ(row.failure == "unreachable" ? 0 : host.drives.connections, host.drives.disconnections);
  }
  EXPECT_THROW(usage("Disk"), std::out_of_range);
}

namespace {

// Root scenery: a loop device over an image of the test's own with a partition
// table, detached by the destructor; an empty device when it could not be made.
struct LoopDisk {
  explicit LoopDisk(const std::string& table) {
    if (std::system(("truncate -s 24M " + image + " && printf '%s' '" + table + "' | sfdisk -q " + image +
                     " >/dev/null 2>&1").c_str()) != 0) return;
    device = testsupport::commandOutput("losetup -P --find --show " + image + " | tr -d '\\n'");
    // Where the kernel's own scan of the table is not done, partx adds the partitions.
    if (!device.empty() && !std::filesystem::exists(device + "p1")) {
      std::system(("partx -a " + device + " >/dev/null 2>&1").c_str());
    }
    if (!std::filesystem::exists(device + "p1")) device.clear();
  }
  ~LoopDisk() {
    if (!device.empty()) std::system(("losetup -d " + device).c_str());
    std::remove(image.c_str());
  }
  std::string image = "/tmp/nv13-" + std::to_string(getpid()) + ".img", device;
};

// In a private mount namespace, whose mounts go with it: mounts the loop device's
// partitions given after the device and a directory for the mount points (mkfs
// first), then prints the library's answer and statvfs's sum.
NORVANE_CHILD(loop_disk_usage) {
  if (!nstest::enterPrivateMounts()) return nstest::kNoNamespaces;
  platform::countLoopDevicesAsDrives(true);
  const std::string device = args.at(0);
  std::uint64_t used = 0;
  for (std::size_t i = 2; i < args.size(); ++i) {
    const std::string partition = device + "p" + args[i], point = args[1] + "/mnt" + args[i];
    std::filesystem::create_directories(point);
    if (std::system(("mkfs.ext4 -q -F " + partition + " >/dev/null 2>&1 && mount " + partition + " " + point).c_str()) != 0) return 3;
    testsupport::writeFile(point + "/data", std::string(300000 * std::stoi(args[i]), 'x'));
    struct statvfs figures {};
    statvfs(point.c_str(), &figures);
    used += (figures.f_blocks - figures.f_bfree) * figures.f_frsize;
  }
  // The loop device's number among the drives: the one whose partitions are its own.
  std::vector<std::string> ids;
  platform::host().disks().drives(ids);
  int index = -1;
  for (std::size_t i = 0; i < ids.size() && index < 0; ++i) {
    std::vector<std::string> partitions;
    platform::host().disks().partitions(ids[i], partitions);
    if (std::count(partitions.begin(), partitions.end(), device + "p1")) index = static_cast<int>(i);
  }
  std::vector<platform::PartitionRecord> records;
  platform::host().disks().layout("\\\\.\\PHYSICALDRIVE" + std::to_string(index), records);
  std::cout << "records";
  for (const auto& record : records) std::cout << " " << record.style << ":" << int(record.mbrType) << ":" << record.gptType;
  std::cout << "\nlibrary " << usage("Disk " + std::to_string(index)) << " statvfs " << (used >> 10) << "\n";
  return 0;
}

}  // namespace

TEST(DiskPosixTest, LoopDevicesWithTablesOfTheTestsAreMeasured) {
  NSTEST_REQUIRE_ROOT();
  const struct { const char* tag; std::string table; std::vector<std::string> mounted; std::string records; bool dynamic; } rows[] = {
      {"mbr", "label: dos\n,8M,83\n,8M,83\n", {"1", "2"}, "records 0:131: 0:131:\n", false},
      {"mbrdyn", "label: dos\n,8M,83\n,8M,42\n", {"1"}, "records 0:131: 0:66:\n", true},
      {"gpt", "label: gpt\n,8M,0FC63DAF-8483-4772-8E79-3D69D8477DE4\n", {"1"},
       "records 1:0:0FC63DAF-8483-4772-8E79-3D69D8477DE4\n", false},
      {"gptdyn", std::string("label: gpt\n,8M,0FC63DAF-8483-4772-8E79-3D69D8477DE4\n,8M,") + kDynamicGPT + "\n", {"1"},
       std::string("records 1:0:0FC63DAF-8483-4772-8E79-3D69D8477DE4 1:0:") + kDynamicGPT + "\n", true},
  };
  for (const auto& row : rows) {
    LoopDisk disk(row.table);
    ASSERT_FALSE(disk.device.empty()) << row.tag;
    testsupport::TempInstallation scratch;
    std::vector<std::string> args{disk.device, scratch.root()};
    args.insert(args.end(), row.mounted.begin(), row.mounted.end());
    const testsupport::ChildResult result = testsupport::runChild("loop_disk_usage", args);
    if (result.exitCode == nstest::kNoNamespaces) GTEST_SKIP() << "no private mount namespace";
    ASSERT_EQ(0, result.exitCode) << result.output;
    ASSERT_EQ(0u, result.output.find(row.records)) << result.output;
    unsigned long library = 0, measured = 0;
    ASSERT_EQ(2, std::sscanf(result.output.c_str() + row.records.size(), "library %lu statvfs %lu", &library, &measured))
        << result.output;
    EXPECT_EQ(row.dynamic ? 0ul : measured, library) << row.tag;
    EXPECT_GT(measured, 290ul) << row.tag;
  }
}
