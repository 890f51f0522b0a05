// The drawing the bilevel benchmarks work on: a synthetic, deterministic 400 dpi
// 34 x 44 inch sheet (13600 x 17600) of one-pixel rules, a grid of panels with
// frames, fans of slanted lines, rings and lines of stroke-like marks.
#ifndef BENCH_BENCHDRAWING_H_
#define BENCH_BENCHDRAWING_H_

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>

#include "../tests/g4/G4TiffOracle.h"
#include "Image/Core2DImage.h"

namespace benchdrawing {

using g4test::Bitmap;
using g4test::Rng;

constexpr uint32_t kWidth = 13600;
constexpr uint32_t kHeight = 17600;
constexpr uint32_t kDpi = 400;

// A slanted one-pixel line from (x0, y0) with slope dx / dy per row, for `rows` rows.
inline void Slant(Bitmap &page, double x0, uint32_t y0, double slope, uint32_t rows) {
  for (uint32_t i = 0; i < rows && y0 + i < page.height; ++i) {
    const double x = x0 + slope * i;
    if (x >= 0 && x < page.width) {
      page.set(static_cast<uint32_t>(x), y0 + i);
    }
  }
}

inline void Ring(Bitmap &page, double cx, double cy, double radius) {
  const int steps = static_cast<int>(radius * 7) + 8;
  for (int a = 0; a < steps; ++a) {
    const double t = 6.283185307179586 * a / steps;
    const double x = cx + radius * std::cos(t), y = cy + radius * std::sin(t);
    if (x >= 0 && y >= 0 && x < page.width && y < page.height) {
      page.set(static_cast<uint32_t>(x), static_cast<uint32_t>(y));
    }
  }
}

// Marks of about a 10 point font in lines across a panel: stems, bars and slants.
inline void Notes(Bitmap &page, Rng &rng, uint32_t l, uint32_t t, uint32_t r, uint32_t b) {
  const uint32_t size = kDpi / 8;
  for (uint32_t y = t; y + size < b; y += size * 2) {
    for (uint32_t x = l; x + size < r; x += size * 3 / 4) {
      switch (rng.below(5)) {
        case 0:
          break;  // a space
        case 1:
          page.fill(x, x + size / 2, y + rng.below(size));
          [[fallthrough]];
        case 2:
          for (uint32_t dy = 0; dy < size; ++dy) {
            page.fill(x, x + 3, y + dy);
          }
          break;
        default:
          Slant(page, x, y, 0.5, size);
          break;
      }
    }
  }
}

inline const Bitmap &Drawing() {
  static const Bitmap page = [] {
    Bitmap p(kWidth, kHeight);
    Rng rng(kWidth);
    const uint32_t margin = kDpi / 2, panel = kDpi * 3;
    for (uint32_t y = margin; y < kHeight - margin; y += panel) {
      for (uint32_t x = margin; x < kWidth - margin; x += panel) {
        const uint32_t r = std::min(x + panel, kWidth - margin);
        const uint32_t b = std::min(y + panel, kHeight - margin);
        p.fill(x, r, y);  // the frame
        for (uint32_t row = y; row < b; ++row) {
          p.set(x, row);
        }
        const uint32_t in = kDpi / 10;
        switch (rng.below(3)) {
          case 0:
            Notes(p, rng, x + in, y + in, r - in, b - in);
            break;
          case 1:
            for (int k = -12; k <= 12; ++k) {
              Slant(p, (x + r) / 2.0, y + in, k / 8.0, b - y - 2 * in);
            }
            break;
          default:
            for (double radius = kDpi / 10.0; radius < (r - x) / 2.0 - in; radius += kDpi / 7.0) {
              Ring(p, (x + r) / 2.0, (y + b) / 2.0, radius);
            }
            break;
        }
      }
    }
    return p;
  }();
  return page;
}

inline CImg1 &DrawingImage() {
  static const std::unique_ptr<CImg1> image = [] {
    Bitmap bits = Drawing();
    return std::unique_ptr<CImg1>(CImg1::create(kWidth, kHeight, bits.bits.data(),
                                                static_cast<unsigned>(bits.bits.size()), 0xFFFFFFu,
                                                0xFF000000u, IMG_ALIGN_NONE));
  }();
  return *image;
}

}  // namespace benchdrawing

#endif  // BENCH_BENCHDRAWING_H_
