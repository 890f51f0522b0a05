// End-to-end tests of c2dimg: its inputs, outputs, rulings and failures, read back by pixel.
#include "ToolTestSupport.h"

namespace {

using namespace c2dtest;

TEST_F(C2dimgTool, ReadsEveryInputKindByContent) {
  const Image page = Page(100, 70), colours = Colours(40, 30);
  Image palette(24, 16), translucent = colours;
  for (uint32_t i = 0; i < translucent.rgb.size(); ++i) {
    translucent.alpha[i] = static_cast<uint8_t>(i * 5);
    palette.rgb[i % palette.rgb.size()] = (i % 7) * 0x203040u;
  }
  const auto g4 = [&](TiffLayout l, std::vector<Image> pages = {}) {
    pages.push_back(page);
    return [pages, l](const std::string &p) { WriteBilevelTiff(p, pages, l); };
  };
  struct Case {
    const char *name;  // no extension: the tool must not look at one
    std::function<void(const std::string &)> make;
    const Image &want;
    Args extra;
  };
  // The last strip of 16 rows is shorter, tiles of 128 larger than the page.
  const Case cases[] = {
      {"g4-fill-order-2", g4({kG4, 0, 16, FILLORDER_LSB2MSB}), page, {}},
      {"g4-big-tiles", g4({kG4, 128}), page, {}},
      {"g4-page-2", g4({kG4, 0, 16}, {colours}), page, {"--page", "2"}},
      {"packbits", g4({COMPRESSION_PACKBITS}), page, {}},
      {"palette-tiff", [&](auto &p) { WriteColourTiff(p, palette, false, true); }, palette, {}},
      {"rgb-tiff", [&](auto &p) { WriteColourTiff(p, colours, false); }, colours, {}},
      {"rgba-tiff", [&](auto &p) { WriteColourTiff(p, translucent, true); }, translucent, {}},
      {"rgb-png", [&](auto &p) { WritePngFile(p, colours, false); }, colours, {}},
      {"rgba-png", [&](auto &p) { WritePngFile(p, translucent, true); }, translucent, {}},
      {"raw-pbm", [&](auto &p) { WritePbm(p, page, false); }, page, {}},
      {"plain-pbm", [&](auto &p) { WritePbm(p, page, true); }, page, {}},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    c.make(path(c.name));
    const Image got = made({"convert", path(c.name)}, "out.png", c.extra);
    EXPECT_EQ(Difference(got, c.want), "");
    EXPECT_EQ(got.alpha, c.want.alpha);
  }
}

// ghostscript's Group 4 TIFF of a page, in either fill order, converts to its PNG of it.
TEST_F(C2dimgTool, MatchesGhostscriptsRendering) {
  if (std::system("gs --version >/dev/null 2>&1") != 0) {
    GTEST_SKIP() << "ghostscript is not installed";
  }
  WriteText(path("page.ps"),
            "/Times-Roman findfont 14 scalefont setfont\n"
            "20 150 moveto (Core2DImage c2dimg test page) show\n"
            "0.3 setlinewidth 10 10 moveto 190 180 lineto stroke\n"
            "100 90 40 0 360 arc stroke showpage\n");
  const auto render = [&](const std::string &device, const std::string &out) {
    return std::system(("gs -q -dSAFER -r100 -dDEVICEWIDTHPOINTS=200 -dDEVICEHEIGHTPOINTS=200 -o " +
                        Quote(path(out)) + " -sDEVICE=" + device + " " + Quote(path("page.ps")))
                           .c_str());
  };
  ASSERT_EQ(render("pngmono", "gs.png"), 0);
  const Image want = ReadBack(path("gs.png"));
  for (const char *fillOrder : {"1", "2"}) {
    SCOPED_TRACE(fillOrder);
    ASSERT_EQ(render(std::string("tiffg4 -dFillOrder=") + fillOrder, "gs.tif"), 0);
    EXPECT_EQ(Difference(made({"convert", path("gs.tif")}, "out.png"), want), "");
  }
}

// Bilevel TIFF is Group 4 (past one 2048-row strip) but for a checkerboard, which codes too big.
TEST_F(C2dimgTool, WritesEveryFormatAndType) {
  const Image page = Page(61, 33), tall = Page(1001, 2100), colours = Colours(21, 13);
  Image picture(30, 20), separated(30, 20), checkers(64, 40);
  for (uint32_t i = 0; i < 64 * 40; ++i) {
    checkers.rgb[i] = (i % 64 + i / 64) % 2 != 0 ? kBlack : kWhite;
  }
  const auto luma = [](Image image) {
    for (uint32_t &c : image.rgb) {
      c = ((299 * (c >> 16) + 587 * (c >> 8 & 0xFF) + 114 * (c & 0xFF) + 500) / 1000) * 0x010101u;
    }
    return image;
  };
  for (uint32_t y = 5; y < 15; ++y) {  // white paper with a red block
    for (uint32_t x = 10; x < 25; ++x) {
      picture.at(x, y) = 0xFF0000;
      separated.at(x, y) = kBlack;
    }
  }
  const Image grey = luma(colours), greyPicture = luma(picture);
  WriteBilevelTiff(path("page.tif"), {page});
  WritePngFile(path("colours.png"), colours, false);
  WritePngFile(path("picture.png"), picture, false);
  WritePbm(path("tall.pbm"), tall, false);
  WritePbm(path("checkers.pbm"), checkers, false);
  struct Case {
    const char *input, *output;
    Args options;
    const Image &want;
    int bitDepth = 0, colourType = -1, compression = 0;  // 0 and -1 are not checked
  };
  const Case cases[] = {
      {"page.tif", "out.png", {}, page, 1, PNG_COLOR_TYPE_GRAY},
      {"page.tif", "out.tif", {}, page, 1, -1, COMPRESSION_CCITTFAX4},
      {"tall.pbm", "out.tif", {}, tall, 1, -1, COMPRESSION_CCITTFAX4},
      {"checkers.pbm", "out.tif", {}, checkers, 1, -1, COMPRESSION_NONE},
      {"page.tif", "out.pbm", {}, page},
      {"page.tif", "out.pgm", {}, page},
      {"page.tif", "out.ppm", {}, page},
      {"page.tif", "page.rtl", {}, page},
      {"colours.png", "out.png", {}, colours, 8, PNG_COLOR_TYPE_RGB},
      {"colours.png", "out.tif", {}, colours, 8},
      {"colours.png", "out.ppm", {}, colours},
      {"colours.png", "out.pgm", {}, grey},
      {"colours.png", "colours.rtl", {}, colours, 0, PNG_COLOR_TYPE_RGB},
      {"out.pgm", "grey.rtl", {}, grey, 0, PNG_COLOR_TYPE_GRAY},
      {"picture.png", "out.pgm", {}, greyPicture},  // grey and colour in one row
      {"page.tif", "out.png", {"--to", "32"}, page, 0, PNG_COLOR_TYPE_GRAY},
      {"page.tif", "out.png", {"--to", "8"}, page, 0, PNG_COLOR_TYPE_PALETTE},
      {"page.tif", "out.png", {"--to", "1"}, page, 0, PNG_COLOR_TYPE_GRAY},
      {"picture.png", "out.png", {"--to", "1", "--separate"}, separated, 0, PNG_COLOR_TYPE_GRAY},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(std::string(c.input) + " -> " + c.output + " " +
                 (c.options.empty() ? "" : c.options[1]));
    const Image got = made({"convert", path(c.input)}, c.output, c.options);
    EXPECT_EQ(Difference(got, c.want), "");
    EXPECT_EQ(c.bitDepth != 0 ? got.bitDepth : 0, c.bitDepth);
    EXPECT_EQ(c.colourType != -1 ? got.colourType : -1, c.colourType);
    EXPECT_EQ(c.compression != 0 ? got.compression : 0, c.compression);
  }
  // Reset, resolution, size, start, delta rows, the records; end, reset. Colour configures.
  answer({"rtl", path("page.tif"), "-o", path("job.rtl"), "--dpi", "600"}, 0, {});
  const std::string job = Slurp(path("job.rtl")), reset = "\x1B\x45";
  EXPECT_EQ(job.rfind(reset + "\x1B*t600R\x1B*r61S\x1B*r33T\x1B*r1A\x1B*b3M\x1B*b", 0), 0u);
  EXPECT_EQ(job.substr(job.size() - 6), "\x1B*rC" + reset);
  const std::string configure("\x1B*v6W\0\x03\x08\x08\x08\x08\x1B*r21S", 17);
  EXPECT_NE(Slurp(path("colours.rtl")).find(configure), std::string::npos);
}

TEST_F(C2dimgTool, OperationsFollowTheToolsRulings) {
  const Image page = Page(40, 30);
  WriteBilevelTiff(path("page.tif"), {page}, {kG4, 16});
  // -90 turns as 270 does, clockwise: the top left block lands top right; 90 turns it back.
  const Image minus = made({"rotate", path("page.tif"), "-90"}, "minus.png");
  EXPECT_EQ(Difference(minus, made({"rotate", path("page.tif"), "270"}, "270.png")), "");
  EXPECT_TRUE(minus.black(25, 4));
  EXPECT_EQ(Difference(made({"rotate", path("270.png"), "90"}, "back.png"), page), "");

  // The frame stays ink (darker than paper in grey), paper stays white.
  const std::pair<Args, std::array<uint32_t, 2>> sizes[] = {{{"--width", "20"}, {20, 15}},
                                                            {{"--height", "12"}, {16, 12}},
                                                            {{"--factor", "0.33"}, {14, 10}},
                                                            {{"--fit", "10x10"}, {10, 8}}};
  for (const auto &[size, want] : sizes) {
    for (const Args &mode : {Args{}, Args{"--grey"}}) {
      SCOPED_TRACE(size[0] + (mode.empty() ? "" : " grey"));
      const Image got = made({"scale", path("page.tif"), size[0], size[1]}, "out.png", mode);
      ASSERT_EQ((std::array<uint32_t, 2>{got.w, got.h}), want);
      EXPECT_EQ(got.bitDepth, mode.empty() ? 1 : 8);
      EXPECT_LT(got.at(0, 0) % 256, 255u);  // the frame's corner
      EXPECT_EQ(got.at(got.w * 3 / 4, got.h / 2), kWhite);
    }
  }
  // Mostly paper, so that the page's background reads as white.
  Image sparse(40, 30);
  for (uint32_t i = 0; i < 30; ++i) {
    sparse.at(5, i) = sparse.at(i, 6) = kBlack;
  }
  WriteBilevelTiff(path("strip.tif"), {sparse});
  const Image cut =
      made({"scale", path("strip.tif"), "--width", "10", "--rect", "2,4,11,9"}, "c.pbm");
  EXPECT_EQ(Difference(cut, Crop(sparse, 2, 4, 10, 6)), "");

  // A red source with one green pixel, keyed out, half over blue at 3,2.
  WritePngFile(path("dst.png"), Image(20, 12, 0x0000FF), false);
  Image src(6, 4, 0xFF0000);
  src.at(1, 1) = 0x00FF00;
  WritePngFile(path("src.png"), src, false);
  const Image blended = made({"composite", path("dst.png"), path("src.png"), "--at", "3,2",
                              "--alpha", "0.5", "--key", "00ff00"},
                             "out.png");
  // Red half over blue, the keyed pixel, the uncovered blue.
  EXPECT_EQ(std::vector<uint32_t>({blended.at(6, 4), blended.at(4, 3), blended.at(2, 2)}),
            std::vector<uint32_t>({0x7F007F, 0x0000FF, 0x0000FF}));

  // A one-pixel line a quarter's size turns grey; --keep-lines keeps it black.
  Image photo(40, 40);
  std::fill_n(&photo.at(0, 21), 40, kBlack);
  WritePngFile(path("photo.png"), photo, false);
  for (const bool keep : {false, true}) {
    const Args keepLines = keep ? Args{"--keep-lines"} : Args{};
    const uint32_t line =
        made({"scale", path("photo.png"), "--factor", "0.25"}, "small.ppm", keepLines).at(4, 5);
    EXPECT_TRUE(keep ? line == kBlack : line != kBlack && line != kWhite) << std::hex << line;
  }

  // A line keeps a page bilevel, a circle needs colour; a rectangle without fill takes the stroke.
  WritePbm(path("blank.pbm"), Image(40, 30), false);
  answer({"draw", path("blank.pbm"), "-o", path("line.png"), "--line", "2,3,20,9"}, 0, {"bilevel"});
  const Image lined = ReadBack(path("line.png"));
  EXPECT_TRUE(lined.black(2, 3) && lined.black(20, 9) && !lined.black(20, 3));
  EXPECT_EQ(lined.bitDepth, 1);
  answer({"draw", path("blank.pbm"), "-o", path("shapes.png"), "--stroke", "FF0000", "--circle",
          "12,15,6", "--fill", "0000FF", "--rect", "30,20,45,40", "--fill", "none", "--rect",
          "25,2,35,8"},
         0, {"draws no --circle, so it is drawn on in 32-bit colour"});
  const Image shapes = ReadBack(path("shapes.png"));
  EXPECT_EQ(std::vector<uint32_t>({shapes.at(18, 15), shapes.at(12, 15), shapes.at(30, 25),
                                   shapes.at(35, 25), shapes.at(30, 5)}),
            std::vector<uint32_t>({0xFF0000, kWhite, 0xFF0000, 0x0000FF, 0xFF0000}));
  answer({"draw", path("blank.pbm"), "-o", path("x.png"), "--line", "0,0,40,3"}, 1, {});
  answer({"info", path("page.tif")}, 0, {"40 x 30 pixels", "coded bytes", "background   #FFFFFF"});
  answer({"background", path("photo.png")}, 0, {});
}

// A little-endian TIFF with the values of `tags` in its first directory made far larger.
std::string Inflated(std::string tiff, std::initializer_list<uint16_t> tags) {
  const auto u16 = [&](size_t at) {
    return static_cast<uint16_t>(uint8_t(tiff[at]) | uint8_t(tiff[at + 1]) << 8);
  };
  const size_t ifd = u16(4) | size_t{u16(6)} << 16;
  for (size_t i = 0, n = u16(ifd); i < n; ++i) {
    const size_t entry = ifd + 2 + 12 * i;
    if (std::find(tags.begin(), tags.end(), u16(entry)) != tags.end()) {
      tiff[entry + 8 + (u16(entry + 2) == TIFF_SHORT ? 1 : 2)] = '\x7F';
    }
  }
  return tiff;
}

TEST_F(C2dimgTool, BadInputGivesOneLineAndStatus2AndNoOutput) {
  WriteBilevelTiff(path("good.tif"), {Page(64, 48)});
  WritePngFile(path("good.png"), Colours(64, 48), false);
  const std::string tiff = Slurp(path("good.tif")), png = Slurp(path("good.png"));
  // Byte counts past the file's end; 32576 x 32560 pixels; compression 32516.
  WriteText(path("lying.tif"), Inflated(tiff, {TIFFTAG_STRIPBYTECOUNTS}));
  WriteText(path("huge.tif"), Inflated(tiff, {TIFFTAG_IMAGEWIDTH, TIFFTAG_IMAGELENGTH}));
  WriteText(path("unknown.tif"), Inflated(tiff, {TIFFTAG_COMPRESSION}));
  WriteText(path("cut.tif"), tiff.substr(0, tiff.size() / 2));
  WriteText(path("cut.png"), png.substr(0, png.size() / 2));
  WriteText(path("corrupt.png"), png.substr(0, 8) + std::string(200, 'x'));
  WriteText(path("huge.png"), WithPngSize(png, 30000, 30000));
  WriteText(path("cut.pbm"), "P4\n64 48\n" + std::string(100, '\0'));
  WriteText(path("zero.pgm"), "P5\n0 10\n255\n");
  WriteText(path("text.txt"), "hello, not a picture\n");
  WriteText(path("empty"), "");
  WriteText(path("kept.png"), "old contents");
  fs::create_directory(path("folder"));
  const char *const inputs[] = {"missing.tif", "folder",   "empty",       "text.txt",   "lying.tif",
                                "cut.tif",     "cut.png",  "corrupt.png", "cut.pbm",    "zero.pgm",
                                "good.tif",    "huge.png", "huge.tif",    "unknown.tif"};
  for (const std::string input : inputs) {
    for (const char *out : {"new.png", "kept.png"}) {
      SCOPED_TRACE(input + " -> " + out);
      const Outcome outcome = run({"scale", path(input), "-o", path(out), "--width", "10", "--page",
                                   input == "good.tif" ? "2" : "1"});
      EXPECT_EQ(outcome.status, 2);
      EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
      EXPECT_NE(outcome.err.find(path(input)), std::string::npos) << outcome.err;
      EXPECT_FALSE(fs::exists(path("new.png")));
      EXPECT_EQ(Slurp(path("kept.png")), "old contents");
    }
  }
  answer({"scale", path("good.tif"), "-o", path("no-such-dir/new.png"), "--width", "10"}, 2,
         {"no-such-dir/new.png"});
  EXPECT_EQ(temporaries(), 0u);
}

}  // namespace
