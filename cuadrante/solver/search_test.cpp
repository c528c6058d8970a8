#include "cuadrante/solver/search.h"

#include <gtest/gtest.h>

#include "cuadrante/solver/exact.h"
#include "cuadrante/solver/generator.h"

namespace cuadrante::solver {
namespace {

TSearchOptions Budget(uint64_t moves, int workers) {
  TSearchOptions options;
  options.maxMoves = moves;
  options.workers = workers;
  options.epochMoves = 20'000;
  options.timeLimitSeconds = 600;  // the budget ends it, never the clock
  return options;
}

TEST(SolveTest, ASeedAndABudgetGiveTheSameRoster) {
  const TInstance instance = GenerateInstance({8, 14, 2}, 3);
  for (int workers : {1, 2}) {
    SCOPED_TRACE(workers);
    TSearchOptions options = Budget(300'000, workers);
    options.seed = 11;
    const TSearchResult first = Solve(instance, options);
    const TSearchResult second = Solve(instance, options);
    EXPECT_EQ(first.roster, second.roster);
    EXPECT_EQ(first.moves, 300'000u * static_cast<uint64_t>(workers));
    options.seed = 12;
    EXPECT_NE(Solve(instance, options).roster, first.roster);
  }
  // An epoch of no moves still moves: one at a time, and the budget ends it.
  TSearchOptions tiny = Budget(1'000, 1);
  tiny.epochMoves = 0;
  EXPECT_EQ(Solve(instance, tiny).moves, 1'000u);
}

// The exact engine takes one of the two workers' cores; a model beyond it is
// refused at once, and a second search takes the core over: the moves are
// then more than one search's budget. With one worker there is nothing to
// hand over.
TEST(SolveTest, HandsTheExactEnginesCoreToASecondSearchWhenItGivesUp) {
  const TInstance instance = GenerateInstance({100, 84, 4}, 1);
  ASSERT_GT(ExactVariables(instance), kMostExactVariables);
  TSearchOptions options = Budget(400'000, 2);
  options.exact = true;
  const TSearchResult pair = Solve(instance, options);
  EXPECT_GT(pair.moves, 400'000u);
  EXPECT_FALSE(pair.bound.has_value());
  options.workers = 1;
  EXPECT_EQ(Solve(instance, options).moves, 400'000u);
}

// While no roster keeps every rule, each new cycle starts from the roster
// that broke the least so far, not from the pinned one the search began
// with: twenty moves after the first restart (at 4 million moves; at 2
// million the first cycle only warms up again in place) it is still near
// the best.
TEST(SolveTest, RestartsFromTheLeastBreakingRosterWhileNoneKeepsTheRules) {
  TInstance instance = GenerateInstance({10, 28, 2}, 1);
  instance.employees[0].daysOff.push_back(3);
  instance.pins.push_back({0, 3, 0});  // work on a day off: every roster breaks it
  const int64_t pinned = Evaluate(instance, PinnedRoster(instance)).violation;
  const TSearchResult result = Solve(instance, Budget(4'000'020, 1));
  EXPECT_GT(result.evaluation.violation, 0);
  EXPECT_LT(result.evaluation.violation * 10, pinned);
}

TEST(SolveTest, FindsARosterWithoutBreachAndReportsItTruly) {
  const TInstance instance = GenerateInstance({10, 28, 2}, 1);
  const TSearchResult result = Solve(instance, Budget(2'000'000, 2));
  const TEvaluation check = Evaluate(instance, result.roster);
  EXPECT_TRUE(check.Feasible());
  EXPECT_EQ(result.evaluation.objective, check.objective);
  EXPECT_FALSE(result.optimal);  // nothing proved it
}

TEST(SolveTest, StartsFromTheRosterItIsGivenWithThePinsOverIt) {
  const TInstance instance = GenerateInstance({10, 28, 2}, 1);
  const TSearchResult good = Solve(instance, Budget(2'000'000, 1));
  ASSERT_TRUE(good.evaluation.Feasible());
  // A few moves from a sound roster keep one at least as good; from the
  // pinned roster they get nowhere near it.
  TSearchOptions few = Budget(50, 1);
  const TSearchResult cold = Solve(instance, few);
  few.start = &good.roster;
  const TSearchResult warm = Solve(instance, few);
  ASSERT_TRUE(warm.evaluation.Feasible());
  EXPECT_LE(warm.evaluation.objective.Total(), good.evaluation.objective.Total());
  EXPECT_FALSE(cold.evaluation.Feasible());
  // The pins win over the start; a start of other sizes is refused.
  TInstance pinned = instance;
  const int kept = good.roster.At(0, 3);
  pinned.pins.push_back({0, 3, kept == kOff ? 0 : kOff});
  const TSearchResult mended = Solve(pinned, few);
  EXPECT_EQ(mended.roster.At(0, 3), pinned.pins.back().shift);
  const TRoster wrong(2, 2);
  few.start = &wrong;
  EXPECT_THROW(Solve(instance, few), EModelError);
}

TEST(SolveTest, KeepsPinsAndEndsWithAProofAtZero) {
  // Two people, one shift, cover of one a day they can give: cost 0 exists,
  // and a roster of cost 0 is optimal whatever else holds.
  TInstance instance;
  instance.days = 7;
  instance.shifts = {{"D", 480, {}}};
  for (const char* id : {"A", "B"}) {
    TEmployee person;
    person.id = id;
    person.maxShifts = {7};
    person.maxMinutes = 7 * 480;
    person.maxConsecutive = 7;
    person.maxWeekends = 1;
    instance.employees.push_back(person);
  }
  for (int d = 0; d < 7; ++d) instance.cover.push_back({d, 0, 1, 100, 1});
  instance.pins = {{0, 0, 0}, {0, 1, kOff}, {1, 6, kOff}};
  TSearchOptions options = Budget(5'000'000, 1);
  const TSearchResult result = Solve(instance, options);
  EXPECT_EQ(result.roster.At(0, 0), 0);
  EXPECT_EQ(result.roster.At(0, 1), kOff);
  EXPECT_EQ(result.roster.At(1, 6), kOff);
  EXPECT_EQ(result.evaluation.objective.Total(), 0);
  EXPECT_TRUE(result.optimal);
  EXPECT_LT(result.moves, 5'000'000u);  // the proof ended it early
}

TEST(SolveTest, WithNobodyToRosterEveryNeedIsMissingAndThatIsOptimal) {
  // A post with needs and no staff: the one roster there is, at once,
  // whether the exact engine runs beside the search or not.
  TInstance instance;
  instance.days = 7;
  instance.shifts = {{"D", 480, {}}};
  for (int d = 0; d < 7; ++d) instance.cover.push_back({d, 0, 2, 100, 1});
  for (const bool exact : {false, true}) {
    TSearchOptions options = Budget(5'000'000, 2);
    options.exact = exact;
    const TSearchResult result = Solve(instance, options);
    EXPECT_EQ(result.roster.Employees(), 0);
    EXPECT_EQ(result.evaluation.objective.Total(), 7 * 2 * 100);
    EXPECT_EQ(result.bound, std::optional<int64_t>(7 * 2 * 100));
    EXPECT_TRUE(result.optimal);
    EXPECT_EQ(result.moves, 0u);
  }
  TExactOptions exact;
  exact.timeLimitSeconds = 10;
  const TExactResult proven = SolveExact(instance, exact);
  EXPECT_TRUE(proven.optimal) << proven.status;
  EXPECT_EQ(proven.objective, 7 * 2 * 100);
}

TEST(SolveTest, SharesNightsAndWeekendsAsTheBalancesAsk) {
  // Two people cover a day and a night shift every weekday of a fortnight
  // and a night on weekends. Many rosters cover it all; the ranges ask for
  // seven nights each and A on one weekend at most, and one roster of cost
  // 0 keeps them: A on seven weekday nights and three days, B on the rest.
  TInstance instance;
  instance.days = 14;
  instance.shifts = {{"D", 480, {}}, {"N", 480, {}}};
  for (const char* id : {"A", "B"}) {
    TEmployee person;
    person.id = id;
    person.maxShifts = {14, 14};
    person.maxMinutes = 14 * 480;
    person.maxConsecutive = 14;
    person.maxWeekends = 2;
    person.balances = {{{1}, false, 7, 7, 10}};
    instance.employees.push_back(person);
  }
  instance.employees[0].balances.push_back({{}, true, 0, 1, 10});
  for (int d = 0; d < 14; ++d) {
    instance.cover.push_back({d, 0, IsWeekendDay(d) ? 0 : 1, 100, 1});
    instance.cover.push_back({d, 1, 1, 100, 1});
  }
  const TSearchResult result = Solve(instance, Budget(20'000'000, 1));
  EXPECT_EQ(result.evaluation.objective.Total(), 0);
  EXPECT_TRUE(result.optimal);
  for (int e = 0; e < 2; ++e) {
    int nights = 0;
    for (int d = 0; d < 14; ++d) nights += result.roster.At(e, d) == 1;
    EXPECT_EQ(nights, 7) << "employee " << e;
  }
  const int weekendsOfA = (result.roster.At(0, 5) != kOff || result.roster.At(0, 6) != kOff) +
                          (result.roster.At(0, 12) != kOff || result.roster.At(0, 13) != kOff);
  EXPECT_LE(weekendsOfA, 1);
}

TEST(SolveTest, StopsWhenAskedAndReportsProgress) {
  const TInstance instance = GenerateInstance({30, 28, 4}, 2);
  std::atomic<bool> stop{false};
  int reports = 0;
  TSearchOptions options = Budget(0, 2);
  options.timeLimitSeconds = 600;
  options.stop = &stop;
  options.progressEverySeconds = 0;
  options.progress = [&](const TProgress& progress) {
    ++reports;
    EXPECT_GE(progress.seconds, 0);
    if (progress.moves >= 200'000) stop = true;
  };
  const TSearchResult result = Solve(instance, options);
  EXPECT_GE(reports, 2);
  EXPECT_GE(result.moves, 200'000u);
  EXPECT_LT(result.seconds, 600);
}

TEST(SolveTest, RefusesAModelThatDoesNotHoldTogether) {
  TInstance instance = GenerateInstance({3, 7, 1}, 1);
  instance.cover.push_back({9, 0, 1, 1, 1});
  EXPECT_THROW(Solve(instance, Budget(10, 1)), EModelError);
}

}  // namespace
}  // namespace cuadrante::solver
