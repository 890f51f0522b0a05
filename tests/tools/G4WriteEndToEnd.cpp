// c2dimg writes bilevel TIFF through the library's Group 4 strip encoder: libtiff
// reads the pages back pixel for pixel, across strips of 2048 rows, and a page that
// the encoder refuses (a pixel checkerboard codes to three times its size) is kept
// uncompressed.
#include "ToolTestSupport.h"

namespace c2dtest {
namespace {

TEST_F(C2dimgTool, WritesBilevelTiffThroughTheLibrarysGroup4Encoder) {
  Image checkerboard(64, 40);
  for (uint32_t y = 0; y < checkerboard.h; ++y) {
    for (uint32_t x = (y + 1) % 2; x < checkerboard.w; x += 2) {
      checkerboard.at(x, y) = kBlack;
    }
  }
  struct Case {
    const char *name;
    Image page;
    int compression;
  };
  const Case cases[] = {{"page", Page(1001, 2100), COMPRESSION_CCITTFAX4},
                        {"checkerboard", checkerboard, COMPRESSION_NONE}};
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    WritePbm(path("in.pbm"), c.page, false);
    ok({"convert", path("in.pbm"), "-o", path("out.tif")});
    const Image got = ReadTiff(path("out.tif"));
    EXPECT_EQ(Difference(got, c.page), "");
    EXPECT_EQ(got.compression, c.compression);
  }
}

}  // namespace
}  // namespace c2dtest
