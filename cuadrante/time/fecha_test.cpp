#include "cuadrante/time/fecha.h"

#include <gtest/gtest.h>

#include <cmath>
#include <type_traits>

#include "cuadrante/runtime/dateformat.h"
#include "cuadrante/runtime/exception.h"

namespace {

constexpr int64_t kDay = 86400;

// A value built by plain arithmetic, independent of the conversions under test.
int64_t ValueOf(uint16_t y, uint16_t m, uint16_t d, int h = 0, int n = 0, int s = 0) {
  return static_cast<int64_t>(EncodeDate(y, m, d).Val) * kDay + h * 3600 + n * 60 + s;
}

TFecha At(uint16_t y, uint16_t m, uint16_t d, int h = 0, int n = 0, int s = 0) {
  return TFecha(ValueOf(y, m, d, h, n, s));
}

// Seconds cannot silently become days or the other way round.
static_assert(std::is_constructible_v<TFecha, int>);
static_assert(!std::is_constructible_v<TFecha, double>);
static_assert(!std::is_convertible_v<TDateTime, TFecha>);
static_assert(!std::is_constructible_v<TDuration, double>);
static_assert(!std::is_convertible_v<TFecha, TDuration>);
// The integer operations are usable at compile time.
static_assert(TFecha(90000).Date() == 86400);
static_assert(TFecha(100).IncDay(-1).Value() == 100 - 86400);
static_assert(TFecha(100).IncHour(2).Value() == 7300);
static_assert((TFecha(10) + TDuration(5)).Value() == 15);
static_assert((TFecha(10) - TFecha(25)).Value() == -15);
static_assert(TFecha(kDay + 5).DaysBetween(TFecha(kDay - 1)) == kDay);
static_assert(TDuration(1, 2, 3, 4).Value() == 86400 + 7200 + 180 + 4);
// A plain count of seconds compares with the value, from either side.
static_assert(TFecha(5) == 5 && 5 == TFecha(5) && TFecha(5) != int64_t{4});
static_assert(TFecha(5) < 6 && 7 > TFecha(5) && TFecha(-1) < 0 && TFecha() >= 0);

TEST(TFecha, ZeroIsTheOriginAndMeansNoDate) {
  const TFecha none;
  EXPECT_TRUE(none.IsZero());
  EXPECT_EQ(none.Value(), 0);
  EXPECT_EQ(none.AsDateTime().Val, 0.0);
  EXPECT_EQ(none.AsDate().Val, 0.0);
  EXPECT_EQ(none.Date(), 0);
  unsigned short y = 0, m = 0, d = 0;
  none.GetDecodedDate(y, m, d);
  EXPECT_EQ(y, 1899);
  EXPECT_EQ(m, 12);
  EXPECT_EQ(d, 30);
  EXPECT_FALSE(TFecha(1).IsZero());
  EXPECT_FALSE(TFecha(-1).IsZero());

  EXPECT_EQ(TFecha(TDateTime(EncodeDate(1899, 12, 31))).Value(), kDay);
  EXPECT_EQ(TFecha(TDateTime(1.5)).Value(), kDay + kDay / 2);
  EXPECT_EQ(TFecha(kDay).AsDateTime().Val, 1.0);
  EXPECT_EQ(TFecha(kDay / 2).AsDateTime().Val, 0.5);
  EXPECT_EQ(static_cast<int64_t>(TFecha(12345)), 12345);
  TFecha f;
  f.SetValue(int64_t{77});
  EXPECT_EQ(f.Value(), 77);
  f.SetValue(TDateTime(2.25));
  EXPECT_EQ(f.Value(), 2 * kDay + 6 * 3600);
}

TEST(TFecha, EverySecondComesBackThroughTheDayCount) {
  // Every second of days spread over the calendar, the origin included.
  for (const int64_t day :
       {int64_t{0}, int64_t{1}, ValueOf(1900, 2, 28) / kDay, ValueOf(1900, 3, 1) / kDay,
        ValueOf(2000, 2, 29) / kDay, ValueOf(2026, 11, 23) / kDay, ValueOf(2100, 12, 31) / kDay,
        ValueOf(5000, 6, 15) / kDay, ValueOf(9999, 12, 31) / kDay}) {
    for (int64_t second = 0; second < kDay; ++second) {
      const int64_t value = day * kDay + second;
      const TFecha f(value);
      const TDateTime t = f.AsDateTime();
      ASSERT_EQ(TFecha(t).Value(), value) << value;
      ASSERT_EQ(static_cast<int64_t>(t.Val), day) << value;
    }
  }
  // The first and last second of every day up to the end of the calendar: the
  // day count never truncates into the day before, nor rounds into the next.
  const int64_t lastDay = ValueOf(9999, 12, 31) / kDay;
  for (int64_t day = 0; day <= lastDay; ++day) {
    const TFecha midnight(day * kDay);
    ASSERT_EQ(midnight.AsDateTime().Val, static_cast<double>(day)) << day;
    ASSERT_EQ(midnight.AsDate().Val, static_cast<double>(day)) << day;
    const TFecha last(day * kDay + kDay - 1);
    ASSERT_EQ(TFecha(last.AsDateTime()).Value(), last.Value()) << day;
    ASSERT_EQ(last.AsDate().Val, static_cast<double>(day)) << day;
    ASSERT_EQ(last.Date(), midnight.Value()) << day;
  }
}

TEST(TFecha, ConversionFromTheDayCountDropsTheMillisecond) {
  const double day = EncodeDate(2026, 3, 5).Val;
  const int64_t base = ValueOf(2026, 3, 5, 10, 15);
  const auto seconds = [&](double s) { return TDateTime(day + (10 * 3600 + 15 * 60 + s) / 86400); };
  EXPECT_EQ(TFecha(seconds(29.4)).Value(), base + 29);
  EXPECT_EQ(TFecha(seconds(29.6)).Value(), base + 29);  // dropped, not rounded
  EXPECT_EQ(TFecha(seconds(29.999)).Value(), base + 29);
  EXPECT_EQ(TFecha(seconds(29.9996)).Value(), base + 30);  // rounds to 30.000 first
  // The runtime's period ends carry 999 ms, which fall to 23:59:59.
  EXPECT_EQ(TFecha(EndOfTheDay(TDateTime(day))).Value(), ValueOf(2026, 3, 5, 23, 59, 59));
  // The day is taken by truncation and the time apart from it, so a count
  // within half a millisecond of midnight reads as the start of its own day.
  EXPECT_EQ(TFecha(TDateTime(day + 1 - 0.4 / MSecsPerDay)).Value(), ValueOf(2026, 3, 5));
  TFecha f;
  f.SetValue(seconds(59.7));
  EXPECT_EQ(f.Value(), base + 59);
}

TEST(TFecha, ReadsTheCalendar) {
  const TFecha f = At(2026, 3, 5, 8, 7, 9);
  unsigned short y = 0, m = 0, d = 0, h = 0, n = 0, s = 0;
  f.GetDecodedDate(y, m, d);
  f.GetDecodedTime(h, n, s);
  EXPECT_EQ(y, 2026);
  EXPECT_EQ(m, 3);
  EXPECT_EQ(d, 5);
  EXPECT_EQ(h, 8);
  EXPECT_EQ(n, 7);
  EXPECT_EQ(s, 9);
  EXPECT_EQ(f.Day(), 5);
  EXPECT_EQ(f.Month(), 3);
  EXPECT_EQ(f.Year(), 2026);
  EXPECT_EQ(f.DayOfWeek(), 4);
  EXPECT_EQ(f.Week(), 10);
  EXPECT_EQ(At(2026, 11, 29, 23, 59, 59).DayOfWeek(), 7);
  EXPECT_EQ(At(2026, 11, 30).DayOfWeek(), 1);
  At(2024, 12, 31, 23, 59, 59).GetDecodedTime(h, n, s);
  EXPECT_EQ(h, 23);
  EXPECT_EQ(n, 59);
  EXPECT_EQ(s, 59);

  // Early January may lie in the last week of the year before, late December
  // in week 1 of the next; the last second of the day must not move it.
  struct Row {
    uint16_t y, m, d, week;
  };
  for (const Row& r : {Row{2004, 12, 31, 53}, Row{2005, 1, 1, 53}, Row{2008, 12, 29, 1},
                       Row{2010, 1, 3, 53}, Row{2021, 1, 3, 53}, Row{2026, 1, 1, 1},
                       Row{2012, 12, 31, 1}, Row{2000, 1, 2, 52}, Row{2027, 1, 3, 53}}) {
    EXPECT_EQ(At(r.y, r.m, r.d).Week(), r.week) << r.y << "-" << r.m << "-" << r.d;
    EXPECT_EQ(At(r.y, r.m, r.d, 23, 59, 59).Week(), r.week) << r.y << "-" << r.m << "-" << r.d;
  }
}

TEST(TFecha, PeriodStartsAndEndsAreWholeSeconds) {
  const TFecha wed = At(2026, 11, 25, 13, 45, 10);
  EXPECT_EQ(wed.StartOfWeek().Value(), ValueOf(2026, 11, 23));
  EXPECT_EQ(wed.EndOfWeek().Value(), ValueOf(2026, 11, 29, 23, 59, 59));
  EXPECT_EQ(wed.EndOfDay().Value(), ValueOf(2026, 11, 25, 23, 59, 59));
  EXPECT_EQ(wed.StartOfMonth().Value(), ValueOf(2026, 11, 1));
  EXPECT_EQ(wed.EndOfMonth().Value(), ValueOf(2026, 11, 30, 23, 59, 59));
  EXPECT_EQ(wed.StartOfYear().Value(), ValueOf(2026, 1, 1));
  EXPECT_EQ(wed.EndOfYear().Value(), ValueOf(2026, 12, 31, 23, 59, 59));
  EXPECT_EQ(At(2024, 2, 3).EndOfMonth().Value(), ValueOf(2024, 2, 29, 23, 59, 59));
  EXPECT_EQ(At(2100, 2, 3).EndOfMonth().Value(), ValueOf(2100, 2, 28, 23, 59, 59));
  EXPECT_EQ(At(2026, 1, 1, 12).StartOfWeek().Value(), ValueOf(2025, 12, 29));
  EXPECT_EQ(At(2025, 12, 29).EndOfWeek().Value(), ValueOf(2026, 1, 4, 23, 59, 59));

  // Monday 00:00:00 is its own week start; Sunday 23:59:59 lies 6 d 23:59:59 after it.
  const TFecha monday = At(2026, 11, 23);
  EXPECT_EQ(monday.StartOfWeek(), monday);
  const TFecha sunday = At(2026, 11, 29, 23, 59, 59);
  EXPECT_EQ(sunday.StartOfWeek().Value(), sunday.Value() - (6 * kDay + 23 * 3600 + 59 * 60 + 59));
  EXPECT_EQ(sunday.EndOfWeek(), sunday);

  // EndOfDay of any instant of a day is one second short of the next day.
  const int64_t start = ValueOf(2024, 2, 29);
  for (int64_t second = 0; second < kDay; second += 59) {
    const TFecha f(start + second);
    const TFecha end = f.EndOfDay();
    ASSERT_EQ(end.Value(), f.Date() + kDay - 1) << second;
    ASSERT_TRUE(end.EqualDay(f)) << second;
  }
}

TEST(TFecha, StartOfNextWeekIsTheFollowingMonday) {
  const TFecha sunday = At(2026, 11, 29, 23, 59, 59);
  EXPECT_EQ(sunday.StartOfNextWeek().Value(), sunday.Value() + 1);
  const TFecha monday = At(2026, 11, 23);
  EXPECT_EQ(monday.StartOfNextWeek().Value(), monday.Value() + 7 * kDay);
  // Across the change of year in the week numbering, 52 to 1 and 53 to 1.
  EXPECT_EQ(At(2025, 12, 22).Week(), 52);
  EXPECT_EQ(At(2025, 12, 22).StartOfNextWeek().Value(), ValueOf(2025, 12, 29));
  EXPECT_EQ(At(2026, 12, 28).Week(), 53);
  EXPECT_EQ(At(2026, 12, 28).StartOfNextWeek().Value(), ValueOf(2027, 1, 4));
  EXPECT_EQ(At(2021, 1, 3, 12).StartOfNextWeek().Value(), ValueOf(2021, 1, 4));
  EXPECT_EQ(At(2004, 12, 31).StartOfNextWeek().Value(), ValueOf(2005, 1, 3));
  // For every day of three decades it is seven days after the week's start.
  for (int64_t day = ValueOf(2000, 1, 1) / kDay; day < ValueOf(2030, 1, 1) / kDay; ++day) {
    const TFecha f(day * kDay + 12345);
    ASSERT_EQ(f.StartOfNextWeek().Value(), f.StartOfWeek().Value() + 7 * kDay) << day;
  }
  // The calendar's last week has no next one; the walk still ends.
  const TFecha last = At(9999, 12, 31, 12);
  EXPECT_EQ(last.StartOfNextWeek(), last.StartOfWeek());
}

TEST(TFecha, IncDaysStepsOnePeriodOfTheGroup) {
  const TFecha f = At(2024, 1, 31, 10, 15);
  EXPECT_EQ(f.IncDays(tgWeek).Value(), f.Value() + 604800);
  EXPECT_EQ(f.IncDays(tgFortnight).Value(), f.Value() + 1209600);
  EXPECT_EQ(f.IncDays(tgMonth).Value(), ValueOf(2024, 2, 29, 10, 15));
  EXPECT_EQ(At(2023, 1, 31, 10, 15).IncDays(tgMonth).Value(), ValueOf(2023, 2, 28, 10, 15));
  EXPECT_EQ(At(2024, 2, 29, 7).IncDays(tgYear).Value(), ValueOf(2025, 2, 28, 7));
  EXPECT_EQ(At(2025, 11, 30).IncDays(tgQuarter).Value(), ValueOf(2026, 2, 28));
  EXPECT_EQ(At(2023, 11, 30, 23, 59, 59).IncDays(tgQuarter).Value(),
            ValueOf(2024, 2, 29, 23, 59, 59));
  EXPECT_EQ(At(2026, 12, 15).IncDays(tgMonth).Value(), ValueOf(2027, 1, 15));
  // Groups outside 2-6 are a day, and only the low 8 bits choose.
  for (const short group : {0, 1, 7, 8, -1, 100, 127, 256, 257}) {
    EXPECT_EQ(f.IncDays(group).Value(), f.Value() + kDay) << group;
  }
  EXPECT_EQ(f.IncDays(258).Value(), f.Value() + 604800);
  EXPECT_EQ(f.IncDays(259).Value(), ValueOf(2024, 2, 29, 10, 15));
  EXPECT_EQ(f.IncDays(-251).Value(), f.Value() + 1209600);  // 0xFF05

  EXPECT_EQ(f.IncDay(-1).Value(), f.Value() - kDay);
  EXPECT_EQ(f.IncDay(32767).Value(), f.Value() + 32767 * kDay);
  EXPECT_EQ(f.IncHour(-25).Value(), f.Value() - 25 * 3600);
}

TEST(TFecha, DaysBetweenCountsTheSecondsOfWholeDays) {
  const TFecha morning = At(2026, 3, 5, 0, 0, 1);
  const TFecha night = At(2026, 3, 5, 23, 59, 59);
  const TFecha next = At(2026, 3, 6);
  EXPECT_EQ(night.DaysBetween(morning), 0);
  EXPECT_EQ(morning.DaysBetween(night), 0);
  EXPECT_EQ(next.DaysBetween(night), kDay);
  EXPECT_EQ(night.DaysBetween(next), -kDay);
  EXPECT_EQ(At(2026, 3, 1).DaysBetween(At(2026, 2, 1)), 28 * kDay);
  EXPECT_TRUE(morning.EqualDay(night));
  EXPECT_FALSE(night.EqualDay(next));
}

TEST(TFecha, ArithmeticAndOrderUseTheValue) {
  const TFecha a = At(2026, 3, 5, 8);
  const TFecha b = At(2026, 3, 5, 9);
  const TDuration span = a - b;
  EXPECT_EQ(span.Value(), -3600);
  EXPECT_EQ(span.Type(), dtDefault);
  EXPECT_EQ(span.GetString(), "-3600");
  EXPECT_EQ((b - a).GetString(), "3600");
  EXPECT_EQ(a + TDuration(3600), b);
  EXPECT_EQ(TDuration(3600) + a, b);
  EXPECT_EQ(a + TDuration(-3600, static_cast<TDurationType>(1)), At(2026, 3, 5, 7));
  EXPECT_TRUE(a < b);
  EXPECT_TRUE(a <= b);
  EXPECT_TRUE(a <= a);
  EXPECT_TRUE(b > a);
  EXPECT_TRUE(b >= a);
  EXPECT_TRUE(a != b);
  EXPECT_TRUE(a == TFecha(a.Value()));
  EXPECT_FALSE(a > b);
  // Signed order: a value before the origin sorts first.
  EXPECT_TRUE(TFecha(-5) < TFecha());
}

TEST(TFecha, TextForms) {
  const TFecha f = At(2026, 3, 5, 8, 7, 9);
  EXPECT_EQ(f.ToString("dd/mm/yyyy hh:mm"), "05/03/2026 08:07");
  EXPECT_EQ(f.ToString("dd/mm/yy hh:mm - "), "05/03/26 08:07 - ");
  EXPECT_EQ(f.ToString("hh:mm"), "08:07");
  EXPECT_EQ(f.ToString(" mmmm yyyy"), " marzo 2026");
  EXPECT_EQ(At(2026, 3, 5, 23, 59, 59).ToString("dd/mm/yyyy hh:nn:ss"), "05/03/2026 23:59:59");

  // One day or less is a bare time of day; one second more is a date and time.
  EXPECT_EQ(TFecha(kDay).SmartString(), "00:00:00");
  EXPECT_EQ(TFecha(kDay + 1).SmartString(), "31/12/1899 00:00:01");
  EXPECT_EQ(TFecha().SmartString(), "00:00:00");
  EXPECT_EQ(TFecha(kDay / 2).SmartString(), "12:00:00");
  EXPECT_EQ(TFecha(2 * kDay).SmartString(), "01/01/1900");
  EXPECT_EQ(f.SmartString(), "05/03/2026 08:07:09");
  // What SmartString writes reads back to the same value.
  EXPECT_EQ(TFecha(f.SmartString()), f);
  EXPECT_EQ(TFecha(TFecha(kDay / 2).SmartString()).Value(), kDay / 2);
}

TEST(TFecha, ParsesTextOrKeepsItsValue) {
  EXPECT_EQ(TFecha(AnsiString("05/03/2026 08:07")).Value(), ValueOf(2026, 3, 5, 8, 7));
  EXPECT_EQ(TFecha(AnsiString("05/03/2026 08:07:09.999")).Value(), ValueOf(2026, 3, 5, 8, 7, 9));
  EXPECT_THROW(TFecha(AnsiString("31/02/2026")), EConvertError);
  TFecha f(int64_t{4242});
  EXPECT_THROW(f.SetValue(AnsiString("not a date")), EConvertError);
  EXPECT_EQ(f.Value(), 4242);
  f.SetValue(AnsiString(" 01/01/1900 "));
  EXPECT_EQ(f.Value(), 2 * kDay);
}

TEST(TFecha, StartMinutesIsTheFractionOfTheHourCount) {
  EXPECT_EQ(TFecha().StartMinutes(), 0.0);
  EXPECT_EQ(TFecha(5400).StartMinutes(), 720.0);   // 1.5 h: half of 1440
  EXPECT_EQ(TFecha(-1800).StartMinutes(), 720.0);  // -0.5 h: fraction 0.5
  EXPECT_EQ(TFecha(900).StartMinutes(), 360.0);
  for (const int64_t v : {int64_t{-1}, int64_t{1}, int64_t{3599}, ValueOf(2026, 3, 5, 8, 59, 59)}) {
    const double m = TFecha(v).StartMinutes();
    EXPECT_GE(m, 0.0) << v;
    EXPECT_LT(m, 1440.0) << v;
  }
}

TEST(TDuration, ConstructionAndType) {
  EXPECT_EQ(TDuration().Value(), 0);
  EXPECT_EQ(TDuration().Type(), dtDefault);
  EXPECT_EQ(TDuration(TDateTime(0.5)).Value(), 43200);
  EXPECT_EQ(TDuration(TDateTime(-0.5)).Value(), -43200);
  EXPECT_EQ(TDuration(TDateTime(2.0)).Value(), 2 * kDay);
  EXPECT_EQ(TDuration(1, 0, 0, 0).Value(), kDay);
  EXPECT_EQ(TDuration(0, -1, 0, 0).Value(), -3600);
  EXPECT_EQ(TDuration(0, 1, -30, 0).Value(), 1800);
  EXPECT_EQ(TDuration(32767, 0, 0, 0).Value(), 32767 * kDay);
  EXPECT_EQ(TDuration(TFecha(kDay + 7)).Value(), kDay + 7);

  // A day count just under a whole second truncates to the second before,
  // toward zero on both sides.
  const double thirty = 30.0 / 86400.0;
  EXPECT_EQ(TDuration(TDateTime(std::nextafter(thirty, 0.0))).Value(), 29);
  EXPECT_EQ(TDuration(TDateTime(-std::nextafter(thirty, 0.0))).Value(), -29);
  EXPECT_EQ(TDuration(TDateTime(std::nextafter(thirty, 1.0))).Value(), 30);
  EXPECT_EQ(TDuration(TDateTime(29.9 / 86400.0)).Value(), 29);
  EXPECT_EQ(TDuration(TDateTime(std::nan(""))).Value(), 0);

  const TDuration typed(90, static_cast<TDurationType>(1));
  EXPECT_EQ(typed.Type(), 1);
  const TDuration copy(typed);
  EXPECT_EQ(copy.Type(), 1);
  EXPECT_EQ(copy.Value(), 90);
  TDuration changed = typed;
  changed.SetValue(-5);
  EXPECT_EQ(changed.Value(), -5);
  EXPECT_EQ(changed.Type(), 1);
  EXPECT_EQ((typed + typed).Type(), dtDefault);
  EXPECT_EQ((typed - typed).Type(), dtDefault);
  EXPECT_EQ((typed + typed).Value(), 180);
  EXPECT_EQ((typed - TDuration(100)).Value(), -10);
  // The type takes no part in comparisons.
  EXPECT_TRUE(typed == TDuration(90));
  EXPECT_FALSE(typed != TDuration(90));
  EXPECT_TRUE(TDuration(-1) < TDuration(0));
  EXPECT_TRUE(TDuration(5) >= TDuration(5, static_cast<TDurationType>(0)));
  EXPECT_EQ(TDuration(90).AsMinutes(), 1.5);
  EXPECT_EQ(TDuration(-30).AsMinutes(), -0.5);
}

TEST(TDuration, TextForms) {
  EXPECT_EQ(TDuration(5400).GetSmartString(), "1 h 30 min ");
  EXPECT_EQ(TDuration(90061).GetSmartString(), "1 d 1 h 1 min 1 sec");
  EXPECT_EQ(TDuration(5400).GetString(0), "1 h 30 min ");
  EXPECT_EQ(TDuration(302400).GetString(1), "0.50 w");
  EXPECT_EQ(TDuration(129600).GetString(2), "1.50 d");
  EXPECT_EQ(TDuration(5400).GetString(3), "1.50 h");
  EXPECT_EQ(TDuration(5400).GetString(4), "90.00 m");
  EXPECT_EQ(TDuration(5400).GetString(5), "5400.00 s");
  EXPECT_EQ(TDuration(5400).GetString(259), "1.50 h");  // low 8 bits
  EXPECT_EQ(TDuration(5400).GetString(), "5400");
  EXPECT_EQ(TDuration(-86400).GetString(), "-86400");
  EXPECT_EQ(TDuration(0).GetString(), "0");
}

}  // namespace
