#include "cuadrante/roster/dayhours.h"

#include <gtest/gtest.h>

#include <vector>

#include "cuadrante/runtime/datetime.h"
#include "cuadrante/testing/values.h"

namespace {

using namespace cuadrante;
using namespace cuadrante::roster;

using cuadrante::testing::At;
using cuadrante::testing::kDay;
using cuadrante::testing::kHour;

TBasicPoint Item(TFecha start, int64_t seconds, TTimePointType type) {
  TBasicPoint item(start, TDuration(seconds));
  item.Type = type;
  return item;
}

TEST(TDayHours, SplitsItemsAtMidnightAndAtTheRangesEdges) {
  // Monday 16 to Sunday 29 November 2026.
  TDayHours hours(At(2026, 11, 16), At(2026, 11, 29));
  ASSERT_EQ(hours.Days(), 14);
  hours.Add(Item(At(2026, 11, 16, 22), 8 * kHour, tptTimetable));  // night shift
  hours.Add(Item(At(2026, 11, 20), kDay, tptHoliday));             // one whole day
  hours.Add(Item(At(2026, 11, 25), 2 * kDay, tptLeave));           // 25 and 26
  hours.Add(Item(At(2026, 11, 15, 22), 8 * kHour, tptTimetable));  // began the day before
  hours.Add(Item(At(2026, 11, 29, 20), 8 * kHour, tptTask));       // runs past the end
  hours.Add(Item(At(2026, 11, 10), kDay, tptTimetable));           // wholly before
  hours.Add(Item(At(2026, 11, 30), kDay, tptTimetable));           // wholly after
  hours.Add(Item(At(2026, 11, 18, 9), 0, tptTimetable));           // no length

  // Every day from the one before the range to the one after it: the nights
  // split at midnight, the holiday stays on its Friday, the leave takes two days.
  std::vector<int64_t> days;
  for (int day = -1; day <= 14; ++day) days.push_back(hours.Seconds(day).Value());
  EXPECT_EQ(days, (std::vector<int64_t>{0, 8 * kHour, 6 * kHour, 0, 0, kDay, 0, 0, 0, 0, kDay, kDay,
                                        0, 0, 4 * kHour, 0}));
  EXPECT_EQ(hours.Seconds(0, tptTimetable).Value(), 8 * kHour);
  EXPECT_EQ(hours.Seconds(4, tptHoliday).Value(), kDay);
  EXPECT_EQ(hours.Seconds(13, tptTask).Value(), 4 * kHour);

  EXPECT_EQ(hours.Total(THoursKind::kWork).Value(), 14 * kHour + 4 * kHour);
  EXPECT_EQ(hours.Total(THoursKind::kAbsence).Value(), 3 * kDay);
  EXPECT_EQ(hours.Total(THoursKind::kOther).Value(), 0);
  EXPECT_EQ(hours.TypeTotal(tptLeave).Value(), 2 * kDay);

  // A two-week leave counts 24 h on each of its days, not 336 h on its first.
  TDayHours leave(At(2026, 11, 16), At(2026, 11, 29));
  leave.Add(Item(At(2026, 11, 16), 14 * kDay, tptLeave));
  for (int day = 0; day < 14; ++day) EXPECT_EQ(leave.Seconds(day, tptLeave).Value(), kDay) << day;
}

TEST(TDayHours, KindsFollowTheTypesClassification) {
  const std::pair<THoursKind, std::vector<TTimePointType>> kinds[] = {
      {THoursKind::kWork,
       {tptTimetable, tptTask, tptCover, tptChangeOfPost, tptReducedDay, tptExtendedDay}},
      {THoursKind::kAbsence, {tptIncidence, tptSickLeave, tptLeave, tptHoliday}},
      {THoursKind::kOther, {tptFree, tptWorkingHoliday, tptNone}},
  };
  for (const auto& [kind, types] : kinds) {
    for (const TTimePointType type : types)
      EXPECT_EQ(KindOf(Item(At(2026, 1, 1), kHour, type)), kind) << type;
  }
}

TEST(HoursRows, WeeksStartOnMondayAndMonthsHaveThirtyOneColumns) {
  // Wednesday 25 February to Tuesday 3 March 2026.
  TDayHours hours(At(2026, 2, 25), At(2026, 3, 3));
  hours.Add(Item(At(2026, 2, 28, 22), 8 * kHour, tptTimetable));
  hours.Add(Item(At(2026, 3, 2, 9), kHour, tptTask));
  hours.Add(Item(At(2026, 3, 2, 12), kHour, tptTimetable));

  const auto weeks = HoursRows(hours, false);
  ASSERT_EQ(weeks.size(), 3u);  // week of 23/2 timetable, week of 2/3 timetable and task
  EXPECT_EQ(weeks[0].period, At(2026, 2, 23));
  std::vector<int64_t> week;
  for (const TDuration day : weeks[0].days) week.push_back(day.Value());
  EXPECT_EQ(week, (std::vector<int64_t>{0, 0, 0, 0, 0, 2 * kHour, 6 * kHour}));
  EXPECT_EQ(weeks[0].total.Value(), 8 * kHour);
  EXPECT_EQ(weeks[1].period, At(2026, 3, 2));
  EXPECT_EQ(weeks[1].type, tptTimetable);
  EXPECT_EQ(weeks[1].days[0].Value(), kHour);
  EXPECT_EQ(weeks[2].type, tptTask);

  const auto months = HoursRows(hours, true);
  ASSERT_EQ(months.size(), 3u);
  EXPECT_EQ(months[0].period, At(2026, 2, 1));
  ASSERT_EQ(months[0].days.size(), 31u);
  EXPECT_EQ(months[0].days[27].Value(), 2 * kHour);  // 28 February
  EXPECT_EQ(months[0].days[28].Value(), 0);          // no 29 February: the column stays empty
  EXPECT_EQ(months[1].period, At(2026, 3, 1));
  EXPECT_EQ(months[1].days[0].Value(), 6 * kHour);
  EXPECT_EQ(months[1].days[1].Value(), kHour);
  EXPECT_EQ(months[1].total.Value(), 7 * kHour);

  EXPECT_TRUE(HoursRows(TDayHours(At(2026, 3, 3), At(2026, 3, 1)), false).empty());

  // The first type has a row of its own, and only one.
  TDayHours first(At(2026, 3, 2), At(2026, 3, 8));
  first.Add(Item(At(2026, 3, 3, 10), kHour, static_cast<TTimePointType>(0)));
  const auto rows = HoursRows(first, false);
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0].type, static_cast<TTimePointType>(0));
  EXPECT_EQ(rows[0].total.Value(), kHour);
}

// With a zone each day counts what really passes: the spring night loses its
// hour on the day of the change, the autumn night gains one, and every other
// day keeps the wall clock's hours.
TEST(TDayHours, CountsElapsedHoursInAZone) {
  const TZone madrid = TZone::Find("Europe/Madrid");
  TDayHours hours(At(2026, 3, 28), At(2026, 3, 30), &madrid);
  hours.Add(Item(At(2026, 3, 28, 22), 8 * kHour, tptTimetable));
  hours.Add(Item(At(2026, 3, 30, 0), kDay, tptLeave));
  EXPECT_EQ(hours.Seconds(0, tptTimetable).Value(), 2 * kHour);
  EXPECT_EQ(hours.Seconds(1, tptTimetable).Value(), 5 * kHour);
  EXPECT_EQ(hours.Seconds(2).Value(), kDay);
  EXPECT_EQ(hours.Total(THoursKind::kWork).Value(), 7 * kHour);
  EXPECT_EQ(hours.Total(THoursKind::kAbsence).Value(), kDay);
  // The whole change day is 23 h long, the autumn one 25 h.
  TDayHours days(At(2026, 3, 29), At(2026, 10, 25), &madrid);
  days.Add(Item(At(2026, 3, 29), kDay, tptLeave));
  days.Add(Item(At(2026, 10, 25), kDay, tptLeave));
  EXPECT_EQ(days.Seconds(0).Value(), 23 * kHour);
  EXPECT_EQ(days.Seconds(days.Days() - 1).Value(), 25 * kHour);
  TDayHours wall(At(2026, 3, 29), At(2026, 3, 29));
  wall.Add(Item(At(2026, 3, 29), kDay, tptLeave));
  EXPECT_EQ(wall.Seconds(0).Value(), kDay);
}

}  // namespace
