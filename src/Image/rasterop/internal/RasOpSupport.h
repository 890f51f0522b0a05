// Internal: what the raster operators and composite of the raster classes share:
// the source check of the dispatchers, the copying dispatchers and the row copy of
// CImg32 and CImg8, the placement test of the workers and the hand-over of
// composite settings.
#ifndef IMAGE_RASTEROP_INTERNAL_RASOPSUPPORT_H_
#define IMAGE_RASTEROP_INTERNAL_RASOPSUPPORT_H_

#include <algorithm>
#include <cstring>

#include "Image/ImgErr.h"
#include "Image/core/IImg.h"
#include "Image/core/internal/ImgReport.h"

class CompositeAttr;
class RasOpXfmAttr;
class RasterOp;

namespace c2d {

// The source of an operator as the class `type` names, or null after recording
// IMG_INVALID_ARG: operators never convert. An image of the right type but another
// class (a rendered document says 32 bits) is refused the same way.
template <class Image>
const Image *SourceOfType(const IImg &source, ImageType type) {
  // getType is not const in the interface, though it changes nothing.
  const Image *raster =
      const_cast<IImg &>(source).getType() == type ? dynamic_cast<const Image *>(&source) : nullptr;
  if (raster == nullptr) {
    Report(IMG_INVALID_ARG);
  }
  return raster;
}

// True for the five operator values; any other value selects no worker.
bool IsRasOp(Core2DImage::RasOpEnum::RasOp op);

// doRasOp's fill form in the classes that know one operator, set, and run it for
// every operator value: fill(copy) on the copy (owned by the caller), and what the
// worker records stays. A copy that could not be made records IMG_FAIL.
template <class Image, class Fill>
IImg *FillCopy(Image *copy, Core2DImage::RasOpEnum::RasOp op, Fill &&fill) {
  if (copy == nullptr) {
    Report(IMG_FAIL);
    return nullptr;
  }
  if (IsRasOp(op)) {
    (void)fill(copy);
  }
  return copy;
}

// doRasOp's source form in those classes: the source is checked by SourceOfType
// before makeCopy() runs, then place(copy, source) as above. A copy that could not
// be made gives null with what its factory recorded.
template <class Image, class MakeCopy, class Place>
IImg *PlaceOnCopy(const IImg &source, ImageType type, Core2DImage::RasOpEnum::RasOp op,
                  MakeCopy &&makeCopy, Place &&place) {
  const Image *raster = SourceOfType<Image>(source, type);
  if (raster == nullptr) {
    return nullptr;
  }
  Image *copy = makeCopy();
  if (copy != nullptr && IsRasOp(op)) {
    (void)place(copy, *raster);
  }
  return copy;
}

// How many of a source's `extent` rows (or pixels) the source form of set writes: no
// more than the source's table was built with (`held`), nor than the target's
// (`targetHeld`) from `offset` on.
inline unsigned SetSpan(unsigned extent, unsigned held, unsigned targetHeld, unsigned offset) {
  return std::min({extent, held, targetHeld > offset ? targetHeld - offset : 0u});
}

// The row copy of the source form of set: source row y onto target row top + y from
// pixel `left` on, `pixels` long, through the row tables, so that views write into
// their parents' rows. With `keyed`, pixels equal to `key` are skipped.
template <typename Pixel>
void SetRows(Pixel *const *target, const Pixel *const *source, unsigned top, unsigned left,
             unsigned rows, unsigned pixels, bool keyed, Pixel key) {
  for (unsigned y = 0; y < rows; ++y) {
    Pixel *dst = target[top + y] + left;
    const Pixel *src = source[y];
    if (keyed) {
      for (unsigned x = 0; x < pixels; ++x) {
        if (src[x] != key) {
          dst[x] = src[x];
        }
      }
    } else {
      std::memmove(dst, src, sizeof(Pixel) * pixels);
    }
  }
}

// IMG_INVALID_ARG, unrecorded, unless target is not null and the whole source fits
// in it with its first pixel at (attr.left, attr.top): nothing is clipped. IMG_OK
// otherwise.
[[nodiscard]] ImgErr CheckPlacement(const IImg *target, const RasOpXfmAttr &attr,
                                    const IImg &source);

// The checks of the source-form workers of CImg32 and CImg8, in order: placement
// (IMG_INVALID_ARG, unrecorded), a source with data (IMG_FALSE, recorded), and a
// target with data, made by forceDataInit if need be (else the code initData
// recorded). IMG_OK when the rows may be written.
[[nodiscard]] ImgErr ReadyToSet(IImg *target, const RasOpXfmAttr &attr, const IImg &source);

// composite of CImg32 and CImg8: copies attr into `settings` and runs
// settings.Over(destination, source).
ImgErr Composite(RasterOp &settings, const CompositeAttr &attr, IImg &destination,
                 const IImg &source);

}  // namespace c2d

#endif  // IMAGE_RASTEROP_INTERNAL_RASOPSUPPORT_H_
