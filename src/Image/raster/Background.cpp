// Background estimation of the raster classes: the page colour that reductions keep
// apart from ink and that tile output tests against. Each class counts in the way
// its pixels allow and caches the answer in the header.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "Image/core/internal/FreeDeleter.h"
#include "Image/core/internal/ImgReport.h"
#include "Image/raster/CImg1.h"
#include "Image/raster/CImg32.h"
#include "Image/raster/CImg8.h"
#include "Image/scale/internal/ScaleSupport.h"

using c2d::Report;

namespace {

// Set bits of every byte value, from those of a nibble.
constexpr std::array<uint8_t, 256> FillBitCounts() {
  constexpr uint8_t kNibble[16] = {0, 1, 1, 2, 1, 2, 2, 3, 1, 2, 2, 3, 2, 3, 3, 4};
  std::array<uint8_t, 256> counts{};
  for (unsigned b = 0; b < 256; ++b) {
    counts[b] = static_cast<uint8_t>(kNibble[b >> 4] + kNibble[b & 0xFu]);
  }
  return counts;
}

constexpr std::array<uint8_t, 256> kBitCounts = FillBitCounts();

// A fifth of the pixels, the support a background colour needs.
uint32_t SupportThreshold(uint32_t w, uint32_t h) {
  return static_cast<uint32_t>(static_cast<double>(static_cast<uint64_t>(w) * h) * 0.2);
}

// How many pixels from the first row on lie in the buffer of an image with a row
// table, whose rows ascend through one buffer: all of it when the image owns it,
// from its first row to the end of its last for a view. rows and perRow are the
// sizes the table was built with.
template <typename Pixel>
uint64_t ReachablePixels(Pixel *const *table, bool isView, uint64_t allocated, uint32_t rows,
                         uint32_t perRow) {
  if (table == nullptr || rows == 0) {
    return 0;
  }
  if (!isView) {
    return allocated;
  }
  return static_cast<uint64_t>(table[rows - 1] - table[0]) + perRow;
}

// The pixels walked flat from the first row: w * h less the last one, as far as
// the buffer reaches.
uint64_t CountedPixels(uint32_t w, uint32_t h, uint64_t reachable) {
  const uint64_t all = static_cast<uint64_t>(w) * h;
  return std::min(all == 0 ? 0 : all - 1, reachable);
}

}  // namespace

unsigned CImg1::calculateBackground() {
  if (backgroundState == IMG_BG_KNOWN) {
    return backgroundColor;
  }
  if (backgroundState == IMG_BG_NONE) {
    Report(IMG_FAIL);
    return 0;
  }
  // Every byte of every row, pad bits included. Without pixels nothing is set, and
  // rows that setExtents added past the buffer are not read.
  uint64_t set = 0;
  if (data != nullptr) {
    const uint64_t walked =
        std::min<uint64_t>(static_cast<uint64_t>(getHeight()) * bytesPerLine, totalBytes);
    for (uint64_t i = 0; i < walked; ++i) {
      set += kBitCounts[data[i]];
    }
  }
  const double bits = totalBytes * 8.0;
  const double ratio = bits > 0 ? static_cast<double>(set) / bits : 0.0;
  // Exactly at the threshold, clear bits stay paper.
  backgroundColor = ratio > get1BitBGThreshold() ? 1u : 0u;
  backgroundState = IMG_BG_KNOWN;
  return backgroundColor;
}

unsigned CImg8::calculateBackground() {
  if (!hasData()) {
    return 0;
  }
  if (backgroundState == IMG_BG_KNOWN) {
    return backgroundColor;
  }
  if (backgroundState == IMG_BG_NONE) {
    Report(IMG_FAIL);
    return backgroundColor;
  }
  const uint32_t w = getWidth();
  const uint32_t h = getHeight();
  // Flat from the first row, so a view counts its parent's bytes between its rows;
  // it never leaves the buffer, since its rows are at least its width apart.
  const uint64_t counted = CountedPixels(w, h, ReachableBytes());
  uint32_t histogram[256] = {};
  const unsigned char *pixels = dataArray[0];
  for (uint64_t i = 0; i < counted; ++i) {
    ++histogram[pixels[i]];
  }
  // Of equal counts the lowest index wins.
  unsigned best = 0;
  for (unsigned i = 1; i < 256; ++i) {
    if (histogram[i] > histogram[best]) {
      best = i;
    }
  }
  if (histogram[best] < SupportThreshold(w, h)) {
    backgroundColor = 255;
    backgroundState = IMG_BG_NONE;
  } else {
    backgroundColor = best;
    backgroundState = IMG_BG_KNOWN;
  }
  Report(IMG_OK);
  return backgroundColor;
}

unsigned CImg32::_calculateBackground() {
  if (backgroundState == IMG_BG_KNOWN || backgroundState == IMG_BG_NONE) {
    Report(IMG_OK);
    return backgroundColor;
  }
  const uint32_t w = getWidth();
  const uint32_t h = getHeight();
  const uint32_t threshold = SupportThreshold(w, h);

  constexpr size_t kKeys = 65536;
  c2d::MallocArray<uint32_t> counts(static_cast<uint32_t *>(std::calloc(kKeys, sizeof(uint32_t))));
  c2d::MallocArray<uint32_t> offsets(static_cast<uint32_t *>(std::calloc(kKeys, sizeof(uint32_t))));
  c2d::MallocArray<uint32_t> cursor(static_cast<uint32_t *>(std::calloc(kKeys, sizeof(uint32_t))));
  c2d::MallocArray<uint32_t> lowBytes(static_cast<uint32_t *>(std::calloc(256, sizeof(uint32_t))));
  c2d::MallocArray<uint32_t> sorted(static_cast<uint32_t *>(std::calloc(totalBytes, 1)));
  if (counts == nullptr || offsets == nullptr || cursor == nullptr || lowBytes == nullptr ||
      sorted == nullptr) {
    backgroundColor = 0xFFFFFFFFu;
    backgroundState = IMG_BG_NONE;
    Report(IMG_OUT_OF_MEMORY);
    return backgroundColor;
  }

  // Flat from the first row, all pixels but the last. A view reads its parent's
  // pixels between its rows without leaving the buffer; the sorted copy, of
  // totalBytes, bounds the walk of an image whose extents were changed.
  const uint64_t reachable = ReachablePixels(dataArray, isRefImage, totalBytes / 4u,
                                             AllocatedRows(), AllocatedPixelsPerRow());
  const uint64_t counted = std::min<uint64_t>(CountedPixels(w, h, reachable), totalBytes / 4u);
  const unsigned *pixels = dataArray[0];
  const auto keyOf = [](unsigned p) { return (p >> 8) & 0xFFFFu; };

  // Bits 8..23 only: neither alpha nor the low byte is part of the key.
  uint32_t *count = counts.get();
  for (uint64_t i = 0; i < counted; ++i) {
    ++count[keyOf(pixels[i])];
  }
  // A bucket has to exceed the threshold. Five such buckets would hold more than
  // all the pixels, so there are four at most.
  uint32_t heavy[4];
  size_t heavyCount = 0;
  for (uint32_t key = 0; key < kKeys && heavyCount < 4; ++key) {
    if (count[key] > threshold) {
      heavy[heavyCount++] = key;
    }
  }
  if (heavyCount == 0) {
    backgroundColor = 0xFFFFFFFFu;
    backgroundState = IMG_BG_NONE;
    Report(IMG_OK);
    return backgroundColor;
  }

  // A stable counting sort on the key: within a bucket, pixels keep image order.
  uint32_t *offset = offsets.get();
  uint32_t running = 0;
  for (size_t key = 0; key < kKeys; ++key) {
    offset[key] = running;
    running += count[key];
  }
  uint32_t *next = cursor.get();
  std::memcpy(next, offset, kKeys * sizeof(uint32_t));
  uint32_t *order = sorted.get();
  for (uint64_t i = 0; i < counted; ++i) {
    order[next[keyOf(pixels[i])]++] = pixels[i];
  }

  // Ties go to the lower key, then to the lower low byte.
  uint32_t bestCount = 0;
  uint32_t bestPixel = 0xFFFFFFFFu;
  uint32_t bestLow = 0;
  uint32_t *lows = lowBytes.get();
  for (size_t k = 0; k < heavyCount; ++k) {
    const uint32_t key = heavy[k];
    std::fill(lows, lows + 256, 0u);
    const uint32_t *stretch = order + offset[key];
    const uint32_t first = stretch[0];
    for (uint32_t i = 0; i < count[key]; ++i) {
      ++lows[stretch[i] & 0xFFu];
    }
    for (uint32_t low = 0; low < 256; ++low) {
      if (lows[low] > bestCount) {
        bestCount = lows[low];
        bestPixel = first;
        bestLow = low;
      }
    }
  }
  // The winning colour need only reach the threshold, where its bucket had to pass
  // it. Its top byte is that of the bucket's first pixel, not a counted value.
  if (bestCount < threshold) {
    backgroundColor = 0xFFFFFFFFu;
    backgroundState = IMG_BG_NONE;
  } else {
    backgroundColor = (bestPixel & ~0xFFu) | bestLow;
    backgroundState = IMG_BG_KNOWN;
  }
  Report(IMG_OK);
  return backgroundColor;
}

unsigned CImg32::calculateBackground() {
  if (!hasData()) {
    return 0;
  }
  const unsigned colour = _calculateBackground();
  if (CImgErr::get() != IMG_OUT_OF_MEMORY) {
    return colour;
  }
  // No room for the sorted copy of the pixels: estimate once more on a copy reduced
  // to a third of each side, bounded by the buffer like the scalers.
  const ImgRect whole = getRect();
  const ImgRect pixels(std::min(getWidth(), AllocatedPixelsPerRow()),
                       std::min(getHeight(), AllocatedRows()));
  ImgRect inside;
  (void)pixels.intersects(whole, inside);  // both start at (0, 0)
  const std::unique_ptr<CImg32> reduced(Reduce(c2d::ScaledSide(whole.getWidth(), 0.33),
                                               c2d::ScaledSide(whole.getHeight(), 0.33), inside));
  if (reduced == nullptr) {
    // The failed estimate stands, whatever the copy's creation recorded.
    Report(IMG_OUT_OF_MEMORY);
    return colour;
  }
  // Reduce copied the failed state; the copy is estimated afresh, with no retry.
  reduced->backgroundState = IMG_BG_UNKNOWN;
  (void)reduced->_calculateBackground();
  backgroundColor = reduced->backgroundColor;
  backgroundState = reduced->backgroundState;
  return backgroundColor;
}
