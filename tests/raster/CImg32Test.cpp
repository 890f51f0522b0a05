// CImg32: changed extents, sub-images, reference images and the ownership of their
// pixels.
#include <gtest/gtest.h>

#include <vector>

#include "Image/Core2DImage.h"
#include "ImgTestSupport.h"

namespace {

using c2d_test::HostBuffer;
using c2d_test::Sequence;
using Core2DImage::IntRect;
using ImagePtr = c2d_test::ImgPtr<CImg32>;

// A w x h image that owns pixels y * w + x + base.
ImagePtr Counting(unsigned w, unsigned h, unsigned base = 0) {
  unsigned *pixels = HostBuffer(Sequence(w * h, base));
  return ImagePtr(CImg32::create(w, h, pixels, w * h * 4, true, RGB_ORDER_RGB));
}

// After setExtents the buffer keeps its old rows: copies and views are made wherever
// their reads stay inside it, and refused (IMG_FAIL) where they would not.
TEST(CImg32Test, SetExtentsChangesOnlyTheExtents) {
  ImagePtr image = Counting(4, 4);
  EXPECT_TRUE(image->setExtents(2, 8));
  EXPECT_EQ(image->getSubImage(ImgRect(0, 0, 1, 7)), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  EXPECT_EQ(CImg32::createRefImg(*image, IntRect(0, 0, 1, 3)), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  ImagePtr top(static_cast<CImg32 *>(image->getSubImage(ImgRect(0, 2, 1, 3))));
  ASSERT_NE(top, nullptr);  // rows 2 and 3 are still in the buffer
  EXPECT_EQ(c2d_test::BufferOf(*top), (std::vector<unsigned>{8, 9, 12, 13}));

  EXPECT_TRUE(image->setExtents(3, 3));  // shrunk: the view steps by the new width
  ImagePtr view(CImg32::createRefImg(*image, IntRect(1, 1, 2, 2)));
  ASSERT_NE(view, nullptr);
  EXPECT_EQ((*view)(0, 0), 5u);
  EXPECT_EQ((*view)(1, 0), 8u);
  ImagePtr sub(static_cast<CImg32 *>(image->getSubImage(ImgRect(1, 1, 2, 2))));
  ASSERT_NE(sub, nullptr);
  EXPECT_EQ(c2d_test::BufferOf(*sub), (std::vector<unsigned>{5, 6, 9, 10}));
}

TEST(CImg32Test, SubImageCopiesTheOverlap) {
  ImagePtr image = Counting(10, 5);
  image->setBackgroundColor(77);
  ImagePtr sub(static_cast<CImg32 *>(image->getSubImage(ImgRect(7, 3, 20, 30))));
  ASSERT_NE(sub, nullptr);
  EXPECT_EQ(sub->getBackgroundColor(), 77u);
  EXPECT_EQ(c2d_test::BufferOf(*sub), (std::vector<unsigned>{37, 38, 39, 47, 48, 49}));

  // Swapped edges are read from the first edge as given, as long as the rows stay
  // inside the image (pixel 100 y + x), and from the smaller edge where they would not.
  ImagePtr square = c2d_test::Drawn32(
      10, 10, [](unsigned x, unsigned y) { return 100 * y + x; }, RGB_ORDER_RGB);
  ImagePtr legacy(static_cast<CImg32 *>(square->getSubImage(ImgRect(5, 4, 2, 1))));
  ASSERT_NE(legacy, nullptr);
  EXPECT_EQ(legacy->getWidth(), 4u);
  EXPECT_EQ((*legacy)(0, 0), 405u);
  EXPECT_EQ((*legacy)(3, 3), 708u);
  ImagePtr swapped(static_cast<CImg32 *>(image->getSubImage(ImgRect(4, 4, 2, 1))));
  ASSERT_NE(swapped, nullptr);
  EXPECT_EQ(swapped->getWidth(), 3u);
  EXPECT_EQ(swapped->getHeight(), 4u);
  EXPECT_EQ((*swapped)(0, 0), 14u);  // columns 4..6 as given, rows 1..4 from the top
  EXPECT_EQ((*swapped)(3, 2), 46u);

  EXPECT_EQ(image->getSubImage(ImgRect(10, 0, 12, 2)), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_INVALID_ARG);
  ImagePtr lazy(CImg32::create(4, 4, RGB_ORDER_BGR));
  EXPECT_EQ(lazy->getSubImage(ImgRect(0, 0, 1, 1)), nullptr);
  EXPECT_FALSE(lazy->hasData());  // data is not forced
}

TEST(CImg32Test, ReferenceImagesSharePixels) {
  ImagePtr parent = Counting(10, 8);
  parent->setBackgroundColor(5);
  ImagePtr view(CImg32::createRefImg(*parent, IntRect(2, 3, 6, 7)));
  ASSERT_NE(view, nullptr);
  EXPECT_EQ(view->getBackgroundColor(), 5u);
  EXPECT_EQ((*view)(4, 4), 76u);
  (*view)(1, 2) = 999;
  EXPECT_EQ((*parent)(4, 4), 999u);

  // The other entry points forward here: one of them gives the same view.
  c2d_test::ImgPtr<const IImg> other(
      static_cast<const CImg32 &>(*parent).getSubRef(ImgRect(2, 3, 6, 7)));
  const auto *raster = dynamic_cast<const CImg32 *>(other.get());
  ASSERT_NE(raster, nullptr);
  EXPECT_EQ(raster->constDataArray()[1], view->constDataArray()[1]);

  // A view of a view steps by the first view's width.
  ImagePtr inner(CImg32::createRefImg(*view, IntRect(1, 1, 3, 3)));
  ASSERT_NE(inner, nullptr);
  EXPECT_EQ(inner->constDataArray()[1], &(*parent)(4, 3) + 5);
  // Deleting views leaves the parent's pixels alone.
  inner.reset();
  view.reset();
  EXPECT_EQ((*parent)(7, 9), 79u);

  const IntRect bad[] = {
      {3, 0, 3, 5},   // one pixel wide
      {5, 0, 3, 5},   // swapped
      {0, 0, 10, 5},  // past the right edge
  };
  for (const IntRect &r : bad) {
    SCOPED_TRACE(r.left());
    EXPECT_EQ(CImg32::createRefImg(*parent, r), nullptr);
    EXPECT_EQ(CImgErr::get(), IMG_INVALID_ARG);
  }
  ImagePtr lazy(CImg32::create(10, 10, RGB_ORDER_BGR));
  EXPECT_EQ(CImg32::createRefImg(*lazy, IntRect(0, 0, 5, 5)), nullptr);
  EXPECT_FALSE(lazy->hasData());
}

// After ownData or transferData a view holds pixels of its own, frees them itself
// and leaves the parent's alone (checked by the sanitizer build).
TEST(CImg32Test, AViewGivenPixelsOfItsOwnLeavesTheParents) {
  ImagePtr parent(CImg32::create(6, 6, RGB_ORDER_BGR));
  parent->setBackgroundColor(1);
  ASSERT_NE(parent->peekData(), nullptr);
  ImagePtr given(CImg32::createRefImg(*parent, IntRect(1, 1, 4, 4)));
  EXPECT_EQ(given->ownData(), &(*parent)(1, 1));  // the parent's pixels
  EXPECT_FALSE(given->hasData());
  ASSERT_NE(given->peekData(), nullptr);
  EXPECT_EQ((*given)(3, 3), 1u);

  ImagePtr replaced(CImg32::createRefImg(*parent, IntRect(0, 0, 2, 2)));
  unsigned *fresh = HostBuffer(Sequence(9, 0u));
  EXPECT_EQ(replaced->transferData(&fresh, 36), IMG_OK);
  EXPECT_EQ((*replaced)(2, 2), 8u);
  EXPECT_EQ((*parent)(0, 0), 1u);  // still allocated and intact
}

TEST(CImg32Test, TrivialSlots) {
  ImagePtr image(CImg32::create(3, 3, RGB_ORDER_BGR));
  EXPECT_TRUE(CImg32::matches(*image, RGB_ORDER_BGR));
  EXPECT_FALSE(CImg32::matches(*image, RGB_ORDER_RGB));
  EXPECT_FALSE(CImg32::matches(
      *c2d_test::ImgPtr<CImg8>(CImg8::create(3, 3, nullptr, IMG_ALIGN_NONE)), RGB_ORDER_BGR));
}

}  // namespace
