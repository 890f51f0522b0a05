// c2dimg_sample: draws the bundled sample page, an architectural sheet with a border,
// zone marks, a column grid, walls, doors, dimensions, hatching, a detail and a title
// block, and writes it as a Group 4 TIFF, tiled or in strips. Every measure is in
// inches, so one drawing serves any sheet size and resolution, and nothing random or
// dated goes into the file: the same arguments always give the same bytes.
//
//   c2dimg_sample OUT.tif [--size WxH] [--dpi N] [--tile N | --strip N]
//
// Defaults: a 34 x 44 inch sheet at 400 dpi in tiles of 800 x 800.
#include <tiffio.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr double kPi = 3.14159265358979323846;

// A bilevel page, rows most significant bit first, 1 = black.
class Page {
 public:
  Page(uint32_t w, uint32_t h, double dpi)
      : width_(w), height_(h), stride_((w + 7) / 8), dpi_(dpi), bits_(size_t{stride_} * h) {}

  uint32_t width() const { return width_; }
  uint32_t height() const { return height_; }
  uint32_t stride() const { return stride_; }
  const uint8_t *row(uint32_t y) const { return bits_.data() + size_t{y} * stride_; }
  // Inches to pixels.
  long px(double inches) const { return std::lround(inches * dpi_); }

  // Columns x0..x1 and rows y0..y1, inclusive, clipped to the page; black, or white
  // when `ink` is false.
  void fill(long x0, long y0, long x1, long y1, bool ink = true) {
    x0 = std::max(x0, 0L);
    y0 = std::max(y0, 0L);
    x1 = std::min(x1, static_cast<long>(width_) - 1);
    y1 = std::min(y1, static_cast<long>(height_) - 1);
    for (long y = y0; y <= y1; ++y) {
      uint8_t *r = bits_.data() + static_cast<size_t>(y) * stride_;
      for (long x = x0; x <= x1; ++x) {
        const auto mask = static_cast<uint8_t>(0x80u >> (x & 7));
        r[x >> 3] = ink ? (r[x >> 3] | mask) : (r[x >> 3] & ~mask);
      }
    }
  }
  // A line of `t` pixels drawn with a square pen.
  void line(long x0, long y0, long x1, long y1, long t) {
    const long dx = std::labs(x1 - x0), dy = -std::labs(y1 - y0);
    const long sx = x0 < x1 ? 1 : -1, sy = y0 < y1 ? 1 : -1;
    const long lo = (t - 1) / 2, hi = t / 2;
    long err = dx + dy;
    for (;;) {
      fill(x0 - lo, y0 - lo, x0 + hi, y0 + hi);
      if (x0 == x1 && y0 == y1) {
        return;
      }
      const long e2 = 2 * err;
      if (e2 >= dy) {
        err += dy;
        x0 += sx;
      }
      if (e2 <= dx) {
        err += dx;
        y0 += sy;
      }
    }
  }
  void box(long x0, long y0, long x1, long y1, long t) {
    fill(x0, y0, x1, y0 + t - 1);
    fill(x0, y1 - t + 1, x1, y1);
    fill(x0, y0, x0 + t - 1, y1);
    fill(x1 - t + 1, y0, x1, y1);
  }
  // A ring of radius r and thickness t; `quadrants` picks the parts drawn, bit 0 the
  // upper right, then counter-clockwise.
  void ring(long cx, long cy, long r, long t, unsigned quadrants = 15) {
    const double outer = r + t / 2.0, inner = std::max(0.0, r - t / 2.0);
    for (long dy = -static_cast<long>(outer); dy <= static_cast<long>(outer); ++dy) {
      const double yy = static_cast<double>(dy) * dy;
      const long xo = std::lround(std::sqrt(std::max(0.0, outer * outer - yy)));
      const long xi = yy < inner * inner ? std::lround(std::sqrt(inner * inner - yy)) : 0;
      const unsigned right = dy <= 0 ? 1u : 8u, left = dy <= 0 ? 2u : 4u;
      if (quadrants & right) {
        fill(cx + xi, cy + dy, cx + xo, cy + dy);
      }
      if (quadrants & left) {
        fill(cx - xo, cy + dy, cx - xi, cy + dy);
      }
    }
  }
  // Diagonal hatching of one-pixel lines every `step` pixels inside a rectangle.
  void hatch(long x0, long y0, long x1, long y1, long step) {
    for (long y = std::max(y0, 0L); y <= std::min(y1, static_cast<long>(height_) - 1); ++y) {
      for (long x = x0 + ((step - (x0 + y) % step) % step); x <= x1; x += step) {
        fill(x, y, x, y);
      }
    }
  }
  // Capitals, digits and a little punctuation in a 5 x 7 font, each font pixel
  // `scale` pixels square, starting at the top left corner (x, y).
  void text(long x, long y, const std::string &s, long scale) {
    for (char c : s) {
      const uint8_t *g = Glyph(c);
      for (long col = 0; col < 5; ++col) {
        for (long row = 0; row < 7; ++row) {
          if (g[col] >> row & 1u) {
            fill(x + col * scale, y + row * scale, x + (col + 1) * scale - 1,
                 y + (row + 1) * scale - 1);
          }
        }
      }
      x += 6 * scale;
    }
  }

 private:
  static const uint8_t *Glyph(char c) {
    // Columns left to right, bit 0 the top row.
    static const uint8_t kDigits[10][5] = {
        {0x3E, 0x51, 0x49, 0x45, 0x3E}, {0x00, 0x42, 0x7F, 0x40, 0x00},
        {0x42, 0x61, 0x51, 0x49, 0x46}, {0x21, 0x41, 0x45, 0x4B, 0x31},
        {0x18, 0x14, 0x12, 0x7F, 0x10}, {0x27, 0x45, 0x45, 0x45, 0x39},
        {0x3C, 0x4A, 0x49, 0x49, 0x30}, {0x01, 0x71, 0x09, 0x05, 0x03},
        {0x36, 0x49, 0x49, 0x49, 0x36}, {0x06, 0x49, 0x49, 0x29, 0x1E}};
    static const uint8_t kLetters[26][5] = {
        {0x7E, 0x11, 0x11, 0x11, 0x7E}, {0x7F, 0x49, 0x49, 0x49, 0x36},
        {0x3E, 0x41, 0x41, 0x41, 0x22}, {0x7F, 0x41, 0x41, 0x22, 0x1C},
        {0x7F, 0x49, 0x49, 0x49, 0x41}, {0x7F, 0x09, 0x09, 0x09, 0x01},
        {0x3E, 0x41, 0x49, 0x49, 0x7A}, {0x7F, 0x08, 0x08, 0x08, 0x7F},
        {0x00, 0x41, 0x7F, 0x41, 0x00}, {0x20, 0x40, 0x41, 0x3F, 0x01},
        {0x7F, 0x08, 0x14, 0x22, 0x41}, {0x7F, 0x40, 0x40, 0x40, 0x40},
        {0x7F, 0x02, 0x0C, 0x02, 0x7F}, {0x7F, 0x04, 0x08, 0x10, 0x7F},
        {0x3E, 0x41, 0x41, 0x41, 0x3E}, {0x7F, 0x09, 0x09, 0x09, 0x06},
        {0x3E, 0x41, 0x51, 0x21, 0x5E}, {0x7F, 0x09, 0x19, 0x29, 0x46},
        {0x46, 0x49, 0x49, 0x49, 0x31}, {0x01, 0x01, 0x7F, 0x01, 0x01},
        {0x3F, 0x40, 0x40, 0x40, 0x3F}, {0x1F, 0x20, 0x40, 0x20, 0x1F},
        {0x3F, 0x40, 0x38, 0x40, 0x3F}, {0x63, 0x14, 0x08, 0x14, 0x63},
        {0x07, 0x08, 0x70, 0x08, 0x07}, {0x61, 0x51, 0x49, 0x45, 0x43}};
    static const uint8_t kDash[5] = {0x08, 0x08, 0x08, 0x08, 0x08};
    static const uint8_t kDot[5] = {0x00, 0x60, 0x60, 0x00, 0x00};
    static const uint8_t kSlash[5] = {0x20, 0x10, 0x08, 0x04, 0x02};
    static const uint8_t kColon[5] = {0x00, 0x36, 0x36, 0x00, 0x00};
    static const uint8_t kBlank[5] = {0, 0, 0, 0, 0};
    if (c >= '0' && c <= '9') {
      return kDigits[c - '0'];
    }
    if (c >= 'A' && c <= 'Z') {
      return kLetters[c - 'A'];
    }
    switch (c) {
      case '-':
        return kDash;
      case '.':
        return kDot;
      case '/':
        return kSlash;
      case ':':
        return kColon;
      default:
        return kBlank;
    }
  }

  uint32_t width_, height_, stride_;
  double dpi_;
  std::vector<uint8_t> bits_;
};

void Draw(Page &p, double wIn, double hIn) {
  const long thick = std::max(1L, p.px(0.03)), medium = std::max(1L, p.px(0.012));
  const long hair = 1;
  // Borders and zones.
  p.box(p.px(0.5), p.px(0.5), p.px(wIn - 0.5), p.px(hIn - 0.5), thick);
  p.box(p.px(1.0), p.px(1.0), p.px(wIn - 1.0), p.px(hIn - 1.0), medium);
  const int across = std::max(2, static_cast<int>(wIn / 4)),
            down = std::max(2, static_cast<int>(hIn / 4));
  const long glyph = std::max(1L, p.px(0.04));
  for (int i = 0; i < across; ++i) {
    const double x = 1.0 + (wIn - 2.0) * (i + 0.5) / across;
    const double tick = 1.0 + (wIn - 2.0) * i / across;
    p.line(p.px(tick), p.px(0.5), p.px(tick), p.px(1.0), medium);
    p.line(p.px(tick), p.px(hIn - 1.0), p.px(tick), p.px(hIn - 0.5), medium);
    p.text(p.px(x - 0.1), p.px(0.62), std::to_string(across - i), glyph);
    p.text(p.px(x - 0.1), p.px(hIn - 0.88), std::to_string(across - i), glyph);
  }
  for (int j = 0; j < down; ++j) {
    const double y = 1.0 + (hIn - 2.0) * (j + 0.5) / down;
    const double tick = 1.0 + (hIn - 2.0) * j / down;
    p.line(p.px(0.5), p.px(tick), p.px(1.0), p.px(tick), medium);
    p.line(p.px(wIn - 1.0), p.px(tick), p.px(wIn - 0.5), p.px(tick), medium);
    const std::string zone(1, static_cast<char>('A' + (down - 1 - j) % 26));
    p.text(p.px(0.65), p.px(y - 0.15), zone, glyph);
    p.text(p.px(wIn - 0.85), p.px(y - 0.15), zone, glyph);
  }

  // Title block in the lower right corner.
  const double tbW = std::min(8.0, wIn * 0.4), tbH = std::min(3.0, hIn * 0.15);
  const double tx = wIn - 1.0 - tbW, ty = hIn - 1.0 - tbH;
  p.box(p.px(tx), p.px(ty), p.px(wIn - 1.0), p.px(hIn - 1.0), thick);
  for (int k = 1; k < 4; ++k) {
    p.line(p.px(tx), p.px(ty + tbH * k / 4), p.px(wIn - 1.0), p.px(ty + tbH * k / 4), medium);
  }
  p.line(p.px(tx + tbW * 0.6), p.px(ty + tbH / 2), p.px(tx + tbW * 0.6), p.px(hIn - 1.0), medium);
  const long big = std::max(1L, p.px(tbW / 170)), small = std::max(1L, p.px(tbH / 70));
  p.text(p.px(tx + 0.2), p.px(ty + 0.15), "CORE2DIMAGE SAMPLE SHEET", big);
  p.text(p.px(tx + 0.2), p.px(ty + tbH / 4 + 0.1), "GROUND FLOOR PLAN AND DETAIL", small);
  p.text(p.px(tx + 0.2), p.px(ty + tbH / 2 + 0.1), "DWG NO. C2D-0001", small);
  p.text(p.px(tx + tbW * 0.6 + 0.2), p.px(ty + tbH / 2 + 0.1), "REV A", small);
  p.text(p.px(tx + 0.2), p.px(ty + tbH * 3 / 4 + 0.1), "SCALE 1:50", small);
  p.text(p.px(tx + tbW * 0.6 + 0.2), p.px(ty + tbH * 3 / 4 + 0.1), "SHEET 1/1", small);

  // Column grid with bubbles: one-pixel dashed lines, the thinnest ink on the sheet.
  const double left = 3.0, top = 3.0, right = wIn - 3.0, bottom = ty - 1.5;
  const int cols = std::max(2, static_cast<int>((right - left) / 4)) + 1;
  const int rows = std::max(2, static_cast<int>((bottom - top) / 4)) + 1;
  const double bubble = 0.35;
  for (int i = 0; i < cols; ++i) {
    const double x = left + (right - left) * i / (cols - 1);
    for (double y = top - 1.0; y < bottom + 1.0; y += 0.5) {
      p.line(p.px(x), p.px(y), p.px(x), p.px(std::min(y + 0.3, bottom + 1.0)), hair);
    }
    p.ring(p.px(x), p.px(top - 1.0 - bubble), p.px(bubble), medium);
    p.text(p.px(x - 0.1), p.px(top - 1.0 - bubble - 0.12), std::to_string(i + 1), glyph);
  }
  for (int j = 0; j < rows; ++j) {
    const double y = top + (bottom - top) * j / (rows - 1);
    for (double x = left - 1.0; x < right + 1.0; x += 0.5) {
      p.line(p.px(x), p.px(y), p.px(std::min(x + 0.3, right + 1.0)), p.px(y), hair);
    }
    p.ring(p.px(left - 1.0 - bubble), p.px(y), p.px(bubble), medium);
    p.text(p.px(left - 1.0 - bubble - 0.1), p.px(y - 0.12), std::string(1, 'A' + j % 26), glyph);
  }

  // Walls: the outline of every bay, hatched, with a door in the lower wall of each.
  const long wall = std::max(1L, p.px(0.12));
  for (int i = 0; i + 1 < cols; ++i) {
    for (int j = 0; j + 1 < rows; ++j) {
      const long x0 = p.px(left + (right - left) * i / (cols - 1));
      const long x1 = p.px(left + (right - left) * (i + 1) / (cols - 1));
      const long y0 = p.px(top + (bottom - top) * j / (rows - 1));
      const long y1 = p.px(top + (bottom - top) * (j + 1) / (rows - 1));
      p.box(x0 - wall / 2, y0 - wall / 2, x1 + wall / 2, y1 + wall / 2, medium);
      p.box(x0 + wall / 2, y0 + wall / 2, x1 - wall / 2, y1 - wall / 2, medium);
      const long door = p.px(0.9), at = x0 + (x1 - x0) / 3;
      p.fill(at, y1 - wall / 2 + medium, at + door, y1 + wall / 2 - medium, false);
      p.line(at, y1, at, y1 - door, medium);
      p.ring(at, y1, door, hair, 1u);
      char room[32];
      std::snprintf(room, sizeof room, "ROOM %d%02d", j + 1, i + 1);
      p.text(x0 + p.px(0.3), y0 + p.px(0.3), room, small);
      // Furniture in every other bay: a table with chairs.
      if ((i + j) % 2 == 0) {
        const long cx = (x0 + x1) / 2, cy = (y0 + y1) / 2, r = p.px(0.6);
        p.ring(cx, cy, r, medium);
        for (int k = 0; k < 6; ++k) {
          const double a = k * kPi / 3;
          const long sx = cx + std::lround(std::cos(a) * r * 1.5);
          const long sy = cy + std::lround(std::sin(a) * r * 1.5);
          p.box(sx - p.px(0.15), sy - p.px(0.15), sx + p.px(0.15), sy + p.px(0.15), hair);
        }
      } else {
        p.hatch(x0 + wall, y0 + wall, x0 + (x1 - x0) / 4, y0 + (y1 - y0) / 4, p.px(0.08));
      }
    }
  }
  // Wall poché along the outer walls.
  p.hatch(p.px(left) - wall / 2, p.px(top) - wall / 2, p.px(right) + wall / 2, p.px(top) + wall / 2,
          std::max(2L, p.px(0.03)));

  // Dimension string above the grid: ticks, a line and the bay widths in inches.
  const long dimY = p.px(top - 1.9);
  p.line(p.px(left), dimY, p.px(right), dimY, hair);
  for (int i = 0; i < cols; ++i) {
    const long x = p.px(left + (right - left) * i / (cols - 1));
    p.line(x - p.px(0.1), dimY + p.px(0.1), x + p.px(0.1), dimY - p.px(0.1), medium);
    if (i + 1 < cols) {
      const double bay = (right - left) / (cols - 1);
      char label[32];
      std::snprintf(label, sizeof label, "%.2f", bay);
      p.text(x + p.px(bay / 2 - 0.3), dimY - p.px(0.35), label, small);
    }
  }

  // A gear detail to the left of the title block: a toothed outline and two rings.
  const long gx = p.px(tx - tbH * 0.8), gy = p.px(ty + tbH / 2), gr = p.px(tbH * 0.4);
  const int teeth = 24;
  long lastX = 0, lastY = 0;
  for (int k = 0; k <= teeth * 16; ++k) {
    const double a = 2 * kPi * k / (teeth * 16);
    const double rr = gr * ((k / 8) % 2 == 0 ? 1.0 : 0.88);
    const long x = gx + std::lround(std::cos(a) * rr), y = gy + std::lround(std::sin(a) * rr);
    if (k > 0) {
      p.line(lastX, lastY, x, y, medium);
    }
    lastX = x;
    lastY = y;
  }
  p.ring(gx, gy, gr / 3, thick);
  p.ring(gx, gy, gr / 6, hair);
  p.line(gx - gr - p.px(0.2), gy, gx + gr + p.px(0.2), gy, hair);
  p.line(gx, gy - gr - p.px(0.2), gx, gy + gr + p.px(0.2), hair);
}

bool Write(const Page &page, const char *path, double dpi, uint32_t tile, uint32_t strip) {
  TIFF *tif = TIFFOpen(path, "w");
  if (tif == nullptr) {
    return false;
  }
  TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, page.width());
  TIFFSetField(tif, TIFFTAG_IMAGELENGTH, page.height());
  TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 1);
  TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(tif, TIFFTAG_COMPRESSION, COMPRESSION_CCITTFAX4);
  TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISWHITE);
  TIFFSetField(tif, TIFFTAG_FILLORDER, FILLORDER_MSB2LSB);
  TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(tif, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
  TIFFSetField(tif, TIFFTAG_XRESOLUTION, static_cast<float>(dpi));
  TIFFSetField(tif, TIFFTAG_YRESOLUTION, static_cast<float>(dpi));
  bool ok = true;
  if (tile != 0) {
    TIFFSetField(tif, TIFFTAG_TILEWIDTH, tile);
    TIFFSetField(tif, TIFFTAG_TILELENGTH, tile);
    const uint32_t tileStride = tile / 8;
    std::vector<uint8_t> buffer(size_t{tileStride} * tile);
    for (uint32_t ty = 0; ty < page.height() && ok; ty += tile) {
      for (uint32_t tx = 0; tx < page.width() && ok; tx += tile) {
        std::fill(buffer.begin(), buffer.end(), 0);
        const uint32_t bytes = std::min(tileStride, page.stride() - tx / 8);
        for (uint32_t y = 0; y < tile && ty + y < page.height(); ++y) {
          std::memcpy(buffer.data() + size_t{y} * tileStride, page.row(ty + y) + tx / 8, bytes);
        }
        ok = TIFFWriteTile(tif, buffer.data(), tx, ty, 0, 0) >= 0;
      }
    }
  } else {
    TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, strip);
    for (uint32_t y = 0; y < page.height() && ok; ++y) {
      ok = TIFFWriteScanline(tif, const_cast<uint8_t *>(page.row(y)), y, 0) == 1;
    }
  }
  TIFFClose(tif);
  return ok;
}

int Usage() {
  std::fprintf(stderr,
               "usage: c2dimg_sample OUT.tif [--size WxH] [--dpi N] [--tile N | --strip N]\n"
               "  --size WxH  sheet size in inches (default 34x44)\n"
               "  --dpi N     resolution (default 400)\n"
               "  --tile N    square tiles of N pixels, a multiple of 16 (default 800)\n"
               "  --strip N   strips of N rows instead of tiles\n");
  return 1;
}

}  // namespace

int main(int argc, char **argv) {
  double wIn = 34, hIn = 44, dpi = 400;
  uint32_t tile = 800, strip = 0;
  const char *out = nullptr;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    const char *value = i + 1 < argc ? argv[i + 1] : nullptr;
    if (arg == "--size" && value != nullptr && std::sscanf(value, "%lfx%lf", &wIn, &hIn) == 2) {
      ++i;
    } else if (arg == "--dpi" && value != nullptr) {
      dpi = std::atof(argv[++i]);
    } else if (arg == "--tile" && value != nullptr) {
      tile = static_cast<uint32_t>(std::atol(argv[++i]));
      strip = 0;
    } else if (arg == "--strip" && value != nullptr) {
      strip = static_cast<uint32_t>(std::atol(argv[++i]));
      tile = 0;
    } else if (arg[0] != '-' && out == nullptr) {
      out = argv[i];
    } else {
      return Usage();
    }
  }
  const double w = std::round(wIn * dpi), h = std::round(hIn * dpi);
  if (out == nullptr || !(wIn >= 2 && hIn >= 2 && dpi >= 10) || w > 100000 || h > 100000 ||
      (tile == 0 && strip == 0) || tile % 16 != 0) {
    return Usage();
  }
  Page page(static_cast<uint32_t>(w), static_cast<uint32_t>(h), dpi);
  Draw(page, wIn, hIn);
  if (!Write(page, out, dpi, tile, strip)) {
    std::fprintf(stderr, "c2dimg_sample: could not write %s\n", out);
    return 2;
  }
  return 0;
}
