// ImgScaleAttr: what a caller asks of a scale request beyond its size.
#ifndef IMAGE_SCALE_IMGSCALEATTR_H_
#define IMAGE_SCALE_IMGSCALEATTR_H_

#include <cstdint>

struct ImgScaleAttr {
  // Output depth. For bilevel sources 32 asks for a grey reduction to 32 bits.
  uint32_t bitDepth = 0;
  // For 32-bit sources: use the interpolating workers.
  bool resample = false;
  // Replacement background for rendered documents, read as (byte2, byte1, byte0).
  uint8_t bkgByte0 = 0;
  uint8_t bkgByte1 = 0;
  uint8_t bkgByte2 = 0;
};

#endif  // IMAGE_SCALE_IMGSCALEATTR_H_
