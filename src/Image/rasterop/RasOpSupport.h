// Internal: what the raster operators and composite of the raster classes share:
// the source check of the dispatchers, the placement test of the workers and the
// hand-over of composite settings.
#ifndef IMAGE_RASTEROP_RASOPSUPPORT_H_
#define IMAGE_RASTEROP_RASOPSUPPORT_H_

#include "Image/ImgErr.h"
#include "Image/core/IImg.h"
#include "Image/core/ImgReport.h"

class CompositeAttr;
class RasOpXfmAttr;
class RasterOp;

namespace c2d {

// The source of an operator as the class `type` names, or null after recording
// IMG_INVALID_ARG: operators never convert. An image of the right type but another
// class (a rendered document says 32 bits) is refused the same way.
template <class Image>
const Image *SourceOfType(const IImg &source, ImageType type) {
  // getType is not const in the interface, though it changes nothing.
  const Image *raster =
      const_cast<IImg &>(source).getType() == type ? dynamic_cast<const Image *>(&source) : nullptr;
  if (raster == nullptr) {
    Report(IMG_INVALID_ARG);
  }
  return raster;
}

// True for the five operator values; any other value selects no worker.
bool IsRasOp(Core2DImage::RasOpEnum::RasOp op);

// IMG_INVALID_ARG, unrecorded, unless target is not null and the whole source fits
// in it with its first pixel at (attr.left, attr.top): nothing is clipped. IMG_OK
// otherwise.
[[nodiscard]] ImgErr CheckPlacement(const IImg *target, const RasOpXfmAttr &attr,
                                    const IImg &source);

// The checks of the source-form workers of CImg32 and CImg8, in order: placement
// (IMG_INVALID_ARG, unrecorded), a source with data (IMG_FALSE, recorded), and a
// target with data, made by forceDataInit if need be (else the code initData
// recorded). IMG_OK when the rows may be written.
[[nodiscard]] ImgErr ReadyToSet(IImg *target, const RasOpXfmAttr &attr, const IImg &source);

// composite of CImg32 and CImg8: copies attr into `settings` and runs
// settings.Over(destination, source).
ImgErr Composite(RasterOp &settings, const CompositeAttr &attr, IImg &destination,
                 const IImg &source);

}  // namespace c2d

#endif  // IMAGE_RASTEROP_RASOPSUPPORT_H_
