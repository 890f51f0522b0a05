// CImg32 and CImg8 raster operators: every operator value sets, the keys of the
// two classes, refusals, the fill forms with lazy pixels, and grown extents.
// Placement in detail is in CImg1RasOpTest.
#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "Image/Core2DImage.h"
#include "ImgTestSupport.h"

namespace {

using c2d_test::BufferOf;
using c2d_test::ImgPtr;
using c2d_test::Make8;
using namespace Core2DImage::RasOpEnum;
using Pixels = std::vector<unsigned>;
using Bytes = std::vector<unsigned char>;

using c2d_test::At;
using c2d_test::MarkRegistry;

ImgPtr<CImg32> Image32(unsigned w, unsigned h, Pixels pixels) {
  return c2d_test::Make32(w, h, std::move(pixels), RGB_ORDER_RGB);
}

// Pixel i of a w x h image holds base + i.
ImgPtr<CImg32> Counting32(unsigned w, unsigned h, unsigned base) {
  return Image32(w, h, c2d_test::Sequence(size_t(w) * h, base));
}

// A 2 x 2 source of 100.. at (1, 1) of a 3 x 3 target of 0..8.
const Pixels kPlaced = {0, 1, 2, 3, 100, 101, 6, 102, 103};

TEST(CImg32RasOpTest, EveryOperatorSets) {
  ImgPtr<CImg32> source = Counting32(2, 2, 100);
  RasOpXfmAttr attr = At(1, 1);
  for (int op : {0, 1, 2, 3, 4, 9}) {
    SCOPED_TRACE(op);
    ImgPtr<CImg32> image = Counting32(3, 3, 0);
    ImgPtr<CImg32> copy(
        dynamic_cast<CImg32 *>(image->doRasOp(static_cast<RasOp>(op), attr, *source)));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(BufferOf(*copy), op <= 4 ? kPlaced : BufferOf(*image));
    image->doRasOpInPlace(static_cast<RasOp>(op), attr, *source);
    EXPECT_EQ(BufferOf(*image), BufferOf(*copy));
  }
  // Through the row tables, so that a view writes into its parent.
  ImgPtr<CImg32> parent = Counting32(3, 3, 0);
  ImgPtr<CImg32> view(CImg32::createRefImg(*parent, Core2DImage::IntRect(1, 1, 2, 2)));
  ASSERT_NE(view, nullptr);
  attr = At(0, 0);
  view->doRasOpInPlace(RasOpReplace, attr, *source);
  EXPECT_EQ(BufferOf(*parent), kPlaced);
}

TEST(CImg32RasOpTest, KeyComparesAll32BitsAndOnlyKeyedOneCounts) {
  const Pixels pixels = {0x11223344u, 0x01223344u, 0x00223344u};
  ImgPtr<CImg32> source = Image32(3, 1, pixels);
  for (unsigned char keyed : {0, 1, 2}) {
    SCOPED_TRACE(int(keyed));
    ImgPtr<CImg32> image = Image32(3, 1, {7, 7, 7});
    RasOpXfmAttr attr = At(0, 0, keyed, 0x11223344u);
    image->doRasOpInPlace(RasOpSet, attr, *source);
    EXPECT_EQ(BufferOf(*image), keyed == 1 ? (Pixels{7, pixels[1], pixels[2]}) : pixels);
  }
}

TEST(CImg32RasOpTest, RefusalsLeaveTheTarget) {
  ImgPtr<CImg32> image = Counting32(3, 3, 0);
  ImgPtr<CImg32> small = Counting32(2, 2, 100);
  ImgPtr<CImg32> lazy(CImg32::create(2, 2, RGB_ORDER_RGB));
  ImgPtr<CImg1> bits(CImg1::create(2, 2, 0u, 1u, IMG_ALIGN_NONE));
  // An image of another class that claims the type is refused like another type.
  c2d_test::Impostor impostor(IMG_TYPE_32BIT, 2, 2);
  const struct {
    const char *name;
    const IImg *source;
    int left;
    ImgErr recorded;
  } cases[] = {
      {"past the right", small.get(), 2, IMG_DECODE_FAILED},  // the worker's code is dropped
      {"another type", bits.get(), 0, IMG_INVALID_ARG},
      {"impostor", &impostor, 0, IMG_INVALID_ARG},
      {"source without pixels", lazy.get(), 0, IMG_FALSE},
  };
  const Pixels before = BufferOf(*image);
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    RasOpXfmAttr attr = At(c.left, 0);
    MarkRegistry();
    image->doRasOpInPlace(RasOpSet, attr, *c.source);
    EXPECT_EQ(CImgErr::get(), c.recorded);
    EXPECT_EQ(BufferOf(*image), before);
  }
  // A source without pixels gives the target none.
  RasOpXfmAttr attr = At(0, 0);
  ImgPtr<CImg32> lazyTarget(CImg32::create(3, 3, RGB_ORDER_RGB));
  lazyTarget->doRasOpInPlace(RasOpSet, attr, *lazy);
  EXPECT_FALSE(lazyTarget->hasData());
}

TEST(CImg32RasOpTest, FillFormsAndLazyPixels) {
  // Without pixels and unkeyed, only the background is set: the copy has none.
  ImgPtr<CImg32> lazy(CImg32::create(2, 2, RGB_ORDER_RGB));
  ImgPtr<CImg32> copy(dynamic_cast<CImg32 *>(lazy->doRasOp(RasOpAnd, false, 0, 0xABu)));
  ASSERT_NE(copy, nullptr);
  EXPECT_FALSE(copy->hasData());
  EXPECT_EQ(BufferOf(*copy), Pixels(4, 0xABu));  // arrives with the pixels

  // Keyed, the pixels are made (with a known background) and the non-key ones set.
  ImgPtr<CImg32> keyed(CImg32::create(2, 2, RGB_ORDER_RGB));
  keyed->setBackgroundColor(5);
  keyed->doRasOpInPlace(RasOpCopy, true, 5, 9);
  EXPECT_EQ(BufferOf(*keyed), Pixels(4, 5u));
  keyed->doRasOpInPlace(RasOpCopy, true, 6, 9);
  EXPECT_EQ(BufferOf(*keyed), Pixels(4, 9u));

  ImgPtr<CImg32> image = Image32(3, 1, {1, 2, 0x01000001u});
  image->doRasOpInPlace(RasOpXOr, true, 1, 7);
  EXPECT_EQ(BufferOf(*image), (Pixels{1, 7, 7}));
  image->doRasOpInPlace(static_cast<RasOp>(-1), false, 1, 4);
  EXPECT_EQ(BufferOf(*image), (Pixels{1, 7, 7}));
  image->doRasOpInPlace(RasOpSet, false, 1, 3);
  EXPECT_EQ(BufferOf(*image), Pixels(3, 3u));
}

// After setExtents the extents outgrow the buffer: only the pixels the buffers hold
// are copied.
TEST(CImg32RasOpTest, GrownExtentsCopyWhatTheBuffersHold) {
  RasOpXfmAttr attr = At(0, 0);
  ImgPtr<CImg32> image = Image32(2, 2, {1, 2, 3, 4});
  ASSERT_TRUE(image->setExtents(3, 3));
  image->doRasOpInPlace(RasOpSet, attr, *Counting32(3, 3, 100));
  const unsigned *const *rows = image->constDataArray();
  EXPECT_EQ((Pixels{rows[0][0], rows[0][1], rows[1][0], rows[1][1]}), (Pixels{100, 101, 103, 104}));

  ImgPtr<CImg8> palette = Make8(2, 2, {1, 2, 3, 4});
  ASSERT_TRUE(palette->setExtents(3, 3));
  palette->doRasOpInPlace(RasOpSet, attr, *Make8(3, 3, {10, 11, 12, 13, 14, 15, 16, 17, 18}));
  const unsigned char *const *lines = palette->constDataArray();
  EXPECT_EQ((Bytes{lines[0][0], lines[0][1], lines[1][0], lines[1][1]}), (Bytes{10, 11, 13, 14}));
}

TEST(CImg8RasOpTest, InPlaceSetsRowsAndTheKeyIsOneByte) {
  ImgPtr<CImg8> source = Make8(2, 2, {0xFF, 5, 6, 0xFF});
  const struct {
    unsigned char keyed;
    unsigned key;
    int left;
    Bytes result;
  } cases[] = {{0, 0x1FF, 1, {0, 0, 0, 0, 0xFF, 5, 0, 6, 0xFF}},
               {1, 0x1FF, 1, {0, 0, 0, 0, 0, 5, 0, 6, 0}},
               {1, 0x105, 1, {0, 0, 0, 0, 0xFF, 0, 0, 6, 0xFF}},
               {0, 0, 2, Bytes(9, 0)}};  // past the right: refused
  for (const auto &c : cases) {
    SCOPED_TRACE(testing::Message() << int(c.keyed) << " " << c.key << " " << c.left);
    ImgPtr<CImg8> image = Make8(3, 3, Bytes(9, 0));
    RasOpXfmAttr attr = At(c.left, 1, c.keyed, c.key);
    image->doRasOpInPlace(RasOpAnd, attr, *source);
    EXPECT_EQ(BufferOf(*image), c.result);
  }
}

// With 32-bit rows of 3 pixels the rows lie packed and the pad bytes together at
// the end: the fill covers them too.
TEST(CImg8RasOpTest, FillCoversTheWholeBlockAndWideKeysMatchNothing) {
  const struct {
    bool keyed;
    unsigned key;
    Bytes before, after;
  } cases[] = {
      {false, 0, {1, 2, 3, 4, 5, 6, 7, 8}, Bytes(8, 0xAB)},
      {true, 2, {1, 2, 3, 2, 5, 6, 7, 2}, {0xAB, 2, 0xAB, 2, 0xAB, 0xAB, 0xAB, 2}},
      {true, 0x102, {1, 2, 3, 2, 5, 6, 7, 2}, Bytes(8, 0xAB)},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(testing::Message() << c.keyed << " " << c.key);
    ImgPtr<CImg8> image = Make8(3, 2, c.before, IMG_ALIGN_32);
    ASSERT_NE(image, nullptr);
    image->doRasOpInPlace(RasOpReplace, c.keyed, c.key, 0x3ABu);
    EXPECT_EQ(BufferOf(*image), c.after);
  }
  // A lazy padded image keyed: its copy has fewer bytes than it, and only those
  // are written.
  ImgPtr<CImg8> lazy(CImg8::create(3, 2, nullptr, IMG_ALIGN_32));
  ImgPtr<CImg8> copy(dynamic_cast<CImg8 *>(lazy->doRasOp(RasOpSet, true, 0x100, 7)));
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(BufferOf(*copy), Bytes(6, 7));
}

}  // namespace
