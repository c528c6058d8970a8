// A time zone of the system's tz database, for the edges where a wall-clock
// time must become an instant: elapsed hours and zoned calendars.
//
// The library's times stay wall-clock seconds. A zone turns such a value into
// an instant (seconds since 1970-01-01 UTC) and back. On the day clocks go
// forward some wall-clock times do not exist (02:30 in Madrid on the last
// Sunday of March): they map to the instant of the change, so a shift that
// starts then begins when the clock shows 03:00, and `Kind` says so. On the
// day clocks go back some times happen twice: they map to the first of the two.
// Values are cheap to copy; the tz database lives for the whole process.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "cuadrante/runtime/export.h"
#include "cuadrante/time/fecha.h"

namespace cuadrante {

enum class TWallKind { kUnique, kNonexistent, kAmbiguous };

// One change of a zone's offset from UTC.
struct TZoneChange {
  int64_t utc = 0;       // the instant of the change, seconds since 1970 UTC
  int offsetBefore = 0;  // seconds east of UTC
  int offsetAfter = 0;
  bool daylightAfter = false;
  std::string abbreviation;  // in force after the change, "CEST"
};

class CUADRANTE_API TZone {
 public:
  // The zone of that name ("Europe/Madrid"). Raises EConvertError naming it
  // when the tz database has no such zone.
  static TZone Find(std::string_view name);

  const std::string& Name() const { return name_; }

  int64_t ToUtc(TFecha wall) const;
  TWallKind Kind(TFecha wall) const;
  TFecha ToWall(int64_t utc) const;
  int OffsetAt(int64_t utc) const;  // seconds east of UTC
  std::string AbbreviationAt(int64_t utc) const;
  bool DaylightAt(int64_t utc) const;  // daylight saving time in force
  // The changes in [fromUtc, toUtc), in order.
  std::vector<TZoneChange> Changes(int64_t fromUtc, int64_t toUtc) const;

  // Seconds that really pass from `start` to `end` (both wall-clock).
  int64_t Elapsed(TFecha start, TFecha end) const { return ToUtc(end) - ToUtc(start); }

 private:
  TZone(std::string name, const void* zone) : name_(std::move(name)), zone_(zone) {}
  std::string name_;
  const void* zone_;  // a date::time_zone of the process-wide database
};

// "" for a wall-clock time that happens once in `zone`, otherwise a sentence
// for a person: "2026-03-29 02:30 does not exist in Europe/Madrid (the clocks
// go from 02:00 to 03:00); it counts from 03:00".
CUADRANTE_API std::string WallProblem(const TZone& zone, TFecha wall);

}  // namespace cuadrante
