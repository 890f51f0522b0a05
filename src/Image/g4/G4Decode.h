// The Group 4 row decoder: process-wide code tables and the function that turns one
// coded row of a tile into a change list. CImg1G4's scanline routines call it.
//
// A change list describes one bilevel row by its 1-based change columns: entry 0 is 0
// (an imaginary white pixel), odd entries are changes to black, even entries changes
// to white, and the last decoded entry, W + 1, is followed by two more W + 1 entries.
// The count includes entry 0 and both sentinels, so an all-white row is 0, W+1, W+1,
// W+1 with count 4.
#ifndef IMAGE_G4_G4DECODE_H_
#define IMAGE_G4_G4DECODE_H_

#include "Image/ImgErr.h"
#include "Image/core/ImgExport.h"
#include "Image/g4/Img1G4Tile.h"

// Results of CCITT_G4Decode. Callers need test only for zero; there is no code 4.
enum G4DecodeResult : short {
  G4_DECODE_OK = 0,         // a row was decoded (an end of block alone counts too)
  G4_DECODE_NO_DATA = 1,    // the data ran out, or the row ran past W + 1
  G4_DECODE_BAD_RUN = 2,    // the bits at hand are no run code
  G4_DECODE_REF_END = 3,    // the reference line was walked to its end
  G4_DECODE_EXTENSION = 5,  // an extension code, which is not supported
  G4_DECODE_BAD_EOL = 6,    // zero bits that do not make an end of block
};

// Builds the decoder tables unless they exist. IMG_OK, also when they already did;
// IMG_FAIL when memory runs out. Records nothing in CImgErr. Not synchronised.
C2D_EXPORT ImgErr CCITT_EnableG4Decode();

// Frees the tables; nothing happens when they are not built. There is no count of
// users: one call frees them for everyone.
C2D_EXPORT void CCITT_DisableG4Decode();

// Decodes the next row of `tile` against its reference list into tile->changes() and
// returns a G4DecodeResult. `width` is the tile width W; both change buffers must hold
// W + 6 entries. Reading stops at `limitBytes` (callers pass the image's coded total)
// and never goes past the tile's own bytes. On success numChanges and the position
// move on; the caller then swaps the lists. On failure only the changes buffer has
// been written, and bitLoc has grown by 8 if byteLoc is odd; a row that failed keeps
// failing. Without the tables (CCITT_EnableG4Decode not called, or failed) the result
// is G4_DECODE_NO_DATA and the tile is not touched. Records nothing in CImgErr.
C2D_EXPORT short CCITT_G4Decode(Img1G4Tile *tile, unsigned int width,
                                unsigned long long limitBytes);

#endif  // IMAGE_G4_G4DECODE_H_
