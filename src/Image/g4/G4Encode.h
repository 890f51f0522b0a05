// The Group 4 row encoder: change detection turns a row of pixels into a change list,
// and row coding writes the modes that code it against the previous row's list.
// createG4Tile and create_g4_tiff_strip_tmp (G4Strip.h) join the rows into streams.
//
// The functions come in two name sets that behave alike: the CCITT_ names serve
// createG4Tile, the cit_ names the strip function. Each set has its enable and disable
// calls, to be made before and after a run of encoding. The tables are constant data
// shared by both sets, so the calls do nothing and the functions work with or without
// them; they are kept so that hosts written for separate table sets still link.
//
// Change lists are those of the decoder (G4Decode.h): 1-based change columns, entry 0
// being 0, and three entries of W + 1 at the end, counted in the list's count.
#ifndef IMAGE_G4_G4ENCODE_H_
#define IMAGE_G4_G4ENCODE_H_

#include "Image/core/ImgExport.h"

C2D_EXPORT void CCITT_EnableDetectChanges();
C2D_EXPORT void CCITT_DisableDetectChanges();
C2D_EXPORT void CCITT_EnableG4Encode();
C2D_EXPORT void CCITT_DisableG4Encode();

// Finds the change list of `row`, `width` pixels, most significant bit first, a set
// bit black. Bits past `width` do not count. `row` must have one writable byte past
// (width + 7) / 8: it is changed during the call and put back. `changes` holds
// `maxEntries` entries; width + 4 is always enough. `count` receives the list's
// count, or 0 when the list does not fit or an argument is bad (null, width below 1
// or above 2^31 - 17, maxEntries below 4), in which case nothing else is written.
C2D_EXPORT void CCITT_DetectChanges(int width, unsigned char *row, int maxEntries, int *changes,
                                    unsigned int *count);

// Codes the list `changes` against the reference list `refChanges` (the previous
// row, all white for a block's first row) into `words`, 16-bit words in the
// processor's order, the first code at the top of the first word; `bitCount`
// receives the number of code bits. `words` must hold 2 x (count + refCount) +
// W / 2560 + 3 entries. Both lists must be well formed for one width W: entry 0 is 0,
// entries up to W in ascending order, then three W + 1. Otherwise, or for a null
// pointer, `bitCount` is set to 0 and nothing else is written. `modes` and `runs` are
// scratch that this coder does not need: they may be null and are never written.
C2D_EXPORT void CCITT_EncodeG4Row(unsigned int *refChanges, unsigned long long refCount,
                                  unsigned int *changes, unsigned long long count,
                                  unsigned short *words, unsigned int *bitCount,
                                  unsigned char *modes, unsigned short *runs);

// The second name set, for create_g4_tiff_strip_tmp; the same behaviour.
C2D_EXPORT void cit_enable_detect_changes_tmp();
C2D_EXPORT void cit_disable_detect_changes_tmp();
C2D_EXPORT void cit_enable_encode_gr4_tmp();
C2D_EXPORT void cit_disable_encode_gr4_tmp();
C2D_EXPORT void cit_detect_changes_tmp(int width, unsigned char *row, int maxEntries, int *changes,
                                       unsigned int *count);
C2D_EXPORT void cit_encode_gr4_tmp(unsigned int *refChanges, unsigned long long refCount,
                                   unsigned int *changes, unsigned long long count,
                                   unsigned short *words, unsigned int *bitCount,
                                   unsigned char *modes, unsigned short *runs);

#endif  // IMAGE_G4_G4ENCODE_H_
