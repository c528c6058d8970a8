#include "cuadrante/runtime/sysutils.h"

#include <gtest/gtest.h>
#include <unicode/ustring.h>

#include <climits>
#include <string>
#include <utility>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/formatsettings.h"
#include "cuadrante/testing/testsupport.h"

namespace {

using cuadrante::testing::ErrorOf;
using cuadrante::testing::SettingsGuard;

TEST(SysUtils, IntegersReadSignedDecimalsWithinTheirWidth) {
  const std::pair<const char*, int64_t> good[] = {{"-0", 0},      {"+12", 12}, {"-12", -12},
                                                  {"  \t42", 42}, {"007", 7},  {"86400", 86400}};
  for (const auto& [text, value] : good) EXPECT_EQ(StrToInt64(text), value) << text;
  EXPECT_EQ(StrToInt64("9223372036854775807"), INT64_MAX);
  EXPECT_EQ(StrToInt64("-9223372036854775808"), INT64_MIN);
  for (const char* bad :
       {"", " ", "+", "-", "- 5", "--5", "+-5", "12x", "x12", "1 2", "42 ", "1.5", "0x10",
        "9223372036854775808", "-9223372036854775809", "99999999999999999999999"}) {
    EXPECT_THROW(StrToInt64(bad), EConvertError) << '"' << bad << '"';
  }
  EXPECT_EQ(ErrorOf<EConvertError>([] { StrToInt64("12x"); }),
            "'12x' is not a valid integer value");
  EXPECT_EQ(ErrorOf<EConvertError>([] { StrToInt64(""); }), "'' is not a valid integer value");

  EXPECT_EQ(ToInt("2147483647"), INT_MAX);
  EXPECT_EQ(ToInt("-2147483648"), INT_MIN);
  EXPECT_EQ(StrToInt(" -17"), -17);
  for (const char* wide : {"2147483648", "-2147483649", "4294967298" /* would wrap to 2 */}) {
    EXPECT_THROW(ToInt(wide), EConvertError) << wide;
    EXPECT_EQ(ToIntDef(wide, 7), 7) << wide;
  }
  EXPECT_EQ(ErrorOf<EConvertError>([] { ToInt("12x"); }), "'12x' is not a valid integer value");
  EXPECT_EQ(ToIntDef("-5", 7), -5);
  EXPECT_EQ(StrToIntDef("12x", 7), 7);
  EXPECT_EQ(ToIntDef("", 7), 7);
}

TEST(SysUtils, StrToFloatFollowsTheProcessSeparator) {
  {
    SettingsGuard point('.');
    const std::pair<const char*, double> good[] = {{"-2.25", -2.25}, {"+2", 2.0}, {" 3.5 ", 3.5},
                                                   {".5", 0.5},      {"5.", 5.0}, {"1.5E-2", 0.015},
                                                   {"2e+2", 200.0},  {"0.1", 0.1}};
    for (const auto& [text, value] : good) EXPECT_EQ(StrToFloat(text), value) << text;
    // No limit on the length of a number.
    EXPECT_EQ(StrToFloat("0." + std::string(300, '0') + "1e301"), 1.0);
    // Built in place: GCC 12 warns falsely on string(n, c) + "..." here.
    std::string zeros(300, '0');
    zeros += '7';
    EXPECT_EQ(ToDouble(zeros), 7.0);
    for (const char* bad : {"", " ", ".", "-", "1,5", "1.2.3", "abc", "1e", "1e+", "e5", "--1",
                            "1e5.5", "inf", "nan", "1e999", "0x1p3", "1 5"}) {
      EXPECT_THROW(StrToFloat(bad), EConvertError) << '"' << bad << '"';
    }
    EXPECT_EQ(ErrorOf<EConvertError>([] { StrToFloat("1,5"); }),
              "'1,5' is not a valid floating point value");
    double value = 9;
    EXPECT_FALSE(TryStrToFloat("x", value));
    EXPECT_EQ(value, 9.0);
    EXPECT_TRUE(TryStrToFloat("-4.5", value));
    EXPECT_EQ(value, -4.5);
  }
  SettingsGuard comma(',');
  EXPECT_EQ(StrToFloat("-0,25"), -0.25);
  EXPECT_THROW(StrToFloat("1.5"), EConvertError);
}

TEST(SysUtils, FloatToStrFFixedRoundsTheDecimalsAsTheyRead) {
  SettingsGuard point('.');
  // Halves round away from zero as the number reads (1.005 is stored just
  // below it) and "-0.00" is never written.
  const std::pair<double, const char*> cases[] = {
      {0, "0.00"},       {-1.5, "-1.50"},  {0.125, "0.13"},    {-0.125, "-0.13"},  {1.005, "1.01"},
      {2.675, "2.68"},   {9.995, "10.00"}, {99.999, "100.00"}, {0.004, "0.00"},    {-0.004, "0.00"},
      {-0.005, "-0.01"}, {1e-20, "0.00"},  {1.0 / 3, "0.33"},  {123.456, "123.46"}};
  for (const auto& [value, text] : cases)
    EXPECT_EQ(FloatToStrF(value, ffFixed, 10, 2), text) << value;
  // Ten significant digits at most; more integer digits give the general form,
  // and 9999999999.5 rounds past ten digits.
  const std::pair<double, const char*> wide[] = {{123456789.126, "123456789.10"},
                                                 {12345678901.0, "1.23456789E+10"},
                                                 {-1e15, "-1E+15"},
                                                 {9999999999.5, "1E+10"},
                                                 {9999999999.0, "9999999999.00"}};
  for (const auto& [value, text] : wide) EXPECT_EQ(FloatToStrF(value, ffFixed, 10, 2), text);
  EXPECT_EQ(FloatToStrF(2.5, ffFixed, 10, 0), "3");
  EXPECT_EQ(FloatToStrF(1234567.5, ffNumber, 10, 2), "1,234,567.50");

  SettingsGuard comma(',');
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
  EXPECT_LT(AnsiCompareText("ab", "abc"), 0);
  EXPECT_GT(AnsiCompareText("abc", "AB"), 0);

  // UTF-8 bytes are above the blank.
  for (const auto& [text, trimmed] :
       {std::pair{"  a b \t\r\n", "a b"}, {"\x01x\x1F", "x"}, {" \t ", ""}, {"", ""}, {"ñ", "ñ"}})
    EXPECT_EQ(Trim(text), trimmed) << text;
}

// ICU's strict conversion as the judge of what is UTF-8.
bool IcuAccepts(std::string_view text) {
  UErrorCode status = U_ZERO_ERROR;
  UChar out[8];
  int32_t length = 0;
  u_strFromUTF8(out, 8, &length, text.data(), static_cast<int32_t>(text.size()), &status);
  return U_SUCCESS(status);
}

TEST(SysUtils, IsValidUtf8AgreesWithIcuOnEverySequenceOfUpToThreeBytes) {
  EXPECT_TRUE(cuadrante::IsValidUtf8(""));
  // Characters of every length in a row: the walk below checks one at a time.
  EXPECT_TRUE(cuadrante::IsValidUtf8("año \xF0\x9F\x98\x80 DÍA \xE2\x82\xAC"));
  EXPECT_FALSE(cuadrante::IsValidUtf8("a\xE2\x82"));  // cut short after the first character
  // Four bytes and more lie beyond the walk: past U+10FFFF, overlong, five-byte forms.
  for (const char* bad : {"\xF4\x90\x80\x80", "\xF0\x8F\xBF\xBF", "\xF8\x88\x80\x80\x80"})
    EXPECT_FALSE(cuadrante::IsValidUtf8(bad)) << bad;
  std::string text(3, '\0');
  for (int a = 0x80; a < 0x100; ++a) {
    for (int b = 0; b < 0x100; ++b) {
      text.assign({static_cast<char>(a), static_cast<char>(b)});
      ASSERT_EQ(cuadrante::IsValidUtf8(text), IcuAccepts(text)) << a << " " << b;
      for (int c = 0; c < 0x100 && a >= 0xE0; ++c) {
        text.assign({static_cast<char>(a), static_cast<char>(b), static_cast<char>(c)});
        ASSERT_EQ(cuadrante::IsValidUtf8(text), IcuAccepts(text)) << a << " " << b << " " << c;
        // Four bytes: every lead and second byte, the rest plain continuations.
        text += '\x80';
        ASSERT_EQ(cuadrante::IsValidUtf8(text), IcuAccepts(text)) << a << " " << b << " " << c;
      }
    }
  }
}

}  // namespace
