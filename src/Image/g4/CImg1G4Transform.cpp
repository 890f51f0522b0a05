// CImg1G4's mirrors and right-angle rotations. Unlike scaling they need the whole
// page at once, so each decompresses it into a temporary CImg1 and moves its set
// bits into a new CImg1 with the page's colours and alignment, by the pixel walk the
// raster classes' exact transforms share.
#include <cstdint>
#include <memory>

#include "Image/core/internal/BitRow.h"
#include "Image/g4/CImg1G4.h"
#include "Image/raster/CImg1.h"
#include "Image/transform/internal/TransformSupport.h"

using c2d::ExactTransform;

namespace {

// The page transformed into a new image; the background is left unset. Null when
// either image cannot be made.
CImg1 *MoveSetBits(CImg1G4 &page, ExactTransform how) {
  const std::unique_ptr<CImg1> whole(CImg1::create(page, 0xFFFFFFu, 0xFF000000u, IMG_ALIGN_NONE));
  if (whole == nullptr) {
    return nullptr;
  }
  const uint32_t w = whole->getWidth();
  const uint32_t h = whole->getHeight();
  const bool turned = how == ExactTransform::kRotate90 || how == ExactTransform::kRotateMinus90;
  CImg1 *out = CImg1::create(turned ? h : w, turned ? w : h, page.getBackgroundInterpretation(),
                             page.getForegroundInterpretation(), page.getAlignment());
  if (out == nullptr) {
    return nullptr;
  }
  // SAFETY: both images come from the factory with these sides, so each row is its
  // width plus pad bits, whole bytes, and every coordinate of the walk lies inside.
  const unsigned char *in = whole->peekData();
  const uint64_t inStride = whole->getBytesPerLine();
  unsigned char *to = out->peekData();
  const uint64_t outStride = out->getBytesPerLine();
  c2d::ForEachExactPixel(how, w, h, [&](uint32_t r, uint32_t c, uint32_t sr, uint32_t sc) {
    if (c2d::BitAt(in + sr * inStride, sc)) {
      c2d::SetBit(to + r * outStride, c);
    }
  });
  return out;
}

}  // namespace

IImg *CImg1G4::mirror(ImgMirT how) {
  if (how == IMG_MIR_X) {
    return mirrorX();
  }
  if (how == IMG_MIR_Y) {
    return mirrorY();
  }
  return this;
}

IImg *CImg1G4::rotate(double degrees) {
  snap90(degrees, 0.001);
  // The clone of a compressed page has no pixels; there is no shear rotation here.
  if (degrees == 0.0) {
    return clone();
  }
  if (degrees == 90.0) {
    return rotate90();
  }
  if (degrees == 180.0) {
    return rotate180();
  }
  if (degrees == 270.0) {
    return rotateMinus90();
  }
  return nullptr;
}

CImg1 *CImg1G4::mirrorX() { return MoveSetBits(*this, ExactTransform::kMirrorX); }

CImg1 *CImg1G4::mirrorY() { return MoveSetBits(*this, ExactTransform::kMirrorY); }

CImg1 *CImg1G4::rotate180() { return MoveSetBits(*this, ExactTransform::kRotate180); }

// A quarter turn counter-clockwise: the top-right corner goes to the top-left.
CImg1 *CImg1G4::rotate90() { return MoveSetBits(*this, ExactTransform::kRotate90); }

CImg1 *CImg1G4::rotateMinus90() { return MoveSetBits(*this, ExactTransform::kRotateMinus90); }
