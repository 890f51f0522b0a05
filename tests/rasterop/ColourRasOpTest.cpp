// CImg32 and CImg8 raster operators: every operator value is set, the keys of the
// two classes, placement and data failures, the fill forms with lazy pixels, and
// palette copies that cannot be made.
#include <gtest/gtest.h>

#include <vector>

#include "Image/Core2DImage.h"
#include "ImgTestSupport.h"

namespace {

using c2d_test::ErrWatch;
using c2d_test::ImgPtr;
using Core2DImage::RasOpEnum::RasOp;

struct Open32 : CImg32 {
  using CImg32::rasOpSet;
};
using Fill32 = ImgErr (CImg32::*)(CImg32 *, bool, unsigned, unsigned);
const Fill32 kFill32 = static_cast<Fill32>(&Open32::rasOpSet);

void MarkRegistry() { CImgErr::set(IMG_DECODE_FAILED, nullptr, 0); }

ImgPtr<CImg32> Image32(unsigned w, unsigned h, std::vector<unsigned> pixels) {
  return ImgPtr<CImg32>(
      CImg32::create(w, h, pixels.data(), static_cast<unsigned>(pixels.size() * 4), RGB_ORDER_RGB));
}

// Pixel i of a w x h image holds base + i.
ImgPtr<CImg32> Counting32(unsigned w, unsigned h, unsigned base) {
  std::vector<unsigned> pixels(size_t(w) * h);
  for (unsigned i = 0; i < pixels.size(); ++i) {
    pixels[i] = base + i;
  }
  return Image32(w, h, pixels);
}

std::vector<unsigned> Pixels(CImg32 &image) {
  const unsigned *p = image.peekData();
  return std::vector<unsigned>(p, p + size_t(image.getWidth()) * image.getHeight());
}

ImgPtr<CImg8> Image8(unsigned w, unsigned h, ImgAlignmentEnum align,
                     std::vector<unsigned char> bytes) {
  return ImgPtr<CImg8>(
      CImg8::create(w, h, bytes.data(), static_cast<unsigned>(bytes.size()), nullptr, align));
}

std::vector<unsigned char> Bytes(CImg8 &image) {
  const unsigned char *p = image.peekData();
  return std::vector<unsigned char>(p, p + image.getTotalBytes());
}

RasOpXfmAttr At(int left, int top, unsigned char keyed = 0, unsigned key = 0) {
  RasOpXfmAttr attr;
  attr.left = left;
  attr.top = top;
  attr.keyed = keyed;
  attr.transparentColor = key;
  return attr;
}

// A 2 x 2 source of 100.. at (1, 1) of a 3 x 3 target of 0..8.
const std::vector<unsigned> kPlaced = {0, 1, 2, 3, 100, 101, 6, 102, 103};

TEST(CImg32RasOpTest, EveryOperatorSets) {
  ImgPtr<CImg32> source = Counting32(2, 2, 100);
  for (int op : {0, 1, 2, 3, 4, 9}) {
    SCOPED_TRACE(op);
    const bool known = op <= 4;
    ImgPtr<CImg32> image = Counting32(3, 3, 0);
    RasOpXfmAttr attr = At(1, 1);
    ErrWatch watch;
    ImgPtr<CImg32> copy(
        dynamic_cast<CImg32 *>(image->doRasOp(static_cast<RasOp>(op), attr, *source)));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(Pixels(*copy), known ? kPlaced : Pixels(*image));
    image->doRasOpInPlace(static_cast<RasOp>(op), attr, *source);
    EXPECT_EQ(Pixels(*image), known ? kPlaced : Pixels(*copy));
    EXPECT_EQ(watch.reports(), 0u);  // success records nothing
  }
}

TEST(CImg32RasOpTest, KeyComparesAll32BitsAndOnlyKeyedOneCounts) {
  ImgPtr<CImg32> source = Image32(3, 1, {0x11223344u, 0x01223344u, 0x00223344u});
  const struct {
    unsigned char keyed;
    std::vector<unsigned> result;
  } cases[] = {{1, {7, 0x01223344u, 0x00223344u}},
               {2, {0x11223344u, 0x01223344u, 0x00223344u}},
               {0, {0x11223344u, 0x01223344u, 0x00223344u}}};
  for (const auto &c : cases) {
    SCOPED_TRACE(int(c.keyed));
    ImgPtr<CImg32> image = Image32(3, 1, {7, 7, 7});
    RasOpXfmAttr attr = At(0, 0, c.keyed, 0x11223344u);
    image->doRasOpInPlace(Core2DImage::RasOpEnum::RasOpSet, attr, *source);
    EXPECT_EQ(Pixels(*image), c.result);
  }
}

TEST(CImg32RasOpTest, RefusalsLeaveTheTarget) {
  ImgPtr<CImg32> image = Counting32(3, 3, 0);
  ImgPtr<CImg32> small = Counting32(2, 2, 100);
  const std::vector<unsigned> before = Pixels(*image);
  const struct {
    const char *name;
    int left, top;
  } placements[] = {{"negative left", -1, 0},
                    {"negative top", 0, -1},
                    {"past the right", 2, 0},
                    {"past the bottom", 0, 2}};
  for (const auto &p : placements) {
    SCOPED_TRACE(p.name);
    RasOpXfmAttr attr = At(p.left, p.top);
    MarkRegistry();
    image->doRasOpInPlace(Core2DImage::RasOpEnum::RasOpSet, attr, *small);
    EXPECT_EQ(CImgErr::get(), IMG_DECODE_FAILED);  // the worker's refusal is dropped
    EXPECT_EQ(Pixels(*image), before);
  }
  // Another type: refused and recorded by both operations.
  ImgPtr<CImg1> bits(CImg1::create(2, 2, 0u, 1u, IMG_ALIGN_NONE));
  RasOpXfmAttr attr = At(0, 0);
  MarkRegistry();
  EXPECT_EQ(image->doRasOp(Core2DImage::RasOpEnum::RasOpSet, attr, *bits), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_INVALID_ARG);
  MarkRegistry();
  image->doRasOpInPlace(Core2DImage::RasOpEnum::RasOpSet, attr, *bits);
  EXPECT_EQ(CImgErr::get(), IMG_INVALID_ARG);
  EXPECT_EQ(Pixels(*image), before);

  // An image of another class that claims the type is refused like another type.
  struct Impostor : CImg1 {
    Impostor() {
      initHeader(2, 2, 2, 2, 0, 1, IMG_ALIGN_NONE);
      (void)initData();
      type = IMG_TYPE_32BIT;
    }
  } impostor;
  MarkRegistry();
  image->doRasOpInPlace(Core2DImage::RasOpEnum::RasOpSet, attr, impostor);
  EXPECT_EQ(CImgErr::get(), IMG_INVALID_ARG);
  EXPECT_EQ(Pixels(*image), before);

  // A source without pixels: IMG_FALSE recorded, and the target gets none.
  ImgPtr<CImg32> lazySource(CImg32::create(2, 2, RGB_ORDER_RGB));
  ImgPtr<CImg32> lazyTarget(CImg32::create(3, 3, RGB_ORDER_RGB));
  lazyTarget->doRasOpInPlace(Core2DImage::RasOpEnum::RasOpSet, attr, *lazySource);
  EXPECT_EQ(CImgErr::get(), IMG_FALSE);
  EXPECT_FALSE(lazyTarget->hasData());
}

TEST(CImg32RasOpTest, ViewsWriteIntoTheirParents) {
  ImgPtr<CImg32> parent = Counting32(3, 3, 0);
  ImgPtr<CImg32> view(CImg32::createRefImg(*parent, Core2DImage::IntRect(1, 1, 2, 2)));
  ASSERT_NE(view, nullptr);
  ImgPtr<CImg32> source = Counting32(2, 2, 100);
  RasOpXfmAttr attr = At(0, 0);
  view->doRasOpInPlace(Core2DImage::RasOpEnum::RasOpReplace, attr, *source);
  EXPECT_EQ(Pixels(*parent), kPlaced);
}

TEST(CImg32RasOpTest, FillFormsAndLazyPixels) {
  // Without pixels and unkeyed, only the background is set: the copy has none.
  ImgPtr<CImg32> lazy(CImg32::create(2, 2, RGB_ORDER_RGB));
  ImgPtr<CImg32> copy(
      dynamic_cast<CImg32 *>(lazy->doRasOp(Core2DImage::RasOpEnum::RasOpAnd, false, 0, 0xABu)));
  ASSERT_NE(copy, nullptr);
  EXPECT_FALSE(copy->hasData());
  EXPECT_EQ(copy->getBackgroundColor(), 0xABu);
  EXPECT_EQ(Pixels(*copy), std::vector<unsigned>(4, 0xABu));  // arrives with the pixels

  // Keyed, the pixels are made (with a known background) and the non-key ones set.
  ImgPtr<CImg32> keyed(CImg32::create(2, 2, RGB_ORDER_RGB));
  keyed->setBackgroundColor(5);
  keyed->doRasOpInPlace(Core2DImage::RasOpEnum::RasOpCopy, true, 5, 9);
  EXPECT_EQ(Pixels(*keyed), std::vector<unsigned>(4, 5u));
  keyed->doRasOpInPlace(Core2DImage::RasOpEnum::RasOpCopy, true, 6, 9);
  EXPECT_EQ(Pixels(*keyed), std::vector<unsigned>(4, 9u));

  ImgPtr<CImg32> image = Image32(3, 1, {1, 2, 0x01000001u});
  image->doRasOpInPlace(Core2DImage::RasOpEnum::RasOpXOr, true, 1, 7);
  EXPECT_EQ(Pixels(*image), (std::vector<unsigned>{1, 7, 7}));
  image->doRasOpInPlace(Core2DImage::RasOpEnum::RasOpSet, false, 1, 3);
  EXPECT_EQ(Pixels(*image), std::vector<unsigned>(3, 3u));
  image->doRasOpInPlace(static_cast<RasOp>(-1), false, 1, 4);
  EXPECT_EQ(Pixels(*image), std::vector<unsigned>(3, 3u));

  ErrWatch watch;
  EXPECT_EQ(((*image).*kFill32)(nullptr, false, 0, 0), IMG_INVALID_ARG);
  EXPECT_EQ(watch.reports(), 1u);
}

// After setExtents the extents outgrow the buffer: only the pixels the buffers hold
// are copied.
TEST(CImg32RasOpTest, GrownExtentsCopyWhatTheBuffersHold) {
  ImgPtr<CImg32> image = Image32(2, 2, {1, 2, 3, 4});
  ASSERT_TRUE(image->setExtents(3, 3));
  ImgPtr<CImg32> source = Counting32(3, 3, 100);
  RasOpXfmAttr attr = At(0, 0);
  image->doRasOpInPlace(Core2DImage::RasOpEnum::RasOpSet, attr, *source);
  const unsigned *const *rows = image->constDataArray();
  EXPECT_EQ((std::vector<unsigned>{rows[0][0], rows[0][1], rows[1][0], rows[1][1]}),
            (std::vector<unsigned>{100, 101, 103, 104}));

  ImgPtr<CImg8> palette = Image8(2, 2, IMG_ALIGN_NONE, {1, 2, 3, 4});
  ASSERT_TRUE(palette->setExtents(3, 3));
  ImgPtr<CImg8> bytes = Image8(3, 3, IMG_ALIGN_NONE, {10, 11, 12, 13, 14, 15, 16, 17, 18});
  palette->doRasOpInPlace(Core2DImage::RasOpEnum::RasOpSet, attr, *bytes);
  const unsigned char *const *lines = palette->constDataArray();
  EXPECT_EQ((std::vector<unsigned char>{lines[0][0], lines[0][1], lines[1][0], lines[1][1]}),
            (std::vector<unsigned char>{10, 11, 13, 14}));
}

TEST(CImg8RasOpTest, CopiesOfPixelsCannotBeMade) {
  ImgPtr<CImg8> image = Image8(2, 2, IMG_ALIGN_NONE, {1, 2, 3, 4});
  ImgPtr<CImg8> source = Image8(1, 1, IMG_ALIGN_NONE, {9});
  RasOpXfmAttr attr = At(0, 0);
  MarkRegistry();
  EXPECT_EQ(image->doRasOp(Core2DImage::RasOpEnum::RasOpSet, attr, *source), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);  // from the conversion
  MarkRegistry();
  ErrWatch watch;
  EXPECT_EQ(image->doRasOp(Core2DImage::RasOpEnum::RasOpSet, false, 0, 1), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  EXPECT_EQ(watch.reports(), 2u);  // the conversion's, then the operator's own

  // A lazy image copies, and the copy takes the colour as its background.
  ImgPtr<CImg8> lazy(CImg8::create(2, 2, nullptr, IMG_ALIGN_NONE));
  ImgPtr<CImg8> copy(
      dynamic_cast<CImg8 *>(lazy->doRasOp(Core2DImage::RasOpEnum::RasOpSet, false, 0, 0x1F3u)));
  ASSERT_NE(copy, nullptr);
  EXPECT_FALSE(copy->hasData());
  EXPECT_EQ(Bytes(*copy), std::vector<unsigned char>(4, 0xF3));
}

TEST(CImg8RasOpTest, InPlaceSetsRowsAndTheKeyIsOneByte) {
  ImgPtr<CImg8> source = Image8(2, 2, IMG_ALIGN_NONE, {0xFF, 5, 6, 0xFF});
  const struct {
    unsigned char keyed;
    unsigned key;
    std::vector<unsigned char> result;
  } cases[] = {{0, 0x1FF, {0, 0, 0, 0, 0xFF, 5, 0, 6, 0xFF}},
               {1, 0x1FF, {0, 0, 0, 0, 0, 5, 0, 6, 0}},
               {1, 0x105, {0, 0, 0, 0, 0xFF, 0, 0, 6, 0xFF}}};
  for (const auto &c : cases) {
    SCOPED_TRACE(testing::Message() << int(c.keyed) << " " << c.key);
    ImgPtr<CImg8> image = Image8(3, 3, IMG_ALIGN_NONE, std::vector<unsigned char>(9, 0));
    RasOpXfmAttr attr = At(1, 1, c.keyed, c.key);
    image->doRasOpInPlace(Core2DImage::RasOpEnum::RasOpAnd, attr, *source);
    EXPECT_EQ(Bytes(*image), c.result);
  }
  ImgPtr<CImg8> image = Image8(3, 3, IMG_ALIGN_NONE, std::vector<unsigned char>(9, 0));
  ImgPtr<CImg32> colour(CImg32::create(1, 1, RGB_ORDER_RGB));
  RasOpXfmAttr attr = At(0, 0);
  MarkRegistry();
  image->doRasOpInPlace(Core2DImage::RasOpEnum::RasOpSet, attr, *colour);
  EXPECT_EQ(CImgErr::get(), IMG_INVALID_ARG);
  attr = At(2, 0);
  MarkRegistry();
  image->doRasOpInPlace(Core2DImage::RasOpEnum::RasOpSet, attr, *source);
  EXPECT_EQ(CImgErr::get(), IMG_DECODE_FAILED);
  EXPECT_EQ(Bytes(*image), std::vector<unsigned char>(9, 0));
}

// With 32-bit rows of 3 pixels the rows lie packed and the pad bytes together at
// the end: the fill covers them too.
TEST(CImg8RasOpTest, FillCoversTheWholeBlockAndWideKeysMatchNothing) {
  const struct {
    bool keyed;
    unsigned key;
    std::vector<unsigned char> before, after;
  } cases[] = {
      {false, 0, {1, 2, 3, 4, 5, 6, 7, 8}, std::vector<unsigned char>(8, 0xAB)},
      {true, 2, {1, 2, 3, 2, 5, 6, 7, 2}, {0xAB, 2, 0xAB, 2, 0xAB, 0xAB, 0xAB, 2}},
      {true, 0x102, {1, 2, 3, 2, 5, 6, 7, 2}, std::vector<unsigned char>(8, 0xAB)},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(testing::Message() << c.keyed << " " << c.key);
    ImgPtr<CImg8> image = Image8(3, 2, IMG_ALIGN_32, c.before);
    ASSERT_NE(image, nullptr);
    image->doRasOpInPlace(Core2DImage::RasOpEnum::RasOpReplace, c.keyed, c.key, 0x3ABu);
    EXPECT_EQ(Bytes(*image), c.after);
  }
  // A lazy padded image keyed: its copy has fewer bytes than it, and only those
  // are written.
  ImgPtr<CImg8> lazy(CImg8::create(3, 2, nullptr, IMG_ALIGN_32));
  ImgPtr<CImg8> copy(
      dynamic_cast<CImg8 *>(lazy->doRasOp(Core2DImage::RasOpEnum::RasOpSet, true, 0x100, 7)));
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(Bytes(*copy), std::vector<unsigned char>(6, 7));
}

}  // namespace
