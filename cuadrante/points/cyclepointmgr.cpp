#include "cuadrante/points/cyclepointmgr.h"

#include <algorithm>

#include "cuadrante/runtime/datetime.h"
#include "cuadrante/services/globalmgr.h"
#include "cuadrante/time/basicbox.h"
#include "cuadrante/time/cyclepoint.h"
#include "cuadrante/time/rutinasfecha.h"


namespace cuadrante::detail {
namespace {

constexpr int64_t kSecsPerDay = 86400;
// 31/12/9999 23:59:59, the last second the calendar knows. Expansion bounds
// are cut to it: past it the calendar steps stop moving, and integer steps
// could run out of range.
constexpr int64_t kCalendarEnd = 2958466LL * kSecsPerDay - 1;
// 01/01/0001 00:00:00, the first.
constexpr int64_t kCalendarStart = -693593LL * kSecsPerDay;

// Rules are TCyclePoint objects; anything else is expanded as a single
// interval, the only reading that needs none of the cycle fields.
const TCyclePoint* AsCycle(const TBasicPoint* p) { return dynamic_cast<const TCyclePoint*>(p); }

// Seconds of one step for the groups of fixed length, 0 for the calendar ones.
// The same choice as TFecha::IncDays, kept on the integer so that a long walk
// to the first date of the range can be jumped over in one multiplication.
int64_t FixedStep(TTimesGroup group) {
  switch (static_cast<int8_t>(group)) {
    case tgMonth:
    case tgYear:
    case tgQuarter:
      return 0;
    case tgWeek:
      return 7 * kSecsPerDay;
    case tgFortnight:
      return 14 * kSecsPerDay;
    default:
      return kSecsPerDay;
  }
}

void Stamp(TBasicPoint* n, bool restartColor) {
  if (auto* box = dynamic_cast<TBasicBox*>(n)) {
    if (restartColor) box->RestartColor();
    box->SetCode(TCyclePointMgr::Code);
    box->SetDescription(TCyclePointMgr::Description);
  }
}

void MakeOccurrence(TBasicPointList& out, TBasicPoint* proto, TBasicPoint* c, TFecha at) {
  TBasicPoint* n = proto->Instance(c);
  n->Inicio = at;
  n->RestartEnd();
  Stamp(n, true);
  out.push_back(n);
}

void Unroll(TBasicPointList& out, TBasicPoint* proto, TBasicPoint* c, const TCyclePoint& rule,
            TFecha lo, TFecha hi) {
  const TFecha first = std::max(c->Inicio, lo);
  const TFecha end = rule.GetEndDate();
  const TFecha last = end.IsZero() ? hi : std::min(end, hi);
  if (c->Inicio > last) return;
  const int64_t step = FixedStep(rule.GetPeriodicity());
  TFecha cur = c->Inicio;
  if (step > 0) {
    // The walk from the first occurrence, in one jump: the smallest whole
    // number of steps that reaches `first`.
    int64_t gap = 0;
    if (__builtin_sub_overflow(first.Value(), cur.Value(), &gap)) return;
    const int64_t steps = (gap + step - 1) / step;
    int64_t start = 0;
    if (__builtin_mul_overflow(steps, step, &start) ||
        __builtin_add_overflow(cur.Value(), start, &start))
      return;
    cur = TFecha(start);
  } else {
    while (cur < first) {
      const TFecha next = cur.IncDays(rule.GetPeriodicity());
      if (next <= cur) return;  // the calendar's end: no later occurrence
      cur = next;
    }
  }
  while (cur <= last) {
    if (rule.GetWithWeekend() || cur.DayOfWeek() <= 5) MakeOccurrence(out, proto, c, cur);
    if (step > 0) {
      int64_t next = 0;
      if (__builtin_add_overflow(cur.Value(), step, &next)) break;
      cur = TFecha(next);
    } else {
      const TFecha next = cur.IncDays(rule.GetPeriodicity());
      if (next <= cur) break;
      cur = next;
    }
  }
}

}  // namespace
}  // namespace cuadrante::detail

TCyclePointMgr::TCyclePointMgr()
    : RangeStart(TFecha(Now()).StartOfYear()), RangeEnd(TFecha(_GlobalMgr.MaxDate)) {}

TCyclePointMgr::~TCyclePointMgr() {
  iReset();
  Cycles.ResetPoints();
}

unsigned TCyclePointMgr::Expand(const TFecha& from, const TFecha& to, bool force) {
  TBasicPoint proto;
  return Expand(from, to, &proto, force);
}

unsigned TCyclePointMgr::ExpandBoxes(const TFecha& from, const TFecha& to, bool force) {
  TBasicBox proto;
  return Expand(from, to, &proto, force);
}

unsigned TCyclePointMgr::Expand(TFecha from, TFecha to, TBasicPoint* proto, bool force) {
  if (force || Points.empty()) return iExpand(from, to, proto);
  return static_cast<unsigned>(Points.size());
}

unsigned TCyclePointMgr::iExpand(const TFecha& from, const TFecha& to, TBasicPoint* proto) {
  using namespace cuadrante::detail;
  iReset();
  TFecha lo = RangeStart.IsZero() ? from : std::max(RangeStart, from);
  TFecha hi = RangeEnd.IsZero() ? to : std::min(RangeEnd, to);
  // Bounds outside the calendar are cut to its ends (see kCalendarEnd).
  lo = TFecha(std::clamp(lo.Value(), kCalendarStart, kCalendarEnd)).Date();
  hi = TFecha(std::clamp(hi.Value(), kCalendarStart, kCalendarEnd)).EndOfDay();
  GroupCount = 0;
  for (TBasicPoint* c : Cycles.Points) {
    ++GroupCount;
    c->Group = GroupCount;
    const TCyclePoint* rule = AsCycle(c);
    if (rule != nullptr && rule->GetPeriodicity() > 0) {
      Unroll(Points, proto, c, *rule, lo, hi);
    } else if (c->Solap(lo, hi)) {
      TBasicPoint* n = proto->Instance(c);
      Stamp(n, false);
      Points.push_back(n);
    }
  }
  Sort();
  return static_cast<unsigned>(Points.size());
}

TBasicPoint* TCyclePointMgr::AddCycle(TBasicPoint* c, TBasicPoint* proto, bool expand) {
  TBasicPoint* s = c->Instance();
  Cycles.Add(s);
  Cycles.Sort();
  if (expand) {
    iExpand(GetMinDate(), GetMaxDate(), proto);
  } else {
    ++GroupCount;
    s->Group = GroupCount;
  }
  return s;
}

void TCyclePointMgr::AddCycles(const AnsiString& xml, TBasicPoint* proto, bool expand) {
  TBasicPointMgr loaded;
  if (!loaded.LoadFromXML(xml, proto)) return;
  TBasicPointList cycles = loaded.Points;
  loaded.ClearPoints();
  AddCycles(std::move(cycles), expand);
}

void TCyclePointMgr::AddCycles(TBasicPointList cycles, bool expand) {
  Cycles.Add(cycles);
  Cycles.Sort();
  if (expand && !cycles.empty()) {
    iExpand(GetMinDate(), GetMaxDate(), cycles[0]);
    return;
  }
  for (TBasicPoint* c : cycles) {
    ++GroupCount;
    c->Group = GroupCount;
  }
}

bool TCyclePointMgr::DelCycle(TBasicPoint* c, bool expand) {
  TBasicPoint* f = GetCycleGroup(c->Group);
  if (f == nullptr) return false;
  Cycles.Del(f);
  if (expand) {
    const TFecha from = GetFirstDate(0);
    const TFecha to = GetLastDate(0);
    iExpand(from, to, f);
  }
  delete f;
  return true;
}

bool TCyclePointMgr::DelCyclePoint(TBasicPoint* p) {
  const TBasicPointList g = GetPointsGroup(p->Group);
  if (g.empty()) return false;
  TBasicPoint* c = GetCycleGroup(p->Group);
  auto* rule = dynamic_cast<TCyclePoint*>(c);
  // Without its rule (the rules were changed behind the expansion's back)
  // there is nothing to edit: refuse rather than drop the occurrence alone.
  if (rule == nullptr) return false;
  const auto at = std::find(g.begin(), g.end(), p);
  if (at == g.end()) return false;  // not an occurrence held here
  const size_t i = static_cast<size_t>(at - g.begin());
  if (g.size() == 1) {
    Cycles.Del(c);
    delete c;
  } else if (i == 0) {
    rule->Inicio = g[1]->Inicio;
  } else if (i + 1 == g.size()) {
    rule->SetEndDate(g[i - 1]->GetEndDate());
  } else {
    auto* n = static_cast<TCyclePoint*>(rule->Instance());
    ++GroupCount;
    n->Group = GroupCount;
    rule->SetEndDate(g[i - 1]->Inicio);
    n->Inicio = g[i + 1]->Inicio;
    Cycles.Add(n);
    for (size_t k = i + 1; k < g.size(); ++k) g[k]->Group = n->Group;
  }
  Del(p);
  return true;
}

TBasicPoint* TCyclePointMgr::GetCycleGroup(short group) const {
  const TBasicPointList found = Cycles.GetPointsGroup(group);
  return found.empty() ? nullptr : found.front();
}

TBasicPoint* TCyclePointMgr::FindCycle(TFecha d) const {
  for (TBasicPoint* c : Cycles.Points)
    if (c->ContainC(d)) return c;
  return nullptr;
}

TBasicPointList TCyclePointMgr::FindCycles(TFecha from, TFecha to) const {
  return Cycles.GetPoints(from, to, tptNone);
}

bool TCyclePointMgr::Solap(const TFecha& from, const TFecha& to) const {
  return GetMinDate() < to && GetMaxDate() > from;
}

TFecha TCyclePointMgr::GetMinDate() const { return std::max(Cycles.GetFirstDate(0), RangeStart); }

TFecha TCyclePointMgr::GetMaxDate() const { return std::max(Cycles.GetLastDate(0), RangeEnd); }

TFecha TCyclePointMgr::GetStartViewDate() const {
  const TFecha y2000(TDateTime(EncodeDate(2000, 1, 1)));
  return std::max(RutinasFecha::StartViewDate, std::min(y2000, RangeStart));
}

TFecha TCyclePointMgr::GetEndViewDate() const {
  return std::min(RutinasFecha::EndViewDate, std::max(RangeEnd, TFecha(_GlobalMgr.MaxDate)));
}

void TCyclePointMgr::ClearCycles() {
  ClearPoints();
  Cycles.ClearPoints();
}

void TCyclePointMgr::ResetCycles() {
  iReset();
  Cycles.ResetPoints();
}

bool TCyclePointMgr::LoadCyclesFromXML(const AnsiString& xml, TBasicPoint* proto) {
  return Cycles.LoadFromXML(xml, proto);
}

bool TCyclePointMgr::SaveCyclesToXML(AnsiString& xml) const { return Cycles.SaveToXML(xml); }

AnsiString TCyclePointMgr::AsString() const { return Cycles.SmartString(); }
