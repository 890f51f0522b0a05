// The row loop instantiated for the grey reduction's painter that leaves pixels
// uncounted (a page whose background is known), in a file of its own so that its
// layout and the other loops' do not move each other.
#include "Image/g4/internal/G4DecodeLoop.h"

namespace c2d {

bool G4DecodeTileRows(Img1G4Tile &tile, unsigned int width, unsigned long long limitBytes,
                      uint32_t rows, const G4GreyPainter<false> &paint) {
  return g4loop::DecodeTileRowsWith(tile, width, limitBytes, rows, paint);
}

}  // namespace c2d
