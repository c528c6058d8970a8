// `cuadrante points FILE.xml` and `cuadrante grid FILE.xml`: a stored point-set
// document listed point by point, or laid out in week or month rows.
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "cuadrante/points/basicpointmgr.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/files.h"
#include "cuadrante/runtime/formatsettings.h"
#include "cuadrante/text/rutinasnumbers.h"
#include "cuadrante/vocabulary/basicdefines.h"
#include "tools/cuadrante/commands.h"

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
  if (!options.Has("--type")) return tptNone;
  const std::string& text = options.Need("--type");
  const int type = StrToIntDef(text, -1);
  if (type < 0 || type >= kTimePointTypeCount) {
    throw EConvertError("--type '" + text + "' is no point type (0 to 13)");
  }
  return static_cast<TTimePointType>(type);
}

// The points of the document at `path` that overlap --from .. --to, when they
// are given, and are of --type, when it is given; sorted by start.
void LoadSelection(const std::string& path, const Options& options, TBasicPointMgr& kept) {
  const TTimePointType type = ParseType(options);
  const bool ranged = options.Has("--from") || options.Has("--to");
  if (!ranged && type == tptNone) {
    LoadDocument(path, kept);
    kept.Sort();
    return;
  }
  TBasicPointMgr all;
  LoadDocument(path, all);
  all.Sort();
  if (ranged) {
    TFecha from;
    TFecha to;
    ParseRange(options, from, to);
    // The range ends with the last second of its last day, which belongs to it.
    const TFecha end(to.Value() + 1);
    TBasicPointList copies = all.GetPointsCopy(from, end, type);
    for (TBasicPoint* point : copies) {
      // The copy runs to the last point that starts before `end`, whole: keep
      // only those that overlap the range.
      if (point->Solap(from, end)) {
        kept.Add(point);
      } else {
        delete point;
      }
    }
    return;
  }
  for (TBasicPoint* point : all.Points) {
    if (point->Type == type) kept.Add(point->Instance());
  }
}

}  // namespace

void PrintGrid(const SetPointsGrid& grid, TTimesGroup group, Format format) {
  const bool forPeople = format == Format::kText;
  const int columns = group == tgWeek ? 7 : 31;
  std::vector<Column> heads = {{"period", "period", 10},
                               {"start", "start", 10},
                               {"type", "type", 4, true},
                               {"label", "label", 16}};
  if (forPeople) heads.erase(heads.begin() + 1);  // the period names its start
  for (int day = 0; day < columns; ++day) {
    // Monday first; the settings keep Sunday at 0.
    const std::string header =
        group == tgWeek ? FormatSettings.ShortDayNames[(day + 1) % 7] : std::to_string(day + 1);
    heads.push_back({"d" + std::to_string(day + 1), header, group == tgWeek ? 5u : 3u, true});
  }
  heads.push_back({"total", "total", 9, true});
  Table table(group == tgWeek ? "weeks" : "months", std::move(heads));
  for (const ItemPointGrid& row : grid) {
    std::vector<std::string> cells;
    cells.push_back(group == tgWeek ? "S" + std::to_string(row.Period.Week()) + " " +
                                          row.Period.ToString("dd/mm")
                                    : row.Period.ToString("mmm yyyy"));
    if (!forPeople) cells.push_back(row.Period.ToString("yyyy-mm-dd"));
    cells.push_back(std::to_string(row.Type));
    cells.push_back(GetIncidenceTypeAsStr(row.Type));
    for (int day = 0; day < columns; ++day) {
      int64_t seconds = 0;
      if (day < static_cast<int>(row.Days.size())) {
        for (const TBasicPoint* point : row.Days[static_cast<size_t>(day)]) {
          seconds += point->GetDurationValue();
        }
      }
      cells.push_back(Hours(seconds, forPeople));
    }
    cells.push_back(forPeople ? usrFormatTime(row.Total.Value(), tfHours)
                              : Hours(row.Total.Value(), false));
    table.Add(std::move(cells));
  }
  table.Print(format);
}

// Colours keep red in the low byte; people and browsers read #rrggbb.
std::string ColourHex(TColor colour) {
  const auto value = static_cast<unsigned>(colour);
  char text[8];
  std::snprintf(text, sizeof text, "#%02x%02x%02x", value & 0xFF, (value >> 8) & 0xFF,
                (value >> 16) & 0xFF);
  return text;
}

void PrintPoints(const TBasicPointList& points, Format format, bool ruleColumn, bool colours) {
  const bool forPeople = format == Format::kText;
  std::vector<Column> heads = {
      {ruleColumn ? "rule" : "group", ruleColumn ? "rule" : "group", 5, true},
      {"start", "start", 16},
      {"end", "end", 16},
      {forPeople ? "length" : "seconds", "length", 8},
      {"type", "type", 4, true},
      {"label", "label", colours ? 16u : 0u}};
  if (colours) heads.push_back({"colour", "colour", 0});
  Table table(ruleColumn ? "occurrences" : "points", std::move(heads));
  const char* const dateForm = forPeople ? "dd/mm/yyyy hh:nn" : "yyyy-mm-dd hh:nn:ss";
  for (const TBasicPoint* point : points) {
    std::vector<std::string> cells = {std::to_string(point->Group),
                                      point->GetInicio().ToString(dateForm),
                                      TFecha(point->EndValue()).ToString(dateForm),
                                      forPeople ? Trim(point->GetDuration().GetSmartString())
                                                : std::to_string(point->GetDurationValue()),
                                      std::to_string(point->Type),
                                      point->GetTypeStr()};
    if (colours) cells.push_back(ColourHex(point->GetColor()));
    table.Add(std::move(cells));
  }
  table.Print(format);
}

void HelpPoints() {
  std::printf(
      "usage: cuadrante points FILE.xml [--from DATE --to DATE] [--type N]\n"
      "                        [--format text|csv|xml]\n\n"
      "Lists the points of a stored point-set document (root POINTSMGR, one POINT\n"
      "element a point) by start: group, first and closing minute, length, type.\n"
      "--from/--to keep the points that overlap the range (both days included),\n"
      "--type N those of one type. As xml the list is itself a point-set document.\n\n"
      "examples:\n  cuadrante points examples/points.xml\n"
      "  cuadrante points examples/points.xml --from 2026-11-23 --to 29/11/2026 --format csv\n");
}

int RunPoints(const Args& args) {
  const Options options = Parse(args, {"--from", "--to", "--type", "--format"}, {});
  const Format format = ParseFormat(options);
  if (options.words.size() != 1) {
    throw Misuse("expects one FILE.xml (see `cuadrante help points`)");
  }
  TBasicPointMgr set;
  LoadSelection(options.words[0], options, set);
  if (format == Format::kXml) {
    PrintAsDocument(set);
    return 0;
  }
  PrintPoints(set.Points, format, false, false);
  if (format != Format::kText) return 0;
  AnsiString overlaps;
  if (set.PointsSolap(overlaps)) std::printf("\n%s\n", overlaps.c_str());
  std::printf("\n%zu points, %s in all\n", set.Points.size(),
              Trim(set.GetTotalDuration(tptNone).GetSmartString()).c_str());
  return 0;
}

void HelpGrid() {
  std::printf(
      "usage: cuadrante grid FILE.xml [--by week|month] [--type N]\n"
      "                      [--from DATE --to DATE] [--format text|csv|xml]\n\n"
      "Lays the points of a stored point-set document out in rows, one for each\n"
      "week (default) or month and type, with the hours of each day and the row's\n"
      "total. A point counts whole under the day it starts. --type keeps one type,\n"
      "--from/--to one range (default: the document's first to last day).\n\n"
      "examples:\n  cuadrante grid examples/points.xml\n"
      "  cuadrante grid examples/points.xml --by month --type 2 --format csv\n");
}

int RunGrid(const Args& args) {
  const Options options = Parse(args, {"--by", "--type", "--from", "--to", "--format"}, {});
  const Format format = ParseFormat(options);
  if (options.words.size() != 1) throw Misuse("expects one FILE.xml (see `cuadrante help grid`)");
  const std::string by = options.Get("--by", "week");
  if (by != "week" && by != "month") throw Misuse("--by takes week or month, not '" + by + "'");
  const TTimesGroup group = by == "week" ? tgWeek : tgMonth;
  TBasicPointMgr set;
  LoadSelection(options.words[0], options, set);
  TFecha from;
  TFecha to;
  if (options.Has("--from") || options.Has("--to")) {
    ParseRange(options, from, to);
  } else if (!set.Points.empty()) {
    from = set.GetFirstDate(TFecha());
    to = set.Points.back()->GetInicio().EndOfDay();
  }
  // The set holds the chosen type alone already.
  PrintGrid(set.Points.empty() ? SetPointsGrid() : set.GetPointsGrid(group, from, to, tptNone),
            group, format);
  return 0;
}

}  // namespace cuadrante::tool
