// G4ScaleInfo: the parameter block with which CImg1G4's scanline routines paint one
// decoded row into a target row. Internal: the operation that drives them makes it
// on its stack and points it at run tables it owns.
#ifndef IMAGE_G4_INTERNAL_G4SCALEINFO_H_
#define IMAGE_G4_INTERNAL_G4SCALEINFO_H_

#include <cstdint>

// Columns d are counted from the source rectangle's left edge. Every member starts
// at zero, so a forgotten one is defined.
struct G4ScaleInfo {
  // The image's backgroundColor: a non-zero colour paints the white runs.
  uint32_t background = 0;
  // Run table of columns: target columns per source column when enlarging, source
  // columns per target pixel when reducing.
  unsigned int *colRuns = nullptr;
  // Enlarging: first target column of source column d. Reducing: first column of the
  // group that holds d.
  unsigned int *srcMap = nullptr;
  // The source rectangle's columns, absolute and inclusive.
  uint32_t left = 0;
  uint32_t right = 0;
  // Reducing: byte and bit (7 is the leftmost pixel) of the target pixel that source
  // column d feeds. Copies and enlargements paint target columns directly.
  unsigned int *dstByte = nullptr;
  unsigned int *dstBit = nullptr;
  // Reducing, optional: the target column of source column d, dstByte[d] * 8 + 7 -
  // dstBit[d] worked out once for the whole walk. Null: the two tables are read.
  const unsigned int *dstColumn = nullptr;
  // Reducing, optional: s + 1 when dstColumn[d] is d >> s for every column d; for the
  // grey reduction, when cell k is columns k << s to ((k + 1) << s) - 1 for every
  // cell, and only with cellStart.
  uint32_t dstShift = 0;
  // 1: every source pixel of a group counts (a reduction that keeps thin lines);
  // 0: a group takes the value of its first column.
  uint32_t mergeRows = 0;
  // Out: source pixels painted in the row, counted only while the background is
  // unknown.
  uint32_t blackCount = 0;
  // The grey reduction's target width and rectangle width.
  uint32_t dstWidth = 0;
  uint32_t srcWidth = 0;
  // The grey reduction, optional: the first column of each target cell the rectangle
  // fills, then its width (dstWidth + 1 entries at most), given only when the column tables have
  // been checked to agree (the groups follow one another from column 0, group j
  // feeding cell j). A run's part of its end cells and the whole cells between then
  // come from it instead of from walking the groups one by one.
  const unsigned int *cellStart = nullptr;
};

#endif  // IMAGE_G4_INTERNAL_G4SCALEINFO_H_
