// Core2DImage::IntRect arithmetic. Signed comparisons; sizes are computed in unsigned
// arithmetic so that extreme edges wrap instead of overflowing.
#include "Image/core/IntRect.h"

#include "Image/core/ImgRect.h"

namespace Core2DImage {

namespace {

int AbsDiffPlusOne(int32_t a, int32_t b) {
  const uint32_t hi = static_cast<uint32_t>(a > b ? a : b);
  const uint32_t lo = static_cast<uint32_t>(a > b ? b : a);
  return static_cast<int>(hi - lo + 1u);
}

}  // namespace

IntRect::IntRect() : xLeft(0), yTop(0), xRight(0), yBottom(0) {}

IntRect::IntRect(int a, int b) : xLeft(0), yTop(0), xRight(a), yBottom(b) {}

IntRect::IntRect(int l, int t, int r, int b) : xLeft(l), yTop(t), xRight(r), yBottom(b) {}

IntRect::IntRect(const IntRect &other)
    : xLeft(other.xLeft), yTop(other.yTop), xRight(other.xRight), yBottom(other.yBottom) {}

IntRect::IntRect(const ImgRect &other)
    : xLeft(static_cast<int32_t>(other.left)),
      yTop(static_cast<int32_t>(other.top)),
      xRight(static_cast<int32_t>(other.right)),
      yBottom(static_cast<int32_t>(other.bottom)) {}

IntRect &IntRect::operator=(const IntRect &other) {
  if (this != &other) {
    xLeft = other.xLeft;
    yTop = other.yTop;
    xRight = other.xRight;
    yBottom = other.yBottom;
  }
  return *this;
}

IntRect &IntRect::operator=(const IntRect *other) {
  if (other != nullptr) {
    *this = *other;
  }
  return *this;
}

bool IntRect::operator==(const IntRect &other) const {
  return xLeft == other.xLeft && yTop == other.yTop && xRight == other.xRight &&
         yBottom == other.yBottom;
}

bool IntRect::operator!=(const IntRect &other) const { return !(*this == other); }

int IntRect::width() const { return AbsDiffPlusOne(xLeft, xRight); }

int IntRect::height() const { return AbsDiffPlusOne(yTop, yBottom); }

bool IntRect::contains(const IntRect &other) const {
  return other.xLeft >= xLeft && other.xRight <= xRight && other.yTop >= yTop &&
         other.yBottom <= yBottom && other.xLeft < other.xRight && other.yTop < other.yBottom;
}

bool IntRect::IsDisjointFrom(const IntRect &other) const {
  return yTop > other.yBottom || yBottom < other.yTop || xLeft > other.xRight ||
         xRight < other.xLeft;
}

bool IntRect::intersect(const IntRect &other) {
  if (IsDisjointFrom(other)) {
    return false;
  }
  if (other.xLeft > xLeft) {
    xLeft = other.xLeft;
  }
  if (other.yTop > yTop) {
    yTop = other.yTop;
  }
  if (other.xRight < xRight) {
    xRight = other.xRight;
  }
  if (other.yBottom < yBottom) {
    yBottom = other.yBottom;
  }
  return true;
}

void IntRect::moveBy(int dx, int dy) {
  // Wrapping, like every other edge computation here.
  xLeft = static_cast<int32_t>(static_cast<uint32_t>(xLeft) + static_cast<uint32_t>(dx));
  xRight = static_cast<int32_t>(static_cast<uint32_t>(xRight) + static_cast<uint32_t>(dx));
  yTop = static_cast<int32_t>(static_cast<uint32_t>(yTop) + static_cast<uint32_t>(dy));
  yBottom = static_cast<int32_t>(static_cast<uint32_t>(yBottom) + static_cast<uint32_t>(dy));
}

}  // namespace Core2DImage
