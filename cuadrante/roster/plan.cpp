#include "cuadrante/roster/plan.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <set>

#include "cuadrante/documents/xmldocument.h"
#include "cuadrante/runtime/datetime.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/sysutils.h"
#include "cuadrante/time/isotext.h"
#include "cuadrante/time/storedtext.h"

namespace cuadrante::roster {
namespace {

// An element being read: its name for messages, and the attributes it may
// have, so that a misspelt one is refused instead of ignored.
class TElement {
 public:
  TElement(TXMLNode node, std::string where, std::initializer_list<const char*> allowed)
      : node_(node), where_(std::move(where)) {
    for (const std::string_view name : node.AttributeNames()) {
      bool known = false;
      for (const char* candidate : allowed) known = known || name == candidate;
      if (!known) Fail("has no attribute " + std::string(name));
    }
  }

  [[noreturn]] void Fail(const std::string& why) const { throw EConvertError(where_ + ": " + why); }

  std::optional<std::string> Get(const char* name) const {
    const auto value = node_.Attribute(name);
    if (!value) return std::nullopt;
    return std::string(*value);
  }
  std::string Need(const char* name) const {
    auto value = Get(name);
    if (!value || value->empty()) Fail(std::string("needs ") + name);
    return *value;
  }

  TFecha Date(const char* name, bool required) const {
    const auto text = required ? std::optional(Need(name)) : Get(name);
    if (!text || text->empty()) return TFecha();
    const auto date = ParseIsoDate(*text);
    if (!date) Fail(std::string(name) + " '" + *text + "' is no date (use 2026-11-23)");
    return *date;
  }
  TDuration Hours(const char* name) const {
    const std::string text = Need(name);
    const auto seconds = ParseHours(text);
    if (!seconds) Fail(std::string(name) + " '" + text + "' is no length (use 8, 7.5 or 7:30)");
    return *seconds;
  }
  int Minute(const char* name) const {
    const std::string text = Need(name);
    unsigned hour = 0, minute = 0;
    int used = 0;
    if (std::sscanf(text.c_str(), "%2u:%2u%n", &hour, &minute, &used) != 2 ||
        static_cast<size_t>(used) != text.size() || hour > 23 || minute > 59) {
      Fail(std::string(name) + " '" + text + "' is no time of day (use 07:00)");
    }
    return static_cast<int>(hour * 60 + minute);
  }
  int64_t Whole(const char* name, int64_t otherwise, int64_t low, int64_t high) const {
    const auto text = Get(name);
    if (!text) return otherwise;
    try {
      const int64_t value = StrToInt64(*text);
      if (value >= low && value <= high) return value;
    } catch (const Exception&) {
    }
    Fail(std::string(name) + " '" + *text + "' is no whole number from " + std::to_string(low) +
         " to " + std::to_string(high));
  }
  TTimePointType Type(TTimePointType otherwise) const {
    return static_cast<TTimePointType>(Whole("type", otherwise, 0, kTimePointTypeCount - 1));
  }

 private:
  TXMLNode node_;
  std::string where_;
};

void CheckShownText(const TElement& element, const char* what, const std::string& text) {
  if (const std::string why = ShownTextProblem(text); !why.empty())
    element.Fail(std::string(what) + " " + why);
}

// The code or id that names an element in every message is checked first,
// alone, so that no message carries it raw.
void CheckName(const char* element, const char* what, const std::string& text) {
  if (const std::string why = ShownTextProblem(text); !why.empty())
    throw EConvertError(std::string(element) + ": " + what + " " + why);
}

TTimesGroup ParseEvery(const TElement& element, const std::string& text) {
  static const std::map<std::string, TTimesGroup, std::less<>> groups = {
      {"day", tgDay},     {"week", tgWeek},       {"fortnight", tgFortnight},
      {"month", tgMonth}, {"quarter", tgQuarter}, {"year", tgYear}};
  const auto found = groups.find(text);
  if (found == groups.end()) {
    element.Fail("every '" + text + "' is none of day, week, fortnight, month, quarter, year");
  }
  return found->second;
}

TWeekdays ParseDays(const TElement& element, const std::string& text) {
  if (text == "all") return kEveryDay;
  if (text == "weekdays") return 0x1F;
  if (text == "weekend") return 0x60;
  static const char* const kNames[] = {"mon", "tue", "wed", "thu", "fri", "sat", "sun"};
  TWeekdays days = 0;
  size_t at = 0;
  while (at <= text.size()) {
    const size_t comma = std::min(text.find(',', at), text.size());
    const std::string name = text.substr(at, comma - at);
    bool known = false;
    for (int day = 0; day < 7; ++day) {
      if (name == kNames[day]) {
        days |= static_cast<TWeekdays>(1 << day);
        known = true;
      }
    }
    if (!known) {
      element.Fail("days '" + text + "' is none of all, weekdays, weekend or a list like mon,wed");
    }
    at = comma + 1;
  }
  return days;
}

std::vector<std::string> Words(const std::string& text) {
  std::vector<std::string> words;
  size_t at = 0;
  while ((at = text.find_first_not_of(' ', at)) != std::string::npos) {
    const size_t end = std::min(text.find(' ', at), text.size());
    words.push_back(text.substr(at, end - at));
    at = end;
  }
  return words;
}

// An ITEM: a span of its own, or a shift of the plan on a day, its start,
// length and type taken from the shift unless the item says otherwise.
TItem ReadItem(const TElement& item, const TPlan& plan) {
  TItem made;
  made.start = item.Date("start", true);
  if (const auto code = item.Get("shift")) {
    const TShift* shift = plan.FindShift(*code);
    if (shift == nullptr) item.Fail("shift '" + *code + "' is no SHIFT of the plan");
    made.code = shift->code;
    // A bare date takes the shift's start; a time of day given stays.
    if (item.Get("start")->size() == 10)
      made.start = TFecha(made.start.Value() + shift->startMinute * int64_t{60});
    made.seconds = item.Get("hours") ? item.Hours("hours") : shift->seconds;
    made.type = item.Type(shift->type);
  } else {
    made.seconds = item.Hours("hours");
    made.type = item.Type(tptIncidence);
  }
  if (const auto post = item.Get("post")) {
    if (plan.FindPost(*post) == nullptr) item.Fail("post '" + *post + "' is no POST of the plan");
    made.post = *post;
  }
  if (const auto by = item.Get("by")) {
    if (*by != "engine") item.Fail("by '" + *by + "' is not engine");
    made.byEngine = true;
  }
  // The calendar names no later instant than its last midnight, and a
  // calendar written from the plan could not say when the item ends.
  if (made.start.Value() + made.seconds.Value() > kCalendarEnd + 1)
    item.Fail("ends after 31/12/9999");
  return made;
}

// A list of codes, each of which `known` must find.
template <class Known>
std::vector<std::string> Codes(const TElement& element, const char* name, const char* what,
                               Known known) {
  std::vector<std::string> codes;
  for (std::string& code : Words(element.Get(name).value_or(""))) {
    if (!known(code))
      element.Fail(std::string(name) + " names '" + code + "', which is no " + what +
                   " of the plan");
    codes.push_back(std::move(code));
  }
  return codes;
}

// What the engine may give the person and its limits.
void ReadEngineLimits(const TElement& element, const TPlan& plan, TEmployee& employee) {
  employee.posts = Codes(element, "posts", "POST",
                         [&](const std::string& code) { return plan.FindPost(code) != nullptr; });
  if (employee.posts.empty() && !employee.post.empty()) employee.posts = {employee.post};
  const auto isShift = [&](const std::string& code) { return plan.FindShift(code) != nullptr; };
  employee.shifts = Codes(element, "shifts", "SHIFT", isShift);
  if (element.Get("minHours")) employee.minHours = element.Hours("minHours");
  if (element.Get("maxHours")) employee.maxHours = element.Hours("maxHours");
  if (employee.minHours && employee.maxHours && *employee.maxHours < *employee.minHours)
    element.Fail("maxHours is less than minHours");
  if (element.Get("tolerance")) employee.tolerance = element.Hours("tolerance");
  if (element.Get("maxWeekends"))
    employee.maxWeekends = static_cast<int>(element.Whole("maxWeekends", 0, 0, 5300));
  employee.minDaysOff = static_cast<int>(element.Whole("minDaysOff", 1, 0, 366));
  for (const std::string& word : Words(element.Get("maxShifts").value_or(""))) {
    const size_t colon = word.rfind(':');
    const std::string code = word.substr(0, colon == std::string::npos ? 0 : colon);
    int64_t most = -1;
    if (colon != std::string::npos) {
      try {
        most = StrToInt64(word.substr(colon + 1));
      } catch (const Exception&) {
      }
    }
    if (!isShift(code) || most < 0 || most > 36600)
      element.Fail("maxShifts '" + word + "' is no SHIFT code and count (use N:5)");
    employee.maxShifts.emplace_back(code, static_cast<int>(most));
  }
}

TRequest ReadRequest(const TElement& request, const TPlan& plan) {
  TRequest made;
  made.day = TFecha(request.Date("date", true).Date());
  const bool on = request.Whole("on", 0, 0, 1) == 1, off = request.Whole("off", 0, 0, 1) == 1;
  if (on == off) request.Fail("takes on=\"1\" or off=\"1\"");
  made.on = on;
  if (const auto code = request.Get("shift")) {
    if (plan.FindShift(*code) == nullptr)
      request.Fail("shift '" + *code + "' is no SHIFT of the plan");
    made.shift = *code;
  } else if (on) {
    request.Fail("on=\"1\" needs shift");
  }
  made.weight = static_cast<int>(request.Whole("weight", 1, 1, 1000000));
  return made;
}

// A NEED spans its own hours or a shift's.
TNeed ReadNeed(const TElement& field, const TPlan& plan) {
  TNeed need;
  need.people = static_cast<int>(field.Whole("people", -1, 0, 100000));
  if (need.people < 0) field.Fail("needs people");
  if (const auto code = field.Get("shift")) {
    if (field.Get("from") || field.Get("hours"))
      field.Fail("takes shift or from and hours, not both");
    const TShift* shift = plan.FindShift(*code);
    if (shift == nullptr) field.Fail("shift '" + *code + "' is no SHIFT of the plan");
    need.shift = shift->code;
    need.startMinute = shift->startMinute;
    need.seconds = shift->seconds;
  } else {
    need.startMinute = field.Minute("from");
    need.seconds = field.Hours("hours");
  }
  need.days = ParseDays(field, field.Get("days").value_or("all"));
  need.missingWeight = static_cast<int>(field.Whole("missing", need.missingWeight, 0, 1000000));
  need.surplusWeight = static_cast<int>(field.Whole("surplus", need.surplusWeight, 0, 1000000));
  return need;
}

void ReadEmployee(const TXMLNode node, TPlan& plan, std::set<std::string>& ids) {
  TEmployee employee;
  employee.id = std::string(node.Attribute("id").value_or(""));
  if (employee.id.empty()) throw EConvertError("EMPLOYEE: needs id");
  CheckName("EMPLOYEE", "id", employee.id);
  const TElement element(
      node, "EMPLOYEE " + employee.id,
      {"id", "name", "post", "contract", "contractDays", "posts", "shifts", "minHours", "maxHours",
       "tolerance", "maxWeekends", "maxShifts", "minDaysOff"});
  if (!ids.insert(employee.id).second) element.Fail("appears twice");
  employee.name = element.Get("name").value_or(employee.id);
  CheckShownText(element, "name", employee.name);
  employee.post = element.Get("post").value_or("");
  if (!employee.post.empty() && plan.FindPost(employee.post) == nullptr)
    element.Fail("post '" + employee.post + "' is no POST of the plan");
  if (const auto contract = element.Get("contract")) {
    const auto seconds = ParseHours(*contract);
    if (!seconds) element.Fail("contract '" + *contract + "' is no number of hours a week");
    if (seconds->Value() > 7 * kSecondsPerDay)
      element.Fail("contract '" + *contract + "' is more than a week");
    employee.contractSeconds = *seconds;
    employee.hasContract = true;
  }
  if (const auto days = element.Get("contractDays")) {
    employee.contractDays = ParseDays(element, *days);
    if (employee.contractDays == 0) element.Fail("contractDays names no day");
  }
  ReadEngineLimits(element, plan, employee);
  std::map<std::string, int> counts;
  for (TXMLNode child = node.FirstChild(); child; child = child.NextSibling()) {
    const std::string name(child.Name());
    const std::string where =
        "EMPLOYEE " + employee.id + ": " + name + " " + std::to_string(++counts[name]);
    if (name == "RULE") {
      const TElement rule(child, where, {"shift", "every", "weekend", "from", "until", "stored"});
      TRule made;
      if (const auto stored = rule.Get("stored")) {
        if (rule.Get("shift")) rule.Fail("takes shift or stored, not both");
        if (const std::string why = StoredTextProblem(*stored); !why.empty())
          rule.Fail("stored '" + *stored + "' " + why);
        if (std::count(stored->begin(), stored->end(), ';') != 7)
          rule.Fail("stored '" + *stored + "' is no rule (8 fields)");
        made.stored = *stored;
      } else {
        made.shift = rule.Need("shift");
        if (plan.FindShift(made.shift) == nullptr)
          rule.Fail("shift '" + made.shift + "' is no SHIFT of the plan");
        made.every = ParseEvery(rule, rule.Get("every").value_or("week"));
        made.weekend = rule.Whole("weekend", 0, 0, 1) == 1;
        made.from = rule.Date("from", true);
        made.until = rule.Date("until", false);
        if (!made.until.IsZero() && made.until < made.from) rule.Fail("ends before it starts");
      }
      employee.rules.push_back(std::move(made));
    } else if (name == "ROTATION") {
      const TElement rotation(child, where, {"pattern", "from", "until"});
      TRotation made;
      made.pattern = Words(rotation.Need("pattern"));
      for (const std::string& code : made.pattern) {
        if (code != "-" && plan.FindShift(code) == nullptr)
          rotation.Fail("pattern names '" + code + "', which is no SHIFT of the plan (rest is -)");
      }
      made.from = rotation.Date("from", true);
      made.until = rotation.Date("until", false);
      if (!made.until.IsZero() && made.until < made.from) rotation.Fail("ends before it starts");
      employee.rotations.push_back(std::move(made));
    } else if (name == "LEAVE") {
      const TElement leave(child, where, {"from", "to", "type"});
      const TFecha from = leave.Date("from", true), to = leave.Date("to", true);
      if (to < from) leave.Fail("ends before it starts");
      // Whole days, both included.
      TItem made;
      made.start = TFecha(from.Date());
      made.seconds = TDuration(to.Date() + kSecondsPerDay - from.Date());
      made.type = leave.Type(tptLeave);
      employee.items.push_back(std::move(made));
    } else if (name == "ITEM") {
      employee.items.push_back(ReadItem(
          TElement(child, where, {"start", "hours", "type", "shift", "post", "by"}), plan));
    } else if (name == "REQUEST") {
      employee.requests.push_back(
          ReadRequest(TElement(child, where, {"date", "shift", "on", "off", "weight"}), plan));
    } else {
      element.Fail(name + " is none of RULE, ROTATION, LEAVE, ITEM, REQUEST");
    }
  }
  plan.employees.push_back(std::move(employee));
}

}  // namespace

namespace {

// The entry the index names, if it still holds `code`; else a walk.
template <class T>
const T* Find(const std::vector<T>& entries, const std::unordered_map<std::string, size_t>& index,
              std::string_view code) {
  const auto found = index.find(std::string(code));
  if (found != index.end() && found->second < entries.size() && entries[found->second].code == code)
    return &entries[found->second];
  // An index of every entry that lacks the code: no entry holds it (a code
  // changed in place since needs Reindex).
  if (found == index.end() && index.size() == entries.size()) return nullptr;
  for (const T& entry : entries) {
    if (entry.code == code) return &entry;
  }
  return nullptr;
}

template <class T>
void Index(const std::vector<T>& entries, std::unordered_map<std::string, size_t>& index) {
  index.clear();
  index.reserve(entries.size());
  for (size_t at = 0; at < entries.size(); ++at) index.emplace(entries[at].code, at);
}

}  // namespace

const TShift* TPlan::FindShift(std::string_view code) const {
  return Find(shifts, shiftIndex_, code);
}

const TPost* TPlan::FindPost(std::string_view code) const { return Find(posts, postIndex_, code); }

void TPlan::Reindex() {
  Index(shifts, shiftIndex_);
  Index(posts, postIndex_);
}

TPlan ReadPlan(std::string_view xml) {
  TXMLDocument document;
  document.LoadFromXML(xml);
  const TXMLNode root = document.DocumentElement();
  if (root.Name() != "PLAN") {
    throw EConvertError("is no plan document (its root is " + std::string(root.Name()) +
                        ", not PLAN)");
  }
  TPlan plan;
  // Shifts, then posts, then the rest: needs name shifts and employees name
  // both, wherever they stand.
  for (TXMLNode node = root.FirstChild(); node; node = node.NextSibling()) {
    if (node.Name() != "SHIFT") continue;
    TShift shift;
    shift.code = std::string(node.Attribute("code").value_or(""));
    if (shift.code.empty()) throw EConvertError("SHIFT: needs code");
    CheckName("SHIFT", "code", shift.code);
    const TElement element(node, "SHIFT " + shift.code, {"code", "start", "hours", "type", "name"});
    if (shift.code == "-" || shift.code.find(' ') != std::string::npos)
      element.Fail("code '" + shift.code + "' may not be - nor hold a blank");
    if (!plan.shiftIndex_.emplace(shift.code, plan.shifts.size()).second)
      element.Fail("appears twice");
    shift.name = element.Get("name").value_or(shift.code);
    CheckShownText(element, "name", shift.name);
    shift.startMinute = element.Minute("start");
    shift.seconds = element.Hours("hours");
    shift.type = element.Type(tptTimetable);
    plan.shifts.push_back(std::move(shift));
  }
  for (TXMLNode node = root.FirstChild(); node; node = node.NextSibling()) {
    const std::string name(node.Name());
    if (name == "POST") {
      TPost post{std::string(node.Attribute("code").value_or("")), "", {}};
      if (post.code.empty()) throw EConvertError("POST: needs code");
      CheckName("POST", "code", post.code);
      const TElement element(node, "POST " + post.code, {"code", "name", "worksHolidays"});
      post.name = element.Get("name").value_or("");
      CheckShownText(element, "name", post.name);
      post.worksHolidays = element.Whole("worksHolidays", 0, 0, 1) == 1;
      if (!plan.postIndex_.emplace(post.code, plan.posts.size()).second)
        element.Fail("appears twice");
      int count = 0;
      for (TXMLNode need = node.FirstChild(); need; need = need.NextSibling()) {
        const std::string where = "POST " + post.code + ": NEED " + std::to_string(++count);
        if (need.Name() != "NEED") element.Fail(std::string(need.Name()) + " is no NEED");
        post.needs.push_back(
            ReadNeed(TElement(need, where,
                              {"people", "from", "hours", "days", "shift", "missing", "surplus"}),
                     plan));
      }
      plan.posts.push_back(std::move(post));
    }
  }
  std::set<std::string> ids;
  int holidays = 0, limits = 0;
  for (TXMLNode node = root.FirstChild(); node; node = node.NextSibling()) {
    const std::string name(node.Name());
    if (name == "EMPLOYEE") {
      ReadEmployee(node, plan, ids);
    } else if (name == "HOLIDAY") {
      const TElement element(node, "HOLIDAY " + std::to_string(++holidays), {"date"});
      plan.holidays.push_back(TFecha(element.Date("date", true).Date()));
    } else if (name == "LIMITS") {
      const TElement element(node, "LIMITS", {"minRest", "maxWeek", "maxDays"});
      if (++limits > 1) element.Fail("appears twice");
      if (element.Get("minRest")) plan.limits.minRestSeconds = element.Hours("minRest");
      if (element.Get("maxWeek")) plan.limits.maxWeekSeconds = element.Hours("maxWeek");
      plan.limits.maxConsecutiveDays =
          static_cast<int>(element.Whole("maxDays", plan.limits.maxConsecutiveDays, 1, 366));
    } else if (name != "POST" && name != "SHIFT") {
      throw EConvertError(name + " is none of POST, SHIFT, EMPLOYEE, HOLIDAY, LIMITS");
    }
  }
  return plan;
}

}  // namespace cuadrante::roster
