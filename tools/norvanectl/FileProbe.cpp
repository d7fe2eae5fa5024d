#include "FileProbe.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

namespace norvanectl {
namespace {

// Opens without blocking (a named pipe with no peer) and without becoming the
// controlling terminal, then closes again at once.
std::string whyNotOpenable(const std::string& path, int mode) {
  const int fd = ::open(path.c_str(), mode | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (fd < 0) return reason(errno);
  ::close(fd);
  return "";
}

std::string parentOf(const std::string& path) {
  const std::string parent = std::filesystem::path(path).parent_path().string();
  return parent.empty() ? "." : parent;
}

}  // namespace

std::string reason(int errnum) { return std::strerror(errnum); }

std::string kindOfSpecialFile(const std::string& path) {
  struct stat info;
  if (::stat(path.c_str(), &info) != 0) return "";
  if (S_ISDIR(info.st_mode)) return "a directory";
  if (S_ISFIFO(info.st_mode)) return "a named pipe";
  if (S_ISSOCK(info.st_mode)) return "a socket";
  if (S_ISCHR(info.st_mode)) return "a character device";
  if (S_ISBLK(info.st_mode)) return "a block device";
  return "";
}

std::string whyNotReadable(const std::string& path) {
  struct stat info;
  if (::stat(path.c_str(), &info) != 0) return reason(errno);
  if (S_ISDIR(info.st_mode)) return reason(EISDIR);
  return whyNotOpenable(path, O_RDONLY);
}

std::string whyNotWritable(const std::string& path) {
  struct stat info;
  if (::stat(path.c_str(), &info) != 0) {
    if (errno != ENOENT) return reason(errno);
    return whyNotWritableDirectory(parentOf(path));
  }
  if (S_ISDIR(info.st_mode)) return reason(EISDIR);
  return whyNotOpenable(path, O_WRONLY | O_APPEND);
}

std::string whyNotExecutable(const std::string& path) {
  struct stat info;
  if (::stat(path.c_str(), &info) != 0) return reason(errno);
  if (!S_ISREG(info.st_mode)) return S_ISDIR(info.st_mode) ? reason(EISDIR) : "not a regular file";
  if (::access(path.c_str(), X_OK) != 0) return reason(errno);
  return "";
}

std::string whyNotWritableDirectory(const std::string& path) {
  struct stat info;
  if (::stat(path.c_str(), &info) != 0) return reason(errno);
  if (!S_ISDIR(info.st_mode)) return reason(ENOTDIR);
  if (::access(path.c_str(), W_OK | X_OK) != 0) return reason(errno);
  return "";
}

}  // namespace norvanectl
