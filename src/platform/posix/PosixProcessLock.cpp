#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <mutex>

#include "platform/posix/PosixFacilities.h"

namespace platform::posix {
namespace {

// A write lock on the whole of a file named after the lock. The kernel drops it
// when the holder dies. A POSIX record lock belongs to the process, so a child made
// by fork does not inherit a held lock and really waits for its parent (a flock
// would be shared through the inherited descriptor). Being per process, it does
// not order the threads of one process: a mutex does that first.
//
// Record locks also vanish when the process closes any descriptor of the file, so
// each name has one descriptor and one mutex for the life of the process, shared
// by every lock object opened under that name.
struct NamedLock {
  int fd;
  std::mutex threads;
};

std::mutex g_namesMutex;

NamedLock* namedLock(const std::string& path) {
  std::lock_guard<std::mutex> hold(g_namesMutex);
  static auto* const byPath = new std::map<std::string, NamedLock*>();
  auto found = byPath->find(path);
  if (found != byPath->end()) return found->second;
  int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  if (fd < 0) return nullptr;
  // Every user's processes share the lock, whatever the creator's umask.
  fchmod(fd, 0666);
  NamedLock* made = new NamedLock{fd, {}};
  byPath->emplace(path, made);
  return made;
}

struct flock wholeFile(short type) {
  struct flock range {};
  range.l_type = type;
  range.l_whence = SEEK_SET;
  range.l_start = 0;
  range.l_len = 0;
  return range;
}

class PosixProcessLock final : public ProcessLock {
 public:
  explicit PosixProcessLock(NamedLock& shared) : m_shared(shared) {}

  void lock() override {
    m_shared.threads.lock();
    struct flock whole = wholeFile(F_WRLCK);
    while (fcntl(m_shared.fd, F_SETLKW, &whole) != 0 && errno == EINTR) {
    }
  }

  void unlock() override {
    struct flock whole = wholeFile(F_UNLCK);
    fcntl(m_shared.fd, F_SETLK, &whole);
    m_shared.threads.unlock();
  }

 private:
  NamedLock& m_shared;
};

std::string lockPath(const std::string& name) {
  struct stat info {};
  const char* directory = (stat("/dev/shm", &info) == 0 && S_ISDIR(info.st_mode)) ? "/dev/shm" : "/tmp";
  return std::string(directory) + "/norvane-" + name + ".lock";
}

}  // namespace

std::unique_ptr<ProcessLock> makeProcessLock(const std::string& name) {
  NamedLock* shared = namedLock(lockPath(name));
  if (shared == nullptr) return nullptr;
  return std::make_unique<PosixProcessLock>(*shared);
}

}  // namespace platform::posix
