// CImgEMF over the real renderer, on metafiles drawn with libEMF.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "Image/Core2DImage.h"
#include "ImgTestSupport.h"
#include "render/EmfDrawing.h"

namespace {

using emftest::Box;

// 2540 x 2540 hundredths of a millimetre: an 81 x 81 document at 81.28 dpi.
const std::vector<Box> kBoxes = {
    {10, 10, 40, 30, 0xFF0000}, {50, 45, 72, 70, 0x0000FF}, {20, 55, 30, 78, 0x00C000}};

struct Document {
  std::vector<unsigned char> bytes = emftest::Metafile(2540, 2540, kBoxes);
  std::unique_ptr<CImgEMF> image;
  explicit Document(bool replace = false) {
    EMFMemory memory{bytes.data(), bytes.size()};
    image.reset(CImgEMF::create(&memory, replace, 0, 0, 0));
  }
};

// The boxes' colour at document point (x, y), or -1 within `margin` of an edge (blurred).
long Expected(double x, double y, double margin, uint32_t paper) {
  long colour = paper;
  for (const Box &b : kBoxes) {
    const bool nearX = std::fabs(x - b.left) < margin || std::fabs(x - b.right) < margin;
    const bool nearY = std::fabs(y - b.top) < margin || std::fabs(y - b.bottom) < margin;
    const bool insideX = x > b.left - margin && x < b.right + margin;
    const bool insideY = y > b.top - margin && y < b.bottom + margin;
    if ((nearX && insideY) || (nearY && insideX)) {
      return -1;
    }
    if (x > b.left && x < b.right && y > b.top && y < b.bottom) {
      colour = b.rgb;
    }
  }
  return colour;
}

// Compares a render of `source` with the model at pixel centres; bilevel ink is set bits.
void ExpectModel(IImg *result, const ImgRect &source, uint32_t paper = 0xFFFFFF) {
  ASSERT_NE(result, nullptr);
  const double sx = source.getWidth() / static_cast<double>(result->getWidth());
  const double sy = source.getHeight() / static_cast<double>(result->getHeight());
  const double margin = 1.0 + std::max(sx, sy) / 2;
  auto *colour = dynamic_cast<CImg32 *>(result);
  EXPECT_TRUE(colour == nullptr || colour->getRGBOrder() == RGB_ORDER_BGR);  // 0xAARRGGBB words
  unsigned compared = 0, wrong = 0;
  for (unsigned y = 0; y < result->getHeight(); ++y) {
    for (unsigned x = 0; x < result->getWidth(); ++x) {
      const long want = Expected(source.getLeft() + (x + 0.5) * sx,
                                 source.getTop() + (y + 0.5) * sy, margin, paper);
      if (want < 0) {
        continue;
      }
      ++compared;
      const auto rgb = static_cast<uint32_t>(want);
      wrong += colour != nullptr
                   ? (*colour)(y, x) != (0xFF000000u | rgb)
                   : c2d_test::BitAt(dynamic_cast<CImg1 &>(*result), x, y) != (rgb != paper);
    }
  }
  EXPECT_GT(compared, result->getWidth() * result->getHeight() / 2);
  EXPECT_EQ(wrong, 0u);
}

// The paper is the replacement colour with the flag, else white.
TEST(EMFRenderTest, ShapesLandWhereTheModelPutsThemAtEveryScaleAndUnderTheLimit) {
  Document plain, replacing(true);
  ASSERT_TRUE(plain.image && replacing.image);
  EXPECT_EQ(plain.image->getRect(), ImgRect(81u, 81u));
  EXPECT_EQ(plain.image->getTotalBytes(), 81u * 81 * 4);
  double l = -1, t = -1, r = -1, b = -1, density = 0;
  EXPECT_EQ(plain.image->getEMFExtents(l, t, r, b), IMG_OK);
  EXPECT_EQ(plain.image->getEMFDensity(density), IMG_OK);
  EXPECT_EQ(std::vector<double>({l, t, r, b}), std::vector<double>({0, 0, 1, 1}));
  EXPECT_DOUBLE_EQ(density, 1024 * 25.4 / 320);
  const ImgRect whole(81u, 81u), crop(15u, 20u, 60u, 75u);
  struct Case {
    ImgRect source;
    unsigned w, h, depth;
    bool flag;
  } const cases[] = {{whole, 81, 81, 32, false}, {whole, 162, 243, 32, false},
                     {crop, 46, 56, 32, false},  {whole, 81, 81, 1, false},
                     {crop, 92, 112, 1, false},  {whole, 40000, 81, 32, false},
                     {whole, 81, 81, 32, true},  {whole, 81, 81, 1, true}};
  for (const Case &c : cases) {
    SCOPED_TRACE(std::to_string(c.w) + "x" + std::to_string(c.h) + " depth " +
                 std::to_string(c.depth) + (c.flag ? " flag" : ""));
    ImgScaleAttr attr;
    attr.bitDepth = c.depth;
    attr.bkgByte2 = 0x12;  // red
    attr.bkgByte1 = 0x34;
    attr.bkgByte0 = 0x56;
    std::unique_ptr<IImg> result(
        (c.flag ? replacing : plain).image->scale(c.source, c.w, c.h, attr));
    ExpectModel(result.get(), c.source, c.flag ? 0x123456 : 0xFFFFFF);
  }
  const uint64_t saved = CEMFRender::getPixelLimit();
  // 81 * 0.75 = 60 gives 3600 pixels, too many; 81 * 0.7 = 56 gives 3136.
  CEMFRender::setPixelLimit(3280);
  std::unique_ptr<IImg> shrunk(plain.image->getUnformatted());
  CEMFRender::setPixelLimit(1);
  std::unique_ptr<IImg> none(plain.image->getUnformatted());
  CEMFRender::setPixelLimit(saved);
  ASSERT_NE(shrunk, nullptr);
  EXPECT_EQ(shrunk->getRect(), ImgRect(56u, 56u));
  ExpectModel(shrunk.get(), ImgRect(81u, 81u));
  EXPECT_EQ(none, nullptr);
}

TEST(EMFRenderTest, DamagedOrEmptyInputGivesNullAndFail) {
  const std::vector<unsigned char> good = emftest::Metafile(2540, 1270, kBoxes);
  const auto with = [&](size_t offset, uint32_t value) {
    std::vector<unsigned char> bytes = good;
    std::memcpy(&bytes[offset], &value, 4);
    return bytes;
  };
  std::vector<unsigned char> garbled = good;
  for (size_t i = 108; i < garbled.size(); ++i) {
    garbled[i] = static_cast<unsigned char>(i * 37);
  }
  std::vector<unsigned char> headerOnly = with(48, 88);
  headerOnly.resize(88);
  const struct {
    const char *name;
    std::vector<unsigned char> bytes;
  } cases[] = {
      {"empty", {}},
      {"short", std::vector<unsigned char>(good.begin(), good.begin() + 87)},
      {"not a header record", with(0, 2)},
      {"no signature", with(40, 0x464D4521)},
      {"longer than the buffer", with(48, static_cast<uint32_t>(good.size() + 1))},
      {"header past the stated length", with(4, static_cast<uint32_t>(good.size() + 1))},
      {"empty bounds", with(16, 0)},
      {"description past the header", with(60, 100)},
      {"record past the end", with(112, 0x1000)},
      {"no records", headerOnly},
      {"garbled records", garbled},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    EMFMemory memory{c.bytes.data(), c.bytes.size()};
    CImgErr::set(IMG_OK, nullptr, 0);
    EXPECT_EQ(CImgEMF::create(&memory), nullptr);
    EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  }
  CImgErr::set(IMG_OK, nullptr, 0);
  EXPECT_EQ(CImgEMF::create(nullptr), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  // An empty description pointing at the file's end is never read (ASan sees it).
  std::vector<unsigned char> pointing = with(60, 0);
  const uint32_t end = static_cast<uint32_t>(pointing.size());
  std::memcpy(&pointing[64], &end, 4);
  EMFMemory memory{pointing.data(), pointing.size()};
  delete CImgEMF::create(&memory);
}

}  // namespace
