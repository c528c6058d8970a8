// Dates and lengths as people type them in documents and on command lines:
// the one reader of ISO 8601 dates and of hours that the library and its
// tool share, so that a text means the same thing wherever it is given.
//
// Both read digits only, each field at its own fixed width: no sign, blank,
// exponent or base prefix, which a number reader would take and a person did
// not mean. Plain functions of their arguments: safe from any thread.
//
// Example:
//   ParseIsoDate("2026-11-23T08:00") == TFecha(EncodeDateTime(2026, 11, 23, 8, 0, 0, 0))
//   ParseHours("7:30") == TDuration(27000)
#pragma once

#include <optional>
#include <string_view>

#include "cuadrante/runtime/export.h"
#include "cuadrante/time/fecha.h"

namespace cuadrante {

// "2026-11-23" (midnight) or "2026-11-23T08:00" / "2026-11-23T08:00:30", a
// real day of the years 1900 to 9999 and a real time of day; nothing for any
// other text, a blank in place of the "T" included.
CUADRANTE_API std::optional<TFecha> ParseIsoDate(std::string_view text);

// Decimal hours ("8", "7.5", rounded to the nearest second from the first
// nine decimals) or hours and minutes ("7:30", minutes below 60), at most
// 100000 hours; nothing for any other text.
CUADRANTE_API std::optional<TDuration> ParseHours(std::string_view text);

}  // namespace cuadrante
