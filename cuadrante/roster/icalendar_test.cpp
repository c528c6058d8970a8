#include "cuadrante/roster/icalendar.h"

#include <gtest/gtest.h>
#include <libical/ical.h>

#include <algorithm>
#include <climits>
#include <initializer_list>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "cuadrante/points/range.h"
#include "cuadrante/roster/calendarimport.h"
#include "cuadrante/roster/libicalsupport.h"
#include "cuadrante/roster/personroster.h"
#include "cuadrante/roster/plan.h"
#include "cuadrante/runtime/datetime.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/testing/values.h"
#include "cuadrante/time/basicbox.h"
#include "cuadrante/time/chrono.h"
#include "cuadrante/time/zone.h"

namespace {

using namespace cuadrante;
using namespace cuadrante::roster;

using cuadrante::testing::At;

// The DTSTAMP the tests write: an instant in 2026.
std::chrono::sys_seconds Stamp() {
  return std::chrono::sys_seconds(std::chrono::seconds(1'790'000'000));
}

// libical's reading of a time, on the library's wall clock, by a road of its
// own (the runtime's date encoding, not the export's).
TFecha WallOf(const icaltimetype& time) {
  if (time.is_date) return At(time.year, time.month, time.day);
  return At(time.year, time.month, time.day, time.hour, time.minute, time.second);
}

using cuadrante::roster::detail::TComponentPtr;

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
TComponentPtr ParseChecked(const std::string& ics, std::vector<std::string>& problems) {
  TComponentPtr root(icalparser_parse_string(ics.c_str()));
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
  // So do a three-octet "€" from 73 and a four-octet "𝄞" from 74.
  EXPECT_EQ(FoldLine(std::string(73, 'a') + "€b"), std::string(73, 'a') + "\r\n €b\r\n");
  EXPECT_EQ(FoldLine(std::string(74, 'a') + "𝄞b"), std::string(74, 'a') + "\r\n 𝄞b\r\n");
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
  const std::string ics = WriteCalendar(events, {nullptr, Stamp()});
  for (size_t at = 0; (at = ics.find('\n', at)) != std::string::npos; ++at)
    ASSERT_EQ(ics[at - 1], '\r');

  std::vector<std::string> problems;
  TComponentPtr root = ParseChecked(ics, problems);
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
    const std::string ics = WriteCalendar(exported.events, {zone, {}});
    std::vector<std::string> problems;
    TComponentPtr root = ParseChecked(ics, problems);
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
    seen.push_back(e.start.ToString("dd/mm hh:nn") + "+" + std::to_string(e.seconds.Value() / 60) +
                   " " + std::to_string(static_cast<int>(e.type)));
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
  // Every second from 1900 would take days to walk: the budget refuses it.
  TImportOptions bounded;
  bounded.maxSteps = 1000;
  const std::string everySecond =
      Wrapped({"UID:s\r\nDTSTART:19000101T000000\r\nRRULE:FREQ=SECONDLY\r\n"});
  EXPECT_THROW(ReadCalendar(everySecond, first, last, bounded), EConvertError);
}

// Eva's plan: a rotation from `rotationFrom`, a leave on the 9th (it cancels
// the rotation's shift that day), an extra shift whose start is `extraAt`
// on the 5th and a course on the 4th before her night.
TPlan EvaPlan(const std::string& rotationFrom, const std::string& extraAt = "08:00") {
  return ReadPlan(
      "<PLAN><SHIFT code=\"M\" start=\"07:00\" hours=\"8\" name=\"Mañana\"/>"
      "<SHIFT code=\"T\" start=\"15:00\" hours=\"8\" name=\"Tarde\"/>"
      "<SHIFT code=\"N\" start=\"22:00\" hours=\"8\" name=\"Noche\"/>"
      "<EMPLOYEE id=\"eva\" name=\"Eva Sanz\">"
      "<ROTATION pattern=\"M T N -\" from=\"" +
      rotationFrom +
      "\"/>"
      "<LEAVE from=\"2026-11-09\" to=\"2026-11-09\" type=\"9\"/>"
      "<ITEM start=\"2026-11-05T" +
      extraAt +
      "\" hours=\"4\" type=\"3\"/>"
      "<ITEM start=\"2026-11-04T09:00\" hours=\"2\" type=\"3\"/>"
      "</EMPLOYEE></PLAN>");
}

std::vector<TCalendarEvent> EvaEvents(const TPlan& plan, TFecha first, TFecha last) {
  const std::vector<TPersonRoster> rosters = BuildRosters(plan, first, last);
  return EventsOfRoster(plan, rosters.at(0), false, {}, first);
}

// "dd/mm hh:nn summary" by UID.
std::map<std::string, std::string> ByUid(const std::vector<TCalendarEvent>& events) {
  std::map<std::string, std::string> seen;
  for (const TCalendarEvent& e : events)
    EXPECT_TRUE(seen.emplace(e.uid, e.start.ToString("dd/mm hh:nn") + " " + e.summary).second)
        << "UID " << e.uid << " twice";
  return seen;
}

TEST(ICalendar, RosterEventsAreNamedByTheirSlotAndCancelledWorkIsLeftOut) {
  const TFecha first = At(2026, 11, 2), last = At(2026, 11, 10);
  const auto slot = [](int day, int n) { return SlotUid("eva", At(2026, 11, day), n); };
  EXPECT_EQ(slot(3, 2).substr(16), "-20261103-2@cuadrante");
  EXPECT_NE(slot(3, 1).substr(0, 16), SlotUid("ana", At(2026, 11, 3), 1).substr(0, 16));

  const auto before = ByUid(EvaEvents(EvaPlan("2026-11-02"), first, last));
  // M T N - M T N - (M under leave on the 9th), the course on the 4th before
  // the night, the extra hours on the 5th.
  EXPECT_EQ(before, (std::map<std::string, std::string>{
                        {slot(2, 1), "02/11 07:00 M Mañana"},
                        {slot(3, 1), "03/11 15:00 T Tarde"},
                        {slot(4, 1), "04/11 09:00 Tarea"},
                        {slot(4, 2), "04/11 22:00 N Noche"},
                        {slot(5, 1), "05/11 08:00 Tarea"},
                        {slot(6, 1), "06/11 07:00 M Mañana"},
                        {slot(7, 1), "07/11 15:00 T Tarde"},
                        {slot(8, 1), "08/11 22:00 N Noche"},
                        {slot(9, 1), "09/11 00:00 Vacaciones"},
                        {slot(10, 1), "10/11 07:00 M Mañana"},
                    }));
  // The rotation a day later: each day's first slot keeps its UID and takes
  // the day's new shift; the 5th holds two events now, the 2nd and 6th none,
  // and the leave cancels the night of the 9th.
  const auto after = ByUid(EvaEvents(EvaPlan("2026-11-03"), first, last));
  EXPECT_EQ(after, (std::map<std::string, std::string>{
                       {slot(3, 1), "03/11 07:00 M Mañana"},
                       {slot(4, 1), "04/11 09:00 Tarea"},
                       {slot(4, 2), "04/11 15:00 T Tarde"},
                       {slot(5, 1), "05/11 08:00 Tarea"},
                       {slot(5, 2), "05/11 22:00 N Noche"},
                       {slot(7, 1), "07/11 07:00 M Mañana"},
                       {slot(8, 1), "08/11 15:00 T Tarde"},
                       {slot(9, 1), "09/11 00:00 Vacaciones"},
                   }));
  // An item moved within its day keeps its UID.
  const auto moved = ByUid(EvaEvents(EvaPlan("2026-11-02", "11:30"), first, last));
  EXPECT_EQ(moved.at(slot(5, 1)), "05/11 11:30 Tarea");
  // A range that starts on the 5th holds the night of the 4th but not the
  // course before it: the night keeps the second slot of its day.
  const auto later = EvaEvents(EvaPlan("2026-11-02"), At(2026, 11, 5), last);
  ASSERT_FALSE(later.empty());
  EXPECT_EQ(later.front().uid, slot(4, 2));
  EXPECT_EQ(later.front().start, At(2026, 11, 4, 22));
}

// A line `describe` gives of each event of `ics`, which libical must read
// without a problem, in the calendar's order.
template <class Describe>
std::vector<std::string> EventLines(const std::string& ics, Describe describe) {
  std::vector<std::string> problems;
  TComponentPtr root = ParseChecked(ics, problems);
  EXPECT_EQ(problems, std::vector<std::string>{});
  std::vector<std::string> seen;
  for (icalcomponent* e = icalcomponent_get_first_component(root.get(), ICAL_VEVENT_COMPONENT); e;
       e = icalcomponent_get_next_component(root.get(), ICAL_VEVENT_COMPONENT))
    seen.push_back(describe(e));
  return seen;
}

// " cancelled " or " ": whether libical reads the event as cancelled.
std::string CancelledMark(icalcomponent* event) {
  return icalcomponent_get_status(event) == ICAL_STATUS_CANCELLED ? " cancelled " : " ";
}

// The UID, SEQUENCE, STATUS and start of each event, as libical reads them.
std::vector<std::string> Followed(const std::string& ics) {
  std::vector<std::string> seen = EventLines(ics, [](icalcomponent* e) {
    return std::string(icalcomponent_get_uid(e)).substr(17, 10) + " " +
           std::to_string(icalcomponent_get_sequence(e)) + CancelledMark(e) +
           WallOf(icalcomponent_get_dtstart(e)).ToString("dd/mm hh:nn");
  });
  std::sort(seen.begin(), seen.end());
  return seen;
}

TEST(ICalendar, FollowingAnEarlierExportCancelsWhatIsGoneAndCountsChanges) {
  const TFecha first = At(2026, 11, 2), last = At(2026, 11, 10);
  const TZone madrid = TZone::Find("Europe/Madrid");
  for (const TZone* zone : {static_cast<const TZone*>(nullptr), &madrid}) {
    const TCalendarOptions options{zone, Stamp()};
    const std::string old = WriteCalendar(EvaEvents(EvaPlan("2026-11-02"), first, last), options);
    std::vector<TCalendarEvent> events = EvaEvents(EvaPlan("2026-11-03"), first, last);
    const TFollowed followed = FollowPrevious(events, old, options);
    EXPECT_EQ(followed.cancelled, 3u);
    EXPECT_EQ(followed.changed, 4u);  // the 3rd, 7th and 8th, and the 4th's second slot
    const std::string next = WriteCalendar(events, options);
    // The 2nd, 6th and 10th are gone and cancelled at their old times; what stayed
    // the same keeps SEQUENCE 0; new slots start from 0.
    const std::vector<std::string> once = {
        "20261102-1 1 cancelled 02/11 07:00", "20261103-1 1 03/11 07:00",
        "20261104-1 0 04/11 09:00",           "20261104-2 1 04/11 15:00",
        "20261105-1 0 05/11 08:00",           "20261105-2 0 05/11 22:00",
        "20261106-1 1 cancelled 06/11 07:00", "20261107-1 1 07/11 07:00",
        "20261108-1 1 08/11 15:00",           "20261109-1 0 09/11 00:00",
        "20261110-1 1 cancelled 10/11 07:00"};
    EXPECT_EQ(Followed(next), once);
    // Following the same plan again changes nothing, byte for byte: the
    // cancellations travel on with their SEQUENCE.
    std::vector<TCalendarEvent> again = EvaEvents(EvaPlan("2026-11-03"), first, last);
    const TFollowed still = FollowPrevious(again, next, options);
    EXPECT_EQ(still.changed, 0u);
    EXPECT_EQ(still.cancelled, 3u);
    EXPECT_EQ(WriteCalendar(again, options), next);
    // Back to the first plan: the cancelled slots come back one SEQUENCE up.
    std::vector<TCalendarEvent> back = EvaEvents(EvaPlan("2026-11-02"), first, last);
    const TFollowed undone = FollowPrevious(back, next, options);
    EXPECT_EQ(undone.cancelled, 1u);  // the 5th's second slot is gone again
    const std::vector<std::string> twice = Followed(WriteCalendar(back, options));
    ASSERT_EQ(twice.size(), 11u);
    EXPECT_EQ(twice.front(), "20261102-1 2 02/11 07:00");
    EXPECT_EQ(twice.at(5), "20261105-2 1 cancelled 05/11 22:00");
    EXPECT_EQ(twice.at(6), "20261106-1 2 06/11 07:00");
    EXPECT_EQ(twice.back(), "20261110-1 2 10/11 07:00");
  }
  // What no earlier export can be: named in the error.
  std::vector<TCalendarEvent> events;
  for (const auto& [ics, why] : std::vector<std::pair<std::string, std::string>>{
           {"", "no iCalendar calendar"},
           {"BEGIN:VEVENT\r\nUID:a\r\nDTSTART:20261102T070000\r\nEND:VEVENT\r\n",
            "no iCalendar calendar"},
           {Wrapped({"DTSTART:20261102T070000\r\n"}), "event 1 has no UID"},
           {Wrapped({"UID:a\r\nSUMMARY:x\r\n"}), "event 'a' has no DTSTART"},
           {Wrapped(
                {"UID:a\r\nDTSTART:20261102T070000\r\n", "UID:a\r\nDTSTART:20261103T070000\r\n"}),
            "UID 'a' is on two events"},
           {Wrapped({"UID:a\r\nDTSTART:20261102T0700\r\n"}), "event 'a': "},
       }) {
    try {
      FollowPrevious(events, ics, {});
      ADD_FAILURE() << "took " << ics;
    } catch (const EConvertError& e) {
      EXPECT_NE(e.Message.find(why), std::string::npos) << e.Message;
    }
  }
}

// Eva's nights on the 3rd and 4th, each with the ITEM attributes given (the
// engine's mark, or nothing); an empty text leaves that night out.
TPlan NightsPlan(const std::string& third, const std::string& fourth) {
  std::string xml =
      "<PLAN><SHIFT code=\"N\" start=\"22:00\" hours=\"8\" type=\"2\" name=\"Noche\"/>"
      "<EMPLOYEE id=\"eva\" name=\"Eva Sanz\">";
  if (third != "-") xml += "<ITEM start=\"2026-11-03\" shift=\"N\"" + third + "/>";
  if (fourth != "-") xml += "<ITEM start=\"2026-11-04\" shift=\"N\"" + fourth + "/>";
  return ReadPlan(xml + "</EMPLOYEE></PLAN>");
}

// "dd/mm SEQUENCE [cancelled] category|category..." of each event, the
// categories as libical reads them.
std::vector<std::string> Categorised(const std::string& ics) {
  return EventLines(ics, [](icalcomponent* e) {
    std::string categories;
    for (icalproperty* p = icalcomponent_get_first_property(e, ICAL_CATEGORIES_PROPERTY); p;
         p = icalcomponent_get_next_property(e, ICAL_CATEGORIES_PROPERTY))
      categories += (categories.empty() ? "" : "|") + std::string(icalproperty_get_categories(p));
    return WallOf(icalcomponent_get_dtstart(e)).ToString("dd/mm") + " " +
           std::to_string(icalcomponent_get_sequence(e)) + CancelledMark(e) + categories;
  });
}

TEST(ICalendar, AShiftTheEngineGaveCarriesItsCategoryAndItsMarkCountsAsAChange) {
  const TFecha first = At(2026, 11, 2), last = At(2026, 11, 8);
  const std::string engine = " by=\"engine\"";
  const std::string label = PlainTypeLabel(tptTimetable);
  const auto events = [&](const std::string& third, const std::string& fourth) {
    return EvaEvents(NightsPlan(third, fourth), first, last);
  };
  const TCalendarOptions options{nullptr, Stamp()};
  // The mark goes with the event made from the engine's ITEM, after the
  // type's label; a type labelled with a comma stays one category.
  const std::vector<TCalendarEvent> marked = events(engine, "");
  ASSERT_EQ(marked.size(), 2u);
  EXPECT_TRUE(marked[0].byEngine);
  EXPECT_FALSE(marked[1].byEngine);
  const std::string ics = WriteCalendar(marked, options);
  EXPECT_NE(ics.find("CATEGORIES:" + label + "," + std::string(kEngineCategory) + "\r\n"),
            std::string::npos);
  EXPECT_EQ(Categorised(ics),
            (std::vector<std::string>{"03/11 0 " + label + "|Motor", "04/11 0 " + label}));
  std::vector<TCalendarEvent> comma = marked;
  comma[0].category = "Turno, noche";
  EXPECT_EQ(Categorised(WriteCalendar(comma, options)).front(), "03/11 0 Turno, noche|Motor");
  TCalendarEvent bare = marked[0];
  bare.category.clear();
  EXPECT_NE(WriteCalendar(std::vector<TCalendarEvent>{bare}, options).find("CATEGORIES:Motor\r\n"),
            std::string::npos);

  // Following an earlier export: a night whose mark alone changed is a change
  // (the phone must show the planner took it over, or the engine gave it);
  // the same plan again changes nothing; a night the engine gave that is gone
  // is cancelled with its mark.
  struct Case {
    std::string third, fourth;  // of the plan followed, after marked's
    size_t changed, cancelled;
    std::vector<std::string> seen;
  };
  for (const Case& c : std::vector<Case>{
           {engine, "", 0, 0, {"03/11 0 " + label + "|Motor", "04/11 0 " + label}},
           {"", engine, 2, 0, {"03/11 1 " + label, "04/11 1 " + label + "|Motor"}},
           {engine, engine, 1, 0, {"03/11 0 " + label + "|Motor", "04/11 1 " + label + "|Motor"}},
           {"-",
            engine,
            1,
            1,
            {"04/11 1 " + label + "|Motor", "03/11 1 cancelled " + label + "|Motor"}},
       }) {
    std::vector<TCalendarEvent> next = events(c.third, c.fourth);
    const TFollowed followed = FollowPrevious(next, ics, options);
    EXPECT_EQ(followed.changed, c.changed) << c.third << " " << c.fourth;
    EXPECT_EQ(followed.cancelled, c.cancelled) << c.third << " " << c.fourth;
    const std::string written = WriteCalendar(next, options);
    EXPECT_EQ(Categorised(written), c.seen) << c.third << " " << c.fourth;
    // Followed once more, the calendar stays as it is, mark and all.
    std::vector<TCalendarEvent> again = events(c.third, c.fourth);
    EXPECT_EQ(FollowPrevious(again, written, options).changed, 0u);
    EXPECT_EQ(WriteCalendar(again, options), written);
  }
}

// The calendar's last day: an all-day event on 31/12/9999 ends in a year no
// date can say, so it gives its DURATION and reads back whole; a year 5000
// event keeps its DTEND. A bound on the text stops the writer before it passes.
TEST(ICalendar, WritesUpToTheCalendarsLastDayAndWithinABound) {
  TCalendarEvent last;
  last.uid = "last";
  last.start = At(9999, 12, 31);
  last.seconds = TDuration(kSecondsPerDay);
  last.type = tptLeave;
  last.summary = "Vacaciones";
  TCalendarEvent far = last;
  far.uid = "far";
  far.start = At(5000, 6, 1, 9);
  far.seconds = TDuration(7200);
  const std::string ics = WriteCalendar(std::vector<TCalendarEvent>{far, last}, {});
  EXPECT_NE(ics.find("DTSTART;VALUE=DATE:99991231\r\nDURATION:P1D\r\n"), std::string::npos);
  EXPECT_NE(ics.find("DTEND:50000601T110000\r\n"), std::string::npos);
  std::vector<std::string> problems;
  ParseChecked(ics, problems);
  for (const std::string& problem : problems) ADD_FAILURE() << problem;
  for (const TCalendarEvent& event : {far, last}) {
    const TFecha day(event.start.Value() / 86400 * 86400);
    const auto back = ReadCalendar(ics, day, day, {});
    ASSERT_EQ(back.size(), 1u) << event.uid;
    EXPECT_EQ(back[0].start, event.start);
    EXPECT_EQ(back[0].seconds, event.seconds);
  }
  TCalendarOptions bounded;
  bounded.maxBytes = ics.size();
  EXPECT_EQ(WriteCalendar(std::vector<TCalendarEvent>{far, last}, bounded), ics);
  bounded.maxBytes = ics.size() - 1;
  EXPECT_THROW(WriteCalendar(std::vector<TCalendarEvent>{far, last}, bounded), EConvertError);
}

// The VTIMEZONE the export writes is enough for libical to place every zoned
// time where the tz database puts it: the zone is renamed so that libical
// cannot fall back on a zone of its own.
TEST(TZone, LibicalPlacesZonedEventsByTheExportedTimeZone) {
  for (const char* name : {"Europe/Madrid", "America/New_York", "Australia/Sydney"}) {
    const TZone zone = TZone::Find(name);
    std::vector<TCalendarEvent> events;
    for (int year = 2024; year <= 2028; ++year) {
      for (const TZoneChange& change :
           zone.Changes(ToChrono(At(year, 1, 1)), ToChrono(At(year + 1, 1, 1)))) {
        for (const int64_t shift : {-7200, -1, 0, 3600, 7200}) {
          TCalendarEvent event;
          event.start = zone.ToWall(change.utc + std::chrono::seconds(shift));
          // A time in the fold is written once; libical takes the first.
          if (zone.Kind(event.start) != TWallKind::kUnique) continue;
          event.seconds = TDuration(8 * 3600);
          event.uid = std::to_string(events.size());
          event.summary = "x";
          events.push_back(event);
        }
      }
    }
    ASSERT_GT(events.size(), 30u);
    std::string ics = WriteCalendar(events, {&zone, {}});
    for (size_t at = 0; (at = ics.find(name, at)) != std::string::npos;)
      ics.replace(at, std::string(name).size(), "Test/Renamed");
    icalcomponent* root = icalparser_parse_string(ics.c_str());
    ASSERT_NE(root, nullptr);
    size_t index = 0;
    for (icalcomponent* e = icalcomponent_get_first_component(root, ICAL_VEVENT_COMPONENT); e;
         e = icalcomponent_get_next_component(root, ICAL_VEVENT_COMPONENT), ++index) {
      const icaltimetype start = icalcomponent_get_dtstart(e);
      ASSERT_NE(start.zone, nullptr) << name;
      EXPECT_EQ(static_cast<int64_t>(icaltime_as_timet_with_zone(start, start.zone)),
                zone.ToUtc(events[index].start).time_since_epoch().count())
          << name << " " << events[index].start.ToString("dd/mm/yyyy hh:nn");
    }
    EXPECT_EQ(index, events.size());
    // Each observance is named for the time it starts: these zones only move
    // their clocks for summer, so DAYLIGHT takes the larger offset.
    icalcomponent* vtimezone = icalcomponent_get_first_component(root, ICAL_VTIMEZONE_COMPONENT);
    ASSERT_NE(vtimezone, nullptr);
    std::vector<std::pair<bool, int>> observances;  // daylight, offset it starts
    for (const auto kind : {ICAL_XDAYLIGHT_COMPONENT, ICAL_XSTANDARD_COMPONENT}) {
      for (icalcomponent* o = icalcomponent_get_first_component(vtimezone, kind); o;
           o = icalcomponent_get_next_component(vtimezone, kind)) {
        observances.emplace_back(kind == ICAL_XDAYLIGHT_COMPONENT,
                                 icalproperty_get_tzoffsetto(icalcomponent_get_first_property(
                                     o, ICAL_TZOFFSETTO_PROPERTY)));
      }
    }
    int summer = INT_MIN;
    for (const auto& [daylight, offset] : observances) summer = std::max(summer, offset);
    for (const auto& [daylight, offset] : observances)
      EXPECT_EQ(daylight, offset == summer) << name << " " << offset;
    EXPECT_GE(observances.size(), 10u) << name;
    icalcomponent_free(root);
  }
}

}  // namespace
