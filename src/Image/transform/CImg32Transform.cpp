// CImg32's mirrors and rotations: the exact flips and quarter turns, the in-place
// flip, and rotation by any angle through three shears.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "Image/core/internal/FreeDeleter.h"
#include "Image/core/internal/ImgReport.h"
#include "Image/raster/CImg32.h"
#include "Image/transform/internal/TransformSupport.h"

using c2d::ExactTransform;
using c2d::Report;
using c2d::ShearAxis;

namespace {

// Pixels through the row tables; a source is read only where its table reaches.
struct Pixels32 {
  static c2d::RowReader<unsigned> Reader(const CImg32 &image) {
    const uint32_t line = image.getBytesPerLine();
    return {image.constDataArray(), line == 0 ? 0u : image.getTotalBytes() / line, line / 4u};
  }
  static c2d::RowWriter<unsigned> Writer(const CImg32 & /*source*/, CImg32 &target) {
    return c2d::RowWriter<unsigned>(target.peekDataArray());
  }
};

}  // namespace

IImg *CImg32::mirror(ImgMirT how) {
  if (!hasData()) {
    Report(IMG_FAIL);
    return nullptr;
  }
  return c2d::MirrorBy(*this, how, &CImg32::mirrorX, &CImg32::mirrorY);
}

void CImg32::mirrorThis(ImgMirT how) {
  if (!hasData()) {
    Report(IMG_FAIL);
    return;
  }
  if (how == IMG_MIR_X) {
    mirrorXThis();
    mirrorYThis();
  } else if (how == IMG_MIR_Y) {
    mirrorYThis();
  }
}

IImg *CImg32::rotate(double degrees) {
  if (!hasData()) {
    Report(IMG_FAIL);
    return nullptr;
  }
  snap90(degrees, 0.001);
  return c2d::RotateSnapped(*this, degrees, &CImg32::rotate90, &CImg32::rotate180,
                            &CImg32::rotateMinus90, &CImg32::rotateGeneric);
}

CImg32 *CImg32::transformTarget(unsigned w, unsigned h) {
  CImg32 *target = _create(w, h, rgbOrder);
  if (target != nullptr) {
    target->backgroundColor = backgroundColor;
    target->backgroundState = backgroundState;
  }
  return target;
}

CImg32 *CImg32::mirrorX() {
  return c2d::MoveExact<Pixels32>(*this, transformTarget(getWidth(), getHeight()),
                                  ExactTransform::kMirrorX);
}

CImg32 *CImg32::mirrorY() {
  return c2d::MoveExact<Pixels32>(*this, transformTarget(getWidth(), getHeight()),
                                  ExactTransform::kMirrorY);
}

CImg32 *CImg32::rotate90() {
  return c2d::MoveExact<Pixels32>(*this, transformTarget(getHeight(), getWidth()),
                                  ExactTransform::kRotate90);
}

CImg32 *CImg32::rotate180() {
  return c2d::MoveExact<Pixels32>(*this, transformTarget(getWidth(), getHeight()),
                                  ExactTransform::kRotate180);
}

CImg32 *CImg32::rotateMinus90() {
  return c2d::MoveExact<Pixels32>(*this, transformTarget(getHeight(), getWidth()),
                                  ExactTransform::kRotateMinus90);
}

void CImg32::mirrorXThis() {
  const size_t line = bytesPerLine;
  const c2d::MallocArray<unsigned char> buffer(static_cast<unsigned char *>(std::malloc(line)));
  if (buffer == nullptr || dataArray == nullptr) {
    return;
  }
  // Rows pair off from the outside in; a row the table does not have (extents grown
  // by setExtents) is not swapped.
  const uint32_t rows = AllocatedRows();
  const uint32_t h = getHeight();
  if (h < 2) {
    return;
  }
  uint32_t i = 0;
  uint32_t j = h - 1;
  for (;;) {
    if (j < rows) {
      std::memmove(buffer.get(), dataArray[i], line);
      std::memmove(dataArray[i], dataArray[j], line);
      std::memmove(dataArray[j], buffer.get(), line);
    }
    j -= 1;
    if (i + 1 >= j) {
      break;
    }
    i += 1;
  }
}

void CImg32::mirrorYThis() {}

CImg32 *CImg32::rotateGeneric(double degrees) {
  return c2d::RotateByShears(*this, degrees, &CImg32::rotate180, &CImg32::rotateShearX,
                             &CImg32::rotateShearY);
}

CImg32 *CImg32::rotateShearX(int *table) {
  return c2d::MoveSheared<Pixels32>(*this, transformTarget(getWidth(), getHeight()), ShearAxis::kX,
                                    table);
}

CImg32 *CImg32::rotateShearY(int *table) {
  return c2d::MoveSheared<Pixels32>(*this, transformTarget(getWidth(), getHeight()), ShearAxis::kY,
                                    table);
}
