// `cuadrante render`: a picture of the timeline as SVG. One row a week (or a
// day), each occurrence a box placed by the library's own box geometry and
// filled with the colour of its type, a time axis on top and a legend below.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "cuadrante/points/basicpointmgr.h"
#include "cuadrante/points/cyclepointmgr.h"
#include "cuadrante/points/range.h"
#include "cuadrante/port/files.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/formatsettings.h"
#include "cuadrante/runtime/sysutils.h"
#include "cuadrante/services/translate.h"
#include "cuadrante/text/rutinastext.h"
#include "cuadrante/time/basicbox.h"
#include "tools/cuadrante/documents.h"
#include "tools/cuadrante/labels.h"
#include "tools/cuadrante/render_command.h"
#include "tools/cuadrante/svg.h"

namespace cuadrante::tool {

namespace {

constexpr int kRowLabelWidth = 120;
constexpr int kAxisHeight = 34;
constexpr int kPointLaneHeight = 24;
constexpr int kLaneGap = 2;
constexpr int kRowGap = 12;  // room for the day numbers above a week row
// More rows than a year of days is no longer a picture a person reads.
constexpr size_t kMostRows = 366;

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
  int64_t end;  // the first second after the row
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
    ExpandRange(timeline.rules, from, to, true);
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
  const TRange range = DaysRange(from, to);
  for (TBasicPoint* point : timeline.stored.Points) {
    if (!Belongs(*point, range)) continue;
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

// What one row of the picture spans: a day (an hour axis), a week (a day a
// column) or a month (a day a column, 31 columns; a year is 12 rows).
enum class View { kDay, kWeek, kMonth };

// Pixels a minute: powers of two, so that the library's truncation of
// minutes times scale never lands a pixel short of a whole hour's line, as
// 0.7 (1320 * 0.7 == 923.999...) would. 45 px an hour by day, 180 px a day by
// week, 45 px a day by month.
double PixelsPerMinute(View view) {
  return view == View::kDay ? 0.75 : view == View::kWeek ? 0.125 : 0.03125;
}
int Columns(View view) { return view == View::kDay ? 24 : view == View::kWeek ? 7 : 31; }
int ColumnWidth(View view) { return view == View::kWeek ? 180 : 45; }
int RowWidth(View view) { return Columns(view) * ColumnWidth(view); }

// The rows of the picture, empty, each with its span and label; a range of
// more rows than a person reads is bad input, told before anything unrolls.
std::vector<Row> MakeRows(TFecha from, TFecha to, View view) {
  std::vector<Row> rows;
  TFecha origin = view == View::kDay    ? TFecha(from.Date())
                  : view == View::kWeek ? from.StartOfWeek()
                                        : from.StartOfMonth();
  size_t count = 0;
  for (TFecha probe = origin; probe <= to; ++count) {
    probe = view == View::kDay    ? TFecha(probe.Value() + kSecondsPerDay)
            : view == View::kWeek ? TFecha(probe.Value() + 7 * kSecondsPerDay)
                                  : TFecha(probe.EndOfMonth().Value() + 1);
  }
  if (count > kMostRows) {
    throw EConvertError("the range " + from.ToString("dd/mm/yyyy") + " .. " +
                        to.ToString("dd/mm/yyyy") + " gives " + std::to_string(count) +
                        " rows, more than " + std::to_string(kMostRows) + "; draw a shorter one");
  }
  rows.reserve(count);
  while (origin <= to) {
    const int64_t end = view == View::kDay    ? origin.Value() + kSecondsPerDay
                        : view == View::kWeek ? origin.Value() + 7 * kSecondsPerDay
                                              : origin.EndOfMonth().Value() + 1;
    const std::string label = view == View::kDay    ? origin.ToString("ddd dd/mm/yyyy")
                              : view == View::kWeek ? "S" + std::to_string(origin.Week()) + " " +
                                                          origin.ToString("dd/mm/yyyy")
                                                    : origin.ToString("mmmm yyyy");
    rows.push_back({origin, end, label, {}});
    origin = TFecha(end);
  }
  return rows;
}

// Places every box on each row it reaches, in one pass over the boxes: the
// first row is found by bisection, so no row looks at boxes far from it.
void LayOut(const std::vector<TBasicBox*>& boxes, std::vector<Row>& rows, View view) {
  // Non-const: the library takes its geometry arguments by reference.
  double scale = PixelsPerMinute(view);
  int x0 = 0;
  const TRect band{0, 0, 0, kPointLaneHeight};
  for (TBasicBox* box : boxes) {
    // A box of no length still gets a sliver on the row of its start.
    const int64_t end = std::max(box->EndValue(), box->StartValue() + 1);
    auto row = std::upper_bound(rows.begin(), rows.end(), box->StartValue(),
                                [](int64_t start, const Row& r) { return start < r.end; });
    for (; row != rows.end() && row->origin.Value() < end; ++row) {
      // The exact span of the half-open interval: whole days from midnight
      // cover their own days and no more, which the library's full-day box
      // (drawn to the end of the day that holds the end instant) would pass.
      const TRect r = box->CalculateBox(band, row->origin, x0, scale);
      const int width =
          static_cast<int>(static_cast<double>(row->end - row->origin.Value()) / 60.0 * scale);
      const int left = std::clamp(r.Left, 0, width);
      const int right = std::clamp(std::max(r.Right, left + 2), 0, width);
      if (right > left) row->pieces.push_back({box, left, right});
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

// What a box says when there is room: its type and code, and the clock times
// of a piece shorter than a day.
std::string BoxTimes(const TBasicBox& box) {
  if (box.GetDurationValue() >= kSecondsPerDay) return "";
  return box.GetInicio().ToString("hh:nn") + "-" + TFecha(box.EndValue()).ToString("hh:nn");
}

// Where the picture's parts go, from its rows.
struct Frame {
  int rowWidth = 0;
  int rowsHeight = 0;
  int width = 0;
  int top = 0;  // of the first row
  int x = 0;    // of the rows' left edge
};

Frame Measure(const std::vector<Row>& rows, View view) {
  Frame frame;
  for (const Row& row : rows)
    frame.rowsHeight += static_cast<int>(row.lanes) * (kPointLaneHeight + kLaneGap) + kRowGap;
  frame.rowWidth = RowWidth(view);
  frame.width = kMargin * 2 + kRowLabelWidth + frame.rowWidth;
  frame.top = kMargin + 24 + kAxisHeight;
  frame.x = kMargin + kRowLabelWidth;
  return frame;
}

// The axis: a labelled line a column (every two hours by day, a weekday by
// week, a day of the month by month), fainter lines between, and by week
// the hours 6, 12 and 18 of every day.
void DrawAxis(SvgWriter& svg, const Frame& frame, View view) {
  const int columns = Columns(view);
  const int columnWidth = ColumnWidth(view);
  const int minorPerColumn = view == View::kWeek ? 4 : 1;
  const int axisY = kMargin + 24;
  const int axisBottom = frame.top + frame.rowsHeight - kRowGap;
  svg.Group({{"class", "axis"}, {"fill", "#333333"}});
  for (int i = 1; i < columns * minorPerColumn; ++i) {
    if (i % minorPerColumn == 0) continue;
    const int tx = frame.x + columnWidth * i / minorPerColumn;
    svg.Line(
        {{"x1", tx}, {"y1", frame.top}, {"x2", tx}, {"y2", axisBottom}, {"stroke", "#eeeeee"}});
    svg.Text(tx - 4, axisY + 28, std::to_string(6 * (i % minorPerColumn)),
             {{"font-size", "8"}, {"fill", "#777777"}});
  }
  for (int i = 0; i <= columns; ++i) {
    const int tx = frame.x + columnWidth * i;
    const bool labelled = view != View::kDay || i % 2 == 0;
    if (labelled || i == columns) {
      svg.Line(
          {{"x1", tx}, {"y1", axisY + 18}, {"x2", tx}, {"y2", axisBottom}, {"stroke", "#d0d0d0"}});
    }
    if (i == columns || !labelled) continue;
    const std::string label = view == View::kDay ? (i < 10 ? "0" : "") + std::to_string(i) + ":00"
                              : view == View::kWeek ? FormatSettings.ShortDayNames[(i + 1) % 7]
                                                    : std::to_string(i + 1);
    svg.Text(tx + 3, axisY + 12, label);
  }
  svg.EndGroup();
}

// A box of a row at `x`, `y`, with the widest text that fits.
void DrawPiece(SvgWriter& svg, const Piece& piece, int x, int y) {
  const TBasicBox& box = *piece.box;
  const int by = y + static_cast<int>(piece.lane) * (kPointLaneHeight + kLaneGap);
  const int bw = piece.right - piece.left;
  const std::string code = Trim(box.Code);
  const std::string label = code.empty() ? TypeLabel(box.Type) : TypeLabel(box.Type) + " " + code;
  const std::string times = BoxTimes(box);
  const std::string fill = TypeFill(box.Type);
  svg.Rect({{"class", "box"},
            {"data-type", static_cast<int>(box.Type)},
            {"x", x + piece.left},
            {"y", by},
            {"width", bw},
            {"height", kPointLaneHeight},
            {"fill", fill},
            {"stroke", "#555555"},
            {"stroke-width", "0.5"}},
           label + ": " + box.ToString(4));
  // About 6.5 px a character at this size. The widest text that fits is
  // shown: type, code and times; type and code; the code alone; a box
  // narrower still is left to its tooltip rather than spilling over.
  const auto fits = [bw](const std::string& candidate) {
    return !candidate.empty() && static_cast<double>(Characters(candidate)) * 6.5 + 6 <= bw;
  };
  for (const std::string& shown :
       {times.empty() ? std::string() : label + " " + times, label, code}) {
    if (!fits(shown)) continue;
    svg.Text(x + piece.left + 3, by + 16, shown, {{"fill", InkFor(fill)}});
    break;
  }
}

// One row at `y`: its label and frame, the day numbers of a week, what lies
// outside the range greyed, and its boxes. Gives the row's height.
int DrawRow(SvgWriter& svg, const Row& row, const Frame& frame, int y, TFecha from, TFecha to,
            View view) {
  const double scale = PixelsPerMinute(view);
  const int x = frame.x;
  const int rowWidth = frame.rowWidth;
  const int rowHeight = static_cast<int>(row.lanes) * (kPointLaneHeight + kLaneGap) - kLaneGap;
  const int drawn =
      static_cast<int>(static_cast<double>(row.end - row.origin.Value()) / 60.0 * scale);
  svg.Group({{"class", "row"}});
  svg.Text(kMargin, y + 16, row.label);
  svg.Rect({{"x", x},
            {"y", y},
            {"width", rowWidth},
            {"height", rowHeight},
            {"fill", "none"},
            {"stroke", "#e4e4e4"}});
  // The day of the month over each day of a week row.
  if (view == View::kWeek) {
    for (int day = 0; day < 7; ++day) {
      svg.Text(x + day * ColumnWidth(view) + 3, y - 2,
               std::to_string(TFecha(row.origin.Value() + day * int64_t{kSecondsPerDay}).Day()),
               {{"class", "day"}, {"font-size", "8"}, {"fill", "#777777"}});
    }
  }
  // What lies outside the range, or past a short month's end, is greyed:
  // it is not free, it was not asked for.
  const auto minutesInto = [&row](int64_t value) {
    return static_cast<double>(value - row.origin.Value()) / 60.0;
  };
  const int before = std::clamp(static_cast<int>(minutesInto(from.Value()) * scale), 0, rowWidth);
  const int after = std::clamp(
      std::min(static_cast<int>(minutesInto(to.Value() + 1) * scale), drawn), 0, rowWidth);
  const auto outside = [&](int left, int width) {
    svg.Rect({{"class", "outside"},
              {"x", left},
              {"y", y},
              {"width", width},
              {"height", rowHeight},
              {"fill", "#f0f0f0"}});
  };
  if (before > 0) outside(x, before);
  if (after < rowWidth) outside(x + after, rowWidth - after);
  for (const Piece& piece : row.pieces) DrawPiece(svg, piece, x, y);
  svg.EndGroup();
  return rowHeight;
}

// A swatch and label for each type drawn, in the order of their numbers.
void DrawLegend(SvgWriter& svg, const std::set<int>& types, int top) {
  svg.Group({{"class", "legend"}});
  int ly = top;
  if (types.empty()) svg.Text(kMargin, ly + 12, Say("Sin intervalos en el periodo"));
  for (const int type : types) {
    svg.Rect({{"x", kMargin},
              {"y", ly},
              {"width", 14},
              {"height", 14},
              {"fill", TypeFill(type)},
              {"stroke", "#555555"}});
    svg.Text(kMargin + 20, ly + 11, std::to_string(type) + " " + TypeLabel(type));
    ly += kLegendRow;
  }
  svg.EndGroup();
}

std::string Draw(const std::vector<Row>& rows, TFecha from, TFecha to, View view) {
  std::set<int> types;  // the types drawn, for the legend
  for (const Row& row : rows) {
    for (const Piece& piece : row.pieces) types.insert(static_cast<int>(piece.box->Type));
  }
  const Frame frame = Measure(rows, view);
  const int legendTop = frame.top + frame.rowsHeight + 12;
  const int height =
      legendTop + kLegendRow * static_cast<int>(std::max<size_t>(1, types.size())) + kMargin;
  SvgWriter svg;
  svg.Open(frame.width, height);
  svg.Text(kMargin, kMargin + 12,
           Say("Cuadrante") + " " + from.ToString("dd/mm/yyyy") + " - " + to.ToString("dd/mm/yyyy"),
           {{"font-size", "14"}, {"font-weight", "bold"}});
  DrawAxis(svg, frame, view);
  int y = frame.top;
  for (const Row& row : rows) y += DrawRow(svg, row, frame, y, from, to, view) + kLaneGap + kRowGap;
  DrawLegend(svg, types, legendTop);
  svg.Close();
  return svg.Document();
}

}  // namespace

void HelpRender() {
  std::printf(
      "usage: cuadrante render RULES.xml|POINTS.xml --from DATE --to DATE -o FILE.svg\n"
      "                        [--by week|day|month]\n\n"
      "Draws the timeline of a rules document (unrolled into boxes, each labelled\n"
      "with its type and the number of its rule) or of a stored point-set document:\n"
      "one row a week (default: a column a day, the day of the month over it and the\n"
      "hours 6, 12 and 18 on the axis), a day (an hour axis) or a month (a column a\n"
      "day: a year is twelve rows). Each box is placed by the library's box geometry\n"
      "over its half-open interval, so a whole day covers its own day alone; it is\n"
      "filled with the colour of its type (one colour a type, also apart in grey\n"
      "print), labelled with its type, code and times as far as they fit, and\n"
      "carries all of them in its tooltip. The file is written whole or not at all,\n"
      "and never over the input; -o - writes the picture to stdout, and a document\n"
      "named - is read from stdin.\n\n"
      "example:\n"
      "  cuadrante render examples/rules.xml --from 2026-11-01 --to 2026-11-30 -o roster.svg\n");
}

int RunRender(const Args& args) {
  const Options options = Parse(
      args, {Join(RangeOptions(false), {Value("-o"), Choice("--by", {"week", "day", "month"})}),
             {1, 1, "expects one document (see `cuadrante help render`)"}});
  const std::string group = options.Get("--by", "week");
  const std::string& output = options.Need("-o");
  if (options.words[0] != "-" && output != "-") {
    // Links and other names of the same file count: the picture would replace
    // the document it was drawn from.
    std::error_code error;
    if (std::filesystem::equivalent(options.words[0], output, error)) {
      throw Misuse("-o " + output + " is the input document; write the picture elsewhere");
    }
  }
  const DayRange days = ReadDays(options);
  const TFecha from = days.first;
  const TFecha to = days.LastSecond();

  const View view = group == "day" ? View::kDay : group == "month" ? View::kMonth : View::kWeek;
  std::vector<Row> rows = MakeRows(from, to, view);
  Timeline timeline;
  LoadBoxes(options.words[0], from, to, timeline);
  LayOut(timeline.boxes, rows, view);
  const std::string svg = Draw(rows, from, to, view);
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
