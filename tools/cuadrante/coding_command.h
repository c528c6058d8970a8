// `cuadrante zip`, `unzip` and `base64`: the text coding of stdin.
#pragma once

#include "tools/cuadrante/arguments.h"

namespace cuadrante::tool {

int RunZip(const Args& args);
void HelpZip();
int RunUnzip(const Args& args);
void HelpUnzip();
int RunBase64(const Args& args);
void HelpBase64();

}  // namespace cuadrante::tool
