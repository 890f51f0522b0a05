// ImgEMFTileIterator: the tile grid of a CImgEMF. It walks the grid and reports
// each tile's place, but writes no tile: a document's tiles come from the CImg32
// that CImgEMF::scale or getUnformatted makes.
#ifndef IMAGE_RENDER_IMGEMFTILEITERATOR_H_
#define IMAGE_RENDER_IMGEMFTILEITERATOR_H_

#include <cstdint>

#include "Image/core/ImgEnums.h"
#include "Image/core/ImgExport.h"
#include "Image/render/CImgEMF.h"

namespace c2d {
struct TileWalk;
}  // namespace c2d

class C2D_EXPORT ImgEMFTileIterator {
 public:
  // Member-wise and shallow, buffers included: only one of two copies may be
  // destroyed.
  ImgEMFTileIterator(const ImgEMFTileIterator &) = default;
  ImgEMFTileIterator &operator=(const ImgEMFTileIterator &) = default;
  virtual ~ImgEMFTileIterator();

  // The next tile of the grid, left to right then down: its place and size, the
  // untouched output buffer, length 0, nullValue 0 and ok true. False once the grid
  // is done.
  bool getNextTile(unsigned char *&data, unsigned int &length, unsigned int &nullValue,
                   unsigned int &x, unsigned int &y, unsigned int &tileWidthOut,
                   unsigned int &tileHeightOut, unsigned int &validWidth, unsigned int &validHeight,
                   bool &ok);
  bool getNextTile(unsigned char *&data, unsigned int &length, unsigned int &nullValue,
                   unsigned int &x, unsigned int &y, unsigned int &tileWidthOut,
                   unsigned int &tileHeightOut, unsigned int &validWidth,
                   unsigned int &validHeight);
  // 3 bytes a pixel with true, else 4; the row sizes follow.
  void setOutput_24Bit(bool flag);
  // Stored only.
  void setOutput_RGBOrder(RGBOrder order);
  unsigned getRowPixelPadding() const;
  unsigned getWidthInTiles() const;
  unsigned getHeightInTiles() const;

 private:
  friend class CImgEMF;
  friend struct c2d::TileWalk;

  ImgEMFTileIterator();
  static ImgEMFTileIterator *createIterator(CImgEMF *image, unsigned int tileWidth,
                                            unsigned int tileHeight, CImgEMF::TileFormat format);

  CImgEMF *image = nullptr;
  CImgEMF::TileFormat format = CImgEMF::UNCOMPRESSED;
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

#endif  // IMAGE_RENDER_IMGEMFTILEITERATOR_H_
