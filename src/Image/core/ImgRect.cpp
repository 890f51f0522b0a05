// ImgRect arithmetic. Everything is unsigned and wraps; nothing here reports.
#include "Image/core/ImgRect.h"

#include "Image/core/IntRect.h"

namespace {

unsigned AbsDiffPlusOne(uint32_t a, uint32_t b) { return (a > b ? a - b : b - a) + 1u; }

}  // namespace

ImgRect::ImgRect() : left(0), top(0), right(0), bottom(0) {}

ImgRect::ImgRect(unsigned w, unsigned h) : left(0), top(0), right(w - 1u), bottom(h - 1u) {}

ImgRect::ImgRect(int w, int h)
    : left(0),
      top(0),
      right(static_cast<uint32_t>(w) - 1u),
      bottom(static_cast<uint32_t>(h) - 1u) {}

ImgRect::ImgRect(unsigned l, unsigned t, unsigned r, unsigned b)
    : left(l), top(t), right(r), bottom(b) {}

ImgRect::ImgRect(int l, int t, int r, int b)
    : left(static_cast<uint32_t>(l)),
      top(static_cast<uint32_t>(t)),
      right(static_cast<uint32_t>(r)),
      bottom(static_cast<uint32_t>(b)) {}

ImgRect::ImgRect(const ImgRect &other)
    : left(other.left), top(other.top), right(other.right), bottom(other.bottom) {}

ImgRect::ImgRect(const Core2DImage::IntRect &src) {
  // A clipped origin does not keep the far edge: the far edge becomes the source's
  // full extent on that axis. Viewers rely on this when scrolling past the origin.
  left = src.xLeft < 0 ? 0u : static_cast<uint32_t>(src.xLeft);
  top = src.yTop < 0 ? 0u : static_cast<uint32_t>(src.yTop);
  right = src.xLeft < 0 ? static_cast<uint32_t>(src.width()) : static_cast<uint32_t>(src.xRight);
  bottom = src.yTop < 0 ? static_cast<uint32_t>(src.height()) : static_cast<uint32_t>(src.yBottom);
}

ImgRect::~ImgRect() { left = top = right = bottom = 0; }

ImgRect &ImgRect::operator=(const ImgRect &other) {
  if (this != &other) {
    left = other.left;
    top = other.top;
    right = other.right;
    bottom = other.bottom;
  }
  return *this;
}

ImgRect &ImgRect::operator=(const ImgRect *other) {
  if (other != nullptr) {
    *this = *other;
  }
  return *this;
}

ImgRect &ImgRect::operator=(const int_rect_t &quad) {
  left = static_cast<uint32_t>(quad.pts[1].x);
  top = static_cast<uint32_t>(quad.pts[1].y);
  right = static_cast<uint32_t>(quad.pts[3].x);
  bottom = static_cast<uint32_t>(quad.pts[3].y);
  return *this;
}

ImgRect &ImgRect::operator=(const int_rect_t *quad) {
  if (quad != nullptr) {
    *this = *quad;
  }
  return *this;
}

bool ImgRect::operator==(const ImgRect &other) const {
  return left == other.left && top == other.top && right == other.right && bottom == other.bottom;
}

bool ImgRect::operator!=(const ImgRect &other) const { return !(*this == other); }

unsigned ImgRect::getWidth() const { return AbsDiffPlusOne(left, right); }

unsigned ImgRect::getHeight() const { return AbsDiffPlusOne(top, bottom); }

void ImgRect::setRect(unsigned w, unsigned h) {
  left = 0;
  top = 0;
  right = w - 1u;
  bottom = h - 1u;
}

void ImgRect::setRect(unsigned l, unsigned t, unsigned r, unsigned b) {
  left = l;
  top = t;
  right = r;
  bottom = b;
}

bool ImgRect::contains(const ImgRect &other) const {
  return other.left >= left && other.top >= top && other.right <= right && other.bottom <= bottom;
}

bool ImgRect::intersects(const ImgRect &other, ImgRect &result) const {
  if (other.right < left || other.left > right || other.bottom < top || other.top > bottom) {
    return false;
  }
  result.left = other.left > left ? other.left : left;
  result.top = other.top > top ? other.top : top;
  result.right = other.right < right ? other.right : right;
  result.bottom = other.bottom < bottom ? other.bottom : bottom;
  return true;
}

void ImgRect::invertY() {
  const uint32_t oldTop = top;
  top = bottom;
  bottom = oldTop;
}

void ImgRect::makeYUpSubrect(unsigned height) {
  const uint32_t oldTop = top;
  top = height - bottom;
  bottom = height - oldTop;
}

void ImgRect::reorderTopLeftMin() {
  if (top > bottom) {
    invertY();
  }
}

void ImgRect::reorderBottomLeftMin() {
  if (bottom > top) {
    invertY();
  }
}
