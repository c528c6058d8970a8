// `cuadrante expand`, `periods` and `roster`: rules unrolled into occurrences,
// a range cut into labelled calendar periods, and a month's week grid of the
// unrolled rules.
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "cuadrante/points/cyclepointmgr.h"
#include "cuadrante/points/range.h"
#include "cuadrante/port/files.h"
#include "cuadrante/roster/dayhours.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/time/basicbox.h"
#include "cuadrante/time/cyclepoint.h"
#include "cuadrante/time/rutinasfecha.h"
#include "tools/cuadrante/cycles_command.h"
#include "tools/cuadrante/documents.h"
#include "tools/cuadrante/ics_command.h"
#include "tools/cuadrante/points_command.h"

namespace cuadrante::tool {

void HelpExpand() {
  std::printf(
      "usage: cuadrante expand RULES.xml --from DATE --to DATE [--boxes]\n"
      "                        [--format text|csv|xml|json]\n\n"
      "Unrolls every rule of a rules document between two dates (both days\n"
      "included) and prints the occurrences that overlap the range, those that\n"
      "began the day before included, in time order with the number of the\n"
      "rule they come from. --boxes unrolls into boxes, with their colour. As xml\n"
      "the occurrences are a point-set document that `points`, `grid` and `render`\n"
      "read.\n\n"
      "examples:\n  cuadrante expand examples/rules.xml --from 2026-11-01 --to 2026-11-30\n"
      "  cuadrante expand examples/rules.xml --from 01/11/2026 --to 07/11/2026 --format xml\n");
}

int RunExpand(const Args& args) {
  const Options options =
      Parse(args, {Join(RangeOptions(false), {FormatOption(), Flag("--boxes")}),
                   {1, 1, "expects one RULES.xml (see `cuadrante help expand`)"}});
  const Format format = ParseFormat(options);
  const DayRange days = ReadDays(options);
  const TFecha from = days.first;
  const TFecha to = days.LastSecond();
  TCyclePointMgr rules;
  LoadRules(options.words[0], rules);
  const bool boxes = options.Flag("--boxes");
  ExpandRange(rules, from, to, boxes);
  if (boxes) {
    // A rule without a code or description gives its boxes empty ones, and an
    // empty field vanishes from the stored text: one blank, the boxes' own
    // default, keeps the saved document readable.
    for (TBasicPoint* point : rules.Points) {
      auto* box = static_cast<TBasicBox*>(point);
      if (box->Code.empty()) box->SetCode(" ");
      if (box->Description.empty()) box->SetDescription(" ");
    }
  }
  rules.Sort();
  if (format == Format::kXml) {
    PrintAsDocument(rules);
    return 0;
  }
  PrintPoints(rules.Points, format, true, boxes);
  if (format != Format::kText) return 0;
  std::printf("\n%zu occurrences of %zu rules, %s in all\n", rules.Points.size(),
              rules.Cycles.Points.size(),
              Trim(rules.GetTotalDuration(tptNone).GetSmartString()).c_str());
  return 0;
}

void HelpPeriods() {
  std::printf(
      "usage: cuadrante periods --from DATE --to DATE --group week|month|quarter|fortnight|day\n"
      "                         [--format text|csv|xml|json]\n\n"
      "Cuts the range into calendar periods aligned to their grid (a week starts on\n"
      "Monday, a quarter on 1 January, April, July or October) and prints each one\n"
      "with its first and closing date and its short and long labels.\n\n"
      "examples:\n  cuadrante periods --from 2026-11-01 --to 2026-12-31 --group week\n"
      "  cuadrante periods --from 01/01/2026 --to 31/12/2026 --group quarter --format csv\n");
}

int RunPeriods(const Args& args) {
  const Options options = Parse(
      args,
      {Join(RangeOptions(false),
            {Choice("--group", {"week", "month", "quarter", "fortnight", "day"}), FormatOption()}),
       {0, 0, "takes no file (see `cuadrante help periods`)"}});
  const Format format = ParseFormat(options);
  const std::map<std::string, TTimesGroup> groups = {{"day", tgDay},
                                                     {"week", tgWeek},
                                                     {"month", tgMonth},
                                                     {"quarter", tgQuarter},
                                                     {"fortnight", tgFortnight}};
  const auto group = groups.find(options.Need("--group"));
  const DayRange days = ReadDays(options);
  const TFecha from = days.first;
  const TFecha to = days.LastSecond();
  const bool forPeople = format == Format::kText;
  const char* const dateForm = forPeople ? "dd/mm/yyyy" : "yyyy-mm-dd";
  Table table("periods", {{"first", "first", 10},
                          {"last", "last", 10},
                          {"label", "label", 21},
                          {"full", "full label", 0}});
  for (const RutinasFecha::TFechasPair& period :
       RutinasFecha::GetPairedFechas(from, to.Date(), group->second)) {
    // The library pads short labels with a blank; a field carries no padding.
    table.Add({period.First.ToString(dateForm), period.Second.ToString(dateForm),
               Trim(period.Label), Trim(period.FullLabel)});
  }
  table.Print(format);
  return 0;
}

void HelpRoster() {
  std::printf(
      "usage: cuadrante roster RULES.xml --month YYYY-MM | --from DATE --to DATE\n"
      "                        [--tz ZONE] [--format text|csv|xml|json]\n\n"
      "Unrolls the rules over one month (or a range) and lays the occurrences out in\n"
      "week rows by type, one column a day, with each row's total, then the hours\n"
      "of work, absence and other types. An occurrence counts on each day the hours\n"
      "it spends there, split at midnight and cut at the range's edges; with --tz,\n"
      "the hours that really pass in that zone.\n\n"
      "examples:\n  cuadrante roster examples/rules.xml --month 2026-11\n"
      "  cuadrante roster examples/rules.xml --from 2026-11-02 --to 2026-11-15 --format csv\n");
}

int RunRoster(const Args& args) {
  const Options options =
      Parse(args, {Join(RangeOptions(true), {FormatOption(), Value("--tz")}),
                   {1, 1, "expects one RULES.xml (see `cuadrante help roster`)"}});
  const Format format = ParseFormat(options);
  const std::optional<TZone> zone = ZoneOption(options);
  const DayRange days = ReadDays(options);
  const TFecha first = days.first;
  const TFecha last = days.LastSecond();
  TCyclePointMgr rules;
  LoadRules(options.words[0], rules);
  ExpandRange(rules, first, last, false);
  const bool forPeople = format == Format::kText;
  if (forPeople && days.month) {
    std::printf("%s\n\n", first.ToString("mmmm yyyy").c_str());
  }
  if (zone) ReportWallProblems(rules.Points, *zone);
  roster::TDayHours hours(first, last, zone ? &*zone : nullptr);
  for (const TBasicPoint* point : rules.Points) hours.Add(*point);
  PrintHours(hours, false, format);
  if (forPeople) std::printf("%zu occurrences\n", rules.Points.size());
  return 0;
}

}  // namespace cuadrante::tool
