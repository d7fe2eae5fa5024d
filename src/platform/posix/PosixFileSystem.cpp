#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "platform/posix/PosixFacilities.h"

namespace platform::posix {
namespace {

std::string systemReason(int error) { return std::strerror(error); }

std::string directoryOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

bool syncDirectory(const std::string& directory, std::string& reason) {
  const int fd = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) {
    reason = systemReason(errno);
    return false;
  }
  const bool synced = fsync(fd) == 0 || errno == EINVAL;  // some file systems cannot sync a directory
  if (!synced) reason = systemReason(errno);
  close(fd);
  return synced;
}

bool writeAll(int fd, const std::string& content) {
  std::size_t done = 0;
  while (done < content.size()) {
    const ssize_t written = write(fd, content.data() + done, content.size() - done);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) {
      if (written == 0) errno = ENOSPC;
      return false;
    }
    done += static_cast<std::size_t>(written);
  }
  return true;
}

// Writes the temporary file; on false errno tells why and the file is gone.
bool writeTemporary(std::string& temporary, const std::string& content, unsigned mode) {
  const int fd = mkostemp(&temporary[0], O_CLOEXEC);
  if (fd < 0) return false;
  const bool written = fchmod(fd, static_cast<mode_t>(mode)) == 0 && writeAll(fd, content) && fsync(fd) == 0;
  int error = errno;
  const bool closed = close(fd) == 0;
  if (written && closed) return true;
  if (written) error = errno;
  unlink(temporary.c_str());
  errno = error;
  return false;
}

class PosixFileLock final : public FileLock {
 public:
  explicit PosixFileLock(int fd) : m_fd(fd) {}
  ~PosixFileLock() override { close(m_fd); }

 private:
  int m_fd;
};

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

  bool writeWholeFile(const std::string& path, const std::string& content, unsigned mode,
                      std::string& reason) override {
    if (isSpecialFile(path)) {
      reason = "not a regular file";
      return false;
    }
    const std::size_t slash = path.rfind('/');
    std::string temporary = path.substr(0, slash + 1) + "." +
                            path.substr(slash == std::string::npos ? 0 : slash + 1) + ".tmp-XXXXXX";
    if (!writeTemporary(temporary, content, mode)) {
      reason = systemReason(errno);
      return false;
    }
    if (!replaceFile(temporary, path, reason)) {
      unlink(temporary.c_str());
      return false;
    }
    return true;
  }

  bool replaceFile(const std::string& from, const std::string& to, std::string& reason) override {
    if (rename(from.c_str(), to.c_str()) != 0) {
      reason = systemReason(errno);
      return false;
    }
    return syncDirectory(directoryOf(to), reason);
  }

  bool isSpecialFile(const std::string& path) override {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && !S_ISREG(info.st_mode);
  }

  std::unique_ptr<FileLock> lockFile(const std::string& path, bool exclusive, std::string& reason,
                                     bool wait) override {
    // Non-blocking open: a FIFO planted at the path must not hang the caller.
    const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
    if (fd < 0) {
      reason = systemReason(errno);
      return nullptr;
    }
    struct stat info {};
    (void)fstat(fd, &info);  // cannot fail on the descriptor just opened
    if (!S_ISREG(info.st_mode)) {
      reason = "not a regular file";
      close(fd);
      return nullptr;
    }
    int locked;
    while ((locked = flock(fd, (exclusive ? LOCK_EX : LOCK_SH) | (wait ? 0 : LOCK_NB))) != 0 && errno == EINTR) {
    }
    if (locked != 0) {
      reason = systemReason(errno);
      close(fd);
      return nullptr;
    }
    return std::make_unique<PosixFileLock>(fd);
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

bool FileSystem::writeWholeFile(const std::string& path, const std::string& content, unsigned mode,
                                std::string& reason) {
  return posixHost().fileSystem().writeWholeFile(path, content, mode, reason);
}

bool FileSystem::replaceFile(const std::string& from, const std::string& to, std::string& reason) {
  return posixHost().fileSystem().replaceFile(from, to, reason);
}

bool FileSystem::isSpecialFile(const std::string& path) { return posixHost().fileSystem().isSpecialFile(path); }

std::unique_ptr<FileLock> FileSystem::lockFile(const std::string& path, bool exclusive, std::string& reason,
                                               bool wait) {
  return posixHost().fileSystem().lockFile(path, exclusive, reason, wait);
}

}  // namespace platform
