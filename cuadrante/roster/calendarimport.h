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
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cuadrante/roster/icalendar.h"
#include "cuadrante/runtime/export.h"
#include "cuadrante/time/fecha.h"
#include "cuadrante/time/zone.h"

namespace cuadrante::roster {

struct TImportedEvent {
  TFecha start;
  TDuration seconds;
  TTimePointType type = tptNone;
  std::string summary;
  std::string code;  // the shift's code, from X-CUADRANTE-SHIFT; "" for none
  std::string uid;
};

// An event that ReadCalendar left out, and why.
struct TSkippedEvent {
  std::string uid;  // "" when it has none
  size_t line = 0;  // where its BEGIN:VEVENT is, from 1
  std::string why;
};

struct TImportOptions {
  // The one wall clock for zoned and UTC times. Null takes each as written,
  // which mixes clocks in a calendar that holds both: hosts pass a zone, the
  // system's (LocalZone) when the person names none.
  const TZone* zone = nullptr;
  TTimePointType defaultType = tptLeave;
  TTypeLabel label;  // the labels CATEGORIES is matched with; PlainTypeLabel when empty
  // What the whole text's rules may cost, in steps: each occurrence of a
  // rule, each day that libical's iterator walks between the occurrences of a rule (a
  // rule that libical finds no day for costs it 100,000), each time tried in
  // a rule finer than a day (walked here, a day at a time: libical's iterator
  // tries every second of a rule that matches none, and never returns), and
  // each year of rules that a VTIMEZONE's changes are unrolled over. A rule
  // without COUNT is walked from where the range begins. The budget is the
  // file's, not each event's, so that time and memory follow the text's size
  // whatever its rules say: at its default, a few seconds and some 200 MB of
  // occurrences at most.
  size_t maxSteps = 1'000'000;
  // Without it, the first event that cannot be read refuses the calendar;
  // with it, each such event is left out and passed here (the parser's error,
  // a time out of range, an end before the start, a rule that cannot be
  // followed, a zone nobody defines). What is wrong with the calendar as a
  // whole (no VCALENDAR, a content line over kMaxContentLine, a VTIMEZONE
  // with a rule no zone needs, the step budget spent) refuses it still.
  std::function<void(const TSkippedEvent&)> skip;
};

// The occurrences, sorted by start. The text's lines are unfolded and their
// times checked field by field before libical sees them (see icslines.h),
// and libical parses one component at a time, so that memory follows the
// largest event rather than the whole text. Raises EConvertError for text
// that is no calendar, a component left open, a content line too long, a time
// with a field out of range (naming the line), an event that cannot be read
// (naming it and its line; see `skip`), a VTIMEZONE observance whose RRULE is
// other than yearly on one month (naming the zone), and a calendar that needs
// more than `maxSteps` steps.
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
