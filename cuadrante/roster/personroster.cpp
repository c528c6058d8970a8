#include "cuadrante/roster/personroster.h"

#include <algorithm>

#include "cuadrante/points/cyclepointmgr.h"
#include "cuadrante/roster/range.h"
#include "cuadrante/time/cyclepoint.h"

namespace cuadrante::roster {
namespace {

constexpr int64_t kDay = 86400;

// The rules of one employee unrolled over the range: a named shift's rule
// carries the shift's place in the plan, plus one, as its tag, which is how
// its occurrences find their code again.
void AddRules(const TPlan& plan, const TEmployee& employee, TFecha firstDay, TFecha lastDay,
              std::vector<TRosterItem>& items) {
  if (employee.rules.empty()) return;
  TCyclePointMgr rules;
  rules.RangeStart = rules.RangeEnd = TFecha();  // the range is ours, not the manager's
  for (const TRule& rule : employee.rules) {
    TCyclePoint cycle;
    if (!rule.stored.empty()) {
      cycle.ReadFromStr(rule.stored);
      cycle.CycleTag = 0;
    } else {
      const TShift& shift = *plan.FindShift(rule.shift);
      cycle = TCyclePoint(TFecha(rule.from.Date() + shift.startMinute * int64_t{60}), shift.type,
                          TDuration(shift.seconds));
      cycle.Periodicity = rule.every;
      cycle.WithWeekend = rule.weekend;
      // The last occurrence may start on the `until` day.
      cycle.EndDate = rule.until.IsZero() ? TFecha() : TFecha(rule.until.Date() + kDay - 1);
      cycle.CycleTag =
          static_cast<int32_t>(shift.code.empty() ? 0 : (&shift - plan.shifts.data()) + 1);
    }
    rules.AddCycle(&cycle, nullptr, false);
  }
  ExpandRange(rules, firstDay, lastDay, false);
  for (const TBasicPoint* occurrence : rules.Points) {
    const auto* rule = static_cast<const TCyclePoint*>(rules.GetCycleGroup(occurrence->Group));
    const int32_t tag = rule != nullptr ? rule->CycleTag : 0;
    std::string code;
    if (tag > 0 && static_cast<size_t>(tag) <= plan.shifts.size())
      code = plan.shifts[static_cast<size_t>(tag - 1)].code;
    items.push_back({occurrence->GetInicio(), occurrence->GetDurationValue(), occurrence->Type,
                     std::move(code)});
  }
}

void AddRotations(const TPlan& plan, const TEmployee& employee, TRange range,
                  std::vector<TRosterItem>& items) {
  int64_t longest = 0;
  for (const TShift& shift : plan.shifts)
    longest = std::max(longest, shift.startMinute * int64_t{60} + shift.seconds);
  for (const TRotation& rotation : employee.rotations) {
    if (rotation.pattern.empty()) continue;
    const int64_t anchor = rotation.from.Date();
    // A shift of the day before may reach into the range.
    int64_t day = std::max(anchor, (range.start - longest) / kDay * kDay);
    const int64_t last =
        rotation.until.IsZero() ? range.end : std::min(range.end, rotation.until.Date() + kDay);
    const auto length = static_cast<int64_t>(rotation.pattern.size());
    for (; day < last; day += kDay) {
      const std::string& code =
          rotation.pattern[static_cast<size_t>(((day - anchor) / kDay) % length)];
      if (code == "-") continue;
      const TShift& shift = *plan.FindShift(code);
      const TRosterItem item{TFecha(day + shift.startMinute * int64_t{60}), shift.seconds,
                             shift.type, shift.code};
      TBasicPoint probe(item.start, TDuration(item.seconds));
      if (Belongs(probe, range)) items.push_back(item);
    }
  }
}

}  // namespace

std::vector<TPersonRoster> BuildRosters(const TPlan& plan, TFecha firstDay, TFecha lastDay) {
  const TRange range = DaysRange(firstDay, lastDay);
  std::vector<TPersonRoster> rosters;
  rosters.reserve(plan.employees.size());
  for (const TEmployee& employee : plan.employees) {
    TPersonRoster roster{&employee, {}};
    AddRules(plan, employee, firstDay, lastDay, roster.items);
    AddRotations(plan, employee, range, roster.items);
    for (const TItem& item : employee.items) {
      TBasicPoint probe(item.start, TDuration(item.seconds));
      if (Belongs(probe, range)) roster.items.push_back({item.start, item.seconds, item.type, ""});
    }
    std::stable_sort(roster.items.begin(), roster.items.end(),
                     [](const TRosterItem& a, const TRosterItem& b) {
                       return a.start != b.start ? a.start < b.start : a.seconds < b.seconds;
                     });
    rosters.push_back(std::move(roster));
  }
  return rosters;
}

TDayHours HoursOf(const TPersonRoster& roster, TFecha firstDay, TFecha lastDay, const TZone* zone) {
  TDayHours hours(firstDay, lastDay, zone);
  for (const TRosterItem& item : roster.items) {
    TBasicPoint point(item.start, TDuration(item.seconds));
    point.Type = item.type;
    hours.Add(point);
  }
  return hours;
}

}  // namespace cuadrante::roster
