// The working parts of the Group 4 encoder without the checks of the exported entry
// points: change detection and row coding into a word buffer of known capacity.
// G4Encode.cpp wraps them for hosts; G4Strip.cpp calls them for every row. Internal.
#ifndef IMAGE_G4_INTERNAL_G4ROWCODER_H_
#define IMAGE_G4_INTERNAL_G4ROWCODER_H_

#include <cstddef>
#include <cstdint>

namespace c2d {

// The widest row the encoder takes: change columns up to width + 16 fit in an int.
constexpr int kG4MaxWidth = INT32_MAX - 16;

// The change list of `row` into `changes` (maxEntries entries, at least 4), and its
// count, or 0 when it does not fit. Bits past `width` (1 to kG4MaxWidth) add no
// change. The byte row[(width + 7) / 8] is borrowed for a sentinel and put back.
uint32_t G4FindChanges(uint32_t width, uint8_t *row, uint32_t maxEntries, int32_t *changes);

// Codes `changes` against `ref`, both well-formed lists of one width, into `words`
// (16-bit words in processor order, first code at the top), writing at most
// `capacity` words: all full words and one more, partly filled or empty. `bitCount`
// receives the number of code bits. False, with the words past `capacity` untouched,
// when the row needs more room.
[[nodiscard]] bool G4CodeRow(const uint32_t *ref, size_t refCount, const uint32_t *changes,
                             size_t count, uint16_t *words, size_t capacity, uint32_t *bitCount);

// Words that G4CodeRow can need for lists of these counts and width W.
size_t G4RowWordsBound(size_t count, size_t refCount, uint32_t width);

}  // namespace c2d

#endif  // IMAGE_G4_INTERNAL_G4ROWCODER_H_
