// CImg: header accessors and the small static helpers shared by all image classes.
#include "Image/core/CImg.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "Image/core/internal/UserSetting.h"
#include "Image/rasterop/RasterOp.h"

CImg::CImg()
    : type(static_cast<ImageType>(0)),
      rasterOp(new RasterOp()),
      bitsPerSample(0),
      samplesPerPixel(0),
      bytesPerLine(0),
      totalBytes(0),
      rect(),
      tileWidth(0),
      tileHeight(0),
      backgroundColor(0),
      backgroundState(IMG_BG_UNKNOWN),
      numberOfTiles(0) {}

CImg::~CImg() {
  delete rasterOp;
  rasterOp = nullptr;
  rect.setRect(0u, 0u, 0u, 0u);
}

unsigned CImg::getBitsPerSample() const { return bitsPerSample; }

unsigned CImg::getSamplesPerPixel() const { return samplesPerPixel; }

unsigned CImg::getBitDepth() const { return bitsPerSample * samplesPerPixel; }

unsigned CImg::getBytesPerLine() const { return bytesPerLine; }

ImgErr CImg::getLastError() { return CImgErr::get(); }

unsigned CImg::getHeight() const { return rect.getHeight(); }

unsigned CImg::getHeightInTiles() const {
  if (tileHeight == 0) {
    return 0;
  }
  const uint32_t span = rect.top > rect.bottom ? rect.top - rect.bottom : rect.bottom - rect.top;
  return (span + tileHeight) / tileHeight;
}

unsigned CImg::getTotalBytes() const { return totalBytes; }

unsigned CImg::getNumberOfTiles() const { return numberOfTiles; }

const ImgRect &CImg::getRect() const { return rect; }

unsigned CImg::getTileHeight() const { return tileHeight; }

unsigned CImg::getTileWidth() const { return tileWidth; }

ImageType CImg::getType() { return type; }

unsigned CImg::getWidth() const { return rect.getWidth(); }

unsigned CImg::getWidthInTiles() const {
  if (tileWidth == 0) {
    return 0;
  }
  const uint32_t span = rect.left > rect.right ? rect.left - rect.right : rect.right - rect.left;
  return (span + tileWidth) / tileWidth;
}

int CImg::getTop() const { return static_cast<int>(rect.top); }

int CImg::getLeft() const { return static_cast<int>(rect.left); }

int CImg::getBottom() const { return static_cast<int>(rect.bottom); }

int CImg::getRight() const { return static_cast<int>(rect.right); }

ImgBackgroundState CImg::getBackgroundState() { return backgroundState; }

const IImg *CImg::getSubRef(const Core2DImage::IntRect & /*r*/) const { return nullptr; }

IImg *CImg::getSubRef(const Core2DImage::IntRect & /*r*/) { return nullptr; }

ImgErr CImg::composite(CompositeAttr & /*attr*/, const IImg & /*source*/) { return IMG_FAIL; }

void CImg::mirrorThis(ImgMirT /*how*/) {}

bool CImg::writeTIFF() const { return false; }

bool CImg::writePPM(const char * /*path*/) const { return false; }

bool CImg::isBackgroundKnown() const { return backgroundState == IMG_BG_KNOWN; }

void CImg::getYUpSubrect(ImgRect &r) const {
  const uint32_t last = getHeight() - 1u;
  const uint32_t oldTop = r.top;
  r.top = last - r.bottom;
  r.bottom = last - oldTop;
}

double CImg::get1BitBGThreshold() {
  double threshold = 0.55;
  const char *root = std::getenv("QVX_REG_ROOT_COMMON_RETAINED");
  if (root == nullptr || root[0] == '\0') {
    return threshold;
  }
  // At most 1023 bytes of the root, cut at its first control character.
  std::string keyPath;
  for (size_t i = 0; i < 1023 && root[i] != '\0'; ++i) {
    const unsigned char c = static_cast<unsigned char>(root[i]);
    if (c < 32) {
      break;
    }
    keyPath.push_back(static_cast<char>(c));
  }
  keyPath += "\\Orvex2DViewer\\RasterData";
  int32_t percent = 0;
  if (c2d::ReadUserSetting(keyPath, "1BitBGThreshold", &percent)) {
    threshold = percent / 100.0;
  }
  return threshold;
}

ImageScaleType CImg::ScaleHow(unsigned srcW, unsigned srcH, unsigned dstW, unsigned dstH) {
  if (dstW < srcW) {
    return dstH > srcH ? IMG_SCALE_REDUCE_X_ENLARGE_Y : IMG_SCALE_REDUCE;
  }
  if (dstW > srcW) {
    return dstH < srcH ? IMG_SCALE_ENLARGE_X_REDUCE_Y : IMG_SCALE_ENLARGE;
  }
  if (dstH > srcH) {
    return IMG_SCALE_ENLARGE;
  }
  return dstH < srcH ? IMG_SCALE_REDUCE : IMG_SCALE_SAME;
}

void CImg::snap90(double &degrees, double tolerance) {
  if (degrees > 360.0 || degrees < -360.0) {
    // The turn count is cut to 64 bits and then only its low 32 bits are kept, as
    // an unsigned count: below -360 the result lands far out of range and the
    // angle takes the generic path. A quotient that no 64-bit integer holds gives
    // the hardware's "indefinite" value, whose low 32 bits are 0.
    const double turns = degrees / 360.0;
    int64_t q64 = INT64_MIN;
    if (turns > -9223372036854775808.0 && turns < 9223372036854775808.0) {
      q64 = static_cast<int64_t>(turns);
    }
    const uint32_t q = static_cast<uint32_t>(static_cast<uint64_t>(q64));
    degrees -= q * 360.0;
  }
  if (degrees > 0.0 && tolerance > degrees) {
    degrees = 360.0 - degrees;
  }
  if (degrees > 0.0 && tolerance > degrees) {
    degrees = 0.0;
  }
  if (degrees > 90.0 - tolerance && tolerance + 90.0 > degrees) {
    degrees = 90.0;
  }
  if (degrees > 180.0 - tolerance && tolerance + 180.0 > degrees) {
    degrees = 180.0;
  }
  if (degrees > 270.0 - tolerance && tolerance + 270.0 > degrees) {
    degrees = 270.0;
  }
  if (degrees > 360.0 - tolerance && 360.0 > degrees) {
    degrees = 0.0;
  }
}

bool CImg::areTileExtentsValid(unsigned w, unsigned h, unsigned tileW, unsigned tileH) {
  // A zero tile size would divide by zero; no grid of such tiles exists.
  if (tileW == 0 || tileH == 0) {
    return false;
  }
  const double qx = static_cast<double>(w) / tileW;
  if (std::floor((qx - std::floor(qx)) * 10000.0) != 0.0) {
    return false;
  }
  const double qy = static_cast<double>(h) / tileH;
  return std::floor((qy - std::floor(qy)) * 10000.0) == 0.0;
}

void CImg::dbg_printf(const char * /*format*/, ...) {}
