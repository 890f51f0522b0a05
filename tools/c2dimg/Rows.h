// Rows: the pixels of a picture, row by row, in the layout a file format stores:
// bilevel bits, palette indices, grey, RGB or RGBA bytes. Every writer reads through
// it, so the knowledge of the library's pixel layouts lives here alone.
#ifndef TOOLS_C2DIMG_ROWS_H_
#define TOOLS_C2DIMG_ROWS_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Picture.h"
#include "Progress.h"

namespace c2dimg {

enum class RowKind {
  kBilevel,  // 1 bit per pixel, most significant first, 1 = black, rows padded with 0
  kPalette,  // 1 byte per pixel, an index into palette()
  kGrey,     // 1 byte per pixel
  kRgb,      // 3 bytes per pixel: red, green, blue
  kRgba,     // 4 bytes per pixel: red, green, blue, opacity
};

const char *KindName(RowKind kind);

// What the picture holds: bilevel for both bilevel classes, palette for CImg8, and
// for CImg32 RGBA with opacity, grey when every pixel is grey, else RGB.
RowKind NaturalKind(const Picture &picture);

class Rows {
 public:
  // Makes the picture's pixels readable as `kind`, converting through the library
  // where the image's class cannot give them directly (a Group 4 page is
  // decompressed, colour is dithered for bilevel). `label` names the work for the
  // progress bar. A FileError when the conversion fails.
  Rows(const Picture &picture, RowKind kind, const std::string &label);

  RowKind kind() const { return kind_; }
  uint32_t width() const { return width_; }
  uint32_t height() const { return height_; }
  size_t rowBytes() const;
  // The palette of kPalette rows, as 0xRRGGBB.
  const std::vector<uint32_t> &palette() const { return palette_; }

  // Fills `out` (rowBytes() bytes) with row y, rows in any order.
  void read(uint32_t y, uint8_t *out);

 private:
  void ReadBilevelSource(uint32_t y, uint8_t *out) const;
  void ReadPaletteSource(uint32_t y, uint8_t *out) const;
  void ReadColourSource(uint32_t y, uint8_t *out) const;

  RowKind kind_;
  Picture converted_;  // holds the image when it had to change class
  IImg *image_ = nullptr;
  uint32_t width_ = 0;
  uint32_t height_ = 0;
  bool alpha_ = false;
  // CImg1: the two colours and whether a set bit is the darker one.
  uint32_t setRgb_ = 0;
  uint32_t clearRgb_ = 0;
  bool setIsBlack_ = true;
  // CImg8: its palette; CImg32: its byte order.
  std::vector<uint32_t> palette_;
  RGBOrder order_ = RGB_ORDER_BGR;
  Progress progress_;
};

}  // namespace c2dimg

#endif  // TOOLS_C2DIMG_ROWS_H_
