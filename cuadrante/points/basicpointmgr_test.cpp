#include "cuadrante/points/basicpointmgr.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "cuadrante/runtime/datetime.h"
#include "cuadrante/testing/values.h"

namespace {

// Seconds of a wall-clock date and time.
using cuadrante::testing::kDay;
using cuadrante::testing::kHour;
using cuadrante::testing::SecondsAt;

// A point that counts its live instances, so that a test sees what a set
// destroys, hands over or leaks.
class Counted : public TBasicPoint {
 public:
  Counted(int64_t start, int64_t duration, int type = 0)
      : TBasicPoint(TFecha(start), TDuration(duration)) {
    Type = static_cast<TTimePointType>(type);
    ++live;
  }
  Counted(const Counted& other) : TBasicPoint(other) { ++live; }
  ~Counted() override { --live; }
  TBasicPoint* Instance() override { return new Counted(*this); }

  static inline int live = 0;
};

// Fails to clone, as an allocation would.
struct Unclonable : Counted {
  using Counted::Counted;
  TBasicPoint* Instance() override { throw std::runtime_error("no clone"); }
};

// Shows an end of its own, as the screen boxes do.
struct ShowsEnd999 : Counted {
  using Counted::Counted;
  TFecha GetEndDate() const override { return TFecha(999); }
};

// "[start,end)type" for each point in list order, in seconds.
std::string Spans(const TBasicPointList& list) {
  std::string text;
  for (const TBasicPoint* p : list) {
    text += (text.empty() ? "[" : " [") + std::to_string(p->StartValue()) + "," +
            std::to_string(p->EndValue()) + ")" + std::to_string(p->Type);
  }
  return text;
}

TEST(TBasicPointMgr, AddsCopiesRemovalsAndResetsKeepOwnershipStraight) {
  {
    // AddUnique of a list destroys each refused element at once and owns the
    // others; a single refused point stays the caller's as it came.
    TBasicPointMgr set;
    TBasicPointList list{new Counted(100, 10, 2), new Counted(105, 10), new Counted(50, 10, 1)};
    EXPECT_EQ(set.AddUnique(list), 2u);
    EXPECT_EQ(Counted::live, 2);
    Counted early(95, 6, 9), late(109, 2, 9);
    EXPECT_FALSE(set.AddUnique(&early) || set.AddUnique(&late));
    EXPECT_EQ(Spans({&early, &late}), "[95,101)9 [109,111)9");
    TBasicPoint* a = set.Points[1];
    a->Group = 9;
    set.HostTag = 7;
    set.HostFlag = true;
    set.HostTexts[0] = "host";

    // A deep copy: clones of the real class in the source's order; the host
    // fields stay behind. Equals is identity of the pointers.
    TBasicPointMgr copy(&set);
    EXPECT_EQ(Counted::live, 6);
    EXPECT_EQ(Spans(copy.Points), "[50,60)1 [100,110)2");
    EXPECT_NE(copy.Points[1], a);
    EXPECT_NE(dynamic_cast<Counted*>(copy.Points[1]), nullptr);
    EXPECT_EQ(copy.Points[1]->Group, 9);
    EXPECT_TRUE(copy.HostTag == 0 && !copy.HostFlag && copy.HostTexts[0].empty());
    EXPECT_TRUE(set.Equals(set) && !set.Equals(copy));

    // Del hands a point over alive; a position past the end or a pointer the
    // set does not hold does nothing. ClearPoints destroys nothing.
    set.Del(2u);
    set.Del(&early);
    set.Del(1u);
    set.Add(a);
    set.Del(a);
    EXPECT_EQ(Spans(set.Points), "[50,60)1");
    TBasicPointMgr borrowed;
    borrowed.Add(a);
    borrowed.ClearPoints();
    EXPECT_EQ(Counted::live, 6);
    delete a;

    // ResetPoints(d): from d on destroyed, earlier kept whole, in the order
    // of Add, which appends.
    for (int64_t start : {99, 100, 10, 150}) set.Add(new Counted(start, start == 99 ? 500 : 1));
    set.ResetPoints(TFecha(100));
    EXPECT_EQ(Spans(set.Points), "[50,60)1 [99,599)0 [10,11)0");
    EXPECT_EQ(Counted::live, 7);

    // A clone that fails half way leaks none of the clones made before it.
    set.Add(new Unclonable(200, 10));
    EXPECT_THROW(TBasicPointMgr{&set}, std::runtime_error);
    EXPECT_THROW(set.GetPointsCopy(TFecha(0), TFecha(1000), tptNone), std::runtime_error);
    EXPECT_EQ(Counted::live, 8);
  }
  EXPECT_EQ(Counted::live, 0);
}

TEST(TBasicPointMgr, SortIsStableByStartThenLengthOrByTheGivenOrder) {
  // Many equal keys, as a schedule has: the arrival order numbered by Level.
  TBasicPointMgr set;
  std::mt19937 rng(7);
  for (short i = 0; i < 200; ++i) {
    set.Add(new Counted(rng() % 4, rng() % 3, static_cast<int>(rng() % 3)));
    set.Points.back()->Level = i;
  }
  auto stable = [&set](auto less) {
    return std::is_sorted(set.Points.begin(), set.Points.end(),
                          [&less](const TBasicPoint* a, const TBasicPoint* b) {
                            return less(a, b) || (!less(b, a) && a->Level < b->Level);
                          });
  };
  set.Sort();
  EXPECT_TRUE(stable(MinorPoint));
  for (size_t i = 0; i < set.Points.size(); ++i) set.Points[i]->Level = static_cast<short>(i);
  auto byType = [](const TBasicPoint* a, const TBasicPoint* b) { return a->Type > b->Type; };
  set.Sort(byType);
  EXPECT_TRUE(stable(byType));
}

TEST(TBasicPointMgr, QueriesThatAnswerOneThingAndTheTextsOfTheSet) {
  TBasicPointMgr set;
  // What an empty set or one point answers.
  EXPECT_EQ(set.GetFirstDate(TFecha(77)) + set.GetLastDate(TFecha(78)), 77 + 78);
  EXPECT_EQ(set.SmartString(), "");
  AnsiString msg = "before";
  EXPECT_FALSE(set.PointsSolap(msg));
  set.Add(new Counted(500, 10));
  EXPECT_FALSE(set.PointsSolap(msg));
  EXPECT_EQ(msg, "before");
  set.Add(new Counted(300, 10, tptTask));
  set.Add(new ShowsEnd999(100, 10));
  const TBasicPointList& p = set.Points;

  // The ends of the list as it stands, and the end its last point shows.
  EXPECT_EQ(set.GetFirstDate(TFecha(1)), 500);
  EXPECT_EQ(set.GetLastDate(TFecha(1)), 999);
  // Overlap with the half-open period, on a set in any order, by type.
  EXPECT_FALSE(set.ArePoints(TFecha(310), TFecha(500), tptNone) ||
               set.ArePoints(TFecha(0), TFecha(1000), tptHoliday));
  EXPECT_TRUE(set.ArePoints(TFecha(309), TFecha(500), tptTask));
  // By start, duration and type; level and group do not matter.
  Counted probe(300, 10, tptTask);
  probe.Level = 7;
  probe.Group = 3;
  EXPECT_EQ(set.GetPoint(&probe), p[1]);
  probe.Type = tptNone;
  EXPECT_EQ(set.GetPoint(&probe), nullptr);
  EXPECT_EQ(set.SmartString(), p[0]->SmartString() + "\r\n\r\n" + p[1]->SmartString() + "\r\n\r\n" +
                                   p[2]->SmartString());

  // Neighbours of one type that overlap, each told on a line of its own
  // behind the caller's text; another type between them hides an overlap.
  TBasicPointMgr day;
  const int64_t base = SecondsAt(2024, 3, 5);
  const int hours[][3] = {{8, 12, 2},  {11, 13, 2}, {12, 13, 3}, {13, 37, 3},
                          {36, 38, 3}, {37, 40, 1}, {37, 50, 3}};
  for (auto [from, to, type] : hours)
    day.Add(new Counted(base + from * kHour, (to - from) * kHour, type));
  msg = "x";
  EXPECT_TRUE(day.PointsSolap(msg));
  EXPECT_EQ(msg,
            "x\r\nEl día 05/03/2024 08:00 - 05/03/2024 12:00 hay solape de horas\r\n"
            "El día 05/03/2024 13:00 - 06/03/2024 13:00 hay solape de horas");

  // One list for every set: each call refills it with the first three texts.
  set.HostTexts = {"a", "b", "c", "d"};
  TVectorStrings* shared = set.GetStrings();
  EXPECT_EQ(*shared, (TVectorStrings{"a", "b", "c"}));
  EXPECT_EQ(day.GetStrings(), shared);
  EXPECT_EQ(*shared, (TVectorStrings{"", "", ""}));
}

TEST(TBasicPointMgr, WalksThatNeedNoTimeline) {
  TBasicPointMgr set;
  const int64_t starts[] = {SecondsAt(2024, 3, 31, 23), SecondsAt(2023, 3, 1),
                            SecondsAt(2024, 4, 1), SecondsAt(2024, 2, 29, 23),
                            SecondsAt(2021, 3, 15)};
  const int groups[] = {0, 255, 0, 1, 1};
  for (int i = 0; i < 5; ++i) {
    set.Add(new Counted(starts[i], kHour));
    set.Points.back()->Group = static_cast<unsigned char>(groups[i]);
  }
  const TBasicPointList& p = set.Points;
  // The month by its number, in every year, on a list in any order.
  EXPECT_EQ(set.GetPointsInMonth(TFecha(SecondsAt(2030, 3, 10))),
            (TBasicPointList{p[0], p[1], p[4]}));
  // Groups compared as integers: no value outside the 8 bits aliases one.
  EXPECT_EQ(set.GetPointsGroup(0), (TBasicPointList{p[0], p[2]}));
  EXPECT_EQ(set.GetPointsGroup(255), (TBasicPointList{p[1]}));
  for (short g : {256, 257, -1, -256}) EXPECT_TRUE(set.GetPointsGroup(g).empty()) << g;

  // The contained walks end at the first point of any kind that ends after
  // `to`, even with a free point inside the period behind it.
  TBasicPointMgr stop;
  stop.Add(new Counted(0, 100));
  stop.Add(new Counted(20, 10, tptFree));
  EXPECT_TRUE(stop.GetFreeC(TFecha(0), TFecha(50)).empty());
  EXPECT_EQ(stop.GetFreeC(TFecha(0), TFecha(100)), (TBasicPointList{stop.Points[1]}));
}

// ---------------------------------------------------------------------------
// The bisecting queries against plain scans over random timelines.

int64_t DayOf(int64_t value) { return value / kDay * kDay; }

// A timeline without overlaps, over a few months: touching points, gaps, starts
// and ends at midnight, empty points, points of hours and of days.
TBasicPointList RandomTimeline(std::mt19937& rng, int64_t base, int count) {
  TBasicPointList points;
  std::uniform_int_distribution<int> percent(0, 99), type(0, 12);
  std::uniform_int_distribution<int64_t> hours(1, 14 * kHour), days(1, 3 * kDay),
      gap(1, 20 * kHour);
  int64_t cursor = base;
  for (int i = 0; i < count; ++i) {
    const int g = percent(rng);
    if (g >= 30) cursor = g >= 85 ? DayOf(cursor) + kDay : cursor + gap(rng) * (g < 75 ? 1 : 5);
    const int d = percent(rng);
    const int64_t duration = d < 10   ? 0
                             : d < 75 ? hours(rng)
                             : d < 88 ? DayOf(cursor) + kDay - cursor
                                      : days(rng);
    points.push_back(new Counted(cursor, duration, type(rng)));
    cursor += duration;
  }
  return points;
}

// Monday 00:00 of the week of `value`; the origin of the values was a Saturday.
int64_t WeekStart(int64_t value) {
  const int64_t day = value / kDay;
  return (day - (day + 5) % 7) * kDay;
}

TEST(TBasicPointMgr, BisectingQueriesAgreeWithPlainScans) {
  std::mt19937 rng(20240305);
  const int64_t base = SecondsAt(2024, 1, 1);
  for (int round = 0; round < 8; ++round) {
    // The first round runs on an empty set. Built in random arrival order,
    // AddUnique must still give the timeline.
    const TBasicPointList timeline = RandomTimeline(rng, base, round == 0 ? 0 : 150);
    TBasicPointList arrival = timeline;
    std::shuffle(arrival.begin(), arrival.end(), rng);
    TBasicPointMgr set;
    for (TBasicPoint* p : arrival) ASSERT_TRUE(set.AddUnique(p)) << round << Spans({p});
    ASSERT_EQ(set.Points.size(), timeline.size());
    ASSERT_TRUE(std::is_sorted(set.Points.begin(), set.Points.end(), MinorPoint));
    // A point with one second in common with a stored one is refused.
    for (int k = 0; k < 50 && !timeline.empty(); ++k) {
      const TBasicPoint* s = timeline[rng() % timeline.size()];
      if (s->GetDurationValue() == 0) continue;
      const int64_t at = s->StartValue() + static_cast<int64_t>(rng() % s->GetDurationValue());
      TBasicPoint clash(TFecha(at - static_cast<int64_t>(rng() % 2) * kHour), TDuration(kHour + 1));
      ASSERT_FALSE(set.AddUnique(&clash)) << at;
    }

    // Starts, ends and midnights of points, a second either side, or any time.
    auto instant = [&]() -> int64_t {
      if (timeline.empty() || rng() % 5 == 0)
        return base - kDay + static_cast<int64_t>(rng() % (150 * kDay));
      const TBasicPoint* s = timeline[rng() % timeline.size()];
      const int64_t at[] = {s->StartValue(), s->EndValue(), DayOf(s->StartValue())};
      const int64_t nudge[] = {-1, 0, 0, 1};
      return at[rng() % 3] + nudge[rng() % 4];
    };
    for (int q = 0; q < 25; ++q) {
      const int64_t d = instant();
      const int64_t until =
          rng() % 2 == 0 ? instant() : d + static_cast<int64_t>(rng() % (2 * kDay));
      const int t = rng() % 3 == 0 ? 0 : static_cast<int>(rng() % 13);
      const TTimePointType tt = static_cast<TTimePointType>(t);
      const TFecha from(d), to(until);
      SCOPED_TRACE("d=" + std::to_string(d) + " until=" + std::to_string(until) +
                   " t=" + std::to_string(t));
      auto typed = [t](const TBasicPoint* p) { return t == 0 || p->Type == t; };
      auto scan = [&set](auto takes) {
        TBasicPointList taken;
        for (TBasicPoint* p : set.Points)
          if (takes(p)) taken.push_back(p);
        return taken;
      };
      const int64_t day = DayOf(d), week = WeekStart(d);
      auto inside = [&](const TBasicPoint* p) {
        return p->StartValue() >= d && p->EndValue() <= until;
      };

      const TBasicPointList first = scan([d](const TBasicPoint* p) { return p->EndValue() > d; });
      ASSERT_EQ(set.GetFirstPoint(from), first.empty() ? nullptr : first[0]);
      ASSERT_EQ(set.GetFirstPoint(from, to),
                first.empty() || first[0]->StartValue() >= until ? nullptr : first[0]);
      ASSERT_EQ(set.GetPointsDay(from, tt), scan([&](const TBasicPoint* p) {
                  return p->StartValue() < day + kDay && p->EndValue() > day && typed(p);
                }));
      ASSERT_EQ(set.GetPointsInitDay(from, tt), scan([&](const TBasicPoint* p) {
                  return p->StartValue() >= d && p->StartValue() < day + kDay && typed(p);
                }));
      ASSERT_EQ(set.GetPointsInWeek(from, tt), scan([&](const TBasicPoint* p) {
                  return p->StartValue() >= week && p->StartValue() < week + 7 * kDay - 1 &&
                         p->EndValue() > week && typed(p);
                }));
      ASSERT_EQ(set.GetFreeC(from, to),
                scan([&](const TBasicPoint* p) { return inside(p) && p->IsFree(); }));
      ASSERT_EQ(set.GetTasksC(from, to),
                scan([&](const TBasicPoint* p) { return inside(p) && p->IsTask(); }));
      ASSERT_EQ(set.GetWorksC(from, to),
                scan([&](const TBasicPoint* p) { return inside(p) && p->IsWork(); }));
      ASSERT_EQ(set.GetPointsC(from, to, tt),
                scan([&](const TBasicPoint* p) { return inside(p) && typed(p); }));
      ASSERT_EQ(set.GetPoints(from, to, tt), scan([&](const TBasicPoint* p) {
                  return p->StartValue() < until && p->EndValue() > d && typed(p);
                }));
      ASSERT_EQ(set.GetPoints(tt), scan(typed));

      // The copies: the same points by value, none of them shared. A point
      // that ends at `from` is out even with no length.
      const TBasicPointList expected = scan([&](const TBasicPoint* p) {
        return p->EndValue() > d && p->StartValue() < until && typed(p);
      });
      const TBasicPointList copies = set.GetPointsCopy(from, to, tt);
      ASSERT_EQ(Spans(copies), Spans(expected));
      for (size_t i = 0; i < copies.size(); ++i) {
        EXPECT_NE(copies[i], expected[i]);
        delete copies[i];
      }
    }
  }
}

}  // namespace
