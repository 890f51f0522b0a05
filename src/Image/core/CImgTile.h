// CImgTile: a tile record for hosts. The library itself does not use it.
#ifndef IMAGE_CORE_CIMGTILE_H_
#define IMAGE_CORE_CIMGTILE_H_

#include <cstdint>

#include "Image/core/ImgExport.h"
#include "Image/core/ImgRect.h"

class C2D_EXPORT CImgTile {
 public:
  // Clears the rectangle, and the other fields too so that nothing is left undefined.
  CImgTile();
  CImgTile(const CImgTile &) = default;
  CImgTile(CImgTile &&) = default;
  CImgTile &operator=(const CImgTile &) = default;
  CImgTile &operator=(CImgTile &&) = default;
  // Clears rect; `data` is not owned and is not freed.
  ~CImgTile() = default;

  void *data;
  // Host-defined: the library gives them no meaning.
  uint32_t first;
  uint32_t second;
  ImgRect rect;
};

#endif  // IMAGE_CORE_CIMGTILE_H_
