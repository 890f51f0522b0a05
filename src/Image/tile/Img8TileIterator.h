// Img8TileIterator: a palette image has no tile output, and this class is the empty
// shell that says so. No image ever makes one: CImg8::getTileIterator gives null.
#ifndef IMAGE_TILE_IMG8TILEITERATOR_H_
#define IMAGE_TILE_IMG8TILEITERATOR_H_

#include "Image/core/ImgExport.h"
#include "Image/raster/CImg8.h"

class C2D_EXPORT Img8TileIterator {
 public:
  // None of these keeps or reads anything. The image is taken by reference: a copy
  // of a CImg8 would share, and on destruction free, the caller's pixels, palette
  // and raster-operation record.
  Img8TileIterator() {}
  explicit Img8TileIterator(const CImg8 &image);
  Img8TileIterator(const CImg8 &image, unsigned int tileWidth, unsigned int tileHeight);
  Img8TileIterator(const CImg8 &image, unsigned int tileWidth, unsigned int tileHeight,
                   CImg8::TileFormat format);
  Img8TileIterator(const Img8TileIterator &) {}
  Img8TileIterator &operator=(const Img8TileIterator &) { return *this; }
  virtual ~Img8TileIterator();

  // True, and touches nothing, not even ok.
  bool getNextTile(void *data, unsigned int length, unsigned int x, unsigned int y,
                   unsigned int tileWidth, unsigned int tileHeight, bool &ok);

 private:
  friend class CImg8;

  // Always null.
  static Img8TileIterator *createIterator(const CImg8 *image, unsigned int tileWidth,
                                          unsigned int tileHeight, CImg8::TileFormat format);
};

#endif  // IMAGE_TILE_IMG8TILEITERATOR_H_
