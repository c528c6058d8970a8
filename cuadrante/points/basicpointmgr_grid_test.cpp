#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <tuple>
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

// Monday 23 November 2026 and the days around it.
const int64_t kMonday = At(2026, 11, 23);
const int64_t kSunday = At(2026, 11, 29);

TBasicPoint* NewPoint(int64_t start, int64_t duration, int type) {
  auto* p = new TBasicPoint(TFecha(start), TDuration(duration));
  p->Type = static_cast<TTimePointType>(type);
  return p;
}

// A row as "period/type/total: day lists", the days as "k:n" for each list of
// n > 0 points and the number of lists at the end, e.g. "0:1 6:2 #7".
std::string Row(const ItemPointGrid& row) {
  std::string text = std::to_string(row.Period.Value()) + "/" + std::to_string(row.Type) + "/" +
                     std::to_string(row.Total.Value()) + ":";
  for (size_t k = 0; k < row.Days.size(); ++k) {
    if (!row.Days[k].empty())
      text += " " + std::to_string(k) + ":" + std::to_string(row.Days[k].size());
  }
  return text + " #" + std::to_string(row.Days.size());
}

std::vector<std::string> Rows(const SetPointsGrid& grid) {
  std::vector<std::string> rows;
  for (const ItemPointGrid& row : grid) rows.push_back(Row(row));
  return rows;
}

std::string RowText(int64_t period, int type, int64_t total, const std::string& days) {
  return std::to_string(period) + "/" + std::to_string(type) + "/" + std::to_string(total) + ":" +
         days;
}

TEST(GetPointsGrid, RowsByPeriodAndTypeWithTheirDaysAndTotals) {
  TBasicPointMgr set;
  EXPECT_TRUE(set.GetPointsGrid(tgWeek, TFecha(0), TFecha(kSunday + 365 * kDay), tptNone).empty());

  set.Add(NewPoint(kMonday + 8 * kHour, 8 * kHour, tptTimetable));
  set.Add(NewPoint(kMonday + 17 * kHour, 2 * kHour, tptTask));
  set.Add(NewPoint(kSunday + 9 * kHour, kHour, tptTimetable));
  set.Add(NewPoint(kSunday + 12 * kHour, 3 * kHour, tptTimetable));
  set.Add(NewPoint(kMonday + 7 * kDay + 8 * kHour, 4 * kHour, tptTimetable));
  const SetPointsGrid weeks =
      set.GetPointsGrid(tgWeek, TFecha(kMonday), TFecha(kMonday + 30 * kDay), tptNone);
  // Two types in one week give two rows of one period, the higher type first;
  // the next week is a row of its own. Sunday is index 6 of 7 lists, a Monday
  // alone needs one list.
  ASSERT_EQ(Rows(weeks), (std::vector<std::string>{
                             RowText(kMonday, 3, 2 * kHour, " 0:1 #1"),
                             RowText(kMonday, 2, 12 * kHour, " 0:1 6:2 #7"),
                             RowText(kMonday + 7 * kDay, 2, 4 * kHour, " 0:1 #1"),
                         }));
  // The grid borrows the set's own points, in the order of their start.
  const ItemPointGrid& row = *std::next(weeks.begin());
  EXPECT_EQ(row.Days[0][0], set.Points[0]);
  EXPECT_EQ(row.Days[6][0], set.Points[2]);
  EXPECT_EQ(row.Days[6][1], set.Points[3]);
  EXPECT_EQ(row.Total.Type(), dtDefault);

  // The 31st of a month gives 31 lists, the first 30 of them empty; the days
  // grow only as far as the latest one used.
  set.Add(NewPoint(At(2026, 12, 31, 10), kHour, tptTask));
  set.Add(NewPoint(At(2027, 1, 3, 10), kHour, tptTask));
  set.Add(NewPoint(At(2027, 1, 10, 10), kHour, tptTask));
  const SetPointsGrid months =
      set.GetPointsGrid(tgMonth, TFecha(At(2026, 12, 1)), TFecha(At(2027, 1, 31)), tptTask);
  EXPECT_EQ(Rows(months), (std::vector<std::string>{
                              RowText(At(2026, 12, 1), 3, kHour, " 30:1 #31"),
                              RowText(At(2027, 1, 1), 3, 2 * kHour, " 2:1 9:1 #10"),
                          }));
  // Every group but the week gives month rows, the day and the year included.
  for (int group : {0, 1, 4, 5, 6}) {
    EXPECT_EQ(Rows(set.GetPointsGrid(static_cast<TTimesGroup>(group), TFecha(At(2026, 12, 1)),
                                     TFecha(At(2027, 1, 31)), tptTask)),
              Rows(months))
        << group;
  }
  const SetPointsGrid novemberByMonth =
      set.GetPointsGrid(tgMonth, TFecha(kMonday), TFecha(kSunday), tptNone);
  EXPECT_EQ(Rows(novemberByMonth), (std::vector<std::string>{
                                       RowText(At(2026, 11, 1), 3, 2 * kHour, " 22:1 #23"),
                                       RowText(At(2026, 11, 1), 2, 12 * kHour, " 22:1 28:2 #29"),
                                   }));
}

TEST(GetPointsGrid, APointCountsWholeUnderTheDayItStarts) {
  TBasicPointMgr set;
  // Sunday 22:00 to Monday 06:00, and the night from the last of a month.
  set.Add(NewPoint(kSunday + 22 * kHour, 8 * kHour, tptTimetable));
  set.Add(NewPoint(At(2026, 11, 30, 20), 10 * kHour, tptTimetable));
  EXPECT_EQ(Rows(set.GetPointsGrid(tgWeek, TFecha(kMonday), TFecha(kMonday + 13 * kDay), tptNone)),
            (std::vector<std::string>{
                RowText(kMonday, 2, 8 * kHour, " 6:1 #7"),
                RowText(kMonday + 7 * kDay, 2, 10 * kHour, " 0:1 #1"),
            }));
  EXPECT_EQ(Rows(set.GetPointsGrid(tgMonth, TFecha(kMonday), TFecha(kMonday + 13 * kDay), tptNone)),
            (std::vector<std::string>{RowText(At(2026, 11, 1), 2, 18 * kHour, " 28:1 29:1 #30")}));
}

TEST(GetPointsGrid, TheRangeGoesByTheStartAndTakesTheWholeLastDay) {
  TBasicPointMgr set;
  const int64_t from = kMonday + 8 * kHour;
  set.Add(NewPoint(from - 1, 4 * kHour, tptTimetable));               // runs in: out
  set.Add(NewPoint(from, kHour, tptTimetable));                       // at `from`: in
  set.Add(NewPoint(kSunday + 23 * kHour + 59 * 60, kHour, tptTask));  // late on `to`'s day: in
  set.Add(NewPoint(kSunday + kDay, kHour, tptTask));                  // the day after: out
  const TFecha to(kSunday);
  EXPECT_EQ(Rows(set.GetPointsGrid(tgWeek, TFecha(from), to, tptNone)),
            (std::vector<std::string>{
                RowText(kMonday, 3, kHour, " 6:1 #7"),
                RowText(kMonday, 2, kHour, " 0:1 #1"),
            }));
  EXPECT_EQ(set.GetTotalDuration(TFecha(from), to, tptNone).Value(), 2 * kHour);
  // A range that ends before it begins, or holds no start, is empty.
  EXPECT_TRUE(set.GetPointsGrid(tgWeek, TFecha(kSunday), TFecha(kMonday), tptNone).empty());
  EXPECT_EQ(set.GetTotalDuration(TFecha(from + 1), TFecha(kMonday + 3 * kDay), tptNone).Value(), 0);
}

TEST(GetPointsGrid, FiltersByTypeOrByASetOfTypes) {
  TBasicPointMgr set;
  const int types[] = {0, 1, 2, 3, 13, 20, -1};
  for (int i = 0; i < 7; ++i) set.Add(NewPoint(kMonday + i * kHour, 60, types[i]));
  const auto typesOf = [](const SetPointsGrid& grid) {
    std::vector<int> found;
    for (const ItemPointGrid& row : grid) found.push_back(row.Type);
    return found;
  };
  const TFecha from(kMonday), to(kSunday);
  EXPECT_EQ(typesOf(set.GetPointsGrid(tgWeek, from, to, tptNone)),
            (std::vector<int>{20, 13, 3, 2, 1, 0, -1}));
  EXPECT_EQ(typesOf(set.GetPointsGrid(tgWeek, from, to, tptTask)), (std::vector<int>{3}));
  // No flags select everything; the flag 0 selects the type 0 alone, unlike
  // the type filter 0; a type outside 0..13 is no flag's.
  EXPECT_EQ(typesOf(set.GetPointsGrid(tgWeek, from, to, TMapingFlags())),
            (std::vector<int>{20, 13, 3, 2, 1, 0, -1}));
  EXPECT_EQ(typesOf(set.GetPointsGrid(tgWeek, from, to, TMapingFlags{tptNone})),
            (std::vector<int>{0}));
  EXPECT_EQ(typesOf(set.GetPointsGrid(tgWeek, from, to, TMapingFlags{tptLast, tptFree, tptTask})),
            (std::vector<int>{13, 3, 1}));
  TMapingFlags outside;
  outside.Include(static_cast<TTimePointType>(20)).Include(static_cast<TTimePointType>(-1));
  EXPECT_TRUE(outside.Empty());
  EXPECT_EQ(typesOf(set.GetPointsGrid(tgWeek, from, to, TMapingFlags{tptHoliday})),
            std::vector<int>{});
}

TEST(GetPointsGrid, SortsTheSetFirstAndLeavesItSorted) {
  TBasicPointMgr set;
  // Out of order, the bisection would start past the early points.
  set.Add(NewPoint(kMonday + 3 * kDay + 9 * kHour, kHour, tptTimetable));
  set.Add(NewPoint(kMonday + 3 * kDay + 8 * kHour, 2 * kHour, tptTimetable));
  set.Add(NewPoint(kMonday + 3 * kDay + 8 * kHour, kHour, tptTimetable));
  set.Add(NewPoint(kMonday + 9 * kHour, kHour, tptTimetable));
  const TBasicPointList before = set.Points;
  const SetPointsGrid grid =
      set.GetPointsGrid(tgWeek, TFecha(kMonday + 9 * kHour), TFecha(kSunday), tptNone);
  EXPECT_EQ(set.Points, (TBasicPointList{before[3], before[2], before[1], before[0]}));
  ASSERT_EQ(grid.size(), 1u);
  ASSERT_EQ(Row(*grid.begin()), RowText(kMonday, 2, 5 * kHour, " 0:1 3:3 #4"));
  EXPECT_EQ(grid.begin()->Days[3], (TBasicPointList{before[2], before[1], before[0]}));
}

TEST(GetTotalDuration, SumsByTypeAndByKindOfWork) {
  TBasicPointMgr set;
  EXPECT_EQ(set.GetTotalDuration(tptNone).Value(), 0);
  EXPECT_EQ(set.GetDurationAssignable(TFecha(0), TFecha(kSunday)).Value(), 0);
  // Out of order on purpose for the sum over everything, which needs no order.
  set.Add(NewPoint(kMonday + 2 * kDay, 100, tptTimetable));
  set.Add(NewPoint(kMonday, 10, tptTask));
  set.Add(NewPoint(kMonday + kDay, 1000, tptFree));
  set.Add(NewPoint(kMonday + 3 * kDay, 10000, tptCover));
  set.Add(NewPoint(kMonday + 4 * kDay, 100000, tptSickLeave));
  EXPECT_EQ(set.GetTotalDuration(tptNone).Value(), 111110);
  EXPECT_EQ(set.GetTotalDuration(tptTimetable).Value(), 100);
  EXPECT_EQ(set.GetTotalDuration(tptHoliday).Value(), 0);
  EXPECT_EQ(set.GetTotalDuration(tptNone).Type(), dtDefault);

  set.Sort();
  const TFecha from(kMonday), to(kSunday);
  EXPECT_EQ(set.GetTotalDuration(from, to, tptNone).Value(), 111110);
  EXPECT_EQ(set.GetTotalDuration(from, to, tptSickLeave).Value(), 100000);
  // The timetable (2) is work but no task; the plain task (3) and the cover
  // (8) are both; free time and leave are neither.
  EXPECT_EQ(set.GetDurationAssignable(from, to).Value(), 10110);
  EXPECT_EQ(set.GetDurationTasks(from, to).Value(), 10010);
  // The range goes by the start, as for the grids.
  EXPECT_EQ(set.GetDurationAssignable(TFecha(kMonday + 1), TFecha(kMonday + 2 * kDay)).Value(),
            100);
  EXPECT_EQ(set.GetDurationTasks(TFecha(kMonday + 1), TFecha(kMonday + 2 * kDay)).Value(), 0);
}

// The grid of a random sorted set, against the same grid built the slow way:
// every point of the set looked at, every calendar question asked anew.
TEST(GetPointsGrid, MatchesAPlainWalkOnRandomSets) {
  std::mt19937 random(20261123);
  for (int round = 0; round < 40; ++round) {
    TBasicPointMgr set;
    const int64_t base = At(2026, 1, 1);
    const int count = std::uniform_int_distribution<int>(0, 120)(random);
    for (int i = 0; i < count; ++i) {
      const int64_t start = base + std::uniform_int_distribution<int64_t>(0, 80 * kDay)(random);
      set.Add(NewPoint(start, std::uniform_int_distribution<int64_t>(0, 20 * kHour)(random),
                       std::uniform_int_distribution<int>(0, 4)(random)));
    }
    const TFecha from(base + std::uniform_int_distribution<int64_t>(-kDay, 40 * kDay)(random));
    const TFecha to(base + std::uniform_int_distribution<int64_t>(0, 90 * kDay)(random));
    const auto group = static_cast<TTimesGroup>(round % 2 == 0 ? tgWeek : tgMonth);
    const auto type = static_cast<TTimePointType>(round % 3 == 0 ? 0 : round % 5);

    const SetPointsGrid grid = set.GetPointsGrid(group, from, to, type);
    std::map<std::tuple<int64_t, int>, std::vector<TBasicPointList>> expected;
    std::map<std::tuple<int64_t, int>, int64_t> totals;
    int64_t sum = 0;
    for (TBasicPoint* p : set.Points) {
      if (p->StartValue() < from.Value() || p->StartDate() > to) continue;
      if (type != tptNone && p->Type != type) continue;
      const bool week = group == tgWeek;
      const int64_t period = (week ? p->Inicio.StartOfWeek() : p->Inicio.StartOfMonth()).Value();
      const size_t k = week ? p->Inicio.DayOfWeek() - 1u : p->Inicio.Day() - 1u;
      auto& days = expected[{period, -p->Type}];
      if (days.size() <= k) days.resize(k + 1);
      days[k].push_back(p);
      totals[{period, -p->Type}] += p->GetDurationValue();
      sum += p->GetDurationValue();
    }
    ASSERT_EQ(grid.size(), expected.size()) << round;
    auto row = grid.begin();
    for (const auto& [key, days] : expected) {
      EXPECT_EQ(row->Period.Value(), std::get<0>(key)) << round;
      EXPECT_EQ(row->Type, -std::get<1>(key)) << round;
      EXPECT_EQ(row->Days, days) << round;
      EXPECT_EQ(row->Total.Value(), totals[key]) << round;
      ++row;
    }
    EXPECT_EQ(set.GetTotalDuration(from, to, type).Value(), sum) << round;
  }
}

}  // namespace
