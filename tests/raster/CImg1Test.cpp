// CImg1: the bare object, buffer ownership in every combination,
// cut-outs at every bit offset against a pixel reference, and reads past the buffer.
#include <gtest/gtest.h>

#include <vector>

#include "Image/Core2DImage.h"
#include "ImgTestSupport.h"

namespace {

using c2d_test::BufferOf;
using c2d_test::FreeHostBuffer;
using c2d_test::HostBuffer;
using ImagePtr = c2d_test::ImgPtr<CImg1>;
using Bytes = std::vector<unsigned char>;

CImg1 *AsCImg1(IImg *image) { return dynamic_cast<CImg1 *>(image); }

TEST(CImg1Test, BareObjectHoldsMarkersAndStaysSafe) {
  ImagePtr bare(CImg1::create());
  ASSERT_NE(bare, nullptr);
  const unsigned kUnset = 0xDEADBEEFu;
  // The markers in the tile sizes divide without fault, and nothing below reads
  // through the missing buffer or its marker size.
  EXPECT_EQ(bare->getWidthInTiles(), 1u);
  EXPECT_EQ(bare->invert(), bare.get());
  EXPECT_FALSE(bare->writeTIFF());
  unsigned char byte = 0xFF;
  unsigned char *source = &byte;
  EXPECT_EQ(bare->dupData(source, kUnset), IMG_FAIL);
  EXPECT_EQ(bare->transferData(&source, kUnset), IMG_FAIL);
  EXPECT_EQ(source, &byte);
  ImagePtr sub(AsCImg1(bare->getSubImage(ImgRect(0, 0, 0, 0))));
  ASSERT_NE(sub, nullptr);
  EXPECT_EQ(sub->peekData()[0], 0);
  ASSERT_TRUE(bare->setExtents(40, 3));
  ImagePtr wider(AsCImg1(bare->getSubImage(ImgRect(3, 1, 20, 2))));
  ASSERT_NE(wider, nullptr);
  EXPECT_EQ(BufferOf(*wider), Bytes(6, 0));
  EXPECT_EQ(bare->getTileIterator(8, 8, CImg1::HP_RTL), nullptr);
}

// Under the sanitizer build a leak or a double free in any row fails the test.
TEST(CImg1Test, TakeDataAndOwnsDataInAllFourCombinations) {
  for (bool takeData : {true, false}) {
    for (bool owns : {true, false}) {
      SCOPED_TRACE(testing::Message() << "takeData " << takeData << ", owns " << owns);
      unsigned char *buffer = HostBuffer(Bytes{0x81, 0x42, 0x24, 0x18});
      unsigned char *const original = buffer;
      CImg1 *image = CImg1::create(16, 2, buffer, 4, takeData, owns, 0, 1, IMG_ALIGN_NONE);
      ASSERT_NE(image, nullptr);
      EXPECT_EQ(buffer, takeData ? nullptr : original);
      unsigned char *pixels = image->peekData();
      EXPECT_EQ(pixels == original, takeData);
      EXPECT_EQ(pixels[3], 0x18);
      if (!takeData && !owns) {
        // A transfer frees the private copy, which nobody else could reach any more
        // (a leak under LeakSanitizer otherwise); the new buffer is the caller's.
        pixels = HostBuffer(Bytes{1, 2, 3, 4});
        unsigned char *given = pixels;
        EXPECT_EQ(image->transferData(&given, 4), IMG_OK);
        EXPECT_EQ(image->peekData(), pixels);
      }
      delete image;
      if (!owns) {
        EXPECT_EQ(pixels[2], takeData ? 0x24 : 3);  // still valid: the image did not free it
        if (!takeData) {
          FreeHostBuffer(pixels);  // the transferred buffer is the caller's to free
        }
      }
      if (!takeData || !owns) {
        FreeHostBuffer(original);
      }
    }
  }
}

// A transfer frees neither a buffer the image was lent nor the one it adopts; a
// second initData replaces and frees the buffer the image owns (checked by the
// sanitizer build).
TEST(CImg1Test, TransferAndInitDataFreeOnlyWhatTheImageOwns) {
  unsigned char *lent = HostBuffer(Bytes{1, 1, 1, 1});
  unsigned char *const lentAddress = lent;
  ImagePtr image(CImg1::create(16, 2, lent, 4, true, false, 0, 1, IMG_ALIGN_NONE));
  ASSERT_NE(image, nullptr);
  unsigned char *fresh = HostBuffer(Bytes{2, 2, 2, 2});
  unsigned char *const freshAddress = fresh;
  EXPECT_EQ(image->transferData(&fresh, 4), IMG_OK);
  EXPECT_EQ(lentAddress[0], 1);
  image.reset();
  EXPECT_EQ(freshAddress[0], 2);
  FreeHostBuffer(lentAddress);
  FreeHostBuffer(freshAddress);

  struct Open : CImg1 {
    static ImgErr Init(CImg1 &image) {
      return (image.*static_cast<ImgErr (CImg1::*)()>(&Open::initData))();
    }
  };
  ImagePtr owner(CImg1::create(8, 1, 0, 1, IMG_ALIGN_NONE));
  owner->peekData()[0] = 0xAA;
  EXPECT_EQ(Open::Init(*owner), IMG_OK);
  EXPECT_EQ(owner->peekData()[0], 0);  // a clear buffer
}

TEST(CImg1Test, SubImageMatchesPixelsAtEveryBitOffset) {
  const unsigned kW = 77, kH = 9;
  for (ImgAlignmentEnum align : {IMG_ALIGN_NONE, IMG_ALIGN_32}) {
    ImagePtr image = c2d_test::RandomBits(kW, kH, align, 12345, 0x123u, 0x456u);
    image->setBackgroundColor(1);
    for (unsigned left : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 13u, 70u}) {
      for (unsigned w : {1u, 7u, 8u, 9u, 16u, 23u, 40u}) {
        if (left + w > kW) {
          continue;
        }
        SCOPED_TRACE(testing::Message() << "align " << align << " left " << left << " width " << w);
        ImagePtr sub(AsCImg1(image->getSubImage(ImgRect(left, 2u, left + w - 1, 5u))));
        ASSERT_NE(sub, nullptr);
        ASSERT_EQ(sub->getWidth(), w);
        EXPECT_EQ(sub->getAlignment(), align);
        for (unsigned y = 0; y < 4; ++y) {
          for (unsigned x = 0; x < w; ++x) {
            ASSERT_EQ(c2d_test::BitAt(*sub, x, y), c2d_test::BitAt(*image, left + x, y + 2))
                << x << "," << y;
          }
        }
      }
    }
  }
}

// Rows of 16 pixels, two bytes each: A1 B2 / C3 D4 / E5 F6. Bits beyond the right
// edge come from the next row as they lie; bits beyond the buffer read as 0.
TEST(CImg1Test, SubImageReadsZerosBeyondTheBuffer) {
  unsigned char *bytes = HostBuffer(Bytes{0xA1, 0xB2, 0xC3, 0xD4, 0xE5, 0xF6});
  ImagePtr image(CImg1::create(16, 3, bytes, 6, true, 0, 1, IMG_ALIGN_NONE));
  ASSERT_NE(image, nullptr);
  const struct {
    const char *name;
    ImgRect r;
    Bytes expected;
  } cases[] = {
      {"past the right edge", ImgRect(12, 0, 23, 1), {0x2C, 0x3D, 0x4E, 0x5F}},
      {"past the right and bottom edges", ImgRect(12, 1, 23, 2), {0x4E, 0x5F, 0x60, 0x00}},
      {"look-ahead at the last byte", ImgRect(12, 2, 15, 2), {0x60}},
      {"look-ahead inside the buffer", ImgRect(4, 2, 11, 2), {0x5F}},
      {"past the bottom, byte aligned", ImgRect(8, 2, 15, 4), {0xF6, 0x00, 0x00}},
      {"whole size anywhere", ImgRect(5, 1, 20, 3), {0xA1, 0xB2, 0xC3, 0xD4, 0xE5, 0xF6}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    ImagePtr sub(AsCImg1(image->getSubImage(c.r)));
    ASSERT_NE(sub, nullptr);
    EXPECT_EQ(BufferOf(*sub), c.expected);
  }
  const ImgRect refused[] = {
      ImgRect(0, 0, 16, 0),                       // wider than the image
      ImgRect(0, 3, 3, 3),                        // below the image
      ImgRect(0u, 0u, 0xFFFFFFFFu, 0u),           // width wraps to 0
      ImgRect(0xFFFFFFF0u, 0u, 0xFFFFFFF3u, 0u),  // left of the image, compared signed
  };
  for (const ImgRect &r : refused) {
    EXPECT_EQ(image->getSubImage(r), nullptr) << r.left;
    EXPECT_EQ(CImgErr::get(), IMG_INVALID_ARG);
  }
}

}  // namespace
