// Mirrors and rotations of the raster classes against a per-pixel model with its own shears.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <vector>

#include "Image/Core2DImage.h"
#include "ImgTestSupport.h"

namespace {

using namespace c2d_test;

// Pixels as plain values, row 0 on top.
struct Plane {
  uint32_t w, h;
  std::vector<uint32_t> px;
  Plane(uint32_t width, uint32_t height, uint32_t fill = 0)
      : w(width), h(height), px(size_t{width} * height, fill) {}
  uint32_t &at(uint32_t r, uint32_t c) { return px[size_t{r} * w + c]; }
  uint32_t at(uint32_t r, uint32_t c) const { return px[size_t{r} * w + c]; }
  bool operator==(const Plane &o) const { return w == o.w && h == o.h && px == o.px; }
};

// ---- The model places each source pixel, the other way round from the library.

enum Exact { kMirX, kMirY, kRot90, kRot180, kRot270 };

Plane Model(const Plane &s, Exact how) {
  const bool quarter = how == kRot90 || how == kRot270;
  Plane t(quarter ? s.h : s.w, quarter ? s.w : s.h);
  for (uint32_t y = 0; y < s.h; ++y) {
    for (uint32_t x = 0; x < s.w; ++x) {
      const uint32_t ry = s.h - 1 - y, rx = s.w - 1 - x;
      // A quarter turn takes the top-right corner to the top-left.
      uint32_t &to = how == kMirX     ? t.at(ry, x)
                     : how == kMirY   ? t.at(y, rx)
                     : how == kRot180 ? t.at(ry, rx)
                     : how == kRot90  ? t.at(rx, y)
                                      : t.at(x, ry);
      to = s.at(y, x);
    }
  }
  return t;
}

// n entries: of m = |amount| (at least 1) marks over n positions, i * m / n fall in 1..i.
std::vector<int64_t> ModelTable(double amount, uint32_t n, bool descendingIfPositive) {
  const int64_t a = static_cast<int64_t>(amount), m = a == 0 ? 1 : std::llabs(a), half = m / 2;
  const bool descending = (a >= 0) == descendingIfPositive;
  std::vector<int64_t> table(n, -half);
  for (uint32_t i = 1; i < n; ++i) {
    const int64_t count = m >= n ? i : i * m / n;
    table[i] = descending ? half - count : count - half;
  }
  return table;
}

// Past its end a table is read as its last entry.
int64_t Entry(const std::vector<int64_t> &t, uint32_t i) {
  return t[std::min<size_t>(i, t.size() - 1)];
}

Plane ModelShear(const Plane &s, const std::vector<int64_t> &table, bool alongX, uint32_t fill) {
  Plane t(s.w, s.h, fill);
  for (uint32_t r = 0; r < s.h; ++r) {
    for (uint32_t c = 0; c < s.w; ++c) {
      const int64_t tr = alongX ? r : r - Entry(table, c);
      const int64_t tc = alongX ? c + Entry(table, s.h - 1 - r) : c;
      if (tr >= 0 && tr < s.h && tc >= 0 && tc < s.w) {
        t.at(static_cast<uint32_t>(tr), static_cast<uint32_t>(tc)) = s.at(r, c);
      }
    }
  }
  return t;
}

Plane ModelRotate(const Plane &s, double degrees, uint32_t fill) {
  Plane base = s;
  if (degrees > 270.0) {
    degrees -= 360.0;
  } else if (degrees > 90.0) {
    base = Model(s, kRot180);
    degrees -= 180.0;
  }
  const double rad = degrees * 3.141592653589793 / 180.0;  // as the library converts
  const auto x = ModelTable(s.h * std::tan(rad * 0.5), s.w, true);
  const auto y = ModelTable(s.w * std::sin(rad), s.h, false);
  return ModelShear(ModelShear(ModelShear(base, x, true, fill), y, false, fill), x, true, fill);
}

// ---- The three classes behind one face.

// Pixel (r, c), pad bits of a CImg1 included, after writing *v there if given.
uint32_t Access(IImg &image, uint32_t r, uint32_t c, const uint32_t *v = nullptr) {
  if (auto *bits = dynamic_cast<CImg1 *>(&image)) {
    if (v != nullptr) {
      PutBit(*bits, c, r, *v != 0);
    }
    return BitAt(*bits, c, r);
  }
  if (auto *bytes = dynamic_cast<CImg8 *>(&image)) {
    unsigned char &pixel = bytes->peekDataArray()[r][c];
    pixel = v != nullptr ? static_cast<unsigned char>(*v) : pixel;
    return pixel;
  }
  unsigned &pixel = dynamic_cast<CImg32 &>(image).peekDataArray()[r][c];
  pixel = v != nullptr ? *v : pixel;
  return pixel;
}

// Sources get the kind's background: uncovered pixels take it, except in CImg1.
template <typename Raster>
IImg *WithBackground(Raster *image, uint32_t background) {
  image->setBackgroundColor(background);
  return image;
}

struct Kind {
  const char *name;
  uint32_t mask;  // the bits a pixel holds
  uint32_t background;
  IImg *(*create)(uint32_t w, uint32_t h, ImgAlignmentEnum align);
};

// clang-format off
const Kind kKinds[] = {
    {"CImg1", 1u, 1u, [](uint32_t w, uint32_t h, ImgAlignmentEnum a) { return WithBackground(CImg1::create(w, h, 0xFFFFFFu, 0xFF000000u, a), 1u); }},
    {"CImg8", 0xFFu, 0x5Au, [](uint32_t w, uint32_t h, ImgAlignmentEnum a) { return WithBackground(CImg8::create(w, h, nullptr, a), 0x5Au); }},
    // clone keeps this order
    {"CImg32", 0xFFFFFFFFu, 0x5A5A5Au, [](uint32_t w, uint32_t h, ImgAlignmentEnum) { return WithBackground(CImg32::create(w, h, RGB_ORDER_RGB), 0x5A5A5Au); }}};
// clang-format on

// The columns of a row, pad bits included.
uint32_t Columns(IImg &image) {
  return dynamic_cast<CImg1 *>(&image) != nullptr ? image.getBytesPerLine() * 8 : image.getWidth();
}

// With setPads a CImg1's pad bits are set, so that a result that copied them shows it.
ImgPtr<IImg> Make(const Kind &kind, const Plane &p, ImgAlignmentEnum align = IMG_ALIGN_NONE,
                  bool setPads = false) {
  ImgPtr<IImg> image(kind.create(p.w, p.h, align));
  for (uint32_t r = 0; r < p.h; ++r) {
    for (uint32_t c = 0; c < Columns(*image); ++c) {
      const uint32_t v = c < p.w ? p.at(r, c) : setPads;
      Access(*image, r, c, &v);
    }
  }
  return image;
}

// The pixels; with padsClear, every pad bit of a CImg1 must be clear.
Plane Read(IImg &image, bool padsClear = true) {
  Plane p(image.getWidth(), image.getHeight());
  for (uint32_t r = 0; r < p.h; ++r) {
    for (uint32_t c = 0; c < Columns(image); ++c) {
      if (c < p.w) {
        p.at(r, c) = Access(image, r, c);
      } else if (padsClear) {
        EXPECT_EQ(Access(image, r, c), 0u) << "pad bit " << c << " of row " << r;
      }
    }
  }
  return p;
}

Plane Random(uint32_t w, uint32_t h, uint32_t mask, uint32_t seed) {
  std::mt19937 rng(seed);
  Plane p(w, h);
  for (auto &v : p.px) {
    v = rng() & mask;
  }
  return p;
}

// Each mirror, and each angle by the worker it snaps to; the quarter turn is counter-clockwise.
TEST(TransformTest, EveryPathMatchesTheModel) {
  Plane turn(3, 2);
  turn.px = {1, 2, 3, 4, 5, 6};
  EXPECT_EQ(Model(turn, kRot90).px, (std::vector<uint32_t>{3, 6, 2, 5, 1, 4}));
  enum { kClone = -1, kShears = 9, kAllUncovered = 10 };
  const struct {
    ImgMirT axis;  // IMG_MIR_NONE: rotate by degrees
    double degrees;
    int path;
  } cases[] = {{IMG_MIR_X, 0, kMirX},           {IMG_MIR_Y, 0, kMirY},
               {IMG_MIR_NONE, 0.0005, kClone},  {IMG_MIR_NONE, 90.0005, kRot90},
               {IMG_MIR_NONE, 89.9995, kRot90}, {IMG_MIR_NONE, 450.0, kRot90},
               {IMG_MIR_NONE, 180.0, kRot180},  {IMG_MIR_NONE, 270.0004, kRot270},
               {IMG_MIR_NONE, 0.002, kShears},  {IMG_MIR_NONE, -0.0005, kShears},
               {IMG_MIR_NONE, -90.0, kShears},  {IMG_MIR_NONE, 360.0, kShears},
               {IMG_MIR_NONE, 30.0, kShears},   {IMG_MIR_NONE, 45.0, kShears},
               {IMG_MIR_NONE, 135.0, kShears},  {IMG_MIR_NONE, 200.0, kShears},
               {IMG_MIR_NONE, 300.0, kShears},  {IMG_MIR_NONE, std::nan(""), kAllUncovered}};
  // 9 wide has pad bits; 5 x 23 and 17 x 5 read tables past their end.
  const uint32_t sizes[][2] = {{1, 1}, {3, 2}, {9, 4}, {8, 8}, {17, 5}, {5, 23}, {31, 31}};
  for (const Kind &kind : kKinds) {
    const uint32_t fill = kind.mask == 1 ? 0u : kind.background;
    for (const auto &size : sizes) {
      const Plane plane = Random(size[0], size[1], kind.mask, size[0] * 131 + size[1]);
      for (const ImgAlignmentEnum align : {IMG_ALIGN_NONE, IMG_ALIGN_32}) {
        ImgPtr<IImg> image = Make(kind, plane, align, true);
        for (const auto &c : cases) {
          SCOPED_TRACE(testing::Message()
                       << kind.name << " " << plane.w << "x" << plane.h << " align " << align
                       << ": axis " << c.axis << ", " << c.degrees << " degrees");
          ErrWatch watch;
          ImgPtr<IImg> result(c.axis != IMG_MIR_NONE ? image->mirror(c.axis)
                                                     : image->rotate(c.degrees));
          if (c.path == kClone) {
            // The clone of a CImg8 with pixels fails, as clone does.
            ImgPtr<IImg> clone(image->clone());
            ASSERT_EQ(result == nullptr, clone == nullptr);
            if (clone != nullptr) {
              EXPECT_EQ(Read(*result, false), Read(*clone, false));
            }
            continue;
          }
          ASSERT_NE(result, nullptr);
          const Plane got = Read(*result);
          EXPECT_EQ(got, c.path == kAllUncovered ? Plane(plane.w, plane.h, fill)
                         : c.path == kShears     ? ModelRotate(plane, c.degrees, fill)
                                                 : Model(plane, static_cast<Exact>(c.path)));
          // The shears mark the background known; CImg8's exact workers do not carry it.
          const bool carried = c.path >= kShears || kind.mask != 0xFFu;
          EXPECT_EQ(result->getBackgroundState(), carried ? IMG_BG_KNOWN : IMG_BG_UNKNOWN);
          EXPECT_EQ(result->getBackgroundColor(), carried ? kind.background : 0u);
          EXPECT_EQ(watch.reports(), 0u);
          EXPECT_TRUE(c.degrees != 360.0 || got == plane);
          if (c.degrees == 45.0 && plane.w == 31) {
            // The last row takes the first entry, -half, and so covers the fourth corner.
            EXPECT_EQ(std::vector<uint32_t>({got.at(0, 0), got.at(0, 30), got.at(30, 30)}),
                      std::vector<uint32_t>(3, fill));
            EXPECT_TRUE(kind.mask != 0xFFFFFFFFu || got.at(30, 0) != fill);
          }
        }
      }
    }
  }
}

// What the buffer does not hold reads as 0; CImg1's flips step rows as the source does.
TEST(TransformTest, ChangedExtentsAndMissingPixels) {
  Plane two(2, 2), expected(2, 3);
  two.px = {1, 2, 3, 4};
  expected.px = {0, 0, 3, 4, 1, 2};
  ImgPtr<IImg> grown = Make(kKinds[2], two);
  dynamic_cast<CImg32 &>(*grown).setExtents(2, 3);
  ImgPtr<IImg> flipped(grown->mirror(IMG_MIR_X));
  EXPECT_EQ(Read(*flipped), expected);
  grown->mirrorThis(IMG_MIR_X);  // pairs row 0 with row 2, which is not there
  dynamic_cast<CImg32 &>(*grown).setExtents(2, 2);
  EXPECT_EQ(Read(*grown), two);

  // A CImg1 widened from 9 to 10 keeps its 7 pad bits: rows lie 17 bits apart both ways.
  ImgPtr<IImg> wide = Make(kKinds[0], Random(9, 4, 1, 9));
  dynamic_cast<CImg1 &>(*wide).setExtents(10, 4);
  ImgPtr<IImg> flippedBits(wide->mirror(IMG_MIR_X));
  for (uint32_t r = 0; r < 4; ++r) {
    for (uint32_t c = 0; c < 10; ++c) {
      const uint32_t to = r * 17 + c, from = (3 - r) * 17 + c;
      EXPECT_EQ(Access(*flippedBits, to / 16, to % 16), Access(*wide, from / 16, from % 16));
    }
  }

  // A colour image without pixels is refused; a CImg1 without them reads as clear.
  ImgPtr<IImg> lazy(kKinds[1].create(4, 4, IMG_ALIGN_NONE));
  EXPECT_EQ(lazy->rotate(90.0), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  ImgPtr<IImg> bits = Make(kKinds[0], Random(9, 5, 1, 3));
  std::free(dynamic_cast<CImg1 &>(*bits).ownData());
  for (const double degrees : {90.0, 180.0, 30.0}) {
    ImgPtr<IImg> result(bits->rotate(degrees));
    EXPECT_EQ(Read(*result), Plane(result->getWidth(), result->getHeight()));
  }
}

}  // namespace
