// RasterOp construction. The blend itself lives with the compositing code.
#include "Image/rasterop/RasterOp.h"

RasterOp::RasterOp()
    : m_top(0),
      m_left(0),
      m_useAlpha(false),
      m_alpha(0.0),
      m_useTransparentColor(false),
      m_transparentColor(0) {}

RasterOp::~RasterOp() {}
