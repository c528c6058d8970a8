#include "cuadrante/solver/exact.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "cuadrante/solver/evaluator.h"
#include "cuadrante/solver/generator.h"
#include "cuadrante/solver/instancefile.h"
#include "cuadrante/testing/testsupport.h"

namespace cuadrante::solver {
namespace {

std::string BenchmarkPath(const std::string& name) { return testing::BenchmarkFile(name); }

// `employees` people and one shift type "D" of 480 minutes, no rule binding.
TInstance Unbound(int employees, int days) {
  TInstance instance;
  instance.days = days;
  instance.shifts = {{"D", 480, {}}};
  for (int e = 0; e < employees; ++e) {
    TEmployee person;
    person.id = "P" + std::to_string(e);
    person.maxShifts = {days};
    person.maxMinutes = int64_t{480} * days;
    person.maxConsecutive = days;
    person.maxWeekends = days;
    instance.employees.push_back(person);
  }
  return instance;
}

// Cover of shift 0: `requirement` people on each day of `days`, every other
// day none, with one unit for each person too many.
void Want(TInstance& instance, std::vector<int> days, int requirement, int underWeight) {
  for (int d = 0; d < instance.days; ++d) {
    const bool wanted = std::find(days.begin(), days.end(), d) != days.end();
    instance.cover.push_back({d, 0, wanted ? requirement : 0, underWeight, 1});
  }
}

// A result proven optimal at `expected`, whose roster the evaluator finds
// free of breaches and priced the same.
void ExpectOptimal(const TInstance& instance, const TExactResult& result, int64_t expected) {
  EXPECT_EQ(result.status, "optimal");
  EXPECT_TRUE(result.optimal);
  ASSERT_TRUE(result.roster.has_value());
  EXPECT_EQ(result.objective, expected);
  ASSERT_TRUE(result.bound.has_value());
  EXPECT_EQ(*result.bound, expected);
  const TEvaluation evaluation = Evaluate(instance, *result.roster);
  for (const TBreach& breach : evaluation.breaches) {
    ADD_FAILURE() << "employee " << breach.employee << " day " << breach.day << ": "
                  << RuleName(breach.rule) << ", " << breach.detail;
  }
  EXPECT_EQ(evaluation.objective.Total(), result.objective);
}

TExactOptions Patient() {
  TExactOptions options;
  options.timeLimitSeconds = 120;  // never reached: these are proven in moments
  return options;
}

// An instance and the optimum it must be proven at.
struct TOptimumCase {
  const char* name;
  TInstance instance;
  int64_t optimum;
};

// Every case is built so that one hard rule alone moves the optimum away
// from what the cover alone would cost.
TEST(SolveExactTest, EachHardRuleDecidesTheOptimum) {
  std::vector<TOptimumCase> cases;
  {
    // A lone shift inside the horizon is a run of one: it needs a neighbour
    // that nobody asked for.
    TInstance i = Unbound(1, 5);
    i.employees[0].minConsecutive = 2;
    Want(i, {2}, 1, 10);
    cases.push_back({"min consecutive inside", i, 1});
    // On the last or the first day the run touches the horizon's end.
    i.cover.clear();
    Want(i, {4}, 1, 10);
    cases.push_back({"min consecutive on the last day", i, 0});
    i.cover.clear();
    Want(i, {0}, 1, 10);
    cases.push_back({"min consecutive on the first day", i, 0});
  }
  {
    // One day without cover between worked days would be a rest of one.
    TInstance i = Unbound(1, 7);
    i.employees[0].minDaysOff = 2;
    Want(i, {0, 1, 2, 4, 5, 6}, 1, 10);
    cases.push_back({"min days off", i, 1});
    // A rest of one on the last day touches the end.
    i.cover.clear();
    Want(i, {0, 1, 2, 3, 4, 5}, 1, 10);
    cases.push_back({"min days off on the last day", i, 0});
  }
  {
    // Three in a row at most: a week of cover leaves one day short.
    TInstance i = Unbound(1, 7);
    i.employees[0].maxConsecutive = 3;
    Want(i, {0, 1, 2, 3, 4, 5, 6}, 1, 10);
    cases.push_back({"max consecutive", i, 10});
  }
  {
    // One weekend of two: the dearer one is worked, the other missed.
    TInstance i = Unbound(1, 14);
    i.employees[0].maxWeekends = 1;
    Want(i, {5, 6}, 1, 10);
    for (TCover& c : i.cover) {
      if (c.day == 12 || c.day == 13) c = {c.day, 0, 1, 4, 1};
    }
    cases.push_back({"max weekends", i, 8});
    // A horizon that ends on a Saturday has a last weekend of that day.
    TInstance s = Unbound(1, 13);
    s.employees[0].maxWeekends = 1;
    Want(s, {5, 6}, 1, 3);
    s.cover[12] = {12, 0, 1, 10, 1};
    cases.push_back({"max weekends, a one-day last weekend", s, 6});
  }
  {
    // A late shift forbids an early one the next day.
    TInstance i = Unbound(1, 2);
    i.shifts = {{"E", 480, {}}, {"L", 480, {0}}};
    i.employees[0].maxShifts = {2, 2};
    i.cover = {{0, 1, 1, 10, 1}, {1, 0, 1, 7, 1}};
    cases.push_back({"forbidden succession", i, 7});
    // The other way round is allowed.
    i.cover = {{0, 0, 1, 10, 1}, {1, 1, 1, 7, 1}};
    cases.push_back({"allowed succession", i, 0});
  }
  {
    TInstance i = Unbound(1, 5);
    i.employees[0].maxShifts = {2};
    Want(i, {0, 1, 2, 3, 4}, 1, 10);
    cases.push_back({"max shifts", i, 30});
  }
  {
    // 1000 minutes at least: three eight-hour shifts, not two and a bit.
    TInstance i = Unbound(1, 5);
    i.employees[0].minMinutes = 1000;
    Want(i, {}, 0, 10);
    for (TCover& c : i.cover) c.overWeight = 2;
    cases.push_back({"min minutes", i, 6});
    // 1000 minutes at most: two shifts.
    TInstance m = Unbound(1, 5);
    m.employees[0].maxMinutes = 1000;
    Want(m, {0, 1, 2, 3}, 1, 10);
    cases.push_back({"max minutes", m, 20});
  }
  {
    // Two shifts in the first week, four in the second: the dear first week
    // misses five days, the cheap second three. Six shifts under one cap
    // for the fortnight would all go to the first week (17), and the caps
    // the wrong way round would cost 35.
    TInstance i = Unbound(1, 14);
    i.employees[0].maxWeekMinutes = {1000, 2000};
    Want(i, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13}, 1, 10);
    for (TCover& c : i.cover) {
      if (c.day >= 7) c.underWeight = 1;
    }
    cases.push_back({"max week minutes", i, 53});
    // A short last week has a cap of its own: one shift in two days.
    TInstance s = Unbound(1, 9);
    s.employees[0].maxWeekMinutes = {7 * 480, 480};
    Want(s, {0, 1, 2, 3, 4, 5, 6, 7, 8}, 1, 10);
    cases.push_back({"max week minutes, a short last week", s, 10});
  }
  {
    // Nights from 21:30 to 05:30: a Sunday's 330 minutes after midnight and
    // a Monday's 480 are more than the next week's cap of one shift, though
    // each night alone keeps its own week's.
    TInstance i = Unbound(1, 14);
    i.shifts[0].minutesNextDay = 330;
    i.employees[0].maxWeekMinutes = {7 * 480, 480};
    Want(i, {6, 7}, 1, 10);
    cases.push_back({"max week minutes, a Sunday night", i, 10});
    // Saturday's and Sunday's nights put 600 minutes in their week: a cap of
    // 600 keeps both, as it would not if each counted whole.
    TInstance s = Unbound(1, 14);
    s.shifts[0].minutesNextDay = 360;
    s.employees[0].maxWeekMinutes = {600, 7 * 480};
    Want(s, {5, 6}, 1, 10);
    cases.push_back({"max week minutes, a weekend of nights", s, 0});
    // Days of 600 minutes every day of the second week reach its cap only
    // with the night before it: no row for that week would let the night in.
    TInstance n = Unbound(1, 14);
    n.shifts = {{"D", 600, {}}, {"N", 480, {}, 360}};
    n.employees[0].maxShifts = {14, 14};
    n.employees[0].maxWeekMinutes = {10'000, 7 * 600};
    for (int d = 7; d < 14; ++d) n.cover.push_back({d, 0, 1, 10, 1});
    n.cover.push_back({6, 1, 1, 1, 1});
    cases.push_back({"max week minutes, a night before a full week", n, 1});
  }
  {
    TInstance i = Unbound(2, 3);
    i.employees[0].daysOff = {1};
    i.employees[1].daysOff = {1};
    Want(i, {1}, 1, 10);
    cases.push_back({"days off", i, 10});
    // An on-request for a day off cannot be granted: its weight stays.
    i.onRequests = {{0, 1, 0, 5}};
    cases.push_back({"an on-request on a day off", i, 15});
  }
  {
    // Pins: off where cover wants someone, on where nobody is wanted.
    TInstance i = Unbound(1, 4);
    Want(i, {0, 1}, 1, 10);
    i.pins = {{0, 1, kOff}, {0, 3, 0}};
    cases.push_back({"pins", i, 11});
  }
  {
    // Requests: granting the on-request on day 3 drags in two more days
    // with a minimum run of three; cheaper than the wish's weight of 4.
    TInstance i = Unbound(1, 7);
    i.employees[0].minConsecutive = 3;
    Want(i, {}, 0, 10);
    i.onRequests = {{0, 3, 0, 4}};
    i.offRequests = {{0, 2, 0, 1}};
    cases.push_back({"requests", i, 3});
  }
  for (const TOptimumCase& c : cases) {
    SCOPED_TRACE(c.name);
    ExpectOptimal(c.instance, SolveExact(c.instance, Patient()), c.optimum);
  }
}

// Each case is built so that a balance moves the optimum away from what the
// instance would cost without it.
TEST(SolveExactTest, ABalanceDecidesTheOptimum) {
  struct Case {
    const char* name;
    TInstance instance;
    int64_t optimum;
    int64_t unbalanced;  // the optimum without the balances
  };
  std::vector<Case> cases;
  {
    // Days and nights wanted on three days each; nights at most one. Two
    // nights missed (2 x 2) beat two nights too many (2 x 5); the days are
    // not counted and all worked.
    TInstance i = Unbound(1, 7);
    i.shifts = {{"D", 480, {}}, {"N", 480, {}}};
    i.employees[0].maxShifts = {7, 7};
    for (int d = 0; d < 3; ++d) i.cover.push_back({d, 1, 1, 2, 1});
    for (int d = 3; d < 6; ++d) i.cover.push_back({d, 0, 1, 2, 1});
    i.employees[0].balances = {{{1}, false, 0, 1, 5}};
    cases.push_back({"at most one night", i, 4, 0});
    // At least two nights where nobody wants one: two too many (1 each)
    // beat the shortfall (2 x 3).
    TInstance m = Unbound(1, 7);
    m.shifts = {{"D", 480, {}}, {"N", 480, {}}};
    m.employees[0].maxShifts = {7, 7};
    for (int d = 0; d < 7; ++d) m.cover.push_back({d, 1, 0, 1, 1});
    m.employees[0].balances = {{{1}, false, 2, 3, 3}};
    cases.push_back({"at least two nights", m, 2, 0});
    // A pinned night counts: the pin alone is already over the max of 0.
    m.pins = {{0, 1, 1}};
    m.employees[0].balances = {{{1}, false, 0, 0, 7}};
    cases.push_back({"a pinned night", m, 8, 1});
  }
  {
    // Both weekends wanted, whole; weekends at most one. Working all four
    // days costs one weekend too many (3), not a unit a day: a weekend of
    // two days counts once.
    TInstance i = Unbound(1, 14);
    Want(i, {5, 6, 12, 13}, 1, 10);
    i.employees[0].balances = {{{}, true, 0, 1, 3}};
    cases.push_back({"at most one weekend", i, 3, 0});
    // At least two weekends where no cover wants work: a day on each
    // weekend (1 each) beats the shortfall (2 x 4). A weekend is worked
    // only when a day of it is: no indicator may count an idle one.
    TInstance m = Unbound(1, 14);
    Want(m, {}, 0, 10);
    m.employees[0].balances = {{{}, true, 2, 2, 4}};
    cases.push_back({"at least two weekends", m, 2, 0});
    // The same with only one day of each weekend workable.
    m.employees[0].daysOff = {5, 13};
    cases.push_back({"at least two weekends, a day of each off", m, 2, 0});
    // The horizon's last weekend is its Saturday.
    TInstance s = Unbound(1, 13);
    Want(s, {}, 0, 10);
    s.employees[0].balances = {{{}, true, 2, 5, 4}, {{0}, false, 0, 13, 1}};
    cases.push_back({"at least two weekends, the last one a Saturday", s, 2, 0});
  }
  {
    // Two people share three wanted nights as evenly as their ranges ask:
    // the one allowed two takes two.
    TInstance i = Unbound(2, 7);
    Want(i, {0, 1, 2}, 1, 10);
    i.employees[0].balances = {{{0}, false, 0, 1, 4}};
    i.employees[1].balances = {{{0}, false, 0, 2, 4}, {{}, true, 0, 0, 100}};
    i.onRequests = {{0, 0, 0, 1}, {0, 1, 0, 1}};
    cases.push_back({"two people, two ranges", i, 1, 0});
  }
  for (Case& c : cases) {
    SCOPED_TRACE(c.name);
    ExpectOptimal(c.instance, SolveExact(c.instance, Patient()), c.optimum);
    for (TEmployee& person : c.instance.employees) person.balances.clear();
    ExpectOptimal(c.instance, SolveExact(c.instance, Patient()), c.unbalanced);
  }
}

// Small random instances with every rule in play, against the optimum found
// by pricing every possible roster with the evaluator.
TInstance RandomSmall(std::mt19937_64& random, int employees, int days, int types) {
  const auto pick = [&random](int low, int high) {
    return std::uniform_int_distribution<int>(low, high)(random);
  };
  TInstance instance;
  instance.days = days;
  for (int s = 0; s < types; ++s) {
    TShiftType type{"S" + std::to_string(s), pick(1, 3) * 240, {}};
    if (pick(0, 1) == 0) type.minutesNextDay = pick(0, type.minutes / 60) * 60;
    for (int t = 0; t < types; ++t) {
      if (pick(0, 2) == 0) type.forbiddenNext.push_back(t);
    }
    instance.shifts.push_back(type);
  }
  for (int e = 0; e < employees; ++e) {
    TEmployee person;
    person.id = "P" + std::to_string(e);
    for (int s = 0; s < types; ++s) person.maxShifts.push_back(pick(0, 5) == 0 ? 0 : pick(1, days));
    person.maxMinutes = pick(2, 2 * days) * 240;
    // The text form holds no minimum above its maximum.
    person.minMinutes =
        pick(0, 2) == 0 ? 0 : std::min<int64_t>(pick(0, days) * 200, person.maxMinutes);
    person.maxConsecutive = pick(1, days);
    person.minConsecutive = std::min(pick(0, 3), person.maxConsecutive);
    person.minDaysOff = pick(0, 3);
    person.maxWeekends = pick(0, 2);
    for (int d = 0; d < days; ++d) {
      if (pick(0, 9) == 0) person.daysOff.push_back(d);
    }
    // Weekly caps half the time, in half shifts so that they round.
    if (pick(0, 1) == 0) {
      for (int w = 0; w < WeekCount(days); ++w) {
        const int weekDays = std::min(7, days - 7 * w);
        person.maxWeekMinutes.push_back(pick(0, 2 * weekDays) * 240 + pick(0, 1) * 120);
      }
    }
    instance.employees.push_back(person);
  }
  for (int i = pick(0, 3); i > 0; --i) {
    instance.onRequests.push_back(
        {pick(0, employees - 1), pick(0, days - 1), pick(0, types - 1), pick(1, 5)});
    instance.offRequests.push_back(
        {pick(0, employees - 1), pick(0, days - 1), pick(0, types - 1), pick(1, 5)});
  }
  for (int d = 0; d < days; ++d) {
    for (int s = 0; s < types; ++s) {
      if (pick(0, 3) > 0)
        instance.cover.push_back({d, s, pick(0, employees), pick(1, 20), pick(0, 3)});
    }
  }
  if (pick(0, 2) == 0)
    instance.pins.push_back({pick(0, employees - 1), pick(0, days - 1), pick(kOff, types - 1)});
  // Balances half the time, after everything else so that the rest is drawn
  // as before: on a random set of types or on weekends, ranges about a day
  // in three.
  if (pick(0, 1) == 0) {
    for (TEmployee& person : instance.employees) {
      for (int i = pick(0, 2); i > 0; --i) {
        TBalance balance;
        balance.weekends = pick(0, 2) == 0;
        for (int s = 0; s < types; ++s) {
          if (!balance.weekends && pick(0, 1) == 0) balance.shifts.push_back(s);
        }
        balance.min = pick(0, days / 3);
        balance.max = balance.min + pick(0, 2);
        balance.weight = pick(1, 6);
        person.balances.push_back(balance);
      }
    }
  }
  return instance;
}

// The instance as text for a failure's trace: the file form, which holds no
// balances, and then the balances.
std::string Described(const TInstance& instance) {
  std::string text = WriteInstance(instance);
  for (size_t e = 0; e < instance.employees.size(); ++e) {
    for (const TBalance& balance : instance.employees[e].balances) {
      text += "balance of employee " + std::to_string(e) + ": ";
      if (balance.weekends) {
        text += "weekends";
      } else {
        text += "types";
        for (int s : balance.shifts) text += " " + std::to_string(s);
      }
      text += ", " + std::to_string(balance.min) + ".." + std::to_string(balance.max) +
              ", weight " + std::to_string(balance.weight) + "\n";
    }
  }
  return text;
}

std::optional<int64_t> BruteForce(const TInstance& instance) {
  const int employees = static_cast<int>(instance.employees.size());
  const int types = static_cast<int>(instance.shifts.size());
  TRoster roster(employees, instance.days);
  std::optional<int64_t> best;
  while (true) {
    const TEvaluation evaluation = Evaluate(instance, roster);
    if (evaluation.Feasible() && (!best || evaluation.objective.Total() < *best)) {
      best = evaluation.objective.Total();
    }
    // The next roster, counting in base types + 1 over the cells.
    int e = 0, d = 0;
    for (;;) {
      if (roster.At(e, d) + 1 < types) {
        roster.Set(e, d, roster.At(e, d) + 1);
        break;
      }
      roster.Set(e, d, kOff);
      if (++d == instance.days) d = 0, ++e;
      if (e == employees) return best;
    }
  }
}

TEST(SolveExactTest, AgreesWithEveryRosterTriedOnSmallInstances) {
  std::mt19937_64 random(11);
  struct Shape {
    int employees, days, types;
  };
  // Six days end on a Saturday; eight take in a whole weekend and a Monday.
  const Shape shapes[] = {{1, 8, 2},  {2, 6, 1}, {2, 5, 2}, {3, 5, 1},
                          {1, 13, 1}, {2, 8, 1}, {1, 16, 1}};
  int feasible = 0, infeasible = 0, balances = 0;
  for (const Shape& shape : shapes) {
    for (int round = 0; round < 4; ++round) {
      const TInstance instance = RandomSmall(random, shape.employees, shape.days, shape.types);
      SCOPED_TRACE(Described(instance));
      balances += !instance.employees[0].balances.empty();
      const std::optional<int64_t> optimum = BruteForce(instance);
      const TExactResult result = SolveExact(instance, Patient());
      if (!optimum) {
        ++infeasible;
        EXPECT_EQ(result.status, "infeasible");
        EXPECT_FALSE(result.roster.has_value());
        continue;
      }
      ++feasible;
      ExpectOptimal(instance, result, *optimum);
    }
  }
  // Both kinds must be met, or the comparison proves little.
  EXPECT_GE(feasible, 8);
  EXPECT_GE(infeasible, 2);
  EXPECT_GE(balances, 6);
}

// A week's cap holds whole shifts: the relaxation alone must not fill the
// last fraction of a cap, or the bound of a month of part-timers is hundreds
// of shifts too low. Each case's relaxation bound is its optimum.
TEST(SolveExactTest, TheRelaxationCountsWholeShiftsUnderAWeeksCap) {
  std::vector<TOptimumCase> cases;
  // Seven-hour days wanted every day under a 30-hour week: four, not 4.3.
  // The ten-hour nights nobody wants make the lengths' divisor an hour.
  TInstance i = Unbound(1, 7);
  i.shifts = {{"M", 420, {}}, {"N", 600, {}}};
  i.employees[0].maxShifts = {7, 7};
  i.employees[0].maxWeekMinutes = {1800};
  Want(i, {0, 1, 2, 3, 4, 5, 6}, 1, 100);
  cases.push_back({"days", i, 300});
  // A Sunday night puts 480 minutes in the next week, whose cap of 1320
  // holds three days or the night and two: the rounding must count the
  // night's part after midnight as a shift of that week.
  TInstance n = Unbound(1, 14);
  n.shifts = {{"M", 420, {}}, {"N", 600, {}, 480}};
  n.employees[0].maxShifts = {14, 14};
  n.employees[0].maxWeekMinutes = {7 * 600, 1320};
  n.cover.push_back({6, 1, 1, 100, 1});
  for (int d = 7; d < 14; ++d) n.cover.push_back({d, 0, 1, 100, 1});
  cases.push_back({"a Sunday night", n, 500});
  for (const TOptimumCase& c : cases) {
    SCOPED_TRACE(c.name);
    ExpectOptimal(c.instance, SolveExact(c.instance, Patient()), c.optimum);
    TExactOptions relaxation = Patient();
    relaxation.relaxationOnly = true;
    const TExactResult relaxed = SolveExact(c.instance, relaxation);
    ASSERT_TRUE(relaxed.bound.has_value());
    EXPECT_EQ(*relaxed.bound, c.optimum);
  }
}

TEST(SolveExactTest, ProvesTheFirstPublishedInstanceAndReportsOnTheWay) {
  const TInstance instance = ReadInstanceFile(BenchmarkPath("Instance1.txt"));
  std::vector<int64_t> bounds, objectives;
  TExactOptions options = Patient();
  options.onBound = [&](int64_t bound) { bounds.push_back(bound); };
  options.onRoster = [&](const TRoster& roster, int64_t objective) {
    objectives.push_back(objective);
    const TEvaluation evaluation = Evaluate(instance, roster);
    EXPECT_TRUE(evaluation.Feasible());
    EXPECT_EQ(evaluation.objective.Total(), objective);
  };
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  const TExactResult result = SolveExact(instance, options);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");  // CBC keeps quiet
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  ExpectOptimal(instance, result, 607);
  ASSERT_FALSE(bounds.empty());
  ASSERT_FALSE(objectives.empty());
  for (size_t i = 1; i < bounds.size(); ++i) EXPECT_GT(bounds[i], bounds[i - 1]);
  for (size_t i = 1; i < objectives.size(); ++i) EXPECT_LT(objectives[i], objectives[i - 1]);
  EXPECT_LE(bounds.back(), 607);
  // The root's bound, the tree's as it branches, and the proof's.
  EXPECT_GE(bounds.size(), 3u);
  EXPECT_EQ(objectives.back(), 607);

  // The relaxation alone bounds from below, and no better than the search.
  TExactOptions relaxation = Patient();
  relaxation.relaxationOnly = true;
  const TExactResult relaxed = SolveExact(instance, relaxation);
  EXPECT_EQ(relaxed.status, "bound");
  EXPECT_FALSE(relaxed.roster.has_value());
  ASSERT_TRUE(relaxed.bound.has_value());
  EXPECT_GT(*relaxed.bound, 0);
  EXPECT_LE(*relaxed.bound, 607);
}

TEST(SolveExactTest, ProvesTheOtherPublishedInstances) {
  for (const auto& [name, optimum] :
       {std::pair{"Instance2.txt", 828}, std::pair{"Instance3.txt", 1001}}) {
    SCOPED_TRACE(name);
    const TInstance instance = ReadInstanceFile(BenchmarkPath(name));
    ExpectOptimal(instance, SolveExact(instance, Patient()), optimum);
  }
}

TEST(SolveExactTest, StartsFromAGivenRoster) {
  const TInstance instance = GenerateInstance({4, 14, 2}, 7);
  const TExactResult solved = SolveExact(instance, Patient());
  ASSERT_TRUE(solved.optimal);
  ASSERT_TRUE(solved.roster.has_value());

  // A start that keeps every rule is the incumbent from the outset: even a
  // run stopped at once returns it, and nothing worse is ever told.
  std::atomic<bool> stop{true};
  TExactOptions options = Patient();
  options.start = &*solved.roster;
  options.stop = &stop;
  int told = 0;
  options.onRoster = [&](const TRoster&, int64_t) { ++told; };
  const TExactResult stopped = SolveExact(instance, options);
  EXPECT_EQ(stopped.status, "stopped");
  ASSERT_TRUE(stopped.roster.has_value());
  EXPECT_EQ(*stopped.roster, *solved.roster);
  EXPECT_EQ(stopped.objective, solved.objective);
  EXPECT_EQ(told, 0);

  // A start that breaks rules (everyone works every day, days off too) only
  // steers: the optimum is still proven.
  TRoster everyone(static_cast<int>(instance.employees.size()), instance.days);
  for (int e = 0; e < everyone.Employees(); ++e) {
    for (int d = 0; d < everyone.Days(); ++d) everyone.Set(e, d, 0);
  }
  TExactOptions steered = Patient();
  steered.start = &everyone;
  ExpectOptimal(instance, SolveExact(instance, steered), solved.objective);
}

TEST(SolveExactTest, ReportsInfeasibleInstances) {
  // More minutes than the horizon holds.
  TInstance minutes = Unbound(2, 7);
  minutes.employees[1].minMinutes = 8 * 480;
  // A pin on a day off, and two pins that disagree.
  TInstance dayOff = Unbound(1, 7);
  dayOff.employees[0].daysOff = {3};
  dayOff.pins = {{0, 3, 0}};
  TInstance twice = Unbound(1, 7);
  twice.pins = {{0, 2, 0}, {0, 2, kOff}};
  // Runs that cannot fit: at least three days in a row, at most two.
  TInstance runs = Unbound(1, 7);
  runs.employees[0].minConsecutive = 3;
  runs.employees[0].maxConsecutive = 2;
  runs.employees[0].minMinutes = 5 * 480;
  for (const TInstance* instance : {&minutes, &dayOff, &twice, &runs}) {
    const TExactResult result = SolveExact(*instance, Patient());
    EXPECT_EQ(result.status, "infeasible");
    EXPECT_FALSE(result.roster.has_value());
    EXPECT_FALSE(result.optimal);
  }
}

TEST(SolveExactTest, HonoursTheTimeLimitAndTheStopFlag) {
  // Large enough that neither the relaxation nor the search ends by itself
  // within the limits below.
  const TInstance instance = GenerateInstance({16, 364, 3}, 3);
  ASSERT_LE(ExactVariables(instance), kMostExactVariables);
  const auto expectCut = [](const TExactResult& result, const char* status) {
    EXPECT_EQ(result.status, status);
    EXPECT_FALSE(result.optimal);
    EXPECT_FALSE(result.tooLarge);
  };
  TExactOptions brief;
  brief.timeLimitSeconds = 0.05;
  expectCut(SolveExact(instance, brief), "time limit");
  TExactOptions relaxation = brief;
  relaxation.relaxationOnly = true;
  expectCut(SolveExact(instance, relaxation), "time limit");

  // Raised before the call, and raised from a callback once a bound is known.
  std::atomic<bool> stop{true};
  TExactOptions stopped;
  stopped.stop = &stop;
  expectCut(SolveExact(instance, stopped), "stopped");
  const TInstance small = ReadInstanceFile(BenchmarkPath("Instance3.txt"));
  stop = false;
  stopped.onBound = [&stop](int64_t) { stop = true; };
  const TExactResult result = SolveExact(small, stopped);
  expectCut(result, "stopped");
  ASSERT_TRUE(result.bound.has_value());
  EXPECT_LE(*result.bound, 1001);
}

TEST(SolveExactTest, RefusesModelsBeyondItsSize) {
  TInstance instance = Unbound(150, 364);
  for (int s = 1; s < 32; ++s) instance.shifts.push_back({"S" + std::to_string(s), 480, {}});
  for (TEmployee& person : instance.employees) person.maxShifts.assign(32, 364);
  EXPECT_EQ(ExactVariables(instance), int64_t{150} * 364 * 32);
  const TExactResult result = SolveExact(instance, Patient());
  EXPECT_TRUE(result.tooLarge);
  EXPECT_EQ(result.status, "too large");
  EXPECT_FALSE(result.roster.has_value());
  EXPECT_FALSE(result.bound.has_value());
  // Days off and types never worked do not count.
  instance.employees[0].maxShifts.assign(32, 0);
  instance.employees[1].daysOff = {0, 1, 2};
  EXPECT_EQ(ExactVariables(instance), int64_t{148} * 364 * 32 + int64_t{361} * 32);
  // The size is the caller's to raise, and to lower.
  TInstance small = Unbound(3, 7);
  TExactOptions tight = Patient();
  tight.mostVariables = ExactVariables(small) - 1;
  EXPECT_TRUE(SolveExact(small, tight).tooLarge);
  tight.mostVariables = ExactVariables(small);
  EXPECT_FALSE(SolveExact(small, tight).tooLarge);
}

}  // namespace
}  // namespace cuadrante::solver
