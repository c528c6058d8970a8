// The rules a roster must keep, and where it does not; and whether each post
// has the people it needs.
//
// Per person, over the range's days: two items of the same kind that overlap;
// work during the person's own absence (leave, sick leave, an incident, a
// holiday item) or on a plan holiday; rest between two work items shorter than
// the limit (the gap from the end of one to the start of the next, a double
// shift being a rest of none); a week (Monday to Sunday, the days in the
// range) with more work than the maximum, or a whole week in the range with
// more than the contract; more consecutive days on which work starts than the
// limit. Every breach is
// reported once, with its person, its span and what it is.
//
// Coverage, per post: the people at work (work items of the post's
// employees) against the people its NEEDs ask for, over the range; the spans
// where they differ while something is needed, with the shortfall (negative
// for people beyond the need). One sweep over sorted changes: n log n.
#pragma once

#include <string>
#include <vector>

#include "cuadrante/roster/personroster.h"
#include "cuadrante/roster/plan.h"
#include "cuadrante/runtime/export.h"

namespace cuadrante::roster {

enum class TBreachKind {
  kOverlap,
  kWorkDuringAbsence,
  kWorkOnHoliday,
  kShortRest,
  kWeekOverMaximum,
  kWeekOverContract,
  kTooManyDays,
};
CUADRANTE_API const char* BreachName(TBreachKind kind);  // "overlap", "short rest", ...

struct TBreach {
  const TEmployee* employee = nullptr;  // borrowed from the plan
  TBreachKind kind = TBreachKind::kOverlap;
  TFecha from;  // the span the breach covers
  TFecha to;    // exclusive
  std::string detail;
};

// Breaches of `rosters` (as BuildRosters made them over the same days) in the
// plan's order of people, each person's by start. `limits` usually are the
// plan's own.
CUADRANTE_API std::vector<TBreach> CheckRosters(const TPlan& plan,
                                                const std::vector<TPersonRoster>& rosters,
                                                TFecha firstDay, TFecha lastDay,
                                                const TLimits& limits);

struct TCoverageGap {
  const TPost* post = nullptr;  // borrowed from the plan
  TFecha from;
  TFecha to;  // exclusive
  int required = 0;
  int atWork = 0;
  int Shortfall() const { return required - atWork; }
};

// The spans, post by post and in time order, where the people at work differ
// from the people needed while some are needed.
CUADRANTE_API std::vector<TCoverageGap> CheckCoverage(const TPlan& plan,
                                                      const std::vector<TPersonRoster>& rosters,
                                                      TFecha firstDay, TFecha lastDay);

}  // namespace cuadrante::roster
