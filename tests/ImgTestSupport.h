// Helpers shared by the image tests: ownership of images under test and a watch on
// the error registry's report count.
#ifndef TESTS_IMGTESTSUPPORT_H_
#define TESTS_IMGTESTSUPPORT_H_

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "Image/Core2DImage.h"
#include "Image/scale/internal/TableAlloc.h"

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

// A bilevel raster that claims another type: a cast on the type alone would misread it.
struct Impostor : CImg1 {
  explicit Impostor(ImageType claimed = IMG_TYPE_32BIT, unsigned w = 4, unsigned h = 2) {
    initHeader(w, h, w, h, 0, 1, IMG_ALIGN_NONE);
    (void)initData();
    type = claimed;
  }
};

// ---- Scaling and transform tables.

// While it lives, the table allocations numbered `first` to `first + count - 1`
// (from 0) fail and the others succeed; failed() tells whether one did.
class FailTables {
 public:
  explicit FailTables(int first, int count = 1 << 30) : previous_(c2d::SetTableCalloc(&Calloc)) {
    next_ = -first;
    count_ = count;
    failed_ = false;
  }
  ~FailTables() { c2d::SetTableCalloc(previous_); }
  static bool failed() { return failed_; }

 private:
  static void *Calloc(std::size_t n, std::size_t size) {
    const bool fail = next_ >= 0 && next_ < count_;
    ++next_;
    failed_ = failed_ || fail;
    return fail ? nullptr : std::calloc(n, size);
  }
  static inline int next_ = 0;
  static inline int count_ = 0;
  static inline bool failed_ = false;
  c2d::TableCallocFn previous_;
};

// A raster's whole buffer, pad included, as its pixel type (peekData may allocate).
template <typename Raster>
auto BufferOf(Raster &image) {
  const auto *data = image.peekData();
  using Pixel = std::remove_const_t<std::remove_pointer_t<decltype(data)>>;
  const std::size_t count = data == nullptr ? 0 : image.getTotalBytes() / sizeof(Pixel);
  return std::vector<Pixel>(data, data + count);
}

// ---- Host buffers, bilevel pixels and the settings file.

// `count` values from `first` up, wrapping in T.
template <typename T>
std::vector<T> Sequence(std::size_t count, T first = T()) {
  std::vector<T> values(count);
  for (std::size_t i = 0; i < count; ++i) {
    values[i] = static_cast<T>(first + i);
  }
  return values;
}

// A copy of `values` in a buffer from the host allocator, as a host hands pixels to
// the factories; FreeHostBuffer takes any such buffer back (null is fine).
template <typename T>
T *HostBuffer(const std::vector<T> &values) {
  auto *buffer = static_cast<T *>(IImg::allocImageBuffer(values.size() * sizeof(T)));
  std::copy(values.begin(), values.end(), buffer);
  return buffer;
}
inline void FreeHostBuffer(void *buffer) { IImg::deallocImageBuffer(buffer); }

// Pixel (x, y) of a bilevel image: rows of getBytesPerLine bytes, leftmost pixel in
// the high bit.
inline bool BitAt(const CImg1 &image, unsigned x, unsigned y) {
  const unsigned char byte = image.peekData()[y * image.getBytesPerLine() + x / 8];
  return ((byte >> (7 - x % 8)) & 1) != 0;
}

// While it lives, XDG_CONFIG_HOME names a fresh directory, so the threshold setting
// reads only what write() puts there; the root variable is cleared on the way out.
class ScopedSettings {
 public:
  ScopedSettings()
      : dir_(std::filesystem::temp_directory_path() /
             ("c2d-settings-" + std::to_string(::getpid()) + "-" +
              ::testing::UnitTest::GetInstance()->current_test_info()->name())) {
    std::filesystem::create_directories(dir_ / "core2dimage");
    ::setenv("XDG_CONFIG_HOME", dir_.c_str(), 1);
  }
  ~ScopedSettings() {
    ::unsetenv("QVX_REG_ROOT_COMMON_RETAINED");
    ::unsetenv("XDG_CONFIG_HOME");
    std::filesystem::remove_all(dir_);
  }
  ScopedSettings(const ScopedSettings &) = delete;
  ScopedSettings &operator=(const ScopedSettings &) = delete;

  // Sets the key root (null unsets it) and writes `text` as the whole file (null
  // removes it).
  void write(const char *root, const char *text) const {
    if (root == nullptr) {
      ::unsetenv("QVX_REG_ROOT_COMMON_RETAINED");
    } else {
      ::setenv("QVX_REG_ROOT_COMMON_RETAINED", root, 1);
    }
    const std::filesystem::path file = dir_ / "core2dimage" / "registry.ini";
    if (text == nullptr) {
      std::filesystem::remove(file);
    } else {
      std::ofstream(file) << text;
    }
  }
  // The threshold percentage as the only entry, under the root "R".
  void writeThreshold(int percent) const {
    const std::string text =
        "[R\\Orvex2DViewer\\RasterData]\n1BitBGThreshold=" + std::to_string(percent) + "\n";
    write("R", text.c_str());
  }

 private:
  std::filesystem::path dir_;
};

}  // namespace c2d_test

#endif  // TESTS_IMGTESTSUPPORT_H_
