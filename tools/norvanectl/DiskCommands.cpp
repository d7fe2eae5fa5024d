// Used space of the physical disks, as clients of the library see it.
#include <utils/DiskProperty.h>
#include <utils/Log.h>

#include <filesystem>
#include <fstream>

#include "Command.h"

namespace norvanectl {
namespace {

// Physical disks as the library counts them: whole disks backed by a device.
std::size_t physicalDiskCount() {
  std::size_t count = 0;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/sys/block", error)) {
    const std::string name = entry.path().filename().string();
    if (name.rfind("loop", 0) != 0 && std::filesystem::exists(entry.path() / "device", error)) ++count;
  }
  return count;
}

// The library answers 0 KiB for any label it cannot use, which would pass for an
// empty disk; the tool names the disks there are instead.
std::string whyNoSuchDisk(const std::string& label, std::size_t count) {
  const std::string number = label.substr(5);
  const bool digits = !number.empty() && number.size() <= 9 &&
                      number.find_first_not_of("0123456789") == std::string::npos;
  if (digits && std::stoul(number) < count) return "";
  std::string known = count == 0 ? "none" : count == 1 ? "Disk 0" : "Disk 0 to Disk " + std::to_string(count - 1);
  return "no disk '" + label + "' on this machine (its physical disks: " + known + ")";
}

int runDiskUsage(Invocation& call) {
  const Command& self = *findCommand("disk-usage");
  if (call.args.size() > 1) return usageError(call, self, "disk-usage takes at most one DISK");
  utils::DiskProperty& disks = *utils::DiskProperty::get_instance();
  const std::size_t count = physicalDiskCount();
  if (call.args.size() == 1) {
    if (call.args[0].size() < 5) return usageError(call, self, "DISK must be a label such as 'Disk 0'");
    const std::string missing = whyNoSuchDisk(call.args[0], count);
    if (!missing.empty()) return failure(call, missing);
    call.out << call.args[0] << ": " << disks.getDiskUsage(call.args[0]) << " KiB used\n";
  } else {
    for (std::size_t i = 0; i < count; ++i) {
      const std::string label = "Disk " + std::to_string(i);
      call.out << label << ": " << disks.getDiskUsage(label) << " KiB used\n";
    }
  }
  utils::formatted_log_t::uninitializeLogger();
  return kOk;
}

}  // namespace
}  // namespace norvanectl

NORVANECTL_COMMANDS(disk) {
  using norvanectl::Command;
  return {
      Command{"disk-usage", "disk", "show the used KiB of the physical disks' mounted volumes", "disk-usage [DISK]",
              "DISK is a label whose first five characters are skipped and whose rest is the\n"
              "disk's number, as 'Disk 0'. Disk N is the N-th whole disk backed by hardware (not\n"
              "loop, ram, zram or device-mapper devices) in device-number order. Without DISK,\n"
              "every physical disk is shown. The figure is the used space of the disk's mounted\n"
              "volumes (size less free blocks) in KiB, cut to 32 bits; a dynamic disk and a disk\n"
              "that cannot be read show 0.\n\n"
              "Exit status: 0 shown; 1 the machine has no such DISK; 2 wrong usage.\n",
              norvanectl::runDiskUsage},
  };
}
