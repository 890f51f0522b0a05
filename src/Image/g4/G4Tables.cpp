// The decoder's code tables: one fill routine that spreads the printed code lists
// (G4CodeLists.h) over the lookup tables, and the process-wide switch that builds and
// frees them.
#include "Image/g4/internal/G4Tables.h"

#include <cassert>
#include <cstddef>
#include <new>

#include "Image/g4/G4Decode.h"
#include "Image/g4/internal/G4CodeLists.h"

namespace c2d {
namespace {

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
