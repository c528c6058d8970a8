#include "tools/cuadrante/labels.h"

#include <array>

#include "cuadrante/port/files.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/formatsettings.h"
#include "cuadrante/runtime/sysutils.h"
#include "cuadrante/services/translate.h"
#include "cuadrante/vocabulary/basicdefines.h"

namespace cuadrante::tool {
namespace {

constexpr const char* kUnfilled = "<N/A>";

// Read while translation is off, so they are the texts themselves.
struct PlainLabels {
  PlainLabels() {
    for (int type = 0; type < kTimePointTypeCount; ++type)
      types[static_cast<size_t>(type)] = GetIncidenceTypeAsStr(static_cast<short>(type));
    for (int day = 0; day < 7; ++day)
      days[static_cast<size_t>(day)] = GetDayStr(static_cast<short>(day));
  }
  std::array<std::string, kTimePointTypeCount> types;
  std::array<std::string, 7> days;
};

const PlainLabels& Plain() {
  static const PlainLabels labels;
  return labels;
}

template <size_t N>
void SayEach(std::array<AnsiString, N>& names) {
  for (AnsiString& name : names) name = Say(name);
}

}  // namespace

void UseDictionary(const std::string& ini, bool collect) {
  // The library takes a missing or empty settings file for "no translation";
  // a person who asked for one is told instead.
  if (!FileExists(ini)) throw EFOpenError(ini + ": no such settings file");
  Plain();
  bTransActivated = true;
  InitTRANS(ini);
  if (_Translate == nullptr || _Translate->DictionaryFile == _Translate->BasePath) {
    throw EConvertError(ini + ": names no dictionary (section Localization, key Dictionary)");
  }
  _Translate->WriteBack = collect;
  SayEach(FormatSettings.ShortMonthNames);
  SayEach(FormatSettings.LongMonthNames);
  SayEach(FormatSettings.ShortDayNames);
  SayEach(FormatSettings.LongDayNames);
}

std::string Say(const std::string& text) {
  if (!bTransActivated || _Translate == nullptr) return text;
  const std::string said = Transport::Translate(text);
  return said == kUnfilled ? text : said;
}

std::string TypeLabel(int type) {
  if (type < 0 || type >= kTimePointTypeCount)
    return GetIncidenceTypeAsStr(static_cast<short>(type));
  return Say(Plain().types[static_cast<size_t>(type)]);
}

std::string DayLabel(int dayOfWeek) {
  return Say(Plain().days[static_cast<size_t>((dayOfWeek + 6) % 7)]);
}

}  // namespace cuadrante::tool
