// CImgPDF: a PDF page behind the image interface. Rendering happens in the main scale
// alone; every other operation that would need pixels has a fixed answer.
#include "Image/render/CImgPDF.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <new>

#include "Image/core/internal/ImgReport.h"
#include "Image/raster/CImg1.h"
#include "Image/render/ImgPDFTileIterator.h"
#include "Image/scale/ImgScaleAttr.h"
#include "PDFRender/CPDFRender.h"
#include "util2d/utl_library.h"

using c2d::Report;

namespace {

// Whole pages and sub-images come out with their long side at this many pixels.
constexpr unsigned kLongSide = 2200;
// The renderer is told a raster is small when both sides are below this.
constexpr unsigned kSmallBelow = 1200;
constexpr unsigned kUnsetInterpretation = 0xDEADBEEF;
// The background test renders at (shorter side / this) times the page size.
constexpr unsigned kBackgroundDivisor = 500;

// The size of a w x h area with its long side at kLongSide, worked in floats. A
// square or taller area takes its height; an empty side gives an empty target.
void LongSideTarget(unsigned w, unsigned h, unsigned &targetW, unsigned &targetH) {
  if (w > h) {
    targetW = kLongSide;
    targetH = static_cast<unsigned>(static_cast<float>(kLongSide) / static_cast<float>(w) *
                                    static_cast<float>(h));
  } else {
    targetH = kLongSide;
    targetW = h == 0 ? 0
                     : static_cast<unsigned>(static_cast<float>(kLongSide) / static_cast<float>(h) *
                                             static_cast<float>(w));
  }
}

ImgScaleAttr ColourAttr() {
  ImgScaleAttr attr;
  attr.bitDepth = 32;
  return attr;
}

// The part of a raster `length` pixels long that shows `wanted` of the `rendered`
// page pixels it covers, centred: its first pixel and one past its last, cut to the
// raster. A rendered length below 1 means the whole raster.
void CentredSpan(double wanted, double rendered, unsigned length, unsigned &first, unsigned &last) {
  const double ratio = rendered < 1 ? 1.0 : wanted / rendered;
  const double span = std::trunc(length * ratio);
  const double margin = std::trunc((length - span) * 0.5);
  const double limit = static_cast<double>(length) - 1;
  first = static_cast<unsigned>(std::clamp(margin, 0.0, limit));
  last = static_cast<unsigned>(std::clamp(margin + span, 0.0, limit));
}

}  // namespace

CImgPDF::CImgPDF() : renderer(nullptr), cgmDPI(200) {
  type = IMG_TYPE_32BIT;
  bitsPerSample = 8;
  samplesPerPixel = 4;
  tileWidth = 1;
  tileHeight = 1;
  numberOfTiles = 1;
}

CImgPDF::~CImgPDF() {
  delete renderer;
  renderer = nullptr;
  bytesPerLine = 0;
  tileWidth = 0;
  backgroundColor = 0;
  numberOfTiles = 0;
}

CImgPDF *CImgPDF::create(char *path, int page, bool detectBilevel) {
  CImgPDF *image = nullptr;
  try {
    image = new CImgPDF();
  } catch (const std::bad_alloc &) {
    image = nullptr;
  }
  if (image == nullptr) {
    Report(IMG_OUT_OF_MEMORY);
    return nullptr;
  }
  // The renderer's library is loaded with the first PDF; whatever it cannot make
  // leaves the document unusable.
  static const auto make =
      reinterpret_cast<PDFRenderMaker>(utl_load_symbol(kPDFRenderLibrary, "pdfrender_new"));
  CPDFRender *document = make != nullptr ? make(path, page, detectBilevel) : nullptr;
  if (!image->adoptRenderer(document)) {
    delete image;
    return nullptr;
  }
  return image;
}

bool CImgPDF::adoptRenderer(CPDFRender *document) {
  renderer = document;
  if (renderer != nullptr && renderer->getBilevel() == 1) {
    type = IMG_TYPE_1BIT;
    bitsPerSample = 1;
    samplesPerPixel = 1;
  }
  if (!initHeader() || initData() != IMG_OK) {
    Report(IMG_FAIL);
    return false;
  }
  return true;
}

bool CImgPDF::initHeader() {
  if (renderer == nullptr) {
    return false;
  }
  const unsigned w = renderer->getImgWidth();
  const unsigned h = renderer->getImgHeight();
  if (w == 0 || h == 0) {
    return false;
  }
  rect.setRect(0u, 0u, w - 1, h - 1);
  // Nothing is allocated by these counts; a page too large for them reads as full.
  const uint64_t line = type == IMG_TYPE_1BIT ? (uint64_t{w} + 31) / 32 * 4 : uint64_t{w} * 4;
  bytesPerLine = static_cast<uint32_t>(std::min<uint64_t>(line, UINT32_MAX));
  totalBytes = static_cast<uint32_t>(std::min<uint64_t>(line * h, UINT32_MAX));
  return true;
}

ImgErr CImgPDF::initData() {
  if (renderer == nullptr) {
    Report(IMG_FAIL);
    return IMG_FAIL;
  }
  return IMG_OK;
}

// ---------------------------------------------------------------------------
// Rendering

IImg *CImgPDF::scale(const ImgRect &source, unsigned width, unsigned height, ImgScaleAttr &attr) {
  if (renderer == nullptr) {
    return nullptr;
  }
  const bool small = width < kSmallBelow && height < kSmallBelow;
  renderer->setViewport(source.getLeft(), source.getTop(), source.getRight(), source.getBottom());
  renderer->setOutputRect(width, height);
  unsigned char *data = nullptr;
  uint64_t size = 0;
  unsigned madeW = 0, madeH = 0;
  IImg *image = nullptr;
  // Sizes beyond 32 bits are cut; the factories then refuse the short length.
  if (attr.bitDepth == 32) {
    if (renderer->getImage(32, data, size, small)) {
      renderer->getOutputRect(madeW, madeH);
      image = CImg32::createFrom24(madeW, madeH, data, static_cast<unsigned>(size), IMG_ALIGN_32,
                                   RGB_ORDER_RGB, RGB_ORDER_RGB);
    }
    std::free(data);
  } else if (attr.bitDepth == 1) {
    if (!renderer->getImage(1, data, size, small)) {
      std::free(data);
      return nullptr;
    }
    renderer->getOutputRect(madeW, madeH);
    image = CImg1::create(madeW, madeH, data, static_cast<unsigned>(size), true, true, 0xFFFFFF,
                          0xFF000000, IMG_ALIGN_32);
    // On success the image has taken the buffer and cleared data.
    std::free(data);
  } else {
    return nullptr;
  }
  if (image == nullptr) {
    return nullptr;
  }

  unsigned left = 0, top = 0, right = 0, bottom = 0;
  renderer->getViewport(left, top, right, bottom);
  ImgRect from;
  const ImgRect to(0u, 0u, width - 1, height - 1);
  if (left == source.getLeft() && top == source.getTop() && right == source.getRight() + 1u &&
      bottom == source.getBottom() + 1u) {
    if (madeW == width && madeH == height) {
      return image;
    }
    from = ImgRect(0u, 0u, image->getWidth() - 1, image->getHeight() - 1);
  } else {
    // The raster shows another area than `source`: take the centred part of it that
    // corresponds, one pixel longer on the right and bottom than the area itself.
    unsigned fromLeft = 0, fromTop = 0, fromRight = 0, fromBottom = 0;
    CentredSpan(source.getWidth(), static_cast<double>(right) - left + 1, image->getWidth(),
                fromLeft, fromRight);
    CentredSpan(source.getHeight(), static_cast<double>(bottom) - top + 1, image->getHeight(),
                fromTop, fromBottom);
    from = ImgRect(fromLeft, fromTop, fromRight, fromBottom);
  }
  attr.bitDepth = static_cast<uint32_t>(image->getType());
  IImg *result = image->scale(from, to, attr);
  delete image;
  return result;
}

IImg *CImgPDF::scale(const ImgRect &source, const ImgRect &target, ImgScaleAttr &attr) {
  return scale(source, target.getWidth(), target.getHeight(), attr);
}

IImg *CImgPDF::scale(double factor, ImgScaleAttr &attr) {
  // A size past 32 bits could never render; it is refused before the conversion.
  const double w = std::ceil(getWidth() * factor);
  const double h = std::ceil(getHeight() * factor);
  if (!(factor >= 0) || w > UINT32_MAX || h > UINT32_MAX) {
    return nullptr;
  }
  return scale(rect, static_cast<unsigned>(w), static_cast<unsigned>(h), attr);
}

IImg *CImgPDF::getSubImage(const ImgRect &r) {
  ImgScaleAttr attr = ColourAttr();
  unsigned w = 0, h = 0;
  LongSideTarget(r.getWidth(), r.getHeight(), w, h);
  if (IImg *image = scale(r, w, h, attr)) {
    return image;
  }
  if (w > 0 && h > 0) {
    return scale(r, w / 4, h / 4, attr);
  }
  return nullptr;
}

IImg *CImgPDF::getUnformatted() {
  const ImgRect source(getWidth(), getHeight());
  ImgScaleAttr attr = ColourAttr();
  unsigned w = 0, h = 0;
  LongSideTarget(getWidth(), getHeight(), w, h);
  if (IImg *image = scale(source, w, h, attr)) {
    return image;
  }
  // Give way 5% at a time, down to 5%: a size of 0 is never worth asking for.
  double factor = 1.0;
  for (int step = 1; step < 20; ++step) {
    factor += -0.05;
    if (IImg *image = scale(source, static_cast<unsigned>(w * factor),
                            static_cast<unsigned>(h * factor), attr)) {
      return image;
    }
  }
  Report(IMG_FAIL);
  return nullptr;
}

unsigned CImgPDF::calculateBackground() {
  const unsigned w = getWidth();
  const unsigned h = getHeight();
  ImgScaleAttr attr = ColourAttr();
  attr.resample = true;
  const double factor = std::min(w, h) / kBackgroundDivisor;
  // A document exists, so the renderer's library is loaded.
  static const auto pixelLimit =
      reinterpret_cast<PDFRenderLimit>(utl_load_symbol(kPDFRenderLibrary, "pdfrender_pixel_limit"));
  const double limit = pixelLimit != nullptr ? static_cast<double>(pixelLimit()) : 0.0;
  IImg *render = nullptr;
  if (std::ceil(w * factor) * std::ceil(h * factor) <= limit) {
    render = scale(factor, attr);
  } else {
    // The largest render of the page's shape that the renderer accepts.
    const double fit = std::sqrt(limit / (static_cast<double>(w) * h));
    render = scale(rect, static_cast<unsigned>(w * fit), static_cast<unsigned>(h * fit), attr);
  }
  auto *colour = dynamic_cast<CImg32 *>(render);
  backgroundColor = colour != nullptr ? colour->calculateBackground() : 0xFFFFFFFFu;
  delete render;
  Report(IMG_OK);
  return backgroundColor;
}

// ---------------------------------------------------------------------------
// Fixed answers

unsigned CImgPDF::getBackgroundColor() const { return backgroundColor; }

bool CImgPDF::hasData() const { return renderer != nullptr; }

bool CImgPDF::forceDataInit() { return renderer != nullptr; }

IImg *CImgPDF::applyFilter() { return nullptr; }

IImg *CImgPDF::invert() { return nullptr; }

IImg *CImgPDF::doRasOp(Core2DImage::RasOpEnum::RasOp /*op*/, bool /*keyed*/, unsigned /*key*/,
                       unsigned /*colour*/) {
  return nullptr;
}

IImg *CImgPDF::doRasOp(Core2DImage::RasOpEnum::RasOp /*op*/, RasOpXfmAttr & /*attr*/,
                       const IImg & /*source*/) {
  return nullptr;
}

void CImgPDF::doRasOpInPlace(Core2DImage::RasOpEnum::RasOp /*op*/, bool /*keyed*/, unsigned /*key*/,
                             unsigned /*colour*/) {}

void CImgPDF::doRasOpInPlace(Core2DImage::RasOpEnum::RasOp /*op*/, RasOpXfmAttr & /*attr*/,
                             const IImg & /*source*/) {}

IImg *CImgPDF::clone() const { return nullptr; }

void CImgPDF::drawArc() {}

void CImgPDF::drawCircle(int /*x*/, int /*y*/, int /*radius*/, const ColorValue * /*stroke*/,
                         const ColorValue * /*fill*/) {}

void CImgPDF::drawElipse() {}

void CImgPDF::drawLines(int_pt_t * /*from*/, int_pt_t * /*to*/, bool /*clear*/) {}

void CImgPDF::drawPixel(unsigned /*x*/, unsigned /*y*/, unsigned /*value*/) {}

void CImgPDF::drawPolyLine() {}

void CImgPDF::drawPolygon() {}

void CImgPDF::DrawFilledRectangle(int /*left*/, int /*top*/, int /*right*/, int /*bottom*/,
                                  ColorValue & /*edge*/, ColorValue & /*fill*/) {}

void CImgPDF::drawSpline() {}

IImg *CImgPDF::mirror(ImgMirT /*how*/) { return nullptr; }

IImg *CImgPDF::rotate(double degrees) {
  snap90(degrees, 0.001);
  return nullptr;
}

bool CImgPDF::stream(void * /*sink*/) { return false; }

IImg *CImgPDF::sxfm() { return nullptr; }

bool CImgPDF::writeTIFF() const { return false; }

unsigned *CImgPDF::ownData() { return nullptr; }

unsigned *CImgPDF::peekData() { return nullptr; }

unsigned **CImgPDF::peekDataArray() { return nullptr; }

ImgErr CImgPDF::dupData(unsigned * /*src*/, unsigned /*len*/) { return IMG_OK; }

ImgErr CImgPDF::transferData(unsigned ** /*src*/, unsigned /*len*/) { return IMG_OK; }

RGBOrder CImgPDF::getRGBOrder() { return RGB_ORDER_BGR; }

ImgAlignmentEnum CImgPDF::getAlignment() const { return IMG_ALIGN_32; }

unsigned CImgPDF::getBackgroundInterpretation() const { return kUnsetInterpretation; }

unsigned CImgPDF::getForegroundInterpretation() const { return kUnsetInterpretation; }

unsigned CImgPDF::getPadBits() const { return 0; }

// ---------------------------------------------------------------------------
// The document

ImageType CImgPDF::getImageType() {
  return renderer == nullptr ? IMG_TYPE_32BIT : static_cast<ImageType>(renderer->findImageType());
}

ImgErr CImgPDF::getPDFExtents(double &x0, double &y0, double &x1, double &y1) {
  renderer->getExtents(x0, y0, x1, y1);
  return IMG_OK;
}

ImgErr CImgPDF::getPDFDensity(double &density) {
  density = renderer->getDensity();
  return IMG_OK;
}

void CImgPDF::setSmoothImage(bool on) {
  if (renderer != nullptr) {
    renderer->setSmoothImage(on);
  }
}

void CImgPDF::setSmoothLine(bool on) {
  if (renderer != nullptr) {
    renderer->setSmoothLine(on);
  }
}

void CImgPDF::setSmoothText(bool on) {
  if (renderer != nullptr) {
    renderer->setSmoothText(on);
  }
}

void CImgPDF::setCGMDPI(int dpi) { cgmDPI = dpi; }

int CImgPDF::getCGMDPI() const { return cgmDPI; }

bool CImgPDF::setExtents(unsigned w, unsigned h) {
  if (w == 0 || h == 0) {
    return false;
  }
  rect.setRect(0u, 0u, w - 1, h - 1);
  return true;
}

void CImgPDF::setBackgroundColor(unsigned colour) {
  backgroundColor = colour;
  backgroundState = IMG_BG_KNOWN;
}

ImgPDFTileIterator *CImgPDF::getTileIterator(int tileW, int tileH, CImg32::TileFormat format) {
  return ImgPDFTileIterator::createIterator(this, static_cast<unsigned>(tileW),
                                            static_cast<unsigned>(tileH), format);
}
