#include "cuadrante/roster/fill.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>
#include <string>
#include <tuple>

#include "cuadrante/documents/xmldocument.h"
#include "cuadrante/roster/balance.h"
#include "cuadrante/roster/dayhours.h"
#include "cuadrante/roster/personroster.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/time/isotext.h"

namespace cuadrante::roster {
namespace {

constexpr int kMostRangeDays = 366;

int MinutesOf(TDuration length) { return static_cast<int>((length.Value() + 59) / 60); }

bool IsHolidayOf(const TPlan& plan, int64_t day) {
  return std::find(plan.holidays.begin(), plan.holidays.end(), TFecha(day)) != plan.holidays.end();
}

// The checks hold holidays by the person's own post, whichever post the
// work is at.
bool WorksHolidays(const TPlan& plan, const TEmployee& employee) {
  const TPost* own = plan.FindPost(employee.post);
  return own != nullptr && own->worksHolidays;
}

bool Lists(const std::vector<std::string>& codes, const std::string& code) {
  return std::find(codes.begin(), codes.end(), code) != codes.end();
}

// The model's shift types, made as the plan names them: a shift at a post,
// or planned work of its own times.
class TTypeTable {
 public:
  explicit TTypeTable(TFillModel& model) : model_(model) {}

  int Of(const TPost* post, const TShift* shift, int startMinute, TDuration length, bool fillable) {
    const auto key =
        std::make_tuple(post, shift, shift ? 0 : startMinute, shift ? int64_t{0} : length.Value());
    const auto found = index_.find(key);
    if (found != index_.end()) return found->second;
    const int type = static_cast<int>(model_.types.size());
    model_.types.push_back({post, shift, fillable});
    starts_.push_back(startMinute * int64_t{60});
    lengths_.push_back(length.Value());
    std::string id = post ? post->code + "/" : "/";
    id += shift ? shift->code : std::to_string(startMinute) + "+" + std::to_string(length.Value());
    // The checks count a week's hours by the clock: what a shift works after
    // midnight belongs to the next day, and so to the next week on a Sunday.
    const int minutes = MinutesOf(length);
    const int64_t pastMidnight = startMinute * int64_t{60} + length.Value() - kSecondsPerDay;
    solver::TShiftType made{std::move(id), minutes, {}};
    made.minutesNextDay =
        static_cast<int>(std::clamp<int64_t>((pastMidnight + 59) / 60, 0, minutes));
    model_.instance.shifts.push_back(std::move(made));
    index_.emplace(key, type);
    return type;
  }

  // A shift may not follow another on the next day when the rest between
  // them is shorter than `minRest`.
  void ForbidShortRests(TDuration minRest) {
    for (size_t first = 0; first < starts_.size(); ++first) {
      for (size_t next = 0; next < starts_.size(); ++next) {
        const int64_t rest = kSecondsPerDay + starts_[next] - (starts_[first] + lengths_[first]);
        if (rest < minRest.Value())
          model_.instance.shifts[first].forbiddenNext.push_back(static_cast<int>(next));
      }
    }
  }

 private:
  TFillModel& model_;
  std::map<std::tuple<const TPost*, const TShift*, int, int64_t>, int> index_;
  std::vector<int64_t> starts_;   // seconds after midnight
  std::vector<int64_t> lengths_;  // seconds
};

// The cover lines of every need that names a shift, on the days of the range.
void AddCover(const TPlan& plan, TFillModel& model, TTypeTable& types, int rangeDays) {
  std::map<std::pair<int, int>, solver::TCover> lines;  // by day and type
  for (const TPost& post : plan.posts) {
    for (const TNeed& need : post.needs) {
      if (need.shift.empty()) continue;
      const TShift* shift = plan.FindShift(need.shift);
      const int type = types.Of(&post, shift, shift->startMinute, shift->seconds, true);
      for (int at = 0; at < rangeDays; ++at) {
        const int day = model.rangeStart + at;
        const TFecha date(model.firstDay.Value() + day * kSecondsPerDay);
        if (!HoldsWeekday(need.days, date.DayOfWeek()) || need.people == 0) continue;
        // Work on a holiday of a post that does not work them is a breach:
        // such a need is left to the coverage report.
        if (!post.worksHolidays && IsHolidayOf(plan, date.Value())) continue;
        solver::TCover& line = lines[{day, type}];
        line.day = day;
        line.shift = type;
        line.requirement += need.people;
        // Each need is within bounds; several of one shift may add up past them.
        if (line.requirement > solver::kMostEmployees)
          throw EConvertError("POST " + post.code + ": the NEEDs of shift " + need.shift + " on " +
                              date.ToString("yyyy-mm-dd") + " ask for " +
                              std::to_string(line.requirement) + " people, more than " +
                              std::to_string(solver::kMostEmployees));
        line.underWeight = std::max(line.underWeight, need.missingWeight);
        line.overWeight = std::max(line.overWeight, need.surplusWeight);
      }
    }
  }
  for (auto& [key, line] : lines) model.instance.cover.push_back(line);
}

// The minutes the contract owes over the range's days not on leave.
int64_t OwedMinutes(const TPlan& plan, const TEmployee& employee, const TFillModel& model,
                    const std::vector<int>& daysOff) {
  int64_t owedUnits = 0;
  for (int day = model.rangeStart; day < model.rangeEnd; ++day) {
    if (std::find(daysOff.begin(), daysOff.end(), day) != daysOff.end()) continue;
    owedUnits +=
        ContractShare(plan, employee, TFecha(model.firstDay.Value() + day * kSecondsPerDay));
  }
  return owedUnits / kShareUnits / 60;
}

// The person's limits over the range, in minutes: the plan's own, or what
// their contract owes (`owed`) within the tolerance.
std::pair<int64_t, int64_t> HoursRange(const TEmployee& employee, int64_t owed) {
  const int64_t tolerance = employee.tolerance.Value() / 60;
  int64_t low = employee.hasContract ? std::max<int64_t>(0, owed - tolerance) : 0;
  int64_t high = employee.hasContract ? owed + tolerance : solver::kMostMinutes;
  if (employee.minHours) low = employee.minHours->Value() / 60;
  if (employee.maxHours) high = employee.maxHours->Value() / 60;
  return {low, std::max(low, high)};
}

// What the plan holds on each day of the model: the type of its work
// (kOff for none) and whether an absence touches the day.
struct TPlannedDays {
  std::vector<int> type;
  std::vector<bool> absent;
};

TPlannedDays PlannedDays(const TPlan& plan, const TEmployee& employee, const TPersonRoster& roster,
                         TFillModel& model, TTypeTable& types) {
  const int days = model.instance.days;
  const int64_t first = model.firstDay.Value();
  const TPost* own = plan.FindPost(employee.post);
  TPlannedDays planned{std::vector<int>(static_cast<size_t>(days), solver::kOff),
                       std::vector<bool>(static_cast<size_t>(days), false)};
  for (const TRosterItem& item : roster.items) {
    if (!item.Counts() || item.seconds <= TDuration()) continue;
    const THoursKind kind = item.Kind();
    if (kind == THoursKind::kAbsence) {
      const int64_t from = std::max<int64_t>(0, (item.start.Value() - first) / kSecondsPerDay);
      const int64_t to = (item.End().Value() - 1 - first) / kSecondsPerDay;
      for (int64_t day = from; day <= to && day < days; ++day)
        planned.absent[static_cast<size_t>(day)] = true;
      continue;
    }
    if (kind != THoursKind::kWork || item.start.Value() < first) continue;
    const int64_t day = (item.start.Value() - first) / kSecondsPerDay;
    if (day >= days) continue;
    const TPost* post = item.post.empty() ? own : plan.FindPost(item.post);
    const TShift* shift = plan.FindShift(item.code);
    const int startMinute = static_cast<int>((item.start.Value() - item.start.Date()) / 60);
    if (shift != nullptr && (shift->startMinute != startMinute || shift->seconds != item.seconds))
      shift = nullptr;  // a shift's code on other times: work of its own times
    const int type = types.Of(shift ? post : nullptr, shift, startMinute, item.seconds, false);
    if (item.byEngine && !model.previous.empty() && day >= model.replanStart &&
        day < model.rangeEnd) {
      model.previous[static_cast<size_t>(model.employees.size() - 1) * static_cast<size_t>(days) +
                     static_cast<size_t>(day)] = type;
      continue;
    }
    // One shift a day in the model: a second one that day is left to the checks.
    if (planned.type[static_cast<size_t>(day)] == solver::kOff)
      planned.type[static_cast<size_t>(day)] = type;
  }
  return planned;
}

// The most of each type: what the plan pins, and what the engine may add
// where the person's posts and shifts allow it, within the caps of each
// code. Answers whether the engine may give the person anything.
bool SetShiftCaps(const TEmployee& employee, const TFillModel& model,
                  const std::vector<int>& pinnedCount, solver::TEmployee& made) {
  made.maxShifts.assign(model.types.size(), 0);
  bool fillable = false;
  for (size_t type = 0; type < model.types.size(); ++type) {
    const TFillType& what = model.types[type];
    int open = 0;
    if (what.fillable && Lists(employee.posts, what.post->code) &&
        (employee.shifts.empty() || Lists(employee.shifts, what.shift->code))) {
      open = model.instance.days;
      for (const auto& [code, most] : employee.maxShifts) {
        if (code != what.shift->code) continue;
        int pinnedOfCode = 0;
        for (size_t other = 0; other < model.types.size(); ++other) {
          const TShift* shift = model.types[other].shift;
          if (shift != nullptr && shift->code == code) pinnedOfCode += pinnedCount[other];
        }
        open = std::max(0, most - pinnedOfCode);
      }
      fillable = fillable || open > 0;
    }
    made.maxShifts[type] = pinnedCount[type] + open;
  }
  return fillable;
}

// Each week (Monday to Sunday) holds at most the plan's weekly maximum, and
// no more than the contract's share of its days.
std::vector<int64_t> WeekCaps(const TPlan& plan, const TEmployee& employee,
                              const TFillModel& model) {
  std::vector<int64_t> caps(static_cast<size_t>(solver::WeekCount(model.instance.days)),
                            plan.limits.maxWeekSeconds.Value() / 60);
  if (!employee.hasContract) return caps;
  for (size_t week = 0; week < caps.size(); ++week) {
    int64_t units = 0;
    for (int64_t day = 0; day < 7; ++day) {
      const int64_t at =
          model.firstDay.Value() + (static_cast<int64_t>(week) * 7 + day) * kSecondsPerDay;
      units += ContractShare(plan, employee, TFecha(at));
    }
    caps[week] = std::min(caps[week], units / kShareUnits / 60);
  }
  return caps;
}

// The most minutes the range can hold for a person in whole shifts under
// their weekly caps: what is fixed, and on each open day at most one of the
// shifts they may be given. A contract's share less the tolerance can lie
// beyond it (20 h a week in shifts of 7 h is 14 h), and the minimum is then
// what the caps allow. Rest and runs of days are left out: a bound.
int64_t ReachableMinutes(const TFillModel& model, int person, const std::vector<int>& planned,
                         const std::vector<int>& pinnedCount, const solver::TEmployee& made) {
  const solver::TInstance& instance = model.instance;
  std::vector<int64_t> lengths;
  int64_t unit = 0;
  for (size_t type = 0; type < model.types.size(); ++type) {
    if (!model.types[type].fillable || made.maxShifts[type] <= pinnedCount[type] ||
        instance.shifts[type].minutes <= 0)
      continue;
    lengths.push_back(instance.shifts[type].minutes);
    unit = std::gcd(unit, lengths.back());
  }
  const auto minutesOf = [&](int day) {
    const int type = planned[static_cast<size_t>(day)];
    return type == solver::kOff ? int64_t{0} : instance.shifts[static_cast<size_t>(type)].minutes;
  };
  int64_t reachable = 0;
  for (int week = model.rangeStart / 7; week * 7 < model.rangeEnd; ++week) {
    int64_t fixed = 0, fixedInRange = 0;
    int open = 0;
    for (int day = 7 * week; day < std::min(instance.days, 7 * week + 7); ++day) {
      const bool inRange = day >= model.rangeStart && day < model.rangeEnd;
      fixed += minutesOf(day);
      if (inRange) fixedInRange += minutesOf(day);
      open += inRange && !model.Pinned(person, day) &&
                      std::find(made.daysOff.begin(), made.daysOff.end(), day) == made.daysOff.end()
                  ? 1
                  : 0;
    }
    reachable += fixedInRange;
    const int64_t room = made.maxWeekMinutes[static_cast<size_t>(week)] - fixed;
    if (lengths.empty() || open == 0 || room <= 0) continue;
    // Sums of up to `open` shifts, in units of the lengths' common divisor.
    const size_t most = static_cast<size_t>(room / unit);
    std::vector<char> sums(most + 1, 0);
    sums[0] = 1;
    for (int shift = 0; shift < open; ++shift) {
      for (size_t sum = most + 1; sum-- > 0;) {
        if (sums[sum] == 0) continue;
        for (int64_t length : lengths)
          if (sum + static_cast<size_t>(length / unit) <= most)
            sums[sum + static_cast<size_t>(length / unit)] = 1;
      }
    }
    size_t best = most;
    while (sums[best] == 0) --best;
    reachable += static_cast<int64_t>(best) * unit;
  }
  return reachable;
}

// Weekends with planned work outside the range: worked already.
int WeekendsOutside(const TFillModel& model, const std::vector<int>& planned) {
  const int days = model.instance.days;
  int count = 0;
  for (int weekend = 0; weekend < solver::WeekendCount(days); ++weekend) {
    bool worked = false;
    for (int day = 7 * weekend + 5; day < std::min(days, 7 * weekend + 7); ++day) {
      worked = worked || ((day < model.rangeStart || day >= model.rangeEnd) &&
                          planned[static_cast<size_t>(day)] != solver::kOff);
    }
    count += worked ? 1 : 0;
  }
  return count;
}

void AddPerson(const TPlan& plan, size_t index, const TPersonRoster& roster, TFillModel& model,
               TTypeTable& types) {
  const TEmployee& employee = plan.employees[index];
  const int days = model.instance.days;
  const int person = static_cast<int>(model.employees.size());
  model.employees.push_back(index);
  const TPlannedDays planned = PlannedDays(plan, employee, roster, model, types);

  const bool worksHolidays = WorksHolidays(plan, employee);
  solver::TEmployee made;
  made.id = employee.id;
  // Pinned work counts against every limit; the engine may add what is left.
  std::vector<int> pinnedCount(model.types.size(), 0);
  int64_t pinnedOutside = 0;  // minutes before and after the range
  for (int day = 0; day < days; ++day) {
    const int type = planned.type[static_cast<size_t>(day)];
    const bool outside = day < model.rangeStart || day >= model.rangeEnd;
    const bool off =
        type == solver::kOff &&
        (planned.absent[static_cast<size_t>(day)] ||
         (!worksHolidays && IsHolidayOf(plan, model.firstDay.Value() + day * kSecondsPerDay)));
    // A re-plan keeps the days before it as they are.
    const bool past = !model.previous.empty() && day < model.replanStart;
    if (type != solver::kOff || outside || past) {
      model.instance.pins.push_back({person, day, type});
      model.pinned[static_cast<size_t>(person) * static_cast<size_t>(days) +
                   static_cast<size_t>(day)] = true;
    }
    // Days off: free of work, and absent or a holiday off. A re-plan's past
    // ones too, though pinned: the contract does not count them either way.
    if (off && !outside) made.daysOff.push_back(day);
    if (type == solver::kOff) continue;
    ++pinnedCount[static_cast<size_t>(type)];
    if (outside) pinnedOutside += model.instance.shifts[static_cast<size_t>(type)].minutes;
  }
  const bool fillable = SetShiftCaps(employee, model, pinnedCount, made);
  made.maxWeekMinutes = WeekCaps(plan, employee, model);
  model.owedMinutes.push_back(
      employee.hasContract ? OwedMinutes(plan, employee, model, made.daysOff) : 0);
  const auto [low, high] = HoursRange(employee, model.owedMinutes.back());
  made.minMinutes =
      fillable ? std::min(low, ReachableMinutes(model, person, planned.type, pinnedCount, made)) +
                     pinnedOutside
               : 0;
  made.maxMinutes =
      std::min(solver::kMostMinutes, fillable ? high + pinnedOutside : solver::kMostMinutes);
  made.maxConsecutive = plan.limits.maxConsecutiveDays;
  made.minConsecutive = 1;
  made.minDaysOff = employee.minDaysOff;
  made.maxWeekends = employee.maxWeekends
                         ? *employee.maxWeekends + WeekendsOutside(model, planned.type)
                         : solver::WeekendCount(days);
  model.instance.employees.push_back(std::move(made));
}

// A holiday is a day off for those whose post does not work holidays, and
// a night the evening before would run into it. The model cannot forbid a
// type on one day, so such a night is an off-request that outweighs any gap.
void AddHolidayEves(const TPlan& plan, TFillModel& model) {
  int most = 1;
  for (const solver::TCover& line : model.instance.cover) most = std::max(most, line.underWeight);
  const int weight = static_cast<int>(std::min<int64_t>(solver::kMostWeight, int64_t{10} * most));
  for (size_t person = 0; person < model.employees.size(); ++person) {
    if (WorksHolidays(plan, plan.employees[model.employees[person]])) continue;
    const std::vector<int>& allowed = model.instance.employees[person].maxShifts;
    for (const TFecha holiday : plan.holidays) {
      const int64_t eve = (holiday.Date() - model.firstDay.Value()) / kSecondsPerDay - 1;
      if (holiday.Date() < model.firstDay.Value() || eve < model.rangeStart ||
          eve >= model.rangeEnd)
        continue;
      for (size_t type = 0; type < model.types.size(); ++type) {
        if (model.types[type].fillable && allowed[type] > 0 &&
            model.instance.shifts[type].minutesNextDay > 0)
          model.instance.offRequests.push_back(
              {static_cast<int>(person), static_cast<int>(eve), static_cast<int>(type), weight});
      }
    }
  }
}

// The person's wishes on the days of the range, at the types they may work.
void AddRequests(const TPlan& plan, TFillModel& model) {
  for (size_t person = 0; person < model.employees.size(); ++person) {
    const TEmployee& employee = plan.employees[model.employees[person]];
    const std::vector<int>& allowed = model.instance.employees[person].maxShifts;
    for (const TRequest& request : employee.requests) {
      const int64_t day = (request.day.Value() - model.firstDay.Value()) / kSecondsPerDay;
      if (day < model.rangeStart || day >= model.rangeEnd) continue;
      // A wish not to work is one request for each type it names; a wish to
      // work a shift is one request, at the person's own post where it has
      // the shift, else at the first post that has it.
      int granted = -1;
      for (size_t type = 0; type < model.types.size(); ++type) {
        const TFillType& what = model.types[type];
        if (!what.fillable || allowed[type] == 0) continue;
        if (!request.shift.empty() && what.shift->code != request.shift) continue;
        if (!request.on) {
          model.instance.offRequests.push_back({static_cast<int>(person), static_cast<int>(day),
                                                static_cast<int>(type), request.weight});
        } else if (granted < 0 || what.post->code == employee.post) {
          granted = static_cast<int>(type);
        }
      }
      if (granted >= 0)
        model.instance.onRequests.push_back(
            {static_cast<int>(person), static_cast<int>(day), granted, request.weight});
    }
  }
}

// Each re-planned day where a person's work would differ from the last
// roster costs `weight` once: an on-request of the type they had, or an
// off-request of every type they may work on a day they had none.
void AddChangeRequests(TFillModel& model, int weight) {
  const int days = model.instance.days;
  for (size_t person = 0; person < model.employees.size(); ++person) {
    const solver::TEmployee& limits = model.instance.employees[person];
    const int who = static_cast<int>(person);
    for (int day = model.replanStart; day < model.rangeEnd; ++day) {
      const int had = model.previous[person * static_cast<size_t>(days) + static_cast<size_t>(day)];
      if (had != solver::kOff) {
        if (model.types[static_cast<size_t>(had)].fillable)
          model.instance.onRequests.push_back({who, day, had, weight});
        continue;
      }
      if (model.Pinned(who, day) ||
          std::find(limits.daysOff.begin(), limits.daysOff.end(), day) != limits.daysOff.end())
        continue;
      for (size_t type = 0; type < model.types.size(); ++type) {
        if (model.types[type].fillable && limits.maxShifts[type] > 0)
          model.instance.offRequests.push_back({who, day, static_cast<int>(type), weight});
      }
    }
  }
}

// What fairness weighs: the nights or the weekends that the range's needs
// ask for, and each person's share of them.
struct TFairPool {
  double demand = 0;
  std::vector<int64_t> share;  // per model employee; 0: none of it is theirs
};

// Each person in a pool may take up to their contract's share of its
// demand within the range, plus what is fixed outside it; beyond, each one
// costs `weight`. A person's share is the minutes their contract owes over
// the range's days not on leave, or their maximum hours without a contract.
void AddBalance(TFillModel& model, const TFairPool& pool, const solver::TBalance& shape,
                const std::vector<int>& outside) {
  int64_t shares = 0;
  for (int64_t share : pool.share) shares += share;
  if (shares == 0 || pool.demand <= 0) return;
  for (size_t person = 0; person < pool.share.size(); ++person) {
    if (pool.share[person] == 0) continue;
    solver::TBalance balance = shape;
    const double target =
        pool.demand * static_cast<double>(pool.share[person]) / static_cast<double>(shares);
    balance.max = static_cast<int>(std::ceil(target - 1e-9)) + outside[person];
    model.instance.employees[person].balances.push_back(std::move(balance));
  }
}

void AddFairness(const TPlan& plan, TFillModel& model, int weight) {
  const solver::TInstance& instance = model.instance;
  const size_t people = model.employees.size();
  std::vector<bool> night(instance.shifts.size());
  for (size_t type = 0; type < night.size(); ++type)
    night[type] = instance.shifts[type].minutesNextDay > 0;
  // The demand: nights asked for, and per weekend the more of the people
  // asked for on its Saturday and on its Sunday.
  TFairPool nights{0, std::vector<int64_t>(people, 0)};
  TFairPool weekends{0, std::vector<int64_t>(people, 0)};
  std::map<int, std::pair<int, int>> weekendNeeds;  // by weekend: Saturday, Sunday
  for (const solver::TCover& line : instance.cover) {
    if (night[static_cast<size_t>(line.shift)]) nights.demand += line.requirement;
    if (!solver::IsWeekendDay(line.day)) continue;
    auto& [saturday, sunday] = weekendNeeds[line.day / 7];
    (line.day % 7 == 5 ? saturday : sunday) += line.requirement;
  }
  for (const auto& [weekend, needs] : weekendNeeds)
    weekends.demand += std::max(needs.first, needs.second);
  // The pools: who may be given a night, or anything at all.
  for (size_t person = 0; person < people; ++person) {
    const solver::TEmployee& limits = instance.employees[person];
    const TEmployee& employee = plan.employees[model.employees[person]];
    const int64_t share = employee.hasContract ? model.owedMinutes[person]
                          : employee.maxHours  ? employee.maxHours->Value() / 60
                                               : 0;
    for (size_t type = 0; type < model.types.size(); ++type) {
      if (!model.types[type].fillable || limits.maxShifts[type] == 0) continue;
      weekends.share[person] = share;
      if (night[type]) nights.share[person] = share;
    }
  }
  // What is fixed outside the range counts in the horizon's totals.
  const solver::TRoster pinned = solver::PinnedRoster(instance);
  std::vector<int> nightsOutside(people, 0), weekendsOutside(people, 0);
  solver::TBalance nightShape, weekendShape;
  nightShape.weight = weekendShape.weight = weight;
  weekendShape.weekends = true;
  for (size_t type = 0; type < night.size(); ++type)
    if (night[type]) nightShape.shifts.push_back(static_cast<int>(type));
  for (size_t person = 0; person < people; ++person) {
    const int who = static_cast<int>(person);
    for (int day = 0; day < instance.days; ++day) {
      if (day >= model.rangeStart && day < model.rangeEnd) continue;
      const int type = pinned.At(who, day);
      if (type != solver::kOff && night[static_cast<size_t>(type)]) ++nightsOutside[person];
    }
    for (int weekend = 0; weekend < solver::WeekendCount(instance.days); ++weekend) {
      bool worked = false;
      for (int day = 7 * weekend + 5; day < std::min(instance.days, 7 * weekend + 7); ++day)
        worked = worked || ((day < model.rangeStart || day >= model.rangeEnd) &&
                            pinned.At(who, day) != solver::kOff);
      weekendsOutside[person] += worked ? 1 : 0;
    }
  }
  if (!nightShape.shifts.empty()) AddBalance(model, nights, nightShape, nightsOutside);
  AddBalance(model, weekends, weekendShape, weekendsOutside);
}

int CheckedWeight(int weight, const char* what) {
  if (weight < 0 || weight > solver::kMostWeight)
    throw EConvertError(std::string("the ") + what + " weight " + std::to_string(weight) +
                        " is not within 0 .. " + std::to_string(solver::kMostWeight));
  return weight;
}

}  // namespace

TFillModel ModelOfPlan(const TPlan& plan, TFecha firstDay, TFecha lastDay,
                       const TFillOptions& options) {
  const int64_t rangeDays = (lastDay.Date() - firstDay.Date()) / kSecondsPerDay + 1;
  if (rangeDays < 1) throw EConvertError("the range ends before it starts");
  if (rangeDays > kMostRangeDays) throw EConvertError("the range is longer than a year");
  TFillModel model;
  // Runs of days and weekly hours reach past the range's edges: the model
  // spans whole weeks that hold the longest run on either side, pinned to
  // the plan outside the range.
  const int64_t reach = plan.limits.maxConsecutiveDays;
  const TFecha before(firstDay.Date() - reach * kSecondsPerDay);
  const TFecha after(lastDay.Date() + reach * kSecondsPerDay);
  model.firstDay = TFecha(before.Date() - (before.DayOfWeek() - 1) * kSecondsPerDay);
  const TFecha lastSunday(after.Date() + (7 - after.DayOfWeek()) * kSecondsPerDay);
  model.rangeStart = static_cast<int>((firstDay.Date() - model.firstDay.Value()) / kSecondsPerDay);
  model.rangeEnd = model.rangeStart + static_cast<int>(rangeDays);
  model.instance.days =
      static_cast<int>((lastSunday.Value() - model.firstDay.Value()) / kSecondsPerDay) + 1;
  model.pinned.assign(plan.employees.size() * static_cast<size_t>(model.instance.days), false);
  const int changeWeight = CheckedWeight(options.changeWeight, "change");
  if (options.replanFrom) {
    const int64_t from = (options.replanFrom->Date() - model.firstDay.Value()) / kSecondsPerDay;
    model.replanStart =
        static_cast<int>(std::clamp<int64_t>(from, model.rangeStart, model.rangeEnd));
    model.previous.assign(model.pinned.size(), solver::kOff);
  }
  TTypeTable types(model);
  AddCover(plan, model, types, static_cast<int>(rangeDays));
  // Rosters over the whole model, so that the days outside the range are
  // pinned to what the plan has there.
  const std::vector<TPersonRoster> rosters = BuildRosters(plan, model.firstDay, lastSunday);
  for (size_t index = 0; index < plan.employees.size(); ++index)
    AddPerson(plan, index, rosters[index], model, types);
  // Types made for later people are closed to the earlier ones.
  for (solver::TEmployee& person : model.instance.employees)
    person.maxShifts.resize(model.types.size(), 0);
  AddRequests(plan, model);
  AddHolidayEves(plan, model);
  model.wishesOn = model.instance.onRequests.size();
  model.wishesOff = model.instance.offRequests.size();
  if (!model.previous.empty()) AddChangeRequests(model, changeWeight);
  if (const int fairWeight = CheckedWeight(options.fairWeight, "fairness"); fairWeight > 0)
    AddFairness(plan, model, fairWeight);
  types.ForbidShortRests(plan.limits.minRestSeconds);
  solver::CheckModel(model.instance);
  return model;
}

std::vector<TFilledItem> FilledItems(const TPlan& plan, const TFillModel& model,
                                     const solver::TRoster& roster) {
  std::vector<TFilledItem> filled;
  for (int person = 0; person < roster.Employees(); ++person) {
    const size_t index = model.employees[static_cast<size_t>(person)];
    const TEmployee& employee = plan.employees[index];
    for (int day = model.rangeStart; day < model.rangeEnd; ++day) {
      const int type = roster.At(person, day);
      if (type == solver::kOff || model.Pinned(person, day)) continue;
      const TFillType& what = model.types[static_cast<size_t>(type)];
      if (!what.fillable) continue;
      TItem item;
      item.start = TFecha(model.firstDay.Value() + day * kSecondsPerDay +
                          what.shift->startMinute * int64_t{60});
      item.seconds = what.shift->seconds;
      item.type = what.shift->type;
      item.code = what.shift->code;
      if (what.post->code != employee.post) item.post = what.post->code;
      item.byEngine = true;
      filled.push_back({index, std::move(item)});
    }
  }
  return filled;
}

std::vector<TReplanChange> ReplanChanges(const TFillModel& model, const solver::TRoster& roster) {
  std::vector<TReplanChange> changes;
  if (model.previous.empty()) return changes;
  const auto shiftOf = [&](int type) {
    return type == solver::kOff ? nullptr : model.types[static_cast<size_t>(type)].shift;
  };
  const auto postOf = [&](int type) {
    return type == solver::kOff ? nullptr : model.types[static_cast<size_t>(type)].post;
  };
  const size_t days = static_cast<size_t>(model.instance.days);
  for (int person = 0; person < roster.Employees(); ++person) {
    for (int day = model.replanStart; day < model.rangeEnd; ++day) {
      const int had = model.previous[static_cast<size_t>(person) * days + static_cast<size_t>(day)];
      // Fixed work is the plan's, not the engine's.
      const int has = model.Pinned(person, day) ? solver::kOff : roster.At(person, day);
      if (had == has) continue;
      changes.push_back({model.employees[static_cast<size_t>(person)],
                         TFecha(model.firstDay.Value() + day * kSecondsPerDay), shiftOf(had),
                         postOf(had), shiftOf(has), postOf(has)});
    }
  }
  return changes;
}

solver::TRoster LastRoster(const TFillModel& model) {
  solver::TRoster last = solver::PinnedRoster(model.instance);
  if (model.previous.empty()) return last;
  const size_t days = static_cast<size_t>(model.instance.days);
  for (int person = 0; person < last.Employees(); ++person) {
    const std::vector<int>& off = model.instance.employees[static_cast<size_t>(person)].daysOff;
    for (int day = model.replanStart; day < model.rangeEnd; ++day) {
      const int had = model.previous[static_cast<size_t>(person) * days + static_cast<size_t>(day)];
      if (had == solver::kOff || model.Pinned(person, day) ||
          !model.types[static_cast<size_t>(had)].fillable ||
          std::find(off.begin(), off.end(), day) != off.end())
        continue;
      last.Set(person, day, had);
    }
  }
  return last;
}

int64_t ChangeCost(const TFillModel& model, const solver::TRoster& roster) {
  const std::vector<solver::TRequest>& on = model.instance.onRequests;
  const std::vector<solver::TRequest>& off = model.instance.offRequests;
  int64_t cost = 0;
  for (size_t at = model.wishesOn; at < on.size(); ++at)
    cost += roster.At(on[at].employee, on[at].day) != on[at].shift ? on[at].weight : 0;
  for (size_t at = model.wishesOff; at < off.size(); ++at)
    cost += roster.At(off[at].employee, off[at].day) == off[at].shift ? off[at].weight : 0;
  return cost;
}

namespace {

// Whether the ITEM `node` is the engine's and starts on a day the re-plan
// of `model` gives again.
bool Replanned(const TXMLNode& node, const TFillModel& model) {
  if (model.previous.empty() || node.Attribute("by") != "engine") return false;
  const auto start = ParseIsoDate(node.Attribute("start").value_or(""));
  if (!start) return false;
  const int64_t day = (start->Date() - model.firstDay.Value()) / kSecondsPerDay;
  return start->Date() >= model.firstDay.Value() && day >= model.replanStart &&
         day < model.rangeEnd;
}

}  // namespace

std::string WithFilledItems(std::string_view xml, const TPlan& plan, const TFillModel& model,
                            const std::vector<TFilledItem>& filled) {
  TXMLDocument document;
  document.LoadFromXML(xml);
  std::map<std::string, TXMLNode, std::less<>> people;
  for (TXMLNode node = document.DocumentElement().FirstChild(); node; node = node.NextSibling()) {
    if (node.Name() != "EMPLOYEE") continue;
    people.emplace(node.Attribute("id").value_or(""), node);
    for (TXMLNode child = node.FirstChild(); child;) {
      const TXMLNode next = child.NextSibling();
      if (child.Name() == "ITEM" && Replanned(child, model)) node.RemoveChild(child);
      child = next;
    }
  }
  for (const TFilledItem& made : filled) {
    const auto person = people.find(plan.employees.at(made.employee).id);
    if (person == people.end())
      throw EConvertError("EMPLOYEE " + plan.employees[made.employee].id +
                          " is not in the document");
    const TXMLNode item = person->second.AddChild("ITEM");
    item.SetAttribute("start", made.item.start.ToString("yyyy-mm-dd"));
    item.SetAttribute("shift", made.item.code);
    if (!made.item.post.empty()) item.SetAttribute("post", made.item.post);
    item.SetAttribute("by", "engine");
  }
  return document.SaveToXML();
}

const char* LeftOutReasonName(TLeftOutReason reason) {
  switch (reason) {
    case TLeftOutReason::kBeforeRange:
      return "starts before the range";
    case TLeftOutReason::kClosedHoliday:
      return "holiday, post closed";
    case TLeftOutReason::kNoShift:
      break;
  }
  return "hours, no shift";
}

std::vector<TLeftOutNeed> NeedsLeftOut(const TPlan& plan, const TFillModel& model,
                                       const std::vector<TCoverageGap>& gaps) {
  const int64_t rangeFrom = model.firstDay.Value() + model.rangeStart * kSecondsPerDay;
  const int64_t rangeTo = model.firstDay.Value() + model.rangeEnd * kSecondsPerDay;
  std::vector<TLeftOutNeed> leftOut;
  for (const TPost& post : plan.posts) {
    // The post's spans, apart and in time order (as CheckCoverage lists
    // them): those that overlap a need are found by bisection.
    std::vector<const TCoverageGap*> spans;
    for (const TCoverageGap& gap : gaps)
      if (gap.post == &post) spans.push_back(&gap);
    std::sort(spans.begin(), spans.end(), [](const TCoverageGap* a, const TCoverageGap* b) {
      return a->from.Value() < b->from.Value();
    });
    for (const TNeed& need : post.needs) {
      if (need.people == 0) continue;
      // The day before the range too: its night runs into the first day.
      for (int day = model.rangeStart - 1; day < model.rangeEnd; ++day) {
        const TFecha date(model.firstDay.Value() + day * kSecondsPerDay);
        if (!HoldsWeekday(need.days, date.DayOfWeek())) continue;
        TLeftOutNeed out;
        out.from = TFecha(date.Value() + need.startMinute * int64_t{60});
        out.to = TFecha(out.from.Value() + need.seconds.Value());
        if (out.to.Value() <= rangeFrom || out.from.Value() >= rangeTo) continue;
        if (day < model.rangeStart) {
          out.reason = TLeftOutReason::kBeforeRange;
        } else if (need.shift.empty()) {
          out.reason = TLeftOutReason::kNoShift;
        } else if (!post.worksHolidays && IsHolidayOf(plan, date.Value())) {
          out.reason = TLeftOutReason::kClosedHoliday;
        } else {
          continue;  // a cover line of the engine's: ExplainGaps tells
        }
        auto span = std::partition_point(spans.begin(), spans.end(), [&](const TCoverageGap* gap) {
          return gap->to.Value() <= out.from.Value();
        });
        for (; span != spans.end() && (*span)->from.Value() < out.to.Value(); ++span)
          out.missing = std::max(out.missing, (*span)->Shortfall());
        if (out.missing <= 0) continue;
        out.post = &post;
        out.need = &need;
        out.day = date;
        leftOut.push_back(out);
      }
    }
  }
  return leftOut;
}

const char* GapReasonName(TGapReason reason) {
  switch (reason) {
    case TGapReason::kNotThatPost:
      return "not that post";
    case TGapReason::kNotThatShift:
      return "not that shift";
    case TGapReason::kAbsent:
      return "on leave";
    case TGapReason::kPlanned:
      return "planned that day";
    case TGapReason::kBeforeReplan:
      return "before the re-plan";
    case TGapReason::kWorksThatDay:
      return "works another shift";
    case TGapReason::kRestAfter:
      return "rest after";
    case TGapReason::kRestBefore:
      return "rest before";
    case TGapReason::kWeekMaximum:
      return "week maximum";
    case TGapReason::kDaysInARow:
      return "days in a row";
    case TGapReason::kDaysOff:
      return "days off in a row";
    case TGapReason::kWeekendCap:
      return "weekend cap";
    case TGapReason::kHoursMaximum:
      return "hours maximum";
    case TGapReason::kShiftCap:
      return "shift cap";
    case TGapReason::kFree:
      break;
  }
  return "free";
}

namespace {

// One person's roster as the model's rules see it, to ask what a shift more
// on one day would break.
class TPersonView {
 public:
  TPersonView(const TFillModel& model, const solver::TRoster& roster, int person)
      : model_(model),
        instance_(model.instance),
        roster_(roster),
        person_(person),
        limits_(instance_.employees[static_cast<size_t>(person)]) {}

  bool Works(int day) const {
    return day >= 0 && day < instance_.days && roster_.At(person_, day) != solver::kOff;
  }

  // What giving `type` on `day` (now off) breaks first, after the person's
  // own posts and shifts.
  TGapReason Reason(int day, int type) const {
    if (std::find(limits_.daysOff.begin(), limits_.daysOff.end(), day) != limits_.daysOff.end())
      return TGapReason::kAbsent;
    if (model_.Pinned(person_, day)) {
      if (model_.previous.empty() || day >= model_.replanStart) return TGapReason::kPlanned;
      return Works(day) ? TGapReason::kWorksThatDay : TGapReason::kBeforeReplan;
    }
    if (Works(day)) return TGapReason::kWorksThatDay;
    if (Works(day - 1) && Forbids(roster_.At(person_, day - 1), type))
      return TGapReason::kRestAfter;
    if (Works(day + 1) && Forbids(type, roster_.At(person_, day + 1)))
      return TGapReason::kRestBefore;
    if (!limits_.maxWeekMinutes.empty() && WeekOver(day, type)) return TGapReason::kWeekMaximum;
    if (RunThrough(day) > limits_.maxConsecutive) return TGapReason::kDaysInARow;
    if (BreaksDaysOff(day)) return TGapReason::kDaysOff;
    if (WeekendOver(day)) return TGapReason::kWeekendCap;
    if (TotalMinutes() + Minutes(type) > limits_.maxMinutes) return TGapReason::kHoursMaximum;
    if (Count(type) + 1 > limits_.maxShifts[static_cast<size_t>(type)])
      return TGapReason::kShiftCap;
    return TGapReason::kFree;
  }

 private:
  int64_t Minutes(int type) const { return instance_.shifts[static_cast<size_t>(type)].minutes; }
  int64_t NextDayMinutes(int type) const {
    return instance_.shifts[static_cast<size_t>(type)].minutesNextDay;
  }
  bool Forbids(int first, int next) const {
    const std::vector<int>& after = instance_.shifts[static_cast<size_t>(first)].forbiddenNext;
    return std::find(after.begin(), after.end(), next) != after.end();
  }
  // Whether `type` worked on `day` as well passes the cap of a week it
  // touches: a shift's minutes after midnight count on the next day, so a
  // Sunday night fills the next week too.
  bool WeekOver(int day, int type) const {
    const bool spills = NextDayMinutes(type) > 0 && day + 1 < instance_.days;
    return WeekOver(day / 7, day, type) || (spills && WeekOver((day + 1) / 7, day, type));
  }
  bool WeekOver(int week, int day, int type) const {
    int64_t minutes = 0;
    const auto add = [&](int at, int shift) {
      if (at / 7 == week) minutes += Minutes(shift) - NextDayMinutes(shift);
      if (at + 1 < instance_.days && (at + 1) / 7 == week) minutes += NextDayMinutes(shift);
    };
    for (int at = std::max(0, 7 * week - 1); at < std::min(instance_.days, 7 * week + 7); ++at) {
      if (Works(at)) add(at, roster_.At(person_, at));
    }
    add(day, type);
    return minutes > limits_.maxWeekMinutes[static_cast<size_t>(week)];
  }
  int RunThrough(int day) const {
    int run = 1;
    for (int at = day - 1; Works(at); --at) ++run;
    for (int at = day + 1; Works(at); ++at) ++run;
    return run;
  }
  // Working `day` splits its run of days off: a piece that touches neither
  // end of the horizon and is shorter than `minDaysOff` breaks the rule.
  bool BreaksDaysOff(int day) const {
    int before = 0, after = 0;
    for (int at = day - 1; at >= 0 && !Works(at); --at) ++before;
    for (int at = day + 1; at < instance_.days && !Works(at); ++at) ++after;
    const bool beforeBounded = day - before > 0, afterBounded = day + after + 1 < instance_.days;
    return (before > 0 && beforeBounded && before < limits_.minDaysOff) ||
           (after > 0 && afterBounded && after < limits_.minDaysOff);
  }
  bool WeekendOver(int day) const {
    if (!solver::IsWeekendDay(day)) return false;
    const int saturday = day / 7 * 7 + 5;
    if (Works(saturday) || Works(saturday + 1)) return false;  // worked already
    int worked = 0;
    for (int weekend = 0; weekend < solver::WeekendCount(instance_.days); ++weekend)
      worked += Works(7 * weekend + 5) || Works(7 * weekend + 6) ? 1 : 0;
    return worked + 1 > limits_.maxWeekends;
  }
  int64_t TotalMinutes() const {
    int64_t minutes = 0;
    for (int at = 0; at < instance_.days; ++at)
      if (Works(at)) minutes += Minutes(roster_.At(person_, at));
    return minutes;
  }
  int Count(int type) const {
    int count = 0;
    for (int at = 0; at < instance_.days; ++at) count += roster_.At(person_, at) == type ? 1 : 0;
    return count;
  }

  const TFillModel& model_;
  const solver::TInstance& instance_;
  const solver::TRoster& roster_;
  int person_;
  const solver::TEmployee& limits_;
};

}  // namespace

std::vector<TGapExplanation> ExplainGaps(const TPlan& plan, const TFillModel& model,
                                         const solver::TRoster& roster) {
  std::vector<TGapExplanation> gaps;
  for (const solver::TCover& line : model.instance.cover) {
    int count = 0;
    for (int person = 0; person < roster.Employees(); ++person)
      count += roster.At(person, line.day) == line.shift ? 1 : 0;
    if (count >= line.requirement) continue;
    const TFillType& what = model.types[static_cast<size_t>(line.shift)];
    TGapExplanation gap;
    gap.post = what.post;
    gap.shift = what.shift;
    gap.day = TFecha(model.firstDay.Value() + line.day * kSecondsPerDay);
    gap.missing = line.requirement - count;
    for (int person = 0; person < roster.Employees(); ++person) {
      const size_t index = model.employees[static_cast<size_t>(person)];
      const TEmployee& employee = plan.employees[index];
      const bool ownPost = employee.post == what.post->code;
      const bool mayPost = Lists(employee.posts, what.post->code);
      if (!ownPost && !mayPost) continue;
      if (roster.At(person, line.day) == line.shift) continue;
      TGapReason reason = TGapReason::kFree;
      if (!mayPost) {
        reason = TGapReason::kNotThatPost;
      } else if (!employee.shifts.empty() && !Lists(employee.shifts, what.shift->code)) {
        reason = TGapReason::kNotThatShift;
      } else {
        reason = TPersonView(model, roster, person).Reason(line.day, line.shift);
      }
      gap.people.push_back({index, reason});
    }
    gaps.push_back(std::move(gap));
  }
  return gaps;
}

}  // namespace cuadrante::roster
