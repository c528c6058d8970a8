#include "cuadrante/time/rutinasfecha.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include "cuadrante/runtime/datetime.h"
#include "cuadrante/services/translate.h"
#include "cuadrante/testing/testsupport.h"

namespace {

using RutinasFecha::GetPairedFechas;
using Lines = std::vector<std::string>;

using cuadrante::testing::At;

// "dd/mm/yyyy-dd/mm/yyyy|Label|FullLabel" for each period, so a table row says it all.
Lines Periods(TFecha start, TFecha end, int group) {
  Lines out;
  for (const auto& p : GetPairedFechas(start, end, static_cast<TTimesGroup>(group))) {
    out.push_back(p.First.ToString("dd/mm/yyyy hh:nn") + "-" +
                  p.Second.ToString("dd/mm/yyyy hh:nn") + "|" + p.Label + "|" + p.FullLabel);
  }
  return out;
}

TEST(RutinasFecha, PairsTheCalendarPeriodsOfEachGroup) {
  // Weeks: the first starts before the start, the last ends after the end.
  EXPECT_EQ(Periods(At(2003, 3, 5), At(2003, 3, 20), tgWeek),
            (Lines{"03/03/2003 00:00-09/03/2003 00:00| S10|Semanal: marzo 2003 S10",
                   "10/03/2003 00:00-16/03/2003 00:00| S11|Semanal: marzo 2003 S11",
                   "17/03/2003 00:00-23/03/2003 00:00| S12|Semanal: marzo 2003 S12"}));
  // Months of different lengths.
  EXPECT_EQ(Periods(At(2003, 1, 15), At(2003, 3, 15), tgMonth),
            (Lines{"01/01/2003 00:00-31/01/2003 00:00|enero 2003|Mensual: enero 2003",
                   "01/02/2003 00:00-28/02/2003 00:00|febrero 2003|Mensual: febrero 2003",
                   "01/03/2003 00:00-31/03/2003 00:00|marzo 2003|Mensual: marzo 2003"}));
  // A quarter or a fortnight from its own first day settles on the one before.
  EXPECT_EQ(
      Periods(At(2003, 4, 1), At(2003, 4, 1), tgQuarter),
      (Lines{"01/01/2003 00:00-31/03/2003 00:00| ene - mar 2003|Trimestral:  ene - mar 2003",
             "01/04/2003 00:00-30/06/2003 00:00| abr - jun 2003|Trimestral:  abr - jun 2003"}));
  EXPECT_EQ(Periods(At(2003, 1, 13), At(2003, 1, 13), tgFortnight),
            (Lines{"30/12/2002 00:00-12/01/2003 00:00| Q1|Quincenal: diciembre 2002 Q1",
                   "13/01/2003 00:00-26/01/2003 00:00| Q2|Quincenal: enero 2003 Q2"}));
  // Fortnights run on across the new year.
  EXPECT_EQ(Periods(At(2003, 12, 20), At(2004, 1, 6), tgFortnight),
            (Lines{"15/12/2003 00:00-28/12/2003 00:00| Q26|Quincenal: diciembre 2003 Q26",
                   "29/12/2003 00:00-11/01/2004 00:00| Q1|Quincenal: diciembre 2003 Q1"}));
  // Days: the time of day takes part in the loop, not in the dates.
  EXPECT_EQ(Periods(At(2003, 3, 5, 10), At(2003, 3, 7, 9), tgDay),
            (Lines{"05/03/2003 00:00-06/03/2003 00:00|mié 5|Diario: mié 5 marzo",
                   "06/03/2003 00:00-07/03/2003 00:00|jue 6|Diario: jue 6 marzo"}));
  // A year is aligned to 1 January and listed as days.
  EXPECT_EQ(Periods(At(2003, 6, 10), At(2003, 1, 2), tgYear),
            (Lines{"01/01/2003 00:00-02/01/2003 00:00|mié 1|Diario: mié 1 enero",
                   "02/01/2003 00:00-03/01/2003 00:00|jue 2|Diario: jue 2 enero"}));
  // An end before the aligned start gives nothing.
  EXPECT_EQ(Periods(At(2003, 3, 12), At(2003, 3, 9), tgWeek), Lines{});

  // Fortnight numbers divide the ISO week: 28 December 2015 is in week 53.
  Lines labels;
  for (const auto& p : GetPairedFechas(At(2015, 12, 20), At(2016, 1, 20), tgFortnight))
    labels.push_back(p.First.ToString("dd/mm") + p.Label);
  EXPECT_EQ(labels, (Lines{"14/12 Q26", "28/12 Q27", "11/01 Q2"}));
}

// The names of months and days come from the format settings, whose own tests
// change them; the literals of the labels go through the dictionary.
TEST(RutinasFecha, LabelsFollowTheDictionary) {
  const auto label = [](int group) {
    return GetPairedFechas(At(2003, 3, 5), At(2003, 3, 5), static_cast<TTimesGroup>(group))[0];
  };
  cuadrante::testing::TempFolder folder;
  cuadrante::testing::WriteText(folder / "t.ini", "[Localization]\nDictionary=.dic\n");
  cuadrante::testing::WriteText(folder / "t.ini.dic",
                                "Semanal:\tWeekly:\nDiario:\tDaily:\nMensual:\tMonthly:\n"
                                "Trimestral:\tQuarterly:\nQuincenal:\tFortnightly:\n");
  bTransActivated = true;
  InitTRANS(folder / "t.ini");
  Lines got;
  for (int group : {tgWeek, tgDay, tgMonth, tgQuarter, tgFortnight})
    got.push_back(label(group).Label + "|" + label(group).FullLabel);
  EndTRANS();
  bTransActivated = false;
  // The short labels hold no literal to translate.
  EXPECT_EQ(got,
            (Lines{" S10|Weekly: marzo 2003 S10", "mié 5|Daily: mié 5 marzo",
                   "marzo 2003|Monthly: marzo 2003", " ene - mar 2003|Quarterly:  ene - mar 2003",
                   " Q5|Fortnightly: febrero 2003 Q5"}));
}

TEST(RutinasFecha, IsVisibleDateHoldsBothBoundsWholeValues) {
  const TFecha savedStart = RutinasFecha::StartViewDate;
  const TFecha savedEnd = RutinasFecha::EndViewDate;
  // A window of 0 to 0 is no "unbounded": only 0 lies in it.
  RutinasFecha::StartViewDate = RutinasFecha::EndViewDate = 0;
  EXPECT_TRUE(RutinasFecha::IsVisibleDate(0));
  EXPECT_FALSE(RutinasFecha::IsVisibleDate(1) || RutinasFecha::IsVisibleDate(-1));

  RutinasFecha::StartViewDate = At(2003, 3, 5, 10);
  RutinasFecha::EndViewDate = At(2003, 3, 8, 9);
  const int64_t start = RutinasFecha::StartViewDate.Value();
  const int64_t span = RutinasFecha::EndViewDate.Value() - start;
  for (const int64_t d : {int64_t{-1}, int64_t{0}, span / 2, span, span + 1}) {
    EXPECT_EQ(RutinasFecha::IsVisibleDate(start + d), d >= 0 && d <= span) << d;
  }
  RutinasFecha::StartViewDate = savedStart;
  RutinasFecha::EndViewDate = savedEnd;
}

TEST(RutinasFecha, PeriodsEndWithTheCalendar) {
  // Every group over the calendar's last days ends, its last period cut at
  // the last day; a range that runs past the calendar changes nothing.
  const TFecha largest(std::numeric_limits<int64_t>::max());
  const std::tuple<int, const char*, size_t> cases[] = {
      {tgWeek, "27/12/9999 00:00-31/12/9999 00:00", 5},
      {tgFortnight, "27/12/9999 00:00-31/12/9999 00:00", 3},
      {tgMonth, "01/12/9999 00:00-31/12/9999 00:00", 1},
      {tgQuarter, "01/10/9999 00:00-31/12/9999 00:00", 1},
      {tgDay, "31/12/9999 00:00-31/12/9999 00:00", 31}};
  for (const auto& [group, last, count] : cases) {
    for (const TFecha end : {At(9999, 12, 31), largest}) {
      const Lines periods = Periods(At(9999, 12, 1), end, group);
      ASSERT_EQ(periods.size(), count) << group;
      EXPECT_TRUE(periods.back().starts_with(last)) << periods.back();
    }
  }
  // A range wholly past the calendar names nothing, and ends.
  for (const int group : {tgWeek, tgFortnight, tgMonth, tgQuarter, tgYear, tgDay})
    EXPECT_TRUE(Periods(TFecha(kCalendarEnd + 40 * 86400), largest, group).empty()) << group;
  EXPECT_EQ(Periods(At(9999, 1, 1), largest, tgQuarter).size(), 4u);
  EXPECT_EQ(Periods(At(9999, 1, 1), largest, tgMonth).size(), 12u);
}

}  // namespace
