// What a roster costs and which hard rules it breaks, in full and by the
// change of one move.
//
// `Evaluate` walks the whole roster once and reports every hard breach with
// its employee, day and rule, and the objective broken down. `TEvaluator`
// keeps a roster with the counts that make moves cheap to price: per person
// the shifts of each type, minutes (in all and per week), weekends and the
// count of each balance, per day and type the people at work. A move's price
// is its change of the objective and of the hard violation, looked up from
// those counts and from the days around the move, never from the whole
// roster. The search minimises objective + w * violation for a weight w of
// its own.
//
// Hard violation counts units: one per day off worked, forbidden succession,
// pin broken and weekend too many; one per shift over a type's maximum; one
// per day a run is too long or too short; and for total minutes, and for
// each week's minutes over its cap, the shortfall or excess divided by the
// shortest shift, rounded up. A roster keeps every hard rule exactly when its
// violation is 0.
//
// A TEvaluator is a value used by one thread at a time; the instance it
// borrows must outlive it and not change.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "cuadrante/runtime/export.h"
#include "cuadrante/solver/model.h"

namespace cuadrante::solver {

namespace detail {
struct TTables;
}

enum class TRule {
  kDayOff,          // works a day off
  kSuccession,      // a shift the previous day's shift forbids
  kMaxShifts,       // more shifts of a type than allowed
  kMaxMinutes,      // more minutes than allowed
  kMinMinutes,      // fewer minutes than required
  kMaxWeekMinutes,  // more minutes in a week than its cap
  kMaxConsecutive,  // a run of working days too long
  kMinConsecutive,  // a run of working days too short
  kMinDaysOff,      // a run of days off too short
  kMaxWeekends,     // more weekends worked than allowed
  kPinned,          // a pinned assignment changed
  kUnknownShift,    // a cell that names no shift type
};
CUADRANTE_API const char* RuleName(TRule rule);  // "day off", "max shifts", ...

struct TBreach {
  int employee = 0;
  int day = 0;  // the first day the breach concerns
  TRule rule = TRule::kDayOff;
  std::string detail;  // "3 weekends worked, at most 1"
};

struct TObjective {
  int64_t onRequests = 0;   // weight of on-requests not granted
  int64_t offRequests = 0;  // weight of off-requests worked
  int64_t underCover = 0;
  int64_t overCover = 0;
  int64_t balance = 0;  // weight of each unit outside a balance's range
  int64_t Total() const { return onRequests + offRequests + underCover + overCover + balance; }
  friend bool operator==(const TObjective&, const TObjective&) = default;
};

struct TEvaluation {
  std::vector<TBreach> breaches;  // by employee, then day
  TObjective objective;
  int64_t violation = 0;  // hard units, as TEvaluator counts them
  bool Feasible() const { return breaches.empty(); }
};

// The whole roster at once. The roster's sizes must match the instance's.
CUADRANTE_API TEvaluation Evaluate(const TInstance& instance, const TRoster& roster);

// The change a move makes: objective and hard violation.
struct TDelta {
  int64_t objective = 0;
  int64_t violation = 0;
  friend bool operator==(const TDelta&, const TDelta&) = default;
};

class CUADRANTE_API TEvaluator {
 public:
  TEvaluator(const TInstance& instance, TRoster roster);

  const TInstance& Instance() const { return *instance_; }
  const TRoster& Roster() const { return roster_; }
  int64_t Objective() const { return objective_; }
  int64_t Violation() const { return violation_; }

  // Employee e works `shift` (or kOff) on `day`.
  TDelta ChangeDelta(int employee, int day, int shift) const;
  void Change(int employee, int day, int shift);

  // Employees a and b exchange what they work on days [firstDay, lastDay].
  TDelta SwapDelta(int a, int b, int firstDay, int lastDay) const;
  void Swap(int a, int b, int firstDay, int lastDay);

  // Employee e works shifts[i] on day firstDay + i.
  TDelta BlockDelta(int employee, int firstDay, std::span<const int16_t> shifts) const;
  void Block(int employee, int firstDay, std::span<const int16_t> shifts);

  // The whole roster replaced (a shared best adopted); counts rebuilt.
  void Reset(TRoster roster);

  // Whether the search may change this cell.
  bool Pinned(int employee, int day) const;
  // People at work on `day` in `shift`, and the cover's wish for one more
  // (negative: one more lowers the objective).
  int CoverCount(int day, int shift) const;
  int64_t CoverAddDelta(int day, int shift) const;

 private:
  TDelta RowDelta(int employee, int firstDay, int lastDay, const int16_t* shifts) const;
  TDelta CoverDelta(int employee, int firstDay, int lastDay, const int16_t* shifts) const;
  void ApplyRow(int employee, int firstDay, int lastDay, const int16_t* shifts, bool moveCover);
  int64_t PersonViolation(int employee) const;
  // One employee's minutes of each week, as a contiguous row.
  const int64_t* WeekMinutes(int employee) const {
    return weekMinutes_.data() +
           static_cast<size_t>(employee) * static_cast<size_t>(WeekCount(roster_.Days()));
  }
  int64_t* WeekMinutes(int employee) {
    return weekMinutes_.data() +
           static_cast<size_t>(employee) * static_cast<size_t>(WeekCount(roster_.Days()));
  }
  // Adds `sign` times shift's minutes on `day` to a row of week minutes: the
  // part before midnight to the day's week, the rest to the next day's.
  void AddWeekMinutes(int64_t* weeks, int day, int shift, int sign) const;
  // The change of objective when the employee's balances move by the
  // shifts per type in scratch_ and by `weekendChange` weekends.
  int64_t BalanceDelta(int employee, int weekendChange) const;
  void Recount();

  const TInstance* instance_;
  std::shared_ptr<const detail::TTables> tables_;  // shared by copies
  TRoster roster_;
  std::vector<int32_t> coverCount_;  // day x type
  std::vector<int32_t> typeCount_;   // employee x type
  std::vector<int64_t> minutes_;      // per employee
  std::vector<int64_t> weekMinutes_;  // employee x week
  std::vector<int32_t> weekends_;     // per employee
  std::vector<int32_t> balanceBegin_;        // per employee its first balance, and one past the end
  std::vector<int32_t> balanceCount_;        // per employee and balance, from balanceBegin_
  mutable std::vector<int32_t> scratch_;     // per type, zero between calls
  mutable std::vector<int32_t> touched_;     // types with scratch_ set
  mutable std::vector<int16_t> swapBuffer_;  // one employee's days, for swaps
  int64_t objective_ = 0;
  int64_t violation_ = 0;
};

}  // namespace cuadrante::solver
