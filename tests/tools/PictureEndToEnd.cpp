// c2dimg's pictures: the same whatever the storage, turned whole, damaged Group 4 data named.

#include <cmath>

#include "ToolTestSupport.h"

namespace {

using namespace c2dtest;

// A page and its negative in Group 4 strips or tiles give what they give as PBM.
TEST_F(C2dimgTool, GivesTheSamePictureWhateverTheStorage) {
  const Image light = Page(203, 150);
  Image dark = light;
  std::transform(light.rgb.begin(), light.rgb.end(), dark.rgb.begin(),
                 [](uint32_t c) { return c ^ kWhite; });
  const Image pages[] = {light, dark};
  const TiffLayout layouts[] = {{kG4, 0, 40}, {kG4, 64}, {kG4, 64, 0, FILLORDER_MSB2LSB, true}};
  const Args commands[] = {{"convert"},
                           {"scale", "--factor", "0.5"},
                           {"scale", "--factor", "0.25", "--grey"},
                           {"scale", "--factor", "2"},
                           {"scale", "--fit", "300x100"},
                           {"scale", "--factor", "0.3", "--rect", "13,10,150,120"},
                           {"mirror", "y"},
                           {"rotate", "90"}};
  for (const Image &page : pages) {
    WritePbm(path("page.pbm"), page, false);
    for (const TiffLayout &layout : layouts) {
      WriteBilevelTiff(path("page.tif"), {page}, layout);
      for (const Args &command : commands) {
        SCOPED_TRACE(command.back() + " tile " + std::to_string(layout.tile) +
                     (page.at(1, 1) == kWhite ? " light" : " dark"));
        const std::string ext = command.back() == "--grey" ? ".pgm" : ".pbm";
        const Args options(command.begin() + 1, command.end());
        const Image want = made({command[0], path("page.pbm")}, "want" + ext, options);
        const Image got = made({command[0], path("page.tif")}, "got" + ext, options);
        EXPECT_EQ(Difference(got, command.size() == 1 ? page : want), "");
      }
    }
  }
  // The one-pixel line at x = 102 stays white in every row of a quarter-size negative.
  const Image small = made({"scale", path("page.tif"), "--factor", "0.25"}, "small.pbm");
  for (uint32_t y = 2; y + 2 < small.h; ++y) {
    EXPECT_EQ(small.at(102 / 4, y), kWhite) << y;
  }
}

// Any page turns whole on a canvas grown to its bounds, a middle circle round and in place.
TEST_F(C2dimgTool, TurnsAnyPageWholeWithoutWarping) {
  const double a = 30 * 3.141592653589793 / 180, c = std::cos(a), s = std::sin(a);
  const std::pair<uint32_t, uint32_t> inkAndPaper[] = {
      {kBlack, kWhite}, {0x404040, 0xE0E0E0}, {0x2040C0, kWhite}};
  for (const auto &[w, h] : {std::pair<uint32_t, uint32_t>{240, 150}, {150, 240}}) {
    for (const auto &[ink, paper] : inkAndPaper) {
      SCOPED_TRACE(std::to_string(w) + "x" + std::to_string(h) + " ink " + std::to_string(ink));
      Image page(w, h, paper);
      for (uint32_t i = 0; i < w * h; ++i) {
        const double dx = i % w - w / 2.0, dy = i / w - h / 2.0;
        page.rgb[i] = std::fabs(std::hypot(dx, dy) - 40) < 0.5 ? ink : paper;
      }
      const std::string in = path(ink == kBlack ? "page.pbm" : "page.png");
      ink == kBlack ? WritePbm(in, page, false) : WritePngFile(in, page, false);
      const Image got = made({"rotate", in, "30"}, "turned.png");
      EXPECT_NEAR(got.w, w * c + h * s, 1);
      EXPECT_NEAR(got.h, w * s + h * c, 1);
      uint32_t left = got.w, top = got.h, right = 0, bottom = 0, other = 0;
      for (uint32_t i = 0; i < got.w * got.h; ++i) {
        const uint32_t x = i % got.w, y = i / got.w;
        other += got.rgb[i] != ink && got.rgb[i] != paper;
        if (got.rgb[i] == ink) {
          left = std::min(left, x), top = std::min(top, y);
          right = std::max(right, x), bottom = std::max(bottom, y);
        }
      }
      EXPECT_EQ(other, 0u);
      EXPECT_NEAR(right - left, 80, 1.5);
      EXPECT_NEAR(bottom - top, 80, 1.5);
      EXPECT_NEAR(left + right, got.w, 2);
      EXPECT_NEAR(top + bottom, got.h, 2);
      const Image framed = made({"rotate", in, "30", "--keep-size"}, "framed.png");
      EXPECT_EQ(framed.w * 1000 + framed.h, w * 1000 + h);
    }
  }
}

// A broken tile or strip is named with its row, the result written, status 3; none whole: 2.
TEST_F(C2dimgTool, NamesDamagedGroup4DataAndExits3) {
  const Image page = Page(200, 130);
  const std::pair<TiffLayout, const char *> layouts[] = {{{kG4, 0, 32}, "strip 1 "},
                                                         {{kG4, 64}, "tile 1 "}};
  const std::string bad = path("bad.tif"), out = path("out.png");
  const Args commands[] = {{"convert", bad, "-o", out},
                           {"scale", bad, "--width", "50", "--grey", "-o", out},
                           {"rotate", bad, "90", "-o", out},
                           {"info", bad},
                           {"background", bad}};
  for (const auto &[layout, unit] : layouts) {
    WriteBilevelTiff(bad, {page}, layout);
    DamageStrile(bad, 1, 0.5);
    for (const Args &command : commands) {
      SCOPED_TRACE(unit + command[0]);
      fs::remove(out);
      answer(command, 3, {(bad + ": damaged Group 4 data: " + unit).c_str(), " row "});
      EXPECT_EQ(fs::exists(out), command.size() > 2);
    }
    for (uint32_t i = 0; i < (layout.tile != 0 ? 4 * 3 : 5); ++i) {
      DamageStrile(bad, i, 0);
    }
    fs::remove(out);
    answer(commands[0], 2, {});
    EXPECT_FALSE(fs::exists(out));
  }
}

}  // namespace
