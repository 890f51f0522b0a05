// Bilevel TIFF strips coded by the library's Group 4 strip encoder; libtiff writes
// only the container around them.
#ifndef TOOLS_C2DIMG_G4TIFFWRITE_H_
#define TOOLS_C2DIMG_G4TIFFWRITE_H_

#include <tiffio.h>

#include <cstdint>
#include <string>

#include "Rows.h"

namespace c2dimg {

// Writes the bilevel `rows` into `tif`, whose fields say Group 4 with strips of
// `rowsPerStrip` rows. A strip that the encoder refuses (a code beyond three times
// the raw size, as a dithered page can need) makes the whole page uncompressed
// instead, before anything is written. A FileError naming `path` when libtiff fails.
void WriteG4Strips(TIFF *tif, Rows &rows, uint32_t rowsPerStrip, const std::string &path);

}  // namespace c2dimg

#endif  // TOOLS_C2DIMG_G4TIFFWRITE_H_
