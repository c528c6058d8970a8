// `cuadrante ics` and `cuadrante ics-import`: rosters into the calendars on
// people's phones, and what was booked there back into a point-set document.
// Also the report of clock times that a zone skips or shows twice.
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include "cuadrante/points/cyclepointmgr.h"
#include "cuadrante/port/files.h"
#include "cuadrante/roster/calendarimport.h"
#include "cuadrante/roster/icalendar.h"
#include "cuadrante/roster/personroster.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/time/basicbox.h"
#include "cuadrante/time/cyclepoint.h"
#include "tools/cuadrante/documents.h"
#include "tools/cuadrante/ics_command.h"
#include "tools/cuadrante/labels.h"

namespace cuadrante::tool {
namespace {

roster::TTypeLabel Labels() {
  return [](TTimePointType type) { return TypeLabel(static_cast<int>(type)); };
}

// Whether the document's root element is a plan's: a plan and a point-set
// document take different readers.
bool HoldsPlan(const std::string& text) {
  for (size_t at = text.find('<'); at != std::string::npos; at = text.find('<', at + 1)) {
    if (at + 1 < text.size() && (text[at + 1] == '?' || text[at + 1] == '!')) continue;
    return text.compare(at + 1, 4, "PLAN") == 0 &&
           (at + 5 >= text.size() ||
            std::string(" \t\r\n>/").find(text[at + 5]) != std::string::npos);
  }
  return false;
}

// DTSTAMP: now, or SOURCE_DATE_EPOCH where a build wants the same bytes twice.
int64_t Stamp() {
  if (const char* epoch = std::getenv("SOURCE_DATE_EPOCH")) {
    char* end = nullptr;
    const long long value = std::strtoll(epoch, &end, 10);
    if (end != epoch && *end == '\0') return value;
  }
  return static_cast<int64_t>(std::time(nullptr));
}

std::vector<roster::TCalendarEvent> EventsOfPlan(const std::string& path, const Options& options,
                                                 TFecha first, TFecha last) {
  if (options.Has("--employee") && options.Has("--post"))
    throw Misuse("takes --employee or --post, not both");
  const roster::TPlan plan = LoadPlan(path);
  const std::string employee = options.Get("--employee", "");
  const std::string post = options.Get("--post", "");
  if (!employee.empty() &&
      std::none_of(plan.employees.begin(), plan.employees.end(),
                   [&](const roster::TEmployee& e) { return e.id == employee; }))
    throw EConvertError(path + ": no employee '" + employee + "'");
  if (!post.empty() && plan.FindPost(post) == nullptr)
    throw EConvertError(path + ": no post '" + post + "'");
  std::vector<roster::TCalendarEvent> events;
  for (const roster::TPersonRoster& person : roster::BuildRosters(plan, first, last)) {
    if (!employee.empty() && person.employee->id != employee) continue;
    if (!post.empty() && person.employee->post != post) continue;
    for (auto& event : roster::EventsOfRoster(plan, person, employee.empty(), Labels(), first))
      events.push_back(std::move(event));
  }
  return events;
}

std::vector<roster::TCalendarEvent> EventsOfDocument(const std::string& path,
                                                     const Options& options, TFecha first,
                                                     TFecha last, const TZone* zone) {
  if (options.Has("--employee") || options.Has("--post"))
    throw Misuse("--employee and --post choose from a plan, and " + path + " holds no plan");
  AnsiString text;
  const DocumentKind kind = ReadDocument(path, text);
  const std::string scope = path == "-" ? "stdin" : std::filesystem::path(path).filename().string();
  if (kind != DocumentKind::kRules) {
    TBasicPointMgr set;
    // Boxes keep their code and description, which the events show.
    TBasicBox box;
    TBasicPoint point;
    if (kind != DocumentKind::kEmpty) {
      try {
        set.LoadFromXML(text, kind == DocumentKind::kBoxes ? &box : &point);
      } catch (const Exception& e) {
        throw EConvertError(path + ": " + e.Message);
      }
    }
    set.Sort();
    return roster::EventsOfPoints(set, first, last, scope, Labels());
  }
  TCyclePointMgr rules;
  LoadRulesFrom(path, text, rules);
  const bool recur = options.Flag("--rrule");
  std::vector<roster::TCalendarEvent> events;
  size_t number = 0;
  for (const TBasicPoint* rule : rules.Cycles.Points) {
    ++number;
    roster::TRuleEvents made = roster::EventsOfRule(*static_cast<const TCyclePoint*>(rule), first,
                                                    last, recur, scope, Labels(), zone);
    if (!made.why.empty())
      std::fprintf(stderr, "cuadrante ics: rule %zu: %s\n", number, made.why.c_str());
    for (auto& event : made.events) events.push_back(std::move(event));
  }
  return events;
}

void RefuseOverwritingInput(const std::string& input, const std::string& output) {
  if (input == "-" || output == "-") return;
  std::error_code error;
  if (std::filesystem::equivalent(input, output, error))
    throw Misuse("-o " + output + " is the input; write elsewhere");
}

void Deliver(const std::string& output, const std::string& text, const std::string& summary) {
  if (output.empty() || output == "-") {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size())
      throw EFileError("stdout: cannot be written");
    if (!output.empty()) std::fprintf(stderr, "-: %s\n", summary.c_str());
    return;
  }
  MakeFoldersFor(output);
  try {
    WriteFileAtomically(output, text);
  } catch (const Exception& e) {
    throw EFileError(output + ": " + e.Message);
  }
  std::printf("%s: %s\n", output.c_str(), summary.c_str());
}

// What both commands take: one input, an output, the range and the zone.
struct Job {
  std::string path;
  std::string output;
  TFecha first;
  TFecha last;
  std::optional<TZone> zone;
};

Job ReadJob(const Options& options) {
  Job job{options.words[0], options.Get("-o", ""), {}, {}, ZoneOption(options)};
  RefuseOverwritingInput(job.path, job.output);
  const DayRange days = ReadDays(options);
  job.first = days.first;
  job.last = days.last;
  return job;
}

}  // namespace

void ReportWallProblems(const TBasicPointList& items, const TZone& zone) {
  std::set<int64_t> told;
  for (const TBasicPoint* item : items) {
    for (const int64_t at : {item->StartValue(), item->EndValue()}) {
      if (!told.insert(at).second) continue;
      const std::string problem = WallProblem(zone, TFecha(at));
      if (!problem.empty()) std::fprintf(stderr, "cuadrante: %s\n", problem.c_str());
    }
  }
}

void HelpIcs() {
  std::printf(
      "usage: cuadrante ics DOCUMENT --from DATE --to DATE | --month YYYY-MM\n"
      "                     [--employee ID | --post CODE] [--tz ZONE] [--rrule]\n"
      "                     [--previous OLD.ics] [-o FILE.ics]\n\n"
      "Writes an iCalendar (RFC 5545) calendar that phones and calendar programs\n"
      "import: one event an item of the range (an item belongs when it overlaps\n"
      "it). DOCUMENT is a point-set document, a rules document (its occurrences\n"
      "over the range) or a plan: --employee ID takes one person's roster, --post\n"
      "CODE everyone on that post, and neither everyone, named in each event.\n"
      "Shifts show their code and name (the code also as X-CUADRANTE-SHIFT), other\n"
      "items their type, and absences leave the time free; planned work that leave\n"
      "cancels is left out. A shift the engine gave (by=\"engine\") has the category\n"
      "Motor after its type's, whatever the dictionary, for a calendar to show or\n"
      "filter. Each event has a UID that a later export gives it again, so\n"
      "importing again updates the calendar instead of doubling it: in a plan, a\n"
      "person's slot (the day and the first, second... event of that day), so a\n"
      "shift that moves updates the event of the slot it lands in; in a document\n"
      "or a rule, the item and its start.\n"
      "--previous OLD.ics follows the calendar exported before (it may be the -o\n"
      "file): each event of OLD.ics whose UID is gone comes again with\n"
      "STATUS:CANCELLED, so the phone removes it, and an event whose times, summary,\n"
      "type or engine mark changed carries a SEQUENCE one higher than in OLD.ics.\n"
      "Without --tz the times float (the wall clock, as the library keeps it); with\n"
      "--tz Europe/Madrid each time carries that zone and the calendar its rules\n"
      "from the tz database. --rrule writes each rule of a rules document once, as\n"
      "a recurrence, where RFC 5545 says exactly what the library unrolls; a rule\n"
      "that RRULE cannot say (a monthly rule from the 29th-31st stays on the day it\n"
      "was clamped to) is written as single events, and stderr says so.\n"
      "Without -o the calendar goes to stdout.\n\n"
      "examples:\n"
      "  cuadrante ics examples/plan.xml --employee eva --month 2026-11 -o eva.ics\n"
      "  cuadrante ics examples/plan.xml --employee eva --month 2026-11 --previous eva.ics -o "
      "eva.ics\n"
      "  cuadrante ics examples/rules.xml --month 2026-11 --rrule --tz Europe/Madrid\n");
}

int RunIcs(const Args& args) {
  const Options options =
      Parse(args, {Join(RangeOptions(true), {Value("--employee"), Value("--post"), Value("--tz"),
                                             Value("--previous"), Value("-o"), Flag("--rrule")}),
                   {1, 1, "expects one DOCUMENT (see `cuadrante help ics`)"}});
  const Job job = ReadJob(options);
  const auto& [path, output, first, last, zone] = job;

  const bool plan = path != "-" && HoldsPlan(ReadWholeFile(path, kDocumentFileLimit));
  std::vector<roster::TCalendarEvent> events =
      plan ? EventsOfPlan(path, options, first, last)
           : EventsOfDocument(path, options, first, last, zone ? &*zone : nullptr);
  const roster::TCalendarOptions writing{zone ? &*zone : nullptr,
                                         std::chrono::sys_seconds(std::chrono::seconds(Stamp())),
                                         kCalendarFileLimit};
  std::optional<roster::TFollowed> followed;
  if (options.Has("--previous")) {
    // Read whole before anything is written: -o may name the same file.
    const std::string& previous = options.Need("--previous");
    try {
      followed =
          roster::FollowPrevious(events, ReadWholeFile(previous, kCalendarFileLimit), writing);
    } catch (const Exception& e) {
      throw EConvertError(previous + ": " + e.Message);
    }
  }
  if (zone) {
    TBasicPointMgr items;
    for (const auto& event : events)
      items.Add(new TBasicPoint(event.start, TDuration(event.seconds)));
    ReportWallProblems(items.Points, *zone);
  }
  const std::string calendar = roster::WriteCalendar(events, writing);
  size_t recurring = 0;
  for (const auto& event : events) recurring += event.recurrence ? 1 : 0;
  std::string summary = std::to_string(events.size()) + " event" + (events.size() == 1 ? "" : "s");
  if (recurring > 0) summary += ", " + std::to_string(recurring) + " recurring";
  if (followed) {
    summary += ", " + std::to_string(followed->cancelled) + " cancelled, " +
               std::to_string(followed->changed) + " changed since " + options.Need("--previous");
  }
  Deliver(output, calendar, summary);
  return 0;
}

void HelpIcsImport() {
  std::printf(
      "usage: cuadrante ics-import FILE.ics --from DATE --to DATE | --month YYYY-MM\n"
      "                            [--tz ZONE] [--type N] [--skip-bad] [-o FILE.xml]\n"
      "                            [--format text|csv|xml|json]\n\n"
      "Reads the events of an iCalendar file (libical parses it) and lists the\n"
      "occurrences that overlap the range, recurrences expanded (RRULE, RDATE,\n"
      "EXDATE, moved occurrences), cancelled events left out. All-day events last\n"
      "whole days. Floating times stay as they are; times with a zone or in UTC\n"
      "become the wall clock of --tz, or without it of the system's zone (TZ, else\n"
      "the zone /etc/localtime names, else UTC), which stderr names. The type is\n"
      "the one this tool exported, else the type a CATEGORIES value names, else\n"
      "--type (default 9, Vacaciones); the shift code is the exported\n"
      "X-CUADRANTE-SHIFT. -o writes the items as a document of boxes (code: the\n"
      "shift code, description: SUMMARY less the code) that `points`, `grid`,\n"
      "`render` and `ics` read, whole or not at all, so an export of it shows the\n"
      "same SUMMARY, code and type again.\n"
      "An event that cannot be read (libical's error, a time with a field out of\n"
      "range, an end before its start, a rule that reaches no day) refuses the\n"
      "file; with --skip-bad it is left out instead, with one line on stderr that\n"
      "names it. Refused whatever the options: a file over 64 MiB, a content\n"
      "line over 1 MiB, a VTIMEZONE whose rule is other than yearly on one day,\n"
      "and rules that would take more than 1,000,000 steps (occurrences, and\n"
      "days walked between them) before the range ends.\n\n"
      "examples:\n"
      "  cuadrante ics-import eva.ics --from 2026-11-01 --to 2026-12-31\n"
      "  cuadrante ics-import eva.ics --month 2026-11 --tz Europe/Madrid -o eva.xml\n");
}

// One row an occurrence: the columns of `points`, then code and SUMMARY.
void PrintImported(const std::vector<roster::TImportedEvent>& events, Format format) {
  const bool forPeople = format == Format::kText;
  Table table("points", {{"group", "group", 5, true, true},
                         {"start", "start", 16},
                         {"end", "end", 16},
                         {forPeople ? "length" : "seconds", "length", 8, false, true},
                         {"type", "type", 4, true, true},
                         {"label", "label", forPeople ? 12u : 0u},
                         {"code", "code", forPeople ? 4u : 0u},
                         {"summary", "summary", 0}});
  const char* const dateForm = forPeople ? "dd/mm/yyyy hh:nn" : "yyyy-mm-dd hh:nn:ss";
  const auto when = [&](TFecha date) {
    std::string text = date.ToString(dateForm);
    // Programs read ISO 8601 with its "T" (a year past 9999 has five digits).
    if (!forPeople) text[text.find(' ')] = 'T';
    return text;
  };
  for (const roster::TImportedEvent& event : events) {
    const TDuration length(event.seconds);
    table.Add({"0", when(event.start), when(event.start + event.seconds),
               forPeople ? Trim(length.GetSmartString()) : std::to_string(event.seconds.Value()),
               std::to_string(static_cast<int>(event.type)),
               TypeLabel(static_cast<int>(event.type)), event.code,
               forPeople ? Printable(event.summary) : event.summary});
  }
  table.Print(format);
}

int RunIcsImport(const Args& args) {
  const Options options = Parse(
      args, {Join(RangeOptions(true), {Value("--tz"), Number("--type", 0, kTimePointTypeCount - 1),
                                       Value("-o"), FormatOption(), Flag("--skip-bad")}),
             {1, 1, "expects one FILE.ics (see `cuadrante help ics-import`)"}});
  const Format format = ParseFormat(options);
  const Job job = ReadJob(options);
  const auto& [path, output, first, last, zone] = job;
  // One wall clock for every zoned and UTC time: --tz, else the system's.
  std::optional<roster::TZoneChoice> local;
  if (!zone) {
    local = roster::LocalZone();
    std::fprintf(stderr, "cuadrante ics-import: zoned and UTC times on the clock of %s (%s)\n",
                 local->zone.Name().c_str(), local->why.c_str());
  }
  roster::TImportOptions reading;
  reading.zone = zone ? &*zone : &local->zone;
  reading.label = Labels();
  if (options.Flag("--skip-bad")) {
    reading.skip = [&](const roster::TSkippedEvent& event) {
      std::fprintf(stderr, "cuadrante ics-import: %s: line %zu: event '%s' skipped: %s\n",
                   path.c_str(), event.line, Printable(event.uid).c_str(),
                   Printable(event.why).c_str());
    };
  }
  reading.defaultType = static_cast<TTimePointType>(options.Number("--type", reading.defaultType));
  const std::string text = path == "-"
                               ? ReadStandardInput(kCalendarFileLimit, "too large for a calendar")
                               : std::string(ReadWholeFile(path, kCalendarFileLimit));
  std::vector<roster::TImportedEvent> events;
  try {
    events = roster::ReadCalendar(text, first, last, reading);
  } catch (const Exception& e) {
    throw EConvertError(path + ": " + e.Message);
  }
  // Boxes keep the shift code and SUMMARY that points would drop.
  TBasicPointMgr set;
  roster::AddAsBoxes(events, set);
  if (!output.empty()) {
    Deliver(output, DocumentText(set),
            std::to_string(events.size()) + " item" + (events.size() == 1 ? "" : "s"));
    return 0;
  }
  if (format == Format::kXml) {
    PrintAsDocument(set);
    return 0;
  }
  PrintImported(events, format);
  if (format == Format::kText)
    std::printf("\n%zu item%s from %s\n", events.size(), events.size() == 1 ? "" : "s",
                path.c_str());
  return 0;
}

}  // namespace cuadrante::tool
