// Buffers for page-sized rasters that are written whole right after they are made.
#ifndef IMAGE_CORE_INTERNAL_RASTERBUFFER_H_
#define IMAGE_CORE_INTERNAL_RASTERBUFFER_H_

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace c2d {

// A buffer of `bytes` that is released with free(), or null. On Linux one of 8 MB or
// more asks for transparent huge pages: its first touch then costs one fault per 2 MB
// instead of one per 4 KB, most of the cost of a fresh page-sized raster.
inline void *AllocRaster(size_t bytes) {
#if defined(__linux__)
  constexpr size_t kHuge = size_t{2} << 20;
  if (bytes >= 4 * kHuge && bytes <= SIZE_MAX - kHuge) {
    const size_t whole = (bytes + kHuge - 1) / kHuge * kHuge;
    void *raster = std::aligned_alloc(kHuge, whole);
    if (raster != nullptr) {
      (void)madvise(raster, whole, MADV_HUGEPAGE);
    }
    return raster;
  }
#endif
  return std::malloc(bytes);
}

}  // namespace c2d

#endif  // IMAGE_CORE_INTERNAL_RASTERBUFFER_H_
