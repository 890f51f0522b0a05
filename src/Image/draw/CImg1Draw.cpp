// CImg1: the drawing slots. A bilevel image draws pixels and lines straight into its
// bits, most significant bit leftmost; circles, rectangles and curves are left to
// the colour class.
#include <cstdint>

#include "Image/raster/CImg1.h"

namespace {

// Sets or clears bit (x, y) of a buffer of `size` bytes and rows of `stride` bytes.
// Columns run on through the row's pad bits into the next row, as the buffer lies;
// a bit outside the buffer, or in an image without one, is not written.
void PlotBit(unsigned char *data, uint64_t size, uint32_t stride, int64_t x, int64_t y,
             bool clear) {
  const int64_t byteInRow = x >= 0 ? x / 8 : -((7 - x) / 8);
  const int64_t offset = y * int64_t{stride} + byteInRow;
  if (data == nullptr || offset < 0 || static_cast<uint64_t>(offset) >= size) {
    return;
  }
  const auto mask = static_cast<unsigned char>(0x80u >> (x - 8 * byteInRow));
  data[offset] = clear ? static_cast<unsigned char>(data[offset] & ~mask)
                       : static_cast<unsigned char>(data[offset] | mask);
}

}  // namespace

void CImg1::drawArc() {}

void CImg1::drawCircle(int, int, int, const ColorValue *, const ColorValue *) {}

void CImg1::drawElipse() {}

void CImg1::drawLines(int_pt_t *from, int_pt_t *to, bool clear) {
  if (from == nullptr || to == nullptr) {
    return;
  }
  // The walk starts at the point with the smaller x; with equal x, at `to`.
  const int_pt_t start = from->x < to->x ? *from : *to;
  const int_pt_t end = from->x < to->x ? *to : *from;
  const int64_t dx = int64_t{end.x} - start.x;
  const int64_t dy = int64_t{end.y} - start.y;
  const int64_t step = dy < 0 ? -1 : 1;
  const int64_t ady = dy < 0 ? -dy : dy;
  int64_t x = start.x;
  int64_t y = start.y;
  // The two slopes round differently on purpose: the steep walk starts its error at
  // dx less half of |dy| (halved in integers, remainder dropped) and steps it by |dy|,
  // the shallow walk works in doubled units.
  if (dx <= ady) {
    int64_t error = dx - ady / 2;
    for (;;) {
      PlotBit(data, data != nullptr ? totalBytes : 0, bytesPerLine, x, y, clear);
      if (y == end.y) {
        break;
      }
      y += step;
      if (error >= 1) {
        ++x;
        error -= ady;
      }
      error += dx;
    }
  } else {
    int64_t error = 2 * ady - dx;
    for (;;) {
      PlotBit(data, data != nullptr ? totalBytes : 0, bytesPerLine, x, y, clear);
      if (x == end.x) {
        break;
      }
      if (error >= 1) {
        y += step;
        error -= 2 * dx;
      }
      error += 2 * ady;
      ++x;
    }
  }
}

void CImg1::drawPixel(unsigned x, unsigned y, unsigned value) {
  if (x > rect.right || y > rect.bottom) {
    return;
  }
  PlotBit(data, data != nullptr ? totalBytes : 0, bytesPerLine, x, y, value == 0);
}

void CImg1::drawPolyLine() {}

void CImg1::drawPolygon() {}

void CImg1::DrawFilledRectangle(int, int, int, int, ColorValue &, ColorValue &) {}

void CImg1::drawSpline() {}
