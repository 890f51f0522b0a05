// Bit-row helpers: single bits and runs of bits in most-significant-bit-first
// bilevel rows, bit 7 of a byte being its leftmost pixel. Internal; every bilevel
// reader and painter of the library goes through them.
#ifndef IMAGE_CORE_INTERNAL_BITROW_H_
#define IMAGE_CORE_INTERNAL_BITROW_H_

#include <cstdint>
#include <cstring>

namespace c2d {

// The mask of column x inside its byte.
constexpr uint8_t BitMask(uint64_t x) { return static_cast<uint8_t>(0x80u >> (x & 7u)); }

// Columns x to 7 of x's byte, and columns 0 to x of x's byte.
constexpr uint8_t HeadMask(uint64_t x) { return static_cast<uint8_t>(0xFFu >> (x & 7u)); }
constexpr uint8_t TailMask(uint64_t x) { return static_cast<uint8_t>(0xFF00u >> ((x & 7u) + 1u)); }

inline bool BitAt(const uint8_t *row, uint64_t x) { return (row[x >> 3] & BitMask(x)) != 0; }

inline void SetBit(uint8_t *row, uint64_t x) {
  row[x >> 3] = static_cast<uint8_t>(row[x >> 3] | BitMask(x));
}

inline void ClearBit(uint8_t *row, uint64_t x) {
  row[x >> 3] = static_cast<uint8_t>(row[x >> 3] & ~BitMask(x));
}

// Bytes from..to - 1 set to `value`. Runs of a few bytes are the common case in
// painted rows; a loop over them costs less than the call to memset.
inline void FillBytes(uint8_t *from, uint8_t *to, uint8_t value) {
  if (to - from > 16) {
    std::memset(from, value, static_cast<size_t>(to - from));
    return;
  }
  for (; from < to; ++from) {
    *from = value;
  }
}

// Sets columns first to end - 1 (first < end): a head mask, a byte fill and a tail
// mask. The other columns are left as they are.
inline void SetBits(uint8_t *row, uint64_t first, uint64_t end) {
  const uint64_t firstByte = first >> 3;
  const uint64_t lastByte = (end - 1) >> 3;
  const uint8_t head = HeadMask(first);
  const uint8_t tail = TailMask(end - 1);
  if (firstByte == lastByte) {
    row[firstByte] = static_cast<uint8_t>(row[firstByte] | (head & tail));
    return;
  }
  row[firstByte] = static_cast<uint8_t>(row[firstByte] | head);
  FillBytes(row + firstByte + 1, row + lastByte, 0xFF);
  row[lastByte] = static_cast<uint8_t>(row[lastByte] | tail);
}

// Clears columns first to end - 1 (first < end), the same way.
inline void ClearBits(uint8_t *row, uint64_t first, uint64_t end) {
  const uint64_t firstByte = first >> 3;
  const uint64_t lastByte = (end - 1) >> 3;
  const uint8_t head = HeadMask(first);
  const uint8_t tail = TailMask(end - 1);
  if (firstByte == lastByte) {
    row[firstByte] = static_cast<uint8_t>(row[firstByte] & ~(head & tail));
    return;
  }
  row[firstByte] = static_cast<uint8_t>(row[firstByte] & ~head);
  FillBytes(row + firstByte + 1, row + lastByte, 0);
  row[lastByte] = static_cast<uint8_t>(row[lastByte] & ~tail);
}

}  // namespace c2d

#endif  // IMAGE_CORE_INTERNAL_BITROW_H_
