#include "cuadrante/points/basicpointmgr.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "cuadrante/runtime/datetime.h"

namespace {

constexpr int64_t kDay = 86400;
constexpr int64_t kHour = 3600;

// Seconds of a wall-clock date and time.
int64_t At(uint16_t year, uint16_t month, uint16_t day, int64_t hour = 0, int64_t minute = 0) {
  return static_cast<int64_t>(EncodeDate(year, month, day).Val) * kDay + hour * kHour + minute * 60;
}

// A point that counts its live instances, so that a test sees what a set
// destroys, what it hands over and what it leaks.
class CountedPoint : public TBasicPoint {
 public:
  CountedPoint(int64_t start, int64_t duration, int type = 0)
      : TBasicPoint(TFecha(start), TDuration(duration)) {
    Type = static_cast<TTimePointType>(type);
    ++live;
  }
  CountedPoint(const CountedPoint& other) : TBasicPoint(other) { ++live; }
  ~CountedPoint() override { --live; }
  TBasicPoint* Instance() override { return new CountedPoint(*this); }

  static inline int live = 0;
};

// A point whose clone fails, as an allocation would.
class UnclonablePoint : public CountedPoint {
 public:
  using CountedPoint::CountedPoint;
  TBasicPoint* Instance() override { throw std::runtime_error("no clone"); }
};

// A point that shows an end of its own, as the screen boxes do.
class StoredEndPoint : public TBasicPoint {
 public:
  StoredEndPoint(int64_t start, int64_t duration, int64_t end)
      : TBasicPoint(TFecha(start), TDuration(duration)), end_(end) {}
  TFecha GetEndDate() const override { return TFecha(end_); }

 private:
  int64_t end_;
};

// "[start,end)type" for each point, in list order, counted in `unit` from
// `base`: Spans(list, monday, kHour) == "[8,12)2 [12,14)2".
std::string Spans(const TBasicPointList& list, int64_t base = 0, int64_t unit = 1) {
  std::string text;
  for (const TBasicPoint* p : list) {
    if (!text.empty()) text += ' ';
    text += "[" + std::to_string((p->StartValue() - base) / unit) + "," +
            std::to_string((p->EndValue() - base) / unit) + ")" + std::to_string(p->Type);
  }
  return text;
}

std::string Hours(const TBasicPointList& list, int64_t base) { return Spans(list, base, kHour); }

TEST(TBasicPointMgr, EmptySetAndSinglePointAnswerAbsence) {
  TBasicPointMgr set;
  const TFecha from(At(2024, 3, 4)), to(At(2024, 3, 11));
  EXPECT_TRUE(set.GetPoints().empty());
  EXPECT_TRUE(set.GetPoints(tptNone).empty());
  EXPECT_TRUE(set.GetPoints(from, to, tptNone).empty());
  EXPECT_TRUE(set.GetPointsC(from, to, tptNone).empty());
  EXPECT_TRUE(set.GetPointsDay(from, tptNone).empty());
  EXPECT_TRUE(set.GetPointsInitDay(from, tptNone).empty());
  EXPECT_TRUE(set.GetPointsInWeek(from, tptNone).empty());
  EXPECT_TRUE(set.GetPointsInMonth(from).empty());
  EXPECT_TRUE(set.GetFreeC(from, to).empty());
  EXPECT_TRUE(set.GetTasksC(from, to).empty());
  EXPECT_TRUE(set.GetWorksC(from, to).empty());
  EXPECT_TRUE(set.GetPointsCopy(from, to, tptNone).empty());
  EXPECT_TRUE(set.GetPointsGroup(0).empty());
  EXPECT_EQ(set.GetFirstPoint(from), nullptr);
  EXPECT_EQ(set.GetFirstPoint(from, to), nullptr);
  EXPECT_FALSE(set.ArePoints(from, to, tptNone));
  EXPECT_EQ(set.GetFirstDate(TFecha(77)), 77);
  EXPECT_EQ(set.GetLastDate(TFecha(78)), 78);
  AnsiString msg = "before";
  EXPECT_FALSE(set.PointsSolap(msg));
  EXPECT_EQ(msg, "before");
  EXPECT_EQ(set.SmartString(), "");

  set.Add(new TBasicPoint(TFecha(At(2024, 3, 4, 8)), TDuration(4 * kHour)));
  EXPECT_FALSE(set.PointsSolap(msg));
  EXPECT_EQ(msg, "before");
}

TEST(TBasicPointMgr, AddUniqueInsertsInOrderAndRefusesAnyOverlap) {
  const int live = CountedPoint::live;
  {
    TBasicPointMgr set;
    EXPECT_TRUE(set.AddUnique(new CountedPoint(30, 10, 1)));
    EXPECT_TRUE(set.AddUnique(new CountedPoint(10, 10, 2)));
    // Touching either neighbour is no overlap.
    EXPECT_TRUE(set.AddUnique(new CountedPoint(20, 10, 3)));
    EXPECT_TRUE(set.AddUnique(new CountedPoint(0, 10, 4)));
    EXPECT_TRUE(set.AddUnique(new CountedPoint(40, 10, 5)));
    EXPECT_EQ(Spans(set.Points), "[0,10)4 [10,20)2 [20,30)3 [30,40)1 [40,50)5");

    // One second of overlap at either end refuses, whatever the type, and
    // leaves the point to the caller as it came.
    CountedPoint late(39, 2, 5), early(-5, 6, 9), inside(12, 3, 2), around(-10, 100, 2);
    for (CountedPoint* p : {&late, &early, &inside, &around}) {
      const std::string before = Spans({p});
      EXPECT_FALSE(set.AddUnique(p)) << before;
      EXPECT_EQ(Spans({p}), before);
    }
    EXPECT_EQ(set.Points.size(), 5u);

    // A zero-length point goes in front of a point that starts at its instant,
    // behind one that ends there, and nowhere inside a point.
    CountedPoint* edge = new CountedPoint(30, 0, 6);
    EXPECT_TRUE(set.AddUnique(edge));
    EXPECT_EQ(set.Points[3], edge);
    CountedPoint* last = new CountedPoint(50, 0, 7);
    EXPECT_TRUE(set.AddUnique(last));
    EXPECT_EQ(set.Points.back(), last);
    CountedPoint within(35, 0, 8);
    EXPECT_FALSE(set.AddUnique(&within));
    EXPECT_EQ(Spans(set.Points), "[0,10)4 [10,20)2 [20,30)3 [30,30)6 [30,40)1 [40,50)5 [50,50)7");

    // A list: each refused element is destroyed, the others owned.
    TBasicPointList list{new CountedPoint(60, 10), new CountedPoint(65, 10),
                         new CountedPoint(-20, 5), new CountedPoint(45, 1)};
    const int beforeList = CountedPoint::live;
    EXPECT_EQ(set.AddUnique(list), 2u);
    EXPECT_EQ(CountedPoint::live, beforeList - 2);
    EXPECT_EQ(Spans(set.Points),
              "[-20,-15)0 [0,10)4 [10,20)2 [20,30)3 [30,30)6 [30,40)1 [40,50)5 [50,50)7 [60,70)0");
    TBasicPointList none;
    EXPECT_EQ(set.AddUnique(none), 0u);
  }
  // The set destroyed everything it accepted; the stack points were never its.
  EXPECT_EQ(CountedPoint::live, live);
}

TEST(TBasicPointMgr, OwnershipThroughCopiesRemovalAndResets) {
  const int live = CountedPoint::live;
  {
    TBasicPointMgr set;
    set.HostTag = 7;
    set.HostFlag = true;
    set.HostTexts[0] = "host";
    auto* a = new CountedPoint(100, 10, 2);
    a->Group = 9;
    a->Level = 3;
    set.Add(a);
    set.Add(new CountedPoint(50, 10, 1));  // Add keeps arrival order

    TBasicPointMgr copy(&set);
    EXPECT_EQ(CountedPoint::live, live + 4);
    ASSERT_EQ(copy.Points.size(), 2u);
    EXPECT_NE(copy.Points[0], a);
    ASSERT_NE(dynamic_cast<CountedPoint*>(copy.Points[0]), nullptr);
    EXPECT_EQ(Spans(copy.Points), "[100,110)2 [50,60)1");
    EXPECT_EQ(copy.Points[0]->Group, 9);
    EXPECT_EQ(copy.Points[0]->Level, 3);
    EXPECT_EQ(copy.HostTag, 0);
    EXPECT_FALSE(copy.HostFlag);
    EXPECT_EQ(copy.HostTexts[0], "");
    EXPECT_TRUE(set.Equals(set));
    EXPECT_FALSE(set.Equals(copy));
    TBasicPointMgr empty, emptyCopy(&empty);
    EXPECT_TRUE(empty.Equals(emptyCopy));
    // Same pointers in another order is not the same set.
    TBasicPointMgr shared;
    shared.Add(set.Points[1]);
    shared.Add(set.Points[0]);
    EXPECT_FALSE(shared.Equals(set));
    std::swap(shared.Points[0], shared.Points[1]);
    EXPECT_TRUE(shared.Equals(set));
    shared.ClearPoints();  // the points stay alive and stay the other set's
    EXPECT_TRUE(shared.Points.empty());
    EXPECT_EQ(CountedPoint::live, live + 4);

    // Del hands the point over alive; out-of-range and foreign pointers do nothing.
    set.Del(static_cast<unsigned>(set.Points.size()));
    CountedPoint stranger(0, 1);
    set.Del(&stranger);
    EXPECT_EQ(set.Points.size(), 2u);
    set.Del(0u);
    EXPECT_EQ(Spans(set.Points), "[50,60)1");
    EXPECT_EQ(CountedPoint::live, live + 5);
    EXPECT_EQ(a->Group, 9);  // alive and untouched
    // Del by pointer takes out the first entry holding it, only that one.
    set.Add(a);
    set.Add(a);
    set.Del(a);
    ASSERT_EQ(set.Points.size(), 2u);
    EXPECT_EQ(set.Points[1], a);
    set.Del(a);
    delete a;

    // ResetPoints(d): at d or later destroyed, earlier kept whole and in order.
    set.Add(new CountedPoint(99, 500));
    set.Add(new CountedPoint(100, 1));
    set.Add(new CountedPoint(10, 1));
    set.Add(new CountedPoint(150, 1));
    const int beforeReset = CountedPoint::live;
    set.ResetPoints(TFecha(100));
    EXPECT_EQ(Spans(set.Points), "[50,60)1 [99,599)0 [10,11)0");
    EXPECT_EQ(CountedPoint::live, beforeReset - 2);
    set.ResetPoints();
    EXPECT_TRUE(set.Points.empty());
    set.Add(new CountedPoint(1, 1));
    set.iReset();
    EXPECT_TRUE(set.Points.empty());

    // Add of a list appends as it stands and leaves the list alone.
    TBasicPointList list{new CountedPoint(30, 1), new CountedPoint(5, 1)};
    copy.Add(list);
    EXPECT_EQ(list.size(), 2u);
    EXPECT_EQ(Spans(copy.Points), "[100,110)2 [50,60)1 [30,31)0 [5,6)0");
  }
  EXPECT_EQ(CountedPoint::live, live);
}

TEST(TBasicPointMgr, FailingClonesLeakNothing) {
  const int live = CountedPoint::live;
  {
    TBasicPointMgr set;
    set.Add(new CountedPoint(0, 10));
    set.Add(new CountedPoint(10, 10));
    set.Add(new UnclonablePoint(20, 10));
    EXPECT_THROW(TBasicPointMgr{&set}, std::runtime_error);
    EXPECT_THROW(set.GetPointsCopy(TFecha(0), TFecha(100), tptNone), std::runtime_error);
    EXPECT_EQ(CountedPoint::live, live + 3);
  }
  EXPECT_EQ(CountedPoint::live, live);
}

TEST(TBasicPointMgr, SortIsStableByStartThenLengthOrByTheGivenOrder) {
  TBasicPointMgr set;
  // Types tell the points apart; equal keys must keep their arrival order.
  set.Add(new TBasicPoint(TFecha(20), TDuration(5)));
  set.Points.back()->Type = tptFree;
  set.Add(new TBasicPoint(TFecha(10), TDuration(9)));
  set.Points.back()->Type = tptTimetable;
  set.Add(new TBasicPoint(TFecha(10), TDuration(3)));
  set.Points.back()->Type = tptTask;
  set.Add(new TBasicPoint(TFecha(20), TDuration(5)));
  set.Points.back()->Type = tptHoliday;
  set.Add(new TBasicPoint(TFecha(10), TDuration(3)));
  set.Points.back()->Type = tptIncidence;
  set.Sort();
  EXPECT_EQ(Spans(set.Points), "[10,13)3 [10,13)6 [10,19)2 [20,25)1 [20,25)4");
  // By start alone the longer point stays ahead of the shorter ones behind it.
  set.Add(new TBasicPoint(TFecha(10), TDuration(1)));
  set.Sort(EqualInit);
  EXPECT_EQ(Spans(set.Points), "[10,13)3 [10,13)6 [10,19)2 [10,11)0 [20,25)1 [20,25)4");
  set.Sort([](const TBasicPoint* a, const TBasicPoint* b) { return a->Type > b->Type; });
  EXPECT_EQ(Spans(set.Points), "[10,13)6 [20,25)4 [10,13)3 [10,19)2 [20,25)1 [10,11)0");

  // Many equal keys, as a real schedule has: arrival order numbered by Level.
  TBasicPointMgr many;
  std::mt19937 rng(7);
  for (short i = 0; i < 200; ++i) {
    many.Add(new TBasicPoint(TFecha(static_cast<int64_t>(rng() % 4)),
                             TDuration(static_cast<int64_t>(rng() % 3))));
    many.Points.back()->Level = i;
  }
  many.Sort();
  for (size_t i = 1; i < many.Points.size(); ++i) {
    const TBasicPoint* a = many.Points[i - 1];
    const TBasicPoint* b = many.Points[i];
    ASSERT_FALSE(MinorPoint(b, a)) << i;
    if (!MinorPoint(a, b)) {
      ASSERT_LT(a->Level, b->Level) << i;
    }
  }
}

TEST(TBasicPointMgr, QueriesThatAnswerOnePoint) {
  TBasicPointMgr set;
  set.AddUnique(new TBasicPoint(TFecha(100), TDuration(50)));   // [100,150)
  set.AddUnique(new TBasicPoint(TFecha(200), TDuration(0)));    // [200,200)
  set.AddUnique(new TBasicPoint(TFecha(200), TDuration(100)));  // [200,300)
  set.Points[2]->Type = tptTask;

  // The first point that ends after the instant, whether or not it holds it.
  EXPECT_EQ(set.GetFirstPoint(TFecha(0)), set.Points[0]);
  EXPECT_EQ(set.GetFirstPoint(TFecha(100)), set.Points[0]);
  EXPECT_EQ(set.GetFirstPoint(TFecha(149)), set.Points[0]);
  // A point of no length counts once the instant is before its end.
  EXPECT_EQ(set.GetFirstPoint(TFecha(150)), set.Points[1]);
  EXPECT_EQ(set.GetFirstPoint(TFecha(199)), set.Points[1]);
  EXPECT_EQ(set.GetFirstPoint(TFecha(200)), set.Points[2]);
  EXPECT_EQ(set.GetFirstPoint(TFecha(299)), set.Points[2]);
  EXPECT_EQ(set.GetFirstPoint(TFecha(300)), nullptr);
  EXPECT_EQ(set.GetFirstPoint(TFecha(150), TFecha(201)), set.Points[1]);
  EXPECT_EQ(set.GetFirstPoint(TFecha(150), TFecha(200)), nullptr);
  EXPECT_EQ(set.GetFirstPoint(TFecha(120), TFecha(101)), set.Points[0]);

  // Overlap with the half-open period, filtered by type.
  EXPECT_FALSE(set.ArePoints(TFecha(150), TFecha(200), tptNone));
  EXPECT_TRUE(set.ArePoints(TFecha(149), TFecha(200), tptNone));
  EXPECT_FALSE(set.ArePoints(TFecha(149), TFecha(200), tptTask));
  EXPECT_TRUE(set.ArePoints(TFecha(299), TFecha(400), tptTask));

  // By start, duration and type; level and group do not matter.
  TBasicPoint probe(TFecha(200), TDuration(100));
  probe.Level = 7;
  probe.Group = 3;
  EXPECT_EQ(set.GetPoint(&probe), nullptr);
  probe.Type = tptTask;
  EXPECT_EQ(set.GetPoint(&probe), set.Points[2]);
  probe.SetDuration(TDuration(99));
  EXPECT_EQ(set.GetPoint(&probe), nullptr);

  // The ends of the list as it stands, not the earliest and latest instants,
  // and the end a point shows.
  TBasicPointMgr unsorted;
  unsorted.Add(new TBasicPoint(TFecha(500), TDuration(10)));
  unsorted.Add(new StoredEndPoint(100, 10, 999));
  unsorted.Add(new TBasicPoint(TFecha(300), TDuration(10)));
  EXPECT_EQ(unsorted.GetFirstDate(TFecha(1)), 500);
  EXPECT_EQ(unsorted.GetLastDate(TFecha(1)), 310);
  TBasicPoint* taken = unsorted.Points[2];
  unsorted.Del(2u);
  delete taken;
  EXPECT_EQ(unsorted.GetLastDate(TFecha(1)), 999);
  // ArePoints needs no order.
  EXPECT_TRUE(unsorted.ArePoints(TFecha(505), TFecha(506), tptNone));
}

TEST(TBasicPointMgr, ReportsOverlapsOfNeighboursOfOneType) {
  TBasicPointMgr set;
  auto add = [&set](int64_t start, int64_t hours, TTimePointType type) {
    set.Add(new TBasicPoint(TFecha(start), TDuration(hours * kHour)));
    set.Points.back()->Type = type;
  };
  const int64_t day = At(2024, 3, 5);
  add(day + 8 * kHour, 4, tptTimetable);   // [8,12)
  add(day + 11 * kHour, 2, tptTimetable);  // [11,13): overlaps its neighbour
  add(day + 12 * kHour, 1, tptTask);       // [12,13): another type, not told
  add(day + 13 * kHour, 24, tptTask);      // [13,37): touches, no overlap
  add(day + 36 * kHour, 2, tptTask);       // [36,38)
  const AnsiString report =
      "El día 05/03/2024 08:00 - 05/03/2024 12:00 hay solape de horas\r\n"
      "El día 05/03/2024 13:00 - 06/03/2024 13:00 hay solape de horas";
  AnsiString msg;
  EXPECT_TRUE(set.PointsSolap(msg));
  EXPECT_EQ(msg, report);
  // The caller's text stays in front.
  msg = "x";
  EXPECT_TRUE(set.PointsSolap(msg));
  EXPECT_EQ(msg, "x\r\n" + report);

  // Only neighbours are compared: an overlap across a point of another type is
  // not found.
  TBasicPointMgr apart;
  apart.Add(new TBasicPoint(TFecha(0), TDuration(100)));
  apart.Add(new TBasicPoint(TFecha(10), TDuration(5)));
  apart.Points.back()->Type = tptTask;
  apart.Add(new TBasicPoint(TFecha(50), TDuration(100)));
  msg.clear();
  EXPECT_FALSE(apart.PointsSolap(msg));
  EXPECT_EQ(msg, "");
}

TEST(TBasicPointMgr, TextsOfTheSet) {
  TBasicPointMgr set;
  set.Add(new TBasicPoint(TFecha(At(2024, 3, 5, 8)), TDuration(kHour)));
  EXPECT_EQ(set.SmartString(), set.Points[0]->SmartString());
  set.Add(new TBasicPoint(TFecha(At(2024, 3, 6, 8)), TDuration(kHour)));
  const AnsiString text = set.SmartString();
  EXPECT_EQ(text, set.Points[0]->SmartString() + "\r\n\r\n" + set.Points[1]->SmartString());
  EXPECT_EQ(text.substr(0, 22), "DATE=05/03/2024 08:00\t");

  // One list for every set: each call refills it with the first three texts.
  set.HostTexts = {"a", "b", "c", "d"};
  TBasicPointMgr other;
  other.HostTexts[1] = "z";
  TVectorStrings* shared = set.GetStrings();
  EXPECT_EQ(*shared, (TVectorStrings{"a", "b", "c"}));
  EXPECT_EQ(other.GetStrings(), shared);
  EXPECT_EQ(*shared, (TVectorStrings{"", "z", ""}));
}

TEST(TBasicPointMgr, ListQueriesAtTheirEdges) {
  const int64_t monday = At(2024, 3, 4);  // a Monday
  TBasicPointMgr set;
  auto add = [&set](int64_t start, int64_t duration, TTimePointType type) {
    TBasicPoint* p = new TBasicPoint(TFecha(start), TDuration(duration));
    p->Type = type;
    EXPECT_TRUE(set.AddUnique(p)) << start;
    return p;
  };
  // Hours from the Monday.
  add(monday - 2 * kHour, 4 * kHour, tptFree);          // [-2,2) from Sunday
  add(monday + 8 * kHour, 4 * kHour, tptTimetable);     // [8,12)
  add(monday + 12 * kHour, 2 * kHour, tptTask);         // [12,14)
  add(monday + 22 * kHour, 4 * kHour, tptTimetable);    // [22,26) to Tuesday
  add(monday + 44 * kHour, 4 * kHour, tptCover);        // [44,48) ends at Wed 00:00
  add(monday + 6 * kDay + 23 * kHour, kHour, tptFree);  // [167,168) Sunday night
  add(monday + 7 * kDay, kHour, tptFree);               // [168,169) next Monday
  const int64_t h = kHour;

  // Closed period: a point from exactly `from` to exactly `to` counts; one
  // second outside at either side does not.
  EXPECT_EQ(Hours(set.GetPointsC(TFecha(monday + 8 * h), TFecha(monday + 14 * h), tptNone), monday),
            "[8,12)2 [12,14)3");
  EXPECT_EQ(
      Hours(set.GetPointsC(TFecha(monday + 8 * h + 1), TFecha(monday + 14 * h), tptNone), monday),
      "[12,14)3");
  EXPECT_EQ(
      Hours(set.GetPointsC(TFecha(monday + 8 * h), TFecha(monday + 14 * h - 1), tptNone), monday),
      "[8,12)2");
  EXPECT_EQ(Hours(set.GetPointsC(TFecha(monday), TFecha(monday + kDay), tptTask), monday),
            "[12,14)3");
  // Open period: touching at either end is not overlapping.
  EXPECT_EQ(Hours(set.GetPoints(TFecha(monday + 12 * h), TFecha(monday + 22 * h), tptNone), monday),
            "[12,14)3");
  EXPECT_EQ(
      Hours(set.GetPoints(TFecha(monday + 11 * h), TFecha(monday + 23 * h), tptTimetable), monday),
      "[8,12)2 [22,26)2");
  EXPECT_EQ(Hours(set.GetPoints(tptFree), monday), "[-2,2)1 [167,168)1 [168,169)1");
  EXPECT_EQ(set.GetPoints(), set.Points);

  // Contained and by kind; a free point that ends exactly at `to` counts.
  EXPECT_EQ(Hours(set.GetFreeC(TFecha(monday + 6 * kDay), TFecha(monday + 7 * kDay)), monday),
            "[167,168)1");
  EXPECT_EQ(Hours(set.GetFreeC(TFecha(monday - 2 * h), TFecha(monday + 7 * kDay + h)), monday),
            "[-2,2)1 [8,12)2 [22,26)2 [167,168)1 [168,169)1");
  EXPECT_EQ(Hours(set.GetTasksC(TFecha(monday), TFecha(monday + 3 * kDay)), monday),
            "[12,14)3 [44,48)8");
  EXPECT_EQ(Hours(set.GetWorksC(TFecha(monday), TFecha(monday + 3 * kDay)), monday),
            "[8,12)2 [12,14)3 [22,26)2 [44,48)8");
  // A point that starts before `from` is passed over, not taken.
  EXPECT_EQ(Hours(set.GetWorksC(TFecha(monday + 9 * h), TFecha(monday + 3 * kDay)), monday),
            "[12,14)3 [22,26)2 [44,48)8");
  // The walk ends at the first point of any kind that ends after `to`.
  EXPECT_EQ(Hours(set.GetWorksC(TFecha(monday + 8 * h), TFecha(monday + 25 * h)), monday),
            "[8,12)2 [12,14)3");
  {
    TBasicPointMgr stop;
    stop.Add(new TBasicPoint(TFecha(0), TDuration(100)));
    stop.Add(new TBasicPoint(TFecha(20), TDuration(10)));  // inside the period, behind the stop
    stop.Points.back()->Type = tptFree;
    EXPECT_TRUE(stop.GetFreeC(TFecha(0), TFecha(50)).empty());
    EXPECT_EQ(Spans(stop.GetFreeC(TFecha(0), TFecha(100))), "[20,30)1");
  }

  // Whole days: a point across midnight is in both days, one that ends at
  // 00:00 sharp only in the day before; the time of day of the argument is
  // of no account.
  EXPECT_EQ(Hours(set.GetPointsDay(TFecha(monday + 13 * h), tptNone), monday),
            "[-2,2)1 [8,12)2 [12,14)3 [22,26)2");
  EXPECT_EQ(Hours(set.GetPointsDay(TFecha(monday - kDay), tptNone), monday), "[-2,2)1");
  EXPECT_EQ(Hours(set.GetPointsDay(TFecha(monday + kDay + 5), tptNone), monday),
            "[22,26)2 [44,48)8");
  EXPECT_EQ(Hours(set.GetPointsDay(TFecha(monday + 2 * kDay), tptNone), monday), "");
  EXPECT_EQ(Hours(set.GetPointsDay(TFecha(monday + 13 * h), tptTimetable), monday),
            "[8,12)2 [22,26)2");

  // Points that start on the day, from the time of day of the argument.
  EXPECT_EQ(Hours(set.GetPointsInitDay(TFecha(monday), tptNone), monday),
            "[8,12)2 [12,14)3 [22,26)2");
  EXPECT_EQ(Hours(set.GetPointsInitDay(TFecha(monday + 8 * h + 1), tptNone), monday),
            "[12,14)3 [22,26)2");
  EXPECT_EQ(Hours(set.GetPointsInitDay(TFecha(monday), tptTimetable), monday), "[8,12)2 [22,26)2");
  EXPECT_EQ(Hours(set.GetPointsInitDay(TFecha(monday + 23 * h), tptNone), monday), "");

  // The week of a Wednesday: not the point that ran in from Sunday, nor the
  // next Monday's.
  EXPECT_EQ(Hours(set.GetPointsInWeek(TFecha(monday + 2 * kDay + 5 * h), tptNone), monday),
            "[8,12)2 [12,14)3 [22,26)2 [44,48)8 [167,168)1");
  EXPECT_EQ(Hours(set.GetPointsInWeek(TFecha(monday + 6 * kDay), tptFree), monday), "[167,168)1");
  EXPECT_EQ(Hours(set.GetPointsInWeek(TFecha(monday - 1), tptNone), monday), "[-2,2)1");

  // Clones of whole points from the first that ends after `from` to the last
  // that starts before `to`.
  TBasicPointList copies =
      set.GetPointsCopy(TFecha(monday + 12 * h), TFecha(monday + 44 * h), tptNone);
  EXPECT_EQ(Hours(copies, monday), "[12,14)3 [22,26)2");
  for (TBasicPoint* p : copies) {
    EXPECT_EQ(std::count(set.Points.begin(), set.Points.end(), p), 0);
    delete p;
  }
  copies = set.GetPointsCopy(TFecha(monday + 13 * h), TFecha(monday + 44 * h + 1), tptTask);
  EXPECT_EQ(Hours(copies, monday), "[12,14)3");
  for (TBasicPoint* p : copies) delete p;
}

TEST(TBasicPointMgr, MonthAndGroupQueriesWalkEverything) {
  TBasicPointMgr set;
  auto add = [&set](int64_t start, int group) {
    set.Add(new TBasicPoint(TFecha(start), TDuration(kHour)));
    set.Points.back()->Group = static_cast<unsigned char>(group);
  };
  add(At(2024, 3, 31, 23), 0);
  add(At(2023, 3, 1), 255);
  add(At(2024, 4, 1), 0);
  add(At(2024, 2, 29, 23), 1);
  add(At(2021, 3, 15), 1);
  // Month by number, in any year; the list need not be sorted.
  const TBasicPointList march = set.GetPointsInMonth(TFecha(At(2030, 3, 10)));
  ASSERT_EQ(march.size(), 3u);
  EXPECT_EQ(march[0], set.Points[0]);
  EXPECT_EQ(march[1], set.Points[1]);
  EXPECT_EQ(march[2], set.Points[4]);
  EXPECT_EQ(set.GetPointsInMonth(TFecha(At(2024, 2, 1))).size(), 1u);

  EXPECT_EQ(set.GetPointsGroup(0), (TBasicPointList{set.Points[0], set.Points[2]}));
  EXPECT_EQ(set.GetPointsGroup(255), (TBasicPointList{set.Points[1]}));
  EXPECT_EQ(set.GetPointsGroup(1), (TBasicPointList{set.Points[3], set.Points[4]}));
  // Compared as integers: no value outside the 8 bits aliases a stored one.
  EXPECT_TRUE(set.GetPointsGroup(256).empty());
  EXPECT_TRUE(set.GetPointsGroup(257).empty());
  EXPECT_TRUE(set.GetPointsGroup(-1).empty());
  EXPECT_TRUE(set.GetPointsGroup(-256).empty());
}

// ---------------------------------------------------------------------------
// The bisecting queries against plain walks over random sets in order.

struct Span {
  int64_t start;
  int64_t duration;
  int type;
};

// A timeline without overlaps: touching points, gaps, empty points, points of
// hours and of days, over a few months.
std::vector<Span> RandomTimeline(std::mt19937& rng, int64_t base, int count) {
  std::vector<Span> spans;
  std::uniform_int_distribution<int> percent(0, 99), type(0, 12);
  std::uniform_int_distribution<int64_t> hours(1, 14 * kHour), days(1, 3 * kDay),
      gap(1, 20 * kHour);
  int64_t cursor = base;
  for (int i = 0; i < count; ++i) {
    const int g = percent(rng);
    if (g >= 30) cursor += g < 90 ? gap(rng) : gap(rng) * 5;
    const int d = percent(rng);
    const int64_t duration = d < 10 ? 0 : d < 85 ? hours(rng) : days(rng);
    spans.push_back({cursor, duration, type(rng)});
    cursor += duration;
  }
  return spans;
}

// Monday 00:00 of the week of `value`; the origin of the values was a Saturday.
int64_t WeekStart(int64_t value) {
  const int64_t day = value / kDay;
  return (day - (day + 5) % 7) * kDay;
}

bool TypeMatches(const TBasicPoint* p, int t) { return t == 0 || p->Type == t; }

TEST(TBasicPointMgr, BisectingQueriesAgreeWithLinearWalks) {
  std::mt19937 rng(20240305);
  const int64_t base = At(2024, 1, 1);
  for (int round = 0; round < 8; ++round) {
    const std::vector<Span> spans = RandomTimeline(rng, base, 150);
    // Built in random arrival order: AddUnique must still give the timeline.
    std::vector<size_t> order(spans.size());
    for (size_t i = 0; i < order.size(); ++i) order[i] = i;
    std::shuffle(order.begin(), order.end(), rng);
    TBasicPointMgr set;
    for (size_t i : order) {
      auto* p = new TBasicPoint(TFecha(spans[i].start), TDuration(spans[i].duration));
      p->Type = static_cast<TTimePointType>(spans[i].type);
      ASSERT_TRUE(set.AddUnique(p)) << round << " " << i;
    }
    ASSERT_EQ(set.Points.size(), spans.size());
    for (size_t i = 0; i < spans.size(); ++i) {
      ASSERT_EQ(set.Points[i]->StartValue(), spans[i].start) << i;
      ASSERT_EQ(set.Points[i]->GetDurationValue(), spans[i].duration) << i;
    }
    // Any point with one second in common with a stored one is refused.
    for (int k = 0; k < 50; ++k) {
      const Span& s = spans[rng() % spans.size()];
      if (s.duration == 0) continue;
      TBasicPoint clash(TFecha(s.start + s.duration - 1 - static_cast<int64_t>(rng() % 3600)),
                        TDuration(1 + static_cast<int64_t>(rng() % 7200)));
      if (clash.StartValue() < s.start) clash.SetInicio(TFecha(s.start));
      ASSERT_FALSE(set.AddUnique(&clash));
    }

    const TBasicPointList& all = set.Points;
    auto instant = [&]() -> int64_t {
      const Span& s = spans[rng() % spans.size()];
      switch (rng() % 6) {
        case 0:
          return s.start;
        case 1:
          return s.start + s.duration;
        case 2:
          return s.start + s.duration + 1 - static_cast<int64_t>(rng() % 3);
        case 3:
          return (s.start / kDay) * kDay;
        case 4:
          return base - kDay + static_cast<int64_t>(rng() % (150 * kDay));
        default:
          return s.start + s.duration / 2;
      }
    };
    for (int q = 0; q < 60; ++q) {
      const int64_t d = instant();
      const int t = rng() % 3 == 0 ? 0 : static_cast<int>(rng() % 13);
      const TTimePointType tt = static_cast<TTimePointType>(t);

      TBasicPoint* first = nullptr;
      for (TBasicPoint* p : all) {
        if (p->EndValue() > d) {
          first = p;
          break;
        }
      }
      ASSERT_EQ(set.GetFirstPoint(TFecha(d)), first) << d;
      const int64_t until = d + static_cast<int64_t>(rng() % (2 * kDay));
      TBasicPoint* firstBefore = first != nullptr && first->StartValue() < until ? first : nullptr;
      ASSERT_EQ(set.GetFirstPoint(TFecha(d), TFecha(until)), firstBefore) << d;

      const int64_t day = (d / kDay) * kDay;
      TBasicPointList expected;
      for (TBasicPoint* p : all) {
        if ((p->StartValue() / kDay) * kDay <= day && p->StartValue() < day + kDay &&
            p->EndValue() > day && TypeMatches(p, t))
          expected.push_back(p);
      }
      ASSERT_EQ(set.GetPointsDay(TFecha(d), tt), expected) << d << " " << t;

      const int64_t week = WeekStart(d), weekEnd = week + 7 * kDay - 1;
      expected.clear();
      for (TBasicPoint* p : all) {
        if (p->StartValue() >= week && p->StartValue() < weekEnd && p->EndValue() > week &&
            TypeMatches(p, t))
          expected.push_back(p);
      }
      ASSERT_EQ(set.GetPointsInWeek(TFecha(d), tt), expected) << d << " " << t;

      expected.clear();
      for (TBasicPoint* p : all) {
        if (p->IsFree() && p->StartValue() >= d && p->EndValue() <= until) expected.push_back(p);
      }
      ASSERT_EQ(set.GetFreeC(TFecha(d), TFecha(until)), expected) << d << " " << until;

      expected.clear();
      for (TBasicPoint* p : all) {
        if (p->StartValue() >= d && p->EndValue() <= until && TypeMatches(p, t))
          expected.push_back(p);
      }
      ASSERT_EQ(set.GetPointsC(TFecha(d), TFecha(until), tt), expected);

      expected.clear();
      for (TBasicPoint* p : all) {
        if (p->StartValue() < until && p->EndValue() > d && TypeMatches(p, t))
          expected.push_back(p);
      }
      ASSERT_EQ(set.GetPoints(TFecha(d), TFecha(until), tt), expected);

      // The copies: the same points by value and class, none of them shared.
      // A point that ends at `from` is out even with no length.
      expected.clear();
      for (TBasicPoint* p : all) {
        if (p->EndValue() > d && p->StartValue() < until && TypeMatches(p, t))
          expected.push_back(p);
      }
      const TBasicPointList copies = set.GetPointsCopy(TFecha(d), TFecha(until), tt);
      ASSERT_EQ(Spans(copies), Spans(expected)) << d << " " << until;
      for (size_t i = 0; i < copies.size(); ++i) {
        EXPECT_NE(copies[i], expected[i]);
        delete copies[i];
      }
    }
  }
}

}  // namespace
