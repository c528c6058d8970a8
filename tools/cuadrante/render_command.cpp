// `cuadrante render`: a picture of the timeline as SVG. One row a week (or a
// day), each occurrence a box placed by the library's own box geometry and
// filled with the colour of its type, a time axis on top and a legend below.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "cuadrante/points/basicpointmgr.h"
#include "cuadrante/points/cyclepointmgr.h"
#include "cuadrante/roster/range.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/files.h"
#include "cuadrante/services/translate.h"
#include "cuadrante/text/rutinastext.h"
#include "cuadrante/time/basicbox.h"
#include "tools/cuadrante/commands.h"
#include "tools/cuadrante/labels.h"

namespace cuadrante::tool {
namespace {

constexpr int kRowLabelWidth = 120;
constexpr int kMargin = 16;
constexpr int kAxisHeight = 28;
constexpr int kLaneHeight = 24;
constexpr int kLaneGap = 2;
constexpr int kRowGap = 8;
constexpr int kLegendRow = 22;
// More rows than a year of days is no longer a picture a person reads.
constexpr size_t kMostRows = 366;

std::string Escape(const std::string& text) {
  std::string out;
  for (const char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

// Dark text on light fills, white on dark ones.
const char* InkFor(TColor colour) {
  const auto value = static_cast<unsigned>(colour);
  const unsigned luma =
      299 * (value & 0xFF) + 587 * ((value >> 8) & 0xFF) + 114 * (value >> 16 & 0xFF);
  return luma > 140000 ? "#1a1a1a" : "#ffffff";
}

// One piece of a box on one row: a box that crosses a row's end (a night
// shift, a leave over a weekend) is drawn on every row it reaches.
struct Piece {
  const TBasicBox* box;
  int left;
  int right;
  size_t lane = 0;
};

struct Row {
  TFecha origin;
  std::string label;
  std::vector<Piece> pieces;
  size_t lanes = 1;
};

// The boxes to draw over [from, to], and who owns them: rules unrolled into
// boxes that carry the number of their rule as code, or a stored document of
// boxes or points, the points made boxes.
struct Timeline {
  TCyclePointMgr rules;
  TBasicPointMgr stored;
  std::vector<std::unique_ptr<TBasicBox>> madeBoxes;
  std::vector<TBasicBox*> boxes;
};

void LoadBoxes(const std::string& path, TFecha from, TFecha to, Timeline& timeline) {
  AnsiString text;
  const DocumentKind kind = ReadDocument(path, text);
  if (kind == DocumentKind::kEmpty) return;
  if (kind == DocumentKind::kRules) {
    LoadRulesFrom(path, text, timeline.rules);
    roster::ExpandRange(timeline.rules, from, to, true);
    for (TBasicPoint* point : timeline.rules.Points) {
      auto* box = static_cast<TBasicBox*>(point);
      box->SetCode("R" + std::to_string(box->Group));
      timeline.boxes.push_back(box);
    }
    return;
  }
  TBasicBox boxPrototype;
  TBasicPoint pointPrototype;
  try {
    timeline.stored.LoadFromXML(text,
                                kind == DocumentKind::kBoxes ? &boxPrototype : &pointPrototype);
  } catch (const Exception& e) {
    throw EConvertError(path + ": " + e.Message);
  }
  const roster::TRange range = roster::DaysRange(from, to);
  for (TBasicPoint* point : timeline.stored.Points) {
    if (!roster::Belongs(*point, range)) continue;
    if (kind == DocumentKind::kBoxes) {
      // A stored box carries a colour of its own; the picture colours by type,
      // from the colour table, so that the legend tells every box apart.
      auto* box = static_cast<TBasicBox*>(point);
      box->RestartColor();
      timeline.boxes.push_back(box);
    } else {
      timeline.madeBoxes.push_back(std::make_unique<TBasicBox>(point));
      timeline.boxes.push_back(timeline.madeBoxes.back().get());
    }
  }
}

int64_t RowSpan(bool byDay) { return byDay ? 86400 : 7 * 86400; }

// Pixels a minute: powers of two, so that the library's truncation of
// minutes times scale never lands a pixel short of a whole hour's line, as
// 0.7 (1320 * 0.7 == 923.999...) would.
double PixelsPerMinute(bool byDay) { return byDay ? 0.75 : 0.125; }
// 45 px an hour by day, 180 px a day by week.
int RowWidth(bool byDay) {
  return static_cast<int>(static_cast<double>(RowSpan(byDay)) / 60.0 * PixelsPerMinute(byDay));
}

// The rows of the picture, empty, each with its origin and label; a range of
// more rows than a person reads is bad input, told before anything unrolls.
std::vector<Row> MakeRows(TFecha from, TFecha to, bool byDay) {
  const TFecha first = byDay ? TFecha(from.Date()) : from.StartOfWeek();
  const int64_t span = RowSpan(byDay);
  const int64_t count = (to.Value() - first.Value()) / span + 1;
  if (count > static_cast<int64_t>(kMostRows)) {
    throw EConvertError("the range " + from.ToString("dd/mm/yyyy") + " .. " +
                        to.ToString("dd/mm/yyyy") + " gives " + std::to_string(count) +
                        " rows, more than " + std::to_string(kMostRows) + "; draw a shorter one");
  }
  std::vector<Row> rows;
  rows.reserve(static_cast<size_t>(count));
  for (int64_t i = 0; i < count; ++i) {
    const TFecha origin(first.Value() + i * span);
    rows.push_back({origin,
                    byDay
                        ? origin.ToString("ddd dd/mm/yyyy")
                        : "S" + std::to_string(origin.Week()) + " " + origin.ToString("dd/mm/yyyy"),
                    {}});
  }
  return rows;
}

// Places every box on each row it reaches, in one pass over the boxes: a
// box's rows follow from its ends, so no row looks at boxes far from it.
void LayOut(const std::vector<TBasicBox*>& boxes, std::vector<Row>& rows, bool byDay) {
  const int64_t span = RowSpan(byDay);
  const int64_t first = rows.front().origin.Value();
  const auto lastRow = static_cast<int64_t>(rows.size()) - 1;
  // Non-const: the library takes its geometry arguments by reference.
  double scale = PixelsPerMinute(byDay);
  const int rowWidth = RowWidth(byDay);
  int x0 = 0;
  const TRect band{0, 0, 0, kLaneHeight};
  for (TBasicBox* box : boxes) {
    // A box of no length still gets a sliver on the row of its start.
    const int64_t end = std::max(box->EndValue(), box->StartValue() + 1);
    if (end <= first) continue;
    const int64_t top = std::max<int64_t>(0, (box->StartValue() - first) / span);
    const int64_t bottom = std::min(lastRow, (end - 1 - first) / span);
    for (int64_t index = top; index <= bottom; ++index) {
      Row& row = rows[static_cast<size_t>(index)];
      // The exact span of the half-open interval: whole days from midnight
      // cover their own days and no more, which the library's full-day box
      // (drawn to the end of the day that holds the end instant) would pass.
      const TRect r = box->CalculateBox(band, row.origin, x0, scale);
      const int left = std::clamp(r.Left, 0, rowWidth);
      const int right = std::clamp(std::max(r.Right, left + 2), 0, rowWidth);
      if (right > left) row.pieces.push_back({box, left, right});
    }
  }
  for (Row& row : rows) {
    // Overlapping boxes go into lanes of their own, first fit by start.
    std::sort(row.pieces.begin(), row.pieces.end(),
              [](const Piece& a, const Piece& b) { return a.left < b.left; });
    std::vector<int> laneEnds;
    for (Piece& piece : row.pieces) {
      size_t lane = 0;
      while (lane < laneEnds.size() && laneEnds[lane] > piece.left) ++lane;
      if (lane == laneEnds.size()) laneEnds.push_back(0);
      laneEnds[lane] = piece.right;
      piece.lane = lane;
    }
    row.lanes = std::max<size_t>(1, laneEnds.size());
  }
}

std::string Draw(const std::vector<Row>& rows, TFecha from, TFecha to, bool byDay) {
  std::map<int, const TBasicBox*> types;  // one box of each type drawn, for the legend
  for (const Row& row : rows) {
    for (const Piece& piece : row.pieces)
      types.emplace(static_cast<int>(piece.box->Type), piece.box);
  }
  int rowsHeight = 0;
  for (const Row& row : rows)
    rowsHeight += static_cast<int>(row.lanes) * (kLaneHeight + kLaneGap) + kRowGap;
  const int rowWidth = RowWidth(byDay);
  const double scale = PixelsPerMinute(byDay);
  const int width = kMargin * 2 + kRowLabelWidth + rowWidth;
  const int top = kMargin + 24 + kAxisHeight;
  const int legendTop = top + rowsHeight + 12;
  const int height =
      legendTop + kLegendRow * static_cast<int>(std::max<size_t>(1, types.size())) + kMargin;
  const int x = kMargin + kRowLabelWidth;

  std::string svg;
  char buffer[512];
  const auto put = [&](const char* format, auto... values) {
    std::snprintf(buffer, sizeof buffer, format, values...);
    svg += buffer;
  };
  put("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" height=\"%d\" viewBox=\"0 0 %d %d\" "
      "font-family=\"DejaVu Sans, Arial, sans-serif\" font-size=\"11\">\n",
      width, height, width, height);
  put("<rect width=\"%d\" height=\"%d\" fill=\"#ffffff\"/>\n", width, height);
  svg += "<text x=\"" + std::to_string(kMargin) + "\" y=\"" + std::to_string(kMargin + 12) +
         "\" font-size=\"14\" font-weight=\"bold\">" +
         Escape(Say("Cuadrante") + " " + from.ToString("dd/mm/yyyy") + " - " +
                to.ToString("dd/mm/yyyy")) +
         "</text>\n";

  // The axis: a labelled line a day by week and every two hours by day, and
  // fainter ones every six hours and every hour between them.
  const int ticks = byDay ? 12 : 7;
  const int minorTicks = byDay ? 24 : 28;
  const int axisY = kMargin + 24;
  const int axisBottom = top + rowsHeight - kRowGap;
  svg += "<g class=\"axis\" fill=\"#333333\">\n";
  for (int i = 1; i < minorTicks; ++i) {
    if (i % (minorTicks / ticks) == 0) continue;
    const int tx = x + rowWidth * i / minorTicks;
    put("<line x1=\"%d\" y1=\"%d\" x2=\"%d\" y2=\"%d\" stroke=\"#eeeeee\"/>\n", tx, top, tx,
        axisBottom);
  }
  for (int i = 0; i <= ticks; ++i) {
    const int tx = x + rowWidth * i / ticks;
    put("<line x1=\"%d\" y1=\"%d\" x2=\"%d\" y2=\"%d\" stroke=\"#d0d0d0\"/>\n", tx, axisY + 18, tx,
        axisBottom);
    if (i == ticks) break;
    const std::string label =
        byDay ? (i * 2 < 10 ? "0" : "") + std::to_string(i * 2) + ":00"
              : TFecha(rows.front().origin.Value() + i * 86400LL).ToString("ddd");
    svg += "<text x=\"" + std::to_string(tx + 3) + "\" y=\"" + std::to_string(axisY + 12) + "\">" +
           Escape(label) + "</text>\n";
  }
  svg += "</g>\n";

  int y = top;
  for (const Row& row : rows) {
    const int rowHeight = static_cast<int>(row.lanes) * (kLaneHeight + kLaneGap) - kLaneGap;
    svg += "<g class=\"row\">\n<text x=\"" + std::to_string(kMargin) + "\" y=\"" +
           std::to_string(y + 16) + "\">" + Escape(row.label) + "</text>\n";
    put("<rect x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\" fill=\"none\" stroke=\"#e4e4e4\"/>\n",
        x, y, rowWidth, rowHeight);
    // The days of a week row that lie outside the range are greyed: they are
    // not free, they were not asked for.
    const auto minutesInto = [&row](int64_t value) {
      return static_cast<double>(value - row.origin.Value()) / 60.0;
    };
    const int before = std::clamp(static_cast<int>(minutesInto(from.Value()) * scale), 0, rowWidth);
    const int after =
        std::clamp(static_cast<int>(minutesInto(to.Value() + 1) * scale), 0, rowWidth);
    if (before > 0) {
      put("<rect class=\"outside\" x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\" "
          "fill=\"#f0f0f0\"/>\n",
          x, y, before, rowHeight);
    }
    if (after < rowWidth) {
      put("<rect class=\"outside\" x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\" "
          "fill=\"#f0f0f0\"/>\n",
          x + after, y, rowWidth - after, rowHeight);
    }
    for (const Piece& piece : row.pieces) {
      const TBasicBox& box = *piece.box;
      const int by = y + static_cast<int>(piece.lane) * (kLaneHeight + kLaneGap);
      const int bw = piece.right - piece.left;
      const std::string code = Trim(box.Code);
      const std::string label =
          code.empty() ? TypeLabel(box.Type) : TypeLabel(box.Type) + " " + code;
      const std::string fill = ColourHex(box.GetColor());
      put("<rect class=\"box\" data-type=\"%d\" x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\" "
          "fill=\"%s\" stroke=\"#555555\" stroke-width=\"0.5\">",
          static_cast<int>(box.Type), x + piece.left, by, bw, kLaneHeight, fill.c_str());
      svg += "<title>" + Escape(label + ": " + box.ToString(4)) + "</title></rect>\n";
      // About 6.5 px a character at this size. A narrow box shows its code
      // alone, the legend tells its type; one narrower still is left to the
      // tooltip rather than spilling over its neighbours.
      const auto fits = [bw](const std::string& text) {
        return !text.empty() && static_cast<double>(Characters(text)) * 6.5 + 6 <= bw;
      };
      const std::string& shown = fits(label) ? label : code;
      if (fits(shown)) {
        svg += "<text x=\"" + std::to_string(x + piece.left + 3) + "\" y=\"" +
               std::to_string(by + 16) + "\" fill=\"" + InkFor(box.GetColor()) + "\">" +
               Escape(shown) + "</text>\n";
      }
    }
    svg += "</g>\n";
    y += rowHeight + kLaneGap + kRowGap;
  }

  svg += "<g class=\"legend\">\n";
  int ly = legendTop;
  if (types.empty()) {
    svg += "<text x=\"" + std::to_string(kMargin) + "\" y=\"" + std::to_string(ly + 12) + "\">" +
           Escape(Say("Sin intervalos en el periodo")) + "</text>\n";
  }
  for (const auto& [type, box] : types) {
    put("<rect x=\"%d\" y=\"%d\" width=\"14\" height=\"14\" fill=\"%s\" stroke=\"#555555\"/>\n",
        kMargin, ly, ColourHex(box->GetColor()).c_str());
    svg += "<text x=\"" + std::to_string(kMargin + 20) + "\" y=\"" + std::to_string(ly + 11) +
           "\">" + Escape(std::to_string(type) + " " + TypeLabel(type)) + "</text>\n";
    ly += kLegendRow;
  }
  svg += "</g>\n</svg>\n";
  return svg;
}

}  // namespace

void HelpRender() {
  std::printf(
      "usage: cuadrante render RULES.xml|POINTS.xml --from DATE --to DATE -o FILE.svg\n"
      "                        [--by week|day]\n\n"
      "Draws the timeline of a rules document (unrolled into boxes, each labelled\n"
      "with its type and the number of its rule) or of a stored point-set document:\n"
      "one row a week (or a day), each box placed by the library's box geometry and\n"
      "filled with the colour of its type, a time axis and a legend. Whole days\n"
      "from midnight are drawn over their own days. The file is written whole or\n"
      "not at all, and never over the input; -o - writes the picture to stdout, and\n"
      "a document named - is read from stdin.\n\n"
      "example:\n"
      "  cuadrante render examples/rules.xml --from 2026-11-01 --to 2026-11-30 -o roster.svg\n");
}

int RunRender(const Args& args) {
  const Options options = Parse(args, {"--from", "--to", "-o", "--by"}, {});
  if (options.words.size() != 1) throw Misuse("expects one document (see `cuadrante help render`)");
  const auto by = options.values.find("--by");
  const std::string group = by == options.values.end() ? "week" : by->second;
  if (group != "week" && group != "day")
    throw Misuse("--by takes week or day, not '" + group + "'");
  const std::string& output = options.Need("-o");
  if (options.words[0] != "-" && output != "-") {
    // Links and other names of the same file count: the picture would replace
    // the document it was drawn from.
    std::error_code error;
    if (std::filesystem::equivalent(options.words[0], output, error)) {
      throw Misuse("-o " + output + " is the input document; write the picture elsewhere");
    }
  }
  TFecha from;
  TFecha to;
  ParseRange(options, from, to);

  const bool byDay = group == "day";
  std::vector<Row> rows = MakeRows(from, to, byDay);
  Timeline timeline;
  LoadBoxes(options.words[0], from, to, timeline);
  LayOut(timeline.boxes, rows, byDay);
  const std::string svg = Draw(rows, from, to, byDay);
  size_t pieces = 0;
  for (const Row& row : rows) pieces += row.pieces.size();
  if (output == "-") {
    // The picture is the output; the summary goes where a person reads it.
    std::fwrite(svg.data(), 1, svg.size(), stdout);
    std::fprintf(stderr, "-: %zu rows, %zu boxes of %zu occurrences\n", rows.size(), pieces,
                 timeline.boxes.size());
    return 0;
  }
  try {
    WriteFileAtomically(output, svg);
  } catch (const Exception& e) {
    throw EFileError(output + ": " + e.Message);
  }
  std::printf("%s: %zu rows, %zu boxes of %zu occurrences\n", output.c_str(), rows.size(), pieces,
              timeline.boxes.size());
  return 0;
}

}  // namespace cuadrante::tool
