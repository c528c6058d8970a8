// Arbitrary text given to SetNodeEnv: refused with the document service's
// exception, or taken; what GetNodeEnv then gives must go back through
// SetNodeEnv under another name and read back the same.
#include <stdlib.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/services/globalmgr.h"
#include "fuzz/fuzzsupport.h"

namespace {

const std::string& Folder() { return cuadrante::fuzzing::RunFolder(); }

// The section's XML without the first and last two bytes: "<A" and "A>" go,
// so sections that differ only in their own name compare equal.
std::string Inside(const std::string& node) {
  return node.size() < 4 ? node : node.substr(2, node.size() - 4);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool pointed = [] {
    _GlobalMgr.SetFileEnv(Folder() + "/Enviroment.xml");
    return true;
  }();
  (void)pointed;
  const std::string text(reinterpret_cast<const char*>(data), size);
  try {
    if (!_GlobalMgr.SetNodeEnv("A", text)) return 0;
  } catch (const Exception&) {
    return 0;  // not XML, or a name the document refuses
  }
  const std::string node = _GlobalMgr.GetNodeEnv("A");
  if (!_GlobalMgr.SetNodeEnv("B", node)) __builtin_trap();
  if (Inside(_GlobalMgr.GetNodeEnv("B")) != Inside(node)) __builtin_trap();
  return 0;
}
