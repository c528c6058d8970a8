// The process-wide formats for dates, times and numbers.
//
// Defaults are those the library's stored texts assume: decimal separator ".",
// short date "dd/mm/yyyy", long time "hh:nn:ss", separators "/" and ":",
// Spanish month and day names. A host may change them at start-up, before any
// other thread reads them; nothing guards them afterwards.
#pragma once

#include <array>

#include "cuadrante/runtime/sysutils.h"

struct CUADRANTE_API TFormatSettings {
  char DecimalSeparator = '.';
  char ThousandSeparator = ',';
  char DateSeparator = '/';
  char TimeSeparator = ':';
  AnsiString ShortDateFormat = "dd/mm/yyyy";
  AnsiString LongDateFormat = "dddd, d' de 'mmmm' de 'yyyy";
  AnsiString ShortTimeFormat = "hh:nn";
  AnsiString LongTimeFormat = "hh:nn:ss";
  // Index 0 is January.
  std::array<AnsiString, 12> ShortMonthNames{"ene", "feb", "mar", "abr", "may", "jun",
                                             "jul", "ago", "sep", "oct", "nov", "dic"};
  std::array<AnsiString, 12> LongMonthNames{"enero",   "febrero",   "marzo",     "abril",
                                            "mayo",    "junio",     "julio",     "agosto",
                                            "septiembre", "octubre", "noviembre", "diciembre"};
  // Index 0 is Sunday, as the runtime's day names have always been kept.
  std::array<AnsiString, 7> ShortDayNames{"dom", "lun", "mar", "mié", "jue", "vie", "sáb"};
  std::array<AnsiString, 7> LongDayNames{"domingo", "lunes",   "martes", "miércoles",
                                         "jueves",  "viernes", "sábado"};
};

CUADRANTE_API extern TFormatSettings FormatSettings;
