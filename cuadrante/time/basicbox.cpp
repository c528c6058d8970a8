#include "cuadrante/time/basicbox.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <string_view>
#include <vector>

#include "cuadrante/services/globalmgr.h"
#include "cuadrante/services/translate.h"
#include "cuadrante/text/rutinastext.h"

namespace cuadrante::detail {
namespace {

constexpr TColor kGrey = 0x808080;
constexpr size_t kBoxTextFields = 7;
constexpr const char* kShortDayAndTime = "dd/mm/yy hh:mm";
// Two 64-bit numbers, an 8-bit, a 16-bit and a 32-bit one and their separators.
constexpr size_t kMaxNumbersLength = 3 * 20 + 4 + 6 + 5;

// The table's entry for `type`. A type outside the table takes the "no type"
// colour of entry 0 rather than reading past it, and a table emptied by the
// host gives black: a box read from any text still has a colour.
TColor ColorOfType(TTimePointType type) {
  const std::vector<TColor>& colors = _GlobalMgr.Colors;
  if (colors.empty()) return 0;
  const int index = static_cast<int>(type);
  if (index < 0 || static_cast<size_t>(index) >= colors.size()) return colors[0];
  return colors[static_cast<size_t>(index)];
}

// Start plus duration. Values read from text may lie anywhere in 64 bits; the
// sum wraps there instead of being undefined.
TFecha WrappedEnd(const TFecha& inicio, const TDuration& duration) {
  return TFecha(static_cast<int64_t>(static_cast<uint64_t>(inicio.Value()) +
                                     static_cast<uint64_t>(duration.Value())));
}

// Truncates toward zero into a pixel coordinate. Pixels beyond the int range
// saturate and not-a-number is 0, so no scale makes the conversion undefined.
int ToPixel(double value) {
  if (std::isnan(value)) return 0;
  constexpr double kMax = static_cast<double>(std::numeric_limits<int>::max());
  constexpr double kMin = static_cast<double>(std::numeric_limits<int>::min());
  if (value >= kMax) return std::numeric_limits<int>::max();
  if (value <= kMin) return std::numeric_limits<int>::min();
  return static_cast<int>(value);
}

// The level's text may hold a fraction: truncated toward zero and kept in 16
// bits as the integer levels are. Infinite or not-a-number texts give 0 rather
// than an undefined conversion.
short LevelFromDouble(double value) {
  if (!std::isfinite(value)) return 0;
  constexpr double kLimit = 9.2e18;
  if (value >= kLimit || value <= -kLimit) return 0;
  return static_cast<short>(static_cast<int64_t>(value));
}

char* PutNumber(char* p, char* last, int64_t value) { return std::to_chars(p, last, value).ptr; }

}  // namespace
}  // namespace cuadrante::detail

using namespace cuadrante::detail;

TBasicBox::TBasicBox() : Color(ColorOfType(tptNone)) {}

TBasicBox::TBasicBox(const TBasicPoint* point)
    : TBasicPoint(point), End(WrappedEnd(Inicio, Duration)), Color(ColorOfType(Type)) {}

TBasicBox::TBasicBox(const TBasicBox* other)
    : TBasicPoint(other),
      End(WrappedEnd(Inicio, Duration)),
      Color(other->Color),
      Code(other->Code),
      Description(other->Description) {}

TBasicBox::~TBasicBox() = default;

TBasicPoint* TBasicBox::Instance() { return new TBasicBox(this); }

TBasicPoint* TBasicBox::Instance(TBasicPoint* other) {
  return new TBasicBox(static_cast<const TBasicPoint*>(other));
}

TFecha TBasicBox::GetEndDate() const { return End; }

void TBasicBox::RestartEnd() { End = WrappedEnd(Inicio, Duration); }

TColor TBasicBox::GetColor() const { return Color; }

TColor TBasicBox::Get3DColor() const { return kGrey; }

void TBasicBox::RestartColor() { Color = ColorOfType(Type); }

AnsiString TBasicBox::SmartString() const {
  using Transport::Translate;
  return Translate("Tipo:") + "\t\t" + GetTypeStr() + "\r\n" + Translate("Inicio:") + "\t\t" +
         Inicio.ToString(kShortDayAndTime) + "\r\n" + Translate("Fin:") + "\t\t" +
         GetEndDate().ToString(kShortDayAndTime) + "\r\n" + Translate("Duración:") + "\t\t" +
         Duration.GetSmartString() + "\r\n" + Translate("Código:") + "\t\t" + Code + "\r\n" +
         Translate("Descripción:") + "\t" + Description;
}

TVectorStrings* TBasicBox::GetStrings() {
  SharedStrings.clear();
  SharedStrings.push_back(Code);
  SharedStrings.push_back(ToString(static_cast<short>(2)));
  SharedStrings.push_back(Description);
  return &SharedStrings;
}

void TBasicBox::ReadFromStr(const AnsiString& text) {
  // The fields are views into `text`; only Code and Description are copied.
  std::array<std::string_view, kBoxTextFields> fields;
  if (!ScanFields(text, fields)) return;
  // One field at a time, so a bad field leaves the ones before it assigned.
  Inicio.SetValue(StrToInt64(fields[0]));
  Duration.SetValue(cuadrante::detail::DurationField(fields[1], Inicio.Value()));
  Type = static_cast<TTimePointType>(static_cast<int8_t>(ToInt(fields[2])));
  Level = LevelFromDouble(ToDouble(fields[3]));
  Color = static_cast<TColor>(StrToInt64(fields[4]));
  Code.assign(fields[5]);
  Description.assign(fields[6]);
  End = WrappedEnd(Inicio, Duration);
}

AnsiString TBasicBox::WriteToStr() {
  // One allocation sized for the numbers and both texts, filled in place.
  AnsiString text(kMaxNumbersLength + Code.size() + Description.size(), '\0');
  char* const last = text.data() + text.size();
  char* p = PutNumber(text.data(), last, Inicio.Value());
  *p++ = ';';
  p = PutNumber(p, last, Duration.Value());
  *p++ = ';';
  p = PutNumber(p, last, Type);
  *p++ = ';';
  p = PutNumber(p, last, Level);
  *p++ = ';';
  // Signed 32 bits widened: a colour above 0x7FFFFFFF prints negative.
  p = PutNumber(p, last, static_cast<int64_t>(static_cast<int32_t>(Color)));
  *p++ = ';';
  p = std::copy(Code.begin(), Code.end(), p);
  *p++ = ';';
  p = std::copy(Description.begin(), Description.end(), p);
  text.resize(static_cast<size_t>(p - text.data()));
  return text;
}

TRect TBasicBox::CalculateBox(const TRect& rect, TFecha& origin, int& x0, double& scale) {
  const TDuration offset(static_cast<int64_t>(static_cast<uint64_t>(Inicio.Value()) -
                                              static_cast<uint64_t>(origin.Value())));
  const int left = ToPixel(offset.AsMinutes() * scale + x0);
  const int right = ToPixel(Duration.AsMinutes() * scale + left);
  // Clipped at the pixel after the axis; the right edge keeps the true start.
  Box.Left = x0 > left ? x0 + 1 : left;
  Box.Top = rect.Top;
  Box.Right = right;
  Box.Bottom = rect.Bottom;
  return Box;
}

TRect TBasicBox::CalculateFullBox(const TRect& rect, TFecha& origin, int& x0, double& scale) {
  const TFecha difference(static_cast<int64_t>(static_cast<uint64_t>(Inicio.Value()) -
                                               static_cast<uint64_t>(origin.Value())));
  const TDuration offset(difference.Date());
  const TDuration span(
      static_cast<int64_t>(static_cast<uint64_t>(End.DaysBetween(Inicio)) + 86400U));
  int left = ToPixel(offset.AsMinutes() * scale + x0 + 1.0);
  if (x0 > left) left = x0 + 1;
  const int right = ToPixel(span.AsMinutes() * scale + left - 1.0);
  Box.Left = left;
  Box.Top = rect.Top;
  Box.Right = right;
  Box.Bottom = rect.Bottom;
  return Box;
}

bool TBasicBox::IsPointXInBox(int x, int y) const {
  return Box.Left <= x && x <= Box.Right && Box.Top <= y && y <= Box.Bottom;
}
