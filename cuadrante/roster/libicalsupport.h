// What the calendar writer and reader share over libical: ownership of its
// components, parsers and iterators, its texts, its times on the library's
// clock, and texts parsed from content lines that TContentLines unfolds
// (libical's own line reader takes time in the square of a line's length).
// Private to the library: hosts never see libical.
#pragma once

#include <libical/ical.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "cuadrante/roster/chrono.h"
#include "cuadrante/roster/icslines.h"
#include "cuadrante/runtime/sysutils.h"

namespace cuadrante::roster::detail {

struct TComponentFree {
  void operator()(icalcomponent* component) const { icalcomponent_free(component); }
};
using TComponentPtr = std::unique_ptr<icalcomponent, TComponentFree>;

struct TIteratorFree {
  void operator()(icalrecur_iterator* iterator) const { icalrecur_iterator_free(iterator); }
};

struct TParserFree {
  void operator()(icalparser* parser) const { icalparser_free(parser); }
};

// The first whole component that the content lines from `lines` make, or
// null when the text ends first. Raises what TContentLines raises.
inline TComponentPtr ParseComponent(TContentLines& lines) {
  std::unique_ptr<icalparser, TParserFree> parser(icalparser_new());
  while (lines.Next()) {
    std::string line = lines.Line();  // libical takes a mutable text
    if (icalcomponent* done = icalparser_add_line(parser.get(), line.data()))
      return TComponentPtr(done);
  }
  return nullptr;
}

// The one component that a whole text makes, or null for none or more than one.
inline TComponentPtr ParseText(std::string_view text) {
  TContentLines lines(text);
  TComponentPtr root = ParseComponent(lines);
  if (root && ParseComponent(lines)) return nullptr;
  return root;
}

// A text libical may answer null for, as a string.
inline std::string Text(const char* text) { return text != nullptr ? text : ""; }

// The value of the X- property `name` of `event` (named in any case), or nothing.
inline std::optional<std::string> XValue(icalcomponent* event, std::string_view name) {
  for (icalproperty* p = icalcomponent_get_first_property(event, ICAL_X_PROPERTY); p != nullptr;
       p = icalcomponent_get_next_property(event, ICAL_X_PROPERTY)) {
    if (AnsiCompareText(Text(icalproperty_get_x_name(p)), name) == 0)
      return Text(icalproperty_get_x(p));
  }
  return std::nullopt;
}

// The time as it is written, on the library's wall clock.
inline int64_t WrittenWall(const icaltimetype& time) {
  const std::chrono::year_month_day day{std::chrono::year(time.year),
                                        std::chrono::month(static_cast<unsigned>(time.month)),
                                        std::chrono::day(static_cast<unsigned>(time.day))};
  const int64_t days = std::chrono::sys_days(day).time_since_epoch().count() + kUnixEpochDays;
  if (time.is_date) return days * kSecondsPerDay;
  return days * kSecondsPerDay + time.hour * 3600 + time.minute * 60 + time.second;
}

// A length in seconds, whatever its size: libical's own sum is an int.
inline int64_t DurationSeconds(const icaldurationtype& length) {
  const int64_t days = static_cast<int64_t>(length.weeks) * 7 + length.days;
  const int64_t seconds = ((days * 24 + length.hours) * 60 + length.minutes) * 60 + length.seconds;
  return length.is_neg ? -seconds : seconds;
}

// The inverse of WrittenWall: a wall-clock value as a time of `zone` (null:
// floating), or as a date.
inline icaltimetype TimeOfWall(int64_t wall, bool isDate, const icaltimezone* zone) {
  const int64_t days =
      (wall >= 0 ? wall / kSecondsPerDay : -((-wall + kSecondsPerDay - 1) / kSecondsPerDay));
  const int64_t second = wall - days * kSecondsPerDay;
  const std::chrono::year_month_day day{
      std::chrono::sys_days(std::chrono::days(days - kUnixEpochDays))};
  icaltimetype time = icaltime_null_time();
  time.year = static_cast<int>(day.year());
  time.month = static_cast<int>(static_cast<unsigned>(day.month()));
  time.day = static_cast<int>(static_cast<unsigned>(day.day()));
  time.is_date = isDate ? 1 : 0;
  if (!isDate) {
    time.hour = static_cast<int>(second / 3600);
    time.minute = static_cast<int>(second / 60 % 60);
    time.second = static_cast<int>(second % 60);
  }
  time.zone = zone;
  return time;
}

}  // namespace cuadrante::roster::detail
