// Picture: an image of the library as c2dimg holds it, with the facts about it that
// the library does not keep: where it came from, its resolution and whether the top
// byte of its 32-bit pixels is opacity.
#ifndef TOOLS_C2DIMG_PICTURE_H_
#define TOOLS_C2DIMG_PICTURE_H_

#include <cstdint>
#include <memory>
#include <string>

#include "Image/Core2DImage.h"

namespace c2dimg {

struct ImageDeleter {
  void operator()(IImg *image) const { delete image; }
};
using ImagePtr = std::unique_ptr<IImg, ImageDeleter>;

struct Picture {
  ImagePtr image;
  std::string path;    // the file it was read from, for messages
  std::string origin;  // how that file stores it, e.g. "TIFF, Group 4 in 17 x 22 tiles"
  uint32_t page = 1;
  uint32_t pages = 1;
  // The top byte of each pixel of a CImg32 is opacity; otherwise it means nothing.
  bool alpha = false;
  // Pixels per inch, 0 when the file does not say.
  double dpiX = 0;
  double dpiY = 0;
  // A Group 4 page's code is cut into strips rather than tiles.
  bool strips = false;
};

}  // namespace c2dimg

#endif  // TOOLS_C2DIMG_PICTURE_H_
