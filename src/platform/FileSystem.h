#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace platform {

struct DirectoryEntry {
  std::string name;                 // bare name, no directory
  bool isDirectory = false;
  std::int64_t lastWriteTime = 0;   // seconds since the epoch
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
};

}  // namespace platform
