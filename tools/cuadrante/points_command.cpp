// `cuadrante points FILE.xml` and `cuadrante grid FILE.xml`: a stored point-set
// document listed point by point, or laid out in week or month rows.
#include <cstdio>
#include <string>

#include "cuadrante/points/basicpointmgr.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/files.h"
#include "cuadrante/runtime/formatsettings.h"
#include "cuadrante/text/rutinasnumbers.h"
#include "cuadrante/vocabulary/basicdefines.h"
#include "tools/cuadrante/commands.h"

namespace cuadrante::tool {
namespace {

// `text` padded with blanks to `width` characters (not bytes: labels are UTF-8).
std::string Pad(const std::string& text, size_t width, bool right = false) {
  size_t characters = 0;
  for (const char c : text) characters += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  const std::string blanks(characters < width ? width - characters : 0, ' ');
  return right ? blanks + text : text + blanks;
}

// Whole hours as "8", parts of an hour as "7:30", nothing as "-".
std::string Hours(int64_t seconds) {
  if (seconds == 0) return "-";
  const int64_t minutes = seconds / 60;
  char text[32];
  if (minutes % 60 == 0) {
    std::snprintf(text, sizeof text, "%lld", static_cast<long long>(minutes / 60));
  } else {
    std::snprintf(text, sizeof text, "%lld:%02lld", static_cast<long long>(minutes / 60),
                  static_cast<long long>(minutes % 60 < 0 ? -(minutes % 60) : minutes % 60));
  }
  return text;
}

struct GridOptions {
  std::string file;
  TTimesGroup group = tgWeek;
  TTimePointType type = tptNone;
};

GridOptions ParseGridOptions(const Args& args) {
  GridOptions options;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    const auto value = [&]() -> const std::string& {
      if (i + 1 == args.size()) throw Misuse(arg + " needs a value");
      return args[++i];
    };
    if (arg == "--by") {
      const std::string& by = value();
      if (by == "week") {
        options.group = tgWeek;
      } else if (by == "month") {
        options.group = tgMonth;
      } else {
        throw Misuse("--by takes week or month, not '" + by + "'");
      }
    } else if (arg == "--type") {
      const int type = StrToInt(value());
      if (type < 0 || type >= kTimePointTypeCount) {
        throw EConvertError("--type " + std::to_string(type) + " is no point type (0 to 13)");
      }
      options.type = static_cast<TTimePointType>(type);
    } else if (!arg.empty() && arg[0] == '-') {
      throw Misuse("unknown option " + arg);
    } else if (options.file.empty()) {
      options.file = arg;
    } else {
      throw Misuse("expects one FILE.xml");
    }
  }
  if (options.file.empty()) throw Misuse("expects a FILE.xml (see `cuadrante help grid`)");
  return options;
}

}  // namespace

void PrintGrid(const SetPointsGrid& grid, TTimesGroup group) {
  const int columns = group == tgWeek ? 7 : 31;
  std::printf("%-12s %s", "period", Pad("type", 20).c_str());
  for (int day = 0; day < columns; ++day) {
    if (group == tgWeek) {
      // Monday first; the settings keep Sunday at 0.
      std::printf(" %s", Pad(FormatSettings.ShortDayNames[(day + 1) % 7], 5, true).c_str());
    } else {
      std::printf(" %3d", day + 1);
    }
  }
  std::printf(" %9s\n", "total");
  for (const ItemPointGrid& row : grid) {
    const std::string period = group == tgWeek ? "S" + std::to_string(row.Period.Week()) + " " +
                                                     row.Period.ToString("dd/mm")
                                               : row.Period.ToString("mmm yyyy");
    const std::string type = std::to_string(row.Type) + " " + GetIncidenceTypeAsStr(row.Type);
    std::printf("%-12s %s", period.c_str(), Pad(type, 20).c_str());
    for (int day = 0; day < columns; ++day) {
      int64_t seconds = 0;
      if (day < static_cast<int>(row.Days.size())) {
        for (const TBasicPoint* point : row.Days[static_cast<size_t>(day)]) {
          seconds += point->GetDurationValue();
        }
      }
      std::printf(group == tgWeek ? " %5s" : " %3s", Hours(seconds).c_str());
    }
    std::printf(" %9s\n", usrFormatTime(row.Total.Value(), tfHours).c_str());
  }
}

void HelpPoints() {
  std::printf(
      "usage: cuadrante points FILE.xml\n\n"
      "Lists the points of a stored point-set document (root POINTSMGR, one POINT\n"
      "element per point) in document order: group, interval, length and type.\n\n"
      "example:\n  cuadrante points examples/points.xml\n");
}

int RunPoints(const Args& args) {
  if (args.size() != 1) throw Misuse("expects one FILE.xml (see `cuadrante help points`)");
  TBasicPointMgr set;
  LoadDocument(args[0], set);
  std::printf("%-5s %-35s %-14s %s\n", "group", "interval", "length", "type");
  for (const TBasicPoint* point : set.Points) {
    std::printf("%-5d %-35s %-14s %d %s\n", static_cast<int>(point->Group),
                point->ToString(4).c_str(), point->GetDuration().GetSmartString().c_str(),
                static_cast<int>(point->Type), point->GetTypeStr().c_str());
  }
  AnsiString overlaps;
  set.Sort();
  if (set.PointsSolap(overlaps)) std::printf("\n%s\n", overlaps.c_str());
  std::printf("\n%zu points, %s in all\n", set.Points.size(),
              Trim(set.GetTotalDuration(tptNone).GetSmartString()).c_str());
  return 0;
}

void HelpGrid() {
  std::printf(
      "usage: cuadrante grid FILE.xml [--by week|month] [--type N]\n\n"
      "Lays the points of a stored point-set document out in rows, one for each\n"
      "week (default) or month and type, with the hours of each day and the row's\n"
      "total. A point counts whole under the day it starts. --type keeps one type.\n\n"
      "examples:\n  cuadrante grid examples/points.xml\n"
      "  cuadrante grid examples/points.xml --by month --type 2\n");
}

int RunGrid(const Args& args) {
  const GridOptions options = ParseGridOptions(args);
  TBasicPointMgr set;
  LoadDocument(options.file, set);
  set.Sort();
  const TFecha from = set.GetFirstDate(TFecha());
  const TFecha to = set.Points.back()->GetInicio().EndOfDay();
  const SetPointsGrid grid = set.GetPointsGrid(options.group, from, to, options.type);

  PrintGrid(grid, options.group);
  return 0;
}

}  // namespace cuadrante::tool
