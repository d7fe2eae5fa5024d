// A zip archive written entry by entry from open files in bounded memory: each file
// is copied through one fixed buffer, whatever its size. The archive is built under
// a temporary name beside its final one and takes that name only once it is
// complete, so a failed run never leaves a half-written archive or replaces a good
// one.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <string>

namespace norvanectl {

class ZipArchive {
 public:
  explicit ZipArchive(std::string path);
  ~ZipArchive();  // drops the temporary file unless commit() succeeded
  ZipArchive(const ZipArchive&) = delete;
  ZipArchive& operator=(const ZipArchive&) = delete;

  // Creates the temporary file. "" on success, else the system's reason.
  std::string open();

  // Deflates everything readable from `fd` (a regular file) into a new entry named
  // `entryName`, dated `modified` (local time) and carrying `mode`. On failure the
  // reason is returned and `inputFailed` says whether reading the file failed (rather
  // than writing the archive); the archive is then unusable and must not be
  // committed. `onRead` hears of every piece read.
  std::string add(int fd, const std::string& entryName, time_t modified, mode_t mode, off_t size,
                  bool& inputFailed, const std::function<void(std::size_t)>& onRead = {});

  // Finishes the archive and gives it its final name. "" on success, else the reason.
  std::string commit();

 private:
  std::string m_path;
  std::string m_temporary;
  void* m_zip = nullptr;
  bool m_committed = false;
};

}  // namespace norvanectl
