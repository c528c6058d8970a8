#include "cuadrante/roster/personroster.h"

#include <algorithm>

#include "cuadrante/points/cyclepointmgr.h"
#include "cuadrante/points/range.h"
#include "cuadrante/time/cyclepoint.h"

namespace cuadrante::roster {
namespace {

// The rules of one employee unrolled over the range. Each rule carries its
// place among the employee's rules, plus one, as its tag, which is how its
// occurrences find their rule, and so their shift code, again.
void AddRules(const TPlan& plan, const TEmployee& employee, TFecha firstDay, TFecha lastDay,
              TPersonRoster& roster) {
  roster.ruleOccurrences.assign(employee.rules.size(), 0);
  if (employee.rules.empty()) return;
  TCyclePointMgr rules;
  rules.RangeStart = rules.RangeEnd = TFecha();  // the range is ours, not the manager's
  for (size_t index = 0; index < employee.rules.size(); ++index) {
    const TRule& rule = employee.rules[index];
    TCyclePoint cycle;
    if (!rule.stored.empty()) {
      cycle.ReadFromStr(rule.stored);
    } else {
      const TShift& shift = *plan.FindShift(rule.shift);
      cycle = TCyclePoint(TFecha(rule.from.Date() + shift.startMinute * int64_t{60}), shift.type,
                          shift.seconds);
      cycle.Periodicity = rule.every;
      cycle.WithWeekend = rule.weekend;
      // The last occurrence may start on the `until` day.
      cycle.EndDate =
          rule.until.IsZero() ? TFecha() : TFecha(rule.until.Date() + kSecondsPerDay - 1);
    }
    cycle.CycleTag = static_cast<int32_t>(index + 1);
    rules.AddCycle(&cycle, nullptr, false);
  }
  ExpandRange(rules, firstDay, lastDay, false);
  for (const TBasicPoint* occurrence : rules.Points) {
    const auto* cycle = static_cast<const TCyclePoint*>(rules.GetCycleGroup(occurrence->Group));
    const int32_t tag = cycle != nullptr ? cycle->CycleTag : 0;
    std::string code;
    int index = -1;
    if (tag > 0 && static_cast<size_t>(tag) <= employee.rules.size()) {
      index = tag - 1;
      code = employee.rules[static_cast<size_t>(index)].shift;
    }
    roster.items.push_back({occurrence->GetInicio(), TDuration(occurrence->GetDurationValue()),
                            occurrence->Type, std::move(code), TItemSource::kRule, false, index, "",
                            false});
  }
}

void AddRotations(const TPlan& plan, const TEmployee& employee, TRange range,
                  std::vector<TRosterItem>& items) {
  int64_t longest = 0;
  for (const TShift& shift : plan.shifts)
    longest = std::max(longest, shift.startMinute * int64_t{60} + shift.seconds.Value());
  for (const TRotation& rotation : employee.rotations) {
    if (rotation.pattern.empty()) continue;
    const int64_t anchor = rotation.from.Date();
    // A shift of the day before may reach into the range.
    int64_t day = std::max(anchor, (range.start - longest) / kSecondsPerDay * kSecondsPerDay);
    const int64_t last = rotation.until.IsZero()
                             ? range.end
                             : std::min(range.end, rotation.until.Date() + kSecondsPerDay);
    const auto length = static_cast<int64_t>(rotation.pattern.size());
    for (; day < last; day += kSecondsPerDay) {
      const std::string& code =
          rotation.pattern[static_cast<size_t>(((day - anchor) / kSecondsPerDay) % length)];
      if (code == "-") continue;
      const TShift& shift = *plan.FindShift(code);
      const TRosterItem item{TFecha(day + shift.startMinute * int64_t{60}),
                             shift.seconds,
                             shift.type,
                             shift.code,
                             TItemSource::kRotation,
                             false,
                             -1,
                             "",
                             false};
      TBasicPoint probe(item.start, item.seconds);
      if (Belongs(probe, range)) items.push_back(item);
    }
  }
}

bool IsAbsence(const TRosterItem& item) {
  TBasicPoint probe;
  probe.Type = item.type;
  return KindOf(probe) == THoursKind::kAbsence && item.seconds > TDuration();
}

bool IsPlannedWork(const TRosterItem& item) {
  TBasicPoint probe;
  probe.Type = item.type;
  return item.source != TItemSource::kItem && KindOf(probe) == THoursKind::kWork;
}

// Marks the planned work whose start an absence covers: the absences are
// joined into sorted spans once, and each start is looked up by bisection.
void CancelUnderAbsence(std::vector<TRosterItem>& items) {
  std::vector<std::pair<int64_t, int64_t>> absent;
  for (const TRosterItem& item : items)
    if (IsAbsence(item)) absent.emplace_back(item.start.Value(), item.End());
  if (absent.empty()) return;
  std::sort(absent.begin(), absent.end());
  size_t joined = 0;
  for (size_t i = 1; i < absent.size(); ++i) {
    if (absent[i].first <= absent[joined].second) {
      absent[joined].second = std::max(absent[joined].second, absent[i].second);
    } else {
      absent[++joined] = absent[i];
    }
  }
  absent.resize(joined + 1);
  for (TRosterItem& item : items) {
    if (!IsPlannedWork(item)) continue;
    const int64_t start = item.start.Value();
    auto after = std::upper_bound(absent.begin(), absent.end(), start,
                                  [](int64_t at, const auto& span) { return at < span.first; });
    item.cancelled = after != absent.begin() && start < std::prev(after)->second;
  }
}

}  // namespace

THoursKind TRosterItem::Kind() const {
  TBasicPoint probe;
  probe.Type = type;
  return KindOf(probe);
}

TPersonRoster BuildRoster(const TPlan& plan, const TEmployee& employee, TFecha firstDay,
                          TFecha lastDay) {
  const TRange range = DaysRange(firstDay, lastDay);
  // An absence that ends before the range still cancels the night that
  // starts under it and reaches into the range: look as far back as the
  // longest item of the employee's reaches.
  int64_t reach = kSecondsPerDay;
  for (const TShift& shift : plan.shifts)
    reach = std::max(reach, shift.startMinute * int64_t{60} + shift.seconds.Value());
  for (const TItem& item : employee.items) reach = std::max(reach, item.seconds.Value());
  for (const TRule& rule : employee.rules) {
    if (rule.stored.empty()) continue;
    TCyclePoint stored;
    stored.ReadFromStr(rule.stored);
    reach = std::max(reach, stored.GetDurationValue());
  }
  const TFecha wideFirst((range.start - reach) / kSecondsPerDay * kSecondsPerDay);
  const TRange wide{wideFirst.Value(), range.end};

  TPersonRoster roster{&employee, {}, {}};
  AddRules(plan, employee, wideFirst, lastDay, roster);
  AddRotations(plan, employee, wide, roster.items);
  for (const TItem& item : employee.items) {
    TBasicPoint probe(item.start, item.seconds);
    if (Belongs(probe, wide))
      roster.items.push_back({item.start, item.seconds, item.type, item.code, TItemSource::kItem,
                              false, -1, item.post, item.byEngine});
  }
  CancelUnderAbsence(roster.items);
  // What only the wider look needed goes: the rules' counts are the range's own.
  std::vector<TRosterItem> kept;
  kept.reserve(roster.items.size());
  for (TRosterItem& item : roster.items) {
    TBasicPoint probe(item.start, item.seconds);
    if (!Belongs(probe, range)) continue;
    if (item.rule >= 0) ++roster.ruleOccurrences[static_cast<size_t>(item.rule)];
    kept.push_back(std::move(item));
  }
  roster.items = std::move(kept);
  std::stable_sort(roster.items.begin(), roster.items.end(),
                   [](const TRosterItem& a, const TRosterItem& b) {
                     return a.start != b.start ? a.start < b.start : a.seconds < b.seconds;
                   });
  return roster;
}

std::vector<TPersonRoster> BuildRosters(const TPlan& plan, TFecha firstDay, TFecha lastDay) {
  std::vector<TPersonRoster> rosters;
  rosters.reserve(plan.employees.size());
  for (const TEmployee& employee : plan.employees)
    rosters.push_back(BuildRoster(plan, employee, firstDay, lastDay));
  return rosters;
}

TDayHours HoursOf(const TPersonRoster& roster, TFecha firstDay, TFecha lastDay, const TZone* zone) {
  TDayHours hours(firstDay, lastDay, zone);
  for (const TRosterItem& item : roster.items) {
    if (!item.Counts()) continue;
    TBasicPoint point(item.start, item.seconds);
    point.Type = item.type;
    hours.Add(point);
  }
  return hours;
}

std::vector<int> DaysShown(const TRosterItem& item, TFecha firstDay, int days) {
  const int64_t from = firstDay.Date();
  const int64_t to = from + days * kSecondsPerDay;
  const bool shift = !item.code.empty();
  const int64_t start = shift ? item.start.Date() : std::max(item.start.Date(), from);
  const int64_t end = shift ? item.start.Value() + 1 : std::min(item.End().Value(), to);
  std::vector<int> shown;
  for (int64_t day = start; day < end; day += kSecondsPerDay) {
    if (day >= from && day < to) shown.push_back(static_cast<int>((day - from) / kSecondsPerDay));
  }
  return shown;
}

}  // namespace cuadrante::roster
