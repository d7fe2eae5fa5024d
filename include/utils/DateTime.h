// An instant, kept in UTC, and the library's helpers for local time, ISO texts and
// the seconds of controller clocks, which count from midnight of 1 January 2000 in
// local time. Local time follows the process's zone (TZ, else the system's).
#pragma once

#include <NorvaneExport.h>

#include <cstdint>
#include <ctime>
#include <string>

#include <boost/date_time/local_time/local_time_types.hpp>

#include <utils/Duration.h>

namespace utils {

class NORVANE_API DateTime {
 public:
  // The present moment, in UTC with no zone.
  DateTime();
  // Reads text in the form "2026-Nov-14 10:05:09[.ffffff] [POSIX zone]"; a text that
  // does not read leaves the present moment, with no error.
  DateTime(const std::string& text);

  // "2026-Nov-14 10:05:09 UTC": date, time and zone abbreviation.
  std::string to_string() const;
  // "2026-Nov-14 10:05:09.000123 UTC".
  std::string to_string_fractional_seconds() const;
  operator std::string() const;
  boost::local_time::local_date_time get_local_date_time() const;

  // other minus this: positive when other is later.
  Duration get_diff(const DateTime& other) const;
  bool operator>(const DateTime& other) const;
  DateTime operator+(unsigned int seconds) const;
  DateTime& operator+=(unsigned int seconds);

  static void get_current_time(DateTime& out);
  // Seconds since 1970.
  static std::int64_t getCurrentTimeInSec();
  // Present local time as "2026-11-14T10:05:09".
  static std::string getCurrentDateTime();
  static std::tm getLocalSystemTime();
  static std::tm addLocalSystemTime(int seconds);
  static std::tm reduceLocalSystemTime(int seconds);
  static std::tm to_tm(DateTime& dateTime);
  // Reads "2019-03-05T07:08:09" (any case, cut at the last "Z"), taken as it stands
  // with no zone shift. Throws what the date parser throws on bad text.
  static void fromIsoString(std::string text, std::tm& out);
  // Controller seconds as "2019-3-5T7:8:9", unpadded, on standard time.
  static std::string getRFC3339Time(std::int64_t rtc);
  // Local time of *time, in the buffer shared with Conversion::rtcToTimePtr; null
  // for a null pointer.
  static std::tm* getDstAdjustedLocalTime(std::int64_t* time);
  // *out becomes the instant of the year-2000 epoch on standard time.
  static void getY2kTime(std::int64_t* out);
  // Size of the zone's daylight-saving shift in seconds; 0 where it has none.
  static std::int64_t getdstInSec();
  // Present offset of local time from UTC, signed: "+05:30", "-04:00", "+00:00".
  static std::string get_utc_offset_string();

 private:
  boost::local_time::local_date_time m_date_time;
};

}  // namespace utils
