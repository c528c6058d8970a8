#include "cuadrante/roster/fill.h"

#include <algorithm>
#include <map>
#include <string>
#include <tuple>

#include "cuadrante/documents/xmldocument.h"
#include "cuadrante/roster/balance.h"
#include "cuadrante/roster/dayhours.h"
#include "cuadrante/roster/personroster.h"
#include "cuadrante/runtime/exception.h"

namespace cuadrante::roster {
namespace {

constexpr int kMostRangeDays = 366;

int MinutesOf(TDuration length) { return static_cast<int>((length.Value() + 59) / 60); }

bool IsHolidayOf(const TPlan& plan, int64_t day) {
  return std::find(plan.holidays.begin(), plan.holidays.end(), TFecha(day)) != plan.holidays.end();
}

bool Lists(const std::vector<std::string>& codes, const std::string& code) {
  return std::find(codes.begin(), codes.end(), code) != codes.end();
}

THoursKind KindOfItem(const TRosterItem& item) {
  TBasicPoint probe;
  probe.Type = item.type;
  return KindOf(probe);
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
        line.underWeight = std::max(line.underWeight, need.missingWeight);
        line.overWeight = std::max(line.overWeight, need.surplusWeight);
      }
    }
  }
  for (auto& [key, line] : lines) model.instance.cover.push_back(line);
}

// The person's limits over the range, in minutes: the plan's own, or the
// contract's share of the days not on leave within the tolerance.
std::pair<int64_t, int64_t> HoursRange(const TPlan& plan, const TEmployee& employee,
                                       const TFillModel& model, const std::vector<int>& daysOff) {
  int64_t owedUnits = 0;
  for (int day = model.rangeStart; day < model.rangeEnd; ++day) {
    if (std::find(daysOff.begin(), daysOff.end(), day) != daysOff.end()) continue;
    owedUnits +=
        ContractShare(plan, employee, TFecha(model.firstDay.Value() + day * kSecondsPerDay));
  }
  const int64_t owed = owedUnits / kShareUnits / 60;
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
                         const TFillModel& model, TTypeTable& types) {
  const int days = model.instance.days;
  const int64_t first = model.firstDay.Value();
  const TPost* own = plan.FindPost(employee.post);
  TPlannedDays planned{std::vector<int>(static_cast<size_t>(days), solver::kOff),
                       std::vector<bool>(static_cast<size_t>(days), false)};
  for (const TRosterItem& item : roster.items) {
    if (!item.Counts() || item.seconds <= TDuration()) continue;
    const THoursKind kind = KindOfItem(item);
    if (kind == THoursKind::kAbsence) {
      const int64_t from = std::max<int64_t>(0, (item.start.Value() - first) / kSecondsPerDay);
      const int64_t to = (item.End().Value() - 1 - first) / kSecondsPerDay;
      for (int64_t day = from; day <= to && day < days; ++day)
        planned.absent[static_cast<size_t>(day)] = true;
      continue;
    }
    if (kind != THoursKind::kWork || item.start.Value() < first) continue;
    const int64_t day = (item.start.Value() - first) / kSecondsPerDay;
    // One shift a day in the model: a second one that day is left to the checks.
    if (day >= days || planned.type[static_cast<size_t>(day)] != solver::kOff) continue;
    const TPost* post = item.post.empty() ? own : plan.FindPost(item.post);
    const TShift* shift = plan.FindShift(item.code);
    const int startMinute = static_cast<int>((item.start.Value() - item.start.Date()) / 60);
    if (shift != nullptr && (shift->startMinute != startMinute || shift->seconds != item.seconds))
      shift = nullptr;  // a shift's code on other times: work of its own times
    planned.type[static_cast<size_t>(day)] =
        types.Of(shift ? post : nullptr, shift, startMinute, item.seconds, false);
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

  const bool worksHolidays =
      std::any_of(employee.posts.begin(), employee.posts.end(),
                  [&](const std::string& code) { return plan.FindPost(code)->worksHolidays; });
  solver::TEmployee made;
  made.id = employee.id;
  // Pinned work counts against every limit; the engine may add what is left.
  std::vector<int> pinnedCount(model.types.size(), 0);
  int64_t pinnedOutside = 0;  // minutes before and after the range
  for (int day = 0; day < days; ++day) {
    const int type = planned.type[static_cast<size_t>(day)];
    const bool outside = day < model.rangeStart || day >= model.rangeEnd;
    if (type != solver::kOff || outside) {
      model.instance.pins.push_back({person, day, type});
      model.pinned[static_cast<size_t>(person) * static_cast<size_t>(days) +
                   static_cast<size_t>(day)] = true;
    } else if (planned.absent[static_cast<size_t>(day)] ||
               (!worksHolidays &&
                IsHolidayOf(plan, model.firstDay.Value() + day * kSecondsPerDay))) {
      made.daysOff.push_back(day);
    }
    if (type == solver::kOff) continue;
    ++pinnedCount[static_cast<size_t>(type)];
    if (outside) pinnedOutside += model.instance.shifts[static_cast<size_t>(type)].minutes;
  }
  const bool fillable = SetShiftCaps(employee, model, pinnedCount, made);
  const auto [low, high] = HoursRange(plan, employee, model, made.daysOff);
  made.minMinutes = fillable ? low + pinnedOutside : 0;
  made.maxMinutes =
      std::min(solver::kMostMinutes, fillable ? high + pinnedOutside : solver::kMostMinutes);
  made.maxWeekMinutes = WeekCaps(plan, employee, model);
  made.maxConsecutive = plan.limits.maxConsecutiveDays;
  made.minConsecutive = 1;
  made.minDaysOff = employee.minDaysOff;
  made.maxWeekends = employee.maxWeekends
                         ? *employee.maxWeekends + WeekendsOutside(model, planned.type)
                         : solver::WeekendCount(days);
  model.instance.employees.push_back(std::move(made));
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

}  // namespace

TFillModel ModelOfPlan(const TPlan& plan, TFecha firstDay, TFecha lastDay) {
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

std::string WithFilledItems(std::string_view xml, const TPlan& plan,
                            const std::vector<TFilledItem>& filled) {
  TXMLDocument document;
  document.LoadFromXML(xml);
  std::map<std::string, TXMLNode, std::less<>> people;
  for (TXMLNode node = document.DocumentElement().FirstChild(); node; node = node.NextSibling()) {
    if (node.Name() == "EMPLOYEE") people.emplace(node.Attribute("id").value_or(""), node);
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
    if (model_.Pinned(person_, day)) return TGapReason::kPlanned;
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
  // The minutes of week `week`, with `type` worked on `day` as well; a
  // shift's minutes after midnight count on the next day.
  bool WeekOver(int day, int type) const {
    const int week = day / 7;
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
