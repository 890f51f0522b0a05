// Where two rows differ, 64 bytes at a time, with the widest compare the processor
// offers. Internal: the HP-RTL row coder takes its blocks' masks here.
#ifndef IMAGE_TILE_INTERNAL_ROWMASKS_H_
#define IMAGE_TILE_INTERNAL_ROWMASKS_H_

#include <cstddef>
#include <cstdint>

namespace c2d {

// For `count` (at most 64) whole blocks of 64 bytes from `from`: bit i of masks[k] is
// set where a and b differ at byte from + 64 k + i. Bit k of the result is set where
// masks[k] is not zero.
uint64_t DiffBlockMasks(const unsigned char *a, const unsigned char *b, size_t from, uint32_t count,
                        uint64_t *masks);

// The same without AVX2: what processors without it run.
uint64_t DiffBlockMasksNarrow(const unsigned char *a, const unsigned char *b, size_t from,
                              uint32_t count, uint64_t *masks);

}  // namespace c2d

#endif  // IMAGE_TILE_INTERNAL_ROWMASKS_H_
