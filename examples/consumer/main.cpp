// A minimal host: builds a shift, prints its forms, reads it back from its
// stored text and steps its date. Exits non-zero if any answer is not the one
// the README promises.
#include <cstdio>
#include <string>

#include "cuadrante/cuadrante.h"

namespace {

int failures = 0;

void Expect(const std::string& what, const std::string& got, const std::string& want) {
  std::printf("%-22s %s\n", what.c_str(), got.c_str());
  if (got != want) {
    std::fprintf(stderr, "consumer: %s gave '%s', expected '%s'\n", what.c_str(), got.c_str(),
                 want.c_str());
    ++failures;
  }
}

}  // namespace

int main() {
  // Monday 23 November 2026 at 08:00, for eight hours: a timetable.
  const TFecha start(EncodeDateTime(2026, 11, 23, 8, 0, 0, 0));
  TBasicPoint shift(start, TDuration(8 * 3600));
  shift.Type = tptTimetable;

  Expect("WriteToStr", shift.WriteToStr(), "4004582400;28800;2;1");
  Expect("ToString(3)", shift.ToString(3), "23/11/2026 08:00 - 16:00");
  Expect("GetTypeStr", shift.GetTypeStr(), "Horario");
  Expect("IsWork", shift.IsWork() ? "true" : "false", "true");
  Expect("Week", std::to_string(start.Week()), "48");
  Expect("IncDays(tgMonth)", start.IncDays(tgMonth).ToString("dd/mm/yyyy hh:nn"),
         "23/12/2026 08:00");
  Expect("EndOfWeek", start.EndOfWeek().ToString("dddd dd/mm/yyyy hh:nn:ss"),
         "domingo 29/11/2026 23:59:59");

  TBasicPoint back;
  back.ReadFromStr("4004582400;28800;2;1");
  Expect("ReadFromStr", back == shift ? "equal" : "different", "equal");
  try {
    back.ReadFromStr("12x;1;2;3");
    Expect("ReadFromStr(\"12x;...\")", "no exception", "EConvertError");
  } catch (const EConvertError& e) {
    Expect("ReadFromStr(\"12x;...\")", e.Message, "'12x' is not a valid integer value");
  }

  // A timeline: Merge adds only what is not yet covered.
  TBasicPointMgr day;
  day.Merge(new TBasicPoint(TFecha(8 * 3600), TDuration(4 * 3600)));   // [08:00, 12:00)
  day.Merge(new TBasicPoint(TFecha(10 * 3600), TDuration(4 * 3600)));  // adds [12:00, 14:00)
  AnsiString xml;
  day.SaveToXML(xml);
  TBasicPointMgr back2;
  TBasicPoint prototype;
  back2.LoadFromXML(xml, &prototype);
  Expect("Merge, XML round trip",
         back2.Points.size() == 2 ? back2.Points[1]->WriteToStr() : "wrong count",
         "43200;7200;0;1");
  // The people layer: a post that needs one person from 08:00 to 20:00 and
  // one person who covers it on Monday 23 November 2026 only.
  const cuadrante::roster::TPlan plan = cuadrante::roster::ReadPlan(
      "<PLAN><SHIFT code=\"D\" start=\"08:00\" hours=\"12\"/><POST code=\"URG\"><NEED "
      "people=\"1\" from=\"08:00\" hours=\"12\"/></POST><EMPLOYEE id=\"ana\" post=\"URG\">"
      "<ITEM start=\"2026-11-23T08:00\" hours=\"12\" type=\"2\"/></EMPLOYEE></PLAN>");
  const TFecha monday(EncodeDate(2026, 11, 23)), tuesday(EncodeDate(2026, 11, 24));
  const auto rosters = cuadrante::roster::BuildRosters(plan, monday, tuesday);
  const auto gaps = cuadrante::roster::CheckCoverage(plan, rosters, monday, tuesday);
  Expect("coverage gaps",
         std::to_string(gaps.size()) + " from " + gaps.at(0).from.ToString("dd/mm hh:nn"),
         "1 from 24/11 08:00");
  // Ana's day as a calendar event, and a night across the spring change in Madrid.
  const std::string calendar = cuadrante::roster::WriteCalendar(
      cuadrante::roster::EventsOfRoster(plan, rosters.at(0), false, {}), {nullptr, {}});
  Expect("calendar event", calendar.substr(calendar.find("DTSTART"), 25),
         "DTSTART:20261123T080000\r\n");
  const auto madrid = cuadrante::TZone::Find("Europe/Madrid");
  const TDuration night = madrid.Elapsed(TFecha(EncodeDateTime(2026, 3, 28, 22, 0, 0, 0)),
                                         TFecha(EncodeDateTime(2026, 3, 29, 6, 0, 0, 0)));
  Expect("hours across the spring change", std::to_string(night.Value() / 3600), "7");
  return failures == 0 ? 0 : 1;
}
