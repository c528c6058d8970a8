// Where plans meet the auto-rostering engine: a plan and a range of whole
// days become the engine's model, and the engine's roster becomes items of
// the plan again. The engine knows no plan.
//
//   const TFillModel model = ModelOfPlan(plan, first, last);
//   const solver::TSearchResult result = solver::Solve(model.instance, options);
//   for (const TFilledItem& filled : FilledItems(plan, model, result.roster))
//     plan.employees[filled.employee].items.push_back(filled.item);
//
// The model's days are whole weeks, from a Monday (the engine counts weekends
// and weeks from one) at least `maxDays` before the range to a Sunday at
// least as far after it: runs of days and weekly hours reach past the edges,
// so the days outside the range are the plan's and pinned. Each shift type of the model is a shift
// of the plan at a post. A shift that a NEED names is a type the engine may give, to the people
// whose `posts` and `shifts` allow it; the needs become its cover lines with their weights.
// Everything the plan fixes (rules, rotations, items) is pinned, in a type of its own where no need
// names it, so the engine counts it in rest, hours and runs of days and never moves it; the days an
// absence touches are days off, and so are the holidays of people whose own
// post does not work them (the night before them too, as far as the model
// can say it: a wish not to work it that outweighs any gap). Needs of bare spans are counted by
// `CheckCoverage` only: the engine fills needs that name a shift.
//
// The LIMITS hold as hard rules as far as the model can say them: rest as
// the shifts that may not follow one another, `maxDays` as the longest run
// of working days, each week's hours within the weekly maximum and the
// contract's share of the week. Hours are held over the range (the
// contract's share of the days not on leave, within the tolerance, unless
// `minHours` and `maxHours` say otherwise).
// Values; the plan must outlive the model.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cuadrante/roster/checks.h"
#include "cuadrante/roster/plan.h"
#include "cuadrante/runtime/export.h"
#include "cuadrante/solver/model.h"
#include "cuadrante/time/fecha.h"

namespace cuadrante::roster {

// What a shift type of the model stands for.
struct TFillType {
  const TPost* post = nullptr;    // null: planned work of no post's need
  const TShift* shift = nullptr;  // null: planned work of its own times
  bool fillable = false;          // a NEED names it: the engine may give it
};

struct TFillModel {
  solver::TInstance instance;
  TFecha firstDay;     // the model's day 0, a Monday
  int rangeStart = 0;  // the model day of the range's first day
  int rangeEnd = 0;    // the model day after the range's last
  std::vector<TFillType> types;
  std::vector<size_t> employees;  // the plan's employee of each model employee
  std::vector<bool> pinned;       // by employee * days + day: the plan fixes the day
  // Per employee, the minutes their contract owes over the range's days not
  // on leave (0 without a contract).
  std::vector<int64_t> owedMinutes;
  // Re-planning: the last roster's type on each day of the range from the
  // re-planning day on (kOff: none; -2: work no type of the model can give),
  // by employee * days + day; empty when not re-planning.
  std::vector<int> previous;
  int replanStart = 0;  // the model day re-planning starts on
  // The requests that are the plan's wishes come first; those behind them
  // charge a re-plan's changes.
  size_t wishesOn = 0, wishesOff = 0;

  bool Pinned(int employee, int day) const {
    return pinned[static_cast<size_t>(employee) * static_cast<size_t>(instance.days) +
                  static_cast<size_t>(day)];
  }
};

// How to fill beyond the plan itself.
struct TFillOptions {
  // Re-planning a roster people know already: the items the engine made on
  // days of the range from `replanFrom` on are no longer fixed but the last
  // roster, and each day a person's work differs from it costs
  // `changeWeight` (as an on-request of the shift they had, or an
  // off-request of each shift they may work on a day they had none). The
  // engine's items before it stay as fixed as any other.
  std::optional<TFecha> replanFrom;
  int changeWeight = 10;  // more than a person too many, less than one missing
  // Fairness: over the range each person may take their contract's share of
  // the nights (shifts that run past midnight) and of the weekends that the
  // needs ask for; each one beyond costs `fairWeight`. 0: no such cost.
  int fairWeight = 0;
};

// The model of filling `plan` over [firstDay, lastDay] (whole days, both
// included; at most a year). Raises EConvertError for a range that ends
// before it starts or is longer, or for a change or fairness weight that is
// negative or beyond the engine's largest.
CUADRANTE_API TFillModel ModelOfPlan(const TPlan& plan, TFecha firstDay, TFecha lastDay,
                                     const TFillOptions& options = {});

struct TFilledItem {
  size_t employee = 0;  // in the plan
  TItem item;           // a shift by the engine, with its code and post
};

// The shifts `roster` gives on days of the range that the plan left open, in
// order of employee and day.
CUADRANTE_API std::vector<TFilledItem> FilledItems(const TPlan& plan, const TFillModel& model,
                                                   const solver::TRoster& roster);

// A day whose work a re-plan changed: what the person had, and has now
// (a null shift: none).
struct TReplanChange {
  size_t employee = 0;  // in the plan
  TFecha day;
  const TShift* before = nullptr;
  const TPost* beforePost = nullptr;
  const TShift* after = nullptr;
  const TPost* afterPost = nullptr;
};

// The days from the re-planning day to the range's end where `roster`
// differs from the last roster, in order of employee and day: work the
// engine made before, or not, against what it gives now. Empty when the
// model is no re-plan.
CUADRANTE_API std::vector<TReplanChange> ReplanChanges(const TFillModel& model,
                                                       const solver::TRoster& roster);

// A re-plan's last roster, for the engine to mend rather than rebuild: the
// pins, and the shifts the engine gave before on the days it may change
// (those it can give still). Everyone off when the model is no re-plan.
CUADRANTE_API solver::TRoster LastRoster(const TFillModel& model);

// The part of `roster`'s objective that a re-plan's changes cost; 0 when
// the model is no re-plan.
CUADRANTE_API int64_t ChangeCost(const TFillModel& model, const solver::TRoster& roster);

// Why a person did not fill a gap: the first rule, in this order, that
// giving them the shift would break, or that nothing did.
enum class TGapReason {
  kNotThatPost,   // the post is none of their `posts`
  kNotThatShift,  // the shift is none of their `shifts`
  kAbsent,        // on leave, or a holiday their own post does not work
  kPlanned,       // the plan fixes the day: other work, or none
  kBeforeReplan,  // a free day before a re-plan's date, which keeps it as it was
  kWorksThatDay,  // the engine gave them another shift that day
  kRestAfter,     // too little rest after the shift of the day before
  kRestBefore,    // too little rest before the shift of the day after
  kWeekMaximum,   // the week's hours would pass its cap
  kDaysInARow,    // the run of working days would pass `maxDays`
  kDaysOff,       // a run of days off would fall short of `minDaysOff`
  kWeekendCap,    // one weekend more than `maxWeekends`
  kHoursMaximum,  // the range's hours would pass their maximum
  kShiftCap,      // one shift of the code more than `maxShifts` allows
  kFree,          // no rule: the engine left them out for the cost
};
CUADRANTE_API const char* GapReasonName(TGapReason reason);  // "on leave", "rest after", ...

struct TGapPerson {
  size_t employee = 0;  // in the plan
  TGapReason reason = TGapReason::kFree;
};

// A need the engine left short: its post, shift and day, how many people
// are missing, and why each person who works at the post (by `post` or
// `posts`) did not fill it.
struct TGapExplanation {
  const TPost* post = nullptr;
  const TShift* shift = nullptr;
  TFecha day;
  int missing = 0;
  std::vector<TGapPerson> people;
};

// Every cover line of the range that `roster` leaves short, by day and type.
CUADRANTE_API std::vector<TGapExplanation> ExplainGaps(const TPlan& plan, const TFillModel& model,
                                                       const solver::TRoster& roster);

// Why a need on a day was never the engine's to fill.
enum class TLeftOutReason {
  kBeforeRange,    // its shift starts the day before the range and runs into it
  kClosedHoliday,  // a plan holiday its post does not work
  kNoShift,        // a span of hours, not a shift the engine can give
};
CUADRANTE_API const char* LeftOutReasonName(TLeftOutReason reason);

// A need the coverage report finds short that the engine had no part in:
// the day it starts, its span, the most people missing at any moment of it
// (when a post's needs overlap, the shortfall is theirs together) and why.
struct TLeftOutNeed {
  const TPost* post = nullptr;
  const TNeed* need = nullptr;
  TFecha day;
  TFecha from, to;  // the need's span on that day, `to` exclusive
  int64_t missing = 0;
  TLeftOutReason reason = TLeftOutReason::kNoShift;
};

// Of `gaps` (CheckCoverage over the model's range), the needs behind those
// that ExplainGaps cannot explain, because the engine was never asked to
// fill them. With ExplainGaps, every span short of people has a reason.
CUADRANTE_API std::vector<TLeftOutNeed> NeedsLeftOut(const TPlan& plan, const TFillModel& model,
                                                     const std::vector<TCoverageGap>& gaps);

// The plan document `xml` (the text `plan` was read from) with each filled
// item as an ITEM of its EMPLOYEE, behind what the person holds already:
// `<ITEM start="2026-12-03" shift="N" by="engine"/>`, and `post` when it is
// not the person's own. A re-plan's model takes out first the ITEMs by the
// engine that start on the days it re-planned. Read again, it gives the plan
// with the filled items.
CUADRANTE_API std::string WithFilledItems(std::string_view xml, const TPlan& plan,
                                          const TFillModel& model,
                                          const std::vector<TFilledItem>& filled);

}  // namespace cuadrante::roster
