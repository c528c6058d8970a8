#include "cuadrante/roster/personroster.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "cuadrante/runtime/datetime.h"
#include "cuadrante/testing/values.h"

namespace {

using namespace cuadrante;
using namespace cuadrante::roster;

using cuadrante::testing::At;

const std::string kShiftCodes =
    "<SHIFT code=\"M\" start=\"07:00\" hours=\"8\"/><SHIFT code=\"T\" start=\"15:00\" "
    "hours=\"8\"/><SHIFT code=\"N\" start=\"22:00\" hours=\"8\"/>";

// "code@dd/mm hh:nn" for each item, to compare rosters at a glance.
std::vector<std::string> Seen(const TPersonRoster& roster) {
  std::vector<std::string> seen;
  for (const auto& item : roster.items) {
    seen.push_back((item.code.empty() ? std::to_string(item.type) : item.code) + "@" +
                   item.start.ToString("dd/mm hh:nn") + "+" +
                   std::to_string(item.seconds.Value() / 60));
  }
  return seen;
}

// A shift shows on the day it starts and nowhere else; any other item on
// every day of the range it touches, and not on a day it merely ends at.
TEST(DaysShown, AShiftOnItsFirstDayOtherItemsOnEveryDayTheyTouch) {
  const TFecha first = At(2026, 12, 7);
  const auto item = [](TFecha start, int64_t hours, std::string code) {
    TRosterItem it;
    it.start = start;
    it.seconds = TDuration(hours * 3600);
    it.code = std::move(code);
    return it;
  };
  const struct {
    TRosterItem item;
    std::vector<int> days;
  } cases[] = {
      {item(At(2026, 12, 7, 22), 10, "N"), {0}},    // a night, on its evening only
      {item(At(2026, 12, 6, 22), 10, "N"), {}},     // begun the evening before the range
      {item(At(2026, 12, 9, 22), 10, "N"), {2}},    // the last day's night
      {item(At(2026, 12, 10, 8), 8, "M"), {}},      // after the range
      {item(At(2026, 12, 5), 72, ""), {0}},         // leave from before, to midnight of day 1
      {item(At(2026, 12, 6), 96, ""), {0, 1, 2}},   // leave past the range's end
      {item(At(2026, 12, 8, 22), 10, ""), {1, 2}},  // an item without a code spans its days
  };
  for (const auto& c : cases) {
    EXPECT_EQ(DaysShown(c.item, first, 3), c.days) << c.item.start.ToString("dd/mm hh:nn");
  }
  EXPECT_TRUE(item(At(2026, 12, 7), 48, "").FillsWholeDays());
  EXPECT_FALSE(item(At(2026, 12, 7, 1), 24, "").FillsWholeDays());
  EXPECT_FALSE(item(At(2026, 12, 7), 25, "").FillsWholeDays());
}

TEST(BuildRosters, UnrollsRulesRotationsAndItemsIntoEachPersonsItems) {
  const TPlan plan =
      ReadPlan("<PLAN>" + kShiftCodes +
               // Weekly mornings on Monday without weekends, until the 16th: 2 and 9 November fall
               // in the range, the 16th too.
               "<EMPLOYEE id=\"a\"><RULE shift=\"M\" every=\"week\" from=\"2026-11-02\" "
               "until=\"2026-11-16\"/></EMPLOYEE>"
               // A rota anchored on Friday 6 November: N on 6 and 7, rest on 8, M on 9.
               "<EMPLOYEE id=\"b\"><ROTATION pattern=\"N N - M\" from=\"2026-11-06\"/>"
               "<LEAVE from=\"2026-11-10\" to=\"2026-11-11\"/>"
               "<ITEM start=\"2026-11-09T10:00\" hours=\"1\" type=\"6\"/></EMPLOYEE>"
               "<EMPLOYEE id=\"c\"><RULE stored=\"4004582400;28800;3;1;1;1;0;0\"/></EMPLOYEE>"
               "</PLAN>");
  const auto rosters = BuildRosters(plan, At(2026, 11, 8), At(2026, 11, 11));
  ASSERT_EQ(rosters.size(), 3u);
  EXPECT_EQ(rosters[0].employee->id, "a");
  EXPECT_EQ(Seen(rosters[0]), (std::vector<std::string>{"M@09/11 07:00+480"}));
  // The night of the 7th reaches into the 8th; the rota goes on after the range's start.
  EXPECT_EQ(Seen(rosters[1]), (std::vector<std::string>{"N@07/11 22:00+480", "M@09/11 07:00+480",
                                                        "6@09/11 10:00+60", "9@10/11 00:00+2880",
                                                        "N@10/11 22:00+480", "N@11/11 22:00+480"}));
  // A stored daily rule with weekends from Monday 23 November: nothing before it starts.
  EXPECT_TRUE(rosters[2].items.empty());
  const auto later = BuildRosters(plan, At(2026, 11, 23), At(2026, 11, 24));
  EXPECT_EQ(Seen(later[2]), (std::vector<std::string>{"3@23/11 08:00+480", "3@24/11 08:00+480"}));
  EXPECT_TRUE(later[0].items.empty());  // the weekly rule ended on the 16th
}

TEST(BuildRosters, AnAbsenceCancelsThePlannedWorkWhoseStartItCoversWhateverTheRange) {
  // A three-day task from a stored rule starts on Saturday 28 November
  // under a day of leave and reaches into December; a night starts the
  // evening before the leave and is worked; rule 2 never occurs.
  const TPlan plan =
      ReadPlan("<PLAN>" + kShiftCodes +
               "<EMPLOYEE id=\"a\"><RULE stored=\"4005014400;259200;3;1;2;1;0;0\"/>"
               "<RULE shift=\"M\" from=\"2026-11-28\" until=\"2026-11-29\"/>"
               "<ROTATION pattern=\"N\" from=\"2026-11-27\" until=\"2026-11-27\"/>"
               "<LEAVE from=\"2026-11-28\" to=\"2026-11-28\"/>"
               "<ITEM start=\"2026-11-28T10:00\" hours=\"2\" type=\"2\"/></EMPLOYEE></PLAN>");
  const auto cancelled = [&](TFecha first, TFecha last) {
    std::vector<std::string> seen;
    const TPersonRoster roster = BuildRoster(plan, plan.employees[0], first, last);
    for (const auto& item : roster.items)
      seen.push_back(std::to_string(item.type) + item.start.ToString("@dd hh") +
                     (item.cancelled ? " cancelled" : ""));
    return seen;
  };
  EXPECT_EQ(cancelled(At(2026, 12, 1), At(2026, 12, 1)),
            (std::vector<std::string>{"3@28 08 cancelled"}));
  EXPECT_EQ(cancelled(At(2026, 11, 27), At(2026, 12, 1)),
            (std::vector<std::string>{"2@27 22", "9@28 00", "3@28 08 cancelled", "2@28 10"}));
  EXPECT_EQ(BuildRoster(plan, plan.employees[0], At(2026, 11, 27), At(2026, 12, 1)).ruleOccurrences,
            (std::vector<size_t>{1, 0}));
}

// Hours against a per-minute count of random rotas and items.
TEST(HoursOf, AgreesWithAMinuteByMinuteCountOnRandomPlans) {
  std::mt19937 random(17);
  const char* const codes[] = {"M", "T", "N", "-"};
  for (int round = 0; round < 1000; ++round) {
    std::string xml = "<PLAN>" + kShiftCodes + "<EMPLOYEE id=\"x\"><ROTATION pattern=\"";
    for (int i = 0, n = 1 + static_cast<int>(random() % 9); i < n; ++i)
      xml += std::string(codes[random() % 4]) + " ";
    xml += "\" from=\"2026-11-0" + std::to_string(1 + random() % 9) + "\"/>";
    for (int i = 0, n = static_cast<int>(random() % 5); i < n; ++i) {
      const int day = 1 + static_cast<int>(random() % 20), hour = static_cast<int>(random() % 24);
      xml += "<ITEM start=\"2026-11-" + std::string(day < 10 ? "0" : "") + std::to_string(day) +
             "T" + (hour < 10 ? "0" : "") + std::to_string(hour) + ":" +
             std::to_string(10 + random() % 50) + "\" hours=\"" + std::to_string(random() % 40) +
             "\" type=\"" + std::to_string(random() % 14) + "\"/>";
    }
    xml += "</EMPLOYEE></PLAN>";
    const TPlan plan = ReadPlan(xml);
    const TFecha first = At(2026, 11, 5 + static_cast<int>(random() % 5));
    const TFecha last = TFecha(first.Value() + static_cast<int64_t>(random() % 10) * 86400);
    const auto roster = BuildRosters(plan, first, last)[0];
    const auto hours = HoursOf(roster, first, last);

    // Every minute of the range, for every item of the plan unrolled far around
    // it that no absence cancels: a cancellation must not depend on the range.
    std::map<std::pair<int, int>, int64_t> minutes;  // (day, type) -> minutes
    const auto wide = BuildRosters(plan, At(2026, 10, 1), At(2026, 12, 31))[0];
    for (int64_t minute = first.Value(); minute < last.Value() + 86400; minute += 60) {
      for (const auto& item : wide.items) {
        if (!item.cancelled && item.start.Value() <= minute && minute < item.End())
          ++minutes[{static_cast<int>((minute - first.Value()) / 86400), item.type}];
      }
    }
    for (int day = 0; day < hours.Days(); ++day) {
      for (int type = 0; type < kTimePointTypeCount; ++type) {
        const auto found = minutes.find({day, type});
        EXPECT_EQ(hours.Seconds(day, static_cast<TTimePointType>(type)).Value(),
                  (found == minutes.end() ? 0 : found->second) * 60)
            << xml << " day " << day << " type " << type;
      }
    }
  }
}

}  // namespace
