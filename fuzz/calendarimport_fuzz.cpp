// Reads arbitrary bytes as an iCalendar calendar over one year. A text is
// either refused with the conversion error or gives items sorted by start,
// none of negative length and each sharing a second with the year; hostile
// rules and zones are cut off by the file's step budget instead of running
// for ever.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "cuadrante/points/range.h"
#include "cuadrante/roster/calendarimport.h"
#include "cuadrante/runtime/datetime.h"
#include "cuadrante/runtime/exception.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const TFecha first(EncodeDate(2026, 1, 1));
  const TFecha last(EncodeDate(2026, 12, 31));
  cuadrante::roster::TImportOptions options;
  options.maxSteps = 20000;
  std::vector<cuadrante::roster::TImportedEvent> events;
  try {
    events = cuadrante::roster::ReadCalendar(text, first, last, options);
  } catch (const Exception&) {
    return 0;
  }
  const cuadrante::TRange range = cuadrante::DaysRange(first, last);
  for (size_t i = 0; i < events.size(); ++i) {
    if (events[i].seconds < TDuration()) std::abort();
    if (i > 0 && events[i].start < events[i - 1].start) std::abort();
    TBasicPoint probe(events[i].start, events[i].seconds);
    if (!cuadrante::Belongs(probe, range)) std::abort();
  }
  return 0;
}
