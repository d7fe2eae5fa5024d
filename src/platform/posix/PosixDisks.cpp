// Disks on Linux: physical drive N is the N-th whole disk backed by a device on a
// bus (/sys/block/X/device), in device-number order; partition tables come from
// libblkid, mounted volumes from /proc/self/mountinfo, their space from statvfs.
#include <blkid/blkid.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/posix/PosixFacilities.h"

namespace platform {
namespace {

std::atomic<bool> g_countLoopDevices{false};

}  // namespace

void countLoopDevicesAsDrives(bool count) { g_countLoopDevices.store(count); }

namespace posix {
namespace {

namespace fs = std::filesystem;

const char kDrivePrefix[] = "\\\\.\\PHYSICALDRIVE";

std::string readLine(const fs::path& path) {
  std::ifstream in(path);
  std::string line;
  std::getline(in, line);
  return line;
}

// "major:minor" of a sysfs block entry as a device number; 0 when unreadable.
dev_t deviceNumber(const fs::path& entry) {
  unsigned int major = 0, minor = 0;
  char colon = 0;
  std::istringstream in(readLine(entry / "dev"));
  return in >> major >> colon >> minor && colon == ':' ? makedev(major, minor) : 0;
}

struct BlockDevice {
  std::string name;
  dev_t number = 0;
};

// The physical drives in device-number order.
std::vector<BlockDevice> physicalDrives() {
  std::vector<BlockDevice> drives;
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator("/sys/block", error)) {
    const std::string name = entry.path().filename().string();
    const bool loop = name.rfind("loop", 0) == 0;
    const bool hardware = fs::exists(entry.path() / "device", error) && !loop;
    const bool countedLoop = loop && g_countLoopDevices.load() && !readLine(entry.path() / "loop/backing_file").empty();
    if (!hardware && !countedLoop) continue;
    drives.push_back({name, deviceNumber(entry.path())});
  }
  std::sort(drives.begin(), drives.end(), [](const BlockDevice& a, const BlockDevice& b) { return a.number < b.number; });
  return drives;
}

// The drive behind "\\.\PHYSICALDRIVE<N>"; false when there is none.
bool driveOfPath(const std::string& path, BlockDevice& drive) {
  const std::vector<BlockDevice> drives = physicalDrives();
  for (std::size_t i = 0; i < drives.size(); ++i) {
    if (path == kDrivePrefix + std::to_string(i)) return drive = drives[i], true;
  }
  return false;
}

// The first mount point of every mounted device number.
std::vector<std::pair<dev_t, std::string>> mountPoints() {
  std::vector<std::pair<dev_t, std::string>> found;
  std::ifstream in("/proc/self/mountinfo");
  for (std::string line; std::getline(in, line);) {
    std::istringstream fields(line);
    std::string id, parent, numbers, root, point;
    if (!(fields >> id >> parent >> numbers >> root >> point)) continue;
    unsigned int major = 0, minor = 0;
    if (std::sscanf(numbers.c_str(), "%u:%u", &major, &minor) != 2) continue;
    // Blanks and other special bytes of the path appear as octal escapes.
    std::string unescaped;
    for (std::size_t i = 0; i < point.size(); ++i) {
      if (point[i] == '\\' && i + 3 < point.size() && std::isdigit(static_cast<unsigned char>(point[i + 1]))) {
        unescaped += static_cast<char>(std::stoi(point.substr(i + 1, 3), nullptr, 8));
        i += 3;
      } else {
        unescaped += point[i];
      }
    }
    const dev_t number = makedev(major, minor);
    const bool seen = std::any_of(found.begin(), found.end(), [number](const auto& item) { return item.first == number; });
    if (!seen) found.emplace_back(number, unescaped);
  }
  return found;
}

class PosixDisks final : public Disks {
 public:
  bool layout(const std::string& drivePath, std::vector<PartitionRecord>& records) override {
    BlockDevice drive;
    if (!driveOfPath(drivePath, drive)) return false;
    blkid_probe probe = blkid_new_probe_from_filename(("/dev/" + drive.name).c_str());
    if (probe == nullptr) return false;
    records.clear();
    bool read = blkid_probe_enable_partitions(probe, 1) == 0 &&
                blkid_probe_set_partitions_flags(probe, BLKID_PARTS_ENTRY_DETAILS) == 0 &&
                blkid_do_fullprobe(probe) >= 0;
    blkid_partlist list = read ? blkid_probe_get_partitions(probe) : nullptr;
    const int count = list != nullptr ? blkid_partlist_numof_partitions(list) : 0;
    for (int i = 0; i < count; ++i) {
      blkid_partition partition = blkid_partlist_get_partition(list, i);
      const blkid_parttable table = blkid_partition_get_table(partition);
      const std::string tableType = table != nullptr && blkid_parttable_get_type(table) ? blkid_parttable_get_type(table) : "";
      PartitionRecord record;
      if (tableType == "dos") {
        record.style = kPartitionStyleMBR;
        record.mbrType = static_cast<unsigned char>(blkid_partition_get_type(partition));
      } else if (tableType == "gpt") {
        record.style = kPartitionStyleGPT;
        const char* type = blkid_partition_get_type_string(partition);
        record.gptType = type != nullptr ? type : "";
        for (char& c : record.gptType) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
      }
      records.push_back(record);
    }
    blkid_free_probe(probe);
    return read;
  }

  bool connect() override { return fs::is_directory("/sys/block"); }
  void disconnect() override {}

  bool drives(std::vector<std::string>& deviceIds) override {
    deviceIds.clear();
    const std::size_t count = physicalDrives().size();
    for (std::size_t i = 0; i < count; ++i) deviceIds.push_back(kDrivePrefix + std::to_string(i));
    return true;
  }

  // A drive's partitions are its partition devices, led by the drive itself when a
  // file system sits on the whole disk and is mounted.
  bool partitions(const std::string& driveId, std::vector<std::string>& partitionIds) override {
    BlockDevice drive;
    if (!driveOfPath(driveId, drive)) return false;
    partitionIds.clear();
    const auto mounted = mountPoints();
    if (std::any_of(mounted.begin(), mounted.end(), [&drive](const auto& item) { return item.first == drive.number; })) {
      partitionIds.push_back("/dev/" + drive.name);
    }
    std::vector<std::pair<int, std::string>> numbered;
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator("/sys/block/" + drive.name, error)) {
      if (!fs::exists(entry.path() / "partition", error)) continue;
      numbered.emplace_back(std::atoi(readLine(entry.path() / "partition").c_str()), "/dev/" + entry.path().filename().string());
    }
    std::sort(numbered.begin(), numbered.end());
    for (const auto& item : numbered) partitionIds.push_back(item.second);
    return true;
  }

  bool volumes(const std::string& partitionId, std::vector<VolumeSpace>& volumes) override {
    volumes.clear();
    const std::string name = fs::path(partitionId).filename().string();
    fs::path entry = "/sys/class/block/" + name;
    const dev_t number = deviceNumber(entry);
    if (number == 0) return false;
    for (const auto& [mountedNumber, point] : mountPoints()) {
      if (mountedNumber != number) continue;
      VolumeSpace space;
      struct statvfs figures {};
      if (statvfs(point.c_str(), &figures) == 0) {
        space.sizeKnown = space.freeKnown = true;
        space.size = static_cast<std::uint64_t>(figures.f_blocks) * figures.f_frsize;
        space.free = static_cast<std::uint64_t>(figures.f_bfree) * figures.f_frsize;
      }
      volumes.push_back(space);
    }
    return true;
  }
};

}  // namespace

std::unique_ptr<Disks> makeDisks() { return std::make_unique<PosixDisks>(); }

}  // namespace posix
}  // namespace platform
