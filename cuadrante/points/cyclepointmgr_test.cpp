#include "cuadrante/points/cyclepointmgr.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "cuadrante/runtime/datetime.h"
#include "cuadrante/services/globalmgr.h"
#include "cuadrante/testing/values.h"
#include "cuadrante/time/basicbox.h"
#include "cuadrante/time/cyclepoint.h"
#include "cuadrante/time/rutinasfecha.h"

namespace {

using cuadrante::testing::At;
using cuadrante::testing::kDay;
using cuadrante::testing::kHour;

TCyclePoint Rule(TFecha start, int64_t seconds, TTimesGroup every, bool weekend = false,
                 TFecha end = TFecha()) {
  TCyclePoint c(start, tptTimetable, TDuration(seconds));
  c.Level = 1;
  c.Periodicity = every;
  c.WithWeekend = weekend;
  c.EndDate = end;
  return c;
}

// A manager with no range bounds, so that only the dates of each call count,
// holding the given rules in their order.
struct Unbounded : TCyclePointMgr {
  explicit Unbounded(std::vector<TCyclePoint> rules = {}) {
    RangeStart = 0;
    RangeEnd = 0;
    for (TCyclePoint& c : rules) AddCycle(&c, nullptr, false);
  }
};

std::vector<int64_t> Starts(const TBasicPointMgr& m) {
  std::vector<int64_t> out;
  for (const TBasicPoint* p : m.Points) out.push_back(p->StartValue());
  return out;
}

// The occurrences of one rule, by the plainest walk there is: every step
// from the first occurrence, each tested against every condition.
std::vector<int64_t> BruteForce(const TCyclePoint& c, TFecha from, TFecha to, TFecha rangeStart,
                                TFecha rangeEnd) {
  TFecha lo = rangeStart.IsZero() || from > rangeStart ? from : rangeStart;
  TFecha hi = rangeEnd.IsZero() || to < rangeEnd ? to : rangeEnd;
  lo = TFecha(lo.Date());
  hi = TFecha(hi.Date() + kDay - 1);
  std::vector<int64_t> out;
  if (c.Periodicity <= 0) {
    if (c.StartValue() < hi.Value() && c.EndValue() > lo.Value()) out.push_back(c.StartValue());
    return out;
  }
  for (TFecha cur = c.Inicio; cur <= hi; cur = cur.IncDays(c.Periodicity)) {
    const bool inRange = cur >= lo && (c.EndDate.IsZero() || cur <= c.EndDate);
    const bool dayOk = c.WithWeekend || DayOfTheWeek(cur.AsDate()) <= 5;
    if (inRange && dayOk) out.push_back(cur.Value());
  }
  return out;
}

// The starts of the expansion of `rule` alone over [from, to]; each
// occurrence has the rule's duration.
std::vector<int64_t> Walk(TCyclePoint rule, TFecha from, TFecha to) {
  Unbounded mgr({rule});
  mgr.Expand(from, to, true);
  for (const TBasicPoint* p : mgr.Points) EXPECT_EQ(p->GetDurationValue(), rule.GetDurationValue());
  return Starts(mgr);
}

// The edges that the brute-force walk below does not reach, or reaches through
// the same calendar steps as the code. It does reach, with a test of its own,
// end dates on an occurrence's instant and bounds at any second of their day.
TEST(TCyclePointMgr, BoundsOfTheWalk) {
  // Days of January 2005 (3 is a Monday) at an hour.
  const auto jan = [](uint16_t day, int64_t hour = 0) { return At(2005, 1, day, hour); };
  using V = std::vector<int64_t>;
  const TFecha mon = jan(3, 8);
  // Monthly from 31 January clamps and stays clamped.
  EXPECT_EQ(Walk(Rule(jan(31, 8), kHour, tgMonth, true), jan(1), At(2005, 4, 30)),
            (V{jan(31, 8), At(2005, 2, 28, 8), At(2005, 3, 28, 8), At(2005, 4, 28, 8)}));
  // A single interval overlapping by one second is kept whole; one touching
  // the range is not; a negative periodicity is a single interval.
  EXPECT_EQ(Walk(Rule(jan(2, 20), 4 * kHour + 1, tgNone), jan(3), jan(9)), V{jan(2, 20)});
  EXPECT_EQ(Walk(Rule(jan(2, 20), 4 * kHour, tgNone), jan(3), jan(9)), V{});
  EXPECT_EQ(Walk(Rule(mon, kHour, static_cast<TTimesGroup>(-3)), jan(1), jan(31)), V{mon});
  // A negative duration still steps.
  EXPECT_EQ(Walk(Rule(mon, -kHour, tgWeek, true), jan(1), jan(17)),
            (V{mon, jan(10, 8), jan(17, 8)}));
}

TEST(TCyclePointMgr, GroupsNumberEveryRuleAndRangeClips) {
  // The first rule, on Saturdays without the weekend, never gives a point.
  Unbounded mgr(
      {Rule(At(2005, 1, 1, 8), kHour, tgWeek), Rule(At(2005, 1, 3, 8), kHour, tgDay, true)});
  mgr.RangeStart = At(2005, 1, 5, 12);
  mgr.RangeEnd = At(2005, 1, 6, 1);
  EXPECT_EQ(mgr.Expand(At(2004, 1, 1), At(2006, 1, 1), true), 2u);
  EXPECT_EQ(Starts(mgr), (std::vector<int64_t>{At(2005, 1, 5, 8), At(2005, 1, 6, 8)}));
  for (const TBasicPoint* p : mgr.Points) {
    EXPECT_EQ(p->Type * 1000 + p->Group, tptTimetable * 1000 + 2);
    EXPECT_EQ(dynamic_cast<const TCyclePoint*>(p), nullptr);  // plain points
  }
  // Not forced and already filled: the old result, whatever the dates.
  EXPECT_EQ(mgr.Expand(At(2005, 1, 1), At(2005, 1, 2), false), 2u);
  EXPECT_EQ(mgr.Cycles.Points[0]->Group, 1);
  EXPECT_EQ(mgr.GroupCount, 2);
  EXPECT_EQ(mgr.GetCycleGroup(2), mgr.Cycles.Points[1]);
  EXPECT_EQ(mgr.FindCycle(At(2005, 1, 3, 9)), mgr.Cycles.Points[1]);  // end instant counts
  EXPECT_EQ(mgr.FindCycle(At(2005, 1, 4, 8)), nullptr);               // first occurrence only
  EXPECT_EQ(mgr.FindCycles(At(2005, 1, 1), At(2005, 1, 2)).size(), 1u);

  // 256 rules: the 256th gets 0, the next 1.
  Unbounded many;
  for (int i = 0; i < 257; ++i) {
    TCyclePoint c = Rule(At(2005, 1, 3, 0) + i, 1, tgNone);
    many.AddCycle(&c, nullptr, false);
  }
  many.Expand(At(2005, 1, 3), At(2005, 1, 3), true);
  EXPECT_EQ(many.Cycles.Points[254]->Group, 255);
  EXPECT_EQ(many.Cycles.Points[255]->Group, 0);
  EXPECT_EQ(many.Cycles.Points[256]->Group, 1);
}

TEST(TCyclePointMgr, BoxesCarryTheSharedTexts) {
  Unbounded mgr(
      {Rule(At(2005, 1, 3, 8), 8 * kHour, tgDay), Rule(At(2005, 1, 4, 20), kHour, tgNone)});
  // Each box's texts, or "?" for a point that is no box or shows a stale end.
  const auto texts = [&mgr] {
    std::string all;
    for (const TBasicPoint* p : mgr.Points) {
      const auto* box = dynamic_cast<const TBasicBox*>(p);
      if (box == nullptr || box->GetEndDate().Value() != box->EndValue()) return std::string("?");
      all += box->Code + "/" + box->Description + " ";
    }
    return all;
  };
  // Empty texts replace the box's own blanks.
  ASSERT_EQ(mgr.ExpandBoxes(At(2005, 1, 3), At(2005, 1, 4), true), 3u);
  EXPECT_EQ(texts(), "/ / / ");
  TCyclePointMgr::Code = "M1";
  TCyclePointMgr::Description = "Mañana";
  mgr.ExpandBoxes(At(2005, 1, 3), At(2005, 1, 4), true);
  TCyclePointMgr::Code.clear();
  TCyclePointMgr::Description.clear();
  EXPECT_EQ(texts(), "M1/Mañana M1/Mañana M1/Mañana ");
}

TEST(TCyclePointMgr, RangesAndViewDates) {
  Unbounded mgr;
  EXPECT_EQ(mgr.GetMaxDate().Value(), 0);
  mgr.RangeEnd = At(2010, 12, 31);
  EXPECT_EQ(mgr.GetMaxDate(), At(2010, 12, 31));
  TCyclePoint c = Rule(At(2005, 1, 3, 8), kHour, tgDay, false, At(2012, 1, 1));
  mgr.AddCycle(&c, nullptr, false);
  EXPECT_EQ(mgr.GetMaxDate(), At(2012, 1, 1));  // the later one
  EXPECT_EQ(mgr.GetMinDate(), At(2005, 1, 3, 8));
  mgr.RangeStart = At(2006, 1, 1);
  EXPECT_EQ(mgr.GetMinDate(), At(2006, 1, 1));
  EXPECT_TRUE(mgr.Solap(At(2007, 1, 1), At(2007, 1, 2)));
  EXPECT_FALSE(mgr.Solap(At(2012, 1, 1), At(2013, 1, 1)));

  const TFecha oldStart = RutinasFecha::StartViewDate;
  const TFecha oldEnd = RutinasFecha::EndViewDate;
  mgr.RangeStart = At(2005, 6, 1);
  RutinasFecha::StartViewDate = At(1999, 1, 1);
  EXPECT_EQ(mgr.GetStartViewDate(), At(2000, 1, 1));
  RutinasFecha::StartViewDate = At(2001, 1, 1);
  EXPECT_EQ(mgr.GetStartViewDate(), At(2001, 1, 1));
  mgr.RangeEnd = At(9000, 1, 1);  // past any MaxDate
  RutinasFecha::EndViewDate = At(9500, 1, 1);
  EXPECT_EQ(mgr.GetEndViewDate(), At(9000, 1, 1));
  RutinasFecha::EndViewDate = At(2003, 1, 1);
  EXPECT_EQ(mgr.GetEndViewDate(), At(2003, 1, 1));
  RutinasFecha::StartViewDate = oldStart;
  RutinasFecha::EndViewDate = oldEnd;

  TCyclePointMgr fresh;  // the defaults
  EXPECT_EQ(fresh.RangeStart, TFecha(Now()).StartOfYear());
  EXPECT_EQ(fresh.RangeEnd, TFecha(_GlobalMgr.MaxDate));
}

TEST(TCyclePointMgr, ExpansionMatchesABruteForceWalk) {
  std::mt19937 rng(20050103);
  const TTimesGroup groups[] = {tgNone, tgDay,       tgWeek,    tgMonth,
                                tgYear, tgFortnight, tgQuarter, static_cast<TTimesGroup>(9)};
  const TFecha base = At(2004, 1, 1);
  auto pick = [&](int64_t lo, int64_t hi) {
    return std::uniform_int_distribution<int64_t>(lo, hi)(rng);
  };
  for (int round = 0; round < 300; ++round) {
    Unbounded mgr;
    std::vector<TCyclePoint> rules;
    const int count = static_cast<int>(pick(1, 4));
    for (int i = 0; i < count; ++i) {
      TCyclePoint c = Rule(base + pick(0, 800) * kDay + pick(0, 23) * kHour, pick(1, 12) * kHour,
                           groups[pick(0, 7)], pick(0, 1) == 1);
      if (pick(0, 2) == 0) c.EndDate = c.Inicio + pick(-20, 900) * kDay + pick(0, 1) * kHour;
      rules.push_back(c);
      mgr.AddCycle(&c, nullptr, false);
    }
    if (pick(0, 1) == 1) mgr.RangeStart = base + pick(0, 1000) * kDay + pick(0, 86399);
    if (pick(0, 1) == 1) mgr.RangeEnd = base + pick(0, 1400) * kDay + pick(0, 86399);
    const TFecha from = base + pick(-100, 1000) * kDay + pick(0, 86399);
    const TFecha to = from + pick(-10, 700) * kDay + pick(0, 86399);
    mgr.Expand(from, to, true);
    std::vector<int64_t> want;
    for (const TCyclePoint& c : rules) {
      const std::vector<int64_t> one = BruteForce(c, from, to, mgr.RangeStart, mgr.RangeEnd);
      want.insert(want.end(), one.begin(), one.end());
    }
    std::vector<int64_t> got = Starts(mgr);
    std::sort(want.begin(), want.end());
    std::sort(got.begin(), got.end());
    ASSERT_EQ(got, want) << "round " << round;
  }
}

TEST(TCyclePointMgr, DeletingAnOccurrenceEditsTheRules) {
  std::mt19937 rng(7);
  const TFecha from = At(2005, 1, 1);
  const TFecha to = At(2005, 6, 30);
  enum Where { kFirst, kMiddle, kLast, kOnly };
  for (int round = 0; round < 120; ++round) {
    const auto where = static_cast<Where>(round % 4);
    const TTimesGroup every = round % 3 == 0 ? tgMonth : (round % 3 == 1 ? tgWeek : tgDay);
    TCyclePoint c = Rule(At(2005, 1, 3, 8) + static_cast<int64_t>(rng() % 20) * kDay, 8 * kHour,
                         every, round % 2 == 0 || every == tgWeek);
    if (where == kOnly) c.Periodicity = tgNone;
    Unbounded mgr({Rule(At(2005, 1, 2, 20), 2 * kHour, tgWeek, true), c});
    mgr.Expand(from, to, true);
    const TBasicPointList occ = mgr.GetPointsGroup(2);
    ASSERT_GE(occ.size(), where == kOnly ? 1u : 3u);
    size_t i = 0;
    if (where == kMiddle) i = 1 + rng() % (occ.size() - 2);
    if (where == kLast) i = occ.size() - 1;
    TBasicPoint* victim = occ[i];
    std::vector<int64_t> want = Starts(mgr);
    want.erase(std::find(want.begin(), want.end(), victim->StartValue()));

    ASSERT_TRUE(mgr.DelCyclePoint(victim));
    const std::unique_ptr<TBasicPoint> owned(victim);  // still alive: ours now
    EXPECT_EQ(mgr.Cycles.Points.size(), where == kOnly ? 1u : (where == kMiddle ? 3u : 2u));
    if (where == kMiddle) {  // the occurrences behind follow the new rule
      for (size_t k = i + 1; k < occ.size(); ++k) EXPECT_EQ(occ[k]->Group, mgr.GroupCount);
      EXPECT_EQ(mgr.GetCycleGroup(mgr.GroupCount), mgr.Cycles.Points.back());
    }
    EXPECT_EQ(Starts(mgr), want);
    mgr.Expand(from, to, true);
    EXPECT_EQ(Starts(mgr), want) << "round " << round << " at " << i;
  }

  Unbounded mgr({Rule(At(2005, 1, 3, 8), kHour, tgDay)});
  mgr.Expand(At(2005, 1, 3), At(2005, 1, 5), true);
  TBasicPoint stranger(At(2005, 1, 3, 8), TDuration(kHour));
  stranger.Group = 9;
  EXPECT_FALSE(mgr.DelCyclePoint(&stranger));
  EXPECT_FALSE(mgr.DelCycle(&stranger, true));
  // A group the expansion has but the rules lost: refused, nothing changes.
  std::unique_ptr<TBasicPoint> gone(mgr.Cycles.Points[0]);
  mgr.Cycles.ClearPoints();
  EXPECT_FALSE(mgr.DelCyclePoint(mgr.Points[0]));
  EXPECT_EQ(mgr.Points.size(), 3u);
}

TEST(TCyclePointMgr, DelCycleKeepsTheOldRange) {
  Unbounded mgr(
      {Rule(At(2005, 1, 3, 8), kHour, tgDay, true), Rule(At(2005, 1, 3, 20), kHour, tgDay, true)});
  mgr.ExpandBoxes(At(2005, 1, 4), At(2005, 1, 6), true);
  ASSERT_EQ(mgr.Points.size(), 6u);
  // Any occurrence names its rule.
  EXPECT_TRUE(mgr.DelCycle(mgr.Points[0], true));
  ASSERT_EQ(mgr.Cycles.Points.size(), 1u);
  EXPECT_EQ(Starts(mgr),
            (std::vector<int64_t>{At(2005, 1, 4, 20), At(2005, 1, 5, 20), At(2005, 1, 6, 20)}));
  // The deleted rule was the prototype: the occurrences are cycle points now.
  EXPECT_NE(dynamic_cast<const TCyclePoint*>(mgr.Points[0]), nullptr);
  EXPECT_EQ(mgr.Points[0]->Group, 1);
}

TEST(TCyclePointMgr, RulesTravelAsADocument) {
  TCyclePoint a = Rule(At(2005, 1, 3, 8), 8 * kHour, tgDay, false, At(2005, 12, 31));
  TCyclePoint b = Rule(At(2005, 1, 7, 9), kHour, tgWeek, true);
  b.CycleTag = 42;
  Unbounded mgr({b, a});
  AnsiString xml;
  ASSERT_TRUE(mgr.SaveCyclesToXML(xml));
  TCyclePoint proto;
  Unbounded copy;
  ASSERT_TRUE(copy.LoadCyclesFromXML(xml, &proto));
  EXPECT_TRUE(copy.Points.empty());  // stale until expanded
  const auto texts = [](const TCyclePointMgr& m) {
    std::string all;
    for (TBasicPoint* c : m.Cycles.Points) all += c->WriteToStr() + " ";
    return all;
  };
  EXPECT_EQ(texts(copy), a.WriteToStr() + " " + b.WriteToStr() + " ");
  EXPECT_NE(copy.AsString().find("DATE=07/01/2005 09:00"), std::string::npos);
  EXPECT_EQ(copy.Expand(At(2005, 1, 3), At(2005, 1, 16), false),
            mgr.Expand(At(2005, 1, 3), At(2005, 1, 16), false));
  EXPECT_EQ(Starts(copy), Starts(mgr));

  // Added to what is there; with expand, the first new rule is the prototype.
  Unbounded more({Rule(At(2005, 1, 4, 22), kHour, tgNone)});
  more.RangeStart = At(2005, 1, 1);
  more.RangeEnd = At(2005, 1, 10);
  more.AddCycles(xml, &proto, true);
  more.AddCycles(" ", &proto, true);  // no document: nothing happens
  EXPECT_EQ(more.Cycles.Points.size(), 3u);
  // 3 to 10 January: six weekdays of a, c once, b on the 7th.
  EXPECT_EQ(more.Points.size(), 8u);
  EXPECT_NE(dynamic_cast<const TCyclePoint*>(more.Points[0]), nullptr);
  more.ResetCycles();
  EXPECT_TRUE(more.Cycles.Points.empty() && more.Points.empty());
}

TEST(TCyclePointMgr, HostileInputEnds) {
  // Rules and ranges at the edges of the value range: every expansion ends.
  Unbounded mgr(
      {Rule(At(9999, 10, 31, 8), kHour, tgMonth, true), Rule(At(9999, 12, 30, 8), 0, tgDay, true)});
  mgr.Expand(At(9999, 1, 1), std::numeric_limits<int64_t>::max(), true);
  EXPECT_EQ(Starts(mgr),
            (std::vector<int64_t>{At(9999, 10, 31, 8), At(9999, 11, 30, 8), At(9999, 12, 30, 8),
                                  At(9999, 12, 30, 8), At(9999, 12, 31, 8)}));
  EXPECT_EQ(
      mgr.Expand(std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::min(), true),
      0u);
  EXPECT_EQ(mgr.Expand(std::numeric_limits<int64_t>::max(), 0, true), 0u);
}

}  // namespace
