// `cuadrante point`: a time point shown from its stored text.
#pragma once

#include "tools/cuadrante/arguments.h"

namespace cuadrante::tool {

int RunPoint(const Args& args);
void HelpPoint();

}  // namespace cuadrante::tool
