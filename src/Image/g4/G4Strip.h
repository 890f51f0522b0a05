// Whole blocks of bilevel rows to Group 4: createG4Tile codes a tile for hosts that
// build CImg1G4 pages, create_g4_tiff_strip_tmp a strip for a TIFF file. Both write a
// plain T.6 byte stream, most significant bit first, from an all-white reference row:
// the coded rows, the end-of-block and zero bits to the end of a 4-byte tail, with no
// header. CImg1G4 reads 16-bit words with the bytes of each pair the other way round,
// so a tile's bytes are exchanged pair by pair before they go into CImg1G4::create.
#ifndef IMAGE_G4_G4STRIP_H_
#define IMAGE_G4_G4STRIP_H_

#include "Image/core/ImgExport.h"

// Codes `rows` rows of `bytesPerRow` bytes from `source`, `width` pixels each, a set
// bit black, the bits past `width` ignored. On success `out` receives a malloc'd
// buffer that the caller frees, and the result is its byte count, at least 4; rows
// below 1 give the bare end of block. On failure the result is 0 and `out` is null:
// a null `source`, width below 1 or above 2^31 - 17, bytesPerRow below
// (width + 7) / 8 or of 4096 or more, no memory, or a code that does not end 16 bytes
// short of bytesPerRow x rows (a noisy block is kept uncompressed by the caller).
// Records nothing in CImgErr. The enable calls of the CCITT_ set (G4Encode.h) are
// optional.
C2D_EXPORT int createG4Tile(unsigned char *source, unsigned char *&out, int width, int bytesPerRow,
                            int rows);

// The same for a TIFF strip, with room for a code up to three times bytesPerRow x rows
// and no limit on bytesPerRow. The result is also 0 when the code reaches 2^31 - 17
// bytes. Exported by its plain name.
extern "C" C2D_EXPORT int create_g4_tiff_strip_tmp(unsigned char *source, unsigned char *&out,
                                                   int width, int bytesPerRow, int rows);

#endif  // IMAGE_G4_G4STRIP_H_
