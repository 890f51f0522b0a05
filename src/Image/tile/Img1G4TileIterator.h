// Img1G4TileIterator: walks the tiles a CImg1G4 holds and hands out their stored
// Group 4 bytes, undecoded. Made only by CImg1G4::getTileIterator; owns nothing.
#ifndef IMAGE_TILE_IMG1G4TILEITERATOR_H_
#define IMAGE_TILE_IMG1G4TILEITERATOR_H_

#include <cstdint>

#include "Image/core/ImgExport.h"
#include "Image/g4/CImg1G4.h"

namespace c2d {
struct TileWalk;
}  // namespace c2d

class C2D_EXPORT Img1G4TileIterator {
 public:
  Img1G4TileIterator(const Img1G4TileIterator &) = default;
  Img1G4TileIterator &operator=(const Img1G4TileIterator &) = default;
  virtual ~Img1G4TileIterator();

  // The next tile in the image's grid order, left to right and then down: its own
  // coded bytes (null and 0 for a tile without data), valid while the image lives.
  // False past the last tile, with the outputs unwritten.
  bool getNextTile(unsigned char *&data, unsigned int &length, unsigned int &x, unsigned int &y,
                   unsigned int &tileWidth, unsigned int &tileHeight, unsigned int &validWidth,
                   unsigned int &validHeight);
  unsigned int getWidthInTiles() const { return widthInTiles; }
  unsigned int getHeightInTiles() const { return heightInTiles; }

 private:
  friend class CImg1G4;
  friend struct c2d::TileWalk;

  Img1G4TileIterator();

  // Null for an image without a tile grid or on failed allocation; nothing is
  // recorded.
  static Img1G4TileIterator *createIterator(CImg1G4 *image);

  CImg1G4 *image = nullptr;
  uint32_t tileWidth = 0;
  uint32_t tileHeight = 0;
  uint32_t widthInTiles = 0;
  uint32_t heightInTiles = 0;
  uint32_t rightPadPixels = 0;
  uint32_t rightPadBytes = 0;
  uint32_t bottomPadRows = 0;
  uint32_t tileCount = 0;
  uint32_t bytesPerLine = 0;
  Img1G4Tile *currentTile = nullptr;
  uint32_t currentTileRow = 0;
  uint32_t currentTileColumn = 0;
  bool atBottomEdge = false;
  bool atRightEdge = false;
  uint32_t tileX = 0;
  uint32_t tileY = 0;
};

#endif  // IMAGE_TILE_IMG1G4TILEITERATOR_H_
