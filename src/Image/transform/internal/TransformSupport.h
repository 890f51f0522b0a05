// Internal: what the mirrors and rotations of CImg1, CImg32 and CImg8 share. Each
// transform is written once here as a walk over pixel coordinates; a class supplies
// how to read a source pixel and write a target pixel, and its own factories.
#ifndef IMAGE_TRANSFORM_INTERNAL_TRANSFORMSUPPORT_H_
#define IMAGE_TRANSFORM_INTERNAL_TRANSFORMSUPPORT_H_

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "Image/core/internal/FreeDeleter.h"
#include "Image/core/IImg.h"
#include "Image/rasterop/RasOpEnum.h"

namespace c2d {

// The exact transforms, which move pixels without changing them.
enum class ExactTransform { kMirrorX, kMirrorY, kRotate180, kRotate90, kRotateMinus90 };

// Calls move(r, c, sr, sc) for every pixel (r, c) of the target, which takes source
// pixel (sr, sc); w and h are the source's sides. The target is w x h for the flips
// and the half turn, h x w for the quarter turns. Row 0 is on top, so rotate90 turns
// the picture counter-clockwise.
template <typename Move>
void ForEachExactPixel(ExactTransform how, uint32_t w, uint32_t h, Move &&move) {
  const auto walk = [](uint32_t rows, uint32_t cols, auto &&pixel) {
    for (uint32_t r = 0; r < rows; ++r) {
      for (uint32_t c = 0; c < cols; ++c) {
        pixel(r, c);
      }
    }
  };
  switch (how) {
    case ExactTransform::kMirrorX:
      walk(h, w, [&](uint32_t r, uint32_t c) { move(r, c, h - 1 - r, c); });
      break;
    case ExactTransform::kMirrorY:
      walk(h, w, [&](uint32_t r, uint32_t c) { move(r, c, r, w - 1 - c); });
      break;
    case ExactTransform::kRotate180:
      walk(h, w, [&](uint32_t r, uint32_t c) { move(r, c, h - 1 - r, w - 1 - c); });
      break;
    case ExactTransform::kRotate90:
      walk(w, h, [&](uint32_t r, uint32_t c) { move(r, c, c, w - 1 - r); });
      break;
    case ExactTransform::kRotateMinus90:
      walk(w, h, [&](uint32_t r, uint32_t c) { move(r, c, h - 1 - c, r); });
      break;
  }
}

enum class ShearAxis { kX, kY };

// Calls move(r, c, sr, sc) for every target pixel (r, c) a shear of a w x h image
// covers, from source pixel (sr, sc). kX moves row r by table[h - 1 - r] (the first
// entry belongs to the last row); kY moves column c up by table[c]. Pixels moved
// outside are dropped. The table must hold the larger of w and h entries.
template <typename Move>
void ForEachShearedPixel(ShearAxis axis, const int *table, uint32_t w, uint32_t h, Move &&move) {
  for (uint32_t r = 0; r < h; ++r) {
    if (axis == ShearAxis::kX) {
      const int64_t offset = table[h - 1 - r];
      // The columns x with 0 <= x + offset < w.
      const int64_t first = offset < 0 ? -offset : 0;
      const int64_t end = offset > 0 ? static_cast<int64_t>(w) - offset : w;
      for (int64_t x = first; x < end; ++x) {
        move(r, static_cast<uint32_t>(x + offset), r, static_cast<uint32_t>(x));
      }
    } else {
      for (uint32_t c = 0; c < w; ++c) {
        const int64_t d = static_cast<int64_t>(r) - table[c];
        if (d >= 0 && d < h) {
          move(static_cast<uint32_t>(d), c, r, c);
        }
      }
    }
  }
}

// Source pixels through a row table. Only the rows and pixels per row the table was
// built with are read; beyond them (extents grown by setExtents) a pixel reads as 0.
template <typename Pixel>
class RowReader {
 public:
  RowReader(const Pixel *const *rows, uint32_t height, uint32_t width)
      : rows_(rows), height_(rows != nullptr ? height : 0u), width_(width) {}
  Pixel operator()(uint32_t r, uint32_t c) const {
    return r < height_ && c < width_ ? rows_[r][c] : Pixel{0};
  }

 private:
  const Pixel *const *rows_;
  uint32_t height_;
  uint32_t width_;
};

// Target pixels through the row table of an image a factory has just made with the
// target's size, so every coordinate the walks above give is inside.
template <typename Pixel>
class RowWriter {
 public:
  explicit RowWriter(Pixel *const *rows) : rows_(rows) {}
  void operator()(uint32_t r, uint32_t c, Pixel value) const { rows_[r][c] = value; }

 private:
  Pixel *const *rows_;
};

// Fills target with the exact transform of source; a null target (the factory
// failed and has reported) is returned as it is. Access::Reader(source) and
// Access::Writer(source, target) give the pixel access of the class.
template <typename Access, typename Image>
Image *MoveExact(const Image &source, Image *target, ExactTransform how) {
  if (target != nullptr) {
    const auto read = Access::Reader(source);
    const auto write = Access::Writer(source, *target);
    ForEachExactPixel(
        how, source.getWidth(), source.getHeight(),
        [&](uint32_t r, uint32_t c, uint32_t sr, uint32_t sc) { write(r, c, read(sr, sc)); });
  }
  return target;
}

// Fills target, the source's size, with a shear of source. Pixels the shear leaves
// uncovered get what the class's fill form of doRasOpInPlace gives the source's
// background colour, and the target then takes that colour as its background.
template <typename Access, typename Image>
Image *MoveSheared(const Image &source, Image *target, ShearAxis axis, const int *table) {
  if (target == nullptr) {
    return nullptr;
  }
  target->doRasOpInPlace(Core2DImage::RasOpEnum::RasOpReplace, false, 0,
                         source.getBackgroundColor());
  const auto read = Access::Reader(source);
  const auto write = Access::Writer(source, *target);
  ForEachShearedPixel(
      axis, table, source.getWidth(), source.getHeight(),
      [&](uint32_t r, uint32_t c, uint32_t sr, uint32_t sc) { write(r, c, read(sr, sc)); });
  target->setBackgroundColor(source.getBackgroundColor());
  return target;
}

// mirror: a new image for IMG_MIR_X and IMG_MIR_Y, the image itself for anything else.
template <typename Image>
IImg *MirrorBy(Image &image, ImgMirT how, Image *(Image::*mirrorX)(), Image *(Image::*mirrorY)()) {
  if (how == IMG_MIR_X) {
    return (image.*mirrorX)();
  }
  if (how == IMG_MIR_Y) {
    return (image.*mirrorY)();
  }
  return &image;
}

// rotate after snap90: the exact angles compare exactly, and every other angle, NaN
// included, goes through the shears.
template <typename Image>
IImg *RotateSnapped(Image &image, double degrees, Image *(Image::*rotate90)(),
                    Image *(Image::*rotate180)(), Image *(Image::*rotateMinus90)(),
                    Image *(Image::*rotateGeneric)(double)) {
  if (degrees == 0.0) {
    return image.clone();
  }
  if (degrees == 90.0) {
    return (image.*rotate90)();
  }
  if (degrees == 180.0) {
    return (image.*rotate180)();
  }
  if (degrees == 270.0) {
    return (image.*rotateMinus90)();
  }
  return (image.*rotateGeneric)(degrees);
}

// rotateGeneric: a horizontal, a vertical and the same horizontal shear again, on a
// canvas of the source's size. Angles beyond a quarter turn are brought within it
// first (by a half turn above 90, by a whole one above 270), so no shear turns by
// more than 90 degrees for ordinary inputs. Null when an intermediate image or a
// table cannot be made; every temporary is freed on every path.
template <typename Image>
Image *RotateByShears(Image &image, double degrees, Image *(Image::*rotate180)(),
                      Image *(Image::*rotateShearX)(int *), Image *(Image::*rotateShearY)(int *)) {
  using Owned = std::unique_ptr<Image>;
  Image *base = &image;
  Owned turned;
  if (degrees > 270.0) {
    degrees += -360.0;
  } else if (degrees > 90.0) {
    turned.reset((image.*rotate180)());
    if (turned == nullptr) {
      return nullptr;
    }
    turned->setBackgroundColor(image.getBackgroundColor());
    base = turned.get();
    degrees += -180.0;
  }
  const double radians = degrees * 3.141592653589793 / 180.0;
  const MallocArray<int> yTable(image.makeRotationYShearRoth(radians));
  const MallocArray<int> xTable(image.makeRotationXShearRoth(radians));
  if (yTable == nullptr || xTable == nullptr) {
    return nullptr;
  }
  Owned first((base->*rotateShearX)(xTable.get()));
  turned.reset();
  if (first == nullptr) {
    return nullptr;
  }
  const Owned second((first.get()->*rotateShearY)(yTable.get()));
  first.reset();
  if (second == nullptr) {
    return nullptr;
  }
  return (second.get()->*rotateShearX)(xTable.get());
}

}  // namespace c2d

#endif  // IMAGE_TRANSFORM_INTERNAL_TRANSFORMSUPPORT_H_
