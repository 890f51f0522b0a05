// c2dimg draw: marks up a page with rectangles, circles and lines, in the order the
// options give them. Each class draws what it can: a colour page takes everything as
// a CImg32; a bilevel page takes lines in its own two colours as a CImg1, and is
// turned into colour first when a shape or another colour needs it.
#include <algorithm>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "Commands.h"
#include "Failure.h"
#include "Formats.h"
#include "Library.h"

// The library's colour record, which its host defines: the library reads bytes 2 to 5
// as the pixel word, high byte first.
class ColorValue {
 public:
  explicit ColorValue(uint32_t word)
      : bytes{0,
              0,
              static_cast<unsigned char>(word >> 24),
              static_cast<unsigned char>(word >> 16),
              static_cast<unsigned char>(word >> 8),
              static_cast<unsigned char>(word)} {}
  unsigned char bytes[6];
};

namespace c2dimg {

const char kDrawSynopsis[] =
    "draw FILE -o OUT [--rect L,T,R,B] [--circle X,Y,R] [--line X0,Y0,X1,Y1]\n"
    "             [--stroke RRGGBB] [--fill RRGGBB|none]";
const char kDrawHelp[] =
    "Draws on FILE and writes OUT. Shapes and colours may be repeated and apply in the\n"
    "order given: a colour holds for the shapes after it.\n"
    "  -o, --output OUT       the file to write; its extension picks the format\n"
    "  --rect L,T,R,B         a filled rectangle, border in the stroke colour, inside in\n"
    "                         the fill colour (the stroke's when there is none); it\n"
    "                         never reaches the page's last column and row\n"
    "  --circle X,Y,R         a circle of radius R, filled when a fill colour is set;\n"
    "                         radii 1, 2 and 4 are smoothed against the page colour\n"
    "  --line X0,Y0,X1,Y1     a one-pixel line; both ends must lie on the page\n"
    "  --stroke RRGGBB        the outline colour, black at first\n"
    "  --fill RRGGBB|none     the inside colour, none at first\n"
    "A bilevel page stays bilevel for lines in its own colours; rectangles, circles and\n"
    "other colours turn it into 32-bit colour, and a palette page too.\n";

namespace {

struct Shape {
  std::string option;  // "rect", "circle" or "line"
  std::vector<long> values;
  uint32_t stroke;               // 0xRRGGBB
  std::optional<uint32_t> fill;  // 0xRRGGBB
};

std::vector<Shape> ReadShapes(const CommandLine &line) {
  std::vector<Shape> shapes;
  uint32_t stroke = kBlack;
  std::optional<uint32_t> fill;
  for (const auto &[name, value] : line.sequence) {
    const std::string what = "--" + name;
    if (name == "stroke") {
      stroke = ParseColour(value, what.c_str());
    } else if (name == "fill") {
      fill = value == "none" ? std::nullopt
                             : std::optional<uint32_t>(ParseColour(value, what.c_str()));
    } else if (name == "rect" || name == "circle" || name == "line") {
      const size_t count = name == "circle" ? 3 : 4;
      shapes.push_back({name, ParseList(value, ',', count, what.c_str()), stroke, fill});
      if (name == "circle" && shapes.back().values[2] < 0) {
        throw UsageError("--circle wants a radius of 0 or more, not " + value);
      }
    }
  }
  if (shapes.empty()) {
    throw UsageError("give at least one --rect, --circle or --line");
  }
  return shapes;
}

// Why a bilevel or palette page must become colour for these shapes, or "".
std::string ColourReason(const IImg &image, const std::vector<Shape> &shapes) {
  const auto *bilevel = dynamic_cast<const CImg1 *>(&image);
  const bool palette = dynamic_cast<const CImg8 *>(&image) != nullptr;
  for (const Shape &shape : shapes) {
    if (palette) {
      return "a palette image draws nothing";
    }
    if (bilevel == nullptr) {
      continue;
    }
    if (shape.option != "line") {
      return "a bilevel page draws no --" + shape.option;
    }
    if (shape.stroke != bilevel->getForegroundInterpretation() &&
        shape.stroke != bilevel->getBackgroundInterpretation()) {
      return "a bilevel page has no " + ColourName(shape.stroke);
    }
  }
  return "";
}

// A line on a colour page: the bilevel class draws it into a mask of the line's box,
// and each set bit becomes a pixel, so lines look the same on either kind of page.
void ColourLine(CImg32 &image, const int_pt_t &a, const int_pt_t &b, uint32_t word,
                const Picture &picture) {
  const int left = std::min(a.x, b.x), top = std::min(a.y, b.y);
  const unsigned w = static_cast<unsigned>(std::abs(a.x - b.x)) + 1;
  const unsigned h = static_cast<unsigned>(std::abs(a.y - b.y)) + 1;
  ImagePtr mask(CImg1::create(w, h, 0, 1, IMG_ALIGN_NONE));
  if (mask == nullptr) {
    throw FileError(picture.path, "the library cannot hold a mask for the line");
  }
  auto &bits = dynamic_cast<CImg1 &>(*mask);
  int_pt_t from = {a.x - left, a.y - top}, to = {b.x - left, b.y - top};
  bits.drawLines(&from, &to, false);
  const unsigned char *data = bits.peekData();
  for (unsigned y = 0; y < h; ++y) {
    for (unsigned x = 0; x < w; ++x) {
      if ((data[y * bits.getBytesPerLine() + x / 8] >> (7 - x % 8) & 1) != 0) {
        image.drawPixel(static_cast<unsigned>(left) + x, static_cast<unsigned>(top) + y, word);
      }
    }
  }
}

}  // namespace

void Draw(const CommandLine &line) {
  const std::string &out = line.required("output");
  (void)OutputFormat(out);
  const std::vector<Shape> shapes = ReadShapes(line);
  Picture picture = ReadPicture(line.operands[0], line.page);
  const long width = picture.image->getWidth(), height = picture.image->getHeight();
  for (const Shape &shape : shapes) {
    const std::vector<long> &v = shape.values;
    if (shape.option == "line" &&
        (std::min({v[0], v[1], v[2], v[3]}) < 0 || std::max(v[0], v[2]) >= width ||
         std::max(v[1], v[3]) >= height)) {
      throw UsageError("--line " + std::to_string(v[0]) + "," + std::to_string(v[1]) + "," +
                       std::to_string(v[2]) + "," + std::to_string(v[3]) +
                       ": both ends must lie on the " + std::to_string(width) + " x " +
                       std::to_string(height) + " page");
    }
  }
  if (picture.image->getType() == IMG_TYPE_G4) {
    picture = ToBilevel(picture, false);  // a compressed page cannot be drawn on
  }
  const std::string reason = ColourReason(*picture.image, shapes);
  if (!reason.empty()) {
    if (!line.quiet) {
      std::printf("%s: %s, so it is drawn on in 32-bit colour\n", picture.path.c_str(),
                  reason.c_str());
    }
    picture = ToColour(picture);
  }
  auto *colour = dynamic_cast<CImg32 *>(picture.image.get());
  auto *bilevel = dynamic_cast<CImg1 *>(picture.image.get());
  if (colour != nullptr) {
    if (!colour->forceDataInit()) {
      throw FileError(picture.path, "the library cannot hold its pixels");
    }
    // Small circles are smoothed against the image's background colour.
    if (colour->getBackgroundState() != IMG_BG_KNOWN) {
      (void)colour->calculateBackground();
    }
  }
  for (const Shape &shape : shapes) {
    const std::vector<long> &v = shape.values;
    const auto at = [&](size_t i) { return static_cast<int>(v[i]); };
    if (bilevel != nullptr) {
      int_pt_t from = {at(0), at(1)}, to = {at(2), at(3)};
      bilevel->drawLines(&from, &to, shape.stroke != bilevel->getForegroundInterpretation());
      continue;
    }
    const RGBOrder order = colour->getRGBOrder();
    const ColorValue stroke(0xFF000000u | RgbToWord(shape.stroke, order));
    ColorValue fill(0xFF000000u | RgbToWord(shape.fill.value_or(shape.stroke), order));
    if (shape.option == "rect") {
      ColorValue edge = stroke;
      colour->DrawFilledRectangle(at(0), at(1), at(2), at(3), edge, fill);
    } else if (shape.option == "circle") {
      colour->drawCircle(at(0), at(1), at(2), &stroke, shape.fill ? &fill : nullptr);
    } else {
      ColourLine(*colour, {at(0), at(1)}, {at(2), at(3)},
                 0xFF000000u | RgbToWord(shape.stroke, order), picture);
    }
  }
  Write(picture, out, line);
}

}  // namespace c2dimg
