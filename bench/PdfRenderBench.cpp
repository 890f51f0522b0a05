// A whole process that renders one PDF page to a 1700 x 2200 CImg32 through
// CImgPDF::scale and writes it as a binary PPM, for timing beside pdftoppm (see
// compare_pdf_render.sh):
//
//   PdfRenderBench FILE.pdf PAGE OUT.ppm
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "Image/Core2DImage.h"

int main(int argc, char **argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: %s FILE.pdf PAGE OUT.ppm\n", argv[0]);
    return 1;
  }
  constexpr unsigned kWidth = 1700, kHeight = 2200;
  std::unique_ptr<CImgPDF> doc(CImgPDF::create(argv[1], std::atoi(argv[2]), false));
  if (!doc) {
    std::fprintf(stderr, "%s: cannot open page %s\n", argv[1], argv[2]);
    return 2;
  }
  ImgScaleAttr attr;
  attr.bitDepth = 32;
  std::unique_ptr<IImg> page(doc->scale(doc->getRect(), kWidth, kHeight, attr));
  auto *pixels = dynamic_cast<CImg32 *>(page.get());
  if (pixels == nullptr || pixels->peekDataArray() == nullptr) {
    std::fprintf(stderr, "%s: the render failed\n", argv[1]);
    return 2;
  }
  FILE *out = std::fopen(argv[3], "wb");
  if (out == nullptr) {
    return 2;
  }
  std::fprintf(out, "P6\n%u %u\n255\n", kWidth, kHeight);
  // One spare byte: each pixel is stored as a whole word whose top byte the next
  // pixel overwrites.
  std::vector<unsigned char> row(3 * kWidth + 1);
  for (unsigned y = 0; y < kHeight; ++y) {
    const unsigned *from = pixels->peekDataArray()[y];
    unsigned char *to = row.data();
    // RGB order: red in the low byte.
    for (unsigned x = 0; x < kWidth; ++x, to += 3) {
      const unsigned word = from[x];
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
      std::memcpy(to, &word, 4);
#else
      to[0] = static_cast<unsigned char>(word);
      to[1] = static_cast<unsigned char>(word >> 8);
      to[2] = static_cast<unsigned char>(word >> 16);
#endif
    }
    std::fwrite(row.data(), 1, 3 * kWidth, out);
  }
  return std::fclose(out) == 0 ? 0 : 2;
}
