// CImg32 and CImg8 scaling: worked examples of each worker, the worker each request
// reaches, clipping of the source, refusals, and the background retry on a reduced copy.
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <random>
#include <utility>
#include <vector>

#include "Image/Core2DImage.h"
#include "ImgTestSupport.h"

namespace {

using c2d_test::Drawn32;
using c2d_test::ErrWatch;
using c2d_test::ImgPtr;
using Pixels = std::vector<unsigned>;
using Bytes = std::vector<unsigned char>;

struct Open8 : CImg8 {
  using CImg8::Enlarge;
  using CImg8::Reduce_bkg;
};
using Worker8 = CImg8 *(CImg8::*)(unsigned, unsigned, const ImgRect &);
const Worker8 kEnlarge8 = &Open8::Enlarge, kReduceBkg8 = &Open8::Reduce_bkg;

struct Open : CImg32 {
  using CImg32::Enlarge;
  using CImg32::EnlargeResample;
  using CImg32::Reduce;
  using CImg32::Reduce_bkg;
  using CImg32::ReduceResample;
};
using Worker = CImg32 *(CImg32::*)(unsigned, unsigned, const ImgRect &);
const Worker kEnlarge = &Open::Enlarge;
const Worker kEnlargeResample = &Open::EnlargeResample;
const Worker kReduce = &Open::Reduce;
const Worker kReduceBkg = &Open::Reduce_bkg;
const Worker kReduceResample = &Open::ReduceResample;

constexpr unsigned kWhite = 0x00FFFFFFu;
constexpr unsigned kRgb = 0x00FFFFFFu;  // ReduceResample leaves channel 3 unwritten

// White paper, a third of it random colours.
ImgPtr<CImg32> Noise(unsigned w, unsigned h, unsigned seed) {
  std::mt19937 rng(seed);
  return Drawn32(w, h, [&](unsigned, unsigned) { return rng() % 3 == 0 ? rng() : kWhite; });
}

// White with one `ink` pixel at (x, y).
ImgPtr<CImg32> Dot(unsigned w, unsigned h, unsigned x, unsigned y, unsigned ink = 0x102030u) {
  return Drawn32(w, h, [=](unsigned i, unsigned j) { return i == x && j == y ? ink : kWhite; });
}

ImgPtr<CImg32> Apply(CImg32 &image, Worker worker, unsigned w, unsigned h, const ImgRect &r) {
  return ImgPtr<CImg32>((image.*worker)(w, h, r));
}

Pixels PixelsOf(const IImg *image, unsigned mask = kRgb) {
  Pixels out;
  if (const auto *raster = dynamic_cast<const CImg32 *>(image)) {
    for (unsigned i = 0; i < raster->getWidth() * raster->getHeight(); ++i) {
      out.push_back((*raster)(i / raster->getWidth(), i % raster->getWidth()) & mask);
    }
  }
  return out;
}

Pixels Greys(std::initializer_list<unsigned> levels) {
  Pixels out;
  for (unsigned v : levels) {
    out.push_back(v * 0x010101u);
  }
  return out;
}

TEST(CImg32ScaleTest, WorkedExamples) {
  const auto line = [](const std::vector<unsigned> &levels, bool across) {
    return Drawn32(across ? 8 : 1, across ? 1 : 8,
                   [=](unsigned x, unsigned y) { return levels[x + y] * 0x010101u | 0xAB000000u; });
  };
  const std::vector<unsigned> bump = {40, 255, 255, 255, 0, 0, 0, 0};
  // The cubic kernel's overshoot at the steps (281.875, 286.875, -31.875) is clamped,
  // not wrapped; at x = 0 the weights are 0, 1, 0, 0 and the corner is exact.
  const Pixels bumpOut = Greys({40, 148, 255, 255, 255, 255, 255, 128, 0, 0, 0, 0, 0, 0, 0, 0});
  const Pixels colour4(4, 0x00C08040u), uniform6(6, 0x00123456u);
  const auto patch = [] {  // 16 of 100 pixels: not the background
    return Drawn32(10, 10,
                   [](unsigned x, unsigned y) { return x < 4 && y < 4 ? 0x00C08040u : kWhite; });
  };
  const ImgRect r3(3u, 3u);
  const auto uniform = [] { return Drawn32(7, 5, [](unsigned, unsigned) { return 0x00123456u; }); };
  struct {
    const char *name;
    ImgPtr<CImg32> image;
    Worker worker;
    unsigned w, h;
    ImgRect source;
    Pixels expected;
    unsigned mask;
  } cases[] = {
      // Eight white background pixels and one ink pixel: count 11, cut toward zero.
      {"black dot", Dot(3, 3, 1, 1, 0), kReduceResample, 1, 1, r3, Greys({185}), kRgb},
      // 198, 211, 224.
      {"colour dot", Dot(3, 3, 1, 1, 0x306090u), kReduceResample, 1, 1, r3, {0xC6D3E0u}, kRgb},
      {"uniform page", uniform(), kReduceResample, 3, 2, ImgRect(7u, 5u), uniform6, kRgb},
      {"uniform page", uniform(), kReduce, 3, 2, ImgRect(7u, 5u), uniform6, ~0u},
      {"uniform ink", patch(), kReduceBkg, 2, 2, ImgRect(4u, 4u), colour4, ~0u},
      // Reduce_bkg looks along the block's diagonal only.
      {"ink on the diagonal", Dot(4, 4, 2, 2), kReduceBkg, 1, 1, ImgRect(4u, 4u), {0x102030u}, ~0u},
      {"ink off it", Dot(4, 4, 2, 1), kReduceBkg, 1, 1, ImgRect(4u, 4u), {kWhite}, ~0u},
      {"short diagonal", Dot(4, 2, 1, 1), kReduceBkg, 1, 1, ImgRect(4u, 2u), {0x102030u}, ~0u},
      {"past it", Dot(4, 2, 3, 1), kReduceBkg, 1, 1, ImgRect(4u, 2u), {kWhite}, ~0u},
      // Channel 3 comes out 0.
      {"cubic across", line(bump, true), kEnlargeResample, 16, 1, ImgRect(8u, 1u), bumpOut, ~0u},
      {"cubic down", line(bump, false), kEnlargeResample, 1, 16, ImgRect(1u, 8u), bumpOut, ~0u},
      // Neighbours come from the whole image: white past the source's right edge.
      {"cubic past the source", line({0, 0, 0, 0, 255, 255, 255, 255}, true), kEnlargeResample, 16,
       1, ImgRect(0u, 0u, 3u, 0u), Greys({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 64, 128, 191}),
       ~0u},
  };
  for (auto &c : cases) {
    SCOPED_TRACE(c.name);
    ImgPtr<CImg32> out = Apply(*c.image, c.worker, c.w, c.h, c.source);
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(PixelsOf(out.get(), c.mask), c.expected);
    EXPECT_EQ(out->getBackgroundColor(), c.image->getBackgroundColor());
  }
}

TEST(CImg32ScaleTest, DispatchPicksTheWorkerForEachRequest) {
  ImgPtr<CImg32> image = Noise(12, 10, 1);
  const ImgRect all = image->getRect();
  const auto run = [&](Worker worker, unsigned w, unsigned h) {
    return PixelsOf(Apply(*image, worker, w, h, all).get());
  };
  // Mixed requests: Enlarge to w1 x h1, then the reduction of the whole intermediate.
  const auto twoSteps = [&](unsigned w1, unsigned h1, Worker second, unsigned w, unsigned h) {
    ImgPtr<CImg32> mid = Apply(*image, kEnlarge, w1, h1, all);
    return PixelsOf(Apply(*mid, second, w, h, mid->getRect()).get());
  };
  const struct {
    unsigned w, h;
    bool resample;
    Pixels expected;
  } cases[] = {
      {12, 10, true, PixelsOf(image.get())},
      {20, 15, false, run(kEnlarge, 20, 15)},
      {20, 15, true, run(kEnlargeResample, 20, 15)},
      {5, 4, true, run(kReduceResample, 5, 4)},
      {6, 15, false, twoSteps(12, 15, kReduceBkg, 6, 15)},
      {20, 5, true, twoSteps(20, 10, kReduceResample, 20, 5)},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(testing::Message() << c.w << "x" << c.h << (c.resample ? " resample" : ""));
    ImgScaleAttr attr;
    attr.resample = c.resample;
    EXPECT_EQ(PixelsOf(ImgPtr<IImg>(image->scale(all, c.w, c.h, attr)).get()), c.expected);
    // Only the size of the target rectangle counts, whatever the order of its edges.
    const ImgRect target(c.w + 6, c.h + 2, 7u, 3u);
    EXPECT_EQ(PixelsOf(ImgPtr<IImg>(image->scale(all, target, attr)).get()), c.expected);
  }
  ImgScaleAttr attr;
  EXPECT_EQ(PixelsOf(ImgPtr<IImg>(image->scale(0.5, attr)).get()), run(kReduceBkg, 6, 5));
}

TEST(CImg32ScaleTest, SourcePartlyOutsideScalesThePartInside) {
  ImgPtr<CImg32> image = Noise(8, 8, 5);
  ImgScaleAttr attr;
  const Pixels inside =
      PixelsOf(ImgPtr<IImg>(image->scale(ImgRect(4u, 4u, 7u, 7u), 2, 2, attr)).get());
  for (const ImgRect &r : {ImgRect(4u, 4u, 11u, 11u), ImgRect(7u, 7u, 4u, 4u)}) {
    EXPECT_EQ(PixelsOf(ImgPtr<IImg>(image->scale(r, 2, 2, attr)).get()), inside);
  }
  // Extents grown past the buffer: only the pixels there are is read.
  const Pixels before = PixelsOf(ImgPtr<IImg>(image->scale(image->getRect(), 3, 3, attr)).get());
  ASSERT_TRUE(image->setExtents(16, 16));
  EXPECT_EQ(PixelsOf(ImgPtr<IImg>(image->scale(image->getRect(), 3, 3, attr)).get()), before);
}

// Both colour classes.
TEST(CImg32ScaleTest, RefusalsAndWhatTheyRecord) {
  ImgPtr<CImg32> lazy(CImg32::create(4, 4, RGB_ORDER_RGB));
  ImgPtr<CImg32> image = Noise(100, 100, 2);
  ImgPtr<CImg8> lazy8(CImg8::create(4, 4, nullptr, IMG_ALIGN_NONE));
  ImgPtr<CImg8> image8 = c2d_test::Make8(8, 8, Bytes(64, 1));
  const ImgRect all = image->getRect(), all8 = image8->getRect();
  ImgScaleAttr attr;
  const auto noTables = [&](Worker worker, unsigned w, unsigned h) {
    c2d_test::FailTables fail(0);
    return Apply(*image, worker, w, h, all).release();
  };
  const auto call8 = [&](Worker8 worker, unsigned w, unsigned h, const ImgRect &r,
                         bool fail = false) {
    c2d_test::FailTables tables(fail ? 0 : 1 << 30);
    return ((*image8).*worker)(w, h, r);
  };
  const struct {
    const char *name;
    std::function<IImg *()> call;
    ImgErr code;  // IMG_OK: nothing recorded
  } cases[] = {
      // clang-format off
      {"no pixels, factor", [&] { return lazy->scale(-1.0, attr); }, IMG_FAIL},
      {"no pixels, rect", [&] { return lazy->scale(all, all, attr); }, IMG_FAIL},
      {"negative factor", [&] { return image->scale(-0.5, attr); }, IMG_OK},
      {"source outside", [&] { return image->scale(ImgRect(100u, 0u, 120u, 9u), 4, 4, attr); },
       IMG_INVALID_ARG},
      {"enlarge, narrower", [&] { return Apply(*image, kEnlarge, 50, 200, all).release(); },
       IMG_OK},
      {"enlarge, wrapped side",
       [&] { return Apply(*image, kEnlarge, 0, 5, ImgRect(0u, 0u, ~0u, 0u)).release(); },
       IMG_INVALID_ARG},
      {"cubic, narrower", [&] { return Apply(*image, kEnlargeResample, 50, 200, all).release(); },
       IMG_INVALID_ARG},
      {"reduce, wider", [&] { return Apply(*image, kReduceResample, 200, 50, all).release(); },
       IMG_OK},
      {"enlarge, no tables", [&] { return noTables(kEnlarge, 120, 120); }, IMG_OK},
      {"reduce, no tables", [&] { return noTables(kReduce, 30, 30); }, IMG_OK},
      {"8: no pixels, factor", [&] { return lazy8->scale(2.0, attr); }, IMG_FAIL},
      {"8: no pixels, size", [&] { return lazy8->scale(all8, 8, 8, attr); }, IMG_FAIL},
      {"8: negative factor", [&] { return image8->scale(-2.0, attr); }, IMG_OK},
      {"8: enlarge, wrapped side", [&] { return call8(kEnlarge8, 9, 0, ImgRect(0u, 0u, 3u, ~0u)); }, IMG_INVALID_ARG},
      {"8: reduce, wider", [&] { return call8(kReduceBkg8, 9, 2, all8); }, IMG_OK},
      {"8: enlarge, no tables", [&] { return call8(kEnlarge8, 20, 15, all8, true); }, IMG_OK},
  };
  // clang-format on
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    CImgErr::sm_errcode = IMG_OK;
    const ErrWatch watch;
    EXPECT_EQ(c.call(), nullptr);
    EXPECT_EQ(CImgErr::get(), c.code);
    EXPECT_EQ(watch.reports() > 0, c.code != IMG_OK);
  }
  // ceil: a factor a hair above 1 adds a pixel; a factor of 0 asks for nothing.
  ImgPtr<IImg> grown(image->scale(1.0001, attr));
  ASSERT_NE(grown, nullptr);
  EXPECT_EQ(grown->getWidth() * grown->getHeight(), 101u * 101u);
  EXPECT_EQ(ImgPtr<IImg>(image->scale(0.0, attr)), nullptr);
}

// A palette of four entries, entry 3 marked, pixel (x, y) f(x, y).
ImgPtr<CImg8> Image8(unsigned w, unsigned h, const std::function<unsigned(unsigned, unsigned)> &f) {
  Bytes pixels(static_cast<size_t>(w) * h);
  for (unsigned i = 0; i < pixels.size(); ++i) {
    pixels[i] = static_cast<unsigned char>(f(i % w, i / w));
  }
  ColorMap map(4, 255);
  map.entries[3].red = 200;
  return c2d_test::Make8(w, h, pixels, IMG_ALIGN_NONE, &map);
}

Bytes BytesOf(const IImg *image) {
  const auto *raster = dynamic_cast<const CImg8 *>(image);
  const unsigned char *first = raster->constDataArray()[0];
  return Bytes(first, first + raster->getWidth() * raster->getHeight());
}

TEST(CImg8ScaleTest, WorkedExamples) {
  const auto dot = [](unsigned x, unsigned y) {
    return Image8(4, 4, [=](unsigned i, unsigned j) { return i == x && j == y ? 3u : 1u; });
  };
  const auto count = [] {
    return Image8(4, 4, [](unsigned x, unsigned y) { return 1 + x + 4 * y; });
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
  ImgScaleAttr attr;
  attr.resample = true;  // means nothing to palettes
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    ImgPtr<IImg> out(c.image->scale(c.source, c.w, c.h, attr));
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(BytesOf(out.get()), c.expected);
    EXPECT_EQ(static_cast<CImg8 *>(out.get())->getColorMap()->entries[3].red, 200);
  }
  // A mixed request enlarges first, then reduces.
  ImgPtr<CImg8> image =
      Image8(12, 10, [](unsigned x, unsigned y) { return (x * 7 + y * 13) % 5 == 0 ? 2u : 0u; });
  ImgPtr<CImg8> mid((image.get()->*kEnlarge8)(20, 10, image->getRect()));
  ImgPtr<IImg> direct(image->scale(image->getRect(), 20, 5, attr));
  EXPECT_EQ(BytesOf(direct.get()),
            BytesOf(ImgPtr<IImg>(mid->scale(mid->getRect(), 20, 5, attr)).get()));
}

// Caps the address space `extra` bytes above what the process holds now.
bool LimitTo(uint64_t extra) {
  unsigned long pages = 0;
  FILE *statm = std::fopen("/proc/self/statm", "r");
  const bool read = statm != nullptr && std::fscanf(statm, "%lu", &pages) == 1;
  if (statm != nullptr) {
    std::fclose(statm);
  }
  const rlimit limit{pages * sysconf(_SC_PAGESIZE) + extra, RLIM_INFINITY};
  return read && setrlimit(RLIMIT_AS, &limit) == 0;
}

// Pages of 3000 x 3000 (36 MB to sort) estimated without room for the sorted copy:
// within 2 MB, which holds the count tables, not even the copy of 990 x 990 can be
// made; within 24 MB it can. 0, or the step that failed.
int EstimateUnderALimit() {
  const auto page = [] {
    return Drawn32(3000, 3000, [](unsigned x, unsigned) { return x % 7 == 0 ? 0u : 0x00C0FFEEu; });
  };
  ImgPtr<CImg32> first = page(), second = page();
  if (!LimitTo(2u << 20) || first->calculateBackground() != 0xFFFFFFFFu ||
      first->getBackgroundState() != IMG_BG_NONE || CImgErr::get() != IMG_OUT_OF_MEMORY) {
    return 1;
  }
  const size_t mapped = mallinfo2().hblkhd;  // the copy is mapped on its own
  if (!LimitTo(24u << 20) || second->calculateBackground() != 0x00C0FFEEu ||
      second->getBackgroundState() != IMG_BG_KNOWN || CImgErr::get() != IMG_OK) {
    return 2;
  }
  return mallinfo2().hblkhd == mapped ? 0 : 3;
}

TEST(CImg32BackgroundRetryTest, ShortOfMemoryTheEstimateRunsOnAThirdSizedCopy) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "the sanitizer's allocator does not honour an address-space limit";
#endif
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    _exit(EstimateUnderALimit());
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0) << "1: failed copy; 2: retry; 3: copy not freed";
}

}  // namespace
