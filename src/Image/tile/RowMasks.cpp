// Block masks of two rows: AVX2 where the processor has it (chosen once, at the first
// call), SSE2 on other x86-64 processors, a byte loop elsewhere.
#include "Image/tile/internal/RowMasks.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#if (defined(__x86_64__) || defined(__i386__)) && defined(__GNUC__)
#include <immintrin.h>
#define C2D_ROWMASKS_AVX2 1
#else
#define C2D_ROWMASKS_AVX2 0
#endif

namespace c2d {

uint64_t DiffBlockMasksNarrow(const unsigned char *a, const unsigned char *b, size_t from,
                              uint32_t count, uint64_t *masks) {
  uint64_t changed = 0;
  for (uint32_t k = 0; k < count; ++k) {
    uint64_t m = 0;
#if defined(__SSE2__)
    const unsigned char *p = a + from + size_t{k} * 64, *q = b + from + size_t{k} * 64;
    for (uint32_t i = 0; i < 64; i += 16) {
      const __m128i equal =
          _mm_cmpeq_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i *>(p + i)),
                         _mm_loadu_si128(reinterpret_cast<const __m128i *>(q + i)));
      m |= uint64_t{static_cast<uint16_t>(_mm_movemask_epi8(equal))} << i;
    }
    m = ~m;
#else
    for (uint32_t i = 0; i < 64; ++i) {
      const size_t at = from + size_t{k} * 64 + i;
      m |= uint64_t{a[at] != b[at]} << i;
    }
#endif
    masks[k] = m;
    changed |= uint64_t{m != 0} << k;
  }
  return changed;
}

namespace {

using MasksFn = uint64_t (*)(const unsigned char *, const unsigned char *, size_t, uint32_t,
                             uint64_t *);

#if C2D_ROWMASKS_AVX2
__attribute__((target("avx2"))) uint64_t Avx2Masks(const unsigned char *a, const unsigned char *b,
                                                   size_t from, uint32_t count, uint64_t *masks) {
  uint64_t changed = 0;
  for (uint32_t k = 0; k < count; ++k) {
    const unsigned char *p = a + from + size_t{k} * 64, *q = b + from + size_t{k} * 64;
    const __m256i low = _mm256_cmpeq_epi8(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(p)),
                                          _mm256_loadu_si256(reinterpret_cast<const __m256i *>(q)));
    const __m256i high =
        _mm256_cmpeq_epi8(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(p + 32)),
                          _mm256_loadu_si256(reinterpret_cast<const __m256i *>(q + 32)));
    const uint64_t m = ~(uint64_t{static_cast<uint32_t>(_mm256_movemask_epi8(low))} |
                         uint64_t{static_cast<uint32_t>(_mm256_movemask_epi8(high))} << 32);
    masks[k] = m;
    changed |= uint64_t{m != 0} << k;
  }
  return changed;
}
#endif

MasksFn Pick() {
#if C2D_ROWMASKS_AVX2
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx2")) {
    return Avx2Masks;
  }
#endif
  return DiffBlockMasksNarrow;
}

}  // namespace

uint64_t DiffBlockMasks(const unsigned char *a, const unsigned char *b, size_t from, uint32_t count,
                        uint64_t *masks) {
  static const MasksFn masksOf = Pick();
  return masksOf(a, b, from, count, masks);
}

}  // namespace c2d
