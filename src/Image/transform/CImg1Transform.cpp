// CImg1's mirrors and rotations: the exact flips and quarter turns, and rotation by
// any angle through three shears. Pixels are addressed as bit indices into the
// bitmap, each row being its width plus its pad bits long.
#include <cstdint>

#include "Image/core/internal/BitRow.h"
#include "Image/raster/CImg1.h"
#include "Image/transform/internal/TransformSupport.h"

using c2d::ExactTransform;
using c2d::ShearAxis;

namespace {

// Source bits. Those at or past the end of the buffer, and all of an image without
// pixels, read as clear.
class BitReader {
 public:
  explicit BitReader(const CImg1 &image)
      : bits_(image.peekData()),
        bytes_(bits_ != nullptr ? image.getTotalBytes() : 0u),
        stride_(static_cast<uint64_t>(image.getWidth()) + image.getPadBits()) {}
  unsigned char operator()(uint32_t r, uint32_t c) const {
    const uint64_t bit = stride_ * r + c;
    return (bit >> 3) < bytes_ && c2d::BitAt(bits_, bit) ? 1u : 0u;
  }

 private:
  const unsigned char *bits_;
  uint64_t bytes_;
  uint64_t stride_;
};

// Target bits of a new image, rows stepping by its width plus padBits. Bits past its
// buffer are not written.
class BitWriter {
 public:
  BitWriter(const CImg1 &image, uint32_t padBits)
      : bits_(image.peekData()),
        bytes_(bits_ != nullptr ? image.getTotalBytes() : 0u),
        stride_(static_cast<uint64_t>(image.getWidth()) + padBits) {}
  void operator()(uint32_t r, uint32_t c, unsigned char on) const {
    const uint64_t bit = stride_ * r + c;
    if ((bit >> 3) >= bytes_) {
      return;
    }
    if (on != 0) {
      c2d::SetBit(bits_, bit);
    } else {
      c2d::ClearBit(bits_, bit);
    }
  }

 private:
  unsigned char *bits_;
  uint64_t bytes_;
  uint64_t stride_;
};

// Rows of the target step by its own pad bits.
struct Bits {
  static BitReader Reader(const CImg1 &image) { return BitReader(image); }
  static BitWriter Writer(const CImg1 & /*source*/, const CImg1 &target) {
    return BitWriter(target, target.getPadBits());
  }
};

// The flips and the half turn keep the width, and step the target's rows by the
// source's pad bits, which are the target's unless setExtents changed the source.
struct SameWidthBits : Bits {
  static BitWriter Writer(const CImg1 &source, const CImg1 &target) {
    return BitWriter(target, source.getPadBits());
  }
};

// The target of the exact workers: the source's colours and alignment, and its
// background colour, marked known.
CImg1 *ExactTarget(CImg1 &source, unsigned w, unsigned h) {
  CImg1 *target = CImg1::create(w, h, source.getBackgroundInterpretation(),
                                source.getForegroundInterpretation(), source.getAlignment());
  if (target != nullptr) {
    target->setBackgroundColor(source.getBackgroundColor());
  }
  return target;
}

// The target of a shear, made as the scaling workers make theirs: the source's
// alignment value in the background's place, opaque black as foreground, no
// alignment. Shear results are read by their bits.
CImg1 *ShearTarget(CImg1 &source) {
  return CImg1::create(source.getWidth(), source.getHeight(),
                       static_cast<unsigned>(source.getAlignment()), 0xFF000000u, IMG_ALIGN_NONE);
}

}  // namespace

IImg *CImg1::mirror(ImgMirT how) {
  return c2d::MirrorBy(*this, how, &CImg1::mirrorX, &CImg1::mirrorY);
}

IImg *CImg1::rotate(double degrees) {
  snap90(degrees, 0.001);
  return c2d::RotateSnapped(*this, degrees, &CImg1::rotate90, &CImg1::rotate180,
                            &CImg1::rotateMinus90, &CImg1::rotateGeneric);
}

CImg1 *CImg1::mirrorX() {
  return c2d::MoveExact<SameWidthBits>(*this, ExactTarget(*this, getWidth(), getHeight()),
                                       ExactTransform::kMirrorX);
}

CImg1 *CImg1::mirrorY() {
  return c2d::MoveExact<SameWidthBits>(*this, ExactTarget(*this, getWidth(), getHeight()),
                                       ExactTransform::kMirrorY);
}

CImg1 *CImg1::rotate90() {
  return c2d::MoveExact<Bits>(*this, ExactTarget(*this, getHeight(), getWidth()),
                              ExactTransform::kRotate90);
}

CImg1 *CImg1::rotate180() {
  return c2d::MoveExact<SameWidthBits>(*this, ExactTarget(*this, getWidth(), getHeight()),
                                       ExactTransform::kRotate180);
}

CImg1 *CImg1::rotateMinus90() {
  return c2d::MoveExact<Bits>(*this, ExactTarget(*this, getHeight(), getWidth()),
                              ExactTransform::kRotateMinus90);
}

CImg1 *CImg1::rotateGeneric(double degrees) {
  return c2d::RotateByShears(*this, degrees, &CImg1::rotate180, &CImg1::rotateShearX,
                             &CImg1::rotateShearY);
}

CImg1 *CImg1::rotateShearX(int *table) {
  return c2d::MoveSheared<Bits>(*this, ShearTarget(*this), ShearAxis::kX, table);
}

CImg1 *CImg1::rotateShearY(int *table) {
  return c2d::MoveSheared<Bits>(*this, ShearTarget(*this), ShearAxis::kY, table);
}
