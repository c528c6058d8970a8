// Symbol visibility for the shared library.
//
// The library is built with hidden visibility: only what carries CUADRANTE_API
// reaches the dynamic symbol table. Classes that cross the boundary as
// exceptions or through virtual calls must carry it so their type information
// is shared between the library and its hosts.
#pragma once

#define CUADRANTE_API __attribute__((visibility("default")))
