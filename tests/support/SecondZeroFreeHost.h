// The real host, except that its clock never shows a seconds field of 0. A process
// whose first log line falls in second 0 writes no stamp, and the next lines of
// that second keep the first 15 characters of the line before: its thread id and
// part of its banner ("<id> | Everythi<id> | Info      : ..."). That is the
// logger's defined behaviour, tested with a scripted clock; with the real clock it
// fails any test that reads log lines, one process start in sixty.
#pragma once

#include "support/TestPrelude.h"

#include "platform/Host.h"

namespace testsupport {

class SecondZeroFreeClock : public platform::Clock {
 public:
  platform::LocalTime localTime() override {
    platform::LocalTime time = platform::posixHost().clock().localTime();
    if (time.second == 0) time.second = 1;
    return time;
  }
  std::uint64_t currentThreadId() override { return platform::posixHost().clock().currentThreadId(); }
};

inline platform::Clock& secondZeroFreeClock() {
  static SecondZeroFreeClock* const clock = new SecondZeroFreeClock();  // never destroyed: used at exit
  return *clock;
}

class SecondZeroFreeHost : public platform::Host {
 public:
  platform::Clock& clock() override { return secondZeroFreeClock(); }
  platform::FileSystem& fileSystem() override { return platform::posixHost().fileSystem(); }
  platform::MachineStore& machineStore() override { return platform::posixHost().machineStore(); }
  std::unique_ptr<platform::ProcessLock> openProcessLock(const std::string& name) override {
    return platform::posixHost().openProcessLock(name);
  }
};

// Puts a SecondZeroFreeHost in force for the rest of the process.
inline void useSecondZeroFreeHostForGood() {
  static platform::ScopedHost* const scoped = new platform::ScopedHost(*new SecondZeroFreeHost());
  (void)scoped;
}

}  // namespace testsupport
