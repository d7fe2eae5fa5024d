#include "platform/posix/PosixHostFacts.h"

#include <fcntl.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "platform/posix/PosixFacilities.h"

namespace platform {

const char* const kPathSeparator = "/";

namespace posix {
namespace {

std::string trimmed(const std::string& text) {
  const auto first = text.find_first_not_of(" \t\r");
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

std::string unquoted(const std::string& raw) {
  if (raw.size() < 2 || (raw.front() != '"' && raw.front() != '\'') || raw.back() != raw.front()) return raw;
  const std::string inner = raw.substr(1, raw.size() - 2);
  if (raw.front() == '\'') return inner;
  std::string value;
  for (std::size_t i = 0; i < inner.size(); ++i) {
    if (inner[i] == '\\' && i + 1 < inner.size()) ++i;
    value += inner[i];
  }
  return value;
}

bool startsWith(const std::string& text, const char* prefix) {
  return text.compare(0, std::strlen(prefix), prefix) == 0;
}

class PosixHostFacts final : public HostFacts {
 public:
  VersionLookup version(VersionRecord& record) override {
    struct utsname names {};
    if (uname(&names) != 0) return VersionLookup::kUnavailable;
    record.platformId = kPlatformLinux;
    record.kernelName = names.sysname;
    record.kernelRelease = names.release;
    // The distribution's own file first, the vendor's copy when it has none.
    std::map<std::string, std::string> release;
    if (readAssignments("/etc/os-release", release) != 0) readAssignments("/usr/lib/os-release", release);
    record.distributionPrettyName = release["PRETTY_NAME"];
    record.distributionName = release["NAME"];
    return VersionLookup::kFound;
  }

  int nativeArchitecture() override {
    struct utsname names {};
    return uname(&names) == 0 ? architectureCode(names.machine) : kArchitectureUnknown;
  }

  unsigned long logicalProcessors() override {
    const long online = sysconf(_SC_NPROCESSORS_ONLN);
    return online > 0 ? static_cast<unsigned long>(online) : 0;
  }

  bool totalPhysicalMemory(std::uint64_t& bytes) override {
    std::ifstream meminfo("/proc/meminfo");
    for (std::string line; std::getline(meminfo, line);) {
      std::istringstream fields(line);
      std::string key, unit;
      std::uint64_t kibibytes = 0;
      if (fields >> key >> kibibytes >> unit && key == "MemTotal:" && unit == "kB") {
        bytes = kibibytes * 1024;
        return true;
      }
    }
    const long pages = sysconf(_SC_PHYS_PAGES), pageSize = sysconf(_SC_PAGESIZE);
    if (pages <= 0 || pageSize <= 0) return false;
    bytes = static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize);
    return true;
  }

  long systemLocale(std::string& name) override {
    return readConfiguredLocale({"/etc/default/locale", "/etc/locale.conf"}, name);
  }

  bool hostName(std::string& name) override {
    char buffer[256] = {};
    gethostname(buffer, sizeof buffer - 1);  // a failure leaves the buffer as it was
    name = buffer;
    return true;
  }

  std::string errorText(unsigned long code) override {
    if (code > 0x7fffffffUL || strerrordesc_np(static_cast<int>(code)) == nullptr) return "";
    char buffer[256];
    return strerror_r(static_cast<int>(code), buffer, sizeof buffer);
  }
};

}  // namespace

int architectureCode(const std::string& machine) {
  if (machine == "x86_64" || machine == "amd64") return kArchitectureAmd64;
  if (machine.size() == 4 && machine[0] == 'i' && machine.compare(2, 2, "86") == 0 && machine[1] >= '3' &&
      machine[1] <= '6') {
    return kArchitectureX86;
  }
  if (machine == "aarch64" || machine == "arm64") return kArchitectureArm64;
  if (startsWith(machine, "arm")) return kArchitectureArm;
  if (machine == "ia64") return kArchitectureIa64;
  return kArchitectureUnknown;
}

long readAssignments(const std::string& path, std::map<std::string, std::string>& values) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return errno;
  std::string text;
  char chunk[4096];
  for (;;) {
    const ssize_t got = read(fd, chunk, sizeof chunk);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      const long error = errno;
      close(fd);
      return error;
    }
    if (got == 0) break;
    text.append(chunk, static_cast<std::size_t>(got));
  }
  close(fd);
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    line = trimmed(line);
    if (startsWith(line, "export ")) line = trimmed(line.substr(7));
    const auto equals = line.find('=');
    if (line.empty() || line[0] == '#' || equals == std::string::npos || equals == 0) continue;
    values[line.substr(0, equals)] = unquoted(trimmed(line.substr(equals + 1)));
  }
  return 0;
}

long readConfiguredLocale(const std::vector<std::string>& files, std::string& name) {
  for (const std::string& file : files) {
    std::map<std::string, std::string> values;
    const long status = readAssignments(file, values);
    if (status == ENOENT || status == ENOTDIR) continue;
    if (status != 0) return status;
    const auto lang = values.find("LANG");
    if (lang != values.end() && !lang->second.empty()) {
      name = lang->second;
      return 0;
    }
  }
  name.clear();
  return 0;
}

std::unique_ptr<HostFacts> makeHostFacts() { return std::make_unique<PosixHostFacts>(); }

}  // namespace posix
}  // namespace platform
