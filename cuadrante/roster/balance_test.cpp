#include "cuadrante/roster/balance.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "cuadrante/runtime/datetime.h"
#include "cuadrante/testing/values.h"

namespace {

using namespace cuadrante;
using namespace cuadrante::roster;

using cuadrante::testing::At;

constexpr int64_t kHourShares = 3600 * kShareUnits;

TPersonHours HoursOfFirst(const TPlan& plan, TFecha first, TFecha last) {
  return TPersonHours(plan, BuildRosters(plan, first, last)[0], first, last);
}

TEST(TPersonHours, ContractIsSpreadOverContractDaysAndAbsenceCreditsEachDaysShare) {
  // 35 h over Monday to Friday: 7 h a day. Mornings of 7 h every weekday
  // balance each week to nothing; a week of leave credits the week's 35 h,
  // and a sick day its 7 h, never 24 h.
  const TPlan plan = ReadPlan(
      "<PLAN><SHIFT code=\"M\" start=\"08:00\" hours=\"7\"/><HOLIDAY date=\"2026-12-08\"/>"
      "<EMPLOYEE id=\"a\" contract=\"35\"><RULE shift=\"M\" every=\"day\" from=\"2026-11-30\"/>"
      "<LEAVE from=\"2026-12-14\" to=\"2026-12-20\"/>"
      "<LEAVE from=\"2026-12-22\" to=\"2026-12-22\" type=\"7\"/></EMPLOYEE></PLAN>");
  const TFecha first = At(2026, 11, 30), last = At(2027, 1, 3);
  const TPersonHours hours = HoursOfFirst(plan, first, last);
  const TPeriodHours ordinary = hours.Sum(0, 6);
  EXPECT_EQ(ordinary.work.Value(), 35 * 3600);
  EXPECT_EQ(ordinary.contract, 35 * kHourShares);
  EXPECT_EQ(ordinary.Balance(), 0);
  // The holiday of Tuesday 8 December takes 7 h off the contract; worked, it
  // is 7 h over.
  EXPECT_EQ(hours.Sum(7, 13).contract, 28 * kHourShares);
  EXPECT_EQ(hours.Sum(7, 13).Balance(), 7 * kHourShares);
  const TPeriodHours leave = hours.Sum(14, 20);
  EXPECT_EQ(leave.work.Value(), 0);
  EXPECT_EQ(leave.absence.Value(), 7 * 86400);  // what passed...
  EXPECT_EQ(leave.credit, 35 * kHourShares);    // ...and what it is worth
  EXPECT_EQ(leave.Balance(), 0);
  EXPECT_EQ(hours.Sum(21, 27).credit, 7 * kHourShares);
  EXPECT_EQ(hours.Sum(21, 27).Balance(), 0);
  EXPECT_EQ(hours.Day(6).contract, 0);  // a Sunday owes nothing
  // However small, a contract is owed: a second a week over five days.
  TEmployee tiny = plan.employees[0];
  tiny.contractSeconds = TDuration(1);
  EXPECT_EQ(ContractShare(plan, tiny, first), kShareUnits / 5);
  tiny.contractSeconds = TDuration();
  EXPECT_EQ(ContractShare(plan, tiny, first), 0);
}

TEST(TPersonHours, TotalsAreTheSameByDayWeekAndMonthToTheUnit) {
  // Random rotas, leave and contracts that do not divide into whole minutes
  // a day (40 h over 7 days, 37.5 over 3), over ranges cut at odd days.
  std::mt19937 random(41);
  const char* const codes[] = {"M", "N", "-"};
  const char* const days[] = {"all", "weekdays", "mon,wed,fri", "sun"};
  for (int round = 0; round < 300; ++round) {
    std::string xml =
        "<PLAN><SHIFT code=\"M\" start=\"07:00\" hours=\"7.5\"/><SHIFT code=\"N\" "
        "start=\"22:00\" hours=\"9\"/><HOLIDAY date=\"2026-12-25\"/><EMPLOYEE id=\"x\" "
        "contract=\"" +
        std::to_string(20 + random() % 21) + (random() % 2 ? ".5" : "") + "\" contractDays=\"" +
        days[random() % 4] + "\"><ROTATION pattern=\"";
    for (int i = 0, n = 1 + static_cast<int>(random() % 7); i < n; ++i)
      xml += std::string(codes[random() % 3]) + " ";
    xml += "\" from=\"2026-11-0" + std::to_string(1 + random() % 9) + "\"/>";
    if (random() % 2) {
      const int day = 10 + static_cast<int>(random() % 18);
      xml += "<LEAVE from=\"2026-12-" + std::to_string(day) + "\" to=\"2026-12-" +
             std::to_string(day + static_cast<int>(random() % 3)) + "\" type=\"" +
             (random() % 2 ? "9" : "7") + "\"/>";
    }
    xml += "</EMPLOYEE></PLAN>";
    const TPlan plan = ReadPlan(xml);
    const TFecha first(At(2026, 11, 20).Value() + static_cast<int64_t>(random() % 15) * 86400);
    const TFecha last(first.Value() + static_cast<int64_t>(20 + random() % 60) * 86400);
    const TPersonHours hours = HoursOfFirst(plan, first, last);
    const TPeriodHours whole = hours.Sum(0, hours.Days() - 1);
    for (const TPeriodKind by : {TPeriodKind::kDay, TPeriodKind::kWeek, TPeriodKind::kMonth}) {
      TPeriodHours sum;
      int next = 0;
      for (const TPeriod& period : SplitRange(first, last, by)) {
        ASSERT_EQ(period.firstDay, next) << xml;  // the periods tile the range
        EXPECT_EQ(period.start.Value(), first.Value() + period.firstDay * int64_t{86400});
        next = period.lastDay + 1;
        sum += hours.Sum(period.firstDay, period.lastDay);
      }
      EXPECT_EQ(next, hours.Days());
      EXPECT_EQ(sum.work, whole.work) << xml;
      EXPECT_EQ(sum.contract, whole.contract) << xml;
      EXPECT_EQ(sum.credit, whole.credit) << xml;
      EXPECT_EQ(sum.Balance(), whole.Balance()) << xml;
    }
    // The contract owed over whole weeks is the weekly contract, whatever the days.
    const TEmployee& person = plan.employees[0];
    int64_t week = 0;
    for (int day = 0; day < 7; ++day)
      week += ContractShare(plan, person, TFecha(At(2027, 1, 4).Value() + day * 86400));
    EXPECT_EQ(week, person.contractSeconds.Value() * kShareUnits) << xml;  // 420 divides by 1..7
  }
}

TEST(SplitRange, CutsAtMondaysAndMonthEndsAndNamesIsoWeeksWithTheirOwnYear) {
  const auto weeks = SplitRange(At(2026, 12, 30), At(2027, 1, 12), TPeriodKind::kWeek);
  ASSERT_EQ(weeks.size(), 3u);
  EXPECT_EQ(weeks[0].lastDay, 4);  // Wednesday to Sunday 3 January
  EXPECT_EQ(weeks[1].start, At(2027, 1, 4));
  EXPECT_EQ(weeks[2].lastDay, 13);
  const auto months = SplitRange(At(2026, 12, 30), At(2027, 3, 1), TPeriodKind::kMonth);
  ASSERT_EQ(months.size(), 4u);
  EXPECT_EQ(months[1].start, At(2027, 1, 1));
  EXPECT_EQ(months[2].lastDay - months[2].firstDay, 27);  // February 2027
  EXPECT_EQ(months[3].firstDay, months[3].lastDay);

  const std::pair<TFecha, const char*> names[] = {
      {At(2026, 12, 31), "2026-W53"}, {At(2027, 1, 3), "2026-W53"},   {At(2027, 1, 4), "2027-W01"},
      {At(2024, 12, 30), "2025-W01"}, {At(2026, 11, 30), "2026-W49"}, {At(2021, 1, 3), "2020-W53"}};
  for (const auto& [day, name] : names) EXPECT_EQ(IsoWeekName(day), name);

  EXPECT_EQ(UnitsToSeconds(kShareUnits / 2).Value(), 1);
  EXPECT_EQ(UnitsToSeconds(kShareUnits / 2 - 1).Value(), 0);
  EXPECT_EQ(UnitsToSeconds(-kShareUnits / 2).Value(), -1);
  EXPECT_EQ(UnitsToSeconds(-3 * kShareUnits).Value(), -3);
}

}  // namespace
