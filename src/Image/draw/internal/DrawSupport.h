// What the drawing files of the rasters share: the test that makes a filled
// rectangle draw nothing, and the pixel word of the host's colour record.
#ifndef IMAGE_DRAW_INTERNAL_DRAWSUPPORT_H_
#define IMAGE_DRAW_INTERNAL_DRAWSUPPORT_H_

#include <cstdint>

class ColorValue;

namespace c2d {

// True when a rectangle draws nothing: both of its columns, or both of its rows,
// lie before the image or at or past the last column (row); or it overhangs the
// image on all four sides. `right` and `bottom` are the image's last column and row.
inline bool RectangleIsSkipped(int64_t left, int64_t top, int64_t right, int64_t bottom,
                               int64_t lastColumn, int64_t lastRow) {
  return (left < 0 && right < 0) || (top < 0 && bottom < 0) ||
         (left >= lastColumn && right >= lastColumn) || (top >= lastRow && bottom >= lastRow) ||
         (left < 0 && top < 0 && right >= lastColumn && bottom >= lastRow);
}

// The pixel word of a colour record: its bytes 2, 3, 4 and 5 from the high byte
// down. The record's type belongs to the host; only these four bytes are read. A
// null record gives 0.
inline uint32_t PixelOf(const ColorValue *colour) {
  if (colour == nullptr) {
    return 0;
  }
  const auto *bytes = reinterpret_cast<const unsigned char *>(colour);
  return uint32_t{bytes[2]} << 24 | uint32_t{bytes[3]} << 16 | uint32_t{bytes[4]} << 8 | bytes[5];
}

}  // namespace c2d

#endif  // IMAGE_DRAW_INTERNAL_DRAWSUPPORT_H_
