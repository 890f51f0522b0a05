// Overflow-checked size arithmetic for pixel buffers. Every image header derives its
// byte counts here, so a product that does not fit the 32-bit header is refused in
// one place.
#ifndef IMAGE_CORE_INTERNAL_IMGSIZE_H_
#define IMAGE_CORE_INTERNAL_IMGSIZE_H_

#include <cstdint>

namespace c2d {

// Stores a * b * c in `out` and returns true when the product fits in 32 bits.
[[nodiscard]] inline bool CheckedSize32(uint64_t a, uint64_t b, uint64_t c, uint32_t *out) {
  if (a > UINT32_MAX || b > UINT32_MAX || c > UINT32_MAX) {
    return false;
  }
  const uint64_t ab = a * b;  // Both factors are below 2^32: no 64-bit overflow.
  if (ab > UINT32_MAX) {
    return false;
  }
  const uint64_t abc = ab * c;
  if (abc > UINT32_MAX) {
    return false;
  }
  *out = static_cast<uint32_t>(abc);
  return true;
}

// The number of b-sized pieces that cover a, for b > 0; exact for all 32-bit values.
inline uint32_t CeilDiv(uint32_t a, uint32_t b) {
  return static_cast<uint32_t>((static_cast<uint64_t>(a) + b - 1) / b);
}

}  // namespace c2d

#endif  // IMAGE_CORE_INTERNAL_IMGSIZE_H_
