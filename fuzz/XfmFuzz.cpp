// libFuzzer harness for Export::xfm between rasters. The first byte picks the source
// and target classes and the conversion mode; the next bytes give each image's width
// and height (1 to 256) and, for a palette, its entry count; the rest fills the
// source's pixels and palette (repeated when short).
#include <cstdint>
#include <cstring>
#include <memory>

#include "FuzzInput.h"
#include "Image/Core2DImage.h"

namespace {

struct Deleter {
  void operator()(IImg *image) const { delete image; }
};
using ImgPtr = std::unique_ptr<IImg, Deleter>;

void Fill(unsigned char *pixels, size_t n, FuzzInput &in) {
  const uint8_t *src = in.rest();
  const size_t have = in.left();
  for (size_t i = 0; i < n; ++i) {
    pixels[i] = have == 0 ? 0 : src[i % have];
  }
}

// A raster of class `kind` (0: CImg1, 1: CImg8, 2: CImg32) with pixels.
ImgPtr Make(int kind, FuzzInput &in, bool fill) {
  const uint32_t w = in.range(1, 256);
  const uint32_t h = in.range(1, 256);
  ImgPtr image;
  if (kind == 0) {
    image.reset(CImg1::create(w, h, in.byte() & 1, in.byte() & 1, IMG_ALIGN_NONE));
  } else if (kind == 1) {
    ColorMap map(1 + in.byte(), 0);
    image.reset(CImg8::create(w, h, &map, IMG_ALIGN_NONE));
  } else {
    image.reset(CImg32::create(w, h, (in.byte() & 1) ? RGB_ORDER_RGB : RGB_ORDER_BGR));
    if (image) {
      static_cast<CImg32 &>(*image).setBackgroundColor(in.u16() << 8 | in.byte());
    }
  }
  if (!image || !image->forceDataInit()) {
    return nullptr;
  }
  if (fill) {
    unsigned char *pixels =
        kind == 0   ? static_cast<CImg1 &>(*image).peekData()
        : kind == 1 ? static_cast<CImg8 &>(*image).peekData()
                    : reinterpret_cast<unsigned char *>(static_cast<CImg32 &>(*image).peekData());
    if (pixels != nullptr) {
      Fill(pixels, image->getTotalBytes(), in);
    }
  }
  return image;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FuzzInput in(data, size);
  const uint8_t pick = in.byte();
  const int from = pick % 3;
  const int to = (pick / 3) % 3;
  const unsigned mode = (pick / 9) % 4;
  ImgPtr target = Make(to, in, false);
  ImgPtr source = Make(from, in, true);
  if (target && source) {
    Export::xfm(*target, *source, mode);
  }
  return 0;
}
