// ImgPDFTileIterator: the tile grid of a document, and the debug dump of its tiles.
#include "Image/render/ImgPDFTileIterator.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <string>
#include <system_error>

#if defined(_WIN32)
#include <windows.h>
#endif

#include "Image/render/CImgPDF.h"
#include "Image/render/internal/PdfTileDump.h"
#include "Image/tile/internal/TileWalk.h"

namespace {

// Process-wide and unlocked, like the rest of the dump.
bool sDumpOn = false;
int sDumpCounter = 1;

// The formats the grid accepts: 1, 2, 4 and 7.
bool IsAcceptedFormat(int format) { return format >= 0 && format <= 7 && ((0x96 >> format) & 1); }

}  // namespace

namespace c2d {

void SetPdfTileDump(bool on) { sDumpOn = on; }

bool PdfTileDumpOn() { return sDumpOn; }

std::string NextPdfTileDumpPath() {
  char name[64];
  std::snprintf(name, sizeof name, "tmp_32x32_%d.raw", sDumpCounter);
#if defined(_WIN32)
  return std::string("G:\\tmp\\") + name;
#else
  std::error_code error;
  const std::filesystem::path dir = std::filesystem::temp_directory_path(error);
  return ((error ? std::filesystem::path("/tmp") : dir) / name).string();
#endif
}

bool DumpPdfTile(const unsigned char *data, unsigned length) {
  const std::string path = NextPdfTileDumpPath();
  ++sDumpCounter;
#if defined(_WIN32)
  HANDLE file = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                            FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    return false;
  }
  DWORD written = 0;
  WriteFile(file, data, length, &written, nullptr);
  CloseHandle(file);
#else
  FILE *file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) {
    return false;
  }
  if (length > 0) {
    (void)std::fwrite(data, 1, length, file);
  }
  std::fclose(file);
#endif
  return true;
}

}  // namespace c2d

ImgPDFTileIterator::ImgPDFTileIterator() = default;

ImgPDFTileIterator::~ImgPDFTileIterator() {
  image = nullptr;
  std::free(outputBuffer);
  std::free(nullRow);
}

ImgPDFTileIterator *ImgPDFTileIterator::createIterator(CImgPDF *document, unsigned tileW,
                                                       unsigned tileH,
                                                       CImg32::TileFormat tileFormat) {
  // A side of 0 would leave no grid to walk.
  if (!IsAcceptedFormat(tileFormat) || tileW == 0 || tileH == 0) {
    return nullptr;
  }
  ImgPDFTileIterator *it = new (std::nothrow) ImgPDFTileIterator();
  if (it == nullptr) {
    return nullptr;
  }
  it->image = document;
  it->format = tileFormat;
  if (!c2d::TileWalk::CutColourGrid(*it, document->getWidth(), document->getHeight(), tileW, tileH,
                                    document->getBackgroundColor(), tileFormat == CImg32::HP_RTL,
                                    false)) {
    delete it;
    return nullptr;
  }
  return it;
}

bool ImgPDFTileIterator::getNextTile(unsigned char *&data, unsigned &length, unsigned &nullValue_,
                                     unsigned &x, unsigned &y, unsigned &tileWidth_,
                                     unsigned &tileHeight_, unsigned &validWidth,
                                     unsigned &validHeight, bool &ok) {
  ok = true;
  if (!c2d::TileWalk::Begin(*this)) {
    return false;
  }
  tileX = currentTileColumn * tileWidth;
  tileY = currentTileRow * tileHeight;
  // No format writes anything: a document's pixels are not cut into tiles here.
  c2d::TileWalk::Finish(*this, x, y, tileWidth_, tileHeight_, validWidth, validHeight);
  data = outputBuffer;
  length = outputLength;
  nullValue_ = nullValue;
  if (c2d::PdfTileDumpOn()) {
    (void)c2d::DumpPdfTile(data, length);
  }
  return true;
}

bool ImgPDFTileIterator::getNextTile(unsigned char *&data, unsigned &length, unsigned &nullValue_,
                                     unsigned &x, unsigned &y, unsigned &tileWidth_,
                                     unsigned &tileHeight_, unsigned &validWidth,
                                     unsigned &validHeight) {
  bool ok = true;
  return getNextTile(data, length, nullValue_, x, y, tileWidth_, tileHeight_, validWidth,
                     validHeight, ok);
}

void ImgPDFTileIterator::setOutput_24Bit(bool on) {
  outputBytesPerPixel = on ? 3 : 4;
  outputRightPadBytes = outputBytesPerPixel * rightPadPixels;
  tileBytes = outputBytesPerPixel * tileWidth;
}

void ImgPDFTileIterator::setOutput_RGBOrder(RGBOrder order) { outputOrder = order; }

unsigned ImgPDFTileIterator::getRowPixelPadding() const { return rightPadPixels; }

unsigned ImgPDFTileIterator::getWidthInTiles() const { return widthInTiles; }

unsigned ImgPDFTileIterator::getHeightInTiles() const { return heightInTiles; }
