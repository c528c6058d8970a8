// How evenly a roster shares the work people want least. Per person over a
// range of whole days: the nights (shifts that run past the midnight of the
// day they start), the weekends with work on the Saturday or the Sunday, the
// plan holidays worked, and the hours against the contract's share. Per
// post, the spread of each among the people whose own post it is: the most
// less the least. Spreads are of plain counts: a part-time contract owes
// fewer nights, and the hours' balance is what sets contracts side by side.
//
//   const auto rosters = BuildRosters(plan, first, last);
//   const TFairness fairness = FairnessOf(plan, rosters, first, last);
//   // fairness.people[i].nights, fairness.posts[p].nights (a spread)
#pragma once

#include <vector>

#include "cuadrante/roster/balance.h"
#include "cuadrante/roster/personroster.h"
#include "cuadrante/roster/plan.h"
#include "cuadrante/runtime/export.h"

namespace cuadrante::roster {

struct TFairShare {
  const TEmployee* employee = nullptr;  // borrowed from the plan
  int nights = 0;
  int weekends = 0;
  int holidays = 0;
  TPeriodHours hours;  // work, contract and balance over the range
};

struct TFairSpread {
  const TPost* post = nullptr;
  int people = 0;  // whose own post it is
  int nights = 0;
  int weekends = 0;
  int holidays = 0;
  int64_t balance = 0;  // units (kShareUnits a second)
};

struct TFairness {
  std::vector<TFairShare> people;  // in the rosters' order
  std::vector<TFairSpread> posts;  // in the plan's order
};

// Work that counts only: cancelled work and absences are no share of
// anything. Work starting before the range is the range's when it starts on
// its first day or later only.
CUADRANTE_API TFairness FairnessOf(const TPlan& plan, const std::vector<TPersonRoster>& rosters,
                                   TFecha firstDay, TFecha lastDay);

// Whether `item` is a night: work that runs past the midnight of its day.
CUADRANTE_API bool IsNight(const TRosterItem& item);

}  // namespace cuadrante::roster
