// G4PaintRow: head mask, byte fill, tail mask for each black run of a change list.
#include "Image/g4/internal/G4Paint.h"

#include <cstring>

#include "Image/core/internal/BitRow.h"

namespace c2d {

void G4PaintRow(const int32_t *changes, uint32_t numChanges, uint32_t width, uint8_t *row) {
  std::memset(row, 0, (static_cast<size_t>(width) + 7) / 8);
  // The black runs are the pairs before the two sentinels.
  for (uint32_t i = 2; i + 2 < numChanges; i += 2) {
    // 1-based change columns to 0-based [first, end), clipped to the row.
    int64_t first = static_cast<int64_t>(changes[i - 1]) - 1;
    int64_t end = static_cast<int64_t>(changes[i]) - 1;
    if (first < 0) {
      first = 0;
    }
    if (end > width) {
      end = width;
    }
    if (first < end) {
      SetBits(row, static_cast<uint64_t>(first), static_cast<uint64_t>(end));
    }
  }
}

}  // namespace c2d
