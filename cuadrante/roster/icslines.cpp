#include "cuadrante/roster/icslines.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <initializer_list>
#include <string>

#include "cuadrante/runtime/exception.h"

namespace cuadrante::roster {

TContentLines::TContentLines(std::string_view text, size_t offset, size_t number)
    : text_(text), at_(std::min(offset, text.size())), atNumber_(number) {}

namespace {

// One physical line from `at`: its text without the line end, and where the next begins.
std::string_view PhysicalLine(std::string_view text, size_t at, size_t& next) {
  const size_t end = std::min(text.find('\n', at), text.size());
  next = end < text.size() ? end + 1 : end;
  std::string_view line = text.substr(at, end - at);
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  return line;
}

void Append(std::string& line, std::string_view piece, size_t number) {
  if (piece.find('\0') != std::string_view::npos)
    throw EConvertError("line " + std::to_string(number) + " holds a NUL byte");
  if (line.size() + piece.size() > kMaxContentLine) {
    throw EConvertError("line " + std::to_string(number) + ": a content line longer than " +
                        std::to_string(kMaxContentLine) + " octets");
  }
  line.append(piece);
}

}  // namespace

bool TContentLines::Next() {
  line_.clear();
  while (at_ < text_.size()) {
    offset_ = at_;
    number_ = atNumber_;
    size_t next = 0;
    Append(line_, PhysicalLine(text_, at_, next), number_);
    at_ = next;
    ++atNumber_;
    // Each continuation adds its text less the blank that folds it.
    while (at_ < text_.size() && (text_[at_] == ' ' || text_[at_] == '\t')) {
      Append(line_, PhysicalLine(text_, at_ + 1, next), number_);
      at_ = next;
      ++atNumber_;
    }
    if (!line_.empty()) return true;
  }
  return false;
}

std::string PropertyName(std::string_view line) {
  const size_t end = std::min(line.find_first_of(";:"), line.size());
  std::string name(line.substr(0, end));
  for (char& c : name) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return name;
}

namespace {

// Where the value of a content line begins (after its ':'), or npos.
size_t ValueStart(std::string_view line) {
  bool quoted = false;
  for (size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '"') quoted = !quoted;
    if (line[i] == ':' && !quoted) return i + 1;
  }
  return std::string_view::npos;
}

}  // namespace

std::string_view PropertyValue(std::string_view line) {
  const size_t start = ValueStart(line);
  return start == std::string_view::npos ? std::string_view() : line.substr(start);
}

std::string ParameterValue(std::string_view line, std::string_view name) {
  const size_t valueStart = ValueStart(line);
  std::string_view head =
      line.substr(0, valueStart == std::string_view::npos ? line.size() : valueStart - 1);
  for (size_t at = head.find(';'); at != std::string_view::npos; at = head.find(';', at + 1)) {
    const std::string_view rest = head.substr(at + 1);
    if (rest.size() <= name.size() || rest[name.size()] != '=') continue;
    bool same = true;
    for (size_t i = 0; i < name.size(); ++i)
      same = same && std::toupper(static_cast<unsigned char>(rest[i])) == name[i];
    if (!same) continue;
    const std::string_view value = rest.substr(name.size() + 1);
    return std::string(value.substr(0, std::min(value.find(';'), value.size())));
  }
  return "";
}

namespace {

bool Digits(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
  });
}

int Number(std::string_view digits) {
  int value = 0;
  for (const char c : digits) value = value * 10 + (c - '0');
  return value;
}

int DaysIn(int year, int month) {
  static constexpr std::array<int, 12> kDays = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && leap ? 29 : kDays[static_cast<size_t>(month - 1)];
}

std::string Field(const char* name, int value, const char* allowed) {
  return std::string(name) + " " + std::to_string(value) + " (" + allowed + ")";
}

// What is wrong with a DATE or DATE-TIME value, "" when nothing is.
std::string DateTimeProblem(std::string_view text) {
  std::string_view date = text.substr(0, 8);
  if (text.size() < 8 || !Digits(date)) return "no date (YYYYMMDD)";
  const int year = Number(date.substr(0, 4));
  const int month = Number(date.substr(4, 2));
  const int day = Number(date.substr(6, 2));
  if (year < 1) return Field("year", year, "1-9999");
  if (month < 1 || month > 12) return Field("month", month, "1-12");
  if (day < 1 || day > DaysIn(year, month)) {
    return Field("day", day, ("1-" + std::to_string(DaysIn(year, month))).c_str());
  }
  if (text.size() == 8) return "";
  std::string_view time = text.substr(8);
  if (time.back() == 'Z') time.remove_suffix(1);
  if (time.size() != 7 || time[0] != 'T' || !Digits(time.substr(1)))
    return "no date-time (YYYYMMDDTHHMMSS)";
  const int hour = Number(time.substr(1, 2));
  const int minute = Number(time.substr(3, 2));
  const int second = Number(time.substr(5, 2));
  if (hour > 23) return Field("hour", hour, "0-23");
  if (minute > 59) return Field("minute", minute, "0-59");
  if (second == 60) return "second 60, a leap second, which the library does not count";
  if (second > 59) return Field("second", second, "0-59");
  return "";
}

// What is wrong with a UTC-OFFSET value, "" when nothing is.
std::string OffsetProblem(std::string_view text) {
  if ((text.size() != 5 && text.size() != 7) || (text[0] != '+' && text[0] != '-') ||
      !Digits(text.substr(1)))
    return "no UTC offset (+hhmm or +hhmmss)";
  const int hours = Number(text.substr(1, 2));
  const int minutes = Number(text.substr(3, 2));
  const int seconds = text.size() == 7 ? Number(text.substr(5, 2)) : 0;
  if (hours > 23) return Field("hour", hours, "0-23");
  if (minutes > 59) return Field("minute", minutes, "0-59");
  if (seconds > 59) return Field("second", seconds, "0-59");
  if (text[0] == '-' && hours == 0 && minutes == 0 && seconds == 0)
    return "-0000, which RFC 5545 forbids (write +0000)";
  return "";
}

// Each piece of `list` between `separator`s.
template <typename F>
std::string EachOf(std::string_view list, char separator, F&& check) {
  for (size_t from = 0; from <= list.size();) {
    const size_t end = std::min(list.find(separator, from), list.size());
    std::string problem = check(list.substr(from, end - from));
    if (!problem.empty()) return problem;
    from = end + 1;
  }
  return "";
}

bool OneOf(std::string_view name, std::initializer_list<std::string_view> names) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

std::string UntilProblem(std::string_view rule) {
  return EachOf(rule, ';', [](std::string_view part) -> std::string {
    if (part.size() < 6) return "";
    std::string key(part.substr(0, 6));
    for (char& c : key) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return key == "UNTIL=" ? DateTimeProblem(part.substr(6)) : "";
  });
}

}  // namespace

std::string TimeProblem(std::string_view line) {
  const std::string name = PropertyName(line);
  const std::string_view value = PropertyValue(line);
  std::string problem;
  if (OneOf(name, {"DTSTART", "DTEND", "DUE", "RECURRENCE-ID", "EXDATE", "DTSTAMP", "CREATED",
                   "LAST-MODIFIED"})) {
    problem = EachOf(value, ',', DateTimeProblem);
  } else if (name == "RDATE") {
    // A period's end may be a duration, which holds no date.
    problem = EachOf(value, ',', [](std::string_view one) {
      const size_t slash = one.find('/');
      std::string first = DateTimeProblem(one.substr(0, slash));
      if (!first.empty() || slash == std::string_view::npos) return first;
      const std::string_view end = one.substr(slash + 1);
      if (!end.empty() && (end[0] == 'P' || end[0] == '+' || end[0] == '-')) return first;
      return DateTimeProblem(end);
    });
  } else if (name == "RRULE" || name == "EXRULE") {
    problem = UntilProblem(value);
  } else if (name == "TZOFFSETFROM" || name == "TZOFFSETTO") {
    problem = OffsetProblem(value);
  }
  if (problem.empty()) return "";
  return name + " '" + std::string(value.substr(0, 40)) + "': " + problem;
}

}  // namespace cuadrante::roster
