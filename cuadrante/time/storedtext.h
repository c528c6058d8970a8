// Whether a stored point, box or rule holds values a plan can use.
//
// The library reads any number into any field: a negative length, type 99, a
// periodicity of 99, a weekend flag of 5, a date before 1900 (whose calendar
// results it leaves open) all load without a word. A host that acts on a
// document checks it first. The stored forms, told by their field count:
//   point "start;seconds;type;level"
//   box   "start;seconds;type;level;colour;code;description"
//   rule  "start;seconds;type;level;periodicity;weekend;tag;end"
// Starts and ends are seconds from 30/12/1899 between 01/01/1900 00:00 and
// 31/12/9999 23:59:59; a length is 0 or more and ends within the calendar; a
// type is 0 to 13; a level fits 16 bits and a colour and a tag 32; a
// periodicity is 0 to 6; a
// weekend flag is 0 or 1; a rule's end is 0 (none) or no earlier than its start.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "cuadrante/runtime/export.h"
#include "cuadrante/time/fecha.h"

namespace cuadrante {

// The first 01/01/1900 00:00:00, as a value.
inline constexpr int64_t kCalendarStart = 2 * kSecondsPerDay;

// "" for a sound stored text of 4, 7 or 8 fields, or why it is not, naming
// the field: "field 3 (type): 99 is no point type (0 to 13)". A box's code
// and description must pass ShownTextProblem.
CUADRANTE_API std::string StoredTextProblem(std::string_view text);

// An identifier, a code or a name is shown on terminals, in tables and
// pictures: it must be text, not a command to them. "" when it is valid
// UTF-8 without C0, DEL or C1 controls, else what is wrong ("is no valid
// UTF-8", "holds a control character").
CUADRANTE_API std::string ShownTextProblem(std::string_view text);

}  // namespace cuadrante
