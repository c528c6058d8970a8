// The XML document of a point set: root "POINTSMGR", one "POINT" element for
// each point in list order, holding the point's own text form. The document
// does not say what class its points are; the reader's prototype does.
#include "cuadrante/points/basicpointmgr.h"

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/xmldocument.h"

namespace cuadrante::detail {
namespace {

// Blank as Trim sees it: nothing but bytes up to the space. Checked in place,
// so that a large document is not copied only to be trimmed.
bool IsBlank(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return static_cast<unsigned char>(c) <= ' '; });
}

// What a byte of a point's text asks of the writer.
enum TByteKind : unsigned char { kPlain, kEscaped, kRefused, kHigh };

constexpr std::array<TByteKind, 256> MakeByteKinds() {
  std::array<TByteKind, 256> kinds{};
  for (int c = 0; c < 256; ++c) {
    if (c >= 0x80) {
      kinds[c] = kHigh;
    } else if (c == '&' || c == '<' || c == '>') {
      kinds[c] = kEscaped;
    } else if (c < ' ' && c != '\t' && c != '\n') {
      kinds[c] = kRefused;
    }
  }
  return kinds;
}
constexpr std::array<TByteKind, 256> kByteKinds = MakeByteKinds();

[[noreturn]] void RefuseText() {
  throw EXMLDocError("The text of <POINT> holds a character that an XML document cannot carry");
}

// One "POINT" element on a line of its own, indented by two blanks, its text
// escaped: the bytes that the XML service writes for such an element, which
// is the form that the document has always had. A text that the service would
// refuse is refused the same way; one pass over the bytes decides both, and
// only a text with bytes beyond ASCII needs the full UTF-8 check.
void AppendPoint(AnsiString& xml, std::string_view text) {
  if (text.empty()) {
    xml += "  <POINT />\n";
    return;
  }
  xml += "  <POINT>";
  bool high = false;
  size_t run = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    switch (kByteKinds[static_cast<unsigned char>(text[i])]) {
      case kPlain:
        break;
      case kHigh:
        high = true;
        break;
      case kRefused:
        RefuseText();
      case kEscaped:
        xml.append(text, run, i - run);
        xml += text[i] == '&' ? "&amp;" : text[i] == '<' ? "&lt;" : "&gt;";
        run = i + 1;
        break;
    }
  }
  if (high && !cuadrante::CanCarryText(text)) RefuseText();
  xml.append(text, run);
  xml += "</POINT>\n";
}

}  // namespace
}  // namespace cuadrante::detail

bool TBasicPointMgr::SaveToXML(AnsiString& xml) const {
  // An empty set has no document, only this one blank.
  xml.assign(1, ' ');
  if (Points.empty()) return true;
  // Written straight into `xml`, in the form the XML service gives a document
  // built node by node: a tree of every point first would cost more than the
  // writing. What `xml` held lends its room; a failure leaves the one blank.
  try {
    xml.assign(R"(<?xml version="1.0" encoding="UTF-8" standalone="no"?>)"
               "\n<POINTSMGR>\n");
    for (TBasicPoint* p : Points) cuadrante::detail::AppendPoint(xml, p->WriteToStr());
    xml += "</POINTSMGR>\n";
  } catch (...) {
    xml.assign(1, ' ');
    throw;
  }
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
