// CImg32's scaling: the three scale overloads and the workers behind them. The
// sampling workers walk Rothstein run tables, one target pixel per block of source
// pixels; EnlargeResample interpolates with a cubic kernel instead.
#include <algorithm>
#include <cassert>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "Image/core/internal/FreeDeleter.h"
#include "Image/core/internal/ImgReport.h"
#include "Image/raster/CImg32.h"
#include "Image/scale/ImgScaleAttr.h"
#include "Image/scale/internal/ScaleSupport.h"

using c2d::EnlargeByRuns;
using c2d::ForEachReducedBlock;
using c2d::HasPixelsToScale;
using c2d::Report;
using c2d::RunTables;
using c2d::ScaleByFactor;

namespace {

// Channel c of a pixel is its byte c in memory, whatever the byte order says.
unsigned Channel(const unsigned &pixel, unsigned c) {
  return reinterpret_cast<const unsigned char *>(&pixel)[c];
}

// The four taps of cubic convolution with parameter -1 at one position: the
// neighbours before, at, and two after it, and their weights.
struct Taps {
  uint32_t at[4];
  double weight[4];
};

// Taps at `pos` pixels past `origin`, neighbours capped at `last`. The fourth
// weight is t^3 - t^2: adding it is exactly subtracting t^2 - t^3.
Taps MakeTaps(double pos, uint32_t origin, uint32_t last) {
  const uint64_t whole = static_cast<uint64_t>(pos);
  const double t = pos - static_cast<double>(whole);
  const double t2 = t * t;
  const double t3 = t2 * t;
  // Capped for safety only: a position inside the source never passes `last`.
  const uint32_t i = static_cast<uint32_t>(std::min<uint64_t>(origin + whole, last));
  Taps taps;
  taps.at[0] = i == 0 ? 0 : i - 1;
  taps.at[1] = i;
  taps.at[2] = std::min(i + 1, last);
  taps.at[3] = std::min(i + 2, last);
  taps.weight[0] = t2 - t + t2 - t3;
  taps.weight[1] = 1.0 - (t2 + t2) + t3;
  taps.weight[2] = t2 + t - t3;
  taps.weight[3] = t3 - t2;
  return taps;
}

// Horizontal passes of source rows, three channels per target column, kept for
// the four rows a target row needs: a source row is filtered once however many
// target rows use it.
class FilteredRows {
 public:
  FilteredRows(const unsigned *const *rows, const Taps *columns, uint32_t width)
      : rows_(rows), columns_(columns), width_(width) {}

  bool allocate() {
    const size_t length = static_cast<size_t>(width_) * 3;
    sums_.reset(static_cast<double *>(std::malloc(sizeof(double) * length * kSlots)));
    for (unsigned s = 0; s < kSlots; ++s) {
      held_[s] = kNone;
      slot_[s] = sums_ != nullptr ? sums_.get() + s * length : nullptr;
    }
    return sums_ != nullptr;
  }

  // Points line[k] at the filtered source row taps.at[k], for k = 0..3.
  void get(const Taps &taps, const double *line[4]) {
    bool used[kSlots] = {};
    int slotOf[4] = {-1, -1, -1, -1};
    for (unsigned k = 0; k < 4; ++k) {
      slotOf[k] = find(taps.at[k]);
      if (slotOf[k] >= 0) {
        used[slotOf[k]] = true;
      }
    }
    for (unsigned k = 0; k < 4; ++k) {
      if (slotOf[k] < 0) {
        // Found now if an earlier tap of this call filled it.
        slotOf[k] = find(taps.at[k]);
      }
      if (slotOf[k] < 0) {
        // Four taps and four slots: a slot no tap of this row holds is always free.
        unsigned s = 0;
        while (s + 1 < kSlots && used[s]) {
          ++s;
        }
        filter(taps.at[k], slot_[s]);
        held_[s] = taps.at[k];
        slotOf[k] = static_cast<int>(s);
      }
      used[slotOf[k]] = true;
      line[k] = slot_[slotOf[k]];
    }
  }

 private:
  static constexpr unsigned kSlots = 4;
  static constexpr uint64_t kNone = ~0ull;

  int find(uint32_t row) const {
    for (unsigned s = 0; s < kSlots; ++s) {
      if (held_[s] == row) {
        return static_cast<int>(s);
      }
    }
    return -1;
  }

  // Sums added from the left tap to the right, per channel.
  void filter(uint32_t row, double *out) const {
    const unsigned *in = rows_[row];
    for (uint32_t x = 0; x < width_; ++x) {
      const Taps &c = columns_[x];
      for (unsigned ch = 0; ch < 3; ++ch) {
        out[3 * static_cast<size_t>(x) + ch] =
            Channel(in[c.at[0]], ch) * c.weight[0] + Channel(in[c.at[1]], ch) * c.weight[1] +
            Channel(in[c.at[2]], ch) * c.weight[2] + Channel(in[c.at[3]], ch) * c.weight[3];
      }
    }
  }

  const unsigned *const *rows_;
  const Taps *columns_;
  uint32_t width_;
  c2d::MallocArray<double> sums_;
  double *slot_[kSlots] = {};
  uint64_t held_[kSlots] = {};
};

// The frame of the reductions: the run tables from the source's size to the
// target's (owned, may be null), then pixel(out, rows, x, yRun, xRun) for each
// target pixel, whose block starts at rows[0][x]. Null when the target or a table
// is missing.
template <typename Pixel>
CImg32 *RunReduction(CImg32 *made, const ImgRect &source, const unsigned *const *data,
                     Pixel &&pixel) {
  std::unique_ptr<CImg32> target(made);
  RunTables runs;
  if (target == nullptr ||
      !runs.make(source.getWidth(), source.getHeight(), target->getWidth(), target->getHeight())) {
    return nullptr;
  }
  const unsigned *const *rows = data + std::min(source.top, source.bottom);
  const uint64_t left = std::min(source.left, source.right);
  unsigned *const *out = target->peekDataArray();
  ForEachReducedBlock(runs, target->getWidth(), target->getHeight(),
                      [&](uint32_t t, uint32_t j, uint64_t y, uint64_t x, uint32_t yRun,
                          uint32_t xRun) { pixel(out[t] + j, rows + y, left + x, yRun, xRun); });
  return target.release();
}

uint8_t ClampToByte(double v) {
  // Cut toward zero first, then clamped: overshoot at hard edges does not wrap.
  const int value = static_cast<int>(v);
  return static_cast<uint8_t>(std::min(255, std::max(0, value)));
}

// sum / count as signed 32-bit values, cut toward zero. A block has fewer than 2^30
// pixels (an image holds fewer than 2^32 bytes), so count, at most three times
// that, is neither 0 nor -1 as a signed value.
uint8_t SignedQuotient(uint32_t sum, uint32_t count) {
  const int32_t divisor = static_cast<int32_t>(count);
  assert(divisor != 0 && divisor != -1);
  return static_cast<uint8_t>(static_cast<int32_t>(sum) / divisor);
}

}  // namespace

// ---------------------------------------------------------------------------
// Dispatch

IImg *CImg32::scale(double factor, ImgScaleAttr &attr) {
  // Pixels are looked for before the factor.
  return HasPixelsToScale(*this) ? ScaleByFactor(*this, factor, attr) : nullptr;
}

IImg *CImg32::scale(const ImgRect &source, const ImgRect &target, ImgScaleAttr &attr) {
  if (!HasPixelsToScale(*this)) {
    return nullptr;
  }
  return scale(source, target.getWidth(), target.getHeight(), attr);
}

IImg *CImg32::scale(const ImgRect &source, unsigned width, unsigned height, ImgScaleAttr &attr) {
  if (!HasPixelsToScale(*this)) {
    return nullptr;
  }
  // Only the part of `source` over the image is scaled. The image is bounded by the
  // buffer as well, should setExtents have grown it past its pixels.
  const ImgRect pixels(std::min(getWidth(), AllocatedPixelsPerRow()),
                       std::min(getHeight(), AllocatedRows()));
  ImgRect clipped;
  if (!pixels.intersects(source, clipped)) {
    Report(IMG_INVALID_ARG);
    return nullptr;
  }
  const ImageScaleType how = ScaleHow(clipped.getWidth(), clipped.getHeight(), width, height);
  return c2d::DispatchScale(*this, how, clipped, width, height, attr,
                            attr.resample ? &CImg32::EnlargeResample : &CImg32::Enlarge,
                            attr.resample ? &CImg32::ReduceResample : &CImg32::Reduce_bkg,
                            &CImg32::Enlarge);
}

// ---------------------------------------------------------------------------
// Workers. Failed table allocations give null and record nothing, like the other
// early exits.

CImg32 *CImg32::Enlarge(unsigned int width, unsigned int height, const ImgRect &source) {
  const uint32_t sw = source.getWidth();
  const uint32_t sh = source.getHeight();
  if (!c2d::MayEnlarge(sw, sh, width, height)) {
    return nullptr;
  }
  assert(dataArray != nullptr);
  std::unique_ptr<CImg32> target(_create(width, height, rgbOrder));
  RunTables runs;
  if (target == nullptr || !runs.make(width, height, sw, sh)) {
    return nullptr;
  }
  const unsigned *const *rows = dataArray + std::min(source.top, source.bottom);
  const uint32_t left = std::min(source.left, source.right);
  EnlargeByRuns(runs, target->dataArray, sw, sh, width, height,
                [rows, left](uint32_t y, uint32_t i) { return rows[y][left + i]; });
  target->backgroundColor = backgroundColor;
  target->backgroundState = backgroundState;
  return target.release();
}

CImg32 *CImg32::EnlargeResample(unsigned int width, unsigned int height, const ImgRect &source) {
  const uint32_t sw = source.getWidth();
  const uint32_t sh = source.getHeight();
  if (width < sw || height < sh || sw == 0 || sh == 0) {
    Report(IMG_INVALID_ARG);
    return nullptr;
  }
  assert(dataArray != nullptr);
  std::unique_ptr<CImg32> target(_create(width, height, rgbOrder));
  if (target == nullptr) {
    return nullptr;
  }
  // Neighbours come from the whole image, as far as its buffer reaches, so a source
  // that ends inside the image blends with the pixels beyond it.
  const uint32_t lastRow = std::min(getHeight(), AllocatedRows()) - 1;
  const uint32_t lastCol = std::min(getWidth(), AllocatedPixelsPerRow()) - 1;
  const double rx = static_cast<double>(sw) / width;
  const double ry = static_cast<double>(sh) / height;
  const uint32_t left = std::min(source.left, source.right);
  const uint32_t top = std::min(source.top, source.bottom);

  // The column taps are the same on every row.
  c2d::MallocArray<Taps> columns(static_cast<Taps *>(std::malloc(sizeof(Taps) * width)));
  FilteredRows filtered(dataArray, columns.get(), width);
  if (columns == nullptr || !filtered.allocate()) {
    return nullptr;
  }
  for (uint32_t x = 0; x < width; ++x) {
    columns.get()[x] = MakeTaps(x * rx, left, lastCol);
  }
  for (uint32_t y = 0; y < height; ++y) {
    const Taps rowTaps = MakeTaps(y * ry, top, lastRow);
    const double *line[4];
    filtered.get(rowTaps, line);
    const double *w = rowTaps.weight;
    unsigned *out = target->dataArray[y];
    for (uint32_t x = 0; x < width; ++x) {
      const size_t i = 3 * static_cast<size_t>(x);
      // Channel 3 is not computed: it is left 0.
      unsigned char bytes[4] = {0, 0, 0, 0};
      for (unsigned ch = 0; ch < 3; ++ch) {
        bytes[ch] = ClampToByte(line[1][i + ch] * w[1] + line[0][i + ch] * w[0] +
                                line[2][i + ch] * w[2] + line[3][i + ch] * w[3] + 0.5);
      }
      std::memcpy(out + x, bytes, sizeof(bytes));
    }
  }
  target->backgroundColor = backgroundColor;
  target->backgroundState = backgroundState;
  return target.release();
}

CImg32 *CImg32::Reduce(unsigned int width, unsigned int height, const ImgRect &source) {
  if (source.getWidth() < width || source.getHeight() < height) {
    return nullptr;
  }
  assert(dataArray != nullptr);
  CImg32 *target = RunReduction(_create(width, height, rgbOrder), source, dataArray,
                                [](unsigned *out, const unsigned *const *rows, uint64_t x, uint32_t,
                                   uint32_t) { *out = rows[0][x]; });
  if (target != nullptr) {
    target->backgroundColor = backgroundColor;
    target->backgroundState = backgroundState;
  }
  return target;
}

CImg32 *CImg32::ReduceResample(unsigned int width, unsigned int height, const ImgRect &source) {
  if (source.getWidth() < width || source.getHeight() < height) {
    return nullptr;
  }
  assert(dataArray != nullptr);
  (void)calculateBackground();
  const unsigned background = backgroundColor;
  CImg32 *target = RunReduction(_create(width, height, rgbOrder), source, dataArray,
                                [background](unsigned *out, const unsigned *const *rows, uint64_t x,
                                             uint32_t yRun, uint32_t xRun) {
                                  uint32_t count = yRun * xRun;
                                  uint32_t sum[3] = {0, 0, 0};
                                  for (uint32_t r = 0; r < yRun; ++r) {
                                    const unsigned *in = rows[r] + x;
                                    for (uint32_t i = 0; i < xRun; ++i) {
                                      // A pixel other than the background counts three times.
                                      const uint32_t weight = in[i] != background ? 3 : 1;
                                      sum[0] += weight * Channel(in[i], 0);
                                      sum[1] += weight * Channel(in[i], 1);
                                      sum[2] += weight * Channel(in[i], 2);
                                      count += weight - 1;
                                    }
                                  }
                                  // Channel 3 is not written.
                                  auto *bytes = reinterpret_cast<unsigned char *>(out);
                                  for (unsigned ch = 0; ch < 3; ++ch) {
                                    bytes[ch] = SignedQuotient(sum[ch], count);
                                  }
                                });
  if (target != nullptr) {
    target->backgroundColor = backgroundColor;
    target->backgroundState = backgroundState;
  }
  return target;
}

CImg32 *CImg32::Reduce_bkg(unsigned int width, unsigned int height, const ImgRect &source) {
  if (source.getWidth() < width || source.getHeight() < height) {
    return nullptr;
  }
  assert(dataArray != nullptr);
  const unsigned background = calculateBackground();
  CImg32 *target = RunReduction(_create(width, height, rgbOrder), source, dataArray,
                                [background](unsigned *out, const unsigned *const *rows, uint64_t x,
                                             uint32_t yRun, uint32_t xRun) {
                                  const unsigned first = rows[0][x];
                                  *out = first;
                                  if (first != background || (yRun == 1 && xRun == 1)) {
                                    return;
                                  }
                                  // Only the main diagonal is looked at, a cheap test: ink off it
                                  // is lost.
                                  const uint32_t steps = std::min(yRun, xRun);
                                  for (uint32_t k = 1; k < steps; ++k) {
                                    if (rows[k][x + k] != background) {
                                      *out = rows[k][x + k];
                                      return;
                                    }
                                  }
                                });
  if (target != nullptr) {
    target->backgroundColor = backgroundColor;
    target->backgroundState = backgroundState;
  }
  return target;
}
