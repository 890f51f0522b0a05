// Helpers for hosts that hold an image as an untyped pointer.
#ifndef IMAGE_CORE_IMGVOIDPTR_H_
#define IMAGE_CORE_IMGVOIDPTR_H_

#include "Image/core/ImgExport.h"

// Deletes the IImg that p points to and clears p. False for a null pointer, and
// false, leaving p and the object alone, when the object's type is not one of the
// four image types: running a destructor through a wrong pointer is worse than a leak.
C2D_EXPORT bool DeleteImageVoidPtr(void *&p);
// 0 for a null pointer, otherwise the image's bits per pixel.
C2D_EXPORT unsigned QueryImageBitDepth(void *&p);

#endif  // IMAGE_CORE_IMGVOIDPTR_H_
