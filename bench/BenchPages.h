// The pages the Group 4 benchmarks code: a synthetic drawing sheet at any size and
// resolution (border, title block, views of rules, diagonals, hatching, circles and
// small text), deterministic by its seed.
#ifndef BENCH_BENCHPAGES_H_
#define BENCH_BENCHPAGES_H_

#include <cmath>
#include <cstdint>

#include "../tests/g4/G4TiffOracle.h"

namespace benchpages {

using g4test::Bitmap;
using g4test::Rng;

inline void HorizontalRule(Bitmap &page, uint32_t x0, uint32_t x1, uint32_t y, uint32_t weight) {
  for (uint32_t dy = 0; dy < weight && y + dy < page.height; ++dy) {
    page.fill(x0, x1, y + dy);
  }
}

inline void VerticalRule(Bitmap &page, uint32_t x, uint32_t y0, uint32_t y1, uint32_t weight) {
  for (uint32_t y = y0; y < y1 && y < page.height; ++y) {
    page.fill(x, x + weight, y);
  }
}

// A line from (x0, y0) to (x1, y1), one pixel thick per row or column.
inline void Line(Bitmap &page, int64_t x0, int64_t y0, int64_t x1, int64_t y1) {
  const int64_t dx = x1 > x0 ? x1 - x0 : x0 - x1;
  const int64_t dy = y1 > y0 ? y1 - y0 : y0 - y1;
  const int64_t steps = dx > dy ? dx : dy;
  for (int64_t i = 0; i <= steps; ++i) {
    const int64_t x = x0 + (steps ? (x1 - x0) * i / steps : 0);
    const int64_t y = y0 + (steps ? (y1 - y0) * i / steps : 0);
    if (x >= 0 && y >= 0 && x < page.width && y < page.height) {
      page.set(static_cast<uint32_t>(x), static_cast<uint32_t>(y));
    }
  }
}

// Lines of glyph-like marks: stems, bars and slants in cells of a text line.
inline void TextBlock(Bitmap &page, Rng &rng, uint32_t left, uint32_t top, uint32_t right,
                      uint32_t bottom, uint32_t size) {
  const uint32_t cellW = size * 6 / 10;
  const uint32_t stem = size / 10 + 1;
  for (uint32_t y = top; y + size < bottom; y += size * 3 / 2) {
    for (uint32_t x = left; x + cellW < right; x += cellW + stem) {
      if (rng.chance(0.17)) {
        continue;
      }
      const uint32_t kind = rng.below(4);
      VerticalRule(page, x + rng.below(cellW / 2 + 1), y, y + size, stem);
      if (kind != 0) {
        HorizontalRule(page, x, x + cellW, y + rng.below(size), stem);
      }
      if (kind == 2 || kind == 3) {
        for (uint32_t s = 0; s < stem; ++s) {
          Line(page, x + s, y + size, x + cellW - stem + s, y);
        }
      }
    }
  }
}

inline void Hatching(Bitmap &page, uint32_t left, uint32_t top, uint32_t right, uint32_t bottom,
                     uint32_t pitch) {
  for (uint32_t y = top; y < bottom && y < page.height; ++y) {
    for (uint32_t x = left + (y % pitch); x < right; x += pitch) {
      page.set(x, y);
    }
  }
}

// A drawing sheet scaled to `dpi`: border and title block, a grid of views with
// rules, diagonals, hatched sections, circles, and notes in small text.
inline Bitmap MakePage(uint32_t width, uint32_t height, uint32_t dpi, uint64_t seed) {
  Bitmap page(width, height);
  Rng rng(seed);
  const uint32_t margin = dpi / 2;
  const uint32_t thick = dpi / 100 + 1;
  HorizontalRule(page, margin, width - margin, margin, thick);
  HorizontalRule(page, margin, width - margin, height - margin, thick);
  VerticalRule(page, margin, margin, height - margin, thick);
  VerticalRule(page, width - margin, margin, height - margin + thick, thick);
  // Views in a grid of cells about 4 inches wide.
  const uint32_t cell = dpi * 4;
  for (uint32_t top = margin + dpi / 4; top + cell < height - margin; top += cell) {
    for (uint32_t left = margin + dpi / 4; left + cell < width - margin; left += cell) {
      const uint32_t inset = dpi / 8;
      const uint32_t l = left + inset, t = top + inset, r = left + cell - inset,
                     b = top + cell - inset;
      switch (rng.below(4)) {
        case 0:
          TextBlock(page, rng, l, t, r, b, dpi / 10);
          break;
        case 1:
          Hatching(page, l, t, r, b, 6 + rng.below(10));
          HorizontalRule(page, l, r, t, 1);
          HorizontalRule(page, l, r, b, 1);
          break;
        case 2:
          for (uint32_t k = 0; k < 12; ++k) {
            Line(page, l + rng.below(r - l), t, l + rng.below(r - l), b);
            Line(page, l, t + rng.below(b - t), r, t + rng.below(b - t));
          }
          break;
        default: {
          const int64_t cx = (l + r) / 2, cy = (t + b) / 2;
          for (int64_t radius = dpi / 8; radius < (r - l) / 2; radius += dpi / 6) {
            for (int64_t a = 0; a < 720; ++a) {
              const double angle = a * 3.14159265358979 / 360;
              page.set(static_cast<uint32_t>(cx + radius * std::cos(angle)),
                       static_cast<uint32_t>(cy + radius * std::sin(angle)));
            }
          }
          break;
        }
      }
    }
  }
  // A notes column in the title block.
  TextBlock(page, rng, width - margin - dpi * 4, height - margin - dpi * 2, width - margin,
            height - margin, dpi / 12);
  return page;
}

}  // namespace benchpages

#endif  // BENCH_BENCHPAGES_H_
