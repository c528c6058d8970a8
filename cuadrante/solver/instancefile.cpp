#include "cuadrante/solver/instancefile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <unordered_map>
#include <utility>
#include <vector>

namespace cuadrante::solver {

EInstanceError::~EInstanceError() = default;

namespace {

constexpr int64_t kMostCount = std::numeric_limits<int32_t>::max();
constexpr std::string_view kSectionPrefix = "SECTION_";
constexpr std::string_view kRosterHeader = "employee,day,shift";
constexpr std::string_view kOffMark = "-";
// Quoted input is cut to this many bytes, so that a megabyte field cannot make
// a megabyte message.
constexpr size_t kMostQuoted = 40;

// The input as it may stand in a message: quoted, cut short, control bytes
// spelled out.
std::string Quoted(std::string_view text) {
  size_t cut = std::min(text.size(), kMostQuoted);
  while (cut > 0 && cut < text.size() && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80)
    --cut;  // never half a UTF-8 character
  std::string quoted = "'";
  for (const char c : text.substr(0, cut)) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7F) {
      static constexpr char kHex[] = "0123456789abcdef";
      quoted += "\\x";
      quoted += kHex[byte >> 4];
      quoted += kHex[byte & 0xF];
    } else {
      quoted += c;
    }
  }
  quoted += cut < text.size() ? "...'" : "'";
  return quoted;
}

std::string_view Trim(std::string_view text) {
  const size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// The fields between `separator`s, each trimmed; an empty text is one empty field.
std::vector<std::string_view> Split(std::string_view text, char separator) {
  std::vector<std::string_view> fields;
  size_t start = 0;
  for (;;) {
    const size_t end = text.find(separator, start);
    fields.push_back(Trim(text.substr(start, end - start)));
    if (end == std::string_view::npos) return fields;
    start = end + 1;
  }
}

// Why `id` cannot stand in the text as it is; empty when it can. The reader
// never meets most of these (it trims fields and reads `#` lines as
// comments), but the writer must refuse what would not read back.
std::string IdProblem(std::string_view id) {
  if (id.empty()) return "an empty id";
  if (id == kOffMark) return "'-' marks a day off and cannot be an id";
  if (id.front() == '#') return Quoted(id) + " starts with '#', which would make a comment";
  if (id.starts_with(kSectionPrefix))
    return Quoted(id) + " starts with SECTION_, as a section does";
  if (Trim(id).size() != id.size()) return Quoted(id) + " has spaces around it";
  for (const char c : id) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7F) return Quoted(id) + " holds a control character";
    if (c == ',' || c == '|' || c == '=' || c == '"')
      return Quoted(id) + " holds a '" + std::string(1, c) + "'";
  }
  return {};
}

// The lines of a text one at a time, numbered from 1, without their line
// ending. Refuses a line above kMostLineBytes before anything reads it, and
// a NUL byte.
class TLines {
 public:
  TLines(std::string_view text, const std::string& source) : text_(text), source_(source) {
    if (text_.starts_with("\xEF\xBB\xBF")) text_.remove_prefix(3);  // a byte order mark
  }

  bool Next(std::string_view& line) {
    if (pos_ >= text_.size()) return false;
    const size_t end = std::min(text_.find('\n', pos_), text_.size());
    line = text_.substr(pos_, end - pos_);
    pos_ = end + 1;
    ++number_;
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (line.size() > kMostLineBytes) {
      Fail("line",
           std::to_string(line.size()) + " bytes, longer than " + std::to_string(kMostLineBytes));
    }
    if (line.find('\0') != std::string_view::npos) Fail("line", "a NUL byte");
    return true;
  }

  int Line() const { return number_; }
  const std::string& Source() const { return source_; }

  [[noreturn]] void Fail(std::string_view field, const std::string& message) const {
    FailAt(std::max(number_, 1), field, message);
  }
  [[noreturn]] void FailAt(int line, std::string_view field, const std::string& message) const {
    throw EInstanceError(source_ + ":" + std::to_string(line) + ": " + std::string(field) + ": " +
                         message);
  }

  // A non-negative decimal integer of at most `most`.
  int64_t Number(std::string_view field, std::string_view text, int64_t most) const {
    if (text.empty()) Fail(field, "empty, expected a number");
    int64_t value = 0;
    for (const char c : text) {
      if (c < '0' || c > '9') Fail(field, Quoted(text) + " is not a non-negative whole number");
      value = value * 10 + (c - '0');  // cannot overflow: value <= most < 2^63 / 10 here
      if (value > most) Fail(field, Quoted(text) + " is above " + std::to_string(most));
    }
    return value;
  }

  int Day(std::string_view field, std::string_view text, int days) const {
    const int64_t day = Number(field, text, kMostCount);
    if (day >= days) {
      Fail(field, "day " + std::to_string(day) + " is outside the horizon of " +
                      std::to_string(days) + " days");
    }
    return static_cast<int>(day);
  }

 private:
  std::string_view text_;
  const std::string& source_;
  size_t pos_ = 0;
  int number_ = 0;
};

// Ids to indices, built once, so that resolving a name costs the same however
// many people there are.
class TIds {
 public:
  // The index, or -1.
  int Find(std::string_view id) const {
    const auto found = indices_.find(std::string(id));
    return found == indices_.end() ? -1 : found->second;
  }
  int Line(int index) const { return lines_[static_cast<size_t>(index)]; }
  void Add(std::string_view id, int line) {
    indices_.emplace(std::string(id), static_cast<int>(lines_.size()));
    lines_.push_back(line);
  }

 private:
  std::unordered_map<std::string, int> indices_;
  std::vector<int> lines_;
};

enum TSection : int {
  kHorizon,
  kShifts,
  kStaff,
  kDaysOff,
  kOnRequests,
  kOffRequests,
  kCover,
  kPins,
  kSectionCount,
  kNoSection = -1,
};

constexpr std::array<std::string_view, kSectionCount> kSectionNames = {
    "SECTION_HORIZON",
    "SECTION_SHIFTS",
    "SECTION_STAFF",
    "SECTION_DAYS_OFF",
    "SECTION_SHIFT_ON_REQUESTS",
    "SECTION_SHIFT_OFF_REQUESTS",
    "SECTION_COVER",
    "SECTION_PINS",
};

// What each section refers to, and so needs read before it.
constexpr std::array<std::array<bool, 3>, kSectionCount> kUses = {{
    // HORIZON SHIFTS STAFF
    {false, false, false},  // HORIZON
    {false, false, false},  // SHIFTS
    {false, true, false},   // STAFF
    {true, false, true},    // DAYS_OFF
    {true, true, true},     // SHIFT_ON_REQUESTS
    {true, true, true},     // SHIFT_OFF_REQUESTS
    {true, true, false},    // COVER
    {true, true, true},     // PINS
}};

class TInstanceReader {
 public:
  TInstanceReader(std::string_view text, const std::string& source) : lines_(text, source) {}

  TInstance Read() {
    std::string_view line;
    while (lines_.Next(line)) {
      const std::string_view trimmed = Trim(line);
      if (trimmed.starts_with('#')) continue;
      if (trimmed.empty()) {
        Close();
      } else if (trimmed.starts_with(kSectionPrefix)) {
        Open(trimmed);
      } else if (current_ == kNoSection) {
        lines_.Fail("line", Quoted(trimmed) + " is outside a section");
      } else {
        ReadLine(trimmed);
      }
    }
    Close();
    for (const TSection required : {kHorizon, kShifts, kStaff}) {
      if (sectionLine_[required] == 0)
        lines_.Fail(kSectionNames[required], "missing (the text ends here)");
    }
    if (std::string problem = ModelProblem(instance_); !problem.empty())
      throw EInstanceError(lines_.Source() + ": " + problem);
    return std::move(instance_);
  }

 private:
  void Open(std::string_view header) {
    Close();
    const auto* found = std::find(kSectionNames.begin(), kSectionNames.end(), header);
    if (found == kSectionNames.end()) lines_.Fail("section", "unknown section " + Quoted(header));
    const auto section = static_cast<TSection>(found - kSectionNames.begin());
    if (sectionLine_[section] != 0) {
      lines_.Fail(header,
                  "a second time (first on line " + std::to_string(sectionLine_[section]) + ")");
    }
    for (const TSection used : {kHorizon, kShifts, kStaff}) {
      if (kUses[section][used] && sectionLine_[used] == 0) {
        lines_.Fail(header, "comes before " + std::string(kSectionNames[used]) + ", which it uses");
      }
    }
    sectionLine_[section] = lines_.Line();
    current_ = section;
  }

  void Close() {
    if (current_ == kHorizon && instance_.days == 0)
      lines_.FailAt(sectionLine_[kHorizon], kSectionNames[kHorizon], "no number of days");
    if (current_ == kShifts) ResolveForbidden();
    current_ = kNoSection;
  }

  std::vector<std::string_view> Fields(std::string_view line, size_t least, size_t most) {
    std::vector<std::string_view> fields = Split(line, ',');
    if (fields.size() < least || fields.size() > most) {
      const std::string expected =
          least == most ? std::to_string(least) : "at least " + std::to_string(least);
      lines_.Fail(kSectionNames[current_],
                  std::to_string(fields.size()) + " fields, expected " + expected);
    }
    return fields;
  }

  void ReadLine(std::string_view line) {
    switch (current_) {
      case kHorizon:
        return ReadHorizon(line);
      case kShifts:
        return ReadShift(line);
      case kStaff:
        return ReadEmployee(line);
      case kDaysOff:
        return ReadDaysOff(line);
      case kOnRequests:
        return ReadRequest(line, instance_.onRequests);
      case kOffRequests:
        return ReadRequest(line, instance_.offRequests);
      case kCover:
        return ReadCover(line);
      case kPins:
        return ReadPin(line);
      default:
        return;
    }
  }

  // The evaluator keeps a cell per person, day and choice: refuse a size
  // before anything is sized by it. An unknown horizon counts as one day.
  void CheckSize(std::string_view field, int64_t staff, int64_t types) const {
    const int64_t days = std::max(instance_.days, 1);
    if (staff * days * (types + 1) > kMostCells) {
      lines_.Fail(field, std::to_string(staff) + " staff x " + std::to_string(days) + " days x " +
                             std::to_string(types + 1) + " choices is above " +
                             std::to_string(kMostCells) + " cells");
    }
  }

  void ReadHorizon(std::string_view line) {
    const std::vector<std::string_view> fields = Fields(line, 1, 1);
    if (instance_.days != 0) lines_.Fail(kSectionNames[kHorizon], "a second number of days");
    const int64_t days = lines_.Number("Horizon", fields[0], kMostDays);
    if (days == 0)
      lines_.Fail("Horizon", "0 days; a horizon has 1 to " + std::to_string(kMostDays));
    instance_.days = static_cast<int>(days);
    CheckSize("Horizon", static_cast<int64_t>(instance_.employees.size()),
              static_cast<int64_t>(instance_.shifts.size()));
  }

  void CheckNewId(std::string_view field, std::string_view id, const TIds& ids) const {
    if (std::string problem = IdProblem(id); !problem.empty()) lines_.Fail(field, problem);
    if (const int index = ids.Find(id); index >= 0) {
      lines_.Fail(field,
                  Quoted(id) + " is already defined on line " + std::to_string(ids.Line(index)));
    }
  }

  void ReadShift(std::string_view line) {
    const std::vector<std::string_view> fields = Fields(line, 3, 3);
    CheckNewId("ShiftID", fields[0], shiftIds_);
    if (instance_.shifts.size() >= static_cast<size_t>(kMostShiftTypes))
      lines_.Fail("ShiftID", "more than " + std::to_string(kMostShiftTypes) + " shift types");
    CheckSize("ShiftID", static_cast<int64_t>(instance_.employees.size()),
              static_cast<int64_t>(instance_.shifts.size()) + 1);
    TShiftType shift;
    shift.id = std::string(fields[0]);
    shift.minutes = static_cast<int>(lines_.Number("Length", fields[1], kMostMinutes));
    if (!fields[2].empty())
      forbidden_.push_back({instance_.shifts.size(), lines_.Line(), fields[2]});
    shiftIds_.Add(fields[0], lines_.Line());
    instance_.shifts.push_back(std::move(shift));
  }

  // A shift may forbid one defined after it, so names resolve once the
  // section is whole.
  void ResolveForbidden() {
    for (const TPendingForbidden& pending : forbidden_) {
      std::vector<int>& next = instance_.shifts[pending.shift].forbiddenNext;
      for (const std::string_view id : Split(pending.ids, '|')) {
        const int index = shiftIds_.Find(id);
        if (index < 0) lines_.FailAt(pending.line, "CannotFollow", "unknown shift " + Quoted(id));
        next.push_back(index);
      }
    }
    forbidden_.clear();
  }

  void ReadEmployee(std::string_view line) {
    const std::vector<std::string_view> fields = Fields(line, 8, 8);
    CheckNewId("ID", fields[0], employeeIds_);
    if (instance_.employees.size() >= static_cast<size_t>(kMostEmployees))
      lines_.Fail("ID", "more than " + std::to_string(kMostEmployees) + " employees");
    CheckSize("ID", static_cast<int64_t>(instance_.employees.size()) + 1,
              static_cast<int64_t>(instance_.shifts.size()));
    TEmployee person;
    person.id = std::string(fields[0]);
    person.maxShifts = MaxShifts(fields[1]);
    person.maxMinutes = lines_.Number("MaxTotalMinutes", fields[2], kMostMinutes);
    person.minMinutes = lines_.Number("MinTotalMinutes", fields[3], kMostMinutes);
    if (person.minMinutes > person.maxMinutes) {
      lines_.Fail("MinTotalMinutes", std::to_string(person.minMinutes) +
                                         " is above MaxTotalMinutes " +
                                         std::to_string(person.maxMinutes));
    }
    person.maxConsecutive =
        static_cast<int>(lines_.Number("MaxConsecutiveShifts", fields[4], kMostCount));
    person.minConsecutive =
        static_cast<int>(lines_.Number("MinConsecutiveShifts", fields[5], kMostCount));
    if (person.minConsecutive > person.maxConsecutive) {
      lines_.Fail("MinConsecutiveShifts", std::to_string(person.minConsecutive) +
                                              " is above MaxConsecutiveShifts " +
                                              std::to_string(person.maxConsecutive));
    }
    person.minDaysOff =
        static_cast<int>(lines_.Number("MinConsecutiveDaysOff", fields[6], kMostCount));
    person.maxWeekends = static_cast<int>(lines_.Number("MaxWeekends", fields[7], kMostCount));
    employeeIds_.Add(fields[0], lines_.Line());
    instance_.employees.push_back(std::move(person));
  }

  // `D=14|E=0`: a count for every shift type, each once, in any order.
  std::vector<int> MaxShifts(std::string_view field) {
    const size_t types = instance_.shifts.size();
    std::vector<int> counts(types, 0);
    std::vector<char> given(types, 0);
    if (!field.empty()) {
      for (const std::string_view entry : Split(field, '|')) {
        const size_t equals = entry.find('=');
        if (equals == std::string_view::npos)
          lines_.Fail("MaxShifts", Quoted(entry) + " is not shift=count");
        const std::string_view id = Trim(entry.substr(0, equals));
        const int shift = shiftIds_.Find(id);
        if (shift < 0) lines_.Fail("MaxShifts", "unknown shift " + Quoted(id));
        if (given[static_cast<size_t>(shift)] != 0)
          lines_.Fail("MaxShifts", "shift " + Quoted(id) + " given twice");
        given[static_cast<size_t>(shift)] = 1;
        counts[static_cast<size_t>(shift)] = static_cast<int>(
            lines_.Number("MaxShifts", Trim(entry.substr(equals + 1)), kMostCount));
      }
    }
    for (size_t t = 0; t < types; ++t) {
      if (given[t] == 0)
        lines_.Fail("MaxShifts", "no count for shift " + Quoted(instance_.shifts[t].id));
    }
    return counts;
  }

  int Employee(std::string_view id) const {
    const int index = employeeIds_.Find(id);
    if (index < 0) lines_.Fail("EmployeeID", "unknown employee " + Quoted(id));
    return index;
  }

  int Shift(std::string_view id) const {
    const int index = shiftIds_.Find(id);
    if (index < 0) lines_.Fail("ShiftID", "unknown shift " + Quoted(id));
    return index;
  }

  void ReadDaysOff(std::string_view line) {
    const std::vector<std::string_view> fields =
        Fields(line, 1, std::numeric_limits<size_t>::max());
    std::vector<int>& days = instance_.employees[static_cast<size_t>(Employee(fields[0]))].daysOff;
    for (size_t i = 1; i < fields.size(); ++i)
      days.push_back(lines_.Day("Day", fields[i], instance_.days));
  }

  void ReadRequest(std::string_view line, std::vector<TRequest>& requests) {
    const std::vector<std::string_view> fields = Fields(line, 4, 4);
    TRequest request;
    request.employee = Employee(fields[0]);
    request.day = lines_.Day("Day", fields[1], instance_.days);
    request.shift = Shift(fields[2]);
    request.weight = static_cast<int>(lines_.Number("Weight", fields[3], kMostWeight));
    requests.push_back(request);
  }

  void ReadCover(std::string_view line) {
    const std::vector<std::string_view> fields = Fields(line, 5, 5);
    TCover cover;
    cover.day = lines_.Day("Day", fields[0], instance_.days);
    cover.shift = Shift(fields[1]);
    cover.requirement = static_cast<int>(lines_.Number("Requirement", fields[2], kMostEmployees));
    cover.underWeight = static_cast<int>(lines_.Number("UnderWeight", fields[3], kMostWeight));
    cover.overWeight = static_cast<int>(lines_.Number("OverWeight", fields[4], kMostWeight));
    instance_.cover.push_back(cover);
  }

  void ReadPin(std::string_view line) {
    const std::vector<std::string_view> fields = Fields(line, 3, 3);
    TPin pin;
    pin.employee = Employee(fields[0]);
    pin.day = lines_.Day("Day", fields[1], instance_.days);
    pin.shift = fields[2] == kOffMark ? kOff : Shift(fields[2]);
    const int64_t key = static_cast<int64_t>(pin.employee) * instance_.days + pin.day;
    if (const auto [at, added] = pinLines_.emplace(key, lines_.Line()); !added) {
      lines_.Fail("Day", Quoted(fields[0]) + " is already pinned on day " +
                             std::to_string(pin.day) + " (line " + std::to_string(at->second) +
                             ")");
    }
    instance_.pins.push_back(pin);
  }

  struct TPendingForbidden {
    size_t shift;
    int line;
    std::string_view ids;  // within the text, which outlives the reader
  };

  TLines lines_;
  TInstance instance_;
  std::array<int, kSectionCount> sectionLine_{};  // 0 while unread
  TSection current_ = kNoSection;
  TIds shiftIds_;
  TIds employeeIds_;
  std::vector<TPendingForbidden> forbidden_;
  std::unordered_map<int64_t, int> pinLines_;  // employee x days + day, to line
};

// What the text cannot hold beyond ModelProblem: ids it would misread, the
// reader's own rules, a day pinned twice.
std::string WriteProblem(const TInstance& instance) {
  if (std::string problem = ModelProblem(instance); !problem.empty()) return problem;
  for (size_t s = 0; s < instance.shifts.size(); ++s) {
    if (std::string problem = IdProblem(instance.shifts[s].id); !problem.empty())
      return "shift " + std::to_string(s) + ": " + problem;
  }
  for (size_t e = 0; e < instance.employees.size(); ++e) {
    const TEmployee& person = instance.employees[e];
    const std::string name = "employee " + std::to_string(e);
    if (std::string problem = IdProblem(person.id); !problem.empty()) return name + ": " + problem;
    if (person.minMinutes > person.maxMinutes) return name + ": minMinutes above maxMinutes";
    if (person.minConsecutive > person.maxConsecutive)
      return name + ": minConsecutive above maxConsecutive";
  }
  std::unordered_map<int64_t, size_t> pinned;
  for (size_t i = 0; i < instance.pins.size(); ++i) {
    const TPin& pin = instance.pins[i];
    if (!pinned.emplace(static_cast<int64_t>(pin.employee) * instance.days + pin.day, i).second)
      return "pin " + std::to_string(i) + ": its employee and day are pinned already";
  }
  return {};
}

void AppendRequests(std::string& out, const TInstance& instance,
                    const std::vector<TRequest>& requests) {
  for (const TRequest& r : requests) {
    out += instance.employees[static_cast<size_t>(r.employee)].id + ',' + std::to_string(r.day) +
           ',' + instance.shifts[static_cast<size_t>(r.shift)].id + ',' + std::to_string(r.weight) +
           '\n';
  }
}

std::string ReadBoundedFile(const std::string& path) {
  std::error_code error;
  if (std::filesystem::is_directory(path, error))
    throw EInstanceError(path + ": a folder, not a file");
  std::ifstream file(path, std::ios::binary);
  if (!file) throw EInstanceError(path + ": cannot open (" + std::strerror(errno) + ")");
  std::string bytes;
  std::vector<char> buffer(size_t{1} << 16);
  while (file.read(buffer.data(), static_cast<std::streamsize>(buffer.size())) ||
         file.gcount() > 0) {
    bytes.append(buffer.data(), static_cast<size_t>(file.gcount()));
    if (bytes.size() > kMostInstanceBytes) {
      throw EInstanceError(path + ": larger than " + std::to_string(kMostInstanceBytes >> 20) +
                           " MiB");
    }
  }
  if (file.bad()) throw EInstanceError(path + ": cannot read (" + std::strerror(errno) + ")");
  return bytes;
}

}  // namespace

TInstance ReadInstance(std::string_view text, const std::string& source) {
  return TInstanceReader(text, source).Read();
}

TInstance ReadInstanceFile(const std::string& path) {
  const std::string text = ReadBoundedFile(path);
  return ReadInstance(text, path);
}

std::string WriteInstance(const TInstance& instance) {
  if (std::string problem = WriteProblem(instance); !problem.empty())
    throw EInstanceError("cannot write the instance: " + problem);
  const auto shiftId = [&](int shift) -> const std::string& {
    return instance.shifts[static_cast<size_t>(shift)].id;
  };
  std::string out =
      "# This is a comment. Comments start with #\n"
      "SECTION_HORIZON\n"
      "# All instances start on a Monday\n"
      "# The horizon length in days:\n" +
      std::to_string(instance.days) +
      "\n\nSECTION_SHIFTS\n"
      "# ShiftID, Length in mins, Shifts which cannot follow this shift | separated\n";
  for (const TShiftType& shift : instance.shifts) {
    out += shift.id + ',' + std::to_string(shift.minutes) + ',';
    for (size_t i = 0; i < shift.forbiddenNext.size(); ++i)
      out += (i == 0 ? "" : "|") + shiftId(shift.forbiddenNext[i]);
    out += '\n';
  }
  out +=
      "\nSECTION_STAFF\n"
      "# ID, MaxShifts, MaxTotalMinutes, MinTotalMinutes, MaxConsecutiveShifts, "
      "MinConsecutiveShifts, MinConsecutiveDaysOff, MaxWeekends\n";
  for (const TEmployee& person : instance.employees) {
    out += person.id + ',';
    for (size_t t = 0; t < person.maxShifts.size(); ++t)
      out +=
          (t == 0 ? "" : "|") + instance.shifts[t].id + '=' + std::to_string(person.maxShifts[t]);
    out += ',' + std::to_string(person.maxMinutes) + ',' + std::to_string(person.minMinutes) + ',' +
           std::to_string(person.maxConsecutive) + ',' + std::to_string(person.minConsecutive) +
           ',' + std::to_string(person.minDaysOff) + ',' + std::to_string(person.maxWeekends) +
           '\n';
  }
  out += "\nSECTION_DAYS_OFF\n# EmployeeID, DayIndexes (start at zero)\n";
  for (const TEmployee& person : instance.employees) {
    if (person.daysOff.empty()) continue;
    out += person.id;
    for (const int day : person.daysOff) out += ',' + std::to_string(day);
    out += '\n';
  }
  out += "\nSECTION_SHIFT_ON_REQUESTS\n# EmployeeID, Day, ShiftID, Weight\n";
  AppendRequests(out, instance, instance.onRequests);
  out += "\nSECTION_SHIFT_OFF_REQUESTS\n# EmployeeID, Day, ShiftID, Weight\n";
  AppendRequests(out, instance, instance.offRequests);
  out += "\nSECTION_COVER\n# Day, ShiftID, Requirement, Weight for under, Weight for over\n";
  for (const TCover& c : instance.cover) {
    out += std::to_string(c.day) + ',' + shiftId(c.shift) + ',' + std::to_string(c.requirement) +
           ',' + std::to_string(c.underWeight) + ',' + std::to_string(c.overWeight) + '\n';
  }
  if (!instance.pins.empty()) {
    out += "\nSECTION_PINS\n# EmployeeID, Day, ShiftID (- for a day off)\n";
    for (const TPin& pin : instance.pins) {
      out += instance.employees[static_cast<size_t>(pin.employee)].id + ',' +
             std::to_string(pin.day) + ',' +
             (pin.shift == kOff ? std::string(kOffMark) : shiftId(pin.shift)) + '\n';
    }
  }
  return out;
}

TRoster ReadRoster(std::string_view text, const TInstance& instance, const std::string& source) {
  if (std::string problem = ModelProblem(instance); !problem.empty())
    throw EInstanceError(source + ": the instance: " + problem);
  TIds employees, shifts;
  for (const TEmployee& person : instance.employees) employees.Add(person.id, 0);
  for (const TShiftType& shift : instance.shifts) shifts.Add(shift.id, 0);
  TRoster roster(static_cast<int>(instance.employees.size()), instance.days);
  std::vector<bool> given(instance.employees.size() * static_cast<size_t>(instance.days));
  TLines lines(text, source);
  bool first = true;
  std::string_view line;
  while (lines.Next(line)) {
    if (Trim(line).empty()) continue;
    const std::vector<std::string_view> fields = Split(line, ',');
    if (std::exchange(first, false) && fields.size() == 3 && fields[0] == "employee" &&
        fields[1] == "day" && fields[2] == "shift")
      continue;
    if (fields.size() != 3) {
      lines.Fail("row", std::to_string(fields.size()) + " fields, expected 3 (" +
                            std::string(kRosterHeader) + ")");
    }
    const int employee = employees.Find(fields[0]);
    if (employee < 0) lines.Fail("employee", "unknown employee " + Quoted(fields[0]));
    const int day = lines.Day("day", fields[1], instance.days);
    int shift = kOff;
    if (fields[2] != kOffMark) {
      shift = shifts.Find(fields[2]);
      if (shift < 0) lines.Fail("shift", "unknown shift " + Quoted(fields[2]));
    }
    const size_t cell = static_cast<size_t>(employee) * static_cast<size_t>(instance.days) +
                        static_cast<size_t>(day);
    if (given[cell]) {
      lines.Fail("day", "a second row for " + Quoted(fields[0]) + " on day " + std::to_string(day));
    }
    given[cell] = true;
    roster.Set(employee, day, shift);
  }
  return roster;
}

TRoster ReadRosterFile(const std::string& path, const TInstance& instance) {
  const std::string text = ReadBoundedFile(path);
  return ReadRoster(text, instance, path);
}

std::string WriteRoster(const TInstance& instance, const TRoster& roster) {
  const int employees = static_cast<int>(instance.employees.size());
  const int types = static_cast<int>(instance.shifts.size());
  if (roster.Employees() != employees || roster.Days() != instance.days) {
    throw EInstanceError("cannot write the roster: it is " + std::to_string(roster.Employees()) +
                         " staff x " + std::to_string(roster.Days()) + " days, the instance " +
                         std::to_string(employees) + " x " + std::to_string(instance.days));
  }
  std::string out = std::string(kRosterHeader) + '\n';
  for (int e = 0; e < employees; ++e) {
    for (int day = 0; day < instance.days; ++day) {
      const int shift = roster.At(e, day);
      if (shift == kOff) continue;
      if (shift < 0 || shift >= types) {
        throw EInstanceError("cannot write the roster: employee " + std::to_string(e) + " day " +
                             std::to_string(day) + " holds shift " + std::to_string(shift));
      }
      out += instance.employees[static_cast<size_t>(e)].id + ',' + std::to_string(day) + ',' +
             instance.shifts[static_cast<size_t>(shift)].id + '\n';
    }
  }
  return out;
}

}  // namespace cuadrante::solver
