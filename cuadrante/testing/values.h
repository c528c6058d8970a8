// Small values the unit tests build over and over: a wall-clock time from its
// calendar fields, the message of the library exception that a call raises,
// and bytes of a seeded generator.
// For tests only.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <utility>

#include "cuadrante/runtime/datetime.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/time/fecha.h"

namespace cuadrante::testing {

// Lengths in seconds, for times written as sums.
inline constexpr int64_t kHour = 3600;
inline constexpr int64_t kDay = kSecondsPerDay;

// Seconds from the library's epoch to a date and a time of day, by plain
// arithmetic so that it stays independent of the conversions under test.
// Fields out of range (hour 24, minute 90) carry over, as the seconds add up.
inline int64_t SecondsAt(int year, int month, int day, int64_t hour = 0, int64_t minute = 0,
                         int64_t second = 0) {
  const TDateTime date = EncodeDate(static_cast<uint16_t>(year), static_cast<uint16_t>(month),
                                    static_cast<uint16_t>(day));
  return static_cast<int64_t>(date.Val) * kSecondsPerDay + hour * 3600 + minute * 60 + second;
}

// The same instant as a TFecha.
inline TFecha At(int year, int month, int day, int64_t hour = 0, int64_t minute = 0,
                 int64_t second = 0) {
  return TFecha(SecondsAt(year, month, day, hour, minute, second));
}

// The day count of a date and time through the library's own encoder, for
// tests of what reads or writes such values.
inline TDateTime Stamp(uint16_t y, uint16_t m, uint16_t d, uint16_t h = 0, uint16_t n = 0,
                       uint16_t s = 0, uint16_t ms = 0) {
  return EncodeDateTime(y, m, d, h, n, s, ms);
}

// `n` bytes of a seeded generator, the same on every run: any byte, or with
// `kinds` set, one of that many bytes from `first` on (text that compresses).
inline std::string RandomBytes(size_t n, unsigned seed, unsigned kinds = 256, char first = 0) {
  std::mt19937 random(seed);
  std::string bytes(n, '\0');
  for (char& c : bytes) c = static_cast<char>(random() % kinds + static_cast<unsigned char>(first));
  return bytes;
}

// The message of the `E` that `call` raises, or "" when it raises none. An
// exception of another type goes on up, so that the test fails on it. When
// given, `inspect` sees the caught exception before its message is returned.
template <typename E = ::Exception, typename F, typename I>
std::string ErrorOf(F&& call, I&& inspect) {
  try {
    std::forward<F>(call)();
  } catch (const E& e) {
    std::forward<I>(inspect)(e);
    return e.Message;
  }
  return "";
}

template <typename E = ::Exception, typename F>
std::string ErrorOf(F&& call) {
  return ErrorOf<E>(std::forward<F>(call), [](const E&) {});
}

// Whether `call` raises an E whose message holds `text`; what it did instead, if not.
template <typename E = ::Exception, typename F>
::testing::AssertionResult RaisesWith(F&& call, const std::string& text) {
  try {
    std::forward<F>(call)();
  } catch (const E& e) {
    if (e.Message.find(text) != std::string::npos) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << e.Message;
  }
  return ::testing::AssertionFailure() << "nothing raised";
}

}  // namespace cuadrante::testing
