#include "cuadrante/time/isotext.h"

#include <cstdint>

#include "cuadrante/runtime/datetime.h"

namespace cuadrante {
namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// The `width` digits at `at` as a number, or -1 when any of them is no digit.
int Digits(std::string_view text, size_t at, size_t width) {
  if (at + width > text.size()) return -1;
  int value = 0;
  for (size_t i = at; i < at + width; ++i) {
    if (!IsDigit(text[i])) return -1;
    value = value * 10 + (text[i] - '0');
  }
  return value;
}

}  // namespace

std::optional<TFecha> ParseIsoDate(std::string_view text) {
  // "yyyy-mm-dd", then nothing, "Thh:nn" or "Thh:nn:ss".
  if (text.size() != 10 && text.size() != 16 && text.size() != 19) return std::nullopt;
  if (text[4] != '-' || text[7] != '-') return std::nullopt;
  const int year = Digits(text, 0, 4), month = Digits(text, 5, 2), day = Digits(text, 8, 2);
  int hour = 0, minute = 0, second = 0;
  if (text.size() > 10) {
    if (text[10] != 'T' || text[13] != ':') return std::nullopt;
    hour = Digits(text, 11, 2);
    minute = Digits(text, 14, 2);
    if (text.size() == 19) {
      if (text[16] != ':') return std::nullopt;
      second = Digits(text, 17, 2);
    }
  }
  // Values start in 1900; TryEncode* check the rest of the ranges.
  if (year < 1900 || month < 0 || day < 0 || hour < 0 || minute < 0 || second < 0)
    return std::nullopt;
  TDateTime date, time;
  if (!TryEncodeDate(static_cast<uint16_t>(year), static_cast<uint16_t>(month),
                     static_cast<uint16_t>(day), date) ||
      !TryEncodeTime(static_cast<uint16_t>(hour), static_cast<uint16_t>(minute),
                     static_cast<uint16_t>(second), 0, time)) {
    return std::nullopt;
  }
  return TFecha(date + time);
}

std::optional<TDuration> ParseHours(std::string_view text) {
  constexpr int64_t kMostHours = 100000;
  constexpr int64_t kSecondsPerHour = 3600;
  const auto digit = [&](size_t at) { return at < text.size() && IsDigit(text[at]); };
  size_t at = 0;
  int64_t hours = 0;
  for (; digit(at); ++at) {
    hours = hours * 10 + (text[at] - '0');
    if (hours > kMostHours) return std::nullopt;
  }
  if (at == 0) return std::nullopt;
  if (at == text.size()) return TDuration(hours * kSecondsPerHour);
  if (text[at] == ':') {
    const int minutes = Digits(text, at + 1, 2);
    if (text.size() != at + 3 || minutes < 0 || minutes >= 60) return std::nullopt;
    return TDuration(hours * kSecondsPerHour + minutes * 60);
  }
  if (text[at] != '.' || !digit(at + 1)) return std::nullopt;
  // The fraction to the nearest second, from its first nine digits.
  int64_t fraction = 0, scale = 1;
  for (++at; digit(at); ++at) {
    if (scale < 1'000'000'000) {
      fraction = fraction * 10 + (text[at] - '0');
      scale *= 10;
    }
  }
  if (at != text.size() || (hours == kMostHours && fraction > 0)) return std::nullopt;
  return TDuration(hours * kSecondsPerHour + (fraction * kSecondsPerHour + scale / 2) / scale);
}

}  // namespace cuadrante
