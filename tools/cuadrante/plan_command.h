// `cuadrante plan`: the people of a plan, their hours, breaches, coverage and
// picture.
#pragma once

#include "cuadrante/roster/checks.h"
#include "tools/cuadrante/arguments.h"

namespace cuadrante::tool {

int RunPlan(const Args& args);
void HelpPlan();

// The library's sentences and type labels through the dictionary.
roster::TWording Wording();

}  // namespace cuadrante::tool
