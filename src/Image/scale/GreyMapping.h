// Grey mappings of the bilevel grey reducers: a table that turns the number of
// foreground pixels in a block into the grey level of the block's target pixel.
#ifndef IMAGE_SCALE_GREYMAPPING_H_
#define IMAGE_SCALE_GREYMAPPING_H_

#include "Image/core/ImgExport.h"

// Stores in *out a table of n bytes for counts 0 to n - 1. With invert 0, count 0 is
// white (255) and n - 1 black (0); invert complements it. Below 11000 entries the
// table follows a quadratic curve that keeps sparse blocks light; from 11000 on it
// spreads the counts evenly over the 256 levels. The caller releases *out with
// free(). n = 0 or a failed allocation stores null; nothing is recorded in CImgErr.
C2D_EXPORT void CreateGreyMapping(unsigned int n, unsigned char **out, unsigned int invert);

#endif  // IMAGE_SCALE_GREYMAPPING_H_
