// CImg32: creation, lazy pixels, ownership of buffers, reference images, sub-images
// and the error codes and counts of each failure.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "Image/Core2DImage.h"
#include "ImgTestSupport.h"

namespace {

using c2d_test::ErrWatch;
using c2d_test::ImageDeleter;

using ImagePtr = std::unique_ptr<CImg32, ImageDeleter>;

// A caller-owned buffer from the host allocator, filled with pixel i = base + i.
unsigned *HostPixels(unsigned count, unsigned base) {
  auto *pixels = static_cast<unsigned *>(IImg::allocImageBuffer(count * 4ull));
  for (unsigned i = 0; i < count; ++i) {
    pixels[i] = base + i;
  }
  return pixels;
}

TEST(CImg32Test, LazyHeaderHasNoPixels) {
  ImagePtr image(CImg32::create(4, 3, RGB_ORDER_BGR));
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->getBytesPerLine(), 16u);
  EXPECT_EQ(image->getTotalBytes(), 48u);
  EXPECT_EQ(image->getNumberOfTiles(), 1u);
  EXPECT_EQ(image->getTileWidth(), 4u);
  EXPECT_EQ(image->getTileHeight(), 3u);
  EXPECT_EQ(image->getRGBOrder(), RGB_ORDER_BGR);
  EXPECT_FALSE(image->hasData());
  EXPECT_EQ(image->constDataArray(), nullptr);  // never allocates
  EXPECT_FALSE(image->hasData());
}

TEST(CImg32Test, KnownBackgroundFillsOnFirstNeed) {
  ImagePtr image(CImg32::create(5, 4, RGB_ORDER_RGB));
  ASSERT_NE(image, nullptr);
  image->setBackgroundColor(0x11223344u);
  const unsigned *pixels = image->peekData();
  ASSERT_NE(pixels, nullptr);
  for (unsigned i = 0; i < 20; ++i) {
    ASSERT_EQ(pixels[i], 0x11223344u) << i;
  }
  unsigned **rows = image->peekDataArray();
  EXPECT_EQ(rows[0], pixels);
  EXPECT_EQ(rows[3], pixels + 15);
  EXPECT_EQ(image->constDataArray()[2], pixels + 10);
}

// Every factory failure in one table: what comes back, what is recorded, how many
// reports, and what happens to the caller's buffer.
TEST(CImg32Test, FactoryFailures) {
  struct Case {
    const char *name;
    unsigned w, h;
    bool nullBuffer;
    unsigned len;
    bool takeData;
    ImgErr code;
    uint32_t reports;
    bool pointerCleared;
  };
  const Case cases[] = {
      {"zero width", 0, 3, false, 48, false, IMG_FAIL, 2, false},
      {"zero height", 4, 0, false, 48, true, IMG_FAIL, 2, false},
      {"32-bit overflow", 40000, 40000, false, 48, false, IMG_FAIL, 1, false},
      {"wrapping stride", 0x40000001u, 1, false, 48, false, IMG_FAIL, 1, false},
      {"null buffer", 4, 3, true, 48, false, IMG_INVALID_ARG, 1, false},
      {"null buffer adopted", 4, 3, true, 48, true, IMG_INVALID_ARG, 1, false},
      {"short buffer", 4, 3, false, 47, false, IMG_FAIL, 1, false},
      {"short buffer adopted", 4, 3, false, 47, true, IMG_FAIL, 1, false},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    unsigned *buffer = c.nullBuffer ? nullptr : HostPixels(12, 0);
    unsigned *const original = buffer;
    ErrWatch watch;
    ImagePtr image(CImg32::create(c.w, c.h, buffer, c.len, c.takeData, RGB_ORDER_BGR));
    EXPECT_EQ(image, nullptr);
    EXPECT_EQ(CImgErr::get(), c.code);
    EXPECT_EQ(watch.reports(), c.reports);
    EXPECT_EQ(buffer, original);  // a failed factory never takes the buffer
    void *owned = buffer;
    IImg::deallocImageBuffer(owned);
  }
  // The lazy factory fails the same way on sizes.
  ErrWatch watch;
  EXPECT_EQ(CImg32::create(0, 3, RGB_ORDER_BGR), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  EXPECT_EQ(watch.reports(), 2u);
  EXPECT_EQ(CImg32::create(3, 3, static_cast<RGBOrder>(2)), nullptr);
  EXPECT_EQ(CImg32::create(40000, 40000, RGB_ORDER_BGR), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
}

TEST(CImg32Test, AdoptClearsTheCallersPointerAndCopyDoesNot) {
  unsigned *adopted = HostPixels(12, 100);
  unsigned *const adoptedAddress = adopted;
  ImagePtr owner(CImg32::create(4, 3, adopted, 48, true, RGB_ORDER_BGR));
  ASSERT_NE(owner, nullptr);
  EXPECT_EQ(adopted, nullptr);
  EXPECT_EQ(owner->peekData(), adoptedAddress);
  EXPECT_EQ((*owner)(2, 1), 109u);

  unsigned *kept = HostPixels(12, 200);
  ImagePtr copy(CImg32::create(4, 3, kept, 48, false, RGB_ORDER_BGR));
  ASSERT_NE(copy, nullptr);
  ASSERT_NE(kept, nullptr);
  EXPECT_NE(copy->peekData(), kept);
  kept[5] = 0;  // the copy is independent
  EXPECT_EQ((*copy)(1, 1), 205u);

  // The plain-pointer overload always copies. A longer buffer is accepted and only
  // the image's own bytes are read.
  ImagePtr again(CImg32::create(2, 2, kept, 48, RGB_ORDER_BGR));
  ASSERT_NE(again, nullptr);
  EXPECT_EQ((*again)(1, 1), 203u);
  void *owned = kept;
  IImg::deallocImageBuffer(owned);
}

TEST(CImg32Test, PixelAccessors) {
  ImagePtr image(CImg32::create(6, 3, RGB_ORDER_BGR));
  ASSERT_NE(image, nullptr);
  unsigned *pixels = image->peekData();
  std::memset(pixels, 0, 72);
  (*image)(2, 5) = 0xA1B2C3D4u;
  EXPECT_EQ(pixels[2 * 6 + 5], 0xA1B2C3D4u);
  EXPECT_EQ(image->pix_b(2, 5), 0xD4);
  EXPECT_EQ(image->pix_g(2, 5), 0xC3);
  EXPECT_EQ(image->pix_r(2, 5), 0xB2);
  EXPECT_EQ(image->pix_a(2, 5), 0xA1);
  image->set(1, 0, 7);
  EXPECT_EQ(pixels[6], 7u);
  const CImg32 &view = *image;
  EXPECT_EQ(view(1, 0), 7u);

  image->safeSet(6, 3, 3, 0, 9);   // row out of range
  image->safeSet(6, 3, 0, -1, 9);  // column out of range
  image->safeSet(6, 3, 2, 5, 9);   // last pixel
  EXPECT_EQ(pixels[17], 9u);
  EXPECT_EQ(pixels[0], 0u);
}

TEST(CImg32Test, SecondInitDataIsFalseAndLeavesThePixels) {
  struct Open : CImg32 {
    using CImg32::initData;
  };
  ImagePtr image(CImg32::create(2, 2, RGB_ORDER_BGR));
  ASSERT_NE(image, nullptr);
  unsigned *first = image->peekData();
  ErrWatch watch;
  EXPECT_EQ((image.get()->*static_cast<ImgErr (CImg32::*)()>(&Open::initData))(), IMG_FALSE);
  EXPECT_EQ(CImgErr::get(), IMG_FALSE);
  EXPECT_EQ(watch.reports(), 1u);
  EXPECT_EQ(image->peekData(), first);
}

TEST(CImg32Test, OwnDataMovesTheBufferOut) {
  ImagePtr image(CImg32::create(3, 2, RGB_ORDER_BGR));
  ASSERT_NE(image, nullptr);
  image->setBackgroundColor(0xABu);
  unsigned *taken = image->ownData();
  ASSERT_NE(taken, nullptr);
  EXPECT_FALSE(image->hasData());
  image.reset();
  EXPECT_EQ(taken[5], 0xABu);  // still valid after the image is gone
  void *owned = taken;
  IImg::deallocImageBuffer(owned);
}

TEST(CImg32Test, DupDataAndTransferData) {
  ImagePtr image(CImg32::create(2, 2, RGB_ORDER_BGR));
  ASSERT_NE(image, nullptr);
  unsigned source[4] = {1, 2, 3, 4};
  ErrWatch noData;
  EXPECT_EQ(image->dupData(source, 16), IMG_FAIL);  // data is not forced
  EXPECT_EQ(noData.reports(), 1u);
  EXPECT_FALSE(image->hasData());

  ASSERT_NE(image->peekData(), nullptr);
  EXPECT_EQ(image->dupData(source, 15), IMG_FAIL);
  ErrWatch ok;
  EXPECT_EQ(image->dupData(source, 16), IMG_OK);
  EXPECT_EQ(ok.reports(), 0u);  // success is not reported
  EXPECT_EQ((*image)(1, 1), 4u);

  unsigned *fresh = HostPixels(4, 50);
  unsigned *const freshAddress = fresh;
  EXPECT_EQ(image->transferData(&fresh, 12), IMG_FAIL);  // too short
  EXPECT_EQ(fresh, freshAddress);
  EXPECT_EQ(image->transferData(&fresh, 16), IMG_OK);
  EXPECT_EQ(fresh, nullptr);
  EXPECT_EQ(image->peekData(), freshAddress);
  EXPECT_EQ((*image)(1, 0), 52u);

  // A null buffer leaves the image without data, and nothing leaks.
  unsigned *none = nullptr;
  EXPECT_EQ(image->transferData(&none, 16), IMG_INVALID_ARG);
  EXPECT_FALSE(image->hasData());
  EXPECT_EQ(image->transferData(nullptr, 16), IMG_INVALID_ARG);
}

TEST(CImg32Test, SetExtentsChangesOnlyTheExtents) {
  ImagePtr image(CImg32::create(4, 4, RGB_ORDER_BGR));
  ASSERT_NE(image, nullptr);
  image->setBackgroundColor(3);
  ASSERT_NE(image->peekData(), nullptr);
  EXPECT_FALSE(image->setExtents(0, 4));
  EXPECT_TRUE(image->setExtents(2, 8));
  EXPECT_EQ(image->getWidth(), 2u);
  EXPECT_EQ(image->getHeight(), 8u);
  EXPECT_EQ(image->getBytesPerLine(), 16u);
  EXPECT_EQ(image->getTotalBytes(), 64u);
  // The header no longer validates, so copies refuse rather than run off the rows.
  EXPECT_EQ(image->getSubImage(ImgRect(0, 0, 1, 7)), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  EXPECT_EQ(CImg32::createRefImg(*image, Core2DImage::IntRect(0, 0, 1, 7)), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  EXPECT_TRUE(image->setExtents(4, 4));
  ImagePtr sub(static_cast<CImg32 *>(image->getSubImage(ImgRect(0, 0, 3, 3))));
  EXPECT_NE(sub, nullptr);
}

TEST(CImg32Test, SubImageCopiesTheOverlap) {
  unsigned *pixels = HostPixels(50, 0);  // 10 x 5, pixel = y * 10 + x
  ImagePtr image(CImg32::create(10, 5, pixels, 200, true, RGB_ORDER_RGB));
  ASSERT_NE(image, nullptr);
  image->setBackgroundColor(77);

  ImagePtr sub(static_cast<CImg32 *>(image->getSubImage(ImgRect(7, 3, 20, 30))));
  ASSERT_NE(sub, nullptr);
  EXPECT_EQ(sub->getWidth(), 3u);
  EXPECT_EQ(sub->getHeight(), 2u);
  EXPECT_EQ(sub->getRGBOrder(), RGB_ORDER_RGB);
  EXPECT_EQ(sub->getBackgroundColor(), 77u);
  EXPECT_TRUE(sub->isBackgroundKnown());
  EXPECT_EQ((*sub)(0, 0), 37u);
  EXPECT_EQ((*sub)(1, 2), 49u);

  // Swapped edges are read from their smaller edges.
  ImagePtr swapped(static_cast<CImg32 *>(image->getSubImage(ImgRect(4, 4, 2, 1))));
  ASSERT_NE(swapped, nullptr);
  EXPECT_EQ(swapped->getWidth(), 3u);
  EXPECT_EQ(swapped->getHeight(), 4u);
  EXPECT_EQ((*swapped)(0, 0), 12u);
  EXPECT_EQ((*swapped)(3, 2), 44u);

  ErrWatch outside;
  EXPECT_EQ(image->getSubImage(ImgRect(10, 0, 12, 2)), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_INVALID_ARG);
  EXPECT_EQ(outside.reports(), 1u);

  ImagePtr lazy(CImg32::create(4, 4, RGB_ORDER_BGR));
  EXPECT_EQ(lazy->getSubImage(ImgRect(0, 0, 1, 1)), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  EXPECT_FALSE(lazy->hasData());  // data is not forced
}

TEST(CImg32Test, ReferenceImagesSharePixels) {
  unsigned *pixels = HostPixels(80, 0);  // 10 x 8, pixel = y * 10 + x
  ImagePtr parent(CImg32::create(10, 8, pixels, 320, true, RGB_ORDER_RGB));
  ASSERT_NE(parent, nullptr);
  parent->setBackgroundColor(5);

  ImagePtr view(CImg32::createRefImg(*parent, Core2DImage::IntRect(2, 3, 6, 7)));
  ASSERT_NE(view, nullptr);
  EXPECT_EQ(view->getWidth(), 5u);
  EXPECT_EQ(view->getHeight(), 5u);
  EXPECT_EQ(view->getRGBOrder(), RGB_ORDER_RGB);
  EXPECT_EQ(view->getBackgroundColor(), 5u);
  EXPECT_EQ((*view)(0, 0), 32u);
  EXPECT_EQ((*view)(4, 4), 76u);
  (*view)(1, 2) = 999;
  EXPECT_EQ((*parent)(4, 4), 999u);

  // All entry points give the same view.
  const CImg32 &constParent = *parent;
  std::unique_ptr<const IImg, ImageDeleter> views[] = {
      std::unique_ptr<const IImg, ImageDeleter>(CImg32::createRefImg(*parent, ImgRect(2, 3, 6, 7))),
      std::unique_ptr<const IImg, ImageDeleter>(
          CImg32::createCRefImg(*parent, ImgRect(2, 3, 6, 7))),
      std::unique_ptr<const IImg, ImageDeleter>(
          CImg32::createCRefImg(*parent, Core2DImage::IntRect(2, 3, 6, 7))),
      std::unique_ptr<const IImg, ImageDeleter>(
          constParent.getSubRef(Core2DImage::IntRect(2, 3, 6, 7))),
      std::unique_ptr<const IImg, ImageDeleter>(
          parent->getSubRef(Core2DImage::IntRect(2, 3, 6, 7))),
      std::unique_ptr<const IImg, ImageDeleter>(constParent.getSubRef(ImgRect(2, 3, 6, 7))),
      std::unique_ptr<const IImg, ImageDeleter>(parent->getSubRef(ImgRect(2, 3, 6, 7))),
  };
  for (const auto &other : views) {
    ASSERT_NE(other, nullptr);
    const auto *raster = dynamic_cast<const CImg32 *>(other.get());
    ASSERT_NE(raster, nullptr);
    EXPECT_EQ(raster->constDataArray()[1], view->constDataArray()[1]);
  }

  // A view of a view steps by the first view's width.
  ImagePtr inner(CImg32::createRefImg(*view, Core2DImage::IntRect(1, 1, 3, 3)));
  ASSERT_NE(inner, nullptr);
  EXPECT_EQ(inner->constDataArray()[0], &(*parent)(4, 3));
  EXPECT_EQ(inner->constDataArray()[1], &(*parent)(4, 3) + 5);

  // Deleting views leaves the parent's pixels alone.
  inner.reset();
  view.reset();
  EXPECT_EQ((*parent)(7, 9), 79u);
}

TEST(CImg32Test, ReferenceImageRefusals) {
  ImagePtr lazy(CImg32::create(10, 10, RGB_ORDER_BGR));
  ErrWatch noData;
  EXPECT_EQ(CImg32::createRefImg(*lazy, Core2DImage::IntRect(0, 0, 5, 5)), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  EXPECT_EQ(noData.reports(), 1u);
  EXPECT_FALSE(lazy->hasData());

  ASSERT_NE(lazy->peekData(), nullptr);
  const Core2DImage::IntRect bad[] = {
      {3, 0, 3, 5},   // one pixel wide
      {0, 4, 5, 4},   // one pixel high
      {5, 0, 3, 5},   // swapped
      {-1, 0, 5, 5},  // outside
      {0, 0, 10, 5},  // past the right edge
  };
  for (const auto &r : bad) {
    SCOPED_TRACE(r.left());
    EXPECT_EQ(CImg32::createRefImg(*lazy, r), nullptr);
    EXPECT_EQ(CImgErr::get(), IMG_INVALID_ARG);
  }
}

TEST(CImg32Test, OwnDataOnAViewReturnsTheParentsPixels) {
  ImagePtr parent(CImg32::create(6, 6, RGB_ORDER_BGR));
  parent->setBackgroundColor(1);
  ASSERT_NE(parent->peekData(), nullptr);
  ImagePtr view(CImg32::createRefImg(*parent, Core2DImage::IntRect(1, 1, 4, 4)));
  ASSERT_NE(view, nullptr);
  EXPECT_EQ(view->ownData(), &(*parent)(1, 1));
  EXPECT_FALSE(view->hasData());
  // Its next pixels are its own, and freed with it.
  ASSERT_NE(view->peekData(), nullptr);
  EXPECT_EQ((*view)(3, 3), 1u);
}

TEST(CImg32Test, TransferDataOnAViewLeavesTheParentsPixels) {
  ImagePtr parent(CImg32::create(6, 6, RGB_ORDER_BGR));
  parent->setBackgroundColor(1);
  ASSERT_NE(parent->peekData(), nullptr);
  ImagePtr view(CImg32::createRefImg(*parent, Core2DImage::IntRect(0, 0, 2, 2)));
  ASSERT_NE(view, nullptr);
  unsigned *fresh = HostPixels(9, 0);
  EXPECT_EQ(view->transferData(&fresh, 36), IMG_OK);
  EXPECT_EQ((*parent)(0, 0), 1u);  // still allocated and intact
  EXPECT_EQ((*view)(2, 2), 8u);
}

TEST(CImg32Test, TrivialSlots) {
  ImagePtr image(CImg32::create(3, 3, RGB_ORDER_BGR));
  image->setBackgroundColor(0x00FFFFFFu);
  unsigned *pixels = image->peekData();
  EXPECT_EQ(image->invert(), image.get());
  EXPECT_EQ(pixels[4], 0x00FFFFFFu);  // not inverted
  EXPECT_EQ(image->applyFilter(), image.get());
  EXPECT_EQ(image->sxfm(), image.get());
  EXPECT_EQ(image->getUnformatted(), image.get());
  EXPECT_FALSE(image->stream(nullptr));
  EXPECT_FALSE(image->writeTIFF());
  EXPECT_FALSE(image->readPPM("in.ppm"));
  EXPECT_TRUE(CImg32::matches(*image, RGB_ORDER_BGR));
  EXPECT_FALSE(CImg32::matches(*image, RGB_ORDER_RGB));

  ErrWatch withData;
  EXPECT_FALSE(image->writePPM("out.ppm"));
  EXPECT_EQ(withData.reports(), 0u);
  ImagePtr lazy(CImg32::create(3, 3, RGB_ORDER_BGR));
  ErrWatch noPath;
  EXPECT_FALSE(lazy->writePPM(nullptr));
  EXPECT_EQ(noPath.reports(), 0u);
  EXPECT_FALSE(lazy->writePPM("out.ppm"));
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);

  ErrWatch tiles;
  EXPECT_EQ(lazy->getTileIterator(2, 2, CImg32::UNCOMPRESSED), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  EXPECT_EQ(tiles.reports(), 1u);
}

}  // namespace
