// CImg1G4's scaling: the workers that drive the scanline routines row by row from
// the code, so that a page is scaled without being expanded, and the three scale
// overloads that choose among them around one enabling of the decoder tables. The
// run tables come from the Rothstein makers and are freed here on every path.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include "Image/core/internal/FreeDeleter.h"
#include "Image/core/internal/ImgReport.h"
#include "Image/g4/CImg1G4.h"
#include "Image/g4/G4Decode.h"
#include "Image/g4/internal/G4ScaleInfo.h"
#include "Image/raster/CImg1.h"
#include "Image/raster/CImg32.h"
#include "Image/scale/GreyMapping.h"
#include "Image/scale/ImgScaleAttr.h"
#include "Image/scale/Rothstein.h"
#include "Image/scale/internal/ScaleSupport.h"

using c2d::Report;

namespace {

// The five tables of one call of a G4 table maker, released on every path: the pair
// of run tables and the three column maps.
struct ScaleTables {
  c2d::RunTables runs;
  c2d::MallocArray<unsigned int> srcMap;
  c2d::MallocArray<unsigned int> dstByte;
  c2d::MallocArray<unsigned int> dstBit;

  // make(&rowRuns, &colRuns, &srcMap, &dstByte, &dstBit) fills the five pointers.
  template <typename Maker>
  bool build(Maker &&make) {
    unsigned int *t[5] = {};
    make(&t[0], &t[1], &t[2], &t[3], &t[4]);
    runs.rows.reset(t[0]);
    runs.cols.reset(t[1]);
    srcMap.reset(t[2]);
    dstByte.reset(t[3]);
    dstBit.reset(t[4]);
    return runs.rows && runs.cols && srcMap && dstByte && dstBit;
  }

  G4ScaleInfo info(uint32_t background, const ImgRect &source, uint32_t mergeRows) const {
    G4ScaleInfo info;
    info.background = background;
    info.colRuns = runs.cols.get();
    info.srcMap = srcMap.get();
    info.left = source.left;
    info.right = source.right;
    info.dstByte = dstByte.get();
    info.dstBit = dstBit.get();
    info.mergeRows = mergeRows;
    return info;
  }
};

// One grey mapping and its last index: a count is read no further, so a corrupt row
// that counts a cell twice reads as a full cell instead of past the table.
struct GreyTable {
  c2d::MallocArray<unsigned char> levels;
  uint32_t last = 0;

  bool build(uint64_t area) {
    // A count must index a table whose size fits 32 bits.
    if (area >= 0xFFFFFFFFu) {
      return false;
    }
    unsigned char *table = nullptr;
    CreateGreyMapping(static_cast<unsigned>(area + 1), &table, 0);
    levels.reset(table);
    last = static_cast<uint32_t>(area);
    return table != nullptr;
  }
  unsigned level(uint32_t count) const { return levels[std::min(count, last)]; }
};

// The grey words (level times 0x010101) of a pair of tables, side by side, each run
// on with its own last word up to a count of `top`: a cell's word is one load, at
// its table's start plus its count clamped once. Made for small tables only.
struct GreyWords {
  std::vector<uint32_t> words;
  static constexpr uint32_t kMaxTop = 4095;
  void build(const GreyTable *pair, uint32_t top) {
    words.resize(2 * (static_cast<size_t>(top) + 1));
    for (unsigned w = 0; w < 2; ++w) {
      for (uint32_t count = 0; count <= top; ++count) {
        words[w * (top + 1) + count] = pair[w].level(count) * 0x010101u;
      }
    }
  }
};

#if defined(__x86_64__)
// GreyRow eight cells at a time by AVX2, from the pair's words, start[j] being where
// cell j's table starts in them: an empty block by one test, the others by one
// gather.
__attribute__((target("avx2"), noinline)) void GreyRowAvx2(unsigned *row, unsigned *sums,
                                                           const uint32_t *start, uint32_t n,
                                                           const uint32_t *words, uint32_t top) {
  const __m256i blank = _mm256_set1_epi32(static_cast<int>(words[0]));
  const bool blanks = words[0] == words[top + 1];
  const __m256i most = _mm256_set1_epi32(static_cast<int>(top));
  uint32_t j = 0;
  for (; j + 8 <= n; j += 8) {
    const __m256i s = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(sums + j));
    if (blanks && _mm256_testz_si256(s, s)) {
      _mm256_storeu_si256(reinterpret_cast<__m256i *>(row + j), blank);
      continue;
    }
    const __m256i at =
        _mm256_add_epi32(_mm256_min_epu32(s, most),
                         _mm256_loadu_si256(reinterpret_cast<const __m256i *>(start + j)));
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(row + j),
                        _mm256_i32gather_epi32(reinterpret_cast<const int *>(words), at, 4));
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(sums + j), _mm256_setzero_si256());
  }
  for (; j < n; ++j) {
    row[j] = words[start[j] + std::min(sums[j], top)];
    sums[j] = 0;
  }
}
#endif

// The grey levels of one target row from its cells' counts, wide[j] telling which of
// the pair's tables cell j takes. A function of its own, so that its few values stay
// in registers: the stores into the row cannot be taken to change them, and the
// worker's own values do not crowd them out.
[[gnu::noinline]] void GreyRow(unsigned *row, unsigned *sums, const uint8_t *wide, uint32_t n,
                               const GreyTable *pair) {
  const unsigned char *const levels[2] = {pair[0].levels.get(), pair[1].levels.get()};
  const uint32_t last[2] = {pair[0].last, pair[1].last};
  const auto grey = [&](uint32_t j) {
    const uint8_t w = wide[j];
    return levels[w][std::min(sums[j], last[w])] * 0x010101u;
  };
  uint32_t j = 0;
  // Most cells of a page hold no ink: eight empty cells in a row are written as one
  // block, when an empty cell has one level whatever its width.
  if (levels[0][0] == levels[1][0]) {
    const unsigned blank = levels[0][0] * 0x010101u;
    for (; j + 8 <= n; j += 8) {
      unsigned *const s = sums + j;
      if ((s[0] | s[1] | s[2] | s[3] | s[4] | s[5] | s[6] | s[7]) == 0) {
        unsigned *const r = row + j;
        r[0] = r[1] = r[2] = r[3] = r[4] = r[5] = r[6] = r[7] = blank;
        continue;
      }
      for (uint32_t k = 0; k < 8; ++k) {
        row[j + k] = grey(j + k);
        s[k] = 0;
      }
    }
  }
  for (; j < n; ++j) {
    row[j] = grey(j);
    sums[j] = 0;
  }
}

// The most target rows, and counts, that one batch of the grey reduction holds.
constexpr uint32_t kGreyBatchTargets = 32;
constexpr uint32_t kGreyBatchCounts = 65536;

}  // namespace

// ---------------------------------------------------------------------------
// Dispatch

IImg *CImg1G4::scale(double factor, ImgScaleAttr &attr) {
  return c2d::ScaleByFactor(*this, factor, attr);
}

IImg *CImg1G4::scale(const ImgRect &source, const ImgRect &target, ImgScaleAttr &attr) {
  return scale(source, target.getWidth(), target.getHeight(), attr);
}

IImg *CImg1G4::scale(const ImgRect &source, unsigned width, unsigned height, ImgScaleAttr &attr) {
  if (CCITT_EnableG4Decode() != IMG_OK) {
    return nullptr;
  }
  const unsigned sw = source.getWidth();
  const unsigned sh = source.getHeight();
  IImg *result = nullptr;
  switch (ScaleHow(sw, sh, width, height)) {
    case IMG_SCALE_SAME:
      // The whole page, whatever the rectangle.
      result = CImg1::create(*this, 0xFFFFFFu, 0xFF000000u, IMG_ALIGN_NONE);
      break;
    case IMG_SCALE_ENLARGE:
      result = Enlarge(width, height, source);
      break;
    case IMG_SCALE_REDUCE:
      if (attr.bitDepth == 32) {
        result = Reduce_greyscale(width, height, source);
      } else {
        result = Reduce_bkg(width, height, source);
      }
      break;
    // Mixed requests grow first; the intermediate is a CImg1, which then reduces
    // itself as a whole image and is deleted.
    case IMG_SCALE_REDUCE_X_ENLARGE_Y:
      result = c2d::ScaleIntermediate(Enlarge(sw, height, source), width, height, attr);
      break;
    case IMG_SCALE_ENLARGE_X_REDUCE_Y:
      result = c2d::ScaleIntermediate(Enlarge(width, sh, source), width, height, attr);
      break;
  }
  CCITT_DisableG4Decode();
  return result;
}

// ---------------------------------------------------------------------------
// Workers. Each must run between CCITT_EnableG4Decode and CCITT_DisableG4Decode. A
// failed decode returns what the target holds so far, with IMG_DECODE_FAILED.

void CImg1G4::SettleBackground(CImg1 &target, bool dark) {
  if (dark) {
    (void)target.invert();
  }
  backgroundColor = dark ? 1u : 0u;
  backgroundState = IMG_BG_KNOWN;
  target.setBackgroundColor(0);
}

CImg1 *CImg1G4::Enlarge(unsigned int width, unsigned int height, const ImgRect &source) {
  const uint32_t sw = source.getWidth();
  const uint32_t sh = source.getHeight();
  // A side of 2^32 pixels wraps to 0.
  if (width < sw || height < sh || sw == 0 || sh == 0) {
    Report(IMG_INVALID_ARG);
    return nullptr;
  }
  std::unique_ptr<CImg1> target(
      CImg1::create(width, height, backgroundInterpretation, foregroundInterpretation, alignment));
  if (target == nullptr) {
    Report(IMG_FAIL);
    return nullptr;
  }
  if (PrepForDecode(source) == 0) {
    Report(IMG_DECODE_FAILED);
    return target.release();
  }
  ScaleTables tables;
  if (!tables.build([&](unsigned **r, unsigned **c, unsigned **m, unsigned **b, unsigned **t) {
        CreateRothEnlargeTables(width, height, sw, sh, r, c, m, b, t);
      })) {
    Report(IMG_FAIL);
    return nullptr;
  }
  G4ScaleInfo info = tables.info(backgroundColor, source, 0);
  unsigned char *pixels = target->peekData();
  const uint64_t stride = target->getBytesPerLine();
  uint64_t p = 0;
  for (uint32_t y = 0; y < sh && p < height; ++y) {
    unsigned char *row = pixels + p * stride;
    if (decode_enlarge_scanline(row, &info) != IMG_OK) {
      Report(IMG_DECODE_FAILED);
      return target.release();
    }
    StepCursor();
    // Each source row is decoded once; its repeats are copies of the finished row.
    const uint32_t run = tables.runs.rows[p];
    if (run == 0) {
      break;
    }
    for (uint32_t k = 1; k < run; ++k) {
      std::memcpy(row + k * stride, row, static_cast<size_t>(stride));
    }
    p += run;
  }
  if (!isBackgroundKnown()) {
    SettleBackground(*target, target->calculateBackground() == 1);
  }
  return target.release();
}

CImg1 *CImg1G4::Reduce_bkg(unsigned int width, unsigned int height, const ImgRect &source) {
  return ReduceBilevel(width, height, source, false);
}

CImg1 *CImg1G4::Reduce(unsigned int width, unsigned int height, const ImgRect &source) {
  return ReduceBilevel(width, height, source, true);
}

CImg1 *CImg1G4::ReduceBilevel(unsigned width, unsigned height, const ImgRect &source, bool sample) {
  const uint32_t sw = source.getWidth();
  const uint32_t sh = source.getHeight();
  if (sw < width || sh < height) {
    Report(IMG_INVALID_ARG);
    return nullptr;
  }
  std::unique_ptr<CImg1> target(
      CImg1::create(width, height, backgroundInterpretation, foregroundInterpretation, alignment));
  if (target == nullptr) {
    Report(IMG_FAIL);
    return nullptr;
  }
  // Sampling keeps the page's polarity: on dark paper the white runs clear a target
  // that starts set. The background is counted before the cursor is placed, since
  // counting moves it.
  if (sample && calculateBackground() == 1) {
    std::memset(target->peekData(), 0xFF, target->getTotalBytes());
  }
  if (PrepForDecode(source) == 0) {
    Report(IMG_DECODE_FAILED);
    return target.release();
  }
  ScaleTables tables;
  if (!tables.build([&](unsigned **r, unsigned **c, unsigned **m, unsigned **b, unsigned **t) {
        CreateRothReduceTables(sw, sh, width, height, r, c, m, b, t);
      })) {
    Report(IMG_FAIL);
    return nullptr;
  }
  // Merging every source row of a block into its target row keeps thin lines;
  // sampling paints the block's first row only, but decodes the others too, since
  // each row is coded against the one before.
  G4ScaleInfo info = tables.info(backgroundColor, source, sample ? 0 : 1);
  // Each run end's target column, from one table instead of two.
  std::vector<unsigned int> columns;
  try {
    columns.resize(sw);
  } catch (const std::bad_alloc &) {
    Report(IMG_FAIL);
    return nullptr;
  }
  // Groups all 2^shift columns wide (1/8 or 1/16 of a width they divide) map a
  // column by a shift, when every column says so.
  uint32_t shift = 0;
  while (shift < 31 && (uint64_t{width} << shift) < sw) {
    ++shift;
  }
  bool shifts = (uint64_t{width} << shift) == sw;
  for (uint32_t d = 0; d < sw; ++d) {
    columns[d] = tables.dstByte[d] * 8u + 7u - tables.dstBit[d];
    shifts = shifts && columns[d] == d >> shift;
  }
  info.dstColumn = columns.data();
  info.dstShift = shifts ? shift + 1u : 0u;
  unsigned char *pixels = target->peekData();
  const uint64_t stride = target->getBytesPerLine();
  // Row by row, target row t takes source rows p to p + rows[p] - 1, row k of them
  // now. A batch may span several target rows: each of its rows names the target row
  // it paints, or none when sampling passes it over.
  uint64_t total = 0;
  uint32_t t = 0;
  uint64_t p = 0;
  uint32_t k = 0;
  const auto settle = [&] {
    while (t < height && p < sh && tables.runs.rows[p] == k) {
      p += k;
      k = 0;
      ++t;
    }
  };
  unsigned char *targets[kBatchRows];
  uint32_t counts[kBatchRows];
  settle();
  while (t < height && p < sh) {
    const uint32_t cap = RowsInBatch(kBatchRows);
    uint32_t rows = 0;
    for (; rows < cap && t < height && p < sh; ++rows) {
      // Sampling paints the block's first row only.
      targets[rows] = !sample || k == 0 ? pixels + static_cast<uint64_t>(t) * stride : nullptr;
      ++k;
      settle();
    }
    if (decode_reduce_rows(rows, targets, &info, counts) != IMG_OK) {
      Report(IMG_DECODE_FAILED);
      return target.release();
    }
    for (uint32_t r = 0; r < rows; ++r) {
      if (!sample) {
        total += counts[r];
      }
      StepCursor();
    }
  }
  if (!sample && !isBackgroundKnown()) {
    // Exactly at the threshold the page is not dark.
    const double share = static_cast<double>(total) / (static_cast<double>(sw) * sh);
    SettleBackground(*target, share > get1BitBGThreshold());
  }
  return target.release();
}

CImg32 *CImg1G4::Reduce_greyscale(unsigned int width, unsigned int height, const ImgRect &source) {
  bool clean = true;
  return ReduceGrey(width, height, source, backgroundColor != 0 ? 1u : 0u, nullptr, clean);
}

IImg *CImg1G4::scaleToGrey(const ImgRect &source, unsigned width, unsigned height) {
  ImgScaleAttr grey;
  grey.bitDepth = 32;
  const ImgRect page = getRect();
  const bool whole = source.left == page.left && source.top == page.top &&
                     source.right == page.right && source.bottom == page.bottom;
  // The fallback starts from the record as the caller left it, so that it reports
  // exactly what the two calls would.
  const ImgErr codeBefore = CImgErr::sm_errcode;
  const uint32_t totalBefore = CImgErr::sm_errtotal;
  const auto twoPasses = [&]() -> IImg * {
    CImgErr::sm_errcode = codeBefore;
    CImgErr::sm_errtotal = totalBefore;
    (void)calculateBackground();
    if (CImgErr::sm_errtotal != totalBefore && CImgErr::get() == IMG_DECODE_FAILED) {
      return nullptr;
    }
    return scale(source, width, height, grey);
  };
  if (backgroundState != IMG_BG_UNKNOWN || !whole ||
      ScaleHow(source.getWidth(), source.getHeight(), width, height) != IMG_SCALE_REDUCE ||
      CCITT_EnableG4Decode() != IMG_OK) {
    return twoPasses();
  }
  // Black runs, as on light paper, counting the ink on the way. A row that fails, or
  // a walk that does not cover every row, leaves the count unlike
  // calculateBackground's: the page is then counted on its own.
  uint64_t count[2] = {0, 0};
  bool clean = true;
  std::unique_ptr<CImg32> result(ReduceGrey(width, height, source, 0, count, clean));
  CCITT_DisableG4Decode();
  if (result == nullptr || !clean || count[1] != getHeight()) {
    result.reset();
    return twoPasses();
  }
  const double pixels = static_cast<double>(getWidth()) * static_cast<double>(count[1]);
  const double ratio = pixels > 0 ? static_cast<double>(count[0]) / pixels : 0.0;
  backgroundColor = ratio > get1BitBGThreshold() ? 1u : 0u;
  backgroundState = IMG_BG_KNOWN;
  if (backgroundColor != 0) {
    // Dark paper: the white runs are the ink, and they need a pass of their own.
    result.reset();
    return scale(source, width, height, grey);
  }
  result->setBackgroundColor(0xFFFFFFu);
  return result.release();
}

CImg32 *CImg1G4::ReduceGrey(unsigned width, unsigned height, const ImgRect &source, uint32_t ink,
                            uint64_t *count, bool &clean) {
  const uint32_t sw = source.getWidth();
  const uint32_t sh = source.getHeight();
  if (sw < width || sh < height) {
    Report(IMG_INVALID_ARG);
    return nullptr;
  }
  // The vectors the grey scanline routine works on. A rectangle too wide for memory
  // is refused like a missing table rather than let the allocation failure out.
  // Target rows a batch may hold, their counts side by side: a few, and no more
  // counts than a wide row alone needs.
  const uint32_t targetsPerBatch =
      std::max(1u, std::min(kGreyBatchTargets, kGreyBatchCounts / std::max(width, 1u)));
  std::vector<unsigned int> dstIndex;
  std::vector<unsigned int> sums;
  std::vector<uint8_t> wideColumn;
  std::vector<unsigned int> cellStart;
  try {
    dstIndex.assign(sw, 0u);
    wideColumn.assign(width, 0u);
    cellStart.assign(static_cast<size_t>(width) + 1, 0u);
    sums.assign(static_cast<size_t>(targetsPerBatch) * width, 0u);
  } catch (const std::bad_alloc &) {
    Report(IMG_FAIL);
    return nullptr;
  }
  std::unique_ptr<CImg32> target(CImg32::create(width, height, RGB_ORDER_RGB));
  if (target == nullptr) {
    Report(IMG_FAIL);
    return nullptr;
  }
  // A cell is floor or ceiling in each direction: maps[height is floorY ? 0 : 1]
  // [width is floorX ? 0 : 1], each of the cell's area + 1 entries. The ratios are
  // taken once the target exists, so that a zero side is refused by the factory
  // rather than divided by.
  const double xRatio = static_cast<double>(sw) / width;
  const double yRatio = static_cast<double>(sh) / height;
  const uint64_t floorX = static_cast<uint64_t>(std::floor(xRatio));
  const uint64_t floorY = static_cast<uint64_t>(std::floor(yRatio));
  const uint64_t heights[2] = {floorY, static_cast<uint64_t>(std::ceil(yRatio))};
  const uint64_t widths[2] = {floorX, static_cast<uint64_t>(std::ceil(xRatio))};
  GreyTable maps[2][2];
  for (unsigned i = 0; i < 2; ++i) {
    for (unsigned j = 0; j < 2; ++j) {
      if (!maps[i][j].build(heights[i] * widths[j])) {
        Report(IMG_FAIL);
        return nullptr;
      }
    }
  }
  if (PrepForDecode(source) == 0) {
    Report(IMG_DECODE_FAILED);
    clean = false;
    return target.release();
  }
  ScaleTables tables;
  if (!tables.build([&](unsigned **r, unsigned **c, unsigned **m, unsigned **b, unsigned **t) {
        CreateRothReduceTables2(sw, sh, width, height, r, c, m, b, t, dstIndex);
      })) {
    Report(IMG_FAIL);
    return nullptr;
  }
  unsigned **out = target->peekDataArray();
  if (out == nullptr) {
    Report(IMG_FAIL);
    return nullptr;
  }
  G4ScaleInfo info = tables.info(ink, source, 1);
  info.dstWidth = width;
  info.srcWidth = sw;
  // Which cells of a row are wide, and how many columns the rectangle fills: the same
  // for every row, so the walk through the column runs is made once. The same walk
  // checks that the groups follow one another over every column and that dstIndex
  // and srcMap name them so; the cells' first columns then give a run's part of each cell.
  uint32_t filled = 0;
  bool chained = true;
  uint64_t q = 0;
  for (; filled < width && q < sw; ++filled) {
    const uint32_t xRun = tables.runs.cols[q];
    wideColumn[filled] = xRun == floorX ? 0 : 1;
    cellStart[filled] = static_cast<unsigned>(q);
    chained = chained && xRun != 0;
    for (uint64_t x = q; chained && x < q + xRun && x < sw; ++x) {
      chained = dstIndex[x] == filled && tables.srcMap[x] == q;
    }
    q += xRun;
  }
  if (chained && q >= sw) {
    // Past the last cell: the rectangle's width, beyond every run's end.
    cellStart[filled] = sw;
    info.cellStart = cellStart.data();
    // Cells all 2^s columns wide (1/8 or 1/16 of a width they divide) go by shifts.
    uint32_t s = 0;
    while (s < 31 && (uint64_t{filled} << s) < sw) {
      ++s;
    }
    bool shifts = (uint64_t{filled} << s) == sw;
    for (uint32_t k = 0; shifts && k <= filled; ++k) {
      shifts = cellStart[k] == (uint64_t{k} << s);
    }
    info.dstShift = shifts ? s + 1u : 0u;
  }
  // A failed row ends the walk: the caller gets the rows finished so far, and the
  // error. A batch takes whole blocks of rows, their counts side by side in `sums`,
  // so that the tiles' rows go one after another across several target rows; a
  // failure in it keeps the target rows before the failing row's. A block that no
  // batch can take whole (one crossing a tile row) is decoded in pieces on its own.
  bool failed = false;
  uint64_t p = 0;
  uint32_t t = 0;
  uint32_t counts[kBatchRows];
  uint32_t slots[kBatchRows];
  uint32_t blockRuns[kGreyBatchTargets];
  const auto addCounts = [&](uint32_t rows) {
    for (uint32_t r = 0; r < rows; ++r) {
      if (count != nullptr) {
        count[0] += counts[r];
        ++count[1];
      }
      StepCursor();
    }
  };
  // Eight cells at a time where the processor has AVX2 and the tables are small.
  GreyWords words[2];
  std::vector<uint32_t> wordStart;
#if defined(__x86_64__)
  const uint32_t top = std::max(std::max(maps[0][0].last, maps[0][1].last),
                                std::max(maps[1][0].last, maps[1][1].last));
  // The processor's features as libgcc found them at load: a load, and no lock.
  if (__builtin_cpu_supports("avx2") && top <= GreyWords::kMaxTop) {
    try {
      words[0].build(maps[0], top);
      words[1].build(maps[1], top);
      wordStart.resize(filled);
      for (uint32_t j = 0; j < filled; ++j) {
        wordStart[j] = wideColumn[j] != 0 ? top + 1 : 0;
      }
    } catch (const std::bad_alloc &) {
      words[0].words.clear();  // the levels serve
    }
  }
#endif
  const auto writeRow = [&](uint32_t row, uint32_t slot, uint32_t yRun) {
    const unsigned pair = yRun == floorY ? 0 : 1;
    unsigned *const rowSums = sums.data() + static_cast<size_t>(slot) * width;
#if defined(__x86_64__)
    if (!words[0].words.empty()) {
      GreyRowAvx2(out[row], rowSums, wordStart.data(), filled, words[pair].words.data(), top);
      return;
    }
#endif
    GreyRow(out[row], rowSums, wideColumn.data(), filled, maps[pair]);
  };
  while (t < height && p < sh && !failed) {
    const uint32_t cap = RowsInBatch(kBatchRows);
    uint32_t blocks = 0;
    uint32_t rows = 0;
    uint64_t next = p;
    while (blocks < targetsPerBatch && t + blocks < height && next < sh &&
           rows + tables.runs.rows[next] <= cap) {
      const uint32_t run = tables.runs.rows[next];
      blockRuns[blocks] = run;
      for (uint32_t k = 0; k < run; ++k) {
        slots[rows++] = blocks;
      }
      next += run;
      ++blocks;
    }
    if (blocks == 0) {
      const uint32_t yRun = tables.runs.rows[p];
      for (uint32_t k = 0; k < yRun && !failed;) {
        const uint32_t piece = RowsInBatch(yRun - k);
        failed = decode_reduce_rows_grey(piece, sums, nullptr, &info, dstIndex, counts, nullptr) !=
                 IMG_OK;
        if (!failed) {
          addCounts(piece);
        }
        k += piece;
      }
      if (!failed) {
        writeRow(t, 0, yRun);
        p += yRun;
        ++t;
      }
      continue;
    }
    uint32_t firstFailed = rows;
    uint32_t finished = blocks;
    if (rows != 0 && decode_reduce_rows_grey(rows, sums, slots, &info, dstIndex, counts,
                                             &firstFailed, count != nullptr) != IMG_OK) {
      failed = true;
      finished = firstFailed < rows ? slots[firstFailed] : 0;
    } else {
      addCounts(rows);
    }
    for (uint32_t b = 0; b < finished; ++b) {
      writeRow(t + b, b, blockRuns[b]);
    }
    t += finished;
    p = next;
  }
  // Foreground is dark whatever the page's colour; the background records the
  // opposite of the page's.
  target->setBackgroundColor(backgroundColor != 0 ? 0u : 0xFFFFFFu);
  if (failed) {
    Report(IMG_DECODE_FAILED);
    clean = false;
  }
  return target.release();
}
