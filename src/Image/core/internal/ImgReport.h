// Internal shorthands for reporting to CImgErr. The registry ignores the file and
// line it is given, so none are passed.
#ifndef IMAGE_CORE_INTERNAL_IMGREPORT_H_
#define IMAGE_CORE_INTERNAL_IMGREPORT_H_

#include "Image/ImgErr.h"

namespace c2d {

inline void Report(ImgErr code) { CImgErr::set(code, nullptr, 0); }

[[nodiscard]] inline ImgErr ReportR(ImgErr code) { return CImgErr::setr(code, nullptr, 0); }

}  // namespace c2d

#endif  // IMAGE_CORE_INTERNAL_IMGREPORT_H_
