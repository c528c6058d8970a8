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
#include "cuadrante/runtime/stringlist.h"
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

// Stored and transmitted texts: any text as one printable line, and a list of
// name=value lines held as one text (rutinastext_blob.cpp).
namespace RutinasText {

// The one-line form of `text`: the Base64 (no line breaks) of its gzip stream.
// The empty text gives the empty text. Raises Exception when there is no
// memory for the work, rather than answer a form that would read back empty.
// Safe from any thread.
CUADRANTE_API AnsiString ZipAndCode64(const AnsiString& text);
// The text of a one-line form, or of any Base64 of an RFC 1952 gzip stream;
// characters outside the Base64 alphabet and bytes behind the gzip trailer are
// ignored, and the empty text gives the empty text. Damaged data raise the
// Crypto++ exceptions that tinflaterdeflater.h lists. Safe from any thread.
CUADRANTE_API AnsiString Decode64AndUnzip(const AnsiString& text);

// Lines of name=value held as one text. A line's name is what precedes its
// first "=", compared without regard to case; the first line of a name wins
// and later ones stay, unseen. Nothing is quoted or escaped, and blanks belong
// to names and values. One object is for one thread at a time.
//
// Example:
//   TBlobStream blob("A=1\r\nB=2");
//   blob.GetValue("a") == "1";
//   blob.SetValue("A", "");          // deletes the line
//   blob.GetString() == "B=2\r\n";
class CUADRANTE_API TBlobStream {
 public:
  // The lines of `text`, as SetString reads them.
  TBlobStream(const AnsiString& text);  // NOLINT(google-explicit-constructor): a text is a blob

  // Every line followed by CR LF; no lines give the empty text.
  AnsiString GetString() const;
  // Replaces all lines. A line ends at CR, LF or CR LF; a break at the very end
  // adds no empty line, and the empty text gives no lines.
  void SetString(const AnsiString& text);
  // All that follows the first "=" of the first line of `name`, further "="
  // included, or the empty text.
  AnsiString GetValue(const AnsiString& name) const;
  // Rewrites the first line of `name` in place as name=value (the name as
  // given), or appends that line; an empty value deletes the line instead.
  void SetValue(const AnsiString& name, const AnsiString& value);

 private:
  TStringList lines_;
};

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
