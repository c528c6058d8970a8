#include "cuadrante/runtime/dateformat.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <limits>
#include <set>
#include <string>
#include <utility>

#include "cuadrante/internal/testsupport.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/formatsettings.h"

namespace {

using cuadrante::testing::ConvertErrorOf;
using cuadrante::testing::SettingsGuard;

TDateTime At(uint16_t y, uint16_t m, uint16_t d, uint16_t h = 0, uint16_t n = 0, uint16_t s = 0,
             uint16_t z = 0) {
  return EncodeDateTime(y, m, d, h, n, s, z);
}

// Thursday 5 March 2026 at 08:07:09.045.
const TDateTime kThu = At(2026, 3, 5, 8, 7, 9, 45);

// Each pattern of `patterns` with the text it must give for `value`.
void ExpectFormats(TDateTime value,
                   std::initializer_list<std::pair<const char*, const char*>> patterns) {
  for (const auto& [format, text] : patterns)
    EXPECT_EQ(FormatDateTime(format, value), text) << format;
}

TEST(FormatDateTime, WritesEveryFieldOfThePattern) {
  ExpectFormats(kThu, {{"d/m/yy", "5/3/26"},
                       {"DD/MM/YYYY HH:NN:SS", "05/03/2026 08:07:09"},
                       {"ddd dddd", "jue jueves"},
                       {"mmm mmmm", "mar marzo"},
                       {"h:n:s", "8:7:9"},
                       {"z zzz", "45 045"},
                       {"y yyy", "26 2026"}});
  // Years are padded: a two-digit year keeps its zero, year 5 shows four digits.
  EXPECT_EQ(FormatDateTime("yy", At(2005, 1, 1)), "05");
  EXPECT_EQ(FormatDateTime("yyyy", At(5, 1, 1)), "0005");
  // Day names start on Sunday; the month names on January; UTF-8 as stored.
  EXPECT_EQ(FormatDateTime("dddd ddd", At(2026, 11, 29)), "domingo dom");
  EXPECT_EQ(FormatDateTime("dddd ddd", At(2026, 11, 28)), "sábado sáb");
  EXPECT_EQ(FormatDateTime("mmmm mmm", At(2026, 1, 31)), "enero ene");
  EXPECT_EQ(FormatDateTime("mmmm mmm", At(2026, 12, 1)), "diciembre dic");
  EXPECT_EQ(FormatDateTime("mmmmmm", At(2026, 9, 1)), "septiembre");
}

TEST(FormatDateTime, MonthAfterAnHourIsTheMinute) {
  ExpectFormats(kThu, {{"hh:mm", "08:07"},
                       {"h:m", "8:7"},
                       {"dd/mm/yy hh:mm - ", "05/03/26 08:07 - "},
                       {"mm/dd hh:mm", "03/05 08:07"},
                       // Blanks, digits and quoted text between them do not break the link...
                       {"hh mm", "08 07"},
                       {"h'h'mm", "8h07"},
                       {"hh:mmmm", "08:07"},
                       // ...another letter does.
                       {"hh dd mm", "08 05 03"},
                       {"hh:mm:ss mm", "08:07:09 03"},
                       {"mm hh", "03 08"}});
}

TEST(FormatDateTime, QuotedAndOtherTextIsCopied) {
  ExpectFormats(kThu, {{"'dd' dd", "dd 05"},
                       {"\"hh:mm\" hh", "hh:mm 08"},
                       {"\"it's\" d", "it's 5"},
                       {"dd 'abc", "05 abc"},  // unclosed
                       {"''", ""},
                       {"dddd d 'de' mmmm 'de' yyyy", "jueves 5 de marzo de 2026"},
                       {"[dd] - x!", "[05] - x!"},
                       {"ñ dd", "ñ 05"},
                       {"'/' / ':' :", "/ / : :"}});
}

TEST(FormatDateTime, NamedFormatsAndSeparatorsComeFromTheSettings) {
  ExpectFormats(kThu, {{"c", "05/03/2026 08:07:09"},
                       {"", "05/03/2026 08:07:09"},
                       {"t", "08:07"},
                       {"tt", "08:07:09"},
                       {"ddddd", "05/03/2026"},
                       {"dddddd", "jueves, 5 de marzo de 2026"}});
  EXPECT_EQ(FormatDateTime("c", At(2026, 3, 5)), "05/03/2026");

  SettingsGuard guard;
  FormatSettings.DateSeparator = '-';
  FormatSettings.TimeSeparator = '.';
  EXPECT_EQ(FormatDateTime("dd/mm/yyyy hh:nn", kThu), "05-03-2026 08.07");
  FormatSettings.LongMonthNames[2] = "March";
  FormatSettings.ShortDayNames[4] = "Thu";
  EXPECT_EQ(FormatDateTime("ddd mmmm", kThu), "Thu March");
  FormatSettings.ShortDateFormat = "yyyy/mm/dd";
  FormatSettings.LongTimeFormat = "hh'h'nn";
  EXPECT_EQ(DateTimeToStr(kThu), "2026-03-05 08h07");
  // Settings that name themselves must not recurse without end.
  FormatSettings.ShortDateFormat = "ddddd|c";
  EXPECT_EQ(DateToStr(kThu), "|");
}

TEST(DateTimeToStr, LeavesOutTheTimeOnlyAtExactMidnight) {
  EXPECT_EQ(DateTimeToStr(At(2026, 3, 5)), "05/03/2026");
  EXPECT_EQ(DateTimeToStr(At(2026, 3, 5, 0, 0, 1)), "05/03/2026 00:00:01");
  EXPECT_EQ(DateTimeToStr(At(2026, 3, 5, 0, 0, 0, 400)), "05/03/2026 00:00:00");
  EXPECT_EQ(DateString(kThu), "05/03/2026");
  EXPECT_EQ(TimeToStr(kThu), "08:07:09");
  EXPECT_EQ(TimeToStr(At(2026, 3, 5)), "00:00:00");
  // A count that is no number reads as the origin rather than failing.
  EXPECT_EQ(DateTimeToStr(TDateTime(std::numeric_limits<double>::quiet_NaN())), "30/12/1899");
  // Rounding to the millisecond carries into the next day's date.
  EXPECT_EQ(DateTimeToStr(TDateTime(At(2026, 3, 5, 23, 59, 59, 999).Val + 0.6 / MSecsPerDay)),
            "06/03/2026");
}

TEST(StrToDateTime, ReadsADateWithAnOptionalTime) {
  const std::pair<const char*, TDateTime> cases[] = {
      {"5/3/2026 8:07", At(2026, 3, 5, 8, 7)},
      {"05/03/2026 08:07:09.5", At(2026, 3, 5, 8, 7, 9, 500)},
      {"05/03/2026 08:07:09.045", kThu},
      {" \t05/03/2026   08:07  ", At(2026, 3, 5, 8, 7)},
      {"29/02/2024 23:59:59", At(2024, 2, 29, 23, 59, 59)},
      {"12:00", TDateTime(0.5)},  // a time alone is a time on day 0
      // Before the origin the time still counts forward from midnight.
      {"29/12/1899 06:00", TDateTime(-1.25)},
  };
  for (const auto& [text, value] : cases) EXPECT_EQ(StrToDateTime(text).Val, value.Val) << text;

  // Two-digit years do not depend on today's date.
  const std::pair<const char*, int> years[] = {{"1/1/49", 2049}, {"1/1/50", 1950},
                                               {"1/1/00", 2000}, {"1/1/5", 2005},
                                               {"1/1/0099", 99}, {"1/1/999", 999}};
  for (const auto& [text, year] : years) EXPECT_EQ(YearOf(StrToDateTime(text)), year) << text;

  // What DateTimeToStr writes reads back, under other settings too.
  for (const TDateTime t : {At(2026, 3, 5), At(1, 1, 1), At(9999, 12, 31, 23, 59, 59),
                            At(2024, 2, 29, 0, 0, 1), At(1899, 12, 31, 12)}) {
    EXPECT_EQ(StrToDateTime(DateTimeToStr(t)).Val, t.Val) << DateTimeToStr(t);
  }
  SettingsGuard guard;
  FormatSettings.ShortDateFormat = "yyyy-mm-dd";
  FormatSettings.DateSeparator = '-';
  FormatSettings.TimeSeparator = '.';
  EXPECT_EQ(StrToDateTime(DateTimeToStr(kThu)).Val, At(2026, 3, 5, 8, 7, 9).Val);
}

TEST(StrToDateTime, FollowsTheOrderOfTheShortDateFormat) {
  SettingsGuard guard;
  FormatSettings.ShortDateFormat = "mm/dd/yyyy";
  EXPECT_EQ(StrToDateTime("03/05/2026").Val, At(2026, 3, 5).Val);
  EXPECT_THROW(StrToDateTime("13/05/2026"), EConvertError);
  FormatSettings.ShortDateFormat = "yyyy.mm.dd";
  FormatSettings.DateSeparator = '.';
  EXPECT_EQ(StrToDateTime("26.3.5 08:07").Val, At(2026, 3, 5, 8, 7).Val);
  // Letters inside quotes are text, not fields.
  FormatSettings.ShortDateFormat = "'day' yy/mm/dd";
  FormatSettings.DateSeparator = '/';
  EXPECT_EQ(StrToDateTime("26/03/05").Val, At(2026, 3, 5).Val);
  // A format that lacks a field still reads three numbers; the missing one last.
  FormatSettings.ShortDateFormat = "mmmm yyyy";
  EXPECT_EQ(StrToDateTime("03/2026/05").Val, At(2026, 3, 5).Val);
}

TEST(StrToDateTime, RefusesWhatIsNoDateTimeNamingTheText) {
  const char* const bad[] = {"",      "29/02/2023",  "05-03-2026",   "05/03/2026 24:00",
                             "   ",   "00/01/2026",  "-5/03/2026",   "05/03/2026 08:60",
                             "x",     "1/13/2026",   "05//03/2026",  "05/03/2026 008:07",
                             "05/03", "1/1/0000",    "05/03/2026x",  "05/03/2026 08:07 09:00",
                             "12",    "05/03/20266", "5 / 3 / 2026", "05/03/2026T08:07",
                             ":30",   "005/03/2026", "05/03/2026 8", "05/03/2026 08:07:09.1234"};
  for (const char* text : bad) {
    EXPECT_EQ(ConvertErrorOf([text] { StrToDateTime(text); }),
              "'" + std::string(text) + "' is not a valid date and time");
    TDateTime value(7.0);
    EXPECT_FALSE(TryStrToDateTime(text, value)) << text;
    EXPECT_EQ(value.Val, 7.0) << text;
  }
  // Bytes after a zero byte are still part of the text.
  EXPECT_THROW(StrToDateTime(std::string_view("05/03/2026\0x", 12)), EConvertError);

  // Every prefix of a full text either parses or fails; these lengths parse.
  const std::string full = "05/03/2026 08:07:09.045";
  const std::set<size_t> complete = {7, 8, 9, 10, 11, 15, 16, 18, 19, 21, 22, 23};
  for (size_t length = 0; length <= full.size(); ++length) {
    TDateTime value;
    EXPECT_EQ(TryStrToDateTime(full.substr(0, length), value), complete.count(length) == 1)
        << "'" << full.substr(0, length) << "'";
  }
  EXPECT_EQ(StrToDateTime(full.substr(0, 21)).Val, At(2026, 3, 5, 8, 7, 9).Val);  // ".0"
  EXPECT_EQ(StrToDateTime(full.substr(0, 15)).Val, At(2026, 3, 5, 8, 0).Val);     // "08:0"
  EXPECT_EQ(StrToDateTime(full.substr(0, 8)).Val, At(2020, 3, 5).Val);            // "20"
}

TEST(StrToDateTime, DateAndTimeAloneHaveTheirOwnMessages) {
  EXPECT_EQ(StrToDate(" 05/03/2026 ").Val, At(2026, 3, 5).Val);
  EXPECT_EQ(StrToTime(" 08:07:09 ").Val, EncodeTime(8, 7, 9, 0).Val);
  EXPECT_EQ(ConvertErrorOf([] { StrToDate("05/03/2026 08:07"); }),
            "'05/03/2026 08:07' is not a valid date");
  EXPECT_EQ(ConvertErrorOf([] { StrToDate("08:07"); }), "'08:07' is not a valid date");
  EXPECT_EQ(ConvertErrorOf([] { StrToTime("05/03/2026"); }), "'05/03/2026' is not a valid time");
  EXPECT_EQ(ConvertErrorOf([] { StrToTime("25:00"); }), "'25:00' is not a valid time");
}

}  // namespace
