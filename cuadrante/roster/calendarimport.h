// Events of an iCalendar (RFC 5545) calendar as items, so that what was booked
// in a calendar application (leave, above all) can come back into a plan.
//
// Every VEVENT gives its occurrences that share a second with the whole days
// [firstDay, lastDay]: DTSTART and its DTEND or DURATION, the starts of its
// RRULE and RDATEs less its EXDATEs, an occurrence moved by a RECURRENCE-ID
// event in place of the one it moves; cancelled events give nothing. All-day
// events last whole days. Floating times are the wall clock as they stand;
// times with a TZID or in UTC become the wall clock of `zone`. The type is the
// calendar's own X-CUADRANTE-TYPE (what the export writes), else the type
// whose label a CATEGORIES value names, else `defaultType`; the shift code is
// X-CUADRANTE-SHIFT. As boxes, code and SUMMARY travel on into documents.
#pragma once

#include <cstdint>
#include <span>
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
  std::string code;  // the shift's code, from X-CUADRANTE-SHIFT; "" for none
  std::string uid;
};

struct TImportOptions {
  // The one wall clock for zoned and UTC times. Null takes each as written,
  // which mixes clocks in a calendar that holds both: hosts pass a zone, the
  // system's (LocalZone) when the person names none.
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

// Appends each event to `set` (which owns them) as a box of its type whose
// code is the shift's code and whose description is the SUMMARY less the
// code that leads it, so that exporting the set gives the SUMMARY again. A
// box's stored text cannot hold ';' or a line end: they become ',' and ' '.
CUADRANTE_API void AddAsBoxes(std::span<const TImportedEvent> events, TBasicPointMgr& set);

// Which zone stands for "the system's" and why, for a person.
struct TZoneChoice {
  TZone zone;
  std::string why;  // "TZ", "/etc/localtime", "/etc/timezone", or why UTC
};

// The system's zone from what names it: `tz` is the TZ variable (null when
// unset; a leading ':' and a path into a zoneinfo folder are read as glibc
// reads them, and an empty one is UTC), `localtimeLink` where /etc/localtime
// links to ("" when it is no link) and `timezoneFile` the text of
// /etc/timezone ("" when there is none). The first that the tz database knows
// wins; when none does, UTC.
CUADRANTE_API TZoneChoice ChooseLocalZone(const char* tz, std::string_view localtimeLink,
                                          std::string_view timezoneFile);
// The same from this system's TZ, /etc/localtime and /etc/timezone.
CUADRANTE_API TZoneChoice LocalZone();

}  // namespace cuadrante::roster
