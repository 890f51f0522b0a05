// Rothstein codes and the run tables built from them. Every scaler and the shear
// rotation walk these tables by addition instead of dividing per pixel: position 0
// starts a run, and table[p] at a run's start is its length, so p += table[p] steps
// from run to run; entries inside a run are 0.
//
// All tables are zeroed heap blocks owned by the caller, who releases each with
// free(); none of these functions records anything in CImgErr. A table of no entries
// is still a valid one-entry block holding 0, so null means only that an allocation
// failed: then every table of the call is null and nothing is left allocated. A null
// output pointer makes the call allocate nothing and store null in the other outputs.
#ifndef IMAGE_SCALE_ROTHSTEIN_H_
#define IMAGE_SCALE_ROTHSTEIN_H_

#include <vector>

#include "Image/core/ImgExport.h"

// One mark of a Rothstein code. prev and next are used by the list form only.
struct rothstein_code_struct {
  unsigned int code;  // 1 if a run starts at this position
  rothstein_code_struct *prev;
  rothstein_code_struct *next;
};

// The code of length n and weight m as an array of n zeroed structures, of which only
// `code` is set: position i is marked when i * m >= k * n, k being the marks before
// it (64-bit products). Position 0 is always marked; with m <= n exactly m positions
// are, with m >= n (or m = 0) all of them. *out is released with free(), or is null.
C2D_EXPORT void getRothsteinArray(unsigned int n, unsigned int m, rothstein_code_struct **out);

// The same code as a circular doubly linked ring of n separately allocated nodes,
// with marks at the end of each period instead of the start: position i is marked
// when (i + 1) * m >= (k + 1) * n. *out is the ring's first node, released with
// DestroyRothsteinList; null for n = 0 or a failed allocation.
C2D_EXPORT void getRothsteinList(unsigned int n, unsigned int m, rothstein_code_struct **out);

// Releases every node of a ring from getRothsteinList. Null is ignored; a chain whose
// `next` ends in null is released up to that end.
C2D_EXPORT void DestroyRothsteinList(rothstein_code_struct *head);

// The run tables of the raster scalers, with exact 64-bit products: rowRuns has
// longHeight entries (runs of the code of weight shortHeight), colRuns longWidth
// entries (weight shortWidth). Enlarging callers pass the target size as the long
// sides, reducing callers the source size. Both tables are freed with free().
C2D_EXPORT void CreateRothTables(unsigned int **rowRuns, unsigned int **colRuns,
                                 unsigned int longWidth, unsigned int longHeight,
                                 unsigned int shortWidth, unsigned int shortHeight);

// Tables of the direct Group 4 enlarger. Products and counters are 32-bit and wrap
// for sides whose product reaches 2^32, so runs may then differ from
// CreateRothTables'; they still add up to the table's length.
//   rowRuns  dstHeight entries: runs of target rows per source row.
//   colRuns  dstWidth entries: runs of target columns per source column.
//   srcToDst srcWidth entries: the first target column of each source column.
//   dstByte, dstBit  dstWidth entries: byte x >> 3 and bit 7 - (x & 7) of column x.
// All five are freed with free().
C2D_EXPORT void CreateRothEnlargeTables(unsigned int dstWidth, unsigned int dstHeight,
                                        unsigned int srcWidth, unsigned int srcHeight,
                                        unsigned int **rowRuns, unsigned int **colRuns,
                                        unsigned int **srcToDst, unsigned int **dstByte,
                                        unsigned int **dstBit);

// Tables of the direct Group 4 reducer, 32-bit products as above.
//   rowRuns  srcHeight entries: runs of source rows per target row.
//   colRuns  srcWidth entries: runs of source columns per target column.
//   runStart srcWidth entries: the first column of the run holding column x.
//   dstByte, dstBit  srcWidth entries: byte and bit (7 is the leftmost) of the target
//            pixel that column x feeds. A run past the last target column feeds the
//            last one (column 0 when dstWidth is 0).
// All five are freed with free().
C2D_EXPORT void CreateRothReduceTables(unsigned int srcWidth, unsigned int srcHeight,
                                       unsigned int dstWidth, unsigned int dstHeight,
                                       unsigned int **rowRuns, unsigned int **colRuns,
                                       unsigned int **runStart, unsigned int **dstByte,
                                       unsigned int **dstBit);

// CreateRothReduceTables, and dstIndex[x] = the target column that column x feeds.
// dstIndex is written in place and never grown: the caller sizes it to srcWidth, and
// entries it does not have are not written. It is left untouched if an allocation
// fails.
C2D_EXPORT void CreateRothReduceTables2(unsigned int srcWidth, unsigned int srcHeight,
                                        unsigned int dstWidth, unsigned int dstHeight,
                                        unsigned int **rowRuns, unsigned int **colRuns,
                                        unsigned int **runStart, unsigned int **dstByte,
                                        unsigned int **dstBit, std::vector<unsigned int> &dstIndex);

#endif  // IMAGE_SCALE_ROTHSTEIN_H_
