// Start and stop of the library's process-wide objects.
//
// Loading the library builds them in the order its units depend on: the
// format settings and the application object, the translation switch and
// translator, the shared lists of the point classes, the message and callback
// pointers, and `_GlobalMgr`, whose construction sets the decimal separator to
// "." and creates `_MessagesMgr`, `_CallBacksMgr` and the global lock.
// Unloading takes them down in reverse.
//
// `_UnderOperationMgr` is the host's to create after the load and to delete
// first at the stop, since its destructor takes the global lock. `Finalize`
// runs the stop early, at a moment of the host's choosing; `Initialize`
// builds again what `Finalize` took down. Both may be called twice. Call them
// from one thread while no other thread uses the library.
#pragma once

#include "cuadrante/runtime/export.h"

class TUnderOperationMgr;

// Null until the host makes the operation manager.
extern CUADRANTE_API TUnderOperationMgr* _UnderOperationMgr;

CUADRANTE_API void Initialize();
// Resets the global manager (callback registry, message manager and global
// lock go, in that order; the environment document is dropped), then ends the
// translator, writing back the rows it collected: a failed write raises
// EFileError and keeps the translator, so nothing collected is lost.
CUADRANTE_API void Finalize();
