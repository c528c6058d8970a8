#include "cuadrante/roster/icalendar.h"

#include <libical/ical.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <set>
#include <tuple>
#include <unordered_map>

#include "cuadrante/points/range.h"
#include "cuadrante/roster/chrono.h"
#include "cuadrante/roster/dayhours.h"
#include "cuadrante/roster/libicalsupport.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/sysutils.h"
#include "cuadrante/time/basicbox.h"
#include "cuadrante/vocabulary/basicdefines.h"

namespace cuadrante::roster {
namespace {

// Seconds since 1970 as civil date and time, without any zone.
struct TCivil {
  int year;
  unsigned month, day;
  int64_t secondOfDay;
};

TCivil CivilOf(int64_t secondsSince1970) {
  const int64_t days = secondsSince1970 >= 0
                           ? secondsSince1970 / kSecondsPerDay
                           : -((-secondsSince1970 + kSecondsPerDay - 1) / kSecondsPerDay);
  const std::chrono::year_month_day ymd{std::chrono::sys_days(std::chrono::days(days))};
  return {static_cast<int>(ymd.year()), static_cast<unsigned>(ymd.month()),
          static_cast<unsigned>(ymd.day()), secondsSince1970 - days * kSecondsPerDay};
}

int64_t Since1970(TFecha wall) { return wall.Value() - kUnixEpochDays * kSecondsPerDay; }

std::string DateText(const TCivil& c) {
  char text[16];
  std::snprintf(text, sizeof text, "%04d%02u%02u", c.year, c.month, c.day);
  return text;
}

std::string DateTimeText(const TCivil& c) {
  char text[24];
  std::snprintf(text, sizeof text, "%04d%02u%02uT%02d%02d%02d", c.year, c.month, c.day,
                static_cast<int>(c.secondOfDay / 3600), static_cast<int>(c.secondOfDay / 60 % 60),
                static_cast<int>(c.secondOfDay % 60));
  return text;
}

std::string UtcText(std::chrono::sys_seconds utc) {
  return DateTimeText(CivilOf(utc.time_since_epoch().count())) + "Z";
}

std::string OffsetText(int seconds) {
  const char sign = seconds < 0 ? '-' : '+';
  const int magnitude = seconds < 0 ? -seconds : seconds;
  char text[16];
  if (magnitude % 60 != 0) {
    std::snprintf(text, sizeof text, "%c%02d%02d%02d", sign, magnitude / 3600, magnitude / 60 % 60,
                  magnitude % 60);
  } else {
    std::snprintf(text, sizeof text, "%c%02d%02d", sign, magnitude / 3600, magnitude / 60 % 60);
  }
  return text;
}

bool AllDay(const TCalendarEvent& event) {
  return event.seconds > TDuration() && event.start.Value() % kSecondsPerDay == 0 &&
         event.seconds.Value() % kSecondsPerDay == 0;
}

// How a wall-clock time is written on a property: a date for all-day events,
// a zoned or floating date-time otherwise. `name` is the property.
std::string TimeProperty(std::string_view name, TFecha wall, bool allDay, const TZone* zone) {
  const TCivil civil = CivilOf(Since1970(wall));
  if (allDay) return std::string(name) + ";VALUE=DATE:" + DateText(civil);
  if (zone != nullptr)
    return std::string(name) + ";TZID=" + zone->Name() + ":" + DateTimeText(civil);
  return std::string(name) + ":" + DateTimeText(civil);
}

// UNTIL takes the form of DTSTART, but in UTC when DTSTART carries a zone.
std::string UntilText(TFecha wall, bool allDay, const TZone* zone) {
  if (allDay) return DateText(CivilOf(Since1970(wall)));
  if (zone != nullptr) return UtcText(zone->ToUtc(wall));
  return DateTimeText(CivilOf(Since1970(wall)));
}

// Folds `line` onto the end of `out`: the calendar is written in one buffer.
void AppendFolded(std::string& out, std::string_view line) {
  size_t width = 0;  // octets on the current physical line
  for (size_t i = 0; i < line.size();) {
    // The whole UTF-8 character moves to the next line if it does not fit.
    size_t length = 1;
    const auto lead = static_cast<unsigned char>(line[i]);
    if (lead >= 0xF0) {
      length = 4;
    } else if (lead >= 0xE0) {
      length = 3;
    } else if (lead >= 0xC0) {
      length = 2;
    }
    length = std::min(length, line.size() - i);
    if (width + length > 75) {
      out += "\r\n ";
      width = 1;
    }
    out.append(line.substr(i, length));
    width += length;
    i += length;
  }
  out += "\r\n";
}

void Line(std::string& out, std::string_view line) { AppendFolded(out, line); }

void WriteTimeZone(std::string& out, const TZone& zone, std::chrono::sys_seconds fromUtc,
                   std::chrono::sys_seconds toUtc) {
  Line(out, "BEGIN:VTIMEZONE");
  Line(out, "TZID:" + zone.Name());
  // The offset in force where the events begin, then every change up to their
  // end: a reader needs no rule of its own to place any of the events.
  const int offset = zone.OffsetAt(fromUtc);
  const std::vector<TZoneChange> changes = zone.Changes(fromUtc, toUtc);
  auto observance = [&](bool daylight, std::chrono::sys_seconds onset, int offsetThen, int after,
                        const std::string& name) {
    const char* kind = daylight ? "DAYLIGHT" : "STANDARD";
    Line(out, std::string("BEGIN:") + kind);
    // DTSTART of an observance is the onset on the wall clock of the offset before it.
    Line(out, "DTSTART:" + DateTimeText(CivilOf(onset.time_since_epoch().count() + offsetThen)));
    Line(out, "TZOFFSETFROM:" + OffsetText(offsetThen));
    Line(out, "TZOFFSETTO:" + OffsetText(after));
    if (!name.empty()) Line(out, "TZNAME:" + EscapeText(name));
    Line(out, std::string("END:") + kind);
  };
  observance(zone.DaylightAt(fromUtc), fromUtc, offset, offset, zone.AbbreviationAt(fromUtc));
  for (const TZoneChange& change : changes) {
    observance(change.daylightAfter, change.utc, change.offsetBefore, change.offsetAfter,
               change.abbreviation);
  }
  Line(out, "END:VTIMEZONE");
}

// A length as RFC 5545 says it: whole days, which are nominal (the same
// clock time on a later day), then the seconds left.
std::string DurationText(TDuration length) {
  const int64_t seconds = length.Value();
  std::string text = "P";
  if (seconds >= kSecondsPerDay) text += std::to_string(seconds / kSecondsPerDay) + "D";
  if (seconds % kSecondsPerDay != 0) text += "T" + std::to_string(seconds % kSecondsPerDay) + "S";
  return text;
}

constexpr const char* kWeekdays = "MO,TU,WE,TH,FR";
// The last year libical's recurrence iterator reaches.
constexpr int kLastRuleYear = 2582;

void WriteEvent(std::string& out, const TCalendarEvent& event, const TCalendarOptions& options) {
  const bool allDay = AllDay(event);
  Line(out, "BEGIN:VEVENT");
  Line(out, "UID:" + event.uid);
  Line(out, "DTSTAMP:" + UtcText(options.stampUtc));
  Line(out, TimeProperty("DTSTART", event.start, allDay, options.zone));
  // An item of no length has no DTEND: RFC 5545 wants DTEND after DTSTART.
  // One that ends after 9999 (an all-day event on 31/12/9999 ends on the
  // first of the year 10000, which no date can say) gives its DURATION.
  const TFecha end = event.start + event.seconds;
  if (event.seconds > TDuration() && CivilOf(Since1970(end)).year <= 9999) {
    Line(out, TimeProperty("DTEND", end, allDay, options.zone));
  } else if (event.seconds > TDuration()) {
    Line(out, "DURATION:" + DurationText(event.seconds));
  }
  if (event.recurrence) {
    const TRecurrence& rule = *event.recurrence;
    std::string text =
        "RRULE:FREQ=" + std::string(kFrequencyNames[static_cast<int>(rule.frequency)]);
    if (rule.interval != 1) text += ";INTERVAL=" + std::to_string(rule.interval);
    if (rule.weekdaysOnly) text += std::string(";BYDAY=") + kWeekdays;
    text += ";UNTIL=" + UntilText(rule.until, allDay, options.zone);
    Line(out, text);
    for (const TFecha exception : rule.exceptions)
      Line(out, TimeProperty("EXDATE", exception, allDay, options.zone));
  }
  // SEQUENCE 0 is what a reader takes when there is none.
  if (event.sequence > 0) Line(out, "SEQUENCE:" + std::to_string(event.sequence));
  if (event.cancelled) Line(out, "STATUS:CANCELLED");
  Line(out, "SUMMARY:" + EscapeText(event.summary));
  // The engine's mark is a second category: a reader that shows one shows it,
  // and a change of the mark alone is a change (FollowPrevious counts it), so a
  // shift the planner takes over from the engine loses the mark on the phone.
  std::string categories = EscapeText(event.category);
  if (event.byEngine) categories += (categories.empty() ? "" : ",") + EscapeText(kEngineCategory);
  if (!categories.empty()) Line(out, "CATEGORIES:" + categories);
  if (event.transparent) Line(out, "TRANSP:TRANSPARENT");
  Line(out, "X-CUADRANTE-TYPE:" + std::to_string(static_cast<int>(event.type)));
  // The code in a property of its own: SUMMARY is for people, who may edit it.
  if (!event.shift.empty()) Line(out, "X-CUADRANTE-SHIFT:" + EscapeText(event.shift));
  Line(out, "END:VEVENT");
}

// The instants the events span, for the zone's changes.
std::pair<std::chrono::sys_seconds, std::chrono::sys_seconds> SpanUtc(
    std::span<const TCalendarEvent> events, const TZone& zone) {
  using std::chrono::sys_seconds;
  sys_seconds first = sys_seconds::max();
  sys_seconds last = sys_seconds::min();
  for (const TCalendarEvent& event : events) {
    first = std::min(first, zone.ToUtc(event.start));
    TFecha end = event.start + event.seconds;
    if (event.recurrence) end = event.recurrence->until + event.seconds;
    last = std::max(last, zone.ToUtc(end));
  }
  const std::chrono::seconds day(kSecondsPerDay);
  return {first - day, last + day};
}

std::string Label(const TTypeLabel& label, TTimePointType type) {
  return label ? label(type) : PlainTypeLabel(type);
}

TCalendarEvent EventOf(std::string_view scope, std::string_view what, TFecha start,
                       TDuration seconds, TTimePointType type, std::string summary,
                       const TTypeLabel& label) {
  TBasicPoint probe(start, seconds);
  probe.Type = type;
  TCalendarEvent event;
  event.uid = StableUid(scope, what, start);
  event.start = start;
  event.seconds = seconds;
  event.type = type;
  event.category = Label(label, type);
  event.summary = summary.empty() ? event.category : std::move(summary);
  event.transparent = KindOf(probe) == THoursKind::kAbsence;
  return event;
}

std::string Trimmed(const AnsiString& text) {
  const size_t first = text.find_first_not_of(' ');
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// The RFC 5545 frequency of a periodicity, and its interval.
std::optional<std::pair<TFrequency, int>> FrequencyOf(int periodicity) {
  switch (periodicity) {
    case tgWeek:
      return std::pair{TFrequency::kWeekly, 1};
    case tgFortnight:
      return std::pair{TFrequency::kWeekly, 2};
    case tgMonth:
      return std::pair{TFrequency::kMonthly, 1};
    case tgQuarter:
      return std::pair{TFrequency::kMonthly, 3};
    case tgYear:
      return std::pair{TFrequency::kYearly, 1};
    default:
      break;
  }
  // Every other positive periodicity steps a day.
  if (periodicity > 0) return std::pair{TFrequency::kDaily, 1};
  return std::nullopt;
}

}  // namespace

std::string EscapeText(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    switch (c) {
      case '\\':
      case ';':
      case ',':
        out += '\\';
        out += c;
        break;
      case '\r':
        // CRLF is one line end.
        if (i + 1 < text.size() && text[i + 1] == '\n') ++i;
        out += "\\n";
        break;
      case '\n':
        out += "\\n";
        break;
      default:
        // Other control characters are not allowed in a TEXT value.
        if (static_cast<unsigned char>(c) < 0x20 && c != '\t') break;
        out += c;
    }
  }
  return out;
}

std::string FoldLine(std::string_view line) {
  std::string out;
  out.reserve(line.size() + line.size() / 70 * 3 + 2);
  AppendFolded(out, line);
  return out;
}

namespace {

// FNV-1a over the texts, each closed by a byte none holds, in 16 hex digits.
std::string HashText(std::initializer_list<std::string_view> texts) {
  uint64_t hash = 14695981039346656037ull;
  for (const std::string_view text : texts) {
    for (const char c : text) {
      hash ^= static_cast<unsigned char>(c);
      hash *= 1099511628211ull;
    }
    hash ^= 0xFF;
    hash *= 1099511628211ull;
  }
  char digits[24];
  std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(hash));
  return digits;
}

}  // namespace

std::string StableUid(std::string_view scope, std::string_view what, TFecha start) {
  return HashText({scope, what}) + "-" + DateTimeText(CivilOf(Since1970(start))) + "@cuadrante";
}

std::string SlotUid(std::string_view scope, TFecha day, int ordinal) {
  // No "T" after the date: a slot's UID never equals an item's.
  return HashText({scope}) + "-" + DateText(CivilOf(Since1970(day))) + "-" +
         std::to_string(ordinal) + "@cuadrante";
}

std::string PlainTypeLabel(TTimePointType type) {
  return GetIncidenceTypeAsStr(static_cast<short>(type));
}

namespace {

// Stops a calendar as soon as it grows past `maxBytes` (none when 0).
void RefuseBeyond(const std::string& out, size_t maxBytes) {
  if (maxBytes == 0 || out.size() <= maxBytes) return;
  throw EConvertError("the calendar would be over " + std::to_string(maxBytes >> 20) +
                      " MiB, more than a calendar may hold to be read back; take fewer "
                      "people or a shorter range");
}

}  // namespace

std::string WriteCalendar(std::span<const TCalendarEvent> events, const TCalendarOptions& options) {
  std::string out;
  const size_t guess = events.size() * 320 + 256;
  out.reserve(options.maxBytes > 0 ? std::min(guess, options.maxBytes) : guess);
  Line(out, "BEGIN:VCALENDAR");
  Line(out, "VERSION:2.0");
  Line(out, "PRODID:-//cuadrante//roster//ES");
  Line(out, "CALSCALE:GREGORIAN");
  if (options.zone != nullptr && !events.empty()) {
    const auto [fromUtc, toUtc] = SpanUtc(events, *options.zone);
    WriteTimeZone(out, *options.zone, fromUtc, toUtc);
  }
  for (const TCalendarEvent& event : events) {
    WriteEvent(out, event, options);
    RefuseBeyond(out, options.maxBytes);
  }
  Line(out, "END:VCALENDAR");
  RefuseBeyond(out, options.maxBytes);
  return out;
}

std::vector<TCalendarEvent> EventsOfPoints(const TBasicPointMgr& points, TFecha firstDay,
                                           TFecha lastDay, std::string_view scope,
                                           const TTypeLabel& label) {
  const TRange range = DaysRange(firstDay, lastDay);
  std::vector<TCalendarEvent> events;
  for (const TBasicPoint* point : points.Points) {
    if (!Belongs(*point, range)) continue;
    std::string summary;
    std::string what = std::to_string(static_cast<int>(point->Type));
    if (const auto* box = dynamic_cast<const TBasicBox*>(point)) {
      const std::string code = Trimmed(box->Code);
      const std::string description = Trimmed(box->Description);
      summary = code.empty() ? description : description.empty() ? code : code + " " + description;
      what += " " + code;
    }
    // An item of a document is what it is: moved, it is another item, and
    // keeps the UID of its start.
    events.push_back(EventOf(scope, what, point->GetInicio(), TDuration(point->GetDurationValue()),
                             point->Type, std::move(summary), label));
    if (const auto* box = dynamic_cast<const TBasicBox*>(point))
      events.back().shift = Trimmed(box->Code);
  }
  return events;
}

TRuleEvents EventsOfRule(const TCyclePoint& rule, TFecha firstDay, TFecha lastDay, bool recur,
                         std::string_view scope, const TTypeLabel& label, const TZone* zone) {
  TCyclePointMgr rules;
  rules.RangeStart = rules.RangeEnd = TFecha();  // the range is ours, not the manager's
  TCyclePoint own(&rule);  // the manager and the stored form want a mutable rule
  rules.AddCycle(&own, nullptr, false);
  ExpandRange(rules, firstDay, lastDay, false);
  std::vector<TFecha> starts;
  starts.reserve(rules.Points.size());
  for (const TBasicPoint* occurrence : rules.Points) starts.push_back(occurrence->GetInicio());

  TRuleEvents result;
  const std::string what = "rule " + own.WriteToStr();
  const auto frequency = FrequencyOf(rule.Periodicity);
  // libical's iterator follows no rule past 2582: later rules go as events.
  const bool followable = !starts.empty() && starts.back().Year() <= kLastRuleYear;
  if (recur && frequency && starts.size() >= 2 && !followable) {
    result.why = "libical follows no rule past " + std::to_string(kLastRuleYear) + "; written as " +
                 std::to_string(starts.size()) + " events";
  }
  if (recur && frequency && starts.size() >= 2 && followable) {
    // The steps of the library from the first occurrence to the last; RRULE
    // says the same only while every step keeps the day (and for years the
    // month) of the first, since the library stays on a day it clamped to.
    std::vector<TFecha> steps{starts.front()};
    while (steps.back() < starts.back()) steps.push_back(steps.back().IncDays(rule.Periodicity));
    const TFecha first = starts.front();
    const bool monthly = frequency->first == TFrequency::kMonthly;
    const bool yearly = frequency->first == TFrequency::kYearly;
    const bool exact =
        steps.back() == starts.back() && std::all_of(steps.begin(), steps.end(), [&](TFecha step) {
          return (!monthly && !yearly) ||
                 (step.Day() == first.Day() && (!yearly || step.Month() == first.Month()));
        });
    const auto skipped =
        zone == nullptr ? steps.end() : std::find_if(steps.begin(), steps.end(), [&](TFecha step) {
          return zone->Kind(step) == TWallKind::kNonexistent;
        });
    if (exact && skipped != steps.end()) {
      char why[200];
      std::snprintf(why, sizeof why,
                    "it steps on %s, which %s skips, and readers such as libical then move the "
                    "next occurrence too; written as %zu events",
                    skipped->ToString("yyyy-mm-dd hh:nn").c_str(), zone->Name().c_str(),
                    starts.size());
      result.why = why;
    }
    if (exact && skipped == steps.end()) {
      TCalendarEvent event = EventOf(scope, what, rule.GetInicio(),
                                     TDuration(rule.GetDurationValue()), rule.Type, "", label);
      event.start = first;
      TRecurrence recurrence;
      recurrence.frequency = frequency->first;
      recurrence.interval = frequency->second;
      recurrence.until = starts.back();
      // A daily rule without weekends is said with BYDAY; other rules name the
      // weekend steps they skip.
      recurrence.weekdaysOnly = frequency->first == TFrequency::kDaily && !rule.WithWeekend;
      if (!recurrence.weekdaysOnly) {
        const std::set<int64_t> made(starts.begin(), starts.end());
        for (const TFecha step : steps)
          if (made.count(step.Value()) == 0) recurrence.exceptions.push_back(step);
      }
      event.recurrence = std::move(recurrence);
      result.events.push_back(std::move(event));
      result.recurring = true;
      return result;
    }
    if (!exact) {
      char why[160];
      std::snprintf(why, sizeof why,
                    "a rule from day %u stays on the day it was clamped to, which RRULE cannot "
                    "say; written as %zu events",
                    rule.GetInicio().Day(), starts.size());
      result.why = why;
    }
  }
  for (const TFecha start : starts) {
    result.events.push_back(
        EventOf(scope, what, start, TDuration(rule.GetDurationValue()), rule.Type, "", label));
  }
  return result;
}

namespace {

int64_t DayStart(TFecha at) {
  const int64_t value = at.Value();
  return (value >= 0 ? value / kSecondsPerDay : -((-value + kSecondsPerDay - 1) / kSecondsPerDay)) *
         kSecondsPerDay;
}

// The order slots count a day's events in: by start, then length, type and
// code, so that two rosters of one day agree whatever order they list ties in.
auto SlotKey(const TRosterItem& item) {
  return std::tie(item.start, item.seconds, item.type, item.code, item.source);
}

bool SlotOrder(const TRosterItem* a, const TRosterItem* b) { return SlotKey(*a) < SlotKey(*b); }

// Each kept item of a roster with its place among its day's events, from 1.
std::map<const TRosterItem*, int> Slots(const TPlan& plan, const TPersonRoster& roster,
                                        TFecha firstDay) {
  std::map<int64_t, std::vector<const TRosterItem*>> days;
  for (const TRosterItem& item : roster.items)
    if (!item.cancelled) days[DayStart(item.start)].push_back(&item);
  std::map<const TRosterItem*, int> slots;
  for (auto& [day, items] : days) {
    std::stable_sort(items.begin(), items.end(), SlotOrder);
    if (day >= firstDay.Value() || roster.employee == nullptr) {
      for (size_t i = 0; i < items.size(); ++i) slots[items[i]] = static_cast<int>(i) + 1;
      continue;
    }
    // A day before the range: the items that start earlier on it and end
    // before the range are not in the roster, yet they hold the first slots.
    const TPersonRoster whole = BuildRoster(plan, *roster.employee, TFecha(day), TFecha(day));
    std::vector<const TRosterItem*> all;
    for (const TRosterItem& item : whole.items)
      if (!item.cancelled && DayStart(item.start) == day) all.push_back(&item);
    std::stable_sort(all.begin(), all.end(), SlotOrder);
    std::vector<bool> taken(all.size(), false);
    int beyond = static_cast<int>(all.size());
    for (const TRosterItem* item : items) {
      size_t at = 0;
      while (at < all.size() && (taken[at] || SlotKey(*all[at]) != SlotKey(*item))) ++at;
      if (at < all.size()) {
        taken[at] = true;
        slots[item] = static_cast<int>(at) + 1;
      } else {
        slots[item] = ++beyond;  // never another event's slot
      }
    }
  }
  return slots;
}

}  // namespace

std::vector<TCalendarEvent> EventsOfRoster(const TPlan& plan, const TPersonRoster& roster,
                                           bool withName, const TTypeLabel& label,
                                           TFecha firstDay) {
  std::vector<TCalendarEvent> events;
  events.reserve(roster.items.size());
  const std::string scope = roster.employee != nullptr ? roster.employee->id : "";
  const std::map<const TRosterItem*, int> slots = Slots(plan, roster, firstDay);
  for (const TRosterItem& item : roster.items) {
    // Work under leave is not worked: the time is not busy.
    if (item.cancelled) continue;
    std::string summary;
    if (!item.code.empty()) {
      const TShift* shift = plan.FindShift(item.code);
      summary = item.code;
      if (shift != nullptr && !shift->name.empty()) summary += " " + shift->name;
    }
    if (summary.empty()) summary = Label(label, item.type);
    if (withName && roster.employee != nullptr) {
      const std::string& name =
          roster.employee->name.empty() ? roster.employee->id : roster.employee->name;
      summary = name + ": " + summary;
    }
    TCalendarEvent event =
        EventOf(scope, "", item.start, item.seconds, item.type, std::move(summary), label);
    event.uid = SlotUid(scope, TFecha(DayStart(item.start)), slots.at(&item));
    event.shift = item.code;
    event.byEngine = item.byEngine;
    events.push_back(std::move(event));
  }
  return events;
}

namespace {

using detail::TComponentPtr;
using detail::Text;
using detail::WrittenWall;
using detail::XValue;

// An old time on the new calendar's clock: a zoned or UTC time moves to the
// wall clock of `zone`; without one, or for a floating time, as written.
int64_t OldWall(const icaltimetype& time, const TZone* zone) {
  if (zone != nullptr && !time.is_date && (icaltime_is_utc(time) || time.zone != nullptr))
    return zone
        ->ToWall(std::chrono::sys_seconds(
            std::chrono::seconds(icaltime_as_timet_with_zone(time, time.zone))))
        .Value();
  return WrittenWall(time);
}

// What an event says, as libical writes it back, less what names and stamps
// it: two events differ for a calendar when these texts do. Both sides go
// through the same writer, so folding and escaping do not count.
std::string Content(icalcomponent* event) {
  std::vector<std::string> lines;
  for (icalproperty* p = icalcomponent_get_first_property(event, ICAL_ANY_PROPERTY); p != nullptr;
       p = icalcomponent_get_next_property(event, ICAL_ANY_PROPERTY)) {
    const icalproperty_kind kind = icalproperty_isa(p);
    if (kind == ICAL_UID_PROPERTY || kind == ICAL_DTSTAMP_PROPERTY ||
        kind == ICAL_SEQUENCE_PROPERTY)
      continue;
    char* text = icalproperty_as_ical_string_r(p);
    lines.emplace_back(text != nullptr ? text : "");
    std::free(text);
  }
  std::sort(lines.begin(), lines.end());
  std::string content;
  for (const std::string& line : lines) content += line;
  return content;
}

TComponentPtr ParseCalendar(std::string_view ics) {
  // Unfolded here, in one pass: libical's own line reader is quadratic.
  TComponentPtr root = detail::ParseText(ics);
  if (!root || icalcomponent_isa(root.get()) != ICAL_VCALENDAR_COMPONENT)
    throw EConvertError("the text is no iCalendar calendar (no BEGIN:VCALENDAR)");
  return root;
}

// An event of the earlier export.
struct TOldEvent {
  icalcomponent* component;  // borrowed from the parsed calendar
  std::string uid;
  int sequence = 0;
  bool cancelled = false;
};

std::vector<TOldEvent> OldEvents(icalcomponent* root) {
  std::vector<TOldEvent> olds;
  std::set<std::string> seen;
  size_t number = 0;
  for (icalcomponent* e = icalcomponent_get_first_component(root, ICAL_VEVENT_COMPONENT);
       e != nullptr; e = icalcomponent_get_next_component(root, ICAL_VEVENT_COMPONENT)) {
    ++number;
    const std::string uid = Text(icalcomponent_get_uid(e));
    const std::string name =
        uid.empty() ? "event " + std::to_string(number) : "event '" + uid + "'";
    if (icalproperty* error = icalcomponent_get_first_property(e, ICAL_XLICERROR_PROPERTY))
      throw EConvertError(name + ": " + Text(icalproperty_get_xlicerror(error)));
    if (uid.empty()) throw EConvertError(name + " has no UID");
    // A moved occurrence of a series goes with its series.
    if (icalcomponent_get_first_property(e, ICAL_RECURRENCEID_PROPERTY) != nullptr) continue;
    if (icalcomponent_get_first_property(e, ICAL_DTSTART_PROPERTY) == nullptr)
      throw EConvertError(name + " has no DTSTART");
    if (!seen.insert(uid).second) throw EConvertError("UID '" + uid + "' is on two events");
    olds.push_back({e, uid, std::max(0, icalcomponent_get_sequence(e)),
                    icalcomponent_get_status(e) == ICAL_STATUS_CANCELLED});
  }
  return olds;
}

// The cancellation of an old event: its UID, times and texts, STATUS:CANCELLED.
TCalendarEvent Cancellation(const TOldEvent& old, const TZone* zone) {
  icalcomponent* e = old.component;
  const icaltimetype start = icalcomponent_get_dtstart(e);
  TCalendarEvent event;
  event.uid = old.uid;
  event.start = TFecha(OldWall(start, zone));
  if (icalproperty* end = icalcomponent_get_first_property(e, ICAL_DTEND_PROPERTY)) {
    event.seconds = TDuration(OldWall(icalproperty_get_dtend(end), zone) - event.start.Value());
  } else if (icalproperty* length = icalcomponent_get_first_property(e, ICAL_DURATION_PROPERTY)) {
    event.seconds = TDuration(detail::DurationSeconds(icalproperty_get_duration(length)));
  } else if (start.is_date) {
    event.seconds = TDuration(kSecondsPerDay);
  }
  event.seconds = std::max(TDuration(), event.seconds);
  const int type = StrToIntDef(XValue(e, "X-CUADRANTE-TYPE").value_or(""), -1);
  event.type =
      type >= 0 && type < kTimePointTypeCount ? static_cast<TTimePointType>(type) : tptNone;
  event.summary = Text(icalcomponent_get_summary(e));
  // libical gives each value of a CATEGORIES list a property of its own.
  for (icalproperty* p = icalcomponent_get_first_property(e, ICAL_CATEGORIES_PROPERTY);
       p != nullptr; p = icalcomponent_get_next_property(e, ICAL_CATEGORIES_PROPERTY)) {
    const std::string value = Text(icalproperty_get_categories(p));
    if (value == kEngineCategory) {
      event.byEngine = true;
    } else if (event.category.empty()) {
      event.category = value;
    }
  }
  event.shift = XValue(e, "X-CUADRANTE-SHIFT").value_or("");
  event.transparent = true;  // nothing happens then any more
  event.cancelled = true;
  // Cancelling is a change; a cancellation carried on from before is not.
  event.sequence = old.cancelled ? old.sequence : old.sequence + 1;
  return event;
}

}  // namespace

TFollowed FollowPrevious(std::vector<TCalendarEvent>& events, std::string_view previous,
                         const TCalendarOptions& options) {
  const TComponentPtr oldRoot = ParseCalendar(previous);
  const std::vector<TOldEvent> olds = OldEvents(oldRoot.get());

  // The new events as libical reads them back, so that both sides compare alike.
  std::vector<TCalendarEvent> plain = events;
  for (TCalendarEvent& event : plain) event.sequence = 0;
  const TComponentPtr newRoot = ParseCalendar(WriteCalendar(plain, options));
  std::unordered_map<std::string, std::string> contents;
  for (icalcomponent* e = icalcomponent_get_first_component(newRoot.get(), ICAL_VEVENT_COMPONENT);
       e != nullptr; e = icalcomponent_get_next_component(newRoot.get(), ICAL_VEVENT_COMPONENT))
    contents.emplace(Text(icalcomponent_get_uid(e)), Content(e));

  TFollowed followed;
  std::unordered_map<std::string, const TOldEvent*> byUid;
  for (const TOldEvent& old : olds) byUid.emplace(old.uid, &old);
  for (TCalendarEvent& event : events) {
    const auto found = byUid.find(event.uid);
    if (found == byUid.end()) continue;
    const bool changed = Content(found->second->component) != contents[event.uid];
    event.sequence = found->second->sequence + (changed ? 1 : 0);
    followed.changed += changed ? 1 : 0;
  }
  for (const TOldEvent& old : olds) {
    if (contents.count(old.uid) != 0) continue;
    events.push_back(Cancellation(old, options.zone));
    ++followed.cancelled;
  }
  return followed;
}

}  // namespace cuadrante::roster
