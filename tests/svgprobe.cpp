// cuadrante_svgprobe: checks a browser's screenshot of a roster picture against
// the SVG that `cuadrante render` wrote. Every box big enough to sample must show
// its fill near its edges, every legend swatch its fill at its centre, and every
// pixel well away from anything the SVG draws must be white, so a picture that is
// shifted, clipped, scaled or not drawn at all fails.
//
//   cuadrante_svgprobe ROSTER.svg SHOT.png   exit 0 pass, 1 fail, 2 bad input
//   cuadrante_svgprobe --pixel SHOT.png X Y  prints the pixel's colour as #rrggbb
//
// Only 8-bit RGB and RGBA non-interlaced PNGs are read: that is what browsers
// write for a screenshot, and anything else is refused rather than guessed at.
#include <cryptopp/filters.h>
#include <cryptopp/zlib.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <pugixml.hpp>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace {

struct Rgb {
  int r = 0, g = 0, b = 0;
  bool operator<(const Rgb& o) const { return std::tie(r, g, b) < std::tie(o.r, o.g, o.b); }
};

std::string Hex(Rgb c) {
  char text[8];
  std::snprintf(text, sizeof text, "#%02x%02x%02x", c.r, c.g, c.b);
  return text;
}

// Antialiasing and colour management may move a channel by a step or two.
constexpr int kTolerance = 8;

bool Near(Rgb a, Rgb b) {
  return std::abs(a.r - b.r) <= kTolerance && std::abs(a.g - b.g) <= kTolerance &&
         std::abs(a.b - b.b) <= kTolerance;
}

// ---------------------------------------------------------------------------
// PNG

struct Image {
  int width = 0, height = 0;
  bool alpha = false;
  std::vector<uint8_t> rgb;  // width * height * 3, alpha laid over white
  bool Contains(int x, int y) const { return x >= 0 && y >= 0 && x < width && y < height; }
  Rgb At(int x, int y) const {
    const size_t i = (static_cast<size_t>(y) * width + x) * 3;
    return {rgb[i], rgb[i + 1], rgb[i + 2]};
  }
};

uint32_t BigEndian(const uint8_t* p) {
  return uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | p[3];
}

int Paeth(int a, int b, int c) {
  const int p = a + b - c, pa = std::abs(p - a), pb = std::abs(p - b), pc = std::abs(p - c);
  return pa <= pb && pa <= pc ? a : pb <= pc ? b : c;
}

Image DecodePng(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("cannot open");
  const std::string file{std::istreambuf_iterator<char>(in), {}};
  const auto* bytes = reinterpret_cast<const uint8_t*>(file.data());
  static constexpr uint8_t kSignature[8] = {137, 80, 78, 71, 13, 10, 26, 10};
  if (file.size() < 8 || !std::equal(kSignature, kSignature + 8, bytes))
    throw std::runtime_error("not a PNG file (bad signature)");

  Image image;
  std::string idat;
  bool header = false, end = false;
  for (size_t at = 8; !end;) {
    if (file.size() - at < 12)
      throw std::runtime_error("truncated chunk at offset " + std::to_string(at));
    const uint32_t length = BigEndian(bytes + at);
    const std::string type = file.substr(at + 4, 4);
    if (length > file.size() - at - 12)
      throw std::runtime_error("chunk " + type + " runs past the end of the file");
    const uint8_t* data = bytes + at + 8;
    if (!header && type != "IHDR")
      throw std::runtime_error("first chunk is " + type + ", not IHDR");
    if (type == "IHDR") {
      if (length != 13) throw std::runtime_error("IHDR is not 13 bytes");
      const uint32_t w = BigEndian(data), h = BigEndian(data + 4);
      const int depth = data[8], colour = data[9], interlace = data[12];
      if (w == 0 || h == 0 || w > 16384 || h > 16384)
        throw std::runtime_error("unsupported size " + std::to_string(w) + "x" + std::to_string(h));
      if (depth != 8 || (colour != 2 && colour != 6))
        throw std::runtime_error("unsupported format: bit depth " + std::to_string(depth) +
                                 ", colour type " + std::to_string(colour) +
                                 " (only 8-bit RGB and RGBA are read)");
      if (data[10] != 0 || data[11] != 0)
        throw std::runtime_error("unknown compression or filter method");
      if (interlace != 0) throw std::runtime_error("interlaced PNGs are not read");
      image.width = static_cast<int>(w);
      image.height = static_cast<int>(h);
      image.alpha = colour == 6;
      header = true;
    } else if (type == "IDAT") {
      idat.append(file, at + 8, length);
    } else if (type == "IEND") {
      end = true;
    } else if (!(type[0] & 0x20) && type != "PLTE") {
      throw std::runtime_error("unknown critical chunk " + type);
    }
    at += 12 + length;
  }

  std::string raw;
  try {
    CryptoPP::StringSource(idat, true,
                           new CryptoPP::ZlibDecompressor(new CryptoPP::StringSink(raw)));
  } catch (const CryptoPP::Exception& e) {
    throw std::runtime_error("image data does not inflate: " + e.GetWhat());
  }
  const size_t bpp = image.alpha ? 4 : 3;
  const size_t stride = image.width * bpp;
  if (raw.size() != image.height * (stride + 1))
    throw std::runtime_error("image data is " + std::to_string(raw.size()) + " bytes, expected " +
                             std::to_string(image.height * (stride + 1)));

  std::vector<uint8_t> previous(stride, 0), line(stride);
  image.rgb.resize(static_cast<size_t>(image.width) * image.height * 3);
  for (int y = 0; y < image.height; ++y) {
    const auto* row = reinterpret_cast<const uint8_t*>(raw.data()) + y * (stride + 1);
    const int filter = row[0];
    if (filter > 4)
      throw std::runtime_error("row " + std::to_string(y) + " has filter " +
                               std::to_string(filter));
    for (size_t i = 0; i < stride; ++i) {
      const int a = i >= bpp ? line[i - bpp] : 0, b = previous[i],
                c = i >= bpp ? previous[i - bpp] : 0;
      const int predictor = filter == 1   ? a
                            : filter == 2 ? b
                            : filter == 3 ? (a + b) / 2
                            : filter == 4 ? Paeth(a, b, c)
                                          : 0;
      line[i] = static_cast<uint8_t>(row[1 + i] + predictor);
    }
    for (int x = 0; x < image.width; ++x) {
      const uint8_t* px = &line[x * bpp];
      const int alpha = image.alpha ? px[3] : 255;
      for (int k = 0; k < 3; ++k)  // over a white page, as the browser would show it
        image.rgb[(static_cast<size_t>(y) * image.width + x) * 3 + k] =
            static_cast<uint8_t>((px[k] * alpha + 255 * (255 - alpha) + 127) / 255);
    }
    std::swap(previous, line);
  }
  return image;
}

// ---------------------------------------------------------------------------
// SVG

struct Box {
  int index, type, x, y, width, height;
  Rgb fill;
};

struct Swatch {
  int x, y;
  Rgb fill;
};

struct Picture {
  int width = 0, height = 0;
  std::vector<Box> boxes;
  std::vector<Swatch> swatches;
  std::vector<uint8_t> drawn;  // 1 where something other than the background may show
};

double Number(const pugi::xml_node& node, const char* name, double fallback) {
  const pugi::xml_attribute attribute = node.attribute(name);
  if (!attribute) return fallback;
  const std::string_view text = attribute.value();
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size())
    throw std::runtime_error(std::string("<") + node.name() + "> has " + name + "=\"" +
                             std::string(text) + "\", not a number");
  return value;
}

int Whole(const pugi::xml_node& node, const char* name) {
  const double value = Number(node, name, 0);
  if (value != std::floor(value))
    throw std::runtime_error(std::string("<") + node.name() + "> has a fractional " + name);
  return static_cast<int>(value);
}

Rgb Colour(std::string_view text) {
  const auto hexDigit = [](char ch) {
    return (ch >= '0' && ch <= '9') || (ch >= 'a' && ch <= 'f');
  };
  if (text.size() != 7 || text[0] != '#' || !std::all_of(text.begin() + 1, text.end(), hexDigit))
    throw std::runtime_error("colour '" + std::string(text) + "' is not #rrggbb");
  std::array<int, 3> channels{};
  for (size_t k = 0; k < 3; ++k)
    std::from_chars(text.data() + 1 + 2 * k, text.data() + 3 + 2 * k, channels[k], 16);
  return {channels[0], channels[1], channels[2]};
}

size_t Characters(std::string_view utf8) {
  return std::count_if(utf8.begin(), utf8.end(), [](char ch) { return (ch & 0xC0) != 0x80; });
}

class Reader {
 public:
  explicit Reader(Picture& picture) : p_(picture) {}

  void Walk(const pugi::xml_node& node, double fontSize, bool inLegend) {
    for (const pugi::xml_node& child : node.children()) {
      if (child.type() != pugi::node_element) continue;
      if (child.attribute("transform"))
        throw std::runtime_error(std::string("<") + child.name() + "> has a transform");
      const double size = Number(child, "font-size", fontSize);
      const std::string_view name = child.name(), cls = child.attribute("class").value();
      if (name == "g") {
        Walk(child, size, inLegend || cls == "legend");
      } else if (name == "rect") {
        Rect(child, cls, inLegend);
      } else if (name == "line") {
        const double x1 = Number(child, "x1", 0), y1 = Number(child, "y1", 0),
                     x2 = Number(child, "x2", 0), y2 = Number(child, "y2", 0);
        Mark(std::min(x1, x2), std::min(y1, y2), std::max(x1, x2), std::max(y1, y2));
      } else if (name == "text") {
        // No font metrics here: a generous box of 0.7 em a character, ascent to descent.
        const double x = Number(child, "x", 0), y = Number(child, "y", 0);
        const double advance = 0.7 * size * Characters(child.child_value());
        Mark(x, y - size, x + advance, y + 0.35 * size);
      } else if (name != "title") {
        throw std::runtime_error("<" + std::string(name) + "> is not an element this probe knows");
      }
    }
  }

 private:
  void Rect(const pugi::xml_node& rect, std::string_view cls, bool inLegend) {
    const int x = Whole(rect, "x"), y = Whole(rect, "y"), w = Whole(rect, "width"),
              h = Whole(rect, "height");
    const std::string_view fill = rect.attribute("fill").value();
    if (!sawBackground_) {
      if (x != 0 || y != 0 || w != p_.width || h != p_.height || fill != "#ffffff")
        throw std::runtime_error("the first rect is not a white background of the full size");
      sawBackground_ = true;
      return;
    }
    if (cls == "box") {
      p_.boxes.push_back(
          {static_cast<int>(p_.boxes.size()), Whole(rect, "data-type"), x, y, w, h, Colour(fill)});
    } else if (inLegend && w == 14 && h == 14 &&
               fill != "none") {  // an outline swatch has no fill to probe
      p_.swatches.push_back({x, y, Colour(fill)});
    }
    if (fill == "none") {  // an outline: only its edges are drawn
      Mark(x, y, x + w, y);
      Mark(x, y + h, x + w, y + h);
      Mark(x, y, x, y + h);
      Mark(x + w, y, x + w, y + h);
    } else {
      Mark(x, y, x + w, y + h);
    }
  }

  // Marks a region, widened for strokes and antialiasing, as not background.
  void Mark(double x0, double y0, double x1, double y1) {
    constexpr double kSlack = 3;
    const int left = std::max(0, static_cast<int>(std::floor(x0 - kSlack)));
    const int top = std::max(0, static_cast<int>(std::floor(y0 - kSlack)));
    const int right = std::min(p_.width, static_cast<int>(std::ceil(x1 + kSlack)));
    const int bottom = std::min(p_.height, static_cast<int>(std::ceil(y1 + kSlack)));
    for (int y = top; y < bottom; ++y)
      std::fill_n(p_.drawn.begin() + static_cast<size_t>(y) * p_.width + left,
                  std::max(0, right - left), uint8_t{1});
  }

  Picture& p_;
  bool sawBackground_ = false;
};

Picture ReadSvg(const std::string& path) {
  pugi::xml_document doc;
  const pugi::xml_parse_result parsed = doc.load_file(path.c_str());
  if (!parsed)
    throw std::runtime_error(std::string(parsed.description()) + " at offset " +
                             std::to_string(parsed.offset));
  const pugi::xml_node svg = doc.document_element();
  if (std::string_view(svg.name()) != "svg" ||
      std::string_view(svg.attribute("xmlns").value()) != "http://www.w3.org/2000/svg")
    throw std::runtime_error("the root is not an SVG element");
  Picture picture;
  picture.width = Whole(svg, "width");
  picture.height = Whole(svg, "height");
  if (picture.width <= 0 || picture.height <= 0 || picture.width > 16384 || picture.height > 16384)
    throw std::runtime_error("unsupported size");
  const std::string viewBox =
      "0 0 " + std::to_string(picture.width) + " " + std::to_string(picture.height);
  if (svg.attribute("viewBox").value() != viewBox)
    throw std::runtime_error("viewBox is not '" + viewBox + "'");
  picture.drawn.assign(static_cast<size_t>(picture.width) * picture.height, 0);
  Reader(picture).Walk(svg, Number(svg, "font-size", 16), false);
  return picture;
}

// ---------------------------------------------------------------------------
// The checks

int Check(const Picture& svg, const Image& png) {
  int failures = 0;
  const auto fail = [&](const std::string& line) {
    std::printf("FAIL %s\n", line.c_str());
    ++failures;
  };
  if (png.width != svg.width || png.height != svg.height) {
    fail("screenshot is " + std::to_string(png.width) + "x" + std::to_string(png.height) +
         ", the SVG is " + std::to_string(svg.width) + "x" + std::to_string(svg.height));
    std::printf("svgprobe: 1 failure(s)\n");
    return failures;  // nothing below lines up with the wrong size
  }

  // Left column clear of the stroke and of the label (which starts at x+3), top
  // and bottom, and the top right corner: a box drawn short, narrow or shifted misses one.
  int checked = 0;
  for (const Box& box : svg.boxes) {
    if (box.width < 6 || box.height < 6) continue;
    ++checked;
    struct Point {
      int x, y;
    };
    const std::array<Point, 4> samples = {{{box.x + 2, box.y + 3},
                                           {box.x + 2, box.y + 5},
                                           {box.x + 2, box.y + box.height - 3},
                                           {box.x + box.width - 3, box.y + 2}}};
    const std::string where = "box #" + std::to_string(box.index) + " type " +
                              std::to_string(box.type) + " at (" + std::to_string(box.x) + "," +
                              std::to_string(box.y) + ") " + std::to_string(box.width) + "x" +
                              std::to_string(box.height) + ": ";
    for (const Point& sample : samples) {
      const int x = sample.x, y = sample.y;
      const auto over =
          std::find_if(svg.boxes.begin() + box.index + 1, svg.boxes.end(), [&](const Box& o) {
            return x >= o.x && x < o.x + o.width && y >= o.y && y < o.y + o.height;
          });
      if (over != svg.boxes.end()) {
        fail(where + "hidden under box #" + std::to_string(over->index) + " at (" +
             std::to_string(x) + "," + std::to_string(y) + ")");
        break;
      }
      if (!png.Contains(x, y)) {
        fail(where + "lies outside the picture");
        break;
      }
      if (!Near(png.At(x, y), box.fill)) {
        fail(where + "expected " + Hex(box.fill) + " at (" + std::to_string(x) + "," +
             std::to_string(y) + "), found " + Hex(png.At(x, y)));
        break;
      }
    }
  }
  if (checked == 0) fail("no box of at least 6x6 px to check");

  std::set<Rgb> boxColours, swatchColours;
  for (const Box& box : svg.boxes) boxColours.insert(box.fill);
  for (size_t i = 0; i < svg.swatches.size(); ++i) {
    const Swatch& s = svg.swatches[i];
    swatchColours.insert(s.fill);
    const int x = s.x + 7, y = s.y + 7;
    if (!png.Contains(x, y) || !Near(png.At(x, y), s.fill))
      fail("legend swatch #" + std::to_string(i) + " at (" + std::to_string(s.x) + "," +
           std::to_string(s.y) + "): expected " + Hex(s.fill) + " at its centre, found " +
           (png.Contains(x, y) ? Hex(png.At(x, y)) : "nothing"));
  }
  for (const Rgb& c : boxColours)
    if (!swatchColours.count(c)) fail("legend: no swatch for the box colour " + Hex(c));
  for (const Rgb& c : swatchColours)
    if (!boxColours.count(c)) fail("legend: swatch " + Hex(c) + " belongs to no box");

  // The negative control: what the SVG leaves empty must come out white.
  long background = 0, stray = 0;
  for (int y = 0; y < png.height; ++y) {
    for (int x = 0; x < png.width; ++x) {
      if (svg.drawn[static_cast<size_t>(y) * png.width + x]) continue;
      ++background;
      if (Near(png.At(x, y), {255, 255, 255})) continue;
      if (++stray <= 5)
        std::printf("  background (%d,%d) is %s\n", x, y, Hex(png.At(x, y)).c_str());
    }
  }
  if (stray)
    fail("background: " + std::to_string(stray) + " pixels far from anything drawn are not white");
  if (background < static_cast<long>(png.width) * png.height / 10)
    fail("background: only " + std::to_string(background) + " pixels are clear enough to check");

  std::printf(
      "svgprobe: %dx%d, %zu boxes (%d checked), %zu legend swatches, %ld background pixels: %s\n",
      png.width, png.height, svg.boxes.size(), checked, svg.swatches.size(), background,
      failures ? (std::to_string(failures) + " failure(s)").c_str() : "all pass");
  return failures;
}

int Usage() {
  std::fprintf(stderr,
               "usage: cuadrante_svgprobe ROSTER.svg SHOT.png\n"
               "       cuadrante_svgprobe --pixel SHOT.png X Y\n");
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> args(argv + 1, argv + argc);
  std::string current;  // the file being read, for the error message
  try {
    if (args.size() == 4 && args[0] == "--pixel") {
      current = args[1];
      const Image png = DecodePng(current);
      const int x = std::stoi(args[2]), y = std::stoi(args[3]);
      if (!png.Contains(x, y)) throw std::runtime_error("no pixel at " + args[2] + "," + args[3]);
      std::printf("%s\n", Hex(png.At(x, y)).c_str());
      return 0;
    }
    if (args.size() != 2 || args[0].starts_with("-")) return Usage();
    current = args[0];
    const Picture svg = ReadSvg(current);
    current = args[1];
    const Image png = DecodePng(current);
    return Check(svg, png) ? 1 : 0;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "cuadrante_svgprobe: %s: %s\n", current.c_str(), e.what());
    return 2;
  }
}
