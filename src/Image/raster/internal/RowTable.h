// Internal: the row table through which CImg32 and CImg8 reach their pixels, one
// pointer per row into a single malloc'd buffer that the image owns unless it is a
// view of its parent's. The classes share the table's life cycle here and keep
// their own rules (length tests, padding, palette) in their own code.
#ifndef IMAGE_RASTER_INTERNAL_ROWTABLE_H_
#define IMAGE_RASTER_INTERNAL_ROWTABLE_H_

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "Image/ImgErr.h"
#include "Image/core/ImgRect.h"
#include "Image/core/internal/ImgReport.h"
#include "Image/core/IntRect.h"

namespace c2d {

// A table of `count` rows starting at `first`, `step` pixels apart; null when it
// cannot be allocated. Freed by FreeRowTable.
template <typename Pixel>
Pixel **MakeRowTable(Pixel *first, unsigned count, size_t step) {
  auto **rows = static_cast<Pixel **>(std::malloc(sizeof(Pixel *) * count));
  if (rows == nullptr) {
    return nullptr;
  }
  for (unsigned y = 0; y < count; ++y) {
    rows[y] = first + y * step;
  }
  return rows;
}

// The tests of createRefImg before it makes a view. IMG_FAIL, recorded, unless the
// parent is ready: it has pixels whose rows a view inside its extents cannot run off
// (after setExtents, the class decides). IMG_INVALID_ARG, recorded, unless r lies inside the
// parent's rectangle with left < right and top < bottom.
inline bool MayView(bool parentReady, const ImgRect &parentRect, const Core2DImage::IntRect &r) {
  if (!parentReady) {
    Report(IMG_FAIL);
    return false;
  }
  if (!Core2DImage::IntRect(parentRect).contains(r)) {
    Report(IMG_INVALID_ARG);
    return false;
  }
  return true;
}

// The table of a view of r, which MayView accepted: rows from r's corner, stepping by
// the parent's width. A view of a narrower view thus gets a shorter stride than its
// parent's rows have, but stays inside the buffer.
template <typename Pixel>
Pixel **MakeViewRows(Pixel *const *parentRows, size_t parentWidth, const Core2DImage::IntRect &r) {
  // SAFETY: r lies inside the parent, so every row start and the r.width() pixels
  // after it are inside the parent's buffer.
  return MakeRowTable(parentRows[r.top()] + r.left(), static_cast<unsigned>(r.height()),
                      parentWidth);
}

// Frees a table, if any, and with it the buffer its first row starts when the image
// owns that buffer.
template <typename Pixel>
void FreeRowTable(Pixel **rows, bool ownsPixels) {
  if (rows == nullptr) {
    return;
  }
  if (ownsPixels) {
    std::free(rows[0]);
  }
  std::free(rows);
}

// Hands `pixels` to install(pixels), the class's InstallRows. Null pixels (an
// allocation that failed) or a failed install give IMG_OUT_OF_MEMORY, recorded; the
// pixels are then freed, adopted ones too, since the caller's pointer is cleared.
template <typename Pixel, typename Install>
[[nodiscard]] ImgErr InstallPixels(Pixel *pixels, Install &&install) {
  if (pixels == nullptr || !install(pixels)) {
    std::free(pixels);
    return ReportR(IMG_OUT_OF_MEMORY);
  }
  return IMG_OK;
}

// The lazy initData() less the background fill: new pixels of `bytes` for an image
// whose header is valid and that has no table yet. IMG_FAIL for an invalid header,
// IMG_FALSE when the table exists, IMG_OUT_OF_MEMORY; each recorded.
template <typename Pixel, typename Install>
[[nodiscard]] ImgErr AllocatePixels(bool headerValid, Pixel *const *rows, uint32_t bytes,
                                    Install &&install) {
  if (!headerValid) {
    return ReportR(IMG_FAIL);
  }
  if (rows != nullptr) {
    return ReportR(IMG_FALSE);
  }
  return InstallPixels(static_cast<Pixel *>(std::malloc(bytes)), install);
}

// The pixels initData(data, len, takeData) installs: the caller's buffer itself, its
// pointer cleared, or a copy of its first `bytes`, so that a longer buffer is never
// overrun (null when the copy cannot be allocated).
template <typename Pixel>
Pixel *TakeOrCopy(Pixel *&data, uint32_t bytes, bool takeData) {
  Pixel *pixels = data;
  if (takeData) {
    data = nullptr;
    return pixels;
  }
  pixels = static_cast<Pixel *>(std::malloc(bytes));
  if (pixels != nullptr) {
    std::memcpy(pixels, data, bytes);
  }
  return pixels;
}

// ownData's hand-over: the buffer of the first row, the table freed and cleared.
template <typename Pixel>
Pixel *DetachPixels(Pixel **&rows) {
  Pixel *pixels = rows[0];
  std::free(rows);
  rows = nullptr;
  return pixels;
}

// transferData's exchange, after the class's own tests. The old table is taken away
// before adopt() (initData of the new buffer) runs, and freed whatever it answers,
// with its pixels only when ownsOld, since a view's are its parent's. So a failure
// leaves the image without data and returns the code recorded; on success *src is
// cleared.
template <typename Pixel, typename Adopt>
[[nodiscard]] ImgErr ExchangeRowTable(Pixel **&rows, bool ownsOld, Pixel **src, Adopt &&adopt) {
  Pixel **oldRows = rows;
  rows = nullptr;
  const ImgErr result = adopt();
  FreeRowTable(oldRows, ownsOld);
  if (result != IMG_OK) {
    return CImgErr::get();
  }
  *src = nullptr;
  return IMG_OK;
}

}  // namespace c2d

#endif  // IMAGE_RASTER_INTERNAL_ROWTABLE_H_
