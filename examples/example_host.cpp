// Example host: builds a page lazily, draws into it through a reference image, cuts
// a sub-image out, and shows what the error registry says about a bad request.
#include <cstdio>

#include "Image/Core2DImage.h"

namespace {

void Describe(const char *what, IImg &image) {
  std::printf("%-22s %u x %u, %u bits, %u bytes per line, %s\n", what, image.getWidth(),
              image.getHeight(), image.getBitDepth(), image.getBytesPerLine(),
              image.hasData() ? "pixels allocated" : "no pixels yet");
}

}  // namespace

int main() {
  CImg32 *page = CImg32::create(640, 480, RGB_ORDER_BGR);
  if (page == nullptr) {
    std::fprintf(stderr, "could not create the page: 0x%08X\n",
                 static_cast<unsigned>(CImgErr::get()));
    return 1;
  }
  page->setBackgroundColor(0x00FFFFFFu);  // white paper, still no pixel memory
  Describe("lazy page", *page);

  // Views share pixels, so the page needs them first: they come up white.
  if (!page->forceDataInit()) {
    std::fprintf(stderr, "out of memory for the page's pixels\n");
    delete page;
    return 1;
  }
  // A view of a 100 x 50 box; writing through it writes the page.
  CImg32 *box = CImg32::createRefImg(*page, Core2DImage::IntRect(100, 200, 199, 249));
  if (box == nullptr) {
    std::fprintf(stderr, "could not make a reference image\n");
    delete page;
    return 1;
  }
  Describe("page with pixels", *page);
  for (unsigned y = 0; y < box->getHeight(); ++y) {
    for (unsigned x = 0; x < box->getWidth(); ++x) {
      (*box)(y, x) = 0x000000FFu;  // red in BGR order
    }
  }
  Describe("reference image", *box);
  delete box;

  IImg *cut = page->getSubImage(ImgRect(180, 240, 259, 279));
  if (cut == nullptr) {
    std::fprintf(stderr, "could not cut out a sub-image\n");
    delete page;
    return 1;
  }
  Describe("sub-image", *cut);
  const auto *cutPixels = static_cast<CImg32 *>(cut)->constDataArray();
  std::printf("sub-image corners: 0x%08X (inside the box), 0x%08X (paper)\n", cutPixels[0][0],
              cutPixels[39][79]);
  delete cut;

  IImg *none = page->getSubImage(ImgRect(1000, 1000, 1100, 1100));
  std::printf("a rectangle off the page gives %s, last error 0x%08X\n",
              none == nullptr ? "no image" : "an image", static_cast<unsigned>(CImgErr::get()));

  void *untyped = page;
  std::printf("deleted through an untyped pointer: %s\n",
              DeleteImageVoidPtr(untyped) ? "yes" : "no");
  return 0;
}
