// Lists the files (not the directories) that lie directly in one directory.
#pragma once

#include <NorvaneExport.h>

#include <set>
#include <string>

namespace utils {

class NORVANE_API FileSearch {
 public:
  FileSearch() {}
  virtual ~FileSearch();

  // Adds the bare name (no directory) of every entry of directory that is not a
  // directory to names, which is not cleared first. A missing directory logs a
  // WARNING and leaves names as it was; an unreadable one throws filesystem_error.
  void getFileNames(std::string& directory, std::set<std::string>& names);
};

}  // namespace utils
