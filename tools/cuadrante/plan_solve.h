// `cuadrante plan solve`: the engine fills the needs a plan leaves open,
// within the plan's limits, and says what it made and what it left.
#pragma once

#include <cstdint>
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
};

// Status 0 when the roster keeps every hard rule, 1 when the plan's own
// part breaks one the engine could not work around.
int RunPlanSolve(const PlanSolveJob& job);

}  // namespace cuadrante::tool
