#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "cuadrante/points/basicpointmgr.h"
#include "cuadrante/runtime/datetime.h"
#include "cuadrante/testing/values.h"

using cuadrante::testing::kDay;
using cuadrante::testing::kHour;

namespace {

// Monday 23 November 2026, and an instant so many days and hours after it.
const int64_t kMonday = static_cast<int64_t>(EncodeDate(2026, 11, 23).Val) * kDay;
constexpr int64_t D(int64_t day, int64_t hour = 0) { return day * kDay + hour * kHour; }

// A point: start from kMonday, duration, type.
struct DayPoint {
  int64_t start, duration;
  int type;
};

void LoadFromMonday(TBasicPointMgr& set, const std::vector<DayPoint>& points) {
  for (const DayPoint& p : points) {
    set.Add(new TBasicPoint(TFecha(kMonday + p.start), TDuration(p.duration)));
    set.Points.back()->Type = static_cast<TTimePointType>(p.type);
  }
}

using Lines = std::vector<std::string>;

// Each row as "period type total: k:n ... #lists", with "k:n" for each day k
// that holds n > 0 points and the number of lists at the end.
Lines Rows(const SetPointsGrid& grid) {
  Lines rows;
  for (const ItemPointGrid& row : grid) {
    std::string text = row.Period.ToString("dd/mm/yyyy") + " " + std::to_string(row.Type) + " " +
                       std::to_string(row.Total.Value()) + ":";
    if (row.Period.Value() % kDay != 0) text += " not at midnight";
    for (size_t k = 0; k < row.Days.size(); ++k) {
      if (!row.Days[k].empty())
        text += " " + std::to_string(k) + ":" + std::to_string(row.Days[k].size());
    }
    rows.push_back(text + " #" + std::to_string(row.Days.size()));
  }
  return rows;
}

// The rows of the grid of `points` by `group` over [from, to], from kMonday.
Lines Grid(const std::vector<DayPoint>& points, int group, int64_t from, int64_t to) {
  TBasicPointMgr set;
  LoadFromMonday(set, points);
  return Rows(set.GetPointsGrid(static_cast<TTimesGroup>(group), TFecha(kMonday + from),
                                TFecha(kMonday + to), tptNone));
}

// The week and the month rows, with their days and totals, are checked against
// a plain walk on random sets below; these are the edges it does not reach.
TEST(GetPointsGrid, RowsByPeriodAndTypeWithTheirDaysAndTotals) {
  EXPECT_EQ(Grid({}, tgWeek, -D(400), D(400)), Lines{});
  // The 31st gives 31 lists; a row grows only to its latest day; every group
  // but the week gives months.
  for (int group : {tgMonth, tgNone, tgDay, tgYear, tgFortnight, tgQuarter}) {
    EXPECT_EQ(Grid({{D(38, 10), D(0, 1), 3}, {D(41, 10), D(0, 1), 3}, {D(48), D(0, 1), 3}}, group,
                   D(8), D(69)),
              (Lines{"01/12/2026 3 3600: 30:1 #31", "01/01/2027 3 7200: 2:1 9:1 #10"}))
        << group;
  }
  // In by the start: not one second before `from`, all of the day of `to`;
  // a range that ends before it begins is empty.
  const std::vector<DayPoint> edges{{D(0, 8) - 1, D(0, 4), 2},
                                    {D(0, 8), D(0, 1), 2},
                                    {D(6, 23) + 3599, D(0, 1), 3},
                                    {D(7), D(0, 1), 3}};
  EXPECT_EQ(Grid(edges, tgWeek, D(0, 8), D(6)),
            (Lines{"23/11/2026 3 3600: 6:1 #7", "23/11/2026 2 3600: 0:1 #1"}));
  EXPECT_EQ(Grid(edges, tgWeek, D(6), D(0)), Lines{});
}

TEST(GetPointsGrid, FiltersByTypeOrByASetOfTypes) {
  TBasicPointMgr set;
  const std::vector<int> all{20, 13, 3, 2, 1, 0, -1};
  for (int type : all) LoadFromMonday(set, {{D(0, 8 + type % 10), 60, type}});
  const auto typesOf = [&set](auto filter) {
    std::vector<int> found;
    for (const ItemPointGrid& row :
         set.GetPointsGrid(tgWeek, TFecha(kMonday), TFecha(kMonday), filter))
      found.push_back(row.Type);
    return found;
  };
  EXPECT_EQ(typesOf(tptNone), all);
  EXPECT_EQ(typesOf(tptTask), std::vector<int>{3});
  // No flags select everything; the flag 0 selects the type 0 alone, unlike
  // the type filter 0; a type outside 0..13 is no flag's.
  EXPECT_EQ(typesOf(TMapingFlags()), all);
  EXPECT_EQ(typesOf(TMapingFlags{tptNone}), std::vector<int>{0});
  EXPECT_EQ(typesOf(TMapingFlags{tptLast, tptFree, tptTask}), (std::vector<int>{13, 3, 1}));
  EXPECT_TRUE(typesOf(TMapingFlags{tptHoliday}).empty());
  const TMapingFlags outside{static_cast<TTimePointType>(20), static_cast<TTimePointType>(-1)};
  EXPECT_TRUE(outside.Empty());
}

TEST(GetTotalDuration, SumsByTypeAndByKindOfWork) {
  TBasicPointMgr set;
  EXPECT_EQ(set.GetDurationAssignable(TFecha(0), TFecha(kMonday)).Value(), 0);
  // Out of order on purpose for the sum over everything, which needs no order.
  LoadFromMonday(set, {{D(2), 100, tptTimetable},
                       {0, 10, tptTask},
                       {D(1), 1000, tptFree},
                       {D(3), 10000, tptCover},
                       {D(4), 100000, tptSickLeave}});
  EXPECT_EQ(set.GetTotalDuration(tptNone).Value(), 111110);
  EXPECT_EQ(set.GetTotalDuration(tptTimetable).Value(), 100);

  set.Sort();
  const TFecha from(kMonday), to(kMonday + D(6));
  // The timetable (2) is work but no task; the plain task (3) and the cover
  // (8) are both; free time and leave are neither.
  EXPECT_EQ(set.GetDurationAssignable(from, to).Value(), 10110);
  EXPECT_EQ(set.GetDurationTasks(from, to).Value(), 10010);
  // The range goes by the start, as for the grids.
  EXPECT_EQ(set.GetDurationAssignable(TFecha(kMonday + 1), TFecha(kMonday + D(2))).Value(), 100);
  EXPECT_EQ(set.GetDurationTasks(TFecha(kMonday + 1), TFecha(kMonday + D(2))).Value(), 0);
}

// The grid of a random set, unsorted, against the same grid built the slow
// way: every point of the set, sorted by the call, looked at, every calendar
// question asked anew.
TEST(GetPointsGrid, MatchesAPlainWalkOnRandomSets) {
  std::mt19937 random(20261123);
  auto pick = [&random](int64_t low, int64_t high) {
    return std::uniform_int_distribution<int64_t>(low, high)(random);
  };
  for (int round = 0; round < 40; ++round) {
    SCOPED_TRACE(round);
    TBasicPointMgr set;
    for (int64_t i = pick(0, 120); i > 0; --i)
      LoadFromMonday(set, {{pick(0, D(80)), pick(0, D(0, 20)), static_cast<int>(pick(0, 4))}});
    const TFecha from(kMonday + pick(-D(1), D(40))), to(kMonday + pick(0, D(90)));
    const bool week = round % 2 == 0;
    const auto type = static_cast<TTimePointType>(round % 3 == 0 ? 0 : round % 5);

    const SetPointsGrid grid = set.GetPointsGrid(week ? tgWeek : tgMonth, from, to, type);
    ASSERT_TRUE(std::is_sorted(set.Points.begin(), set.Points.end(), MinorPoint));
    // Keyed by period and falling type, as the rows go.
    std::map<std::pair<int64_t, int>, std::pair<TPointList2D, int64_t>> expected;
    int64_t sum = 0;
    for (TBasicPoint* p : set.Points) {
      if (p->StartValue() < from.Value() || p->StartDate() > to) continue;
      if (type != tptNone && p->Type != type) continue;
      const int64_t period = (week ? p->Inicio.StartOfWeek() : p->Inicio.StartOfMonth()).Value();
      const size_t k = week ? p->Inicio.DayOfWeek() - 1u : p->Inicio.Day() - 1u;
      auto& [days, total] = expected[{period, -p->Type}];
      if (days.size() <= k) days.resize(k + 1);
      days[k].push_back(p);
      total += p->GetDurationValue();
      sum += p->GetDurationValue();
    }
    ASSERT_EQ(grid.size(), expected.size());
    auto row = grid.begin();
    for (const auto& [key, value] : expected) {
      EXPECT_EQ(row->Period.Value(), key.first);
      EXPECT_EQ(row->Type, -key.second);
      EXPECT_EQ(row->Days, value.first);
      EXPECT_EQ(row->Total.Value(), value.second);
      ++row;
    }
    EXPECT_EQ(set.GetTotalDuration(from, to, type).Value(), sum);
  }
}

}  // namespace
