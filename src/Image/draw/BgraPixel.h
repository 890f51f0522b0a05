// bgra_u: the 32-bit pixel the drawing operations of the colour rasters work with,
// seen whole or as its four bytes. The word is built from the host's colour record
// with the record's byte 2 in bits 24..31 down to its byte 5 in bits 0..7.
#ifndef IMAGE_DRAW_BGRAPIXEL_H_
#define IMAGE_DRAW_BGRAPIXEL_H_

#include <cstdint>

union bgra_u {
  uint32_t bgra;
  // The word's bytes in memory order: on a little-endian machine b is bits 0..7 and
  // a bits 24..31.
  struct {
    uint8_t b;
    uint8_t g;
    uint8_t r;
    uint8_t a;
  } c;
};

#endif  // IMAGE_DRAW_BGRAPIXEL_H_
