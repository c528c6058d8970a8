// TXMLDocument, the XML document service of the platform layer: a tree of
// elements built, parsed and written as text or as a file.
//
// A document is empty or has one document element; elements hold child
// elements and text. Parsing keeps elements and their text, and drops the
// declaration, comments and processing instructions; writing always puts the
// declaration `<?xml version="1.0" encoding="UTF-8" standalone="no"?>` first.
// Texts are UTF-8 and the characters that XML reserves are escaped on the way
// out and restored on the way in. A parse failure raises EXMLDocError saying
// where the text went wrong (byte offset, line and column) and why.
// Elements nest at most kMaxXmlDepth deep, the document element being at
// depth 1: no real document comes near it, and the bound keeps every walk of
// a tree shallow. A text that is well-formed but nests deeper raises
// EXMLLimitError, so that a caller can tell a document beyond these bounds
// from one that is no XML at all.
// A save indents only documents at most kMaxIndentedDepth deep and writes a
// deeper one on one line, so no save grows more than about six times the
// text it was read from (six for a '"' in an attribute quoted with '\'').
// Texts that XML 1.0 cannot carry back as they are (see CanCarryText) are
// refused rather than written into a file that readers then reject.
// A document and its nodes are for one thread at a time; separate documents
// may live on separate threads.
//
// Example:
//   cuadrante::TXMLDocument doc;
//   doc.CreateDocumentElement("DATAPACKET").AddChild("GENERAL").AddChild("A").SetText("1");
//   doc.SaveToXML() begins with the declaration, then "<DATAPACKET>"
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "cuadrante/port/files.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/export.h"
#include "cuadrante/runtime/sysutils.h"

// The parser stays out of this header; only its opaque types are named.
namespace pugi {
class xml_document;
struct xml_node_struct;
}  // namespace pugi

namespace cuadrante {

inline constexpr int kMaxXmlDepth = 256;
// Settings documents are three levels deep and stay readable at that; the
// blanks of a deeper indentation would outweigh the elements they indent.
inline constexpr int kMaxIndentedDepth = 8;

// A text that is well-formed XML but lies beyond what this library takes:
// elements nested deeper than kMaxXmlDepth, or a save longer than what the
// loader reads back. Such a document is no mistake of syntax, and whatever
// file holds it must be left as it is.
class CUADRANTE_API EXMLLimitError : public EXMLDocError {
 public:
  using EXMLDocError::EXMLDocError;
  ~EXMLLimitError() override;
};

// Whether an element's text can hold `text` and give it back unchanged after
// a save and a load: valid UTF-8 without NUL, without control characters but
// tab and line feed (a carriage return comes back as a line feed from every
// reader), and without U+FFFE or U+FFFF.
CUADRANTE_API bool CanCarryText(std::string_view text) noexcept;

// A borrowed handle to an element of a TXMLDocument, or a null handle. It is
// valid while its document lives, is not reloaded and keeps the element.
// Copies are cheap and all refer to the same element; the const members that
// change the element change the document, not the handle.
class CUADRANTE_API TXMLNode {
 public:
  TXMLNode() noexcept = default;

  explicit operator bool() const noexcept { return node_ != nullptr; }
  bool operator==(const TXMLNode& other) const noexcept = default;

  // The element's name; empty for a null handle. Borrowed from the document.
  std::string_view Name() const noexcept;
  // The element's first piece of text (text or CDATA), unescaped; empty when
  // it has none. Borrowed from the document until the text is changed.
  std::string_view Text() const noexcept;
  // The value of the attribute `name` (unescaped), or nothing when the
  // element has no such attribute. Borrowed from the document.
  std::optional<std::string_view> Attribute(std::string_view name) const noexcept;
  // The names of the element's attributes in document order, borrowed.
  std::vector<std::string_view> AttributeNames() const;
  // Replaces the element's first piece of text, or adds one behind its
  // children. The empty text removes every piece of text. A text that
  // CanCarryText refuses raises EXMLDocError and changes nothing.
  void SetText(std::string_view text) const;
  // Sets the attribute `name`, added behind the others when new. Raises
  // EXMLDocError when `name` is no XML name, when CanCarryText refuses the
  // value, or on a null handle, and then changes nothing.
  void SetAttribute(std::string_view name, std::string_view value) const;
  // The element as XML text, its own tags included, on one line.
  AnsiString GetXML() const;

  // The first child element, or a null handle.
  TXMLNode FirstChild() const noexcept;
  // The next element under the same parent, or a null handle.
  TXMLNode NextSibling() const noexcept;
  // How many child elements there are; walks them.
  size_t ChildCount() const noexcept;
  // Appends a new element `name` behind the children. Raises EXMLDocError
  // when `name` is no XML name (or not valid UTF-8), when the new element
  // would lie deeper than kMaxXmlDepth, or on a null handle.
  TXMLNode AddChild(std::string_view name) const;
  // Removes every child: elements and text.
  void ClearChildren() const;
  // Removes the child element `child` with everything under it; answers
  // false, changing nothing, when it is no child of this element. Handles to
  // the removed elements dangle afterwards.
  bool RemoveChild(TXMLNode child) const;

 private:
  friend class TXMLDocument;
  explicit TXMLNode(pugi::xml_node_struct* node) noexcept : node_(node) {}

  pugi::xml_node_struct* node_ = nullptr;
};

class CUADRANTE_API TXMLDocument {
 public:
  // An empty document: no document element yet.
  TXMLDocument();
  ~TXMLDocument();
  TXMLDocument(TXMLDocument&&) noexcept;
  TXMLDocument& operator=(TXMLDocument&&) noexcept;
  TXMLDocument(const TXMLDocument&) = delete;
  TXMLDocument& operator=(const TXMLDocument&) = delete;

  // Replaces the contents by the parsed `text`, and leaves the document
  // empty when it fails. A text that is not one well-formed element (with its
  // prolog) raises EXMLDocError naming the offset, line and column; one whose
  // elements nest deeper than kMaxXmlDepth raises EXMLLimitError naming those
  // of the first element too deep. No memory for the tree: std::bad_alloc.
  void LoadFromXML(std::string_view text);
  // The same from a file of at most `limit` bytes: EFOpenError when it cannot
  // be read, the errors above naming the path as well when it does not parse.
  void LoadFromFile(const AnsiString& path, size_t limit = kDocumentFileLimit);

  // The whole document, declaration first. A document at most
  // kMaxIndentedDepth deep comes one element a line, indented by two blanks a
  // level; a deeper one comes on one line after the declaration. An empty
  // document gives the declaration alone.
  AnsiString SaveToXML() const;
  // Writes SaveToXML() through WriteFileAtomically, only when LoadFromFile
  // with the same `limit` would take the text back: a longer text raises
  // EXMLLimitError, one that would not parse (an empty document) raises
  // EXMLDocError, and nothing is written (the text is never built past
  // `limit`). The old file stays
  // whole if anything fails, and EFCreateError is raised.
  void SaveToFile(const AnsiString& path, size_t limit = kDocumentFileLimit) const;

  // The document element, or a null handle while the document is empty.
  TXMLNode DocumentElement() const noexcept;
  // Makes a new element `name` the document element, dropping any old one and
  // everything under it. Raises EXMLDocError when `name` is no XML name.
  TXMLNode CreateDocumentElement(std::string_view name);

 private:
  std::unique_ptr<pugi::xml_document> doc_;
};

}  // namespace cuadrante
