// Img1TileIterator: cuts a CImg1 into a grid the caller chooses and hands out each
// tile, coded as HP-RTL delta rows. Made only by CImg1::getTileIterator.
#ifndef IMAGE_TILE_IMG1TILEITERATOR_H_
#define IMAGE_TILE_IMG1TILEITERATOR_H_

#include <cstdint>

#include "Image/core/ImgExport.h"
#include "Image/raster/CImg1.h"

namespace c2d {
struct TileWalk;
}  // namespace c2d

class C2D_EXPORT Img1TileIterator {
 public:
  // Member by member: a copy shares the output buffer and nullRow with its source,
  // and only one of the two may be destroyed.
  Img1TileIterator(const Img1TileIterator &) = default;
  Img1TileIterator &operator=(const Img1TileIterator &) = default;
  // Frees the output buffer and nullRow.
  virtual ~Img1TileIterator();

  // The next tile, left to right and then down. Only HP_RTL produces bytes: `data`
  // is the output buffer and `length` the bytes written by every tile so far (the
  // records of this tile end there). ok is false when coding failed or the format
  // gives no data; the result is still true for every tile visited. Past the last
  // tile: false, ok false and the other outputs unwritten.
  bool getNextTile(unsigned char *&data, unsigned int &length, unsigned int &x, unsigned int &y,
                   unsigned int &tileWidth, unsigned int &tileHeight, unsigned int &validWidth,
                   unsigned int &validHeight, bool &ok);
  unsigned int getWidthInTiles() const { return widthInTiles; }
  unsigned int getHeightInTiles() const { return heightInTiles; }
  // Bits that pad one tile row to the image's alignment.
  unsigned int getTileRowBitPadding() const { return rowBitPadding; }

 private:
  friend class CImg1;
  friend struct c2d::TileWalk;

  Img1TileIterator();

  // Null for a format outside 1 to 4, a tile size of 0, an image whose header does
  // not validate or that has no pixels, a buffer beyond 32 bits or failed
  // allocation. Nothing is recorded. Sizes larger than the image are clamped.
  static Img1TileIterator *createIterator(const CImg1 *image, unsigned int tileWidth,
                                          unsigned int tileHeight, CImg1::TileFormat format);

  // The formats that give no data, on purpose.
  bool tileUNCOMPRESSED();
  bool tileUNCOMPRESSED_NULL();
  bool tileGROUP4();
  // Codes the tile in hand after the output so far. Rows come from the start of the
  // image's data, tileBytes apart, whatever the tile's position: only a tile as wide
  // as the image codes its own rows.
  bool tileHP_RTL();

  // The row coder (tile/internal/DeltaRowCoder.h).
  uint32_t countDeltas(const unsigned char *seedRow, const unsigned char *currentRow,
                       unsigned int start, unsigned int rowBytes);
  void calculateOffsetCodes(int offset, unsigned char &offsetCode, uint64_t &ffCount,
                            bool &hasFinal, unsigned char &finalByte);
  uint64_t createRTLCommandFromDeltas(unsigned char *currentRow, unsigned int previousEnd,
                                      unsigned int position, unsigned int runLength,
                                      char *&command);
  bool outputRTLForRow(unsigned char *seedRow, unsigned char *currentRow,
                       unsigned char *payloadScratch, uint64_t payloadCapacity,
                       unsigned int rowBytes);

  const CImg1 *image = nullptr;
  CImg1::TileFormat format = static_cast<CImg1::TileFormat>(0);
  double bytesPerPixel = 0.125;  // always 0.125; read by nothing
  uint32_t tileWidth = 0;
  uint32_t tileHeight = 0;
  uint32_t widthInTiles = 0;
  uint32_t heightInTiles = 0;
  uint32_t rowBitPadding = 0;
  uint32_t rightPadPixels = 0;
  uint32_t rightPadBytes = 0;
  uint32_t bottomPadRows = 0;
  uint32_t tileCount = 0;
  uint32_t tileBytes = 0;
  uint32_t outputCapacity = 0;
  uint32_t currentTileRow = 0;
  uint32_t currentTileColumn = 0;
  bool atBottomEdge = false;
  bool atRightEdge = false;
  unsigned char *outputBuffer = nullptr;
  uint32_t outputLength = 0;
  uint32_t nullValue = 0;  // written as 0 by tileHP_RTL; not handed out
  uint32_t tileX = 0;
  uint32_t tileY = 0;
  // tileBytes of 0xFF for a non-zero background, else 0x00; kept for a uniform-tile
  // test this class does not make.
  unsigned char *nullRow = nullptr;
};

#endif  // IMAGE_TILE_IMG1TILEITERATOR_H_
