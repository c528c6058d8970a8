// Reads arbitrary bytes as the stored text of a box. A text either leaves the
// box alone (too few fields), sets it, or raises the conversion error; what was
// set must write back to text that reads to the same box, and the box must
// describe itself and map to the screen whatever its values.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/time/basicbox.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const AnsiString text(reinterpret_cast<const char*>(data), size);
  TBasicBox box;
  box.Group = 7;
  try {
    box.ReadFromStr(text);
  } catch (const Exception&) {
    return 0;
  }
  if (box.Group != 7 || box.Code.empty() || box.Description.empty()) std::abort();
  if (box.GetEndDate().Value() !=
      static_cast<int64_t>(static_cast<uint64_t>(box.StartValue()) +
                           static_cast<uint64_t>(box.GetDurationValue())))
    std::abort();
  const AnsiString written = box.WriteToStr();
  TBasicBox back;
  back.ReadFromStr(written);
  if (back.WriteToStr() != written || back.Color != box.Color || back.Code != box.Code ||
      back.Description != box.Description || back.Level != box.Level)
    std::abort();

  if (box.GetStrings()->size() != 3) std::abort();
  if (box.SmartString().empty()) std::abort();
  TFecha origin(0);
  int x0 = 0;
  double scale = 1.0;
  const TRect r = box.CalculateBox(TRect{0, 0, 0, 10}, origin, x0, scale);
  if (!box.IsPointXInBox(r.Left, 0) && r.Left <= r.Right) std::abort();
  box.CalculateFullBox(TRect{0, 0, 0, 10}, origin, x0, scale);
  return 0;
}
