// StrToDoubleDef over arbitrary bytes, under both decimal separators. It may
// answer a number or the default, or raise the conversion error of its second
// reading; nothing else, and the default only for text without a point.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/formatsettings.h"
#include "cuadrante/text/rutinasnumbers.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  // The first byte picks the separator; the rest is the text.
  FormatSettings.DecimalSeparator = (data[0] & 1) ? ',' : '.';
  const AnsiString text(reinterpret_cast<const char*>(data) + 1, size - 1);
  const double fallback = -12345.5;
  try {
    const double value = StrToDoubleDef(text, fallback);
    if (!std::isfinite(value)) std::abort();
    double direct = 0;
    if (TryStrToFloat(text, direct) && direct != value) std::abort();
  } catch (const EConvertError&) {
    if (text.find('.') == AnsiString::npos) std::abort();
  }
  FormatSettings.DecimalSeparator = '.';
  return 0;
}
