// Internal helpers of the raster scalers (scale/*Scale.cpp): the run tables of one
// call, the target side a scale factor asks for, the dispatch of the colour classes
// and the second step of a request that enlarges along one axis and reduces along
// the other.
#ifndef IMAGE_SCALE_INTERNAL_SCALESUPPORT_H_
#define IMAGE_SCALE_INTERNAL_SCALESUPPORT_H_

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>

#include "Image/core/internal/FreeDeleter.h"
#include "Image/core/IImg.h"
#include "Image/core/ImgEnums.h"
#include "Image/core/ImgRect.h"
#include "Image/core/internal/ImgReport.h"
#include "Image/scale/Rothstein.h"

struct ImgScaleAttr;

namespace c2d {

// The two run tables of one call, released on every path.
struct RunTables {
  MallocArray<unsigned int> rows;
  MallocArray<unsigned int> cols;

  // CreateRothTables with these sides; false when an allocation failed.
  bool make(unsigned longWidth, unsigned longHeight, unsigned shortWidth, unsigned shortHeight) {
    unsigned int *rowRuns = nullptr;
    unsigned int *colRuns = nullptr;
    CreateRothTables(&rowRuns, &colRuns, longWidth, longHeight, shortWidth, shortHeight);
    rows.reset(rowRuns);
    cols.reset(colRuns);
    return rowRuns != nullptr && colRuns != nullptr;
  }
};

// The walk of Enlarge over tables made by make(width, height, sw, sh): source row y
// becomes the target row its run starts at, each source pixel read(y, i) filling
// its run of columns, and that row is copied over the rest of its run of rows.
template <typename Pixel, typename Read>
void EnlargeByRuns(const RunTables &runs, Pixel *const *out, uint32_t sw, uint32_t sh,
                   uint32_t width, uint32_t height, Read &&read) {
  const unsigned int *colRuns = runs.cols.get();
  uint64_t r = 0;
  for (uint32_t y = 0; y < sh && r < height; ++y) {
    Pixel *row = out[r];
    uint64_t p = 0;
    for (uint32_t i = 0; i < sw && p < width; ++i) {
      const uint32_t run = colRuns[p];
      std::fill_n(row + p, run, read(y, i));
      p += run;
    }
    const uint32_t rowRun = runs.rows[r];
    for (uint32_t k = 1; k < rowRun; ++k) {
      std::memmove(out[r + k], row, sizeof(Pixel) * width);
    }
    r += rowRun;
  }
}

// Walks the blocks of a reduction to width x height, with tables made by
// make(sw, sh, width, height), target rows in order: block(t, j, y, x, yRun, xRun)
// for target pixel (j, t), whose block of yRun x xRun source pixels starts at source
// row y and column x, counted from the source rectangle's corner.
template <typename Block>
void ForEachReducedBlock(const RunTables &runs, uint32_t width, uint32_t height, Block &&block) {
  const unsigned int *rowRuns = runs.rows.get();
  const unsigned int *colRuns = runs.cols.get();
  uint64_t y = 0;
  for (uint32_t t = 0; t < height; ++t) {
    const uint32_t yRun = rowRuns[y];
    uint64_t x = 0;
    for (uint32_t j = 0; j < width; ++j) {
      const uint32_t xRun = colRuns[x];
      block(t, j, y, x, yRun, xRun);
      x += xRun;
    }
    y += yRun;
  }
}

// The opening tests of Enlarge: false for a target smaller than the source on either
// side, with nothing recorded, and for a zero source side (a side of 2^32 pixels
// wraps to 0), with IMG_INVALID_ARG recorded.
inline bool MayEnlarge(uint32_t sw, uint32_t sh, unsigned width, unsigned height) {
  if (width < sw || height < sh) {
    return false;
  }
  if (sw == 0 || sh == 0) {
    Report(IMG_INVALID_ARG);
    return false;
  }
  return true;
}

// ceil(side * factor) as a side. NaN gives 0 and sides beyond 32 bits saturate, so
// that no conversion is undefined.
inline unsigned ScaledSide(unsigned side, double factor) {
  const double scaled = std::ceil(static_cast<double>(side) * factor);
  if (!(scaled > 0.0)) {
    return 0;
  }
  return scaled >= 4294967295.0 ? 0xFFFFFFFFu : static_cast<unsigned>(scaled);
}

// The opening test of every scale of the classes whose pixels come on demand: false,
// with IMG_FAIL recorded, for an image without them.
inline bool HasPixelsToScale(const IImg &image) {
  if (image.hasData()) {
    return true;
  }
  Report(IMG_FAIL);
  return false;
}

// scale(factor, attr): the image's own rectangle to ceil(side * factor) on each
// side, through the image's third overload. A negative factor gives null, with
// nothing recorded.
template <typename Image>
IImg *ScaleByFactor(Image &image, double factor, ImgScaleAttr &attr) {
  if (factor < 0.0) {
    return nullptr;
  }
  const ImgRect whole = image.getRect();
  const unsigned height = ScaledSide(whole.getHeight(), factor);
  const unsigned width = ScaledSide(whole.getWidth(), factor);
  return image.scale(whole, width, height, attr);
}

// Second step of a mixed request: the intermediate (owned, may be null) is scaled
// as a whole image through the virtual overload, then deleted.
template <typename Image>
IImg *ScaleIntermediate(Image *intermediate, unsigned width, unsigned height, ImgScaleAttr &attr) {
  if (intermediate == nullptr) {
    return nullptr;
  }
  const std::unique_ptr<Image> owned(intermediate);
  const ImgRect whole = owned->getRect();
  return owned->scale(whole, width, height, attr);
}

// A worker behind scale: a new image of width x height from `source`.
template <typename Image>
using ScaleWorker = Image *(Image::*)(unsigned int, unsigned int, const ImgRect &);

// The dispatch of scale(source, width, height, attr) in CImg32 and CImg8, after each
// class's own tests, by `how` (ScaleHow of the source's sides against the target's):
// the same size is a copy of `source`, both axes growing go to `enlarge` and both
// shrinking to `reduce`. A mixed request grows first, with plain Enlarge whatever attr
// asks, along the axis that enlarges; that intermediate is then scaled as a whole.
template <typename Image>
IImg *DispatchScale(Image &image, ImageScaleType how, const ImgRect &source, unsigned width,
                    unsigned height, ImgScaleAttr &attr, ScaleWorker<Image> enlarge,
                    ScaleWorker<Image> reduce, ScaleWorker<Image> plainEnlarge) {
  const unsigned sw = source.getWidth();
  const unsigned sh = source.getHeight();
  switch (how) {
    case IMG_SCALE_SAME:
      return image.getSubImage(source);
    case IMG_SCALE_ENLARGE:
      return (image.*enlarge)(width, height, source);
    case IMG_SCALE_REDUCE:
      return (image.*reduce)(width, height, source);
    case IMG_SCALE_REDUCE_X_ENLARGE_Y:
      return ScaleIntermediate((image.*plainEnlarge)(sw, height, source), width, height, attr);
    case IMG_SCALE_ENLARGE_X_REDUCE_Y:
      return ScaleIntermediate((image.*plainEnlarge)(width, sh, source), width, height, attr);
  }
  return nullptr;
}

}  // namespace c2d

#endif  // IMAGE_SCALE_INTERNAL_SCALESUPPORT_H_
