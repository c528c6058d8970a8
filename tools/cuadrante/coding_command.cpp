// `cuadrante zip`, `unzip` and `base64`: the text codings, stdin to stdout.
#include "cuadrante/runtime/exception.h"
#include "tools/cuadrante/commands.h"

namespace cuadrante::tool {

void HelpZip() {}
void HelpUnzip() {}
void HelpBase64() {}

int RunZip(const Args&) { throw Exception("zip is not available yet"); }
int RunUnzip(const Args&) { throw Exception("unzip is not available yet"); }
int RunBase64(const Args&) { throw Exception("base64 is not available yet"); }

}  // namespace cuadrante::tool
