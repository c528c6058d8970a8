// Joining a list into one line of positional text, and splitting it back.
//
// The split takes a *set* of delimiter characters: any of them ends a token,
// runs of them count as one, and no token is ever empty, so an empty field
// cannot travel in these texts. Nothing is quoted or escaped. The routines keep
// no state between calls and never modify their input: safe from any thread.
//
// Example:
//   TVectorStrings fields;
//   RutinasText::GetStrings("86400;;3600;2;1", ";", fields) == 4;
//   RutinasText::ToString(";", fields) == "86400;3600;2;1"
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "cuadrante/runtime/export.h"
#include "cuadrante/runtime/sysutils.h"

namespace RutinasText {

// The items in order with `separator` before every item but the first; an
// empty vector gives the empty text.
CUADRANTE_API AnsiString ToString(const AnsiString& separator, const TVectorStrings& items);
// The same for numbers, written in plain decimal with a minus sign when negative.
CUADRANTE_API AnsiString ToString(const AnsiString& separator, const std::vector<int32_t>& items);

// Appends the tokens of `text` to `items`, which is not cleared first, and
// answers the size of `items` afterwards. The whole counted text is scanned,
// also past any NUL byte. An empty delimiter set makes the whole non-empty
// text one token.
CUADRANTE_API int GetStrings(const AnsiString& text, const AnsiString& delimiters,
                             TVectorStrings& items);
// The same, converting each token like the C library's atol: leading white
// space, an optional sign and the digits that follow; the rest of the token is
// ignored and a token that does not begin with a number gives 0. A number
// beyond the 32-bit range is clamped to its nearest end instead of wrapping.
CUADRANTE_API int GetNumbers(const AnsiString& text, const AnsiString& delimiters,
                             std::vector<int32_t>& items);

}  // namespace RutinasText

// Implementation details follow: the scanner behind GetStrings, shared with the
// text forms of the time classes so that reading a point allocates nothing.
namespace cuadrante::detail {

// Walks the tokens of a text as views into it; the text must outlive the
// scanner and the views.
class TTokenScanner {
 public:
  constexpr TTokenScanner(std::string_view text, std::string_view delimiters) noexcept
      : rest_(text), delimiters_(delimiters) {}

  // Stores the next token in `token` and answers true, or answers false at the end.
  constexpr bool Next(std::string_view& token) noexcept {
    size_t begin = 0;
    while (begin < rest_.size() && IsDelimiter(rest_[begin])) ++begin;
    if (begin == rest_.size()) {
      rest_ = {};
      return false;
    }
    size_t end = begin + 1;
    while (end < rest_.size() && !IsDelimiter(rest_[end])) ++end;
    token = rest_.substr(begin, end - begin);
    rest_.remove_prefix(end);
    return true;
  }

 private:
  constexpr bool IsDelimiter(char c) const noexcept {
    // One separator is by far the common case; skip the general search for it.
    if (delimiters_.size() == 1) return c == delimiters_[0];
    return delimiters_.find(c) != std::string_view::npos;
  }

  std::string_view rest_;
  std::string_view delimiters_;
};

// The first N tokens of a stored text form, as views into `text`; false when
// the text has fewer, so the caller can leave its object untouched.
template <size_t N>
constexpr bool ScanFields(std::string_view text, std::array<std::string_view, N>& fields) noexcept {
  TTokenScanner scanner(text, ";");
  for (std::string_view& field : fields) {
    if (!scanner.Next(field)) return false;
  }
  return true;
}

}  // namespace cuadrante::detail
