// libFuzzer harness for opening and rendering a PDF page through CImgPDF and the
// poppler renderer (built with -DC2D_FUZZ=ON; scripts/fuzz runs it). The input is the
// whole file.
//
// poppler itself is not instrumented, so coverage guides the library's side only;
// fontconfig's caches are kept out of the leak report by fuzz/lsan.supp. Each input is written to
// a file (the renderer opens paths), opened with bilevel detection and rendered at a
// few sizes under a pixel limit of 256 x 256, so that no render is large.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "Image/Core2DImage.h"
#include "PDFRender/CPDFRender.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *input, size_t size) {
  static const std::string path = "/tmp/pdf-fuzz-" + std::to_string(getpid()) + ".pdf";
  FILE *file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) {
    std::abort();
  }
  std::fwrite(input, 1, size, file);
  std::fclose(file);
  CPDFRender::setPixelLimit(256 * 256);

  std::string name = path;
  CImgPDF *doc = CImgPDF::create(&name[0], 1, true);
  if (doc == nullptr) {
    return 0;
  }
  if (doc->getWidth() == 0 || doc->getHeight() == 0) {
    std::abort();
  }
  for (unsigned depth : {32u, 1u}) {
    ImgScaleAttr attr;
    attr.bitDepth = depth;
    IImg *image = doc->scale(doc->getRect(), 200, 100, attr);
    if (image != nullptr && (image->getWidth() != 200 || image->getHeight() != 100)) {
      std::abort();
    }
    delete image;
  }
  delete doc->getSubImage(ImgRect(0u, 0u, doc->getWidth() / 2, doc->getHeight() / 2));
  (void)doc->calculateBackground();
  delete doc;
  return 0;
}
