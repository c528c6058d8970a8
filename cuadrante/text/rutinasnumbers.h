// Real numbers read from text, and lengths of time written for people.
//
// Stateless free functions. They read the process-wide
// `FormatSettings.DecimalSeparator`, so they are safe from any thread as long
// as nobody changes the settings at the same time.
#pragma once

#include <cstdint>

#include "cuadrante/runtime/export.h"
#include "cuadrante/runtime/sysutils.h"

// Unit of a duration text. It travels as a signed 8-bit number; any value not
// listed here writes the composed form, like tfComposed.
enum TTimeFormat : int8_t {
  tfComposed = 0,  // "1 d 2 h 30 min 15 sec"
  tfWeeks = 1,     // "0.50 w"
  tfDays = 2,      // "1.50 d"
  tfHours = 3,     // "1.50 h"
  tfMinutes = 4,   // "90.00 m"
  tfSeconds = 5,   // "5400.00 s"
};

// The text as a number under the process separator; text that is no number
// gives `def` when it holds no ".", and otherwise is read again with its first
// "." as a comma. That second reading raises EConvertError when it fails too.
CUADRANTE_API double StrToDoubleDef(const AnsiString& text, const double def);

// A length of `hours` in the unit of `form`: the fixed forms write the value
// with two decimals and the unit letter ("1.50 h"); the composed form writes
// days, hours, minutes and seconds, each only when it is not zero
// ("1 h 30 min ", with the trailing blank of a last unit piece kept).
CUADRANTE_API AnsiString usrFormatTime(const double hours, TTimeFormat form);
// The same for a number of seconds.
CUADRANTE_API AnsiString usrFormatTime(const int64_t seconds, TTimeFormat form);
