#include "cuadrante/text/rutinasnumbers.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>

#include "cuadrante/runtime/exception.h"

namespace cuadrante::detail {
namespace {

constexpr int64_t kMsPerSecond = 1000;
constexpr int64_t kMsPerMinute = 60 * kMsPerSecond;
constexpr int64_t kMsPerHour = 60 * kMsPerMinute;
constexpr int64_t kMsPerDay = 24 * kMsPerHour;

AnsiString Fixed(double value, const char* unit) {
  return FloatToStrF(value, ffFixed, 10, 2) + unit;
}

void AppendPiece(AnsiString& text, int64_t number, const char* unit) {
  if (number <= 0) return;
  std::array<char, 24> digits{};
  const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), number);
  text.append(digits.data(), result.ptr);
  text += unit;
}

// Days, hours, minutes and seconds, each shown only when it is not zero.
//
// Days, the clock and the rounding all come from one count of whole
// milliseconds, so a value a hair under a day boundary reads as the next day
// rather than as a day short with an empty clock.
//
// The rounding moves up one unit at a time: milliseconds above 500 add a
// second, seconds above 30 become a minute, and whatever then overflows
// carries on: 60 minutes become an hour and 24 hours a day, leaving zeros
// behind. So 59 min 31 sec reads "1 h " and 23 h 59 min 31 sec reads "1 d ".
//
// A negative length is written as a minus sign before the pieces of its
// magnitude, with the days folded into the hours, since a negative length is
// never shown in days: -1.5 hours reads "-1 h 30 min " and -49 hours "-49 h ".
// A length that rounds to nothing is the empty text, with no sign; so is NaN.
AnsiString Composed(double hours) {
  if (std::isnan(hours)) return {};
  const bool negative = hours < 0;
  const double scaled = std::fabs(hours) * static_cast<double>(kMsPerHour);
  // Beyond this the count no longer fits: show the longest length we can count.
  constexpr double kLargest = 9.2e18;
  const int64_t ms =
      scaled >= kLargest ? std::numeric_limits<int64_t>::max() : std::llround(scaled);

  int64_t days = ms / kMsPerDay;
  int64_t clockHours = ms % kMsPerDay / kMsPerHour;
  int64_t minutes = ms % kMsPerHour / kMsPerMinute;
  int64_t seconds = ms % kMsPerMinute / kMsPerSecond;
  const int64_t milliseconds = ms % kMsPerSecond;

  if (milliseconds > 500) ++seconds;
  if (seconds > 30) {
    ++minutes;
    seconds = 0;
  }
  if (minutes == 60) {
    ++clockHours;
    minutes = 0;
  }
  if (negative) {
    clockHours += days * 24;
    days = 0;
  } else if (clockHours == 24) {
    ++days;
    clockHours = 0;
  }

  AnsiString text;
  AppendPiece(text, days, " d ");
  AppendPiece(text, clockHours, " h ");
  AppendPiece(text, minutes, " min ");
  AppendPiece(text, seconds, " sec");
  if (negative && !text.empty()) text.insert(0, 1, '-');
  return text;
}

}  // namespace
}  // namespace cuadrante::detail

double StrToDoubleDef(const AnsiString& text, const double def) {
  try {
    return ToDouble(text);
  } catch (const Exception&) {
    if (text.find('.') == AnsiString::npos) return def;
  }
  // A text written with "." under a comma separator: read it once more with
  // the comma. If that fails as well, the caller hears about it.
  AnsiString comma = text;
  comma[comma.find('.')] = ',';
  return ToDouble(comma);
}

AnsiString usrFormatTime(const double hours, TTimeFormat form) {
  using cuadrante::detail::Fixed;
  switch (form) {
    case tfWeeks:
      return Fixed(hours / 168, " w");
    case tfDays:
      return Fixed(hours / 24, " d");
    case tfHours:
      return Fixed(hours, " h");
    case tfMinutes:
      return Fixed(hours * 60, " m");
    case tfSeconds:
      return Fixed(hours * 3600, " s");
    case tfComposed:
    default:
      return cuadrante::detail::Composed(hours);
  }
}

AnsiString usrFormatTime(const int64_t seconds, TTimeFormat form) {
  return usrFormatTime(static_cast<double>(seconds) * (1.0 / 3600), form);
}
