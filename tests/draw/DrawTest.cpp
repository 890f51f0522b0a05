// Drawing: worked pictures, the circle walk and bilevel lines against models, the span table.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "Image/Core2DImage.h"
#include "Image/draw/internal/FillTab.h"
#include "ImgTestSupport.h"

// The host's colour record: the library may read bytes 2 to 5 only; the rest are markers.
class ColorValue {
 public:
  explicit ColorValue(uint32_t p)
      : bytes{0xEE, 0xEE, uint8_t(p >> 24), uint8_t(p >> 16), uint8_t(p >> 8), uint8_t(p),
              0xEE, 0xEE} {}
  uint8_t bytes[8];
};

namespace {

using namespace c2d_test;
using Bytes = std::vector<unsigned char>;

constexpr uint32_t kPage = 0xFFFFFFFFu, kStroke = 0xFF102030u, kFill = 0xFF0000AAu;

struct Open32 : CImg32 {
  using CImg32::fillTab;
};

// A w x h CImg32 of white pixels, white being its known background.
ImgPtr<CImg32> Page32(unsigned w, unsigned h) {
  ImgPtr<CImg32> image(CImg32::create(w, h, RGB_ORDER_BGR));
  image->setBackgroundColor(kPage);
  EXPECT_TRUE(image->forceDataInit());
  return image;
}

// The image against a picture at (x0, y0), rows split by '/', page elsewhere: '.' page,
// 'S' stroke, 'F' fill, 'l' 'm' 'h' light, middle and heavy mixes of stroke and white, '0' 0.
void ExpectPicture(CImg32 &image, int x0, int y0, const std::string &art) {
  const std::string inks = ".SFlmh0";
  const uint32_t values[] = {kPage, kStroke, kFill, 0xFFAFB4BAu, 0xFF5F6A74u, 0xFF3F4C59u, 0};
  std::vector<std::string> rows(1);
  for (const char c : art) {
    c == '/' ? rows.emplace_back() : rows.back() += c;
  }
  for (int y = 0; y < static_cast<int>(image.getHeight()); ++y) {
    for (int x = 0; x < static_cast<int>(image.getWidth()); ++x) {
      const size_t ay = y - y0, ax = x - x0;  // wraps when negative
      const char c = ay < rows.size() && ax < rows[ay].size() ? rows[ay][ax] : '.';
      ASSERT_EQ(image(y, x), values[inks.find(c)]) << "at " << x << "," << y;
    }
  }
}

TEST(DrawTest, CircleStencilsAndSmallWalksAsWorkedPictures) {
  const struct {
    int radius;
    bool stroke, fill;
    const char *art;
  } cases[] = {
      {0, true, true, "S"},
      {0, false, true, "0"},  // a null stroke writes 0, the fill nothing
      {1, true, true, "lSl/SFS/lSl"},
      {2, true, true, ".mSm./mFFFm/SFFFS/mFFFm/.mSm."},
      {2, false, true, "...../.FFF./.FFF./.FFF."},
      {4, true, true,
       "..lhShl../.hmFFFmh./lmFFFFFml/hFFFFFFFh/SFFFFFFFS/hFFFFFFFh/lmFFFFFml/"
       ".hmFFFmh./..lhShl.."},
      {4, true, false,
       "..lhShl../.hm...mh./lm.....ml/h.......h/S.......S/h.......h/lm.....ml/"
       ".hm...mh./..lhShl.."},
      // Rows 3, 5, 7, 7, 7, 5, 3 wide.
      {4, false, true,
       "........./...FFF.../..FFFFF../.FFFFFFF./.FFFFFFF./.FFFFFFF./..FFFFF../...FFF..."},
      {3, true, true, "..SSS../.SFFFS./SFFFFFS/SFFFFFS/SFFFFFS/.SFFFS./..SSS.."},
      {3, false, true, "..000../.0FFF0./0FFFFF0/0FFFFF0/0FFFFF0/.0FFF0./..000.."},
  };
  const ColorValue stroke(kStroke), fill(kFill);
  for (const auto &c : cases) {
    SCOPED_TRACE(testing::Message() << "radius " << c.radius << " stroke " << c.stroke);
    ImgPtr<CImg32> image = Page32(13, 11);
    image->drawCircle(6, 5, c.radius, c.stroke ? &stroke : nullptr, c.fill ? &fill : nullptr);
    ExpectPicture(*image, 6 - c.radius, 5 - c.radius, c.art);
  }
}

// Against the clipped box (0, 0, -1, -1: nothing): fill below the top row and between, then
// the edges, nothing outside the image.
TEST(DrawTest, FilledRectangleMatchesItsClippedBox) {
  const struct {
    int l, t, r, b;
    int64_t cl, ct, cr, cb;
  } cases[] = {
      // clang-format off
      {5, 5, 50, 50, 5, 5, 10, 8}, {0, 0, 11, 9, 0, 0, 10, 8},
      {0, 0, 10, 8, 0, 0, 10, 8}, {-1, -1, 50, 50, 0, 0, -1, -1},
      {4, 4, 4, 4, 4, 4, 4, 4}, {4, 4, 5, 5, 4, 4, 5, 5},
      {11, 3, 11, 6, 0, 0, -1, -1}, {2, 9, 6, 9, 0, 0, -1, -1},
      {-5, -3, -1, 4, 0, 0, -1, -1},
      {3, 2, 3, 8, 3, 2, 3, 8},    // one column
      {2, 4, 8, 4, 2, 4, 8, 4},    // one row: the row below still takes the fill
      {8, 2, 3, 6, 8, 2, 3, 6},    // swapped columns: only the sides
      {50, 2, 3, 6, 50, 2, 3, 6},  // a far left edge is not clipped
      {2, 50, 6, 3, 2, 50, 6, 3},  // nor a far top edge
      {INT_MAX, 1, 3, 6, INT_MAX, 1, 3, 6}, {INT_MIN, INT_MIN, INT_MAX, 5, 0, 0, 10, 5},
  };  // clang-format on
  ColorValue edge(kStroke), fill(kFill);
  for (const auto &c : cases) {
    SCOPED_TRACE(testing::Message() << c.l << "," << c.t << "," << c.r << "," << c.b);
    ImgPtr<CImg32> image = Page32(12, 10);
    image->DrawFilledRectangle(c.l, c.t, c.r, c.b, edge, fill);
    std::string art;
    for (int64_t y = 0; y < 10; ++y, art += '/') {
      for (int64_t x = 0; x < 12; ++x) {
        const bool between = y > c.ct && y < c.cb, inRow = x >= c.cl && x <= c.cr;
        const bool onEdge =
            ((y == c.ct || y == c.cb) && inRow) || (between && (x == c.cl || x == c.cr));
        art += onEdge ? 'S' : (y == c.ct + 1 || between) && x > c.cl && x < c.cr ? 'F' : '.';
      }
    }
    ExpectPicture(*image, 0, 0, art);
  }
}

// Rows fill strictly between the outline points nearest the centre (to the edge where a side
// has none); centres inside, on and beyond every edge of the page.
TEST(DrawTest, CircleWalkMatchesTheOutlineModel) {
  const ColorValue stroke(kStroke), fill(kFill);
  constexpr int kW = 64, kH = 48;
  for (int radius = 3; radius <= 200; radius += radius == 3 ? 2 : 1) {
    // The outline around (0, 0): the error grows by u and gives up v - 1.
    std::set<std::pair<int, int>> outline;  // (dy, dx)
    for (int u = 0, v = radius, e = 0;;) {
      for (const int a : {-u, u}) {
        for (const int b : {-v, v}) {
          outline.insert({b, a});
          outline.insert({a, b});
        }
      }
      if (v <= u) {
        break;
      }
      e += ++u;
      if (e >= v - 1) {
        e -= v - 1;
        --v;
      }
    }
    std::map<int, std::pair<int, int>> span;  // dy: nearest dx left and right
    for (const auto &[dy, dx] : outline) {
      auto &s = span.try_emplace(dy, INT_MIN, INT_MAX).first->second;
      s = dx == 0  ? std::pair{0, 0}
          : dx < 0 ? std::pair{std::max(s.first, dx), s.second}
                   : std::pair{s.first, std::min(s.second, dx)};
    }
    for (const int cx : {-25, 0, 30, kW - 1, kW + 20}) {
      for (const int cy : {-30, 0, 20, kH - 1, kH + 25}) {
        SCOPED_TRACE(testing::Message() << "radius " << radius << " at " << cx << "," << cy);
        ImgPtr<CImg32> image = Page32(kW, kH);
        image->drawCircle(cx, cy, radius, &stroke, &fill);
        for (int y = 0; y < kH; ++y) {
          const auto s = span.find(y - cy);
          for (int x = 0; x < kW; ++x) {
            const bool inside =
                s != span.end() && x - cx > s->second.first && x - cx < s->second.second;
            const bool edge = outline.count({y - cy, x - cx}) != 0;
            ASSERT_EQ((*image)(y, x), edge ? kStroke : inside ? kFill : kPage) << x << "," << y;
            // Every outline pixel lies within a pixel of the true circle.
            ASSERT_TRUE(!edge || radius < 5 ||
                        std::fabs(std::hypot(x - cx, y - cy) - radius) < 1.0);
          }
        }
      }
    }
  }
}

// Every octant both ways. After k steps: a steep line's column ceil((k dx - floor(|dy| / 2)) /
// |dy|), a shallow line's row ceil((2 k |dy| - dx) / 2 dx), neither below 0.
TEST(DrawTest, BilevelLinesAndPixels) {
  const auto ceilDiv = [](int64_t a, int64_t b) { return a >= 0 ? (a + b - 1) / b : -(-a / b); };
  const int_pt_t ends[] = {{35, 26}, {26, 35}, {14, 35}, {5, 26},  {5, 14},  {14, 5},
                           {26, 5},  {35, 14}, {20, 35}, {35, 20}, {20, 20}, {21, 23}};
  for (const int_pt_t end : ends) {
    for (const bool reversed : {false, true}) {
      SCOPED_TRACE(testing::Message() << end.x << "," << end.y << (reversed ? " reversed" : ""));
      ImgPtr<CImg1> image(CImg1::create(40, 40, 0, 1, IMG_ALIGN_NONE));
      int_pt_t from = {20, 20}, to = end;
      if (reversed) {
        std::swap(from, to);
      }
      image->drawLines(&from, &to, false);
      const int_pt_t s = from.x < to.x ? from : to, e = from.x < to.x ? to : from;
      const int64_t dx = e.x - s.x, dy = e.y - s.y, ady = std::abs(dy), sy = dy < 0 ? -1 : 1;
      const bool steep = dx <= ady;
      Bytes want(5 * 40);
      for (int64_t k = 0; k <= std::max(dx, ady); ++k) {
        const int64_t step =
            std::max<int64_t>(0, steep ? ceilDiv(k * dx - ady / 2, std::max<int64_t>(ady, 1))
                                       : ceilDiv(2 * k * ady - dx, 2 * dx));
        const int64_t x = s.x + (steep ? step : k), y = s.y + sy * (steep ? k : step);
        want[y * 5 + x / 8] |= static_cast<unsigned char>(0x80 >> x % 8);
      }
      EXPECT_EQ(BufferOf(*image), want);
    }
  }
  // (0,0)-(1,3) turns on row 2; a pixel past the edge is refused, a line's plots land as the
  // buffer lies (row 1's columns 16 and 17 in row 2), and only inside the buffer.
  ImgPtr<CImg1> image(CImg1::create(16, 4, 0, 1, IMG_ALIGN_NONE));
  int_pt_t a = {0, 0}, b = {1, 3}, far0 = {-40, -9}, far1 = {60, 9}, up0 = {2, -50}, up1 = {2, -3};
  image->drawLines(&a, &b, false);
  image->drawPixel(16, 1, 1);
  EXPECT_EQ(BufferOf(*image), (Bytes{0x80, 0, 0x80, 0, 0x40, 0, 0x40, 0}));
  image->drawLines(&far0, &far1, true);
  image->drawLines(&up0, &up1, false);
  image->drawLines(nullptr, &b, false);
  EXPECT_EQ(BufferOf(*image), (Bytes{0x80, 0, 0x80, 0, 0, 0, 0x40, 0}));
  ImgPtr<CImg1> bare(CImg1::create());  // no buffer: plots are dropped
  bare->drawLines(&a, &b, false);
  bare->drawPixel(0, 0, 1);
  EXPECT_EQ(bare->peekData(), nullptr);
}

TEST(DrawTest, SpanTableGrowsInStepsAndRefusalsKeepTheImage) {
  Core2DImage::FillTab table;
  const std::pair<unsigned, unsigned> steps[] = {{1, 256},     {255, 256},   {256, 256},
                                                 {600, 1024},  {2047, 2048}, {4095, 4096},
                                                 {4096, 4096}, {5000, 5000}};
  for (const auto &[rows, capacity] : steps) {
    EXPECT_TRUE(table.reserve(rows) && table.capacity == capacity) << rows;
  }
  const int32_t *left = table.leftEdge;
  {
    FailTables fail(1);  // the second array cannot be had
    EXPECT_FALSE(table.reserve(6000));
  }
  EXPECT_TRUE(table.capacity == 5000u && table.leftEdge == left);
  EXPECT_EQ(Open32::fillTab(10), Open32::fillTab(300));  // one table for the class
  // A table that cannot grow, a negative radius, boxes beyond 32 bits: the page stays.
  ColorValue stroke(kStroke), fill(kFill);
  const std::tuple<int, int, int> refused[] = {
      {5, 5, 60000}, {5, 5, -3}, {INT_MAX - 2, 5, 10}, {5, INT_MIN + 1, 7}, {0, 0, INT_MAX}};
  for (const auto &[x, y, radius] : refused) {
    SCOPED_TRACE(radius);
    ImgPtr<CImg32> image(CImg32::create(12, 10, RGB_ORDER_BGR));
    image->setBackgroundColor(kPage);
    FailTables fail(0);
    image->drawCircle(x, y, radius, &stroke, &fill);
    EXPECT_EQ(FailTables::failed(), radius == 60000);
    ExpectPicture(*image, 0, 0, "");
  }
  // Extents grown past the pixels: drawing stays inside the buffer.
  ImgPtr<CImg32> grown = Page32(8, 8);
  ASSERT_TRUE(grown->setExtents(16, 16));
  grown->drawCircle(8, 8, 7, &stroke, &fill);
  grown->DrawFilledRectangle(0, 0, 20, 20, stroke, fill);
  grown->drawPixel(12, 12, 0);
  EXPECT_EQ((*grown)(7, 7), kFill);
  grown->drawPixel(7, 7, 5);
  EXPECT_EQ((*grown)(7, 7), 5u);
}

}  // namespace
