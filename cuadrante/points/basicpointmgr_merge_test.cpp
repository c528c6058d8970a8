#include "cuadrante/points/basicpointmgr.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

// A point that counts its live instances and carries a tag into its clones,
// so that a test sees what a set creates, destroys or leaks, and from which
// point each piece was cloned. Its end is stored, as the screen boxes keep
// theirs, and only RestartEnd brings it up to date.
class Tagged : public TBasicPoint {
 public:
  Tagged(int64_t start, int64_t duration, int type, int tag = 0)
      : TBasicPoint(TFecha(start), TDuration(duration)), Tag(tag) {
    Type = static_cast<TTimePointType>(type);
    RestartEnd();
    ++live;
  }
  Tagged(const Tagged& other) : TBasicPoint(other), Tag(other.Tag), end_(other.end_) { ++live; }
  ~Tagged() override { --live; }
  TBasicPoint* Instance() override { return new Tagged(*this); }
  TFecha GetEndDate() const override { return end_; }
  void RestartEnd() override { end_ = TFecha(EndValue()); }

  int Tag;
  static inline int live = 0;

 private:
  TFecha end_;
};

int TagOf(const TBasicPoint* p) { return static_cast<const Tagged*>(p)->Tag; }

// "[8,12)1#0": start, end, type and tag; with `all`, the level and group too:
// "[8,12)1/2/0#0".
std::string Text(const TBasicPoint* p, bool all = false) {
  std::string text = "[" + std::to_string(p->StartValue()) + "," + std::to_string(p->EndValue()) +
                     ")" + std::to_string(p->Type);
  if (all) text += "/" + std::to_string(p->Level) + "/" + std::to_string(p->Group);
  return text + "#" + std::to_string(TagOf(p));
}

std::string Text(const TBasicPointList& list, bool all = false) {
  std::string text;
  for (const TBasicPoint* p : list) text += (text.empty() ? "" : " ") + Text(p, all);
  return text;
}

bool InOrder(const TBasicPointList& list) {
  return std::is_sorted(list.begin(), list.end(), MinorPoint);
}

bool Overlaps(const TBasicPointList& list) {
  for (size_t i = 0; i < list.size(); ++i)
    for (size_t j = i + 1; j < list.size(); ++j)
      if (list[i]->Solap(list[j])) return true;
  return false;
}

// A point of a table: [from, to) and the type.
struct Pt {
  int64_t from, to;
  int type;
};

// Adds the points in their order, tagged by their position.
void Load(TBasicPointMgr& set, const std::vector<Pt>& points) {
  for (const Pt& p : points) {
    const int tag = static_cast<int>(set.Points.size());
    set.Add(new Tagged(p.from, p.to - p.from, p.type, tag));
  }
}

TEST(TBasicPointMgrMerge, CrossesAHundredThousandPointsWithoutRecursing) {
  // Points of one second every three seconds; an argument across all of them
  // leaves a piece in each gap. Each crossed point would be a frame of a
  // recursion, far beyond any stack.
  constexpr int64_t kCount = 100000;
  TBasicPointMgr set;
  for (int64_t k = 0; k < kCount; ++k) set.Add(new Tagged(3 * k, 1, 1));
  Tagged* p = new Tagged(-1, 3 * kCount + 1, 2);
  ASSERT_TRUE(set.Merge(p));
  ASSERT_EQ(set.Points.size(), static_cast<size_t>(2 * kCount + 1));
  EXPECT_EQ(set.Points.back(), p);
  // Pieces and old points alternate and cover the argument without a gap.
  int64_t at = -1;
  bool alternate = true;
  for (size_t i = 0; i < set.Points.size() && alternate; ++i) {
    const TBasicPoint* q = set.Points[i];
    alternate = q->StartValue() == at && q->Type == (i % 2 == 0 ? 2 : 1);
    at = q->EndValue();
  }
  EXPECT_TRUE(alternate && at == 3 * kCount) << at;
  set.ResetPoints();
  EXPECT_EQ(Tagged::live, 0);
}

// Merge as a recursion, step by step as the operation is defined (a
// zero-length point at the start of the argument passed over): the oracle
// for the loop.
bool RecursiveMerge(TBasicPointMgr& set, TBasicPoint* p) {
  if (set.AddUnique(p)) return true;
  TBasicPointList& points = set.Points;
  auto it = std::lower_bound(points.begin(), points.end(), p, EndsBefore);
  if (it != points.begin()) --it;
  for (; it != points.end(); ++it) {
    TBasicPoint* q = *it;
    if (q->Contain(p)) return false;
    if ((p->Contain(q) && p->StartValue() < q->StartValue()) || p->LeftSolap(q)) {
      TBasicPoint* head = p->Instance();
      head->Duration = TDuration(q->StartValue() - p->StartValue());
      points.insert(it, head);
      p->Duration = TDuration(p->EndValue() - q->StartValue());
      p->Inicio = q->Inicio;
      if (!RecursiveMerge(set, p)) delete p;
      return true;
    }
    if ((p->Contain(q) && q->EndValue() > p->StartValue()) || q->LeftSolap(p)) {
      p->Duration = TDuration(p->EndValue() - q->EndValue());
      p->Inicio = TFecha(q->EndValue());
      return RecursiveMerge(set, p);
    }
  }
  return false;
}

// Small random sets of seconds in [0, kRange), filled the three ways a set
// gets filled.
constexpr int kRange = 240;
constexpr int kTypes = 4;
enum class Fill { kUnique, kSorted, kRaw };

// A point of types 1 to 3 inside the range; with `minDuration` 0, one in
// eight has no length.
Tagged* RandomPoint(std::mt19937& rng, int tag, int64_t minDuration = 0) {
  const int64_t start = rng() % 200;
  int64_t duration = minDuration + static_cast<int64_t>(rng() % (41 - minDuration));
  if (minDuration == 0 && rng() % 8 == 0) duration = 0;
  return new Tagged(start, duration, 1 + static_cast<int>(rng() % 3), tag);
}

// Up to 11 points, tagged by position, with levels and groups that differ.
void FillRandom(TBasicPointMgr& set, std::mt19937& rng, Fill fill, int64_t minDuration = 0) {
  const int count = static_cast<int>(rng() % 12);
  for (int i = 0; i < count; ++i) {
    Tagged* p = RandomPoint(rng, i, minDuration);
    p->Level = static_cast<short>(i % 3);
    p->Group = static_cast<unsigned char>(i % 5);
    if (fill != Fill::kUnique) {
      set.Add(p);
    } else if (!set.AddUnique(p)) {
      delete p;
    }
  }
  if (fill == Fill::kSorted) set.Sort();
}

// How many points of each type cover each second.
std::vector<int> Coverage(const TBasicPointList& list) {
  std::vector<int> count(kRange * kTypes, 0);
  for (const TBasicPoint* p : list)
    for (int64_t s = p->StartValue(); s < p->EndValue(); ++s) ++count[s * kTypes + p->Type];
  return count;
}

// The type covering each second of a set without overlaps, or -1.
std::vector<int> Timeline(const TBasicPointList& list) {
  std::vector<int> type(kRange, -1);
  for (const TBasicPoint* p : list)
    for (int64_t s = p->StartValue(); s < p->EndValue(); ++s) type[s] = p->Type;
  return type;
}

TEST(TBasicPointMgrMerge, MatchesTheRecursionAndCoversTheUnion) {
  std::mt19937 rng(20240611);
  for (int round = 0; round < 3000; ++round) {
    SCOPED_TRACE(round);
    const Fill fill = static_cast<Fill>(round % 3);
    TBasicPointMgr set;
    FillRandom(set, rng, fill);
    TBasicPointMgr oracle(&set);
    const TBasicPointList old = set.Points;
    const std::string oldText = Text(old, true);
    std::vector<int> line = Timeline(old);
    Tagged* p = RandomPoint(rng, 99);
    Tagged* q = new Tagged(*p);
    const int64_t start = p->StartValue(), end = p->EndValue();
    const int type = p->Type;

    const bool stored = set.Merge(p);
    ASSERT_EQ(stored, RecursiveMerge(oracle, q));
    ASSERT_EQ(Text(set.Points, true), Text(oracle.Points, true));
    // The argument itself stands where the oracle's does, or came back to the
    // caller trimmed as the oracle's.
    ASSERT_EQ(std::find(set.Points.begin(), set.Points.end(), p) - set.Points.begin(),
              std::find(oracle.Points.begin(), oracle.Points.end(), q) - oracle.Points.begin());
    if (!stored) {
      ASSERT_EQ(Text(p, true), Text(q, true));
      delete p;
      delete q;
    }
    // Old points are the same objects, unchanged and in their order.
    TBasicPointList kept;
    for (TBasicPoint* x : set.Points)
      if (std::find(old.begin(), old.end(), x) != old.end()) kept.push_back(x);
    ASSERT_EQ(kept, old);
    ASSERT_EQ(Text(kept, true), oldText);

    // On a timeline the result covers the union, old time keeps its type, the
    // order holds, and the result says whether there was a gap to fill.
    if (fill != Fill::kUnique) continue;
    ASSERT_TRUE(InOrder(set.Points));
    ASSERT_FALSE(Overlaps(set.Points));
    bool gap = false;
    for (int64_t s = start; s < end; ++s) {
      if (line[s] == -1) line[s] = type, gap = true;
    }
    ASSERT_EQ(Timeline(set.Points), line);
    if (end > start) {
      ASSERT_EQ(stored, gap);
    }
  }
  EXPECT_EQ(Tagged::live, 0);
}

TEST(TBasicPointMgrUnmerge, TakesTimeOutOfThePointsBesideItsPosition) {
  struct Case {
    std::vector<Pt> set;
    Pt arg;                // tagged 9
    const char* expected;  // "T " or "F " for the result, then the set
  };
  // What an argument over one point or none does, the random sets below pin;
  // these are the holes, the tails and the arguments over several points.
  const Case cases[] = {
      {{}, {0, 0, 2}, "F "},
      // A hole in the last point leaves a tail made from the argument;
      // with points behind, the tail is kept too.
      {{{8, 12, 1}}, {9, 10, 2}, "T [8,9)1#0 [10,12)2#9"},
      {{{8, 12, 1}, {14, 16, 1}}, {9, 10, 2}, "T [8,9)1#0 [10,12)2#9 [14,16)1#1"},
      // Between two points both sides lose what lies in the argument.
      {{{8, 12, 1}, {12, 16, 1}}, {9, 13, 2}, "T [8,9)1#0 [13,16)1#1"},
      {{{8, 10, 1}, {12, 14, 1}}, {10, 12, 2}, "F [8,10)1#0 [12,14)1#1"},
      // Covering three points with more behind: only the first reached goes.
      {{{1, 2, 1}, {3, 4, 1}, {5, 6, 1}, {8, 9, 1}}, {0, 7, 2}, "T [3,4)1#1 [5,6)1#2 [8,9)1#3"},
      // A point before the position that lies inside the argument goes,
      // and the next is not looked at.
      {{{1, 3, 1}, {4, 6, 1}, {6, 10, 1}}, {1, 5, 2}, "T [4,6)1#1 [6,10)1#2"},
  };
  for (const Case& c : cases) {
    TBasicPointMgr set;
    Load(set, c.set);
    Tagged arg(c.arg.from, c.arg.to - c.arg.from, c.arg.type, 9);
    const bool changed = set.Unmerge(&arg);
    EXPECT_EQ((changed ? "T " : "F ") + Text(set.Points), c.expected) << Text(&arg);
  }

  // The list form runs each element in turn; the elements stay the caller's.
  TBasicPointMgr set;
  Load(set, {{1, 3, 1}, {4, 6, 1}});
  Tagged first(1, 2, 2), second(5, 1, 2);
  TBasicPointList list{&first, &second};
  set.Unmerge(list);
  EXPECT_EQ(Text(set.Points), "[4,5)1#1");
  set.ResetPoints();
  EXPECT_EQ(Tagged::live, 2);  // nothing leaked, nothing of the caller's freed
}

TEST(TBasicPointMgrMerge, PointsWhoseEndPassesTheRangeHoldAtItsTop) {
  // Built in memory, a point may end beyond what 64 bits hold: its end reads
  // as the largest value, and merging, cutting and printing stay defined.
  constexpr int64_t kTop = INT64_MAX;
  TBasicPointMgr set;
  auto* first = new Tagged(kTop - 10, 100, 1, 1);
  EXPECT_EQ(first->EndValue(), kTop);
  EXPECT_EQ(Tagged(INT64_MIN + 10, -100, 1).EndValue(), INT64_MIN);
  EXPECT_TRUE(set.Merge(first));
  auto* covered = new Tagged(kTop - 5, 50, 1, 2);
  EXPECT_FALSE(set.Merge(covered));
  delete covered;
  Tagged cut(kTop - 8, 2, 2, 9);
  EXPECT_TRUE(set.Unmerge(&cut));
  ASSERT_EQ(set.Points.size(), 2u);
  EXPECT_EQ(set.Points[0]->EndValue(), kTop - 8);
  EXPECT_EQ(set.Points[1]->StartValue(), kTop - 6);
  EXPECT_EQ(set.Points[1]->EndValue(), kTop);
  EXPECT_FALSE(set.Points[1]->ToString().empty());
  set.ResetPoints();
}

TEST(TBasicPointMgrUnmerge, RemovesOnlyTimeOfTheArgument) {
  std::mt19937 rng(7);
  for (int round = 0; round < 3000; ++round) {
    SCOPED_TRACE(round);
    TBasicPointMgr set;
    FillRandom(set, rng, Fill::kUnique);
    const TBasicPointList old = set.Points;
    const std::string oldText = Text(old, true);
    const std::vector<int> before = Timeline(old);
    const std::unique_ptr<Tagged> p(RandomPoint(rng, 99));
    const int64_t start = p->StartValue(), end = p->EndValue();
    const bool zeros = std::any_of(old.begin(), old.end(),
                                   [](const TBasicPoint* x) { return x->GetDurationValue() == 0; });
    const auto hit = std::count_if(old.begin(), old.end(),
                                   [&p](const TBasicPoint* x) { return x->Solap(p.get()); });

    const bool changed = set.Unmerge(p.get());
    SCOPED_TRACE(Text(p.get()) + " -> " + Text(set.Points, true));
    // True says the set changed. The steps answer true for an empty argument
    // at the very end of the last point too, which changes nothing.
    const bool differs = old != set.Points || oldText != Text(set.Points, true);
    ASSERT_TRUE(changed == differs || (changed && end == start));
    ASSERT_TRUE(InOrder(set.Points));
    ASSERT_FALSE(Overlaps(set.Points));
    ASSERT_EQ(Tagged::live, static_cast<int>(set.Points.size()) + 1);
    // Inside the argument time only goes; outside nothing is lost, and a tail
    // made from the argument may carry its type.
    const std::vector<int> after = Timeline(set.Points);
    for (int64_t s = 0; s < kRange; ++s) {
      if (s >= start && s < end) {
        ASSERT_TRUE(after[s] == -1 || after[s] == before[s]) << s;
      } else {
        ASSERT_EQ(after[s] == -1, before[s] == -1) << s;
        ASSERT_TRUE(after[s] == before[s] || after[s] == p->Type) << s;
      }
    }
    // Without zero-length points, an argument that overlaps one point takes
    // all its time out of it, and one that overlaps none changes nothing.
    if (!zeros && end > start && hit <= 1) {
      ASSERT_EQ(changed, hit == 1);
      for (int64_t s = start; s < end; ++s) ASSERT_EQ(after[s], -1);
    }
  }
  EXPECT_EQ(Tagged::live, 0);
}

TEST(TBasicPointMgrCrush, KeepsEveryInstantAndCutsEveryStraddler) {
  std::mt19937 rng(99);
  for (int round = 0; round < 3000; ++round) {
    SCOPED_TRACE(round);
    const Fill fill = static_cast<Fill>(round % 3);
    TBasicPointMgr set;
    FillRandom(set, rng, fill);
    const std::unique_ptr<Tagged> p(RandomPoint(rng, 99));
    const int64_t start = p->StartValue(), end = p->EndValue();
    const TBasicPointList old = set.Points;
    const std::string oldText = Text(old, true);
    const std::vector<int> before = Coverage(old);
    std::pair<int64_t, int64_t> span[12];  // of each old point, by tag
    for (const TBasicPoint* x : old) span[TagOf(x)] = {x->StartValue(), x->EndValue()};
    // An edge of the argument strictly inside a point. An empty argument at
    // either end of a point cuts it too, into an empty point and the rest.
    const bool straddled = std::any_of(old.begin(), old.end(), [&](const TBasicPoint* x) {
      return (x->StartValue() < start && start < x->EndValue()) ||
             (x->StartValue() < end && end < x->EndValue()) ||
             (start == end && x->GetDurationValue() > 0 && x->ContainC(TFecha(end)));
    });

    const bool cut = set.Crush(p.get());
    SCOPED_TRACE(oldText + " - " + Text(p.get()) + " -> " + Text(set.Points, true));
    // No time is added or lost, whatever the set holds; pieces are clones of
    // the point they were cut from and lie inside it, and every stored end is
    // up to date.
    ASSERT_EQ(Coverage(set.Points), before);
    ASSERT_EQ(Tagged::live, static_cast<int>(set.Points.size()) + 1);
    for (const TBasicPoint* x : set.Points) {
      const int tag = TagOf(x);
      ASSERT_TRUE(tag < 12 && x->Level == tag % 3 && x->Group == tag % 5 &&
                  x->StartValue() >= span[tag].first && x->EndValue() <= span[tag].second)
          << Text(x, true);
      ASSERT_EQ(x->GetEndDate().Value(), x->EndValue()) << Text(x);
    }
    if (!cut) {
      ASSERT_FALSE(fill == Fill::kUnique && straddled);
      ASSERT_EQ(set.Points, old);
      ASSERT_EQ(Text(set.Points, true), oldText);
      continue;
    }
    ASSERT_TRUE(InOrder(set.Points));
    if (fill != Fill::kUnique) continue;
    ASSERT_TRUE(straddled);
    ASSERT_FALSE(Overlaps(set.Points));
    for (const TBasicPoint* x : set.Points) {
      ASSERT_TRUE(x->EndValue() <= start || x->StartValue() >= end ||
                  (x->StartValue() >= start && x->EndValue() <= end))
          << Text(x);
    }
  }
  EXPECT_EQ(Tagged::live, 0);
}

TEST(TBasicPointMgrCompact, JoinsNeighboursOfOneTypeAndDropsSlivers) {
  auto compact = [](const std::vector<Pt>& points) {
    TBasicPointMgr set;
    Load(set, points);
    set.Compact();
    return Text(set.Points);
  };
  // Joined and overlapping neighbours of one type become one.
  EXPECT_EQ(compact({{80, 100, 1}, {100, 120, 1}, {110, 130, 1}, {140, 150, 2}}),
            "[80,130)1#0 [140,150)2#3");
  // 9 seconds followed by anything goes; 10 stays; 9 in the last place stays.
  EXPECT_EQ(compact({{0, 9, 1}, {100, 120, 2}}), "[100,120)2#1");
  EXPECT_EQ(compact({{0, 10, 1}, {100, 109, 2}}), "[0,10)1#0 [100,109)2#1");
  // Identical neighbours become the first; a point inside another goes; same
  // start with the shorter first stays a pair.
  EXPECT_EQ(compact({{0, 20, 1}, {0, 20, 1}}), "[0,20)1#0");
  EXPECT_EQ(compact({{0, 30, 1}, {5, 15, 1}, {12, 42, 1}}), "[0,42)1#0");
  EXPECT_EQ(compact({{0, 20, 1}, {0, 30, 1}}), "[0,20)1#0 [0,30)1#1");
  // Out of order, only what happens to be neighbouring joins.
  EXPECT_EQ(compact({{0, 20, 1}, {40, 60, 1}, {60, 80, 1}, {20, 40, 1}}),
            "[0,20)1#0 [40,80)1#1 [20,40)1#3");
  EXPECT_EQ(Tagged::live, 0);
}

TEST(TBasicPointMgrCompact, KeepsTheTimeOfEachType) {
  std::mt19937 rng(3);
  for (int round = 0; round < 3000; ++round) {
    SCOPED_TRACE(round);
    const Fill fill = static_cast<Fill>(round % 3);
    const bool noSlivers = round % 2 == 0;
    TBasicPointMgr set;
    FillRandom(set, rng, fill, noSlivers ? 10 : 0);
    const TBasicPointList old = set.Points;
    const std::vector<int> before = Coverage(old);
    const std::vector<int> line = Timeline(old);
    // The time of the points that may be dropped: short ones, but the last.
    TBasicPointList slivers;
    for (size_t i = 0; i + 1 < old.size(); ++i)
      if (old[i]->GetDurationValue() < 10) slivers.push_back(old[i]);
    const std::vector<int> sliver = Coverage(slivers);
    std::pair<int64_t, int64_t> was[12];  // start and duration, by tag
    for (const TBasicPoint* x : old) was[TagOf(x)] = {x->StartValue(), x->GetDurationValue()};

    set.Compact();
    // Nothing is created: each survivor is an old point with its own level
    // and start, and it only grows.
    ASSERT_EQ(Tagged::live, static_cast<int>(set.Points.size()));
    for (const TBasicPoint* x : set.Points) {
      ASSERT_NE(std::find(old.begin(), old.end(), x), old.end());
      ASSERT_EQ(x->Level, static_cast<short>(TagOf(x) % 3));
      ASSERT_EQ(x->StartValue(), was[TagOf(x)].first);
      ASSERT_GE(x->GetDurationValue(), was[TagOf(x)].second);
    }
    // Per type, no second is gained, and the seconds lost lie in slivers.
    const std::vector<int> after = Coverage(set.Points);
    for (size_t k = 0; k < after.size(); ++k) {
      ASSERT_FALSE(after[k] > 0 && before[k] == 0) << k;
      ASSERT_FALSE(after[k] == 0 && before[k] > 0 && sliver[k] == 0) << k;
    }
    // A timeline without slivers keeps every second, and no two neighbours
    // of one type touch or overlap any more.
    if (fill != Fill::kUnique || !noSlivers) continue;
    ASSERT_EQ(Timeline(set.Points), line);
    ASSERT_TRUE(InOrder(set.Points));
    for (size_t i = 1; i < set.Points.size(); ++i) {
      const TBasicPoint* a = set.Points[i - 1];
      const TBasicPoint* b = set.Points[i];
      ASSERT_FALSE(a->Type == b->Type && a->EndValue() >= b->StartValue()) << Text(set.Points);
    }
  }
  EXPECT_EQ(Tagged::live, 0);
}

TEST(TBasicPointMgrDelGroup, DestroysOneGroupAndKeepsTheOrder) {
  TBasicPointMgr set;
  Load(set, {{0, 1, 1}, {1, 2, 1}, {2, 3, 1}, {3, 4, 1}, {4, 5, 1}, {5, 6, 1}});
  for (TBasicPoint* p : set.Points) p->Group = TagOf(p) % 2 == 0 ? 255 : 0;
  // No 8-bit group holds -1 or 256, though 256 would wrap to 0.
  for (short group : {-1, 256}) set.iDelPointsGorup(group);
  EXPECT_EQ(set.Points.size(), 6u);
  set.iDelPointsGorup(255);
  EXPECT_EQ(Text(set.Points), "[1,2)1#1 [3,4)1#3 [5,6)1#5");
  EXPECT_EQ(Tagged::live, 3);
  set.iDelPointsGorup(0);
  EXPECT_TRUE(set.Points.empty());
  EXPECT_EQ(Tagged::live, 0);
}

}  // namespace
