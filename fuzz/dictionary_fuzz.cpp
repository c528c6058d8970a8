// Arbitrary bytes as a dictionary file: loaded, looked up, reloaded, used on a
// small form and written back, without a crash or a leak.
#include <stdlib.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "cuadrante/runtime/component.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/services/translate.h"
#include "fuzz/fuzzsupport.h"

namespace {

// The folder of the run, with the settings that point at the dictionary.
const std::string& Folder() {
  static const bool settings = [] {
    std::ofstream(cuadrante::fuzzing::RunFolder() + "/trans.ini")
        << "[Localization]\nDictionary=.dic\nTransFormProp1=Name\n";
    return true;
  }();
  (void)settings;
  return cuadrante::fuzzing::RunFolder();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  const std::string ini = Folder() + "/trans.ini";
  std::ofstream(ini + ".dic", std::ios::binary | std::ios::trunc) << bytes;

  bTransActivated = true;
  InitTRANS(ini);
  // Keys from the input itself hit rows; the others miss and are collected.
  const std::string firstKey = bytes.substr(0, bytes.find('\t'));
  const std::string tail = bytes.substr(size / 2);
  for (const std::string& text : {firstKey, tail, std::string("Hola"), std::string()}) {
    Transport::Translate(text);
    Transport::Translate(text);
  }
  ReLoadDictionary(ini);
  Transport::Translate(firstKey);
  try {
    TComponent form(nullptr);
    form.Name = tail;
    auto* child = new TComponent(&form);
    child->Name = firstKey;
    Transport::TranslateForm(&form);
    EndTRANS();
  } catch (const Exception&) {
    // A write that fails leaves the translator to its caller.
    delete _Translate;
    _Translate = nullptr;
  }
  bTransActivated = false;
  return 0;
}
