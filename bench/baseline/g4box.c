/* The plain C baseline of the whole-process comparison: a bilevel TIFF decoded by
 * libtiff strip by strip or tile row by tile row into a band, each band folded into
 * 8 x 8 box sums while the page streams past, and the grey page written as a PGM.
 * Grey is 255 less the black share of the cell, scaled to 0..255; edge cells count
 * only the pixels they hold.
 *
 *   g4box IN.tif OUT.pgm
 */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <tiffio.h>

enum { kCell = 8 };

/* Adds the black pixels of `rows` rows of `band` (stride bytes each) into the cell
 * sums of one row of cells. */
static void AddBand(const uint8_t *band, uint32_t rows, size_t stride, uint32_t width,
                    int blackIsOne, uint32_t *sums) {
  for (uint32_t y = 0; y < rows; ++y) {
    const uint8_t *row = band + y * stride;
    for (uint32_t x = 0; x < width; x += kCell) {
      /* The eight pixels of a cell lie in one byte. */
      uint8_t bits = row[x / 8];
      if (!blackIsOne) {
        bits = (uint8_t)~bits;
      }
      if (width - x < kCell) {
        bits &= (uint8_t)(0xFF00u >> (width - x));
      }
      sums[x / kCell] += (uint32_t)__builtin_popcount(bits);
    }
  }
}

static void WriteCells(FILE *out, const uint32_t *sums, uint8_t *grey, uint32_t width,
                       uint32_t cellRows) {
  const uint32_t across = (width + kCell - 1) / kCell;
  for (uint32_t c = 0; c < across; ++c) {
    const uint32_t cellWidth = width - c * kCell < kCell ? width - c * kCell : kCell;
    const uint32_t area = cellWidth * cellRows;
    grey[c] = (uint8_t)(255 - (255 * sums[c] + area / 2) / area);
  }
  fwrite(grey, 1, across, out);
}

int main(int argc, char **argv) {
  if (argc != 3) {
    fprintf(stderr, "usage: g4box IN.tif OUT.pgm\n");
    return 2;
  }
  TIFF *tif = TIFFOpen(argv[1], "r");
  if (tif == NULL) {
    return 1;
  }
  uint32_t width = 0, height = 0;
  uint16_t photometric = PHOTOMETRIC_MINISWHITE;
  TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &width);
  TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &height);
  TIFFGetFieldDefaulted(tif, TIFFTAG_PHOTOMETRIC, &photometric);
  const int blackIsOne = photometric == PHOTOMETRIC_MINISWHITE;
  const uint32_t across = (width + kCell - 1) / kCell;
  const int tiled = TIFFIsTiled(tif);
  uint32_t bandWidth = width, bandRows = 0, tileWidth = 0;
  if (tiled) {
    TIFFGetField(tif, TIFFTAG_TILEWIDTH, &tileWidth);
    TIFFGetField(tif, TIFFTAG_TILELENGTH, &bandRows);
    bandWidth = (width + tileWidth - 1) / tileWidth * tileWidth;
  } else {
    TIFFGetFieldDefaulted(tif, TIFFTAG_ROWSPERSTRIP, &bandRows);
    if (bandRows > height) {
      bandRows = height;
    }
  }
  /* Cells are whole inside a band when its height is a multiple of 8, as the strips
   * and tiles of the layouts measured are; otherwise the band is 8 scanlines. */
  const int byStrip = !tiled && bandRows % kCell == 0;
  if (bandRows % kCell != 0) {
    bandRows = kCell;
  }
  const size_t stride = (bandWidth + 7) / 8;
  uint8_t *band = calloc((size_t)bandRows * stride, 1);
  uint8_t *tile = tiled ? malloc((size_t)TIFFTileSize(tif)) : NULL;
  uint32_t *sums = calloc(across, sizeof *sums);
  uint8_t *grey = malloc(across);
  FILE *out = fopen(argv[2], "wb");
  if (band == NULL || sums == NULL || grey == NULL || out == NULL || (tiled && tile == NULL)) {
    return 1;
  }
  fprintf(out, "P5\n%u %u\n255\n", across, (height + kCell - 1) / kCell);
  for (uint32_t y0 = 0; y0 < height; y0 += bandRows) {
    const uint32_t rows = height - y0 < bandRows ? height - y0 : bandRows;
    if (tiled) {
      const uint32_t tileStride = tileWidth / 8;
      for (uint32_t x0 = 0; x0 < width; x0 += tileWidth) {
        if (TIFFReadTile(tif, tile, x0, y0, 0, 0) < 0) {
          return 1;
        }
        for (uint32_t y = 0; y < rows; ++y) {
          memcpy(band + y * stride + x0 / 8, tile + y * tileStride, tileStride);
        }
      }
    } else if (byStrip) {
      if (TIFFReadEncodedStrip(tif, TIFFComputeStrip(tif, y0, 0), band,
                               (tmsize_t)(rows * stride)) < 0) {
        return 1;
      }
    } else {
      for (uint32_t y = 0; y < rows; ++y) {
        if (TIFFReadScanline(tif, band + y * stride, y0 + y, 0) < 0) {
          return 1;
        }
      }
    }
    for (uint32_t c0 = 0; c0 < rows; c0 += kCell) {
      const uint32_t cellRows = rows - c0 < kCell ? rows - c0 : kCell;
      memset(sums, 0, across * sizeof *sums);
      AddBand(band + c0 * stride, cellRows, stride, width, blackIsOne, sums);
      WriteCells(out, sums, grey, width, cellRows);
    }
  }
  fclose(out);
  free(grey);
  free(sums);
  free(tile);
  free(band);
  TIFFClose(tif);
  return 0;
}
