// CImg32: the raster operators and composite. A 32-bit image knows one operator,
// set, and runs it for every operator value.
#include <algorithm>

#include "Image/core/internal/ImgReport.h"
#include "Image/raster/CImg32.h"
#include "Image/rasterop/internal/RasOpSupport.h"
#include "Image/rasterop/RasOpXfmAttr.h"

using c2d::ReportR;
using Core2DImage::RasOpEnum::RasOp;

// The copies are made in order 0, RGB: a BGR image's copy has red and blue
// exchanged before the operator runs.
IImg *CImg32::doRasOp(RasOp op, bool keyed, unsigned key, unsigned colour) {
  return c2d::FillCopy(create(*this, RGB_ORDER_RGB), op,
                       [&](CImg32 *copy) { return rasOpSet(copy, keyed, key, colour); });
}

IImg *CImg32::doRasOp(RasOp op, RasOpXfmAttr &attr, const IImg &source) {
  return c2d::PlaceOnCopy<CImg32>(
      source, IMG_TYPE_32BIT, op, [this] { return create(*this, RGB_ORDER_RGB); },
      [&](CImg32 *copy, const CImg32 &raster) { return rasOpSet(copy, attr, raster); });
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
  const unsigned rows =
      c2d::SetSpan(source.getHeight(), source.AllocatedRows(), target->AllocatedRows(), top);
  const unsigned pixels = c2d::SetSpan(source.getWidth(), source.AllocatedPixelsPerRow(),
                                       target->AllocatedPixelsPerRow(), left);
  // The key compares all 32 bits, alpha included.
  c2d::SetRows<unsigned>(target->dataArray, source.dataArray, top, left, rows, pixels,
                         attr.keyed == 1, attr.transparentColor);
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
