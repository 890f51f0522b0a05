// Our Group 4 decoder against libtiff's encoder: bitmaps of many widths and kinds
// are coded by libtiff, decoded row by row here, painted, and compared bit for bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <string>
#include <vector>

#include "G4TiffOracle.h"

namespace {

using g4test::Bitmap;
using g4test::Rng;

using g4test::kPatterns;
using g4test::Pattern;

// Codes `image` with libtiff and decodes it here, bounded by the stream's own size
// as for an image of one tile. The walker stops at the index W + 1, so after a
// reference with a change in every column (tiny widths only) a row that needs the
// last entry as b1 fails with G4_DECODE_REF_END; the rows before it must match.
void ExpectRoundTrip(const Bitmap &image) {
  const std::vector<uint8_t> words = g4test::EncodeForDecoder(image);
  ASSERT_FALSE(words.empty());
  const g4test::DecodeOutcome out =
      g4test::DecodeStream(words, image.width, image.height, words.size());
  if (out.decodedRows < image.height) {
    const uint32_t y = out.decodedRows;
    EXPECT_EQ(out.failure, G4_DECODE_REF_END) << "row " << y;
    ASSERT_GT(y, 0u);
    EXPECT_TRUE(g4test::ChangesInEveryColumn(image, y - 1)) << "row " << y;
  }
  EXPECT_EQ(g4test::FirstDifference(out.image, g4test::FirstRows(image, out.decodedRows)), "");
}

class G4OracleTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(CCITT_EnableG4Decode(), IMG_OK); }
  void TearDown() override { CCITT_DisableG4Decode(); }
};

TEST_F(G4OracleTest, EveryPatternAtWidths1To70AndPageWidths) {
  std::vector<uint32_t> widths;
  for (uint32_t w = 1; w <= 70; ++w) {
    widths.push_back(w);
  }
  widths.insert(widths.end(), {97u, 257u, 1001u, 1728u, 2550u, 3333u, 4961u});
  for (uint32_t w : widths) {
    for (const Pattern &p : kPatterns) {
      SCOPED_TRACE(std::string(p.name) + " at width " + std::to_string(w));
      Bitmap image(w, w <= 70 ? 40 : 32);
      Rng rng(w);
      p.draw(image, rng);
      ExpectRoundTrip(image);
    }
  }
}

TEST_F(G4OracleTest, LongRunsUseMakeUpAndExtendedMakeUpCodes) {
  // Rows of runs alternating from white (a leading 0 starts black), the widest
  // setting the width; a shorter row's rest takes the colour after its last run.
  // Then every make-up code of both colours, each with another terminating code.
  std::vector<std::vector<uint32_t>> rows = {
      {63, 64, 2559, 2560, 2561, 5000, 12000},
      {0, 63, 64, 2559, 2560, 2561, 5000, 12000},
      {1791, 1792, 1793, 2623, 2624, 2625, 5121, 10000},
      {0, 1791, 1792, 1793, 2623, 2624, 2625, 5121, 10000},
      {24850},
      {0, 24850},
      {12425, 1, 12424},
      {0, 12425, 1, 12424},
  };
  for (uint32_t k = 1; k <= 41; ++k) {
    rows.push_back({64 * k + k % 64, 64 * k + (63 - k % 64)});
    rows.push_back({0, 64 * k + (k * 7) % 64, 64 * k + k % 64});
  }
  uint32_t width = 0;
  for (const auto &runs : rows) {
    width = std::max(width, std::accumulate(runs.begin(), runs.end(), 0u));
  }
  Bitmap image(width, static_cast<uint32_t>(rows.size()));
  for (uint32_t y = 0; y < image.height; ++y) {
    uint32_t x = 0;
    bool black = false;
    for (uint32_t run : rows[y]) {
      if (black) {
        image.fill(x, x + run, y);
      }
      x += run;
      black = !black;
    }
    if (black) {
      image.fill(x, image.width, y);
    }
  }
  ExpectRoundTrip(image);
}

}  // namespace
