// The host's operation manager for the length of a command, deleted before
// the library's own stop.
#pragma once

#include "cuadrante/library.h"
#include "cuadrante/operations/underoperationmgr.h"

namespace cuadrante::tool {

class ManagerScope {
 public:
  ManagerScope() { _UnderOperationMgr = new TUnderOperationMgr(); }
  ManagerScope(const ManagerScope&) = delete;
  ManagerScope& operator=(const ManagerScope&) = delete;
  ~ManagerScope() {
    delete _UnderOperationMgr;
    _UnderOperationMgr = nullptr;
  }
};

}  // namespace cuadrante::tool
