// The raster classes: factories, buffer ownership (checked by the sanitizer build), sub-images,
// views, palettes and background estimates.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <type_traits>
#include <vector>

#include "Image/Core2DImage.h"
#include "ImgTestSupport.h"

namespace {

using c2d_test::BufferOf;
using c2d_test::ErrWatch;
using c2d_test::FreeHostBuffer;
using c2d_test::HostBuffer;
using c2d_test::ImgPtr;
using c2d_test::Sequence;
using Core2DImage::IntRect;
using Bytes = std::vector<unsigned char>;
using Words = std::vector<unsigned>;

template <typename Raster>
ImgPtr<Raster> Sub(Raster &image, const ImgRect &r) {
  return ImgPtr<Raster>(dynamic_cast<Raster *>(image.getSubImage(r)));
}

// Each image is 8 bytes of pixels: CImg32 2 x 1, CImg8 4 x 2, CImg1 16 x 4.
template <typename Raster, typename Pixel>
Raster *Make(Pixel *&data, unsigned len, bool take) {
  if constexpr (std::is_same_v<Raster, CImg32>) {
    return CImg32::create(2, 1, data, len, take, RGB_ORDER_BGR);
  } else if constexpr (std::is_same_v<Raster, CImg8>) {
    return CImg8::create(4, 2, data, len, take, nullptr, IMG_ALIGN_NONE);
  } else {
    return CImg1::create(16, 4, data, len, take, 0, 1, IMG_ALIGN_NONE);
  }
}

template <typename T>
class RasterBufferTest : public ::testing::Test {};
using Rasters = ::testing::Types<CImg32, CImg8, CImg1>;
TYPED_TEST_SUITE(RasterBufferTest, Rasters);

TYPED_TEST(RasterBufferTest, AdoptCopyDupTransferAndOwn) {
  using Raster = TypeParam;
  using Pixel = std::remove_pointer_t<decltype(std::declval<Raster &>().peekData())>;
  // CImg32 takes len as a lower bound; CImg1 records success and allocates in dupData.
  constexpr bool kLongerAccepted = std::is_same_v<Raster, CImg32>;
  constexpr bool kBilevel = std::is_same_v<Raster, CImg1>;
  constexpr unsigned kBytes = 8, kCount = kBytes / sizeof(Pixel);
  const std::vector<Pixel> values = Sequence<Pixel>(kCount, 10);

  // Adopting clears the caller's pointer; copying leaves it, and an independent copy.
  Pixel *adopted = HostBuffer(values);
  Pixel *const adoptedAddress = adopted;
  ImgPtr<Raster> image(Make<Raster>(adopted, kBytes, true));
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(adopted, nullptr);
  EXPECT_EQ(image->peekData(), adoptedAddress);
  Pixel *kept = HostBuffer(values);
  ImgPtr<Raster> copy(Make<Raster>(kept, kBytes, false));
  ASSERT_NE(copy, nullptr);
  kept[0] = 0;
  EXPECT_EQ(BufferOf(*copy), values);
  FreeHostBuffer(kept);

  const std::vector<Pixel> source = Sequence<Pixel>(kCount + 1, 50);
  Pixel *const from = const_cast<Pixel *>(source.data());
  ErrWatch shortWatch;
  EXPECT_EQ(image->dupData(from, kBytes - 1), IMG_FAIL);
  EXPECT_EQ(shortWatch.reports(), 1u);
  EXPECT_EQ(image->dupData(from, kBytes + sizeof(Pixel)), kLongerAccepted ? IMG_OK : IMG_FAIL);
  EXPECT_EQ(image->dupData(nullptr, kBytes), IMG_INVALID_ARG);
  ErrWatch ok;
  EXPECT_EQ(image->dupData(from + 1, kBytes), IMG_OK);
  EXPECT_EQ(ok.reports(), kBilevel ? 1u : 0u);
  EXPECT_EQ(BufferOf(*image), std::vector<Pixel>(source.begin() + 1, source.end()));

  Pixel *fresh = HostBuffer(values);
  Pixel *const freshAddress = fresh;
  EXPECT_EQ(image->transferData(&fresh, kBytes - 1), IMG_FAIL);
  EXPECT_EQ(fresh, freshAddress);
  EXPECT_EQ(image->transferData(&fresh, kBytes), IMG_OK);
  EXPECT_EQ(fresh, nullptr);
  EXPECT_EQ(image->peekData(), freshAddress);
  EXPECT_EQ(image->transferData(nullptr, kBytes), IMG_INVALID_ARG);

  Pixel *taken = image->ownData();
  EXPECT_EQ(taken, freshAddress);
  EXPECT_FALSE(image->hasData());
  image.reset();
  EXPECT_EQ(taken[kCount - 1], values[kCount - 1]);
  FreeHostBuffer(taken);

  // Without pixels dupData allocates them or refuses without forcing them.
  FreeHostBuffer(copy->ownData());
  EXPECT_EQ(copy->dupData(from, kBytes), kBilevel ? IMG_OK : IMG_FAIL);
  EXPECT_EQ(copy->hasData(), kBilevel);
  if (!copy->hasData()) {
    ASSERT_NE(copy->peekData(), nullptr);
  }
  Pixel *none = nullptr;
  EXPECT_EQ(copy->transferData(&none, kBytes), kBilevel ? IMG_OK : IMG_INVALID_ARG);
  EXPECT_FALSE(copy->hasData());
}

struct Open8 : CImg8 {
  using CImg8::_create;
  using CImg8::initColorMap;
  using CImg8::rasOpSet;
};

// Every factory failure: null, the code and reports, and the caller's buffer left alone.
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
  const ImgErr kNone = IMG_DECODE_FAILED;  // what the registry held before
  const struct {
    const char *name;
    std::vector<Make> makers;
    bool nullBuffer;
    ImgErr code;
    uint32_t reports;
  } cases[] = {
      // clang-format off
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
  for (const auto &c : cases) {
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
  ImgPtr<CImg8> eager(Open8::_create(3, 2, nullptr, IMG_ALIGN_32));
  EXPECT_TRUE(eager->hasData());
  EXPECT_NE(eager->getColorMap(), nullptr);
}

TEST(CImg1Test, BareObjectHoldsMarkersAndStaysSafe) {
  ImgPtr<CImg1> bare(CImg1::create());
  ASSERT_NE(bare, nullptr);
  // Nothing below divides by the marker sizes or reads through the missing buffer.
  EXPECT_EQ(bare->getWidthInTiles(), 1u);
  EXPECT_EQ(bare->invert(), bare.get());
  EXPECT_FALSE(bare->writeTIFF());
  unsigned char byte = 0xFF, *source = &byte;
  EXPECT_EQ(bare->dupData(source, 0xDEADBEEFu), IMG_FAIL);
  EXPECT_EQ(bare->transferData(&source, 0xDEADBEEFu), IMG_FAIL);
  EXPECT_EQ(source, &byte);
  EXPECT_EQ(BufferOf(*Sub(*bare, ImgRect(0, 0, 0, 0))), Bytes(1, 0));
  ASSERT_TRUE(bare->setExtents(40, 3));
  EXPECT_EQ(BufferOf(*Sub(*bare, ImgRect(3, 1, 20, 2))), Bytes(6, 0));
  EXPECT_EQ(bare->getTileIterator(8, 8, CImg1::HP_RTL), nullptr);
}

// The image frees only what it owns, and the private copy a transfer replaces.
TEST(CImg1Test, TakeDataAndOwnsDataInAllFourCombinations) {
  for (unsigned mode = 0; mode < 8; ++mode) {
    const bool takeData = mode & 4, owns = mode & 2, transfer = mode & 1;
    SCOPED_TRACE(testing::Message() << "mode " << mode);
    unsigned char *buffer = HostBuffer(Bytes{0x81, 0x42, 0x24, 0x18});
    unsigned char *const original = buffer, *const fresh = HostBuffer(Bytes{1, 2, 3, 4});
    CImg1 *image = CImg1::create(16, 2, buffer, 4, takeData, owns, 0, 1, IMG_ALIGN_NONE);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(buffer, takeData ? nullptr : original);
    unsigned char *const pixels = image->peekData();
    EXPECT_EQ(pixels == original, takeData);
    EXPECT_EQ(pixels[3], 0x18);
    unsigned char *given = fresh;
    EXPECT_EQ(transfer ? image->transferData(&given, 4) : IMG_OK, IMG_OK);
    EXPECT_EQ(image->peekData(), transfer ? fresh : pixels);
    delete image;
    if (!owns) {
      EXPECT_EQ((transfer ? fresh : pixels)[2], transfer ? 3 : 0x24);  // not freed
    }
    if (!takeData && !owns && !transfer) {
      FreeHostBuffer(pixels);  // the private copy is the host's
    }
    if (!takeData || !owns) {
      FreeHostBuffer(original);
    }
    if (!transfer || !owns) {
      FreeHostBuffer(fresh);
    }
  }
  struct Open : CImg1 {
    using CImg1::initData;
  };
  ImgPtr<CImg1> owner(CImg1::create(8, 1, 0, 1, IMG_ALIGN_NONE));
  owner->peekData()[0] = 0xAA;
  EXPECT_EQ((owner.get()->*static_cast<ImgErr (CImg1::*)()>(&Open::initData))(), IMG_OK);
  EXPECT_EQ(owner->peekData()[0], 0);  // a clear buffer
}

// Rows are read from the corner as the bits lie, 0 past the buffer; the image's size copies
// the whole buffer wherever it lies.
TEST(CImg1Test, SubImageReadsFromTheCornerAsTheBitsLie) {
  std::mt19937 rng(5);
  for (int i = 0; i < 600; ++i) {
    const ImgAlignmentEnum align = i % 2 ? IMG_ALIGN_32 : IMG_ALIGN_NONE;
    const unsigned width = 1 + rng() % 40, height = 1 + rng() % 6;
    ImgPtr<CImg1> image = c2d_test::RandomBits(width, height, align, rng(), 0x123u, 0x456u);
    image->setBackgroundColor(1);
    const unsigned left = rng() % width, top = rng() % height;
    const unsigned w = 1 + rng() % width, h = 1 + rng() % height;
    if (w == width && h == height) {
      continue;
    }
    SCOPED_TRACE(i);  // the cases follow from the seed
    ImgPtr<CImg1> sub = Sub(*image, ImgRect(left, top, left + w - 1, top + h - 1));
    ASSERT_NE(sub, nullptr);
    ASSERT_EQ(sub->getWidth(), w);
    EXPECT_EQ(sub->getAlignment(), align);
    for (unsigned y = 0; y < h; ++y) {
      for (unsigned x = 0; x < sub->getBytesPerLine() * 8; ++x) {
        ASSERT_EQ(c2d_test::BitAt(*sub, x, y), c2d_test::BitAt(*image, left + x, top + y))
            << x << "," << y;
      }
    }
  }
  ImgPtr<CImg1> image = c2d_test::Make1(16, 3, {0xA1, 0xB2, 0xC3, 0xD4, 0xE5, 0xF6});
  EXPECT_EQ(BufferOf(*Sub(*image, ImgRect(5, 1, 20, 3))), BufferOf(*image));
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

ImgErr RasOpSet(CImg8 &image, unsigned colour) {
  return (image.*static_cast<ImgErr (CImg8::*)(unsigned)>(&Open8::rasOpSet))(colour);
}

// A w x h image owning `total` bytes, byte i being i + 1 (0: read from nowhere).
ImgPtr<CImg8> Counting8(unsigned w, unsigned h, ImgAlignmentEnum align, unsigned total) {
  unsigned char *pixels = HostBuffer(Sequence<unsigned char>(total, 1));
  return ImgPtr<CImg8>(CImg8::create(w, h, pixels, total, true, nullptr, align));
}

// The grey ramp or a deep copy of the caller's map; maps are zeroed int32 triples.
TEST(CImg8Test, PaletteIsACopyOrTheGreyRamp) {
  ImgPtr<CImg8> grey(CImg8::create(2, 2, nullptr, IMG_ALIGN_NONE));
  const ColorMap *ramp = grey->getColorMap();
  ASSERT_EQ(ramp->numEntries, 256);
  EXPECT_EQ(ramp->getMaxValue(), 255);
  EXPECT_EQ(ramp->entries[200].green, 200);

  ColorMap mine(4, 255);
  EXPECT_EQ(mine.entries[3].blue, 0);
  mine.entries[2] = {10, 20, 30};
  EXPECT_EQ((&mine.entries[0].red)[2 * 3 + 2], 30);
  ImgPtr<CImg8> copied = c2d_test::Make8(2, 2, {0, 1, 2, 3}, IMG_ALIGN_8, &mine);
  ColorMap *held = copied->getColorMap();
  ColorMap copy(mine), assigned(1, 1);
  assigned = mine;
  mine.entries[2].green = 99;
  for (const ColorMap *other : {held, &copy, &assigned}) {
    EXPECT_EQ(other->entries[2].green, 20);
  }
  ColorMap empty(-5, 255);
  EXPECT_EQ(empty.numEntries, 0);
  EXPECT_EQ(empty.entries, nullptr);
  // A palette once set stays, whatever map comes next.
  ColorMap other(8, 255);
  EXPECT_TRUE((copied.get()->*(&Open8::initColorMap))(&other));
  EXPECT_EQ(copied->getColorMap(), held);
}

// Rows are read from r's left and top as they stand; outside the buffer gives 0.
TEST(CImg8Test, SubImageTestsOnlyTheSize) {
  ImgPtr<CImg8> image = Counting8(4, 3, IMG_ALIGN_NONE, 12);
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
    ImgPtr<CImg8> sub = Sub(*image, c.r);
    ASSERT_NE(sub, nullptr);
    EXPECT_EQ(BufferOf(*sub), c.bytes);
  }
  EXPECT_EQ(image->getSubImage(ImgRect(0, 0, 4, 0)), nullptr);  // five wide
  EXPECT_EQ(CImgErr::get(), IMG_INVALID_ARG);

  // 12-byte row copies carry 2 bytes of the next row; the last padding keeps the fill.
  ImgPtr<CImg8> padded = Counting8(10, 3, IMG_ALIGN_32, 36);
  padded->setBackgroundColor(0xEE);
  Bytes expected = Sequence<unsigned char>(22, 1);
  expected.insert(expected.end(), {0xEE, 0xEE});
  EXPECT_EQ(BufferOf(*Sub(*padded, ImgRect(0, 0, 9, 1))), expected);

  // A 7-wide view's last pad byte lies past the parent's buffer: read as 0, never written.
  ImgPtr<CImg8> parent = Counting8(8, 2, IMG_ALIGN_32, 16);
  parent->setBackgroundColor(0xEE);
  ImgPtr<CImg8> view(CImg8::createRefImg(*parent, IntRect(1, 0, 7, 1)));
  ASSERT_EQ(view->getTotalBytes(), 16u);
  EXPECT_EQ(BufferOf(*Sub(*view, ImgRect(0, 0, 6, 1))),
            Bytes({2, 3, 4, 5, 6, 7, 8, 10, 11, 12, 13, 14, 15, 16, 0, 0xEE}));

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
  // A changed alignment or extent is not followed by the sizes, and copies refuse.
  ImgPtr<CImg8> image(CImg8::create(3, 3, nullptr, IMG_ALIGN_NONE));
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
  EXPECT_NE(Sub(*image, ImgRect(0, 0, 2, 2)), nullptr);
}

ImgPtr<CImg32> Counting32(unsigned w, unsigned h) {
  unsigned *pixels = HostBuffer(Sequence(w * h, 0u));
  return ImgPtr<CImg32>(CImg32::create(w, h, pixels, w * h * 4, true, RGB_ORDER_RGB));
}

TEST(CImg32Test, SubImageCopiesTheOverlap) {
  ImgPtr<CImg32> image = Counting32(10, 5);
  image->setBackgroundColor(77);
  ImgPtr<CImg32> sub = Sub(*image, ImgRect(7, 3, 20, 30));
  ASSERT_NE(sub, nullptr);
  EXPECT_EQ(sub->getBackgroundColor(), 77u);
  EXPECT_EQ(BufferOf(*sub), (Words{37, 38, 39, 47, 48, 49}));

  // Swapped edges read from the first edge as given while inside, else from the smaller.
  ImgPtr<CImg32> square = c2d_test::Drawn32(
      10, 10, [](unsigned x, unsigned y) { return 100 * y + x; }, RGB_ORDER_RGB);
  EXPECT_EQ(
      BufferOf(*Sub(*square, ImgRect(5, 4, 2, 1))),
      (Words{405, 406, 407, 408, 505, 506, 507, 508, 605, 606, 607, 608, 705, 706, 707, 708}));
  // Columns 4..6 as given, rows 1..4 from the top.
  EXPECT_EQ(BufferOf(*Sub(*image, ImgRect(4, 4, 2, 1))),
            (Words{14, 15, 16, 24, 25, 26, 34, 35, 36, 44, 45, 46}));

  EXPECT_EQ(image->getSubImage(ImgRect(10, 0, 12, 2)), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_INVALID_ARG);
  ImgPtr<CImg32> lazy(CImg32::create(4, 4, RGB_ORDER_BGR));
  EXPECT_EQ(lazy->getSubImage(ImgRect(0, 0, 1, 1)), nullptr);
  EXPECT_FALSE(lazy->hasData());  // data is not forced
  EXPECT_TRUE(CImg32::matches(*lazy, RGB_ORDER_BGR));
  EXPECT_FALSE(CImg32::matches(*lazy, RGB_ORDER_RGB));
  EXPECT_FALSE(CImg32::matches(c2d_test::Impostor(), RGB_ORDER_BGR));

  // After setExtents copies and views stand where their reads stay inside the old buffer.
  ImgPtr<CImg32> changed = Counting32(4, 4);
  EXPECT_TRUE(changed->setExtents(2, 8));
  EXPECT_EQ(changed->getSubImage(ImgRect(0, 0, 1, 7)), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  EXPECT_EQ(CImg32::createRefImg(*changed, IntRect(0, 0, 1, 3)), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  EXPECT_EQ(BufferOf(*Sub(*changed, ImgRect(0, 2, 1, 3))), (Words{8, 9, 12, 13}));
  EXPECT_TRUE(changed->setExtents(3, 3));  // shrunk: the view steps by the new width
  ImgPtr<CImg32> view(CImg32::createRefImg(*changed, IntRect(1, 1, 2, 2)));
  ASSERT_NE(view, nullptr);
  EXPECT_EQ((*view)(0, 0), 5u);
  EXPECT_EQ((*view)(1, 0), 8u);
  EXPECT_EQ(BufferOf(*Sub(*changed, ImgRect(1, 1, 2, 2))), (Words{5, 6, 9, 10}));
}

// A 10 x 8 image of pixels y * 10 + x + 1, or (lazy) a 10 x 10 one without pixels.
ImgPtr<CImg8> ViewParent(CImg8 *, bool lazy) {
  return lazy ? ImgPtr<CImg8>(CImg8::create(10, 10, nullptr, IMG_ALIGN_NONE))
              : c2d_test::Make8(10, 8, Sequence<unsigned char>(80, 1));
}
ImgPtr<CImg32> ViewParent(CImg32 *, bool lazy) {
  return lazy ? ImgPtr<CImg32>(CImg32::create(10, 10, RGB_ORDER_BGR))
              : c2d_test::Make32(10, 8, Sequence(80, 1u), RGB_ORDER_RGB);
}

const ColorMap *PaletteOf(CImg8 &image) { return image.getColorMap(); }
const ColorMap *PaletteOf(CImg32 &) { return nullptr; }

template <typename T>
class RasterViewTest : public ::testing::Test {};
using ViewRasters = ::testing::Types<CImg8, CImg32>;
TYPED_TEST_SUITE(RasterViewTest, ViewRasters);

// Views share their parent's rows until they get pixels of their own, which they free.
TYPED_TEST(RasterViewTest, ViewsSharePixelsUntilTheyOwnSome) {
  using Raster = TypeParam;
  using Pixel = std::remove_pointer_t<decltype(std::declval<Raster &>().peekData())>;
  ImgPtr<Raster> parent = ViewParent(static_cast<Raster *>(nullptr), false);
  parent->setBackgroundColor(5);
  Pixel **rows = parent->peekDataArray();
  ImgPtr<Raster> view(Raster::createRefImg(*parent, IntRect(2, 3, 6, 7)));
  ASSERT_NE(view, nullptr);
  EXPECT_EQ(view->getBackgroundColor(), 5u);
  EXPECT_EQ(view->constDataArray()[0], rows[3] + 2);
  EXPECT_EQ(view->constDataArray()[4][4], 77);
  view->peekDataArray()[1][2] = 99;
  EXPECT_EQ(rows[4][4], 99);
  ImgPtr<Raster> again(static_cast<Raster *>(parent->getSubRef(IntRect(2, 3, 6, 7))));
  EXPECT_EQ(again->constDataArray()[4], view->constDataArray()[4]);
  ImgPtr<Raster> inner(Raster::createRefImg(*view, IntRect(1, 1, 3, 3)));
  ASSERT_NE(inner, nullptr);
  EXPECT_EQ(inner->constDataArray()[1], rows[4] + 3 + 5);
  inner.reset();

  constexpr bool kPalette = std::is_same_v<Raster, CImg8>;
  const ColorMap *shared = PaletteOf(*parent);
  EXPECT_EQ(PaletteOf(*view), shared);
  EXPECT_EQ(view->ownData(), rows[3] + 2);
  EXPECT_FALSE(view->hasData());
  EXPECT_EQ(PaletteOf(*view), shared);  // still borrowed while it has no pixels
  ASSERT_NE(view->peekData(), nullptr);
  EXPECT_EQ(view->constDataArray()[4][4], 5);
  const unsigned total = again->getTotalBytes();
  Pixel *fresh = HostBuffer(std::vector<Pixel>(total / sizeof(Pixel), 1));
  EXPECT_EQ(again->transferData(&fresh, total), IMG_OK);
  EXPECT_EQ(again->constDataArray()[4][4], 1);
  // Pixels of its own come with a private copy of the palette.
  EXPECT_EQ(PaletteOf(*view) != shared, kPalette);
  EXPECT_EQ(PaletteOf(*again) != shared, kPalette);
  EXPECT_TRUE(!kPalette || PaletteOf(*view)->entries[40].blue == 40);
  view.reset();
  again.reset();
  EXPECT_EQ(rows[7][9], 80);
  EXPECT_TRUE(!kPalette || shared->entries[77].red == 77);

  // One pixel wide, swapped, past the right edge; a parent without pixels.
  for (const IntRect &r : {IntRect(3, 0, 3, 5), IntRect(5, 0, 3, 5), IntRect(0, 0, 10, 5)}) {
    SCOPED_TRACE(r.left());
    EXPECT_EQ(Raster::createRefImg(*parent, r), nullptr);
    EXPECT_EQ(CImgErr::get(), IMG_INVALID_ARG);
  }
  ImgPtr<Raster> lazy = ViewParent(static_cast<Raster *>(nullptr), true);
  EXPECT_EQ(Raster::createRefImg(*lazy, IntRect(0, 0, 5, 5)), nullptr);
  EXPECT_FALSE(lazy->hasData());
}

TEST(BackgroundTest, BilevelCountsSetBitsAgainstTheThreshold) {
  c2d_test::ScopedSettings settings;
  Bytes share55(20, 0);  // 88 of 160 bits set: exactly 55%
  std::fill(share55.begin(), share55.begin() + 11, 0xFF);
  Bytes over55 = share55;
  over55[19] = 0x01;
  const struct {
    const char *name;
    unsigned w, h;
    Bytes bytes;
    int percent;  // 0 for no setting
    unsigned expected;
  } cases[] = {
      {"exactly at 55%", 160, 1, share55, 0, 0},
      {"one bit over", 160, 1, over55, 0, 1},
      {"exactly at a setting of 55", 160, 1, share55, 55, 0},
      {"55% over a setting of 40", 160, 1, share55, 40, 1},
      {"pad bits count too", 4, 2, {0x0F, 0x0F}, 40, 1},  // the pixels alone are clear
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    settings.write(nullptr, nullptr);
    if (c.percent != 0) {
      settings.writeThreshold(c.percent);
    }
    ImgPtr<CImg1> image = c2d_test::Make1(c.w, c.h, c.bytes);
    EXPECT_EQ(image->calculateBackground(), c.expected);
    settings.writeThreshold(c.expected ? 99 : 1);
    EXPECT_EQ(image->calculateBackground(), c.expected);  // cached
  }
  ImgPtr<CImg1> image = c2d_test::Make1(8, 1, {0xFF});
  image->setBackgroundColor(7);
  EXPECT_EQ(image->calculateBackground(), 7u);
  // No public call sets IMG_BG_NONE on a bilevel image: reach the protected state.
  struct Open : CImg1 {
    using CImg1::backgroundState;
  };
  image.get()->*(&Open::backgroundState) = IMG_BG_NONE;
  ErrWatch watch;
  EXPECT_EQ(image->calculateBackground(), 0u);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  EXPECT_EQ(watch.reports(), 1u);
  EXPECT_EQ(image->getBackgroundState(), IMG_BG_NONE);
  // Without pixels nothing is counted as set: paper is 0.
  ImgPtr<CImg1> bare(CImg1::create());
  EXPECT_EQ(bare->calculateBackground(), 0u);
  EXPECT_EQ(bare->getBackgroundState(), IMG_BG_KNOWN);
}

TEST(BackgroundTest, PaletteTakesTheMostFrequentIndex) {
  const struct {
    const char *name;
    unsigned w, h;
    Bytes bytes;
    unsigned colour;
    ImgBackgroundState state;
  } cases[] = {
      {"the last byte is not counted", 1, 5, {1, 1, 9, 9, 9}, 1, IMG_BG_KNOWN},
      {"a tie goes to the lower index", 5, 1, {9, 9, 4, 4, 7}, 4, IMG_BG_KNOWN},
      {"one pixel counts nothing", 1, 1, {42}, 0, IMG_BG_KNOWN},
      {"under a fifth", 10, 10, c2d_test::Sequence<unsigned char>(100), 255, IMG_BG_NONE},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    ImgPtr<CImg8> image = c2d_test::Make8(c.w, c.h, c.bytes);
    EXPECT_EQ(image->calculateBackground(), c.colour);
    EXPECT_EQ(image->getBackgroundState(), c.state);
    EXPECT_EQ(CImgErr::get(), IMG_OK);
    if (c.state == IMG_BG_NONE) {
      EXPECT_EQ(image->calculateBackground(), 255u);
      EXPECT_EQ(CImgErr::get(), IMG_FAIL);
    }
  }
  ImgPtr<CImg8> lazy(CImg8::create(4, 4, nullptr, IMG_ALIGN_NONE));
  EXPECT_EQ(lazy->calculateBackground(), 0u);
  EXPECT_FALSE(lazy->hasData());
  // Kept as it stands: a 2 x 2 view counts the parent's first three bytes (6, 9, 9).
  ImgPtr<CImg8> parent = c2d_test::Make8(4, 4, {6, 9, 9, 1, 6, 2, 3, 4, 5, 5, 5, 5, 5, 5, 5, 5});
  ImgPtr<CImg8> view(CImg8::createRefImg(*parent, IntRect(0, 0, 1, 1)));
  EXPECT_EQ(view->calculateBackground(), 9u);
}

// n pixels of distinct keys (bits 8..23) that no bucket gathers, after `head`.
std::vector<unsigned> Spread(std::vector<unsigned> head, unsigned n, unsigned base = 1) {
  for (unsigned i = 0; i < n; ++i) {
    head.push_back((base + i) << 8);
  }
  return head;
}

std::vector<unsigned> Repeat(std::vector<unsigned> head, unsigned n, unsigned pixel) {
  head.insert(head.end(), n, pixel);
  return head;
}

TEST(BackgroundTest, TrueColourTwoStageHistogram) {
  const unsigned kNone = 0xFFFFFFFFu;
  const std::vector<unsigned> thirty = c2d_test::Sequence(30, 0x00123400u);  // one bucket
  const struct {
    const char *name;
    std::vector<unsigned> pixels;  // 10 wide when 100, else one row
    unsigned colour;
    ImgBackgroundState state;
  } cases[] = {
      // clang-format off
      {"one pixel counts nothing", {0x00FFFFFFu}, kNone, IMG_BG_NONE},
      {"ten equal pixels", Repeat({}, 10, 0x00ABCDEFu), 0x00ABCDEFu, IMG_BG_KNOWN},
      {"the last pixel is not counted", Repeat(Spread({}, 7), 3, 0x00777777u), kNone, IMG_BG_NONE},
      {"19% is too thin", Spread(Repeat({}, 19, 0x00445566u), 81), kNone, IMG_BG_NONE},
      {"a heavy bucket of thin colours", Spread(thirty, 70, 0x100), kNone, IMG_BG_NONE},
      {"the top byte of the bucket's first pixel", Spread(Repeat({0x11ABCD07u}, 39, 0x22ABCD05u), 60), 0x11ABCD05u, IMG_BG_KNOWN},
      {"equal buckets: the lower key", Spread(Repeat(Repeat({}, 40, 0x00200005u), 40, 0x00100007u), 20, 0x300), 0x00100007u, IMG_BG_KNOWN},
      {"equal low bytes: the lower byte", Spread(Repeat(Repeat({}, 30, 0x00300009u), 30, 0x00300004u), 40), 0x00300004u, IMG_BG_KNOWN},
      {"a bucket over the threshold, its colour just at it", Spread(Repeat(Repeat({}, 20, 0x00500005u), 1, 0x00500006u), 79), 0x00500005u, IMG_BG_KNOWN},
      {"a bucket just at the threshold", Spread(Repeat({}, 20, 0x00500005u), 80), kNone, IMG_BG_NONE},
  };
  // clang-format on
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    const unsigned n = static_cast<unsigned>(c.pixels.size()), w = n == 100 ? 10 : n;
    ImgPtr<CImg32> image = c2d_test::Make32(w, n / w, c.pixels);
    ASSERT_NE(image, nullptr);
    ErrWatch watch;
    EXPECT_EQ(image->calculateBackground(), c.colour);
    EXPECT_EQ(image->getBackgroundState(), c.state);
    EXPECT_EQ(CImgErr::get(), IMG_OK);
    EXPECT_EQ(watch.reports(), 1u);
    // Cached from now on, in either state, and still reported as IMG_OK.
    EXPECT_EQ(image->calculateBackground(), c.colour);
    EXPECT_EQ(CImgErr::get(), IMG_OK);
  }
}

}  // namespace
