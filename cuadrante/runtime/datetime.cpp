#include "cuadrante/runtime/datetime.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <ctime>

#include "cuadrante/runtime/exception.h"

namespace cuadrante::detail {
namespace {

constexpr int64_t kMSecsPerDay = 86'400'000;
// Days from 1899-12-30 to 1970-01-01.
constexpr int64_t kUnixEpochSerial = 25'569;
constexpr int64_t kFirstSerial = -693'593;  // 0001-01-01
constexpr int64_t kLastSerial = 2'958'465;  // 9999-12-31

struct Civil {
  int64_t year;
  unsigned month;
  unsigned day;
};

// Howard Hinnant's days_from_civil / civil_from_days, shifted to our origin.
constexpr int64_t SerialFromCivil(int64_t y, unsigned m, unsigned d) noexcept {
  y -= m <= 2;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const auto yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<int64_t>(doe) - 719468 + kUnixEpochSerial;
}

constexpr Civil CivilFromSerial(int64_t serial) noexcept {
  const int64_t z = serial - kUnixEpochSerial + 719468;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const auto doe = static_cast<unsigned>(z - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  const unsigned d = doy - (153 * mp + 2) / 5 + 1;
  const unsigned m = mp < 10 ? mp + 3 : mp - 9;
  return {static_cast<int64_t>(yoe) + era * 400 + (m <= 2), m, d};
}

static_assert(SerialFromCivil(1899, 12, 30) == 0);
static_assert(SerialFromCivil(1, 1, 1) == kFirstSerial);
static_assert(SerialFromCivil(9999, 12, 31) == kLastSerial);

// A day count split into its day and its time of day in whole milliseconds.
// The whole value is rounded to the millisecond before it is split, so a time
// that rounds up to midnight carries into the next day.
struct Split {
  int64_t serial;
  int64_t msOfDay;
};

Split SplitValue(TDateTime value) {
  double v = value.Val;
  if (!std::isfinite(v)) v = 0;
  v = std::clamp(v, static_cast<double>(kFirstSerial - 1), static_cast<double>(kLastSerial + 1));
  const auto total = static_cast<int64_t>(std::nearbyint(v * static_cast<double>(kMSecsPerDay)));
  const int64_t serial = total / kMSecsPerDay;  // truncates toward zero
  int64_t ms = total % kMSecsPerDay;
  if (ms < 0) ms = -ms;
  return {serial, ms};
}

TDateTime Compose(int64_t serial, int64_t msOfDay) {
  const double time = static_cast<double>(msOfDay) / static_cast<double>(kMSecsPerDay);
  const auto day = static_cast<double>(serial);
  return TDateTime(serial >= 0 ? day + time : day - time);
}

constexpr int64_t kEndOfDayMs = kMSecsPerDay - 1;

// 1 = Monday .. 7 = Sunday; serial 0 was a Saturday.
unsigned IsoWeekday(int64_t serial) {
  const int64_t r = (serial + 5) % 7;
  return static_cast<unsigned>(r < 0 ? r + 7 : r) + 1;
}

unsigned DaysIn(int64_t year, unsigned month) {
  static constexpr unsigned kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (month == 2 && IsLeapYear(static_cast<uint16_t>(year))) return 29;
  return kDays[month - 1];
}

uint16_t IsoWeek(int64_t serial, uint16_t& isoYear) {
  const int64_t thursday = serial - static_cast<int64_t>(IsoWeekday(serial)) + 4;
  const Civil c = CivilFromSerial(thursday);
  isoYear = static_cast<uint16_t>(c.year);
  const int64_t dayOfYear = thursday - SerialFromCivil(c.year, 1, 1);
  return static_cast<uint16_t>(dayOfYear / 7 + 1);
}

}  // namespace
}  // namespace cuadrante::detail

using namespace cuadrante::detail;

bool IsLeapYear(uint16_t year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

uint16_t DaysInAMonth(uint16_t year, uint16_t month) {
  if (month < 1 || month > 12) return 0;
  return static_cast<uint16_t>(DaysIn(year, month));
}

bool TryEncodeDate(uint16_t year, uint16_t month, uint16_t day, TDateTime& result) {
  if (year < 1 || year > 9999 || month < 1 || month > 12 || day < 1 || day > DaysIn(year, month)) {
    return false;
  }
  result = TDateTime(static_cast<double>(SerialFromCivil(year, month, day)));
  return true;
}

bool TryEncodeTime(uint16_t hour, uint16_t minute, uint16_t second, uint16_t millisecond,
                   TDateTime& result) {
  if (hour > 23 || minute > 59 || second > 59 || millisecond > 999) return false;
  const int64_t ms = ((hour * 60 + minute) * 60 + second) * 1000 + millisecond;
  result = TDateTime(static_cast<double>(ms) / static_cast<double>(kMSecsPerDay));
  return true;
}

TDateTime EncodeDate(uint16_t year, uint16_t month, uint16_t day) {
  TDateTime result;
  if (!TryEncodeDate(year, month, day, result)) {
    throw EConvertError("Invalid argument to date encode");
  }
  return result;
}

TDateTime EncodeTime(uint16_t hour, uint16_t minute, uint16_t second, uint16_t millisecond) {
  TDateTime result;
  if (!TryEncodeTime(hour, minute, second, millisecond, result)) {
    throw EConvertError("Invalid argument to time encode");
  }
  return result;
}

TDateTime EncodeDateTime(uint16_t year, uint16_t month, uint16_t day, uint16_t hour,
                         uint16_t minute, uint16_t second, uint16_t millisecond) {
  const TDateTime date = EncodeDate(year, month, day);
  const TDateTime time = EncodeTime(hour, minute, second, millisecond);
  return date.Val >= 0 ? date + time : date - time;
}

void DecodeDate(TDateTime value, uint16_t& year, uint16_t& month, uint16_t& day) {
  const Civil c = CivilFromSerial(SplitValue(value).serial);
  year = static_cast<uint16_t>(c.year);
  month = static_cast<uint16_t>(c.month);
  day = static_cast<uint16_t>(c.day);
}

void DecodeTime(TDateTime value, uint16_t& hour, uint16_t& minute, uint16_t& second,
                uint16_t& millisecond) {
  int64_t ms = SplitValue(value).msOfDay;
  millisecond = static_cast<uint16_t>(ms % 1000);
  ms /= 1000;
  second = static_cast<uint16_t>(ms % 60);
  ms /= 60;
  minute = static_cast<uint16_t>(ms % 60);
  hour = static_cast<uint16_t>(ms / 60);
}

void DecodeDateTime(TDateTime value, uint16_t& year, uint16_t& month, uint16_t& day, uint16_t& hour,
                    uint16_t& minute, uint16_t& second, uint16_t& millisecond) {
  DecodeDate(value, year, month, day);
  DecodeTime(value, hour, minute, second, millisecond);
}

uint16_t YearOf(TDateTime value) {
  return static_cast<uint16_t>(CivilFromSerial(SplitValue(value).serial).year);
}

uint16_t MonthOf(TDateTime value) {
  return static_cast<uint16_t>(CivilFromSerial(SplitValue(value).serial).month);
}

uint16_t DayOfTheMonth(TDateTime value) {
  return static_cast<uint16_t>(CivilFromSerial(SplitValue(value).serial).day);
}

uint16_t DayOfTheWeek(TDateTime value) {
  return static_cast<uint16_t>(IsoWeekday(SplitValue(value).serial));
}

uint16_t DayOfTheYear(TDateTime value) {
  const int64_t serial = SplitValue(value).serial;
  const Civil c = CivilFromSerial(serial);
  return static_cast<uint16_t>(serial - SerialFromCivil(c.year, 1, 1) + 1);
}

uint16_t WeekOf(TDateTime value) { return WeekOfTheYear(value); }

uint16_t WeekOfTheYear(TDateTime value) {
  uint16_t isoYear = 0;
  return IsoWeek(SplitValue(value).serial, isoYear);
}

uint16_t WeekOfTheYear(TDateTime value, uint16_t& isoYear) {
  return IsoWeek(SplitValue(value).serial, isoYear);
}

TDateTime DateOf(TDateTime value) { return Compose(SplitValue(value).serial, 0); }

TDateTime TimeOf(TDateTime value) {
  return TDateTime(static_cast<double>(SplitValue(value).msOfDay) /
                   static_cast<double>(kMSecsPerDay));
}

TDateTime StartOfTheDay(TDateTime value) { return DateOf(value); }

TDateTime EndOfTheDay(TDateTime value) { return Compose(SplitValue(value).serial, kEndOfDayMs); }

TDateTime StartOfTheWeek(TDateTime value) {
  const int64_t serial = SplitValue(value).serial;
  return Compose(serial - IsoWeekday(serial) + 1, 0);
}

TDateTime EndOfTheWeek(TDateTime value) {
  const int64_t serial = SplitValue(value).serial;
  return Compose(serial - IsoWeekday(serial) + 7, kEndOfDayMs);
}

TDateTime StartOfTheMonth(TDateTime value) {
  const Civil c = CivilFromSerial(SplitValue(value).serial);
  return Compose(SerialFromCivil(c.year, c.month, 1), 0);
}

TDateTime EndOfTheMonth(TDateTime value) {
  const Civil c = CivilFromSerial(SplitValue(value).serial);
  return Compose(SerialFromCivil(c.year, c.month, DaysIn(c.year, c.month)), kEndOfDayMs);
}

TDateTime StartOfTheYear(TDateTime value) {
  const Civil c = CivilFromSerial(SplitValue(value).serial);
  return Compose(SerialFromCivil(c.year, 1, 1), 0);
}

TDateTime EndOfTheYear(TDateTime value) {
  const Civil c = CivilFromSerial(SplitValue(value).serial);
  return Compose(SerialFromCivil(c.year, 12, 31), kEndOfDayMs);
}

TDateTime IncDay(TDateTime value, int days) { return TDateTime(value.Val + days); }

TDateTime IncMonth(TDateTime value, int months) {
  const Split s = SplitValue(value);
  const Civil c = CivilFromSerial(s.serial);
  // Steps past either end of the calendar stop at its first or last month, so
  // that any count of months gives a date that exists.
  const int64_t index = std::clamp<int64_t>(
      c.year * 12 + static_cast<int64_t>(c.month - 1) + months, 12, 9999 * 12 + 11);
  const int64_t year = index / 12;
  const auto month = static_cast<unsigned>(index % 12) + 1;
  const unsigned day = std::min(c.day, DaysIn(year, month));
  return Compose(SerialFromCivil(year, month, day), s.msOfDay);
}

TDateTime IncYear(TDateTime value, int years) {
  // Beyond 10000 years every step lands on the same end of the calendar; the
  // clamp only keeps the product inside an int.
  return IncMonth(value, std::clamp(years, -10000, 10000) * 12);
}

namespace cuadrante::detail {
namespace {
int Sign(int64_t difference) { return difference < 0 ? -1 : (difference > 0 ? 1 : 0); }
}  // namespace
}  // namespace cuadrante::detail

int CompareDate(TDateTime a, TDateTime b) {
  return Sign(SplitValue(a).serial - SplitValue(b).serial);
}

int CompareTime(TDateTime a, TDateTime b) {
  return Sign(SplitValue(a).msOfDay - SplitValue(b).msOfDay);
}

int CompareDateTime(TDateTime a, TDateTime b) {
  const Split x = SplitValue(a);
  const Split y = SplitValue(b);
  if (x.serial != y.serial) return Sign(x.serial - y.serial);
  // Compared chronologically: before the origin too the time of day runs forward.
  return Sign(x.msOfDay - y.msOfDay);
}

bool SameDate(TDateTime a, TDateTime b) { return CompareDate(a, b) == 0; }

// Now() reads the replaceable clock of port/clock.cpp.

TDateTime Date() { return DateOf(Now()); }

bool IsToday(TDateTime value) { return SameDate(value, Now()); }
