// Img32TileIterator: cuts a CImg32 into a grid the caller chooses and hands out each
// tile raw (at 32 or 24 bits a pixel, optionally grey), raw with uniform tiles
// marked, or coded as HP-RTL delta rows. Made only by CImg32::getTileIterator.
#ifndef IMAGE_TILE_IMG32TILEITERATOR_H_
#define IMAGE_TILE_IMG32TILEITERATOR_H_

#include <cstdint>

#include "Image/core/ImgExport.h"
#include "Image/raster/CImg32.h"

namespace c2d {
struct TileWalk;
}  // namespace c2d

class C2D_EXPORT Img32TileIterator {
 public:
  // Member by member: a copy shares the output buffer and nullRow with its source,
  // and only one of the two may be destroyed.
  Img32TileIterator(const Img32TileIterator &) = default;
  Img32TileIterator &operator=(const Img32TileIterator &) = default;
  // Frees the output buffer (unless removeData took it) and nullRow.
  virtual ~Img32TileIterator();

  // The next tile, left to right and then down. `data` is the output buffer and
  // `length` the bytes of this tile (for HP_RTL, of every tile so far; 0 for a
  // uniform UNCOMPRESSED_NULL tile, painted with nullValue). Gives ok, so a tile
  // that failed to code reads as the end; past the last tile: false, ok true and
  // the other outputs unwritten.
  bool getNextTile(unsigned char *&data, unsigned int &length, unsigned int &nullValue,
                   unsigned int &x, unsigned int &y, unsigned int &tileWidth,
                   unsigned int &tileHeight, unsigned int &validWidth, unsigned int &validHeight,
                   bool &ok);
  bool getNextTile(unsigned char *&data, unsigned int &length, unsigned int &nullValue,
                   unsigned int &x, unsigned int &y, unsigned int &tileWidth,
                   unsigned int &tileHeight, unsigned int &validWidth, unsigned int &validHeight);

  // Options, before the first tile. The row size follows the pixel size and the
  // alignment looked at: 24-bit rows are padded to four bytes unless it is 8. The
  // alignment given to setOutputAlignment is not kept, so setOutput_24Bit after it
  // goes back to unpadded rows: only 24-bit first, then the alignment, pads.
  void setOutput_24Bit(bool on);
  void setOutputAlignment(ImgAlignmentEnum alignment);
  // Grey from bytes 0, 1 and 2 weighted 0.299, 0.587 and 0.114, for 24-bit raw tiles.
  void setGrayScale(bool on) { grayScale = on; }
  // Kept, and read by nothing: bytes go out in the image's own order.
  void setOutput_RGBOrder(RGBOrder order) { outputOrder = order; }
  // Gives the output buffer to the caller, who frees it with free(); no tile may
  // be asked for after this.
  unsigned char *removeData();

  unsigned int tileBytesPerRow() const { return tileBytes; }
  unsigned int tileRowPadBytes() const { return outputRightPadBytes; }
  unsigned int getRowPixelPadding() const { return rightPadPixels; }
  unsigned int getWidthInTiles() const { return widthInTiles; }
  unsigned int getHeightInTiles() const { return heightInTiles; }

 private:
  friend class CImg32;
  friend struct c2d::TileWalk;

  Img32TileIterator();

  // Null for a format other than 1, 2, 4 and 7, a tile size of 0, an image without
  // pixels, a buffer beyond 32 bits or failed allocation; nothing is recorded.
  // Sizes larger than the image are clamped.
  static Img32TileIterator *createIterator(const CImg32 *image, unsigned int tileWidth,
                                           unsigned int tileHeight, CImg32::TileFormat format);

  // The row size rule, from the pixel size and the alignment given.
  void setRowSize(ImgAlignmentEnum alignment);
  // Each false when the tile's pixels are not there to read.
  bool tileUNCOMPRESSED();
  bool tileUNCOMPRESSED_NULL();
  // Accepted and empty on purpose.
  bool tileRLE_MIXED();
  bool tileHP_RTL();
  // Copies the tile's valid rows to the output buffer at tileWidth * 4 apart, after
  // zeroing it on an edge tile; with `uniform` it also tells whether they all equal
  // nullRow.
  bool copyTile(bool *uniform);
  // Bytes 0, 1 and 2 of each of `count` pixels, packed.
  static void extractRowStripAlpha(unsigned char *destination, const unsigned *pixels,
                                   unsigned int count);
  void filterBuffer32To24InPlace();

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

  const CImg32 *image = nullptr;
  CImg32::TileFormat format = static_cast<CImg32::TileFormat>(0);
  RGBOrder outputOrder = RGB_ORDER_RGB;
  ImgAlignmentEnum outputAlignment = IMG_ALIGN_8;  // 8, whatever setOutputAlignment is given
  uint32_t inputBytesPerPixel = 4;
  uint32_t outputBytesPerPixel = 4;
  uint32_t tileWidth = 0;
  uint32_t tileHeight = 0;
  uint32_t widthInTiles = 0;
  uint32_t heightInTiles = 0;
  uint32_t rightPadPixels = 0;
  uint32_t inputRightPadBytes = 0;
  uint32_t outputRightPadBytes = 0;
  uint32_t bottomPadRows = 0;
  uint32_t tileCount = 0;
  uint32_t inputTileBytes = 0;
  uint32_t tileBytes = 0;
  uint32_t outputCapacity = 0;
  uint32_t currentTileRow = 0;
  uint32_t currentTileColumn = 0;
  bool atBottomEdge = false;
  bool atRightEdge = false;
  bool grayScale = false;
  unsigned char *outputBuffer = nullptr;
  uint32_t outputLength = 0;
  uint32_t nullValue = 0;
  uint32_t tileX = 0;
  uint32_t tileY = 0;
  // tileWidth pixels of the background the image had when the iterator was made.
  unsigned char *nullRow = nullptr;
};

#endif  // IMAGE_TILE_IMG32TILEITERATOR_H_
