// Turning a raster by any angle without warping or cutting it: the library's shear
// rotation keeps the canvas and reads its tables for the other side, which is right
// only on a square. So the page is placed in the middle of a square canvas of its
// background that holds every step of the turn, turned there, and cut to the turned
// page's bounds (or to its own frame).
#include "Turn.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "Failure.h"
#include "Library.h"

namespace c2dimg {
namespace {

constexpr double kPi = 3.141592653589793;

// The angle the shears turn by, after the library's half turn for angles above 90.
double ShearDegrees(double degrees) {
  if (degrees > 270.0) {
    return degrees - 360.0;
  }
  return degrees > 90.0 ? degrees - 180.0 : degrees;
}

// A square canvas of side `side` with the image at (x0, y0) and its background
// elsewhere. Bitmaps hold paper in clear bits (see ScaleBitmap) and x0 is a whole byte.
IImg *Canvas(IImg &image, uint32_t side, uint32_t x0, uint32_t y0) {
  const uint32_t w = image.getWidth(), h = image.getHeight();
  if (auto *bitmap = dynamic_cast<CImg1 *>(&image)) {
    CImg1 *canvas = CImg1::create(side, side, bitmap->getBackgroundInterpretation(),
                                  bitmap->getForegroundInterpretation(), IMG_ALIGN_NONE);
    if (canvas == nullptr || canvas->peekData() == nullptr) {
      delete canvas;
      return nullptr;
    }
    const size_t bytes = (size_t{w} + 7) / 8;
    for (uint32_t y = 0; y < h; ++y) {
      uint8_t *to = canvas->peekData() + size_t{y0 + y} * canvas->getBytesPerLine() + x0 / 8;
      std::memcpy(to, bitmap->peekData() + size_t{y} * bitmap->getBytesPerLine(), bytes);
      if (w % 8 != 0) {
        to[bytes - 1] &= static_cast<uint8_t>(0xFF00u >> (w % 8));
      }
    }
    canvas->setBackgroundColor(0);
    return canvas;
  }
  if (auto *palette = dynamic_cast<CImg8 *>(&image)) {
    ColorMap map(*palette->getColorMap());
    CImg8 *canvas = CImg8::create(side, side, &map, IMG_ALIGN_NONE);
    if (canvas != nullptr) {
      canvas->setBackgroundColor(palette->getBackgroundColor());
    }
    unsigned char **to =
        canvas == nullptr || canvas->peekData() == nullptr ? nullptr : canvas->peekDataArray();
    if (to == nullptr) {
      delete canvas;
      return nullptr;
    }
    for (uint32_t y = 0; y < h; ++y) {
      std::memcpy(to[y0 + y] + x0, palette->peekDataArray()[y], w);
    }
    return canvas;
  }
  auto &colour = dynamic_cast<CImg32 &>(image);
  CImg32 *canvas = CImg32::create(side, side, colour.getRGBOrder());
  if (canvas != nullptr) {
    canvas->setBackgroundColor(colour.getBackgroundColor());
  }
  unsigned **to =
      canvas == nullptr || canvas->peekData() == nullptr ? nullptr : canvas->peekDataArray();
  if (to == nullptr) {
    delete canvas;
    return nullptr;
  }
  for (uint32_t y = 0; y < h; ++y) {
    std::memcpy(to[y0 + y] + x0, colour.peekDataArray()[y], size_t{w} * 4);
  }
  return canvas;
}

}  // namespace

IImg *TurnWhole(IImg &image, double degrees, bool keepSize, const std::string &path) {
  const uint32_t w = image.getWidth(), h = image.getHeight();
  if (auto *bitmap = dynamic_cast<CImg1 *>(&image)) {
    // Uncovered bits come out clear, so paper must be the clear bits.
    if (bitmap->calculateBackground() == 1) {
      const uint32_t set = bitmap->getForegroundInterpretation();
      bitmap->setForegroundInterpretation(bitmap->getBackgroundInterpretation());
      bitmap->setBackgroundInterpretation(set);
      (void)bitmap->invert();
      bitmap->setBackgroundColor(0);
    }
  } else if (auto *palette = dynamic_cast<CImg8 *>(&image)) {
    (void)palette->calculateBackground();
    if (palette->getBackgroundState() != IMG_BG_KNOWN) {
      palette->setBackgroundColor(0);
    }
  } else if (auto *colour = dynamic_cast<CImg32 *>(&image)) {
    (void)colour->calculateBackground();
    if (colour->getBackgroundState() != IMG_BG_KNOWN) {
      // A picture with no background colour is padded white.
      colour->setBackgroundColor(RgbToWord(kWhite, colour->getRGBOrder()));
    }
  }
  // Each shear moves a point of a circle of the page's diagonal at most 1 / cos(a/2)
  // times its radius from the middle.
  const double radians = ShearDegrees(degrees) * kPi / 180.0;
  const double diagonal = std::hypot(static_cast<double>(w), static_cast<double>(h));
  const double need = diagonal / std::cos(radians / 2) + 4;
  const uint32_t x0 = static_cast<uint32_t>(std::ceil((need - w) / 16)) * 8;
  const uint32_t side = std::max(w + 2 * x0, h + 2);
  const uint32_t y0 = (side - h) / 2;
  if (static_cast<double>(side) * side > 4e9) {
    throw FileError(path, "is too large to turn by " + std::to_string(degrees) + " degrees");
  }
  ImagePtr canvas(Canvas(image, side, x0, y0));
  if (canvas == nullptr) {
    return nullptr;
  }
  ImagePtr turned(canvas->rotate(degrees));
  if (turned == nullptr) {
    return nullptr;
  }
  const double a = degrees * kPi / 180.0;
  const double c = std::fabs(std::cos(a)), s = std::fabs(std::sin(a));
  const auto fit = [&](double side_) {
    return std::min<uint32_t>(side, static_cast<uint32_t>(std::ceil(side_ - 1e-6)));
  };
  const uint32_t tw = keepSize ? w : fit(w * c + h * s);
  const uint32_t th = keepSize ? h : fit(w * s + h * c);
  // The page's middle stays where it was, at most half a pixel from the canvas's.
  const uint32_t left = (side - tw) / 2, top = (side - th) / 2;
  return turned->getSubImage(ImgRect(left, top, left + tw - 1, top + th - 1));
}

}  // namespace c2dimg
