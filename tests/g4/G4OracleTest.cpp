// Our Group 4 decoder against libtiff's encoder: bitmaps of many widths and kinds
// are coded by libtiff, decoded row by row here, painted, and compared bit for bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "G4TiffOracle.h"

namespace {

using g4test::Bitmap;
using g4test::Rng;

// Glyph-like marks: stems, bars and slanted strokes in cells of a text line.
void DrawStrokes(Bitmap &image, Rng &rng) {
  const uint32_t cellW = 7 + rng.below(6);
  const uint32_t cellH = 9 + rng.below(8);
  for (uint32_t top = 1; top + cellH < image.height; top += cellH + 3) {
    for (uint32_t left = rng.below(4); left + cellW < image.width; left += cellW + rng.below(3)) {
      if (rng.chance(0.15)) {
        continue;  // a space between words
      }
      const uint32_t stem = 1 + rng.below(2);
      const uint32_t x = left + rng.below(cellW / 2);
      for (uint32_t y = top; y < top + cellH; ++y) {
        image.fill(x, x + stem, y);
      }
      const uint32_t bar = top + rng.below(cellH);
      image.fill(left, left + cellW - 1, bar);
      for (uint32_t y = top; y < top + cellH; ++y) {
        const uint32_t slant = left + (y - top) * (cellW - 1) / cellH;
        image.fill(slant, slant + stem, y);
      }
    }
  }
}

// Named bitmap makers; each is given the size and a generator seeded per width.
struct Pattern {
  const char *name;
  void (*draw)(Bitmap &image, Rng &rng);
};

void Noise(Bitmap &image, Rng &rng, double density) {
  for (uint32_t y = 0; y < image.height; ++y) {
    for (uint32_t x = 0; x < image.width; ++x) {
      if (rng.chance(density)) {
        image.set(x, y);
      }
    }
  }
}

const Pattern kPatterns[] = {
    {"white", [](Bitmap &, Rng &) {}},
    {"black", [](Bitmap &image, Rng &rng) { Noise(image, rng, 1.0); }},
    {"edge pixels",
     [](Bitmap &image, Rng &) {
       for (uint32_t y = 0; y < image.height; ++y) {
         if (y % 3 != 1) {
           image.set(0, y);
         }
         if (y % 3 != 0) {
           image.set(image.width - 1, y);
         }
       }
     }},
    {"vertical lines",
     [](Bitmap &image, Rng &) {
       for (uint32_t y = 0; y < image.height; ++y) {
         for (uint32_t x = y % 5 == 4 ? 1 : 0; x < image.width; x += 3 + x % 7) {
           image.fill(x, x + 1 + (x & 1), y);
         }
       }
     }},
    {"sparse noise", [](Bitmap &image, Rng &rng) { Noise(image, rng, 0.02); }},
    {"noise", [](Bitmap &image, Rng &rng) { Noise(image, rng, 0.5); }},
    {"dense noise", [](Bitmap &image, Rng &rng) { Noise(image, rng, 0.93); }},
    {"strokes", DrawStrokes},
    {"diagonals",
     // Edges that move by 0 to 5 columns a row: every vertical mode, and horizontal
     // mode where they jump too far.
     [](Bitmap &image, Rng &) {
       for (uint32_t y = 0; y < image.height; ++y) {
         for (uint32_t k = 0; k < 6; ++k) {
           const uint32_t x = (k * image.width / 6 + y * k) % image.width;
           image.fill(x, x + 1 + k, y);
         }
       }
     }},
    {"every run length",
     // Runs of lengths 1, 2, 3, ... growing along each row, starting black on odd
     // rows, so both colours meet every short run length.
     [](Bitmap &image, Rng &) {
       for (uint32_t y = 0; y < image.height; ++y) {
         bool black = y & 1;
         for (uint32_t x = 0, len = 1 + y % 3; x < image.width; len += 1 + (y % 2)) {
           if (black) {
             image.fill(x, x + len, y);
           }
           x += len;
           black = !black;
         }
       }
     }},
};

Bitmap Make(const Pattern &p, uint32_t w, uint32_t h) {
  Bitmap image(w, h);
  Rng rng(w);
  p.draw(image, rng);
  return image;
}

class G4OracleTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(CCITT_EnableG4Decode(), IMG_OK); }
  void TearDown() override { CCITT_DisableG4Decode(); }

  // Codes `image` with libtiff and decodes it here. The bound is the stream's own
  // size, as for an image of one tile.
  //
  // The walker stops at the index W + 1, so a row whose reference has a change in
  // every column, W changes and then W + 1 at index W + 1, cannot reach that last
  // entry as b1 and fails with G4_DECODE_REF_END when it needs it. That only happens
  // at tiny widths; rows before it must still match.
  void ExpectRoundTrip(const Bitmap &image) {
    const std::vector<uint8_t> words = g4test::EncodeForDecoder(image);
    ASSERT_FALSE(words.empty());
    const g4test::DecodeOutcome out =
        g4test::DecodeStream(words, image.width, image.height, words.size());
    if (out.decodedRows < image.height) {
      const uint32_t y = out.decodedRows;
      EXPECT_EQ(out.failure, G4_DECODE_REF_END) << "row " << y;
      ASSERT_GT(y, 0u);
      EXPECT_EQ(ChangesIn(image, y - 1), image.width) << "row " << y;
    }
    Bitmap expected = image;
    std::fill(expected.bits.begin() + static_cast<size_t>(out.decodedRows) * expected.stride,
              expected.bits.end(), 0);
    EXPECT_EQ(g4test::FirstDifference(out.image, expected), "");
  }

  static uint32_t ChangesIn(const Bitmap &image, uint32_t y) {
    uint32_t changes = 0;
    bool previous = false;
    for (uint32_t x = 0; x < image.width; ++x) {
      changes += image.get(x, y) != previous;
      previous = image.get(x, y);
    }
    return changes;
  }
};

TEST_F(G4OracleTest, EveryPatternAtWidths1To70) {
  for (uint32_t w = 1; w <= 70; ++w) {
    for (const Pattern &p : kPatterns) {
      SCOPED_TRACE(std::string(p.name) + " at width " + std::to_string(w));
      ExpectRoundTrip(Make(p, w, 40));
    }
  }
}

TEST_F(G4OracleTest, EveryPatternAtPageAndOddWidths) {
  for (uint32_t w : {97u, 255u, 257u, 1001u, 1728u, 2550u, 3333u, 4961u}) {
    for (const Pattern &p : kPatterns) {
      SCOPED_TRACE(std::string(p.name) + " at width " + std::to_string(w));
      ExpectRoundTrip(Make(p, w, 32));
    }
  }
}

// Rows made of given runs, alternating colours from white (a leading 0 starts black).
Bitmap FromRuns(const std::vector<std::vector<uint32_t>> &rows) {
  uint32_t width = 0;
  for (const auto &runs : rows) {
    uint32_t sum = 0;
    for (uint32_t r : runs) {
      sum += r;
    }
    width = std::max(width, sum);
  }
  Bitmap image(width, static_cast<uint32_t>(rows.size()));
  for (uint32_t y = 0; y < image.height; ++y) {
    uint32_t x = 0;
    bool black = false;
    for (uint32_t r : rows[y]) {
      if (black) {
        image.fill(x, x + r, y);
      }
      x += r;
      black = !black;
    }
    // The rest of a shorter row continues the last run's opposite colour.
    if (black) {
      image.fill(x, width, y);
    }
  }
  return image;
}

TEST_F(G4OracleTest, LongRunsUseMakeUpAndExtendedMakeUpCodes) {
  ExpectRoundTrip(FromRuns({
      {63, 64, 2559, 2560, 2561, 5000, 12000},
      {0, 63, 64, 2559, 2560, 2561, 5000, 12000},
      {1791, 1792, 1793, 2623, 2624, 2625, 5121, 10000},
      {0, 1791, 1792, 1793, 2623, 2624, 2625, 5121, 10000},
      {24850},
      {0, 24850},
      {12425, 1, 12424},
      {0, 12425, 1, 12424},
  }));
  // Every make-up code of both colours, each with a different terminating code.
  std::vector<std::vector<uint32_t>> rows;
  for (uint32_t k = 1; k <= 41; ++k) {
    rows.push_back({64 * k + k % 64, 64 * k + (63 - k % 64)});
    rows.push_back({0, 64 * k + (k * 7) % 64, 64 * k + k % 64});
  }
  ExpectRoundTrip(FromRuns(rows));
}

TEST_F(G4OracleTest, TallImagesOfOneStrip) {
  // Many rows of slowly changing content: long chains of vertical codes.
  ExpectRoundTrip(Make(kPatterns[8], 300, 600));
  ExpectRoundTrip(Make(kPatterns[7], 613, 400));
}

}  // namespace
