// StrToDateTime over arbitrary bytes. What it accepts must format under every
// specifier, and the text that DateTimeToStr writes of it must read back to
// the same day and second. The same bytes also serve as a format pattern.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "cuadrante/runtime/dateformat.h"
#include "cuadrante/runtime/exception.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);

  TDateTime parsed;
  bool accepted = false;
  try {
    parsed = StrToDateTime(text);
    accepted = true;
  } catch (const Exception&) {
  }
  TDateTime tried(-7.0);
  if (TryStrToDateTime(text, tried) != accepted) std::abort();
  if (!accepted && tried.Val != -7.0) std::abort();

  if (accepted) {
    if (tried.Val != parsed.Val) std::abort();
    const AnsiString all =
        FormatDateTime("c ddddd dddddd dddd ddd d/m/yy hh:nn:ss.zzz t tt z", parsed);
    if (all.empty()) std::abort();
    const AnsiString written = DateTimeToStr(parsed);
    TDateTime back;
    if (!TryStrToDateTime(written, back)) std::abort();
    // The written form has whole seconds: the same day and the same second.
    if (CompareDate(back, parsed) != 0) std::abort();
    uint16_t h1 = 0, n1 = 0, s1 = 0, z1 = 0, h2 = 0, n2 = 0, s2 = 0, z2 = 0;
    DecodeTime(parsed, h1, n1, s1, z1);
    DecodeTime(back, h2, n2, s2, z2);
    if (h1 != h2 || n1 != n2 || s1 != s2 || z2 != 0) std::abort();
  }

  // The bytes as a pattern, at an instant with every field different. A
  // pattern without letters, quotes or separators is copied as it stands.
  const AnsiString formatted = FormatDateTime(text, EncodeDateTime(2026, 11, 29, 23, 58, 57, 456));
  bool plain = !text.empty();
  for (const char c : text) {
    const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    if (letter || c == '\'' || c == '"' || c == '/' || c == ':') plain = false;
  }
  if (plain && formatted != text) std::abort();
  return 0;
}
