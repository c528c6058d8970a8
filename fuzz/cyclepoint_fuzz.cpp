// Reads arbitrary bytes as the stored text of a cycle point. A text either
// leaves the cycle alone (too few fields), sets it, or raises the runtime's
// conversion error; whatever was set must write back to text that reads to
// the same cycle, and the group, which the text does not hold, stays.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/time/cyclepoint.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const AnsiString text(reinterpret_cast<const char*>(data), size);
  TCyclePoint cycle;
  cycle.Group = 7;
  try {
    cycle.ReadFromStr(text);
  } catch (const Exception&) {
    return 0;
  }
  if (cycle.Group != 7) std::abort();
  const AnsiString written = cycle.WriteToStr();
  TCyclePoint back;
  back.ReadFromStr(written);
  if (back.WriteToStr() != written || !(back == cycle) || back.Level != cycle.Level ||
      back.Periodicity != cycle.Periodicity || back.WithWeekend != cycle.WithWeekend ||
      back.CycleTag != cycle.CycleTag || back.GetEndDate() != cycle.GetEndDate())
    std::abort();
  return 0;
}
