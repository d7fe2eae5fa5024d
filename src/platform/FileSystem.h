#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace platform {

struct DirectoryEntry {
  std::string name;                 // bare name, no directory
  bool isDirectory = false;
  std::int64_t lastWriteTime = 0;   // seconds since the epoch
  std::int64_t lastWriteTimeNanoseconds = 0;  // the same time, in nanoseconds since the epoch
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
};

}  // namespace platform
