#include "cuadrante/solver/generator.h"

#include <algorithm>
#include <random>

namespace cuadrante::solver {

namespace {

// Weekly caps for one instance in two, drawn from a stream of their own so
// that the instance's other numbers do not depend on them: 37.5 or 40 hours
// a week (half for part-time staff), a short last week its share of that by
// days, and now and then a week a shift shorter. Most people get them.
void AddWeekCaps(TInstance& instance, uint64_t seed) {
  std::mt19937_64 random(seed ^ 0x5eedca95);
  const auto uniform = [&random](int low, int high) {
    return std::uniform_int_distribution<int>(low, high)(random);
  };
  if (uniform(0, 1) == 0) return;
  const int weeks = WeekCount(instance.days);
  const int workDays = std::max(1, instance.days * 9 / 14);
  for (TEmployee& person : instance.employees) {
    if (uniform(0, 3) == 0) continue;
    const bool partTime = person.maxMinutes < static_cast<int64_t>(workDays) * 480;
    const int64_t full = uniform(0, 1) == 0 ? 2250 : 2400;
    const int64_t week = partTime ? full / 2 : full;
    for (int w = 0; w < weeks; ++w) {
      const int64_t days = std::min(7, instance.days - 7 * w);
      int64_t cap = week * days / 7;
      if (uniform(0, 3) == 0) cap = std::max<int64_t>(0, cap - 480);
      person.maxWeekMinutes.push_back(cap);
    }
  }
}

// Balances for one instance in two, from a stream of their own: most people
// get a range on the shifts of one or two of their types, or on weekends, or
// both, about their share of the work, as a plan that spreads nights and
// weekends fairly asks. Weights 1 to 5, as wishes go.
void AddBalances(TInstance& instance, uint64_t seed) {
  std::mt19937_64 random(seed ^ 0xba1a9ce5);
  const auto uniform = [&random](int low, int high) {
    return std::uniform_int_distribution<int>(low, high)(random);
  };
  if (uniform(0, 1) == 0) return;
  for (TEmployee& person : instance.employees) {
    if (uniform(0, 3) == 0) continue;
    const int kind = uniform(0, 2);  // 0 types, 1 weekends, 2 both
    if (kind != 1) {
      std::vector<int> allowed;
      for (size_t s = 0; s < person.maxShifts.size(); ++s) {
        if (person.maxShifts[s] > 0) allowed.push_back(static_cast<int>(s));
      }
      std::shuffle(allowed.begin(), allowed.end(), random);
      const int counted = std::min(static_cast<int>(allowed.size()), uniform(1, 2));
      TBalance balance;
      balance.shifts.assign(allowed.begin(), allowed.begin() + counted);
      // The person's shifts, spread evenly over the types allowed.
      const double share = static_cast<double>(person.maxMinutes) / 480 * counted /
                           static_cast<double>(allowed.size());
      balance.min = static_cast<int>(share * 0.8);
      balance.max = std::max(balance.min, static_cast<int>(share * 1.2 + 0.5));
      balance.weight = uniform(1, 5);
      person.balances.push_back(balance);
    }
    if (kind != 0) {
      TBalance balance;
      balance.weekends = true;
      balance.min = uniform(0, person.maxWeekends);
      balance.max = balance.min + uniform(0, 1);
      balance.weight = uniform(1, 5);
      person.balances.push_back(balance);
    }
  }
}

}  // namespace

TInstance GenerateInstance(const TShape& shape, uint64_t seed) {
  std::mt19937_64 random(seed);
  const auto uniform = [&random](int low, int high) {
    return std::uniform_int_distribution<int>(low, high)(random);
  };
  TInstance instance;
  instance.days = shape.days;
  for (int s = 0; s < shape.shiftTypes; ++s) {
    TShiftType type;
    // Appended, not concatenated: GCC 12 warns falsely on "S" + string at -O3.
    type.id = s < 26 ? std::string(1, static_cast<char>('A' + s)) : std::string("S");
    if (s >= 26) type.id += std::to_string(s);
    type.minutes = 480;
    // Of three types or more the last is a night, 22:00 to 06:00, whose six
    // hours after midnight count in the next day's week.
    if (shape.shiftTypes >= 3 && s == shape.shiftTypes - 1) type.minutesNextDay = 360;
    // A later shift leaves too little rest before an earlier one.
    for (int earlier = 0; earlier < s; ++earlier) {
      if (s - earlier <= 2) type.forbiddenNext.push_back(earlier);
    }
    instance.shifts.push_back(type);
  }
  const int workDays = std::max(1, shape.days * 9 / 14);
  for (int e = 0; e < shape.employees; ++e) {
    TEmployee person;
    person.id = "E";
    person.id += std::to_string(e);
    for (int s = 0; s < shape.shiftTypes; ++s) {
      const bool never = shape.shiftTypes > 1 && uniform(0, 4) == 0;
      person.maxShifts.push_back(never ? 0 : (uniform(0, 2) == 0 ? std::max(1, shape.days / 4) : shape.days));
    }
    if (std::all_of(person.maxShifts.begin(), person.maxShifts.end(), [](int m) { return m == 0; })) {
      person.maxShifts[0] = shape.days;
    }
    const bool partTime = uniform(0, 3) == 0;
    const int most = partTime ? workDays / 2 : workDays;
    person.maxMinutes = static_cast<int64_t>(most) * 480;
    person.minMinutes = person.maxMinutes * 3 / 4 / 480 * 480;
    person.maxConsecutive = uniform(5, 6);
    person.minConsecutive = partTime ? 1 : 2;
    person.minDaysOff = uniform(1, 3);
    person.maxWeekends = std::max(1, WeekendCount(shape.days) / 2 + uniform(0, 1));
    for (int d = uniform(0, 13); d < shape.days; d += 14) person.daysOff.push_back(d);
    instance.employees.push_back(person);
  }
  AddWeekCaps(instance, seed);
  AddBalances(instance, seed);
  const int workers = shape.employees;
  for (int e = 0; e < workers; ++e) {
    for (int week = 0; week * 7 < shape.days; ++week) {
      const int day = std::min(shape.days - 1, week * 7 + uniform(0, 6));
      const int shift = uniform(0, shape.shiftTypes - 1);
      if (instance.employees[static_cast<size_t>(e)].maxShifts[static_cast<size_t>(shift)] > 0) {
        instance.onRequests.push_back({e, day, shift, uniform(1, 3)});
      }
      const int offDay = std::min(shape.days - 1, week * 7 + uniform(0, 6));
      instance.offRequests.push_back({e, offDay, uniform(0, shape.shiftTypes - 1), uniform(1, 3)});
    }
  }
  // The staff gives about workers * 0.6 shifts a day; spread them over types.
  const double perDay = workers * 0.6 * 0.95;
  for (int d = 0; d < shape.days; ++d) {
    const double dayShare = IsWeekendDay(d) ? 0.8 : 1.05;
    for (int s = 0; s < shape.shiftTypes; ++s) {
      const double share = perDay * dayShare / shape.shiftTypes;
      const int requirement = std::max(0, static_cast<int>(share + uniform(-1, 1) * 0.5 + 0.5));
      instance.cover.push_back({d, s, requirement, 100, 1});
    }
  }
  return instance;
}

}  // namespace cuadrante::solver
