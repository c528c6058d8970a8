// `cuadrante plan roster|hours PLAN.xml`: the people of a plan, week by week,
// and their hours against their contracts.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include "cuadrante/port/files.h"
#include "cuadrante/roster/balance.h"
#include "cuadrante/roster/checks.h"
#include "cuadrante/roster/personroster.h"
#include "cuadrante/roster/plan.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/formatsettings.h"
#include "cuadrante/time/isotext.h"
#include "tools/cuadrante/documents.h"
#include "tools/cuadrante/ics_command.h"
#include "tools/cuadrante/labels.h"
#include "tools/cuadrante/plan_command.h"
#include "tools/cuadrante/plan_render.h"
#include "tools/cuadrante/plan_solve.h"

namespace cuadrante::tool {

// Hours of 1/420 s units: "37:30" for a person, "37.50" for a program. Only
// here are they rounded, so every total is the sum of the exact days.
std::string HoursText(int64_t units, bool forPeople) {
  char text[32];
  if (forPeople) {
    constexpr int64_t kMinute = 60 * roster::kShareUnits;
    const int64_t minutes = (std::llabs(units) + kMinute / 2) / kMinute;
    std::snprintf(text, sizeof text, "%s%lld:%02lld", units < 0 && minutes != 0 ? "-" : "",
                  static_cast<long long>(minutes / 60), static_cast<long long>(minutes % 60));
  } else {
    std::snprintf(text, sizeof text, "%.2f",
                  static_cast<double>(units) / static_cast<double>(roster::kShareUnits * 3600));
  }
  return text;
}

namespace {

// "07-15" for whole hours, "07:30-15:30" otherwise.
std::string Clock(TFecha start, int64_t end) {
  const bool whole = start.Value() % 3600 == 0 && end % 3600 == 0;
  const char* form = whole ? "hh" : "hh:nn";
  return start.ToString(form) + "-" + TFecha(end).ToString(form);
}

// A moment as a person reads it, or as ISO 8601 for a program.
std::string When(TFecha at, bool forPeople) {
  return forPeople ? at.ToString("dd/mm/yyyy hh:nn")
                   : at.ToString("yyyy-mm-dd") + "T" + at.ToString("hh:nn:ss");
}

std::string IsoDay(TFecha day) { return day.ToString("yyyy-mm-dd"); }

// What each plan command takes besides the range and the filters; anything
// else given is a usage error, so a misplaced option is never ignored.
const std::map<std::string, std::set<std::string>>& CommandOptions() {
  static const std::map<std::string, std::set<std::string>> options = {
      {"roster", {"--format"}},
      {"hours", {"--format", "--by", "--tz"}},
      {"check", {"--format", "--min-rest", "--max-week", "--max-days", "--tz"}},
      {"coverage", {"--format"}},
      {"render", {"-o"}},
      {"solve",
       {"-o", "--time-limit", "--seed", "--format", "--explain", "--replan", "--change-weight",
        "--fair"}},
  };
  return options;
}

Options ParsePlanOptions(const Args& args) {
  return Parse(
      args, {Join(RangeOptions(true),
                  {FormatOption(), Choice("--by", {"day", "week", "month"}), Value("--min-rest"),
                   Value("--max-week"), Number("--max-days", 1, 3660), Value("-o"), Value("--tz"),
                   Value("--employee"), Value("--post"), Number("--time-limit", 1, 86400),
                   Number("--seed", 0, INT64_MAX), Flag("--explain"), Flag("--replan"),
                   Number("--change-weight", 0, 1'000'000), Flag("--fair")}),
             {2, 2,
              "expects roster, hours, check, coverage, render or solve and one PLAN.xml "
              "(see `cuadrante help plan`)"}});
}

void RefuseOptionsOf(const std::string& command, const Options& options) {
  const auto found = CommandOptions().find(command);
  if (found == CommandOptions().end())
    throw Misuse("expects roster, hours, check, coverage, render or solve, not '" +
                 Printable(command) + "'");
  for (const auto& [name, value] : options.values) {
    if (name == "--month" || name == "--from" || name == "--to" || name == "--employee" ||
        name == "--post")
      continue;
    if (found->second.count(name) == 0) throw Misuse("plan " + command + " does not take " + name);
  }
  if (command == "coverage" && options.Has("--employee"))
    throw Misuse("plan coverage counts posts: it takes --post, not --employee");
}

// One plan command's inputs: the plan, the range and whom to show.
struct PlanJob {
  roster::TPlan plan;
  TFecha first, last;
  std::string employee, post;

  bool Shows(const roster::TEmployee& person) const {
    return (employee.empty() || person.id == employee) && (post.empty() || person.post == post);
  }
};

PlanJob ReadPlanJob(const Options& options, std::string* text = nullptr) {
  PlanJob job;
  const DayRange days = ReadDays(options);
  job.first = days.first;
  job.last = days.last;
  const std::string& path = options.words[1];
  job.plan = LoadPlan(path, text);
  job.employee = options.Get("--employee", "");
  job.post = options.Get("--post", "");
  if (!job.employee.empty() &&
      std::none_of(job.plan.employees.begin(), job.plan.employees.end(),
                   [&](const roster::TEmployee& e) { return e.id == job.employee; }))
    throw EConvertError(path + ": no employee '" + job.employee + "'");
  if (!job.post.empty() && job.plan.FindPost(job.post) == nullptr)
    throw EConvertError(path + ": no post '" + job.post + "'");
  return job;
}

}  // namespace

// The library's sentences and labels through the dictionary.
roster::TWording Wording() {
  return {[](TTimePointType type) { return TypeLabel(type); },
          [](const std::string& sentence) { return Say(sentence); }};
}

namespace {

// What the plan leaves unsaid and the answers depend on, one line each.
void Warn(const PlanJob& job, const std::vector<roster::TPersonRoster>& rosters) {
  for (const std::string& warning : roster::PlanWarnings(rosters, job.first, job.last, Wording()))
    std::fprintf(stderr, "cuadrante plan: %s: %s\n", Say("warning").c_str(),
                 Printable(warning).c_str());
}

// The plan's limits, with what the command line says instead.
roster::TLimits Limits(const roster::TPlan& plan, const Options& options) {
  roster::TLimits limits = plan.limits;
  const auto hours = [&](const char* name, TDuration& seconds) {
    if (!options.Has(name)) return;
    const auto parsed = cuadrante::ParseHours(options.Need(name));
    if (!parsed)
      throw Misuse(std::string(name) + " takes hours (8, 7.5 or 7:30), not '" + options.Need(name) +
                   "'");
    seconds = *parsed;
  };
  hours("--min-rest", limits.minRestSeconds);
  hours("--max-week", limits.maxWeekSeconds);
  limits.maxConsecutiveDays =
      static_cast<int>(options.Number("--max-days", limits.maxConsecutiveDays));
  return limits;
}

int RunPlanCheck(const Options& options) {
  const Format format = ParseFormat(options);
  const std::optional<TZone> zone = ZoneOption(options);
  const PlanJob job = ReadPlanJob(options);
  Warn(job, roster::BuildRosters(job.plan, job.first, job.last));
  const auto breaches = roster::CheckRosters(
      job.plan, job.first, job.last, Limits(job.plan, options), zone ? &*zone : nullptr, Wording());
  const bool forPeople = format == Format::kText;
  Table table("breaches", {{"employee", Say("employee"), 10},
                           {"rule", Say("rule"), 22},
                           {"from", Say("from"), 16},
                           {"to", Say("to"), 16},
                           {"detail", Say("detail"), 0}});
  for (const auto& breach : breaches) {
    if (!job.Shows(*breach.employee)) continue;
    table.Add({breach.employee->id, Say(roster::BreachName(breach.kind)),
               When(breach.from, forPeople), When(breach.to, forPeople), breach.detail});
  }
  table.Print(format);
  if (forPeople) std::printf("\n%zu breach%s\n", table.Rows(), table.Rows() == 1 ? "" : "es");
  // A script or CI gates on the status.
  return table.Rows() == 0 ? 0 : kBadInput;
}

int RunPlanCoverage(const Options& options) {
  const Format format = ParseFormat(options);
  const PlanJob job = ReadPlanJob(options);
  const auto rosters = roster::BuildRosters(job.plan, job.first, job.last);
  Warn(job, rosters);
  const auto gaps = roster::CheckCoverage(job.plan, rosters, job.first, job.last);
  const bool forPeople = format == Format::kText;
  Table table("coverage", {{"post", Say("post"), 5},
                           {"from", Say("from"), 16},
                           {"to", Say("to"), 16},
                           {"required", Say("required"), 8, true, true},
                           {"at_work", Say("at work"), 7, true, true},
                           {"shortfall", Say("shortfall"), 9, true, true}});
  for (const auto& gap : gaps) {
    if (!job.post.empty() && gap.post->code != job.post) continue;
    table.Add({gap.post->code, When(gap.from, forPeople), When(gap.to, forPeople),
               std::to_string(gap.required), std::to_string(gap.atWork),
               std::to_string(gap.Shortfall())});
  }
  table.Print(format);
  if (forPeople) std::printf("\n%zu gap%s\n", table.Rows(), table.Rows() == 1 ? "" : "s");
  return 0;
}

// What one item shows in a roster cell: its shift code or type label, and
// its clock unless it fills whole days.
std::string CellText(const roster::TRosterItem& item) {
  std::string cell = item.code.empty() ? TypeLabel(item.type) : item.code;
  if (!item.FillsWholeDays()) cell += " " + Clock(item.start, item.End());
  return cell;
}

// The person's items by day of the range, as roster::DaysShown places them.
// `cancelled` picks the planned work that absence cancelled.
std::vector<std::string> DayCells(const roster::TPersonRoster& person, int64_t from, int days,
                                  bool cancelled) {
  std::vector<std::string> cells(static_cast<size_t>(days));
  for (const auto& item : person.items) {
    if (item.cancelled != cancelled) continue;
    for (const int day : roster::DaysShown(item, TFecha(from), days)) {
      std::string& slot = cells[static_cast<size_t>(day)];
      slot += (slot.empty() ? "" : "/") + CellText(item);
    }
  }
  return cells;
}

// For a program: a row a person and day, with the ISO date and week, what
// the day holds and the planned work that absence cancelled.
void PrintRosterList(const PlanJob& job, const std::vector<roster::TPersonRoster>& rosters,
                     Format format) {
  Table table("roster", {{"employee", "employee", 0},
                         {"post", "post", 0},
                         {"date", "date", 0},
                         {"week", "week", 0},
                         {"items", "items", 0},
                         {"cancelled", "cancelled", 0}});
  table.Stream(format);
  const int days = static_cast<int>((job.last.Value() - job.first.Value()) / kSecondsPerDay) + 1;
  for (const auto& person : rosters) {
    if (!job.Shows(*person.employee)) continue;
    const auto held = DayCells(person, job.first.Value(), days, false);
    const auto cancelled = DayCells(person, job.first.Value(), days, true);
    for (int day = 0; day < days; ++day) {
      const TFecha date(job.first.Value() + day * kSecondsPerDay);
      table.Add({person.employee->id, person.employee->post, IsoDay(date),
                 roster::IsoWeekName(date), held[static_cast<size_t>(day)],
                 cancelled[static_cast<size_t>(day)]});
    }
  }
  table.Print(format);
}

// For a person: a row a person and week, a column a weekday; days of the
// week outside the range say so, unless an item of the range starts there,
// and a day with nothing is a "-".
void PrintRosterWeeks(const PlanJob& job, const std::vector<roster::TPersonRoster>& rosters) {
  std::vector<Column> heads = {
      {"employee", Say("employee"), 12}, {"post", Say("post"), 5}, {"week", Say("week"), 9}};
  for (int day = 0; day < 7; ++day)
    heads.push_back(
        {"d" + std::to_string(day + 1), FormatSettings.ShortDayNames[(day + 1) % 7], 14});
  Table table("roster", std::move(heads));
  const int64_t rangeEnd = job.last.Value() + kSecondsPerDay;
  const std::string outside = Say("fuera");
  for (const auto& person : rosters) {
    if (!job.Shows(*person.employee)) continue;
    for (TFecha week = job.first.StartOfWeek(); week.Value() < rangeEnd;
         week = TFecha(week.Value() + 7 * kSecondsPerDay)) {
      const auto days = DayCells(person, week.Value(), 7, false);
      std::vector<std::string> cells = {
          person.employee->id, person.employee->post,
          "S" + std::to_string(week.Week()) + " " + week.ToString("dd/mm")};
      for (int day = 0; day < 7; ++day) {
        const int64_t date = week.Value() + day * kSecondsPerDay;
        const std::string& held = days[static_cast<size_t>(day)];
        // The night that began the evening before the range still shows
        // on its own day.
        const bool inRange = date >= job.first.Value() && date < rangeEnd;
        cells.push_back(!held.empty() ? held : inRange ? "-" : outside);
      }
      table.Add(std::move(cells));
    }
  }
  table.Print(Format::kText);
}

int RunPlanRoster(const Options& options) {
  const Format format = ParseFormat(options);
  const PlanJob job = ReadPlanJob(options);
  const auto rosters = roster::BuildRosters(job.plan, job.first, job.last);
  Warn(job, rosters);
  if (format == Format::kText) {
    PrintRosterWeeks(job, rosters);
  } else {
    PrintRosterList(job, rosters, format);
  }
  return 0;
}

roster::TPeriodKind ParseBy(const Options& options) {
  const std::string by = options.Get("--by", "week");
  if (by == "day") return roster::TPeriodKind::kDay;
  if (by == "month") return roster::TPeriodKind::kMonth;
  return roster::TPeriodKind::kWeek;
}

// A period's name: for a person "01/12/2026", "S49 30/11" or "dic 2026"; for
// a program "2026-12-01", "2026-W49" or "2026-12".
std::string PeriodName(TFecha start, roster::TPeriodKind by, bool forPeople) {
  switch (by) {
    case roster::TPeriodKind::kDay:
      return forPeople ? start.ToString("dd/mm/yyyy") : IsoDay(start);
    case roster::TPeriodKind::kWeek:
      return forPeople ? "S" + std::to_string(start.Week()) + " " + start.ToString("dd/mm")
                       : roster::IsoWeekName(start);
    case roster::TPeriodKind::kMonth:
      break;
  }
  return forPeople ? start.ToString("mmm yyyy") : start.ToString("yyyy-mm");
}

std::vector<std::string> HoursCells(const roster::TPeriodHours& hours, bool forPeople) {
  return {HoursText(hours.WorkUnits(), forPeople), HoursText(hours.credit, forPeople),
          HoursText(hours.OtherUnits(), forPeople), HoursText(hours.contract, forPeople),
          HoursText(hours.Balance(), forPeople)};
}

int RunPlanHours(const Options& options) {
  const Format format = ParseFormat(options);
  const bool forPeople = format == Format::kText;
  const roster::TPeriodKind by = ParseBy(options);
  const std::string byName = options.Get("--by", "week");
  const std::optional<TZone> zone = ZoneOption(options);
  const PlanJob job = ReadPlanJob(options);
  const auto rosters = roster::BuildRosters(job.plan, job.first, job.last);
  Warn(job, rosters);
  Table table("hours", {{"employee", Say("employee"), 12},
                        {"post", Say("post"), 5},
                        {byName, Say(byName), 10},
                        {"work", Say("work"), 8, true, true},
                        {"absence", Say("absence"), 8, true, true},
                        {"other", Say("other"), 8, true, true},
                        {"contract", Say("contract"), 8, true, true},
                        {"balance", Say("balance"), 8, true, true}});
  table.Stream(format);
  const auto periods = roster::SplitRange(job.first, job.last, by);
  for (const auto& person : rosters) {
    if (!job.Shows(*person.employee)) continue;
    const roster::TPersonHours hours(job.plan, person, job.first, job.last,
                                     zone ? &*zone : nullptr);
    if (zone) {
      TBasicPointMgr items;
      for (const auto& item : person.items)
        if (item.Counts()) items.Add(new TBasicPoint(item.start, TDuration(item.seconds)));
      ReportWallProblems(items.Points, *zone);
    }
    const auto row = [&](const std::string& name, const roster::TPeriodHours& sum) {
      std::vector<std::string> cells = {person.employee->id, person.employee->post, name};
      for (auto& cell : HoursCells(sum, forPeople)) cells.push_back(std::move(cell));
      table.Add(std::move(cells));
    };
    for (const roster::TPeriod& period : periods)
      row(PeriodName(period.start, by, forPeople), hours.Sum(period.firstDay, period.lastDay));
    row("total", hours.Sum(0, hours.Days() - 1));
  }
  table.Print(format);
  return 0;
}

}  // namespace

void HelpPlan() {
  std::printf(
      "usage: cuadrante plan roster|hours|check|coverage|render|solve PLAN.xml\n"
      "                      --month YYYY-MM | --from DATE --to DATE\n"
      "                      [--format text|csv|xml|json]\n"
      "                      [--by day|week|month] [--tz ZONE]              (hours)\n"
      "                      [--min-rest H] [--max-week H] [--max-days N]   (check)\n"
      "                      -o FILE.svg                                    (render)\n"
      "                      [--time-limit S] [--seed N] [-o FILLED.xml]    (solve)\n"
      "                      [--explain] [--fair]                           (solve)\n"
      "                      [--replan --from DATE [--change-weight W]]     (solve)\n\n"
      "Reads a plan document (posts with their required coverage, named shifts,\n"
      "employees with their rules, rotations, leave and items; docs/formats.md tells\n"
      "its form) and answers:\n"
      "  roster    one row per employee per week: each day's shift code and times, or\n"
      "            the absence's label (a shift shows on the day it starts);\n"
      "  hours     one row per employee per week (--by day|week|month) and a total:\n"
      "            hours of work, absence and other types, split at midnight and at\n"
      "            the range's edges (with --tz, the hours that really pass in\n"
      "            that zone: a night across the spring change is 7 h), the\n"
      "            contract's share of those days and the balance (work - contract);\n"
      "  check     every breach of the rules, with person, span and what it is:\n"
      "            overlapping items, work during absence or on a plan holiday, rest\n"
      "            below the minimum (12 h), a week over the maximum (48 h) or over\n"
      "            the contract (whole weeks), more days in a row than allowed (6); the plan's\n"
      "            LIMITS and these options change the limits. Exit status 1 when\n"
      "            there is a breach, so a script can gate on it;\n"
      "  coverage  for each post, the spans where the people at work differ from\n"
      "            the people needed, with the shortfall (negative: more than needed);\n"
      "  render    the planner's picture (at most 62 days): a row an employee grouped\n"
      "            by post, a column a day, shifts coloured by type with their codes,\n"
      "            absences shaded, breaches outlined in red, and under each post its\n"
      "            coverage: red where people are missing, amber where there are more;\n"
      "  solve     the engine fills the needs that name a shift (NEED shift=\"N\") with\n"
      "            the people the plan allows (posts, shifts, hours, caps), keeping what\n"
      "            the plan fixes and its LIMITS, weighing its REQUESTs; prints what it\n"
      "            cost and the gaps left (csv/json: the shifts it gave), and with -o\n"
      "            writes the plan with those shifts as ITEMs by=\"engine\"; --explain\n"
      "            tells, for each need left short, why each person of its post did\n"
      "            not fill it (on leave, rest after, week maximum, days in a row...),\n"
      "            or why it was never the engine's (a holiday its post does not work,\n"
      "            a night from before the range, a need of hours and no shift).\n"
      "            The text ends with a fairness table: nights, weekends, holidays and\n"
      "            hours against contract per person, and their spread per post;\n"
      "            --fair makes a night or a weekend beyond a person's contract share\n"
      "            cost 2, and shows the spread and objective without it in brackets\n"
      "            (each solve gets half the time). --replan --from DATE re-plans a\n"
      "            filled plan: the engine's shifts before DATE stay, and each day\n"
      "            changed from DATE on costs W (default 10: more than a person too\n"
      "            many, less than one missing) over --month or DATE's month; it\n"
      "            lists the days changed, person by person (csv/json: those rows).\n"
      "            Exit status 1 when the plan's own part breaks a rule the engine\n"
      "            cannot mend.\n"
      "An item belongs to the range when it overlaps it. PLAN.xml may be - (stdin).\n\n"
      "examples:\n  cuadrante plan roster examples/plan.xml --month 2026-11\n"
      "  cuadrante plan hours examples/plan.xml --from 2026-11-02 --to 2026-11-15 --format csv\n"
      "  cuadrante plan coverage examples/plan.xml --month 2026-11\n"
      "  cuadrante plan render examples/plan.xml --month 2026-11 -o plan.svg\n"
      "  cuadrante plan solve examples/open-ward.xml --month 2026-12 --time-limit 2 -o "
      "filled.xml\n"
      "  cuadrante plan solve filled.xml --replan --from 2026-12-14 -o refilled.xml\n");
}

// With --replan, --from is the day the re-plan starts and the range is a
// month, --month or that day's: hours and caps are counted over the month
// the roster was filled for.
Options ReplanRange(const Options& options, PlanSolveJob& solve) {
  if (!options.Flag("--replan")) {
    if (options.Has("--change-weight")) throw Misuse("--change-weight goes with --replan");
    return options;
  }
  if (!options.Has("--from")) throw Misuse("--replan needs --from DATE, the day it starts");
  const std::string& from = options.Need("--from");
  solve.replanFrom = TFecha(TFecha(ParseDateArgument(from)).Date());
  if (options.Has("--to")) throw Misuse("--replan takes --month, not --to");
  Options ranged = options;
  ranged.values.erase("--from");
  if (!options.Has("--month")) ranged.values["--month"] = solve.replanFrom->ToString("yyyy-mm");
  return ranged;
}

int RunPlanSolve(const Options& options) {
  PlanSolveJob solve;
  const PlanJob job = ReadPlanJob(ReplanRange(options, solve), &solve.text);
  if (solve.replanFrom && (*solve.replanFrom < job.first || *solve.replanFrom > job.last))
    throw Misuse("--from " + options.Need("--from") + " is not in --month " +
                 options.Get("--month", ""));
  if (!job.employee.empty() || !job.post.empty())
    throw Misuse("plan solve fills the whole plan: it takes no --employee or --post");
  Warn(job, roster::BuildRosters(job.plan, job.first, job.last));
  solve.plan = &job.plan;
  solve.first = job.first;
  solve.last = job.last;
  solve.timeLimitSeconds = static_cast<double>(options.Number("--time-limit", 10));
  solve.seed = static_cast<uint64_t>(options.Number("--seed", 1));
  solve.output = options.Get("-o", "");
  solve.format = ParseFormat(options);
  solve.explain = options.Flag("--explain");
  solve.changeWeight = static_cast<int>(options.Number("--change-weight", solve.changeWeight));
  solve.fair = options.Flag("--fair");
  return RunPlanSolve(solve);
}

int RunPlan(const Args& args) {
  const Options options = ParsePlanOptions(args);
  RefuseOptionsOf(options.words[0], options);
  if (options.words[0] == "roster") return RunPlanRoster(options);
  if (options.words[0] == "hours") return RunPlanHours(options);
  if (options.words[0] == "check") return RunPlanCheck(options);
  if (options.words[0] == "coverage") return RunPlanCoverage(options);
  if (options.words[0] == "solve") return RunPlanSolve(options);
  if (options.words[0] == "render") {
    const std::string& output = options.Need("-o");
    if (options.words[1] != "-" && output != "-") {
      std::error_code error;
      if (std::filesystem::equivalent(options.words[1], output, error))
        throw Misuse("-o " + output + " is the plan; write the picture elsewhere");
    }
    const PlanJob job = ReadPlanJob(options);
    Warn(job, roster::BuildRosters(job.plan, job.first, job.last));
    return RunPlanRender(job.plan, job.first, job.last, output,
                         [&job](const roster::TEmployee& person) { return job.Shows(person); });
  }
  throw Misuse("expects roster, hours, check, coverage or render, not '" + options.words[0] + "'");
}

}  // namespace cuadrante::tool
