// Background estimation: the bilevel share of set bits against the user's
// threshold, the most frequent palette index, and the two-stage histogram of the
// 32-bit class with its tie rules and its thresholds.
#include <gtest/gtest.h>

#include <vector>

#include "Image/Core2DImage.h"
#include "ImgTestSupport.h"

namespace {

using c2d_test::ErrWatch;
using c2d_test::ImgPtr;
using c2d_test::Make1;

TEST(BackgroundTest, BilevelCountsSetBitsAgainstTheThreshold) {
  c2d_test::ScopedSettings settings;
  std::vector<unsigned char> share55(20, 0);  // 88 of 160 bits set: exactly 55%
  std::fill(share55.begin(), share55.begin() + 11, 0xFF);
  std::vector<unsigned char> over55 = share55;
  over55[19] = 0x01;
  struct Case {
    const char *name;
    unsigned w;
    std::vector<unsigned char> bytes;
    int percent;  // 0 for no setting
    unsigned expected;
  };
  const Case cases[] = {
      {"exactly at 55%", 160, share55, 0, 0},
      {"one bit over", 160, over55, 0, 1},
      {"exactly at a setting of 55", 160, share55, 55, 0},
      {"55% over a setting of 40", 160, share55, 40, 1},
      {"pad bits count too", 4, {0x0F, 0x0F}, 40, 1},  // the pixels alone are clear
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    settings.write(nullptr, nullptr);
    if (c.percent != 0) {
      settings.writeThreshold(c.percent);
    }
    const unsigned h = static_cast<unsigned>(c.bytes.size()) / ((c.w + 7) / 8);
    ImgPtr<CImg1> image = Make1(c.w, h, c.bytes);
    EXPECT_EQ(image->calculateBackground(), c.expected);
    settings.writeThreshold(c.expected ? 99 : 1);
    EXPECT_EQ(image->calculateBackground(), c.expected);  // cached
  }
}

TEST(BackgroundTest, BilevelCacheAndMissingPixels) {
  ImgPtr<CImg1> image = Make1(8, 1, {0xFF});
  image->setBackgroundColor(7);
  EXPECT_EQ(image->calculateBackground(), 7u);
  // No public call sets IMG_BG_NONE on a bilevel image: reach the protected state.
  struct Open : CImg1 {
    using CImg1::backgroundState;
  };
  image.get()->*(&Open::backgroundState) = IMG_BG_NONE;
  ErrWatch watch;
  EXPECT_EQ(image->calculateBackground(), 0u);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  EXPECT_EQ(watch.reports(), 1u);
  EXPECT_EQ(image->getBackgroundState(), IMG_BG_NONE);
  // Without pixels nothing is counted as set: paper is 0.
  ImgPtr<CImg1> bare(CImg1::create());
  EXPECT_EQ(bare->calculateBackground(), 0u);
  EXPECT_EQ(bare->getBackgroundState(), IMG_BG_KNOWN);
}

TEST(BackgroundTest, PaletteTakesTheMostFrequentIndex) {
  struct Case {
    const char *name;
    unsigned w, h;
    std::vector<unsigned char> bytes;
    unsigned colour;
    ImgBackgroundState state;
  };
  const Case cases[] = {
      {"the last byte is not counted", 1, 5, {1, 1, 9, 9, 9}, 1, IMG_BG_KNOWN},
      {"a tie goes to the lower index", 5, 1, {9, 9, 4, 4, 7}, 4, IMG_BG_KNOWN},
      {"one pixel counts nothing", 1, 1, {42}, 0, IMG_BG_KNOWN},
      {"under a fifth", 10, 10, c2d_test::Sequence<unsigned char>(100), 255, IMG_BG_NONE},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    ImgPtr<CImg8> image = c2d_test::Make8(c.w, c.h, c.bytes);
    EXPECT_EQ(image->calculateBackground(), c.colour);
    EXPECT_EQ(image->getBackgroundState(), c.state);
    EXPECT_EQ(CImgErr::get(), IMG_OK);
    if (c.state == IMG_BG_NONE) {
      EXPECT_EQ(image->calculateBackground(), 255u);
      EXPECT_EQ(CImgErr::get(), IMG_FAIL);
    }
  }
  ImgPtr<CImg8> lazy(CImg8::create(4, 4, nullptr, IMG_ALIGN_NONE));
  EXPECT_EQ(lazy->calculateBackground(), 0u);
  EXPECT_FALSE(lazy->hasData());
  // Kept as it stands: a 2 x 2 view at the origin counts the first three bytes of
  // the parent's top row (6, 9, 9), not its own pixels (6, 9, 6, ...).
  ImgPtr<CImg8> parent = c2d_test::Make8(4, 4, {6, 9, 9, 1, 6, 2, 3, 4, 5, 5, 5, 5, 5, 5, 5, 5});
  ImgPtr<CImg8> view(CImg8::createRefImg(*parent, Core2DImage::IntRect(0, 0, 1, 1)));
  EXPECT_EQ(view->calculateBackground(), 9u);
}

// n pixels of distinct keys (bits 8..23) that no bucket gathers, after `head`.
std::vector<unsigned> Spread(std::vector<unsigned> head, unsigned n, unsigned base = 1) {
  for (unsigned i = 0; i < n; ++i) {
    head.push_back((base + i) << 8);
  }
  return head;
}

std::vector<unsigned> Repeat(std::vector<unsigned> head, unsigned n, unsigned pixel) {
  head.insert(head.end(), n, pixel);
  return head;
}

TEST(BackgroundTest, TrueColourTwoStageHistogram) {
  const unsigned kNone = 0xFFFFFFFFu;
  const std::vector<unsigned> thirty = c2d_test::Sequence(30, 0x00123400u);  // one bucket
  struct Case {
    const char *name;
    std::vector<unsigned> pixels;  // 10 wide when 100, else one row
    unsigned colour;
    ImgBackgroundState state;
  };
  // clang-format off
  const Case cases[] = {
      {"one pixel counts nothing", {0x00FFFFFFu}, kNone, IMG_BG_NONE},
      {"ten equal pixels", Repeat({}, 10, 0x00ABCDEFu), 0x00ABCDEFu, IMG_BG_KNOWN},
      {"the last pixel is not counted", Repeat(Spread({}, 7), 3, 0x00777777u), kNone, IMG_BG_NONE},
      {"19% is too thin", Spread(Repeat({}, 19, 0x00445566u), 81), kNone, IMG_BG_NONE},
      {"a heavy bucket of thin colours", Spread(thirty, 70, 0x100), kNone, IMG_BG_NONE},
      {"the top byte of the bucket's first pixel", Spread(Repeat({0x11ABCD07u}, 39, 0x22ABCD05u), 60), 0x11ABCD05u, IMG_BG_KNOWN},
      {"equal buckets: the lower key", Spread(Repeat(Repeat({}, 40, 0x00200005u), 40, 0x00100007u), 20, 0x300), 0x00100007u, IMG_BG_KNOWN},
      {"equal low bytes: the lower byte", Spread(Repeat(Repeat({}, 30, 0x00300009u), 30, 0x00300004u), 40), 0x00300004u, IMG_BG_KNOWN},
      {"a bucket over the threshold, its colour just at it", Spread(Repeat(Repeat({}, 20, 0x00500005u), 1, 0x00500006u), 79), 0x00500005u, IMG_BG_KNOWN},
      {"a bucket just at the threshold", Spread(Repeat({}, 20, 0x00500005u), 80), kNone, IMG_BG_NONE},
  };
  // clang-format on
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    const unsigned n = static_cast<unsigned>(c.pixels.size()), w = n == 100 ? 10 : n;
    ImgPtr<CImg32> image = c2d_test::Make32(w, n / w, c.pixels);
    ASSERT_NE(image, nullptr);
    ErrWatch watch;
    EXPECT_EQ(image->calculateBackground(), c.colour);
    EXPECT_EQ(image->getBackgroundState(), c.state);
    EXPECT_EQ(CImgErr::get(), IMG_OK);
    EXPECT_EQ(watch.reports(), 1u);
    // Cached from now on, in either state, and still reported as IMG_OK.
    EXPECT_EQ(image->calculateBackground(), c.colour);
    EXPECT_EQ(CImgErr::get(), IMG_OK);
  }
}

}  // namespace
