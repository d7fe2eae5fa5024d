// Dates and durations, under fixed zones: UTC, and Europe/Berlin for daylight saving.

#include "support/TestPrelude.h"

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include <utils/Conversion.h>
#include <utils/DateTime.h>
#include <utils/Duration.h>

#include "utils/ConversionTestSupport.h"

namespace {

using conversiontest::expectRows;
using conversiontest::ScopedZone;
using utils::DateTime;
using utils::Duration;
namespace pt = boost::posix_time;

// Instants as seconds since 1970. The controller counts from its own local midnight
// of 1 January 2000: in Berlin that is 23:00 UTC the day before.
constexpr std::int64_t kBerlinEpoch = 946681200;
constexpr std::int64_t kSummerNoon = 1561975200 - kBerlinEpoch;  // 2019-07-01 12:00 CEST
constexpr std::int64_t kBeforeShift = 1553993999;                // 2019-03-31 01:59:59 CET
constexpr std::int64_t kAfterShift = 1553994000;                 // 2019-03-31 03:00:00 CEST
constexpr std::int64_t kLastSummerSecond = 1572137999;           // 2019-10-27 02:59:59 CEST

std::string rfc(std::int64_t controllerSeconds) { return DateTime::getRFC3339Time(controllerSeconds); }
std::string fromUnix(std::int64_t unixSeconds) { return rfc(unixSeconds - kBerlinEpoch); }
std::int64_t y2k() {
  std::int64_t time = 0;
  return DateTime::getY2kTime(&time), time;
}
// "hour isdst" of broken-down time.
std::string hour(const std::tm* parts) {
  return parts ? std::to_string(parts->tm_hour) + ' ' + std::to_string(parts->tm_isdst) : "null";
}
std::string hour(const std::tm& parts) { return hour(&parts); }
// The given time must stay as it was.
std::string wallClock(const std::int64_t unixSeconds) {
  std::int64_t time = unixSeconds;
  return hour(DateTime::getDstAdjustedLocalTime(&time)) + (time == unixSeconds ? "" : " moved");
}
// "offset daylight-seconds" in a zone.
std::string offsetIn(const char* name) {
  ScopedZone zone(name);
  return DateTime::get_utc_offset_string() + ' ' + std::to_string(DateTime::getdstInSec());
}
// The parsed fields read as UTC, in seconds since 1970.
std::int64_t iso(const char* text) {
  std::tm out{};
  return DateTime::fromIsoString(text, out), timegm(&out);
}

TEST(DateTimeRtcTest, UtcHasNoCorrectionBerlinIsShownOnStandardTimeAndTheSpringHourRepeats) {
  {
    ScopedZone zone("UTC");
    expectRows({
        ROW("2000-1-1T0:0:0", rfc(0)), ROW("946684800", y2k()), ROW("0", DateTime::getdstInSec()),
        // Only the low 32 bits of the controller's count are used.
        ROW("2000-1-1T0:0:1", rfc((std::int64_t{1} << 32) + 1)), ROW("2136-2-7T6:28:15", rfc(0xffffffff)),
        ROW("2019-7-1T11:0:0", rfc(kSummerNoon)), ROW("+00:00", DateTime::get_utc_offset_string()),
        ROW("+05:30 0", offsetIn("Asia/Kolkata")),
        ROW("-05:00 0", offsetIn("America/Bogota")),  // which had daylight saving only in the 1990s
    });
    DateTime::getY2kTime(nullptr);  // nowhere to write: nothing happens
  }
  ScopedZone zone("Europe/Berlin");
  expectRows({
      ROW("2000-1-1T0:0:0", rfc(0)), ROW("946681200", y2k()), ROW("3600", DateTime::getdstInSec()),
      // Noon on the wall clock reads 11 o'clock; an hour earlier is still summer.
      ROW("2019-7-1T11:0:0", rfc(kSummerNoon)),
      ROW("11 1", hour(utils::Conversion::rtcToTimePtr(static_cast<std::uint32_t>(kSummerNoon)))),
      // The wall clock jumps to 03:00; moved back by the shift, the moment lands at
      // 01:00 standard time, and that hour shows twice. 02:00 never shows.
      ROW("2019-3-31T1:59:59", fromUnix(kBeforeShift)), ROW("2019-3-31T1:0:0", fromUnix(kAfterShift)),
      ROW("2019-3-31T3:0:0", fromUnix(kAfterShift + 3600)),
      // In autumn the reading goes on without a jump.
      ROW("2019-10-27T1:59:59", fromUnix(kLastSummerSecond)), ROW("2019-10-27T2:0:0", fromUnix(kLastSummerSecond + 1)),
      // getDstAdjustedLocalTime keeps the wall clock and the time it was given.
      ROW("3 1", wallClock(kAfterShift)), ROW("1 0", wallClock(kBeforeShift)),
      ROW("null", hour(DateTime::getDstAdjustedLocalTime(nullptr))),
      ROW("null", wallClock(INT64_MAX)),  // beyond the calendar
      // The ISO reading is upper-cased and cut at the last Z, in any zone.
      ROW("1551769689", iso("2019-03-05t07:08:09z")), ROW("1609459198", iso("2020-12-31T23:59:58Zjunk")),
      ROW("1609556645", iso("2021-01-02T03:04:05")),
  });
  for (const char* bad : {"garbage", "zzz", "2019-02-30T00:00:00"}) EXPECT_ANY_THROW(iso(bad)) << bad;
}

// Equal instants in two zones: neither is later, and the difference is of local
// times. Unreadable text gives the present. The present local time is shifted by
// seconds and follows the zone; a tm is read as UTC.
TEST(DateTimeTextTest, BoostFormWithItsZoneArithmeticDurationsAndThePresent) {
  const DateTime plain("2026-Nov-14 10:05:09"), fraction("2026-Nov-04 01:02:03.000123");
  DateTime summer("2026-Jul-14 10:05:09 CET+01CEST+01,M3.5.0,M10.5.0/03:00"), eight("2026-Jul-14 08:05:09");
  DateTime a("2026-Dec-31 23:59:58");
  const DateTime b = a + 5;
  Duration sum = Duration(pt::seconds(2)) + Duration(pt::milliseconds(500));
  expectRows({
      ROW("2026-Nov-14 10:05:09 UTC", std::string(plain)),
      ROW("2026-Nov-14 10:05:09.000000 UTC", plain.to_string_fractional_seconds()),
      ROW("2026-Nov-04 01:02:03.000123 UTC", fraction.to_string_fractional_seconds()),
      ROW("2026-Jul-14 10:05:09 CEST", summer.to_string()),
      ROW("2026-07-14T08:05:09", pt::to_iso_extended_string(summer.get_local_date_time().utc_time())),
      ROW("10 1", hour(DateTime::to_tm(summer))), ROW("8 0", hour(DateTime::to_tm(eight))), ROW("0", summer > eight),
      ROW("7200", eight.get_diff(summer).get_in_seconds()), ROW("2027-Jan-01 00:00:03 UTC", b.to_string()),
      ROW("5", a.get_diff(b).get_in_seconds()), ROW("18446744073709551611", b.get_diff(a).get_in_seconds()),
      ROW("1", b > a), ROW("0", a > a), ROW("2027-Jan-01 23:59:58 UTC", (a += 86400, a.to_string())),
      ROW("2", sum.get_in_seconds()), ROW("2500", sum.get_in_milliseconds()),
      ROW("2500007", (sum += Duration(pt::microseconds(7)), sum.get_in_microseconds())),
      ROW("18446744073709551615", Duration(pt::seconds(-1)).get_in_seconds()),
  });
  const DateTime before, garbage("garbage"), after;  // constructed in this order
  EXPECT_FALSE(before > garbage || garbage > after);
  EXPECT_LT(before.get_diff(garbage).get_in_seconds(), 5u);
  const auto asUtcSeconds = [](std::tm parts) { return static_cast<std::int64_t>(timegm(&parts)); };
  ScopedZone zone("Asia/Kolkata");  // a second may tick between the calls
  EXPECT_NEAR(19800, asUtcSeconds(DateTime::getLocalSystemTime()) - DateTime::getCurrentTimeInSec(), 2);
  EXPECT_NEAR(90000, asUtcSeconds(DateTime::addLocalSystemTime(3600)) -
                         asUtcSeconds(DateTime::reduceLocalSystemTime(86400)), 2);
  EXPECT_TRUE(std::regex_match(DateTime::getCurrentDateTime(), std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d)")));
}

}  // namespace
