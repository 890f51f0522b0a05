// A host built against the installed package: create, read back, delete.
#include <cstdio>

#include "Image/Core2DImage.h"

int main() {
  CImg32 *image = CImg32::create(8, 4, RGB_ORDER_BGR);
  if (image == nullptr) {
    return 1;
  }
  image->setBackgroundColor(0x00FF8000u);
  const unsigned *pixels = image->peekData();
  const bool ok = pixels != nullptr && pixels[31] == 0x00FF8000u;
  void *untyped = image;
  const bool deleted = DeleteImageVoidPtr(untyped);
  std::printf("consumer: %s\n", ok && deleted ? "ok" : "FAILED");
  return ok && deleted ? 0 : 1;
}
