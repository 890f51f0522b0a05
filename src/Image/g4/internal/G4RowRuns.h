// The runs of a decoded tile row, and the bilevel reduction's painter of them.
// Internal: CImg1G4's scanline routines walk the runs; the decoder takes the painter
// by type, so that it paints each row where the row was decoded.
#ifndef IMAGE_G4_INTERNAL_G4ROWRUNS_H_
#define IMAGE_G4_INTERNAL_G4ROWRUNS_H_

#include <algorithm>
#include <cstdint>

#include "Image/ImgErr.h"
#include "Image/core/internal/BitRow.h"
#include "Image/g4/Img1G4Tile.h"

namespace c2d {

// Which runs of a row a routine paints: the target's set bits always mean foreground.
enum class G4Runs { kBlack, kWhite };

// Calls f(d0, d1) for each run of one colour in the decoded row of `tile` that
// reaches into the columns left..right, d0 and d1 being its clipped ends counted
// from left. The sums are unsigned on purpose: the leading white run starts one
// column left of its tile, which for the leftmost tile wraps and drops the run. A
// run that starts on `right` is dropped too. f returns false to stop the walk.
// Edges given the wrong way round select nothing: d1 would wrap past every table.
template <typename F>
[[gnu::always_inline]] inline bool G4ForEachRun(Img1G4Tile &tile, G4Runs which, uint32_t left,
                                                uint32_t right, F &&f) {
  if (right < left) {
    return true;
  }
  const int32_t *c = tile.changes();
  const uint32_t n = tile.numChanges() >= 2 ? tile.numChanges() - 2 : 0;
  const uint32_t x = tile.getXOffset();
  // c[1] of 1: the row starts black, and its white runs begin at index 3.
  uint32_t i = which == G4Runs::kBlack ? 2 : (c[1] == 1 ? 3 : 1);
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
inline uint32_t G4Span(uint32_t d0, uint32_t d1) { return d1 - d0 + 1u; }

// The black pixels of decoded rows, columns 0 to `right`, added up in sums[r].
struct G4SumPainter {
  uint32_t *sums;
  uint32_t right;

  [[gnu::always_inline]] inline ImgErr operator()(Img1G4Tile &tile, uint32_t r) const {
    uint32_t sum = sums[r];
    G4ForEachRun(tile, G4Runs::kBlack, 0, right, [&](uint32_t d0, uint32_t d1) {
      sum += G4Span(d0, d1);
      return true;
    });
    sums[r] = sum;
    return IMG_OK;
  }
};

// The bilevel reduction of decoded rows: row r's runs go into targets[r] (none when
// it is null), through column(d), the target column of source column d, and, while
// the background is unknown, their pixels are added up in counts[r]. Its members
// are copied into locals for each row: the stores into a row could otherwise be
// taken to change them.
template <typename Column>
struct G4ReducePainter {
  unsigned char *const *targets = nullptr;
  uint32_t *counts = nullptr;
  Column column;
  // The first column of the group that holds d, and the groups' widths.
  const unsigned int *groupOf = nullptr;
  const unsigned int *colRuns = nullptr;
  uint32_t left = 0;
  uint32_t right = 0;
  G4Runs runs = G4Runs::kBlack;
  bool known = false;
  // A group takes the value of its first column (else any pixel of it counts);
  // clearing paints the white runs of dark paper into a target that starts set.
  bool sample = false;
  bool clear = false;

  // Paints row r of `tile`; it never stops a walk.
  [[gnu::always_inline]] inline ImgErr operator()(Img1G4Tile &tile, uint32_t r) const {
    unsigned char *const row = targets[r];
    if (row == nullptr) {
      return IMG_OK;
    }
    const G4ReducePainter q = *this;
    uint32_t count = q.counts[r];
    G4ForEachRun(tile, q.runs, q.left, q.right, [&](uint32_t d0, uint32_t d1) {
      if (!q.known) {
        count += G4Span(d0, d1);
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
      // Groups feed the target columns in order, one step at a time (the last column
      // may take several), so the groups a run touches feed one span of columns,
      // which is painted whole instead of walking the groups one by one.
      // SAFETY: from and d1 lie below the source width, and the column maps name
      // columns of the target row, so both columns and every byte between lie in it.
      const uint32_t k0 = q.column(from);
      const uint32_t k1 = q.column(d1);
      if (q.clear) {
        ClearBits(row, k0, static_cast<uint64_t>(k1) + 1u);
      } else {
        SetBits(row, k0, static_cast<uint64_t>(k1) + 1u);
      }
      return true;
    });
    q.counts[r] = count;
    return IMG_OK;
  }
};

// The column map of one table made for the walk.
struct G4ColumnTable {
  const unsigned int *columns = nullptr;
  uint32_t operator()(uint64_t x) const { return columns[x]; }
};

// The painter the decoder takes by type, painting each row where it decoded it.
using G4TableReducePainter = G4ReducePainter<G4ColumnTable>;

// The grey reduction of decoded rows: row r's runs add the exact area they cover in
// each cell to the dstWidth counts of target row slots[r] (row 0 without slots),
// their pixels to counts[r]. A run outside the tables ends the row: without
// firstFailed the walk stops there (IMG_DECODE_FAILED), with it the first such row
// is kept in *firstFailed, *failed is set, and the walk goes on.
struct G4GreyPainter {
  unsigned int *sumData;
  uint64_t held;  // the counts sumData holds
  const uint32_t *slots;
  const unsigned int *indexOf;
  const unsigned int *groups;
  const unsigned int *groupWidths;
  // Optional: the cells' widths, when the groups follow one another as cells.
  const unsigned int *cellWidths;
  uint64_t srcBound;
  uint64_t dstBound;
  uint32_t *counts;
  uint32_t *firstFailed;
  bool *failed;
  uint32_t left;
  uint32_t right;
  G4Runs inkRuns;

  [[gnu::always_inline]] inline ImgErr operator()(Img1G4Tile &tile, uint32_t r) const {
    const G4GreyPainter q = *this;
    // Row r's counts, bounded by the vector as well as by the width.
    const uint64_t base = q.slots != nullptr ? q.slots[r] * q.dstBound : 0;
    unsigned int *const sums = q.sumData + (base < q.held ? base : q.held);
    const unsigned int *const dstIndex = q.indexOf;
    const unsigned int *const groupOf = q.groups;
    const unsigned int *const colRuns = q.groupWidths;
    const unsigned int *const cells = q.cellWidths;
    const uint64_t srcWidth = q.srcBound;
    const uint64_t dstWidth = base < q.held ? std::min(q.dstBound, q.held - base) : 0;
    const G4Runs runs = q.inkRuns;
    bool ok = true;
    uint32_t count = q.counts[r];
    G4ForEachRun(tile, runs, q.left, q.right, [&](uint32_t d0, uint32_t d1) {
      ok = d0 < srcWidth && d1 < srcWidth && dstIndex[d0] < dstWidth &&
           !(runs == G4Runs::kBlack && d0 > d1);
      if (!ok) {
        return false;
      }
      count += G4Span(d0, d1);
      // The exact area of the run in each cell it crosses: the part of the first
      // cell, the whole cells between, the part of the last.
      uint64_t k = dstIndex[d0];
      const uint32_t s = groupOf[d0];
      const uint32_t e = groupOf[d1];
      if (d0 == d1) {
        sums[k] += 1;
      } else if (s == e) {
        sums[k] += G4Span(d0, d1);
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
          sums[k] += G4Span(e, d1);
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
        sums[k] += G4Span(e, d1);
      }
      return true;
    });
    q.counts[r] = count;
    if (ok) {
      return IMG_OK;
    }
    if (q.firstFailed == nullptr) {
      return IMG_DECODE_FAILED;
    }
    // Noted, and the walk goes on: the rows before the first that failed are kept.
    *q.failed = true;
    *q.firstFailed = std::min(*q.firstFailed, r);
    return IMG_OK;
  }
};

}  // namespace c2d

#endif  // IMAGE_G4_INTERNAL_G4ROWRUNS_H_
