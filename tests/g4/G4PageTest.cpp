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

fs::path PagePostScript() { return fs::path(__FILE__).parent_path() / "../data/g4/page.ps"; }

class ScratchDir {
 public:
  ScratchDir() {
    const fs::path base = fs::temp_directory_path();
    for (unsigned i = 0;; ++i) {
      path_ = base / ("c2d-g4page-" + std::to_string(std::rand()) + "-" + std::to_string(i));
      if (fs::create_directory(path_)) {
        break;
      }
    }
  }
  ~ScratchDir() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  const fs::path &path() const { return path_; }

 private:
  fs::path path_;
};

bool HaveGhostscript() { return std::system("command -v gs >/dev/null 2>&1") == 0; }

// Renders the test page with extra Ghostscript arguments; false if gs fails.
bool RenderPage(const std::string &args, const fs::path &tiff) {
  const std::string command = "gs -q -dNOPAUSE -dBATCH -dSAFER -sDEVICE=tiffg4 " + args +
                              " -sOutputFile='" + tiff.string() + "' '" +
                              PagePostScript().string() + "' >/dev/null 2>&1";
  return std::system(command.c_str()) == 0;
}

TEST(G4PageTest, GhostscriptPagesDecodeLikeLibtiff) {
  if (!HaveGhostscript()) {
    GTEST_SKIP() << "gs is not installed";
  }
  ASSERT_TRUE(fs::exists(PagePostScript()));
  ASSERT_EQ(CCITT_EnableG4Decode(), IMG_OK);
  ScratchDir scratch;
  struct Setting {
    const char *args;
    uint32_t width;
    bool oneStrip;
    uint16_t fillOrder;
  };
  // Letter at 300 dpi in many strips; an odd width in one strip; and reversed
  // fill order.
  const std::vector<Setting> renders = {
      {"-r300 -sPAPERSIZE=letter -dMaxStripSize=8192", 2550, false, FILLORDER_MSB2LSB},
      {"-r211 -g1733x2300 -dAdjustWidth=0 -dMaxStripSize=0", 1733, true, FILLORDER_MSB2LSB},
      {"-r150 -sPAPERSIZE=letter -dFillOrder=2 -dMaxStripSize=20000", 1275, false,
       FILLORDER_LSB2MSB},
  };
  for (const auto &render : renders) {
    SCOPED_TRACE(render.args);
    const fs::path file = scratch.path() / "page.tif";
    ASSERT_TRUE(RenderPage(render.args, file));
    TIFF *tif = TIFFOpen(file.string().c_str(), "r");
    ASSERT_NE(tif, nullptr);
    uint32_t width = 0, height = 0, rowsPerStrip = 0;
    uint16_t photometric = 0, compression = 0, fillOrder = 0;
    TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &width);
    TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &height);
    TIFFGetFieldDefaulted(tif, TIFFTAG_ROWSPERSTRIP, &rowsPerStrip);
    TIFFGetField(tif, TIFFTAG_PHOTOMETRIC, &photometric);
    TIFFGetField(tif, TIFFTAG_COMPRESSION, &compression);
    TIFFGetFieldDefaulted(tif, TIFFTAG_FILLORDER, &fillOrder);
    EXPECT_EQ(width, render.width);
    EXPECT_EQ(fillOrder, render.fillOrder);
    ASSERT_EQ(compression, COMPRESSION_CCITTFAX4);
    ASSERT_EQ(photometric, PHOTOMETRIC_MINISWHITE);  // 1 = black, as we paint
    const uint32_t strips = TIFFNumberOfStrips(tif);
    EXPECT_EQ(strips == 1, render.oneStrip);
    uint32_t blackRows = 0;
    for (uint32_t s = 0; s < strips; ++s) {
      SCOPED_TRACE("strip " + std::to_string(s));
      const uint32_t rows = std::min(rowsPerStrip, height - s * rowsPerStrip);
      g4test::Bitmap expected(width, rows);
      ASSERT_EQ(TIFFReadEncodedStrip(tif, s, expected.bits.data(),
                                     static_cast<tmsize_t>(expected.bits.size())),
                static_cast<tmsize_t>(expected.bits.size()));
      const std::vector<uint8_t> words = g4test::ToDecoderOrder(g4test::ReadRawStrip(tif, s));
      const g4test::DecodeOutcome out = g4test::DecodeStream(words, width, rows, words.size());
      ASSERT_EQ(out.decodedRows, rows) << "result " << out.failure;
      ASSERT_EQ(g4test::FirstDifference(out.image, expected), "");
      for (uint32_t y = 0; y < rows; ++y) {
        for (uint32_t i = 0; i < expected.stride; ++i) {
          if (expected.row(y)[i] != 0) {
            ++blackRows;
            break;
          }
        }
      }
    }
    TIFFClose(tif);
    EXPECT_GT(blackRows, height / 2);  // the page was really drawn
  }
  CCITT_DisableG4Decode();
}

}  // namespace
