// Static helpers for files under the installation: JSON documents written below
// the home path, the installation's file rights, canonical paths, copies,
// removals and sizes.
//
// Errors of boost::filesystem are not caught here, so callers receive
// boost::filesystem::filesystem_error; the two exceptions are the rights helpers,
// which report through their results, and writeJSONFile, which retries once.
#pragma once

#include <NorvaneExport.h>

#include <cstdint>
#include <fstream>
#include <string>

namespace json {
class Object;
}

namespace utils {

class NORVANE_API FileHelper {
 public:
  virtual ~FileHelper();

  // Writes document to directory + fileName, where directory is the home path
  // followed by subFolder, or defaultLocation when no home path is known. The parts
  // are joined as they stand, so each brings its own separator. fileSize receives
  // the size of the written file, -1 when it could not be written.
  static void writeJSONFile(json::Object document, std::string fileName,
                            std::string defaultLocation, std::string subFolder, int& fileSize);

  // Gives an existing path the rights 0640. 0, also for a missing path, or the
  // value of the error that setting the rights reported.
  static int applyNorvaneFilePermission(std::string path);

  // path becomes canonical ("..", "." and links resolved) against the current
  // directory or basePath. The path must exist; otherwise filesystem_error is
  // thrown and path stays as it was.
  static void convertFsPath(std::string& path);
  static void convertFsPath(std::string& path, std::string basePath);

  // Creates path and its missing parents, with rights 0755. True only when
  // something was created and its rights were set: an existing directory gives false.
  static bool createDirectory(std::string path);

  // Copies from to to, overwriting an existing target.
  static void copyFile(std::string& from, std::string& to);
  // Removes one file; a missing file is no error.
  static void removeFile(std::string& path);
  // Removes everything inside directory, sub-directories included; the directory stays.
  static void removeFilesInPath(std::string& directory);

  // True when the stream has nothing more to read from where it stands: it tests
  // the stream, not the file.
  static bool isFileEmpty(std::ifstream& file);

  // time becomes the last write time of path, in seconds since 1970.
  static void getLastModifiedTime(std::string& path, std::int64_t& time);

  // Size of the file in bytes as measured through a stream opened on it; -1 when it
  // cannot be opened. Files of 2 GB and more do not fit the result.
  static int getFileSize(std::string& path);
};

}  // namespace utils
