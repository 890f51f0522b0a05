// The pixel limit of c2dimg.
#include "Limits.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace c2dimg {
namespace {

uint64_t sLimit = kDefaultMaxPixels;

}  // namespace

TooManyPixels::TooManyPixels(const std::string &path, uint32_t w, uint32_t h, uint64_t limit)
    : FileError(path, "is " + std::to_string(w) + " x " + std::to_string(h) +
                          " pixels, more than " + std::to_string(limit) +
                          " (--max-pixels N raises the limit)"),
      width(w),
      height(h) {}

void SetPixelLimit(const std::string &text) {
  if (text.empty()) {
    sLimit = kDefaultMaxPixels;
    return;
  }
  errno = 0;
  char *end = nullptr;
  const unsigned long long value = std::strtoull(text.c_str(), &end, 10);
  if (!std::isdigit(static_cast<unsigned char>(text[0])) || *end != '\0' || errno != 0 ||
      value == 0) {
    throw UsageError("--max-pixels wants a whole number of pixels, not '" + text + "'");
  }
  sLimit = value;
}

bool WithinPixelLimit(uint64_t width, uint64_t height) {
  // Each side is below 2^32, so the product does not overflow.
  return width < (uint64_t{1} << 32) && height < (uint64_t{1} << 32) && width * height <= sLimit;
}

void CheckPixels(const std::string &path, uint32_t width, uint32_t height) {
  if (!WithinPixelLimit(width, height)) {
    throw TooManyPixels(path, width, height, sLimit);
  }
}

ImgRect OnThePage(const std::vector<long> &rect, const std::string &text, uint32_t width,
                  uint32_t height) {
  const long right = static_cast<long>(width) - 1, bottom = static_cast<long>(height) - 1;
  const long l = std::max(rect[0], 0L), t = std::max(rect[1], 0L);
  const long r = std::min(rect[2], right), b = std::min(rect[3], bottom);
  if (rect[0] > rect[2] || rect[1] > rect[3] || l > r || t > b) {
    throw UsageError("--rect " + text + " is not on the " + std::to_string(width) + " x " +
                     std::to_string(height) + " image (L,T,R,B with L <= R and T <= B)");
  }
  if (l != rect[0] || t != rect[1] || r != rect[2] || b != rect[3]) {
    std::fprintf(stderr,
                 "c2dimg: note: --rect %s reaches past the %u x %u page; scaling %ld,%ld,%ld,%ld\n",
                 text.c_str(), width, height, l, t, r, b);
  }
  return ImgRect(static_cast<unsigned>(l), static_cast<unsigned>(t), static_cast<unsigned>(r),
                 static_cast<unsigned>(b));
}

}  // namespace c2dimg
