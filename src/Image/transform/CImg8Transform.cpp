// CImg8's mirrors and rotations: the exact flips and quarter turns, and rotation by
// any angle through three shears. Indices move as they are; the palette goes with
// them.
#include <cstdint>

#include "Image/core/internal/ImgReport.h"
#include "Image/raster/CImg8.h"
#include "Image/transform/internal/TransformSupport.h"

using c2d::ExactTransform;
using c2d::Report;
using c2d::ShearAxis;

namespace {

// Pixels through the row tables; a source is read only where its table reaches.
struct Pixels8 {
  static c2d::RowReader<unsigned char> Reader(const CImg8 &image) {
    const uint32_t line = image.getBytesPerLine();
    return {image.constDataArray(), line == 0 ? 0u : image.getTotalBytes() / line,
            line - image.getPadBytes()};
  }
  static c2d::RowWriter<unsigned char> Writer(const CImg8 & /*source*/, CImg8 &target) {
    return c2d::RowWriter<unsigned char>(target.peekDataArray());
  }
};

}  // namespace

IImg *CImg8::mirror(ImgMirT how) {
  if (!hasData()) {
    Report(IMG_FAIL);
    return nullptr;
  }
  return c2d::MirrorBy(*this, how, &CImg8::mirrorX, &CImg8::mirrorY);
}

IImg *CImg8::rotate(double degrees) {
  if (!hasData()) {
    Report(IMG_FAIL);
    return nullptr;
  }
  snap90(degrees, 0.001);
  return c2d::RotateSnapped(*this, degrees, &CImg8::rotate90, &CImg8::rotate180,
                            &CImg8::rotateMinus90, &CImg8::rotateGeneric);
}

CImg8 *CImg8::transformTarget(unsigned w, unsigned h) { return _create(w, h, colorMap, alignment); }

CImg8 *CImg8::mirrorX() {
  return c2d::MoveExact<Pixels8>(*this, transformTarget(getWidth(), getHeight()),
                                 ExactTransform::kMirrorX);
}

CImg8 *CImg8::mirrorY() {
  return c2d::MoveExact<Pixels8>(*this, transformTarget(getWidth(), getHeight()),
                                 ExactTransform::kMirrorY);
}

CImg8 *CImg8::rotate90() {
  return c2d::MoveExact<Pixels8>(*this, transformTarget(getHeight(), getWidth()),
                                 ExactTransform::kRotate90);
}

CImg8 *CImg8::rotate180() {
  return c2d::MoveExact<Pixels8>(*this, transformTarget(getWidth(), getHeight()),
                                 ExactTransform::kRotate180);
}

CImg8 *CImg8::rotateMinus90() {
  return c2d::MoveExact<Pixels8>(*this, transformTarget(getHeight(), getWidth()),
                                 ExactTransform::kRotateMinus90);
}

CImg8 *CImg8::rotateGeneric(double degrees) {
  return c2d::RotateByShears(*this, degrees, &CImg8::rotate180, &CImg8::rotateShearX,
                             &CImg8::rotateShearY);
}

CImg8 *CImg8::rotateShearX(int *table) {
  return c2d::MoveSheared<Pixels8>(*this, transformTarget(getWidth(), getHeight()), ShearAxis::kX,
                                   table);
}

CImg8 *CImg8::rotateShearY(int *table) {
  return c2d::MoveSheared<Pixels8>(*this, transformTarget(getWidth(), getHeight()), ShearAxis::kY,
                                   table);
}
