// Screen-side value types that the library hands to graphical hosts.
#pragma once

#include <cstdint>

// A colour with red in the low byte (0x00BBGGRR), signed as hosts keep it.
using TColor = int32_t;
