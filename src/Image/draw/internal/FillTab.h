// Core2DImage::FillTab: the row spans of a figure being drawn. Each plotted outline
// point narrows its row's span around a centre column, so a filled circle needs no
// second geometric pass. Internal to the colour rasters' drawing.
#ifndef IMAGE_DRAW_INTERNAL_FILLTAB_H_
#define IMAGE_DRAW_INTERNAL_FILLTAB_H_

#include <cstdint>

namespace Core2DImage {

class FillTab {
 public:
  FillTab() = default;
  ~FillTab();
  FillTab(const FillTab &) = delete;
  FillTab &operator=(const FillTab &) = delete;

  // Makes room for `rows` rows. Capacity grows in steps of 256, 512, 1024, 2048 and
  // 4096 rows, and to the exact count beyond; false, with the capacity and arrays
  // unchanged, when either array cannot be allocated.
  bool reserve(uint32_t rows);
  // Starts a figure with the box (left, right, top, bottom). The spans of rows 0 to
  // bottom - top - 1 open to the whole image width (-1 and imageWidth), which is what
  // clips them later. The last row is left as it is: the figure's outline always
  // passes through the centre column there and sets it. A box taller than the
  // capacity opens only the rows the capacity holds.
  void start(uint32_t width, uint32_t height, int32_t left, int32_t right, int32_t top,
             int32_t bottom, int32_t centre, uint32_t colour);
  // Narrows the span of image row `row` by an outline point in `column`. Rows above
  // the figure, and rows past the capacity, are ignored.
  void record(int32_t row, int32_t column);
  // Writes fillColor between the recorded edges of every touched row that lies in
  // the image; `rows` is the image's row table, imageHeight rows of imageWidth pixels.
  void fill(unsigned *const *rows) const;

  uint32_t capacity = 0;
  int32_t *leftEdge = nullptr;   // per row: rightmost outline column left of the centre
  int32_t *rightEdge = nullptr;  // per row: leftmost outline column right of the centre
  uint32_t imageWidth = 0;
  uint32_t imageHeight = 0;
  int32_t figureLeft = 0;
  int32_t figureRight = 0;
  int32_t figureTop = 0;
  int32_t figureBottom = 0;
  int32_t centreColumn = 0;
  uint32_t fillColor = 0;
  int32_t firstRow = 0;  // table rows touched so far
  int32_t lastRow = 0;
};

}  // namespace Core2DImage

#endif  // IMAGE_DRAW_INTERNAL_FILLTAB_H_
