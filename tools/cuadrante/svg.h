// The pictures' SVG: a small writer of the elements they draw (rect, line,
// text, group) that escapes every text and attribute value, and the palette
// both pictures colour with. A writer builds one document as text, in the
// order of its calls; it is a value, so a picture may draw a part apart and
// append it. Single-threaded, as the tool is.
#pragma once

#include <string>
#include <vector>

namespace cuadrante::tool {

// Text for an SVG or XML document: & < > and " escaped, and every byte that
// is no character XML allows (controls, invalid UTF-8) shown as U+FFFD.
std::string Escape(const std::string& text);

// One attribute, written as name="value" with the value escaped.
struct Attribute {
  Attribute(std::string name, std::string value);
  Attribute(std::string name, const char* value);
  Attribute(std::string name, int value);
  std::string name;
  std::string value;
};
using Attributes = std::vector<Attribute>;

class SvgWriter {
 public:
  // The document's head: the XML declaration, the svg element of `width` by
  // `height` pixels with the pictures' font, and a white ground.
  void Open(int width, int height);
  // Closes the svg element.
  void Close();
  // An element without content, or with a tooltip when `title` is not empty.
  void Rect(const Attributes& attributes, const std::string& title = "");
  void Line(const Attributes& attributes, const std::string& title = "");
  // `text` at (x, y), with the attributes after x and y.
  void Text(int x, int y, const std::string& text, const Attributes& attributes = {});
  // A group of what follows until EndGroup.
  void Group(const Attributes& attributes);
  void EndGroup();
  // What `part` drew, after what this one holds.
  void Append(const SvgWriter& part);

  const std::string& Document() const { return svg_; }

 private:
  void Element(const char* name, const Attributes& attributes, const std::string& title);
  std::string svg_;
};

// The room around both pictures, and the height of a row of their legends.
inline constexpr int kMargin = 16;
inline constexpr int kLegendRow = 22;

// The pictures' colour of a point type, "#rrggbb": one a type, told apart by
// hue on screen and by lightness in grey print; apart in grey.
std::string TypeFill(int type);
// The ink that reads on `fill` ("#rrggbb"): dark on light fills, white on dark ones.
const char* InkFor(const std::string& fill);
// A light tint of `fill` ("#rrggbb"), for what covers whole days.
std::string Tint(const std::string& fill);
// The colour of the plan's shift at `index`: ten qualitative colours, red
// last, then hues the golden angle apart.
std::string ShiftFill(size_t index);

}  // namespace cuadrante::tool
