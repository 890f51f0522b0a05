// Turning a raster by an angle that is not a right angle, whole and unwarped.
#ifndef TOOLS_C2DIMG_TURN_H_
#define TOOLS_C2DIMG_TURN_H_

#include <string>

#include "Picture.h"

namespace c2dimg {

// The image (CImg1, CImg8 or CImg32) turned counter-clockwise by `degrees` (0 to 360)
// on a canvas of its background that grows to hold the whole turned page, or that
// keeps the image's own frame with `keepSize`. May invert a bitmap's bits and colours
// in place (the same picture). Null when the library cannot make an image; a
// FileError naming `path` for a canvas beyond 4 gigapixels.
IImg *TurnWhole(IImg &image, double degrees, bool keepSize, const std::string &path);

}  // namespace c2dimg

#endif  // TOOLS_C2DIMG_TURN_H_
