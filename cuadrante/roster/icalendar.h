// Items as an iCalendar (RFC 5545) calendar, for calendar applications.
//
// One VEVENT an item, with a UID that a later export gives the same event
// again, so that a calendar updates the event instead of adding a second one:
// a roster's event is a person's slot (the day and which of the day's events
// it is), an item of a document or a rule's occurrence is what it is (whose,
// which type or shift, when it starts). A later export that follows the one
// before (FollowPrevious) cancels the events that are gone and counts each
// change in SEQUENCE, as RFC 5545 asks of an organizer. Lines end in CRLF and fold at 75 octets
// without splitting a UTF-8 character; texts are escaped. Without a zone the times are floating
// (the wall clock, as the library keeps them); with one, every time carries
// its TZID and the calendar the zone's VTIMEZONE, written from the tz
// database for the years the events span. An item that starts at midnight
// and lasts whole days is an all-day event.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cuadrante/points/basicpointmgr.h"
#include "cuadrante/points/cyclepointmgr.h"
#include "cuadrante/roster/personroster.h"
#include "cuadrante/runtime/export.h"
#include "cuadrante/time/cyclepoint.h"
#include "cuadrante/time/zone.h"

namespace cuadrante::roster {

enum class TFrequency { kDaily, kWeekly, kMonthly, kYearly };
inline constexpr std::string_view kFrequencyNames[] = {"DAILY", "WEEKLY", "MONTHLY", "YEARLY"};

// A rule as RFC 5545 states it: every `interval` periods from the event's
// start up to the start `until`, on weekdays only if `weekdaysOnly`, leaving
// out the starts in `exceptions`.
struct TRecurrence {
  TFrequency frequency = TFrequency::kDaily;
  int interval = 1;
  bool weekdaysOnly = false;
  TFecha until;
  std::vector<TFecha> exceptions;
};

struct TCalendarEvent {
  std::string uid;
  TFecha start;
  TDuration seconds;
  TTimePointType type = tptNone;
  std::string summary;
  std::string category;
  std::string shift;         // the shift's code, as X-CUADRANTE-SHIFT; "" for none
  bool transparent = false;  // absences leave the person's time free
  bool cancelled = false;    // STATUS:CANCELLED: an event of an earlier export that is gone
  bool byEngine = false;     // a shift the engine gave: kEngineCategory joins CATEGORIES
  int sequence = 0;          // SEQUENCE: how often the event changed since its first export
  std::optional<TRecurrence> recurrence;
};

// The category that marks an event of a shift the auto-rostering engine gave,
// after the type's label ("CATEGORIES:Horario,Motor"). It is the same whatever
// the dictionary, so a calendar's filter or colour rule on it keeps working; a
// reader that knows no categories still has the event as it was.
inline constexpr std::string_view kEngineCategory = "Motor";

struct TCalendarOptions {
  const TZone* zone = nullptr;          // null: floating times
  std::chrono::sys_seconds stampUtc{};  // DTSTAMP
  // The most octets the calendar may take, so that what is written can be
  // read back by a reader that bounds what it reads; 0 for no bound.
  size_t maxBytes = 0;
};

// The calendar's text. An event that would end after 31/12/9999 23:59:59
// (an all-day event on its last day) gives its DURATION, not a DTEND no date
// can say. Raises EConvertError as soon as the text passes `maxBytes`.
CUADRANTE_API std::string WriteCalendar(std::span<const TCalendarEvent> events,
                                        const TCalendarOptions& options);

// A TEXT value escaped: backslash, semicolon, comma and line ends.
CUADRANTE_API std::string EscapeText(std::string_view text);
// A content line folded at 75 octets, each piece ended by CRLF.
CUADRANTE_API std::string FoldLine(std::string_view line);
// "<16 hex digits>-<YYYYMMDDTHHMMSS>@cuadrante" from `scope` (whose items),
// `what` (type, shift or rule) and the start.
CUADRANTE_API std::string StableUid(std::string_view scope, std::string_view what, TFecha start);
// "<16 hex digits>-<YYYYMMDD>-<n>@cuadrante": the `ordinal`th (from 1) event
// of `scope` on the day of `day`, whatever it holds.
CUADRANTE_API std::string SlotUid(std::string_view scope, TFecha day, int ordinal);

// The label a type shows as SUMMARY and CATEGORIES; hosts pass a translated one.
using TTypeLabel = std::function<std::string(TTimePointType)>;
CUADRANTE_API std::string PlainTypeLabel(TTimePointType type);

// The items of a point set that belong to [firstDay, lastDay]; a box shows
// its code and description, a point its type.
CUADRANTE_API std::vector<TCalendarEvent> EventsOfPoints(const TBasicPointMgr& points,
                                                         TFecha firstDay, TFecha lastDay,
                                                         std::string_view scope,
                                                         const TTypeLabel& label);

// How a rule travels: as one recurring event when RFC 5545 states exactly the
// occurrences that the cycle manager unrolls, otherwise as one event each.
struct TRuleEvents {
  std::vector<TCalendarEvent> events;
  bool recurring = false;
  std::string why;  // why a rule asked to recur could not: "" otherwise
};

// The occurrences of `rule` that belong to [firstDay, lastDay]; with
// `recur`, as a recurrence where one is exact. Monthly and quarterly rules
// from the 29th-31st stay on the day they were clamped to, and a yearly rule
// from 29 February on the 28th, which RFC 5545 cannot say. With a zone, a
// rule that steps on a clock time the zone skips is written as events too:
// RFC 5545 moves that one occurrence, but libical's iterator (3.0) moves
// the one after it by the gap as well, so the readers would part ways.
CUADRANTE_API TRuleEvents EventsOfRule(const TCyclePoint& rule, TFecha firstDay, TFecha lastDay,
                                       bool recur, std::string_view scope, const TTypeLabel& label,
                                       const TZone* zone = nullptr);

// A person's roster: shift code and name where the plan gives them, the type
// otherwise; `withName` adds the person's name (a post's calendar); a shift
// the engine gave is marked `byEngine`. Work that
// an absence cancels is left out. Each event's UID is its slot (SlotUid with
// the employee's id, the day it starts and its place among that day's events
// by start), so a shift that moves keeps the UID of the slot it lands in and
// the calendar updates that event. `firstDay` is the first day the roster
// was built from: a day before it holds only the items that reach into the
// range, so its slots are counted on a roster of the whole day.
CUADRANTE_API std::vector<TCalendarEvent> EventsOfRoster(const TPlan& plan,
                                                         const TPersonRoster& roster, bool withName,
                                                         const TTypeLabel& label,
                                                         TFecha firstDay = TFecha());

// What following an earlier export did to the events.
struct TFollowed {
  size_t changed = 0;    // events whose content differs from the earlier one
  size_t cancelled = 0;  // cancellations added for UIDs that are gone
};

// Makes `events` follow `previous`, the text of the calendar exported before
// them, so that a calendar application that took that one updates rather than
// adds. An event whose UID was there takes that event's SEQUENCE, one more
// when anything but its UID, DTSTAMP and SEQUENCE differs (times, summary,
// type, status, the engine's mark: libical reads both sides); every event of `previous` whose
// UID is gone is appended, in its order, as a cancellation: the same UID,
// STATUS:CANCELLED, its old times (on the wall clock of `options.zone` when
// it had one) and texts, SEQUENCE one more than before, or the same when it
// was cancelled already. The same events and `previous` give the same result.
// Raises EConvertError for a text that is no calendar, an event libical
// reports an error in, one without UID or DTSTART, or a UID on two events.
CUADRANTE_API TFollowed FollowPrevious(std::vector<TCalendarEvent>& events,
                                       std::string_view previous, const TCalendarOptions& options);

}  // namespace cuadrante::roster
