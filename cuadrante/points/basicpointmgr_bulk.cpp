// Merging a whole list of points at once. Merge, called on each point of a
// list in turn, moves the tail of the vector for every piece it stores;
// MergeAll reaches the very same set by working out first what each point of
// the list will win, and then building the vector once.
//
// What Merge does on a timeline (a set in order, without overlaps and without
// negative lengths) can be told without running it. It fills the gaps that
// its argument covers and nothing else, so that afterwards the whole argument
// is covered: an instant that no old point covers goes to the first point of
// the list that covers it. A point keeps the runs of instants it won, cut
// where a point of no length stands that went in before it. A point of no
// length goes in unless it falls strictly inside a point already there. The
// last run of a point is the point itself when it reaches the point's end; the
// others are clones made from it, trimmed to the start of their run, as Merge
// makes them. A point that won nothing is handed back, trimmed as Merge trims
// it: up to the start of the point that covers its end.
#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <utility>
#include <vector>

#include "cuadrante/points/basicpointmgr.h"

namespace cuadrante::detail {
namespace {

// The owner of a span that no point holds.
constexpr uint32_t kNobody = UINT32_MAX;

// A length that is not negative and an end that 64 bits hold. The plan below
// reasons about such points only; anything else is merged one by one.
bool Plain(const TBasicPoint* p) {
  int64_t end = 0;
  return p->GetDurationValue() >= 0 &&
         !__builtin_add_overflow(p->StartValue(), p->GetDurationValue(), &end);
}

// In order, plain, and no two neighbours overlapping. Then no two points
// overlap at all, and both the starts and the ends rise along the list.
bool IsTimeline(const TBasicPointList& points) {
  for (size_t i = 0; i < points.size(); ++i) {
    if (!Plain(points[i])) return false;
    if (i > 0 && (MinorPoint(points[i], points[i - 1]) || points[i - 1]->Solap(points[i])))
      return false;
  }
  return true;
}

// Moves the start of `p` forward to `start` and keeps its end, as Merge's
// rounds do. A point Merge never trims keeps its duration untouched, its
// duration type included, so an unmoved start changes nothing.
void TrimTo(TBasicPoint* p, int64_t start) {
  if (p->StartValue() == start) return;
  p->Duration = TDuration(p->EndValue() - start);
  p->Inicio = TFecha(start);
}

// Merge of each point in turn: the road for sets the plan does not cover.
void MergeOneByOne(TBasicPointMgr& set, TBasicPointList& list) {
  size_t kept = 0;
  size_t next = 0;
  try {
    for (; next < list.size(); ++next) {
      if (!set.Merge(list[next])) list[kept++] = list[next];
    }
  } catch (...) {
    // The point in flight was not taken, nor were those behind it.
    for (; next < list.size(); ++next) list[kept++] = list[next];
    list.resize(kept);
    throw;
  }
  list.resize(kept);
}

// Sorts `keys` by their bits from `low` up to `high`, keeping the order of
// keys equal there: a radix sort, a digit of at most eleven bits a pass. On
// shuffled times a comparison sort mispredicts every other comparison.
void SortByHighBits(std::vector<uint64_t>& keys, int low, int high) {
  constexpr int kMaxDigit = 11;
  if (keys.size() < 512) {
    std::stable_sort(keys.begin(), keys.end(),
                     [low](uint64_t a, uint64_t b) { return (a >> low) < (b >> low); });
    return;
  }
  const int passes = (high - low + kMaxDigit - 1) / kMaxDigit;
  if (passes == 0) return;
  const int digit = (high - low + passes - 1) / passes;
  const uint64_t mask = (uint64_t{1} << digit) - 1;
  std::vector<uint64_t> spare(keys.size());
  std::vector<uint32_t> place(size_t{1} << digit);
  for (int shift = low; shift < high; shift += digit) {
    std::fill(place.begin(), place.end(), 0);
    for (const uint64_t key : keys) ++place[(key >> shift) & mask];
    uint32_t sum = 0;
    for (uint32_t& p : place) sum += std::exchange(p, sum);
    for (const uint64_t key : keys) spare[place[(key >> shift) & mask]++] = key;
    keys.swap(spare);
  }
}

enum class TFate : uint8_t { kHandedBack, kStored, kDestroyed };

// The merge of one list into a timeline, in three steps: the plan, which
// lays out the new list of points and changes nothing; the clones, undone if
// one of them fails; and the commit, which cannot fail. Until the commit,
// set and list are as they were.
class TBulkMerge {
 public:
  TBulkMerge(TBasicPointList& points, TBasicPointList& list)
      : points_(points), list_(list), m_(static_cast<uint32_t>(list.size())) {}

  void Plan() {
    ReadList();
    FindSpan();
    Sweep();
  }
  void MakeClones();
  void Commit() noexcept;

 private:
  // The owner code of the old point at `i`; points of the list are their
  // position, and kNobody is no one.
  uint32_t OldCode(size_t i) const { return m_ + static_cast<uint32_t>(i - lo_); }

  void ReadList();
  void FindSpan();
  void Sweep();
  // Stores a run of the point at `who`: the point itself, or a clone.
  void StoreRun(int64_t start, int64_t end, uint32_t who, bool itself, int64_t ownStart);
  // Where the point at `j`, handed back, starts: Merge trims it past the
  // points in front of the one that covers its end.
  int64_t HandBackStart(uint32_t j) const;

  TBasicPointList& points_;
  TBasicPointList& list_;
  const uint32_t m_;

  // The list by start, then position: order_[q] & whoMask_ is a position.
  // Where the starts allow, the key above the position is the start less
  // first_, so that the sort compares plain integers.
  std::vector<uint64_t> order_;
  uint64_t whoMask_ = 0;
  std::vector<int64_t> start_, end_;  // by position
  int64_t first_ = INT64_MAX;         // the earliest start of the list
  int64_t last_ = INT64_MIN;          // the latest end of the list
  size_t lo_ = 0, hi_ = 0;            // the old points that reach [first_, last_]

  // The new list of points, laid out by the plan; a clone's place stays
  // empty until it is made.
  TBasicPointList result_;
  std::vector<TFate> fate_;
  struct TClone {
    size_t place;  // in result_
    int64_t start, end;
    uint32_t who;
  };
  std::vector<TClone> clones_;
  struct TTrim {
    uint32_t who;
    int64_t start;
  };
  std::vector<TTrim> trims_;  // points stored from a later start than their own

  struct TSaved {
    TBasicPoint* point;
    TFecha inicio;
    TDuration duration;
  };
  std::vector<TSaved> saved_;
  std::vector<TBasicPoint*> made_;
};

void TBulkMerge::ReadList() {
  start_.resize(m_);
  end_.resize(m_);
  int64_t lastStart = INT64_MIN;
  for (uint32_t j = 0; j < m_; ++j) {
    start_[j] = list_[j]->StartValue();
    end_[j] = list_[j]->EndValue();
    first_ = std::min(first_, start_[j]);
    lastStart = std::max(lastStart, start_[j]);
    last_ = std::max(last_, end_[j]);
  }
  // By position at one instant, so that points of no length there come in
  // the order of the list.
  const int whoBits = std::bit_width(m_ - 1u);
  const uint64_t spread = static_cast<uint64_t>(lastStart) - static_cast<uint64_t>(first_);
  order_.resize(m_);
  if (std::bit_width(spread) + whoBits <= 64) {
    whoMask_ = (uint64_t{1} << whoBits) - 1;
    for (uint32_t j = 0; j < m_; ++j)
      order_[j] = (static_cast<uint64_t>(start_[j]) - static_cast<uint64_t>(first_)) << whoBits | j;
    SortByHighBits(order_, whoBits, whoBits + std::bit_width(spread));
  } else {
    whoMask_ = ~uint64_t{0};
    for (uint32_t j = 0; j < m_; ++j) order_[j] = j;
    std::sort(order_.begin(), order_.end(), [this](uint64_t a, uint64_t b) {
      return start_[a] != start_[b] ? start_[a] < start_[b] : a < b;
    });
  }
}

void TBulkMerge::FindSpan() {
  // Old points wholly before or behind the list stay where they are and
  // need not be looked at; those that touch its ends are kept, which costs
  // nothing and leaves no case to think about.
  const auto begin = points_.begin();
  const auto end = points_.end();
  const auto lo = std::partition_point(
      begin, end, [this](const TBasicPoint* o) { return o->EndValue() < first_; });
  const auto hi = std::partition_point(
      lo, end, [this](const TBasicPoint* o) { return o->StartValue() <= last_; });
  lo_ = static_cast<size_t>(lo - begin);
  hi_ = static_cast<size_t>(hi - begin);
}

void TBulkMerge::StoreRun(int64_t start, int64_t end, uint32_t who, bool itself, int64_t ownStart) {
  if (itself) {
    // The last run of its point: any clone of it came before.
    fate_[who] = TFate::kStored;
    if (start != ownStart) trims_.push_back({who, start});
    result_.push_back(list_[who]);
  } else {
    fate_[who] = TFate::kDestroyed;  // unless its last run proves to be itself
    clones_.push_back({result_.size(), start, end, who});
    result_.push_back(nullptr);
  }
}

void TBulkMerge::Sweep() {
  // Walks the instants where the owner of the time may change: the starts
  // of the list, the starts and ends of old points, and the end of the point
  // that owns the time. Between two of them one owner holds the time: the
  // old point there, else the first point of the list that covers it (the
  // top of `active`; points that ended are dropped when they come up), else
  // nobody. The new list is written on the way, in the order of the set.
  fate_.assign(m_, TFate::kHandedBack);
  result_.reserve(points_.size() + m_);
  result_.insert(result_.end(), points_.begin(),
                 points_.begin() + static_cast<std::ptrdiff_t>(lo_));
  struct TActive {
    int64_t start, end;
    uint32_t who;
  };
  std::vector<TActive> active;  // a heap, the first in the list on top
  const auto later = [](const TActive& a, const TActive& b) { return a.who > b.who; };
  std::vector<uint32_t> zeros;  // the points of no length of the list at one instant

  size_t q = 0;    // the next entry of the list
  size_t i = lo_;  // the old point the sweep is in, or the next one
  bool inOld = false;
  uint32_t left = kNobody;  // the owner of the time just before the instant
  TActive owner{};          // `left`, when it is of the list
  bool open = false;        // a run of `left` is going on since runStart
  int64_t runStart = 0;
  for (;;) {
    bool any = false;
    int64_t at = INT64_MAX;
    if (q < m_) at = start_[order_[q] & whoMask_], any = true;
    if (i < hi_) {
      at = std::min(at, inOld ? points_[i]->EndValue() : points_[i]->StartValue());
      any = true;
    }
    if (left < m_) at = std::min(at, owner.end), any = true;
    if (!any) break;

    // Old points here: one that ends, those of no length, one that starts.
    if (inOld && points_[i]->EndValue() == at) {
      inOld = false;
      ++i;
    }
    const size_t oldZerosFrom = i;
    while (!inOld && i < hi_ && points_[i]->StartValue() == at &&
           points_[i]->GetDurationValue() == 0)
      ++i;
    const bool oldZero = i > oldZerosFrom;
    const bool entering = !inOld && i < hi_ && points_[i]->StartValue() == at;
    inOld = inOld || entering;

    zeros.clear();
    for (; q < m_ && start_[order_[q] & whoMask_] == at; ++q) {
      const auto who = static_cast<uint32_t>(order_[q] & whoMask_);
      if (end_[who] == at) {
        zeros.push_back(who);
      } else {
        active.push_back({at, end_[who], who});
        std::push_heap(active.begin(), active.end(), later);
      }
    }
    uint32_t right = kNobody;
    if (inOld) {
      right = OldCode(i);
    } else {
      while (!active.empty() && active.front().end <= at) {
        std::pop_heap(active.begin(), active.end(), later);
        active.pop_back();
      }
      if (!active.empty()) right = active.front().who;
    }

    // Points of no length here go in unless the instant lies inside one
    // piece: inside an old point, or inside a run of a point of the list
    // that went in before any of them (and before no old point of no length
    // here). Where they stand, they cut the run that passes through them.
    const uint32_t firstZero = zeros.empty() ? kNobody : zeros.front();
    bool stand = true;
    if (left == right && left != kNobody) stand = left < m_ && (oldZero || firstZero < left);
    const bool cuts = left == right && left < m_ && stand;
    if (open && (right != left || cuts)) {
      StoreRun(runStart, at, left, at == owner.end, owner.start);
      open = false;
    }
    result_.insert(result_.end(), points_.begin() + static_cast<std::ptrdiff_t>(oldZerosFrom),
                   points_.begin() + static_cast<std::ptrdiff_t>(i));
    if (stand) {
      for (const uint32_t j : zeros) {
        result_.push_back(list_[j]);
        fate_[j] = TFate::kStored;
      }
    }
    if (entering) result_.push_back(points_[i]);
    if (!open && right < m_) {
      open = true;
      runStart = at;
      owner = active.front();
    }
    left = right;
  }
  result_.insert(result_.end(), points_.begin() + static_cast<std::ptrdiff_t>(hi_), points_.end());
}

void TBulkMerge::MakeClones() {
  // Grouped by point in list order and rising within a point: the order in
  // which Merge, one point after another, makes them.
  std::stable_sort(clones_.begin(), clones_.end(),
                   [](const TClone& a, const TClone& b) { return a.who < b.who; });
  saved_.reserve(clones_.size());
  made_.reserve(clones_.size());
  try {
    for (const TClone& c : clones_) {
      TBasicPoint* p = list_[c.who];
      if (saved_.empty() || saved_.back().point != p) saved_.push_back({p, p->Inicio, p->Duration});
      TrimTo(p, c.start);
      TBasicPoint* clone = p->Instance();
      made_.push_back(clone);
      clone->Duration = TDuration(c.end - c.start);
      result_[c.place] = clone;
    }
  } catch (...) {
    for (TBasicPoint* clone : made_) delete clone;
    for (const TSaved& s : saved_) {
      s.point->Inicio = s.inicio;
      s.point->Duration = s.duration;
    }
    throw;
  }
}

int64_t TBulkMerge::HandBackStart(uint32_t j) const {
  // Its last instant lies in one point of the new set, which starts last
  // among those that start at or before it: a point of no length at the same
  // start comes before it, and none can lie strictly inside it.
  const TBasicPoint* p = list_[j];
  const int64_t lastInstant = p->EndValue() - 1;
  const auto it = std::partition_point(
      points_.begin(), points_.end(),
      [lastInstant](const TBasicPoint* q) { return q->StartValue() <= lastInstant; });
  return std::max(p->StartValue(), (*std::prev(it))->StartValue());
}

void TBulkMerge::Commit() noexcept {
  for (const TTrim& t : trims_) TrimTo(list_[t.who], t.start);
  points_.swap(result_);
  size_t kept = 0;
  for (uint32_t j = 0; j < m_; ++j) {
    TBasicPoint* p = list_[j];
    if (fate_[j] == TFate::kDestroyed) {
      delete p;
    } else if (fate_[j] == TFate::kHandedBack) {
      if (p->GetDurationValue() > 0) TrimTo(p, HandBackStart(j));
      list_[kept++] = p;
    }
  }
  list_.resize(kept);
}

}  // namespace
}  // namespace cuadrante::detail

using namespace cuadrante::detail;

void TBasicPointMgr::MergeAll(TBasicPointList& list) {
  if (list.empty()) return;
  // The plan numbers the points of the list and of the set in 32 bits.
  const bool fits = list.size() + Points.size() < kNobody / 2 &&
                    std::all_of(list.begin(), list.end(), Plain) && IsTimeline(Points);
  if (!fits) {
    MergeOneByOne(*this, list);
    return;
  }
  TBulkMerge bulk(Points, list);
  bulk.Plan();
  bulk.MakeClones();
  bulk.Commit();
}
