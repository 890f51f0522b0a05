// Enumerations shared by every image class. Their values are part of the host
// interface and several classes test them numerically.
#ifndef IMAGE_CORE_IMGENUMS_H_
#define IMAGE_CORE_IMGENUMS_H_

#include <cstdint>

// The nominal bit depth of an image; 4 marks the Group 4 tiled class. Rendered
// documents also answer 32.
enum ImageType : int32_t {
  IMG_TYPE_1BIT = 1,
  IMG_TYPE_G4 = 4,
  IMG_TYPE_8BIT = 8,
  IMG_TYPE_32BIT = 32,
};

// Row alignment of bilevel and palette rasters.
enum ImgAlignmentEnum : int32_t {
  IMG_ALIGN_NONE = 0,
  IMG_ALIGN_8 = 8,
  IMG_ALIGN_32 = 32,
};

// The low three bytes of a 32-bit pixel read as a little-endian word. The top byte
// is alpha where a pixel has one.
enum RGBOrder : int32_t {
  RGB_ORDER_RGB = 0,  // red in bits 0-7, blue in bits 16-23
  RGB_ORDER_BGR = 1,  // blue in bits 0-7, red in bits 16-23; the default
};

enum ImgBackgroundState : int32_t {
  IMG_BG_UNKNOWN = 0,
  IMG_BG_KNOWN = 1,
  IMG_BG_NONE = 2,  // estimation found none and is not run again
};

// How a scaling request relates the target to the source.
enum ImageScaleType : int32_t {
  IMG_SCALE_SAME = 0,
  IMG_SCALE_ENLARGE = 1,
  IMG_SCALE_REDUCE = 2,
  IMG_SCALE_REDUCE_X_ENLARGE_Y = 3,
  IMG_SCALE_ENLARGE_X_REDUCE_Y = 4,
};

enum ImgMirT : int32_t {
  IMG_MIR_NONE = 0,
  IMG_MIR_X = 1,
  IMG_MIR_Y = 2,
};

#endif  // IMAGE_CORE_IMGENUMS_H_
