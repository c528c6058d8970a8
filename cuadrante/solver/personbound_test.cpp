#include "cuadrante/solver/personbound.h"

#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <string>

#include "cuadrante/solver/exact.h"
#include "cuadrante/solver/generator.h"
#include "cuadrante/solver/instancefile.h"

namespace cuadrante::solver {
namespace {

// One person, every rule the month's problem keeps in play (lengths with
// nights into the next day and into the next week, successions, runs of
// work and of rest, weekends, week caps, horizon minutes, days off, a pin,
// requests), and the two it leaves out unable to bind. With one person the
// cover's cost is linear in the roster, so the bound is that person's
// optimum.
TInstance RandomPerson(std::mt19937_64& random, int days) {
  const auto pick = [&random](int low, int high) {
    return std::uniform_int_distribution<int>(low, high)(random);
  };
  TInstance instance;
  instance.days = days;
  const int types = pick(1, 3);
  for (int s = 0; s < types; ++s) {
    TShiftType type{"S" + std::to_string(s), pick(1, 4) * 180, {}};
    if (pick(0, 1) == 0) type.minutesNextDay = pick(0, type.minutes / 60) * 60;
    for (int t = 0; t < types; ++t) {
      if (pick(0, 2) == 0) type.forbiddenNext.push_back(t);
    }
    instance.shifts.push_back(type);
  }
  TEmployee person;
  person.id = "P";
  for (int s = 0; s < types; ++s) person.maxShifts.push_back(pick(0, 4) == 0 ? 0 : days);
  person.maxMinutes = pick(1, days) * 360;
  person.minMinutes =
      pick(0, 1) == 0 ? 0 : std::min<int64_t>(pick(0, days) * 240, person.maxMinutes);
  person.maxConsecutive = pick(1, days);
  person.minConsecutive = std::min(pick(0, 3), person.maxConsecutive);
  person.minDaysOff = pick(0, 3);
  person.maxWeekends = pick(0, WeekendCount(days));
  for (int d = 0; d < days; ++d) {
    if (pick(0, 9) == 0) person.daysOff.push_back(d);
  }
  if (pick(0, 2) > 0) {
    for (int w = 0; w < WeekCount(days); ++w)
      person.maxWeekMinutes.push_back(pick(1, 10) * 240 + pick(0, 1) * 60);
  }
  instance.employees.push_back(person);
  for (int i = pick(0, 3); i > 0; --i) {
    instance.onRequests.push_back({0, pick(0, days - 1), pick(0, types - 1), pick(1, 9)});
    instance.offRequests.push_back({0, pick(0, days - 1), pick(0, types - 1), pick(1, 9)});
  }
  for (int d = 0; d < days; ++d) {
    for (int s = 0; s < types; ++s) {
      if (pick(0, 3) > 0) instance.cover.push_back({d, s, pick(0, 2), pick(1, 40), pick(0, 5)});
    }
  }
  if (pick(0, 1) == 0) instance.pins.push_back({0, pick(0, days - 1), pick(kOff, types - 1)});
  return instance;
}

TExactOptions ExactUnhurried() {
  TExactOptions options;
  options.timeLimitSeconds = 120;  // never reached: these are proven in moments
  return options;
}

TPersonBoundOptions Unhurried() {
  TPersonBoundOptions options;
  options.timeLimitSeconds = 120;  // likewise
  return options;
}

// The dynamic program against the 0-1 program: on one person they must meet.
TEST(PersonBoundTest, IsTheOptimumOfOnePerson) {
  std::mt19937_64 random(5);
  int feasible = 0, infeasible = 0, aboveRelaxation = 0;
  for (int round = 0; round < 120; ++round) {
    const TInstance instance = RandomPerson(random, round % 2 == 0 ? 14 : 17);
    SCOPED_TRACE(WriteInstance(instance));
    const TExactResult exact = SolveExact(instance, ExactUnhurried());
    const TPersonBoundResult bound = PersonBound(instance, Unhurried());
    if (exact.status == "infeasible") {
      ++infeasible;
      EXPECT_EQ(bound.status, "infeasible");
      EXPECT_FALSE(bound.bound.has_value());
      continue;
    }
    ASSERT_EQ(exact.status, "optimal");
    ++feasible;
    EXPECT_EQ(bound.status, "converged");
    ASSERT_TRUE(bound.bound.has_value());
    EXPECT_EQ(*bound.bound, exact.objective);
    TExactOptions relaxation = ExactUnhurried();
    relaxation.relaxationOnly = true;
    aboveRelaxation += *bound.bound > SolveExact(instance, relaxation).bound.value_or(0);
  }
  // Both kinds must be met, and cases where the bound does what the
  // relaxation cannot, or the comparison proves little.
  EXPECT_GE(feasible, 60);
  EXPECT_GE(infeasible, 20);
  EXPECT_GE(aboveRelaxation, 20);
}

// Several people share the cover: a lower bound, never above the optimum,
// the same from any start, and short of the optimum only by the sharing.
TEST(PersonBoundTest, NeverPassesTheOptimumOfSeveralPeople) {
  int reached = 0, cases = 0;
  for (uint64_t seed = 1; seed <= 8; ++seed) {
    TInstance instance = GenerateInstance({3, 14, 2}, seed);
    SCOPED_TRACE(seed);
    const TExactResult exact = SolveExact(instance, ExactUnhurried());
    if (!exact.optimal) continue;
    ++cases;
    const TPersonBoundResult cold = PersonBound(instance, Unhurried());
    ASSERT_EQ(cold.status, "converged");
    ASSERT_TRUE(cold.bound.has_value());
    EXPECT_LE(*cold.bound, exact.objective);
    reached += *cold.bound == exact.objective;
    TPersonBoundOptions warm = Unhurried();
    warm.start = &*exact.roster;
    const TPersonBoundResult started = PersonBound(instance, warm);
    EXPECT_EQ(started.status, "converged");
    EXPECT_EQ(started.bound, cold.bound);
    // One thread prices the same months.
    TPersonBoundOptions alone = Unhurried();
    alone.threads = 1;
    EXPECT_EQ(PersonBound(instance, alone).bound, cold.bound);
  }
  EXPECT_GE(cases, 6);
  EXPECT_GE(reached, 1);
}

// Tables too large for the cells allowed lose the weekends and then the
// shortest runs as states: the bound weakens step by step, never passing the
// full one, until none fits.
TEST(PersonBoundTest, WeakensAsTheTablesShrink) {
  int weaker = 0, tooLarge = 0;
  for (uint64_t seed = 1; seed <= 4; ++seed) {
    const TInstance instance = GenerateInstance({3, 14, 2}, seed);
    SCOPED_TRACE(seed);
    const TPersonBoundResult full = PersonBound(instance, Unhurried());
    if (!full.bound) continue;
    for (int64_t cells = 256; cells <= 262'144; cells *= 2) {
      TPersonBoundOptions small = Unhurried();
      small.mostCells = cells;
      const TPersonBoundResult result = PersonBound(instance, small);
      if (result.status == "too large") {
        ++tooLarge;
        continue;
      }
      EXPECT_EQ(result.status, "converged");
      ASSERT_TRUE(result.bound.has_value());
      EXPECT_LE(*result.bound, *full.bound);
      weaker += *result.bound < *full.bound;
    }
  }
  EXPECT_GE(weaker, 2);
  EXPECT_GE(tooLarge, 2);
}

TEST(PersonBoundTest, AnswersAtOnceWhenItCannotOrNeedNotPrice) {
  TInstance instance = GenerateInstance({3, 14, 2}, 1);
  std::atomic<bool> stop{true};
  TPersonBoundOptions stopped = Unhurried();
  stopped.stop = &stop;
  TPersonBoundResult result = PersonBound(instance, stopped);
  EXPECT_EQ(result.status, "stopped");
  EXPECT_FALSE(result.bound.has_value());

  TPersonBoundOptions small = Unhurried();
  small.mostCells = 100;
  result = PersonBound(instance, small);
  EXPECT_EQ(result.status, "too large");
  EXPECT_FALSE(result.bound.has_value());

  // Pinned to work one day more in a row than the person may.
  TInstance pinned = instance;
  TEmployee& person = pinned.employees[0];
  person.daysOff.clear();
  person.maxShifts.assign(pinned.shifts.size(), pinned.days);
  person.maxConsecutive = 3;
  for (int d = 0; d <= person.maxConsecutive && d < pinned.days; ++d)
    pinned.pins.push_back({0, d, 0});
  result = PersonBound(pinned, Unhurried());
  EXPECT_EQ(result.status, "infeasible");
  EXPECT_FALSE(result.bound.has_value());

  // Nobody: every person wanted is missing, and that is the only roster.
  TInstance nobody = instance;
  nobody.employees.clear();
  nobody.onRequests.clear();
  nobody.offRequests.clear();
  nobody.pins.clear();
  int64_t missing = 0;
  for (const TCover& line : nobody.cover) missing += int64_t{line.requirement} * line.underWeight;
  result = PersonBound(nobody, Unhurried());
  EXPECT_EQ(result.status, "converged");
  EXPECT_EQ(result.bound, missing);
}

}  // namespace
}  // namespace cuadrante::solver
