#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <mutex>
#include <system_error>
#include <vector>
#include <filesystem>

#include "platform/posix/PosixFacilities.h"

namespace platform {
namespace {

std::mutex g_rootMutex;
std::string g_root = "/etc/kestrane/registry";

// "SOFTWARE\Kestrane\Norvane" -> "<root>/SOFTWARE/Kestrane/Norvane"
std::string keyDirectory(const std::string& keyPath) {
  std::string relative = keyPath;
  std::replace(relative.begin(), relative.end(), '\\', '/');
  return machineStoreRoot() + "/" + relative;
}

}  // namespace

void setMachineStoreRoot(const std::string& root) {
  std::lock_guard<std::mutex> hold(g_rootMutex);
  g_root = root;
}

std::string machineStoreRoot() {
  std::lock_guard<std::mutex> hold(g_rootMutex);
  return g_root;
}

namespace posix {
namespace {

constexpr long kNotFound = ENOENT;
constexpr long kMoreData = 234;  // the query's status for a value too long for the buffer

class PosixMachineStore final : public MachineStore {
 public:
  long openKey(const std::string& keyPath) override {
    struct stat info {};
    if (stat(keyDirectory(keyPath).c_str(), &info) != 0) return errno != 0 ? errno : kNotFound;
    return S_ISDIR(info.st_mode) ? 0 : kNotFound;
  }

  long queryString(const std::string& keyPath, const std::string& valueName, std::string& value,
                   std::size_t bufferBytes) override {
    const std::string file = keyDirectory(keyPath) + "/" + valueName;
    struct stat info {};
    if (stat(file.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return kNotFound;
    std::ifstream in(file, std::ios::binary);
    if (!in) return kNotFound;
    // Read no more than can matter: the buffer and one line end (two bytes for CRLF)
    // past it, so that an oversized file is refused without loading it.
    std::string read(bufferBytes + 3, '\0');
    in.read(&read[0], static_cast<std::streamsize>(read.size()));
    if (in.bad()) return EIO;
    read.resize(static_cast<std::size_t>(in.gcount()));
    // One trailing line end is the file's, not the value's.
    if (!read.empty() && read.back() == '\n') read.pop_back();
    if (!read.empty() && read.back() == '\r') read.pop_back();
    if (read.size() > bufferBytes) return kMoreData;
    value = read;
    return 0;
  }

  long setString(const std::string& keyPath, const std::string& valueName,
                 const std::string& value) override {
    const std::string directory = keyDirectory(keyPath);
    if (const long status = createKeyDirectories(directory)) return status;
    // Readable by every user whose programs look for the installation, writable by
    // its owner alone, whatever the umask; replaced whole, so a reader never finds a
    // half-written path.
    std::string reason;
    if (!makeFileSystem()->writeWholeFile(directory + "/" + valueName, value + '\n', 0644, reason)) {
      return errno != 0 ? errno : EIO;
    }
    return 0;
  }

 private:
  // Creates the missing levels of the key's directory with mode 0755.
  static long createKeyDirectories(const std::string& directory) {
    std::vector<std::string> missing;
    // The file system's root always exists, so the walk stops there at the latest.
    for (std::filesystem::path level(directory); !level.empty(); level = level.parent_path()) {
      std::error_code error;
      if (std::filesystem::exists(level, error)) break;
      missing.push_back(level.string());
    }
    for (auto level = missing.rbegin(); level != missing.rend(); ++level) {
      if (mkdir(level->c_str(), 0755) != 0 && errno != EEXIST) return errno;
      if (chmod(level->c_str(), 0755) != 0) return errno;
    }
    return 0;
  }
};

}  // namespace

std::unique_ptr<MachineStore> makeMachineStore() { return std::make_unique<PosixMachineStore>(); }

}  // namespace posix
}  // namespace platform
