// `cuadrante expand`, `periods` and `roster`: rules unrolled into occurrences,
// a range cut into labelled calendar periods, and a month's week grid of the
// unrolled rules.
#include <cstdio>
#include <map>
#include <string>

#include "cuadrante/points/cyclepointmgr.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/files.h"
#include "cuadrante/time/basicbox.h"
#include "cuadrante/time/cyclepoint.h"
#include "cuadrante/time/rutinasfecha.h"
#include "tools/cuadrante/commands.h"

namespace cuadrante::tool {

void HelpExpand() {
  std::printf(
      "usage: cuadrante expand RULES.xml --from DATE --to DATE [--boxes]\n\n"
      "Unrolls every rule of a rules document between two dates (both days\n"
      "included) and prints the occurrences in time order with the number of the\n"
      "rule they come from. --boxes unrolls into boxes, with their colour.\n\n"
      "example:\n  cuadrante expand examples/rules.xml --from 2026-11-01 --to 2026-11-30\n");
}

int RunExpand(const Args& args) {
  const Options options = Parse(args, {"--from", "--to"}, {"--boxes"});
  if (options.words.size() != 1)
    throw Misuse("expects one RULES.xml (see `cuadrante help expand`)");
  TFecha from;
  TFecha to;
  ParseRange(options, from, to);
  TCyclePointMgr rules;
  LoadRules(options.words[0], rules);
  const bool boxes = options.Flag("--boxes");
  if (boxes) {
    rules.ExpandBoxes(from, to, true);
  } else {
    rules.Expand(from, to, true);
  }
  rules.Sort();
  std::printf("%-4s %-35s %-10s %s\n", "rule", "interval", "length", "type");
  for (const TBasicPoint* point : rules.Points) {
    std::string colour;
    if (boxes) {
      char text[16];
      std::snprintf(text, sizeof text, " #%06X",
                    static_cast<unsigned>(point->GetColor()) & 0xFFFFFF);
      colour = text;
    }
    std::printf("%-4d %-35s %-10s %d %s%s\n", static_cast<int>(point->Group),
                point->ToString(4).c_str(), Trim(point->GetDuration().GetSmartString()).c_str(),
                static_cast<int>(point->Type), point->GetTypeStr().c_str(), colour.c_str());
  }
  std::printf("\n%zu occurrences of %zu rules, %s in all\n", rules.Points.size(),
              rules.Cycles.Points.size(),
              Trim(rules.GetTotalDuration(tptNone).GetSmartString()).c_str());
  return 0;
}

void HelpPeriods() {
  std::printf(
      "usage: cuadrante periods --from DATE --to DATE --group week|month|quarter|fortnight|day\n\n"
      "Cuts the range into calendar periods aligned to their grid (a week starts on\n"
      "Monday, a quarter on 1 January, April, July or October) and prints each one\n"
      "with its first and closing date and its short and long labels.\n\n"
      "example:\n  cuadrante periods --from 2026-11-01 --to 2026-12-31 --group week\n");
}

int RunPeriods(const Args& args) {
  const Options options = Parse(args, {"--from", "--to", "--group"}, {});
  if (!options.words.empty()) throw Misuse("takes no file (see `cuadrante help periods`)");
  TFecha from;
  TFecha to;
  ParseRange(options, from, to);
  const std::string& name = options.Need("--group");
  const std::map<std::string, TTimesGroup> groups = {{"day", tgDay},
                                                     {"week", tgWeek},
                                                     {"month", tgMonth},
                                                     {"quarter", tgQuarter},
                                                     {"fortnight", tgFortnight}};
  const auto group = groups.find(name);
  if (group == groups.end()) {
    throw Misuse("--group takes week, month, quarter, fortnight or day, not '" + name + "'");
  }
  for (const RutinasFecha::TFechasPair& period :
       RutinasFecha::GetPairedFechas(from, to.Date(), group->second)) {
    std::printf("%s  %s  %-22s %s\n", period.First.ToString("dd/mm/yyyy").c_str(),
                period.Second.ToString("dd/mm/yyyy").c_str(), period.Label.c_str(),
                period.FullLabel.c_str());
  }
  return 0;
}

void HelpRoster() {
  std::printf(
      "usage: cuadrante roster RULES.xml --month YYYY-MM\n\n"
      "Unrolls the rules over one month and lays the occurrences out in week rows\n"
      "by type, one column a day, with each row's total. An occurrence counts whole\n"
      "under the day it starts.\n\n"
      "example:\n  cuadrante roster examples/rules.xml --month 2026-11\n");
}

int RunRoster(const Args& args) {
  const Options options = Parse(args, {"--month"}, {});
  if (options.words.size() != 1)
    throw Misuse("expects one RULES.xml (see `cuadrante help roster`)");
  const std::string& month = options.Need("--month");
  const TFecha first(ParseDateArgument(month + "-01"));
  const TFecha last = first.EndOfMonth();
  TCyclePointMgr rules;
  LoadRules(options.words[0], rules);
  rules.Expand(first, last, true);
  std::printf("%s\n\n", first.ToString("mmmm yyyy").c_str());
  PrintGrid(rules.GetPointsGrid(tgWeek, first, last, tptNone), tgWeek);
  std::printf("\n%zu occurrences, %s in all\n", rules.Points.size(),
              Trim(rules.GetTotalDuration(tptNone).GetSmartString()).c_str());
  return 0;
}

}  // namespace cuadrante::tool
