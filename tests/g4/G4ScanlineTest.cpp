// Decompressing a CImg1G4 from its code: rectangles of pages coded tile by tile by
// libtiff against the source bitmap, the background counted from the code, and dark
// pages.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "G4TiledPage.h"

namespace {

using c2d_test::ErrWatch;
using c2d_test::ImgPtr;
using g4test::Bitmap;
using g4test::BitsOf;
using g4test::Cut;
using g4test::FirstDifference;
using g4test::MakeTiledPage;
using g4test::TiledPage;

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
  g4test::Rng rng(11);
  for (const Layout &l : layouts) {
    for (unsigned paper : {0u, 1u}) {
      SCOPED_TRACE(std::to_string(l.w) + " in tiles " + std::to_string(l.tw) + "x" +
                   std::to_string(l.th) + ", paper " + std::to_string(paper));
      TiledPage page = MakeTiledPage(g4test::StrokePage(l.w, l.h, l.tw), l.tw, l.th, l.align);
      page.image->setBackgroundColor(paper);
      std::vector<ImgRect> rects = {ImgRect(0u, 0u, l.w - 1, l.h - 1)};
      for (int i = 0; i < 30; ++i) {
        const unsigned x0 = rng.below(l.w), y0 = rng.below(l.h);
        rects.emplace_back(x0, y0, x0 + rng.below(l.w - x0), y0 + rng.below(l.h - y0));
      }
      const ErrWatch watch;
      for (const ImgRect &r : rects) {
        SCOPED_TRACE(std::to_string(r.left) + "," + std::to_string(r.top) + " to " +
                     std::to_string(r.right) + "," + std::to_string(r.bottom));
        const ImgPtr<CImg1> cut = Cut(*page.image, r);
        ASSERT_NE(cut, nullptr);
        EXPECT_EQ(cut->getBackgroundInterpretation(), 0xFFFFFFu);
        const Bitmap expected = g4test::Paint(PaintedRuns(page, r, paper != 0), r);
        EXPECT_EQ(FirstDifference(BitsOf(*cut), expected), "");
      }
      EXPECT_EQ(watch.reports(), 0u);
      // The conversion factory decompresses the whole page the same way.
      const ImgPtr<CImg1> whole(CImg1::create(*page.image, 0, 1, IMG_ALIGN_NONE));
      EXPECT_EQ(FirstDifference(BitsOf(*whole), BitsOf(*Cut(*page.image, rects[0]))), "");
    }
  }
}

TEST(G4ScanlineTest, AnUnknownBackgroundIsSettledByTheShareOfBlack) {
  // No pad bits and a white last column: the count from the code and CImg1's count
  // of the decoded page see the same pixels.
  const ImgRect all(0u, 0u, 63u, 39u);
  for (double density : {0.1, 0.5, 0.53, 0.57, 0.9}) {
    SCOPED_TRACE(density);
    Bitmap src(64, 40);
    g4test::Rng rng(static_cast<uint64_t>(density * 100));
    g4test::Noise(src, rng, density);
    for (unsigned y = 0; y < 40; ++y) {
      src.set(63, y, false);
    }
    const ImgPtr<CImg1> plain(CImg1::create(64, 40, src.bits.data(), 320, 0, 1, IMG_ALIGN_NONE));
    const unsigned fromCode = MakeTiledPage(src, 16, 16).image->calculateBackground();
    EXPECT_EQ(fromCode, plain->calculateBackground());
    EXPECT_EQ(fromCode, density > 0.55 ? 1u : 0u);
    // Cutting out with the background unknown settles it the same way, and a dark
    // page comes out inverted, so that set bits are foreground over paper 0.
    TiledPage fresh = MakeTiledPage(src, 16, 16);
    const ImgPtr<CImg1> cut = Cut(*fresh.image, all);
    EXPECT_EQ(fresh.image->getBackgroundState(), IMG_BG_KNOWN);
    EXPECT_EQ(fresh.image->getBackgroundColor(), fromCode);
    EXPECT_EQ(cut->getBackgroundColor(), 0u);
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
