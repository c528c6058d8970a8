#include "cuadrante/roster/fill.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>

#include "cuadrante/roster/checks.h"
#include "cuadrante/roster/personroster.h"
#include "cuadrante/solver/evaluator.h"
#include "cuadrante/solver/search.h"
#include "cuadrante/testing/values.h"

namespace {

using namespace cuadrante;
using namespace cuadrante::roster;

using cuadrante::testing::At;

// A ward that needs a morning and a night every day of December 2026, and a
// second post that needs a day shift on Tuesdays. Ana's mornings on
// weekdays are planned, Luis is on leave in the middle of the month, Eva may
// work both posts, Ivan only nights, and Sara is nobody the engine may use.
const char* const kWard =
    "<PLAN><LIMITS minRest=\"12\" maxWeek=\"60\" maxDays=\"5\"/>"
    "<SHIFT code=\"M\" start=\"07:00\" hours=\"8\"/><SHIFT code=\"N\" start=\"22:00\" "
    "hours=\"8\"/><SHIFT code=\"D\" start=\"08:00\" hours=\"12\"/><SHIFT code=\"X\" "
    "start=\"10:00\" hours=\"4\"/><HOLIDAY date=\"2026-12-08\"/>"
    "<POST code=\"UCI\" worksHolidays=\"1\"><NEED people=\"1\" shift=\"M\" missing=\"40\"/>"
    "<NEED people=\"1\" shift=\"N\"/><NEED people=\"1\" from=\"15:00\" hours=\"7\"/></POST>"
    "<POST code=\"URG\"><NEED people=\"1\" shift=\"D\" days=\"tue\" surplus=\"7\"/></POST>"
    "<EMPLOYEE id=\"ana\" post=\"UCI\" minHours=\"100\" maxHours=\"200\">"
    "<RULE shift=\"M\" every=\"day\" from=\"2026-11-02\"/></EMPLOYEE>"
    "<EMPLOYEE id=\"luis\" post=\"UCI\" minHours=\"80\" maxHours=\"200\" maxShifts=\"N:6\">"
    "<LEAVE from=\"2026-12-14\" to=\"2026-12-18\"/></EMPLOYEE>"
    "<EMPLOYEE id=\"eva\" post=\"UCI\" posts=\"UCI URG\" minHours=\"80\" maxHours=\"200\" "
    "maxWeekends=\"2\"><REQUEST date=\"2026-12-24\" off=\"1\" weight=\"9\"/>"
    "<REQUEST date=\"2026-12-31\" shift=\"D\" on=\"1\" weight=\"4\"/></EMPLOYEE>"
    "<EMPLOYEE id=\"ivan\" post=\"UCI\" shifts=\"N\" minHours=\"80\" maxHours=\"200\">"
    "<ITEM start=\"2026-11-30T10:00\" hours=\"4\" type=\"2\"/></EMPLOYEE>"
    "<EMPLOYEE id=\"sara\"><ITEM start=\"2026-12-02\" shift=\"X\"/></EMPLOYEE></PLAN>";

int TypeOf(const TFillModel& model, const std::string& post, const std::string& shift) {
  for (size_t type = 0; type < model.types.size(); ++type) {
    const TFillType& what = model.types[type];
    if (what.post && what.shift && what.post->code == post && what.shift->code == shift)
      return static_cast<int>(type);
  }
  return -1;
}

// The engine's roster after a budget of moves: the same on every machine.
solver::TSearchResult Search(const TFillModel& model, uint64_t moves) {
  solver::TSearchOptions options;
  options.workers = 1;
  options.maxMoves = moves;
  options.timeLimitSeconds = 60;
  return solver::Solve(model.instance, options);
}

TEST(ModelOfPlan, PinsWhatThePlanFixesAndOpensWhatItAllows) {
  const TPlan plan = ReadPlan(kWard);
  const TFillModel model = ModelOfPlan(plan, At(2026, 12, 1), At(2026, 12, 31));
  const solver::TInstance& instance = model.instance;
  // Whole weeks that hold five days (maxDays) on either side of the range:
  // from Monday 23 November to Sunday 10 January.
  EXPECT_EQ(model.firstDay, At(2026, 11, 23));
  const auto day = [&](int month, int dayOfMonth) {
    const int year = month == 1 ? 2027 : 2026;
    return static_cast<int>((At(year, month, dayOfMonth).Value() - model.firstDay.Value()) /
                            kSecondsPerDay);
  };
  EXPECT_EQ(model.rangeStart, day(12, 1));
  EXPECT_EQ(model.rangeEnd, day(1, 1));
  EXPECT_EQ(instance.days, day(1, 10) + 1);
  const int m = TypeOf(model, "UCI", "M"), n = TypeOf(model, "UCI", "N"),
            d = TypeOf(model, "URG", "D");
  ASSERT_GE(m, 0);
  ASSERT_GE(n, 0);
  ASSERT_GE(d, 0);
  EXPECT_TRUE(model.types[static_cast<size_t>(m)].fillable);
  // Cover: a morning and a night each day of the range, D on the Tuesdays
  // but not on the holiday of the 8th (URG does not work holidays).
  int mornings = 0, nights = 0, days = 0;
  for (const solver::TCover& line : instance.cover) {
    EXPECT_GE(line.day, model.rangeStart);
    EXPECT_LT(line.day, model.rangeEnd);
    if (line.shift == m) {
      ++mornings;
      EXPECT_EQ(line.underWeight, 40);
    } else if (line.shift == n) {
      ++nights;
      EXPECT_EQ(line.underWeight, 100);
    } else if (line.shift == d) {
      ++days;
      EXPECT_EQ(line.overWeight, 7);
    }
    EXPECT_EQ(line.requirement, 1);
  }
  EXPECT_EQ(mornings, 31);
  EXPECT_EQ(nights, 31);
  EXPECT_EQ(days, 4);  // 1, 15, 22, 29 December
  // Ana's mornings on weekdays are pinned and her weekends in the range are
  // open; every day outside the range is pinned to the plan. Ivan's item of
  // its own times before the range is pinned in a type of its own.
  EXPECT_TRUE(model.Pinned(0, day(12, 3)) && model.Pinned(0, day(12, 31)));
  EXPECT_FALSE(model.Pinned(0, day(12, 5)));
  EXPECT_TRUE(model.Pinned(1, day(11, 28)) && model.Pinned(1, day(1, 2)));
  const auto pin = [&](int person, int day) {
    for (const solver::TPin& p : instance.pins)
      if (p.employee == person && p.day == day) return p.shift;
    return -2;
  };
  EXPECT_EQ(pin(0, day(12, 3)), m);
  EXPECT_EQ(pin(0, day(1, 4)), m);               // the plan's, after the range
  EXPECT_EQ(pin(1, day(11, 30)), solver::kOff);  // nothing planned before the range
  EXPECT_EQ(pin(1, day(12, 3)), -2);             // open
  const int own = pin(3, day(11, 30));
  ASSERT_GE(own, 0);
  EXPECT_FALSE(model.types[static_cast<size_t>(own)].fillable);
  EXPECT_EQ(instance.shifts[static_cast<size_t>(own)].minutes, 240);
  // Luis's leave is days off; Eva's and Ivan's posts work holidays.
  const auto& luis = instance.employees[1];
  EXPECT_EQ(luis.daysOff,
            (std::vector<int>{day(12, 14), day(12, 15), day(12, 16), day(12, 17), day(12, 18)}));
  EXPECT_TRUE(instance.employees[2].daysOff.empty());
  // What each may be given.
  EXPECT_EQ(luis.maxShifts[static_cast<size_t>(n)], 6);
  EXPECT_EQ(luis.maxShifts[static_cast<size_t>(d)], 0);
  EXPECT_GT(instance.employees[2].maxShifts[static_cast<size_t>(d)], 0);
  EXPECT_EQ(instance.employees[3].maxShifts[static_cast<size_t>(m)], 0);
  EXPECT_GT(instance.employees[3].maxShifts[static_cast<size_t>(n)], 0);
  for (int type : instance.employees[4].maxShifts) EXPECT_LE(type, 1);  // Sara's own item
  EXPECT_EQ(instance.employees[2].maxWeekends, 2);
  EXPECT_EQ(luis.maxConsecutive, 5);
  EXPECT_EQ(luis.minMinutes, 80 * 60);
  EXPECT_EQ(luis.maxMinutes, 200 * 60);
  // Rest: a night may not be followed by a morning, nor by a day shift.
  const auto& after = instance.shifts[static_cast<size_t>(n)].forbiddenNext;
  EXPECT_NE(std::find(after.begin(), after.end(), m), after.end());
  EXPECT_NE(std::find(after.begin(), after.end(), d), after.end());
  EXPECT_EQ(std::find(after.begin(), after.end(), n), after.end());
  // Eva's wishes: off every type she may work on the 24th, D on the 31st.
  EXPECT_EQ(instance.offRequests.size(), 3u);
  ASSERT_EQ(instance.onRequests.size(), 1u);
  EXPECT_EQ(instance.onRequests[0].shift, d);
  EXPECT_EQ(instance.onRequests[0].day, day(12, 31));
  EXPECT_EQ(instance.onRequests[0].weight, 4);

  EXPECT_THROW(ModelOfPlan(plan, At(2026, 12, 2), At(2026, 12, 1)), EConvertError);
  EXPECT_THROW(ModelOfPlan(plan, At(2026, 1, 1), At(2027, 1, 2)), EConvertError);
}

TEST(FilledItems, TheEnginesShiftsCoverTheNeedsAndBreakNoRule) {
  TPlan plan = ReadPlan(kWard);
  const TFecha first = At(2026, 12, 1), last = At(2026, 12, 31);
  const TFillModel model = ModelOfPlan(plan, first, last);
  const solver::TSearchResult result = Search(model, 400'000);
  ASSERT_TRUE(result.evaluation.Feasible());
  const std::vector<TFilledItem> filled = FilledItems(plan, model, result.roster);
  ASSERT_FALSE(filled.empty());
  for (const TFilledItem& made : filled) {
    EXPECT_TRUE(made.item.byEngine);
    EXPECT_NE(made.employee, 4u);  // Sara is nobody the engine may use
    EXPECT_GE(made.item.start, first);
    if (made.item.code == "D") {
      EXPECT_EQ(made.item.post, "URG");
    }
    plan.employees[made.employee].items.push_back(made.item);
  }
  // Every shift need of the range is met. What is left: the span need of the
  // afternoons, nobody's to fill; the end of the night before the range; and
  // URG on the holiday, which it does not work.
  const auto rosters = BuildRosters(plan, first, last);
  for (const TCoverageGap& gap : CheckCoverage(plan, rosters, first, last)) {
    if (gap.Shortfall() <= 0) continue;
    const bool afternoon = gap.from.Value() % kSecondsPerDay == 15 * 3600;
    const bool nightBefore = gap.from == first && gap.to == At(2026, 12, 1, 6);
    const bool holiday = gap.post->code == "URG" && gap.from.Date() == At(2026, 12, 8).Value();
    EXPECT_TRUE(afternoon || nightBefore || holiday)
        << gap.post->code << " " << gap.from.ToString("dd/mm hh:nn") << " - "
        << gap.to.ToString("dd/mm hh:nn");
  }
  for (const TBreach& breach : CheckRosters(plan, first, last, plan.limits))
    ADD_FAILURE() << breach.employee->id << ": " << breach.detail;
  // Written into the document and read again, the plan holds the same items.
  const TPlan again = ReadPlan(WithFilledItems(kWard, ReadPlan(kWard), filled));
  ASSERT_EQ(again.employees.size(), plan.employees.size());
  for (size_t person = 0; person < plan.employees.size(); ++person) {
    const std::vector<TItem>& want = plan.employees[person].items;
    const std::vector<TItem>& got = again.employees[person].items;
    ASSERT_EQ(got.size(), want.size()) << plan.employees[person].id;
    for (size_t at = 0; at < want.size(); ++at) {
      EXPECT_EQ(got[at].start, want[at].start);
      EXPECT_EQ(got[at].seconds, want[at].seconds);
      EXPECT_EQ(got[at].code, want[at].code);
      EXPECT_EQ(got[at].post, want[at].post);
      EXPECT_EQ(got[at].byEngine, want[at].byEngine);
    }
  }
}

// The rule of the engine's model that a reason names.
solver::TRule RuleOf(TGapReason reason) {
  switch (reason) {
    case TGapReason::kAbsent:
      return solver::TRule::kDayOff;
    case TGapReason::kPlanned:
      return solver::TRule::kPinned;
    case TGapReason::kRestAfter:
    case TGapReason::kRestBefore:
      return solver::TRule::kSuccession;
    case TGapReason::kWeekMaximum:
      return solver::TRule::kMaxWeekMinutes;
    case TGapReason::kDaysInARow:
      return solver::TRule::kMaxConsecutive;
    case TGapReason::kDaysOff:
      return solver::TRule::kMinDaysOff;
    case TGapReason::kWeekendCap:
      return solver::TRule::kMaxWeekends;
    case TGapReason::kHoursMaximum:
      return solver::TRule::kMaxMinutes;
    default:
      return solver::TRule::kMaxShifts;
  }
}

TEST(ExplainGaps, EachReasonIsARuleThatGivingTheShiftBreaks) {
  // Three nights a night and days off of two in a row leave gaps; each
  // person's reason is checked by giving them the shift and asking the
  // engine's own evaluator what breaks.
  std::string ward = kWard;
  ward.replace(ward.find("<NEED people=\"1\" shift=\"N\"/>"), 30,
               "<NEED people=\"3\" shift=\"N\"/>");
  ward.replace(ward.find("maxWeekends=\"2\""), 15, "maxWeekends=\"2\" minDaysOff=\"2\"");
  const TPlan plan = ReadPlan(ward);
  const TFillModel model = ModelOfPlan(plan, At(2026, 12, 1), At(2026, 12, 31));
  const solver::TSearchResult result = Search(model, 300'000);
  ASSERT_TRUE(result.evaluation.Feasible());
  const std::vector<TGapExplanation> gaps = ExplainGaps(plan, model, result.roster);
  ASSERT_FALSE(gaps.empty());
  std::map<TGapReason, int> seen;
  int64_t weighted = 0;
  for (const TGapExplanation& gap : gaps) {
    const int day = static_cast<int>((gap.day.Value() - model.firstDay.Value()) / kSecondsPerDay);
    int type = -1;
    for (size_t t = 0; t < model.types.size(); ++t) {
      if (model.types[t].post == gap.post && model.types[t].shift == gap.shift)
        type = static_cast<int>(t);
    }
    ASSERT_GE(type, 0);
    for (const solver::TCover& line : model.instance.cover) {
      if (line.day == day && line.shift == type)
        weighted += int64_t{gap.missing} * line.underWeight;
    }
    for (const TGapPerson& person : gap.people) {
      ++seen[person.reason];
      if (person.reason == TGapReason::kWorksThatDay) continue;
      int row = -1;
      for (size_t at = 0; at < model.employees.size(); ++at)
        if (model.employees[at] == person.employee) row = static_cast<int>(at);
      solver::TRoster given = result.roster;
      given.Set(row, day, type);
      const solver::TEvaluation after = solver::Evaluate(model.instance, given);
      const std::string who = plan.employees[person.employee].id + " on " +
                              gap.day.ToString("dd/mm") + ": " + GapReasonName(person.reason);
      if (person.reason == TGapReason::kFree) {
        EXPECT_TRUE(after.Feasible()) << who;
        continue;
      }
      bool named = false;
      for (const solver::TBreach& breach : after.breaches)
        named = named || (breach.employee == row && breach.rule == RuleOf(person.reason));
      EXPECT_TRUE(named) << who;
    }
  }
  // The gaps are what the objective counts missing, and more than one rule
  // is at work in them.
  EXPECT_EQ(weighted, result.evaluation.objective.underCover);
  EXPECT_GE(seen.size(), 3u);
}

}  // namespace
