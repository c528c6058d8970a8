// `cuadrante render`: the timeline of a document as an SVG picture.
#pragma once

#include "tools/cuadrante/arguments.h"

namespace cuadrante::tool {

int RunRender(const Args& args);
void HelpRender();

}  // namespace cuadrante::tool
