// The pixel limit of c2dimg.
#include "Limits.h"

#include <cctype>
#include <cerrno>
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

}  // namespace c2dimg
