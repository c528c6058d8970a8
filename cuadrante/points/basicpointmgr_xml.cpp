// The XML document of a point set: root "POINTSMGR", one "POINT" element for
// each point in list order, holding the point's own text form. The document
// does not say what class its points are; the reader's prototype does.
#include "cuadrante/points/basicpointmgr.h"

#include <algorithm>
#include <memory>
#include <string_view>

#include "cuadrante/runtime/xmldocument.h"

namespace cuadrante::detail {
namespace {

// Blank as Trim sees it: nothing but bytes up to the space. Checked in place,
// so that a large document is not copied only to be trimmed.
bool IsBlank(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return static_cast<unsigned char>(c) <= ' '; });
}

}  // namespace
}  // namespace cuadrante::detail

bool TBasicPointMgr::SaveToXML(AnsiString& xml) const {
  // An empty set has no document, only this one blank.
  xml.assign(1, ' ');
  if (Points.empty()) return true;
  cuadrante::TXMLDocument doc;
  const cuadrante::TXMLNode root = doc.CreateDocumentElement("POINTSMGR");
  for (TBasicPoint* p : Points) root.AddChild("POINT").SetText(p->WriteToStr());
  xml = doc.SaveToXML();
  return true;
}

bool TBasicPointMgr::LoadFromXML(const AnsiString& xml, TBasicPoint* proto) {
  ResetPoints();
  if (cuadrante::detail::IsBlank(xml)) return false;
  cuadrante::TXMLDocument doc;
  doc.LoadFromXML(xml);
  const cuadrante::TXMLNode root = doc.DocumentElement();
  Points.reserve(root.ChildCount());
  // Every child element of the root is a point, whatever the names say.
  // One text buffer serves every point: after the first few, reading a point
  // allocates only the clone.
  AnsiString text;
  unsigned position = 0;
  for (cuadrante::TXMLNode node = root.FirstChild(); node; node = node.NextSibling()) {
    std::unique_ptr<TBasicPoint> p(proto->Instance());
    text.assign(node.Text());
    // A field that is no number raises here: the points before it stay, and
    // this clone goes with the unwinding.
    p->ReadFromStr(text);
    // The position from 1, cut to 8 bits: the 256th point is group 0.
    p->Group = static_cast<unsigned char>(++position);
    // The slot first, then the hand-over: no moment in which the point
    // belongs to nobody.
    Points.push_back(nullptr);
    Points.back() = p.release();
  }
  return !Points.empty();
}
