// CImg8: the raster operators and composite. A palette image knows one operator,
// set, and runs it for every operator value. Its copies are made by conversion,
// which a palette image with pixels refuses, so only the in-place forms reach the
// pixels of such an image.
#include <algorithm>
#include <cstring>

#include "Image/core/internal/ImgReport.h"
#include "Image/raster/CImg8.h"
#include "Image/rasterop/internal/RasOpSupport.h"
#include "Image/rasterop/RasOpXfmAttr.h"

using c2d::ReportR;
using Core2DImage::RasOpEnum::RasOp;

IImg *CImg8::doRasOp(RasOp op, bool keyed, unsigned key, unsigned colour) {
  return c2d::FillCopy(create(*this, nullptr, IMG_ALIGN_NONE), op,
                       [&](CImg8 *copy) { return rasOpSet(copy, keyed, key, colour); });
}

IImg *CImg8::doRasOp(RasOp op, RasOpXfmAttr &attr, const IImg &source) {
  return c2d::PlaceOnCopy<CImg8>(
      source, IMG_TYPE_8BIT, op, [this] { return create(*this, nullptr, IMG_ALIGN_NONE); },
      [&](CImg8 *copy, const CImg8 &raster) { return rasOpSet(copy, attr, raster); });
}

void CImg8::doRasOpInPlace(RasOp op, bool keyed, unsigned key, unsigned colour) {
  if (c2d::IsRasOp(op)) {
    (void)rasOpSet(this, keyed, key, colour);
  }
}

void CImg8::doRasOpInPlace(RasOp op, RasOpXfmAttr &attr, const IImg &source) {
  const CImg8 *raster = c2d::SourceOfType<CImg8>(source, IMG_TYPE_8BIT);
  if (raster != nullptr && c2d::IsRasOp(op)) {
    (void)rasOpSet(this, attr, *raster);
  }
}

ImgErr CImg8::rasOpSet(CImg8 *target, RasOpXfmAttr &attr, const CImg8 &source) {
  const ImgErr ready = c2d::ReadyToSet(target, attr, source);
  if (ready != IMG_OK) {
    return ready;
  }
  // Bounded by the rows and row bytes each table was built with, which differ from
  // the extents only after setExtents.
  const auto rowsOf = [](const CImg8 &image) {
    return image.bytesPerLine == 0 ? 0u : image.totalBytes / image.bytesPerLine;
  };
  const auto bytesOf = [](const CImg8 &image) { return image.bytesPerLine - image.padBytes; };
  const unsigned top = static_cast<unsigned>(attr.top);
  const unsigned left = static_cast<unsigned>(attr.left);
  const unsigned rows = c2d::SetSpan(source.getHeight(), rowsOf(source), rowsOf(*target), top);
  const unsigned bytes = c2d::SetSpan(source.getWidth(), bytesOf(source), bytesOf(*target), left);
  // The key is the low byte of the transparent colour.
  const unsigned char key = static_cast<unsigned char>(attr.transparentColor & 0xFFu);
  c2d::SetRows(target->dataArray, source.dataArray, top, left, rows, bytes, attr.keyed == 1, key);
  return IMG_OK;
}

ImgErr CImg8::rasOpSet(CImg8 *target, bool keyed, unsigned key, unsigned colour) {
  if (target == nullptr) {
    return ReportR(IMG_INVALID_ARG);
  }
  if (!target->hasData()) {
    if (!keyed) {
      target->setBackgroundColor(colour);
      return IMG_OK;
    }
    if (target->initData() != IMG_OK) {
      return CImgErr::get();
    }
  }
  // One block from the target's first row, padding included, of this image's byte
  // count: a target smaller than this image (a copy in another alignment, or a
  // view) is written only as far as its own bytes reach.
  const size_t count = std::min<size_t>(totalBytes, target->ReachableBytes());
  unsigned char *block = target->dataArray[0];
  const unsigned char fill = static_cast<unsigned char>(colour & 0xFFu);
  if (!keyed) {
    std::memset(block, fill, count);
    return IMG_OK;
  }
  // Each byte is compared as a 32-bit number, so a key above 255 matches nothing.
  std::replace_if(
      block, block + count, [key](unsigned char byte) { return byte != key; }, fill);
  return IMG_OK;
}

ImgErr CImg8::composite(CompositeAttr &attr, const IImg &source) {
  return c2d::Composite(*rasterOp, attr, *this, source);
}
