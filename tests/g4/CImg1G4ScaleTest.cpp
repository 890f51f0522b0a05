// Scaling and turning a CImg1G4 against the source bitmap's blocks and CImg1 on its pixels.
#include <gtest/gtest.h>

#include <functional>
#include <tuple>
#include <vector>

#include "G4TiledPage.h"
#include "Image/scale/internal/TableAlloc.h"

namespace {

using c2d_test::ErrWatch;
using c2d_test::ImgPtr;
using namespace g4test;

// Calls f(x, y, j, t, first) for each pixel (x, y) of a sw x sh rectangle, where (j, t)
// is the w x h reduction's pixel whose block holds it, `first` if it is the block's first.
template <typename F>
void ForEachBlockPixel(unsigned sw, unsigned sh, unsigned w, unsigned h, F &&f) {
  unsigned *rows = nullptr, *cols = nullptr;
  CreateRothTables(&rows, &cols, sw, sh, w, h);
  for (unsigned y = 0, t = 0; y < sh; y += rows[y], ++t) {
    for (unsigned dy = 0; dy < rows[y]; ++dy) {
      for (unsigned x = 0, j = 0; x < sw; x += cols[x], ++j) {
        for (unsigned dx = 0; dx < cols[x]; ++dx) {
          f(x + dx, y + dy, j, t, dx == 0 && dy == 0);
        }
      }
    }
  }
  std::free(rows);
  std::free(cols);
}

// The w x h reduction of `cut`: each block's OR, or (sampling) its first pixel xor `flip`.
Bitmap Reduced(const Bitmap &cut, unsigned w, unsigned h, bool sample, bool flip = false) {
  Bitmap out(w, h);
  ForEachBlockPixel(cut.width, cut.height, w, h,
                    [&](unsigned x, unsigned y, unsigned j, unsigned t, bool first) {
                      if (sample ? first : cut.get(x, y)) {
                        out.set(j, t, cut.get(x, y) != flip);
                      }
                    });
  return out;
}

// The grey of a cell of `area` pixels, `ink` of them counted (at most all).
unsigned Grey(unsigned area, unsigned ink) {
  unsigned char *map = nullptr;
  CreateGreyMapping(area + 1, &map, 0);
  const unsigned grey = map[std::min(ink, area)] * 0x010101u;
  std::free(map);
  return grey;
}

IImg *Scale(CImg1G4 &page, const ImgRect &r, unsigned w, unsigned h, unsigned depth = 1) {
  ImgScaleAttr attr;
  attr.bitDepth = depth;
  return page.scale(r, w, h, attr);
}

// One-pixel rows, columns and slants; the last column white, where a run would start on the edge.
Bitmap LinePage() {
  Bitmap page(203, 157);
  for (unsigned y : {0u, 7u, 50u, 100u, 156u}) {
    page.fill(0, 202, y);
  }
  for (unsigned y = 0; y < 157; ++y) {
    for (unsigned x : {0u, 9u, 64u, 130u, 201u, (y * 3) % 202, 200 - y}) {
      page.set(x, y);
    }
  }
  return page;
}

// A 16 x 8 tile: black at column 10 in rows 0, 1, 3 and 4; in row 2 a vertical code steps
// back, giving the black run 11 to 9, which no grey cell can take; then the end of block.
ImgPtr<CImg1G4> BackwardRunTile() {
  std::vector<uint8_t> bytes =
      CodeBits("001 00111 010 1  111  1 0000010 1 1 1  111 111  000000000001 000000000001", 8);
  unsigned char *data[] = {bytes.data()};
  unsigned counts[] = {static_cast<unsigned>(bytes.size())};
  return ImgPtr<CImg1G4>(CImg1G4::create(16, 8, 16, 8, data, counts, 0, 1, IMG_ALIGN_NONE));
}

TEST(CImg1G4ScaleTest, ReductionsKeepEveryOnePixelLineOrSampleFirstPixels) {
  TiledPage page = MakeTiledPage(LinePage(), 64, 48);
  // The page, a rectangle in a tile row and one 192 wide (powers of two map columns by a
  // shift); the background unknown (settled to 0), then 1; sampling keeps the polarity.
  for (unsigned paper : {0u, 1u}) {
    for (const ImgRect &r : {ImgRect(0u, 0u, 202u, 156u), ImgRect(13u, 29u, 190u, 150u),
                             ImgRect(5u, 3u, 196u, 150u)}) {
      const Bitmap cut = Paint(PaintedRuns(page, r, paper == 1), r);
      for (unsigned f = 2; f <= 16; ++f) {
        SCOPED_TRACE(testing::Message() << paper << ", factor " << f << " from " << r.left);
        const unsigned w = (r.getWidth() + f - 1) / f, h = (r.getHeight() + f - 1) / f;
        ImgPtr<IImg> small(Scale(*page.image, r, w, h));
        ASSERT_NE(small, nullptr);
        EXPECT_EQ(FirstDifference(BitsOf(small.get()), Reduced(cut, w, h, false)), "");
        ASSERT_EQ(CCITT_EnableG4Decode(), IMG_OK);
        ImgPtr<IImg> sampled(page.image->Reduce(w, h, r));
        CCITT_DisableG4Decode();
        EXPECT_EQ(FirstDifference(BitsOf(sampled.get()), Reduced(cut, w, h, true, paper == 1)), "");
      }
    }
    EXPECT_EQ(page.image->getBackgroundColor(), paper);
    page.image->setBackgroundColor(1);
  }
}

TEST(CImg1G4ScaleTest, GreyLevelsCountTheRunsOfEachBlock) {
  // A whole ratio, blocks of all four sizes, (from 192 columns) cells 4 and 16 wide,
  // and cells too large for the grey words.
  const unsigned sizes[][2] = {{101, 78}, {50, 40}, {29, 21}, {48, 73}, {12, 21}, {2, 1}};
  // Paper 0 sums black runs; 1 and the unset marker sum white ones. Noisy strokes, and
  // bars whose rows copy one another across target rows.
  for (int kind : {0, 1, -1, 2}) {
    const int paper = kind == 2 ? 0 : kind;
    TiledPage page =
        MakeTiledPage(kind == 2 ? BarsPage(203, 157, 9) : StrokePage(203, 157, 9, 0.15), 64, 48);
    if (paper >= 0) {
      page.image->setBackgroundColor(static_cast<unsigned>(paper));
    }
    for (const ImgRect &r : {ImgRect(3u, 5u, 199u, 150u), ImgRect(3u, 5u, 194u, 150u)}) {
      const std::vector<g4test::Run> runs = PaintedRuns(page, r, paper != 0);
      for (const auto &[w, h] : sizes) {
        SCOPED_TRACE(testing::Message() << kind << " to " << w << " from " << r.getWidth());
        // Sums by run: a leading white run overlapping its tile's left can make a cell full.
        const unsigned sw = r.getWidth();
        std::vector<unsigned> cell(sw * r.getHeight()), sums(w * h), areas(w * h);
        ForEachBlockPixel(sw, r.getHeight(), w, h,
                          [&](unsigned x, unsigned y, unsigned j, unsigned t, bool) {
                            cell[y * sw + x] = t * w + j;
                            ++areas[t * w + j];
                          });
        for (const g4test::Run &run : runs) {
          for (unsigned d = run.d0; d <= run.d1; ++d) {
            ++sums[cell[(run.y - r.top) * sw + d]];
          }
        }
        ImgPtr<IImg> grey(Scale(*page.image, r, w, h, 32));
        auto *pixels = dynamic_cast<CImg32 *>(grey.get());
        ASSERT_NE(pixels, nullptr);
        EXPECT_EQ(pixels->getBackgroundColor(), paper == 0 ? 0xFFFFFFu : 0u);
        for (unsigned i = 0; i < w * h; ++i) {
          EXPECT_EQ(pixels->peekDataArray()[i / w][i % w], Grey(areas[i], sums[i])) << i;
        }
      }
    }
  }
}

TEST(CImg1G4ScaleTest, EnlargingAndMixedRequestsMatchCImg1OnTheDecodedPage) {
  // A sparse page and its inverse (last column white in both); the background starts unknown.
  Bitmap pages[2] = {StrokePage(67, 50, 4), StrokePage(67, 50, 4)};
  for (unsigned y = 0; y < 50; ++y) {
    for (unsigned x = 0; x < 66; ++x) {
      pages[1].set(x, y, !pages[0].get(x, y));
    }
  }
  const unsigned sizes[][2] = {{150, 111}, {67, 120}, {40, 90}, {100, 30}};
  for (unsigned dark : {0u, 1u}) {
    for (const ImgRect &r : {ImgRect(0u, 0u, 66u, 49u), ImgRect(5u, 9u, 40u, 33u)}) {
      for (const auto &[w, h] : sizes) {
        SCOPED_TRACE(testing::Message() << w << "x" << h << " dark " << dark << " from " << r.left);
        TiledPage scaled = MakeTiledPage(pages[dark], 16, 16);
        ImgPtr<IImg> direct(Scale(*scaled.image, r, w, h));
        ImgPtr<CImg1> cut = Cut(*MakeTiledPage(pages[dark], 16, 16).image, r);
        ImgScaleAttr attr;
        ImgPtr<IImg> viaCImg1(cut->scale(cut->getRect(), w, h, attr));
        ASSERT_NE(direct, nullptr);
        EXPECT_EQ(FirstDifference(BitsOf(direct.get()), BitsOf(viaCImg1.get())), "");
        EXPECT_EQ(scaled.image->getBackgroundColor(), dark);
      }
    }
  }
  // The same size decompresses the whole page, whatever the rectangle.
  ImgPtr<IImg> same(
      Scale(*MakeTiledPage(pages[0], 16, 16).image, ImgRect(5u, 5u, 14u, 14u), 10, 10, 32));
  EXPECT_EQ(std::make_pair(same->getWidth(), same->getType()), std::make_pair(67u, IMG_TYPE_1BIT));
}

// Against CImg1's transforms of the decoded page, which TransformTest checks pixel by pixel.
TEST(CImg1G4ScaleTest, MirrorsAndQuarterTurnsMoveEveryPixel) {
  TiledPage page = MakeTiledPage(StrokePage(67, 50, 6), 16, 16, IMG_ALIGN_32);
  page.image->setBackgroundColor(0);
  ImgPtr<CImg1> src = Cut(*page.image, page.image->getRect());
  const std::function<IImg *(IImg &)> cases[] = {
      [](IImg &i) { return i.mirror(IMG_MIR_X); }, [](IImg &i) { return i.mirror(IMG_MIR_Y); },
      [](IImg &i) { return i.rotate(180.0005); }, [](IImg &i) { return i.rotate(90.0); },
      [](IImg &i) { return i.rotate(270.0); }};
  for (size_t i = 0; i < 5; ++i) {
    SCOPED_TRACE(i);
    ImgPtr<IImg> out(cases[i](*page.image)), expected(cases[i](*src));
    auto *bilevel = dynamic_cast<CImg1 *>(out.get());
    ASSERT_NE(bilevel, nullptr);
    EXPECT_EQ(bilevel->getAlignment(), IMG_ALIGN_32);
    EXPECT_EQ(FirstDifference(BitsOf(*bilevel), BitsOf(expected.get())), "");
  }
  EXPECT_EQ(page.image->mirror(IMG_MIR_NONE), page.image.get());
  EXPECT_EQ(page.image->rotate(45.0), nullptr);
  ImgPtr<IImg> unturned(page.image->rotate(0.0004));
  ASSERT_EQ(unturned->getType(), IMG_TYPE_G4);
  EXPECT_EQ(dynamic_cast<CImg1G4 *>(unturned.get())->getTile(0, 0)->getData(), nullptr);
}

TEST(CImg1G4ScaleTest, AFailedGreyRowEndsTheReductionInsideIt) {
  ImgPtr<CImg1G4> page = BackwardRunTile();
  page->setBackgroundColor(0);
  CImgErr::set(IMG_OK, nullptr, 0);
  ImgPtr<IImg> grey(Scale(*page, page->getRect(), 8, 4, 32));
  ASSERT_NE(grey, nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_DECODE_FAILED);
  const unsigned white = 0xFFFFFFu, *top = dynamic_cast<CImg32 *>(grey.get())->peekDataArray()[0];
  EXPECT_EQ(std::vector<unsigned>(top, top + 8),
            std::vector<unsigned>({white, white, white, white, white, Grey(4, 2), white, white}));
  // The bilevel reduction passes the backward run over.
  ImgPtr<IImg> bilevel(Scale(*page, page->getRect(), 8, 4));
  EXPECT_EQ(BitsOf(bilevel.get()).bits, (std::vector<uint8_t>{0x04, 0x04, 0x04, 0}));
}

TEST(CImg1G4ScaleTest, GreyWithTheBackgroundLearnedOnTheWayMatchesCountingItFirst) {
  const Bitmap light = StrokePage(203, 157, 4, 0.15), dark = StrokePage(203, 157, 4, 0.9);
  // An ink share of about 0.4: light paper, though far above a lowered threshold.
  const Bitmap heavy = StrokePage(203, 157, 4, 0.35);
  // Most of the ink in rows that copy the row above: their pixels decide the paper.
  const Bitmap bars = BarsPage(203, 157, 4, 30, 4);
  const ImgRect all(0u, 0u, 202u, 156u);
  struct Case {
    const char *name;
    std::function<ImgPtr<CImg1G4>()> make;
    ImgRect rect;
    unsigned w, h;
  };
  const auto tiled = [](const Bitmap &b) {
    return [&b] { return ImgPtr<CImg1G4>(MakeTiledPage(b, 64, 48).image.release()); };
  };
  const Case cases[] = {
      {"light paper", tiled(light), all, 26, 20},
      {"dark paper", tiled(dark), all, 51, 40},
      {"a rectangle", tiled(light), ImgRect(3u, 5u, 199u, 150u), 29, 21},
      {"heavy ink on light paper", tiled(heavy), all, 26, 20},
      {"dark bars", tiled(bars), all, 26, 20},
      {"the same size", tiled(light), all, 203, 157},
      {"a failed row", BackwardRunTile, ImgRect(0u, 0u, 15u, 7u), 8, 4},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    ImgPtr<CImg1G4> first = c.make(), once = c.make();
    // The reports, the error and the page's background after each way.
    const auto outcome = [](const ErrWatch &watch, CImg1G4 &page) {
      return std::make_tuple(watch.reports(), CImgErr::get(), page.getBackgroundColor(),
                             page.getBackgroundState());
    };
    CImgErr::set(IMG_OK, nullptr, 0);
    ErrWatch twoCalls;
    (void)first->calculateBackground();
    ImgPtr<IImg> expected(Scale(*first, c.rect, c.w, c.h, 32));
    const auto expectedOutcome = outcome(twoCalls, *first);
    CImgErr::set(IMG_OK, nullptr, 0);
    ErrWatch oneCall;
    ImgPtr<IImg> got(once->scaleToGrey(c.rect, c.w, c.h));
    EXPECT_EQ(outcome(oneCall, *once), expectedOutcome);
    ASSERT_NE(got, nullptr);
    ASSERT_EQ(got->getType(), expected->getType());
    EXPECT_EQ(got->getBackgroundColor(), expected->getBackgroundColor());
    if (auto *grey = dynamic_cast<CImg32 *>(got.get())) {
      EXPECT_EQ(c2d_test::BufferOf(*grey), c2d_test::BufferOf(dynamic_cast<CImg32 &>(*expected)));
    } else {
      EXPECT_EQ(FirstDifference(BitsOf(got.get()), BitsOf(expected.get())), "");
    }
  }
}

TEST(CImg1G4ScaleTest, RefusalsRectanglesOutsideAndTheDecoderAfterwards) {
  TiledPage page = MakeTiledPage(StrokePage(40, 20, 5), 16, 8);
  const ImgRect all(0u, 0u, 39u, 19u);
  ImgPtr<CImg1> small(CImg1::create(8, 8, 0, 1, IMG_ALIGN_NONE));
  const auto none = [](IImg *image) { return ImgPtr<IImg>(image) == nullptr; };
  struct Case {
    const char *name;
    std::function<bool()> refused;
    ImgErr error;
  };
  G4Page &p = *page.image;
  const ImgErr kInvalid = IMG_INVALID_ARG;
  const ImgRect wide(0u, 0u, 40u, 3u), tenWide(0u, 0u, 9u, 3u), four(0u, 0u, 3u, 3u);
  const ImgRect huge(0u, 0u, 0xFFFFFFFFu, 19u);
  ImgScaleAttr attr;
  // clang-format off
  const Case cases[] = {
      {"cut out past the page", [&] { return none(p.getSubImage(wide)); }, kInvalid},
      {"a target too small", [&] { return !p.uncompress(small.get(), tenWide); }, kInvalid},
      {"no target", [&] { return !p.uncompress(nullptr, four); }, kInvalid},
      {"xfm into a smaller image", [&] { return !Export::xfm(small.get(), &p, 0); }, kInvalid},
      {"reduce to more columns", [&] { return none(p.Reduce_bkg(41, 10, all)); }, kInvalid},
      {"sample to more rows", [&] { return none(p.Reduce(20, 21, all)); }, kInvalid},
      {"enlarge to fewer rows", [&] { return none(p.Enlarge(80, 19, all)); }, kInvalid},
      {"enlarge a side of 2^32", [&] { return none(p.Enlarge(80, 40, huge)); }, kInvalid},
      {"grey to more columns", [&] { return none(p.Reduce_greyscale(41, 10, all)); }, kInvalid},
      {"grey to no columns", [&] { return none(p.Reduce_greyscale(0, 10, all)); }, IMG_FAIL},
      {"a negative factor, unreported", [&] { return none(p.scale(-0.5, attr)); }, IMG_OK},
      {"no memory for the tables", [&] {
         const c2d_test::FailTables fail(0);
         return none(p.Reduce_bkg(20, 10, all));
       }, IMG_FAIL},
  };
  // clang-format on
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    CImgErr::set(IMG_OK, nullptr, 0);
    EXPECT_TRUE(c.refused());
    EXPECT_EQ(CImgErr::get(), c.error);
  }
  // Columns right to left select no run; rows bottom to top start at the top as given.
  page.image->setBackgroundColor(0);
  ImgPtr<IImg> backwards(page.image->getSubImage(ImgRect(12u, 2u, 3u, 2u)));
  ASSERT_NE(backwards, nullptr);
  EXPECT_EQ(FirstDifference(BitsOf(backwards.get()), Bitmap(10, 1)), "");
  ASSERT_EQ(CCITT_EnableG4Decode(), IMG_OK);
  // A rectangle past the page reads no tile outside the grid: target columns 10 on and
  // rows 5 on, which stand for pixels past the page, stay clear.
  ImgPtr<CImg1> past(page.image->Reduce_bkg(20, 10, ImgRect(20u, 10u, 59u, 29u)));
  ASSERT_NE(past, nullptr);
  const Bitmap got = BitsOf(*past);
  for (unsigned i = 0; i < 200; ++i) {
    EXPECT_FALSE(got.get(i % 20, i / 20) && (i % 20 >= 10 || i / 20 >= 5)) << i;
  }
  // scale frees the decoder tables when it is done, as any disable does.
  ImgPtr<IImg> half(page.image->scale(0.5, attr));
  EXPECT_EQ(half->getWidth(), 20u);
  EXPECT_EQ(CCITT_G4Decode(page.image->getTile(0, 0), 16, 1000), G4_DECODE_NO_DATA);
}

}  // namespace
