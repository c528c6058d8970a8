// The auto-rostering engine's model: a plain value that says who may work
// which shift on which day, and what a roster costs.
//
// A horizon of `days` days, day 0 a Monday (so day 5 + 7k is a Saturday).
// Each day a person works one shift type or none. Hard rules, per person: no
// work on a day off, no shift the previous day's shift forbids, at most
// `maxShifts[t]` shifts of type t, total minutes within [minMinutes,
// maxMinutes], at most `maxWeekMinutes[w]` minutes in week w (days 7w to
// 7w + 6; the last week may be shorter; no cap when the list is empty), runs
// of working days within [minConsecutive, maxConsecutive], runs of days off
// at least `minDaysOff` long, at most `maxWeekends` weekends with a Saturday
// or Sunday worked, and every pinned assignment as pinned.
// Weeks go by the clock, as the plans' weekly rules do: a shift's
// `minutesNextDay` count in the week of the next day (in none when that day
// is past the horizon), the rest in the week of its own day, so a Sunday
// night weighs mostly on the next week. Totals count whole shifts.
// The run-length minimums hold only for runs that touch neither end of the
// horizon: nothing is known of the days outside it. The objective, minimised,
// is soft: the weight of each on-request not granted, of each off-request
// worked, per cover line the under weight for each person missing and the
// over weight for each person too many, and per balance of a person its
// weight for each shift (or weekend) below its min or above its max. A
// balance counts the shifts of its types, or the weekends with a Saturday or
// Sunday worked as maxWeekends does; pinned work counts like any other. It
// is how a roster spreads nights and weekends fairly: a range of its own for
// each person, in proportion to the contract.
//
// Indices, never names, link the parts; names are kept for reading and
// writing. `ModelProblem` tells whether the indices hold together and the
// sizes stay within what the evaluator can hold. Values are safe to share
// between threads for reading.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/export.h"

namespace cuadrante::solver {

// The shift of a day not worked.
inline constexpr int kOff = -1;

// What the model holds at most. The evaluator keeps a cost per person, day and
// choice (each type or off), so the product is bounded rather than each
// factor alone: 150 staff x 364 days x 33 choices is 1.8 million.
inline constexpr int kMostDays = 36'600;           // a hundred years
inline constexpr int kMostEmployees = 100'000;
inline constexpr int kMostShiftTypes = 1'000;
inline constexpr int64_t kMostCells = 32'000'000;  // staff x days x (types + 1)
inline constexpr int64_t kMostWeight = 1'000'000;
inline constexpr int64_t kMostMinutes = 1'000'000'000;
// Balances per person: the evaluator keeps a count of each.
inline constexpr int kMostBalances = 16;

struct TShiftType {
  std::string id;
  int minutes = 0;
  std::vector<int> forbiddenNext;  // types that may not follow it the next day
  // The part of `minutes` worked after the day's midnight, 0 .. minutes: a
  // night from 22:00 to 06:00 has 360. Only the weekly caps tell it apart.
  // Last, so that {id, minutes, forbiddenNext} still reads as it did.
  int minutesNextDay = 0;
};

// A soft range on a count of a person's work: `weight` for each unit below
// `min` or above `max`. Counts the shifts of the types in `shifts` or, when
// `weekends`, the weekends worked (and then `shifts` is not read).
struct TBalance {
  std::vector<int> shifts;  // the shift types counted, each once
  bool weekends = false;
  int min = 0;
  int max = 0;
  int weight = 0;
};

struct TEmployee {
  std::string id;
  std::vector<int> maxShifts;  // per shift type; 0: never that type
  int64_t maxMinutes = 0;
  int64_t minMinutes = 0;
  int maxConsecutive = 0;  // working days in a row
  int minConsecutive = 0;
  int minDaysOff = 0;  // days off in a row
  int maxWeekends = 0;
  std::vector<int> daysOff;
  std::vector<int64_t> maxWeekMinutes;  // per week (WeekCount); empty: no cap
  std::vector<TBalance> balances;       // at most kMostBalances
};

// A wish to work (on) or not to work (off) `shift` on `day`.
struct TRequest {
  int employee = 0;
  int day = 0;
  int shift = 0;
  int weight = 0;
};

struct TCover {
  int day = 0;
  int shift = 0;
  int requirement = 0;
  int underWeight = 0;  // per person missing
  int overWeight = 0;   // per person too many
};

// An assignment the search may not change; `shift` may be kOff.
struct TPin {
  int employee = 0;
  int day = 0;
  int shift = kOff;
};

struct TInstance {
  int days = 0;
  std::vector<TShiftType> shifts;
  std::vector<TEmployee> employees;
  std::vector<TRequest> onRequests;
  std::vector<TRequest> offRequests;
  std::vector<TCover> cover;
  std::vector<TPin> pins;

  int ShiftIndex(const std::string& id) const;     // -1 when unknown
  int EmployeeIndex(const std::string& id) const;  // -1 when unknown
};

// Saturday and Sunday of weekend w are days 7w + 5 and 7w + 6; a horizon that
// ends on a Saturday has a last weekend of one day.
inline int WeekendCount(int days) { return (days + 1) / 7; }
inline bool IsWeekendDay(int day) { return day % 7 >= 5; }
// Week w is days 7w .. 7w + 6; the last one is shorter unless the horizon
// is whole weeks.
inline int WeekCount(int days) { return (days + 6) / 7; }

// A model that does not hold together: an index out of range, a negative
// count, a size beyond the bounds above.
class CUADRANTE_API EModelError : public Exception {
 public:
  using Exception::Exception;
};

// Empty when `instance` holds together; otherwise what is wrong, naming the
// part ("employee 3 (C): maxShifts has 2 entries for 3 shift types").
CUADRANTE_API std::string ModelProblem(const TInstance& instance);
// Throws EModelError with ModelProblem's text.
CUADRANTE_API void CheckModel(const TInstance& instance);

// A roster: the shift (or kOff) of each employee on each day.
class CUADRANTE_API TRoster {
 public:
  TRoster() = default;
  TRoster(int employees, int days);  // everyone off

  int Employees() const { return employees_; }
  int Days() const { return days_; }
  int At(int employee, int day) const { return cells_[Index(employee, day)]; }
  void Set(int employee, int day, int shift) {
    cells_[Index(employee, day)] = static_cast<int16_t>(shift);
  }
  // One employee's days, as a contiguous row.
  const int16_t* Row(int employee) const { return cells_.data() + Index(employee, 0); }
  int16_t* Row(int employee) { return cells_.data() + Index(employee, 0); }

  friend bool operator==(const TRoster&, const TRoster&) = default;

 private:
  size_t Index(int employee, int day) const {
    return static_cast<size_t>(employee) * static_cast<size_t>(days_) + static_cast<size_t>(day);
  }
  int employees_ = 0;
  int days_ = 0;
  std::vector<int16_t> cells_;
};

// The roster with every pin applied and everything else off.
CUADRANTE_API TRoster PinnedRoster(const TInstance& instance);

}  // namespace cuadrante::solver
