// TFecha, the date-time value, and TDuration, a span of seconds.
//
// A TFecha is signed 64-bit whole seconds from 30 December 1899 at 00:00:00;
// 0 means "no date". Every day has 86400 seconds: no zones, no daylight saving.
// Calendar questions (months, ISO weeks, texts) go through the runtime's
// TDateTime day count and back; the round trip is exact for every whole second,
// so stepping never drifts. Arithmetic that needs no calendar stays on the
// integer. The period ends (EndOfDay, EndOfWeek...) are the last whole second of
// the period, not the start of the next one.
// Both are plain values: copy freely, share between threads read-only.
//
// Example:
//   TFecha monday(TDateTime(EncodeDate(2026, 11, 23)));
//   monday.Week() == 48;  monday.EndOfWeek().ToString("dd/mm hh:mm") == "29/11 23:59"
#pragma once

#include <compare>
#include <concepts>
#include <cstdint>
#include <type_traits>

#include "cuadrante/runtime/datetime.h"
#include "cuadrante/runtime/sysutils.h"
#include "cuadrante/vocabulary/basicdefines.h"

class TDuration;

// Seconds in a calendar day of wall-clock time; the library's one name for it.
inline constexpr int64_t kSecondsPerDay = 86400;

// The last second that the calendar names, 31/12/9999 23:59:59, as a value.
inline constexpr int64_t kCalendarEnd = 2958465LL * kSecondsPerDay + kSecondsPerDay - 1;

class CUADRANTE_API TFecha {
 public:
  constexpr TFecha() noexcept = default;
  constexpr TFecha(const int64_t& value) noexcept : value_(value) {}  // NOLINT: implicit by design
  explicit TFecha(const TDateTime& value);
  // Parses with StrToDateTime; raises EConvertError for text that is no date.
  explicit TFecha(const AnsiString& text);
  // A bare floating number is ambiguous between seconds and days: say which.
  template <std::floating_point F>
  TFecha(F) = delete;

  constexpr void SetValue(const int64_t& value) noexcept { value_ = value; }
  // Time of day rounded to the millisecond, then the millisecond dropped.
  void SetValue(const TDateTime& value);
  // On a parse failure the old value stays and EConvertError passes.
  void SetValue(const AnsiString& text);

  constexpr int64_t Value() const noexcept { return value_; }
  constexpr operator int64_t() const noexcept { return value_; }  // NOLINT: implicit by design
  constexpr bool IsZero() const noexcept { return value_ == 0; }

  TDateTime AsDateTime() const;
  // The day alone, without fraction.
  TDateTime AsDate() const;
  // The value of 00:00:00 of the same day (a value, not a TFecha).
  constexpr int64_t Date() const noexcept { return (value_ / kSecondsPerDay) * kSecondsPerDay; }

  void GetDecodedDate(unsigned short& year, unsigned short& month, unsigned short& day) const;
  void GetDecodedTime(unsigned short& hour, unsigned short& minute, unsigned short& second) const;
  unsigned short Day() const;        // 1..31
  unsigned short DayOfWeek() const;  // Monday 1 .. Sunday 7
  unsigned short Week() const;       // ISO 8601, 1..53
  unsigned short Month() const;      // 1..12
  unsigned short Year() const;
  // True when this value's day is the system's current date.
  bool Today() const;
  // Kept for hosts that call it: frac(value / 3600) * 1440, in [0, 1440).
  double StartMinutes() const;

  TFecha StartOfWeek() const;  // Monday 00:00:00
  TFecha EndOfWeek() const;    // Sunday 23:59:59
  // The next Monday 00:00:00; past the calendar's last week, the calendar's
  // end (never a date before this one).
  TFecha StartOfNextWeek() const;
  TFecha EndOfDay() const;  // 23:59:59
  TFecha StartOfMonth() const;
  TFecha EndOfMonth() const;
  TFecha StartOfYear() const;
  TFecha EndOfYear() const;
  constexpr TFecha IncDay(short days) const noexcept {
    return TFecha(value_ + days * kSecondsPerDay);
  }
  constexpr TFecha IncHour(short hours) const noexcept { return TFecha(value_ + hours * 3600LL); }
  // One period of the TTimesGroup in the low 8 bits: 2 week, 3 month, 4 year,
  // 5 fortnight, 6 quarter, anything else a day. Months clamp to the month's end.
  // A step that would pass the calendar's end stops there, and a value already
  // past it stays as it is: the answer is never before this date.
  TFecha IncDays(short group) const;
  // Whether one IncDays step of the group lands within the calendar, so that
  // what IncDays answers is a real step and not the calendar's end.
  bool IncDaysFits(short group) const;

  constexpr TFecha operator+(const TDuration& span) const noexcept;
  // The difference of the values, as a duration of the default type.
  constexpr TDuration operator-(const TFecha& other) const noexcept;
  constexpr bool operator<(const TFecha& o) const noexcept { return value_ < o.value_; }
  constexpr bool operator<=(const TFecha& o) const noexcept { return value_ <= o.value_; }
  constexpr bool operator>(const TFecha& o) const noexcept { return value_ > o.value_; }
  constexpr bool operator>=(const TFecha& o) const noexcept { return value_ >= o.value_; }
  constexpr bool operator==(const TFecha& o) const noexcept { return value_ == o.value_; }
  constexpr bool operator!=(const TFecha& o) const noexcept { return value_ != o.value_; }
  // A plain count of seconds compares with the value, in either order; without
  // these, `fecha == 0` would be ambiguous between the implicit conversions.
  template <std::integral I>
  friend constexpr bool operator==(const TFecha& f, I seconds) noexcept {
    return f.value_ == static_cast<int64_t>(seconds);
  }
  template <std::integral I>
  friend constexpr std::strong_ordering operator<=>(const TFecha& f, I seconds) noexcept {
    return f.value_ <=> static_cast<int64_t>(seconds);
  }
  constexpr bool EqualDay(const TFecha& o) const noexcept { return Date() == o.Date(); }
  // Date() of this minus Date() of the other, in seconds (a multiple of 86400).
  constexpr int64_t DaysBetween(const TFecha& o) const noexcept { return Date() - o.Date(); }

  // FormatDateTime of AsDateTime() with the pattern.
  AnsiString ToString(const AnsiString& pattern) const;
  // Date and time, or a bare time of day for values of one day or less.
  AnsiString SmartString() const;

 private:
  int64_t value_ = 0;
};

class CUADRANTE_API TDuration {
 public:
  constexpr TDuration() noexcept = default;
  constexpr explicit TDuration(int64_t seconds) noexcept : value_(seconds) {}
  constexpr TDuration(int64_t seconds, TDurationType type) noexcept
      : value_(seconds), type_(type) {}
  // A span given as a day count, truncated toward zero to the second.
  explicit TDuration(TDateTime days);
  // A bare floating number is ambiguous between seconds and days: say which.
  template <std::floating_point F>
  TDuration(F) = delete;
  constexpr TDuration(short days, short hours, short minutes, short seconds) noexcept
      : value_(days * kSecondsPerDay + hours * 3600LL + minutes * 60LL + seconds) {}
  // The raw seconds of the TFecha; nothing is subtracted.
  constexpr explicit TDuration(const TFecha& fecha) noexcept : value_(fecha.Value()) {}

  constexpr int64_t Value() const noexcept { return value_; }
  constexpr void SetValue(int64_t seconds) noexcept { value_ = seconds; }
  constexpr TDurationType Type() const noexcept { return type_; }
  constexpr double AsMinutes() const noexcept { return static_cast<double>(value_) / 60.0; }

  constexpr TFecha operator+(const TFecha& fecha) const noexcept {
    return TFecha(value_ + fecha.Value());
  }
  // Results carry the default type, whatever the operands carry.
  constexpr TDuration operator+(const TDuration& o) const noexcept {
    return TDuration(value_ + o.value_);
  }
  constexpr TDuration operator-(const TDuration& o) const noexcept {
    return TDuration(value_ - o.value_);
  }
  // Comparisons look at the seconds alone.
  constexpr bool operator<(const TDuration& o) const noexcept { return value_ < o.value_; }
  constexpr bool operator<=(const TDuration& o) const noexcept { return value_ <= o.value_; }
  constexpr bool operator>(const TDuration& o) const noexcept { return value_ > o.value_; }
  constexpr bool operator>=(const TDuration& o) const noexcept { return value_ >= o.value_; }
  constexpr bool operator==(const TDuration& o) const noexcept { return value_ == o.value_; }
  constexpr bool operator!=(const TDuration& o) const noexcept { return value_ != o.value_; }

  // usrFormatTime(value, 0): "1 h 30 min " and the like.
  AnsiString GetSmartString() const;
  // usrFormatTime with the TTimeFormat in the low 8 bits of `format`.
  AnsiString GetString(short format) const;
  // The seconds as plain decimal digits, signed.
  AnsiString GetString() const;

 private:
  int64_t value_ = 0;
  TDurationType type_ = dtDefault;
};

constexpr TFecha TFecha::operator+(const TDuration& span) const noexcept {
  return TFecha(value_ + span.Value());
}

constexpr TDuration TFecha::operator-(const TFecha& other) const noexcept {
  return TDuration(value_ - other.value_);
}

static_assert(!std::is_convertible_v<TDateTime, TFecha>);
static_assert(std::is_trivially_copyable_v<TFecha> && std::is_trivially_copyable_v<TDuration>);
