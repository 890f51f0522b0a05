// A TIFF page stored turned or mirrored (its Orientation field) is shown upright.
#ifndef TOOLS_C2DIMG_ORIENTATION_H_
#define TOOLS_C2DIMG_ORIENTATION_H_

#include <cstdint>

#include "Picture.h"

namespace c2dimg {

// Turns and mirrors a picture read in its stored order so that its first row is the
// top and its first column the left, as TIFF Orientation `orientation` (1 to 8)
// says, and notes it in the picture's origin. A Group 4 page is decoded first.
// Values outside 2 to 8 leave the picture as it is.
void ShowUpright(Picture &picture, uint16_t orientation);

}  // namespace c2dimg

#endif  // TOOLS_C2DIMG_ORIENTATION_H_
