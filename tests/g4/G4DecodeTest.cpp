// CCITT_G4Decode on hand-coded rows no coder writes, truncated streams and exact copies.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "G4TiledPage.h"
#include "Image/g4/G4Decode.h"
#include "Image/g4/internal/G4Tables.h"
#include "Image/g4/internal/G4TileRows.h"

namespace {

using namespace g4test;
using Row = std::vector<int32_t>;

std::string Repeat(const std::string &s, int n) {
  std::string out;
  for (int i = 0; i < n; ++i) {
    out += s;
  }
  return out;
}

class G4DecodeTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(CCITT_EnableG4Decode(), IMG_OK); }
  void TearDown() override { CCITT_DisableG4Decode(); }
};

// Mode codes: V0 1, VR1 011, VL1 010, VR2 000011, VL2 000010, VR3 0000011, VL3 0000010,
// pass 0001, horizontal (H) 001, extension 0000001; EOL 000000000001. W is 8 unless
// given; an empty reference is all white.
TEST_F(G4DecodeTest, HandCodedRowsGiveTheirListsAndResults) {
  const short kOk = G4_DECODE_OK, kNoData = G4_DECODE_NO_DATA, kBadRun = G4_DECODE_BAD_RUN,
              kRefEnd = G4_DECODE_REF_END, kBadEol = G4_DECODE_BAD_EOL;
  // r24: black at columns 2 and 3; every: W = 2, a change in every column.
  const Row white = {0, 9, 9, 9}, r24 = {0, 2, 4, 9, 9, 9}, every = {0, 1, 2, 3, 3, 3};
  const std::string eofb = " 000000000001 000000000001 ";
  const std::string vl3vl1 = " 0000010 010";
  struct Case {
    const char *name;
    std::string bits;
    uint32_t width;
    Row ref;
    short result;
    Row want;  // checked on success
    void (*spoil)(Img1G4Tile &) = nullptr;
    unsigned tail = 4;
  };
  using Tile = Img1G4Tile;
  // clang-format off
  const std::vector<Case> cases = {
      {"two make-ups add up", "001 11011 10010 1000 11 1", 200, {}, kOk,
       {0, 196, 198, 201, 201, 201}},
      // A black run of 0 away from the start flips the colour and appends nothing.
      {"black run of 0", "001 0111 0000110111 1", 8, {}, kOk, {0, 3, 9, 9, 9}},
      // Nothing checks that a change stays in the row; the walk back stops at entry 0.
      {"VL3 leaves the row", "0000010 0000011 1", 8, r24, kOk, {0, -1, 3, 9, 9, 9}},
      {"a change at W needs one more code", "1", 8, {0, 8, 9, 9, 9}, kNoData, {}, nullptr, 0},
      {"a change at W, then V0", "1 1", 8, {0, 8, 9, 9, 9}, kOk, {0, 8, 9, 9, 9}},
      {"run past W + 1", "001 1100 0011", 8, {}, kNoData, {}},
      {"eight zero bits inside a run", "001 00000000", 8, {}, kBadRun, {}},
      {"no such black code", "001 1000 00000000", 8, {}, kBadRun, {}},
      {"extension", "0000001 1111", 8, {}, G4_DECODE_EXTENSION, {}},
      {"seven zeros, then no 00001", "0000000" + Repeat(" 1111", 5), 8, {}, kBadEol, {}},
      {"lone EOL", "000000000001" + Repeat(" 1111", 4), 8, {}, kBadEol, {}},
      {"end of block, then only zero bytes", eofb, 8, {}, kNoData, {}},
      {"pass to W + 1, then another code", "0001 1", 8, {0, 2, 9, 9, 9}, kRefEnd, {}},
      // W + 1 at index 3 is the walker's bound: V0 needing it as b1 is refused, H needs no b1.
      {"every column: V0", "1 1 1", 2, every, kRefEnd, {}},
      {"every column: H", "001 00110101 010 001 000111 0000110111", 2, every, kOk, every},
      // An end of block whitens the row and decoding goes on after it.
      {"end of block, then a row", eofb + "1", 8, {}, kOk, white},
      {"bits after the second EOL's zeros", "000000000001 1111 00000001 1", 8, {}, kOk, white},
      {"after a pass, fill and zero bytes", "0001" + eofb + "0000 00000000 00000000 1", 8, r24, kOk,
       white},
      {"changes before the block dropped", "001 1100 010" + eofb + "1", 8, {}, kOk, white},
      // VL1, then pairs VL3 VL1, each give 1: past W + 6 entries the row fails; four pairs fit.
      {"W + 6 entries overflow", "010" + Repeat(vl3vl1, 10), 8, r24, kNoData, {}},
      {"W + 6 entries fit", "010" + Repeat(vl3vl1, 4) + " 1 1", 8, r24, kOk,
       {0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 4, 9, 9, 9}},
      // States outside the buffers are refused.
      {"null data", "1", 8, {}, kNoData, {}, [](Tile &t) { t.setData(nullptr, 0); }},
      {"null changes", "1", 8, {}, kNoData, {},
       [](Tile &t) { t.setChangeBuffers(nullptr, t.refChanges()); }},
      {"reference list too short", "1", 8, {0, 9}, kRefEnd, {}},
      {"reference list past its buffer", "1", 8, {}, kRefEnd, {},
       [](Tile &t) { t.numRefChanges() = 15; }},
      {"reference end past the buffer", "1", 8, {0, 14, 9, 9}, kRefEnd, {}},
      {"bit position past the word", "1", 8, {}, kNoData, {}, [](Tile &t) { t.bitLoc() = 17; }},
  };
  // clang-format on
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    const std::vector<uint8_t> words = CodeBits(c.bits, c.tail);
    RowDecoder d(words.data(), static_cast<uint32_t>(words.size()), c.width);
    std::copy(c.ref.begin(), c.ref.end(), d.tile.refChanges());
    d.tile.numRefChanges() = c.ref.empty() ? 4 : static_cast<unsigned>(c.ref.size());
    if (c.spoil != nullptr) {
      c.spoil(d.tile);
    }
    ASSERT_EQ(CCITT_G4Decode(&d.tile, c.width, words.size()), c.result);
    if (c.result == kOk) {
      EXPECT_EQ(Row(d.tile.changes(), d.tile.changes() + d.tile.numChanges()), c.want);
    }
  }
  // A width whose W + 6 does not fit a 32-bit list, and no tile at all.
  const std::vector<uint8_t> words = CodeBits("1");
  RowDecoder d(words.data(), static_cast<uint32_t>(words.size()), 8);
  EXPECT_EQ(CCITT_G4Decode(&d.tile, 0x7FFFFFFFu, words.size()), kNoData);
  EXPECT_EQ(CCITT_G4Decode(nullptr, 8, 8), kNoData);
}

TEST_F(G4DecodeTest, ATileIsNotReadPastItsOwnBytesWhateverTheBound) {
  const short kNoData = G4_DECODE_NO_DATA, kOk = G4_DECODE_OK;
  // DecodeStream reads an exact-size copy; a bound inside the first word fails row 0.
  for (uint64_t limit : {0ull, 1ull, 2ull, 8ull}) {
    EXPECT_EQ(DecodeStream(CodeBits("001 1100 10"), 8, 1, limit).failure, limit < 8 ? kNoData : kOk)
        << limit;
  }
  // An odd byte count: sixteen V0 rows in word 0; the unpaired last byte is not read.
  const DecodeOutcome odd = DecodeStream({0xFF, 0xFF, 0xFF}, 8, 20, 1ull << 30);
  EXPECT_EQ(std::make_pair(odd.decodedRows, odd.failure), std::make_pair(16u, kNoData));
}

class G4CorruptTest : public G4DecodeTest {};

// Each failure is a known code, repeated on retry (from an odd byteLoc the drifted bitLoc is
// refused as "no data") with the tile's state held; the rows before it stand.
TEST_F(G4CorruptTest, TruncatedStreamsKeepTheRowsTheyHold) {
  const std::set<short> kFailures = {G4_DECODE_NO_DATA, G4_DECODE_BAD_RUN, G4_DECODE_REF_END,
                                     G4_DECODE_EXTENSION, G4_DECODE_BAD_EOL};
  const uint32_t sizes[][2] = {{97, 30}, {1728, 8}, {5, 40}};
  for (const auto &[w, h] : sizes) {
    const Bitmap page = StrokePage(w, h, w);
    const std::vector<uint8_t> words = LibtiffStrip(page, true);
    ASSERT_FALSE(words.empty());
    uint32_t lastRows = 0;
    const size_t step = words.size() / 300 + 1;
    for (size_t cut = 0; cut < words.size() + step; cut += step) {
      SCOPED_TRACE(testing::Message() << "width " << w << ", cut at " << cut);
      const std::vector<uint8_t> head(words.begin(), words.begin() + std::min(cut, words.size()));
      // Bounded by the cut stream itself, and by a large image's total.
      for (uint64_t limit : {uint64_t{head.size()}, uint64_t{1} << 30}) {
        const DecodeOutcome out = DecodeStream(head, w, h, limit);
        if (out.failure != G4_DECODE_OK) {
          EXPECT_EQ(kFailures.count(out.failure), 1u) << out.failure;
          EXPECT_EQ(out.retry, out.oddStart ? static_cast<short>(G4_DECODE_NO_DATA) : out.failure);
          EXPECT_TRUE(out.held);
        }
        EXPECT_EQ(FirstDifference(out.image, FirstRows(page, out.decodedRows)), "");
        if (limit != head.size()) {
          EXPECT_GE(out.decodedRows, lastRows);  // more data never decodes fewer rows
          lastRows = out.decodedRows;
        }
      }
    }
    EXPECT_EQ(lastRows, h);  // the whole stream decodes every row
  }
}

// A batch of rows gives each row's list and the end state a call per row gives.
TEST_F(G4CorruptTest, BatchedRowsMatchARowByRowWalk) {
  const std::vector<uint8_t> words = LibtiffStrip(StrokePage(97, 30, 97), true);
  struct Sink {
    std::vector<Row> rows;
    uint32_t stopAt;
    bool add(uint32_t r, Img1G4Tile &tile) {
      rows.emplace_back(1, static_cast<int32_t>(r));
      rows.back().insert(rows.back().end(), tile.changes(), tile.changes() + tile.numChanges());
      return r != stopAt;
    }
  };
  for (size_t cut = 0; cut <= words.size(); cut += words.size() / 40 + 1) {
    for (const uint32_t stopAt : {7u, 30u}) {
      SCOPED_TRACE(testing::Message() << "cut at " << cut << ", stop at " << stopAt);
      const std::vector<uint8_t> one(words.begin(), words.begin() + cut), two = one;
      RowDecoder plain(one.data(), static_cast<uint32_t>(cut), 97);
      RowDecoder batch(two.data(), static_cast<uint32_t>(cut), 97);
      Sink expected{{}, stopAt}, sink{{}, stopAt};
      for (uint32_t r = 0; r < 30; ++r) {
        if (CCITT_G4Decode(&plain.tile, 97, cut) != G4_DECODE_OK) {
          continue;
        }
        if (!expected.add(r, plain.tile)) {
          break;
        }
        plain.tile.swapChanges();
      }
      const bool whole = c2d::G4DecodeTileRows(
          batch.tile, 97, cut, 30,
          [](void *ctx, Img1G4Tile &tile, uint32_t r) {
            return static_cast<Sink *>(ctx)->add(r, tile);
          },
          &sink);
      EXPECT_EQ(sink.rows, expected.rows);
      EXPECT_EQ(whole,
                expected.rows.empty() || expected.rows.back()[0] != static_cast<int32_t>(stopAt));
      EXPECT_EQ(TileState(batch.tile), TileState(plain.tile));
    }
  }
}

TEST(G4DecodeLifecycleTest, TablesComeAndGoWithOneGuardAndNoCount) {
  CCITT_DisableG4Decode();  // does nothing when not built
  EXPECT_EQ(c2d::G4ActiveDecodeTables(), nullptr);
  // Refused without tables: the tile is not touched, not even bitLoc of an odd byteLoc.
  const std::vector<uint8_t> words = CodeBits("1");
  RowDecoder d(words.data(), static_cast<uint32_t>(words.size()), 8);
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

// swapChanges is used by every decode of more than one row.
TEST(Img1G4TileTest, FreshTileIsZeroWhateverItsArguments) {
  unsigned char bytes[2] = {1, 2};
  Img1G4Tile tile(bytes, 2, 3);
  EXPECT_TRUE(tile.getData() == nullptr && tile.changes() == nullptr && tile.byteLoc() == 0);
}

}  // namespace
