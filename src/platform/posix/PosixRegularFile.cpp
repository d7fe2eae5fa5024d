#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/RegularFile.h"

namespace platform {
namespace {

// Closes a descriptor on every path out, keeping the errno of the failure.
class Descriptor {
 public:
  explicit Descriptor(int fd) : m_fd(fd) {}
  ~Descriptor() {
    if (m_fd < 0) return;
    const int saved = errno;
    ::close(m_fd);
    errno = saved;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return m_fd; }
  int release() {
    const int fd = m_fd;
    m_fd = -1;
    return fd;
  }

 private:
  int m_fd;
};

}  // namespace

bool readRegularFile(const std::string& path, std::string& text) {
  // O_NONBLOCK: opening a FIFO with no writer would otherwise wait for one for ever.
  Descriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
  if (file.get() < 0) return false;
  struct stat info {};
  if (::fstat(file.get(), &info) != 0) return false;
  if (!S_ISREG(info.st_mode)) {
    errno = S_ISDIR(info.st_mode) ? EISDIR : ENODEV;
    return false;
  }
  text.clear();
  char buffer[8192];
  for (;;) {
    const ssize_t got = ::read(file.get(), buffer, sizeof buffer);
    if (got == 0) return true;
    if (got < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    text.append(buffer, static_cast<std::size_t>(got));
  }
}

std::FILE* createFileWithMode(const std::string& path, unsigned int mode) {
  // O_NONBLOCK: a FIFO with no reader fails at once (ENXIO) instead of waiting.
  Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOCTTY | O_NONBLOCK,
                         static_cast<mode_t>(mode)));
  if (file.get() < 0) return nullptr;
  struct stat info {};
  if (::fstat(file.get(), &info) != 0) return nullptr;
  if (!S_ISREG(info.st_mode)) {
    errno = ENODEV;
    return nullptr;
  }
  if (::fcntl(file.get(), F_SETFL, 0) != 0) return nullptr;
  // The creation mode passes through the umask, and an existing file keeps its own.
  // A file of another owner that this user may write keeps its mode (EPERM).
  if (::fchmod(file.get(), static_cast<mode_t>(mode)) != 0 && errno != EPERM) return nullptr;
  std::FILE* stream = ::fdopen(file.get(), "w");
  if (stream != nullptr) file.release();
  return stream;
}

}  // namespace platform
