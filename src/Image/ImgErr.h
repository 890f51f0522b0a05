// The result codes of the library and CImgErr, the process-wide record of the last
// one reported. Every failing operation reports here; see each operation for which
// codes it stores and whether success stores IMG_OK.
#ifndef IMAGE_IMGERR_H_
#define IMAGE_IMGERR_H_

#include <cstdint>

#include "Image/core/ImgExport.h"

// COM-style codes: negative as a signed 32-bit value means failure.
enum ImgErr : int32_t {
  IMG_OK = 0,
  IMG_FALSE = 1,
  IMG_FAIL = static_cast<int32_t>(0x80004005u),
  IMG_OUT_OF_MEMORY = static_cast<int32_t>(0x8007000Eu),
  IMG_INVALID_ARG = static_cast<int32_t>(0x80070057u),
  IMG_DECODE_FAILED = static_cast<int32_t>(0x87004005u),
};

// Not instantiable. Neither member is synchronised: one thread reports at a time.
class C2D_EXPORT CImgErr {
 public:
  // The code of the latest set or setr; reading does not clear it.
  static ImgErr get();
  // Counts the call in sm_errtotal, then stores `code`. `file` and `line` are
  // accepted for the interface and ignored.
  static void set(ImgErr code, char *file, int line);
  // As set, and returns `code` so that a function can end with its result.
  static ImgErr setr(ImgErr code, char *file, int line);

  static ImgErr sm_errcode;
  // Counts calls, not failures: a set of IMG_OK counts too. Wraps at 32 bits.
  static uint32_t sm_errtotal;

 private:
  CImgErr();
  ~CImgErr();
  CImgErr &operator=(const CImgErr &);
};

#endif  // IMAGE_IMGERR_H_
