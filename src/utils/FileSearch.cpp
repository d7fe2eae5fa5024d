#include <utils/FileSearch.h>

#include <boost/filesystem.hpp>

#include <utils/Log.h>

namespace fs = boost::filesystem;

namespace utils {

FileSearch::~FileSearch() = default;

void FileSearch::getFileNames(std::string& directory, std::set<std::string>& names) {
  if (!fs::exists(directory)) {
    log_warning("FileSearch:getFilesByName - No files to load at directory %1%") % directory;
    return;
  }
  for (fs::directory_iterator entry(directory), end; entry != end; ++entry) {
    if (!fs::is_directory(entry->status())) names.insert(entry->path().filename().string());
  }
}

}  // namespace utils
