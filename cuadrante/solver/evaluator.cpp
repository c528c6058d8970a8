#include "cuadrante/solver/evaluator.h"

#include <algorithm>

#include "cuadrante/solver/tables.h"

namespace cuadrante::solver {

const char* RuleName(TRule rule) {
  switch (rule) {
    case TRule::kDayOff: return "day off";
    case TRule::kSuccession: return "succession";
    case TRule::kMaxShifts: return "max shifts";
    case TRule::kMaxMinutes: return "max minutes";
    case TRule::kMinMinutes: return "min minutes";
    case TRule::kMaxWeekMinutes:
      return "max week minutes";
    case TRule::kMaxConsecutive: return "max consecutive shifts";
    case TRule::kMinConsecutive: return "min consecutive shifts";
    case TRule::kMinDaysOff: return "min consecutive days off";
    case TRule::kMaxWeekends: return "max weekends";
    case TRule::kPinned: return "pinned";
    case TRule::kUnknownShift: return "unknown shift";
  }
  return "?";
}

namespace {

void CheckSizes(const TInstance& instance, const TRoster& roster) {
  CheckModel(instance);
  if (roster.Employees() != static_cast<int>(instance.employees.size()) ||
      roster.Days() != instance.days) {
    throw EModelError("the roster is " + std::to_string(roster.Employees()) + " x " +
                      std::to_string(roster.Days()) + ", the instance " +
                      std::to_string(instance.employees.size()) + " x " +
                      std::to_string(instance.days));
  }
}

// The reference: every rule checked the plain way, one person at a time.
class TFullCheck {
 public:
  TFullCheck(const TInstance& instance, const TRoster& roster, TEvaluation& out)
      : instance_(instance), roster_(roster), out_(out), unit_(detail::MinuteUnit(instance)) {}

  void Person(int e) {
    const TEmployee& person = instance_.employees[e];
    const int days = instance_.days;
    const int types = static_cast<int>(instance_.shifts.size());
    std::vector<int> counts(instance_.shifts.size(), 0);
    std::vector<int64_t> weekMinutes(static_cast<size_t>(WeekCount(days)), 0);
    int64_t minutes = 0;
    for (int d = 0; d < days; ++d) {
      const int s = roster_.At(e, d);
      if (s == kOff) continue;
      if (s < 0 || s >= types) {
        Add(e, d, TRule::kUnknownShift, "shift " + std::to_string(s), 1);
        continue;
      }
      const TShiftType& type = instance_.shifts[s];
      minutes += type.minutes;
      weekMinutes[static_cast<size_t>(d / 7)] += type.minutes - type.minutesNextDay;
      if (d + 1 < days) weekMinutes[static_cast<size_t>((d + 1) / 7)] += type.minutesNextDay;
      if (++counts[s] == person.maxShifts[s] + 1) {
        const int over = CountAfter(e, d, s) + 1;
        Add(e, d, TRule::kMaxShifts,
            std::to_string(person.maxShifts[s] + over) + " " + instance_.shifts[s].id +
                " shifts, at most " + std::to_string(person.maxShifts[s]),
            over);
      }
      if (d + 1 < days) {
        const int next = roster_.At(e, d + 1);
        const auto& forbidden = instance_.shifts[s].forbiddenNext;
        if (next != kOff && std::find(forbidden.begin(), forbidden.end(), next) != forbidden.end()) {
          Add(e, d + 1, TRule::kSuccession,
              instance_.shifts[next].id + " after " + instance_.shifts[s].id, 1);
        }
      }
    }
    for (int d : person.daysOff) {
      if (roster_.At(e, d) != kOff) Add(e, d, TRule::kDayOff, "works a day off", 1);
    }
    if (minutes > person.maxMinutes) {
      Add(e, 0, TRule::kMaxMinutes,
          std::to_string(minutes) + " minutes, at most " + std::to_string(person.maxMinutes),
          detail::Units(minutes - person.maxMinutes, unit_));
    }
    if (minutes < person.minMinutes) {
      Add(e, 0, TRule::kMinMinutes,
          std::to_string(minutes) + " minutes, at least " + std::to_string(person.minMinutes),
          detail::Units(person.minMinutes - minutes, unit_));
    }
    for (size_t w = 0; w < person.maxWeekMinutes.size(); ++w) {
      const int64_t cap = person.maxWeekMinutes[w];
      if (weekMinutes[w] <= cap) continue;
      Add(e, static_cast<int>(7 * w), TRule::kMaxWeekMinutes,
          std::to_string(weekMinutes[w]) + " minutes in week " + std::to_string(w) + ", at most " +
              std::to_string(cap),
          detail::Units(weekMinutes[w] - cap, unit_));
    }
    Runs(e);
    Weekends(e);
  }

  void Pins() {
    for (const TPin& pin : instance_.pins) {
      const int s = roster_.At(pin.employee, pin.day);
      if (s != pin.shift) {
        Add(pin.employee, pin.day, TRule::kPinned,
            "pinned to " + ShiftName(pin.shift) + ", has " + ShiftName(s), 1);
      }
    }
  }

  void Objective() {
    TObjective& o = out_.objective;
    for (const TRequest& r : instance_.onRequests) {
      if (roster_.At(r.employee, r.day) != r.shift) o.onRequests += r.weight;
    }
    for (const TRequest& r : instance_.offRequests) {
      if (roster_.At(r.employee, r.day) == r.shift) o.offRequests += r.weight;
    }
    for (const TCover& c : instance_.cover) {
      int64_t working = 0;
      for (int e = 0; e < roster_.Employees(); ++e) working += roster_.At(e, c.day) == c.shift;
      if (working < c.requirement) o.underCover += (c.requirement - working) * c.underWeight;
      if (working > c.requirement) o.overCover += (working - c.requirement) * c.overWeight;
    }
    for (int e = 0; e < roster_.Employees(); ++e) {
      for (const TBalance& balance : instance_.employees[e].balances) {
        const int64_t count =
            balance.weekends ? WeekendsWorked(e) : ShiftsWorked(e, balance.shifts);
        if (count < balance.min) o.balance += (balance.min - count) * balance.weight;
        if (count > balance.max) o.balance += (count - balance.max) * balance.weight;
      }
    }
  }

 private:
  std::string ShiftName(int s) const {
    if (s == kOff) return "off";
    if (s < 0 || s >= static_cast<int>(instance_.shifts.size())) return "shift " + std::to_string(s);
    return instance_.shifts[s].id;
  }

  int ShiftsWorked(int e, const std::vector<int>& types) const {
    int n = 0;
    for (int d = 0; d < instance_.days; ++d) {
      n += std::find(types.begin(), types.end(), roster_.At(e, d)) != types.end();
    }
    return n;
  }

  int WeekendsWorked(int e) const {
    int n = 0;
    for (int saturday = 5; saturday < instance_.days; saturday += 7) {
      n += roster_.At(e, saturday) != kOff ||
           (saturday + 1 < instance_.days && roster_.At(e, saturday + 1) != kOff);
    }
    return n;
  }

  int CountAfter(int e, int day, int s) const {
    int n = 0;
    for (int d = day + 1; d < instance_.days; ++d) n += roster_.At(e, d) == s;
    return n;
  }

  void Runs(int e) {
    const TEmployee& person = instance_.employees[e];
    const int days = instance_.days;
    int start = 0;
    for (int d = 1; d <= days; ++d) {
      const bool worked = roster_.At(e, start) != kOff;
      if (d < days && (roster_.At(e, d) != kOff) == worked) continue;
      const int length = d - start;
      const bool inside = start > 0 && d < days;
      if (worked && length > person.maxConsecutive) {
        Add(e, start, TRule::kMaxConsecutive,
            std::to_string(length) + " days in a row, at most " + std::to_string(person.maxConsecutive),
            length - person.maxConsecutive);
      }
      if (worked && inside && length < person.minConsecutive) {
        Add(e, start, TRule::kMinConsecutive,
            std::to_string(length) + " days in a row, at least " + std::to_string(person.minConsecutive),
            person.minConsecutive - length);
      }
      if (!worked && inside && length < person.minDaysOff) {
        Add(e, start, TRule::kMinDaysOff,
            std::to_string(length) + " days off in a row, at least " + std::to_string(person.minDaysOff),
            person.minDaysOff - length);
      }
      start = d;
    }
  }

  void Weekends(int e) {
    const TEmployee& person = instance_.employees[e];
    int worked = 0;
    for (int w = 0; w < WeekendCount(instance_.days); ++w) {
      const int saturday = 7 * w + 5;
      const bool works = roster_.At(e, saturday) != kOff ||
                         (saturday + 1 < instance_.days && roster_.At(e, saturday + 1) != kOff);
      if (works && ++worked > person.maxWeekends) {
        Add(e, saturday, TRule::kMaxWeekends,
            "weekend " + std::to_string(worked) + " worked, at most " + std::to_string(person.maxWeekends), 1);
      }
    }
  }

  void Add(int e, int day, TRule rule, std::string detail, int64_t units) {
    out_.breaches.push_back({e, day, rule, std::move(detail)});
    out_.violation += units;
  }

  const TInstance& instance_;
  const TRoster& roster_;
  TEvaluation& out_;
  int64_t unit_;
};

}  // namespace

TEvaluation Evaluate(const TInstance& instance, const TRoster& roster) {
  CheckSizes(instance, roster);
  TEvaluation result;
  TFullCheck check(instance, roster, result);
  for (int e = 0; e < roster.Employees(); ++e) check.Person(e);
  check.Pins();
  std::stable_sort(result.breaches.begin(), result.breaches.end(),
                   [](const TBreach& a, const TBreach& b) {
                     return a.employee != b.employee ? a.employee < b.employee : a.day < b.day;
                   });
  check.Objective();
  return result;
}

}  // namespace cuadrante::solver
