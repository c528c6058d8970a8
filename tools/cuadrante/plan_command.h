// `cuadrante plan`: the people of a plan, their hours, breaches, coverage and
// picture.
#pragma once

#include <cstdint>
#include <string>

#include "cuadrante/roster/checks.h"
#include "tools/cuadrante/arguments.h"

namespace cuadrante::tool {

int RunPlan(const Args& args);
void HelpPlan();

// The library's sentences and type labels through the dictionary.
roster::TWording Wording();

// Hours of 1/420 s units: "37:30" for a person, "37.50" for a program.
std::string HoursText(int64_t units, bool forPeople);

}  // namespace cuadrante::tool
