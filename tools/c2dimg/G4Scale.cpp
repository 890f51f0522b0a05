// Group 4 pages decoded and scaled by the library, then mended where it drops a run:
// a run that starts on the rectangle's last column is not painted, so the target
// pixels that column feeds are computed again from the code of that column's group.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <utility>
#include <vector>

#include "G4Code.h"
#include "Library.h"

namespace c2dimg {
namespace {

// The library's tables and grey curves, which it allocates with malloc.
struct Free {
  void operator()(void *block) const { std::free(block); }
};
using Table = std::unique_ptr<unsigned, Free>;
using Curve = std::unique_ptr<unsigned char, Free>;

void SetBit(uint8_t *row, uint32_t x, bool on) {
  const auto mask = static_cast<uint8_t>(0x80u >> (x & 7));
  row[x >> 3] = static_cast<uint8_t>(on ? row[x >> 3] | mask : row[x >> 3] & ~mask);
}

// The last column of a decoded rectangle: its set bits are the code's.
void MendCopy(CImg1 &target, CImg1G4 &page, const ImgRect &r) {
  const std::vector<uint8_t> bits = CodedBits(page, r.right, r.right, r.top, r.bottom);
  const uint32_t x = r.getWidth() - 1;
  uint8_t *row = target.peekData();
  for (uint32_t y = 0; y < r.getHeight(); ++y, row += target.getBytesPerLine()) {
    SetBit(row, x, bits[y] != 0);
  }
}

// The target columns of the rectangle's last source column, one source row to a run
// of target rows.
void MendEnlarge(CImg1 &target, CImg1G4 &page, const ImgRect &r) {
  const uint32_t sw = r.getWidth(), sh = r.getHeight();
  const uint32_t w = target.getWidth(), h = target.getHeight();
  unsigned *rowRuns = nullptr, *colRuns = nullptr, *srcToDst = nullptr, *dstByte = nullptr,
           *dstBit = nullptr;
  CreateRothEnlargeTables(w, h, sw, sh, &rowRuns, &colRuns, &srcToDst, &dstByte, &dstBit);
  const Table tables[] = {Table(rowRuns), Table(colRuns), Table(srcToDst), Table(dstByte),
                          Table(dstBit)};
  if (rowRuns == nullptr) {
    return;
  }
  const std::vector<uint8_t> bits = CodedBits(page, r.right, r.right, r.top, r.bottom);
  const uint8_t ink = InkBit(page);
  const uint32_t first = srcToDst[sw - 1], end = std::min(w, first + colRuns[first]);
  for (uint32_t sy = 0, ty = 0; sy < sh && ty < h && rowRuns[ty] != 0; ++sy) {
    const uint32_t run = rowRuns[ty];
    for (uint32_t k = 0; k < run && ty < h; ++k, ++ty) {
      uint8_t *row = target.peekData() + size_t{ty} * target.getBytesPerLine();
      for (uint32_t x = first; x < end; ++x) {
        SetBit(row, x, bits[sy] == ink);
      }
    }
  }
}

// The last target column of a reduction: each cell of the last column group either
// holds ink (bilevel) or counts it through the grey curve of its size.
void MendReduce(IImg &target, CImg1G4 &page, const ImgRect &r) {
  const uint32_t sw = r.getWidth(), sh = r.getHeight();
  const uint32_t w = target.getWidth(), h = target.getHeight();
  unsigned *rowRuns = nullptr, *colRuns = nullptr, *runStart = nullptr, *dstByte = nullptr,
           *dstBit = nullptr;
  CreateRothReduceTables(sw, sh, w, h, &rowRuns, &colRuns, &runStart, &dstByte, &dstBit);
  const Table tables[] = {Table(rowRuns), Table(colRuns), Table(runStart), Table(dstByte),
                          Table(dstBit)};
  if (rowRuns == nullptr) {
    return;
  }
  const uint32_t group = runStart[sw - 1], n = sw - group;
  const std::vector<uint8_t> bits = CodedBits(page, r.left + group, r.right, r.top, r.bottom);
  const uint8_t ink = InkBit(page);
  auto *bilevel = dynamic_cast<CImg1 *>(&target);
  auto *grey = dynamic_cast<CImg32 *>(&target);
  // The grey curves are picked by cell size as the library picks them.
  const double fx = static_cast<double>(sw) / w, fy = static_cast<double>(sh) / h;
  const auto floorX = static_cast<uint32_t>(std::floor(fx)),
             ceilX = static_cast<uint32_t>(std::ceil(fx));
  const auto floorY = static_cast<uint32_t>(std::floor(fy)),
             ceilY = static_cast<uint32_t>(std::ceil(fy));
  // One curve for each cell size of the column, made when first needed.
  std::vector<std::pair<uint32_t, Curve>> curves;
  for (uint32_t sy = 0, ty = 0; sy < sh && ty < h && rowRuns[sy] != 0; sy += rowRuns[sy], ++ty) {
    const uint32_t run = std::min(rowRuns[sy], sh - sy);
    uint32_t count = 0;
    for (uint32_t y = sy; y < sy + run; ++y) {
      for (uint32_t x = 0; x < n; ++x) {
        count += bits[size_t{y} * n + x] == ink ? 1 : 0;
      }
    }
    if (bilevel != nullptr) {
      SetBit(bilevel->peekData() + size_t{ty} * bilevel->getBytesPerLine(), w - 1, count != 0);
      continue;
    }
    const uint32_t area =
        (rowRuns[sy] == floorY ? floorY : ceilY) * (colRuns[group] == floorX ? floorX : ceilX);
    auto made =
        std::find_if(curves.begin(), curves.end(),
                     [area](const std::pair<uint32_t, Curve> &c) { return c.first == area; });
    if (made == curves.end()) {
      unsigned char *curve = nullptr;
      CreateGreyMapping(area + 1, &curve, 0);
      made = curves.emplace(curves.end(), area, Curve(curve));
    }
    const unsigned char *curve = made->second.get();
    if (curve == nullptr || grey == nullptr || count > area) {
      return;
    }
    const uint32_t g = curve[count];
    grey->peekDataArray()[ty][w - 1] = g | g << 8 | g << 16;
  }
}

}  // namespace

IImg *ExtractG4(CImg1G4 &page, const ImgRect &rect) {
  // On a known background of 0 the library paints the code's set runs and inverts
  // nothing, which gives the page as stored.
  page.setBackgroundColor(0);
  IImg *result = page.getSubImage(rect);
  if (auto *bilevel = dynamic_cast<CImg1 *>(result)) {
    MendCopy(*bilevel, page, rect);
  }
  return result;
}

IImg *ScaleG4(CImg1G4 &page, const ImgRect &rect, uint32_t width, uint32_t height,
              ImgScaleAttr &attr) {
  const uint32_t sw = rect.getWidth(), sh = rect.getHeight();
  // The library's choice of path, by the sides alone.
  const bool reduceX = width < sw, reduceY = height < sh;
  const bool enlargeX = width > sw, enlargeY = height > sh;
  const ImageScaleType how = reduceX && enlargeY    ? IMG_SCALE_REDUCE_X_ENLARGE_Y
                             : enlargeX && reduceY  ? IMG_SCALE_ENLARGE_X_REDUCE_Y
                             : reduceX || reduceY   ? IMG_SCALE_REDUCE
                             : enlargeX || enlargeY ? IMG_SCALE_ENLARGE
                                                    : IMG_SCALE_SAME;
  if (how == IMG_SCALE_SAME) {
    return ExtractG4(page, rect);
  }
  if (how == IMG_SCALE_REDUCE_X_ENLARGE_Y || how == IMG_SCALE_ENLARGE_X_REDUCE_Y) {
    // Enlarged along one side from the code, then scaled as a bitmap, as the library
    // does; the bitmap's set bits stay ink.
    ImagePtr step(ScaleG4(page, rect, reduceX ? sw : width, reduceX ? height : sh, attr));
    auto *bilevel = dynamic_cast<CImg1 *>(step.get());
    if (bilevel == nullptr) {
      return nullptr;
    }
    bilevel->setBackgroundColor(0);
    return bilevel->scale(bilevel->getRect(), width, height, attr);
  }
  const bool reduce = how == IMG_SCALE_REDUCE;
  const auto dark = [&] {
    return page.getBackgroundState() == IMG_BG_KNOWN && page.getBackgroundColor() != 0;
  };
  // The grey reduction of a page whose background is still unknown counts the white
  // runs as ink; scaleToGrey settles it first, on light paper in the same pass.
  IImg *result = nullptr;
  if (!dark()) {
    result = attr.bitDepth == 32 && page.getBackgroundState() != IMG_BG_KNOWN
                 ? page.scaleToGrey(rect, width, height)
                 : page.scale(rect, width, height, attr);
  }
  if (dark()) {
    // On dark paper the library paints the light runs, and drops those that start a
    // row's first tile as well as the rectangle's last column; the page is decoded as
    // stored instead and scaled as a bitmap, which keeps thin light strokes.
    delete result;
    // The bitmap starts on the byte that holds the rectangle's first column, so that
    // its blocks are tested on the bytes a bitmap of the whole page would give.
    const uint32_t left = std::min(rect.left, rect.right), top = std::min(rect.top, rect.bottom);
    const uint32_t start = left & ~7u;
    ImagePtr bitmap(ExtractG4(page, ImgRect(start, top, std::max(rect.left, rect.right),
                                            std::max(rect.top, rect.bottom))));
    page.setBackgroundColor(1);
    if (bitmap == nullptr) {
      return nullptr;
    }
    const ImgRect part(left - start, 0u, bitmap->getWidth() - 1, bitmap->getHeight() - 1);
    return ScaleBitmap(dynamic_cast<CImg1 &>(*bitmap), part, width, height, attr);
  }
  if (result == nullptr) {
    return nullptr;
  }
  if (!reduce) {
    MendEnlarge(dynamic_cast<CImg1 &>(*result), page, rect);
  } else {
    MendReduce(*result, page, rect);
  }
  return result;
}

}  // namespace c2dimg
