// The process-wide objects, defined in one place so that they are built in the
// order the units depend on and taken down in reverse: C++ builds the globals
// of one translation unit in the order they are written here.
#include "cuadrante/library.h"

#include "cuadrante/internal/lifecycle.h"
#include "cuadrante/points/basicpointmgr.h"
#include "cuadrante/runtime/formatsettings.h"
#include "cuadrante/services/translate.h"
#include "cuadrante/time/basicpoint.h"

// Runtime: the formats every text routine reads.
TFormatSettings FormatSettings;

// Translate: off, and no dictionary, until the host asks for one.
bool bTransActivated = false;
TTranslate* _Translate = nullptr;

// Basicpointmgr: the shared list of the point set class.
TVectorStrings TBasicPointMgr::SharedStrings;

// Basicpoint: the shared list of the point class.
TVectorStrings TBasicPoint::SharedStrings;

namespace cuadrante::detail {
namespace {

// Runs the stop at unload for a host that did not call Finalize. Nobody is
// left to tell of a failed dictionary write at that point, so it is dropped.
struct LibraryLifetime {
  LibraryLifetime() = default;
  LibraryLifetime(const LibraryLifetime&) = delete;
  LibraryLifetime& operator=(const LibraryLifetime&) = delete;
  ~LibraryLifetime() {
    try {
      Finalize();
    } catch (...) {  // NOLINT(bugprone-empty-catch): see above
    }
  }
};

// Last of the globals, so that it is the first to go.
LibraryLifetime lifetime;

}  // namespace
}  // namespace cuadrante::detail

void Initialize() {
  // Every object of the units is built at load and none is taken down by
  // Finalize in a way that needs rebuilding: the translator comes back through
  // InitTRANS, and the shared lists stay. The call exists for hosts that pair
  // it with Finalize.
}

void Finalize() { cuadrante::detail::StopTranslator(); }
