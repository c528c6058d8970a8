#include "cuadrante/text/rutinasnumbers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/formatsettings.h"

namespace {

// Sets the process separator for one test and puts the old one back.
class SeparatorGuard {
 public:
  explicit SeparatorGuard(char separator) : saved_(FormatSettings.DecimalSeparator) {
    FormatSettings.DecimalSeparator = separator;
  }
  ~SeparatorGuard() { FormatSettings.DecimalSeparator = saved_; }
  SeparatorGuard(const SeparatorGuard&) = delete;
  SeparatorGuard& operator=(const SeparatorGuard&) = delete;

 private:
  char saved_;
};

AnsiString Seconds(int64_t seconds, TTimeFormat form = tfComposed) {
  return usrFormatTime(seconds, form);
}

TEST(StrToDoubleDef, UsesTheDefaultOnlyForTextWithoutAPoint) {
  SeparatorGuard point('.');
  EXPECT_EQ(StrToDoubleDef("1.5", -7), 1.5);
  EXPECT_EQ(StrToDoubleDef(" -2.25 ", -7), -2.25);
  EXPECT_EQ(StrToDoubleDef("0", -7), 0.0);
  EXPECT_EQ(StrToDoubleDef("1e3", -7), 1000.0);
  EXPECT_EQ(StrToDoubleDef("", -7), -7.0);
  EXPECT_EQ(StrToDoubleDef("   ", -7), -7.0);
  EXPECT_EQ(StrToDoubleDef("palabra", -7), -7.0);
  EXPECT_EQ(StrToDoubleDef("1,5", -7), -7.0);  // a comma is no number under "."
  EXPECT_TRUE(std::isnan(StrToDoubleDef("x", std::numeric_limits<double>::quiet_NaN())));
  // A point is present, so the text is read again as "1,2x", which fails too:
  // the caller hears of it instead of getting the default.
  EXPECT_THROW(StrToDoubleDef("1.2x", -7), EConvertError);
  EXPECT_THROW(StrToDoubleDef(".", -7), EConvertError);
  try {
    StrToDoubleDef("1.2x", -7);
  } catch (const Exception& e) {
    EXPECT_EQ(e.Message, "'1,2x' is not a valid floating point value");
  }
}

TEST(StrToDoubleDef, ReadsAPointAsTheCommaOfTheProcess) {
  SeparatorGuard comma(',');
  EXPECT_EQ(StrToDoubleDef("1,5", -7), 1.5);
  EXPECT_EQ(StrToDoubleDef("1.5", -7), 1.5);
  EXPECT_EQ(StrToDoubleDef("-0.25", -7), -0.25);
  EXPECT_EQ(StrToDoubleDef("abc", -7), -7.0);
  // Only the first point becomes a comma.
  EXPECT_THROW(StrToDoubleDef("1.2.3", -7), EConvertError);
  EXPECT_THROW(StrToDoubleDef("1.x", -7), EConvertError);
}

TEST(UsrFormatTime, FixedFormsWriteTwoDecimalsAndTheUnit) {
  SeparatorGuard point('.');
  EXPECT_EQ(usrFormatTime(84.0, tfWeeks), "0.50 w");
  EXPECT_EQ(usrFormatTime(36.0, tfDays), "1.50 d");
  EXPECT_EQ(usrFormatTime(1.5, tfHours), "1.50 h");
  EXPECT_EQ(usrFormatTime(1.5, tfMinutes), "90.00 m");
  EXPECT_EQ(usrFormatTime(1.5, tfSeconds), "5400.00 s");
  EXPECT_EQ(usrFormatTime(0.0, tfHours), "0.00 h");
  EXPECT_EQ(usrFormatTime(-1.5, tfHours), "-1.50 h");
  EXPECT_EQ(usrFormatTime(0.125, tfHours), "0.13 h");  // as it reads, half up
  EXPECT_EQ(usrFormatTime(1.0 / 3.0, tfHours), "0.33 h");
  EXPECT_EQ(usrFormatTime(1.0 / 3600, tfSeconds), "1.00 s");
  EXPECT_EQ(Seconds(5400, tfMinutes), "90.00 m");
  EXPECT_EQ(Seconds(45, tfHours), "0.01 h");
  EXPECT_EQ(Seconds(-86400, tfDays), "-1.00 d");
  EXPECT_EQ(Seconds(604800 * 3, tfWeeks), "3.00 w");

  SeparatorGuard comma(',');
  EXPECT_EQ(usrFormatTime(1.5, tfHours), "1,50 h");
}

TEST(UsrFormatTime, ComposedFormShowsOnlyTheUnitsThatAreNotZero) {
  EXPECT_EQ(usrFormatTime(1.5, tfComposed), "1 h 30 min ");
  EXPECT_EQ(Seconds(90), "1 min 30 sec");
  EXPECT_EQ(Seconds(0), "");
  EXPECT_EQ(usrFormatTime(0.0, tfComposed), "");
  EXPECT_EQ(Seconds(86400), "1 d ");
  EXPECT_EQ(usrFormatTime(24.0, tfComposed), "1 d ");
  EXPECT_EQ(Seconds(86400 + 2 * 3600 + 3 * 60 + 4), "1 d 2 h 3 min 4 sec");
  EXPECT_EQ(Seconds(86400 + 4), "1 d 4 sec");
  EXPECT_EQ(Seconds(3600 + 5), "1 h 5 sec");
  EXPECT_EQ(usrFormatTime(47.9, tfComposed), "1 d 23 h 54 min ");
  EXPECT_EQ(usrFormatTime(48.0, tfComposed), "2 d ");
  EXPECT_EQ(Seconds(400 * 86400), "400 d ");
  EXPECT_EQ(Seconds(10LL * 365 * 86400 + 7200), "3650 d 2 h ");

  // Every form that is not listed is the composed one.
  for (int form : {6, -1, 127, -128}) {
    EXPECT_EQ(usrFormatTime(1.5, static_cast<TTimeFormat>(form)), "1 h 30 min ") << form;
    EXPECT_EQ(Seconds(90, static_cast<TTimeFormat>(form)), "1 min 30 sec") << form;
  }
}

TEST(UsrFormatTime, ComposedFormRoundsMillisecondsThenSecondsToTheMinute) {
  const double second = 1.0 / 3600;
  EXPECT_EQ(usrFormatTime(0.4 * second, tfComposed), "");
  EXPECT_EQ(usrFormatTime(0.5 * second, tfComposed), "");  // 500 ms is not above 500
  EXPECT_EQ(usrFormatTime(0.6 * second, tfComposed), "1 sec");
  EXPECT_EQ(usrFormatTime(29.6 * second, tfComposed), "30 sec");
  EXPECT_EQ(usrFormatTime(30.6 * second, tfComposed), "1 min ");
  EXPECT_EQ(Seconds(30), "30 sec");
  EXPECT_EQ(Seconds(31), "1 min ");
  EXPECT_EQ(Seconds(59), "1 min ");
  EXPECT_EQ(Seconds(3600 + 45), "1 h 1 min ");
  EXPECT_EQ(Seconds(2 * 60 + 30), "2 min 30 sec");
}

TEST(UsrFormatTime, ComposedFormCarriesAMinuteOfRoundingIntoHoursAndDays) {
  EXPECT_EQ(Seconds(59 * 60 + 30), "59 min 30 sec");
  EXPECT_EQ(Seconds(59 * 60 + 31), "1 h ");
  EXPECT_EQ(Seconds(2 * 3600 + 59 * 60 + 45), "3 h ");
  EXPECT_EQ(Seconds(23 * 3600 + 59 * 60), "23 h 59 min ");
  EXPECT_EQ(Seconds(23 * 3600 + 59 * 60 + 30), "23 h 59 min 30 sec");
  EXPECT_EQ(Seconds(23 * 3600 + 59 * 60 + 31), "1 d ");
  EXPECT_EQ(Seconds(86400 + 23 * 3600 + 59 * 60 + 50), "2 d ");
  EXPECT_EQ(Seconds(22 * 3600 + 59 * 60 + 31), "23 h ");
  EXPECT_EQ(usrFormatTime(24.0 - 0.2 / 3600, tfComposed), "1 d ");
  // Within half a millisecond of a day boundary the value is that boundary.
  EXPECT_EQ(usrFormatTime(48.0 - 1e-10, tfComposed), "2 d ");
}

TEST(UsrFormatTime, ComposedFormOfANegativeLengthShowsNoDays) {
  EXPECT_EQ(usrFormatTime(-1.5, tfComposed), "-1 h 30 min ");
  EXPECT_EQ(Seconds(-90), "-1 min 30 sec");
  EXPECT_EQ(usrFormatTime(-49.0, tfComposed), "-49 h ");
  EXPECT_EQ(Seconds(-(23 * 3600 + 59 * 60 + 31)), "-24 h ");
  EXPECT_EQ(usrFormatTime(-0.4 / 3600, tfComposed), "");
  EXPECT_EQ(usrFormatTime(std::numeric_limits<double>::quiet_NaN(), tfComposed), "");
  // Far beyond any schedule: still a text, never undefined arithmetic.
  EXPECT_FALSE(usrFormatTime(1e300, tfComposed).empty());
  EXPECT_FALSE(Seconds(std::numeric_limits<int64_t>::min()).empty());
}

}  // namespace
