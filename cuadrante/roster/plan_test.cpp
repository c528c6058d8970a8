#include "cuadrante/roster/plan.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <type_traits>

#include "cuadrante/roster/personroster.h"
#include "cuadrante/runtime/datetime.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/testing/values.h"

namespace {

using cuadrante::roster::ReadPlan;

using cuadrante::testing::At;

const std::string kHead =
    "<PLAN><POST code=\"UCI\"><NEED people=\"2\" from=\"07:00\" hours=\"8\" days=\"weekdays\"/>"
    "</POST><SHIFT code=\"M\" start=\"07:00\" hours=\"8\"/><SHIFT code=\"N\" start=\"22:00\" "
    "hours=\"7:30\" type=\"8\" name=\"Noche\"/>";

std::string ErrorOf(const std::string& xml) {
  try {
    ReadPlan(xml);
  } catch (const Exception& e) {
    return e.Message;
  }
  return "";
}

std::string Plan(const std::string& body) { return kHead + body + "</PLAN>"; }

// A plan whose one employee "a" holds `inner`.
std::string OfA(const std::string& inner) {
  return Plan("<EMPLOYEE id=\"a\">" + inner + "</EMPLOYEE>");
}

TEST(ReadPlan, ReadsEveryElementOfThePlan) {
  // The second post takes its days as a list of weekday names.
  const auto plan = ReadPlan(Plan(
      "<POST code=\"P\"><NEED people=\"1\" from=\"07:00\" hours=\"8\" days=\"tue,sun\"/></POST>"
      "<LIMITS minRest=\"11\" maxWeek=\"40\" maxDays=\"5\"/><HOLIDAY date=\"2026-12-08\"/>"
      "<EMPLOYEE id=\"ana\" name=\"Ana\" post=\"UCI\" contract=\"37.5\">"
      "<RULE shift=\"M\" every=\"day\" from=\"2026-11-02\" until=\"2026-11-30\" weekend=\"1\"/>"
      "<RULE stored=\"4004578800;28800;2;1;2;0;0;0\"/>"
      "<ROTATION pattern=\" M  N - \" from=\"2026-11-02\"/>"
      "<LEAVE from=\"2026-11-20\" to=\"2026-11-22\"/>"
      "<ITEM start=\"2026-11-23T08:30\" hours=\"1.5\" type=\"6\"/>"
      // A shift on a day takes the shift's start, length and type...
      "<ITEM start=\"2026-11-24\" shift=\"N\"/>"
      // ...unless the item says otherwise.
      "<ITEM start=\"2026-11-25T21:00\" shift=\"N\" hours=\"9\" type=\"2\"/></EMPLOYEE>"
      "<EMPLOYEE id=\"luis\" contractDays=\"all\"/>"
      "<EMPLOYEE id=\"eva\" contract=\"0\" contractDays=\"sat,sun\"/>"));
  ASSERT_EQ(plan.posts.size(), 2u);
  EXPECT_EQ(plan.posts[0].needs[0].people, 2);
  EXPECT_EQ(plan.posts[0].needs[0].startMinute, 7 * 60);
  EXPECT_EQ(plan.posts[0].needs[0].days, 0x1F);
  EXPECT_EQ(plan.posts[1].needs[0].days, 0x42);
  EXPECT_FALSE(plan.posts[0].worksHolidays);
  ASSERT_EQ(plan.shifts.size(), 2u);
  EXPECT_EQ(plan.FindShift("N")->seconds.Value(), 7 * 3600 + 1800);
  EXPECT_EQ(plan.FindShift("N")->type, tptCover);
  EXPECT_EQ(plan.FindShift("M")->name, "M");
  EXPECT_EQ(plan.limits.minRestSeconds.Value(), 11 * 3600);
  EXPECT_EQ(plan.limits.maxWeekSeconds.Value(), 40 * 3600);
  EXPECT_EQ(plan.limits.maxConsecutiveDays, 5);
  EXPECT_EQ(plan.holidays, std::vector<TFecha>{At(2026, 12, 8)});
  ASSERT_EQ(plan.employees.size(), 3u);
  const auto& ana = plan.employees[0];
  EXPECT_EQ(ana.contractSeconds.Value(), 37 * 3600 + 1800);
  EXPECT_TRUE(ana.hasContract);
  EXPECT_EQ(ana.contractDays, 0x1F);
  EXPECT_EQ(plan.employees[1].contractDays, 0x7F);
  // A contract of 0 is a contract: nothing owed, said on purpose.
  EXPECT_TRUE(plan.employees[2].hasContract);
  EXPECT_EQ(plan.employees[2].contractDays, 0x60);
  ASSERT_EQ(ana.rules.size(), 2u);
  EXPECT_EQ(ana.rules[0].every, tgDay);
  EXPECT_TRUE(ana.rules[0].weekend);
  EXPECT_EQ(ana.rules[0].until, At(2026, 11, 30));
  EXPECT_EQ(ana.rules[1].stored, "4004578800;28800;2;1;2;0;0;0");
  EXPECT_EQ(ana.rotations[0].pattern, (std::vector<std::string>{"M", "N", "-"}));
  ASSERT_EQ(ana.items.size(), 4u);
  EXPECT_EQ(ana.items[0].start, At(2026, 11, 20));  // leave: whole days, both included
  EXPECT_EQ(ana.items[0].seconds.Value(), 3 * 86400);
  EXPECT_EQ(ana.items[0].type, tptLeave);
  EXPECT_EQ(ana.items[1].start, At(2026, 11, 23, 8, 30));
  EXPECT_EQ(ana.items[1].seconds.Value(), 5400);
  EXPECT_EQ(ana.items[1].code, "");
  EXPECT_EQ(ana.items[2].start, At(2026, 11, 24, 22));
  EXPECT_EQ(ana.items[2].seconds.Value(), 7 * 3600 + 1800);
  EXPECT_EQ(ana.items[2].type, tptCover);
  EXPECT_EQ(ana.items[2].code, "N");
  EXPECT_EQ(ana.items[3].start, At(2026, 11, 25, 21));
  EXPECT_EQ(ana.items[3].seconds.Value(), 9 * 3600);
  EXPECT_EQ(ana.items[3].type, tptTimetable);
  EXPECT_TRUE(ReadPlan(Plan("<POST code=\"P\" worksHolidays=\"1\"/>")).posts[1].worksHolidays);
  EXPECT_EQ(plan.employees[1].name, "luis");  // the id stands for a missing name
  EXPECT_EQ(plan.employees[1].contractSeconds.Value(), 0);
  EXPECT_FALSE(plan.employees[1].hasContract);
}

TEST(ReadPlan, ReadsWhatTheEngineMayFillAndTheWishesItWeighs) {
  // A need that names a shift spans it, wherever the SHIFT stands.
  const auto plan = ReadPlan(
      "<PLAN><POST code=\"P\"><NEED people=\"2\" shift=\"L\" days=\"weekend\" missing=\"50\" "
      "surplus=\"3\"/></POST><POST code=\"Q\"/><SHIFT code=\"L\" start=\"09:30\" hours=\"10\"/>"
      "<SHIFT code=\"M\" start=\"07:00\" hours=\"8\"/>"
      "<EMPLOYEE id=\"a\" post=\"P\" posts=\"P Q\" shifts=\"L\" minHours=\"100\" "
      "maxHours=\"140.5\" tolerance=\"4\" maxWeekends=\"2\" maxShifts=\"L:3 M:0\" minDaysOff=\"2\">"
      "<REQUEST date=\"2026-12-24\" off=\"1\" weight=\"5\"/>"
      "<REQUEST date=\"2026-12-31\" shift=\"L\" on=\"1\"/>"
      "<ITEM start=\"2026-12-02\" shift=\"L\" post=\"Q\" by=\"engine\"/></EMPLOYEE>"
      "<EMPLOYEE id=\"b\" post=\"Q\"/><EMPLOYEE id=\"c\"/></PLAN>");
  const cuadrante::roster::TNeed& need = plan.posts[0].needs[0];
  EXPECT_EQ(need.shift, "L");
  EXPECT_EQ(need.startMinute, 9 * 60 + 30);
  EXPECT_EQ(need.seconds.Value(), 10 * 3600);
  EXPECT_EQ(need.days, 0x60);
  EXPECT_EQ(need.missingWeight, 50);
  EXPECT_EQ(need.surplusWeight, 3);
  const auto& a = plan.employees[0];
  EXPECT_EQ(a.posts, (std::vector<std::string>{"P", "Q"}));
  EXPECT_EQ(a.shifts, std::vector<std::string>{"L"});
  EXPECT_EQ(a.minHours->Value(), 100 * 3600);
  EXPECT_EQ(a.maxHours->Value(), 140 * 3600 + 1800);
  EXPECT_EQ(a.tolerance.Value(), 4 * 3600);
  EXPECT_EQ(a.maxWeekends, 2);
  EXPECT_EQ(a.maxShifts, (std::vector<std::pair<std::string, int>>{{"L", 3}, {"M", 0}}));
  EXPECT_EQ(a.minDaysOff, 2);
  ASSERT_EQ(a.requests.size(), 2u);
  EXPECT_EQ(a.requests[0].day, At(2026, 12, 24));
  EXPECT_FALSE(a.requests[0].on);
  EXPECT_EQ(a.requests[0].shift, "");  // off any shift of the day
  EXPECT_EQ(a.requests[0].weight, 5);
  EXPECT_TRUE(a.requests[1].on);
  EXPECT_EQ(a.requests[1].weight, 1);
  EXPECT_TRUE(a.items[0].byEngine);
  EXPECT_EQ(a.items[0].post, "Q");
  // Unsaid: the person's own post, any shift, the contract's hours.
  const auto& b = plan.employees[1];
  EXPECT_EQ(b.posts, std::vector<std::string>{"Q"});
  EXPECT_TRUE(b.shifts.empty());
  EXPECT_FALSE(b.minHours || b.maxHours || b.maxWeekends);
  EXPECT_EQ(b.tolerance.Value(), 8 * 3600);
  EXPECT_EQ(b.minDaysOff, 1);
  EXPECT_TRUE(plan.employees[2].posts.empty());
  EXPECT_EQ(plan.posts[0].needs.size(), 1u);
  // A need of a bare span keeps the default weights and names no shift.
  const auto spans = ReadPlan(Plan(""));
  EXPECT_EQ(spans.posts[0].needs[0].shift, "");
  EXPECT_EQ(spans.posts[0].needs[0].missingWeight, 100);
  EXPECT_EQ(spans.posts[0].needs[0].surplusWeight, 1);
}

TEST(TPlan, FindsCodesByIndexAndStillAfterTheListsChange) {
  std::string xml = "<PLAN>";
  for (int i = 0; i < 5000; ++i)
    xml += "<SHIFT code=\"S" + std::to_string(i) + "\" start=\"08:00\" hours=\"8\"/>";
  xml +=
      "<POST code=\"P\"/><EMPLOYEE id=\"a\" post=\"P\"><ROTATION pattern=\"S4999 S0 -\" "
      "from=\"2026-11-02\"/></EMPLOYEE></PLAN>";
  auto plan = ReadPlan(xml);
  EXPECT_EQ(plan.FindShift("S4321"), &plan.shifts[4321]);
  EXPECT_EQ(plan.FindShift("S5000"), nullptr);
  EXPECT_EQ(plan.FindPost("P"), &plan.posts[0]);
  plan.shifts.push_back({"X", "X", 0, TDuration(3600), tptTimetable});
  EXPECT_EQ(plan.FindShift("X"), &plan.shifts.back());  // found by a walk
  plan.shifts[0].code = "Y";
  plan.Reindex();
  EXPECT_EQ(plan.FindShift("Y"), &plan.shifts[0]);
  EXPECT_EQ(plan.FindShift("S0"), nullptr);
}

TEST(ReadPlan, RefusesABrokenPlanNamingTheElementAndTheReason) {
  const std::pair<std::string, std::string> broken[] = {
      {"<ROSTER/>", "is no plan document (its root is ROSTER, not PLAN)"},
      {Plan("<EMPLOYEE id=\"a\" post=\"URG\"/>"), "EMPLOYEE a: post 'URG' is no POST of the plan"},
      {Plan("<EMPLOYEE id=\"a\"/><EMPLOYEE id=\"a\"/>"), "EMPLOYEE a: appears twice"},
      {OfA("<RULE shift=\"X\" from=\"2026-11-02\"/>"),
       "EMPLOYEE a: RULE 1: shift 'X' is no SHIFT of the plan"},
      {OfA("<RULE shift=\"M\"/>"), "EMPLOYEE a: RULE 1: needs from"},
      {OfA("<RULE shift=\"M\" from=\"2026-11-31\"/>"),
       "EMPLOYEE a: RULE 1: from '2026-11-31' is no date (use 2026-11-23)"},
      {OfA("<RULE shift=\"M\" from=\"2026-11-02\" every=\"hour\"/>"),
       "EMPLOYEE a: RULE 1: every 'hour' is none of day, week"},
      {OfA("<RULE shift=\"M\" from=\"2026-11-02\" until=\"2026-11-01\"/>"),
       "EMPLOYEE a: RULE 1: ends before it starts"},
      {OfA("<RULE stored=\"4004578800;-5;2;1;2;0;0;0\"/>"),
       "EMPLOYEE a: RULE 1: stored '4004578800;-5;2;1;2;0;0;0' field 2 (seconds): -5 is negative"},
      {OfA("<RULE stored=\"4004578800;5;2;1\"/>"),
       "EMPLOYEE a: RULE 1: stored '4004578800;5;2;1' is no rule (8 fields)"},
      {OfA("<ROTATION pattern=\"M X\" from=\"2026-11-02\"/>"),
       "EMPLOYEE a: ROTATION 1: pattern names 'X', which is no SHIFT of the plan (rest is -)"},
      {OfA("<LEAVE from=\"2026-11-22\" to=\"2026-11-20\"/>"),
       "EMPLOYEE a: LEAVE 1: ends before it starts"},
      {OfA("<ITEM start=\"2026-11-22\" hours=\"-2\"/>"),
       "EMPLOYEE a: ITEM 1: hours '-2' is no length (use 8, 7.5 or 7:30)"},
      {OfA("<ITEM start=\"2026-11-22\" hours=\"2\" type=\"99\"/>"),
       "EMPLOYEE a: ITEM 1: type '99' is no whole number from 0 to 13"},
      {Plan("<EMPLOYEE id=\"a\" contrato=\"40\"/>"), "EMPLOYEE a: has no attribute contrato"},
      {OfA("<SHIFT/>"), "EMPLOYEE a: SHIFT is none of RULE, ROTATION, LEAVE, ITEM, REQUEST"},
      {Plan("<POST code=\"P\"><NEED people=\"1\" shift=\"X\"/></POST>"),
       "POST P: NEED 1: shift 'X' is no SHIFT of the plan"},
      {Plan("<POST code=\"P\"><NEED people=\"1\" shift=\"M\" from=\"07:00\"/></POST>"),
       "POST P: NEED 1: takes shift or from and hours, not both"},
      {Plan("<POST code=\"P\"><NEED people=\"1\" shift=\"M\" missing=\"x\"/></POST>"),
       "POST P: NEED 1: missing 'x' is no whole number from 0 to 1000000"},
      {Plan("<EMPLOYEE id=\"a\" posts=\"UCI URG\"/>"),
       "EMPLOYEE a: posts names 'URG', which is no POST of the plan"},
      {Plan("<EMPLOYEE id=\"a\" shifts=\"M X\"/>"),
       "EMPLOYEE a: shifts names 'X', which is no SHIFT of the plan"},
      {Plan("<EMPLOYEE id=\"a\" minHours=\"100\" maxHours=\"90\"/>"),
       "EMPLOYEE a: maxHours is less than minHours"},
      {Plan("<EMPLOYEE id=\"a\" maxShifts=\"N:5 X:2\"/>"),
       "EMPLOYEE a: maxShifts 'X:2' is no SHIFT code and count"},
      {Plan("<EMPLOYEE id=\"a\" maxShifts=\"N\"/>"),
       "EMPLOYEE a: maxShifts 'N' is no SHIFT code and count"},
      {Plan("<EMPLOYEE id=\"a\" maxShifts=\"N:-1\"/>"),
       "EMPLOYEE a: maxShifts 'N:-1' is no SHIFT code and count"},
      {Plan("<EMPLOYEE id=\"a\" maxWeekends=\"two\"/>"),
       "EMPLOYEE a: maxWeekends 'two' is no whole number"},
      {OfA("<REQUEST date=\"2026-12-24\" shift=\"X\" off=\"1\"/>"),
       "EMPLOYEE a: REQUEST 1: shift 'X' is no SHIFT of the plan"},
      {OfA("<REQUEST date=\"2026-12-24\" off=\"1\" weight=\"5.5\"/>"),
       "EMPLOYEE a: REQUEST 1: weight '5.5' is no whole number from 1 to 1000000"},
      {OfA("<REQUEST date=\"2026-12-24\" on=\"1\"/>"),
       "EMPLOYEE a: REQUEST 1: on=\"1\" needs shift"},
      {OfA("<REQUEST date=\"2026-12-24\" on=\"1\" off=\"1\" shift=\"M\"/>"),
       "EMPLOYEE a: REQUEST 1: takes on=\"1\" or off=\"1\""},
      {OfA("<REQUEST date=\"2026-12-24\" shift=\"M\"/>"),
       "EMPLOYEE a: REQUEST 1: takes on=\"1\" or off=\"1\""},
      {OfA("<ITEM start=\"2026-11-22\" shift=\"M\" by=\"hand\"/>"),
       "EMPLOYEE a: ITEM 1: by 'hand' is not engine"},
      {OfA("<ITEM start=\"2026-11-22\" shift=\"M\" post=\"URG\"/>"),
       "EMPLOYEE a: ITEM 1: post 'URG' is no POST of the plan"},
      {Plan("<SHIFT code=\"M\" start=\"08:00\" hours=\"8\"/>"), "SHIFT M: appears twice"},
      {Plan("<SHIFT code=\"-\" start=\"08:00\" hours=\"8\"/>"),
       "SHIFT -: code '-' may not be - nor hold a blank"},
      {Plan("<SHIFT code=\"X\" start=\"24:00\" hours=\"8\"/>"),
       "SHIFT X: start '24:00' is no time of day (use 07:00)"},
      {Plan("<POST code=\"P\"><NEED people=\"1\" from=\"07:00\" hours=\"8\" days=\"lun\"/></POST>"),
       "POST P: NEED 1: days 'lun' is none of all, weekdays, weekend"},
      {Plan("<POST code=\"P\"><NEED from=\"07:00\" hours=\"8\"/></POST>"),
       "POST P: NEED 1: needs people"},
      {Plan("<HOLIDAY date=\"8/12/2026\"/>"),
       "HOLIDAY 1: date '8/12/2026' is no date (use 2026-11-23)"},
      {Plan("<HOLIDAY date=\"1899-12-31\"/>"), "HOLIDAY 1: date '1899-12-31' is no date"},
      {Plan("<LIMITS maxDays=\"0\"/>"), "LIMITS: maxDays '0' is no whole number from 1"},
      {Plan("<STAFF/>"), "STAFF is none of POST, SHIFT, EMPLOYEE, HOLIDAY, LIMITS"},
      {OfA("<ITEM start=\"2026-11-22\" shift=\"X\"/>"),
       "EMPLOYEE a: ITEM 1: shift 'X' is no SHIFT of the plan"},
      {OfA("<ITEM start=\"2026-11-22\"/>"), "EMPLOYEE a: ITEM 1: needs hours"},
      {Plan("<EMPLOYEE id=\"a\" contract=\"169\"/>"),
       "EMPLOYEE a: contract '169' is more than a week"},
      {Plan("<EMPLOYEE id=\"a\" contractDays=\"lun\"/>"),
       "EMPLOYEE a: days 'lun' is none of all, weekdays, weekend"},
      {Plan("<EMPLOYEE id=\"a&#27;]0;PWNED&#7;\"/>"), "EMPLOYEE: id holds a control character"},
      {Plan("<EMPLOYEE id=\"a&#27;\" bad=\"1\"/>"), "EMPLOYEE: id holds a control character"},
      {Plan("<EMPLOYEE id=\"a\" name=\"Ana&#10;b\"/>"),
       "EMPLOYEE a: name holds a control character"},
      {Plan("<EMPLOYEE id=\"a\" name=\"Ana&#x9B;2J\"/>"),
       "EMPLOYEE a: name holds a control character"},
      {Plan("<POST code=\"P&#127;\"/>"), "POST: code holds a control character"},
      {Plan("<SHIFT code=\"&#155;\" start=\"08:00\" hours=\"8\"/>"),
       "SHIFT: code holds a control character"},
      {Plan("<SHIFT code=\"X\" start=\"08:00\" hours=\"8\" name=\"a&#9;b\"/>"),
       "SHIFT X: name holds a control character"},
      {OfA("<ITEM start=\"2026-11-22\" hours=\" 8\"/>"),
       "EMPLOYEE a: ITEM 1: hours ' 8' is no length"},
      {OfA("<ITEM start=\"2026-11-22\" hours=\"0x10\"/>"),
       "EMPLOYEE a: ITEM 1: hours '0x10' is no length"},
      {OfA("<ITEM start=\"2026-11-22\" hours=\"1e1\"/>"),
       "EMPLOYEE a: ITEM 1: hours '1e1' is no length"},
      {OfA("<ITEM start=\"9999-12-31T20:00\" hours=\"4.5\"/>"),
       "EMPLOYEE a: ITEM 1: ends after 31/12/9999"},
      {OfA("<ITEM start=\"9999-12-31\" hours=\"24:01\"/>"),
       "EMPLOYEE a: ITEM 1: ends after 31/12/9999"},
      {Plan("<POST code=\"P\" worksHolidays=\"yes\"/>"),
       "POST P: worksHolidays 'yes' is no whole number from 0 to 1"},
  };
  for (const auto& [xml, why] : broken) {
    EXPECT_EQ(ErrorOf(xml).rfind(why, 0), 0u) << ErrorOf(xml);
  }
  // The last day of the calendar, whole, is still a day to plan.
  EXPECT_EQ(ErrorOf(OfA("<ITEM start=\"9999-12-31\" hours=\"24\"/>")), "");
}

// A length is no wall-clock time nor a bare count: a start or a number of
// seconds put where a length belongs does not compile.
static_assert(!std::is_convertible_v<TFecha, decltype(cuadrante::roster::TItem::seconds)>);
static_assert(
    !std::is_convertible_v<int64_t, decltype(cuadrante::roster::TLimits::minRestSeconds)>);
using cuadrante::roster::TRosterItem;
static_assert(!std::is_convertible_v<decltype(TRosterItem::seconds), decltype(TRosterItem::start)>);

}  // namespace
