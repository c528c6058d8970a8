// Events of an iCalendar (RFC 5545) calendar as items, so that what was booked
// in a calendar application (leave, above all) can come back into a plan.
//
// Every VEVENT gives its occurrences that share a second with the whole days
// [firstDay, lastDay]: DTSTART and its DTEND or DURATION, the starts of its
// RRULE and RDATEs less its EXDATEs, an occurrence moved by a RECURRENCE-ID
// event in place of the one it moves; cancelled events give nothing. All-day
// events last whole days. Floating times are the wall clock as they stand;
// times with a TZID or in UTC become the wall clock of `zone` when one is
// given, and are taken as they are written otherwise. The type is the
// calendar's own X-CUADRANTE-TYPE (what the export writes), else the type
// whose label a CATEGORIES value names, else `defaultType`.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "cuadrante/roster/icalendar.h"
#include "cuadrante/roster/zone.h"
#include "cuadrante/runtime/export.h"
#include "cuadrante/time/fecha.h"

namespace cuadrante::roster {

struct TImportedEvent {
  TFecha start;
  int64_t seconds = 0;
  TTimePointType type = tptNone;
  std::string summary;
  std::string uid;
};

struct TImportOptions {
  const TZone* zone = nullptr;
  TTimePointType defaultType = tptLeave;
  TTypeLabel label;  // the labels CATEGORIES is matched with; PlainTypeLabel when empty
  // A hostile rule (FREQ=SECONDLY from 1900) must not run for ever.
  size_t maxOccurrences = 1'000'000;
};

// The occurrences, sorted by start. Raises EConvertError for text that is no
// calendar, for an event the parser reports an error in (naming the event and
// libical's reason) and for a rule with more than `maxOccurrences` steps
// before the range ends.
CUADRANTE_API std::vector<TImportedEvent> ReadCalendar(std::string_view ics, TFecha firstDay,
                                                       TFecha lastDay,
                                                       const TImportOptions& options);

}  // namespace cuadrante::roster
