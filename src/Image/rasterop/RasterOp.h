// RasterOp: the compositing settings that every image owns one of.
#ifndef IMAGE_RASTEROP_RASTEROP_H_
#define IMAGE_RASTEROP_RASTEROP_H_

#include <cstdint>

#include "Image/core/ImgExport.h"

class C2D_EXPORT RasterOp {
 public:
  // Offsets, alpha and key start at zero. m_useAlpha starts false; composite sets it
  // before every use.
  RasterOp();
  RasterOp(const RasterOp &other) = default;
  RasterOp &operator=(const RasterOp &other) = default;
  ~RasterOp();

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

  int32_t m_top;
  int32_t m_left;
  bool m_useAlpha;
  double m_alpha;
  bool m_useTransparentColor;
  uint32_t m_transparentColor;
};

#endif  // IMAGE_RASTEROP_RASTEROP_H_
