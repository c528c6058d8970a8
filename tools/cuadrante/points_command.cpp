// `cuadrante points FILE.xml` and `cuadrante grid FILE.xml`: a stored point-set
// document listed point by point, or laid out in week or month rows.
#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "cuadrante/points/basicpointmgr.h"
#include "cuadrante/points/range.h"
#include "cuadrante/port/files.h"
#include "cuadrante/roster/dayhours.h"
#include "cuadrante/roster/overlaps.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/formatsettings.h"
#include "cuadrante/text/rutinasnumbers.h"
#include "cuadrante/vocabulary/basicdefines.h"
#include "tools/cuadrante/documents.h"
#include "tools/cuadrante/edit_command.h"
#include "tools/cuadrante/ics_command.h"
#include "tools/cuadrante/labels.h"
#include "tools/cuadrante/points_command.h"

namespace cuadrante::tool {
namespace {

// Whole hours as "8", parts of an hour as "7:30", nothing as "-" for a person;
// hours with two decimals for a program ("7.50", "0.00").
std::string Hours(int64_t seconds, bool forPeople) {
  char text[32];
  if (!forPeople) {
    std::snprintf(text, sizeof text, "%.2f", static_cast<double>(seconds) / 3600.0);
    return text;
  }
  if (seconds == 0) return "-";
  const int64_t minutes = seconds / 60;
  if (minutes % 60 == 0) {
    std::snprintf(text, sizeof text, "%lld", static_cast<long long>(minutes / 60));
  } else {
    std::snprintf(text, sizeof text, "%lld:%02lld", static_cast<long long>(minutes / 60),
                  static_cast<long long>(minutes % 60 < 0 ? -(minutes % 60) : minutes % 60));
  }
  return text;
}

TTimePointType ParseType(const Options& options) {
  return static_cast<TTimePointType>(options.Number("--type", tptNone));
}

// What `points` and `grid` both take.
std::vector<Option> SelectionOptions() {
  return Join(RangeOptions(false),
              {Number("--type", 0, kTimePointTypeCount - 1), FormatOption(), Value("--tz")});
}

// The points of the document at `path` that belong to --from .. --to, when
// they are given, and are of --type, when it is given; sorted by start.
void LoadSelection(const std::string& path, const Options& options, TBasicPointMgr& kept) {
  const TTimePointType type = ParseType(options);
  const std::optional<DayRange> days = ReadOptionalDays(options);
  const bool ranged = days.has_value();
  const TFecha from = ranged ? days->first : TFecha();
  const TFecha to = ranged ? days->LastSecond() : TFecha();
  LoadDocument(path, kept);
  kept.Sort();
  if (!ranged && type == tptNone) return;
  const TRange range = DaysRange(from, to);
  auto& points = kept.Points;
  const auto dropped =
      std::stable_partition(points.begin(), points.end(), [&](const TBasicPoint* point) {
        return (!ranged || Belongs(*point, range)) && (type == tptNone || point->Type == type);
      });
  for (auto it = dropped; it != points.end(); ++it) delete *it;
  points.erase(dropped, points.end());
}

// "Horario 23/11/2026 08:00 - 23/11/2026 16:00": enough to find the point.
std::string Describe(const TBasicPoint& point) {
  return TypeLabel(point.Type) + " " + point.GetInicio().ToString("dd/mm/yyyy hh:nn") + " - " +
         TFecha(point.EndValue()).ToString("dd/mm/yyyy hh:nn");
}

}  // namespace

void ReportOverlaps(const TBasicPointList& sorted) {
  constexpr size_t kListed = 20;
  const roster::TOverlaps overlaps = roster::FindOverlaps(sorted, kListed);
  for (const auto& [first, second] : overlaps.pairs) {
    std::fprintf(stderr, "cuadrante: overlap: %s and %s\n", Describe(*sorted[first]).c_str(),
                 Describe(*sorted[second]).c_str());
  }
  if (overlaps.count > overlaps.pairs.size()) {
    std::fprintf(stderr, "cuadrante: %zu overlaps, the first %zu listed\n", overlaps.count,
                 overlaps.pairs.size());
  } else if (overlaps.count > 0) {
    std::fprintf(stderr, "cuadrante: %zu overlap%s\n", overlaps.count,
                 overlaps.count == 1 ? "" : "s");
  }
}

void PrintHours(const roster::TDayHours& hours, bool byMonth, Format format) {
  const bool forPeople = format == Format::kText;
  const int columns = byMonth ? 31 : 7;
  std::vector<Column> heads = {{"period", "period", 10},
                               {"start", "start", 10},
                               {"type", "type", 4, true, true},
                               {"label", "label", 16}};
  if (forPeople) heads.erase(heads.begin() + 1);  // the period names its start
  for (int day = 0; day < columns; ++day) {
    // Monday first; the settings keep Sunday at 0.
    const std::string header =
        byMonth ? std::to_string(day + 1) : FormatSettings.ShortDayNames[(day + 1) % 7];
    heads.push_back({"d" + std::to_string(day + 1), header, byMonth ? 3u : 5u, true, true});
  }
  heads.push_back({"total", "total", 9, true, true});
  Table table(byMonth ? "months" : "weeks", std::move(heads));
  for (const roster::THoursRow& row : roster::HoursRows(hours, byMonth)) {
    std::vector<std::string> cells;
    cells.push_back(byMonth ? row.period.ToString("mmm yyyy")
                            : "S" + std::to_string(row.period.Week()) + " " +
                                  row.period.ToString("dd/mm"));
    if (!forPeople) cells.push_back(row.period.ToString("yyyy-mm-dd"));
    cells.push_back(std::to_string(row.type));
    cells.push_back(TypeLabel(row.type));
    for (const TDuration seconds : row.days) cells.push_back(Hours(seconds.Value(), forPeople));
    cells.push_back(forPeople ? usrFormatTime(row.total.Value(), tfHours)
                              : Hours(row.total.Value(), false));
    table.Add(std::move(cells));
  }
  table.Print(format);
  if (!forPeople) return;
  std::printf("\n");
  for (const auto kind :
       {roster::THoursKind::kWork, roster::THoursKind::kAbsence, roster::THoursKind::kOther}) {
    std::printf("%s%s %s", kind == roster::THoursKind::kWork ? "" : ", ", roster::KindName(kind),
                Trim(usrFormatTime(hours.Total(kind).Value(), tfHours)).c_str());
  }
  std::printf("\n");
}

// Colours keep red in the low byte; people and browsers read #rrggbb.
std::string ColourHex(TColor colour) {
  const auto value = static_cast<unsigned>(colour);
  char text[8];
  std::snprintf(text, sizeof text, "#%02x%02x%02x", value & 0xFF, (value >> 8) & 0xFF,
                (value >> 16) & 0xFF);
  return text;
}

void PrintPoints(const TBasicPointList& points, Format format, bool ruleColumn, bool colours,
                 const TZone* zone) {
  const bool forPeople = format == Format::kText;
  std::vector<Column> heads = {
      {ruleColumn ? "rule" : "group", ruleColumn ? "rule" : "group", 5, true, true},
      {"start", "start", 16},
      {"end", "end", 16},
      {forPeople ? "length" : "seconds", "length", 8, false, true},
      {"type", "type", 4, true, true},
      {"label", "label", colours ? 16u : 0u}};
  if (colours) heads.push_back({"colour", "colour", 0});
  Table table(ruleColumn ? "occurrences" : "points", std::move(heads));
  const char* const dateForm = forPeople ? "dd/mm/yyyy hh:nn" : "yyyy-mm-dd hh:nn:ss";
  // Programs read ISO 8601 with its "T".
  const auto when = [&](const TFecha& date) {
    std::string text = date.ToString(dateForm);
    if (!forPeople) text[10] = 'T';
    return text;
  };
  for (const TBasicPoint* point : points) {
    const TDuration length =
        zone != nullptr ? ElapsedIn(*zone, *point) : TDuration(point->GetDurationValue());
    std::vector<std::string> cells = {
        std::to_string(point->Group),
        when(point->GetInicio()),
        when(TFecha(point->EndValue())),
        forPeople ? Trim(length.GetSmartString()) : std::to_string(length.Value()),
        std::to_string(point->Type),
        TypeLabel(point->Type)};
    if (colours) cells.push_back(ColourHex(point->GetColor()));
    table.Add(std::move(cells));
  }
  table.Print(format);
}

void HelpPoints() {
  std::printf(
      "usage: cuadrante points FILE.xml [--from DATE --to DATE] [--type N] [--tz ZONE]\n"
      "       cuadrante points add FILE.xml --start DATE[THH:MM] --hours H [--type N]\n"
      "                                     [--level N]\n"
      "                        [--format text|csv|xml|json]\n\n"
      "Lists the points of a stored point-set document (root POINTSMGR, one POINT\n"
      "element a point) by start: group, first and closing minute, length, type.\n"
      "--from/--to keep the points that overlap the range (both days included),\n"
      "--type N those of one type. As xml the list is itself a point-set document.\n"
      "Overlapping points are named on stderr, with their count. --tz ZONE counts\n"
      "the time that really passes in that zone (a night across the spring change\n"
      "is 7 h) and names the clock times the zone skips or shows twice. `points add`\n"
      "appends a point (type 2, Horario, unless --type says otherwise) to a\n"
      "document, created when missing and rewritten whole or not at all.\n\n"
      "examples:\n  cuadrante points examples/points.xml\n"
      "  cuadrante points examples/points.xml --from 2026-11-23 --to 29/11/2026 --format csv\n");
}

int RunPoints(const Args& args) {
  if (!args.empty() && args[0] == "add") return RunPointsAdd(args);
  const Options options = Parse(
      args, {SelectionOptions(), {1, 1, "expects one FILE.xml (see `cuadrante help points`)"}});
  const Format format = ParseFormat(options);
  const std::optional<TZone> zone = ZoneOption(options);
  TBasicPointMgr set;
  LoadSelection(options.words[0], options, set);
  ReportOverlaps(set.Points);
  if (zone) ReportWallProblems(set.Points, *zone);
  if (format == Format::kXml) {
    PrintAsDocument(set);
    return 0;
  }
  PrintPoints(set.Points, format, false, false, zone ? &*zone : nullptr);
  if (format != Format::kText) return 0;
  if (set.Points.empty()) {
    std::printf("\n0 points\n");
  } else {
    const TDuration total = zone ? ElapsedIn(*zone, set.Points) : set.GetTotalDuration(tptNone);
    std::printf("\n%zu point%s, %s in all%s\n", set.Points.size(),
                set.Points.size() == 1 ? "" : "s", Trim(total.GetSmartString()).c_str(),
                zone ? (" (elapsed in " + zone->Name() + ")").c_str() : "");
  }
  return 0;
}

void HelpGrid() {
  std::printf(
      "usage: cuadrante grid FILE.xml [--by week|month] [--type N] [--tz ZONE]\n"
      "                      [--from DATE --to DATE] [--format text|csv|xml|json]\n\n"
      "Lays the points of a stored point-set document out in rows, one for each\n"
      "week (default) or month and type, with the hours of each day and the row's\n"
      "total, then the hours of work, absence and other types. A point counts on\n"
      "each day the hours it spends there, split at midnight and cut at the range's\n"
      "edges. --type keeps one type, --from/--to one range (default: the document's\n"
      "first to last day). Overlapping points are named on stderr. --tz ZONE counts\n"
      "the hours that really pass in that zone.\n\n"
      "examples:\n  cuadrante grid examples/points.xml\n"
      "  cuadrante grid examples/points.xml --by month --type 2 --format csv\n");
}

int RunGrid(const Args& args) {
  const Options options =
      Parse(args, {Join(SelectionOptions(), {Choice("--by", {"week", "month"})}),
                   {1, 1, "expects one FILE.xml (see `cuadrante help grid`)"}});
  const Format format = ParseFormat(options);
  const TTimesGroup group = options.Get("--by", "week") == "week" ? tgWeek : tgMonth;
  const std::optional<TZone> zone = ZoneOption(options);
  TBasicPointMgr set;
  LoadSelection(options.words[0], options, set);
  ReportOverlaps(set.Points);
  if (zone) ReportWallProblems(set.Points, *zone);
  TFecha from;
  TFecha to;
  if (const std::optional<DayRange> days = ReadOptionalDays(options)) {
    from = days->first;
    to = days->LastSecond();
  } else if (const std::optional<TSpan> span = SpanOf(set.Points)) {
    from = span->first;
    to = span->last;
  }
  roster::TDayHours hours(from, to, zone ? &*zone : nullptr);
  for (const TBasicPoint* point : set.Points) hours.Add(*point);
  PrintHours(hours, group == tgMonth, format);
  return 0;
}

}  // namespace cuadrante::tool
