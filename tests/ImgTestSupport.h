// Helpers shared by the image tests: ownership of images under test and a watch on
// the error registry's report count.
#ifndef TESTS_IMGTESTSUPPORT_H_
#define TESTS_IMGTESTSUPPORT_H_

#include <cstdint>
#include <memory>

#include "Image/Core2DImage.h"

namespace c2d_test {

struct ImageDeleter {
  void operator()(const IImg *image) const { delete image; }
};

// An image the test owns, deleted through the virtual destructor as a host would.
template <typename T>
using ImgPtr = std::unique_ptr<T, ImageDeleter>;

// Records the registry's count when made; reports() is how many set/setr calls ran
// since, whatever their codes.
class ErrWatch {
 public:
  ErrWatch() : total_(CImgErr::sm_errtotal) {}
  uint32_t reports() const { return CImgErr::sm_errtotal - total_; }

 private:
  uint32_t total_;
};

}  // namespace c2d_test

#endif  // TESTS_IMGTESTSUPPORT_H_
