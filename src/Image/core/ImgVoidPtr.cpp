// DeleteImageVoidPtr and QueryImageBitDepth.
#include "Image/core/ImgVoidPtr.h"

#include "Image/core/IImg.h"

bool DeleteImageVoidPtr(void *&p) {
  if (p == nullptr) {
    return false;
  }
  IImg *image = static_cast<IImg *>(p);
  switch (image->getType()) {
    case IMG_TYPE_1BIT:
    case IMG_TYPE_G4:
    case IMG_TYPE_8BIT:
    case IMG_TYPE_32BIT:
      break;
    default:
      return false;
  }
  delete image;
  p = nullptr;
  return true;
}

unsigned QueryImageBitDepth(void *&p) {
  if (p == nullptr) {
    return 0;
  }
  return static_cast<IImg *>(p)->getBitDepth();
}
