// CompositeAttr: the settings a host passes to composite, copied into the image's
// RasterOp.
#ifndef IMAGE_RASTEROP_COMPOSITEATTR_H_
#define IMAGE_RASTEROP_COMPOSITEATTR_H_

#include <cstdint>

#include "Image/core/ImgExport.h"

class C2D_EXPORT CompositeAttr {
 public:
  uint32_t compositeValue0 = 0;  // carried, read by no operation
  int32_t top = 0;
  int32_t left = 0;
  bool useAlpha = false;
  double alpha = 0.0;
  bool useTransparentColor = false;
  uint32_t transparentColor = 0;
};

#endif  // IMAGE_RASTEROP_COMPOSITEATTR_H_
