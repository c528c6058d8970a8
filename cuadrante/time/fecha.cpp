#include "cuadrante/time/fecha.h"

#include <algorithm>

#include <cmath>
#include <limits>

#include "cuadrante/runtime/dateformat.h"
#include "cuadrante/text/rutinasnumbers.h"

namespace cuadrante::detail {
namespace {

// 1/86400 held in extended precision. Its nearest extended value lies above
// the true quotient, so a multiple of 86400 never multiplies to just under its
// day; the double that results is the nearest to value/86400, which is what
// lets every whole second come back unchanged through DecodeTime's rounding.
constexpr long double kDaysPerSecond = 1.0L / 86400.0L;

// Outside the calendar the result is open; this bound only keeps the integer
// conversions below defined for any double a caller may pass.
constexpr double kDayLimit = 1.0e9;

// The day is the integer part of the day count and the time of day is taken
// apart by DecodeTime, which rounds to the millisecond; the millisecond is then
// dropped, so 29.4 s and 29.6 s both read as second 29. The two are taken
// separately, the day by truncation: a count within half a millisecond of the
// next midnight therefore reads as 00:00:00 of its own day. Counts made by
// AsDateTime and the runtime's period ends never come that close.
int64_t SecondsFromDateTime(TDateTime value) {
  double days = value.Val;
  if (!std::isfinite(days)) days = 0;
  if (days > kDayLimit) days = kDayLimit;
  if (days < -kDayLimit) days = -kDayLimit;
  uint16_t hour = 0, minute = 0, second = 0, msec = 0;
  DecodeTime(TDateTime(days), hour, minute, second, msec);
  const auto day = static_cast<int64_t>(std::trunc(days));
  return day * kSecondsPerDay + hour * 3600LL + minute * 60LL + second;
}

}  // namespace
}  // namespace cuadrante::detail

using namespace cuadrante::detail;

TFecha::TFecha(const TDateTime& value) : value_(SecondsFromDateTime(value)) {}

TFecha::TFecha(const AnsiString& text) : value_(SecondsFromDateTime(StrToDateTime(text))) {}

void TFecha::SetValue(const TDateTime& value) { value_ = SecondsFromDateTime(value); }

void TFecha::SetValue(const AnsiString& text) {
  // Parsed first, so that a failure leaves the old value in place.
  const TDateTime parsed = StrToDateTime(text);
  value_ = SecondsFromDateTime(parsed);
}

TDateTime TFecha::AsDateTime() const {
  return TDateTime(static_cast<double>(static_cast<long double>(value_) * kDaysPerSecond));
}

// Integer division truncates exactly as the extended product does for every
// value, and needs no rounding argument.
TDateTime TFecha::AsDate() const {
  const int64_t day = value_ / kSecondsPerDay;
  return TDateTime(static_cast<double>(day));
}

void TFecha::GetDecodedDate(unsigned short& year, unsigned short& month,
                            unsigned short& day) const {
  DecodeDate(AsDateTime(), year, month, day);
}

void TFecha::GetDecodedTime(unsigned short& hour, unsigned short& minute,
                            unsigned short& second) const {
  unsigned short msec = 0;
  DecodeTime(AsDateTime(), hour, minute, second, msec);
}

unsigned short TFecha::Day() const { return DayOfTheMonth(AsDate()); }
unsigned short TFecha::DayOfWeek() const { return DayOfTheWeek(AsDate()); }
unsigned short TFecha::Week() const { return WeekOf(AsDate()); }
unsigned short TFecha::Month() const { return MonthOf(AsDate()); }
unsigned short TFecha::Year() const { return YearOf(AsDate()); }
bool TFecha::Today() const { return IsToday(AsDate()); }

double TFecha::StartMinutes() const {
  const double hours = static_cast<double>(value_) / 3600.0;
  double fraction = hours - std::floor(hours);
  // A tiny negative quotient leaves 1 - epsilon, which rounds to 1.
  if (fraction >= 1.0) fraction = 0.0;
  const double minutes = fraction * 1440.0;
  return minutes < 1440.0 ? minutes : 0.0;
}

TFecha TFecha::StartOfWeek() const { return TFecha(StartOfTheWeek(AsDateTime())); }
TFecha TFecha::EndOfWeek() const { return TFecha(EndOfTheWeek(AsDateTime())); }
TFecha TFecha::EndOfDay() const { return TFecha(EndOfTheDay(AsDateTime())); }
TFecha TFecha::StartOfMonth() const { return TFecha(StartOfTheMonth(AsDateTime())); }
TFecha TFecha::EndOfMonth() const { return TFecha(EndOfTheMonth(AsDateTime())); }
TFecha TFecha::StartOfYear() const { return TFecha(StartOfTheYear(AsDateTime())); }
TFecha TFecha::EndOfYear() const { return TFecha(EndOfTheYear(AsDateTime())); }

TFecha TFecha::StartOfNextWeek() const {
  TDateTime day = AsDateTime();
  const uint16_t week = WeekOf(day);
  // The number changes within seven days anywhere in the calendar; the bound
  // keeps the walk finite past its last day, where every day reads the same.
  for (int step = 0; step < 7; ++step) {
    day = ::IncDay(day, 1);
    if (WeekOf(day) != week) break;
  }
  const TFecha next(StartOfTheWeek(day));
  // The calendar's last days have no next Monday to name.
  return next > *this ? next : std::max(*this, TFecha(kCalendarEnd));
}

bool TFecha::IncDaysFits(short group) const {
  if (value_ >= kCalendarEnd) return false;
  const int64_t room = kCalendarEnd - value_;
  switch (static_cast<int8_t>(group & 0xFF)) {
    case tgWeek:
      return room >= 7 * kSecondsPerDay;
    case tgFortnight:
      return room >= 14 * kSecondsPerDay;
    case tgMonth:
    case tgQuarter: {
      // The month step clamps to the calendar's last month, where it would
      // land on this very date.
      const int months = static_cast<int8_t>(group & 0xFF) == tgMonth ? 1 : 3;
      return Year() * 12 + Month() - 1 + months <= 9999 * 12 + 11;
    }
    case tgYear:
      return Year() < 9999;
    default:
      return room >= kSecondsPerDay;
  }
}

TFecha TFecha::IncDays(short group) const {
  // Beyond the calendar's end nothing is named: a step that would get there
  // stops at the end, and a value already past it stays as it is.
  if (!IncDaysFits(group)) return std::max(*this, TFecha(kCalendarEnd));
  switch (static_cast<int8_t>(group & 0xFF)) {
    case tgWeek:
      return TFecha(value_ + 7 * kSecondsPerDay);
    case tgMonth:
      return TFecha(IncMonth(AsDateTime(), 1));
    case tgYear:
      return TFecha(IncYear(AsDateTime(), 1));
    case tgFortnight:
      return TFecha(value_ + 14 * kSecondsPerDay);
    case tgQuarter:
      return TFecha(IncMonth(AsDateTime(), 3));
    default:
      return TFecha(value_ + kSecondsPerDay);
  }
}

AnsiString TFecha::ToString(const AnsiString& pattern) const {
  return FormatDateTime(pattern, AsDateTime());
}

AnsiString TFecha::SmartString() const {
  return value_ > kSecondsPerDay ? DateTimeToStr(AsDateTime()) : TimeToStr(AsDateTime());
}

TDuration::TDuration(TDateTime days) {
  // A double times 86400 is exact in the 64-bit mantissa of an extended, so the
  // truncation sees the true product: a day count just under a whole second
  // stays under it. Out-of-range counts saturate; not a number is no time.
  const long double seconds = static_cast<long double>(days.Val) * 86400.0L;
  constexpr long double kLimit = 9.2e18L;
  if (std::isnan(seconds)) {
    value_ = 0;
  } else if (seconds >= kLimit) {
    value_ = std::numeric_limits<int64_t>::max();
  } else if (seconds <= -kLimit) {
    value_ = std::numeric_limits<int64_t>::min();
  } else {
    value_ = static_cast<int64_t>(seconds);
  }
}

AnsiString TDuration::GetSmartString() const { return usrFormatTime(value_, tfComposed); }

AnsiString TDuration::GetString(short format) const {
  return usrFormatTime(value_, static_cast<TTimeFormat>(static_cast<int8_t>(format & 0xFF)));
}

AnsiString TDuration::GetString() const { return IntToStr(value_); }
