#include "cuadrante/roster/calendarimport.h"

#include <libical/ical.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <set>
#include <utility>

#include "cuadrante/internal/libicalsupport.h"
#include "cuadrante/roster/chrono.h"
#include "cuadrante/roster/range.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/files.h"
#include "cuadrante/runtime/filesystem.h"
#include "cuadrante/runtime/sysutils.h"
#include "cuadrante/time/basicbox.h"

namespace cuadrante::roster {
namespace {

constexpr int64_t kDay = 86400;

using detail::TComponentFree;
using detail::Text;
using detail::TIteratorFree;
int64_t Wall(const icaltimetype& time) { return detail::WrittenWall(time); }

// How one event's times become the wall clock of the target zone.
class TTimeReader {
 public:
  TTimeReader(const TZone* target, icalcomponent* calendar, const icaltimetype& start,
              icalproperty* startProperty)
      : target_(target) {
    if (startProperty == nullptr) return;
    if (icalparameter* tzid = icalproperty_get_first_parameter(startProperty, ICAL_TZID_PARAMETER))
      tzid_ = Text(icalparameter_get_tzid(tzid));
    zoned_ = !start.is_date && (icaltime_is_utc(start) || start.zone != nullptr || !tzid_.empty());
    // A zone the calendar defines is placed by its VTIMEZONE. One it only
    // names is placed by the tz database, the rules that --tz and the export
    // follow, and by libical's own copy only where the database lacks it.
    if (!tzid_.empty() && icalcomponent_get_timezone(calendar, tzid_.c_str()) == nullptr) {
      try {
        named_.emplace(TZone::Find(tzid_));
      } catch (const EConvertError&) {
        // libical's own zone, if it has one, is better than none.
      }
    }
  }

  int64_t operator()(const icaltimetype& time) const {
    if (target_ == nullptr || !zoned_ || time.is_date) return Wall(time);
    if (named_ && !icaltime_is_utc(time))
      return target_->ToWall(named_->ToUtc(TFecha(Wall(time)))).Value();
    if (icaltime_is_utc(time) || time.zone != nullptr) {
      // libical places the time by the calendar's own VTIMEZONE, or by UTC.
      return target_->ToWall(icaltime_as_timet_with_zone(time, time.zone)).Value();
    }
    // Neither the calendar, nor the tz database, nor libical knows the zone.
    throw EConvertError("TZID '" + tzid_ + "' is neither in the calendar nor in the tz database");
  }

 private:
  const TZone* target_;
  std::optional<TZone> named_;
  std::string tzid_;
  bool zoned_ = false;
};

// The value of the X- property `name`, or nothing.
std::optional<std::string> XValue(icalcomponent* event, std::string_view name) {
  for (icalproperty* p = icalcomponent_get_first_property(event, ICAL_X_PROPERTY); p != nullptr;
       p = icalcomponent_get_next_property(event, ICAL_X_PROPERTY)) {
    if (AnsiCompareText(Text(icalproperty_get_x_name(p)), name) == 0)
      return Text(icalproperty_get_x(p));
  }
  return std::nullopt;
}

TTimePointType TypeOf(icalcomponent* event, const TImportOptions& options) {
  if (const auto text = XValue(event, "X-CUADRANTE-TYPE")) {
    const int type = StrToIntDef(*text, -1);
    if (type >= 0 && type < kTimePointTypeCount) return static_cast<TTimePointType>(type);
  }
  for (icalproperty* p = icalcomponent_get_first_property(event, ICAL_CATEGORIES_PROPERTY);
       p != nullptr; p = icalcomponent_get_next_property(event, ICAL_CATEGORIES_PROPERTY)) {
    std::vector<std::string> names;
    const std::string value = Text(icalproperty_get_categories(p));
    for (size_t from = 0; from <= value.size();) {
      const size_t comma = std::min(value.find(',', from), value.size());
      names.push_back(value.substr(from, comma - from));
      from = comma + 1;
    }
    for (int type = 1; type < kTimePointTypeCount; ++type) {
      const auto kind = static_cast<TTimePointType>(type);
      const std::string label = options.label ? options.label(kind) : PlainTypeLabel(kind);
      for (const std::string& name : names)
        if (!label.empty() && AnsiCompareText(name, label) == 0) return kind;
    }
  }
  return options.defaultType;
}

void RaiseParseErrors(icalcomponent* event, const std::string& uid) {
  icalproperty* error = icalcomponent_get_first_property(event, ICAL_XLICERROR_PROPERTY);
  if (error == nullptr) return;
  throw EConvertError("event '" + uid + "': " + Text(icalproperty_get_xlicerror(error)));
}

// The starts of one event's occurrences up to the range's end, as written.
std::vector<icaltimetype> Starts(icalcomponent* event, const icaltimetype& start, int64_t seconds,
                                 int64_t rangeEnd, const TImportOptions& options,
                                 const std::string& uid) {
  std::vector<icaltimetype> starts;
  icalproperty* rule = icalcomponent_get_first_property(event, ICAL_RRULE_PROPERTY);
  if (rule == nullptr) {
    starts.push_back(start);
  } else {
    std::unique_ptr<icalrecur_iterator, TIteratorFree> steps(
        icalrecur_iterator_new(icalproperty_get_rrule(rule), start));
    if (!steps) throw EConvertError("event '" + uid + "': its RRULE cannot be followed");
    size_t walked = 0;
    for (icaltimetype next = icalrecur_iterator_next(steps.get()); !icaltime_is_null_time(next);
         next = icalrecur_iterator_next(steps.get())) {
      // Wall-clock bounds are enough here: a zone moves a time by under a day.
      if (Wall(next) >= rangeEnd + kDay) break;
      if (++walked > options.maxOccurrences) {
        throw EConvertError("event '" + uid + "': its RRULE has more than " +
                            std::to_string(options.maxOccurrences) + " occurrences to walk");
      }
      if (Wall(next) + seconds + kDay > 0) starts.push_back(next);
    }
  }
  for (icalproperty* p = icalcomponent_get_first_property(event, ICAL_RDATE_PROPERTY); p != nullptr;
       p = icalcomponent_get_next_property(event, ICAL_RDATE_PROPERTY)) {
    const icaldatetimeperiodtype date = icalproperty_get_rdate(p);
    icaltimetype time = !icaltime_is_null_time(date.time) ? date.time : date.period.start;
    if (time.zone == nullptr) time.zone = start.zone;
    starts.push_back(time);
  }
  // A DATE EXDATE of a timed event takes out every start of that day.
  std::set<int64_t> excludedTimes;
  std::set<int64_t> excludedDays;
  for (icalproperty* p = icalcomponent_get_first_property(event, ICAL_EXDATE_PROPERTY);
       p != nullptr; p = icalcomponent_get_next_property(event, ICAL_EXDATE_PROPERTY)) {
    icaltimetype time = icalproperty_get_exdate(p);
    // An EXDATE in UTC names the same instant as a zoned start.
    if (icaltime_is_utc(time) && start.zone != nullptr && !icaltime_is_utc(start))
      time = icaltime_convert_to_zone(time, const_cast<icaltimezone*>(start.zone));
    if (time.is_date && !start.is_date) {
      excludedDays.insert(Wall(time) / kDay);
    } else {
      excludedTimes.insert(Wall(time));
    }
  }
  std::erase_if(starts, [&](const icaltimetype& time) {
    return excludedTimes.count(Wall(time)) != 0 || excludedDays.count(Wall(time) / kDay) != 0;
  });
  return starts;
}

}  // namespace

std::vector<TImportedEvent> ReadCalendar(std::string_view ics, TFecha firstDay, TFecha lastDay,
                                         const TImportOptions& options) {
  const std::string text(ics);  // libical reads a NUL-terminated text
  std::unique_ptr<icalcomponent, TComponentFree> root(icalparser_parse_string(text.c_str()));
  if (!root || icalcomponent_isa(root.get()) != ICAL_VCALENDAR_COMPONENT)
    throw EConvertError("the text is no iCalendar calendar (no BEGIN:VCALENDAR)");
  const TRange range = DaysRange(firstDay, lastDay);

  // Occurrences that a RECURRENCE-ID event moves, by UID and original start.
  std::set<std::pair<std::string, int64_t>> moved;
  for (icalcomponent* e = icalcomponent_get_first_component(root.get(), ICAL_VEVENT_COMPONENT);
       e != nullptr; e = icalcomponent_get_next_component(root.get(), ICAL_VEVENT_COMPONENT)) {
    if (icalcomponent_get_first_property(e, ICAL_RECURRENCEID_PROPERTY) != nullptr)
      moved.insert({Text(icalcomponent_get_uid(e)), Wall(icalcomponent_get_recurrenceid(e))});
  }

  std::vector<TImportedEvent> out;
  for (icalcomponent* e = icalcomponent_get_first_component(root.get(), ICAL_VEVENT_COMPONENT);
       e != nullptr; e = icalcomponent_get_next_component(root.get(), ICAL_VEVENT_COMPONENT)) {
    const std::string uid = Text(icalcomponent_get_uid(e));
    RaiseParseErrors(e, uid);
    if (icalcomponent_get_status(e) == ICAL_STATUS_CANCELLED) continue;
    icalproperty* startProperty = icalcomponent_get_first_property(e, ICAL_DTSTART_PROPERTY);
    if (startProperty == nullptr) throw EConvertError("event '" + uid + "' has no DTSTART");
    const icaltimetype start = icalcomponent_get_dtstart(e);
    if (icaltime_is_null_time(start) || !icaltime_is_valid_time(start))
      throw EConvertError("event '" + uid + "' has a DTSTART that is no time");

    // The length on the wall clock of the event's own zone.
    int64_t seconds = start.is_date ? kDay : 0;
    if (icalproperty* end = icalcomponent_get_first_property(e, ICAL_DTEND_PROPERTY)) {
      seconds = Wall(icalproperty_get_dtend(end)) - Wall(start);
    } else if (icalproperty* length = icalcomponent_get_first_property(e, ICAL_DURATION_PROPERTY)) {
      seconds = icaldurationtype_as_int(icalproperty_get_duration(length));
    }
    if (seconds < 0) throw EConvertError("event '" + uid + "' ends before it starts");

    const bool isMove = icalcomponent_get_first_property(e, ICAL_RECURRENCEID_PROPERTY) != nullptr;
    const TTimeReader wall(options.zone, root.get(), start, startProperty);
    const TTimePointType type = TypeOf(e, options);
    const std::string summary = Text(icalcomponent_get_summary(e));
    const std::string code = XValue(e, "X-CUADRANTE-SHIFT").value_or("");
    for (const icaltimetype& at : Starts(e, start, seconds, range.end, options, uid)) {
      if (!isMove && moved.count({uid, Wall(at)}) != 0) continue;
      icaltimetype end = icaltime_add(at, icaldurationtype_from_int(static_cast<int>(seconds)));
      const int64_t first = wall(at);
      const int64_t last = wall(end);
      TBasicPoint probe{TFecha(first), TDuration(last - first)};
      if (!Belongs(probe, range)) continue;
      out.push_back({TFecha(first), last - first, type, summary, code, uid});
    }
  }
  std::stable_sort(out.begin(), out.end(), [](const TImportedEvent& a, const TImportedEvent& b) {
    return a.start != b.start ? a.start < b.start : a.seconds < b.seconds;
  });
  return out;
}

namespace {

// A text as a field of a box's stored text, " " for none as a new box has.
std::string BoxField(std::string_view text) {
  std::string field;
  for (const char c : text) {
    if (c == ';') {
      field += ',';
    } else if (static_cast<unsigned char>(c) < 0x20) {
      field += ' ';
    } else {
      field += c;
    }
  }
  const size_t first = field.find_first_not_of(' ');
  if (first == std::string::npos) return " ";
  return field.substr(first, field.find_last_not_of(' ') - first + 1);
}

// A zone name from a path into a zoneinfo folder ("/usr/share/zoneinfo/
// Europe/Madrid", "../usr/share/zoneinfo/posix/Europe/Madrid"), or the text.
std::string ZoneNameOf(std::string_view text) {
  if (const size_t at = text.rfind("zoneinfo/"); at != std::string_view::npos) {
    text.remove_prefix(at + 9);
    for (const std::string_view variant : {"posix/", "right/"})
      if (text.substr(0, variant.size()) == variant) text.remove_prefix(variant.size());
  }
  return std::string(text);
}

std::optional<TZone> Known(const std::string& name) {
  if (name.empty()) return std::nullopt;
  try {
    return TZone::Find(name);
  } catch (const EConvertError&) {
    return std::nullopt;
  }
}

}  // namespace

void AddAsBoxes(std::span<const TImportedEvent> events, TBasicPointMgr& set) {
  for (const TImportedEvent& event : events) {
    auto box = std::make_unique<TBasicBox>();
    box->SetInicio(event.start);
    box->SetDuration(TDuration(event.seconds));
    box->Type = event.type;
    box->RestartEnd();
    box->RestartColor();
    const std::string code = BoxField(event.code);
    const std::string summary = BoxField(event.summary);
    std::string_view rest = summary;
    // "M Mañana" with code M keeps "Mañana": the export puts the code back.
    if (code != " " && rest.substr(0, code.size()) == code &&
        (rest.size() == code.size() || rest[code.size()] == ' '))
      rest.remove_prefix(std::min(rest.size(), code.size() + 1));
    box->SetCode(code);
    box->SetDescription(BoxField(rest));
    set.Add(box.release());
  }
}

TZoneChoice ChooseLocalZone(const char* tz, std::string_view localtimeLink,
                            std::string_view timezoneFile) {
  std::string unknown;  // what named no zone, for the reason
  if (tz != nullptr) {
    std::string_view name = tz;
    if (!name.empty() && name.front() == ':') name.remove_prefix(1);
    // glibc reads an empty TZ as UTC.
    if (name.empty()) return {TZone::Find("UTC"), "TZ is empty: UTC"};
    if (auto zone = Known(ZoneNameOf(name))) return {std::move(*zone), "TZ"};
    unknown = "TZ '" + std::string(tz) + "' is no zone of the tz database; ";
  }
  if (auto zone = Known(ZoneNameOf(localtimeLink)))
    return {std::move(*zone), unknown + "/etc/localtime"};
  std::string_view recorded = timezoneFile;
  while (!recorded.empty() && std::isspace(static_cast<unsigned char>(recorded.back())))
    recorded.remove_suffix(1);
  if (auto zone = Known(std::string(recorded)))
    return {std::move(*zone), unknown + "/etc/timezone"};
  return {TZone::Find("UTC"), unknown + "nothing names the system's zone: UTC"};
}

TZoneChoice LocalZone() {
  std::string link;
  char target[4096];
  const ssize_t length = FileSystem().ReadLink("/etc/localtime", target, sizeof target);
  if (length > 0 && static_cast<size_t>(length) < sizeof target)
    link.assign(target, static_cast<size_t>(length));
  std::string recorded;
  try {
    if (link.empty() && FileExists("/etc/timezone"))
      recorded = ReadWholeFile("/etc/timezone", 4096);
  } catch (const Exception&) {
    // Unreadable is as good as absent: UTC follows.
  }
  return ChooseLocalZone(std::getenv("TZ"), link, recorded);
}

}  // namespace cuadrante::roster
