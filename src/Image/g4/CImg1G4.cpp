// CImg1G4: creation, the header and tile grid, and the copy of the coded bytes. The
// row cursor and scanline routines, cut-outs, background, scaling and transforms add
// their own files.
#include "Image/g4/CImg1G4.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "Image/core/internal/ImgSize.h"
#include "Image/raster/Export.h"

using c2d::CeilDiv;

namespace {

// Marks a field that no header has set yet.
constexpr uint32_t kUnset = 0xDEADBEEFu;

// Change-list entries beyond the tile width: the leading 0, and sentinels.
constexpr size_t kChangeSlack = 6;

// A decompressed row is padded to 32 bits for IMG_ALIGN_32 and to a byte otherwise.
uint32_t PadBitsFor(uint32_t width, ImgAlignmentEnum align) {
  const uint32_t unit = align == IMG_ALIGN_32 ? 32u : 8u;
  return (unit - width % unit) % unit;
}

// In 64 bits, so that a width near 2^32 does not wrap to a tiny row.
uint32_t BytesPerLineFor(uint32_t width, uint32_t padBits) {
  return static_cast<uint32_t>((static_cast<uint64_t>(width) + padBits) / 8u);
}

// Frees `count` buffers of a per-column array and the array, clearing the pointer.
void FreeColumns(int32_t **&buffers, uint32_t count) {
  if (buffers == nullptr) {
    return;
  }
  for (uint32_t c = 0; c < count; ++c) {
    std::free(buffers[c]);
    buffers[c] = nullptr;
  }
  std::free(buffers);
  buffers = nullptr;
}

}  // namespace

// ---------------------------------------------------------------------------
// The owner of the grid

bool CImg1G4::TileGrid::Allocate(uint32_t across, uint32_t down, size_t entries) {
  Release();
  count_ = static_cast<uint64_t>(across) * down;
  across_ = across;
  tiles_ = new (std::nothrow) Img1G4Tile[count_];
  rows_ = static_cast<Img1G4Tile **>(std::calloc(down, sizeof(Img1G4Tile *)));
  changes_ = static_cast<int32_t **>(std::calloc(across, sizeof(int32_t *)));
  refChanges_ = static_cast<int32_t **>(std::calloc(across, sizeof(int32_t *)));
  if (tiles_ == nullptr || rows_ == nullptr || changes_ == nullptr || refChanges_ == nullptr) {
    Release();
    return false;
  }
  for (uint32_t r = 0; r < down; ++r) {
    rows_[r] = tiles_ + static_cast<size_t>(r) * across;
  }
  for (uint32_t c = 0; c < across; ++c) {
    changes_[c] = static_cast<int32_t *>(std::calloc(entries, sizeof(int32_t)));
    refChanges_[c] = static_cast<int32_t *>(std::calloc(entries, sizeof(int32_t)));
    if (changes_[c] == nullptr || refChanges_[c] == nullptr) {
      Release();
      return false;
    }
  }
  return true;
}

void CImg1G4::TileGrid::Release() {
  if (tiles_ != nullptr) {
    for (uint64_t i = 0; i < count_; ++i) {
      std::free(tiles_[i].getData());
      tiles_[i].setData(nullptr, 0);
    }
    delete[] tiles_;
    tiles_ = nullptr;
  }
  count_ = 0;
  std::free(rows_);
  rows_ = nullptr;
  FreeColumns(changes_, across_);
  FreeColumns(refChanges_, across_);
  across_ = 0;
}

CImg1G4::CImg1G4()
    : padBits(kUnset),
      alignment(IMG_ALIGN_NONE),
      foregroundInterpretation(kUnset),
      backgroundInterpretation(kUnset),
      tileRows(nullptr),
      changeBuffers(nullptr),
      refChangeBuffers(nullptr),
      decodeRow(kUnset),
      rowInTile(kUnset),
      decodeTileRow(kUnset),
      firstTileColumn(kUnset),
      firstTileRow(kUnset),
      lastTileColumn(kUnset),
      lastTileRow(kUnset) {
  type = IMG_TYPE_G4;
  bitsPerSample = kUnset;
  samplesPerPixel = kUnset;
  bytesPerLine = kUnset;
  totalBytes = kUnset;
  tileWidth = kUnset;
  tileHeight = kUnset;
  backgroundColor = kUnset;
  backgroundState = IMG_BG_UNKNOWN;
  numberOfTiles = kUnset;
}

CImg1G4::~CImg1G4() { _Delete(); }

// ---------------------------------------------------------------------------
// Factories

CImg1G4 *CImg1G4::create() {
  try {
    return new CImg1G4();
  } catch (const std::bad_alloc &) {
    return nullptr;
  }
}

CImg1G4 *CImg1G4::create(unsigned width, unsigned height, unsigned tileW, unsigned tileH,
                         unsigned backgroundInterp, unsigned foregroundInterp,
                         ImgAlignmentEnum align) {
  CImg1G4 *image = create();
  if (image == nullptr) {
    return nullptr;
  }
  if (!image->initHeader(width, height, tileW, tileH, backgroundInterp, foregroundInterp, align)) {
    delete image;
    return nullptr;
  }
  return image;
}

CImg1G4 *CImg1G4::create(unsigned width, unsigned height, unsigned tileW, unsigned tileH,
                         unsigned char **tileData, unsigned *tileBytes, unsigned backgroundInterp,
                         unsigned foregroundInterp, ImgAlignmentEnum align) {
  CImg1G4 *image = create(width, height, tileW, tileH, backgroundInterp, foregroundInterp, align);
  if (image == nullptr) {
    return nullptr;
  }
  if (!image->initData(tileData, tileBytes)) {
    delete image;
    return nullptr;
  }
  return image;
}

CImg1G4 *CImg1G4::create(const IImg &source, unsigned tileW, unsigned tileH,
                         unsigned backgroundInterp, unsigned foregroundInterp,
                         ImgAlignmentEnum align) {
  CImg1G4 *image = create(source.getWidth(), source.getHeight(), tileW, tileH, backgroundInterp,
                          foregroundInterp, align);
  if (image == nullptr) {
    return nullptr;
  }
  // Nothing converts into this class; the image stays without coded data.
  (void)Export::xfm(image, &source, 0);
  return image;
}

CImg1G4 *CImg1G4::create(void * /*source*/, unsigned /*w*/, unsigned /*h*/,
                         ImgAlignmentEnum /*align*/) {
  return nullptr;
}

// ---------------------------------------------------------------------------
// Header and tile grid. The grid is all or nothing: whenever tileRows is set, the
// block of tiles and both per-column arrays exist with every buffer allocated.

uint32_t CImg1G4::TilesAcross() const {
  return tileWidth == 0 ? 0u : CeilDiv(getWidth(), tileWidth);
}

uint32_t CImg1G4::TilesDown() const {
  return tileHeight == 0 ? 0u : CeilDiv(getHeight(), tileHeight);
}

bool CImg1G4::initHeader(unsigned width, unsigned height, unsigned tileW, unsigned tileH,
                         unsigned backgroundInterp, unsigned foregroundInterp,
                         ImgAlignmentEnum align) {
  if (width == 0 || height == 0 || tileW == 0 || tileH == 0) {
    return false;
  }
  // The ceilings of the quotients, exactly: 32-bit operands need no floating point.
  const uint32_t across = CeilDiv(width, tileW);
  const uint32_t down = CeilDiv(height, tileH);
  const uint64_t count = static_cast<uint64_t>(across) * down;
  if (count > UINT32_MAX) {
    return false;  // numberOfTiles could not hold it
  }
  // A grid of an earlier header would be out of reach once the extents change.
  _Delete();

  rect.setRect(0u, 0u, width - 1, height - 1);
  tileWidth = tileW;
  tileHeight = tileH;
  backgroundInterpretation = backgroundInterp;
  foregroundInterpretation = foregroundInterp;
  alignment = align;
  backgroundState = IMG_BG_UNKNOWN;
  numberOfTiles = static_cast<uint32_t>(count);
  padBits = PadBitsFor(width, align);
  bytesPerLine = BytesPerLineFor(width, padBits);
  bitsPerSample = 1;
  samplesPerPixel = 1;

  // A tile wider than the page can never take data (isHeaderValid refuses it), so
  // its buffers need not span more than the page: a huge tile size costs nothing.
  const size_t entries = static_cast<size_t>(std::min(tileW, width)) + kChangeSlack;
  if (!grid_.Allocate(across, down, entries)) {
    _Delete();
    return false;
  }
  tileRows = grid_.rows();
  changeBuffers = grid_.changes();
  refChangeBuffers = grid_.refChanges();
  return true;
}

bool CImg1G4::isHeaderValid() const {
  const uint32_t width = getWidth();
  const uint32_t height = getHeight();
  if (width == 0 || height == 0 || tileWidth == 0 || tileHeight == 0) {
    return false;
  }
  if (tileWidth > width || tileHeight > height) {
    return false;
  }
  if (static_cast<uint64_t>(getHeightInTiles()) * getWidthInTiles() != numberOfTiles) {
    return false;
  }
  if (bitsPerSample != 1 || samplesPerPixel != 1) {
    return false;
  }
  const uint32_t pad = PadBitsFor(width, alignment);
  return padBits == pad && bytesPerLine == BytesPerLineFor(width, pad);
}

void CImg1G4::_Delete() {
  // The owner frees with the counts it allocated with, and the views are cleared.
  grid_.Release();
  tileRows = nullptr;
  changeBuffers = nullptr;
  refChangeBuffers = nullptr;
}

bool CImg1G4::initData(unsigned char **tileData, unsigned *tileBytes) {
  if (!isHeaderValid() || tileRows == nullptr || tileBytes == nullptr) {
    return false;
  }
  const uint32_t across = TilesAcross();
  const uint32_t down = TilesDown();
  // Every count that asks for bytes must have them, or nothing is changed.
  const size_t count = static_cast<size_t>(across) * down;
  for (size_t i = 0; i < count; ++i) {
    if (tileBytes[i] != 0 && (tileData == nullptr || tileData[i] == nullptr)) {
      return false;
    }
  }
  totalBytes = 0;
  size_t i = 0;
  for (uint32_t r = 0; r < down; ++r) {
    for (uint32_t c = 0; c < across; ++c, ++i) {
      Img1G4Tile &tile = tileRows[r][c];
      tile.bitLoc() = 1;
      tile.byteLoc() = 0;
      tile.getYOffset() = r * getTileHeight();
      tile.getXOffset() = c * getTileWidth();
      unsigned char *bytes = nullptr;
      if (tileBytes[i] != 0) {
        bytes = static_cast<unsigned char *>(std::malloc(tileBytes[i]));
        if (bytes == nullptr) {
          _Delete();
          return false;
        }
        std::memcpy(bytes, tileData[i], tileBytes[i]);
      }
      // Bytes of an earlier call would be lost otherwise.
      std::free(tile.getData());
      tile.setData(bytes, tileBytes[i]);
      totalBytes += tileBytes[i];
    }
  }
  return true;
}

bool CImg1G4::setExtents(unsigned width, unsigned height, unsigned tileW, unsigned tileH) {
  if (width == 0 || height == 0 || tileW == 0 || tileH == 0) {
    return false;
  }
  if (!areTileExtentsValid(width, height, tileW, tileH)) {
    return false;
  }
  if (static_cast<uint32_t>(alignment) == kUnset || backgroundInterpretation == kUnset ||
      foregroundInterpretation == kUnset) {
    return true;
  }
  // The answer of initHeader is not passed on: the extents were acceptable.
  (void)initHeader(width, height, tileW, tileH, backgroundInterpretation, foregroundInterpretation,
                   alignment);
  return true;
}

Img1G4Tile *CImg1G4::getTile(unsigned tileRow, unsigned tileColumn) {
  if (tileRows == nullptr || tileRow >= getHeightInTiles() || tileColumn >= getWidthInTiles()) {
    return nullptr;
  }
  // The getters can wrap for extents near 2^32; the grid as allocated bounds both.
  if (tileRow >= TilesDown() || tileColumn >= TilesAcross()) {
    return nullptr;
  }
  return &tileRows[tileRow][tileColumn];
}

// ---------------------------------------------------------------------------
// Fields

ImgAlignmentEnum CImg1G4::getAlignment() { return alignment; }

void CImg1G4::setAlignment(ImgAlignmentEnum align) { alignment = align; }

unsigned CImg1G4::getPadBits() const { return padBits; }

unsigned CImg1G4::getForegroundInterpretation() const { return foregroundInterpretation; }

void CImg1G4::setForegroundInterpretation(unsigned colour) { foregroundInterpretation = colour; }

unsigned CImg1G4::getBackgroundInterpretation() const { return backgroundInterpretation; }

void CImg1G4::setBackgroundInterpretation(unsigned colour) { backgroundInterpretation = colour; }

unsigned CImg1G4::getBackgroundColor() const { return backgroundColor; }

void CImg1G4::setBackgroundColor(unsigned colour) {
  backgroundColor = colour;
  backgroundState = IMG_BG_KNOWN;
}

// ---------------------------------------------------------------------------
// Copies

IImg *CImg1G4::clone() const {
  // One tile per pixel and fixed colours on purpose. Export has no path into this
  // class, so the copy keeps no pixels; its answer is not needed.
  CImg1G4 *copy = create(getWidth(), getHeight(), 1, 1, 0xFFFFFFu, 0xFF000000u, IMG_ALIGN_NONE);
  if (copy != nullptr) {
    (void)Export::xfm(copy, this, 0);
  }
  return copy;
}

// ---------------------------------------------------------------------------
// Slots answered trivially: a compressed page has no pixel access, so it cannot be
// drawn on, filtered, inverted, combined or streamed.

IImg *CImg1G4::getUnformatted() { return this; }

bool CImg1G4::hasData() const { return tileRows != nullptr; }

bool CImg1G4::forceDataInit() { return hasData(); }

IImg *CImg1G4::applyFilter() { return this; }

IImg *CImg1G4::invert() { return this; }

IImg *CImg1G4::doRasOp(Core2DImage::RasOpEnum::RasOp, bool, unsigned, unsigned) { return this; }

IImg *CImg1G4::doRasOp(Core2DImage::RasOpEnum::RasOp, RasOpXfmAttr &, const IImg &) { return this; }

void CImg1G4::doRasOpInPlace(Core2DImage::RasOpEnum::RasOp, bool, unsigned, unsigned) {}

void CImg1G4::doRasOpInPlace(Core2DImage::RasOpEnum::RasOp, RasOpXfmAttr &, const IImg &) {}

void CImg1G4::drawArc() {}

void CImg1G4::drawCircle(int, int, int, const ColorValue *, const ColorValue *) {}

void CImg1G4::drawElipse() {}

void CImg1G4::drawLines(int_pt_t *, int_pt_t *, bool) {}

void CImg1G4::drawPixel(unsigned, unsigned, unsigned) {}

void CImg1G4::drawPolyLine() {}

void CImg1G4::drawPolygon() {}

void CImg1G4::DrawFilledRectangle(int, int, int, int, ColorValue &, ColorValue &) {}

void CImg1G4::drawSpline() {}

bool CImg1G4::stream(void * /*sink*/) { return false; }

IImg *CImg1G4::sxfm() { return this; }

ImgErr CImg1G4::initData() { return IMG_FAIL; }

unsigned char *CImg1G4::ownData() { return nullptr; }

void CImg1G4::SendIncompleteStatus(int /*status*/) {}

