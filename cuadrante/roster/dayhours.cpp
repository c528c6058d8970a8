#include "cuadrante/roster/dayhours.h"

#include <algorithm>

namespace cuadrante::roster {
namespace {

// Division that rounds down, so that days before the calendar's origin (negative
// values) still start at their own midnight.
int64_t FloorDiv(int64_t value, int64_t by) {
  const int64_t quotient = value / by;
  return quotient * by > value ? quotient - 1 : quotient;
}

// A type outside the vocabulary has no column of its own; it counts as none.
size_t TypeIndex(TTimePointType type) {
  const int value = static_cast<int>(type);
  return value >= 0 && value < kTimePointTypeCount ? static_cast<size_t>(value) : 0;
}

}  // namespace

THoursKind KindOf(const TBasicPoint& item) {
  if (item.IsWork()) return THoursKind::kWork;
  if (item.IsIncidence() || item.Type == tptHoliday) return THoursKind::kAbsence;
  return THoursKind::kOther;
}

const char* KindName(THoursKind kind) {
  switch (kind) {
    case THoursKind::kWork:
      return "work";
    case THoursKind::kAbsence:
      return "absence";
    case THoursKind::kOther:
      break;
  }
  return "other";
}

TDayHours::TDayHours(TFecha firstDay, TFecha lastDay)
    : firstDay_(FloorDiv(firstDay.Value(), kSecondsPerDay) * kSecondsPerDay) {
  const int64_t days =
      FloorDiv(lastDay.Value(), kSecondsPerDay) - FloorDiv(firstDay.Value(), kSecondsPerDay) + 1;
  seconds_.resize(static_cast<size_t>(std::max<int64_t>(days, 0)));
}

TDayHours::TDayHours(TFecha firstDay, TFecha lastDay, const TZone* zone)
    : TDayHours(firstDay, lastDay) {
  zone_ = zone;
}

void TDayHours::Add(const TBasicPoint& item) {
  const int64_t rangeStart = firstDay_.Value();
  const int64_t rangeEnd = rangeStart + static_cast<int64_t>(seconds_.size()) * kSecondsPerDay;
  const int64_t start = std::max(item.StartValue(), rangeStart);
  const int64_t end = std::min(item.EndValue(), rangeEnd);
  if (start >= end) return;
  const size_t type = TypeIndex(item.Type);
  int64_t& total = totals_[static_cast<size_t>(KindOf(item))];
  for (int64_t day = (start - rangeStart) / kSecondsPerDay; rangeStart + day * kSecondsPerDay < end;
       ++day) {
    const int64_t dayStart = rangeStart + day * kSecondsPerDay;
    const int64_t from = std::max(start, dayStart);
    const int64_t to = std::min(end, dayStart + kSecondsPerDay);
    const int64_t seconds =
        zone_ != nullptr ? zone_->Elapsed(TFecha(from), TFecha(to)).Value() : to - from;
    seconds_[static_cast<size_t>(day)][type] += seconds;
    total += seconds;
  }
}

TDuration TDayHours::Seconds(int day, TTimePointType type) const {
  if (day < 0 || day >= Days()) return TDuration();
  return TDuration(seconds_[static_cast<size_t>(day)][TypeIndex(type)]);
}

TDuration TDayHours::Seconds(int day) const {
  if (day < 0 || day >= Days()) return TDuration();
  int64_t sum = 0;
  for (const int64_t seconds : seconds_[static_cast<size_t>(day)]) sum += seconds;
  return TDuration(sum);
}

TDuration TDayHours::TypeTotal(TTimePointType type) const {
  int64_t sum = 0;
  for (const TDay& day : seconds_) sum += day[TypeIndex(type)];
  return TDuration(sum);
}

std::vector<THoursRow> HoursRows(const TDayHours& hours, bool byMonth) {
  std::vector<THoursRow> rows;
  if (hours.Days() == 0) return rows;
  const int64_t first = hours.FirstDay().Value();
  const TFecha lastDay(first + int64_t{hours.Days() - 1} * kSecondsPerDay);
  TFecha period = byMonth ? hours.FirstDay().StartOfMonth() : hours.FirstDay().StartOfWeek();
  while (period <= lastDay) {
    const TFecha next = byMonth ? TFecha(period.EndOfMonth().Value() + 1)
                                : TFecha(period.Value() + 7 * kSecondsPerDay);
    const int columns = byMonth ? 31 : 7;
    for (int type = 0; type < kTimePointTypeCount; ++type) {
      THoursRow row{period, static_cast<TTimePointType>(type),
                    std::vector<TDuration>(static_cast<size_t>(columns)), TDuration()};
      for (int column = 0; column < columns; ++column) {
        const int64_t day = period.Value() + column * kSecondsPerDay;
        if (day >= next.Value()) break;
        const TDuration seconds =
            hours.Seconds(static_cast<int>((day - first) / kSecondsPerDay), row.type);
        row.days[static_cast<size_t>(column)] = seconds;
        row.total = row.total + seconds;
      }
      if (row.total != TDuration()) rows.push_back(std::move(row));
    }
    period = next;
  }
  return rows;
}

}  // namespace cuadrante::roster
