// Reading a Group 4 page's code with the library's own row decoder, tile by tile, for
// what the library's operations do not say: the pixels of the columns where they lose
// a run (the rectangle's last column), and whether every tile decoded to the end of
// its code.
#ifndef TOOLS_C2DIMG_G4CODE_H_
#define TOOLS_C2DIMG_G4CODE_H_

#include <cstdint>
#include <string>
#include <vector>

#include "Picture.h"

namespace c2dimg {

// The coded bits of columns x0..x1 and rows top..bottom of the page, row by row, one
// byte (0 or 1, 1 for a set bit of the code) per pixel. Only the tile columns that
// hold x0..x1 are decoded; rows below a tile's damage read 0, as the library gives.
std::vector<uint8_t> CodedBits(CImg1G4 &page, uint32_t x0, uint32_t x1, uint32_t top,
                               uint32_t bottom);

// The coded bit of a bilevel result's set bits: 1 while the page's paper is its clear
// bits (background 0), else 0. The library paints these runs once the background is
// known.
inline uint8_t InkBit(CImg1G4 &page) { return page.getBackgroundColor() == 0 ? 1 : 0; }

// The rectangle decoded as stored: a CImg1 whose set bits are the code's set bits,
// in the page's colours. Null as getSubImage gives it.
IImg *ExtractG4(CImg1G4 &page, const ImgRect &rect);

// The rectangle scaled from the code as the library scales it, with the runs it drops
// on the rectangle's last column put back, and thin light strokes kept on a page of
// dark paper. A CImg1 with ink in its set bits (InkBit says which bits of the code),
// or a grey CImg32 with ink dark. Null as the library gives it.
IImg *ScaleG4(CImg1G4 &page, const ImgRect &rect, uint32_t width, uint32_t height,
              ImgScaleAttr &attr);

// Called right after a library operation that decoded `rect` of the page: every tile
// whose decoding stopped short of its code is noted for the end of the command, by
// file, tile or strip, and page row. A FileError (nothing useful to write) when no
// tile gave a single row.
void CheckDecoded(CImg1G4 &page, const ImgRect &rect, const std::string &path, bool strips);

// Notes a damaged source, in the same words, when no tile could be named.
void NoteDamage(const std::string &path, const std::string &what);

// Notes a damaged source in a line of its own: "FILE: what is wrong".
void NoteDamagedSource(const std::string &note);

// The notes of damaged sources, one line each; empty when every source was whole.
const std::vector<std::string> &DamageNotes();

}  // namespace c2dimg

#endif  // TOOLS_C2DIMG_G4CODE_H_
