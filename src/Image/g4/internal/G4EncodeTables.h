// The Group 4 encoder's tables: byte lookups for change detection, and the mode and
// run codes packed for the bit writer. They are constant data built at compile time
// from the printed code lists, so one copy serves both encoder name sets. Internal.
#ifndef IMAGE_G4_INTERNAL_G4ENCODETABLES_H_
#define IMAGE_G4_INTERNAL_G4ENCODETABLES_H_

#include <cstdint>

#include "Image/g4/internal/G4Tables.h"
#include "Image/g4/internal/G4CodeLists.h"

namespace c2d {

// A code entry: the code left-justified in the low 16 bits, its length in bits in the
// high 16 bits. White run 0 (00110101) is 0x00083500.
constexpr uint32_t G4PackCode(const G4Code &code) {
  return static_cast<uint32_t>(code.length) << 16 |
         (static_cast<uint32_t>(code.bits) << (16 - code.length) & 0xFFFFu);
}
constexpr uint16_t G4CodeBits(uint32_t entry) { return static_cast<uint16_t>(entry & 0xFFFFu); }
constexpr unsigned G4CodeLength(uint32_t entry) { return entry >> 16; }

// Make-up codes go by run / 64 - 1, for runs of 64 to 2560; the last 13 entries are
// the extended make-up codes, common to both colours.
constexpr unsigned kG4MakeupCodes = 40;
constexpr unsigned kG4LongestMakeup = 2560;

struct G4EncodeTables {
  uint8_t G4FirstBlack[256];  // 1-based position of the first set bit from the top; 0: none
  uint8_t G4FirstWhite[256];  // the same for the first clear bit
  uint8_t G4KeepBelow[9];     // 0xFF >> k
  uint8_t G4FillAbove[9];     // the top k bits set
  uint32_t G4WhiteTerm[64];
  uint32_t G4BlackTerm[64];
  uint32_t G4WhiteMakeup[kG4MakeupCodes];
  uint32_t G4BlackMakeup[kG4MakeupCodes];
  uint32_t G4ModeCode[G4_MODE_HORIZONTAL + 1];  // by G4Mode; 0 for the kinds never written
};

namespace g4tables_detail {

template <size_t N>
constexpr void PlaceRuns(const G4Code (&codes)[N], uint32_t *term, uint32_t *makeup) {
  for (const G4Code &code : codes) {
    if (code.value < 64) {
      term[code.value] = G4PackCode(code);
    } else {
      makeup[code.value / 64 - 1] = G4PackCode(code);
    }
  }
}

constexpr G4EncodeTables Build() {
  G4EncodeTables t{};
  for (unsigned v = 0; v < 256; ++v) {
    for (unsigned bit = 8; bit >= 1; --bit) {  // the last found is the topmost
      if ((v >> (8 - bit) & 1u) != 0) {
        t.G4FirstBlack[v] = static_cast<uint8_t>(bit);
      } else {
        t.G4FirstWhite[v] = static_cast<uint8_t>(bit);
      }
    }
  }
  for (unsigned k = 0; k <= 8; ++k) {
    t.G4KeepBelow[k] = static_cast<uint8_t>(0xFFu >> k);
    t.G4FillAbove[k] = static_cast<uint8_t>(~(0xFFu >> k));
  }
  PlaceRuns(kWhiteCodes, t.G4WhiteTerm, t.G4WhiteMakeup);
  PlaceRuns(kBlackCodes, t.G4BlackTerm, t.G4BlackMakeup);
  PlaceRuns(kExtMakeupCodes, t.G4WhiteTerm, t.G4WhiteMakeup);
  PlaceRuns(kExtMakeupCodes, t.G4BlackTerm, t.G4BlackMakeup);
  for (const G4Code &code : kModeCodes) {
    t.G4ModeCode[code.value] = G4PackCode(code);
  }
  return t;
}

}  // namespace g4tables_detail

inline constexpr G4EncodeTables kG4EncodeTables = g4tables_detail::Build();

}  // namespace c2d

#endif  // IMAGE_G4_INTERNAL_G4ENCODETABLES_H_
