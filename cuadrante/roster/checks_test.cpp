#include "cuadrante/roster/checks.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>
#include <string>

#include "cuadrante/runtime/datetime.h"

namespace {

using namespace cuadrante::roster;

TFecha At(int year, int month, int day, int hour = 0) {
  return TFecha(EncodeDateTime(year, month, day, hour, 0, 0, 0));
}

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
          if ((need.days >> weekday & 1) && start <= minute && minute < start + need.seconds)
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
          if (x.seconds <= 0 || y.seconds <= 0 || x.start.Value() >= y.End() ||
              y.start.Value() >= x.End() ||
              !touches(std::max(x.start.Value(), y.start.Value()), std::min(x.End(), y.End())))
            continue;
          // Work against absence counts only when the work starts in the absence.
          const bool mixed = (kindOf(x) == THoursKind::kWork) != (kindOf(y) == THoursKind::kWork) &&
                             kindOf(x) != THoursKind::kOther && kindOf(y) != THoursKind::kOther;
          const TRosterItem& work = kindOf(x) == THoursKind::kWork ? x : y;
          const TRosterItem& absence = kindOf(x) == THoursKind::kWork ? y : x;
          overlaps += !mixed || (absence.start <= work.start && work.start.Value() < absence.End());
        }
      }
      // A rest is measured from the latest end of the work before each work item.
      int64_t latestEnd = INT64_MIN;
      for (const auto& item : items) {
        if (!isWork(item) || item.seconds <= 0) continue;
        if (latestEnd != INT64_MIN) {
          const int64_t gap = item.start.Value() - latestEnd;
          if (gap >= 0 && gap < plan.limits.minRestSeconds &&
              touches(latestEnd, item.start.Value()))
            ++rests;
        }
        latestEnd = std::max(latestEnd, item.End());
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
