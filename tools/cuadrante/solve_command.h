// `cuadrante solve`: fills a roster for an instance of the shift scheduling
// benchmark, or scores a roster someone else made.
#pragma once

#include "tools/cuadrante/arguments.h"

namespace cuadrante::tool {

int RunSolve(const Args& args);
void HelpSolve();

}  // namespace cuadrante::tool
