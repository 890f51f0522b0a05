// End-to-end tests of c2dimg: input files are made here with libtiff, libpng and
// ghostscript, the built tool runs on them as a user would run it, and its outputs are
// read back with libtiff and libpng and compared pixel by pixel.
#include <gtest/gtest.h>
#include <tiffio.h>

#include <cstring>
#include <string>
#include <vector>

#include "ToolTestSupport.h"

namespace {

using namespace c2dtest;

// --- Inputs ------------------------------------------------------------------

TEST_F(C2dimgTool, ReadsEveryInputKindByContent) {
  const Image page = Page(100, 70);
  const Image colours = Colours(40, 30);
  Image palette(24, 16);
  Image translucent = colours;
  for (uint32_t i = 0; i < translucent.rgb.size(); ++i) {
    translucent.alpha[i] = static_cast<uint8_t>(i * 5);
    palette.rgb[i % palette.rgb.size()] = (i % 7) * 0x203040u;
  }
  const auto g4 = [&](TiffLayout l, std::vector<Image> pages = {}) {
    pages.push_back(page);
    return [pages, l](const std::string &p) { WriteBilevelTiff(p, pages, l); };
  };
  constexpr uint16_t kG4 = COMPRESSION_CCITTFAX4, kMsb = FILLORDER_MSB2LSB;
  struct Case {
    const char *name;  // no extension: the tool must not look at one
    std::function<void(const std::string &)> make;
    const Image &want;
    Args extra;
  };
  // Layouts: compression, tile side (0: strips), rows per strip, fill order, min-is-black.
  // The last strip is shorter; tiles of 32 reach past the right and bottom edges and
  // tiles of 128 are larger than the page.
  const Case cases[] = {
      {"g4-strips", g4({kG4, 0, 16, kMsb, false}), page, {}},
      {"g4-tiles", g4({kG4, 32, 0, kMsb, false}), page, {}},
      {"g4-fill-order-2", g4({kG4, 0, 16, FILLORDER_LSB2MSB, false}), page, {}},
      {"g4-min-is-black", g4({kG4, 32, 0, kMsb, true}), page, {}},
      {"g4-big-tiles", g4({kG4, 128, 0, kMsb, false}), page, {}},
      {"g4-page-2", g4({kG4, 0, 16, kMsb, false}, {colours}), page, {"--page", "2"}},
      {"packbits", g4({COMPRESSION_PACKBITS, 0, 0, kMsb, false}), page, {}},
      {"palette-tiff", [&](auto &p) { WriteColourTiff(p, palette, 1); }, palette, {}},
      {"rgb-tiff", [&](auto &p) { WriteColourTiff(p, colours, 3); }, colours, {}},
      {"rgba-tiff", [&](auto &p) { WriteColourTiff(p, translucent, 4); }, translucent, {}},
      {"rgb-png", [&](auto &p) { WritePngFile(p, colours, false); }, colours, {}},
      {"rgba-png", [&](auto &p) { WritePngFile(p, translucent, true); }, translucent, {}},
      {"raw-pbm", [&](auto &p) { WritePbm(p, page, false); }, page, {}},
      {"plain-pbm", [&](auto &p) { WritePbm(p, page, true); }, page, {}},
      {"plain-ppm", [&](auto &p) { WritePlainPpm(p, colours); }, colours, {}},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    c.make(path(c.name));
    ok({"convert", path(c.name), "-o", path("out.png")}, c.extra);
    const Image got = ReadBack(path("out.png"));
    EXPECT_EQ(Difference(got, c.want), "");
    EXPECT_EQ(got.alpha, c.want.alpha);
  }
}

// A page that ghostscript renders as a Group 4 TIFF, in either fill order, comes out
// exactly as ghostscript's own PNG of it.
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
    return std::system(("gs -q -dNOPAUSE -dBATCH -dSAFER -r100 -dDEVICEWIDTHPOINTS=200 "
                        "-dDEVICEHEIGHTPOINTS=200 -sDEVICE=" +
                        device + " -o " + Quote(path(out)) + " " + Quote(path("page.ps")))
                           .c_str());
  };
  ASSERT_EQ(render("pngmono", "gs.png"), 0);
  const Image want = ReadBack(path("gs.png"));
  for (const char *fillOrder : {"1", "2"}) {
    SCOPED_TRACE(fillOrder);
    ASSERT_EQ(render(std::string("tiffg4 -dFillOrder=") + fillOrder, "gs.tif"), 0);
    ok({"convert", path("gs.tif"), "-o", path("out.png")});
    EXPECT_EQ(Difference(ReadBack(path("out.png")), want), "");
  }
}

// --- Outputs -----------------------------------------------------------------

// Every output format by extension, and conversions between image types.
TEST_F(C2dimgTool, WritesEveryFormatAndType) {
  const Image page = Page(61, 33);
  const Image colours = Colours(21, 13);
  Image grey(colours.w, colours.h), picture(30, 20), separated(30, 20);
  for (size_t i = 0; i < grey.rgb.size(); ++i) {
    const uint32_t c = colours.rgb[i];
    grey.rgb[i] =
        ((299 * (c >> 16) + 587 * (c >> 8 & 0xFF) + 114 * (c & 0xFF) + 500) / 1000) * 0x010101u;
  }
  for (uint32_t y = 5; y < 15; ++y) {  // white paper with a red block
    for (uint32_t x = 10; x < 25; ++x) {
      picture.at(x, y) = 0xFF0000;
      separated.at(x, y) = kBlack;
    }
  }
  WriteBilevelTiff(path("page.tif"), {page}, TiffLayout{});
  WritePngFile(path("colours.png"), colours, false);
  WritePngFile(path("picture.png"), picture, false);
  struct Case {
    const char *input;
    const char *output;
    Args options;
    const Image &want;
    int bitDepth = 0, colourType = -1, compression = 0;  // 0 and -1 are not checked
  };
  const Case cases[] = {
      {"page.tif", "out.png", {}, page, 1, PNG_COLOR_TYPE_GRAY},
      {"page.tif", "out.tif", {}, page, 1, -1, COMPRESSION_CCITTFAX4},
      {"page.tif", "out.pbm", {}, page},
      {"page.tif", "out.pgm", {}, page},
      {"page.tif", "out.ppm", {}, page},
      {"colours.png", "out.png", {}, colours, 8, PNG_COLOR_TYPE_RGB},
      {"colours.png", "out.tif", {}, colours, 8},
      {"colours.png", "out.ppm", {}, colours},
      {"colours.png", "out.pgm", {}, grey},
      {"page.tif", "out.png", {"--to", "32"}, page, 0, PNG_COLOR_TYPE_GRAY},
      {"page.tif", "out.png", {"--to", "8"}, page, 0, PNG_COLOR_TYPE_PALETTE},
      {"page.tif", "out.png", {"--to", "1"}, page, 0, PNG_COLOR_TYPE_GRAY},
      {"picture.png", "out.png", {"--to", "1", "--separate"}, separated, 0, PNG_COLOR_TYPE_GRAY},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(std::string(c.input) + " -> " + c.output + " " +
                 (c.options.empty() ? "" : c.options[1]));
    ok({"convert", path(c.input), "-o", path(c.output)}, c.options);
    const Image got = ReadBack(path(c.output));
    EXPECT_EQ(Difference(got, c.want), "");
    EXPECT_EQ(c.bitDepth != 0 ? got.bitDepth : 0, c.bitDepth);
    EXPECT_EQ(c.colourType != -1 ? got.colourType : -1, c.colourType);
    EXPECT_EQ(c.compression != 0 ? got.compression : 0, c.compression);
  }
}

// --- Operations --------------------------------------------------------------

// The transforms of Group 4 pages, bitmaps and colour pictures against the pixel maps
// they must follow (positive angles turn counter-clockwise).
TEST_F(C2dimgTool, RotatesAndMirrorsExactly) {
  const Image page = Page(37, 23);
  const Image colours = Colours(19, 11);
  WriteBilevelTiff(path("page.tif"), {page}, TiffLayout{COMPRESSION_CCITTFAX4, 16});
  WritePbm(path("page.pbm"), page, false);
  WritePngFile(path("colours.png"), colours, false);
  // Output pixel (x, y) comes from source (u, v) = swap ? (y, x) : (x, y), with u
  // counted from the right when flipX and v from the bottom when flipY.
  struct Op {
    Args args;  // after the input
    bool swap, flipX, flipY;
  };
  const Op ops[] = {{{"rotate", "90"}, true, true, false},
                    {{"rotate", "-90"}, true, false, true},
                    {{"rotate", "180"}, false, true, true},
                    {{"mirror", "x"}, false, false, true},
                    {{"mirror", "y"}, false, true, false}};
  for (const auto &[input, source] : {std::pair<const char *, const Image &>{"page.tif", page},
                                      {"page.pbm", page},
                                      {"colours.png", colours}}) {
    for (const Op &op : ops) {
      SCOPED_TRACE(std::string(input) + " " + op.args[0] + " " + op.args[1]);
      ok({op.args[0], path(input), op.args[1], "-o", path("out.png")});
      Image want(op.swap ? source.h : source.w, op.swap ? source.w : source.h);
      for (uint32_t y = 0; y < want.h; ++y) {
        for (uint32_t x = 0; x < want.w; ++x) {
          const uint32_t u = op.swap ? y : x, v = op.swap ? x : y;
          want.at(x, y) =
              source.at(op.flipX ? source.w - 1 - u : u, op.flipY ? source.h - 1 - v : v);
        }
      }
      EXPECT_EQ(Difference(ReadBack(path("out.png")), want), "");
    }
  }
}

// Reductions keep one-pixel lines, give the sizes asked for, and a rectangle of its
// own size comes out as it is.
TEST_F(C2dimgTool, ScalesToTheSizeAskedKeepingThinLines) {
  Image page(400, 300);
  for (uint32_t y = 0; y < page.h; ++y) {
    for (uint32_t x = 0; x < page.w; ++x) {
      page.at(x, y) = x == 201 || y == 150 ? kBlack : kWhite;
    }
  }
  WriteBilevelTiff(path("page.tif"), {page}, TiffLayout{});
  WritePbm(path("page.pbm"), page, false);
  struct Case {
    Args size;
    uint32_t w, h;
  };
  const Case cases[] = {{{"--width", "100"}, 100, 75},
                        {{"--height", "60"}, 80, 60},
                        {{"--factor", "0.33"}, 132, 99},
                        {{"--fit", "50x50"}, 50, 38}};
  for (const char *input : {"page.tif", "page.pbm"}) {
    for (const Case &c : cases) {
      for (const Args &mode : {Args{}, Args{"--grey"}}) {
        const bool grey = !mode.empty();
        SCOPED_TRACE(std::string(input) + " " + c.size[0] + (grey ? " grey" : ""));
        ok({"scale", path(input), "-o", path("out.png"), c.size[0], c.size[1]}, mode);
        const Image got = ReadBack(path("out.png"));
        ASSERT_EQ(got.w, c.w);
        ASSERT_EQ(got.h, c.h);
        EXPECT_EQ(got.bitDepth, grey ? 8 : 1);
        // The lines are still there in every row and column they cross: black in a
        // bilevel result, darker than the paper in a grey one.
        const uint32_t lx = 201 * c.w / 400, ly = 150 * c.h / 300;
        const auto ink = [&](uint32_t x, uint32_t y) {
          return got.at(x, y) % 256 < (grey ? 255u : 1u);
        };
        int gaps = 0;
        for (uint32_t i = 0; i < std::max(got.w, got.h); ++i) {
          gaps += i < got.h && !ink(lx - 1, i) && !ink(lx, i) && !ink(lx + 1, i);
          gaps += i < got.w && !ink(i, ly - 1) && !ink(i, ly) && !ink(i, ly + 1);
        }
        EXPECT_EQ(gaps, 0);
        EXPECT_EQ(got.at(c.w / 4, c.h / 4), kWhite);
      }
    }
    SCOPED_TRACE(input);
    ok({"scale", path(input), "-o", path("cut.pbm"), "--width", "30", "--rect", "190,140,219,159"});
    Image want(30, 20);
    for (uint32_t y = 0; y < 20; ++y) {
      for (uint32_t x = 0; x < 30; ++x) {
        want.at(x, y) = page.at(190 + x, 140 + y);
      }
    }
    EXPECT_EQ(Difference(ReadBack(path("cut.pbm")), want), "");
  }
}

TEST_F(C2dimgTool, TellsFactsAndBackground) {
  WriteBilevelTiff(path("tiles.tif"), {Page(100, 70)}, TiffLayout{COMPRESSION_CCITTFAX4, 32});
  WriteBilevelTiff(path("negative.tif"), {Page(100, 70)},
                   TiffLayout{COMPRESSION_CCITTFAX4, 0, 0, FILLORDER_MSB2LSB, true});
  WritePngFile(path("blue.png"), Image(20, 10, 0x2040C0), false);
  const Outcome info = run({"info", path("tiles.tif")});
  ASSERT_EQ(info.status, 0) << info.err;
  for (const char *line :
       {"100 x 70 pixels", "4 x 3 tiles of 32 x 32", "coded bytes", "background   #FFFFFF"}) {
    EXPECT_NE(info.out.find(line), std::string::npos) << line << " in\n" << info.out;
  }
  for (const auto &[file, colour] : {std::pair<const char *, const char *>{"tiles.tif", "#FFFFFF"},
                                     {"negative.tif", "#FFFFFF"},
                                     {"blue.png", "#2040C0"}}) {
    SCOPED_TRACE(file);
    const Outcome outcome = run({"background", path(file)});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out.substr(0, 7), colour) << outcome.out;
  }
}

TEST_F(C2dimgTool, CompositesWithKeyAndAlpha) {
  WritePngFile(path("dst.png"), Image(20, 12, 0x0000FF), false);
  Image src(6, 4, 0xFF0000);
  src.at(1, 1) = 0x00FF00;  // keyed out below
  WritePngFile(path("src.png"), src, false);
  // Each case: options, then pixels of the result as x, y, colour. The source lands
  // on x 3 to 8, y 2 to 5 at 3,2.
  const std::pair<Args, std::vector<std::array<uint32_t, 3>>> cases[] = {
      {{"--at", "3,2"}, {{6, 4, 0xFF0000}, {4, 3, 0x00FF00}, {2, 2, 0x0000FF}, {9, 5, 0x0000FF}}},
      {{"--at", "3,2", "--key", "00FF00"}, {{6, 4, 0xFF0000}, {4, 3, 0x0000FF}}},
      // 255 * 0.5 + 0 * 0.5 and 0 * 0.5 + 255 * 0.5, cut toward zero.
      {{"--at", "3,2", "--alpha", "0.5", "--key", "00ff00"}, {{6, 4, 0x7F007F}, {4, 3, 0x0000FF}}},
      // Partly off the destination: only the part inside lands.
      {{"--at", "-4,-2"}, {{0, 0, 0xFF0000}, {1, 1, 0xFF0000}, {2, 0, 0x0000FF}}},
  };
  for (const auto &[options, pixels] : cases) {
    SCOPED_TRACE(options.back());
    ok({"composite", path("dst.png"), path("src.png"), "-o", path("out.png")}, options);
    const Image got = ReadBack(path("out.png"));
    ASSERT_EQ(got.w, 20u);
    for (const auto &[x, y, colour] : pixels) {
      EXPECT_EQ(got.at(x, y), colour) << x << "," << y;
    }
  }
}

// --- Failures ----------------------------------------------------------------

// Makes the one value of `tag` in the first directory of a little-endian TIFF far
// larger, whether it is stored as a SHORT or a LONG. False when there is no such tag.
bool InflateTag(std::string &bytes, uint16_t tag) {
  const auto u16 = [&](size_t at) {
    return static_cast<uint16_t>(uint8_t(bytes[at]) | uint8_t(bytes[at + 1]) << 8);
  };
  const size_t ifd = u16(4) | size_t{u16(6)} << 16;
  for (size_t i = 0, n = u16(ifd); i < n; ++i) {
    const size_t entry = ifd + 2 + 12 * i;
    if (u16(entry) == tag) {
      bytes[entry + 8 + (u16(entry + 2) == TIFF_SHORT ? 1 : 2)] = '\x7F';
      return true;
    }
  }
  return false;
}

TEST_F(C2dimgTool, BadInputGivesOneLineAndStatus2AndNoOutput) {
  WriteBilevelTiff(path("good.tif"), {Page(64, 48)}, TiffLayout{});
  WritePngFile(path("good.png"), Colours(64, 48), false);
  const std::string tiff = Slurp(path("good.tif"));
  const std::string png = Slurp(path("good.png"));
  std::string lying = tiff;
  ASSERT_TRUE(InflateTag(lying, TIFFTAG_STRIPBYTECOUNTS));
  WriteText(path("lying.tif"), lying);
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
  const char *const inputs[] = {"missing.tif", "folder",   "empty",    "text.txt",
                                "lying.tif",   "cut.tif",  "cut.png",  "corrupt.png",
                                "cut.pbm",     "zero.pgm", "good.tif", "huge.png"};
  for (const std::string input : inputs) {
    for (const char *out : {"new.png", "kept.png"}) {
      SCOPED_TRACE(input + " -> " + out);
      const Args page = input == "good.tif" ? Args{"--page", "2"} : Args{};  // no such page
      const Outcome outcome = run({"scale", path(input), "-o", path(out), "--width", "10"}, page);
      EXPECT_EQ(outcome.status, 2);
      EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
      EXPECT_NE(outcome.err.find(path(input)), std::string::npos) << outcome.err;
      EXPECT_FALSE(fs::exists(path("new.png")));
      EXPECT_EQ(Slurp(path("kept.png")), "old contents");
    }
  }
  // Nothing half-written is left beside OUT either.
  for (const auto &entry : fs::directory_iterator(dir_)) {
    EXPECT_EQ(entry.path().filename().string().find(".c2dimg-"), std::string::npos) << entry.path();
  }
}

TEST_F(C2dimgTool, BadArgumentsGiveUsageAndStatus1) {
  WritePbm(path("in.pbm"), Page(20, 10), false);
  const std::string in = path("in.pbm"), out = path("out.png");
  const std::vector<Args> cases = {
      {},
      {"frobnicate", in},
      {"scale", in, "--width", "10"},
      {"scale", in, "-o", out},
      {"scale", in, "-o", out, "--width", "10", "--height", "5"},
      {"scale", in, "-o", out, "--width", "ten"},
      {"scale", in, "-o", out, "--fit", "10by5"},
      {"scale", in, "-o", out, "--width", "10", "--rect", "20,0,25,5"},
      {"scale", in, "-o", out, "--width", "10", "--bogus"},
      {"rotate", in, "a lot", "-o", out},
      {"mirror", in, "z", "-o", out},
      {"convert", in, "-o", path("out.xyz")},
      {"convert", in, "-o", out, "--to", "7"},
      {"convert", in, "in2", "-o", out},
      {"composite", in, in, "-o", out, "--at", "1"},
      {"composite", in, in, "-o", out, "--at", "50,50"},
      {"composite", in, in, "-o", out, "--at", "1,1", "--key", "red"},
  };
  for (const Args &args : cases) {
    SCOPED_TRACE(args.empty() ? "(none)" : args[0] + " " + args.back());
    const Outcome outcome = run(args);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("usage: c2dimg"), std::string::npos) << outcome.err;
    EXPECT_FALSE(fs::exists(out));
  }
  // Help is asked for, not a mistake: usage on stdout and status 0.
  for (const char *command :
       {"", "info", "scale", "rotate", "mirror", "convert", "background", "composite"}) {
    SCOPED_TRACE(command);
    const Outcome outcome = run(*command == '\0' ? Args{"--quiet"} : Args{command}, {"--help"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out.rfind("usage: c2dimg " + std::string(command), 0), 0u) << outcome.out;
  }
}

}  // namespace
