#pragma once

#include <cstdint>
#include <cstdio>
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

// Directory listing and removal of single files.
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
};

}  // namespace platform
