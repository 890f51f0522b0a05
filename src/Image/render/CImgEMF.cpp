// CImgEMF: creation, the fixed answers of a document without pixels, and rendering
// through its CEMFRender.
#include "Image/render/CImgEMF.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <new>

#include "Image/core/internal/ImgReport.h"
#include "Image/raster/CImg1.h"
#include "Image/raster/CImg32.h"
#include "Image/render/ImgEMFTileIterator.h"
#include "Image/scale/ImgScaleAttr.h"
#include "Image/scale/internal/ScaleSupport.h"
#include "util2d/utl_library.h"

using c2d::Report;
using c2d::ReportR;

namespace {

// getUnformatted gives way by this much of the full size after each failed render.
constexpr double kRetryStep = -0.05;
// calculateBackground renders at min(width, height) / this, in integers.
constexpr unsigned kBackgroundDivisor = 500;

}  // namespace

CImgEMF::CImgEMF()
    : renderer(nullptr),
      replacementBkgFlag(false),
      replacementRed(255),
      replacementGreen(255),
      replacementBlue(255) {
  type = IMG_TYPE_32BIT;
  bitsPerSample = 8;
  samplesPerPixel = 4;
  tileWidth = 1;
  tileHeight = 1;
  numberOfTiles = 1;
}

CImgEMF::~CImgEMF() {
  delete renderer;
  renderer = nullptr;
  bytesPerLine = 0;
  tileWidth = 0;
  backgroundColor = 0;
  numberOfTiles = 0;
}

// The flag and colour the image would have by default.
CImgEMF *CImgEMF::create(void *handle) { return create(handle, false, 255, 255, 255); }

CImgEMF *CImgEMF::create(void *handle, bool replacementFlag, int red, int green, int blue) {
  CImgEMF *image = nullptr;
  try {
    image = new CImgEMF();
  } catch (const std::bad_alloc &) {
    image = nullptr;
  }
  if (image == nullptr) {
    Report(IMG_OUT_OF_MEMORY);
    return nullptr;
  }
  image->replacementBkgFlag = replacementFlag;
  image->setDFTReplacementBkg(static_cast<unsigned char>(red), static_cast<unsigned char>(green),
                              static_cast<unsigned char>(blue));
  // The renderer's library is loaded with the first metafile.
  static const auto make =
      reinterpret_cast<EMFRenderMaker>(utl_load_symbol(kEMFRenderLibrary, "emfrender_new"));
  image->renderer = make != nullptr ? make(handle) : nullptr;
  if (image->initHeader() && image->initData() == IMG_OK) {
    return image;
  }
  Report(IMG_FAIL);
  delete image;
  return nullptr;
}

bool CImgEMF::initHeader() {
  if (renderer == nullptr) {
    return false;
  }
  const unsigned w = renderer->getImgWidth();
  const unsigned h = renderer->getImgHeight();
  if (w == 0 || h == 0) {
    return false;
  }
  rect = ImgRect(w, h);
  // No buffer is ever made of this size: a document too large for the 32-bit
  // counts shows the largest count rather than a wrapped one.
  const uint64_t row = uint64_t{w} * 4;
  bytesPerLine = static_cast<uint32_t>(std::min<uint64_t>(row, UINT32_MAX));
  totalBytes = static_cast<uint32_t>(std::min<uint64_t>(row * h, UINT32_MAX));
  return true;
}

ImgErr CImgEMF::initData() { return renderer != nullptr ? IMG_OK : ReportR(IMG_FAIL); }

// ---------------------------------------------------------------------------
// IImg

unsigned CImgEMF::getBackgroundColor() const { return backgroundColor; }

IImg *CImgEMF::getSubImage(const ImgRect &) { return nullptr; }

IImg *CImgEMF::getUnformatted() {
  const unsigned width = getWidth();
  const unsigned height = getHeight();
  const ImgRect source(width, height);
  ImgScaleAttr attr;
  attr.bitDepth = 32;
  IImg *image = scale(source, width, height, attr);
  // Each failure gives way by a twentieth of the full size. The loop stops once the
  // factor is no longer above 0, where a render could only be empty.
  for (double factor = 1.0 + kRetryStep; image == nullptr && factor > 0.0; factor += kRetryStep) {
    image = scale(source, static_cast<unsigned>(width * factor),
                  static_cast<unsigned>(height * factor), attr);
  }
  return image;
}

bool CImgEMF::hasData() const { return renderer != nullptr; }

bool CImgEMF::forceDataInit() { return renderer != nullptr; }

IImg *CImgEMF::applyFilter() { return nullptr; }

IImg *CImgEMF::invert() { return nullptr; }

IImg *CImgEMF::doRasOp(Core2DImage::RasOpEnum::RasOp, bool, unsigned, unsigned) { return nullptr; }

IImg *CImgEMF::doRasOp(Core2DImage::RasOpEnum::RasOp, RasOpXfmAttr &, const IImg &) {
  return nullptr;
}

void CImgEMF::doRasOpInPlace(Core2DImage::RasOpEnum::RasOp, bool, unsigned, unsigned) {}

void CImgEMF::doRasOpInPlace(Core2DImage::RasOpEnum::RasOp, RasOpXfmAttr &, const IImg &) {}

IImg *CImgEMF::clone() const { return nullptr; }

void CImgEMF::drawArc() {}

void CImgEMF::drawCircle(int, int, int, const ColorValue *, const ColorValue *) {}

void CImgEMF::drawElipse() {}

void CImgEMF::drawLines(int_pt_t *, int_pt_t *, bool) {}

void CImgEMF::drawPixel(unsigned, unsigned, unsigned) {}

void CImgEMF::drawPolyLine() {}

void CImgEMF::drawPolygon() {}

void CImgEMF::DrawFilledRectangle(int, int, int, int, ColorValue &, ColorValue &) {}

void CImgEMF::drawSpline() {}

IImg *CImgEMF::mirror(ImgMirT) { return nullptr; }

IImg *CImgEMF::rotate(double degrees) {
  // The angle is snapped as every class does, and then there is nothing to turn.
  snap90(degrees, 0.001);
  return nullptr;
}

IImg *CImgEMF::scale(double factor, ImgScaleAttr &attr) {
  return c2d::ScaleByFactor(*this, factor, attr);
}

IImg *CImgEMF::scale(const ImgRect &source, const ImgRect &target, ImgScaleAttr &attr) {
  return scale(source, target.getWidth(), target.getHeight(), attr);
}

IImg *CImgEMF::scale(const ImgRect &source, unsigned width, unsigned height, ImgScaleAttr &attr) {
  // The renderer is set up in full for each call: nothing carries over from the last.
  renderer->setDFTReplacementBkgFlag(replacementBkgFlag);
  (void)renderer->setDFTReplacementBkg(attr.bkgByte2, attr.bkgByte1, attr.bkgByte0);
  renderer->setViewport(source.getLeft(), source.getTop(), source.getRight(), source.getBottom());
  renderer->setOutputRect(width, height);
  const unsigned depth = attr.bitDepth;
  if (depth != 32 && depth != 1) {
    return nullptr;
  }
  void *data = nullptr;
  uint64_t size = 0;
  if (!renderer->getImage(depth, data, size)) {
    return nullptr;
  }
  const auto length = static_cast<unsigned>(size);
  IImg *result = nullptr;
  if (depth == 32) {
    auto *pixels = static_cast<unsigned *>(data);
    result = CImg32::create(width, height, pixels, length, true, RGB_ORDER_BGR);
    data = pixels;
  } else {
    auto *bits = static_cast<unsigned char *>(data);
    CImg1 *bilevel =
        CImg1::create(width, height, bits, length, true, 0xFFFFFFu, 0xFF000000u, IMG_ALIGN_32);
    data = bits;
    // The renderer sets bits for paper; the library's set bits are ink.
    result = bilevel != nullptr ? bilevel->invert() : nullptr;
  }
  // A buffer the new image did not adopt is still ours.
  IImg::deallocImageBuffer(data);
  return result;
}

bool CImgEMF::stream(void *) { return false; }

IImg *CImgEMF::sxfm() { return nullptr; }

bool CImgEMF::writeTIFF() const { return false; }

// ---------------------------------------------------------------------------
// Fixed answers and settings

unsigned *CImgEMF::ownData() { return nullptr; }

unsigned *CImgEMF::peekData() { return nullptr; }

unsigned **CImgEMF::peekDataArray() { return nullptr; }

ImgErr CImgEMF::dupData(unsigned *, unsigned) { return IMG_OK; }

ImgErr CImgEMF::transferData(unsigned **, unsigned) { return IMG_OK; }

RGBOrder CImgEMF::getRGBOrder() { return RGB_ORDER_BGR; }

bool CImgEMF::setExtents(unsigned w, unsigned h) {
  if (w == 0 || h == 0) {
    return false;
  }
  rect = ImgRect(w, h);
  return true;
}

void CImgEMF::setBackgroundColor(unsigned colour) {
  backgroundColor = colour;
  backgroundState = IMG_BG_KNOWN;
}

unsigned CImgEMF::calculateBackground() {
  ImgScaleAttr attr;
  attr.bitDepth = 32;
  attr.resample = true;
  const unsigned factor = std::min(getWidth(), getHeight()) / kBackgroundDivisor;
  const std::unique_ptr<IImg> render(scale(static_cast<double>(factor), attr));
  auto *colour = dynamic_cast<CImg32 *>(render.get());
  backgroundColor = colour != nullptr ? colour->calculateBackground() : 0xFFFFFFFFu;
  Report(IMG_OK);
  return backgroundColor;
}

ImgErr CImgEMF::getEMFExtents(double &left, double &top, double &right, double &bottom) {
  renderer->getExtents(left, top, right, bottom);
  return IMG_OK;
}

ImgErr CImgEMF::getEMFDensity(double &density) {
  density = renderer->getDensity();
  return IMG_OK;
}

void CImgEMF::setDFTReplacementBkg(unsigned char red, unsigned char green, unsigned char blue) {
  replacementRed = red;
  replacementGreen = green;
  replacementBlue = blue;
}

void CImgEMF::setDFTReplacementBkgFlag(bool on) { replacementBkgFlag = on; }

ImgEMFTileIterator *CImgEMF::getTileIterator(int tileWidthIn, int tileHeightIn,
                                             CImgEMF::TileFormat format) {
  return ImgEMFTileIterator::createIterator(this, static_cast<unsigned>(tileWidthIn),
                                            static_cast<unsigned>(tileHeightIn), format);
}
