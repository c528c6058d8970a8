// Reads arbitrary bytes as the XML document of a point set. A text either
// loads, or raises the document error (the set left empty) or the conversion
// error (the points before the bad one kept); nothing crashes or leaks. What
// loaded must write a document that loads back to the same points.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "cuadrante/points/basicpointmgr.h"
#include "cuadrante/runtime/exception.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const AnsiString text(reinterpret_cast<const char*>(data), size);
  TBasicPoint proto;
  proto.Level = 7;
  TBasicPointMgr set;
  bool loaded = false;
  try {
    loaded = set.LoadFromXML(text, &proto);
  } catch (const EXMLDocError&) {
    if (!set.Points.empty()) std::abort();
    return 0;
  } catch (const EConvertError&) {
    return 0;
  }
  if (loaded == set.Points.empty()) std::abort();
  for (size_t i = 0; i < set.Points.size(); ++i) {
    if (set.Points[i]->Group != static_cast<unsigned char>(i + 1)) std::abort();
  }

  AnsiString xml;
  if (!set.SaveToXML(xml)) std::abort();
  TBasicPointMgr back;
  if (back.LoadFromXML(xml, &proto) != loaded) std::abort();
  if (back.Points.size() != set.Points.size()) std::abort();
  for (size_t i = 0; i < set.Points.size(); ++i) {
    if (back.Points[i]->WriteToStr() != set.Points[i]->WriteToStr()) std::abort();
  }
  return 0;
}
