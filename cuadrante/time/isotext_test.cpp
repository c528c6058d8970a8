#include "cuadrante/time/isotext.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <utility>

#include "cuadrante/time/chrono.h"

namespace {

using namespace cuadrante;
using namespace std::chrono;

// The value that the text of a day and a time of day stands for, by the
// standard library's calendar rather than ours.
TFecha Expected(year_month_day day, int hour = 0, int minute = 0, int second = 0) {
  return FromChrono(sys_days(day) + hours(hour) + minutes(minute) + seconds(second));
}

TEST(ParseIsoDate, ReadsEveryRealDayAndNoOtherOfItsMonth) {
  // Every day number 00-31 of every month of years around each kind of leap
  // rule, and the calendar's ends: the real ones read as std::chrono counts
  // them, the others (31 June, 29 February 2100, day 0) not at all.
  for (const int y : {1900, 1901, 2000, 2024, 2026, 2100, 9999}) {
    for (unsigned m = 0; m <= 13; ++m) {
      for (unsigned d = 0; d <= 32; ++d) {
        const year_month_day day{year{y}, month{m}, std::chrono::day{d}};
        char text[16];
        std::snprintf(text, sizeof text, "%04d-%02u-%02u", y, m, d);
        if (day.ok()) {
          EXPECT_EQ(ParseIsoDate(text), Expected(day)) << text;
        } else {
          EXPECT_EQ(ParseIsoDate(text), std::nullopt) << text;
        }
      }
    }
  }
  const year_month_day monday = year{2026} / November / 23;
  EXPECT_EQ(ParseIsoDate("2026-11-23T08:00"), Expected(monday, 8));
  EXPECT_EQ(ParseIsoDate("2026-11-23T08:05:09"), Expected(monday, 8, 5, 9));
  EXPECT_EQ(ParseIsoDate("9999-12-31T23:59:59"), TFecha(kCalendarEnd));
  EXPECT_EQ(ParseIsoDate("1900-01-01T00:00:00"), Expected(year{1900} / January / 1));
}

TEST(ParseIsoDate, RefusesEverythingButDigitsAtTheirPlaces) {
  for (const char* bad : {"",
                          "2026-11-2",
                          "2026-11-023",
                          "2026-1-23",
                          "26-11-23",
                          "02026-11-23",
                          "2026/11/23",
                          "20261123",
                          "2026-11-23T",
                          "2026-11-23T08",
                          "2026-11-23T8:00",
                          "2026-11-23T08:0",
                          "2026-11-23T08:00:",
                          "2026-11-23T08:00:0",
                          "2026-11-23T08:00:000",
                          "2026-11-23 08:00",
                          "2026-11-23t08:00",
                          "2026-11-23T08.00",
                          "2026-11-23T08:00Z",
                          "2026-11-23T08:00+01",
                          "2026-11-23Z",
                          " 2026-11-23",
                          "2026-11-23 ",
                          "2026- 1-23",
                          "2026-+1-23",
                          "+026-11-23",
                          "-026-11-23",
                          "2026-11-+3",
                          "2026-11-23T+8:00",
                          "2026-11-23T 8:00",
                          "2026-11-23T08:+0",
                          "2026-11-23T08:00:+0",
                          "2026-1a-23",
                          "1899-12-31",
                          "0000-01-01",
                          "2026-11-23T24:00",
                          "2026-11-23T23:60",
                          "2026-11-23T23:59:60",
                          "2026-11-23T99:99:99"}) {
    EXPECT_EQ(ParseIsoDate(bad), std::nullopt) << bad;
  }
  // Every cut of a full text reads only where a form ends.
  const std::string full = "2026-11-23T08:05:09";
  for (size_t size = 0; size < full.size(); ++size) {
    const bool form = size == 10 || size == 16;
    EXPECT_EQ(ParseIsoDate(full.substr(0, size)).has_value(), form) << full.substr(0, size);
  }
}

TEST(ParseHours, TakesDecimalHoursOrHoursAndMinutesInDigitsOnly) {
  const std::pair<const char*, int64_t> good[] = {
      {"8", 28800},   {"7.5", 27000},        {"7:30", 27000},         {"0", 0},
      {"0.0003", 1},  {"100000", 360000000}, {"12.345678901", 44444}, {"99999:59", 359999940},
      {"007", 25200}, {"0.00013", 0},        {"0.00014", 1},          {"7:05", 25500}};
  for (const auto& [text, seconds] : good) {
    const auto parsed = ParseHours(text);
    ASSERT_TRUE(parsed.has_value()) << text;
    EXPECT_EQ(parsed->Value(), seconds) << text;
  }
  for (const char* bad : {"",     " 8",   "8 ",    "+8",       "-2",     "0x10",
                          "1e1",  "8.",   ".5",    "7:3",      "7:60",   "7:300",
                          "7:+3", "7: 3", "7:-1",  "100000.5", "100001", "99999999999999999999",
                          "8h",   "nan",  "7.5.1", "7:30.5"})
    EXPECT_EQ(ParseHours(bad), std::nullopt) << bad;
}

}  // namespace
