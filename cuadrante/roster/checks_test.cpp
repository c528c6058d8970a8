#include "cuadrante/roster/checks.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>
#include <string>

#include "cuadrante/runtime/datetime.h"
#include "cuadrante/testing/values.h"

namespace {

using namespace cuadrante;
using namespace cuadrante::roster;

using cuadrante::testing::At;

const std::string kShifts =
    "<SHIFT code=\"M\" start=\"07:00\" hours=\"8\"/><SHIFT code=\"T\" start=\"15:00\" "
    "hours=\"8\"/><SHIFT code=\"N\" start=\"22:00\" hours=\"8\"/>";

// Five people on a ten-day rota cover one morning, one afternoon and one night
// every day, 24/7, with every rest of 16 hours or more, six days in a row at
// most and 33.6 hours a week on average, 48 in the heaviest week.
std::string Rota(const std::string& extra) {
  std::string xml = "<PLAN>" + kShifts +
                    "<POST code=\"W\"><NEED people=\"1\" from=\"07:00\" hours=\"8\"/>"
                    "<NEED people=\"1\" from=\"15:00\" hours=\"8\"/>"
                    "<NEED people=\"1\" from=\"22:00\" hours=\"8\"/></POST>";
  for (int person = 0; person < 5; ++person) {
    xml += "<EMPLOYEE id=\"p" + std::to_string(person) + "\" post=\"W\" contract=\"48\">" +
           "<ROTATION pattern=\"M M T T N N - - - -\" from=\"2026-10-" +
           std::to_string(12 + 2 * person) + "\"/>" + (person == 0 ? extra : "") + "</EMPLOYEE>";
  }
  return xml + "</PLAN>";
}

TEST(CheckRosters, AFourWeekRotaKeepsEveryRuleAndOneSwapBreaksTheRest) {
  const TFecha first = At(2026, 11, 2), last = At(2026, 11, 29);
  const TPlan plan = ReadPlan(Rota(""));
  const auto rosters = BuildRosters(plan, first, last);
  EXPECT_TRUE(CheckRosters(plan, first, last, plan.limits).empty());
  EXPECT_TRUE(CheckCoverage(plan, rosters, first, last).empty());

  // p0 works nights on 15 and 16 November (their rota began 12 October); a
  // morning on the 17th after the night of the 16th leaves one hour of rest,
  // and puts a second person on the morning.
  const TPlan swapped = ReadPlan(Rota("<ITEM start=\"2026-11-17T07:00\" hours=\"8\" type=\"2\"/>"));
  const auto swappedRosters = BuildRosters(swapped, first, last);
  const auto breaches = CheckRosters(swapped, first, last, swapped.limits);
  // ...and makes a seventh day in a row, one more than the limit.
  ASSERT_EQ(breaches.size(), 2u);
  EXPECT_EQ(breaches[0].kind, TBreachKind::kTooManyDays);
  EXPECT_EQ(breaches[0].from, At(2026, 11, 11));
  EXPECT_EQ(breaches[0].to, At(2026, 11, 18));
  EXPECT_EQ(breaches[1].kind, TBreachKind::kShortRest);
  EXPECT_EQ(breaches[1].employee->id, "p0");
  EXPECT_EQ(breaches[1].from, At(2026, 11, 17, 6));
  EXPECT_EQ(breaches[1].to, At(2026, 11, 17, 7));
  EXPECT_NE(breaches[1].detail.find("1:00 of rest"), std::string::npos) << breaches[1].detail;
  const auto gaps = CheckCoverage(swapped, swappedRosters, first, last);
  ASSERT_EQ(gaps.size(), 1u);
  EXPECT_EQ(gaps[0].from, At(2026, 11, 17, 7));
  EXPECT_EQ(gaps[0].to, At(2026, 11, 17, 15));
  EXPECT_EQ(gaps[0].Shortfall(), -1);
  EXPECT_STREQ(BreachName(breaches[1].kind), "short rest");
}

TEST(CheckRosters, ReportsEachKindOfBreachOnce) {
  const TPlan plan = ReadPlan(
      "<PLAN>" + kShifts +
      "<LIMITS maxWeek=\"40\" maxDays=\"3\"/><HOLIDAY date=\"2026-12-08\"/>"
      // Mornings every day from Monday 7 December: 7 days in a row, 56 h a week, the holiday.
      "<EMPLOYEE id=\"a\" contract=\"37.5\"><RULE shift=\"M\" every=\"day\" weekend=\"1\" "
      "from=\"2026-12-07\" until=\"2026-12-13\"/>"
      "<LEAVE from=\"2026-12-10\" to=\"2026-12-10\"/>"
      "<ITEM start=\"2026-12-10T10:00\" hours=\"1\" type=\"6\"/>"
      "<ITEM start=\"2026-12-10T16:00\" hours=\"2\" type=\"2\"/>"
      "<ITEM start=\"2026-12-11T22:00\" hours=\"2\" type=\"3\"/></EMPLOYEE></PLAN>");
  const TFecha first = At(2026, 12, 7), last = At(2026, 12, 13);
  const auto breaches = CheckRosters(plan, first, last, plan.limits);
  std::multiset<TBreachKind> kinds;
  for (const auto& breach : breaches) kinds.insert(breach.kind);
  EXPECT_EQ(kinds,
            (std::multiset<TBreachKind>{
                // The leave cancels the morning of the 10th, but not the work
                // the plan adds in it; the incident overlaps the leave.
                TBreachKind::kWorkOnHoliday, TBreachKind::kWorkDuringAbsence, TBreachKind::kOverlap,
                TBreachKind::kShortRest, TBreachKind::kShortRest, TBreachKind::kWeekOverMaximum,
                TBreachKind::kWeekOverContract, TBreachKind::kTooManyDays}))
      << breaches.size();
  // Ordered by start; the run names its days.
  for (size_t i = 1; i < breaches.size(); ++i) EXPECT_LE(breaches[i - 1].from, breaches[i].from);
  for (const auto& breach : breaches) {
    if (breach.kind == TBreachKind::kTooManyDays) {
      EXPECT_EQ(breach.from, first);
      EXPECT_EQ(breach.to, At(2026, 12, 14));
    }
    if (breach.kind == TBreachKind::kWorkOnHoliday) {
      EXPECT_EQ(breach.from, At(2026, 12, 8, 7));
    }
  }
}

TEST(CheckRosters, TellsAtMostABoundOfOnePersonsOverlaps) {
  // 200 items at one hour make 19,900 overlapping pairs.
  std::string items;
  for (int i = 0; i < 200; ++i) items += "<ITEM start=\"2026-12-07T08:00\" hours=\"1\"/>";
  const TPlan plan = ReadPlan("<PLAN><EMPLOYEE id=\"a\">" + items + "</EMPLOYEE></PLAN>");
  const TFecha day = At(2026, 12, 7);
  size_t overlaps = 0;
  for (const auto& breach : CheckRosters(plan, day, day, plan.limits))
    overlaps += breach.kind == TBreachKind::kOverlap ? 1 : 0;
  EXPECT_EQ(overlaps, kMostOverlapsTold);
}

TEST(CheckCoverage, AHolidayLeavesAPostUncovered) {
  // One person covers the day post every day of December but takes the
  // holiday of the 8th off: that day is a gap of one for its twelve hours,
  // and nothing else is.
  const TPlan plan = ReadPlan(
      "<PLAN><SHIFT code=\"D\" start=\"08:00\" hours=\"12\"/><HOLIDAY date=\"2026-12-08\"/>"
      "<POST code=\"URG\"><NEED people=\"1\" from=\"08:00\" hours=\"12\"/></POST>"
      "<EMPLOYEE id=\"a\" post=\"URG\"><RULE shift=\"D\" every=\"day\" weekend=\"1\" "
      "from=\"2026-12-01\" until=\"2026-12-07\"/><RULE shift=\"D\" every=\"day\" weekend=\"1\" "
      "from=\"2026-12-09\"/><LEAVE from=\"2026-12-08\" to=\"2026-12-08\" type=\"4\"/>"
      "</EMPLOYEE></PLAN>");
  const TFecha first = At(2026, 12, 1), last = At(2026, 12, 31);
  const auto rosters = BuildRosters(plan, first, last);
  const auto gaps = CheckCoverage(plan, rosters, first, last);
  ASSERT_EQ(gaps.size(), 1u);
  EXPECT_EQ(gaps[0].post->code, "URG");
  EXPECT_EQ(gaps[0].from, At(2026, 12, 8, 8));
  EXPECT_EQ(gaps[0].to, At(2026, 12, 8, 20));
  EXPECT_EQ(gaps[0].Shortfall(), 1);
  // Taking the holiday is no breach (the daily shifts without a day off are,
  // of other rules).
  for (const auto& breach : CheckRosters(plan, first, last, plan.limits)) {
    EXPECT_NE(breach.kind, TBreachKind::kWorkOnHoliday) << breach.detail;
    EXPECT_NE(breach.kind, TBreachKind::kWorkDuringAbsence) << breach.detail;
  }
}

TEST(CheckRosters, LeaveCancelsPlannedWorkButNotTheNightBeforeItNorAddedWork) {
  // A receptionist on vacation 2-3 December and on sick leave on the 4th; a
  // nurse on nights whose leave starts the morning after a night, and who is
  // put on an extra shift during it.
  const TPlan plan = ReadPlan(
      "<PLAN>" + kShifts +
      "<POST code=\"REC\"><NEED people=\"1\" from=\"07:00\" hours=\"8\" days=\"weekdays\"/>"
      "</POST><EMPLOYEE id=\"r\" post=\"REC\" contract=\"40\"><RULE shift=\"M\" every=\"day\" "
      "from=\"2026-11-30\"/><LEAVE from=\"2026-12-02\" to=\"2026-12-03\"/>"
      "<LEAVE from=\"2026-12-04\" to=\"2026-12-04\" type=\"7\"/></EMPLOYEE>"
      "<EMPLOYEE id=\"n\" contract=\"40\"><ROTATION pattern=\"N\" from=\"2026-11-28\" "
      "until=\"2026-12-06\"/><LEAVE from=\"2026-12-02\" to=\"2026-12-03\"/>"
      "<ITEM start=\"2026-12-03\" shift=\"T\"/></EMPLOYEE></PLAN>");
  const TFecha first = At(2026, 11, 30), last = At(2026, 12, 6);
  const auto rosters = BuildRosters(plan, first, last);
  std::vector<std::string> cancelled;
  for (const auto& roster : rosters)
    for (const auto& item : roster.items)
      if (item.cancelled) cancelled.push_back(roster.employee->id + item.start.ToString(" dd hh"));
  EXPECT_EQ(cancelled,
            (std::vector<std::string>{"r 02 07", "r 03 07", "r 04 07", "n 02 22", "n 03 22"}));
  const auto gaps = CheckCoverage(plan, rosters, first, last);
  ASSERT_EQ(gaps.size(), 3u);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(gaps[static_cast<size_t>(i)].from, At(2026, 12, 2 + i, 7));
    EXPECT_EQ(gaps[static_cast<size_t>(i)].Shortfall(), 1);
  }
  // The night of the 1st runs into the leave and is worked without a breach;
  // the added shift of the 3rd is reported, and makes a week of five nights
  // and a shift over the contract.
  std::vector<std::string> breaches;
  for (const auto& breach : CheckRosters(plan, first, last, plan.limits))
    breaches.push_back(breach.employee->id + " " + BreachName(breach.kind) + " " +
                       breach.from.ToString("dd hh"));
  EXPECT_EQ(breaches,
            (std::vector<std::string>{"n week over contract 30 00", "n work during absence 03 15"}))
      << ::testing::PrintToString(breaches);
}

TEST(CheckRosters, MonthByMonthFindsWhatTheJoinedRangeFindsOnRandomPlans) {
  std::mt19937 random(5);
  const char* const codes[] = {"M", "T", "N", "-"};
  const auto key = [](const TBreach& breach) {
    return breach.employee->id + "|" + BreachName(breach.kind) + "|" +
           std::to_string(breach.from.Value()) + "|" + std::to_string(breach.to.Value()) + "|" +
           breach.detail;
  };
  size_t seen = 0;
  for (int round = 0; round < 150; ++round) {
    std::string xml = "<PLAN>" + kShifts + "<LIMITS minRest=\"" +
                      std::to_string(8 + random() % 10) + "\" maxWeek=\"" +
                      std::to_string(30 + random() % 20) + "\" maxDays=\"" +
                      std::to_string(3 + random() % 5) + "\"/><HOLIDAY date=\"2026-12-0" +
                      std::to_string(1 + random() % 9) + "\"/>";
    for (int person = 0, n = 1 + static_cast<int>(random() % 3); person < n; ++person) {
      xml += "<EMPLOYEE id=\"e" + std::to_string(person) + "\" contract=\"" +
             std::to_string(20 + random() % 20) + "\"><ROTATION pattern=\"";
      for (int i = 0, k = 2 + static_cast<int>(random() % 8); i < k; ++i)
        xml += std::string(codes[random() % 4]) + " ";
      // Runs end: every rota and rule stops before the look ahead does.
      xml += "\" from=\"2026-10-" + std::to_string(10 + random() % 20) + "\" until=\"2027-01-" +
             std::to_string(10 + random() % 20) + "\"/>";
      if (random() % 2)
        xml += "<RULE shift=\"M\" every=\"day\" weekend=\"1\" from=\"2026-11-" +
               std::to_string(20 + random() % 10) + "\" until=\"2026-12-" +
               std::to_string(10 + random() % 10) + "\"/>";
      if (random() % 2)
        xml += "<LEAVE from=\"2026-11-" + std::to_string(25 + random() % 5) + "\" to=\"2026-12-0" +
               std::to_string(1 + random() % 5) + "\"/>";
      if (random() % 2)
        xml += "<ITEM start=\"2026-11-30T2" + std::to_string(random() % 4) + ":00\" hours=\"" +
               std::to_string(1 + random() % 12) + "\" type=\"2\"/>";
      xml += "</EMPLOYEE>";
    }
    const TPlan plan = ReadPlan(xml + "</PLAN>");
    std::set<std::string> joined, months;
    for (const auto& breach : CheckRosters(plan, At(2026, 11, 1), At(2026, 12, 31), plan.limits))
      joined.insert(key(breach));
    for (const auto& [first, last] : {std::pair{At(2026, 11, 1), At(2026, 11, 30)},
                                      std::pair{At(2026, 12, 1), At(2026, 12, 31)}}) {
      std::set<std::string> month;
      for (const auto& breach : CheckRosters(plan, first, last, plan.limits))
        month.insert(key(breach));
      // Exactly the joined range's breaches that touch this month.
      std::set<std::string> touching;
      for (const auto& breach :
           CheckRosters(plan, At(2026, 11, 1), At(2026, 12, 31), plan.limits)) {
        const bool touches =
            breach.to > breach.from
                ? breach.from.Value() < last.Value() + 86400 && breach.to > first
                : first <= breach.from && breach.from.Value() < last.Value() + 86400;
        if (touches) touching.insert(key(breach));
      }
      EXPECT_EQ(month, touching) << xml;
      months.insert(month.begin(), month.end());
    }
    EXPECT_EQ(months, joined) << xml;
    seen += joined.size();
  }
  EXPECT_GT(seen, 300u);  // the plans break rules of every kind, often
}

TEST(CheckRosters, ZonesMeasureRestAsItPassesAndPostsMayWorkHolidays) {
  // 12 h by the clock across the spring change is 11 h of rest in Madrid.
  const TPlan plan = ReadPlan(
      "<PLAN><SHIFT code=\"T\" start=\"14:00\" hours=\"8\"/><SHIFT code=\"X\" "
      "start=\"10:00\" hours=\"8\"/><HOLIDAY date=\"2027-03-28\"/>"
      "<POST code=\"UCI\" worksHolidays=\"1\"/><POST code=\"REC\"/>"
      "<EMPLOYEE id=\"a\" post=\"UCI\"><ITEM start=\"2027-03-27\" shift=\"T\"/>"
      "<ITEM start=\"2027-03-28\" shift=\"X\"/></EMPLOYEE>"
      "<EMPLOYEE id=\"b\" post=\"REC\"><ITEM start=\"2027-03-28\" shift=\"X\"/></EMPLOYEE>"
      "</PLAN>");
  const TFecha day = At(2027, 3, 28);
  const auto wall = CheckRosters(plan, day, day, plan.limits);
  ASSERT_EQ(wall.size(), 1u);
  EXPECT_EQ(wall[0].employee->id, "b");
  EXPECT_EQ(wall[0].kind, TBreachKind::kWorkOnHoliday);
  const TZone madrid = TZone::Find("Europe/Madrid");
  const auto elapsed = CheckRosters(plan, day, day, plan.limits, &madrid);
  ASSERT_EQ(elapsed.size(), 2u);
  EXPECT_EQ(elapsed[0].kind, TBreachKind::kShortRest);
  EXPECT_EQ(elapsed[0].detail.rfind("11:00 of rest between T 27/03/2027 14:00-22:00", 0), 0u)
      << elapsed[0].detail;
}

TEST(CheckCoverage, AnItemForAnotherPostCoversThatPostOnly) {
  // A night nurse of UCI is lent to URG on the 2nd by an item of its own: URG
  // is covered that day and UCI is one short, for the night only.
  const TPlan plan = ReadPlan(
      "<PLAN><SHIFT code=\"N\" start=\"22:00\" hours=\"8\"/>"
      "<POST code=\"UCI\"><NEED people=\"1\" shift=\"N\"/></POST>"
      "<POST code=\"URG\"><NEED people=\"1\" shift=\"N\" days=\"wed\"/></POST>"
      "<EMPLOYEE id=\"a\" post=\"UCI\"><RULE shift=\"N\" every=\"day\" weekend=\"1\" "
      "from=\"2026-11-30\" until=\"2026-12-01\"/><RULE shift=\"N\" every=\"day\" weekend=\"1\" "
      "from=\"2026-12-03\"/><ITEM start=\"2026-12-02\" shift=\"N\" post=\"URG\" by=\"engine\"/>"
      "</EMPLOYEE></PLAN>");
  const TFecha first = At(2026, 12, 1), last = At(2026, 12, 3);
  const auto gaps = CheckCoverage(plan, BuildRosters(plan, first, last), first, last);
  ASSERT_EQ(gaps.size(), 1u);
  EXPECT_EQ(gaps[0].post->code, "UCI");
  EXPECT_EQ(gaps[0].from, At(2026, 12, 2, 22));
  EXPECT_EQ(gaps[0].to, At(2026, 12, 3, 6));
}

TEST(CheckCoverage, CountsNeedsBeyondTwoBillionPeople) {
  std::string xml = "<PLAN><POST code=\"P\">";
  for (int i = 0; i < 25000; ++i) xml += "<NEED people=\"100000\" from=\"08:00\" hours=\"1\"/>";
  const TPlan plan = ReadPlan(xml + "</POST></PLAN>");
  const TFecha day = At(2026, 12, 1);
  const auto gaps = CheckCoverage(plan, BuildRosters(plan, day, day), day, day);
  ASSERT_EQ(gaps.size(), 1u);
  EXPECT_EQ(gaps[0].required, int64_t{2'500'000'000});
  EXPECT_EQ(gaps[0].Shortfall(), int64_t{2'500'000'000});
}

TEST(PlanWarnings, SaysWhatThePlanLeavesUnsaid) {
  const TPlan plan = ReadPlan(
      "<PLAN>" + kShifts +
      "<POST code=\"P\"/><EMPLOYEE id=\"a\" post=\"P\" contract=\"40\">"
      "<RULE shift=\"M\" from=\"2026-12-05\"/><RULE shift=\"M\" from=\"2026-12-06\" "
      "weekend=\"1\"/><RULE shift=\"M\" from=\"2027-01-04\"/></EMPLOYEE>"
      "<EMPLOYEE id=\"b\"><ITEM start=\"2026-12-10T10:00\" hours=\"0\"/></EMPLOYEE></PLAN>");
  const TFecha first = At(2026, 12, 1), last = At(2026, 12, 31);
  EXPECT_EQ(PlanWarnings(BuildRosters(plan, first, last), first, last),
            (std::vector<std::string>{
                "EMPLOYEE a: RULE 1 has no occurrence in 01/12/2026 - 31/12/2026 (it steps from a "
                "weekend day and skips weekends: weekend=\"1\" keeps them)",
                "EMPLOYEE a: RULE 3 has no occurrence in 01/12/2026 - 31/12/2026",
                "EMPLOYEE b has no contract: no hours are owed, and absence credits none",
                "EMPLOYEE b has no post: coverage leaves them out",
                "EMPLOYEE b: the ITEM at 10/12/2026 10:00 lasts no time"}));
  // A host's dictionary words them, the values standing where it puts them.
  TWording spanish;
  spanish.say = [](const std::string& sentence) {
    return sentence == "EMPLOYEE {1} has no post: coverage leaves them out"
               ? "{1} {9} {x}: sin puesto {1}"
               : sentence;
  };
  const auto said = PlanWarnings(BuildRosters(plan, first, last), first, last, spanish);
  ASSERT_EQ(said.size(), 5u);
  EXPECT_EQ(said[3], "b {9} {x}: sin puesto b");
  EXPECT_EQ(said[2], "EMPLOYEE b has no contract: no hours are owed, and absence credits none");
}

// Coverage against a minute-by-minute count, and overlaps and rests against
// pairwise walks, on random plans.
TEST(CheckCoverage, AgreesWithAMinuteByMinuteCountOnRandomPlans) {
  std::mt19937 random(23);
  const char* const codes[] = {"M", "T", "N", "-", "-"};
  const auto kindOf = [](const TRosterItem& item) {
    TBasicPoint probe;
    probe.Type = item.type;
    return KindOf(probe);
  };
  const auto isWork = [&](const TRosterItem& item) {
    return !item.cancelled && kindOf(item) == THoursKind::kWork;
  };
  for (int round = 0; round < 2000; ++round) {
    std::string xml = "<PLAN>" + kShifts + "<POST code=\"W\">";
    for (int i = 0, n = 1 + static_cast<int>(random() % 3); i < n; ++i) {
      xml += "<NEED people=\"" + std::to_string(1 + random() % 2) + "\" from=\"" +
             std::to_string(10 + random() % 14) + ":00\" hours=\"" +
             std::to_string(1 + random() % 12) + "\" days=\"" +
             (random() % 2 ? "all" : "weekdays") + "\"/>";
    }
    xml += "</POST>";
    for (int person = 0, n = 1 + static_cast<int>(random() % 4); person < n; ++person) {
      xml += "<EMPLOYEE id=\"e" + std::to_string(person) + "\" post=\"W\"><ROTATION pattern=\"";
      for (int i = 0, k = 1 + static_cast<int>(random() % 6); i < k; ++i)
        xml += std::string(codes[random() % 5]) + " ";
      xml += "\" from=\"2026-11-0" + std::to_string(1 + random() % 9) + "\"/>";
      if (random() % 2)
        xml += "<ITEM start=\"2026-11-1" + std::to_string(random() % 5) + "T0" +
               std::to_string(random() % 10) + ":00\" hours=\"" + std::to_string(random() % 30) +
               "\" type=\"" + (random() % 2 ? "2" : "9") + "\"/>";
      xml += "</EMPLOYEE>";
    }
    xml += "</PLAN>";
    const TPlan plan = ReadPlan(xml);
    const TFecha first = At(2026, 11, 10), last = At(2026, 11, 10 + static_cast<int>(random() % 5));
    ASSERT_LT(last, At(2026, 11, 25));  // the wider roster below must reach past it
    const auto rosters = BuildRosters(plan, first, last);
    const auto gaps = CheckCoverage(plan, rosters, first, last);

    for (int64_t minute = first.Value(); minute < last.Value() + 86400; minute += 60) {
      int required = 0, atWork = 0;
      for (int64_t day = minute / 86400 * 86400 - 86400; day <= minute; day += 86400) {
        for (const auto& need : plan.posts[0].needs) {
          const int64_t start = day + need.startMinute * 60;
          const int weekday = TFecha(day).DayOfWeek() - 1;
          if ((need.days >> weekday & 1) && start <= minute &&
              minute < start + need.seconds.Value())
            required += need.people;
        }
      }
      // People, not items: one person at work twice is one.
      for (const auto& roster : rosters) {
        bool working = false;
        for (const auto& item : roster.items)
          working =
              working || (isWork(item) && item.start.Value() <= minute && minute < item.End());
        atWork += working;
      }
      const TCoverageGap* found = nullptr;
      for (const auto& gap : gaps)
        if (gap.from.Value() <= minute && minute < gap.to.Value()) found = &gap;
      if (required > 0 && required != atWork) {
        ASSERT_NE(found, nullptr) << xml << " at " << TFecha(minute).ToString("dd/mm hh:nn");
        EXPECT_EQ(found->required, required);
        EXPECT_EQ(found->atWork, atWork);
      } else {
        EXPECT_EQ(found, nullptr) << xml << " at " << TFecha(minute).ToString("dd/mm hh:nn");
      }
    }

    // Overlaps and rests: every pair of items of a wider roster compared,
    // counting those whose span touches the range.
    const auto breaches = CheckRosters(plan, first, last, plan.limits);
    const int64_t rangeStart = first.Value(), rangeEnd = last.Value() + 86400;
    const auto touches = [&](int64_t from, int64_t to) {
      return to > from ? from < rangeEnd && to > rangeStart : rangeStart <= from && from < rangeEnd;
    };
    for (const auto& roster : BuildRosters(plan, At(2026, 11, 1), At(2026, 11, 25))) {
      size_t overlaps = 0, rests = 0;
      std::vector<TRosterItem> items;
      for (const auto& item : roster.items)
        if (!item.cancelled) items.push_back(item);
      for (size_t a = 0; a < items.size(); ++a) {
        for (size_t b = a + 1; b < items.size(); ++b) {
          const TRosterItem &x = items[a], &y = items[b];
          if (x.seconds <= TDuration() || y.seconds <= TDuration() || x.start >= y.End() ||
              y.start >= x.End() ||
              !touches(std::max(x.start.Value(), y.start.Value()),
                       std::min(x.End().Value(), y.End().Value())))
            continue;
          // Work against absence counts only when the work starts in the absence.
          const bool mixed = (kindOf(x) == THoursKind::kWork) != (kindOf(y) == THoursKind::kWork) &&
                             kindOf(x) != THoursKind::kOther && kindOf(y) != THoursKind::kOther;
          const TRosterItem& work = kindOf(x) == THoursKind::kWork ? x : y;
          const TRosterItem& absence = kindOf(x) == THoursKind::kWork ? y : x;
          overlaps += !mixed || (absence.start <= work.start && work.start < absence.End());
        }
      }
      // A rest is measured from the latest end of the work before each work item.
      int64_t latestEnd = INT64_MIN;
      for (const auto& item : items) {
        if (!isWork(item) || item.seconds <= TDuration()) continue;
        if (latestEnd != INT64_MIN) {
          const int64_t gap = item.start.Value() - latestEnd;
          if (gap >= 0 && gap < plan.limits.minRestSeconds.Value() &&
              touches(latestEnd, item.start.Value()))
            ++rests;
        }
        latestEnd = std::max(latestEnd, item.End().Value());
      }
      size_t reportedOverlaps = 0, reportedRests = 0;
      for (const auto& breach : breaches) {
        if (breach.employee != roster.employee) continue;
        reportedOverlaps +=
            breach.kind == TBreachKind::kOverlap || breach.kind == TBreachKind::kWorkDuringAbsence;
        reportedRests += breach.kind == TBreachKind::kShortRest;
      }
      EXPECT_EQ(reportedOverlaps, overlaps) << xml;
      EXPECT_EQ(reportedRests, rests) << xml;
    }
  }
}

}  // namespace
