// Core2DImage::IntRect: the signed rectangle that reference images and compositing
// clip in. Same four words as ImgRect, in the same order.
#ifndef IMAGE_CORE_INTRECT_H_
#define IMAGE_CORE_INTRECT_H_

#include <cstdint>

#include "Image/core/ImgExport.h"

class ImgRect;

namespace Core2DImage {

class C2D_EXPORT IntRect {
 public:
  IntRect();
  // (0, 0, a, b): unlike ImgRect, nothing is subtracted, so the same two numbers
  // name a rectangle one pixel larger each way.
  IntRect(int a, int b);
  IntRect(int l, int t, int r, int b);
  IntRect(const IntRect &other);
  // Four-word copy, no clamping or sign check.
  IntRect(const ImgRect &other);

  IntRect &operator=(const IntRect &other);
  // A null pointer leaves the rectangle unchanged.
  IntRect &operator=(const IntRect *other);

  bool operator==(const IntRect &other) const;
  bool operator!=(const IntRect &other) const;

  int left() const { return xLeft; }
  int top() const { return yTop; }
  int right() const { return xRight; }
  int bottom() const { return yBottom; }
  int width() const;
  int height() const;

  // Besides lying inside, `other` must have left < right and top < bottom: a
  // rectangle one pixel wide or high, or one with swapped edges, is never contained.
  bool contains(const IntRect &other) const;
  // Clips this rectangle to `other` in place; false (and unchanged) when disjoint.
  bool intersect(const IntRect &other);
  bool IsDisjointFrom(const IntRect &other) const;
  void moveBy(int dx, int dy);

  // The accessors carry the edge names, so the fields carry their axis too.
  int32_t xLeft;
  int32_t yTop;
  int32_t xRight;
  int32_t yBottom;
};

}  // namespace Core2DImage

#endif  // IMAGE_CORE_INTRECT_H_
