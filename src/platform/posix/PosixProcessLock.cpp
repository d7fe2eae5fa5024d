#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>

#include "platform/posix/PosixFacilities.h"

namespace platform::posix {
namespace {

// An advisory lock on a file named after the lock. The kernel drops it when the
// holder's descriptor closes, which includes the holder's death. flock belongs to
// the open file, which all threads of the process share, so a mutex orders the
// threads first.
class PosixProcessLock final : public ProcessLock {
 public:
  explicit PosixProcessLock(int fd) : m_fd(fd) {}
  ~PosixProcessLock() override { close(m_fd); }

  void lock() override {
    m_threads.lock();
    while (flock(m_fd, LOCK_EX) != 0 && errno == EINTR) {
    }
  }

  void unlock() override {
    flock(m_fd, LOCK_UN);
    m_threads.unlock();
  }

 private:
  int m_fd;
  std::mutex m_threads;
};

std::string lockPath(const std::string& name) {
  struct stat info {};
  const char* directory = (stat("/dev/shm", &info) == 0 && S_ISDIR(info.st_mode)) ? "/dev/shm" : "/tmp";
  return std::string(directory) + "/norvane-" + name + ".lock";
}

}  // namespace

std::unique_ptr<ProcessLock> makeProcessLock(const std::string& name) {
  std::string path = lockPath(name);
  int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  if (fd < 0) return nullptr;
  // Every user's processes share the lock, whatever the creator's umask.
  fchmod(fd, 0666);
  return std::make_unique<PosixProcessLock>(fd);
}

}  // namespace platform::posix
