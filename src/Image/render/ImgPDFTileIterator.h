// ImgPDFTileIterator: the tile grid of a CImgPDF. It walks the grid and reports each
// tile's geometry, but hands out no pixels: a document's tiles come from the raster
// that CImgPDF::scale or getUnformatted makes, through that raster's own iterator.
#ifndef IMAGE_RENDER_IMGPDFTILEITERATOR_H_
#define IMAGE_RENDER_IMGPDFTILEITERATOR_H_

#include <cstdint>

#include "Image/core/ImgEnums.h"
#include "Image/core/ImgExport.h"
#include "Image/raster/CImg32.h"

class CImgPDF;

namespace c2d {
struct TileWalk;
}  // namespace c2d

class C2D_EXPORT ImgPDFTileIterator {
 public:
  // Member-wise: a copy shares both buffers with its source; destroy only one.
  ImgPDFTileIterator(const ImgPDFTileIterator &) = default;
  ImgPDFTileIterator &operator=(const ImgPDFTileIterator &) = default;
  virtual ~ImgPDFTileIterator();

  // The next tile, left to right, then down: its buffer (never written), a length
  // and null value of 0, its position and size, and the part of it over the image.
  // ok is true. False once the grid is done.
  bool getNextTile(unsigned char *&data, unsigned &length, unsigned &nullValue, unsigned &x,
                   unsigned &y, unsigned &tileWidth, unsigned &tileHeight, unsigned &validWidth,
                   unsigned &validHeight, bool &ok);
  bool getNextTile(unsigned char *&data, unsigned &length, unsigned &nullValue, unsigned &x,
                   unsigned &y, unsigned &tileWidth, unsigned &tileHeight, unsigned &validWidth,
                   unsigned &validHeight);
  // 3 or 4 bytes a pixel for the row sizes reported; no byte is written either way.
  void setOutput_24Bit(bool on);
  // Stored only.
  void setOutput_RGBOrder(RGBOrder order);
  unsigned getRowPixelPadding() const;
  unsigned getWidthInTiles() const;
  unsigned getHeightInTiles() const;

 private:
  friend class CImgPDF;
  friend struct c2d::TileWalk;

  ImgPDFTileIterator();

  // Null for a format other than UNCOMPRESSED, UNCOMPRESSED_NULL, RLE_MIXED and
  // HP_RTL, a tile side of 0, or no memory; nothing is reported. Tile sides are cut
  // to the image's.
  static ImgPDFTileIterator *createIterator(CImgPDF *document, unsigned tileW, unsigned tileH,
                                            CImg32::TileFormat tileFormat);

  CImgPDF *image = nullptr;
  CImg32::TileFormat format = CImg32::UNCOMPRESSED;
  RGBOrder outputOrder = RGB_ORDER_BGR;
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
  unsigned char *outputBuffer = nullptr;
  uint32_t outputLength = 0;
  uint32_t nullValue = 0;
  uint32_t tileX = 0;
  uint32_t tileY = 0;
  unsigned char *nullRow = nullptr;
};

#endif  // IMAGE_RENDER_IMGPDFTILEITERATOR_H_
