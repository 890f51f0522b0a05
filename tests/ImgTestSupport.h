// Helpers shared by the image tests.
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
#include <random>
#include <string>
#include <type_traits>
#include <utility>
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

// reports(): how many set/setr calls ran since it was made, whatever their codes.
struct ErrWatch {
  uint32_t reports() const { return CImgErr::sm_errtotal - start; }
  const uint32_t start = CImgErr::sm_errtotal;
};

// A bilevel raster that claims another type: a cast on the type alone would misread it.
struct Impostor : CImg1 {
  explicit Impostor(ImageType claimed = IMG_TYPE_32BIT, unsigned w = 4, unsigned h = 2) {
    initHeader(w, h, w, h, 0, 1, IMG_ALIGN_NONE);
    (void)initData();
    type = claimed;
  }
};

// While it lives, table allocations `first` to `first + count - 1` (from 0) fail.
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

// `count` values from `first` up, wrapping in T.
template <typename T>
std::vector<T> Sequence(std::size_t count, T first = T()) {
  std::vector<T> values(count);
  for (std::size_t i = 0; i < count; ++i) {
    values[i] = static_cast<T>(first + i);
  }
  return values;
}

// A copy of `values` from the host allocator, as hosts hand pixels over; null frees fine.
template <typename T>
T *HostBuffer(const std::vector<T> &values) {
  auto *buffer = static_cast<T *>(IImg::allocImageBuffer(values.size() * sizeof(T)));
  std::copy(values.begin(), values.end(), buffer);
  return buffer;
}
inline void FreeHostBuffer(void *buffer) { IImg::deallocImageBuffer(buffer); }

// Bit i of a bilevel buffer, the first pixel of each byte in its high bit.
inline bool GetBit(const unsigned char *bytes, uint64_t i) {
  return ((bytes[i / 8] >> (7 - i % 8)) & 1) != 0;
}
inline void SetBit(unsigned char *bytes, uint64_t i, bool on = true) {
  const unsigned mask = 0x80u >> (i % 8);
  bytes[i / 8] = static_cast<unsigned char>(on ? (bytes[i / 8] | mask) : (bytes[i / 8] & ~mask));
}
// Pixel (x, y) of a bilevel image as the bits lie: on into the next rows, 0 past the buffer.
inline bool BitAt(const CImg1 &image, uint64_t x, uint64_t y) {
  const uint64_t at = y * image.getBytesPerLine() + x / 8;
  return at < image.getTotalBytes() && ((image.peekData()[at] >> (7 - x % 8)) & 1) != 0;
}
inline void PutBit(CImg1 &image, unsigned x, unsigned y, bool on = true) {
  SetBit(image.peekData(), uint64_t{y} * image.getBytesPerLine() * 8 + x, on);
}

inline ImgPtr<CImg32> Make32(unsigned w, unsigned h, std::vector<unsigned> pixels,
                             RGBOrder order = RGB_ORDER_BGR) {
  return ImgPtr<CImg32>(
      CImg32::create(w, h, pixels.data(), static_cast<unsigned>(pixels.size() * 4), order));
}
inline ImgPtr<CImg32> Flat32(unsigned w, unsigned h, unsigned pixel,
                             RGBOrder order = RGB_ORDER_BGR) {
  return Make32(w, h, std::vector<unsigned>(std::size_t{w} * h, pixel), order);
}
template <typename F>
ImgPtr<CImg32> Drawn32(unsigned w, unsigned h, F &&f, RGBOrder order = RGB_ORDER_BGR) {
  std::vector<unsigned> pixels(std::size_t{w} * h);
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    pixels[i] = f(static_cast<unsigned>(i % w), static_cast<unsigned>(i / w));
  }
  return Make32(w, h, std::move(pixels), order);
}
// A null map gives the grey ramp.
inline ImgPtr<CImg8> Make8(unsigned w, unsigned h, std::vector<unsigned char> bytes,
                           ImgAlignmentEnum align = IMG_ALIGN_NONE, ColorMap *map = nullptr) {
  return ImgPtr<CImg8>(
      CImg8::create(w, h, bytes.data(), static_cast<unsigned>(bytes.size()), map, align));
}
// `bytes` must be the image's whole size.
inline ImgPtr<CImg1> Make1(unsigned w, unsigned h, std::vector<unsigned char> bytes,
                           ImgAlignmentEnum align = IMG_ALIGN_NONE, unsigned background = 0,
                           unsigned foreground = 1) {
  return ImgPtr<CImg1>(CImg1::create(w, h, bytes.data(), static_cast<unsigned>(bytes.size()),
                                     background, foreground, align));
}

// A clear bilevel image whose bytes, pad bits included, are then random from `seed`.
inline ImgPtr<CImg1> RandomBits(unsigned w, unsigned h, ImgAlignmentEnum align, uint32_t seed,
                                unsigned background = 0, unsigned foreground = 1) {
  ImgPtr<CImg1> image(CImg1::create(w, h, background, foreground, align));
  std::mt19937 rng(seed);
  for (unsigned i = 0; i < image->getTotalBytes(); ++i) {
    image->peekData()[i] = static_cast<unsigned char>(rng() >> 24);
  }
  return image;
}

inline RasOpXfmAttr At(int left, int top, unsigned char keyed = 0, unsigned key = 0) {
  RasOpXfmAttr attr;
  attr.left = left;
  attr.top = top;
  attr.keyed = keyed;
  attr.transparentColor = key;
  return attr;
}
// A code no refusal under test records, so that a test sees whether one overwrote it.
inline void MarkRegistry() { CImgErr::set(IMG_DECODE_FAILED, nullptr, 0); }

// While it lives, the settings file is read from a fresh directory that write() fills.
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

  // Sets the key root and the whole file; null unsets or removes.
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
