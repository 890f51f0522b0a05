// RasterOp: the compositing settings that every image owns one of, and Over, which
// places a source image over a destination with those settings.
#ifndef IMAGE_RASTEROP_RASTEROP_H_
#define IMAGE_RASTEROP_RASTEROP_H_

#include <cstdint>

#include "Image/ImgErr.h"
#include "Image/core/ImgExport.h"
#include "Image/core/IntRect.h"

class CImg;
class CImg1;
class CImg1G4;
class CImg8;
class CImg32;
class IImg;

class C2D_EXPORT RasterOp {
 public:
  // Offsets, alpha and key start at zero. m_useAlpha starts false; composite sets it
  // before every use.
  RasterOp();
  RasterOp(const RasterOp &other) = default;
  RasterOp &operator=(const RasterOp &other) = default;
  ~RasterOp();

  // The accessors store and answer the members, nothing else: no validation.
  int Top() const { return m_top; }
  int Left() const { return m_left; }
  void SetTopOffset(int top, int left) {
    m_top = top;
    m_left = left;
  }
  void UseAlpha(bool use) { m_useAlpha = use; }
  double Alpha() const { return m_alpha; }
  void SetAlpha(double alpha) { m_alpha = alpha; }
  bool HasTransparentColor() const { return m_useTransparentColor; }
  void UseTransparentColor(bool use) { m_useTransparentColor = use; }
  unsigned TransparentColor() const { return m_transparentColor; }
  void SetTransparentColor(unsigned colour) { m_transparentColor = colour; }

  // Places `source`, moved by (m_left, m_top), over `destination`. Only a CImg32
  // over a CImg32 changes pixels; the other pairs of raster classes make sure both
  // hold data (the destination may gain its pixels) and compose nothing. Neither
  // image is owned. IMG_FALSE for a source without data (recorded) and, unrecorded,
  // for a constant alpha at or below 0 where pixels would be composed; IMG_FAIL for
  // a type the library does not composite or images that do not overlap;
  // IMG_INVALID_ARG for an image that is not of the class its type names. A
  // destination whose pixels cannot be made gives the code its initData recorded.
  // Pass the images as IImg: the overloads for the concrete classes are private.
  ImgErr Over(IImg &destination, const IImg &source);

  int32_t m_top;
  int32_t m_left;
  bool m_useAlpha;
  double m_alpha;
  bool m_useTransparentColor;
  uint32_t m_transparentColor;

 private:
  // Second stage: the source's class is known, the destination's is chosen here.
  ImgErr Over(IImg &destination, const CImg1 &source);
  ImgErr Over(IImg &destination, const CImg1G4 &source);
  ImgErr Over(IImg &destination, const CImg8 &source);
  ImgErr Over(IImg &destination, const CImg32 &source);

  // Both classes known. Every pair without an overload of its own only checks that
  // both images hold data.
  template <class D, class S>
  ImgErr Over(D &destination, const S &source);
  ImgErr Over(CImg32 &destination, const CImg32 &source);
  ImgErr Over(CImg32 &destination, const CImg8 &source);
  // What the two pairs above share: the alpha and data checks, the clip, and the
  // rows of the overlap, which `overlap` takes. IMG_OK when it holds them.
  template <class S, class O>
  ImgErr Overlapping(CImg32 &destination, const S &source, O &overlap);

  // IMG_FALSE (recorded) for a source without data; otherwise makes sure the
  // destination has data, giving CImgErr::get() if it cannot.
  ImgErr bothHaveData(CImg &destination, const CImg &source) const;
  // destination and source arrive as each image's rectangle in its own coordinates.
  // False when they do not overlap once the source is moved by the offsets;
  // otherwise both become the overlap, each in its own image's coordinates.
  bool Clip(Core2DImage::IntRect &destination, Core2DImage::IntRect &source);
};

#endif  // IMAGE_RASTEROP_RASTEROP_H_
