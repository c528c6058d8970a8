// The shape changes of a point set: merging a new interval into what is
// already covered, taking one out, cutting the points at the edges of an
// interval, joining neighbours of one type, and dropping a whole group.
#include <algorithm>
#include <cstddef>
#include <memory>
#include <vector>

#include "cuadrante/points/basicpointmgr.h"

namespace cuadrante::detail {
namespace {

constexpr int64_t kShortestKept = 10;  // seconds; a point below this is a sliver

// The lower bound of `less` over positions [0, size) of a list read through
// `at`: the same bisection as std::lower_bound (the same elements probed in
// the same order), so that it finds the very position std::lower_bound would
// find on the list that `at` shows, sorted or not. A build in order of time
// answers "before" at every probe: while it does, the loop below exits on a
// branch that the processor predicts, so the loads of the probes overlap
// instead of waiting on one another. The first other answer goes on with the
// plain bisection.
template <typename At, typename Less>
size_t LowerBound(size_t size, const At& at, const TBasicPoint* probe, Less less) {
  size_t first = 0;
  size_t len = size;
  while (len > 0) {
    const size_t half = len / 2;
    const size_t middle = first + half;
    if (!less(at(middle), probe)) {
      len = half;
      break;
    }
    first = middle + 1;
    len -= half + 1;
  }
  while (len > 0) {
    const size_t half = len / 2;
    const size_t middle = first + half;
    // The points are scattered over the heap, so each probe waits on a load
    // that misses the cache. The two points that the next probe may read are
    // asked for now, while this one is compared.
    if (half > 0) __builtin_prefetch(at(first + half / 2));
    if (len - half > 1) __builtin_prefetch(at(middle + 1 + (len - half - 1) / 2));
    if (less(at(middle), probe)) {
      first = middle + 1;
      len -= half + 1;
    } else {
      len = half;
    }
  }
  return first;
}

// A point list seen through a hole of spare slots that one merge keeps open
// while it drops pieces into it. A merge that crosses many points inserts a
// piece in front of each; inserting each one into the vector would move the
// whole tail every time, while moving the hole costs only the distance between
// two insertions. The hole grows with the pieces inserted so far, so reopening
// it costs O(n) a logarithmic number of times. Positions given to and taken
// from this view are those of the list without the hole. The hole is closed,
// and the vector is a plain list again, when the view goes away, also when an
// exception passes.
class TGapView {
 public:
  explicit TGapView(TBasicPointList& points) : points_(points) {}
  TGapView(const TGapView&) = delete;
  TGapView& operator=(const TGapView&) = delete;
  ~TGapView() { Close(); }

  bool HasGap() const { return gap_size_ != 0; }
  TBasicPointList& List() { return points_; }
  size_t size() const { return points_.size() - gap_size_; }
  TBasicPoint* operator()(size_t i) const { return points_[i < gap_begin_ ? i : i + gap_size_]; }

  // Puts `p` at position `i`, in front of what stood there. If the vector
  // cannot grow, the exception passes and the list is as it was.
  void Insert(size_t i, TBasicPoint* p) {
    if (gap_size_ == 0) {
      // The first piece goes in plainly: most merges insert one piece at most.
      const size_t room = std::max<size_t>(1, inserted_);
      points_.insert(points_.begin() + static_cast<std::ptrdiff_t>(i), room, nullptr);
      gap_begin_ = i;
      gap_size_ = room;
    } else {
      MoveGap(i);
    }
    points_[gap_begin_] = p;
    ++gap_begin_;
    --gap_size_;
    ++inserted_;
  }

  void Close() noexcept {
    if (gap_size_ == 0) return;
    const auto begin = points_.begin() + static_cast<std::ptrdiff_t>(gap_begin_);
    points_.erase(begin, begin + static_cast<std::ptrdiff_t>(gap_size_));
    gap_size_ = 0;
  }

 private:
  void MoveGap(size_t i) {
    const auto base = points_.begin();
    const auto gap = static_cast<std::ptrdiff_t>(gap_size_);
    const auto from = static_cast<std::ptrdiff_t>(gap_begin_);
    const auto to = static_cast<std::ptrdiff_t>(i);
    if (to < from) {
      std::move_backward(base + to, base + from, base + from + gap);
    } else if (to > from) {
      std::move(base + from + gap, base + to + gap, base + from);
    }
    gap_begin_ = i;
  }

  TBasicPointList& points_;
  size_t gap_begin_ = 0;
  size_t gap_size_ = 0;
  size_t inserted_ = 0;
};

// AddUnique on the list that `view` shows: the first point that ends after
// the start of `p` decides. It is AddUnique step by step, the same search on
// the same list, but it works through the hole of the view, and its
// bisection is the one above: a build in order of time spends most of its
// time in this search.
bool AddUniqueThrough(TGapView& view, TBasicPoint* p) {
  if (!view.HasGap()) {
    TBasicPointList& points = view.List();
    const size_t i = LowerBound(
        points.size(), [&points](size_t k) { return points[k]; }, p, InInterval);
    if (i < points.size() && points[i]->StartValue() < p->EndValue()) return false;
    points.insert(points.begin() + static_cast<std::ptrdiff_t>(i), p);
    return true;
  }
  const size_t i = LowerBound(view.size(), view, p, InInterval);
  if (i < view.size() && view(i)->StartValue() < p->EndValue()) return false;
  view.Insert(i, p);
  return true;
}

// Moves the start of `p` to `start` and keeps its end.
void StartAt(TBasicPoint* p, int64_t start) {
  p->Duration = TDuration(p->EndValue() - start);
  p->Inicio = TFecha(start);
}

// A clone of `q` that ends at `end`, with its stored end brought up to date.
std::unique_ptr<TBasicPoint> HeadOf(TBasicPoint* q, int64_t end) {
  std::unique_ptr<TBasicPoint> head(q->Instance());
  head->Duration = TDuration(end - q->StartValue());
  head->RestartEnd();
  return head;
}

// Leaves in `q` what lies from `start` on. The length comes from the end the
// point shows, so that a point with a stored end keeps it.
void CutFrontOf(TBasicPoint* q, int64_t start) {
  q->Duration = q->GetEndDate() - TFecha(start);
  q->Inicio = TFecha(start);
  q->RestartEnd();
}

// Cuts `q` at the end of `p`: the part behind it becomes a clone of `q`,
// appended to the list.
void CutTailOf(TBasicPointList& points, TBasicPoint* q, const TBasicPoint* p) {
  const TFecha end = p->GetEndDate();
  std::unique_ptr<TBasicPoint> tail(q->Instance());
  tail->Duration = q->GetEndDate() - end;
  tail->Inicio = end;
  tail->RestartEnd();
  points.push_back(tail.get());
  tail.release();
  q->Duration = end - q->Inicio;
  q->RestartEnd();
}

}  // namespace
}  // namespace cuadrante::detail

using namespace cuadrante::detail;

bool TBasicPointMgr::Merge(TBasicPoint* p) {
  // Each round stores `p` if it now fits; otherwise it finds the first point
  // that stops it and either leaves a piece of `p` in front of that point or
  // moves the start of `p` behind it, and goes round again with what is left.
  // Every round moves the start of `p` forward, so the rounds end, and they
  // take no stack: an interval may cross any number of points.
  TGapView view(Points);
  bool headIn = false;
  for (;;) {
    if (AddUniqueThrough(view, p)) return true;

    // The first point that ends at or after the start of `p`, and the one
    // before it.
    size_t i = LowerBound(view.size(), view, p, EndsBefore);
    if (i > 0) --i;
    bool moved = false;
    for (; i < view.size() && !moved; ++i) {
      TBasicPoint* q = view(i);
      if (q->Contain(p)) break;  // the rest of `p` is covered
      if ((p->Contain(q) && p->StartValue() < q->StartValue()) || p->LeftSolap(q)) {
        // `p` starts before q and runs into it: what lies in front of q is
        // a piece of its own, and `p` goes on from the start of q.
        std::unique_ptr<TBasicPoint> head(p->Instance());
        head->Duration = TDuration(q->StartValue() - p->StartValue());
        view.Insert(i, head.get());
        head.release();
        headIn = true;
        StartAt(p, q->StartValue());
        moved = true;
      } else if (p->Contain(q) || q->LeftSolap(p)) {
        // q covers the start of `p`: `p` goes on from the end of q. A point
        // that would not move it forward (one of zero length standing at its
        // start, or one of negative length) is passed over and the next one
        // looked at, so that the rounds cannot stall.
        if (q->EndValue() <= p->StartValue()) continue;
        StartAt(p, q->EndValue());
        moved = true;
      }
    }
    if (moved) continue;

    // Covered, or nothing left to look at. Once a piece went in, the call has
    // stored something and `p` is no longer needed.
    if (headIn) {
      delete p;
      return true;
    }
    return false;
  }
}

bool TBasicPointMgr::Unmerge(TBasicPoint* p) {
  if (Points.empty()) return false;
  const int64_t start = p->StartValue();
  const int64_t end = p->EndValue();
  const auto it = std::lower_bound(Points.begin(), Points.end(), p, MinorPoint);

  if (it == Points.begin()) {
    TBasicPoint* first = Points.front();
    if (p->Contain(first)) {
      Points.erase(Points.begin());
      delete first;
      return true;
    }
    if (first->RightSolap(p)) {
      StartAt(first, end);
      return true;
    }
    return false;
  }

  if (it == Points.end()) {
    TBasicPoint* last = Points.back();
    if (p->Contain(last)) {
      Points.pop_back();
      delete last;
      return true;
    }
    if (last->Contain(p)) {
      // A hole in the last point: what lies behind `p` stays as a piece of
      // its own, made from `p`.
      if (last->EndValue() > end) {
        std::unique_ptr<TBasicPoint> tail(p->Instance());
        tail->Inicio = TFecha(end);
        tail->Duration = TDuration(last->EndValue() - end);
        Points.push_back(tail.get());
        tail.release();
      }
      last->Duration = TDuration(start - last->StartValue());
      return true;
    }
    if (last->LeftSolap(p)) {
      last->Duration = TDuration(start - last->StartValue());
      return true;
    }
    return false;
  }

  const size_t at = static_cast<size_t>(it - Points.begin());
  TBasicPoint* before = Points[at - 1];
  TBasicPoint* after = Points[at];
  if (p->Contain(before)) {
    Points.erase(Points.begin() + static_cast<std::ptrdiff_t>(at - 1));
    delete before;
    return true;
  }

  bool changed = false;
  std::unique_ptr<TBasicPoint> tail;
  if (before->LeftSolap(p)) {
    // A hole in the point before `p`, with points behind it: what lies
    // behind `p` is kept as a piece made from `p`, as it is at the last point
    // of the list, and goes where the order of the list puts it.
    if (before->EndValue() > end) {
      tail.reset(p->Instance());
      tail->Inicio = TFecha(end);
      tail->Duration = TDuration(before->EndValue() - end);
    }
    before->Duration = TDuration(start - before->StartValue());
    changed = true;
  }

  bool done = false;
  if (p->Contain(after)) {
    Points.erase(Points.begin() + static_cast<std::ptrdiff_t>(at));
    delete after;
    done = true;
  } else if (after->RightSolap(p)) {
    StartAt(after, end);
    done = true;
  }

  if (tail) {
    const auto place = std::upper_bound(Points.begin(), Points.end(), tail.get(), MinorPoint);
    Points.insert(place, tail.get());
    tail.release();
  }
  return done || changed;
}

void TBasicPointMgr::Unmerge(TBasicPointList& list) {
  for (TBasicPoint* p : list) Unmerge(p);
}

bool TBasicPointMgr::Crush(const TBasicPoint* p) {
  if (Points.empty()) return false;
  const int64_t start = p->StartValue();
  const int64_t end = p->EndValue();
  size_t i = static_cast<size_t>(std::lower_bound(Points.begin(), Points.end(), p, MinorPoint) -
                                 Points.begin());
  if (i > 0) --i;

  // The head cut from a point that sticks out to the left of `p` waits until
  // the walk is over, so that the walk does not meet it again. A set in order
  // meets one such point at most. On a set out of order the walk can meet
  // several: every head is kept and appended with the others, so that no time
  // is lost whatever the set holds.
  std::vector<std::unique_ptr<TBasicPoint>> heads;
  bool cut = false;
  for (; i < Points.size(); ++i) {
    TBasicPoint* q = Points[i];
    if (q->LeftSolap(p) && q->EndValue() < end) {
      heads.push_back(HeadOf(q, start));
      CutFrontOf(q, start);
      cut = true;
      continue;
    }
    if (q->Contain(p)) {
      if (start > q->StartValue()) {
        std::unique_ptr<TBasicPoint> head = HeadOf(q, start);
        Points.push_back(head.get());
        head.release();
        CutFrontOf(q, start);
        cut = true;
      }
      if (end < q->EndValue()) {
        CutTailOf(Points, q, p);
        cut = true;
      }
      break;
    }
    if (p->LeftSolap(q) && end < q->EndValue()) {
      CutTailOf(Points, q, p);
      cut = true;
      break;
    }
    if (end < q->StartValue()) break;
  }
  if (!cut) return false;

  Points.reserve(Points.size() + heads.size());
  for (auto& head : heads) Points.push_back(head.release());
  Sort();
  return true;
}

void TBasicPointMgr::Compact() { iCompactPeriods(); }

void TBasicPointMgr::iCompactPeriods() {
  // One pass: the neighbours under comparison are `a`, the point that may
  // still grow, and the next point of the list. Nothing left of `a` is ever
  // looked at again, so the survivors are written back in place and the list
  // is cut once at the end, instead of closing the list over each removal.
  const size_t size = Points.size();
  if (size < 2) return;
  size_t kept = 0;
  TBasicPoint* a = Points[0];
  for (size_t next = 1; next < size; ++next) {
    TBasicPoint* b = Points[next];
    if (a->GetDurationValue() < kShortestKept) {
      delete a;
      a = b;
    } else if (a->Type != b->Type) {
      Points[kept++] = a;
      a = b;
    } else if (*a == *b) {
      delete b;
    } else if (a->EndValue() == b->StartValue()) {
      a->Duration = a->Duration + b->Duration;
      delete b;
    } else if (a->LeftSolap(b)) {
      if (b->EndValue() > a->EndValue()) a->Duration = TDuration(b->EndValue() - a->StartValue());
      delete b;
    } else if (a->Contain(b)) {
      delete b;
    } else {
      Points[kept++] = a;
      a = b;
    }
  }
  Points[kept++] = a;
  Points.resize(kept);
}

void TBasicPointMgr::iDelPointsGorup(short group) {
  // `Group` is 8 bits wide: no point carries a group outside 0..255.
  if (group < 0 || group > 255) return;
  size_t kept = 0;
  for (TBasicPoint* p : Points) {
    if (p->Group == group) {
      delete p;
    } else {
      Points[kept++] = p;
    }
  }
  Points.resize(kept);
}
