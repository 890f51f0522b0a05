// The Group 4 speed ratios of one page, each measured against libtiff in this
// process: the page is read from a TIFF, laid out again in strips of 256 rows and in
// tiles of 512 x 512, and for each layout the least CPU time of several runs is taken of
//
//   libtiff    TIFFReadEncodedStrip / TIFFReadEncodedTile of every piece into a band
//   rows       every row decoded to change lists (calculateBackground on a page whose
//              background is unknown)
//   bitmap     every row decoded and painted (getSubImage of the whole page)
//   bilevel    scale to 1/8 and 1/16 from the code, background unknown
//   grey       grey scale to 1/8 from the code, background known
//
// One line of Markdown per layout: libtiff / rows and libtiff / bitmap (speed-ups),
// bilevel / libtiff, grey / bilevel 1/8. With --keep DIR the two layouts are written
// there as files for the whole-process comparison (bench/ratios). With --only KIND
// (rows, bitmap, bilevel8, bilevel16, grey8) and --layout strips|tiles, that one
// measurement alone is repeated and its time printed, for a profiler to watch.
//
//   G4Ratios PAGE.tif LABEL [--keep DIR] [--runs N] [--only KIND] [--layout L]
#include <tiffio.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "G4Layouts.h"
#include "Image/Core2DImage.h"

namespace {

using g4test::Bitmap;
using g4test::Coded;
using g4test::CodeLayout;

constexpr uint32_t kStripRows = 256;
constexpr uint32_t kTile = 512;

// Opens the header and the background state of a CImg1G4.
struct Page : CImg1G4 {
  using CImg1G4::initData;
  using CImg1G4::initHeader;
  void setBackground(bool known) {
    backgroundState = known ? IMG_BG_KNOWN : IMG_BG_UNKNOWN;
    backgroundColor = 0;
  }
};

// The page as a bitmap, 1 = black, whatever its layout and photometric.
bool ReadPage(const char *path, Bitmap &page) {
  TIFF *tif = TIFFOpen(path, "r");
  if (tif == nullptr) {
    return false;
  }
  uint32_t w = 0, h = 0;
  uint16_t photometric = PHOTOMETRIC_MINISWHITE;
  TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &w);
  TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &h);
  TIFFGetField(tif, TIFFTAG_PHOTOMETRIC, &photometric);
  page = Bitmap(w, h);
  bool ok = true;
  if (TIFFIsTiled(tif)) {
    uint32_t tw = 0, th = 0;
    TIFFGetField(tif, TIFFTAG_TILEWIDTH, &tw);
    TIFFGetField(tif, TIFFTAG_TILELENGTH, &th);
    std::vector<uint8_t> tile(static_cast<size_t>(TIFFTileSize(tif)));
    for (uint32_t y0 = 0; y0 < h && ok; y0 += th) {
      for (uint32_t x0 = 0; x0 < w && ok; x0 += tw) {
        ok = TIFFReadTile(tif, tile.data(), x0, y0, 0, 0) >= 0;
        for (uint32_t y = 0; y < th && y0 + y < h; ++y) {
          for (uint32_t x = 0; x < tw && x0 + x < w; ++x) {
            if ((tile[y * (tw / 8) + x / 8] >> (7 - x % 8)) & 1) {
              page.set(x0 + x, y0 + y);
            }
          }
        }
      }
    }
  } else {
    for (uint32_t y = 0; y < h && ok; ++y) {
      ok = TIFFReadScanline(tif, page.row(y), y, 0) >= 0;
    }
  }
  TIFFClose(tif);
  if (photometric == PHOTOMETRIC_MINISBLACK) {
    for (uint8_t &b : page.bits) {
      b = static_cast<uint8_t>(~b);
    }
  }
  return ok;
}

int gRuns = 7;
std::string gOnly;

// CPU time of this thread, which other processes on a busy machine do not inflate.
double CpuSeconds() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

// The least CPU time of gRuns runs of `work`, in seconds, and of more runs for short
// work, up to a tenth of a second in all: the least of a few runs of a fraction of a
// millisecond moves by a few per cent from one call to the next.
double Best(const std::function<void()> &work) {
  double best = 1e30;
  double spent = 0;
  for (int run = 0; run < gRuns || (spent < 0.1 && run < 40 * gRuns); ++run) {
    const double start = CpuSeconds();
    work();
    const double took = CpuSeconds() - start;
    best = std::min(best, took);
    spent += took;
  }
  return best;
}

// Every piece decoded by libtiff into one band-sized buffer, as a reader that
// streams the page does.
double LibtiffSeconds(Coded &coded) {
  TIFF *tif = coded.tiff.open("r");
  const tmsize_t size = coded.tiled ? TIFFTileSize(tif) : TIFFStripSize(tif);
  std::vector<uint8_t> band(static_cast<size_t>(size));
  const uint32_t count = coded.tiled ? TIFFNumberOfTiles(tif) : TIFFNumberOfStrips(tif);
  const double seconds = Best([&] {
    for (uint32_t i = 0; i < count; ++i) {
      if (coded.tiled) {
        TIFFReadEncodedTile(tif, i, band.data(), size);
      } else {
        TIFFReadEncodedStrip(tif, i, band.data(), size);
      }
    }
  });
  TIFFClose(tif);
  return seconds;
}

struct Ratios {
  double libtiff, rows, bitmap, bilevel8, bilevel16, grey8;
};

bool Measure(const Bitmap &bitmap, Coded &coded, Ratios &r) {
  r.libtiff = gOnly.empty() ? LibtiffSeconds(coded) : 0;
  std::unique_ptr<Page> page(new Page());
  std::vector<unsigned char *> data;
  std::vector<unsigned> counts;
  for (auto &piece : coded.pieces) {
    data.push_back(piece.data());
    counts.push_back(static_cast<unsigned>(piece.size()));
  }
  const unsigned tw = coded.tiled ? kTile : bitmap.width;
  const unsigned th = coded.tiled ? kTile : kStripRows;
  if (!page->initHeader(bitmap.width, bitmap.height, tw, th, 0xFFFFFF, 0xFF000000,
                        IMG_ALIGN_NONE) ||
      !page->initData(data.data(), counts.data())) {
    return false;
  }
  bool ok = true;
  const auto wanted = [](const char *kind) { return gOnly.empty() || gOnly == kind; };
  if (wanted("rows")) {
    r.rows = Best([&] {
      page->setBackground(false);
      (void)page->calculateBackground();
    });
  }
  if (wanted("bitmap")) {
    r.bitmap = Best([&] {
      std::unique_ptr<IImg> all(page->getSubImage(page->getRect()));
      ok = ok && all != nullptr;
    });
  }
  const auto scale = [&](unsigned factor, bool grey) {
    if (!wanted(grey ? "grey8" : factor == 8 ? "bilevel8" : "bilevel16")) {
      return 0.0;
    }
    ImgScaleAttr attr;
    attr.bitDepth = grey ? 32 : 0;
    return Best([&] {
      page->setBackground(grey);
      std::unique_ptr<IImg> small(page->scale(1.0 / factor, attr));
      ok = ok && small != nullptr;
    });
  };
  r.bilevel8 = scale(8, false);
  r.bilevel16 = scale(16, false);
  r.grey8 = scale(8, true);
  return ok;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: G4Ratios PAGE.tif LABEL [--keep DIR] [--runs N]\n");
    return 2;
  }
  std::string keep;
  std::string only;
  for (int i = 3; i + 1 < argc; i += 2) {
    if (std::strcmp(argv[i], "--keep") == 0) {
      keep = argv[i + 1];
    } else if (std::strcmp(argv[i], "--only") == 0) {
      gOnly = argv[i + 1];
    } else if (std::strcmp(argv[i], "--layout") == 0) {
      only = argv[i + 1];
    } else if (std::strcmp(argv[i], "--runs") == 0) {
      gRuns = std::max(1, std::atoi(argv[i + 1]));
    }
  }
  TIFFSetWarningHandler(nullptr);
  Bitmap bitmap;
  if (!ReadPage(argv[1], bitmap)) {
    std::fprintf(stderr, "G4Ratios: cannot read %s\n", argv[1]);
    return 1;
  }
  for (const bool tiled : {false, true}) {
    if (!only.empty() && only != (tiled ? "tiles" : "strips")) {
      continue;
    }
    Coded coded = CodeLayout(bitmap, tiled, kStripRows, kTile);
    const char *layout = tiled ? "tiles 512" : "strips 256";
    if (!keep.empty()) {
      const std::string path = keep + "/" + argv[2] + (tiled ? "-tiles.tif" : "-strips.tif");
      if (FILE *f = std::fopen(path.c_str(), "wb")) {
        std::fwrite(coded.tiff.bytes().data(), 1, coded.tiff.bytes().size(), f);
        std::fclose(f);
      }
    }
    Ratios r{};
    if (!Measure(bitmap, coded, r)) {
      std::fprintf(stderr, "G4Ratios: %s (%s) failed\n", argv[2], layout);
      return 1;
    }
    if (!gOnly.empty()) {
      const double ms[] = {r.rows, r.bitmap, r.bilevel8, r.bilevel16, r.grey8};
      std::printf("%s %s %s: %.3f ms\n", argv[2], layout, gOnly.c_str(),
                  1000 * *std::max_element(std::begin(ms), std::end(ms)));
      continue;
    }
    std::printf("| %s | %u x %u | %s | %.1f | %.2f | %.2f | %.2f | %.2f | %.2f |\n", argv[2],
                bitmap.width, bitmap.height, layout, r.libtiff * 1000, r.libtiff / r.rows,
                r.libtiff / r.bitmap, r.bilevel8 / r.libtiff, r.bilevel16 / r.libtiff,
                r.grey8 / r.bilevel8);
  }
  return 0;
}
