// Which items belong to a range, one rule for every host command: an item
// belongs to [from, to] (whole days, both included) when its half-open interval
// shares a second with the range, or, for an item of no length, when its
// instant lies in the range. A night shift that began the evening before the
// range belongs to it; one that ends at the range's first midnight does not.
#pragma once

#include <optional>

#include "cuadrante/points/cyclepointmgr.h"
#include "cuadrante/runtime/export.h"
#include "cuadrante/time/basicpoint.h"
#include "cuadrante/time/fecha.h"
#include "cuadrante/time/zone.h"

namespace cuadrante {

// The range's bounds as values: its first second and the second after its last.
struct TRange {
  int64_t start;
  int64_t end;  // exclusive
};
// [00:00 of `firstDay`, 24:00 of `lastDay`).
CUADRANTE_API TRange DaysRange(TFecha firstDay, TFecha lastDay);

CUADRANTE_API bool Belongs(const TBasicPoint& item, TRange range);

// Unrolls every rule of `rules` into `rules.Points` (boxes when `boxes`) so
// that the occurrences that belong to the range are there, those that began
// before it included, and no other. Answers their number.
CUADRANTE_API size_t ExpandRange(TCyclePointMgr& rules, TFecha firstDay, TFecha lastDay,
                                 bool boxes);

// The days a sorted list of points spans: from 00:00 of the first point's day
// to the last second that any point holds (its start, for one of no length).
// Nothing for an empty list.
struct TSpan {
  TFecha first;
  TFecha last;
};
CUADRANTE_API std::optional<TSpan> SpanOf(const TBasicPointList& sorted);

// The time that really passes over the points in `zone`: their wall-clock
// lengths, less an hour for each night across the spring change and more an
// hour across the autumn one.
CUADRANTE_API TDuration ElapsedIn(const TZone& zone, const TBasicPoint& point);
CUADRANTE_API TDuration ElapsedIn(const TZone& zone, const TBasicPointList& points);

}  // namespace cuadrante
