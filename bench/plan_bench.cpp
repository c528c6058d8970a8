// The people layer at a ward's scale and beyond: 200 employees on 10 posts,
// rosters built, every rule checked and every post's coverage walked, over a
// month and over a year, and their hours against their contracts. The goal is
// well under a second for the month.
#include <benchmark/benchmark.h>

#include <string>

#include "cuadrante/roster/balance.h"
#include "cuadrante/roster/checks.h"
#include "cuadrante/roster/personroster.h"
#include "cuadrante/roster/plan.h"
#include "cuadrante/runtime/datetime.h"

namespace {

using namespace cuadrante;
using namespace cuadrante::roster;

TPlan WardOf(int employees, int posts) {
  std::string xml =
      "<PLAN><SHIFT code=\"M\" start=\"07:00\" hours=\"8\"/><SHIFT code=\"T\" start=\"15:00\" "
      "hours=\"8\"/><SHIFT code=\"N\" start=\"22:00\" hours=\"8\"/><SHIFT code=\"D\" "
      "start=\"08:00\" hours=\"12\"/><HOLIDAY date=\"2026-12-08\"/>";
  for (int post = 0; post < posts; ++post) {
    xml += "<POST code=\"P" + std::to_string(post) +
           "\"><NEED people=\"4\" from=\"07:00\" hours=\"8\" days=\"weekdays\"/>"
           "<NEED people=\"3\" from=\"15:00\" hours=\"8\"/><NEED people=\"2\" from=\"22:00\" "
           "hours=\"8\"/></POST>";
  }
  for (int person = 0; person < employees; ++person) {
    const std::string day = std::to_string(1 + person % 9);
    xml += "<EMPLOYEE id=\"e" + std::to_string(person) + "\" post=\"P" +
           std::to_string(person % posts) + "\" contract=\"37.5\">";
    if (person % 3 == 0) {
      xml += "<RULE shift=\"M\" every=\"day\" from=\"2026-01-0" + day + "\"/>";
    } else {
      xml += "<ROTATION pattern=\"M M T T N N - - - -\" from=\"2026-01-0" + day + "\"/>";
    }
    xml += "<LEAVE from=\"2026-08-0" + day + "\" to=\"2026-08-2" + day +
           "\"/>"
           "<ITEM start=\"2026-11-1" +
           day + "T10:00\" hours=\"2\" type=\"6\"/></EMPLOYEE>";
  }
  return ReadPlan(xml + "</PLAN>");
}

TFecha Day(int year, int month, int day) { return TFecha(EncodeDate(year, month, day)); }

void BM_PlanMonthAll(benchmark::State& state) {
  const TPlan plan = WardOf(200, 10);
  const TFecha first = Day(2026, 11, 1), last = Day(2026, 11, 30);
  for (auto _ : state) {
    const auto rosters = BuildRosters(plan, first, last);
    benchmark::DoNotOptimize(CheckRosters(plan, first, last, plan.limits));
    benchmark::DoNotOptimize(CheckCoverage(plan, rosters, first, last));
  }
}
BENCHMARK(BM_PlanMonthAll)->Unit(benchmark::kMillisecond);

void BM_PlanCoverageMonth(benchmark::State& state) {
  const TPlan plan = WardOf(200, 10);
  const TFecha first = Day(2026, 11, 1), last = Day(2026, 11, 30);
  const auto rosters = BuildRosters(plan, first, last);
  for (auto _ : state) benchmark::DoNotOptimize(CheckCoverage(plan, rosters, first, last));
}
BENCHMARK(BM_PlanCoverageMonth)->Unit(benchmark::kMillisecond);

void BM_PlanChecksMonth(benchmark::State& state) {
  const TPlan plan = WardOf(200, 10);
  const TFecha first = Day(2026, 11, 1), last = Day(2026, 11, 30);
  const auto rosters = BuildRosters(plan, first, last);
  for (auto _ : state) benchmark::DoNotOptimize(CheckRosters(plan, first, last, plan.limits));
}
BENCHMARK(BM_PlanChecksMonth)->Unit(benchmark::kMillisecond);

void BM_PlanYearAll(benchmark::State& state) {
  const TPlan plan = WardOf(200, 10);
  const TFecha first = Day(2026, 1, 1), last = Day(2026, 12, 31);
  for (auto _ : state) {
    const auto rosters = BuildRosters(plan, first, last);
    benchmark::DoNotOptimize(CheckRosters(plan, first, last, plan.limits));
    benchmark::DoNotOptimize(CheckCoverage(plan, rosters, first, last));
  }
}
BENCHMARK(BM_PlanYearAll)->Unit(benchmark::kMillisecond);

// Every person's exact hours, contract and credit over a year, totalled by
// week as `plan hours` prints them.
void BM_PlanHoursYear(benchmark::State& state) {
  const TPlan plan = WardOf(200, 10);
  const TFecha first = Day(2026, 1, 1), last = Day(2026, 12, 31);
  const auto rosters = BuildRosters(plan, first, last);
  const auto weeks = SplitRange(first, last, TPeriodKind::kWeek);
  for (auto _ : state) {
    int64_t balance = 0;
    for (const auto& person : rosters) {
      const TPersonHours hours(plan, person, first, last);
      for (const TPeriod& week : weeks) balance += hours.Sum(week.firstDay, week.lastDay).Balance();
    }
    benchmark::DoNotOptimize(balance);
  }
}
BENCHMARK(BM_PlanHoursYear)->Unit(benchmark::kMillisecond);

// A plan that names 20,000 shifts and a rotation through all of them: every
// reference is a hashed look-up, so reading grows with the document.
void BM_ReadPlanManyShifts(benchmark::State& state) {
  std::string xml = "<PLAN>", pattern;
  for (int i = 0; i < 20000; ++i) {
    xml += "<SHIFT code=\"S" + std::to_string(i) + "\" start=\"08:00\" hours=\"8\"/>";
    pattern += "S" + std::to_string(i) + " ";
  }
  xml +=
      "<EMPLOYEE id=\"a\"><ROTATION pattern=\"" + pattern + "\" from=\"2026-01-01\"/></EMPLOYEE>";
  xml += "</PLAN>";
  for (auto _ : state) benchmark::DoNotOptimize(ReadPlan(xml));
}
BENCHMARK(BM_ReadPlanManyShifts)->Unit(benchmark::kMillisecond);

}  // namespace
