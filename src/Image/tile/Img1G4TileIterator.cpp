// The Group 4 tile iterator: the image's own grid, its tiles' stored bytes.
#include "Image/tile/Img1G4TileIterator.h"

#include <new>

#include "Image/tile/internal/TileWalk.h"

Img1G4TileIterator *CImg1G4::getTileIterator() { return Img1G4TileIterator::createIterator(this); }

Img1G4TileIterator::Img1G4TileIterator() = default;

Img1G4TileIterator::~Img1G4TileIterator() { image = nullptr; }

Img1G4TileIterator *Img1G4TileIterator::createIterator(CImg1G4 *image) {
  // A bare image has marker sizes and no grid to walk.
  if (image == nullptr || !image->hasData()) {
    return nullptr;
  }
  Img1G4TileIterator *it = new (std::nothrow) Img1G4TileIterator();
  if (it == nullptr) {
    return nullptr;
  }
  it->image = image;
  it->tileWidth = image->getTileWidth();
  it->tileHeight = image->getTileHeight();
  it->widthInTiles = image->getWidthInTiles();
  it->heightInTiles = image->getHeightInTiles();
  it->rightPadPixels = it->widthInTiles * it->tileWidth - image->getWidth();
  it->rightPadBytes = it->rightPadPixels / 8 + (it->rightPadPixels % 8 != 0 ? 1u : 0u);
  it->bottomPadRows = it->heightInTiles * it->tileHeight - image->getHeight();
  it->tileCount = image->getNumberOfTiles();
  it->bytesPerLine = image->getBytesPerLine();
  return it;
}

bool Img1G4TileIterator::getNextTile(unsigned char *&data, unsigned int &length, unsigned int &x,
                                     unsigned int &y, unsigned int &tileWidthOut,
                                     unsigned int &tileHeightOut, unsigned int &validWidth,
                                     unsigned int &validHeight) {
  if (!c2d::TileWalk::Begin(*this)) {
    return false;
  }
  currentTile = image->getTile(currentTileRow, currentTileColumn);
  // getTile answers null only outside the grid, which the walk never leaves.
  tileX = currentTile == nullptr ? 0 : currentTile->getXOffset();
  tileY = currentTile == nullptr ? 0 : currentTile->getYOffset();
  data = currentTile == nullptr ? nullptr : currentTile->getData();
  length = currentTile == nullptr ? 0 : currentTile->getByteCount();
  c2d::TileWalk::Finish(*this, x, y, tileWidthOut, tileHeightOut, validWidth, validHeight);
  return true;
}
