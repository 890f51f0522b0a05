// The HP-RTL row coder and the bilevel tile iterator, against a plain model of greedy
// delta-row coding and c2dimg's own reader (RtlDecode.h), itself checked against netpbm.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "../../tools/c2dimg/RtlDecode.h"
#include "Image/tile/internal/DeltaRowCoder.h"
#include "Image/tile/internal/RowMasks.h"
#include "ImgTestSupport.h"

namespace {

using namespace c2d_test;
using c2dimg::rtl::Bytes;
using Coder = c2d::DeltaRowCoder<Img1TileIterator>;

Bytes Record(const Bytes &payload) {
  const std::string head = "\x1B*b" + std::to_string(payload.size()) + "W";
  Bytes out(head.begin(), head.end());
  out.insert(out.end(), payload.begin(), payload.end());
  return out;
}

// Rows that repeat with a few changes, long equal gaps and runs of every length;
// `sparse` rows change at most 3 bytes, so that their records fit an iterator's buffer.
Bytes Drawing(size_t rowBytes, size_t rows, unsigned seed, bool sparse = false) {
  std::mt19937 rng(seed);
  Bytes bits(rowBytes * rows, 0);
  for (size_t y = 0; y < rows; ++y) {
    if (y > 0 && (sparse || rng() % 3 != 0)) {
      std::copy_n(&bits[(y - 1) * rowBytes], rowBytes, &bits[y * rowBytes]);
    }
    bits[y * rowBytes] |= 0x80;  // netpbm codes a blank row as an empty record in any mode
    for (unsigned k = rng() % (sparse ? 2 : 4); k-- > 0;) {
      const size_t at = rng() % rowBytes, len = 1 + rng() % (sparse ? 3 : 20);
      for (size_t i = at; i < std::min(rowBytes, at + len); ++i) {
        bits[y * rowBytes + i] = static_cast<uint8_t>(rng());
      }
    }
  }
  return bits;
}

TEST(RtlDecoderTest, ReadsNetpbmDeltaStreams) {
  for (const bool colour : {false, true}) {
    const std::string path = ::testing::TempDir() + (colour ? "rtl-oracle.ppm" : "rtl-oracle.pbm");
    const uint32_t w = colour ? 300 : 2504, h = 40;
    const size_t rowBytes = colour ? w * 3 : (w + 7) / 8;
    const Bytes bits = Drawing(rowBytes, h, w);
    std::ofstream(path, std::ios::binary)
        << (colour ? "P6\n" : "P4\n") << w << " " << h << (colour ? "\n255\n" : "\n")
        << std::string(bits.begin(), bits.end());
    const std::string tool = colour ? "ppmtolj -delta " : "pbmtolj -delta ";
    if (std::system((tool + path + " >" + path + ".rtl 2>/dev/null").c_str()) != 0) {
      GTEST_SKIP() << "netpbm is not installed";
    }
    std::ifstream rtl(path + ".rtl", std::ios::binary);
    const Bytes stream((std::istreambuf_iterator<char>(rtl)), std::istreambuf_iterator<char>());
    const auto decoded = c2dimg::rtl::DecodeRtl(stream, colour ? 0 : rowBytes, false);
    EXPECT_EQ(decoded.fault, "");
    ASSERT_EQ(decoded.rows.size(), h);
    for (uint32_t y = 0; y < h; ++y) {
      EXPECT_TRUE(std::equal(decoded.rows[y].begin(), decoded.rows[y].end(), &bits[y * rowBytes]))
          << "colour " << colour << " row " << y;
    }
  }
}

TEST(DeltaRowCoderTest, WorkedValuesAndLimits) {
  const uint8_t X = 0x5A;
  const struct {
    std::vector<std::pair<size_t, uint8_t>> changes;  // on a zero seed
    size_t rowBytes;
    Bytes payload;
  } cases[] = {
      // clang-format off
      {{{1, 0xAA}, {2, 0xBB}}, 16, {0x21, 0xAA, 0xBB}},
      {{{30, X}}, 600, {0x1E, X}},
      {{{31, X}}, 600, {0x1F, 0x00, X}},
      {{{285, X}}, 600, {0x1F, 0xFE, X}},
      {{{286, X}}, 600, {0x1F, 0xFF, 0x00, X}},
      {{{540, X}}, 600, {0x1F, 0xFF, 0xFE, X}},
      {{{541, X}}, 600, {0x1F, 0xFF, 0xFF, 0x00, X}},
      {{}, 16, {}},  // a row equal to its seed still makes a record
      {{{0, X}}, 0, {}},
      {{{8, 1}, {9, 2}}, 10, {0x28, 1, 2}},         // cut short by the row's end
      {{{8, 1}, {10, 2}}, 12, {0x08, 1, 0x01, 2}},  // no run bridges an equal byte
      // Nine differing bytes: runs of 8 and 1.
      {{{0, 1}, {1, 2}, {2, 3}, {3, 4}, {4, 5}, {5, 6}, {6, 7}, {7, 8}, {8, 9}}, 9,
       {0xE0, 1, 2, 3, 4, 5, 6, 7, 8, 0x00, 9}},
      // clang-format on
  };
  for (const auto &c : cases) {
    Bytes seed(c.rowBytes + 1, 0), row = seed, payload(3 * c.rowBytes + 3), out(64, 0xEE);
    for (const auto &[at, v] : c.changes) {
      row[at] = v;
    }
    uint32_t length = 0;
    ASSERT_TRUE(Coder::outputRTLForRow({out.data(), 64, length}, seed.data(), row.data(),
                                       payload.data(), payload.size(),
                                       static_cast<unsigned>(c.rowBytes)));
    EXPECT_EQ(Bytes(out.begin(), out.begin() + length), Record(c.payload)) << c.rowBytes;
  }
  Bytes seed(17, 0), row = Sequence<uint8_t>(17, 1), payload(64), out(64);
  // Output limits are >=: a header filling the output; a payload filling it after the header.
  uint32_t length = 0;
  EXPECT_FALSE(Coder::outputRTLForRow({out.data(), 5, length}, seed.data(), seed.data(),
                                      payload.data(), 4, 2));
  EXPECT_EQ(length, 0u);
  EXPECT_FALSE(Coder::outputRTLForRow({out.data(), 8, length}, seed.data(), row.data(),
                                      payload.data(), 4, 2));
  EXPECT_EQ(Bytes(out.begin(), out.begin() + length), Bytes({0x1B, '*', 'b', '3', 'W'}));
  // A negative offset codes as nothing.
  unsigned char code = 9, fin = 9;
  uint64_t k = 9;
  bool hasFinal = true;
  Coder::calculateOffsetCodes(-1, code, k, hasFinal, fin);
  EXPECT_EQ(code + k + hasFinal + fin, 0u);
}

// The commands of `row` against `seed`, and the payload length after each command.
Bytes ModelPayload(const Bytes &seed, const Bytes &row, std::vector<size_t> &ends) {
  Bytes out;
  for (size_t i = 0, previousEnd = 0; i < row.size();) {
    if (seed[i] == row[i]) {
      ++i;
      continue;
    }
    size_t run = 0;
    while (run < 8 && i + run < row.size() && seed[i + run] != row[i + run]) {
      ++run;
    }
    const size_t offset = i - previousEnd;
    out.push_back(static_cast<uint8_t>((run - 1) << 5 | std::min<size_t>(offset, 31)));
    if (offset >= 31) {
      size_t rest = offset - 31;
      for (; rest >= 255; rest -= 255) {
        out.push_back(0xFF);
      }
      out.push_back(static_cast<uint8_t>(rest));
    }
    out.insert(out.end(), row.begin() + i, row.begin() + i + run);
    previousEnd = i += run;
    ends.push_back(out.size());
  }
  return out;
}

// At capacities at and past each command's end, one that reaches the capacity fails the row.
TEST(DeltaRowCoderTest, MatchesAPlainModelAtEveryPayloadLimit) {
  std::mt19937 rng(1616);
  for (int t = 0; t < 240; ++t) {
    // Runs of every length; on some wide rows gaps past the short and one-byte offsets.
    const bool wide = t % 6 == 0;
    const size_t rowBytes = 1 + rng() % (wide ? 9000 : 700);
    const unsigned begin = rng() % 16, goOn = rng() % 64, scale = t % 12 == 0 ? 4096 : 64;
    Bytes seed(rowBytes), row(rowBytes);
    bool changing = false;
    for (size_t i = 0; i < rowBytes; ++i) {
      seed[i] = static_cast<uint8_t>(rng());
      changing = changing ? rng() % 64 < goOn : rng() % scale < begin;
      row[i] = static_cast<uint8_t>(seed[i] ^ (changing ? 1 + rng() % 255 : 0));
    }
    std::vector<size_t> ends;
    const Bytes model = ModelPayload(seed, row, ends);
    std::vector<size_t> limits{model.size() + 1};
    for (size_t k = 0; k < ends.size(); k += wide ? 16 : 1) {
      limits.insert(limits.end(), {ends[k], ends[k] + 1});
    }
    for (const size_t limit : limits) {
      Bytes payload(limit), out(model.size() + 32);
      uint32_t length = 0;
      const bool ok = Coder::outputRTLForRow(
          {out.data(), static_cast<uint32_t>(out.size()), length}, seed.data(), row.data(),
          payload.data(), limit, static_cast<unsigned>(rowBytes));
      ASSERT_EQ(ok, limit > model.size()) << t << " " << limit;
      if (ok) {
        ASSERT_EQ(Bytes(out.begin(), out.begin() + length), Record(model)) << t;
        continue;
      }
      const auto failing = std::lower_bound(ends.begin(), ends.end(), limit);
      const size_t stands = failing == ends.begin() ? 0 : failing[-1];
      ASSERT_EQ(length, 0u) << t;
      ASSERT_TRUE(std::equal(model.begin(), model.begin() + stands, payload.begin()))
          << t << " " << limit;
    }
  }
}

// The scratch of 512 bytes holds commands with offsets up to 128,295; a longer one grows
// it. Rows build their commands in the payload, as the model test checks.
TEST(DeltaRowCoderTest, OffsetsPastTheFixedScratchGrowIt) {
  for (const unsigned offset : {128295u, 128296u, 200000u}) {
    Bytes seed(offset + 1, 0), row = seed;
    row[offset] = 7;
    std::vector<size_t> ends;
    char *command = nullptr;
    const uint64_t n = Coder::createRTLCommandFromDeltas(row.data(), 0, offset, 1, command);
    EXPECT_EQ(Bytes(command, command + n), ModelPayload(seed, row, ends)) << offset;
  }
}

// The blocks' masks, with and without AVX2, against a byte-by-byte compare.
TEST(DeltaRowCoderTest, BlockMasksMarkEveryDifferingByte) {
  std::mt19937 rng(64);
  Bytes a(64 * 70 + 5), b(a.size());
  for (size_t i = 0; i < a.size(); ++i) {
    a[i] = static_cast<uint8_t>(rng());
    b[i] = rng() % 7 == 0 ? static_cast<uint8_t>(a[i] ^ (1 + rng() % 255)) : a[i];
  }
  std::copy_n(&a[64 * 3], 64, &b[64 * 3]);  // one equal block
  std::vector<uint64_t> want(64);
  for (size_t i = 0; i < 64 * 64; ++i) {
    want[i / 64] |= uint64_t{a[3 + i] != b[3 + i]} << (i % 64);
  }
  for (const auto masksOf : {&c2d::DiffBlockMasks, &c2d::DiffBlockMasksNarrow}) {
    for (const uint32_t count : {0u, 1u, 5u, 64u}) {
      std::vector<uint64_t> masks(count);
      uint64_t changed = 0;
      for (uint32_t k = 0; k < count; ++k) {
        changed |= uint64_t{want[k] != 0} << k;
      }
      EXPECT_EQ(masksOf(a.data(), b.data(), 3, count, masks.data()), changed) << count;
      EXPECT_EQ(masks, std::vector<uint64_t>(want.begin(), want.begin() + count)) << count;
    }
  }
}

// Whether all rows fit or not, only the tile's records (those of its rows coded one by one)
// stay in the buffer; blank rows change the headers' lengths; megabytes clear by pages.
TEST(DeltaRowCoderTest, AnEdgeTileLeavesOnlyItsOwnRecordsInTheBuffer) {
  const unsigned rowBytes = 150, rows = 12;
  Bytes bits = Drawing(rowBytes, rows, 7);
  std::fill_n(&bits[3 * rowBytes], 2 * rowBytes, 0);
  // A last command followed by equal bytes that are not zero shows any byte coded past it.
  std::copy_n(&bits[(rows - 2) * rowBytes], rowBytes, &bits[(rows - 1) * rowBytes]);
  bits[(rows - 1) * rowBytes + 10] ^= 0xFF;
  for (uint8_t &b : bits) {
    b ^= 0x5A;
  }
  Bytes records(5 + rows * 400), payload(3 * rowBytes), seed(rowBytes, 0);
  uint32_t expected = 5;
  for (unsigned i = 0; i < rows; ++i) {
    Coder::outputRTLForRow({records.data(), static_cast<uint32_t>(records.size()), expected},
                           i == 0 ? seed.data() : &bits[(i - 1) * rowBytes], &bits[i * rowBytes],
                           payload.data(), payload.size(), rowBytes);
  }
  for (const uint32_t capacity : {4000u, 300u, 3u << 20}) {
    Bytes cleared(capacity, 0), stale(capacity, 0xAA);
    for (Bytes *buffer : {&cleared, &stale}) {
      uint32_t length = 5;  // where an earlier tile's records stopped
      Coder::codeTile({buffer->data(), capacity, length}, rowBytes, rowBytes, rows,
                      buffer == &stale,
                      [&](uint32_t i, unsigned char *) { return &bits[i * rowBytes]; });
      if (capacity > expected) {
        EXPECT_EQ(length, expected);
        EXPECT_TRUE(std::equal(&records[5], &records[expected], &(*buffer)[5])) << capacity;
      }
    }
    EXPECT_TRUE(stale == cleared) << capacity;
  }
}

TEST(Img1TileIteratorTest, GridsAndStreamsDecodeTileByTile) {
  const struct {
    unsigned w, h, tw, th;
    ImgAlignmentEnum align;
    unsigned pad, tileBytes, across, down, validW, validH;
  } grids[] = {
      {100, 9, 100, 4, IMG_ALIGN_8, 4, 13, 1, 3, 100, 1},
      {100, 9, 100, 9, IMG_ALIGN_32, 28, 16, 1, 1, 100, 9},
      {1000, 5, 300, 5, IMG_ALIGN_NONE, 4, 38, 4, 1, 100, 5},
      {1000, 5, 300, 2, IMG_ALIGN_32, 20, 40, 4, 3, 100, 1},
      {137, 6, 5000, -1u, IMG_ALIGN_8, 7, 18, 1, 1, 137, 6},  // whole image
  };
  for (const auto &g : grids) {
    SCOPED_TRACE(std::to_string(g.w) + " in " + std::to_string(g.tw));
    const unsigned stride =
        (g.w + (g.align == IMG_ALIGN_32 ? 31 : 7)) / 8 & (g.align == IMG_ALIGN_32 ? ~3u : ~0u);
    Bytes bits = Drawing(stride, g.h, g.w, true);
    ImgPtr<CImg1> image = Make1(g.w, g.h, bits, g.align);
    std::unique_ptr<Img1TileIterator> it(image->getTileIterator(g.tw, g.th, CImg1::HP_RTL));
    ASSERT_NE(it, nullptr);
    EXPECT_EQ(it->getTileRowBitPadding(), g.pad);
    EXPECT_EQ(it->getWidthInTiles() * 100 + it->getHeightInTiles(), g.across * 100 + g.down);
    unsigned char *data = nullptr;
    unsigned length = 0, previous = 0, x, y, tw, th, vw, vh, tiles = 0;
    bool ok = false;
    // The records of every tile go on after the last: the buffer fills after a few.
    for (bool full = false; it->getNextTile(data, length, x, y, tw, th, vw, vh, ok);) {
      EXPECT_TRUE(ok || tiles > 0);
      full = full || !ok;
      ++tiles;
      if (full) {
        continue;
      }
      const bool right = x + tw >= g.w, bottom = y + th >= g.h;
      EXPECT_EQ(std::make_pair(vw, vh),
                std::make_pair(right ? g.validW : tw, bottom ? g.validH : th));
      // Each tile's records follow the running total; its rows are the image's first.
      const unsigned rowBytes = g.tileBytes - (right ? (tw - vw + 7) / 8 : 0);
      const auto decoded = c2dimg::rtl::DecodeRtl(Bytes(data + previous, data + length), rowBytes);
      EXPECT_EQ(decoded.fault, "");
      ASSERT_EQ(decoded.rows.size(), vh);
      for (unsigned r = 0; r < vh; ++r) {
        EXPECT_TRUE(
            std::equal(decoded.rows[r].begin(), decoded.rows[r].end(), &bits[r * g.tileBytes]));
      }
      previous = length;
    }
    EXPECT_EQ(std::make_pair(tiles, ok), std::make_pair(g.across * g.down, false));
  }
}

TEST(Img1TileIteratorTest, RefusalsFormatsWithoutDataAndFailures) {
  ImgPtr<CImg1> image = Make1(64, 1, Bytes(8, 0xA5), IMG_ALIGN_8);
  for (const auto &[tw, th, format] : {std::tuple{0, 1, 4}, {1, 0, 4}, {8, 1, 0}, {8, 1, 5}}) {
    EXPECT_EQ(image->getTileIterator(tw, th, CImg1::TileFormat(format)), nullptr);
  }
  unsigned char *data = nullptr;
  unsigned length = 0, x, y, tw, th, vw, vh;
  bool ok = true;
  for (const auto format : {CImg1::UNCOMPRESSED, CImg1::UNCOMPRESSED_NULL, CImg1::GROUP4}) {
    std::unique_ptr<Img1TileIterator> it(image->getTileIterator(32, 1, format));
    for (int tile = 0; tile < 2; ++tile) {
      EXPECT_TRUE(it->getNextTile(data, length, x, y, tw, th, vw, vh, ok));
      EXPECT_EQ(std::make_pair(ok, length), std::make_pair(false, 0u));
    }
  }
  // A row of 14 coded bytes in a buffer of 8 keeps its header; failed scratch writes nothing.
  std::unique_ptr<Img1TileIterator> it(image->getTileIterator(-1, -1, CImg1::HP_RTL));
  EXPECT_TRUE(it->getNextTile(data, length, x, y, tw, th, vw, vh, ok) && !ok);
  EXPECT_EQ(Bytes(data, data + length), Bytes({0x1B, '*', 'b', '9', 'W'}));
  it.reset(image->getTileIterator(-1, -1, CImg1::HP_RTL));
  {
    FailTables fail(1, 1);
    EXPECT_TRUE(it->getNextTile(data, length, x, y, tw, th, vw, vh, ok));
  }
  EXPECT_EQ(std::make_pair(ok, length), std::make_pair(false, 0u));
  // An image that gave its pixels away gets no iterator.
  IImg::deallocImageBuffer(reinterpret_cast<void *&>(data = image->ownData()));
  EXPECT_EQ(image->getTileIterator(8, 1, CImg1::HP_RTL), nullptr);
}

}  // namespace
