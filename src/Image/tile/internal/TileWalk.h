// The grid walk the tile iterators share. Each iterator keeps its own fields, by
// the same names; this befriended helper cuts the grid, steps it and hands out the
// geometry.
#ifndef IMAGE_TILE_INTERNAL_TILEWALK_H_
#define IMAGE_TILE_INTERNAL_TILEWALK_H_

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "Image/core/internal/ImgSize.h"

namespace c2d {

struct TileWalk {
  // Cuts a width x height image of 4-byte pixels into tiles of tileWidth x tileHeight
  // (a larger side, or a negative one seen unsigned, means the whole image), and
  // makes the row of background pixels and the output buffer of one tile, cleared
  // when asked. HP-RTL tiles hand out 3 bytes a pixel. False when a side leaves no
  // tile, a tile's bytes do not fit 32 bits, or memory runs out; the caller deletes
  // the iterator then.
  template <typename Iterator>
  static bool CutColourGrid(Iterator &it, uint32_t width, uint32_t height, uint32_t tileWidth,
                            uint32_t tileHeight, uint32_t background, bool rtl, bool clearOutput) {
    it.tileWidth = tileWidth < width ? tileWidth : width;
    it.tileHeight = tileHeight < height ? tileHeight : height;
    if (it.tileWidth == 0 || it.tileHeight == 0 ||
        !CheckedSize32(it.tileWidth, 4, 1, &it.inputTileBytes) ||
        !CheckedSize32(it.tileHeight, it.inputTileBytes, 1, &it.outputCapacity)) {
      return false;
    }
    Cut(width, it.tileWidth, it.widthInTiles, it.rightPadPixels);
    Cut(height, it.tileHeight, it.heightInTiles, it.bottomPadRows);
    it.tileCount = it.widthInTiles * it.heightInTiles;
    it.inputRightPadBytes = 4 * it.rightPadPixels;
    it.outputBytesPerPixel = rtl ? 3 : 4;
    it.outputRightPadBytes = it.outputBytesPerPixel * it.rightPadPixels;
    it.tileBytes = it.outputBytesPerPixel * it.tileWidth;
    it.nullRow = static_cast<unsigned char *>(std::malloc(it.inputTileBytes));
    it.outputBuffer = static_cast<unsigned char *>(clearOutput ? std::calloc(it.outputCapacity, 1)
                                                               : std::malloc(it.outputCapacity));
    if (it.nullRow == nullptr || it.outputBuffer == nullptr) {
      return false;
    }
    for (uint32_t i = 0; i < it.tileWidth; ++i) {
      std::memcpy(it.nullRow + uint64_t{i} * 4, &background, 4);
    }
    return true;
  }

  // Sets the edge flags of the tile in hand; false once the grid is done.
  template <typename Iterator>
  static bool Begin(Iterator &it) {
    if (it.currentTileRow == it.heightInTiles) {
      return false;
    }
    it.atBottomEdge = it.currentTileRow + 1 == it.heightInTiles;
    it.atRightEdge = it.currentTileColumn + 1 == it.widthInTiles;
    return true;
  }

  // Moves on, left to right and then down, and hands out the tile's position and
  // size, and its valid size, less the overhang on the edges.
  template <typename Iterator>
  static void Finish(Iterator &it, unsigned int &x, unsigned int &y, unsigned int &tileWidth,
                     unsigned int &tileHeight, unsigned int &validWidth,
                     unsigned int &validHeight) {
    ++it.currentTileColumn;
    if (it.atRightEdge) {
      ++it.currentTileRow;
      it.currentTileColumn = 0;
    }
    x = it.tileX;
    y = it.tileY;
    tileWidth = it.tileWidth;
    tileHeight = it.tileHeight;
    validWidth = it.tileWidth - (it.atRightEdge ? it.rightPadPixels : 0);
    validHeight = it.tileHeight - (it.atBottomEdge ? it.bottomPadRows : 0);
  }

 private:
  // Tiles of `cell` across `side`, and how far the last overhangs it (less than a
  // cell, so exact in 32 bits even where the product wraps).
  static void Cut(uint32_t side, uint32_t cell, uint32_t &count, uint32_t &pad) {
    count = side / cell + (side % cell != 0 ? 1 : 0);
    pad = count * cell - side;
  }
};

}  // namespace c2d

#endif  // IMAGE_TILE_INTERNAL_TILEWALK_H_
