#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "platform/posix/PosixFacilities.h"

namespace platform::posix {
namespace {

class PosixFileSystem final : public FileSystem {
 public:
  bool listDirectory(const std::string& directory, std::vector<DirectoryEntry>& entries) override {
    DIR* dir = opendir(directory.c_str());
    if (dir == nullptr) return false;
    entries.clear();
    while (struct dirent* item = readdir(dir)) {
      if (std::strcmp(item->d_name, ".") == 0 || std::strcmp(item->d_name, "..") == 0) continue;
      DirectoryEntry entry;
      entry.name = item->d_name;
      struct stat info {};
      std::string full = directory + "/" + entry.name;
      if (stat(full.c_str(), &info) == 0) {
        entry.isDirectory = S_ISDIR(info.st_mode);
        entry.lastWriteTime = static_cast<std::int64_t>(info.st_mtime);
      }
      entries.push_back(std::move(entry));
    }
    closedir(dir);
    return true;
  }

  bool removeFile(const std::string& path) override { return unlink(path.c_str()) == 0; }
};

}  // namespace

std::unique_ptr<FileSystem> makeFileSystem() { return std::make_unique<PosixFileSystem>(); }

}  // namespace platform::posix
