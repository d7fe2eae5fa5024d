#include <utils/FileHelper.h>

#include <boost/filesystem.hpp>

#include <json/Writer.h>
#include <utils/Log.h>
#include <utils/System.h>

#include <sstream>

#include "platform/Host.h"

namespace fs = boost::filesystem;

namespace utils {
namespace {

constexpr fs::perms kDirectoryRights = static_cast<fs::perms>(0755);
constexpr fs::perms kFileRights = static_cast<fs::perms>(0640);

// A new document gets 0644; a replaced one keeps its rights, less any write access
// for group and others.
unsigned documentMode(const std::string& path) {
  boost::system::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (error || !fs::exists(status)) return 0644;
  return static_cast<unsigned>(status.permissions()) & 07755u;
}

// The document replaces the file whole or not at all: a reader never finds half a
// document, and a failed write (a full disk) leaves the old one.
void writeDocument(const json::Object& document, const std::string& path) {
  std::ostringstream text;
  json::Writer::Write(document, text);
  std::string reason;
  (void)platform::host().fileSystem().writeWholeFile(path, text.str(), documentMode(path), reason);
}

}  // namespace

FileHelper::~FileHelper() = default;

void FileHelper::writeJSONFile(json::Object document, std::string fileName,
                               std::string defaultLocation, std::string subFolder,
                               int& fileSize) {
  log_everything("utils::FileHelper::writeJSONFile");
  std::string home;
  if (System::get_instance()->getNorvaneHomePath(home) != 0) {
    log_error("FileHelper:writeJSON - Invalid Norvane Home Path");
  }
  std::string directory;
  if (home.empty()) {
    log_debug("FileHelper:writeJSON - using defalut location %1%") % defaultLocation;
    directory = defaultLocation;
  } else {
    log_debug("FileHelper:writeJSON - using standared location %1%") % home;
    directory = home + subFolder;
  }
  try {
    fileName = directory + fileName;
    writeDocument(document, fileName);
  } catch (...) {
    log_critical("FileHelper:writeJSON - Standared log file may not generated.");
    writeDocument(document, fileName);
  }
  fileSize = getFileSize(fileName);
}

int FileHelper::applyNorvaneFilePermission(std::string path) {
  // A path that cannot even be examined counts as missing: this runs while the
  // logger starts, where nothing may throw.
  boost::system::error_code examine;
  if (!fs::exists(path, examine)) return 0;
  boost::system::error_code error;
  fs::permissions(path, kFileRights, error);
  return error ? error.value() : 0;
}

void FileHelper::convertFsPath(std::string& path) {
  path = fs::canonical(path, fs::current_path()).string();
}

void FileHelper::convertFsPath(std::string& path, std::string basePath) {
  log_debug("FileHelper:convertFSP - FILE Helper path = %1% basepath %2%") % path % basePath;
  path = fs::canonical(path, basePath).string();
}

bool FileHelper::createDirectory(std::string path) {
  log_everything("utils::FileHelper::createDirectory");
  bool created = fs::create_directories(path);
  if (created) {
    boost::system::error_code error;
    fs::permissions(path, kDirectoryRights, error);
    if (error) created = false;
  }
  return created;
}

void FileHelper::copyFile(std::string& from, std::string& to) {
  log_everything("utils::FileHelper::copyFile");
  fs::copy_file(from, to, fs::copy_options::overwrite_existing);
}

void FileHelper::removeFile(std::string& path) {
  log_everything("utils::FileHelper::removeFile");
  fs::remove(path);
}

void FileHelper::removeFilesInPath(std::string& directory) {
  for (fs::directory_iterator entry(directory), end; entry != end; ++entry) {
    fs::remove_all(entry->path());
  }
}

bool FileHelper::isFileEmpty(std::ifstream& file) {
  log_everything("utils::FileHelper::isFileEmpty");
  return file.peek() == std::ifstream::traits_type::eof();
}

void FileHelper::getLastModifiedTime(std::string& path, std::int64_t& time) {
  time = static_cast<std::int64_t>(fs::last_write_time(path));
}

int FileHelper::getFileSize(std::string& path) {
  log_everything("utils::FileHelper::getFileSize");
  // A FIFO would block the stream, a device feed it without end: neither has a size.
  if (platform::host().fileSystem().isSpecialFile(path)) return -1;
  std::ifstream file(path, std::ios::in | std::ios::binary);
  if (!file.is_open()) return -1;
  file.seekg(0, std::ios::end);
  int size = static_cast<int>(file.tellg());
  file.close();
  return size;
}

}  // namespace utils
