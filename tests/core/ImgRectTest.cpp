// ImgRect and IntRect: sizes, conversion, containment and intersection, odd cases included.
#include <gtest/gtest.h>

#include "Image/Core2DImage.h"

namespace {

using Core2DImage::IntRect;

ImgRect R(unsigned l, unsigned t, unsigned r, unsigned b) { return ImgRect(l, t, r, b); }

TEST(ImgRectTest, SizesAndConversions) {
  // ImgRect(w, h) ends at w - 1; IntRect(w, h) ends at w and is one wider.
  EXPECT_EQ(ImgRect(5u, 3u), R(0, 0, 4, 2));
  EXPECT_EQ(IntRect(5, 3), IntRect(0, 0, 5, 3));
  EXPECT_EQ(IntRect(5, 3).width(), 6);
  EXPECT_EQ(ImgRect(0u, 0u), R(0, 0, 0xFFFFFFFFu, 0xFFFFFFFFu));  // zero sizes wrap

  EXPECT_EQ(R(7, 2, 3, 9).getWidth(), 5u);
  EXPECT_EQ(IntRect(7, 9, 3, 2).height(), 8);
  EXPECT_EQ(IntRect(INT32_MIN, 0, INT32_MAX, 0).width(), 0);  // wraps, no overflow

  // To ImgRect the origin is clamped and the full extent taken; back, the words are copied.
  EXPECT_EQ(ImgRect(IntRect(-3, -1, 5, 4)), R(0, 0, 9, 6));
  EXPECT_EQ(ImgRect(IntRect(-3, 0, 5, 9)), R(0, 0, 9, 9));
  EXPECT_EQ(ImgRect(IntRect(2, 3, 5, 9)), R(2, 3, 5, 9));
  EXPECT_EQ(IntRect(R(0xFFFFFFFFu, 1, 2, 3)), IntRect(-1, 1, 2, 3));
}

TEST(ImgRectTest, AssignmentContainmentAndIntersection) {
  int_rect_t quad = {{{100, 100}, {1, 2}, {200, 200}, {30, 40}}};
  ImgRect r, q, p;
  r = quad;
  q = &quad;
  p = &r;
  EXPECT_EQ(r, R(1, 2, 30, 40));
  EXPECT_EQ(q, r);
  EXPECT_EQ(p, r);
  // A null pointer is ignored rather than dereferenced.
  p = static_cast<const ImgRect *>(nullptr);
  p = static_cast<const int_rect_t *>(nullptr);
  EXPECT_EQ(p, r);
  IntRect ip(1, 2, 3, 4);
  ip = static_cast<const IntRect *>(nullptr);
  EXPECT_EQ(ip, IntRect(1, 2, 3, 4));

  EXPECT_TRUE(R(0, 0, 9, 9).contains(R(3, 3, 3, 6)));  // thin: ImgRect yes, IntRect no
  EXPECT_FALSE(IntRect(0, 0, 9, 9).contains(IntRect(3, 3, 3, 6)));
  EXPECT_FALSE(IntRect(0, 0, 9, 9).contains(IntRect(5, 3, 3, 6)));  // swapped
  EXPECT_TRUE(IntRect(0, 0, 9, 9).contains(IntRect(0, 0, 9, 9)));

  ImgRect out = R(11, 12, 13, 14);
  EXPECT_TRUE(R(0, 0, 4, 4).intersects(R(4, 4, 8, 8), out));
  EXPECT_EQ(out, R(4, 4, 4, 4));
  EXPECT_TRUE(R(0, 0, 9, 9).intersects(R(5, 2, 20, 6), out));
  EXPECT_EQ(out, R(5, 2, 9, 6));
  EXPECT_FALSE(R(0, 0, 4, 4).intersects(R(0, 5, 4, 8), out));
  EXPECT_EQ(out, R(5, 2, 9, 6));  // untouched when disjoint

  IntRect a(0, 0, 4, 4);
  EXPECT_TRUE(a.intersect(IntRect(-2, 3, 2, 10)));
  EXPECT_EQ(a, IntRect(0, 3, 2, 4));
  IntRect b(0, 0, 4, 4);
  EXPECT_TRUE(b.IsDisjointFrom(IntRect(5, 5, 6, 6)));
  EXPECT_FALSE(b.intersect(IntRect(5, 5, 6, 6)));
  EXPECT_EQ(b, IntRect(0, 0, 4, 4));
  EXPECT_FALSE(b.IsDisjointFrom(IntRect(4, 4, 6, 6)));
}

}  // namespace
