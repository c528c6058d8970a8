// The pictures' SVG writer and palette.
#include "tools/cuadrante/svg.h"

#include <cmath>
#include <cstdio>
#include <string>
#include <string_view>
#include <utility>

#include "cuadrante/runtime/sysutils.h"
#include "cuadrante/vocabulary/basicdefines.h"

namespace cuadrante::tool {

namespace {

// How many bytes of `text` from `at` make one character an XML document may
// hold, 0 when they make none: a byte of no valid UTF-8 sequence, a control
// character other than tab and line ends, and U+FFFE and U+FFFF.
size_t XmlCharacterLength(std::string_view text, size_t at) {
  const auto lead = static_cast<unsigned char>(text[at]);
  if (lead < 0x80) return lead >= 0x20 || lead == '\t' || lead == '\n' || lead == '\r' ? 1 : 0;
  for (size_t length = 2; length <= 4 && at + length <= text.size(); ++length) {
    const std::string_view sequence = text.substr(at, length);
    if (!IsValidUtf8(sequence)) continue;
    return sequence == "\xEF\xBF\xBE" || sequence == "\xEF\xBF\xBF" ? 0 : length;
  }
  return 0;
}

}  // namespace

std::string Escape(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (size_t at = 0; at < text.size();) {
    const size_t length = XmlCharacterLength(text, at);
    if (length == 0) {
      // What a picture cannot carry shows as the replacement character, so
      // the file stays well-formed and the reader still sees that a
      // character was there.
      out += "\xEF\xBF\xBD";
      ++at;
      continue;
    }
    switch (text[at]) {
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
        out.append(text, at, length);
    }
    at += length;
  }
  return out;
}

// One colour a type, told apart by hue on screen and by lightness in grey
// print (their greys lie 15 apart, from 30 to 240); the library's own colour
// table gives three types one colour.
constexpr const char* kTypeFills[kTimePointTypeCount] = {
    "#969696", "#d0edd0", "#1a4d94", "#eda761", "#c2223d", "#f9ede7", "#a054c6",
    "#5f1818", "#23adc9", "#f2d95c", "#218664", "#ad96dc", "#abdd79", "#1e1e1e"};

std::string TypeFill(int type) {
  return type >= 0 && type < kTimePointTypeCount ? kTypeFills[type] : kTypeFills[0];
}

// Dark text on light fills, white on dark ones.
const char* InkFor(const std::string& fill) {
  const unsigned value = static_cast<unsigned>(std::stoul(fill.substr(1), nullptr, 16));
  const unsigned luma = 299 * (value >> 16) + 587 * ((value >> 8) & 0xFF) + 114 * (value & 0xFF);
  return luma > 140000 ? "#1a1a1a" : "#ffffff";
}

Attribute::Attribute(std::string name, std::string value)
    : name(std::move(name)), value(std::move(value)) {}
Attribute::Attribute(std::string name, const char* value) : name(std::move(name)), value(value) {}
Attribute::Attribute(std::string name, int value)
    : name(std::move(name)), value(std::to_string(value)) {}

void SvgWriter::Open(int width, int height) {
  const std::string w = std::to_string(width), h = std::to_string(height);
  svg_ +=
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\" "
      "width=\"" +
      w + "\" height=\"" + h + "\" viewBox=\"0 0 " + w + " " + h +
      "\" font-family=\"DejaVu Sans, Arial, sans-serif\" font-size=\"11\">\n";
  Rect({{"width", width}, {"height", height}, {"fill", "#ffffff"}});
}

void SvgWriter::Close() { svg_ += "</svg>\n"; }

void SvgWriter::Element(const char* name, const Attributes& attributes, const std::string& title) {
  svg_ += "<";
  svg_ += name;
  for (const Attribute& attribute : attributes)
    svg_ += " " + attribute.name + "=\"" + Escape(attribute.value) + "\"";
  if (title.empty()) {
    svg_ += "/>\n";
    return;
  }
  svg_ += "><title>" + Escape(title) + "</title></" + name + ">\n";
}

void SvgWriter::Rect(const Attributes& attributes, const std::string& title) {
  Element("rect", attributes, title);
}

void SvgWriter::Line(const Attributes& attributes, const std::string& title) {
  Element("line", attributes, title);
}

void SvgWriter::Text(int x, int y, const std::string& text, const Attributes& attributes) {
  svg_ += "<text x=\"" + std::to_string(x) + "\" y=\"" + std::to_string(y) + "\"";
  for (const Attribute& attribute : attributes)
    svg_ += " " + attribute.name + "=\"" + Escape(attribute.value) + "\"";
  svg_ += ">" + Escape(text) + "</text>\n";
}

void SvgWriter::Group(const Attributes& attributes) {
  svg_ += "<g";
  for (const Attribute& attribute : attributes)
    svg_ += " " + attribute.name + "=\"" + Escape(attribute.value) + "\"";
  svg_ += ">\n";
}

void SvgWriter::EndGroup() { svg_ += "</g>\n"; }

void SvgWriter::Append(const SvgWriter& part) { svg_ += part.svg_; }

namespace {

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

}  // namespace

std::string ShiftFill(size_t index) {
  return index < kPaletteSize ? kShiftPalette[index] : HueFill(index);
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

}  // namespace cuadrante::tool
