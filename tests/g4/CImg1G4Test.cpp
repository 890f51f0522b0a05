// CImg1G4's grid, and cut-outs of pages coded tile by tile by libtiff against the bitmap.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <tuple>
#include <vector>

#include "G4TiledPage.h"

namespace {

using c2d_test::ErrWatch;
using c2d_test::ImgPtr;
using namespace g4test;
using G4Ptr = ImgPtr<CImg1G4>;
constexpr unsigned kUnset = 0xDEADBEEFu;

TEST(CImg1G4Test, BareObjectHoldsMarkersAndStaysSafe) {
  G4Ptr bare(CImg1G4::create());
  ASSERT_NE(bare, nullptr);
  const ErrWatch watch;
  EXPECT_EQ(bare->getTileIterator(), nullptr);
  EXPECT_EQ(watch.reports(), 0u);
  G4Page().InitTileRowDecode();
  unsigned count = 0;
  EXPECT_FALSE(bare->initData(nullptr, &count));
  EXPECT_TRUE(bare->setExtents(64, 32, 16, 16));  // the colours are unset: nothing is stored
  // The grey reduction relies on the unset background; the marker tile sizes divide.
  EXPECT_EQ(
      std::make_tuple(bare->getBackgroundColor(), bare->getWidthInTiles(), bare->getHeightInTiles(),
                      bare->getTile(0, 0), bare->getWidth(), bare->getTileWidth()),
      std::make_tuple(kUnset, 1u, 1u, nullptr, 1u, kUnset));
}

TEST(CImg1G4Test, FactoryFailuresAreNullAndReportNothing) {
  unsigned char byte = 0;
  unsigned char *oneTile[] = {&byte}, *missing[] = {nullptr};
  unsigned three[] = {3}, zero[] = {0};
  struct Case {
    const char *name;
    unsigned w, h, tw, th;
    unsigned char **data;
    unsigned *bytes;  // with neither array, the factory without data
  };
  const Case cases[] = {
      {"zero width", 0, 8, 8, 8, nullptr, nullptr},
      {"zero height", 8, 0, 8, 8, nullptr, nullptr},
      {"zero tile width", 8, 8, 0, 8, nullptr, nullptr},
      {"zero tile height", 8, 8, 8, 0, nullptr, nullptr},
      {"2^32 tiles", 0x10000, 0x10000, 1, 1, nullptr, nullptr},
      {"tile wider than page", 10, 10, 16, 10, oneTile, zero},
      {"tile taller than page", 10, 10, 10, 11, oneTile, zero},
      {"no byte counts", 8, 8, 8, 8, oneTile, nullptr},
      {"count without bytes", 8, 8, 8, 8, missing, three},
      {"count without arrays", 8, 8, 8, 8, nullptr, three},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    const ErrWatch watch;
    EXPECT_EQ(c.data != nullptr || c.bytes != nullptr
                  ? CImg1G4::create(c.w, c.h, c.tw, c.th, c.data, c.bytes, 0, 1, IMG_ALIGN_NONE)
                  : CImg1G4::create(c.w, c.h, c.tw, c.th, 0, 1, IMG_ALIGN_NONE),
              nullptr);
    EXPECT_EQ(watch.reports(), 0u);
  }
  EXPECT_EQ(CImg1G4::create(&byte, 8, 8, IMG_ALIGN_32), nullptr);
  // A huge tile on a tiny page: a valid header taking no data, buffers sized by the page.
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
    SCOPED_TRACE(testing::Message() << c.w << "x" << c.h);
    const unsigned n = c.across * c.down;
    // Tile i holds i % 4 bytes of value i, freed before the image is read: it holds copies.
    std::vector<std::vector<unsigned char>> bytes(n);
    std::vector<unsigned char *> data(n);
    std::vector<unsigned> counts(n), zeros(n, 0);
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
    EXPECT_EQ(
        std::make_tuple(image->getWidthInTiles(), image->getHeightInTiles(),
                        image->getNumberOfTiles(), image->getPadBits(), image->getBytesPerLine(),
                        image->getTotalBytes(), image->getTile(c.down, 0),
                        image->getTile(0, c.across)),
        std::make_tuple(c.across, c.down, n, c.padBits, c.bytesPerLine, sum, nullptr, nullptr));
    // The tile iterator hands out the same tiles in grid order.
    std::unique_ptr<Img1G4TileIterator> it(image->getTileIterator());
    ASSERT_NE(it, nullptr);
    EXPECT_EQ(it->getWidthInTiles() * 100 + it->getHeightInTiles(), c.across * 100 + c.down);
    unsigned char *handed = nullptr;
    unsigned length = 0, x, y, tw, th, vw, vh;
    for (unsigned i = 0; i < n; ++i) {
      Img1G4Tile *tile = image->getTile(i / c.across, i % c.across);
      ASSERT_NE(tile, nullptr);
      ASSERT_TRUE(it->getNextTile(handed, length, x, y, tw, th, vw, vh));
      const unsigned char *d = tile->getData();
      const unsigned x0 = i % c.across * c.tw, y0 = i / c.across * c.th;
      EXPECT_EQ(std::make_tuple(tile->getXOffset(), tile->getYOffset(), tile->getByteCount(),
                                counts[i] == 0 ? d == nullptr : d[counts[i] - 1] == i % 256),
                std::make_tuple(x0, y0, counts[i], true))
          << i;
      EXPECT_EQ(std::vector<unsigned>({x, y, tw, th, vw, vh, length}),
                std::vector<unsigned>({x0, y0, c.tw, c.th, std::min(c.tw, c.w - x0),
                                       std::min(c.th, c.h - y0), counts[i]}));
      EXPECT_EQ(handed, d);
    }
    EXPECT_FALSE(it->getNextTile(handed, length, x, y, tw, th, vw, vh));
    // A second copy replaces the first, whose bytes are freed (LeakSanitizer).
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
  // Refused by the header (2^32 tiles) but answered true; the grid stays.
  EXPECT_TRUE(image->setExtents(0x10000, 0x10000, 1, 1));
  EXPECT_EQ(std::make_pair(image->getWidth(), image->getTile(0, 1)->getByteCount()),
            std::make_pair(16u, 4u));
  // A new empty grid; the old tiles and bytes are freed (LeakSanitizer).
  EXPECT_TRUE(image->setExtents(32, 20, 8, 5));
  EXPECT_EQ(std::make_tuple(image->getNumberOfTiles(), image->getTile(3, 3)->getData(),
                            image->getPadBits(), image->getBackgroundInterpretation()),
            std::make_tuple(16u, nullptr, 0u, 5u));
}

TEST(G4ScanlineTest, CutOutsPaintTheRunsOfTheirRectangles) {
  struct Layout {
    unsigned w, h, tw, th;
    ImgAlignmentEnum align;
  };
  // Square and ragged tiles, strips (one tile column), one tile, and 32-bit rows.
  const Layout layouts[] = {{67, 50, 16, 16, IMG_ALIGN_NONE},
                            {67, 50, 24, 7, IMG_ALIGN_NONE},
                            {67, 50, 67, 13, IMG_ALIGN_NONE},
                            {64, 40, 64, 40, IMG_ALIGN_NONE},
                            {100, 37, 32, 16, IMG_ALIGN_32}};
  Rng rng(11);
  for (const Layout &l : layouts) {
    for (unsigned paper : {0u, 1u}) {
      SCOPED_TRACE(testing::Message()
                   << l.w << " in tiles " << l.tw << "x" << l.th << ", paper " << paper);
      TiledPage page = MakeTiledPage(StrokePage(l.w, l.h, l.tw), l.tw, l.th, l.align);
      page.image->setBackgroundColor(paper);
      std::vector<ImgRect> rects = {ImgRect(0u, 0u, l.w - 1, l.h - 1)};
      for (int i = 0; i < 30; ++i) {
        const unsigned x0 = rng.below(l.w), y0 = rng.below(l.h);
        rects.emplace_back(x0, y0, x0 + rng.below(l.w - x0), y0 + rng.below(l.h - y0));
      }
      const ErrWatch watch;
      for (const ImgRect &r : rects) {
        SCOPED_TRACE(testing::Message()
                     << r.left << "," << r.top << " to " << r.right << "," << r.bottom);
        const ImgPtr<CImg1> cut = Cut(*page.image, r);
        ASSERT_NE(cut, nullptr);
        EXPECT_EQ(cut->getBackgroundInterpretation(), 0xFFFFFFu);
        EXPECT_EQ(FirstDifference(BitsOf(*cut), Paint(PaintedRuns(page, r, paper != 0), r)), "");
      }
      EXPECT_EQ(watch.reports(), 0u);
      // The conversion factory decompresses the whole page the same way.
      const ImgPtr<CImg1> whole(CImg1::create(*page.image, 0, 1, IMG_ALIGN_NONE));
      EXPECT_EQ(FirstDifference(BitsOf(*whole), BitsOf(*Cut(*page.image, rects[0]))), "");
    }
  }
}

TEST(G4ScanlineTest, AnUnknownBackgroundIsSettledByTheShareOfBlack) {
  // No pad bits and a white last column: the code's count and CImg1's see the same pixels.
  const ImgRect all(0u, 0u, 63u, 39u);
  for (double density : {0.1, 0.5, 0.53, 0.57, 0.9}) {
    SCOPED_TRACE(density);
    Bitmap src(64, 40);
    Rng rng(static_cast<uint64_t>(density * 100));
    Noise(src, rng, density);
    for (unsigned y = 0; y < 40; ++y) {
      src.set(63, y, false);
    }
    const ImgPtr<CImg1> plain(CImg1::create(64, 40, src.bits.data(), 320, 0, 1, IMG_ALIGN_NONE));
    const unsigned fromCode = MakeTiledPage(src, 16, 16).image->calculateBackground();
    EXPECT_EQ(fromCode, plain->calculateBackground());
    EXPECT_EQ(fromCode, density > 0.55 ? 1u : 0u);
    // A cut-out settles an unknown background the same way; a dark page comes out inverted.
    TiledPage fresh = MakeTiledPage(src, 16, 16);
    const ImgPtr<CImg1> cut = Cut(*fresh.image, all);
    EXPECT_EQ(std::make_tuple(fresh.image->getBackgroundState(), fresh.image->getBackgroundColor(),
                              cut->getBackgroundColor()),
              std::make_tuple(IMG_BG_KNOWN, fromCode, 0u));
    for (uint8_t &b : src.bits) {
      b = fromCode == 1 ? static_cast<uint8_t>(~b) : b;
    }
    EXPECT_EQ(FirstDifference(BitsOf(*cut), src), "");
  }
  // Exactly at the threshold the page is not inverted: 11 of 20 pixels is 0.55.
  for (unsigned black : {11u, 12u}) {
    Bitmap row(20, 1);
    row.fill(0, black, 0);
    TiledPage page = MakeTiledPage(row, 20, 1);
    Cut(*page.image, ImgRect(0u, 0u, 19u, 0u));
    EXPECT_EQ(page.image->getBackgroundColor(), black == 12 ? 1u : 0u) << black;
  }
}

}  // namespace
