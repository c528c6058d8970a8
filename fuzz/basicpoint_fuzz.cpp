// Reads arbitrary bytes as the stored text of a point. A text either leaves
// the point alone (too few fields), sets it, or raises the conversion error;
// whatever was set must write back to text that reads to the same point.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/time/basicpoint.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const AnsiString text(reinterpret_cast<const char*>(data), size);
  TBasicPoint point;
  point.Group = 7;
  try {
    point.ReadFromStr(text);
  } catch (const EConvertError&) {
    return 0;
  }
  if (point.Group != 7) std::abort();
  const AnsiString written = point.WriteToStr();
  TBasicPoint back;
  back.ReadFromStr(written);
  if (back.WriteToStr() != written || !(back == point) || back.Level != point.Level) std::abort();
  return 0;
}
