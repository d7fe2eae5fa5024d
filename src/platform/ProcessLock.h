#pragma once

namespace platform {

// Cross-process lock guarding the log file. Held for one whole write. Released by
// the operating system if the holding process dies, so a crash never blocks others.
// Not re-entrant: a thread that locks twice waits for itself.
class ProcessLock {
 public:
  virtual ~ProcessLock() = default;
  virtual void lock() = 0;
  virtual void unlock() = 0;
};

}  // namespace platform
