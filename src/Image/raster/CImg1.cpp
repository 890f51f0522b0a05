// CImg1: creation, pixel ownership, cut-outs, inversion and the PBM dump. Scaling,
// transforms, raster operations, drawing and tiles add their own files.
#include "Image/raster/CImg1.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "Image/core/internal/ImgReport.h"
#include "Image/core/internal/ImgSize.h"
#include "Image/raster/Export.h"

using c2d::CeilDiv;
using c2d::Report;
using c2d::ReportR;

namespace {

// Marks a header field that no header has set yet.
constexpr uint32_t kUnset = 0xDEADBEEFu;

struct RowLayout {
  uint32_t padBits;
  uint32_t bytesPerLine;
};

// Rows end on a 32-bit boundary for IMG_ALIGN_32 and on a byte for anything else.
RowLayout LayoutFor(uint32_t width, ImgAlignmentEnum align) {
  const uint32_t unit = align == IMG_ALIGN_32 ? 32u : 8u;
  const uint32_t rest = width % unit;
  const uint32_t pad = rest == 0 ? 0u : unit - rest;
  // In 64 bits, so that a width near 2^32 does not wrap to a tiny row.
  return {pad, static_cast<uint32_t>((static_cast<uint64_t>(width) + pad) / 8u)};
}

// Copies `rows` rows of `outBytes` bytes into dst. Row y starts `shift` bits into
// source byte start + y * stride. Each output byte takes its high bits from one
// source byte and its low bits from the next, so a row reads one byte beyond its
// span when shift is not 0. Source bytes at or past `size` read as 0.
void CopyShiftedRows(const unsigned char *src, uint64_t size, uint64_t start, uint64_t stride,
                     unsigned shift, unsigned char *dst, uint32_t outBytes, uint32_t rows) {
  const uint64_t span = outBytes + (shift != 0 ? 1u : 0u);
  for (uint32_t y = 0; y < rows; ++y, dst += outBytes) {
    const uint64_t p = start + y * stride;
    if (p <= size && span <= size - p) {
      // SAFETY: the span p .. p + span - 1 lies inside the source, tested above.
      const unsigned char *row = src + p;
      if (shift == 0) {
        std::memcpy(dst, row, outBytes);
      } else {
        for (uint32_t i = 0; i < outBytes; ++i) {
          dst[i] = static_cast<unsigned char>((row[i] << shift) | (row[i + 1] >> (8 - shift)));
        }
      }
      continue;
    }
    // The row runs off the end of the buffer: what lies inside is kept.
    const auto at = [&](uint64_t i) -> unsigned { return i < size ? src[i] : 0u; };
    for (uint32_t i = 0; i < outBytes; ++i) {
      const unsigned hi = at(p + i) << shift;
      const unsigned lo = shift != 0 ? at(p + i + 1) >> (8 - shift) : 0u;
      dst[i] = static_cast<unsigned char>(hi | lo);
    }
  }
}

}  // namespace

CImg1::CImg1()
    : data(nullptr),
      ownsData(true),
      padBits(kUnset),
      alignment(IMG_ALIGN_NONE),
      foregroundInterpretation(kUnset),
      backgroundInterpretation(kUnset) {
  type = IMG_TYPE_1BIT;
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

CImg1::~CImg1() {
  if (data != nullptr && ownsData) {
    std::free(data);
  }
  data = nullptr;
  rect.setRect(0u, 0u);
  tileWidth = 0;
  tileHeight = 0;
  numberOfTiles = 0;
}

// ---------------------------------------------------------------------------
// Factories

CImg1 *CImg1::create() {
  // No report: the factories that call this decide what a failure means.
  try {
    return new CImg1();
  } catch (const std::bad_alloc &) {
    return nullptr;
  }
}

CImg1 *CImg1::create(void * /*source*/, unsigned /*w*/, unsigned /*h*/,
                     ImgAlignmentEnum /*align*/) {
  return nullptr;
}

CImg1 *CImg1::create(unsigned w, unsigned h, unsigned background, unsigned foreground,
                     ImgAlignmentEnum align) {
  CImg1 *image = create();
  if (image == nullptr) {
    Report(IMG_OUT_OF_MEMORY);
    return nullptr;
  }
  if (!image->initHeader(w, h, w, h, background, foreground, align)) {
    Report(IMG_FAIL);
    delete image;
    return nullptr;
  }
  if (image->initData() != IMG_OK) {
    delete image;  // initData has reported
    return nullptr;
  }
  return image;
}

CImg1 *CImg1::create(unsigned w, unsigned h, unsigned char *&buffer, unsigned len, bool takeData,
                     unsigned background, unsigned foreground, ImgAlignmentEnum align) {
  return create(w, h, buffer, len, takeData, true, background, foreground, align);
}

CImg1 *CImg1::create(unsigned w, unsigned h, unsigned char *&buffer, unsigned len, bool takeData,
                     bool ownsBuffer, unsigned background, unsigned foreground,
                     ImgAlignmentEnum align) {
  CImg1 *image = create();
  if (image == nullptr) {
    return nullptr;
  }
  if (!image->initHeader(w, h, w, h, background, foreground, align) ||
      !image->initData(buffer, len, takeData)) {
    delete image;
    return nullptr;
  }
  // Last, once nothing can fail: a failed factory must not leave a caller's
  // buffer to a destructor that would or would not free it.
  image->ownsData = ownsBuffer;
  return image;
}

CImg1 *CImg1::create(unsigned w, unsigned h, unsigned char *buffer, unsigned len,
                     unsigned background, unsigned foreground, ImgAlignmentEnum align) {
  unsigned char *borrowed = buffer;
  return create(w, h, borrowed, len, false, true, background, foreground, align);
}

CImg1 *CImg1::create(const IImg &src, unsigned background, unsigned foreground,
                     ImgAlignmentEnum align) {
  CImg1 *image = create(src.getWidth(), src.getHeight(), background, foreground, align);
  if (image == nullptr) {
    return nullptr;
  }
  // A refused conversion is not a failure here: the image stays clear.
  (void)Export::xfm(image, &src, 0);
  Report(IMG_OK);
  return image;
}

// ---------------------------------------------------------------------------
// Header

bool CImg1::initHeader(unsigned w, unsigned h, unsigned tileW, unsigned tileH, unsigned background,
                       unsigned foreground, ImgAlignmentEnum align) {
  if (w == 0 || h == 0 || tileW == 0 || tileH == 0) {
    return false;
  }
  rect.setRect(0u, 0u, w - 1, h - 1);
  tileWidth = tileW;
  tileHeight = tileH;
  numberOfTiles =
      static_cast<uint32_t>(static_cast<uint64_t>(CeilDiv(w, tileW)) * CeilDiv(h, tileH));
  backgroundInterpretation = background;
  foregroundInterpretation = foreground;
  alignment = align;
  const RowLayout layout = LayoutFor(w, align);
  padBits = layout.padBits;
  bytesPerLine = layout.bytesPerLine;
  bitsPerSample = 1;
  samplesPerPixel = 1;
  return true;
}

bool CImg1::HeaderMatches(uint32_t total, unsigned len) const {
  const uint32_t w = getWidth();
  const uint32_t h = getHeight();
  if (w == 0 || h == 0 || bitsPerSample != 1 || samplesPerPixel != 1) {
    return false;
  }
  const RowLayout layout = LayoutFor(w, alignment);
  uint32_t size = 0;
  return bytesPerLine == layout.bytesPerLine && padBits == layout.padBits &&
         c2d::CheckedSize32(h, bytesPerLine, 1, &size) && total == size && total == len;
}

// A longer buffer is refused as well as a shorter one.
bool CImg1::verifyHeader(unsigned len) const { return HeaderMatches(totalBytes, len); }

bool CImg1::setExtents(unsigned w, unsigned h) {
  if (w == 0 || h == 0) {
    return false;
  }
  rect.setRect(0u, 0u, w - 1, h - 1);
  return true;
}

// ---------------------------------------------------------------------------
// Pixel memory. Whenever `data` is set, totalBytes is its size: every access below
// is bounded by it.

void CImg1::ReplaceData(unsigned char *pixels, uint32_t bytes) {
  if (data != nullptr && data != pixels && ownsData) {
    std::free(data);
  }
  data = pixels;
  totalBytes = bytes;
  dataIsOwnCopy = false;
}

ImgErr CImg1::initData() {
  if (numberOfTiles == 0) {
    return ReportR(IMG_FAIL);
  }
  if (numberOfTiles > 1) {
    return IMG_OK;
  }
  // A buffer of 4 GiB or more cannot be described by the 32-bit header.
  uint32_t bytes = 0;
  if (!c2d::CheckedSize32(getHeight(), bytesPerLine, 1, &bytes)) {
    return ReportR(IMG_FAIL);
  }
  auto *pixels = static_cast<unsigned char *>(std::calloc(bytes, 1));
  if (pixels == nullptr) {
    return ReportR(IMG_OUT_OF_MEMORY);
  }
  ReplaceData(pixels, bytes);
  return IMG_OK;
}

bool CImg1::initData(unsigned char *&buffer, unsigned len, bool takeData) {
  if (numberOfTiles == 0 || buffer == nullptr) {
    return false;
  }
  if (numberOfTiles > 1) {
    return true;
  }
  uint32_t bytes = 0;
  if (!c2d::CheckedSize32(getHeight(), bytesPerLine, 1, &bytes) || !HeaderMatches(bytes, len)) {
    return false;
  }
  if (takeData) {
    ReplaceData(buffer, bytes);
    buffer = nullptr;
    return true;
  }
  auto *pixels = static_cast<unsigned char *>(std::calloc(bytes, 1));
  if (pixels == nullptr) {
    return false;
  }
  std::memcpy(pixels, buffer, bytes);
  ReplaceData(pixels, bytes);
  dataIsOwnCopy = true;
  return true;
}

bool CImg1::hasData() const { return data != nullptr; }

bool CImg1::forceDataInit() { return hasData(); }

unsigned char *CImg1::peekData() const { return data; }

unsigned char *CImg1::ownData() {
  unsigned char *pixels = data;
  data = nullptr;
  dataIsOwnCopy = false;
  return pixels;
}

ImgErr CImg1::dupData(unsigned char *src, unsigned len) {
  if (!verifyHeader(len)) {
    return ReportR(IMG_FAIL);
  }
  if (src == nullptr) {
    return ReportR(IMG_INVALID_ARG);
  }
  if (data == nullptr) {
    (void)initData();
  }
  if (data == nullptr) {
    return ReportR(IMG_FAIL);
  }
  // len equals totalBytes, the size of the buffer, by verifyHeader.
  std::memcpy(data, src, totalBytes);
  return ReportR(IMG_OK);
}

ImgErr CImg1::transferData(unsigned char **src, unsigned len) {
  if (src == nullptr) {
    return ReportR(IMG_INVALID_ARG);
  }
  if (!verifyHeader(len)) {
    return ReportR(IMG_FAIL);
  }
  // A buffer the image does not own is the caller's to free, so it stays, unless it
  // is the image's own copy of one, which nobody else would free once replaced. The
  // new buffer is treated alike, since ownsData keeps its value.
  if (dataIsOwnCopy && !ownsData) {
    std::free(data);
    data = nullptr;
  }
  ReplaceData(*src, totalBytes);
  *src = nullptr;
  return ReportR(IMG_OK);
}

// ---------------------------------------------------------------------------
// Fields

ImgAlignmentEnum CImg1::getAlignment() { return alignment; }

void CImg1::setAlignment(ImgAlignmentEnum align) { alignment = align; }

unsigned CImg1::getPadBits() const { return padBits; }

unsigned CImg1::getForegroundInterpretation() const { return foregroundInterpretation; }

void CImg1::setForegroundInterpretation(unsigned colour) { foregroundInterpretation = colour; }

unsigned CImg1::getBackgroundInterpretation() const { return backgroundInterpretation; }

void CImg1::setBackgroundInterpretation(unsigned colour) { backgroundInterpretation = colour; }

unsigned CImg1::getBackgroundColor() const { return backgroundColor; }

void CImg1::setBackgroundColor(unsigned colour) {
  backgroundColor = colour;
  backgroundState = IMG_BG_KNOWN;
}

// ---------------------------------------------------------------------------
// Copies and pixel operations

IImg *CImg1::getSubImage(const ImgRect &r) {
  const unsigned w = r.getWidth();
  const unsigned h = r.getHeight();
  // Only size and overlap are tested, not containment; the edges compare signed.
  const bool sized = w >= 1 && w <= getWidth() && h >= 1 && h <= getHeight();
  const bool overlaps =
      static_cast<int>(r.top) <= getBottom() && static_cast<int>(r.left) <= getRight() &&
      static_cast<int>(r.bottom) >= getTop() && static_cast<int>(r.right) >= getLeft();
  if (!sized || !overlaps) {
    Report(IMG_INVALID_ARG);
    return nullptr;
  }
  CImg1 *sub = create(w, h, backgroundInterpretation, foregroundInterpretation, alignment);
  if (sub == nullptr) {
    Report(IMG_FAIL);
    return nullptr;
  }
  sub->backgroundColor = backgroundColor;
  sub->backgroundState = IMG_BG_KNOWN;
  // Without pixels every read falls outside the buffer and gives 0.
  const uint64_t available = data != nullptr ? totalBytes : 0u;
  if (w == getWidth() && h == getHeight()) {
    // The whole image, wherever r lies. The two sizes differ only after setExtents
    // or setAlignment; then the shorter one is copied.
    const uint64_t bytes = std::min<uint64_t>(available, sub->totalBytes);
    if (bytes != 0) {
      std::memcpy(sub->data, data, static_cast<size_t>(bytes));
    }
  } else {
    const uint64_t firstBit = (static_cast<uint64_t>(getWidth()) + padBits) * r.top + r.left;
    CopyShiftedRows(data, available, firstBit / 8u, bytesPerLine,
                    static_cast<unsigned>(r.left % 8u), sub->data, sub->bytesPerLine, h);
  }
  Report(IMG_OK);
  return sub;
}

IImg *CImg1::invert() {
  // Without pixels there is nothing to invert.
  if (data != nullptr) {
    for (uint32_t i = 0; i < totalBytes; ++i) {
      data[i] = static_cast<unsigned char>(~data[i]);
    }
  }
  return this;
}

IImg *CImg1::clone() const {
  // The colours and alignment are fixed on purpose, not taken from this image.
  return create(*this, 0xFFFFFFu, 0xFF000000u, IMG_ALIGN_NONE);
}

bool CImg1::writeTIFF() const {
  // A dump of nothing would read through a null buffer; there is no file to write.
  if (data == nullptr) {
    return false;
  }
  // The padded width: the file shows the pad bits too.
  const int w = static_cast<int>(bytesPerLine * 8u);
  const int h = static_cast<int>(getHeight());
  char path[64];
  std::snprintf(path, sizeof path, "/home/username/tmp/CImg1_%dx%d.pbm", w, h);
  std::FILE *file = std::fopen(path, "w+");
  if (file == nullptr) {
    return false;
  }
  std::fprintf(file, "P4\n%d %d\n", w, h);
  std::fwrite(data, 1, totalBytes, file);
  std::fclose(file);
  return true;
}

// ---------------------------------------------------------------------------
// Slots answered trivially: a bilevel raster is its own unformatted image and has
// no filter, stream or structured transform.

IImg *CImg1::getUnformatted() { return this; }

IImg *CImg1::applyFilter() { return this; }

bool CImg1::stream(void * /*sink*/) { return false; }

IImg *CImg1::sxfm() { return this; }
