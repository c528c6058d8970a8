// Each employee's items over a range of days, built from the plan's rules,
// rotations and one-off items with the library's point sets underneath.
//
// Rules are unrolled by the cycle manager (a named shift carries its code),
// rotations day by day from their anchor, and one-off items are taken as they
// are. An item belongs to the range when it shares a second with it, so the
// night shift that began the evening before is there. Items come sorted by
// start; a person's overlapping items are all kept (the checks report them).
#pragma once

#include <string>
#include <vector>

#include "cuadrante/roster/dayhours.h"
#include "cuadrante/roster/plan.h"
#include "cuadrante/runtime/export.h"

namespace cuadrante::roster {

struct TRosterItem {
  TFecha start;
  int64_t seconds = 0;
  TTimePointType type = tptNone;
  std::string code;  // the shift's code; empty for one-off items and stored rules

  int64_t End() const { return start.Value() + seconds; }
};

struct TPersonRoster {
  const TEmployee* employee = nullptr;  // borrowed from the plan
  std::vector<TRosterItem> items;
};

// One roster an employee, in the plan's order, over [firstDay, lastDay]
// (whole days, both included). The plan must outlive the result.
CUADRANTE_API std::vector<TPersonRoster> BuildRosters(const TPlan& plan, TFecha firstDay,
                                                      TFecha lastDay);

// The person's hours over the same days, split at midnight and at the range's
// edges, work apart from absence; with a zone, the hours that really pass.
CUADRANTE_API TDayHours HoursOf(const TPersonRoster& roster, TFecha firstDay, TFecha lastDay,
                                const TZone* zone = nullptr);

}  // namespace cuadrante::roster
