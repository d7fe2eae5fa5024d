#include <utils/DateTime.h>

#include <cstdlib>
#include <iomanip>
#include <sstream>

#include <boost/date_time/c_local_time_adjustor.hpp>
#include <boost/date_time/local_time/local_time.hpp>
#include <boost/date_time/posix_time/posix_time.hpp>
#include <boost/date_time/time_parsing.hpp>

#include <utils/Conversion.h>
#include <utils/StringHelper.h>

#include "platform/LocalZone.h"

namespace utils {
namespace {

using boost::local_time::local_date_time;
using boost::posix_time::ptime;
using boost::posix_time::time_duration;

local_date_time universalNow() {
  return local_date_time(boost::posix_time::microsec_clock::universal_time(),
                         boost::local_time::time_zone_ptr());
}

std::string formatDateTime(const local_date_time& value, bool fractional) {
  const ptime local = value.local_time();
  const time_duration timeOfDay = local.time_of_day();
  std::ostringstream text;
  text << local.date() << ' ' << std::setfill('0') << std::setw(2) << timeOfDay.hours() << ':'
       << std::setw(2) << timeOfDay.minutes() << ':' << std::setw(2) << timeOfDay.seconds();
  if (fractional) text << '.' << std::setw(6) << timeOfDay.fractional_seconds();
  text << ' ' << value.zone_abbrev();
  return text.str();
}

ptime localNow() {
  platform::local_zone::followZone();
  return boost::posix_time::second_clock::local_time();
}

}  // namespace

DateTime::DateTime() : m_date_time(universalNow()) {}

DateTime::DateTime(const std::string& text) : m_date_time(universalNow()) {
  // Boost's own reader in its default form "%Y-%b-%d %H:%M:%S%F %ZP"; a failure
  // only sets the failbit of this stream and leaves the present moment.
  std::istringstream in(text);
  in >> m_date_time;
}

std::string DateTime::to_string() const { return formatDateTime(m_date_time, false); }

std::string DateTime::to_string_fractional_seconds() const {
  return formatDateTime(m_date_time, true);
}

DateTime::operator std::string() const { return to_string(); }

local_date_time DateTime::get_local_date_time() const { return m_date_time; }

Duration DateTime::get_diff(const DateTime& other) const {
  return Duration(other.m_date_time.local_time() - m_date_time.local_time());
}

bool DateTime::operator>(const DateTime& other) const { return m_date_time > other.m_date_time; }

DateTime DateTime::operator+(unsigned int seconds) const {
  DateTime later(*this);
  later += seconds;
  return later;
}

DateTime& DateTime::operator+=(unsigned int seconds) {
  m_date_time += time_duration(0, 0, static_cast<time_duration::sec_type>(seconds));
  return *this;
}

void DateTime::get_current_time(DateTime& out) { out = DateTime(); }

std::int64_t DateTime::getCurrentTimeInSec() {
  return static_cast<std::int64_t>(std::time(nullptr));
}

std::string DateTime::getCurrentDateTime() {
  std::tm now{};
  platform::local_zone::toLocalTime(getCurrentTimeInSec(), now);
  char text[80];
  const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%X", &now);
  return std::string(text, length);
}

std::tm DateTime::getLocalSystemTime() { return boost::posix_time::to_tm(localNow()); }

std::tm DateTime::addLocalSystemTime(int seconds) {
  return boost::posix_time::to_tm(localNow() + boost::posix_time::seconds(seconds));
}

std::tm DateTime::reduceLocalSystemTime(int seconds) {
  return boost::posix_time::to_tm(localNow() - boost::posix_time::seconds(seconds));
}

std::tm DateTime::to_tm(DateTime& dateTime) {
  return boost::local_time::to_tm(dateTime.m_date_time);
}

void DateTime::fromIsoString(std::string text, std::tm& out) {
  StringHelper::to_upper(text);
  const std::string::size_type zone = text.rfind('Z');
  if (zone != std::string::npos) text.erase(zone);
  const ptime parsed = boost::date_time::parse_delimited_time<ptime>(text, 'T');
  out = boost::posix_time::to_tm(parsed);
}

std::string DateTime::getRFC3339Time(std::int64_t rtc) {
  const std::tm* parts = Conversion::rtcToTimePtr(static_cast<std::uint32_t>(rtc));
  auto number = [](int value) {
    return Conversion::to_string(static_cast<unsigned long long>(value));
  };
  return number(parts->tm_year + 1900) + "-" + number(parts->tm_mon + 1) + "-" +
         number(parts->tm_mday) + "T" + number(parts->tm_hour) + ":" + number(parts->tm_min) +
         ":" + number(parts->tm_sec);
}

std::tm* DateTime::getDstAdjustedLocalTime(std::int64_t* time) {
  // A null pointer has no time to show.
  if (time == nullptr) return nullptr;
  std::tm* parts = platform::local_zone::toLocalTimeInThreadBuffer(*time);
  if (parts != nullptr && parts->tm_isdst > 0) {
    // Unlike rtcToTimePtr the copy keeps its daylight-saving flag, so mktime gives
    // the same instant back and the correction is zero: the wall clock is shown.
    std::tm copy = *parts;
    const std::int64_t same = platform::local_zone::makeTime(copy);
    parts = platform::local_zone::toLocalTimeInThreadBuffer(*time - (same - *time));
  }
  return parts;
}

void DateTime::getY2kTime(std::int64_t* out) {
  // A null pointer has nowhere to take the result.
  if (out == nullptr) return;
  std::tm epoch = platform::local_zone::y2kEpoch(0);
  *out = platform::local_zone::makeTime(epoch);
}

std::int64_t DateTime::getdstInSec() {
  // glibc's mktime shifts a time flagged as daylight saving by an hour even in a zone
  // that keeps none; such a zone applies no shift, so its size is 0.
  if (!platform::local_zone::keepsDaylightSaving(100)) return 0;
  std::tm standard = platform::local_zone::y2kEpoch(0);
  std::tm daylight = platform::local_zone::y2kEpoch(1);
  const std::int64_t difference =
      platform::local_zone::makeTime(standard) - platform::local_zone::makeTime(daylight);
  return std::llabs(difference);
}

std::string DateTime::get_utc_offset_string() {
  platform::local_zone::followZone();
  const ptime universal = boost::posix_time::second_clock::universal_time();
  const ptime local = boost::date_time::c_local_adjustor<ptime>::utc_to_local(universal);
  std::ostringstream text;
  auto* facet = new boost::posix_time::time_facet();
  facet->time_duration_format("%+%H:%M");
  text.imbue(std::locale(text.getloc(), facet));
  text << (local - universal);
  return text.str();
}

}  // namespace utils
