// The storage of a point set: lifetime, bulk changes, adding and removing,
// and every query. The shape changes, the grids and the XML document live in
// the sibling sources of the same class.
#include "cuadrante/points/basicpointmgr.h"

#include <algorithm>
#include <cstddef>
#include <memory>

#include "cuadrante/runtime/datetime.h"
#include "cuadrante/services/translate.h"

namespace cuadrante::detail {
namespace {

constexpr const char* kBetweenSolaps = "\r\n";
constexpr const char* kBetweenPoints = "\r\n\r\n";

bool Matches(const TBasicPoint* p, TTimePointType t) { return t == tptNone || p->Type == t; }

// Appends a found point. Most answers hold a handful of points: one
// allocation of room for several beats growing the list one doubling at a time.
void Take(TBasicPointList& list, TBasicPoint* p) {
  constexpr size_t kFirstRoom = 8;
  if (list.capacity() == 0) list.reserve(kFirstRoom);
  list.push_back(p);
}

// Every point of the list that `select` takes, in list order.
template <typename Select>
TBasicPointList LinearWalk(const TBasicPointList& points, Select select) {
  TBasicPointList result;
  for (TBasicPoint* p : points) {
    if (select(p)) Take(result, p);
  }
  return result;
}

// The lower bound of `less` against a probe that lives on the caller's stack:
// the first position whose point does not come before `probe`.
template <typename Less>
TBasicPointList::const_iterator FirstNotBefore(const TBasicPointList& points,
                                               const TBasicPoint& probe, Less less) {
  return std::lower_bound(points.begin(), points.end(), &probe, less);
}

// The walk of the contained queries: from the first point that ends at or
// after `from`, up to the first point of any kind that ends after `to`; in a
// sorted set nothing behind that one can lie inside the period.
template <typename Select>
TBasicPointList ContainedWalk(const TBasicPointList& points, const TFecha& from, const TFecha& to,
                              Select select) {
  TBasicPointList result;
  const TBasicPoint probe(from, TDuration(0));
  for (auto it = FirstNotBefore(points, probe, EndsBefore); it != points.end(); ++it) {
    const TBasicPoint* p = *it;
    if (p->EndValue() > to.Value()) break;
    if (p->StartValue() >= from.Value() && select(p)) Take(result, *it);
  }
  return result;
}

}  // namespace
}  // namespace cuadrante::detail

using namespace cuadrante::detail;

// ---------------------------------------------------------------------------
// Construction and lifetime

TBasicPointMgr::TBasicPointMgr() = default;

TBasicPointMgr::TBasicPointMgr(const TBasicPointMgr* source) {
  if (source == nullptr) return;
  Points.reserve(source->Points.size());
  // A clone that fails half way must not leak the clones made before it: the
  // destructor does not run for an object whose constructor throws.
  try {
    for (TBasicPoint* p : source->Points) {
      TBasicPoint* clone = p->Instance();
      Points.push_back(clone);
    }
  } catch (...) {
    for (TBasicPoint* p : Points) delete p;
    Points.clear();
    throw;
  }
}

void TBasicPointMgr::iReset() {
  for (TBasicPoint* p : Points) delete p;
  Points.clear();
}

TBasicPointMgr::~TBasicPointMgr() { iReset(); }

void TBasicPointMgr::ClearPoints() { Points.clear(); }

TVectorStrings* TBasicPointMgr::GetStrings() {
  SharedStrings.clear();
  for (size_t i = 0; i < 3; ++i) SharedStrings.push_back(HostTexts[i]);
  return &SharedStrings;
}

// ---------------------------------------------------------------------------
// Bulk changes

void TBasicPointMgr::ResetPoints() { iReset(); }

void TBasicPointMgr::ResetPoints(TFecha d) {
  // One pass that compacts the survivors in place, keeping their order.
  auto kept = Points.begin();
  for (auto it = Points.begin(); it != Points.end(); ++it) {
    if ((*it)->StartValue() < d.Value()) {
      *kept++ = *it;
    } else {
      delete *it;
    }
  }
  Points.erase(kept, Points.end());
}

// A lambda, not the function's address, so that the sort inlines the comparison.
void TBasicPointMgr::Sort() {
  std::stable_sort(Points.begin(), Points.end(),
                   [](const TBasicPoint* a, const TBasicPoint* b) { return MinorPoint(a, b); });
}

void TBasicPointMgr::Sort(bool (*less)(const TBasicPoint*, const TBasicPoint*)) {
  std::stable_sort(Points.begin(), Points.end(), less);
}

// ---------------------------------------------------------------------------
// Adding and removing

void TBasicPointMgr::Add(TBasicPoint* p) { Points.push_back(p); }

void TBasicPointMgr::Add(TBasicPointList& list) {
  Points.insert(Points.end(), list.begin(), list.end());
}

bool TBasicPointMgr::AddUnique(TBasicPoint* p) {
  // The first point that ends after the start of `p`: everything before it
  // ends at or before that start, so only this one can overlap `p`.
  auto it = std::lower_bound(Points.begin(), Points.end(), p, InInterval);
  if (it == Points.end()) {
    Points.push_back(p);
    return true;
  }
  if ((*it)->StartValue() < p->EndValue()) return false;
  Points.insert(it, p);
  return true;
}

unsigned TBasicPointMgr::AddUnique(TBasicPointList& list) {
  unsigned added = 0;
  size_t next = 0;
  // The list is given up whole: if the set cannot grow half way, the
  // elements not yet placed are destroyed too, as refused ones are.
  try {
    for (; next < list.size(); ++next) {
      if (AddUnique(list[next])) {
        ++added;
      } else {
        delete list[next];
      }
    }
  } catch (...) {
    for (; next < list.size(); ++next) delete list[next];
    throw;
  }
  return added;
}

void TBasicPointMgr::Del(unsigned index) {
  if (index >= Points.size()) return;
  Points.erase(Points.begin() + index);
}

void TBasicPointMgr::Del(TBasicPoint* p) {
  // A pointer the set does not hold leaves the set as it is: nothing to take
  // out, and nothing the caller could be handed back.
  auto it = std::find(Points.begin(), Points.end(), p);
  if (it != Points.end()) Points.erase(it);
}

// ---------------------------------------------------------------------------
// Queries that answer one thing

bool TBasicPointMgr::ArePoints(const TFecha& from, const TFecha& to, TTimePointType t) const {
  return std::any_of(Points.begin(), Points.end(),
                     [&](const TBasicPoint* p) { return p->Solap(from, to) && Matches(p, t); });
}

bool TBasicPointMgr::Equals(const TBasicPointMgr& other) const { return Points == other.Points; }

TFecha TBasicPointMgr::GetFirstDate(TFecha def) const {
  return Points.empty() ? def : Points.front()->Inicio;
}

TFecha TBasicPointMgr::GetLastDate(TFecha def) const {
  return Points.empty() ? def : Points.back()->GetEndDate();
}

TBasicPoint* TBasicPointMgr::GetPoint(const TBasicPoint* p) const {
  auto it =
      std::find_if(Points.begin(), Points.end(), [p](const TBasicPoint* q) { return *q == *p; });
  return it == Points.end() ? nullptr : *it;
}

TBasicPoint* TBasicPointMgr::GetFirstPoint(const TFecha& d) const {
  const TBasicPoint probe(d, TDuration(0));
  auto it = FirstNotBefore(Points, probe, InInterval);
  return it == Points.end() ? nullptr : *it;
}

TBasicPoint* TBasicPointMgr::GetFirstPoint(const TFecha& from, const TFecha& to) const {
  TBasicPoint* p = GetFirstPoint(from);
  return p != nullptr && p->StartValue() < to.Value() ? p : nullptr;
}

bool TBasicPointMgr::PointsSolap(AnsiString& msg) const {
  bool found = false;
  for (size_t i = 1; i < Points.size(); ++i) {
    const TBasicPoint* a = Points[i - 1];
    const TBasicPoint* b = Points[i];
    if (a->Type != b->Type || !a->Solap(b)) continue;
    found = true;
    if (!msg.empty()) msg += kBetweenSolaps;
    msg += Transport::Translate("El día");
    msg += ' ';
    msg += a->ToString(4);
    msg += ' ';
    msg += Transport::Translate("hay solape de horas");
  }
  return found;
}

AnsiString TBasicPointMgr::SmartString() const {
  AnsiString text;
  for (size_t i = 0; i < Points.size(); ++i) {
    if (i > 0) text += kBetweenPoints;
    text += Points[i]->SmartString();
  }
  return text;
}

// ---------------------------------------------------------------------------
// Queries that answer a list

TBasicPointList TBasicPointMgr::GetPoints() const { return Points; }

TBasicPointList TBasicPointMgr::GetPoints(TTimePointType t) const {
  return LinearWalk(Points, [t](const TBasicPoint* p) { return Matches(p, t); });
}

TBasicPointList TBasicPointMgr::GetPoints(const TFecha& from, const TFecha& to,
                                          TTimePointType t) const {
  // Walks the whole list: it needs no order, so it serves unsorted sets too.
  return LinearWalk(Points,
                    [&](const TBasicPoint* p) { return p->Solap(from, to) && Matches(p, t); });
}

TBasicPointList TBasicPointMgr::GetPointsC(const TFecha& from, const TFecha& to,
                                           TTimePointType t) const {
  return LinearWalk(Points, [&](const TBasicPoint* p) {
    return from.Value() <= p->StartValue() && p->EndValue() <= to.Value() && Matches(p, t);
  });
}

TBasicPointList TBasicPointMgr::GetPointsDay(const TFecha& day, TTimePointType t) const {
  TBasicPointList result;
  const TBasicPoint probe(TFecha(day.Date()), TDuration(kSecondsPerDay));
  // A point that ends exactly at 00:00 is found, visited and passed over.
  for (auto it = FirstNotBefore(Points, probe, EndsBefore); it != Points.end(); ++it) {
    const TBasicPoint* p = *it;
    if (p->Inicio.Date() > day.Date()) break;
    if (p->Solap(&probe) && Matches(p, t)) Take(result, *it);
  }
  return result;
}

TBasicPointList TBasicPointMgr::GetPointsInitDay(const TFecha& d, TTimePointType t) const {
  TBasicPointList result;
  const TBasicPoint probe(d, TDuration(0));
  for (auto it = FirstNotBefore(Points, probe, MinorPoint); it != Points.end(); ++it) {
    if (!(*it)->InitInDay(d)) break;
    if (Matches(*it, t)) Take(result, *it);
  }
  return result;
}

TBasicPointList TBasicPointMgr::GetPointsInWeek(const TFecha& d, TTimePointType t) const {
  TBasicPointList result;
  const TFecha week = d.StartOfWeek();
  const TFecha weekEnd = week.EndOfWeek();
  const TBasicPoint probe(week, TDuration(0));
  // A point overlaps the week only if it starts before the week's end, and in
  // a sorted set every point behind one that does not starts no earlier: the
  // walk ends there instead of at the end of the list, with the same answer.
  for (auto it = FirstNotBefore(Points, probe, EqualInit); it != Points.end(); ++it) {
    if ((*it)->StartValue() >= weekEnd.Value()) break;
    if ((*it)->Solap(week, weekEnd) && Matches(*it, t)) Take(result, *it);
  }
  return result;
}

TBasicPointList TBasicPointMgr::GetPointsInMonth(const TFecha& d) const {
  const uint16_t month = MonthOf(d.AsDate());
  return LinearWalk(Points,
                    [month](const TBasicPoint* p) { return MonthOf(p->AsDate()) == month; });
}

TBasicPointList TBasicPointMgr::GetFreeC(const TFecha& from, const TFecha& to) const {
  return ContainedWalk(Points, from, to, [](const TBasicPoint* p) { return p->IsFree(); });
}

TBasicPointList TBasicPointMgr::GetTasksC(const TFecha& from, const TFecha& to) const {
  return ContainedWalk(Points, from, to, [](const TBasicPoint* p) { return p->IsTask(); });
}

TBasicPointList TBasicPointMgr::GetWorksC(const TFecha& from, const TFecha& to) const {
  return ContainedWalk(Points, from, to, [](const TBasicPoint* p) { return p->IsWork(); });
}

TBasicPointList TBasicPointMgr::GetPointsCopy(const TFecha& from, const TFecha& to,
                                              TTimePointType t) const {
  TBasicPointList result;
  const TBasicPoint probe(from, TDuration(0));
  // The clones are the caller's only once the list is handed over; until
  // then a failing clone must not leak those made before it.
  try {
    for (auto it = FirstNotBefore(Points, probe, InInterval); it != Points.end(); ++it) {
      if ((*it)->StartValue() >= to.Value()) break;
      if (!Matches(*it, t)) continue;
      std::unique_ptr<TBasicPoint> clone((*it)->Instance());
      Take(result, clone.get());
      clone.release();
    }
  } catch (...) {
    for (TBasicPoint* p : result) delete p;
    throw;
  }
  return result;
}

TBasicPointList TBasicPointMgr::GetPointsGroup(short g) const {
  // `Group` is 8 bits wide: no point carries a group outside 0..255.
  if (g < 0 || g > 255) return {};
  return LinearWalk(Points, [g](const TBasicPoint* p) { return p->Group == g; });
}
