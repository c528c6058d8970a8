#include "cuadrante/documents/inifile.h"

// The packaged header keeps its template bodies behind this switch; this is the
// only unit that includes it, so the bodies are instantiated here.
#define SI_IMPLEMENTATION
#include <SimpleIni.h>

#include <cctype>
#include <cstdint>
#include <string>
#include <utility>

#include "cuadrante/port/files.h"
#include "cuadrante/port/fileutil.h"
#include "cuadrante/runtime/exception.h"

namespace cuadrante::detail {
namespace {

// Multi-key mode keeps every line of a key that a hand-edited file repeats, so
// reads can answer the first one and a write replaces them all.
struct Ini {
  Ini() {
    data.SetMultiKey(true);
    data.SetSpaces(false);  // key=value, as other INI writers do
  }
  CSimpleIniA data;
};

// For a read, what cannot be read (a FIFO, a device, a file over the limit)
// reads as empty, like a missing file.
void Load(const AnsiString& fileName, Ini& ini) {
  AnsiString contents;
  try {
    contents = cuadrante::ReadWholeFile(fileName, cuadrante::kSettingsFileLimit);
  } catch (const EFileError&) {
    return;
  }
  if (ini.data.LoadData(contents) < 0) ini.data.Reset();
}

// For a write only a missing file is empty: a file that is there but cannot
// be read must not be replaced by one that holds the new key alone.
void LoadForChange(const AnsiString& fileName, Ini& ini) {
  if (cuadrante::detail::PathIsMissing(fileName)) return;
  const AnsiString contents = cuadrante::ReadWholeFile(fileName, cuadrante::kSettingsFileLimit);
  if (ini.data.LoadData(contents) < 0) throw EFOpenError("Cannot read file \"" + fileName + "\"");
}

bool IsControl(char c) { return static_cast<unsigned char>(c) < ' ' || c == 0x7F; }

// Why `text` cannot stand where `what` goes in an INI file, or null when it
// can. The reader trims blanks around names and values, ends a line at CR or
// LF, takes the first '=' as the end of the key, and a line that begins with
// ';' or '#' as a comment and with '[' as a section.
const char* Unwritable(std::string_view text, char what) {
  if (!cuadrante::IsValidUtf8(text)) return "is not valid UTF-8";
  for (char c : text) {
    if (c == '\n' || c == '\r') return "holds a line break";
    if (c == '\0') return "holds a NUL character";
    if (what != 'v' && IsControl(c)) return "holds a control character";
  }
  if (!text.empty() && (static_cast<unsigned char>(text.front()) <= ' ' ||
                        static_cast<unsigned char>(text.back()) <= ' ')) {
    return "begins or ends with a blank";
  }
  if (what == 's' && text.find_first_of("[]") != std::string_view::npos) {
    return "holds a square bracket";
  }
  if (what == 'k') {
    if (text.empty()) return "is empty";
    if (text.find('=') != std::string_view::npos) return "holds '='";
    if (text.front() == ';' || text.front() == '#') return "begins as a comment does";
    if (text.front() == '[') return "begins as a section does";
  }
  return nullptr;
}

// Raises Exception, before anything is written, for a section, key or value
// that would not read back as written or would change other entries.
void CheckWritable(const AnsiString& fileName, const AnsiString& section, const AnsiString& ident,
                   const AnsiString& value) {
  const std::pair<const AnsiString*, char> parts[] = {
      {&section, 's'}, {&ident, 'k'}, {&value, 'v'}};
  for (const auto& [text, what] : parts) {
    if (const char* why = Unwritable(*text, what)) {
      const char* name = what == 's' ? "section name" : what == 'k' ? "key" : "value";
      throw Exception("Cannot write key \"" + ident + "\" of section [" + section + "] in \"" +
                      fileName + "\": the " + name + " " + why +
                      ", which an INI file cannot carry");
    }
  }
}

CSimpleIniA::TNamesDepend KeysInFileOrder(const Ini& ini, const AnsiString& section) {
  CSimpleIniA::TNamesDepend keys;
  ini.data.GetAllKeys(section.c_str(), keys);
  keys.sort(CSimpleIniA::Entry::LoadOrder());
  return keys;
}

// Every section, key and value in file order, each section's name followed by
// its "key=value" lines, each line ended by a NUL that no entry can hold.
std::string Entries(const Ini& ini) {
  std::string entries;
  CSimpleIniA::TNamesDepend sections;
  ini.data.GetAllSections(sections);
  sections.sort(CSimpleIniA::Entry::LoadOrder());
  for (const auto& section : sections) {
    entries.append("[").append(section.pItem).append("]").push_back('\0');
    for (const auto& key : KeysInFileOrder(ini, section.pItem)) {
      CSimpleIniA::TNamesDepend values;
      ini.data.GetAllValues(section.pItem, key.pItem, values);
      values.sort(CSimpleIniA::Entry::LoadOrder());
      for (const auto& value : values)
        entries.append(key.pItem).append("=").append(value.pItem).push_back('\0');
    }
  }
  return entries;
}

// A hand-edited file may hold lines that the reader takes in a way its writer
// cannot give back (a section header left open across lines, say); writing it
// out would change entries that nobody asked to change. So the text to be
// saved is read back first, and refused unless every entry survives it.
void Save(const AnsiString& fileName, const Ini& ini) {
  std::string text;
  if (ini.data.Save(text) < 0) throw EFCreateError("Cannot create file \"" + fileName + "\"");
  Ini reread;
  if (reread.data.LoadData(text) < 0 || Entries(reread) != Entries(ini)) {
    throw Exception("Cannot write \"" + fileName +
                    "\": it holds lines that a rewrite would change; mend them by hand first");
  }
  cuadrante::WriteFileAtomically(fileName, text);
}

}  // namespace
}  // namespace cuadrante::detail

using namespace cuadrante::detail;

TIniFile::TIniFile(const AnsiString& fileName) : fileName_(fileName) {}

TIniFile::~TIniFile() = default;

AnsiString TIniFile::ReadString(const AnsiString& section, const AnsiString& ident,
                                const AnsiString& defaultValue) const {
  Ini ini;
  Load(fileName_, ini);
  const char* value = ini.data.GetValue(section.c_str(), ident.c_str(), nullptr);
  return value == nullptr ? defaultValue : AnsiString(value);
}

int TIniFile::ReadInteger(const AnsiString& section, const AnsiString& ident,
                          int defaultValue) const {
  const AnsiString text = Trim(ReadString(section, ident, ""));
  // Hexadecimal after "0x", as INI files written by hand often hold colours.
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    if (text.size() > 10) return defaultValue;
    uint32_t value = 0;
    for (size_t i = 2; i < text.size(); ++i) {
      const char c = static_cast<char>(std::tolower(static_cast<unsigned char>(text[i])));
      const int digit = c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
      if (digit < 0) return defaultValue;
      value = value * 16 + static_cast<uint32_t>(digit);
    }
    return static_cast<int>(value);
  }
  return StrToIntDef(text, defaultValue);
}

bool TIniFile::ReadBool(const AnsiString& section, const AnsiString& ident,
                        bool defaultValue) const {
  return ReadInteger(section, ident, defaultValue ? 1 : 0) != 0;
}

void TIniFile::ReadSection(const AnsiString& section, TStrings& strings) const {
  Ini ini;
  Load(fileName_, ini);
  strings.Clear();
  for (const auto& key : KeysInFileOrder(ini, section)) strings.Add(key.pItem);
}

void TIniFile::ReadSectionValues(const AnsiString& section, TStrings& strings) const {
  Ini ini;
  Load(fileName_, ini);
  strings.Clear();
  for (const auto& key : KeysInFileOrder(ini, section)) {
    strings.Add(AnsiString(key.pItem) + "=" + ini.data.GetValue(section.c_str(), key.pItem, ""));
  }
}

void TIniFile::ReadSections(TStrings& strings) const {
  Ini ini;
  Load(fileName_, ini);
  CSimpleIniA::TNamesDepend sections;
  ini.data.GetAllSections(sections);
  sections.sort(CSimpleIniA::Entry::LoadOrder());
  strings.Clear();
  for (const auto& section : sections) strings.Add(section.pItem);
}

bool TIniFile::SectionExists(const AnsiString& section) const {
  Ini ini;
  Load(fileName_, ini);
  return ini.data.SectionExists(section.c_str());
}

bool TIniFile::ValueExists(const AnsiString& section, const AnsiString& ident) const {
  Ini ini;
  Load(fileName_, ini);
  return ini.data.KeyExists(section.c_str(), ident.c_str());
}

void TIniFile::WriteString(const AnsiString& section, const AnsiString& ident,
                           const AnsiString& value) {
  CheckWritable(fileName_, section, ident, value);
  // Read again under the lock, so that what other writers saved meanwhile is
  // kept and only this key changes.
  const cuadrante::TFileUpdateLock lock(fileName_);
  Ini ini;
  LoadForChange(fileName_, ini);
  // A key that is there keeps the spelling of its name; only its value changes.
  AnsiString name = ident;
  const SI_GenericNoCase<char> less;
  for (const auto& key : KeysInFileOrder(ini, section)) {
    if (!less(key.pItem, ident.c_str()) && !less(ident.c_str(), key.pItem)) name = key.pItem;
  }
  if (ini.data.SetValue(section.c_str(), name.c_str(), value.c_str(), nullptr, true) < 0) {
    throw EFCreateError("Cannot create file \"" + fileName_ + "\"");
  }
  Save(fileName_, ini);
}

void TIniFile::WriteInteger(const AnsiString& section, const AnsiString& ident, int value) {
  WriteString(section, ident, IntToStr(value));
}

void TIniFile::WriteBool(const AnsiString& section, const AnsiString& ident, bool value) {
  WriteString(section, ident, value ? "1" : "0");
}

void TIniFile::DeleteKey(const AnsiString& section, const AnsiString& ident) {
  const cuadrante::TFileUpdateLock lock(fileName_);
  Ini ini;
  LoadForChange(fileName_, ini);
  if (ini.data.Delete(section.c_str(), ident.c_str(), false)) Save(fileName_, ini);
}

void TIniFile::EraseSection(const AnsiString& section) {
  const cuadrante::TFileUpdateLock lock(fileName_);
  Ini ini;
  LoadForChange(fileName_, ini);
  if (ini.data.Delete(section.c_str(), nullptr)) Save(fileName_, ini);
}
