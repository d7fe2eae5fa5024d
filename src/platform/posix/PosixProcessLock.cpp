#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>

#include "platform/posix/PosixFacilities.h"

namespace platform::posix {
namespace {

// A robust, process-shared mutex in a small file of the installation. It orders the
// threads of one process and all processes that log there alike, costs no system
// call when nobody else holds it, and when its holder dies the kernel hands it to the
// next waiter (EOWNERDEAD), so a killed process never blocks the others.
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
// No more than owner and group may read and write the lock: whoever can write it can
// hold the log of every process.
constexpr mode_t kRightsAllowed = 0660;

struct flock wholeFile(short type) {
  struct flock range {};
  range.l_type = type;
  range.l_whence = SEEK_SET;
  return range;
}

void initialiseMutex(SharedPage& page, int shared) {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_setpshared(&attributes, shared);
  pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
  pthread_mutex_init(&page.mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
  page.ready.store(kReady, std::memory_order_release);
}

std::string directoryOf(const std::string& path) {
  const std::string::size_type separator = path.rfind('/');
  if (separator == std::string::npos) return ".";
  return separator == 0 ? "/" : path.substr(0, separator);
}

// Why the open file may not carry the lock, or "". It must be the file named and
// nothing else (a regular file with one name, so no link aims it at another), and
// belong to this user or to the owner of its directory, the installation's owner.
std::string whyUnsafe(int fd, const std::string& path) {
  struct stat file {};
  if (fstat(fd, &file) != 0) return std::strerror(errno);
  if (!S_ISREG(file.st_mode)) return "not a regular file";
  if (file.st_nlink != 1) return "a file with more than one name";
  if ((file.st_mode & 07777 & ~kRightsAllowed) != 0) return "rights beyond 0660";
  struct stat directory {};
  const bool ownerOfDirectory = stat(directoryOf(path).c_str(), &directory) == 0 && directory.st_uid == file.st_uid;
  if (file.st_uid != geteuid() && !ownerOfDirectory) return "owned by another user";
  return "";
}

// Maps the page and initialises the mutex if no process has yet. The first users
// meet under a record lock on the file, which the kernel also drops if the
// initialising process dies half-way. Null with `why` set when the file is unsafe or
// cannot be opened, and `missing` set when its directory is not there.
SharedPage* mapPage(const std::string& path, std::string& why, bool& missing) {
  // Not following a link, and not waiting on a FIFO planted in its place.
  const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0640);
  if (fd < 0) {
    missing = errno == ENOENT;
    why = errno == ELOOP ? "a symbolic link" : std::strerror(errno);
    return nullptr;
  }
  why = whyUnsafe(fd, path);
  SharedPage* page = nullptr;
  struct flock lock = wholeFile(F_WRLCK);
  while (why.empty() && fcntl(fd, F_SETLKW, &lock) != 0 && errno == EINTR) {
  }
  struct stat info {};
  if (why.empty() && fstat(fd, &info) == 0 && (info.st_size >= kPageBytes || ftruncate(fd, kPageBytes) == 0)) {
    void* mapped = mmap(nullptr, kPageBytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (mapped != MAP_FAILED) page = static_cast<SharedPage*>(mapped);
  }
  if (page == nullptr && why.empty()) why = std::strerror(errno);
  if (page != nullptr && page->ready.load(std::memory_order_acquire) != kReady) {
    initialiseMutex(*page, PTHREAD_PROCESS_SHARED);
  }
  lock = wholeFile(F_UNLCK);
  fcntl(fd, F_SETLK, &lock);
  close(fd);  // the mapping stays
  return page;
}

// A page of this process alone, for a lock file that cannot be used.
SharedPage* privatePage(const std::string& path, const std::string& why) {
  static std::atomic<bool> said{false};
  if (!said.exchange(true)) {
    std::fprintf(stderr, "norvane: log lock %s not used (%s); this process logs without it\n", path.c_str(),
                 why.c_str());
  }
  auto* page = new SharedPage();
  initialiseMutex(*page, PTHREAD_PROCESS_PRIVATE);
  return page;
}

std::mutex g_pagesMutex;

// One mapping per path for the life of the process.
SharedPage* sharedPage(const std::string& path) {
  std::lock_guard<std::mutex> hold(g_pagesMutex);
  static auto* const byPath = new std::map<std::string, SharedPage*>();
  auto found = byPath->find(path);
  if (found != byPath->end()) return found->second;
  std::string why;
  bool missing = false;
  SharedPage* page = mapPage(path, why, missing);
  // Without its directory there is no log to guard either; the next try may find it.
  if (missing) return nullptr;
  if (page == nullptr) page = privatePage(path, why);
  byPath->emplace(path, page);
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

}  // namespace

std::unique_ptr<ProcessLock> makeProcessLock(const std::string& path) {
  SharedPage* page = sharedPage(path);
  if (page == nullptr) return nullptr;
  return std::make_unique<PosixProcessLock>(*page);
}

}  // namespace platform::posix
