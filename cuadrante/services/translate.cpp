#include "cuadrante/services/translate.h"

#include <memory>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <string_view>

#include "cuadrante/documents/inifile.h"
#include "cuadrante/internal/lifecycle.h"
#include "cuadrante/port/files.h"
#include "cuadrante/port/fileutil.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/services/messagesmgr.h"

namespace cuadrante::detail {
namespace {

constexpr const char* kSection = "Localization";
constexpr const char* kDictionaryKey = "Dictionary";
constexpr std::string_view kPropertyPrefix = "TransFormProp";
constexpr const char* kUnfilled = "<N/A>";

// Guards `_Translate` and everything in it. Worker threads translate labels
// while others miss on new texts at the same moment; a plain lookup takes it
// shared, adding a row takes it exclusive.
std::shared_mutex translatorLock;
// Serialises the writes of the dictionary file, so that a write built from an
// older state of the rows can't land after one built from a newer state. Taken
// before `translatorLock`, never after.
std::mutex writeLock;

TTransData* DataOf(const TTranslate& translator, int index) {
  return static_cast<TTransData*>(translator.Rows.Objects(index));
}

void ClearRows(TTranslate& translator) {
  for (int i = 0; i < translator.Rows.Count(); ++i) delete DataOf(translator, i);
  translator.Rows.Clear();
  translator.Notes.clear();
}

// Whether a row of the dictionary file can hold `text` as its key: a tab
// would split it, a line break or NUL would end the row, and the file is
// UTF-8 text.
bool FitsInARow(std::string_view text) {
  return text.find_first_of(std::string_view("\t\n\r\0", 4)) == std::string_view::npos &&
         cuadrante::IsValidUtf8(text);
}

// The answer of a lookup that needs no new row, or nothing when the text is
// missing and a row has to be added. REQUIRES: translatorLock, either mode.
std::optional<AnsiString> FindTranslation(const AnsiString& text) {
  const TTranslate* translator = _Translate;
  if (translator == nullptr || translator->Loaded == 0 || text.empty()) return text;
  int index = 0;
  if (!translator->Rows.Find(text, index)) return std::nullopt;
  const AnsiString& translation = DataOf(*translator, index)->Translation;
  return translation.empty() ? text : translation;
}

void ReadDictionary(TTranslate& translator) {
  if (!FileExists(translator.DictionaryFile)) return;
  try {
    TStringList lines;
    lines.LoadFromFile(translator.DictionaryFile);
    for (int i = 0; i < lines.Count(); ++i) {
      const AnsiString& line = lines[i];
      const size_t tab = line.find('\t');
      if (tab == AnsiString::npos) {
        translator.Notes.push_back(line);
        continue;
      }
      auto data = std::make_unique<TTransData>(line.substr(tab + 1));
      try {
        translator.Rows.AddObject(line.substr(0, tab), data.get());
        static_cast<void>(data.release());  // the row owns it now
        translator.Loaded = 1;
      } catch (const EStringListError&) {
        // The first row of a key wins; later ones are dropped.
      }
    }
  } catch (const std::exception&) {
    // A dictionary that can't be read ends the reading; the rows read so far
    // stay and translation goes on with them.
  }
}

// REQUIRES: translatorLock exclusive.
void ReadSettings(TTranslate& translator, const AnsiString& iniFile) {
  if (!FileExists(iniFile)) return;
  const TIniFile ini(iniFile);
  translator.DictionaryFile = translator.BasePath + ini.ReadString(kSection, kDictionaryKey, "");
  translator.WriteBack = !SameFile(translator.DictionaryFile, iniFile);
  if (!translator.WriteBack && _MessagesMgr != nullptr) {
    // Not translated: the translator is being built under its own lock.
    _MessagesMgr->PushMessage("El diccionario \"" + translator.DictionaryFile +
                              "\" es el fichero de configuración: no se reescribe.");
  }
  TStringList& properties = translator.Properties;
  ini.ReadSectionValues(kSection, properties);
  for (int i = properties.Count() - 1; i >= 0; --i) {
    const AnsiString& line = properties[i];
    if (!line.starts_with(kPropertyPrefix)) {
      properties.Delete(i);
      continue;
    }
    const size_t equals = line.find('=');
    properties.SetStrings(i, equals == AnsiString::npos ? AnsiString() : line.substr(equals + 1));
  }
  ReadDictionary(translator);
}

// The whole dictionary file: the notes, then every row in the order of Rows,
// with CR LF ends. Rows are sorted, so a note has no row to stay beside: the
// notes keep their own order at the top, where a translator finds them.
// REQUIRES: translatorLock, either mode.
AnsiString DictionaryText(const TTranslate& translator) {
  TStringList lines;
  for (const AnsiString& note : translator.Notes) lines.Add(note);
  for (int i = 0; i < translator.Rows.Count(); ++i) {
    lines.Add(translator.Rows[i] + "\t" + DataOf(translator, i)->Translation);
  }
  return lines.Text();
}

// REQUIRES: no lock held, since the properties' getters and setters are the
// host's code and may translate themselves.
void TranslateObject(TObject* object, const TStringList& properties) {
  for (int i = 0; i < properties.Count(); ++i) {
    const PPropInfo prop = GetPropInfo(object, properties[i]);
    if (prop == nullptr) continue;
    SetStrProp(object, prop, Transport::Translate(GetStrProp(object, prop)));
  }
}

}  // namespace
}  // namespace cuadrante::detail

using namespace cuadrante::detail;

TTransData::TTransData(const AnsiString& translation) : Translation(translation) {}

TTransData::~TTransData() = default;

TTranslate::TTranslate() {
  Rows.SetSorted(true);
  Rows.SetDuplicates(dupError);
}

TTranslate::~TTranslate() { ClearRows(*this); }

void InitTRANS(const AnsiString& iniFile) {
  if (!bTransActivated) return;
  std::unique_lock lock(translatorLock);
  if (_Translate != nullptr) return;
  auto translator = std::make_unique<TTranslate>();
  translator->BasePath = iniFile;
  ReadSettings(*translator, iniFile);
  _Translate = translator.release();
}

void EndTRANS() {
  if (!bTransActivated) return;
  cuadrante::detail::StopTranslator();
}

void cuadrante::detail::StopTranslator() {
  std::lock_guard writing(writeLock);
  std::unique_lock lock(translatorLock);
  if (_Translate == nullptr) return;
  if (_Translate->Modified && _Translate->WriteBack) {
    cuadrante::WriteFileAtomically(_Translate->DictionaryFile, DictionaryText(*_Translate));
  }
  delete _Translate;
  _Translate = nullptr;
}

void ReLoadDictionary(const AnsiString& iniFile) {
  if (!bTransActivated) return;
  std::unique_lock lock(translatorLock);
  if (_Translate == nullptr) return;
  // Settings that have gone away are no reason to forget the dictionary in
  // use: emptying the rows here would leave Loaded at 1 with nothing behind
  // it, and the next write would replace the file with "<N/A>" rows alone. So
  // a missing INI keeps the rows and the property names as they are.
  if (!FileExists(iniFile)) return;
  _Translate->Properties.Clear();
  ClearRows(*_Translate);
  ReadSettings(*_Translate, iniFile);
}

namespace Transport {

AnsiString Translate(const AnsiString& text) {
  if (!bTransActivated) return text;
  {
    std::shared_lock lock(translatorLock);
    if (std::optional<AnsiString> found = FindTranslation(text)) return *found;
  }
  // A miss. Another thread may have added the row or ended the translator
  // between the two locks, so the lookup runs again before adding.
  std::unique_lock lock(translatorLock);
  if (std::optional<AnsiString> found = FindTranslation(text)) return *found;
  if (!FitsInARow(text)) return text;
  auto data = std::make_unique<TTransData>(kUnfilled);
  _Translate->Rows.AddObject(text, data.get());
  static_cast<void>(data.release());  // the row owns it now
  _Translate->Modified = true;
  return text;
}

bool TranslateForm(TComponent* form) {
  if (!bTransActivated) return true;
  TStringList properties;
  {
    std::shared_lock lock(translatorLock);
    if (_Translate == nullptr || _Translate->Loaded == 0) return true;
    properties = _Translate->Properties;
  }

  bool translated = form != nullptr;
  if (form != nullptr) {
    try {
      TranslateObject(form, properties);
      for (int i = 0; i < form->ComponentCount(); ++i) {
        try {
          TranslateObject(form->GetComponent(i), properties);
        } catch (...) {
          // One component that fails leaves the others to be translated.
        }
      }
    } catch (...) {
      translated = false;
    }
  }

  std::lock_guard writing(writeLock);
  AnsiString path;
  AnsiString text;
  {
    std::shared_lock lock(translatorLock);
    if (_Translate == nullptr || !_Translate->Modified || !_Translate->WriteBack) {
      return translated;
    }
    path = _Translate->DictionaryFile;
    text = DictionaryText(*_Translate);
  }
  cuadrante::WriteFileAtomically(path, text);
  return translated;
}

}  // namespace Transport
