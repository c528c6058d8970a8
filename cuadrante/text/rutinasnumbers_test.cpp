#include "cuadrante/text/rutinasnumbers.h"

#include <gtest/gtest.h>

#include <limits>
#include <tuple>
#include <utility>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/formatsettings.h"
#include "cuadrante/testing/testsupport.h"

namespace {

using cuadrante::testing::ErrorOf;
using cuadrante::testing::SettingsGuard;

constexpr double kSecond = 1.0 / 3600;  // in hours

TEST(StrToDoubleDef, UsesTheDefaultOnlyForTextWithoutAPoint) {
  {
    SettingsGuard point('.');
    EXPECT_EQ(StrToDoubleDef(" -2.25 ", -7), -2.25);
    for (const char* text : {"", "palabra", "1,5" /* no number under "." */}) {
      EXPECT_EQ(StrToDoubleDef(text, -7), -7.0) << text;
    }
    // A point is present, so the text is read again as "1,2x", which fails too:
    // the caller hears of it instead of getting the default.
    EXPECT_EQ(ErrorOf<EConvertError>([] { StrToDoubleDef("1.2x", -7); }),
              "'1,2x' is not a valid floating point value");
  }
  // Under "," the second reading turns the first point into the comma.
  SettingsGuard comma(',');
  EXPECT_EQ(StrToDoubleDef("1,5", -7), 1.5);
  EXPECT_EQ(StrToDoubleDef("-0.25", -7), -0.25);
  EXPECT_EQ(StrToDoubleDef("abc", -7), -7.0);
  EXPECT_THROW(StrToDoubleDef("1.2.3", -7), EConvertError);  // only the first point
}

TEST(UsrFormatTime, FixedFormsWriteTwoDecimalsAndTheUnit) {
  SettingsGuard point('.');
  const std::tuple<double, TTimeFormat, const char*> cases[] = {{84.0, tfWeeks, "0.50 w"},
                                                                {36.0, tfDays, "1.50 d"},
                                                                {-1.5, tfHours, "-1.50 h"},
                                                                {1.5, tfMinutes, "90.00 m"},
                                                                {1.5, tfSeconds, "5400.00 s"}};
  for (const auto& [hours, form, text] : cases) EXPECT_EQ(usrFormatTime(hours, form), text);
  // Whole seconds go in as seconds.
  EXPECT_EQ(usrFormatTime(int64_t{-86400}, tfDays), "-1.00 d");
  SettingsGuard comma(',');
  EXPECT_EQ(usrFormatTime(1.5, tfHours), "1,50 h");
}

TEST(UsrFormatTime, ComposedFormShowsTheUnitsThatAreNotZeroRoundedToTheMinute) {
  // Seconds are rounded to the minute from 30 on, and a minute of rounding
  // carries into hours and days.
  const std::pair<int64_t, const char*> cases[] = {
      {86400 + 2 * 3600 + 3 * 60 + 4, "1 d 2 h 3 min 4 sec"},
      {59 * 60 + 31, "1 h "},
      {23 * 3600 + 59 * 60 + 30, "23 h 59 min 30 sec"},
      {23 * 3600 + 59 * 60 + 31, "1 d "},
      // A negative length shows no days.
      {-90, "-1 min 30 sec"},
      {-(23 * 3600 + 59 * 60 + 31), "-24 h "},
  };
  for (const auto& [seconds, text] : cases)
    EXPECT_EQ(usrFormatTime(seconds, tfComposed), text) << seconds;

  // Hours are first rounded to the millisecond; 500 ms is not above 500.
  const std::pair<double, const char*> hours[] = {
      {1.5, "1 h 30 min "},       {0.5 * kSecond, ""},
      {0.6 * kSecond, "1 sec"},   {29.6 * kSecond, "30 sec"},
      {30.6 * kSecond, "1 min "}, {24.0 - 0.2 * kSecond, "1 d "},
      {48.0 - 1e-10, "2 d "},     {-49.0, "-49 h "},
      {-0.4 * kSecond, ""},       {std::numeric_limits<double>::quiet_NaN(), ""}};
  for (const auto& [value, text] : hours)
    EXPECT_EQ(usrFormatTime(value, tfComposed), text) << value;
  // Every form that is not listed is the composed one.
  for (int form : {6, -1}) {
    EXPECT_EQ(usrFormatTime(1.5, static_cast<TTimeFormat>(form)), "1 h 30 min ") << form;
  }
  // Far beyond any schedule: still a text, never undefined arithmetic.
  EXPECT_FALSE(usrFormatTime(1e300, tfComposed).empty());
  EXPECT_FALSE(usrFormatTime(std::numeric_limits<int64_t>::min(), tfComposed).empty());
}

}  // namespace
