// CImg1G4: the markers of a bare object, factory failures that report nothing, the
// tile grid over exact and ragged extents with the copied bytes, and setExtents. The
// row cursor is proven by decoding in the scanline tests.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "G4TiledPage.h"

namespace {

using c2d_test::ErrWatch;
using G4Ptr = c2d_test::ImgPtr<CImg1G4>;
constexpr unsigned kUnset = 0xDEADBEEFu;

TEST(CImg1G4Test, BareObjectHoldsMarkersAndStaysSafe) {
  G4Ptr bare(CImg1G4::create());
  ASSERT_NE(bare, nullptr);
  EXPECT_EQ(bare->getBackgroundColor(), kUnset);  // the grey reduction relies on it
  const ErrWatch watch;
  EXPECT_EQ(bare->getTileIterator(), nullptr);
  EXPECT_EQ(watch.reports(), 0u);
  // The marker tile sizes divide without fault, and no grid is read.
  EXPECT_EQ(bare->getWidthInTiles() + bare->getHeightInTiles(), 2u);
  EXPECT_EQ(bare->getTile(0, 0), nullptr);
  g4test::G4Page().InitTileRowDecode();
  unsigned count = 0;
  EXPECT_FALSE(bare->initData(nullptr, &count));
  // The colours are unset, so setExtents accepts and stores nothing.
  EXPECT_TRUE(bare->setExtents(64, 32, 16, 16));
  EXPECT_EQ(bare->getWidth(), 1u);
  EXPECT_EQ(bare->getTileWidth(), kUnset);
}

TEST(CImg1G4Test, FactoryFailuresAreNullAndReportNothing) {
  unsigned char byte = 0;
  unsigned char *oneTile[] = {&byte};
  unsigned char *missing[] = {nullptr};
  unsigned three[] = {3};
  unsigned zero[] = {0};
  struct Case {
    const char *name;
    unsigned w, h, tw, th;
    unsigned char **data;
    unsigned *bytes;
    bool withData;
  };
  const Case cases[] = {
      {"zero width", 0, 8, 8, 8, nullptr, nullptr, false},
      {"zero height", 8, 0, 8, 8, nullptr, nullptr, false},
      {"zero tile width", 8, 8, 0, 8, nullptr, nullptr, false},
      {"zero tile height", 8, 8, 8, 0, nullptr, nullptr, false},
      {"2^32 tiles", 0x10000, 0x10000, 1, 1, nullptr, nullptr, false},
      {"tile wider than page", 10, 10, 16, 10, oneTile, zero, true},
      {"tile taller than page", 10, 10, 10, 11, oneTile, zero, true},
      {"no byte counts", 8, 8, 8, 8, oneTile, nullptr, true},
      {"count without bytes", 8, 8, 8, 8, missing, three, true},
      {"count without arrays", 8, 8, 8, 8, nullptr, three, true},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    const ErrWatch watch;
    EXPECT_EQ(c.withData
                  ? CImg1G4::create(c.w, c.h, c.tw, c.th, c.data, c.bytes, 0, 1, IMG_ALIGN_NONE)
                  : CImg1G4::create(c.w, c.h, c.tw, c.th, 0, 1, IMG_ALIGN_NONE),
              nullptr);
    EXPECT_EQ(watch.reports(), 0u);
  }
  EXPECT_EQ(CImg1G4::create(&byte, 8, 8, IMG_ALIGN_32), nullptr);
  // A huge tile on a tiny page is a valid header that can take no data; its change
  // buffers are sized by the page (else this would allocate gigabytes).
  G4Ptr huge(CImg1G4::create(1, 1, kUnset, kUnset, 0, 1, IMG_ALIGN_NONE));
  ASSERT_NE(huge, nullptr);
  EXPECT_EQ(huge->getNumberOfTiles(), 1u);
  EXPECT_FALSE(huge->initData(oneTile, zero));
}

TEST(CImg1G4Test, GridCopiesTheBytesOfEveryTile) {
  struct Case {
    unsigned w, h, tw, th;
    ImgAlignmentEnum align;
    unsigned across, down, padBits, bytesPerLine;
  };
  const Case cases[] = {
      {64, 32, 16, 16, IMG_ALIGN_NONE, 4, 2, 0, 8},
      {65, 33, 16, 16, IMG_ALIGN_32, 5, 3, 31, 12},
      {100, 7, 100, 7, IMG_ALIGN_8, 1, 1, 4, 13},
      {9, 40, 1, 13, IMG_ALIGN_NONE, 9, 4, 7, 2},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(std::to_string(c.w) + "x" + std::to_string(c.h));
    const unsigned n = c.across * c.down;
    // Tile i holds i % 4 bytes of value i, so every fourth tile has none; the
    // buffers are freed before the image is looked at, as it holds copies.
    std::vector<std::vector<unsigned char>> bytes(n);
    std::vector<unsigned char *> data(n);
    std::vector<unsigned> counts(n);
    unsigned sum = 0;
    for (unsigned i = 0; i < n; ++i) {
      bytes[i].assign(i % 4 + 1, static_cast<unsigned char>(i));
      data[i] = bytes[i].data();
      counts[i] = i % 4;
      sum += counts[i];
    }
    G4Ptr image(CImg1G4::create(c.w, c.h, c.tw, c.th, data.data(), counts.data(), 7, 9, c.align));
    bytes.clear();
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->getWidthInTiles(), c.across);
    EXPECT_EQ(image->getHeightInTiles(), c.down);
    EXPECT_EQ(image->getNumberOfTiles(), n);
    EXPECT_EQ(image->getPadBits(), c.padBits);
    EXPECT_EQ(image->getBytesPerLine(), c.bytesPerLine);
    EXPECT_EQ(image->getTotalBytes(), sum);
    EXPECT_EQ(image->getTile(c.down, 0), nullptr);
    EXPECT_EQ(image->getTile(0, c.across), nullptr);
    for (unsigned i = 0; i < n; ++i) {
      Img1G4Tile *tile = image->getTile(i / c.across, i % c.across);
      ASSERT_NE(tile, nullptr);
      EXPECT_EQ(tile->getXOffset(), i % c.across * c.tw);
      EXPECT_EQ(tile->getYOffset(), i / c.across * c.th);
      EXPECT_EQ(tile->getByteCount(), counts[i]);
      EXPECT_TRUE(counts[i] == 0 ? tile->getData() == nullptr
                                 : tile->getData()[counts[i] - 1] == static_cast<unsigned char>(i));
    }
    // A second copy replaces the first, whose bytes are freed (LeakSanitizer).
    std::vector<unsigned> zeros(n, 0);
    ASSERT_TRUE(image->initData(data.data(), zeros.data()));
    EXPECT_EQ(image->getTotalBytes(), 0u);
    EXPECT_EQ(image->getTile(c.down - 1, c.across - 1)->getData(), nullptr);
  }
}

TEST(CImg1G4Test, SetExtentsRecutsAnImageWithColours) {
  unsigned char bytes[] = {1, 2, 3, 4};
  unsigned char *data[] = {bytes, bytes};
  unsigned counts[] = {4, 4};
  G4Ptr image(CImg1G4::create(16, 8, 8, 8, data, counts, 5, 6, IMG_ALIGN_32));
  ASSERT_NE(image, nullptr);
  EXPECT_FALSE(image->setExtents(30, 20, 7, 7));  // 7 does not divide 30
  EXPECT_EQ(image->getTile(0, 1)->getByteCount(), 4u);
  // Refused by the header (2^32 tiles) but answered true; the grid stays.
  EXPECT_TRUE(image->setExtents(0x10000, 0x10000, 1, 1));
  EXPECT_EQ(image->getWidth(), 16u);
  // A new empty grid; the old tiles and bytes are freed (LeakSanitizer).
  EXPECT_TRUE(image->setExtents(32, 20, 8, 5));
  EXPECT_EQ(image->getNumberOfTiles(), 16u);
  EXPECT_EQ(image->getTile(3, 3)->getData(), nullptr);
  EXPECT_EQ(image->getPadBits(), 0u);
  EXPECT_EQ(image->getBackgroundInterpretation(), 5u);
}

}  // namespace
