// `cuadrante date DATE`: the calendar around one date, through TFecha.
#include <cstdio>

#include "cuadrante/runtime/dateformat.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/formatsettings.h"
#include "cuadrante/time/fecha.h"
#include "cuadrante/vocabulary/basicdefines.h"
#include "tools/cuadrante/commands.h"
#include "tools/cuadrante/labels.h"

namespace cuadrante::tool {
namespace {

// A date and a time of day as "lunes 23/11/2026 08:00:00".
std::string Long(const TFecha& date) {
  return DayLabel(date.DayOfWeek()) + " " + date.ToString("dd/mm/yyyy hh:nn:ss");
}

bool ParseIso(const std::string& text, TDateTime& value) {
  unsigned year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  int used = 0;
  const int n = std::sscanf(text.c_str(), "%4u-%2u-%2u%n", &year, &month, &day, &used);
  if (n != 3) return false;
  std::string rest = text.substr(static_cast<size_t>(used));
  if (!rest.empty()) {
    if (rest[0] != 'T' && rest[0] != ' ') return false;
    int usedTime = 0;
    const int t = std::sscanf(rest.c_str() + 1, "%2u:%2u%n:%2u%n", &hour, &minute, &usedTime,
                              &second, &usedTime);
    if (t < 2 || static_cast<size_t>(usedTime) + 1 != rest.size()) return false;
  }
  TDateTime date;
  TDateTime time;
  if (!TryEncodeDate(static_cast<uint16_t>(year), static_cast<uint16_t>(month),
                     static_cast<uint16_t>(day), date) ||
      !TryEncodeTime(static_cast<uint16_t>(hour), static_cast<uint16_t>(minute),
                     static_cast<uint16_t>(second), 0, time)) {
    return false;
  }
  value = date + time;
  return true;
}

}  // namespace

TDateTime ParseDateArgument(const std::string& text) {
  TDateTime value;
  if (ParseIso(text, value) || TryStrToDateTime(text, value)) return value;
  throw EConvertError("'" + text + "' is not a date (use 2026-11-23 or 23/11/2026)");
}

void HelpDate() {
  std::printf(
      "usage: cuadrante date DATE\n\n"
      "Shows the stored value of DATE, its ISO week, the week's first and last\n"
      "second, the month it lies in and the same day a week and a month later.\n"
      "DATE is 2026-11-23 (optionally with 08:30) or 23/11/2026.\n\n"
      "example:\n  cuadrante date 2026-11-23\n");
}

int RunDate(const Args& arguments) {
  const Args args = Parse(arguments, {}, {}).words;
  if (args.size() != 1) throw Misuse("expects one DATE (see `cuadrante help date`)");
  const TFecha date(ParseDateArgument(args[0]));
  std::printf("date         %s\n", Long(date).c_str());
  std::printf("value        %lld seconds from 30/12/1899\n", static_cast<long long>(date.Value()));
  std::printf("week         %u\n", static_cast<unsigned>(date.Week()));
  std::printf("week start   %s\n", Long(date.StartOfWeek()).c_str());
  std::printf("week end     %s\n", Long(date.EndOfWeek()).c_str());
  std::printf("next week    %s\n", Long(date.StartOfNextWeek()).c_str());
  std::printf("month        %s .. %s\n", date.StartOfMonth().ToString("dd/mm/yyyy").c_str(),
              date.EndOfMonth().ToString("dd/mm/yyyy hh:nn:ss").c_str());
  std::printf("next month   %s\n", Long(date.IncDays(tgMonth)).c_str());
  std::printf("long form    %s\n", date.ToString(FormatSettings.LongDateFormat).c_str());
  return 0;
}

}  // namespace cuadrante::tool
