// Lists the sub-directories that lie directly in one directory.
#pragma once

#include <NorvaneExport.h>

#include <set>
#include <string>

namespace utils {

class NORVANE_API DirectorySearch {
 public:
  DirectorySearch() {}
  virtual ~DirectorySearch();

  // Adds the whole path (directory, separator, name) of every sub-directory of
  // directory to names, which is not cleared first. Unlike FileSearch, whole paths
  // and not bare names. A missing directory logs a WARNING and leaves names as it
  // was; an unreadable one throws filesystem_error.
  void getDirNames(std::string& directory, std::set<std::string>& names);
};

}  // namespace utils
