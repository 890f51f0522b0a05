// CImg1G4: the markers of a bare object, factory failures that report nothing, the
// tile grid over exact and ragged extents with the copied bytes, setExtents, clone,
// and the row cursor, proven against libtiff by walking it over a page cut into
// separately coded tiles.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "G4TiffOracle.h"
#include "Image/Core2DImage.h"
#include "ImgTestSupport.h"

namespace {

using c2d_test::ErrWatch;
using G4Ptr = c2d_test::ImgPtr<CImg1G4>;
constexpr unsigned kUnset = 0xDEADBEEFu;

// Opens the protected header and cursor workings to the tests.
class G4Probe : public CImg1G4 {
 public:
  using CImg1G4::changeBuffers;
  using CImg1G4::decodeRow;
  using CImg1G4::decodeTileRow;
  using CImg1G4::initData;
  using CImg1G4::InitTileRowDecode;
  using CImg1G4::lastTileRow;
  using CImg1G4::refChangeBuffers;
  using CImg1G4::rowInTile;
  using CImg1G4::StepCursor;

  static G4Probe *Make(unsigned w, unsigned h, unsigned tw, unsigned th) {
    auto *probe = new G4Probe();
    EXPECT_TRUE(probe->initHeader(w, h, tw, th, 0xFFFFFF, 0xFF000000, IMG_ALIGN_NONE));
    return probe;
  }
  // The cursor at the top of the page, covering every tile row.
  void StartAtTop() {
    decodeRow = rowInTile = decodeTileRow = 0;
    lastTileRow = getHeightInTiles() - 1;
    InitTileRowDecode();
  }
};

TEST(CImg1G4Test, BareObjectHoldsMarkersAndStaysSafe) {
  G4Ptr bare(CImg1G4::create());
  ASSERT_NE(bare, nullptr);
  for (unsigned field :
       {bare->getBitsPerSample(), bare->getSamplesPerPixel(), bare->getBytesPerLine(),
        bare->getTotalBytes(), bare->getTileWidth(), bare->getTileHeight(),
        bare->getNumberOfTiles(), bare->getBackgroundColor(), bare->getPadBits(),
        bare->getForegroundInterpretation(), bare->getBackgroundInterpretation()}) {
    EXPECT_EQ(field, kUnset);
  }
  EXPECT_EQ(bare->getType(), IMG_TYPE_G4);
  EXPECT_FALSE(bare->hasData());
  // The marker tile sizes divide without fault, and no grid is read.
  EXPECT_EQ(bare->getWidthInTiles(), 1u);
  EXPECT_EQ(bare->getHeightInTiles(), 1u);
  EXPECT_EQ(bare->getTile(0, 0), nullptr);
  unsigned count = 0;
  EXPECT_FALSE(bare->initData(nullptr, &count));
  // The colours are unset, so setExtents accepts and stores nothing.
  EXPECT_TRUE(bare->setExtents(64, 32, 16, 16));
  EXPECT_EQ(bare->getWidth(), 1u);
  EXPECT_EQ(bare->getTileWidth(), kUnset);
  EXPECT_FALSE(bare->hasData());
}

TEST(CImg1G4Test, FactoryFailuresAreNullAndReportNothing) {
  unsigned char byte = 0;
  unsigned char *oneTile[] = {&byte};
  unsigned char *missing[] = {nullptr};
  unsigned three[] = {3};
  unsigned zero[] = {0};
  struct Case {
    const char *name;
    unsigned w, h, tw, th;
    unsigned char **data;
    unsigned *bytes;
    bool withData;
  };
  const Case cases[] = {
      {"zero width", 0, 8, 8, 8, nullptr, nullptr, false},
      {"zero height", 8, 0, 8, 8, nullptr, nullptr, false},
      {"zero tile width", 8, 8, 0, 8, nullptr, nullptr, false},
      {"zero tile height", 8, 8, 8, 0, nullptr, nullptr, false},
      {"2^32 tiles", 0x10000, 0x10000, 1, 1, nullptr, nullptr, false},
      {"tile wider than page", 10, 10, 16, 10, oneTile, zero, true},
      {"tile taller than page", 10, 10, 10, 11, oneTile, zero, true},
      {"no byte counts", 8, 8, 8, 8, oneTile, nullptr, true},
      {"count without bytes", 8, 8, 8, 8, missing, three, true},
      {"count without arrays", 8, 8, 8, 8, nullptr, three, true},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    const ErrWatch watch;
    CImg1G4 *image =
        c.withData ? CImg1G4::create(c.w, c.h, c.tw, c.th, c.data, c.bytes, 0, 1, IMG_ALIGN_NONE)
                   : CImg1G4::create(c.w, c.h, c.tw, c.th, 0, 1, IMG_ALIGN_NONE);
    EXPECT_EQ(image, nullptr);
    EXPECT_EQ(watch.reports(), 0u);
  }
  EXPECT_EQ(CImg1G4::create(&byte, 8, 8, IMG_ALIGN_32), nullptr);
  // A huge tile on a tiny page is a valid header that can take no data; its
  // change buffers are sized by the page.
  G4Ptr huge(CImg1G4::create(1, 1, kUnset, kUnset, 0, 1, IMG_ALIGN_NONE));
  ASSERT_NE(huge, nullptr);
  EXPECT_EQ(huge->getNumberOfTiles(), 1u);
  EXPECT_FALSE(huge->initData(oneTile, zero));
}

TEST(CImg1G4Test, GridCopiesTheBytesOfEveryTile) {
  struct Case {
    unsigned w, h, tw, th;
    ImgAlignmentEnum align;
    unsigned across, down, padBits, bytesPerLine;
  };
  const Case cases[] = {
      {64, 32, 16, 16, IMG_ALIGN_NONE, 4, 2, 0, 8},
      {65, 33, 16, 16, IMG_ALIGN_32, 5, 3, 31, 12},
      {100, 7, 100, 7, IMG_ALIGN_8, 1, 1, 4, 13},
      {9, 40, 1, 13, IMG_ALIGN_NONE, 9, 4, 7, 2},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(std::to_string(c.w) + "x" + std::to_string(c.h));
    const unsigned n = c.across * c.down;
    // Tile i holds i % 4 bytes of value i, so every fourth tile has none.
    auto *data = new unsigned char *[n];
    std::vector<unsigned> bytes(n);
    unsigned sum = 0;
    for (unsigned i = 0; i < n; ++i) {
      bytes[i] = i % 4;
      sum += bytes[i];
      data[i] = new unsigned char[bytes[i] + 1];
      std::fill(data[i], data[i] + bytes[i] + 1, static_cast<unsigned char>(i));
    }
    G4Ptr image(CImg1G4::create(c.w, c.h, c.tw, c.th, data, bytes.data(), 7, 9, c.align));
    for (unsigned i = 0; i < n; ++i) {
      delete[] data[i];  // the image holds its own copies
    }
    delete[] data;
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->getWidthInTiles(), c.across);
    EXPECT_EQ(image->getHeightInTiles(), c.down);
    EXPECT_EQ(image->getNumberOfTiles(), n);
    EXPECT_EQ(image->getPadBits(), c.padBits);
    EXPECT_EQ(image->getBytesPerLine(), c.bytesPerLine);
    EXPECT_EQ(image->getTotalBytes(), sum);
    EXPECT_EQ(image->getTile(c.down, 0), nullptr);
    EXPECT_EQ(image->getTile(0, c.across), nullptr);
    for (unsigned i = 0; i < n; ++i) {
      Img1G4Tile *tile = image->getTile(i / c.across, i % c.across);
      ASSERT_NE(tile, nullptr);
      EXPECT_EQ(tile->getXOffset(), i % c.across * c.tw);
      EXPECT_EQ(tile->getYOffset(), i / c.across * c.th);
      EXPECT_EQ(tile->getByteCount(), bytes[i]);
      if (bytes[i] == 0) {
        EXPECT_EQ(tile->getData(), nullptr);
      } else {
        EXPECT_EQ(tile->getData()[bytes[i] - 1], static_cast<unsigned char>(i));
      }
    }
    // A second copy replaces the first, whose bytes are freed.
    std::vector<unsigned char *> none(n, nullptr);
    std::vector<unsigned> zeros(n, 0);
    ASSERT_TRUE(image->initData(none.data(), zeros.data()));
    EXPECT_EQ(image->getTotalBytes(), 0u);
    for (unsigned i = 0; i < n; ++i) {
      EXPECT_EQ(image->getTile(i / c.across, i % c.across)->getData(), nullptr);
    }
  }
}

TEST(CImg1G4Test, SetExtentsRecutsAnImageWithColours) {
  unsigned char bytes[] = {1, 2, 3, 4};
  unsigned char *data[] = {bytes, bytes};
  unsigned counts[] = {4, 4};
  G4Ptr image(CImg1G4::create(16, 8, 8, 8, data, counts, 5, 6, IMG_ALIGN_32));
  ASSERT_NE(image, nullptr);
  EXPECT_FALSE(image->setExtents(30, 20, 7, 7));  // 7 does not divide 30
  EXPECT_EQ(image->getTile(0, 1)->getByteCount(), 4u);
  // Refused by the header (2^32 tiles) but answered true; the grid stays.
  EXPECT_TRUE(image->setExtents(0x10000, 0x10000, 1, 1));
  EXPECT_EQ(image->getWidth(), 16u);
  // A new empty grid; the old tiles and bytes are freed (LeakSanitizer).
  EXPECT_TRUE(image->setExtents(32, 20, 8, 5));
  EXPECT_EQ(image->getNumberOfTiles(), 16u);
  EXPECT_EQ(image->getTile(3, 3)->getData(), nullptr);
  EXPECT_EQ(image->getPadBits(), 0u);
  EXPECT_EQ(image->getBackgroundInterpretation(), 5u);
}

TEST(CImg1G4Test, CloneAndConversionGiveEmptyImagesOfTheSize) {
  unsigned char bytes[] = {0xAA, 0x55};
  unsigned char *data[] = {bytes, bytes, bytes, bytes, bytes, bytes};
  unsigned counts[] = {2, 2, 2, 2, 2, 2};
  G4Ptr image(CImg1G4::create(20, 9, 8, 8, data, counts, 5, 6, IMG_ALIGN_32));
  ASSERT_NE(image, nullptr);
  G4Ptr copy(dynamic_cast<CImg1G4 *>(image->clone()));
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy->getRect().right, 19u);
  EXPECT_EQ(copy->getRect().bottom, 8u);
  EXPECT_EQ(copy->getNumberOfTiles(), 180u);
  EXPECT_EQ(copy->getBackgroundInterpretation(), 0xFFFFFFu);
  EXPECT_EQ(copy->getTile(8, 19)->getData(), nullptr);
  // A grid without bytes still counts as data, and cuts out clear.
  EXPECT_TRUE(copy->hasData());
  const ErrWatch watch;
  c2d_test::ImgPtr<IImg> cut(copy->getSubImage(ImgRect(0u, 0u, 3u, 3u)));
  ASSERT_NE(cut, nullptr);
  EXPECT_EQ(cut->getType(), IMG_TYPE_1BIT);
  EXPECT_EQ(watch.reports(), 0u);

  c2d_test::ImgPtr<CImg1> bilevel(CImg1::create(21, 10, 0, 1, IMG_ALIGN_NONE));
  G4Ptr converted(CImg1G4::create(*bilevel, 8, 4, 0, 1, IMG_ALIGN_NONE));
  ASSERT_NE(converted, nullptr);
  EXPECT_EQ(converted->getNumberOfTiles(), 9u);
  EXPECT_EQ(converted->getTile(2, 2)->getData(), nullptr);
}

TEST(CImg1G4Test, TileRowsStartAgainstAWhiteLineAndTheCursorStaysInTheLast) {
  G4Ptr owner(G4Probe::Make(40, 20, 16, 8));  // 3 x 3 tiles, the last row 4 high
  auto *p = static_cast<G4Probe *>(owner.get());
  p->StartAtTop();
  for (unsigned c = 0; c < 3; ++c) {
    Img1G4Tile *tile = p->getTile(0, c);
    EXPECT_EQ(tile->changes(), p->changeBuffers[c]);
    EXPECT_EQ(tile->refChanges(), p->refChangeBuffers[c]);
    EXPECT_EQ(std::vector<int32_t>(tile->refChanges(), tile->refChanges() + 4),
              (std::vector<int32_t>{0, 17, 17, 17}));
    EXPECT_EQ(tile->numRefChanges(), 4u);
    EXPECT_EQ(tile->numChanges(), 0u);
    EXPECT_EQ(p->getTile(1, c)->changes(), nullptr);  // other rows are not touched
  }
  // Left over from an earlier run: a moved position and exchanged lists.
  p->getTile(1, 2)->bitLoc() = 9;
  p->getTile(1, 2)->setChangeBuffers(p->refChangeBuffers[2], p->changeBuffers[2]);
  // Tile rows are entered at rows 8 and 16; the last goes on past its 4 rows.
  for (unsigned row = 1; row <= 30; ++row) {
    p->StepCursor();
    const unsigned tileRow = row < 8 ? 0 : row < 16 ? 1 : 2;
    EXPECT_EQ(p->decodeRow, row);
    EXPECT_EQ(p->decodeTileRow, tileRow);
    EXPECT_EQ(p->rowInTile, row - tileRow * 8);
  }
  EXPECT_EQ(p->getTile(1, 2)->bitLoc(), 1u);
  EXPECT_EQ(p->getTile(1, 2)->changes(), p->changeBuffers[2]);
  // A rectangle ending in tile row 1 keeps the cursor there.
  p->StartAtTop();
  p->lastTileRow = 1;
  for (unsigned row = 0; row < 30; ++row) {
    p->StepCursor();
  }
  EXPECT_EQ(p->decodeTileRow, 1u);
  EXPECT_EQ(p->rowInTile, 22u);
  p->decodeTileRow = 3;  // outside the grid: nothing to ready
  p->InitTileRowDecode();
}

// Cuts `page` into tiles, codes each with libtiff (white tiles get no bytes), walks
// the cursor over every row decoding each tile, and paints the rows back.
void ExpectCursorWalkRebuilds(const g4test::Bitmap &page, unsigned tw, unsigned th) {
  const unsigned across = (page.width + tw - 1) / tw;
  const unsigned down = (page.height + th - 1) / th;
  std::vector<std::vector<uint8_t>> streams(across * down);
  std::vector<unsigned char *> data;
  std::vector<unsigned> counts;
  for (unsigned r = 0; r < down; ++r) {
    for (unsigned c = 0; c < across; ++c) {
      g4test::Bitmap tile(tw, std::min(th, page.height - r * th));
      bool white = true;
      for (unsigned y = 0; y < tile.height; ++y) {
        for (unsigned x = 0; x < tw && c * tw + x < page.width; ++x) {
          tile.set(x, y, page.get(c * tw + x, r * th + y));
          white = white && !page.get(c * tw + x, r * th + y);
        }
      }
      std::vector<uint8_t> &bytes = streams[r * across + c];
      bytes = white ? std::vector<uint8_t>() : g4test::EncodeForDecoder(tile);
      data.push_back(bytes.data());
      counts.push_back(static_cast<unsigned>(bytes.size()));
    }
  }
  G4Ptr owner(G4Probe::Make(page.width, page.height, tw, th));
  auto *p = static_cast<G4Probe *>(owner.get());
  ASSERT_TRUE(p->initData(data.data(), counts.data()));
  g4test::Bitmap out(page.width, page.height);
  std::vector<uint8_t> row((tw + 7) / 8);
  p->StartAtTop();
  for (unsigned y = 0; y < page.height; ++y, p->StepCursor()) {
    for (unsigned c = 0; c < across; ++c) {
      Img1G4Tile *tile = p->getTile(p->decodeTileRow, c);
      ASSERT_EQ(tile->getYOffset() + p->rowInTile, p->decodeRow);
      if (tile->getData() == nullptr) {
        continue;
      }
      ASSERT_EQ(CCITT_G4Decode(tile, tw, p->getTotalBytes()), G4_DECODE_OK) << y << "," << c;
      c2d::G4PaintRow(tile->changes(), tile->numChanges(), tw, row.data());
      tile->swapChanges();
      for (unsigned x = 0; x < tw && tile->getXOffset() + x < page.width; ++x) {
        out.set(tile->getXOffset() + x, y, (row[x / 8] >> (7 - x % 8)) & 1);
      }
    }
  }
  EXPECT_EQ(g4test::FirstDifference(out, page), "");
}

TEST(CImg1G4Test, CursorWalkDecodesTiledPagesLikeLibtiff) {
  ASSERT_EQ(CCITT_EnableG4Decode(), IMG_OK);
  g4test::Rng rng(7);
  g4test::Bitmap page(67, 50);
  for (unsigned y = 0; y < page.height; ++y) {
    for (unsigned x = 0; x < page.width; ++x) {
      // Strokes and noise, with a white band so that some tiles hold no bytes.
      const bool band = y >= 16 && y < 32 && x < 48;
      if (!band && ((x + 2 * y) % 11 < 3 || rng.chance(0.1))) {
        page.set(x, y);
      }
    }
  }
  const unsigned sizes[][2] = {{67, 16}, {67, 7}, {24, 16}, {16, 50}, {67, 50}};
  for (const auto &size : sizes) {
    SCOPED_TRACE(std::to_string(size[0]) + "x" + std::to_string(size[1]));
    ExpectCursorWalkRebuilds(page, size[0], size[1]);
  }
  CCITT_DisableG4Decode();
}

}  // namespace
