// Drawing: the stencils and rectangles as worked pictures, the circle walk and the
// bilevel lines against independent models, the span table's growth, and which class
// draws what.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Image/Core2DImage.h"
#include "Image/draw/internal/FillTab.h"
#include "ImgTestSupport.h"

// The host's colour record. The library reads its bytes 2 to 5 and nothing else, so
// the others hold a marker.
class ColorValue {
 public:
  explicit ColorValue(uint32_t pixel)
      : bytes{0xEE,
              0xEE,
              static_cast<uint8_t>(pixel >> 24),
              static_cast<uint8_t>(pixel >> 16),
              static_cast<uint8_t>(pixel >> 8),
              static_cast<uint8_t>(pixel),
              0xEE,
              0xEE} {}
  uint8_t bytes[8];
};

namespace {

using c2d_test::ImgPtr;

constexpr uint32_t kPage = 0xFFFFFFFFu;
constexpr uint32_t kStroke = 0xFF102030u;
constexpr uint32_t kFill = 0xFF0000AAu;

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

// Expected pixels of a worked picture: '.' page, 'S' stroke, 'F' fill, 'l' 'm' 'h'
// the light, middle and heavy mixes of kStroke with white, '0' the value 0.
uint32_t Ink(char c) {
  switch (c) {
    case 'S':
      return kStroke;
    case 'F':
      return kFill;
    case 'l':
      return 0xFFAFB4BAu;
    case 'm':
      return 0xFF5F6A74u;
    case 'h':
      return 0xFF3F4C59u;
    case '0':
      return 0;
    default:
      return kPage;
  }
}

// Compares the image with `art` placed with its top left at (x0, y0), page elsewhere.
void ExpectPicture(CImg32 &image, int x0, int y0, const std::vector<std::string> &art) {
  for (unsigned y = 0; y < image.getHeight(); ++y) {
    for (unsigned x = 0; x < image.getWidth(); ++x) {
      const int ay = static_cast<int>(y) - y0, ax = static_cast<int>(x) - x0;
      const bool inArt = ay >= 0 && ay < static_cast<int>(art.size()) && ax >= 0 &&
                         ax < static_cast<int>(art[ay].size());
      ASSERT_EQ(image(y, x), Ink(inArt ? art[ay][ax] : '.')) << "at " << x << "," << y;
    }
  }
}

TEST(DrawTest, CircleStencilsAndSmallWalksAsWorkedPictures) {
  const std::vector<std::string> r4 = {"..lhShl..", ".hmFFFmh.", "lmFFFFFml",
                                       "hFFFFFFFh", "SFFFFFFFS", "hFFFFFFFh",
                                       "lmFFFFFml", ".hmFFFmh.", "..lhShl.."};
  const std::vector<std::string> r3 = {"..SSS..", ".SFFFS.", "SFFFFFS", "SFFFFFS",
                                       "SFFFFFS", ".SFFFS.", "..SSS.."};
  struct Case {
    int radius;
    bool stroke, fill;
    std::vector<std::string> art;
  } const cases[] = {
      {0, true, true, {"S"}},
      {0, false, true, {"0"}},  // a null stroke writes 0, the fill nothing
      {1, true, true, {"lSl", "SFS", "lSl"}},
      {2, true, true, {".mSm.", "mFFFm", "SFFFS", "mFFFm", ".mSm."}},
      {2, false, true, {".....", ".FFF.", ".FFF.", ".FFF.", "....."}},
      {4, true, true, r4},
      // Rows 3, 5, 7, 7, 7, 5, 3 wide inside.
      {4,
       false,
       true,
       {".........", "...FFF...", "..FFFFF..", ".FFFFFFF.", ".FFFFFFF.", ".FFFFFFF.", "..FFFFF..",
        "...FFF...", "........."}},
      {4,
       true,
       false,
       {"..lhShl..", ".hm...mh.", "lm.....ml", "h.......h", "S.......S", "h.......h", "lm.....ml",
        ".hm...mh.", "..lhShl.."}},
      {3, true, true, r3},
      {3,
       false,
       true,
       {"..000..", ".0FFF0.", "0FFFFF0", "0FFFFF0", "0FFFFF0", ".0FFF0.", "..000.."}},
  };
  const ColorValue stroke(kStroke), fill(kFill);
  for (const Case &c : cases) {
    SCOPED_TRACE(testing::Message() << "radius " << c.radius << " stroke " << c.stroke);
    ImgPtr<CImg32> image = Page32(13, 11);
    image->drawCircle(6, 5, c.radius, c.stroke ? &stroke : nullptr, c.fill ? &fill : nullptr);
    ExpectPicture(*image, 6 - c.radius, 5 - c.radius, c.art);
  }
  // Radius 8 through its first octant, as the walk's own rule gives it.
  ImgPtr<CImg32> image = Page32(20, 20);
  image->drawCircle(9, 9, 8, &stroke, nullptr);
  const int octant[][2] = {{0, 8}, {1, 8}, {2, 8}, {3, 8}, {4, 7}, {5, 6}, {6, 5}};
  for (const auto &p : octant) {
    EXPECT_EQ((*image)(9 - p[1], 9 + p[0]), kStroke) << p[0] << "," << p[1];
    EXPECT_EQ((*image)(9 - p[1] + 1, 9 + p[0]), kPage) << p[0] << "," << p[1];
  }
}

// The rectangle on a 12 x 10 page against a model: `box` is where the clipped edges
// land (none: nothing is drawn). The inside is the row below the top one and the rows
// between; then the top and bottom rows and the side columns take the edge colour.
// Whatever falls outside the image is not written.
TEST(DrawTest, FilledRectangleMatchesItsClippedBox) {
  struct Box {
    int64_t l, t, r, b;
  };
  struct Case {
    int l, t, r, b;
    std::optional<Box> box;
  } const cases[] = {
      {5, 5, 50, 50, Box{5, 5, 10, 8}},
      {0, 0, 11, 9, Box{0, 0, 10, 8}},
      {0, 0, 10, 8, Box{0, 0, 10, 8}},
      {-1, -1, 50, 50, std::nullopt},
      {4, 4, 4, 4, Box{4, 4, 4, 4}},
      {4, 4, 5, 5, Box{4, 4, 5, 5}},
      {11, 3, 11, 6, std::nullopt},
      {2, 9, 6, 9, std::nullopt},
      {-5, -3, -1, 4, std::nullopt},
      {3, 2, 3, 8, Box{3, 2, 3, 8}},    // one column
      {2, 4, 8, 4, Box{2, 4, 8, 4}},    // one row: the row below still takes the fill
      {8, 2, 3, 6, Box{8, 2, 3, 6}},    // swapped columns: only the sides
      {50, 2, 3, 6, Box{50, 2, 3, 6}},  // a left edge far outside is not clipped
      {2, 50, 6, 3, Box{2, 50, 6, 3}},  // nor a top edge
      {INT_MAX, 1, 3, 6, Box{INT_MAX, 1, 3, 6}},
      {INT_MIN, INT_MIN, INT_MAX, 5, Box{0, 0, 10, 5}},
  };
  ColorValue edge(kStroke), fill(kFill);
  for (const Case &c : cases) {
    SCOPED_TRACE(testing::Message() << c.l << "," << c.t << "," << c.r << "," << c.b);
    ImgPtr<CImg32> image = Page32(12, 10);
    image->DrawFilledRectangle(c.l, c.t, c.r, c.b, edge, fill);
    std::vector<std::string> want(10, std::string(12, '.'));
    const auto put = [&](int64_t y, int64_t x, char ink) {
      if (y >= 0 && y < 10 && x >= 0 && x < 12) {
        want[y][x] = ink;
      }
    };
    if (const auto &k = c.box) {
      for (int64_t y = k->t + 1; y == k->t + 1 || y < k->b; ++y) {
        for (int64_t x = k->l + 1; x < k->r; ++x) {
          put(y, x, 'F');
        }
      }
      for (int64_t x = k->l; x <= k->r; ++x) {
        put(k->t, x, 'S');
        put(k->b, x, 'S');
      }
      for (int64_t y = k->t + 1; y < k->b; ++y) {
        put(y, k->l, 'S');
        put(y, k->r, 'S');
      }
    }
    ExpectPicture(*image, 0, 0, want);
  }
}

// The walk against a model built from the outline alone: every row of the image is
// filled strictly between the outline points nearest the centre on either side
// (points off the image count), and rows without one on a side fill to the edge.
// Centres lie inside, on and beyond every edge of a 64 x 48 page.
TEST(DrawTest, CircleWalkMatchesTheOutlineModel) {
  const ColorValue stroke(kStroke), fill(kFill);
  constexpr int kW = 64, kH = 48;
  for (int radius = 3; radius <= 200; radius += radius == 3 ? 2 : 1) {
    // The outline by the walk's rule: the error grows by u and gives up v - 1.
    std::set<std::pair<int, int>> octant;
    for (int u = 0, v = radius, e = 0;;) {
      octant.insert({u, v});
      if (v <= u) {
        break;
      }
      e += ++u;
      if (e >= v - 1) {
        e -= v - 1;
        --v;
      }
    }
    for (const int cx : {-25, 0, 30, kW - 1, kW + 20}) {
      for (const int cy : {-30, 0, 20, kH - 1, kH + 25}) {
        SCOPED_TRACE(testing::Message() << "radius " << radius << " at " << cx << "," << cy);
        std::set<std::pair<int, int>> outline;  // (row, column)
        for (const auto &[u, v] : octant) {
          for (const int a : {-u, u}) {
            for (const int b : {-v, v}) {
              outline.insert({cy + b, cx + a});
              outline.insert({cy + a, cx + b});
            }
          }
        }
        std::map<int, std::pair<int, int>> span;  // row: nearest left, nearest right
        for (const auto &[row, col] : outline) {
          auto &s = span.try_emplace(row, INT_MIN, INT_MAX).first->second;
          if (col == cx) {
            s = {col, col};
          } else if (col < cx) {
            s.first = std::max(s.first, col);
          } else {
            s.second = std::min(s.second, col);
          }
        }
        ImgPtr<CImg32> image = Page32(kW, kH);
        image->drawCircle(cx, cy, radius, &stroke, &fill);
        for (int y = 0; y < kH; ++y) {
          for (int x = 0; x < kW; ++x) {
            const auto s = span.find(y);
            const bool inside = s != span.end() && x > s->second.first && x < s->second.second;
            const uint32_t want = outline.count({y, x}) != 0 ? kStroke : inside ? kFill : kPage;
            ASSERT_EQ((*image)(y, x), want) << "at " << x << "," << y;
            // Every outline pixel lies within a pixel of the true circle.
            if (want == kStroke && radius >= 5) {
              ASSERT_LT(std::fabs(std::hypot(x - cx, y - cy) - radius), 1.0);
            }
          }
        }
      }
    }
  }
}

// Bilevel lines in every octant, both ways round, against a closed form of the two
// rules: a steep line's column after k rows is ceil((k dx - floor(|dy| / 2)) / |dy|),
// a shallow line's row after k columns ceil((2 k |dy| - dx) / 2 dx), neither below 0.
TEST(DrawTest, BilevelLinesMatchTheClosedForm) {
  const auto ceilDiv = [](int64_t a, int64_t b) { return a >= 0 ? (a + b - 1) / b : -(-a / b); };
  const int_pt_t ends[] = {{35, 26}, {26, 35}, {14, 35}, {5, 26},  {5, 14},  {14, 5},
                           {26, 5},  {35, 14}, {20, 35}, {35, 20}, {20, 20}, {21, 23}};
  for (const int_pt_t end : ends) {
    for (const bool reversed : {false, true}) {
      SCOPED_TRACE(testing::Message() << end.x << "," << end.y << (reversed ? " reversed" : ""));
      ImgPtr<CImg1> image(CImg1::create(40, 40, 0, 1, IMG_ALIGN_32));
      int_pt_t from = {20, 20}, to = end;
      if (reversed) {
        std::swap(from, to);
      }
      image->drawLines(&from, &to, false);
      const int_pt_t s = from.x < to.x ? from : to, e = from.x < to.x ? to : from;
      const int64_t dx = e.x - s.x, dy = e.y - s.y, ady = std::abs(dy), sy = dy < 0 ? -1 : 1;
      std::set<std::pair<int64_t, int64_t>> want;  // (x, y)
      for (int64_t k = 0; k <= std::max(dx, ady); ++k) {
        if (dx <= ady) {
          want.insert({s.x + std::max<int64_t>(0, ady == 0 ? 0 : ceilDiv(k * dx - ady / 2, ady)),
                       s.y + sy * k});
        } else {
          want.insert(
              {s.x + k, s.y + sy * std::max<int64_t>(0, ceilDiv(2 * k * ady - dx, 2 * dx))});
        }
      }
      for (unsigned y = 0; y < 40; ++y) {
        for (unsigned x = 0; x < 40; ++x) {
          ASSERT_EQ(c2d_test::BitAt(*image, x, y), want.count({x, y}) != 0) << x << "," << y;
        }
      }
    }
  }
}

TEST(DrawTest, BilevelPixelsAndPlotsOutsideTheBuffer) {
  ImgPtr<CImg1> image(CImg1::create(16, 4, 0, 1, IMG_ALIGN_NONE));
  image->drawPixel(3, 2, 7);
  EXPECT_TRUE(c2d_test::BitAt(*image, 3, 2));
  image->drawPixel(3, 2, 0);
  image->drawPixel(16, 0, 1);  // past the right edge: refused
  // Steep halving in integers: from (0,0) to (1,3) the second column starts on row 2.
  int_pt_t a = {0, 0}, b = {1, 3};
  image->drawLines(&a, &b, false);
  EXPECT_EQ(c2d_test::BufferOf(*image),
            (std::vector<unsigned char>{0x80, 0, 0x80, 0, 0x40, 0, 0x40, 0}));
  // Clearing from before the buffer to past it: only the bits inside change, row
  // 1's columns 16 and 17 landing in row 2 as the buffer lies.
  int_pt_t far0 = {-40, -9}, far1 = {60, 9};
  image->drawLines(&far0, &far1, true);
  int_pt_t up0 = {2, -50}, up1 = {2, -3};
  image->drawLines(&up0, &up1, false);
  EXPECT_EQ(c2d_test::BufferOf(*image),
            (std::vector<unsigned char>{0x80, 0, 0x80, 0, 0, 0, 0x40, 0}));
  image->drawLines(nullptr, &b, false);  // no point: nothing
  // A bare image has no buffer: plots are dropped.
  ImgPtr<CImg1> bare(CImg1::create());
  bare->drawLines(&a, &b, false);
  bare->drawPixel(0, 0, 1);
  EXPECT_EQ(bare->peekData(), nullptr);
}

TEST(DrawTest, SpanTableGrowsInStepsAndRefusalsKeepTheImage) {
  Core2DImage::FillTab table;
  const unsigned steps[][2] = {{1, 256},     {255, 256},   {256, 256},   {600, 1024},
                               {2047, 2048}, {4095, 4096}, {4096, 4096}, {5000, 5000}};
  for (const auto &step : steps) {
    EXPECT_TRUE(table.reserve(step[0]));
    EXPECT_EQ(table.capacity, step[1]) << step[0];
  }
  const int32_t *left = table.leftEdge;
  {
    c2d_test::FailTables fail(1);  // the second array cannot be had
    EXPECT_FALSE(table.reserve(6000));
  }
  EXPECT_EQ(table.capacity, 5000u);
  EXPECT_EQ(table.leftEdge, left);
  EXPECT_EQ(Open32::fillTab(10), Open32::fillTab(300));  // one table for the class

  // Refusals: a table that cannot grow, a negative radius, a box beyond 32 bits. The
  // pixels exist afterwards and hold the page.
  const ColorValue stroke(kStroke), fill(kFill);
  const struct {
    int x, y, radius;
  } refused[] = {
      {5, 5, 60000}, {5, 5, -3}, {INT_MAX - 2, 5, 10}, {5, INT_MIN + 1, 7}, {0, 0, INT_MAX}};
  for (const auto &c : refused) {
    SCOPED_TRACE(c.radius);
    ImgPtr<CImg32> image(CImg32::create(12, 10, RGB_ORDER_BGR));
    image->setBackgroundColor(kPage);
    c2d_test::FailTables fail(0);
    image->drawCircle(c.x, c.y, c.radius, &stroke, &fill);
    EXPECT_EQ(c2d_test::FailTables::failed(), c.radius == 60000);
    EXPECT_TRUE(image->hasData());
    ExpectPicture(*image, 0, 0, {});
  }
}

// Which class draws what. 'D' draws, 'I' only makes the pixels exist, 'N' does
// nothing; the columns are CImg1, CImg1G4, CImg8 and CImg32.
TEST(DrawTest, EachClassKeepsItsSlots) {
  ColorValue stroke(kStroke), fill(kFill);
  int_pt_t from = {1, 1}, to = {10, 12};
  const std::function<IImg *()> makers[] = {
      [] { return CImg1::create(16, 16, 0, 1, IMG_ALIGN_NONE); },
      [] { return CImg1G4::create(16, 16, 16, 16, 0, 1, IMG_ALIGN_NONE); },
      [] {
        CImg8 *image = CImg8::create(16, 16, nullptr, IMG_ALIGN_NONE);
        image->setBackgroundColor(7);
        return image;
      },
      [] {
        CImg32 *image = CImg32::create(16, 16, RGB_ORDER_BGR);
        image->setBackgroundColor(kPage);
        return image;
      },
  };
  const struct {
    const char *name;
    const char *outcome;
    std::function<void(IImg &)> draw;
  } slots[] = {
      {"drawPixel", "DNID", [](IImg &i) { i.drawPixel(3, 3, 1); }},
      {"drawLines", "DNII", [&](IImg &i) { i.drawLines(&from, &to, false); }},
      {"drawCircle", "NNID", [&](IImg &i) { i.drawCircle(8, 8, 5, &stroke, &fill); }},
      {"DrawFilledRectangle", "NNID",
       [&](IImg &i) { i.DrawFilledRectangle(2, 2, 9, 9, stroke, fill); }},
      {"drawArc", "NNII", [](IImg &i) { i.drawArc(); }},
      {"drawElipse", "NNII", [](IImg &i) { i.drawElipse(); }},
      {"drawPolyLine", "NNII", [](IImg &i) { i.drawPolyLine(); }},
      {"drawPolygon", "NNII", [](IImg &i) { i.drawPolygon(); }},
      {"drawSpline", "NNII", [](IImg &i) { i.drawSpline(); }},
  };
  // The pixel bytes of an image that has them (reading them allocates).
  const auto pixels = [](IImg &image) {
    std::vector<unsigned char> bytes;
    if (auto *c1 = dynamic_cast<CImg1 *>(&image)) {
      bytes = c2d_test::BufferOf(*c1);
    } else if (auto *c8 = dynamic_cast<CImg8 *>(&image)) {
      bytes = c2d_test::BufferOf(*c8);
    } else if (auto *c32 = dynamic_cast<CImg32 *>(&image)) {
      const std::vector<unsigned> words = c2d_test::BufferOf(*c32);
      const auto *p = reinterpret_cast<const unsigned char *>(words.data());
      bytes.assign(p, p + words.size() * sizeof(unsigned));
    }
    return bytes;
  };
  for (const auto &slot : slots) {
    for (int k = 0; k < 4; ++k) {
      SCOPED_TRACE(testing::Message() << slot.name << " of class " << k);
      ImgPtr<IImg> image(makers[k]()), fresh(makers[k]());
      const bool had = image->hasData();
      slot.draw(*image);
      const char outcome = slot.outcome[k];
      EXPECT_EQ(image->hasData(), outcome == 'N' ? had : true);
      if (image->hasData()) {
        (void)fresh->forceDataInit();
        EXPECT_EQ(pixels(*image) != pixels(*fresh), outcome == 'D');
      }
    }
  }
}

}  // namespace
