#include "cuadrante/runtime/sysutils.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/formatsettings.h"

namespace cuadrante::detail {
namespace {

bool IsBlank(char c) { return static_cast<unsigned char>(c) <= ' '; }

std::string_view TrimView(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

[[noreturn]] void ThrowNotInteger(std::string_view text) {
  throw EConvertError("'" + std::string(text) + "' is not a valid integer value");
}

[[noreturn]] void ThrowNotFloat(std::string_view text) {
  throw EConvertError("'" + std::string(text) + "' is not a valid floating point value");
}

bool ParseInt64(std::string_view text, int64_t& value) {
  std::string_view rest = text;
  while (!rest.empty() && IsBlank(rest.front())) rest.remove_prefix(1);
  bool negative = false;
  if (!rest.empty() && (rest.front() == '+' || rest.front() == '-')) {
    negative = rest.front() == '-';
    rest.remove_prefix(1);
  }
  if (rest.empty()) return false;
  uint64_t magnitude = 0;
  auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), magnitude);
  if (error != std::errc() || end != rest.data() + rest.size()) return false;
  constexpr uint64_t kMaxPositive = std::numeric_limits<int64_t>::max();
  if (negative) {
    if (magnitude > kMaxPositive + 1) return false;
    value = static_cast<int64_t>(0 - magnitude);
  } else {
    if (magnitude > kMaxPositive) return false;
    value = static_cast<int64_t>(magnitude);
  }
  return true;
}

bool ParseInt32(std::string_view text, int& value) {
  int64_t wide = 0;
  if (!ParseInt64(text, wide) || wide < std::numeric_limits<int>::min() ||
      wide > std::numeric_limits<int>::max()) {
    return false;
  }
  value = static_cast<int>(wide);
  return true;
}

// Applies a per-code-point mapping, leaving bytes that are not UTF-8 as they are.
template <typename Map>
AnsiString MapCodePoints(std::string_view text, Map map) {
  AnsiString out;
  out.reserve(text.size());
  const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
  const auto length = static_cast<int32_t>(text.size());
  int32_t i = 0;
  while (i < length) {
    const int32_t start = i;
    UChar32 c = 0;
    U8_NEXT(bytes, i, length, c);
    if (c < 0) {
      out.append(text.data() + start, static_cast<size_t>(i - start));
      continue;
    }
    std::array<uint8_t, U8_MAX_LENGTH> buffer{};
    int32_t written = 0;
    U8_APPEND_UNSAFE(buffer.data(), written, map(c));  // four bytes always fit
    out.append(reinterpret_cast<const char*>(buffer.data()), static_cast<size_t>(written));
  }
  return out;
}

// Next code point folded for caseless comparison; ill-formed bytes order after
// every real code point so they never compare equal to one.
int64_t NextFolded(std::string_view text, int32_t& i) {
  const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
  const int32_t start = i;
  UChar32 c = 0;
  U8_NEXT(bytes, i, static_cast<int32_t>(text.size()), c);
  if (c < 0) return 0x110000 + bytes[start];
  return u_foldCase(c, U_FOLD_CASE_DEFAULT);
}

}  // namespace
}  // namespace cuadrante::detail

using namespace cuadrante::detail;

int64_t StrToInt64(std::string_view text) {
  int64_t value = 0;
  if (!ParseInt64(text, value)) ThrowNotInteger(text);
  return value;
}

int StrToInt(std::string_view text) {
  int value = 0;
  if (!ParseInt32(text, value)) ThrowNotInteger(text);
  return value;
}

int StrToIntDef(std::string_view text, int fallback) {
  int value = 0;
  return ParseInt32(text, value) ? value : fallback;
}

int ToInt(std::string_view text) { return StrToInt(text); }
int ToIntDef(std::string_view text, int fallback) { return StrToIntDef(text, fallback); }

bool TryStrToFloat(std::string_view text, double& value) {
  std::string_view body = TrimView(text);
  if (body.empty()) return false;
  // Rewrite into the C locale's form: only the process separator may mark the
  // decimals, and only digits, one sign and one exponent may surround it.
  // No length limit: a long run of digits is still a number.
  std::string buffer(body.size(), '\0');
  size_t n = 0;
  size_t i = 0;
  if (body[i] == '+' || body[i] == '-') {
    if (body[i] == '-') buffer[n++] = '-';
    ++i;
  }
  bool digits = false;
  bool separator = false;
  bool exponent = false;
  for (; i < body.size(); ++i) {
    const char c = body[i];
    if (c >= '0' && c <= '9') {
      digits = true;
      buffer[n++] = c;
    } else if (c == FormatSettings.DecimalSeparator && !separator && !exponent) {
      separator = true;
      buffer[n++] = '.';
    } else if ((c == 'e' || c == 'E') && digits && !exponent) {
      exponent = true;
      buffer[n++] = 'e';
      if (i + 1 < body.size() && (body[i + 1] == '+' || body[i + 1] == '-')) {
        buffer[n++] = body[++i];
      }
      if (i + 1 >= body.size()) return false;
    } else {
      return false;
    }
  }
  if (!digits) return false;
  double parsed = 0;
  auto [end, error] = std::from_chars(buffer.data(), buffer.data() + n, parsed);
  if (error != std::errc() || end != buffer.data() + n || !std::isfinite(parsed)) return false;
  value = parsed;
  return true;
}

double StrToFloat(std::string_view text) {
  double value = 0;
  if (!TryStrToFloat(text, value)) ThrowNotFloat(text);
  return value;
}

double ToDouble(std::string_view text) { return StrToFloat(text); }

AnsiString IntToStr(int64_t value) {
  std::array<char, 24> buffer{};
  auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
  return AnsiString(buffer.data(), end);
}

namespace cuadrante::detail {
namespace {

void UseProcessSeparator(AnsiString& text) {
  if (FormatSettings.DecimalSeparator == '.') return;
  for (char& c : text) {
    if (c == '.') c = FormatSettings.DecimalSeparator;
  }
}

AnsiString Printf(const char* format, int precision, double value) {
  std::array<char, 512> buffer{};
  const int n = std::snprintf(buffer.data(), buffer.size(), format, precision, value);
  return AnsiString(buffer.data(), static_cast<size_t>(std::max(n, 0)));
}

// "-0.00" says nothing that "0.00" does not.
void DropNegativeZero(AnsiString& text) {
  if (text.empty() || text[0] != '-') return;
  for (size_t i = 1; i < text.size(); ++i) {
    if (text[i] >= '1' && text[i] <= '9') return;
    if (text[i] == 'e' || text[i] == 'E') break;
  }
  text.erase(0, 1);
}

// Lays out `value` with `digits` decimals after rounding it to `precision`
// significant digits. Both roundings work on decimal digits, half away from
// zero, so 0.125 gives "0.13" as it reads, not the "0.12" that rounding the
// binary value would give. Answers false when the integer part needs more than
// `precision` digits; the caller then writes the general form.
bool FixedLayout(double value, int precision, int digits, AnsiString& text) {
  // "d.ddde+XX": the significant digits and the power of ten of the first one.
  const AnsiString scientific = Printf("%.*e", precision - 1, std::fabs(value));
  const size_t e = scientific.find('e');
  AnsiString mantissa;
  for (size_t i = 0; i < e; ++i) {
    if (scientific[i] != '.') mantissa += scientific[i];
  }
  // The value is 0.<mantissa> times ten to the power of `integerDigits`.
  int integerDigits = std::atoi(scientific.c_str() + e + 1) + 1;
  if (integerDigits > precision) return false;

  const int keep = integerDigits + digits;
  if (keep < 0) {
    mantissa.clear();
  } else if (keep < static_cast<int>(mantissa.size())) {
    const bool roundUp = mantissa[static_cast<size_t>(keep)] >= '5';
    mantissa.resize(static_cast<size_t>(keep));
    if (roundUp) {
      int i = keep - 1;
      for (; i >= 0 && mantissa[static_cast<size_t>(i)] == '9'; --i) {
        mantissa[static_cast<size_t>(i)] = '0';
      }
      if (i >= 0) {
        ++mantissa[static_cast<size_t>(i)];
      } else {
        mantissa.insert(0, 1, '1');
        ++integerDigits;
      }
    }
  }
  auto digitAt = [&](int i) {
    return i >= 0 && i < static_cast<int>(mantissa.size()) ? mantissa[static_cast<size_t>(i)] : '0';
  };
  text.clear();
  if (value < 0) text += '-';
  if (integerDigits <= 0) text += '0';
  for (int i = 0; i < integerDigits; ++i) text += digitAt(i);
  if (digits > 0) {
    text += '.';
    for (int i = integerDigits; i < integerDigits + digits; ++i) text += digitAt(i);
  }
  return true;
}

void GroupThousands(AnsiString& text) {
  const size_t begin = (!text.empty() && text[0] == '-') ? 1 : 0;
  size_t end = text.find('.');
  if (end == AnsiString::npos) end = text.size();
  for (size_t i = end; i > begin + 3; i -= 3) {
    text.insert(i - 3, 1, FormatSettings.ThousandSeparator);
  }
}

}  // namespace
}  // namespace cuadrante::detail

AnsiString FloatToStrF(double value, TFloatFormat format, int precision, int digits) {
  precision = std::clamp(precision, 1, 18);
  digits = std::clamp(digits, 0, 18);
  if (!std::isfinite(value)) return std::isnan(value) ? "NAN" : (value > 0 ? "INF" : "-INF");
  AnsiString text;
  switch (format) {
    case ffFixed:
    case ffNumber:
    case ffCurrency:
      if (FixedLayout(value, precision, digits, text)) {
        if (format != ffFixed) GroupThousands(text);
        break;
      }
      [[fallthrough]];
    case ffGeneral:
      text = Printf("%.*G", precision, value);
      break;
    case ffExponent:
      text = Printf("%.*E", precision - 1, value);
      break;
  }
  DropNegativeZero(text);
  UseProcessSeparator(text);
  return text;
}

AnsiString FloatToStr(double value) {
  if (!std::isfinite(value)) return FloatToStrF(value, ffGeneral, 15, 0);
  std::array<char, 64> buffer{};
  auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
  AnsiString text(buffer.data(), end);
  UseProcessSeparator(text);
  return text;
}

AnsiString LowerCase(std::string_view text) {
  return MapCodePoints(text, [](UChar32 c) { return u_tolower(c); });
}

AnsiString UpperCase(std::string_view text) {
  return MapCodePoints(text, [](UChar32 c) { return u_toupper(c); });
}

AnsiString Trim(std::string_view text) { return AnsiString(TrimView(text)); }

int AnsiCompareText(std::string_view a, std::string_view b) {
  int32_t i = 0;
  int32_t j = 0;
  const auto aLength = static_cast<int32_t>(a.size());
  const auto bLength = static_cast<int32_t>(b.size());
  while (i < aLength && j < bLength) {
    // Most keys are ASCII: fold those bytes here, without decoding. The folded
    // values are the same code points that the general path gives.
    const auto ca = static_cast<unsigned char>(a[static_cast<size_t>(i)]);
    const auto cb = static_cast<unsigned char>(b[static_cast<size_t>(j)]);
    if (ca < 0x80 && cb < 0x80) {
      const int x = (ca >= 'A' && ca <= 'Z') ? ca + 32 : ca;
      const int y = (cb >= 'A' && cb <= 'Z') ? cb + 32 : cb;
      if (x != y) return x < y ? -1 : 1;
      ++i;
      ++j;
      continue;
    }
    const int64_t x = NextFolded(a, i);
    const int64_t y = NextFolded(b, j);
    if (x != y) return x < y ? -1 : 1;
  }
  if (i < aLength) return 1;
  if (j < bLength) return -1;
  return 0;
}

bool SameText(std::string_view a, std::string_view b) { return AnsiCompareText(a, b) == 0; }

namespace cuadrante {

bool IsValidUtf8(std::string_view text) noexcept {
  const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
  const size_t size = text.size();
  for (size_t i = 0; i < size;) {
    const unsigned char lead = bytes[i];
    if (lead < 0x80) {
      ++i;
      continue;
    }
    // The ranges of the second byte carry the rules on overlongs, surrogates
    // and the upper bound; later bytes are plain continuations.
    size_t length = 0;
    unsigned char low = 0x80, high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
      length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      length = 3;
      if (lead == 0xE0) low = 0xA0;
      if (lead == 0xED) high = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      length = 4;
      if (lead == 0xF0) low = 0x90;
      if (lead == 0xF4) high = 0x8F;
    } else {
      return false;
    }
    if (size - i < length || bytes[i + 1] < low || bytes[i + 1] > high) return false;
    for (size_t k = 2; k < length; ++k) {
      if ((bytes[i + k] & 0xC0) != 0x80) return false;
    }
    i += length;
  }
  return true;
}

}  // namespace cuadrante
