// Bilevel reduction speed on a 400 dpi 34 x 44 inch drawing (13600 x 17600), to 1/8
// and 1/16, in source megapixels per second:
//
//   ReduceBkg/f        CImg1::Reduce_bkg, a target pixel set when its block holds ink
//   ReduceGreyscale/f  CImg1::Reduce_greyscale, exact counts mapped to grey
//   BoxReduce/f        a plain box reduction written here: the OR of f x f blocks
//                      of the same bitmap, as a yardstick
//
// The drawing is the one of BenchDrawing.h.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "BenchDrawing.h"

namespace {

using namespace benchdrawing;

// Opens the protected workers.
struct Open : CImg1 {
  using CImg1::Reduce_bkg;
  using CImg1::Reduce_greyscale;
};

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
