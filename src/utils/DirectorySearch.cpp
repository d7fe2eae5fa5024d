#include <utils/DirectorySearch.h>

#include <boost/filesystem.hpp>

#include <utils/Log.h>

namespace fs = boost::filesystem;

namespace utils {

DirectorySearch::~DirectorySearch() = default;

void DirectorySearch::getDirNames(std::string& directory, std::set<std::string>& names) {
  if (!fs::exists(directory)) {
    log_warning("DirSeacrch:getDirName - No Directories to load at directory %1%") % directory;
    return;
  }
  for (fs::directory_iterator entry(directory), end; entry != end; ++entry) {
    if (fs::is_directory(entry->status())) names.insert(entry->path().string());
  }
}

}  // namespace utils
