// RasterOp::Over and composite: the six blends and their cut-toward-zero
// arithmetic, the 24-bit key, placement with offsets, the type matrix with its
// checked casts, and the settings that composite leaves behind.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <vector>

#include "Image/Core2DImage.h"
#include "Image/g4/CImg1G4.h"
#include "ImgTestSupport.h"

namespace {

using c2d_test::ErrWatch;
using c2d_test::ImgPtr;

struct Px {
  unsigned char c[4];
};

unsigned Word(Px p) {
  unsigned w;
  std::memcpy(&w, p.c, 4);  // channels in memory order, whatever the byte order
  return w;
}

ImgPtr<CImg32> Image32(unsigned w, unsigned h, const std::vector<unsigned> &pixels) {
  std::vector<unsigned> copy = pixels;
  return ImgPtr<CImg32>(
      CImg32::create(w, h, copy.data(), static_cast<unsigned>(copy.size() * 4), RGB_ORDER_BGR));
}

ImgPtr<CImg32> Flat32(unsigned w, unsigned h, unsigned pixel) {
  return Image32(w, h, std::vector<unsigned>(size_t(w) * h, pixel));
}

std::vector<unsigned> Pixels(CImg32 &image) {
  const unsigned *p = image.peekData();
  return std::vector<unsigned>(p, p + size_t(image.getWidth()) * image.getHeight());
}

// A raster of one class that claims another type.
struct Impostor : CImg1 {
  explicit Impostor(ImageType claimed) {
    initHeader(4, 2, 4, 2, 0, 1, IMG_ALIGN_NONE);
    (void)initData();
    type = claimed;
  }
};

// The image's own RasterOp, which composite fills.
struct Peek : CImg32 {
  static const RasterOp &Of(const CImg32 &image) { return *(image.*(&Peek::rasterOp)); }
};

// The public entry: the typed overloads are private, so the images go in as IImg.
ImgErr Over(RasterOp &op, IImg &destination, const IImg &source) {
  return op.Over(destination, source);
}

RasterOp Settings(bool useAlpha, double alpha, bool keyed = false, unsigned key = 0) {
  RasterOp op;
  op.UseAlpha(useAlpha);
  op.SetAlpha(alpha);
  op.UseTransparentColor(keyed);
  op.SetTransparentColor(key);
  return op;
}

// Each row: the settings, one source and one destination pixel (channels in memory
// order), and what becomes of the destination. The images are 2 x 2 of them.
TEST(RasterOpTest, SixBlendsCutTowardZero) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  // clang-format off
  const struct {
    const char *name;
    bool useAlpha;
    double alpha;
    bool keyed;
    Px key, src, dst, result;
  } cases[] = {
      {"opaque copies alpha too", true, 1.0, false, {}, {10, 20, 30, 40}, {1, 2, 3, 4}, {10, 20, 30, 40}},
      {"above 1 is opaque", true, 7.0, false, {}, {10, 20, 30, 40}, {1, 2, 3, 4}, {10, 20, 30, 40}},
      {"opaque, keyed on 24 bits", true, 1.0, true, {10, 20, 30, 99}, {10, 20, 30, 40}, {1, 2, 3, 4}, {1, 2, 3, 4}},
      {"opaque, key differs", true, 1.0, true, {10, 20, 31, 40}, {10, 20, 30, 40}, {1, 2, 3, 4}, {10, 20, 30, 40}},
      {"0.999 blends, keeps alpha", true, 0.999, false, {}, {200, 10, 255, 7}, {100, 250, 0, 9}, {199, 10, 254, 9}},
      {"equal channels drop by one", true, 0.3, false, {}, {3, 3, 3, 0}, {3, 3, 3, 50}, {2, 2, 2, 50}},
      {"constant, keyed", true, 0.5, true, {3, 3, 3, 0}, {3, 3, 3, 200}, {9, 9, 9, 9}, {9, 9, 9, 9}},
      {"constant, not keyed", true, 0.5, true, {3, 3, 4, 0}, {200, 200, 200, 0}, {100, 100, 100, 1}, {150, 150, 150, 1}},
      {"NaN passes and gives 0", true, nan, false, {}, {200, 10, 255, 7}, {100, 250, 0, 9}, {0, 0, 0, 9}},
      {"source alpha 255", false, 0.0, false, {}, {200, 100, 50, 255}, {1, 2, 3, 4}, {200, 100, 50, 4}},
      {"source alpha 0", false, 0.0, false, {}, {200, 100, 50, 0}, {1, 2, 3, 4}, {1, 2, 3, 4}},
      {"alpha divided by 255", false, 0.0, false, {}, {85, 170, 255, 33}, {0, 0, 0, 0}, {11, 22, 33, 0}},
      {"per pixel, equal channels", false, 0.0, false, {}, {3, 3, 3, 5}, {3, 3, 3, 5}, {2, 2, 2, 5}},
      {"per pixel, keyed", false, 0.0, true, {85, 170, 255, 0}, {85, 170, 255, 33}, {1, 2, 3, 4}, {1, 2, 3, 4}},
  };
  // clang-format on
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    ImgPtr<CImg32> dst = Flat32(2, 2, Word(c.dst));
    ImgPtr<CImg32> src = Flat32(2, 2, Word(c.src));
    RasterOp op = Settings(c.useAlpha, c.alpha, c.keyed, Word(c.key));
    ErrWatch watch;
    ASSERT_EQ(Over(op, *dst, *src), IMG_OK);
    EXPECT_EQ(watch.reports(), 0u);
    EXPECT_EQ(Pixels(*dst), std::vector<unsigned>(4, Word(c.result)));
  }
  // A constant alpha at or below 0 stops before anything, even a missing source.
  for (double alpha : {0.0, -1.0}) {
    ImgPtr<CImg32> dst = Flat32(2, 2, 5);
    ImgPtr<CImg32> lazy(CImg32::create(2, 2, RGB_ORDER_BGR));
    RasterOp op = Settings(true, alpha);
    ErrWatch watch;
    EXPECT_EQ(Over(op, *dst, *lazy), IMG_FALSE);
    EXPECT_EQ(watch.reports(), 0u);
    EXPECT_EQ(Pixels(*dst), std::vector<unsigned>(4, 5u));
  }
}

// A 4 x 3 destination of pixel values 0..11, a source of 100 + its index, copied
// opaquely at each offset: which destination pixels change, and to what.
TEST(RasterOpTest, OffsetsPlaceTheOverlap) {
  const struct {
    const char *name;
    int left, top;
    unsigned w, h;
    ImgErr code;
    std::vector<unsigned> result;
  } cases[] = {
      {"inside", 1, 1, 2, 2, IMG_OK, {0, 1, 2, 3, 4, 100, 101, 7, 8, 102, 103, 11}},
      {"negative offsets", -1, -1, 3, 3, IMG_OK, {104, 105, 2, 3, 107, 108, 6, 7, 8, 9, 10, 11}},
      {"one row", 0, 2, 4, 2, IMG_OK, {0, 1, 2, 3, 4, 5, 6, 7, 100, 101, 102, 103}},
      {"one column", 3, -1, 2, 3, IMG_OK, {0, 1, 2, 102, 4, 5, 6, 104, 8, 9, 10, 11}},
      {"a corner pixel", -1, -1, 2, 2, IMG_OK, {103, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}},
      {"one pixel right of the edge", 4, 0, 2, 2, IMG_FAIL, {}},
      {"one pixel below the edge", 0, 3, 2, 2, IMG_FAIL, {}},
      {"one pixel left of the edge", -2, 0, 2, 2, IMG_FAIL, {}},
      {"lowest offset", std::numeric_limits<int>::min(), 0, 2, 2, IMG_FAIL, {}},
      {"offset that wraps", std::numeric_limits<int>::max(), 0, 2, 2, IMG_FAIL, {}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    std::vector<unsigned> base(12), srcPixels(size_t(c.w) * c.h);
    for (unsigned i = 0; i < 12; ++i) {
      base[i] = i;
    }
    for (unsigned i = 0; i < srcPixels.size(); ++i) {
      srcPixels[i] = 100 + i;
    }
    ImgPtr<CImg32> dst = Image32(4, 3, base);
    ImgPtr<CImg32> src = Image32(c.w, c.h, srcPixels);
    RasterOp op = Settings(true, 1.0);
    op.SetTopOffset(c.top, c.left);
    EXPECT_EQ(Over(op, *dst, *src), c.code);
    EXPECT_EQ(Pixels(*dst), c.code == IMG_OK ? c.result : base);
  }
}

TEST(RasterOpTest, DataIsCheckedAndMadeFirst) {
  // A destination without pixels gets them, with its background, before the blend.
  ImgPtr<CImg32> lazy(CImg32::create(2, 2, RGB_ORDER_BGR));
  lazy->setBackgroundColor(Word({10, 10, 10, 10}));
  ImgPtr<CImg32> src = Flat32(2, 2, Word({30, 30, 30, 0}));
  RasterOp half = Settings(true, 0.5);
  EXPECT_EQ(Over(half, *lazy, *src), IMG_OK);
  EXPECT_EQ(Pixels(*lazy), std::vector<unsigned>(4, Word({20, 20, 20, 10})));

  // A source without pixels: IMG_FALSE, recorded, and the destination stays lazy.
  ImgPtr<CImg32> empty(CImg32::create(2, 2, RGB_ORDER_BGR));
  ImgPtr<CImg32> target(CImg32::create(2, 2, RGB_ORDER_BGR));
  ErrWatch watch;
  EXPECT_EQ(Over(half, *target, *empty), IMG_FALSE);
  EXPECT_EQ(watch.reports(), 1u);
  EXPECT_EQ(CImgErr::get(), IMG_FALSE);
  EXPECT_FALSE(target->hasData());
}

// Every pair of raster classes but the two that reach pixels only checks data: with
// no overlap, it answers IMG_OK, or IMG_FALSE for a source without data, and a
// destination without data gains it.
TEST(RasterOpTest, TypeMatrixChecksWhatItDoesNotCompose) {
  std::vector<unsigned char> bytes(8, 0x33);
  const std::function<IImg *()> full[] = {
      [&] { return CImg1::create(8, 4, bytes.data(), 4, 0xFFFFFFu, 0u, IMG_ALIGN_NONE); },
      [] { return CImg1G4::create(8, 4, 8, 4, 0u, 1u, IMG_ALIGN_NONE); },
      [&] { return CImg8::create(4, 2, bytes.data(), 8, nullptr, IMG_ALIGN_NONE); },
      [] { return Flat32(4, 2, 1).release(); }};
  // Without data: a bare G4 image has no tiles; CImg1 always has pixels.
  const std::function<IImg *()> empty[] = {
      nullptr, [] { return CImg1G4::create(); },
      [] { return CImg8::create(4, 2, nullptr, IMG_ALIGN_NONE); },
      [] { return CImg32::create(4, 2, RGB_ORDER_BGR); }};
  const char *names[] = {"1", "G4", "8", "32"};
  for (int d = 0; d < 4; ++d) {
    for (int s = 0; s < 4; ++s) {
      SCOPED_TRACE(testing::Message() << names[d] << " over " << names[s]);
      const bool reachesPixels = d == 3 && s >= 2;
      RasterOp op;
      op.SetTopOffset(100, 100);
      ImgPtr<IImg> dst(full[d]()), src(full[s]());
      EXPECT_EQ(Over(op, *dst, *src), reachesPixels ? IMG_FAIL : IMG_OK);
      if (empty[s] != nullptr) {
        ImgPtr<IImg> none(empty[s]());
        EXPECT_EQ(Over(op, *dst, *none), IMG_FALSE);
      }
      if (d >= 2 && !reachesPixels) {
        ImgPtr<IImg> lazy(empty[d]());
        EXPECT_EQ(Over(op, *lazy, *src), IMG_OK);
        EXPECT_TRUE(lazy->hasData());
      }
    }
  }
  // A destination that cannot get data answers what the registry holds: a G4
  // image's initData records nothing.
  ImgPtr<IImg> bare(empty[1]()), src(full[0]());
  CImgErr::set(IMG_DECODE_FAILED, nullptr, 0);
  RasterOp op;
  EXPECT_EQ(Over(op, *bare, *src), IMG_DECODE_FAILED);
}

TEST(RasterOpTest, PaletteSourceIsClippedButNotComposed) {
  std::vector<unsigned char> bytes(8, 0x33);
  ImgPtr<CImg8> palette(CImg8::create(4, 2, bytes.data(), 8, nullptr, IMG_ALIGN_NONE));
  const struct {
    bool useAlpha;
    double alpha;
    int left;
    ImgErr code;
  } cases[] = {{false, 0.0, 0, IMG_OK},   {true, 0.5, 1, IMG_OK},    {true, 1.0, -3, IMG_OK},
               {true, 0.0, 0, IMG_FALSE}, {false, 0.0, 4, IMG_FAIL}, {true, 0.5, -4, IMG_FAIL}};
  for (const auto &c : cases) {
    SCOPED_TRACE(testing::Message() << c.useAlpha << " " << c.alpha << " " << c.left);
    ImgPtr<CImg32> dst = Flat32(4, 2, 7);
    RasterOp op = Settings(c.useAlpha, c.alpha);
    op.SetTopOffset(0, c.left);
    EXPECT_EQ(Over(op, *dst, *palette), c.code);
    EXPECT_EQ(Pixels(*dst), std::vector<unsigned>(8, 7u));
  }
}

TEST(RasterOpTest, ImagesNotOfTheirTypesClassAreRefused) {
  Impostor claims32(IMG_TYPE_32BIT), claims8(IMG_TYPE_8BIT), unknown(static_cast<ImageType>(2));
  ImgPtr<CImg32> real = Flat32(4, 2, 1);
  RasterOp op = Settings(true, 1.0);
  ErrWatch watch;
  EXPECT_EQ(Over(op, *real, claims32), IMG_INVALID_ARG);
  EXPECT_EQ(Over(op, claims32, *real), IMG_INVALID_ARG);
  EXPECT_EQ(Over(op, claims8, *real), IMG_INVALID_ARG);
  EXPECT_EQ(Over(op, *real, unknown), IMG_FAIL);
  EXPECT_EQ(Over(op, unknown, *real), IMG_FAIL);
  EXPECT_EQ(watch.reports(), 0u);
  EXPECT_EQ(Pixels(*real), std::vector<unsigned>(8, 1u));
}

TEST(RasterOpTest, CompositeFillsTheImagesSettingsAndRunsOver) {
  ImgPtr<CImg32> dst = Flat32(3, 3, Word({0, 0, 0, 9}));
  ImgPtr<CImg32> src = Flat32(3, 2, Word({255, 255, 255, 0}));
  CompositeAttr attr;
  attr.top = 1;
  attr.left = -1;
  attr.useAlpha = true;
  attr.alpha = 0.5;
  attr.useTransparentColor = true;
  attr.transparentColor = 0x123456u;
  const RasterOp &kept = Peek::Of(*dst);
  EXPECT_FALSE(kept.m_useAlpha);  // defined before the first composite
  EXPECT_EQ(dst->composite(attr, *src), IMG_OK);
  EXPECT_EQ(kept.Top(), 1);
  EXPECT_EQ(kept.Left(), -1);
  EXPECT_TRUE(kept.m_useAlpha);
  EXPECT_EQ(kept.Alpha(), 0.5);
  EXPECT_TRUE(kept.HasTransparentColor());
  EXPECT_EQ(kept.TransparentColor(), 0x123456u);
  const unsigned half = Word({127, 127, 127, 9}), none = Word({0, 0, 0, 9});
  EXPECT_EQ(Pixels(*dst),
            (std::vector<unsigned>{none, none, none, half, half, none, half, half, none}));

  // A palette image composes nothing and answers IMG_OK once both hold data.
  std::vector<unsigned char> bytes(8, 0x33);
  ImgPtr<CImg8> palette(CImg8::create(4, 2, bytes.data(), 8, nullptr, IMG_ALIGN_NONE));
  EXPECT_EQ(palette->composite(attr, *src), IMG_OK);
  EXPECT_EQ(palette->peekData()[0], 0x33);
  ImgPtr<CImg8> lazy(CImg8::create(4, 2, nullptr, IMG_ALIGN_NONE));
  EXPECT_EQ(lazy->composite(attr, *src), IMG_OK);
  EXPECT_TRUE(lazy->hasData());

  // The classes that do not override composite refuse it.
  ImgPtr<CImg1> bits(CImg1::create(4, 2, 0u, 1u, IMG_ALIGN_NONE));
  EXPECT_EQ(bits->composite(attr, *src), IMG_FAIL);
  ImgPtr<CImg1G4> g4(CImg1G4::create(8, 4, 8, 4, 0u, 1u, IMG_ALIGN_NONE));
  EXPECT_EQ(g4->composite(attr, *src), IMG_FAIL);
}

}  // namespace
