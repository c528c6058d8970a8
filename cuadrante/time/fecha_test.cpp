#include "cuadrante/time/fecha.h"

#include <gtest/gtest.h>

#include <cmath>
#include <tuple>
#include <type_traits>

#include "cuadrante/runtime/dateformat.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/testing/values.h"

namespace {

// Values built by plain arithmetic, independent of the conversions under test.
using cuadrante::testing::At;
using cuadrante::testing::kDay;
using cuadrante::testing::SecondsAt;

// Seconds cannot silently become days or the other way round.
static_assert(std::is_constructible_v<TFecha, int>);
static_assert(!std::is_constructible_v<TFecha, double>);
static_assert(!std::is_convertible_v<TDateTime, TFecha>);
static_assert(!std::is_constructible_v<TDuration, double>);
static_assert(!std::is_convertible_v<TFecha, TDuration>);
// The integer operations are usable at compile time.
static_assert(TFecha(90000).Date() == 86400 && TFecha(100).IncDay(-1).Value() == 100 - 86400);
static_assert(TFecha(100).IncHour(2).Value() == 7300 && (TFecha(10) - TFecha(25)).Value() == -15);
static_assert((TFecha(10) + TDuration(5)).Value() == 15 && TDuration(1, 2, 3, 4).Value() == 93784);
static_assert(TFecha(kDay + 5).DaysBetween(TFecha(kDay - 1)) == kDay);
// A plain count of seconds compares with the value, from either side.
static_assert(TFecha(5) == 5 && 5 == TFecha(5) && TFecha(5) != int64_t{4});
static_assert(TFecha(5) < 6 && 7 > TFecha(5) && TFecha(-1) < 0 && TFecha() >= 0);

TEST(TFecha, EverySecondComesBackThroughTheDayCount) {
  // Every second of days spread over the calendar, the origin included.
  for (const int64_t day : {int64_t{0}, int64_t{1}, SecondsAt(1900, 2, 28) / kDay,
                            SecondsAt(1900, 3, 1) / kDay, SecondsAt(2000, 2, 29) / kDay,
                            SecondsAt(2026, 11, 23) / kDay, SecondsAt(2100, 12, 31) / kDay,
                            SecondsAt(5000, 6, 15) / kDay, SecondsAt(9999, 12, 31) / kDay}) {
    for (int64_t second = 0; second < kDay; ++second) {
      const int64_t value = day * kDay + second;
      const TDateTime t = TFecha(value).AsDateTime();
      ASSERT_EQ(TFecha(t).Value(), value) << value;
      ASSERT_EQ(static_cast<int64_t>(t.Val), day) << value;
    }
  }
  // The first and last second of every day up to the end of the calendar: the
  // day count never truncates into the day before, nor rounds into the next.
  const int64_t lastDay = SecondsAt(9999, 12, 31) / kDay;
  for (int64_t day = 0; day <= lastDay; ++day) {
    const TFecha midnight(day * kDay);
    ASSERT_EQ(midnight.AsDateTime().Val, static_cast<double>(day)) << day;
    const TFecha last(day * kDay + kDay - 1);
    ASSERT_EQ(TFecha(last.AsDateTime()).Value(), last.Value()) << day;
    ASSERT_EQ(last.AsDate().Val, static_cast<double>(day)) << day;
    ASSERT_EQ(last.Date(), midnight.Value()) << day;
  }
}

TEST(TFecha, ConversionFromTheDayCountDropsTheMillisecond) {
  const double day = EncodeDate(2026, 3, 5).Val;
  const int64_t base = SecondsAt(2026, 3, 5, 10, 15);
  const auto seconds = [&](double s) { return TDateTime(day + (10 * 3600 + 15 * 60 + s) / 86400); };
  EXPECT_EQ(TFecha(seconds(29.4)).Value(), base + 29);
  EXPECT_EQ(TFecha(seconds(29.999)).Value(), base + 29);   // dropped, not rounded
  EXPECT_EQ(TFecha(seconds(29.9996)).Value(), base + 30);  // rounds to 30.000 first
  // The runtime's period ends carry 999 ms, which fall to 23:59:59.
  EXPECT_EQ(TFecha(EndOfTheDay(TDateTime(day))).Value(), SecondsAt(2026, 3, 5, 23, 59, 59));
  // The day is taken by truncation and the time apart from it, so a count
  // within half a millisecond of midnight reads as the start of its own day.
  EXPECT_EQ(TFecha(TDateTime(day + 1 - 0.4 / MSecsPerDay)).Value(), SecondsAt(2026, 3, 5));
  TFecha f(int64_t{7});
  f.SetValue(TDateTime(-1.25));            // before the origin the time of day counts forward
  EXPECT_EQ(f.Value(), -kDay + 6 * 3600);  // 29 December 1899, 06:00
  // Zero is the origin and means no date.
  EXPECT_TRUE(TFecha().IsZero() && !TFecha(1).IsZero() && !TFecha(-1).IsZero());
}

TEST(TFecha, ReadsTheCalendar) {
  // The last second of a year: neither the date, the day nor the week moves on.
  const TFecha f = At(2024, 12, 31, 23, 59, 59);
  unsigned short y = 0, m = 0, d = 0, h = 0, n = 0, s = 0;
  f.GetDecodedDate(y, m, d);
  f.GetDecodedTime(h, n, s);
  EXPECT_EQ(y * 10000 + m * 100 + d, 20241231);
  EXPECT_EQ(h * 10000 + n * 100 + s, 235959);
  EXPECT_EQ(f.Year() * 10000 + f.Month() * 100 + f.Day(), 20241231);
  EXPECT_EQ(f.DayOfWeek() * 100 + f.Week(), 201);  // Tuesday of week 1 of 2025
  EXPECT_EQ(At(2026, 11, 29, 23, 59, 59).DayOfWeek(), 7);
  EXPECT_EQ(At(2005, 1, 1, 23, 59, 59).Week(), 53);
}

TEST(TFecha, PeriodStartsAndEndsAreWholeSeconds) {
  // The calendar's own ends carry 999 ms; these drop them.
  const TFecha wed = At(2026, 11, 25, 13, 45, 10);
  EXPECT_EQ(wed.StartOfWeek().Value(), SecondsAt(2026, 11, 23));
  EXPECT_EQ(wed.EndOfWeek().Value(), SecondsAt(2026, 11, 29, 23, 59, 59));
  EXPECT_EQ(wed.StartOfMonth().Value(), SecondsAt(2026, 11, 1));
  EXPECT_EQ(wed.EndOfMonth().Value(), SecondsAt(2026, 11, 30, 23, 59, 59));
  EXPECT_EQ(wed.StartOfYear().Value(), SecondsAt(2026, 1, 1));
  EXPECT_EQ(wed.EndOfYear().Value(), SecondsAt(2026, 12, 31, 23, 59, 59));
  // Sunday 23:59:59 is the end of its own week, and one second before the next.
  const TFecha sunday = At(2026, 11, 29, 23, 59, 59);
  EXPECT_EQ(sunday.EndOfWeek(), sunday);
  EXPECT_EQ(sunday.StartOfNextWeek().Value(), sunday.Value() + 1);
  // The calendar's last week has no next one: its end is the answer, never a
  // date before the argument.
  EXPECT_EQ(At(9999, 12, 31, 12).StartOfNextWeek().Value(), kCalendarEnd);
  EXPECT_EQ(At(9999, 12, 26, 12).StartOfNextWeek().Value(), SecondsAt(9999, 12, 27));

  // For every day of three decades, across years of 52 and 53 weeks, the next
  // week starts seven days after the week's start, and EndOfDay is one second
  // short of the next day.
  for (int64_t day = SecondsAt(2000, 1, 1) / kDay; day < SecondsAt(2030, 1, 1) / kDay; ++day) {
    const TFecha f(day * kDay + (day * 7919) % kDay);
    ASSERT_EQ(f.StartOfNextWeek().Value(), f.StartOfWeek().Value() + 7 * kDay) << day;
    ASSERT_EQ(f.EndOfDay().Value(), day * kDay + kDay - 1) << day;
  }
}

TEST(TFecha, IncDaysStepsOnePeriodOfTheGroup) {
  const TFecha f = At(2024, 1, 31, 10, 15);
  // The months and the year keep the day where the target month has it, else
  // its last day; only the low 8 bits of the group choose.
  const std::tuple<TFecha, short, int64_t> cases[] = {
      {f, tgWeek, f.Value() + 604800},
      {f, tgFortnight, f.Value() + 1209600},
      {f, tgMonth, SecondsAt(2024, 2, 29, 10, 15)},
      {At(2023, 1, 31, 10, 15), tgMonth, SecondsAt(2023, 2, 28, 10, 15)},
      {At(2025, 11, 30), tgQuarter, SecondsAt(2026, 2, 28)},
      {At(2023, 11, 30, 23, 59, 59), tgQuarter, SecondsAt(2024, 2, 29, 23, 59, 59)},
      {At(2024, 2, 29, 7), tgYear, SecondsAt(2025, 2, 28, 7)},
      {f, 258, f.Value() + 604800},
      {f, -251, f.Value() + 1209600},  // 0xFF05
  };
  for (const auto& [from, group, to] : cases) {
    EXPECT_EQ(from.IncDays(group).Value(), to) << from.SmartString() << " by " << group;
  }
  // Groups outside 2-6 are a day.
  for (const short group : {0, 1, 7, -1, 256}) {
    EXPECT_EQ(f.IncDays(group).Value(), f.Value() + kDay) << group;
  }
  EXPECT_EQ(f.IncDay(32767).Value(), f.Value() + 32767 * kDay);  // no 32-bit product
}

TEST(TFecha, DaysBetweenArithmeticAndOrder) {
  const TFecha morning = At(2026, 3, 5, 0, 0, 1);
  const TFecha night = At(2026, 3, 5, 23, 59, 59);
  const TFecha next = At(2026, 3, 6);
  EXPECT_EQ(night.DaysBetween(morning), 0);
  EXPECT_EQ(next.DaysBetween(night), kDay);
  EXPECT_EQ(night.DaysBetween(next), -kDay);
  EXPECT_TRUE(morning.EqualDay(night) && !night.EqualDay(next));
  EXPECT_EQ(TDuration(kDay - 1) + morning, At(2026, 3, 6, 0, 0, 0));
  // Signed order: a value before the origin sorts first.
  EXPECT_TRUE(TFecha(-5) < TFecha() && morning <= morning && next >= night);
  EXPECT_FALSE(morning > night || morning != morning);
}

TEST(TFecha, TextFormsReadBack) {
  const TFecha f = At(2026, 3, 5, 8, 7, 9);
  EXPECT_EQ(f.ToString("dd/mm/yy hh:mm - "), "05/03/26 08:07 - ");

  // One day or less is a bare time of day; one second more is a date and time.
  EXPECT_EQ(TFecha(kDay).SmartString(), "00:00:00");
  EXPECT_EQ(TFecha(kDay + 1).SmartString(), "31/12/1899 00:00:01");
  EXPECT_EQ(TFecha(2 * kDay).SmartString(), "01/01/1900");
  // What SmartString writes reads back to the same value.
  EXPECT_EQ(TFecha(f.SmartString()), f);
  EXPECT_EQ(TFecha(TFecha(kDay / 2).SmartString()).Value(), kDay / 2);

  EXPECT_EQ(TFecha(AnsiString("05/03/2026 08:07:09.999")).Value(), SecondsAt(2026, 3, 5, 8, 7, 9));
  EXPECT_THROW(TFecha(AnsiString("31/02/2026")), EConvertError);
  TFecha kept(int64_t{4242});
  EXPECT_THROW(kept.SetValue(AnsiString("not a date")), EConvertError);
  EXPECT_EQ(kept.Value(), 4242);
  kept.SetValue(AnsiString(" 01/01/1900 "));
  EXPECT_EQ(kept.Value(), 2 * kDay);
}

TEST(TFecha, StartMinutesIsTheFractionOfTheHourCount) {
  EXPECT_EQ(TFecha().StartMinutes(), 0.0);
  EXPECT_EQ(TFecha(5400).StartMinutes(), 720.0);   // 1.5 h: half of 1440
  EXPECT_EQ(TFecha(-1800).StartMinutes(), 720.0);  // -0.5 h: fraction 0.5
  for (const int64_t v :
       {int64_t{-1}, int64_t{1}, int64_t{3599}, SecondsAt(2026, 3, 5, 8, 59, 59)}) {
    const double m = TFecha(v).StartMinutes();
    EXPECT_TRUE(m >= 0.0 && m < 1440.0) << v << ": " << m;
  }
}

TEST(TDuration, ConstructionTypeAndText) {
  EXPECT_EQ(TDuration(32767, 0, 0, 0).Value(), 32767 * kDay);
  // A day count just under a whole second truncates to the second before,
  // toward zero on both sides.
  const double thirty = 30.0 / 86400.0;
  EXPECT_EQ(TDuration(TDateTime(std::nextafter(thirty, 0.0))).Value(), 29);
  EXPECT_EQ(TDuration(TDateTime(-std::nextafter(thirty, 0.0))).Value(), -29);
  EXPECT_EQ(TDuration(TDateTime(std::nextafter(thirty, 1.0))).Value(), 30);
  EXPECT_EQ(TDuration(TDateTime(std::nan(""))).Value(), 0);

  // The type survives copies and SetValue, not arithmetic, and takes no part
  // in comparisons.
  TDuration typed(90, static_cast<TDurationType>(1));
  typed.SetValue(-5);
  EXPECT_EQ(TDuration(typed).Type(), 1);
  EXPECT_EQ((typed + typed).Type(), dtDefault);
  EXPECT_EQ((typed - TDuration(100)).Type(), dtDefault);
  EXPECT_TRUE(typed == TDuration(-5) && TDuration(-1) < TDuration(0));
  EXPECT_EQ(TDuration(-30).AsMinutes(), -0.5);

  // The formats are the text unit's; only the low 8 bits choose one.
  EXPECT_EQ(TDuration(5400).GetString(0) + "|" + TDuration(5400).GetString(259),
            "1 h 30 min |1.50 h");
  EXPECT_EQ(TDuration(90061).GetSmartString(), "1 d 1 h 1 min 1 sec");
  EXPECT_EQ(TDuration(-86400).GetString(), "-86400");
}

TEST(TFecha, StepsStopAtTheCalendarsEndAndNeverGoBack) {
  const TFecha end(kCalendarEnd);
  EXPECT_EQ(end.ToString("dd/mm/yyyy hh:nn:ss"), "31/12/9999 23:59:59");
  // The last step of each group that fits, and the first that does not.
  const std::tuple<short, TFecha, TFecha> cases[] = {
      {tgDay, At(9999, 12, 30, 23, 59, 59), At(9999, 12, 31)},
      {tgWeek, At(9999, 12, 24, 23, 59, 59), At(9999, 12, 25)},
      {tgFortnight, At(9999, 12, 17, 23, 59, 59), At(9999, 12, 18)},
      {tgMonth, At(9999, 11, 30, 8), At(9999, 12, 1)},
      {tgQuarter, At(9999, 9, 30, 8), At(9999, 10, 1)},
      {tgYear, At(9998, 12, 31, 23, 59, 59), At(9999, 1, 1)}};
  for (const auto& [group, fits, passes] : cases) {
    EXPECT_TRUE(fits.IncDaysFits(group)) << group;
    EXPECT_GT(fits.IncDays(group), fits) << group;
    EXPECT_LE(fits.IncDays(group), end) << group;
    EXPECT_FALSE(passes.IncDaysFits(group)) << group;
    EXPECT_EQ(passes.IncDays(group), end) << group;
  }
  EXPECT_EQ(At(9998, 12, 31, 23, 59, 59).IncDays(tgYear), end);  // a real step onto the last second
  // A value past the calendar stays where it is, for every group.
  for (short group = 0; group <= 6; ++group) {
    EXPECT_EQ(TFecha(kCalendarEnd + 1000).IncDays(group).Value(), kCalendarEnd + 1000);
    EXPECT_EQ(end.IncDays(group), end);
  }
  // Every start of a next week in the calendar's last month comes after its argument.
  for (TFecha day = At(9999, 12, 1); day <= end; day = TFecha(day.Value() + 3600 * 7)) {
    EXPECT_GT(day.StartOfNextWeek(), day) << day.ToString("dd/mm hh:nn");
  }
}

}  // namespace
