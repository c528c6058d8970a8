#include "cuadrante/roster/calendarimport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#include "cuadrante/roster/icalendar.h"
#include "cuadrante/roster/personroster.h"
#include "cuadrante/roster/plan.h"
#include "cuadrante/runtime/datetime.h"
#include "cuadrante/time/basicbox.h"

namespace {

using namespace cuadrante::roster;

TFecha At(int year, int month, int day, int hour = 0, int minute = 0) {
  return TFecha(EncodeDateTime(year, month, day, hour, minute, 0, 0));
}

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
  const auto read = ReadCalendar(WriteCalendar(exported, {&madrid, 0}), first, last, reading);

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
      {At(2026, 11, 2, 9), 3600, tptTask, "Curso\nde RCP", "", "a"},
      {At(2026, 11, 3), 86400, tptLeave, "", "", "b"},
      {At(2026, 11, 4, 8), 3600, tptTimetable, "  NX extra  ", "NX", "c"},
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

}  // namespace
