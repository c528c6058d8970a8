#include "cuadrante/points/basicpointmgr.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int64_t kHour = 3600;
constexpr int64_t kBase = 46000LL * 86400;  // a day in 2025; any day would do

// A point that counts its live instances and carries a tag into its clones,
// so that a test sees what a set creates, destroys, hands back or leaks, and
// from which point each piece was cloned.
class Counted : public TBasicPoint {
 public:
  Counted(int64_t start, int64_t duration, int type, int tag = 0)
      : TBasicPoint(TFecha(start), TDuration(duration)), Tag(tag) {
    Type = static_cast<TTimePointType>(type);
    ++live;
  }
  Counted(const Counted& other) : TBasicPoint(other), Tag(other.Tag) { ++live; }
  ~Counted() override { --live; }
  TBasicPoint* Instance() override { return new Counted(*this); }

  int Tag;
  static inline int live = 0;
};

// A point with an end of its own that only RestartEnd brings up to date, as
// the screen boxes keep theirs.
class StoredEnd : public TBasicPoint {
 public:
  StoredEnd(int64_t start, int64_t duration) : TBasicPoint(TFecha(start), TDuration(duration)) {
    RestartEnd();
  }
  TBasicPoint* Instance() override { return new StoredEnd(*this); }
  TFecha GetEndDate() const override { return end_; }
  void RestartEnd() override { end_ = TFecha(EndValue()); }

 private:
  TFecha end_;
};

int TagOf(const TBasicPoint* p) { return static_cast<const Counted*>(p)->Tag; }

Counted* Hours(int64_t from, int64_t to, int type, int tag = 0) {
  return new Counted(kBase + from * kHour, (to - from) * kHour, type, tag);
}

// "[8,12)1 [12,14)2": start and end in hours from kBase, then the type.
std::string InHours(const TBasicPointList& list) {
  std::string text;
  for (const TBasicPoint* p : list) {
    if (!text.empty()) text += ' ';
    text += "[" + std::to_string((p->StartValue() - kBase) / kHour) + "," +
            std::to_string((p->EndValue() - kBase) / kHour) + ")" + std::to_string(p->Type);
  }
  return text;
}

// Every value a point carries, with its tag, in seconds: "[3,9)2/1/0#4".
std::string Full(const TBasicPoint* p) {
  return "[" + std::to_string(p->StartValue()) + "," + std::to_string(p->EndValue()) + ")" +
         std::to_string(p->Type) + "/" + std::to_string(p->Level) + "/" + std::to_string(p->Group) +
         "#" + std::to_string(TagOf(p));
}

std::string Full(const TBasicPointList& list) {
  std::string text;
  for (const TBasicPoint* p : list) text += Full(p) + " ";
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

TEST(TBasicPointMgrMerge, WorkedExampleAndItsEdges) {
  {
    TBasicPointMgr set;
    set.Add(Hours(8, 10, 1));
    set.Add(Hours(12, 14, 1));
    const TBasicPointList old = set.Points;
    EXPECT_TRUE(set.Merge(Hours(9, 13, 2)));
    EXPECT_EQ(InHours(set.Points), "[8,10)1 [10,12)2 [12,14)1");
    EXPECT_EQ(set.Points[0], old[0]);
    EXPECT_EQ(set.Points[2], old[1]);
    EXPECT_EQ(Counted::live, 3);  // the covered rest of the argument was destroyed
  }
  {
    TBasicPointMgr set;
    Counted* p = Hours(8, 9, 1);
    EXPECT_TRUE(set.Merge(p));
    ASSERT_EQ(set.Points.size(), 1u);
    EXPECT_EQ(set.Points[0], p);
    // Touching at either end: stored apart, never joined.
    EXPECT_TRUE(set.Merge(Hours(9, 10, 1)));
    EXPECT_TRUE(set.Merge(Hours(7, 8, 1)));
    EXPECT_EQ(InHours(set.Points), "[7,8)1 [8,9)1 [9,10)1");
  }
  {
    // Equal to, inside, or covered by two touching points: nothing goes in and
    // the argument is still the caller's, trimmed to behind the first of them.
    TBasicPointMgr set;
    set.Add(Hours(8, 10, 1));
    set.Add(Hours(10, 12, 1));
    Counted same(kBase + 8 * kHour, 2 * kHour, 2);
    EXPECT_FALSE(set.Merge(&same));
    EXPECT_EQ(InHours({&same}), "[8,10)2");
    Counted inside(kBase + 8 * kHour + 60, 600, 2);
    EXPECT_FALSE(set.Merge(&inside));
    EXPECT_EQ(inside.StartValue(), kBase + 8 * kHour + 60);
    EXPECT_EQ(inside.GetDurationValue(), 600);
    Counted across(kBase + 9 * kHour, 2 * kHour, 2);
    EXPECT_FALSE(set.Merge(&across));
    EXPECT_EQ(InHours({&across}), "[10,11)2");
    EXPECT_EQ(InHours(set.Points), "[8,10)1 [10,12)1");
  }
  {
    // Covering a point whole: a head, the old point, and the argument itself as
    // the tail.
    TBasicPointMgr set;
    set.Add(Hours(10, 12, 1));
    Counted* p = Hours(9, 14, 2, 7);
    p->Level = 3;
    p->Group = 5;
    EXPECT_TRUE(set.Merge(p));
    EXPECT_EQ(InHours(set.Points), "[9,10)2 [10,12)1 [12,14)2");
    EXPECT_EQ(set.Points[2], p);
    EXPECT_EQ(TagOf(set.Points[0]), 7);  // the head is a clone of the argument
    EXPECT_EQ(set.Points[0]->Level, 3);
    EXPECT_EQ(set.Points[0]->Group, 5);
  }
  {
    // Starting together with a shorter point: only the rest, in the argument.
    TBasicPointMgr set;
    set.Add(Hours(8, 9, 1));
    set.Add(Hours(10, 11, 1));
    Counted* p = Hours(10, 13, 2);
    EXPECT_TRUE(set.Merge(p));
    EXPECT_EQ(InHours(set.Points), "[8,9)1 [10,11)1 [11,13)2");
    EXPECT_EQ(set.Points[2], p);
    // A split behind other points keeps the order.
    EXPECT_TRUE(set.Merge(Hours(7, 12, 3)));
    EXPECT_EQ(InHours(set.Points), "[7,8)3 [8,9)1 [9,10)3 [10,11)1 [11,13)2");
  }
  {
    // A point of zero length at the start of the argument is passed over, and
    // the point behind it still splits the argument.
    TBasicPointMgr set;
    set.Add(Hours(10, 10, 1));
    set.Add(Hours(12, 14, 1));
    Counted* p = Hours(10, 16, 2);
    EXPECT_TRUE(set.Merge(p));
    EXPECT_EQ(InHours(set.Points), "[10,10)1 [10,12)2 [12,14)1 [14,16)2");
    EXPECT_EQ(set.Points[3], p);
    // A zero-length argument strictly inside a point is refused; at an edge it goes in.
    Counted empty(kBase + 13 * kHour, 0, 2);
    EXPECT_FALSE(set.Merge(&empty));
    EXPECT_TRUE(set.Merge(Hours(16, 16, 2)));
    EXPECT_EQ(set.Points.size(), 5u);
  }
  EXPECT_EQ(Counted::live, 0);
}

TEST(TBasicPointMgrMerge, CrossesAHundredThousandPointsWithoutRecursing) {
  // Points of one second every three seconds; an argument across all of them
  // leaves a piece in each gap. Each crossed point would be a frame of a
  // recursion, far beyond any stack.
  constexpr int64_t kCount = 100000;
  TBasicPointMgr set;
  set.Points.reserve(kCount);
  for (int64_t k = 0; k < kCount; ++k) set.Add(new Counted(3 * k, 1, 1));
  Counted* p = new Counted(-1, 3 * kCount + 1, 2);
  ASSERT_TRUE(set.Merge(p));
  ASSERT_EQ(set.Points.size(), static_cast<size_t>(2 * kCount + 1));
  EXPECT_EQ(set.Points.back(), p);
  EXPECT_EQ(p->StartValue(), 3 * kCount - 2);
  EXPECT_EQ(p->EndValue(), 3 * kCount);
  bool pieces = set.Points[0]->StartValue() == -1 && set.Points[0]->EndValue() == 0;
  for (int64_t k = 0; k < kCount && pieces; ++k) {
    const TBasicPoint* old = set.Points[static_cast<size_t>(2 * k + 1)];
    const TBasicPoint* gap = set.Points[static_cast<size_t>(2 * k + 2)];
    pieces = old->StartValue() == 3 * k && old->Type == 1 && gap->StartValue() == 3 * k + 1 &&
             gap->EndValue() == 3 * k + 3 && gap->Type == 2;
  }
  EXPECT_TRUE(pieces);

  // The same across the other direction of the outcome: the end is covered,
  // so the argument is destroyed after its pieces went in.
  TBasicPointMgr again;
  for (int64_t k = 0; k < kCount; ++k) again.Add(new Counted(3 * k, 2, 1));
  const int before = Counted::live;
  ASSERT_TRUE(again.Merge(new Counted(0, 3 * kCount - 2, 2)));
  EXPECT_EQ(again.Points.size(), static_cast<size_t>(2 * kCount - 1));
  EXPECT_EQ(Counted::live, before + static_cast<int>(kCount) - 1);
  EXPECT_TRUE(InOrder(again.Points));
}

// Merge as a recursion, step by step as the operation is defined (the zero-length
// point at the start of the argument passed over): the oracle for the loop.
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

// Small timelines of seconds in [0, kRange) and the three ways a set gets filled.
constexpr int kRange = 240;
constexpr int kTypes = 4;
enum class Fill { kUnique, kSorted, kRaw };

struct Shape {
  int64_t start, duration;
  int type;
};

Shape RandomShape(std::mt19937& rng, int64_t min_duration = 0) {
  const int64_t start = std::uniform_int_distribution<int64_t>(0, 199)(rng);
  int64_t duration = std::uniform_int_distribution<int64_t>(min_duration, 40)(rng);
  if (min_duration == 0 && rng() % 8 == 0) duration = 0;
  return {start, duration, 1 + static_cast<int>(rng() % 3)};
}

void FillSet(TBasicPointMgr& set, const std::vector<Shape>& shapes, Fill fill) {
  for (size_t i = 0; i < shapes.size(); ++i) {
    auto* p = new Counted(shapes[i].start, shapes[i].duration, shapes[i].type, static_cast<int>(i));
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

std::vector<Shape> RandomShapes(std::mt19937& rng, int64_t min_duration = 0) {
  std::vector<Shape> shapes(rng() % 12);
  for (Shape& shape : shapes) shape = RandomShape(rng, min_duration);
  return shapes;
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
    const Fill fill = static_cast<Fill>(round % 3);
    const std::vector<Shape> shapes = RandomShapes(rng);
    const Shape arg = RandomShape(rng);
    TBasicPointMgr set, oracle;
    FillSet(set, shapes, fill);
    FillSet(oracle, shapes, fill);
    const TBasicPointList old = set.Points;
    const std::string oldValues = Full(old);
    const std::vector<int> before = Timeline(old);
    const int live = Counted::live;

    auto* p = new Counted(arg.start, arg.duration, arg.type, 99);
    auto* q = new Counted(arg.start, arg.duration, arg.type, 99);
    const bool stored = set.Merge(p);
    const bool expected = RecursiveMerge(oracle, q);
    SCOPED_TRACE(round);
    ASSERT_EQ(stored, expected);
    ASSERT_EQ(Full(set.Points), Full(oracle.Points));
    const auto at = std::find(set.Points.begin(), set.Points.end(), p) - set.Points.begin();
    ASSERT_EQ(at, std::find(oracle.Points.begin(), oracle.Points.end(), q) - oracle.Points.begin());

    // Old points are the same objects, unchanged and in their order; every
    // other point is a piece of the argument.
    TBasicPointList kept;
    for (TBasicPoint* x : set.Points) {
      if (std::find(old.begin(), old.end(), x) != old.end()) {
        kept.push_back(x);
      } else {
        ASSERT_EQ(TagOf(x), 99);
        ASSERT_GE(x->StartValue(), arg.start);
        ASSERT_LE(x->EndValue(), arg.start + arg.duration);
      }
    }
    ASSERT_EQ(kept, old);
    ASSERT_EQ(Full(kept), oldValues);

    // Ownership: true leaves nothing with the caller, false leaves the
    // argument there, trimmed from the left only.
    const int added = static_cast<int>(set.Points.size() - old.size());
    ASSERT_EQ(Counted::live - live, 2 * added + (stored ? 0 : 2));
    if (!stored) {
      ASSERT_EQ(added, 0);
      ASSERT_EQ(Full(p), Full(q));
      ASSERT_GE(p->StartValue(), arg.start);
      ASSERT_EQ(p->EndValue(), arg.start + arg.duration);
      delete p;
      delete q;
    }

    if (fill != Fill::kUnique) continue;
    // On an ordered set without overlaps, the result covers the union, old
    // time keeps its type, and the order holds.
    ASSERT_TRUE(InOrder(set.Points));
    ASSERT_FALSE(Overlaps(set.Points));
    std::vector<int> expectedLine = before;
    bool gap = false;
    for (int64_t s = arg.start; s < arg.start + arg.duration; ++s) {
      if (expectedLine[s] == -1) expectedLine[s] = arg.type, gap = true;
    }
    ASSERT_EQ(Timeline(set.Points), expectedLine);
    if (arg.duration > 0) {
      ASSERT_EQ(stored, gap);
    } else {
      const bool inside = std::any_of(old.begin(), old.end(), [&](const TBasicPoint* x) {
        return x->StartValue() < arg.start && arg.start < x->EndValue();
      });
      ASSERT_EQ(stored, !inside);
    }
  }
  EXPECT_EQ(Counted::live, 0);
}

TEST(TBasicPointMgrUnmerge, TakesTimeOutOfThePointsBesideItsPosition) {
  TBasicPointMgr set;
  Counted p(0, 0, 2);
  EXPECT_FALSE(set.Unmerge(&p));  // empty

  auto load = [&set](std::initializer_list<Counted*> points) {
    set.ResetPoints();
    for (Counted* x : points) set.Add(x);
  };
  auto unmerge = [&set](int64_t from, int64_t to, int type = 2) {
    Counted hole(kBase + from * kHour, (to - from) * kHour, type, 42);
    hole.Group = 6;
    const bool changed = set.Unmerge(&hole);
    return std::string(changed ? "T " : "F ") + InHours(set.Points);
  };

  // A hole in the last point: the tail behind it is made from the argument.
  load({Hours(8, 12, 1)});
  EXPECT_EQ(unmerge(9, 10), "T [8,9)1 [10,12)2");
  EXPECT_EQ(TagOf(set.Points[1]), 42);
  EXPECT_EQ(set.Points[1]->Group, 6);
  // The same hole with points behind: the tail is kept and stays in order.
  load({Hours(8, 12, 1), Hours(14, 16, 1)});
  EXPECT_EQ(unmerge(9, 10), "T [8,9)1 [10,12)2 [14,16)1");
  load({Hours(8, 12, 1), Hours(12, 16, 1)});
  EXPECT_EQ(unmerge(9, 13), "T [8,9)1 [13,16)1");

  load({Hours(8, 10, 1), Hours(12, 14, 1)});
  EXPECT_EQ(unmerge(10, 12), "F [8,10)1 [12,14)1");  // touches both, overlaps nothing
  EXPECT_EQ(unmerge(8, 10, 3), "T [12,14)1");        // an exact copy removes the point
  EXPECT_EQ(unmerge(11, 13), "T [13,14)1");          // the first point, end inside
  EXPECT_EQ(unmerge(12, 15), "T ");                  // the first point, covered

  // Covering three points with more behind: only the first reached goes.
  load({Hours(1, 2, 1), Hours(3, 4, 1), Hours(5, 6, 1), Hours(8, 9, 1)});
  EXPECT_EQ(unmerge(0, 7), "T [3,4)1 [5,6)1 [8,9)1");
  // Past the last point: same start and longer, covered; then end inside.
  load({Hours(1, 2, 1), Hours(5, 7, 1)});
  EXPECT_EQ(unmerge(5, 9), "T [1,2)1");
  EXPECT_EQ(unmerge(1, 3), "T ");
  load({Hours(1, 4, 1)});
  EXPECT_EQ(unmerge(3, 9), "T [1,3)1");
  EXPECT_EQ(unmerge(4, 9), "F [1,3)1");

  // Between two points: both sides lose what lies in the argument.
  load({Hours(8, 10, 1), Hours(11, 14, 1)});
  EXPECT_EQ(unmerge(9, 12), "T [8,9)1 [12,14)1");
  // The point before lies inside the argument: it goes, the next one is not looked at.
  load({Hours(1, 3, 1), Hours(4, 6, 1), Hours(6, 10, 1)});
  EXPECT_EQ(unmerge(1, 5), "T [4,6)1 [6,10)1");

  // The list form runs each element in turn; the elements stay the caller's.
  load({Hours(1, 3, 1), Hours(4, 6, 1)});
  Counted first(kBase + kHour, 2 * kHour, 2), second(kBase + 5 * kHour, kHour, 2);
  TBasicPointList list{&first, &second};
  set.Unmerge(list);
  EXPECT_EQ(InHours(set.Points), "[4,5)1");
  set.ResetPoints();
  EXPECT_EQ(Counted::live, 3);
}

TEST(TBasicPointMgrUnmerge, RemovesOnlyTimeOfTheArgument) {
  std::mt19937 rng(7);
  for (int round = 0; round < 3000; ++round) {
    SCOPED_TRACE(round);
    const std::vector<Shape> shapes = RandomShapes(rng);
    const Shape arg = RandomShape(rng);
    TBasicPointMgr set;
    FillSet(set, shapes, Fill::kUnique);
    const TBasicPointList old = set.Points;
    const std::string oldValues = Full(old);
    std::vector<std::string> oldEach;
    for (const TBasicPoint* x : old) oldEach.push_back(Full(x));
    const std::vector<int> before = Timeline(old);
    Counted p(arg.start, arg.duration, arg.type, 99);

    const bool zeros = std::any_of(old.begin(), old.end(),
                                   [](const TBasicPoint* x) { return x->GetDurationValue() == 0; });
    const auto hit = std::count_if(old.begin(), old.end(), [&arg](const TBasicPoint* x) {
      return x->Solap(TFecha(arg.start), TFecha(arg.start + arg.duration));
    });

    const bool changed = set.Unmerge(&p);
    SCOPED_TRACE(oldValues + " - " + Full(&p) + " -> " + Full(set.Points));
    ASSERT_EQ(changed, old != set.Points || oldValues != Full(set.Points));
    ASSERT_TRUE(InOrder(set.Points));
    ASSERT_FALSE(Overlaps(set.Points));
    ASSERT_EQ(Counted::live, static_cast<int>(set.Points.size()) + 1);
    const std::vector<int> after = Timeline(set.Points);
    const int64_t end = arg.start + arg.duration;
    for (int64_t s = 0; s < kRange; ++s) {
      if (s >= arg.start && s < end) {
        ASSERT_TRUE(after[s] == -1 || after[s] == before[s]) << s;
      } else {
        // Outside the argument nothing is lost; a tail made from the argument
        // may carry its type.
        ASSERT_EQ(after[s] == -1, before[s] == -1) << s;
        ASSERT_TRUE(after[s] == before[s] || after[s] == arg.type) << s;
      }
    }
    // At most the two points beside the position change, plus one tail.
    int touched = 0, pieces = 0;
    for (size_t i = 0; i < old.size(); ++i) {
      const auto it = std::find(set.Points.begin(), set.Points.end(), old[i]);
      if (it == set.Points.end() || Full(*it) != oldEach[i]) ++touched;
    }
    for (TBasicPoint* x : set.Points) pieces += TagOf(x) == 99;
    ASSERT_LE(touched, 2);
    ASSERT_LE(pieces, 1);

    // Without zero-length points, an argument that overlaps one point takes
    // all its time out of it, and one that overlaps none changes nothing.
    if (!zeros && arg.duration > 0 && hit <= 1) {
      ASSERT_EQ(changed, hit == 1);
      for (int64_t s = arg.start; s < end; ++s) ASSERT_EQ(after[s], -1);
    }
  }
  EXPECT_EQ(Counted::live, 0);
}

TEST(TBasicPointMgrCrush, CutsAtBothEdgesOfTheArgument) {
  TBasicPointMgr set;
  const TBasicPoint none(TFecha(0), TDuration(60));
  EXPECT_FALSE(set.Crush(&none));

  auto crush = [&set](int64_t from, int64_t to) {
    const Counted p(kBase + from * kHour, (to - from) * kHour, 3);
    const bool cut = set.Crush(&p);
    return std::string(cut ? "T " : "F ") + InHours(set.Points);
  };
  auto* whole = Hours(8, 16, 1, 5);
  whole->Level = 2;
  whole->Group = 9;
  set.Add(whole);
  EXPECT_EQ(crush(10, 12), "T [8,10)1 [10,12)1 [12,16)1");
  for (const TBasicPoint* x : set.Points) {
    EXPECT_EQ(TagOf(x), 5);
    EXPECT_EQ(x->Level, 2);
    EXPECT_EQ(x->Group, 9);
  }
  set.ResetPoints();
  set.Add(Hours(8, 16, 1));
  EXPECT_EQ(crush(6, 9), "T [8,9)1 [9,16)1");
  set.ResetPoints();
  set.Add(Hours(8, 16, 1));
  EXPECT_EQ(crush(8, 16), "F [8,16)1");
  EXPECT_EQ(crush(8, 10), "T [8,10)1 [10,16)1");
  EXPECT_EQ(crush(12, 16), "T [8,10)1 [10,12)1 [12,16)1");

  // A point inside the argument stays the same object; both outer ones are cut.
  set.ResetPoints();
  set.Add(Hours(8, 10, 1));
  TBasicPoint* inner = Hours(11, 12, 2);
  set.Add(inner);
  set.Add(Hours(13, 16, 1));
  EXPECT_EQ(crush(9, 14), "T [8,9)1 [9,10)1 [11,12)2 [13,14)1 [14,16)1");
  EXPECT_EQ(set.Points[2], inner);

  // Two points that stick out to the left, possible only in a set out of
  // order: each keeps its head. The walk starts next to where the bisection
  // lands, here past the first point.
  set.ResetPoints();
  for (Counted* x :
       {Hours(0, 10, 1), Hours(2, 12, 2), Hours(6, 7, 3), Hours(3, 13, 1), Hours(30, 40, 1)})
    set.Add(x);
  EXPECT_EQ(crush(5, 20), "T [0,10)1 [2,5)2 [3,5)1 [5,12)2 [5,13)1 [6,7)3 [30,40)1");
  set.ResetPoints();
  EXPECT_EQ(Counted::live, 0);

  // Every cut piece has its stored end brought up to date.
  TBasicPointMgr boxes;
  boxes.Add(new StoredEnd(0, 100));
  boxes.Add(new StoredEnd(100, 100));
  const TBasicPoint cut(TFecha(50), TDuration(100));
  EXPECT_TRUE(boxes.Crush(&cut));
  ASSERT_EQ(boxes.Points.size(), 4u);
  for (const TBasicPoint* x : boxes.Points) EXPECT_EQ(x->GetEndDate().Value(), x->EndValue());
  const TBasicPoint inside(TFecha(60), TDuration(10));
  EXPECT_TRUE(boxes.Crush(&inside));
  for (const TBasicPoint* x : boxes.Points) EXPECT_EQ(x->GetEndDate().Value(), x->EndValue());
}

TEST(TBasicPointMgrCrush, KeepsEveryInstantAndCutsEveryStraddler) {
  std::mt19937 rng(99);
  for (int round = 0; round < 3000; ++round) {
    SCOPED_TRACE(round);
    const Fill fill = static_cast<Fill>(round % 3);
    TBasicPointMgr set;
    FillSet(set, RandomShapes(rng), fill);
    const Shape arg = RandomShape(rng);
    const Counted p(arg.start, arg.duration, arg.type, 99);
    const int64_t end = arg.start + arg.duration;
    const TBasicPointList old = set.Points;
    const std::string oldValues = Full(old);
    const std::vector<int> before = Coverage(old);
    // An edge of the argument strictly inside a point. An empty argument at
    // either end of a point cuts it too, into an empty point and the rest.
    const bool straddled = std::any_of(old.begin(), old.end(), [&](const TBasicPoint* x) {
      return (x->StartValue() < arg.start && arg.start < x->EndValue()) ||
             (x->StartValue() < end && end < x->EndValue()) ||
             (arg.duration == 0 && x->GetDurationValue() > 0 && x->ContainC(TFecha(end)));
    });

    const bool cut = set.Crush(&p);
    SCOPED_TRACE(oldValues + " - " + Full(&p) + " -> " + Full(set.Points));
    // No time is added or lost, whatever the set holds, and pieces are clones
    // of the point they were cut from.
    ASSERT_EQ(Coverage(set.Points), before);
    ASSERT_EQ(Counted::live, static_cast<int>(set.Points.size()) + 1);
    for (const TBasicPoint* x : set.Points) ASSERT_NE(TagOf(x), 99);
    if (!cut) {
      ASSERT_FALSE(fill == Fill::kUnique && straddled);
      ASSERT_EQ(set.Points, old);
      ASSERT_EQ(Full(set.Points), oldValues);
      continue;
    }
    ASSERT_TRUE(InOrder(set.Points));
    if (fill != Fill::kUnique) continue;
    ASSERT_TRUE(straddled);
    ASSERT_FALSE(Overlaps(set.Points));
    for (const TBasicPoint* x : set.Points) {
      const bool inside = x->StartValue() >= arg.start && x->EndValue() <= end;
      const bool outside = x->EndValue() <= arg.start || x->StartValue() >= end;
      ASSERT_TRUE(inside || outside) << Full(x);
    }
  }
  EXPECT_EQ(Counted::live, 0);
}

TEST(TBasicPointMgrCompact, JoinsNeighboursOfOneTypeAndDropsSlivers) {
  auto compact = [](std::initializer_list<Counted*> points) {
    TBasicPointMgr set;
    for (Counted* x : points) set.Add(x);
    set.Compact();
    std::string text;
    for (const TBasicPoint* x : set.Points) {
      text += "[" + std::to_string(x->StartValue()) + "," + std::to_string(x->EndValue()) + ")" +
              std::to_string(x->Type) + "#" + std::to_string(TagOf(x)) + " ";
    }
    return text;
  };
  auto at = [](int64_t start, int64_t duration, int type, int tag) {
    return new Counted(start, duration, type, tag);
  };
  constexpr int64_t h = kHour;
  EXPECT_EQ(compact({at(8 * h, 2 * h, 1, 0), at(10 * h, 2 * h, 1, 1), at(11 * h, 2 * h, 1, 2),
                     at(14 * h, h, 2, 3)}),
            "[28800,46800)1#0 [50400,54000)2#3 ");
  EXPECT_EQ(compact({}), "");
  EXPECT_EQ(compact({at(0, 5, 1, 0)}), "[0,5)1#0 ");  // a lone sliver stays
  // 9 seconds followed by anything goes; 10 stays; 9 in the last place stays.
  EXPECT_EQ(compact({at(0, 9, 1, 0), at(100, 20, 2, 1)}), "[100,120)2#1 ");
  EXPECT_EQ(compact({at(0, 10, 1, 0), at(100, 9, 2, 1)}), "[0,10)1#0 [100,109)2#1 ");
  EXPECT_EQ(compact({at(0, -5, 1, 0), at(100, 20, 1, 1)}), "[100,120)1#1 ");
  // Touching points of two types stay apart; one gap second keeps them apart too.
  EXPECT_EQ(compact({at(0, 20, 1, 0), at(20, 20, 2, 1)}), "[0,20)1#0 [20,40)2#1 ");
  EXPECT_EQ(compact({at(0, 20, 1, 0), at(21, 20, 1, 1)}), "[0,20)1#0 [21,41)1#1 ");
  // Identical neighbours become one; a point inside another goes; same start,
  // the shorter first, stays a pair.
  EXPECT_EQ(compact({at(0, 20, 1, 0), at(0, 20, 1, 1)}), "[0,20)1#0 ");
  EXPECT_EQ(compact({at(0, 30, 1, 0), at(5, 10, 1, 1), at(12, 30, 1, 2)}), "[0,42)1#0 ");
  EXPECT_EQ(compact({at(0, 20, 1, 0), at(0, 30, 1, 1)}), "[0,20)1#0 [0,30)1#1 ");
  // Out of order, only what happens to be neighbouring joins.
  EXPECT_EQ(compact({at(0, 20, 1, 0), at(40, 20, 1, 1), at(60, 20, 1, 2), at(20, 20, 1, 3)}),
            "[0,20)1#0 [40,80)1#1 [20,40)1#3 ");
  // The survivor keeps its own level, group and class; those of the joined are lost.
  TBasicPointMgr set;
  Counted* a = at(0, 20, 1, 0);
  a->Level = 4;
  a->Group = 8;
  set.Add(a);
  set.Add(at(20, 20, 1, 1));
  set.Compact();
  ASSERT_EQ(set.Points.size(), 1u);
  EXPECT_EQ(set.Points[0], a);
  EXPECT_EQ(a->Level, 4);
  EXPECT_EQ(a->Group, 8);
  EXPECT_EQ(a->GetDurationValue(), 40);
  set.ResetPoints();
  EXPECT_EQ(Counted::live, 0);
}

TEST(TBasicPointMgrCompact, KeepsTheTimeOfEachType) {
  std::mt19937 rng(3);
  for (int round = 0; round < 3000; ++round) {
    SCOPED_TRACE(round);
    const Fill fill = static_cast<Fill>(round % 3);
    const bool noSlivers = round % 2 == 0;
    TBasicPointMgr set;
    FillSet(set, RandomShapes(rng, noSlivers ? 10 : 0), fill);
    const TBasicPointList old = set.Points;
    const std::vector<int> before = Coverage(old);
    const std::vector<int> line = fill == Fill::kUnique ? Timeline(old) : std::vector<int>();
    // The time of the points that may be dropped: short ones, but the last.
    TBasicPointList slivers;
    for (size_t i = 0; i + 1 < old.size(); ++i)
      if (old[i]->GetDurationValue() < 10) slivers.push_back(old[i]);
    const std::vector<int> sliver = Coverage(slivers);
    std::vector<int64_t> starts, durations;
    for (const TBasicPoint* x : old) {
      starts.push_back(x->StartValue());
      durations.push_back(x->GetDurationValue());
    }

    set.Compact();
    // Nothing is created: each survivor is an old point with its own
    // level and group, and it only grows.
    ASSERT_EQ(Counted::live, static_cast<int>(set.Points.size()));
    for (const TBasicPoint* x : set.Points) {
      const size_t i = static_cast<size_t>(std::find(old.begin(), old.end(), x) - old.begin());
      ASSERT_LT(i, old.size());
      ASSERT_EQ(x->Level, static_cast<short>(TagOf(x) % 3));
      ASSERT_EQ(x->StartValue(), starts[i]);
      ASSERT_GE(x->GetDurationValue(), durations[i]);
    }
    // Per type, no second is gained, and the seconds lost lie in slivers.
    const std::vector<int> after = Coverage(set.Points);
    for (size_t k = 0; k < after.size(); ++k) {
      ASSERT_FALSE(after[k] > 0 && before[k] == 0) << k;
      ASSERT_FALSE(after[k] == 0 && before[k] > 0 && sliver[k] == 0) << k;
    }
    if (fill != Fill::kUnique || !noSlivers) continue;
    ASSERT_EQ(Timeline(set.Points), line);
    ASSERT_TRUE(InOrder(set.Points));
    for (size_t i = 1; i < set.Points.size(); ++i) {
      const TBasicPoint* a = set.Points[i - 1];
      const TBasicPoint* b = set.Points[i];
      ASSERT_FALSE(a->Type == b->Type && a->EndValue() >= b->StartValue()) << Full(set.Points);
    }
  }
  EXPECT_EQ(Counted::live, 0);
}

TEST(TBasicPointMgrDelGroup, DestroysOneGroupAndKeepsTheOrder) {
  TBasicPointMgr set;
  for (int i = 0; i < 6; ++i) {
    Counted* p = Hours(i, i + 1, 1, i);
    p->Group = static_cast<unsigned char>(i % 2 == 0 ? 255 : 0);
    set.Add(p);
  }
  set.iDelPointsGorup(-1);
  set.iDelPointsGorup(256);  // an 8-bit group never holds it, though 256 wraps to 0
  EXPECT_EQ(set.Points.size(), 6u);
  set.iDelPointsGorup(255);
  EXPECT_EQ(InHours(set.Points), "[1,2)1 [3,4)1 [5,6)1");
  EXPECT_EQ(Counted::live, 3);
  set.iDelPointsGorup(0);
  EXPECT_TRUE(set.Points.empty());
  EXPECT_EQ(Counted::live, 0);
}

}  // namespace
