// The people layer's edges in std::chrono, for hosts that keep time that way.
//
// The library counts wall-clock seconds from 30/12/1899 (TFecha); a host's
// std::chrono time points count from 1970 in the same wall-clock seconds (no
// zone is applied either way), so a value crosses in both directions exactly.
#pragma once

#include <chrono>
#include <vector>

#include "cuadrante/roster/checks.h"
#include "cuadrante/roster/personroster.h"
#include "cuadrante/time/fecha.h"

namespace cuadrante::roster {

// Days from 30/12/1899 to 01/01/1970.
inline constexpr int64_t kUnixEpochDays = 25569;

constexpr TFecha FromChrono(std::chrono::sys_seconds at) {
  return TFecha(at.time_since_epoch().count() + kUnixEpochDays * 86400);
}
constexpr TFecha FromChrono(std::chrono::year_month_day day) {
  return FromChrono(std::chrono::sys_seconds(std::chrono::sys_days(day)));
}
constexpr std::chrono::sys_seconds ToChrono(TFecha at) {
  return std::chrono::sys_seconds(std::chrono::seconds(at.Value() - kUnixEpochDays * 86400));
}

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
