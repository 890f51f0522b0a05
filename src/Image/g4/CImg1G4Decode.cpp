// CImg1G4: what stands directly on the scanline routines: a rectangle decompressed
// into a CImg1, and the page's background counted from the code, neither of which
// expands the page.
#include <cstdint>

#include "Image/core/internal/ImgReport.h"
#include "Image/g4/CImg1G4.h"
#include "Image/g4/G4Decode.h"
#include "Image/g4/internal/G4ScaleInfo.h"
#include "Image/raster/CImg1.h"

using c2d::Report;

namespace {

// Whether h rows of w bits, the target's stride apart, lie in its pixels.
bool RowsFit(const CImg1 &target, uint32_t w, uint32_t h) {
  const uint64_t stride = target.getBytesPerLine();
  const uint64_t rowBytes = (static_cast<uint64_t>(w) + 7u) / 8u;
  return target.peekData() != nullptr && h != 0 && rowBytes <= stride &&
         (static_cast<uint64_t>(h) - 1u) * stride + rowBytes <= target.getTotalBytes();
}

}  // namespace

bool CImg1G4::uncompress(CImg1 *target, const ImgRect &source) {
  if (!getRect().contains(source)) {
    Report(IMG_INVALID_ARG);
    return false;
  }
  const uint32_t width = source.getWidth();
  const uint32_t height = source.getHeight();
  // The rows are written through the target's stride, so they must fit its pixels.
  if (target == nullptr || !RowsFit(*target, width, height)) {
    Report(IMG_INVALID_ARG);
    return false;
  }
  unsigned char *row = target->peekData();
  const uint32_t stride = target->getBytesPerLine();
  if (CCITT_EnableG4Decode() != IMG_OK) {
    return false;
  }
  // The decode failures return true with the error set and the tables left
  // enabled: callers read the error, not the answer.
  if (PrepForDecode(source) == 0) {
    Report(IMG_DECODE_FAILED);
    return true;
  }
  G4ScaleInfo info;
  info.background = backgroundColor;
  info.left = source.left;
  info.right = source.right;
  uint64_t total = 0;
  uint32_t counts[kBatchRows];
  for (uint32_t y = 0; y < height;) {
    const uint32_t rows = RowsInBatch(height - y);
    if (decode_copy_rows(rows, row, stride, &info, counts) != IMG_OK) {
      Report(IMG_DECODE_FAILED);
      return true;
    }
    for (uint32_t r = 0; r < rows; ++r) {
      total += counts[r];
      StepCursor();
    }
    y += rows;
    row += static_cast<uint64_t>(rows) * stride;
  }
  if (!isBackgroundKnown()) {
    // Mostly black: the page is ink-coloured paper. Exactly at the threshold it is
    // not.
    const double share = static_cast<double>(total) / (static_cast<double>(width) * height);
    SettleBackground(*target, share > get1BitBGThreshold());
  }
  CCITT_DisableG4Decode();
  return true;
}

IImg *CImg1G4::getSubImage(const ImgRect &r) {
  if (!getRect().contains(r)) {
    Report(IMG_INVALID_ARG);
    return nullptr;
  }
  CImg1 *copy = CImg1::create(r.getWidth(), r.getHeight(), backgroundInterpretation,
                              foregroundInterpretation, alignment);
  if (copy == nullptr) {
    Report(IMG_FAIL);
    return nullptr;
  }
  if (!uncompress(copy, r)) {
    delete copy;
    return nullptr;
  }
  return copy;
}

unsigned int CImg1G4::calculateBackground() {
  if (backgroundState == IMG_BG_KNOWN) {
    return backgroundColor;
  }
  if (backgroundState == IMG_BG_NONE) {
    Report(IMG_FAIL);
    return 0;
  }
  if (CCITT_EnableG4Decode() != IMG_OK) {
    return 0;
  }
  // Kept as it stands: this failure leaves the tables enabled. Harmless, since any later
  // CCITT_DisableG4Decode frees them, and hosts may pair their own disable with it.
  if (PrepForDecode(getRect()) == 0) {
    Report(IMG_DECODE_FAILED);
    return 0;
  }
  const uint32_t height = getHeight();
  uint64_t sum = 0;
  uint32_t rows = 0;
  uint32_t sums[kBatchRows];
  while (rows < height) {
    const uint32_t batch = RowsInBatch(height - rows);
    if (decode_rows_and_sum(batch, sums) != IMG_OK) {
      break;
    }
    for (uint32_t r = 0; r < batch; ++r) {
      sum += sums[r];
      StepCursor();
    }
    rows += batch;
  }
  if (rows < height) {
    Report(IMG_DECODE_FAILED);
  }
  // Pad bits do not count here, unlike CImg1's count. No rows gives the share 0.
  const double pixels = static_cast<double>(getWidth()) * rows;
  const double ratio = pixels > 0 ? static_cast<double>(sum) / pixels : 0.0;
  backgroundColor = ratio > get1BitBGThreshold() ? 1u : 0u;
  backgroundState = IMG_BG_KNOWN;
  CCITT_DisableG4Decode();
  return backgroundColor;
}
