// CImg1 scaling: each worker against an independent reference of its blocks over
// grids of sizes and random pages in both polarities, the worked examples, the
// same-size and two-step paths of scale, rectangles past the buffer, and failed
// table allocations.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <iterator>
#include <utility>
#include <vector>

#include "Image/Core2DImage.h"
#include "Image/scale/TableAlloc.h"
#include "ImgTestSupport.h"
#include "g4/G4TiffOracle.h"

namespace {

using c2d_test::ErrWatch;
using c2d_test::ImgPtr;
using g4test::Rng;
using Bits = std::vector<bool>;

// Opens the protected workers.
struct Open : CImg1 {
  using CImg1::Enlarge;
  using CImg1::QuickReduce_bkg;
  using CImg1::Reduce;
  using CImg1::Reduce_bkg;
  using CImg1::Reduce_greyscale;
};
using Worker = CImg1 *(CImg1::*)(unsigned, unsigned, const ImgRect &);
const Worker kEnlarge = &Open::Enlarge;
const Worker kReduce = &Open::Reduce;
const Worker kReduceBkg = &Open::Reduce_bkg;

CImg1 *Quick(CImg1 &image, unsigned w, unsigned h, ImgRect r, unsigned background) {
  return (image.*(&Open::QuickReduce_bkg))(w, h, r, background);
}
CImg32 *Grey(CImg1 &image, unsigned w, unsigned h, const ImgRect &r) {
  return (image.*(&Open::Reduce_greyscale))(w, h, r);
}

ImgPtr<CImg1> Page(unsigned w, unsigned h, ImgAlignmentEnum align = IMG_ALIGN_NONE) {
  return ImgPtr<CImg1>(CImg1::create(w, h, 0xFFFFFFu, 0xFF000000u, align));
}

void Put(CImg1 &image, unsigned x, unsigned y, bool on = true) {
  unsigned char &byte = image.peekData()[y * image.getBytesPerLine() + x / 8];
  const unsigned mask = 0x80u >> (x % 8);
  byte = static_cast<unsigned char>(on ? (byte | mask) : (byte & ~mask));
}

// Every byte random with the given share of set bits, pad bits included.
ImgPtr<CImg1> RandomPage(Rng &rng, unsigned w, unsigned h, ImgAlignmentEnum align, double ink) {
  ImgPtr<CImg1> page = Page(w, h, align);
  for (unsigned i = 0; i < page->getTotalBytes() * 8; ++i) {
    if (rng.chance(ink)) {
      page->peekData()[i / 8] |= static_cast<unsigned char>(0x80u >> (i % 8));
    }
  }
  return page;
}

// A pixel as the workers address it: bit x of the row at byte y * stride, which
// runs on into the next rows, and 0 past the buffer.
bool Flat(const CImg1 &image, uint64_t x, uint64_t y) {
  const uint64_t at = y * image.getBytesPerLine() + x / 8;
  return at < image.getTotalBytes() && ((image.peekData()[at] >> (7 - x % 8)) & 1) != 0;
}

Bits BitsOf(const CImg1 &image) {
  Bits bits;
  for (unsigned y = 0; y < image.getHeight(); ++y) {
    for (unsigned x = 0; x < image.getWidth(); ++x) {
      bits.push_back(Flat(image, x, y));
    }
  }
  return bits;
}

// Block k of `count` blocks over `length` positions starts at ceil(k * length / count).
uint64_t Edge(uint64_t k, uint64_t length, uint64_t count) {
  return (k * length + count - 1) / count;
}

struct Block {
  uint64_t x0, y0;  // first source pixel, image coordinates
  uint32_t xRun, yRun;
};

// Calls f for each target pixel of a w x h reduction of r, in row order.
void ForBlocks(const ImgRect &r, unsigned w, unsigned h, const std::function<void(Block)> &f) {
  for (unsigned ty = 0; ty < h; ++ty) {
    const uint64_t y0 = Edge(ty, r.getHeight(), h), y1 = Edge(ty + 1, r.getHeight(), h);
    for (unsigned tx = 0; tx < w; ++tx) {
      const uint64_t x0 = Edge(tx, r.getWidth(), w), x1 = Edge(tx + 1, r.getWidth(), w);
      f({r.left + x0, r.top + y0, static_cast<uint32_t>(x1 - x0), static_cast<uint32_t>(y1 - y0)});
    }
  }
}

// The ink pixels among the first `rows` rows and `cols` columns of a block.
unsigned CountInk(const CImg1 &image, const Block &b, uint32_t rows, uint32_t cols,
                  bool inkIsClear) {
  unsigned count = 0;
  for (uint32_t y = 0; y < rows; ++y) {
    for (uint32_t x = 0; x < cols; ++x) {
      count += Flat(image, b.x0 + x, b.y0 + y) != inkIsClear;
    }
  }
  return count;
}

enum class Look { kBkg, kQuick, kSample };

// Whether each target pixel's block shows ink to a test, in row order.
// kBkg: the whole block, except that clear ink in the last pixel of a block row is
//   not seen when that pixel alone lies in the row's last byte.
// kQuick (set ink): the first row, and one pixel past the block unless the block
//   ends on a byte boundary, where a block inside one byte is not looked at at all.
// kSample (set ink): the first pixel.
Bits ExpectInk(const CImg1 &image, const ImgRect &r, unsigned w, unsigned h, Look test,
               bool inkIsClear = false) {
  Bits bits;
  ForBlocks(r, w, h, [&](Block b) {
    const unsigned end = b.x0 % 8 + b.xRun;
    uint32_t rows = 1, cols = 1;
    if (test == Look::kBkg) {
      rows = b.yRun;
      cols = inkIsClear && end > 8 && end % 8 == 1 ? b.xRun - 1 : b.xRun;
    } else if (test == Look::kQuick) {
      cols = end % 8 != 0 ? b.xRun + 1 : end > 8 ? b.xRun : 0;
    }
    bits.push_back(CountInk(image, b, rows, cols, inkIsClear) != 0);
  });
  return bits;
}

// Enlarge: source pixel i of r, in row order, fills block i of the target.
Bits ExpectEnlarged(const CImg1 &image, const ImgRect &r, unsigned w, unsigned h, bool inkIsClear) {
  Bits bits(static_cast<size_t>(w) * h);
  uint64_t i = 0;
  ForBlocks(ImgRect(w, h), r.getWidth(), r.getHeight(), [&](Block b) {
    const bool ink = Flat(image, r.left + i % r.getWidth(), r.top + i / r.getWidth()) != inkIsClear;
    ++i;
    for (uint64_t y = b.y0; y < b.y0 + b.yRun; ++y) {
      for (uint64_t x = b.x0; x < b.x0 + b.xRun; ++x) {
        bits[y * w + x] = ink;
      }
    }
  });
  return bits;
}

std::vector<unsigned> ExpectGrey(const CImg1 &image, const ImgRect &r, unsigned w, unsigned h,
                                 bool inkIsClear) {
  std::vector<unsigned> pixels;
  ForBlocks(r, w, h, [&](Block b) {
    unsigned char *mapping = nullptr;
    CreateGreyMapping(b.xRun * b.yRun + 1, &mapping, 0);
    pixels.push_back(mapping[CountInk(image, b, b.yRun, b.xRun, inkIsClear)] * 0x010101u);
    std::free(mapping);
  });
  return pixels;
}

std::vector<unsigned> PixelsOf(CImg32 &image) {
  const unsigned *p = image.peekData();
  return std::vector<unsigned>(p, p + image.getWidth() * image.getHeight());
}

// A random case: a page, a source rectangle that now and then leaves the image (to
// the right, below, or past the buffer), and a target size for the direction.
struct Case {
  ImgPtr<CImg1> page;
  ImgRect r;
  unsigned w, h;
};

Case RandomCase(Rng &rng, bool enlarge) {
  const ImgAlignmentEnum aligns[] = {IMG_ALIGN_NONE, IMG_ALIGN_8, IMG_ALIGN_32};
  const unsigned pw = 1 + rng.below(70), ph = 1 + rng.below(24);
  Case c{RandomPage(rng, pw, ph, aligns[rng.below(3)], rng.chance(0.3) ? 0.8 : 0.1), {}, 0, 0};
  const bool outside = rng.chance(0.15);
  const unsigned left = rng.below(outside ? pw + 40 : pw), top = rng.below(outside ? ph + 8 : ph);
  const unsigned sw = 1 + rng.below(outside ? 50 : pw - left);
  const unsigned sh = 1 + rng.below(outside ? 12 : ph - top);
  c.r = ImgRect(left, top, left + sw - 1, top + sh - 1);
  // Reductions to a few columns often, so that blocks span several bytes.
  c.w = enlarge ? sw + rng.below(30) : 1 + rng.below(rng.chance(0.4) ? std::min(sw, 3u) : sw);
  c.h = enlarge ? sh + rng.below(9) : 1 + rng.below(sh);
  return c;
}

// ---------------------------------------------------------------------------
// Enlarge

TEST(CImg1EnlargeTest, MatchesTheReferenceInBothPolarities) {
  Rng rng(11);
  for (int i = 0; i < 600; ++i) {
    Case c = RandomCase(rng, true);
    SCOPED_TRACE(i);  // the cases follow from the seed
    ImgPtr<CImg1> out(((*c.page).*kEnlarge)(c.w, c.h, c.r));
    ASSERT_NE(out, nullptr);
    ASSERT_EQ(BitsOf(*out),
              ExpectEnlarged(*c.page, c.r, c.w, c.h, c.page->getBackgroundColor() == 1));
    EXPECT_FALSE(out->isBackgroundKnown());
    EXPECT_EQ(out->getBackgroundInterpretation(), static_cast<unsigned>(c.page->getAlignment()));
  }
}

TEST(CImg1EnlargeTest, ByTwoMakesBlocksOfTheInk) {
  ImgPtr<CImg1> page = Page(3, 2);
  Put(*page, 0, 0);
  Put(*page, 2, 1);
  const Bits ink = {1, 1, 0, 0, 0, 0, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 0, 0, 0, 0, 1, 1};
  ImgPtr<CImg1> twice(((*page).*kEnlarge)(6, 4, ImgRect(3u, 2u)));
  EXPECT_EQ(BitsOf(*twice), ink);
  // Paper of set bits: the clear pixels are the ink, and come out set.
  page->setBackgroundColor(1);
  ImgPtr<CImg1> inverse(((*page).*kEnlarge)(6, 4, ImgRect(3u, 2u)));
  Bits paper = ink;
  paper.flip();
  EXPECT_EQ(BitsOf(*inverse), paper);
}

// ---------------------------------------------------------------------------
// Reduce, Reduce_bkg, QuickReduce_bkg

TEST(CImg1ReduceTest, SamplingAndBlockTestsMatchTheReference) {
  Rng rng(7);
  for (int i = 0; i < 1500; ++i) {
    Case c = RandomCase(rng, false);
    SCOPED_TRACE(i);  // the cases follow from the seed
    ImgPtr<CImg1> bkg(((*c.page).*kReduceBkg)(c.w, c.h, c.r));
    ASSERT_NE(bkg, nullptr);
    const unsigned background = c.page->getBackgroundColor();
    ASSERT_EQ(BitsOf(*bkg), ExpectInk(*c.page, c.r, c.w, c.h, Look::kBkg, background == 1));
    EXPECT_EQ(bkg->getBackgroundColor(), background);  // the source's, 1 too
    ImgPtr<CImg1> sampled(((*c.page).*kReduce)(c.w, c.h, c.r));
    ASSERT_EQ(BitsOf(*sampled), ExpectInk(*c.page, c.r, c.w, c.h, Look::kSample));
    ImgPtr<CImg1> quick(Quick(*c.page, c.w, c.h, c.r, 0));
    ASSERT_EQ(BitsOf(*quick), ExpectInk(*c.page, c.r, c.w, c.h, Look::kQuick));
    // Clear ink only clears bits of a result that starts clear.
    ImgPtr<CImg1> quickInverse(Quick(*c.page, c.w, c.h, c.r, 1));
    ASSERT_EQ(BitsOf(*quickInverse), Bits(c.w * c.h, false));
  }
}

TEST(CImg1ReduceTest, OneBlackPixelAnywhereGivesOneTargetPixel) {
  for (const unsigned factor : {2u, 3u, 5u, 8u, 9u, 16u}) {
    const unsigned w = 41, h = 19;
    ImgPtr<CImg1> page = Page(w, h);
    for (unsigned y = 0; y < h; ++y) {
      for (unsigned x = 0; x < w; ++x) {
        SCOPED_TRACE(testing::Message() << "factor " << factor << " at " << x << "," << y);
        Put(*page, x, y);
        ImgPtr<CImg1> out(((*page).*kReduceBkg)((w + factor - 1) / factor,
                                                (h + factor - 1) / factor, page->getRect()));
        const Bits bits = BitsOf(*out);
        ASSERT_EQ(std::count(bits.begin(), bits.end(), true), 1);
        Put(*page, x, y, false);
      }
    }
  }
}

TEST(CImg1ReduceTest, TheLastByteOfABlockIsSkippedOnlyForClearInk) {
  // 18 columns to 2: blocks of 9 from bit 0, whose ninth pixel is alone in byte 1.
  ImgPtr<CImg1> page = Page(18, 1);
  Put(*page, 8, 0);
  ImgPtr<CImg1> seen(((*page).*kReduceBkg)(2, 1, page->getRect()));
  EXPECT_EQ(BitsOf(*seen), (Bits{true, false}));
  page->invert();
  page->setBackgroundColor(1);
  ImgPtr<CImg1> skipped(((*page).*kReduceBkg)(2, 1, page->getRect()));
  EXPECT_EQ(BitsOf(*skipped), (Bits{false, false}));
  // QuickReduce_bkg: a whole byte inside one block is tested with the ninth row, 0.
  ImgPtr<CImg1> full = Page(16, 1);
  full->peekData()[0] = 0xFF;
  ImgPtr<CImg1> quick(Quick(*full, 2, 1, full->getRect(), 0));
  EXPECT_EQ(BitsOf(*quick), (Bits{false, false}));
  // A block spanning bytes that ends on a boundary is looked at exactly.
  ImgPtr<CImg1> wide = Page(32, 1);
  Put(*wide, 16, 0);
  ImgPtr<CImg1> exact(Quick(*wide, 2, 1, wide->getRect(), 0));
  EXPECT_EQ(BitsOf(*exact), (Bits{false, true}));
}

TEST(CImg1ReduceTest, ThinLinesOfADrawingSurviveEveryFactor) {
  const unsigned size = 240;
  ImgPtr<CImg1> page = Page(size, size);
  for (unsigned i = 0; i < size; ++i) {
    for (const unsigned at : {3u, 64u, 117u, 200u}) {
      Put(*page, i, at);      // rows
      Put(*page, at + 1, i);  // columns
    }
    Put(*page, i, i);
    Put(*page, size - 1 - i, (i * 3) % size);
  }
  for (const bool inkIsClear : {false, true}) {
    if (inkIsClear) {
      page->invert();
      page->setBackgroundColor(1);  // what the share of set bits now gives
    }
    for (unsigned factor = 2; factor <= 16; ++factor) {
      SCOPED_TRACE(testing::Message() << "factor " << factor << " clear ink " << inkIsClear);
      const unsigned w = size / factor;
      ImgPtr<CImg1> out(((*page).*kReduceBkg)(w, w, page->getRect()));
      ASSERT_EQ(out->getBackgroundColor(), inkIsClear ? 1u : 0u);
      // With set ink every block that holds a line pixel is set, and no other.
      ASSERT_EQ(BitsOf(*out), ExpectInk(*page, page->getRect(), w, w, Look::kBkg, inkIsClear));
      // Rows lie in the first byte of every block they cross, whatever the ink.
      for (unsigned x = 0; x < w; ++x) {
        for (const unsigned at : {3u, 64u, 117u, 200u}) {
          ASSERT_TRUE(Flat(*out, x, at * w / size)) << "row " << at << " at " << x;
        }
      }
    }
  }
}

// ---------------------------------------------------------------------------
// Reduce_greyscale

TEST(CImg1GreyTest, MatchesTheReferenceAndMarksTheBackground) {
  Rng rng(5);
  for (int i = 0; i < 800; ++i) {
    Case c = RandomCase(rng, false);
    SCOPED_TRACE(i);  // the cases follow from the seed
    ImgPtr<CImg32> grey(Grey(*c.page, c.w, c.h, c.r));
    ASSERT_NE(grey, nullptr);
    const bool inkIsClear = c.page->getBackgroundColor() == 1;
    ASSERT_EQ(PixelsOf(*grey), ExpectGrey(*c.page, c.r, c.w, c.h, inkIsClear));
    // Kept as it stands: paper of set bits records black.
    EXPECT_EQ(grey->getBackgroundColor(), inkIsClear ? 0u : 0xFFFFFFu);
  }
}

TEST(CImg1GreyTest, EmptyBlocksAreWhiteAndFullOnesBlack) {
  ImgPtr<CImg1> page = Page(32, 20);
  for (unsigned i = 0; i < 20; ++i) {
    page->peekData()[i * 4] = page->peekData()[i * 4 + 1] = 0xFF;  // the left half
  }
  ImgPtr<CImg32> grey(Grey(*page, 4, 3, page->getRect()));  // blocks 8 by 6 or 7
  EXPECT_EQ(PixelsOf(*grey), (std::vector<unsigned>{0, 0, 0xFFFFFF, 0xFFFFFF, 0, 0, 0xFFFFFF,
                                                    0xFFFFFF, 0, 0, 0xFFFFFF, 0xFFFFFF}));
}

// ---------------------------------------------------------------------------
// scale

TEST(CImg1ScaleTest, SizesAndTheWorkerForEachRequest) {
  ImgPtr<CImg1> page = Page(100, 100);
  Put(*page, 10, 10);
  ImgScaleAttr attr;
  // Sizes against the direction, and a negative factor: null, unreported.
  ErrWatch watch;
  EXPECT_EQ(page->scale(-0.5, attr), nullptr);
  EXPECT_EQ(((*page).*kEnlarge)(7, 200, page->getRect()), nullptr);
  EXPECT_EQ(((*page).*kReduceBkg)(200, 7, page->getRect()), nullptr);
  EXPECT_EQ(Grey(*page, 4, 200, page->getRect()), nullptr);
  EXPECT_EQ(watch.reports(), 0u);
  // 2^32 columns make a side of 0.
  EXPECT_EQ(((*page).*kEnlarge)(9, 9, ImgRect(0u, 0u, 0xFFFFFFFFu, 3u)), nullptr);
  EXPECT_EQ(CImgErr::sm_errcode, IMG_INVALID_ARG);
  ImgPtr<IImg> up(page->scale(1.0001, attr));
  EXPECT_EQ(up->getWidth(), 101u);
  EXPECT_EQ(up->getHeight(), 101u);
  ImgPtr<IImg> swapped(page->scale(page->getRect(), ImgRect(30u, 9u, 5u, 0u), attr));
  EXPECT_EQ(swapped->getWidth(), 26u);
  EXPECT_EQ(swapped->getHeight(), 10u);
  // Sizes the factory refuses: 0, and factors past 32 bits or NaN, which saturate
  // or give 0 rather than converting out of range.
  for (const double factor : {0.0, 1e10, std::nan("")}) {
    SCOPED_TRACE(factor);
    EXPECT_EQ(page->scale(factor, attr), nullptr);
    EXPECT_EQ(CImgErr::sm_errcode, IMG_FAIL);
  }
  // Blocks of 2^32 pixels would need a mapping past 32 bits; a zero side is the
  // factory's to refuse, before anything divides by it.
  ErrWatch unreported;
  EXPECT_EQ(Grey(*page, 1, 1, ImgRect(0u, 0u, 65535u, 65535u)), nullptr);
  EXPECT_EQ(unreported.reports(), 0u);
  EXPECT_EQ(Grey(*page, 0, 5, page->getRect()), nullptr);
  EXPECT_EQ(CImgErr::sm_errcode, IMG_FAIL);
  attr.bitDepth = 32;
  ImgPtr<IImg> grey(page->scale(0.5, attr));
  EXPECT_NE(dynamic_cast<CImg32 *>(grey.get()), nullptr);
  ImgPtr<IImg> same(page->scale(1.0, attr));
  ImgPtr<IImg> bigger(page->scale(2.0, attr));
  EXPECT_NE(dynamic_cast<CImg1 *>(same.get()), nullptr);
  EXPECT_NE(dynamic_cast<CImg1 *>(bigger.get()), nullptr);
}

TEST(CImg1ScaleTest, SameSizeCopiesWithInkInSetBits) {
  Rng rng(3);
  for (const bool inkIsClear : {false, true}) {
    ImgPtr<CImg1> page = RandomPage(rng, 37, 11, IMG_ALIGN_32, inkIsClear ? 0.9 : 0.1);
    ImgScaleAttr attr;
    const ImgRect r(5u, 2u, 30u, 9u);
    ImgPtr<CImg1> copy(dynamic_cast<CImg1 *>(page->scale(r, 26, 8, attr)));
    Bits expect = ExpectInk(*page, r, 26, 8, Look::kSample);
    if (inkIsClear) {
      expect.flip();
    }
    ASSERT_EQ(BitsOf(*copy), expect) << inkIsClear;
    EXPECT_TRUE(copy->isBackgroundKnown());
    EXPECT_EQ(copy->getBackgroundColor(), 0u);
  }
}

TEST(CImg1ScaleTest, MixedRequestsEnlargeFirst) {
  Rng rng(9);
  ImgPtr<CImg1> page = RandomPage(rng, 40, 30, IMG_ALIGN_NONE, 0.2);
  ImgScaleAttr attr;
  const ImgRect r(2u, 3u, 33u, 22u);  // 32 x 20
  for (const auto &size : {std::pair<unsigned, unsigned>{12, 50}, {70, 9}}) {
    SCOPED_TRACE(testing::Message() << size.first << " x " << size.second);
    ImgPtr<CImg1> mixed(dynamic_cast<CImg1 *>(page->scale(r, size.first, size.second, attr)));
    ImgPtr<CImg1> grown(
        ((*page).*kEnlarge)(std::max(32u, size.first), std::max(20u, size.second), r));
    ImgPtr<CImg1> expect(((*grown).*kReduceBkg)(size.first, size.second, grown->getRect()));
    ASSERT_NE(mixed, nullptr);
    EXPECT_EQ(BitsOf(*mixed), BitsOf(*expect));
  }
}

// ---------------------------------------------------------------------------
// Safety: reads past the buffer and failed tables

TEST(CImg1ScaleTest, AnImageWithoutPixelsReadsAsPaper) {
  // Rectangles past the buffer are among the random cases above.
  ImgPtr<CImg1> page = Page(20, 10);
  std::free(page->ownData());
  ImgPtr<CImg32> grey(Grey(*page, 5, 5, page->getRect()));
  EXPECT_EQ(PixelsOf(*grey), std::vector<unsigned>(25, 0xFFFFFFu));
  ImgPtr<CImg1> bkg(((*page).*kReduceBkg)(5, 5, ImgRect(3u, 3u, 40u, 40u)));
  EXPECT_EQ(BitsOf(*bkg), Bits(25, false));
}

// Table allocations succeed g_allowed times, then fail.
int g_allowed = 0;
bool g_failed = false;
void *FailingCalloc(std::size_t count, std::size_t size) {
  if (g_allowed == 0) {
    g_failed = true;
    return nullptr;
  }
  --g_allowed;
  return std::calloc(count, size);
}

TEST(CImg1ScaleTest, FailedTablesGiveNullAndReportNothing) {
  Rng rng(1);
  ImgPtr<CImg1> page = RandomPage(rng, 50, 40, IMG_ALIGN_NONE, 0.3);
  const ImgRect r = page->getRect();
  const std::function<IImg *()> calls[] = {
      [&] { return ((*page).*kEnlarge)(77, 61, r); },  [&] { return ((*page).*kReduce)(13, 7, r); },
      [&] { return ((*page).*kReduceBkg)(13, 7, r); }, [&] { return Quick(*page, 13, 7, r, 0); },
      [&] { return Grey(*page, 13, 7, r); },  // 4 x 6, 3 x 6, 4 x 5, 3 x 5 tables
  };
  const c2d::TableCallocFn previous = c2d::SetTableCalloc(&FailingCalloc);
  for (size_t i = 0; i < std::size(calls); ++i) {
    for (int failAt = 0;; ++failAt) {
      SCOPED_TRACE(testing::Message() << "call " << i << " failing allocation " << failAt);
      g_allowed = failAt;
      g_failed = false;
      ErrWatch watch;
      ImgPtr<IImg> out(calls[i]());
      if (!g_failed) {  // every allocation has been tried
        ASSERT_NE(out, nullptr);
        break;
      }
      EXPECT_EQ(out, nullptr);
      EXPECT_EQ(watch.reports(), 0u);
    }
  }
  c2d::SetTableCalloc(previous);
}

}  // namespace
