// ImgEMFTileIterator: the grid of a document's tiles, walked without rendering.
#include "Image/render/ImgEMFTileIterator.h"

#include <cstdlib>
#include <new>

#include "Image/tile/internal/TileWalk.h"

namespace {

// Formats 1, 2, 4 and 7, as bits of a mask.
constexpr unsigned kAcceptedFormats = 0x96;

}  // namespace

ImgEMFTileIterator::ImgEMFTileIterator() = default;

ImgEMFTileIterator::~ImgEMFTileIterator() {
  image = nullptr;
  std::free(outputBuffer);
  std::free(nullRow);
}

ImgEMFTileIterator *ImgEMFTileIterator::createIterator(CImgEMF *image, unsigned int tileWidth,
                                                       unsigned int tileHeight,
                                                       CImgEMF::TileFormat format) {
  const auto value = static_cast<uint32_t>(format);
  if (value > 7 || ((kAcceptedFormats >> value) & 1) == 0) {
    return nullptr;
  }
  ImgEMFTileIterator *it = new (std::nothrow) ImgEMFTileIterator();
  if (it == nullptr) {
    return nullptr;
  }
  it->image = image;
  it->format = format;
  // Nothing is ever written into the output buffer: it starts cleared so that a
  // caller who reads it reads zeros.
  if (!c2d::TileWalk::CutColourGrid(*it, image->getWidth(), image->getHeight(), tileWidth,
                                    tileHeight, image->getBackgroundColor(),
                                    format == CImgEMF::HP_RTL, true)) {
    delete it;
    return nullptr;
  }
  return it;
}

bool ImgEMFTileIterator::getNextTile(unsigned char *&data, unsigned int &length,
                                     unsigned int &nullValueOut, unsigned int &x, unsigned int &y,
                                     unsigned int &tileWidthOut, unsigned int &tileHeightOut,
                                     unsigned int &validWidth, unsigned int &validHeight,
                                     bool &ok) {
  ok = true;
  if (!c2d::TileWalk::Begin(*this)) {
    return false;
  }
  tileX = currentTileColumn * tileWidth;
  tileY = currentTileRow * tileHeight;
  // Whatever the format, no tile is produced here.
  c2d::TileWalk::Finish(*this, x, y, tileWidthOut, tileHeightOut, validWidth, validHeight);
  data = outputBuffer;
  length = outputLength;
  nullValueOut = nullValue;
  return ok;
}

bool ImgEMFTileIterator::getNextTile(unsigned char *&data, unsigned int &length,
                                     unsigned int &nullValueOut, unsigned int &x, unsigned int &y,
                                     unsigned int &tileWidthOut, unsigned int &tileHeightOut,
                                     unsigned int &validWidth, unsigned int &validHeight) {
  bool ok = true;
  return getNextTile(data, length, nullValueOut, x, y, tileWidthOut, tileHeightOut, validWidth,
                     validHeight, ok);
}

void ImgEMFTileIterator::setOutput_24Bit(bool flag) {
  outputBytesPerPixel = flag ? 3 : 4;
  outputRightPadBytes = outputBytesPerPixel * rightPadPixels;
  tileBytes = outputBytesPerPixel * tileWidth;
}

void ImgEMFTileIterator::setOutput_RGBOrder(RGBOrder order) { outputOrder = order; }

unsigned ImgEMFTileIterator::getRowPixelPadding() const { return rightPadPixels; }

unsigned ImgEMFTileIterator::getWidthInTiles() const { return widthInTiles; }

unsigned ImgEMFTileIterator::getHeightInTiles() const { return heightInTiles; }
