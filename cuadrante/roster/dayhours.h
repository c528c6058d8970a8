// Hours of items by calendar day, as a planner counts them.
//
// An item is the half-open interval [start, start + duration). It belongs to a
// range when it overlaps it, and it counts on each day only the seconds it
// spends in that day and in the range: a night shift 22:00-06:00 gives 2 h to
// its first day and 6 h to the next, a two-week leave gives each day its own
// 24 h, and what lies outside the range counts nowhere. Totals keep work apart
// from absence by the item's type.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "cuadrante/runtime/export.h"
#include "cuadrante/time/basicpoint.h"
#include "cuadrante/time/fecha.h"
#include "cuadrante/time/zone.h"
#include "cuadrante/vocabulary/basicdefines.h"

namespace cuadrante::roster {

// What an item's hours count as: work (timetables and tasks), absence
// (incidents, sick leave, leave and holidays) or other (free time, a working
// holiday, no type).
enum class THoursKind { kWork, kAbsence, kOther };
CUADRANTE_API THoursKind KindOf(const TBasicPoint& item);
CUADRANTE_API const char* KindName(THoursKind kind);  // "work", "absence", "other"

// Seconds by day and type over the whole days [firstDay, lastDay].
class CUADRANTE_API TDayHours {
 public:
  TDayHours(TFecha firstDay, TFecha lastDay);
  // With a zone, each day's part counts the seconds that really pass in it
  // (a night across the spring change is 7 h); without, wall-clock seconds.
  // The zone is borrowed and must outlive the hours.
  TDayHours(TFecha firstDay, TFecha lastDay, const TZone* zone);

  // Counts the part of `item` that lies in the range, split at midnight.
  void Add(const TBasicPoint& item);

  TFecha FirstDay() const { return firstDay_; }
  int Days() const { return static_cast<int>(seconds_.size()); }
  // Seconds of `type` on day `day` (0 is the first day); 0 outside the range.
  TDuration Seconds(int day, TTimePointType type) const;
  // Seconds of every type on day `day`.
  TDuration Seconds(int day) const;
  TDuration Total(THoursKind kind) const { return TDuration(totals_[static_cast<size_t>(kind)]); }
  // The seconds a type has over the whole range.
  TDuration TypeTotal(TTimePointType type) const;

 private:
  using TDay = std::array<int64_t, kTimePointTypeCount>;
  TFecha firstDay_;
  const TZone* zone_ = nullptr;
  std::vector<TDay> seconds_;
  std::array<int64_t, 3> totals_{};
};

// One row of a week or month grid: a period, one type, a cell a day of the
// period (7 for a week, Monday first; 31 for a month) and the row's total.
struct THoursRow {
  TFecha period;  // the first day of the week or month
  TTimePointType type = tptNone;
  std::vector<TDuration> days;
  TDuration total;
};

// Rows for each week (`byMonth` false) or month that the range touches, and in
// each for every type with hours there, by type; days of a period outside the
// range hold 0.
CUADRANTE_API std::vector<THoursRow> HoursRows(const TDayHours& hours, bool byMonth);

}  // namespace cuadrante::roster
