// The Group 4 row encoder: change detection by byte lookups, and one pass over the
// change lists that picks each mode and writes its code at once. Both exported name
// sets lead here.
#include "Image/g4/G4Encode.h"

#include <cstring>

#include "Image/g4/internal/G4EncodeTables.h"
#include "Image/g4/internal/G4RowCoder.h"

namespace c2d {
namespace {

const G4EncodeTables &kT = kG4EncodeTables;

// The first byte from `p` on that is not `fill`. A byte that is neither 0x00 nor
// 0xFF lies at `end` (the sentinel), so the byte loop stops there at the latest.
const uint8_t *SkipBytes(const uint8_t *p, const uint8_t *end, uint8_t fill) {
  const uint64_t fill64 = fill * 0x0101010101010101ull;
  while (end - p >= 8) {
    uint64_t eight;
    std::memcpy(&eight, p, 8);
    if (eight != fill64) {
      break;
    }
    p += 8;
  }
  while (*p == fill) {
    ++p;
  }
  return p;
}

// Bits gather at the top of a 64-bit accumulator and leave it 32 at a time as two
// words, the earlier code in the higher word.
class BitWriter {
 public:
  BitWriter(uint16_t *words, size_t capacity) : start_(words), at_(words), end_(words + capacity) {}

  void put(uint32_t entry) {
    acc_ |= static_cast<uint64_t>(G4CodeBits(entry)) << (48 - used_);
    used_ += G4CodeLength(entry);
    if (used_ >= 32) {
      store(2);
    }
  }

  void putRun(const uint32_t *term, const uint32_t *makeup, uint32_t run) {
    if (run >= kG4LongestMakeup + 64) {
      const uint32_t longest = (run - 64) / kG4LongestMakeup;
      for (uint32_t i = 0; i < longest; ++i) {
        put(makeup[kG4MakeupCodes - 1]);
      }
      run -= longest * kG4LongestMakeup;
    }
    if (run >= 64) {
      put(makeup[run / 64 - 1]);
      run %= 64;
    }
    put(term[run]);
  }

  // Stores the full words and one more with the rest, which may be none.
  bool finish(uint32_t *bitCount) {
    if (used_ >= 16) {
      store(1);
    }
    const unsigned rest = used_;
    store(1);
    *bitCount = static_cast<uint32_t>(at_ - start_ - 1) * 16 + rest;
    return !overflow_;
  }

 private:
  void store(unsigned n) {
    for (unsigned i = 0; i < n; ++i) {
      if (at_ < end_) {
        *at_++ = static_cast<uint16_t>(acc_ >> 48);
      } else {
        overflow_ = true;  // go on without storing; the row is refused at the end
      }
      acc_ <<= 16;
    }
    used_ = used_ >= 16 * n ? used_ - 16 * n : 0;
  }

  uint16_t *start_;
  uint16_t *at_;
  uint16_t *end_;
  uint64_t acc_ = 0;
  unsigned used_ = 0;
  bool overflow_ = false;
};

// Entry 0 is 0, the entries up to count - 4 ascend and stay at most W, and the last
// three are W + 1, which is at least 1.
bool IsChangeList(const uint32_t *list, unsigned long long count, uint32_t end) {
  if (list == nullptr || count < 4 || list[0] != 0 || end == 0) {
    return false;
  }
  for (unsigned long long i = count - 3; i < count; ++i) {
    if (list[i] != end) {
      return false;
    }
  }
  for (unsigned long long i = 1; i + 3 < count; ++i) {
    if (list[i] < list[i - 1] || list[i] >= end) {
      return false;
    }
  }
  return true;
}

void DetectChecked(int width, unsigned char *row, int maxEntries, int *changes,
                   unsigned int *count) {
  if (count == nullptr) {
    return;
  }
  *count = 0;
  if (row == nullptr || changes == nullptr || width < 1 || width > kG4MaxWidth || maxEntries < 4) {
    return;
  }
  *count =
      G4FindChanges(static_cast<uint32_t>(width), row, static_cast<uint32_t>(maxEntries), changes);
}

void EncodeChecked(unsigned int *refChanges, unsigned long long refCount, unsigned int *changes,
                   unsigned long long count, unsigned short *words, unsigned int *bitCount) {
  if (bitCount == nullptr) {
    return;
  }
  *bitCount = 0;
  if (words == nullptr || changes == nullptr || refChanges == nullptr || count < 4 ||
      refCount < 4 || count > SIZE_MAX / 4 || refCount > SIZE_MAX / 4) {
    return;
  }
  const uint32_t end = changes[count - 1];
  if (!IsChangeList(changes, count, end) || !IsChangeList(refChanges, refCount, end)) {
    return;
  }
  const size_t capacity = G4RowWordsBound(count, refCount, end - 1);
  if (!G4CodeRow(refChanges, refCount, changes, count, words, capacity, bitCount)) {
    *bitCount = 0;
  }
  changes[0] = 0;
}

}  // namespace

uint32_t G4FindChanges(uint32_t width, uint8_t *row, uint32_t maxEntries, int32_t *changes) {
  uint8_t *const end = row + (static_cast<size_t>(width) + 7) / 8;
  const uint8_t saved = *end;
  // Both a set and a clear bit: each scan stops here without a length test.
  *end = 0xAA;
  changes[0] = 0;
  const uint8_t *p = row;
  unsigned k = 0;  // bits of *p already passed
  uint32_t n = 1;  // the next entry to write
  for (;;) {
    unsigned v = kT.G4FirstBlack[*p & kT.G4KeepBelow[k]];
    if (v == 0) {
      p = SkipBytes(p + 1, end, 0x00);
      v = kT.G4FirstBlack[*p];
    }
    changes[n++] = static_cast<int32_t>(v + 8 * static_cast<uint32_t>(p - row));
    k = v;
    v = kT.G4FirstWhite[*p | kT.G4FillAbove[k]];
    if (v == 0) {
      p = SkipBytes(p + 1, end, 0xFF);
      v = kT.G4FirstWhite[*p];
    }
    const uint32_t toWhite = v + 8 * static_cast<uint32_t>(p - row);
    changes[n++] = static_cast<int32_t>(toWhite);
    k = v;
    // SAFETY: the next pair goes to entries n and n + 1, at most maxEntries - 2.
    if (toWhite > width || n > maxEntries - 3) {
      break;
    }
  }
  // Changes in the pad bits and the sentinel are dropped.
  uint32_t last = n - 1;
  while (static_cast<uint32_t>(changes[last]) > width) {
    --last;
  }
  *end = saved;
  if (last + 3 >= maxEntries) {
    return 0;
  }
  const int32_t after = static_cast<int32_t>(width) + 1;
  changes[last + 1] = changes[last + 2] = changes[last + 3] = after;
  return last + 4;
}

bool G4CodeRow(const uint32_t *ref, size_t refCount, const uint32_t *changes, size_t count,
               uint16_t *words, size_t capacity, uint32_t *bitCount) {
  BitWriter out(words, capacity);
  const size_t aEnd = count - 3;      // the first W + 1 of the row: coded, then done
  const size_t bLast = refCount - 3;  // the first W + 1 of the reference
  uint32_t a0 = changes[0];
  unsigned colour = 0;  // of the pixels from a0 on: 0 white, 1 black
  unsigned parity = 0;  // the colour that the change at b turns to
  size_t a = 0;
  size_t b = 0;
  // SAFETY: a0 stays at most W while a < aEnd, so the walk stops at a W + 1 of the
  // reference, and b + 1 is at most refCount - 2.
  while (a < aEnd) {
    // b1: the first change right of a0 to the colour opposite to a0's.
    if (b > 0) {
      --b;
      parity ^= 1u;
    }
    while (ref[b] <= a0) {
      ++b;
      parity ^= 1u;
    }
    if (parity == colour) {
      parity ^= 1u;
      if (b < bLast) {
        ++b;
      }
    }
    const uint32_t a1 = changes[a + 1];
    const uint32_t b1 = ref[b];
    const uint32_t b2 = ref[b + 1];
    const int32_t delta = static_cast<int32_t>(a1) - static_cast<int32_t>(b1);
    if (b2 < a1) {
      out.put(kT.G4ModeCode[G4_MODE_PASS]);
      a0 = b2;
    } else if (delta >= -3 && delta <= 3) {
      out.put(kT.G4ModeCode[G4_MODE_V0 + delta]);
      ++a;
      a0 = a1;
      colour ^= 1u;
    } else {
      const uint32_t a2 = changes[a + 2];
      out.put(kT.G4ModeCode[G4_MODE_HORIZONTAL]);
      const uint32_t first = a0 == 0 ? a1 - 1 : a1 - a0;
      if (colour == 0) {
        out.putRun(kT.G4WhiteTerm, kT.G4WhiteMakeup, first);
        out.putRun(kT.G4BlackTerm, kT.G4BlackMakeup, a2 - a1);
      } else {
        out.putRun(kT.G4BlackTerm, kT.G4BlackMakeup, first);
        out.putRun(kT.G4WhiteTerm, kT.G4WhiteMakeup, a2 - a1);
      }
      a += 2;
      a0 = a2;
    }
  }
  return out.finish(bitCount);
}

size_t G4RowWordsBound(size_t count, size_t refCount, uint32_t width) {
  // Each change costs at most 28 bits (a horizontal code and half of two runs of at
  // most 25 bits besides their 2560 make-ups), each pass 4 bits for two reference
  // changes, and the 2560 make-ups 12 bits for every 2560 pixels.
  return 2 * (count + refCount) + width / kG4LongestMakeup + 3;
}

}  // namespace c2d

void CCITT_EnableDetectChanges() {}
void CCITT_DisableDetectChanges() {}
void CCITT_EnableG4Encode() {}
void CCITT_DisableG4Encode() {}

void CCITT_DetectChanges(int width, unsigned char *row, int maxEntries, int *changes,
                         unsigned int *count) {
  c2d::DetectChecked(width, row, maxEntries, changes, count);
}

void CCITT_EncodeG4Row(unsigned int *refChanges, unsigned long long refCount, unsigned int *changes,
                       unsigned long long count, unsigned short *words, unsigned int *bitCount,
                       unsigned char *, unsigned short *) {
  c2d::EncodeChecked(refChanges, refCount, changes, count, words, bitCount);
}

void cit_enable_detect_changes_tmp() {}
void cit_disable_detect_changes_tmp() {}
void cit_enable_encode_gr4_tmp() {}
void cit_disable_encode_gr4_tmp() {}

void cit_detect_changes_tmp(int width, unsigned char *row, int maxEntries, int *changes,
                            unsigned int *count) {
  c2d::DetectChecked(width, row, maxEntries, changes, count);
}

void cit_encode_gr4_tmp(unsigned int *refChanges, unsigned long long refCount,
                        unsigned int *changes, unsigned long long count, unsigned short *words,
                        unsigned int *bitCount, unsigned char *, unsigned short *) {
  c2d::EncodeChecked(refChanges, refCount, changes, count, words, bitCount);
}
