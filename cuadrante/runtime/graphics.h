// Screen-side value types that the library hands to graphical hosts.
#pragma once

#include <cstdint>

// A colour with red in the low byte (0x00BBGGRR), signed as hosts keep it.
using TColor = int32_t;

// A screen rectangle in pixels; Right and Bottom lie just outside it.
struct TRect {
  int32_t Left = 0;
  int32_t Top = 0;
  int32_t Right = 0;
  int32_t Bottom = 0;
};
