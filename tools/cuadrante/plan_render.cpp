// `cuadrante plan render`: the planner's picture of a plan. One row an
// employee, grouped by post, a column a day; shifts coloured by type and
// labelled with their code, whole-day absences in a light tint, every breach
// marked by a red line along its person's row, and under each post a coverage
// row that marks in red where people are missing and in amber where there
// are more than needed.
#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "cuadrante/roster/checks.h"
#include "cuadrante/roster/personroster.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/files.h"
#include "cuadrante/runtime/formatsettings.h"
#include "tools/cuadrante/commands.h"
#include "tools/cuadrante/labels.h"

namespace cuadrante::tool {
namespace {

constexpr int kMargin = 16;
constexpr int kLabelWidth = 150;
constexpr int kDayWidth = 48;  // 2 px an hour
constexpr int kRowHeight = 20;
constexpr int kHeaderHeight = 40;
constexpr int kLegendRow = 22;
constexpr int64_t kDay = 86400;
constexpr int64_t kMostDays = 62;

class TPicture {
 public:
  TPicture(TFecha first, TFecha last)
      : first_(first.Value()), days_((last.Value() - first.Value()) / kDay + 1) {}

  int Width() const { return kMargin * 2 + kLabelWidth + static_cast<int>(days_) * kDayWidth; }

  // The x of a moment, clamped to the picture's days.
  int X(int64_t at) const {
    const int64_t clamped = std::clamp<int64_t>(at, first_, first_ + days_ * kDay);
    return kMargin + kLabelWidth + static_cast<int>((clamped - first_) * kDayWidth / kDay);
  }

  void Rect(const char* cls, int64_t from, int64_t to, int y, int height, const std::string& fill,
            const std::string& extra, const std::string& title) {
    const int x0 = X(from), x1 = std::max(X(to), X(from) + 2);
    char buffer[512];
    std::snprintf(buffer, sizeof buffer,
                  "<rect class=\"%s\" x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\" fill=\"%s\"%s>",
                  cls, x0, y, x1 - x0, height, fill.c_str(), extra.c_str());
    svg_ += buffer;
    svg_ += title.empty() ? "</rect>\n" : "<title>" + Escape(title) + "</title></rect>\n";
  }

  void Text(int x, int y, const std::string& text, const std::string& extra = "") {
    svg_ += "<text x=\"" + std::to_string(x) + "\" y=\"" + std::to_string(y) + "\"" + extra + ">" +
            Escape(text) + "</text>\n";
  }

  std::string& Svg() { return svg_; }
  int64_t First() const { return first_; }
  int64_t Days() const { return days_; }

 private:
  int64_t first_;
  int64_t days_;
  std::string svg_;
};

// Each item's lane on its person's row, first fit by start: items whose
// pictures would overlap (a breach, and shown as one) go on lanes of their own.
std::vector<int> Lanes(const TPicture& picture, const roster::TPersonRoster& person, int& lanes) {
  std::vector<int> lane(person.items.size(), 0);
  std::vector<int> laneEnds;
  for (size_t i = 0; i < person.items.size(); ++i) {
    const auto& item = person.items[i];
    const int left = picture.X(item.start.Value());
    const int right = std::max(picture.X(item.End()), left + 2);
    size_t free = 0;
    while (free < laneEnds.size() && laneEnds[free] > left) ++free;
    if (free == laneEnds.size()) laneEnds.push_back(0);
    laneEnds[free] = right;
    lane[i] = static_cast<int>(free);
  }
  lanes = std::max<int>(1, static_cast<int>(laneEnds.size()));
  return lane;
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

}  // namespace

int RunPlanRender(const roster::TPlan& plan, TFecha first, TFecha last, const std::string& output) {
  if ((last.Value() - first.Value()) / kDay + 1 > kMostDays)
    throw EConvertError("a plan picture shows at most " + std::to_string(kMostDays) +
                        " days; draw a shorter range");
  const auto rosters = roster::BuildRosters(plan, first, last);
  const auto breaches = roster::CheckRosters(plan, first, last, plan.limits);
  const auto gaps = roster::CheckCoverage(plan, rosters, first, last);

  // Posts in the plan's order, then the people without one.
  std::vector<std::pair<std::string, std::vector<const roster::TPersonRoster*>>> groups;
  for (const roster::TPost& post : plan.posts) groups.push_back({post.code, {}});
  groups.push_back({"", {}});
  for (const auto& person : rosters) {
    for (auto& group : groups) {
      if (group.first == person.employee->post) {
        group.second.push_back(&person);
        break;
      }
    }
  }
  TPicture picture(first, last);
  int rows = 0;
  for (const auto& group : groups) {
    if (group.first.empty() && group.second.empty()) continue;
    rows += 1 + (group.first.empty() ? 0 : 1);
    for (const roster::TPersonRoster* person : group.second) {
      int lanes = 1;
      Lanes(picture, *person, lanes);
      rows += lanes;
    }
  }
  // The fill of each type as first drawn, for the legend.
  std::map<int, std::string> fills;
  size_t types = 0;
  {
    std::map<int, bool> seen;
    for (const auto& person : rosters) {
      for (const auto& item : person.items) seen[item.type] = true;
    }
    types = seen.size();
  }
  const int top = kMargin + kHeaderHeight;
  const int legendTop = top + rows * kRowHeight + 16;
  const int height = legendTop + kLegendRow * (static_cast<int>(types) + 2) + kMargin;
  const int width = picture.Width();
  std::string& svg = picture.Svg();
  char buffer[512];
  std::snprintf(
      buffer, sizeof buffer,
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\" "
      "width=\"%d\" height=\"%d\" viewBox=\"0 0 %d %d\" font-family=\"DejaVu Sans, Arial, "
      "sans-serif\" font-size=\"11\">\n<rect width=\"%d\" height=\"%d\" fill=\"#ffffff\"/>\n",
      width, height, width, height, width, height);
  svg += buffer;
  picture.Text(
      kMargin, kMargin + 12,
      Say("Cuadrante") + " " + first.ToString("dd/mm/yyyy") + " - " + last.ToString("dd/mm/yyyy"),
      " font-size=\"14\" font-weight=\"bold\"");
  // A column a day: weekday and day of the month, weekends on grey.
  svg += "<g class=\"axis\" fill=\"#333333\">\n";
  for (int64_t day = 0; day < picture.Days(); ++day) {
    const TFecha date(picture.First() + day * kDay);
    const int x = picture.X(date.Value());
    // The settings' short names, translated: a cut of the long one could split a character.
    picture.Text(x + 3, top - 16, FormatSettings.ShortDayNames[date.DayOfWeek() % 7],
                 " font-size=\"9\"");
    picture.Text(x + 3, top - 4, std::to_string(date.Day()));
    if (date.DayOfWeek() >= 6) {
      std::snprintf(buffer, sizeof buffer,
                    "<rect class=\"weekend\" x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\" "
                    "fill=\"#f4f4f4\"/>\n",
                    x, top, kDayWidth, rows * kRowHeight);
      svg += buffer;
    }
    std::snprintf(buffer, sizeof buffer,
                  "<line x1=\"%d\" y1=\"%d\" x2=\"%d\" y2=\"%d\" stroke=\"#dddddd\"/>\n", x,
                  top - 26, x, top + rows * kRowHeight);
    svg += buffer;
  }
  svg += "</g>\n";

  int y = top;
  const auto breachRows = [&](const roster::TPersonRoster& person, int rowY) {
    for (const auto& breach : breaches) {
      if (breach.employee != person.employee) continue;
      // A red line along the top of the person's row over the breach's span,
      // clear of the boxes below it.
      picture.Rect("breach", breach.from.Value(),
                   std::max(breach.to.Value(), breach.from.Value() + 1), rowY, 2, "#d7191c", "",
                   std::string(roster::BreachName(breach.kind)) + ": " + breach.detail);
    }
  };
  for (const auto& group : groups) {
    if (group.first.empty() && group.second.empty()) continue;
    const roster::TPost* post = plan.FindPost(group.first);
    picture.Text(kMargin, y + 14,
                 post == nullptr ? Say("Sin puesto") : post->code + " " + post->name,
                 " font-weight=\"bold\"");
    y += kRowHeight;
    for (const roster::TPersonRoster* person : group.second) {
      svg += "<g class=\"person\">\n";
      picture.Text(kMargin + 8, y + 14, person->employee->name);
      int lanes = 1;
      const std::vector<int> lane = Lanes(picture, *person, lanes);
      for (size_t i = 0; i < person->items.size(); ++i) {
        const auto& item = person->items[i];
        const bool shift = !item.code.empty();
        const bool wholeDays = !shift && item.seconds % kDay == 0 && item.start.Value() % kDay == 0;
        const std::string fill = wholeDays ? Tint(TypeFill(item.type)) : TypeFill(item.type);
        fills.emplace(item.type, fill);
        const std::string title = (shift ? item.code + " " : "") + TypeLabel(item.type) + " " +
                                  item.start.ToString("dd/mm hh:nn") + " - " +
                                  TFecha(item.End()).ToString("dd/mm hh:nn");
        const int by = y + lane[i] * kRowHeight;
        picture.Rect("box", item.start.Value(), item.End(), by + 3, kRowHeight - 6, fill,
                     std::string(" data-type=\"") + std::to_string(item.type) +
                         "\" stroke=\"#555555\" stroke-width=\"0.5\"",
                     title);
        // The code in the middle of its box, clear of the box's edges.
        const int x = picture.X(item.start.Value()), w = picture.X(item.End()) - x;
        if (shift && w >= 6 * static_cast<int>(Characters(item.code)) + 8) {
          picture.Text(
              x + w / 2, by + 14, item.code,
              std::string(" font-size=\"9\" text-anchor=\"middle\" fill=\"") + InkFor(fill) + "\"");
        }
      }
      breachRows(*person, y);
      svg += "</g>\n";
      y += lanes * kRowHeight;
    }
    if (post == nullptr) continue;
    picture.Text(kMargin + 8, y + 14, Say("Cobertura"), " fill=\"#555555\" font-style=\"italic\"");
    for (const auto& gap : gaps) {
      if (gap.post != post) continue;
      const bool missing = gap.Shortfall() > 0;
      picture.Rect("gap", gap.from.Value(), gap.to.Value(), y + 5, kRowHeight - 10,
                   missing ? "#d7191c" : "#fdae61", "",
                   (missing ? "faltan " : "sobran ") + std::to_string(std::abs(gap.Shortfall())) +
                       ": " + gap.from.ToString("dd/mm hh:nn") + " - " +
                       gap.to.ToString("dd/mm hh:nn"));
    }
    y += kRowHeight;
  }

  svg += "<g class=\"legend\">\n";
  int ly = legendTop;
  for (const auto& [type, fill] : fills) {
    std::snprintf(
        buffer, sizeof buffer,
        "<rect x=\"%d\" y=\"%d\" width=\"14\" height=\"14\" fill=\"%s\" stroke=\"#555555\"/>\n",
        kMargin, ly, fill.c_str());
    svg += buffer;
    picture.Text(kMargin + 20, ly + 11, std::to_string(type) + " " + TypeLabel(type));
    ly += kLegendRow;
  }
  std::snprintf(buffer, sizeof buffer,
                "<rect x=\"%d\" y=\"%d\" width=\"14\" height=\"2\" fill=\"#d7191c\"/>\n", kMargin,
                ly + 6);
  svg += buffer;
  picture.Text(kMargin + 20, ly + 11,
               std::to_string(breaches.size()) + " " + Say("incumplimientos (plan check)"));
  ly += kLegendRow;
  // A bar, as the gaps are drawn.
  std::snprintf(buffer, sizeof buffer,
                "<rect x=\"%d\" y=\"%d\" width=\"14\" height=\"8\" fill=\"#d7191c\"/>\n", kMargin,
                ly + 3);
  svg += buffer;
  picture.Text(kMargin + 20, ly + 11,
               std::to_string(gaps.size()) + " " + Say("huecos de cobertura (plan coverage)"));
  svg += "</g>\n</svg>\n";

  if (output == "-") {
    std::fwrite(svg.data(), 1, svg.size(), stdout);
  } else {
    try {
      WriteFileAtomically(output, svg);
    } catch (const Exception& e) {
      throw EFileError(output + ": " + e.Message);
    }
    std::printf("%s: %zu people, %zu breaches, %zu coverage gaps\n", output.c_str(), rosters.size(),
                breaches.size(), gaps.size());
  }
  return 0;
}

}  // namespace cuadrante::tool
