// Core2DImage: the one header a host includes. It declares every exported class and
// function of the library.
#ifndef IMAGE_CORE2DIMAGE_H_
#define IMAGE_CORE2DIMAGE_H_

#include "Image/ImgErr.h"
#include "Image/core/CImg.h"
#include "Image/core/CImgTile.h"
#include "Image/core/IImg.h"
#include "Image/core/ImgEnums.h"
#include "Image/core/ImgPoint.h"
#include "Image/core/ImgRect.h"
#include "Image/core/ImgVoidPtr.h"
#include "Image/core/IntRect.h"
#include "Image/g4/CImg1G4.h"
#include "Image/g4/G4Decode.h"
#include "Image/g4/G4Scanline.h"
#include "Image/g4/Img1G4Tile.h"
#include "Image/raster/CImg1.h"
#include "Image/raster/CImg32.h"
#include "Image/raster/CImg8.h"
#include "Image/raster/Export.h"
#include "Image/rasterop/CompositeAttr.h"
#include "Image/rasterop/RasOpEnum.h"
#include "Image/rasterop/RasOpXfmAttr.h"
#include "Image/rasterop/RasterOp.h"
#include "Image/scale/GreyMapping.h"
#include "Image/scale/ImgScaleAttr.h"
#include "Image/scale/Rothstein.h"
#include "Image/tile/Img1G4TileIterator.h"
#include "Image/tile/Img1TileIterator.h"
#include "Image/tile/Img32TileIterator.h"
#include "Image/tile/Img8TileIterator.h"
#include "util2d/ColorMap.h"
#include "util2d/utl_endian.h"

#endif  // IMAGE_CORE2DIMAGE_H_
