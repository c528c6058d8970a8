// `cuadrante plan render`: the planner's picture of a plan. A block an
// employee, grouped by post, a column a day. Each block is as tall as the
// lanes its items need and framed by lines, with the name in its middle, so a
// bar always reads as the person beside it. Named shifts have a colour each,
// items without a shift their type's colour, whole-day absences a light tint;
// planned work that leave cancels is a struck outline, never a filled box.
// Plan holidays tint their column and mark their day in the header; the day
// header comes back every 25 people. A box that runs past midnight carries a
// notch at each midnight it crosses. Breaches of a week are a labelled band
// over that week under the person's lanes; other breaches a red mark over
// their span above them. Under each post a coverage row marks in red where
// people are missing and in amber where there are more than needed. Every
// text goes through the dictionary.
#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "cuadrante/port/files.h"
#include "cuadrante/roster/checks.h"
#include "cuadrante/roster/personroster.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/formatsettings.h"
#include "tools/cuadrante/commands.h"
#include "tools/cuadrante/labels.h"

namespace cuadrante::tool {

// Whom a picture shows; an empty function shows everyone.
using ShowsEmployee = std::function<bool(const roster::TEmployee&)>;

namespace {

constexpr int kMargin = 16;
constexpr int kLabelWidth = 150;
constexpr int kDayWidth = 48;  // 2 px an hour
constexpr int kLaneHeight = 20;
constexpr int kBoxInset = 3;  // a box's room above and below it in its lane
constexpr int kBlockTop = 4;  // above the lanes: the marks of breaches
constexpr int kBlockBottom = 1;
constexpr int kWeekLane = 14;   // a band of week breaches
constexpr int kRowHeight = 20;  // a post's heading and its coverage
constexpr int kTitleHeight = 20;
constexpr int kDaysHeight = 30;
constexpr int kPeoplePerHeader = 25;
constexpr int kLegendRow = 22;
constexpr int64_t kDay = 86400;
constexpr int64_t kMostDays = 62;

constexpr const char* kBreachRed = "#d7191c";
constexpr const char* kSurplus = "#fdae61";
constexpr const char* kHolidayFill = "#dce6f7";
constexpr const char* kHolidayMark = "#2f5fb3";
constexpr const char* kWeekendFill = "#f4f4f4";
constexpr const char* kWeekBand = "#fde0e0";
constexpr const char* kFrame = "#8c8c8c";
constexpr const char* kNotch = "#111111";
constexpr const char* kCancelled = "#6e6e6e";

// Qualitative colours for the plan's shifts, by their place in the plan
// (Tableau 10, red last: red speaks of breaches and gaps here). Shifts past
// the tenth step round the hue circle by the golden angle, which keeps any
// two of them apart.
constexpr const char* kShiftPalette[] = {"#4e79a7", "#f28e2b", "#59a14f", "#b07aa1", "#76b7b2",
                                         "#edc948", "#9c755f", "#ff9da7", "#bab0ac", "#e15759"};
constexpr size_t kPaletteSize = sizeof kShiftPalette / sizeof kShiftPalette[0];

std::string HueFill(size_t index) {
  const double hue = std::fmod(static_cast<double>(index) * 137.508, 360.0);
  const double lightness = index % 2 == 0 ? 0.45 : 0.62, saturation = 0.55;
  const double chroma = (1 - std::fabs(2 * lightness - 1)) * saturation;
  const double second = chroma * (1 - std::fabs(std::fmod(hue / 60, 2.0) - 1));
  double rgb[3] = {0, 0, 0};
  const int sector = static_cast<int>(hue / 60) % 6;
  const int big[6] = {0, 1, 1, 2, 2, 0}, small[6] = {1, 0, 2, 1, 0, 2};
  rgb[big[sector]] = chroma;
  rgb[small[sector]] = second;
  char text[16];
  const auto channel = [&](double value) {
    return static_cast<unsigned>(std::lround((value + lightness - chroma / 2) * 255));
  };
  std::snprintf(text, sizeof text, "#%02x%02x%02x", channel(rgb[0]), channel(rgb[1]),
                channel(rgb[2]));
  return text;
}

std::string ShiftFill(size_t index) {
  return index < kPaletteSize ? kShiftPalette[index] : HueFill(index);
}

// The place of the shift that `code` names in the plan, or nothing.
std::optional<size_t> ShiftIndex(const roster::TPlan& plan, const std::string& code) {
  if (code.empty()) return std::nullopt;
  for (size_t i = 0; i < plan.shifts.size(); ++i) {
    if (plan.shifts[i].code == code) return i;
  }
  return std::nullopt;
}

// A whole-day absence is drawn in a light tint of its type's colour, solid, so
// that the shifts beside it stand out; print and screen show the same.
std::string Tint(const std::string& fill) {
  const unsigned value = static_cast<unsigned>(std::stoul(fill.substr(1), nullptr, 16));
  char text[16];
  const auto mix = [](unsigned channel) { return (channel * 45 + 255 * 55) / 100; };
  std::snprintf(text, sizeof text, "#%02x%02x%02x", mix(value >> 16), mix((value >> 8) & 0xFF),
                mix(value & 0xFF));
  return text;
}

bool IsWeekBreach(roster::TBreachKind kind) {
  return kind == roster::TBreachKind::kWeekOverMaximum ||
         kind == roster::TBreachKind::kWeekOverContract;
}

class TPicture {
 public:
  TPicture(TFecha first, TFecha last)
      : first_(first.Value()), days_((last.Value() - first.Value()) / kDay + 1) {}

  int Width() const { return kMargin * 2 + kLabelWidth + static_cast<int>(days_) * kDayWidth; }
  int Left() const { return kMargin + kLabelWidth; }
  int64_t First() const { return first_; }
  int64_t Days() const { return days_; }
  int64_t End() const { return first_ + days_ * kDay; }

  // The x of a moment, clamped to the picture's days.
  int X(int64_t at) const {
    const int64_t clamped = std::clamp<int64_t>(at, first_, End());
    return Left() + static_cast<int>((clamped - first_) * kDayWidth / kDay);
  }

  void Put(const char* format, ...) __attribute__((format(printf, 2, 3))) {
    char buffer[768];
    va_list list;
    va_start(list, format);
    std::vsnprintf(buffer, sizeof buffer, format, list);
    va_end(list);
    svg_ += buffer;
  }

  // A rect over [from, to) at least 2 px wide; `title` is its tooltip.
  void Rect(const char* cls, int64_t from, int64_t to, int y, int height, const std::string& fill,
            const std::string& extra, const std::string& title) {
    const int x0 = X(from), x1 = std::max(X(to), X(from) + 2);
    Put("<rect class=\"%s\" x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\" fill=\"%s\"%s>", cls, x0,
        y, x1 - x0, height, fill.c_str(), extra.c_str());
    svg_ += title.empty() ? "</rect>\n" : "<title>" + Escape(title) + "</title></rect>\n";
  }

  void Text(int x, int y, const std::string& text, const std::string& extra = "") {
    svg_ += "<text x=\"" + std::to_string(x) + "\" y=\"" + std::to_string(y) + "\"" + extra + ">" +
            Escape(text) + "</text>\n";
  }

  // A horizontal rule across the labels and the days, on whole pixels.
  void Rule(const char* cls, int y) {
    Put("<line class=\"%s\" x1=\"%d\" y1=\"%d\" x2=\"%d\" y2=\"%d\" stroke=\"%s\" "
        "shape-rendering=\"crispEdges\"/>\n",
        cls, kMargin, y, Width() - kMargin, y, kFrame);
  }

  std::string& Svg() { return svg_; }

 private:
  int64_t first_;
  int64_t days_;
  std::string svg_;
};

// First fit by start: spans whose pictures would overlap go on lanes of their
// own. Gives each span's lane and sets `lanes` (at least `least`).
std::vector<int> FirstFit(const std::vector<std::pair<int, int>>& spans, int least, int& lanes) {
  std::vector<int> lane(spans.size(), 0);
  std::vector<int> laneEnds;
  for (size_t i = 0; i < spans.size(); ++i) {
    size_t free = 0;
    while (free < laneEnds.size() && laneEnds[free] > spans[i].first) ++free;
    if (free == laneEnds.size()) laneEnds.push_back(0);
    laneEnds[free] = spans[i].second;
    lane[i] = static_cast<int>(free);
  }
  lanes = std::max<int>(least, static_cast<int>(laneEnds.size()));
  return lane;
}

// A person's block: their lanes of items and, under them, their bands of week
// breaches.
struct Block {
  const roster::TPersonRoster* person = nullptr;
  std::vector<const roster::TBreach*> marks;  // breaches drawn over their span
  std::vector<const roster::TBreach*> weeks;  // breaches of a week
  std::vector<int> lane;                      // of each item
  std::vector<int> weekLane;                  // of each week breach
  int lanes = 1;
  int weekLanes = 0;

  int Height() const {
    return kBlockTop + lanes * kLaneHeight + weekLanes * kWeekLane + kBlockBottom;
  }
};

Block MakeBlock(const TPicture& picture, const roster::TPersonRoster& person,
                const std::vector<roster::TBreach>& breaches) {
  Block block;
  block.person = &person;
  std::vector<std::pair<int, int>> spans;
  for (const auto& item : person.items) {
    const int left = picture.X(item.start.Value());
    spans.push_back({left, std::max(picture.X(item.End()), left + 2)});
  }
  block.lane = FirstFit(spans, 1, block.lanes);
  spans.clear();
  for (const auto& breach : breaches) {
    if (breach.employee != person.employee) continue;
    if (!IsWeekBreach(breach.kind)) {
      block.marks.push_back(&breach);
      continue;
    }
    block.weeks.push_back(&breach);
    spans.push_back({picture.X(breach.from.Value()), picture.X(breach.to.Value())});
  }
  block.weekLane = FirstFit(spans, 0, block.weekLanes);
  return block;
}

// What the body of the picture holds, top to bottom.
struct Band {
  enum Kind { kDays, kPost, kPerson, kCoverage } kind;
  int y = 0;
  int height = 0;
  const roster::TPost* post = nullptr;  // kPost, kCoverage (null: people without a post)
  size_t block = 0;                     // kPerson
};

struct LegendEntry {
  std::string fill;  // a swatch; empty for a key drawn by `key`
  std::string text;
  std::function<void(TPicture&, int)> key;
};

void DrawDays(TPicture& picture, const std::set<int64_t>& holidays, int y) {
  auto& svg = picture.Svg();
  svg += "<g class=\"days\" fill=\"#333333\">\n";
  for (int64_t day = 0; day < picture.Days(); ++day) {
    const TFecha date(picture.First() + day * kDay);
    const int x = picture.X(date.Value());
    const bool holiday = holidays.count(day) != 0;
    // The settings' short names, translated: a cut of the long one could split a character.
    picture.Text(x + 3, y + 12, FormatSettings.ShortDayNames[date.DayOfWeek() % 7],
                 " font-size=\"9\"");
    picture.Text(x + 3, y + 24, std::to_string(date.Day()),
                 holiday ? std::string(" font-weight=\"bold\" fill=\"") + kHolidayMark + "\"" : "");
    if (holiday) {
      picture.Put(
          "<rect class=\"holiday-day\" x=\"%d\" y=\"%d\" width=\"%d\" height=\"3\" "
          "fill=\"%s\"><title>%s</title></rect>\n",
          x + 1, y + kDaysHeight - 4, kDayWidth - 2, kHolidayMark,
          Escape(Say("Festivo del plan") + " " + date.ToString("dd/mm/yyyy")).c_str());
    }
  }
  svg += "</g>\n";
}

// Weekends, holidays and the day lines from `top` to `bottom`, under what
// the rows draw.
void DrawColumns(TPicture& picture, const std::set<int64_t>& holidays, int top, int bottom) {
  if (bottom <= top) return;
  for (int64_t day = 0; day < picture.Days(); ++day) {
    const TFecha date(picture.First() + day * kDay);
    const int x = picture.X(date.Value());
    if (holidays.count(day) != 0) {
      picture.Put(
          "<rect class=\"holiday\" data-day=\"%s\" x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\" "
          "fill=\"%s\"/>\n",
          date.ToString("yyyy-mm-dd").c_str(), x, top, kDayWidth, bottom - top, kHolidayFill);
    } else if (date.DayOfWeek() >= 6) {
      picture.Put(
          "<rect class=\"weekend\" x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\" fill=\"%s\"/>\n", x,
          top, kDayWidth, bottom - top, kWeekendFill);
    }
    picture.Put("<line x1=\"%d\" y1=\"%d\" x2=\"%d\" y2=\"%d\" stroke=\"#dddddd\"/>\n", x, top, x,
                bottom);
  }
}

std::string Span(int64_t from, int64_t to) {
  return TFecha(from).ToString("dd/mm hh:nn") + " - " + TFecha(to).ToString("dd/mm hh:nn");
}

// What the rows drew that the legend names.
struct Colours {
  const roster::TPlan& plan;
  std::vector<bool> shiftsDrawn;
  std::vector<std::pair<std::pair<int, bool>, std::string>> types;  // (type, whole days), fill
  bool cancelled = false;
  bool midnight = false;
};

// Where an item's box goes in its person's block, and what its tooltip says.
struct BoxPlace {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
  std::string times;
  std::string label;  // the code, if any, and the type
};

BoxPlace PlaceBox(const TPicture& picture, const Block& block, size_t index, int blockTop) {
  const roster::TRosterItem& item = block.person->items[index];
  BoxPlace box;
  box.y = blockTop + kBlockTop + block.lane[index] * kLaneHeight + kBoxInset;
  box.height = kLaneHeight - 2 * kBoxInset;
  box.times = Span(item.start.Value(), item.End());
  box.label = (item.code.empty() ? "" : item.code + " ") + TypeLabel(item.type);
  box.x = picture.X(item.start.Value());
  box.width = std::max(picture.X(item.End()), box.x + 2) - box.x;
  return box;
}

// An outline struck through: it was planned, and it is not worked.
void DrawCancelled(TPicture& picture, const roster::TRosterItem& item, const BoxPlace& box) {
  picture.Rect("cancelled", item.start.Value(), item.End(), box.y, box.height, "none",
               std::string(" stroke=\"") + kCancelled + "\" stroke-dasharray=\"3,2\"",
               Say("Anulado por ausencia") + ": " + box.label + " " + box.times);
  picture.Put("<line class=\"strike\" x1=\"%d\" y1=\"%d\" x2=\"%d\" y2=\"%d\" stroke=\"%s\"/>\n",
              box.x, box.y + box.height, box.x + box.width, box.y, kCancelled);
}

// The fill of an item without a shift, noted for the legend once a type and
// kind (whole days or not).
std::string UseTypeFill(int type, bool wholeDays, Colours& colours) {
  const std::string fill = wholeDays ? Tint(TypeFill(type)) : TypeFill(type);
  const std::pair<int, bool> key{type, wholeDays};
  if (std::none_of(colours.types.begin(), colours.types.end(),
                   [&](const auto& entry) { return entry.first == key; }))
    colours.types.push_back({key, fill});
  return fill;
}

// The filled box with its code in the middle, clear of the box's edges.
void DrawBox(TPicture& picture, const roster::TRosterItem& item, const BoxPlace& box,
             const std::string& fill) {
  picture.Rect("box", item.start.Value(), item.End(), box.y, box.height, fill,
               " data-type=\"" + std::to_string(item.type) + "\" data-code=\"" + Escape(item.code) +
                   "\" stroke=\"#555555\" stroke-width=\"0.5\"",
               box.label + " " + box.times);
  if (!item.code.empty() && box.width >= 6 * static_cast<int>(Characters(item.code)) + 8) {
    picture.Text(
        box.x + box.width / 2, box.y + 11, item.code,
        std::string(" font-size=\"9\" text-anchor=\"middle\" fill=\"") + InkFor(fill) + "\"");
  }
}

// A notch at each midnight the box runs past, sticking out above and below
// it, so a night reads as going on into the next day's column.
void DrawMidnights(TPicture& picture, const roster::TRosterItem& item, const BoxPlace& box,
                   Colours& colours) {
  for (int64_t midnight = (item.start.Value() / kDay + 1) * kDay;
       midnight < item.End() && midnight <= picture.End(); midnight += kDay) {
    if (midnight < picture.First()) continue;
    colours.midnight = true;
    const int mx = picture.X(midnight);
    picture.Put(
        "<line class=\"midnight\" x1=\"%d\" y1=\"%d\" x2=\"%d\" y2=\"%d\" stroke=\"%s\" "
        "stroke-width=\"2\"><title>%s</title></line>\n",
        mx, box.y - 2, mx, box.y + box.height + 2, kNotch,
        Escape(Say("Sigue tras la medianoche") + ": " + box.label + " " + box.times).c_str());
  }
}

// An item's box as its kind wants it: struck out, filled, notched at midnights.
void DrawItem(TPicture& picture, const roster::TRosterItem& item, const BoxPlace& box,
              Colours& colours) {
  if (item.cancelled) {
    colours.cancelled = true;
    DrawCancelled(picture, item, box);
    return;
  }
  const std::optional<size_t> shift = ShiftIndex(colours.plan, item.code);
  const bool wholeDays = !shift && item.seconds % kDay == 0 && item.start.Value() % kDay == 0;
  if (shift) colours.shiftsDrawn[*shift] = true;
  const std::string fill = shift ? ShiftFill(*shift) : UseTypeFill(item.type, wholeDays, colours);
  DrawBox(picture, item, box, fill);
  if (!wholeDays) DrawMidnights(picture, item, box, colours);
}

// A red mark over each breach's span, above the lanes and clear of the frame.
void DrawBreachMarks(TPicture& picture, const Block& block, int blockTop) {
  for (const roster::TBreach* breach : block.marks) {
    picture.Rect("breach", breach->from.Value(),
                 std::max(breach->to.Value(), breach->from.Value() + 1), blockTop + 1, 2,
                 kBreachRed, "", Say(roster::BreachName(breach->kind)) + ": " + breach->detail);
  }
}

// A band over each breached week (as far as the picture shows it) under the
// lanes, named where the name fits, and a pixel short of each end so two
// weeks never run together.
void DrawWeekBands(TPicture& picture, const Block& block, int blockTop) {
  const int weeksTop = blockTop + kBlockTop + block.lanes * kLaneHeight;
  for (size_t i = 0; i < block.weeks.size(); ++i) {
    const roster::TBreach& breach = *block.weeks[i];
    const int x0 = picture.X(breach.from.Value()) + 1, x1 = picture.X(breach.to.Value()) - 1;
    if (x1 - x0 < 2) continue;
    const int wy = weeksTop + block.weekLane[i] * kWeekLane + 2;
    const std::string name = Say(roster::BreachName(breach.kind));
    picture.Put(
        "<rect class=\"week-breach\" x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\" fill=\"%s\" "
        "stroke=\"%s\"><title>%s</title></rect>\n",
        x0, wy, x1 - x0, kWeekLane - 4, kWeekBand, kBreachRed,
        Escape(name + ": " + breach.detail).c_str());
    if (static_cast<double>(Characters(name)) * 5 + 8 <= x1 - x0)
      picture.Text(
          x0 + 4, wy + 8, name,
          std::string(" class=\"week-label\" font-size=\"8\" fill=\"") + kBreachRed + "\"");
  }
}

void DrawBlock(TPicture& picture, const Block& block, int y, Colours& colours) {
  const roster::TPersonRoster& person = *block.person;
  picture.Put("<g class=\"person\" data-employee=\"%s\" data-y=\"%d\" data-height=\"%d\">\n",
              Escape(person.employee->id).c_str(), y, block.Height());
  picture.Rule("frame", y);
  picture.Rule("frame", y + block.Height());
  picture.Text(kMargin + 8, y + block.Height() / 2 + 4, person.employee->name, " class=\"name\"");
  for (size_t i = 0; i < person.items.size(); ++i)
    DrawItem(picture, person.items[i], PlaceBox(picture, block, i, y), colours);
  DrawBreachMarks(picture, block, y);
  DrawWeekBands(picture, block, y);
  picture.Svg() += "</g>\n";
}

// Whether a picture with the filter `shows` shows `employee`.
bool Shown(const ShowsEmployee& shows, const roster::TEmployee& employee) {
  return !shows || shows(employee);
}

std::vector<roster::TBreach> ShownBreaches(const std::vector<roster::TBreach>& all,
                                           const ShowsEmployee& shows) {
  std::vector<roster::TBreach> breaches;
  for (const auto& breach : all) {
    if (Shown(shows, *breach.employee)) breaches.push_back(breach);
  }
  return breaches;
}

// A post and the blocks of its people shown (null: the people without a post).
struct Group {
  const roster::TPost* post = nullptr;
  std::vector<size_t> members;  // indices into the blocks
};

// The people shown, a block each, and their groups: posts in the plan's
// order, then the people without one. A group none of whose people are shown
// stays empty. The blocks borrow `rosters` and `breaches`.
struct People {
  std::vector<Group> groups;
  std::vector<Block> blocks;
};

People GroupPeople(const roster::TPlan& plan, const TPicture& picture,
                   const std::vector<roster::TPersonRoster>& rosters,
                   const std::vector<roster::TBreach>& breaches, const ShowsEmployee& shows) {
  People people;
  for (const roster::TPost& post : plan.posts) people.groups.push_back({&post, {}});
  people.groups.push_back({nullptr, {}});
  for (const auto& person : rosters) {
    if (!Shown(shows, *person.employee)) continue;
    for (auto& group : people.groups) {
      if (group.post == plan.FindPost(person.employee->post)) {
        group.members.push_back(people.blocks.size());
        people.blocks.push_back(MakeBlock(picture, person, breaches));
        break;
      }
    }
  }
  return people;
}

// The coverage gaps of the posts with someone shown.
std::vector<roster::TCoverageGap> ShownGaps(const std::vector<roster::TCoverageGap>& all,
                                            const std::vector<Group>& groups) {
  std::vector<roster::TCoverageGap> gaps;
  for (const auto& gap : all) {
    for (const auto& group : groups) {
      if (group.post == gap.post && !group.members.empty()) gaps.push_back(gap);
    }
  }
  return gaps;
}

// The bands of the body, placed.
struct Layout {
  std::vector<Band> bands;
  int bottom = 0;  // under the last band
};

// Where each band goes: the day header again before the post or person that
// follows 25 people, and the days alone when nobody is shown.
Layout LayOut(const People& people) {
  Layout layout;
  auto& bands = layout.bands;
  int y = kMargin + kTitleHeight;
  int sinceHeader = 0;
  const auto add = [&](Band band) {
    if (band.kind != Band::kCoverage && (bands.empty() || sinceHeader >= kPeoplePerHeader)) {
      bands.push_back({Band::kDays, y, kDaysHeight});
      y += kDaysHeight;
      sinceHeader = 0;
    }
    band.y = y;
    y += band.height;
    if (band.kind == Band::kPerson) ++sinceHeader;
    bands.push_back(band);
  };
  for (const auto& [post, members] : people.groups) {
    if (members.empty()) continue;
    add({Band::kPost, 0, kRowHeight, post});
    for (size_t index : members)
      add({Band::kPerson, 0, people.blocks[index].Height(), post, index});
    if (post != nullptr) add({Band::kCoverage, 0, kRowHeight, post});
  }
  if (bands.empty()) {
    bands.push_back({Band::kDays, y, kDaysHeight});
    y += kDaysHeight;
  }
  layout.bottom = y;
  return layout;
}

// The plan's holidays as days of the picture, counted from its first.
std::set<int64_t> HolidayColumns(const roster::TPlan& plan, const TPicture& picture) {
  std::set<int64_t> holidays;
  for (const TFecha& day : plan.holidays) {
    const int64_t at = (day.Value() - picture.First()) / kDay;
    if (day.Value() >= picture.First() && at < picture.Days()) holidays.insert(at);
  }
  return holidays;
}

// The day header of band `index` and, under it down to the next header, the
// columns.
void DrawDaysBand(TPicture& body, const Layout& layout, size_t index,
                  const std::set<int64_t>& holidays) {
  const Band& band = layout.bands[index];
  DrawDays(body, holidays, band.y);
  size_t next = index + 1;
  while (next < layout.bands.size() && layout.bands[next].kind != Band::kDays) ++next;
  DrawColumns(body, holidays, band.y + band.height,
              next < layout.bands.size() ? layout.bands[next].y : layout.bottom);
}

void DrawPostHeading(TPicture& body, const Band& band) {
  body.Text(kMargin, band.y + 14,
            band.post == nullptr ? Say("Sin puesto") : band.post->code + " " + band.post->name,
            " font-weight=\"bold\"");
}

void DrawCoverage(TPicture& body, const Band& band, const std::vector<roster::TCoverageGap>& gaps) {
  body.Svg() += "<g class=\"coverage\">\n";
  body.Text(kMargin + 8, band.y + 14, Say("Cobertura"), " fill=\"#555555\" font-style=\"italic\"");
  for (const auto& gap : gaps) {
    if (gap.post != band.post) continue;
    const bool missing = gap.Shortfall() > 0;
    body.Rect("gap", gap.from.Value(), gap.to.Value(), band.y + 5, kRowHeight - 10,
              missing ? kBreachRed : kSurplus, "",
              Say(missing ? "faltan" : "sobran") + " " + std::to_string(std::abs(gap.Shortfall())) +
                  ": " + Span(gap.from.Value(), gap.to.Value()));
  }
  body.Svg() += "</g>\n";
}

// The rows of the body, top to bottom; `colours` learns what they use.
void DrawBands(TPicture& body, const Layout& layout, const std::vector<Block>& blocks,
               const std::vector<roster::TCoverageGap>& gaps, const std::set<int64_t>& holidays,
               Colours& colours) {
  for (size_t i = 0; i < layout.bands.size(); ++i) {
    const Band& band = layout.bands[i];
    switch (band.kind) {
      case Band::kDays:
        DrawDaysBand(body, layout, i, holidays);
        break;
      case Band::kPost:
        DrawPostHeading(body, band);
        break;
      case Band::kPerson:
        DrawBlock(body, blocks[band.block], band.y, colours);
        break;
      case Band::kCoverage:
        DrawCoverage(body, band, gaps);
        break;
    }
  }
}

// Each shift drawn with its code and name, then each type drawn without a
// shift, in the order of their numbers.
std::vector<LegendEntry> ColourEntries(const roster::TPlan& plan, const Colours& colours) {
  std::vector<LegendEntry> legend;
  for (size_t i = 0; i < plan.shifts.size(); ++i) {
    if (colours.shiftsDrawn[i])
      legend.push_back({ShiftFill(i), plan.shifts[i].code + " " + plan.shifts[i].name, nullptr});
  }
  auto types = colours.types;
  std::sort(types.begin(), types.end());
  for (const auto& [key, fill] : types) {
    legend.push_back({fill,
                      std::to_string(key.first) + " " + TypeLabel(key.first) +
                          (key.second ? " (" + Say("días completos") + ")" : ""),
                      nullptr});
  }
  return legend;
}

// A legend key: a bar of `fill`, `height` px tall, in the middle of its row.
std::function<void(TPicture&, int)> KeyBar(const char* fill, int height) {
  return [fill, height](TPicture& p, int ly) {
    p.Put("<rect class=\"key\" x=\"%d\" y=\"%d\" width=\"14\" height=\"%d\" fill=\"%s\"/>\n",
          kMargin, ly + 7 - height / 2, height, fill);
  };
}

void DrawCancelledKey(TPicture& p, int ly) {
  p.Put(
      "<rect class=\"key\" x=\"%d\" y=\"%d\" width=\"14\" height=\"12\" "
      "fill=\"none\" stroke=\"%s\" stroke-dasharray=\"3,2\"/>\n"
      "<line x1=\"%d\" y1=\"%d\" x2=\"%d\" y2=\"%d\" stroke=\"%s\"/>\n",
      kMargin, ly + 1, kCancelled, kMargin, ly + 13, kMargin + 14, ly + 1, kCancelled);
}

void DrawMidnightKey(TPicture& p, int ly) {
  p.Put(
      "<line x1=\"%d\" y1=\"%d\" x2=\"%d\" y2=\"%d\" stroke=\"%s\" "
      "stroke-width=\"2\"/>\n",
      kMargin + 7, ly, kMargin + 7, ly + 14, kNotch);
}

void DrawWeekKey(TPicture& p, int ly) {
  p.Put(
      "<rect class=\"key\" x=\"%d\" y=\"%d\" width=\"14\" height=\"10\" "
      "fill=\"%s\" stroke=\"%s\"/>\n",
      kMargin, ly + 2, kWeekBand, kBreachRed);
}

// The marks the rows use, then the count of each kind of breach and gap.
void AddMarkEntries(std::vector<LegendEntry>& legend, const Colours& colours, bool holidays,
                    const std::vector<roster::TBreach>& breaches,
                    const std::vector<roster::TCoverageGap>& gaps) {
  if (colours.cancelled) legend.push_back({"", Say("Anulado por ausencia"), DrawCancelledKey});
  if (colours.midnight) legend.push_back({"", Say("Sigue tras la medianoche"), DrawMidnightKey});
  if (holidays) legend.push_back({"", Say("Festivo del plan"), KeyBar(kHolidayFill, 12)});
  const size_t weekBreaches = static_cast<size_t>(std::count_if(
      breaches.begin(), breaches.end(), [](const auto& b) { return IsWeekBreach(b.kind); }));
  legend.push_back(
      {"",
       std::to_string(breaches.size() - weekBreaches) + " " + Say("incumplimientos (plan check)"),
       KeyBar(kBreachRed, 2)});
  legend.push_back(
      {"", std::to_string(weekBreaches) + " " + Say("semanas incumplidas"), DrawWeekKey});
  const auto count = [&](bool missing) {
    return std::to_string(std::count_if(gaps.begin(), gaps.end(), [&](const auto& gap) {
      return (gap.Shortfall() > 0) == missing;
    }));
  };
  legend.push_back({"", count(true) + " " + Say("huecos: faltan personas"), KeyBar(kBreachRed, 8)});
  legend.push_back({"", count(false) + " " + Say("huecos: sobran personas"), KeyBar(kSurplus, 8)});
}

// The SVG's opening, its white ground and the title.
void DrawHeader(TPicture& picture, TFecha first, TFecha last, int height) {
  const int width = picture.Width();
  picture.Put(
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\" "
      "width=\"%d\" height=\"%d\" viewBox=\"0 0 %d %d\" font-family=\"DejaVu Sans, Arial, "
      "sans-serif\" font-size=\"11\">\n<rect width=\"%d\" height=\"%d\" fill=\"#ffffff\"/>\n",
      width, height, width, height, width, height);
  picture.Text(
      kMargin, kMargin + 12,
      Say("Cuadrante") + " " + first.ToString("dd/mm/yyyy") + " - " + last.ToString("dd/mm/yyyy"),
      " font-size=\"14\" font-weight=\"bold\"");
}

void DrawLegend(TPicture& picture, const std::vector<LegendEntry>& legend, int top) {
  picture.Svg() += "<g class=\"legend\">\n";
  int ly = top;
  for (const LegendEntry& entry : legend) {
    if (entry.key) {
      entry.key(picture, ly);
    } else {
      picture.Put(
          "<rect x=\"%d\" y=\"%d\" width=\"14\" height=\"14\" fill=\"%s\" stroke=\"#555555\"/>\n",
          kMargin, ly, entry.fill.c_str());
    }
    picture.Text(kMargin + 20, ly + 11, entry.text);
    ly += kLegendRow;
  }
  picture.Svg() += "</g>\n";
}

// To stdout for "-"; else to the file, atomically, with a line of what it holds.
void WritePicture(const std::string& output, const std::string& svg, size_t people, size_t breaches,
                  size_t gaps) {
  if (output == "-") {
    std::fwrite(svg.data(), 1, svg.size(), stdout);
    return;
  }
  try {
    WriteFileAtomically(output, svg);
  } catch (const Exception& e) {
    throw EFileError(output + ": " + e.Message);
  }
  std::printf("%s: %zu people, %zu breaches, %zu coverage gaps\n", output.c_str(), people, breaches,
              gaps);
}

}  // namespace

int RunPlanRender(const roster::TPlan& plan, TFecha first, TFecha last, const std::string& output,
                  const ShowsEmployee& shows) {
  if ((last.Value() - first.Value()) / kDay + 1 > kMostDays)
    throw EConvertError("a plan picture shows at most " + std::to_string(kMostDays) +
                        " days; draw a shorter range");
  const auto rosters = roster::BuildRosters(plan, first, last);
  // Coverage counts every person of a post, shown or not.
  const auto allBreaches = roster::CheckRosters(plan, first, last, plan.limits, nullptr, Wording());
  const auto allGaps = roster::CheckCoverage(plan, rosters, first, last);
  TPicture picture(first, last);
  const std::vector<roster::TBreach> breaches = ShownBreaches(allBreaches, shows);
  const People people = GroupPeople(plan, picture, rosters, breaches, shows);
  const std::vector<roster::TCoverageGap> gaps = ShownGaps(allGaps, people.groups);
  const Layout layout = LayOut(people);
  const std::set<int64_t> holidays = HolidayColumns(plan, picture);

  // Draw the rows first: what they use sets the legend's length.
  TPicture body = picture;
  Colours colours{plan, std::vector<bool>(plan.shifts.size(), false), {}, false, false};
  DrawBands(body, layout, people.blocks, gaps, holidays, colours);
  std::vector<LegendEntry> legend = ColourEntries(plan, colours);
  AddMarkEntries(legend, colours, !holidays.empty(), breaches, gaps);

  const int legendTop = layout.bottom + 16;
  DrawHeader(picture, first, last,
             legendTop + kLegendRow * static_cast<int>(legend.size()) + kMargin);
  picture.Svg() += body.Svg();
  DrawLegend(picture, legend, legendTop);
  picture.Svg() += "</svg>\n";
  WritePicture(output, picture.Svg(), people.blocks.size(), breaches.size(), gaps.size());
  return 0;
}

int RunPlanRender(const roster::TPlan& plan, TFecha first, TFecha last, const std::string& output) {
  return RunPlanRender(plan, first, last, output, ShowsEmployee());
}

}  // namespace cuadrante::tool
