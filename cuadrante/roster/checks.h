// The rules a roster must keep, and where it does not; and whether each post
// has the people it needs.
//
// Per person: two items of the same kind that overlap; work that starts
// during the person's own absence (only work the plan adds as an ITEM:
// planned work there is cancelled) or on a plan holiday, unless the person's
// post works holidays; rest between two work items shorter than the limit
// (the gap from the end of one to the start of the next, a double shift being
// a rest of none); a week (Monday to Sunday) with more work than the maximum
// or than the contract's share of its days; more consecutive days on which
// work starts than the limit. The checks look past the range as far as these
// rules need (the week around each edge, the run of days that crosses it, the
// rest before the first shift), and report every breach that touches the
// range, once, with its person, its span and what it is: checking two months
// one by one finds what checking both at once finds. With a zone, rest and
// week hours are the time that really passes. Of one person's overlaps the
// first kMostOverlapsTold by start are told: n items that all overlap make
// n(n-1)/2 pairs, which no one reads and no memory holds.
//
// Coverage, per post: the people at work (each of the post's employees
// counted once while any of their work that counts covers the moment)
// against the people its NEEDs ask for, over the range; the spans where they
// differ while something is needed, with the shortfall (negative for people
// beyond the need). One sweep over sorted changes: n log n.
#pragma once

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include "cuadrante/roster/personroster.h"
#include "cuadrante/roster/plan.h"
#include "cuadrante/runtime/export.h"

namespace cuadrante::roster {

// How many overlaps of one person CheckRosters tells at most.
inline constexpr size_t kMostOverlapsTold = 10'000;

enum class TBreachKind {
  kOverlap,
  kWorkDuringAbsence,
  kWorkOnHoliday,
  kShortRest,
  kWeekOverMaximum,
  kWeekOverContract,
  kTooManyDays,
};
CUADRANTE_API const char* BreachName(TBreachKind kind);  // "overlap", "short rest", ...
// A breach of a whole week's hours, not of one day or shift.
constexpr bool IsWeekBreach(TBreachKind kind) {
  return kind == TBreachKind::kWeekOverMaximum || kind == TBreachKind::kWeekOverContract;
}

struct TBreach {
  const TEmployee* employee = nullptr;  // borrowed from the plan
  TBreachKind kind = TBreachKind::kOverlap;
  TFecha from;  // the span the breach covers
  TFecha to;    // exclusive
  std::string detail;
};

// How a host words what the checks say: the label of a type, and the
// translation of a sentence whose values stand as {1}, {2}... Either may be
// empty: then the vocabulary's label, and the sentence as it stands.
struct CUADRANTE_API TWording {
  std::function<std::string(TTimePointType)> label;
  std::function<std::string(const std::string&)> say;

  std::string Label(TTimePointType type) const;
  // `sentence` translated, each {n} replaced by the n-th of `values`.
  std::string Say(const std::string& sentence, std::initializer_list<std::string> values) const;
};

// Breaches that touch [firstDay, lastDay], in the plan's order of people,
// each person's by start. `limits` usually are the plan's own; `zone`
// (borrowed, may be null) makes rest and week hours elapsed time; `wording`
// words the details.
CUADRANTE_API std::vector<TBreach> CheckRosters(const TPlan& plan, TFecha firstDay, TFecha lastDay,
                                                const TLimits& limits, const TZone* zone = nullptr,
                                                const TWording& wording = {});

// One line for each thing in the plan that changes the answers without a
// word: a rule with no occurrence in the range, an employee without a
// contract or a post, an item of no length.
CUADRANTE_API std::vector<std::string> PlanWarnings(const std::vector<TPersonRoster>& rosters,
                                                    TFecha firstDay, TFecha lastDay,
                                                    const TWording& wording = {});

struct TCoverageGap {
  const TPost* post = nullptr;  // borrowed from the plan
  TFecha from;
  TFecha to;             // exclusive
  int64_t required = 0;  // in 64 bits: many needs of many people add up
  int64_t atWork = 0;
  int64_t Shortfall() const { return required - atWork; }
};

// The spans, post by post and in time order, where the people at work differ
// from the people needed while some are needed.
CUADRANTE_API std::vector<TCoverageGap> CheckCoverage(const TPlan& plan,
                                                      const std::vector<TPersonRoster>& rosters,
                                                      TFecha firstDay, TFecha lastDay);

}  // namespace cuadrante::roster
