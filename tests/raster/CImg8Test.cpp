// CImg8: alignment and the packed row table, the palette, the failure codes and
// counts of the factories, reference images, lazy fills and sub-images, including
// reads that would leave the pixel buffer.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "Image/Core2DImage.h"
#include "ImgTestSupport.h"

namespace {

using c2d_test::ErrWatch;
using c2d_test::ImageDeleter;

using ImagePtr = std::unique_ptr<CImg8, ImageDeleter>;

// Reaches the protected workers through pointers to members.
struct Open : CImg8 {
  using CImg8::_create;
  using CImg8::initColorMap;
  using CImg8::initData;
  using CImg8::rasOpSet;
};
ImgErr InitData(CImg8 &image) {
  return (image.*static_cast<ImgErr (CImg8::*)()>(&Open::initData))();
}
bool InitColorMap(CImg8 &image, ColorMap *map) { return (image.*(&Open::initColorMap))(map); }
ImgErr RasOpSet(CImg8 &image, unsigned colour) {
  return (image.*static_cast<ImgErr (CImg8::*)(unsigned)>(&Open::rasOpSet))(colour);
}

// A caller-owned buffer from the host allocator with byte i = i + 1, so that 0 marks
// a byte that came from nowhere.
unsigned char *HostBytes(unsigned count) {
  auto *bytes = static_cast<unsigned char *>(IImg::allocImageBuffer(count));
  for (unsigned i = 0; i < count; ++i) {
    bytes[i] = static_cast<unsigned char>(i + 1);
  }
  return bytes;
}

std::vector<unsigned> Bytes(CImg8 &image) {
  const unsigned char *pixels = image.peekData();
  return std::vector<unsigned>(pixels, pixels + image.getTotalBytes());
}

TEST(CImg8Test, AlignmentPadsTheHeaderButRowsArePacked) {
  struct Case {
    unsigned w, h;
    ImgAlignmentEnum align;
    unsigned pad, bytesPerLine, total;
  };
  const Case cases[] = {
      {10, 3, IMG_ALIGN_32, 2, 12, 36}, {12, 3, IMG_ALIGN_32, 0, 12, 36},
      {10, 3, IMG_ALIGN_8, 0, 10, 30},  {10, 3, IMG_ALIGN_NONE, 0, 10, 30},
      {1, 2, IMG_ALIGN_32, 3, 4, 8},    {7, 2, IMG_ALIGN_32, 1, 8, 16},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(testing::Message() << c.w << " x " << c.h << " align " << c.align);
    ImagePtr image(CImg8::create(c.w, c.h, nullptr, c.align));
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->getType(), IMG_TYPE_8BIT);
    EXPECT_EQ(image->getBitDepth(), 8u);
    EXPECT_EQ(image->getSamplesPerPixel(), 1u);
    EXPECT_EQ(image->getAlignment(), c.align);
    EXPECT_EQ(image->getPadBytes(), c.pad);
    EXPECT_EQ(image->getBytesPerLine(), c.bytesPerLine);
    EXPECT_EQ(image->getTotalBytes(), c.total);
    EXPECT_EQ(image->getNumberOfTiles(), 1u);
    EXPECT_FALSE(image->hasData());
    EXPECT_EQ(image->constDataArray(), nullptr);
    unsigned char **rows = image->peekDataArray();
    ASSERT_NE(rows, nullptr);
    EXPECT_EQ(rows[0], image->peekData());
    for (unsigned y = 1; y < c.h; ++y) {
      EXPECT_EQ(rows[y] - rows[y - 1], static_cast<ptrdiff_t>(c.w));  // the width, not the stride
    }
  }
}

TEST(CImg8Test, PaletteIsACopyOrTheGreyRamp) {
  ImagePtr grey(CImg8::create(2, 2, nullptr, IMG_ALIGN_NONE));
  ASSERT_NE(grey, nullptr);
  const ColorMap *ramp = grey->getColorMap();
  ASSERT_NE(ramp, nullptr);
  EXPECT_EQ(grey->getColorMap(), ramp);  // the field, not a copy
  ASSERT_EQ(ramp->numEntries, 256);
  EXPECT_EQ(ramp->getMaxValue(), 255);
  for (int i : {0, 1, 200, 255}) {
    EXPECT_EQ(ramp->entries[i].red, i);
    EXPECT_EQ(ramp->entries[i].green, i);
    EXPECT_EQ(ramp->entries[i].blue, i);
  }

  ColorMap mine(4, 255);
  mine.entries[2] = {10, 20, 30};
  unsigned char pixels[4] = {0, 1, 2, 3};
  ImagePtr copied(CImg8::create(2, 2, pixels, 4, &mine, IMG_ALIGN_8));
  ASSERT_NE(copied, nullptr);
  ColorMap *held = copied->getColorMap();
  ASSERT_NE(held, &mine);
  ASSERT_EQ(held->numEntries, 4);
  mine.entries[2].green = 99;
  EXPECT_EQ(held->entries[2].green, 20);

  // A palette once set stays, whatever map comes next.
  ColorMap other(8, 255);
  ErrWatch watch;
  EXPECT_TRUE(InitColorMap(*copied, &other));
  EXPECT_TRUE(InitColorMap(*copied, nullptr));
  EXPECT_EQ(copied->getColorMap(), held);
  EXPECT_EQ(held->numEntries, 4);
  EXPECT_EQ(watch.reports(), 0u);
}

// Every factory failure in one table: what comes back, what is recorded, how many
// reports, and whether the caller's pointer survives.
TEST(CImg8Test, FactoryFailures) {
  struct Case {
    const char *name;
    unsigned w, h;
    ImgAlignmentEnum align;
    bool nullBuffer;
    unsigned len;
    bool takeData;
    ImgErr code;
    uint32_t reports;
  };
  const auto kBadAlign = static_cast<ImgAlignmentEnum>(16);
  const Case cases[] = {
      {"zero width", 0, 3, IMG_ALIGN_NONE, false, 12, false, IMG_FAIL, 2},
      {"zero height adopted", 4, 0, IMG_ALIGN_NONE, false, 12, true, IMG_FAIL, 2},
      {"alignment 16", 4, 3, kBadAlign, false, 12, true, IMG_FAIL, 2},
      {"32-bit overflow", 70000, 70000, IMG_ALIGN_NONE, false, 12, false, IMG_FAIL, 1},
      {"padded row wraps", 0xFFFFFFFFu, 1, IMG_ALIGN_32, false, 12, false, IMG_FAIL, 1},
      {"null buffer", 4, 3, IMG_ALIGN_NONE, true, 12, false, IMG_INVALID_ARG, 1},
      {"null buffer adopted", 4, 3, IMG_ALIGN_NONE, true, 12, true, IMG_INVALID_ARG, 1},
      {"short buffer", 4, 3, IMG_ALIGN_NONE, false, 11, false, IMG_FAIL, 1},
      {"long buffer", 4, 3, IMG_ALIGN_NONE, false, 13, false, IMG_FAIL, 1},
      {"long buffer adopted", 4, 3, IMG_ALIGN_NONE, false, 13, true, IMG_FAIL, 1},
      {"unpadded length for padded rows", 3, 4, IMG_ALIGN_32, false, 12, true, IMG_FAIL, 1},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    unsigned char *buffer = c.nullBuffer ? nullptr : HostBytes(16);
    unsigned char *const original = buffer;
    ErrWatch watch;
    ImagePtr image(CImg8::create(c.w, c.h, buffer, c.len, c.takeData, nullptr, c.align));
    EXPECT_EQ(image, nullptr);
    EXPECT_EQ(CImgErr::get(), c.code);
    EXPECT_EQ(watch.reports(), c.reports);
    EXPECT_EQ(buffer, original);  // a failed factory never takes the buffer
    void *owned = buffer;
    IImg::deallocImageBuffer(owned);
  }

  // The lazy factories fail the same way on sizes and alignments.
  const struct {
    unsigned w, h;
    ImgAlignmentEnum align;
    uint32_t reports;
  } lazy[] = {{4, 4, kBadAlign, 2}, {0, 4, IMG_ALIGN_8, 2}, {70000, 70000, IMG_ALIGN_32, 1}};
  for (const auto &c : lazy) {
    SCOPED_TRACE(c.w);
    ErrWatch plain;
    EXPECT_EQ(CImg8::create(c.w, c.h, nullptr, c.align), nullptr);
    EXPECT_EQ(CImgErr::get(), IMG_FAIL);
    EXPECT_EQ(plain.reports(), c.reports);
    ErrWatch eager;
    EXPECT_EQ(Open::_create(c.w, c.h, nullptr, c.align), nullptr);
    EXPECT_EQ(CImgErr::get(), IMG_FAIL);
    EXPECT_EQ(eager.reports(), c.reports);
  }
  ImagePtr eager(Open::_create(3, 2, nullptr, IMG_ALIGN_32));
  ASSERT_NE(eager, nullptr);
  EXPECT_TRUE(eager->hasData());
  EXPECT_NE(eager->getColorMap(), nullptr);
}

TEST(CImg8Test, AdoptClearsTheCallersPointerAndCopyDoesNot) {
  unsigned char *adopted = HostBytes(16);
  unsigned char *const address = adopted;
  ErrWatch watch;
  ImagePtr owner(CImg8::create(7, 2, adopted, 16, true, nullptr, IMG_ALIGN_32));
  ASSERT_NE(owner, nullptr);
  EXPECT_EQ(watch.reports(), 0u);
  EXPECT_EQ(adopted, nullptr);
  EXPECT_EQ(owner->peekData(), address);
  EXPECT_EQ(owner->peekDataArray()[1][0], 8);  // row 1 is 7 bytes in, not 8

  unsigned char *kept = HostBytes(16);
  ImagePtr copy(CImg8::create(7, 2, kept, 16, false, nullptr, IMG_ALIGN_32));
  ASSERT_NE(copy, nullptr);
  ASSERT_NE(kept, nullptr);
  EXPECT_NE(copy->peekData(), kept);
  kept[15] = 0;
  EXPECT_EQ(copy->peekData()[15], 16);  // all 16 bytes copied, and independent
  void *owned = kept;
  IImg::deallocImageBuffer(owned);
}

TEST(CImg8Test, LazyFillUsesTheLowByteOfTheBackground) {
  ImagePtr image(CImg8::create(10, 3, nullptr, IMG_ALIGN_32));
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(RasOpSet(*image, 0x1234u), IMG_OK);  // without pixels: just the background
  EXPECT_FALSE(image->hasData());
  EXPECT_TRUE(image->isBackgroundKnown());
  EXPECT_EQ(image->getBackgroundColor(), 0x1234u);
  // The padding at the end of the buffer is filled too.
  EXPECT_EQ(Bytes(*image), std::vector<unsigned>(36, 0x34));

  unsigned char *first = image->peekData();
  ErrWatch watch;
  EXPECT_EQ(InitData(*image), IMG_FALSE);
  EXPECT_EQ(watch.reports(), 1u);
  EXPECT_EQ(image->peekData(), first);

  EXPECT_EQ(RasOpSet(*image, 0xABCDu), IMG_OK);
  EXPECT_EQ(Bytes(*image), std::vector<unsigned>(36, 0xCD));
  EXPECT_EQ(image->getBackgroundColor(), 0x1234u);  // with pixels it only paints
}

TEST(CImg8Test, OwnDupAndTransferDemandTheExactLength) {
  ImagePtr image(CImg8::create(3, 2, nullptr, IMG_ALIGN_32));  // 8 bytes
  ASSERT_NE(image, nullptr);
  unsigned char source[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  ErrWatch noData;
  EXPECT_EQ(image->dupData(source, 8), IMG_FAIL);  // data is not forced
  EXPECT_EQ(noData.reports(), 1u);
  EXPECT_FALSE(image->hasData());

  ASSERT_NE(image->peekData(), nullptr);
  EXPECT_EQ(image->dupData(source, 7), IMG_FAIL);
  EXPECT_EQ(image->dupData(source, 9), IMG_FAIL);
  EXPECT_EQ(image->dupData(nullptr, 8), IMG_INVALID_ARG);
  ErrWatch ok;
  EXPECT_EQ(image->dupData(source, 8), IMG_OK);
  EXPECT_EQ(ok.reports(), 0u);
  EXPECT_EQ(Bytes(*image), std::vector<unsigned>({1, 2, 3, 4, 5, 6, 7, 8}));

  unsigned char *fresh = HostBytes(8);
  unsigned char *const address = fresh;
  for (unsigned len : {7u, 9u}) {
    EXPECT_EQ(image->transferData(&fresh, len), IMG_FAIL);
    EXPECT_EQ(fresh, address);
  }
  EXPECT_EQ(image->transferData(&fresh, 8), IMG_OK);
  EXPECT_EQ(fresh, nullptr);
  EXPECT_EQ(image->peekData(), address);

  unsigned char *taken = image->ownData();
  EXPECT_EQ(taken, address);
  EXPECT_FALSE(image->hasData());
  image.reset();
  EXPECT_EQ(taken[7], 8);  // still valid after the image is gone
  void *owned = taken;
  IImg::deallocImageBuffer(owned);

  // A failed transfer leaves the image without data, and nothing leaks.
  ImagePtr other(CImg8::create(2, 2, nullptr, IMG_ALIGN_NONE));
  ASSERT_NE(other->peekData(), nullptr);
  unsigned char *none = nullptr;
  EXPECT_EQ(other->transferData(&none, 4), IMG_INVALID_ARG);
  EXPECT_FALSE(other->hasData());
  EXPECT_EQ(other->transferData(nullptr, 4), IMG_INVALID_ARG);
}

TEST(CImg8Test, ReferenceImagesSharePixelsAndThePalette) {
  unsigned char *pixels = HostBytes(96);  // 10 x 8, aligned to 32 bits: byte y * 10 + x + 1
  ImagePtr parent(CImg8::create(10, 8, pixels, 96, true, nullptr, IMG_ALIGN_32));
  ASSERT_NE(parent, nullptr);
  parent->setBackgroundColor(5);
  unsigned char **parentRows = parent->peekDataArray();

  ImagePtr view(CImg8::createRefImg(*parent, Core2DImage::IntRect(2, 3, 6, 7)));
  ASSERT_NE(view, nullptr);
  EXPECT_EQ(view->getWidth(), 5u);
  EXPECT_EQ(view->getAlignment(), IMG_ALIGN_32);
  EXPECT_EQ(view->getPadBytes(), 3u);
  EXPECT_EQ(view->getBackgroundColor(), 5u);
  EXPECT_EQ(view->getColorMap(), parent->getColorMap());
  const unsigned char *const *rows = view->constDataArray();
  EXPECT_EQ(rows[0], parentRows[3] + 2);
  EXPECT_EQ(rows[1] - rows[0], 10);
  view->peekDataArray()[1][2] = 0xEE;
  EXPECT_EQ(parentRows[4][4], 0xEE);

  ImagePtr again(static_cast<CImg8 *>(parent->getSubRef(Core2DImage::IntRect(2, 3, 6, 7))));
  ASSERT_NE(again, nullptr);
  EXPECT_EQ(again->constDataArray()[4], rows[4]);
  EXPECT_EQ(again->getColorMap(), parent->getColorMap());

  // Deleting the views leaves the parent's pixels and palette to the parent, which
  // frees them once (checked by the sanitizer build).
  view.reset();
  again.reset();
  EXPECT_EQ(parent->getColorMap()->entries[77].red, 77);
  EXPECT_EQ(parentRows[7][9], 80);

  ImagePtr lazy(CImg8::create(6, 6, nullptr, IMG_ALIGN_NONE));
  ErrWatch noData;
  EXPECT_EQ(CImg8::createRefImg(*lazy, Core2DImage::IntRect(0, 0, 2, 2)), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  EXPECT_EQ(noData.reports(), 1u);
  EXPECT_EQ(CImg8::createRefImg(*parent, Core2DImage::IntRect(3, 0, 3, 5)), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_INVALID_ARG);
}

TEST(CImg8Test, AViewWithPixelsOfItsOwnHasAPaletteOfItsOwn) {
  ImagePtr parent(CImg8::create(6, 6, nullptr, IMG_ALIGN_NONE));
  parent->setBackgroundColor(9);
  ASSERT_NE(parent->peekData(), nullptr);
  const ColorMap *shared = parent->getColorMap();

  ImagePtr given(CImg8::createRefImg(*parent, Core2DImage::IntRect(1, 1, 4, 4)));
  ASSERT_NE(given, nullptr);
  EXPECT_EQ(given->ownData(), parent->peekDataArray()[1] + 1);
  EXPECT_EQ(given->getColorMap(), shared);  // still borrowed while it has no pixels
  ASSERT_NE(given->peekData(), nullptr);
  EXPECT_NE(given->getColorMap(), shared);
  EXPECT_EQ(given->getColorMap()->entries[40].blue, 40);
  EXPECT_EQ(given->peekData()[15], 9);

  ImagePtr replaced(CImg8::createRefImg(*parent, Core2DImage::IntRect(0, 0, 1, 1)));
  ASSERT_NE(replaced, nullptr);
  unsigned char *fresh = HostBytes(4);
  EXPECT_EQ(replaced->transferData(&fresh, 4), IMG_OK);
  EXPECT_NE(replaced->getColorMap(), shared);
  EXPECT_EQ(parent->peekData()[0], 9);  // the parent's pixels stay allocated
  EXPECT_EQ(shared->entries[1].red, 1);
}

// Sizes alone are tested; the rows are read from r's left and top as they stand,
// and what lies outside the buffer comes back as 0 (bytes here are offset + 1).
TEST(CImg8Test, SubImageTestsOnlyTheSize) {
  unsigned char *pixels = HostBytes(12);
  ImagePtr image(CImg8::create(4, 3, pixels, 12, true, nullptr, IMG_ALIGN_NONE));
  ASSERT_NE(image, nullptr);
  struct Case {
    const char *name;
    ImgRect r;
    std::vector<unsigned> bytes;
  };
  const Case cases[] = {
      {"inside", ImgRect(1, 1, 2, 2), {6, 7, 10, 11}},
      {"swapped edges start at left and top", ImgRect(2, 2, 1, 1), {11, 12, 0, 0}},
      {"past the right edge runs into the next row", ImgRect(2, 0, 5, 0), {3, 4, 5, 6}},
      {"past the right edge of the last row", ImgRect(2, 2, 5, 2), {11, 12, 0, 0}},
      {"below the last row", ImgRect(0, 2, 1, 3), {9, 10, 0, 0}},
      {"far outside", ImgRect(1000, 0, 1000, 0), {0}},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    ImagePtr sub(static_cast<CImg8 *>(image->getSubImage(c.r)));
    ASSERT_NE(sub, nullptr);
    EXPECT_NE(sub->getColorMap(), image->getColorMap());
    EXPECT_EQ(Bytes(*sub), c.bytes);
  }
  ErrWatch refusals;
  EXPECT_EQ(image->getSubImage(ImgRect(0, 0, 4, 0)), nullptr);  // five wide
  EXPECT_EQ(image->getSubImage(ImgRect(0, 0, 0, 3)), nullptr);  // four high
  EXPECT_EQ(CImgErr::get(), IMG_INVALID_ARG);
  EXPECT_EQ(refusals.reports(), 2u);
  ImagePtr lazy(CImg8::create(4, 4, nullptr, IMG_ALIGN_NONE));
  EXPECT_EQ(lazy->getSubImage(ImgRect(0, 0, 1, 1)), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  EXPECT_FALSE(lazy->hasData());
}

TEST(CImg8Test, PaddedCopiesCarryTheNextRowAndStopAtTheBuffer) {
  // Each row copy is 12 bytes long and carries 2 bytes of the next row; the trailing
  // padding of the copy keeps the background fill.
  unsigned char *pixels = HostBytes(36);
  ImagePtr image(CImg8::create(10, 3, pixels, 36, true, nullptr, IMG_ALIGN_32));
  image->setBackgroundColor(0xEE);
  ImagePtr sub(static_cast<CImg8 *>(image->getSubImage(ImgRect(0, 0, 9, 1))));
  ASSERT_NE(sub, nullptr);
  EXPECT_EQ(sub->getBackgroundColor(), 0xEEu);
  std::vector<unsigned> expected;
  for (unsigned i = 1; i <= 22; ++i) {
    expected.push_back(i);
  }
  expected.insert(expected.end(), {0xEE, 0xEE});
  EXPECT_EQ(Bytes(*sub), expected);

  // A 7-wide view of an 8-wide parent has a byte of padding that lies past the
  // parent's buffer on the last row: it reads as 0 and is never written.
  unsigned char *parentPixels = HostBytes(16);
  ImagePtr parent(CImg8::create(8, 2, parentPixels, 16, true, nullptr, IMG_ALIGN_32));
  parent->setBackgroundColor(0xEE);
  ImagePtr view(CImg8::createRefImg(*parent, Core2DImage::IntRect(1, 0, 7, 1)));
  ASSERT_NE(view, nullptr);
  ASSERT_EQ(view->getTotalBytes(), 16u);
  ImagePtr copy(static_cast<CImg8 *>(view->getSubImage(ImgRect(0, 0, 6, 1))));
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(Bytes(*copy),
            std::vector<unsigned>({2, 3, 4, 5, 6, 7, 8, 10, 11, 12, 13, 14, 15, 16, 0, 0xEE}));

  std::vector<unsigned char> source(16, 0x77);
  EXPECT_EQ(view->dupData(source.data(), 16), IMG_OK);
  EXPECT_EQ(RasOpSet(*view, 0x55), IMG_OK);
  const std::vector<unsigned> after = Bytes(*parent);
  EXPECT_EQ(after[0], 1u);  // before the view
  EXPECT_EQ(std::vector<unsigned>(after.begin() + 1, after.end()), std::vector<unsigned>(15, 0x55));
}

TEST(CImg8Test, TrivialSlotsAndStaleHeaders) {
  ImagePtr image(CImg8::create(3, 3, nullptr, IMG_ALIGN_NONE));
  image->setBackgroundColor(0x42);
  unsigned char *pixels = image->peekData();
  EXPECT_EQ(image->invert(), image.get());
  EXPECT_EQ(pixels[4], 0x42);  // not inverted
  // Tile formats carry the values of the 32-bit class.
  EXPECT_EQ(CImg8::RLE_MIXED, CImg32::RLE_MIXED);
  EXPECT_EQ(CImg8::HP_RTL, CImg32::HP_RTL);
  ErrWatch withData;
  EXPECT_FALSE(image->writePPM("out.ppm"));
  EXPECT_EQ(image->getTileIterator(2, 2, CImg8::UNCOMPRESSED), nullptr);
  EXPECT_EQ(withData.reports(), 0u);

  ImagePtr lazy(CImg8::create(3, 3, nullptr, IMG_ALIGN_NONE));
  ErrWatch noData;
  EXPECT_FALSE(lazy->writePPM(nullptr));
  EXPECT_EQ(noData.reports(), 0u);
  EXPECT_FALSE(lazy->writePPM("out.ppm"));
  EXPECT_EQ(lazy->getTileIterator(2, 2, CImg8::HP_RTL), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  EXPECT_EQ(noData.reports(), 2u);
  EXPECT_EQ(CImg8::create(*image, nullptr, IMG_ALIGN_NONE), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);

  // A changed alignment or extent is not followed by the sizes, and copies refuse.
  image->setAlignment(IMG_ALIGN_32);
  EXPECT_EQ(image->getPadBytes(), 0u);
  EXPECT_EQ(image->getSubImage(ImgRect(0, 0, 1, 1)), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  image->setAlignment(IMG_ALIGN_NONE);
  EXPECT_TRUE(image->setExtents(1, 9));
  EXPECT_EQ(CImg8::createRefImg(*image, Core2DImage::IntRect(0, 0, 0, 5)), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  EXPECT_TRUE(image->setExtents(3, 3));
  ImagePtr sub(static_cast<CImg8 *>(image->getSubImage(ImgRect(0, 0, 2, 2))));
  EXPECT_NE(sub, nullptr);
}

}  // namespace
