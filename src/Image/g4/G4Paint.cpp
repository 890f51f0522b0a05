// G4PaintRow: head mask, byte fill, tail mask for each black run of a change list.
#include "Image/g4/G4Paint.h"

#include <cstring>

namespace c2d {

void G4SetRun(uint8_t *row, uint32_t first, uint32_t end) {
  uint32_t firstByte = first >> 3;
  const uint32_t lastByte = (end - 1) >> 3;
  const uint8_t head = static_cast<uint8_t>(0xFFu >> (first & 7u));
  const uint8_t tail = static_cast<uint8_t>(0xFFu << (7u - ((end - 1) & 7u)));
  if (firstByte == lastByte) {
    row[firstByte] |= head & tail;
    return;
  }
  row[firstByte] |= head;
  ++firstByte;
  if (lastByte > firstByte) {
    std::memset(row + firstByte, 0xFF, lastByte - firstByte);
  }
  row[lastByte] |= tail;
}

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
      G4SetRun(row, static_cast<uint32_t>(first), static_cast<uint32_t>(end));
    }
  }
}

}  // namespace c2d
