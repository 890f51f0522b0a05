// Group 4 encoding speed against libtiff on the same bitmaps: the synthetic 300 dpi
// letter page (2550 x 3300) and 400 dpi 34 x 44 inch drawing (13600 x 17600), and a
// real page that Ghostscript renders from tests/data/g4/page.ps at 300 dpi. Every
// row of a page is coded as one strip.
//
//   G4EncodeStrip/...   create_g4_tiff_strip_tmp of the page
//   LibtiffEncode/...   TIFFWriteEncodedStrip of the page into an in-memory TIFF
#include <benchmark/benchmark.h>
#include <tiffio.h>

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "../tests/g4/G4TiffOracle.h"
#include "BenchPages.h"
#include "Image/g4/G4Strip.h"

namespace {

using g4test::Bitmap;

const Bitmap &Letter() {
  static const Bitmap page = benchpages::MakePage(2550, 3300, 300, 2550);
  return page;
}

const Bitmap &Drawing() {
  static const Bitmap page = benchpages::MakePage(13600, 17600, 400, 13600);
  return page;
}

// "P4", the width and the height, with comment lines between, and one white byte.
bool ReadPbmHeader(FILE *file, unsigned &width, unsigned &height) {
  char magic[3] = {};
  if (std::fscanf(file, "%2s", magic) != 1 || std::string(magic) != "P4") {
    return false;
  }
  unsigned *fields[] = {&width, &height};
  for (unsigned *field : fields) {
    int c = std::fgetc(file);
    while (c == '#' || std::isspace(c)) {
      if (c == '#') {  // a comment runs to the end of its line
        while (c != '\n' && c != EOF) {
          c = std::fgetc(file);
        }
      }
      c = c == EOF ? EOF : std::fgetc(file);
    }
    std::ungetc(c, file);
    if (std::fscanf(file, "%u", field) != 1) {
      return false;
    }
  }
  return std::fgetc(file) != EOF && width > 0 && height > 0;
}

// The PostScript page rendered by Ghostscript as a raw PBM; an empty bitmap when gs
// is missing.
const Bitmap &Rendered() {
  static const Bitmap page = [] {
    const std::string pbm = "/tmp/c2d-g4encode-bench.pbm";
    const std::string gs =
        "gs -q -dNOPAUSE -dBATCH -dSAFER -r300 -sPAPERSIZE=letter -sDEVICE=pbmraw -sOutputFile=" +
        pbm + " " C2D_SOURCE_DIR "/tests/data/g4/page.ps >/dev/null 2>&1";
    Bitmap out;
    FILE *file = std::system(gs.c_str()) == 0 ? std::fopen(pbm.c_str(), "rb") : nullptr;
    unsigned width = 0, height = 0;
    if (file != nullptr && ReadPbmHeader(file, width, height)) {
      out = Bitmap(width, height);
      if (std::fread(out.bits.data(), 1, out.bits.size(), file) != out.bits.size()) {
        out = Bitmap();
      }
    }
    if (file != nullptr) {
      std::fclose(file);
    }
    std::remove(pbm.c_str());
    return out;
  }();
  return page;
}

void SetRate(benchmark::State &state, const Bitmap &page, size_t codedBytes) {
  state.counters["pixels"] =
      benchmark::Counter(static_cast<double>(page.width) * page.height * state.iterations(),
                         benchmark::Counter::kIsRate);
  state.counters["bytes"] = static_cast<double>(codedBytes);
}

void EncodeStrip(benchmark::State &state, const Bitmap &page) {
  if (page.bits.empty()) {
    state.SkipWithError("no page");
    return;
  }
  std::vector<uint8_t> source = page.bits;
  int n = 0;
  for (auto _ : state) {
    unsigned char *out = nullptr;
    n = create_g4_tiff_strip_tmp(source.data(), out, static_cast<int>(page.width),
                                 static_cast<int>(page.stride), static_cast<int>(page.height));
    benchmark::DoNotOptimize(out);
    std::free(out);
    if (n == 0) {
      state.SkipWithError("encoding failed");
      break;
    }
  }
  SetRate(state, page, static_cast<size_t>(n));
}

void LibtiffEncode(benchmark::State &state, const Bitmap &page) {
  if (page.bits.empty()) {
    state.SkipWithError("no page");
    return;
  }
  std::vector<uint8_t> source = page.bits;
  size_t bytes = 0;
  for (auto _ : state) {
    g4test::MemTiff file;
    TIFF *tif = file.open("w");
    g4test::SetG4Fields(tif, page.width, page.height);
    const tmsize_t n =
        TIFFWriteEncodedStrip(tif, 0, source.data(), static_cast<tmsize_t>(source.size()));
    bytes = static_cast<size_t>(TIFFStripSize(tif) > 0 ? TIFFGetStrileByteCount(tif, 0) : 0);
    TIFFClose(tif);
    if (n < 0) {
      state.SkipWithError("libtiff failed");
      break;
    }
  }
  SetRate(state, page, bytes);
}

void BM_G4EncodeStrip_Letter(benchmark::State &state) { EncodeStrip(state, Letter()); }
void BM_LibtiffEncode_Letter(benchmark::State &state) { LibtiffEncode(state, Letter()); }
void BM_G4EncodeStrip_Drawing(benchmark::State &state) { EncodeStrip(state, Drawing()); }
void BM_LibtiffEncode_Drawing(benchmark::State &state) { LibtiffEncode(state, Drawing()); }
void BM_G4EncodeStrip_Rendered(benchmark::State &state) { EncodeStrip(state, Rendered()); }
void BM_LibtiffEncode_Rendered(benchmark::State &state) { LibtiffEncode(state, Rendered()); }

BENCHMARK(BM_G4EncodeStrip_Letter)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LibtiffEncode_Letter)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_G4EncodeStrip_Drawing)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LibtiffEncode_Drawing)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_G4EncodeStrip_Rendered)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LibtiffEncode_Rendered)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
