// Byte-order query used by the Group 4 strip writer.
#ifndef UTIL2D_UTL_ENDIAN_H_
#define UTIL2D_UTL_ENDIAN_H_

#include "util2d/Util2dExport.h"

// 1 on a little-endian machine, 0 otherwise.
UTIL2D_EXPORT int utl_is_little_endian();

#endif  // UTIL2D_UTL_ENDIAN_H_
