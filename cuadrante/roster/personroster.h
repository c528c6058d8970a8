// Each employee's items over a range of days, built from the plan's rules,
// rotations and one-off items with the library's point sets underneath.
//
// Rules are unrolled by the cycle manager (a named shift carries its code),
// rotations day by day from their anchor, and one-off items are taken as they
// are. An item belongs to the range when it shares a second with it, so the
// night shift that began the evening before is there. Items come sorted by
// start; a person's overlapping items are all kept (the checks report them).
//
// Absence wins over planned work: work from a rule or a rotation that starts
// while the person is absent (leave, sick leave, an incident, a holiday item)
// is kept in the list marked `cancelled`, so a host can show it struck
// through, and counts nowhere. A shift belongs to the day it starts, so the
// night that began before the leave is still worked. Work that the plan adds
// as an ITEM is never cancelled: the checks report it.
#pragma once

#include <string>
#include <vector>

#include "cuadrante/roster/dayhours.h"
#include "cuadrante/roster/plan.h"
#include "cuadrante/runtime/export.h"

namespace cuadrante::roster {

enum class TItemSource { kRule, kRotation, kItem };

struct TRosterItem {
  TFecha start;
  TDuration seconds;
  TTimePointType type = tptNone;
  std::string code;  // the shift's code; empty for stored rules and items without one
  TItemSource source = TItemSource::kItem;
  bool cancelled = false;  // planned work under an absence
  int rule = -1;           // the employee's rule it comes from, by place
  std::string post;        // the post it covers when not the person's own
  bool byEngine = false;   // an item the engine made

  TFecha End() const { return start + seconds; }
  // Counts in hours, checks and coverage.
  bool Counts() const { return !cancelled; }
  // Work, absence or other, by its type, as the hours count it.
  THoursKind Kind() const;
  // Work that counts and lasts: what rest, runs and coverage see.
  bool IsWork() const { return Counts() && seconds > TDuration() && Kind() == THoursKind::kWork; }
  // Starts at midnight and lasts whole days: shown without a clock.
  bool FillsWholeDays() const {
    return start.Value() % kSecondsPerDay == 0 && seconds.Value() % kSecondsPerDay == 0;
  }
};

// The days, as offsets from `firstDay` (a midnight) within the next `days`,
// on which `item` shows in a roster: a shift on the day it starts only (the
// night belongs to the evening it begins), any other item on every day it
// touches.
CUADRANTE_API std::vector<int> DaysShown(const TRosterItem& item, TFecha firstDay, int days);

struct TPersonRoster {
  const TEmployee* employee = nullptr;  // borrowed from the plan
  std::vector<TRosterItem> items;
  // Occurrences of each of the employee's rules in the range, in their order.
  std::vector<size_t> ruleOccurrences;
};

// One roster an employee, in the plan's order, over [firstDay, lastDay]
// (whole days, both included). The plan must outlive the result.
CUADRANTE_API std::vector<TPersonRoster> BuildRosters(const TPlan& plan, TFecha firstDay,
                                                      TFecha lastDay);

// The same for one employee of the plan over any whole days: the checks look
// past the range with it.
CUADRANTE_API TPersonRoster BuildRoster(const TPlan& plan, const TEmployee& employee,
                                        TFecha firstDay, TFecha lastDay);

// The person's hours over the same days, split at midnight and at the range's
// edges, work apart from absence; with a zone, the hours that really pass.
// Cancelled work counts nowhere.
CUADRANTE_API TDayHours HoursOf(const TPersonRoster& roster, TFecha firstDay, TFecha lastDay,
                                const TZone* zone = nullptr);

}  // namespace cuadrante::roster
