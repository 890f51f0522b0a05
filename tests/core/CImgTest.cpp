// CImg: the protected static helpers and the tile counts of a bare image.
#include <gtest/gtest.h>

#include "Image/Core2DImage.h"
#include "ImgTestSupport.h"

namespace {

// Opens the protected statics to the tests without instantiating anything.
struct CImgStatics : CImg {
  using CImg::areTileExtentsValid;
  using CImg::snap90;
};

// Near right angles snap (tiny positive angles reach 0 through 360 - a); negative
// angles and 360 itself stay; whole turns come off angles above 360; below -360 the
// turns are counted as unsigned 32 bits, far out of range; beyond 64 bits of turns
// the angle stays as it was, without undefined behaviour.
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
    if (c[1] == kFarOut) {
      EXPECT_LT(degrees, kFarOut) << c[0];
    } else {
      EXPECT_EQ(degrees, c[1]) << c[0];
    }
  }
}

TEST(CImgTest, TileExtentsMustDivideToWithinATenThousandth) {
  EXPECT_TRUE(CImgStatics::areTileExtentsValid(100, 100, 10, 10));
  EXPECT_FALSE(CImgStatics::areTileExtentsValid(100, 100, 10, 30));
  EXPECT_TRUE(CImgStatics::areTileExtentsValid(10001, 10, 10000, 10));
  EXPECT_FALSE(CImgStatics::areTileExtentsValid(10000, 10, 9999, 10));
  // A zero tile size divides nothing.
  EXPECT_FALSE(CImgStatics::areTileExtentsValid(100, 100, 0, 10));
  EXPECT_FALSE(CImgStatics::areTileExtentsValid(100, 100, 10, 0));
}

TEST(CImgTest, TileCountsOfABareImageAreZeroNotAFault) {
  c2d_test::ImgPtr<CImg32> bare(CImg32::create());
  ASSERT_NE(bare, nullptr);
  EXPECT_EQ(bare->getWidthInTiles(), 0u);
  EXPECT_EQ(bare->peekData(), nullptr);  // no header: initData refuses
}

}  // namespace
