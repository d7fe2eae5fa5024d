#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
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
        entry.lastWriteTimeNanoseconds = static_cast<std::int64_t>(info.st_mtim.tv_sec) * 1000000000 +
                                         static_cast<std::int64_t>(info.st_mtim.tv_nsec);
      }
      entries.push_back(std::move(entry));
    }
    closedir(dir);
    return true;
  }

  bool removeFile(const std::string& path) override { return unlink(path.c_str()) == 0; }

  bool renameFile(const std::string& from, const std::string& to) override {
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
    if (errno != EINVAL && errno != ENOSYS) return false;
    // A file system without the no-replace flag: a hard link fails on an existing
    // target just the same.
    if (link(from.c_str(), to.c_str()) != 0) return false;
    return unlink(from.c_str()) == 0;
  }

  bool describeOpenFile(std::FILE* stream, OpenFileFacts& facts) override {
    struct stat info {};
    if (stream == nullptr || fstat(fileno(stream), &info) != 0) return false;
    facts.device = static_cast<std::uint64_t>(info.st_dev);
    facts.inode = static_cast<std::uint64_t>(info.st_ino);
    facts.size = static_cast<std::int64_t>(info.st_size);
    return true;
  }

  std::FILE* openLogFile(const std::string& path, bool empty) override {
    const int fd = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | (empty ? O_TRUNC : 0), 0640);
    if (fd < 0) return nullptr;
    std::FILE* stream = fdopen(fd, "ab");
    if (stream == nullptr) close(fd);
    return stream;
  }
};

}  // namespace

std::unique_ptr<FileSystem> makeFileSystem() { return std::make_unique<PosixFileSystem>(); }

}  // namespace platform::posix

namespace platform {

bool FileSystem::describeOpenFile(std::FILE* stream, OpenFileFacts& facts) {
  return posixHost().fileSystem().describeOpenFile(stream, facts);
}

std::FILE* FileSystem::openLogFile(const std::string& path, bool empty) {
  return posixHost().fileSystem().openLogFile(path, empty);
}

}  // namespace platform
