// `cuadrante demo-operation`: a long operation run through the operation manager.
#include "cuadrante/runtime/exception.h"
#include "tools/cuadrante/commands.h"

namespace cuadrante::tool {

void HelpDemoOperation() {}

int RunDemoOperation(const Args&) { throw Exception("demo-operation is not available yet"); }

}  // namespace cuadrante::tool
