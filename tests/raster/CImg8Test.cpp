// CImg8: the palette, reference images and
// sub-images, including reads that would leave the pixel buffer, and stale headers.
#include <gtest/gtest.h>

#include <vector>

#include "Image/Core2DImage.h"
#include "ImgTestSupport.h"

namespace {

using c2d_test::BufferOf;
using Core2DImage::IntRect;
using ImagePtr = c2d_test::ImgPtr<CImg8>;
using Bytes = std::vector<unsigned char>;

// Reaches the protected workers through pointers to members.
struct Open : CImg8 {
  using CImg8::initColorMap;
  using CImg8::rasOpSet;
};
ImgErr RasOpSet(CImg8 &image, unsigned colour) {
  return (image.*static_cast<ImgErr (CImg8::*)(unsigned)>(&Open::rasOpSet))(colour);
}

// A host buffer with byte i = i + 1, so that 0 marks a byte that came from nowhere.
unsigned char *HostBytes(unsigned count) {
  return c2d_test::HostBuffer(c2d_test::Sequence<unsigned char>(count, 1));
}

// A w x h image that owns HostBytes of its total length.
ImagePtr Counting(unsigned w, unsigned h, ImgAlignmentEnum align, unsigned total) {
  unsigned char *pixels = HostBytes(total);
  return ImagePtr(CImg8::create(w, h, pixels, total, true, nullptr, align));
}

TEST(CImg8Test, PaletteIsACopyOrTheGreyRamp) {
  ImagePtr grey(CImg8::create(2, 2, nullptr, IMG_ALIGN_NONE));
  const ColorMap *ramp = grey->getColorMap();
  ASSERT_EQ(ramp->numEntries, 256);
  EXPECT_EQ(ramp->getMaxValue(), 255);
  EXPECT_EQ(ramp->entries[200].green, 200);

  ColorMap mine(4, 255);
  mine.entries[2] = {10, 20, 30};
  unsigned char pixels[4] = {0, 1, 2, 3};
  ImagePtr copied(CImg8::create(2, 2, pixels, 4, &mine, IMG_ALIGN_8));
  ColorMap *held = copied->getColorMap();
  mine.entries[2].green = 99;
  EXPECT_EQ(held->entries[2].green, 20);
  // A palette once set stays, whatever map comes next.
  ColorMap other(8, 255);
  EXPECT_TRUE((copied.get()->*(&Open::initColorMap))(&other));
  EXPECT_EQ(copied->getColorMap(), held);
}

// A view borrows its parent's rows and palette until it installs pixels of its own,
// then takes a private copy of the palette. Deleting views leaves the parent's
// pixels and palette to the parent, which frees them once (checked by the sanitizer
// build).
TEST(CImg8Test, ReferenceImagesSharePixelsAndThePalette) {
  ImagePtr parent = Counting(10, 8, IMG_ALIGN_32, 96);  // byte y * 10 + x + 1
  parent->setBackgroundColor(5);
  unsigned char **parentRows = parent->peekDataArray();
  const ColorMap *shared = parent->getColorMap();
  ImagePtr view(CImg8::createRefImg(*parent, IntRect(2, 3, 6, 7)));
  ASSERT_NE(view, nullptr);
  EXPECT_EQ(view->getColorMap(), shared);
  const unsigned char *const *rows = view->constDataArray();
  EXPECT_EQ(rows[0], parentRows[3] + 2);
  EXPECT_EQ(rows[1] - rows[0], 10);
  view->peekDataArray()[1][2] = 0xEE;
  EXPECT_EQ(parentRows[4][4], 0xEE);
  ImagePtr again(static_cast<CImg8 *>(parent->getSubRef(IntRect(2, 3, 6, 7))));
  EXPECT_EQ(again->constDataArray()[4], rows[4]);

  EXPECT_EQ(view->ownData(), parentRows[3] + 2);
  EXPECT_EQ(view->getColorMap(), shared);  // still borrowed while it has no pixels
  ASSERT_NE(view->peekData(), nullptr);
  EXPECT_NE(view->getColorMap(), shared);
  EXPECT_EQ(view->getColorMap()->entries[40].blue, 40);
  EXPECT_EQ(view->peekData()[39], 5);
  ASSERT_EQ(again->getTotalBytes(), 40u);  // 5 rows padded to 8
  unsigned char *fresh = HostBytes(40);
  EXPECT_EQ(again->transferData(&fresh, 40), IMG_OK);
  EXPECT_NE(again->getColorMap(), shared);
  view.reset();
  again.reset();
  EXPECT_EQ(shared->entries[77].red, 77);
  EXPECT_EQ(parentRows[7][9], 80);

  EXPECT_EQ(CImg8::createRefImg(*parent, IntRect(3, 0, 3, 5)), nullptr);  // one pixel wide
  EXPECT_EQ(CImgErr::get(), IMG_INVALID_ARG);
}

// Sizes alone are tested; the rows are read from r's left and top as they stand,
// and what lies outside the buffer comes back as 0 (bytes here are offset + 1).
TEST(CImg8Test, SubImageTestsOnlyTheSize) {
  ImagePtr image = Counting(4, 3, IMG_ALIGN_NONE, 12);
  const struct {
    const char *name;
    ImgRect r;
    Bytes bytes;
  } cases[] = {
      {"inside", ImgRect(1, 1, 2, 2), {6, 7, 10, 11}},
      {"swapped edges start at left and top", ImgRect(2, 2, 1, 1), {11, 12, 0, 0}},
      {"past the right edge runs into the next row", ImgRect(2, 0, 5, 0), {3, 4, 5, 6}},
      {"past the right edge of the last row", ImgRect(2, 2, 5, 2), {11, 12, 0, 0}},
      {"below the last row", ImgRect(0, 2, 1, 3), {9, 10, 0, 0}},
      {"far outside", ImgRect(1000, 0, 1000, 0), {0}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    ImagePtr sub(static_cast<CImg8 *>(image->getSubImage(c.r)));
    ASSERT_NE(sub, nullptr);
    EXPECT_EQ(BufferOf(*sub), c.bytes);
  }
  EXPECT_EQ(image->getSubImage(ImgRect(0, 0, 4, 0)), nullptr);  // five wide
  EXPECT_EQ(CImgErr::get(), IMG_INVALID_ARG);
}

TEST(CImg8Test, PaddedCopiesCarryTheNextRowAndStopAtTheBuffer) {
  // Each row copy is 12 bytes long and carries 2 bytes of the next row; the trailing
  // padding of the copy keeps the background fill.
  ImagePtr image = Counting(10, 3, IMG_ALIGN_32, 36);
  image->setBackgroundColor(0xEE);
  ImagePtr sub(static_cast<CImg8 *>(image->getSubImage(ImgRect(0, 0, 9, 1))));
  ASSERT_NE(sub, nullptr);
  Bytes expected = c2d_test::Sequence<unsigned char>(22, 1);
  expected.insert(expected.end(), {0xEE, 0xEE});
  EXPECT_EQ(BufferOf(*sub), expected);

  // A 7-wide view of an 8-wide parent has a byte of padding that lies past the
  // parent's buffer on the last row: it reads as 0 and is never written.
  ImagePtr parent = Counting(8, 2, IMG_ALIGN_32, 16);
  parent->setBackgroundColor(0xEE);
  ImagePtr view(CImg8::createRefImg(*parent, IntRect(1, 0, 7, 1)));
  ASSERT_EQ(view->getTotalBytes(), 16u);
  ImagePtr copy(static_cast<CImg8 *>(view->getSubImage(ImgRect(0, 0, 6, 1))));
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(BufferOf(*copy), Bytes({2, 3, 4, 5, 6, 7, 8, 10, 11, 12, 13, 14, 15, 16, 0, 0xEE}));

  Bytes source(16, 0x77);
  EXPECT_EQ(view->dupData(source.data(), 16), IMG_OK);
  EXPECT_EQ(RasOpSet(*view, 0x55), IMG_OK);
  expected = Bytes(16, 0x55);
  expected[0] = 1;  // before the view
  EXPECT_EQ(BufferOf(*parent), expected);
}

TEST(CImg8Test, TrivialSlotsAndStaleHeaders) {
  // Tile formats carry the values of the 32-bit class.
  EXPECT_EQ(CImg8::RLE_MIXED, CImg32::RLE_MIXED);
  EXPECT_EQ(CImg8::HP_RTL, CImg32::HP_RTL);
  ImagePtr image(CImg8::create(3, 3, nullptr, IMG_ALIGN_NONE));
  // A changed alignment or extent is not followed by the sizes, and copies refuse.
  ASSERT_NE(image->peekData(), nullptr);
  image->setAlignment(IMG_ALIGN_32);
  EXPECT_EQ(image->getPadBytes(), 0u);
  EXPECT_EQ(image->getSubImage(ImgRect(0, 0, 1, 1)), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  image->setAlignment(IMG_ALIGN_NONE);
  EXPECT_TRUE(image->setExtents(1, 9));
  EXPECT_EQ(CImg8::createRefImg(*image, IntRect(0, 0, 0, 5)), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  EXPECT_TRUE(image->setExtents(3, 3));
  EXPECT_NE(ImagePtr(static_cast<CImg8 *>(image->getSubImage(ImgRect(0, 0, 2, 2)))), nullptr);
}

}  // namespace
