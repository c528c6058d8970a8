#include "cuadrante/roster/fairness.h"

#include <gtest/gtest.h>

#include "cuadrante/testing/values.h"

namespace {

using namespace cuadrante;
using namespace cuadrante::roster;

using cuadrante::testing::At;

// December 2026: the 5th and 6th are a weekend, the 8th a holiday. Ana works
// nights from the 30th of November, Luis days, one of his nights falls under
// his leave, and Eva of another post works a Sunday night only.
const char* const kPlan =
    "<PLAN><SHIFT code=\"D\" start=\"08:00\" hours=\"8\"/>"
    "<SHIFT code=\"N\" start=\"22:00\" hours=\"8\"/><SHIFT code=\"L\" start=\"16:00\" hours=\"8\"/>"
    "<HOLIDAY date=\"2026-12-08\"/><POST code=\"UCI\"/><POST code=\"URG\"/><POST code=\"ADM\"/>"
    "<EMPLOYEE id=\"ana\" post=\"UCI\" contract=\"37.5\">"
    "<ITEM start=\"2026-11-30\" shift=\"N\"/><ITEM start=\"2026-12-05\" shift=\"N\"/>"
    "<ITEM start=\"2026-12-06\" shift=\"N\"/><ITEM start=\"2026-12-08\" shift=\"N\"/>"
    "<ITEM start=\"2026-12-10\" shift=\"L\"/></EMPLOYEE>"
    "<EMPLOYEE id=\"luis\" post=\"UCI\" contract=\"20\">"
    "<ITEM start=\"2026-12-07\" shift=\"D\"/><ITEM start=\"2026-12-12\" shift=\"D\"/>"
    "<RULE shift=\"N\" every=\"day\" from=\"2026-12-09\" until=\"2026-12-09\"/>"
    "<LEAVE from=\"2026-12-09\" to=\"2026-12-09\"/></EMPLOYEE>"
    "<EMPLOYEE id=\"eva\" post=\"URG\"><ITEM start=\"2026-12-13\" shift=\"N\"/></EMPLOYEE>"
    "</PLAN>";

TEST(FairnessOf, CountsNightsWeekendsAndHolidaysOfTheRangeAndTheirSpread) {
  const TPlan plan = ReadPlan(kPlan);
  const TFecha first = At(2026, 12, 1), last = At(2026, 12, 13);
  const TFairness fairness = FairnessOf(plan, BuildRosters(plan, first, last), first, last);
  ASSERT_EQ(fairness.people.size(), 3u);
  const TFairShare& ana = fairness.people[0];
  const TFairShare& luis = fairness.people[1];
  const TFairShare& eva = fairness.people[2];
  // The night of the 30th is November's; a late shift to midnight is no
  // night; the Saturday and Sunday nights are one weekend.
  EXPECT_EQ(ana.nights, 3);
  EXPECT_EQ(ana.weekends, 1);
  EXPECT_EQ(ana.holidays, 1);
  // Luis's night under leave is cancelled and counts nowhere.
  EXPECT_EQ(luis.nights, 0);
  EXPECT_EQ(luis.weekends, 1);
  EXPECT_EQ(luis.holidays, 0);
  EXPECT_EQ(eva.nights, 1);
  EXPECT_EQ(eva.weekends, 1);
  // Hours as the balance counts them: the night of the 30th brings its six
  // hours after midnight into the range; contracts as their share.
  EXPECT_EQ(ana.hours.work.Value(), (6 + 4 * 8) * 3600);
  EXPECT_EQ(luis.hours.work.Value(), 2 * 8 * 3600);
  EXPECT_EQ(eva.hours.contract, 0);
  EXPECT_GT(ana.hours.contract, luis.hours.contract);

  ASSERT_EQ(fairness.posts.size(), 3u);
  const TFairSpread& uci = fairness.posts[0];
  EXPECT_EQ(uci.people, 2);
  EXPECT_EQ(uci.nights, 3);
  EXPECT_EQ(uci.weekends, 0);
  EXPECT_EQ(uci.holidays, 1);
  EXPECT_EQ(uci.balance, std::abs(ana.hours.Balance() - luis.hours.Balance()));
  EXPECT_EQ(fairness.posts[1].people, 1);
  EXPECT_EQ(fairness.posts[1].nights, 0);  // one person spreads nothing
  EXPECT_EQ(fairness.posts[2].people, 0);
}

}  // namespace
