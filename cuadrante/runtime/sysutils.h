// Text and number conversions of the platform layer.
//
// `AnsiString` is UTF-8 text in a std::string. The conversions read and write
// under the process-wide `FormatSettings` (formatsettings.h). Every parse that
// fails raises `EConvertError` whose message quotes the text, for instance
// "'12x' is not a valid integer value". All functions are safe to call from
// any thread as long as nobody changes `FormatSettings` at the same time.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "cuadrante/runtime/export.h"

using AnsiString = std::string;
using WideString = std::u16string;
using TVectorStrings = std::vector<AnsiString>;

// The formats of FloatToStrF; the numbers are part of the interface.
enum TFloatFormat : int8_t {
  ffGeneral = 0,
  ffExponent = 1,
  ffFixed = 2,
  ffNumber = 3,
  ffCurrency = 4,
};

// Decimal integer with optional blanks in front and an optional sign; nothing
// may follow the digits. Raises EConvertError on anything else or on overflow.
CUADRANTE_API int64_t StrToInt64(std::string_view text);
CUADRANTE_API int StrToInt(std::string_view text);
CUADRANTE_API int StrToIntDef(std::string_view text, int fallback);
// The AnsiString members of the same names.
CUADRANTE_API int ToInt(std::string_view text);
CUADRANTE_API int ToIntDef(std::string_view text, int fallback);

// A decimal number with the process's decimal separator, an optional sign,
// optional exponent and surrounding blanks. Raises EConvertError otherwise.
CUADRANTE_API double StrToFloat(std::string_view text);
CUADRANTE_API double ToDouble(std::string_view text);
CUADRANTE_API bool TryStrToFloat(std::string_view text, double& value);

CUADRANTE_API AnsiString IntToStr(int64_t value);
// `precision` significant digits at most; `digits` after the separator for the
// fixed, number and currency formats. A value whose integer part needs more
// than `precision` digits is written in the general (exponent) form instead.
CUADRANTE_API AnsiString FloatToStrF(double value, TFloatFormat format, int precision, int digits);
// Shortest text that reads back to the same double, with the process separator.
CUADRANTE_API AnsiString FloatToStr(double value);

// Case changes follow Unicode, so "DÍA" and "día" meet.
CUADRANTE_API AnsiString LowerCase(std::string_view text);
CUADRANTE_API AnsiString UpperCase(std::string_view text);
// Removes leading and trailing blanks and control characters (bytes <= ' ').
CUADRANTE_API AnsiString Trim(std::string_view text);
// Case-insensitive comparison by Unicode case folding: <0, 0 or >0.
CUADRANTE_API int AnsiCompareText(std::string_view a, std::string_view b);
CUADRANTE_API bool SameText(std::string_view a, std::string_view b);

namespace cuadrante {

// True when `text` is well-formed UTF-8: no stray continuation bytes, no
// truncated or overlong sequences, no surrogates, nothing above U+10FFFF.
CUADRANTE_API bool IsValidUtf8(std::string_view text) noexcept;

}  // namespace cuadrante
