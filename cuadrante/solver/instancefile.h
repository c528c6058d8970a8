// The benchmark's instance text and rosters as CSV, read into the solver's
// model and written back.
//
// An instance is the text of the employee shift scheduling benchmark (Curtois
// and Qu): `#` comment lines, sections opened by a `SECTION_...` line and
// ended by a blank line (or the next such line), comma-separated fields, CRLF
// or LF endings:
//
//   SECTION_HORIZON           14                      (days; day 0 a Monday)
//   SECTION_SHIFTS            D,480,E|L               (id, minutes, ids it forbids next)
//   SECTION_STAFF             A,D=14|E=0,4320,3360,5,2,2,1
//                             (id, MaxShifts, Max/MinTotalMinutes, Max/MinConsecutiveShifts,
//                              MinConsecutiveDaysOff, MaxWeekends)
//   SECTION_DAYS_OFF          A,0,5                   (employee, days it cannot work)
//   SECTION_SHIFT_ON_REQUESTS A,2,D,2                 (employee, day, shift, weight)
//   SECTION_SHIFT_OFF_REQUESTS  likewise
//   SECTION_COVER             0,D,5,100,1             (day, shift, requirement, under, over)
//   SECTION_PINS              A,3,-                   (ours: employee, day, shift or - for off)
//
// Sections come in any order, each at most once, as long as HORIZON, SHIFTS and
// STAFF come before the sections that use them; those three are required.
// Fields may carry spaces around them. Numbers are non-negative decimal
// integers within their field's bound (days within the horizon, weights up to
// kMostWeight, minutes up to kMostMinutes, a requirement up to kMostEmployees,
// other counts up to 2^31 - 1); ids are resolved to indices. An id is
// non-empty, has no control character, no `,` `|` `=` or `"`, is not `-` and
// starts with neither `#` nor `SECTION_`.
//
// Every malformed text throws one EInstanceError naming the source, the line
// and the field, "Instance1.txt:17: MaxShifts: unknown shift 'X'", or the
// model's own complaint once the text parses ("Instance1.txt: shift 0 (D):
// minutes out of range"). Sizes are checked before anything is sized by them:
// a line above kMostLineBytes, a horizon above kMostDays or a staff x days x
// (types + 1) above kMostCells is refused at its line.
//
// A roster is CSV with rows `employee,day,shift` (ids as in the instance, `-`
// for a day off), after an optional header `employee,day,shift`; days without
// a row are off and blank lines are skipped.
//
// Every function here is a pure function of its arguments, safe to call from
// any thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "cuadrante/runtime/export.h"
#include "cuadrante/solver/model.h"

namespace cuadrante::solver {

// The largest file ReadInstanceFile and ReadRosterFile read, and the longest
// line any reader here accepts.
inline constexpr size_t kMostInstanceBytes = size_t{64} << 20;
inline constexpr size_t kMostLineBytes = size_t{1} << 20;

// A text that is not an instance or roster of the form above, a file that
// cannot be read, or a model that the form cannot hold.
class CUADRANTE_API EInstanceError : public EModelError {
 public:
  using EModelError::EModelError;
  ~EInstanceError() override;
};

// Reads an instance; `source` names it in errors (a file name, "<stdin>").
CUADRANTE_API TInstance ReadInstance(std::string_view text, const std::string& source);
// Reads the file at `path`, refusing one above kMostInstanceBytes.
CUADRANTE_API TInstance ReadInstanceFile(const std::string& path);

// The benchmark text with LF endings and the originals' comment lines, the
// pins last (their section only when there are pins); ReadInstance gives the
// same instance back. Throws EInstanceError for an instance that fails
// ModelProblem or that the text cannot hold (an id the rules above refuse, a
// minimum above its maximum, a day pinned twice).
//
// Example: WriteInstance(ReadInstanceFile("Instance1.txt")) is that file
// without its carriage returns.
CUADRANTE_API std::string WriteInstance(const TInstance& instance);

// Reads a roster of `instance` (which must pass ModelProblem). Errors name the
// line: an unknown employee or shift, a day outside the horizon, a second row
// for the same employee and day.
CUADRANTE_API TRoster ReadRoster(std::string_view text, const TInstance& instance,
                                 const std::string& source);
CUADRANTE_API TRoster ReadRosterFile(const std::string& path, const TInstance& instance);

// The header, then one row per worked day, employee by employee, day by day.
// Throws EInstanceError when the roster's sizes are not the instance's or a
// cell names no shift type.
CUADRANTE_API std::string WriteRoster(const TInstance& instance, const TRoster& roster);

}  // namespace cuadrante::solver
