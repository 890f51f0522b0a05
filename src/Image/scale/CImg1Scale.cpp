// CImg1's scaling: the three scale overloads and the workers behind them. Each
// target pixel stands for a block of source pixels given by the Rothstein run
// tables, and a block is tested a byte at a time through mask tables, so that thin
// lines survive a reduction.
#include <array>
#include <cassert>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>

#include "Image/core/internal/FreeDeleter.h"
#include "Image/core/internal/ImgReport.h"
#include "Image/core/internal/BitRow.h"
#include "Image/raster/CImg1.h"
#include "Image/raster/CImg32.h"
#include "Image/scale/GreyMapping.h"
#include "Image/scale/ImgScaleAttr.h"
#include "Image/scale/Rothstein.h"
#include "Image/scale/internal/ScaleSupport.h"

using c2d::Report;
using c2d::ScaleIntermediate;

namespace {

using c2d::BitMask;
using c2d::HeadMask;
using c2d::TailMask;

// Set bits of each 4-bit value.
constexpr uint8_t kNibbleBits[16] = {0, 1, 1, 2, 1, 2, 2, 3, 1, 2, 2, 3, 2, 3, 3, 4};

using SpanRows = std::array<std::array<uint8_t, 8>, 9>;

// Row len - 1, column s: len pixels from pixel s on, 0 where they do not fit in the
// byte. QuickReduce_bkg indexes rows by len instead and so reaches a ninth row,
// which holds the first counts of kNibbleBits: its one reachable entry is 0.
constexpr SpanRows MakeSpanMask() {
  SpanRows rows{};
  for (unsigned len = 1; len <= 8; ++len) {
    for (unsigned s = 0; s < 8; ++s) {
      rows[len - 1][s] = s + len <= 8 ? static_cast<uint8_t>((0xFF00u >> len & 0xFFu) >> s) : 0;
    }
  }
  for (unsigned s = 0; s < 8; ++s) {
    rows[8][s] = kNibbleBits[s];
  }
  return rows;
}

constexpr SpanRows kSpanMask = MakeSpanMask();

using c2d::RunTables;

// Source rows that lie wholly inside the pixel buffer.
struct DirectRows {
  const unsigned char *first;
  uint64_t stride;
  // SAFETY: SourceRows::withRows chose this reader only when every byte of the rows
  // it covers, up to their span, lies inside the buffer.
  unsigned char operator()(uint64_t r, uint64_t byte) const { return first[r * stride + byte]; }
};

// Source rows that leave the buffer (or an image without pixels): bytes outside
// read as 0, bytes inside as they are.
struct BoundedRows {
  const unsigned char *data;
  uint64_t size;
  uint64_t first;
  uint64_t stride;
  unsigned char operator()(uint64_t r, uint64_t byte) const {
    const uint64_t at = first + r * stride + byte;
    return at < size ? data[at] : 0;
  }
};

// Where the rows of a source rectangle lie in the buffer. Rows start at the
// rectangle's top and columns at its left edge as given, and row r begins at byte
// (top + r) * stride + left / 8; so a rectangle past the right edge reads on into
// the pad bits and the next row, as the rows are laid out. Columns of a row are
// counted from bit `shift` of that byte, so column c is bit 7 - (c & 7) of byte
// c >> 3, and all of a row's sw pixels lie in its first `span` bytes.
struct SourceRows {
  SourceRows(const unsigned char *pixels, uint32_t totalBytes, uint32_t bytesPerLine,
             const ImgRect &source, uint32_t sw)
      : data(pixels),
        size(pixels != nullptr ? totalBytes : 0u),
        stride(bytesPerLine),
        first(static_cast<uint64_t>(source.top) * bytesPerLine + (source.left >> 3)),
        shift(source.left & 7u),
        span((shift + static_cast<uint64_t>(sw) + 7u) >> 3) {}

  // Calls f with a reader of rows r .. r + count - 1 (count >= 1), one that reads
  // directly when every byte they span lies in the buffer. Rows ascend, so the
  // last row decides.
  template <typename F>
  void withRows(uint64_t r, uint64_t count, F &&f) const {
    assert(count >= 1);
    const uint64_t start = first + r * stride;
    if (start + (count - 1) * stride + span <= size) {
      f(DirectRows{data + start, stride});
    } else {
      f(BoundedRows{data, size, start, stride});
    }
  }

  const unsigned char *data;
  uint64_t size;
  uint64_t stride;
  uint64_t first;
  unsigned shift;
  uint64_t span;
};

// Whether a block of xRun columns from column x, over yRun rows, holds ink. Ink is
// a set bit when flip is 0 and a clear one when flip is 0xFF. When ink is clear, a
// last byte that holds just one pixel of a spanning block is not looked at: that
// pixel never counts.
template <typename Rows>
bool BlockHasInk(const Rows &rows, uint32_t yRun, uint64_t x, uint32_t xRun, uint8_t flip) {
  const unsigned s = static_cast<unsigned>(x & 7u);
  const unsigned k = 7 - s;
  const uint64_t byte = x >> 3;
  if (static_cast<uint64_t>(xRun) + s <= 8) {
    const uint8_t mask = kSpanMask[xRun - 1][s];
    for (uint32_t r = 0; r < yRun; ++r) {
      if (((rows(r, byte) ^ flip) & mask) != 0) {
        return true;
      }
    }
    return false;
  }
  for (uint32_t r = 0; r < yRun; ++r) {
    uint64_t b = byte;
    if (((rows(r, b) ^ flip) & HeadMask(s)) != 0) {
      return true;
    }
    uint32_t left = xRun - k - 2;
    while (left > 7) {
      if ((rows(r, ++b) ^ flip) != 0) {
        return true;
      }
      left -= 8;
    }
    if (flip != 0 && left == 0) {
      continue;
    }
    if (((rows(r, ++b) ^ flip) & TailMask(left)) != 0) {
      return true;
    }
  }
  return false;
}

// The first-row test of QuickReduce_bkg. Its masks are one pixel wider than the
// block, except that a block ending on a byte boundary is looked at exactly when it
// spans bytes and not at all when it does not.
template <typename Rows>
bool FirstRowHasInk(const Rows &rows, uint64_t x, uint32_t xRun, uint8_t flip) {
  const unsigned s = static_cast<unsigned>(x & 7u);
  uint64_t b = x >> 3;
  if (static_cast<uint64_t>(xRun) + s < 9) {
    return ((rows(0, b) ^ flip) & kSpanMask[xRun][s]) != 0;
  }
  if (((rows(0, b) ^ flip) & HeadMask(s)) != 0) {
    return true;
  }
  uint64_t left = static_cast<uint64_t>(xRun) + s - 8;
  while (left > 7) {
    if ((rows(0, ++b) ^ flip) != 0) {
      return true;
    }
    left -= 8;
  }
  return left != 0 && ((rows(0, b + 1) ^ flip) & TailMask(left)) != 0;
}

// The exact number of set bits in a block.
template <typename Rows>
uint32_t CountSetBits(const Rows &rows, uint32_t yRun, uint64_t x, uint32_t xRun,
                      const uint8_t *bitCounts) {
  const unsigned s = static_cast<unsigned>(x & 7u);
  const unsigned k = 7 - s;
  const uint64_t byte = x >> 3;
  uint32_t count = 0;
  if (static_cast<uint64_t>(xRun) + s <= 8) {
    const uint8_t mask = kSpanMask[xRun - 1][s];
    for (uint32_t r = 0; r < yRun; ++r) {
      count += bitCounts[rows(r, byte) & mask];
    }
    return count;
  }
  for (uint32_t r = 0; r < yRun; ++r) {
    uint64_t b = byte;
    count += bitCounts[rows(r, b) & HeadMask(s)];
    uint32_t left = xRun - k - 2;
    while (left > 7) {
      count += bitCounts[rows(r, ++b)];
      left -= 8;
    }
    count += bitCounts[rows(r, ++b) & TailMask(left)];
  }
  return count;
}

// The target of the bilevel workers. The source's alignment value goes in the
// background's place and the alignment is none, whatever the source's colours:
// scaled bilevel results are read by their bits.
CImg1 *MakeTarget(unsigned width, unsigned height, ImgAlignmentEnum sourceAlignment) {
  return CImg1::create(width, height, static_cast<unsigned>(sourceAlignment), 0xFF000000u,
                       IMG_ALIGN_NONE);
}

// Walks the blocks of a width x height reduction, target rows in order, and calls
// block(t, j, rows, yRun, x, xRun) for target pixel (j, t), whose block starts at
// column x of `rows`. With firstRowOnly, rows is sure to hold the first row of each
// block only.
template <typename Block>
void ForEachBlock(const SourceRows &src, const RunTables &runs, uint32_t width, uint32_t height,
                  bool firstRowOnly, Block &&block) {
  const unsigned *colRuns = runs.cols.get();
  uint64_t y = 0;
  for (uint32_t t = 0; t < height; ++t) {
    const uint32_t yRun = runs.rows[y];
    src.withRows(y, firstRowOnly ? 1 : yRun, [&](const auto &rows) {
      uint64_t p = 0;
      for (uint32_t j = 0; j < width; ++j) {
        const uint32_t xRun = colRuns[p];
        block(t, j, rows, yRun, src.shift + p, xRun);
        p += xRun;
      }
    });
    y += yRun;
  }
}

// A bilevel reduction of `source` to width x height: the size test, the target and
// the run tables, then block(row, j, rows, yRun, x, xRun) for each target pixel,
// with `row` the pixel's target row. Null when the size does not fit or an
// allocation fails.
template <typename Block>
std::unique_ptr<CImg1> RunReduction(const SourceRows &src, const ImgRect &source, unsigned width,
                                    unsigned height, ImgAlignmentEnum sourceAlignment,
                                    bool firstRowOnly, Block &&block) {
  const uint32_t sw = source.getWidth();
  const uint32_t sh = source.getHeight();
  if (sw < width || sh < height) {
    return nullptr;
  }
  std::unique_ptr<CImg1> target(MakeTarget(width, height, sourceAlignment));
  RunTables runs;
  if (target == nullptr || !runs.make(sw, sh, width, height)) {
    return nullptr;
  }
  unsigned char *out = target->peekData();
  const uint64_t stride = target->getBytesPerLine();
  ForEachBlock(src, runs, width, height, firstRowOnly,
               [&](uint32_t t, uint32_t j, const auto &rows, uint32_t yRun, uint64_t x,
                   uint32_t xRun) { block(out + t * stride, j, rows, yRun, x, xRun); });
  return target;
}

}  // namespace

// ---------------------------------------------------------------------------
// Dispatch

IImg *CImg1::scale(double factor, ImgScaleAttr &attr) {
  return c2d::ScaleByFactor(*this, factor, attr);
}

IImg *CImg1::scale(const ImgRect &source, const ImgRect &target, ImgScaleAttr &attr) {
  return scale(source, target.getWidth(), target.getHeight(), attr);
}

IImg *CImg1::scale(const ImgRect &source, unsigned width, unsigned height, ImgScaleAttr &attr) {
  const unsigned sw = source.getWidth();
  const unsigned sh = source.getHeight();
  switch (ScaleHow(sw, sh, width, height)) {
    case IMG_SCALE_SAME: {
      // Called directly, so the copy is known to be a CImg1.
      auto *copy = static_cast<CImg1 *>(CImg1::getSubImage(source));
      if (copy == nullptr) {
        return nullptr;
      }
      // A scaled bilevel image always has background 0, the same size included.
      (void)calculateBackground();
      if (getBackgroundColor() == 1) {
        (void)copy->invert();
      }
      copy->setBackgroundColor(0);
      return copy;
    }
    case IMG_SCALE_ENLARGE:
      return Enlarge(width, height, source);
    case IMG_SCALE_REDUCE:
      if (attr.bitDepth == 32) {
        return Reduce_greyscale(width, height, source);
      }
      return Reduce_bkg(width, height, source);
    case IMG_SCALE_REDUCE_X_ENLARGE_Y:
      // Mixed requests grow first, with plain Enlarge whatever attr asks.
      return ScaleIntermediate(Enlarge(sw, height, source), width, height, attr);
    case IMG_SCALE_ENLARGE_X_REDUCE_Y:
      return ScaleIntermediate(Enlarge(width, sh, source), width, height, attr);
  }
  return nullptr;
}

// ---------------------------------------------------------------------------
// Workers. Failed table allocations give null and record nothing, like the other
// early exits of the workers.

CImg1 *CImg1::Enlarge(unsigned int width, unsigned int height, const ImgRect &source) {
  const uint32_t sw = source.getWidth();
  const uint32_t sh = source.getHeight();
  if (width < sw || height < sh) {
    return nullptr;
  }
  (void)calculateBackground();
  const bool inkIsClear = getBackgroundColor() == 1;
  // A side of 2^32 pixels wraps to 0.
  if (sw == 0 || sh == 0) {
    Report(IMG_INVALID_ARG);
    return nullptr;
  }
  std::unique_ptr<CImg1> target(MakeTarget(width, height, alignment));
  if (target == nullptr) {
    return nullptr;
  }
  RunTables runs;
  if (!runs.make(width, height, sw, sh)) {
    return nullptr;
  }
  const SourceRows src(data, totalBytes, bytesPerLine, source, sw);
  const unsigned *colRuns = runs.cols.get();
  const uint64_t stride = target->bytesPerLine;
  uint64_t r = 0;
  for (uint32_t y = 0; y < sh; ++y) {
    unsigned char *row = target->data + r * stride;
    src.withRows(y, 1, [&](const auto &rows) {
      uint32_t p = 0;
      for (uint32_t i = 0; i < sw; ++i) {
        const uint64_t c = src.shift + static_cast<uint64_t>(i);
        if (((rows(0, c >> 3) & BitMask(c)) != 0) != inkIsClear && colRuns[p] != 0) {
          c2d::SetBits(row, p, static_cast<uint64_t>(p) + colRuns[p]);
        }
        p += colRuns[p];
      }
    });
    const uint32_t run = runs.rows[r];
    for (uint32_t k = 1; k < run; ++k) {
      std::memmove(row + k * stride, row, static_cast<size_t>(stride));
    }
    r += run;
  }
  return target.release();
}

CImg1 *CImg1::Reduce(unsigned int width, unsigned int height, const ImgRect &source) {
  const SourceRows src(data, totalBytes, bytesPerLine, source, source.getWidth());
  return RunReduction(
             src, source, width, height, alignment, true,
             [](unsigned char *row, uint32_t j, const auto &rows, uint32_t, uint64_t x, uint32_t) {
               if ((rows(0, x >> 3) & BitMask(x)) != 0) {
                 c2d::SetBit(row, j);
               }
             })
      .release();
}

CImg1 *CImg1::Reduce_bkg(unsigned int width, unsigned int height, const ImgRect &source) {
  if (source.getWidth() < width || source.getHeight() < height) {
    return nullptr;
  }
  (void)calculateBackground();
  const unsigned background = getBackgroundColor();
  const uint8_t flip = background == 1 ? 0xFF : 0x00;
  const SourceRows src(data, totalBytes, bytesPerLine, source, source.getWidth());
  std::unique_ptr<CImg1> target =
      RunReduction(src, source, width, height, alignment, false,
                   [flip](unsigned char *row, uint32_t j, const auto &rows, uint32_t yRun,
                          uint64_t x, uint32_t xRun) {
                     if (BlockHasInk(rows, yRun, x, xRun, flip)) {
                       c2d::SetBit(row, j);
                     }
                   });
  if (target != nullptr) {
    // The source's colour, 1 included, although the result's ink is in set bits.
    target->setBackgroundColor(background);
  }
  return target.release();
}

CImg1 *CImg1::QuickReduce_bkg(unsigned int width, unsigned int height, ImgRect &source,
                              unsigned int background) {
  // With clear ink a hit clears a bit of a result that starts clear: the caller
  // was to have filled it.
  const uint8_t flip = background != 0 ? 0xFF : 0x00;
  const SourceRows src(data, totalBytes, bytesPerLine, source, source.getWidth());
  return RunReduction(src, source, width, height, alignment, true,
                      [flip](unsigned char *row, uint32_t j, const auto &rows, uint32_t, uint64_t x,
                             uint32_t xRun) {
                        if (!FirstRowHasInk(rows, x, xRun, flip)) {
                          return;
                        }
                        if (flip != 0) {
                          c2d::ClearBit(row, j);
                        } else {
                          c2d::SetBit(row, j);
                        }
                      })
      .release();
}

CImg32 *CImg1::Reduce_greyscale(unsigned int width, unsigned int height, const ImgRect &source) {
  const uint32_t sw = source.getWidth();
  const uint32_t sh = source.getHeight();
  if (sw < width || sh < height) {
    return nullptr;
  }
  (void)calculateBackground();
  const unsigned background = getBackgroundColor();
  // Made before the ratios, so that a zero side is refused (and reported) by the
  // factory rather than divided by.
  std::unique_ptr<CImg32> target(CImg32::create(width, height, RGB_ORDER_RGB));
  if (target == nullptr) {
    return nullptr;
  }
  const double xRatio = static_cast<double>(sw) / width;
  const double yRatio = static_cast<double>(sh) / height;
  const uint64_t xf = static_cast<uint64_t>(std::floor(xRatio));
  const uint64_t xc = static_cast<uint64_t>(std::ceil(xRatio));
  const uint64_t yf = static_cast<uint64_t>(std::floor(yRatio));
  const uint64_t yc = static_cast<uint64_t>(std::ceil(yRatio));
  // Runs take just the two lengths of each ratio, so these four tables serve every
  // block: maps[yRun is yf][xRun is xf], each of the block's area + 1 entries.
  c2d::MallocArray<unsigned char> maps[2][2];
  const uint64_t xs[2] = {xc, xf};
  const uint64_t ys[2] = {yc, yf};
  for (unsigned i = 0; i < 2; ++i) {
    for (unsigned j = 0; j < 2; ++j) {
      const uint64_t area = ys[i] * xs[j];
      // A block whose count would not index a 32-bit table cannot be mapped.
      if (area >= 0xFFFFFFFFu) {
        return nullptr;
      }
      unsigned char *table = nullptr;
      CreateGreyMapping(static_cast<unsigned>(area + 1), &table, 0);
      maps[i][j].reset(table);
      if (table == nullptr) {
        return nullptr;
      }
    }
  }
  RunTables runs;
  unsigned **out = target->peekDataArray();
  if (out == nullptr || !runs.make(sw, sh, width, height)) {
    return nullptr;
  }
  uint8_t bitCounts[256];
  for (unsigned i = 0; i < 256; ++i) {
    bitCounts[i] = static_cast<uint8_t>(kNibbleBits[i >> 4] + kNibbleBits[i & 0xFu]);
  }
  const bool inkIsClear = background == 1;
  const SourceRows src(data, totalBytes, bytesPerLine, source, sw);
  ForEachBlock(
      src, runs, width, height, false,
      [&](uint32_t t, uint32_t j, const auto &rows, uint32_t yRun, uint64_t x, uint32_t xRun) {
        uint32_t count = CountSetBits(rows, yRun, x, xRun, bitCounts);
        if (inkIsClear) {
          count = xRun * yRun - count;
        }
        assert(count <= xRun * yRun);
        const unsigned g = maps[yRun == yf ? 1 : 0][xRun == xf ? 1 : 0][count];
        out[t][j] = g | g << 8 | g << 16;
      });
  // Kept as it stands: a background of 1 records black, though empty blocks are white.
  // Only the recorded colour is off, never a pixel, and hosts may test for that value.
  target->setBackgroundColor(background != 0 ? 0u : 0xFFFFFFu);
  return target.release();
}
