// CImg1G4's row cursor and the scanline routines that decode through it. The cursor
// walks the tile rows a rectangle covers; each routine decodes the next row of the
// tiles the rectangle touches and paints the runs of the change lists straight into
// a target row, through the tables of a G4ScaleInfo. No row is ever expanded at
// source size, so the cost follows the runs and the target, not the source pixels.
#include <algorithm>
#include <cstdint>
#include <type_traits>
#include <utility>
#include <vector>

#include "Image/core/internal/BitRow.h"
#include "Image/g4/CImg1G4.h"
#include "Image/g4/G4Decode.h"
#include "Image/g4/internal/G4RowRuns.h"
#include "Image/g4/internal/G4ScaleInfo.h"
#include "Image/g4/internal/G4TileRows.h"

namespace {

using Runs = c2d::G4Runs;
using c2d::G4ForEachRun;
using c2d::G4Span;

// Black runs while the background is unknown or 0, white runs on dark paper.
Runs PaintedRuns(bool known, uint32_t background) {
  return known && background != 0 ? Runs::kWhite : Runs::kBlack;
}

// What the copy paints with, copied into a local for each row:
// the stores into a row could otherwise be taken to change them, and every one
// would be read again after each store.
struct PaintParams {
  unsigned char *first = nullptr;
  uint64_t stride = 0;
  uint32_t left = 0;
  uint32_t right = 0;
  Runs runs = Runs::kBlack;
  bool known = false;
};

// The painters that go into the decoder's row loop itself.
template <typename Paint>
constexpr bool kInLoop =
    std::is_same_v<Paint, c2d::G4GreyPainter<true>> ||
    std::is_same_v<Paint, c2d::G4GreyPainter<false>> || std::is_same_v<Paint, c2d::G4SumPainter>;
template <c2d::G4Reduce kMode>
constexpr bool kInLoop<c2d::G4ReducePainter<c2d::G4ColumnTable, kMode>> = true;
template <>
constexpr bool kInLoop<c2d::G4ReducePainter<c2d::G4ColumnShift, c2d::G4Reduce::kCount>> = true;
template <>
constexpr bool kInLoop<c2d::G4ReducePainter<c2d::G4ColumnShift, c2d::G4Reduce::kMergeBlack>> = true;

}  // namespace

// ---------------------------------------------------------------------------
// Row cursor

void CImg1G4::InitTileRowDecode() {
  // A cursor placed outside the grid has no tiles to ready.
  if (tileRows == nullptr || decodeTileRow >= TilesDown()) {
    return;
  }
  // The sentinels name column W + 1 of a tile W wide, whatever the page width.
  const auto end = static_cast<int32_t>(tileWidth + 1u);
  Img1G4Tile *row = tileRows[decodeTileRow];
  const uint32_t across = TilesAcross();
  for (uint32_t c = 0; c < across; ++c) {
    Img1G4Tile &tile = row[c];
    tile.bitLoc() = 1;
    tile.byteLoc() = 0;
    tile.setChangeBuffers(changeBuffers[c], refChangeBuffers[c]);
    // SAFETY: every change buffer holds at least kChangeSlack + 1 entries.
    int32_t *ref = tile.refChanges();
    ref[0] = 0;
    ref[1] = end;
    ref[2] = end;
    ref[3] = end;
    tile.numRefChanges() = 4;
    tile.numChanges() = 0;
  }
}

void CImg1G4::StepCursor() {
  ++decodeRow;
  ++rowInTile;
  // In the last tile row nothing resets: a rectangle ending there decodes on in it.
  if (rowInTile == tileHeight && decodeTileRow < lastTileRow) {
    rowInTile = 0;
    ++decodeTileRow;
    InitTileRowDecode();
  }
}

int CImg1G4::PrepForDecode(const ImgRect &source) {
  // Only a header sets the tile sizes, and it never sets 0; this guards the division.
  if (tileWidth == 0 || tileHeight == 0) {
    return 0;
  }
  decodeRow = source.top;
  firstTileColumn = source.left / tileWidth;
  lastTileColumn = source.right / tileWidth;
  firstTileRow = source.top / tileHeight;
  decodeTileRow = firstTileRow;
  lastTileRow = source.bottom / tileHeight;
  rowInTile = source.top % tileHeight;
  InitTileRowDecode();
  // Tile rows above are skipped whole; rows above the rectangle in its own tile row
  // are decoded and dropped, each being coded against the one before. The cursor
  // keeps rowInTile: the drops happen on the reference lists alone.
  for (uint32_t i = 0; i < rowInTile; ++i) {
    if (decode_scanline() != IMG_OK) {
      return 0;
    }
  }
  return 1;
}

// ---------------------------------------------------------------------------
// Scanline routines

uint32_t CImg1G4::RowsInBatch(uint32_t wanted) const {
  uint32_t n = std::min(wanted, kBatchRows);
  // In the last tile row the rows go on counting inside it.
  if (decodeTileRow < lastTileRow) {
    n = std::min(n, tileHeight - rowInTile);
  }
  return n;
}

template <typename Paint>
ImgErr CImg1G4::DecodeTileRows(uint32_t rows, bool byTile, Paint &&paint) {
  if (decodeTileRow > lastTileRow) {
    return IMG_INVALID_ARG;
  }
  // A cursor outside the grid (a rectangle past the page) decodes nothing.
  if (tileRows == nullptr || decodeTileRow >= TilesDown() || firstTileColumn >= TilesAcross()) {
    return IMG_OK;
  }
  Img1G4Tile *row = tileRows[decodeTileRow];
  const uint32_t last = std::min(lastTileColumn, TilesAcross() - 1u);
  // The painter behind the decoder's callback, and its first answer that is not
  // IMG_OK, which stops the walk.
  struct Painter {
    Paint &paint;
    ImgErr answer;
    static bool Row(void *ctx, Img1G4Tile &tile, uint32_t r) {
      auto &self = *static_cast<Painter *>(ctx);
      self.answer = self.paint(tile, r);
      return self.answer == IMG_OK;
    }
  } painter{paint, IMG_OK};
  // A tile that fails keeps its position and fails again on every later row, so its
  // area stays background from the bad row on.
  if (!byTile || last == firstTileColumn) {
    // Row by row, one call per tile and row, the painter inlined: the faster way for
    // the long rows of a strip, and for painters that do much per row.
    for (uint32_t r = 0; r < rows; ++r) {
      for (uint32_t c = firstTileColumn; c <= last; ++c) {
        Img1G4Tile &tile = row[c];
        bool copied = false;
        if (tile.getData() == nullptr ||
            c2d::G4DecodeRow(tile, tileWidth, totalBytes, copied) != 0) {
          continue;
        }
        const ImgErr painted = c2d::G4HandleRow(paint, tile, r, copied);
        if (painted != IMG_OK) {
          return painted;
        }
        // swapChanges, inline: it runs once per tile and row.
        const unsigned int count = tile.numChanges();
        tile.numChanges() = tile.numRefChanges();
        tile.numRefChanges() = count;
        tile.setChangeBuffers(tile.refChanges(), tile.changes());
      }
    }
    if constexpr (kInLoop<std::decay_t<Paint>>) {
      for (uint32_t c = firstTileColumn; c <= last; ++c) {
        paint.Finish(row[c]);
      }
    }
    return IMG_OK;
  }
  // Several tiles: each tile's rows one after another, its reader kept between them,
  // which spares the short rows of narrow tiles most of their setting up.
  for (uint32_t c = firstTileColumn; c <= last; ++c) {
    Img1G4Tile &tile = row[c];
    // The sums' and the reductions' painters go into the decoder's row loop itself;
    // the grey one stops only on a run outside its tables.
    if constexpr (kInLoop<std::decay_t<Paint>>) {
      if (tile.getData() != nullptr &&
          !c2d::G4DecodeTileRows(tile, tileWidth, totalBytes, rows, paint)) {
        return IMG_DECODE_FAILED;
      }
      continue;
    }
    if (tile.getData() != nullptr &&
        !c2d::G4DecodeTileRows(tile, tileWidth, totalBytes, rows, &Painter::Row, &painter)) {
      return painter.answer;
    }
  }
  return IMG_OK;
}

ImgErr CImg1G4::decode_scanline() {
  return DecodeTileRows(1, false, [](Img1G4Tile &, uint32_t) { return IMG_OK; });
}

ImgErr CImg1G4::decode_scanline_and_sum(unsigned int &sum) {
  uint32_t rowSum = 0;
  const ImgErr result = decode_rows_and_sum(1, &rowSum);
  sum = rowSum;
  return result;
}

ImgErr CImg1G4::decode_rows_and_sum(uint32_t rows, uint32_t *sums) {
  std::fill(sums, sums + rows, 0u);
  // Black runs over the whole width, whatever the background.
  const uint32_t right = getWidth() - 1u;
  return DecodeTileRows(rows, true, c2d::G4SumPainter{sums, right});
}

ImgErr CImg1G4::decode_copy_scanline(unsigned char *row, G4ScaleInfo *info) {
  uint32_t count = 0;
  const ImgErr result = decode_copy_rows(1, row, 0, info, &count);
  info->blackCount = count;
  return result;
}

ImgErr CImg1G4::decode_copy_rows(uint32_t rows, unsigned char *first, uint64_t stride,
                                 const G4ScaleInfo *info, uint32_t *counts) {
  std::fill(counts, counts + rows, 0u);
  const bool known = isBackgroundKnown();
  PaintParams params;
  params.first = first;
  params.stride = stride;
  params.left = info->left;
  params.right = info->right;
  params.runs = PaintedRuns(known, info->background);
  params.known = known;
  return DecodeTileRows(rows, false, [&params, counts](Img1G4Tile &tile, uint32_t r) {
    const PaintParams q = params;
    unsigned char *const row = q.first + r * q.stride;
    uint32_t count = counts[r];
    G4ForEachRun(tile, q.runs, q.left, q.right, [&](uint32_t d0, uint32_t d1) {
      // SAFETY: d1 <= right - left, a column of the target row.
      if (d0 <= d1) {
        c2d::SetBits(row, d0, static_cast<uint64_t>(d1) + 1u);
      }
      if (!q.known) {
        count += G4Span(d0, d1);
      }
      return true;
    });
    counts[r] = count;
    return IMG_OK;
  });
}

ImgErr CImg1G4::decode_enlarge_scanline(unsigned char *row, G4ScaleInfo *info) {
  const Runs runs = PaintedRuns(isBackgroundKnown(), info->background);
  const unsigned int *toDst = info->srcMap;
  const unsigned int *colRuns = info->colRuns;
  return DecodeTileRows(1, false, [&](Img1G4Tile &tile, uint32_t) {
    G4ForEachRun(tile, runs, info->left, info->right, [&](uint32_t d0, uint32_t d1) {
      // Every target column of the run's source columns, the last one's whole run too.
      // SAFETY: the runs of colRuns end inside the target row.
      const uint64_t end = static_cast<uint64_t>(toDst[d1]) + colRuns[toDst[d1]];
      if (toDst[d0] < end) {
        c2d::SetBits(row, toDst[d0], end);
      }
      return true;
    });
    return IMG_OK;
  });
}

ImgErr CImg1G4::decode_reduce_scanline(unsigned char *row, G4ScaleInfo *info) {
  uint32_t count = 0;
  const ImgErr result = decode_reduce_rows(1, &row, info, &count);
  info->blackCount = count;
  return result;
}

ImgErr CImg1G4::decode_reduce_rows(uint32_t rows, unsigned char *const *targets,
                                   const G4ScaleInfo *info, uint32_t *counts) {
  std::fill(counts, counts + rows, 0u);
  const bool known = isBackgroundKnown();
  const Runs runs = PaintedRuns(known, info->background);
  // Sampling: a group takes the value of its first column, so a run that starts
  // inside a group leaves it alone. Merging: any pixel of a group counts.
  const bool sample = known && info->mergeRows == 0;
  const auto walk = [&](auto column) {
    // The bytes of a target row: up to the column the rectangle's last column feeds.
    const uint64_t words =
        info->right < info->left ? 0 : ((column(info->right - info->left) >> 3) + 1) / 8;
    const auto paint = [&](auto mode) {
      const c2d::G4ReducePainter<decltype(column), decltype(mode)::value> painter{
          targets, counts, column, info->srcMap, info->colRuns, info->left, info->right, words, {}};
      return DecodeTileRows(rows, true, painter);
    };
    using Mode = c2d::G4Reduce;
    if (!known) {
      return paint(std::integral_constant<Mode, Mode::kCount>());
    }
    if (!sample && runs == Runs::kBlack) {
      return paint(std::integral_constant<Mode, Mode::kMergeBlack>());
    }
    if constexpr (std::is_same_v<decltype(column), c2d::G4ColumnShift>) {
      return IMG_FAIL;  // not reached: the shift is taken only for the two above
    } else if (sample) {
      return runs == Runs::kWhite ? paint(std::integral_constant<Mode, Mode::kSampleClear>())
                                  : paint(std::integral_constant<Mode, Mode::kSample>());
    } else {
      return paint(std::integral_constant<Mode, Mode::kMergeWhite>());
    }
  };
  // The target column a source column feeds: a shift where the groups are all one
  // power of two wide (painting the black runs of a merge), one table made for the
  // walk, or the byte and bit tables.
  if (info->dstShift != 0 && (!known || (!sample && runs == Runs::kBlack))) {
    return walk(c2d::G4ColumnShift{info->dstShift - 1u});
  }
  if (info->dstColumn != nullptr) {
    return walk(c2d::G4ColumnTable{info->dstColumn});
  }
  const unsigned int *bytes = info->dstByte;
  const unsigned int *bits = info->dstBit;
  return walk([bytes, bits](uint64_t x) { return bytes[x] * 8u + 7u - bits[x]; });
}

ImgErr CImg1G4::decode_reduce_scanline_grey(std::vector<unsigned int> &sums, G4ScaleInfo *info,
                                            const std::vector<unsigned int> &dstIndex) {
  uint32_t count = 0;
  const ImgErr result = decode_reduce_rows_grey(1, sums, nullptr, info, dstIndex, &count, nullptr);
  info->blackCount = count;
  return result;
}

ImgErr CImg1G4::decode_reduce_rows_grey(uint32_t rows, std::vector<unsigned int> &sumVector,
                                        const uint32_t *slots, const G4ScaleInfo *info,
                                        const std::vector<unsigned int> &indexVector,
                                        uint32_t *counts, uint32_t *firstFailed, bool countPixels) {
  std::fill(counts, counts + rows, 0u);
  // Black runs for background 0, white for anything else, the unset marker included.
  const Runs inkRuns = info->background == 0 ? Runs::kBlack : Runs::kWhite;
  // The vectors bound the indices as well as the widths they were made for.
  bool failed = false;
  const auto walk = [&](auto counted) {
    c2d::G4GreyPainter<decltype(counted)::value> paint{
        sumVector.data(),
        sumVector.size(),
        slots,
        indexVector.data(),
        info->srcMap,
        info->colRuns,
        info->cellStart,
        info->cellStart != nullptr ? info->dstShift : 0u,
        std::min<uint64_t>(info->srcWidth, indexVector.size()),
        info->dstWidth,
        counts,
        firstFailed,
        &failed,
        info->left,
        info->right,
        inkRuns,
        0,
        {}};
    paint.wholeEnd = paint.WholeRunsEnd(rows);
    return DecodeTileRows(rows, true, std::as_const(paint));
  };
  const ImgErr walked = countPixels ? walk(std::true_type()) : walk(std::false_type());
  return walked != IMG_OK ? walked : failed ? IMG_DECODE_FAILED : IMG_OK;
}
