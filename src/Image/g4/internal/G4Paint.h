// The painter of change lists: turns a decoded row's black runs into the bits of a
// most-significant-bit-first bilevel row. Internal; tests, benchmarks and the fuzz
// harness paint decoded rows with it.
#ifndef IMAGE_G4_INTERNAL_G4PAINT_H_
#define IMAGE_G4_INTERNAL_G4PAINT_H_

#include <cstdint>

namespace c2d {

// Writes the (width + 7) / 8 bytes of `row`: bits of the black runs of `changes`
// (entries 2k - 1 to 2k, up to the last decoded entry) set, all others clear,
// including the padding of the last byte. Runs are clipped to the row, and runs that
// are empty or reversed paint nothing, so any list is safe to paint.
void G4PaintRow(const int32_t *changes, uint32_t numChanges, uint32_t width, uint8_t *row);

}  // namespace c2d

#endif  // IMAGE_G4_INTERNAL_G4PAINT_H_
