// Start and stop of the library's process-wide objects.
//
// Loading the library builds them in the order its units depend on: the format
// settings, the translation switch and translator, the shared lists of the
// point classes. Unloading takes them down in reverse. `Finalize` runs the stop
// early, at a moment of the host's choosing (say, before it unloads the
// library), and `Initialize` starts again after it; both may be called twice.
// Call them from one thread while no other thread uses the library.
#pragma once

#include "cuadrante/runtime/export.h"

CUADRANTE_API void Initialize();
// Destroys the translator, writing back the rows it collected; a failed write
// raises EFileError and keeps the translator, so nothing collected is lost.
CUADRANTE_API void Finalize();
