// libFuzzer harness for HP-RTL tiles, built by scripts/fuzz.
//
// The first byte picks the raster: even for a bilevel image coded as one tile, odd for
// a true-colour image coded in tiles whose size the next four bytes give (1 to 64
// each). Two bytes give the width (1 to 600), one the height (1 to 64); the rest fills
// the pixels, repeating. Every tile that codes must decode, under the strict reader of
// c2dimg, back to the rows it was made from.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "FuzzInput.h"
#include "Image/Core2DImage.h"
#include "RtlDecode.h"

namespace {

using Bytes = std::vector<uint8_t>;

void Fill(Bytes &pixels, FuzzInput &in) {
  size_t got = 0;
  const uint8_t *p = in.take(in.left(), &got);
  for (size_t i = 0; i < pixels.size(); ++i) {
    pixels[i] = got == 0 ? 0 : p[i % got];
  }
}

void Bilevel(uint32_t w, uint32_t h, FuzzInput &in) {
  const uint32_t stride = (w + 7) / 8;
  Bytes bits(size_t{stride} * h);
  Fill(bits, in);
  std::unique_ptr<CImg1> image(CImg1::create(w, h, bits.data(), static_cast<unsigned>(bits.size()),
                                             0, 1, IMG_ALIGN_NONE));
  if (image == nullptr) {
    std::abort();
  }
  std::unique_ptr<Img1TileIterator> it(image->getTileIterator(static_cast<int>(w),
                                                               static_cast<int>(h), CImg1::HP_RTL));
  if (it == nullptr) {
    std::abort();
  }
  unsigned char *data = nullptr;
  unsigned length = 0, x = 0, y = 0, tw = 0, th = 0, vw = 0, vh = 0;
  bool ok = false;
  if (!it->getNextTile(data, length, x, y, tw, th, vw, vh, ok) || !ok) {
    return;  // a job that outgrows the buffer fails, and says so
  }
  const auto decoded = c2dimg::rtl::DecodeRtl(Bytes(data, data + length), stride);
  if (!decoded.fault.empty() || decoded.rows.size() != h) {
    std::abort();
  }
  for (uint32_t r = 0; r < h; ++r) {
    if (std::memcmp(decoded.rows[r].data(), &bits[size_t{r} * stride], stride) != 0) {
      std::abort();
    }
  }
}

void Colour(uint32_t w, uint32_t h, int tw, int th, FuzzInput &in) {
  Bytes bytes(size_t{w} * h * 4);
  Fill(bytes, in);
  std::vector<unsigned> pixels(size_t{w} * h);
  std::memcpy(pixels.data(), bytes.data(), bytes.size());
  std::unique_ptr<CImg32> image(CImg32::create(
      w, h, pixels.data(), static_cast<unsigned>(pixels.size() * 4), RGB_ORDER_BGR));
  if (image == nullptr) {
    std::abort();
  }
  std::unique_ptr<Img32TileIterator> it(image->getTileIterator(tw, th, CImg32::HP_RTL));
  if (it == nullptr) {
    std::abort();
  }
  unsigned char *data = nullptr;
  unsigned length = 0, nullValue = 0, x = 0, y = 0, w2 = 0, h2 = 0, vw = 0, vh = 0;
  unsigned previous = 0;
  bool ok = false;
  while (it->getNextTile(data, length, nullValue, x, y, w2, h2, vw, vh, ok)) {
    const auto decoded = c2dimg::rtl::DecodeRtl(Bytes(data + previous, data + length), w2 * 3);
    if (!decoded.fault.empty() || decoded.rows.size() != vh) {
      std::abort();
    }
    for (unsigned r = 0; r < vh; ++r) {
      Bytes want(size_t{w2} * 3, 0);
      for (unsigned c = 0; c < vw; ++c) {
        std::memcpy(&want[c * 3], &pixels[size_t{y + r} * w + x + c], 3);
      }
      if (decoded.rows[r] != want) {
        std::abort();
      }
    }
    previous = length;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FuzzInput in(data, size);
  const bool colour = (in.byte() & 1) != 0;
  const int tw = static_cast<int>(in.range(1, 64)), th = static_cast<int>(in.range(1, 64));
  const uint32_t w = in.range(1, 600);
  const uint32_t h = 1 + in.byte() % 64;
  if (colour) {
    Colour(w, h, tw, th, in);
  } else {
    Bilevel(w, h, in);
  }
  return 0;
}
