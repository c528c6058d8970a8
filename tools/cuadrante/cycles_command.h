// `cuadrante expand`, `periods` and `roster`: rules unrolled, a range cut
// into calendar periods, and the unrolled rules laid out in weeks.
#pragma once

#include "tools/cuadrante/arguments.h"

namespace cuadrante::tool {

int RunExpand(const Args& args);
void HelpExpand();
int RunPeriods(const Args& args);
void HelpPeriods();
int RunRoster(const Args& args);
void HelpRoster();

}  // namespace cuadrante::tool
