#include "cuadrante/roster/plan.h"

#include <gtest/gtest.h>

#include <string>

#include "cuadrante/runtime/datetime.h"
#include "cuadrante/runtime/exception.h"

namespace {

using cuadrante::roster::ReadPlan;

TFecha At(int year, int month, int day, int hour = 0, int minute = 0) {
  return TFecha(EncodeDateTime(year, month, day, hour, minute, 0, 0));
}

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

TEST(ReadPlan, ReadsEveryElementOfThePlan) {
  const auto plan = ReadPlan(
      kHead +
      "<LIMITS minRest=\"11\" maxWeek=\"40\" maxDays=\"5\"/><HOLIDAY date=\"2026-12-08\"/>"
      "<EMPLOYEE id=\"ana\" name=\"Ana\" post=\"UCI\" contract=\"37.5\">"
      "<RULE shift=\"M\" every=\"day\" from=\"2026-11-02\" until=\"2026-11-30\" weekend=\"1\"/>"
      "<RULE stored=\"4004578800;28800;2;1;2;0;0;0\"/>"
      "<ROTATION pattern=\" M  N - \" from=\"2026-11-02\"/>"
      "<LEAVE from=\"2026-11-20\" to=\"2026-11-22\"/>"
      "<ITEM start=\"2026-11-23T08:30\" hours=\"1.5\" type=\"6\"/></EMPLOYEE>"
      "<EMPLOYEE id=\"luis\"/></PLAN>");
  ASSERT_EQ(plan.posts.size(), 1u);
  EXPECT_EQ(plan.posts[0].needs[0].people, 2);
  EXPECT_EQ(plan.posts[0].needs[0].startMinute, 7 * 60);
  EXPECT_EQ(plan.posts[0].needs[0].days, 0x1F);
  ASSERT_EQ(plan.shifts.size(), 2u);
  EXPECT_EQ(plan.FindShift("N")->seconds, 7 * 3600 + 1800);
  EXPECT_EQ(plan.FindShift("N")->type, tptCover);
  EXPECT_EQ(plan.FindShift("M")->name, "M");
  EXPECT_EQ(plan.limits.minRestSeconds, 11 * 3600);
  EXPECT_EQ(plan.limits.maxWeekSeconds, 40 * 3600);
  EXPECT_EQ(plan.limits.maxConsecutiveDays, 5);
  EXPECT_EQ(plan.holidays, std::vector<TFecha>{At(2026, 12, 8)});
  ASSERT_EQ(plan.employees.size(), 2u);
  const auto& ana = plan.employees[0];
  EXPECT_EQ(ana.contractHours, 37.5);
  ASSERT_EQ(ana.rules.size(), 2u);
  EXPECT_EQ(ana.rules[0].every, tgDay);
  EXPECT_TRUE(ana.rules[0].weekend);
  EXPECT_EQ(ana.rules[0].until, At(2026, 11, 30));
  EXPECT_EQ(ana.rules[1].stored, "4004578800;28800;2;1;2;0;0;0");
  EXPECT_EQ(ana.rotations[0].pattern, (std::vector<std::string>{"M", "N", "-"}));
  ASSERT_EQ(ana.items.size(), 2u);
  EXPECT_EQ(ana.items[0].start, At(2026, 11, 20));  // leave: whole days, both included
  EXPECT_EQ(ana.items[0].seconds, 3 * 86400);
  EXPECT_EQ(ana.items[0].type, tptLeave);
  EXPECT_EQ(ana.items[1].start, At(2026, 11, 23, 8, 30));
  EXPECT_EQ(ana.items[1].seconds, 5400);
  EXPECT_EQ(plan.employees[1].name, "luis");  // the id stands for a missing name
  EXPECT_EQ(plan.employees[1].contractHours, 0);
}

TEST(ReadPlan, RefusesABrokenPlanNamingTheElementAndTheReason) {
  const std::pair<std::string, std::string> broken[] = {
      {"<ROSTER/>", "is no plan document (its root is ROSTER, not PLAN)"},
      {kHead + "<EMPLOYEE id=\"a\" post=\"URG\"/></PLAN>",
       "EMPLOYEE a: post 'URG' is no POST of the plan"},
      {kHead + "<EMPLOYEE id=\"a\"/><EMPLOYEE id=\"a\"/></PLAN>", "EMPLOYEE a: appears twice"},
      {kHead + "<EMPLOYEE id=\"a\"><RULE shift=\"X\" from=\"2026-11-02\"/></EMPLOYEE></PLAN>",
       "EMPLOYEE a: RULE 1: shift 'X' is no SHIFT of the plan"},
      {kHead + "<EMPLOYEE id=\"a\"><RULE shift=\"M\"/></EMPLOYEE></PLAN>",
       "EMPLOYEE a: RULE 1: needs from"},
      {kHead + "<EMPLOYEE id=\"a\"><RULE shift=\"M\" from=\"2026-11-31\"/></EMPLOYEE></PLAN>",
       "EMPLOYEE a: RULE 1: from '2026-11-31' is no date (use 2026-11-23)"},
      {kHead + "<EMPLOYEE id=\"a\"><RULE shift=\"M\" from=\"2026-11-02\" every=\"hour\"/>"
               "</EMPLOYEE></PLAN>",
       "EMPLOYEE a: RULE 1: every 'hour' is none of day, week"},
      {kHead + "<EMPLOYEE id=\"a\"><RULE shift=\"M\" from=\"2026-11-02\" until=\"2026-11-01\"/>"
               "</EMPLOYEE></PLAN>",
       "EMPLOYEE a: RULE 1: ends before it starts"},
      {kHead + "<EMPLOYEE id=\"a\"><RULE stored=\"4004578800;-5;2;1;2;0;0;0\"/></EMPLOYEE></PLAN>",
       "EMPLOYEE a: RULE 1: stored '4004578800;-5;2;1;2;0;0;0' field 2 (seconds): -5 is negative"},
      {kHead + "<EMPLOYEE id=\"a\"><RULE stored=\"4004578800;5;2;1\"/></EMPLOYEE></PLAN>",
       "EMPLOYEE a: RULE 1: stored '4004578800;5;2;1' is no rule (8 fields)"},
      {kHead + "<EMPLOYEE id=\"a\"><ROTATION pattern=\"M X\" from=\"2026-11-02\"/></EMPLOYEE>"
               "</PLAN>",
       "EMPLOYEE a: ROTATION 1: pattern names 'X', which is no SHIFT of the plan (rest is -)"},
      {kHead +
           "<EMPLOYEE id=\"a\"><LEAVE from=\"2026-11-22\" to=\"2026-11-20\"/></EMPLOYEE></PLAN>",
       "EMPLOYEE a: LEAVE 1: ends before it starts"},
      {kHead + "<EMPLOYEE id=\"a\"><ITEM start=\"2026-11-22\" hours=\"-2\"/></EMPLOYEE></PLAN>",
       "EMPLOYEE a: ITEM 1: hours '-2' is no length (use 8, 7.5 or 7:30)"},
      {kHead + "<EMPLOYEE id=\"a\"><ITEM start=\"2026-11-22\" hours=\"2\" type=\"99\"/>"
               "</EMPLOYEE></PLAN>",
       "EMPLOYEE a: ITEM 1: type '99' is no whole number from 0 to 13"},
      {kHead + "<EMPLOYEE id=\"a\" contrato=\"40\"/></PLAN>",
       "EMPLOYEE a: has no attribute contrato"},
      {kHead + "<EMPLOYEE id=\"a\"><SHIFT/></EMPLOYEE></PLAN>",
       "EMPLOYEE a: SHIFT is none of RULE, ROTATION, LEAVE, ITEM"},
      {kHead + "<SHIFT code=\"M\" start=\"08:00\" hours=\"8\"/></PLAN>", "SHIFT M: appears twice"},
      {kHead + "<SHIFT code=\"-\" start=\"08:00\" hours=\"8\"/></PLAN>",
       "SHIFT -: code '-' may not be - nor hold a blank"},
      {kHead + "<SHIFT code=\"X\" start=\"24:00\" hours=\"8\"/></PLAN>",
       "SHIFT X: start '24:00' is no time of day (use 07:00)"},
      {kHead + "<POST code=\"P\"><NEED people=\"1\" from=\"07:00\" hours=\"8\" days=\"lun\"/>"
               "</POST></PLAN>",
       "POST P: NEED 1: days 'lun' is none of all, weekdays, weekend"},
      {kHead + "<POST code=\"P\"><NEED from=\"07:00\" hours=\"8\"/></POST></PLAN>",
       "POST P: NEED 1: needs people"},
      {kHead + "<HOLIDAY date=\"8/12/2026\"/></PLAN>",
       "HOLIDAY 1: date '8/12/2026' is no date (use 2026-11-23)"},
      {kHead + "<HOLIDAY date=\"1899-12-31\"/></PLAN>", "HOLIDAY 1: date '1899-12-31' is no date"},
      {kHead + "<LIMITS maxDays=\"0\"/></PLAN>", "LIMITS: maxDays '0' is no whole number from 1"},
      {kHead + "<STAFF/></PLAN>", "STAFF is none of POST, SHIFT, EMPLOYEE, HOLIDAY, LIMITS"},
  };
  for (const auto& [xml, why] : broken) {
    EXPECT_EQ(ErrorOf(xml).rfind(why, 0), 0u) << ErrorOf(xml);
  }
  // Days as a list of weekday names.
  EXPECT_EQ(ReadPlan(kHead + "<POST code=\"P\"><NEED people=\"1\" from=\"07:00\" hours=\"8\" "
                             "days=\"mon,sun\"/></POST></PLAN>")
                .posts[1]
                .needs[0]
                .days,
            0x41);
}

}  // namespace
