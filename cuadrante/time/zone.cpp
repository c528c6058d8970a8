#include "cuadrante/time/zone.h"

#include <date/tz.h>

#include <utility>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/time/chrono.h"

namespace cuadrante {
namespace {

using date::local_seconds;
using date::sys_seconds;

const date::time_zone& Of(const void* zone) { return *static_cast<const date::time_zone*>(zone); }

local_seconds Local(TFecha wall) {
  return local_seconds(std::chrono::seconds(wall.Value() - kUnixEpochDays * kSecondsPerDay));
}

std::string Clock(local_seconds at, const char* form) { return date::format(form, at); }

}  // namespace

TZone TZone::Find(std::string_view name) {
  try {
    return TZone(std::string(name), date::locate_zone(name));
  } catch (const std::runtime_error&) {
    throw EConvertError("'" + std::string(name) + "' is no time zone of the tz database");
  }
}

sys_seconds TZone::ToUtc(TFecha wall) const {
  const local_seconds local = Local(wall);
  const date::local_info info = Of(zone_).get_info(local);
  switch (info.result) {
    case date::local_info::unique:
    case date::local_info::ambiguous:
      return sys_seconds((local - info.first.offset).time_since_epoch());
    case date::local_info::nonexistent:
      break;
  }
  // The change itself: the first instant after the gap.
  return info.second.begin;
}

TWallKind TZone::Kind(TFecha wall) const {
  switch (Of(zone_).get_info(Local(wall)).result) {
    case date::local_info::nonexistent:
      return TWallKind::kNonexistent;
    case date::local_info::ambiguous:
      return TWallKind::kAmbiguous;
    default:
      return TWallKind::kUnique;
  }
}

TFecha TZone::ToWall(sys_seconds utc) const { return FromChrono(utc) + TDuration(OffsetAt(utc)); }

int TZone::OffsetAt(sys_seconds utc) const {
  return static_cast<int>(Of(zone_).get_info(utc).offset.count());
}

std::string TZone::AbbreviationAt(sys_seconds utc) const { return Of(zone_).get_info(utc).abbrev; }

bool TZone::DaylightAt(sys_seconds utc) const { return Of(zone_).get_info(utc).save.count() != 0; }

std::vector<TZoneChange> TZone::Changes(sys_seconds fromUtc, sys_seconds toUtc) const {
  std::vector<TZoneChange> changes;
  date::sys_info info = Of(zone_).get_info(fromUtc);
  while (info.end < toUtc) {
    const date::sys_info next = Of(zone_).get_info(info.end);
    // Some database entries change only the abbreviation or the split between
    // standard and daylight time; a calendar needs them all the same.
    changes.push_back({next.begin, static_cast<int>(info.offset.count()),
                       static_cast<int>(next.offset.count()), next.save.count() != 0, next.abbrev});
    info = next;
  }
  return changes;
}

std::string WallProblem(const TZone& zone, TFecha wall) {
  const local_seconds local = Local(wall);
  const date::local_info info = date::locate_zone(zone.Name())->get_info(local);
  const std::string at = Clock(local, "%F %R");
  if (info.result == date::local_info::nonexistent) {
    const local_seconds gapStart =
        date::local_seconds(info.second.begin.time_since_epoch()) + info.first.offset;
    const local_seconds gapEnd =
        date::local_seconds(info.second.begin.time_since_epoch()) + info.second.offset;
    return at + " does not exist in " + zone.Name() + " (the clocks go from " +
           Clock(gapStart, "%R") + " to " + Clock(gapEnd, "%R") + "); it counts from " +
           Clock(gapEnd, "%R");
  }
  if (info.result == date::local_info::ambiguous) {
    return at + " happens twice in " + zone.Name() +
           " (the clocks go back); it counts as the first";
  }
  return "";
}

}  // namespace cuadrante
