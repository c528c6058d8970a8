#include "cuadrante/solver/evaluator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "cuadrante/solver/generator.h"

namespace cuadrante::solver {
namespace {

// One person, one shift type of 480 minutes, two weeks, no wishes: a roster
// is a string of '.' (off) and 'X' (worked).
TInstance OnePerson() {
  TInstance instance;
  instance.days = 14;
  instance.shifts = {{"X", 480, {}}};
  TEmployee person;
  person.id = "P";
  person.maxShifts = {14};
  person.maxMinutes = 14 * 480;
  person.minMinutes = 0;
  person.maxConsecutive = 14;
  person.minConsecutive = 0;
  person.minDaysOff = 0;
  person.maxWeekends = 2;
  instance.employees = {person};
  return instance;
}

// The one shift type made a night, 22:00 to 06:00, and the person's weekly caps.
void Nights(TInstance& instance, std::vector<int64_t> caps) {
  instance.shifts[0].minutesNextDay = 360;
  instance.employees[0].maxWeekMinutes = std::move(caps);
}

TRoster RowOf(const std::string& days) {
  TRoster roster(1, static_cast<int>(days.size()));
  for (size_t d = 0; d < days.size(); ++d) roster.Set(0, static_cast<int>(d), days[d] == 'X' ? 0 : kOff);
  return roster;
}

TEST(EvaluateTest, EachHardRuleCountsItsUnits) {
  struct Case {
    const char* name;
    void (*limit)(TInstance&);
    const char* days;
    TRule rule;
    int day;
    int64_t units;
  };
  const Case cases[] = {
      {"day off", [](TInstance& i) { i.employees[0].daysOff = {3}; }, "...X..........", TRule::kDayOff, 3, 1},
      {"max shifts", [](TInstance& i) { i.employees[0].maxShifts = {2}; }, "XX.XX.........", TRule::kMaxShifts, 3, 2},
      {"max minutes", [](TInstance& i) { i.employees[0].maxMinutes = 700; }, "XX............", TRule::kMaxMinutes, 0, 1},
      {"min minutes", [](TInstance& i) { i.employees[0].minMinutes = 1500; }, "X.............", TRule::kMinMinutes, 0, 3},
      {"too long a run", [](TInstance& i) { i.employees[0].maxConsecutive = 3; }, ".XXXXX........", TRule::kMaxConsecutive, 1, 2},
      {"a long run at the start still counts", [](TInstance& i) { i.employees[0].maxConsecutive = 3; }, "XXXX..........", TRule::kMaxConsecutive, 0, 1},
      {"too short a run", [](TInstance& i) { i.employees[0].minConsecutive = 3; }, "....X.........", TRule::kMinConsecutive, 4, 2},
      {"too few days off", [](TInstance& i) { i.employees[0].minDaysOff = 2; }, "XXX.XXX.......", TRule::kMinDaysOff, 3, 1},
      {"weekends", [](TInstance& i) { i.employees[0].maxWeekends = 0; }, "......X.......", TRule::kMaxWeekends, 5, 1},
      {"a week's minutes", [](TInstance& i) { i.employees[0].maxWeekMinutes = {7 * 480, 500}; }, ".......XXX....", TRule::kMaxWeekMinutes, 7, 2},
      {"a shift counts in its own week", [](TInstance& i) { i.employees[0].maxWeekMinutes = {480, 480}; }, ".....XXX......", TRule::kMaxWeekMinutes, 0, 1},
      {"pin", [](TInstance& i) { i.pins = {{0, 2, 0}}; }, "..............", TRule::kPinned, 2, 1},
      // Nights of 22:00 to 06:00: six of their eight hours go to the next
      // day's week. A roster of no units breaks nothing.
      {"a Sunday night weighs on the next week", [](TInstance& i) { Nights(i, {7 * 480, 480}); }, "......XX......", TRule::kMaxWeekMinutes, 7, 1},
      {"a Saturday night stays in its week", [](TInstance& i) { Nights(i, {7 * 480, 480}); }, ".....X.X......", TRule::kMaxWeekMinutes, 0, 0},
      {"a week's last night lightens it", [](TInstance& i) { Nights(i, {600, 7 * 480}); }, ".....XX.......", TRule::kMaxWeekMinutes, 0, 0},
      {"the last night's morning is past the horizon", [](TInstance& i) { Nights(i, {7 * 480, 120}); }, ".............X", TRule::kMaxWeekMinutes, 0, 0},
      {"totals count whole nights", [](TInstance& i) { Nights(i, {}); i.employees[0].maxMinutes = 900; }, "............XX", TRule::kMaxMinutes, 0, 1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TInstance instance = OnePerson();
    c.limit(instance);
    const TEvaluation result = Evaluate(instance, RowOf(c.days));
    const size_t breaches = c.units == 0 ? 0 : 1;
    EXPECT_EQ(result.breaches.size(), breaches);
    if (c.units > 0 && result.breaches.size() == breaches) {
      EXPECT_EQ(result.breaches[0].rule, c.rule);
      EXPECT_EQ(result.breaches[0].day, c.day);
    }
    EXPECT_EQ(result.violation, c.units);
    EXPECT_EQ(TEvaluator(instance, RowOf(c.days)).Violation(), c.units);
  }
}

TEST(EvaluateTest, RunsThatTouchTheHorizonsEndsOweNoMinimum) {
  TInstance instance = OnePerson();
  instance.employees[0].minConsecutive = 3;
  instance.employees[0].minDaysOff = 3;
  // A one-day run at each end, and a one-day rest before the last day.
  for (const char* days : {"X.............", ".............X", "X...........XX", "XXXX.........."}) {
    SCOPED_TRACE(days);
    EXPECT_TRUE(Evaluate(instance, RowOf(days)).Feasible());
  }
  EXPECT_EQ(Evaluate(instance, RowOf("XXX.XXX.......")).violation, 2);  // the single day off
}

TEST(EvaluateTest, ObjectiveCountsWishesAndCover) {
  TInstance instance = OnePerson();
  instance.shifts.push_back({"Y", 480, {}});
  instance.shifts[1].forbiddenNext = {0};
  instance.employees[0].maxShifts = {14, 14};
  instance.onRequests = {{0, 0, 0, 5}, {0, 1, 1, 7}};
  instance.offRequests = {{0, 2, 0, 3}, {0, 3, 0, 11}};
  instance.cover = {{0, 0, 2, 100, 1}, {1, 0, 0, 100, 4}};
  // Three X for at least 5 (2 x 2), no weekend for at least one (3), and
  // three shifts of X or Y for at most 1 (2 x 1).
  instance.employees[0].balances = {
      {{0}, false, 5, 6, 2}, {{}, true, 1, 2, 3}, {{1, 0}, false, 0, 1, 1}};
  TRoster roster(1, 14);
  roster.Set(0, 0, 0);  // granted, one of two covered
  roster.Set(0, 1, 0);  // the wrong type, and one too many
  roster.Set(0, 2, 0);  // an off-request worked
  const TEvaluation result = Evaluate(instance, roster);
  EXPECT_EQ(result.objective, (TObjective{7, 3, 100, 4, 9}));
  EXPECT_EQ(TEvaluator(instance, roster).Objective(), result.objective.Total());
  roster.Set(0, 3, 1);
  roster.Set(0, 4, 0);
  const TEvaluation succession = Evaluate(instance, roster);
  ASSERT_EQ(succession.breaches.size(), 1u);
  EXPECT_EQ(succession.breaches[0].rule, TRule::kSuccession);
  EXPECT_EQ(succession.breaches[0].day, 4);
}

// Balances on the one person of a two-type instance: X and Y, a roster a
// string of '.', 'X' and 'Y' as long as the horizon.
TEST(EvaluateTest, BalancesPayEachUnitOutsideTheirRange) {
  struct Case {
    const char* name;
    TBalance balance;
    const char* days;
    int64_t cost;
  };
  const Case cases[] = {
      {"within the range", {{0}, false, 2, 3, 5}, "XX.Y..........", 0},
      {"at its max", {{0}, false, 2, 3, 5}, "XXXY..........", 0},
      {"one below", {{0}, false, 2, 3, 5}, "X..YYY........", 5},
      {"none of two", {{0}, false, 2, 3, 5}, "...YYY........", 10},
      {"two above", {{0}, false, 2, 3, 5}, "XXXXX.........", 10},
      {"the other type is not counted", {{1}, false, 0, 0, 4}, "XXXXX........Y", 4},
      {"both types", {{1, 0}, false, 3, 3, 1}, "X.Y.X.Y.......", 1},
      {"an empty range", {{0}, false, 0, 0, 7}, "..............", 0},
      {"weight 0", {{0}, false, 9, 9, 0}, "..............", 0},
      {"a Saturday worked", {{}, true, 0, 0, 3}, ".....X........", 3},
      {"a Sunday worked", {{}, true, 0, 0, 3}, "......Y.......", 3},
      {"a Sunday worked, last day", {{}, true, 0, 0, 3}, ".............Y", 3},
      {"a whole weekend counts once", {{}, true, 0, 0, 3}, ".....XY.......", 3},
      {"two weekends", {{}, true, 0, 1, 3}, ".....X.......X", 3},
      {"weekdays are no weekend", {{}, true, 1, 2, 3}, "XXXXX..XXXXX..", 3},
      {"types are not read for weekends", {{0}, true, 2, 2, 1}, "XXXXX.Y.......", 1},
      {"a last weekend of one day", {{}, true, 2, 2, 1}, ".....X......Y", 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TInstance instance = OnePerson();
    instance.days = static_cast<int>(std::string(c.days).size());
    instance.shifts.push_back({"Y", 480, {}});
    instance.employees[0].maxShifts = {14, 14};
    instance.employees[0].balances = {c.balance};
    TRoster roster(1, instance.days);
    for (int d = 0; d < instance.days; ++d) {
      roster.Set(0, d, c.days[d] == 'X' ? 0 : c.days[d] == 'Y' ? 1 : kOff);
    }
    const TEvaluation result = Evaluate(instance, roster);
    EXPECT_TRUE(result.Feasible());
    EXPECT_EQ(result.objective.balance, c.cost);
    EXPECT_EQ(result.objective.Total(), c.cost);
    EXPECT_EQ(TEvaluator(instance, roster).Objective(), c.cost);
    // Pinned work counts like any other: pinning every cell as it is
    // changes nothing.
    for (int d = 0; d < instance.days; ++d) instance.pins.push_back({0, d, roster.At(0, d)});
    EXPECT_EQ(Evaluate(instance, roster).objective.balance, c.cost);
    EXPECT_EQ(TEvaluator(instance, roster).Objective(), c.cost);
  }
}

TEST(ModelTest, RefusesBalancesThatDoNotHold) {
  struct Case {
    const char* name;
    std::vector<TBalance> balances;
    const char* problem;  // empty: accepted
  };
  const TBalance fine{{0, 1}, false, 1, 2, 3};
  const Case cases[] = {
      {"none", {}, ""},
      {"two types", {fine}, ""},
      {"weekends", {{{}, true, 0, 0, 0}}, ""},
      {"the largest", {{{1}, false, kMostDays, kMostDays, static_cast<int>(kMostWeight)}}, ""},
      {"as many as allowed", std::vector<TBalance>(kMostBalances, fine), ""},
      {"too many", std::vector<TBalance>(kMostBalances + 1, fine),
       "employee 0 (P): 17 balances, at most 16"},
      {"a type too large",
       {fine, {{2}, false, 0, 1, 1}},
       "employee 0 (P): balance 1: shift type 2 does not exist"},
      {"a negative type",
       {{{-1}, false, 0, 1, 1}},
       "employee 0 (P): balance 0: shift type -1 does not exist"},
      {"a type twice",
       {{{1, 0, 1}, false, 0, 1, 1}},
       "employee 0 (P): balance 0: shift type 1 is counted twice"},
      {"a negative min", {{{0}, false, -1, 1, 1}}, "employee 0 (P): balance 0: min -1 is negative"},
      {"max below min", {{{0}, true, 3, 2, 1}}, "employee 0 (P): balance 0: max 2 is below min 3"},
      {"max beyond any count",
       {{{0}, false, 0, kMostDays + 1, 1}},
       "employee 0 (P): balance 0: max 36601 is above 36600"},
      {"a negative weight",
       {{{0}, false, 0, 1, -1}},
       "employee 0 (P): balance 0: weight -1 is not within 0..1000000"},
      {"too heavy",
       {{{0}, false, 0, 1, static_cast<int>(kMostWeight) + 1}},
       "employee 0 (P): balance 0: weight 1000001 is not within 0..1000000"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TInstance instance = OnePerson();
    instance.shifts.push_back({"Y", 480, {}});
    instance.employees[0].maxShifts = {14, 14};
    instance.employees[0].balances = c.balances;
    EXPECT_EQ(ModelProblem(instance), c.problem);
  }
}

TEST(ModelTest, RefusesWeeklyCapsThatDoNotFit) {
  struct Case {
    int days;
    std::vector<int64_t> caps;
    const char* problem;  // empty: accepted
  };
  const Case cases[] = {
      {14, {}, ""},
      {14, {0, 0}, ""},
      {14, {kMostMinutes, 480}, ""},
      {15, {2400, 2400, 300}, ""},  // a last week of one day
      {7, {2400}, ""},
      {14, {2400}, "employee 0 (P): maxWeekMinutes has 1 entries for 2 weeks"},
      {14, {2400, 2400, 2400}, "employee 0 (P): maxWeekMinutes has 3 entries for 2 weeks"},
      {15, {2400, 2400}, "employee 0 (P): maxWeekMinutes has 2 entries for 3 weeks"},
      {8, {2400}, "employee 0 (P): maxWeekMinutes has 1 entries for 2 weeks"},
      {14, {2400, -1}, "employee 0 (P): a week's minutes out of range"},
      {14, {kMostMinutes + 1, 0}, "employee 0 (P): a week's minutes out of range"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.days << " days, " << c.caps.size() << " caps");
    TInstance instance = OnePerson();
    instance.days = c.days;
    instance.employees[0].maxWeekMinutes = c.caps;
    EXPECT_EQ(ModelProblem(instance), c.problem);
  }
}

TEST(ModelTest, RefusesAPartAfterMidnightOutsideTheShift) {
  struct Case {
    int minutes, nextDay;
    const char* problem;  // empty: accepted
  };
  const Case cases[] = {
      {480, 0, ""},
      {480, 360, ""},
      {480, 480, ""},  // from midnight on
      {0, 0, ""},
      {480, 481, "shift 0 (X): minutesNextDay 481 is not within 0..480"},
      {480, -1, "shift 0 (X): minutesNextDay -1 is not within 0..480"},
      {0, 1, "shift 0 (X): minutesNextDay 1 is not within 0..0"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::Message()
                 << c.minutes << " minutes, " << c.nextDay << " after midnight");
    TInstance instance = OnePerson();
    instance.shifts[0].minutes = c.minutes;
    instance.shifts[0].minutesNextDay = c.nextDay;
    EXPECT_EQ(ModelProblem(instance), c.problem);
  }
}

TEST(EvaluateTest, RefusesRostersOfOtherSizes) {
  EXPECT_THROW(Evaluate(OnePerson(), TRoster(2, 14)), EModelError);
  EXPECT_THROW(TEvaluator(OnePerson(), TRoster(1, 13)), EModelError);
}

// The incremental prices against the full walk, over random moves of every
// kind on instances with pins and every rule in play.
TEST(EvaluatorTest, IncrementalAnswersEqualFullEvaluation) {
  std::mt19937_64 random(7);
  const auto pick = [&random](int low, int high) {
    return std::uniform_int_distribution<int>(low, high)(random);
  };
  int moves = 0;
  int64_t weekBreaches = 0, balanceMoves = 0;
  for (const TShape shape : {TShape{4, 14, 1}, TShape{6, 15, 3}, TShape{5, 20, 2}, TShape{3, 13, 4}}) {
    for (uint64_t seed = 1; seed <= 5; ++seed) {
      TInstance instance = GenerateInstance(shape, seed);
      // Lengths of their own, so that a change of type alone moves minutes;
      // nights keep a part after midnight, from an hour to the whole shift.
      for (auto& type : instance.shifts) {
        type.minutes = pick(2, 10) * 60;
        if (type.minutesNextDay > 0) type.minutesNextDay = pick(1, type.minutes / 60) * 60;
      }
      for (auto& person : instance.employees) {
        person.minConsecutive = pick(0, 3);
        person.minDaysOff = pick(0, 3);
        person.maxConsecutive = pick(1, 5);
      }
      instance.pins.push_back({0, pick(0, shape.days - 1), pick(-1, shape.shiftTypes - 1)});
      TRoster roster(shape.employees, shape.days);
      for (int e = 0; e < shape.employees; ++e) {
        for (int d = 0; d < shape.days; ++d) roster.Set(e, d, pick(-1, shape.shiftTypes - 1));
      }
      TEvaluator evaluator(instance, roster);
      TEvaluation before = Evaluate(instance, evaluator.Roster());
      for (int step = 0; step < 5'000; ++step, ++moves) {
        const int kind = pick(0, 2);
        const int e = pick(0, shape.employees - 1);
        const int first = pick(0, shape.days - 1);
        const int last = std::min(shape.days - 1, first + pick(0, 6));
        TDelta predicted;
        if (kind == 0) {
          const int shift = pick(-1, shape.shiftTypes - 1);
          predicted = evaluator.ChangeDelta(e, first, shift);
          evaluator.Change(e, first, shift);
        } else if (kind == 1) {
          const int other = pick(0, shape.employees - 1);
          predicted = evaluator.SwapDelta(e, other, first, last);
          evaluator.Swap(e, other, first, last);
        } else {
          std::vector<int16_t> block;
          for (int d = first; d <= last; ++d) block.push_back(static_cast<int16_t>(pick(-1, shape.shiftTypes - 1)));
          predicted = evaluator.BlockDelta(e, first, block);
          evaluator.Block(e, first, block);
        }
        const TEvaluation after = Evaluate(instance, evaluator.Roster());
        ASSERT_EQ(predicted.objective, after.objective.Total() - before.objective.Total())
            << "move " << moves << " kind " << kind;
        ASSERT_EQ(predicted.violation, after.violation - before.violation) << "move " << moves << " kind " << kind;
        ASSERT_EQ(evaluator.Objective(), after.objective.Total());
        ASSERT_EQ(evaluator.Violation(), after.violation);
        ASSERT_EQ(after.violation == 0, after.Feasible());
        weekBreaches +=
            std::count_if(after.breaches.begin(), after.breaches.end(),
                          [](const TBreach& b) { return b.rule == TRule::kMaxWeekMinutes; });
        balanceMoves += after.objective.balance != before.objective.balance;
        before = after;
      }
      TEvaluator rebuilt(instance, evaluator.Roster());
      EXPECT_EQ(rebuilt.Objective(), evaluator.Objective());
      EXPECT_EQ(rebuilt.Violation(), evaluator.Violation());
    }
  }
  EXPECT_EQ(moves, 100'000);
  // The generator's weekly caps must be broken now and then, or the rule went untried.
  EXPECT_GT(weekBreaches, 1'000);
  // Likewise the balances: moves that change what they cost.
  EXPECT_GT(balanceMoves, 3'000);
}

}  // namespace
}  // namespace cuadrante::solver
