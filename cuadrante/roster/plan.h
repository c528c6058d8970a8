// A plan: posts with their required coverage, named shifts, employees with
// their rules, rotations and one-off items, and plan-wide holidays, read from
// the plan document (docs/formats.md tells its form):
//
//   <PLAN>
//     <LIMITS minRest="12" maxWeek="48" maxDays="6"/>
//     <POST code="UCI" name="Cuidados intensivos" worksHolidays="1">
//       <NEED people="2" from="07:00" hours="8" days="weekdays"/>
//     </POST>
//     <SHIFT code="M" start="07:00" hours="8" type="2" name="Mañana"/>
//     <HOLIDAY date="2026-12-08"/>
//     <EMPLOYEE id="ana" name="Ana Ruiz" post="UCI" contract="37.5" contractDays="weekdays">
//       <RULE shift="M" every="week" from="2026-11-02" until="2026-12-31"/>
//       <RULE stored="4004578800;28800;2;1;2;0;0;0"/>
//       <ROTATION pattern="M M T T N N - -" from="2026-11-02"/>
//       <LEAVE from="2026-11-20" to="2026-11-22" type="9"/>
//       <ITEM start="2026-11-23T08:00" hours="8" type="6"/>
//       <ITEM start="2026-11-24" shift="N"/>
//     </EMPLOYEE>
//   </PLAN>
//
// Dates are ISO 8601 (2026-11-23, 2026-11-23T08:00); hours are 8, 7.5 or 7:30
// (both read by time/isotext.h).
// A document that breaks the form is refused with EConvertError naming the
// element ("EMPLOYEE ana: RULE 2: ...") and the reason. Values, no sharing.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "cuadrante/runtime/export.h"
#include "cuadrante/time/fecha.h"
#include "cuadrante/vocabulary/basicdefines.h"

namespace cuadrante::roster {

// Which days of the week a requirement holds on: bit 0 Monday .. bit 6 Sunday.
using TWeekdays = uint8_t;
inline constexpr TWeekdays kEveryDay = 0x7F;
inline constexpr TWeekdays kWeekdays = 0x1F;
// Whether `days` holds the weekday of `day` (a TFecha's DayOfWeek, Monday 1).
inline bool HoldsWeekday(TWeekdays days, int dayOfWeek) { return (days >> (dayOfWeek - 1)) & 1; }

// The people a post needs over a span of each day it holds on. A need that
// names a shift spans that shift, and the engine may fill it with the shift;
// one of a bare span is only counted. The weights are what the engine pays
// for each person missing and each person too many.
struct TNeed {
  int people = 0;
  int startMinute = 0;  // after midnight
  TDuration seconds;
  TWeekdays days = kEveryDay;
  std::string shift;
  int missingWeight = 100;
  int surplusWeight = 1;
};

struct TPost {
  std::string code;
  std::string name;
  std::vector<TNeed> needs;
  bool worksHolidays = false;  // work on a plan holiday is no breach here
};

struct TShift {
  std::string code;
  std::string name;
  int startMinute = 0;
  TDuration seconds;
  TTimePointType type = tptTimetable;
};

// A recurring shift: a named shift stepped by a periodicity of the library
// from `from` until `until` (0: no end of its own), or a rule's stored text.
struct TRule {
  std::string shift;   // empty for a stored rule
  std::string stored;  // "start;seconds;type;level;periodicity;weekend;tag;end"
  TTimesGroup every = tgWeek;
  bool weekend = false;
  TFecha from;
  TFecha until;
};

// A repeating pattern of shift codes and rest days ("-"), a day each,
// anchored at `from` and repeated until `until` (0: no end).
struct TRotation {
  std::vector<std::string> pattern;
  TFecha from;
  TFecha until;
};

// A one-off item: leave, sick leave, an incident, an extra shift (which
// carries its shift's code). An item the engine made says so, and may name
// the post it covers when that is not the person's own.
struct TItem {
  TFecha start;
  TDuration seconds;
  TTimePointType type = tptLeave;
  std::string code;
  std::string post;  // empty: the person's post
  bool byEngine = false;
};

// A wish for one day: to work `shift` (on), or not to work it (off; an empty
// shift is any shift of the day), worth `weight` to the engine.
struct TRequest {
  TFecha day;  // 00:00
  std::string shift;
  bool on = false;
  int weight = 1;
};

struct TEmployee {
  std::string id;
  std::string name;
  std::string post;
  // The contract: the hours of a week, spread evenly over the contract days
  // (Monday to Friday unless the plan says otherwise). No contract: nothing
  // is owed, and `hasContract` tells the two apart.
  TDuration contractSeconds;
  bool hasContract = false;
  TWeekdays contractDays = kWeekdays;
  std::vector<TRule> rules;
  std::vector<TRotation> rotations;
  std::vector<TItem> items;

  // What the engine may give the person, and its limits over the range it
  // fills. `posts` is the person's `post` unless the plan names more; an
  // empty `shifts` is every shift the needs of those posts name. Hours
  // unset follow the contract's share of the range, within `tolerance`.
  std::vector<std::string> posts;
  std::vector<std::string> shifts;
  std::optional<TDuration> minHours;
  std::optional<TDuration> maxHours;
  TDuration tolerance{8 * 3600};
  std::optional<int> maxWeekends;
  std::vector<std::pair<std::string, int>> maxShifts;  // code, most of it
  int minDaysOff = 1;
  std::vector<TRequest> requests;
};

// The limits the rule checks hold a roster to.
struct TLimits {
  TDuration minRestSeconds{12 * 3600};
  TDuration maxWeekSeconds{48 * 3600};
  int maxConsecutiveDays = 6;
};

struct TPlan;
CUADRANTE_API TPlan ReadPlan(std::string_view xml);

struct CUADRANTE_API TPlan {
  std::vector<TPost> posts;
  std::vector<TShift> shifts;
  std::vector<TEmployee> employees;
  std::vector<TFecha> holidays;  // whole days, at 00:00
  TLimits limits;

  // By hashed look-up where the index that ReadPlan (or Reindex) made still
  // names the entry; by a walk otherwise, so a plan changed since is still
  // answered right, only slower.
  const TShift* FindShift(std::string_view code) const;
  const TPost* FindPost(std::string_view code) const;
  // Makes the index again after `shifts` or `posts` changed.
  void Reindex();

 private:
  friend TPlan ReadPlan(std::string_view xml);
  std::unordered_map<std::string, size_t> shiftIndex_;
  std::unordered_map<std::string, size_t> postIndex_;
};

// Reads a plan document. Raises EConvertError (or EXMLDocError for text that
// is no XML) naming the element and the reason.
CUADRANTE_API TPlan ReadPlan(std::string_view xml);

}  // namespace cuadrante::roster
