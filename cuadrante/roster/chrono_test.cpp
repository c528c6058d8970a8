#include "cuadrante/roster/chrono.h"

#include <gtest/gtest.h>

#include "cuadrante/runtime/datetime.h"

namespace {

using namespace std::chrono;
using namespace cuadrante;
using namespace cuadrante::roster;

TEST(Chrono, TimesCrossBothWaysExactlyAndTheEdgesTakeDays) {
  const TFecha monday8(EncodeDateTime(2026, 11, 23, 8, 0, 0, 0));
  const sys_seconds same = sys_days(year{2026} / November / 23) + hours(8);
  EXPECT_EQ(FromChrono(same), monday8);
  EXPECT_EQ(ToChrono(monday8), same);
  EXPECT_EQ(FromChrono(year{1970} / January / 1), TFecha(25569 * 86400LL));
  EXPECT_EQ(FromChrono(year{1899} / December / 30), TFecha(0));
  EXPECT_EQ(ToChrono(FromChrono(year{9999} / December / 31)), sys_days(year{9999} / December / 31));

  // Rosters, coverage and checks take their days as year_month_day.
  const auto plan = ReadPlan(
      "<PLAN><POST code=\"P\"><NEED people=\"1\" from=\"08:00\" hours=\"4\"/></POST>"
      "<EMPLOYEE id=\"a\" post=\"P\"><ITEM start=\"2026-11-23T08:00\" hours=\"4\" type=\"2\"/>"
      "</EMPLOYEE></PLAN>");
  const year_month_day monday = year{2026} / November / 23, tuesday = year{2026} / November / 24;
  const auto rosters = BuildRosters(plan, monday, tuesday);
  ASSERT_EQ(rosters[0].items.size(), 1u);
  const auto gaps = CheckCoverage(plan, rosters, monday, tuesday);
  ASSERT_EQ(gaps.size(), 1u);  // Tuesday's need, nobody on it
  EXPECT_EQ(ToChrono(gaps[0].from), sys_days(tuesday) + hours(8));
  EXPECT_TRUE(CheckRosters(plan, monday, tuesday, plan.limits).empty());
}

}  // namespace
