// Calendar routines over `TDateTime`, the runtime's floating day count.
//
// A `TDateTime` counts days from 30 December 1899 at 00:00:00 in its integer
// part; its fraction is the part of a day. Before that origin the integer part
// is negative and the fraction still counts forward from midnight, so
// -1.25 is 29 December 1899 at 06:00. The calendar is the proleptic Gregorian
// one, years 1 to 9999; weeks are ISO 8601 (Monday first, week 1 holds four
// days of the new year). Every function is pure but `Now`, `Date` and
// `IsToday`, which read the wall clock (replaceable: port/clock.h), and is
// safe from any thread.
//
// Example:
//   TDateTime t = EncodeDate(2026, 11, 23) + EncodeTime(8, 30, 0, 0);
//   WeekOf(t) == 48; DayOfTheWeek(t) == 1;  // a Monday
#pragma once

#include <compare>
#include <cstdint>
#include <type_traits>

#include "cuadrante/runtime/export.h"

// A distinct type so that day counts never mix silently with second counts.
class TDateTime {
 public:
  constexpr TDateTime() noexcept = default;
  constexpr explicit TDateTime(double days) noexcept : Val(days) {}

  constexpr double Value() const noexcept { return Val; }
  constexpr explicit operator double() const noexcept { return Val; }

  friend constexpr auto operator<=>(TDateTime a, TDateTime b) noexcept = default;
  friend constexpr TDateTime operator+(TDateTime a, TDateTime b) noexcept {
    return TDateTime(a.Val + b.Val);
  }
  friend constexpr TDateTime operator-(TDateTime a, TDateTime b) noexcept {
    return TDateTime(a.Val - b.Val);
  }

  double Val = 0.0;
};

static_assert(!std::is_convertible_v<double, TDateTime>);
static_assert(!std::is_convertible_v<int64_t, TDateTime>);
static_assert(!std::is_convertible_v<TDateTime, double>);
static_assert(!std::is_convertible_v<TDateTime, int64_t>);

constexpr double HoursPerDay = 24;
constexpr double MinsPerDay = 24 * 60;
constexpr double SecsPerDay = 24 * 60 * 60;
constexpr double MSecsPerDay = SecsPerDay * 1000;

// Composition. The Encode functions raise EConvertError for a date or time that
// does not exist; the Try forms answer false and leave `result` alone.
CUADRANTE_API bool TryEncodeDate(uint16_t year, uint16_t month, uint16_t day, TDateTime& result);
CUADRANTE_API bool TryEncodeTime(uint16_t hour, uint16_t minute, uint16_t second,
                                 uint16_t millisecond, TDateTime& result);
CUADRANTE_API TDateTime EncodeDate(uint16_t year, uint16_t month, uint16_t day);
CUADRANTE_API TDateTime EncodeTime(uint16_t hour, uint16_t minute, uint16_t second,
                                   uint16_t millisecond);
// A date and a time of day combined; before the origin the time is subtracted
// so that the fraction still reads as the time of day.
CUADRANTE_API TDateTime EncodeDateTime(uint16_t year, uint16_t month, uint16_t day,
                                       uint16_t hour, uint16_t minute, uint16_t second,
                                       uint16_t millisecond);

// Decomposition. The time of day is rounded to the nearest millisecond, and a
// fraction that rounds up to a whole day carries into the next day.
CUADRANTE_API void DecodeDate(TDateTime value, uint16_t& year, uint16_t& month, uint16_t& day);
CUADRANTE_API void DecodeTime(TDateTime value, uint16_t& hour, uint16_t& minute,
                              uint16_t& second, uint16_t& millisecond);
CUADRANTE_API void DecodeDateTime(TDateTime value, uint16_t& year, uint16_t& month,
                                  uint16_t& day, uint16_t& hour, uint16_t& minute,
                                  uint16_t& second, uint16_t& millisecond);

CUADRANTE_API uint16_t YearOf(TDateTime value);
CUADRANTE_API uint16_t MonthOf(TDateTime value);
CUADRANTE_API uint16_t DayOfTheMonth(TDateTime value);
// 1 for Monday to 7 for Sunday.
CUADRANTE_API uint16_t DayOfTheWeek(TDateTime value);
CUADRANTE_API uint16_t DayOfTheYear(TDateTime value);
CUADRANTE_API bool IsLeapYear(uint16_t year);
CUADRANTE_API uint16_t DaysInAMonth(uint16_t year, uint16_t month);

// ISO 8601 week of the year, 1 to 53; the second form also gives the ISO year
// that the week belongs to, which differs from the calendar year around New Year.
CUADRANTE_API uint16_t WeekOf(TDateTime value);
CUADRANTE_API uint16_t WeekOfTheYear(TDateTime value);
CUADRANTE_API uint16_t WeekOfTheYear(TDateTime value, uint16_t& isoYear);

// Period bounds: starts at 00:00:00.000, ends at 23:59:59.999.
CUADRANTE_API TDateTime DateOf(TDateTime value);
CUADRANTE_API TDateTime TimeOf(TDateTime value);
CUADRANTE_API TDateTime StartOfTheDay(TDateTime value);
CUADRANTE_API TDateTime EndOfTheDay(TDateTime value);
CUADRANTE_API TDateTime StartOfTheWeek(TDateTime value);
CUADRANTE_API TDateTime EndOfTheWeek(TDateTime value);
CUADRANTE_API TDateTime StartOfTheMonth(TDateTime value);
CUADRANTE_API TDateTime EndOfTheMonth(TDateTime value);
CUADRANTE_API TDateTime StartOfTheYear(TDateTime value);
CUADRANTE_API TDateTime EndOfTheYear(TDateTime value);

// Steps that keep the time of day. A day past the end of the target month
// becomes its last day: 31 January + 1 month is 28 or 29 February.
CUADRANTE_API TDateTime IncDay(TDateTime value, int days = 1);
CUADRANTE_API TDateTime IncMonth(TDateTime value, int months = 1);
CUADRANTE_API TDateTime IncYear(TDateTime value, int years = 1);

// -1, 0 or 1 comparing the dates alone, the times alone, or both.
CUADRANTE_API int CompareDate(TDateTime a, TDateTime b);
CUADRANTE_API int CompareTime(TDateTime a, TDateTime b);
CUADRANTE_API int CompareDateTime(TDateTime a, TDateTime b);
CUADRANTE_API bool SameDate(TDateTime a, TDateTime b);

// The system's local wall-clock time.
CUADRANTE_API TDateTime Now();
CUADRANTE_API TDateTime Date();
CUADRANTE_API bool IsToday(TDateTime value);
