// Raster operators: CImg1's workers against a pixel model, RasterOp::Over and composite,
// and doRasOp of CImg32 and CImg8.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "Image/Core2DImage.h"
#include "Image/g4/CImg1G4.h"
#include "ImgTestSupport.h"

namespace {

using namespace c2d_test;
using namespace Core2DImage::RasOpEnum;
using Bytes = std::vector<unsigned char>;
using Pixels = std::vector<unsigned>;

struct Open : CImg1 {
  using CImg1::rasOpAnd;
  using CImg1::rasOpOr;
  using CImg1::rasOpSet;
  using CImg1::rasOpXOr;
};
using Worker = ImgErr (CImg1::*)(CImg1 *, RasOpXfmAttr &, const CImg1 &);
const Worker kAnd = &Open::rasOpAnd;
const Worker kOr = &Open::rasOpOr;
const Worker kXOr = &Open::rasOpXOr;
const Worker kSet = static_cast<Worker>(&Open::rasOpSet);

ImgPtr<CImg1> Bits(unsigned w, unsigned h, ImgAlignmentEnum align, Bytes bytes) {
  return Make1(w, h, std::move(bytes), align, 0xFFFFFFu, 0u);
}

// The target after the worker, bit by bit from each operator's rules: target bit j (from the
// byte under the source's first pixel) takes source bit k = j - shift of n bytes a row.
Bytes Model(Worker op, Bytes t, const CImg1 &target, const CImg1 &source, int left, int top) {
  const Bytes s = BufferOf(source);
  const uint64_t n = source.getBytesPerLine() - source.getPadBits() / 8;
  const unsigned shift = left & 7;
  const unsigned keep = 8 - source.getPadBits() % 8;  // used bits of the last byte
  for (unsigned y = 0; y < source.getHeight(); ++y) {
    const Bytes before = t;  // the row reads what rows above left
    const uint64_t start = (uint64_t(top) + y) * target.getBytesPerLine() + left / 8;
    const uint64_t srcRow = uint64_t(y) * source.getBytesPerLine() * 8;
    auto src = [&](int64_t k) {
      return k >= 0 && k < int64_t(8 * n) && GetBit(s.data(), srcRow + k);
    };
    auto masked = [&](int64_t k) {
      return src(k) && !(k >= int64_t(8 * (n - 1)) && k % 8 >= keep);
    };
    const uint64_t bytes = n + (shift != 0 && start + n < t.size() ? 1 : 0);
    for (uint64_t j = 0; j < 8 * bytes; ++j) {
      const uint64_t at = start * 8 + j;
      const bool old = GetBit(before.data(), at);
      const uint64_t byte = j / 8;
      const int64_t k = int64_t(j) - shift;
      bool v = old;
      if (shift == 0) {
        v = op == kAnd   ? old && src(k)
            : op == kOr  ? old || src(k)
            : op == kXOr ? old != src(k)
                         : src(k);
      } else if (op == kOr) {
        v = old || masked(k);  // a true OR; the spill too, inside the bitmap
      } else if (byte == n) {
        // The spill: the last source byte's bits, 0 after them.
        if (op == kSet || (source.getWidth() % 8) + shift > 8) {
          v = op == kSet ? masked(k) : src(k);
        }
      } else if (byte == 0) {
        // The first byte: And clears the pixels left of the source; the others keep them.
        const bool sbit = n == 1 && op == kSet ? masked(k) : src(k);
        v = k < 0 ? (op == kAnd ? false : old)
                  : (op == kAnd   ? old && sbit
                     : op == kXOr ? old != sbit
                                  : old || sbit);
      } else {
        // Between: a byte of two neighbouring source bytes. And keeps none of it.
        v = op == kAnd ? false : op == kSet ? masked(k) : src(k);
      }
      SetBit(t.data(), at, v);
    }
  }
  return t;
}

TEST(CImg1RasOpTest, WorkersFollowTheirRulesAtEveryBitOffset) {
  std::mt19937 rng(1234);
  const std::pair<Worker, const char *> ops[] = {
      {kAnd, "and"}, {kOr, "or"}, {kXOr, "xor"}, {kSet, "set"}};
  for (const auto &[op, name] : ops) {
    for (ImgAlignmentEnum align : {IMG_ALIGN_NONE, IMG_ALIGN_32}) {
      // One-byte rows, full and partial last bytes, rows with whole pad bytes.
      for (unsigned w : {5u, 8u, 13u, 16u, 21u, 30u}) {
        for (int left = 0; left < 16; ++left) {
          // A target that ends with the source (the spill lands in the next row), a wider one.
          for (unsigned extra : {0u, 11u}) {
            SCOPED_TRACE(testing::Message() << name << " align " << align << " w " << w << " left "
                                            << left << " extra " << extra);
            ImgPtr<CImg1> source = RandomBits(w, 3, align, rng(), 0xFFFFFFu, 0u);
            ImgPtr<CImg1> target = RandomBits(left + w + extra, 5, align, rng(), 0xFFFFFFu, 0u);
            const int top = 2 - static_cast<int>(extra % 2);  // 2 or 1
            const Bytes expected = Model(op, BufferOf(*target), *target, *source, left, top);
            RasOpXfmAttr attr = At(left, top);
            ASSERT_EQ(((*target).*op)(target.get(), attr, *source), IMG_OK);
            ASSERT_EQ(BufferOf(*target), expected);
          }
        }
      }
    }
  }
}

// Target 0xCC, source 0xAA: and 0x88, xor 0x66, set 0xAA, or (keyed set) 0xEE.
TEST(CImg1RasOpTest, CopyingAndInPlaceTablesDiffer) {
  ImgPtr<CImg1> source = Bits(8, 1, IMG_ALIGN_NONE, {0xAA});
  const struct {
    int op;
    bool keyed;
    unsigned char copied, inPlace;
    bool inPlaceReports;
  } cases[] = {
      {0, false, 0x88, 0xAA, true},  {1, false, 0xAA, 0xAA, true}, {2, false, 0x66, 0xAA, true},
      {3, false, 0xAA, 0xCC, false}, {4, false, 0xAA, 0xAA, true}, {7, false, 0xCC, 0xCC, false},
      {0, true, 0x88, 0xEE, true},   {1, true, 0xEE, 0xEE, true},  {2, true, 0x66, 0xEE, true},
      {3, true, 0xEE, 0xCC, false},  {4, true, 0xEE, 0xEE, true},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(testing::Message() << "op " << c.op << " keyed " << c.keyed);
    ImgPtr<CImg1> image = Bits(8, 1, IMG_ALIGN_8, {0xCC});
    RasOpXfmAttr attr = At(0, 0, c.keyed);
    MarkRegistry();
    ImgPtr<CImg1> copy(
        dynamic_cast<CImg1 *>(image->doRasOp(static_cast<RasOp>(c.op), attr, *source)));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(CImgErr::get(), IMG_OK);  // recorded for every operator value
    EXPECT_EQ(copy->peekData()[0], c.copied);
    EXPECT_EQ(image->peekData()[0], 0xCC);  // the original is untouched

    MarkRegistry();
    ErrWatch watch;
    image->doRasOpInPlace(static_cast<RasOp>(c.op), attr, *source);
    EXPECT_EQ(image->peekData()[0], c.inPlace);
    EXPECT_EQ(watch.reports(), c.inPlaceReports ? 1u : 0u);
    EXPECT_EQ(CImgErr::get(), c.inPlaceReports ? IMG_OK : IMG_DECODE_FAILED);
  }
}

TEST(CImg1RasOpTest, PlacementIsCheckedBeforeAnyPixel) {
  ImgPtr<CImg1> target = Bits(16, 3, IMG_ALIGN_NONE, Bytes(6, 0x5A));
  const struct {
    const char *name;
    unsigned w, h;
    int left, top;
    bool nullTarget;
  } cases[] = {
      {"null target", 9, 2, 0, 0, true},      {"wider", 17, 1, 0, 0, false},
      {"taller", 8, 4, 0, 0, false},          {"negative top", 9, 2, 0, -1, false},
      {"negative left", 9, 2, -1, 0, false},  {"past the right", 9, 2, 8, 0, false},
      {"past the bottom", 9, 2, 0, 2, false}, {"exact fit moved", 16, 3, 1, 0, false},
  };
  const Bytes before = BufferOf(*target);
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    ImgPtr<CImg1> source = Bits(c.w, c.h, IMG_ALIGN_NONE, Bytes((c.w + 7) / 8 * c.h, 0xFF));
    for (Worker worker : {kAnd, kOr, kXOr, kSet}) {
      RasOpXfmAttr attr = At(c.left, c.top);
      ErrWatch watch;
      EXPECT_EQ(((*target).*worker)(c.nullTarget ? nullptr : target.get(), attr, *source),
                IMG_INVALID_ARG);
      EXPECT_EQ(watch.reports(), 0u);  // the workers record nothing
      EXPECT_EQ(BufferOf(*target), before);
    }
    if (!c.nullTarget) {
      // The copying operation records the refusal and still returns its copy.
      RasOpXfmAttr attr = At(c.left, c.top);
      ImgPtr<IImg> copy(target->doRasOp(RasOpAnd, attr, *source));
      ASSERT_NE(copy, nullptr);
      EXPECT_EQ(CImgErr::get(), IMG_INVALID_ARG);
      EXPECT_EQ(BufferOf(*dynamic_cast<CImg1 *>(copy.get())), before);
    }
  }
  RasOpXfmAttr origin = At(0, 0);
  ImgPtr<CImg1> fits = Bits(16, 3, IMG_ALIGN_NONE, Bytes(6, 0xFF));
  EXPECT_EQ(((*target).*kSet)(target.get(), origin, *fits), IMG_OK);  // an exact fit at 0, 0

  // An image without pixels, or a target grown past its buffer, is refused, not read.
  ImgPtr<CImg1> emptied = Bits(8, 1, IMG_ALIGN_NONE, {0x01});
  std::free(emptied->ownData());
  EXPECT_EQ(((*target).*kOr)(target.get(), origin, *emptied), IMG_FAIL);
  ImgPtr<CImg1> byte = Bits(8, 1, IMG_ALIGN_NONE, {0x01});
  EXPECT_EQ(((*emptied).*kOr)(emptied.get(), origin, *byte), IMG_FAIL);

  ASSERT_TRUE(byte->setExtents(8, 4));
  byte->doRasOpInPlace(RasOpSet, origin, *Bits(8, 4, IMG_ALIGN_NONE, Bytes(4, 0xFF)));
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  EXPECT_EQ(byte->peekData()[0], 0x01);
}

// Channels in memory order, whatever the byte order.
using Px = std::array<unsigned char, 4>;
unsigned Word(Px p) {
  unsigned w;
  std::memcpy(&w, p.data(), 4);
  return w;
}

RasterOp Settings(bool useAlpha, double alpha, bool keyed = false, unsigned key = 0, int left = 0,
                  int top = 0) {
  RasterOp op;
  op.UseAlpha(useAlpha);
  op.SetAlpha(alpha);
  op.UseTransparentColor(keyed);
  op.SetTransparentColor(key);
  op.SetTopOffset(top, left);
  return op;
}

// The public entry: the typed overloads are private, so the images go in as IImg.
ImgErr Over(RasterOp op, IImg &destination, const IImg &source) {
  return op.Over(destination, source);
}

// Each row: the settings, a source and a destination pixel, and the result, on 2 x 2 images.
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
    ErrWatch watch;
    ASSERT_EQ(
        Over(Settings(c.useAlpha, c.alpha, c.keyed, Word(c.key)), *dst, *Flat32(2, 2, Word(c.src))),
        IMG_OK);
    EXPECT_EQ(watch.reports(), 0u);
    EXPECT_EQ(BufferOf(*dst), Pixels(4, Word(c.result)));
  }
  // A constant alpha at or below 0 stops before anything, even a missing source.
  ImgPtr<CImg32> dst = Flat32(2, 2, 5);
  ImgPtr<CImg32> lazy(CImg32::create(2, 2, RGB_ORDER_BGR));
  ErrWatch watch;
  EXPECT_EQ(Over(Settings(true, 0.0), *dst, *lazy), IMG_FALSE);
  EXPECT_EQ(Over(Settings(true, -1.0), *dst, *lazy), IMG_FALSE);
  EXPECT_EQ(watch.reports(), 0u);
  EXPECT_EQ(BufferOf(*dst), Pixels(4, 5u));
  // A destination without pixels gets them, with its background, before the blend.
  lazy->setBackgroundColor(Word({10, 10, 10, 10}));
  EXPECT_EQ(Over(Settings(true, 0.5), *lazy, *Flat32(2, 2, Word({30, 30, 30, 0}))), IMG_OK);
  EXPECT_EQ(BufferOf(*lazy), Pixels(4, Word({20, 20, 20, 10})));
}

// A source of 100.. over a 4 x 3 destination of 0..11 (no result: IMG_FAIL, unchanged).
TEST(RasterOpTest, OffsetsPlaceTheOverlap) {
  const struct {
    const char *name;
    int left, top;
    unsigned w, h;
    Pixels result;
  } cases[] = {
      {"inside", 1, 1, 2, 2, {0, 1, 2, 3, 4, 100, 101, 7, 8, 102, 103, 11}},
      {"negative offsets", -1, -1, 3, 3, {104, 105, 2, 3, 107, 108, 6, 7, 8, 9, 10, 11}},
      {"one row", 0, 2, 4, 2, {0, 1, 2, 3, 4, 5, 6, 7, 100, 101, 102, 103}},
      {"one column", 3, -1, 2, 3, {0, 1, 2, 102, 4, 5, 6, 104, 8, 9, 10, 11}},
      {"a corner pixel", -1, -1, 2, 2, {103, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}},
      {"one pixel right of the edge", 4, 0, 2, 2, {}},
      {"one pixel below the edge", 0, 3, 2, 2, {}},
      {"one pixel left of the edge", -2, 0, 2, 2, {}},
      {"lowest offset", std::numeric_limits<int>::min(), 0, 2, 2, {}},
      {"offset that wraps", std::numeric_limits<int>::max(), 0, 2, 2, {}},
  };
  const Pixels base = Sequence<unsigned>(12);
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    ImgPtr<CImg32> dst = Make32(4, 3, base);
    ImgPtr<CImg32> src = Make32(c.w, c.h, Sequence<unsigned>(size_t(c.w) * c.h, 100u));
    EXPECT_EQ(Over(Settings(true, 1.0, false, 0, c.left, c.top), *dst, *src),
              c.result.empty() ? IMG_FAIL : IMG_OK);
    EXPECT_EQ(BufferOf(*dst), c.result.empty() ? base : c.result);
  }
  // composite takes top 1, left -1, alpha 0.5 and a key that matches none.
  ImgPtr<CImg32> dst = Flat32(3, 3, Word({0, 0, 0, 9}));
  CompositeAttr attr{0, 1, -1, true, 0.5, true, 0x123456u};
  EXPECT_EQ(dst->composite(attr, *Flat32(3, 2, Word({255, 255, 255, 0}))), IMG_OK);
  const unsigned half = Word({127, 127, 127, 9}), none = Word({0, 0, 0, 9});
  EXPECT_EQ(BufferOf(*dst), (Pixels{none, none, none, half, half, none, half, half, none}));
}

// Classes Over does not compose are only checked for data; the two it composes fail to clip.
TEST(RasterOpTest, TypeMatrixChecksWhatItDoesNotCompose) {
  const RasterOp apart = Settings(false, 0.0, false, 0, 100, 100);
  ImgPtr<IImg> bits(CImg1::create(8, 4, 0xFFFFFFu, 0u, IMG_ALIGN_NONE));
  ImgPtr<IImg> coded(CImg1G4::create(8, 4, 8, 4, 0u, 1u, IMG_ALIGN_NONE));
  ImgPtr<IImg> lazy8(CImg8::create(4, 2, nullptr, IMG_ALIGN_NONE));
  ImgPtr<IImg> lazy32(CImg32::create(4, 2, RGB_ORDER_BGR));
  EXPECT_EQ(Over(apart, *bits, *coded), IMG_OK);
  EXPECT_EQ(Over(apart, *lazy8, *bits), IMG_OK);
  EXPECT_EQ(Over(apart, *lazy32, *coded), IMG_OK);
  EXPECT_TRUE(lazy8->hasData() && lazy32->hasData());
  EXPECT_EQ(Over(apart, *Flat32(4, 2, 1), *Flat32(4, 2, 1)), IMG_FAIL);

  // Sources without data; a bare G4 image has no tiles.
  ImgPtr<IImg> bare(CImg1G4::create()), noPixels(CImg32::create(4, 2, RGB_ORDER_BGR));
  for (IImg *source : {bare.get(), noPixels.get()}) {
    ImgPtr<IImg> empty(CImg8::create(4, 2, nullptr, IMG_ALIGN_NONE));
    ErrWatch watch;
    EXPECT_EQ(Over(apart, *empty, *source), IMG_FALSE);
    EXPECT_EQ(watch.reports(), 1u);
    EXPECT_FALSE(empty->hasData());
  }
  CImgErr::set(IMG_DECODE_FAILED, nullptr, 0);
  EXPECT_EQ(Over(apart, *bare, *bits), IMG_DECODE_FAILED);

  // An image that only claims a type is refused, an unknown type fails; nothing is recorded.
  Impostor claims32(IMG_TYPE_32BIT), claims8(IMG_TYPE_8BIT), unknown(static_cast<ImageType>(2));
  ImgPtr<CImg32> real = Flat32(4, 2, 1);
  const RasterOp opaque = Settings(true, 1.0);
  ErrWatch watch;
  EXPECT_EQ(Over(opaque, *real, claims32), IMG_INVALID_ARG);
  EXPECT_EQ(Over(opaque, claims32, *real), IMG_INVALID_ARG);
  EXPECT_EQ(Over(opaque, claims8, *real), IMG_INVALID_ARG);
  EXPECT_EQ(Over(opaque, *real, unknown), IMG_FAIL);
  EXPECT_EQ(Over(opaque, unknown, *real), IMG_FAIL);
  EXPECT_EQ(watch.reports(), 0u);
  EXPECT_EQ(BufferOf(*real), Pixels(8, 1u));

  // A palette source is clipped but not composed.
  ImgPtr<CImg8> palette = Make8(4, 2, std::vector<unsigned char>(8, 0x33));
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
    EXPECT_EQ(Over(Settings(c.useAlpha, c.alpha, false, 0, c.left), *dst, *palette), c.code);
    EXPECT_EQ(BufferOf(*dst), Pixels(8, 7u));
  }
}

ImgPtr<CImg32> Image32(unsigned w, unsigned h, Pixels pixels) {
  return Make32(w, h, std::move(pixels), RGB_ORDER_RGB);
}

ImgPtr<CImg32> Counting32(unsigned w, unsigned h, unsigned base) {
  return Image32(w, h, Sequence(size_t(w) * h, base));
}

// A 2 x 2 source of 100.. at (1, 1) of a 3 x 3 target of 0..8.
const Pixels kPlaced = {0, 1, 2, 3, 100, 101, 6, 102, 103};

TEST(CImg32RasOpTest, EveryOperatorSets) {
  ImgPtr<CImg32> source = Counting32(2, 2, 100);
  RasOpXfmAttr attr = At(1, 1);
  for (int op : {0, 1, 2, 3, 4, 9}) {
    SCOPED_TRACE(op);
    ImgPtr<CImg32> image = Counting32(3, 3, 0);
    ImgPtr<CImg32> copy(
        dynamic_cast<CImg32 *>(image->doRasOp(static_cast<RasOp>(op), attr, *source)));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(BufferOf(*copy), op <= 4 ? kPlaced : BufferOf(*image));
    image->doRasOpInPlace(static_cast<RasOp>(op), attr, *source);
    EXPECT_EQ(BufferOf(*image), BufferOf(*copy));
  }
  // Through the row tables, so that a view writes into its parent.
  ImgPtr<CImg32> parent = Counting32(3, 3, 0);
  ImgPtr<CImg32> view(CImg32::createRefImg(*parent, Core2DImage::IntRect(1, 1, 2, 2)));
  ASSERT_NE(view, nullptr);
  attr = At(0, 0);
  view->doRasOpInPlace(RasOpReplace, attr, *source);
  EXPECT_EQ(BufferOf(*parent), kPlaced);
  // The key compares all 32 bits, and only keyed 1 counts.
  const Pixels pixels = {0x11223344u, 0x01223344u, 0x00223344u};
  for (unsigned char keyed : {0, 1, 2}) {
    ImgPtr<CImg32> image = Image32(3, 1, {7, 7, 7});
    attr = At(0, 0, keyed, 0x11223344u);
    image->doRasOpInPlace(RasOpSet, attr, *Image32(3, 1, pixels));
    EXPECT_EQ(BufferOf(*image), keyed == 1 ? (Pixels{7, pixels[1], pixels[2]}) : pixels) << +keyed;
  }
  // Extents grown past the buffer: only the pixels both buffers hold are copied.
  attr = At(0, 0);
  ImgPtr<CImg32> grown = Image32(2, 2, {1, 2, 3, 4});
  ASSERT_TRUE(grown->setExtents(3, 3));
  grown->doRasOpInPlace(RasOpSet, attr, *Counting32(3, 3, 100));
  const unsigned *const *rows = grown->constDataArray();
  EXPECT_EQ((Pixels{rows[0][0], rows[0][1], rows[1][0], rows[1][1]}), (Pixels{100, 101, 103, 104}));
  ImgPtr<CImg8> palette = Make8(2, 2, {1, 2, 3, 4});
  ASSERT_TRUE(palette->setExtents(3, 3));
  palette->doRasOpInPlace(RasOpSet, attr, *Make8(3, 3, {10, 11, 12, 13, 14, 15, 16, 17, 18}));
  const unsigned char *const *lines = palette->constDataArray();
  EXPECT_EQ((Bytes{lines[0][0], lines[0][1], lines[1][0], lines[1][1]}), (Bytes{10, 11, 13, 14}));
}

TEST(CImg32RasOpTest, RefusalsLeaveTheTarget) {
  ImgPtr<CImg32> image = Counting32(3, 3, 0);
  ImgPtr<CImg32> small = Counting32(2, 2, 100);
  ImgPtr<CImg32> lazy(CImg32::create(2, 2, RGB_ORDER_RGB));
  ImgPtr<CImg1> bits(CImg1::create(2, 2, 0u, 1u, IMG_ALIGN_NONE));
  // An image of another class that claims the type is refused like another type.
  Impostor impostor(IMG_TYPE_32BIT, 2, 2);
  const struct {
    const char *name;
    const IImg *source;
    int left;
    ImgErr recorded;
  } cases[] = {
      {"past the right", small.get(), 2, IMG_DECODE_FAILED},  // the worker's code is dropped
      {"another type", bits.get(), 0, IMG_INVALID_ARG},
      {"impostor", &impostor, 0, IMG_INVALID_ARG},
      {"source without pixels", lazy.get(), 0, IMG_FALSE},
  };
  const Pixels before = BufferOf(*image);
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    RasOpXfmAttr attr = At(c.left, 0);
    MarkRegistry();
    image->doRasOpInPlace(RasOpSet, attr, *c.source);
    EXPECT_EQ(CImgErr::get(), c.recorded);
    EXPECT_EQ(BufferOf(*image), before);
  }
  RasOpXfmAttr attr = At(0, 0);
  ImgPtr<CImg32> lazyTarget(CImg32::create(3, 3, RGB_ORDER_RGB));
  lazyTarget->doRasOpInPlace(RasOpSet, attr, *lazy);
  EXPECT_FALSE(lazyTarget->hasData());
}

TEST(CImg32RasOpTest, FillFormsAndLazyPixels) {
  // Without pixels and unkeyed, only the background is set: the copy has none.
  ImgPtr<CImg32> lazy(CImg32::create(2, 2, RGB_ORDER_RGB));
  ImgPtr<CImg32> copy(dynamic_cast<CImg32 *>(lazy->doRasOp(RasOpAnd, false, 0, 0xABu)));
  ASSERT_NE(copy, nullptr);
  EXPECT_FALSE(copy->hasData());
  EXPECT_EQ(BufferOf(*copy), Pixels(4, 0xABu));  // arrives with the pixels

  // Keyed, the pixels are made (with a known background) and the non-key ones set.
  ImgPtr<CImg32> keyed(CImg32::create(2, 2, RGB_ORDER_RGB));
  keyed->setBackgroundColor(5);
  keyed->doRasOpInPlace(RasOpCopy, true, 5, 9);
  EXPECT_EQ(BufferOf(*keyed), Pixels(4, 5u));
  keyed->doRasOpInPlace(RasOpCopy, true, 6, 9);
  EXPECT_EQ(BufferOf(*keyed), Pixels(4, 9u));

  ImgPtr<CImg32> image = Image32(3, 1, {1, 2, 0x01000001u});
  image->doRasOpInPlace(RasOpXOr, true, 1, 7);
  EXPECT_EQ(BufferOf(*image), (Pixels{1, 7, 7}));
  image->doRasOpInPlace(static_cast<RasOp>(-1), false, 1, 4);
  EXPECT_EQ(BufferOf(*image), (Pixels{1, 7, 7}));
  image->doRasOpInPlace(RasOpSet, false, 1, 3);
  EXPECT_EQ(BufferOf(*image), Pixels(3, 3u));
}

TEST(CImg8RasOpTest, FillCoversTheWholeBlockAndWideKeysMatchNothing) {
  ImgPtr<CImg8> source = Make8(2, 2, {0xFF, 5, 6, 0xFF});
  const struct {
    unsigned char keyed;
    unsigned key;
    int left;
    Bytes result;
  } cases[] = {{0, 0x1FF, 1, {0, 0, 0, 0, 0xFF, 5, 0, 6, 0xFF}},
               {1, 0x1FF, 1, {0, 0, 0, 0, 0, 5, 0, 6, 0}},
               {1, 0x105, 1, {0, 0, 0, 0, 0xFF, 0, 0, 6, 0xFF}},
               {0, 0, 2, Bytes(9, 0)}};  // past the right: refused
  for (const auto &c : cases) {
    SCOPED_TRACE(testing::Message() << int(c.keyed) << " " << c.key << " " << c.left);
    ImgPtr<CImg8> image = Make8(3, 3, Bytes(9, 0));
    RasOpXfmAttr attr = At(c.left, 1, c.keyed, c.key);
    image->doRasOpInPlace(RasOpAnd, attr, *source);
    EXPECT_EQ(BufferOf(*image), c.result);
  }
  // The fill covers packed 3-pixel rows' 32-bit pad bytes, kept together at the end.
  const struct {
    bool keyed;
    unsigned key;
    Bytes before, after;
  } fills[] = {
      {false, 0, {1, 2, 3, 4, 5, 6, 7, 8}, Bytes(8, 0xAB)},
      {true, 2, {1, 2, 3, 2, 5, 6, 7, 2}, {0xAB, 2, 0xAB, 2, 0xAB, 0xAB, 0xAB, 2}},
      {true, 0x102, {1, 2, 3, 2, 5, 6, 7, 2}, Bytes(8, 0xAB)},
  };
  for (const auto &c : fills) {
    SCOPED_TRACE(testing::Message() << c.keyed << " " << c.key);
    ImgPtr<CImg8> image = Make8(3, 2, c.before, IMG_ALIGN_32);
    ASSERT_NE(image, nullptr);
    image->doRasOpInPlace(RasOpReplace, c.keyed, c.key, 0x3ABu);
    EXPECT_EQ(BufferOf(*image), c.after);
  }
  // Keyed, a lazy padded image's copy has fewer bytes than it: only those are written.
  ImgPtr<CImg8> lazy(CImg8::create(3, 2, nullptr, IMG_ALIGN_32));
  ImgPtr<CImg8> copy(dynamic_cast<CImg8 *>(lazy->doRasOp(RasOpSet, true, 0x100, 7)));
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(BufferOf(*copy), Bytes(6, 7));
}

}  // namespace
