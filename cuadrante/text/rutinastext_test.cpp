#include "cuadrante/text/rutinastext.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using Numbers = std::vector<int32_t>;

TEST(RutinasText, ToStringJoinsWithTheSeparatorBetweenItemsOnly) {
  EXPECT_EQ(RutinasText::ToString(";", TVectorStrings{}), "");
  EXPECT_EQ(RutinasText::ToString(", ", TVectorStrings{"a", "", "c"}), "a, , c");
  EXPECT_EQ(RutinasText::ToString(";", Numbers{}), "");
  EXPECT_EQ(RutinasText::ToString("--", Numbers{INT32_MIN, 0, INT32_MAX}),
            "-2147483648--0--2147483647");
}

TEST(RutinasText, GetStringsSplitsAtAnyCharacterOfTheSetAndSkipsEmptyTokens) {
  const std::tuple<std::string, std::string, TVectorStrings> cases[] = {
      {";;;a;;;b;;;", ";", {"a", "b"}},
      {"a,;,b;c", ";,", {"a", "b", "c"}},
      {"a b;c d", ";", {"a b", "c d"}},  // blanks belong to the tokens
      {"no delimiters", "", {"no delimiters"}},
      {";;;", ";", {}},
      {"", "", {}},
      {std::string("a\0b;c", 5), ";", {std::string("a\0b", 3), "c"}},  // a NUL is no end
  };
  for (const auto& [text, delimiters, expected] : cases) {
    TVectorStrings tokens{"kept"};  // appended to, and the count is the list's size
    EXPECT_EQ(RutinasText::GetStrings(text, delimiters, tokens),
              static_cast<int>(expected.size()) + 1)
        << text;
    EXPECT_EQ(TVectorStrings(tokens.begin() + 1, tokens.end()), expected) << text;
  }
}

TEST(RutinasText, GetNumbersReadsEachTokenLikeAtol) {
  const std::pair<std::string, Numbers> cases[] = {
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
      {";", {}},
  };
  for (const auto& [text, expected] : cases) {
    Numbers numbers{4};
    EXPECT_EQ(RutinasText::GetNumbers(text, ";", numbers), static_cast<int>(expected.size()) + 1)
        << text;
    EXPECT_EQ(Numbers(numbers.begin() + 1, numbers.end()), expected) << text;
  }
}

}  // namespace
