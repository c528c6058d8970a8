// The XML document of a point set: root "POINTSMGR", one "POINT" element for
// each point in list order, holding the point's own text form. The document
// does not say what class its points are; the reader's prototype does.
//
// Reading has two roads. The plain form that SaveToXML writes is read straight
// from the text, at the cost of the points alone; any other document goes
// through the XML service's tree, which costs several times the text. The
// plain road takes only what the tree would read the same way, so it never
// changes a result, and leaves every error to the tree.
#include "cuadrante/points/basicpointmgr.h"

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>

#include "cuadrante/documents/xmldocument.h"
#include "cuadrante/internal/pointsdocument.h"
#include "cuadrante/runtime/exception.h"

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

constexpr std::string_view kPlainDeclaration =
    R"(<?xml version="1.0" encoding="UTF-8" standalone="no"?>)";
constexpr std::string_view kUtf8Bom = "\xEF\xBB\xBF";
// Declarations that leave the text UTF-8 and so read it as it is: ours and
// the ones other writers give. One naming another encoding goes to the tree,
// which converts the text.
constexpr std::string_view kPlainDeclarations[] = {
    kPlainDeclaration, R"(<?xml version="1.0" encoding="UTF-8"?>)",
    R"(<?xml version="1.0" encoding="utf-8"?>)", R"(<?xml version="1.0"?>)"};

// The bytes of a "POINT" text that the tree gives back as they are. The
// others end the plain road's text: '<' where the end tag must follow, and
// what the tree would change or stop at (a reference to restore, a carriage
// return that becomes a line feed, a NUL that ends the parser's text).
constexpr std::array<bool, 256> MakePlainTextBytes() {
  std::array<bool, 256> plain{};
  plain.fill(true);
  plain['<'] = plain['&'] = plain['\r'] = plain['\0'] = false;
  return plain;
}
constexpr std::array<bool, 256> kPlainTextBytes = MakePlainTextBytes();

bool IsXmlSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// Walks the plain form one "POINT" at a time. Anything it does not know, from
// a comment or an attribute to a broken tag, stops it with kOther.
class TPlainReader {
 public:
  enum TStep { kPoint, kEnd, kOther };

  explicit TPlainReader(std::string_view xml) : xml_(xml) {
    Take(kUtf8Bom);
    for (std::string_view declaration : kPlainDeclarations) {
      if (Take(declaration)) break;
    }
    SkipSpace();
    plain_ = Take("<POINTSMGR>");
  }

  // kPoint with the element's text in `text`, borrowed from the document;
  // kEnd after the root's end tag and the blanks that close the document.
  TStep Next(std::string_view& text) {
    if (!plain_) return kOther;
    SkipSpace();
    if (Take("<POINT>")) {
      const size_t start = pos_;
      while (pos_ < xml_.size() && kPlainTextBytes[static_cast<unsigned char>(xml_[pos_])]) ++pos_;
      text = xml_.substr(start, pos_ - start);
      if (Take("</POINT>")) return kPoint;
    } else if (Take("<POINT />") || Take("<POINT/>")) {
      text = {};
      return kPoint;
    } else if (Take("</POINTSMGR>")) {
      SkipSpace();
      if (pos_ == xml_.size()) return kEnd;
    }
    plain_ = false;
    return kOther;
  }

 private:
  bool Take(std::string_view token) {
    if (xml_.compare(pos_, token.size(), token) != 0) return false;
    pos_ += token.size();
    return true;
  }
  void SkipSpace() {
    while (pos_ < xml_.size() && IsXmlSpace(xml_[pos_])) ++pos_;
  }

  std::string_view xml_;
  size_t pos_ = 0;
  bool plain_ = false;
};

// Appends a clone of `proto` read from `text`, its group the position from 1
// cut to 8 bits (the 256th point is group 0). `buffer` serves every point, so
// that after the first few reading a point allocates only the clone.
void ReadPoint(TBasicPointMgr& set, TBasicPoint* proto, AnsiString& buffer, std::string_view text) {
  std::unique_ptr<TBasicPoint> p(proto->Instance());
  buffer.assign(text);
  // A field that is no number raises here: the points before it stay, and
  // this clone goes with the unwinding.
  p->ReadFromStr(buffer);
  p->Group = static_cast<unsigned char>(set.Points.size() + 1);
  // The slot first, then the hand-over: no moment in which the point
  // belongs to nobody.
  set.Points.push_back(nullptr);
  set.Points.back() = p.release();
}

}  // namespace

bool LoadPlainPoints(TBasicPointMgr& set, std::string_view xml, TBasicPoint* proto) {
  // The whole document is checked before the first point is made: one that
  // turns out broken or not plain near its end must fail, or be read, by the
  // tree as if the plain road had never been tried. The count it gives lets
  // the list take its room once.
  std::string_view text;
  size_t count = 0;
  TPlainReader check(xml);
  TPlainReader::TStep step;
  while ((step = check.Next(text)) == TPlainReader::kPoint) ++count;
  if (step != TPlainReader::kEnd) return false;
  set.Points.reserve(count);
  AnsiString buffer;
  TPlainReader reader(xml);
  while (reader.Next(text) == TPlainReader::kPoint) ReadPoint(set, proto, buffer, text);
  return true;
}

bool LoadPointsThroughDocument(TBasicPointMgr& set, std::string_view xml, TBasicPoint* proto) {
  set.ResetPoints();
  if (IsBlank(xml)) return false;
  TXMLDocument doc;
  doc.LoadFromXML(xml);
  const TXMLNode root = doc.DocumentElement();
  set.Points.reserve(root.ChildCount());
  // Every child element of the root is a point, whatever the names say.
  AnsiString buffer;
  for (TXMLNode node = root.FirstChild(); node; node = node.NextSibling())
    ReadPoint(set, proto, buffer, node.Text());
  return !set.Points.empty();
}

}  // namespace cuadrante::detail

bool TBasicPointMgr::SaveToXML(AnsiString& xml) const {
  // An empty set has no document, only this one blank.
  xml.assign(1, ' ');
  if (Points.empty()) return true;
  // Written straight into `xml`, in the form the XML service gives a document
  // built node by node: a tree of every point first would cost more than the
  // writing. What `xml` held lends its room; a failure leaves the one blank.
  try {
    xml.assign(cuadrante::detail::kPlainDeclaration);
    xml += "\n<POINTSMGR>\n";
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
  if (cuadrante::detail::LoadPlainPoints(*this, xml, proto)) return !Points.empty();
  return cuadrante::detail::LoadPointsThroughDocument(*this, xml, proto);
}
