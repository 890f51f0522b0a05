// CImg1: the raster operators. Bilevel rows are combined a byte at a time: when the
// source lands on a byte boundary each byte pairs with one target byte, otherwise
// every source byte is split over two target bytes and the operators carry the
// remainder from one byte to the next. Each operator's arithmetic, including how it
// treats the first byte of a row and the byte after it, is its own on purpose.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "Image/core/internal/ImgReport.h"
#include "Image/raster/CImg1.h"
#include "Image/rasterop/internal/RasOpSupport.h"
#include "Image/rasterop/RasOpXfmAttr.h"

using c2d::Report;
using Core2DImage::RasOpEnum::RasOp;

namespace {

enum class BitOp { kAnd, kOr, kXOr, kSet };

// The placement of one operation, the same for every row.
struct Rows {
  const unsigned char *src;  // the source's first row
  size_t srcStride;
  unsigned char *dst;  // the target byte under the source's first pixel
  size_t dstStride;
  unsigned char *end;  // one past the target's bitmap
  uint32_t count;      // rows
  uint32_t bytes;      // source bytes per row: whole pad bytes are left out
  unsigned shift;      // bit offset of the source in the target's bytes
  unsigned char mask;  // the used bits of the source's last byte
  uint32_t width;      // source width in pixels
};

// IMG_INVALID_ARG when the source does not fit, IMG_FAIL when an image has no
// pixels or its rows, stepped by its stride, would leave its bitmap (only a header
// changed by setExtents or setAlignment does that).
ImgErr Place(CImg1 *target, const RasOpXfmAttr &attr, const CImg1 &source, Rows &rows) {
  if (c2d::CheckPlacement(target, attr, source) != IMG_OK) {
    return IMG_INVALID_ARG;
  }
  unsigned char *bitmap = target->peekData();
  const unsigned char *src = source.peekData();
  const uint64_t srcStride = source.getBytesPerLine();
  const uint64_t padBytes = source.getPadBits() >> 3;
  if (bitmap == nullptr || src == nullptr || srcStride <= padBytes) {
    return IMG_FAIL;
  }
  const uint64_t bytes = srcStride - padBytes;
  const uint64_t count = source.getHeight();
  const uint64_t dstStride = target->getBytesPerLine();
  const uint64_t start =
      dstStride * static_cast<uint64_t>(attr.top) + (static_cast<uint32_t>(attr.left) >> 3);
  if ((count - 1) * srcStride + bytes > source.getTotalBytes() ||
      start + (count - 1) * dstStride + bytes > target->getTotalBytes()) {
    return IMG_FAIL;
  }
  rows.src = src;
  rows.srcStride = static_cast<size_t>(srcStride);
  // SAFETY: start and every row's bytes lie inside the bitmap, tested above.
  rows.dst = bitmap + start;
  rows.dstStride = static_cast<size_t>(dstStride);
  rows.end = bitmap + target->getTotalBytes();
  rows.count = static_cast<uint32_t>(count);
  rows.bytes = static_cast<uint32_t>(bytes);
  rows.shift = static_cast<uint32_t>(attr.left) & 7u;
  rows.mask = static_cast<unsigned char>(0xFFu << (source.getPadBits() & 7u));
  rows.width = source.getWidth();
  return IMG_OK;
}

template <BitOp kOp>
void AlignedRow(unsigned char *t, const unsigned char *s, uint32_t n) {
  // No edge mask: the pad bits of a partly used last byte arrive too.
  for (uint32_t i = 0; i < n; ++i) {
    if constexpr (kOp == BitOp::kAnd) {
      t[i] &= s[i];
    } else if constexpr (kOp == BitOp::kOr) {
      t[i] |= s[i];
    } else if constexpr (kOp == BitOp::kXOr) {
      t[i] ^= s[i];
    } else {
      t[i] = s[i];
    }
  }
}

// One row at a bit offset. Between the first and the last byte, only rasOpOr still
// reads the target: the others combine the source byte with the remainder of the
// one before it.
template <BitOp kOp>
void ShiftedRow(unsigned char *t, const unsigned char *s, const Rows &g) {
  const unsigned shift = g.shift;
  const unsigned r = 8u - shift;
  const uint32_t n = g.bytes;
  unsigned carry = t[0];
  for (uint32_t i = 0; i + 1 < n; ++i) {
    const unsigned high = s[i] >> shift;
    const unsigned low = static_cast<unsigned char>(s[i] << r);
    if constexpr (kOp == BitOp::kAnd) {
      t[i] = static_cast<unsigned char>(high & carry);
      carry = low;
    } else if constexpr (kOp == BitOp::kXOr) {
      t[i] = static_cast<unsigned char>(high ^ carry);
      carry = low;
    } else if constexpr (kOp == BitOp::kOr) {
      t[i] = static_cast<unsigned char>(high | carry);
      carry = low | t[i + 1];
    } else {
      t[i] = static_cast<unsigned char>(high | carry);
      carry = low;
    }
    t[i + 1] = static_cast<unsigned char>(carry);
  }
  // The last source byte, and the byte after it. Whatever the operator, that byte
  // is written only inside the bitmap: it is the next row's first byte when the
  // source ends at the target's right edge, and lies past the bitmap after the
  // last row.
  const unsigned last = s[n - 1];
  const bool spillFits = t + n < g.end;
  if constexpr (kOp == BitOp::kAnd || kOp == BitOp::kXOr) {
    if constexpr (kOp == BitOp::kAnd) {
      t[n - 1] &= static_cast<unsigned char>(last >> shift);
    } else {
      t[n - 1] ^= static_cast<unsigned char>(last >> shift);
    }
    // Only when the source's last pixel lies in that byte.
    if ((g.width & 7u) + shift > 8u && spillFits) {
      t[n] = static_cast<unsigned char>(last << r);
    }
  } else {
    const unsigned used = last & g.mask;
    t[n - 1] |= static_cast<unsigned char>(used >> shift);
    if (spillFits) {
      if constexpr (kOp == BitOp::kOr) {
        t[n] |= static_cast<unsigned char>(used << r);
      } else {
        // Replaces the whole byte, pixels right of the source included.
        t[n] = static_cast<unsigned char>(used << r);
      }
    }
  }
}

template <BitOp kOp>
ImgErr Combine(CImg1 *target, const RasOpXfmAttr &attr, const CImg1 &source) {
  Rows g;
  const ImgErr placed = Place(target, attr, source, g);
  if (placed != IMG_OK) {
    return placed;
  }
  // Rows run top-down: a row may start from what the row above left in its byte.
  for (uint32_t y = 0; y < g.count; ++y) {
    unsigned char *t = g.dst + y * g.dstStride;
    const unsigned char *s = g.src + y * g.srcStride;
    if (g.shift == 0) {
      AlignedRow<kOp>(t, s, g.bytes);
    } else {
      ShiftedRow<kOp>(t, s, g);
    }
  }
  return IMG_OK;
}

}  // namespace

// ---------------------------------------------------------------------------
// Dispatch. The copying and the in-place operation choose their workers
// differently on purpose: in place, RasOpAnd and RasOpXOr set and RasOpCopy does
// nothing. Each worker's result is recorded, success included.

IImg *CImg1::doRasOp(RasOp /*op*/, bool /*keyed*/, unsigned /*key*/, unsigned /*colour*/) {
  // No fill through the operators: this image itself, unchanged.
  return this;
}

IImg *CImg1::doRasOp(RasOp op, RasOpXfmAttr &attr, const IImg &source) {
  const CImg1 *raster = c2d::SourceOfType<CImg1>(source, IMG_TYPE_1BIT);
  if (raster == nullptr) {
    return nullptr;
  }
  CImg1 *copy = create(*this, backgroundInterpretation, foregroundInterpretation, alignment);
  if (copy == nullptr) {
    Report(IMG_FAIL);
    return nullptr;
  }
  ImgErr result = IMG_OK;
  switch (op) {
    case Core2DImage::RasOpEnum::RasOpAnd:
      result = rasOpAnd(copy, attr, *raster);
      break;
    case Core2DImage::RasOpEnum::RasOpXOr:
      result = rasOpXOr(copy, attr, *raster);
      break;
    case Core2DImage::RasOpEnum::RasOpSet:
    case Core2DImage::RasOpEnum::RasOpCopy:
    case Core2DImage::RasOpEnum::RasOpReplace:
      result = rasOpSet(copy, attr, *raster);
      break;
    default:
      break;  // the copy stays as made, and IMG_OK is recorded
  }
  // A failed worker leaves the copy as made; it is returned all the same.
  Report(result);
  return copy;
}

void CImg1::doRasOpInPlace(RasOp /*op*/, bool /*keyed*/, unsigned /*key*/, unsigned /*colour*/) {}

void CImg1::doRasOpInPlace(RasOp op, RasOpXfmAttr &attr, const IImg &source) {
  const CImg1 *raster = c2d::SourceOfType<CImg1>(source, IMG_TYPE_1BIT);
  if (raster == nullptr) {
    return;
  }
  switch (op) {
    case Core2DImage::RasOpEnum::RasOpAnd:
    case Core2DImage::RasOpEnum::RasOpSet:
    case Core2DImage::RasOpEnum::RasOpXOr:
    case Core2DImage::RasOpEnum::RasOpReplace:
      Report(rasOpSet(this, attr, *raster));
      break;
    default:
      break;  // RasOpCopy and unknown values: nothing happens, nothing is recorded
  }
}

// ---------------------------------------------------------------------------
// Workers

ImgErr CImg1::rasOpAnd(CImg1 *target, RasOpXfmAttr &attr, const CImg1 &source) {
  return Combine<BitOp::kAnd>(target, attr, source);
}

ImgErr CImg1::rasOpOr(CImg1 *target, RasOpXfmAttr &attr, const CImg1 &source) {
  return Combine<BitOp::kOr>(target, attr, source);
}

ImgErr CImg1::rasOpXOr(CImg1 *target, RasOpXfmAttr &attr, const CImg1 &source) {
  return Combine<BitOp::kXOr>(target, attr, source);
}

ImgErr CImg1::rasOpSet(CImg1 *target, RasOpXfmAttr &attr, const CImg1 &source) {
  if (target == nullptr) {
    return IMG_INVALID_ARG;
  }
  // For a bilevel image a transparent colour means that only set bits arrive,
  // whichever colour is named.
  if (attr.keyed) {
    return rasOpOr(target, attr, source);
  }
  return Combine<BitOp::kSet>(target, attr, source);
}

ImgErr CImg1::rasOpSet(CImg1 *target, bool keyed, unsigned key, unsigned colour) {
  if (target == nullptr) {
    return IMG_INVALID_ARG;
  }
  const unsigned char fill = colour != 0 ? 0xFFu : 0u;
  if (keyed && (key != 0) != (colour != 0)) {
    return IMG_OK;
  }
  if (target->data == nullptr) {
    return IMG_FAIL;
  }
  std::memset(target->data, fill, target->totalBytes);
  return IMG_OK;
}
