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

#include <cstdint>
#include <cstdio>
#include <vector>

#include "../tests/g4/G4TiffOracle.h"
#include "BenchPages.h"
#include "Image/g4/G4Decode.h"
#include "Image/g4/internal/G4Paint.h"

namespace {

using g4test::Bitmap;

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
  const Bitmap page = benchpages::MakePage(width, height, dpi, width);
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
