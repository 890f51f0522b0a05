// Colour scaling speed on a 4000 x 3000 photograph-like CImg32, in megapixels per
// second of source (src_Mpix) and of result (dst_Mpix):
//
//   ReduceResample/d    CImg32::ReduceResample to 1/d of each side (block average)
//   ReduceBkg/d         CImg32::Reduce_bkg to 1/d (sampling that avoids the page)
//   EnlargeResample/p   CImg32::EnlargeResample to p percent (cubic convolution)
//
// The picture is synthetic and deterministic: a flat bright sky over the top
// quarter (the page colour the reductions detect), smooth gradients below, sensor
// noise, and hard-edged discs, bars and stripes.
//
// Besides the Google Benchmark runs, two modes serve bench/compare_colour_scale.sh,
// which times whole processes against another tool on the same pixels:
//   ColourScaleBench --write-ppm FILE          writes the picture as a binary PPM
//   ColourScaleBench --run OP FACTOR IN OUT    reads IN, scales once, writes OUT
// with OP one of copy, reduce-resample, reduce-bkg, enlarge-resample.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "Image/Core2DImage.h"

namespace {

constexpr uint32_t kWidth = 4000;
constexpr uint32_t kHeight = 3000;
constexpr unsigned kSky = 0x00F2EEE6u;

// Opens the protected workers.
struct Open : CImg32 {
  using CImg32::EnlargeResample;
  using CImg32::Reduce_bkg;
  using CImg32::ReduceResample;
};
using Worker = CImg32 *(CImg32::*)(unsigned, unsigned, const ImgRect &);

struct ImageDeleter {
  void operator()(const IImg *image) const { delete image; }
};
template <typename T>
using ImgPtr = std::unique_ptr<T, ImageDeleter>;

uint8_t ToByte(double v) { return static_cast<uint8_t>(std::min(255.0, std::max(0.0, v))); }

unsigned Pack(double r, double g, double b) {
  return static_cast<unsigned>(ToByte(r)) << 16 | static_cast<unsigned>(ToByte(g)) << 8 | ToByte(b);
}

std::vector<unsigned> MakePhoto() {
  struct Disc {
    double cx, cy, radius, r, g, b;
  };
  const Disc discs[] = {{900, 1500, 380, 200, 40, 30},   {2600, 1900, 520, 30, 120, 60},
                        {3400, 1100, 240, 240, 200, 20}, {1700, 2500, 300, 20, 30, 40},
                        {500, 2700, 160, 250, 250, 250}, {3000, 2700, 200, 90, 20, 140}};
  std::vector<unsigned> pixels(static_cast<size_t>(kWidth) * kHeight, kSky);
  uint64_t state = 0x9E3779B97F4A7C15ull;
  for (uint32_t y = kHeight / 4; y < kHeight; ++y) {
    const double fy = static_cast<double>(y) / kHeight;
    for (uint32_t x = 0; x < kWidth; ++x) {
      const double fx = static_cast<double>(x) / kWidth;
      double r = 60 + 120 * fx + 40 * fy * fy;
      double g = 90 + 100 * fy - 30 * fx;
      double b = 150 - 80 * fx * fy + 30 * std::cos(6.0 * fx);
      for (const Disc &d : discs) {
        const double dx = x - d.cx, dy = y - d.cy;
        if (dx * dx + dy * dy < d.radius * d.radius) {
          r = d.r;
          g = d.g;
          b = d.b;
        }
      }
      if (x > 3600 && x < 3700) {  // a dark bar
        r = g = b = 15;
      }
      if (y > 1000 && y < 1400 && x < 600 && (x + y) / 24 % 2 == 0) {  // stripes
        r *= 0.4;
        g *= 0.4;
        b *= 0.4;
      }
      state ^= state << 13;
      state ^= state >> 7;
      state ^= state << 17;
      const double n = static_cast<double>(state % 17) - 8.0;
      pixels[static_cast<size_t>(y) * kWidth + x] = Pack(r + n, g + n * 0.8, b + n * 1.2);
    }
  }
  return pixels;
}

// The picture, made once; its background is estimated before any timing.
CImg32 &Photo() {
  static CImg32 *const photo = [] {
    std::vector<unsigned> pixels = MakePhoto();
    CImg32 *image =
        CImg32::create(kWidth, kHeight, pixels.data(), kWidth * kHeight * 4, RGB_ORDER_BGR);
    (void)image->calculateBackground();
    return image;
  }();
  return *photo;
}

void Time(benchmark::State &state, Worker worker, unsigned w, unsigned h) {
  CImg32 &photo = Photo();
  for (auto _ : state) {
    ImgPtr<CImg32> out((photo.*worker)(w, h, photo.getRect()));
    if (out == nullptr) {
      state.SkipWithError("the worker failed");
      return;
    }
    benchmark::DoNotOptimize(out->peekData());
  }
  const double iterations = static_cast<double>(state.iterations());
  state.counters["src_Mpix"] =
      benchmark::Counter(1e-6 * kWidth * kHeight * iterations, benchmark::Counter::kIsRate);
  state.counters["dst_Mpix"] = benchmark::Counter(1e-6 * static_cast<double>(w) * h * iterations,
                                                  benchmark::Counter::kIsRate);
}

void BM_ReduceResample(benchmark::State &state) {
  const auto d = static_cast<unsigned>(state.range(0));
  Time(state, &Open::ReduceResample, kWidth / d, kHeight / d);
}

void BM_ReduceBkg(benchmark::State &state) {
  const auto d = static_cast<unsigned>(state.range(0));
  Time(state, &Open::Reduce_bkg, kWidth / d, kHeight / d);
}

void BM_EnlargeResample(benchmark::State &state) {
  const auto p = static_cast<unsigned>(state.range(0));
  Time(state, &Open::EnlargeResample, kWidth * p / 100, kHeight * p / 100);
}

BENCHMARK(BM_ReduceResample)->Arg(2)->Arg(4)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReduceBkg)->Arg(2)->Arg(4)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EnlargeResample)->Arg(150)->Arg(200)->Unit(benchmark::kMillisecond);

// ---------------------------------------------------------------------------
// Whole-process modes. PPM samples are R, G, B: channels 2, 1, 0 of a pixel, as
// the picture's packing puts them.

bool WritePpm(const char *path, const CImg32 &image) {
  const uint32_t w = image.getWidth();
  const uint32_t h = image.getHeight();
  std::vector<unsigned char> bytes(static_cast<size_t>(w) * h * 3);
  size_t at = 0;
  for (uint32_t y = 0; y < h; ++y) {
    for (uint32_t x = 0; x < w; ++x) {
      const unsigned p = image(y, x);
      bytes[at++] = static_cast<unsigned char>(p >> 16);
      bytes[at++] = static_cast<unsigned char>(p >> 8);
      bytes[at++] = static_cast<unsigned char>(p);
    }
  }
  FILE *file = std::fopen(path, "wb");
  if (file == nullptr) {
    return false;
  }
  const bool ok = std::fprintf(file, "P6\n%u %u\n255\n", w, h) > 0 &&
                  std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  return std::fclose(file) == 0 && ok;
}

ImgPtr<CImg32> ReadPpm(const char *path) {
  FILE *file = std::fopen(path, "rb");
  if (file == nullptr) {
    return nullptr;
  }
  unsigned w = 0, h = 0, maxval = 0;
  const bool header = std::fscanf(file, "P6 %u %u %u", &w, &h, &maxval) == 3 &&
                      std::fgetc(file) != EOF && maxval == 255 && w > 0 && h > 0;
  std::vector<unsigned char> bytes(header ? static_cast<size_t>(w) * h * 3 : 0);
  const bool body = header && std::fread(bytes.data(), 1, bytes.size(), file) == bytes.size();
  std::fclose(file);
  if (!body) {
    return nullptr;
  }
  void *buffer = IImg::allocImageBuffer(static_cast<size_t>(w) * h * 4);
  if (buffer == nullptr) {
    return nullptr;
  }
  auto *pixels = static_cast<unsigned *>(buffer);
  for (size_t i = 0; i < static_cast<size_t>(w) * h; ++i) {
    pixels[i] = static_cast<unsigned>(bytes[3 * i]) << 16 |
                static_cast<unsigned>(bytes[3 * i + 1]) << 8 | bytes[3 * i + 2];
  }
  ImgPtr<CImg32> image(CImg32::create(w, h, pixels, w * h * 4, true, RGB_ORDER_BGR));
  if (image == nullptr && pixels != nullptr) {  // not adopted
    IImg::deallocImageBuffer(buffer);
  }
  return image;
}

int WritePhoto(const char *path) {
  if (!WritePpm(path, Photo())) {
    std::fprintf(stderr, "cannot write %s\n", path);
    return 1;
  }
  return 0;
}

int RunOnce(const std::string &op, double factor, const char *in, const char *out) {
  ImgPtr<CImg32> image = ReadPpm(in);
  if (image == nullptr) {
    std::fprintf(stderr, "cannot read %s\n", in);
    return 1;
  }
  ImgScaleAttr attr;
  attr.resample = op != "reduce-bkg";
  ImgPtr<IImg> scaled;
  if (op != "copy") {
    // The factor decides the direction, so each operation has to go with it.
    const bool enlarging = factor > 1.0;
    const bool reducing = op == "reduce-resample" || op == "reduce-bkg";
    if (enlarging ? op != "enlarge-resample" : !reducing) {
      std::fprintf(stderr, "%s does not go with factor %g\n", op.c_str(), factor);
      return 2;
    }
    scaled.reset(image->scale(factor, attr));
  }
  const auto *result = op == "copy" ? image.get() : dynamic_cast<const CImg32 *>(scaled.get());
  if (result == nullptr || !WritePpm(out, *result)) {
    std::fprintf(stderr, "%s failed\n", op.c_str());
    return 1;
  }
  return 0;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc == 3 && std::strcmp(argv[1], "--write-ppm") == 0) {
    return WritePhoto(argv[2]);
  }
  if (argc == 6 && std::strcmp(argv[1], "--run") == 0) {
    return RunOnce(argv[2], std::atof(argv[3]), argv[4], argv[5]);
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 1;
  }
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
