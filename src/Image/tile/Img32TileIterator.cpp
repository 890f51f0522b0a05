// The true-colour tile iterator: raw tiles at 32 or 24 bits or in grey, raw tiles
// with uniform ones marked, and HP-RTL coding through the shared row coder.
#include "Image/tile/Img32TileIterator.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "Image/core/internal/ImgReport.h"
#include "Image/tile/internal/DeltaRowCoder.h"
#include "Image/tile/internal/TileWalk.h"

namespace {
using Coder = c2d::DeltaRowCoder<Img32TileIterator>;

// The formats createIterator accepts, as bits of their values: 1, 2, 4 and 7.
constexpr unsigned kAcceptedFormats = 0x96;
}  // namespace

Img32TileIterator *CImg32::getTileIterator(int tileW, int tileH, CImg32::TileFormat format) const {
  if (!hasData()) {
    c2d::Report(IMG_FAIL);
    return nullptr;
  }
  // A negative size reads as a huge one, which means the whole image.
  return Img32TileIterator::createIterator(this, static_cast<unsigned>(tileW),
                                           static_cast<unsigned>(tileH), format);
}

Img32TileIterator::Img32TileIterator() = default;

Img32TileIterator::~Img32TileIterator() {
  image = nullptr;
  std::free(outputBuffer);
  std::free(nullRow);
}

Img32TileIterator *Img32TileIterator::createIterator(const CImg32 *image, unsigned int tileWidth,
                                                     unsigned int tileHeight,
                                                     CImg32::TileFormat format) {
  const auto value = static_cast<uint32_t>(format);
  if (value > 7 || (kAcceptedFormats >> value & 1u) == 0) {
    return nullptr;
  }
  // A tile of no pixels would divide by zero.
  if (image == nullptr || !image->hasData() || tileWidth == 0 || tileHeight == 0) {
    return nullptr;
  }
  Img32TileIterator *it = new (std::nothrow) Img32TileIterator();
  if (it == nullptr) {
    return nullptr;
  }
  it->image = image;
  it->format = format;
  // The rows are read through the image's table.
  if (!c2d::TileWalk::CutColourGrid(*it, image->getWidth(), image->getHeight(), tileWidth,
                                    tileHeight, image->getBackgroundColor(),
                                    format == CImg32::HP_RTL, false)) {
    delete it;
    return nullptr;
  }
  return it;
}

void Img32TileIterator::setRowSize(ImgAlignmentEnum alignment) {
  // tileWidth * 4 fits in 32 bits (checked at creation), so these do too.
  if (outputBytesPerPixel == 3 && alignment != IMG_ALIGN_8) {
    outputRightPadBytes = (4 - tileWidth * 3 % 4) % 4;
    tileBytes = tileWidth * 3 + outputRightPadBytes;
  } else {
    outputRightPadBytes = outputBytesPerPixel * rightPadPixels;
    tileBytes = outputBytesPerPixel * tileWidth;
  }
}

void Img32TileIterator::setOutput_24Bit(bool on) {
  outputBytesPerPixel = on ? 3 : 4;
  setRowSize(outputAlignment);
}

void Img32TileIterator::setOutputAlignment(ImgAlignmentEnum alignment) { setRowSize(alignment); }

unsigned char *Img32TileIterator::removeData() {
  unsigned char *data = outputBuffer;
  outputBuffer = nullptr;
  return data;
}

bool Img32TileIterator::getNextTile(unsigned char *&data, unsigned int &length,
                                    unsigned int &nullValueOut, unsigned int &x, unsigned int &y,
                                    unsigned int &tileWidthOut, unsigned int &tileHeightOut,
                                    unsigned int &validWidth, unsigned int &validHeight, bool &ok) {
  ok = true;
  if (!c2d::TileWalk::Begin(*this)) {
    return false;
  }
  tileX = currentTileColumn * tileWidth;
  tileY = currentTileRow * tileHeight;
  if (outputBuffer == nullptr) {
    ok = false;  // removeData took the buffer: nothing to write into
  } else {
    switch (format) {
      case CImg32::UNCOMPRESSED_NULL:
        ok = tileUNCOMPRESSED_NULL();
        break;
      case CImg32::RLE_MIXED:
        ok = tileRLE_MIXED();
        break;
      case CImg32::HP_RTL:
        ok = tileHP_RTL();
        break;
      default:
        ok = tileUNCOMPRESSED();
        break;
    }
  }
  data = outputBuffer;
  length = outputLength;
  nullValueOut = nullValue;
  c2d::TileWalk::Finish(*this, x, y, tileWidthOut, tileHeightOut, validWidth, validHeight);
  return ok;
}

bool Img32TileIterator::getNextTile(unsigned char *&data, unsigned int &length,
                                    unsigned int &nullValueOut, unsigned int &x, unsigned int &y,
                                    unsigned int &tileWidthOut, unsigned int &tileHeightOut,
                                    unsigned int &validWidth, unsigned int &validHeight) {
  bool ok = false;
  return getNextTile(data, length, nullValueOut, x, y, tileWidthOut, tileHeightOut, validWidth,
                     validHeight, ok);
}

bool Img32TileIterator::copyTile(bool *uniform) {
  const uint32_t copyBytes = inputTileBytes - (atRightEdge ? inputRightPadBytes : 0);
  const uint32_t rows = tileHeight - (atBottomEdge ? bottomPadRows : 0);
  const unsigned *const *table = image->constDataArray();
  // The image may have given its pixels away or shrunk since.
  if (table == nullptr || tileX + copyBytes / 4 > image->getWidth() ||
      tileY + rows > image->getHeight()) {
    return false;
  }
  if (atBottomEdge || atRightEdge) {
    std::memset(outputBuffer, 0, outputCapacity);  // the overhang is black and transparent
  }
  for (uint32_t r = 0; r < rows; ++r) {
    const unsigned *source = table[tileY + r] + tileX;
    if (uniform != nullptr && *uniform) {
      *uniform = std::memcmp(source, nullRow, copyBytes) == 0;
    }
    std::memcpy(outputBuffer + uint64_t{r} * inputTileBytes, source, copyBytes);
  }
  return true;
}

bool Img32TileIterator::tileUNCOMPRESSED() {
  if (!copyTile(nullptr)) {
    return false;
  }
  outputLength = outputCapacity;
  if (outputBytesPerPixel == 3) {
    filterBuffer32To24InPlace();
    outputLength = tileBytes * tileHeight;  // at most tileWidth * 4 * tileHeight
  }
  nullValue = 0;
  return true;
}

bool Img32TileIterator::tileUNCOMPRESSED_NULL() {
  // Always 32 bits a pixel: the 24-bit and grey options do not apply here.
  bool uniform = true;
  if (!copyTile(&uniform)) {
    return false;
  }
  outputLength = uniform ? 0 : outputCapacity;
  nullValue = uniform ? image->getBackgroundColor() : 0;
  return true;
}

bool Img32TileIterator::tileRLE_MIXED() { return true; }

bool Img32TileIterator::tileHP_RTL() {
  nullValue = 0;
  const uint32_t pixels = tileWidth - (atRightEdge ? rightPadPixels : 0);
  const uint32_t rows = tileHeight - (atBottomEdge ? bottomPadRows : 0);
  const unsigned *const *table = image->constDataArray();
  if (table == nullptr || tileX + pixels > image->getWidth() || tileY + rows > image->getHeight()) {
    return false;
  }
  // SAFETY: tileBytes is at least three bytes for each of the tile's pixels in every
  // layout, so the packed valid pixels fit the row buffer, whose tail stays zero.
  return Coder::codeTile(c2d::RtlOutput{outputBuffer, outputCapacity, outputLength}, tileBytes,
                         tileBytes, rows, atBottomEdge || atRightEdge,
                         [&](uint32_t i, unsigned char *spare) {
                           extractRowStripAlpha(spare, table[tileY + i] + tileX, pixels);
                           return spare;
                         });
}

void Img32TileIterator::extractRowStripAlpha(unsigned char *destination, const unsigned *pixels,
                                             unsigned int count) {
  const auto *in = reinterpret_cast<const unsigned char *>(pixels);
  for (unsigned int i = 0; i < count; ++i, in += 4, destination += 3) {
    destination[0] = in[0];
    destination[1] = in[1];
    destination[2] = in[2];
  }
}

void Img32TileIterator::filterBuffer32To24InPlace() {
  // Every row steps over the right overhang in both positions, although the rows
  // lie tileWidth * 4 apart: on an overhanging grid both drift a little further
  // each row. Bytes past the buffer read as zero and are not written.
  uint64_t read = 0;
  uint64_t write = 0;
  const uint64_t end = outputCapacity;
  for (uint32_t r = 0; r < tileHeight; ++r) {
    for (uint32_t p = 0; p < tileWidth; ++p, read += 4, write += 3) {
      unsigned char in[4] = {0, 0, 0, 0};
      if (read < end) {
        std::memcpy(in, outputBuffer + read, end - read < 4 ? end - read : 4);
      }
      if (grayScale) {
        // Each product truncated on its own, in floats: white gives 254.
        const auto grey = static_cast<unsigned char>(static_cast<int>(in[0] * 0.299f) +
                                                     static_cast<int>(in[1] * 0.587f) +
                                                     static_cast<int>(in[2] * 0.114f));
        in[0] = in[1] = in[2] = grey;
      }
      // The write never passes the read, so a pixel is read before it is overwritten.
      for (uint64_t i = 0; i < 3 && write + i < end; ++i) {
        outputBuffer[write + i] = in[i];
      }
    }
    write += outputRightPadBytes;
    read += inputRightPadBytes;
  }
}

uint32_t Img32TileIterator::countDeltas(const unsigned char *seedRow,
                                        const unsigned char *currentRow, unsigned int start,
                                        unsigned int rowBytes) {
  return Coder::countDeltas(seedRow, currentRow, start, rowBytes);
}

void Img32TileIterator::calculateOffsetCodes(int offset, unsigned char &offsetCode,
                                             uint64_t &ffCount, bool &hasFinal,
                                             unsigned char &finalByte) {
  Coder::calculateOffsetCodes(offset, offsetCode, ffCount, hasFinal, finalByte);
}

uint64_t Img32TileIterator::createRTLCommandFromDeltas(unsigned char *currentRow,
                                                       unsigned int previousEnd,
                                                       unsigned int position,
                                                       unsigned int runLength, char *&command) {
  return Coder::createRTLCommandFromDeltas(currentRow, previousEnd, position, runLength, command);
}

bool Img32TileIterator::outputRTLForRow(unsigned char *seedRow, unsigned char *currentRow,
                                        unsigned char *payloadScratch, uint64_t payloadCapacity,
                                        unsigned int rowBytes) {
  return Coder::outputRTLForRow(c2d::RtlOutput{outputBuffer, outputCapacity, outputLength}, seedRow,
                                currentRow, payloadScratch, payloadCapacity, rowBytes);
}
