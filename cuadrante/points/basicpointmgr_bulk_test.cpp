#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <new>
#include <random>
#include <string>
#include <vector>

#include "cuadrante/points/basicpointmgr.h"

namespace {

std::string Fields(const TBasicPoint* p);

// A point that counts its live instances, carries a tag into its clones and
// stores its end, as the screen boxes do (only RestartEnd updates it). It
// also carries a name that its clones do not inherit, so that a test knows
// each point it made even where a freed one's memory was used again. Each
// clone is written down with the state of the point it was made from, and a
// clone can be made to fail, so that a test sees what a merge creates, from
// what and in which order, and what it leaves when a clone fails.
class Tracked : public TBasicPoint {
 public:
  Tracked(int64_t start, int64_t duration, int type, int tag)
      : TBasicPoint(TFecha(start), TDuration(duration)), Tag(tag) {
    Type = static_cast<TTimePointType>(type);
    RestartEnd();
    ++live;
  }
  Tracked(const Tracked& other) : TBasicPoint(other), Tag(other.Tag), end_(other.end_) { ++live; }
  Tracked& operator=(const Tracked&) = delete;
  ~Tracked() override { --live; }
  TBasicPoint* Instance() override {
    if (clonesLeft == 0) throw std::bad_alloc();
    if (clonesLeft > 0) --clonesLeft;
    clones += Fields(this) + " ";
    return new Tracked(*this);
  }
  TFecha GetEndDate() const override { return end_; }
  void RestartEnd() override { end_ = TFecha(EndValue()); }

  int Tag;
  std::string Name = "new";
  static inline int live = 0;
  static inline int clonesLeft = -1;  // clones that may be made before one fails; -1: any
  static inline std::string clones;   // the sources of the clones made, in order

 private:
  TFecha end_;
};

int TagOfTracked(const TBasicPoint* p) { return static_cast<const Tracked*>(p)->Tag; }
const std::string& NameOf(const TBasicPoint* p) { return static_cast<const Tracked*>(p)->Name; }
void Name(TBasicPoint* p, const std::string& name) { static_cast<Tracked*>(p)->Name = name; }

// Every field: "[8,12)1/2/0/3#5>12": interval, type, level, group, duration
// type, tag and stored end.
std::string Fields(const TBasicPoint* p) {
  return "[" + std::to_string(p->StartValue()) + "," + std::to_string(p->EndValue()) + ")" +
         std::to_string(p->Type) + "/" + std::to_string(p->Level) + "/" + std::to_string(p->Group) +
         "/" + std::to_string(p->Duration.Type()) + "#" + std::to_string(TagOfTracked(p)) + ">" +
         std::to_string(p->GetEndDate().Value());
}

// Who each point is ("o2": the old point at 2, "l5": the fifth of the list,
// "new": a clone) and all its fields.
std::string Describe(const TBasicPointList& list) {
  std::string text;
  for (const TBasicPoint* p : list) text += NameOf(p) + ":" + Fields(p) + " ";
  return text;
}

struct Sketch {
  int64_t start, duration;
  int type;
  short level;
  unsigned char group;
  TDurationType durationType;
  int tag;
};

Tracked* Make(const Sketch& s) {
  auto* p = new Tracked(s.start, s.duration, s.type, s.tag);
  p->Level = s.level;
  p->Group = s.group;
  p->Duration = TDuration(s.duration, s.durationType);
  return p;
}

// The ways a set gets filled: the first two give a set in order without
// overlaps, the last two need not.
enum class BuildBy { kAddUnique, kMerge, kAdd, kAddSorted };

void Build(TBasicPointMgr& set, const std::vector<Sketch>& sketches, BuildBy fill) {
  for (const Sketch& s : sketches) {
    Tracked* p = Make(s);
    if (fill == BuildBy::kAddUnique) {
      if (!set.AddUnique(p)) delete p;
    } else if (fill == BuildBy::kMerge) {
      if (!set.Merge(p)) delete p;
    } else {
      set.Add(p);
    }
  }
  if (fill == BuildBy::kAddSorted) set.Sort();
}

struct Outcome {
  std::string points, handedBack, clones;
  int stray;  // live points that neither the set nor the list holds
  bool operator==(const Outcome&) const = default;
};

// Builds the set and the list afresh and merges the list, in one call or one
// point at a time.
Outcome MergeRound(const std::vector<Sketch>& old, BuildBy fill,
                   const std::vector<Sketch>& sketches, bool bulk) {
  TBasicPointMgr set;
  Build(set, old, fill);
  TBasicPointList list;
  for (const Sketch& s : sketches) list.push_back(Make(s));
  for (size_t i = 0; i < set.Points.size(); ++i) Name(set.Points[i], "o" + std::to_string(i));
  for (size_t j = 0; j < list.size(); ++j) Name(list[j], "l" + std::to_string(j));
  Tracked::clones.clear();

  if (bulk) {
    set.MergeAll(list);
  } else {
    TBasicPointList refused;
    for (TBasicPoint* p : list)
      if (!set.Merge(p)) refused.push_back(p);
    list = refused;
  }

  Outcome out{Describe(set.Points), Describe(list), Tracked::clones,
              Tracked::live - static_cast<int>(set.Points.size() + list.size())};
  for (TBasicPoint* p : list) delete p;
  return out;
}

// Points of one round: mostly at random over `range` seconds, but also
// copies of old points, repeats of earlier points of the list, points that
// touch an old point, and points of no length at an old point's edge.
struct RoundShape {
  int64_t base;   // added to every start
  int64_t range;  // starts lie in [base, base + range)
  int64_t longest;
  int oldCount, listMin, listMax;
  bool odd;   // some points run backwards, or past the top of the range
  bool wide;  // each point near the bottom of the range, near 0 or near its top
};

Sketch RandomSketch(std::mt19937_64& rng, const RoundShape& shape, int tag) {
  const int64_t bases[] = {INT64_MIN + 50, 0, INT64_MAX - 300 - shape.range};
  const int64_t base = shape.wide ? bases[rng() % 3] : shape.base;
  Sketch s{
      base + static_cast<int64_t>(rng() % static_cast<uint64_t>(shape.range)),
      rng() % 8 == 0 ? 0 : 1 + static_cast<int64_t>(rng() % static_cast<uint64_t>(shape.longest)),
      1 + static_cast<int>(rng() % 3),
      static_cast<short>(rng() % 3),
      static_cast<unsigned char>(rng() % 5),
      rng() % 4 == 0 ? static_cast<TDurationType>(7) : dtDefault,
      tag};
  return s;
}

// Where a point ends, held at the top of the range as points hold it.
int64_t EndOf(const Sketch& s) {
  int64_t end = 0;
  return __builtin_add_overflow(s.start, s.duration, &end) ? INT64_MAX : end;
}

// In odd rounds, a point now and then that runs backwards or whose end 64
// bits cannot hold (it reads as the top of the range).
void Twist(std::mt19937_64& rng, const RoundShape& shape, Sketch& s) {
  if (!shape.odd || rng() % 6 != 0) return;
  if (shape.base > 0) {
    s.start = INT64_MAX - static_cast<int64_t>(rng() % 3);
    s.duration = 1 + static_cast<int64_t>(rng() % 5);
  } else {
    s.duration = -1 - static_cast<int64_t>(rng() % 10);
  }
}

std::vector<Sketch> RandomList(std::mt19937_64& rng, const RoundShape& shape,
                               const std::vector<Sketch>& old) {
  std::vector<Sketch> list;
  const int count =
      shape.listMin +
      static_cast<int>(rng() % static_cast<uint64_t>(shape.listMax - shape.listMin + 1));
  for (int j = 0; j < count; ++j) {
    Sketch s = RandomSketch(rng, shape, 1000 + j);
    const int pick = static_cast<int>(rng() % 8);
    if (!old.empty() && pick == 0) {
      const Sketch& o = old[rng() % old.size()];
      s.start = o.start;
      s.duration = o.duration;
    } else if (!list.empty() && pick == 1) {
      const Sketch& o = list[rng() % list.size()];
      s.start = o.start;
      s.duration = o.duration;
    } else if (!old.empty() && pick == 2) {
      const Sketch& o = old[rng() % old.size()];
      if (rng() % 2 == 0) {
        s.start = EndOf(o);
      } else {
        s.start = o.start - s.duration;
      }
    } else if (!old.empty() && pick == 3) {
      const Sketch& o = old[rng() % old.size()];
      s.start = rng() % 2 == 0 ? o.start : EndOf(o);
      s.duration = 0;
    }
    Twist(rng, shape, s);
    list.push_back(s);
  }
  return list;
}

TEST(TBasicPointMgrMergeAll, EqualsMergingEachPointInTurn) {
  std::mt19937_64 rng(20250301);
  for (int round = 0; round < 6000; ++round) {
    SCOPED_TRACE(round);
    RoundShape shape{0, 240, 40, 12, 0, 16, round % 5 == 0, round % 13 == 6};
    // Now and then at the edges of the 64-bit range, or large (lists of
    // hundreds of points, which are sorted another way than short ones).
    if (round % 7 == 3) shape.base = INT64_MAX - 300;
    if (round % 7 == 5) shape.base = INT64_MIN + 50;
    if (round % 100 == 1) shape = {-5000, 20000, 400, 400, 300, 1500, false, false};
    if (round % 100 == 51) shape = {0, 3000, 30, 300, 600, 900, false, true};
    const BuildBy fill = round % 10 < 4   ? BuildBy::kAddUnique
                         : round % 10 < 8 ? BuildBy::kMerge
                         : round % 10 < 9 ? BuildBy::kAdd
                                          : BuildBy::kAddSorted;
    std::vector<Sketch> old;
    const int oldCount = static_cast<int>(rng() % static_cast<uint64_t>(shape.oldCount + 1));
    for (int i = 0; i < oldCount; ++i) old.push_back(RandomSketch(rng, shape, i));
    for (Sketch& s : old) Twist(rng, shape, s);
    const std::vector<Sketch> list = RandomList(rng, shape, old);

    const Outcome bulk = MergeRound(old, fill, list, true);
    const Outcome each = MergeRound(old, fill, list, false);
    ASSERT_EQ(bulk.points, each.points);
    ASSERT_EQ(bulk.handedBack, each.handedBack);
    ASSERT_EQ(bulk.clones, each.clones);
    ASSERT_EQ(bulk.stray, 0);
    ASSERT_EQ(each.stray, 0);
    ASSERT_EQ(Tracked::live, 0);
  }
}

// A point of a table: [from, to).
struct Span {
  int64_t from, to;
};

// "l0[20,30)": who (old "o", list "l", clone "c" with the list position of
// its source) and the interval.
std::string Short(const TBasicPointList& list) {
  std::string text;
  for (const TBasicPoint* p : list) {
    const std::string who = NameOf(p) == "new" ? "c" + std::to_string(TagOfTracked(p)) : NameOf(p);
    text += (text.empty() ? "" : " ") + who + "[" + std::to_string(p->StartValue()) + "," +
            std::to_string(p->EndValue()) + ")";
  }
  return text;
}

TEST(TBasicPointMgrMergeAll, TakesDestroysOrHandsBackEachPointAsMergeDoes) {
  struct Case {
    std::vector<Span> set, list;
    const char* points;      // the set afterwards
    const char* handedBack;  // the list afterwards
  };
  const Case cases[] = {
      // An empty list changes nothing; an empty set takes the first list
      // point whole.
      {{{10, 20}}, {}, "o0[10,20)", ""},
      {{}, {{0, 10}}, "l0[0,10)", ""},
      // Around an old point: a clone in front, the point itself behind it.
      {{{10, 20}}, {{0, 30}}, "c0[0,10) o0[10,20) l0[20,30)", ""},
      // Covered: handed back, trimmed past the points in front of the one
      // that covers its end.
      {{{10, 20}}, {{12, 18}}, "o0[10,20)", "l0[12,18)"},
      {{{10, 20}, {20, 30}}, {{15, 28}}, "o0[10,20) o1[20,30)", "l0[20,28)"},
      {{{10, 20}}, {{10, 20}}, "o0[10,20)", "l0[10,20)"},
      // A piece in front and its end covered: the clone stays, the point is
      // destroyed.
      {{{10, 20}}, {{5, 15}}, "c0[5,10) o0[10,20)", ""},
      {{{0, 5}, {8, 10}}, {{2, 9}, {0, 12}}, "o0[0,5) c0[5,8) o1[8,10) l1[10,12)", ""},
      // Earlier points of the list win over later ones.
      {{}, {{0, 10}, {5, 15}}, "l0[0,10) l1[10,15)", ""},
      {{}, {{5, 15}, {0, 10}}, "c1[0,5) l0[5,15)", ""},
      {{}, {{0, 10}, {0, 10}}, "l0[0,10)", "l1[0,10)"},
      // A point of no length cuts what comes after it, and is refused inside
      // what came before; at an edge, old ones come first.
      {{}, {{5, 5}, {0, 10}}, "c1[0,5) l0[5,5) l1[5,10)", ""},
      {{}, {{0, 10}, {5, 5}}, "l0[0,10)", "l1[5,5)"},
      {{{10, 10}}, {{10, 10}, {0, 20}}, "c1[0,10) o0[10,10) l0[10,10) l1[10,20)", ""},
      {{{0, 10}}, {{10, 10}, {10, 10}}, "o0[0,10) l0[10,10) l1[10,10)", ""},
  };
  for (const Case& c : cases) {
    TBasicPointMgr set;
    for (const Span& p : c.set) {
      ASSERT_TRUE(set.AddUnique(new Tracked(p.from, p.to - p.from, 1, 100)));
      Name(set.Points.back(), "o" + std::to_string(set.Points.size() - 1));
    }
    TBasicPointList list;
    for (const Span& p : c.list) {
      list.push_back(new Tracked(p.from, p.to - p.from, 2, static_cast<int>(list.size())));
      Name(list.back(), "l" + std::to_string(list.size() - 1));
    }
    const std::string what = Short(set.Points) + " + " + Short(list);

    set.MergeAll(list);
    EXPECT_EQ(Short(set.Points), c.points) << what;
    EXPECT_EQ(Short(list), c.handedBack) << what;
    EXPECT_EQ(Tracked::live, static_cast<int>(set.Points.size() + list.size())) << what;
    for (TBasicPoint* p : list) delete p;
    set.ResetPoints();
  }
  EXPECT_EQ(Tracked::live, 0);
}

TEST(TBasicPointMgrMergeAll, LeavesEveryPointSomewhereWhenACloneFails) {
  // The list needs three clones: two in front of the old points and one in
  // front of the point of no length.
  const std::vector<Span> oldPoints{{10, 20}, {30, 40}};
  const std::vector<Span> listPoints{{45, 45}, {0, 50}, {42, 60}, {15, 35}};
  for (const bool inOrder : {true, false}) {
    // One point at a time, the reversed set needs two clones only.
    for (int allowed = 0; allowed < (inOrder ? 3 : 2); ++allowed) {
      SCOPED_TRACE(std::to_string(inOrder) + " " + std::to_string(allowed));
      TBasicPointMgr set;
      for (const Span& p : oldPoints) set.Add(new Tracked(p.from, p.to - p.from, 1, 100));
      // Out of order, the set is merged into one point at a time.
      if (!inOrder) std::reverse(set.Points.begin(), set.Points.end());
      TBasicPointList list;
      for (const Span& p : listPoints) {
        list.push_back(new Tracked(p.from, p.to - p.from, 2, static_cast<int>(list.size())));
        list.back()->Duration = TDuration(p.to - p.from, static_cast<TDurationType>(7));
      }
      const TBasicPointList oldSet = set.Points, oldList = list;
      const std::string setBefore = Describe(set.Points);
      const std::string listBefore = Describe(list);

      Tracked::clonesLeft = allowed;
      EXPECT_THROW(set.MergeAll(list), std::bad_alloc);
      Tracked::clonesLeft = -1;
      // No point is lost, none is both in the set and in the list.
      EXPECT_EQ(Tracked::live, static_cast<int>(set.Points.size() + list.size()));
      for (TBasicPoint* p : list)
        EXPECT_EQ(std::find(set.Points.begin(), set.Points.end(), p), set.Points.end());
      if (inOrder) {
        // On a timeline nothing changed at all, trims and duration types
        // included.
        EXPECT_EQ(set.Points, oldSet);
        EXPECT_EQ(list, oldList);
        EXPECT_EQ(Describe(set.Points), setBefore);
        EXPECT_EQ(Describe(list), listBefore);
        // And the same call goes through once clones can be made.
        set.MergeAll(list);
        EXPECT_EQ(Tracked::live, static_cast<int>(set.Points.size() + list.size()));
        EXPECT_EQ(list.size(), 1u);
      }
      for (TBasicPoint* p : list) delete p;
      set.ResetPoints();
      EXPECT_EQ(Tracked::live, 0);
    }
  }
}

}  // namespace
