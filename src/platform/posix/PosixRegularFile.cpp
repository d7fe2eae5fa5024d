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
  // fstat of an open descriptor cannot fail.
  struct stat info {};
  (void)::fstat(file.get(), &info);
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

bool canCreateFile(const std::string& path, unsigned int mode) {
  // O_NONBLOCK: a FIFO with no reader fails at once (ENXIO) instead of waiting. An
  // existing file is opened, not emptied: it is replaced whole later.
  Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK,
                         static_cast<mode_t>(mode)));
  if (file.get() < 0) return false;
  struct stat info {};
  (void)::fstat(file.get(), &info);
  if (!S_ISREG(info.st_mode)) {
    errno = ENODEV;
    return false;
  }
  return true;
}

}  // namespace platform
