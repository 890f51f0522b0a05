// End-to-end tests of c2dimg: input files are made here with libtiff, libpng and
// ghostscript, the built tool runs on them as a user would run it, and its outputs are
// read back with libtiff and libpng and compared pixel by pixel.
#include <gtest/gtest.h>
#include <png.h>
#include <sys/wait.h>
#include <tiffio.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr uint32_t kWhite = 0xFFFFFF;
constexpr uint32_t kBlack = 0x000000;

// Pixels as 0xRRGGBB, row by row, plus opacity; what every file is compared as.
struct Image {
  uint32_t w = 0, h = 0;
  std::vector<uint32_t> rgb;
  std::vector<uint8_t> alpha;
  Image() = default;
  Image(uint32_t width, uint32_t height, uint32_t fill = kWhite)
      : w(width), h(height), rgb(size_t{width} * height, fill), alpha(rgb.size(), 255) {}
  uint32_t &at(uint32_t x, uint32_t y) { return rgb[size_t{y} * w + x]; }
  uint32_t at(uint32_t x, uint32_t y) const { return rgb[size_t{y} * w + x]; }
  bool black(uint32_t x, uint32_t y) const { return at(x, y) == kBlack; }
};

std::string Difference(const Image &got, const Image &want) {
  if (got.w != want.w || got.h != want.h) {
    return "size " + std::to_string(got.w) + "x" + std::to_string(got.h) + ", want " +
           std::to_string(want.w) + "x" + std::to_string(want.h);
  }
  for (uint32_t y = 0; y < got.h; ++y) {
    for (uint32_t x = 0; x < got.w; ++x) {
      if (got.at(x, y) != want.at(x, y)) {
        char text[96];
        std::snprintf(text, sizeof text, "pixel %u,%u is %06X, want %06X", x, y, got.at(x, y),
                      want.at(x, y));
        return text;
      }
    }
  }
  return "";
}

// A black-on-white test page: a frame, a diagonal, a one-pixel line and a block, so
// that any flip, turn or shifted tile shows. The right edge of the frame is two
// pixels wide: the library's Group 4 decoder drops a run that starts in a page's last
// column, and these tests compare whole pages.
Image Page(uint32_t w, uint32_t h) {
  Image page(w, h);
  for (uint32_t x = 0; x < w; ++x) {
    page.at(x, 0) = page.at(x, h - 1) = kBlack;
  }
  for (uint32_t y = 0; y < h; ++y) {
    page.at(0, y) = page.at(w - 2, y) = page.at(w - 1, y) = kBlack;
    page.at(std::min(w - 1, y * w / h), y) = kBlack;
    page.at(w / 2 + 1, y) = kBlack;
  }
  for (uint32_t y = 2; y < h / 3; ++y) {
    for (uint32_t x = 3; x < w / 4; ++x) {
      page.at(x, y) = kBlack;
    }
  }
  return page;
}

// A colour picture with a few distinct colours and a gradient.
Image Colours(uint32_t w, uint32_t h) {
  Image image(w, h);
  for (uint32_t y = 0; y < h; ++y) {
    for (uint32_t x = 0; x < w; ++x) {
      image.at(x, y) = (x * 255 / w) << 16 | (y * 255 / h) << 8 | (x < w / 2 ? 0x40 : 0xC0);
    }
  }
  return image;
}

// --- Files made for the tool --------------------------------------------------

struct TiffLayout {
  uint16_t compression = COMPRESSION_CCITTFAX4;
  uint32_t tile = 0;          // square tiles of this size, or strips
  uint32_t rowsPerStrip = 0;  // 0: one strip
  uint16_t fillOrder = FILLORDER_MSB2LSB;
  bool minIsBlack = false;
};

// One bilevel directory of `page` (black where it is black).
void AddBilevelPage(TIFF *tif, const Image &page, const TiffLayout &l) {
  TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, page.w);
  TIFFSetField(tif, TIFFTAG_IMAGELENGTH, page.h);
  TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 1);
  TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(tif, TIFFTAG_COMPRESSION, l.compression);
  TIFFSetField(tif, TIFFTAG_PHOTOMETRIC,
               l.minIsBlack ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_MINISWHITE);
  TIFFSetField(tif, TIFFTAG_FILLORDER, l.fillOrder);
  TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  const auto bit = [&](uint32_t x, uint32_t y) { return page.black(x, y) != l.minIsBlack; };
  if (l.tile != 0) {
    TIFFSetField(tif, TIFFTAG_TILEWIDTH, l.tile);
    TIFFSetField(tif, TIFFTAG_TILELENGTH, l.tile);
    std::vector<uint8_t> buf(size_t{l.tile} / 8 * l.tile);
    for (uint32_t ty = 0; ty < page.h; ty += l.tile) {
      for (uint32_t tx = 0; tx < page.w; tx += l.tile) {
        std::fill(buf.begin(), buf.end(), l.minIsBlack ? 0xFF : 0x00);
        for (uint32_t y = ty; y < std::min(page.h, ty + l.tile); ++y) {
          for (uint32_t x = tx; x < std::min(page.w, tx + l.tile); ++x) {
            uint8_t &b = buf[(y - ty) * (l.tile / 8) + (x - tx) / 8];
            const uint8_t mask = static_cast<uint8_t>(0x80u >> ((x - tx) % 8));
            b = bit(x, y) ? (b | mask) : (b & ~mask);
          }
        }
        ASSERT_GE(TIFFWriteTile(tif, buf.data(), tx, ty, 0, 0), 0);
      }
    }
  } else {
    TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, l.rowsPerStrip == 0 ? page.h : l.rowsPerStrip);
    std::vector<uint8_t> row((page.w + 7) / 8);
    for (uint32_t y = 0; y < page.h; ++y) {
      std::fill(row.begin(), row.end(), 0);
      for (uint32_t x = 0; x < page.w; ++x) {
        row[x / 8] |= bit(x, y) ? static_cast<uint8_t>(0x80u >> (x % 8)) : 0;
      }
      ASSERT_EQ(TIFFWriteScanline(tif, row.data(), y, 0), 1);
    }
  }
  ASSERT_EQ(TIFFWriteDirectory(tif), 1);
}

void WriteBilevelTiff(const std::string &path, const std::vector<Image> &pages,
                      const TiffLayout &layout) {
  TIFF *tif = TIFFOpen(path.c_str(), "w");
  ASSERT_NE(tif, nullptr);
  for (const Image &page : pages) {
    AddBilevelPage(tif, page, layout);
  }
  TIFFClose(tif);
}

// An 8-bit palette TIFF (palette given) or an RGB(A) TIFF, LZW coded.
void WriteColourTiff(const std::string &path, const Image &image, bool palette, bool alpha) {
  TIFF *tif = TIFFOpen(path.c_str(), "w");
  ASSERT_NE(tif, nullptr);
  const int channels = palette ? 1 : alpha ? 4 : 3;
  TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, image.w);
  TIFFSetField(tif, TIFFTAG_IMAGELENGTH, image.h);
  TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 8);
  TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, channels);
  TIFFSetField(tif, TIFFTAG_COMPRESSION, COMPRESSION_LZW);
  TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, 8);
  std::vector<uint32_t> colours;
  if (palette) {
    for (uint32_t c : image.rgb) {
      if (std::find(colours.begin(), colours.end(), c) == colours.end()) {
        colours.push_back(c);
      }
    }
    ASSERT_LE(colours.size(), 256u);
    std::vector<uint16_t> map(3 * 256);
    for (size_t i = 0; i < colours.size(); ++i) {
      map[i] = static_cast<uint16_t>((colours[i] >> 16) * 257);
      map[256 + i] = static_cast<uint16_t>((colours[i] >> 8 & 0xFF) * 257);
      map[512 + i] = static_cast<uint16_t>((colours[i] & 0xFF) * 257);
    }
    TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_PALETTE);
    TIFFSetField(tif, TIFFTAG_COLORMAP, map.data(), map.data() + 256, map.data() + 512);
  } else {
    TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
    if (alpha) {
      const uint16_t extra = EXTRASAMPLE_UNASSALPHA;
      TIFFSetField(tif, TIFFTAG_EXTRASAMPLES, 1, &extra);
    }
  }
  std::vector<uint8_t> row(size_t{image.w} * channels);
  for (uint32_t y = 0; y < image.h; ++y) {
    for (uint32_t x = 0; x < image.w; ++x) {
      const uint32_t c = image.at(x, y);
      uint8_t *p = row.data() + size_t{x} * channels;
      if (palette) {
        p[0] = static_cast<uint8_t>(std::find(colours.begin(), colours.end(), c) - colours.begin());
        continue;
      }
      p[0] = static_cast<uint8_t>(c >> 16), p[1] = static_cast<uint8_t>(c >> 8);
      p[2] = static_cast<uint8_t>(c);
      if (alpha) {
        p[3] = image.alpha[size_t{y} * image.w + x];
      }
    }
    ASSERT_EQ(TIFFWriteScanline(tif, row.data(), y, 0), 1);
  }
  TIFFClose(tif);
}

void WritePngFile(const std::string &path, const Image &image, bool alpha) {
  png_image png;
  std::memset(&png, 0, sizeof png);
  png.version = PNG_IMAGE_VERSION;
  png.width = image.w;
  png.height = image.h;
  png.format = alpha ? PNG_FORMAT_RGBA : PNG_FORMAT_RGB;
  const int channels = alpha ? 4 : 3;
  std::vector<uint8_t> bytes;
  for (size_t i = 0; i < image.rgb.size(); ++i) {
    bytes.insert(bytes.end(),
                 {static_cast<uint8_t>(image.rgb[i] >> 16), static_cast<uint8_t>(image.rgb[i] >> 8),
                  static_cast<uint8_t>(image.rgb[i])});
    if (alpha) {
      bytes.push_back(image.alpha[i]);
    }
  }
  ASSERT_NE(
      png_image_write_to_file(&png, path.c_str(), 0, bytes.data(), image.w * channels, nullptr), 0)
      << png.message;
}

void WriteText(const std::string &path, const std::string &text) {
  std::ofstream(path, std::ios::binary) << text;
}

// Raw PBM, or plain with `plain`.
void WritePbm(const std::string &path, const Image &page, bool plain) {
  std::string text = std::string(plain ? "P1" : "P4") + "\n# test page\n" + std::to_string(page.w) +
                     " " + std::to_string(page.h) + "\n";
  for (uint32_t y = 0; y < page.h; ++y) {
    uint8_t byte = 0;
    for (uint32_t x = 0; x < page.w; ++x) {
      if (plain) {
        text += page.black(x, y) ? "1" : "0";
        continue;
      }
      byte |= page.black(x, y) ? static_cast<uint8_t>(0x80u >> (x % 8)) : 0;
      if (x % 8 == 7 || x + 1 == page.w) {
        text += static_cast<char>(byte);
        byte = 0;
      }
    }
    text += plain ? "\n" : "";
  }
  WriteText(path, text);
}

// Plain PPM with a maximum value of 1000, which is scaled to 255.
void WritePlainPpm(const std::string &path, const Image &image) {
  std::string text = "P3\n" + std::to_string(image.w) + " " + std::to_string(image.h) + "\n1000\n";
  for (uint32_t c : image.rgb) {
    for (int shift : {16, 8, 0}) {
      text += std::to_string(((c >> shift) & 0xFF) * 1000 / 255) + " ";
    }
  }
  WriteText(path, text);
}

// --- Files the tool wrote ----------------------------------------------------

struct Facts {
  int bitDepth = 0;     // PNG: bit depth; TIFF: bits per sample
  int colourType = -1;  // PNG colour type
  int compression = 0;  // TIFF compression
};

Image ReadBack(const std::string &path, Facts *facts = nullptr) {
  Image image;
  Facts f;
  const std::string ext = fs::path(path).extension();
  if (ext == ".png") {
    std::ifstream in(path, std::ios::binary);
    std::string head(26, '\0');
    in.read(&head[0], 26);
    f.bitDepth = static_cast<uint8_t>(head[24]);
    f.colourType = static_cast<uint8_t>(head[25]);
    png_image png;
    std::memset(&png, 0, sizeof png);
    png.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&png, path.c_str()) == 0) {
      ADD_FAILURE() << path << ": " << png.message;
      return image;
    }
    png.format = PNG_FORMAT_RGBA;
    std::vector<uint8_t> bytes(PNG_IMAGE_SIZE(png));
    EXPECT_NE(png_image_finish_read(&png, nullptr, bytes.data(), 0, nullptr), 0) << png.message;
    image = Image(png.width, png.height);
    for (size_t i = 0; i < image.rgb.size(); ++i) {
      image.rgb[i] = uint32_t{bytes[4 * i]} << 16 | bytes[4 * i + 1] << 8 | bytes[4 * i + 2];
      image.alpha[i] = bytes[4 * i + 3];
    }
  } else if (ext == ".tif") {
    TIFF *tif = TIFFOpen(path.c_str(), "r");
    if (tif == nullptr) {
      ADD_FAILURE() << "cannot open " << path;
      return image;
    }
    uint32_t w = 0, h = 0;
    uint16_t bps = 0, compression = 0;
    TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &w);
    TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &h);
    TIFFGetFieldDefaulted(tif, TIFFTAG_BITSPERSAMPLE, &bps);
    TIFFGetFieldDefaulted(tif, TIFFTAG_COMPRESSION, &compression);
    f.bitDepth = bps;
    f.compression = compression;
    std::vector<uint32_t> raster(size_t{w} * h);
    EXPECT_NE(TIFFReadRGBAImageOriented(tif, w, h, raster.data(), ORIENTATION_TOPLEFT, 1), 0);
    TIFFClose(tif);
    image = Image(w, h);
    for (size_t i = 0; i < raster.size(); ++i) {
      const uint32_t p = raster[i];
      image.rgb[i] = (p & 0xFF) << 16 | (p & 0xFF00) | (p >> 16 & 0xFF);
      image.alpha[i] = static_cast<uint8_t>(p >> 24);
    }
  } else {  // raw PBM, PGM, PPM
    std::ifstream in(path, std::ios::binary);
    std::string magic;
    uint32_t w = 0, h = 0, maxval = 1;
    in >> magic >> w >> h;
    if (magic != "P4") {
      in >> maxval;
    }
    in.get();
    image = Image(w, h);
    const size_t stride = magic == "P4" ? (w + 7) / 8 : magic == "P5" ? w : 3 * w;
    std::vector<uint8_t> row(stride);
    for (uint32_t y = 0; y < h && in.read(reinterpret_cast<char *>(row.data()), stride); ++y) {
      for (uint32_t x = 0; x < w; ++x) {
        uint32_t &p = image.at(x, y);
        if (magic == "P4") {
          p = (row[x / 8] >> (7 - x % 8) & 1) ? kBlack : kWhite;
        } else if (magic == "P5") {
          p = row[x] * 0x010101u;
        } else {
          p = uint32_t{row[3 * x]} << 16 | row[3 * x + 1] << 8 | row[3 * x + 2];
        }
      }
    }
  }
  if (facts != nullptr) {
    *facts = f;
  }
  return image;
}

// --- Running the tool --------------------------------------------------------

struct Outcome {
  int status = -1;
  std::string out;
  std::string err;
};

std::string Quote(const std::string &arg) {
  std::string q = "'";
  for (char c : arg) {
    q += c == '\'' ? std::string("'\\''") : std::string(1, c);
  }
  return q + "'";
}

std::string Slurp(const std::string &path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

class C2dimgTool : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string templ = (fs::temp_directory_path() / "c2dimg-e2e-XXXXXX").string();
    ASSERT_NE(mkdtemp(&templ[0]), nullptr);
    dir_ = templ;
  }
  void TearDown() override { fs::remove_all(dir_); }

  std::string path(const std::string &name) const { return (fs::path(dir_) / name).string(); }

  // Runs c2dimg under a time limit, so that a hang fails rather than stalls the suite.
  Outcome run(const std::vector<std::string> &args) const {
    std::string command = "timeout 60 " + Quote(C2DIMG_PATH);
    for (const std::string &arg : args) {
      command += " " + Quote(arg);
    }
    command += " >" + Quote(path("stdout")) + " 2>" + Quote(path("stderr"));
    const int raw = std::system(command.c_str());
    Outcome outcome;
    outcome.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    outcome.out = Slurp(path("stdout"));
    outcome.err = Slurp(path("stderr"));
    fs::remove(path("stdout"));
    fs::remove(path("stderr"));
    EXPECT_NE(outcome.status, 124) << "timed out: " << command;
    EXPECT_EQ(outcome.err.find("Sanitizer"), std::string::npos) << outcome.err;
    EXPECT_EQ(outcome.err.find("runtime error"), std::string::npos) << outcome.err;
    return outcome;
  }

  // Runs a command that must succeed.
  void ok(const std::vector<std::string> &args) const {
    const Outcome outcome = run(args);
    ASSERT_EQ(outcome.status, 0) << outcome.err;
  }

  std::string dir_;
};

// --- Inputs ------------------------------------------------------------------

TEST_F(C2dimgTool, ReadsEveryInputKindByContent) {
  const Image page = Page(100, 70);
  const Image colours = Colours(40, 30);
  Image palette(24, 16);
  for (uint32_t i = 0; i < palette.rgb.size(); ++i) {
    palette.rgb[i] = (i % 7) * 0x203040u;
  }
  Image translucent = colours;
  for (size_t i = 0; i < translucent.alpha.size(); ++i) {
    translucent.alpha[i] = static_cast<uint8_t>(i * 5);
  }
  TiffLayout strips;
  strips.rowsPerStrip = 16;  // the last strip is shorter
  TiffLayout tiles;
  tiles.tile = 32;  // tiles reach past the right and bottom edges
  TiffLayout reversed = strips;
  reversed.fillOrder = FILLORDER_LSB2MSB;
  TiffLayout negative = tiles;
  negative.minIsBlack = true;
  TiffLayout packed;
  packed.compression = COMPRESSION_PACKBITS;
  TiffLayout bigTiles;
  bigTiles.tile = 128;  // larger than the page
  struct Case {
    const char *name;  // no extension: the tool must not look at one
    std::function<void(const std::string &)> make;
    Image want;
    std::vector<std::string> extra;
  };
  const Case cases[] = {
      {"g4-strips", [&](auto &p) { WriteBilevelTiff(p, {page}, strips); }, page, {}},
      {"g4-tiles", [&](auto &p) { WriteBilevelTiff(p, {page}, tiles); }, page, {}},
      {"g4-fill-order-2", [&](auto &p) { WriteBilevelTiff(p, {page}, reversed); }, page, {}},
      {"g4-min-is-black", [&](auto &p) { WriteBilevelTiff(p, {page}, negative); }, page, {}},
      {"g4-big-tiles", [&](auto &p) { WriteBilevelTiff(p, {page}, bigTiles); }, page, {}},
      {"g4-page-2",
       [&](auto &p) {
         WriteBilevelTiff(p, {colours, page}, strips);
       },
       page,
       {"--page", "2"}},
      {"packbits", [&](auto &p) { WriteBilevelTiff(p, {page}, packed); }, page, {}},
      {"palette-tiff", [&](auto &p) { WriteColourTiff(p, palette, true, false); }, palette, {}},
      {"rgb-tiff", [&](auto &p) { WriteColourTiff(p, colours, false, false); }, colours, {}},
      {"rgba-tiff",
       [&](auto &p) { WriteColourTiff(p, translucent, false, true); },
       translucent,
       {}},
      {"rgb-png", [&](auto &p) { WritePngFile(p, colours, false); }, colours, {}},
      {"rgba-png", [&](auto &p) { WritePngFile(p, translucent, true); }, translucent, {}},
      {"raw-pbm", [&](auto &p) { WritePbm(p, page, false); }, page, {}},
      {"plain-pbm", [&](auto &p) { WritePbm(p, page, true); }, page, {}},
      {"plain-ppm", [&](auto &p) { WritePlainPpm(p, colours); }, colours, {}},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    c.make(path(c.name));
    std::vector<std::string> args = {"convert", path(c.name), "-o", path("out.png")};
    args.insert(args.end(), c.extra.begin(), c.extra.end());
    ok(args);
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
  const std::string gs =
      "gs -q -dNOPAUSE -dBATCH -dSAFER -r100 -dDEVICEWIDTHPOINTS=200 -dDEVICEHEIGHTPOINTS=200 ";
  ASSERT_EQ(std::system(
                (gs + "-sDEVICE=pngmono -o " + Quote(path("gs.png")) + " " + Quote(path("page.ps")))
                    .c_str()),
            0);
  const Image want = ReadBack(path("gs.png"));
  for (const char *fillOrder : {"1", "2"}) {
    SCOPED_TRACE(fillOrder);
    ASSERT_EQ(std::system((gs + "-sDEVICE=tiffg4 -dFillOrder=" + fillOrder + " -o " +
                           Quote(path("gs.tif")) + " " + Quote(path("page.ps")))
                              .c_str()),
              0);
    ok({"convert", path("gs.tif"), "-o", path("out.png")});
    EXPECT_EQ(Difference(ReadBack(path("out.png")), want), "");
  }
}

// --- Outputs -----------------------------------------------------------------

TEST_F(C2dimgTool, WritesEveryFormatByExtension) {
  const Image page = Page(61, 33);
  const Image colours = Colours(21, 13);
  WriteBilevelTiff(path("page.tif"), {page}, TiffLayout{});
  WritePngFile(path("colours.png"), colours, false);
  Image grey(colours.w, colours.h);
  for (size_t i = 0; i < grey.rgb.size(); ++i) {
    const uint32_t c = colours.rgb[i];
    grey.rgb[i] =
        ((299 * (c >> 16) + 587 * (c >> 8 & 0xFF) + 114 * (c & 0xFF) + 500) / 1000) * 0x010101u;
  }
  struct Case {
    const char *input;
    const char *output;
    const Image &want;
    Facts facts;  // 0 and -1 are not checked
  };
  const Case cases[] = {
      {"page.tif", "out.png", page, {1, PNG_COLOR_TYPE_GRAY, 0}},
      {"page.tif", "out.tif", page, {1, -1, COMPRESSION_CCITTFAX4}},
      {"page.tif", "out.pbm", page, {}},
      {"page.tif", "out.pgm", page, {}},
      {"page.tif", "out.ppm", page, {}},
      {"colours.png", "out.png", colours, {8, PNG_COLOR_TYPE_RGB, 0}},
      {"colours.png", "out.tif", colours, {8, -1, 0}},
      {"colours.png", "out.ppm", colours, {}},
      {"colours.png", "out.pgm", grey, {}},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(std::string(c.input) + " -> " + c.output);
    ok({"convert", path(c.input), "-o", path(c.output)});
    Facts facts;
    EXPECT_EQ(Difference(ReadBack(path(c.output), &facts), c.want), "");
    if (c.facts.bitDepth != 0) {
      EXPECT_EQ(facts.bitDepth, c.facts.bitDepth);
    }
    if (c.facts.colourType != -1) {
      EXPECT_EQ(facts.colourType, c.facts.colourType);
    }
    if (c.facts.compression != 0) {
      EXPECT_EQ(facts.compression, c.facts.compression);
    }
  }
}

// --- Operations --------------------------------------------------------------

// The transforms of Group 4 pages, bitmaps and colour pictures against the pixel maps
// they must follow (positive angles turn counter-clockwise).
TEST_F(C2dimgTool, RotatesAndMirrorsExactly) {
  const Image page = Page(37, 23);
  const Image colours = Colours(19, 11);
  TiffLayout tiles;
  tiles.tile = 16;
  WriteBilevelTiff(path("page.tif"), {page}, tiles);
  WritePbm(path("page.pbm"), page, false);
  WritePngFile(path("colours.png"), colours, false);
  using Map = std::function<void(uint32_t w, uint32_t h, uint32_t x, uint32_t y, uint32_t & sx,
                                 uint32_t & sy)>;
  struct Op {
    std::vector<std::string> args;  // after the input
    bool turns;                     // width and height exchange
    Map source;                     // where output pixel (x, y) comes from
  };
  const Op ops[] = {
      {{"rotate", "90"},
       true,
       [](auto w, auto, auto x, auto y, auto &sx, auto &sy) { sx = w - 1 - y, sy = x; }},
      {{"rotate", "-90"},
       true,
       [](auto, auto h, auto x, auto y, auto &sx, auto &sy) { sx = y, sy = h - 1 - x; }},
      {{"rotate", "180"},
       false,
       [](auto w, auto h, auto x, auto y, auto &sx, auto &sy) { sx = w - 1 - x, sy = h - 1 - y; }},
      {{"mirror", "x"},
       false,
       [](auto, auto h, auto x, auto y, auto &sx, auto &sy) { sx = x, sy = h - 1 - y; }},
      {{"mirror", "y"},
       false,
       [](auto w, auto, auto x, auto y, auto &sx, auto &sy) { sx = w - 1 - x, sy = y; }},
  };
  for (const auto &[input, source] : {std::pair<const char *, const Image &>{"page.tif", page},
                                      {"page.pbm", page},
                                      {"colours.png", colours}}) {
    for (const Op &op : ops) {
      SCOPED_TRACE(std::string(input) + " " + op.args[0] + " " + op.args[1]);
      ok({op.args[0], path(input), op.args[1], "-o", path("out.png")});
      Image want(op.turns ? source.h : source.w, op.turns ? source.w : source.h);
      for (uint32_t y = 0; y < want.h; ++y) {
        for (uint32_t x = 0; x < want.w; ++x) {
          uint32_t sx = 0, sy = 0;
          op.source(source.w, source.h, x, y, sx, sy);
          want.at(x, y) = source.at(sx, sy);
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
    page.at(201, y) = kBlack;
  }
  for (uint32_t x = 0; x < page.w; ++x) {
    page.at(x, 150) = kBlack;
  }
  WriteBilevelTiff(path("page.tif"), {page}, TiffLayout{});
  WritePbm(path("page.pbm"), page, false);
  struct Case {
    std::vector<std::string> size;
    uint32_t w, h;
  };
  const Case cases[] = {{{"--width", "100"}, 100, 75},
                        {{"--height", "60"}, 80, 60},
                        {{"--factor", "0.33"}, 132, 99},
                        {{"--fit", "50x50"}, 50, 38}};
  for (const char *input : {"page.tif", "page.pbm"}) {
    for (const Case &c : cases) {
      for (bool grey : {false, true}) {
        SCOPED_TRACE(std::string(input) + " " + c.size[0] + (grey ? " grey" : ""));
        std::vector<std::string> args = {"scale", path(input), "-o", path("out.png")};
        args.insert(args.end(), c.size.begin(), c.size.end());
        if (grey) {
          args.push_back("--grey");
        }
        ok(args);
        Facts facts;
        const Image got = ReadBack(path("out.png"), &facts);
        ASSERT_EQ(got.w, c.w);
        ASSERT_EQ(got.h, c.h);
        EXPECT_EQ(facts.bitDepth, grey ? 8 : 1);
        // The lines are still there in every row and column they cross: black in a
        // bilevel result, darker than the paper in a grey one.
        const uint32_t lineX = 201 * c.w / 400, lineY = 150 * c.h / 300, ink = grey ? 0xFE : 0;
        int gaps = 0;
        for (uint32_t y = 0; y < got.h; ++y) {
          gaps +=
              std::min({got.at(lineX - 1, y), got.at(lineX, y), got.at(lineX + 1, y)}) % 256 > ink;
        }
        for (uint32_t x = 0; x < got.w; ++x) {
          gaps +=
              std::min({got.at(x, lineY - 1), got.at(x, lineY), got.at(x, lineY + 1)}) % 256 > ink;
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

TEST_F(C2dimgTool, ConvertsBetweenImageTypes) {
  Image picture(30, 20);  // white paper with a red block
  for (uint32_t y = 5; y < 15; ++y) {
    for (uint32_t x = 10; x < 25; ++x) {
      picture.at(x, y) = 0xFF0000;
    }
  }
  Image separated(picture.w, picture.h);
  for (size_t i = 0; i < picture.rgb.size(); ++i) {
    separated.rgb[i] = picture.rgb[i] == kWhite ? kWhite : kBlack;
  }
  const Image page = Page(45, 20);
  WritePngFile(path("picture.png"), picture, false);
  WriteBilevelTiff(path("page.tif"), {page}, TiffLayout{});
  struct Case {
    const char *input;
    std::vector<std::string> to;
    const Image &want;
    int colourType;
  };
  const Case cases[] = {
      {"page.tif", {"--to", "32"}, page, PNG_COLOR_TYPE_GRAY},
      {"page.tif", {"--to", "8"}, page, PNG_COLOR_TYPE_PALETTE},
      {"page.tif", {"--to", "1"}, page, PNG_COLOR_TYPE_GRAY},
      {"picture.png", {"--to", "1", "--separate"}, separated, PNG_COLOR_TYPE_GRAY},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(std::string(c.input) + " " + c.to[1]);
    std::vector<std::string> args = {"convert", path(c.input), "-o", path("out.png")};
    args.insert(args.end(), c.to.begin(), c.to.end());
    ok(args);
    Facts facts;
    EXPECT_EQ(Difference(ReadBack(path("out.png"), &facts), c.want), "");
    EXPECT_EQ(facts.colourType, c.colourType);
  }
}

TEST_F(C2dimgTool, TellsFactsAndBackground) {
  TiffLayout tiles;
  tiles.tile = 32;
  TiffLayout negative;
  negative.minIsBlack = true;
  WriteBilevelTiff(path("tiles.tif"), {Page(100, 70)}, tiles);
  WriteBilevelTiff(path("negative.tif"), {Page(100, 70)}, negative);
  WritePngFile(path("blue.png"), Image(20, 10, 0x2040C0), false);
  const Outcome info = run({"info", path("tiles.tif")});
  ASSERT_EQ(info.status, 0) << info.err;
  EXPECT_NE(info.out.find("100 x 70 pixels"), std::string::npos) << info.out;
  EXPECT_NE(info.out.find("4 x 3 tiles of 32 x 32"), std::string::npos) << info.out;
  EXPECT_NE(info.out.find("coded bytes"), std::string::npos) << info.out;
  EXPECT_NE(info.out.find("background   #FFFFFF"), std::string::npos) << info.out;
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
  struct Case {
    std::vector<std::string> options;
    uint32_t inside;  // a source pixel landed
    uint32_t keyed;   // where the key colour was
  };
  const Case cases[] = {
      {{"--at", "3,2"}, 0xFF0000, 0x00FF00},
      {{"--at", "3,2", "--key", "00FF00"}, 0xFF0000, 0x0000FF},
      // 255 * 0.5 + 0 * 0.5 and 0 * 0.5 + 255 * 0.5, cut toward zero.
      {{"--at", "3,2", "--alpha", "0.5", "--key", "00ff00"}, 0x7F007F, 0x0000FF},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.options.size());
    std::vector<std::string> args = {"composite", path("dst.png"), path("src.png"), "-o",
                                     path("out.png")};
    args.insert(args.end(), c.options.begin(), c.options.end());
    ok(args);
    const Image got = ReadBack(path("out.png"));
    ASSERT_EQ(got.w, 20u);
    EXPECT_EQ(got.at(3 + 3, 2 + 2), c.inside);
    EXPECT_EQ(got.at(3 + 1, 2 + 1), c.keyed);
    EXPECT_EQ(got.at(2, 2), 0x0000FFu);
    EXPECT_EQ(got.at(9, 5), 0x0000FFu);
  }
  // Partly off the destination: only the part inside lands.
  ok({"composite", path("dst.png"), path("src.png"), "-o", path("out.png"), "--at", "-4,-2"});
  const Image got = ReadBack(path("out.png"));
  EXPECT_EQ(got.at(0, 0), 0xFF0000u);
  EXPECT_EQ(got.at(1, 1), 0xFF0000u);
  EXPECT_EQ(got.at(2, 0), 0x0000FFu);
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
  const Image page = Page(64, 48);
  WriteBilevelTiff(path("good.tif"), {page}, TiffLayout{});
  WritePngFile(path("good.png"), Colours(64, 48), false);
  const std::string tiff = Slurp(path("good.tif"));
  const std::string png = Slurp(path("good.png"));
  std::string lying = tiff;
  ASSERT_TRUE(InflateTag(lying, TIFFTAG_STRIPBYTECOUNTS));
  WriteText(path("lying.tif"), lying);
  WriteText(path("cut.tif"), tiff.substr(0, tiff.size() / 2));
  WriteText(path("cut.png"), png.substr(0, png.size() / 2));
  WriteText(path("cut.pbm"), "P4\n64 48\n" + std::string(100, '\0'));
  WriteText(path("zero.pgm"), "P5\n0 10\n255\n");
  WriteText(path("text.txt"), "hello, not a picture\n");
  WriteText(path("empty"), "");
  WriteText(path("corrupt.png"), png.substr(0, 8) + std::string(200, 'x'));
  fs::create_directory(path("folder"));
  struct Case {
    const char *input;
    std::vector<std::string> extra;
  };
  const Case cases[] = {{"missing.tif", {}},
                        {"folder", {}},
                        {"empty", {}},
                        {"text.txt", {}},
                        {"lying.tif", {}},
                        {"cut.tif", {}},
                        {"cut.png", {}},
                        {"corrupt.png", {}},
                        {"cut.pbm", {}},
                        {"zero.pgm", {}},
                        {"good.tif", {"--page", "2"}}};
  WriteText(path("kept.png"), "old contents");
  for (const Case &c : cases) {
    for (const char *out : {"new.png", "kept.png"}) {
      SCOPED_TRACE(std::string(c.input) + " -> " + out);
      std::vector<std::string> args = {"scale", path(c.input), "-o", path(out), "--width", "10"};
      args.insert(args.end(), c.extra.begin(), c.extra.end());
      const Outcome outcome = run(args);
      EXPECT_EQ(outcome.status, 2);
      EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
      EXPECT_NE(outcome.err.find(path(c.input)), std::string::npos) << outcome.err;
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
  const std::vector<std::vector<std::string>> cases = {
      {},
      {"frobnicate", in},
      {"scale", in, "--width", "10"},
      {"scale", in, "-o", out},
      {"scale", in, "-o", out, "--width", "10", "--height", "5"},
      {"scale", in, "-o", out, "--width", "ten"},
      {"scale", in, "-o", out, "--fit", "10by5"},
      {"scale", in, "-o", out, "--width", "10", "--rect", "0,0,20,5"},
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
  for (const auto &args : cases) {
    SCOPED_TRACE(args.empty() ? "(none)" : args[0] + " " + args.back());
    const Outcome outcome = run(args);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("usage: c2dimg"), std::string::npos) << outcome.err;
    EXPECT_FALSE(fs::exists(out));
  }
}

TEST_F(C2dimgTool, HelpForTheToolAndEachCommand) {
  for (const char *command :
       {"", "info", "scale", "rotate", "mirror", "convert", "background", "composite"}) {
    SCOPED_TRACE(command);
    const Outcome outcome = run(*command == '\0' ? std::vector<std::string>{"--help"}
                                                 : std::vector<std::string>{command, "--help"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out.rfind("usage: c2dimg " + std::string(command), 0), 0u) << outcome.out;
  }
  const Outcome quiet = run({"--quiet", "--help"});
  EXPECT_EQ(quiet.status, 0);
}

}  // namespace
