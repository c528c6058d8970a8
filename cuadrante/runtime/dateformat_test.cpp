#include "cuadrante/runtime/dateformat.h"

#include <gtest/gtest.h>

#include <limits>
#include <set>
#include <string>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/formatsettings.h"

namespace {

// Restores the process-wide settings that a test changes.
class SettingsGuard {
 public:
  SettingsGuard() : saved_(FormatSettings) {}
  ~SettingsGuard() { FormatSettings = saved_; }
  SettingsGuard(const SettingsGuard&) = delete;
  SettingsGuard& operator=(const SettingsGuard&) = delete;

 private:
  TFormatSettings saved_;
};

TDateTime At(uint16_t y, uint16_t m, uint16_t d, uint16_t h = 0, uint16_t n = 0, uint16_t s = 0,
             uint16_t z = 0) {
  return EncodeDateTime(y, m, d, h, n, s, z);
}

// Thursday 5 March 2026 at 08:07:09.045.
const TDateTime kThu = At(2026, 3, 5, 8, 7, 9, 45);

TEST(FormatDateTime, WritesEveryFieldOfThePattern) {
  EXPECT_EQ(FormatDateTime("d/m/yy", kThu), "5/3/26");
  EXPECT_EQ(FormatDateTime("dd/mm/yyyy", kThu), "05/03/2026");
  EXPECT_EQ(FormatDateTime("DD/MM/YYYY HH:NN:SS", kThu), "05/03/2026 08:07:09");
  EXPECT_EQ(FormatDateTime("ddd dddd", kThu), "jue jueves");
  EXPECT_EQ(FormatDateTime("mmm mmmm", kThu), "mar marzo");
  EXPECT_EQ(FormatDateTime("h:n:s", kThu), "8:7:9");
  EXPECT_EQ(FormatDateTime("hh:nn:ss", kThu), "08:07:09");
  EXPECT_EQ(FormatDateTime("z zzz", kThu), "45 045");
  EXPECT_EQ(FormatDateTime("s.zzz", At(2026, 3, 5, 0, 0, 7, 5)), "7.005");
  EXPECT_EQ(FormatDateTime("y yyy", kThu), "26 2026");
  // Years are padded: a two-digit year keeps its zero, year 5 shows four digits.
  EXPECT_EQ(FormatDateTime("yy", At(2005, 1, 1)), "05");
  EXPECT_EQ(FormatDateTime("yyyy", At(5, 1, 1)), "0005");
  EXPECT_EQ(FormatDateTime("yy", At(2000, 1, 1)), "00");
  EXPECT_EQ(FormatDateTime("hh:nn", At(2026, 3, 5, 23, 59)), "23:59");
  // Day names start on Sunday; the month names on January; UTF-8 as stored.
  EXPECT_EQ(FormatDateTime("dddd ddd", At(2026, 11, 29)), "domingo dom");
  EXPECT_EQ(FormatDateTime("dddd ddd", At(2026, 11, 28)), "sábado sáb");
  EXPECT_EQ(FormatDateTime("dddd", At(2026, 11, 23)), "lunes");
  EXPECT_EQ(FormatDateTime("mmmm mmm", At(2026, 1, 31)), "enero ene");
  EXPECT_EQ(FormatDateTime("mmmm mmm", At(2026, 12, 1)), "diciembre dic");
  EXPECT_EQ(FormatDateTime("mmmmmm", At(2026, 9, 1)), "septiembre");
  EXPECT_EQ(FormatDateTime(" mmmm yyyy", At(2003, 3, 3)), " marzo 2003");
  EXPECT_EQ(FormatDateTime("ddd d mmmm", At(2003, 3, 3)), "lun 3 marzo");
  EXPECT_EQ(FormatDateTime(" mmm - ", At(2003, 1, 1)) + FormatDateTime("mmm yyyy", At(2003, 3, 31)),
            " ene - mar 2003");
}

TEST(FormatDateTime, MonthAfterAnHourIsTheMinute) {
  EXPECT_EQ(FormatDateTime("hh:mm", kThu), "08:07");
  EXPECT_EQ(FormatDateTime("h:m", kThu), "8:7");
  EXPECT_EQ(FormatDateTime("dd/mm/yyyy hh:mm", kThu), "05/03/2026 08:07");
  EXPECT_EQ(FormatDateTime("dd/mm/yy hh:mm - ", kThu), "05/03/26 08:07 - ");
  EXPECT_EQ(FormatDateTime("mm/dd hh:mm", kThu), "03/05 08:07");
  // Blanks, digits and quoted text between them do not break the link...
  EXPECT_EQ(FormatDateTime("hh mm", kThu), "08 07");
  EXPECT_EQ(FormatDateTime("h'h'mm", kThu), "8h07");
  EXPECT_EQ(FormatDateTime("hh:mmmm", kThu), "08:07");
  // ...another letter does.
  EXPECT_EQ(FormatDateTime("hh dd mm", kThu), "08 05 03");
  EXPECT_EQ(FormatDateTime("hh:mm:ss mm", kThu), "08:07:09 03");
  EXPECT_EQ(FormatDateTime("mm hh", kThu), "03 08");
}

TEST(FormatDateTime, SeparatorsComeFromTheSettings) {
  SettingsGuard guard;
  FormatSettings.DateSeparator = '-';
  FormatSettings.TimeSeparator = '.';
  EXPECT_EQ(FormatDateTime("dd/mm/yyyy hh:nn", kThu), "05-03-2026 08.07");
  EXPECT_EQ(DateTimeToStr(kThu), "05-03-2026 08.07.09");
  FormatSettings.LongMonthNames[2] = "March";
  FormatSettings.ShortDayNames[4] = "Thu";
  EXPECT_EQ(FormatDateTime("ddd mmmm", kThu), "Thu March");
}

TEST(FormatDateTime, QuotedAndOtherTextIsCopied) {
  EXPECT_EQ(FormatDateTime("'dd' dd", kThu), "dd 05");
  EXPECT_EQ(FormatDateTime("\"hh:mm\" hh", kThu), "hh:mm 08");
  EXPECT_EQ(FormatDateTime("\"it's\" d", kThu), "it's 5");
  EXPECT_EQ(FormatDateTime("dd 'abc", kThu), "05 abc");  // unclosed
  EXPECT_EQ(FormatDateTime("''", kThu), "");
  EXPECT_EQ(FormatDateTime("dddd d 'de' mmmm 'de' yyyy", kThu), "jueves 5 de marzo de 2026");
  EXPECT_EQ(FormatDateTime("[dd] - x!", kThu), "[05] - x!");
  EXPECT_EQ(FormatDateTime("ñ dd", kThu), "ñ 05");
  EXPECT_EQ(FormatDateTime("'/' / ':' :", kThu), "/ / : :");
}

TEST(FormatDateTime, NamedFormatsExpandOneLevel) {
  EXPECT_EQ(FormatDateTime("c", At(2026, 3, 5)), "05/03/2026");
  EXPECT_EQ(FormatDateTime("c", kThu), "05/03/2026 08:07:09");
  EXPECT_EQ(FormatDateTime("t", kThu), "08:07");
  EXPECT_EQ(FormatDateTime("tt", kThu), "08:07:09");
  EXPECT_EQ(FormatDateTime("ddddd", kThu), "05/03/2026");
  EXPECT_EQ(FormatDateTime("dddddd", kThu), "jueves, 5 de marzo de 2026");
  EXPECT_EQ(FormatDateTime("", kThu), "05/03/2026 08:07:09");

  SettingsGuard guard;
  // Settings that name themselves must not recurse without end.
  FormatSettings.ShortDateFormat = "ddddd|c";
  EXPECT_EQ(DateToStr(kThu), "|");
  FormatSettings.ShortDateFormat = "yyyy-mm-dd";
  FormatSettings.LongTimeFormat = "hh'h'nn";
  EXPECT_EQ(DateTimeToStr(kThu), "2026-03-05 08h07");
}

TEST(DateTimeToStr, LeavesOutTheTimeOnlyAtExactMidnight) {
  EXPECT_EQ(DateTimeToStr(At(2026, 3, 5)), "05/03/2026");
  EXPECT_EQ(DateTimeToStr(At(2026, 3, 5, 0, 0, 1)), "05/03/2026 00:00:01");
  EXPECT_EQ(DateTimeToStr(At(2026, 3, 5, 0, 0, 0, 400)), "05/03/2026 00:00:00");
  EXPECT_EQ(DateTimeToStr(At(1899, 12, 31)), "31/12/1899");
  EXPECT_EQ(DateToStr(kThu), "05/03/2026");
  EXPECT_EQ(DateString(kThu), "05/03/2026");
  EXPECT_EQ(TimeToStr(kThu), "08:07:09");
  EXPECT_EQ(TimeToStr(At(2026, 3, 5)), "00:00:00");
  EXPECT_EQ(TimeToStr(TDateTime(0.5)), "12:00:00");
  // A count that is no number reads as the origin rather than failing.
  EXPECT_EQ(DateTimeToStr(TDateTime(std::numeric_limits<double>::quiet_NaN())), "30/12/1899");
  // Rounding to the millisecond carries into the next day's date.
  EXPECT_EQ(DateTimeToStr(TDateTime(At(2026, 3, 5, 23, 59, 59, 999).Val + 0.6 / MSecsPerDay)),
            "06/03/2026");
}

TEST(StrToDateTime, ReadsADateWithAnOptionalTime) {
  EXPECT_EQ(StrToDateTime("05/03/2026").Val, At(2026, 3, 5).Val);
  EXPECT_EQ(StrToDateTime("5/3/2026 8:07").Val, At(2026, 3, 5, 8, 7).Val);
  EXPECT_EQ(StrToDateTime("05/03/2026 08:07:09").Val, At(2026, 3, 5, 8, 7, 9).Val);
  EXPECT_EQ(StrToDateTime("05/03/2026 08:07:09.5").Val, At(2026, 3, 5, 8, 7, 9, 500).Val);
  EXPECT_EQ(StrToDateTime("05/03/2026 08:07:09.045").Val, kThu.Val);
  EXPECT_EQ(StrToDateTime("05/03/2026 08:07:09.04").Val, At(2026, 3, 5, 8, 7, 9, 40).Val);
  EXPECT_EQ(StrToDateTime(" \t05/03/2026   08:07  ").Val, At(2026, 3, 5, 8, 7).Val);
  EXPECT_EQ(StrToDateTime("31/12/1899").Val, 1.0);
  EXPECT_EQ(StrToDateTime("29/02/2024 23:59:59").Val, At(2024, 2, 29, 23, 59, 59).Val);
  // A time alone is a time on day 0.
  EXPECT_EQ(StrToDateTime("12:00").Val, 0.5);
  EXPECT_EQ(StrToDateTime("08:07:09").Val, EncodeTime(8, 7, 9, 0).Val);
  // Before the origin the time still counts forward from midnight.
  EXPECT_EQ(StrToDateTime("29/12/1899 06:00").Val, -1.25);

  // Two-digit years do not depend on today's date.
  EXPECT_EQ(YearOf(StrToDateTime("1/1/49")), 2049);
  EXPECT_EQ(YearOf(StrToDateTime("1/1/50")), 1950);
  EXPECT_EQ(YearOf(StrToDateTime("1/1/99")), 1999);
  EXPECT_EQ(YearOf(StrToDateTime("1/1/00")), 2000);
  EXPECT_EQ(YearOf(StrToDateTime("1/1/5")), 2005);
  EXPECT_EQ(YearOf(StrToDateTime("1/1/0099")), 99);
  EXPECT_EQ(YearOf(StrToDateTime("1/1/999")), 999);
  EXPECT_EQ(YearOf(StrToDateTime("31/12/9999")), 9999);

  TDateTime value(3.0);
  EXPECT_TRUE(TryStrToDateTime("05/03/2026 08:07", value));
  EXPECT_EQ(value.Val, At(2026, 3, 5, 8, 7).Val);
}

TEST(StrToDateTime, ReadsBackWhatDateTimeToStrWrites) {
  for (const TDateTime t :
       {At(2026, 3, 5), At(2026, 3, 5, 8, 7, 9), At(1900, 1, 1, 23, 59, 59), At(1, 1, 1),
        At(9999, 12, 31, 23, 59, 59), At(2024, 2, 29, 0, 0, 1), At(1899, 12, 31, 12)}) {
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
  EXPECT_EQ(StrToDateTime("2026.03.05 08:07").Val, At(2026, 3, 5, 8, 7).Val);
  EXPECT_EQ(StrToDateTime("26.3.5").Val, At(2026, 3, 5).Val);
  // Letters inside quotes are text, not fields.
  FormatSettings.ShortDateFormat = "'day' yy/mm/dd";
  FormatSettings.DateSeparator = '/';
  EXPECT_EQ(StrToDateTime("26/03/05").Val, At(2026, 3, 5).Val);
  // A format that lacks a field still reads three numbers; the missing one last.
  FormatSettings.ShortDateFormat = "mmmm yyyy";
  EXPECT_EQ(StrToDateTime("03/2026/05").Val, At(2026, 3, 5).Val);
}

TEST(StrToDateTime, RefusesWhatIsNoDateTime) {
  const char* const bad[] = {
      "",
      "   ",
      "x",
      "05/03",
      "05/03/",
      "05/03/2026x",
      "05/03/2026 x",
      "05/03/2026 8",
      "05/03/2026 08:",
      "05/03/2026 08:07:",
      "05/03/2026 08:07:09.",
      "05/03/2026 08:07:09.1234",
      "05/03/2026 24:00",
      "05/03/2026 08:60",
      "05/03/2026 08:07:60",
      "05/03/2026 008:07",
      "05/03/2026 08:07 x",
      "05/03/2026 08:07 09:00",
      "05/03/2026T08:07",
      "29/02/2023",
      "31/04/2026",
      "00/01/2026",
      "1/13/2026",
      "1/0/2026",
      "1/1/0000",
      "05/03/20266",
      "005/03/2026",
      "05-03-2026",
      "-5/03/2026",
      "+5/03/2026",
      "05//03/2026",
      "5 / 3 / 2026",
      "12",
      "12:",
      ":30",
      "12:30:",
      "24:00",
  };
  for (const char* text : bad) {
    try {
      StrToDateTime(text);
      ADD_FAILURE() << "accepted '" << text << "'";
    } catch (const EConvertError& e) {
      EXPECT_EQ(e.Message, "'" + std::string(text) + "' is not a valid date and time");
    }
    TDateTime value(7.0);
    EXPECT_FALSE(TryStrToDateTime(text, value)) << text;
    EXPECT_EQ(value.Val, 7.0) << text;
  }
  // Bytes after a zero byte are still part of the text.
  EXPECT_THROW(StrToDateTime(std::string_view("05/03/2026\0x", 12)), EConvertError);
}

TEST(StrToDateTime, EveryPrefixOfATextEitherParsesOrFails) {
  const std::string full = "05/03/2026 08:07:09.045";
  // The prefixes that are complete texts, by their length.
  const std::set<size_t> complete = {7, 8, 9, 10, 11, 15, 16, 18, 19, 21, 22, 23};
  for (size_t length = 0; length <= full.size(); ++length) {
    const std::string prefix = full.substr(0, length);
    TDateTime value;
    EXPECT_EQ(TryStrToDateTime(prefix, value), complete.count(length) == 1) << "'" << prefix << "'";
  }
  EXPECT_EQ(StrToDateTime(full.substr(0, 21)).Val, At(2026, 3, 5, 8, 7, 9).Val);  // ".0"
  EXPECT_EQ(StrToDateTime(full.substr(0, 16)).Val, At(2026, 3, 5, 8, 7).Val);     // "08:07"
  EXPECT_EQ(StrToDateTime(full.substr(0, 15)).Val, At(2026, 3, 5, 8, 0).Val);     // "08:0"
  EXPECT_EQ(StrToDateTime(full.substr(0, 8)).Val, At(2020, 3, 5).Val);            // "20"
}

TEST(StrToDateTime, DateAndTimeAloneHaveTheirOwnMessages) {
  EXPECT_EQ(StrToDate(" 05/03/2026 ").Val, At(2026, 3, 5).Val);
  EXPECT_EQ(StrToTime(" 08:07:09 ").Val, EncodeTime(8, 7, 9, 0).Val);
  try {
    StrToDate("05/03/2026 08:07");
    ADD_FAILURE() << "a date with a time is no date";
  } catch (const EConvertError& e) {
    EXPECT_EQ(e.Message, "'05/03/2026 08:07' is not a valid date");
  }
  try {
    StrToTime("05/03/2026");
    ADD_FAILURE() << "a date is no time";
  } catch (const EConvertError& e) {
    EXPECT_EQ(e.Message, "'05/03/2026' is not a valid time");
  }
  EXPECT_THROW(StrToDate("08:07"), EConvertError);
  EXPECT_THROW(StrToTime("25:00"), EConvertError);
}

}  // namespace
