#include "cuadrante/documents/xmldocument.h"

#include <pugixml.hpp>

#include <cstring>
#include <new>
#include <string>
#include <utility>

#include "cuadrante/port/files.h"
#include "cuadrante/runtime/exception.h"

namespace cuadrante {
namespace detail {
namespace {

constexpr std::string_view kDeclaration =
    R"(<?xml version="1.0" encoding="UTF-8" standalone="no"?>)";
constexpr std::string_view kUtf8Bom = "\xEF\xBB\xBF";

// Elements and their text; the declaration, comments and processing
// instructions are dropped, entities and character references restored and
// line ends normalised. A text of blanks alone is kept when it is all that an
// element holds, so a value of one blank survives; the indentation between
// elements does not. Parsing works in the parser's own copy of the text.
constexpr unsigned kParseFlags = pugi::parse_default | pugi::parse_ws_pcdata_single;

// Appends what the printer gives to `out` until it would pass `limit` bytes;
// from there on it only notes that the text went over, so a save that is to
// be refused never holds more than the limit in memory.
class StringWriter final : public pugi::xml_writer {
 public:
  explicit StringWriter(std::string& out, size_t limit = std::string::npos)
      : out_(out), limit_(limit) {}
  void write(const void* data, size_t size) override {
    if (over_) return;
    if (size > limit_ || out_.size() > limit_ - size) {
      over_ = true;
      return;
    }
    out_.append(static_cast<const char*>(data), size);
  }
  bool Over() const { return over_; }

 private:
  std::string& out_;
  size_t limit_;
  bool over_ = false;
};

bool IsBlank(char c) { return static_cast<unsigned char>(c) <= ' '; }

bool IsNameStart(unsigned char c) {
  // Bytes of a multi-byte UTF-8 sequence are taken as letters: element names
  // in Spanish ("AÑO") are legal XML.
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c == ':' || c >= 0x80;
}

bool IsNameChar(unsigned char c) {
  return IsNameStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}

bool IsXmlName(std::string_view name) {
  if (name.empty() || !IsNameStart(static_cast<unsigned char>(name.front()))) return false;
  for (char c : name.substr(1)) {
    if (!IsNameChar(static_cast<unsigned char>(c))) return false;
  }
  return true;
}

void CheckName(std::string_view name) {
  if (!IsXmlName(name) || !IsValidUtf8(name)) {
    throw EXMLDocError("'" + std::string(name) + "' is not a valid XML element name");
  }
}

// How deep `node` lies: 1 for the document element. Bounded by the depth
// limit, so the walk up is short.
int DepthOf(pugi::xml_node node) {
  int depth = 0;
  for (; node && node.type() != pugi::node_document; node = node.parent()) ++depth;
  return depth;
}

// The first element (in document order) deeper than `limit`, or a null
// node. The walk keeps no stack of its own: it goes down by first child and
// on by next sibling or up by parent, so any depth is safe to look at.
pugi::xml_node FirstDeeperThan(const pugi::xml_document& doc, int limit) {
  pugi::xml_node node = doc.first_child();
  int depth = 1;
  while (node) {
    if (node.type() == pugi::node_element && depth > limit) return node;
    if (node.first_child()) {
      node = node.first_child();
      ++depth;
      continue;
    }
    while (node && !node.next_sibling()) {
      node = node.parent();
      --depth;
      if (node.type() == pugi::node_document) return pugi::xml_node();
    }
    if (node) node = node.next_sibling();
  }
  return pugi::xml_node();
}

// "offset 57 (line 3, column 12)", lines and columns counted from 1 in
// bytes. `text` is what was parsed when the offset refers to it, or empty
// when the parser converted the text to another encoding first.
std::string Where(std::string_view text, ptrdiff_t offset) {
  std::string where = "offset " + std::to_string(offset);
  if (offset >= 0 && static_cast<size_t>(offset) <= text.size()) {
    const std::string_view before = text.substr(0, static_cast<size_t>(offset));
    size_t line = 1;
    for (char c : before) line += c == '\n' ? 1 : 0;
    const size_t lineStart = before.rfind('\n');
    const size_t column =
        lineStart == std::string_view::npos ? before.size() + 1 : before.size() - lineStart;
    where += " (line " + std::to_string(line) + ", column " + std::to_string(column) + ")";
  }
  return where;
}

// "XML text is not well-formed at offset 57 (line 3, column 12): why".
[[noreturn]] void ThrowParseError(std::string_view text, ptrdiff_t offset, std::string_view why) {
  throw EXMLDocError("XML text is not well-formed at " + Where(text, offset) + ": " +
                     std::string(why));
}

// The parser is lenient where a document may not be: it accepts several
// top-level elements and drops text around the document element. A text
// outside the document element would be data lost without a word, so both
// are errors here.
void CheckProlog(const pugi::xml_document& doc, std::string_view text, bool utf8) {
  int elements = 0;
  for (pugi::xml_node node = doc.first_child(); node; node = node.next_sibling()) {
    if (node.type() != pugi::node_element) continue;
    if (++elements > 1) {
      // The parser gives the offset of the name; the element begins at its '<'.
      const ptrdiff_t name = node.offset_debug();
      ThrowParseError(utf8 ? text : std::string_view(), name > 0 ? name - 1 : name,
                      "More than one document element");
    }
  }
  if (!utf8) return;
  size_t first = text.starts_with(kUtf8Bom) ? kUtf8Bom.size() : 0;
  while (first < text.size() && IsBlank(text[first])) ++first;
  if (first < text.size() && text[first] != '<') {
    ThrowParseError(text, static_cast<ptrdiff_t>(first), "Text before the document element");
  }
  size_t last = text.size();
  while (last > first && IsBlank(text[last - 1])) --last;
  if (last > first && text[last - 1] != '>') {
    ThrowParseError(text, static_cast<ptrdiff_t>(last - 1), "Text after the document element");
  }
}

}  // namespace
}  // namespace detail

bool CanCarryText(std::string_view text) noexcept {
  for (char c : text) {
    if (static_cast<unsigned char>(c) < ' ' && c != '\t' && c != '\n') return false;
  }
  return IsValidUtf8(text) && text.find("\xEF\xBF\xBE") == std::string_view::npos &&
         text.find("\xEF\xBF\xBF") == std::string_view::npos;
}

EXMLLimitError::~EXMLLimitError() = default;

// TXMLNode ------------------------------------------------------------------

std::string_view TXMLNode::Name() const noexcept { return pugi::xml_node(node_).name(); }

std::string_view TXMLNode::Text() const noexcept { return pugi::xml_node(node_).child_value(); }

std::optional<std::string_view> TXMLNode::Attribute(std::string_view name) const noexcept {
  for (const pugi::xml_attribute attribute : pugi::xml_node(node_).attributes()) {
    if (name == attribute.name()) return std::string_view(attribute.value());
  }
  return std::nullopt;
}

std::vector<std::string_view> TXMLNode::AttributeNames() const {
  std::vector<std::string_view> names;
  for (const pugi::xml_attribute attribute : pugi::xml_node(node_).attributes())
    names.emplace_back(attribute.name());
  return names;
}

void TXMLNode::SetText(std::string_view text) const {
  if (node_ == nullptr) throw EXMLDocError("No element to set a text on");
  if (!CanCarryText(text)) {
    throw EXMLDocError("The text of <" + std::string(Name()) +
                       "> holds a character that an XML document cannot carry");
  }
  pugi::xml_node node(node_);
  if (text.empty()) {
    // No text at all rather than an empty piece, so that the element is
    // written the same way before and after a round trip.
    for (pugi::xml_node piece = node.first_child(); piece;) {
      const pugi::xml_node next = piece.next_sibling();
      if (piece.type() == pugi::node_pcdata || piece.type() == pugi::node_cdata) {
        node.remove_child(piece);
      }
      piece = next;
    }
    return;
  }
  if (!node.text().set(text.data(), text.size())) throw std::bad_alloc();
}

void TXMLNode::SetAttribute(std::string_view name, std::string_view value) const {
  if (node_ == nullptr) throw EXMLDocError("No element to set an attribute on");
  detail::CheckName(name);
  if (!CanCarryText(value)) {
    throw EXMLDocError("The attribute " + std::string(name) + " of <" + std::string(Name()) +
                       "> holds a character that an XML document cannot carry");
  }
  pugi::xml_node node(node_);
  const std::string terminated(name);
  pugi::xml_attribute attribute = node.attribute(terminated.c_str());
  if (!attribute) attribute = node.append_attribute(terminated.c_str());
  if (!attribute || !attribute.set_value(value.data(), value.size())) throw std::bad_alloc();
}

AnsiString TXMLNode::GetXML() const {
  AnsiString out;
  if (node_ == nullptr) return out;
  detail::StringWriter writer(out);
  pugi::xml_node(node_).print(writer, "", pugi::format_raw | pugi::format_no_declaration,
                              pugi::encoding_utf8);
  return out;
}

TXMLNode TXMLNode::FirstChild() const noexcept {
  pugi::xml_node child = pugi::xml_node(node_).first_child();
  while (child && child.type() != pugi::node_element) child = child.next_sibling();
  return TXMLNode(child.internal_object());
}

TXMLNode TXMLNode::NextSibling() const noexcept {
  pugi::xml_node next = pugi::xml_node(node_).next_sibling();
  while (next && next.type() != pugi::node_element) next = next.next_sibling();
  return TXMLNode(next.internal_object());
}

size_t TXMLNode::ChildCount() const noexcept {
  size_t count = 0;
  for (TXMLNode child = FirstChild(); child; child = child.NextSibling()) ++count;
  return count;
}

TXMLNode TXMLNode::AddChild(std::string_view name) const {
  if (node_ == nullptr) throw EXMLDocError("No element to add a child to");
  detail::CheckName(name);
  if (detail::DepthOf(pugi::xml_node(node_)) >= kMaxXmlDepth) {
    throw EXMLDocError("<" + std::string(name) + "> would lie deeper than " +
                       std::to_string(kMaxXmlDepth) + " elements");
  }
  // The parser takes names ending in a zero; short names stay on the stack.
  const std::string terminated(name);
  const pugi::xml_node child = pugi::xml_node(node_).append_child(terminated.c_str());
  if (!child) throw std::bad_alloc();
  return TXMLNode(child.internal_object());
}

void TXMLNode::ClearChildren() const {
  if (node_ != nullptr) pugi::xml_node(node_).remove_children();
}

bool TXMLNode::RemoveChild(TXMLNode child) const {
  if (node_ == nullptr || child.node_ == nullptr) return false;
  const pugi::xml_node parent(node_);
  const pugi::xml_node removed(child.node_);
  return removed.parent() == parent && pugi::xml_node(node_).remove_child(removed);
}

// TXMLDocument --------------------------------------------------------------

TXMLDocument::TXMLDocument() : doc_(std::make_unique<pugi::xml_document>()) {}

TXMLDocument::~TXMLDocument() = default;

TXMLDocument::TXMLDocument(TXMLDocument&&) noexcept = default;

TXMLDocument& TXMLDocument::operator=(TXMLDocument&&) noexcept = default;

void TXMLDocument::LoadFromXML(std::string_view text) {
  // A moved-from document gets a new tree rather than failing.
  if (!doc_) doc_ = std::make_unique<pugi::xml_document>();
  const pugi::xml_parse_result result =
      doc_->load_buffer(text.data(), text.size(), detail::kParseFlags, pugi::encoding_auto);
  // Offsets refer to the text as given only when the parser did not have to
  // convert it from another encoding first.
  const bool utf8 = result.encoding == pugi::encoding_utf8;
  try {
    // No memory says nothing about the text: a caller must not take it for
    // one that is no XML.
    if (result.status == pugi::status_out_of_memory) throw std::bad_alloc();
    if (!result)
      detail::ThrowParseError(utf8 ? text : std::string_view(), result.offset,
                              result.description());
    detail::CheckProlog(*doc_, text, utf8);
    if (const pugi::xml_node deep = detail::FirstDeeperThan(*doc_, kMaxXmlDepth)) {
      // The parser gives the offset of the name; the element begins at its '<'.
      const ptrdiff_t name = deep.offset_debug();
      throw EXMLLimitError(
          "XML elements nest deeper than " + std::to_string(kMaxXmlDepth) + " at " +
          detail::Where(utf8 ? text : std::string_view(), name > 0 ? name - 1 : name));
    }
  } catch (...) {
    // Freeing the whole document releases its pages at once, whatever its
    // depth; removing nodes one by one would recurse as deep as they nest.
    doc_->reset();
    throw;
  }
}

void TXMLDocument::LoadFromFile(const AnsiString& path, size_t limit) {
  const AnsiString text = ReadWholeFile(path, limit);
  try {
    LoadFromXML(text);
  } catch (const EXMLLimitError& e) {
    throw EXMLLimitError("'" + path + "': " + e.Message);
  } catch (const EXMLDocError& e) {
    throw EXMLDocError("'" + path + "': " + e.Message);
  }
}

namespace detail {
namespace {

// The document's text, or nothing when it would be longer than `limit`.
std::optional<AnsiString> Print(const pugi::xml_document* doc, size_t limit) {
  AnsiString out(kDeclaration);
  out += '\n';
  if (doc != nullptr && doc->first_child()) {
    StringWriter writer(out, limit);
    // Indentation costs up to two blanks a level on every line; below a few
    // levels it would outweigh the elements themselves.
    if (FirstDeeperThan(*doc, kMaxIndentedDepth)) {
      doc->save(writer, "", pugi::format_raw | pugi::format_no_declaration, pugi::encoding_utf8);
      writer.write("\n", 1);
    } else {
      doc->save(writer, "  ", pugi::format_indent | pugi::format_no_declaration,
                pugi::encoding_utf8);
    }
    if (writer.Over()) return std::nullopt;
  }
  if (out.size() > limit) return std::nullopt;
  return out;
}

}  // namespace
}  // namespace detail

AnsiString TXMLDocument::SaveToXML() const { return *detail::Print(doc_.get(), std::string::npos); }

void TXMLDocument::SaveToFile(const AnsiString& path, size_t limit) const {
  const std::optional<AnsiString> text = detail::Print(doc_.get(), limit);
  if (!text) {
    throw EXMLLimitError("'" + path + "': the document would take more than " +
                         std::to_string(limit) + " bytes, more than a load reads back");
  }
  // What is written must load again: a file that its own reader refuses
  // would be lost to every later load.
  try {
    TXMLDocument check;
    check.LoadFromXML(*text);
  } catch (const EXMLLimitError& e) {
    throw EXMLLimitError("'" + path + "': the document would not load again: " + e.Message);
  } catch (const EXMLDocError& e) {
    throw EXMLDocError("'" + path + "': the document would not load again: " + e.Message);
  }
  WriteFileAtomically(path, *text);
}

TXMLNode TXMLDocument::DocumentElement() const noexcept {
  if (!doc_) return TXMLNode();
  return TXMLNode(doc_->document_element().internal_object());
}

TXMLNode TXMLDocument::CreateDocumentElement(std::string_view name) {
  detail::CheckName(name);
  if (!doc_) doc_ = std::make_unique<pugi::xml_document>();
  doc_->reset();
  const std::string terminated(name);
  const pugi::xml_node root = doc_->append_child(terminated.c_str());
  if (!root) throw std::bad_alloc();
  return TXMLNode(root.internal_object());
}

}  // namespace cuadrante
