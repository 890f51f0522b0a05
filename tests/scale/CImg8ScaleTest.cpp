// CImg8 scaling: worked examples (the diagonal test of Reduce_bkg, a source read as
// it stands) and a mixed request. Refusals are in CImg32ScaleTest.
#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "Image/Core2DImage.h"
#include "ImgTestSupport.h"

namespace {

using c2d_test::ImgPtr;
using Bytes = std::vector<unsigned char>;

struct Open : CImg8 {
  using CImg8::Enlarge;
  using CImg8::Reduce_bkg;
};
using Worker = CImg8 *(CImg8::*)(unsigned, unsigned, const ImgRect &);
const Worker kEnlarge = &Open::Enlarge;
const Worker kReduceBkg = &Open::Reduce_bkg;

// A palette of four entries, entry 3 marked.
ImgPtr<CImg8> Image(unsigned w, unsigned h, const std::function<unsigned(unsigned, unsigned)> &f) {
  Bytes pixels(static_cast<size_t>(w) * h);
  for (unsigned i = 0; i < pixels.size(); ++i) {
    pixels[i] = static_cast<unsigned char>(f(i % w, i / w));
  }
  ColorMap map(4, 255);
  map.entries[3].red = 200;
  return ImgPtr<CImg8>(CImg8::create(w, h, pixels.data(), w * h, &map, IMG_ALIGN_NONE));
}

ImgPtr<CImg8> Apply(CImg8 &image, Worker worker, unsigned w, unsigned h, const ImgRect &r) {
  return ImgPtr<CImg8>((image.*worker)(w, h, r));
}

Bytes BytesOf(const IImg *image) {
  const auto *raster = dynamic_cast<const CImg8 *>(image);
  if (raster == nullptr) {
    return {};
  }
  const unsigned char *first = raster->constDataArray()[0];
  return Bytes(first, first + raster->getWidth() * raster->getHeight());
}

TEST(CImg8ScaleTest, WorkedExamples) {
  const auto dot = [](unsigned x, unsigned y) {
    return Image(4, 4, [=](unsigned i, unsigned j) { return i == x && j == y ? 3u : 1u; });
  };
  const auto count = [] {
    return Image(4, 4, [](unsigned x, unsigned y) { return 1 + x + 4 * y; });
  };
  const struct {
    const char *name;
    ImgPtr<CImg8> image;
    ImgRect source;
    unsigned w, h;
    Bytes expected;
  } cases[] = {
      // Reduce_bkg looks along the block's diagonal only.
      {"ink on the diagonal", dot(3, 3), ImgRect(4u, 4u), 1, 1, {3}},
      {"ink off it", dot(3, 2), ImgRect(4u, 4u), 1, 1, {1}},
      {"runs of one across", dot(0, 1), ImgRect(4u, 4u), 4, 1, {1, 1, 1, 1}},
      // Sources read as they stand: on into the next row past the right edge, and
      // zeros outside the buffer.
      {"past the right edge", count(), ImgRect(2u, 0u, 5u, 0u), 8, 1, {3, 3, 4, 4, 5, 5, 6, 6}},
      {"past the last row", count(), ImgRect(2u, 3u, 3u, 4u), 2, 4, {15, 16, 15, 16, 0, 0, 0, 0}},
      {"past the buffer", count(), ImgRect(2u, 3u, 5u, 3u), 4, 2, {15, 16, 0, 0, 15, 16, 0, 0}},
      {"reduced past the edge", count(), ImgRect(3u, 0u, 6u, 1u), 2, 1, {4, 6}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    ImgScaleAttr attr;
    ImgPtr<IImg> out(c.image->scale(c.source, c.w, c.h, attr));
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(BytesOf(out.get()), c.expected);
    EXPECT_EQ(static_cast<CImg8 *>(out.get())->getColorMap()->entries[3].red, 200);
  }
}

// A mixed request enlarges first, then reduces; resample means nothing to palettes.
TEST(CImg8ScaleTest, MixedRequestsEnlargeThenReduce) {
  ImgPtr<CImg8> image =
      Image(12, 10, [](unsigned x, unsigned y) { return (x * 7 + y * 13) % 5 == 0 ? 2u : 0u; });
  ImgPtr<CImg8> mid = Apply(*image, kEnlarge, 20, 10, image->getRect());
  ImgScaleAttr attr;
  attr.resample = true;
  EXPECT_EQ(BytesOf(ImgPtr<IImg>(image->scale(image->getRect(), 20, 5, attr)).get()),
            BytesOf(Apply(*mid, kReduceBkg, 20, 5, mid->getRect()).get()));
}

}  // namespace
