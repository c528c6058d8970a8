// Arbitrary bytes as an INI file and as one write into it: the file's text,
// then a section, a key and a value separated by NUL bytes. A write that is
// accepted reads back as written and leaves every other key of the file as it
// was; a write that is refused leaves the file byte for byte.
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>

#include "cuadrante/documents/inifile.h"
#include "cuadrante/runtime/exception.h"
#include "fuzz/fuzzsupport.h"

namespace {

std::string Slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

// "section\nkey=value\n..." for every key but `skipSection`/`skipKey`.
std::string OtherKeys(const TIniFile& ini, const std::string& skipSection,
                      const std::string& skipKey) {
  std::string all;
  TStringList sections, keys;
  ini.ReadSections(sections);
  for (int s = 0; s < sections.Count(); ++s) {
    ini.ReadSection(sections[s], keys);
    for (int k = 0; k < keys.Count(); ++k) {
      if (SameText(sections[s], skipSection) && SameText(keys[k], skipKey)) continue;
      all += sections[s] + "\n" + keys[k] + "=" + ini.ReadString(sections[s], keys[k], "") + "\n";
    }
  }
  return all;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  std::string parts[4];
  size_t at = 0;
  for (int i = 0; i < 3; ++i) {
    const size_t nul = bytes.find('\0', at);
    if (nul == std::string::npos) break;
    parts[i] = bytes.substr(at, nul - at);
    at = nul + 1;
  }
  parts[3] = bytes.substr(at);
  const std::string& text = parts[0];
  const std::string& section = parts[1];
  const std::string& key = parts[2];
  const std::string& value = parts[3];

  const std::string path = cuadrante::fuzzing::RunFolder() + "/settings.ini";
  std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
  TIniFile ini(path);
  const std::string others = OtherKeys(ini, section, key);
  try {
    ini.WriteString(section, key, value);
  } catch (const EFileError&) {
    return 0;
  } catch (const Exception&) {
    if (Slurp(path) != text) __builtin_trap();  // refused, yet the file changed
    return 0;
  }
  if (ini.ReadString(section, key, value + "x") != value) __builtin_trap();
  if (OtherKeys(ini, section, key) != others) __builtin_trap();
  return 0;
}
