// The content lines of an iCalendar (RFC 5545) text, read before libical
// sees any of it: libical's own line reader takes time in the square of a
// line's length, and it normalises the times it parses (23:60 becomes the
// next hour), so the calendar reader unfolds the lines itself, in one pass,
// knowing where each starts, and checks the times as they are written.
//
// A content line ends at LF (a CR before it is dropped); a physical line that
// begins with a blank or a tab continues the one before. No unfolded line may
// pass kMaxContentLine octets, nor hold a NUL. Plain functions of their
// arguments: safe from any thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "cuadrante/runtime/export.h"

namespace cuadrante::roster {

// The longest unfolded content line a calendar may hold: far beyond any
// event's text, and short enough that libical parses it in well under a second.
inline constexpr size_t kMaxContentLine = 1u << 20;

// Reads the content lines of `text` from `offset`, the start of physical line
// `number` (from 1).
class CUADRANTE_API TContentLines {
 public:
  explicit TContentLines(std::string_view text, size_t offset = 0, size_t number = 1);

  // Reads the next content line, false at the end of the text. Empty lines
  // are passed over. Raises EConvertError, naming the line, for one longer
  // than kMaxContentLine or holding a NUL.
  bool Next();
  const std::string& Line() const { return line_; }  // unfolded, without its end
  size_t Number() const { return number_; }          // the physical line it begins on
  size_t Offset() const { return offset_; }          // where it begins in the text

 private:
  std::string_view text_;
  size_t at_;          // where the next physical line begins
  size_t atNumber_;    // and its number
  size_t offset_ = 0;  // the current content line's
  size_t number_ = 0;
  std::string line_;
};

// The name of a content line, upper case: what comes before its first ';' or ':'.
CUADRANTE_API std::string PropertyName(std::string_view line);
// Its value: what follows the first ':' that no quoted parameter value holds.
CUADRANTE_API std::string_view PropertyValue(std::string_view line);
// The value of parameter `name` (upper case) of a content line, "" for none.
CUADRANTE_API std::string ParameterValue(std::string_view line, std::string_view name);

// Why the value of a content line whose property holds times is no sound
// time, field by field (month 1-12, day within its month, hour 0-23, minute
// and second 0-59; the library counts no leap second, so no second 60), or ""
// when it is sound or the property holds no times. Checked: DTSTART, DTEND,
// DUE, RECURRENCE-ID, EXDATE and RDATE (each value of a list, both ends of a
// period), DTSTAMP, CREATED, LAST-MODIFIED, the UNTIL of RRULE and EXRULE,
// and the UTC offsets of TZOFFSETFROM and TZOFFSETTO (±hhmm[ss], hh below 24,
// never "-0000"). Years run from 1 to 9999.
CUADRANTE_API std::string TimeProblem(std::string_view line);

}  // namespace cuadrante::roster
