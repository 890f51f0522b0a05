// The runs of a decoded tile row, and the bilevel reduction's painter of them.
// Internal: CImg1G4's scanline routines walk the runs; the decoder takes the painter
// by type, so that it paints each row where the row was decoded.
#ifndef IMAGE_G4_INTERNAL_G4ROWRUNS_H_
#define IMAGE_G4_INTERNAL_G4ROWRUNS_H_

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "Image/ImgErr.h"
#include "Image/core/internal/BitRow.h"
#include "Image/g4/Img1G4Tile.h"

namespace c2d {

// Which runs of a row a routine paints: the target's set bits always mean foreground.
enum class G4Runs { kBlack, kWhite };

// Calls f(d0, d1) for each run in the change list c (count entries) of a tile whose
// first column is x, the one ending at entry i and every second one after it, that
// reaches into the columns left..right, d0 and d1 being its clipped ends counted from
// left. The sums are unsigned on purpose: the leading white run starts one column
// left of its tile, which for the leftmost tile wraps and drops the run. A run that
// starts on `right` is dropped too. f returns false to stop the walk.
// Edges given the wrong way round select nothing: d1 would wrap past every table.
template <typename F>
[[gnu::always_inline]] inline bool G4ForEachRunFrom(const int32_t *c, uint32_t count, uint32_t i,
                                                    uint32_t x, uint32_t left, uint32_t right,
                                                    F &&f) {
  if (right < left) {
    return true;
  }
  const uint32_t n = count >= 2 ? count - 2 : 0;
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

// The index of the first run of one colour in a change list: c[1] of 1 means the row
// starts black, and its white runs begin at index 3.
inline uint32_t G4FirstRun(const int32_t *c, G4Runs which) {
  return which == G4Runs::kBlack ? 2 : (c[1] == 1 ? 3 : 1);
}

// The same for every run of one colour.
template <typename F>
[[gnu::always_inline]] inline bool G4ForEachRun(const int32_t *c, uint32_t count, uint32_t x,
                                                G4Runs which, uint32_t left, uint32_t right,
                                                F &&f) {
  return G4ForEachRunFrom(c, count, G4FirstRun(c, which), x, left, right, static_cast<F &&>(f));
}

// The same over the decoded row of `tile`.
template <typename F>
[[gnu::always_inline]] inline bool G4ForEachRun(Img1G4Tile &tile, G4Runs which, uint32_t left,
                                                uint32_t right, F &&f) {
  return G4ForEachRun(tile.changes(), tile.numChanges(), tile.getXOffset(), which, left, right,
                      static_cast<F &&>(f));
}

// Eight bytes of a bit row read as one word, column 0 in the top bit, turned to the
// order in which they lie in memory, and back.
inline uint64_t ToRowOrder(uint64_t columns) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
  return columns;
#else
  return __builtin_bswap64(columns);
#endif
}

// Pixels d0..d1 (inclusive) in unsigned arithmetic, as the row counts add them up.
inline uint32_t G4Span(uint32_t d0, uint32_t d1) { return d1 - d0 + 1u; }

// The black pixels of decoded rows, columns 0 to `right`, added up in sums[r].
struct G4SumPainter {
  uint32_t *sums;
  uint32_t right;

  [[gnu::always_inline]] inline ImgErr operator()(Img1G4Tile &tile, uint32_t r,
                                                  bool = false) const {
    uint32_t sum = sums[r];
    G4ForEachRun(tile, G4Runs::kBlack, 0, right, [&](uint32_t d0, uint32_t d1) {
      sum += G4Span(d0, d1);
      return true;
    });
    sums[r] = sum;
    return IMG_OK;
  }
  void Finish(Img1G4Tile &) const {}
};

// How a bilevel reduction paints, fixed for a whole call so that the run loop tests
// nothing but the runs: while the background is unknown the black runs merge into
// the target and their pixels are counted; once it is known, the painted runs merge
// (any pixel of a group counts) or are sampled (a group takes the value of its first
// column), and sampling the white runs of dark paper clears them from a target that
// starts set.
enum class G4Reduce { kCount, kMergeBlack, kMergeWhite, kSample, kSampleClear };

// The bilevel reduction of decoded rows: row r's runs go into targets[r] (none when
// it is null), through column(d), the target column of source column d, and in
// kCount their pixels are added up in counts[r].
template <typename Column, G4Reduce kMode>
struct G4ReducePainter {
  static constexpr bool kCounts = kMode == G4Reduce::kCount;
  static constexpr bool kSamples = kMode == G4Reduce::kSample || kMode == G4Reduce::kSampleClear;
  static constexpr bool kClears = kMode == G4Reduce::kSampleClear;
  static constexpr G4Runs kRuns =
      kMode == G4Reduce::kMergeWhite || kClears ? G4Runs::kWhite : G4Runs::kBlack;

  unsigned char *const *targets = nullptr;
  uint32_t *counts = nullptr;
  Column column;
  // The first column of the group that holds d, and the groups' widths.
  const unsigned int *groupOf = nullptr;
  const unsigned int *colRuns = nullptr;
  uint32_t left = 0;
  uint32_t right = 0;

  // Whole 8-byte words of every target row, and the bytes of its columns up to
  // column(right - left), the last one a run can reach.
  uint64_t words = 0;

  // The row painted last, and the pixels it counted.
  struct Last {
    const Img1G4Tile *tile = nullptr;
    uint32_t row = 0;
    uint32_t count = 0;
  };
  mutable Last last;

  // Paints row r of `tile`; it never stops a walk.
  [[gnu::always_inline]] inline ImgErr operator()(Img1G4Tile &tile, uint32_t r,
                                                  bool copied = false) const {
    // A list of four entries holds no black run: most rows of a tile are white.
    if (kRuns == G4Runs::kBlack && tile.numChanges() <= 4) {
      return IMG_OK;
    }
    unsigned char *const row = targets[r];
    if (row == nullptr) {
      return IMG_OK;
    }
    // A row that copied the one just painted into the same target row sets no new
    // bit, and counts what that one counted.
    if (copied && last.tile == &tile && last.row + 1 == r && targets[last.row] == row) {
      last.row = r;
      if (kCounts) {
        counts[r] += last.count;
      }
      return IMG_OK;
    }
    // In locals: the stores into the row could otherwise be taken to change them.
    const Column col = column;
    const unsigned int *const group = groupOf;
    const unsigned int *const widths = colRuns;
    const uint64_t whole = words;
    uint32_t count = kCounts ? counts[r] : 0;
    // Word `held` of the row (eight bytes, column 0 in the top bit) and the columns
    // that the runs so far painted in it: runs that follow in the same word add to
    // them in a register, and the word is written once when they move on, instead of
    // each run reading back the byte the one before wrote. A run that spans words
    // writes them at once and leaves its last word held.
    uint64_t held = 0;
    uint64_t bits = 0;
    const auto put = [row, whole](uint64_t word, uint64_t columns) {
      unsigned char *const at = row + 8 * word;
      if (word < whole) {
        // SAFETY: the word's eight bytes lie in the row.
        uint64_t v;
        std::memcpy(&v, at, sizeof v);
        const uint64_t m = ToRowOrder(columns);
        v = kClears ? v & ~m : v | m;
        std::memcpy(at, &v, sizeof v);
        return;
      }
      // The row's last bytes: only those that hold painted columns.
      for (unsigned j = 0; j < 8; ++j) {
        const auto m = static_cast<unsigned char>(columns >> (56 - 8 * j));
        if (m != 0) {
          at[j] = static_cast<unsigned char>(kClears ? at[j] & ~m : at[j] | m);
        }
      }
    };
    G4ForEachRun(tile, kRuns, left, right, [&](uint32_t d0, uint32_t d1) {
      if (kCounts) {
        count += G4Span(d0, d1);
      }
      uint64_t from = d0;
      if (kSamples) {
        const uint32_t g0 = group[d0];
        if (d0 != g0) {
          from = static_cast<uint64_t>(g0) + widths[g0];
        }
        if (from > d1) {
          return true;  // no group starts inside the run
        }
      } else if (d0 > d1 && group[d0] != group[d1]) {
        return true;  // a backward run of a corrupt row, across groups: nothing
      }
      // Groups feed the target columns in order, one step at a time (the last column
      // may take several), so the groups a run touches feed one span of columns,
      // which is painted whole instead of walking the groups one by one.
      // SAFETY: from and d1 lie below the source width, and the column maps name
      // columns of the target row, so both columns and every byte between lie in it.
      const uint64_t k0 = col(from);
      const uint64_t k1 = col(d1);
      if (k0 > k1) {
        // Not from tables made in order: the head and tail bytes as they stand.
        if (kClears) {
          ClearBits(row, k0, k1 + 1);
        } else {
          SetBits(row, k0, k1 + 1);
        }
        return true;
      }
      const uint64_t w0 = k0 >> 6;
      const uint64_t w1 = k1 >> 6;
      if (w0 != held) {
        put(held, bits);
        held = w0;
        bits = 0;
      }
      const uint64_t head = ~uint64_t{0} >> (k0 & 63);
      const uint64_t tail = ~uint64_t{0} << (63 - (k1 & 63));
      if (w0 == w1) {
        bits |= head & tail;
        return true;
      }
      put(w0, bits | head);
      FillBytes(row + 8 * (w0 + 1), row + 8 * w1, kClears ? 0 : 0xFF);
      held = w1;
      bits = tail;
      return true;
    });
    put(held, bits);
    if (kCounts) {
      last.count = count - counts[r];
      counts[r] = count;
    }
    last.tile = &tile;
    last.row = r;
    return IMG_OK;
  }
  void Finish(Img1G4Tile &) const {}
};

// The column map of one table made for the walk.
struct G4ColumnTable {
  const unsigned int *columns = nullptr;
  uint32_t operator()(uint64_t x) const { return columns[x]; }
};

// The column map of groups that are all 2^shift columns wide, when the table is
// that: a shift instead of a load for each end of each run, from a table that for a
// wide page is read from farther than the first level of cache.
struct G4ColumnShift {
  unsigned shift = 0;
  uint32_t operator()(uint64_t x) const { return static_cast<uint32_t>(x >> shift); }
};

// The grey reduction of decoded rows: row r's runs add the exact area they cover in
// each cell to the dstWidth counts of target row slots[r] (row 0 without slots),
// their pixels to counts[r]. A run outside the tables ends the row: without
// firstFailed the walk stops there (IMG_DECODE_FAILED), with it the first such row
// is kept in *firstFailed, *failed is set, and the walk goes on.
// kCounts false: the row loop leaves the pixels uncounted, for a caller that has no
// use for them (counts then only takes the other paths' pixels).
template <bool kCounts>
struct G4GreyPainter {
  unsigned int *sumData;
  uint64_t held;  // the counts sumData holds
  const uint32_t *slots;
  const unsigned int *indexOf;
  const unsigned int *groups;
  const unsigned int *groupWidths;
  // Optional: the first column of each cell and of the one after the last, when the
  // groups follow one another as cells.
  const unsigned int *cellStarts;
  // s + 1 when cell k is columns k << s to ((k + 1) << s) - 1 for every cell, else 0.
  unsigned cellShift;
  uint64_t srcBound;
  uint64_t dstBound;
  uint32_t *counts;
  uint32_t *firstFailed;
  bool *failed;
  uint32_t left;
  uint32_t right;
  G4Runs inkRuns;
  // The column after the last that AddWholeRuns takes, or 0 where it takes none:
  // set from WholeRunsEnd once the rest is.
  uint32_t wholeEnd = 0;

  // What AddRun made of a run: refused before its pixels were counted, refused after,
  // or added.
  enum Added { kRefused, kCountedThenRefused, kAdded };

  // One run by the group tables, whatever they hold. Out of line, and with the count
  // left to the caller, which can then keep it in a register: the cells' walk below
  // reaches it only for a run it cannot take.
  [[gnu::noinline]] static Added AddRun(uint32_t d0, uint32_t d1, G4Runs runs, unsigned int *sums,
                                        const unsigned int *dstIndex, const unsigned int *groupOf,
                                        const unsigned int *colRuns, const unsigned int *starts,
                                        uint64_t srcWidth, uint64_t dstWidth, uint32_t weight) {
    if (!(d0 < srcWidth && d1 < srcWidth && dstIndex[d0] < dstWidth &&
          !(runs == G4Runs::kBlack && d0 > d1))) {
      return kRefused;
    }
    // The exact area of the run in each cell it crosses: the part of the first
    // cell, the whole cells between, the part of the last.
    uint64_t k = dstIndex[d0];
    const uint32_t s = groupOf[d0];
    const uint32_t e = groupOf[d1];
    if (d0 == d1) {
      sums[k] += weight;
    } else if (s == e) {
      sums[k] += G4Span(d0, d1) * weight;
    } else {
      sums[k] += (colRuns[s] + s - d0) * weight;
      if (starts != nullptr && s < e) {
        // The cells between are those between the two ends' cells.
        const uint64_t last = dstIndex[e];
        if (last >= dstWidth) {
          return kCountedThenRefused;
        }
        for (++k; k < last; ++k) {
          sums[k] += (starts[k + 1] - starts[k]) * weight;
        }
        sums[k] += G4Span(e, d1) * weight;
        return kAdded;
      }
      uint64_t g = static_cast<uint64_t>(s) + colRuns[s];
      for (++k; g < e; g += colRuns[g], ++k) {
        if (k >= dstWidth) {
          return kCountedThenRefused;
        }
        sums[k] += colRuns[g] * weight;
      }
      if (k >= dstWidth) {
        return kCountedThenRefused;
      }
      sums[k] += G4Span(e, d1) * weight;
    }
    return kAdded;
  }

  // Where the runs can be added without a test beyond their own ends, for `rows` rows
  // of the walk: the column after the last such run's, or 0. That takes cells that
  // follow one another, every row's counts reaching every cell, and columns inside
  // the tables up to the one before the rectangle's last (a run that starts on that
  // one is dropped, and so left to the general walk). The cells follow one another,
  // so the last column's cell is the farthest.
  uint32_t WholeRunsEnd(uint32_t rows) const {
    if (cellStarts == nullptr || right <= left || srcBound == 0) {
      return 0;
    }
    // The slots rise with the rows.
    const uint64_t lastSlot = slots != nullptr && rows != 0 ? slots[rows - 1] : 0;
    if ((lastSlot + 1) * dstBound > held) {
      return 0;
    }
    const uint64_t lim = std::min<uint64_t>(uint64_t{right} - left, srcBound) - 1u;
    const uint64_t lastCell = cellShift != 0 ? lim >> (cellShift - 1u) : indexOf[lim];
    return lastCell < dstBound ? static_cast<uint32_t>(lim + 1u) : 0u;
  }

  // Cells k0 to k1 - 1 whole, `weight` times: the middle of a run over three cells
  // or more, out of line so that the run loop keeps its registers.
  [[gnu::noinline]] static void AddWholeCells(unsigned int *sums, uint64_t k0, uint64_t k1,
                                              const unsigned int *starts, unsigned cellShift,
                                              uint32_t weight) {
    for (uint64_t k = k0; k < k1; ++k) {
      sums[k] += (cellShift != 0 ? 1u << (cellShift - 1u) : starts[k + 1] - starts[k]) * weight;
    }
  }

  // The runs of list c from index i on that lie whole below column lim + 1 (see
  // WholeRunsEnd), their cells found by a shift (kShift) or by the cells' first
  // columns, added `weight` times (once unless kWeighted) to sums and their pixels to
  // count: two tests a run, and none between its two ends. Answers the index of the
  // first run it leaves to the general walk, which clips it or refuses it. Inline in
  // the row loop (AddOne); AddList calls it through a pointer, out of line.
  template <bool kShift, bool kWeighted, bool kCount = true>
  [[gnu::always_inline]] static uint32_t AddWholeRuns(const int32_t *c, uint32_t n, uint32_t i,
                                                      uint32_t from, uint32_t lim,
                                                      const unsigned int *dstIndex,
                                                      const unsigned int *starts,
                                                      unsigned cellShift, unsigned int *sums,
                                                      uint32_t weight, uint32_t *count) {
    const unsigned shift = kShift ? cellShift - 1u : 0u;
    const auto times = [weight](uint32_t v) { return kWeighted ? v * weight : v; };
    // The pixels are the sum of the runs' lengths, c[i] - c[i - 1] each.
    uint32_t sum = *count;
    const int32_t *at = c + i;
    const int32_t *const stop = c + (n > i ? n : i);
    for (; at < stop; at += 2) {
      // d0 and d1 as G4ForEachRun makes them, from = x - 1 - left, and e = d1 + 1; a
      // run that starts left of the rectangle wraps d0 past lim.
      const uint32_t d0 = static_cast<uint32_t>(at[-1]) + from;
      const uint32_t e = static_cast<uint32_t>(at[0]) + from;
      const uint32_t d1 = e - 1u;
      if (d1 > lim || d0 > d1) {
        break;
      }
      const uint64_t k0 = kShift ? d0 >> shift : dstIndex[d0];
      const uint64_t k1 = kShift ? d1 >> shift : dstIndex[d1];
      if (kCount) {
        sum += e - d0;
      }
      // The part of the first cell and of the last come out of min and max, the last
      // one's 0 when they are one cell: whether a run ends in its first cell is for
      // the data to say, and a branch on it would be mispredicted half the time.
      const uint32_t next = kShift ? static_cast<uint32_t>((k0 + 1) << shift) : starts[k0 + 1];
      const uint32_t end = std::min(next, e);
      sums[k0] += times(end - d0);
      if (__builtin_expect(k1 > k0 + 1, 0)) {
        AddWholeCells(sums, k0 + 1, k1, starts, kShift ? cellShift : 0u, weight);
      }
      const uint32_t lastStart = kShift ? static_cast<uint32_t>(k1 << shift) : starts[k1];
      sums[k1] += times(e - std::max(lastStart, end));
    }
    i = static_cast<uint32_t>(at - c);
    if (kCount) {
      *count = sum;
    }
    return i;
  }

  // Adds the runs of list c (of a tile whose first column is x), `weight` times, to
  // row r's counts and their pixels once to counts[r].
  [[gnu::always_inline]] inline ImgErr AddList(const int32_t *c, uint32_t numChanges, uint32_t x,
                                               uint32_t r, uint32_t weight) const {
    uint32_t first = G4FirstRun(c, inkRuns);
    if (wholeEnd != 0) {
      const uint32_t n = numChanges >= 2 ? numChanges - 2 : 0;
      const uint32_t from = x - 1u - left;
      const auto add =
          cellShift != 0 ? (weight == 1 ? &AddWholeRuns<true, false> : &AddWholeRuns<true, true>)
                         : (weight == 1 ? &AddWholeRuns<false, false> : &AddWholeRuns<false, true>);
      first = add(c, n, first, from, wholeEnd - 1u, indexOf, cellStarts, cellShift, RowSums(r),
                  weight, counts + r);
      if (first >= n) {
        return IMG_OK;
      }
    }
    return weight == 1 ? Paint<false>(c, numChanges, first, x, r, 1)
                       : Paint<true>(c, numChanges, first, x, r, weight);
  }

  // The rows held back, `weight` of them, all one list into the same counts: rows
  // first..row of `tile`, the later ones having copied the first. While the walk goes
  // on after a failed row (firstFailed given), every row is held, so that a row the
  // next ones copy is added once, times their number; otherwise a row is added when it
  // comes (its pixels, `count`, noted) and only the rows that copy it are held. They
  // are added when a row that differs comes, or at the end of the walk: the list is
  // then the tile's reference list, the tile having moved on past the rows.
  struct Held {
    Img1G4Tile *tile = nullptr;
    uint32_t first = 0;
    uint32_t row = 0;
    uint32_t count = 0;
    uint32_t weight = 0;
  };
  mutable Held last;

  // Row r's counts, bounded by the vector as well as by the width.
  unsigned int *RowSums(uint32_t r) const {
    const uint64_t base = slots != nullptr ? slots[r] * dstBound : 0;
    return sumData + (base < held ? base : held);
  }

  [[gnu::always_inline]] inline ImgErr operator()(Img1G4Tile &tile, uint32_t r,
                                                  bool copied = false) const {
    const bool holdsAll = firstFailed != nullptr;
    // While every row is held, a copy goes on into the next target row too: its parts
    // of cells are worked out once for all of them (AddAcross).
    if (copied && last.tile == &tile && last.row + 1 == r &&
        (holdsAll || slots == nullptr || slots[r] == slots[last.row])) {
      ++last.weight;
      last.row = r;
      if (!holdsAll) {
        counts[r] += last.count;
      }
      return IMG_OK;
    }
    if (last.weight == 1 && holdsAll && wholeEnd != 0) {
      AddOne();
    } else if (last.weight != 0) {
      Add();
    }
    last.tile = nullptr;
    // A list of four entries holds no black run: most rows of a tile are white.
    if (inkRuns == G4Runs::kBlack && tile.numChanges() <= 4) {
      return IMG_OK;
    }
    if (holdsAll) {
      last = Held{&tile, r, r, 0, 1};
      return IMG_OK;
    }
    return AddNow(tile, r);
  }

  // Adds row r of `tile` as it comes, and holds it for the rows that copy it.
  [[gnu::noinline]] ImgErr AddNow(Img1G4Tile &tile, uint32_t r) const {
    const uint32_t before = counts[r];
    const ImgErr added = AddList(tile.changes(), tile.numChanges(), tile.getXOffset(), r, 1);
    if (added == IMG_OK) {
      last = Held{&tile, r, r, counts[r] - before, 0};
    }
    return added;
  }

  // Adds the one row held back, in the row loop: most rows of a tile are no copies.
  [[gnu::always_inline]] inline void AddOne() const {
    Img1G4Tile &tile = *last.tile;
    const int32_t *const c = tile.refChanges();
    const uint32_t numChanges = tile.numRefChanges();
    const uint32_t n = numChanges >= 2 ? numChanges - 2 : 0;
    const uint32_t from = tile.getXOffset() - 1u - left;
    const uint32_t r = last.first;
    uint32_t first = G4FirstRun(c, inkRuns);
    first =
        cellShift != 0
            ? AddWholeRuns<true, false, kCounts>(c, n, first, from, wholeEnd - 1u, indexOf,
                                                 cellStarts, cellShift, RowSums(r), 1, counts + r)
            : AddWholeRuns<false, false, kCounts>(c, n, first, from, wholeEnd - 1u, indexOf,
                                                  cellStarts, 0, RowSums(r), 1, counts + r);
    if (first < n) {
      (void)Paint<false>(c, numChanges, first, tile.getXOffset(), r, 1);
    }
    last.weight = 0;
  }

  // Adds the rows held back. Out of line: it keeps the row loop's registers to the
  // decoder.
  [[gnu::noinline]] void Add() const {
    if (slots != nullptr && slots[last.first] != slots[last.row]) {
      AddAcross();
      return;
    }
    Img1G4Tile &tile = *last.tile;
    const int32_t *const list = tile.refChanges();
    const uint32_t n = tile.numRefChanges();
    if (firstFailed == nullptr) {
      // The first row was added when it came: its pixels are not counted again.
      const uint32_t count = counts[last.row];
      (void)AddList(list, n, tile.getXOffset(), last.row, last.weight);
      counts[last.row] = count;
    } else {
      const uint32_t before = counts[last.first];
      (void)AddList(list, n, tile.getXOffset(), last.first, last.weight);
      const uint32_t count = counts[last.first] - before;
      for (uint32_t r = last.first + 1; r <= last.row; ++r) {
        counts[r] += count;
      }
    }
    last.weight = 0;
  }

  // The runs of list c from index i on that lie whole below column lim + 1, as
  // AddWholeRuns takes them, their parts of cells put in cell[] and part[] (parts so
  // far) instead of added, while they fit in kParts; their pixels added to count.
  // Answers the index of the first run left over.
  static constexpr uint32_t kParts = 256;
  static uint32_t CollectWholeRuns(const int32_t *c, uint32_t n, uint32_t i, uint32_t from,
                                   uint32_t lim, const unsigned int *dstIndex,
                                   const unsigned int *starts, uint32_t *cell, uint32_t *part,
                                   uint32_t &parts, uint32_t &count) {
    for (; i < n; i += 2) {
      const uint32_t d0 = static_cast<uint32_t>(c[i - 1]) + from;
      const uint32_t e = static_cast<uint32_t>(c[i]) + from;
      const uint32_t d1 = e - 1u;
      if (d1 > lim || d0 > d1) {
        break;
      }
      const uint32_t k0 = dstIndex[d0];
      const uint32_t k1 = dstIndex[d1];
      if (k1 - k0 + 1u > kParts - parts) {
        break;
      }
      count += e - d0;
      const uint32_t end = std::min(starts[k0 + 1], e);
      cell[parts] = k0;
      part[parts++] = end - d0;
      for (uint32_t k = k0 + 1; k < k1; ++k) {
        cell[parts] = k;
        part[parts++] = starts[k + 1] - starts[k];
      }
      if (k1 != k0) {
        cell[parts] = k1;
        part[parts++] = e - std::max(starts[k1], end);
      }
    }
    return i;
  }

  // The rows held back when they fall in more than one target row: the list's parts
  // of cells are worked out once, then added to each target row times its number of
  // rows, instead of walking the list again for each. A copied line, down a drawing,
  // is added so for a whole tile's rows at once.
  [[gnu::noinline]] void AddAcross() const {
    Img1G4Tile &tile = *last.tile;
    const int32_t *const c = tile.refChanges();
    const uint32_t numChanges = tile.numRefChanges();
    const uint32_t n = numChanges >= 2 ? numChanges - 2 : 0;
    const uint32_t x = tile.getXOffset();
    uint32_t cell[kParts];
    uint32_t part[kParts];
    uint32_t parts = 0;
    uint32_t count = 0;
    uint32_t first = G4FirstRun(c, inkRuns);
    if (wholeEnd != 0) {
      first = CollectWholeRuns(c, n, first, x - 1u - left, wholeEnd - 1u, indexOf, cellStarts, cell,
                               part, parts, count);
    }
    // Runs left over (too many parts, or not whole): the list goes to each target row
    // as it would within one.
    const bool whole = first >= n;
    for (uint32_t r = last.first; r <= last.row;) {
      uint32_t end = r;
      while (end < last.row && slots[end + 1] == slots[r]) {
        ++end;
      }
      const uint32_t weight = end - r + 1u;
      const uint32_t before = counts[r];
      if (whole) {
        unsigned int *const sums = RowSums(r);
        for (uint32_t p = 0; p < parts; ++p) {
          sums[cell[p]] += part[p] * weight;
        }
        counts[r] += count;
      } else {
        (void)AddList(c, numChanges, x, r, weight);
      }
      // Every row of the target row counts the list's pixels.
      const uint32_t rowCount = counts[r] - before;
      for (uint32_t k = r + 1; k <= end; ++k) {
        counts[k] += rowCount;
      }
      r = end + 1;
    }
    last.weight = 0;
  }

  // The end of a walk over `tile`.
  void Finish(Img1G4Tile &tile) const {
    if (last.weight != 0 && last.tile == &tile) {
      Add();
    }
  }

  // Adds the runs of list c from index `first` on, `weight` times, to row r's counts
  // and their pixels once to counts[r], whatever the tables and the runs: the runs
  // AddWholeRuns leaves. Out of line: few rows come here.
  template <bool kWeighted>
  [[gnu::noinline]] ImgErr Paint(const int32_t *c, uint32_t numChanges, uint32_t first, uint32_t x,
                                 uint32_t r, uint32_t weight) const {
    const G4Runs runs = inkRuns;
    const auto times = [weight](uint32_t v) { return kWeighted ? v * weight : v; };
    // Row r's counts, bounded by the vector as well as by the width. The members are
    // read into locals once: the stores into the counts could otherwise be taken to
    // change them.
    const uint64_t stored = held;
    const uint64_t base = slots != nullptr ? slots[r] * dstBound : 0;
    unsigned int *const sums = sumData + (base < stored ? base : stored);
    const unsigned int *const dstIndex = indexOf;
    const unsigned int *const starts = cellStarts;
    const uint64_t srcWidth = srcBound;
    const uint64_t dstWidth = base < stored ? std::min(dstBound, stored - base) : 0;
    uint32_t *const rowCounts = counts;
    bool ok = true;
    uint32_t count = rowCounts[r];
    const auto byGroups = [&](uint32_t d0, uint32_t d1, const unsigned int *cellStart)
        __attribute__((always_inline)) {
      const Added added = AddRun(d0, d1, runs, sums, dstIndex, groups, groupWidths, cellStart,
                                 srcWidth, dstWidth, kWeighted ? weight : 1u);
      count += added != kRefused ? G4Span(d0, d1) : 0u;
      return added == kAdded;
    };
    if (cellShift != 0 && dstWidth == dstBound && right >= left &&
        uint64_t{right} - left < srcWidth) {
      // Cells all 2^shift columns wide over the whole rectangle, the row's counts
      // reaching every cell and the walk's columns inside the tables: no run leaves
      // them, and its cells come by shifts, without a load.
      const unsigned shift = cellShift - 1u;
      G4ForEachRunFrom(
          c, numChanges, first, x, left,
          right, [&](uint32_t d0, uint32_t d1) __attribute__((always_inline)) {
            if (__builtin_expect(d0 <= d1, 1)) {
              const uint64_t k0 = d0 >> shift;
              const uint64_t k1 = d1 >> shift;
              count += G4Span(d0, d1);
              const uint32_t end = std::min(static_cast<uint32_t>((k0 + 1) << shift), d1 + 1u);
              sums[k0] += times(end - d0);
              for (uint64_t k = k0 + 1; k < k1; ++k) {
                sums[k] += times(1u << shift);
              }
              sums[k1] += times(d1 + 1u - std::max(static_cast<uint32_t>(k1 << shift), end));
              return true;
            }
            return ok = byGroups(d0, d1, starts);
          });
    } else if (starts != nullptr) {
      // Cells one after another: each end's cell from one table, the part of a cell
      // from the cells' first columns, a small table. A backward run, or one outside
      // the tables, goes by the groups (AddRun), as every run does without the cells.
      G4ForEachRunFrom(
          c, numChanges, first, x, left,
          right, [&](uint32_t d0, uint32_t d1) __attribute__((always_inline)) {
            if (__builtin_expect(d0 <= d1 && d1 < srcWidth, 1)) {
              const uint64_t k0 = dstIndex[d0];
              const uint64_t k1 = dstIndex[d1];
              if (__builtin_expect(k1 < dstWidth, 1)) {
                count += G4Span(d0, d1);
                // Whether a run ends in its first cell is for the data to say: the part of
                // the first cell and of the last come out of min and max instead of a
                // branch, the last one's 0 when they are one cell.
                const uint32_t end = std::min(starts[k0 + 1], d1 + 1u);
                sums[k0] += times(end - d0);
                for (uint64_t k = k0 + 1; k < k1; ++k) {
                  sums[k] += times(starts[k + 1] - starts[k]);
                }
                sums[k1] += times(d1 + 1u - std::max(starts[k1], end));
                return true;
              }
            }
            return ok = byGroups(d0, d1, starts);
          });
    } else {
      G4ForEachRunFrom(c, numChanges, first, x, left, right,
                       [&](uint32_t d0, uint32_t d1) { return ok = byGroups(d0, d1, nullptr); });
    }
    rowCounts[r] = count;
    if (ok) {
      return IMG_OK;
    }
    if (firstFailed == nullptr) {
      return IMG_DECODE_FAILED;
    }
    // Noted, and the walk goes on: the rows before the first that failed are kept.
    *failed = true;
    *firstFailed = std::min(*firstFailed, r);
    return IMG_OK;
  }
};

}  // namespace c2d

#endif  // IMAGE_G4_INTERNAL_G4ROWRUNS_H_
