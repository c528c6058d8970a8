// `cuadrante rule`, `rules add` and `points add`: stored texts made from
// dates and hours, and appended to documents.
#pragma once

#include "tools/cuadrante/arguments.h"

namespace cuadrante::tool {

int RunRule(const Args& args);
void HelpRule();
int RunRules(const Args& args);
void HelpRules();
// `points add FILE ...`, which RunPoints hands over.
int RunPointsAdd(const Args& args);

}  // namespace cuadrante::tool
