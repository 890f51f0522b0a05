// The true-colour and palette tile iterators, against the image and c2dimg's HP-RTL reader.
#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "../../tools/c2dimg/RtlDecode.h"
#include "ImgTestSupport.h"

namespace {

using namespace c2d_test;
using c2dimg::rtl::Bytes;

struct Tile {
  unsigned char *data = nullptr;
  unsigned length = 0, nullValue = 0, x = 0, y = 0, tw = 0, th = 0, vw = 0, vh = 0;
  bool ok = false;
  bool next(Img32TileIterator &it) {
    return it.getNextTile(data, length, nullValue, x, y, tw, th, vw, vh, ok);
  }
};

// Pixels that differ in all four bytes, with rows that repeat now and then.
ImgPtr<CImg32> Noise(unsigned w, unsigned h, unsigned seed) {
  std::mt19937 rng(seed);
  std::vector<unsigned> pixels(size_t{w} * h);
  for (size_t i = 0; i < pixels.size(); ++i) {
    pixels[i] = i >= w && rng() % 4 == 0 ? pixels[i - w] : static_cast<unsigned>(rng());
  }
  return Make32(w, h, pixels);
}

TEST(Img32TileIteratorTest, RawTilesReassembleWithZeroOverhang) {
  const struct {
    unsigned w, h, tw, th, tiles, rightPad, bottomPad;
  } grids[] = {
      {1000, 1000, 300, 300, 16, 200, 200}, {7, 5, 3, 2, 9, 2, 1}, {6, 4, -1u, 2, 2, 0, 0}};
  for (const auto &g : grids) {
    for (const auto format : {CImg32::UNCOMPRESSED, CImg32::UNCOMPRESSED_NULL}) {
      SCOPED_TRACE(testing::Message() << g.w << " in " << g.tw << ", format " << format);
      ImgPtr<CImg32> image = Noise(g.w, g.h, g.w);
      std::unique_ptr<Img32TileIterator> it(image->getTileIterator(g.tw, g.th, format));
      ASSERT_NE(it, nullptr);
      EXPECT_EQ(it->getWidthInTiles() * it->getHeightInTiles(), g.tiles);
      EXPECT_EQ(it->getRowPixelPadding(), g.rightPad);
      Tile t;
      unsigned tiles = 0;
      for (; t.next(*it); ++tiles) {
        EXPECT_EQ(t.length, t.tw * t.th * 4);
        EXPECT_EQ(t.vw, t.x + t.tw > g.w ? t.tw - g.rightPad : t.tw);
        EXPECT_EQ(t.vh, t.y + t.th > g.h ? t.th - g.bottomPad : t.th);
        for (unsigned r = 0; r < t.th; ++r) {
          for (unsigned c = 0; c < t.tw; ++c) {
            unsigned pixel;
            std::memcpy(&pixel, t.data + (size_t{r} * t.tw + c) * 4, 4);
            ASSERT_EQ(pixel, r < t.vh && c < t.vw ? (*image)(t.y + r, t.x + c) : 0u)
                << r << "," << c;
          }
        }
      }
      EXPECT_EQ(std::make_pair(tiles, t.ok), std::make_pair(g.tiles, true));  // ok stays true
    }
  }
}

// Uniform means equal to the background at creation (alpha too); reported with today's.
TEST(Img32TileIteratorTest, UniformTilesIgnoreTheOutputOptions) {
  const unsigned old = 0xFF102030, now = 0xFFFFFFFF;
  ImgPtr<CImg32> image = Flat32(5, 5, old);
  image->setBackgroundColor(old);
  (*image)(0, 0) = old & 0x00FFFFFF;  // tile (0, 0) differs only in alpha
  std::unique_ptr<Img32TileIterator> it(image->getTileIterator(3, 3, CImg32::UNCOMPRESSED_NULL));
  it->setOutput_24Bit(true);  // ignored on this path, as are grey and the order
  it->setGrayScale(true);
  it->setOutput_RGBOrder(RGB_ORDER_RGB);
  image->setBackgroundColor(now);
  Tile t;
  for (unsigned i = 0; t.next(*it); ++i) {
    EXPECT_EQ(t.length, i == 0 ? 36u : 0u) << i;
    EXPECT_EQ(t.nullValue, i == 0 ? 0u : now) << i;
    unsigned pixel;
    std::memcpy(&pixel, t.data + 4, 4);
    EXPECT_EQ(pixel, old) << i;
  }
}

TEST(Img32TileIteratorTest, RowLayoutsGreyAndTheFilterDrift) {
  ImgPtr<CImg32> white = Flat32(5, 4, 0xFFFFFFFF);
  std::unique_ptr<Img32TileIterator> grey(white->getTileIterator(5, 4, CImg32::UNCOMPRESSED));
  grey->setOutputAlignment(IMG_ALIGN_32);
  grey->setOutput_24Bit(true);  // drops the alignment set before it
  EXPECT_EQ(grey->tileBytesPerRow() * 10 + grey->tileRowPadBytes(), 150u);
  grey->setOutputAlignment(IMG_ALIGN_32);
  EXPECT_EQ(grey->tileBytesPerRow() * 10 + grey->tileRowPadBytes(), 161u);
  grey->setGrayScale(true);
  Tile g;
  ASSERT_TRUE(g.next(*grey));
  ASSERT_EQ(g.length, 64u);
  for (unsigned r = 0; r < 4; ++r) {
    EXPECT_EQ(Bytes(g.data + r * 16, g.data + r * 16 + 15), Bytes(15, 254));
  }
  // The drift of the 24-bit filter on an overhanging grid (DESIGN.md), by an out-of-place model.
  ImgPtr<CImg32> image = Noise(7, 6, 3);
  std::unique_ptr<Img32TileIterator> raw(image->getTileIterator(4, 6, CImg32::UNCOMPRESSED));
  std::unique_ptr<Img32TileIterator> it(image->getTileIterator(4, 6, CImg32::UNCOMPRESSED));
  it->setOutput_24Bit(true);
  Tile r, t;
  while (r.next(*raw) && t.next(*it)) {
    const Bytes in(r.data, r.data + r.length);
    Bytes want = in;
    for (size_t row = 0, read = 0, write = 0; row < 6; ++row, read += 4, write += 3) {
      for (size_t p = 0; p < 4; ++p, read += 4, write += 3) {
        for (size_t b = 0; b < 3 && write + b < want.size(); ++b) {
          want[write + b] = read + b < in.size() ? in[read + b] : 0;
        }
      }
    }
    EXPECT_EQ(t.length, 72u);
    EXPECT_EQ(Bytes(t.data, t.data + 96), want) << t.x;
  }
}

TEST(Img32TileIteratorTest, HpRtlTilesDecodeWithAlphaDropped) {
  const struct { unsigned w, h, tw, th; } grids[] = {{40, 12, 16, 5}, {9, 9, -1u, -1u}};
  for (const auto &g : grids) {
    ImgPtr<CImg32> image = Flat32(g.w, g.h, 0x00808080);
    for (unsigned y = 0; y < g.h; ++y) {
      (*image)(y, y % g.w) = 0x00112233u * (y + 1);
      (*image)(y, (y * 7) % g.w) ^= 0xFF000000u;  // alpha alone codes as nothing
    }
    std::unique_ptr<Img32TileIterator> it(image->getTileIterator(g.tw, g.th, CImg32::HP_RTL));
    ASSERT_NE(it, nullptr);
    it->setGrayScale(true);  // no effect on this path
    Tile t;
    unsigned previous = 0;
    while (t.next(*it)) {
      ASSERT_TRUE(t.ok);
      const auto decoded =
          c2dimg::rtl::DecodeRtl(Bytes(t.data + previous, t.data + t.length), t.tw * 3);
      EXPECT_EQ(decoded.fault, "");
      ASSERT_EQ(decoded.rows.size(), t.vh);
      for (unsigned r = 0; r < t.vh; ++r) {
        Bytes want(t.tw * 3, 0);
        for (unsigned c = 0; c < t.vw; ++c) {
          std::memcpy(&want[c * 3], &(*image)(t.y + r, t.x + c), 3);
        }
        EXPECT_EQ(decoded.rows[r], want) << t.x << "," << t.y + r;
      }
      previous = t.length;
    }
  }
}

TEST(Img32TileIteratorTest, RefusalsEmptyFormatsAndThePaletteShell) {
  ImgPtr<CImg32> image = Flat32(4, 4, 1);
  for (const int format : {0, 3, 5, 6, 8, -1}) {
    EXPECT_EQ(image->getTileIterator(2, 2, CImg32::TileFormat(format)), nullptr) << format;
  }
  EXPECT_EQ(image->getTileIterator(0, 2, CImg32::UNCOMPRESSED), nullptr);
  EXPECT_EQ(image->getTileIterator(2, 0, CImg32::HP_RTL), nullptr);
  std::unique_ptr<Img32TileIterator> it(image->getTileIterator(2, 2, CImg32::RLE_MIXED));
  Tile t;
  for (int i = 0; i < 4; ++i) {
    EXPECT_TRUE(t.next(*it) && t.ok && t.length == 0);
  }
  // Coding that does not fit ends the walk; a buffer taken away ends it too.
  it.reset(image->getTileIterator(1, 1, CImg32::HP_RTL));
  EXPECT_FALSE(t.next(*it) || t.ok);
  it.reset(image->getTileIterator(2, 2, CImg32::UNCOMPRESSED));
  std::free(it->removeData());
  EXPECT_FALSE(t.next(*it));
  // No pixels: IMG_FAIL. The palette shell makes nothing and touches nothing.
  ImgPtr<CImg32> bare(CImg32::create());
  CImgErr::set(IMG_OK, nullptr, 0);
  EXPECT_EQ(bare->getTileIterator(2, 2, CImg32::UNCOMPRESSED), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  ImgPtr<CImg8> palette = Make8(4, 4, Bytes(16, 0));
  EXPECT_EQ(palette->getTileIterator(2, 2, CImg8::UNCOMPRESSED), nullptr);
  Img8TileIterator shell(*palette, 2, 2, CImg8::HP_RTL);
  bool ok = false;
  EXPECT_TRUE(shell.getNextTile(nullptr, 0, 0, 0, 0, 0, ok));
  EXPECT_FALSE(ok);
}

}  // namespace
