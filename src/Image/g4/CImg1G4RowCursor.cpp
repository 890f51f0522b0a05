// CImg1G4's row cursor and the scanline routines that decode through it. The cursor
// walks the tile rows a rectangle covers; each routine decodes the next row of the
// tiles the rectangle touches and paints the runs of the change lists straight into
// a target row, through the tables of a G4ScaleInfo. No row is ever expanded at
// source size, so the cost follows the runs and the target, not the source pixels.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "Image/core/internal/BitRow.h"
#include "Image/g4/CImg1G4.h"
#include "Image/g4/G4Decode.h"
#include "Image/g4/internal/G4ScaleInfo.h"
#include "Image/g4/internal/G4TileRows.h"

namespace {

// Which runs of a row a routine paints: the target's set bits always mean foreground.
enum class Runs { kBlack, kWhite };

// Black runs while the background is unknown or 0, white runs on dark paper.
Runs PaintedRuns(bool known, uint32_t background) {
  return known && background != 0 ? Runs::kWhite : Runs::kBlack;
}

// Calls f(d0, d1) for each run of one colour in the decoded row of `tile` that
// reaches into the columns left..right, d0 and d1 being its clipped ends counted
// from left. The sums are unsigned on purpose: the leading white run starts one
// column left of its tile, which for the leftmost tile wraps and drops the run. A
// run that starts on `right` is dropped too. f returns false to stop the walk.
// Edges given the wrong way round select nothing: d1 would wrap past every table.
template <typename F>
[[gnu::always_inline]] inline bool ForEachRun(Img1G4Tile &tile, Runs which, uint32_t left,
                                              uint32_t right, F &&f) {
  if (right < left) {
    return true;
  }
  const int32_t *c = tile.changes();
  const uint32_t n = tile.numChanges() >= 2 ? tile.numChanges() - 2 : 0;
  const uint32_t x = tile.getXOffset();
  // c[1] of 1: the row starts black, and its white runs begin at index 3.
  uint32_t i = which == Runs::kBlack ? 2 : (c[1] == 1 ? 3 : 1);
  for (; i < n; i += 2) {
    const uint32_t last = x + static_cast<uint32_t>(c[i]) - 2u;
    const uint32_t first = x + static_cast<uint32_t>(c[i - 1]) - 1u;
    if (last < left || first >= right) {
      continue;
    }
    const uint32_t d0 = first < left ? 0u : first - left;
    const uint32_t d1 = last < right ? last - left : right - left;
    if (!f(d0, d1)) {
      return false;
    }
  }
  return true;
}

// Pixels d0..d1 (inclusive) in unsigned arithmetic, as the row counts add them up.
uint32_t Span(uint32_t d0, uint32_t d1) { return d1 - d0 + 1u; }

// What the copy and the reductions paint with, copied into a local for each row:
// the stores into a row could otherwise be taken to change them, and every one
// would be read again after each store. Each painter fills the members it reads.
struct PaintParams {
  unsigned char *first = nullptr;
  uint64_t stride = 0;
  unsigned int *sums = nullptr;
  const unsigned int *dstIndex = nullptr;
  const unsigned int *groupOf = nullptr;
  const unsigned int *colRuns = nullptr;
  const unsigned int *cells = nullptr;
  uint64_t srcWidth = 0;
  uint64_t dstWidth = 0;
  uint32_t left = 0;
  uint32_t right = 0;
  Runs runs = Runs::kBlack;
  bool known = false;
  bool sample = false;
  bool clear = false;
};

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
        if (tile.getData() == nullptr || CCITT_G4Decode(&tile, tileWidth, totalBytes) != 0) {
          continue;
        }
        const ImgErr painted = paint(tile, r);
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
    return IMG_OK;
  }
  // Several tiles: each tile's rows one after another, its reader kept between them,
  // which spares the short rows of narrow tiles most of their setting up.
  for (uint32_t c = firstTileColumn; c <= last; ++c) {
    Img1G4Tile &tile = row[c];
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
  return DecodeTileRows(rows, true, [&](Img1G4Tile &tile, uint32_t r) {
    uint32_t sum = sums[r];
    ForEachRun(tile, Runs::kBlack, 0, right, [&](uint32_t d0, uint32_t d1) {
      sum += Span(d0, d1);
      return true;
    });
    sums[r] = sum;
    return IMG_OK;
  });
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
    ForEachRun(tile, q.runs, q.left, q.right, [&](uint32_t d0, uint32_t d1) {
      // SAFETY: d1 <= right - left, a column of the target row.
      if (d0 <= d1) {
        c2d::SetBits(row, d0, static_cast<uint64_t>(d1) + 1u);
      }
      if (!q.known) {
        count += Span(d0, d1);
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
    ForEachRun(tile, runs, info->left, info->right, [&](uint32_t d0, uint32_t d1) {
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
  PaintParams params;
  params.groupOf = info->srcMap;
  params.colRuns = info->colRuns;
  params.left = info->left;
  params.right = info->right;
  params.runs = runs;
  params.known = known;
  params.sample = sample;
  params.clear = sample && runs == Runs::kWhite;
  const unsigned int *bytes = info->dstByte;
  const unsigned int *bits = info->dstBit;
  // The target column a source column feeds. Groups feed the target columns in
  // order, one step at a time (the last column may take several), so the groups a
  // run touches feed one span of columns, which is painted whole instead of walking
  // the groups one by one.
  const auto walk = [&](auto column) {
    return DecodeTileRows(
        rows, true, [&params, column, targets, counts](Img1G4Tile &tile, uint32_t r) {
          unsigned char *const row = targets[r];
          if (row == nullptr) {
            return IMG_OK;
          }
          const PaintParams q = params;
          const auto columnOf = column;
          uint32_t count = counts[r];
          ForEachRun(tile, q.runs, q.left, q.right, [&](uint32_t d0, uint32_t d1) {
            if (!q.known) {
              count += Span(d0, d1);
            }
            uint64_t from = d0;
            if (q.sample) {
              const uint32_t g0 = q.groupOf[d0];
              if (d0 != g0) {
                from = static_cast<uint64_t>(g0) + q.colRuns[g0];
              }
              if (from > d1) {
                return true;  // no group starts inside the run
              }
            } else if (d0 > d1 && q.groupOf[d0] != q.groupOf[d1]) {
              return true;  // a backward run of a corrupt row, across groups: nothing
            }
            // SAFETY: from and d1 lie below srcWidth, and the byte tables hold bytes of
            // the target row, so both columns and every byte between lie inside it.
            const uint32_t k0 = columnOf(from);
            const uint32_t k1 = columnOf(d1);
            if (q.clear) {
              c2d::ClearBits(row, k0, static_cast<uint64_t>(k1) + 1u);
            } else {
              c2d::SetBits(row, k0, static_cast<uint64_t>(k1) + 1u);
            }
            return true;
          });
          counts[r] = count;
          return IMG_OK;
        });
  };
  const unsigned int *columns = info->dstColumn;
  return columns != nullptr
             ? walk([columns](uint64_t x) { return columns[x]; })
             : walk([bytes, bits](uint64_t x) { return bytes[x] * 8u + 7u - bits[x]; });
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
                                        uint32_t *counts, uint32_t *firstFailed) {
  std::fill(counts, counts + rows, 0u);
  // Black runs for background 0, white for anything else, the unset marker included.
  const Runs inkRuns = info->background == 0 ? Runs::kBlack : Runs::kWhite;
  // The vectors bound the indices as well as the widths they were made for.
  const uint64_t srcBound = std::min<uint64_t>(info->srcWidth, indexVector.size());
  const uint64_t dstBound = info->dstWidth;
  const uint64_t held = sumVector.size();
  PaintParams params;
  params.sums = sumVector.data();
  params.dstIndex = indexVector.data();
  params.groupOf = info->srcMap;
  params.colRuns = info->colRuns;
  params.cells = info->cellWidth;
  params.srcWidth = srcBound;
  params.dstWidth = dstBound;
  params.left = info->left;
  params.right = info->right;
  params.runs = inkRuns;
  bool failed = false;
  const ImgErr walked = DecodeTileRows(rows, true, [&](Img1G4Tile &tile, uint32_t r) {
    const PaintParams q = params;
    // Row r's counts, bounded by the vector as well as by the width.
    const uint64_t base = slots != nullptr ? slots[r] * dstBound : 0;
    unsigned int *const sums = q.sums + (base < held ? base : held);
    const unsigned int *const dstIndex = q.dstIndex;
    const unsigned int *const groupOf = q.groupOf;
    const unsigned int *const colRuns = q.colRuns;
    const unsigned int *const cells = q.cells;
    const uint64_t srcWidth = q.srcWidth;
    const uint64_t dstWidth = base < held ? std::min(q.dstWidth, held - base) : 0;
    const Runs runs = q.runs;
    bool ok = true;
    uint32_t count = counts[r];
    ForEachRun(tile, runs, q.left, q.right, [&](uint32_t d0, uint32_t d1) {
      ok = d0 < srcWidth && d1 < srcWidth && dstIndex[d0] < dstWidth &&
           !(runs == Runs::kBlack && d0 > d1);
      if (!ok) {
        return false;
      }
      count += Span(d0, d1);
      // The exact area of the run in each cell it crosses: the part of the first
      // cell, the whole cells between, the part of the last.
      uint64_t k = dstIndex[d0];
      const uint32_t s = groupOf[d0];
      const uint32_t e = groupOf[d1];
      if (d0 == d1) {
        sums[k] += 1;
      } else if (s == e) {
        sums[k] += Span(d0, d1);
      } else {
        sums[k] += colRuns[s] + s - d0;
        if (cells != nullptr && s < e) {
          // The cells between are those between the two ends' cells.
          const uint64_t last = dstIndex[e];
          if (last >= dstWidth) {
            return ok = false;
          }
          for (++k; k < last; ++k) {
            sums[k] += cells[k];
          }
          sums[k] += Span(e, d1);
          return true;
        }
        uint64_t g = static_cast<uint64_t>(s) + colRuns[s];
        for (++k; g < e; g += colRuns[g], ++k) {
          if (k >= dstWidth) {
            return ok = false;
          }
          sums[k] += colRuns[g];
        }
        if (k >= dstWidth) {
          return ok = false;
        }
        sums[k] += Span(e, d1);
      }
      return true;
    });
    counts[r] = count;
    if (ok) {
      return IMG_OK;
    }
    if (firstFailed == nullptr) {
      return IMG_DECODE_FAILED;
    }
    // Noted, and the walk goes on: the rows before the first that failed are kept.
    failed = true;
    *firstFailed = std::min(*firstFailed, r);
    return IMG_OK;
  });
  return walked != IMG_OK ? walked : failed ? IMG_DECODE_FAILED : IMG_OK;
}
