// Format conversion: Export::xfm's refusals and paths, and the 24-bit widening.
#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "Image/Core2DImage.h"
#include "ImgTestSupport.h"

namespace {

using c2d_test::BufferOf;
using c2d_test::ErrWatch;
using c2d_test::Flat32;
using c2d_test::ImgPtr;
using c2d_test::Make32;
using c2d_test::RandomBits;
using Bytes = std::vector<unsigned char>;
using Words = std::vector<unsigned>;

ImgPtr<CImg8> Palette(unsigned w, unsigned h, Bytes bytes, ColorMap *map = nullptr) {
  return c2d_test::Make8(w, h, std::move(bytes), IMG_ALIGN_NONE, map);
}

ImgPtr<CImg1> Clear1(unsigned w, unsigned h) {
  return ImgPtr<CImg1>(CImg1::create(w, h, 0, 1, IMG_ALIGN_NONE));
}

// Every byte a destination holds, without forcing pixels on a lazy one.
Bytes Snapshot(IImg &image) {
  const void *p = nullptr;
  if (auto *b = dynamic_cast<CImg1 *>(&image)) {
    p = b->peekData();
  } else if (auto *c = dynamic_cast<CImg8 *>(&image); c && c->constDataArray()) {
    p = c->constDataArray()[0];
  } else if (auto *t = dynamic_cast<CImg32 *>(&image); t && t->constDataArray()) {
    p = t->constDataArray()[0];
  }
  const auto *bytes = static_cast<const unsigned char *>(p);
  return p ? Bytes(bytes, bytes + image.getTotalBytes()) : Bytes();
}

TEST(ExportTest, RefusalsLeaveTheDestinationAndReportNothing) {
  ImgPtr<CImg1> bits = RandomBits(8, 2, IMG_ALIGN_NONE, 1);
  ImgPtr<CImg1> bits8 = RandomBits(8, 2, IMG_ALIGN_8, 2),
                wide = RandomBits(9, 2, IMG_ALIGN_NONE, 3);
  ImgPtr<CImg1> small = RandomBits(4, 2, IMG_ALIGN_NONE, 4);
  ImgPtr<CImg8> grey = Palette(8, 2, Bytes(16, 9)), grey2 = Palette(8, 2, Bytes(16, 7));
  ImgPtr<CImg32> colour = Flat32(8, 2, 0x123456), colour2 = Flat32(8, 2, 0x654321);
  ImgPtr<CImg32> tall = Flat32(8, 3, 0), lazy(CImg32::create(8, 2, RGB_ORDER_BGR));
  ColorMap none(0, 255);
  ImgPtr<CImg8> empty = Palette(8, 2, Bytes(16, 0), &none);
  c2d_test::Impostor impostor;  // claims 32 bits, as rendered documents do without rows
  const struct {
    const char *name;
    IImg *dst;
    const IImg *src;
    unsigned mode;
  } cases[] = {
      {"null destination", nullptr, colour.get(), 0},
      {"null source", colour2.get(), nullptr, 0},
      {"lazy destination", lazy.get(), colour.get(), 0},
      {"32 to 8", grey2.get(), colour.get(), 0},
      {"mode 3", bits.get(), colour.get(), 3},
      {"alignment 0 to 8", bits8.get(), bits.get(), 0},
      {"1 to 1, width", wide.get(), bits.get(), 0},
      {"1 to 32, height", tall.get(), bits.get(), 0},
      {"8 to 1, width", small.get(), grey.get(), 0},
      {"8 to 32, no entries", colour2.get(), empty.get(), 0},
      {"32 to smaller 1", small.get(), colour.get(), 0},
      {"32 to 1, mode 2, too short", small.get(), colour.get(), 2},
      {"impostor source", colour2.get(), &impostor, 0},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    const Bytes before = c.dst ? Snapshot(*c.dst) : Bytes();
    ErrWatch watch;
    EXPECT_FALSE(Export::xfm(c.dst, c.src, c.mode));
    EXPECT_EQ(watch.reports(), 0u);
    EXPECT_EQ(c.dst ? Snapshot(*c.dst) : Bytes(), before);
  }
  EXPECT_FALSE(lazy->hasData());  // nothing is forced
}

// From bilevel: a copy keeping the destination's fields, set bits to index 0 and clear to 255,
// or to the foreground and background words as they are.
TEST(ExportTest, ExpansionAndInterpretationFollowTheBits) {
  ColorMap map(2, 255);
  map.entries[1] = {1, 2, 3};
  for (ImgAlignmentEnum align : {IMG_ALIGN_NONE, IMG_ALIGN_8, IMG_ALIGN_32}) {
    for (unsigned w = 1; w <= 19; ++w) {
      SCOPED_TRACE(testing::Message() << "w " << w << " align " << align);
      ImgPtr<CImg1> src = RandomBits(w, 3, align, w, 0x12345678u, 0x80FF0000u);
      ImgPtr<CImg1> copy(CImg1::create(w, 3, 0x11, 0x22, align));
      ImgPtr<CImg8> expanded = Palette(w, 3, Bytes(w * 3, 7), &map);
      ImgPtr<CImg32> words = Flat32(w, 3, 0);
      ASSERT_TRUE(Export::xfm(*copy, *src, 0));
      ASSERT_TRUE(Export::xfm(expanded.get(), *src, 0));
      ASSERT_TRUE(Export::xfm(*words, src.get(), 0));
      EXPECT_EQ(BufferOf(*copy), BufferOf(*src));
      EXPECT_EQ(copy->getBackgroundInterpretation(), 0x11u);
      for (unsigned y = 0; y < 3; ++y) {
        for (unsigned x = 0; x < w; ++x) {
          const bool set = c2d_test::BitAt(*src, x, y);
          ASSERT_EQ(expanded->constDataArray()[y][x], set ? 0 : 255) << x << "," << y;
          ASSERT_EQ((*words)(y, x), set ? 0x80FF0000u : 0x12345678u) << x << "," << y;
        }
      }
      EXPECT_EQ(expanded->getColorMap()->entries[1].blue, 3);
    }
  }
}

// Palettes looked up in the destination's order; colours copied or their channels exchanged.
TEST(ExportTest, ToTrueColourByPaletteCopyOrExchange) {
  ColorMap map(3, 255);
  map.entries[0] = {10, 20, 30};
  map.entries[1] = {300, 0, 0};  // not clamped: spills into the next byte
  ImgPtr<CImg8> palette = Palette(4, 1, {0, 1, 2, 200}, &map);
  ImgPtr<CImg32> bgr = Flat32(4, 1, 0xDEADu, RGB_ORDER_BGR), rgb = Flat32(4, 1, 0, RGB_ORDER_RGB);
  ASSERT_TRUE(Export::xfm(bgr.get(), palette.get(), 0));
  ASSERT_TRUE(Export::xfm(rgb.get(), palette.get(), 0));
  // Index 200 lies beyond the three entries and reads as black.
  EXPECT_EQ(BufferOf(*bgr), (Words{0x000A141Eu, 0x012C0000u, 0, 0}));
  EXPECT_EQ(BufferOf(*rgb), (Words{0x001E140Au, 0x0000012Cu, 0, 0}));

  ImgPtr<CImg32> src = Make32(2, 1, {0xAABBCCDDu, 0x01020304u});
  ImgPtr<CImg32> same = Flat32(2, 1, 0), other = Flat32(2, 1, 0, RGB_ORDER_RGB);
  ASSERT_TRUE(Export::xfm(same.get(), src.get(), 0));
  EXPECT_EQ(BufferOf(*same), BufferOf(*src));
  // The destination's background is marked known, even from an unknown one.
  EXPECT_EQ(same->getBackgroundState(), IMG_BG_KNOWN);
  EXPECT_EQ(same->getBackgroundColor(), 0u);
  src->setBackgroundColor(0x00112233u);
  ASSERT_TRUE(Export::xfm(other.get(), src.get(), 0));
  EXPECT_EQ(BufferOf(*other), (Words{0xAADDCCBBu, 0x01040302u}));
  EXPECT_EQ(other->getBackgroundColor(), 0x11u);  // one byte, not a rearranged colour

  // A palette view is read through its rows; kept as it stands, a colour view is copied as
  // one block from its first row on.
  ImgPtr<CImg8> parent8 = Palette(4, 4, c2d_test::Sequence<unsigned char>(16));
  ImgPtr<CImg32> parent32 = Make32(4, 4, c2d_test::Sequence(16, 0u));
  ImgPtr<const CImg8> view8(CImg8::createCRefImg(*parent8, Core2DImage::IntRect(1, 1, 2, 2)));
  ImgPtr<const CImg32> view32(CImg32::createCRefImg(*parent32, ImgRect(1, 1, 2, 2)));
  ImgPtr<CImg32> out8 = Flat32(2, 2, 0), out32 = Flat32(2, 2, 0);
  ASSERT_TRUE(Export::xfm(out8.get(), view8.get(), 0));
  ASSERT_TRUE(Export::xfm(out32.get(), view32.get(), 0));
  EXPECT_EQ(BufferOf(*out8), (Words{0x050505u, 0x060606u, 0x090909u, 0x0A0A0Au}));
  EXPECT_EQ(BufferOf(*out32), (Words{5, 6, 7, 8}));
}

// Greys 100, 112, 120, 200, 129 tone to 82, 101, 114, 230, 129. An error of 82 sends 36 right,
// 15 lower left, 26 below, 5 lower right; -25 takes 11 from the right. Byte 0 weighs as blue.
TEST(ExportTest, DiffusionReadsColoursAndPalettesAsTheyAre) {
  ColorMap map(3, 255);
  map.entries[0] = {1000, 1000, 1000};  // clamped to white
  map.entries[1] = {-50, -50, -50};     // clamped to black
  map.entries[2] = {255, 255, 255};
  const struct {
    const char *name;
    ImgPtr<IImg> src;
    Bytes bits;
  } cases[] = {
      {"alone 120", Palette(1, 1, {120}), {0x80}},
      {"82 pushes right over", Palette(2, 1, {100, 120}), {0x80}},
      {"82 pushes down over", Palette(1, 2, {100, 120}), {0x80, 0x00}},
      {"alone 129", Palette(1, 1, {129}), {0x00}},
      {"-25 pulls right under", Palette(2, 1, {200, 129}), {0x40}},
      {"-25 pulls right to exactly 128, still paper", Palette(2, 1, {200, 135}), {0x00}},
      {"mid-grey sets its first pixel", Palette(1, 1, {128}), {0x80}},
      {"82 pushes lower left over", Palette(2, 2, {255, 100, 120, 255}), {0x40, 0x00}},
      {"82 pushes lower right over", Palette(2, 2, {100, 255, 255, 112}), {0x80, 0x00}},
      {"blue byte 0", Flat32(1, 1, 0x000080FFu, RGB_ORDER_RGB), {0x80}},
      {"red byte 2", Flat32(1, 1, 0x00FF8000u), {0x00}},
      // (77 * 37 + 150 * 200 + 29 * 2) / 256 = 128.54, cut to 128: mid-grey, which sets.
      {"luminance cut toward zero", Flat32(1, 1, 0x0025C802u), {0x80}},
      {"channel above 255", Palette(1, 1, {0}, &map), {0x00}},
      {"channel below 0", Palette(1, 1, {1}, &map), {0x80}},
      {"index beyond the palette", Palette(1, 1, {9}, &map), {0x80}},  // no entry 9: black
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    ImgPtr<CImg1> dst = Clear1(c.src->getWidth(), c.src->getHeight());
    ASSERT_TRUE(Export::xfm(dst.get(), c.src.get(), 0));
    EXPECT_EQ(BufferOf(*dst), c.bits);
  }

  // Separation (mode 2) masks what differs from the background.
  ImgPtr<CImg32> src =
      Make32(5, 1, {0x00FFFFFFu, 0x7FFFFFFFu, 0x00FFFFFEu, 0x00000000u, 0xFFFFFFFFu});
  ImgPtr<CImg1> unknown = Clear1(5, 1), masked = Clear1(5, 1);
  ASSERT_TRUE(Export::xfm(unknown.get(), src.get(), 2));
  EXPECT_EQ(unknown->peekData()[0], 0xE8);  // an unknown background is used as it is: 0
  src->setBackgroundColor(0x00FFFFFFu);
  ASSERT_TRUE(Export::xfm(masked.get(), src.get(), 2));
  EXPECT_EQ(masked->peekData()[0], 0x30);  // alpha alone does not count

  // A larger destination takes the bits laid out by the source's width: 3 + 3, not 8 + 8.
  ImgPtr<CImg1> larger = Clear1(8, 2);
  ASSERT_TRUE(Export::xfm(larger.get(), Make32(3, 2, {1, 0, 1, 0, 1, 0}).get(), 2));
  EXPECT_EQ(BufferOf(*larger), Bytes({0xA8, 0x00}));
}

// Packed 3-byte pixels, rows padded under IMG_ALIGN_32, widen in place; orders only label.
TEST(ExportTest, CreateFrom24) {
  for (ImgAlignmentEnum align : {IMG_ALIGN_NONE, IMG_ALIGN_32}) {
    for (unsigned w = 1; w <= 5; ++w) {
      SCOPED_TRACE(testing::Message() << "w " << w << " align " << align);
      Bytes src;
      Words expected;
      for (unsigned y = 0; y < 2; ++y) {
        for (unsigned x = 0; x < w; ++x) {
          const unsigned char b = static_cast<unsigned char>(16 * y + 3 * x);
          src.insert(src.end(),
                     {b, static_cast<unsigned char>(b + 1), static_cast<unsigned char>(b + 2)});
          expected.push_back(b | ((b + 1) << 8) | ((b + 2) << 16));
        }
        src.insert(src.end(), align == IMG_ALIGN_32 ? w % 4 : 0, 0xEE);  // pads 1, 2, 3, 0
      }
      const unsigned len = static_cast<unsigned>(src.size());
      ImgPtr<CImg32> image(
          CImg32::createFrom24(w, 2, src.data(), len, align, RGB_ORDER_BGR, RGB_ORDER_RGB));
      ASSERT_NE(image, nullptr);
      EXPECT_EQ(BufferOf(*image), expected);
    }
  }
  // Three quarters of the size pass although padded rows need 45 bytes: the rest reads 0.
  Bytes bytes(36, 0x5A);
  ImgPtr<CImg32> padded(
      CImg32::createFrom24(3, 4, bytes.data(), 36, IMG_ALIGN_32, RGB_ORDER_BGR, RGB_ORDER_BGR));
  ASSERT_NE(padded, nullptr);
  Words expected(9, 0x5A5A5Au);
  expected.resize(12, 0u);
  EXPECT_EQ(BufferOf(*padded), expected);
  EXPECT_EQ(
      CImg32::createFrom24(2, 2, bytes.data(), 11, IMG_ALIGN_NONE, RGB_ORDER_BGR, RGB_ORDER_BGR),
      nullptr);  // three quarters less one
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
}

}  // namespace
