// The raster operators. What each one does depends on the image class.
#ifndef IMAGE_RASTEROP_RASOPENUM_H_
#define IMAGE_RASTEROP_RASOPENUM_H_

#include <cstdint>

namespace Core2DImage {
namespace RasOpEnum {

enum RasOp : int32_t {
  RasOpAnd = 0,
  RasOpSet = 1,
  RasOpXOr = 2,
  RasOpCopy = 3,
  RasOpReplace = 4,
};

}  // namespace RasOpEnum
}  // namespace Core2DImage

#endif  // IMAGE_RASTEROP_RASOPENUM_H_
