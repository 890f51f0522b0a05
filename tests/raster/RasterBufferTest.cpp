// The buffer life cycle that CImg32, CImg8 and CImg1 share: adopt or copy at
// creation, dupData, transferData and ownData, with each class's length rule and
// reporting as traits. Ownership is checked by the sanitizer build.
#include <gtest/gtest.h>

#include <vector>

#include "Image/Core2DImage.h"
#include "ImgTestSupport.h"

namespace {

using c2d_test::BufferOf;
using c2d_test::ErrWatch;
using c2d_test::FreeHostBuffer;
using c2d_test::HostBuffer;
using c2d_test::Sequence;

// Each image is 8 bytes of pixels: CImg32 2 x 1, CImg8 4 x 2, CImg1 16 x 4.
struct True32 {
  using Image = CImg32;
  using Pixel = unsigned;
  static CImg32 *Make(Pixel *&data, unsigned len, bool take) {
    return CImg32::create(2, 1, data, len, take, RGB_ORDER_BGR);
  }
  static constexpr bool kLongerAccepted = true;    // len is a lower bound
  static constexpr uint32_t kSuccessReports = 0;   // success is not reported
  static constexpr bool kDupForcesPixels = false;  // IMG_FAIL without pixels
  static constexpr ImgErr kNullBuffer = IMG_INVALID_ARG;
};

struct Palette8 {
  using Image = CImg8;
  using Pixel = unsigned char;
  static CImg8 *Make(Pixel *&data, unsigned len, bool take) {
    return CImg8::create(4, 2, data, len, take, nullptr, IMG_ALIGN_NONE);
  }
  static constexpr bool kLongerAccepted = false;  // len must be exact
  static constexpr uint32_t kSuccessReports = 0;
  static constexpr bool kDupForcesPixels = false;
  static constexpr ImgErr kNullBuffer = IMG_INVALID_ARG;
};

struct Bilevel1 {
  using Image = CImg1;
  using Pixel = unsigned char;
  static CImg1 *Make(Pixel *&data, unsigned len, bool take) {
    return CImg1::create(16, 4, data, len, take, 0, 1, IMG_ALIGN_NONE);
  }
  static constexpr bool kLongerAccepted = false;
  static constexpr uint32_t kSuccessReports = 1;  // IMG_OK is recorded
  static constexpr bool kDupForcesPixels = true;  // dupData allocates first
  static constexpr ImgErr kNullBuffer = IMG_OK;   // *src is taken as it is
};

template <typename T>
class RasterBufferTest : public ::testing::Test {};
using Rasters = ::testing::Types<True32, Palette8, Bilevel1>;
TYPED_TEST_SUITE(RasterBufferTest, Rasters);

TYPED_TEST(RasterBufferTest, AdoptCopyDupTransferAndOwn) {
  using Pixel = typename TypeParam::Pixel;
  constexpr unsigned kBytes = 8;
  constexpr unsigned kCount = kBytes / sizeof(Pixel);
  const std::vector<Pixel> values = Sequence<Pixel>(kCount, 10);

  // Adopting clears the caller's pointer; copying leaves it, and an independent copy.
  Pixel *adopted = HostBuffer(values);
  Pixel *const adoptedAddress = adopted;
  c2d_test::ImgPtr<typename TypeParam::Image> image(TypeParam::Make(adopted, kBytes, true));
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(adopted, nullptr);
  EXPECT_EQ(image->peekData(), adoptedAddress);
  Pixel *kept = HostBuffer(values);
  c2d_test::ImgPtr<typename TypeParam::Image> copy(TypeParam::Make(kept, kBytes, false));
  ASSERT_NE(copy, nullptr);
  kept[0] = 0;
  EXPECT_EQ(BufferOf(*copy), values);
  FreeHostBuffer(kept);

  // dupData: the length rule, a null source, and success.
  const std::vector<Pixel> source = Sequence<Pixel>(kCount + 1, 50);
  ErrWatch shortWatch;
  EXPECT_EQ(image->dupData(const_cast<Pixel *>(source.data()), kBytes - 1), IMG_FAIL);
  EXPECT_EQ(shortWatch.reports(), 1u);
  EXPECT_EQ(image->dupData(const_cast<Pixel *>(source.data()), kBytes + sizeof(Pixel)),
            TypeParam::kLongerAccepted ? IMG_OK : IMG_FAIL);
  EXPECT_EQ(image->dupData(nullptr, kBytes), IMG_INVALID_ARG);
  ErrWatch ok;
  EXPECT_EQ(image->dupData(const_cast<Pixel *>(source.data()) + 1, kBytes), IMG_OK);
  EXPECT_EQ(ok.reports(), TypeParam::kSuccessReports);
  EXPECT_EQ(BufferOf(*image), std::vector<Pixel>(source.begin() + 1, source.end()));

  // transferData: a short buffer stays the caller's, an exact one is adopted.
  Pixel *fresh = HostBuffer(values);
  Pixel *const freshAddress = fresh;
  EXPECT_EQ(image->transferData(&fresh, kBytes - 1), IMG_FAIL);
  EXPECT_EQ(fresh, freshAddress);
  EXPECT_EQ(image->transferData(&fresh, kBytes), IMG_OK);
  EXPECT_EQ(fresh, nullptr);
  EXPECT_EQ(image->peekData(), freshAddress);
  EXPECT_EQ(image->transferData(nullptr, kBytes), IMG_INVALID_ARG);

  // ownData moves the buffer out; it outlives the image.
  Pixel *taken = image->ownData();
  EXPECT_EQ(taken, freshAddress);
  EXPECT_FALSE(image->hasData());
  image.reset();
  EXPECT_EQ(taken[kCount - 1], values[kCount - 1]);
  FreeHostBuffer(taken);

  // Without pixels dupData allocates them, or refuses without forcing them.
  FreeHostBuffer(copy->ownData());
  ErrWatch noData;
  EXPECT_EQ(copy->dupData(const_cast<Pixel *>(source.data()), kBytes),
            TypeParam::kDupForcesPixels ? IMG_OK : IMG_FAIL);
  EXPECT_EQ(copy->hasData(), TypeParam::kDupForcesPixels);
  // A null buffer leaves the image without data, and nothing leaks.
  if (!copy->hasData()) {
    ASSERT_NE(copy->peekData(), nullptr);
  }
  Pixel *none = nullptr;
  EXPECT_EQ(copy->transferData(&none, kBytes), TypeParam::kNullBuffer);
  EXPECT_FALSE(copy->hasData());
}

}  // namespace
