// `cuadrante demo-operation`: a long operation with a live progress bar.
#pragma once

#include "tools/cuadrante/arguments.h"

namespace cuadrante::tool {

int RunDemoOperation(const Args& args);
void HelpDemoOperation();

}  // namespace cuadrante::tool
