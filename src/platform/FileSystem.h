#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace platform {

struct DirectoryEntry {
  std::string name;                 // bare name, no directory
  bool isDirectory = false;
  std::int64_t lastWriteTime = 0;   // seconds since the epoch
  std::int64_t lastWriteTimeNanoseconds = 0;  // the same time, in nanoseconds since the epoch
};

// The file an open stream writes to, as it stands.
struct OpenFileFacts {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::int64_t size = 0;
};

// An advisory lock on a file, shared or exclusive, between processes and between
// threads of one process. Released when destroyed, and by the OS when its holder dies.
class FileLock {
 public:
  virtual ~FileLock() = default;
};

// Directory listing, removal of single files, whole-file replacement and file locks.
class FileSystem {
 public:
  virtual ~FileSystem() = default;
  // Entries of `directory` except "." and "..", in the order the OS gives them.
  // False when the directory cannot be read.
  virtual bool listDirectory(const std::string& directory, std::vector<DirectoryEntry>& entries) = 0;
  // Deletes one file. False when it could not be deleted.
  virtual bool removeFile(const std::string& path) = 0;
  // Renames a file, never replacing an existing target: false when `to` exists,
  // `from` is missing, or the OS refuses.
  virtual bool renameFile(const std::string& from, const std::string& to) = 0;
  // Identity and size of the file an open C stream writes to (what is still in the
  // stream's buffer not counted). False when the OS cannot tell. Not pure: a
  // replacement that does not fake it asks the real one.
  virtual bool describeOpenFile(std::FILE* stream, OpenFileFacts& facts);
  // A log file opened for appending (emptied first when `empty`), created with no
  // rights for others, so that it is never writable by them even for a moment. Null
  // when the OS refuses. Not pure, like the one above.
  virtual std::FILE* openLogFile(const std::string& path, bool empty);

  // The calls below are not pure either: a replacement that does not fake them asks
  // the real one.

  // Replaces `path` by `content` in one step: a temporary file in the same directory
  // is written, synced and given `mode` (whatever the umask), then renamed over
  // `path`, and the directory is synced. On false the old file is as it was, and
  // `reason` holds the system's reason. A target that exists and is not a regular
  // file is refused.
  virtual bool writeWholeFile(const std::string& path, const std::string& content, unsigned mode,
                              std::string& reason);
  // Renames `from` over `to`, replacing it, and syncs the directory of `to`.
  virtual bool replaceFile(const std::string& from, const std::string& to, std::string& reason);
  // True when `path` exists and is no regular file (a FIFO, device, socket or
  // directory), which a reader must refuse rather than open: a FIFO would block it.
  virtual bool isSpecialFile(const std::string& path);
  // Locks `path` (created with mode 0600 when missing, never through a link), waiting
  // until granted unless `wait` is false. Null, with `reason`, when the file cannot be
  // opened safely or, without waiting, another holder has it.
  virtual std::unique_ptr<FileLock> lockFile(const std::string& path, bool exclusive, std::string& reason,
                                             bool wait = true);
};

}  // namespace platform
