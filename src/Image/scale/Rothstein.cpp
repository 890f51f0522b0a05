// Rothstein codes and run tables: the code forms, the run tables of the raster
// scalers, and the column tables of the direct Group 4 scaler.
#include "Image/scale/Rothstein.h"

#include <cstdint>
#include <cstdlib>
#include <initializer_list>

#include "Image/core/internal/FreeDeleter.h"
#include "Image/scale/internal/TableAlloc.h"

namespace {

using c2d::MallocArray;

MallocArray<unsigned int> NewTable(uint32_t count) {
  return MallocArray<unsigned int>(
      static_cast<unsigned int *>(c2d::TableCalloc(count, sizeof(unsigned int))));
}

// True when every output pointer can be written; otherwise clears those that can.
bool OutputsUsable(std::initializer_list<unsigned int **> outs) {
  bool usable = true;
  for (unsigned int **out : outs) {
    usable = usable && out != nullptr;
  }
  if (!usable) {
    for (unsigned int **out : outs) {
      if (out != nullptr) {
        *out = nullptr;
      }
    }
  }
  return usable;
}

// Walks the code of length `longLen` and weight `shortLen` run by run, calling
// onRun(start, length). U is the width of the products: uint64_t is exact, uint32_t
// wraps as the Group 4 tables do. Position i continues a run while A > B, where A
// drops by shortLen per position and B by longLen per run. A is 0 at i = longLen
// whatever the wrap, so no run passes the end; the bound in the loop only makes that
// explicit.
template <typename U, typename OnRun>
void WalkRuns(uint32_t longLen, uint32_t shortLen, OnRun onRun) {
  U a = static_cast<U>(longLen) * static_cast<U>(shortLen);
  U b = a;
  uint32_t i = 0;
  while (i < longLen) {
    const uint32_t start = i;
    b -= longLen;
    a -= shortLen;
    ++i;
    uint32_t run = 1;
    while (a > b && i < longLen) {
      ++i;
      ++run;
      a -= shortLen;
    }
    onRun(start, run);
  }
}

// Run table of `longLen` entries. SAFETY: WalkRuns keeps start < longLen.
template <typename U>
void FillRuns(unsigned int *table, uint32_t longLen, uint32_t shortLen) {
  WalkRuns<U>(longLen, shortLen, [table](uint32_t start, uint32_t run) { table[start] = run; });
}

void BuildReduceTables(unsigned int srcWidth, unsigned int srcHeight, unsigned int dstWidth,
                       unsigned int dstHeight, unsigned int **rowRuns, unsigned int **colRuns,
                       unsigned int **runStart, unsigned int **dstByte, unsigned int **dstBit,
                       std::vector<unsigned int> *dstIndex) {
  if (!OutputsUsable({rowRuns, colRuns, runStart, dstByte, dstBit})) {
    return;
  }
  MallocArray<unsigned int> rows = NewTable(srcHeight);
  MallocArray<unsigned int> cols = NewTable(srcWidth);
  MallocArray<unsigned int> starts = NewTable(srcWidth);
  MallocArray<unsigned int> bytes = NewTable(srcWidth);
  MallocArray<unsigned int> bits = NewTable(srcWidth);
  if (!rows || !cols || !starts || !bytes || !bits) {
    *rowRuns = *colRuns = *runStart = *dstByte = *dstBit = nullptr;
    return;
  }
  FillRuns<uint32_t>(rows.get(), srcHeight, dstHeight);

  // With wrapped products a walk could in principle yield more runs than target
  // columns; such runs feed the last target column rather than one past the row.
  const uint32_t lastTarget = dstWidth != 0 ? dstWidth - 1 : 0;
  const size_t indexSize = dstIndex != nullptr ? dstIndex->size() : 0;
  uint32_t ordinal = 0;
  WalkRuns<uint32_t>(srcWidth, dstWidth, [&](uint32_t start, uint32_t run) {
    const uint32_t target = ordinal < lastTarget ? ordinal : lastTarget;
    cols.get()[start] = run;
    // SAFETY: start + run <= srcWidth, the length of the four tables.
    for (uint32_t x = start; x < start + run; ++x) {
      starts.get()[x] = start;
      bytes.get()[x] = target >> 3;
      bits.get()[x] = 7 - (target & 7);
      if (x < indexSize) {
        (*dstIndex)[x] = target;
      }
    }
    ++ordinal;
  });

  *rowRuns = rows.release();
  *colRuns = cols.release();
  *runStart = starts.release();
  *dstByte = bytes.release();
  *dstBit = bits.release();
}

}  // namespace

void getRothsteinArray(unsigned int n, unsigned int m, rothstein_code_struct **out) {
  if (out == nullptr) {
    return;
  }
  auto *code =
      static_cast<rothstein_code_struct *>(c2d::TableCalloc(n, sizeof(rothstein_code_struct)));
  if (code != nullptr) {
    // With m = 0, b wraps below 0 at the first mark and every position is marked.
    uint64_t a = static_cast<uint64_t>(n) * m;
    uint64_t b = a;
    for (uint32_t i = 0; i < n; ++i) {
      if (a <= b) {
        code[i].code = 1;
        b -= n;
      }
      a -= m;
    }
  }
  *out = code;
}

void getRothsteinList(unsigned int n, unsigned int m, rothstein_code_struct **out) {
  if (out == nullptr) {
    return;
  }
  *out = nullptr;
  rothstein_code_struct *head = nullptr;
  rothstein_code_struct *tail = nullptr;
  // The marks fall at the end of each period, one phase later than the array form.
  uint64_t limit = n;
  uint64_t acc = m;
  for (uint32_t i = 0; i < n; ++i) {
    auto *node =
        static_cast<rothstein_code_struct *>(c2d::TableCalloc(1, sizeof(rothstein_code_struct)));
    if (node == nullptr) {
      // The chain is not closed yet: its last next is null, where the release stops.
      DestroyRothsteinList(head);
      return;
    }
    if (acc >= limit) {
      node->code = 1;
      limit += n;
    }
    acc += m;
    if (head == nullptr) {
      head = node;
    } else {
      tail->next = node;
      node->prev = tail;
    }
    tail = node;
  }
  if (head != nullptr) {
    tail->next = head;
    head->prev = tail;
  }
  *out = head;
}

void DestroyRothsteinList(rothstein_code_struct *head) {
  if (head == nullptr) {
    return;
  }
  rothstein_code_struct *node = head->next;
  while (node != head && node != nullptr) {
    rothstein_code_struct *next = node->next;
    std::free(node);
    node = next;
  }
  std::free(head);
}

void CreateRothTables(unsigned int **rowRuns, unsigned int **colRuns, unsigned int longWidth,
                      unsigned int longHeight, unsigned int shortWidth, unsigned int shortHeight) {
  if (!OutputsUsable({rowRuns, colRuns})) {
    return;
  }
  MallocArray<unsigned int> rows = NewTable(longHeight);
  MallocArray<unsigned int> cols = NewTable(longWidth);
  if (!rows || !cols) {
    *rowRuns = *colRuns = nullptr;
    return;
  }
  // The runs are those of getRothsteinArray's codes, walked without building them.
  FillRuns<uint64_t>(rows.get(), longHeight, shortHeight);
  FillRuns<uint64_t>(cols.get(), longWidth, shortWidth);
  *rowRuns = rows.release();
  *colRuns = cols.release();
}

void CreateRothEnlargeTables(unsigned int dstWidth, unsigned int dstHeight, unsigned int srcWidth,
                             unsigned int srcHeight, unsigned int **rowRuns, unsigned int **colRuns,
                             unsigned int **srcToDst, unsigned int **dstByte,
                             unsigned int **dstBit) {
  if (!OutputsUsable({rowRuns, colRuns, srcToDst, dstByte, dstBit})) {
    return;
  }
  MallocArray<unsigned int> rows = NewTable(dstHeight);
  MallocArray<unsigned int> cols = NewTable(dstWidth);
  MallocArray<unsigned int> map = NewTable(srcWidth);
  MallocArray<unsigned int> bytes = NewTable(dstWidth);
  MallocArray<unsigned int> bits = NewTable(dstWidth);
  if (!rows || !cols || !map || !bytes || !bits) {
    *rowRuns = *colRuns = *srcToDst = *dstByte = *dstBit = nullptr;
    return;
  }
  FillRuns<uint32_t>(rows.get(), dstHeight, srcHeight);

  uint32_t source = 0;
  WalkRuns<uint32_t>(dstWidth, srcWidth, [&](uint32_t start, uint32_t run) {
    cols.get()[start] = run;
    // A run beyond the source columns (a zero source width) has no entry to name.
    if (source < srcWidth) {
      map.get()[source] = start;
    }
    ++source;
  });
  for (uint32_t x = 0; x < dstWidth; ++x) {
    bytes.get()[x] = x >> 3;
    bits.get()[x] = 7 - (x & 7);
  }

  *rowRuns = rows.release();
  *colRuns = cols.release();
  *srcToDst = map.release();
  *dstByte = bytes.release();
  *dstBit = bits.release();
}

void CreateRothReduceTables(unsigned int srcWidth, unsigned int srcHeight, unsigned int dstWidth,
                            unsigned int dstHeight, unsigned int **rowRuns, unsigned int **colRuns,
                            unsigned int **runStart, unsigned int **dstByte,
                            unsigned int **dstBit) {
  BuildReduceTables(srcWidth, srcHeight, dstWidth, dstHeight, rowRuns, colRuns, runStart, dstByte,
                    dstBit, nullptr);
}

void CreateRothReduceTables2(unsigned int srcWidth, unsigned int srcHeight, unsigned int dstWidth,
                             unsigned int dstHeight, unsigned int **rowRuns, unsigned int **colRuns,
                             unsigned int **runStart, unsigned int **dstByte, unsigned int **dstBit,
                             std::vector<unsigned int> &dstIndex) {
  BuildReduceTables(srcWidth, srcHeight, dstWidth, dstHeight, rowRuns, colRuns, runStart, dstByte,
                    dstBit, &dstIndex);
}
