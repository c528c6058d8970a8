#include "cuadrante/text/rutinastext.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

namespace {

using Numbers = std::vector<int32_t>;

TEST(RutinasText, ToStringJoinsWithTheSeparatorBetweenItemsOnly) {
  EXPECT_EQ(RutinasText::ToString(";", TVectorStrings{}), "");
  EXPECT_EQ(RutinasText::ToString(";", TVectorStrings{"solo"}), "solo");
  EXPECT_EQ(RutinasText::ToString(";", TVectorStrings{"a", "b", "c"}), "a;b;c");
  EXPECT_EQ(RutinasText::ToString(", ", TVectorStrings{"a", "", "c"}), "a, , c");
  EXPECT_EQ(RutinasText::ToString("", TVectorStrings{"día", "noche"}), "díanoche");
  // No escaping: an item holding the separator is joined as it is.
  EXPECT_EQ(RutinasText::ToString(";", TVectorStrings{"a;b", "c"}), "a;b;c");

  EXPECT_EQ(RutinasText::ToString(";", Numbers{}), "");
  EXPECT_EQ(RutinasText::ToString(";", Numbers{7}), "7");
  EXPECT_EQ(RutinasText::ToString(";", Numbers{0, -3, 12}), "0;-3;12");
  EXPECT_EQ(RutinasText::ToString("--", Numbers{INT32_MIN, INT32_MAX}), "-2147483648--2147483647");
}

TEST(RutinasText, GetStringsSplitsAtAnyCharacterOfTheSetAndSkipsEmptyTokens) {
  struct Case {
    std::string text;
    std::string delimiters;
    TVectorStrings tokens;
  };
  const Case cases[] = {
      {"a;;b", ";", {"a", "b"}},
      {";a;", ";", {"a"}},
      {";;;a;;;b;;;", ";", {"a", "b"}},
      {"a,b;c", ";,", {"a", "b", "c"}},
      {"a,;,b", ";,", {"a", "b"}},
      {"86400;3600;2;1", ";", {"86400", "3600", "2", "1"}},
      {"a b;c d", ";", {"a b", "c d"}},  // blanks belong to the tokens
      {"no delimiters", "", {"no delimiters"}},
      {"abc", ";", {"abc"}},
      {"día;año", ";", {"día", "año"}},
      {"", ";", {}},
      {";;;", ";", {}},
      {"", "", {}},
  };
  for (const Case& c : cases) {
    TVectorStrings tokens;
    EXPECT_EQ(RutinasText::GetStrings(c.text, c.delimiters, tokens),
              static_cast<int>(c.tokens.size()))
        << c.text;
    EXPECT_EQ(tokens, c.tokens) << c.text;
  }
  // The whole counted text is scanned, a NUL byte included.
  TVectorStrings tokens;
  EXPECT_EQ(RutinasText::GetStrings(std::string("a\0b;c", 5), ";", tokens), 2);
  EXPECT_EQ(tokens[0], std::string("a\0b", 3));
}

TEST(RutinasText, SplittingAppendsToTheListAndLeavesTheTextAlone) {
  TVectorStrings items{"x", "y"};
  EXPECT_EQ(RutinasText::GetStrings("a;b;c", ";", items), 5);
  EXPECT_EQ(items, (TVectorStrings{"x", "y", "a", "b", "c"}));
  // Nothing to add: the size of what was there.
  EXPECT_EQ(RutinasText::GetStrings("", ";", items), 5);
  EXPECT_EQ(RutinasText::GetStrings(";;", ";", items), 5);

  Numbers numbers{4};
  EXPECT_EQ(RutinasText::GetNumbers("1;2", ";", numbers), 3);
  EXPECT_EQ(numbers, (Numbers{4, 1, 2}));
  EXPECT_EQ(RutinasText::GetNumbers(";", ";", numbers), 3);

  const std::string text = "1;2;;3";
  const std::string shared = text;
  const std::string delimiters = ";";
  TVectorStrings tokens;
  RutinasText::GetStrings(text, delimiters, tokens);
  RutinasText::GetNumbers(text, delimiters, numbers);
  EXPECT_EQ(text, "1;2;;3");
  EXPECT_EQ(shared, "1;2;;3");
  EXPECT_EQ(delimiters, ";");
}

TEST(RutinasText, GetNumbersReadsEachTokenLikeAtol) {
  struct Case {
    std::string text;
    Numbers numbers;
  };
  const Case cases[] = {
      {"12;x;-3", {12, 0, -3}},
      {"+5;-0;007", {5, 0, 7}},
      {"12abc;3.9;1e3", {12, 3, 1}},  // the rest of a token is ignored
      {" \t42; \n-8", {42, -8}},      // leading white space is skipped
      {"-;+;- 5;x12", {0, 0, 0, 0}},  // no digits right after the sign
      {"2147483647;-2147483648", {INT32_MAX, INT32_MIN}},
      // Out of range: clamped to the nearest end, never wrapped.
      {"2147483648;-2147483649", {INT32_MAX, INT32_MIN}},
      {"99999999999999999999999;-99999999999999999999999", {INT32_MAX, INT32_MIN}},
      {"4294967296", {INT32_MAX}},
  };
  for (const Case& c : cases) {
    Numbers numbers;
    EXPECT_EQ(RutinasText::GetNumbers(c.text, ";", numbers), static_cast<int>(c.numbers.size()))
        << c.text;
    EXPECT_EQ(numbers, c.numbers) << c.text;
  }
  Numbers numbers;
  EXPECT_EQ(RutinasText::GetNumbers("1,2 3", ", ", numbers), 3);
  EXPECT_EQ(numbers, (Numbers{1, 2, 3}));
}

TEST(RutinasText, JoinedNumbersReadBack) {
  const Numbers written{0, -1, 2147483647, -2147483648, 86400};
  Numbers read;
  RutinasText::GetNumbers(RutinasText::ToString(";", written), ";", read);
  EXPECT_EQ(read, written);

  const TVectorStrings fields{"Sin descripción", "<N/A>", "5000"};
  TVectorStrings back;
  RutinasText::GetStrings(RutinasText::ToString(";", fields), ";", back);
  EXPECT_EQ(back, fields);
}

TEST(RutinasText, TheScannerYieldsViewsIntoTheText) {
  const std::string text = ";ab;;c;";
  cuadrante::detail::TTokenScanner scanner(text, ";");
  std::string_view token;
  ASSERT_TRUE(scanner.Next(token));
  EXPECT_EQ(token, "ab");
  EXPECT_EQ(token.data(), text.data() + 1);
  ASSERT_TRUE(scanner.Next(token));
  EXPECT_EQ(token, "c");
  EXPECT_FALSE(scanner.Next(token));
  EXPECT_FALSE(scanner.Next(token));  // stays at the end
}

}  // namespace
