// Used space of a physical disk: the decision logic over fake drives, and loop
// devices with partition tables and file systems made by the test, read for real.
#include <sys/statvfs.h>
#include "support/TestPrelude.h"

#include <utils/DiskProperty.h>

#include "integration/NamespaceSupport.h"
#include "support/ChildProcess.h"
#include "support/ToolRun.h"
#include "utils/SystemTestSupport.h"

using testsupport::gpt;
using testsupport::mbr;
using testsupport::volume;

namespace {

const char kDynamicGPT[] = "AF9B60A0-1431-4F62-BC68-3311714A69AD";

unsigned long usage(const std::string& label) { return utils::DiskProperty::get_instance()->getDiskUsage(label); }

}  // namespace

TEST(DiskUsageTest, SumsTheVolumesBeforeShiftingUnlessTheDiskIsDynamicOrAQueryFails) {
  constexpr std::uint64_t kTiB = std::uint64_t{1} << 40;
  using Partitions = testsupport::FakeDisks::Partitions;
  const Partitions two = {{"p1", {volume(3072, 0)}}, {"p2", {volume(1024, 0)}}};
  const auto one = [](std::vector<platform::VolumeSpace> volumes) { return Partitions{{"p1", volumes}}; };
  const std::vector<platform::PartitionRecord> basic = {mbr(0x07)};
  const struct { const char* label; std::vector<platform::PartitionRecord> layout; Partitions partitions;
                 std::string failure; unsigned long kib; } rows[] = {
      {"Disk 0", basic, one({volume(1023, 0)}), "", 0}, {"Disk 0", basic, one({volume(1024, 0)}), "", 1},
      {"Disk 0", basic, one({volume(3000, 2000), volume(3000, 2500), volume(600, 0)}), "", 2},  // 1000 + 500 + 600 bytes
      {"Disk 0", basic, one({volume(4 * kTiB, 0)}), "", 0},  // 2^32 KiB wraps to 0
      {"Disk 0", basic, one({volume(4 * kTiB - 1024, 0)}), "", 4294967295ul},
      {"Disk 0", basic, one({{true, 4096, false, 0}}), "", 4},  // no free space: all of it used
      {"Disk 0", basic, one({{false, 0, true, 2048}, volume(8192, 0)}), "", 6},  // no size: the sum falls by its free space
      {"Disk 0", basic, one({}), "", 0},  // a partition without a volume
      {"Disk 0", {mbr(0x07), mbr(0x42)}, two, "", 0},  // dynamic MBR
      {"Disk 0", {gpt("EBD0A0A2-B9E5-4433-87C0-68B99B26C7C7"), gpt(kDynamicGPT)}, two, "", 0},
      {"Disk 0", {gpt("42")}, two, "", 4},  // only the GUID counts on GPT
      {"Disk 0", {{platform::kPartitionStyleRaw, 0x42, kDynamicGPT}}, two, "", 4},
      {"Disk 0", {mbr(0x42)}, two, "layout", 4},  // unreadable layout: not dynamic
      {"Disk 0", std::vector<platform::PartitionRecord>(5, mbr(0x07)), two, "", 4},
      {"Disk 0", {mbr(0x07), mbr(0x07), mbr(0x07), mbr(0x07), mbr(0x07), mbr(0x42)}, two, "", 4},  // does not fit
      {"Disk 1", {}, two, "", 5}, {"Disk 2", {}, two, "", 0},  // no such drive
      {"Disk ", {}, two, "", 0},  // exactly five characters
      {"Disk 0", {}, two, "unreachable", 0}, {"Disk 0", {}, two, "drives", 0}, {"Disk 0", {}, two, "partitions", 0},
      {"Disk 0", {}, two, "volumes", 0},  // given up at the second partition
  };
  for (const auto& row : rows) {
    testsupport::ScopedFakeHost host;
    host.drives.addDrive("C:", {}, {{"c1", {volume(9 << 10, 0)}}});  // an id too short to hold a path
    host.drives.addDrive("\\\\.\\PHYSICALDRIVE0", row.layout, row.partitions);
    host.drives.driveList[1].layoutReadable = row.failure != "layout";
    host.drives.addDrive("\\\\.\\PHYSICALDRIVE1", {}, {{"q1", {volume(5120, 0)}}});
    host.drives.reachable = row.failure != "unreachable";
    host.drives.drivesFail = row.failure == "drives";
    if (row.failure == "partitions") host.drives.failingPartitionQuery = "\\\\.\\PHYSICALDRIVE0";
    if (row.failure == "volumes") host.drives.failingVolumeQuery = "p2";
    EXPECT_EQ(row.kib, usage(row.label)) << row.label << " " << row.failure << " " << row.kib;
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
    if (!device.empty() && !std::filesystem::exists(device + "p1")) std::system(("partx -a " + device + " 2>/dev/null").c_str());
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
    const std::string make = "mkfs.ext4 -q -F " + partition + " >/dev/null 2>&1 && mount " + partition + " " + point;
    if (std::system(make.c_str()) != 0) return 3;
    testsupport::writeFile(point + "/data", std::string(300000 * std::stoi(args[i]), 'x'));
    struct statvfs figures {};
    statvfs(point.c_str(), &figures);
    used += (figures.f_blocks - figures.f_bfree) * figures.f_frsize;
  }
  // The loop device's number among the drives: the one whose partitions are its own.
  platform::Disks& disks = platform::host().disks();
  std::vector<std::string> ids, partitions;
  disks.drives(ids);
  std::size_t index = 0;
  while (index < ids.size() && (partitions.clear(), disks.partitions(ids[index], partitions),
                                !std::count(partitions.begin(), partitions.end(), device + "p1"))) ++index;
  std::cout << "library " << usage("Disk " + std::to_string(index)) << " statvfs " << (used >> 10) << "\n";
  return 0;
}

}  // namespace

TEST(DiskPosixTest, LoopDevicesWithTablesOfTheTestsAreMeasured) {
  NSTEST_REQUIRE_ROOT();
  // The table, the partitions mounted, whether the disk is dynamic (its used space 0).
  const std::string linux = ",8M,0FC63DAF-8483-4772-8E79-3D69D8477DE4\n";
  const struct { std::string table; std::vector<std::string> mounted; bool dynamic; } rows[] = {
      {"label: dos\n,8M,83\n,8M,83\n", {"1", "2"}, false}, {"label: dos\n,8M,83\n,8M,42\n", {"1"}, true},
      {"label: gpt\n" + linux, {"1"}, false}, {"label: gpt\n" + linux + ",8M," + kDynamicGPT + "\n", {"1"}, true}};
  for (const auto& row : rows) {
    LoopDisk disk(row.table);
    ASSERT_FALSE(disk.device.empty()) << row.table;
    testsupport::TempInstallation scratch;
    std::vector<std::string> args{disk.device, scratch.root()};
    args.insert(args.end(), row.mounted.begin(), row.mounted.end());
    const testsupport::ChildResult result = testsupport::runChild("loop_disk_usage", args);
    if (result.exitCode == nstest::kNoNamespaces) GTEST_SKIP() << "no private mount namespace";
    unsigned long library = 0, measured = 0;
    ASSERT_EQ(2, std::sscanf(result.output.c_str(), "library %lu statvfs %lu", &library, &measured)) << result.output;
    EXPECT_EQ(row.dynamic ? 0ul : measured, library) << row.table;
    EXPECT_GT(measured, 290ul) << row.table;
  }
}
