// A minimal host: builds a shift, prints it, reads it back from its stored
// text and checks the round trip. Exits non-zero if anything disagrees.
#include <cstdio>

#include "cuadrante/cuadrante.h"

int main() {
  // Monday 23 November 2026, 08:00, for eight hours: a timetable.
  const TFecha start(TDateTime(EncodeDateTime(2026, 11, 23, 8, 0, 0, 0)));
  TBasicPoint shift(start, TDuration(8 * 3600));
  shift.Type = tptTimetable;

  TBasicPoint copy;
  copy.ReadFromStr(shift.WriteToStr());
  if (!(copy == shift) || start.Week() != 48) {
    std::fprintf(stderr, "consumer: round trip failed\n");
    return 1;
  }
  std::printf("%s  %s  week %u  %s\n", shift.ToString(3).c_str(), shift.GetTypeStr().c_str(),
              static_cast<unsigned>(start.Week()), shift.WriteToStr().c_str());
  return 0;
}
