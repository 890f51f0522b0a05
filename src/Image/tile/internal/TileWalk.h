// The grid walk the tile iterators share. Each iterator keeps its own fields, by
// the same names; this befriended helper steps them and hands out the geometry.
#ifndef IMAGE_TILE_INTERNAL_TILEWALK_H_
#define IMAGE_TILE_INTERNAL_TILEWALK_H_

namespace c2d {

struct TileWalk {
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
};

}  // namespace c2d

#endif  // IMAGE_TILE_INTERNAL_TILEWALK_H_
