// A person's hours against their contract, exactly, day by day.
//
// The weekly contract is spread evenly over the person's contract days
// (Monday to Friday unless the plan says otherwise), so a day's share of
// 37.5 h over five days is 7.5 h and of 40 h over seven days 5 h 42 min
// 51.43 s. Shares are kept in units of 1/420 of a second, which every
// contract divides into whole units over one to seven days, and are rounded
// only when a host prints them: the totals of a range are equal to the unit
// whether it is summed by day, by week or by month.
//
// A plan holiday on a contract day takes that day's share off the contract.
// An absence credits, on each contract day it touches, its own seconds there
// up to the day's share: a week of leave credits the week's contract, never
// 24 h a day. Balance is work plus credit less contract.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cuadrante/roster/dayhours.h"
#include "cuadrante/roster/personroster.h"
#include "cuadrante/roster/plan.h"
#include "cuadrante/runtime/export.h"

namespace cuadrante::roster {

inline constexpr int64_t kShareUnits = 420;  // a second

struct TPeriodHours {
  TDuration work;
  TDuration absence;  // as it passes
  TDuration other;
  int64_t contract = 0;  // units
  int64_t credit = 0;    // units

  // Work and other hours in units, to set beside the contract and credit.
  int64_t WorkUnits() const { return work.Value() * kShareUnits; }
  int64_t OtherUnits() const { return other.Value() * kShareUnits; }
  int64_t Balance() const { return WorkUnits() + credit - contract; }  // units
  TPeriodHours& operator+=(const TPeriodHours& more);
};

// The contract's share of one day, in units: 0 on a day off or a holiday.
CUADRANTE_API int64_t ContractShare(const TPlan& plan, const TEmployee& employee, TFecha day);

class CUADRANTE_API TPersonHours {
 public:
  // Over the whole days [firstDay, lastDay]; with a zone (borrowed), the
  // seconds that really pass. The roster is read once and not kept.
  TPersonHours(const TPlan& plan, const TPersonRoster& roster, TFecha firstDay, TFecha lastDay,
               const TZone* zone = nullptr);

  int Days() const { return static_cast<int>(days_.size()); }
  const TPeriodHours& Day(int day) const { return days_[static_cast<size_t>(day)]; }
  // The days [firstDay, lastDay] of the range (0 is its first), both included.
  TPeriodHours Sum(int firstDay, int lastDay) const;
  const TDayHours& Hours() const { return hours_; }

 private:
  TDayHours hours_;
  std::vector<TPeriodHours> days_;
};

// How a range is cut for totals.
enum class TPeriodKind { kDay, kWeek, kMonth };

struct TPeriod {
  TFecha start;      // the first day of the period in the range
  int firstDay = 0;  // days of the range, both included
  int lastDay = 0;
};

// The range's days cut at weeks (Monday first) or months; the first and last
// periods may be part of one.
CUADRANTE_API std::vector<TPeriod> SplitRange(TFecha firstDay, TFecha lastDay, TPeriodKind by);

// "2026-W49": the ISO 8601 week that holds `day`, with the week's own year.
CUADRANTE_API std::string IsoWeekName(TFecha day);

// Units as seconds, rounded half away from zero.
CUADRANTE_API TDuration UnitsToSeconds(int64_t units);

}  // namespace cuadrante::roster
