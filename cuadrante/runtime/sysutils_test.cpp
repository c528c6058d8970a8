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

TEST(SysUtils, StrToInt64ReadsSignedDecimalsWithLeadingBlanks) {
  EXPECT_EQ(StrToInt64("0"), 0);
  EXPECT_EQ(StrToInt64("-0"), 0);
  EXPECT_EQ(StrToInt64("+12"), 12);
  EXPECT_EQ(StrToInt64("-12"), -12);
  EXPECT_EQ(StrToInt64("  \t42"), 42);
  EXPECT_EQ(StrToInt64("007"), 7);
  EXPECT_EQ(StrToInt64("86400"), 86400);
  EXPECT_EQ(StrToInt64("9223372036854775807"), INT64_MAX);
  EXPECT_EQ(StrToInt64("-9223372036854775808"), INT64_MIN);

  for (const char* bad :
       {"", " ", "+", "-", "- 5", "--5", "+-5", "12x", "x12", "1 2", "42 ", "1.5", "0x10",
        "9223372036854775808", "-9223372036854775809", "99999999999999999999999"}) {
    EXPECT_THROW(StrToInt64(bad), EConvertError) << '"' << bad << '"';
  }
  EXPECT_EQ(ConvertErrorOf([] { StrToInt64("12x"); }), "'12x' is not a valid integer value");
  EXPECT_EQ(ConvertErrorOf([] { StrToInt64(""); }), "'' is not a valid integer value");
}

TEST(SysUtils, ToIntKeepsToThe32BitRange) {
  EXPECT_EQ(ToInt("2147483647"), INT_MAX);
  EXPECT_EQ(ToInt("-2147483648"), INT_MIN);
  EXPECT_EQ(ToInt(" -17"), -17);
  EXPECT_THROW(ToInt("2147483648"), EConvertError);
  EXPECT_THROW(ToInt("-2147483649"), EConvertError);
  EXPECT_THROW(ToInt("4294967298"), EConvertError);  // would wrap to 2
  EXPECT_EQ(ConvertErrorOf([] { ToInt("12x"); }), "'12x' is not a valid integer value");
  EXPECT_EQ(StrToInt("+3"), 3);

  EXPECT_EQ(ToIntDef("-5", 7), -5);
  EXPECT_EQ(ToIntDef("abc", 7), 7);
  EXPECT_EQ(ToIntDef("", 7), 7);
  EXPECT_EQ(ToIntDef("2147483648", 7), 7);
  EXPECT_EQ(ToIntDef("12x", 7), 7);
  EXPECT_EQ(StrToIntDef("12", 7), 12);
}

TEST(SysUtils, StrToFloatFollowsTheProcessSeparator) {
  {
    SeparatorGuard point('.');
    EXPECT_EQ(StrToFloat("1.5"), 1.5);
    EXPECT_EQ(StrToFloat("-2.25"), -2.25);
    EXPECT_EQ(StrToFloat("+2"), 2.0);
    EXPECT_EQ(StrToFloat(" 3.5 "), 3.5);
    EXPECT_EQ(StrToFloat(".5"), 0.5);
    EXPECT_EQ(StrToFloat("5."), 5.0);
    EXPECT_EQ(StrToFloat("1e3"), 1000.0);
    EXPECT_EQ(StrToFloat("1.5E-2"), 0.015);
    EXPECT_EQ(StrToFloat("2e+2"), 200.0);
    EXPECT_EQ(ToDouble("0.1"), 0.1);
    // No limit on the length of a number.
    EXPECT_EQ(StrToFloat("0." + std::string(300, '0') + "1e301"), 1.0);
    EXPECT_EQ(StrToFloat(std::string(300, '0') + "7"), 7.0);
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
  EXPECT_EQ(StrToFloat("1,5"), 1.5);
  EXPECT_EQ(StrToFloat("-0,25"), -0.25);
  EXPECT_THROW(StrToFloat("1.5"), EConvertError);
}

TEST(SysUtils, FloatToStrFFixedRoundsTheDecimalsAsTheyRead) {
  SeparatorGuard point('.');
  struct Case {
    double value;
    const char* text;
  };
  const Case cases[] = {
      {0, "0.00"},
      {1.5, "1.50"},
      {-1.5, "-1.50"},
      {90, "90.00"},
      {123456.789, "123456.79"},
      {0.125, "0.13"},    // an exact binary half still rounds up
      {-0.125, "-0.13"},  // away from zero
      {1.005, "1.01"},    // stored just below 1.005, read as 1.005
      {2.675, "2.68"},
      {0.995, "1.00"},
      {9.995, "10.00"},
      {99.999, "100.00"},
      {0.004, "0.00"},
      {-0.004, "0.00"},  // never "-0.00"
      {-0.005, "-0.01"},
      {1e-20, "0.00"},
      {1.0 / 3.0, "0.33"},
      {1234567890.123, "1234567890.00"},  // ten significant digits at most
      {123456789.126, "123456789.10"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(FloatToStrF(c.value, ffFixed, 10, 2), c.text) << c.value;
  }
  // More integer digits than the precision: the general form.
  EXPECT_EQ(FloatToStrF(12345678901.0, ffFixed, 10, 2), "1.23456789E+10");
  EXPECT_EQ(FloatToStrF(-1e15, ffFixed, 10, 2), "-1E+15");
  EXPECT_EQ(FloatToStrF(9999999999.5, ffFixed, 10, 2), "1E+10");  // rounds past ten digits
  EXPECT_EQ(FloatToStrF(9999999999.0, ffFixed, 10, 2), "9999999999.00");
  EXPECT_EQ(FloatToStrF(2.5, ffFixed, 10, 0), "3");
  EXPECT_EQ(FloatToStrF(1234567.5, ffNumber, 10, 2), "1,234,567.50");

  SeparatorGuard comma(',');
  EXPECT_EQ(FloatToStrF(1.5, ffFixed, 10, 2), "1,50");
  EXPECT_EQ(FloatToStrF(-0.125, ffFixed, 10, 2), "-0,13");
}

TEST(SysUtils, CaseChangesAndComparisonsKnowAccentedLetters) {
  EXPECT_EQ(LowerCase("DÍA"), "día");
  EXPECT_EQ(UpperCase("día"), "DÍA");
  EXPECT_EQ(LowerCase("ÑANDÚ Ü"), "ñandú ü");
  EXPECT_EQ(UpperCase("reducción jornada"), "REDUCCIÓN JORNADA");
  EXPECT_EQ(LowerCase("ABC-123"), "abc-123");
  EXPECT_EQ(LowerCase(""), "");
  // Bytes that are not UTF-8 pass through untouched.
  EXPECT_EQ(LowerCase("A\xFFZ"), "a\xFFz");

  EXPECT_EQ(AnsiCompareText("DÍA", "día"), 0);
  EXPECT_TRUE(SameText("Reducción Jornada", "REDUCCIÓN JORNADA"));
  EXPECT_FALSE(SameText("día", "dia"));
  EXPECT_FALSE(SameText("ab", "abc"));
  EXPECT_LT(AnsiCompareText("a", "B"), 0);
  EXPECT_GT(AnsiCompareText("B", "a"), 0);
  EXPECT_LT(AnsiCompareText("ab", "abc"), 0);
  EXPECT_GT(AnsiCompareText("abc", "AB"), 0);
  EXPECT_EQ(AnsiCompareText("", ""), 0);
  EXPECT_FALSE(SameText("\xFF", "\xFE"));
}

TEST(SysUtils, TrimDropsBlanksAndControlsAtBothEnds) {
  EXPECT_EQ(Trim("  a b \t\r\n"), "a b");
  EXPECT_EQ(Trim("\x01x\x1F"), "x");
  EXPECT_EQ(Trim("  día  "), "día");
  EXPECT_EQ(Trim(""), "");
  EXPECT_EQ(Trim(" \t "), "");
  EXPECT_EQ(Trim("ñ"), "ñ");  // UTF-8 bytes are above the blank
}

}  // namespace
