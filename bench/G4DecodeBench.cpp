// Group 4 decoding speed against libtiff on the same data: a 300 dpi letter page
// (2550 x 3300) and a 400 dpi 34 x 44 inch drawing (13600 x 17600), both synthetic
// and deterministic, with thin lines, text-like strokes and hatching. Each page is
// coded once by libtiff into an in-memory TIFF of one strip; our decoder reads the
// same strip with its byte pairs exchanged.
//
//   G4Decode/...        every row to a change list, as the scanline routines use it
//   G4DecodePaint/...   the same, and every row painted into a bitmap
//   LibtiffDecode/...   TIFFReadEncodedStrip of the strip into a bitmap
#include <benchmark/benchmark.h>
#include <tiffio.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "../tests/g4/G4TiffOracle.h"
#include "Image/g4/G4Decode.h"
#include "Image/g4/G4Paint.h"

namespace {

using g4test::Bitmap;
using g4test::Rng;

void HorizontalRule(Bitmap &page, uint32_t x0, uint32_t x1, uint32_t y, uint32_t weight) {
  for (uint32_t dy = 0; dy < weight && y + dy < page.height; ++dy) {
    page.fill(x0, x1, y + dy);
  }
}

void VerticalRule(Bitmap &page, uint32_t x, uint32_t y0, uint32_t y1, uint32_t weight) {
  for (uint32_t y = y0; y < y1 && y < page.height; ++y) {
    page.fill(x, x + weight, y);
  }
}

// A line from (x0, y0) to (x1, y1), one pixel thick per row or column.
void Line(Bitmap &page, int64_t x0, int64_t y0, int64_t x1, int64_t y1) {
  const int64_t dx = x1 > x0 ? x1 - x0 : x0 - x1;
  const int64_t dy = y1 > y0 ? y1 - y0 : y0 - y1;
  const int64_t steps = dx > dy ? dx : dy;
  for (int64_t i = 0; i <= steps; ++i) {
    const int64_t x = x0 + (steps ? (x1 - x0) * i / steps : 0);
    const int64_t y = y0 + (steps ? (y1 - y0) * i / steps : 0);
    if (x >= 0 && y >= 0 && x < page.width && y < page.height) {
      page.set(static_cast<uint32_t>(x), static_cast<uint32_t>(y));
    }
  }
}

// Lines of glyph-like marks: stems, bars and slants in cells of a text line.
void TextBlock(Bitmap &page, Rng &rng, uint32_t left, uint32_t top, uint32_t right, uint32_t bottom,
               uint32_t size) {
  const uint32_t cellW = size * 6 / 10;
  const uint32_t stem = size / 10 + 1;
  for (uint32_t y = top; y + size < bottom; y += size * 3 / 2) {
    for (uint32_t x = left; x + cellW < right; x += cellW + stem) {
      if (rng.chance(0.17)) {
        continue;
      }
      const uint32_t kind = rng.below(4);
      VerticalRule(page, x + rng.below(cellW / 2 + 1), y, y + size, stem);
      if (kind != 0) {
        HorizontalRule(page, x, x + cellW, y + rng.below(size), stem);
      }
      if (kind == 2 || kind == 3) {
        for (uint32_t s = 0; s < stem; ++s) {
          Line(page, x + s, y + size, x + cellW - stem + s, y);
        }
      }
    }
  }
}

void Hatching(Bitmap &page, uint32_t left, uint32_t top, uint32_t right, uint32_t bottom,
              uint32_t pitch) {
  for (uint32_t y = top; y < bottom && y < page.height; ++y) {
    for (uint32_t x = left + (y % pitch); x < right; x += pitch) {
      page.set(x, y);
    }
  }
}

// A drawing sheet scaled to `dpi`: border and title block, a grid of views with
// rules, diagonals, hatched sections, circles, and notes in small text.
Bitmap MakePage(uint32_t width, uint32_t height, uint32_t dpi, uint64_t seed) {
  Bitmap page(width, height);
  Rng rng(seed);
  const uint32_t margin = dpi / 2;
  const uint32_t thick = dpi / 100 + 1;
  HorizontalRule(page, margin, width - margin, margin, thick);
  HorizontalRule(page, margin, width - margin, height - margin, thick);
  VerticalRule(page, margin, margin, height - margin, thick);
  VerticalRule(page, width - margin, margin, height - margin + thick, thick);
  // Views in a grid of cells about 4 inches wide.
  const uint32_t cell = dpi * 4;
  for (uint32_t top = margin + dpi / 4; top + cell < height - margin; top += cell) {
    for (uint32_t left = margin + dpi / 4; left + cell < width - margin; left += cell) {
      const uint32_t inset = dpi / 8;
      const uint32_t l = left + inset, t = top + inset, r = left + cell - inset,
                     b = top + cell - inset;
      switch (rng.below(4)) {
        case 0:
          TextBlock(page, rng, l, t, r, b, dpi / 10);
          break;
        case 1:
          Hatching(page, l, t, r, b, 6 + rng.below(10));
          HorizontalRule(page, l, r, t, 1);
          HorizontalRule(page, l, r, b, 1);
          break;
        case 2:
          for (uint32_t k = 0; k < 12; ++k) {
            Line(page, l + rng.below(r - l), t, l + rng.below(r - l), b);
            Line(page, l, t + rng.below(b - t), r, t + rng.below(b - t));
          }
          break;
        default: {
          const int64_t cx = (l + r) / 2, cy = (t + b) / 2;
          for (int64_t radius = dpi / 8; radius < (r - l) / 2; radius += dpi / 6) {
            for (int64_t a = 0; a < 720; ++a) {
              const double angle = a * 3.14159265358979 / 360;
              page.set(static_cast<uint32_t>(cx + radius * std::cos(angle)),
                       static_cast<uint32_t>(cy + radius * std::sin(angle)));
            }
          }
          break;
        }
      }
    }
  }
  // A notes column in the title block.
  TextBlock(page, rng, width - margin - dpi * 4, height - margin - dpi * 2, width - margin,
            height - margin, dpi / 12);
  return page;
}

struct CodedPage {
  uint32_t width = 0;
  uint32_t height = 0;
  g4test::MemTiff tiff;
  std::vector<uint8_t> words;  // the strip in the decoder's word order
};

CodedPage Code(uint32_t width, uint32_t height, uint32_t dpi) {
  CodedPage coded;
  coded.width = width;
  coded.height = height;
  const Bitmap page = MakePage(width, height, dpi, width);
  coded.tiff = g4test::WriteG4Tiff(page);
  TIFF *tif = coded.tiff.open("r");
  if (tif != nullptr) {
    coded.words = g4test::ToDecoderOrder(g4test::ReadRawStrip(tif, 0));
    TIFFClose(tif);
  }
  std::fprintf(stderr, "page %u x %u: %zu coded bytes\n", width, height, coded.words.size());
  return coded;
}

const CodedPage &Letter() {
  static const CodedPage page = Code(2550, 3300, 300);
  return page;
}

const CodedPage &Drawing() {
  static const CodedPage page = Code(13600, 17600, 400);
  return page;
}

void SetRate(benchmark::State &state, const CodedPage &page) {
  // Shown as pixels per second.
  state.counters["pixels"] =
      benchmark::Counter(static_cast<double>(page.width) * page.height * state.iterations(),
                         benchmark::Counter::kIsRate);
}

void DecodeRows(benchmark::State &state, const CodedPage &page, bool paint) {
  if (CCITT_EnableG4Decode() != IMG_OK || page.words.empty()) {
    state.SkipWithError("no tables or no data");
    return;
  }
  g4test::RowDecoder decoder(page.words.data(), static_cast<uint32_t>(page.words.size()),
                             page.width);
  Bitmap out(page.width, paint ? page.height : 1);
  for (auto _ : state) {
    decoder.restart();
    for (uint32_t y = 0; y < page.height; ++y) {
      const short result = CCITT_G4Decode(&decoder.tile, page.width, page.words.size());
      if (result != G4_DECODE_OK) {
        state.SkipWithError("decoding failed");
        break;
      }
      if (paint) {
        c2d::G4PaintRow(decoder.tile.changes(), decoder.tile.numChanges(), page.width, out.row(y));
      }
      decoder.tile.swapChanges();
    }
    benchmark::DoNotOptimize(decoder.tile.refChanges()[1]);
    benchmark::DoNotOptimize(out.bits.data());
  }
  SetRate(state, page);
  CCITT_DisableG4Decode();
}

void LibtiffDecode(benchmark::State &state, const CodedPage &page) {
  g4test::MemTiff file = page.tiff;
  TIFF *tif = file.open("r");
  if (tif == nullptr) {
    state.SkipWithError("libtiff cannot open the page");
    return;
  }
  Bitmap out(page.width, page.height);
  for (auto _ : state) {
    if (TIFFReadEncodedStrip(tif, 0, out.bits.data(), static_cast<tmsize_t>(out.bits.size())) < 0) {
      state.SkipWithError("libtiff failed");
      break;
    }
    benchmark::DoNotOptimize(out.bits.data());
  }
  TIFFClose(tif);
  SetRate(state, page);
}

void BM_G4Decode_Letter(benchmark::State &state) { DecodeRows(state, Letter(), false); }
void BM_G4DecodePaint_Letter(benchmark::State &state) { DecodeRows(state, Letter(), true); }
void BM_LibtiffDecode_Letter(benchmark::State &state) { LibtiffDecode(state, Letter()); }
void BM_G4Decode_Drawing(benchmark::State &state) { DecodeRows(state, Drawing(), false); }
void BM_G4DecodePaint_Drawing(benchmark::State &state) { DecodeRows(state, Drawing(), true); }
void BM_LibtiffDecode_Drawing(benchmark::State &state) { LibtiffDecode(state, Drawing()); }

BENCHMARK(BM_G4Decode_Letter)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_G4DecodePaint_Letter)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LibtiffDecode_Letter)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_G4Decode_Drawing)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_G4DecodePaint_Drawing)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LibtiffDecode_Drawing)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
