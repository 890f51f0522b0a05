// The checks and the composite hand-over shared by the raster classes' operators.
#include "Image/rasterop/internal/RasOpSupport.h"

#include <cstdint>

#include "Image/rasterop/CompositeAttr.h"
#include "Image/rasterop/RasOpXfmAttr.h"
#include "Image/rasterop/RasterOp.h"

namespace c2d {

bool IsRasOp(Core2DImage::RasOpEnum::RasOp op) {
  using namespace Core2DImage::RasOpEnum;
  return op == RasOpAnd || op == RasOpSet || op == RasOpXOr || op == RasOpCopy ||
         op == RasOpReplace;
}

ImgErr CheckPlacement(const IImg *target, const RasOpXfmAttr &attr, const IImg &source) {
  if (target == nullptr) {
    return IMG_INVALID_ARG;
  }
  const uint64_t width = target->getWidth();
  const uint64_t height = target->getHeight();
  const uint64_t sourceWidth = source.getWidth();
  const uint64_t sourceHeight = source.getHeight();
  if (sourceWidth > width || sourceHeight > height || attr.top < 0 || attr.left < 0) {
    return IMG_INVALID_ARG;
  }
  if (sourceWidth + static_cast<uint64_t>(attr.left) > width ||
      sourceHeight + static_cast<uint64_t>(attr.top) > height) {
    return IMG_INVALID_ARG;
  }
  return IMG_OK;
}

ImgErr ReadyToSet(IImg *target, const RasOpXfmAttr &attr, const IImg &source) {
  if (CheckPlacement(target, attr, source) != IMG_OK) {
    return IMG_INVALID_ARG;
  }
  if (!source.hasData()) {
    return ReportR(IMG_FALSE);
  }
  return target->forceDataInit() ? IMG_OK : CImgErr::get();
}

ImgErr Composite(RasterOp &settings, const CompositeAttr &attr, IImg &destination,
                 const IImg &source) {
  settings.UseAlpha(attr.useAlpha);
  settings.SetAlpha(attr.alpha);
  settings.SetTopOffset(attr.top, attr.left);
  settings.UseTransparentColor(attr.useTransparentColor);
  settings.SetTransparentColor(attr.transparentColor);
  return settings.Over(destination, source);
}

}  // namespace c2d
