// A time zone of the system's tz database, for the edges where a wall-clock
// time must become an instant: elapsed hours and zoned calendars.
//
// The library's times stay wall-clock seconds. A zone turns such a value into
// an instant (std::chrono::sys_seconds, seconds since 1970-01-01 UTC) and
// back; the two are distinct types, so a wall-clock value passed where an
// instant belongs does not compile. On the day clocks go
// forward some wall-clock times do not exist (02:30 in Madrid on the last
// Sunday of March): they map to the instant of the change, so a shift that
// starts then begins when the clock shows 03:00, and `Kind` says so. On the
// day clocks go back some times happen twice: they map to the first of the two.
// Values are cheap to copy; the tz database lives for the whole process.
#pragma once

#include <chrono>
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
  std::chrono::sys_seconds utc{};  // the instant of the change
  int offsetBefore = 0;            // seconds east of UTC
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

  std::chrono::sys_seconds ToUtc(TFecha wall) const;
  TWallKind Kind(TFecha wall) const;
  TFecha ToWall(std::chrono::sys_seconds utc) const;
  int OffsetAt(std::chrono::sys_seconds utc) const;  // seconds east of UTC
  std::string AbbreviationAt(std::chrono::sys_seconds utc) const;
  bool DaylightAt(std::chrono::sys_seconds utc) const;  // daylight saving time in force
  // The changes in [fromUtc, toUtc), in order.
  std::vector<TZoneChange> Changes(std::chrono::sys_seconds fromUtc,
                                   std::chrono::sys_seconds toUtc) const;

  // The time that really passes from `start` to `end` (both wall-clock).
  TDuration Elapsed(TFecha start, TFecha end) const {
    return TDuration((ToUtc(end) - ToUtc(start)).count());
  }

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
