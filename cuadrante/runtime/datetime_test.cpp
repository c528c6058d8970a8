#include "cuadrante/runtime/datetime.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <limits>

#include "cuadrante/runtime/exception.h"

namespace {

struct Ymd {
  uint16_t y, m, d;
};

Ymd YmdOf(TDateTime t) {
  Ymd r{};
  DecodeDate(t, r.y, r.m, r.d);
  return r;
}

struct Hmsz {
  uint16_t h, n, s, z;
};

Hmsz HmszOf(TDateTime t) {
  Hmsz r{};
  DecodeTime(t, r.h, r.n, r.s, r.z);
  return r;
}

TDateTime At(uint16_t y, uint16_t m, uint16_t d, uint16_t h = 0, uint16_t n = 0, uint16_t s = 0,
             uint16_t z = 0) {
  return EncodeDateTime(y, m, d, h, n, s, z);
}

// One millisecond as a day count.
constexpr double kMs = 1.0 / MSecsPerDay;

TEST(DateTime, EveryDayFromYearOneToYear9999DecodesAndEncodesBack) {
  const auto first = static_cast<int64_t>(EncodeDate(1, 1, 1).Val);
  const auto last = static_cast<int64_t>(EncodeDate(9999, 12, 31).Val);
  EXPECT_EQ(EncodeDate(1899, 12, 30).Val, 0.0);
  EXPECT_EQ(EncodeDate(1899, 12, 31).Val, 1.0);
  EXPECT_EQ(EncodeDate(2026, 11, 23).Val, 46349.0);  // 2026-01-01 is 46023, +326
  // 1 January of year 1 was a Monday in the proleptic Gregorian calendar.
  ASSERT_EQ(DayOfTheWeek(TDateTime(static_cast<double>(first))), 1);

  // Each day must be the calendar successor of the one before it, so a wrong
  // month length, leap rule or carry anywhere in the range shows up here
  // without trusting the conversion's own arithmetic.
  Ymd prev = YmdOf(TDateTime(static_cast<double>(first)));
  ASSERT_EQ(prev.y, 1);
  ASSERT_EQ(prev.m, 1);
  ASSERT_EQ(prev.d, 1);
  uint16_t prevWeekday = 1;
  int64_t leapDays = 0;
  for (int64_t serial = first + 1; serial <= last; ++serial) {
    const TDateTime t(static_cast<double>(serial));
    const Ymd cur = YmdOf(t);
    const bool nextDay = cur.y == prev.y && cur.m == prev.m && cur.d == prev.d + 1;
    const bool nextMonth = cur.y == prev.y && cur.m == prev.m + 1 && cur.d == 1 &&
                           prev.d == DaysInAMonth(prev.y, prev.m);
    const bool nextYear =
        cur.y == prev.y + 1 && cur.m == 1 && cur.d == 1 && prev.m == 12 && prev.d == 31;
    ASSERT_TRUE(nextDay || nextMonth || nextYear)
        << serial << ": " << cur.y << "-" << cur.m << "-" << cur.d << " after " << prev.y << "-"
        << prev.m << "-" << prev.d;
    ASSERT_EQ(EncodeDate(cur.y, cur.m, cur.d).Val, static_cast<double>(serial));
    const uint16_t weekday = DayOfTheWeek(t);
    ASSERT_EQ(weekday, prevWeekday % 7 + 1) << serial;
    ASSERT_EQ(YearOf(t), cur.y);
    ASSERT_EQ(MonthOf(t), cur.m);
    ASSERT_EQ(DayOfTheMonth(t), cur.d);
    if (cur.m == 2 && cur.d == 29) ++leapDays;
    prev = cur;
    prevWeekday = weekday;
  }
  EXPECT_EQ(prev.y, 9999);
  EXPECT_EQ(prev.m, 12);
  EXPECT_EQ(prev.d, 31);
  // 97 leap days in every 400 years: 24 * 97 for years 1-9600, and the 97 of
  // 9601-9999 less the one of year 10000 that lies outside.
  EXPECT_EQ(leapDays, 24 * 97 + 96);
}

TEST(DateTime, DayOfTheWeekOfKnownDays) {
  EXPECT_EQ(DayOfTheWeek(TDateTime(0.0)), 6);            // 1899-12-30, Saturday
  EXPECT_EQ(DayOfTheWeek(At(2000, 1, 1)), 6);            // Saturday
  EXPECT_EQ(DayOfTheWeek(At(2026, 11, 23, 23, 59)), 1);  // Monday, late
  EXPECT_EQ(DayOfTheWeek(At(2026, 11, 29)), 7);          // Sunday
  EXPECT_EQ(DayOfTheWeek(At(9999, 12, 31)), 5);          // Friday
  // Before the origin the fraction still counts forward: -1.25 is Friday
  // 29 December 1899 at 06:00.
  EXPECT_EQ(DayOfTheWeek(TDateTime(-1.25)), 5);
  EXPECT_EQ(DayOfTheYear(At(2024, 12, 31)), 366);
  EXPECT_EQ(DayOfTheYear(At(2023, 3, 1)), 60);
}

TEST(DateTime, IsoWeeksAroundNewYear) {
  // Checked against `date +%G-%V` of GNU coreutils.
  struct Row {
    uint16_t y, m, d, week, isoYear;
  };
  const Row rows[] = {
      {2004, 12, 31, 53, 2004}, {2005, 1, 1, 53, 2004},   {2005, 1, 2, 53, 2004},
      {2005, 1, 3, 1, 2005},    {2008, 12, 28, 52, 2008}, {2008, 12, 29, 1, 2009},
      {2009, 1, 1, 1, 2009},    {2010, 1, 3, 53, 2009},   {2010, 1, 4, 1, 2010},
      {2015, 12, 31, 53, 2015}, {2016, 1, 3, 53, 2015},   {2016, 1, 4, 1, 2016},
      {2020, 12, 31, 53, 2020}, {2021, 1, 3, 53, 2020},   {2021, 1, 4, 1, 2021},
      {2024, 12, 29, 52, 2024}, {2024, 12, 30, 1, 2025},  {2025, 12, 28, 52, 2025},
      {2025, 12, 29, 1, 2026},  {2026, 1, 1, 1, 2026},    {2026, 1, 4, 1, 2026},
      {2026, 1, 5, 2, 2026},    {2026, 12, 31, 53, 2026}, {2027, 1, 3, 53, 2026},
      {2027, 1, 4, 1, 2027},    {1999, 1, 1, 53, 1998},   {2000, 1, 2, 52, 1999},
      {2000, 1, 3, 1, 2000},    {2012, 1, 1, 52, 2011},   {2012, 12, 31, 1, 2013},
      {1900, 1, 1, 1, 1900},    {1900, 12, 31, 1, 1901},  {2037, 12, 31, 53, 2037},
      {2038, 1, 3, 53, 2037},   {9999, 12, 31, 52, 9999},
  };
  for (const Row& r : rows) {
    // At the last millisecond too: the time of day must not move the week.
    for (const TDateTime t : {At(r.y, r.m, r.d), At(r.y, r.m, r.d, 23, 59, 59, 999)}) {
      uint16_t isoYear = 0;
      EXPECT_EQ(WeekOfTheYear(t, isoYear), r.week) << r.y << "-" << r.m << "-" << r.d;
      EXPECT_EQ(isoYear, r.isoYear) << r.y << "-" << r.m << "-" << r.d;
      EXPECT_EQ(WeekOf(t), r.week);
    }
  }
}

TEST(DateTime, IsoWeeksAgreeWithCountingFromTheWeekOfFourJanuary) {
  // Week 1 is the week that holds 4 January; count whole weeks from its Monday.
  const auto mondayOfWeekOne = [](uint16_t year) {
    const auto jan4 = static_cast<int64_t>(EncodeDate(year, 1, 4).Val);
    return jan4 - (DayOfTheWeek(TDateTime(static_cast<double>(jan4))) - 1);
  };
  int yearsWith53 = 0;
  for (uint16_t year = 2; year <= 9998; ++year) {
    const int64_t start = mondayOfWeekOne(year);
    const int64_t next = mondayOfWeekOne(static_cast<uint16_t>(year + 1));
    const auto weeks = static_cast<uint16_t>((next - start) / 7);
    ASSERT_TRUE(weeks == 52 || weeks == 53) << year;
    if (weeks == 53 && year >= 2000 && year < 2400) ++yearsWith53;
    for (int64_t serial = start; serial < next; ++serial) {
      uint16_t isoYear = 0;
      const uint16_t week = WeekOfTheYear(TDateTime(static_cast<double>(serial)), isoYear);
      ASSERT_EQ(week, (serial - start) / 7 + 1) << serial;
      ASSERT_EQ(isoYear, year) << serial;
    }
  }
  // The 400-year cycle holds 71 long years.
  EXPECT_EQ(yearsWith53, 71);
}

TEST(DateTime, IncMonthClampsToTheEndOfTheTargetMonth) {
  const auto expectAt = [](TDateTime t, uint16_t y, uint16_t m, uint16_t d) {
    const Ymd got = YmdOf(t);
    EXPECT_EQ(got.y, y);
    EXPECT_EQ(got.m, m);
    EXPECT_EQ(got.d, d);
  };
  const TDateTime jan31 = At(2024, 1, 31, 10, 15, 0, 250);
  expectAt(IncMonth(jan31, 1), 2024, 2, 29);
  expectAt(IncMonth(At(2023, 1, 31), 1), 2023, 2, 28);
  expectAt(IncMonth(jan31, 2), 2024, 3, 31);  // from the original day, not the clamped one
  expectAt(IncMonth(IncMonth(jan31, 1), 1), 2024, 3, 29);
  expectAt(IncMonth(At(2024, 10, 31), 1), 2024, 11, 30);
  expectAt(IncMonth(At(2025, 11, 30), 3), 2026, 2, 28);
  expectAt(IncMonth(At(2023, 11, 30), 3), 2024, 2, 29);
  expectAt(IncMonth(At(2024, 12, 31), 2), 2025, 2, 28);
  expectAt(IncMonth(At(2024, 3, 31), -1), 2024, 2, 29);
  expectAt(IncMonth(At(2024, 1, 15), -13), 2022, 12, 15);
  expectAt(IncMonth(At(2024, 1, 15), -1), 2023, 12, 15);
  expectAt(IncMonth(At(2024, 1, 15), 0), 2024, 1, 15);
  expectAt(IncMonth(At(2024, 1, 15), 24), 2026, 1, 15);
  // The time of day travels unchanged, to the millisecond.
  const Hmsz time = HmszOf(IncMonth(jan31, 1));
  EXPECT_EQ(time.h, 10);
  EXPECT_EQ(time.n, 15);
  EXPECT_EQ(time.s, 0);
  EXPECT_EQ(time.z, 250);

  expectAt(IncYear(At(2024, 2, 29), 1), 2025, 2, 28);
  expectAt(IncYear(At(2024, 2, 29), 4), 2028, 2, 29);
  expectAt(IncYear(At(2024, 2, 29), -1), 2023, 2, 28);
  expectAt(IncYear(At(2000, 2, 29), 100), 2100, 2, 28);

  // Counts past either end of the calendar stop at its ends.
  expectAt(IncMonth(At(2024, 5, 31), INT_MAX), 9999, 12, 31);
  expectAt(IncMonth(At(2024, 5, 31), INT_MIN), 1, 1, 31);
  expectAt(IncYear(At(2024, 5, 31), INT_MAX), 9999, 12, 31);
  expectAt(IncYear(At(2024, 5, 31), INT_MIN), 1, 1, 31);
  expectAt(IncMonth(At(9999, 12, 31), 1), 9999, 12, 31);

  expectAt(IncDay(At(2024, 2, 28), 1), 2024, 2, 29);
  expectAt(IncDay(At(2024, 3, 1), -1), 2024, 2, 29);
}

TEST(DateTime, DecodeRoundsToTheNearestMillisecond) {
  const TDateTime base = At(2026, 3, 5, 10, 0, 0, 999);
  Hmsz t = HmszOf(TDateTime(base.Val + 0.6 * kMs));
  EXPECT_EQ(t.h, 10);
  EXPECT_EQ(t.n, 0);
  EXPECT_EQ(t.s, 1);
  EXPECT_EQ(t.z, 0);
  t = HmszOf(TDateTime(base.Val + 0.4 * kMs));
  EXPECT_EQ(t.s, 0);
  EXPECT_EQ(t.z, 999);

  // Rounding up to midnight carries into the next day, in the date as well.
  const TDateTime lastMs = At(2024, 12, 31, 23, 59, 59, 999);
  const TDateTime carried(lastMs.Val + 0.6 * kMs);
  const Ymd d = YmdOf(carried);
  EXPECT_EQ(d.y, 2025);
  EXPECT_EQ(d.m, 1);
  EXPECT_EQ(d.d, 1);
  t = HmszOf(carried);
  EXPECT_EQ(t.h, 0);
  EXPECT_EQ(t.n, 0);
  EXPECT_EQ(t.s, 0);
  EXPECT_EQ(t.z, 0);
  EXPECT_EQ(DayOfTheWeek(carried), DayOfTheWeek(At(2025, 1, 1)));
  EXPECT_EQ(WeekOf(carried), 1);
  const Ymd stays = YmdOf(TDateTime(lastMs.Val + 0.4 * kMs));
  EXPECT_EQ(stays.d, 31);
  EXPECT_EQ(HmszOf(TDateTime(lastMs.Val + 0.4 * kMs)).z, 999);

  // Before the origin the fraction is the time of day, counted forward.
  const TDateTime early(-1.25);
  const Ymd e = YmdOf(early);
  EXPECT_EQ(e.y, 1899);
  EXPECT_EQ(e.m, 12);
  EXPECT_EQ(e.d, 29);
  EXPECT_EQ(HmszOf(early).h, 6);
  EXPECT_EQ(At(1899, 12, 29, 6).Val, -1.25);

  // Any double decodes to some day of the calendar without failing.
  for (const double odd :
       {1e300, -1e300, std::numeric_limits<double>::infinity(),
        -std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
    const Ymd any = YmdOf(TDateTime(odd));
    EXPECT_GE(any.m, 1);
    EXPECT_LE(any.m, 12);
    EXPECT_GE(any.d, 1);
    EXPECT_LE(any.d, 31);
  }
}

TEST(DateTime, PeriodBoundsStartAtMidnightAndEndAtTheLastMillisecond) {
  const auto expectAt = [](TDateTime got, TDateTime want) {
    EXPECT_EQ(got.Val, want.Val) << got.Val << " vs " << want.Val;
  };
  const TDateTime wed = At(2026, 11, 25, 13, 45, 10, 500);
  expectAt(StartOfTheDay(wed), At(2026, 11, 25));
  expectAt(EndOfTheDay(wed), At(2026, 11, 25, 23, 59, 59, 999));
  expectAt(StartOfTheWeek(wed), At(2026, 11, 23));
  expectAt(EndOfTheWeek(wed), At(2026, 11, 29, 23, 59, 59, 999));
  expectAt(StartOfTheMonth(wed), At(2026, 11, 1));
  expectAt(EndOfTheMonth(wed), At(2026, 11, 30, 23, 59, 59, 999));
  expectAt(StartOfTheYear(wed), At(2026, 1, 1));
  expectAt(EndOfTheYear(wed), At(2026, 12, 31, 23, 59, 59, 999));
  expectAt(DateOf(wed), At(2026, 11, 25));
  expectAt(TimeOf(wed), EncodeTime(13, 45, 10, 500));

  // Weeks run Monday to Sunday, also across the turn of the year.
  expectAt(StartOfTheWeek(At(2026, 11, 29, 23, 59, 59, 999)), At(2026, 11, 23));
  expectAt(StartOfTheWeek(At(2026, 11, 23)), At(2026, 11, 23));
  expectAt(EndOfTheWeek(At(2026, 11, 23)), At(2026, 11, 29, 23, 59, 59, 999));
  expectAt(StartOfTheWeek(At(2026, 1, 1, 12)), At(2025, 12, 29));
  expectAt(EndOfTheWeek(At(2025, 12, 29)), At(2026, 1, 4, 23, 59, 59, 999));

  expectAt(EndOfTheMonth(At(2024, 2, 10)), At(2024, 2, 29, 23, 59, 59, 999));
  expectAt(EndOfTheMonth(At(2100, 2, 10)), At(2100, 2, 28, 23, 59, 59, 999));
  expectAt(EndOfTheMonth(At(2000, 2, 10)), At(2000, 2, 29, 23, 59, 59, 999));
  expectAt(EndOfTheMonth(At(2026, 4, 30, 23, 59, 59, 999)), At(2026, 4, 30, 23, 59, 59, 999));
  expectAt(StartOfTheMonth(At(2026, 4, 1)), At(2026, 4, 1));

  const Hmsz end = HmszOf(EndOfTheDay(wed));
  EXPECT_EQ(end.h, 23);
  EXPECT_EQ(end.n, 59);
  EXPECT_EQ(end.s, 59);
  EXPECT_EQ(end.z, 999);
}

TEST(DateTime, CompareDateLooksAtTheDayAlone) {
  const TDateTime morning = At(2026, 3, 5, 8);
  const TDateTime evening = At(2026, 3, 5, 20);
  const TDateTime nextDay = At(2026, 3, 6, 1);
  EXPECT_EQ(CompareDate(morning, evening), 0);
  EXPECT_EQ(CompareDate(evening, nextDay), -1);
  EXPECT_EQ(CompareDate(nextDay, morning), 1);
  EXPECT_TRUE(SameDate(morning, evening));
  EXPECT_FALSE(SameDate(evening, nextDay));
  EXPECT_EQ(CompareTime(morning, nextDay), 1);
  EXPECT_EQ(CompareTime(morning, At(2020, 1, 1, 8)), 0);
  EXPECT_EQ(CompareDateTime(morning, evening), -1);
  EXPECT_EQ(CompareDateTime(nextDay, evening), 1);
  EXPECT_EQ(CompareDateTime(evening, evening), 0);
  // A time that rounds up to midnight belongs to the next day.
  const TDateTime almost(At(2026, 3, 5, 23, 59, 59, 999).Val + 0.6 * kMs);
  EXPECT_EQ(CompareDate(almost, At(2026, 3, 6)), 0);
  // Before the origin the day that is further back compares as earlier.
  EXPECT_EQ(CompareDateTime(TDateTime(-2.75), TDateTime(-1.25)), -1);
  EXPECT_EQ(CompareDateTime(TDateTime(-1.75), TDateTime(-1.25)), 1);  // 18:00 after 06:00
}

TEST(DateTime, EncodeRefusesDaysAndTimesThatDoNotExist) {
  EXPECT_THROW(EncodeDate(2023, 2, 29), EConvertError);
  EXPECT_THROW(EncodeDate(1900, 2, 29), EConvertError);
  EXPECT_NO_THROW(EncodeDate(2000, 2, 29));
  EXPECT_THROW(EncodeDate(2026, 4, 31), EConvertError);
  EXPECT_THROW(EncodeDate(2026, 13, 1), EConvertError);
  EXPECT_THROW(EncodeDate(2026, 0, 1), EConvertError);
  EXPECT_THROW(EncodeDate(2026, 1, 0), EConvertError);
  EXPECT_THROW(EncodeDate(0, 1, 1), EConvertError);
  EXPECT_THROW(EncodeDate(10000, 1, 1), EConvertError);
  EXPECT_THROW(EncodeTime(24, 0, 0, 0), EConvertError);
  EXPECT_THROW(EncodeTime(0, 60, 0, 0), EConvertError);
  EXPECT_THROW(EncodeTime(0, 0, 60, 0), EConvertError);
  EXPECT_THROW(EncodeTime(0, 0, 0, 1000), EConvertError);
  EXPECT_EQ(EncodeTime(12, 0, 0, 0).Val, 0.5);
  EXPECT_EQ(EncodeTime(6, 0, 0, 0).Val, 0.25);

  TDateTime kept(7.5);
  EXPECT_FALSE(TryEncodeDate(2023, 2, 29, kept));
  EXPECT_FALSE(TryEncodeTime(23, 59, 59, 1000, kept));
  EXPECT_EQ(kept.Val, 7.5);
  EXPECT_TRUE(TryEncodeDate(2023, 2, 28, kept));
  EXPECT_EQ(kept.Val, EncodeDate(2023, 2, 28).Val);

  EXPECT_EQ(DaysInAMonth(2024, 2), 29);
  EXPECT_EQ(DaysInAMonth(2023, 2), 28);
  EXPECT_EQ(DaysInAMonth(2023, 13), 0);
  EXPECT_TRUE(IsLeapYear(2000));
  EXPECT_FALSE(IsLeapYear(1900));
  EXPECT_TRUE(IsLeapYear(2024));
}

TEST(DateTime, TodayIsTheSystemDate) {
  const TDateTime before = Date();
  const bool today = IsToday(before);
  const bool yesterday = IsToday(IncDay(before, -1));
  const bool tomorrow = IsToday(IncDay(before, 1));
  const bool lateToday = IsToday(TDateTime(before.Val + 0.99));
  // Only meaningful if midnight did not pass while we asked.
  if (Date() == before) {
    EXPECT_TRUE(today);
    EXPECT_TRUE(lateToday);
    EXPECT_FALSE(yesterday);
    EXPECT_FALSE(tomorrow);
  }
  EXPECT_EQ(before.Val, static_cast<double>(static_cast<int64_t>(before.Val)));
  EXPECT_GT(before.Val, EncodeDate(2020, 1, 1).Val);
}

}  // namespace
