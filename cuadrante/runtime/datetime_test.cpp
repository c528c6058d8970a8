#include "cuadrante/runtime/datetime.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>
#include <tuple>
#include <utility>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/testing/values.h"

namespace {

struct Ymd {
  uint16_t y, m, d;
};

Ymd YmdOf(TDateTime t) {
  Ymd r{};
  DecodeDate(t, r.y, r.m, r.d);
  return r;
}

// "yyyy-mm-dd hh:nn:ss.zzz" from the decoders alone, so that a check reads as one line.
std::string Text(TDateTime t) {
  uint16_t y, m, d, h, n, s, z;
  DecodeDate(t, y, m, d);
  DecodeTime(t, h, n, s, z);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d.%03d", y, m, d, h, n, s, z);
  return text;
}

using cuadrante::testing::Stamp;

TDateTime Day(int64_t serial) { return TDateTime(static_cast<double>(serial)); }

// One millisecond as a day count.
constexpr double kMs = 1.0 / MSecsPerDay;

TEST(DateTime, EveryDayFromYearOneToYear9999DecodesAndEncodesBack) {
  const auto first = static_cast<int64_t>(EncodeDate(1, 1, 1).Val);
  const auto last = static_cast<int64_t>(EncodeDate(9999, 12, 31).Val);
  EXPECT_EQ(EncodeDate(2026, 11, 23).Val, 46349.0);  // 2026-01-01 is 46023, +326
  // 1 January of year 1 was a Monday in the proleptic Gregorian calendar.
  ASSERT_EQ(DayOfTheWeek(Day(first)), 1);
  ASSERT_EQ(Text(Day(first)), "0001-01-01 00:00:00.000");

  // Each day must be the one after the day before, by month lengths and a
  // leap rule of our own, so a wrong length, leap rule or carry anywhere in
  // the range shows up without trusting the conversion's own arithmetic.
  Ymd want{1, 1, 1};
  for (int64_t serial = first; serial <= last; ++serial) {
    const TDateTime t = Day(serial);
    const Ymd got = YmdOf(t);
    ASSERT_TRUE(got.y == want.y && got.m == want.m && got.d == want.d) << serial << ": " << Text(t);
    ASSERT_EQ(EncodeDate(got.y, got.m, got.d).Val, static_cast<double>(serial));
    ASSERT_EQ(DayOfTheWeek(t), (serial - first) % 7 + 1) << serial;
    ASSERT_EQ(YearOf(t) * 10000 + MonthOf(t) * 100 + DayOfTheMonth(t),
              got.y * 10000 + got.m * 100 + got.d);
    const bool leap = want.y % 4 == 0 && (want.y % 100 != 0 || want.y % 400 == 0);
    const int length = want.m == 2 ? 28 + leap : 30 + (want.m + want.m / 8) % 2;
    ASSERT_EQ(DaysInAMonth(want.y, want.m), length);
    if (++want.d > length) {
      want.d = 1;
      if (++want.m > 12) want = Ymd{static_cast<uint16_t>(want.y + 1), 1, 1};
    }
  }
  EXPECT_EQ(want.y * 10000 + want.m * 100 + want.d, 100000101);  // 1 January 10000
  // Before the origin the fraction still counts forward: -1.25 is Friday
  // 29 December 1899 at 06:00.
  EXPECT_EQ(DayOfTheWeek(TDateTime(-1.25)), 5);
  EXPECT_EQ(Text(TDateTime(-1.25)), "1899-12-29 06:00:00.000");
  EXPECT_EQ(Stamp(1899, 12, 29, 6).Val, -1.25);
  // The origin day itself is the first that adds its time: 06:00 is +0.25.
  EXPECT_EQ(Stamp(1899, 12, 30, 6).Val, 0.25);
  EXPECT_EQ(DayOfTheYear(Stamp(2024, 12, 31)), 366);
  EXPECT_EQ(DayOfTheYear(Stamp(2023, 3, 1)), 60);
}

TEST(DateTime, IsoWeeksAroundNewYear) {
  // Checked against `date +%G-%V` of GNU coreutils; the last day of the
  // calendar lies outside the walk below.
  uint16_t lastIsoYear = 0;
  EXPECT_EQ(WeekOfTheYear(Stamp(9999, 12, 31), lastIsoYear), 52);
  EXPECT_EQ(lastIsoYear, 9999);

  // Every day of years 2-9998 against a count of whole weeks from the Monday
  // of the week that holds 4 January; at the last millisecond of the day too,
  // since the time of day must not move the week.
  const auto mondayOfWeekOne = [](uint16_t year) {
    const auto jan4 = static_cast<int64_t>(EncodeDate(year, 1, 4).Val);
    return jan4 - (DayOfTheWeek(Day(jan4)) - 1);
  };
  for (uint16_t year = 2; year <= 9998; ++year) {
    const int64_t start = mondayOfWeekOne(year);
    const int64_t next = mondayOfWeekOne(static_cast<uint16_t>(year + 1));
    for (int64_t serial = start; serial < next; ++serial) {
      uint16_t isoYear = 0;
      const auto week = static_cast<uint16_t>((serial - start) / 7 + 1);
      ASSERT_EQ(WeekOfTheYear(Day(serial), isoYear), week) << serial;
      ASSERT_EQ(isoYear, year) << serial;
      // Before the origin the fraction counts forward from the day's midnight too.
      const double late = static_cast<double>(serial) + (serial < 0 ? -1 + kMs : 1 - kMs);
      ASSERT_EQ(WeekOf(TDateTime(late)), week) << serial;
    }
  }
}

TEST(DateTime, IncMonthAndIncYearClampToTheEndOfTheTargetMonth) {
  const TDateTime jan31 = Stamp(2024, 1, 31, 10, 15, 0, 250);
  const std::tuple<TDateTime, int, const char*> months[] = {
      {jan31, 1, "2024-02-29 10:15:00.250"},  // the time of day travels to the millisecond
      {jan31, 2, "2024-03-31 10:15:00.250"},  // from the original day, not a clamped one
      {IncMonth(jan31, 1), 1, "2024-03-29 10:15:00.250"},
      {Stamp(2024, 12, 31), 2, "2025-02-28 00:00:00.000"},
      {Stamp(2024, 3, 31), -1, "2024-02-29 00:00:00.000"},
      {Stamp(2024, 1, 15), -13, "2022-12-15 00:00:00.000"},
      // Counts past either end of the calendar stop at its ends.
      {Stamp(2024, 5, 31), INT_MAX, "9999-12-31 00:00:00.000"},
      {Stamp(2024, 5, 31), INT_MIN, "0001-01-31 00:00:00.000"},
      {Stamp(9999, 12, 31), 1, "9999-12-31 00:00:00.000"},
  };
  for (const auto& [from, count, to] : months)
    EXPECT_EQ(Text(IncMonth(from, count)), to) << Text(from);

  const TDateTime leap = Stamp(2024, 2, 29);
  EXPECT_EQ(Text(IncYear(leap, 1)), "2025-02-28 00:00:00.000");
  EXPECT_EQ(Text(IncYear(leap, 4)), "2028-02-29 00:00:00.000");
  EXPECT_EQ(Text(IncYear(Stamp(2000, 2, 29), 100)), "2100-02-28 00:00:00.000");
  EXPECT_EQ(Text(IncYear(Stamp(2024, 5, 31), INT_MAX)), "9999-12-31 00:00:00.000");
  EXPECT_EQ(Text(IncYear(Stamp(2024, 5, 31), INT_MIN)), "0001-01-31 00:00:00.000");
  EXPECT_EQ(Text(IncDay(Stamp(2024, 3, 1), -1)), "2024-02-29 00:00:00.000");
}

TEST(DateTime, DecodeRoundsToTheNearestMillisecond) {
  const TDateTime base = Stamp(2026, 3, 5, 10, 0, 0, 999);
  EXPECT_EQ(Text(TDateTime(base.Val + 0.6 * kMs)), "2026-03-05 10:00:01.000");
  EXPECT_EQ(Text(TDateTime(base.Val + 0.4 * kMs)), "2026-03-05 10:00:00.999");

  // Rounding up to midnight carries into the next day, in the date as well.
  const TDateTime lastMs = Stamp(2024, 12, 31, 23, 59, 59, 999);
  const TDateTime carried(lastMs.Val + 0.6 * kMs);
  EXPECT_EQ(Text(carried), "2025-01-01 00:00:00.000");
  EXPECT_EQ(WeekOf(carried), 1);
  EXPECT_EQ(CompareDate(carried, Stamp(2025, 1, 1)), 0);
  EXPECT_EQ(Text(TDateTime(lastMs.Val + 0.4 * kMs)), "2024-12-31 23:59:59.999");

  // Any double decodes to some day of the calendar without failing.
  for (const double odd :
       {1e300, -1e300, std::numeric_limits<double>::infinity(),
        -std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
    const Ymd any = YmdOf(TDateTime(odd));
    EXPECT_TRUE(any.m >= 1 && any.m <= 12 && any.d >= 1 && any.d <= 31) << odd;
  }
}

TEST(DateTime, PeriodBoundsStartAtMidnightAndEndAtTheLastMillisecond) {
  const TDateTime wed = Stamp(2026, 11, 25, 13, 45, 10, 500);
  const std::pair<TDateTime, TDateTime> cases[] = {
      {StartOfTheDay(wed), Stamp(2026, 11, 25)},
      {EndOfTheDay(wed), Stamp(2026, 11, 25, 23, 59, 59, 999)},
      {StartOfTheWeek(wed), Stamp(2026, 11, 23)},
      {EndOfTheWeek(wed), Stamp(2026, 11, 29, 23, 59, 59, 999)},
      {StartOfTheMonth(wed), Stamp(2026, 11, 1)},
      {EndOfTheMonth(wed), Stamp(2026, 11, 30, 23, 59, 59, 999)},
      {StartOfTheYear(wed), Stamp(2026, 1, 1)},
      {EndOfTheYear(wed), Stamp(2026, 12, 31, 23, 59, 59, 999)},
      {TimeOf(wed), EncodeTime(13, 45, 10, 500)},
      // Weeks run Monday to Sunday, also across the turn of the year.
      {StartOfTheWeek(Stamp(2026, 11, 29, 23, 59, 59, 999)), Stamp(2026, 11, 23)},
      {StartOfTheWeek(Stamp(2026, 1, 1, 12)), Stamp(2025, 12, 29)},
      {EndOfTheMonth(Stamp(2024, 2, 10)), Stamp(2024, 2, 29, 23, 59, 59, 999)},
  };
  for (const auto& [got, want] : cases) EXPECT_EQ(got.Val, want.Val) << Text(got);
}

TEST(DateTime, ComparisonsLookAtTheirPartAlone) {
  const TDateTime morning = Stamp(2026, 3, 5, 8);
  const TDateTime evening = Stamp(2026, 3, 5, 20);
  const TDateTime nextDay = Stamp(2026, 3, 6, 1);
  EXPECT_EQ(CompareDate(morning, evening), 0);
  EXPECT_EQ(CompareDate(evening, nextDay), -1);
  EXPECT_EQ(CompareDate(nextDay, morning), 1);
  EXPECT_TRUE(SameDate(morning, evening) && !SameDate(evening, nextDay));
  EXPECT_EQ(CompareTime(morning, nextDay), 1);
  EXPECT_EQ(CompareTime(morning, Stamp(2020, 1, 1, 8)), 0);
  EXPECT_EQ(CompareDateTime(morning, evening), -1);
  // Before the origin the day that is further back compares as earlier.
  EXPECT_EQ(CompareDateTime(TDateTime(-2.75), TDateTime(-1.25)), -1);
  EXPECT_EQ(CompareDateTime(TDateTime(-1.75), TDateTime(-1.25)), 1);  // 18:00 after 06:00

  const TDateTime today = Date();
  const bool seen[] = {IsToday(today), IsToday(TDateTime(today.Val + 0.99)),
                       IsToday(IncDay(today, -1)), IsToday(IncDay(today, 1))};
  if (Date() == today) {  // midnight did not pass while we asked
    EXPECT_TRUE(seen[0] && seen[1]);
    EXPECT_FALSE(seen[2] || seen[3]);
  }
  EXPECT_EQ(today.Val, static_cast<double>(static_cast<int64_t>(today.Val)));
}

TEST(DateTime, EncodeRefusesDaysAndTimesThatDoNotExist) {
  struct Three {
    uint16_t a, b, c;
  };
  for (const Three& bad :
       {Three{2023, 2, 29}, Three{1900, 2, 29}, Three{2026, 4, 31}, Three{2026, 13, 1},
        Three{2026, 0, 1}, Three{2026, 1, 0}, Three{0, 1, 1}, Three{10000, 1, 1}}) {
    EXPECT_THROW(EncodeDate(bad.a, bad.b, bad.c), EConvertError)
        << bad.a * 10000 + bad.b * 100 + bad.c;
  }
  EXPECT_NO_THROW(EncodeDate(2000, 2, 29));
  EXPECT_THROW(EncodeTime(24, 0, 0, 0), EConvertError);
  EXPECT_THROW(EncodeTime(0, 60, 0, 0), EConvertError);
  EXPECT_THROW(EncodeTime(0, 0, 60, 0), EConvertError);
  EXPECT_THROW(EncodeTime(0, 0, 0, 1000), EConvertError);
  EXPECT_EQ(EncodeTime(6, 0, 0, 0).Val, 0.25);

  TDateTime kept(7.5);
  EXPECT_FALSE(TryEncodeDate(2023, 2, 29, kept) || TryEncodeTime(23, 59, 59, 1000, kept));
  EXPECT_EQ(kept.Val, 7.5);
  EXPECT_TRUE(TryEncodeDate(2023, 2, 28, kept));
  EXPECT_EQ(kept.Val, EncodeDate(2023, 2, 28).Val);
  EXPECT_EQ(DaysInAMonth(2023, 13), 0);
}

}  // namespace
