// Lists printed by the commands, in the forms --format offers: text for a
// person (aligned columns), CSV for a spreadsheet (RFC 4180 quoting, a header
// of column keys), XML (one element a row, one child a column) and JSON (an
// array with one object a row, keyed by the column keys; numeric columns as
// numbers).
//
// Text columns are laid out in terminal cells, not bytes or characters: every
// row's columns start at the same display column whatever the cells hold.
// Only the text form shapes cells; the other forms carry them whole.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace cuadrante::tool {

enum class Format { kText, kCsv, kXml, kJson };

struct Column {
  std::string key;     // CSV header and XML element name: an XML name
  std::string header;  // what a person reads above the column
  // Text form, in terminal cells. A text column is padded to it, and a cell
  // wider (the header too) is cut and ends in "…". A number (right or number)
  // is never cut: its column widens for the whole table to the widest cell
  // instead. 0 leaves the column free: as wide as its widest cell, and the
  // last one unpadded.
  size_t width = 0;
  bool right = false;   // text form: numbers align right
  bool number = false;  // JSON form: the cells are numbers
};

class Table {
 public:
  // `name` is the XML document element; each row is a "row" element under it.
  Table(std::string name, std::vector<Column> columns);

  // Called before the first Add: CSV and JSON rows are then written to `out`
  // as they are added, and Print(format, out) only closes the list, so a
  // table of millions of rows takes no memory for them. Text needs every row
  // for its widths and XML its document: for them rows are kept as ever.
  void Stream(Format format, std::FILE* out = stdout);

  // One cell a column, in the order of the columns; a row of another length
  // is a programming error and throws std::logic_error.
  void Add(std::vector<std::string> cells);
  size_t Rows() const { return rowCount_; }

  void Print(Format format, std::FILE* out = stdout) const;

 private:
  void PrintText(std::FILE* out) const;
  void PrintCsvHeader(std::FILE* out) const;
  void PrintCsvRow(const std::vector<std::string>& row, std::FILE* out) const;
  void PrintXml(std::FILE* out) const;
  void PrintJsonRow(const std::vector<std::string>& row, bool first, std::FILE* out) const;

  std::string name_;
  std::vector<Column> columns_;
  std::vector<std::vector<std::string>> rows_;
  size_t rowCount_ = 0;
  // Where rows go as they are added, while streaming.
  std::FILE* streamOut_ = nullptr;
  Format streamFormat_ = Format::kText;
};

// Characters of UTF-8 `text`: the bytes that begin one.
size_t Characters(const std::string& text);
// Terminal cells that UTF-8 `text` takes: 2 for an East Asian wide or
// fullwidth character, 0 for a nonspacing or enclosing mark, a format
// character other than the soft hyphen, a control, or a medial or final
// Hangul jamo, 1 for any other (and for each byte that is no UTF-8).
size_t DisplayWidth(const std::string& text);
// `text` padded with blanks to `width` terminal cells.
std::string Pad(const std::string& text, size_t width, bool right = false);
// `text` as it fits in `width` terminal cells: whole when it fits, otherwise
// cut between two characters, never before a mark or a zero-width character,
// with "…" as its last cell. It may come out a cell short when a wide
// character does not fit.
// Example: Fit("Vacaciones 08:00-15:30", 14) is "Vacaciones 08…".
std::string Fit(const std::string& text, size_t width);
// A cell as a text table shows it: Printable, and the characters that steer a
// terminal or the direction of the line though valid UTF-8 (C1 controls such as
// CSI, line and paragraph separators, bidirectional embeddings, overrides and
// isolates) as the \xNN of their bytes, so a name cannot move the cursor,
// retitle the window or turn the rest of its row around.
std::string Shown(const std::string& text);

// The field quoted when it holds a comma, a quote, a line break or outer blanks.
std::string CsvField(const std::string& text);
// `text` as a JSON string, quotes included; bytes that are no UTF-8 become
// the code points of the same value, so the result is always valid JSON.
std::string JsonString(const std::string& text);

}  // namespace cuadrante::tool
