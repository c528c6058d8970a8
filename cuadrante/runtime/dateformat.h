// Date and time texts under the process-wide `FormatSettings`.
//
// Format patterns: d dd ddd dddd (day, zero-padded, short and long name),
// m mm mmm mmmm (month, zero-padded, short and long name; m or mm right after
// h or hh is the minute), yy yyyy, h hh, n nn (minute), s ss, z zzz
// (milliseconds), "/" and ":" as the date and time separators of the settings,
// and text in '...' or "..." copied as it stands. Every other character is
// copied. Safe from any thread while nobody changes `FormatSettings`.
//
// Example:
//   FormatDateTime("dd/mm/yyyy hh:mm", EncodeDateTime(2026, 11, 23, 8, 5, 0, 0))
//     == "23/11/2026 08:05"
#pragma once

#include "cuadrante/runtime/datetime.h"
#include "cuadrante/runtime/sysutils.h"

CUADRANTE_API AnsiString FormatDateTime(std::string_view format, TDateTime value);

// Date in the short date format, then a blank and the time in the long time
// format; at exactly 00:00:00 the time is left out.
CUADRANTE_API AnsiString DateTimeToStr(TDateTime value);
CUADRANTE_API AnsiString DateToStr(TDateTime value);
CUADRANTE_API AnsiString TimeToStr(TDateTime value);
// The date part alone in the short date format; the same text as DateToStr.
CUADRANTE_API AnsiString DateString(TDateTime value);

// Parses a date in the order of the short date format (day, month, year for the
// default), with the date separator, optionally followed by blanks and a time
// of hours and minutes with optional seconds and milliseconds. A two-digit year
// 00-49 is 2000-2049 and 50-99 is 1950-1999, the same on every day the program
// runs. Raises EConvertError naming
// the text when it is no date-time, or names a day that does not exist.
CUADRANTE_API TDateTime StrToDateTime(std::string_view text);
CUADRANTE_API TDateTime StrToDate(std::string_view text);
CUADRANTE_API TDateTime StrToTime(std::string_view text);
CUADRANTE_API bool TryStrToDateTime(std::string_view text, TDateTime& value);
