#include "cuadrante/time/cyclepoint.h"

#include <array>
#include <charconv>
#include <cmath>
#include <string_view>

#include "cuadrante/services/globalmgr.h"
#include "cuadrante/text/rutinastext.h"

// The class-wide texts and the view window of RutinasFecha are the library's
// process-wide objects; they are defined with the unit until they join the
// others in library.cpp.

namespace cuadrante::detail {
namespace {

constexpr size_t kCycleFields = 8;
// Three 64-bit numbers (20 characters with the sign), type, level, periodicity,
// weekend and tag, and seven separators.
constexpr size_t kMaxCycleTextLength = 3 * 20 + 4 + 6 + 4 + 1 + 11 + 7;

char* PutCycleField(char* p, char* last, int64_t value, char after) {
  char* const end = std::to_chars(p, last - 1, value).ptr;
  *end = after;
  return end + 1;
}

// The level is read as a floating number, truncated toward zero and kept in
// 16 bits, as boxes read theirs. Infinite, not-a-number or beyond-64-bit texts
// give 0 rather than an undefined conversion.
short LevelFromText(std::string_view field) {
  const double value = ToDouble(field);
  if (!std::isfinite(value)) return 0;
  constexpr double kLimit = 9.2e18;
  if (value >= kLimit || value <= -kLimit) return 0;
  return static_cast<short>(static_cast<int64_t>(value));
}

}  // namespace
}  // namespace cuadrante::detail

using namespace cuadrante::detail;

TCyclePoint::TCyclePoint(const TCyclePoint* other)
    : TBasicPoint(other),
      Periodicity(other->Periodicity),
      EndDate(other->EndDate),
      WithWeekend(other->WithWeekend),
      CycleTag(other->CycleTag) {}

TCyclePoint::TCyclePoint(TDateTime inicio, TTimePointType type, float hours)
    : TBasicPoint(inicio, hours) {
  Type = type;
}

TCyclePoint::TCyclePoint(TFecha inicio, TTimePointType type, TDuration duration) {
  Inicio = inicio;
  Duration = duration;
  Type = type;
  Level = 0;
  Group = 0;
}

TCyclePoint::~TCyclePoint() = default;

TBasicPoint* TCyclePoint::Instance() { return new TCyclePoint(this); }

TBasicPoint* TCyclePoint::Instance(TBasicPoint* other) {
  // Only cycle points are ever handed here; the set that asks holds nothing else.
  return new TCyclePoint(static_cast<const TCyclePoint*>(other));
}

TFecha TCyclePoint::GetEndDate() const { return EndDate; }

TColor TCyclePoint::GetColor() const {
  // A type outside the table has no colour of its own: it gets the plain
  // point's, rather than reading past the table.
  const auto& colors = _GlobalMgr.Colors;
  if (Type < 0 || static_cast<size_t>(Type) >= colors.size()) return TBasicPoint::GetColor();
  return colors[static_cast<size_t>(Type)];
}

void TCyclePoint::ReadFromStr(const AnsiString& text) {
  // Views into `text`: reading a cycle allocates nothing.
  std::array<std::string_view, kCycleFields> fields;
  if (!ScanFields(text, fields)) return;
  // One field at a time, so a bad field leaves the ones before it assigned.
  Inicio.SetValue(StrToInt64(fields[0]));
  Duration.SetValue(cuadrante::detail::DurationField(fields[1], Inicio.Value()));
  Type = static_cast<TTimePointType>(static_cast<int8_t>(ToInt(fields[2])));
  Level = LevelFromText(fields[3]);
  Periodicity = static_cast<TTimesGroup>(static_cast<int8_t>(ToInt(fields[4])));
  WithWeekend = ToInt(fields[5]) != 0;
  CycleTag = ToInt(fields[6]);
  EndDate.SetValue(StrToInt64(fields[7]));
}

AnsiString TCyclePoint::WriteToStr() {
  // The one allocation of the call, trimmed to its length at the end.
  AnsiString text(kMaxCycleTextLength, '\0');
  char* const last = text.data() + text.size();
  char* p = PutCycleField(text.data(), last, Inicio.Value(), ';');
  p = PutCycleField(p, last, Duration.Value(), ';');
  p = PutCycleField(p, last, Type, ';');
  p = PutCycleField(p, last, Level, ';');
  p = PutCycleField(p, last, Periodicity, ';');
  p = PutCycleField(p, last, WithWeekend ? 1 : 0, ';');
  p = PutCycleField(p, last, CycleTag, ';');
  p = PutCycleField(p, last, EndDate.Value(), '\0');
  text.resize(static_cast<size_t>(p - text.data()) - 1);
  return text;
}
