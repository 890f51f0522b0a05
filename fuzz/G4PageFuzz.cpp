// libFuzzer harness for a Group 4 page held as coded tiles. The first bytes give the
// page width and height (1 to 1024), the tile side (16 to 256 by 16) and the
// rectangle to cut out; then each tile, in grid order, takes a length byte (times 4)
// and that many coded bytes in the decoder's word order. The page is cut out, scaled
// to bilevel and grey, asked for its background, mirrored and turned a quarter.
#include <cstdint>
#include <memory>
#include <vector>

#include "FuzzInput.h"
#include "Image/Core2DImage.h"

namespace {

struct Deleter {
  void operator()(IImg *image) const { delete image; }
};
using ImgPtr = std::unique_ptr<IImg, Deleter>;

void Drop(IImg *result, IImg *source) {
  if (result != source) {
    delete result;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FuzzInput in(data, size);
  const uint32_t width = in.range(1, 1024);
  const uint32_t height = in.range(1, 1024);
  const uint32_t tile = 16 * (1 + in.byte() % 16);
  const uint32_t across = (width + tile - 1) / tile;
  const uint32_t down = (height + tile - 1) / tile;
  ImgRect cut;
  cut.left = in.range(0, width - 1);
  cut.top = in.range(0, height - 1);
  cut.right = in.range(cut.left, width - 1);
  cut.bottom = in.range(cut.top, height - 1);
  const uint8_t flags = in.byte();

  std::vector<std::vector<unsigned char>> bytes(across * down);
  std::vector<unsigned char *> tiles(across * down);
  std::vector<unsigned> lengths(across * down);
  for (size_t i = 0; i < bytes.size(); ++i) {
    size_t got = 0;
    const uint8_t *p = in.take(4u * in.byte(), &got);
    bytes[i].assign(p, p + got);
    tiles[i] = bytes[i].empty() ? nullptr : bytes[i].data();
    lengths[i] = static_cast<unsigned>(got);
  }
  ImgPtr page(CImg1G4::create(width, height, tile, tile, tiles.data(), lengths.data(), 0, 1,
                              IMG_ALIGN_NONE));
  if (!page) {
    return 0;
  }
  CImg1G4 &g4 = static_cast<CImg1G4 &>(*page);

  ImgPtr target(
      CImg1::create(cut.right - cut.left + 1, cut.bottom - cut.top + 1, 0, 1, IMG_ALIGN_NONE));
  if (target) {
    g4.uncompress(static_cast<CImg1 *>(target.get()), cut);
  }
  if (flags & 1) {
    g4.calculateBackground();
  }
  ImgScaleAttr attr;
  attr.bitDepth = (flags & 2) ? 32 : 1;
  const uint32_t toW = 1 + (cut.right - cut.left) / (1 + (flags >> 4));
  const uint32_t toH = 1 + (cut.bottom - cut.top) / (1 + (flags >> 4));
  Drop(page->scale(cut, toW, toH, attr), page.get());
  Drop(page->mirror((flags & 4) ? IMG_MIR_X : IMG_MIR_Y), page.get());
  Drop(page->rotate((flags & 8) ? 90.0 : 270.0), page.get());
  return 0;
}
