#include "tools/cuadrante/table.h"

#include <cstdio>
#include <stdexcept>
#include <utility>

#include "cuadrante/runtime/sysutils.h"
#include "cuadrante/runtime/xmldocument.h"

namespace cuadrante::tool {

size_t Characters(const std::string& text) {
  size_t count = 0;
  for (const char c : text) count += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  return count;
}

std::string Pad(const std::string& text, size_t width, bool right) {
  const size_t characters = Characters(text);
  const std::string blanks(characters < width ? width - characters : 0, ' ');
  return right ? blanks + text : text + blanks;
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

void Table::Add(std::vector<std::string> cells) {
  if (cells.size() != columns_.size()) {
    throw std::logic_error("a row of " + std::to_string(cells.size()) + " cells in a table of " +
                           std::to_string(columns_.size()) + " columns");
  }
  rows_.push_back(std::move(cells));
}

void Table::Print(Format format, std::FILE* out) const {
  switch (format) {
    case Format::kText:
      PrintText(out);
      break;
    case Format::kCsv:
      PrintCsv(out);
      break;
    case Format::kXml:
      PrintXml(out);
      break;
    case Format::kJson:
      PrintJson(out);
      break;
  }
}

void Table::PrintText(std::FILE* out) const {
  const auto line = [&](auto cellOf) {
    std::string text;
    for (size_t i = 0; i < columns_.size(); ++i) {
      if (i > 0) text += ' ';
      // The last column is not padded, so that lines carry no trailing blanks.
      const bool last = i + 1 == columns_.size();
      text += last && !columns_[i].right ? cellOf(i)
                                         : Pad(cellOf(i), columns_[i].width, columns_[i].right);
    }
    std::fprintf(out, "%s\n", text.c_str());
  };
  line([&](size_t i) -> const std::string& { return columns_[i].header; });
  for (const auto& row : rows_) line([&](size_t i) -> const std::string& { return row[i]; });
}

void Table::PrintCsv(std::FILE* out) const {
  const auto line = [&](auto cellOf) {
    std::string text;
    for (size_t i = 0; i < columns_.size(); ++i) {
      if (i > 0) text += ',';
      text += CsvField(cellOf(i));
    }
    std::fprintf(out, "%s\r\n", text.c_str());
  };
  line([&](size_t i) -> const std::string& { return columns_[i].key; });
  for (const auto& row : rows_) line([&](size_t i) -> const std::string& { return row[i]; });
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

void Table::PrintJson(std::FILE* out) const {
  std::string text = "[";
  for (size_t r = 0; r < rows_.size(); ++r) {
    text += r == 0 ? "\n  {" : ",\n  {";
    for (size_t i = 0; i < columns_.size(); ++i) {
      if (i > 0) text += ", ";
      const std::string& cell = rows_[r][i];
      const bool number = columns_[i].number && !cell.empty() &&
                          cell.find_first_not_of("-0123456789.") == std::string::npos;
      text += JsonString(columns_[i].key) + ": " + (number ? cell : JsonString(cell));
    }
    text += "}";
  }
  text += rows_.empty() ? "]\n" : "\n]\n";
  std::fputs(text.c_str(), out);
}

}  // namespace cuadrante::tool
