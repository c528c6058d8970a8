// `cuadrante date DATE`: the calendar around one date, through TFecha.
#include <cstdio>

#include "cuadrante/runtime/dateformat.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/formatsettings.h"
#include "cuadrante/time/fecha.h"
#include "cuadrante/vocabulary/basicdefines.h"
#include "tools/cuadrante/date_command.h"
#include "tools/cuadrante/labels.h"

namespace cuadrante::tool {
namespace {

// A date and a time of day as "lunes 23/11/2026 08:00:00".
std::string Long(const TFecha& date) {
  return DayLabel(date.DayOfWeek()) + " " + date.ToString("dd/mm/yyyy hh:nn:ss");
}

}  // namespace

void HelpDate() {
  std::printf(
      "usage: cuadrante date DATE\n\n"
      "Shows the stored value of DATE, its ISO week, the week's first and last\n"
      "second, the month it lies in and the same day a week and a month later.\n"
      "DATE is 2026-11-23 (optionally with 08:30) or 23/11/2026.\n\n"
      "example:\n  cuadrante date 2026-11-23\n");
}

int RunDate(const Args& arguments) {
  const Args args =
      Parse(arguments, {{}, {1, 1, "expects one DATE (see `cuadrante help date`)"}}).words;
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
