// End-to-end tests of c2dimg's pictures: the same page whatever its storage, turns that
// keep the page whole, and damaged Group 4 data named.

#include <cmath>

#include "ToolTestSupport.h"

namespace {

using namespace c2dtest;

constexpr uint16_t kG4 = COMPRESSION_CCITTFAX4, kMsb = FILLORDER_MSB2LSB;

// A light page and its negative, as Group 4 strips, tiles and min-is-black tiles, give
// in every command what the same page as PBM gives, and convert to the page itself.
TEST_F(C2dimgTool, GivesTheSamePictureWhateverTheStorage) {
  const Image light = Page(203, 150);
  Image dark = light;
  std::transform(light.rgb.begin(), light.rgb.end(), dark.rgb.begin(),
                 [](uint32_t c) { return c ^ kWhite; });
  const Image pages[] = {light, dark};
  const TiffLayout layouts[] = {
      {kG4, 0, 40, kMsb, false}, {kG4, 64, 0, kMsb, false}, {kG4, 64, 0, kMsb, true}};
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

// Landscape and portrait pages, bilevel, grey and colour, turn 30 degrees whole on a canvas
// grown to their bounds: a middle circle stays round and in place. --keep-size keeps the frame.
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

// A tile or strip whose code breaks off is named with the row where decoding stopped,
// the result written and the status 3; with no row decodable, no result and status 2.
TEST_F(C2dimgTool, NamesDamagedGroup4DataAndExits3) {
  const Image page = Page(200, 130);
  const std::pair<TiffLayout, const char *> layouts[] = {{{kG4, 0, 32, kMsb, false}, "strip 1 "},
                                                         {{kG4, 64, 0, kMsb, false}, "tile 1 "}};
  const Args commands[] = {{"convert", "-o", "out.png"},
                           {"scale", "--width", "50", "--grey", "-o", "out.png"},
                           {"rotate", "90", "-o", "out.png"},
                           {"info"},
                           {"background"}};
  for (const auto &[layout, unit] : layouts) {
    WriteBilevelTiff(path("bad.tif"), {page}, layout);
    DamageStrile(path("bad.tif"), 1, 0.5);
    for (Args command : commands) {
      SCOPED_TRACE(unit + command[0]);
      command.insert(command.begin() + 1, path("bad.tif"));
      if (command.size() > 3) {
        command.back() = path(command.back());
      }
      fs::remove(path("out.png"));
      const std::string named = path("bad.tif") + ": damaged Group 4 data: " + unit;
      answer(command, 3, {named.c_str(), " row "});
      EXPECT_EQ(fs::exists(path("out.png")), command.size() > 3);
    }
    const uint32_t count = layout.tile != 0 ? 4 * 3 : 5;
    for (uint32_t i = 0; i < count; ++i) {
      DamageStrile(path("bad.tif"), i, 0);
    }
    fs::remove(path("out.png"));
    EXPECT_EQ(run({"convert", path("bad.tif"), "-o", path("out.png")}).status, 2);
    EXPECT_FALSE(fs::exists(path("out.png")));
  }
}

}  // namespace
