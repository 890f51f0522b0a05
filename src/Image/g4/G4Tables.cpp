// The decoder's code tables: the mode and run codes of the fax standards, written as
// they are printed there, one fill routine that spreads them over the lookup tables,
// and the process-wide switch that builds and frees them.
#include "Image/g4/G4Tables.h"

#include <cassert>
#include <cstddef>
#include <new>

#include "Image/g4/G4Decode.h"

namespace c2d {
namespace {

// One code: its bits (the last `length` bits of `bits`), its length and its value.
struct G4Code {
  uint16_t bits;
  uint8_t length;
  int16_t value;
};

constexpr G4Code kModeCodes[] = {
    {0b1, 1, G4_MODE_V0},           {0b011, 3, G4_MODE_VR1},     {0b010, 3, G4_MODE_VL1},
    {0b001, 3, G4_MODE_HORIZONTAL}, {0b0001, 4, G4_MODE_PASS},   {0b000011, 6, G4_MODE_VR2},
    {0b000010, 6, G4_MODE_VL2},     {0b0000011, 7, G4_MODE_VR3}, {0b0000010, 7, G4_MODE_VL3},
};

// White terminating codes 0 to 63, then the white make-up codes 64 to 1728.
constexpr G4Code kWhiteCodes[] = {
    {0b00110101, 8, 0},     {0b000111, 6, 1},       {0b0111, 4, 2},         {0b1000, 4, 3},
    {0b1011, 4, 4},         {0b1100, 4, 5},         {0b1110, 4, 6},         {0b1111, 4, 7},
    {0b10011, 5, 8},        {0b10100, 5, 9},        {0b00111, 5, 10},       {0b01000, 5, 11},
    {0b001000, 6, 12},      {0b000011, 6, 13},      {0b110100, 6, 14},      {0b110101, 6, 15},
    {0b101010, 6, 16},      {0b101011, 6, 17},      {0b0100111, 7, 18},     {0b0001100, 7, 19},
    {0b0001000, 7, 20},     {0b0010111, 7, 21},     {0b0000011, 7, 22},     {0b0000100, 7, 23},
    {0b0101000, 7, 24},     {0b0101011, 7, 25},     {0b0010011, 7, 26},     {0b0100100, 7, 27},
    {0b0011000, 7, 28},     {0b00000010, 8, 29},    {0b00000011, 8, 30},    {0b00011010, 8, 31},
    {0b00011011, 8, 32},    {0b00010010, 8, 33},    {0b00010011, 8, 34},    {0b00010100, 8, 35},
    {0b00010101, 8, 36},    {0b00010110, 8, 37},    {0b00010111, 8, 38},    {0b00101000, 8, 39},
    {0b00101001, 8, 40},    {0b00101010, 8, 41},    {0b00101011, 8, 42},    {0b00101100, 8, 43},
    {0b00101101, 8, 44},    {0b00000100, 8, 45},    {0b00000101, 8, 46},    {0b00001010, 8, 47},
    {0b00001011, 8, 48},    {0b01010010, 8, 49},    {0b01010011, 8, 50},    {0b01010100, 8, 51},
    {0b01010101, 8, 52},    {0b00100100, 8, 53},    {0b00100101, 8, 54},    {0b01011000, 8, 55},
    {0b01011001, 8, 56},    {0b01011010, 8, 57},    {0b01011011, 8, 58},    {0b01001010, 8, 59},
    {0b01001011, 8, 60},    {0b00110010, 8, 61},    {0b00110011, 8, 62},    {0b00110100, 8, 63},
    {0b11011, 5, 64},       {0b10010, 5, 128},      {0b010111, 6, 192},     {0b0110111, 7, 256},
    {0b00110110, 8, 320},   {0b00110111, 8, 384},   {0b01100100, 8, 448},   {0b01100101, 8, 512},
    {0b01101000, 8, 576},   {0b01100111, 8, 640},   {0b011001100, 9, 704},  {0b011001101, 9, 768},
    {0b011010010, 9, 832},  {0b011010011, 9, 896},  {0b011010100, 9, 960},  {0b011010101, 9, 1024},
    {0b011010110, 9, 1088}, {0b011010111, 9, 1152}, {0b011011000, 9, 1216}, {0b011011001, 9, 1280},
    {0b011011010, 9, 1344}, {0b011011011, 9, 1408}, {0b010011000, 9, 1472}, {0b010011001, 9, 1536},
    {0b010011010, 9, 1600}, {0b011000, 6, 1664},    {0b010011011, 9, 1728},
};

// Black terminating codes 0 to 63, then the black make-up codes 64 to 1728.
constexpr G4Code kBlackCodes[] = {
    {0b0000110111, 10, 0},
    {0b010, 3, 1},
    {0b11, 2, 2},
    {0b10, 2, 3},
    {0b011, 3, 4},
    {0b0011, 4, 5},
    {0b0010, 4, 6},
    {0b00011, 5, 7},
    {0b000101, 6, 8},
    {0b000100, 6, 9},
    {0b0000100, 7, 10},
    {0b0000101, 7, 11},
    {0b0000111, 7, 12},
    {0b00000100, 8, 13},
    {0b00000111, 8, 14},
    {0b000011000, 9, 15},
    {0b0000010111, 10, 16},
    {0b0000011000, 10, 17},
    {0b0000001000, 10, 18},
    {0b00001100111, 11, 19},
    {0b00001101000, 11, 20},
    {0b00001101100, 11, 21},
    {0b00000110111, 11, 22},
    {0b00000101000, 11, 23},
    {0b00000010111, 11, 24},
    {0b00000011000, 11, 25},
    {0b000011001010, 12, 26},
    {0b000011001011, 12, 27},
    {0b000011001100, 12, 28},
    {0b000011001101, 12, 29},
    {0b000001101000, 12, 30},
    {0b000001101001, 12, 31},
    {0b000001101010, 12, 32},
    {0b000001101011, 12, 33},
    {0b000011010010, 12, 34},
    {0b000011010011, 12, 35},
    {0b000011010100, 12, 36},
    {0b000011010101, 12, 37},
    {0b000011010110, 12, 38},
    {0b000011010111, 12, 39},
    {0b000001101100, 12, 40},
    {0b000001101101, 12, 41},
    {0b000011011010, 12, 42},
    {0b000011011011, 12, 43},
    {0b000001010100, 12, 44},
    {0b000001010101, 12, 45},
    {0b000001010110, 12, 46},
    {0b000001010111, 12, 47},
    {0b000001100100, 12, 48},
    {0b000001100101, 12, 49},
    {0b000001010010, 12, 50},
    {0b000001010011, 12, 51},
    {0b000000100100, 12, 52},
    {0b000000110111, 12, 53},
    {0b000000111000, 12, 54},
    {0b000000100111, 12, 55},
    {0b000000101000, 12, 56},
    {0b000001011000, 12, 57},
    {0b000001011001, 12, 58},
    {0b000000101011, 12, 59},
    {0b000000101100, 12, 60},
    {0b000001011010, 12, 61},
    {0b000001100110, 12, 62},
    {0b000001100111, 12, 63},
    {0b0000001111, 10, 64},
    {0b000011001000, 12, 128},
    {0b000011001001, 12, 192},
    {0b000001011011, 12, 256},
    {0b000000110011, 12, 320},
    {0b000000110100, 12, 384},
    {0b000000110101, 12, 448},
    {0b0000001101100, 13, 512},
    {0b0000001101101, 13, 576},
    {0b0000001001010, 13, 640},
    {0b0000001001011, 13, 704},
    {0b0000001001100, 13, 768},
    {0b0000001001101, 13, 832},
    {0b0000001110010, 13, 896},
    {0b0000001110011, 13, 960},
    {0b0000001110100, 13, 1024},
    {0b0000001110101, 13, 1088},
    {0b0000001110110, 13, 1152},
    {0b0000001110111, 13, 1216},
    {0b0000001010010, 13, 1280},
    {0b0000001010011, 13, 1344},
    {0b0000001010100, 13, 1408},
    {0b0000001010101, 13, 1472},
    {0b0000001011010, 13, 1536},
    {0b0000001011011, 13, 1600},
    {0b0000001100100, 13, 1664},
    {0b0000001100101, 13, 1728},
};

// Extended make-up codes, common to both colours.
constexpr G4Code kExtMakeupCodes[] = {
    {0b00000001000, 11, 1792},  {0b00000001100, 11, 1856},  {0b00000001101, 11, 1920},
    {0b000000010010, 12, 1984}, {0b000000010011, 12, 2048}, {0b000000010100, 12, 2112},
    {0b000000010101, 12, 2176}, {0b000000010110, 12, 2240}, {0b000000010111, 12, 2304},
    {0b000000011100, 12, 2368}, {0b000000011101, 12, 2432}, {0b000000011110, 12, 2496},
    {0b000000011111, 12, 2560},
};

// Primary entries that send a lookup on to a sub-table, by index of the top 8 bits.
struct G4EscapeRange {
  unsigned first;
  unsigned last;
  int16_t escape;
};

constexpr G4EscapeRange kWhiteEscapes[] = {
    {1, 1, kG4ToExtMakeup},
    {76, 77, kG4ToWhiteSub2},
    {102, 102, kG4ToWhiteSub1},
    {105, 109, kG4ToWhiteSub4},
};
constexpr G4EscapeRange kBlackEscapes[] = {
    {1, 1, kG4ToExtMakeup},    {2, 2, kG4ToBlackSub2}, {3, 3, kG4ToBlackSub3},
    {5, 5, kG4ToBlackSub5},    {6, 6, kG4ToBlackSub6}, {12, 12, kG4ToBlackSub12},
    {13, 13, kG4ToBlackSub13},
};

// The decoder looks at the top 8 bits first; longer codes live in sub-tables.
constexpr unsigned kPrimaryBits = 8;

template <typename T, size_t N>
constexpr size_t CountOf(const T (&)[N]) {
  return N;
}

// Writes `code` at every index of `table` that it prefixes. The table is indexed by
// `indexBits` bits starting at bit `firstBit` of the code (1-based from its top); the
// bits before them are the prefix that chose the table.
void PlaceCode(uint32_t *table, unsigned firstBit, unsigned indexBits, const G4Code &code) {
  const unsigned used = code.length - (firstBit - 1);
  assert(used >= 1 && used <= indexBits);
  const unsigned spare = indexBits - used;
  const unsigned high = code.bits & ((1u << used) - 1u);
  for (unsigned low = 0; low < (1u << spare); ++low) {
    table[(high << spare) | low] = G4PackEntry(code.value, code.length);
  }
}

bool BeginsWith(const G4Code &code, unsigned prefix, unsigned prefixLength) {
  const unsigned length = code.length;
  const unsigned bits = code.bits;
  return length >= prefixLength && (bits >> (length - prefixLength)) == prefix;
}

void FillWith(uint32_t *table, size_t count, int16_t value) {
  for (size_t i = 0; i < count; ++i) {
    table[i] = G4PackEntry(value, 0);
  }
}

// A primary run table: the codes of at most 8 bits, then the escapes.
template <size_t NCodes, size_t NEscapes>
void FillPrimary(uint32_t (&table)[256], const G4Code (&codes)[NCodes],
                 const G4EscapeRange (&escapes)[NEscapes]) {
  FillWith(table, 256, kG4NoCode);
  for (const G4Code &code : codes) {
    if (code.length <= kPrimaryBits) {
      PlaceCode(table, 1, kPrimaryBits, code);
    }
  }
  for (const G4EscapeRange &range : escapes) {
    for (unsigned i = range.first; i <= range.last; ++i) {
      table[i] = G4PackEntry(range.escape, 0);
    }
  }
}

// A sub-table: the codes longer than 8 bits that begin with `prefix`, indexed by the
// `1 << indexBits` patterns of bits firstBit onward. Patterns no code has hold kG4NoCode.
template <size_t NEntries, size_t NCodes>
void FillSub(uint32_t (&table)[NEntries], unsigned prefix, unsigned prefixLength, unsigned firstBit,
             const G4Code (&codes)[NCodes]) {
  static_assert((NEntries & (NEntries - 1)) == 0, "a sub-table has a power of two entries");
  unsigned indexBits = 0;
  while ((1u << indexBits) < NEntries) {
    ++indexBits;
  }
  FillWith(table, NEntries, kG4NoCode);
  for (const G4Code &code : codes) {
    if (code.length > kPrimaryBits && BeginsWith(code, prefix, prefixLength)) {
      PlaceCode(table, firstBit, indexBits, code);
    }
  }
}

// Built by CCITT_EnableG4Decode. The guard says that a build was attempted; the
// tables pointer stays null when that build ran out of memory.
bool tablesGuard = false;
G4DecodeTables *activeTables = nullptr;

}  // namespace

void FillG4DecodeTables(G4DecodeTables &t) {
  // Seven zero bits and the extension prefix are found by the mode lookup and read
  // by the row loop itself: they consume nothing here.
  for (const G4Code &code : kModeCodes) {
    PlaceCode(t.G4ModeTable, 1, 7, code);
  }
  t.G4ModeTable[0] = G4PackEntry(G4_MODE_ZEROS, 0);
  t.G4ModeTable[1] = G4PackEntry(G4_MODE_EXTENSION, 0);

  FillPrimary(t.G4WhiteTable, kWhiteCodes, kWhiteEscapes);
  FillPrimary(t.G4BlackTable, kBlackCodes, kBlackEscapes);

  FillSub(t.G4ExtMakeupTable, 0b00000001, 8, 9, kExtMakeupCodes);
  FillSub(t.G4WhiteSub2, 0b0100110, 7, 8, kWhiteCodes);
  FillSub(t.G4WhiteSub1, 0b01100110, 8, 9, kWhiteCodes);
  FillSub(t.G4WhiteSub4, 0b01101, 5, 6, kWhiteCodes);
  FillSub(t.G4BlackSub2, 0b00000010, 8, 9, kBlackCodes);
  FillSub(t.G4BlackSub3, 0b00000011, 8, 9, kBlackCodes);
  FillSub(t.G4BlackSub5, 0b00000101, 8, 9, kBlackCodes);
  FillSub(t.G4BlackSub6, 0b00000110, 8, 9, kBlackCodes);
  FillSub(t.G4BlackSub12, 0b00001100, 8, 9, kBlackCodes);
  FillSub(t.G4BlackSub13, 0b00001101, 8, 9, kBlackCodes);
  static_assert(CountOf(kWhiteCodes) == 64 + 27 && CountOf(kBlackCodes) == 64 + 27,
                "every terminating and make-up code");
}

const G4DecodeTables *G4ActiveDecodeTables() { return activeTables; }

}  // namespace c2d

ImgErr CCITT_EnableG4Decode() {
  using c2d::activeTables;
  using c2d::tablesGuard;
  if (tablesGuard) {
    return IMG_OK;
  }
  tablesGuard = true;
  // On failure the guard stays, so later calls answer IMG_OK; the decoder refuses to
  // decode without tables until a disable clears the guard.
  auto *tables = new (std::nothrow) c2d::G4DecodeTables;
  if (tables == nullptr) {
    return IMG_FAIL;
  }
  c2d::FillG4DecodeTables(*tables);
  activeTables = tables;
  return IMG_OK;
}

void CCITT_DisableG4Decode() {
  using c2d::activeTables;
  using c2d::tablesGuard;
  if (!tablesGuard) {
    return;
  }
  delete activeTables;
  activeTables = nullptr;
  tablesGuard = false;
}
