// CImg: the shared header arithmetic, the protected static helpers, the untyped
// pointer helpers and CImgTile.
#include <gtest/gtest.h>

#include <vector>

#include "Image/Core2DImage.h"

namespace {

// Opens the protected statics to the tests without instantiating anything.
struct CImgStatics : CImg {
  using CImg::areTileExtentsValid;
  using CImg::ScaleHow;
  using CImg::snap90;
};

TEST(CImgTest, ScaleHowClassifiesEachDirection) {
  EXPECT_EQ(CImgStatics::ScaleHow(10, 10, 10, 10), IMG_SCALE_SAME);
  EXPECT_EQ(CImgStatics::ScaleHow(10, 10, 10, 20), IMG_SCALE_ENLARGE);
  EXPECT_EQ(CImgStatics::ScaleHow(10, 10, 20, 10), IMG_SCALE_ENLARGE);
  EXPECT_EQ(CImgStatics::ScaleHow(10, 10, 20, 20), IMG_SCALE_ENLARGE);
  EXPECT_EQ(CImgStatics::ScaleHow(10, 10, 10, 5), IMG_SCALE_REDUCE);
  EXPECT_EQ(CImgStatics::ScaleHow(10, 10, 5, 10), IMG_SCALE_REDUCE);
  EXPECT_EQ(CImgStatics::ScaleHow(10, 10, 5, 5), IMG_SCALE_REDUCE);
  EXPECT_EQ(CImgStatics::ScaleHow(10, 10, 5, 20), IMG_SCALE_REDUCE_X_ENLARGE_Y);
  EXPECT_EQ(CImgStatics::ScaleHow(10, 10, 20, 5), IMG_SCALE_ENLARGE_X_REDUCE_Y);
}

double Snapped(double degrees) {
  CImgStatics::snap90(degrees, 0.001);
  return degrees;
}

TEST(CImgTest, Snap90SnapsNearRightAnglesOnly) {
  // Tiny positive angles reach 0 through 360 - a.
  EXPECT_EQ(Snapped(0.0005), 0.0);
  EXPECT_EQ(Snapped(0.0), 0.0);
  EXPECT_EQ(Snapped(90.0005), 90.0);
  EXPECT_EQ(Snapped(89.9995), 90.0);
  EXPECT_EQ(Snapped(180.0009), 180.0);
  EXPECT_EQ(Snapped(269.9991), 270.0);
  EXPECT_EQ(Snapped(359.9995), 0.0);
  EXPECT_EQ(Snapped(0.002), 0.002);
  EXPECT_EQ(Snapped(45.0), 45.0);
  // Negative angles are not brought into range, and 360 itself stays.
  EXPECT_EQ(Snapped(-90.0), -90.0);
  EXPECT_EQ(Snapped(-0.0005), -0.0005);
  EXPECT_EQ(Snapped(360.0), 360.0);
  EXPECT_EQ(Snapped(-360.0), -360.0);
  // Whole turns come off angles above 360.
  EXPECT_EQ(Snapped(450.0), 90.0);
  EXPECT_EQ(Snapped(720.0005), 0.0);
  // Below -360 the turn count is taken as unsigned 32 bits: far out of range.
  EXPECT_LT(Snapped(-450.0), -1.0e12);
  // A turn count beyond 64 bits leaves the angle as it was, without undefined
  // behaviour.
  EXPECT_EQ(Snapped(1.0e300), 1.0e300);
}

TEST(CImgTest, TileExtentsMustDivideToWithinATenThousandth) {
  EXPECT_TRUE(CImgStatics::areTileExtentsValid(100, 100, 10, 10));
  EXPECT_FALSE(CImgStatics::areTileExtentsValid(100, 100, 30, 10));
  EXPECT_FALSE(CImgStatics::areTileExtentsValid(100, 100, 10, 30));
  EXPECT_TRUE(CImgStatics::areTileExtentsValid(10001, 10, 10000, 10));
  EXPECT_FALSE(CImgStatics::areTileExtentsValid(10000, 10, 9999, 10));
  // A zero tile size divides nothing.
  EXPECT_FALSE(CImgStatics::areTileExtentsValid(100, 100, 0, 10));
  EXPECT_FALSE(CImgStatics::areTileExtentsValid(100, 100, 10, 0));
}

TEST(CImgTest, HeaderAccessorsAndTileCounts) {
  CImg32 *image = CImg32::create(100, 7, RGB_ORDER_RGB);
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->getBitsPerSample(), 8u);
  EXPECT_EQ(image->getSamplesPerPixel(), 4u);
  EXPECT_EQ(image->getBitDepth(), 32u);
  EXPECT_EQ(image->getType(), IMG_TYPE_32BIT);
  EXPECT_EQ(image->getWidthInTiles(), 1u);
  EXPECT_EQ(image->getHeightInTiles(), 1u);
  EXPECT_EQ(image->getLeft(), 0);
  EXPECT_EQ(image->getTop(), 0);
  EXPECT_EQ(image->getRight(), 99);
  EXPECT_EQ(image->getBottom(), 6);
  EXPECT_EQ(image->getBackgroundState(), IMG_BG_UNKNOWN);
  EXPECT_FALSE(image->isBackgroundKnown());
  image->setBackgroundColor(5);
  EXPECT_TRUE(image->isBackgroundKnown());
  EXPECT_EQ(image->getBackgroundState(), IMG_BG_KNOWN);
  CImgErr::set(IMG_INVALID_ARG, nullptr, 0);
  EXPECT_EQ(image->getLastError(), IMG_INVALID_ARG);

  ImgRect r(2, 10, 5, 20);
  CImg32 *tall = CImg32::create(4, 100, RGB_ORDER_BGR);
  ASSERT_NE(tall, nullptr);
  tall->getYUpSubrect(r);
  EXPECT_EQ(r.getTop(), 79u);
  EXPECT_EQ(r.getBottom(), 89u);
  EXPECT_EQ(r.getLeft(), 2u);
  EXPECT_EQ(r.getRight(), 5u);
  delete tall;
  delete image;
}

TEST(CImgTest, TileCountsOfABareImageAreZeroNotAFault) {
  CImg32 *bare = CImg32::create();
  ASSERT_NE(bare, nullptr);
  EXPECT_EQ(bare->getWidthInTiles(), 0u);
  EXPECT_EQ(bare->getHeightInTiles(), 0u);
  EXPECT_FALSE(bare->hasData());
  EXPECT_EQ(bare->peekData(), nullptr);  // no header: initData refuses
  delete bare;
}

TEST(CImgTest, BaseAnswersOfTheOptionalSlots) {
  CImg32 *image = CImg32::create(4, 4, RGB_ORDER_BGR);
  ASSERT_NE(image, nullptr);
  CImg *base = image;
  CompositeAttr attr;
  const uint32_t before = CImgErr::sm_errtotal;
  EXPECT_EQ(base->CImg::composite(attr, *image), IMG_FAIL);
  EXPECT_FALSE(base->CImg::writePPM("x.ppm"));
  EXPECT_EQ(base->CImg::getSubRef(Core2DImage::IntRect(0, 0, 2, 2)), nullptr);
  EXPECT_EQ(CImgErr::sm_errtotal, before);  // none of these reports
  delete image;
}

TEST(CImgTest, UntypedPointerHelpers) {
  void *p = nullptr;
  EXPECT_FALSE(DeleteImageVoidPtr(p));
  EXPECT_EQ(QueryImageBitDepth(p), 0u);

  p = CImg32::create(3, 3, RGB_ORDER_BGR);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(QueryImageBitDepth(p), 32u);
  EXPECT_TRUE(DeleteImageVoidPtr(p));
  EXPECT_EQ(p, nullptr);
}

TEST(CImgTest, BufferAllocatorPair) {
  void *p = IImg::allocImageBuffer(64);
  ASSERT_NE(p, nullptr);
  IImg::deallocImageBuffer(p);
  EXPECT_EQ(p, nullptr);
  IImg::deallocImageBuffer(p);  // null is fine
  EXPECT_EQ(p, nullptr);
}

TEST(CImgTileTest, DefaultIsClearAndCopiesCopyEverything) {
  CImgTile tile;
  EXPECT_EQ(tile.rect, ImgRect());
  EXPECT_EQ(tile.data, nullptr);
  int payload = 0;
  tile.data = &payload;
  tile.first = 7;
  tile.second = 9;
  tile.rect = ImgRect(1, 2, 3, 4);
  const CImgTile copy(tile);
  EXPECT_EQ(copy.data, &payload);
  EXPECT_EQ(copy.first, 7u);
  EXPECT_EQ(copy.second, 9u);
  EXPECT_EQ(copy.rect, ImgRect(1, 2, 3, 4));
}

}  // namespace
