// Internal shorthands for reporting to CImgErr. Every call site names the registry's
// own header and its two fixed lines, so hosts never see the library's source paths.
#ifndef IMAGE_CORE_IMGREPORT_H_
#define IMAGE_CORE_IMGREPORT_H_

#include "Image/ImgErr.h"

namespace c2d {

inline char *ReportFile() {
  static char file[] = "src/Image/ImgErr";
  return file;
}

inline void Report(ImgErr code) { CImgErr::set(code, ReportFile(), 28); }

[[nodiscard]] inline ImgErr ReportR(ImgErr code) { return CImgErr::setr(code, ReportFile(), 29); }

}  // namespace c2d

#endif  // IMAGE_CORE_IMGREPORT_H_
