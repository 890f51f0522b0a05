// The lookup tables of the Group 4 row decoder, built from the code lists of the
// fax standards by one fill routine. Internal: the decoder and its tests read them.
//
// An entry packs a signed 16-bit value in its low half and the code's length in bits
// in its high half. Run tables hold run lengths (from 64 up a make-up code) or, with
// length 0, a negative escape to a sub-table or kG4NoCode.
#ifndef IMAGE_G4_INTERNAL_G4TABLES_H_
#define IMAGE_G4_INTERNAL_G4TABLES_H_

#include <cstdint>

namespace c2d {

// Kinds of G4ModeTable entries. The vertical modes run from VL3 to VR3 so that the
// offset of a1 from b1 is the kind less G4_MODE_V0.
enum G4Mode : int16_t {
  G4_MODE_ZEROS = 0,
  G4_MODE_EXTENSION = 1,
  G4_MODE_VL3 = 2,
  G4_MODE_VL2 = 3,
  G4_MODE_VL1 = 4,
  G4_MODE_V0 = 5,
  G4_MODE_VR1 = 6,
  G4_MODE_VR2 = 7,
  G4_MODE_VR3 = 8,
  G4_MODE_PASS = 9,
  G4_MODE_HORIZONTAL = 10,
};

// Negative values of the run tables, each named after the sub-table it leads to.
// The white and the black table use the same values for different sub-tables.
enum G4Escape : int16_t {
  kG4NoCode = -9,
  kG4ToExtMakeup = -1,  // from either table
  kG4ToWhiteSub2 = -2,
  kG4ToWhiteSub1 = -3,
  kG4ToWhiteSub4 = -4,
  kG4ToBlackSub2 = -2,
  kG4ToBlackSub3 = -3,
  kG4ToBlackSub5 = -4,
  kG4ToBlackSub6 = -5,
  kG4ToBlackSub12 = -6,
  kG4ToBlackSub13 = -7,
};

// Every table of the decoder, in one heap block. Bits are numbered from 1 at the top
// of the decoder's 32-bit bit buffer; each comment names the bits that index the table.
struct G4DecodeTables {
  uint32_t G4ModeTable[128];      // bits 1-7
  uint32_t G4WhiteTable[256];     // bits 1-8
  uint32_t G4BlackTable[256];     // bits 1-8
  uint32_t G4ExtMakeupTable[16];  // bits 9-12, both colours
  uint32_t G4WhiteSub2[4];        // bits 8-9
  uint32_t G4WhiteSub1[2];        // bit 9
  uint32_t G4WhiteSub4[16];       // bits 6-9
  uint32_t G4BlackSub2[32];       // bits 9-13
  uint32_t G4BlackSub3[32];       // bits 9-13
  uint32_t G4BlackSub5[16];       // bits 9-12
  uint32_t G4BlackSub6[16];       // bits 9-12
  uint32_t G4BlackSub12[16];      // bits 9-12
  uint32_t G4BlackSub13[16];      // bits 9-12
};

constexpr uint32_t G4PackEntry(int32_t value, uint32_t length) {
  return (length << 16) | (static_cast<uint32_t>(value) & 0xFFFFu);
}
constexpr int32_t G4EntryValue(uint32_t entry) {
  return static_cast<int16_t>(static_cast<uint16_t>(entry & 0xFFFFu));
}
constexpr uint32_t G4EntryLength(uint32_t entry) { return entry >> 16; }

// Fills every table of `tables`.
void FillG4DecodeTables(G4DecodeTables &tables);

// The tables that CCITT_EnableG4Decode built, or null while there are none.
const G4DecodeTables *G4ActiveDecodeTables();

}  // namespace c2d

#endif  // IMAGE_G4_INTERNAL_G4TABLES_H_
