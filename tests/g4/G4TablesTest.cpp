// The decoder tables: the entries that the format's documentation lists. That every
// code decodes to its run is proven by the libtiff oracle, which meets them all.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "Image/g4/G4Decode.h"
#include "Image/g4/G4Tables.h"

namespace {

using c2d::G4DecodeTables;
using c2d::G4PackEntry;

class G4TablesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(CCITT_EnableG4Decode(), IMG_OK);
    tables_ = c2d::G4ActiveDecodeTables();
    ASSERT_NE(tables_, nullptr);
  }
  void TearDown() override { CCITT_DisableG4Decode(); }

  const G4DecodeTables *tables_ = nullptr;
};

TEST_F(G4TablesTest, ListedEntries) {
  const G4DecodeTables &t = *tables_;
  struct Listed {
    const char *table;
    const uint32_t *entries;
    unsigned first, last;
    int32_t value;
    uint32_t length;
  };
  const std::vector<Listed> listed = {
      {"mode VL3", t.G4ModeTable, 2, 2, 2, 7},
      {"mode VR3", t.G4ModeTable, 3, 3, 8, 7},
      {"mode VL2", t.G4ModeTable, 4, 5, 3, 6},
      {"mode VR2", t.G4ModeTable, 6, 7, 7, 6},
      {"mode pass", t.G4ModeTable, 8, 15, 9, 4},
      {"mode horizontal", t.G4ModeTable, 16, 31, 10, 3},
      {"mode VL1", t.G4ModeTable, 32, 47, 4, 3},
      {"mode VR1", t.G4ModeTable, 48, 63, 6, 3},
      {"mode V0", t.G4ModeTable, 64, 127, 5, 1},
      {"white no code", t.G4WhiteTable, 0, 0, -9, 0},
      {"white to extended make-up", t.G4WhiteTable, 1, 1, -1, 0},
      {"white to sub 2", t.G4WhiteTable, 76, 77, -2, 0},
      {"white to sub 1", t.G4WhiteTable, 102, 102, -3, 0},
      {"white to sub 4", t.G4WhiteTable, 105, 109, -4, 0},
      {"white 0", t.G4WhiteTable, 53, 53, 0, 8},
      {"white 1", t.G4WhiteTable, 28, 31, 1, 6},
      {"white 2", t.G4WhiteTable, 112, 127, 2, 4},
      {"white 64", t.G4WhiteTable, 216, 223, 64, 5},
      {"white 1664", t.G4WhiteTable, 96, 99, 1664, 6},
      {"black no code", t.G4BlackTable, 0, 0, -9, 0},
      {"black to extended make-up", t.G4BlackTable, 1, 1, -1, 0},
      {"black to sub 2", t.G4BlackTable, 2, 2, -2, 0},
      {"black to sub 3", t.G4BlackTable, 3, 3, -3, 0},
      {"black to sub 5", t.G4BlackTable, 5, 5, -4, 0},
      {"black to sub 6", t.G4BlackTable, 6, 6, -5, 0},
      {"black to sub 12", t.G4BlackTable, 12, 12, -6, 0},
      {"black to sub 13", t.G4BlackTable, 13, 13, -7, 0},
      {"black 13", t.G4BlackTable, 4, 4, 13, 8},
      {"black 3", t.G4BlackTable, 128, 191, 3, 2},
      {"black 2", t.G4BlackTable, 192, 255, 2, 2},
      {"extended 1792", t.G4ExtMakeupTable, 0, 1, 1792, 11},
      {"extended 1984", t.G4ExtMakeupTable, 2, 2, 1984, 12},
      {"extended 2560", t.G4ExtMakeupTable, 15, 15, 2560, 12},
      {"white 1472", t.G4WhiteSub2, 0, 0, 1472, 9},
      {"white 1728", t.G4WhiteSub2, 3, 3, 1728, 9},
      {"white 704", t.G4WhiteSub1, 0, 0, 704, 9},
      {"white 768", t.G4WhiteSub1, 1, 1, 768, 9},
      {"white sub 4 unused low", t.G4WhiteSub4, 0, 1, -9, 0},
      {"white 832", t.G4WhiteSub4, 2, 2, 832, 9},
      {"white 1408", t.G4WhiteSub4, 11, 11, 1408, 9},
      {"white sub 4 unused high", t.G4WhiteSub4, 12, 15, -9, 0},
      {"black 18 (0000001000)", t.G4BlackSub2, 0, 7, 18, 10},
      {"black 640 (0000001001010)", t.G4BlackSub2, 10, 10, 640, 13},
      {"black 64 (0000001111)", t.G4BlackSub3, 24, 31, 64, 10},
      {"black 1728 (0000001100101)", t.G4BlackSub3, 5, 5, 1728, 13},
      {"black 16 (0000010111)", t.G4BlackSub5, 12, 15, 16, 10},
      {"black 17 (0000011000)", t.G4BlackSub6, 0, 3, 17, 10},
      {"black 15 (000011000)", t.G4BlackSub12, 0, 7, 15, 9},
      {"black 0 (0000110111)", t.G4BlackSub13, 12, 15, 0, 10},
  };
  for (const Listed &l : listed) {
    SCOPED_TRACE(l.table);
    for (unsigned i = l.first; i <= l.last; ++i) {
      EXPECT_EQ(l.entries[i], G4PackEntry(l.value, l.length)) << "index " << i;
    }
  }
  // The packing itself: length in the high half, signed value in the low half.
  EXPECT_EQ(t.G4ModeTable[2], 0x00070002u);
  EXPECT_EQ(t.G4WhiteTable[1], 0x0000FFFFu);
}

}  // namespace
