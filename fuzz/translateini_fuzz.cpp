// Arbitrary bytes as the translation settings INI: the translator starts on
// it, translates, goes over a small form and writes its dictionary back,
// without a crash or a leak. Whatever file the INI names lies inside the run's
// folder: its name is appended to the INI's own path.
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

const std::string& Folder() { return cuadrante::fuzzing::RunFolder(); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  // Each run starts from the same files: the INI under test and a small
  // dictionary that an INI naming ".dic" finds.
  for (const auto& entry : std::filesystem::directory_iterator(Folder())) {
    std::filesystem::remove_all(entry.path());
  }
  const std::string ini = Folder() + "/trans.ini";
  std::ofstream(ini, std::ios::binary) << bytes;
  std::ofstream(ini + ".dic", std::ios::binary) << "Hola\tHello\r\nAdiós\t\r\n";

  bTransActivated = true;
  InitTRANS(ini);
  Transport::Translate("Hola");
  Transport::Translate("Texto nuevo");
  Transport::Translate(bytes.substr(0, 16));
  try {
    TComponent form(nullptr);
    form.Name = "Hola";
    auto* child = new TComponent(&form);
    child->Name = bytes.substr(size / 2);
    Transport::TranslateForm(&form);
    ReLoadDictionary(ini);
    Transport::Translate("Adiós");
    EndTRANS();
  } catch (const Exception&) {
    // A dictionary that can't be written leaves the translator to its caller.
    delete _Translate;
    _Translate = nullptr;
  }
  bTransActivated = false;
  return 0;
}
