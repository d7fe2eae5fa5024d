// The logger and the settings singleton need each other: the logger's start reads
// Preferences while holding the log lock, and building Preferences may log a
// WARNING (missing configuration file), which needs a started logger. Statements
// made while one of them is being built are therefore held back on that thread and
// written once the logger runs, instead of waiting for a lock the thread already
// holds or for a construction it is itself inside.
#pragma once

namespace utils::logstartup {

// While alive on a thread, that thread's log statements are held back (kept in a
// fixed static buffer, not lost) and written as soon as the logger has started.
// The buffer holds 16 statements of up to 511 characters; a start makes only a few,
// and any beyond that are dropped rather than allocated for. Their level is compared
// with the configured level when they are written.
class HoldBack {
 public:
  HoldBack();
  ~HoldBack();
  HoldBack(const HoldBack&) = delete;
  HoldBack& operator=(const HoldBack&) = delete;
};

// Writes held-back statements if the logger can start now; does nothing while this
// thread is inside a logger start or a HoldBack.
void flushHeldBack();

}  // namespace utils::logstartup
