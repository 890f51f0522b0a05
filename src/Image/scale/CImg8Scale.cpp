// CImg8's scaling: the three scale overloads and the workers behind them. Palette
// indices cannot be mixed, so every worker samples: it walks Rothstein run tables,
// one target pixel per block of source pixels.
#include <algorithm>
#include <cstdint>
#include <memory>

#include "Image/raster/CImg8.h"
#include "Image/scale/ImgScaleAttr.h"
#include "Image/scale/internal/ScaleSupport.h"

using c2d::EnlargeByRuns;
using c2d::ForEachReducedBlock;
using c2d::HasPixelsToScale;
using c2d::RunTables;
using c2d::ScaleByFactor;

namespace {

// The pixels of a source rectangle taken as it stands. Pixel (x, y) lies x bytes
// past the start of image row top + y, counted from the left edge, so a rectangle
// past the right edge reads on into the next row as the rows lie in the buffer.
// Rows past the row table, and bytes past what the buffer holds, read as 0.
class SourceBytes {
 public:
  // rows: the row table of an image of totalBytes in rows of bytesPerLine (null
  // without pixels); reach: the bytes from its first row on that lie in the buffer.
  SourceBytes(const unsigned char *const *rows, uint32_t bytesPerLine, uint32_t totalBytes,
              uint64_t reach, const ImgRect &source)
      : rows_(rows),
        rowCount_(rows == nullptr || bytesPerLine == 0 ? 0 : totalBytes / bytesPerLine),
        reach_(reach),
        left_(source.left),
        top_(source.top) {}

  // Where source row y starts, counted from the buffer's first byte; reach when the
  // row is not in the table, so that all its pixels read as 0.
  uint64_t rowStart(uint64_t y) const {
    const uint64_t r = top_ + y;
    return r < rowCount_ ? static_cast<uint64_t>(rows_[r] - rows_[0]) + left_ : reach_;
  }

  unsigned char at(uint64_t rowStart, uint64_t x) const {
    const uint64_t offset = rowStart + x;
    // SAFETY: the reach bytes from the first row's start lie in the buffer.
    return offset < reach_ ? rows_[0][offset] : 0;
  }

 private:
  const unsigned char *const *rows_;
  uint64_t rowCount_;
  uint64_t reach_;
  uint64_t left_;
  uint64_t top_;
};

// The frame of the reductions: the run tables from the source's size to the
// target's (owned, may be null), then the target pixel pixel(y, x, yRun, xRun) of
// each block, whose corner is source pixel (x, y). Null when the target or a table
// is missing.
template <typename Pixel>
CImg8 *RunReduction(CImg8 *made, const ImgRect &source, Pixel &&pixel) {
  std::unique_ptr<CImg8> target(made);
  RunTables runs;
  if (target == nullptr ||
      !runs.make(source.getWidth(), source.getHeight(), target->getWidth(), target->getHeight())) {
    return nullptr;
  }
  unsigned char *const *out = target->peekDataArray();
  ForEachReducedBlock(runs, target->getWidth(), target->getHeight(),
                      [&](uint32_t t, uint32_t j, uint64_t y, uint64_t x, uint32_t yRun,
                          uint32_t xRun) { out[t][j] = pixel(y, x, yRun, xRun); });
  return target.release();
}

}  // namespace

// ---------------------------------------------------------------------------
// Dispatch

IImg *CImg8::scale(double factor, ImgScaleAttr &attr) {
  // Pixels are looked for before the factor.
  return HasPixelsToScale(*this) ? ScaleByFactor(*this, factor, attr) : nullptr;
}

IImg *CImg8::scale(const ImgRect &source, const ImgRect &target, ImgScaleAttr &attr) {
  if (!HasPixelsToScale(*this)) {
    return nullptr;
  }
  return scale(source, target.getWidth(), target.getHeight(), attr);
}

IImg *CImg8::scale(const ImgRect &source, unsigned width, unsigned height, ImgScaleAttr &attr) {
  if (!HasPixelsToScale(*this)) {
    return nullptr;
  }
  // Unlike CImg32, the rectangle is not clipped: the workers read it as it stands.
  const ImageScaleType how = ScaleHow(source.getWidth(), source.getHeight(), width, height);
  return c2d::DispatchScale(*this, how, source, width, height, attr, &CImg8::Enlarge,
                            &CImg8::Reduce_bkg, &CImg8::Enlarge);
}

// ---------------------------------------------------------------------------
// Workers. Failed table allocations give null and record nothing, like the other
// early exits. Results keep the unknown background of a new image.

CImg8 *CImg8::Enlarge(unsigned int width, unsigned int height, const ImgRect &source) {
  const uint32_t sw = source.getWidth();
  const uint32_t sh = source.getHeight();
  if (!c2d::MayEnlarge(sw, sh, width, height)) {
    return nullptr;
  }
  std::unique_ptr<CImg8> target(_create(width, height, colorMap, alignment));
  RunTables runs;
  if (target == nullptr || !runs.make(width, height, sw, sh)) {
    return nullptr;
  }
  const SourceBytes src(dataArray, bytesPerLine, totalBytes, ReachableBytes(), source);
  // Each run of one index is a single byte fill.
  EnlargeByRuns(runs, target->dataArray, sw, sh, width, height,
                [&src](uint32_t y, uint32_t i) { return src.at(src.rowStart(y), i); });
  return target.release();
}

CImg8 *CImg8::Reduce(unsigned int width, unsigned int height, const ImgRect &source) {
  if (source.getWidth() < width || source.getHeight() < height) {
    return nullptr;
  }
  const SourceBytes src(dataArray, bytesPerLine, totalBytes, ReachableBytes(), source);
  return RunReduction(
      _create(width, height, colorMap, alignment), source,
      [&src](uint64_t y, uint64_t x, uint32_t, uint32_t) { return src.at(src.rowStart(y), x); });
}

CImg8 *CImg8::Reduce_bkg(unsigned int width, unsigned int height, const ImgRect &source) {
  if (source.getWidth() < width || source.getHeight() < height) {
    return nullptr;
  }
  const unsigned background = calculateBackground();
  const SourceBytes src(dataArray, bytesPerLine, totalBytes, ReachableBytes(), source);
  return RunReduction(_create(width, height, colorMap, alignment), source,
                      [&src, background](uint64_t y, uint64_t x, uint32_t yRun, uint32_t xRun) {
                        const unsigned char first = src.at(src.rowStart(y), x);
                        if (first != background || (yRun == 1 && xRun == 1)) {
                          return first;
                        }
                        // Only the main diagonal is looked at: ink off it is lost.
                        const uint32_t steps = std::min(yRun, xRun);
                        for (uint32_t k = 1; k < steps; ++k) {
                          const unsigned char pixel = src.at(src.rowStart(y + k), x + k);
                          if (pixel != background) {
                            return pixel;
                          }
                        }
                        return first;
                      });
}
