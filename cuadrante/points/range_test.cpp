#include "cuadrante/points/range.h"

#include <gtest/gtest.h>

#include "cuadrante/runtime/datetime.h"
#include "cuadrante/testing/values.h"
#include "cuadrante/time/cyclepoint.h"

namespace {

using namespace cuadrante;

using cuadrante::testing::At;
using cuadrante::testing::kHour;

TEST(Belongs, AnItemBelongsToTheDaysItSharesASecondWith) {
  const auto march1 = DaysRange(At(2026, 3, 1), At(2026, 3, 1));
  EXPECT_EQ(march1.end - march1.start, 86400);
  const auto item = [](TFecha start, int64_t seconds) {
    return TBasicPoint(start, TDuration(seconds));
  };
  EXPECT_TRUE(Belongs(item(At(2026, 2, 28, 22), 8 * kHour), march1));   // began the night before
  EXPECT_FALSE(Belongs(item(At(2026, 2, 28, 16), 8 * kHour), march1));  // ends at midnight
  EXPECT_TRUE(Belongs(item(At(2026, 3, 1, 23), 8 * kHour), march1));
  EXPECT_FALSE(Belongs(item(At(2026, 3, 2), 8 * kHour), march1));
  EXPECT_TRUE(Belongs(item(At(2026, 3, 1), 0), march1));  // an instant at its start
  EXPECT_FALSE(Belongs(item(At(2026, 3, 2), 0), march1));
}

TEST(ExpandRange, TakesTheOccurrencesThatReachIntoTheRangeAndLeavesTheRulesAlone) {
  TCyclePointMgr rules;
  rules.RangeStart = rules.RangeEnd = TFecha();  // no clipping of the manager's own
  TCyclePoint night(At(2026, 2, 20, 22), tptTimetable, TDuration(8 * kHour));
  night.Periodicity = tgDay;
  night.WithWeekend = true;
  rules.AddCycle(&night, nullptr, false);
  TCyclePoint leave(At(2026, 2, 16), tptLeave, TDuration(14 * 86400));
  leave.Periodicity = tgYear;
  rules.AddCycle(&leave, nullptr, false);

  EXPECT_EQ(ExpandRange(rules, At(2026, 3, 1), At(2026, 3, 1), false), 3u);
  ASSERT_EQ(rules.Points.size(), 3u);
  rules.Sort();
  EXPECT_EQ(rules.Points[0]->GetInicio(), At(2026, 2, 16));      // the leave of two weeks
  EXPECT_EQ(rules.Points[1]->GetInicio(), At(2026, 2, 28, 22));  // the night before
  EXPECT_EQ(rules.Points[2]->GetInicio(), At(2026, 3, 1, 22));
  EXPECT_EQ(rules.Cycles.Points.size(), 2u);

  // Nothing dropped came back as an exception to a rule.
  EXPECT_EQ(ExpandRange(rules, At(2026, 2, 27), At(2026, 2, 27), true), 3u);
  EXPECT_EQ(ExpandRange(rules, At(2026, 3, 2), At(2026, 3, 2), false), 2u);
}

TEST(SpanOf, RunsFromTheFirstDayToTheLastSecondAnyPointHolds) {
  EXPECT_FALSE(SpanOf({}).has_value());
  // A long leave ends after the night that starts last; an instant at the
  // end holds its own second.
  TBasicPoint leave(At(2026, 3, 2, 9), TDuration(10 * 86400));
  TBasicPoint night(At(2026, 3, 5, 22), TDuration(8 * kHour));
  TBasicPoint instant(At(2026, 3, 6), TDuration(0));
  std::optional<TSpan> span = SpanOf({&leave, &night, &instant});
  ASSERT_TRUE(span.has_value());
  EXPECT_EQ(span->first, At(2026, 3, 2));
  EXPECT_EQ(span->last, At(2026, 3, 12, 8, 59, 59));
  TBasicPoint later(At(2026, 3, 20), TDuration(0));
  span = SpanOf({&night, &later});
  ASSERT_TRUE(span.has_value());
  EXPECT_EQ(span->first, At(2026, 3, 5));
  EXPECT_EQ(span->last, At(2026, 3, 20));
}

TEST(ElapsedIn, CountsTheHoursThatPassAcrossTheClockChanges) {
  const TZone madrid = TZone::Find("Europe/Madrid");
  TBasicPoint spring(At(2026, 3, 28, 22), TDuration(8 * kHour));
  TBasicPoint autumn(At(2026, 10, 24, 22), TDuration(8 * kHour));
  TBasicPoint day(At(2026, 3, 30, 8), TDuration(8 * kHour));
  EXPECT_EQ(ElapsedIn(madrid, spring).Value(), 7 * kHour);
  EXPECT_EQ(ElapsedIn(madrid, autumn).Value(), 9 * kHour);
  EXPECT_EQ(ElapsedIn(madrid, day).Value(), 8 * kHour);
  EXPECT_EQ(ElapsedIn(madrid, TBasicPointList{&spring, &day}).Value(), 15 * kHour);
  EXPECT_EQ(ElapsedIn(madrid, TBasicPointList{}).Value(), 0);
}

}  // namespace
