// CImg32: creation, pixel ownership, reference images and pixel access. Scaling,
// transforms, raster operations, drawing and tiles add their own files.
#include "Image/raster/CImg32.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "Image/core/internal/FreeDeleter.h"
#include "Image/core/internal/ImgReport.h"
#include "Image/core/internal/ImgSize.h"
#include "Image/core/internal/RasterBuffer.h"
#include "Image/raster/Export.h"
#include "Image/raster/internal/RowTable.h"

using c2d::CeilDiv;
using c2d::Report;
using c2d::ReportR;

namespace {}  // namespace

CImg32::CImg32() : dataArray(nullptr), rgbOrder(RGB_ORDER_BGR), isRefImage(false) {
  type = IMG_TYPE_32BIT;
  bitsPerSample = 8;
  samplesPerPixel = 4;
}

CImg32::~CImg32() {
  c2d::FreeRowTable(dataArray, !isRefImage);
  dataArray = nullptr;
  bytesPerLine = 0;
  totalBytes = 0;
  tileWidth = 0;
  tileHeight = 0;
  backgroundColor = 0;
  backgroundState = IMG_BG_UNKNOWN;
  numberOfTiles = 0;
}

// ---------------------------------------------------------------------------
// Factories

CImg32 *CImg32::create() {
  try {
    return new CImg32();
  } catch (const std::bad_alloc &) {
    Report(IMG_OUT_OF_MEMORY);
    return nullptr;
  }
}

CImg32 *CImg32::create(unsigned w, unsigned h, RGBOrder order) {
  CImg32 *image = create();
  if (image == nullptr) {
    return nullptr;
  }
  if (!image->initHeader(w, h, w, h, order)) {
    Report(IMG_FAIL);
    delete image;
    return nullptr;
  }
  return image;
}

CImg32 *CImg32::_create(unsigned w, unsigned h, RGBOrder order) {
  CImg32 *image = create(w, h, order);
  if (image == nullptr) {
    return nullptr;
  }
  if (image->initData() != IMG_OK) {
    Report(IMG_FAIL);
    delete image;
    return nullptr;
  }
  return image;
}

CImg32 *CImg32::create(unsigned w, unsigned h, unsigned *&data, unsigned len, bool takeData,
                       RGBOrder order) {
  CImg32 *image = create(w, h, order);
  if (image == nullptr) {
    return nullptr;
  }
  if (image->initData(data, len, takeData) != IMG_OK) {
    delete image;
    return nullptr;
  }
  return image;
}

CImg32 *CImg32::create(unsigned w, unsigned h, unsigned *data, unsigned len, RGBOrder order) {
  unsigned *borrowed = data;
  return create(w, h, borrowed, len, false, order);
}

CImg32 *CImg32::create(const IImg &src, RGBOrder order) {
  CImg32 *image = create(src.getWidth(), src.getHeight(), order);
  if (image == nullptr) {
    return nullptr;
  }
  if (src.hasData()) {
    if (image->initData() != IMG_OK) {
      delete image;  // initData has reported
      return nullptr;
    }
    if (!Export::xfm(image, &src, 0)) {
      delete image;
      Report(IMG_FAIL);
      return nullptr;
    }
  } else if (const_cast<IImg &>(src).getBackgroundState() == IMG_BG_KNOWN) {
    // The colour is taken as it is, in the source's own pixel format; the result
    // stays without pixels until something needs them.
    image->setBackgroundColor(src.getBackgroundColor());
  }
  return image;
}

CImg32 *CImg32::createFrom24(unsigned w, unsigned h, unsigned char *data, unsigned len,
                             ImgAlignmentEnum align, RGBOrder srcOrder, RGBOrder dstOrder) {
  // dstOrder labels the image; the bytes keep the order they come in.
  CImg32 *image = create(w, h, dstOrder);
  if (image == nullptr) {
    return nullptr;
  }
  if (image->initDataFrom24(data, len, align, srcOrder) != IMG_OK) {
    delete image;  // initDataFrom24 has reported
    return nullptr;
  }
  return image;
}

// ---------------------------------------------------------------------------
// Reference images

CImg32 *CImg32::createRefImg(const CImg32 &parent, const Core2DImage::IntRect &r) {
  // A parent that setExtents shrank still holds every row and pixel a view of its
  // rectangle reaches, even at the shorter stride of its new width; a grown one not.
  const bool insideBuffer = parent.getWidth() <= parent.AllocatedPixelsPerRow() &&
                            parent.getHeight() <= parent.AllocatedRows();
  if (!c2d::MayView(parent.hasData() && insideBuffer, parent.rect, r)) {
    return nullptr;
  }
  std::unique_ptr<CImg32> view(create());  // create reports IMG_OUT_OF_MEMORY itself
  if (view == nullptr) {
    return nullptr;
  }
  const unsigned w = static_cast<unsigned>(r.width());
  const unsigned h = static_cast<unsigned>(r.height());
  // The parent's width is its true stride only when the parent owns its buffer.
  if (view->initHeader(w, h, w, h, parent.rgbOrder)) {
    view->dataArray = c2d::MakeViewRows(parent.dataArray, parent.getWidth(), r);
  }
  if (view->dataArray == nullptr) {
    Report(IMG_OUT_OF_MEMORY);
    return nullptr;
  }
  view->backgroundColor = parent.backgroundColor;
  view->backgroundState = parent.backgroundState;
  view->isRefImage = true;
  return view.release();
}

CImg32 *CImg32::createRefImg(const CImg32 &parent, const ImgRect &r) {
  return createRefImg(parent, Core2DImage::IntRect(r));
}

const CImg32 *CImg32::createCRefImg(const CImg32 &parent, const ImgRect &r) {
  return createRefImg(parent, Core2DImage::IntRect(r));
}

const CImg32 *CImg32::createCRefImg(const CImg32 &parent, const Core2DImage::IntRect &r) {
  return createRefImg(parent, r);
}

const IImg *CImg32::getSubRef(const Core2DImage::IntRect &r) const {
  return createRefImg(*this, r);
}

IImg *CImg32::getSubRef(const Core2DImage::IntRect &r) { return createRefImg(*this, r); }

const IImg *CImg32::getSubRef(const ImgRect &r) const {
  return createRefImg(*this, Core2DImage::IntRect(r));
}

IImg *CImg32::getSubRef(const ImgRect &r) { return createRefImg(*this, Core2DImage::IntRect(r)); }

bool CImg32::matches(const IImg &image, RGBOrder order) {
  // Rendered documents also call themselves 32-bit; only a real CImg32 matches.
  const CImg32 *raster = dynamic_cast<const CImg32 *>(&image);
  return raster != nullptr && raster->rgbOrder == order;
}

// ---------------------------------------------------------------------------
// Header

bool CImg32::initHeader(unsigned w, unsigned h, unsigned tileW, unsigned tileH, RGBOrder order) {
  if (w == 0 || h == 0 || tileW == 0 || tileH == 0 || tileW > w || tileH > h ||
      static_cast<uint32_t>(order) >= 2) {
    Report(IMG_INVALID_ARG);
    return false;
  }
  rgbOrder = order;
  rect.setRect(0u, 0u, w - 1, h - 1);
  tileWidth = tileW;
  tileHeight = tileH;
  backgroundState = IMG_BG_UNKNOWN;
  numberOfTiles =
      static_cast<uint32_t>(static_cast<uint64_t>(CeilDiv(w, tileW)) * CeilDiv(h, tileH));
  bytesPerLine = w * 4u;
  totalBytes = bytesPerLine * h;
  // The overflow test also catches a row of more than 4 GiB, which the 32-bit
  // header would wrap into a plausible small stride.
  uint32_t size = 0;
  return c2d::CheckedSize32(w, 4, h, &size);
}

bool CImg32::isHeaderValid() const {
  const unsigned w = getWidth();
  const unsigned h = getHeight();
  if (w == 0 || h == 0 || tileWidth == 0 || tileHeight == 0 || tileWidth > w || tileHeight > h ||
      static_cast<uint32_t>(rgbOrder) > 1) {
    return false;
  }
  uint32_t size = 0;
  if (!c2d::CheckedSize32(w, 4, h, &size)) {
    return false;
  }
  return bytesPerLine == w * 4u && totalBytes == size &&
         numberOfTiles == static_cast<uint32_t>(static_cast<uint64_t>(CeilDiv(h, tileHeight)) *
                                                CeilDiv(w, tileWidth));
}

bool CImg32::verifyHeader(unsigned len) const { return isHeaderValid() && totalBytes <= len; }

bool CImg32::setExtents(unsigned w, unsigned h) {
  if (w == 0 || h == 0) {
    return false;
  }
  rect.setRect(0u, 0u, w - 1, h - 1);
  return true;
}

// ---------------------------------------------------------------------------
// Pixel memory

bool CImg32::InstallRows(unsigned *pixels) {
  unsigned **rows = c2d::MakeRowTable(pixels, getHeight(), getWidth());
  if (rows == nullptr) {
    return false;
  }
  dataArray = rows;
  // The image owns whatever buffer it installs, even one that was a view before.
  isRefImage = false;
  return true;
}

unsigned CImg32::AllocatedRows() const { return bytesPerLine == 0 ? 0 : totalBytes / bytesPerLine; }

unsigned CImg32::AllocatedPixelsPerRow() const { return bytesPerLine / 4u; }

ImgErr CImg32::initData() {
  const ImgErr made = c2d::AllocatePixels(isHeaderValid(), dataArray, totalBytes,
                                          [this](unsigned *pixels) { return InstallRows(pixels); });
  if (made == IMG_OK && backgroundState == IMG_BG_KNOWN) {
    (void)rasOpSet(backgroundColor);
  }
  return made;
}

ImgErr CImg32::initData(unsigned *&data, unsigned len, bool takeData) {
  if (!isHeaderValid() || totalBytes > len || dataArray != nullptr) {
    return ReportR(IMG_FAIL);
  }
  if (data == nullptr) {
    return ReportR(IMG_INVALID_ARG);
  }
  // A longer buffer is accepted; a copy takes only the image's own bytes from it.
  return c2d::InstallPixels(c2d::TakeOrCopy(data, totalBytes, takeData),
                            [this](unsigned *pixels) { return InstallRows(pixels); });
}

ImgErr CImg32::initDataFrom24(unsigned char *data, unsigned len, ImgAlignmentEnum align,
                              RGBOrder srcOrder) {
  // Three bytes a pixel, so the buffer must hold three quarters of totalBytes. The
  // factor is compared, not truncated into 32 bits, which it can exceed.
  if (!isHeaderValid() || dataArray != nullptr ||
      static_cast<double>(totalBytes) > std::floor(len * 1.3333333333333333)) {
    return ReportR(IMG_FAIL);
  }
  if (data == nullptr) {
    return ReportR(IMG_INVALID_ARG);
  }
  c2d::MallocArray<unsigned> pixels(static_cast<unsigned *>(c2d::AllocRaster(totalBytes)));
  if (pixels == nullptr) {
    return ReportR(IMG_OUT_OF_MEMORY);
  }
  // The length test leaves out the pad bytes of 32-bit aligned rows, so len can fall
  // short of what the rows take. Such a source is copied into a zeroed buffer of the
  // full size first: the bytes past len read as 0 rather than past the caller's end.
  const unsigned w = getWidth();
  const unsigned h = getHeight();
  const uint64_t rowBytes =
      3ull * w + (align == IMG_ALIGN_32 ? (4u - (3u * (w % 4u)) % 4u) % 4u : 0u);
  const uint64_t needed = rowBytes * (h - 1u) + 3ull * w;  // the last row's pad is not read
  c2d::MallocArray<unsigned char> widened;
  unsigned char *source = data;
  if (needed > len) {
    widened.reset(static_cast<unsigned char *>(std::calloc(static_cast<size_t>(needed), 1)));
    if (widened == nullptr) {
      return ReportR(IMG_OUT_OF_MEMORY);
    }
    std::memcpy(widened.get(), data, len);
    source = widened.get();
  }
  (void)Export::copy24To32(pixels.get(), source, w, h, align, srcOrder, rgbOrder);
  if (!InstallRows(pixels.get())) {
    return ReportR(IMG_OUT_OF_MEMORY);
  }
  pixels.release();  // the row table owns it now
  return IMG_OK;
}

ImgErr CImg32::rasOpSet(unsigned colour) {
  if (dataArray == nullptr) {
    setBackgroundColor(colour);
    return IMG_OK;
  }
  // Bounded by the allocation, not the extents, which setExtents may have changed.
  const unsigned rows = std::min(getHeight(), AllocatedRows());
  const unsigned pixels = std::min(getWidth(), AllocatedPixelsPerRow());
  if (rows == 0 || pixels == 0) {
    return IMG_OK;
  }
  std::fill(dataArray[0], dataArray[0] + pixels, colour);
  for (unsigned y = 1; y < rows; ++y) {
    std::memcpy(dataArray[y], dataArray[0], sizeof(unsigned) * pixels);
  }
  return IMG_OK;
}

bool CImg32::hasData() const { return dataArray != nullptr; }

bool CImg32::forceDataInit() { return hasData() || initData() == IMG_OK; }

unsigned *CImg32::peekData() { return forceDataInit() ? dataArray[0] : nullptr; }

unsigned **CImg32::peekDataArray() { return forceDataInit() ? dataArray : nullptr; }

const unsigned *const *CImg32::constDataArray() const { return dataArray; }

unsigned *CImg32::ownData() {
  if (!forceDataInit()) {
    return nullptr;
  }
  // Whatever the image allocates next is its own.
  isRefImage = false;
  return c2d::DetachPixels(dataArray);
}

ImgErr CImg32::dupData(unsigned *src, unsigned len) {
  if (!hasData()) {
    return ReportR(IMG_FAIL);
  }
  if (src == nullptr) {
    return ReportR(IMG_INVALID_ARG);
  }
  if (isHeaderValid() && totalBytes <= len) {
    // Copies the image's size, never more: a longer source does not overrun.
    std::memcpy(dataArray[0], src, totalBytes);
    return IMG_OK;
  }
  return ReportR(IMG_FAIL);
}

ImgErr CImg32::transferData(unsigned **src, unsigned len) {
  if (src == nullptr) {
    return ReportR(IMG_INVALID_ARG);
  }
  if (!isHeaderValid() || totalBytes > len) {
    return ReportR(IMG_FAIL);
  }
  return c2d::ExchangeRowTable(dataArray, !isRefImage, src,
                               [&] { return initData(*src, len, true); });
}

RGBOrder CImg32::getRGBOrder() { return rgbOrder; }

unsigned CImg32::getBackgroundColor() const { return backgroundColor; }

void CImg32::setBackgroundColor(unsigned colour) {
  backgroundColor = colour;
  backgroundState = IMG_BG_KNOWN;
}

// ---------------------------------------------------------------------------
// Copies

namespace {

// Where a copy of n pixels (or rows) starts along one axis of an overlap: at its
// first edge as given, as the legacy loop reads, while that stays inside the
// `limit` the buffer holds; otherwise, for swapped edges, at the smaller edge.
unsigned ReadOrigin(unsigned first, unsigned second, unsigned n, unsigned limit) {
  if (static_cast<uint64_t>(first) + n <= limit) {
    return first;
  }
  return std::min(first, second);
}

}  // namespace

IImg *CImg32::getSubImage(const ImgRect &r) {
  if (!hasData()) {
    Report(IMG_FAIL);
    return nullptr;
  }
  ImgRect overlap;
  if (!rect.intersects(r, overlap)) {
    Report(IMG_INVALID_ARG);
    return nullptr;
  }
  const unsigned w = overlap.getWidth();
  const unsigned h = overlap.getHeight();
  const unsigned perRow = AllocatedPixelsPerRow();
  const unsigned rows = AllocatedRows();
  const unsigned x0 = ReadOrigin(overlap.left, overlap.right, w, perRow);
  const unsigned y0 = ReadOrigin(overlap.top, overlap.bottom, h, rows);
  // After setExtents grew the image the overlap can leave the buffer: refused.
  if (static_cast<uint64_t>(x0) + w > perRow || static_cast<uint64_t>(y0) + h > rows) {
    Report(IMG_FAIL);
    return nullptr;
  }
  CImg32 *sub = create(w, h, rgbOrder);
  if (sub == nullptr) {
    return nullptr;
  }
  sub->backgroundColor = backgroundColor;
  sub->backgroundState = backgroundState;
  if (!sub->forceDataInit()) {
    delete sub;
    return nullptr;
  }
  for (unsigned i = 0; i < h; ++i) {
    // SAFETY: rows y0..y0+h-1 and pixels x0..x0+w-1 lie inside the buffer (above).
    std::memcpy(sub->dataArray[i], dataArray[y0 + i] + x0, sub->bytesPerLine);
  }
  return sub;
}

IImg *CImg32::clone() const {
  // Always RGB: a BGR image comes back with red and blue exchanged.
  return create(*this, RGB_ORDER_RGB);
}

// ---------------------------------------------------------------------------
// Slots answered trivially: a 32-bit image has no filter, inversion, stream or
// structured transform, and writes no file.

IImg *CImg32::getUnformatted() { return this; }

IImg *CImg32::applyFilter() { return this; }

IImg *CImg32::invert() { return this; }

bool CImg32::stream(void * /*sink*/) { return false; }

IImg *CImg32::sxfm() { return this; }

bool CImg32::writeTIFF() const { return false; }

bool CImg32::writePPM(const char *path) const {
  if (path != nullptr && !hasData()) {
    Report(IMG_FAIL);
  }
  return false;
}

bool CImg32::readPPM(const char * /*path*/) { return false; }
