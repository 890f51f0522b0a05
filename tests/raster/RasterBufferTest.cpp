// What CImg32, CImg8 and CImg1 share: the failures of their factories, and the
// buffer life cycle (adopt or copy at creation, dupData, transferData, ownData) with
// each class's length rule and reporting as traits. Ownership is checked by the
// sanitizer build.
#include <gtest/gtest.h>

#include <functional>
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

struct Open8 : CImg8 {
  using CImg8::_create;
};

// Every factory failure: null, the code recorded (IMG_DECODE_FAILED: nothing) and the
// number of reports; a failed factory never takes or clears the caller's buffer.
TEST(RasterFactoryTest, Failures) {
  using Make = std::function<IImg *(unsigned char *&)>;
  const auto As32 = [](unsigned w, unsigned h, unsigned len, bool take) -> Make {
    return [=](unsigned char *&b) {
      auto *words = reinterpret_cast<unsigned *>(b);
      IImg *image = CImg32::create(w, h, words, len, take, RGB_ORDER_BGR);
      b = reinterpret_cast<unsigned char *>(words);
      return image;
    };
  };
  const auto As8 = [](unsigned w, unsigned h, unsigned len, bool take, int align) -> Make {
    return [=](unsigned char *&b) {
      return CImg8::create(w, h, b, len, take, nullptr, static_cast<ImgAlignmentEnum>(align));
    };
  };
  const auto As1 = [](unsigned w, unsigned len, bool take) -> Make {
    return [=](unsigned char *&b) {
      return CImg1::create(w, 2, b, len, take, false, 0, 1, IMG_ALIGN_NONE);
    };
  };
  const auto Lazy8 = [](unsigned w, unsigned h, int align) -> std::vector<Make> {
    const auto a = static_cast<ImgAlignmentEnum>(align);
    return {[=](unsigned char *&) { return CImg8::create(w, h, nullptr, a); },
            [=](unsigned char *&) { return Open8::_create(w, h, nullptr, a); }};
  };
  const auto Lazy32 = [](unsigned w, unsigned h, int order) -> Make {
    return [=](unsigned char *&) { return CImg32::create(w, h, RGBOrder(order)); };
  };
  const auto Sized1 = [](unsigned w, unsigned h) -> Make {
    return [=](unsigned char *&) { return CImg1::create(w, h, 0, 1, IMG_ALIGN_NONE); };
  };
  struct Case {
    const char *name;
    std::vector<Make> makers;
    bool nullBuffer;
    ImgErr code;
    uint32_t reports;
  };
  const ImgErr kNone = IMG_DECODE_FAILED;  // what the registry held before
  // clang-format off
  const Case cases[] = {
      // CImg32, with a buffer of 12 pixels for 4 x 3.
      {"32 zero width", {As32(0, 3, 48, false), As32(4, 0, 48, true)}, false, IMG_FAIL, 2},
      {"32 lazy zero width, byte order 2", {Lazy32(0, 3, 0), Lazy32(3, 3, 2)}, false, IMG_FAIL, 2},
      {"32 overflow", {As32(40000, 40000, 48, false), Lazy32(40000, 40000, 0)}, false, IMG_FAIL, 1},
      {"32 wrapping stride", {As32(0x40000001u, 1, 48, false)}, false, IMG_FAIL, 1},
      {"32 null buffer", {As32(4, 3, 48, false), As32(4, 3, 48, true)}, true, IMG_INVALID_ARG, 1},
      {"32 short buffer", {As32(4, 3, 47, false), As32(4, 3, 47, true)}, false, IMG_FAIL, 1},
      // CImg8, 4 x 3 in 12 bytes; the lazy factories fail the first five alike.
      {"8 zero size", {As8(0, 3, 12, false, 0), As8(4, 0, 12, true, 0)}, false, IMG_FAIL, 2},
      {"8 lazy zero size", Lazy8(0, 3, 0), false, IMG_FAIL, 2},
      {"8 alignment 16", {As8(4, 3, 12, true, 16)}, false, IMG_FAIL, 2},
      {"8 32-bit overflow", {As8(70000, 70000, 12, false, 0)}, false, IMG_FAIL, 1},
      {"8 padded row wraps", {As8(0xFFFFFFFFu, 1, 12, false, 32)}, false, IMG_FAIL, 1},
      {"8 lazy padded row wraps", Lazy8(0xFFFFFFFFu, 1, 32), false, IMG_FAIL, 1},
      {"8 null buffer", {As8(4, 3, 12, false, 0)}, true, IMG_INVALID_ARG, 1},
      {"8 short, long", {As8(4, 3, 11, false, 0), As8(4, 3, 13, false, 0)}, false, IMG_FAIL, 1},
      {"8 unpadded", {As8(3, 4, 12, true, 32)}, false, IMG_FAIL, 1},
      // CImg1, 16 x 2 in 4 bytes: the buffer factories record nothing.
      {"1 bad buffer", {As1(0, 4, true), As1(16, 3, true), As1(16, 5, false)}, false, kNone, 0},
      {"1 null buffer", {As1(16, 4, true)}, true, kNone, 0},
      {"1 untyped buffer", {[](auto &b) { return CImg1::create(b, 8, 8, IMG_ALIGN_NONE); }}, false, kNone, 0},
      // The factory with size reports once: zero sizes, and 4 GiB of pixels.
      {"1 sizes", {Sized1(0, 4), Sized1(4, 0), Sized1(0x80000u, 0x10000u)}, false, IMG_FAIL, 1},
  };
  // clang-format on
  for (const Case &c : cases) {
    for (size_t i = 0; i < c.makers.size(); ++i) {
      SCOPED_TRACE(testing::Message() << c.name << " #" << i);
      unsigned char *buffer = c.nullBuffer ? nullptr : HostBuffer(Sequence<unsigned char>(64));
      unsigned char *const original = buffer;
      CImgErr::set(IMG_DECODE_FAILED, nullptr, 0);
      ErrWatch watch;
      EXPECT_EQ(c.makers[i](buffer), nullptr);
      EXPECT_EQ(CImgErr::get(), c.code);
      EXPECT_EQ(watch.reports(), c.reports);
      EXPECT_EQ(buffer, original);
      FreeHostBuffer(buffer);
    }
  }
  c2d_test::ImgPtr<CImg8> eager(Open8::_create(3, 2, nullptr, IMG_ALIGN_32));
  EXPECT_TRUE(eager->hasData());
  EXPECT_NE(eager->getColorMap(), nullptr);
}

}  // namespace
