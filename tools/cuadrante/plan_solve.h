// `cuadrante plan solve`: the engine fills the needs a plan leaves open,
// within the plan's limits, and says what it made and what it left.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "cuadrante/roster/plan.h"
#include "cuadrante/time/fecha.h"
#include "tools/cuadrante/arguments.h"

namespace cuadrante::tool {

struct PlanSolveJob {
  const roster::TPlan* plan = nullptr;
  std::string text;  // the document the plan was read from
  TFecha first, last;
  double timeLimitSeconds = 10;
  uint64_t seed = 1;
  std::string output;  // the filled plan; empty: none written
  Format format = Format::kText;
  bool explain = false;  // why each gap left was not filled, person by person
  // Re-planning from this day: the engine's items before it stay, and each
  // day changed after it costs `changeWeight`.
  std::optional<TFecha> replanFrom;
  int changeWeight = 10;
  // Fairness in the objective: the plain roster is solved first in half the
  // time, so that the table can say what fairness cost.
  bool fair = false;
};

// What a night or a weekend beyond a person's share costs with --fair: more
// than a person too many, far less than one missing.
inline constexpr int kFairWeight = 2;

// Status 0 when the roster keeps every hard rule, 1 when the plan's own
// part breaks one the engine could not work around.
int RunPlanSolve(const PlanSolveJob& job);

}  // namespace cuadrante::tool
