#include "platform/LocalZone.h"

#include <initializer_list>

namespace platform::local_zone {

void followZone() { tzset(); }

bool toLocalTime(std::int64_t t, std::tm& out) {
  followZone();
  const std::time_t seconds = static_cast<std::time_t>(t);
  return localtime_r(&seconds, &out) != nullptr;
}

std::tm* toLocalTimeInThreadBuffer(std::int64_t t) {
  thread_local std::tm buffer;
  return toLocalTime(t, buffer) ? &buffer : nullptr;
}

std::int64_t makeTime(std::tm& parts) { return static_cast<std::int64_t>(std::mktime(&parts)); }

bool keepsDaylightSaving(int tmYear) {
  for (const int month : {0, 6}) {
    std::tm midMonth{};
    midMonth.tm_year = tmYear;
    midMonth.tm_mon = month;
    midMonth.tm_mday = 15;
    midMonth.tm_hour = 12;
    midMonth.tm_isdst = -1;
    std::tm shown{};  // left zeroed, as not on daylight saving, if there is no reading
    toLocalTime(makeTime(midMonth), shown);
    if (shown.tm_isdst > 0) return true;
  }
  return false;
}

std::tm y2kEpoch(int isDst) {
  std::tm epoch{};
  epoch.tm_mday = 1;
  epoch.tm_year = 100;
  epoch.tm_isdst = isDst;
  return epoch;
}

}  // namespace platform::local_zone
