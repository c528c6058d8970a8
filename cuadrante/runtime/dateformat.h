// Date and time texts under the process-wide `FormatSettings`.
//
// Format patterns (letters in either case):
//   d dd        day of the month, bare or zero-padded to two digits
//   ddd dddd    short and long day name (FormatSettings, index 0 is Sunday)
//   ddddd       the short date format; dddddd the long date format
//   m mm        month, bare or zero-padded; mmm mmmm short and long month name
//   yy yyyy     two-digit and four-digit year (y alone is yy, yyy is yyyy)
//   h hh        hour 0-23, bare or zero-padded
//   n nn        minute; s ss second; z zzz millisecond, bare or padded to three
//   t tt        the short and the long time format
//   c           the short date format, then a blank and the long time format
//               unless the time is exactly 00:00:00.000
//   /  :        the date and the time separator of the settings
//   '...' "..." copied as they stand (an unclosed quote runs to the end)
// A run of m or mm counts as the minute when the last letter before it outside
// quotes was an h, whatever blanks, digits or separators lie between: "hh:mm"
// and "h'h'mm" show minutes, "hh dd mm" shows the month. Any other character is
// copied. An empty pattern is "c". Safe from any thread while nobody changes
// `FormatSettings`.
//
// Example:
//   FormatDateTime("dd/mm/yyyy hh:mm", EncodeDateTime(2026, 11, 23, 8, 5, 0, 0))
//     == "23/11/2026 08:05"
#pragma once

#include "cuadrante/runtime/datetime.h"
#include "cuadrante/runtime/sysutils.h"

// The text of `value` by `format`; allocates only the resulting string.
CUADRANTE_API AnsiString FormatDateTime(std::string_view format, TDateTime value);

// Date in the short date format, then a blank and the time in the long time
// format; at exactly 00:00:00 the time is left out.
CUADRANTE_API AnsiString DateTimeToStr(TDateTime value);
CUADRANTE_API AnsiString DateToStr(TDateTime value);
CUADRANTE_API AnsiString TimeToStr(TDateTime value);
// The date part alone in the short date format; the same text as DateToStr.
CUADRANTE_API AnsiString DateString(TDateTime value);

// Parses a date of three numbers in the order that the short date format gives
// to its d, m and y (day, month, year for the default), joined by the date
// separator, optionally followed by blanks and a time. A time is hours and
// minutes joined by the time separator, then optionally the seconds and, after
// the decimal separator, one to three digits of a fraction of a second (".5" is
// 500 ms). StrToDateTime also takes a time alone, which gives day 0. Day, month,
// hour, minute and second take one or two digits. A year of one or two digits:
// 00-49 is 2000-2049 and 50-99 is 1950-1999, the same on every day the program
// runs; three or four digits are the year itself. Blanks around the text are
// ignored. Raises EConvertError quoting the text ("'x' is not a valid date and
// time", "... valid date", "... valid time") when it is none, or names a day or
// a time that does not exist. Never reads outside `text`, whatever it holds.
CUADRANTE_API TDateTime StrToDateTime(std::string_view text);
CUADRANTE_API TDateTime StrToDate(std::string_view text);
CUADRANTE_API TDateTime StrToTime(std::string_view text);
// As StrToDateTime, answering false (and leaving `value` alone) instead of raising.
CUADRANTE_API bool TryStrToDateTime(std::string_view text, TDateTime& value);
