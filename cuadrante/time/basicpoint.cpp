#include "cuadrante/time/basicpoint.h"

#include "cuadrante/runtime/exception.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <string_view>

#include "cuadrante/text/rutinasnumbers.h"
#include "cuadrante/text/rutinastext.h"

namespace cuadrante::detail {
namespace {

constexpr TColor kPointColor = 0xF0CAA6;
constexpr size_t kPointTextFields = 4;
constexpr const char* kDayAndTime = "dd/mm/yyyy hh:mm";
constexpr const char* kTime = "hh:mm";
constexpr size_t kMaxTextLength = 2 * 20 + 4 + 6 + 4;

// Writes `value` and `after` at `p`, and answers the position behind them.
char* PutField(char* p, char* last, int64_t value, char after) {
  char* const end = std::to_chars(p, last - 1, value).ptr;
  *end = after;
  return end + 1;
}

// Truncates toward zero; not-a-number is no time and hours beyond any calendar
// saturate, so no float a host passes makes the conversion undefined.
int64_t SecondsFromHours(float hours) {
  const double seconds = static_cast<double>(hours) * 3600;
  if (std::isnan(seconds)) return 0;
  constexpr double kLimit = 9.2e18;
  if (seconds >= kLimit) return std::numeric_limits<int64_t>::max();
  if (seconds <= -kLimit) return std::numeric_limits<int64_t>::min();
  return static_cast<int64_t>(seconds);
}

}  // namespace
}  // namespace cuadrante::detail

int64_t cuadrante::detail::DurationField(std::string_view field, int64_t start) {
  const int64_t duration = StrToInt64(field);
  int64_t end = 0;
  if (__builtin_add_overflow(start, duration, &end)) {
    throw EConvertError("'" + std::string(field) +
                        "' is not a valid duration: the point would end past the largest time");
  }
  return duration;
}

using namespace cuadrante::detail;

TBasicPoint::TBasicPoint(const TBasicPoint* other)
    : Inicio(other->Inicio),
      Duration(other->Duration),
      Type(other->Type),
      Level(other->Level),
      Group(other->Group) {}

TBasicPoint::TBasicPoint(const TBasicPoint& other) : TBasicPoint(&other) {}

TBasicPoint::TBasicPoint(const TFecha& inicio, const TDuration& duration)
    : Inicio(inicio), Duration(duration.Value()) {}

TBasicPoint::TBasicPoint(TDateTime inicio, float hours)
    : Inicio(inicio), Duration(SecondsFromHours(hours)) {}

TBasicPoint& TBasicPoint::operator=(const TBasicPoint& other) {
  Inicio = other.Inicio;
  Duration = other.Duration;
  Type = other.Type;
  Level = other.Level;
  Group = 0;
  return *this;
}

TBasicPoint::~TBasicPoint() = default;

TBasicPoint* TBasicPoint::Instance() { return new TBasicPoint(this); }

TBasicPoint* TBasicPoint::Instance(TBasicPoint* other) { return new TBasicPoint(other); }

TFecha TBasicPoint::GetEndDate() const { return TFecha(EndValue()); }

void TBasicPoint::RestartEnd() {}

TColor TBasicPoint::GetColor() const { return kPointColor; }

AnsiString TBasicPoint::ToString(short form) const {
  switch (form) {
    case 0:
      return usrFormatTime(Duration.Value(), tfComposed);
    case 1:
      return Inicio.ToString(kTime) + " - " + GetEndDate().ToString(kTime);
    case 2:
      return Inicio.ToString(kTime) + " - " + usrFormatTime(Duration.Value(), tfComposed);
    case 3:
      return Inicio.ToString(kDayAndTime) + " - " + GetEndDate().ToString(kTime);
    default:
      return Inicio.ToString(kDayAndTime) + " - " + GetEndDate().ToString(kDayAndTime);
  }
}

AnsiString TBasicPoint::ToString() const { return ToString(static_cast<short>(4)); }

AnsiString TBasicPoint::SmartString() const {
  return "DATE=" + Inicio.ToString(kDayAndTime) + "\t\tFIN=" + GetEndDate().ToString(kDayAndTime) +
         "\t\tDURATION=" + Duration.GetSmartString() + "\t\tTYPE=" + IntToStr(Type) +
         "\t\tLEVEL=" + IntToStr(Level) + "\t\tGROUP=" + IntToStr(Group);
}

TVectorStrings* TBasicPoint::GetStrings() { return &SharedStrings; }

void TBasicPoint::ReadFromStr(const AnsiString& text) {
  // The fields are views into `text`: reading a point allocates nothing.
  std::array<std::string_view, kPointTextFields> fields;
  if (!ScanFields(text, fields)) return;
  // One field at a time, so a bad field leaves the ones before it assigned.
  Inicio.SetValue(StrToInt64(fields[0]));
  Duration.SetValue(DurationField(fields[1], Inicio.Value()));
  Type = static_cast<TTimePointType>(static_cast<int8_t>(ToInt(fields[2])));
  Level = static_cast<short>(ToInt(fields[3]));
}

AnsiString TBasicPoint::WriteToStr() {
  // Room for two 64-bit numbers, an 8-bit and a 16-bit one and three separators:
  // the one allocation of the call, trimmed to its length at the end.
  AnsiString text(kMaxTextLength, '\0');
  char* const last = text.data() + text.size();
  char* p = PutField(text.data(), last, Inicio.Value(), ';');
  p = PutField(p, last, Duration.Value(), ';');
  p = PutField(p, last, Type, ';');
  p = PutField(p, last, Level, '\0');
  text.resize(static_cast<size_t>(p - text.data()) - 1);
  return text;
}

AnsiString TBasicPoint::GetTypeStr() const { return GetIncidenceTypeAsStr(Type); }

TFecha TBasicPoint::StartDate() const { return TFecha(Inicio.Date()); }

TDateTime TBasicPoint::AsDate() const { return Inicio.AsDate(); }

bool TBasicPoint::IsFree() const { return Type == tptFree || Type == tptTimetable; }

bool TBasicPoint::IsTask() const {
  switch (Type) {
    case tptTask:
    case tptCover:
    case tptChangeOfPost:
    case tptReducedDay:
    case tptExtendedDay:
      return true;
    default:
      return false;
  }
}

bool TBasicPoint::IsIncidence() const {
  return Type == tptIncidence || Type == tptSickLeave || Type == tptLeave;
}

bool TBasicPoint::IsAssignable() const {
  switch (Type) {
    case tptTimetable:
    case tptCover:
    case tptChangeOfPost:
    case tptReducedDay:
    case tptExtendedDay:
      return true;
    default:
      return false;
  }
}

bool TBasicPoint::IsWork() const { return Type == tptTimetable || IsTask(); }

bool TBasicPoint::Contain(const TFecha& d) const {
  return StartValue() <= d.Value() && d.Value() < EndValue();
}

bool TBasicPoint::ContainC(const TFecha& d) const {
  return StartValue() <= d.Value() && d.Value() <= EndValue();
}

bool TBasicPoint::Contain(const TBasicPoint* p) const {
  return StartValue() <= p->StartValue() && p->EndValue() <= EndValue();
}

bool TBasicPoint::Contain(const TFecha& a, const TFecha& b) const { return Solap(a, b); }

bool TBasicPoint::Solap(const TFecha& a, const TFecha& b) const {
  return StartValue() < b.Value() && EndValue() > a.Value();
}

bool TBasicPoint::Solap(const TBasicPoint* p) const {
  return StartValue() < p->EndValue() && p->StartValue() < EndValue();
}

bool TBasicPoint::LeftSolap(const TBasicPoint* p) const {
  return StartValue() < p->StartValue() && p->StartValue() < EndValue();
}

bool TBasicPoint::RightSolap(const TBasicPoint* p) const {
  return StartValue() < p->EndValue() && p->EndValue() < EndValue();
}

bool TBasicPoint::InitInDay(const TFecha& d) const { return Inicio.Date() == d.Date(); }

bool TBasicPoint::Equals(const TBasicPoint* p) const {
  return StartValue() == p->StartValue() && Duration.Value() == p->Duration.Value();
}

bool TBasicPoint::operator==(const TBasicPoint& p) const {
  return StartValue() == p.StartValue() && Duration.Value() == p.Duration.Value() && Type == p.Type;
}

TBasicPoint TBasicPoint::Intersection(const TBasicPoint* other) const {
  TBasicPoint result(this);
  if (other->StartValue() > result.StartValue()) {
    result.Duration.SetValue(result.EndValue() - other->StartValue());
    result.Inicio = other->Inicio;
  }
  const int64_t otherEnd = other->GetEndDate().Value();
  if (result.EndValue() > otherEnd) result.Duration.SetValue(otherEnd - result.StartValue());
  return result;
}
