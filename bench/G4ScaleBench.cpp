// Scaling a compressed drawing straight from its code: a 400 dpi 34 x 44 inch sheet
// (13600 x 17600, about 30 MB as a raw bitmap), coded by libtiff as strips of 256 rows
// and as tiles of 1024 x 1024, held as a CImg1G4 and scaled to 1/8 and 1/16.
//
//   G4Scale/layout/f   CImg1G4::scale(1.0 / f) with the background unknown, as a
//                      host's first view of a page
//   LibtiffDecode/layout  libtiff's full decode of the same TIFF, strip by strip or
//                      tile by tile, into a bitmap
//
// Counters of G4Scale: peak_extra_MB, the heap the call held at its peak beyond the
// coded tiles (held before) and the result (held after), from the counting
// allocator below; vs_libtiff, the fastest scale over the fastest libtiff decode of
// the same layout, both timed in this process.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <tiffio.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include "G4Layouts.h"
#include "Image/Core2DImage.h"

// ---------------------------------------------------------------------------
// A counting allocator: every heap block of the process passes through these, and
// operator new ends in malloc. Live bytes are usable sizes, so they are exact for
// what is held.

extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);
void __libc_free(void *block);
void *__libc_memalign(size_t alignment, size_t size);
}

namespace {

std::atomic<int64_t> gLive{0};
std::atomic<int64_t> gPeak{0};

void *Noted(void *block) {
  if (block != nullptr) {
    const int64_t live = gLive.fetch_add(static_cast<int64_t>(malloc_usable_size(block))) +
                         static_cast<int64_t>(malloc_usable_size(block));
    int64_t peak = gPeak.load();
    while (live > peak && !gPeak.compare_exchange_weak(peak, live)) {
    }
  }
  return block;
}

void Forget(void *block) {
  if (block != nullptr) {
    gLive.fetch_sub(static_cast<int64_t>(malloc_usable_size(block)));
  }
}

}  // namespace

extern "C" {
void *malloc(size_t size) noexcept { return Noted(__libc_malloc(size)); }
void *calloc(size_t count, size_t size) noexcept { return Noted(__libc_calloc(count, size)); }
void free(void *block) noexcept {
  Forget(block);
  __libc_free(block);
}
void *realloc(void *block, size_t size) noexcept {
  const int64_t old = block != nullptr ? static_cast<int64_t>(malloc_usable_size(block)) : 0;
  void *moved = __libc_realloc(block, size);
  if (moved != nullptr || size == 0) {
    gLive.fetch_sub(old);
    Noted(moved);
  }
  return moved;
}
void *memalign(size_t alignment, size_t size) noexcept {
  return Noted(__libc_memalign(alignment, size));
}
void *aligned_alloc(size_t alignment, size_t size) noexcept {
  return Noted(__libc_memalign(alignment, size));
}
int posix_memalign(void **out, size_t alignment, size_t size) noexcept {
  void *block = __libc_memalign(alignment, size);
  if (block == nullptr) {
    return 12;  // ENOMEM
  }
  *out = Noted(block);
  return 0;
}
}

namespace {

using g4test::Bitmap;
using g4test::Coded;
using g4test::Rng;

constexpr uint32_t kWidth = 13600;
constexpr uint32_t kHeight = 17600;
constexpr uint32_t kStripRows = 256;
constexpr uint32_t kTile = 1024;

// Opens the header and the background state, so that every run starts unknown.
struct Page : CImg1G4 {
  using CImg1G4::initData;
  using CImg1G4::initHeader;
  void forgetBackground() { backgroundState = IMG_BG_UNKNOWN; }
};

// A circle of radius r about (cx, cy), as the two ends of its span in each row.
void Circle(Bitmap &page, uint32_t cx, uint32_t cy, uint32_t r) {
  for (uint32_t dy = 0; dy <= r; ++dy) {
    const auto dx = static_cast<uint32_t>(std::sqrt(static_cast<double>(r) * r - dy * dy));
    for (const uint32_t y : {cy - dy, cy + dy}) {
      page.set(cx - dx, y);
      page.set(cx + dx, y);
    }
  }
}

// The sheet: a border, panels 1600 pixels square framed by one-pixel rules, and in
// each panel circles, a fan of slanted lines, or rows of stroke-like marks.
Bitmap MakeSheet() {
  Bitmap page(kWidth, kHeight);
  Rng rng(44);
  for (uint32_t y = 200; y < kHeight - 200; ++y) {
    page.fill(200, 204, y);
    page.fill(kWidth - 204, kWidth - 200, y);
  }
  for (uint32_t d = 0; d < 4; ++d) {
    page.fill(200, kWidth - 200, 200 + d);
    page.fill(200, kWidth - 200, kHeight - 204 + d);
  }
  for (uint32_t top = 400; top + 1600 < kHeight - 200; top += 1600) {
    for (uint32_t left = 400; left + 1600 < kWidth - 200; left += 1600) {
      page.fill(left, left + 1500, top);
      page.fill(left, left + 1500, top + 1500);
      for (uint32_t y = top; y <= top + 1500; ++y) {
        page.set(left, y);
        page.set(left + 1500, y);
      }
      switch (rng.below(3)) {
        case 0:
          for (uint32_t r = 40; r < 700; r += 45) {
            Circle(page, left + 750, top + 750, r);
          }
          break;
        case 1:
          for (uint32_t k = 0; k < 40; ++k) {
            const double slope = (rng.below(2001) - 1000.0) / 1000.0;
            for (uint32_t i = 0; i < 1400; ++i) {
              page.set(left + 750 + static_cast<uint32_t>(std::lround(slope * (i / 2.0))) - 350,
                       top + 50 + i);
            }
          }
          break;
        default:
          for (uint32_t y = top + 60; y + 40 < top + 1450; y += 60) {
            for (uint32_t x = left + 40; x + 30 < left + 1460; x += 30) {
              if (rng.chance(0.8)) {
                for (uint32_t s = 0; s < 36; ++s) {
                  page.fill(x, x + 4, y + s);
                }
                page.fill(x, x + 22, y + rng.below(36));
              }
            }
          }
          break;
      }
    }
  }
  return page;
}

const Coded &Layout(bool tiled) {
  static const Bitmap sheet = MakeSheet();
  static const Coded strips = g4test::CodeLayout(sheet, false, kStripRows, kTile);
  static const Coded tiles = g4test::CodeLayout(sheet, true, kStripRows, kTile);
  return tiled ? tiles : strips;
}

double Seconds(std::chrono::steady_clock::time_point from) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - from).count();
}

// The fastest of three full decodes by libtiff, into one bitmap of the sheet.
double LibtiffSeconds(const Coded &coded) {
  g4test::MemTiff file = coded.tiff;
  TIFF *tif = file.open("r");
  std::vector<uint8_t> out(static_cast<size_t>(kWidth / 8) * kHeight + kTile * kTile / 8);
  double best = 1e9;
  for (int run = 0; run < 3; ++run) {
    const auto start = std::chrono::steady_clock::now();
    const uint32_t count = coded.tiled ? TIFFNumberOfTiles(tif) : TIFFNumberOfStrips(tif);
    uint8_t *to = out.data();
    for (uint32_t i = 0; i < count; ++i) {
      const tmsize_t n =
          coded.tiled ? TIFFReadEncodedTile(tif, i, to, -1) : TIFFReadEncodedStrip(tif, i, to, -1);
      // Tiles land one after another, each a whole tile: the bitmap is not laid out,
      // only decoded, as our scale never lays it out either.
      to += coded.tiled ? 0 : std::max<tmsize_t>(n, 0);
    }
    benchmark::DoNotOptimize(out.data());
    best = std::min(best, Seconds(start));
  }
  TIFFClose(tif);
  return best;
}

void BM_LibtiffDecode(benchmark::State &state) {
  const Coded &coded = Layout(state.range(0) != 0);
  double seconds = 0;
  for (auto _ : state) {
    seconds = LibtiffSeconds(coded);
  }
  state.counters["best_ms"] = seconds * 1000;
}

void BM_G4Scale(benchmark::State &state) {
  const bool tiled = state.range(0) != 0;
  const unsigned factor = static_cast<unsigned>(state.range(1));
  const Coded &coded = Layout(tiled);
  const double libtiff = LibtiffSeconds(coded);
  std::unique_ptr<Page> page(new Page());
  std::vector<unsigned char *> data;
  std::vector<unsigned> counts;
  for (const auto &piece : coded.pieces) {
    data.push_back(const_cast<uint8_t *>(piece.data()));
    counts.push_back(static_cast<unsigned>(piece.size()));
  }
  const unsigned tw = tiled ? kTile : kWidth;
  const unsigned th = tiled ? kTile : kStripRows;
  if (!page->initHeader(kWidth, kHeight, tw, th, 0xFFFFFF, 0xFF000000, IMG_ALIGN_NONE) ||
      !page->initData(data.data(), counts.data())) {
    state.SkipWithError("the page cannot be built");
    return;
  }
  ImgScaleAttr attr;
  double best = 1e9;
  int64_t extra = 0;
  for (auto _ : state) {
    page->forgetBackground();
    const int64_t before = gLive.load();
    gPeak.store(before);
    const auto start = std::chrono::steady_clock::now();
    std::unique_ptr<IImg> small(page->scale(1.0 / factor, attr));
    best = std::min(best, Seconds(start));
    // What is still held is the result; the peak above it is working memory.
    extra = std::max(extra, gPeak.load() - gLive.load());
    if (small == nullptr || small->getWidth() != (kWidth + factor - 1) / factor) {
      state.SkipWithError("scaling failed");
      break;
    }
  }
  state.counters["peak_extra_MB"] = static_cast<double>(extra) / 1e6;
  state.counters["raw_MB"] = kWidth / 8.0 * kHeight / 1e6;
  state.counters["coded_MB"] = static_cast<double>(page->getTotalBytes()) / 1e6;
  state.counters["vs_libtiff"] = best / libtiff;
  state.counters["best_ms"] = best * 1000;
}

BENCHMARK(BM_LibtiffDecode)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_G4Scale)
    ->Args({0, 8})
    ->Args({0, 16})
    ->Args({1, 8})
    ->Args({1, 16})
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
