#include "cuadrante/points/cyclepointmgr.h"

#include <algorithm>
#include <vector>

#include "cuadrante/runtime/datetime.h"
#include "cuadrante/services/globalmgr.h"
#include "cuadrante/time/basicbox.h"
#include "cuadrante/time/cyclepoint.h"
#include "cuadrante/time/rutinasfecha.h"

namespace cuadrante::detail {
namespace {

// 01/01/0001 00:00:00, the first second the calendar knows. Expansion bounds
// are cut to it and to kCalendarEnd: past them the calendar steps stop moving,
// and integer steps could run out of range.
constexpr int64_t kCalendarStart = -693593LL * kSecondsPerDay;

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
      return 7 * kSecondsPerDay;
    case tgFortnight:
      return 14 * kSecondsPerDay;
    default:
      return kSecondsPerDay;
  }
}

// Monday 1 .. Sunday 7 straight from the seconds: day 0, 30/12/1899, was a
// Saturday. The unrolling asks this once per step, so it stays integer.
unsigned WeekdayOf(int64_t seconds) {
  int64_t days = seconds / kSecondsPerDay;
  if (seconds % kSecondsPerDay < 0) --days;
  int64_t weekday = (days + 5) % 7;
  if (weekday < 0) weekday += 7;
  return static_cast<unsigned>(weekday) + 1;
}

// One occurrence to be made: its start and the index of its rule. Occurrences
// are gathered and ordered as these before any point is allocated (see
// iExpand).
struct Occurrence {
  int64_t start;
  uint32_t rule;
  bool single;  // a rule without periodicity: its own interval, no new start
};

struct RuleRef {
  TBasicPoint* cycle;
  int64_t duration;
};

// The order of a point set (start, then shorter duration), ties broken by
// rule: the order a stable sort of the rule-by-rule list gives. Within a rule
// starts strictly increase, so this is a total order and any sort agrees.
struct OccurrenceLess {
  const std::vector<RuleRef>* rules;
  bool operator()(const Occurrence& a, const Occurrence& b) const {
    if (a.start != b.start) return a.start < b.start;
    const int64_t da = (*rules)[a.rule].duration;
    const int64_t db = (*rules)[b.rule].duration;
    if (da != db) return da < db;
    return a.rule < b.rule;
  }
};

// Appends the occurrences of a periodic rule, in time order.
void Unroll(std::vector<Occurrence>& out, uint32_t index, const TBasicPoint* c,
            const TCyclePoint& rule, TFecha lo, TFecha hi) {
  const TFecha first = std::max(c->Inicio, lo);
  const TFecha end = rule.GetEndDate();
  const TFecha last = end.IsZero() ? hi : std::min(end, hi);
  if (c->Inicio > last) return;
  const int64_t step = FixedStep(rule.GetPeriodicity());
  const bool everyDay = rule.GetWithWeekend();
  TFecha cur = c->Inicio;
  if (step > 0) {
    // The walk from the first occurrence, in one jump: the smallest whole
    // number of steps that reaches `first`.
    int64_t gap = 0;
    if (__builtin_sub_overflow(first.Value(), cur.Value(), &gap)) return;
    const int64_t steps = (gap + step - 1) / step;
    int64_t at = 0;
    if (__builtin_mul_overflow(steps, step, &at) || __builtin_add_overflow(cur.Value(), at, &at))
      return;
    const int64_t stop = last.Value();
    if (at > stop) return;
    for (;;) {
      if (everyDay || WeekdayOf(at) <= 5) out.push_back({at, index, false});
      if (at > stop - step) break;  // the next step passes `last` (or would overflow)
      at += step;
    }
    return;
  }
  // A step that does not fit in the calendar answers its end, which is no
  // occurrence: there is no later one.
  while (cur < first) {
    if (!cur.IncDaysFits(rule.GetPeriodicity())) return;
    cur = cur.IncDays(rule.GetPeriodicity());
  }
  while (cur <= last) {
    if (everyDay || cur.DayOfWeek() <= 5) out.push_back({cur.Value(), index, false});
    if (!cur.IncDaysFits(rule.GetPeriodicity())) break;
    cur = cur.IncDays(rule.GetPeriodicity());
  }
}

// The working lists of an expansion, kept per thread between calls: an
// expansion is a hot path, and fresh lists of this size would come straight
// from the system as zeroed pages every time. Lists grown past kKeepAtMost
// entries are given back after use, so one huge expansion does not pin its
// memory for the life of the thread.
struct Scratch {
  std::vector<RuleRef> rules;
  std::vector<Occurrence> found;
  std::vector<Occurrence> sorted;
  std::vector<uint32_t> firstOf;
  std::vector<uint32_t> next;

  static constexpr size_t kKeepAtMost = size_t{1} << 20;
  void Trim() {
    if (found.capacity() > kKeepAtMost || sorted.capacity() > kKeepAtMost ||
        firstOf.capacity() > kKeepAtMost) {
      *this = Scratch();
    }
  }
};

// Puts `scratch.found` in the order of a point set. Starts fall in a known
// span, so a counting pass into about one bucket per occurrence leaves each
// bucket tiny and already in rule order, which is almost always its final
// order; a short insertion sort finishes the rest. Linear in practice where a
// comparison sort of pointers was n log n.
void Order(Scratch& scratch) {
  std::vector<Occurrence>& items = scratch.found;
  const OccurrenceLess less{&scratch.rules};
  const size_t n = items.size();
  if (n < 64 || n >= UINT32_MAX) {
    std::sort(items.begin(), items.end(), less);
    return;
  }
  int64_t lowest = items.front().start;
  int64_t highest = lowest;
  for (const Occurrence& o : items) {
    lowest = std::min(lowest, o.start);
    highest = std::max(highest, o.start);
  }
  const uint64_t span = static_cast<uint64_t>(highest) - static_cast<uint64_t>(lowest);
  unsigned shift = 0;
  while ((span >> shift) >= n) ++shift;
  const auto bucket = [&](const Occurrence& o) {
    return static_cast<size_t>((static_cast<uint64_t>(o.start) - static_cast<uint64_t>(lowest)) >>
                               shift);
  };
  std::vector<uint32_t>& firstOf = scratch.firstOf;
  firstOf.assign((span >> shift) + 2, 0);
  for (const Occurrence& o : items) ++firstOf[bucket(o) + 1];
  for (size_t b = 1; b < firstOf.size(); ++b) firstOf[b] += firstOf[b - 1];
  std::vector<uint32_t>& next = scratch.next;
  next.assign(firstOf.begin(), firstOf.end() - 1);
  std::vector<Occurrence>& sorted = scratch.sorted;
  sorted.resize(n);
  for (const Occurrence& o : items) sorted[next[bucket(o)]++] = o;
  for (size_t b = 0; b + 1 < firstOf.size(); ++b) {
    const auto from = sorted.begin() + firstOf[b];
    const auto to = sorted.begin() + firstOf[b + 1];
    if (to - from < 2 || std::is_sorted(from, to, less)) continue;
    if (to - from > 32) {
      std::sort(from, to, less);
      continue;
    }
    for (auto it = from + 1; it != to; ++it) {
      const Occurrence item = *it;
      auto hole = it;
      while (hole != from && less(item, *(hole - 1))) {
        *hole = *(hole - 1);
        --hole;
      }
      *hole = item;
    }
  }
  items.swap(sorted);
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
  TFecha lo = RangeStart.IsZero() ? from : std::max(RangeStart, from);
  TFecha hi = RangeEnd.IsZero() ? to : std::min(RangeEnd, to);
  // Bounds outside the calendar are cut to its ends.
  lo = TFecha(std::clamp(lo.Value(), kCalendarStart, kCalendarEnd)).Date();
  hi = TFecha(std::clamp(hi.Value(), kCalendarStart, kCalendarEnd)).EndOfDay();

  // The occurrences are found and put in order before a single point is made,
  // so the points are allocated in the order they are kept. The next
  // expansion then frees them in the order they were allocated, and the
  // allocator hands the memory back in sequence instead of scattered across
  // every rule's allocations.
  GroupCount = 0;
  thread_local Scratch scratch;
  std::vector<RuleRef>& rules = scratch.rules;
  std::vector<Occurrence>& found = scratch.found;
  rules.clear();
  found.clear();
  for (TBasicPoint* c : Cycles.Points) {
    ++GroupCount;
    c->Group = GroupCount;
    const auto index = static_cast<uint32_t>(rules.size());
    rules.push_back({c, c->GetDurationValue()});
    const TCyclePoint* rule = AsCycle(c);
    if (rule != nullptr && rule->GetPeriodicity() > 0) {
      Unroll(found, index, c, *rule, lo, hi);
    } else if (c->Solap(lo, hi)) {
      found.push_back({c->StartValue(), index, true});
    }
  }
  Order(scratch);

  iReset();
  Points.reserve(found.size());
  // Occurrences take the class of the prototype; only boxes carry the texts.
  const bool boxes = dynamic_cast<TBasicBox*>(proto) != nullptr;
  for (const Occurrence& o : found) {
    TBasicPoint* n = proto->Instance(rules[o.rule].cycle);
    if (!o.single) {
      n->Inicio = TFecha(o.start);
      n->RestartEnd();
    }
    if (boxes) {
      if (auto* box = dynamic_cast<TBasicBox*>(n)) {
        if (!o.single) box->RestartColor();
        box->SetCode(TCyclePointMgr::Code);
        box->SetDescription(TCyclePointMgr::Description);
      }
    }
    Points.push_back(n);
  }
  scratch.Trim();
  // Already in order unless a prototype's Instance moved what it copied.
  const auto minor = [](const TBasicPoint* a, const TBasicPoint* b) { return MinorPoint(a, b); };
  if (!std::is_sorted(Points.begin(), Points.end(), minor)) Sort();
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
