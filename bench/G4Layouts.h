// A bilevel page coded by libtiff in memory as Group 4 strips or tiles, with the
// coded bytes of each piece in the decoder's word order: the layouts the Group 4
// benchmarks time.
#ifndef BENCH_G4LAYOUTS_H_
#define BENCH_G4LAYOUTS_H_

#include <tiffio.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "../tests/g4/G4TiffOracle.h"

namespace g4test {

// One layout: its TIFF in memory and its pieces in the decoder's word order.
struct Coded {
  bool tiled = false;
  MemTiff tiff;
  std::vector<std::vector<uint8_t>> pieces;
};

inline Coded CodeLayout(const Bitmap &page, bool tiled, uint32_t stripRows, uint32_t tileSide) {
  Coded coded;
  coded.tiled = tiled;
  TIFF *tif = coded.tiff.open("w");
  SetG4Tags(tif, page.width, page.height);
  if (tiled) {
    TIFFSetField(tif, TIFFTAG_TILEWIDTH, tileSide);
    TIFFSetField(tif, TIFFTAG_TILELENGTH, tileSide);
    std::vector<uint8_t> tile(tileSide / 8 * tileSide);
    for (uint32_t y0 = 0; y0 < page.height; y0 += tileSide) {
      for (uint32_t x0 = 0; x0 < page.width; x0 += tileSide) {
        std::fill(tile.begin(), tile.end(), 0);
        const uint32_t bytes = (std::min(tileSide, page.width - x0) + 7) / 8;
        for (uint32_t y = 0; y < tileSide && y0 + y < page.height; ++y) {
          std::copy_n(page.row(y0 + y) + x0 / 8, bytes, tile.data() + y * (tileSide / 8));
        }
        TIFFWriteEncodedTile(tif, TIFFComputeTile(tif, x0, y0, 0, 0), tile.data(),
                             static_cast<tmsize_t>(tile.size()));
      }
    }
  } else {
    TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, stripRows);
    for (uint32_t y = 0; y < page.height; ++y) {
      TIFFWriteScanline(tif, const_cast<uint8_t *>(page.row(y)), y, 0);
    }
  }
  TIFFClose(tif);
  tif = coded.tiff.open("r");
  const uint32_t count = tiled ? TIFFNumberOfTiles(tif) : TIFFNumberOfStrips(tif);
  uint64_t *sizes = nullptr;
  TIFFGetField(tif, tiled ? TIFFTAG_TILEBYTECOUNTS : TIFFTAG_STRIPBYTECOUNTS, &sizes);
  for (uint32_t i = 0; i < count; ++i) {
    std::vector<uint8_t> raw(static_cast<size_t>(sizes[i]));
    if (tiled) {
      TIFFReadRawTile(tif, i, raw.data(), static_cast<tmsize_t>(raw.size()));
    } else {
      TIFFReadRawStrip(tif, i, raw.data(), static_cast<tmsize_t>(raw.size()));
    }
    coded.pieces.push_back(ToDecoderOrder(raw));
  }
  TIFFClose(tif);
  return coded;
}

}  // namespace g4test

#endif  // BENCH_G4LAYOUTS_H_
