#include "cuadrante/time/rutinasfecha.h"

#include <cstdint>

#include "cuadrante/runtime/datetime.h"
#include "cuadrante/services/translate.h"

namespace cuadrante::detail {
namespace {

// The first grid date whose period, both ends inclusive by date, holds
// `start`; the first one that fits wins, so a start on the first day of a
// period settles on the period before it.
TFecha SearchGrid(TFecha start, TFecha origin, short group) {
  TFecha candidate = origin;
  TFecha limit = candidate.IncDays(group);
  const TDateTime day = start.AsDateTime();
  while (CompareDate(day, candidate.AsDateTime()) < 0 || CompareDate(day, limit.AsDateTime()) > 0) {
    // The grid only moves forward: a start before the origin would never be
    // reached, so it keeps the origin instead of looping for ever.
    if (CompareDate(day, candidate.AsDateTime()) < 0) break;
    candidate = limit;
    limit = candidate.IncDays(group);
  }
  return candidate;
}

TFecha AlignToGroup(TFecha start, int8_t group) {
  switch (group) {
    case tgWeek:
      return start.StartOfWeek();
    case tgMonth:
      return start.StartOfMonth();
    case tgYear:
      return start.StartOfYear();
    case tgFortnight:
      // Fortnights start afresh each year at the Monday of 1 January's week.
      return SearchGrid(start, start.StartOfYear().StartOfWeek(), tgFortnight);
    case tgQuarter:
      return SearchGrid(start, start.StartOfYear(), tgQuarter);
    default:
      return start;
  }
}

}  // namespace
}  // namespace cuadrante::detail

using namespace cuadrante::detail;

namespace RutinasFecha {

TFechasPairList GetPairedFechas(TFecha start, TFecha end, TTimesGroup group) {
  const auto kind = static_cast<int8_t>(group & 0xFF);
  // A range that starts past the calendar holds no period to name.
  if (start > TFecha(kCalendarEnd)) return {};
  start = AlignToGroup(start, kind);
  // The last period of the calendar is cut at its last day, and the walk ends
  // there whatever `end` says: past it no date has a name.
  const TFecha lastDay(kCalendarEnd - kCalendarEnd % kSecondsPerDay);
  TFechasPairList periods;
  while (start <= end) {
    // A year has no period of its own: it was aligned to 1 January and runs
    // on as days, like every other group.
    const bool calendarGroup =
        kind == tgWeek || kind == tgFortnight || kind == tgMonth || kind == tgQuarter;
    const TFecha next = start.IncDays(calendarGroup ? kind : static_cast<int8_t>(tgNone));
    const bool lastPeriod = next.Value() >= kCalendarEnd;
    const TFecha lastOfPeriod = lastPeriod ? lastDay : next.IncDay(-1);
    switch (kind) {
      case tgWeek: {
        TFechasPair& p = periods.emplace_back(start, lastOfPeriod);
        p.Label = " S" + IntToStr(WeekOfTheYear(start.AsDate()));
        p.FullLabel = Transport::Translate("Semanal:") + start.ToString(" mmmm yyyy") + p.Label;
        break;
      }
      case tgFortnight: {
        TFechasPair& p = periods.emplace_back(start, lastOfPeriod);
        p.Label = " Q" + IntToStr(WeekOfTheYear(start.AsDate()) / 2 + 1);
        p.FullLabel = Transport::Translate("Quincenal:") + start.ToString(" mmmm yyyy") + p.Label;
        break;
      }
      case tgMonth: {
        TFechasPair& p = periods.emplace_back(start, lastOfPeriod);
        p.Label = start.ToString("mmmm yyyy");
        p.FullLabel = Transport::Translate("Mensual:") + " " + p.Label;
        break;
      }
      case tgQuarter: {
        TFechasPair& p = periods.emplace_back(start, lastOfPeriod);
        p.Label = start.ToString(" mmm - ") + lastOfPeriod.ToString("mmm yyyy");
        p.FullLabel = Transport::Translate("Trimestral:") + " " + p.Label;
        break;
      }
      default: {
        // A day's pair runs to the next day; the calendar's last day to itself.
        TFechasPair& p = periods.emplace_back(start, lastPeriod ? lastDay : next);
        p.Label = start.ToString("ddd d");
        p.FullLabel = Transport::Translate("Diario:") + " " + start.ToString("ddd d mmmm");
        break;
      }
    }
    if (lastPeriod) break;
    start = next;
  }
  return periods;
}

bool IsVisibleDate(TFecha date) { return date >= StartViewDate && date <= EndViewDate; }

}  // namespace RutinasFecha
