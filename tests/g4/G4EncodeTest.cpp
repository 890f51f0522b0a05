// The Group 4 coders against libtiff, both ways and byte for byte; worked values; refusals.
#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "G4TiffOracle.h"
#include "Image/Core2DImage.h"
#include "Image/g4/internal/G4TileBatch.h"
#include "ImgTestSupport.h"

namespace {

using namespace g4test;
using Bytes = std::vector<uint8_t>;
using BlockCoder = int (*)(unsigned char *, unsigned char *&, int, int, int);

// `image` coded by createG4Tile or create_g4_tiff_strip_tmp; empty when refused.
Bytes Code(BlockCoder coder, Bitmap image) {
  image.bits.push_back(0);  // a source even for no rows
  unsigned char *out = nullptr;
  const int n = coder(image.bits.data(), out, static_cast<int>(image.width),
                      static_cast<int>(image.stride), static_cast<int>(image.height));
  EXPECT_EQ(out == nullptr, n == 0);
  Bytes bytes(out, out + n);
  std::free(out);
  return bytes;
}

TEST(G4EncodeTest, MatchesLibtiffAndBothDecoders) {
  std::vector<uint32_t> widths = c2d_test::Sequence<uint32_t>(70, 1);
  widths.insert(widths.end(), {1728, 2550, 2623, 2624, 2625, 5200, 9000, 70001});
  ASSERT_EQ(CCITT_EnableG4Decode(), IMG_OK);
  for (uint32_t w : widths) {
    for (const Pattern &p : kPatterns) {
      SCOPED_TRACE(testing::Message() << p.name << " at width " << w);
      Bitmap clean(w, w <= 70 ? 40 : w < 10000 ? 16 : 4);
      Rng rng(w);
      p.draw(clean, rng);
      Bitmap dirty = clean;  // pad bits set at random: no coder may see them
      for (uint32_t y = 0; y < dirty.height && w % 8 != 0; ++y) {
        dirty.row(y)[dirty.stride - 1] |= static_cast<uint8_t>(rng.next() & (0xFFu >> (w % 8)));
      }
      const Bytes strip = Code(create_g4_tiff_strip_tmp, dirty);
      const Bytes tile = Code(createG4Tile, dirty);
      const Bytes theirs = LibtiffStrip(dirty);
      const uint64_t raw = clean.bits.size();
      // Our decoder on libtiff's code; see DESIGN.md on rows after a change in every column.
      const Bytes words = ToDecoderOrder(theirs);
      const DecodeOutcome out = DecodeStream(words, w, clean.height, words.size());
      if (out.decodedRows < clean.height) {
        EXPECT_EQ(out.failure, G4_DECODE_REF_END) << "row " << out.decodedRows;
        EXPECT_TRUE(out.decodedRows > 0 && ChangesInEveryColumn(clean, out.decodedRows - 1));
      }
      EXPECT_EQ(FirstDifference(out.image, FirstRows(clean, out.decodedRows)), "");
      if (strip.empty()) {  // only a code of three times the raw size is refused
        EXPECT_GE(theirs.size() + 12, 3 * raw);
        continue;
      }
      // libtiff ends the end of block on a byte; ours always takes 4 bytes.
      Bytes trimmed = strip;
      if (trimmed.size() == theirs.size() + 1 && trimmed.back() == 0) {
        trimmed.pop_back();
      }
      EXPECT_EQ(trimmed, theirs);
      EXPECT_EQ(FirstDifference(LibtiffDecode(strip, w, clean.height), clean), "");
      // A tile is the same stream, refused within 16 bytes of the raw size or at 4096-byte rows.
      const uint64_t complete = strip.size() - 4;
      EXPECT_EQ(!tile.empty(), clean.stride < 4096 && (complete == 0 || complete + 16 < raw));
      if (!tile.empty()) {
        EXPECT_EQ(tile, strip);
      }
    }
  }
  CCITT_DisableG4Decode();
}

TEST(G4EncodeTest, WorkedValues) {
  // Change detection by both names; the byte after the row comes back unchanged.
  struct Detection {
    int width;
    Bytes row;
    std::vector<int> list;
    size_t room;
  };
  const Detection detections[] = {
      {8, {0x07, 0x5C}, {0, 6, 9, 9, 9}, 12},  // black at the last three
      {5, {0x07, 0x00}, {0, 6, 6, 6}, 9},      // only pad bits set
      {8, {0x55, 0x5C}, {}, 6},                // a list that does not fit gives count 0
  };
  for (auto *detect : {CCITT_DetectChanges, cit_detect_changes_tmp}) {
    for (const Detection &d : detections) {
      Bytes row = d.row;
      std::vector<int> changes(d.room, -1);
      unsigned count = 99;
      detect(d.width, row.data(), static_cast<int>(changes.size()), changes.data(), &count);
      changes.resize(count);
      EXPECT_EQ(std::make_pair(changes, row), std::make_pair(d.list, d.row));
    }
  }
  // A white row against a white reference is one V0 code; a malformed list or no words, none.
  unsigned white[] = {0, 9, 9, 9}, backwards[] = {0, 5, 3, 9, 9, 9};
  for (auto *encode : {CCITT_EncodeG4Row, cit_encode_gr4_tmp}) {
    unsigned short words[16] = {};
    unsigned bits = 0, malformed = 7, none = 7;
    encode(white, 4, white, 4, words, &bits, nullptr, nullptr);
    EXPECT_EQ(std::make_pair(bits, unsigned{words[0]}), std::make_pair(1u, 0x8000u));
    encode(white, 4, backwards, 6, words, &malformed, nullptr, nullptr);
    encode(white, 4, white, 4, nullptr, &none, nullptr, nullptr);
    EXPECT_EQ(std::make_pair(malformed, none), std::make_pair(0u, 0u));
  }
  // r white rows code as r one bits, then the end of block (00 10 01 00 for r = 0).
  for (BlockCoder coder : {createG4Tile, create_g4_tiff_strip_tmp}) {
    for (uint32_t r = 0; r <= 17; ++r) {
      Bytes want(r / 8, 0xFF);
      const uint32_t tail = static_cast<uint32_t>(0xFF00100100ull >> (r % 8));
      for (int shift = 24; shift >= 0; shift -= 8) {
        want.push_back(static_cast<uint8_t>(tail >> shift));
      }
      EXPECT_EQ(Code(coder, Bitmap(64, r)), want) << r << " rows";
    }
  }
}

TEST(G4EncodeTest, RefusesBadArgumentsAndKeepsNothingOnFailure) {
  Bytes zeros(8192, 0);
  Bitmap noise(64, 16);
  Rng rng(5);
  Noise(noise, rng, 0.5);
  struct Case {
    const char *name;
    BlockCoder coder;
    unsigned char *source;
    int width, bytesPerRow, rows, result;
  };
  const BlockCoder tile = createG4Tile, strip = create_g4_tiff_strip_tmp;
  const Case cases[] = {
      {"null source", tile, nullptr, 8, 1, 1, 0},
      {"null source", strip, nullptr, 8, 1, 1, 0},
      {"no width", strip, zeros.data(), 0, 1, 1, 0},
      {"negative width", tile, zeros.data(), -8, 1, 1, 0},
      {"rows narrower than the width", strip, zeros.data(), 9, 1, 1, 0},
      {"negative bytesPerRow", tile, zeros.data(), 8, -1, 1, 0},
      {"tile rows of 4096 bytes", tile, zeros.data(), 8, 4096, 1, 0},
      {"strip rows of 4096 bytes", strip, zeros.data(), 8, 4096, 1, 4},
      {"negative rows", tile, zeros.data(), 8, 1, -3, 4},
      {"noise in a tile", tile, noise.bits.data(), 64, 8, 16, 0},
  };
  for (const Case &c : cases) {
    unsigned char *out = zeros.data();
    EXPECT_EQ(c.coder(c.source, out, c.width, c.bytesPerRow, c.rows), c.result) << c.name;
    EXPECT_EQ(out == nullptr, c.result == 0) << c.name;
    std::free(out);
  }
  // A batch keeps nothing when a tile is refused (the leak check sees the first).
  unsigned char *sources[] = {zeros.data(), noise.bits.data()};
  unsigned sizes[2] = {};
  unsigned char **data = nullptr;
  unsigned *counts = nullptr;
  EXPECT_FALSE(createG4Tiles(0, 64, 16, 8, sources, sizes, &data, &counts));
  EXPECT_FALSE(createG4Tiles(2, 64, 16, 8, sources, nullptr, &data, &counts));
  EXPECT_FALSE(createG4Tiles(2, 64, 16, 8, sources, sizes, &data, &counts));
  EXPECT_EQ(data, nullptr);
  sources[1] = zeros.data();
  ASSERT_TRUE(createG4Tiles(2, 64, 16, 8, sources, sizes, &data, &counts));
  for (unsigned i = 0; i < 2; ++i) {
    EXPECT_EQ(Bytes(data[i], data[i] + counts[i]), Code(createG4Tile, Bitmap(64, 16)));
    std::free(data[i]);
  }
  std::free(data);
  std::free(counts);
}

}  // namespace
