#include "cuadrante/time/storedtext.h"

#include <charconv>
#include <cstdint>
#include <optional>
#include <vector>

#include "cuadrante/runtime/sysutils.h"
#include "cuadrante/time/fecha.h"
#include "cuadrante/vocabulary/basicdefines.h"

namespace cuadrante {
namespace {

std::vector<std::string_view> Fields(std::string_view text) {
  std::vector<std::string_view> fields;
  size_t start = 0;
  for (;;) {
    const size_t end = text.find(';', start);
    fields.push_back(text.substr(start, end == std::string_view::npos ? end : end - start));
    if (end == std::string_view::npos) return fields;
    start = end + 1;
  }
}

std::optional<int64_t> WholeNumber(std::string_view field) {
  while (!field.empty() && field.front() == ' ') field.remove_prefix(1);
  while (!field.empty() && field.back() == ' ') field.remove_suffix(1);
  int64_t value = 0;
  const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), value);
  if (error != std::errc() || end != field.data() + field.size() || field.empty())
    return std::nullopt;
  return value;
}

std::string DateText(int64_t value) { return TFecha(value).ToString("dd/mm/yyyy hh:nn:ss"); }

// Why `value` cannot stand as a date, or "".
std::string DateProblem(int64_t value) {
  if (value < kCalendarStart) {
    return std::to_string(value) + " is before 01/01/1900, where the calendar is left open";
  }
  if (value > kCalendarEnd) return std::to_string(value) + " is after 31/12/9999 23:59:59";
  return "";
}

}  // namespace

std::string ShownTextProblem(std::string_view text) {
  if (!IsValidUtf8(text)) return "is no valid UTF-8";
  for (size_t at = 0; at < text.size(); ++at) {
    const auto byte = static_cast<unsigned char>(text[at]);
    const bool c1 = byte == 0xC2 && at + 1 < text.size() &&
                    static_cast<unsigned char>(text[at + 1]) >= 0x80 &&
                    static_cast<unsigned char>(text[at + 1]) <= 0x9F;
    if (byte < 0x20 || byte == 0x7F || c1) return "holds a control character";
  }
  return "";
}

std::string StoredTextProblem(std::string_view text) {
  const std::vector<std::string_view> fields = Fields(text);
  const size_t count = fields.size();
  if (count != 4 && count != 7 && count != 8) {
    return "has " + std::to_string(count) + " fields; a point has 4, a box 7 and a rule 8";
  }
  static const char* const kPointNames[] = {"start", "seconds", "type", "level"};
  static const char* const kRuleNames[] = {"periodicity", "weekend", "tag", "end"};
  std::vector<int64_t> values(count, 0);
  for (size_t i = 0; i < count; ++i) {
    if (count == 7 && i >= 5) break;  // a box's code and description are texts
    const char* name = i < 4 ? kPointNames[i] : count == 8 ? kRuleNames[i - 4] : "colour";
    const auto value = WholeNumber(fields[i]);
    if (!value) {
      return "field " + std::to_string(i + 1) + " (" + name + "): '" + std::string(fields[i]) +
             "' is no whole number";
    }
    values[i] = *value;
  }
  const auto problem = [](int field, const char* name, const std::string& why) {
    return "field " + std::to_string(field) + " (" + name + "): " + why;
  };
  const int64_t start = values[0], seconds = values[1];
  if (const std::string why = DateProblem(start); !why.empty()) return problem(1, "start", why);
  if (seconds < 0) return problem(2, "seconds", std::to_string(seconds) + " is negative");
  if (seconds > kCalendarEnd + 1 - start) {
    return problem(
        2, "seconds",
        std::to_string(seconds) + " ends after 31/12/9999 23:59:59, from " + DateText(start));
  }
  if (values[2] < 0 || values[2] >= kTimePointTypeCount) {
    return problem(3, "type", std::to_string(values[2]) + " is no point type (0 to 13)");
  }
  if (values[3] < INT16_MIN || values[3] > INT16_MAX) {
    return problem(4, "level", std::to_string(values[3]) + " does not fit 16 bits");
  }
  if (count == 7 && (values[4] < INT32_MIN || values[4] > INT32_MAX)) {
    return problem(5, "colour", std::to_string(values[4]) + " does not fit 32 bits");
  }
  if (count == 7) {
    // A box's code and description reach pictures and terminals.
    for (const int field : {6, 7}) {
      const std::string text(fields[static_cast<size_t>(field) - 1]);
      if (const std::string why = ShownTextProblem(text); !why.empty())
        return problem(field, field == 6 ? "code" : "description", why);
    }
  }
  if (count != 8) return "";
  if (values[4] < tgNone || values[4] > tgQuarter) {
    return problem(5, "periodicity",
                   std::to_string(values[4]) +
                       " is no periodicity (0 none, 1 day, 2 week, 3 month, 4 year, 5 fortnight, "
                       "6 quarter)");
  }
  if (values[5] != 0 && values[5] != 1) {
    return problem(6, "weekend", std::to_string(values[5]) + " is neither 0 nor 1");
  }
  if (values[6] < INT32_MIN || values[6] > INT32_MAX) {
    return problem(7, "tag", std::to_string(values[6]) + " does not fit 32 bits");
  }
  const int64_t end = values[7];
  if (end != 0) {
    if (const std::string why = DateProblem(end); !why.empty()) return problem(8, "end", why);
    if (end < start) {
      return problem(8, "end", DateText(end) + " is before the rule's start " + DateText(start));
    }
  }
  return "";
}

}  // namespace cuadrante
