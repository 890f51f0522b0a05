// The shear tables of the rotation by three shears: for each row (or column) the
// whole-pixel offset it moves by, spread along the side by a Rothstein code so that
// neighbouring offsets differ by at most one. rotateGeneric of the raster classes
// makes both and frees them.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>

#include "Image/core/CImg.h"
#include "Image/core/internal/FreeDeleter.h"
#include "Image/scale/Rothstein.h"
#include "Image/scale/internal/TableAlloc.h"

namespace {

// Cut toward zero. NaN and values beyond 32 bits give 0x80000000, the processor's
// answer, where the plain conversion is undefined.
int32_t CutToInt32(double value) {
  if (value > -2147483649.0 && value < 2147483648.0) {
    return static_cast<int32_t>(value);
  }
  return INT32_MIN;
}

// `amount` pixels of shear spread over n entries. Entry 0 is -half whatever the sign;
// entry i then steps from half toward -half, or from -half toward half with
// `descending` false, by one at each marked position of the code. The table is
// `length` entries long: rows or columns past n (the table is read along the other
// side) hold entry n - 1. Null when an allocation fails.
int *MakeShearTable(int32_t amount, uint32_t n, uint32_t length, bool descendingIfPositive) {
  const bool positive = amount >= 0;
  const bool descending = positive == descendingIfPositive;
  // In 32 unsigned bits, so that 0x80000000 keeps its size.
  uint32_t mag = positive ? static_cast<uint32_t>(amount) : 0u - static_cast<uint32_t>(amount);
  if (mag == 0) {
    mag = 1;
  }
  rothstein_code_struct *marks = nullptr;
  getRothsteinArray(n, mag, &marks);
  const c2d::MallocArray<rothstein_code_struct> code(marks);
  auto *table = static_cast<int *>(c2d::TableCalloc(std::max(n, length), sizeof(int)));
  if (code == nullptr || table == nullptr) {
    std::free(table);
    return nullptr;
  }
  const int64_t half = mag >> 1;
  table[0] = static_cast<int32_t>(-half);
  int64_t count = 0;
  for (uint32_t i = 1; i < n; ++i) {
    if (code[i].code != 0) {
      ++count;
    }
    // Wraps at 32 bits only past 2^31 marks, on a side of more than 2^31 pixels.
    table[i] = static_cast<int32_t>(descending ? half - count : count - half);
  }
  if (n != 0) {
    std::fill(table + n, table + std::max(n, length), table[n - 1]);
  }
  return table;
}

}  // namespace

int *CImg::makeRotationXShearRoth(double radians) {
  const double amount = static_cast<double>(getHeight()) * std::tan(radians * 0.5);
  return MakeShearTable(CutToInt32(amount), getWidth(), getHeight(), true);
}

int *CImg::makeRotationYShearRoth(double radians) {
  const double amount = static_cast<double>(getWidth()) * std::sin(radians);
  return MakeShearTable(CutToInt32(amount), getHeight(), getWidth(), false);
}
