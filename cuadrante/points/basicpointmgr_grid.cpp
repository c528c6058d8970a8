// The grids of a point set (its points laid out by week or month, by type and
// by day) and the sums of durations.
#include "cuadrante/points/basicpointmgr.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace cuadrante::detail {
namespace {

// Calls `visit` for each point of the date range: from the first point that
// starts at `from` or later (bisection by start) to the last whose start day is
// not after `to`. A point belongs to the range by its start alone, and the
// whole day of `to` is in. The set must be in order.
template <typename Visit>
void ForEachInRange(const TBasicPointList& points, TFecha from, TFecha to, Visit&& visit) {
  const TBasicPoint probe(from, TDuration(0));
  auto it = std::lower_bound(points.begin(), points.end(), &probe, EqualInit);
  for (; it != points.end(); ++it) {
    if ((*it)->StartDate() > to) break;
    visit(*it);
  }
}

// Where a point stands in a grid: the first day of its period and its index
// in the row. The calendar is asked once for each day met, not for each point:
// the walk goes by start, so the points of one day come together.
class PeriodOfDay {
 public:
  explicit PeriodOfDay(bool byWeek) : byWeek_(byWeek) {}

  void Locate(const TFecha& start) {
    // The day number rounds down, so that the seconds just before 30 December
    // 1899 are a day of their own and not part of the day after.
    const int64_t value = start.Value();
    const int64_t day = value / kSecondsPerDay - (value % kSecondsPerDay < 0 ? 1 : 0);
    if (known_ && day == day_) return;
    const TFecha first = byWeek_ ? start.StartOfWeek() : start.StartOfMonth();
    period_ = TFecha(first.Date());
    index_ = static_cast<size_t>(byWeek_ ? start.DayOfWeek() - 1 : start.Day() - 1);
    day_ = day;
    known_ = true;
  }
  TFecha Period() const { return period_; }
  size_t Index() const { return index_; }

 private:
  bool byWeek_;
  bool known_ = false;
  int64_t day_ = 0;
  TFecha period_;
  size_t index_ = 0;
};

template <typename Select>
SetPointsGrid BuildGrid(TBasicPointMgr& set, TTimesGroup group, TFecha from, TFecha to,
                        Select&& select) {
  set.Sort();
  SetPointsGrid grid;
  // Week rows for the week; every other value, the day included, gives months.
  PeriodOfDay where(group == tgWeek);
  ForEachInRange(set.Points, from, to, [&](TBasicPoint* p) {
    if (!select(p)) return;
    where.Locate(p->Inicio);
    ItemPointGrid key(p->Type, where.Period());
    auto row = grid.lower_bound(key);
    if (row == grid.end() || key < *row) row = grid.insert(row, std::move(key));
    const size_t k = where.Index();
    // The row holds as many days as its latest point needs, no more.
    if (row->Days.size() <= k) row->Days.resize(k + 1);
    row->Days[k].push_back(p);
    row->Total = row->Total + p->Duration;
  });
  return grid;
}

template <typename Select>
TDuration SumInRange(const TBasicPointList& points, TFecha from, TFecha to, Select&& select) {
  TDuration total;
  ForEachInRange(points, from, to, [&](const TBasicPoint* p) {
    if (select(p)) total = total + p->Duration;
  });
  return total;
}

}  // namespace
}  // namespace cuadrante::detail

ItemPointGrid::ItemPointGrid(TTimePointType type, TFecha period) : Period(period), Type(type) {}

bool ItemPointGrid::operator<(const ItemPointGrid& other) const {
  if (Period != other.Period) return Period < other.Period;
  return Type > other.Type;  // in one period, the higher type first
}

SetPointsGrid TBasicPointMgr::GetPointsGrid(TTimesGroup group, TFecha from, TFecha to,
                                            TTimePointType t) {
  return cuadrante::detail::BuildGrid(
      *this, group, from, to, [t](const TBasicPoint* p) { return t == tptNone || p->Type == t; });
}

SetPointsGrid TBasicPointMgr::GetPointsGrid(TTimesGroup group, TFecha from, TFecha to,
                                            TMapingFlags flags) {
  // Unlike a type filter, a set of flags holding 0 selects the type 0 alone.
  const bool all = flags.Empty();
  return cuadrante::detail::BuildGrid(*this, group, from, to, [all, flags](const TBasicPoint* p) {
    return all || flags.Contains(p->Type);
  });
}

TDuration TBasicPointMgr::GetTotalDuration(TTimePointType t) const {
  TDuration total;
  for (const TBasicPoint* p : Points) {
    if (t == tptNone || p->Type == t) total = total + p->Duration;
  }
  return total;
}

TDuration TBasicPointMgr::GetTotalDuration(TFecha from, TFecha to, TTimePointType t) const {
  return cuadrante::detail::SumInRange(
      Points, from, to, [t](const TBasicPoint* p) { return t == tptNone || p->Type == t; });
}

TDuration TBasicPointMgr::GetDurationAssignable(TFecha from, TFecha to) const {
  // Every kind of work counts, the plain task included, not only what can be
  // assigned to a post.
  return cuadrante::detail::SumInRange(Points, from, to,
                                       [](const TBasicPoint* p) { return p->IsWork(); });
}

TDuration TBasicPointMgr::GetDurationTasks(TFecha from, TFecha to) const {
  return cuadrante::detail::SumInRange(Points, from, to,
                                       [](const TBasicPoint* p) { return p->IsTask(); });
}
