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
  // An operation on a Group 4 page is checked for tiles whose decoding stopped short,
  // over `decoded` (the whole page when null); see CheckDecoded.
  Operation(const Picture &picture, std::string what, const ImgRect *decoded = nullptr);
  // Takes the result for `picture`: null becomes a FileError naming the picture's
  // file, the operation and the library's code. A result equal to the image itself
  // changes nothing. A decode failure recorded on the way is a corrupt page.
  void finish(Picture &picture, IImg *result) const;
  // The same check for operations that answer a code: anything but IMG_OK, or the
  // codes listed as harmless, fails.
  void check(ImgErr result, ImgErr harmless = IMG_OK) const;

 private:
  [[noreturn]] void fail(ImgErr code) const;
  // Damage of the Group 4 page read by the operation is noted for the end; a decode
  // failure of any other image fails the command.
  void inspect(ImgErr code) const;

  std::string path_;
  std::string what_;
  CImg1G4 *page_ = nullptr;
  ImgRect decoded_;
  bool strips_ = false;
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

// The colours of ink and paper of a bilevel image (CImg1 or CImg1G4) whose background
// is known: ink is whatever is not the background, in the colour the file gives it.
// With `stored`, set bits are ink whatever the background.
void InkAndPaper(IImg &image, uint32_t &ink, uint32_t &paper, bool stored = false);
// A bilevel result whose set bits are ink, as every scaled image is.
void MarkInk(CImg1 &image, uint32_t ink, uint32_t paper);
// Scales a rectangle of a bitmap with ink in the result's set bits. Light ink on dark
// paper is inverted in place first, colours and all: on dark paper the library's
// block test passes over a pixel that ends a block alone in its byte.
IImg *ScaleBitmap(CImg1 &bitmap, const ImgRect &rect, uint32_t width, uint32_t height,
                  ImgScaleAttr &attr);
// A grey result with ink dark, as every grey reduction is, in the colours of the source.
void InkGrey(CImg32 &image, uint32_t ink, uint32_t paper);
// The colours of a palette image's index, 0xRRGGBB, channels clamped.
uint32_t PaletteRgb(const ColorMap *map, unsigned index);

// Conversions into a new picture with the same facts. Each throws a FileError when
// the library cannot make it.
//   ToBilevel: a Group 4 page decoded as stored; a palette or colour image dithered, or
//     with `separate` (colour only) every pixel that is not the background set.
//   ToPalette: bilevel images only, black and white becoming their own entries.
//   ToColour: any image as a CImg32 in RGB_ORDER_BGR.
Picture ToBilevel(const Picture &picture, bool separate);
Picture ToPalette(const Picture &picture);
Picture ToColour(const Picture &picture);

}  // namespace c2dimg

#endif  // TOOLS_C2DIMG_LIBRARY_H_
