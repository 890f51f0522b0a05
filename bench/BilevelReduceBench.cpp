// Bilevel reduction speed on a 400 dpi 34 x 44 inch drawing (13600 x 17600), to 1/8
// and 1/16, in source megapixels per second:
//
//   ReduceBkg/f        CImg1::Reduce_bkg, a target pixel set when its block holds ink
//   ReduceGreyscale/f  CImg1::Reduce_greyscale, exact counts mapped to grey
//   BoxReduce/f        a plain box reduction written here: the OR of f x f blocks
//                      of the same bitmap, as a yardstick
//
// The drawing is synthetic and deterministic: one-pixel rules, a grid of panels with
// frames, fans of slanted lines, rings and lines of stroke-like marks.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "../tests/g4/G4TiffOracle.h"
#include "Image/Core2DImage.h"

namespace {

using g4test::Bitmap;
using g4test::Rng;

constexpr uint32_t kWidth = 13600;
constexpr uint32_t kHeight = 17600;
constexpr uint32_t kDpi = 400;

// Opens the protected workers.
struct Open : CImg1 {
  using CImg1::Reduce_bkg;
  using CImg1::Reduce_greyscale;
};

// A slanted one-pixel line from (x0, y0) with slope dx / dy per row, for `rows` rows.
void Slant(Bitmap &page, double x0, uint32_t y0, double slope, uint32_t rows) {
  for (uint32_t i = 0; i < rows && y0 + i < page.height; ++i) {
    const double x = x0 + slope * i;
    if (x >= 0 && x < page.width) {
      page.set(static_cast<uint32_t>(x), y0 + i);
    }
  }
}

void Ring(Bitmap &page, double cx, double cy, double radius) {
  const int steps = static_cast<int>(radius * 7) + 8;
  for (int a = 0; a < steps; ++a) {
    const double t = 6.283185307179586 * a / steps;
    const double x = cx + radius * std::cos(t), y = cy + radius * std::sin(t);
    if (x >= 0 && y >= 0 && x < page.width && y < page.height) {
      page.set(static_cast<uint32_t>(x), static_cast<uint32_t>(y));
    }
  }
}

// Marks of about a 10 point font in lines across a panel: stems, bars and slants.
void Notes(Bitmap &page, Rng &rng, uint32_t l, uint32_t t, uint32_t r, uint32_t b) {
  const uint32_t size = kDpi / 8;
  for (uint32_t y = t; y + size < b; y += size * 2) {
    for (uint32_t x = l; x + size < r; x += size * 3 / 4) {
      switch (rng.below(5)) {
        case 0:
          break;  // a space
        case 1:
          page.fill(x, x + size / 2, y + rng.below(size));
          [[fallthrough]];
        case 2:
          for (uint32_t dy = 0; dy < size; ++dy) {
            page.fill(x, x + 3, y + dy);
          }
          break;
        default:
          Slant(page, x, y, 0.5, size);
          break;
      }
    }
  }
}

const Bitmap &Drawing() {
  static const Bitmap page = [] {
    Bitmap p(kWidth, kHeight);
    Rng rng(kWidth);
    const uint32_t margin = kDpi / 2, panel = kDpi * 3;
    for (uint32_t y = margin; y < kHeight - margin; y += panel) {
      for (uint32_t x = margin; x < kWidth - margin; x += panel) {
        const uint32_t r = std::min(x + panel, kWidth - margin);
        const uint32_t b = std::min(y + panel, kHeight - margin);
        p.fill(x, r, y);  // the frame
        for (uint32_t row = y; row < b; ++row) {
          p.set(x, row);
        }
        const uint32_t in = kDpi / 10;
        switch (rng.below(3)) {
          case 0:
            Notes(p, rng, x + in, y + in, r - in, b - in);
            break;
          case 1:
            for (int k = -12; k <= 12; ++k) {
              Slant(p, (x + r) / 2.0, y + in, k / 8.0, b - y - 2 * in);
            }
            break;
          default:
            for (double radius = kDpi / 10.0; radius < (r - x) / 2.0 - in; radius += kDpi / 7.0) {
              Ring(p, (x + r) / 2.0, (y + b) / 2.0, radius);
            }
            break;
        }
      }
    }
    return p;
  }();
  return page;
}

CImg1 &DrawingImage() {
  static const std::unique_ptr<CImg1> image = [] {
    Bitmap bits = Drawing();
    return std::unique_ptr<CImg1>(CImg1::create(kWidth, kHeight, bits.bits.data(),
                                                static_cast<unsigned>(bits.bits.size()), 0xFFFFFFu,
                                                0xFF000000u, IMG_ALIGN_NONE));
  }();
  return *image;
}

// Source pixels per second; the report shows them with a G or M prefix.
void SetRate(benchmark::State &state) {
  state.counters["src_pixels"] = benchmark::Counter(
      static_cast<double>(kWidth) * kHeight * state.iterations(), benchmark::Counter::kIsRate);
}

// Runs one worker of the library on the whole drawing to 1/factor.
template <typename Result>
void RunWorker(benchmark::State &state,
               Result *(CImg1::*worker)(unsigned, unsigned, const ImgRect &)) {
  const auto factor = static_cast<unsigned>(state.range(0));
  CImg1 &image = DrawingImage();
  const ImgRect whole = image.getRect();
  for (auto _ : state) {
    std::unique_ptr<Result> out((image.*worker)(kWidth / factor, kHeight / factor, whole));
    benchmark::DoNotOptimize(out->peekData());
  }
  SetRate(state);
}

void BM_ReduceBkg(benchmark::State &state) { RunWorker(state, &Open::Reduce_bkg); }
void BM_ReduceGreyscale(benchmark::State &state) { RunWorker(state, &Open::Reduce_greyscale); }

// The OR of each factor x factor block, for factors that are whole bytes or less:
// the rows of a band are ORed into one, whose bytes then give the target bits.
void BoxReduce(const Bitmap &page, uint32_t factor, Bitmap &out) {
  std::vector<uint8_t> band(page.stride);
  const uint32_t bytesPerBlock = factor / 8;
  for (uint32_t ty = 0; ty < out.height; ++ty) {
    std::fill(band.begin(), band.end(), 0);
    for (uint32_t y = ty * factor; y < (ty + 1) * factor; ++y) {
      const uint8_t *row = page.row(y);
      for (uint32_t i = 0; i < page.stride; ++i) {
        band[i] |= row[i];
      }
    }
    uint8_t *target = out.row(ty);
    std::fill(target, target + out.stride, 0);
    for (uint32_t tx = 0; tx < out.width; ++tx) {
      uint8_t any = 0;
      for (uint32_t k = 0; k < bytesPerBlock; ++k) {
        any |= band[tx * bytesPerBlock + k];
      }
      if (any != 0) {
        target[tx >> 3] |= static_cast<uint8_t>(0x80u >> (tx & 7));
      }
    }
  }
}

void BM_BoxReduce(benchmark::State &state) {
  const auto factor = static_cast<uint32_t>(state.range(0));
  const Bitmap &page = Drawing();
  Bitmap out(kWidth / factor, kHeight / factor);
  for (auto _ : state) {
    BoxReduce(page, factor, out);
    benchmark::DoNotOptimize(out.bits.data());
  }
  SetRate(state);
  // The factors divide both sides, so every block is factor x factor and the
  // library's result on paper of clear bits must be the same bitmap.
  CImg1 &image = DrawingImage();
  const std::unique_ptr<CImg1> library(
      (image.*(&Open::Reduce_bkg))(out.width, out.height, image.getRect()));
  if (library == nullptr ||
      std::memcmp(library->peekData(), out.bits.data(), out.bits.size()) != 0) {
    state.SkipWithError("Reduce_bkg and the box reduction differ");
  }
}

BENCHMARK(BM_ReduceBkg)->Arg(8)->Arg(16)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReduceGreyscale)->Arg(8)->Arg(16)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BoxReduce)->Arg(8)->Arg(16)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
