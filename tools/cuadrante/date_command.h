// `cuadrante date`: the calendar around one date.
#pragma once

#include "tools/cuadrante/arguments.h"

namespace cuadrante::tool {

int RunDate(const Args& args);
void HelpDate();

}  // namespace cuadrante::tool
