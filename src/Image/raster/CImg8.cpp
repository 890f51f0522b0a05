// CImg8: creation, the palette, pixel ownership, reference images and sub-images.
// Scaling, transforms, raster operations, drawing and tiles add their own files.
#include "Image/raster/CImg8.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "Image/core/internal/ImgReport.h"
#include "Image/core/internal/ImgSize.h"
#include "Image/raster/Export.h"
#include "Image/raster/internal/RowTable.h"
#include "util2d/ColorMap.h"

using c2d::CeilDiv;
using c2d::Report;
using c2d::ReportR;

namespace {

bool IsAlignment(ImgAlignmentEnum align) {
  return align == IMG_ALIGN_NONE || align == IMG_ALIGN_8 || align == IMG_ALIGN_32;
}

// Rows of 32-bit alignment end on a multiple of 4 bytes; the others are not padded.
uint32_t PadFor(unsigned w, ImgAlignmentEnum align) {
  return (align == IMG_ALIGN_32 && w % 4 != 0) ? 4 - w % 4 : 0;
}

// Null when the copy cannot be allocated.
ColorMap *CopyColorMap(const ColorMap &map) {
  try {
    return new ColorMap(map);
  } catch (const std::bad_alloc &) {
    return nullptr;
  }
}

}  // namespace

CImg8::CImg8()
    : dataArray(nullptr),
      padBytes(0),
      alignment(IMG_ALIGN_NONE),
      colorMap(nullptr),
      isRefImage(false) {
  type = IMG_TYPE_8BIT;
  bitsPerSample = 8;
  samplesPerPixel = 1;
}

CImg8::~CImg8() {
  c2d::FreeRowTable(dataArray, !isRefImage);
  dataArray = nullptr;
  bytesPerLine = 0;
  totalBytes = 0;
  tileWidth = 0;
  tileHeight = 0;
  backgroundColor = 0;
  backgroundState = IMG_BG_UNKNOWN;
  numberOfTiles = 0;
  // A view's palette is its parent's, which the parent deletes.
  if (!isRefImage) {
    delete colorMap;
  }
  colorMap = nullptr;
}

// ---------------------------------------------------------------------------
// Factories

CImg8 *CImg8::create() {
  try {
    return new CImg8();
  } catch (const std::bad_alloc &) {
    Report(IMG_OUT_OF_MEMORY);
    return nullptr;
  }
}

CImg8 *CImg8::create(unsigned w, unsigned h, ColorMap *map, ImgAlignmentEnum align) {
  CImg8 *image = create();
  if (image == nullptr) {
    return nullptr;
  }
  if (!image->initHeader(w, h, w, h, align) || !image->initColorMap(map)) {
    Report(IMG_FAIL);
    delete image;
    return nullptr;
  }
  return image;
}

CImg8 *CImg8::_create(unsigned w, unsigned h, ColorMap *map, ImgAlignmentEnum align) {
  CImg8 *image = create();
  if (image == nullptr) {
    return nullptr;
  }
  if (!image->initHeader(w, h, w, h, align) || image->initData() != IMG_OK ||
      !image->initColorMap(map)) {
    Report(IMG_FAIL);
    delete image;
    return nullptr;
  }
  return image;
}

CImg8 *CImg8::create(unsigned w, unsigned h, unsigned char *&data, unsigned len, bool takeData,
                     ColorMap *map, ImgAlignmentEnum align) {
  CImg8 *image = create();
  if (image == nullptr) {
    return nullptr;
  }
  if (!image->initHeader(w, h, w, h, align)) {
    Report(IMG_FAIL);
    delete image;
    return nullptr;
  }
  // Both have reported. A buffer adopted before the palette failed goes with the
  // image: the caller's pointer is already cleared.
  if (image->initData(data, len, takeData) != IMG_OK || !image->initColorMap(map)) {
    delete image;
    return nullptr;
  }
  return image;
}

CImg8 *CImg8::create(unsigned w, unsigned h, unsigned char *data, unsigned len, ColorMap *map,
                     ImgAlignmentEnum align) {
  unsigned char *borrowed = data;
  return create(w, h, borrowed, len, false, map, align);
}

CImg8 *CImg8::create(const IImg &src, ColorMap *map, ImgAlignmentEnum align) {
  CImg8 *image = create(src.getWidth(), src.getHeight(), map, align);
  if (image == nullptr) {
    return nullptr;
  }
  // Unlike CImg32, a known background of a source without pixels is not carried.
  if (!src.hasData()) {
    return image;
  }
  if (image->initData() != IMG_OK || !image->initColorMap(map)) {
    delete image;  // both have reported
    return nullptr;
  }
  // Only a CImg1 converts; every other source, a CImg8 among them, is refused.
  if (!Export::xfm(image, &src, 0)) {
    delete image;
    Report(IMG_FAIL);
    return nullptr;
  }
  return image;
}

// ---------------------------------------------------------------------------
// Reference images

CImg8 *CImg8::createRefImg(const CImg8 &parent, const Core2DImage::IntRect &r) {
  if (!c2d::MayView(parent.hasData() && parent.isHeaderValid(), parent.rect, r)) {
    return nullptr;
  }
  std::unique_ptr<CImg8> view(create());  // create reports IMG_OUT_OF_MEMORY itself
  if (view == nullptr) {
    return nullptr;
  }
  const unsigned w = static_cast<unsigned>(r.width());
  const unsigned h = static_cast<unsigned>(r.height());
  // The parent's width is its stride too: its rows are packed by it.
  if (view->initHeader(w, h, w, h, parent.alignment)) {
    view->dataArray = c2d::MakeViewRows(parent.dataArray, parent.getWidth(), r);
  }
  if (view->dataArray == nullptr) {
    Report(IMG_OUT_OF_MEMORY);
    return nullptr;
  }
  view->backgroundColor = parent.backgroundColor;
  view->backgroundState = parent.backgroundState;
  // Set last, so that no failure above deletes the parent's palette with the view.
  view->colorMap = parent.colorMap;
  view->isRefImage = true;
  return view.release();
}

const CImg8 *CImg8::createCRefImg(const CImg8 &parent, const Core2DImage::IntRect &r) {
  return createRefImg(parent, r);
}

const IImg *CImg8::getSubRef(const Core2DImage::IntRect &r) const { return createRefImg(*this, r); }

IImg *CImg8::getSubRef(const Core2DImage::IntRect &r) { return createRefImg(*this, r); }

// ---------------------------------------------------------------------------
// Header and palette

bool CImg8::initHeader(unsigned w, unsigned h, unsigned tileW, unsigned tileH,
                       ImgAlignmentEnum align) {
  if (w == 0 || h == 0 || tileW == 0 || tileH == 0 || tileW > w || tileH > h ||
      !IsAlignment(align)) {
    Report(IMG_INVALID_ARG);
    return false;
  }
  alignment = align;
  rect.setRect(0u, 0u, w - 1, h - 1);
  tileWidth = tileW;
  tileHeight = tileH;
  numberOfTiles =
      static_cast<uint32_t>(static_cast<uint64_t>(CeilDiv(w, tileW)) * CeilDiv(h, tileH));
  backgroundState = IMG_BG_UNKNOWN;
  padBytes = PadFor(w, align);
  bytesPerLine = w + padBytes;
  totalBytes = bytesPerLine * h;
  // The overflow test also catches a padded row that wraps past 32 bits, which the
  // header would hold as a plausible small stride.
  uint32_t size = 0;
  return c2d::CheckedSize32(static_cast<uint64_t>(w) + padBytes, 1, h, &size);
}

bool CImg8::isHeaderValid() const {
  const unsigned w = getWidth();
  const unsigned h = getHeight();
  if (w == 0 || h == 0 || tileWidth == 0 || tileHeight == 0 || tileWidth > w || tileHeight > h ||
      !IsAlignment(alignment)) {
    return false;
  }
  const uint32_t pad = PadFor(w, alignment);
  uint32_t size = 0;
  if (!c2d::CheckedSize32(static_cast<uint64_t>(w) + pad, 1, h, &size)) {
    return false;
  }
  return padBytes == pad && bytesPerLine == w + pad && totalBytes == size &&
         numberOfTiles == static_cast<uint32_t>(static_cast<uint64_t>(CeilDiv(h, tileHeight)) *
                                                CeilDiv(w, tileWidth));
}

bool CImg8::verifyHeader(unsigned len) const { return isHeaderValid() && totalBytes == len; }

bool CImg8::setExtents(unsigned w, unsigned h) {
  if (w == 0 || h == 0) {
    return false;
  }
  rect.setRect(0u, 0u, w - 1, h - 1);
  return true;
}

bool CImg8::initColorMap(ColorMap *map) {
  if (colorMap != nullptr) {
    return true;
  }
  try {
    if (map != nullptr) {
      colorMap = new ColorMap(*map);
    } else {
      ColorMap *ramp = new ColorMap(256, 255);
      for (int i = 0; i < ramp->numEntries; ++i) {
        ramp->entries[i] = {i, i, i};
      }
      colorMap = ramp;
    }
  } catch (const std::bad_alloc &) {
    Report(IMG_OUT_OF_MEMORY);
    return false;
  }
  return true;
}

ColorMap *CImg8::getColorMap() const { return colorMap; }

unsigned CImg8::getPadBytes() const { return padBytes; }

ImgAlignmentEnum CImg8::getAlignment() { return alignment; }

void CImg8::setAlignment(ImgAlignmentEnum align) { alignment = align; }

// ---------------------------------------------------------------------------
// Pixel memory

bool CImg8::InstallRows(unsigned char *pixels) {
  // Rows are packed by the width, so a 32-bit alignment leaves all the padding at
  // the end of the buffer.
  unsigned char **rows = c2d::MakeRowTable(pixels, getHeight(), getWidth());
  if (rows == nullptr) {
    return false;
  }
  // A view that gets pixels of its own stops borrowing its parent's palette as well,
  // so that isRefImage keeps guarding both.
  if (isRefImage && colorMap != nullptr) {
    ColorMap *own = CopyColorMap(*colorMap);
    if (own == nullptr) {
      std::free(rows);
      return false;
    }
    colorMap = own;
  }
  dataArray = rows;
  isRefImage = false;
  return true;
}

size_t CImg8::ReachableBytes() const {
  if (dataArray == nullptr || bytesPerLine == 0) {
    return 0;
  }
  if (!isRefImage) {
    return totalBytes;
  }
  // A view knows only that its rows, which ascend through one buffer, lie inside
  // the parent's: from its first row to the end of its last. The header sizes are
  // those the table was built with, whatever setExtents did since.
  const unsigned rows = totalBytes / bytesPerLine;
  const unsigned rowBytes = bytesPerLine - padBytes;
  return static_cast<size_t>(dataArray[rows - 1] - dataArray[0]) + rowBytes;
}

ImgErr CImg8::initData() {
  const ImgErr made =
      c2d::AllocatePixels(isHeaderValid(), dataArray, totalBytes,
                          [this](unsigned char *pixels) { return InstallRows(pixels); });
  if (made == IMG_OK && backgroundState == IMG_BG_KNOWN) {
    (void)rasOpSet(backgroundColor);
  }
  return made;
}

ImgErr CImg8::initData(unsigned char *&data, unsigned len, bool takeData) {
  // The length must match exactly: a longer buffer is as wrong as a shorter one.
  if (!isHeaderValid() || totalBytes != len || dataArray != nullptr) {
    return ReportR(IMG_FAIL);
  }
  if (data == nullptr) {
    return ReportR(IMG_INVALID_ARG);
  }
  return c2d::InstallPixels(c2d::TakeOrCopy(data, totalBytes, takeData),
                            [this](unsigned char *pixels) { return InstallRows(pixels); });
}

ImgErr CImg8::rasOpSet(unsigned colour) {
  if (dataArray == nullptr) {
    setBackgroundColor(colour);
    return IMG_OK;
  }
  // The whole block, row padding included, from the first row on. A view's block
  // stops at the end of its last row instead of running past its parent's buffer.
  std::memset(dataArray[0], static_cast<int>(colour & 0xFFu), ReachableBytes());
  return IMG_OK;
}

bool CImg8::hasData() const { return dataArray != nullptr; }

bool CImg8::forceDataInit() { return hasData() || initData() == IMG_OK; }

unsigned char *CImg8::peekData() { return forceDataInit() ? dataArray[0] : nullptr; }

unsigned char **CImg8::peekDataArray() { return forceDataInit() ? dataArray : nullptr; }

const unsigned char *const *CImg8::constDataArray() const { return dataArray; }

unsigned char *CImg8::ownData() {
  if (!forceDataInit()) {
    return nullptr;
  }
  // Unlike CImg32, a view stays marked as one, and so keeps borrowing the palette,
  // until it installs pixels of its own.
  return c2d::DetachPixels(dataArray);
}

ImgErr CImg8::dupData(unsigned char *src, unsigned len) {
  if (!hasData()) {
    return ReportR(IMG_FAIL);
  }
  if (src == nullptr) {
    return ReportR(IMG_INVALID_ARG);
  }
  if (isHeaderValid() && totalBytes == len) {
    // A view is written as one block from its first row, as far as its last row
    // reaches and no further.
    std::memcpy(dataArray[0], src, std::min<size_t>(len, ReachableBytes()));
    return IMG_OK;
  }
  return ReportR(IMG_FAIL);
}

ImgErr CImg8::transferData(unsigned char **src, unsigned len) {
  if (src == nullptr) {
    return ReportR(IMG_INVALID_ARG);
  }
  if (!isHeaderValid() || totalBytes != len) {
    return ReportR(IMG_FAIL);
  }
  return c2d::ExchangeRowTable(dataArray, !isRefImage, src,
                               [&] { return initData(*src, len, true); });
}

unsigned CImg8::getBackgroundColor() const { return backgroundColor; }

void CImg8::setBackgroundColor(unsigned colour) {
  backgroundColor = colour;
  backgroundState = IMG_BG_KNOWN;
}

// ---------------------------------------------------------------------------
// Copies

IImg *CImg8::getSubImage(const ImgRect &r) {
  if (!hasData() || !isHeaderValid()) {
    Report(IMG_FAIL);
    return nullptr;
  }
  // Only the size is tested: the rectangle is read from its left and top edges
  // wherever they lie.
  const unsigned w = r.getWidth();
  const unsigned h = r.getHeight();
  if (w == 0 || w > getWidth() || h == 0 || h > getHeight()) {
    Report(IMG_INVALID_ARG);
    return nullptr;
  }
  CImg8 *sub = create(w, h, colorMap, alignment);
  if (sub == nullptr) {
    return nullptr;
  }
  sub->backgroundColor = backgroundColor;
  sub->backgroundState = backgroundState;
  if (!sub->forceDataInit()) {
    delete sub;
    return nullptr;
  }
  // Each row copy is bytesPerLine long, so it carries the first padBytes bytes of
  // the next source row along; the next copy overwrites them. Whatever lies past the
  // rows of the table or the end of the buffer reads as 0.
  const unsigned rows = getHeight();
  const size_t reach = ReachableBytes();
  const size_t length = sub->bytesPerLine;
  for (unsigned i = 0; i < h; ++i) {
    unsigned char *dst = sub->dataArray[i];
    const uint64_t y = static_cast<uint64_t>(r.top) + i;
    size_t copied = 0;
    if (y < rows) {
      const uint64_t start = static_cast<uint64_t>(dataArray[y] - dataArray[0]) + r.left;
      if (start < reach) {
        copied = static_cast<size_t>(std::min<uint64_t>(length, reach - start));
        // SAFETY: start + copied <= reach, inside the buffer.
        std::memcpy(dst, dataArray[y] + r.left, copied);
      }
    }
    // SAFETY: sub's rows are packed by w, so row i plus its padding ends within
    // h * w + padBytes <= totalBytes of sub's buffer.
    std::memset(dst + copied, 0, length - copied);
  }
  return sub;
}

IImg *CImg8::clone() const {
  // Fails on an image with pixels, since 8 bits do not convert to 8 bits; without
  // them the copy has the grey ramp and no alignment, whatever this image has.
  return create(*this, nullptr, IMG_ALIGN_NONE);
}

// ---------------------------------------------------------------------------
// Slots answered trivially: a palette image has no filter, inversion, stream or
// structured transform, and writes no file.

IImg *CImg8::getUnformatted() { return this; }

IImg *CImg8::applyFilter() { return this; }

IImg *CImg8::invert() { return this; }

bool CImg8::stream(void * /*sink*/) { return false; }

IImg *CImg8::sxfm() { return this; }

bool CImg8::writeTIFF() const { return false; }

bool CImg8::writePPM(const char *path) const {
  if (path != nullptr && !hasData()) {
    Report(IMG_FAIL);
  }
  return false;
}

bool CImg8::readPPM(const char * /*path*/) { return false; }
