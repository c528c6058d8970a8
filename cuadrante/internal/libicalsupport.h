// What the calendar writer and reader share over libical: ownership of its
// components and iterators, its texts, and its times on the library's clock.
// Private to the library: hosts never see libical.
#pragma once

#include <libical/ical.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "cuadrante/roster/chrono.h"

namespace cuadrante::roster::detail {

struct TComponentFree {
  void operator()(icalcomponent* component) const { icalcomponent_free(component); }
};
using TComponentPtr = std::unique_ptr<icalcomponent, TComponentFree>;

struct TIteratorFree {
  void operator()(icalrecur_iterator* iterator) const { icalrecur_iterator_free(iterator); }
};

// A text libical may answer null for, as a string.
inline std::string Text(const char* text) { return text != nullptr ? text : ""; }

// The time as it is written, on the library's wall clock.
inline int64_t WrittenWall(const icaltimetype& time) {
  constexpr int64_t kDay = 86400;
  const std::chrono::year_month_day day{std::chrono::year(time.year),
                                        std::chrono::month(static_cast<unsigned>(time.month)),
                                        std::chrono::day(static_cast<unsigned>(time.day))};
  const int64_t days = std::chrono::sys_days(day).time_since_epoch().count() + kUnixEpochDays;
  if (time.is_date) return days * kDay;
  return days * kDay + time.hour * 3600 + time.minute * 60 + time.second;
}

}  // namespace cuadrante::roster::detail
