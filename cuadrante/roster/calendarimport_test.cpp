#include "cuadrante/roster/calendarimport.h"

#include <gtest/gtest.h>
#include <libical/ical.h>

#include <algorithm>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "cuadrante/roster/icalendar.h"
#include "cuadrante/roster/icslines.h"
#include "cuadrante/roster/personroster.h"
#include "cuadrante/roster/plan.h"
#include "cuadrante/runtime/datetime.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/testing/values.h"
#include "cuadrante/time/basicbox.h"

namespace {

using namespace cuadrante;
using namespace cuadrante::roster;

using cuadrante::testing::At;

TEST(LocalZone, TakesTzThenTheLinkThenTheRecordThenUtc) {
  const char* const madrid = "/usr/share/zoneinfo/Europe/Madrid";
  const struct {
    const char* tz;
    const char* link;
    const char* record;
    const char* zone;
    const char* why;
  } cases[] = {
      {"America/New_York", madrid, "", "America/New_York", "TZ"},
      // glibc's forms: a leading ':', a path into the database.
      {":Asia/Tokyo", madrid, "", "Asia/Tokyo", "TZ"},
      {":/usr/share/zoneinfo/Europe/Lisbon", madrid, "", "Europe/Lisbon", "TZ"},
      {"", madrid, "", "UTC", "TZ is empty: UTC"},
      // A TZ the database does not know (a POSIX rule) falls through, and says so.
      {"CET-1CEST", madrid, "", "Europe/Madrid",
       "TZ 'CET-1CEST' is no zone of the tz database; /etc/localtime"},
      {nullptr, madrid, "Europe/Berlin\n", "Europe/Madrid", "/etc/localtime"},
      {nullptr, "../usr/share/zoneinfo/posix/Europe/Paris", "", "Europe/Paris", "/etc/localtime"},
      {nullptr, "", "Europe/Berlin\n", "Europe/Berlin", "/etc/timezone"},
      {nullptr, "/opt/zones/Mars", "Mars/Base\n", "UTC", "nothing names the system's zone: UTC"},
      {nullptr, "", "", "UTC", "nothing names the system's zone: UTC"},
  };
  for (const auto& c : cases) {
    const TZoneChoice choice = ChooseLocalZone(c.tz, c.link, c.record);
    EXPECT_EQ(choice.zone.Name(), c.zone) << (c.tz ? c.tz : "(unset)") << " " << c.link;
    EXPECT_EQ(choice.why, c.why) << (c.tz ? c.tz : "(unset)") << " " << c.link;
  }
  // The chosen zone puts UTC and zoned times on one clock; floating ones stay.
  const std::string ics =
      "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//t//EN\r\n"
      "BEGIN:VEVENT\r\nUID:u\r\nDTSTART:20261102T210000Z\r\nDTEND:20261102T220000Z\r\nEND:"
      "VEVENT\r\n"
      "BEGIN:VEVENT\r\nUID:z\r\nDTSTART;TZID=Europe/Madrid:20261103T220000\r\nEND:VEVENT\r\n"
      "BEGIN:VEVENT\r\nUID:f\r\nDTSTART:20261104T220000\r\nEND:VEVENT\r\n"
      "END:VCALENDAR\r\n";
  const TZoneChoice choice = ChooseLocalZone("Europe/Madrid", "", "");
  TImportOptions options;
  options.zone = &choice.zone;
  const auto events = ReadCalendar(ics, At(2026, 11, 1), At(2026, 11, 30), options);
  ASSERT_EQ(events.size(), 3u);
  EXPECT_EQ(events[0].start, At(2026, 11, 2, 22));
  EXPECT_EQ(events[1].start, At(2026, 11, 3, 22));
  EXPECT_EQ(events[2].start, At(2026, 11, 4, 22));
}

// A roster exported, read back, kept as boxes in a stored document, read
// again and exported again: SUMMARY, shift code and type come out as they went in.
TEST(AddAsBoxes, KeepsSummaryCodeAndTypeThroughADocument) {
  const TPlan plan = ReadPlan(
      "<PLAN><SHIFT code=\"M\" start=\"07:00\" hours=\"8\" name=\"Mañana; planta\"/>"
      "<SHIFT code=\"N\" start=\"22:00\" hours=\"8\" name=\"Noche\"/>"
      "<SHIFT code=\"G\" start=\"09:00\" hours=\"24\"/>"
      "<EMPLOYEE id=\"eva\"><ROTATION pattern=\"M N G -\" from=\"2026-11-02\"/>"
      "<LEAVE from=\"2026-11-07\" to=\"2026-11-08\" type=\"9\"/>"
      "<ITEM start=\"2026-11-06T10:00\" hours=\"1\" type=\"3\"/></EMPLOYEE></PLAN>");
  const TFecha first = At(2026, 11, 2), last = At(2026, 11, 8);
  const auto exported = EventsOfRoster(plan, BuildRosters(plan, first, last).at(0), false, {});
  ASSERT_EQ(exported.size(), 6u);  // M N G, M, the task, the leave
  const TZone madrid = TZone::Find("Europe/Madrid");
  TImportOptions reading;
  reading.zone = &madrid;
  const auto read = ReadCalendar(WriteCalendar(exported, {&madrid, {}}), first, last, reading);

  TBasicPointMgr boxes;
  AddAsBoxes(read, boxes);
  AnsiString xml;
  boxes.SaveToXML(xml);
  TBasicPointMgr stored;
  TBasicBox prototype;
  stored.LoadFromXML(xml, &prototype);
  const auto again = EventsOfPoints(stored, first, last, "doc", {});
  ASSERT_EQ(again.size(), exported.size());
  for (size_t i = 0; i < again.size(); ++i) {
    SCOPED_TRACE(exported[i].summary);
    EXPECT_EQ(again[i].start, exported[i].start);
    EXPECT_EQ(again[i].seconds, exported[i].seconds);
    EXPECT_EQ(again[i].type, exported[i].type);
    EXPECT_EQ(again[i].shift, exported[i].shift);
    // A stored box cannot hold ';': the one SUMMARY that has one shows ','.
    std::string summary = exported[i].summary;
    std::replace(summary.begin(), summary.end(), ';', ',');
    EXPECT_EQ(again[i].summary, summary);
  }
  EXPECT_EQ(again[0].summary, "M Mañana, planta");
  EXPECT_EQ(again[4].summary, "Tarea");

  // Another calendar's events: no code, a SUMMARY with line ends, none at all.
  const std::vector<TImportedEvent> foreign = {
      {At(2026, 11, 2, 9), TDuration(3600), tptTask, "Curso\nde RCP", "", "a"},
      {At(2026, 11, 3), TDuration(86400), tptLeave, "", "", "b"},
      {At(2026, 11, 4, 8), TDuration(3600), tptTimetable, "  NX extra  ", "NX", "c"},
  };
  TBasicPointMgr other;
  AddAsBoxes(foreign, other);
  std::vector<std::string> texts;
  for (TBasicPoint* point : other.Points) {
    const auto* box = static_cast<TBasicBox*>(point);
    texts.push_back(box->Code + "|" + box->Description);
  }
  EXPECT_EQ(texts, (std::vector<std::string>{" |Curso de RCP", " | ", "NX|extra"}));
}

// A calendar of the given events, each the lines between its BEGIN and END.
std::string Calendar(const std::vector<std::string>& events, const std::string& zones = "") {
  std::string ics = "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//t//EN\r\n" + zones;
  for (const std::string& lines : events) ics += "BEGIN:VEVENT\r\n" + lines + "END:VEVENT\r\n";
  return ics + "END:VCALENDAR\r\n";
}

// libical's own walk of a rule from DTSTART, as wall-clock values below `end`.
std::vector<int64_t> LibicalWalk(const char* rule, const char* start, TFecha end) {
  std::unique_ptr<icalrecur_iterator, void (*)(icalrecur_iterator*)> steps(
      icalrecur_iterator_new(icalrecurrencetype_from_string(rule), icaltime_from_string(start)),
      icalrecur_iterator_free);
  std::vector<int64_t> walls;
  for (icaltimetype t = icalrecur_iterator_next(steps.get()); !icaltime_is_null_time(t);
       t = icalrecur_iterator_next(steps.get())) {
    const int64_t wall = At(t.year, t.month, t.day, t.hour, t.minute).Value() + t.second;
    if (wall >= end.Value()) break;
    walls.push_back(wall);
  }
  return walls;
}

std::vector<int64_t> Starts(const std::vector<TImportedEvent>& events) {
  std::vector<int64_t> starts;
  for (const TImportedEvent& e : events) starts.push_back(e.start.Value());
  return starts;
}

// Rules finer than a day are walked here, a day at a time, and rules without
// COUNT from the range's start: both give what libical's iterator gives, and
// a rule that no time can match (libical never returns from it) ends.
TEST(ReadCalendar, WalksRulesAsLibicalDoesAndEndsThoseNoTimeMatches) {
  const char* const rules[][2] = {
      {"FREQ=HOURLY;INTERVAL=5;BYMINUTE=0,30;BYDAY=MO,WE", "20261102T081500"},
      {"FREQ=HOURLY;BYMONTHDAY=3,-1;BYSECOND=10,5", "20261101T220000"},
      {"FREQ=MINUTELY;INTERVAL=7;BYHOUR=9,10;BYSECOND=0,30", "20261102T090300"},
      {"FREQ=MINUTELY;INTERVAL=45;COUNT=50", "20261102T233000"},
      {"FREQ=SECONDLY;INTERVAL=90;BYMINUTE=0,1,2,3;COUNT=40", "20261102T000000"},
      // Walked from the range's start: DTSTART is years before it.
      {"FREQ=WEEKLY;INTERVAL=3;BYDAY=TU,TH", "20000104T090000"},
      {"FREQ=MONTHLY;BYDAY=-1FR,1MO", "19950106T070000"},
      {"FREQ=HOURLY;INTERVAL=7", "19990101T030000"},
  };
  const TFecha first = At(2026, 11, 2), last = At(2026, 11, 20);
  const TFecha end = At(2026, 11, 21);
  for (const auto& [rule, start] : rules) {
    SCOPED_TRACE(rule);
    const std::string ics =
        Calendar({"UID:r\r\nDTSTART:" + std::string(start) + "\r\nRRULE:" + rule + "\r\n"});
    std::vector<int64_t> want;
    for (const int64_t wall : LibicalWalk(rule, start, end))
      if (wall >= first.Value()) want.push_back(wall);
    ASSERT_FALSE(want.empty());
    std::sort(want.begin(), want.end());  // libical gives BYSECOND in its written order
    EXPECT_EQ(Starts(ReadCalendar(ics, first, last, {})), want);
  }
  // No day of the year 366 is in February, and no February has a 30th.
  for (const char* rule :
       {"FREQ=MINUTELY;BYYEARDAY=366;BYMONTH=2", "FREQ=SECONDLY;BYMONTH=2;BYMONTHDAY=30",
        "FREQ=HOURLY;INTERVAL=2;BYHOUR=1,3,5", "FREQ=DAILY;BYMONTH=2;BYMONTHDAY=30"}) {
    SCOPED_TRACE(rule);
    const std::string ics =
        Calendar({"UID:x\r\nDTSTART:20260101T000000\r\nRRULE:" + std::string(rule) + "\r\n"});
    EXPECT_TRUE(ReadCalendar(ics, At(2026, 1, 1), At(2026, 12, 31), {}).empty());
  }
  // A monthly rule whose months hold none of its days is refused before libical walks it.
  const std::string never =
      Calendar({"UID:n\r\nDTSTART:20260101T000000\r\nRRULE:FREQ=MONTHLY;INTERVAL=2;BYMONTH=2\r\n"});
  EXPECT_THROW(ReadCalendar(never, At(2026, 1, 1), At(2026, 12, 31), {}), EConvertError);
}

// The budget is the file's: each event fits it alone, forty do not, however
// small the text; and a VTIMEZONE's rule of every second is refused by name.
TEST(ReadCalendar, TheStepBudgetIsTheWholeFilesAndZonesChangeYearly) {
  TImportOptions options;
  options.maxSteps = 100'000;
  const TFecha first = At(2026, 1, 1), last = At(2026, 12, 31);
  const std::string one = "DTSTART:20260101T000000\r\nRRULE:FREQ=SECONDLY;COUNT=30000\r\n";
  EXPECT_EQ(ReadCalendar(Calendar({"UID:a\r\n" + one}), first, last, options).size(), 30000u);
  std::vector<std::string> forty;
  for (int i = 0; i < 40; ++i) forty.push_back("UID:e" + std::to_string(i) + "\r\n" + one);
  EXPECT_THROW(ReadCalendar(Calendar(forty), first, last, options), EConvertError);
  // Skipping bad events does not skip the budget.
  options.skip = [](const TSkippedEvent&) {};
  EXPECT_THROW(ReadCalendar(Calendar(forty), first, last, options), EConvertError);

  const std::string zone =
      "BEGIN:VTIMEZONE\r\nTZID:Hostile\r\nBEGIN:STANDARD\r\nDTSTART:19700101T000000\r\n"
      "RRULE:FREQ=SECONDLY\r\nTZOFFSETFROM:+0100\r\nTZOFFSETTO:+0200\r\nEND:STANDARD\r\n"
      "END:VTIMEZONE\r\n";
  const TZone madrid = TZone::Find("Europe/Madrid");
  TImportOptions zoned;
  zoned.zone = &madrid;
  try {
    ReadCalendar(Calendar({"UID:z\r\nDTSTART;TZID=Hostile:20261102T090000\r\n"}, zone), first, last,
                 zoned);
    ADD_FAILURE() << "a zone that changes every second was read";
  } catch (const EConvertError& e) {
    EXPECT_NE(e.Message.find("VTIMEZONE 'Hostile'"), std::string::npos) << e.Message;
    EXPECT_NE(e.Message.find("FREQ=SECONDLY"), std::string::npos) << e.Message;
  }
  // A real zone's yearly rule places times as the tz database does.
  const std::string yearly =
      "BEGIN:VTIMEZONE\r\nTZID:Madrid\r\nBEGIN:STANDARD\r\nDTSTART:19701025T030000\r\n"
      "RRULE:FREQ=YEARLY;BYMONTH=10;BYDAY=-1SU\r\nTZOFFSETFROM:+0200\r\nTZOFFSETTO:+0100\r\n"
      "END:STANDARD\r\nBEGIN:DAYLIGHT\r\nDTSTART:19700329T020000\r\n"
      "RRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU\r\nTZOFFSETFROM:+0100\r\nTZOFFSETTO:+0200\r\n"
      "END:DAYLIGHT\r\nEND:VTIMEZONE\r\n";
  const TZone tokyo = TZone::Find("Asia/Tokyo");
  zoned.zone = &tokyo;
  const auto events = ReadCalendar(
      Calendar({"UID:y\r\nDTSTART;TZID=Madrid:20260702T090000\r\n"}, yearly), first, last, zoned);
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].start, At(2026, 7, 2, 16));
  // libical unrolls a zone's yearly rules from their first year on: rules of
  // 1600 cost some 900 years of steps, more than a budget of 500 holds.
  std::string old = yearly;
  for (size_t at = old.find("DTSTART:1970"); at != std::string::npos;
       at = old.find("DTSTART:1970", at))
    old.replace(at + 8, 4, "1600");
  const std::string early = "UID:o\r\nDTSTART;TZID=Madrid:20260702T090000\r\n";
  zoned.maxSteps = 2000;
  EXPECT_EQ(ReadCalendar(Calendar({early}, old), first, last, zoned).size(), 1u);
  zoned.maxSteps = 500;
  try {
    ReadCalendar(Calendar({early}, old), first, last, zoned);
    ADD_FAILURE() << "rules of four centuries were unrolled within 500 steps";
  } catch (const EConvertError& e) {
    EXPECT_NE(e.Message.find("VTIMEZONE 'Madrid'"), std::string::npos) << e.Message;
  }
}

// Times are checked field by field as written, before libical normalises
// them, with the line named; a bad event refuses the file, or with `skip` is
// left out and reported.
TEST(ReadCalendar, ChecksTimesAsWrittenAndSkipsBadEventsWhenAsked) {
  const TFecha first = At(2026, 1, 1), last = At(2026, 12, 31);
  const struct {
    const char* line;
    const char* why;
  } bad[] = {
      {"DTSTART:20261101T236099", "minute 60 (0-59)"},
      {"DTSTART:20261101T240000", "hour 24 (0-23)"},
      {"DTSTART:20261101T235960", "second 60, a leap second"},
      {"DTSTART:20260229T100000", "day 29 (1-28)"},
      {"DTSTART;VALUE=DATE:20261301", "month 13 (1-12)"},
      {"DTSTART:2026110", "no date"},
      {"DTSTART:20261101T1000", "no date-time"},
      {"DTSTART:20261101T100000\r\nDTEND:20261131T100000", "day 31 (1-30)"},
      {"DTSTART:20261101T100000\r\nEXDATE:20261102T100000,20261103T106000", "minute 60"},
      {"DTSTART:20261101T100000\r\nRDATE;VALUE=PERIOD:20261102T100000/20261102T250000", "hour 25"},
      {"DTSTART:20261101T100000\r\nRRULE:FREQ=DAILY;UNTIL=20261232T000000", "day 32"},
      {"DTSTART:00001101T100000", "year 0"},
  };
  for (const auto& c : bad) {
    SCOPED_TRACE(c.line);
    const std::string ics = Calendar(
        {"UID:good\r\nDTSTART:20261103T100000\r\n", "UID:bad\r\n" + std::string(c.line) + "\r\n"});
    try {
      ReadCalendar(ics, first, last, {});
      ADD_FAILURE() << "read";
    } catch (const EConvertError& e) {
      EXPECT_NE(e.Message.find("event 'bad' (line 8)"), std::string::npos) << e.Message;
      EXPECT_NE(e.Message.find(c.why), std::string::npos) << e.Message;
    }
    std::vector<TSkippedEvent> skipped;
    TImportOptions skipping;
    skipping.skip = [&](const TSkippedEvent& event) { skipped.push_back(event); };
    EXPECT_EQ(ReadCalendar(ics, first, last, skipping).size(), 1u);
    ASSERT_EQ(skipped.size(), 1u);
    EXPECT_EQ(skipped[0].uid, "bad");
    EXPECT_EQ(skipped[0].line, 8u);
    EXPECT_NE(skipped[0].why.find(c.why), std::string::npos) << skipped[0].why;
  }
  // Sound edges: a leap day, the last second of a day, of the year 9999.
  const std::string edges = Calendar(
      {"UID:a\r\nDTSTART:20280229T235959\r\n", "UID:b\r\nDTSTART;VALUE=DATE:99991231\r\n"});
  EXPECT_EQ(ReadCalendar(edges, At(2028, 2, 29), At(2028, 2, 29), {}).size(), 1u);
  EXPECT_EQ(ReadCalendar(edges, At(9999, 12, 31), At(9999, 12, 31), {}).size(), 1u);
  // UTC offsets: hours below 24, never -0000; the zone is named.
  for (const char* offset : {"-999999", "+2400", "+0160", "-0000", "+01"}) {
    SCOPED_TRACE(offset);
    const std::string zone = std::string(
                                 "BEGIN:VTIMEZONE\r\nTZID:Far\r\nBEGIN:STANDARD\r\n"
                                 "DTSTART:19700101T000000\r\nTZOFFSETFROM:+0000\r\nTZOFFSETTO:") +
                             offset + "\r\nEND:STANDARD\r\nEND:VTIMEZONE\r\n";
    try {
      ReadCalendar(Calendar({}, zone), first, last, {});
      ADD_FAILURE() << "read";
    } catch (const EConvertError& e) {
      EXPECT_NE(e.Message.find("VTIMEZONE 'Far' (line 9: TZOFFSETTO"), std::string::npos)
          << e.Message;
    }
  }
}

// Lines are unfolded here, in one pass: LF or CRLF, a blank or a tab
// continues, a line over kMaxContentLine is refused by number, and a
// component left open or closed by another's END refuses the text.
TEST(ReadCalendar, UnfoldsLinesItselfAndBoundsThem) {
  const TFecha first = At(2026, 11, 1), last = At(2026, 11, 30);
  const std::string folded =
      "BEGIN:VCALENDAR\nBEGIN:VEVENT\nUID:f\nDTSTART:2026\r\n 1102T09\r\n\t0000\r\n"
      "SUMMARY:Gu\n ardia\nEND:VEVENT\nEND:VCALENDAR\n";
  const auto events = ReadCalendar(folded, first, last, {});
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].start, At(2026, 11, 2, 9));
  EXPECT_EQ(events[0].summary, "Guardia");
  // Each physical line of a folded line counts: the next line is 4, not 2.
  TContentLines lines("A:1\r\n 2\r\n\r\nB:3\n");
  ASSERT_TRUE(lines.Next());
  EXPECT_EQ(lines.Line(), "A:12");
  EXPECT_EQ(lines.Number(), 1u);
  ASSERT_TRUE(lines.Next());
  EXPECT_EQ(lines.Line(), "B:3");
  EXPECT_EQ(lines.Number(), 4u);
  EXPECT_FALSE(lines.Next());

  const struct {
    std::string text;
    const char* why;
  } bad[] = {
      {Calendar({"UID:l\r\nDTSTART:20261102T090000\r\nDESCRIPTION:" +
                 std::string(kMaxContentLine, 'a') + "\r\n"}),
       "line 7: a content line longer than 1048576 octets"},
      {Calendar({"UID:l\r\nDTSTART:20261102T090000\r\nDESCRIPTION:" +
                 std::string(kMaxContentLine / 2, 'a') + "\r\n " +
                 std::string(kMaxContentLine / 2, 'a') + "\r\n"}),
       "line 7: a content line longer"},
      {"BEGIN:VCALENDAR\r\nBEGIN:VEVENT\r\nUID:o\r\n", "ends inside BEGIN:VEVENT of line 2"},
      {"BEGIN:VCALENDAR\r\nBEGIN:VEVENT\r\nEND:VTODO\r\n", "line 3: END:VTODO closes BEGIN:VEVENT"},
      {std::string("BEGIN:VCALENDAR\r\nX:a\0b\r\nEND:VCALENDAR\r\n", 32), "line 2 holds a NUL"},
      {"BEGIN:VCALENDAR\r\nEND:VCALENDAR\r\nBEGIN:VCALENDAR\r\n",
       "line 3: text after END:VCALENDAR"},
  };
  for (const auto& c : bad) {
    SCOPED_TRACE(c.why);
    try {
      ReadCalendar(c.text, first, last, {});
      ADD_FAILURE() << "read";
    } catch (const EConvertError& e) {
      EXPECT_NE(e.Message.find(c.why), std::string::npos) << e.Message;
    }
  }
}

// Lengths past 2^31 seconds (68 years) stay positive, by DTEND or DURATION.
TEST(ReadCalendar, LongEventsKeepTheirLength) {
  const int64_t seventyFive = At(2101, 11, 2).Value() - At(2026, 11, 2).Value();
  const std::string ics = Calendar({
      "UID:e\r\nDTSTART:20261102T000000\r\nDTEND:21011102T000000\r\n",
      "UID:d\r\nDTSTART:20261102T000000\r\nDURATION:P" + std::to_string(seventyFive / 86400) +
          "D\r\n",
  });
  const auto events = ReadCalendar(ics, At(2026, 11, 1), At(2026, 11, 30), {});
  ASSERT_EQ(events.size(), 2u);
  EXPECT_EQ(events[0].seconds.Value(), seventyFive);
  EXPECT_EQ(events[1].seconds.Value(), seventyFive);
}

}  // namespace
