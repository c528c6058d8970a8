#include "cuadrante/roster/balance.h"

#include <algorithm>
#include <bit>

namespace cuadrante::roster {
namespace {

bool IsHoliday(const TPlan& plan, TFecha day) {
  const int64_t midnight = day.Date();
  return std::any_of(plan.holidays.begin(), plan.holidays.end(),
                     [midnight](TFecha holiday) { return holiday.Value() == midnight; });
}

}  // namespace

TPeriodHours& TPeriodHours::operator+=(const TPeriodHours& more) {
  work = work + more.work;
  absence = absence + more.absence;
  other = other + more.other;
  contract += more.contract;
  credit += more.credit;
  return *this;
}

int64_t ContractShare(const TPlan& plan, const TEmployee& employee, TFecha day) {
  const int days = std::popcount(static_cast<unsigned>(employee.contractDays & kEveryDay));
  if (days == 0 || employee.contractSeconds <= TDuration(0)) return 0;
  if (!HoldsWeekday(employee.contractDays, day.DayOfWeek()) || IsHoliday(plan, day)) return 0;
  return employee.contractSeconds.Value() * kShareUnits / days;
}

TPersonHours::TPersonHours(const TPlan& plan, const TPersonRoster& roster, TFecha firstDay,
                           TFecha lastDay, const TZone* zone)
    : hours_(HoursOf(roster, firstDay, lastDay, zone)) {
  days_.resize(static_cast<size_t>(hours_.Days()));
  for (int day = 0; day < hours_.Days(); ++day) {
    TPeriodHours& hours = days_[static_cast<size_t>(day)];
    for (int type = 0; type < kTimePointTypeCount; ++type) {
      TBasicPoint probe;
      probe.Type = static_cast<TTimePointType>(type);
      const TDuration seconds = hours_.Seconds(day, probe.Type);
      switch (KindOf(probe)) {
        case THoursKind::kWork:
          hours.work = hours.work + seconds;
          break;
        case THoursKind::kAbsence:
          hours.absence = hours.absence + seconds;
          break;
        case THoursKind::kOther:
          hours.other = hours.other + seconds;
          break;
      }
    }
    const TFecha date(hours_.FirstDay().Value() + day * kSecondsPerDay);
    hours.contract = roster.employee != nullptr ? ContractShare(plan, *roster.employee, date) : 0;
    hours.credit = std::min(hours.contract, hours.absence.Value() * kShareUnits);
  }
}

TPeriodHours TPersonHours::Sum(int firstDay, int lastDay) const {
  TPeriodHours sum;
  for (int day = std::max(firstDay, 0); day <= lastDay && day < Days(); ++day) sum += Day(day);
  return sum;
}

std::vector<TPeriod> SplitRange(TFecha firstDay, TFecha lastDay, TPeriodKind by) {
  std::vector<TPeriod> periods;
  const int64_t first = firstDay.Date();
  const int days = static_cast<int>((lastDay.Date() - first) / kSecondsPerDay) + 1;
  for (int day = 0; day < days;) {
    const TFecha date(first + day * kSecondsPerDay);
    int last = day;
    if (by == TPeriodKind::kWeek) {
      last = day + 7 - date.DayOfWeek();
    } else if (by == TPeriodKind::kMonth) {
      last = day + static_cast<int>((date.EndOfMonth().Date() - date.Date()) / kSecondsPerDay);
    }
    last = std::min(last, days - 1);
    periods.push_back({date, day, last});
    day = last + 1;
  }
  return periods;
}

std::string IsoWeekName(TFecha day) {
  // The ISO year is the year of the week's Thursday.
  const TFecha thursday(day.Date() + (4 - day.DayOfWeek()) * kSecondsPerDay);
  char text[16];
  std::snprintf(text, sizeof text, "%04u-W%02u", static_cast<unsigned>(thursday.Year()),
                static_cast<unsigned>(day.Week()));
  return text;
}

TDuration UnitsToSeconds(int64_t units) {
  return TDuration(units >= 0 ? (units + kShareUnits / 2) / kShareUnits
                              : -((-units + kShareUnits / 2) / kShareUnits));
}

}  // namespace cuadrante::roster
