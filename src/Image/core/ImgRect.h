// ImgRect: the unsigned, inclusive rectangle that images are measured in.
#ifndef IMAGE_CORE_IMGRECT_H_
#define IMAGE_CORE_IMGRECT_H_

#include <cstdint>

#include "Image/core/ImgExport.h"
#include "Image/core/ImgPoint.h"

namespace Core2DImage {
class IntRect;
}

// A W x H image is (0, 0, W-1, H-1). Edges may come in either order (a Y-up
// rectangle has top > bottom), so sizes are absolute differences plus 1. All
// arithmetic wraps at 32 bits.
class C2D_EXPORT ImgRect {
 public:
  ImgRect();
  // (0, 0, w-1, h-1); ImgRect(0, 0) therefore ends at 0xFFFFFFFF.
  ImgRect(unsigned w, unsigned h);
  ImgRect(int w, int h);
  ImgRect(unsigned l, unsigned t, unsigned r, unsigned b);
  ImgRect(int l, int t, int r, int b);
  ImgRect(const ImgRect &other);
  // Clamps a negative origin to 0 and then, on that axis, takes the source's full
  // extent as the far edge: (-3, 0, 5, 9) becomes (0, 0, 9, 9).
  ImgRect(const Core2DImage::IntRect &src);
  // Clears all four fields.
  ~ImgRect();

  ImgRect &operator=(const ImgRect &other);
  // A null pointer leaves the rectangle unchanged.
  ImgRect &operator=(const ImgRect *other);
  // Left and top from the second point, right and bottom from the fourth.
  ImgRect &operator=(const int_rect_t &quad);
  ImgRect &operator=(const int_rect_t *quad);

  bool operator==(const ImgRect &other) const;
  bool operator!=(const ImgRect &other) const;

  unsigned getLeft() const { return left; }
  unsigned getTop() const { return top; }
  unsigned getRight() const { return right; }
  unsigned getBottom() const { return bottom; }
  unsigned getWidth() const;
  unsigned getHeight() const;

  void setRect(unsigned w, unsigned h);
  void setRect(unsigned l, unsigned t, unsigned r, unsigned b);

  // Unsigned comparisons, no normalisation of either rectangle.
  bool contains(const ImgRect &other) const;
  // True when the rectangles share at least one pixel (edges are inclusive); then
  // `result` is the overlap. On false `result` is left untouched.
  bool intersects(const ImgRect &other, ImgRect &result) const;
  void invertY();
  // Top becomes height - bottom and bottom becomes height - top; no 1 is
  // subtracted, so pass the last row's index for last-row arithmetic.
  void makeYUpSubrect(unsigned height);
  // Both touch only top and bottom, whatever the names say.
  void reorderTopLeftMin();
  void reorderBottomLeftMin();

  uint32_t left;
  uint32_t top;
  uint32_t right;
  uint32_t bottom;
};

#endif  // IMAGE_CORE_IMGRECT_H_
