#include "cuadrante/text/rutinastext.h"

#include <array>
#include <charconv>
#include <limits>

namespace cuadrante::detail {
namespace {

bool IsCSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// atol's reading of a token. atol itself has no defined result on overflow;
// we clamp, so that a long run of digits reads as the nearest number we keep.
int32_t TokenToLong(std::string_view token) {
  size_t i = 0;
  while (i < token.size() && IsCSpace(token[i])) ++i;
  bool negative = false;
  if (i < token.size() && (token[i] == '+' || token[i] == '-')) {
    negative = token[i] == '-';
    ++i;
  }
  // Accumulate the magnitude, stopping once it is past the range either way.
  constexpr int64_t kLimit = int64_t{std::numeric_limits<int32_t>::max()} + 1;
  int64_t magnitude = 0;
  for (; i < token.size() && token[i] >= '0' && token[i] <= '9'; ++i) {
    if (magnitude <= kLimit) magnitude = magnitude * 10 + (token[i] - '0');
  }
  if (negative) {
    return magnitude >= kLimit ? std::numeric_limits<int32_t>::min()
                               : static_cast<int32_t>(-magnitude);
  }
  return magnitude >= kLimit ? std::numeric_limits<int32_t>::max()
                             : static_cast<int32_t>(magnitude);
}

}  // namespace
}  // namespace cuadrante::detail

namespace RutinasText {

AnsiString ToString(const AnsiString& separator, const TVectorStrings& items) {
  size_t length = 0;
  for (const AnsiString& item : items) length += item.size() + separator.size();
  AnsiString text;
  text.reserve(length);
  for (size_t i = 0; i < items.size(); ++i) {
    if (i > 0) text += separator;
    text += items[i];
  }
  return text;
}

AnsiString ToString(const AnsiString& separator, const std::vector<int32_t>& items) {
  AnsiString text;
  text.reserve(items.size() * (separator.size() + 11));
  std::array<char, 16> digits{};
  for (size_t i = 0; i < items.size(); ++i) {
    if (i > 0) text += separator;
    const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), items[i]);
    text.append(digits.data(), result.ptr);
  }
  return text;
}

int GetStrings(const AnsiString& text, const AnsiString& delimiters, TVectorStrings& items) {
  cuadrante::detail::TTokenScanner scanner(text, delimiters);
  std::string_view token;
  while (scanner.Next(token)) items.emplace_back(token);
  return static_cast<int>(items.size());
}

int GetNumbers(const AnsiString& text, const AnsiString& delimiters, std::vector<int32_t>& items) {
  cuadrante::detail::TTokenScanner scanner(text, delimiters);
  std::string_view token;
  while (scanner.Next(token)) items.push_back(cuadrante::detail::TokenToLong(token));
  return static_cast<int>(items.size());
}

}  // namespace RutinasText
