// CImg32: the drawing slots. Pixels, circles and filled rectangles are drawn; lines
// and the curve slots only make sure the pixels exist. Small circles are fixed
// anti-aliased stencils; larger ones are an integer walk whose outline points also
// go into the class's span table, so the fill needs no second geometric pass.
#include <algorithm>
#include <cstdint>

#include "Image/draw/internal/DrawSupport.h"
#include "Image/draw/internal/FillTab.h"
#include "Image/raster/CImg32.h"

namespace {

// The pixels a drawing may touch: the image's extents, within what its row table
// was built with (setExtents changes only the extents).
struct Canvas {
  int width;
  int height;
  bool holds(int64_t y, int64_t x) const { return y >= 0 && y < height && x >= 0 && x < width; }
};

// What a stencil cell is painted with.
enum class Ink : uint8_t { kNone, kFill, kStroke, kLight, kMiddle, kHeavy };

// A stroke colour blended with the image's background: each of the three colour
// channels is stroke * a + background * b in double, cut toward zero; alpha is 0xFF.
uint32_t Mix(uint32_t stroke, uint32_t background, double a, double b) {
  uint32_t mixed = 0xFF000000u;
  for (const int shift : {16, 8, 0}) {
    const double channel = ((stroke >> shift) & 0xFFu) * a + ((background >> shift) & 0xFFu) * b;
    mixed |= (static_cast<uint32_t>(channel) & 0xFFu) << shift;
  }
  return mixed;
}

// The quarter of a stencil with dx and dy from 0 to 4, reflected into all four
// quarters; cells beyond the radius are kNone.
using Quarter = Ink[5][5];

constexpr Ink kN = Ink::kNone, kF = Ink::kFill, kS = Ink::kStroke, kL = Ink::kLight,
              kM = Ink::kMiddle, kH = Ink::kHeavy;

// Indexed [dy][dx].
constexpr Quarter kRadius1 = {{kF, kS}, {kS, kL}};
constexpr Quarter kRadius2 = {{kF, kF, kS}, {kF, kF, kM}, {kS, kM}};
constexpr Quarter kRadius4 = {{kF, kF, kF, kF, kS},
                              {kF, kF, kF, kF, kH},
                              {kF, kF, kF, kM, kL},
                              {kF, kF, kM, kH, kN},
                              {kS, kH, kL, kN, kN}};

// Paints a stencil centred on (x, y), each pixel tested against the canvas on its
// own. Stroke and its mixes only with doStroke, the inside only with doFill.
void PaintStencil(unsigned **rows, const Canvas &canvas, int64_t x, int64_t y,
                  const Quarter &quarter, bool doStroke, uint32_t stroke, bool doFill,
                  uint32_t fill, uint32_t background) {
  const uint32_t light = Mix(stroke, background, 0.3333, 0.6667);
  const uint32_t middle = Mix(stroke, background, 0.6667, 0.3333);
  const uint32_t heavy = Mix(stroke, background, 0.8, 0.2);
  for (int dy = 0; dy < 5; ++dy) {
    for (int dx = 0; dx < 5; ++dx) {
      const Ink ink = quarter[dy][dx];
      if (ink == Ink::kNone || (ink == Ink::kFill ? !doFill : !doStroke)) {
        continue;
      }
      const uint32_t value = ink == Ink::kFill     ? fill
                             : ink == Ink::kStroke ? stroke
                             : ink == Ink::kLight  ? light
                             : ink == Ink::kMiddle ? middle
                                                   : heavy;
      for (const int sy : {-1, 1}) {
        for (const int sx : {-1, 1}) {
          const int64_t py = y + sy * dy;
          const int64_t px = x + sx * dx;
          if (canvas.holds(py, px)) {
            rows[py][px] = value;
          }
        }
      }
    }
  }
}

}  // namespace

// ---------------------------------------------------------------------------
// Helpers

void CImg32::setf(Core2DImage::FillTab *tab, unsigned y, unsigned x, unsigned value) {
  dataArray[y][x] = value;
  tab->record(static_cast<int32_t>(y), static_cast<int32_t>(x));
}

void CImg32::safeSetf(Core2DImage::FillTab *tab, int width, int height, int y, int x,
                      unsigned value) {
  safeSet(width, height, y, x, value);
  // Points outside the image are recorded too: they still bound a span.
  tab->record(y, x);
}

Core2DImage::FillTab *CImg32::fillTab(unsigned rows) {
  static Core2DImage::FillTab table;  // built once, thread-safely, on first use
  return table.reserve(rows) ? &table : nullptr;
}

void CImg32::drawCircle4(int x, int y, int /*radius*/, bool doStroke, bgra_u &stroke, bool doFill,
                         bgra_u &fill) {
  const Canvas canvas{static_cast<int>(std::min(getWidth(), AllocatedPixelsPerRow())),
                      static_cast<int>(std::min(getHeight(), AllocatedRows()))};
  PaintStencil(dataArray, canvas, x, y, kRadius4, doStroke, stroke.bgra, doFill, fill.bgra,
               backgroundColor);
}

// ---------------------------------------------------------------------------
// IImg: the drawing slots, in slot order.

void CImg32::drawArc() {
  if (!hasData()) {
    (void)initData();
  }
}

void CImg32::drawCircle(int x, int y, int radius, const ColorValue *stroke,
                        const ColorValue *fill) {
  if (!hasData() && initData() != IMG_OK) {
    return;
  }
  if (stroke == nullptr && fill == nullptr) {
    return;
  }
  bgra_u strokePixel{c2d::PixelOf(stroke)};
  bgra_u fillPixel{c2d::PixelOf(fill)};
  const Canvas canvas{static_cast<int>(std::min(getWidth(), AllocatedPixelsPerRow())),
                      static_cast<int>(std::min(getHeight(), AllocatedRows()))};
  if (radius == 0) {
    // The stroke alone, 0 when there is none; the fill has no room.
    safeSet(canvas.width, canvas.height, y, x, strokePixel.bgra);
    return;
  }
  if (radius < 0) {
    return;
  }
  if (radius == 1 || radius == 2) {
    PaintStencil(dataArray, canvas, x, y, radius == 1 ? kRadius1 : kRadius2, stroke != nullptr,
                 strokePixel.bgra, fill != nullptr, fillPixel.bgra, backgroundColor);
    return;
  }
  if (radius == 4) {
    drawCircle4(x, y, radius, stroke != nullptr, strokePixel, fill != nullptr, fillPixel);
    return;
  }
  // The walk works in 32-bit coordinates: a circle whose box or row count does not
  // fit them is not drawn.
  const int64_t r = radius;
  if (x - r < INT32_MIN || x + r > INT32_MAX || y - r < INT32_MIN || y + r > INT32_MAX ||
      2 * r + 1 > INT32_MAX) {
    return;
  }
  Core2DImage::FillTab *tab = fillTab(static_cast<unsigned>(2 * r + 1));
  if (tab == nullptr) {
    return;
  }
  tab->start(static_cast<uint32_t>(canvas.width), static_cast<uint32_t>(canvas.height), x - radius,
             x + radius, y - radius, y + radius, x, fillPixel.bgra);
  const auto plot = [&](int u, int v) {
    for (const int su : {-u, u}) {
      for (const int sv : {-v, v}) {
        safeSetf(tab, canvas.width, canvas.height, y + sv, x + su, strokePixel.bgra);
        safeSetf(tab, canvas.width, canvas.height, y + su, x + sv, strokePixel.bgra);
      }
    }
  };
  // The error grows by u, not 2u + 1: the outline stays flat longer at the poles
  // than a midpoint circle's. Radius 8 runs (0,8) (1,8) (2,8) (3,8) (4,7) (5,6) (6,5).
  int u = 0;
  int v = radius;
  int64_t e = 0;
  plot(u, v);
  while (v > u) {
    ++u;
    e += u;
    if (e - (v - 1) >= 0) {
      e -= v - 1;
      --v;
    }
    plot(u, v);
  }
  if (fill != nullptr) {
    tab->fill(dataArray);
  }
}

void CImg32::drawElipse() {
  if (!hasData()) {
    (void)initData();
  }
}

void CImg32::drawLines(int_pt_t *, int_pt_t *, bool) {
  if (!hasData()) {
    (void)initData();
  }
}

void CImg32::drawPixel(unsigned x, unsigned y, unsigned value) {
  if (x > rect.right || y > rect.bottom) {
    return;
  }
  if (!hasData() && initData() != IMG_OK) {
    return;
  }
  safeSet(static_cast<int>(std::min(getWidth(), AllocatedPixelsPerRow())),
          static_cast<int>(std::min(getHeight(), AllocatedRows())), static_cast<int>(y),
          static_cast<int>(x), value);
}

void CImg32::drawPolyLine() {
  if (!hasData()) {
    (void)initData();
  }
}

void CImg32::drawPolygon() {
  if (!hasData()) {
    (void)initData();
  }
}

void CImg32::DrawFilledRectangle(int left, int top, int right, int bottom, ColorValue &edge,
                                 ColorValue &fill) {
  const int64_t lastColumn = getRight();
  const int64_t lastRow = getBottom();
  if (c2d::RectangleIsSkipped(left, top, right, bottom, lastColumn, lastRow)) {
    return;
  }
  if (!hasData() && initData() != IMG_OK) {
    return;
  }
  // Negative edges move to 0, and edges at or past the last column (row) move to the
  // one before it: clipping never reaches the last column and row.
  const int64_t l = std::max<int64_t>(left, 0);
  const int64_t t = std::max<int64_t>(top, 0);
  const int64_t r = right >= lastColumn ? lastColumn - 1 : right;
  const int64_t b = bottom >= lastRow ? lastRow - 1 : bottom;
  const uint32_t edgePixel = c2d::PixelOf(&edge);
  const uint32_t fillPixel = c2d::PixelOf(&fill);
  const Canvas canvas{static_cast<int>(std::min(getWidth(), AllocatedPixelsPerRow())),
                      static_cast<int>(std::min(getHeight(), AllocatedRows()))};
  // Swapped or unclipped edges may still lie outside the image: every stretch is
  // cut to it, so nothing is written outside.
  const auto stretch = [&](int64_t y, int64_t from, int64_t to, uint32_t value) {
    from = std::max<int64_t>(from, 0);
    to = std::min<int64_t>(to, int64_t{canvas.width} - 1);
    if (y >= 0 && y < canvas.height && from <= to) {
      std::fill(dataArray[y] + from, dataArray[y] + to + 1, value);
    }
  };
  // The inside: the row below the top one, then the rows down to the one above the
  // bottom. A rectangle of one row still paints the row below it.
  stretch(t + 1, l + 1, r - 1, fillPixel);
  for (int64_t y = t + 2; y < b; ++y) {
    stretch(y, l + 1, r - 1, fillPixel);
  }
  stretch(t, l, r, edgePixel);
  stretch(b, l, r, edgePixel);
  for (int64_t y = t + 1; y < b; ++y) {
    stretch(y, l, l, edgePixel);
    stretch(y, r, r, edgePixel);
  }
}

void CImg32::drawSpline() {
  if (!hasData()) {
    (void)initData();
  }
}
