// Grey mappings: the process-wide quadratic curve and the tables sampled from it,
// and the linear table for counts too fine for the curve.
#include "Image/scale/GreyMapping.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

#include "Image/scale/internal/TableAlloc.h"

namespace {

constexpr uint32_t kCurveLast = 11000;  // the curve has kCurveLast + 1 entries
constexpr uint32_t kLinearFrom = 11000;

using Curve = std::array<unsigned char, kCurveLast + 1>;

// x advances by repeated addition, not i * step: the rounding of that sum decides
// where the curve saturates, and it yields exactly 11000 entries.
Curve BuildCurve() {
  Curve curve{};
  double x = 0.0;
  uint32_t i = 0;
  while (0.825 > x && i < kCurveLast) {
    const double level = std::floor(std::pow(x, 2.0) * 1.5 * 255.0);
    curve[i] = static_cast<unsigned char>(std::min(255.0, level));
    x += 7.5e-5;
    ++i;
  }
  curve[kCurveLast] = 255;
  return curve;
}

// Built once, at the first call, and kept for the life of the process.
const Curve &GreyCurve() {
  static const Curve curve = BuildCurve();
  return curve;
}

void FillFromCurve(unsigned char *table, uint32_t n, bool invert) {
  const Curve &curve = GreyCurve();
  const double step = 11001.0 / n;
  double acc = 0.0;
  for (uint32_t i = n; i-- > 0;) {
    // ceil(acc) is at most 11000 for n below 11000; the cap only bounds the read.
    const double c = std::ceil(acc);
    const uint32_t index = c < kCurveLast ? static_cast<uint32_t>(c) : kCurveLast;
    acc += step;
    const unsigned char grey = curve[index];
    table[i] = invert ? static_cast<unsigned char>(~grey) : grey;
  }
  // The end points are forced in this order: a one-entry table ends as 255, or 0.
  table[n - 1] = invert ? 255 : 0;
  table[0] = invert ? 0 : 255;
}

// Spreads n entries over the levels by the run rule with 32-bit products, which wrap
// for n of 2^24 and more. Not inverted, levels run 255 down to 1 and the run of level
// 0 keeps the zeroed allocation; inverted, 0 up to 255.
void FillLinear(unsigned char *table, uint32_t n, bool invert) {
  uint32_t a = n << 8;
  uint32_t b = a;
  uint64_t pos = 0;  // wider than n, so stepping past the end cannot wrap
  const int first = invert ? 0 : 255;
  const int last = invert ? 255 : 1;
  const int dir = invert ? 1 : -1;
  for (int level = first;; level += dir) {
    b -= n;
    a -= 256;
    // SAFETY: a wrapped walk may use up the table before the last level; every write
    // is bounded by pos < n.
    if (pos < n) {
      table[pos] = static_cast<unsigned char>(level);
    }
    ++pos;
    while (a > b && pos < n) {
      table[pos] = static_cast<unsigned char>(level);
      ++pos;
      a -= 256;
    }
    if (level == last) {
      break;
    }
  }
  table[n - 1] = invert ? 255 : 0;
}

}  // namespace

void CreateGreyMapping(unsigned int n, unsigned char **out, unsigned int invert) {
  if (out == nullptr) {
    return;
  }
  // No entry to force the end points into, and 11001 / 0 to avoid.
  if (n == 0) {
    *out = nullptr;
    return;
  }
  auto *table = static_cast<unsigned char *>(c2d::TableCalloc(n, 1));
  if (table != nullptr) {
    if (n < kLinearFrom) {
      FillFromCurve(table, n, invert != 0);
    } else {
      FillLinear(table, n, invert != 0);
    }
  }
  *out = table;
}
