// CCITT_G4Decode: one coded row of a tile to a change list, and the walks over a
// tile's rows for a caller's function.
#include "Image/g4/G4Decode.h"

#include "Image/g4/internal/G4DecodeLoop.h"

using c2d::g4loop::DecodeRows;
using c2d::g4loop::RowCallback;

short CCITT_G4Decode(Img1G4Tile *tile, unsigned int width, unsigned long long limitBytes) {
  bool stopped = false;
  return DecodeRows(tile, width, limitBytes, 1, RowCallback{nullptr, nullptr}, stopped);
}

namespace c2d {

short G4DecodeRow(Img1G4Tile &tile, unsigned int width, unsigned long long limitBytes,
                  bool &copied) {
  bool stopped = false;
  copied = false;
  return DecodeRows(&tile, width, limitBytes, 1, RowCallback{nullptr, nullptr}, stopped, &copied);
}

bool G4DecodeTileRows(Img1G4Tile &tile, unsigned int width, unsigned long long limitBytes,
                      uint32_t rows, bool (*done)(void *ctx, Img1G4Tile &tile, uint32_t row),
                      void *ctx) {
  if (rows == 0 || done == nullptr) {
    return true;
  }
  bool stopped = false;
  const RowCallback callback{done, ctx};
  (void)DecodeRows(&tile, width, limitBytes, rows, callback, stopped);
  return !stopped;
}

}  // namespace c2d
