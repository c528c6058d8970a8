#include "cuadrante/roster/icalendar.h"

#include <gtest/gtest.h>
#include <libical/ical.h>

#include <algorithm>
#include <initializer_list>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "cuadrante/roster/calendarimport.h"
#include "cuadrante/roster/range.h"
#include "cuadrante/roster/zone.h"
#include "cuadrante/runtime/datetime.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/time/basicbox.h"

namespace {

using namespace cuadrante::roster;

TFecha At(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
  return TFecha(EncodeDateTime(year, month, day, hour, minute, second, 0));
}

// libical's reading of a time, on the library's wall clock, by a road of its
// own (the runtime's date encoding, not the export's).
TFecha WallOf(const icaltimetype& time) {
  if (time.is_date) return At(time.year, time.month, time.day);
  return At(time.year, time.month, time.day, time.hour, time.minute, time.second);
}

struct Freer {
  void operator()(icalcomponent* c) const { icalcomponent_free(c); }
};
using Calendar = std::unique_ptr<icalcomponent, Freer>;

// The text of every X-LIC-ERROR in `c` and in the components it holds.
void CollectErrors(icalcomponent* c, std::vector<std::string>& problems) {
  for (icalproperty* p = icalcomponent_get_first_property(c, ICAL_XLICERROR_PROPERTY); p;
       p = icalcomponent_get_next_property(c, ICAL_XLICERROR_PROPERTY))
    problems.push_back(icalproperty_get_xlicerror(p));
  for (icalcomponent* d = icalcomponent_get_first_component(c, ICAL_ANY_COMPONENT); d;
       d = icalcomponent_get_next_component(c, ICAL_ANY_COMPONENT))
    CollectErrors(d, problems);
}

// Parses `ics` with libical and runs its restriction checker: every problem
// it finds is returned as the text of its X-LIC-ERROR.
Calendar ParseChecked(const std::string& ics, std::vector<std::string>& problems) {
  Calendar root(icalparser_parse_string(ics.c_str()));
  if (!root) {
    problems.push_back("no calendar");
    return root;
  }
  icalrestriction_check(root.get());
  CollectErrors(root.get(), problems);
  return root;
}

// Each occurrence libical's iterator gives for one VEVENT, less its EXDATEs.
std::vector<TFecha> LibicalStarts(icalcomponent* event) {
  const icaltimetype start = icalcomponent_get_dtstart(event);
  std::vector<TFecha> starts;
  icalproperty* rule = icalcomponent_get_first_property(event, ICAL_RRULE_PROPERTY);
  if (rule == nullptr) return {WallOf(start)};
  icalrecur_iterator* steps = icalrecur_iterator_new(icalproperty_get_rrule(rule), start);
  for (icaltimetype next = icalrecur_iterator_next(steps); !icaltime_is_null_time(next);
       next = icalrecur_iterator_next(steps))
    starts.push_back(WallOf(next));
  icalrecur_iterator_free(steps);
  for (icalproperty* p = icalcomponent_get_first_property(event, ICAL_EXDATE_PROPERTY); p;
       p = icalcomponent_get_next_property(event, ICAL_EXDATE_PROPERTY))
    std::erase(starts, WallOf(icalproperty_get_exdate(p)));
  return starts;
}

TEST(ICalendar, FoldsAt75OctetsWithoutSplittingACharacterAndEscapesText) {
  EXPECT_EQ(FoldLine("SUMMARY:x"), "SUMMARY:x\r\n");
  // 74 octets, then a two-octet "ñ" that would end at 76: it moves whole.
  const std::string line = std::string(74, 'a') + "ñb";
  EXPECT_EQ(FoldLine(line), std::string(74, 'a') + "\r\n ñb\r\n");
  const std::string exact(75, 'x');
  EXPECT_EQ(FoldLine(exact), exact + "\r\n");
  // Continuation lines hold 74 octets after their blank.
  const std::string folded = FoldLine(std::string(75 + 74 + 1, 'y'));
  EXPECT_EQ(folded, std::string(75, 'y') + "\r\n " + std::string(74, 'y') + "\r\n y\r\n");
  EXPECT_EQ(EscapeText("a,b;c\\d\ne\r\nf\x01g"), "a\\,b\\;c\\\\d\\ne\\nfg");
  // The UID follows what and when, not where in the list.
  const auto uid = [](const char* who, const char* what) {
    return StableUid(who, what, At(2026, 11, 23, 7));
  };
  EXPECT_EQ(uid("ana", "2 M"), uid("ana", "2 M"));
  EXPECT_NE(uid("ana", "2 M"), uid("eva", "2 M"));
  EXPECT_NE(uid("ana", "2 M"), uid("ana", "2 T"));
  EXPECT_EQ(StableUid("a", "b", At(2026, 11, 23, 7)).substr(16), "-20261123T070000@cuadrante");
}

TEST(ICalendar, ExportOfPointsIsReadBackByLibicalAndByTheImport) {
  TBasicPointMgr points;
  auto add = [&](TFecha start, int64_t seconds, TTimePointType type) {
    auto* point = new TBasicPoint(start, TDuration(seconds));
    point->Type = type;
    points.Add(point);
  };
  add(At(2026, 11, 23, 22), 8 * 3600, tptTimetable);  // a night into the 24th
  add(At(2026, 11, 25), 2 * 86400, tptLeave);         // two whole days
  add(At(2026, 11, 27, 9, 30), 0, tptIncidence);      // an instant
  add(At(2026, 11, 30, 8), 3600, tptTask);            // outside the range
  auto* box = new TBasicBox();
  box->SetInicio(At(2026, 11, 26, 7));
  box->SetDuration(TDuration(8 * 3600));
  box->Type = tptTimetable;
  box->SetCode("M");
  box->SetDescription("Mañana, planta; sur");
  points.Add(box);
  points.Sort();
  const auto events = EventsOfPoints(points, At(2026, 11, 24), At(2026, 11, 28), "doc", {});
  ASSERT_EQ(events.size(), 4u);
  const std::string ics = WriteCalendar(events, {nullptr, 1'790'000'000});
  for (size_t at = 0; (at = ics.find('\n', at)) != std::string::npos; ++at)
    ASSERT_EQ(ics[at - 1], '\r');

  std::vector<std::string> problems;
  Calendar root = ParseChecked(ics, problems);
  EXPECT_EQ(problems, std::vector<std::string>{});
  std::vector<std::string> seen;
  for (icalcomponent* e = icalcomponent_get_first_component(root.get(), ICAL_VEVENT_COMPONENT); e;
       e = icalcomponent_get_next_component(root.get(), ICAL_VEVENT_COMPONENT)) {
    const TFecha start = WallOf(icalcomponent_get_dtstart(e));
    icalproperty* end = icalcomponent_get_first_property(e, ICAL_DTEND_PROPERTY);
    const int64_t seconds = end ? WallOf(icalproperty_get_dtend(end)).Value() - start.Value() : 0;
    icalproperty* transp = icalcomponent_get_first_property(e, ICAL_TRANSP_PROPERTY);
    seen.push_back(start.ToString("dd/mm hh:nn") + "+" + std::to_string(seconds / 60) + " " +
                   icalcomponent_get_summary(e) + (transp ? " free" : ""));
  }
  EXPECT_EQ(seen, (std::vector<std::string>{
                      "23/11 22:00+480 Horario", "25/11 00:00+2880 Vacaciones free",
                      "26/11 07:00+480 M Mañana, planta; sur", "27/11 09:30+0 Incidencia free"}));

  // The import gives back the same items, types included.
  const auto back = ReadCalendar(ics, At(2026, 11, 24), At(2026, 11, 28), {});
  ASSERT_EQ(back.size(), events.size());
  for (size_t i = 0; i < back.size(); ++i) {
    EXPECT_EQ(back[i].start, events[i].start);
    EXPECT_EQ(back[i].seconds, events[i].seconds);
    EXPECT_EQ(back[i].type, events[i].type);
    EXPECT_EQ(back[i].summary, events[i].summary);
    EXPECT_EQ(back[i].uid, events[i].uid);
  }
}

// For thousands of random rules, libical's iterator expanding the exported
// RRULE gives exactly the occurrences that the cycle manager unrolls.
TEST(ICalendar, RecurrencesAgreeWithLibicalOnRandomRules) {
  std::mt19937 random(20261125);
  auto pick = [&](int low, int high) {
    return std::uniform_int_distribution<int>(low, high)(random);
  };
  int recurring = 0;
  int fellBack = 0;
  // A third of the calendars carry Madrid's zone: UNTIL is then in UTC and
  // libical steps on the zone's wall clock through its changes.
  const TZone madrid = TZone::Find("Europe/Madrid");
  for (int round = 0; round < 3000; ++round) {
    TCyclePoint rule;
    // Days late in the month are drawn often: that is where months clamp.
    const int day = pick(0, 2) == 0 ? pick(28, 31) : pick(1, 28);
    const int month = pick(1, 12);
    const int year = pick(2018, 2030);
    const int lastDay = static_cast<int>(TFecha(At(year, month, 1)).EndOfMonth().Day());
    // A quarter start at midnight: with whole days, those are all-day events.
    const bool midnight = pick(0, 3) == 0;
    rule.SetInicio(At(year, month, std::min(day, lastDay), midnight ? 0 : pick(0, 23),
                      midnight ? 0 : pick(0, 59)));
    rule.SetDuration(TDuration(pick(0, 3) == 0 ? 86400 * pick(1, 3) : 60 * pick(0, 720)));
    rule.Type = static_cast<TTimePointType>(pick(1, 12));
    rule.Periodicity = static_cast<TTimesGroup>(pick(1, 6));
    rule.WithWeekend = pick(0, 1) == 1;
    if (pick(0, 1) == 1) rule.EndDate = TFecha(rule.GetInicio().Value() + 86400LL * pick(0, 1500));
    const TFecha from(rule.GetInicio().Value() + 86400LL * pick(-60, 900));
    const TFecha to(from.Value() + 86400LL * pick(0, 800));

    TCyclePointMgr manager;
    manager.RangeStart = manager.RangeEnd = TFecha();
    manager.AddCycle(&rule, nullptr, false);
    ExpandRange(manager, TFecha(from.Date()), TFecha(to.Date()), false);
    std::vector<TFecha> expected;
    for (const TBasicPoint* p : manager.Points) expected.push_back(p->GetInicio());

    const TZone* zone = round % 3 == 0 ? &madrid : nullptr;
    const TRuleEvents exported =
        EventsOfRule(rule, TFecha(from.Date()), TFecha(to.Date()), true, "r", {}, zone);
    const std::string ics = WriteCalendar(exported.events, {zone, 0});
    std::vector<std::string> problems;
    Calendar root = ParseChecked(ics, problems);
    ASSERT_EQ(problems, std::vector<std::string>{}) << rule.WriteToStr() << "\n" << ics;
    std::vector<TFecha> got;
    for (icalcomponent* e = icalcomponent_get_first_component(root.get(), ICAL_VEVENT_COMPONENT); e;
         e = icalcomponent_get_next_component(root.get(), ICAL_VEVENT_COMPONENT)) {
      for (const TFecha start : LibicalStarts(e)) got.push_back(start);
    }
    const auto differ = std::mismatch(got.begin(), got.end(), expected.begin(), expected.end());
    const auto shown = [](auto at, auto end) {
      return at == end ? std::string("nothing") : at->ToString("dd/mm/yyyy hh:nn");
    };
    ASSERT_EQ(got, expected) << rule.WriteToStr() << " from " << from.ToString("dd/mm/yyyy")
                             << " to " << to.ToString("dd/mm/yyyy") << ": libical has "
                             << shown(differ.first, got.end()) << " where the library has "
                             << shown(differ.second, expected.end()) << "\n"
                             << ics;
    if (exported.recurring) ++recurring;
    if (!exported.why.empty()) {
      ++fellBack;
      // Only months and years clamp; a rule of days or weeks recurs unless it
      // steps into a zone's gap.
      EXPECT_TRUE(rule.Periodicity == tgMonth || rule.Periodicity == tgQuarter ||
                  rule.Periodicity == tgYear ||
                  (zone && exported.why.find(" skips") != std::string::npos))
          << rule.WriteToStr() << ": " << exported.why;
    }
  }
  // Most rules travel as one event; the clamped ones do not.
  EXPECT_GT(recurring, 1500);
  EXPECT_GT(fellBack, 20);
}

// A calendar of one VEVENT for each item of `events`, which holds its lines.
std::string Wrapped(std::initializer_list<std::string> events) {
  std::string ics = "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//t//EN\r\n";
  for (const std::string& lines : events) ics += "BEGIN:VEVENT\r\n" + lines + "END:VEVENT\r\n";
  return ics + "END:VCALENDAR\r\n";
}

// "dd/mm hh:nn+minutes type" for each item.
std::vector<std::string> Seen(const std::vector<TImportedEvent>& events) {
  std::vector<std::string> seen;
  for (const auto& e : events)
    seen.push_back(e.start.ToString("dd/mm hh:nn") + "+" + std::to_string(e.seconds / 60) + " " +
                   std::to_string(static_cast<int>(e.type)));
  return seen;
}

TEST(ReadCalendar, FollowsMovesCancellationsAndCategoriesAndRefusesWhatIsNoCalendar) {
  // Daily at 09:00 for four days with DURATION, the third day moved to 15:00
  // by a RECURRENCE-ID event, the fourth taken out by a DATE EXDATE; then a
  // cancelled event (nothing), an all-day event without DTEND (it lasts its
  // day) and an event that ends before the range (nothing).
  const std::string ics = Wrapped({
      "UID:d\r\nDTSTART:20261102T090000\r\nDURATION:PT2H\r\nRRULE:FREQ=DAILY;COUNT=4\r\n"
      "EXDATE;VALUE=DATE:20261105\r\nCATEGORIES:Otro,Tarea\r\n",
      "UID:d\r\nRECURRENCE-ID:20261104T090000\r\nDTSTART:20261104T150000\r\n"
      "DTEND:20261104T160000\r\n",
      "UID:c\r\nSTATUS:CANCELLED\r\nDTSTART:20261102T120000\r\n",
      "UID:a\r\nDTSTART;VALUE=DATE:20261106\r\nRDATE;VALUE=DATE:20261201\r\n",
      "UID:o\r\nDTSTART:20261101T100000\r\nDTEND:20261101T110000\r\n",
  });
  const auto events = ReadCalendar(ics, At(2026, 11, 2), At(2026, 11, 30), {});
  EXPECT_EQ(Seen(events), (std::vector<std::string>{"02/11 09:00+120 3", "03/11 09:00+120 3",
                                                    "04/11 15:00+60 9", "06/11 00:00+1440 9"}));
  // UTC times become the zone's wall clock with a zone, and stay as written without.
  const TFecha nov1 = At(2026, 11, 1), nov30 = At(2026, 11, 30);
  const std::string utc =
      Wrapped({"UID:u\r\nDTSTART:20261102T230000Z\r\nDTEND:20261103T010000Z\r\n"});
  const TZone madrid = TZone::Find("Europe/Madrid");
  TImportOptions zoned;
  zoned.zone = &madrid;
  EXPECT_EQ(Seen(ReadCalendar(utc, nov1, nov30, zoned)),
            std::vector<std::string>{"03/11 00:00+120 9"});
  EXPECT_EQ(Seen(ReadCalendar(utc, nov1, nov30, {})),
            std::vector<std::string>{"02/11 23:00+120 9"});
  // A zone nobody defines cannot be placed in another.
  const std::string mars = Wrapped({"UID:m\r\nDTSTART;TZID=Mars/Base:20261102T230000\r\n"});
  EXPECT_THROW(ReadCalendar(mars, nov1, nov30, zoned), EConvertError);
  EXPECT_EQ(ReadCalendar(mars, nov1, nov30, {}).size(), 1u);

  // No text, no calendar (a lone event is none), an event without DTSTART, an
  // end before its start.
  const TFecha first = At(2026, 1, 1), last = At(2026, 12, 31);
  for (const std::string& bad :
       {std::string(), std::string("<POINTSMGR/>"),
        std::string("BEGIN:VEVENT\r\nUID:e\r\nDTSTART:20260102T100000\r\nEND:VEVENT\r\n"),
        Wrapped({"UID:n\r\n"}),
        Wrapped({"UID:b\r\nDTSTART:20260102T100000\r\nDTEND:20260102T090000\r\n"})})
    EXPECT_THROW(ReadCalendar(bad, first, last, {}), EConvertError) << bad;
  // Every second from 1900 would take days to walk: the bound refuses it.
  TImportOptions bounded;
  bounded.maxOccurrences = 1000;
  const std::string everySecond =
      Wrapped({"UID:s\r\nDTSTART:19000101T000000\r\nRRULE:FREQ=SECONDLY\r\n"});
  EXPECT_THROW(ReadCalendar(everySecond, first, last, bounded), EConvertError);
  // The bound counts what it walks: exactly as many occurrences still pass.
  bounded.maxOccurrences = 5;
  const std::string five =
      Wrapped({"UID:f\r\nDTSTART:20260105T100000\r\nRRULE:FREQ=DAILY;COUNT=5\r\n"});
  EXPECT_EQ(ReadCalendar(five, first, last, bounded).size(), 5u);
}

}  // namespace
