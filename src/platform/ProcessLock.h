#pragma once

#include <cstdint>

namespace platform {

// Cross-process lock guarding the log file. Held for one whole write. Released by
// the operating system if the holding process dies, so a crash never blocks others.
// Not re-entrant: a thread that locks twice waits for itself.
//
// The lock lives in a file of the installation. A file that another user could
// hold or aim elsewhere (a link, not a regular file, a foreign owner, rights beyond
// 0660) is not used: the lock then orders the threads of this process only.
class ProcessLock {
 public:
  virtual ~ProcessLock() = default;
  virtual void lock() = 0;
  virtual void unlock() = 0;

  // A few words of memory that every holder of this lock on the machine shares, to
  // be read and written only while holding it. They start as zero, and are zeroed
  // again when a holder died holding the lock (what it was writing is not to be
  // trusted). Null when the lock has none.
  static constexpr int kSharedWords = 4;
  virtual std::int64_t* sharedWords() { return nullptr; }
};

}  // namespace platform
