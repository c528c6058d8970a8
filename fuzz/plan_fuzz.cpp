// Reads arbitrary bytes as a plan document. A text is either refused with a
// conversion error or gives rosters, hours and checks that agree with
// themselves: each breach touches the range it was asked for, cancelled
// items are planned work, the hours of the days sum to the range's, and,
// where every rule and rotation ends within the year, checking June and
// July one by one finds exactly what checking both at once finds.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <string>
#include <string_view>

#include "cuadrante/roster/balance.h"
#include "cuadrante/roster/checks.h"
#include "cuadrante/roster/plan.h"
#include "cuadrante/runtime/datetime.h"
#include "cuadrante/runtime/exception.h"

namespace {

using namespace cuadrante;
using namespace cuadrante::roster;

TFecha Day(int year, int month, int day) { return TFecha(EncodeDate(year, month, day)); }

// Whether every run of work in the plan is bounded within 2026, so that the
// checks' look past the range always finds where runs start and end.
bool BoundedWithinTheYear(const TPlan& plan) {
  const TFecha first = Day(2026, 1, 1), last = Day(2026, 12, 31);
  for (const TEmployee& employee : plan.employees) {
    for (const TRule& rule : employee.rules) {
      if (!rule.stored.empty() || rule.from < first || rule.until.IsZero() || rule.until > last)
        return false;
    }
    for (const TRotation& rotation : employee.rotations) {
      if (rotation.from < first || rotation.until.IsZero() || rotation.until > last) return false;
    }
    for (const TItem& item : employee.items) {
      if (item.start < first || item.start > last || item.seconds > TDuration(31 * kSecondsPerDay))
        return false;
    }
  }
  return true;
}

std::set<std::string> Breaches(const TPlan& plan, TFecha first, TFecha last) {
  std::set<std::string> keys;
  const int64_t start = first.Value(), end = last.Value() + 86400;
  for (const TBreach& breach : CheckRosters(plan, first, last, plan.limits)) {
    const bool touches = breach.to > breach.from
                             ? breach.from.Value() < end && breach.to.Value() > start
                             : start <= breach.from.Value() && breach.from.Value() < end;
    if (!touches) std::abort();
    keys.insert(breach.employee->id + "|" + std::to_string(static_cast<int>(breach.kind)) + "|" +
                std::to_string(breach.from.Value()) + "|" + std::to_string(breach.to.Value()) +
                "|" + breach.detail);
  }
  return keys;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 1 << 14) return 0;  // a plan of many people is no different, only slower
  TPlan plan;
  try {
    plan = ReadPlan(std::string_view(reinterpret_cast<const char*>(data), size));
  } catch (const Exception&) {
    return 0;
  }
  if (plan.employees.size() > 8) return 0;
  const TFecha june = Day(2026, 6, 1), endOfJune = Day(2026, 6, 30), endOfJuly = Day(2026, 7, 31);
  const auto rosters = BuildRosters(plan, june, endOfJuly);
  for (const TPersonRoster& roster : rosters) {
    for (const TRosterItem& item : roster.items) {
      if (item.cancelled && item.source == TItemSource::kItem) std::abort();
    }
    const TPersonHours hours(plan, roster, june, endOfJuly);
    TPeriodHours days;
    for (int day = 0; day < hours.Days(); ++day) days += hours.Day(day);
    const TPeriodHours whole = hours.Sum(0, hours.Days() - 1);
    if (days.Balance() != whole.Balance() || whole.credit > whole.contract || whole.credit < 0)
      std::abort();
  }
  CheckCoverage(plan, rosters, june, endOfJuly);
  const std::set<std::string> joined = Breaches(plan, june, endOfJuly);
  if (!BoundedWithinTheYear(plan)) return 0;
  std::set<std::string> months = Breaches(plan, june, endOfJune);
  const std::set<std::string> july = Breaches(plan, TFecha(endOfJune.Value() + 86400), endOfJuly);
  months.insert(july.begin(), july.end());
  if (months != joined) std::abort();
  return 0;
}
