// The row loop instantiated for the bilevel reductions' painters and the sums', each
// painter inlined into it.
#include "Image/g4/internal/G4DecodeLoop.h"

namespace c2d {

template <typename Column, G4Reduce kMode>
bool G4DecodeTileRows(Img1G4Tile &tile, unsigned int width, unsigned long long limitBytes,
                      uint32_t rows, const G4ReducePainter<Column, kMode> &paint) {
  return g4loop::DecodeTileRowsWith(tile, width, limitBytes, rows, paint);
}

#define C2D_G4_REDUCE_ROWS(Column, kMode)                                                  \
  template bool G4DecodeTileRows(Img1G4Tile &, unsigned int, unsigned long long, uint32_t, \
                                 const G4ReducePainter<Column, G4Reduce::kMode> &);
C2D_G4_REDUCE_ROWS(G4ColumnTable, kCount)
C2D_G4_REDUCE_ROWS(G4ColumnTable, kMergeBlack)
C2D_G4_REDUCE_ROWS(G4ColumnTable, kMergeWhite)
C2D_G4_REDUCE_ROWS(G4ColumnTable, kSample)
C2D_G4_REDUCE_ROWS(G4ColumnTable, kSampleClear)
C2D_G4_REDUCE_ROWS(G4ColumnShift, kCount)
C2D_G4_REDUCE_ROWS(G4ColumnShift, kMergeBlack)
#undef C2D_G4_REDUCE_ROWS

bool G4DecodeTileRows(Img1G4Tile &tile, unsigned int width, unsigned long long limitBytes,
                      uint32_t rows, const G4SumPainter &paint) {
  return g4loop::DecodeTileRowsWith(tile, width, limitBytes, rows, paint);
}

}  // namespace c2d
