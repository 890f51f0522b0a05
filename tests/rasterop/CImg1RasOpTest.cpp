// CImg1 raster operators: each worker's bytes at every bit offset against a
// pixel-by-pixel model of its rules, the spill into the next row, the dispatch
// tables of the copying and the in-place operation, and placement failures.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <utility>
#include <vector>

#include "Image/Core2DImage.h"
#include "ImgTestSupport.h"

namespace {

using c2d_test::BufferOf;
using c2d_test::ErrWatch;
using c2d_test::ImgPtr;
using namespace Core2DImage::RasOpEnum;
using ByteVec = std::vector<unsigned char>;

// Reaches the protected workers through pointers to members.
struct Open : CImg1 {
  using CImg1::rasOpAnd;
  using CImg1::rasOpOr;
  using CImg1::rasOpSet;
  using CImg1::rasOpXOr;
};
using Worker = ImgErr (CImg1::*)(CImg1 *, RasOpXfmAttr &, const CImg1 &);
using Fill = ImgErr (CImg1::*)(CImg1 *, bool, unsigned, unsigned);
const Worker kAnd = &Open::rasOpAnd;
const Worker kOr = &Open::rasOpOr;
const Worker kXOr = &Open::rasOpXOr;
const Worker kSet = static_cast<Worker>(&Open::rasOpSet);
const Fill kFill = static_cast<Fill>(&Open::rasOpSet);

using c2d_test::At;
using c2d_test::MarkRegistry;

ImgPtr<CImg1> Bits(unsigned w, unsigned h, ImgAlignmentEnum align, ByteVec bytes) {
  return c2d_test::Make1(w, h, std::move(bytes), align, 0xFFFFFFu, 0u);
}

enum class Op { And, Or, XOr, Set };

// What the worker leaves in the target, worked out pixel by pixel from the rules of
// each operator rather than from its byte loop. j counts target bits from the first
// bit of the byte under the source's first pixel; k = j - shift is the source bit
// that lands there; n is the number of source bytes a row uses.
ByteVec Model(Op op, ByteVec t, const CImg1 &target, const CImg1 &source, int left, int top) {
  const ByteVec s = BufferOf(source);
  const uint64_t n = source.getBytesPerLine() - source.getPadBits() / 8;
  const unsigned shift = left & 7;
  const unsigned keep = 8 - source.getPadBits() % 8;  // used bits of the last byte
  const unsigned width = source.getWidth();
  for (unsigned y = 0; y < source.getHeight(); ++y) {
    const ByteVec before = t;  // the row reads what rows above left
    const uint64_t start = (uint64_t(top) + y) * target.getBytesPerLine() + left / 8;
    const uint64_t srcRow = uint64_t(y) * source.getBytesPerLine() * 8;
    auto src = [&](int64_t k) {
      return k >= 0 && k < int64_t(8 * n) && c2d_test::GetBit(s.data(), srcRow + k);
    };
    auto masked = [&](int64_t k) {
      return src(k) && !(k >= int64_t(8 * (n - 1)) && k % 8 >= keep);
    };
    const uint64_t bytes = n + (shift != 0 && start + n < t.size() ? 1 : 0);
    for (uint64_t j = 0; j < 8 * bytes; ++j) {
      const uint64_t at = start * 8 + j;
      const bool old = c2d_test::GetBit(before.data(), at);
      const uint64_t byte = j / 8;
      const int64_t k = int64_t(j) - shift;
      bool v = old;
      if (shift == 0) {
        v = op == Op::And   ? old && src(k)
            : op == Op::Or  ? old || src(k)
            : op == Op::XOr ? old != src(k)
                            : src(k);
      } else if (op == Op::Or) {
        v = old || masked(k);  // a true OR; the spill too, inside the bitmap
      } else if (byte == n) {
        // The spill: source bits where the last source byte reaches, 0 after them.
        const bool spills = op == Op::Set || (width % 8) + shift > 8;
        if (spills) {
          v = op == Op::Set ? masked(k) : src(k);
        }
      } else if (byte == 0) {
        // The first byte: And clears the pixels left of the source; the others keep them.
        const bool sbit = n == 1 && op == Op::Set ? masked(k) : src(k);
        v = k < 0 ? (op == Op::And ? false : old)
                  : (op == Op::And   ? old && sbit
                     : op == Op::XOr ? old != sbit
                                     : old || sbit);
      } else {
        // Between: a byte of two neighbouring source bytes. And keeps none of it.
        v = op == Op::And ? false : op == Op::Set ? masked(k) : src(k);
      }
      c2d_test::SetBit(t.data(), at, v);
    }
  }
  return t;
}

TEST(CImg1RasOpTest, WorkersFollowTheirRulesAtEveryBitOffset) {
  std::mt19937 rng(1234);
  const struct {
    Op op;
    Worker worker;
    const char *name;
  } ops[] = {
      {Op::And, kAnd, "and"}, {Op::Or, kOr, "or"}, {Op::XOr, kXOr, "xor"}, {Op::Set, kSet, "set"}};
  // One-byte rows (the loop never runs), full and partial last bytes, and 32-bit
  // rows whose whole pad bytes are left out.
  const unsigned widths[] = {5, 8, 13, 16, 21, 30};
  const ImgAlignmentEnum aligns[] = {IMG_ALIGN_NONE, IMG_ALIGN_32};
  for (const auto &o : ops) {
    for (ImgAlignmentEnum align : aligns) {
      for (unsigned w : widths) {
        for (int left = 0; left < 16; ++left) {
          // A target that ends with the source, so that the byte after a row is the
          // next row's first (or past the bitmap), and a roomier one.
          for (unsigned extra : {0u, 11u}) {
            SCOPED_TRACE(testing::Message() << o.name << " align " << align << " w " << w
                                            << " left " << left << " extra " << extra);
            ImgPtr<CImg1> source = c2d_test::RandomBits(w, 3, align, rng(), 0xFFFFFFu, 0u);
            ImgPtr<CImg1> target =
                c2d_test::RandomBits(left + w + extra, 5, align, rng(), 0xFFFFFFu, 0u);
            const int top = 2 - static_cast<int>(extra % 2);  // 2 or 1
            const ByteVec expected = Model(o.op, BufferOf(*target), *target, *source, left, top);
            RasOpXfmAttr attr = At(left, top);
            ASSERT_EQ(((*target).*o.worker)(target.get(), attr, *source), IMG_OK);
            ASSERT_EQ(BufferOf(*target), expected);
          }
        }
      }
    }
  }
}

// Worked by hand: all bits set, a 13-pixel source at left 3 in a 16-pixel target.
TEST(CImg1RasOpTest, TheByteAfterARowIsTheNextRowsFirst) {
  const ByteVec ones(6, 0xFF);
  ImgPtr<CImg1> source = Bits(13, 2, IMG_ALIGN_NONE, {0xFF, 0xFF, 0xFF, 0xFF});
  RasOpXfmAttr attr = At(3, 0);

  // Set writes the masked remainder, 0, over the next row's first byte, and the
  // second row then starts from that byte: its first three pixels come out clear.
  // The last row's spill would lie past the bitmap and is not written.
  ImgPtr<CImg1> set = Bits(16, 3, IMG_ALIGN_NONE, ones);
  ASSERT_EQ(((*set).*kSet)(set.get(), attr, *source), IMG_OK);
  EXPECT_EQ(BufferOf(*set), (ByteVec{0xFF, 0xFF, 0x1F, 0xFF, 0x00, 0xFF}));

  // Or adds nothing there; with the source in the last rows its spill would pass
  // the bitmap's end (the sanitizer build checks that nothing is written there).
  ImgPtr<CImg1> orTarget = Bits(16, 2, IMG_ALIGN_NONE, ByteVec(4, 0x00));
  ASSERT_EQ(((*orTarget).*kOr)(orTarget.get(), attr, *source), IMG_OK);
  EXPECT_EQ(BufferOf(*orTarget), (ByteVec{0x1F, 0xFF, 0x1F, 0xFF}));
}

// Dispatch with the source on a byte boundary, where each worker gives its own byte:
// target 0xCC, source 0xAA: and 0x88, xor 0x66, set 0xAA, or (keyed set) 0xEE.
TEST(CImg1RasOpTest, CopyingAndInPlaceTablesDiffer) {
  ImgPtr<CImg1> source = Bits(8, 1, IMG_ALIGN_NONE, {0xAA});
  const struct {
    int op;
    bool keyed;
    unsigned char copied, inPlace;
    bool inPlaceReports;
  } cases[] = {
      {0, false, 0x88, 0xAA, true},  {1, false, 0xAA, 0xAA, true}, {2, false, 0x66, 0xAA, true},
      {3, false, 0xAA, 0xCC, false}, {4, false, 0xAA, 0xAA, true}, {7, false, 0xCC, 0xCC, false},
      {0, true, 0x88, 0xEE, true},   {1, true, 0xEE, 0xEE, true},  {2, true, 0x66, 0xEE, true},
      {3, true, 0xEE, 0xCC, false},  {4, true, 0xEE, 0xEE, true},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(testing::Message() << "op " << c.op << " keyed " << c.keyed);
    ImgPtr<CImg1> image = Bits(8, 1, IMG_ALIGN_8, {0xCC});
    RasOpXfmAttr attr = At(0, 0, c.keyed);
    MarkRegistry();
    ImgPtr<CImg1> copy(
        dynamic_cast<CImg1 *>(image->doRasOp(static_cast<RasOp>(c.op), attr, *source)));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(CImgErr::get(), IMG_OK);  // recorded for every operator value
    EXPECT_EQ(copy->peekData()[0], c.copied);
    EXPECT_EQ(image->peekData()[0], 0xCC);  // the original is untouched

    MarkRegistry();
    ErrWatch watch;
    image->doRasOpInPlace(static_cast<RasOp>(c.op), attr, *source);
    EXPECT_EQ(image->peekData()[0], c.inPlace);
    EXPECT_EQ(watch.reports(), c.inPlaceReports ? 1u : 0u);
    EXPECT_EQ(CImgErr::get(), c.inPlaceReports ? IMG_OK : IMG_DECODE_FAILED);
  }
}

TEST(CImg1RasOpTest, PlacementIsCheckedBeforeAnyPixel) {
  ImgPtr<CImg1> target = Bits(16, 3, IMG_ALIGN_NONE, ByteVec(6, 0x5A));
  ImgPtr<CImg1> fits = Bits(16, 3, IMG_ALIGN_NONE, ByteVec(6, 0xFF));
  ImgPtr<CImg1> small = Bits(9, 2, IMG_ALIGN_NONE, ByteVec(4, 0xFF));
  ImgPtr<CImg1> wide = Bits(17, 1, IMG_ALIGN_NONE, ByteVec(3, 0xFF));
  ImgPtr<CImg1> tall = Bits(8, 4, IMG_ALIGN_NONE, ByteVec(4, 0xFF));
  const struct {
    const char *name;
    const CImg1 *source;
    int left, top;
    bool nullTarget;
  } cases[] = {
      {"null target", small.get(), 0, 0, true},      {"wider", wide.get(), 0, 0, false},
      {"taller", tall.get(), 0, 0, false},           {"negative top", small.get(), 0, -1, false},
      {"negative left", small.get(), -1, 0, false},  {"past the right", small.get(), 8, 0, false},
      {"past the bottom", small.get(), 0, 2, false}, {"exact fit moved", fits.get(), 1, 0, false},
  };
  const ByteVec before = BufferOf(*target);
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    for (Worker worker : {kAnd, kOr, kXOr, kSet}) {
      RasOpXfmAttr attr = At(c.left, c.top);
      ErrWatch watch;
      EXPECT_EQ(((*target).*worker)(c.nullTarget ? nullptr : target.get(), attr, *c.source),
                IMG_INVALID_ARG);
      EXPECT_EQ(watch.reports(), 0u);  // the workers record nothing
      EXPECT_EQ(BufferOf(*target), before);
    }
    if (!c.nullTarget) {
      // The copying operation records the refusal and still returns its copy.
      RasOpXfmAttr attr = At(c.left, c.top);
      ImgPtr<IImg> copy(target->doRasOp(RasOpAnd, attr, *c.source));
      ASSERT_NE(copy, nullptr);
      EXPECT_EQ(CImgErr::get(), IMG_INVALID_ARG);
      EXPECT_EQ(BufferOf(*dynamic_cast<CImg1 *>(copy.get())), before);
    }
  }
  RasOpXfmAttr origin = At(0, 0);
  EXPECT_EQ(((*target).*kSet)(target.get(), origin, *fits), IMG_OK);  // an exact fit at 0, 0

  // An image without pixels is refused rather than read.
  ImgPtr<CImg1> emptied = Bits(8, 1, IMG_ALIGN_NONE, {0x01});
  void *taken = emptied->ownData();
  IImg::deallocImageBuffer(taken);
  EXPECT_EQ(((*target).*kOr)(target.get(), origin, *emptied), IMG_FAIL);
  ImgPtr<CImg1> byte = Bits(8, 1, IMG_ALIGN_NONE, {0x01});
  EXPECT_EQ(((*emptied).*kOr)(emptied.get(), origin, *byte), IMG_FAIL);

  // So is a target whose extents have outgrown its buffer.
  ASSERT_TRUE(byte->setExtents(8, 4));
  ImgPtr<CImg1> four = Bits(8, 4, IMG_ALIGN_NONE, {0xFF, 0xFF, 0xFF, 0xFF});
  byte->doRasOpInPlace(RasOpSet, origin, *four);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  EXPECT_EQ(byte->peekData()[0], 0x01);
}

}  // namespace
