// Truncated streams, each decoded from an exact-size heap copy so that a sanitizer
// sees any read past it: the decoder must answer one of its result codes, keep the
// rows it finished right, and fail again when a failed row is retried. (Random and
// bit-flipped input is the fuzz harness's.)
#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "G4TiffOracle.h"

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

}  // namespace
