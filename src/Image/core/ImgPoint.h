// Points and quadrilaterals of the drawing interface.
#ifndef IMAGE_CORE_IMGPOINT_H_
#define IMAGE_CORE_IMGPOINT_H_

#include <cstdint>

struct int_pt_t {
  int32_t x;
  int32_t y;
};

// The four corners of a rectangle walked in order: top-right, top-left, bottom-left,
// bottom-right. The library reads only pts[1] as (left, top) and pts[3] as
// (right, bottom); the other two are the host's to fill.
struct int_rect_t {
  int_pt_t pts[4];
};

#endif  // IMAGE_CORE_IMGPOINT_H_
