// Stop steps of the units that hold process-wide state, called by
// library.cpp in the reverse of the load order. Internal to the library.
#pragma once

namespace cuadrante::detail {

// Writes the dictionary back if rows were added and destroys the translator,
// whatever the state of the master switch. Raises EFileError if the write
// fails, keeping the translator.
void StopTranslator();

}  // namespace cuadrante::detail
