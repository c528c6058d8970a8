// RutinasFecha, calendar periods over a range of dates and the view window.
//
// GetPairedFechas cuts a range into weeks, fortnights, months, quarters or days,
// each period with its first and closing date (at 00:00:00) and two labels for
// people, built from the format settings' month and day names and passed
// through the dictionary. StartViewDate and EndViewDate are the host's window:
// plain globals without a lock, written by the host while no reader runs.
#pragma once

#include <vector>

#include "cuadrante/runtime/export.h"
#include "cuadrante/runtime/sysutils.h"
#include "cuadrante/time/fecha.h"
#include "cuadrante/vocabulary/basicdefines.h"

namespace RutinasFecha {

// One period: `First` is its first day, `Second` the last day of the period
// (for days, the next day), both at 00:00:00.
struct CUADRANTE_API TFechasPair {
  TFechasPair() = default;
  // Keeps the date of each argument, dropping the time of day.
  TFechasPair(TFecha first, TFecha second) : First(first.Date()), Second(second.Date()) {}

  TFecha First;
  TFecha Second;
  AnsiString Label;      // short, e.g. " S10" or "enero 2003"
  AnsiString FullLabel;  // long, e.g. "Semanal: marzo 2003 S10"
};

// In ascending date order.
using TFechasPairList = std::vector<TFechasPair>;

// The periods of `group` (low 8 bits) that cover [start, end]: `start` is first
// aligned back to the group's grid, then periods follow while their first
// instant is not after `end`, time of day included. Any group other than week,
// month, fortnight or quarter gives days (a year is aligned to 1 January first).
// A `start` past the calendar's last day gives none.
CUADRANTE_API TFechasPairList GetPairedFechas(TFecha start, TFecha end, TTimesGroup group);

// StartViewDate <= date <= EndViewDate, whole values, both bounds inclusive.
CUADRANTE_API bool IsVisibleDate(TFecha date);

// The host's view window; both 0 after load, never written by the library.
extern CUADRANTE_API TFecha StartViewDate;
extern CUADRANTE_API TFecha EndViewDate;

}  // namespace RutinasFecha
