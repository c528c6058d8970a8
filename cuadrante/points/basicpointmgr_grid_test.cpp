#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "cuadrante/points/basicpointmgr.h"
#include "cuadrante/runtime/datetime.h"

namespace {

constexpr int64_t kDay = 86400;
constexpr int64_t kHour = 3600;

// Seconds of a wall-clock date and time.
int64_t At(uint16_t year, uint16_t month, uint16_t day, int64_t hour = 0, int64_t minute = 0) {
  return static_cast<int64_t>(EncodeDate(year, month, day).Val) * kDay + hour * kHour + minute * 60;
}

// Monday 23 November 2026, and an instant so many days and hours after it.
const int64_t kMonday = At(2026, 11, 23);
constexpr int64_t D(int64_t day, int64_t hour = 0) { return day * kDay + hour * kHour; }

// A point: start from kMonday, duration, type.
struct Pt {
  int64_t start, duration;
  int type;
};

void Load(TBasicPointMgr& set, const std::vector<Pt>& points) {
  for (const Pt& p : points) {
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
Lines Grid(const std::vector<Pt>& points, int group, int64_t from, int64_t to) {
  TBasicPointMgr set;
  Load(set, points);
  return Rows(set.GetPointsGrid(static_cast<TTimesGroup>(group), TFecha(kMonday + from),
                                TFecha(kMonday + to), tptNone));
}

TEST(GetPointsGrid, RowsByPeriodAndTypeWithTheirDaysAndTotals) {
  EXPECT_EQ(Grid({}, tgWeek, -D(400), D(400)), Lines{});
  // Two types in a week, the higher first; Sunday is index 6 of 7 lists, a
  // Monday alone needs one list; the next week is a row of its own.
  EXPECT_EQ(Grid({{D(0, 8), D(0, 8), 2},
                  {D(0, 17), D(0, 2), 3},
                  {D(6, 9), D(0, 1), 2},
                  {D(6, 12), D(0, 3), 2},
                  {D(7, 8), D(0, 4), 2}},
                 tgWeek, 0, D(30)),
            (Lines{"23/11/2026 3 7200: 0:1 #1", "23/11/2026 2 43200: 0:1 6:2 #7",
                   "30/11/2026 2 14400: 0:1 #1"}));
  // The 31st gives 31 lists; a row grows only to its latest day; every group
  // but the week gives months.
  for (int group : {tgMonth, tgNone, tgDay, tgYear, tgFortnight, tgQuarter}) {
    EXPECT_EQ(Grid({{D(38, 10), D(0, 1), 3}, {D(41, 10), D(0, 1), 3}, {D(48), D(0, 1), 3}}, group,
                   D(8), D(69)),
              (Lines{"01/12/2026 3 3600: 30:1 #31", "01/01/2027 3 7200: 2:1 9:1 #10"}))
        << group;
  }
  // A point across midnight or the end of the period stands whole under the
  // day it starts.
  const std::vector<Pt> nights{{D(6, 22), D(0, 8), 2}, {D(7, 20), D(0, 10), 2}};
  EXPECT_EQ(Grid(nights, tgWeek, 0, D(13)),
            (Lines{"23/11/2026 2 28800: 6:1 #7", "30/11/2026 2 36000: 0:1 #1"}));
  EXPECT_EQ(Grid(nights, tgMonth, 0, D(13)), Lines{"01/11/2026 2 64800: 28:1 29:1 #30"});
  // In by the start: not one second before `from`, all of the day of `to`;
  // a range that ends before it begins is empty.
  const std::vector<Pt> edges{{D(0, 8) - 1, D(0, 4), 2},
                              {D(0, 8), D(0, 1), 2},
                              {D(6, 23) + 3599, D(0, 1), 3},
                              {D(7), D(0, 1), 3}};
  EXPECT_EQ(Grid(edges, tgWeek, D(0, 8), D(6)),
            (Lines{"23/11/2026 3 3600: 6:1 #7", "23/11/2026 2 3600: 0:1 #1"}));
  EXPECT_EQ(Grid(edges, tgWeek, D(6), D(0)), Lines{});
}

TEST(GetPointsGrid, FiltersByTypeOrByASetOfTypes) {
  TBasicPointMgr set;
  Load(set, {{0, 60, 0},
             {D(0, 1), 60, 1},
             {D(0, 2), 60, 2},
             {D(0, 3), 60, 3},
             {D(0, 4), 60, 13},
             {D(0, 5), 60, 20},
             {D(0, 6), 60, -1}});
  const auto typesOf = [&set](auto filter) {
    std::vector<int> found;
    for (const ItemPointGrid& row :
         set.GetPointsGrid(tgWeek, TFecha(kMonday), TFecha(kMonday), filter))
      found.push_back(row.Type);
    return found;
  };
  const std::vector<int> all{20, 13, 3, 2, 1, 0, -1};
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

TEST(GetPointsGrid, SortsTheSetFirstAndLeavesItSorted) {
  TBasicPointMgr set;
  // Out of order, the bisection would start past the early points.
  Load(
      set,
      {{D(3, 9), D(0, 1), 2}, {D(3, 8), D(0, 2), 2}, {D(3, 8), D(0, 1), 2}, {D(0, 9), D(0, 1), 2}});
  const TBasicPointList before = set.Points;
  const SetPointsGrid grid =
      set.GetPointsGrid(tgWeek, TFecha(kMonday + D(0, 9)), TFecha(kMonday + D(6)), tptNone);
  EXPECT_EQ(set.Points, (TBasicPointList{before[3], before[2], before[1], before[0]}));
  ASSERT_EQ(Rows(grid), Lines{"23/11/2026 2 18000: 0:1 3:3 #4"});
  EXPECT_EQ(grid.begin()->Days[3], (TBasicPointList{before[2], before[1], before[0]}));
}

TEST(GetTotalDuration, SumsByTypeAndByKindOfWork) {
  TBasicPointMgr set;
  EXPECT_EQ(set.GetTotalDuration(tptNone).Value(), 0);
  EXPECT_EQ(set.GetDurationAssignable(TFecha(0), TFecha(kMonday)).Value(), 0);
  // Out of order on purpose for the sum over everything, which needs no order.
  Load(set, {{D(2), 100, tptTimetable},
             {0, 10, tptTask},
             {D(1), 1000, tptFree},
             {D(3), 10000, tptCover},
             {D(4), 100000, tptSickLeave}});
  EXPECT_EQ(set.GetTotalDuration(tptNone).Value(), 111110);
  EXPECT_EQ(set.GetTotalDuration(tptTimetable).Value(), 100);
  EXPECT_EQ(set.GetTotalDuration(tptHoliday).Value(), 0);
  EXPECT_EQ(set.GetTotalDuration(tptNone).Type(), dtDefault);

  set.Sort();
  const TFecha from(kMonday), to(kMonday + D(6));
  EXPECT_EQ(set.GetTotalDuration(from, to, tptSickLeave).Value(), 100000);
  // The timetable (2) is work but no task; the plain task (3) and the cover
  // (8) are both; free time and leave are neither.
  EXPECT_EQ(set.GetDurationAssignable(from, to).Value(), 10110);
  EXPECT_EQ(set.GetDurationTasks(from, to).Value(), 10010);
  EXPECT_EQ(set.GetDurationTasks(from, to).Type(), dtDefault);
  // The range goes by the start, as for the grids.
  EXPECT_EQ(set.GetDurationAssignable(TFecha(kMonday + 1), TFecha(kMonday + D(2))).Value(), 100);
  EXPECT_EQ(set.GetDurationTasks(TFecha(kMonday + 1), TFecha(kMonday + D(2))).Value(), 0);
}

// The grid of a random set, against the same grid built the slow way: every
// point of the sorted set looked at, every calendar question asked anew.
TEST(GetPointsGrid, MatchesAPlainWalkOnRandomSets) {
  std::mt19937 random(20261123);
  auto pick = [&random](int64_t low, int64_t high) {
    return std::uniform_int_distribution<int64_t>(low, high)(random);
  };
  for (int round = 0; round < 40; ++round) {
    SCOPED_TRACE(round);
    TBasicPointMgr set;
    for (int64_t i = pick(0, 120); i > 0; --i)
      Load(set, {{pick(0, D(80)), pick(0, D(0, 20)), static_cast<int>(pick(0, 4))}});
    const TFecha from(kMonday + pick(-D(1), D(40))), to(kMonday + pick(0, D(90)));
    const bool week = round % 2 == 0;
    const auto type = static_cast<TTimePointType>(round % 3 == 0 ? 0 : round % 5);

    const SetPointsGrid grid = set.GetPointsGrid(week ? tgWeek : tgMonth, from, to, type);
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
