// For c2dimg's end-to-end tests: inputs made with libtiff, libpng and ImageMagick, outputs
// read back with libtiff, libpng and netpbm, and a fixture that runs the tool in a scratch folder.
#ifndef TESTS_TOOLS_TOOLTESTSUPPORT_H_
#define TESTS_TOOLS_TOOLTESTSUPPORT_H_
#include <gtest/gtest.h>
#include <png.h>
#include <sys/wait.h>
#include <tiffio.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

namespace c2dtest {

namespace fs = std::filesystem;
using Args = std::vector<std::string>;

constexpr uint32_t kWhite = 0xFFFFFF, kBlack = 0x000000;

// Pixels as 0xRRGGBB, row by row, plus opacity; what every file is compared as.
struct Image {
  uint32_t w = 0, h = 0;
  std::vector<uint32_t> rgb;
  std::vector<uint8_t> alpha;
  // Of a file read back: bit depth (bits per sample), PNG colour type, TIFF compression.
  int bitDepth = 0, colourType = -1, compression = 0;
  Image() = default;
  Image(uint32_t width, uint32_t height, uint32_t fill = kWhite)
      : w(width), h(height), rgb(size_t{width} * height, fill), alpha(rgb.size(), 255) {}
  uint32_t &at(uint32_t x, uint32_t y) { return rgb[size_t{y} * w + x]; }
  uint32_t at(uint32_t x, uint32_t y) const { return rgb[size_t{y} * w + x]; }
  bool black(uint32_t x, uint32_t y) const { return at(x, y) == kBlack; }
};

// "" when equal, else the size or the first pixel that differs.
inline std::string Difference(const Image &got, const Image &want) {
  if (got.w != want.w || got.h != want.h) {
    return "size " + std::to_string(got.w) + "x" + std::to_string(got.h);
  }
  const auto g = std::mismatch(got.rgb.begin(), got.rgb.end(), want.rgb.begin()).first;
  const size_t i = static_cast<size_t>(g - got.rgb.begin());
  return g == got.rgb.end()
             ? ""
             : "pixel " + std::to_string(i % got.w) + "," + std::to_string(i / got.w);
}

inline Image Crop(const Image &image, uint32_t x, uint32_t y, uint32_t w, uint32_t h) {
  Image part(w, h);
  for (uint32_t i = 0; i < w * h; ++i) {
    part.rgb[i] = image.at(x + i % w, y + i / w);
  }
  return part;
}

// A frame, a diagonal, a one-pixel line and a block: any flip, turn or lost edge shows.
inline Image Page(uint32_t w, uint32_t h) {
  Image page(w, h);
  for (uint32_t i = 0; i < w * h; ++i) {
    const uint32_t x = i % w, y = i / w;
    const bool frame = y == 0 || y == h - 1 || x == 0 || x + 1 == w;
    const bool block = y >= 2 && y < h / 3 && x >= 3 && x < w / 4;
    if (frame || block || x == std::min(w - 1, y * w / h) || x == w / 2 + 1) {
      page.rgb[i] = kBlack;
    }
  }
  return page;
}

// A colour picture with a few distinct colours and a gradient.
inline Image Colours(uint32_t w, uint32_t h) {
  Image image(w, h);
  for (uint32_t i = 0; i < w * h; ++i) {
    const uint32_t x = i % w, y = i / w;
    image.rgb[i] = (x * 255 / w) << 16 | (y * 255 / h) << 8 | (x < w / 2 ? 0x40 : 0xC0);
  }
  return image;
}

// `n` columns of row `y` from `x0`, most significant bit first, a set bit for black
// (for white with `invert`); columns and rows off the page are white.
inline std::vector<uint8_t> PackRow(const Image &page, uint32_t y, uint32_t x0, uint32_t n,
                                    bool invert) {
  std::vector<uint8_t> row((n + 7) / 8);
  for (uint32_t i = 0; i < n; ++i) {
    const bool ink = x0 + i < page.w && y < page.h && page.black(x0 + i, y);
    row[i / 8] |= ink != invert ? static_cast<uint8_t>(0x80u >> (i % 8)) : 0;
  }
  return row;
}

constexpr uint16_t kG4 = COMPRESSION_CCITTFAX4;

struct TiffLayout {
  uint16_t compression = kG4;
  uint32_t tile = 0;          // square tiles of this size, or strips
  uint32_t rowsPerStrip = 0;  // 0: one strip
  uint16_t fillOrder = FILLORDER_MSB2LSB;
  bool minIsBlack = false;
};

// One bilevel directory per page.
inline void WriteBilevelTiff(const std::string &path, const std::vector<Image> &pages,
                             const TiffLayout &l = {}) {
  TIFF *tif = TIFFOpen(path.c_str(), "w");
  ASSERT_NE(tif, nullptr);
  for (const Image &page : pages) {
    TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, page.w);
    TIFFSetField(tif, TIFFTAG_IMAGELENGTH, page.h);
    TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 1);
    TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(tif, TIFFTAG_COMPRESSION, l.compression);
    TIFFSetField(tif, TIFFTAG_PHOTOMETRIC,
                 l.minIsBlack ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_MINISWHITE);
    TIFFSetField(tif, TIFFTAG_FILLORDER, l.fillOrder);
    TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    if (l.tile != 0) {
      TIFFSetField(tif, TIFFTAG_TILEWIDTH, l.tile);
      TIFFSetField(tif, TIFFTAG_TILELENGTH, l.tile);
      for (uint32_t ty = 0; ty < page.h; ty += l.tile) {
        for (uint32_t tx = 0; tx < page.w; tx += l.tile) {
          std::vector<uint8_t> buf;
          for (uint32_t y = ty; y < ty + l.tile; ++y) {
            const std::vector<uint8_t> row = PackRow(page, y, tx, l.tile, l.minIsBlack);
            buf.insert(buf.end(), row.begin(), row.end());
          }
          ASSERT_GE(TIFFWriteTile(tif, buf.data(), tx, ty, 0, 0), 0);
        }
      }
    } else {
      TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, l.rowsPerStrip == 0 ? page.h : l.rowsPerStrip);
      for (uint32_t y = 0; y < page.h; ++y) {
        std::vector<uint8_t> row = PackRow(page, y, 0, page.w, l.minIsBlack);
        ASSERT_EQ(TIFFWriteScanline(tif, row.data(), y, 0), 1);
      }
    }
    ASSERT_EQ(TIFFWriteDirectory(tif), 1);
  }
  TIFFClose(tif);
}

inline void WritePngFile(const std::string &path, const Image &image, bool alpha) {
  png_image png{};
  png.version = PNG_IMAGE_VERSION;
  png.width = image.w;
  png.height = image.h;
  png.format = alpha ? PNG_FORMAT_RGBA : PNG_FORMAT_RGB;
  std::vector<uint8_t> bytes;
  for (size_t i = 0; i < image.rgb.size(); ++i) {
    const uint32_t c = image.rgb[i];
    bytes.insert(bytes.end(), {uint8_t(c >> 16), uint8_t(c >> 8), uint8_t(c)});
    if (alpha) {
      bytes.push_back(image.alpha[i]);
    }
  }
  ASSERT_NE(png_image_write_to_file(&png, path.c_str(), 0, bytes.data(), 0, nullptr), 0)
      << png.message;
}

inline std::string Quote(const std::string &arg) {
  std::string q = "'";
  for (char c : arg) {
    q += c == '\'' ? std::string("'\\''") : std::string(1, c);
  }
  return q + "'";
}

// An LZW-coded RGB, RGBA (unassociated) or 8-bit palette TIFF, made by ImageMagick.
inline void WriteColourTiff(const std::string &path, const Image &image, bool alpha,
                            bool palette = false) {
  WritePngFile(path + ".png", image, alpha);
  const std::string command = "convert " + Quote(path + ".png") +
                              (palette ? " -type Palette" : "") +
                              " -compress lzw TIFF:" + Quote(path);
  ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

// A PNG's bytes with the size its header declares changed (the header's CRC mended).
inline std::string WithPngSize(std::string png, uint32_t w, uint32_t h) {
  const auto put = [&png](size_t at, uint32_t value) {
    for (size_t i = 0; i < 4; ++i) {
      png[at + i] = static_cast<char>(value >> (24 - 8 * i));
    }
  };
  put(16, w);
  put(20, h);
  put(29, static_cast<uint32_t>(crc32(0, reinterpret_cast<const Bytef *>(png.data()) + 12, 17)));
  return png;
}

inline std::string Slurp(const std::string &path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

inline void WriteText(const std::string &path, const std::string &text) {
  std::ofstream(path, std::ios::binary) << text;
}

// Raw PBM, or plain with `plain`.
inline void WritePbm(const std::string &path, const Image &page, bool plain) {
  std::string text = std::string(plain ? "P1" : "P4") + "\n# test page\n" + std::to_string(page.w) +
                     " " + std::to_string(page.h) + "\n";
  for (uint32_t y = 0; y < page.h; ++y) {
    for (uint32_t x = 0; plain && x < page.w; ++x) {
      text += page.black(x, y) ? "1" : "0";
    }
    const std::vector<uint8_t> row = PackRow(page, y, 0, page.w, false);
    text += plain ? std::string("\n") : std::string(row.begin(), row.end());
  }
  WriteText(path, text);
}

// Zeroes (no code) a TIFF's tile or strip `index` from `fraction` of its length on.
inline void DamageStrile(const std::string &path, uint32_t index, double fraction) {
  TIFF *tif = TIFFOpen(path.c_str(), "r");
  ASSERT_NE(tif, nullptr);
  const uint64_t offset = TIFFGetStrileOffset(tif, index);
  const uint64_t bytes = TIFFGetStrileByteCount(tif, index);
  TIFFClose(tif);
  std::string data = Slurp(path);
  for (uint64_t i = offset + static_cast<uint64_t>(bytes * fraction); i < offset + bytes; ++i) {
    data[i] = 0;
  }
  WriteText(path, data);
}

inline Image ReadPng(const std::string &path) {
  png_image png{};
  png.version = PNG_IMAGE_VERSION;
  if (png_image_begin_read_from_file(&png, path.c_str()) == 0) {
    ADD_FAILURE() << path << ": " << png.message;
    return Image();
  }
  png.format = PNG_FORMAT_RGBA;
  std::vector<uint8_t> bytes(PNG_IMAGE_SIZE(png));
  EXPECT_NE(png_image_finish_read(&png, nullptr, bytes.data(), 0, nullptr), 0) << png.message;
  Image image(png.width, png.height);
  for (size_t i = 0; i < image.rgb.size(); ++i) {
    const uint8_t *p = &bytes[4 * i];
    image.rgb[i] = uint32_t{p[0]} << 16 | p[1] << 8 | p[2];
    image.alpha[i] = p[3];
  }
  const std::string head = Slurp(path);  // IHDR: bit depth, then colour type
  image.bitDepth = static_cast<uint8_t>(head.at(24));
  image.colourType = static_cast<uint8_t>(head.at(25));
  return image;
}

inline Image ReadTiff(const std::string &path) {
  TIFF *tif = TIFFOpen(path.c_str(), "r");
  if (tif == nullptr) {
    ADD_FAILURE() << "cannot open " << path;
    return Image();
  }
  uint32_t w = 0, h = 0;
  uint16_t bps = 0, compression = 0;
  TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &w);
  TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &h);
  TIFFGetFieldDefaulted(tif, TIFFTAG_BITSPERSAMPLE, &bps);
  TIFFGetFieldDefaulted(tif, TIFFTAG_COMPRESSION, &compression);
  Image image(w, h);
  EXPECT_NE(TIFFReadRGBAImageOriented(tif, w, h, image.rgb.data(), ORIENTATION_TOPLEFT, 1), 0);
  TIFFClose(tif);
  for (size_t i = 0; i < image.rgb.size(); ++i) {
    const uint32_t p = image.rgb[i];
    image.rgb[i] = TIFFGetR(p) << 16 | TIFFGetG(p) << 8 | TIFFGetB(p);
    image.alpha[i] = static_cast<uint8_t>(TIFFGetA(p));
  }
  image.bitDepth = bps;
  image.compression = compression;
  return image;
}

// PNG by libpng, TIFF by libtiff, PBM, PGM and PPM by netpbm, HP-RTL by c2dimg's own reader.
inline Image ReadBack(const std::string &path) {
  const std::string ext = fs::path(path).extension();
  if (ext == ".tif") {
    return ReadTiff(path);
  }
  const std::string png = ext == ".png" ? path : path + ".png";
  const std::string make = ext == ".rtl"
                               ? Quote(C2DIMG_PATH) + " convert --quiet " + Quote(path) + " -o "
                               : "pnmtopng " + Quote(path) + " >";
  if (png != path && std::system((make + Quote(png)).c_str()) != 0) {
    ADD_FAILURE() << "cannot read " << path;
    return Image();
  }
  return ReadPng(png);
}

// A command, the status it must end with and words it must say, on either stream.
struct Said {
  Args args;
  int status;
  std::vector<const char *> says;
};

struct Outcome {
  int status = -1;
  std::string out, err;
};

class C2dimgTool : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = (fs::temp_directory_path() / "c2dimg-e2e-XXXXXX").string();
    ASSERT_NE(mkdtemp(&dir_[0]), nullptr);
  }
  void TearDown() override { fs::remove_all(dir_); }

  std::string path(const std::string &name) const { return (fs::path(dir_) / name).string(); }

  // Runs c2dimg, timed out so that a hang fails rather than stalls.
  Outcome run(const Args &args) const {
    std::string command = "timeout 60 " + Quote(C2DIMG_PATH);
    for (const std::string &arg : args) {
      command += " " + Quote(arg);
    }
    command += " >" + Quote(path("stdout")) + " 2>" + Quote(path("stderr"));
    const int raw = std::system(command.c_str());
    const Outcome outcome{WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, Slurp(path("stdout")),
                          Slurp(path("stderr"))};
    EXPECT_NE(outcome.status, 124) << "timed out: " << command;
    EXPECT_EQ(outcome.err.find("Sanitizer"), std::string::npos) << outcome.err;
    EXPECT_EQ(outcome.err.find("runtime error"), std::string::npos) << outcome.err;
    return outcome;
  }

  // Runs a command that must succeed writing `name` in the scratch folder, and reads that back.
  Image made(Args args, const std::string &name, const Args &more = {}) const {
    args.insert(args.end(), {"-o", path(name)});
    args.insert(args.end(), more.begin(), more.end());
    answer(args, 0, {});
    return ReadBack(path(name));
  }

  // Runs c2dimg, expects `status` and each of `words` in stdout and stderr; gives what it said.
  std::string answer(const Args &args, int status, const std::vector<const char *> &words) const {
    const Outcome outcome = run(args);
    const std::string said = outcome.out + outcome.err;
    EXPECT_EQ(outcome.status, status) << said;
    for (const char *w : words) {
      EXPECT_NE(said.find(w), std::string::npos) << w << " in\n" << said;
    }
    return said;
  }

  // c2dimg's temporary files left in the scratch folder.
  size_t temporaries() const {
    return std::count_if(fs::directory_iterator(dir_), {}, [](const fs::directory_entry &e) {
      return e.path().filename().string().find(".c2dimg-") != std::string::npos;
    });
  }

  std::string dir_;
};

}  // namespace c2dtest

#endif  // TESTS_TOOLS_TOOLTESTSUPPORT_H_
