// How c2dimg uses the library: its results and failures, its colour words, and the
// conversions between its image classes that commands and writers share.
#ifndef TOOLS_C2DIMG_LIBRARY_H_
#define TOOLS_C2DIMG_LIBRARY_H_

#include <cstdint>
#include <string>

#include "Picture.h"

namespace c2dimg {

// The colours c2dimg gives bilevel images, as 0xRRGGBB; in a CImg32 of the default
// RGB_ORDER_BGR that is the pixel word itself.
constexpr uint32_t kWhite = 0xFFFFFFu;
constexpr uint32_t kBlack = 0x000000u;

// A library operation on one picture. Clears the error registry first so that a
// failure can be named afterwards.
class Operation {
 public:
  Operation(const Picture &picture, std::string what);
  // Takes the result for `picture`: null becomes a FileError naming the picture's
  // file, the operation and the library's code. A result equal to the image itself
  // changes nothing. A decode failure recorded on the way is a corrupt page.
  void finish(Picture &picture, IImg *result) const;
  // The same check for operations that answer a code: anything but IMG_OK, or the
  // codes listed as harmless, fails.
  void check(ImgErr result, ImgErr harmless = IMG_OK) const;

 private:
  [[noreturn]] void fail(ImgErr code) const;

  std::string path_;
  std::string what_;
};

// "IMG_FAIL" and so on.
const char *ErrorName(ImgErr code);

// 0xRRGGBB as "#RRGGBB".
std::string ColourName(uint32_t rgb);
// A CImg32 pixel word and 0xRRGGBB in the image's byte order, both ways.
uint32_t WordToRgb(uint32_t word, RGBOrder order);
uint32_t RgbToWord(uint32_t rgb, RGBOrder order);
// 0..255 from 0xRRGGBB, by the usual luminance weights.
uint8_t Luma(uint32_t rgb);

// A bilevel result whose set bits are ink, as every scaled, decompressed or
// transformed Group 4 page is: it is given black ink on white paper.
void MarkInk(CImg1 &image);
// The colours of a palette image's index, 0xRRGGBB, channels clamped.
uint32_t PaletteRgb(const ColorMap *map, unsigned index);

// Conversions into a new picture with the same facts. Each throws a FileError when
// the library cannot make it.
//   ToBilevel: a Group 4 page decompressed; a palette or colour image dithered, or
//     with `separate` (colour only) every pixel that is not the background set.
//   ToPalette: bilevel images only, black and white becoming their own entries.
//   ToColour: any image as a CImg32 in RGB_ORDER_BGR.
Picture ToBilevel(const Picture &picture, bool separate);
Picture ToPalette(const Picture &picture);
Picture ToColour(const Picture &picture);

}  // namespace c2dimg

#endif  // TOOLS_C2DIMG_LIBRARY_H_
