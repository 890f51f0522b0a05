// Core2DImage::FillTab: the span table behind the filled circles of CImg32.
#include "Image/draw/internal/FillTab.h"

#include <algorithm>
#include <cstdlib>

#include "Image/scale/internal/TableAlloc.h"

namespace Core2DImage {

FillTab::~FillTab() {
  std::free(leftEdge);
  std::free(rightEdge);
}

bool FillTab::reserve(uint32_t rows) {
  if (rows <= capacity) {
    return true;
  }
  // Fixed steps, so that circles of similar sizes reuse one allocation.
  uint32_t size = rows;
  for (const uint32_t step : {256u, 512u, 1024u, 2048u, 4096u}) {
    if (rows < step) {
      size = step;
      break;
    }
  }
  // The entries are set by start() before any is read, so nothing is carried over.
  auto *left = static_cast<int32_t *>(c2d::TableCalloc(size, sizeof(int32_t)));
  auto *right = static_cast<int32_t *>(c2d::TableCalloc(size, sizeof(int32_t)));
  if (left == nullptr || right == nullptr) {
    std::free(left);
    std::free(right);
    return false;
  }
  std::free(leftEdge);
  std::free(rightEdge);
  leftEdge = left;
  rightEdge = right;
  capacity = size;
  return true;
}

void FillTab::start(uint32_t width, uint32_t height, int32_t left, int32_t right, int32_t top,
                    int32_t bottom, int32_t centre, uint32_t colour) {
  imageWidth = width;
  imageHeight = height;
  figureLeft = left;
  figureRight = right;
  figureTop = top;
  figureBottom = bottom;
  centreColumn = centre;
  fillColor = colour;
  // firstRow starts at the width, not the height; any touched row lowers it to 0.
  firstRow = static_cast<int32_t>(width);
  lastRow = 0;
  const int64_t rows = std::clamp<int64_t>(int64_t{bottom} - top, 0, capacity);
  std::fill(leftEdge, leftEdge + rows, -1);
  std::fill(rightEdge, rightEdge + rows, static_cast<int32_t>(width));
}

void FillTab::record(int32_t row, int32_t column) {
  const int64_t t64 = int64_t{row} - figureTop;
  if (t64 < 0 || t64 >= capacity) {
    return;
  }
  const auto t = static_cast<int32_t>(t64);
  firstRow = std::min(firstRow, t);
  lastRow = std::max(lastRow, t);
  if (column < centreColumn) {
    leftEdge[t] = std::max(leftEdge[t], column);
  } else if (column > centreColumn) {
    rightEdge[t] = std::min(rightEdge[t], column);
  } else {
    leftEdge[t] = column;
    rightEdge[t] = column;
  }
}

void FillTab::fill(unsigned *const *rows) const {
  for (int64_t t = 0; t <= int64_t{lastRow} - firstRow; ++t) {
    const int64_t y = int64_t{figureTop} - firstRow + t;
    if (y < 0 || y >= imageHeight) {
      continue;
    }
    // The opening values -1 and imageWidth already clip a span to the image; the
    // clamp only guards a table filled by hand.
    const int64_t from = std::max<int64_t>(int64_t{leftEdge[t]} + 1, 0);
    const int64_t to = std::min<int64_t>(int64_t{rightEdge[t]} - 1, int64_t{imageWidth} - 1);
    if (from <= to) {
      std::fill(rows[y] + from, rows[y] + to + 1, fillColor);
    }
  }
}

}  // namespace Core2DImage
