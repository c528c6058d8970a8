// `cuadrante plan render`: the planner's picture of a plan as SVG.
#pragma once

#include <functional>
#include <string>

#include "cuadrante/roster/plan.h"
#include "cuadrante/time/fecha.h"

namespace cuadrante::tool {

// Whom a picture shows; an empty function shows everyone.
using ShowsEmployee = std::function<bool(const roster::TEmployee&)>;
// Draws the plan's picture over the days [first, last] to `output` ("-":
// stdout), of the people `shows` picks (empty: everyone).
int RunPlanRender(const roster::TPlan& plan, TFecha first, TFecha last, const std::string& output,
                  const ShowsEmployee& shows = ShowsEmployee());

}  // namespace cuadrante::tool
