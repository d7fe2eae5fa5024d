#include "ZipArchive.h"

#include <fcntl.h>
#include <minizip/zip.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <cerrno>
#include <ctime>
#include <memory>

#include "FileProbe.h"

namespace norvanectl {
namespace {

constexpr std::size_t kChunkBytes = 64 * 1024;

// Made-by: Unix (3), zip format 2.0, so that unzip restores the file modes kept in
// the external attributes.
constexpr int kMadeByUnix = (3 << 8) | 20;

tm_zip zipTime(time_t modified) {
  std::tm local{};
  tm_zip date{};
  if (localtime_r(&modified, &local) == nullptr || local.tm_year < 80) {
    date.tm_mday = 1;  // the format starts in 1980; older times show as its first day
    date.tm_year = 1980;
    return date;
  }
  date.tm_sec = static_cast<uInt>(local.tm_sec);
  date.tm_min = static_cast<uInt>(local.tm_min);
  date.tm_hour = static_cast<uInt>(local.tm_hour);
  date.tm_mday = static_cast<uInt>(local.tm_mday);
  date.tm_mon = static_cast<uInt>(local.tm_mon);
  date.tm_year = static_cast<uInt>(local.tm_year + 1900);
  return date;
}

// minizip reports a failed fwrite as ZIP_ERRNO; errno then holds the system's reason.
std::string writeFailure(int status, int savedErrno) {
  if (status == ZIP_ERRNO && savedErrno != 0) return reason(savedErrno);
  return "zip write error " + std::to_string(status);
}

}  // namespace

ZipArchive::ZipArchive(std::string path) : m_path(std::move(path)) {}

ZipArchive::~ZipArchive() {
  if (m_zip != nullptr) zipClose(static_cast<zipFile>(m_zip), nullptr);
  if (!m_committed && !m_temporary.empty()) ::unlink(m_temporary.c_str());
}

std::string ZipArchive::open() {
  std::string pattern = m_path + ".XXXXXX";
  const int fd = ::mkstemp(pattern.data());
  if (fd < 0) return reason(errno);
  m_temporary = pattern;
  // mkstemp makes the file private; the archive gets the modes any new file gets.
  const mode_t mask = ::umask(0);
  ::umask(mask);
  ::fchmod(fd, 0666 & ~mask);
  ::close(fd);
  errno = 0;
  m_zip = zipOpen64(m_temporary.c_str(), APPEND_STATUS_CREATE);
  if (m_zip == nullptr) return errno != 0 ? reason(errno) : "cannot start the archive";
  return "";
}

std::string ZipArchive::add(int fd, const std::string& entryName, time_t modified, mode_t mode, off_t size,
                            bool& inputFailed, const std::function<void(std::size_t)>& onRead) {
  inputFailed = false;
  zipFile zip = static_cast<zipFile>(m_zip);
  zip_fileinfo info{};
  info.tmz_date = zipTime(modified);
  info.external_fa = static_cast<uLong>(mode & 0xFFFF) << 16;
  const int zip64 = size >= static_cast<off_t>(0xFFFFFFFFu) ? 1 : 0;
  errno = 0;
  int status = zipOpenNewFileInZip4_64(zip, entryName.c_str(), &info, nullptr, 0, nullptr, 0, nullptr,
                                       Z_DEFLATED, Z_DEFAULT_COMPRESSION, 0, -MAX_WBITS, DEF_MEM_LEVEL,
                                       Z_DEFAULT_STRATEGY, nullptr, 0, kMadeByUnix, 0, zip64);
  if (status != ZIP_OK) return writeFailure(status, errno);

  std::unique_ptr<char[]> chunk(new char[kChunkBytes]);
  std::string failure;
  for (;;) {
    const ssize_t got = ::read(fd, chunk.get(), kChunkBytes);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      failure = reason(errno);
      inputFailed = true;
      break;
    }
    if (got == 0) break;
    if (onRead) onRead(static_cast<std::size_t>(got));
    errno = 0;
    status = zipWriteInFileInZip(zip, chunk.get(), static_cast<unsigned int>(got));
    if (status != ZIP_OK) {
      failure = writeFailure(status, errno);
      break;
    }
  }
  errno = 0;
  status = zipCloseFileInZip(zip);
  if (failure.empty() && status != ZIP_OK) failure = writeFailure(status, errno);
  return failure;
}

std::string ZipArchive::commit() {
  zipFile zip = static_cast<zipFile>(m_zip);
  m_zip = nullptr;
  errno = 0;
  const int status = zipClose(zip, nullptr);
  if (status != ZIP_OK) return writeFailure(status, errno);
  if (::rename(m_temporary.c_str(), m_path.c_str()) != 0) return reason(errno);
  m_committed = true;
  return "";
}

}  // namespace norvanectl
