// CImgTile construction.
#include "Image/core/CImgTile.h"

CImgTile::CImgTile() : data(nullptr), first(0), second(0), rect() {}
