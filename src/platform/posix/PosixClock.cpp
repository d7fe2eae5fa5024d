#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include "platform/posix/PosixFacilities.h"

namespace platform::posix {
namespace {

class PosixClock final : public Clock {
 public:
  LocalTime localTime() override {
    struct timespec now {};
    clock_gettime(CLOCK_REALTIME, &now);
    struct tm parts {};
    localtime_r(&now.tv_sec, &parts);
    LocalTime result;
    result.year = parts.tm_year + 1900;
    result.month = parts.tm_mon + 1;
    result.day = parts.tm_mday;
    result.hour = parts.tm_hour;
    result.minute = parts.tm_min;
    result.second = parts.tm_sec;
    result.millisecond = static_cast<int>(now.tv_nsec / 1000000);
    return result;
  }

  std::uint64_t currentThreadId() override {
    // Cached per thread: the id never changes and the log asks for it per line.
    thread_local const std::uint64_t id = static_cast<std::uint64_t>(syscall(SYS_gettid));
    return id;
  }
};

}  // namespace

std::unique_ptr<Clock> makeClock() { return std::make_unique<PosixClock>(); }

}  // namespace platform::posix
