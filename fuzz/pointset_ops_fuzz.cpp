// Replays a sequence of shape changes on one point set, read from the input
// four bytes an operation (operation, start, length, type/group), over a
// timeline of a few hundred seconds. After each operation it checks what
// must hold whatever came before: Merge never changes an old point and adds
// only pieces of its argument; Crush neither adds nor loses a second of any
// type; Compact loses only seconds of slivers; removals keep the order; no
// point is leaked or destroyed twice. While the set has only been built and
// changed by operations that keep it in order without overlaps (AddUnique,
// Merge, Unmerge, Crush, Compact, removals), it also checks that order, and
// what Merge and Unmerge do to the timeline. Add breaks that promise until a
// Sort finds the set free of overlaps again.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "cuadrante/points/basicpointmgr.h"

namespace {

constexpr int64_t kRange = 256 + 64;
constexpr int kTypes = 4;
constexpr size_t kMaxPoints = 64;
constexpr int kCrushTag = -2;  // no piece may come from the argument of Crush

// Counts live points so that a leak or a double destruction shows at once;
// the tag follows a point into its clones.
class Counted : public TBasicPoint {
 public:
  Counted(int64_t start, int64_t duration, int type, int tag)
      : TBasicPoint(TFecha(start), TDuration(duration)), Tag(tag) {
    Type = static_cast<TTimePointType>(type);
    ++live;
  }
  Counted(const Counted& other) : TBasicPoint(other), Tag(other.Tag) { ++live; }
  ~Counted() override { --live; }
  TBasicPoint* Instance() override { return new Counted(*this); }

  int Tag;
  static inline long live = 0;
};

void Check(bool condition) {
  if (!condition) std::abort();
}

int TagOf(const TBasicPoint* p) { return static_cast<const Counted*>(p)->Tag; }

// Seconds covered by each type, counted with multiplicity.
std::vector<int> Coverage(const TBasicPointList& list) {
  std::vector<int> count(kRange * kTypes, 0);
  for (const TBasicPoint* p : list)
    for (int64_t s = p->StartValue(); s < p->EndValue(); ++s) ++count[s * kTypes + p->Type];
  return count;
}

// The type covering each second, or -1; meaningful without overlaps.
std::vector<int> Timeline(const TBasicPointList& list) {
  std::vector<int> type(kRange, -1);
  for (const TBasicPoint* p : list)
    for (int64_t s = p->StartValue(); s < p->EndValue(); ++s) type[s] = p->Type;
  return type;
}

bool Ordered(const TBasicPointList& list) {
  if (!std::is_sorted(list.begin(), list.end(), MinorPoint)) return false;
  for (size_t i = 0; i < list.size(); ++i)
    for (size_t j = i + 1; j < list.size(); ++j)
      if (list[i]->Solap(list[j])) return false;
  return true;
}

struct Values {
  int64_t start, end;
  int type, level, group, tag;
  bool operator==(const Values&) const = default;
};

Values Of(const TBasicPoint* p) {
  return {p->StartValue(), p->EndValue(), p->Type, p->Level, p->Group, TagOf(p)};
}

std::vector<Values> Snapshot(const TBasicPointList& list) {
  std::vector<Values> values;
  for (const TBasicPoint* p : list) values.push_back(Of(p));
  return values;
}

class TReplay {
 public:
  void Run(const uint8_t* data, size_t size) {
    for (size_t at = 0; at + 4 <= size; at += 4) {
      Step(data[at], data[at + 1], data[at + 2] % 64, data[at + 3]);
      Check(Counted::live == static_cast<long>(set_.Points.size()));
    }
  }

 private:
  Counted* Make(int64_t start, int64_t length, uint8_t extra) {
    auto* p = new Counted(start, length, 1 + extra % 3, next_tag_++);
    p->Group = static_cast<unsigned char>(extra % 5);
    p->Level = static_cast<short>(extra / 5 % 3);
    return p;
  }

  void Step(uint8_t op, int64_t start, int64_t length, uint8_t extra) {
    const bool full = set_.Points.size() >= kMaxPoints;
    switch (op % 11) {
      case 0:
      case 1: {
        if (full) return;
        Counted* p = Make(start, length, extra);
        if (!set_.AddUnique(p)) delete p;
        return;
      }
      case 2:
        if (full) return;
        set_.Add(Make(start, length, extra));
        ordered_ = false;
        return;
      case 3:
      case 4:
        if (!full) Merge(Make(start, length, extra));
        return;
      case 5:
        Unmerge(start, length, extra);
        return;
      case 6:
        Crush(start, length, extra);
        return;
      case 7:
        Compact();
        return;
      case 8: {
        // Groups beyond 8 bits select nothing.
        const short group = static_cast<short>(static_cast<int>(extra) - 2 + (op & 0x80 ? 256 : 0));
        TBasicPointList expected;
        for (TBasicPoint* p : set_.Points)
          if (p->Group != group) expected.push_back(p);
        set_.iDelPointsGorup(group);
        Check(set_.Points == expected);
        return;
      }
      case 9: {
        TBasicPointList expected;
        for (TBasicPoint* p : set_.Points)
          if (p->StartValue() < start) expected.push_back(p);
        set_.ResetPoints(TFecha(start));
        Check(set_.Points == expected);
        return;
      }
      default:
        set_.Sort();
        Check(std::is_sorted(set_.Points.begin(), set_.Points.end(), MinorPoint));
        ordered_ = Ordered(set_.Points);
        return;
    }
  }

  void Merge(Counted* p) {
    const TBasicPointList old = set_.Points;
    const std::vector<Values> oldValues = Snapshot(old);
    const Values arg = Of(p);
    const std::vector<int> before = Timeline(old);
    const bool stored = set_.Merge(p);

    // Old points stay, unchanged and in their order; the rest are pieces of `p`.
    TBasicPointList kept;
    for (TBasicPoint* x : set_.Points) {
      if (std::find(old.begin(), old.end(), x) != old.end()) {
        kept.push_back(x);
      } else {
        Check(TagOf(x) == arg.tag && x->Type == arg.type && x->StartValue() >= arg.start &&
              x->EndValue() <= arg.end);
      }
    }
    Check(kept == old && Snapshot(kept) == oldValues);
    if (!stored) {
      // Still the caller's, trimmed from the left at most.
      Check(set_.Points.size() == old.size());
      Check(Counted::live == static_cast<long>(old.size()) + 1);
      Check(p->StartValue() >= arg.start && p->EndValue() == arg.end);
      delete p;
    }
    if (!ordered_) return;
    Check(Ordered(set_.Points));
    std::vector<int> expected = before;
    bool gap = false;
    for (int64_t s = arg.start; s < arg.end; ++s) {
      if (expected[s] == -1) {
        expected[s] = arg.type;
        gap = true;
      }
    }
    Check(Timeline(set_.Points) == expected);
    if (arg.end > arg.start) Check(stored == gap);
  }

  void Unmerge(int64_t start, int64_t length, uint8_t extra) {
    Counted p(start, length, 1 + extra % 3, -1);
    const std::vector<int> before = Timeline(set_.Points);
    const std::vector<Values> oldValues = Snapshot(set_.Points);
    const bool changed = set_.Unmerge(&p);
    Check(changed || Snapshot(set_.Points) == oldValues);
    if (!ordered_) return;
    Check(Ordered(set_.Points));
    // Only time inside `p` is taken; outside it, a tail made from `p` may
    // carry its type.
    const std::vector<int> after = Timeline(set_.Points);
    for (int64_t s = 0; s < kRange; ++s) {
      if (s >= start && s < start + length) {
        Check(after[s] == -1 || after[s] == before[s]);
      } else {
        Check((after[s] == -1) == (before[s] == -1));
        Check(after[s] == before[s] || after[s] == p.Type);
      }
    }
    // The list form runs each element; the elements stay the caller's.
    if (extra & 0x80) {
      Counted q(start / 2, length, 1, -1);
      TBasicPointList list{&p, &q};
      set_.Unmerge(list);
      Check(Ordered(set_.Points));
    }
  }

  void Crush(int64_t start, int64_t length, uint8_t extra) {
    const Counted p(start, length, 1 + extra % 3, kCrushTag);
    const std::vector<int> before = Coverage(set_.Points);
    const std::vector<Values> oldValues = Snapshot(set_.Points);
    const bool cut = set_.Crush(&p);
    Check(Coverage(set_.Points) == before);
    for (const TBasicPoint* x : set_.Points) Check(TagOf(x) != kCrushTag);
    if (!cut) {
      Check(Snapshot(set_.Points) == oldValues);
      return;
    }
    Check(std::is_sorted(set_.Points.begin(), set_.Points.end(), MinorPoint));
    if (!ordered_) return;
    Check(Ordered(set_.Points));
    for (const TBasicPoint* x : set_.Points) {
      const bool inside = x->StartValue() >= start && x->EndValue() <= start + length;
      const bool outside = x->EndValue() <= start || x->StartValue() >= start + length;
      Check(inside || outside);
    }
  }

  void Compact() {
    const TBasicPointList old = set_.Points;
    const std::vector<int> before = Coverage(old);
    TBasicPointList slivers;
    for (size_t i = 0; i + 1 < old.size(); ++i)
      if (old[i]->GetDurationValue() < 10) slivers.push_back(old[i]);
    const std::vector<int> sliver = Coverage(slivers);
    set_.Compact();
    // Survivors are old points, in their old relative order.
    size_t from = 0;
    for (TBasicPoint* x : set_.Points) {
      while (from < old.size() && old[from] != x) ++from;
      Check(from < old.size());
    }
    const std::vector<int> after = Coverage(set_.Points);
    for (size_t k = 0; k < after.size(); ++k) {
      Check(!(after[k] > 0 && before[k] == 0));
      Check(!(after[k] == 0 && before[k] > 0 && sliver[k] == 0));
    }
    if (ordered_) Check(Ordered(set_.Points));
  }

  TBasicPointMgr set_;
  bool ordered_ = true;
  int next_tag_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  {
    TReplay replay;
    replay.Run(data, size);
  }
  Check(Counted::live == 0);
  return 0;
}
