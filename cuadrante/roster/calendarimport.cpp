#include "cuadrante/roster/calendarimport.h"

#include <libical/ical.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <utility>

#include "cuadrante/points/range.h"
#include "cuadrante/port/files.h"
#include "cuadrante/port/filesystem.h"
#include "cuadrante/roster/chrono.h"
#include "cuadrante/roster/icslines.h"
#include "cuadrante/roster/libicalsupport.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/sysutils.h"
#include "cuadrante/time/basicbox.h"

namespace cuadrante::roster {
namespace {

// What a rule that libical finds no day for costs: its iterator then walks
// on to its own horizon, some 0.3 s, before it answers.
constexpr size_t kHorizonSteps = 100'000;

using detail::TComponentFree;
using detail::TComponentPtr;
using detail::Text;
using detail::TimeOfWall;
using detail::TIteratorFree;
using detail::XValue;
int64_t Wall(const icaltimetype& time) { return detail::WrittenWall(time); }

std::string LineText(size_t number) { return "line " + std::to_string(number); }

// The budget was spent: the whole calendar is refused, even when bad events
// are skipped, since every later rule would be refused too.
class EBudgetSpent : public EConvertError {
 public:
  using EConvertError::EConvertError;
};

// The steps the whole text may take (TImportOptions::maxSteps).
class TBudget {
 public:
  explicit TBudget(size_t steps) : all_(steps), left_(steps) {}
  void Spend(size_t steps, const std::string& what) {
    if (steps <= left_) {
      left_ -= steps;
      return;
    }
    left_ = 0;
    throw EBudgetSpent("the calendar needs more than " + std::to_string(all_) +
                       " steps to walk its rules and zones (" + what +
                       " spent the last); import a shorter range");
  }

 private:
  size_t all_;
  size_t left_;
};

// ---- The text, component by component, read before libical sees it.

enum class TPart { kEvent, kZone, kOther };

// A component at the calendar's top level, as text.
struct TPiece {
  TPart kind = TPart::kOther;
  size_t offset = 0;    // where its BEGIN line begins
  size_t number = 0;    // and that line's number
  std::string uid;      // as written, for messages before libical reads it
  std::string problem;  // the first time out of range in it, with its line
  bool moves = false;   // it holds a RECURRENCE-ID
};

// What a VTIMEZONE's rules cost libical: the first year of each observance
// whose RRULE it unrolls from there on.
struct TZoneRules {
  std::vector<int> fromYears;
  int paidTo = 0;  // the last year paid for
};

struct TCalendarText {
  std::vector<TPiece> pieces;
  std::map<std::string, TZoneRules> zones;  // by TZID
};

std::string Upper(std::string_view text) {
  std::string upper(text);
  for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return upper;
}

// Why an observance's RRULE is one no zone needs, or "". Zones change their
// clocks yearly on one day of one month ("BYMONTH=3;BYDAY=-1SU", or
// "BYMONTHDAY=8,...,14;BYDAY=SU"); libical unrolls each rule into every
// change from its DTSTART on, so a rule of every second never ends.
std::string ObservanceRuleProblem(std::string_view rule) {
  std::string problem;
  bool yearly = false;
  for (size_t from = 0; from <= rule.size() && problem.empty();) {
    const size_t end = std::min(rule.find(';', from), rule.size());
    const std::string part = Upper(rule.substr(from, end - from));
    from = end + 1;
    const size_t equals = part.find('=');
    const std::string key = part.substr(0, equals);
    const std::string value = equals == std::string::npos ? "" : part.substr(equals + 1);
    const size_t values = static_cast<size_t>(std::count(value.begin(), value.end(), ',')) + 1;
    if (key == "FREQ") {
      yearly = value == "YEARLY";
      if (!yearly) problem = "FREQ=" + value + " (a zone changes yearly)";
    } else if ((key == "BYMONTH" || key == "BYDAY") && values > 1) {
      problem = key + " with " + std::to_string(values) + " values (one, for one day a year)";
    } else if (key == "BYMONTHDAY" && values > 7) {
      problem = "BYMONTHDAY with " + std::to_string(values) + " values (at most a week's)";
    } else if (key != "BYMONTH" && key != "BYDAY" && key != "BYMONTHDAY" && key != "UNTIL" &&
               key != "COUNT" && key != "INTERVAL" && key != "WKST") {
      problem = key + ", which no zone needs";
    }
  }
  if (problem.empty() && !yearly) problem = "no FREQ=YEARLY";
  return problem;
}

// The year a DATE-TIME value names, 0 for none.
int YearOf(std::string_view value) {
  if (value.size() < 4) return 0;
  int year = 0;
  for (const char c : value.substr(0, 4)) {
    if (!std::isdigit(static_cast<unsigned char>(c))) return 0;
    year = year * 10 + (c - '0');
  }
  return year;
}

// Reads the calendar's lines once: where each component is, and what is
// wrong with it as written. A component open at the end, or closed by
// another's END, refuses the text; so does a VTIMEZONE with a time out of
// range or a rule no zone needs. An event's problem is kept for the event.
class TCalendarScan {
 public:
  explicit TCalendarScan(std::string_view text) : lines_(text) {}

  TCalendarText Scan() {
    if (!lines_.Next() || Upper(lines_.Line()) != "BEGIN:VCALENDAR")
      throw EConvertError("the text is no iCalendar calendar (no BEGIN:VCALENDAR)");
    open_.push_back({"VCALENDAR", lines_.Number()});
    while (lines_.Next()) {
      if (open_.empty()) {
        throw EConvertError(LineText(lines_.Number()) + ": text after END:VCALENDAR");
      }
      Take(lines_.Line());
    }
    if (!open_.empty()) {
      throw EConvertError("the text ends inside BEGIN:" + open_.back().name + " of " +
                          LineText(open_.back().number));
    }
    return std::move(calendar_);
  }

 private:
  struct TOpen {
    std::string name;
    size_t number;
  };

  void Take(const std::string& line) {
    const std::string name = PropertyName(line);
    const std::string value = Upper(PropertyValue(line));
    if (name == "BEGIN") {
      if (open_.size() == 1) Begin(value);
      open_.push_back({value, lines_.Number()});
      return;
    }
    if (name == "END") {
      if (value != open_.back().name) {
        throw EConvertError(LineText(lines_.Number()) + ": END:" + value + " closes BEGIN:" +
                            open_.back().name + " of " + LineText(open_.back().number));
      }
      open_.pop_back();
      if (open_.size() == 1) End();
      if (open_.size() == 2 && calendar_.pieces.back().kind == TPart::kZone) ObservanceEnded();
      return;
    }
    if (open_.size() < 2) return;
    TPiece& piece = calendar_.pieces.back();
    const std::string problem = TimeProblem(line);
    if (!problem.empty() && piece.problem.empty())
      piece.problem = LineText(lines_.Number()) + ": " + problem;
    if (open_.size() == 2 && name == "UID") piece.uid = std::string(PropertyValue(line));
    if (open_.size() == 2 && name == "RECURRENCE-ID") piece.moves = true;
    if (piece.kind == TPart::kZone) TakeZoneLine(name, line);
  }

  void Begin(const std::string& what) {
    TPiece piece;
    piece.kind = what == "VEVENT"      ? TPart::kEvent
                 : what == "VTIMEZONE" ? TPart::kZone
                                       : TPart::kOther;
    piece.offset = lines_.Offset();
    piece.number = lines_.Number();
    calendar_.pieces.push_back(std::move(piece));
    tzid_.clear();
    observanceYear_ = 0;
    zone_ = TZoneRules();
    ruled_ = false;
  }

  void TakeZoneLine(const std::string& name, const std::string& line) {
    TPiece& piece = calendar_.pieces.back();
    if (open_.size() == 2 && name == "TZID") tzid_ = std::string(PropertyValue(line));
    if (open_.size() != 3) return;
    if (name == "DTSTART") observanceYear_ = YearOf(PropertyValue(line));
    if (name == "RRULE") {
      const std::string problem = ObservanceRuleProblem(PropertyValue(line));
      if (!problem.empty() && piece.problem.empty())
        piece.problem = LineText(lines_.Number()) + ": an observance's RRULE with " + problem;
      ruled_ = true;
    }
  }

  void End() {
    TPiece& piece = calendar_.pieces.back();
    if (piece.kind != TPart::kZone) return;
    if (!piece.problem.empty())
      throw EConvertError("VTIMEZONE '" + tzid_ + "' (" + piece.problem + ")");
    calendar_.zones[tzid_] = zone_;
  }

  TContentLines lines_;
  std::vector<TOpen> open_;
  TCalendarText calendar_;
  // The VTIMEZONE being read.
  std::string tzid_;
  int observanceYear_ = 0;
  bool ruled_ = false;
  TZoneRules zone_;

  // An observance ends: its rule, if it had one, is unrolled from its year.
  void ObservanceEnded() {
    if (ruled_) zone_.fromYears.push_back(std::max(1, observanceYear_));
    ruled_ = false;
    observanceYear_ = 0;
  }
};

// ---- Times.

// What the zones a calendar defines cost libical: it unrolls each rule of a
// zone up to the year it is asked about (and some years on), once.
class TZoneCosts {
 public:
  TZoneCosts(std::map<std::string, TZoneRules> zones, TBudget& budget)
      : zones_(std::move(zones)), budget_(budget) {}
  void Pay(const std::string& tzid, int year) {
    const auto found = zones_.find(tzid);
    if (found == zones_.end()) return;
    TZoneRules& zone = found->second;
    const int to = year + 30;  // libical unrolls some years beyond the one asked
    size_t years = 0;
    for (const int from : zone.fromYears)
      years += static_cast<size_t>(std::max(0, to - std::max(from - 1, zone.paidTo)));
    if (years == 0) return;
    budget_.Spend(years, "the rules of VTIMEZONE '" + tzid + "'");
    zone.paidTo = std::max(zone.paidTo, to);
  }

 private:
  std::map<std::string, TZoneRules> zones_;
  TBudget& budget_;
};

// How one event's times become the wall clock of the target zone.
class TTimeReader {
 public:
  TTimeReader(const TZone* target, icalcomponent* calendar, const icaltimetype& start,
              icalproperty* startProperty, TZoneCosts& costs)
      : target_(target), costs_(costs) {
    if (startProperty == nullptr) return;
    if (icalparameter* tzid = icalproperty_get_first_parameter(startProperty, ICAL_TZID_PARAMETER))
      tzid_ = Text(icalparameter_get_tzid(tzid));
    zoned_ = !start.is_date && (icaltime_is_utc(start) || start.zone != nullptr || !tzid_.empty());
    // A zone the calendar defines is placed by its VTIMEZONE. One it only
    // names is placed by the tz database, the rules that --tz and the export
    // follow, and by libical's own copy only where the database lacks it.
    defined_ = !tzid_.empty() && icalcomponent_get_timezone(calendar, tzid_.c_str()) != nullptr;
    if (!tzid_.empty() && !defined_) {
      try {
        named_.emplace(TZone::Find(tzid_));
      } catch (const EConvertError&) {
        // libical's own zone, if it has one, is better than none.
      }
    }
  }

  int64_t operator()(const icaltimetype& time) const {
    if (target_ == nullptr || !zoned_ || time.is_date) return Wall(time);
    if (named_ && !icaltime_is_utc(time))
      return target_->ToWall(named_->ToUtc(TFecha(Wall(time)))).Value();
    if (icaltime_is_utc(time) || time.zone != nullptr) {
      // libical places the time by the calendar's own VTIMEZONE, or by UTC.
      if (defined_ && !icaltime_is_utc(time)) costs_.Pay(tzid_, time.year);
      const std::chrono::seconds utc(icaltime_as_timet_with_zone(time, time.zone));
      return target_->ToWall(std::chrono::sys_seconds(utc)).Value();
    }
    // Neither the calendar, nor the tz database, nor libical knows the zone.
    throw EConvertError("TZID '" + tzid_ + "' is neither in the calendar nor in the tz database");
  }

 private:
  const TZone* target_;
  TZoneCosts& costs_;
  std::optional<TZone> named_;
  std::string tzid_;
  bool zoned_ = false;
  bool defined_ = false;
};

TTimePointType TypeOf(icalcomponent* event, const TImportOptions& options) {
  if (const auto text = XValue(event, "X-CUADRANTE-TYPE")) {
    const int type = StrToIntDef(*text, -1);
    if (type >= 0 && type < kTimePointTypeCount) return static_cast<TTimePointType>(type);
  }
  for (icalproperty* p = icalcomponent_get_first_property(event, ICAL_CATEGORIES_PROPERTY);
       p != nullptr; p = icalcomponent_get_next_property(event, ICAL_CATEGORIES_PROPERTY)) {
    std::vector<std::string> names;
    const std::string value = Text(icalproperty_get_categories(p));
    for (size_t from = 0; from <= value.size();) {
      const size_t comma = std::min(value.find(',', from), value.size());
      names.push_back(value.substr(from, comma - from));
      from = comma + 1;
    }
    for (int type = 1; type < kTimePointTypeCount; ++type) {
      const auto kind = static_cast<TTimePointType>(type);
      const std::string label = options.label ? options.label(kind) : PlainTypeLabel(kind);
      for (const std::string& name : names)
        if (!label.empty() && AnsiCompareText(name, label) == 0) return kind;
    }
  }
  return options.defaultType;
}

void RaiseParseErrors(icalcomponent* event) {
  icalproperty* error = icalcomponent_get_first_property(event, ICAL_XLICERROR_PROPERTY);
  if (error == nullptr) return;
  throw EConvertError(Text(icalproperty_get_xlicerror(error)));
}

// ---- Rules.

// Where starts are wanted: an occurrence that starts before `from` ends
// before the range, one from `to` on starts after it (wall-clock bounds are
// enough: a zone moves a time by under a day).
struct TWindow {
  int64_t from;
  int64_t to;
};

// The values of a BY part, up to libical's end mark.
std::vector<int> ByList(const short* list, size_t size) {
  std::vector<int> values;
  for (size_t i = 0; i < size && list[i] != ICAL_RECURRENCE_ARRAY_MAX; ++i)
    values.push_back(list[i]);
  return values;
}

bool Allows(const std::vector<int>& list, int value, int fromEnd) {
  return list.empty() || std::find(list.begin(), list.end(), value) != list.end() ||
         (fromEnd != 0 && std::find(list.begin(), list.end(), fromEnd) != list.end());
}

// A rule finer than a day, walked here: libical's iterator tries every
// second (minute, hour) in turn and, when no time can match, never returns.
// Each day is tried once against the parts that limit days, and only a day
// that passes has its times tried: every try is a step of the budget.
class TSubDailyWalk {
 public:
  TSubDailyWalk(const icalrecurrencetype& rule, const icaltimetype& start, TBudget& budget,
                const std::string& name)
      : rule_(rule), start_(start), budget_(budget), name_(name) {
    unit_ = rule.freq == ICAL_HOURLY_RECURRENCE     ? 3600
            : rule.freq == ICAL_MINUTELY_RECURRENCE ? 60
                                                    : 1;
    step_ = unit_ * std::max<int64_t>(1, rule.interval);
    months_ = ByList(rule.by_month, ICAL_BY_MONTH_SIZE);
    monthDays_ = ByList(rule.by_month_day, ICAL_BY_MONTHDAY_SIZE);
    yearDays_ = ByList(rule.by_year_day, ICAL_BY_YEARDAY_SIZE);
    hours_ = ByList(rule.by_hour, ICAL_BY_HOUR_SIZE);
    minutes_ = ByList(rule.by_minute, ICAL_BY_MINUTE_SIZE);
    seconds_ = ByList(rule.by_second, ICAL_BY_SECOND_SIZE);
    std::sort(minutes_.begin(), minutes_.end());
    std::sort(seconds_.begin(), seconds_.end());
    for (const int day : ByList(rule.by_day, ICAL_BY_DAY_SIZE)) {
      if (icalrecurrencetype_day_position(static_cast<short>(day)) != 0)
        throw EConvertError(
            "its RRULE numbers weekdays (BYDAY), which a rule finer than a day cannot");
      weekdays_.push_back(
          static_cast<int>(icalrecurrencetype_day_day_of_week(static_cast<short>(day))));
    }
    if (!ByList(rule.by_set_pos, ICAL_BY_SETPOS_SIZE).empty() ||
        !ByList(rule.by_week_no, ICAL_BY_WEEKNO_SIZE).empty())
      throw EConvertError(
          "its RRULE has BYSETPOS or BYWEEKNO, which a rule finer than a day cannot");
  }

  // The starts in `window`, after the rule's first.
  std::vector<icaltimetype> Starts(const TWindow& window) {
    const int64_t first = Wall(start_);
    int64_t until = INT64_MAX;
    if (!icaltime_is_null_time(rule_.until)) {
      icaltimetype end = rule_.until;
      if (icaltime_is_utc(end) && start_.zone != nullptr && !icaltime_is_utc(start_))
        end = icaltime_convert_to_zone(end, const_cast<icaltimezone*>(start_.zone));
      until = Wall(end);
    }
    // Without COUNT nothing before the window counts: the walk begins there.
    int64_t day = DayOf(rule_.count > 0 ? first : std::max(first, window.from));
    std::vector<icaltimetype> starts;
    int found = 0;
    for (; day < window.to && day <= until; day += kSecondsPerDay) {
      budget_.Spend(1, name_);
      if (!DayAllowed(day)) continue;
      // The first period that begins on this day: periods step from the start.
      const int64_t behind = day - first;
      int64_t k = behind <= 0 ? 0 : (behind + step_ - 1) / step_;
      for (int64_t period = first + k * step_; period < day + kSecondsPerDay; period += step_) {
        budget_.Spend(1, name_);
        for (const int64_t at : Instants(period)) {
          if (at < first) continue;
          if (at > until || at >= window.to) return starts;
          if (rule_.count > 0 && ++found > rule_.count) return starts;
          if (at >= window.from) starts.push_back(TimeOfWall(at, false, start_.zone));
        }
      }
    }
    return starts;
  }

 private:
  static int64_t DayOf(int64_t wall) {
    return (wall >= 0 ? wall / kSecondsPerDay : -((-wall + kSecondsPerDay - 1) / kSecondsPerDay)) *
           kSecondsPerDay;
  }

  bool DayAllowed(int64_t day) const {
    const icaltimetype date = TimeOfWall(day, true, nullptr);
    const int monthDays = icaltime_days_in_month(date.month, date.year);
    const int yearDays = icaltime_days_in_year(date.year);
    const int yearDay = icaltime_day_of_year(date);
    const int weekday = icaltime_day_of_week(date);
    return Allows(months_, date.month, 0) &&
           Allows(monthDays_, date.day, date.day - monthDays - 1) &&
           Allows(yearDays_, yearDay, yearDay - yearDays - 1) && Allows(weekdays_, weekday, 0);
  }

  // The times a period gives, in order: an hour of an HOURLY rule spreads over
  // BYMINUTE and BYSECOND, a minute of a MINUTELY one over BYSECOND; the
  // other parts limit.
  std::vector<int64_t> Instants(int64_t period) {
    const int64_t ofDay = period - DayOf(period);
    const int hour = static_cast<int>(ofDay / 3600);
    const int minute = static_cast<int>(ofDay / 60 % 60);
    const int second = static_cast<int>(ofDay % 60);
    std::vector<int64_t> instants;
    if (!Allows(hours_, hour, 0)) return instants;
    const bool spreadMinutes = unit_ == 3600 && !minutes_.empty();
    const bool spreadSeconds = unit_ >= 60 && !seconds_.empty();
    if (!spreadMinutes && !Allows(minutes_, minute, 0)) return instants;
    if (!spreadSeconds && !Allows(seconds_, second, 0)) return instants;
    const std::vector<int> minutes = spreadMinutes ? minutes_ : std::vector<int>{minute};
    const std::vector<int> seconds = spreadSeconds ? seconds_ : std::vector<int>{second};
    const int64_t hourStart = period - ofDay + hour * 3600;
    for (const int m : minutes) {
      for (const int s : seconds) {
        budget_.Spend(1, name_);
        instants.push_back(hourStart + m * 60 + s);
      }
    }
    return instants;
  }

  icalrecurrencetype rule_;
  icaltimetype start_;
  TBudget& budget_;
  const std::string& name_;
  int64_t unit_ = 1;
  int64_t step_ = 1;
  std::vector<int> months_, monthDays_, yearDays_, weekdays_, hours_, minutes_, seconds_;
};

bool FinerThanADay(const icalrecurrencetype& rule) {
  return rule.freq == ICAL_SECONDLY_RECURRENCE || rule.freq == ICAL_MINUTELY_RECURRENCE ||
         rule.freq == ICAL_HOURLY_RECURRENCE;
}

// Whether a MONTHLY or YEARLY rule can reach a day at all: the months it
// visits (every INTERVAL months from DTSTART's, or BYMONTH's for a yearly
// rule), less those BYMONTH leaves out, must hold one of its BYMONTHDAYs.
// libical would otherwise walk some 0.3 s to its horizon for each such rule.
bool MonthsReachable(const icalrecurrencetype& rule, const icaltimetype& start) {
  const std::vector<int> months = ByList(rule.by_month, ICAL_BY_MONTH_SIZE);
  const std::vector<int> days = ByList(rule.by_month_day, ICAL_BY_MONTHDAY_SIZE);
  static constexpr int kLongest[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  for (int month = 1; month <= 12; ++month) {
    bool visited =
        rule.freq == ICAL_YEARLY_RECURRENCE ? !months.empty() || month == start.month : false;
    if (rule.freq == ICAL_MONTHLY_RECURRENCE) {
      const int interval = std::max(1, static_cast<int>(rule.interval));
      for (int k = 0; k < 12 && !visited; ++k)
        visited = (start.month - 1 + k * interval) % 12 == month - 1;
    }
    if (!visited || !Allows(months, month, 0)) continue;
    if (days.empty()) return true;
    for (const int day : days)
      if (day != 0 && std::abs(day) <= kLongest[month - 1]) return true;
  }
  return false;
}

// The days libical's iterator walks from `from` to `to`, at least one.
size_t DaysWalked(int64_t from, int64_t to) {
  return to <= from + kSecondsPerDay ? 1 : static_cast<size_t>((to - from) / kSecondsPerDay);
}

// What libical's iterator walked to answer that a rule gives nothing more.
// A rule that gave nothing at all may have no day: a daily or weekly rule
// walks its days up to UNTIL (to the year 2582 without one), a monthly or
// yearly one to libical's horizon, whatever UNTIL says. A rule that gave
// days gives one again within its cycle, which ends the walk past UNTIL.
size_t EndWalked(const icalrecurrencetype& rule, int64_t at, bool gave) {
  if (gave) return 1;
  if (rule.freq == ICAL_MONTHLY_RECURRENCE || rule.freq == ICAL_YEARLY_RECURRENCE)
    return kHorizonSteps;
  static const int64_t horizon = Wall(icaltime_from_day_of_year(1, 2583));
  return DaysWalked(at, icaltime_is_null_time(rule.until) ? horizon : Wall(rule.until));
}

// A daily or longer rule, walked by libical. A rule without COUNT starts at
// the window and ends with it (libical walks day by day up to UNTIL when no
// day matches); each step it takes is paid for.
std::vector<icaltimetype> LibicalStarts(icalrecurrencetype rule, const icaltimetype& start,
                                        const TWindow& window, TBudget& budget,
                                        const std::string& name) {
  if ((rule.freq == ICAL_MONTHLY_RECURRENCE || rule.freq == ICAL_YEARLY_RECURRENCE) &&
      !MonthsReachable(rule, start))
    throw EConvertError("its RRULE reaches no day");
  const bool counted = rule.count > 0;
  if (!counted && (icaltime_is_null_time(rule.until) || Wall(rule.until) > window.to))
    rule.until = TimeOfWall(window.to, start.is_date, start.zone);
  std::unique_ptr<icalrecur_iterator, TIteratorFree> steps(icalrecur_iterator_new(rule, start));
  if (!steps) throw EConvertError("its RRULE cannot be followed");
  int64_t at = Wall(start);
  if (!counted && window.from > at) {
    const icaltimetype from = TimeOfWall(window.from, start.is_date, start.zone);
    if (icalrecur_iterator_set_start(steps.get(), from) == 0)
      throw EConvertError("its RRULE cannot be followed from the range's start");
    at = window.from;
  }
  std::vector<icaltimetype> starts;
  bool gave = false;
  for (;;) {
    const icaltimetype next = icalrecur_iterator_next(steps.get());
    if (icaltime_is_null_time(next)) {
      budget.Spend(EndWalked(rule, at, gave), name);
      break;
    }
    gave = true;
    budget.Spend(DaysWalked(at, Wall(next)), name);
    at = Wall(next);
    if (at >= window.to) break;
    if (at >= window.from) starts.push_back(next);
  }
  return starts;
}

// The starts of one event's occurrences in the window, as written.
std::vector<icaltimetype> Starts(icalcomponent* event, const icaltimetype& start,
                                 const TWindow& window, TBudget& budget, const std::string& name) {
  std::vector<icaltimetype> starts;
  icalproperty* rule = icalcomponent_get_first_property(event, ICAL_RRULE_PROPERTY);
  // What the text writes out (DTSTART, each RDATE and EXDATE) costs no step:
  // its size bounds it already.
  if (rule == nullptr) {
    starts.push_back(start);
  } else {
    const icalrecurrencetype recurrence = icalproperty_get_rrule(rule);
    if (recurrence.freq == ICAL_NO_RECURRENCE) throw EConvertError("its RRULE cannot be followed");
    starts = FinerThanADay(recurrence)
                 ? TSubDailyWalk(recurrence, start, budget, name).Starts(window)
                 : LibicalStarts(recurrence, start, window, budget, name);
  }
  for (icalproperty* p = icalcomponent_get_first_property(event, ICAL_RDATE_PROPERTY); p != nullptr;
       p = icalcomponent_get_next_property(event, ICAL_RDATE_PROPERTY)) {
    const icaldatetimeperiodtype date = icalproperty_get_rdate(p);
    icaltimetype time = !icaltime_is_null_time(date.time) ? date.time : date.period.start;
    if (time.zone == nullptr) time.zone = start.zone;
    starts.push_back(time);
  }
  // A DATE EXDATE of a timed event takes out every start of that day.
  std::set<int64_t> excludedTimes;
  std::set<int64_t> excludedDays;
  for (icalproperty* p = icalcomponent_get_first_property(event, ICAL_EXDATE_PROPERTY);
       p != nullptr; p = icalcomponent_get_next_property(event, ICAL_EXDATE_PROPERTY)) {
    budget.Spend(1, name);
    icaltimetype time = icalproperty_get_exdate(p);
    // An EXDATE in UTC names the same instant as a zoned start.
    if (icaltime_is_utc(time) && start.zone != nullptr && !icaltime_is_utc(start))
      time = icaltime_convert_to_zone(time, const_cast<icaltimezone*>(start.zone));
    if (time.is_date && !start.is_date) {
      excludedDays.insert(Wall(time) / kSecondsPerDay);
    } else {
      excludedTimes.insert(Wall(time));
    }
  }
  std::erase_if(starts, [&](const icaltimetype& time) {
    return excludedTimes.count(Wall(time)) != 0 ||
           excludedDays.count(Wall(time) / kSecondsPerDay) != 0;
  });
  return starts;
}

// ---- Events.

// What reading one event needs of the calendar.
struct TReading {
  icalcomponent* root;  // the VCALENDAR that holds the zones
  TRange range;
  const TImportOptions& options;
  TBudget& budget;
  TZoneCosts& zones;
  const std::set<std::pair<std::string, int64_t>>& moved;  // UID, original start
};

// Adds `event` to the calendar while it is read, so that libical finds the
// zones its times name.
class TInCalendar {
 public:
  TInCalendar(icalcomponent* root, TComponentPtr event) : root_(root), event_(event.release()) {
    icalcomponent_add_component(root_, event_);
  }
  ~TInCalendar() {
    icalcomponent_remove_component(root_, event_);
    icalcomponent_free(event_);
  }
  TInCalendar(const TInCalendar&) = delete;
  TInCalendar& operator=(const TInCalendar&) = delete;
  icalcomponent* get() const { return event_; }

 private:
  icalcomponent* root_;
  icalcomponent* event_;
};

// The occurrences of one parsed event that belong to the range.
std::vector<TImportedEvent> ReadEvent(icalcomponent* e, const std::string& uid,
                                      const std::string& name, const TReading& reading) {
  RaiseParseErrors(e);
  if (icalcomponent_get_status(e) == ICAL_STATUS_CANCELLED) return {};
  icalproperty* startProperty = icalcomponent_get_first_property(e, ICAL_DTSTART_PROPERTY);
  if (startProperty == nullptr) throw EConvertError("no DTSTART");
  const icaltimetype start = icalcomponent_get_dtstart(e);
  // Its fields were checked as written; libical's own check stops at 3000.
  if (icaltime_is_null_time(start) || start.year < 1 || start.year > 9999)
    throw EConvertError("a DTSTART that is no time");

  // The length on the wall clock of the event's own zone.
  int64_t seconds = start.is_date ? kSecondsPerDay : 0;
  if (icalproperty* end = icalcomponent_get_first_property(e, ICAL_DTEND_PROPERTY)) {
    seconds = Wall(icalproperty_get_dtend(end)) - Wall(start);
  } else if (icalproperty* length = icalcomponent_get_first_property(e, ICAL_DURATION_PROPERTY)) {
    seconds = detail::DurationSeconds(icalproperty_get_duration(length));
  }
  if (seconds < 0) throw EConvertError("it ends before it starts");

  const bool isMove = icalcomponent_get_first_property(e, ICAL_RECURRENCEID_PROPERTY) != nullptr;
  const TTimeReader wall(reading.options.zone, reading.root, start, startProperty, reading.zones);
  const TTimePointType type = TypeOf(e, reading.options);
  const std::string summary = Text(icalcomponent_get_summary(e));
  const std::string code = XValue(e, "X-CUADRANTE-SHIFT").value_or("");
  const TWindow window{reading.range.start - seconds - kSecondsPerDay,
                       reading.range.end + kSecondsPerDay};
  std::vector<TImportedEvent> out;
  for (const icaltimetype& at : Starts(e, start, window, reading.budget, name)) {
    if (!isMove && reading.moved.count({uid, Wall(at)}) != 0) continue;
    // The end in our own seconds: libical's sum of a length is an int.
    const icaltimetype end = TimeOfWall(Wall(at) + seconds, at.is_date, at.zone);
    const int64_t first = wall(at);
    const int64_t last = wall(end);
    TBasicPoint probe{TFecha(first), TDuration(last - first)};
    if (!Belongs(probe, reading.range)) continue;
    out.push_back({TFecha(first), TDuration(last - first), type, summary, code, uid});
  }
  return out;
}

// The component whose BEGIN line is `piece`'s, parsed alone.
TComponentPtr Parse(std::string_view ics, const TPiece& piece) {
  TContentLines lines(ics, piece.offset, piece.number);
  TComponentPtr component = detail::ParseComponent(lines);
  if (!component) throw EConvertError(LineText(piece.number) + ": a component libical cannot read");
  return component;
}

// The zones the calendar defines, in a calendar of their own.
TComponentPtr ZonesOf(std::string_view ics, const TCalendarText& calendar) {
  TComponentPtr root(icalcomponent_new(ICAL_VCALENDAR_COMPONENT));
  for (const TPiece& piece : calendar.pieces) {
    if (piece.kind != TPart::kZone) continue;
    TComponentPtr zone = Parse(ics, piece);
    if (icalproperty* error = icalcomponent_get_first_property(zone.get(), ICAL_XLICERROR_PROPERTY))
      throw EConvertError("VTIMEZONE of " + LineText(piece.number) + ": " +
                          Text(icalproperty_get_xlicerror(error)));
    icalcomponent_add_component(root.get(), zone.release());
  }
  return root;
}

// Occurrences that a RECURRENCE-ID event moves, by UID and original start.
std::set<std::pair<std::string, int64_t>> Moved(std::string_view ics,
                                                const TCalendarText& calendar) {
  std::set<std::pair<std::string, int64_t>> moved;
  for (const TPiece& piece : calendar.pieces) {
    if (piece.kind != TPart::kEvent || !piece.moves || !piece.problem.empty()) continue;
    const TComponentPtr e = Parse(ics, piece);
    if (icalcomponent_get_first_property(e.get(), ICAL_RECURRENCEID_PROPERTY) != nullptr)
      moved.insert(
          {Text(icalcomponent_get_uid(e.get())), Wall(icalcomponent_get_recurrenceid(e.get()))});
  }
  return moved;
}

}  // namespace

std::vector<TImportedEvent> ReadCalendar(std::string_view ics, TFecha firstDay, TFecha lastDay,
                                         const TImportOptions& options) {
  TCalendarText calendar = TCalendarScan(ics).Scan();
  const TComponentPtr root = ZonesOf(ics, calendar);
  const auto moved = Moved(ics, calendar);
  TBudget budget(options.maxSteps);
  TZoneCosts zones(std::move(calendar.zones), budget);
  const TReading reading{root.get(), DaysRange(firstDay, lastDay), options, budget, zones, moved};

  std::vector<TImportedEvent> out;
  for (const TPiece& piece : calendar.pieces) {
    if (piece.kind != TPart::kEvent) continue;
    std::string uid = piece.uid;
    const std::string name = "event '" + uid + "' (" + LineText(piece.number) + ")";
    try {
      if (!piece.problem.empty()) throw EConvertError(piece.problem);
      const TInCalendar event(root.get(), Parse(ics, piece));
      uid = Text(icalcomponent_get_uid(event.get()));
      for (TImportedEvent& one : ReadEvent(event.get(), uid, name, reading))
        out.push_back(std::move(one));
    } catch (const EBudgetSpent&) {
      throw;
    } catch (const EConvertError& e) {
      if (!options.skip) throw EConvertError(name + ": " + e.Message);
      options.skip({uid, piece.number, e.Message});
    }
  }
  std::stable_sort(out.begin(), out.end(), [](const TImportedEvent& a, const TImportedEvent& b) {
    return a.start != b.start ? a.start < b.start : a.seconds < b.seconds;
  });
  return out;
}

namespace {

// A text as a field of a box's stored text, " " for none as a new box has.
std::string BoxField(std::string_view text) {
  std::string field;
  for (const char c : text) {
    if (c == ';') {
      field += ',';
    } else if (static_cast<unsigned char>(c) < 0x20) {
      field += ' ';
    } else {
      field += c;
    }
  }
  const size_t first = field.find_first_not_of(' ');
  if (first == std::string::npos) return " ";
  return field.substr(first, field.find_last_not_of(' ') - first + 1);
}

// A zone name from a path into a zoneinfo folder ("/usr/share/zoneinfo/
// Europe/Madrid", "../usr/share/zoneinfo/posix/Europe/Madrid"), or the text.
std::string ZoneNameOf(std::string_view text) {
  if (const size_t at = text.rfind("zoneinfo/"); at != std::string_view::npos) {
    text.remove_prefix(at + 9);
    for (const std::string_view variant : {"posix/", "right/"})
      if (text.substr(0, variant.size()) == variant) text.remove_prefix(variant.size());
  }
  return std::string(text);
}

std::optional<TZone> Known(const std::string& name) {
  if (name.empty()) return std::nullopt;
  try {
    return TZone::Find(name);
  } catch (const EConvertError&) {
    return std::nullopt;
  }
}

}  // namespace

void AddAsBoxes(std::span<const TImportedEvent> events, TBasicPointMgr& set) {
  for (const TImportedEvent& event : events) {
    auto box = std::make_unique<TBasicBox>();
    box->SetInicio(event.start);
    box->SetDuration(event.seconds);
    box->Type = event.type;
    box->RestartEnd();
    box->RestartColor();
    const std::string code = BoxField(event.code);
    const std::string summary = BoxField(event.summary);
    std::string_view rest = summary;
    // "M Mañana" with code M keeps "Mañana": the export puts the code back.
    if (code != " " && rest.substr(0, code.size()) == code &&
        (rest.size() == code.size() || rest[code.size()] == ' '))
      rest.remove_prefix(std::min(rest.size(), code.size() + 1));
    box->SetCode(code);
    box->SetDescription(BoxField(rest));
    set.Add(box.release());
  }
}

TZoneChoice ChooseLocalZone(const char* tz, std::string_view localtimeLink,
                            std::string_view timezoneFile) {
  std::string unknown;  // what named no zone, for the reason
  if (tz != nullptr) {
    std::string_view name = tz;
    if (!name.empty() && name.front() == ':') name.remove_prefix(1);
    // glibc reads an empty TZ as UTC.
    if (name.empty()) return {TZone::Find("UTC"), "TZ is empty: UTC"};
    if (auto zone = Known(ZoneNameOf(name))) return {std::move(*zone), "TZ"};
    unknown = "TZ '" + std::string(tz) + "' is no zone of the tz database; ";
  }
  if (auto zone = Known(ZoneNameOf(localtimeLink)))
    return {std::move(*zone), unknown + "/etc/localtime"};
  std::string_view recorded = timezoneFile;
  while (!recorded.empty() && std::isspace(static_cast<unsigned char>(recorded.back())))
    recorded.remove_suffix(1);
  if (auto zone = Known(std::string(recorded)))
    return {std::move(*zone), unknown + "/etc/timezone"};
  return {TZone::Find("UTC"), unknown + "nothing names the system's zone: UTC"};
}

TZoneChoice LocalZone() {
  std::string link;
  char target[4096];
  const ssize_t length = FileSystem().ReadLink("/etc/localtime", target, sizeof target);
  if (length > 0 && static_cast<size_t>(length) < sizeof target)
    link.assign(target, static_cast<size_t>(length));
  std::string recorded;
  try {
    if (link.empty() && FileExists("/etc/timezone"))
      recorded = ReadWholeFile("/etc/timezone", 4096);
  } catch (const Exception&) {
    // Unreadable is as good as absent: UTC follows.
  }
  return ChooseLocalZone(std::getenv("TZ"), link, recorded);
}

}  // namespace cuadrante::roster
