#include "cuadrante/testing/plangenerator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <stdexcept>
#include <string>

#include "cuadrante/roster/fill.h"
#include "cuadrante/roster/plan.h"
#include "cuadrante/testing/values.h"

namespace {

using namespace cuadrante;
using namespace cuadrante::roster;
using cuadrante::testing::PlanShape;
using cuadrante::testing::RandomPlanXml;

// People-shifts a week that a need asks for.
int WeeklyPeopleOf(const TNeed& need) {
  int days = 0;
  for (int weekday = 1; weekday <= 7; ++weekday) days += HoldsWeekday(need.days, weekday) ? 1 : 0;
  return need.people * days;
}

bool WithinMonth(TFecha when, TFecha first, TFecha last) {
  return when.Date() >= first.Date() && when.Date() <= last.Date();
}

// Every generated plan reads, holds what its shape promised, and turns into a
// model of the engine over its month: the property tests and the benchmark
// stand on that for any seed.
TEST(RandomPlanXml, ReadsAndKeepsItsShapeForEverySeed) {
  struct TCase {
    PlanShape shape;
    int seeds;
  };
  const TCase cases[] = {
      {{3, 8, 2026, 12}, 40},   // the property tests' size
      {{3, 12, 2027, 2}, 40},   // a February of four whole weeks
      {{2, 8, 2026, 11}, 40},   // the example's size
      {{1, 1, 2028, 2}, 20},    // one person, a leap February
      {{12, 30, 2026, 6}, 10},  // more posts than named wards, thinly staffed
      {{10, 200, 2026, 12}, 3}  // the benchmark's size
  };
  for (const TCase& c : cases) {
    const PlanShape& shape = c.shape;
    const TFecha first = cuadrante::testing::At(shape.year, shape.month, 1);
    const TFecha last(first.EndOfMonth().Date());
    for (int seed = 1; seed <= c.seeds; ++seed) {
      SCOPED_TRACE(std::to_string(shape.posts) + " posts, " + std::to_string(shape.employees) +
                   " people, " + std::to_string(shape.month) + "/" + std::to_string(shape.year) +
                   ", seed " + std::to_string(seed));
      const std::string xml = RandomPlanXml(static_cast<uint64_t>(seed), shape);
      TPlan plan;
      try {
        plan = ReadPlan(xml);
      } catch (const std::exception& error) {
        ADD_FAILURE() << error.what() << "\n" << xml;
        continue;
      }
      ASSERT_EQ(plan.posts.size(), static_cast<size_t>(shape.posts));
      ASSERT_EQ(plan.employees.size(), static_cast<size_t>(shape.employees));
      ASSERT_EQ(plan.shifts.size(), 3u);
      // Each post needs shifts the engine may fill, and has people for them
      // who can about meet them: what the needs ask for in a week stays
      // below what the contracts give in 8 h shifts, but for the one-person
      // rounding up of a small post.
      std::map<std::string, double> given;
      std::set<std::string> staffed;
      for (const TEmployee& person : plan.employees) {
        ASSERT_TRUE(person.hasContract) << person.id;
        const double hours = static_cast<double>(person.contractSeconds.Value()) / 3600;
        EXPECT_TRUE(hours == 37.5 || hours == 30 || hours == 20) << person.id << " " << hours;
        given[person.post] += hours / 8;
        staffed.insert(person.posts.begin(), person.posts.end());
        EXPECT_EQ(person.posts.front(), person.post) << person.id;
        for (const TItem& item : person.items) EXPECT_TRUE(WithinMonth(item.start, first, last));
        for (const TRequest& wish : person.requests)
          EXPECT_TRUE(WithinMonth(wish.day, first, last));
      }
      for (const TPost& post : plan.posts) {
        EXPECT_FALSE(post.needs.empty()) << post.code;
        EXPECT_TRUE(staffed.count(post.code)) << post.code;
        int weekly = 0;
        for (const TNeed& need : post.needs) {
          EXPECT_FALSE(need.shift.empty()) << post.code;
          EXPECT_GT(need.people, 0) << post.code;
          weekly += WeeklyPeopleOf(need);
        }
        EXPECT_LE(weekly, given[post.code] + 7) << post.code;
        EXPECT_GE(weekly, given[post.code] * 0.7 - 5) << post.code;
      }
      for (const TFecha& holiday : plan.holidays) EXPECT_TRUE(WithinMonth(holiday, first, last));
      try {
        const TFillModel model = ModelOfPlan(plan, first, last);
        EXPECT_EQ(model.rangeEnd - model.rangeStart,
                  (last.Date() - first.Date()) / kSecondsPerDay + 1);
        EXPECT_FALSE(model.instance.cover.empty());
      } catch (const std::exception& error) {
        ADD_FAILURE() << error.what();
      }
    }
  }
}

// Across the benchmark's staff every kind of person the plans promise turns
// up, and the same seed gives the same document while another seed does not.
TEST(RandomPlanXml, DrawsEveryKindOfPersonAndRepeatsForASeed) {
  const PlanShape shape{10, 200, 2026, 12};
  const std::string xml = RandomPlanXml(5, shape);
  EXPECT_EQ(RandomPlanXml(5, shape), xml);
  EXPECT_NE(RandomPlanXml(6, shape), xml);
  const TPlan plan = ReadPlan(xml);
  std::set<double> contracts;
  int twoPosts = 0, noNights = 0, leave = 0, wishesOn = 0, wishesOff = 0, fixed = 0, rules = 0;
  for (const TEmployee& person : plan.employees) {
    contracts.insert(static_cast<double>(person.contractSeconds.Value()) / 3600);
    twoPosts += person.posts.size() == 2 ? 1 : 0;
    noNights += !person.shifts.empty() && std::find(person.shifts.begin(), person.shifts.end(),
                                                    "N") == person.shifts.end()
                    ? 1
                    : 0;
    rules += static_cast<int>(person.rules.size());
    for (const TItem& item : person.items) {
      if (item.code.empty())
        ++leave;
      else
        ++fixed;
    }
    for (const TRequest& wish : person.requests) (wish.on ? wishesOn : wishesOff) += 1;
  }
  EXPECT_EQ(contracts, (std::set<double>{20, 30, 37.5}));
  EXPECT_GT(twoPosts, 0);
  EXPECT_GT(noNights, 0);
  EXPECT_GT(leave, 0);
  EXPECT_GT(wishesOn, 0);
  EXPECT_GT(wishesOff, 0);
  EXPECT_GT(fixed, 0);
  EXPECT_GT(rules, 0);
  // Round-the-clock posts and day posts both.
  int nights = 0;
  for (const TPost& post : plan.posts) {
    nights += std::any_of(post.needs.begin(), post.needs.end(),
                          [](const TNeed& need) { return need.shift == "N"; })
                  ? 1
                  : 0;
  }
  EXPECT_GT(nights, 0);
  EXPECT_LT(nights, shape.posts);
}

TEST(RandomPlanXml, RefusesAShapeWithNoPlan) {
  const PlanShape refused[] = {
      {0, 5, 2026, 12}, {4, 3, 2026, 12}, {2, 8, 2026, 13}, {2, 8, 2026, 0}, {2, 8, 1800, 1}};
  for (const PlanShape& shape : refused) {
    EXPECT_THROW(RandomPlanXml(1, shape), std::invalid_argument)
        << shape.posts << " " << shape.employees << " " << shape.month << "/" << shape.year;
  }
}

}  // namespace
