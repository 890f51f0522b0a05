// Corrupt input: truncated streams, random bytes and valid streams with flipped bits,
// each decoded from an exact-size heap copy so that a sanitizer sees any read past
// it. The decoder must answer one of its result codes, keep the rows it finished
// right, and fail again when a failed row is retried.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "G4TiffOracle.h"

namespace {

using g4test::Bitmap;
using g4test::Rng;

const std::set<short> kFailureCodes = {G4_DECODE_NO_DATA, G4_DECODE_BAD_RUN, G4_DECODE_REF_END,
                                       G4_DECODE_EXTENSION, G4_DECODE_BAD_EOL};

Bitmap TextLikePage(uint32_t w, uint32_t h, uint64_t seed) {
  Bitmap image(w, h);
  Rng rng(seed);
  for (uint32_t y = 0; y < h; ++y) {
    for (uint32_t x = rng.below(9); x < w; x += 2 + rng.below(12)) {
      if ((y / 6) % 3 != 2) {
        image.fill(x, x + 1 + rng.below(4), y);
      }
    }
  }
  return image;
}

// What decoding `bytes` row by row did: the rows that succeeded, and whether every
// failure was a known code that repeated on retry.
struct Outcome {
  Bitmap image;
  uint32_t rows = 0;
  short failure = G4_DECODE_OK;
};

Outcome DecodeCorrupt(const std::vector<uint8_t> &bytes, uint32_t width, uint32_t maxRows,
                      uint64_t limitBytes) {
  // Exactly the stream's bytes on the heap; at least one so that the pointer is real.
  std::unique_ptr<uint8_t[]> copy(new uint8_t[bytes.empty() ? 1 : bytes.size()]);
  std::copy(bytes.begin(), bytes.end(), copy.get());
  g4test::RowDecoder decoder(copy.get(), static_cast<uint32_t>(bytes.size()), width);
  Outcome run;
  run.image = Bitmap(width, maxRows);
  for (; run.rows < maxRows; ++run.rows) {
    run.failure = decoder.next(limitBytes, run.image.row(run.rows));
    if (run.failure != G4_DECODE_OK) {
      break;
    }
  }
  if (run.failure == G4_DECODE_OK) {
    return run;
  }
  EXPECT_EQ(kFailureCodes.count(run.failure), 1u) << run.failure;
  // The position has not moved, so the row fails again; from an odd byte the retry
  // sees the drifted bitLoc and is refused as "no data".
  const bool odd = decoder.tile.byteLoc() & 1u;
  const uint32_t byteLoc = decoder.tile.byteLoc();
  const short again = decoder.next(limitBytes, nullptr);
  EXPECT_EQ(again, odd ? static_cast<short>(G4_DECODE_NO_DATA) : run.failure);
  EXPECT_EQ(decoder.tile.byteLoc(), byteLoc);
  return run;
}

// The first `rows` rows of two bitmaps of one width agree.
::testing::AssertionResult SameRows(const Bitmap &a, const Bitmap &b, uint32_t rows) {
  for (uint32_t y = 0; y < rows; ++y) {
    if (std::memcmp(a.row(y), b.row(y), a.stride) != 0) {
      return ::testing::AssertionFailure() << "row " << y << " differs";
    }
  }
  return ::testing::AssertionSuccess();
}

class G4CorruptTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(CCITT_EnableG4Decode(), IMG_OK); }
  void TearDown() override { CCITT_DisableG4Decode(); }
};

TEST_F(G4CorruptTest, TruncatedStreamsKeepTheRowsTheyHold) {
  struct Source {
    uint32_t width;
    uint32_t height;
  };
  for (const Source &src : {Source{97, 30}, Source{1728, 8}, Source{5, 40}}) {
    const Bitmap page = TextLikePage(src.width, src.height, src.width);
    const std::vector<uint8_t> words = g4test::EncodeForDecoder(page);
    ASSERT_FALSE(words.empty());
    const size_t step = words.size() / 300 + 1;
    uint32_t lastRows = 0;
    for (size_t cut = 0; cut <= words.size(); cut += step) {
      SCOPED_TRACE("width " + std::to_string(src.width) + ", cut at " + std::to_string(cut));
      const std::vector<uint8_t> head(words.begin(), words.begin() + cut);
      // Bounded by the cut stream itself, and by a large image's total.
      for (uint64_t limit : {static_cast<uint64_t>(cut), uint64_t{1} << 30}) {
        const Outcome run = DecodeCorrupt(head, src.width, src.height, limit);
        EXPECT_TRUE(SameRows(run.image, page, run.rows));
        if (limit != cut) {
          EXPECT_GE(run.rows, lastRows);  // more data never decodes fewer rows
          lastRows = run.rows;
        }
      }
    }
    EXPECT_EQ(lastRows, src.height);  // the whole stream decodes every row
  }
}

TEST_F(G4CorruptTest, RandomBytesGiveResultCodes) {
  Rng rng(99);
  const uint32_t widths[] = {1, 2, 7, 64, 97, 1728};
  for (int i = 0; i < 400; ++i) {
    SCOPED_TRACE(i);
    std::vector<uint8_t> bytes(rng.below(700));
    // Some buffers lean to zero or one bits, where ends of block and long runs lurk.
    const int bias = i % 3;
    for (uint8_t &b : bytes) {
      b = static_cast<uint8_t>(rng.next());
      if (bias == 1) {
        b &= static_cast<uint8_t>(rng.next());
      } else if (bias == 2) {
        b |= static_cast<uint8_t>(rng.next());
      }
    }
    const uint32_t width = widths[rng.below(6)];
    DecodeCorrupt(bytes, width, 60, i % 2 ? bytes.size() : uint64_t{1} << 30);
  }
}

TEST_F(G4CorruptTest, FlippedBitsGiveResultCodes) {
  const Bitmap page = TextLikePage(613, 40, 5);
  const std::vector<uint8_t> words = g4test::EncodeForDecoder(page);
  ASSERT_FALSE(words.empty());
  Rng rng(7);
  uint32_t failed = 0;
  for (int i = 0; i < 300; ++i) {
    SCOPED_TRACE(i);
    std::vector<uint8_t> bytes = words;
    const int flips = 1 + i % 4;
    for (int f = 0; f < flips; ++f) {
      bytes[rng.below(static_cast<uint32_t>(bytes.size()))] ^=
          static_cast<uint8_t>(1u << rng.below(8));
    }
    const Outcome run = DecodeCorrupt(bytes, page.width, page.height, bytes.size());
    failed += run.failure != G4_DECODE_OK;
  }
  EXPECT_GT(failed, 100u);  // most flips break the stream somewhere
}

}  // namespace
