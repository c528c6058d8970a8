#include "cuadrante/roster/checks.h"

#include <algorithm>
#include <cstdio>

#include "cuadrante/points/range.h"
#include "cuadrante/roster/balance.h"
#include "cuadrante/roster/overlaps.h"

namespace cuadrante::roster {
namespace {

// How far the checks look for the start of a run of days that crosses the
// range's edge; a run longer than this is told from where the look stops.
constexpr int64_t kLongestLook = 400;

THoursKind KindOfType(TTimePointType type) {
  TBasicPoint probe;
  probe.Type = type;
  return KindOf(probe);
}

std::string HoursText(TDuration length) {
  const int64_t seconds = length.Value();
  char text[32];
  std::snprintf(text, sizeof text, "%s%lld:%02lld", seconds < 0 ? "-" : "",
                static_cast<long long>(std::llabs(seconds) / 3600),
                static_cast<long long>(std::llabs(seconds) % 3600 / 60));
  return text;
}

// "M 23/11/2026 07:00-15:00", "N 30/11/2026 22:00-06:00", and with its end
// date when it lasts a day or more: "Vacaciones 21/12/2026 00:00-28/12/2026 00:00".
std::string Describe(const TRosterItem& item, const TWording& wording) {
  return (item.code.empty() ? wording.Label(item.type) : item.code) + " " +
         item.start.ToString("dd/mm/yyyy hh:nn") + "-" +
         item.End().ToString(item.seconds < TDuration(kSecondsPerDay) ? "hh:nn"
                                                                      : "dd/mm/yyyy hh:nn");
}

// A span touches the range when it shares a second with it or, having no
// length, when its instant lies in it: each instant in exactly one month.
bool Touches(int64_t from, int64_t to, TRange range) {
  if (to <= from) return range.start <= from && from < range.end;
  return from < range.end && to > range.start;
}

class TPersonCheck {
 public:
  TPersonCheck(const TPlan& plan, const TEmployee& employee, TFecha firstDay, TFecha lastDay,
               const TLimits& limits, const TZone* zone, const TWording& wording,
               std::vector<TBreach>& out)
      : plan_(plan),
        employee_(employee),
        range_(DaysRange(firstDay, lastDay)),
        limits_(limits),
        zone_(zone),
        wording_(wording),
        post_(plan.FindPost(employee.post)),
        out_(out) {}

  void Run() {
    // The week around each edge, the rest before the first shift and the run
    // of days that crosses an edge all lie outside the range.
    const int64_t restDays = limits_.minRestSeconds.Value() / kSecondsPerDay + 2;
    // (A rest limit of more than the longest look is looked for that far.)
    int64_t look =
        std::max<int64_t>(limits_.maxConsecutiveDays + 1, std::min(restDays, kLongestLook));
    Build(look);
    // A run that reaches the range from beyond what was looked at starts (or
    // ends) further out: look again, further, for its true length.
    for (const int64_t further : {int64_t{64}, kLongestLook}) {
      if (!RunCrossesLook() || look >= further) continue;
      look = further;
      Build(look);
    }
    const size_t before = out_.size();
    Overlaps();
    Holidays();
    Rest();
    Weeks();
    Runs();
    std::stable_sort(out_.begin() + static_cast<std::ptrdiff_t>(before), out_.end(),
                     [](const TBreach& a, const TBreach& b) { return a.from < b.from; });
  }

 private:
  void Build(int64_t lookDays) {
    first_ = TFecha(std::min(range_.start - lookDays * kSecondsPerDay,
                             TFecha(range_.start).StartOfWeek().Value()));
    const int64_t lastMidnight = range_.end - kSecondsPerDay;
    last_ = TFecha(std::max(lastMidnight + lookDays * kSecondsPerDay,
                            TFecha(lastMidnight).StartOfWeek().Value() + 6 * kSecondsPerDay));
    roster_ = BuildRoster(plan_, employee_, first_, last_);
    working_.assign(static_cast<size_t>((last_.Value() - first_.Value()) / kSecondsPerDay + 1),
                    false);
    for (const TRosterItem& item : roster_.items) {
      const int64_t day = (item.start.Date() - first_.Value()) / kSecondsPerDay;
      if (item.IsWork() && item.start >= first_ && day < static_cast<int64_t>(working_.size()))
        working_[static_cast<size_t>(day)] = true;
    }
  }

  // Whether a run of working days runs from an end of what was looked at
  // into the range: its true start or end lies further out. Runs that stay
  // outside the range are never reported, whatever their length.
  bool RunCrossesLook() const {
    if (working_.empty()) return false;
    const auto dayOf = [this](int64_t at) {
      return static_cast<size_t>((at - first_.Value()) / kSecondsPerDay);
    };
    const size_t rangeFirst = dayOf(range_.start), rangeLast = dayOf(range_.end - kSecondsPerDay);
    size_t from = 0;
    while (from < working_.size() && working_[from]) ++from;
    if (from > 0 && from > rangeFirst) return true;  // the run from the first day reaches the range
    size_t to = working_.size();
    while (to > 0 && working_[to - 1]) --to;
    return to < working_.size() && to <= rangeLast;
  }

  // `detail` words the breach only when it is kept: most of what the wider
  // look finds lies outside the range.
  template <class Detail>
  void Add(TBreachKind kind, int64_t from, int64_t to, const Detail& detail) {
    if (!Touches(from, to, range_)) return;
    out_.push_back({&employee_, kind, TFecha(from), TFecha(to), detail()});
  }

  // Two items of one kind that overlap; work that starts under an absence.
  void Overlaps() {
    TBasicPointMgr points;
    std::vector<size_t> index;
    for (size_t i = 0; i < roster_.items.size(); ++i) {
      const TRosterItem& item = roster_.items[i];
      if (!item.Counts()) continue;
      points.Add(new TBasicPoint(item.start, TDuration(item.seconds)));
      index.push_back(i);
    }
    // The roster is sorted by start and so is the set, entry for entry.
    const TOverlaps overlaps = FindOverlaps(points.Points, kMostOverlapsTold);
    for (const auto& [a, b] : overlaps.pairs) {
      const TRosterItem& first = roster_.items[index[a]];
      const TRosterItem& second = roster_.items[index[b]];
      const THoursKind ka = KindOfType(first.type), kb = KindOfType(second.type);
      const int64_t from = std::max(first.start.Value(), second.start.Value());
      const int64_t to = std::min(first.End(), second.End());
      const auto detail = [&] {
        return wording_.Say("{1} and {2}", {Describe(first, wording_), Describe(second, wording_)});
      };
      if (ka == THoursKind::kWork && kb == THoursKind::kAbsence) {
        // Only when the work starts under the absence: the night that began
        // before the leave is worked.
        if (first.start >= second.start) Add(TBreachKind::kWorkDuringAbsence, from, to, detail);
      } else if (ka == THoursKind::kAbsence && kb == THoursKind::kWork) {
        if (second.start < TFecha(first.End()))
          Add(TBreachKind::kWorkDuringAbsence, from, to, detail);
      } else {
        Add(TBreachKind::kOverlap, from, to, detail);
      }
    }
  }

  void Holidays() {
    if (post_ != nullptr && post_->worksHolidays) return;
    for (const TRosterItem& item : roster_.items) {
      if (!item.IsWork()) continue;
      for (const TFecha holiday : plan_.holidays) {
        const int64_t from = std::max(item.start.Value(), holiday.Value());
        const int64_t to = std::min(item.End().Value(), holiday.Value() + kSecondsPerDay);
        if (from < to)
          Add(TBreachKind::kWorkOnHoliday, from, to, [&] {
            return wording_.Say("{1} on the holiday of {2}",
                                {Describe(item, wording_), holiday.ToString("dd/mm/yyyy")});
          });
      }
    }
  }

  TDuration Elapsed(TFecha from, TFecha to) const {
    return zone_ != nullptr ? zone_->Elapsed(from, to) : to - from;
  }

  void Rest() {
    const TRosterItem* previous = nullptr;
    for (const TRosterItem& item : roster_.items) {
      if (!item.IsWork()) continue;
      if (previous != nullptr && item.start >= previous->End()) {
        const TDuration gap = Elapsed(previous->End(), item.start);
        if (gap < limits_.minRestSeconds) {
          Add(TBreachKind::kShortRest, previous->End(), item.start.Value(), [&] {
            return wording_.Say("{1} of rest between {2} and {3}, less than {4}",
                                {HoursText(gap), Describe(*previous, wording_),
                                 Describe(item, wording_), HoursText(limits_.minRestSeconds)});
          });
        }
      }
      // The item that ends last is the one the next rest is measured from.
      if (previous == nullptr || item.End() > previous->End()) previous = &item;
    }
  }

  // Whole weeks, Monday to Sunday, that the range touches.
  void Weeks() {
    const TDayHours hours = HoursOf(roster_, first_, last_, zone_);
    for (int64_t week = TFecha(range_.start).StartOfWeek().Value(); week < range_.end;
         week += 7 * kSecondsPerDay) {
      const int firstDay = static_cast<int>((week - first_.Value()) / kSecondsPerDay);
      TDuration work;
      int64_t contract = 0;
      for (int day = firstDay; day < firstDay + 7; ++day) {
        for (int type = 0; type < kTimePointTypeCount; ++type) {
          if (KindOfType(static_cast<TTimePointType>(type)) == THoursKind::kWork)
            work = work + hours.Seconds(day, static_cast<TTimePointType>(type));
        }
        contract +=
            ContractShare(plan_, employee_, TFecha(week + (day - firstDay) * kSecondsPerDay));
      }
      const std::string name = IsoWeekName(TFecha(week));
      if (work > limits_.maxWeekSeconds) {
        Add(TBreachKind::kWeekOverMaximum, week, week + 7 * kSecondsPerDay, [&] {
          return wording_.Say("{1}: {2} of work, more than {3}",
                              {name, HoursText(work), HoursText(limits_.maxWeekSeconds)});
        });
      }
      if (employee_.hasContract && work.Value() * kShareUnits > contract) {
        Add(TBreachKind::kWeekOverContract, week, week + 7 * kSecondsPerDay, [&] {
          return wording_.Say("{1}: {2} of work, more than the contract's {3}",
                              {name, HoursText(work), HoursText(UnitsToSeconds(contract))});
        });
      }
    }
  }

  // A working day is one on which a work item starts, as a planner counts
  // them: the morning after a night is not one more day.
  void Runs() {
    size_t start = 0;
    for (size_t day = 0; day <= working_.size(); ++day) {
      if (day < working_.size() && working_[day]) continue;
      if (day - start > static_cast<size_t>(limits_.maxConsecutiveDays)) {
        Add(TBreachKind::kTooManyDays,
            first_.Value() + static_cast<int64_t>(start) * kSecondsPerDay,
            first_.Value() + static_cast<int64_t>(day) * kSecondsPerDay, [&] {
              return wording_.Say(
                  "{1} consecutive days with work, more than {2}",
                  {std::to_string(day - start), std::to_string(limits_.maxConsecutiveDays)});
            });
      }
      start = day + 1;
    }
  }

  const TPlan& plan_;
  const TEmployee& employee_;
  TRange range_;
  const TLimits& limits_;
  const TZone* zone_;
  const TWording& wording_;
  const TPost* post_;
  std::vector<TBreach>& out_;
  TFecha first_, last_;  // what was looked at, whole days
  TPersonRoster roster_;
  std::vector<bool> working_;
};

}  // namespace

const char* BreachName(TBreachKind kind) {
  switch (kind) {
    case TBreachKind::kOverlap:
      return "overlap";
    case TBreachKind::kWorkDuringAbsence:
      return "work during absence";
    case TBreachKind::kWorkOnHoliday:
      return "work on a holiday";
    case TBreachKind::kShortRest:
      return "short rest";
    case TBreachKind::kWeekOverMaximum:
      return "week over maximum";
    case TBreachKind::kWeekOverContract:
      return "week over contract";
    case TBreachKind::kTooManyDays:
      break;
  }
  return "too many days in a row";
}

std::string TWording::Label(TTimePointType type) const {
  return label ? label(type) : GetIncidenceTypeAsStr(type);
}

std::string TWording::Say(const std::string& sentence,
                          std::initializer_list<std::string> values) const {
  const std::string said = say ? say(sentence) : sentence;
  std::string text;
  text.reserve(said.size() + 64);
  for (size_t at = 0; at < said.size(); ++at) {
    // {1} to {9}; anything else in braces stays as it is.
    if (said[at] == '{' && at + 2 < said.size() && said[at + 2] == '}' && said[at + 1] >= '1' &&
        said[at + 1] <= '9' && static_cast<size_t>(said[at + 1] - '1') < values.size()) {
      text += *(values.begin() + (said[at + 1] - '1'));
      at += 2;
    } else {
      text += said[at];
    }
  }
  return text;
}

std::vector<TBreach> CheckRosters(const TPlan& plan, TFecha firstDay, TFecha lastDay,
                                  const TLimits& limits, const TZone* zone,
                                  const TWording& wording) {
  std::vector<TBreach> breaches;
  for (const TEmployee& employee : plan.employees)
    TPersonCheck(plan, employee, firstDay, lastDay, limits, zone, wording, breaches).Run();
  return breaches;
}

std::vector<std::string> PlanWarnings(const std::vector<TPersonRoster>& rosters, TFecha firstDay,
                                      TFecha lastDay, const TWording& wording) {
  std::vector<std::string> warnings;
  const std::string from = firstDay.ToString("dd/mm/yyyy"), to = lastDay.ToString("dd/mm/yyyy");
  for (const TPersonRoster& roster : rosters) {
    const TEmployee& employee = *roster.employee;
    if (!employee.hasContract)
      warnings.push_back(
          wording.Say("EMPLOYEE {1} has no contract: no hours are owed, and absence credits none",
                      {employee.id}));
    if (employee.post.empty())
      warnings.push_back(
          wording.Say("EMPLOYEE {1} has no post: coverage leaves them out", {employee.id}));
    for (size_t rule = 0; rule < roster.ruleOccurrences.size(); ++rule) {
      if (roster.ruleOccurrences[rule] != 0) continue;
      const TRule& made = employee.rules[rule];
      const std::string number = std::to_string(rule + 1);
      // The likeliest cause: a rule that steps from a weekend day and skips weekends.
      if (!made.shift.empty() && !made.weekend && made.every != tgDay &&
          made.from.DayOfWeek() >= 6) {
        warnings.push_back(wording.Say(
            "EMPLOYEE {1}: RULE {2} has no occurrence in {3} - {4} (it steps from a weekend day "
            "and skips weekends: weekend=\"1\" keeps them)",
            {employee.id, number, from, to}));
      } else {
        warnings.push_back(wording.Say("EMPLOYEE {1}: RULE {2} has no occurrence in {3} - {4}",
                                       {employee.id, number, from, to}));
      }
    }
    for (const TItem& item : employee.items) {
      if (item.seconds <= TDuration())
        warnings.push_back(wording.Say("EMPLOYEE {1}: the ITEM at {2} lasts no time",
                                       {employee.id, item.start.ToString("dd/mm/yyyy hh:nn")}));
    }
  }
  return warnings;
}

std::vector<TCoverageGap> CheckCoverage(const TPlan& plan,
                                        const std::vector<TPersonRoster>& rosters, TFecha firstDay,
                                        TFecha lastDay) {
  const TRange range = DaysRange(firstDay, lastDay);
  std::vector<TCoverageGap> gaps;
  struct TChange {
    int64_t at;
    int64_t required;
    int64_t atWork;
  };
  std::vector<TChange> changes;
  std::vector<std::pair<int64_t, int64_t>> spans;
  const auto add = [&](int64_t from, int64_t to, int64_t required, int64_t atWork) {
    from = std::max(from, range.start);
    to = std::min(to, range.end);
    if (from >= to) return;
    changes.push_back({from, required, atWork});
    changes.push_back({to, -required, -atWork});
  };
  for (const TPost& post : plan.posts) {
    changes.clear();
    // A need of the evening before may reach into the range.
    for (int64_t day = range.start - kSecondsPerDay; day < range.end; day += kSecondsPerDay) {
      const int weekday = TFecha(day).DayOfWeek() - 1;
      for (const TNeed& need : post.needs) {
        if ((need.days & (1 << weekday)) == 0 || need.people == 0) continue;
        const int64_t start = day + need.startMinute * int64_t{60};
        add(start, start + need.seconds.Value(), need.people, 0);
      }
    }
    for (const TPersonRoster& roster : rosters) {
      // A person is at work once, however many of their items cover the moment;
      // an item may cover a post other than the person's own.
      spans.clear();
      for (const TRosterItem& item : roster.items) {
        const std::string& covers = item.post.empty() ? roster.employee->post : item.post;
        if (covers == post.code && item.IsWork())
          spans.emplace_back(item.start.Value(), item.End());
      }
      std::sort(spans.begin(), spans.end());
      for (size_t i = 0; i < spans.size();) {
        int64_t from = spans[i].first, to = spans[i].second;
        for (++i; i < spans.size() && spans[i].first <= to; ++i) to = std::max(to, spans[i].second);
        add(from, to, 0, 1);
      }
    }
    std::sort(changes.begin(), changes.end(),
              [](const TChange& a, const TChange& b) { return a.at < b.at; });
    int64_t required = 0, atWork = 0;
    for (size_t i = 0; i < changes.size();) {
      const int64_t at = changes[i].at;
      for (; i < changes.size() && changes[i].at == at; ++i) {
        required += changes[i].required;
        atWork += changes[i].atWork;
      }
      if (i == changes.size()) break;
      const int64_t next = changes[i].at;
      if (required <= 0 || required == atWork) continue;
      if (!gaps.empty() && gaps.back().post == &post && gaps.back().to.Value() == at &&
          gaps.back().required == required && gaps.back().atWork == atWork) {
        gaps.back().to = TFecha(next);
      } else {
        gaps.push_back({&post, TFecha(at), TFecha(next), required, atWork});
      }
    }
  }
  return gaps;
}

}  // namespace cuadrante::roster
