// `cuadrante validate`: every element of point-set documents, plans and
// calendars checked.
#pragma once

#include "tools/cuadrante/arguments.h"

namespace cuadrante::tool {

int RunValidate(const Args& args);
void HelpValidate();

}  // namespace cuadrante::tool
