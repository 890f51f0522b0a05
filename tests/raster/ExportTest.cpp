// Format conversion: the constant tables, the refusals of Export::xfm, each path
// against pixels read back independently, the 24-bit widening, and the conversion
// factories and clones with their odd results.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "Image/Core2DImage.h"
#include "ImgTestSupport.h"
#include "Image/raster/ExportTables.h"

namespace {

using c2d_test::ErrWatch;
using c2d_test::ImageDeleter;

template <typename T>
using Ptr = std::unique_ptr<T, ImageDeleter>;

uint32_t Noise(uint32_t &state) {
  state = state * 1664525u + 1013904223u;
  return state >> 24;
}

Ptr<CImg32> True(unsigned w, unsigned h, std::vector<unsigned> pixels, RGBOrder order) {
  return Ptr<CImg32>(CImg32::create(w, h, pixels.data(), w * h * 4, order));
}

Ptr<CImg32> Flat32(unsigned w, unsigned h, unsigned pixel, RGBOrder order = RGB_ORDER_BGR) {
  return True(w, h, std::vector<unsigned>(size_t{w} * h, pixel), order);
}

// A palette image; a null map gives the grey ramp, so index g is grey g.
Ptr<CImg8> Palette(unsigned w, unsigned h, std::vector<unsigned char> bytes,
                   ColorMap *map = nullptr) {
  return Ptr<CImg8>(CImg8::create(w, h, bytes.data(), w * h, map, IMG_ALIGN_NONE));
}

// A bilevel image with every byte, pad bits included, from the noise.
Ptr<CImg1> Bits(unsigned w, unsigned h, ImgAlignmentEnum align, uint32_t seed) {
  Ptr<CImg1> image(CImg1::create(w, h, 0x00FFFFFFu, 0xFF000000u, align));
  for (unsigned i = 0; i < image->getTotalBytes(); ++i) {
    image->peekData()[i] = static_cast<unsigned char>(Noise(seed));
  }
  return image;
}

bool Bit(const CImg1 &image, unsigned x, unsigned y) {
  const unsigned char byte = image.peekData()[y * image.getBytesPerLine() + x / 8];
  return ((byte >> (7 - x % 8)) & 1) != 0;
}

unsigned SetBits(const CImg1 &image) {
  unsigned n = 0;
  for (unsigned i = 0; i < image.getTotalBytes(); ++i) {
    n += __builtin_popcount(image.peekData()[i]);
  }
  return n;
}

std::vector<unsigned> Pixels(CImg32 &image) {
  std::vector<unsigned> out;
  for (unsigned y = 0; y < image.getHeight(); ++y) {
    for (unsigned x = 0; x < image.getWidth(); ++x) {
      out.push_back(image(y, x));
    }
  }
  return out;
}

// Every byte a destination holds, to see that a refusal changed none of them.
std::vector<unsigned char> Snapshot(IImg &image) {
  const unsigned char *p = nullptr;
  if (auto *b = dynamic_cast<CImg1 *>(&image)) {
    p = b->peekData();
  } else if (auto *c = dynamic_cast<CImg8 *>(&image)) {
    p = c->constDataArray() ? c->constDataArray()[0] : nullptr;
  } else if (auto *t = dynamic_cast<CImg32 *>(&image)) {
    p = t->constDataArray() ? reinterpret_cast<const unsigned char *>(t->constDataArray()[0])
                            : nullptr;
  }
  return p ? std::vector<unsigned char>(p, p + image.getTotalBytes())
           : std::vector<unsigned char>();
}

// A bilevel image that claims 32 bits, as rendered documents do without rows.
struct Impostor : CImg1 {
  Impostor() {
    initHeader(4, 2, 4, 2, 0, 1, IMG_ALIGN_NONE);
    (void)initData();
    type = IMG_TYPE_32BIT;
  }
};

TEST(ExportTest, ShareTablesSplitEveryErrorExactly) {
  const c2d::ErrorShares &s = c2d::kErrorShares;
  EXPECT_EQ(s.right[9], 4);
  EXPECT_EQ(s.lowerLeft[9], 2);
  EXPECT_EQ(s.below[9], 3);
  EXPECT_EQ(s.lowerRight[9], 0);
  const int weights[4] = {7, 3, 5, 1};
  for (int e = 0; e < 128; ++e) {
    SCOPED_TRACE(e);
    const int shares[4] = {s.right[e], s.lowerLeft[e], s.below[e], s.lowerRight[e]};
    EXPECT_EQ(shares[0] + shares[1] + shares[2] + shares[3], e);
    for (int k = 0; k < 4; ++k) {
      EXPECT_LE(std::abs(16 * shares[k] - weights[k] * e), 16) << k;  // within one unit
    }
  }
  for (int g = 0; g < 256; ++g) {
    if (g <= 20) {
      EXPECT_EQ(c2d::kToneCurve[g], 0) << g;
    }
    if (g >= 240) {
      EXPECT_EQ(c2d::kToneCurve[g], 255) << g;
    }
    if (g > 0) {
      EXPECT_GE(c2d::kToneCurve[g], c2d::kToneCurve[g - 1]) << g;
    }
  }
  EXPECT_EQ(c2d::kToneCurve[128], 127);
}

TEST(ExportTest, RefusalsLeaveTheDestinationAndReportNothing) {
  Ptr<CImg1> bits = Bits(8, 2, IMG_ALIGN_NONE, 1), bits8 = Bits(8, 2, IMG_ALIGN_8, 2);
  Ptr<CImg1> wide = Bits(9, 2, IMG_ALIGN_NONE, 3), small = Bits(4, 2, IMG_ALIGN_NONE, 4);
  Ptr<CImg8> grey = Palette(8, 2, std::vector<unsigned char>(16, 9));
  Ptr<CImg8> grey2 = Palette(8, 2, std::vector<unsigned char>(16, 7));
  Ptr<CImg32> colour = Flat32(8, 2, 0x123456), colour2 = Flat32(8, 2, 0x654321);
  Ptr<CImg32> tall = Flat32(8, 3, 0), lazy(CImg32::create(8, 2, RGB_ORDER_BGR));
  ColorMap none(0, 255);
  Ptr<CImg8> empty = Palette(8, 2, std::vector<unsigned char>(16, 0), &none);
  Impostor impostor;
  struct Case {
    const char *name;
    IImg *dst;
    const IImg *src;
    unsigned mode;
  };
  const Case cases[] = {
      {"null destination", nullptr, colour.get(), 0},
      {"null source", colour2.get(), nullptr, 0},
      {"lazy destination", lazy.get(), colour.get(), 0},
      {"lazy source", colour2.get(), lazy.get(), 0},
      {"8 to 8", grey2.get(), grey.get(), 0},
      {"32 to 8", grey2.get(), colour.get(), 0},
      {"mode 3", bits.get(), colour.get(), 3},
      {"alignment 0 to 8", bits8.get(), bits.get(), 0},
      {"1 to 1, width", wide.get(), bits.get(), 0},
      {"1 to 8, width", grey2.get(), wide.get(), 0},
      {"1 to 32, height", tall.get(), bits.get(), 0},
      {"8 to 1, width", small.get(), grey.get(), 0},
      {"8 to 32, height", tall.get(), grey.get(), 0},
      {"8 to 32, no entries", colour2.get(), empty.get(), 0},
      {"32 to 32, height", tall.get(), colour.get(), 0},
      {"32 to smaller 1", small.get(), colour.get(), 0},
      {"32 to 1, mode 2, width", wide.get(), colour.get(), 2},
      {"impostor source", colour2.get(), &impostor, 0},
      {"impostor destination", &impostor, colour.get(), 0},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    const std::vector<unsigned char> before =
        c.dst ? Snapshot(*c.dst) : std::vector<unsigned char>();
    ErrWatch watch;
    EXPECT_FALSE(Export::xfm(c.dst, c.src, c.mode));
    EXPECT_EQ(watch.reports(), 0u);
    if (c.dst != nullptr) {
      EXPECT_EQ(Snapshot(*c.dst), before);
    }
  }
  EXPECT_FALSE(lazy->hasData());  // nothing is forced
}

TEST(ExportTest, BilevelCopyKeepsTheDestinationsOwnFields) {
  Ptr<CImg1> src = Bits(13, 3, IMG_ALIGN_32, 5);
  Ptr<CImg1> dst(CImg1::create(13, 3, 0x11, 0x22, IMG_ALIGN_32));
  dst->setBackgroundColor(1);
  const IImg &srcRef = *src;
  IImg &dstRef = *dst;
  EXPECT_TRUE(Export::xfm(dstRef, srcRef, 0));
  EXPECT_EQ(std::memcmp(dst->peekData(), src->peekData(), src->getTotalBytes()), 0);
  EXPECT_EQ(dst->getBackgroundInterpretation(), 0x11u);
  EXPECT_EQ(dst->getForegroundInterpretation(), 0x22u);
  EXPECT_EQ(dst->getBackgroundColor(), 1u);
}

// Set bits give index 0 and clear bits 255 (expansion), or the foreground and
// background words as they are (interpretation), at every width and alignment.
TEST(ExportTest, ExpansionAndInterpretationFollowTheBits) {
  ColorMap map(2, 255);
  map.entries[1] = {1, 2, 3};
  for (ImgAlignmentEnum align : {IMG_ALIGN_NONE, IMG_ALIGN_8, IMG_ALIGN_32}) {
    for (unsigned w = 1; w <= 19; ++w) {
      SCOPED_TRACE(testing::Message() << "w " << w << " align " << align);
      Ptr<CImg1> src = Bits(w, 3, align, w);
      src->setForegroundInterpretation(0x80FF0000u);
      src->setBackgroundInterpretation(0x12345678u);
      Ptr<CImg8> expanded = Palette(w, 3, std::vector<unsigned char>(w * 3, 7), &map);
      Ptr<CImg32> words = Flat32(w, 3, 0);
      ASSERT_TRUE(Export::xfm(expanded.get(), *src, 0));
      ASSERT_TRUE(Export::xfm(*words, src.get(), 0));
      for (unsigned y = 0; y < 3; ++y) {
        for (unsigned x = 0; x < w; ++x) {
          const bool set = Bit(*src, x, y);
          ASSERT_EQ(expanded->constDataArray()[y][x], set ? 0 : 255) << x << "," << y;
          ASSERT_EQ((*words)(y, x), set ? 0x80FF0000u : 0x12345678u) << x << "," << y;
        }
      }
      EXPECT_EQ(expanded->getColorMap()->entries[1].blue, 3);
    }
  }
}

TEST(ExportTest, PaletteLookupFollowsTheDestinationsOrder) {
  ColorMap map(3, 255);
  map.entries[0] = {10, 20, 30};
  map.entries[1] = {300, 0, 0};  // not clamped: spills into the next byte
  Ptr<CImg8> src = Palette(4, 1, {0, 1, 2, 200}, &map);
  Ptr<CImg32> bgr = Flat32(4, 1, 0xDEADu, RGB_ORDER_BGR), rgb = Flat32(4, 1, 0, RGB_ORDER_RGB);
  ASSERT_TRUE(Export::xfm(bgr.get(), src.get(), 0));
  ASSERT_TRUE(Export::xfm(rgb.get(), src.get(), 0));
  // Index 200 lies beyond the three entries and reads as black.
  EXPECT_EQ(Pixels(*bgr), (std::vector<unsigned>{0x000A141Eu, 0x012C0000u, 0, 0}));
  EXPECT_EQ(Pixels(*rgb), (std::vector<unsigned>{0x001E140Au, 0x0000012Cu, 0, 0}));

  // A view is read through its rows.
  std::vector<unsigned char> bytes(16);
  for (unsigned i = 0; i < 16; ++i) {
    bytes[i] = static_cast<unsigned char>(i);
  }
  Ptr<CImg8> parent = Palette(4, 4, bytes);
  Ptr<const CImg8> view(CImg8::createCRefImg(*parent, Core2DImage::IntRect(1, 1, 2, 2)));
  Ptr<CImg32> out = Flat32(2, 2, 0);
  ASSERT_TRUE(Export::xfm(out.get(), view.get(), 0));
  EXPECT_EQ(Pixels(*out), (std::vector<unsigned>{0x050505u, 0x060606u, 0x090909u, 0x0A0A0Au}));
}

TEST(ExportTest, TrueColourCopyOrChannelExchange) {
  Ptr<CImg32> src = True(2, 1, {0xAABBCCDDu, 0x01020304u}, RGB_ORDER_BGR);
  Ptr<CImg32> same = Flat32(2, 1, 0), other = Flat32(2, 1, 0, RGB_ORDER_RGB);
  ASSERT_TRUE(Export::xfm(same.get(), src.get(), 0));
  EXPECT_EQ(Pixels(*same), Pixels(*src));
  // The destination's background is marked known, even from an unknown one.
  EXPECT_EQ(same->getBackgroundState(), IMG_BG_KNOWN);
  EXPECT_EQ(same->getBackgroundColor(), 0u);

  src->setBackgroundColor(0x00112233u);
  ASSERT_TRUE(Export::xfm(other.get(), src.get(), 0));
  EXPECT_EQ(Pixels(*other), (std::vector<unsigned>{0xAADDCCBBu, 0x01040302u}));
  EXPECT_EQ(other->getBackgroundColor(), 0x11u);  // one byte, not a rearranged colour
  EXPECT_EQ(other->getBackgroundState(), IMG_BG_KNOWN);

  // Kept as it stands: a view is copied as one block from its first row, taking in
  // the parent's pixels that follow that row.
  std::vector<unsigned> pixels(16);
  for (unsigned i = 0; i < 16; ++i) {
    pixels[i] = i;
  }
  Ptr<CImg32> parent = True(4, 4, pixels, RGB_ORDER_BGR);
  Ptr<const CImg32> view(CImg32::createCRefImg(*parent, ImgRect(1, 1, 2, 2)));
  Ptr<CImg32> out = Flat32(2, 2, 0);
  ASSERT_TRUE(Export::xfm(out.get(), view.get(), 0));
  EXPECT_EQ(Pixels(*out), (std::vector<unsigned>{5, 6, 7, 8}));
}

// Flat fields at the ends of the tone curve, from both source classes, with pad bits
// left clear.
TEST(ExportTest, DiffusionOfFlatFields) {
  struct Case {
    unsigned grey;
    bool allSet;
  };
  const Case cases[] = {{0, true}, {20, true}, {240, false}, {255, false}};
  for (const Case &c : cases) {
    for (unsigned w : {10u, 13u}) {
      SCOPED_TRACE(testing::Message() << "grey " << c.grey << " w " << w);
      Ptr<CImg32> colour = Flat32(w, 3, c.grey * 0x010101u);
      Ptr<CImg8> palette = Palette(w, 3, std::vector<unsigned char>(w * 3, c.grey));
      for (const IImg *src :
           {static_cast<const IImg *>(colour.get()), static_cast<const IImg *>(palette.get())}) {
        Ptr<CImg1> dst(CImg1::create(w, 3, 0, 1, w == 10 ? IMG_ALIGN_32 : IMG_ALIGN_NONE));
        ASSERT_TRUE(Export::xfm(dst.get(), src, 0));
        EXPECT_EQ(SetBits(*dst), c.allSet ? w * 3 : 0u);
      }
    }
  }
}

TEST(ExportTest, DiffusionSpreadsTheErrorForward) {
  struct Case {
    const char *name;
    unsigned w, h;
    std::vector<unsigned char> greys;
    std::vector<unsigned char> bits;
  };
  // Greys 100, 112, 120, 200 and 129 tone to 82, 101, 114, 230 and 129. An error of
  // 82 sends 36 right, 15 lower left, 26 below and 5 lower right; one of -25 takes
  // 11 from the right. In the last case the lower right pixel gets 5 + 11 + 15.
  const Case cases[] = {
      {"alone 120", 1, 1, {120}, {0x80}},
      {"82 pushes right over", 2, 1, {100, 120}, {0x80}},
      {"82 pushes down over", 1, 2, {100, 120}, {0x80, 0x00}},
      {"alone 129", 1, 1, {129}, {0x00}},
      {"-25 pulls right under", 2, 1, {200, 129}, {0x40}},
      {"mid-grey sets its first pixel", 1, 1, {128}, {0x80}},
      {"82 pushes lower left over", 2, 2, {255, 100, 120, 255}, {0x40, 0x00}},
      {"82 pushes lower right over", 2, 2, {100, 255, 255, 112}, {0x80, 0x00}},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    Ptr<CImg8> src = Palette(c.w, c.h, c.greys);
    Ptr<CImg1> dst(CImg1::create(c.w, c.h, 0, 1, IMG_ALIGN_NONE));
    ASSERT_TRUE(Export::xfm(dst.get(), src.get(), 0));
    EXPECT_EQ(std::vector<unsigned char>(dst->peekData(), dst->peekData() + dst->getTotalBytes()),
              c.bits);
  }
}

TEST(ExportTest, DiffusionKeepsTheMeanAndBothSourcesAgree) {
  const unsigned w = 256, h = 256;
  for (unsigned grey : {40u, 64u, 128u, 192u, 230u}) {
    SCOPED_TRACE(grey);
    Ptr<CImg8> src = Palette(w, h, std::vector<unsigned char>(w * h, grey));
    Ptr<CImg1> dst(CImg1::create(w, h, 0, 1, IMG_ALIGN_NONE));
    ASSERT_TRUE(Export::xfm(dst.get(), src.get(), 1));
    const double white = 1.0 - static_cast<double>(SetBits(*dst)) / (w * h);
    EXPECT_NEAR(white, c2d::kToneCurve[grey] / 255.0, 0.01);
  }
  // Noise through a grey palette and through grey pixels gives the same bits.
  uint32_t seed = 7;
  std::vector<unsigned char> greys(40 * 9);
  std::vector<unsigned> words(greys.size());
  for (size_t i = 0; i < greys.size(); ++i) {
    greys[i] = static_cast<unsigned char>(Noise(seed));
    words[i] = (greys[i] * 0x010101u) | 0xFF000000u;  // alpha is ignored
  }
  Ptr<CImg1> a(CImg1::create(40, 9, 0, 1, IMG_ALIGN_32)),
      b(CImg1::create(40, 9, 0, 1, IMG_ALIGN_32));
  ASSERT_TRUE(Export::xfm(a.get(), Palette(40, 9, greys).get(), 0));
  ASSERT_TRUE(Export::xfm(b.get(), True(40, 9, words, RGB_ORDER_RGB).get(), 0));
  EXPECT_EQ(std::memcmp(a->peekData(), b->peekData(), a->getTotalBytes()), 0);
}

TEST(ExportTest, DiffusionReadsColoursAndPalettesAsTheyAre) {
  struct Case {
    const char *name;
    const IImg *src;
    bool set;
  };
  // Byte 0 weighs as blue and byte 2 as red, whatever the order says.
  Ptr<CImg32> low = Flat32(1, 1, 0x000080FFu, RGB_ORDER_RGB), high = Flat32(1, 1, 0x00FF8000u);
  ColorMap map(3, 255);
  map.entries[0] = {1000, 1000, 1000};  // clamped to white
  map.entries[1] = {-50, -50, -50};     // clamped to black
  map.entries[2] = {255, 255, 255};
  Ptr<CImg8> huge = Palette(1, 1, {0}, &map), negative = Palette(1, 1, {1}, &map);
  Ptr<CImg8> beyond = Palette(1, 1, {9}, &map);  // no entry 9: black
  const Case cases[] = {{"blue byte 0", low.get(), true},
                        {"red byte 2", high.get(), false},
                        {"channel above 255", huge.get(), false},
                        {"channel below 0", negative.get(), true},
                        {"index beyond the palette", beyond.get(), true}};
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    Ptr<CImg1> dst(CImg1::create(1, 1, 0, 1, IMG_ALIGN_NONE));
    ASSERT_TRUE(Export::xfm(dst.get(), c.src, 0));
    EXPECT_EQ(dst->peekData()[0], c.set ? 0x80 : 0x00);
  }
}

TEST(ExportTest, SeparationMasksWhatDiffersFromTheBackground) {
  Ptr<CImg32> src =
      True(5, 1, {0x00FFFFFFu, 0x7FFFFFFFu, 0x00FFFFFEu, 0x00000000u, 0xFFFFFFFFu}, RGB_ORDER_BGR);
  Ptr<CImg1> dst(CImg1::create(5, 1, 0, 1, IMG_ALIGN_NONE));
  // An unknown background is used as it is: 0.
  ASSERT_TRUE(Export::xfm(dst.get(), src.get(), 2));
  EXPECT_EQ(dst->peekData()[0], 0xE8);
  src->setBackgroundColor(0x00FFFFFFu);
  Ptr<CImg1> masked(CImg1::create(5, 1, 0, 1, IMG_ALIGN_NONE));
  ASSERT_TRUE(Export::xfm(masked.get(), src.get(), 2));
  EXPECT_EQ(masked->peekData()[0], 0x30);  // alpha alone does not count
}

TEST(ExportTest, Copy24To32SkipsThePadOfAlignedRows) {
  for (ImgAlignmentEnum align : {IMG_ALIGN_NONE, IMG_ALIGN_32}) {
    for (unsigned w = 1; w <= 5; ++w) {
      SCOPED_TRACE(testing::Message() << "w " << w << " align " << align);
      const unsigned pad = align == IMG_ALIGN_32 ? w % 4 : 0;  // 1, 2, 3, 0 for w 1..4
      std::vector<unsigned char> src;
      std::vector<unsigned> expected;
      for (unsigned y = 0; y < 2; ++y) {
        for (unsigned x = 0; x < w; ++x) {
          const unsigned char b = static_cast<unsigned char>(16 * y + 3 * x);
          src.insert(src.end(),
                     {b, static_cast<unsigned char>(b + 1), static_cast<unsigned char>(b + 2)});
          expected.push_back(b | ((b + 1) << 8) | ((b + 2) << 16));
        }
        src.insert(src.end(), pad, 0xEE);
      }
      for (RGBOrder order : {RGB_ORDER_RGB, RGB_ORDER_BGR}) {
        std::vector<unsigned> dst(w * 2, 0xFFFFFFFFu);
        EXPECT_TRUE(Export::copy24To32(dst.data(), src.data(), w, 2, align, order, RGB_ORDER_BGR));
        EXPECT_EQ(dst, expected);
      }
    }
  }
}

TEST(ExportTest, CreateFrom24) {
  std::vector<unsigned char> bytes = {1, 2, 3, 4,  5,  6,  0xEE, 0xEE,
                                      7, 8, 9, 10, 11, 12, 0xEE, 0xEE};
  Ptr<CImg32> image(
      CImg32::createFrom24(2, 2, bytes.data(), 16, IMG_ALIGN_32, RGB_ORDER_BGR, RGB_ORDER_RGB));
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->getRGBOrder(), RGB_ORDER_RGB);  // a label: bytes are not reordered
  EXPECT_EQ(Pixels(*image), (std::vector<unsigned>{0x030201u, 0x060504u, 0x090807u, 0x0C0B0Au}));

  struct Case {
    const char *name;
    unsigned w, h, len;
    bool nullData;
    ImgErr code;
  };
  const Case cases[] = {{"three quarters less one", 2, 2, 11, false, IMG_FAIL},
                        {"null data", 2, 2, 12, true, IMG_INVALID_ARG},
                        {"zero width", 0, 2, 12, false, IMG_FAIL}};
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(CImg32::createFrom24(c.w, c.h, c.nullData ? nullptr : bytes.data(), c.len,
                                   IMG_ALIGN_NONE, RGB_ORDER_BGR, RGB_ORDER_BGR),
              nullptr);
    EXPECT_EQ(CImgErr::get(), c.code);
  }
  // Three quarters pass although the padded rows need more: the bytes past len
  // read as 0 and nothing past the caller's buffer is touched.
  std::vector<unsigned char> threeQuarters(36, 0x5A);  // the rows need 45
  Ptr<CImg32> padded(CImg32::createFrom24(3, 4, threeQuarters.data(), 36, IMG_ALIGN_32,
                                          RGB_ORDER_BGR, RGB_ORDER_BGR));
  ASSERT_NE(padded, nullptr);
  std::vector<unsigned> expected(9, 0x5A5A5Au);
  expected.insert(expected.end(), 3, 0u);
  EXPECT_EQ(Pixels(*padded), expected);
}

TEST(ExportTest, CImg32FactoryAndClone) {
  Ptr<CImg32> bgr = True(2, 1, {0x00112233u, 0x80445566u}, RGB_ORDER_BGR);
  bgr->setBackgroundColor(0x00AABBCCu);
  Ptr<CImg32> clone(dynamic_cast<CImg32 *>(bgr->clone()));
  ASSERT_NE(clone, nullptr);
  EXPECT_EQ(clone->getRGBOrder(), RGB_ORDER_RGB);
  EXPECT_EQ(Pixels(*clone), (std::vector<unsigned>{0x00332211u, 0x80665544u}));
  EXPECT_EQ(clone->getBackgroundColor(), 0xAAu);
  Ptr<CImg32> again(dynamic_cast<CImg32 *>(clone->clone()));
  EXPECT_EQ(Pixels(*again), Pixels(*clone));

  // A source without pixels gives a lazy image that keeps a known colour as it is.
  Ptr<CImg8> lazy(CImg8::create(3, 2, nullptr, IMG_ALIGN_NONE));
  Ptr<CImg32> plain(CImg32::create(*lazy, RGB_ORDER_BGR));
  EXPECT_FALSE(plain->hasData());
  EXPECT_EQ(plain->getBackgroundState(), IMG_BG_UNKNOWN);
  lazy->setBackgroundColor(7);
  Ptr<CImg32> known(CImg32::create(*lazy, RGB_ORDER_BGR));
  EXPECT_FALSE(known->hasData());
  EXPECT_EQ(known->getBackgroundColor(), 7u);
  EXPECT_EQ(known->getBackgroundState(), IMG_BG_KNOWN);

  ColorMap none(0, 255);
  Ptr<CImg8> empty = Palette(2, 1, {0, 0}, &none);
  ErrWatch watch;
  EXPECT_EQ(CImg32::create(*empty, RGB_ORDER_BGR), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  EXPECT_EQ(watch.reports(), 1u);
}

TEST(ExportTest, CImg8FactoryAndClone) {
  Ptr<CImg1> bits(CImg1::create(3, 1, 0, 1, IMG_ALIGN_NONE));
  bits->peekData()[0] = 0xA0;
  Ptr<CImg8> grey(CImg8::create(*bits, nullptr, IMG_ALIGN_32));
  ASSERT_NE(grey, nullptr);
  EXPECT_EQ(std::vector<unsigned char>(grey->peekData(), grey->peekData() + 3),
            (std::vector<unsigned char>{0, 255, 0}));
  // With pixels, 8 bits do not convert to 8 bits.
  EXPECT_EQ(grey->clone(), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);

  ColorMap map(1, 255);
  map.entries[0] = {9, 9, 9};
  Ptr<CImg8> lazy(CImg8::create(5, 2, &map, IMG_ALIGN_32));
  lazy->setBackgroundColor(3);
  Ptr<CImg8> copy(dynamic_cast<CImg8 *>(lazy->clone()));
  ASSERT_NE(copy, nullptr);
  EXPECT_FALSE(copy->hasData());
  EXPECT_EQ(copy->getAlignment(), IMG_ALIGN_NONE);
  EXPECT_EQ(copy->getColorMap()->numEntries, 256);  // the grey ramp
  EXPECT_EQ(copy->getBackgroundState(), IMG_BG_UNKNOWN);
}

TEST(ExportTest, CImg1FactoryAndClone) {
  Ptr<CImg1> plain = Bits(12, 2, IMG_ALIGN_NONE, 9);
  plain->setBackgroundInterpretation(5);
  ErrWatch watch;
  Ptr<CImg1> copy(dynamic_cast<CImg1 *>(plain->clone()));
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_OK);
  EXPECT_EQ(watch.reports(), 1u);
  EXPECT_EQ(std::memcmp(copy->peekData(), plain->peekData(), 4), 0);
  EXPECT_EQ(copy->getBackgroundInterpretation(), 0xFFFFFFu);
  EXPECT_EQ(copy->getForegroundInterpretation(), 0xFF000000u);

  // An aligned image cannot be copied into the unaligned clone: it comes back clear.
  Ptr<CImg1> aligned = Bits(12, 2, IMG_ALIGN_32, 10);
  Ptr<CImg1> zeros(dynamic_cast<CImg1 *>(aligned->clone()));
  ASSERT_NE(zeros, nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_OK);
  EXPECT_EQ(zeros->getAlignment(), IMG_ALIGN_NONE);
  EXPECT_EQ(SetBits(*zeros), 0u);

  Ptr<CImg1> black(CImg1::create(*Flat32(9, 2, 0), 1, 2, IMG_ALIGN_32));
  EXPECT_EQ(SetBits(*black), 18u);
  EXPECT_EQ(black->getAlignment(), IMG_ALIGN_32);
  EXPECT_EQ(black->getForegroundInterpretation(), 2u);
}

}  // namespace
