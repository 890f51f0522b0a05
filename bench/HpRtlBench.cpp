// HP-RTL coding speed on the 400 dpi 34 x 44 inch drawing of BenchDrawing.h held as
// a CImg1, in bytes of source rows per second:
//
//   HpRtl       an Img1TileIterator over one tile covering the drawing: creation, the
//               clearing of its buffer and the delta rows of every row
//   HpRtlBlank  the same on a blank sheet of the same size: what every coding pays
//               before its first command (the buffer, cleared on an edge tile, and
//               one empty record a row)
//   RowMemcmp   a plain memcmp of each row against the one before it, the floor
//               that any delta coder has to pay; taken in 64-byte pieces, since a
//               coder reads the whole row while memcmp stops at the first difference
//
// Measured side by side (Release, medians of 12 runs alternating with a build of the
// previous coder, on a quiet 2-core machine): HpRtl takes 2.9x the time of RowMemcmp
// (4.67 ms against 1.62 ms; 3.19x for the coder before it, which took its blocks'
// masks with SSE2 only, and 3.4x to 3.5x before that, when an edge tile's buffer past
// its records was written with zeros instead of handed back as zero pages and each
// payload went through a scratch instead of being coded in place behind its header).
// The floor itself moves by about 5% from one build to another with code layout
// alone. Before, the coder that took its 64-byte masks and its command bytes block by
// block measured 3.77x to 3.98x, and 7.5x to 8x when it still scanned byte runs with a
// branch at each end. A perf profile now: over 90% in the row coder, about half of it
// the commands of blocks of short runs, the drawing's 1.3 million commands in 300,000 changed
// blocks, where the end of each block's commands is a branch the processor mostly mispredicts (on
// random rows with 1 to 8 runs a block a command costs 3.5 ns against 2.4 ns with 4 in every
// block); 10% to 15% the row compare itself. Coding a changed block without that branch (its
// commands listed first with fixed stores, or walked on into the next block with selects) measured
// slower; streaming stores for the clear made no steady difference. HpRtlBlank runs at the floor.
//
// Also measured slower: listing the first byte of every run of a row first (eight
// positions written per changed block whatever its count, a branch only past eight,
// then all the row's commands in one loop with fixed stores): 6.05 ms against
// 5.69 ms for the coder of that time and a 1.59 ms floor (3.81x against 3.58x, medians of 8
// alternating runs). The drawing has 4.25 runs a changed block (6% over eight), so
// the eight unconditional positions, a popcount the baseline x86-64 target lacks and
// reloading each position cost more than the mispredicted branch they save; built
// with popcnt and BMI it only drew level. Allocating the buffer cleared and leaving
// out the clear after the records saved nothing steady (5.64 ms): the buffer comes
// from reused heap memory, so calloc clears it instead (zero pages from the system,
// as the coder now takes, are what saves it).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "BenchDrawing.h"

namespace {

using namespace benchdrawing;

void SetRate(benchmark::State &state, const CImg1 &image) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * image.getTotalBytes());
}

void Code(benchmark::State &state, const CImg1 &image) {
  unsigned length = 0;
  for (auto _ : state) {
    std::unique_ptr<Img1TileIterator> it(image.getTileIterator(-1, -1, CImg1::HP_RTL));
    unsigned char *data = nullptr;
    unsigned x, y, tw, th, vw, vh;
    bool ok = false;
    it->getNextTile(data, length, x, y, tw, th, vw, vh, ok);
    if (!ok) {
      state.SkipWithError("the drawing did not code");
      break;
    }
    benchmark::DoNotOptimize(data);
  }
  state.counters["coded_MB"] = length / 1e6;
  SetRate(state, image);
}

void BM_HpRtl(benchmark::State &state) { Code(state, DrawingImage()); }

void BM_HpRtlBlank(benchmark::State &state) {
  static const std::unique_ptr<CImg1> blank = [] {
    std::vector<uint8_t> bits(size_t{kWidth / 8} * kHeight, 0);
    return std::unique_ptr<CImg1>(CImg1::create(kWidth, kHeight, bits.data(),
                                                static_cast<unsigned>(bits.size()), 0xFFFFFFu,
                                                0xFF000000u, IMG_ALIGN_NONE));
  }();
  Code(state, *blank);
}

constexpr size_t kPiece = 64;

void BM_RowMemcmp(benchmark::State &state) {
  CImg1 &image = DrawingImage();
  const unsigned char *bits = image.peekData();
  const size_t stride = image.getBytesPerLine();
  for (auto _ : state) {
    unsigned same = 0;
    for (uint32_t y = 1; y < image.getHeight(); ++y) {
      const unsigned char *row = bits + y * stride;
      for (size_t at = 0; at < stride; at += kPiece) {
        const size_t n = std::min(kPiece, stride - at);
        same += std::memcmp(row + at, row - stride + at, n) == 0 ? 1 : 0;
      }
    }
    benchmark::DoNotOptimize(same);
  }
  SetRate(state, image);
}

BENCHMARK(BM_HpRtl)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_HpRtlBlank)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RowMemcmp)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
