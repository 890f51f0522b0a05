// G4DecodeTileRows: the rows of one tile decoded one after another by one bit
// reader, so that the position is not written into the tile and read back for every
// row. Internal: CImg1G4's row cursor decodes its tiles' rows with it.
#ifndef IMAGE_G4_INTERNAL_G4TILEROWS_H_
#define IMAGE_G4_INTERNAL_G4TILEROWS_H_

#include <cstdint>
#include <type_traits>

#include "Image/g4/Img1G4Tile.h"
#include "Image/g4/internal/G4RowRuns.h"

namespace c2d {

// Row r of `tile` to a row's handler, with whether the row copied its reference where
// the handler takes that (the painters do; plain callbacks and lambdas do not).
template <typename Handler>
[[gnu::always_inline]] inline auto G4HandleRow(const Handler &handle, Img1G4Tile &tile, uint32_t r,
                                               bool copied) {
  if constexpr (std::is_invocable_v<const Handler &, Img1G4Tile &, uint32_t, bool>) {
    return handle(tile, r, copied);
  } else {
    return handle(tile, r);
  }
}

// CCITT_G4Decode, saying in `copied` whether the row decoded to its reference list
// entry for entry (false where it failed).
short G4DecodeRow(Img1G4Tile &tile, unsigned int width, unsigned long long limitBytes,
                  bool &copied);

// As `rows` calls of CCITT_G4Decode(&tile, width, limitBytes), each row that decodes
// followed by done(ctx, tile, r) (r counting from 0) and the exchange of the tile's
// lists. The results, lists, counts and final position are those of the calls. When
// `done` answers false the walk stops there, that row's lists not exchanged, and the
// answer is false; true otherwise.
bool G4DecodeTileRows(Img1G4Tile &tile, unsigned int width, unsigned long long limitBytes,
                      uint32_t rows, bool (*done)(void *ctx, Img1G4Tile &tile, uint32_t row),
                      void *ctx);

// The same with the sums' or a reduction's painter inlined into the row loop, painting each row
// while its lists are fresh (and told whether the row copied its reference); an answer
// other than IMG_OK stops the walk as `done`'s false does. The painter's Finish(tile)
// ends the walk.
// The reductions' painters are instantiated for G4ColumnTable, and for G4ColumnShift
// in kCount and kMergeBlack, the ways of the reductions that hosts call.
template <typename Column, G4Reduce kMode>
bool G4DecodeTileRows(Img1G4Tile &tile, unsigned int width, unsigned long long limitBytes,
                      uint32_t rows, const G4ReducePainter<Column, kMode> &paint);
bool G4DecodeTileRows(Img1G4Tile &tile, unsigned int width, unsigned long long limitBytes,
                      uint32_t rows, const G4GreyPainter<true> &paint);
bool G4DecodeTileRows(Img1G4Tile &tile, unsigned int width, unsigned long long limitBytes,
                      uint32_t rows, const G4GreyPainter<false> &paint);
bool G4DecodeTileRows(Img1G4Tile &tile, unsigned int width, unsigned long long limitBytes,
                      uint32_t rows, const G4SumPainter &paint);

}  // namespace c2d

#endif  // IMAGE_G4_INTERNAL_G4TILEROWS_H_
