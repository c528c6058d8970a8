#include "cuadrante/runtime/xmldocument.h"

#include <pugixml.hpp>

#include <cstring>
#include <new>
#include <string>
#include <utility>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/files.h"

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

class StringWriter final : public pugi::xml_writer {
 public:
  explicit StringWriter(std::string& out) : out_(out) {}
  void write(const void* data, size_t size) override {
    out_.append(static_cast<const char*>(data), size);
  }

 private:
  std::string& out_;
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

// The first element (in document order) deeper than the limit, or a null
// node. The walk keeps no stack of its own: it goes down by first child and
// on by next sibling or up by parent, so any depth is safe to look at.
pugi::xml_node FirstTooDeep(const pugi::xml_document& doc) {
  pugi::xml_node node = doc.first_child();
  int depth = 1;
  while (node) {
    if (node.type() == pugi::node_element && depth > kMaxXmlDepth) return node;
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

// "at offset 57 (line 3, column 12): why", lines and columns counted from 1
// in bytes. `text` is what was parsed when the offset refers to it, or empty
// when the parser converted the text to another encoding first.
[[noreturn]] void ThrowParseError(std::string_view text, ptrdiff_t offset, std::string_view why) {
  std::string message = "XML text is not well-formed at offset " + std::to_string(offset);
  if (offset >= 0 && static_cast<size_t>(offset) <= text.size()) {
    const std::string_view before = text.substr(0, static_cast<size_t>(offset));
    size_t line = 1;
    for (char c : before) line += c == '\n' ? 1 : 0;
    const size_t lineStart = before.rfind('\n');
    const size_t column =
        lineStart == std::string_view::npos ? before.size() + 1 : before.size() - lineStart;
    message += " (line " + std::to_string(line) + ", column " + std::to_string(column) + ")";
  }
  message += ": ";
  message += why;
  throw EXMLDocError(message);
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
    if (!result)
      detail::ThrowParseError(utf8 ? text : std::string_view(), result.offset,
                              result.description());
    detail::CheckProlog(*doc_, text, utf8);
    if (const pugi::xml_node deep = detail::FirstTooDeep(*doc_)) {
      // The parser gives the offset of the name; the element begins at its '<'.
      const ptrdiff_t name = deep.offset_debug();
      detail::ThrowParseError(utf8 ? text : std::string_view(), name > 0 ? name - 1 : name,
                              "Elements nest deeper than " + std::to_string(kMaxXmlDepth));
    }
  } catch (...) {
    // Freeing the whole document releases its pages at once, whatever its
    // depth; removing nodes one by one would recurse as deep as they nest.
    doc_->reset();
    throw;
  }
}

void TXMLDocument::LoadFromFile(const AnsiString& path) {
  const AnsiString text = ReadWholeFile(path);
  try {
    LoadFromXML(text);
  } catch (const EXMLDocError& e) {
    throw EXMLDocError("'" + path + "': " + e.Message);
  }
}

AnsiString TXMLDocument::SaveToXML() const {
  AnsiString out(detail::kDeclaration);
  out += '\n';
  if (doc_) {
    detail::StringWriter writer(out);
    doc_->save(writer, "  ", pugi::format_indent | pugi::format_no_declaration,
               pugi::encoding_utf8);
  }
  return out;
}

void TXMLDocument::SaveToFile(const AnsiString& path) const {
  WriteFileAtomically(path, SaveToXML());
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
