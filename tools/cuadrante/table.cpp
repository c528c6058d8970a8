#include "tools/cuadrante/table.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "cuadrante/documents/xmldocument.h"
#include "cuadrante/runtime/sysutils.h"
#include "tools/cuadrante/arguments.h"

namespace cuadrante::tool {

namespace {

// One code point of `text` at `at`, and `at` moved past it; a byte that
// begins no valid sequence is read alone, as a negative code point.
UChar32 NextCodePoint(const std::string& text, size_t& at) {
  int32_t index = static_cast<int32_t>(at);
  UChar32 c = 0;
  U8_NEXT(text.data(), index, static_cast<int32_t>(text.size()), c);
  at = static_cast<size_t>(index);
  return c;
}

// Terminal cells of one code point. The East Asian Width and the general
// category come from ICU, the library's own Unicode tables, so the tool
// measures with the same Unicode version the library reads text with. The
// soft hyphen is a format character that terminals still draw, and the
// medial and final Hangul jamo join the syllable before them.
int CellsOf(UChar32 c) {
  if (c < 0) return 1;
  // Printable ASCII, nearly every cell of a table, needs no lookup.
  if (c >= 0x20 && c < 0x7F) return 1;
  if (c == 0xAD) return 1;
  const auto category = static_cast<UCharCategory>(u_charType(c));
  if (category == U_NON_SPACING_MARK || category == U_ENCLOSING_MARK || category == U_FORMAT_CHAR ||
      category == U_CONTROL_CHAR)
    return 0;
  const int jamo = u_getIntPropertyValue(c, UCHAR_HANGUL_SYLLABLE_TYPE);
  if (jamo == U_HST_VOWEL_JAMO || jamo == U_HST_TRAILING_JAMO) return 0;
  const int width = u_getIntPropertyValue(c, UCHAR_EAST_ASIAN_WIDTH);
  return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
}

// Whether `c` belongs to the character before it, so that a cut never falls
// in front of it: every mark, spacing ones too, and what takes no cell.
bool Clings(UChar32 c) {
  if (c < 0) return false;
  const auto category = static_cast<UCharCategory>(u_charType(c));
  return category == U_COMBINING_SPACING_MARK || CellsOf(c) == 0;
}

// Characters that are valid UTF-8 and printable to Printable, yet steer a
// terminal or reorder the line: C1 controls (CSI, OSC...), the line and
// paragraph separators, and the bidirectional embeddings, overrides and
// isolates, whose effect runs on into the cells after them.
bool Steers(UChar32 c) {
  return (c >= 0x80 && c <= 0x9F) || c == 0x2028 || c == 0x2029 || (c >= 0x202A && c <= 0x202E) ||
         (c >= 0x2066 && c <= 0x2069);
}

}  // namespace

size_t Characters(const std::string& text) {
  size_t count = 0;
  for (const char c : text) count += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  return count;
}

size_t DisplayWidth(const std::string& text) {
  size_t cells = 0;
  for (size_t at = 0; at < text.size();)
    cells += static_cast<size_t>(CellsOf(NextCodePoint(text, at)));
  return cells;
}

std::string Pad(const std::string& text, size_t width, bool right) {
  const size_t cells = DisplayWidth(text);
  const std::string blanks(cells < width ? width - cells : 0, ' ');
  return right ? blanks + text : text + blanks;
}

std::string Fit(const std::string& text, size_t width) {
  if (DisplayWidth(text) <= width) return text;
  if (width == 0) return "";
  const char* const kEllipsis = "\xE2\x80\xA6";  // U+2026, one cell
  // Whole characters, each with the marks that cling to it, while they leave
  // the last cell for the ellipsis.
  const size_t room = width - 1;
  size_t cells = 0;
  size_t kept = 0;
  for (size_t at = 0; at < text.size();) {
    size_t end = at;
    size_t take = static_cast<size_t>(CellsOf(NextCodePoint(text, end)));
    for (size_t next = end; next < text.size();) {
      const UChar32 c = NextCodePoint(text, next);
      if (!Clings(c)) break;
      take += static_cast<size_t>(CellsOf(c));
      end = next;
    }
    if (cells + take > room) break;
    cells += take;
    kept = at = end;
  }
  // A blank before the ellipsis would read as the end of a word.
  while (kept > 0 && text[kept - 1] == ' ') --kept;
  return text.substr(0, kept) + kEllipsis;
}

std::string Shown(const std::string& text) {
  const std::string printable = Printable(text);
  std::string shown;
  for (size_t at = 0; at < printable.size();) {
    const size_t begin = at;
    if (!Steers(NextCodePoint(printable, at))) {
      shown.append(printable, begin, at - begin);
      continue;
    }
    for (size_t i = begin; i < at; ++i) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\x%02X", static_cast<unsigned char>(printable[i]));
      shown += escaped;
    }
  }
  return shown;
}

std::string CsvField(const std::string& text) {
  const bool quote = text.find_first_of(",\"\r\n") != std::string::npos ||
                     (!text.empty() && (text.front() == ' ' || text.back() == ' '));
  if (!quote) return text;
  std::string out = "\"";
  for (const char c : text) {
    if (c == '"') out += '"';
    out += c;
  }
  return out + "\"";
}

std::string JsonString(const std::string& text) {
  const bool valid = IsValidUtf8(text);
  std::string out = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (byte < 0x20 || (!valid && byte >= 0x80)) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04x", byte);
      out += escaped;
    } else {
      out += c;
    }
  }
  return out + "\"";
}

Table::Table(std::string name, std::vector<Column> columns)
    : name_(std::move(name)), columns_(std::move(columns)) {}

void Table::Stream(Format format, std::FILE* out) {
  if (format != Format::kCsv && format != Format::kJson) return;
  streamOut_ = out;
  streamFormat_ = format;
  if (format == Format::kCsv) PrintCsvHeader(out);
  if (format == Format::kJson) std::fputs("[", out);
}

void Table::Add(std::vector<std::string> cells) {
  if (cells.size() != columns_.size()) {
    throw std::logic_error("a row of " + std::to_string(cells.size()) + " cells in a table of " +
                           std::to_string(columns_.size()) + " columns");
  }
  ++rowCount_;
  if (streamOut_ == nullptr) {
    rows_.push_back(std::move(cells));
  } else if (streamFormat_ == Format::kCsv) {
    PrintCsvRow(cells, streamOut_);
  } else {
    PrintJsonRow(cells, rowCount_ == 1, streamOut_);
  }
}

void Table::Print(Format format, std::FILE* out) const {
  switch (format) {
    case Format::kText:
      PrintText(out);
      break;
    case Format::kCsv:
      if (streamOut_ != nullptr) break;
      PrintCsvHeader(out);
      for (const auto& row : rows_) PrintCsvRow(row, out);
      break;
    case Format::kXml:
      PrintXml(out);
      break;
    case Format::kJson:
      if (streamOut_ == nullptr) {
        std::fputs("[", out);
        for (size_t r = 0; r < rows_.size(); ++r) PrintJsonRow(rows_[r], r == 0, out);
      }
      std::fputs(rowCount_ == 0 ? "]\n" : "\n]\n", out);
      break;
  }
}

void Table::PrintText(std::FILE* out) const {
  // Every cell as the terminal will get it, header first, then the width of
  // each column: a text column keeps its own and cuts what is wider, while a
  // number that did not fit would lie when cut, so its column takes the widest.
  std::vector<std::vector<std::string>> lines;
  lines.reserve(rows_.size() + 1);
  std::vector<std::string> header;
  for (const Column& column : columns_) header.push_back(Shown(column.header));
  lines.push_back(std::move(header));
  for (const auto& row : rows_) {
    std::vector<std::string> shown;
    for (const std::string& cell : row) shown.push_back(Shown(cell));
    lines.push_back(std::move(shown));
  }
  std::vector<size_t> widths;
  std::vector<bool> cut;
  for (size_t i = 0; i < columns_.size(); ++i) {
    const Column& column = columns_[i];
    const bool whole = column.right || column.number || column.width == 0;
    size_t width = column.width;
    if (whole)
      for (const auto& line : lines) width = std::max(width, DisplayWidth(line[i]));
    widths.push_back(width);
    cut.push_back(!whole);
  }
  for (const auto& line : lines) {
    std::string text;
    for (size_t i = 0; i < columns_.size(); ++i) {
      if (i > 0) text += ' ';
      const std::string cell = cut[i] ? Fit(line[i], widths[i]) : line[i];
      // The last column is not padded, so that lines carry no trailing blanks.
      const bool last = i + 1 == columns_.size();
      text += last && !columns_[i].right ? cell : Pad(cell, widths[i], columns_[i].right);
    }
    // Nor does a row whose last cells are empty.
    text.erase(text.find_last_not_of(' ') + 1);
    std::fprintf(out, "%s\n", text.c_str());
  }
}

void Table::PrintCsvHeader(std::FILE* out) const {
  std::string text;
  for (size_t i = 0; i < columns_.size(); ++i) {
    if (i > 0) text += ',';
    text += CsvField(columns_[i].key);
  }
  std::fprintf(out, "%s\r\n", text.c_str());
}

void Table::PrintCsvRow(const std::vector<std::string>& row, std::FILE* out) const {
  std::string text;
  for (size_t i = 0; i < columns_.size(); ++i) {
    if (i > 0) text += ',';
    // A spreadsheet evaluates a text cell that starts like a formula; a
    // leading quote keeps it text. Number columns stay numbers.
    const std::string& cell = row[i];
    const bool formula = !columns_[i].number && !cell.empty() &&
                         std::string_view("=+-@\t\r").find(cell.front()) != std::string_view::npos;
    text += CsvField(formula ? "'" + cell : cell);
  }
  std::fprintf(out, "%s\r\n", text.c_str());
}

void Table::PrintXml(std::FILE* out) const {
  TXMLDocument document;
  const TXMLNode root = document.CreateDocumentElement(name_);
  for (const auto& row : rows_) {
    const TXMLNode element = root.AddChild("row");
    for (size_t i = 0; i < columns_.size(); ++i) element.AddChild(columns_[i].key).SetText(row[i]);
  }
  const std::string text = document.SaveToXML();
  std::fprintf(out, "%s%s", text.c_str(), !text.empty() && text.back() == '\n' ? "" : "\n");
}

}  // namespace cuadrante::tool

namespace cuadrante::tool {

void Table::PrintJsonRow(const std::vector<std::string>& row, bool first, std::FILE* out) const {
  std::string text = first ? "\n  {" : ",\n  {";
  for (size_t i = 0; i < columns_.size(); ++i) {
    if (i > 0) text += ", ";
    const std::string& cell = row[i];
    const bool number = columns_[i].number && !cell.empty() &&
                        cell.find_first_not_of("-0123456789.") == std::string::npos;
    text += JsonString(columns_[i].key) + ": " + (number ? cell : JsonString(cell));
  }
  text += "}";
  std::fputs(text.c_str(), out);
}

}  // namespace cuadrante::tool
