#include "cuadrante/roster/chrono.h"

#include <gtest/gtest.h>

#include "cuadrante/runtime/datetime.h"

namespace {

using namespace std::chrono;
using cuadrante::roster::FromChrono;
using cuadrante::roster::ToChrono;

TEST(Chrono, TimesCrossBothWaysExactlyAndTheEdgesTakeDays) {
  const TFecha monday8(EncodeDateTime(2026, 11, 23, 8, 0, 0, 0));
  const sys_seconds same = sys_days(year{2026} / November / 23) + hours(8);
  EXPECT_EQ(FromChrono(same), monday8);
  EXPECT_EQ(ToChrono(monday8), same);
  EXPECT_EQ(FromChrono(year{1970} / January / 1), TFecha(25569 * 86400LL));
  EXPECT_EQ(FromChrono(year{1899} / December / 30), TFecha(0));
  EXPECT_EQ(ToChrono(FromChrono(year{9999} / December / 31)), sys_days(year{9999} / December / 31));

  const auto plan = cuadrante::roster::ReadPlan(
      "<PLAN><POST code=\"P\"><NEED people=\"1\" from=\"08:00\" hours=\"4\"/></POST>"
      "<EMPLOYEE id=\"a\" post=\"P\"><ITEM start=\"2026-11-23T08:00\" hours=\"4\" type=\"2\"/>"
      "</EMPLOYEE></PLAN>");
  const auto rosters =
      cuadrante::roster::BuildRosters(plan, year{2026} / November / 23, year{2026} / November / 24);
  ASSERT_EQ(rosters[0].items.size(), 1u);
  const auto gaps = cuadrante::roster::CheckCoverage(plan, rosters, year{2026} / November / 23,
                                                     year{2026} / November / 24);
  ASSERT_EQ(gaps.size(), 1u);  // Tuesday's need, nobody on it
  EXPECT_EQ(ToChrono(gaps[0].from), sys_days(year{2026} / November / 24) + hours(8));
  EXPECT_TRUE(cuadrante::roster::CheckRosters(plan, rosters, year{2026} / November / 23,
                                              year{2026} / November / 24, plan.limits)
                  .empty());
}

}  // namespace
