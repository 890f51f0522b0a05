// CImg32: the raster operators and composite. A 32-bit image knows one operator,
// set, and runs it for every operator value.
#include <algorithm>
#include <cstring>

#include "Image/core/ImgReport.h"
#include "Image/raster/CImg32.h"
#include "Image/rasterop/RasOpSupport.h"
#include "Image/rasterop/RasOpXfmAttr.h"

using c2d::Report;
using c2d::ReportR;
using Core2DImage::RasOpEnum::RasOp;

// The copies are made in order 0, RGB: a BGR image's copy has red and blue
// exchanged before the operator runs.
IImg *CImg32::doRasOp(RasOp op, bool keyed, unsigned key, unsigned colour) {
  CImg32 *copy = create(*this, RGB_ORDER_RGB);
  if (copy == nullptr) {
    Report(IMG_FAIL);
    return nullptr;
  }
  if (c2d::IsRasOp(op)) {
    (void)rasOpSet(copy, keyed, key, colour);  // what the worker recorded stays
  }
  return copy;
}

IImg *CImg32::doRasOp(RasOp op, RasOpXfmAttr &attr, const IImg &source) {
  const CImg32 *raster = c2d::SourceOfType<CImg32>(source, IMG_TYPE_32BIT);
  if (raster == nullptr) {
    return nullptr;
  }
  CImg32 *copy = create(*this, RGB_ORDER_RGB);
  if (copy == nullptr) {
    return nullptr;
  }
  if (c2d::IsRasOp(op)) {
    (void)rasOpSet(copy, attr, *raster);
  }
  return copy;
}

void CImg32::doRasOpInPlace(RasOp op, bool keyed, unsigned key, unsigned colour) {
  if (c2d::IsRasOp(op)) {
    (void)rasOpSet(this, keyed, key, colour);
  }
}

void CImg32::doRasOpInPlace(RasOp op, RasOpXfmAttr &attr, const IImg &source) {
  const CImg32 *raster = c2d::SourceOfType<CImg32>(source, IMG_TYPE_32BIT);
  if (raster != nullptr && c2d::IsRasOp(op)) {
    (void)rasOpSet(this, attr, *raster);
  }
}

ImgErr CImg32::rasOpSet(CImg32 *target, RasOpXfmAttr &attr, const CImg32 &source) {
  const ImgErr ready = c2d::ReadyToSet(target, attr, source);
  if (ready != IMG_OK) {
    return ready;
  }
  // Bounded by both allocations, which differ from the extents only after setExtents.
  const unsigned top = static_cast<unsigned>(attr.top);
  const unsigned left = static_cast<unsigned>(attr.left);
  const unsigned targetRows = target->AllocatedRows();
  const unsigned targetPixels = target->AllocatedPixelsPerRow();
  const unsigned rows = std::min(
      {source.getHeight(), source.AllocatedRows(), targetRows > top ? targetRows - top : 0u});
  const unsigned pixels = std::min({source.getWidth(), source.AllocatedPixelsPerRow(),
                                    targetPixels > left ? targetPixels - left : 0u});
  // Through the row tables, so that views write into their parents' rows.
  for (unsigned y = 0; y < rows; ++y) {
    unsigned *dst = target->dataArray[top + y] + left;
    const unsigned *src = source.dataArray[y];
    if (attr.keyed == 1) {
      // The key compares all 32 bits, alpha included.
      for (unsigned x = 0; x < pixels; ++x) {
        if (src[x] != attr.transparentColor) {
          dst[x] = src[x];
        }
      }
    } else {
      std::memmove(dst, src, sizeof(unsigned) * pixels);
    }
  }
  return IMG_OK;
}

ImgErr CImg32::rasOpSet(CImg32 *target, bool keyed, unsigned key, unsigned colour) {
  if (target == nullptr) {
    return ReportR(IMG_INVALID_ARG);
  }
  if (!keyed) {
    // Without pixels this only sets the background: the colour arrives when they
    // are made.
    return target->rasOpSet(colour);
  }
  if (!target->hasData() && target->initData() != IMG_OK) {
    return CImgErr::get();
  }
  const unsigned rows = std::min(target->getHeight(), target->AllocatedRows());
  const unsigned pixels = std::min(target->getWidth(), target->AllocatedPixelsPerRow());
  for (unsigned y = 0; y < rows; ++y) {
    unsigned *row = target->dataArray[y];
    std::replace_if(
        row, row + pixels, [key](unsigned pixel) { return pixel != key; }, colour);
  }
  return IMG_OK;
}

ImgErr CImg32::composite(CompositeAttr &attr, const IImg &source) {
  return c2d::Composite(*rasterOp, attr, *this, source);
}
