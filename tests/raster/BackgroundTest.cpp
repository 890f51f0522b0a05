// Background estimation: the bilevel share of set bits against the user's
// threshold, the most frequent palette index, and the two-stage histogram of the
// 32-bit class with its tie rules and its thresholds.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "Image/Core2DImage.h"
#include "ImgTestSupport.h"

namespace {

using c2d_test::ErrWatch;
using c2d_test::ImageDeleter;

template <typename T>
using Ptr = std::unique_ptr<T, ImageDeleter>;

// Reaches the protected state, which no public call sets to IMG_BG_NONE on a CImg1.
struct Open : CImg1 {
  using CImg1::backgroundState;
};
void SetState(CImg &image, ImgBackgroundState state) { image.*(&Open::backgroundState) = state; }

// A bilevel image of `bytes` bytes, each byte given.
Ptr<CImg1> Bilevel(unsigned w, unsigned h, std::vector<unsigned char> bytes) {
  return Ptr<CImg1>(
      CImg1::create(w, h, bytes.data(), static_cast<unsigned>(bytes.size()), 0, 1, IMG_ALIGN_NONE));
}

class BackgroundTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = std::filesystem::temp_directory_path() /
           ("c2d-background-" + std::to_string(::getpid()) + "-" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::create_directories(dir_ / "core2dimage");
    setenv("XDG_CONFIG_HOME", dir_.c_str(), 1);
  }
  void TearDown() override {
    unsetenv("QVX_REG_ROOT_COMMON_RETAINED");
    unsetenv("XDG_CONFIG_HOME");
    std::filesystem::remove_all(dir_);
  }
  void SetThreshold(int percent) {
    setenv("QVX_REG_ROOT_COMMON_RETAINED", "Root", 1);
    std::ofstream(dir_ / "core2dimage" / "registry.ini")
        << "[Root\\Orvex2DViewer\\RasterData]\n1BitBGThreshold=" << percent << "\n";
  }

  std::filesystem::path dir_;
};

TEST_F(BackgroundTest, BilevelCountsSetBitsAgainstTheThreshold) {
  // 20 bytes are 160 bits; 88 set is exactly 55%.
  std::vector<unsigned char> bytes(20, 0);
  for (unsigned i = 0; i < 11; ++i) {
    bytes[i] = 0xFF;
  }
  struct Case {
    const char *name;
    unsigned extraBits;  // set in the last byte
    int percent;         // 0 for the default
    unsigned expected;
  };
  const Case cases[] = {{"exactly at 55%", 0, 0, 0},
                        {"one bit over", 1, 0, 1},
                        {"exactly at a setting of 55", 0, 55, 0},
                        {"55% over a setting of 40", 0, 40, 1}};
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    if (c.percent != 0) {
      SetThreshold(c.percent);
    }
    bytes[19] = c.extraBits ? 0x01 : 0x00;
    Ptr<CImg1> image = Bilevel(160, 1, bytes);
    ErrWatch watch;
    EXPECT_EQ(image->calculateBackground(), c.expected);
    EXPECT_EQ(image->getBackgroundState(), IMG_BG_KNOWN);
    EXPECT_EQ(watch.reports(), 0u);
  }
}

TEST_F(BackgroundTest, BilevelPageAtHalfFollowsTheSetting) {
  // Width 4: each byte holds 4 pixels and 4 pad bits, and the pad bits count too.
  Ptr<CImg1> padded = Bilevel(4, 2, {0x0F, 0x0F});
  Ptr<CImg1> half = Bilevel(16, 1, {0xFF, 0x00});
  EXPECT_EQ(half->calculateBackground(), 0u);
  SetThreshold(40);
  EXPECT_EQ(padded->calculateBackground(), 1u);
  EXPECT_EQ(Bilevel(16, 1, {0xFF, 0x00})->calculateBackground(), 1u);
  EXPECT_EQ(half->calculateBackground(), 0u);  // cached
}

TEST_F(BackgroundTest, BilevelCacheAndMissingPixels) {
  Ptr<CImg1> image = Bilevel(8, 1, {0xFF});
  image->setBackgroundColor(7);
  EXPECT_EQ(image->calculateBackground(), 7u);
  SetState(*image, IMG_BG_NONE);
  ErrWatch watch;
  EXPECT_EQ(image->calculateBackground(), 0u);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  EXPECT_EQ(watch.reports(), 1u);
  EXPECT_EQ(image->getBackgroundState(), IMG_BG_NONE);
  // Without pixels nothing is counted as set: paper is 0.
  Ptr<CImg1> bare(CImg1::create());
  EXPECT_EQ(bare->calculateBackground(), 0u);
  EXPECT_EQ(bare->getBackgroundState(), IMG_BG_KNOWN);
}

TEST_F(BackgroundTest, PaletteTakesTheMostFrequentIndex) {
  struct Case {
    const char *name;
    unsigned w, h;
    std::vector<unsigned char> bytes;
    unsigned colour;
    ImgBackgroundState state;
  };
  std::vector<unsigned char> distinct(100);
  for (unsigned i = 0; i < 100; ++i) {
    distinct[i] = static_cast<unsigned char>(i);
  }
  const Case cases[] = {
      {"the last byte is not counted", 1, 5, {1, 1, 9, 9, 9}, 1, IMG_BG_KNOWN},
      {"a tie goes to the lower index", 5, 1, {9, 9, 4, 4, 7}, 4, IMG_BG_KNOWN},
      {"one pixel counts nothing", 1, 1, {42}, 0, IMG_BG_KNOWN},
      {"under a fifth", 10, 10, distinct, 255, IMG_BG_NONE},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    std::vector<unsigned char> bytes = c.bytes;
    Ptr<CImg8> image(CImg8::create(c.w, c.h, bytes.data(), c.w * c.h, nullptr, IMG_ALIGN_NONE));
    ErrWatch watch;
    EXPECT_EQ(image->calculateBackground(), c.colour);
    EXPECT_EQ(image->getBackgroundState(), c.state);
    EXPECT_EQ(CImgErr::get(), IMG_OK);
    EXPECT_EQ(watch.reports(), 1u);
    if (c.state == IMG_BG_NONE) {
      EXPECT_EQ(image->calculateBackground(), 255u);
      EXPECT_EQ(CImgErr::get(), IMG_FAIL);
    }
  }
  Ptr<CImg8> lazy(CImg8::create(4, 4, nullptr, IMG_ALIGN_NONE));
  ErrWatch watch;
  EXPECT_EQ(lazy->calculateBackground(), 0u);
  EXPECT_EQ(watch.reports(), 0u);
  EXPECT_EQ(lazy->getBackgroundState(), IMG_BG_UNKNOWN);
  EXPECT_FALSE(lazy->hasData());
}

TEST_F(BackgroundTest, PaletteViewCountsItsParentsBytesFlat) {
  // Kept as it stands: a 2 x 2 view at the origin counts the first three bytes of
  // the parent's top row (6, 9, 9), not its own pixels (6, 9, 6, ...).
  std::vector<unsigned char> bytes = {6, 9, 9, 1, 6, 2, 3, 4, 5, 5, 5, 5, 5, 5, 5, 5};
  Ptr<CImg8> parent(CImg8::create(4, 4, bytes.data(), 16, nullptr, IMG_ALIGN_NONE));
  Ptr<CImg8> view(CImg8::createRefImg(*parent, Core2DImage::IntRect(0, 0, 1, 1)));
  EXPECT_EQ(view->calculateBackground(), 9u);
}

// Pixels of distinct keys (bits 8..23) that no bucket gathers.
std::vector<unsigned> Spread(unsigned count, unsigned base) {
  std::vector<unsigned> pixels;
  for (unsigned i = 0; i < count; ++i) {
    pixels.push_back((base + i) << 8);
  }
  return pixels;
}

std::vector<unsigned> Join(std::vector<unsigned> a, const std::vector<unsigned> &b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

TEST_F(BackgroundTest, TrueColourTwoStageHistogram) {
  struct Case {
    const char *name;
    std::vector<unsigned> pixels;  // 100 unless said
    unsigned colour;
    ImgBackgroundState state;
  };
  const std::vector<unsigned> tenEqual(10, 0x00ABCDEFu);
  std::vector<unsigned> thirty;  // one bucket, 30 low bytes once each
  for (unsigned i = 0; i < 30; ++i) {
    thirty.push_back(0x00123400u | i);
  }
  const Case cases[] = {
      {"one pixel counts nothing", {0x00FFFFFFu}, 0xFFFFFFFFu, IMG_BG_NONE},
      {"ten equal pixels", tenEqual, 0x00ABCDEFu, IMG_BG_KNOWN},
      {"the last pixel is not counted", Join(Spread(7, 1), {0x00777777u, 0x00777777u, 0x00777777u}),
       0xFFFFFFFFu, IMG_BG_NONE},
      {"19% is too thin", Join(std::vector<unsigned>(19, 0x00445566u), Spread(81, 1)), 0xFFFFFFFFu,
       IMG_BG_NONE},
      {"a heavy bucket of thin colours", Join(thirty, Spread(70, 0x100)), 0xFFFFFFFFu, IMG_BG_NONE},
      {"the top byte of the bucket's first pixel",
       Join(Join({0x11ABCD07u}, std::vector<unsigned>(39, 0x22ABCD05u)), Spread(60, 1)),
       0x11ABCD05u, IMG_BG_KNOWN},
      {"equal buckets: the lower key",
       Join(Join(std::vector<unsigned>(40, 0x00200005u), std::vector<unsigned>(40, 0x00100007u)),
            Spread(20, 0x300)),
       0x00100007u, IMG_BG_KNOWN},
      {"equal low bytes: the lower byte",
       Join(Join(std::vector<unsigned>(30, 0x00300009u), std::vector<unsigned>(30, 0x00300004u)),
            Spread(40, 1)),
       0x00300004u, IMG_BG_KNOWN},
      {"a bucket over the threshold, its colour just at it",
       Join(Join(std::vector<unsigned>(20, 0x00500005u), {0x00500006u}), Spread(79, 1)),
       0x00500005u, IMG_BG_KNOWN},
      {"a bucket just at the threshold",
       Join(std::vector<unsigned>(20, 0x00500005u), Spread(80, 1)), 0xFFFFFFFFu, IMG_BG_NONE},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    std::vector<unsigned> pixels = c.pixels;
    const unsigned n = static_cast<unsigned>(pixels.size());
    const unsigned w = n == 100 ? 10 : n;
    Ptr<CImg32> image(CImg32::create(w, n / w, pixels.data(), n * 4, RGB_ORDER_BGR));
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
  Ptr<CImg32> lazy(CImg32::create(4, 4, RGB_ORDER_BGR));
  ErrWatch watch;
  EXPECT_EQ(lazy->calculateBackground(), 0u);
  EXPECT_EQ(watch.reports(), 0u);
  EXPECT_EQ(lazy->getBackgroundState(), IMG_BG_UNKNOWN);
}

}  // namespace
