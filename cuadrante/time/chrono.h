// TFecha at the edge with std::chrono, for hosts that keep time that way.
//
// The library counts wall-clock seconds from 30/12/1899 (TFecha); a host's
// std::chrono time points count from 1970 in the same wall-clock seconds (no
// zone is applied either way), so a value crosses in both directions exactly.
#pragma once

#include <chrono>
#include <cstdint>

#include "cuadrante/time/fecha.h"

namespace cuadrante {

// Days from 30/12/1899 to 01/01/1970.
inline constexpr int64_t kUnixEpochDays = 25569;

constexpr TFecha FromChrono(std::chrono::sys_seconds at) {
  return TFecha(at.time_since_epoch().count() + kUnixEpochDays * kSecondsPerDay);
}
constexpr TFecha FromChrono(std::chrono::year_month_day day) {
  return FromChrono(std::chrono::sys_seconds(std::chrono::sys_days(day)));
}
constexpr std::chrono::sys_seconds ToChrono(TFecha at) {
  return std::chrono::sys_seconds(
      std::chrono::seconds(at.Value() - kUnixEpochDays * kSecondsPerDay));
}

}  // namespace cuadrante
