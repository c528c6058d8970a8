#include "cuadrante/roster/checks.h"

#include <algorithm>
#include <cstdio>

#include "cuadrante/roster/overlaps.h"
#include "cuadrante/roster/range.h"

namespace cuadrante::roster {
namespace {

constexpr int64_t kDay = 86400;

THoursKind KindOfType(TTimePointType type) {
  TBasicPoint probe;
  probe.Type = type;
  return KindOf(probe);
}

std::string HoursText(int64_t seconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%lld:%02lld", static_cast<long long>(seconds / 3600),
                static_cast<long long>(seconds % 3600 / 60));
  return text;
}

std::string Describe(const TRosterItem& item) {
  return (item.code.empty() ? "type " + std::to_string(item.type) : item.code) + " " +
         item.start.ToString("dd/mm/yyyy hh:nn") + "-" + TFecha(item.End()).ToString("hh:nn");
}

class TPersonCheck {
 public:
  TPersonCheck(const TPlan& plan, const TPersonRoster& roster, TFecha firstDay, TFecha lastDay,
               const TLimits& limits, std::vector<TBreach>& out)
      : plan_(plan),
        roster_(roster),
        first_(firstDay),
        last_(lastDay),
        limits_(limits),
        out_(out) {}

  void Run() {
    const size_t before = out_.size();
    Overlaps();
    Holidays();
    Rest();
    const TDayHours hours = HoursOf(roster_, first_, last_);
    Weeks(hours);
    Runs();
    std::stable_sort(out_.begin() + static_cast<std::ptrdiff_t>(before), out_.end(),
                     [](const TBreach& a, const TBreach& b) { return a.from < b.from; });
  }

 private:
  void Add(TBreachKind kind, int64_t from, int64_t to, std::string detail) {
    out_.push_back({roster_.employee, kind, TFecha(from), TFecha(to), std::move(detail)});
  }

  void Overlaps() {
    TBasicPointMgr points;
    for (const TRosterItem& item : roster_.items)
      points.Add(new TBasicPoint(item.start, TDuration(item.seconds)));
    // The roster is sorted by start and so is the set, entry for entry.
    const TOverlaps overlaps = FindOverlaps(points.Points, SIZE_MAX);
    for (const auto& [a, b] : overlaps.pairs) {
      const TRosterItem& first = roster_.items[a];
      const TRosterItem& second = roster_.items[b];
      const THoursKind ka = KindOfType(first.type), kb = KindOfType(second.type);
      const bool workAndAbsence = (ka == THoursKind::kWork && kb == THoursKind::kAbsence) ||
                                  (ka == THoursKind::kAbsence && kb == THoursKind::kWork);
      Add(workAndAbsence ? TBreachKind::kWorkDuringAbsence : TBreachKind::kOverlap,
          std::max(first.start.Value(), second.start.Value()), std::min(first.End(), second.End()),
          Describe(first) + " and " + Describe(second));
    }
  }

  void Holidays() {
    for (const TRosterItem& item : roster_.items) {
      if (KindOfType(item.type) != THoursKind::kWork || item.seconds <= 0) continue;
      for (const TFecha holiday : plan_.holidays) {
        const int64_t from = std::max(item.start.Value(), holiday.Value());
        const int64_t to = std::min(item.End(), holiday.Value() + kDay);
        if (from < to)
          Add(TBreachKind::kWorkOnHoliday, from, to,
              Describe(item) + " on the holiday of " + holiday.ToString("dd/mm/yyyy"));
      }
    }
  }

  void Rest() {
    const TRosterItem* previous = nullptr;
    for (const TRosterItem& item : roster_.items) {
      if (KindOfType(item.type) != THoursKind::kWork || item.seconds <= 0) continue;
      if (previous != nullptr) {
        const int64_t gap = item.start.Value() - previous->End();
        if (gap >= 0 && gap < limits_.minRestSeconds) {
          Add(TBreachKind::kShortRest, previous->End(), item.start.Value(),
              HoursText(gap) + " of rest between " + Describe(*previous) + " and " +
                  Describe(item) + ", less than " + HoursText(limits_.minRestSeconds));
        }
      }
      // The item that ends last is the one the next rest is measured from.
      if (previous == nullptr || item.End() > previous->End()) previous = &item;
    }
  }

  int64_t WorkOn(const TDayHours& hours, int day) const {
    int64_t work = 0;
    for (int type = 0; type < kTimePointTypeCount; ++type) {
      if (KindOfType(static_cast<TTimePointType>(type)) == THoursKind::kWork)
        work += hours.Seconds(day, static_cast<TTimePointType>(type));
    }
    return work;
  }

  void Weeks(const TDayHours& hours) {
    for (int day = 0; day < hours.Days();) {
      const TFecha date(first_.Value() + day * kDay);
      const int lastDay = std::min(hours.Days() - 1, day + 7 - date.DayOfWeek());
      int64_t work = 0;
      for (int d = day; d <= lastDay; ++d) work += WorkOn(hours, d);
      const int64_t from = date.Value(), to = first_.Value() + (lastDay + 1) * kDay;
      const std::string week = "week " + std::to_string(date.Week()) + ": " + HoursText(work);
      if (work > limits_.maxWeekSeconds) {
        Add(TBreachKind::kWeekOverMaximum, from, to,
            week + " of work, more than " + HoursText(limits_.maxWeekSeconds));
      }
      // A week cut by the range's edge is held to the maximum, which its
      // part already passes when the whole would, but not to the contract,
      // which is a whole week's.
      const double contract = roster_.employee->contractHours;
      const int64_t share = 60 * static_cast<int64_t>(contract * 60.0 + 0.5);
      if (contract > 0 && lastDay - day == 6 && work > share) {
        Add(TBreachKind::kWeekOverContract, from, to,
            week + " of work, more than the contract's " + HoursText(share));
      }
      day = lastDay + 1;
    }
  }

  // A working day is one on which a work item starts, as a planner counts
  // them: the morning after a night is not one more day.
  void Runs() {
    std::vector<bool> working(static_cast<size_t>((last_.Date() - first_.Date()) / kDay + 1));
    for (const TRosterItem& item : roster_.items) {
      const int64_t day = (item.start.Value() - first_.Value()) / kDay;
      if (KindOfType(item.type) == THoursKind::kWork && item.seconds > 0 &&
          item.start.Value() >= first_.Value() && day < static_cast<int64_t>(working.size()))
        working[static_cast<size_t>(day)] = true;
    }
    size_t start = 0;
    for (size_t day = 0; day <= working.size(); ++day) {
      if (day < working.size() && working[day]) continue;
      if (day - start > static_cast<size_t>(limits_.maxConsecutiveDays)) {
        Add(TBreachKind::kTooManyDays, first_.Value() + static_cast<int64_t>(start) * kDay,
            first_.Value() + static_cast<int64_t>(day) * kDay,
            std::to_string(day - start) + " consecutive days with work, more than " +
                std::to_string(limits_.maxConsecutiveDays));
      }
      start = day + 1;
    }
  }

  const TPlan& plan_;
  const TPersonRoster& roster_;
  TFecha first_, last_;
  const TLimits& limits_;
  std::vector<TBreach>& out_;
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

std::vector<TBreach> CheckRosters(const TPlan& plan, const std::vector<TPersonRoster>& rosters,
                                  TFecha firstDay, TFecha lastDay, const TLimits& limits) {
  std::vector<TBreach> breaches;
  for (const TPersonRoster& roster : rosters)
    TPersonCheck(plan, roster, firstDay, lastDay, limits, breaches).Run();
  return breaches;
}

std::vector<TCoverageGap> CheckCoverage(const TPlan& plan,
                                        const std::vector<TPersonRoster>& rosters, TFecha firstDay,
                                        TFecha lastDay) {
  const TRange range = DaysRange(firstDay, lastDay);
  std::vector<TCoverageGap> gaps;
  struct TChange {
    int64_t at;
    int required;
    int atWork;
  };
  std::vector<TChange> changes;
  const auto add = [&](int64_t from, int64_t to, int required, int atWork) {
    from = std::max(from, range.start);
    to = std::min(to, range.end);
    if (from >= to) return;
    changes.push_back({from, required, atWork});
    changes.push_back({to, -required, -atWork});
  };
  for (const TPost& post : plan.posts) {
    changes.clear();
    // A need of the evening before may reach into the range.
    for (int64_t day = range.start - kDay; day < range.end; day += kDay) {
      const int weekday = TFecha(day).DayOfWeek() - 1;
      for (const TNeed& need : post.needs) {
        if ((need.days & (1 << weekday)) == 0 || need.people == 0) continue;
        const int64_t start = day + need.startMinute * int64_t{60};
        add(start, start + need.seconds, need.people, 0);
      }
    }
    for (const TPersonRoster& roster : rosters) {
      if (roster.employee->post != post.code) continue;
      for (const TRosterItem& item : roster.items) {
        if (KindOfType(item.type) == THoursKind::kWork) add(item.start.Value(), item.End(), 0, 1);
      }
    }
    std::sort(changes.begin(), changes.end(),
              [](const TChange& a, const TChange& b) { return a.at < b.at; });
    int required = 0, atWork = 0;
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
