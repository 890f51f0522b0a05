// The palette tile iterator: an empty shell, since a palette image has no tile output.
#include "Image/tile/Img8TileIterator.h"

#include "Image/core/internal/ImgReport.h"

Img8TileIterator *CImg8::getTileIterator(int tileW, int tileH, CImg8::TileFormat format) const {
  if (!hasData()) {
    c2d::Report(IMG_FAIL);
    return nullptr;
  }
  return Img8TileIterator::createIterator(this, static_cast<unsigned>(tileW),
                                          static_cast<unsigned>(tileH), format);
}

Img8TileIterator::Img8TileIterator(const CImg8 &) {}
Img8TileIterator::Img8TileIterator(const CImg8 &, unsigned int, unsigned int) {}
Img8TileIterator::Img8TileIterator(const CImg8 &, unsigned int, unsigned int, CImg8::TileFormat) {}
Img8TileIterator::~Img8TileIterator() = default;

bool Img8TileIterator::getNextTile(void *, unsigned int, unsigned int, unsigned int, unsigned int,
                                   unsigned int, bool &) {
  return true;
}

Img8TileIterator *Img8TileIterator::createIterator(const CImg8 *, unsigned int, unsigned int,
                                                   CImg8::TileFormat) {
  return nullptr;
}
