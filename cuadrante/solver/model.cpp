#include "cuadrante/solver/model.h"

#include <algorithm>
#include <unordered_set>

namespace cuadrante::solver {

namespace {

template <typename T>
int IndexOfId(const std::vector<T>& items, const std::string& id) {
  for (size_t i = 0; i < items.size(); ++i) {
    if (items[i].id == id) return static_cast<int>(i);
  }
  return -1;
}

std::string EmployeeName(const TInstance& instance, size_t e) {
  return "employee " + std::to_string(e) + " (" + instance.employees[e].id + ")";
}

std::string RequestProblem(const TInstance& instance, const TRequest& r, const char* kind,
                           size_t i) {
  const int shifts = static_cast<int>(instance.shifts.size());
  const int employees = static_cast<int>(instance.employees.size());
  std::string name = std::string(kind) + " " + std::to_string(i);
  if (r.employee < 0 || r.employee >= employees) return name + ": no such employee";
  if (r.day < 0 || r.day >= instance.days) return name + ": day outside the horizon";
  if (r.shift < 0 || r.shift >= shifts) return name + ": no such shift type";
  if (r.weight < 0 || r.weight > kMostWeight) return name + ": weight out of range";
  return {};
}

// A count never exceeds the days, so a range is kept within kMostDays: the
// weighted deviations of every person then add up far below int64_t's reach.
std::string BalanceProblem(const TInstance& instance, const TBalance& balance) {
  const int shifts = static_cast<int>(instance.shifts.size());
  std::vector<char> seen(instance.shifts.size(), 0);
  for (int s : balance.shifts) {
    if (s < 0 || s >= shifts) return "shift type " + std::to_string(s) + " does not exist";
    if (seen[static_cast<size_t>(s)]++)
      return "shift type " + std::to_string(s) + " is counted twice";
  }
  if (balance.min < 0) return "min " + std::to_string(balance.min) + " is negative";
  if (balance.max < balance.min) {
    return "max " + std::to_string(balance.max) + " is below min " + std::to_string(balance.min);
  }
  if (balance.max > kMostDays) {
    return "max " + std::to_string(balance.max) + " is above " + std::to_string(kMostDays);
  }
  if (balance.weight < 0 || balance.weight > kMostWeight) {
    return "weight " + std::to_string(balance.weight) + " is not within 0.." +
           std::to_string(kMostWeight);
  }
  return {};
}

std::string EmployeeProblem(const TInstance& instance, size_t e) {
  const TEmployee& person = instance.employees[e];
  const std::string name = EmployeeName(instance, e);
  if (person.maxShifts.size() != instance.shifts.size()) {
    return name + ": maxShifts has " + std::to_string(person.maxShifts.size()) + " entries for " +
           std::to_string(instance.shifts.size()) + " shift types";
  }
  for (int count : person.maxShifts) {
    if (count < 0) return name + ": a negative maximum of shifts";
  }
  if (person.minMinutes < 0 || person.maxMinutes < 0 || person.maxMinutes > kMostMinutes ||
      person.minMinutes > kMostMinutes) {
    return name + ": minutes out of range";
  }
  if (person.minConsecutive < 0 || person.maxConsecutive < 0 || person.minDaysOff < 0 ||
      person.maxWeekends < 0) {
    return name + ": a negative limit";
  }
  for (int day : person.daysOff) {
    if (day < 0 || day >= instance.days) return name + ": a day off outside the horizon";
  }
  const size_t weeks = static_cast<size_t>(WeekCount(instance.days));
  if (!person.maxWeekMinutes.empty() && person.maxWeekMinutes.size() != weeks) {
    return name + ": maxWeekMinutes has " + std::to_string(person.maxWeekMinutes.size()) +
           " entries for " + std::to_string(weeks) + " weeks";
  }
  for (int64_t cap : person.maxWeekMinutes) {
    if (cap < 0 || cap > kMostMinutes) return name + ": a week's minutes out of range";
  }
  if (person.balances.size() > static_cast<size_t>(kMostBalances)) {
    return name + ": " + std::to_string(person.balances.size()) + " balances, at most " +
           std::to_string(kMostBalances);
  }
  for (size_t i = 0; i < person.balances.size(); ++i) {
    if (std::string problem = BalanceProblem(instance, person.balances[i]); !problem.empty()) {
      return name + ": balance " + std::to_string(i) + ": " + problem;
    }
  }
  return {};
}

}  // namespace

int TInstance::ShiftIndex(const std::string& id) const { return IndexOfId(shifts, id); }
int TInstance::EmployeeIndex(const std::string& id) const { return IndexOfId(employees, id); }

std::string ModelProblem(const TInstance& instance) {
  if (instance.days <= 0 || instance.days > kMostDays) {
    return "days: " + std::to_string(instance.days) + " is not within 1.." + std::to_string(kMostDays);
  }
  if (instance.shifts.size() > static_cast<size_t>(kMostShiftTypes)) return "more shift types than " + std::to_string(kMostShiftTypes);
  if (instance.employees.size() > static_cast<size_t>(kMostEmployees)) return "more employees than " + std::to_string(kMostEmployees);
  const int64_t cells = static_cast<int64_t>(instance.employees.size()) * instance.days *
                        static_cast<int64_t>(instance.shifts.size() + 1);
  if (cells > kMostCells) {
    return "staff x days x (shift types + 1) is " + std::to_string(cells) + ", above " +
           std::to_string(kMostCells);
  }
  const int shifts = static_cast<int>(instance.shifts.size());
  std::unordered_set<std::string> ids;
  for (size_t s = 0; s < instance.shifts.size(); ++s) {
    const TShiftType& type = instance.shifts[s];
    const std::string name = "shift " + std::to_string(s) + " (" + type.id + ")";
    if (!ids.insert(type.id).second) return name + ": the id is used twice";
    if (type.minutes < 0 || type.minutes > 24 * 60 * 366) return name + ": minutes out of range";
    if (type.minutesNextDay < 0 || type.minutesNextDay > type.minutes) {
      return name + ": minutesNextDay " + std::to_string(type.minutesNextDay) +
             " is not within 0.." + std::to_string(type.minutes);
    }
    for (int next : type.forbiddenNext) {
      if (next < 0 || next >= shifts) return name + ": forbids a shift type that does not exist";
    }
  }
  ids.clear();
  for (size_t e = 0; e < instance.employees.size(); ++e) {
    if (!ids.insert(instance.employees[e].id).second) {
      return EmployeeName(instance, e) + ": the id is used twice";
    }
    if (std::string problem = EmployeeProblem(instance, e); !problem.empty()) return problem;
  }
  for (size_t i = 0; i < instance.onRequests.size(); ++i) {
    if (auto p = RequestProblem(instance, instance.onRequests[i], "on-request", i); !p.empty()) return p;
  }
  for (size_t i = 0; i < instance.offRequests.size(); ++i) {
    if (auto p = RequestProblem(instance, instance.offRequests[i], "off-request", i); !p.empty()) return p;
  }
  for (size_t i = 0; i < instance.cover.size(); ++i) {
    const TCover& c = instance.cover[i];
    const std::string name = "cover " + std::to_string(i);
    if (c.day < 0 || c.day >= instance.days) return name + ": day outside the horizon";
    if (c.shift < 0 || c.shift >= shifts) return name + ": no such shift type";
    if (c.requirement < 0 || c.requirement > kMostEmployees || c.underWeight < 0 || c.overWeight < 0 ||
        c.underWeight > kMostWeight || c.overWeight > kMostWeight) {
      return name + ": a negative or too large number";
    }
  }
  for (size_t i = 0; i < instance.pins.size(); ++i) {
    const TPin& pin = instance.pins[i];
    const std::string name = "pin " + std::to_string(i);
    if (pin.employee < 0 || pin.employee >= static_cast<int>(instance.employees.size())) {
      return name + ": no such employee";
    }
    if (pin.day < 0 || pin.day >= instance.days) return name + ": day outside the horizon";
    if (pin.shift < kOff || pin.shift >= shifts) return name + ": no such shift type";
  }
  return {};
}

void CheckModel(const TInstance& instance) {
  if (std::string problem = ModelProblem(instance); !problem.empty()) throw EModelError(problem);
}

TRoster::TRoster(int employees, int days)
    : employees_(employees),
      days_(days),
      cells_(static_cast<size_t>(employees) * static_cast<size_t>(days), static_cast<int16_t>(kOff)) {}

TRoster PinnedRoster(const TInstance& instance) {
  TRoster roster(static_cast<int>(instance.employees.size()), instance.days);
  for (const TPin& pin : instance.pins) roster.Set(pin.employee, pin.day, pin.shift);
  return roster;
}

}  // namespace cuadrante::solver
