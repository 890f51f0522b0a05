// CImg's static helpers, tile counts and threshold setting; CImgErr's count and last code.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Image/Core2DImage.h"
#include "ImgTestSupport.h"

namespace {

struct CImgStatics : CImg {
  using CImg::areTileExtentsValid;
  using CImg::snap90;
};

// Near right angles snap; negative angles and 360 stay; below -360 turns count as unsigned.
TEST(CImgTest, Snap90SnapsNearRightAnglesOnly) {
  const double kFarOut = -1.0e12;  // marks a result below it
  const double cases[][2] = {
      {0.0005, 0.0},      {0.0, 0.0},        {90.0005, 90.0},  {89.9995, 90.0}, {180.0009, 180.0},
      {269.9991, 270.0},  {359.9995, 0.0},   {0.002, 0.002},   {45.0, 45.0},    {-90.0, -90.0},
      {-0.0005, -0.0005}, {360.0, 360.0},    {-360.0, -360.0}, {450.0, 90.0},   {720.0005, 0.0},
      {-450.0, kFarOut},  {1.0e300, 1.0e300}};
  for (const auto &c : cases) {
    double degrees = c[0];
    CImgStatics::snap90(degrees, 0.001);
    EXPECT_TRUE(c[1] == kFarOut ? degrees < kFarOut : degrees == c[1]) << c[0] << ": " << degrees;
  }
}

// Zero tile sizes answer false or 0 rather than divide.
TEST(CImgTest, TileExtentsMustDivideToWithinATenThousandth) {
  EXPECT_TRUE(CImgStatics::areTileExtentsValid(100, 100, 10, 10));
  EXPECT_FALSE(CImgStatics::areTileExtentsValid(100, 100, 10, 30));
  EXPECT_TRUE(CImgStatics::areTileExtentsValid(10001, 10, 10000, 10));
  EXPECT_FALSE(CImgStatics::areTileExtentsValid(10000, 10, 9999, 10));
  EXPECT_FALSE(CImgStatics::areTileExtentsValid(100, 100, 0, 10));
  EXPECT_FALSE(CImgStatics::areTileExtentsValid(100, 100, 10, 0));
  c2d_test::ImgPtr<CImg32> bare(CImg32::create());
  ASSERT_NE(bare, nullptr);
  EXPECT_EQ(bare->getWidthInTiles(), 0u);
  EXPECT_EQ(bare->peekData(), nullptr);  // no header: initData refuses
}

TEST(BGThresholdTest, RootFileSectionAndValueEachDecide) {
  c2d_test::ScopedSettings settings;
  c2d_test::ImgPtr<CImg32> image(CImg32::create(1, 1, RGB_ORDER_BGR));
  const std::string longRoot(1500, 'k');
  const std::string longFile =
      "[" + longRoot.substr(0, 1023) + "\\Orvex2DViewer\\RasterData]\n1BitBGThreshold=30\n";
  const std::string kR = "[R\\Orvex2DViewer\\RasterData]\n";
  const struct {
    const char *name;
    const char *root;  // null: unset
    std::string file;  // empty: no file
    double expected;
  } cases[] = {
      {"no root", nullptr, kR + "1BitBGThreshold=40\n", 0.55},
      {"empty root", "", "[\\Orvex2DViewer\\RasterData]\n1BitBGThreshold=40\n", 0.55},
      {"no file", "R", "", 0.55},
      {"composed key, first section passed over", "Software\\Acme",
       "; viewer settings\n[Other]\n1BitBGThreshold=10\n"
       "[Software\\Acme\\Orvex2DViewer\\RasterData]\n  1BitBGThreshold = 40 \n",
       0.40},
      {"taken with its sign", "R", kR + "1BitBGThreshold=-250\n", -2.5},
      {"a control character cuts the root", "R\x01Ignored", kR + "1BitBGThreshold=70\n", 0.70},
      {"the root is cut at 1023 bytes", longRoot.c_str(), longFile, 0.30},
      {"not a number", "R", kR + "1BitBGThreshold=forty\n", 0.55},
      {"not whole", "R", kR + "1BitBGThreshold=4.5\n", 0.55},
      {"beyond 32 bits", "R", kR + "1BitBGThreshold=99999999999\n", 0.55},
      {"the section must match exactly", "R",
       "[r\\orvex2dviewer\\rasterdata]\n1BitBGThreshold=40\n", 0.55},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    settings.write(c.root, c.file.empty() ? nullptr : c.file.c_str());
    EXPECT_DOUBLE_EQ(image->get1BitBGThreshold(), c.expected);
  }
}

TEST(CImgErrTest, CountsEverySetAndKeepsTheLastCode) {
  char file[] = "test";
  c2d_test::ErrWatch watch;
  CImgErr::set(IMG_OK, file, 1);
  EXPECT_EQ(CImgErr::setr(IMG_DECODE_FAILED, file, 2), IMG_DECODE_FAILED);
  EXPECT_EQ(CImgErr::get(), IMG_DECODE_FAILED);
  EXPECT_EQ(watch.reports(), 2u);  // success counts too

  const std::vector<ImgErr> codes = {IMG_OK,          IMG_FALSE,        IMG_FAIL, IMG_OUT_OF_MEMORY,
                                     IMG_INVALID_ARG, IMG_DECODE_FAILED};
  EXPECT_EQ(std::vector<uint32_t>(codes.begin(), codes.end()),
            (std::vector<uint32_t>{0, 1, 0x80004005u, 0x8007000Eu, 0x80070057u, 0x87004005u}));
}

}  // namespace
