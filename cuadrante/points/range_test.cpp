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

}  // namespace
