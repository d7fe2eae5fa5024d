// The local time zone through the C library (localtime_r, mktime, tzset), so that
// the zone follows TZ, and the system zone when TZ is unset, at each call.
#pragma once

#include <cstdint>
#include <ctime>

namespace platform::local_zone {

// The local time of t in the calling thread's buffer, which rtcToTimePtr and
// getDstAdjustedLocalTime share the way the C library's localtime shares its own;
// null when t cannot be shown.
std::tm* toLocalTimeInThreadBuffer(std::int64_t t);

// Makes a changed TZ count for the next conversion (localtime_r and the Boost
// clocks built on it do not look at TZ again by themselves).
void followZone();

// The local time of t into out; false when t cannot be shown.
bool toLocalTime(std::int64_t t, std::tm& out);

// mktime: normalises parts and gives the instant they name in local time.
std::int64_t makeTime(std::tm& parts);

// True when the zone keeps daylight saving at some time of the year given (as
// tm_year): in January or in July, whichever hemisphere it lies in.
bool keepsDaylightSaving(int tmYear);

// Midnight of 1 January 2000 as a tm, with the daylight-saving flag given.
std::tm y2kEpoch(int isDst);

}  // namespace platform::local_zone
