// CCITT_G4Decode on hand-coded rows: the change lists of worked examples, each mode,
// make-up codes, ends of block, every result code, the saved position, the state
// after a failure, and the refusals that keep the decoder inside its buffers.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "G4TiffOracle.h"
#include "Image/g4/G4Decode.h"
#include "Image/g4/G4Tables.h"

namespace {

using g4test::RowDecoder;
using g4test::ToDecoderOrder;

// Bits written most significant first from "0" and "1" characters; spaces are
// ignored. Ends with `tail` zero bytes, as coded tiles do.
std::vector<uint8_t> Stream(const std::string &bits, unsigned tail = 4) {
  std::vector<uint8_t> bytes;
  unsigned n = 0;
  for (char c : bits) {
    if (c != '0' && c != '1') {
      continue;
    }
    if (n % 8 == 0) {
      bytes.push_back(0);
    }
    if (c == '1') {
      bytes.back() |= static_cast<uint8_t>(0x80u >> (n % 8));
    }
    ++n;
  }
  bytes.insert(bytes.end(), tail, 0);
  return ToDecoderOrder(bytes);
}

using Row = std::vector<int32_t>;

Row ListOf(const int32_t *list, uint32_t count) { return Row(list, list + count); }

class G4DecodeTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(CCITT_EnableG4Decode(), IMG_OK); }
  void TearDown() override { CCITT_DisableG4Decode(); }

  // Decodes the first row of `bits` at width w, against `ref` if given.
  short DecodeFirst(const std::string &bits, uint32_t w, const std::vector<int32_t> &ref = {},
                    unsigned tail = 4) {
    words_ = Stream(bits, tail);
    decoder_ = std::make_unique<RowDecoder>(words_.data(), words_.size(), w);
    if (!ref.empty()) {
      std::copy(ref.begin(), ref.end(), decoder_->tile.refChanges());
      decoder_->tile.numRefChanges() = static_cast<unsigned>(ref.size());
    }
    return CCITT_G4Decode(&decoder_->tile, w, words_.size());
  }
  Row Changes() { return ListOf(decoder_->tile.changes(), decoder_->tile.numChanges()); }

  std::vector<uint8_t> words_;
  std::unique_ptr<RowDecoder> decoder_;
};

// Mode codes used below.
const char *const kV0 = "1";
const char *const kH = "001";
const char *const kPass = "0001";
const char *const kVL1 = "010";

TEST_F(G4DecodeTest, WorkedExamplesGiveTheirChangeLists) {
  struct Case {
    const char *name;
    std::string bits;
    uint32_t width;
    Row ref;
    Row want;
  };
  const Row white8 = {0, 9, 9, 9};
  const std::vector<Case> cases = {
      {"all white: one V0", kV0, 8, {}, {0, 9, 9, 9}},
      {"black at 2..4", std::string(kH) + "0111" + "10" + kV0, 8, {}, {0, 3, 6, 9, 9, 9}},
      {"black at the last three", std::string(kH) + "1100" + "10", 8, {}, {0, 6, 9, 9, 9}},
      {"first pixel black by a white run of 0",
       std::string(kH) + "00110101" + "11" + kV0,
       8,
       {},
       {0, 1, 3, 9, 9, 9}},
      {"first pixel black by VL1",
       std::string(kVL1) + kV0 + kV0,
       8,
       {0, 2, 4, 9, 9, 9},
       {0, 1, 4, 9, 9, 9}},
      {"pass over a black run of the reference",
       std::string(kPass) + kV0,
       8,
       {0, 2, 4, 9, 9, 9},
       white8},
      {"make-up then terminating 0",
       std::string(kH) + "11011" + "00110101" + "0000100" + kV0,
       200,
       {},
       {0, 65, 75, 201, 201, 201}},
      {"two make-ups add up",
       std::string(kH) + "11011" + "10010" + "1000" + "11" + kV0,
       200,
       {},
       {0, 196, 198, 201, 201, 201}},
      {"extended make-ups of both colours",
       std::string(kH) + "00000001000" + "000000011111" + "00111" + "000000010010" + "11" + kV0,
       7000,
       {},
       {0, 4363, 6349, 7001, 7001, 7001}},
      {"a black run of 0 away from the row's start flips the colour only",
       std::string(kH) + "0111" + "0000110111" + kV0,
       8,
       {},
       {0, 3, 9, 9, 9}},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    ASSERT_EQ(DecodeFirst(c.bits, c.width, c.ref), G4_DECODE_OK);
    EXPECT_EQ(Changes(), c.want);
  }
}

TEST_F(G4DecodeTest, VerticalCodesFollowTheReference) {
  // Reference black at columns 2 and 3 (changes 2 and 4).
  const Row ref = {0, 2, 4, 9, 9, 9};
  struct Case {
    const char *bits;
    Row want;
  };
  const std::vector<Case> cases = {
      {"1 1 1", {0, 2, 4, 9, 9, 9}},         // V0 V0 V0
      {"011 011 1", {0, 3, 5, 9, 9, 9}},     // VR1 VR1 V0
      {"010 010 1", {0, 1, 3, 9, 9, 9}},     // VL1 VL1 V0
      {"000011 1", {0, 4, 9, 9, 9}},         // VR2 to 4: b1 is then W + 1
      {"0000011 1", {0, 5, 9, 9, 9}},        // VR3: 5, then V0 finds W + 1
      {"010 000010 1", {0, 1, 2, 9, 9, 9}},  // VL1, then VL2 from b1 = 4
      // VL3 leaves the row, which nothing checks; the walk back stops at entry 0.
      {"0000010 0000011 1", {0, -1, 3, 9, 9, 9}},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.bits);
    ASSERT_EQ(DecodeFirst(c.bits, 8, ref), G4_DECODE_OK);
    EXPECT_EQ(Changes(), c.want);
  }
}

TEST_F(G4DecodeTest, AChangeAtWDoesNotEndTheRow) {
  const Row lastBlack = {0, 8, 9, 9, 9};
  // V0 gives 8, which is W: the row needs one more code.
  EXPECT_EQ(DecodeFirst("1", 8, lastBlack, 0), G4_DECODE_NO_DATA);
  ASSERT_EQ(DecodeFirst("1 1", 8, lastBlack), G4_DECODE_OK);
  EXPECT_EQ(Changes(), (Row{0, 8, 9, 9, 9}));
}

TEST_F(G4DecodeTest, ResultCodes) {
  struct Case {
    const char *name;
    std::string bits;
    short want;
  };
  const std::vector<Case> cases = {
      {"run past W + 1", std::string(kH) + "1100" + "0011", G4_DECODE_NO_DATA},
      {"eight zero bits inside a run", std::string(kH) + "00000000", G4_DECODE_BAD_RUN},
      {"no such black code", std::string(kH) + "1000" + "00000000", G4_DECODE_BAD_RUN},
      {"extension", "0000001 1111", G4_DECODE_EXTENSION},
      {"seven zeros not followed by 00001", "0000000 1111 1111 1111 1111 1111", G4_DECODE_BAD_EOL},
      {"lone EOL", "000000000001 1111 1111 1111 1111", G4_DECODE_BAD_EOL},
      {"end of block with only zero bytes behind it", "000000000001 000000000001",
       G4_DECODE_NO_DATA},
      {"pass to W + 1 then another code", std::string(kPass) + kV0, G4_DECODE_REF_END},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    const Row ref = c.want == G4_DECODE_REF_END ? Row{0, 2, 9, 9, 9} : Row{};
    EXPECT_EQ(DecodeFirst(c.bits, 8, ref), c.want);
  }
}

TEST_F(G4DecodeTest, AReferenceWithAChangeInEveryColumnStopsTheWalker) {
  // W = 2, reference black then white: changes 1 and 2, then W + 1 at index 3, where
  // the walker's bound lies. The same row again needs b1 = 3 for its end: refused.
  EXPECT_EQ(DecodeFirst("1 1 1", 2, {0, 1, 2, 3, 3, 3}), G4_DECODE_REF_END);
  // Coded in horizontal mode instead, the row's end needs no b1.
  ASSERT_EQ(DecodeFirst(std::string(kH) + "00110101 010" + kH + "000111 0000110111", 2,
                        {0, 1, 2, 3, 3, 3}),
            G4_DECODE_OK);
  EXPECT_EQ(Changes(), (Row{0, 1, 2, 3, 3, 3}));
}

TEST_F(G4DecodeTest, EndOfBlockWhitensTheRowAndDecodingGoesOn) {
  // EOFB, then a row; the four bits after the second EOL's zeros are not looked at.
  ASSERT_EQ(DecodeFirst("000000000001 000000000001 1", 8), G4_DECODE_OK);
  EXPECT_EQ(Changes(), (Row{0, 9, 9, 9}));
  ASSERT_EQ(DecodeFirst("000000000001 1111 00000001 1", 8), G4_DECODE_OK);
  EXPECT_EQ(Changes(), (Row{0, 9, 9, 9}));
  // After a pass, fill bits to the byte and zero bytes are skipped before the next code.
  ASSERT_EQ(
      DecodeFirst(std::string(kPass) + "000000000001 000000000001 0000 00000000 00000000" + kV0, 8,
                  {0, 2, 4, 9, 9, 9}),
      G4_DECODE_OK);
  EXPECT_EQ(Changes(), (Row{0, 9, 9, 9}));
  // Changes decoded before the block are dropped: the row still comes out white.
  ASSERT_EQ(DecodeFirst(std::string(kH) + "1100" + "010" + "000000000001 000000000001" + kV0, 8),
            G4_DECODE_OK);
  EXPECT_EQ(Changes(), (Row{0, 9, 9, 9}));
}

TEST_F(G4DecodeTest, PositionAfterEachRowIsTheNextUnreadBit) {
  // Rows of 1, 1 and 9 bits (H, white 5, black 3), then rows of two V0 codes each,
  // since the reference now has a change at 6; W = 8.
  const std::string bits = std::string("1 1 ") + kH + "1100 10 1 1 1 1 1 1 1 1 1";
  words_ = Stream(bits);
  RowDecoder d(words_.data(), words_.size(), 8);
  struct Step {
    uint32_t byteLoc;
    uint32_t bitLoc;
  };
  const std::vector<Step> steps = {{0, 2}, {0, 3}, {1, 4}, {1, 6}, {1, 8}, {2, 2}, {2, 4}};
  for (size_t i = 0; i < steps.size(); ++i) {
    SCOPED_TRACE(i);
    ASSERT_EQ(d.next(words_.size(), nullptr), G4_DECODE_OK);
    EXPECT_EQ(d.tile.byteLoc(), steps[i].byteLoc);
    EXPECT_EQ(d.tile.bitLoc(), steps[i].bitLoc);
  }
}

TEST_F(G4DecodeTest, OddByteLocStartsInTheLowHalfOfTheWord) {
  // Stream byte 0 is junk (eight V0 codes would be eight rows); the row starts at 1.
  words_ = Stream(std::string("11111111 ") + kH + "1100 10", 4);
  RowDecoder d(words_.data(), words_.size(), 8);
  d.tile.byteLoc() = 1;
  d.tile.bitLoc() = 1;
  ASSERT_EQ(d.next(words_.size(), nullptr), G4_DECODE_OK);
  EXPECT_EQ(ListOf(d.tile.refChanges(), d.tile.numRefChanges()), (Row{0, 6, 9, 9, 9}));
  EXPECT_EQ(d.tile.byteLoc(), 2u);
  EXPECT_EQ(d.tile.bitLoc(), 2u);
}

TEST_F(G4DecodeTest, AFailedRowLeavesThePositionAndFailsAgain) {
  // Each stream has eight zero bits inside a run at the starting position.
  struct Case {
    const char *name;
    std::string bits;
    uint32_t byteLoc;
    uint32_t bitLoc;
    uint32_t driftPerCall;
  };
  const std::vector<Case> cases = {
      {"even byteLoc", std::string("000000 ") + kH + "00000000 1111", 0, 7, 0},
      {"odd byteLoc", std::string("11111111 ") + kH + "00000000 1111", 1, 1, 8},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    words_ = Stream(c.bits);
    RowDecoder d(words_.data(), words_.size(), 8);
    d.tile.byteLoc() = c.byteLoc;
    d.tile.bitLoc() = c.bitLoc;
    d.tile.numChanges() = 77;
    int32_t *const changes = d.tile.changes();
    int32_t *const ref = d.tile.refChanges();
    EXPECT_EQ(d.next(words_.size(), nullptr), G4_DECODE_BAD_RUN);
    for (uint32_t call = 1; call <= 3; ++call) {
      EXPECT_EQ(d.tile.byteLoc(), c.byteLoc);
      EXPECT_EQ(d.tile.bitLoc(), c.bitLoc + c.driftPerCall * call);
      EXPECT_EQ(d.tile.numChanges(), 77u);
      EXPECT_EQ(d.tile.numRefChanges(), 4u);
      EXPECT_EQ(d.tile.changes(), changes);
      EXPECT_EQ(d.tile.refChanges(), ref);
      // A drifted bitLoc no longer names a bit of the word: refused as no data.
      EXPECT_EQ(d.next(words_.size(), nullptr),
                c.driftPerCall == 0 ? G4_DECODE_BAD_RUN : G4_DECODE_NO_DATA);
    }
  }
}

TEST_F(G4DecodeTest, ReadingStopsAtTheCallersBound) {
  // Two rows of H runs; a bound that ends the data after the first word fails the
  // first row, a bound of the data's size decodes both.
  const std::string row = std::string(kH) + "1100" + "10";
  words_ = Stream(row + row, 4);
  for (uint64_t limit : {0ull, 1ull, 2ull}) {
    SCOPED_TRACE(limit);
    RowDecoder d(words_.data(), words_.size(), 8);
    EXPECT_EQ(d.next(limit, nullptr), G4_DECODE_NO_DATA);
  }
  RowDecoder d(words_.data(), words_.size(), 8);
  EXPECT_EQ(d.next(words_.size(), nullptr), G4_DECODE_OK);
  EXPECT_EQ(d.next(words_.size(), nullptr), G4_DECODE_OK);
}

TEST_F(G4DecodeTest, ATileIsNotReadPastItsOwnBytesWhateverTheBound) {
  // A row cut short inside its second run, in an exact-size buffer, with the bound of
  // a large image: the row fails and nothing past the buffer is read.
  const std::vector<uint8_t> words = Stream(std::string(kH) + "1100", 0);
  std::unique_ptr<uint8_t[]> exact(new uint8_t[words.size()]);
  std::copy(words.begin(), words.end(), exact.get());
  RowDecoder d(exact.get(), static_cast<uint32_t>(words.size()), 8);
  EXPECT_NE(d.next(1ull << 30, nullptr), G4_DECODE_OK);
  // An odd byte count: word 0 holds sixteen V0 rows; the last byte's partner is
  // missing, so the word it would start is not read and the next row has no data.
  std::unique_ptr<uint8_t[]> odd(new uint8_t[3]{0xFF, 0xFF, 0xFF});
  RowDecoder o(odd.get(), 3, 8);
  for (int row = 0; row < 16; ++row) {
    ASSERT_EQ(o.next(1ull << 30, nullptr), G4_DECODE_OK) << row;
  }
  EXPECT_EQ(o.next(1ull << 30, nullptr), G4_DECODE_NO_DATA);
}

TEST_F(G4DecodeTest, RefusesStatesOutsideItsBuffers) {
  words_ = Stream("1 1 1 1");
  struct Case {
    const char *name;
    void (*spoil)(Img1G4Tile &);
    uint32_t width;
    short want;
  };
  const std::vector<Case> cases = {
      {"null data", [](Img1G4Tile &t) { t.setData(nullptr, 0); }, 8, G4_DECODE_NO_DATA},
      {"null change buffer", [](Img1G4Tile &t) { t.setChangeBuffers(nullptr, t.refChanges()); }, 8,
       G4_DECODE_NO_DATA},
      {"reference list too short", [](Img1G4Tile &t) { t.numRefChanges() = 2; }, 8,
       G4_DECODE_REF_END},
      {"reference list longer than its buffer", [](Img1G4Tile &t) { t.numRefChanges() = 15; }, 8,
       G4_DECODE_REF_END},
      {"reference end beyond the buffer", [](Img1G4Tile &t) { t.refChanges()[1] = 14; }, 8,
       G4_DECODE_REF_END},
      {"bit position past the word", [](Img1G4Tile &t) { t.bitLoc() = 17; }, 8, G4_DECODE_NO_DATA},
      {"width beyond 32-bit lists", [](Img1G4Tile &) {}, 0x7FFFFFFFu, G4_DECODE_NO_DATA},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    RowDecoder d(words_.data(), words_.size(), 8);
    c.spoil(d.tile);
    EXPECT_EQ(CCITT_G4Decode(&d.tile, c.width, words_.size()), c.want);
  }
  EXPECT_EQ(CCITT_G4Decode(nullptr, 8, 8), G4_DECODE_NO_DATA);
}

TEST_F(G4DecodeTest, WritesStayInsideTheWPlus6EntriesOfTheList) {
  // Against changes 2 and 4, VL1 gives 1, and then VL3 and VL1 give 1 again and
  // again: the list grows without reaching W. Past its W + 6 entries the row fails
  // with "no data" instead of writing on.
  std::string bits = kVL1;
  for (int i = 0; i < 10; ++i) {
    bits += std::string(" 0000010 ") + kVL1;
  }
  EXPECT_EQ(DecodeFirst(bits, 8, {0, 2, 4, 9, 9, 9}), G4_DECODE_NO_DATA);
  // Four pairs still leave room for the end of the row and both sentinels.
  bits = kVL1;
  for (int i = 0; i < 4; ++i) {
    bits += std::string(" 0000010 ") + kVL1;
  }
  ASSERT_EQ(DecodeFirst(bits + " 1 1", 8, {0, 2, 4, 9, 9, 9}), G4_DECODE_OK);
  EXPECT_EQ(Changes(), (Row{0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 4, 9, 9, 9}));
}

TEST(G4DecodeLifecycleTest, TablesComeAndGoWithOneGuardAndNoCount) {
  CCITT_DisableG4Decode();  // does nothing when not built
  CCITT_DisableG4Decode();
  EXPECT_EQ(c2d::G4ActiveDecodeTables(), nullptr);

  // Refused without tables: the tile is not touched, not even bitLoc of an odd byteLoc.
  const std::vector<uint8_t> words = Stream("1");
  RowDecoder d(words.data(), words.size(), 8);
  d.tile.byteLoc() = 1;
  EXPECT_EQ(d.next(words.size(), nullptr), G4_DECODE_NO_DATA);
  EXPECT_EQ(d.tile.bitLoc(), 1u);

  EXPECT_EQ(CCITT_EnableG4Decode(), IMG_OK);
  const c2d::G4DecodeTables *tables = c2d::G4ActiveDecodeTables();
  ASSERT_NE(tables, nullptr);
  EXPECT_EQ(CCITT_EnableG4Decode(), IMG_OK);
  EXPECT_EQ(c2d::G4ActiveDecodeTables(), tables);  // not rebuilt
  CCITT_DisableG4Decode();                         // one disable frees for both enables
  EXPECT_EQ(c2d::G4ActiveDecodeTables(), nullptr);
  d.tile.byteLoc() = 0;
  EXPECT_EQ(d.next(words.size(), nullptr), G4_DECODE_NO_DATA);
}

}  // namespace

namespace {

TEST(Img1G4TileTest, FreshTileIsZeroAndCopiesCopyEverything) {
  unsigned char bytes[2] = {1, 2};
  Img1G4Tile fresh(bytes, 2, 3);  // the arguments are ignored
  EXPECT_EQ(fresh.getData(), nullptr);
  EXPECT_EQ(fresh.getByteCount(), 0u);
  EXPECT_EQ(fresh.changes(), nullptr);
  EXPECT_EQ(fresh.refChanges(), nullptr);
  EXPECT_EQ(fresh.numChanges() + fresh.numRefChanges() + fresh.byteLoc() + fresh.bitLoc() +
                fresh.getXOffset() + fresh.getYOffset(),
            0u);

  int32_t a[6] = {}, b[6] = {};
  fresh.setData(bytes, 2);
  fresh.setChangeBuffers(a, b);
  fresh.numChanges() = 5;
  fresh.numRefChanges() = 4;
  fresh.getXOffset() = 64;
  Img1G4Tile copy(fresh);
  EXPECT_EQ(copy.getData(), bytes);
  EXPECT_EQ(copy.getByteCount(), 2u);
  EXPECT_EQ(copy.getXOffset(), 64u);
  copy.swapChanges();
  EXPECT_EQ(copy.changes(), b);
  EXPECT_EQ(copy.refChanges(), a);
  EXPECT_EQ(copy.numChanges(), 4u);
  EXPECT_EQ(copy.numRefChanges(), 5u);
  EXPECT_EQ(fresh.changes(), a);  // the copy is separate
}

}  // namespace
