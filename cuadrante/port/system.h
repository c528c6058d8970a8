// What the system says about the machine: its name and address, and memory
// free to hand out. Not part of the installed interface.
#pragma once

#include <cstdint>

#include "cuadrante/runtime/sysutils.h"

namespace cuadrante::detail {

// The machine's host name and its first IPv4 address in dotted form; false,
// both untouched, when either cannot be learned.
bool LocalHostIdentity(AnsiString& name, AnsiString& address);

// Free memory and free swap in bytes, as the kernel's own summary counts
// them; 0 when it cannot be asked.
uint64_t KernelFreeMemoryBytes();

}  // namespace cuadrante::detail
