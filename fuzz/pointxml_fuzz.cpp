// Reads arbitrary bytes as the XML document of a point set. A text either
// loads, or raises the document error (the set left empty) or the conversion
// error (the points before the bad one kept); nothing crashes or leaks. The
// outcome is the one of the XML tree alone, so the plain road never reads a
// text differently. What loaded must write a document that loads back to the
// same points.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "cuadrante/internal/pointsdocument.h"
#include "cuadrante/points/basicpointmgr.h"
#include "cuadrante/runtime/exception.h"

namespace {

// "true" or "false", or the error's kind and message; then each point's text
// and group.
template <class Load>
std::string Outcome(const TBasicPointMgr& set, Load load) {
  std::string out;
  try {
    out = load() ? "true" : "false";
  } catch (const EXMLDocError& e) {
    if (!set.Points.empty()) std::abort();
    out = "xml: " + e.Message;
  } catch (const EConvertError& e) {
    out = "convert: " + e.Message;
  }
  for (TBasicPoint* p : set.Points) out += " | " + p->WriteToStr() + "#" + std::to_string(p->Group);
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const AnsiString text(reinterpret_cast<const char*>(data), size);
  TBasicPoint proto;
  proto.Level = 7;
  TBasicPointMgr set;
  const std::string outcome = Outcome(set, [&] { return set.LoadFromXML(text, &proto); });
  TBasicPointMgr tree;
  if (outcome != Outcome(tree, [&] {
        return cuadrante::detail::LoadPointsThroughDocument(tree, text, &proto);
      })) {
    std::abort();
  }
  if (outcome.starts_with("xml: ") || outcome.starts_with("convert: ")) return 0;
  const bool loaded = outcome.starts_with("true");
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
