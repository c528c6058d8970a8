// `cuadrante plan render`: the planner's picture of a plan. A block an
// employee, grouped by post, a column a day. Each block is as tall as the
// lanes its items need and framed by lines, with the name in its middle, so a
// bar always reads as the person beside it. Named shifts have a colour each,
// items without a shift their type's colour, whole-day absences a light tint;
// planned work that leave cancels is a struck outline, never a filled box;
// a shift the engine gave keeps its shift's fill inside a dashed dark border.
// Plan holidays tint their column and mark their day in the header; the day
// header comes back every 25 people. A box that runs past midnight carries a
// notch at each midnight it crosses. Breaches of a week are a labelled band
// over that week under the person's lanes; other breaches a red mark over
// their span above them. Under each post a coverage row marks in red where
// people are missing and in amber where there are more than needed. Every
// text goes through the dictionary.
#include <algorithm>
#include <cmath>
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
#include "tools/cuadrante/labels.h"
#include "tools/cuadrante/plan_command.h"
#include "tools/cuadrante/plan_render.h"
#include "tools/cuadrante/svg.h"
#include "tools/cuadrante/table.h"

namespace cuadrante::tool {

namespace {

constexpr int kLabelWidth = 150;
constexpr int kDayWidth = 48;  // 2 px an hour
constexpr int kPersonLaneHeight = 20;
constexpr int kBoxInset = 3;  // a box's room above and below it in its lane
constexpr int kBlockTop = 4;  // above the lanes: the marks of breaches
constexpr int kBlockBottom = 1;
constexpr int kWeekLane = 14;   // a band of week breaches
constexpr int kRowHeight = 20;  // a post's heading and its coverage
constexpr int kTitleHeight = 20;
constexpr int kDaysHeight = 30;
constexpr int kPeoplePerHeader = 25;
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
// The engine's border: dark and dashed, so it shows on any fill, in grey
// print, and apart from the thin grey edge of a planned box and the light
// dashes of a cancelled one. Two pixels on the box's edge leave its inside,
// where the fill is read, untouched.
constexpr const char* kEngine = "#111111";
constexpr const char* kEngineDashes = "4,2";
constexpr int kEngineStroke = 2;

// The place of the shift that `code` names in the plan, or nothing.
std::optional<size_t> ShiftIndex(const roster::TPlan& plan, const std::string& code) {
  if (code.empty()) return std::nullopt;
  for (size_t i = 0; i < plan.shifts.size(); ++i) {
    if (plan.shifts[i].code == code) return i;
  }
  return std::nullopt;
}

class TPicture {
 public:
  TPicture(TFecha first, TFecha last)
      : first_(first.Value()), days_((last.Value() - first.Value()) / kSecondsPerDay + 1) {}

  int Width() const { return kMargin * 2 + kLabelWidth + static_cast<int>(days_) * kDayWidth; }
  int Left() const { return kMargin + kLabelWidth; }
  int64_t First() const { return first_; }
  int64_t Days() const { return days_; }
  int64_t End() const { return first_ + days_ * kSecondsPerDay; }

  // The x of a moment, clamped to the picture's days.
  int X(int64_t at) const {
    const int64_t clamped = std::clamp<int64_t>(at, first_, End());
    return Left() + static_cast<int>((clamped - first_) * kDayWidth / kSecondsPerDay);
  }

  // A rect over [from, to) at least 2 px wide, with `more` attributes after
  // its fill; `title` is its tooltip.
  void Rect(const char* cls, int64_t from, int64_t to, int y, int height, const std::string& fill,
            const Attributes& more, const std::string& title) {
    const int x0 = X(from), x1 = std::max(X(to), X(from) + 2);
    Attributes attributes = {{"class", cls},     {"x", x0},          {"y", y},
                             {"width", x1 - x0}, {"height", height}, {"fill", fill}};
    attributes.insert(attributes.end(), more.begin(), more.end());
    svg_.Rect(attributes, title);
  }

  // A horizontal rule across the labels and the days, on whole pixels.
  void Rule(const char* cls, int y) {
    svg_.Line({{"class", cls},
               {"x1", kMargin},
               {"y1", y},
               {"x2", Width() - kMargin},
               {"y2", y},
               {"stroke", kFrame},
               {"shape-rendering", "crispEdges"}});
  }

  SvgWriter& Svg() { return svg_; }
  const SvgWriter& Svg() const { return svg_; }

 private:
  int64_t first_;
  int64_t days_;
  SvgWriter svg_;
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
    return kBlockTop + lanes * kPersonLaneHeight + weekLanes * kWeekLane + kBlockBottom;
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
    if (!roster::IsWeekBreach(breach.kind)) {
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
  SvgWriter& svg = picture.Svg();
  svg.Group({{"class", "days"}, {"fill", "#333333"}});
  for (int64_t day = 0; day < picture.Days(); ++day) {
    const TFecha date(picture.First() + day * kSecondsPerDay);
    const int x = picture.X(date.Value());
    const bool holiday = holidays.count(day) != 0;
    // The settings' short names, translated: a cut of the long one could split a character.
    svg.Text(x + 3, y + 12, FormatSettings.ShortDayNames[date.DayOfWeek() % 7],
             {{"font-size", "9"}});
    svg.Text(x + 3, y + 24, std::to_string(date.Day()),
             holiday ? Attributes{{"font-weight", "bold"}, {"fill", kHolidayMark}} : Attributes{});
    if (holiday) {
      svg.Rect({{"class", "holiday-day"},
                {"x", x + 1},
                {"y", y + kDaysHeight - 4},
                {"width", kDayWidth - 2},
                {"height", 3},
                {"fill", kHolidayMark}},
               Say("Festivo del plan") + " " + date.ToString("dd/mm/yyyy"));
    }
  }
  svg.EndGroup();
}

// Weekends, holidays and the day lines from `top` to `bottom`, under what
// the rows draw.
void DrawColumns(TPicture& picture, const std::set<int64_t>& holidays, int top, int bottom) {
  if (bottom <= top) return;
  for (int64_t day = 0; day < picture.Days(); ++day) {
    const TFecha date(picture.First() + day * kSecondsPerDay);
    const int x = picture.X(date.Value());
    SvgWriter& svg = picture.Svg();
    if (holidays.count(day) != 0) {
      svg.Rect({{"class", "holiday"},
                {"data-day", date.ToString("yyyy-mm-dd")},
                {"x", x},
                {"y", top},
                {"width", kDayWidth},
                {"height", bottom - top},
                {"fill", kHolidayFill}});
    } else if (date.DayOfWeek() >= 6) {
      svg.Rect({{"class", "weekend"},
                {"x", x},
                {"y", top},
                {"width", kDayWidth},
                {"height", bottom - top},
                {"fill", kWeekendFill}});
    }
    svg.Line({{"x1", x}, {"y1", top}, {"x2", x}, {"y2", bottom}, {"stroke", "#dddddd"}});
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
  bool engine = false;
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
  box.y = blockTop + kBlockTop + block.lane[index] * kPersonLaneHeight + kBoxInset;
  box.height = kPersonLaneHeight - 2 * kBoxInset;
  box.times = Span(item.start.Value(), item.End());
  box.label = (item.code.empty() ? "" : item.code + " ") + TypeLabel(item.type);
  box.x = picture.X(item.start.Value());
  box.width = std::max(picture.X(item.End()), box.x + 2) - box.x;
  return box;
}

// An outline struck through: it was planned, and it is not worked.
void DrawCancelled(TPicture& picture, const roster::TRosterItem& item, const BoxPlace& box) {
  picture.Rect("cancelled", item.start.Value(), item.End(), box.y, box.height, "none",
               {{"stroke", kCancelled}, {"stroke-dasharray", "3,2"}},
               Say("Anulado por ausencia") + ": " + box.label + " " + box.times);
  picture.Svg().Line({{"class", "strike"},
                      {"x1", box.x},
                      {"y1", box.y + box.height},
                      {"x2", box.x + box.width},
                      {"y2", box.y},
                      {"stroke", kCancelled}});
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

// The filled box with its code in the middle, clear of the box's edges; the
// engine's border on a shift the engine gave.
void DrawBox(TPicture& picture, const roster::TRosterItem& item, const BoxPlace& box,
             const std::string& fill) {
  Attributes edge = {{"data-type", static_cast<int>(item.type)}, {"data-code", item.code}};
  if (item.byEngine) {
    edge.insert(edge.end(), {{"data-by", "engine"},
                             {"stroke", kEngine},
                             {"stroke-width", kEngineStroke},
                             {"stroke-dasharray", kEngineDashes}});
  } else {
    edge.insert(edge.end(), {{"stroke", "#555555"}, {"stroke-width", "0.5"}});
  }
  picture.Rect("box", item.start.Value(), item.End(), box.y, box.height, fill, edge,
               box.label + " " + box.times +
                   (item.byEngine ? " (" + Say("Asignado por el motor") + ")" : ""));
  if (!item.code.empty() && box.width >= 6 * static_cast<int>(Characters(item.code)) + 8) {
    picture.Svg().Text(box.x + box.width / 2, box.y + 11, item.code,
                       {{"font-size", "9"}, {"text-anchor", "middle"}, {"fill", InkFor(fill)}});
  }
}

// A notch at each midnight the box runs past, sticking out above and below
// it, so a night reads as going on into the next day's column.
void DrawMidnights(TPicture& picture, const roster::TRosterItem& item, const BoxPlace& box,
                   Colours& colours) {
  for (int64_t midnight = (item.start.Value() / kSecondsPerDay + 1) * kSecondsPerDay;
       midnight < item.End() && midnight <= picture.End(); midnight += kSecondsPerDay) {
    if (midnight < picture.First()) continue;
    colours.midnight = true;
    const int mx = picture.X(midnight);
    picture.Svg().Line({{"class", "midnight"},
                        {"x1", mx},
                        {"y1", box.y - 2},
                        {"x2", mx},
                        {"y2", box.y + box.height + 2},
                        {"stroke", kNotch},
                        {"stroke-width", "2"}},
                       Say("Sigue tras la medianoche") + ": " + box.label + " " + box.times);
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
  const bool wholeDays = !shift && item.FillsWholeDays();
  if (shift) colours.shiftsDrawn[*shift] = true;
  colours.engine = colours.engine || item.byEngine;
  const std::string fill = shift ? ShiftFill(*shift) : UseTypeFill(item.type, wholeDays, colours);
  DrawBox(picture, item, box, fill);
  if (!wholeDays) DrawMidnights(picture, item, box, colours);
}

// A red mark over each breach's span, above the lanes and clear of the frame.
void DrawBreachMarks(TPicture& picture, const Block& block, int blockTop) {
  for (const roster::TBreach* breach : block.marks) {
    picture.Rect("breach", breach->from.Value(),
                 std::max(breach->to.Value(), breach->from.Value() + 1), blockTop + 1, 2,
                 kBreachRed, {}, Say(roster::BreachName(breach->kind)) + ": " + breach->detail);
  }
}

// A band over each breached week (as far as the picture shows it) under the
// lanes, named where the name fits, and a pixel short of each end so two
// weeks never run together.
void DrawWeekBands(TPicture& picture, const Block& block, int blockTop) {
  const int weeksTop = blockTop + kBlockTop + block.lanes * kPersonLaneHeight;
  for (size_t i = 0; i < block.weeks.size(); ++i) {
    const roster::TBreach& breach = *block.weeks[i];
    const int x0 = picture.X(breach.from.Value()) + 1, x1 = picture.X(breach.to.Value()) - 1;
    if (x1 - x0 < 2) continue;
    const int wy = weeksTop + block.weekLane[i] * kWeekLane + 2;
    const std::string name = Say(roster::BreachName(breach.kind));
    picture.Svg().Rect({{"class", "week-breach"},
                        {"x", x0},
                        {"y", wy},
                        {"width", x1 - x0},
                        {"height", kWeekLane - 4},
                        {"fill", kWeekBand},
                        {"stroke", kBreachRed}},
                       name + ": " + breach.detail);
    if (static_cast<double>(Characters(name)) * 5 + 8 <= x1 - x0)
      picture.Svg().Text(x0 + 4, wy + 8, name,
                         {{"class", "week-label"}, {"font-size", "8"}, {"fill", kBreachRed}});
  }
}

void DrawBlock(TPicture& picture, const Block& block, int y, Colours& colours) {
  const roster::TPersonRoster& person = *block.person;
  picture.Svg().Group({{"class", "person"},
                       {"data-employee", person.employee->id},
                       {"data-y", y},
                       {"data-height", block.Height()}});
  picture.Rule("frame", y);
  picture.Rule("frame", y + block.Height());
  picture.Svg().Text(kMargin + 8, y + block.Height() / 2 + 4, person.employee->name,
                     {{"class", "name"}});
  for (size_t i = 0; i < person.items.size(); ++i)
    DrawItem(picture, person.items[i], PlaceBox(picture, block, i, y), colours);
  DrawBreachMarks(picture, block, y);
  DrawWeekBands(picture, block, y);
  picture.Svg().EndGroup();
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
    const int64_t at = (day.Value() - picture.First()) / kSecondsPerDay;
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
  body.Svg().Text(
      kMargin, band.y + 14,
      band.post == nullptr ? Say("Sin puesto") : band.post->code + " " + band.post->name,
      {{"font-weight", "bold"}});
}

void DrawCoverage(TPicture& body, const Band& band, const std::vector<roster::TCoverageGap>& gaps) {
  body.Svg().Group({{"class", "coverage"}});
  body.Svg().Text(kMargin + 8, band.y + 14, Say("Cobertura"),
                  {{"fill", "#555555"}, {"font-style", "italic"}});
  for (const auto& gap : gaps) {
    if (gap.post != band.post) continue;
    const bool missing = gap.Shortfall() > 0;
    body.Rect("gap", gap.from.Value(), gap.to.Value(), band.y + 5, kRowHeight - 10,
              missing ? kBreachRed : kSurplus, {},
              Say(missing ? "faltan" : "sobran") + " " + std::to_string(std::abs(gap.Shortfall())) +
                  ": " + Span(gap.from.Value(), gap.to.Value()));
  }
  body.Svg().EndGroup();
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
    p.Svg().Rect({{"class", "key"},
                  {"x", kMargin},
                  {"y", ly + 7 - height / 2},
                  {"width", 14},
                  {"height", height},
                  {"fill", fill}});
  };
}

void DrawCancelledKey(TPicture& p, int ly) {
  p.Svg().Rect({{"class", "key"},
                {"x", kMargin},
                {"y", ly + 1},
                {"width", 14},
                {"height", 12},
                {"fill", "none"},
                {"stroke", kCancelled},
                {"stroke-dasharray", "3,2"}});
  p.Svg().Line({{"x1", kMargin},
                {"y1", ly + 13},
                {"x2", kMargin + 14},
                {"y2", ly + 1},
                {"stroke", kCancelled}});
}

void DrawMidnightKey(TPicture& p, int ly) {
  p.Svg().Line({{"x1", kMargin + 7},
                {"y1", ly},
                {"x2", kMargin + 7},
                {"y2", ly + 14},
                {"stroke", kNotch},
                {"stroke-width", "2"}});
}

// A white box in the engine's border: the border is the key, whatever the fill.
void DrawEngineKey(TPicture& p, int ly) {
  p.Svg().Rect({{"class", "key"},
                {"x", kMargin + 1},
                {"y", ly + 1},
                {"width", 12},
                {"height", 12},
                {"fill", "#ffffff"},
                {"stroke", kEngine},
                {"stroke-width", kEngineStroke},
                {"stroke-dasharray", kEngineDashes}});
}

void DrawWeekKey(TPicture& p, int ly) {
  p.Svg().Rect({{"class", "key"},
                {"x", kMargin},
                {"y", ly + 2},
                {"width", 14},
                {"height", 10},
                {"fill", kWeekBand},
                {"stroke", kBreachRed}});
}

// The marks the rows use, then the count of each kind of breach and gap.
void AddMarkEntries(std::vector<LegendEntry>& legend, const Colours& colours, bool holidays,
                    const std::vector<roster::TBreach>& breaches,
                    const std::vector<roster::TCoverageGap>& gaps) {
  if (colours.engine) legend.push_back({"", Say("Asignado por el motor"), DrawEngineKey});
  if (colours.cancelled) legend.push_back({"", Say("Anulado por ausencia"), DrawCancelledKey});
  if (colours.midnight) legend.push_back({"", Say("Sigue tras la medianoche"), DrawMidnightKey});
  if (holidays) legend.push_back({"", Say("Festivo del plan"), KeyBar(kHolidayFill, 12)});
  const size_t weekBreaches =
      static_cast<size_t>(std::count_if(breaches.begin(), breaches.end(), [](const auto& b) {
        return roster::IsWeekBreach(b.kind);
      }));
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
  picture.Svg().Open(picture.Width(), height);
  picture.Svg().Text(
      kMargin, kMargin + 12,
      Say("Cuadrante") + " " + first.ToString("dd/mm/yyyy") + " - " + last.ToString("dd/mm/yyyy"),
      {{"font-size", "14"}, {"font-weight", "bold"}});
}

void DrawLegend(TPicture& picture, const std::vector<LegendEntry>& legend, int top) {
  SvgWriter& svg = picture.Svg();
  svg.Group({{"class", "legend"}});
  int ly = top;
  for (const LegendEntry& entry : legend) {
    if (entry.key) {
      entry.key(picture, ly);
    } else {
      svg.Rect({{"x", kMargin},
                {"y", ly},
                {"width", 14},
                {"height", 14},
                {"fill", entry.fill},
                {"stroke", "#555555"}});
    }
    svg.Text(kMargin + 20, ly + 11, entry.text);
    ly += kLegendRow;
  }
  svg.EndGroup();
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
  if ((last.Value() - first.Value()) / kSecondsPerDay + 1 > kMostDays)
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
  Colours colours{plan, std::vector<bool>(plan.shifts.size(), false), {}, false, false, false};
  DrawBands(body, layout, people.blocks, gaps, holidays, colours);
  std::vector<LegendEntry> legend = ColourEntries(plan, colours);
  AddMarkEntries(legend, colours, !holidays.empty(), breaches, gaps);

  const int legendTop = layout.bottom + 16;
  DrawHeader(picture, first, last,
             legendTop + kLegendRow * static_cast<int>(legend.size()) + kMargin);
  picture.Svg().Append(body.Svg());
  DrawLegend(picture, legend, legendTop);
  picture.Svg().Close();
  WritePicture(output, picture.Svg().Document(), people.blocks.size(), breaches.size(),
               gaps.size());
  return 0;
}

}  // namespace cuadrante::tool
