#include "cuadrante/roster/fairness.h"

#include <algorithm>
#include <limits>
#include <set>

namespace cuadrante::roster {
namespace {

// The most less the least of `value` over the people of one post.
template <class Value>
auto Spread(const std::vector<const TFairShare*>& people, Value value) {
  using Number = decltype(value(*people.front()));
  Number least = std::numeric_limits<Number>::max(), most = std::numeric_limits<Number>::min();
  for (const TFairShare* share : people) {
    least = std::min(least, value(*share));
    most = std::max(most, value(*share));
  }
  return most - least;
}

}  // namespace

bool IsNight(const TRosterItem& item) {
  return item.End().Value() > item.start.Date() + kSecondsPerDay;
}

TFairness FairnessOf(const TPlan& plan, const std::vector<TPersonRoster>& rosters, TFecha firstDay,
                     TFecha lastDay) {
  const std::set<TFecha> holidays(plan.holidays.begin(), plan.holidays.end());
  const int64_t first = firstDay.Date(), end = lastDay.Date() + kSecondsPerDay;
  TFairness fairness;
  for (const TPersonRoster& roster : rosters) {
    TFairShare share;
    share.employee = roster.employee;
    std::set<int64_t> weekends;  // by the Saturday
    std::set<int64_t> holidaysWorked;
    for (const TRosterItem& item : roster.items) {
      const int64_t day = item.start.Date();
      if (!item.IsWork() || day < first || day >= end) continue;
      share.nights += IsNight(item) ? 1 : 0;
      const int weekday = TFecha(day).DayOfWeek();  // 1 Monday .. 7 Sunday
      if (weekday >= 6) weekends.insert(day - (weekday - 6) * kSecondsPerDay);
      if (holidays.count(TFecha(day)) != 0) holidaysWorked.insert(day);
    }
    share.weekends = static_cast<int>(weekends.size());
    share.holidays = static_cast<int>(holidaysWorked.size());
    const TPersonHours hours(plan, roster, firstDay, lastDay);
    share.hours = hours.Sum(0, hours.Days() - 1);
    fairness.people.push_back(share);
  }
  for (const TPost& post : plan.posts) {
    std::vector<const TFairShare*> people;
    for (const TFairShare& share : fairness.people)
      if (share.employee->post == post.code) people.push_back(&share);
    TFairSpread spread;
    spread.post = &post;
    spread.people = static_cast<int>(people.size());
    if (!people.empty()) {
      spread.nights = Spread(people, [](const TFairShare& s) { return s.nights; });
      spread.weekends = Spread(people, [](const TFairShare& s) { return s.weekends; });
      spread.holidays = Spread(people, [](const TFairShare& s) { return s.holidays; });
      spread.balance = Spread(people, [](const TFairShare& s) { return s.hours.Balance(); });
    }
    fairness.posts.push_back(spread);
  }
  return fairness;
}

}  // namespace cuadrante::roster
