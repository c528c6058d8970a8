// The process-wide objects, defined in one place so that they are built in the
// order the units depend on and taken down in reverse: C++ builds the globals
// of one translation unit in the order they are written here, and destroys
// them in the opposite order.
#include "cuadrante/library.h"

#include <memory>

#include "cuadrante/internal/lifecycle.h"
#include "cuadrante/operations/underoperationmgr.h"
#include "cuadrante/points/basicpointmgr.h"
#include "cuadrante/points/cyclepointmgr.h"
#include "cuadrante/port/application.h"
#include "cuadrante/runtime/formatsettings.h"
#include "cuadrante/services/callbacksmgr.h"
#include "cuadrante/services/globalmgr.h"
#include "cuadrante/services/messagesmgr.h"
#include "cuadrante/services/translate.h"
#include "cuadrante/time/basicbox.h"
#include "cuadrante/time/basicpoint.h"
#include "cuadrante/time/cyclepoint.h"
#include "cuadrante/time/rutinasfecha.h"

// Runtime: the formats every text routine reads, and the program's own object.
TFormatSettings FormatSettings;
namespace cuadrante::detail {
namespace {
TApplication applicationObject;
}  // namespace
}  // namespace cuadrante::detail
TApplication* Application = &cuadrante::detail::applicationObject;

// Translate: off, and no dictionary, until the host asks for one.
bool bTransActivated = false;
TTranslate* _Translate = nullptr;

// Basicbox: the shared list of the box class.
TVectorStrings TBasicBox::SharedStrings;

// Basicpointmgr: the shared list of the point set class.
TVectorStrings TBasicPointMgr::SharedStrings;

// Messagesmgr: made by the global manager below; the host's hook starts unset.
TMessagesMgr* _MessagesMgr = nullptr;
TMessagesMgr::TOnGetMessages TMessagesMgr::OnGetMessages = nullptr;

// Basicpoint: the shared list of the point class.
TVectorStrings TBasicPoint::SharedStrings;

// Callbacksmgr: made by the global manager below.
TCallBacksMgr* _CallBacksMgr = nullptr;

// Globalmgr: sets the decimal separator, reads the computer's name, fills the
// colours and creates _MessagesMgr, _CallBacksMgr and the global lock.
TGlobalMgr _GlobalMgr;

// Cyclepoint: the class-wide texts, empty and the host's.
AnsiString TCyclePoint::m_Code;
AnsiString TCyclePoint::m_Description;

// Cyclepointmgr: the texts written into expanded boxes, empty until the host sets them.
AnsiString TCyclePointMgr::Code;
AnsiString TCyclePointMgr::Description;

// Rutinasfecha: the host's view window, both ends at 0.
TFecha RutinasFecha::StartViewDate;
TFecha RutinasFecha::EndViewDate;

// Underoperationmgr: the host's to make, after the load, since its constructor
// reads the environment document; the host deletes it before the stop.
TUnderOperationMgr* _UnderOperationMgr = nullptr;

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
      StopTranslator();
    } catch (...) {  // NOLINT(bugprone-empty-catch): see above
    }
  }
};

// Last of the globals, so that it is the first to go; _GlobalMgr's own
// destructor resets it afterwards.
LibraryLifetime lifetime;

}  // namespace
}  // namespace cuadrante::detail

void Initialize() {
  // After a Finalize the global manager is built again as at load: its
  // construction is what makes the message and callback managers and the lock.
  if (_MessagesMgr == nullptr && _CallBacksMgr == nullptr) {
    std::destroy_at(&_GlobalMgr);
    std::construct_at(&_GlobalMgr);
  }
}

void Finalize() {
  _GlobalMgr.Reset();
  cuadrante::detail::StopTranslator();
}
