// CImg1G4 pages coded tile by tile by libtiff, and the runs the scanline routines paint.
#ifndef TESTS_G4_G4TILEDPAGE_H_
#define TESTS_G4_G4TILEDPAGE_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "G4TiffOracle.h"
#include "Image/Core2DImage.h"
#include "ImgTestSupport.h"

namespace g4test {

// Opens the protected workers of a page.
class G4Page : public CImg1G4 {
 public:
  using CImg1G4::Enlarge, CImg1G4::initData, CImg1G4::initHeader, CImg1G4::InitTileRowDecode;
  using CImg1G4::Reduce, CImg1G4::Reduce_bkg, CImg1G4::Reduce_greyscale;
};

struct TiledPage {
  Bitmap source;
  unsigned tw = 0, th = 0;
  std::vector<bool> empty;  // by tile, row-major
  c2d_test::ImgPtr<G4Page> image;
};

inline TiledPage MakeTiledPage(const Bitmap &source, unsigned tw, unsigned th,
                               ImgAlignmentEnum align = IMG_ALIGN_NONE) {
  TiledPage page{source, tw, th, {}, c2d_test::ImgPtr<G4Page>(new G4Page())};
  const unsigned across = (source.width + tw - 1) / tw;
  const unsigned down = (source.height + th - 1) / th;
  std::vector<std::vector<uint8_t>> streams(across * down);
  std::vector<unsigned char *> data;
  std::vector<unsigned> counts;
  for (unsigned i = 0; i < across * down; ++i) {
    Bitmap tile(tw, th);  // tiles past the page's edges are padded white
    for (unsigned y = 0; y < th && (i / across) * th + y < source.height; ++y) {
      for (unsigned x = 0; x < tw && (i % across) * tw + x < source.width; ++x) {
        tile.set(x, y, source.get((i % across) * tw + x, (i / across) * th + y));
      }
    }
    const bool white = tile.bits == Bitmap(tw, th).bits;
    streams[i] = white ? std::vector<uint8_t>() : LibtiffStrip(tile, true);
    page.empty.push_back(white);
    data.push_back(streams[i].data());
    counts.push_back(static_cast<unsigned>(streams[i].size()));
  }
  EXPECT_TRUE(
      page.image->initHeader(source.width, source.height, tw, th, 0xFFFFFF, 0xFF000000, align));
  EXPECT_TRUE(page.image->initData(data.data(), counts.data()));
  return page;
}

// One painted run: row y (absolute), columns d0..d1 counted from the rectangle's left.
struct Run {
  unsigned y, d0, d1;
};

// The runs of one colour the scanline routines paint for rectangle r, from the bitmap:
// maximal runs inside each tile touched (white past the page), none in tiles without
// bytes. A leading white run starts one column left of its tile (wrapping, so dropped,
// in the leftmost tile), and a run that starts on r.right is dropped.
inline std::vector<Run> PaintedRuns(const TiledPage &page, const ImgRect &r, bool white) {
  std::vector<Run> runs;
  const Bitmap &src = page.source;
  const unsigned across = (src.width + page.tw - 1) / page.tw;
  for (unsigned y = r.top; y <= r.bottom; ++y) {
    for (unsigned c = r.left / page.tw; c <= r.right / page.tw && c < across; ++c) {
      const unsigned x0 = c * page.tw;
      if (page.empty[(y / page.th) * across + c]) {
        continue;
      }
      const auto isWanted = [&](unsigned x) { return (x < src.width && src.get(x, y)) != white; };
      for (unsigned s = x0; s < x0 + page.tw;) {
        unsigned e = s;
        while (e < x0 + page.tw && isWanted(e) == isWanted(s)) {
          ++e;
        }
        const unsigned first = (white && s == x0) ? x0 - 1u : s;
        const unsigned last = e - 1;
        if (isWanted(s) && last >= r.left && first < r.right) {
          runs.push_back(
              {y, first < r.left ? 0 : first - r.left, (last < r.right ? last : r.right) - r.left});
        }
        s = e;
      }
    }
  }
  return runs;
}

// The runs painted into a bitmap of the rectangle's size.
inline Bitmap Paint(const std::vector<Run> &runs, const ImgRect &r) {
  Bitmap out(r.getWidth(), r.getHeight());
  for (const Run &run : runs) {
    out.fill(run.d0, run.d1 + 1, run.y - r.top);
  }
  return out;
}

// The pixels of a CImg1 as a bitmap (its pad bits left out).
inline Bitmap BitsOf(const CImg1 &image) {
  Bitmap out(image.getWidth(), image.getHeight());
  for (unsigned y = 0; y < out.height; ++y) {
    for (unsigned x = 0; x < out.width; ++x) {
      out.set(x, y, c2d_test::BitAt(image, x, y));
    }
  }
  return out;
}

inline Bitmap BitsOf(IImg *image) { return BitsOf(*dynamic_cast<CImg1 *>(image)); }

// The cut-out of rectangle r, owned by the caller.
inline c2d_test::ImgPtr<CImg1> Cut(CImg1G4 &page, const ImgRect &r) {
  return c2d_test::ImgPtr<CImg1>(dynamic_cast<CImg1 *>(page.getSubImage(r)));
}

// Strokes and noise with a white band (tiles without bytes) and a white last column.
inline Bitmap StrokePage(unsigned w, unsigned h, uint64_t seed, double noise = 0.08) {
  Bitmap page(w, h);
  Rng rng(seed);
  for (unsigned y = 0; y < h; ++y) {
    for (unsigned x = 0; x + 1 < w; ++x) {
      const bool band = y >= h / 3 && y < h / 2;
      if (!band && ((x + 2 * y) % 13 == 0 || x % 17 == 5 || y % 11 == 3 || rng.chance(noise))) {
        page.set(x, y);
      }
    }
  }
  return page;
}

// Bars down many rows (rows that copy the one above, across tiles and target rows),
// bars of up to `widest` columns and gaps of up to `gaps`, a thick band and a white
// last column.
inline Bitmap BarsPage(unsigned w, unsigned h, uint64_t seed, unsigned widest = 9,
                       unsigned gaps = 20) {
  Bitmap page(w, h);
  Rng rng(seed);
  for (unsigned x = rng.below(5); x + 1 < w;) {
    const unsigned bar = 1 + rng.below(widest), top = rng.below(h / 4);
    const unsigned bottom = std::min(h, top + h / 2 + rng.below(h));
    for (unsigned y = top; y < bottom; ++y) {
      page.fill(x, std::min(x + bar, w - 1), y);
    }
    x += bar + 1 + rng.below(gaps);
  }
  for (unsigned y = h / 3; y < h / 3 + 5 && y < h; ++y) {
    page.fill(w / 5, w - 1, y);
  }
  return page;
}

}  // namespace g4test

#endif  // TESTS_G4_G4TILEDPAGE_H_
