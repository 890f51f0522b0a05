// Real pages: Ghostscript renders a PostScript page of text and drawings into a
// Group 4 TIFF in a temporary directory; every strip is decoded here as a stream of
// its own and compared with libtiff's decoding of the same strip.
#include <gtest/gtest.h>
#include <tiffio.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "G4TiffOracle.h"

namespace {

namespace fs = std::filesystem;

TEST(G4PageTest, GhostscriptPagesDecodeLikeLibtiff) {
  if (std::system("command -v gs >/dev/null 2>&1") != 0) {
    GTEST_SKIP() << "gs is not installed";
  }
  const fs::path ps = fs::path(C2D_TEST_DATA_DIR) / "g4/page.ps";
  ASSERT_TRUE(fs::exists(ps));
  std::string dir = (fs::temp_directory_path() / "c2d-g4page-XXXXXX").string();
  ASSERT_NE(mkdtemp(dir.data()), nullptr);
  const std::string file = dir + "/page.tif";
  ASSERT_EQ(CCITT_EnableG4Decode(), IMG_OK);
  // Letter at 300 dpi in many strips; an odd width in one strip with the fill order
  // reversed.
  for (const char *args : {"-r300 -sPAPERSIZE=letter -dMaxStripSize=8192",
                           "-r211 -g1733x2300 -dAdjustWidth=0 -dMaxStripSize=0 -dFillOrder=2"}) {
    SCOPED_TRACE(args);
    const std::string gs = std::string("gs -q -dNOPAUSE -dBATCH -dSAFER -sDEVICE=tiffg4 ") + args +
                           " -sOutputFile='" + file + "' '" + ps.string() + "' >/dev/null 2>&1";
    ASSERT_EQ(std::system(gs.c_str()), 0);
    TIFF *tif = TIFFOpen(file.c_str(), "r");
    ASSERT_NE(tif, nullptr);
    uint32_t width = 0, height = 0, rowsPerStrip = 0;
    uint16_t photometric = 0, compression = 0;
    TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &width);
    TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &height);
    TIFFGetFieldDefaulted(tif, TIFFTAG_ROWSPERSTRIP, &rowsPerStrip);
    TIFFGetField(tif, TIFFTAG_PHOTOMETRIC, &photometric);
    TIFFGetField(tif, TIFFTAG_COMPRESSION, &compression);
    ASSERT_EQ(compression, COMPRESSION_CCITTFAX4);
    ASSERT_EQ(photometric, PHOTOMETRIC_MINISWHITE);  // 1 = black, as we paint
    uint32_t blackBytes = 0;
    for (uint32_t s = 0; s < TIFFNumberOfStrips(tif); ++s) {
      SCOPED_TRACE("strip " + std::to_string(s));
      const uint32_t rows = std::min(rowsPerStrip, height - s * rowsPerStrip);
      g4test::Bitmap expected(width, rows);
      const tmsize_t size = static_cast<tmsize_t>(expected.bits.size());
      ASSERT_EQ(TIFFReadEncodedStrip(tif, s, expected.bits.data(), size), size);
      const std::vector<uint8_t> words = g4test::ToDecoderOrder(g4test::ReadRawStrip(tif, s));
      const g4test::DecodeOutcome out = g4test::DecodeStream(words, width, rows, words.size());
      ASSERT_EQ(out.decodedRows, rows) << "result " << out.failure;
      ASSERT_EQ(g4test::FirstDifference(out.image, expected), "");
      blackBytes += static_cast<uint32_t>(
          expected.bits.size() - std::count(expected.bits.begin(), expected.bits.end(), 0));
    }
    TIFFClose(tif);
    EXPECT_GT(blackBytes * 10, width / 8 * height);  // a tenth of the bytes: really drawn
  }
  CCITT_DisableG4Decode();
  fs::remove_all(dir);
}

}  // namespace
