#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <map>
#include <mutex>

#include "platform/posix/PosixFacilities.h"

namespace platform::posix {
namespace {

// A robust, process-shared mutex in a small file under /dev/shm named after the
// lock. It orders the threads of one process and all processes of the machine
// alike, costs no system call when nobody else holds it, and when its holder dies
// the kernel hands it to the next waiter (EOWNERDEAD), so a killed process never
// blocks the others.
struct SharedPage {
  std::atomic<std::uint32_t> ready;
  pthread_mutex_t mutex;
  // Behind the mutex, so that pages made before they existed still fit (the rest
  // of the page is zero).
  std::int64_t words[ProcessLock::kSharedWords];
};

constexpr std::uint32_t kReady = 0x4e4f5256;  // set once the mutex is initialised
constexpr off_t kPageBytes = 4096;
static_assert(sizeof(SharedPage) <= kPageBytes, "the shared page holds the mutex");

struct flock wholeFile(short type) {
  struct flock range {};
  range.l_type = type;
  range.l_whence = SEEK_SET;
  return range;
}

// Maps the page and initialises the mutex if no process has yet. The first users
// meet under a record lock on the file, which the kernel also drops if the
// initialising process dies half-way.
SharedPage* mapPage(const std::string& path) {
  int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  if (fd < 0) return nullptr;
  // Every user's processes share the lock, whatever the creator's umask.
  fchmod(fd, 0666);
  struct flock lock = wholeFile(F_WRLCK);
  while (fcntl(fd, F_SETLKW, &lock) != 0 && errno == EINTR) {
  }
  SharedPage* page = nullptr;
  struct stat info {};
  if (fstat(fd, &info) == 0 && (info.st_size >= kPageBytes || ftruncate(fd, kPageBytes) == 0)) {
    void* mapped = mmap(nullptr, kPageBytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (mapped != MAP_FAILED) page = static_cast<SharedPage*>(mapped);
  }
  if (page != nullptr && page->ready.load(std::memory_order_acquire) != kReady) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    pthread_mutex_init(&page->mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
    page->ready.store(kReady, std::memory_order_release);
  }
  lock = wholeFile(F_UNLCK);
  fcntl(fd, F_SETLK, &lock);
  close(fd);  // the mapping stays
  return page;
}

std::mutex g_pagesMutex;

// One mapping per name for the life of the process.
SharedPage* sharedPage(const std::string& path) {
  std::lock_guard<std::mutex> hold(g_pagesMutex);
  static auto* const byPath = new std::map<std::string, SharedPage*>();
  auto found = byPath->find(path);
  if (found != byPath->end()) return found->second;
  SharedPage* page = mapPage(path);
  if (page != nullptr) byPath->emplace(path, page);
  return page;
}

class PosixProcessLock final : public ProcessLock {
 public:
  explicit PosixProcessLock(SharedPage& page) : m_page(page) {}

  void lock() override {
    int status = pthread_mutex_lock(&m_page.mutex);
    // The previous holder died while holding it. What it guarded (a line being
    // appended) needs no repair, so the lock simply carries on; the shared words
    // may be half written and start again from zero.
    if (status == EOWNERDEAD) {
      for (std::int64_t& word : m_page.words) word = 0;
      pthread_mutex_consistent(&m_page.mutex);
    }
  }

  void unlock() override { pthread_mutex_unlock(&m_page.mutex); }

  std::int64_t* sharedWords() override { return m_page.words; }

 private:
  SharedPage& m_page;
};

std::string lockPath(const std::string& name) {
  struct stat info {};
  const char* directory = (stat("/dev/shm", &info) == 0 && S_ISDIR(info.st_mode)) ? "/dev/shm" : "/tmp";
  return std::string(directory) + "/norvane-" + name + ".lock";
}

}  // namespace

std::unique_ptr<ProcessLock> makeProcessLock(const std::string& name) {
  SharedPage* page = sharedPage(lockPath(name));
  if (page == nullptr) return nullptr;
  return std::make_unique<PosixProcessLock>(*page);
}

}  // namespace platform::posix
