// The bilevel tile iterator: the grid a caller chooses over a CImg1, and HP-RTL
// coding of its tiles through the shared row coder.
#include "Image/tile/Img1TileIterator.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "Image/core/internal/ImgSize.h"
#include "Image/tile/internal/DeltaRowCoder.h"
#include "Image/tile/internal/TileWalk.h"

namespace {
using Coder = c2d::DeltaRowCoder<Img1TileIterator>;
}  // namespace

Img1TileIterator *CImg1::getTileIterator(int tileW, int tileH, CImg1::TileFormat format) const {
  // A negative size reads as a huge one, which means the whole image.
  return Img1TileIterator::createIterator(this, static_cast<unsigned>(tileW),
                                          static_cast<unsigned>(tileH), format);
}

Img1TileIterator::Img1TileIterator() = default;

Img1TileIterator::~Img1TileIterator() {
  image = nullptr;
  std::free(outputBuffer);
  std::free(nullRow);
}

Img1TileIterator *Img1TileIterator::createIterator(const CImg1 *image, unsigned int tileWidth,
                                                   unsigned int tileHeight,
                                                   CImg1::TileFormat format) {
  if (format < CImg1::UNCOMPRESSED || format > CImg1::HP_RTL) {
    return nullptr;
  }
  // A tile of no pixels would make a grid of infinitely many; the rows are read
  // from the buffer, so it must be there and match the header.
  if (image == nullptr || tileWidth == 0 || tileHeight == 0 || image->data == nullptr ||
      !image->verifyHeader(image->totalBytes)) {
    return nullptr;
  }
  Img1TileIterator *it = new (std::nothrow) Img1TileIterator();
  if (it == nullptr) {
    return nullptr;
  }
  const uint32_t width = image->getWidth();
  const uint32_t height = image->getHeight();
  it->image = image;
  it->format = format;
  it->tileWidth = tileWidth > width ? width : tileWidth;
  it->tileHeight = tileHeight > height ? height : tileHeight;
  const uint32_t unit = image->alignment == IMG_ALIGN_32 ? 32u : 8u;
  it->rowBitPadding = it->tileWidth % unit == 0 ? 0u : unit - it->tileWidth % unit;
  it->tileBytes = static_cast<uint32_t>((uint64_t{it->tileWidth} + it->rowBitPadding) / 8);
  it->widthInTiles = c2d::CeilDiv(width, it->tileWidth);
  it->heightInTiles = c2d::CeilDiv(height, it->tileHeight);
  // Less than a tile, so exact in 32 bits even where the product wraps.
  it->rightPadPixels = it->widthInTiles * it->tileWidth - width;
  it->rightPadBytes = it->rightPadPixels / 8 + (it->rightPadPixels % 8 != 0 ? 1u : 0u);
  it->tileCount = it->widthInTiles * it->heightInTiles;
  it->bottomPadRows = it->heightInTiles * it->tileHeight - height;
  it->nullRow = static_cast<unsigned char *>(std::malloc(it->tileBytes == 0 ? 1 : it->tileBytes));
  if (it->nullRow == nullptr ||
      !c2d::CheckedSize32(it->tileHeight, it->tileBytes, 1, &it->outputCapacity) ||
      (it->outputBuffer = static_cast<unsigned char *>(std::malloc(it->outputCapacity))) ==
          nullptr) {
    delete it;
    return nullptr;
  }
  std::memset(it->nullRow, image->getBackgroundColor() != 0 ? 0xFF : 0x00, it->tileBytes);
  return it;
}

bool Img1TileIterator::getNextTile(unsigned char *&data, unsigned int &length, unsigned int &x,
                                   unsigned int &y, unsigned int &tileWidthOut,
                                   unsigned int &tileHeightOut, unsigned int &validWidth,
                                   unsigned int &validHeight, bool &ok) {
  ok = false;
  if (!c2d::TileWalk::Begin(*this)) {
    return false;
  }
  tileX = currentTileColumn * tileWidth;
  tileY = currentTileRow * tileHeight;
  switch (format) {
    case CImg1::HP_RTL:
      ok = tileHP_RTL();
      break;
    case CImg1::UNCOMPRESSED:
      ok = tileUNCOMPRESSED();
      break;
    case CImg1::UNCOMPRESSED_NULL:
      ok = tileUNCOMPRESSED_NULL();
      break;
    default:
      ok = tileGROUP4();
      break;
  }
  data = outputBuffer;
  length = outputLength;
  c2d::TileWalk::Finish(*this, x, y, tileWidthOut, tileHeightOut, validWidth, validHeight);
  return true;
}

// These formats are accepted and give no data on purpose.
bool Img1TileIterator::tileUNCOMPRESSED() { return false; }
bool Img1TileIterator::tileUNCOMPRESSED_NULL() { return false; }
bool Img1TileIterator::tileGROUP4() { return false; }

bool Img1TileIterator::tileHP_RTL() {
  nullValue = 0;
  const uint32_t rowBytes = tileBytes - (atRightEdge ? rightPadBytes : 0);
  const uint32_t rows = tileHeight - (atBottomEdge ? bottomPadRows : 0);
  unsigned char *const pixels = image->data;
  // The image may have given its pixels away since: then no row is read.
  if (pixels == nullptr || uint64_t{rows} * tileBytes > image->totalBytes) {
    return false;
  }
  // SAFETY: tileBytes is at most the image's row size and rows at most its height,
  // so every row lies inside the buffer just checked.
  return Coder::codeTile(
      c2d::RtlOutput{outputBuffer, outputCapacity, outputLength}, tileBytes, rowBytes, rows,
      atBottomEdge || atRightEdge,
      [&](uint32_t i, unsigned char *) { return pixels + uint64_t{i} * tileBytes; });
}

uint32_t Img1TileIterator::countDeltas(const unsigned char *seedRow,
                                       const unsigned char *currentRow, unsigned int start,
                                       unsigned int rowBytes) {
  return Coder::countDeltas(seedRow, currentRow, start, rowBytes);
}

void Img1TileIterator::calculateOffsetCodes(int offset, unsigned char &offsetCode,
                                            uint64_t &ffCount, bool &hasFinal,
                                            unsigned char &finalByte) {
  Coder::calculateOffsetCodes(offset, offsetCode, ffCount, hasFinal, finalByte);
}

uint64_t Img1TileIterator::createRTLCommandFromDeltas(unsigned char *currentRow,
                                                      unsigned int previousEnd,
                                                      unsigned int position, unsigned int runLength,
                                                      char *&command) {
  return Coder::createRTLCommandFromDeltas(currentRow, previousEnd, position, runLength, command);
}

bool Img1TileIterator::outputRTLForRow(unsigned char *seedRow, unsigned char *currentRow,
                                       unsigned char *payloadScratch, uint64_t payloadCapacity,
                                       unsigned int rowBytes) {
  return Coder::outputRTLForRow(c2d::RtlOutput{outputBuffer, outputCapacity, outputLength}, seedRow,
                                currentRow, payloadScratch, payloadCapacity, rowBytes);
}
