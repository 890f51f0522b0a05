// ImgRect and Core2DImage::IntRect: sizes, the clamping conversion, containment and
// intersection, including the odd cases hosts depend on.
#include <gtest/gtest.h>

#include "Image/Core2DImage.h"

namespace {

using Core2DImage::IntRect;

void ExpectRect(const ImgRect &r, unsigned l, unsigned t, unsigned rr, unsigned b) {
  EXPECT_EQ(r.getLeft(), l);
  EXPECT_EQ(r.getTop(), t);
  EXPECT_EQ(r.getRight(), rr);
  EXPECT_EQ(r.getBottom(), b);
}

TEST(ImgRectTest, TwoArgumentFormsDifferByOnePixel) {
  const ImgRect img(5, 3);
  ExpectRect(img, 0, 0, 4, 2);
  EXPECT_EQ(img.getWidth(), 5u);
  EXPECT_EQ(img.getHeight(), 3u);

  const IntRect ir(5, 3);
  EXPECT_EQ(ir.right(), 5);
  EXPECT_EQ(ir.bottom(), 3);
  EXPECT_EQ(ir.width(), 6);
  EXPECT_EQ(ir.height(), 4);

  // Zero sizes wrap rather than fail.
  ExpectRect(ImgRect(0u, 0u), 0, 0, 0xFFFFFFFFu, 0xFFFFFFFFu);
  ImgRect set;
  set.setRect(5u, 3u);
  EXPECT_EQ(set, img);
}

TEST(ImgRectTest, SwappedEdgesGiveTheSameSize) {
  const ImgRect r(7, 2, 3, 9);
  EXPECT_EQ(r.getWidth(), 5u);
  EXPECT_EQ(r.getHeight(), 8u);
  EXPECT_EQ(IntRect(7, 9, 3, 2).width(), 5);
  EXPECT_EQ(IntRect(7, 9, 3, 2).height(), 8);
  // Extreme signed edges wrap instead of overflowing.
  EXPECT_EQ(IntRect(INT32_MIN, 0, INT32_MAX, 0).width(), 0);
}

TEST(ImgRectTest, VerticalReordering) {
  ImgRect r(0, 2, 9, 7);
  r.invertY();
  ExpectRect(r, 0, 7, 9, 2);
  EXPECT_EQ(r.getHeight(), 6u);

  ImgRect s(0, 2, 9, 7);
  s.reorderBottomLeftMin();
  ExpectRect(s, 0, 7, 9, 2);
  s.reorderTopLeftMin();
  ExpectRect(s, 0, 2, 9, 7);

  // Neither ever exchanges left and right.
  ImgRect h(9, 2, 0, 7);
  h.reorderTopLeftMin();
  h.reorderBottomLeftMin();
  EXPECT_EQ(h.getLeft(), 9u);
  EXPECT_EQ(h.getRight(), 0u);

  ImgRect y(0, 2, 9, 7);
  y.makeYUpSubrect(10);
  ExpectRect(y, 0, 3, 9, 8);
}

TEST(ImgRectTest, ConversionFromIntRectClampsOriginAndTakesFullExtent) {
  ExpectRect(ImgRect(IntRect(-3, -1, 5, 4)), 0, 0, 9, 6);
  ExpectRect(ImgRect(IntRect(-3, 0, 5, 9)), 0, 0, 9, 9);
  ExpectRect(ImgRect(IntRect(2, 3, 5, 9)), 2, 3, 5, 9);
  // The other way is a plain copy of the four words.
  const IntRect back(ImgRect(0xFFFFFFFFu, 1u, 2u, 3u));
  EXPECT_EQ(back.left(), -1);
  EXPECT_EQ(back.bottom(), 3);
}

TEST(ImgRectTest, AssignmentFromPointsAndPointers) {
  int_rect_t quad = {{{100, 100}, {1, 2}, {200, 200}, {30, 40}}};
  ImgRect r;
  r = quad;
  ExpectRect(r, 1, 2, 30, 40);
  ImgRect q;
  q = &quad;
  EXPECT_EQ(q, r);

  ImgRect p;
  p = &r;
  EXPECT_EQ(p, r);
  // A null pointer is ignored rather than dereferenced.
  p = static_cast<const ImgRect *>(nullptr);
  p = static_cast<const int_rect_t *>(nullptr);
  EXPECT_EQ(p, r);
  IntRect ip(1, 2, 3, 4);
  ip = static_cast<const IntRect *>(nullptr);
  EXPECT_EQ(ip, IntRect(1, 2, 3, 4));
}

TEST(ImgRectTest, ContainsDiffersForThinRectangles) {
  EXPECT_TRUE(ImgRect(0, 0, 9, 9).contains(ImgRect(3, 3, 3, 6)));
  EXPECT_FALSE(IntRect(0, 0, 9, 9).contains(IntRect(3, 3, 3, 6)));
  EXPECT_FALSE(IntRect(0, 0, 9, 9).contains(IntRect(3, 6, 5, 6)));
  EXPECT_FALSE(IntRect(0, 0, 9, 9).contains(IntRect(5, 3, 3, 6)));  // swapped
  EXPECT_TRUE(IntRect(0, 0, 9, 9).contains(IntRect(0, 0, 9, 9)));
  EXPECT_FALSE(IntRect(0, 0, 9, 9).contains(IntRect(-1, 0, 9, 9)));
  EXPECT_FALSE(ImgRect(2, 2, 9, 9).contains(ImgRect(1, 2, 9, 9)));
}

TEST(ImgRectTest, IntersectionIsInclusive) {
  ImgRect out(11, 12, 13, 14);
  EXPECT_TRUE(ImgRect(0, 0, 4, 4).intersects(ImgRect(4, 4, 8, 8), out));
  ExpectRect(out, 4, 4, 4, 4);
  EXPECT_TRUE(ImgRect(0, 0, 9, 9).intersects(ImgRect(5, 2, 20, 6), out));
  ExpectRect(out, 5, 2, 9, 6);

  ImgRect untouched(11, 12, 13, 14);
  EXPECT_FALSE(ImgRect(0, 0, 4, 4).intersects(ImgRect(5, 0, 8, 4), untouched));
  EXPECT_FALSE(ImgRect(0, 0, 4, 4).intersects(ImgRect(0, 5, 4, 8), untouched));
  ExpectRect(untouched, 11, 12, 13, 14);

  IntRect a(0, 0, 4, 4);
  EXPECT_TRUE(a.intersect(IntRect(-2, 3, 2, 10)));
  EXPECT_EQ(a, IntRect(0, 3, 2, 4));
  IntRect b(0, 0, 4, 4);
  EXPECT_TRUE(b.IsDisjointFrom(IntRect(5, 5, 6, 6)));
  EXPECT_FALSE(b.intersect(IntRect(5, 5, 6, 6)));
  EXPECT_EQ(b, IntRect(0, 0, 4, 4));
  EXPECT_FALSE(b.IsDisjointFrom(IntRect(4, 4, 6, 6)));

  b.moveBy(-2, 3);
  EXPECT_EQ(b, IntRect(-2, 3, 2, 7));
}

}  // namespace
