#include "cuadrante/runtime/dateformat.h"

#include <gtest/gtest.h>

#include <limits>
#include <set>
#include <string>
#include <tuple>
#include <utility>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/formatsettings.h"
#include "cuadrante/testing/testsupport.h"

namespace {

using cuadrante::testing::ErrorOf;
using cuadrante::testing::SettingsGuard;

using cuadrante::testing::Stamp;

// Thursday 5 March 2026 at 08:07:09.045.
const TDateTime kThu = Stamp(2026, 3, 5, 8, 7, 9, 45);

TEST(FormatDateTime, WritesEveryFieldAndCopiesTheRest) {
  // Years are padded; day names start on Sunday, month names on January, UTF-8
  // as stored. A month after an hour is the minute: blanks, digits and quoted
  // text between them keep the link, another letter breaks it. Quoted text
  // (an unclosed quote runs to the end) and other characters are copied, and
  // the named formats come from the settings.
  const std::tuple<TDateTime, const char*, const char*> cases[] = {
      {kThu, "d/m/yy", "5/3/26"},
      {kThu, "DD/MM/YYYY HH:NN:SS", "05/03/2026 08:07:09"},
      {kThu, "ddd dddd mmm mmmm", "jue jueves mar marzo"},
      {kThu, "h:n:s z zzz", "8:7:9 45 045"},
      {kThu, "y yyy", "26 2026"},
      {Stamp(2005, 1, 1), "yy", "05"},
      {Stamp(5, 1, 1), "yyyy", "0005"},
      {Stamp(2026, 11, 29), "dddd ddd", "domingo dom"},
      {Stamp(2026, 11, 28), "dddd ddd", "sábado sáb"},
      {Stamp(2026, 1, 31), "mmmm mmm", "enero ene"},
      {Stamp(2026, 12, 1), "mmmm mmm", "diciembre dic"},
      {Stamp(2026, 9, 1), "mmmmmm", "septiembre"},
      {kThu, "hh:mm", "08:07"},
      {kThu, "h:m", "8:7"},
      {kThu, "mm/dd hh:mm", "03/05 08:07"},
      {kThu, "hh mm", "08 07"},
      {kThu, "h'h'mm", "8h07"},
      {kThu, "hh:mmmm", "08:07"},
      {kThu, "hh dd mm", "08 05 03"},
      {kThu, "hh:mm:ss mm", "08:07:09 03"},
      {kThu, "'dd' dd", "dd 05"},
      {kThu, "\"hh:mm\" hh", "hh:mm 08"},
      {kThu, "\"it's\" d", "it's 5"},
      {kThu, "dd 'abc", "05 abc"},
      {kThu, "''", ""},
      {kThu, "[dd] - x!", "[05] - x!"},
      {kThu, "ñ dd", "ñ 05"},
      {kThu, "c", "05/03/2026 08:07:09"},
      {kThu, "", "05/03/2026 08:07:09"},
      {Stamp(2026, 3, 5), "c", "05/03/2026"},
      {kThu, "t tt", "08:07 08:07:09"},
      {kThu, "ddddd", "05/03/2026"},
      {kThu, "dddddd", "jueves, 5 de marzo de 2026"}};
  for (const auto& [value, format, text] : cases)
    EXPECT_EQ(FormatDateTime(format, value), text) << format;

  SettingsGuard guard;
  FormatSettings.DateSeparator = '-';
  FormatSettings.TimeSeparator = '.';
  EXPECT_EQ(FormatDateTime("dd/mm/yyyy hh:nn '/'", kThu), "05-03-2026 08.07 /");
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
  EXPECT_EQ(DateTimeToStr(Stamp(2026, 3, 5)), "05/03/2026");
  EXPECT_EQ(DateTimeToStr(Stamp(2026, 3, 5, 0, 0, 1)), "05/03/2026 00:00:01");
  EXPECT_EQ(DateTimeToStr(Stamp(2026, 3, 5, 0, 0, 0, 400)), "05/03/2026 00:00:00");
  EXPECT_EQ(DateString(kThu), "05/03/2026");
  EXPECT_EQ(TimeToStr(Stamp(2026, 3, 5)), "00:00:00");
  // A count that is no number reads as the origin rather than failing.
  EXPECT_EQ(DateTimeToStr(TDateTime(std::numeric_limits<double>::quiet_NaN())), "30/12/1899");
  // Rounding to the millisecond carries into the next day's date.
  EXPECT_EQ(DateTimeToStr(TDateTime(Stamp(2026, 3, 5, 23, 59, 59, 999).Val + 0.6 / MSecsPerDay)),
            "06/03/2026");
}

TEST(StrToDateTime, ReadsADateWithAnOptionalTime) {
  const std::pair<const char*, TDateTime> cases[] = {
      {"5/3/2026 8:07", Stamp(2026, 3, 5, 8, 7)},
      {"05/03/2026 08:07:09.5", Stamp(2026, 3, 5, 8, 7, 9, 500)},
      {" \t05/03/2026   08:07:09.045  ", kThu},
      {"29/02/2024 23:59:59", Stamp(2024, 2, 29, 23, 59, 59)},
      {"12:00", TDateTime(0.5)},  // a time alone is a time on day 0
      // Before the origin the time still counts forward from midnight.
      {"29/12/1899 06:00", TDateTime(-1.25)},
  };
  for (const auto& [text, value] : cases) EXPECT_EQ(StrToDateTime(text).Val, value.Val) << text;

  // Two-digit years do not depend on today's date.
  const std::pair<const char*, int> years[] = {
      {"1/1/49", 2049}, {"1/1/50", 1950}, {"1/1/5", 2005}, {"1/1/0099", 99}};
  for (const auto& [text, year] : years) EXPECT_EQ(YearOf(StrToDateTime(text)), year) << text;

  // What DateTimeToStr writes reads back, under other settings too.
  for (const TDateTime t :
       {Stamp(1, 1, 1), Stamp(9999, 12, 31, 23, 59, 59), Stamp(1899, 12, 31, 12)}) {
    EXPECT_EQ(StrToDateTime(DateTimeToStr(t)).Val, t.Val) << DateTimeToStr(t);
  }
  SettingsGuard guard;
  FormatSettings.ShortDateFormat = "yyyy-mm-dd";
  FormatSettings.DateSeparator = '-';
  FormatSettings.TimeSeparator = '.';
  EXPECT_EQ(StrToDateTime(DateTimeToStr(kThu)).Val, Stamp(2026, 3, 5, 8, 7, 9).Val);
  FormatSettings.ShortDateFormat = "mm/dd/yyyy";
  FormatSettings.DateSeparator = '/';
  EXPECT_EQ(StrToDateTime("03/05/2026").Val, Stamp(2026, 3, 5).Val);
  EXPECT_THROW(StrToDateTime("13/05/2026"), EConvertError);
  // Letters inside quotes are text, not fields.
  FormatSettings.ShortDateFormat = "'day' yy/mm/dd";
  EXPECT_EQ(StrToDateTime("26/03/05").Val, Stamp(2026, 3, 5).Val);
  // A format that lacks a field still reads three numbers; the missing one last.
  FormatSettings.ShortDateFormat = "mmmm yyyy";
  EXPECT_EQ(StrToDateTime("03/2026/05").Val, Stamp(2026, 3, 5).Val);
}

TEST(StrToDateTime, RefusesWhatIsNoDateTimeNamingTheText) {
  // The empty text, a date cut short and an hour alone are among the
  // prefixes below.
  const char* const bad[] = {"   ",
                             "29/02/2023",
                             "00/01/2026",
                             "1/13/2026",
                             "1/1/0000",
                             "05-03-2026",
                             "05//03/2026",
                             "-5/03/2026",
                             "005/03/2026",
                             "05/03/20266",
                             "5 / 3 / 2026",
                             "05/03/2026x",
                             ":30",
                             "12",
                             "05/03/2026 24:00",
                             "05/03/2026 08:60",
                             "05/03/2026 008:07",
                             "05/03/2026T08:07",
                             "05/03/2026 08:07 09:00",
                             "05/03/2026 08:07:09.1234"};
  for (const char* text : bad) {
    EXPECT_EQ(ErrorOf<EConvertError>([text] { StrToDateTime(text); }),
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
  EXPECT_EQ(StrToDateTime(full.substr(0, 21)).Val, Stamp(2026, 3, 5, 8, 7, 9).Val);  // ".0"
  EXPECT_EQ(StrToDateTime(full.substr(0, 8)).Val, Stamp(2020, 3, 5).Val);            // "20"

  // The date and the time alone have messages of their own.
  EXPECT_EQ(StrToDate(" 05/03/2026 ").Val, Stamp(2026, 3, 5).Val);
  EXPECT_EQ(StrToTime(" 08:07:09 ").Val, EncodeTime(8, 7, 9, 0).Val);
  EXPECT_EQ(ErrorOf<EConvertError>([] { StrToDate("05/03/2026 08:07"); }),
            "'05/03/2026 08:07' is not a valid date");
  EXPECT_EQ(ErrorOf<EConvertError>([] { StrToDate("08:07"); }), "'08:07' is not a valid date");
  EXPECT_EQ(ErrorOf<EConvertError>([] { StrToTime("05/03/2026"); }),
            "'05/03/2026' is not a valid time");
}

}  // namespace
