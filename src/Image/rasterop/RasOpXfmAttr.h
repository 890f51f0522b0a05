// RasOpXfmAttr: where a raster operation places its source, and its colour key.
#ifndef IMAGE_RASTEROP_RASOPXFMATTR_H_
#define IMAGE_RASTEROP_RASOPXFMATTR_H_

#include <cstdint>

#include "Image/core/ImgExport.h"

// A plain value; callers fill the members. The xfm members are carried for the
// host and read by no operator.
class C2D_EXPORT RasOpXfmAttr {
 public:
  uint8_t xfmFlag0 = 0;
  uint8_t xfmFlag1 = 0;
  int32_t top = 0;   // target row of the source's first row
  int32_t left = 0;  // target column of the source's first column, in pixels
  uint64_t xfmValue = 0;
  uint8_t keyed = 0;  // transparentColor is in force
  uint32_t transparentColor = 0;
};

#endif  // IMAGE_RASTEROP_RASOPXFMATTR_H_
