#include "cuadrante/time/rutinasfecha.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cuadrante/internal/testsupport.h"
#include "cuadrante/runtime/datetime.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/services/translate.h"

namespace {

using RutinasFecha::GetPairedFechas;
using RutinasFecha::TFechasPairList;

TFecha At(int year, int month, int day, int hour = 0) {
  return TFecha(TDateTime(EncodeDate(year, month, day).Val + hour / 24.0));
}

// "dd/mm/yyyy-dd/mm/yyyy|Label|FullLabel" for each period, so a table row says it all.
std::vector<std::string> Describe(const TFechasPairList& list) {
  std::vector<std::string> out;
  for (const auto& p : list) {
    out.push_back(p.First.ToString("dd/mm/yyyy hh:nn") + "-" +
                  p.Second.ToString("dd/mm/yyyy hh:nn") + "|" + p.Label + "|" + p.FullLabel);
  }
  return out;
}

TEST(RutinasFecha, PairsTheCalendarPeriodsOfEachGroup) {
  struct Row {
    const char* what;
    TFecha start, end;
    TTimesGroup group;
    std::vector<std::string> periods;
  };
  const Row rows[] = {
      {"weeks: the first starts before the start, the last ends after the end",
       At(2003, 3, 5),
       At(2003, 3, 20),
       tgWeek,
       {"03/03/2003 00:00-09/03/2003 00:00| S10|Semanal: marzo 2003 S10",
        "10/03/2003 00:00-16/03/2003 00:00| S11|Semanal: marzo 2003 S11",
        "17/03/2003 00:00-23/03/2003 00:00| S12|Semanal: marzo 2003 S12"}},
      {"months of different lengths",
       At(2003, 1, 15),
       At(2003, 3, 15),
       tgMonth,
       {"01/01/2003 00:00-31/01/2003 00:00|enero 2003|Mensual: enero 2003",
        "01/02/2003 00:00-28/02/2003 00:00|febrero 2003|Mensual: febrero 2003",
        "01/03/2003 00:00-31/03/2003 00:00|marzo 2003|Mensual: marzo 2003"}},
      {"a quarter from its own first day settles on the one before",
       At(2003, 4, 1),
       At(2003, 4, 1),
       tgQuarter,
       {"01/01/2003 00:00-31/03/2003 00:00| ene - mar 2003|Trimestral:  ene - mar 2003",
        "01/04/2003 00:00-30/06/2003 00:00| abr - jun 2003|Trimestral:  abr - jun 2003"}},
      {"a quarter from mid-year",
       At(2003, 8, 20),
       At(2003, 10, 2),
       tgQuarter,
       {"01/07/2003 00:00-30/09/2003 00:00| jul - sep 2003|Trimestral:  jul - sep 2003",
        "01/10/2003 00:00-31/12/2003 00:00| oct - dic 2003|Trimestral:  oct - dic 2003"}},
      {"a fortnight on the limit of the first grid period stays in it",
       At(2003, 1, 13),
       At(2003, 1, 13),
       tgFortnight,
       {"30/12/2002 00:00-12/01/2003 00:00| Q1|Quincenal: diciembre 2002 Q1",
        "13/01/2003 00:00-26/01/2003 00:00| Q2|Quincenal: enero 2003 Q2"}},
      {"a fortnight inside the second grid period",
       At(2003, 1, 15),
       At(2003, 1, 26),
       tgFortnight,
       {"13/01/2003 00:00-26/01/2003 00:00| Q2|Quincenal: enero 2003 Q2"}},
      {"fortnights run on across the new year",
       At(2003, 12, 20),
       At(2004, 1, 6),
       tgFortnight,
       {"15/12/2003 00:00-28/12/2003 00:00| Q26|Quincenal: diciembre 2003 Q26",
        "29/12/2003 00:00-11/01/2004 00:00| Q1|Quincenal: diciembre 2003 Q1"}},
      {"days: the time of day takes part in the loop, not in the dates",
       At(2003, 3, 5, 10),
       At(2003, 3, 8, 9),
       tgDay,
       {"05/03/2003 00:00-06/03/2003 00:00|mié 5|Diario: mié 5 marzo",
        "06/03/2003 00:00-07/03/2003 00:00|jue 6|Diario: jue 6 marzo",
        "07/03/2003 00:00-08/03/2003 00:00|vie 7|Diario: vie 7 marzo"}},
      {"no group gives days too",
       At(2003, 3, 1),
       At(2003, 3, 2),
       tgNone,
       {"01/03/2003 00:00-02/03/2003 00:00|sáb 1|Diario: sáb 1 marzo",
        "02/03/2003 00:00-03/03/2003 00:00|dom 2|Diario: dom 2 marzo"}},
      {"a year is aligned to 1 January and listed as days",
       At(2003, 6, 10),
       At(2003, 1, 2),
       tgYear,
       {"01/01/2003 00:00-02/01/2003 00:00|mié 1|Diario: mié 1 enero",
        "02/01/2003 00:00-03/01/2003 00:00|jue 2|Diario: jue 2 enero"}},
      {"an end before the aligned start gives nothing",
       At(2003, 3, 12),
       At(2003, 3, 9),
       tgWeek,
       {}},
      {"an unknown group gives days from the start as it is",
       At(2003, 3, 5, 23),
       At(2003, 3, 5, 23),
       static_cast<TTimesGroup>(-7),
       {"05/03/2003 00:00-06/03/2003 00:00|mié 5|Diario: mié 5 marzo"}},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(Describe(GetPairedFechas(row.start, row.end, row.group)), row.periods) << row.what;
  }

  // Group 4 from 10 June: days from 1 January onward, one per day.
  const TFechasPairList year = GetPairedFechas(At(2003, 6, 10), At(2003, 6, 10), tgYear);
  ASSERT_EQ(year.size(), 161u);
  EXPECT_EQ(year.front().First, At(2003, 1, 1));
  EXPECT_EQ(year.back().First, At(2003, 6, 10));
}

TEST(RutinasFecha, FortnightNumbersUseWholeDivisionOfTheWeek) {
  // ISO weeks 3, 4 and 53 (28 December 2015 is in week 53 of 2015).
  EXPECT_EQ(GetPairedFechas(At(2003, 1, 15), At(2003, 1, 15), tgFortnight)[0].Label, " Q2");
  const TFechasPairList end2015 = GetPairedFechas(At(2015, 12, 20), At(2016, 1, 20), tgFortnight);
  std::vector<std::string> labels;
  for (const auto& p : end2015) labels.push_back(p.First.ToString("dd/mm") + p.Label);
  // The 2015 grid starts on Monday 29 December 2014; 28 December 2015 is week 53.
  EXPECT_EQ(labels, (std::vector<std::string>{"14/12 Q26", "28/12 Q27", "11/01 Q2"}));
}

TEST(RutinasFecha, LabelsFollowTheFormatSettingsAndTheDictionary) {
  cuadrante::testing::SettingsGuard settings;
  FormatSettings.LongMonthNames[2] = "March";
  FormatSettings.ShortDayNames[3] = "Wed";
  EXPECT_EQ(GetPairedFechas(At(2003, 3, 5), At(2003, 3, 5), tgWeek)[0].FullLabel,
            "Semanal: March 2003 S10");
  EXPECT_EQ(GetPairedFechas(At(2003, 3, 5), At(2003, 3, 5), tgDay)[0].FullLabel,
            "Diario: Wed 5 March");

  cuadrante::testing::TempFolder folder;
  cuadrante::testing::WriteText(folder / "t.ini", "[Localization]\nDictionary=.dic\n");
  cuadrante::testing::WriteText(folder / "t.ini.dic",
                                "Semanal:\tWeekly:\nDiario:\tDaily:\nMensual:\tMonthly:\n"
                                "Trimestral:\tQuarterly:\nQuincenal:\tFortnightly:\n");
  bTransActivated = true;
  InitTRANS(folder / "t.ini");
  const auto week = GetPairedFechas(At(2003, 3, 5), At(2003, 3, 5), tgWeek);
  const auto day = GetPairedFechas(At(2003, 3, 5), At(2003, 3, 5), tgDay);
  const auto month = GetPairedFechas(At(2003, 3, 5), At(2003, 3, 5), tgMonth);
  const auto quarter = GetPairedFechas(At(2003, 3, 5), At(2003, 3, 5), tgQuarter);
  const auto fortnight = GetPairedFechas(At(2003, 3, 5), At(2003, 3, 5), tgFortnight);
  EndTRANS();
  bTransActivated = false;
  EXPECT_EQ(week[0].FullLabel, "Weekly: March 2003 S10");
  EXPECT_EQ(week[0].Label, " S10");  // the short labels hold no literal to translate
  EXPECT_EQ(day[0].FullLabel, "Daily: Wed 5 March");
  EXPECT_EQ(month[0].FullLabel, "Monthly: March 2003");
  EXPECT_EQ(quarter[0].FullLabel, "Quarterly:  ene - mar 2003");
  EXPECT_EQ(fortnight[0].FullLabel, "Fortnightly: febrero 2003 Q5");
}

TEST(RutinasFecha, PairKeepsTheDatesAlone) {
  const RutinasFecha::TFechasPair empty;
  EXPECT_EQ(empty.First, 0);
  EXPECT_EQ(empty.Second, 0);
  EXPECT_TRUE(empty.Label.empty() && empty.FullLabel.empty());
  const RutinasFecha::TFechasPair p(At(2003, 3, 5, 10), At(2003, 3, 6, 23));
  EXPECT_EQ(p.First, At(2003, 3, 5));
  EXPECT_EQ(p.Second, At(2003, 3, 6));
}

TEST(RutinasFecha, IsVisibleDateHoldsBothBoundsWholeValues) {
  const TFecha savedStart = RutinasFecha::StartViewDate;
  const TFecha savedEnd = RutinasFecha::EndViewDate;

  RutinasFecha::StartViewDate = 0;
  RutinasFecha::EndViewDate = 0;
  EXPECT_TRUE(RutinasFecha::IsVisibleDate(0));
  EXPECT_FALSE(RutinasFecha::IsVisibleDate(1));
  EXPECT_FALSE(RutinasFecha::IsVisibleDate(-1));

  RutinasFecha::StartViewDate = At(2003, 3, 5, 10);
  RutinasFecha::EndViewDate = At(2003, 3, 8, 9);
  const struct {
    TFecha date;
    bool visible;
  } rows[] = {{At(2003, 3, 5, 10), true},
              {TFecha(At(2003, 3, 5, 10).Value() - 1), false},
              {At(2003, 3, 5), false},
              {At(2003, 3, 8, 9), true},
              {TFecha(At(2003, 3, 8, 9).Value() + 1), false},
              {At(2003, 3, 6), true}};
  for (const auto& row : rows) {
    EXPECT_EQ(RutinasFecha::IsVisibleDate(row.date), row.visible) << row.date.Value();
  }

  RutinasFecha::StartViewDate = savedStart;
  RutinasFecha::EndViewDate = savedEnd;
}

}  // namespace
