// CImg8: the drawing slots. A palette image draws nothing; the operations only make
// sure the pixels exist, so a drawing call is how such an image gets its buffer.
#include "Image/draw/internal/DrawSupport.h"
#include "Image/draw/internal/FillTab.h"
#include "Image/raster/CImg8.h"

void CImg8::drawArc() {
  if (!hasData()) {
    (void)initData();
  }
}

void CImg8::drawCircle(int, int, int, const ColorValue *, const ColorValue *) {
  if (!hasData()) {
    (void)initData();
  }
}

void CImg8::drawElipse() {
  if (!hasData()) {
    (void)initData();
  }
}

void CImg8::drawLines(int_pt_t *, int_pt_t *, bool) {
  if (!hasData()) {
    (void)initData();
  }
}

void CImg8::drawPixel(unsigned x, unsigned y, unsigned) {
  // A point past the image is refused before the pixels are made.
  if (x > rect.right || y > rect.bottom) {
    return;
  }
  if (!hasData()) {
    (void)initData();
  }
}

void CImg8::drawPolyLine() {
  if (!hasData()) {
    (void)initData();
  }
}

void CImg8::drawPolygon() {
  if (!hasData()) {
    (void)initData();
  }
}

void CImg8::DrawFilledRectangle(int left, int top, int right, int bottom, ColorValue &,
                                ColorValue &) {
  if (c2d::RectangleIsSkipped(left, top, right, bottom, getRight(), getBottom())) {
    return;
  }
  if (!hasData()) {
    (void)initData();
  }
}

void CImg8::drawSpline() {
  if (!hasData()) {
    (void)initData();
  }
}

Core2DImage::FillTab *CImg8::fillTab(unsigned rows) {
  static Core2DImage::FillTab table;  // built once, thread-safely, on first use
  return table.reserve(rows) ? &table : nullptr;
}

void CImg8::drawCircle4(int, int, int, bool, bgra_u &, bool, bgra_u &) {}
