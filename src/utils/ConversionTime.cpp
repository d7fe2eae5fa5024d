// Conversion's one date member: real-time-clock seconds to local time.

#include <utils/Conversion.h>

#include "platform/LocalZone.h"

namespace utils {

std::tm* Conversion::rtcToTimePtr(std::uint32_t seconds) {
  std::tm epoch = platform::local_zone::y2kEpoch(-1);
  const std::int64_t base = platform::local_zone::makeTime(epoch);
  std::int64_t t = base + seconds;
  // Within 32 bits of seconds from 2000 every instant has a calendar reading.
  std::tm* parts = platform::local_zone::toLocalTimeInThreadBuffer(t);
  if (parts->tm_isdst > 0) {
    // Read as standard time, the same wall clock lies one shift later; moving back
    // by that much shows a daylight-saving moment as a clock on standard time would.
    std::tm standard = *parts;
    standard.tm_isdst = 0;
    const std::int64_t asStandard = platform::local_zone::makeTime(standard);
    t -= asStandard - t;
    parts = platform::local_zone::toLocalTimeInThreadBuffer(t);
  }
  return parts;
}

}  // namespace utils
