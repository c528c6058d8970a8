// The people layer's entry points taking std::chrono days, for hosts that
// keep time that way; the conversions themselves are in time/chrono.h.
#pragma once

#include <chrono>
#include <vector>

#include "cuadrante/roster/checks.h"
#include "cuadrante/roster/personroster.h"
#include "cuadrante/time/chrono.h"
#include "cuadrante/time/fecha.h"

namespace cuadrante::roster {

inline std::vector<TPersonRoster> BuildRosters(const TPlan& plan, std::chrono::year_month_day first,
                                               std::chrono::year_month_day last) {
  return BuildRosters(plan, FromChrono(first), FromChrono(last));
}

inline std::vector<TBreach> CheckRosters(const TPlan& plan, std::chrono::year_month_day first,
                                         std::chrono::year_month_day last, const TLimits& limits) {
  return CheckRosters(plan, FromChrono(first), FromChrono(last), limits);
}

inline std::vector<TCoverageGap> CheckCoverage(const TPlan& plan,
                                               const std::vector<TPersonRoster>& rosters,
                                               std::chrono::year_month_day first,
                                               std::chrono::year_month_day last) {
  return CheckCoverage(plan, rosters, FromChrono(first), FromChrono(last));
}

}  // namespace cuadrante::roster
