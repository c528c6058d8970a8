#include "cuadrante/runtime/sysutils.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/formatsettings.h"

namespace {

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

// The message of the EConvertError that `convert` raises, or "" if it raises none.
template <typename F>
std::string ConvertErrorOf(F convert) {
  try {
    convert();
  } catch (const EConvertError& e) {
    return e.Message;
  }
  return "";
}

TEST(SysUtils, IntegersReadSignedDecimalsWithinTheirWidth) {
  struct Case {
    const char* text;
    int64_t value;
  };
  const Case good[] = {{"-0", 0},
                       {"+12", 12},
                       {"-12", -12},
                       {"  \t42", 42},
                       {"007", 7},
                       {"9223372036854775807", INT64_MAX},
                       {"-9223372036854775808", INT64_MIN}};
  for (const Case& c : good) EXPECT_EQ(StrToInt64(c.text), c.value) << c.text;
  for (const char* bad :
       {"", " ", "+", "-", "- 5", "--5", "+-5", "12x", "x12", "1 2", "42 ", "1.5", "0x10",
        "9223372036854775808", "-9223372036854775809", "99999999999999999999999"}) {
    EXPECT_THROW(StrToInt64(bad), EConvertError) << '"' << bad << '"';
  }
  EXPECT_EQ(ConvertErrorOf([] { StrToInt64("12x"); }), "'12x' is not a valid integer value");
  EXPECT_EQ(ConvertErrorOf([] { StrToInt64(""); }), "'' is not a valid integer value");

  EXPECT_EQ(ToInt("2147483647"), INT_MAX);
  EXPECT_EQ(ToInt("-2147483648"), INT_MIN);
  EXPECT_EQ(StrToInt(" -17"), -17);
  for (const char* wide : {"2147483648", "-2147483649", "4294967298" /* would wrap to 2 */}) {
    EXPECT_THROW(ToInt(wide), EConvertError) << wide;
    EXPECT_EQ(ToIntDef(wide, 7), 7) << wide;
  }
  EXPECT_EQ(ConvertErrorOf([] { ToInt("12x"); }), "'12x' is not a valid integer value");
  EXPECT_EQ(ToIntDef("-5", 7), -5);
  EXPECT_EQ(StrToIntDef("12x", 7), 7);
  EXPECT_EQ(ToIntDef("", 7), 7);
}

TEST(SysUtils, StrToFloatFollowsTheProcessSeparator) {
  {
    SeparatorGuard point('.');
    struct Case {
      std::string text;
      double value;
    };
    const Case good[] = {{"-2.25", -2.25},
                         {"+2", 2.0},
                         {" 3.5 ", 3.5},
                         {".5", 0.5},
                         {"5.", 5.0},
                         {"1.5E-2", 0.015},
                         {"2e+2", 200.0},
                         // No limit on the length of a number.
                         {"0." + std::string(300, '0') + "1e301", 1.0},
                         {std::string(300, '0') + "7", 7.0}};
    for (const Case& c : good) EXPECT_EQ(StrToFloat(c.text), c.value) << c.text;
    EXPECT_EQ(ToDouble("0.1"), 0.1);
    for (const char* bad : {"", " ", ".", "-", "1,5", "1.2.3", "abc", "1e", "1e+", "e5", "--1",
                            "1e5.5", "inf", "nan", "1e999", "0x1p3", "1 5"}) {
      EXPECT_THROW(StrToFloat(bad), EConvertError) << '"' << bad << '"';
    }
    EXPECT_EQ(ConvertErrorOf([] { StrToFloat("1,5"); }),
              "'1,5' is not a valid floating point value");
    double value = 9;
    EXPECT_FALSE(TryStrToFloat("x", value));
    EXPECT_EQ(value, 9.0);
    EXPECT_TRUE(TryStrToFloat("-4.5", value));
    EXPECT_EQ(value, -4.5);
  }
  SeparatorGuard comma(',');
  EXPECT_EQ(StrToFloat("-0,25"), -0.25);
  EXPECT_THROW(StrToFloat("1.5"), EConvertError);
}

TEST(SysUtils, FloatToStrFFixedRoundsTheDecimalsAsTheyRead) {
  SeparatorGuard point('.');
  struct Case {
    double value;
    const char* text;
  };
  const Case cases[] = {{0, "0.00"},
                        {-1.5, "-1.50"},
                        {123456.789, "123456.79"},
                        {0.125, "0.13"},    // an exact binary half still rounds up
                        {-0.125, "-0.13"},  // away from zero
                        {1.005, "1.01"},    // stored just below 1.005, read as 1.005
                        {2.675, "2.68"},
                        {9.995, "10.00"},
                        {99.999, "100.00"},
                        {0.004, "0.00"},
                        {-0.004, "0.00"},  // never "-0.00"
                        {-0.005, "-0.01"},
                        {1e-20, "0.00"},
                        {1.0 / 3.0, "0.33"},
                        {1234567890.123, "1234567890.00"},  // ten significant digits at most
                        {123456789.126, "123456789.10"},
                        {9999999999.0, "9999999999.00"},
                        // More integer digits than the precision: the general form.
                        {12345678901.0, "1.23456789E+10"},
                        {-1e15, "-1E+15"},
                        {9999999999.5, "1E+10"}};  // rounds past ten digits
  for (const Case& c : cases) {
    EXPECT_EQ(FloatToStrF(c.value, ffFixed, 10, 2), c.text) << c.value;
  }
  EXPECT_EQ(FloatToStrF(2.5, ffFixed, 10, 0), "3");
  EXPECT_EQ(FloatToStrF(1234567.5, ffNumber, 10, 2), "1,234,567.50");

  SeparatorGuard comma(',');
  EXPECT_EQ(FloatToStrF(-0.125, ffFixed, 10, 2), "-0,13");
}

TEST(SysUtils, CaseChangesComparisonsAndTrimKnowAccentedLetters) {
  EXPECT_EQ(LowerCase("ÑANDÚ Ü DÍA"), "ñandú ü día");
  EXPECT_EQ(UpperCase("reducción día"), "REDUCCIÓN DÍA");
  EXPECT_EQ(LowerCase("A\xFFZ-1"), "a\xFFz-1");  // bytes that are not UTF-8 pass untouched

  EXPECT_EQ(AnsiCompareText("DÍA", "día"), 0);
  EXPECT_TRUE(SameText("Reducción Jornada", "REDUCCIÓN JORNADA"));
  EXPECT_FALSE(SameText("día", "dia"));
  EXPECT_FALSE(SameText("\xFF", "\xFE"));
  EXPECT_LT(AnsiCompareText("a", "B"), 0);
  EXPECT_GT(AnsiCompareText("B", "a"), 0);
  EXPECT_LT(AnsiCompareText("ab", "abc"), 0);
  EXPECT_GT(AnsiCompareText("abc", "AB"), 0);

  EXPECT_EQ(Trim("  a b \t\r\n"), "a b");
  EXPECT_EQ(Trim("\x01x\x1F"), "x");
  EXPECT_EQ(Trim(" \t "), "");
  EXPECT_EQ(Trim(""), "");
  EXPECT_EQ(Trim("ñ"), "ñ");  // UTF-8 bytes are above the blank
}

}  // namespace
