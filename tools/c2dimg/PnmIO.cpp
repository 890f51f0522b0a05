// PBM, PGM and PPM, plain (P1-P3) and raw (P4-P6). Bitmaps become a CImg1 with 1 as
// black; grey and colour maps a CImg32, samples above 255 scaled down. The raw forms
// are written.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <memory>

#include "Failure.h"
#include "Formats.h"
#include "Library.h"
#include "Limits.h"

namespace c2dimg {
namespace {

struct FileCloser {
  void operator()(FILE *f) const { std::fclose(f); }
};

// The type digit of a PNM file, or 0.
char TypeOf(const std::vector<uint8_t> &head) {
  return head.size() >= 2 && head[0] == 'P' && head[1] >= '1' && head[1] <= '6'
             ? static_cast<char>(head[1])
             : 0;
}
bool SniffPbm(const std::vector<uint8_t> &head) {
  return TypeOf(head) == '1' || TypeOf(head) == '4';
}
bool SniffPgm(const std::vector<uint8_t> &head) {
  return TypeOf(head) == '2' || TypeOf(head) == '5';
}
bool SniffPpm(const std::vector<uint8_t> &head) {
  return TypeOf(head) == '3' || TypeOf(head) == '6';
}

// Reads the numbers of a header and of the plain forms' pixels.
class Tokens {
 public:
  Tokens(FILE *f, const std::string &path) : f_(f), path_(path) {}

  // A decimal number after whitespace and comments. `digits` limits it to one digit,
  // as the pixels of a plain bitmap may touch.
  uint32_t number(const char *what, bool oneDigit = false) {
    int c = SkipSpace();
    if (c == EOF) {
      throw FileError(path_, std::string("is truncated: it ends before the ") + what);
    }
    if (!std::isdigit(c)) {
      throw FileError(path_, std::string("has no number for the ") + what);
    }
    uint64_t value = 0;
    do {
      value = value * 10 + static_cast<uint64_t>(c - '0');
      if (value > 0xFFFFFFFFu) {
        throw FileError(path_, std::string("has a ") + what + " out of range");
      }
    } while (!oneDigit && (c = std::fgetc(f_)) != EOF && std::isdigit(c));
    if (!oneDigit && c != EOF) {
      std::ungetc(c, f_);
    }
    return static_cast<uint32_t>(value);
  }

 private:
  int SkipSpace() {
    int c = std::fgetc(f_);
    while (c != EOF && (std::isspace(c) || c == '#')) {
      if (c == '#') {
        while (c != EOF && c != '\n') {
          c = std::fgetc(f_);
        }
      }
      c = std::fgetc(f_);
    }
    return c;
  }

  FILE *f_;
  const std::string &path_;
};

Picture ReadPnm(const InputFile &file, uint32_t page) {
  if (page != 1) {
    throw FileError(file.path, "has 1 page, no page " + std::to_string(page));
  }
  std::unique_ptr<FILE, FileCloser> f(std::fopen(file.path.c_str(), "rb"));
  if (f == nullptr) {
    throw FileError(file.path, SystemError());
  }
  const char type = TypeOf(file.head);
  const bool bitmap = type == '1' || type == '4';
  const bool plain = type <= '3';
  const unsigned channels = type == '3' || type == '6' ? 3 : 1;
  std::fseek(f.get(), 2, SEEK_SET);
  Tokens tokens(f.get(), file.path);
  const uint32_t w = tokens.number("width");
  const uint32_t h = tokens.number("height");
  const uint32_t maxval = bitmap ? 1 : tokens.number("maximum value");
  if (w == 0 || h == 0) {
    throw FileError(file.path,
                    "has no pixels (" + std::to_string(w) + " x " + std::to_string(h) + ")");
  }
  CheckPixels(file.path, w, h);
  if (maxval == 0 || maxval > 65535) {
    throw FileError(file.path, "has a maximum value out of range (" + std::to_string(maxval) + ")");
  }
  const unsigned sampleBytes = maxval < 256 ? 1 : 2;
  const uint64_t rowBytes = bitmap ? (uint64_t{w} + 7) / 8 : uint64_t{w} * channels * sampleBytes;
  // Exactly one whitespace character ends the header of the raw forms. The plain
  // forms take at least a character per sample.
  if (!plain) {
    (void)std::fgetc(f.get());
  }
  const uint64_t need = plain ? uint64_t{w} * h * channels : rowBytes * h;
  const long at = std::ftell(f.get());
  const uint64_t have = at < 0 ? 0 : file.size - std::min<uint64_t>(file.size, at);
  if (need > have) {
    throw FileError(file.path, "is truncated: its pixels need " + std::to_string(need) +
                                   " bytes, it holds " + std::to_string(have));
  }
  Picture picture;
  picture.path = file.path;
  picture.origin = std::string(SniffPbm(file.head)   ? "PBM"
                               : SniffPgm(file.head) ? "PGM"
                                                     : "PPM") +
                   (plain ? ", plain" : ", raw");
  std::vector<uint8_t> row(plain ? 0 : static_cast<size_t>(rowBytes));
  if (bitmap) {
    CImg1 &image = NewBilevel(picture, w, h, kWhite, kBlack);
    uint8_t *bits = image.peekData();
    const size_t stride = image.getBytesPerLine();
    for (uint32_t y = 0; y < h; ++y) {
      uint8_t *out = bits + y * stride;
      if (!plain) {
        (void)std::fread(out, 1, static_cast<size_t>(rowBytes), f.get());
        // The bits that pad a row to a byte are not pixels.
        if (w % 8 != 0) {
          out[rowBytes - 1] &= static_cast<uint8_t>(0xFF00u >> (w % 8));
        }
        continue;
      }
      for (uint32_t x = 0; x < w; ++x) {
        if (tokens.number("pixels", true) != 0) {
          out[x / 8] |= static_cast<uint8_t>(0x80u >> (x % 8));
        }
      }
    }
    return picture;
  }
  CImg32 &image = NewColour(picture, w, h, RGB_ORDER_BGR);
  unsigned **rows = image.peekDataArray();
  for (uint32_t y = 0; y < h; ++y) {
    if (!plain) {
      (void)std::fread(row.data(), 1, row.size(), f.get());
    }
    const uint8_t *in = row.data();
    const auto sample = [&]() -> uint32_t {
      uint32_t v = 0;
      if (plain) {
        v = tokens.number("pixels");
      } else {
        v = sampleBytes == 1 ? in[0] : static_cast<uint32_t>(in[0] << 8 | in[1]);
        in += sampleBytes;
      }
      return (std::min(v, maxval) * 255 + maxval / 2) / maxval;
    };
    for (uint32_t x = 0; x < w; ++x) {
      const uint32_t r = sample();
      const uint32_t g = channels == 3 ? sample() : r;
      const uint32_t b = channels == 3 ? sample() : r;
      rows[y][x] = r << 16 | g << 8 | b;
    }
  }
  return picture;
}

void WritePnm(Rows &rows, const Picture &, OutputFile &out) {
  const char *magic = rows.kind() == RowKind::kBilevel ? "P4"
                      : rows.kind() == RowKind::kGrey  ? "P5"
                                                       : "P6";
  FILE *f = out.stream();
  std::fprintf(f, "%s\n%u %u\n%s", magic, rows.width(), rows.height(),
               rows.kind() == RowKind::kBilevel ? "" : "255\n");
  std::vector<uint8_t> row(rows.rowBytes());
  for (uint32_t y = 0; y < rows.height(); ++y) {
    rows.read(y, row.data());
    std::fwrite(row.data(), 1, row.size(), f);
  }
}

RowKind BitmapKind(RowKind) { return RowKind::kBilevel; }
RowKind GreyKind(RowKind) { return RowKind::kGrey; }
RowKind ColourKind(RowKind) { return RowKind::kRgb; }

}  // namespace

const Format kPbmFormat = {"PBM", {".pbm"}, SniffPbm, ReadPnm, BitmapKind, WritePnm};
const Format kPgmFormat = {"PGM", {".pgm"}, SniffPgm, ReadPnm, GreyKind, WritePnm};
const Format kPpmFormat = {"PPM", {".ppm"}, SniffPpm, ReadPnm, ColourKind, WritePnm};

}  // namespace c2dimg
