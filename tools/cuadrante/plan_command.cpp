// `cuadrante plan roster|hours PLAN.xml`: the people of a plan, week by week,
// and their hours against their contracts.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "cuadrante/roster/checks.h"
#include "cuadrante/roster/personroster.h"
#include "cuadrante/roster/plan.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/files.h"
#include "cuadrante/runtime/formatsettings.h"
#include "tools/cuadrante/commands.h"
#include "tools/cuadrante/labels.h"

namespace cuadrante::tool {
namespace {

constexpr int64_t kDay = 86400;

// "07-15" for whole hours, "07:30-15:30" otherwise.
std::string Clock(TFecha start, int64_t end) {
  const bool whole = start.Value() % 3600 == 0 && end % 3600 == 0;
  const char* form = whole ? "hh" : "hh:nn";
  return start.ToString(form) + "-" + TFecha(end).ToString(form);
}

// Hours as "37:30" for a person and "37.50" for a program.
std::string HoursText(int64_t seconds, bool forPeople) {
  char text[32];
  if (forPeople) {
    const int64_t minutes = seconds / 60;
    std::snprintf(text, sizeof text, "%s%lld:%02lld", minutes < 0 ? "-" : "",
                  static_cast<long long>(std::llabs(minutes) / 60),
                  static_cast<long long>(std::llabs(minutes) % 60));
  } else {
    std::snprintf(text, sizeof text, "%.2f", static_cast<double>(seconds) / 3600.0);
  }
  return text;
}

const Options ParsePlanOptions(const Args& args) {
  return Parse(args,
               {"--month", "--from", "--to", "--format", "--by", "--min-rest", "--max-week",
                "--max-days", "-o", "--tz"},
               {});
}

// The plan's limits, with what the command line says instead.
roster::TLimits Limits(const roster::TPlan& plan, const Options& options) {
  roster::TLimits limits = plan.limits;
  const auto hours = [&](const char* name, int64_t& seconds) {
    if (!options.Has(name)) return;
    const auto parsed = roster::ParseHours(options.Need(name));
    if (!parsed)
      throw Misuse(std::string(name) + " takes hours (8, 7.5 or 7:30), not '" + options.Need(name) +
                   "'");
    seconds = *parsed;
  };
  hours("--min-rest", limits.minRestSeconds);
  hours("--max-week", limits.maxWeekSeconds);
  if (options.Has("--max-days")) {
    const std::string& text = options.Need("--max-days");
    const int days = static_cast<int>(StrToIntDef(text, 0));
    if (days < 1) throw Misuse("--max-days takes a number of days, not '" + text + "'");
    limits.maxConsecutiveDays = days;
  }
  return limits;
}

int RunPlanCheck(const Options& options) {
  const Format format = ParseFormat(options);
  TFecha first, last;
  PlanRange(options, first, last);
  const roster::TPlan plan = LoadPlan(options.words[1]);
  const auto rosters = roster::BuildRosters(plan, first, last);
  const auto breaches = roster::CheckRosters(plan, rosters, first, last, Limits(plan, options));
  const char* const when = format == Format::kText ? "dd/mm/yyyy hh:nn" : "yyyy-mm-dd hh:nn:ss";
  Table table("breaches", {{"employee", "employee", 10},
                           {"rule", "rule", 22},
                           {"from", "from", 16},
                           {"to", "to", 16},
                           {"detail", "detail", 0}});
  for (const auto& breach : breaches) {
    table.Add({breach.employee->id, roster::BreachName(breach.kind), breach.from.ToString(when),
               breach.to.ToString(when), breach.detail});
  }
  table.Print(format);
  if (format == Format::kText) {
    std::printf("\n%zu breach%s\n", breaches.size(), breaches.size() == 1 ? "" : "es");
  }
  // A script or CI gates on the status.
  return breaches.empty() ? 0 : kBadInput;
}

int RunPlanCoverage(const Options& options) {
  const Format format = ParseFormat(options);
  TFecha first, last;
  PlanRange(options, first, last);
  const roster::TPlan plan = LoadPlan(options.words[1]);
  const auto gaps =
      roster::CheckCoverage(plan, roster::BuildRosters(plan, first, last), first, last);
  const char* const when = format == Format::kText ? "dd/mm/yyyy hh:nn" : "yyyy-mm-dd hh:nn:ss";
  Table table("coverage", {{"post", "post", 5},
                           {"from", "from", 16},
                           {"to", "to", 16},
                           {"required", "required", 8, true, true},
                           {"at_work", "at work", 7, true, true},
                           {"shortfall", "shortfall", 9, true, true}});
  for (const auto& gap : gaps) {
    table.Add({gap.post->code, gap.from.ToString(when), gap.to.ToString(when),
               std::to_string(gap.required), std::to_string(gap.atWork),
               std::to_string(gap.Shortfall())});
  }
  table.Print(format);
  if (format == Format::kText)
    std::printf("\n%zu gap%s\n", gaps.size(), gaps.size() == 1 ? "" : "s");
  return 0;
}

int RunPlanRoster(const Options& options) {
  const Format format = ParseFormat(options);
  TFecha first, last;
  PlanRange(options, first, last);
  const roster::TPlan plan = LoadPlan(options.words[1]);
  const auto rosters = roster::BuildRosters(plan, first, last);
  std::vector<Column> heads = {
      {"employee", "employee", 12}, {"post", "post", 5}, {"week", "week", 9}};
  for (int day = 0; day < 7; ++day) {
    heads.push_back(
        {"d" + std::to_string(day + 1), FormatSettings.ShortDayNames[(day + 1) % 7], 12});
  }
  Table table("roster", std::move(heads));
  const int64_t rangeEnd = last.Value() + kDay;
  for (const auto& person : rosters) {
    for (TFecha week = first.StartOfWeek(); week.Value() < rangeEnd;
         week = TFecha(week.Value() + 7 * kDay)) {
      std::vector<std::string> days(7);
      for (const auto& item : person.items) {
        // A shift shows on the day it starts; leave and other items on every day they touch.
        const int64_t from =
            item.code.empty() ? std::max(item.start.Value(), first.Value()) : item.start.Value();
        const int64_t to =
            item.code.empty() ? std::min(item.End(), rangeEnd) : item.start.Value() + 1;
        for (int64_t day = from / kDay * kDay; day < to; day += kDay) {
          // A shift that began the evening before the range still shows on
          // its own day, when the week's row holds that day.
          if (day < week.Value() || day >= week.Value() + 7 * kDay ||
              (item.code.empty() && (day < first.Value() || day >= rangeEnd))) {
            continue;
          }
          const bool wholeDays = item.seconds % kDay == 0 && item.start.Value() % kDay == 0;
          std::string cell = item.code.empty() ? TypeLabel(item.type) : item.code;
          if (!wholeDays) cell += " " + Clock(item.start, item.End());
          std::string& slot = days[static_cast<size_t>((day - week.Value()) / kDay)];
          slot += (slot.empty() ? "" : "/") + cell;
        }
      }
      std::vector<std::string> cells = {
          person.employee->id, person.employee->post,
          "S" + std::to_string(week.Week()) + " " + week.ToString("dd/mm")};
      for (auto& day : days) cells.push_back(format == Format::kText && day.empty() ? "-" : day);
      table.Add(std::move(cells));
    }
  }
  table.Print(format);
  return 0;
}

int RunPlanHours(const Options& options) {
  const Format format = ParseFormat(options);
  const bool forPeople = format == Format::kText;
  TFecha first, last;
  PlanRange(options, first, last);
  const std::string by = options.Get("--by", "week");
  if (by != "day" && by != "week" && by != "month")
    throw Misuse("--by takes day, week or month, not '" + by + "'");
  const std::optional<roster::TZone> zone = ZoneOption(options);
  const roster::TPlan plan = LoadPlan(options.words[1]);
  Table table("hours", {{"employee", "employee", 12},
                        {"post", "post", 5},
                        {by, by, 10},
                        {"work", "work", 8, true, true},
                        {"absence", "absence", 8, true, true},
                        {"other", "other", 8, true, true},
                        {"contract", "contract", 8, true, true},
                        {"balance", "balance", 8, true, true}});
  for (const auto& person : roster::BuildRosters(plan, first, last)) {
    const roster::TDayHours hours = roster::HoursOf(person, first, last, zone ? &*zone : nullptr);
    if (zone) {
      TBasicPointMgr items;
      for (const auto& item : person.items)
        items.Add(new TBasicPoint(item.start, TDuration(item.seconds)));
      ReportWallProblems(items.Points, *zone);
    }
    int64_t sums[5] = {};
    const auto add = [&](const std::string& week, int firstDay, int lastDay) {
      int64_t kinds[3] = {};
      for (int day = firstDay; day <= lastDay; ++day) {
        for (int type = 0; type < kTimePointTypeCount; ++type) {
          TBasicPoint probe;
          probe.Type = static_cast<TTimePointType>(type);
          kinds[static_cast<int>(roster::KindOf(probe))] +=
              hours.Seconds(day, static_cast<TTimePointType>(type));
        }
      }
      // The contract is a week's hours, counted for the days of the week in the range.
      // In whole minutes, so that the balance shown is the difference of what is shown.
      const int64_t contract =
          60 * static_cast<int64_t>(
                   person.employee->contractHours * 60.0 * (lastDay - firstDay + 1) / 7.0 + 0.5);
      const int64_t row[5] = {kinds[0], kinds[1], kinds[2], contract, kinds[0] - contract};
      std::vector<std::string> cells = {person.employee->id, person.employee->post, week};
      for (int i = 0; i < 5; ++i) {
        cells.push_back(HoursText(row[i], forPeople));
        sums[i] += row[i];
      }
      table.Add(std::move(cells));
    };
    for (int day = 0; day < hours.Days();) {
      const TFecha date(first.Value() + day * kDay);
      int lastDay = day;  // a day
      std::string period = date.ToString("dd/mm/yyyy");
      if (by == "week") {
        lastDay = std::min(hours.Days() - 1, day + 7 - date.DayOfWeek());
        period = "S" + std::to_string(date.Week()) + " " + date.ToString("dd/mm");
      } else if (by == "month") {
        lastDay =
            std::min<int>(hours.Days() - 1,
                          day + static_cast<int>((date.EndOfMonth().Date() - date.Date()) / kDay));
        period = date.ToString("mmm yyyy");
      }
      add(period, day, lastDay);
      day = lastDay + 1;
    }
    std::vector<std::string> total = {person.employee->id, person.employee->post, "total"};
    for (const int64_t sum : sums) total.push_back(HoursText(sum, forPeople));
    table.Add(std::move(total));
  }
  table.Print(format);
  return 0;
}

}  // namespace

roster::TPlan LoadPlan(const std::string& path) {
  const std::string text = path == "-"
                               ? ReadStandardInput(kDocumentFileLimit, "too large for a plan")
                               : std::string(ReadWholeFile(path, kDocumentFileLimit));
  try {
    return roster::ReadPlan(text);
  } catch (const Exception& e) {
    throw EConvertError(path + ": " + e.Message);
  }
}

// --month YYYY-MM or --from/--to, as the roster command takes them.
void PlanRange(const Options& options, TFecha& first, TFecha& last) {
  if (options.Has("--month")) {
    if (options.Has("--from") || options.Has("--to"))
      throw Misuse("takes --month or --from and --to, not both");
    const std::string& month = options.Need("--month");
    first = ParseMonthArgument(month);
    last = TFecha(first.EndOfMonth().Date());
  } else {
    ParseRange(options, first, last);
    last = TFecha(last.Date());
  }
}

void HelpPlan() {
  std::printf(
      "usage: cuadrante plan roster|hours|check|coverage|render PLAN.xml\n"
      "                      --month YYYY-MM | --from DATE --to DATE\n"
      "                      [--format text|csv|xml|json]\n"
      "                      [--by day|week|month] [--tz ZONE]              (hours)\n"
      "                      [--min-rest H] [--max-week H] [--max-days N]   (check)\n"
      "                      -o FILE.svg                                    (render)\n\n"
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
      "            coverage: red where people are missing, amber where there are more.\n"
      "An item belongs to the range when it overlaps it. PLAN.xml may be - (stdin).\n\n"
      "examples:\n  cuadrante plan roster examples/plan.xml --month 2026-11\n"
      "  cuadrante plan hours examples/plan.xml --from 2026-11-02 --to 2026-11-15 --format csv\n"
      "  cuadrante plan coverage examples/plan.xml --month 2026-11\n"
      "  cuadrante plan render examples/plan.xml --month 2026-11 -o plan.svg\n");
}

int RunPlan(const Args& args) {
  const Options options = ParsePlanOptions(args);
  if (options.words.size() != 2)
    throw Misuse(
        "expects roster, hours, check or coverage and one PLAN.xml (see `cuadrante help plan`)");
  if (options.words[0] == "roster") return RunPlanRoster(options);
  if (options.words[0] == "hours") return RunPlanHours(options);
  if (options.words[0] == "check") return RunPlanCheck(options);
  if (options.words[0] == "coverage") return RunPlanCoverage(options);
  if (options.words[0] == "render") {
    TFecha first, last;
    PlanRange(options, first, last);
    const std::string& output = options.Need("-o");
    if (options.words[1] != "-" && output != "-") {
      std::error_code error;
      if (std::filesystem::equivalent(options.words[1], output, error))
        throw Misuse("-o " + output + " is the plan; write the picture elsewhere");
    }
    return RunPlanRender(LoadPlan(options.words[1]), first, last, output);
  }
  throw Misuse("expects roster, hours, check, coverage or render, not '" + options.words[0] + "'");
}

}  // namespace cuadrante::tool
