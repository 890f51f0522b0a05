// Truncated streams, each decoded from an exact-size heap copy so that a sanitizer
// sees any read past it: the decoder must answer one of its result codes, keep the
// rows it finished right, and fail again when a failed row is retried. (Random and
// bit-flipped input is the fuzz harness's.)
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "G4TiffOracle.h"
#include "Image/g4/internal/G4TileRows.h"

namespace {

using g4test::Bitmap;
using g4test::DecodeOutcome;
using g4test::Rng;

Bitmap TextLikePage(uint32_t w, uint32_t h, uint64_t seed) {
  Bitmap image(w, h);
  Rng rng(seed);
  for (uint32_t y = 0; y < h; ++y) {
    for (uint32_t x = rng.below(9); x < w && (y / 6) % 3 != 2; x += 2 + rng.below(12)) {
      image.fill(x, x + 1 + rng.below(4), y);
    }
  }
  return image;
}

// Decodes and checks what every failure must be: a known code, and the same again
// on retry with the position held (from an odd byteLoc the retry sees the drifted
// bitLoc and is refused as "no data").
DecodeOutcome DecodeCorrupt(const std::vector<uint8_t> &bytes, uint32_t width, uint32_t rows,
                            uint64_t limitBytes) {
  static const std::set<short> kFailures = {G4_DECODE_NO_DATA, G4_DECODE_BAD_RUN, G4_DECODE_REF_END,
                                            G4_DECODE_EXTENSION, G4_DECODE_BAD_EOL};
  const DecodeOutcome out = g4test::DecodeStream(bytes, width, rows, limitBytes);
  if (out.failure != G4_DECODE_OK) {
    EXPECT_EQ(kFailures.count(out.failure), 1u) << out.failure;
    EXPECT_EQ(out.retry, out.oddStart ? static_cast<short>(G4_DECODE_NO_DATA) : out.failure);
    EXPECT_TRUE(out.held);
  }
  return out;
}

class G4CorruptTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(CCITT_EnableG4Decode(), IMG_OK); }
  void TearDown() override { CCITT_DisableG4Decode(); }
};

TEST_F(G4CorruptTest, TruncatedStreamsKeepTheRowsTheyHold) {
  const uint32_t sizes[][2] = {{97, 30}, {1728, 8}, {5, 40}};
  for (const auto &size : sizes) {
    const Bitmap page = TextLikePage(size[0], size[1], size[0]);
    const std::vector<uint8_t> words = g4test::EncodeForDecoder(page);
    ASSERT_FALSE(words.empty());
    uint32_t lastRows = 0;
    for (size_t cut = 0; cut <= words.size(); cut += words.size() / 300 + 1) {
      SCOPED_TRACE("width " + std::to_string(size[0]) + ", cut at " + std::to_string(cut));
      const std::vector<uint8_t> head(words.begin(), words.begin() + cut);
      // Bounded by the cut stream itself, and by a large image's total.
      for (uint64_t limit : {static_cast<uint64_t>(cut), uint64_t{1} << 30}) {
        const DecodeOutcome out = DecodeCorrupt(head, size[0], size[1], limit);
        EXPECT_EQ(g4test::FirstDifference(out.image, g4test::FirstRows(page, out.decodedRows)), "");
        if (limit != cut) {
          EXPECT_GE(out.decodedRows, lastRows);  // more data never decodes fewer rows
          lastRows = out.decodedRows;
        }
      }
    }
    EXPECT_EQ(lastRows, size[1]);  // the whole stream decodes every row
  }
}

// A tile's rows decoded in one batch, the bit reader kept from row to row, give what
// a call per row gives: each row's result and list, and the tile's state at the end,
// on streams cut short and when the caller stops the walk.
TEST_F(G4CorruptTest, BatchedRowsMatchARowByRowWalk) {
  const Bitmap page = TextLikePage(97, 30, 97);
  const std::vector<uint8_t> words = g4test::EncodeForDecoder(page);
  using Rows = std::vector<std::vector<int32_t>>;
  struct Sink {
    Rows rows;
    uint32_t stopAt;
  };
  const auto record = [](Rows &rows, uint32_t r, Img1G4Tile &tile) {
    rows.emplace_back(1, static_cast<int32_t>(r));
    rows.back().insert(rows.back().end(), tile.changes(), tile.changes() + tile.numChanges());
  };
  for (size_t cut = 0; cut <= words.size(); cut += words.size() / 40 + 1) {
    for (const uint32_t stopAt : {7u, 30u}) {
      SCOPED_TRACE("cut at " + std::to_string(cut) + ", stop at " + std::to_string(stopAt));
      std::unique_ptr<uint8_t[]> one(new uint8_t[cut + 1]), two(new uint8_t[cut + 1]);
      std::copy(words.begin(), words.begin() + cut, one.get());
      std::copy(words.begin(), words.begin() + cut, two.get());
      g4test::RowDecoder plain(one.get(), static_cast<uint32_t>(cut), 97);
      g4test::RowDecoder batch(two.get(), static_cast<uint32_t>(cut), 97);
      Rows expected;
      for (uint32_t r = 0; r < 30; ++r) {
        if (CCITT_G4Decode(&plain.tile, 97, cut) != G4_DECODE_OK) {
          continue;
        }
        record(expected, r, plain.tile);
        if (r == stopAt) {
          break;
        }
        plain.tile.swapChanges();
      }
      Sink sink{{}, stopAt};
      const bool whole = c2d::G4DecodeTileRows(
          batch.tile, 97, cut, 30,
          [](void *ctx, Img1G4Tile &tile, uint32_t r) {
            auto &s = *static_cast<Sink *>(ctx);
            s.rows.emplace_back(1, static_cast<int32_t>(r));
            s.rows.back().insert(s.rows.back().end(), tile.changes(),
                                 tile.changes() + tile.numChanges());
            return r != s.stopAt;
          },
          &sink);
      EXPECT_EQ(sink.rows, expected);
      EXPECT_EQ(whole, expected.empty() || expected.back()[0] != static_cast<int32_t>(stopAt));
      EXPECT_EQ(batch.tile.byteLoc(), plain.tile.byteLoc());
      EXPECT_EQ(batch.tile.bitLoc(), plain.tile.bitLoc());
      EXPECT_EQ(batch.tile.numChanges(), plain.tile.numChanges());
      EXPECT_EQ(batch.tile.numRefChanges(), plain.tile.numRefChanges());
    }
  }
}

}  // namespace
