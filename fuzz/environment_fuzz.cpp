// Arbitrary bytes as the environment document's file: loaded (or replaced),
// looked up and changed, without a crash or a leak. A lookup must see what the
// change before it wrote; the first read may replace only a file that is
// empty or isn't XML, and then only once its bytes are kept beside it.
#include <stdlib.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/services/globalmgr.h"
#include "fuzz/fuzzsupport.h"

namespace {

const std::string& Folder() { return cuadrante::fuzzing::RunFolder(); }

// The bytes of `path`, or "" when it can't be read.
std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  const std::string path = Folder() + "/Enviroment.xml";
  const std::string aside = path + ".unreadable";
  std::filesystem::remove(aside);
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
  _GlobalMgr.SetFileEnv(path);
  _GlobalMgr.LoadEnviroment();
  if (!bytes.empty() && ReadAll(path) != bytes && ReadAll(aside) != bytes) __builtin_trap();

  // Names from the input itself reach sections and values that the file may
  // hold; they may also be no XML names at all.
  const std::string first = bytes.substr(0, bytes.find_first_of(" <>/=\"'\n"));
  const std::string tail = bytes.substr(size / 2, 12);
  for (const std::string& section : {std::string("GENERAL"), first, tail}) {
    _GlobalMgr.GetValueEnv(section, "ZV_MON_TIMEOUT");
    _GlobalMgr.GetValueEnv(section, first);
    _GlobalMgr.GetNodeEnv(section);
    try {
      // A value written is the value read, from memory and from the file; a
      // value that the file could not carry back is refused instead.
      if (_GlobalMgr.SetValueEnv(section, "ZV_MON_TIMEOUT", tail)) {
        if (_GlobalMgr.GetValueEnv(section, "ZV_MON_TIMEOUT") != tail) __builtin_trap();
        _GlobalMgr.Restart();
        if (_GlobalMgr.GetValueEnv(section, "ZV_MON_TIMEOUT") != tail) __builtin_trap();
      }
      _GlobalMgr.SetValueEnv(section, first, "1");
    } catch (const Exception&) {
      // A name that is no XML name is the caller's to hear about.
    }
  }
  _GlobalMgr.Restart();
  _GlobalMgr.GetValueEnv("GENERAL", "ZV_MON_TIMEOUT");
  return 0;
}
