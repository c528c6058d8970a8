// Lists printed by the commands, in the forms --format offers: text for a
// person (aligned columns), CSV for a spreadsheet (RFC 4180 quoting, a header
// of column keys), XML (one element a row, one child a column) and JSON (an
// array with one object a row, keyed by the column keys; numeric columns as
// numbers).
#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace cuadrante::tool {

enum class Format { kText, kCsv, kXml, kJson };

struct Column {
  std::string key;      // CSV header and XML element name: an XML name
  std::string header;   // what a person reads above the column
  size_t width = 0;     // text form: characters, the cell is padded to it
  bool right = false;   // text form: numbers align right
  bool number = false;  // JSON form: the cells are numbers
};

class Table {
 public:
  // `name` is the XML document element; each row is a "row" element under it.
  Table(std::string name, std::vector<Column> columns);

  // One cell a column, in the order of the columns; a row of another length
  // is a programming error and throws std::logic_error.
  void Add(std::vector<std::string> cells);
  size_t Rows() const { return rows_.size(); }

  void Print(Format format, std::FILE* out = stdout) const;

 private:
  void PrintText(std::FILE* out) const;
  void PrintCsv(std::FILE* out) const;
  void PrintXml(std::FILE* out) const;
  void PrintJson(std::FILE* out) const;

  std::string name_;
  std::vector<Column> columns_;
  std::vector<std::vector<std::string>> rows_;
};

// Characters of UTF-8 `text`: the bytes that begin one.
size_t Characters(const std::string& text);
// `text` padded with blanks to `width` characters, not bytes: labels are UTF-8.
std::string Pad(const std::string& text, size_t width, bool right = false);

// The field quoted when it holds a comma, a quote, a line break or outer blanks.
std::string CsvField(const std::string& text);
// `text` as a JSON string, quotes included; bytes that are no UTF-8 become
// the code points of the same value, so the result is always valid JSON.
std::string JsonString(const std::string& text);

}  // namespace cuadrante::tool
